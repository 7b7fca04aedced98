// SPDX-License-Identifier: GPL-2.0
/*
 * The policy log: every accepted message, byte for byte, and the counters of
 * rejected ones, in /sys/kernel/debug/qoe_policy/log. Any write to the file
 * empties the log and zeroes the counters (the DPI and registration state
 * stay), so a test can start from nothing.
 */
#include <linux/debugfs.h>
#include <linux/fs.h>
#include <linux/seq_file.h>
#include <linux/slab.h>

#include "policy.h"

/* %*ph prints at most 64 bytes; no accepted message is longer. */
#define QOE_POLICY_HEX_MAX	64

static struct dentry *qoe_policy_dir;

static const char * const qoe_policy_reject_names[QOE_POLICY_REJECT_MAX] = {
	[QOE_POLICY_REJECT_SHORT] = "short",
	[QOE_POLICY_REJECT_TRUNCATED] = "truncated",
	[QOE_POLICY_REJECT_PERM] = "perm",
	[QOE_POLICY_REJECT_TYPE] = "type",
	[QOE_POLICY_REJECT_LENGTH] = "length",
};

static void qoe_policy_log_evict(struct qoe_policy *pol)
{
	struct qoe_policy_entry *oldest;

	oldest = list_first_entry(&pol->log, struct qoe_policy_entry, node);
	list_del(&oldest->node);
	kfree(oldest);
	pol->logged--;
	pol->evicted++;
}

void qoe_policy_log_add(struct qoe_policy *pol, u32 portid, const struct nlmsghdr *nlh)
{
	struct qoe_policy_entry *entry;

	BUILD_BUG_ON(QOE_POLICY_RECORD_LEN + QOE_POLICY_LEN_EXTRA > QOE_POLICY_HEX_MAX);
	entry = kmalloc(struct_size(entry, data, nlh->nlmsg_len), GFP_KERNEL);
	if (!entry) {
		/* The message still counts as accepted; only its record is lost. */
		pol->evicted++;
		return;
	}
	entry->portid = portid;
	entry->type = nlh->nlmsg_type;
	entry->len = nlh->nlmsg_len;
	memcpy(entry->data, nlh, nlh->nlmsg_len);
	if (pol->logged == QOE_POLICY_LOG_MAX)
		qoe_policy_log_evict(pol);
	list_add_tail(&entry->node, &pol->log);
	pol->logged++;
}

void qoe_policy_log_clear(struct qoe_policy *pol)
{
	while (pol->logged)
		qoe_policy_log_evict(pol);
	pol->evicted = 0;
	pol->accepted = 0;
	memset(pol->rejected, 0, sizeof(pol->rejected));
	pol->sockets_aborted = 0;
}

static int qoe_policy_log_show(struct seq_file *m, void *unused)
{
	struct qoe_policy *pol = m->private;
	struct qoe_policy_entry *entry;
	unsigned int i;

	mutex_lock(&pol->lock);
	seq_printf(m, "accepted %llu\n", pol->accepted);
	for (i = 0; i < QOE_POLICY_REJECT_MAX; i++)
		seq_printf(m, "rejected_%s %llu\n", qoe_policy_reject_names[i], pol->rejected[i]);
	seq_printf(m, "evicted %llu\n", pol->evicted);
	seq_printf(m, "sockets_aborted %llu\n", pol->sockets_aborted);
	seq_printf(m, "registered_port %u\n", pol->registered_port);
	seq_printf(m, "dpi %s\n", pol->dpi_enabled ? "on" : "off");
	seq_printf(m, "dpi_rules %llu\n", pol->dpi_rules);
	list_for_each_entry(entry, &pol->log, node)
		seq_printf(m, "msg port=%u type=%u len=%u data=%*phN\n", entry->portid,
			   entry->type, entry->len, (int)entry->len, entry->data);
	mutex_unlock(&pol->lock);
	return 0;
}

static int qoe_policy_log_open(struct inode *inode, struct file *file)
{
	return single_open(file, qoe_policy_log_show, inode->i_private);
}

static ssize_t qoe_policy_log_write(struct file *file, const char __user *buf,
				    size_t count, loff_t *ppos)
{
	struct qoe_policy *pol = ((struct seq_file *)file->private_data)->private;

	mutex_lock(&pol->lock);
	qoe_policy_log_clear(pol);
	mutex_unlock(&pol->lock);
	return count;
}

static const struct file_operations qoe_policy_log_fops = {
	.owner = THIS_MODULE,
	.open = qoe_policy_log_open,
	.read = seq_read,
	.write = qoe_policy_log_write,
	.llseek = seq_lseek,
	.release = single_release,
};

void qoe_policy_debugfs_init(struct qoe_policy *pol)
{
	qoe_policy_dir = debugfs_create_dir(KBUILD_MODNAME, NULL);
	debugfs_create_file("log", 0644, qoe_policy_dir, pol, &qoe_policy_log_fops);
}

void qoe_policy_debugfs_exit(void)
{
	/* Waits for readers and writers still inside the file. */
	debugfs_remove_recursive(qoe_policy_dir);
}
