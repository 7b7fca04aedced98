// SPDX-License-Identifier: GPL-2.0
/*
 * QoE monitor, raw netlink protocol 24.
 *
 * A command is exactly one netlink header: the code in nlmsg_type and its
 * argument in nlmsg_flags (QOE_MONITOR_GET_QESTA_INFO repeats it, whole, in
 * nlmsg_seq). Because the flags carry data, netlink_rcv_skb() cannot be used:
 * it would skip messages without NLM_F_REQUEST and ack those with
 * NLM_F_ACK. The datagram is walked here instead, every length checked, and
 * whatever is not a command (or is a state change from a sender without
 * CAP_NET_ADMIN) is dropped and counted.
 *
 * Queries are answered with a header and QOE_MONITOR_REPLY_WORDS words,
 * unicast to the sending socket's port.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/capability.h>
#include <linux/module.h>
#include <linux/netlink.h>
#include <linux/skbuff.h>
#include <net/netlink.h>
#include <net/sock.h>

#include "monitor.h"

static struct qoe_monitor qoe_mon = {
	.lock = __MUTEX_INITIALIZER(qoe_mon.lock),
};

static struct sock *qoe_monitor_sk;

static void qoe_monitor_drop(enum qoe_monitor_drop why)
{
	mutex_lock(&qoe_mon.lock);
	qoe_mon.dropped[why]++;
	mutex_unlock(&qoe_mon.lock);
}

static bool qoe_monitor_known(u16 code)
{
	switch (code) {
	case QOE_MONITOR_START:
	case QOE_MONITOR_QUERY_TCP:
	case QOE_MONITOR_RELEASE_TCP:
	case QOE_MONITOR_PAUSE:
	case QOE_MONITOR_NOTIFY_MCC:
	case QOE_MONITOR_RESET_RTT:
	case QOE_MONITOR_GET_RTT:
	case QOE_MONITOR_GET_QESTA_INFO:
		return true;
	default:
		return false;
	}
}

static bool qoe_monitor_answered(u16 code)
{
	return code == QOE_MONITOR_QUERY_TCP || code == QOE_MONITOR_GET_RTT ||
	       code == QOE_MONITOR_GET_QESTA_INFO;
}

/* Records the command and applies it to the monitor's state. */
static void qoe_monitor_apply(const struct qoe_monitor_command *cmd)
{
	mutex_lock(&qoe_mon.lock);
	qoe_mon.received[cmd->code]++;
	qoe_mon.history[qoe_mon.history_total & (QOE_MONITOR_HISTORY - 1)] = *cmd;
	qoe_mon.history_total++;
	switch (cmd->code) {
	case QOE_MONITOR_START:
		qoe_mon.run = QOE_MONITOR_RUNNING;
		break;
	case QOE_MONITOR_RELEASE_TCP:
		qoe_mon.run = QOE_MONITOR_STOPPED;
		break;
	case QOE_MONITOR_PAUSE:
		qoe_mon.run = QOE_MONITOR_PAUSED;
		break;
	case QOE_MONITOR_NOTIFY_MCC:
		qoe_mon.mcc = cmd->flags;
		break;
	case QOE_MONITOR_RESET_RTT:
		qoe_mon.rtt_resets++;
		qoe_mon.rtt_reset_arg = cmd->flags;
		break;
	}
	mutex_unlock(&qoe_mon.lock);
}

static int qoe_monitor_send_reply(const struct qoe_monitor_command *cmd,
				  const u32 words[QOE_MONITOR_REPLY_WORDS])
{
	const size_t size = QOE_MONITOR_REPLY_WORDS * sizeof(u32);
	struct nlmsghdr *nlh;
	struct sk_buff *skb;

	BUILD_BUG_ON(NLMSG_HDRLEN + QOE_MONITOR_REPLY_WORDS * sizeof(u32) !=
		     QOE_MONITOR_REPLY_LEN);
	skb = nlmsg_new(size, GFP_KERNEL);
	if (!skb)
		return -ENOMEM;
	nlh = nlmsg_put(skb, 0, cmd->seq, cmd->code, size, 0);
	if (!nlh)
		goto err_free;
	memcpy(nlmsg_data(nlh), words, size);
	nlmsg_end(skb, nlh);
	/* nlmsg_pid is the sender's process id, not its socket's port. */
	return nlmsg_unicast(qoe_monitor_sk, skb, cmd->portid);

err_free:
	kfree_skb(skb);
	return -EMSGSIZE;
}

