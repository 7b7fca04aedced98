// SPDX-License-Identifier: GPL-2.0
/*
 * qoe_acct: per-uid traffic accounting for the QoE service.
 *
 * Netfilter hooks in the initial network namespace count every IPv4 and
 * IPv6 packet by (uid, interface, protocol, direction): outbound at
 * POST_ROUTING by the sending socket's owner, inbound at LOCAL_IN by the
 * receiving socket's owner. Traffic no socket owns (forwarded packets,
 * time-wait replies, unmatched ICMP) is counted under uid 0, so that the
 * uid-0 sum of an interface is all of its local traffic.
 *
 * Sizes are IP-layer bytes (IP header included); a GSO or GRO packet counts
 * as its segments, each with its own headers.
 */
#include <linux/ip.h>
#include <linux/ipv6.h>
#include <linux/module.h>
#include <linux/netfilter.h>
#include <linux/netfilter_ipv4.h>
#include <linux/netfilter_ipv6.h>
#include <linux/tcp.h>
#include <linux/udp.h>
#include <net/inet_sock.h>
#include <net/netfilter/nf_socket.h>
#include <net/sock.h>

#include "acct_table.h"

static enum acct_proto acct_proto_of(const struct sk_buff *skb, u8 pf)
{
	/* IPv6 extension headers are not walked: such packets count as other. */
	u8 proto = pf == NFPROTO_IPV4 ? ip_hdr(skb)->protocol : ipv6_hdr(skb)->nexthdr;

	switch (proto) {
	case IPPROTO_TCP:
		return ACCT_TCP;
	case IPPROTO_UDP:
		return ACCT_UDP;
	default:
		return ACCT_OTHER;
	}
}

/* Wire packets and bytes of @skb, which may carry several segments. */
static void acct_skb_size(const struct sk_buff *skb, enum acct_proto proto,
			  u32 *packets, u32 *bytes)
{
	u32 segs = skb_is_gso(skb) ? max_t(u32, skb_shinfo(skb)->gso_segs, 1) : 1;
	u32 hdr;

	*packets = segs;
	*bytes = skb->len;
	if (segs == 1 || !skb_transport_header_was_set(skb))
		return;
	hdr = skb_transport_offset(skb);
	if (proto == ACCT_TCP)
		hdr += tcp_hdrlen(skb);
	else if (proto == ACCT_UDP)
		hdr += sizeof(struct udphdr);
	*bytes += (segs - 1) * hdr;
}

static kuid_t acct_owner(const struct sock *sk)
{
	return sk && sk_fullsock(sk) ? sk->sk_uid : GLOBAL_ROOT_UID;
}

static void acct_skb(const struct sk_buff *skb, const struct nf_hook_state *state,
		     kuid_t uid, const struct net_device *dev, enum acct_dir dir)
{
	enum acct_proto proto = acct_proto_of(skb, state->pf);
	u32 packets, bytes;

	acct_skb_size(skb, proto, &packets, &bytes);
	acct_count(uid, dev, dir, proto, packets, bytes);
}

static unsigned int acct_out_hook(void *priv, struct sk_buff *skb,
				  const struct nf_hook_state *state)
{
	acct_skb(skb, state, acct_owner(skb_to_full_sk(skb)), state->out, ACCT_TX);
	return NF_ACCEPT;
}

/* The socket lookup of xt_socket, for packets early demux did not assign. */
static struct sock *acct_lookup(const struct sk_buff *skb,
				const struct nf_hook_state *state)
{
	if (state->pf == NFPROTO_IPV4)
		return nf_sk_lookup_slow_v4(state->net, skb, state->in);
#if IS_ENABLED(CONFIG_IPV6)
	return nf_sk_lookup_slow_v6(state->net, skb, state->in);
#else
	return NULL;
#endif
}

static unsigned int acct_in_hook(void *priv, struct sk_buff *skb,
				 const struct nf_hook_state *state)
{
	struct sock *found;

	if (skb->sk) {
		acct_skb(skb, state, acct_owner(skb_to_full_sk(skb)), state->in, ACCT_RX);
		return NF_ACCEPT;
	}
	found = acct_lookup(skb, state);
	acct_skb(skb, state, acct_owner(sk_to_full_sk(found)), state->in, ACCT_RX);
	if (found)
		sock_gen_put(found);
	return NF_ACCEPT;
}

/* Last in their chains: packets a firewall dropped are not counted. */
static const struct nf_hook_ops acct_hook_ops[] = {
	{
		.hook = acct_in_hook,
		.pf = NFPROTO_IPV4,
		.hooknum = NF_INET_LOCAL_IN,
		.priority = NF_IP_PRI_LAST,
	},
	{
		.hook = acct_out_hook,
		.pf = NFPROTO_IPV4,
		.hooknum = NF_INET_POST_ROUTING,
		.priority = NF_IP_PRI_LAST,
	},
#if IS_ENABLED(CONFIG_IPV6)
	{
		.hook = acct_in_hook,
		.pf = NFPROTO_IPV6,
		.hooknum = NF_INET_LOCAL_IN,
		.priority = NF_IP6_PRI_LAST,
	},
	{
		.hook = acct_out_hook,
		.pf = NFPROTO_IPV6,
		.hooknum = NF_INET_POST_ROUTING,
		.priority = NF_IP6_PRI_LAST,
	},
#endif
};

static int __init qoe_acct_init(void)
{
	int err;

	err = acct_proc_init();
	if (err)
		return err;
	err = nf_register_net_hooks(&init_net, acct_hook_ops, ARRAY_SIZE(acct_hook_ops));
	if (err)
		goto err_proc;
	return 0;

err_proc:
	acct_proc_exit();
	return err;
}

static void __exit qoe_acct_exit(void)
{
	/* Unregistering waits for hooks in flight (synchronize_net). */
	nf_unregister_net_hooks(&init_net, acct_hook_ops, ARRAY_SIZE(acct_hook_ops));
	acct_proc_exit();
	acct_table_free();
}

module_init(qoe_acct_init);
module_exit(qoe_acct_exit);

MODULE_DESCRIPTION("Per-uid traffic accounting for the QoE service");
MODULE_LICENSE("GPL");
