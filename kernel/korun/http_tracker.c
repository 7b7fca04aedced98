// SPDX-License-Identifier: GPL-2.0
/*
 * Short-video tracking over the watched app's HTTP/1.1 traffic. See
 * http_tracker.h. Every figure taken from the wire is bounded before it is
 * stored, so a report never carries an entry with impossible figures.
 */
#ifdef __KERNEL__
#include <linux/kernel.h>
#include <linux/string.h>
#else
#include <string.h>
#endif

#include "http_tracker.h"

static const char kt_mvhd_name[4] = { 'm', 'v', 'h', 'd' };
static const char kt_header_end[4] = { '\r', '\n', '\r', '\n' };

/* The used length of a NUL-padded key. */
static size_t kt_key_len(const char *key)
{
	size_t n = 0;

	while (n < KORUN_KEY_LEN && key[n])
		n++;
	return n;
}

/* Offset of needle in hay, or -1; an empty needle is never found. */
static long kt_find(const char *hay, size_t hay_len, const char *needle, size_t len)
{
	size_t i;

	if (!len || len > hay_len)
		return -1;
	for (i = 0; i + len <= hay_len; i++)
		if (hay[i] == needle[0] && !memcmp(hay + i, needle, len))
			return (long)i;
	return -1;
}

static long kt_find_key(const char *hay, size_t hay_len, const char *key)
{
	return kt_find(hay, hay_len, key, kt_key_len(key));
}

/* Decimal digits at s (at most len bytes); false without digits or past the limit. */
static bool kt_parse_u64(const char *s, size_t len, size_t *used, u64 *out)
{
	u64 v = 0;
	size_t i = 0;

	while (i < len && s[i] >= '0' && s[i] <= '9') {
		v = v * 10 + (u64)(s[i] - '0');
		if (v > KT_LENGTH_MAX)
			return false;
		i++;
	}
	if (!i)
		return false;
	*used = i;
	*out = v;
	return true;
}

static u32 kt_be32(const u8 *p)
{
	return (u32)p[0] << 24 | (u32)p[1] << 16 | (u32)p[2] << 8 | p[3];
}

/* Sequence comparison modulo 2^32. */
static bool kt_before(u32 a, u32 b)
{
	return (s32)(a - b) < 0;
}

void kt_init(struct kt_tracker *t, const struct korun_search_keys *keys, bool picture)
{
	memset(t, 0, sizeof(*t));
	t->keys = *keys;
	t->picture = picture;
	t->cur_index = KORUN_STALL_INFO_ENTRIES - 1;	/* the first request takes entry 0 */
}

static struct kt_flow *kt_flow_find(struct kt_tracker *t, u64 id, bool create)
{
	struct kt_flow *oldest = &t->flow[0];
	int i;

	for (i = 0; i < KT_FLOWS; i++) {
		if (t->flow[i].id == id)
			return &t->flow[i];
		if (t->flow[i].last_used < oldest->last_used)
			oldest = &t->flow[i];
	}
	if (!create)
		return NULL;
	for (i = 0; i < KT_FLOWS; i++)
		if (!t->flow[i].id)
			break;
	/* A free slot, else the least recently used one. */
	if (i < KT_FLOWS)
		oldest = &t->flow[i];
	memset(oldest, 0, sizeof(*oldest));
	oldest->id = id;
	oldest->entry = -1;
	oldest->phase = KT_IDLE;
	return oldest;
}

void kt_flow_start(struct kt_tracker *t, u64 id, enum kt_direction dir, u32 seq)
{
	struct kt_flow *f;

	if (!id || (dir != KT_OUTBOUND && dir != KT_INBOUND))
		return;
	f = kt_flow_find(t, id, dir == KT_OUTBOUND);
	if (!f)
		return;
	f->last_used = ++t->clock;
	/* The first data byte follows the SYN's sequence number. */
	f->synced[dir] = true;
	f->next_seq[dir] = seq + 1;
}

void kt_flow_end(struct kt_tracker *t, u64 id)
{
	struct kt_flow *f = kt_flow_find(t, id, false);

	if (f)
		memset(f, 0, sizeof(*f));
}

/*
 * The text that names the video: the key header's value, else the text after
 * the key marker up to its end character, else the path after the video key.
 */
