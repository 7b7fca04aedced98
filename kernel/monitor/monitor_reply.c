// SPDX-License-Identifier: GPL-2.0
/*
 * The figures of the monitor's replies: TCP counters from the netns's SNMP
 * MIB and smoothed RTTs of its established TCP sockets.
 */
#include <linux/kernel.h>
#include <linux/limits.h>
#include <linux/sched.h>
#include <net/inet_hashtables.h>
#include <net/ip.h>
#include <net/tcp.h>

#include "monitor.h"

/* Words every reply starts with. */
#define QOE_WORD_CODE		0
#define QOE_WORD_ARG		1
#define QOE_WORD_RUN		2
#define QOE_WORD_FIRST_FIGURE	3

struct qoe_rtt_sample {
	u32 sockets;
	u32 min_us;
	u32 max_us;
	u64 sum_us;
};

static u32 qoe_tcp_mib(struct net *net, int field)
{
	/* The wire has 32 bits; counters wrap as SNMP's Counter32 does. */
	return (u32)snmp_fold_field(net->mib.tcp_statistics, field);
}

static void qoe_rtt_sample_bucket(struct inet_hashinfo *hinfo, unsigned int bucket,
				  struct net *net, struct qoe_rtt_sample *sample)
{
	spinlock_t *lock = inet_ehash_lockp(hinfo, bucket);
	struct hlist_nulls_node *node;
	struct sock *sk;
	u32 srtt_us;

	spin_lock_bh(lock);
	sk_nulls_for_each(sk, node, &hinfo->ehash[bucket].chain) {
		if (!sk_fullsock(sk) || !net_eq(sock_net(sk), net) ||
		    sk->sk_state != TCP_ESTABLISHED)
			continue;
		/* srtt_us holds eight times the smoothed RTT. */
		srtt_us = READ_ONCE(tcp_sk(sk)->srtt_us) >> 3;
		sample->sockets++;
		sample->min_us = min(sample->min_us, srtt_us);
		sample->max_us = max(sample->max_us, srtt_us);
		sample->sum_us += srtt_us;
	}
	spin_unlock_bh(lock);
}

/* Reads every established socket of @net; nothing is held between buckets. */
static void qoe_rtt_sample(struct net *net, struct qoe_rtt_sample *sample)
{
	struct inet_hashinfo *hinfo = net->ipv4.tcp_death_row.hashinfo;
	unsigned int bucket;

	sample->sockets = 0;
	sample->min_us = U32_MAX;
	sample->max_us = 0;
	sample->sum_us = 0;
	for (bucket = 0; bucket <= hinfo->ehash_mask; bucket++) {
		if (hlist_nulls_empty(&hinfo->ehash[bucket].chain))
			continue;
		qoe_rtt_sample_bucket(hinfo, bucket, net, sample);
		cond_resched();
	}
	if (!sample->sockets)
		sample->min_us = 0;
}

static void qoe_words_query_tcp(struct net *net, u32 *figures)
{
	figures[0] = qoe_tcp_mib(net, TCP_MIB_ACTIVEOPENS);
	figures[1] = qoe_tcp_mib(net, TCP_MIB_PASSIVEOPENS);
	figures[2] = qoe_tcp_mib(net, TCP_MIB_CURRESTAB);
	figures[3] = qoe_tcp_mib(net, TCP_MIB_INSEGS);
	figures[4] = qoe_tcp_mib(net, TCP_MIB_OUTSEGS);
	figures[5] = qoe_tcp_mib(net, TCP_MIB_RETRANSSEGS);
	figures[6] = qoe_tcp_mib(net, TCP_MIB_INERRS);
}

/* Called with mon->lock held: the socket walk runs before it is taken. */
static void qoe_words_rtt(struct qoe_monitor *mon,
			  const struct qoe_rtt_sample *sample, u32 *figures)
{
	figures[0] = sample->sockets;
	figures[1] = sample->min_us;
	figures[2] = sample->sockets ? (u32)div_u64(sample->sum_us, sample->sockets) : 0;
	figures[3] = sample->max_us;
	figures[4] = mon->rtt_resets;
	figures[5] = mon->rtt_reset_arg;
}

static u64 qoe_sum(const u64 *counts, unsigned int n)
{
	u64 sum = 0;

	while (n--)
		sum += counts[n];
	return sum;
}

/* Called with mon->lock held. */
static void qoe_words_qesta_info(struct qoe_monitor *mon, struct net *net, u32 *figures)
{
	figures[0] = mon->mcc;
	figures[1] = mon->rtt_resets;
	figures[2] = (u32)qoe_sum(mon->received, QOE_MONITOR_CODES);
	figures[3] = (u32)qoe_sum(mon->dropped, QOE_MONITOR_DROP_MAX);
	figures[4] = (u32)mon->replies;
	figures[5] = qoe_tcp_mib(net, TCP_MIB_CURRESTAB);
	figures[6] = (u32)mon->reply_errors;
}

void qoe_monitor_reply_words(struct qoe_monitor *mon, struct net *net,
			     const struct qoe_monitor_command *cmd, u32 arg,
			     u32 words[QOE_MONITOR_REPLY_WORDS])
{
	struct qoe_rtt_sample sample;
	u32 *figures = &words[QOE_WORD_FIRST_FIGURE];

	memset(words, 0, QOE_MONITOR_REPLY_WORDS * sizeof(u32));
	if (cmd->code == QOE_MONITOR_GET_RTT)
		qoe_rtt_sample(net, &sample);

	mutex_lock(&mon->lock);
	words[QOE_WORD_CODE] = cmd->code;
	words[QOE_WORD_ARG] = arg;
	words[QOE_WORD_RUN] = mon->run;
	switch (cmd->code) {
	case QOE_MONITOR_QUERY_TCP:
		qoe_words_query_tcp(net, figures);
		break;
	case QOE_MONITOR_GET_RTT:
		qoe_words_rtt(mon, &sample, figures);
		break;
	case QOE_MONITOR_GET_QESTA_INFO:
		qoe_words_qesta_info(mon, net, figures);
		break;
	}
	mutex_unlock(&mon->lock);
}
