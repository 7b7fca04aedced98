// SPDX-License-Identifier: GPL-2.0
/*
 * Resetting a uid's sockets: every full TCP socket of the uid in the
 * established hash is aborted as SOCK_DESTROY does, its owner seeing
 * ECONNABORTED and the peer a RST.
 */
#include <linux/sched.h>
#include <net/inet_hashtables.h>
#include <net/sock.h>
#include <net/tcp.h>

#include "policy.h"

/* Sockets taken from one bucket per pass under its lock. */
#define QOE_POLICY_ABORT_BATCH	16

static bool qoe_policy_owned(const struct sock *sk, struct net *net, kuid_t uid)
{
	/* Time-wait and request sockets have no owner to tell. Orphans
	 * (SOCK_DEAD) belong to no process any more and are left to finish.
	 */
	return sk_fullsock(sk) && net_eq(sock_net(sk), net) &&
	       !sock_flag(sk, SOCK_DEAD) && uid_eq(sk->sk_uid, uid);
}

/* Takes a reference on up to QOE_POLICY_ABORT_BATCH sockets of @uid. */
static unsigned int qoe_policy_collect(struct inet_hashinfo *hinfo, unsigned int bucket,
				       struct net *net, kuid_t uid, struct sock **batch)
{
	spinlock_t *lock = inet_ehash_lockp(hinfo, bucket);
	struct hlist_nulls_node *node;
	unsigned int n = 0;
	struct sock *sk;

	spin_lock_bh(lock);
	sk_nulls_for_each(sk, node, &hinfo->ehash[bucket].chain) {
		if (!qoe_policy_owned(sk, net, uid) || !refcount_inc_not_zero(&sk->sk_refcnt))
			continue;
		batch[n++] = sk;
		if (n == QOE_POLICY_ABORT_BATCH)
			break;
	}
	spin_unlock_bh(lock);
	return n;
}

unsigned int qoe_policy_abort_uid(struct net *net, kuid_t uid)
{
	struct inet_hashinfo *hinfo = net->ipv4.tcp_death_row.hashinfo;
	struct sock *batch[QOE_POLICY_ABORT_BATCH];
	unsigned int bucket, aborted = 0, n, i;

	for (bucket = 0; bucket <= hinfo->ehash_mask; bucket++) {
		if (hlist_nulls_empty(&hinfo->ehash[bucket].chain))
			continue;
		/* tcp_abort() sleeps on the socket lock, so the bucket lock is
		 * dropped first. Aborted sockets leave the hash, so a full
		 * batch means rescanning the bucket for the rest.
		 */
		do {
			n = qoe_policy_collect(hinfo, bucket, net, uid, batch);
			for (i = 0; i < n; i++) {
				tcp_abort(batch[i], ECONNABORTED);
				sock_gen_put(batch[i]);
			}
			aborted += n;
			cond_resched();
		} while (n == QOE_POLICY_ABORT_BATCH);
	}
	return aborted;
}
