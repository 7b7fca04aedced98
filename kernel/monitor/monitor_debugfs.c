// SPDX-License-Identifier: GPL-2.0
/*
 * /sys/kernel/debug/qoe_monitor/state: the monitor's state, its counters and
 * the last commands received, one "key value" line each, so that tests and
 * integrators can see what arrived.
 */
#include <linux/debugfs.h>
#include <linux/log2.h>
#include <linux/seq_file.h>

#include "monitor.h"

static struct dentry *qoe_monitor_dir;

static const char * const qoe_monitor_run_names[] = {
	[QOE_MONITOR_STOPPED] = "stopped",
	[QOE_MONITOR_RUNNING] = "running",
	[QOE_MONITOR_PAUSED] = "paused",
};

static const char * const qoe_monitor_drop_names[QOE_MONITOR_DROP_MAX] = {
	[QOE_MONITOR_DROP_SHORT] = "short",
	[QOE_MONITOR_DROP_TRUNCATED] = "truncated",
	[QOE_MONITOR_DROP_LENGTH] = "length",
	[QOE_MONITOR_DROP_UNKNOWN] = "unknown",
	[QOE_MONITOR_DROP_PERM] = "perm",
};

static void qoe_monitor_show_history(struct seq_file *m, const struct qoe_monitor *mon)
{
	const struct qoe_monitor_command *cmd;
	u64 i = mon->history_total > QOE_MONITOR_HISTORY ?
		mon->history_total - QOE_MONITOR_HISTORY : 0;

	BUILD_BUG_ON(!is_power_of_2(QOE_MONITOR_HISTORY));
	for (; i < mon->history_total; i++) {
		cmd = &mon->history[i & (QOE_MONITOR_HISTORY - 1)];
		seq_printf(m, "cmd port=%u code=%u flags=%u seq=%u pid=%u\n",
			   cmd->portid, cmd->code, cmd->flags, cmd->seq, cmd->pid);
	}
}

static int qoe_monitor_state_show(struct seq_file *m, void *unused)
{
	struct qoe_monitor *mon = m->private;
	unsigned int i;

	mutex_lock(&mon->lock);
	seq_printf(m, "state %s\n", qoe_monitor_run_names[mon->run]);
	seq_printf(m, "mcc %u\n", mon->mcc);
	seq_printf(m, "rtt_resets %u\n", mon->rtt_resets);
	seq_printf(m, "rtt_reset_arg %u\n", mon->rtt_reset_arg);
	for (i = 0; i < QOE_MONITOR_CODES; i++)
		seq_printf(m, "received_%u %llu\n", i, mon->received[i]);
	for (i = 0; i < QOE_MONITOR_DROP_MAX; i++)
		seq_printf(m, "dropped_%s %llu\n", qoe_monitor_drop_names[i], mon->dropped[i]);
	seq_printf(m, "replies %llu\n", mon->replies);
	seq_printf(m, "reply_errors %llu\n", mon->reply_errors);
	seq_printf(m, "commands %llu\n", mon->history_total);
	qoe_monitor_show_history(m, mon);
	mutex_unlock(&mon->lock);
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(qoe_monitor_state);

void qoe_monitor_debugfs_init(struct qoe_monitor *mon)
{
	qoe_monitor_dir = debugfs_create_dir(KBUILD_MODNAME, NULL);
	debugfs_create_file("state", 0444, qoe_monitor_dir, mon, &qoe_monitor_state_fops);
}

void qoe_monitor_debugfs_exit(void)
{
	/* Waits for readers still inside the file. */
	debugfs_remove_recursive(qoe_monitor_dir);
}
