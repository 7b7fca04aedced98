/* SPDX-License-Identifier: GPL-2.0 WITH Linux-syscall-note */
/*
 * Wire contract between the QoE service's native library and the kernel QoE
 * modules: the stall-detection generic netlink family "zvkorun", the monitor
 * channel (raw netlink protocol 24) and the policy channel (raw netlink
 * protocol 25). Host byte order throughout.
 *
 * Included by the kernel modules, the user-space library and its emulator,
 * so that the three cannot drift apart.
 */
#ifndef _UAPI_MQQOE_NETLINK_H
#define _UAPI_MQQOE_NETLINK_H

#include <linux/types.h>

/* Stall detection: generic netlink family "zvkorun". */

#define KORUN_GENL_NAME		"zvkorun"
#define KORUN_GENL_VERSION	1

enum korun_cmd {
	KORUN_CMD_UNSPEC,
	KORUN_CMD_START,	/* uid, class, interval[, search keys]; acked */
	KORUN_CMD_STOP,		/* uid, class; acked */
	KORUN_CMD_KEEPALIVE,	/* uid, class; not acked */
	KORUN_CMD_UPDATE,	/* uid, class, detect index, detect state; acked */
	KORUN_CMD_TP_REPORT,	/* kernel to user: uid, in/out pkts, in/out bytes */
	KORUN_CMD_AWEME_REPORT,	/* kernel to user: uid, indexes, state, stall info */
	__KORUN_CMD_MAX,
};
#define KORUN_CMD_MAX (__KORUN_CMD_MAX - 1)

/* Every numeric attribute is a 4-byte host-order integer. */
enum korun_attr {
	KORUN_ATTR_UNSPEC,
	KORUN_ATTR_UID,
	KORUN_ATTR_DETECT_CLASS,
	KORUN_ATTR_INTERVAL,
	KORUN_ATTR_IN_PKTS,
	KORUN_ATTR_OUT_PKTS,
	KORUN_ATTR_IN_BYTES,
	KORUN_ATTR_OUT_BYTES,
	KORUN_ATTR_SEARCH_KEYS,		/* struct korun_search_keys */
	KORUN_ATTR_DETECT_INDEX,
	KORUN_ATTR_CUR_INDEX,
	KORUN_ATTR_VALID_NUM,
	KORUN_ATTR_DETECT_STATE,
	KORUN_ATTR_STALL_INFO,		/* KORUN_STALL_INFO_ENTRIES stall-info entries */
	__KORUN_ATTR_MAX,
};
#define KORUN_ATTR_MAX (__KORUN_ATTR_MAX - 1)

/* Detection classes (KORUN_ATTR_DETECT_CLASS). */
#define KORUN_CLASS_CALL		1
#define KORUN_CLASS_SHORT_VIDEO		2
#define KORUN_CLASS_SHORT_VIDEO_PICTURE	3

/* A session that gets no KORUN_CMD_KEEPALIVE for this many intervals ends. */
#define KORUN_KEEPALIVE_INTERVALS	10

#define KORUN_KEY_LEN		25	/* each text key: NUL-padded */

/* Byte patterns the module looks for in the watched app's HTTP traffic. */
struct korun_search_keys {
	char method[KORUN_KEY_LEN];		/* "GET" */
	char video_key[KORUN_KEY_LEN];		/* path part naming a video */
	char proxy_type[KORUN_KEY_LEN];
	char preloader_type[KORUN_KEY_LEN];
	char range[KORUN_KEY_LEN];		/* "\r\nRange: bytes=" */
	char vpwp_key[KORUN_KEY_LEN];
	char rk[KORUN_KEY_LEN];
	char k[KORUN_KEY_LEN];
	char key_end;				/* ends the video key text */
	char range_dash;
	char cr;
	char pic_prefix[KORUN_KEY_LEN];
	char pic_suffix[KORUN_KEY_LEN];
	char content_range[KORUN_KEY_LEN];	/* "\r\nContent-Range: bytes " */
	char content_length[KORUN_KEY_LEN];	/* "\r\nContent-Length: " */
	char total_sep;				/* '/' */
	char cr2;
	char range_sep;				/* '-' */
	char mvhd[KORUN_KEY_LEN];		/* "mvhd" */
};
#define KORUN_SEARCH_KEYS_LEN	331

