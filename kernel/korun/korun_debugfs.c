// SPDX-License-Identifier: GPL-2.0
/*
 * debugfs of zvkorun, for tests and integrators:
 *   sessions  read: one line per open session, after a header line
 *   flood     write N: send N reports at once to every session
 *   aweme     write one short-video control line (see korun_aweme_parse)
 */
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/kernel.h>
#include <linux/seq_file.h>
#include <linux/uaccess.h>

#include "korun.h"

#define KORUN_CONTROL_LINE_MAX	256

static struct dentry *korun_debugfs_dir;

static int sessions_show(struct seq_file *seq, void *unused)
{
	korun_sessions_show(seq);
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(sessions);

static ssize_t flood_write(struct file *file, const char __user *buf,
			   size_t count, loff_t *ppos)
{
	unsigned int reports;
	int err;

	err = kstrtouint_from_user(buf, count, 0, &reports);
	if (err)
		return err;
	err = korun_sessions_flood(reports);
	return err ? err : count;
}

static const struct file_operations flood_fops = {
	.owner = THIS_MODULE,
	.open = simple_open,
	.write = flood_write,
	.llseek = noop_llseek,
};

static ssize_t aweme_write(struct file *file, const char __user *buf,
			   size_t count, loff_t *ppos)
{
	char line[KORUN_CONTROL_LINE_MAX];
	struct korun_aweme_write w;
	u32 uid;
	int err;

	if (count >= sizeof(line))
		return -EINVAL;
	if (copy_from_user(line, buf, count))
		return -EFAULT;
	line[count] = '\0';
	err = korun_aweme_parse(line, &uid, &w);
	if (!err)
		err = korun_sessions_queue_aweme(uid, &w);
	return err ? err : count;
}

static const struct file_operations aweme_fops = {
	.owner = THIS_MODULE,
	.open = simple_open,
	.write = aweme_write,
	.llseek = noop_llseek,
};

/* debugfs is optional: the module works without these files. */
void korun_debugfs_init(void)
{
	korun_debugfs_dir = debugfs_create_dir(KORUN_GENL_NAME, NULL);
	debugfs_create_file("sessions", 0444, korun_debugfs_dir, NULL, &sessions_fops);
	debugfs_create_file("flood", 0200, korun_debugfs_dir, NULL, &flood_fops);
	debugfs_create_file("aweme", 0200, korun_debugfs_dir, NULL, &aweme_fops);
}

/* Waits for writers and readers still inside the files. */
void korun_debugfs_exit(void)
{
	debugfs_remove_recursive(korun_debugfs_dir);
}
