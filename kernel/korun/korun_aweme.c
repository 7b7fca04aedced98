// SPDX-License-Identifier: GPL-2.0
/*
 * Short-video records of zvkorun. A record stays as last written and is
 * reported every interval: a request written as NEW is reported NEW once
 * and ONGOING afterwards, until a write or the service's UPDATE changes it.
 * A session nobody has written to reports an idle record (all zero, state
 * STOPPED), so that the service's keep-alives, which follow its reports,
 * keep coming.
 */
#include <linux/kernel.h>
#include <linux/string.h>
#include <net/netlink.h>

#include "korun_aweme.h"

static_assert(sizeof(struct korun_stall_info) == KORUN_STALL_INFO_ENTRY_LEN);
static_assert(sizeof(struct korun_stall_info[KORUN_STALL_INFO_ENTRIES]) == KORUN_STALL_INFO_LEN);

void korun_aweme_apply(struct korun_aweme *a, const struct korun_aweme_write *w)
{
	switch (w->kind) {
	case KORUN_AWEME_RECORD:
		a->detect_index = w->detect_index;
		a->cur_index = w->cur_index;
		a->valid_num = w->valid_num;
		a->detect_state = w->detect_state;
		break;
	case KORUN_AWEME_ENTRY:
		a->info[w->entry_index] = w->entry;
		break;
	}
}

/* The service stops (state 0) or changes the entry it was told about. */
void korun_aweme_update(struct korun_aweme *a, u32 index, u32 state)
{
	if (index == a->detect_index)
		a->detect_state = state;
}

void korun_aweme_reported(struct korun_aweme *a)
{
	if (a->detect_state == KORUN_DETECT_NEW)
		a->detect_state = KORUN_DETECT_ONGOING;
}

int korun_aweme_put(struct sk_buff *skb, u32 uid, const struct korun_aweme *a)
{
	if (nla_put_u32(skb, KORUN_ATTR_UID, uid) ||
	    nla_put_u32(skb, KORUN_ATTR_DETECT_INDEX, a->detect_index) ||
	    nla_put_u32(skb, KORUN_ATTR_CUR_INDEX, a->cur_index) ||
	    nla_put_u32(skb, KORUN_ATTR_VALID_NUM, a->valid_num) ||
	    nla_put_u32(skb, KORUN_ATTR_DETECT_STATE, a->detect_state) ||
	    nla_put(skb, KORUN_ATTR_STALL_INFO, sizeof(a->info), a->info))
		return -EMSGSIZE;
	return 0;
}

/*
 * One control line:
 *   record UID DETECT_INDEX CUR_INDEX VALID_NUM STATE
 *   entry UID INDEX LOADED_BASE TOTAL RANGE_START IN_BYTES TIMESCALE DUR VIDEO
 */
int korun_aweme_parse(const char *line, u32 *uid, struct korun_aweme_write *w)
{
	struct korun_stall_info *e = &w->entry;
	char video[KORUN_VIDEO_KEY_LEN];

	memset(w, 0, sizeof(*w));
	if (sscanf(line, "record %u %u %u %u %u", uid, &w->detect_index,
		   &w->cur_index, &w->valid_num, &w->detect_state) == 5) {
		w->kind = KORUN_AWEME_RECORD;
		if (w->detect_index >= KORUN_STALL_INFO_ENTRIES ||
		    w->cur_index >= KORUN_STALL_INFO_ENTRIES ||
		    w->valid_num > KORUN_STALL_INFO_ENTRIES)
			return -ERANGE;
		return 0;
	}
	/* %39s: the key and its NUL fill the 40-byte field. */
	if (sscanf(line, "entry %u %u %llu %llu %u %u %d %d %39s", uid,
		   &w->entry_index, &e->loaded_base, &e->total, &e->range_start,
		   &e->in_bytes, &e->timescale, &e->dur, video) == 9) {
		w->kind = KORUN_AWEME_ENTRY;
		if (w->entry_index >= KORUN_STALL_INFO_ENTRIES)
			return -ERANGE;
		strscpy_pad(e->video, video, sizeof(e->video));
		return 0;
	}
	return -EINVAL;
}