/*
 * Detection states (KORUN_ATTR_DETECT_STATE) of the entry under detection:
 * a request is reported NEW once, then ONGOING each interval, until it ends
 * or user space stops it with KORUN_CMD_UPDATE and KORUN_DETECT_STOPPED.
 */
#define KORUN_DETECT_STOPPED	0
#define KORUN_DETECT_NEW	1
#define KORUN_DETECT_ONGOING	2

#define KORUN_STALL_INFO_ENTRIES	10
#define KORUN_VIDEO_KEY_LEN		40

/* One tracked video request, as reported in KORUN_ATTR_STALL_INFO. */
struct korun_stall_info {
	__u64 reserved;
	__u64 loaded_base;	/* bytes loaded before the tracked range */
	__u64 total;		/* resource length, 0 when unknown */
	char video[KORUN_VIDEO_KEY_LEN];	/* NUL-terminated video key */
	__u32 range_start;
	__u32 in_bytes;		/* bytes received for the entry */
	__s32 timescale;
	__s32 dur;		/* duration in timescale units */
};
#define KORUN_STALL_INFO_ENTRY_LEN	80
#define KORUN_STALL_INFO_LEN	(KORUN_STALL_INFO_ENTRIES * KORUN_STALL_INFO_ENTRY_LEN)

/* Monitor channel: raw netlink protocol 24, argument in nlmsg_flags. */

#define QOE_MONITOR_PROTOCOL	24

enum qoe_monitor_cmd {
	QOE_MONITOR_START = 0,
	QOE_MONITOR_QUERY_TCP = 1,	/* answered */
	QOE_MONITOR_RELEASE_TCP = 2,
	QOE_MONITOR_PAUSE = 3,
	QOE_MONITOR_NOTIFY_MCC = 5,
	QOE_MONITOR_RESET_RTT = 6,
	QOE_MONITOR_GET_RTT = 7,	/* answered */
	QOE_MONITOR_GET_QESTA_INFO = 8,	/* answered; argument also in nlmsg_seq */
};

#define QOE_MONITOR_REPLY_WORDS	10
/* Reply: struct nlmsghdr, then QOE_MONITOR_REPLY_WORDS 32-bit words. */
#define QOE_MONITOR_REPLY_LEN	56

/* Policy channel: raw netlink protocol 25, never answered. */

#define QOE_POLICY_PROTOCOL	25

enum qoe_policy_type {
	QOE_POLICY_REGISTER = 0,
	QOE_POLICY_DPI_RULE = 3,
	QOE_POLICY_DPI_DISABLE = 4,
	QOE_POLICY_DPI_ENABLE = 5,
	QOE_POLICY_BIND = 6,
	QOE_POLICY_UNBIND = 7,
	QOE_POLICY_RESET_SOCKETS = 8,
	QOE_POLICY_CLOSE_SOCKETS = 9,
};

/*
 * A policy message: struct nlmsghdr, a 32-bit value, then the payload;
 * nlmsg_len is payload + QOE_POLICY_LEN_EXTRA (one byte more than header and
 * value together, which the module expects exactly).
 */
#define QOE_POLICY_VALUE_LEN	4
#define QOE_POLICY_LEN_EXTRA	21
#define QOE_POLICY_RECORD_LEN	24

struct qoe_policy_dpi_rule {		/* QOE_POLICY_DPI_RULE */
	__u32 first;
	__u32 reserved[2];
	__u32 flag;			/* QOE_DPI_RULE_FLAG */
	__u8 second;			/* low byte of the service's argument */
	__u8 pad[3];
	__u32 mark;			/* QOE_DPI_RULE_MARK */
};
#define QOE_DPI_RULE_FLAG	1
#define QOE_DPI_RULE_MARK	90

struct qoe_policy_reset {		/* QOE_POLICY_RESET_SOCKETS */
	__s32 uid;
	__s32 reserved[5];
};

struct qoe_policy_close {		/* QOE_POLICY_CLOSE_SOCKETS */
	__s32 second;
	__s32 reserved1;
	__s32 first;
	__s32 reserved2[3];
};

struct qoe_policy_bind {		/* QOE_POLICY_BIND, QOE_POLICY_UNBIND */
	__s32 uid;
	__s32 net_id;
	__s32 reserved[4];
};

#endif /* _UAPI_MQQOE_NETLINK_H */
