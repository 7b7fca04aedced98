// SPDX-License-Identifier: GPL-2.0
/*
 * zvkorun: stall detection support for the QoE service.
 *
 * Generic netlink family "zvkorun". The service starts a session for an app
 * uid; every interval the module reports that uid's traffic of the interval
 * (call classes) or its short-video record (short-video classes) to the
 * requesting socket. A session ends on STOP, when its keep-alives stop, or
 * when the requesting socket goes away.
 */
#include <linux/module.h>
#include <linux/netlink.h>
#include <linux/notifier.h>
#include <net/genetlink.h>

#include "korun.h"

unsigned int korun_time_divisor = 1;
module_param_named(time_divisor, korun_time_divisor, uint, 0644);
MODULE_PARM_DESC(time_divisor, "Divides every report interval, to run tests in compressed time (1: real time)");

static struct netlink_range_validation korun_interval_range = {
	.min = 1,
	.max = KORUN_INTERVAL_MAX_MS,
};

static const struct nla_policy korun_policy[KORUN_ATTR_MAX + 1] = {
	[KORUN_ATTR_UID] = { .type = NLA_U32 },
	[KORUN_ATTR_DETECT_CLASS] = NLA_POLICY_RANGE(NLA_U32, KORUN_CLASS_CALL,
						     KORUN_CLASS_SHORT_VIDEO_PICTURE),
	[KORUN_ATTR_INTERVAL] = NLA_POLICY_FULL_RANGE(NLA_U32, &korun_interval_range),
	[KORUN_ATTR_IN_PKTS] = { .type = NLA_U32 },
	[KORUN_ATTR_OUT_PKTS] = { .type = NLA_U32 },
	[KORUN_ATTR_IN_BYTES] = { .type = NLA_U32 },
	[KORUN_ATTR_OUT_BYTES] = { .type = NLA_U32 },
	[KORUN_ATTR_SEARCH_KEYS] = NLA_POLICY_EXACT_LEN(KORUN_SEARCH_KEYS_LEN),
	[KORUN_ATTR_DETECT_INDEX] = NLA_POLICY_MAX(NLA_U32, KORUN_STALL_INFO_ENTRIES - 1),
	[KORUN_ATTR_CUR_INDEX] = NLA_POLICY_MAX(NLA_U32, KORUN_STALL_INFO_ENTRIES - 1),
	[KORUN_ATTR_VALID_NUM] = NLA_POLICY_MAX(NLA_U32, KORUN_STALL_INFO_ENTRIES),
	[KORUN_ATTR_DETECT_STATE] = { .type = NLA_U32 },
	[KORUN_ATTR_STALL_INFO] = NLA_POLICY_EXACT_LEN(KORUN_STALL_INFO_LEN),
};

static_assert(sizeof(struct korun_search_keys) == KORUN_SEARCH_KEYS_LEN);

/* Every command names a uid and a class; the session is (socket, uid). */
static int korun_parse_key(struct genl_info *info, struct korun_key *key)
{
	if (GENL_REQ_ATTR_CHECK(info, KORUN_ATTR_UID) ||
	    GENL_REQ_ATTR_CHECK(info, KORUN_ATTR_DETECT_CLASS))
		return -EINVAL;
	key->net = genl_info_net(info);
	key->portid = info->snd_portid;
	key->uid = nla_get_u32(info->attrs[KORUN_ATTR_UID]);
	return 0;
}

static int korun_start_doit(struct sk_buff *skb, struct genl_info *info)
{
	const struct korun_search_keys *keys = NULL;
	struct korun_key key;
	u32 class;
	int err;

	err = korun_parse_key(info, &key);
	if (err)
		return err;
	if (GENL_REQ_ATTR_CHECK(info, KORUN_ATTR_INTERVAL))
		return -EINVAL;
	class = nla_get_u32(info->attrs[KORUN_ATTR_DETECT_CLASS]);
	/* Short videos are recognised by their keys: no keys, no session. */
	if (class != KORUN_CLASS_CALL) {
		if (GENL_REQ_ATTR_CHECK(info, KORUN_ATTR_SEARCH_KEYS))
			return -EINVAL;
		keys = nla_data(info->attrs[KORUN_ATTR_SEARCH_KEYS]);
	}
	return korun_session_start(&key, class,
				   nla_get_u32(info->attrs[KORUN_ATTR_INTERVAL]), keys);
}

