/* SPDX-License-Identifier: GPL-2.0 */
/* zvkorun internals shared by its files. */
#ifndef _KORUN_H
#define _KORUN_H

#include <linux/list.h>
#include <linux/mutex.h>
#include <linux/seq_file.h>
#include <linux/workqueue.h>
#include <net/genetlink.h>

#include "mqqoe_netlink.h"
#include "../acct/qoe_acct.h"
#include "korun_aweme.h"
#include "korun_http.h"

#define KORUN_INTERVAL_MAX_MS		60000
/* Bound of one flood request: enough to fill any receive buffer. */
#define KORUN_FLOOD_MAX			100000

/*
 * One watched uid of one requesting socket. Every field is guarded by
 * korun_lock; the session belongs to whoever unlinks it from the list.
 */
struct korun_session {
	struct list_head node;
	struct delayed_work work;
	struct net *net;		/* of the requesting socket; held */
	u32 portid;
	u32 uid;
	u32 class;
	u32 interval_ms;
	u32 idle;			/* intervals since the last keep-alive */
	bool removed;			/* unlinked: its work must not run on */
	u64 reports_sent;
	u64 send_drops;			/* reports refused by a full receiver */
	struct qoe_acct_totals base;	/* totals at the last report */
	u32 in_pkts, out_pkts, in_bytes, out_bytes;	/* last report */
	struct korun_search_keys keys;	/* short-video classes only */
	struct korun_aweme aweme;	/* short-video classes only */
	struct korun_http *http;	/* short-video classes: the HTTP tracker */
};

/* What a genetlink request names: the sender's socket and the uid. */
struct korun_key {
	struct net *net;
	u32 portid;
	u32 uid;
};

extern struct mutex korun_lock;
extern struct genl_family korun_family;
extern unsigned int korun_time_divisor;

/* korun_session.c */
int korun_sessions_init(void);
void korun_sessions_exit(void);
int korun_session_start(const struct korun_key *key, u32 class, u32 interval_ms,
			const struct korun_search_keys *keys);
int korun_session_stop(const struct korun_key *key);
int korun_session_keepalive(const struct korun_key *key);
int korun_session_update(const struct korun_key *key, u32 index, u32 state);
void korun_sessions_release_port(struct net *net, u32 portid);
int korun_sessions_flood(unsigned int reports);
int korun_sessions_queue_aweme(u32 uid, const struct korun_aweme_write *w);
void korun_sessions_show(struct seq_file *seq);

/* korun_report.c */
int korun_report_send(struct korun_session *s);
void korun_report_sample(struct korun_session *s);

/* korun_debugfs.c */
void korun_debugfs_init(void);
void korun_debugfs_exit(void);

#endif /* _KORUN_H */
