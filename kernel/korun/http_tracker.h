/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Short-video tracking: follows the watched app's HTTP/1.1 exchanges over
 * TCP (requests naming a video, their Range, the responses' Content-Range,
 * Content-Length and the MP4 'mvhd' box) and keeps the ten stall-info
 * entries that the short-video report carries.
 *
 * Plain C with no kernel dependency beyond fixed-width types, so that the
 * same file builds into the module and into a user-space fuzzer.
 */
#ifndef _KORUN_HTTP_TRACKER_H
#define _KORUN_HTTP_TRACKER_H

#ifdef __KERNEL__
#include <linux/types.h>
#else
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef int32_t s32;
typedef uint64_t u64;
#endif

#include "mqqoe_netlink.h"

#define KT_FLOWS		16	/* TCP connections followed at once */
#define KT_HEADER_MAX		2048	/* a longer header block is not followed */
#define KT_MVHD_FIELDS		32	/* 'mvhd' bytes after the name that hold the figures */
#define KT_MVHD_SCAN_LIMIT	(512 * 1024)	/* body bytes searched for 'mvhd' */
#define KT_LENGTH_MAX		(1ULL << 40)	/* larger lengths are taken as garbage */
#define KT_DURATION_MAX_S	(24 * 3600)	/* longer 'videos' are taken as garbage */
#define U32_MAX_VALUE		0xffffffffULL
#define S32_MAX_VALUE		0x7fffffffULL

enum kt_phase {
	KT_IDLE,		/* between exchanges */
	KT_REQUEST_HEADERS,	/* collecting a request's header block */
	KT_RESPONSE_HEADERS,	/* request sent, collecting the response's headers */
	KT_RESPONSE_BODY,	/* counting the body */
	KT_LOST,		/* out of step (a gap or garbage): wait for the next request */
};

struct kt_flow {
	u64 id;			/* 0: free slot */
	u64 last_used;		/* tracker clock, for reuse of the oldest slot */
	u32 next_seq[2];	/* next expected TCP sequence, per direction */
	bool synced[2];
	enum kt_phase phase;
	int entry;		/* stall-info entry of the exchange, -1 none */
	u32 generation;		/* of that entry when the request named it */
	u32 range_start;	/* of the request in flight */
	u64 body_left;		/* response body bytes still expected */
	u64 body_seen;
	u16 header_len;
	char header[KT_HEADER_MAX];
	/* 'mvhd' search, byte by byte so that a box split over segments is found */
	u8 mvhd_matched;	/* name bytes matched so far */
	u8 mvhd_len;		/* field bytes collected after the name */
	u8 mvhd[KT_MVHD_FIELDS];
};

struct kt_tracker {
	struct korun_search_keys keys;
	bool picture;		/* class 3: picture keys name the video */
	struct korun_stall_info entry[KORUN_STALL_INFO_ENTRIES];
	/* Bumped when an entry is given to a newer request: older exchanges stop feeding it. */
	u32 generation[KORUN_STALL_INFO_ENTRIES];
	u32 cur_index;		/* newest entry */
	u32 valid_num;
	u32 detect_index;	/* entry under detection */
	u32 detect_state;
	bool reported_new;	/* the new request's state 1 went out once */
	u64 clock;
	struct kt_flow flow[KT_FLOWS];
};

/* The short-video report's figures, as the next report carries them. */
struct kt_report {
	u32 detect_index;
	u32 cur_index;
	u32 valid_num;
	u32 detect_state;
	struct korun_stall_info entry[KORUN_STALL_INFO_ENTRIES];
};

enum kt_direction {
	KT_OUTBOUND = 0,	/* from the app: requests */
	KT_INBOUND = 1,		/* to the app: responses */
};

void kt_init(struct kt_tracker *t, const struct korun_search_keys *keys, bool picture);

/*
 * One TCP segment's payload of the flow `id` (non-zero, e.g. the socket) in
 * one direction, with the sequence number of its first byte.
 */
void kt_segment(struct kt_tracker *t, u64 id, enum kt_direction dir, u32 seq,
		const u8 *data, u32 len);

/* A SYN of the flow in one direction: its data starts at @seq + 1. */
void kt_flow_start(struct kt_tracker *t, u64 id, enum kt_direction dir, u32 seq);

/* The flow ended (FIN or RST): its slot is freed. */
void kt_flow_end(struct kt_tracker *t, u64 id);

/* The report for this interval; the next one says "continuing". */
void kt_take_report(struct kt_tracker *t, struct kt_report *out);

/* UPDATE: detection of `index` ends with `state` (0 stops it). */
int kt_update(struct kt_tracker *t, u32 index, u32 state);

#endif /* _KORUN_HTTP_TRACKER_H */
