// SPDX-License-Identifier: GPL-2.0
/*
 * The counter table of qoe_acct: one entry per (uid, interface), hashed by
 * uid alone so that the totals of a uid are one bucket walk. Counters are
 * per CPU: the hooks of many CPUs never share a cache line.
 */
#include <linux/hash.h>
#include <linux/hashtable.h>
#include <linux/module.h>
#include <linux/percpu.h>
#include <linux/rculist.h>
#include <linux/slab.h>
#include <linux/spinlock.h>

#include "acct_table.h"
#include "qoe_acct.h"

#define ACCT_HASH_BITS	10

static unsigned int max_entries = 4096;
module_param(max_entries, uint, 0444);
MODULE_PARM_DESC(max_entries, "Most (uid, interface) entries kept; traffic of further pairs is not counted");

static DEFINE_HASHTABLE(acct_hash, ACCT_HASH_BITS);
LIST_HEAD(acct_entries);
/* Serialises insertions; lookups and counting take no lock. */
static DEFINE_SPINLOCK(acct_insert_lock);
static unsigned int acct_nr_entries;

static u32 acct_key(kuid_t uid)
{
	return hash_32(__kuid_val(uid), ACCT_HASH_BITS);
}

static struct acct_entry *acct_find(kuid_t uid, int ifindex)
{
	struct acct_entry *e;

	hash_for_each_possible_rcu(acct_hash, e, hnode, acct_key(uid))
		if (uid_eq(e->uid, uid) && e->ifindex == ifindex)
			return e;
	return NULL;
}

static struct acct_entry *acct_entry_alloc(kuid_t uid,
					   const struct net_device *dev)
{
	struct acct_entry *e;

	e = kzalloc(sizeof(*e), GFP_ATOMIC);
	if (!e)
		return NULL;
	e->cpu = alloc_percpu_gfp(struct acct_cpu, GFP_ATOMIC);
	if (!e->cpu) {
		kfree(e);
		return NULL;
	}
	e->uid = uid;
	e->ifindex = dev->ifindex;
	strscpy(e->ifname, dev->name, sizeof(e->ifname));
	return e;
}

/* Called in the packet path: atomic allocation, first writer wins. */
static struct acct_entry *acct_find_or_add(kuid_t uid,
					   const struct net_device *dev)
{
	struct acct_entry *e, *fresh = NULL;

	spin_lock_bh(&acct_insert_lock);
	e = acct_find(uid, dev->ifindex);
	if (!e && acct_nr_entries < max_entries) {
		fresh = acct_entry_alloc(uid, dev);
		if (fresh) {
			hash_add_rcu(acct_hash, &fresh->hnode, acct_key(uid));
			list_add_tail_rcu(&fresh->lnode, &acct_entries);
			acct_nr_entries++;
			e = fresh;
		}
	}
	spin_unlock_bh(&acct_insert_lock);
	if (!e)
		pr_notice_once("qoe_acct: table full (%u entries), some traffic is not counted\n",
			       max_entries);
	return e;
}

void acct_count(kuid_t uid, const struct net_device *dev, enum acct_dir dir,
		enum acct_proto proto, u32 packets, u32 bytes)
{
	struct acct_counter *c;
	struct acct_entry *e;
	struct acct_cpu *cpu;
	unsigned long flags;

	rcu_read_lock();
	e = acct_find(uid, dev->ifindex);
	if (unlikely(!e))
		e = acct_find_or_add(uid, dev);
	if (likely(e)) {
		/* Output hooks may run in process context: pin the CPU. */
		cpu = get_cpu_ptr(e->cpu);
		c = &cpu->c[dir][proto];
		flags = u64_stats_update_begin_irqsave(&cpu->syncp);
		u64_stats_add(&c->bytes, bytes);
		u64_stats_add(&c->packets, packets);
		u64_stats_update_end_irqrestore(&cpu->syncp, flags);
		put_cpu_ptr(e->cpu);
	}
	rcu_read_unlock();
}

void acct_entry_read(const struct acct_entry *e, struct acct_snapshot *out)
{
	const struct acct_cpu *cpu;
	unsigned int start;
	int i, d, p;

	memset(out, 0, sizeof(*out));
	for_each_possible_cpu(i) {
		struct acct_snapshot one;

		cpu = per_cpu_ptr(e->cpu, i);
		do {
			start = u64_stats_fetch_begin(&cpu->syncp);
			for (d = 0; d < ACCT_DIRS; d++)
				for (p = 0; p < ACCT_PROTOS; p++) {
					one.bytes[d][p] = u64_stats_read(&cpu->c[d][p].bytes);
					one.packets[d][p] = u64_stats_read(&cpu->c[d][p].packets);
				}
		} while (u64_stats_fetch_retry(&cpu->syncp, start));
		for (d = 0; d < ACCT_DIRS; d++)
			for (p = 0; p < ACCT_PROTOS; p++) {
				out->bytes[d][p] += one.bytes[d][p];
				out->packets[d][p] += one.packets[d][p];
			}
	}
}

int qoe_acct_read(kuid_t uid, struct qoe_acct_totals *out)
{
	struct acct_snapshot snap;
	struct acct_entry *e;
	int p;

	if (!uid_valid(uid))
		return -EINVAL;
	memset(out, 0, sizeof(*out));
	rcu_read_lock();
	hash_for_each_possible_rcu(acct_hash, e, hnode, acct_key(uid)) {
		if (!uid_eq(e->uid, uid))
			continue;
		acct_entry_read(e, &snap);
		for (p = 0; p < ACCT_PROTOS; p++) {
			out->rx_packets += snap.packets[ACCT_RX][p];
			out->rx_bytes += snap.bytes[ACCT_RX][p];
			out->tx_packets += snap.packets[ACCT_TX][p];
			out->tx_bytes += snap.bytes[ACCT_TX][p];
		}
	}
	rcu_read_unlock();
	return 0;
}
EXPORT_SYMBOL_GPL(qoe_acct_read);

/* Only after the hooks and the proc file are gone: no reader is left. */
void acct_table_free(void)
{
	struct acct_entry *e, *tmp;

	list_for_each_entry_safe(e, tmp, &acct_entries, lnode) {
		list_del(&e->lnode);
		hash_del(&e->hnode);
		free_percpu(e->cpu);
		kfree(e);
	}
	acct_nr_entries = 0;
}
