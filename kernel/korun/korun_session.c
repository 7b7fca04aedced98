// SPDX-License-Identifier: GPL-2.0
/*
 * Sessions of zvkorun: one per (requesting socket, uid), each with a delayed
 * work that reports every interval from process context.
 *
 * Ownership: a session on korun_sessions belongs to the list. Whoever
 * unlinks it (under korun_lock) frees it: a request or the socket release
 * cancels its work first (outside the lock, since the work takes the lock);
 * the work itself, when it ends its own session, frees it on the way out.
 * A work that finds its session already unlinked returns at once.
 */
#include <linux/module.h>
#include <linux/slab.h>
#include <net/net_namespace.h>

#include "korun.h"

static unsigned int max_sessions = 64;
module_param(max_sessions, uint, 0444);
MODULE_PARM_DESC(max_sessions, "Most sessions open at once");

DEFINE_MUTEX(korun_lock);
static LIST_HEAD(korun_sessions);
static unsigned int korun_nr_sessions;
static struct workqueue_struct *korun_wq;

static unsigned long korun_delay(const struct korun_session *s)
{
	unsigned int ms = s->interval_ms / max(READ_ONCE(korun_time_divisor), 1U);

	return max(msecs_to_jiffies(ms), 1UL);
}

static struct korun_session *korun_find(const struct korun_key *key)
{
	struct korun_session *s;

	lockdep_assert_held(&korun_lock);
	list_for_each_entry(s, &korun_sessions, node)
		if (net_eq(s->net, key->net) && s->portid == key->portid && s->uid == key->uid)
			return s;
	return NULL;
}

static void korun_unlink(struct korun_session *s, struct list_head *reap)
{
	lockdep_assert_held(&korun_lock);
	list_del(&s->node);
	s->removed = true;
	korun_nr_sessions--;
	if (reap)
		list_add(&s->node, reap);
}

static void korun_free(struct korun_session *s)
{
	if (s->http)
		korun_http_close(s->http);
	put_net(s->net);
	kfree(s);
}

/* Sessions unlinked by someone other than their work: stop, then free. */
static void korun_reap(struct list_head *reap)
{
	struct korun_session *s, *tmp;

	list_for_each_entry_safe(s, tmp, reap, node) {
		cancel_delayed_work_sync(&s->work);
		list_del(&s->node);
		korun_free(s);
	}
}

static void korun_session_work(struct work_struct *work)
{
	struct korun_session *s = container_of(to_delayed_work(work),
					       struct korun_session, work);
	bool ended = false;

	mutex_lock(&korun_lock);
	if (s->removed) {
		mutex_unlock(&korun_lock);
		return;
	}
	if (s->idle >= KORUN_KEEPALIVE_INTERVALS) {
		ended = true;
	} else {
		s->idle++;
		if (s->class == KORUN_CLASS_CALL)
			korun_report_sample(s);
		else
			korun_http_report(s->http, &s->aweme);
		/* A full receiver (-EAGAIN) keeps its session. */
		ended = korun_report_send(s) == -ECONNREFUSED;
	}
	if (ended)
		korun_unlink(s, NULL);
	else
		queue_delayed_work(korun_wq, &s->work, korun_delay(s));
	mutex_unlock(&korun_lock);
	if (ended)
		korun_free(s);
}

static struct korun_session *korun_alloc(const struct korun_key *key, u32 class,
					 u32 interval_ms,
					 const struct korun_search_keys *keys)
{
	struct korun_session *s;

	s = kzalloc(sizeof(*s), GFP_KERNEL);
	if (!s)
		return NULL;
	INIT_DELAYED_WORK(&s->work, korun_session_work);
	s->net = get_net(key->net);
	s->portid = key->portid;
	s->uid = key->uid;
	s->class = class;
	s->interval_ms = interval_ms;
	if (class != KORUN_CLASS_CALL) {
		/* Short-video sessions come with their search keys. */
		if (keys)
			s->keys = *keys;
		s->http = korun_http_open(s->net, s->uid, &s->keys,
					  class == KORUN_CLASS_SHORT_VIDEO_PICTURE);
		if (!s->http) {
			put_net(s->net);
			kfree(s);
			return NULL;
		}
	}
	/* Counting starts now: the first report covers the first interval. */
	qoe_acct_read(make_kuid(&init_user_ns, key->uid), &s->base);
	return s;
}

