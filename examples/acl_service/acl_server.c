/*
 * acl_server - keeps objects with their ACLs and decides requests for them.
 *
 *   acl_server [NAME=FILE[:OWNER-USER-SID:OWNER-GROUP-SID]]...
 *
 * Each argument is an object whose ACL stands in a text file. The server listens on two free ports of the loopback
 * interface, prints them as "tcp PORT udp PORT", and serves until its own user asks it to end. No port mapper is
 * needed. ORSIK_TRACE=tbs_acl:3 with ORSIK_VERBOSITY=3 makes the library print why it decided as it did.
 *
 * One thread serves all clients, so nothing here is locked.
 */
#include "acl_service.h"

#include <arpa/inet.h>
#include <ks/ks_errno.h>
#include <rpc/rpc_com.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

/* What clients can make the server hold. */
enum {
    MAX_OBJECTS = 256,
    MAX_ACL_SIZE = 64 * 1024,     /* of one ACL, as tbs_sid_acl_size() counts */
    MAX_UPLOADS = 16,             /* ACLs of which not all pieces have come; the oldest makes room */
    MAX_RECORD_SIZE = 128 * 1024, /* of a request over TCP */
    MAX_DESCRIPTORS = 128,        /* connections and the few files that are open now and then */
    REMEMBERED_REPLIES = 64       /* over UDP */
};

static const tbs_acl_permission_set_t change_acl = TBS_ACL_PERM_ACL_WRITE;
static const tbs_acl_permission_set_t read_acl = TBS_ACL_PERM_ACL_READ;

/* ---- objects ------------------------------------------------------------------------------------------------- */

/* An ACL is kept as the bytes that a database would store, not as a handle. */
typedef struct object {
    tbs_name_t name;
    credutl_sid_t owner_user, owner_group; /* CREDUTL_SID_NOBODY, which no caller is, when there is none */
    vob_gen_num_t generation;
    uint32_t length;
    void *bytes;
} object_t;

static object_t objects[MAX_OBJECTS];
static size_t object_count;

static object_t *find_object(const char *name) {
    for (size_t i = 0; i < object_count; i++) {
        if (strcmp(objects[i].name, name) == 0) return &objects[i];
    }
    return NULL;
}

/* Stores an ACL as bytes. Owners are those of a new object; one that is there keeps its own. */
static tbs_status_t store(const char *name, tbs_sid_acl_h_t acl, const credutl_sid_t *owner_user,
                          const credutl_sid_t *owner_group) {
    object_t *object = find_object(name);
    if (!object && object_count == MAX_OBJECTS) return TBS_ST_ENOSPC;
    if (tbs_sid_acl_size(acl) > MAX_ACL_SIZE) return TBS_ST_ACL_TOO_LONG;

    uint32_t length = 0;
    void *bytes = NULL;
    tbs_status_t status = tbs_sid_acl_encode(acl, &length, &bytes);
    if (status != 0) return status;

    if (!object) {
        object = &objects[object_count++];
        strutl_cpy_buf(object->name, sizeof object->name, name);
        object->owner_user = *owner_user;
        object->owner_group = *owner_group;
    }
    stg_free(object->bytes);
    object->bytes = bytes;
    object->length = length;
    object->generation++;
    return 0;
}

/* The question that the library is for: bytes to handle, handle and client to an answer. */
static tbs_status_t decide(const object_t *object, tbs_acl_permission_set_t wanted, const credutl_client_t *client,
                           tbs_boolean_t *granted) {
    tbs_sid_acl_h_t acl = NULL;
    tbs_status_t status = tbs_sid_acl_decode(object->length, object->bytes, &acl);
    if (status == 0) {
        status =
            tbs_sid_acl_check_permission(acl, wanted, client, &object->owner_user, &object->owner_group, granted);
    }
    tbs_sid_acl_free(&acl);
    return status;
}

/* What every owner may do, whatever the ACL of his object says: an ACL too, made by main(). */
static tbs_sid_acl_h_t owner_rights;

