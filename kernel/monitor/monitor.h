/* SPDX-License-Identifier: GPL-2.0 */
/*
 * QoE monitor: commands on raw netlink protocol 24, each a bare netlink
 * header with its argument in nlmsg_flags. Queries are answered with a
 * header and QOE_MONITOR_REPLY_WORDS 32-bit words.
 */
#ifndef _QOE_MONITOR_H
#define _QOE_MONITOR_H

#include <linux/mutex.h>
#include <linux/types.h>
#include <net/net_namespace.h>

#include "mqqoe_netlink.h"

/* Command codes are 0..QOE_MONITOR_GET_QESTA_INFO; 4 is not one. */
#define QOE_MONITOR_CODES	(QOE_MONITOR_GET_QESTA_INFO + 1)
/* Commands kept for the state file, newest last; a power of two. */
#define QOE_MONITOR_HISTORY	32

enum qoe_monitor_run {
	QOE_MONITOR_STOPPED,	/* never started, or released */
	QOE_MONITOR_RUNNING,
	QOE_MONITOR_PAUSED,
};

enum qoe_monitor_drop {
	QOE_MONITOR_DROP_SHORT,		/* less than a netlink header */
	QOE_MONITOR_DROP_TRUNCATED,	/* nlmsg_len beyond the datagram */
	QOE_MONITOR_DROP_LENGTH,	/* a header, but not exactly one */
	QOE_MONITOR_DROP_UNKNOWN,	/* no such command code */
	QOE_MONITOR_DROP_PERM,		/* a change from a sender without CAP_NET_ADMIN */
	QOE_MONITOR_DROP_MAX,
};

struct qoe_monitor_command {
	u32 portid;		/* the sending socket */
	u16 code;
	u16 flags;		/* the argument as sent */
	u32 seq;
	u32 pid;		/* nlmsg_pid as sent */
};

struct qoe_monitor {
	struct mutex lock;	/* guards every field below */
	enum qoe_monitor_run run;
	u32 mcc;
	u32 rtt_resets;
	u32 rtt_reset_arg;
	u64 received[QOE_MONITOR_CODES];
	u64 dropped[QOE_MONITOR_DROP_MAX];
	u64 replies;
	u64 reply_errors;
	struct qoe_monitor_command history[QOE_MONITOR_HISTORY];
	u64 history_total;
};

/* Fills the reply words of query `cmd` from the monitor and the netns. */
void qoe_monitor_reply_words(struct qoe_monitor *mon, struct net *net,
			     const struct qoe_monitor_command *cmd, u32 arg,
			     u32 words[QOE_MONITOR_REPLY_WORDS]);

/* The read-only state file; the monitor works without debugfs. */
void qoe_monitor_debugfs_init(struct qoe_monitor *mon);
void qoe_monitor_debugfs_exit(void);

#endif /* _QOE_MONITOR_H */
