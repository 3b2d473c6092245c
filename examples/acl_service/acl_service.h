/*
 * acl_service.h - what the ACL server and its clients agree upon: numbers, records, permissions.
 *
 * The server keeps named objects, each with an owner and a SID ACL, and answers who may do what. Whoever calls must
 * say who he is (AUTH_SYS or RPCSEC_GSS); only the null procedure is for everybody.
 *
 *   procedure  argument             result
 *   NULL       nothing              nothing
 *   CHECK      acl_check_request_t  acl_check_reply_t   may the caller do this?
 *   PUT        acl_put_request_t    tbs_status_t        a piece of an object's new ACL; the last one stores it
 *   GET        acl_get_request_t    acl_get_reply_t     a piece of an object's ACL
 *   EXIT       nothing              tbs_status_t        ends the server; for its own user
 *
 * An owner may always read and change the ACL of his object; others need AclRead and AclWrite. Who puts a new object
 * owns it.
 */
#ifndef ACL_SERVICE_H
#define ACL_SERVICE_H

#include <rpc/rpc.h>
#include <tbs/tbs.h>

KS_BEGIN_C

/* A number of the range that everybody may use without asking; a product registers one of its own. */
#define ACL_SERVICE_PROGRAM 0x400ac100u
#define ACL_SERVICE_VERSION 1u

enum {
    ACL_SERVICE_NULL = 0, /* procedure 0 does nothing in every program: a client can see whether the server lives */
    ACL_SERVICE_CHECK = 1,
    ACL_SERVICE_PUT = 2,
    ACL_SERVICE_GET = 3,
    ACL_SERVICE_EXIT = 4
};

typedef struct acl_check_request {
    tbs_name_t name;                 /* of the object */
    tbs_acl_permission_set_t wanted; /* free of generic permissions */
} acl_check_request_t;

typedef struct acl_check_reply {
    tbs_status_t status;
    tbs_boolean_t granted;
} acl_check_reply_t;

typedef struct acl_put_request {
    tbs_name_t name;
    uint32_t cursor;     /* entries sent before this piece; 0 begins anew */
    uint32_t next;       /* entries sent with this piece, 0 when it is the last: set on encode and decode, not sent */
    tbs_sid_acl_h_t acl; /* to encode the whole ACL, of which the piece is sent; decoded the piece alone */
} acl_put_request_t;

typedef struct acl_get_request {
    tbs_name_t name;
    uint32_t cursor;          /* entries received so far */
    vob_gen_num_t generation; /* of the first piece; ignored when the cursor is 0 */
} acl_get_request_t;

typedef struct acl_get_reply {
    tbs_status_t status;      /* when not 0 nothing follows */
    vob_gen_num_t generation; /* another one after each change of the ACL: pieces of two never mix */
    uint32_t cursor;          /* moved on by each piece, 0 after the last: keep it, and the ACL, from call to call */
    tbs_sid_acl_h_t acl;      /* to encode the whole ACL; decoded pieces gather in it */
} acl_get_reply_t;

/* Routines of the records, as in tbs/tbs_xdr.h. */
bool_t xdr_acl_check_request(XDR *stream, acl_check_request_t *request);
bool_t xdr_acl_check_reply(XDR *stream, acl_check_reply_t *reply);
bool_t xdr_acl_put_request(XDR *stream, acl_put_request_t *request);
bool_t xdr_acl_get_request(XDR *stream, acl_get_request_t *request);
bool_t xdr_acl_get_reply(XDR *stream, acl_get_reply_t *reply);

/* The permissions of this service's objects, and what the four generic names stand for. */
#define ACL_SERVICE_NAME_COUNT 4
extern const tbs_acl_perm_name_t acl_service_names[ACL_SERVICE_NAME_COUNT];
extern const tbs_acl_generic_map_t acl_service_map;

KS_END_C

#endif
