/* SPDX-License-Identifier: GPL-2.0 */
/*
 * QoE socket policy: messages on raw netlink protocol 25, never answered.
 * Each is a netlink header, a 32-bit value and a fixed payload per type.
 */
#ifndef _QOE_POLICY_H
#define _QOE_POLICY_H

#include <linux/list.h>
#include <linux/mutex.h>
#include <linux/netlink.h>
#include <linux/types.h>
#include <linux/uidgid.h>
#include <net/net_namespace.h>

#include "mqqoe_netlink.h"

/* Messages kept for the log file; the oldest go first. */
#define QOE_POLICY_LOG_MAX	256

enum qoe_policy_reject {
	QOE_POLICY_REJECT_SHORT,	/* less than a netlink header */
	QOE_POLICY_REJECT_TRUNCATED,	/* nlmsg_len beyond the datagram */
	QOE_POLICY_REJECT_PERM,		/* sender lacks CAP_NET_ADMIN */
	QOE_POLICY_REJECT_TYPE,		/* no such message type */
	QOE_POLICY_REJECT_LENGTH,	/* not the type's exact nlmsg_len */
	QOE_POLICY_REJECT_MAX,
};

/* One accepted message, byte for byte. */
struct qoe_policy_entry {
	struct list_head node;
	u32 portid;
	u16 type;
	u32 len;
	u8 data[];
};

struct qoe_policy {
	struct mutex lock;	/* guards every field below */
	struct list_head log;
	unsigned int logged;
	u64 evicted;
	u64 accepted;
	u64 rejected[QOE_POLICY_REJECT_MAX];
	u64 sockets_aborted;
	u32 registered_port;	/* last sender of QOE_POLICY_REGISTER */
	bool dpi_enabled;
	u64 dpi_rules;
};

/* Both with pol->lock held. */
void qoe_policy_log_add(struct qoe_policy *pol, u32 portid, const struct nlmsghdr *nlh);
void qoe_policy_log_clear(struct qoe_policy *pol);

/* The log file; the module works without debugfs. */
void qoe_policy_debugfs_init(struct qoe_policy *pol);
void qoe_policy_debugfs_exit(void);

/* Aborts the TCP sockets @uid owns in @net; how many were aborted. */
unsigned int qoe_policy_abort_uid(struct net *net, kuid_t uid);

#endif /* _QOE_POLICY_H */
