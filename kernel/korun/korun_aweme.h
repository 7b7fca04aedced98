/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The short-video record a session reports each interval: which stall-info
 * entry is under detection and in what state, and the ten entries. Fed by
 * writes (today the debugfs control, later an HTTP tracker) and by the
 * service's UPDATE requests; read by the reporting work.
 */
#ifndef _KORUN_AWEME_H
#define _KORUN_AWEME_H

#include <linux/skbuff.h>
#include <linux/types.h>

#include "mqqoe_netlink.h"

struct korun_aweme {
	u32 detect_index;
	u32 cur_index;
	u32 valid_num;
	u32 detect_state;
	struct korun_stall_info info[KORUN_STALL_INFO_ENTRIES];
};

enum korun_aweme_write_kind {
	KORUN_AWEME_RECORD,	/* indexes and state of the next report */
	KORUN_AWEME_ENTRY,	/* one stall-info entry */
};

/* One change to a record, as a feeder produces it. */
struct korun_aweme_write {
	enum korun_aweme_write_kind kind;
	u32 detect_index;
	u32 cur_index;
	u32 valid_num;
	u32 detect_state;
	u32 entry_index;
	struct korun_stall_info entry;
};

void korun_aweme_apply(struct korun_aweme *a, const struct korun_aweme_write *w);
void korun_aweme_update(struct korun_aweme *a, u32 index, u32 state);
void korun_aweme_reported(struct korun_aweme *a);
int korun_aweme_put(struct sk_buff *skb, u32 uid, const struct korun_aweme *a);
int korun_aweme_parse(const char *line, u32 *uid, struct korun_aweme_write *w);

#endif /* _KORUN_AWEME_H */
