/*
 * event_feed.h - what the event server and its clients agree upon.
 *
 * The server keeps a log of what was done in a repository: each entry with its event and, after a build, with the
 * configuration record of what was built. Clients fetch entries in batches and remember the number of the last one.
 *
 *   procedure  argument              result
 *   NULL       nothing               nothing
 *   NEXT       event_feed_request_t  event_feed_reply_t  the entries behind one
 *   EXIT       nothing               tbs_status_t        ends the server
 *
 * Whoever reaches the port may read and may end the server: a real one would ask who calls, as acl_server does.
 */
#ifndef EVENT_FEED_H
#define EVENT_FEED_H

#include <rpc/rpc.h>
#include <tbs/tbs.h>

KS_BEGIN_C

/* A number of the range that everybody may use without asking. */
#define EVENT_FEED_PROGRAM 0x400ac101u
#define EVENT_FEED_VERSION 1u

enum { EVENT_FEED_NULL = 0, EVENT_FEED_NEXT = 1, EVENT_FEED_EXIT = 2 };

/* Entries that one reply holds at most, whatever is asked for. */
enum { EVENT_FEED_MOST = 64 };

typedef struct event_feed_request {
    vob_oplog_id_t after; /* number of the last entry that the client has, 0 for none */
    uint32_t most;        /* entries that it wants at a time */
} event_feed_request_t;

typedef struct event_feed_reply {
    tbs_status_t status;
    u_int n_entries; /* 0: there is nothing new */
    vob_oplog_ent_t *entries;
} event_feed_reply_t;

bool_t xdr_event_feed_request(XDR *stream, event_feed_request_t *request);
bool_t xdr_event_feed_reply(XDR *stream, event_feed_reply_t *reply);

KS_END_C

#endif
