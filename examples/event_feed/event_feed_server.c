/*
 * event_feed_server - hands out the log of a repository.
 *
 *   event_feed_server COUNT
 *
 * The log is made up: COUNT entries, of which every third is a build with its configuration record. The server listens
 * on a free port of the loopback interface, prints it as "tcp PORT", and serves until a client asks it to end.
 *
 * One thread serves all clients, and the log does not change, so nothing here is locked.
 */
#include "event_feed.h"

#include <arpa/inet.h>
#include <rpc/rpc_com.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

enum {
    MOST_ENTRIES = 100000,
    FIRST_TIME = 1700000000, /* 2023-11-14 22:13:20 UTC */
    MAX_RECORD_SIZE = 64 * 1024
};

/* ---- the log ----------------------------------------------------------------------------------------------------- */

static vob_oplog_ent_t *entries;
static uint32_t entry_count;
static bool_t ending;

/* An identifier that is the same in every run. */
static tbs_oid_t oid_of(uint32_t number) {
    const tbs_oid_t oid = {
        .time_low = 0x5eed0000u + number, .time_hi_and_version = 0x4000, .clock_seq_hi_and_reserved = 0x80};
    return oid;
}

static char *format_text(const char *format, uint32_t number) {
    char text[64];
    strutl_snprintf(text, sizeof text, format, number);
    return stg_strdup(text);
}

/* The compressed record of a build of one object from one source. FALSE when there is no memory. */
static bool_t make_cr(uint32_t number, int64_t time, tbs_cr_compressed_t **made) {
    tbs_cr_mfs_obj_desc_t source = {.oid = oid_of(number), .mtime = time - 60, .ftype = 1, .name = NULL};
    tbs_cr_mfs_obj_desc_t *objects[] = {&source};
    char name[32], target[32], command[80], user[] = "builder", host[] = "forge";
    strutl_snprintf(name, sizeof name, "src/part%u.c@@/main/3", number);
    strutl_snprintf(target, sizeof target, "part%u.o", number);
    strutl_snprintf(command, sizeof command, "cc -O2 -c src/part%u.c", number);
    source.name = name;
    tbs_cr_t cr = {.build_time = time,
                   .elapsed = 2,
                   .user = user,
                   .host = host,
                   .target = target,
                   .command = command,
                   .mfs_object_count = 1,
                   .mfs_objects = objects};
    return tbs_cr_to_compressed(&cr, made) == 0;
}

static bool_t add_build(vob_oplog_ent_t *entry, uint32_t number) {
    entry->op = VOB_OPLOG_OP_PUT_CR;
    entry->cr = stg_calloc(1, sizeof *entry->cr);
    return entry->cr && make_cr(number, entry->time, &entry->cr->cr);
}

static bool_t make_entry(vob_oplog_ent_t *entry, uint32_t number) {
    entry->op = VOB_OPLOG_OP_CHECKIN;
    entry->object = oid_of(number);
    entry->replica = oid_of(0);
    entry->entry = entry->origin_entry = number;
    entry->time = entry->replay_time = FIRST_TIME + (int64_t)number * 60;
    vob_event_legacy_info_t *event = entry->event = stg_calloc(1, sizeof *event);
    if (!event) return FALSE;
    const bool_t is_build = number % 3 == 0;
    event->kind = is_build ? VOB_EVKIND_CREATE : VOB_EVKIND_CHECKIN;
    event->op = is_build ? VOB_OP_NONE : VOB_OP_CHECKIN;
    event->time = entry->time;
    event->object = 1000 + number;
    event->user = stg_strdup(is_build ? "builder" : "mira");
    event->host = stg_strdup("forge");
    event->name = format_text(is_build ? "part%u.o" : "src/part%u.c", number);
    event->comment = is_build ? NULL : format_text("change %u", number);
    return event->user && event->host && event->name && (!is_build || add_build(entry, number));
}