static void qoe_monitor_answer(struct net *net, const struct qoe_monitor_command *cmd)
{
	u32 words[QOE_MONITOR_REPLY_WORDS];
	u32 arg = cmd->code == QOE_MONITOR_GET_QESTA_INFO ? cmd->seq : cmd->flags;
	int err;

	qoe_monitor_reply_words(&qoe_mon, net, cmd, arg, words);
	err = qoe_monitor_send_reply(cmd, words);
	mutex_lock(&qoe_mon.lock);
	if (err)
		qoe_mon.reply_errors++;
	else
		qoe_mon.replies++;
	mutex_unlock(&qoe_mon.lock);
}

static void qoe_monitor_msg(struct sk_buff *skb, const struct nlmsghdr *nlh)
{
	struct qoe_monitor_command cmd = {
		.portid = NETLINK_CB(skb).portid,
		.code = nlh->nlmsg_type,
		.flags = nlh->nlmsg_flags,
		.seq = nlh->nlmsg_seq,
		.pid = nlh->nlmsg_pid,
	};

	if (nlh->nlmsg_len != NLMSG_HDRLEN) {
		qoe_monitor_drop(QOE_MONITOR_DROP_LENGTH);
		return;
	}
	if (!qoe_monitor_known(cmd.code)) {
		qoe_monitor_drop(QOE_MONITOR_DROP_UNKNOWN);
		return;
	}
	/* Queries show what /proc/net/snmp and sock_diag show anyone;
	 * changing the monitor's state is for the network's administrator.
	 */
	if (!qoe_monitor_answered(cmd.code) &&
	    !netlink_net_capable(skb, CAP_NET_ADMIN)) {
		qoe_monitor_drop(QOE_MONITOR_DROP_PERM);
		return;
	}
	qoe_monitor_apply(&cmd);
	if (qoe_monitor_answered(cmd.code))
		qoe_monitor_answer(sock_net(skb->sk), &cmd);
}

/* Runs in the sender's context; @skb belongs to the caller. */
static void qoe_monitor_rcv(struct sk_buff *skb)
{
	const struct nlmsghdr *nlh;
	u32 advance;

	while (skb->len >= NLMSG_HDRLEN) {
		nlh = nlmsg_hdr(skb);
		if (nlh->nlmsg_len < NLMSG_HDRLEN) {
			qoe_monitor_drop(QOE_MONITOR_DROP_SHORT);
			return;
		}
		if (nlh->nlmsg_len > skb->len) {
			qoe_monitor_drop(QOE_MONITOR_DROP_TRUNCATED);
			return;
		}
		qoe_monitor_msg(skb, nlh);
		advance = min_t(u32, NLMSG_ALIGN(nlh->nlmsg_len), skb->len);
		skb_pull(skb, advance);
	}
	if (skb->len)
		qoe_monitor_drop(QOE_MONITOR_DROP_SHORT);
}

static int __init qoe_monitor_init(void)
{
	struct netlink_kernel_cfg cfg = {
		.input = qoe_monitor_rcv,
	};

	qoe_monitor_sk = netlink_kernel_create(&init_net, QOE_MONITOR_PROTOCOL, &cfg);
	if (!qoe_monitor_sk) {
		pr_err("cannot open netlink protocol %d\n", QOE_MONITOR_PROTOCOL);
		return -ENOMEM;
	}
	qoe_monitor_debugfs_init(&qoe_mon);
	return 0;
}

static void __exit qoe_monitor_exit(void)
{
	netlink_kernel_release(qoe_monitor_sk);
	qoe_monitor_debugfs_exit();
}

module_init(qoe_monitor_init);
module_exit(qoe_monitor_exit);

MODULE_DESCRIPTION("QoE traffic monitor commands on raw netlink protocol 24");
MODULE_LICENSE("GPL");