static int korun_stop_doit(struct sk_buff *skb, struct genl_info *info)
{
	struct korun_key key;
	int err;

	err = korun_parse_key(info, &key);
	return err ? err : korun_session_stop(&key);
}

static int korun_keepalive_doit(struct sk_buff *skb, struct genl_info *info)
{
	struct korun_key key;
	int err;

	err = korun_parse_key(info, &key);
	return err ? err : korun_session_keepalive(&key);
}

static int korun_update_doit(struct sk_buff *skb, struct genl_info *info)
{
	struct korun_key key;
	int err;

	err = korun_parse_key(info, &key);
	if (err)
		return err;
	if (GENL_REQ_ATTR_CHECK(info, KORUN_ATTR_DETECT_INDEX) ||
	    GENL_REQ_ATTR_CHECK(info, KORUN_ATTR_DETECT_STATE))
		return -EINVAL;
	return korun_session_update(&key,
				    nla_get_u32(info->attrs[KORUN_ATTR_DETECT_INDEX]),
				    nla_get_u32(info->attrs[KORUN_ATTR_DETECT_STATE]));
}

/* Watching another app's traffic is for the network administrator. */
static const struct genl_small_ops korun_ops[] = {
	{
		.cmd = KORUN_CMD_START,
		.doit = korun_start_doit,
		.flags = GENL_ADMIN_PERM,
	},
	{
		.cmd = KORUN_CMD_STOP,
		.doit = korun_stop_doit,
		.flags = GENL_ADMIN_PERM,
	},
	{
		.cmd = KORUN_CMD_KEEPALIVE,
		.doit = korun_keepalive_doit,
		.flags = GENL_ADMIN_PERM,
	},
	{
		.cmd = KORUN_CMD_UPDATE,
		.doit = korun_update_doit,
		.flags = GENL_ADMIN_PERM,
	},
};

struct genl_family korun_family __ro_after_init = {
	.name = KORUN_GENL_NAME,
	.version = KORUN_GENL_VERSION,
	.maxattr = KORUN_ATTR_MAX,
	.policy = korun_policy,
	.netnsok = true,
	.module = THIS_MODULE,
	.small_ops = korun_ops,
	.n_small_ops = ARRAY_SIZE(korun_ops),
};

static int korun_netlink_event(struct notifier_block *nb, unsigned long event,
			       void *ptr)
{
	struct netlink_notify *n = ptr;

	if (event == NETLINK_URELEASE && n->protocol == NETLINK_GENERIC && n->portid)
		korun_sessions_release_port(n->net, n->portid);
	return NOTIFY_DONE;
}

static struct notifier_block korun_netlink_notifier = {
	.notifier_call = korun_netlink_event,
};

static int __init korun_init(void)
{
	int err;

	err = korun_http_init();
	if (err)
		return err;
	err = korun_sessions_init();
	if (err)
		goto err_http;
	korun_debugfs_init();
	err = netlink_register_notifier(&korun_netlink_notifier);
	if (err)
		goto err_debugfs;
	/* Last: requests may arrive as soon as the family exists. */
	err = genl_register_family(&korun_family);
	if (err)
		goto err_notifier;
	return 0;

err_notifier:
	netlink_unregister_notifier(&korun_netlink_notifier);
err_debugfs:
	korun_debugfs_exit();
	korun_sessions_exit();
err_http:
	korun_http_exit();
	return err;
}

static void __exit korun_exit(void)
{
	/* No request, release event or control write may start after these. */
	genl_unregister_family(&korun_family);
	netlink_unregister_notifier(&korun_netlink_notifier);
	korun_debugfs_exit();
	korun_sessions_exit();
	korun_http_exit();
}

module_init(korun_init);
module_exit(korun_exit);

MODULE_DESCRIPTION("Stall detection reports for the QoE service (generic netlink family \"zvkorun\")");
MODULE_LICENSE("GPL");
MODULE_ALIAS_GENL_FAMILY(KORUN_GENL_NAME);
