// SPDX-License-Identifier: GPL-2.0
/*
 * Feeds each short-video session's tracker with the TCP payload of its uid:
 * outbound at LOCAL_OUT by the sending socket, inbound at LOCAL_IN by the
 * receiving one (early demux's, else the socket lookup xt_socket uses). The
 * hooks do nothing while no short-video session is open.
 *
 * What is not followed: TLS and HTTP/2 (the payload is opaque to the
 * tracker), IP fragments, and bytes the tracker lost sync on (it waits for
 * the next request).
 */
#include <linux/ip.h>
#include <linux/ipv6.h>
#include <linux/netfilter.h>
#include <linux/netfilter_ipv4.h>
#include <linux/netfilter_ipv6.h>
#include <linux/rculist.h>
#include <linux/slab.h>
#include <linux/tcp.h>
#include <net/ip.h>
#include <net/ipv6.h>
#include <net/netfilter/nf_socket.h>
#include <net/netns/generic.h>
#include <net/sock.h>

#include "http_tracker.h"
#include "korun_http.h"

#define KORUN_HTTP_CHUNK	1024	/* payload copied out of the skb at a time */

struct korun_http {
	struct list_head node;
	struct rcu_head rcu;
	struct net *net;
	kuid_t uid;
	spinlock_t lock;		/* the tracker and the chunk; taken with BH off */
	struct kt_tracker tracker;
	u8 chunk[KORUN_HTTP_CHUNK];
};

static LIST_HEAD(korun_http_list);
static DEFINE_SPINLOCK(korun_http_list_lock);
static atomic_t korun_http_open_count = ATOMIC_INIT(0);

/* The full socket an skb belongs to, with a reference when @put says so. */
static struct sock *korun_http_sock(struct sk_buff *skb, const struct nf_hook_state *state,
				    bool inbound, bool *put)
{
	struct sock *sk;

	*put = false;
	if (!inbound || skb->sk) {
		sk = skb_to_full_sk(skb);
		return sk && sk_fullsock(sk) ? sk : NULL;
	}
	if (state->pf == NFPROTO_IPV4)
		sk = nf_sk_lookup_slow_v4(state->net, skb, state->in);
	else
		sk = nf_sk_lookup_slow_v6(state->net, skb, state->in);
	if (!sk)
		return NULL;
	*put = true;
	if (!sk_fullsock(sk)) {
		sock_gen_put(sk);
		*put = false;
		return NULL;
	}
	return sk;
}

/* Offset of the TCP header and the end of the IP payload, or false. */
static bool korun_http_tcp(struct sk_buff *skb, u8 pf, unsigned int *thoff, unsigned int *end)
{
	if (pf == NFPROTO_IPV4) {
		const struct iphdr *iph = ip_hdr(skb);

		if (iph->protocol != IPPROTO_TCP || ip_is_fragment(iph))
			return false;
		*thoff = skb_network_offset(skb) + ip_hdrlen(skb);
		*end = skb_network_offset(skb) + ntohs(iph->tot_len);
	} else {
		unsigned short frag = 0;
		int off = 0;

		if (ipv6_find_hdr(skb, &off, IPPROTO_TCP, &frag, NULL) != IPPROTO_TCP || frag)
			return false;
		*thoff = off;
		*end = skb_network_offset(skb) + sizeof(struct ipv6hdr) + ntohs(ipv6_hdr(skb)->payload_len);
	}
	/* GSO packets carry a zero length field: the skb holds it all. */
	if (*end <= *thoff || *end > skb->len)
		*end = skb->len;
	return true;
}

static void korun_http_feed(struct korun_http *h, struct sk_buff *skb, struct sock *sk,
			    enum kt_direction dir, u32 seq, unsigned int from,
			    unsigned int end, bool starts, bool ends)
{
	u64 flow = (u64)(unsigned long)sk;

	spin_lock_bh(&h->lock);
	if (starts)
		kt_flow_start(&h->tracker, flow, dir, seq++);
	while (from < end) {
		unsigned int n = min_t(unsigned int, end - from, sizeof(h->chunk));

		if (skb_copy_bits(skb, from, h->chunk, n))
			break;
		kt_segment(&h->tracker, flow, dir, seq, h->chunk, n);
		from += n;
		seq += n;
	}
	if (ends)
		kt_flow_end(&h->tracker, flow);
	spin_unlock_bh(&h->lock);
}

