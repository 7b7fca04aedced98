// SPDX-License-Identifier: GPL-2.0
/*
 * Reports of zvkorun: a throughput report per interval for call sessions,
 * a short-video report for the other classes, unicast to the requesting
 * socket. Callers hold korun_lock.
 */
#include <linux/kernel.h>
#include <linux/limits.h>
#include <net/genetlink.h>

#include "korun.h"

static u32 korun_delta(u64 now, u64 before)
{
	return (u32)min_t(u64, now - before, U32_MAX);
}

/* The counts of the interval that just ended, from the uid's totals. */
void korun_report_sample(struct korun_session *s)
{
	struct qoe_acct_totals now;

	if (qoe_acct_read(make_kuid(&init_user_ns, s->uid), &now))
		return;
	s->in_pkts = korun_delta(now.rx_packets, s->base.rx_packets);
	s->out_pkts = korun_delta(now.tx_packets, s->base.tx_packets);
	s->in_bytes = korun_delta(now.rx_bytes, s->base.rx_bytes);
	s->out_bytes = korun_delta(now.tx_bytes, s->base.tx_bytes);
	s->base = now;
}

static int korun_put_tp(struct sk_buff *skb, const struct korun_session *s)
{
	if (nla_put_u32(skb, KORUN_ATTR_UID, s->uid) ||
	    nla_put_u32(skb, KORUN_ATTR_IN_PKTS, s->in_pkts) ||
	    nla_put_u32(skb, KORUN_ATTR_OUT_PKTS, s->out_pkts) ||
	    nla_put_u32(skb, KORUN_ATTR_IN_BYTES, s->in_bytes) ||
	    nla_put_u32(skb, KORUN_ATTR_OUT_BYTES, s->out_bytes))
		return -EMSGSIZE;
	return 0;
}

static size_t korun_report_size(const struct korun_session *s)
{
	if (s->class == KORUN_CLASS_CALL)
		return 5 * nla_total_size(sizeof(u32));
	return 5 * nla_total_size(sizeof(u32)) + nla_total_size(KORUN_STALL_INFO_LEN);
}

/*
 * Sends the session's current report. Returns 0, -EAGAIN when the receiver's
 * buffer is full (the service then reads ENOBUFS and decides), or
 * -ECONNREFUSED when the requesting socket is gone.
 */
int korun_report_send(struct korun_session *s)
{
	bool call = s->class == KORUN_CLASS_CALL;
	struct sk_buff *skb;
	void *hdr;
	int err;

	skb = genlmsg_new(korun_report_size(s), GFP_KERNEL);
	if (!skb)
		return -ENOMEM;
	hdr = genlmsg_put(skb, 0, 0, &korun_family, 0,
			  call ? KORUN_CMD_TP_REPORT : KORUN_CMD_AWEME_REPORT);
	if (!hdr) {
		err = -EMSGSIZE;
		goto err_free;
	}
	err = call ? korun_put_tp(skb, s) : korun_aweme_put(skb, s->uid, &s->aweme);
	if (err)
		goto err_free;
	genlmsg_end(skb, hdr);

	/* Consumes the message whatever the outcome. */
	err = genlmsg_unicast(s->net, skb, s->portid);
	if (!err) {
		s->reports_sent++;
		if (!call)
			korun_aweme_reported(&s->aweme);
	} else if (err == -EAGAIN) {
		s->send_drops++;
	}
	return err;

err_free:
	nlmsg_free(skb);
	return err;
}
