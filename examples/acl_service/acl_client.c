/*
 * acl_client - asks an acl_server on this host.
 *
 *   acl_client tcp|udp PORT check NAME PERMISSIONS [COUNT]   may I? COUNT answers, one a line
 *   acl_client tcp|udp PORT put NAME FILE                    gives an object the ACL of a file
 *   acl_client tcp|udp PORT get NAME                         prints an object's ACL in the form of a file
 *   acl_client tcp|udp PORT stop                             ends the server
 *
 * Ends with 0 when all went well and everything asked for was granted, 1 when something was denied, 2 on failure.
 */
#include "acl_service.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

enum { GRANTED = 0, DENIED = 1, FAILED = 2 };

static int fail(const char *what, tbs_status_t status) {
    fprintf(stderr, "acl_client: %s: %s\n", what, tbs_strerror(status));
    return status == TBS_ST_EACCES ? DENIED : FAILED;
}

/* ---- the connection ------------------------------------------------------------------------------------------ */

/*
 * Says who calls, as AUTH_SYS does it: the ids of this process as plain numbers. The server believes them, so that
 * is for hosts that trust each other's kernels; where they do not, RPCSEC_GSS takes its place, and the server needs no
 * change. AUTH_SYS holds 16 groups; those left out can only lose permissions.
 */
static AUTH *say_who(void) {
    char host[MAX_MACHINE_NAME + 1] = "";
    gethostname(host, sizeof host - 1);
    int count = getgroups(0, NULL);
    gid_t *groups = calloc(count > 0 ? (size_t)count : 1, sizeof *groups);
    if (!groups) return NULL;
    count = getgroups(count, groups);
    if (count < 0) count = 0;
    AUTH *auth = authunix_create(host, getuid(), getgid(), count < NGRPS ? count : NGRPS, groups);
    free(groups);
    return auth;
}