static unsigned int korun_http_hook(void *priv, struct sk_buff *skb,
				    const struct nf_hook_state *state)
{
	bool inbound = state->hook == NF_INET_LOCAL_IN, put;
	unsigned int thoff, end, payload;
	struct tcphdr _th;
	const struct tcphdr *th;
	struct korun_http *h;
	struct sock *sk;
	kuid_t uid;

	if (!atomic_read(&korun_http_open_count))
		return NF_ACCEPT;
	if (!korun_http_tcp(skb, state->pf, &thoff, &end))
		return NF_ACCEPT;
	th = skb_header_pointer(skb, thoff, sizeof(_th), &_th);
	if (!th || th->doff < sizeof(_th) / 4)
		return NF_ACCEPT;
	payload = thoff + th->doff * 4;
	if (payload > end || (payload == end && !th->syn && !th->fin && !th->rst))
		return NF_ACCEPT;

	sk = korun_http_sock(skb, state, inbound, &put);
	if (!sk)
		return NF_ACCEPT;
	uid = sk->sk_uid;
	rcu_read_lock();
	list_for_each_entry_rcu(h, &korun_http_list, node)
		if (net_eq(h->net, state->net) && uid_eq(h->uid, uid))
			korun_http_feed(h, skb, sk, inbound ? KT_INBOUND : KT_OUTBOUND,
					ntohl(th->seq), payload, end, th->syn, th->fin || th->rst);
	rcu_read_unlock();
	if (put)
		sock_gen_put(sk);
	return NF_ACCEPT;
}

static const struct nf_hook_ops korun_http_ops[] = {
	{ .hook = korun_http_hook, .pf = NFPROTO_IPV4, .hooknum = NF_INET_LOCAL_OUT,
	  .priority = NF_IP_PRI_LAST },
	{ .hook = korun_http_hook, .pf = NFPROTO_IPV4, .hooknum = NF_INET_LOCAL_IN,
	  .priority = NF_IP_PRI_LAST },
	{ .hook = korun_http_hook, .pf = NFPROTO_IPV6, .hooknum = NF_INET_LOCAL_OUT,
	  .priority = NF_IP6_PRI_LAST },
	{ .hook = korun_http_hook, .pf = NFPROTO_IPV6, .hooknum = NF_INET_LOCAL_IN,
	  .priority = NF_IP6_PRI_LAST },
};

static int __net_init korun_http_net_init(struct net *net)
{
	return nf_register_net_hooks(net, korun_http_ops, ARRAY_SIZE(korun_http_ops));
}

static void __net_exit korun_http_net_exit(struct net *net)
{
	nf_unregister_net_hooks(net, korun_http_ops, ARRAY_SIZE(korun_http_ops));
}

static struct pernet_operations korun_http_net_ops = {
	.init = korun_http_net_init,
	.exit = korun_http_net_exit,
};

struct korun_http *korun_http_open(struct net *net, u32 uid,
				   const struct korun_search_keys *keys, bool picture)
{
	struct korun_http *h = kzalloc(sizeof(*h), GFP_KERNEL);

	if (!h)
		return NULL;
	h->net = net;
	h->uid = make_kuid(&init_user_ns, uid);
	spin_lock_init(&h->lock);
	kt_init(&h->tracker, keys, picture);
	spin_lock_bh(&korun_http_list_lock);
	list_add_rcu(&h->node, &korun_http_list);
	atomic_inc(&korun_http_open_count);
	spin_unlock_bh(&korun_http_list_lock);
	return h;
}

void korun_http_close(struct korun_http *h)
{
	spin_lock_bh(&korun_http_list_lock);
	list_del_rcu(&h->node);
	atomic_dec(&korun_http_open_count);
	spin_unlock_bh(&korun_http_list_lock);
	/* Hooks still walking the list finish before it goes. */
	kfree_rcu(h, rcu);
}

void korun_http_report(struct korun_http *h, struct korun_aweme *record)
{
	struct kt_report r;

	spin_lock_bh(&h->lock);
	kt_take_report(&h->tracker, &r);
	spin_unlock_bh(&h->lock);
	/* Until the app asks for a video, the record stays as written (by the test control). */
	if (!r.valid_num)
		return;
	record->detect_index = r.detect_index;
	record->cur_index = r.cur_index;
	record->valid_num = r.valid_num;
	record->detect_state = r.detect_state;
	memcpy(record->info, r.entry, sizeof(record->info));
}

void korun_http_update(struct korun_http *h, u32 index, u32 state)
{
	spin_lock_bh(&h->lock);
	kt_update(&h->tracker, index, state);
	spin_unlock_bh(&h->lock);
}

int korun_http_init(void)
{
	return register_pernet_subsys(&korun_http_net_ops);
}

/* After every session is closed; pending RCU frees are waited for. */
void korun_http_exit(void)
{
	unregister_pernet_subsys(&korun_http_net_ops);
	rcu_barrier();
}