static size_t kt_video_name(const struct kt_tracker *t, const char *hdr, size_t len,
			    size_t line_len, size_t key_end_at, char *name)
{
	const struct korun_search_keys *k = &t->keys;
	const char *start = NULL;
	size_t n = 0, max;
	char stop = k->key_end;
	long at;

	at = kt_find_key(hdr, len, k->vpwp_key);
	if (at >= 0) {
		start = hdr + at + kt_key_len(k->vpwp_key);
		max = len - (size_t)(start - hdr);
		stop = k->cr;
	} else {
		at = kt_find_key(hdr + key_end_at, line_len - key_end_at, k->k);
		if (at >= 0) {
			start = hdr + key_end_at + at + kt_key_len(k->k);
		} else {
			start = hdr + key_end_at;
			stop = '?';
		}
		max = line_len - (size_t)(start - hdr);
	}
	while (n < max && n < KORUN_VIDEO_KEY_LEN - 1 && start[n] != stop &&
	       start[n] != ' ' && start[n] != '\r' && start[n] != '\0')
		n++;
	memcpy(name, start, n);
	name[n] = '\0';
	return n;
}

static void kt_request(struct kt_tracker *t, struct kt_flow *f, const char *hdr, size_t len)
{
	const struct korun_search_keys *k = &t->keys;
	size_t method = kt_key_len(k->method), line_len, used, key_end_at;
	char name[KORUN_VIDEO_KEY_LEN];
	struct korun_stall_info *e;
	u64 range = 0;
	long at;

	f->phase = KT_RESPONSE_HEADERS;
	f->entry = -1;
	f->range_start = 0;
	at = kt_find(hdr, len, "\r\n", 2);
	line_len = at < 0 ? len : (size_t)at;
	if (!method || line_len <= method || memcmp(hdr, k->method, method) || hdr[method] != ' ')
		return;
	/* Preloads fill the app's cache; only what is played is followed. */
	if (kt_find_key(hdr, len, k->preloader_type) >= 0)
		return;
	if (t->picture) {
		at = kt_find_key(hdr, line_len, k->pic_prefix);
		if (at < 0 || kt_find_key(hdr + at, line_len - (size_t)at, k->pic_suffix) < 0)
			return;
		key_end_at = (size_t)at + kt_key_len(k->pic_prefix);
	} else {
		at = kt_find_key(hdr, line_len, k->video_key);
		if (at < 0)
			return;
		key_end_at = (size_t)at + kt_key_len(k->video_key);
	}
	if (!kt_video_name(t, hdr, len, line_len, key_end_at, name))
		return;

	at = kt_find_key(hdr, len, k->range);
	if (at >= 0) {
		size_t from = (size_t)at + kt_key_len(k->range);

		if (!kt_parse_u64(hdr + from, len - from, &used, &range) || range > U32_MAX_VALUE ||
		    from + used >= len || hdr[from + used] != k->range_sep)
			return;	/* a range we cannot read: not followed */
	}

	e = &t->entry[t->cur_index];
	if (t->valid_num && !strncmp(e->video, name, KORUN_VIDEO_KEY_LEN)) {
		/* The next range of the video in play; one past its end is nothing. */
		if (e->total && range >= e->total)
			return;
		e->range_start = (u32)range;
		e->in_bytes = 0;
	} else {
		t->cur_index = (t->cur_index + 1) % KORUN_STALL_INFO_ENTRIES;
		e = &t->entry[t->cur_index];
		memset(e, 0, sizeof(*e));
		memcpy(e->video, name, sizeof(name));
		e->range_start = (u32)range;
		if (t->valid_num < KORUN_STALL_INFO_ENTRIES)
			t->valid_num++;
		t->detect_index = t->cur_index;
		t->detect_state = KORUN_DETECT_NEW;
		t->reported_new = false;
	}
	f->entry = (int)t->cur_index;
	f->generation = ++t->generation[t->cur_index];
	f->range_start = (u32)range;
}

/* The flow's entry, unless a newer request has taken it over since. */
static struct korun_stall_info *kt_flow_entry(struct kt_tracker *t, struct kt_flow *f)
{
	if (f->entry < 0)
		return NULL;
	if (t->generation[f->entry] != f->generation) {
		f->entry = -1;
		return NULL;
	}
	return &t->entry[f->entry];
}