/* Asks for permissions on the ACL itself. 0 when they are granted. */
static tbs_status_t demand(const object_t *object, tbs_acl_permission_set_t wanted, const credutl_client_t *client) {
    tbs_boolean_t granted = 0;
    tbs_status_t status =
        tbs_sid_acl_check_permission(owner_rights, wanted, client, &object->owner_user, NULL, &granted);
    if (status == 0 && !granted) status = decide(object, wanted, client, &granted);
    return status != 0 || granted ? status : TBS_ST_EACCES;
}

/* Gives the SIDs of a client that was made from a request or a process. */
static tbs_status_t find_sids(const credutl_client_t *client, credutl_sid_t *user, credutl_sid_t *group) {
    char domain[256];
    credutl_cracked_t cracked;
    const int error = credutl_crack_client(client, domain, sizeof domain, &cracked);
    if (error != 0) return tbs_errno2status(error);
    const tbs_status_t status = cracked.form == CREDUTL_FORM_SID ? 0 : TBS_ST_EINVAL;
    if (status == 0) {
        *user = cracked.sids->user;
        *group = cracked.sids->group;
    }
    credutl_free_cracked(&cracked);
    return status;
}

/* ---- uploads: ACLs that arrive in pieces --------------------------------------------------------------------- */

typedef struct upload {
    tbs_name_t name;
    credutl_sid_t user;              /* who sends it */
    struct sockaddr_storage address; /* and from where: over TCP that is the connection */
    uint32_t received;               /* entries */
    tbs_sid_acl_h_t acl;             /* NULL: this place is free */
    unsigned long long started;
} upload_t;

static upload_t uploads[MAX_UPLOADS];
static unsigned long long upload_clock;

static void end_upload(upload_t *upload) { tbs_sid_acl_free(&upload->acl); }

static upload_t *find_upload(const char *name, const credutl_sid_t *user, const struct sockaddr_storage *address) {
    for (upload_t *at = uploads; at < uploads + MAX_UPLOADS; at++) {
        if (at->acl && strcmp(at->name, name) == 0 && credutl_sid_eq(&at->user, user) &&
            memcmp(&at->address, address, sizeof *address) == 0) {
            return at;
        }
    }
    return NULL;
}

/* Takes a free place, or that of the oldest upload: one that is never finished cannot stay in the way. */
static upload_t *start_upload(const char *name, const credutl_sid_t *user, const struct sockaddr_storage *address) {
    upload_t *place = uploads;
    for (upload_t *at = uploads; at < uploads + MAX_UPLOADS && place->acl; at++) {
        if (!at->acl || at->started < place->started) place = at;
    }
    end_upload(place);
    if (tbs_sid_acl_create(&place->acl) != 0) return NULL;
    strutl_cpy_buf(place->name, sizeof place->name, name);
    place->user = *user;
    place->address = *address;
    place->received = 0;
    place->started = ++upload_clock;
    return place;
}

/* Adds the entries of a piece. Each is checked as if it came from a file; what no file could hold is refused. */
static tbs_status_t add_piece(tbs_sid_acl_h_t acl, tbs_sid_acl_h_t piece) {
    uint32_t cursor = 0;
    for (tbs_acl_cooked_ent_t *entry; (entry = tbs_sid_acl_next_entry(piece, &cursor)) != NULL;) {
        const tbs_status_t status = tbs_sid_acl_set_entry(acl, entry->id, entry->perms);
        if (status != 0) return status == TBS_ST_ENOMEM ? status : TBS_ST_EINVAL;
    }
    return tbs_sid_acl_size(acl) > MAX_ACL_SIZE ? TBS_ST_ACL_TOO_LONG : 0;
}

/* ---- procedures: each fills a reply from a request ----------------------------------------------------------- */

typedef union request {
    acl_check_request_t check;
    acl_put_request_t put;
    acl_get_request_t get;
} request_t;