int korun_session_start(const struct korun_key *key, u32 class, u32 interval_ms,
			const struct korun_search_keys *keys)
{
	struct korun_session *s, *old;
	LIST_HEAD(reap);
	int err = 0;

	if (!uid_valid(make_kuid(&init_user_ns, key->uid)))
		return -EINVAL;
	s = korun_alloc(key, class, interval_ms, keys);
	if (!s)
		return -ENOMEM;

	mutex_lock(&korun_lock);
	/* A START for a watched uid restarts its session. */
	old = korun_find(key);
	if (old)
		korun_unlink(old, &reap);
	if (korun_nr_sessions >= max_sessions) {
		err = -EBUSY;
	} else {
		list_add_tail(&s->node, &korun_sessions);
		korun_nr_sessions++;
		queue_delayed_work(korun_wq, &s->work, korun_delay(s));
	}
	mutex_unlock(&korun_lock);

	korun_reap(&reap);
	if (err)
		korun_free(s);
	return err;
}

int korun_session_stop(const struct korun_key *key)
{
	struct korun_session *s;
	LIST_HEAD(reap);

	mutex_lock(&korun_lock);
	s = korun_find(key);
	if (s)
		korun_unlink(s, &reap);
	mutex_unlock(&korun_lock);

	korun_reap(&reap);
	return s ? 0 : -ENOENT;
}

int korun_session_keepalive(const struct korun_key *key)
{
	struct korun_session *s;

	mutex_lock(&korun_lock);
	s = korun_find(key);
	if (s)
		s->idle = 0;
	mutex_unlock(&korun_lock);
	return s ? 0 : -ENOENT;
}

int korun_session_update(const struct korun_key *key, u32 index, u32 state)
{
	struct korun_session *s;

	mutex_lock(&korun_lock);
	s = korun_find(key);
	if (s && s->class != KORUN_CLASS_CALL) {
		korun_aweme_update(&s->aweme, index, state);
		korun_http_update(s->http, index, state);
	}
	mutex_unlock(&korun_lock);
	return s ? 0 : -ENOENT;
}

/* The socket is gone: nothing it asked for may run on. */
void korun_sessions_release_port(struct net *net, u32 portid)
{
	struct korun_session *s, *tmp;
	LIST_HEAD(reap);

	mutex_lock(&korun_lock);
	list_for_each_entry_safe(s, tmp, &korun_sessions, node)
		if (net_eq(s->net, net) && s->portid == portid)
			korun_unlink(s, &reap);
	mutex_unlock(&korun_lock);

	korun_reap(&reap);
}

/*
 * Sends @reports copies of each session's current report at once. A session
 * whose receiver fills up gets no more of them; one whose socket is gone ends.
 */
int korun_sessions_flood(unsigned int reports)
{
	struct korun_session *s, *tmp;
	unsigned int i;
	LIST_HEAD(reap);
	int err;

	if (reports > KORUN_FLOOD_MAX)
		return -ERANGE;
	mutex_lock(&korun_lock);
	list_for_each_entry_safe(s, tmp, &korun_sessions, node) {
		for (i = 0, err = 0; i < reports && !err; i++)
			err = korun_report_send(s);
		if (err == -ECONNREFUSED)
			korun_unlink(s, &reap);
	}
	mutex_unlock(&korun_lock);

	korun_reap(&reap);
	return 0;
}

/* A short-video record for every session of @uid that reports them. */
int korun_sessions_queue_aweme(u32 uid, const struct korun_aweme_write *w)
{
	struct korun_session *s;
	int err = -ENOENT;

	mutex_lock(&korun_lock);
	list_for_each_entry(s, &korun_sessions, node) {
		if (s->uid != uid || s->class == KORUN_CLASS_CALL)
			continue;
		korun_aweme_apply(&s->aweme, w);
		err = 0;
	}
	mutex_unlock(&korun_lock);
	return err;
}

void korun_sessions_show(struct seq_file *seq)
{
	struct korun_session *s;

	seq_puts(seq, "port uid class interval_ms reports idle in_pkts out_pkts in_bytes out_bytes drops detect_index detect_state\n");
	mutex_lock(&korun_lock);
	list_for_each_entry(s, &korun_sessions, node)
		seq_printf(seq, "%u %u %u %u %llu %u %u %u %u %u %llu %u %u\n",
			   s->portid, s->uid, s->class, s->interval_ms,
			   s->reports_sent, s->idle, s->in_pkts, s->out_pkts,
			   s->in_bytes, s->out_bytes, s->send_drops,
			   s->aweme.detect_index, s->aweme.detect_state);
	mutex_unlock(&korun_lock);
}

int korun_sessions_init(void)
{
	korun_wq = alloc_workqueue("zvkorun", 0, 0);
	return korun_wq ? 0 : -ENOMEM;
}

/* After the family and the notifier are gone: no new session can start. */
void korun_sessions_exit(void)
{
	struct korun_session *s, *tmp;
	LIST_HEAD(reap);

	mutex_lock(&korun_lock);
	list_for_each_entry_safe(s, tmp, &korun_sessions, node)
		korun_unlink(s, &reap);
	mutex_unlock(&korun_lock);

	korun_reap(&reap);
	/* Also waits for works that ended their own sessions. */
	destroy_workqueue(korun_wq);
}
