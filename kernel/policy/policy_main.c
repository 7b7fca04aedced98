// SPDX-License-Identifier: GPL-2.0
/*
 * QoE socket policy, raw netlink protocol 25.
 *
 * A message is a netlink header, a 32-bit value and the payload of its
 * type; nlmsg_len is the payload length plus QOE_POLICY_LEN_EXTRA, exactly.
 * Nothing is ever answered: the sender does not read this socket. Messages
 * that fail a check are dropped and counted; those that pass are logged
 * byte for byte (policy_log.c).
 *
 * What is acted on: registration (the sender's port is kept), DPI
 * enable/disable and rules (kept as state and counted; no packet is
 * marked), and QOE_POLICY_RESET_SOCKETS, which aborts the uid's TCP
 * sockets. Bind, unbind and close are only logged.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/capability.h>
#include <linux/module.h>
#include <linux/skbuff.h>
#include <linux/string.h>
#include <net/netlink.h>
#include <net/sock.h>

#include "policy.h"

static struct qoe_policy qoe_pol = {
	.lock = __MUTEX_INITIALIZER(qoe_pol.lock),
	.log = LIST_HEAD_INIT(qoe_pol.log),
};

static struct sock *qoe_policy_sk;

static void qoe_policy_reject(enum qoe_policy_reject why)
{
	mutex_lock(&qoe_pol.lock);
	qoe_pol.rejected[why]++;
	mutex_unlock(&qoe_pol.lock);
}

/* The payload length of @type, or -1 for an unknown type. */
static int qoe_policy_payload_len(u16 type)
{
	BUILD_BUG_ON(sizeof(struct qoe_policy_dpi_rule) != QOE_POLICY_RECORD_LEN);
	BUILD_BUG_ON(sizeof(struct qoe_policy_reset) != QOE_POLICY_RECORD_LEN);
	BUILD_BUG_ON(sizeof(struct qoe_policy_close) != QOE_POLICY_RECORD_LEN);
	BUILD_BUG_ON(sizeof(struct qoe_policy_bind) != QOE_POLICY_RECORD_LEN);

	switch (type) {
	case QOE_POLICY_REGISTER:
	case QOE_POLICY_DPI_DISABLE:
	case QOE_POLICY_DPI_ENABLE:
		return 0;
	case QOE_POLICY_DPI_RULE:
	case QOE_POLICY_BIND:
	case QOE_POLICY_UNBIND:
	case QOE_POLICY_RESET_SOCKETS:
	case QOE_POLICY_CLOSE_SOCKETS:
		return QOE_POLICY_RECORD_LEN;
	default:
		return -1;
	}
}

/* Called with qoe_pol.lock held. */
static void qoe_policy_apply(u32 portid, u16 type)
{
	switch (type) {
	case QOE_POLICY_REGISTER:
		qoe_pol.registered_port = portid;
		break;
	case QOE_POLICY_DPI_DISABLE:
		qoe_pol.dpi_enabled = false;
		break;
	case QOE_POLICY_DPI_ENABLE:
		qoe_pol.dpi_enabled = true;
		break;
	case QOE_POLICY_DPI_RULE:
		qoe_pol.dpi_rules++;
		break;
	}
}

static void qoe_policy_reset_sockets(struct sk_buff *skb, const void *payload)
{
	struct qoe_policy_reset record;
	unsigned int aborted;
	kuid_t uid;

	memcpy(&record, payload, sizeof(record));
	/* The uid as the sender sees it, from its socket's user namespace. */
	uid = make_kuid(sk_user_ns(NETLINK_CB(skb).sk), record.uid);
	if (!uid_valid(uid))
		return;
	aborted = qoe_policy_abort_uid(sock_net(skb->sk), uid);
	mutex_lock(&qoe_pol.lock);
	qoe_pol.sockets_aborted += aborted;
	mutex_unlock(&qoe_pol.lock);
}

static void qoe_policy_msg(struct sk_buff *skb, const struct nlmsghdr *nlh)
{
	const int payload = qoe_policy_payload_len(nlh->nlmsg_type);
	const u8 *data = (const u8 *)nlh + NLMSG_HDRLEN + QOE_POLICY_VALUE_LEN;

	/* The socket commands reach every process of a uid. */
	if (!netlink_net_capable(skb, CAP_NET_ADMIN)) {
		qoe_policy_reject(QOE_POLICY_REJECT_PERM);
		return;
	}
	if (payload < 0) {
		qoe_policy_reject(QOE_POLICY_REJECT_TYPE);
		return;
	}
	if (nlh->nlmsg_len != payload + QOE_POLICY_LEN_EXTRA) {
		qoe_policy_reject(QOE_POLICY_REJECT_LENGTH);
		return;
	}

	mutex_lock(&qoe_pol.lock);
	qoe_pol.accepted++;
	qoe_policy_log_add(&qoe_pol, NETLINK_CB(skb).portid, nlh);
	qoe_policy_apply(NETLINK_CB(skb).portid, nlh->nlmsg_type);
	mutex_unlock(&qoe_pol.lock);

	if (nlh->nlmsg_type == QOE_POLICY_RESET_SOCKETS)
		qoe_policy_reset_sockets(skb, data);
}

/*
 * Runs in the sender's context; @skb belongs to the caller. Walked by hand
 * rather than with netlink_rcv_skb(), which would ack on NLM_F_ACK and skip
 * messages without NLM_F_REQUEST; this protocol has neither.
 */
static void qoe_policy_rcv(struct sk_buff *skb)
{
	const struct nlmsghdr *nlh;
	u32 advance;

	while (skb->len >= NLMSG_HDRLEN) {
		nlh = nlmsg_hdr(skb);
		if (nlh->nlmsg_len < NLMSG_HDRLEN) {
			qoe_policy_reject(QOE_POLICY_REJECT_SHORT);
			return;
		}
		if (nlh->nlmsg_len > skb->len) {
			qoe_policy_reject(QOE_POLICY_REJECT_TRUNCATED);
			return;
		}
		qoe_policy_msg(skb, nlh);
		advance = min_t(u32, NLMSG_ALIGN(nlh->nlmsg_len), skb->len);
		skb_pull(skb, advance);
	}
	if (skb->len)
		qoe_policy_reject(QOE_POLICY_REJECT_SHORT);
}

static int __init qoe_policy_init(void)
{
	struct netlink_kernel_cfg cfg = {
		.input = qoe_policy_rcv,
	};

	qoe_policy_sk = netlink_kernel_create(&init_net, QOE_POLICY_PROTOCOL, &cfg);
	if (!qoe_policy_sk) {
		pr_err("cannot open netlink protocol %d\n", QOE_POLICY_PROTOCOL);
		return -ENOMEM;
	}
	qoe_policy_debugfs_init(&qoe_pol);
	return 0;
}

static void __exit qoe_policy_exit(void)
{
	netlink_kernel_release(qoe_policy_sk);
	qoe_policy_debugfs_exit();
	mutex_lock(&qoe_pol.lock);
	qoe_policy_log_clear(&qoe_pol);
	mutex_unlock(&qoe_pol.lock);
}

module_init(qoe_policy_init);
module_exit(qoe_policy_exit);

MODULE_DESCRIPTION("QoE socket policy messages on raw netlink protocol 25");
MODULE_LICENSE("GPL");