typedef union reply {
    acl_check_reply_t check;
    acl_get_reply_t get;
    tbs_status_t status;
} reply_t;

typedef struct caller {
    const credutl_client_t *client;
    struct sockaddr_storage address;
} caller_t;

static object_t self; /* stands for the server: who owns it may end it */
static bool_t ending;

static void check(const caller_t *caller, const request_t *request, reply_t *reply) {
    const object_t *object = find_object(request->check.name);
    reply->check.status =
        !object ? TBS_ST_NOT_FOUND : decide(object, request->check.wanted, caller->client, &reply->check.granted);
}

static tbs_status_t take_piece(const caller_t *caller, const acl_put_request_t *put) {
    const object_t *object = find_object(put->name);
    tbs_status_t status = object ? demand(object, change_acl, caller->client) : 0;
    if (status != 0) return status;
    if (put->name[0] == '\0' || !put->acl) return TBS_ST_EINVAL;

    credutl_sid_t user, group;
    status = find_sids(caller->client, &user, &group);
    if (status != 0) return status;

    upload_t *upload = find_upload(put->name, &user, &caller->address);
    if (upload && put->cursor == 0) {
        end_upload(upload);
        upload = NULL;
    }
    if (!upload && put->cursor == 0) {
        upload = start_upload(put->name, &user, &caller->address);
        if (!upload) return TBS_ST_ENOMEM;
    }
    if (!upload || put->cursor != upload->received) return TBS_ST_EINVAL;

    status = add_piece(upload->acl, put->acl);
    upload->received = put->next;
    const bool_t is_last = put->next == 0;
    if (status == 0 && is_last) status = store(put->name, upload->acl, &user, &group);
    if (status != 0 || is_last) end_upload(upload);
    return status;
}

static void put(const caller_t *caller, const request_t *request, reply_t *reply) {
    reply->status = take_piece(caller, &request->put);
}

static tbs_status_t give_piece(const caller_t *caller, const acl_get_request_t *get, acl_get_reply_t *reply) {
    const object_t *object = find_object(get->name);
    if (!object) return TBS_ST_NOT_FOUND;
    tbs_status_t status = demand(object, read_acl, caller->client);
    if (status != 0) return status;
    if (get->cursor != 0 && get->generation != object->generation) return TBS_ST_ESTALE;

    reply->generation = object->generation;
    reply->cursor = get->cursor;
    status = tbs_sid_acl_decode(object->length, object->bytes, &reply->acl);
    if (status != 0) return status;
    return get->cursor <= tbs_sid_acl_num_entries(reply->acl) ? 0 : TBS_ST_EINVAL;
}

static void get(const caller_t *caller, const request_t *request, reply_t *reply) {
    reply->get.status = give_piece(caller, &request->get, &reply->get);
}

static void end(const caller_t *caller, const request_t *request, reply_t *reply) {
    (void)request;
    tbs_boolean_t granted = 0;
    reply->status =
        tbs_sid_acl_check_permission(owner_rights, change_acl, caller->client, &self.owner_user, NULL, &granted);
    if (reply->status == 0 && !granted) reply->status = TBS_ST_EACCES;
    ending = reply->status == 0;
}

/* ---- dispatch ------------------------------------------------------------------------------------------------ */

/* xdrproc_t takes any number of arguments, the routines take two: the casts are what the RPC library asks for. */
typedef struct procedure {
    xdrproc_t request, reply;
    void (*run)(const caller_t *, const request_t *, reply_t *);
} procedure_t;

static const procedure_t procedures[] = {
    [ACL_SERVICE_CHECK] = {(xdrproc_t)xdr_acl_check_request, (xdrproc_t)xdr_acl_check_reply, check},
    [ACL_SERVICE_PUT] = {(xdrproc_t)xdr_acl_put_request, (xdrproc_t)xdr_tbs_status_t, put},
    [ACL_SERVICE_GET] = {(xdrproc_t)xdr_acl_get_request, (xdrproc_t)xdr_acl_get_reply, get},
    [ACL_SERVICE_EXIT] = {(xdrproc_t)xdr_server_exit_req, (xdrproc_t)xdr_server_exit_reply, end},
};
static const rpcproc_t procedure_count = sizeof procedures / sizeof *procedures;

