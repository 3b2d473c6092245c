/*
 * event_feed_client - prints the log that an event_feed_server on this host hands out.
 *
 *   event_feed_client PORT [AFTER [BATCH]]   entries behind number AFTER (0), so many at a time (64)
 *   event_feed_client PORT stop              ends the server
 *
 * Ends with 0 when all was received, 2 on failure.
 */
#include "event_feed.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

enum { RECEIVED = 0, FAILED = 2 };

/* Connects to a port of this host, so that no port mapper is asked. NULL on failure, which is printed. */
static CLIENT *connect_to_server(unsigned long port) {
    struct sockaddr_in address = {
        .sin_family = AF_INET, .sin_port = htons((uint16_t)port), .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    struct netbuf to = {sizeof address, sizeof address, &address};
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    CLIENT *server = fd < 0 ? NULL : clnt_vc_create(fd, &to, EVENT_FEED_PROGRAM, EVENT_FEED_VERSION, 0, 0);
    if (server) {
        clnt_control(server, CLSET_FD_CLOSE, NULL);
    } else {
        clnt_pcreateerror("event_feed_client");
        if (fd >= 0) close(fd);
    }
    return server;
}

/* Calls a procedure. FALSE when there is no reply, which is printed. */
static bool_t call(CLIENT *server, rpcproc_t procedure, xdrproc_t encode, void *request, xdrproc_t decode,
                   void *reply) {
    const struct timeval limit = {10, 0};
    if (clnt_call(server, procedure, encode, request, decode, reply, limit) == RPC_SUCCESS) return TRUE;
    clnt_perror(server, "event_feed_client");
    return FALSE;
}

/* ---- entries ----------------------------------------------------------------------------------------------------- */

/* What was built, and of how many objects. */
static void print_build(const tbs_cr_compressed_t *compressed) {
    tbs_cr_t cr;
    memset(&cr, 0, sizeof cr);
    if (compressed->format_version != TBS_CR_COMPRESSED_CURR_FORMAT ||
        tbs_cr_compressed_to_cr(compressed, &cr) != 0) {
        printf("  (a configuration record that cannot be read)\n");
    } else {
        printf("  built by \"%s\" of %u %s\n", cr.command, (unsigned)cr.mfs_object_count,
               cr.mfs_object_count == 1 ? "object" : "objects");
    }
    tbs_cr_free_cr_xdr(&cr);
}

static void print_entry(const vob_oplog_ent_t *entry) {
    char when[32] = "";
    struct tm utc;
    const time_t seconds = (time_t)entry->time;
    if (gmtime_r(&seconds, &utc)) strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%SZ", &utc);
    printf("%u %s", (unsigned)entry->entry, when);
    const vob_event_legacy_info_t *event = entry->event;
    if (event) {
        printf(" %s %s %s", event->user, event->kind == VOB_EVKIND_CHECKIN ? "checked in" : "made", event->name);
        if (event->comment[0] != '\0') printf(": %s", event->comment);
    }
    printf("\n");
    if (entry->cr && entry->cr->cr) print_build(entry->cr->cr);
}

/* ---- commands ---------------------------------------------------------------------------------------------------- */

static int follow(CLIENT *server, vob_oplog_id_t after, uint32_t batch) {
    event_feed_request_t request = {after, batch};
    unsigned received = 0, batches = 0;
    for (;;) {
        event_feed_reply_t reply;
        memset(&reply, 0, sizeof reply);
        const bool_t replied = call(server, EVENT_FEED_NEXT, (xdrproc_t)xdr_event_feed_request, &request,
                                    (xdrproc_t)xdr_event_feed_reply, &reply);
        if (replied && reply.status != 0) fprintf(stderr, "event_feed_client: %s\n", tbs_strerror(reply.status));
        for (u_int i = 0; i < reply.n_entries && replied; i++) {
            print_entry(&reply.entries[i]);
            request.after = reply.entries[i].entry;
        }
        const u_int count = reply.n_entries;
        const bool_t is_good = replied && reply.status == 0;
        xdr_free((xdrproc_t)xdr_event_feed_reply, &reply);
        if (!is_good) return FAILED;
        if (count == 0) break;
        received += count;
        batches++;
    }
    printf("%u entries in %u batches\n", received, batches);
    return RECEIVED;
}

static int stop(CLIENT *server) {
    tbs_status_t status = 0;
    return call(server, EVENT_FEED_EXIT, (xdrproc_t)xdr_server_exit_req, NULL, (xdrproc_t)xdr_server_exit_reply,
                &status) &&
                   status == 0
               ? RECEIVED
               : FAILED;
}

int main(int argc, char **argv) {
    const unsigned long port = argc >= 2 && argc <= 4 ? strtoul(argv[1], NULL, 10) : 0;
    if (port == 0 || port > 65535) {
        fprintf(stderr, "usage: event_feed_client PORT [AFTER [BATCH]] | PORT stop\n");
        return FAILED;
    }
    CLIENT *server = connect_to_server(port);
    if (!server) return FAILED;
    const vob_oplog_id_t after = argc > 2 ? (vob_oplog_id_t)strtoul(argv[2], NULL, 10) : 0;
    const uint32_t batch = argc > 3 ? (uint32_t)strtoul(argv[3], NULL, 10) : EVENT_FEED_MOST;
    int result = argc == 3 && strcmp(argv[2], "stop") == 0 ? stop(server) : follow(server, after, batch);
    auth_destroy(server->cl_auth);
    clnt_destroy(server);
    if (fflush(stdout) != 0) result = FAILED;
    return result;
}
