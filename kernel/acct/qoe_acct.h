/* SPDX-License-Identifier: GPL-2.0 */
/*
 * In-kernel interface of qoe_acct: cumulative traffic of one uid over every
 * interface, for modules that report per-interval throughput.
 */
#ifndef _QOE_ACCT_H
#define _QOE_ACCT_H

#include <linux/types.h>
#include <linux/uidgid.h>

struct qoe_acct_totals {
	u64 rx_packets;
	u64 rx_bytes;
	u64 tx_packets;
	u64 tx_bytes;
};

/*
 * Fills @out with what @uid has sent and received since qoe_acct was loaded
 * (zeros for a uid without traffic). Callable from any context that may
 * enter an RCU read-side section. Returns 0, or -EINVAL for an invalid uid.
 */
int qoe_acct_read(kuid_t uid, struct qoe_acct_totals *out);

#endif /* _QOE_ACCT_H */
