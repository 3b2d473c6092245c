/*
 * event_feed_xdr.c - how the records of the feed travel.
 *
 * A routine names the members in wire order, once for all three directions. The entries are the library's: a client
 * takes memory for what has arrived, never for what a count claims.
 */
#include "event_feed.h"

#include <ezrpc/ezrpc_xdr.h>

bool_t xdr_event_feed_request(XDR *stream, event_feed_request_t *request) {
    return xdr_vob_oplog_id_t(stream, &request->after) && xdr_u_int(stream, &request->most);
}

bool_t xdr_event_feed_reply(XDR *stream, event_feed_reply_t *reply) {
    return xdr_tbs_status_t(stream, &reply->status) &&
           xdr_ez_array(stream, (char **)(void *)&reply->entries, &reply->n_entries, EVENT_FEED_MOST,
                        sizeof *reply->entries, (xdrproc_t)xdr_vob_oplog_ent_t);
}