static bool_t make_log(uint32_t count) {
    entries = stg_calloc(count ? count : 1, sizeof *entries);
    if (!entries) return FALSE;
    while (entry_count < count) {
        vob_oplog_ent_t *entry = &entries[entry_count++]; /* counted at once: free_log() releases half of one, too */
        if (!make_entry(entry, entry_count)) return FALSE;
    }
    return TRUE;
}

static void free_log(void) {
    for (uint32_t i = 0; i < entry_count; i++) xdr_free((xdrproc_t)xdr_vob_oplog_ent_t, &entries[i]);
    stg_free(entries);
}

/* ---- procedures -------------------------------------------------------------------------------------------------- */

/* Entries are sent from where they stand; the reply does not own them. */
static void next(SVCXPRT *transport) {
    event_feed_request_t request = {0, 0};
    if (!svc_getargs(transport, (xdrproc_t)xdr_event_feed_request, (void *)&request)) {
        svcerr_decode(transport);
        return;
    }
    const uint32_t first = request.after < entry_count ? request.after : entry_count;
    uint32_t count = entry_count - first;
    if (count > request.most) count = request.most;
    if (count > EVENT_FEED_MOST) count = EVENT_FEED_MOST;
    event_feed_reply_t reply = {0, count, entries + first};
    if (!svc_sendreply(transport, (xdrproc_t)xdr_event_feed_reply, (void *)&reply)) svcerr_systemerr(transport);
}

static void dispatch(struct svc_req *call, SVCXPRT *transport) {
    tbs_status_t status = 0;
    switch (call->rq_proc) {
    case EVENT_FEED_NULL: svc_sendreply(transport, (xdrproc_t)(void (*)(void))xdr_void, NULL); break;
    case EVENT_FEED_NEXT: next(transport); break;
    case EVENT_FEED_EXIT:
        svc_sendreply(transport, (xdrproc_t)xdr_server_exit_reply, (void *)&status);
        ending = TRUE;
        svc_exit();
        break;
    default: svcerr_noproc(transport);
    }
}

/* ---- start ------------------------------------------------------------------------------------------------------- */

/* Listens on a free port of the loopback interface; no port mapper is told. */
static bool_t listen_to_clients(void) {
    signal(SIGPIPE, SIG_IGN); /* a client that goes away must not end the server */
    int record_size = MAX_RECORD_SIZE;
    struct sockaddr_in address = {.sin_family = AF_INET, .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    socklen_t length = sizeof address;
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0 || bind(fd, (struct sockaddr *)&address, length) != 0 ||
        getsockname(fd, (struct sockaddr *)&address, &length) != 0 || listen(fd, SOMAXCONN) != 0 ||
        !rpc_control(RPC_SVC_CONNMAXREC_SET, &record_size)) {
        return FALSE;
    }
    SVCXPRT *transport = svc_vc_create(fd, 0, 0);
    if (!transport || !svc_reg(transport, EVENT_FEED_PROGRAM, EVENT_FEED_VERSION, dispatch, NULL)) return FALSE;
    printf("tcp %u\n", ntohs(address.sin_port));
    return fflush(stdout) == 0;
}

int main(int argc, char **argv) {
    const unsigned long count = argc == 2 ? strtoul(argv[1], NULL, 10) : MOST_ENTRIES + 1ul;
    if (count > MOST_ENTRIES) {
        fprintf(stderr, "usage: event_feed_server COUNT, of at most %d entries\n", MOST_ENTRIES);
        return EXIT_FAILURE;
    }
    const bool_t made = make_log((uint32_t)count);
    if (!made) {
        fprintf(stderr, "event_feed_server: %s\n", tbs_strerror(TBS_ST_ENOMEM));
    } else if (!listen_to_clients()) {
        perror("event_feed_server: cannot listen");
    } else {
        svc_run(); /* until svc_exit() */
    }
    free_log();
    return ending ? EXIT_SUCCESS : EXIT_FAILURE;
}