/* Content-Range "bytes S-E/T": true when it is well formed and agrees with the request. */
static bool kt_content_range(const struct kt_tracker *t, const struct kt_flow *f,
			     const char *hdr, size_t len, bool has_length, u64 length, u64 *total)
{
	const struct korun_search_keys *k = &t->keys;
	u64 first, last;
	size_t at, used;
	long found = kt_find_key(hdr, len, k->content_range);

	if (found < 0)
		return false;
	at = (size_t)found + kt_key_len(k->content_range);
	if (!kt_parse_u64(hdr + at, len - at, &used, &first))
		return false;
	at += used;
	if (at >= len || hdr[at++] != k->range_sep || !kt_parse_u64(hdr + at, len - at, &used, &last))
		return false;
	at += used;
	if (at >= len || hdr[at++] != k->total_sep || !kt_parse_u64(hdr + at, len - at, &used, total))
		return false;
	return first == f->range_start && last >= first && last < *total &&
	       (!has_length || last - first + 1 == length);
}

static void kt_response(struct kt_tracker *t, struct kt_flow *f, const char *hdr, size_t len)
{
	const struct korun_search_keys *k = &t->keys;
	bool has_length = false, trusted = false;
	u64 length = 0, total = 0, status = 0;
	struct korun_stall_info *e;
	size_t used;
	long at;

	f->phase = KT_RESPONSE_BODY;
	f->body_seen = 0;
	f->mvhd_matched = 0;
	f->mvhd_len = 0;
	if (len > 9 && !memcmp(hdr, "HTTP/1.", 7) && hdr[8] == ' ')
		kt_parse_u64(hdr + 9, len - 9, &used, &status);

	at = kt_find_key(hdr, len, k->content_length);
	if (at >= 0) {
		size_t from = (size_t)at + kt_key_len(k->content_length);

		has_length = kt_parse_u64(hdr + from, len - from, &used, &length);
	}
	/* Without a length the body runs until the connection ends. */
	f->body_left = has_length ? length : KT_LENGTH_MAX;
	if (has_length && !length)
		f->phase = KT_IDLE;

	if (status == 206)
		trusted = kt_content_range(t, f, hdr, len, has_length, length, &total);
	else if (status == 200 && has_length && !f->range_start)
		trusted = true, total = length;
	e = kt_flow_entry(t, f);
	if (!e)
		return;
	if (!trusted) {
		f->entry = -1;	/* figures that contradict each other are not counted */
		return;
	}
	e->total = total;
}

/* Feeds body bytes to the 'mvhd' search; fills timescale and duration once found. */
static void kt_mvhd(struct kt_flow *f, struct korun_stall_info *e, const u8 *p, u32 n)
{
	u32 i, timescale;
	u64 duration;

	for (i = 0; i < n && f->body_seen + i < KT_MVHD_SCAN_LIMIT && !e->timescale; i++) {
		if (f->mvhd_matched < sizeof(kt_mvhd_name)) {
			if (p[i] == (u8)kt_mvhd_name[f->mvhd_matched])
				f->mvhd_matched++;
			else
				f->mvhd_matched = p[i] == (u8)kt_mvhd_name[0];
			continue;
		}
		f->mvhd[f->mvhd_len++] = p[i];
		/* Version 0: 32-bit times; version 1: 64-bit ones. */
		if (f->mvhd_len < (f->mvhd[0] == 1 ? 32 : 20))
			continue;
		if (f->mvhd[0] == 1) {
			timescale = kt_be32(f->mvhd + 20);
			duration = (u64)kt_be32(f->mvhd + 24) << 32 | kt_be32(f->mvhd + 28);
		} else {
			timescale = kt_be32(f->mvhd + 12);
			duration = kt_be32(f->mvhd + 16);
		}
		f->mvhd_matched = 0;
		f->mvhd_len = 0;
		/* A box that is no box (the name inside media data) is passed over. */
		if (f->mvhd[0] > 1 || !timescale || timescale > S32_MAX_VALUE ||
		    duration > S32_MAX_VALUE || duration / timescale > KT_DURATION_MAX_S)
			continue;
		e->timescale = (s32)timescale;
		e->dur = (s32)duration;
	}
}

static void kt_body(struct kt_tracker *t, struct kt_flow *f, const u8 *p, u32 n)
{
	struct korun_stall_info *e;
	u64 take = n < f->body_left ? n : f->body_left, loaded;

	f->body_left -= take;
	if (!f->body_left)
		f->phase = KT_IDLE;	/* anything after the body belongs to nothing we follow */
	e = kt_flow_entry(t, f);
	if (!e)
		return;
	if (!e->timescale)
		kt_mvhd(f, e, p, (u32)take);
	f->body_seen += take;
	loaded = (u64)e->in_bytes + take;
	/* Never more than the resource holds, never past the 32-bit field. */
	if (e->total && e->range_start + loaded > e->total)
		loaded = e->total - e->range_start;
	e->in_bytes = loaded > U32_MAX_VALUE ? U32_MAX_VALUE : (u32)loaded;
}