/* Makes a client of the request's credentials; without them the request is refused here and NULL given. */
static credutl_client_t *identify(struct svc_req *call, SVCXPRT *transport) {
    credutl_client_t *client = NULL;
    switch (credutl_client_from_rpc(call, &client)) {
    case 0: break;
    case KS_EACCES: svcerr_weakauth(transport); break;
    case KS_ENOENT: svcerr_auth(transport, AUTH_BADCRED); break;
    default: svcerr_systemerr(transport); break;
    }
    return client;
}

static void answer(const procedure_t *procedure, const credutl_client_t *client, SVCXPRT *transport) {
    request_t request;
    reply_t reply;
    memset(&request, 0, sizeof request); /* what is decoded into must be empty */
    memset(&reply, 0, sizeof reply);
    if (svc_getargs(transport, procedure->request, (void *)&request)) {
        caller_t caller = {.client = client};
        const struct netbuf *address = svc_getrpccaller(transport);
        if (address->len <= sizeof caller.address) memcpy(&caller.address, address->buf, address->len);
        procedure->run(&caller, &request, &reply);
        /* A reply that does not fit its transport: the client is told, or it would ask again and again. */
        if (!svc_sendreply(transport, procedure->reply, (void *)&reply)) svcerr_systemerr(transport);
        xdr_free(procedure->reply, &reply);
    } else {
        svcerr_decode(transport);
    }
    /* Half a request is released too. */
    svc_freeargs(transport, procedure->request, (void *)&request);
}

/* Called for every request. Credentials come first: a stranger's arguments are not even decoded. */
static void dispatch(struct svc_req *call, SVCXPRT *transport) {
    if (call->rq_proc == ACL_SERVICE_NULL) {
        svc_sendreply(transport, (xdrproc_t)(void (*)(void))xdr_void, NULL);
    } else if (call->rq_proc >= procedure_count) {
        svcerr_noproc(transport);
    } else {
        credutl_client_t *client = identify(call, transport);
        if (client) answer(&procedures[call->rq_proc], client, transport);
        credutl_client_free(&client);
    }
    if (ending) svc_exit();
}

/* ---- start --------------------------------------------------------------------------------------------------- */

