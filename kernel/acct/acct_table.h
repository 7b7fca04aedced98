/* SPDX-License-Identifier: GPL-2.0 */
/* qoe_acct internals: the per-(uid, interface) counter table. */
#ifndef _QOE_ACCT_TABLE_H
#define _QOE_ACCT_TABLE_H

#include <linux/if.h>
#include <linux/list.h>
#include <linux/netdevice.h>
#include <linux/u64_stats_sync.h>
#include <linux/uidgid.h>

enum acct_dir {
	ACCT_RX,
	ACCT_TX,
	ACCT_DIRS,
};

enum acct_proto {
	ACCT_TCP,
	ACCT_UDP,
	ACCT_OTHER,
	ACCT_PROTOS,
};

struct acct_counter {
	u64_stats_t bytes;
	u64_stats_t packets;
};

/* One CPU's share of an entry: written only by that CPU. */
struct acct_cpu {
	struct u64_stats_sync syncp;
	struct acct_counter c[ACCT_DIRS][ACCT_PROTOS];
};

/*
 * Entries are created on first traffic and live until unload, so readers
 * under RCU never see one go away.
 */
struct acct_entry {
	struct hlist_node hnode;	/* in the uid hash */
	struct list_head lnode;		/* in creation order, for the proc file */
	kuid_t uid;
	int ifindex;
	char ifname[IFNAMSIZ];
	struct acct_cpu __percpu *cpu;
};

struct acct_snapshot {
	u64 bytes[ACCT_DIRS][ACCT_PROTOS];
	u64 packets[ACCT_DIRS][ACCT_PROTOS];
};

extern struct list_head acct_entries;

void acct_count(kuid_t uid, const struct net_device *dev, enum acct_dir dir,
		enum acct_proto proto, u32 packets, u32 bytes);
void acct_entry_read(const struct acct_entry *e, struct acct_snapshot *out);
void acct_table_free(void);

int acct_proc_init(void);
void acct_proc_exit(void);

#endif /* _QOE_ACCT_TABLE_H */