/* Adds bytes to the header block; the block's length once it is complete, else 0. */
static size_t kt_collect(struct kt_flow *f, const u8 *p, u32 n, u32 *used)
{
	size_t from = f->header_len > 3 ? f->header_len - 3 : 0, room = KT_HEADER_MAX - f->header_len;
	size_t take = n < room ? n : room;
	long at;

	memcpy(f->header + f->header_len, p, take);
	f->header_len += take;
	at = kt_find(f->header + from, f->header_len - from, kt_header_end, sizeof(kt_header_end));
	if (at < 0) {
		*used = (u32)take;
		if (f->header_len >= KT_HEADER_MAX)
			f->phase = KT_LOST;	/* a header block this long is not followed */
		return 0;
	}
	at += (long)from + (long)sizeof(kt_header_end);
	/* Bytes past the block (a body) stay with the caller. */
	*used = (u32)(take - (f->header_len - (size_t)at));
	f->header_len = 0;
	return (size_t)at;
}

void kt_segment(struct kt_tracker *t, u64 id, enum kt_direction dir, u32 seq,
		const u8 *data, u32 len)
{
	struct kt_flow *f;
	size_t block;
	u32 used;

	if (!id || !len || (dir != KT_OUTBOUND && dir != KT_INBOUND))
		return;
	f = kt_flow_find(t, id, dir == KT_OUTBOUND);
	if (!f)
		return;	/* a response to nothing we saw asked */
	f->last_used = ++t->clock;

	/*
	 * Retransmitted bytes are counted once. Bytes past a gap (a segment lost
	 * on the way) are counted in a body; in a header block they wait for the
	 * missing segment, whose retransmission comes in order.
	 */
	if (f->synced[dir]) {
		u32 end = seq + len;

		if (!kt_before(f->next_seq[dir], end))
			return;
		if (kt_before(seq, f->next_seq[dir])) {
			u32 skip = f->next_seq[dir] - seq;

			data += skip;
			len -= skip;
			seq += skip;
		} else if (seq != f->next_seq[dir] && f->phase != KT_RESPONSE_BODY &&
			   f->phase != KT_IDLE && f->phase != KT_LOST) {
			return;
		}
	}
	f->synced[dir] = true;
	f->next_seq[dir] = seq + len;

	if (dir == KT_OUTBOUND) {
		if (f->phase != KT_REQUEST_HEADERS) {
			f->phase = KT_REQUEST_HEADERS;
			f->header_len = 0;
			f->entry = -1;
		}
		block = kt_collect(f, data, len, &used);
		if (block)
			kt_request(t, f, f->header, block);
		return;
	}

	while (len) {
		switch (f->phase) {
		case KT_RESPONSE_HEADERS:
			block = kt_collect(f, data, len, &used);
			if (block)
				kt_response(t, f, f->header, block);
			break;
		case KT_RESPONSE_BODY:
			used = len < f->body_left ? len : (u32)f->body_left;
			kt_body(t, f, data, used);
			break;
		default:
			return;
		}
		data += used;
		len -= used;
	}
}

void kt_take_report(struct kt_tracker *t, struct kt_report *out)
{
	memset(out, 0, sizeof(*out));
	memcpy(out->entry, t->entry, sizeof(out->entry));
	out->cur_index = t->valid_num ? t->cur_index : 0;
	out->valid_num = t->valid_num;
	out->detect_index = t->detect_index;
	out->detect_state = t->detect_state;
	/* "New request" goes out once; the same request then continues. */
	if (t->detect_state == KORUN_DETECT_NEW) {
		if (t->reported_new)
			out->detect_state = t->detect_state = KORUN_DETECT_ONGOING;
		t->reported_new = true;
	}
}

int kt_update(struct kt_tracker *t, u32 index, u32 state)
{
	if (index >= KORUN_STALL_INFO_ENTRIES || state > KORUN_DETECT_ONGOING)
		return -1;
	if (index == t->detect_index)
		t->detect_state = state;
	return 0;
}