/* Makes a socket on a free port of the loopback interface; the port is stored. -1 on failure. */
static int bind_socket(int type, unsigned *port) {
    struct sockaddr_in address = {.sin_family = AF_INET, .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    socklen_t length = sizeof address;
    const int fd = socket(AF_INET, type, 0);
    if (fd < 0) return -1;
    if (bind(fd, (struct sockaddr *)&address, length) != 0 ||
        getsockname(fd, (struct sockaddr *)&address, &length) != 0 ||
        (type == SOCK_STREAM && listen(fd, SOMAXCONN) != 0)) {
        close(fd);
        return -1;
    }
    *port = ntohs(address.sin_port);
    return fd;
}

/* A service without a netconfig (the last argument of svc_reg) is not told to a port mapper. */
static bool_t offer(SVCXPRT *transport) {
    return transport && svc_reg(transport, ACL_SERVICE_PROGRAM, ACL_SERVICE_VERSION, dispatch, NULL);
}

static bool_t listen_to_clients(void) {
    /*
     * A client that closes its connection early must not end the server. A record limit also makes connections
     * non-blocking: a client that sends half a request keeps nobody waiting but itself.
     */
    signal(SIGPIPE, SIG_IGN);
    const struct rlimit descriptors = {MAX_DESCRIPTORS, MAX_DESCRIPTORS};
    int record_size = MAX_RECORD_SIZE;
    if (setrlimit(RLIMIT_NOFILE, &descriptors) != 0 || !rpc_control(RPC_SVC_CONNMAXREC_SET, &record_size))
        return FALSE;

    unsigned tcp_port = 0, udp_port = 0;
    const int tcp = bind_socket(SOCK_STREAM, &tcp_port), udp = bind_socket(SOCK_DGRAM, &udp_port);
    if (tcp < 0 || udp < 0) return FALSE;
    SVCXPRT *datagrams = svc_dg_create(udp, 0, 0);
    if (!offer(svc_vc_create(tcp, 0, 0)) || !offer(datagrams)) return FALSE;
    /* A datagram that comes twice gets its reply again; without this a piece of an ACL would be taken twice. */
    if (!svc_dg_enablecache(datagrams, REMEMBERED_REPLIES)) return FALSE;

    printf("tcp %u udp %u\n", tcp_port, udp_port);
    return fflush(stdout) == 0;
}

/* Cuts ":USER-SID:GROUP-SID" off the end of a text, if it is there: a path may have colons of its own. */
static void cut_owners(char *text, credutl_sid_t *user, credutl_sid_t *group) {
    char *second = strrchr(text, ':');
    if (!second) return;
    *second = '\0';
    char *first = strrchr(text, ':');
    credutl_sid_t sids[2];
    if (first && credutl_str_to_sid(first + 1, &sids[0]) == 0 && credutl_str_to_sid(second + 1, &sids[1]) == 0) {
        *first = '\0';
        *user = sids[0];
        *group = sids[1];
    } else {
        *second = ':';
    }
}

/* Reads an object of the command line; the argument is changed in place. The library prints what is wrong in it. */
static tbs_status_t load(char *argument) {
    char *file = strchr(argument, '=');
    if (!file || file == argument || (size_t)(file - argument) >= sizeof(tbs_name_t)) return TBS_ST_EINVAL;
    *file++ = '\0';
    credutl_sid_t user = CREDUTL_SID_NOBODY, group = CREDUTL_SID_NOBODY;
    cut_owners(file, &user, &group);

    tbs_sid_acl_h_t acl = NULL;
    tbs_status_t status =
        tbs_sid_acl_utl_parse(file, acl_service_names, ACL_SERVICE_NAME_COUNT, &acl_service_map, &acl);
    if (status == 0) status = store(argument, acl, &user, &group);
    tbs_sid_acl_free(&acl);
    return status;
}

/* Finds out who runs the server and what owners may do. */
static tbs_status_t prepare(void) {
    credutl_client_t *client = NULL;
    const int error = credutl_client_from_process(&client);
    tbs_status_t status =
        error != 0 ? tbs_errno2status(error) : find_sids(client, &self.owner_user, &self.owner_group);
    credutl_client_free(&client);
    if (status == 0) status = tbs_sid_acl_create(&owner_rights);
    if (status != 0) return status;
    const tbs_sid_acl_id_t owner = {.kind = TBS_ACL_ID_OWNER_USER, .sid = CREDUTL_SID_NOBODY};
    return tbs_sid_acl_set_entry(owner_rights, owner, read_acl | change_acl);
}

static int fail(const char *what, tbs_status_t status) {
    fprintf(stderr, "acl_server: %s: %s\n", what, tbs_strerror(status));
    return EXIT_FAILURE;
}

int main(int argc, char **argv) {
    tbs_status_t status = prepare();
    if (status != 0) return fail("cannot start", status);
    for (int i = 1; i < argc; i++) {
        status = load(argv[i]);
        if (status != 0) return fail(argv[i], status);
    }
    if (!listen_to_clients()) {
        perror("acl_server: cannot listen");
        return EXIT_FAILURE;
    }
    svc_run(); /* until svc_exit() */

    for (size_t i = 0; i < object_count; i++) stg_free(objects[i].bytes);
    for (size_t i = 0; i < MAX_UPLOADS; i++) end_upload(&uploads[i]);
    tbs_sid_acl_free(&owner_rights);
    return ending ? EXIT_SUCCESS : EXIT_FAILURE;
}
