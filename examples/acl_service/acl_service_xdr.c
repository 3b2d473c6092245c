/*
 * acl_service_xdr.c - how the service's records travel.
 *
 * A routine names the members in wire order, once for all three directions. What a peer may claim is limited by the
 * routines of the library: names by their buffers, pieces of an ACL by what has really arrived.
 */
#include "acl_service.h"

bool_t xdr_acl_check_request(XDR *stream, acl_check_request_t *request) {
    return xdr_tbs_name_t(stream, request->name) && xdr_tbs_acl_permission_set_t(stream, &request->wanted);
}

bool_t xdr_acl_check_reply(XDR *stream, acl_check_reply_t *reply) {
    return xdr_tbs_status_t(stream, &reply->status) && xdr_tbs_boolean_t(stream, &reply->granted);
}

/* The cursor stays as it is: a call that is sent again must send the same piece. */
bool_t xdr_acl_put_request(XDR *stream, acl_put_request_t *request) {
    if (!xdr_tbs_name_t(stream, request->name) || !xdr_ks_uint32_t(stream, &request->cursor)) return FALSE;
    request->next = request->cursor;
    return xdr_tbs_sid_acl_fragment_t(stream, &request->acl, &request->next);
}

bool_t xdr_acl_get_request(XDR *stream, acl_get_request_t *request) {
    return xdr_tbs_name_t(stream, request->name) && xdr_ks_uint32_t(stream, &request->cursor) &&
           xdr_vob_gen_num_t(stream, &request->generation);
}

/* In the free direction the ACL is released whatever the status says. */
bool_t xdr_acl_get_reply(XDR *stream, acl_get_reply_t *reply) {
    if (!xdr_tbs_status_t(stream, &reply->status)) return FALSE;
    if (reply->status != 0 && stream->x_op != XDR_FREE) return TRUE;
    return xdr_vob_gen_num_t(stream, &reply->generation) &&
           xdr_tbs_sid_acl_fragment_t(stream, &reply->acl, &reply->cursor);
}
