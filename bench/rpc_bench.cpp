// A check by remote procedure call beside an empty procedure with the same argument and result: what the library adds
// to a round trip over loopback TCP.

#include "bench_support.hpp"
#include "tbs/tbs_xdr.h"

#include <arpa/inet.h>
#include <csignal>
#include <rpc/rpc.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace bench;

constexpr rpcprog_t program = 0x400ac1fe;
constexpr rpcvers_t version = 1;
enum : rpcproc_t { empty_procedure = 1, check_procedure = 2 };

constexpr tbs_acl_permission_set_t wanted = 3;

struct request {
    tbs_name_t name;
    tbs_acl_permission_set_t wanted;
};
struct reply {
    tbs_status_t status;
    tbs_boolean_t granted;
};

bool_t xdr_request(XDR *stream, request *r) {
    return xdr_tbs_name_t(stream, r->name) && xdr_tbs_acl_permission_set_t(stream, &r->wanted);
}
bool_t xdr_reply(XDR *stream, reply *r) {
    return xdr_tbs_status_t(stream, &r->status) && xdr_tbs_boolean_t(stream, &r->granted);
}
template <class T> xdrproc_t proc(bool_t (*routine)(XDR *, T *)) { return reinterpret_cast<xdrproc_t>(routine); }

// ---- the service, in a process of its own

uint32_t stored_length;
void *stored;

void decide(svc_req *call, const request &asked, reply &answer) {
    credutl_client_t *client = nullptr;
    tbs_sid_acl_h_t acl = nullptr;
    const int error = credutl_client_from_rpc(call, &client);
    answer.status = error ? tbs_errno2status(error) : tbs_sid_acl_decode(stored_length, stored, &acl);
    if (answer.status == 0) {
        answer.status = tbs_sid_acl_check_permission(acl, asked.wanted, client, nullptr, nullptr, &answer.granted);
    }
    tbs_sid_acl_free(&acl);
    credutl_client_free(&client);
}

void dispatch(svc_req *call, SVCXPRT *transport) {
    request asked{};
    reply answer{};
    if (!svc_getargs(transport, proc(xdr_request), reinterpret_cast<char *>(&asked))) return svcerr_decode(transport);
    if (call->rq_proc == check_procedure) decide(call, asked, answer);
    svc_sendreply(transport, proc(xdr_reply), reinterpret_cast<char *>(&answer));
}

// The ids of the caller are those of the accounts file, its groups too.
constexpr uint32_t client_uid = 700'000, first_gid = 710'000;
constexpr unsigned most_groups = 16; // that AUTH_SYS holds

void write_accounts(const std::string &path) {
    FILE *stream = std::fopen(path.c_str(), "w");
    if (!stream) std::abort();
    const auto line = [&](const std::string &name, const char *kind, unsigned rid, uint32_t id) {
        char text[CREDUTL_SID_STR_SIZE];
        const credutl_sid_t value = sid(rid);
        credutl_sid_to_str(&value, text, sizeof text);
        std::fprintf(stream, "%s %s %s %u\n", name.c_str(), kind, text, id);
    };
    line(user_name(client_rid), "user", client_rid, client_uid);
    for (unsigned i = 0; i <= most_groups; i++) {
        line(group_name(groups_from + i), "group", groups_from + i, first_gid + i);
    }
    std::fclose(stream);
    setenv("ORSIK_ACCOUNTS", path.c_str(), 1);
    credutl_flush_accounts();
}

sockaddr_in loopback(in_port_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = port;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

class service {
public:
    explicit service(size_t entries) {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        address_ = loopback(0);
        socklen_t size = sizeof address_;
        if (bind(fd, reinterpret_cast<sockaddr *>(&address_), size) != 0 || listen(fd, 8) != 0 ||
            getsockname(fd, reinterpret_cast<sockaddr *>(&address_), &size) != 0) {
            std::abort();
        }
        write_accounts(here_.file("rpc_accounts"));
        pid_ = fork();
        if (pid_ == 0) serve(fd, entries);
        close(fd);
    }
    ~service() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    service(const service &) = delete;
    service &operator=(const service &) = delete;
    [[nodiscard]] const sockaddr_in &address() const { return address_; }

private:
    [[noreturn]] static void serve(int fd, size_t entries) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        tbs_sid_acl_h_t acl = sid_acl(entries);
        if (tbs_sid_acl_encode(acl, &stored_length, &stored) != 0) std::abort();
        tbs_sid_acl_free(&acl);
        SVCXPRT *transport = svc_vc_create(fd, 0, 0);
        if (!transport || !svc_reg(transport, program, version, dispatch, nullptr)) std::abort();
        svc_run();
        std::abort();
    }

    const host here_{0};
    sockaddr_in address_{};
    pid_t pid_ = -1;
};

// ---- its client, with a number of supplementary groups

void round_trip(benchmark::State &state, rpcproc_t procedure) {
    const service running(static_cast<size_t>(state.range(0)));
    sockaddr_in address = running.address();
    netbuf to{sizeof address, sizeof address, &address};
    CLIENT *client = clnt_vc_create(socket(AF_INET, SOCK_STREAM, 0), &to, program, version, 0, 0);
    if (!client) std::abort();
    clnt_control(client, CLSET_FD_CLOSE, nullptr);
    std::vector<gid_t> groups;
    for (unsigned i = 1; i <= state.range(1); i++) groups.push_back(first_gid + i);
    auth_destroy(client->cl_auth);
    client->cl_auth = authunix_create(const_cast<char *>("bench"), client_uid, first_gid,
                                      static_cast<int>(groups.size()), groups.data());

    request asked{"object", wanted};
    reply answer{};
    for (auto _ : state) {
        const clnt_stat result = clnt_call(client, procedure, proc(xdr_request), reinterpret_cast<char *>(&asked),
                                           proc(xdr_reply), reinterpret_cast<char *>(&answer), (timeval{10, 0}));
        if (result != RPC_SUCCESS || answer.status != 0) {
            state.SkipWithError("no answer");
            break;
        }
    }
    if (procedure == check_procedure && !answer.granted) state.SkipWithError("not granted");
    // The table takes this instead of the processor time, which leaves out the other process.
    using benchmark::Counter;
    state.counters["per_entry"] = Counter(1, Counter::kIsIterationInvariantRate | Counter::kInvert);
    auth_destroy(client->cl_auth);
    clnt_destroy(client);
}

void check(benchmark::State &state) { round_trip(state, check_procedure); }
void empty(benchmark::State &state) { round_trip(state, empty_procedure); }

// Entries of the stored list, groups of the client.
BENCHMARK(check)->Name("rpc_check/ours")->Args({10, 4})->Args({10, 16})->Args({100, 16})->UseRealTime();
BENCHMARK(empty)->Name("rpc_check/peer:empty")->Args({10, 4})->Args({10, 16})->UseRealTime();

} // namespace

BENCHMARK_MAIN();
