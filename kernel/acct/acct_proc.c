// SPDX-License-Identifier: GPL-2.0
/*
 * /proc/net/xt_qtaguid/stats: one header line, then one line of 21 columns
 * per (uid, interface) entry. Every line carries text: the service's reader
 * rejects the whole file on a blank line.
 */
#include <linux/proc_fs.h>
#include <linux/rculist.h>
#include <linux/seq_file.h>
#include <linux/user_namespace.h>
#include <net/net_namespace.h>

#include "acct_table.h"

#define ACCT_PROC_DIR	"xt_qtaguid"
#define ACCT_PROC_FILE	"stats"

static const char acct_header[] =
	"idx iface acct_tag_hex uid_tag_int cnt_set rx_bytes rx_packets tx_bytes tx_packets "
	"rx_tcp_bytes rx_tcp_packets rx_udp_bytes rx_udp_packets rx_other_bytes rx_other_packets "
	"tx_tcp_bytes tx_tcp_packets tx_udp_bytes tx_udp_packets tx_other_bytes tx_other_packets\n";

static struct proc_dir_entry *acct_proc_dir;

static void *acct_seq_start(struct seq_file *seq, loff_t *pos)
	__acquires(RCU)
{
	rcu_read_lock();
	/* Position 0 is the list head itself: the header line. */
	return seq_list_start_head_rcu(&acct_entries, *pos);
}

static void *acct_seq_next(struct seq_file *seq, void *v, loff_t *pos)
{
	return seq_list_next_rcu(v, &acct_entries, pos);
}

static void acct_seq_stop(struct seq_file *seq, void *v)
	__releases(RCU)
{
	rcu_read_unlock();
}

static u64 acct_sum(const u64 *per_proto)
{
	return per_proto[ACCT_TCP] + per_proto[ACCT_UDP] + per_proto[ACCT_OTHER];
}

static int acct_seq_show(struct seq_file *seq, void *v)
{
	const struct acct_entry *e;
	struct acct_snapshot s;
	int p;

	if (v == &acct_entries) {
		seq_puts(seq, acct_header);
		return 0;
	}
	e = list_entry(v, struct acct_entry, lnode);
	acct_entry_read(e, &s);
	/* Untagged traffic only: tag 0x0, counter set 0. */
	seq_printf(seq, "%lld %s 0x0 %u 0 %llu %llu %llu %llu",
		   seq->index, e->ifname,
		   from_kuid_munged(seq_user_ns(seq), e->uid),
		   acct_sum(s.bytes[ACCT_RX]), acct_sum(s.packets[ACCT_RX]),
		   acct_sum(s.bytes[ACCT_TX]), acct_sum(s.packets[ACCT_TX]));
	for (p = 0; p < ACCT_PROTOS; p++)
		seq_printf(seq, " %llu %llu", s.bytes[ACCT_RX][p], s.packets[ACCT_RX][p]);
	for (p = 0; p < ACCT_PROTOS; p++)
		seq_printf(seq, " %llu %llu", s.bytes[ACCT_TX][p], s.packets[ACCT_TX][p]);
	seq_putc(seq, '\n');
	return 0;
}

static const struct seq_operations acct_seq_ops = {
	.start = acct_seq_start,
	.next = acct_seq_next,
	.stop = acct_seq_stop,
	.show = acct_seq_show,
};

int acct_proc_init(void)
{
	acct_proc_dir = proc_mkdir(ACCT_PROC_DIR, init_net.proc_net);
	if (!acct_proc_dir)
		return -ENOMEM;
	if (!proc_create_seq(ACCT_PROC_FILE, 0444, acct_proc_dir, &acct_seq_ops)) {
		proc_remove(acct_proc_dir);
		return -ENOMEM;
	}
	return 0;
}

void acct_proc_exit(void)
{
	/* Waits for open readers to leave their seq_file callbacks. */
	proc_remove(acct_proc_dir);
}
