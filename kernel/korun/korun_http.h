/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The short-video tracker fed from the watched uid's TCP traffic: one
 * tracker per short-video session, found by the netfilter hooks under RCU.
 */
#ifndef _KORUN_HTTP_H
#define _KORUN_HTTP_H

#include <linux/types.h>
#include <net/net_namespace.h>

#include "korun_aweme.h"

struct korun_http;

int korun_http_init(void);
void korun_http_exit(void);

/* Starts following @uid's HTTP traffic in @net with the session's search keys. */
struct korun_http *korun_http_open(struct net *net, u32 uid,
				   const struct korun_search_keys *keys, bool picture);
void korun_http_close(struct korun_http *h);

/* Into the session's record, once the tracker has seen a video request. */
void korun_http_report(struct korun_http *h, struct korun_aweme *record);
void korun_http_update(struct korun_http *h, u32 index, u32 state);

#endif /* _KORUN_HTTP_H */