/* Connects to a port, so that no port mapper is asked. NULL on failure, which is printed. */
static CLIENT *connect_to_server(const char *transport, const char *port_text) {
    const bool_t is_tcp = strcmp(transport, "tcp") == 0;
    const unsigned long port = strtoul(port_text, NULL, 10);
    if ((!is_tcp && strcmp(transport, "udp") != 0) || port == 0 || port > 65535) {
        fprintf(stderr, "acl_client: no such transport: %s %s\n", transport, port_text);
        return NULL;
    }
    struct sockaddr_in address = {
        .sin_family = AF_INET, .sin_port = htons((uint16_t)port), .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    struct netbuf to = {sizeof address, sizeof address, &address};
    const int fd = socket(AF_INET, is_tcp ? SOCK_STREAM : SOCK_DGRAM, 0);
    CLIENT *server = fd < 0   ? NULL
                     : is_tcp ? clnt_vc_create(fd, &to, ACL_SERVICE_PROGRAM, ACL_SERVICE_VERSION, 0, 0)
                              : clnt_dg_create(fd, &to, ACL_SERVICE_PROGRAM, ACL_SERVICE_VERSION, 0, 0);
    if (!server) {
        clnt_pcreateerror("acl_client");
        if (fd >= 0) close(fd);
        return NULL;
    }
    clnt_control(server, CLSET_FD_CLOSE, NULL);
    struct timeval repeat = {1, 0};
    if (!is_tcp) clnt_control(server, CLSET_RETRY_TIMEOUT, (void *)&repeat);
    AUTH *auth = say_who();
    if (auth) {
        auth_destroy(server->cl_auth);
        server->cl_auth = auth;
    }
    return server;
}

/* Calls a procedure. FALSE when there is no reply, which is printed. */
static bool_t call(CLIENT *server, rpcproc_t procedure, xdrproc_t encode, void *request, xdrproc_t decode,
                   void *reply) {
    const struct timeval limit = {10, 0};
    if (clnt_call(server, procedure, encode, request, decode, reply, limit) == RPC_SUCCESS) return TRUE;
    clnt_perror(server, "acl_client");
    return FALSE;
}

/* ---- commands ------------------------------------------------------------------------------------------------ */

static bool_t set_name(tbs_name_t name, const char *text) {
    if (strlen(text) >= sizeof(tbs_name_t)) {
        fail(text, TBS_ST_ENAMETOOLONG);
        return FALSE;
    }
    strutl_cpy_buf(name, sizeof(tbs_name_t), text);
    return TRUE;
}

static int check(CLIENT *server, char **words) {
    acl_check_request_t request = {.wanted = 0};
    if (!set_name(request.name, words[0])) return FAILED;
    const tbs_status_t status = tbs_acl_utl_perm_set_from_str(words[1], acl_service_names, ACL_SERVICE_NAME_COUNT,
                                                              &acl_service_map, &request.wanted);
    if (status != 0) return FAILED; /* the library has said why */

    int result = GRANTED;
    for (unsigned long left = words[2] ? strtoul(words[2], NULL, 10) : 1; left > 0; left--) {
        acl_check_reply_t reply = {0, 0};
        if (!call(server, ACL_SERVICE_CHECK, (xdrproc_t)xdr_acl_check_request, &request,
                  (xdrproc_t)xdr_acl_check_reply, &reply)) {
            return FAILED;
        }
        if (reply.status != 0) return fail(words[0], reply.status);
        puts(reply.granted ? "granted" : "denied");
        if (!reply.granted) result = DENIED;
    }
    return result;
}

static int put(CLIENT *server, char **words) {
    acl_put_request_t request = {.cursor = 0};
    if (!set_name(request.name, words[0])) return FAILED;
    if (tbs_sid_acl_utl_parse(words[1], acl_service_names, ACL_SERVICE_NAME_COUNT, &acl_service_map, &request.acl) !=
        0) {
        return FAILED;
    }
    tbs_status_t status = 0;
    bool_t replied = FALSE;
    do { /* each piece begins where the one before it ended */
        request.cursor = request.next;
        replied = call(server, ACL_SERVICE_PUT, (xdrproc_t)xdr_acl_put_request, &request, (xdrproc_t)xdr_tbs_status_t,
                       &status);
    } while (replied && status == 0 && request.next != 0);
    xdr_free((xdrproc_t)xdr_acl_put_request, &request);
    return !replied ? FAILED : status == 0 ? GRANTED : fail(words[0], status);
}

static int get(CLIENT *server, char **words) {
    acl_get_request_t request = {.cursor = 0};
    acl_get_reply_t reply = {.status = 0};
    if (!set_name(request.name, words[0])) return FAILED;
    bool_t replied = FALSE;
    do { /* the reply gathers the pieces and counts them */
        request.cursor = reply.cursor;
        request.generation = reply.generation;
        replied = call(server, ACL_SERVICE_GET, (xdrproc_t)xdr_acl_get_request, &request,
                       (xdrproc_t)xdr_acl_get_reply, &reply);
    } while (replied && reply.status == 0 && reply.cursor != 0);
    tbs_status_t status = reply.status;
    if (replied && status == 0) {
        status =
            tbs_sid_acl_utl_output(stdout, reply.acl, acl_service_names, ACL_SERVICE_NAME_COUNT, &acl_service_map);
    }
    xdr_free((xdrproc_t)xdr_acl_get_reply, &reply);
    return !replied ? FAILED : status == 0 ? GRANTED : fail(words[0], status);
}

static int stop(CLIENT *server, char **words) {
    (void)words;
    tbs_status_t status = 0;
    if (!call(server, ACL_SERVICE_EXIT, (xdrproc_t)xdr_server_exit_req, NULL, (xdrproc_t)xdr_server_exit_reply,
              &status)) {
        return FAILED;
    }
    return status == 0 ? GRANTED : fail("stop", status);
}

/* ---- start --------------------------------------------------------------------------------------------------- */

typedef struct command {
    const char *name;
    int min_words, max_words; /* behind the name */
    int (*run)(CLIENT *server, char **words);
} command_t;

static const command_t commands[] = {
    {"check", 2, 3, check},
    {"put", 2, 2, put},
    {"get", 1, 1, get},
    {"stop", 0, 0, stop},
};

static const command_t *find_command(const char *name, int words) {
    for (size_t i = 0; i < sizeof commands / sizeof *commands; i++) {
        const command_t *command = &commands[i];
        if (strcmp(command->name, name) == 0 && words >= command->min_words && words <= command->max_words)
            return command;
    }
    return NULL;
}

int main(int argc, char **argv) {
    const command_t *command = argc < 4 ? NULL : find_command(argv[3], argc - 4);
    if (!command) {
        fprintf(stderr,
                "usage: acl_client tcp|udp PORT check NAME PERMISSIONS [COUNT] | put NAME FILE | get NAME | stop\n");
        return FAILED;
    }
    CLIENT *server = connect_to_server(argv[1], argv[2]);
    if (!server) return FAILED;
    int result = command->run(server, argv + 4); /* argv ends with NULL: a word left out is NULL */
    auth_destroy(server->cl_auth);
    clnt_destroy(server);
    if (fflush(stdout) != 0) result = FAILED;
    return result;
}
