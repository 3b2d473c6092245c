#include "ks/ks_cred.h"
#include "ks/ks_errno.h"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/temp_dir.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <poll.h>
#include <rpc/rpc.h>
#include <set>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

// What an authenticated call says of its caller; the RPC library's header for it wants those of a GSS library.
struct exported_name {
    int length;
    char bytes[256];
};
struct raw_credentials {
    unsigned version;
    char *mechanism, *qop;
    exported_name *client;
    char *service;
    int protection;
};

namespace {

// What the host's calls answer in place of the truth.
struct host_answers {
    std::function<int(int, gid_t *)> groups; // of the process
    std::vector<gid_t> account_groups;       // of each account
    bool is_authenticated = false;           // the caller
    raw_credentials *caller = nullptr;
};
host_answers scripted;

} // namespace

extern "C" [[gnu::visibility("default")]] int getgroups(int size, gid_t *list) noexcept {
    static const auto next = reinterpret_cast<decltype(&getgroups)>(dlsym(RTLD_NEXT, "getgroups"));
    return scripted.groups ? scripted.groups(size, list) : next(size, list);
}

extern "C" [[gnu::visibility("default")]] int getgrouplist(const char *user, gid_t group, gid_t *list, int *count) {
    static const auto next = reinterpret_cast<decltype(&getgrouplist)>(dlsym(RTLD_NEXT, "getgrouplist"));
    if (scripted.account_groups.empty()) return next(user, group, list, count);
    const auto all = static_cast<int>(scripted.account_groups.size());
    const int room = std::exchange(*count, all);
    if (room < all) return -1;
    std::copy(scripted.account_groups.begin(), scripted.account_groups.end(), list);
    return all;
}

extern "C" [[gnu::visibility("default")]] bool_t rpc_gss_getcred(svc_req *, raw_credentials **raw, void **, void **) {
    *raw = scripted.caller;
    return scripted.is_authenticated ? TRUE : FALSE;
}

namespace {

using strings = std::vector<std::string>;

std::string text_of(const credutl_sid_t &sid) {
    char text[CREDUTL_SID_STR_SIZE] = "";
    credutl_sid_to_str(&sid, text, sizeof text);
    return text;
}

struct client_deleter {
    void operator()(credutl_client_t *client) const { credutl_client_free(&client); }
};
using client_ptr = std::unique_ptr<credutl_client_t, client_deleter>;

// What a client is when it is cracked.
struct identity {
    int error = 0;
    std::string domain, user, group;
    strings groups; // supplementary
};

identity crack(const credutl_client_t *client) {
    identity out;
    char domain[256];
    credutl_cracked_t cracked{};
    out.error = credutl_crack_client(client, domain, sizeof domain, &cracked);
    if (out.error != 0) {
        return out;
    }
    out.domain = domain;
    if (cracked.form == CREDUTL_FORM_SID) {
        EXPECT_EQ(cracked.strings, nullptr);
        out.user = text_of(cracked.sids->user);
        out.group = text_of(cracked.sids->group);
        for (uint32_t i = 0; i < cracked.sids->group_count; i++) {
            out.groups.push_back(text_of(cracked.sids->groups[i]));
        }
    } else {
        EXPECT_EQ(cracked.sids, nullptr);
        out.user = cracked.strings->user;
        out.group = cracked.strings->group;
        out.groups.assign(cracked.strings->groups, cracked.strings->groups + cracked.strings->group_count);
    }
    credutl_free_cracked(&cracked);
    EXPECT_EQ(cracked.sids, nullptr);
    EXPECT_EQ(cracked.strings, nullptr);
    return out;
}

std::string uid_sid(uint32_t uid) { return "S-1-22-1-" + std::to_string(uid); }
std::string gid_sid(uint32_t gid) { return "S-1-22-2-" + std::to_string(gid); }

class Client : public testing::Test {
protected:
    Client() { credutl_flush_accounts(); }
    ~Client() override {
        credutl_flush_accounts();
        scripted = {};
    }

    template <class Make> identity made(Make &&make) {
        credutl_client_t *client = nullptr;
        identity out;
        out.error = make(&client);
        if (out.error == 0) {
            out = crack(client_ptr(client).get());
        } else {
            EXPECT_EQ(client, nullptr);
        }
        return out;
    }
    identity of_rpc(const svc_req &request) {
        return made([&](credutl_client_t **out) { return credutl_client_from_rpc(&request, out); });
    }

    temp_dir folder;
    const scoped_env accounts{"ORSIK_ACCOUNTS",
                              folder.write("accounts", "CORP\\alice user S-1-5-21-1-2-3-1001 3900000001\n"
                                                       "CORP\\users group S-1-5-21-1-2-3-513 3900000010\n"
                                                       "CORP\\devs group S-1-5-21-1-2-3-1100 3900000011\n"
                                                       "CORP\\ops group S-1-5-21-1-2-3-1101\n"
                                                       "CORP\\alice member CORP\\users\n"
                                                       "CORP\\alice member CORP\\devs\n"
                                                       "CORP\\alice member CORP\\none\n"
                                                       "CORP\\alice member CORP\\users\n"
                                                       "CORP\\alice member CORP\\ops\n"
                                                       "CORP\\bob user S-1-5-21-1-2-3-1002\n"
                                                       "CORP\\carol user S-1-5-21-1-2-3-1003\n"
                                                       "CORP\\carol member CORP\\none\n")};
};

// A request with AUTH_SYS credentials, made by hand.
struct auth_sys_request {
    auth_sys_request(uint32_t uid, uint32_t gid, std::vector<gid_t> more) : groups(std::move(more)) {
        parameters.aup_uid = uid;
        parameters.aup_gid = gid;
        parameters.aup_len = static_cast<u_int>(groups.size());
        parameters.aup_gids = groups.data();
        request.rq_cred.oa_flavor = AUTH_SYS;
        request.rq_clntcred = &parameters;
    }
    std::vector<gid_t> groups;
    authunix_parms parameters{};
    svc_req request{};
};

// The supplementary groups of this process as SIDs, each once, without the primary one.
strings own_groups() {
    std::vector<gid_t> gids(static_cast<size_t>(getgroups(0, nullptr)));
    gids.resize(static_cast<size_t>(getgroups(static_cast<int>(gids.size()), gids.data())));
    strings out;
    std::set<gid_t> seen{getegid()};
    for (const gid_t gid : gids) {
        if (seen.insert(gid).second) {
            out.push_back(gid_sid(gid));
        }
    }
    return out;
}

TEST_F(Client, ProcessHasItsEffectiveIdsAndGroups) {
    const identity me = made(credutl_client_from_process);
    ASSERT_EQ(me.error, 0);
    EXPECT_EQ(me.user, uid_sid(geteuid()));
    EXPECT_EQ(me.group, gid_sid(getegid()));
    EXPECT_EQ(me.groups, own_groups());
    credutl_account_t account;
    ASSERT_EQ(credutl_account_by_id(CREDUTL_USER, geteuid(), &account), 0);
    const std::string name = account.name;
    EXPECT_EQ(me.domain, name.starts_with("S-1-") ? "" : credutl_local_domain());
}

TEST_F(Client, CredentialsOfTheThreadAreItsEffectiveIdsAndGroups) {
    credutl_sid_credentials_t *sids = nullptr;
    ASSERT_EQ(credutl_get_sid_credentials(&sids), 0);
    EXPECT_EQ(text_of(sids->user), uid_sid(geteuid()));
    EXPECT_EQ(text_of(sids->group), gid_sid(getegid()));
    strings groups;
    for (uint32_t i = 0; i < sids->group_count; i++) {
        groups.push_back(text_of(sids->groups[i]));
    }
    EXPECT_EQ(groups, own_groups());
    credutl_free_sid_credentials(&sids);
    EXPECT_EQ(credutl_get_sid_credentials(nullptr), KS_EINVAL);
}

TEST_F(Client, CredentialsOfTheThreadNeedMemory) {
    const int refused = faults::each_allocation([&](int, bool) {
        {
            const faults::suspend unrefused;
            credutl_flush_accounts();
        }
        credutl_sid_credentials_t *sids = nullptr;
        const int error = credutl_get_sid_credentials(&sids);
        const faults::suspend unrefused;
        EXPECT_EQ(sids == nullptr, error == KS_ENOMEM) << error;
        credutl_free_sid_credentials(&sids);
    });
    EXPECT_GT(refused, 2);
}

TEST_F(Client, ProcessWhoseGroupsChangeMeanwhileHasThoseOfTheLastLook) {
    int asked = 0;
    scripted.groups = [&](int size, gid_t *list) {
        const int count = ++asked <= 2 ? 1 : 2; // a second one has come between the first two questions
        if (asked == 2) {
            errno = EINVAL;
            return -1;
        }
        if (size >= count) std::iota(list, list + count, 3900000020u);
        return count;
    };
    const identity me = made(credutl_client_from_process);
    EXPECT_EQ(me.error, 0);
    EXPECT_EQ(me.groups, (strings{gid_sid(3900000020u), gid_sid(3900000021u)}));
    EXPECT_EQ(asked, 4);
}

TEST_F(Client, ProcessWhoseGroupsCannotBeToldIsNotKnown) {
    credutl_sid_credentials_t *sids = nullptr;
    const auto fails = [&](int error) {
        EXPECT_EQ(made(credutl_client_from_process).error, error);
        EXPECT_EQ(credutl_get_sid_credentials(&sids), error);
        EXPECT_EQ(sids, nullptr);
    };
    scripted.groups = [](int, gid_t *) {
        errno = EPERM;
        return -1;
    };
    fails(KS_EPERM);
    scripted.groups = [](int size, gid_t *) {
        errno = EFAULT;
        return size == 0 ? 1 : -1;
    };
    fails(ks_errno_from_host(EFAULT));
    scripted.groups = [](int, gid_t *) { return static_cast<int>(CREDUTL_MAX_GROUPS) + 1; };
    fails(KS_EIO);
}

// An identity takes several questions. One that cannot be answered makes it unknown: it is never given in part.
TEST_F(Client, IdentityThatCannotBeFoundWholeIsNotGiven) {
    const auth_sys_request caller(3900000001u, 3900000010u, {3900000011u});
    credutl_sid_t sid{};
    const std::function<void()> answered[] = {[&] { EXPECT_EQ(credutl_uid_to_sid(3900000001u, &sid), 0); },
                                              [&] { EXPECT_EQ(credutl_gid_to_sid(3900000010u, &sid), 0); },
                                              [&] { EXPECT_EQ(credutl_gid_to_sid(3900000011u, &sid), 0); }};
    const std::string file = folder / "accounts", away = folder / "away";
    for (size_t known = 0; known <= std::size(answered); known++) {
        for (size_t i = 0; i < known; i++) answered[i]();
        std::filesystem::rename(file, away);
        EXPECT_EQ(of_rpc(caller.request).error, KS_EIO) << known;
        std::filesystem::rename(away, file);
        credutl_flush_accounts();
    }
    EXPECT_EQ(of_rpc(caller.request).error, 0);
    std::filesystem::rename(file, away);
    credutl_flush_accounts();
    credutl_sid_credentials_t *sids = nullptr;
    EXPECT_EQ(credutl_get_sid_credentials(&sids), KS_EIO);
    EXPECT_EQ(sids, nullptr);
    EXPECT_EQ(made(credutl_client_from_process).error, KS_EIO);
}

TEST_F(Client, PeerOfALocalSocketIsKnown) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    const identity peer = made([&](credutl_client_t **out) { return credutl_client_from_socket(pair[0], out); });
    close(pair[0]);
    close(pair[1]);
    EXPECT_EQ(peer.error, 0);
    EXPECT_EQ(peer.user, uid_sid(geteuid()));
    EXPECT_EQ(peer.group, gid_sid(getegid()));
    EXPECT_EQ(std::set(peer.groups.begin(), peer.groups.end()).size(), peer.groups.size());
    EXPECT_EQ(std::count(peer.groups.begin(), peer.groups.end(), peer.group), 0);
}

TEST_F(Client, PeerOfABoundSocketIsKnownOnceConnected) {
    const std::string path = folder / "socket";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    const auto *name = reinterpret_cast<const sockaddr *>(&address);
    const int server = socket(AF_UNIX, SOCK_STREAM, 0);
    const int caller = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(server, name, sizeof address), 0);
    ASSERT_EQ(listen(server, 1), 0);
    const auto of = [&](int fd) {
        return made([&](credutl_client_t **out) { return credutl_client_from_socket(fd, out); });
    };
    EXPECT_EQ(of(caller).error, KS_ENOTSUP) << "not connected";
    ASSERT_EQ(connect(caller, name, sizeof address), 0);
    const int accepted = accept(server, nullptr, nullptr);
    EXPECT_EQ(of(accepted).user, uid_sid(geteuid()));
    EXPECT_EQ(of(caller).user, uid_sid(geteuid()));
    close(accepted);
    close(caller);
    close(server);
}

TEST_F(Client, OtherDescriptorsAreNoLocalSockets) {
    const auto of = [&](int fd) {
        return made([&](credutl_client_t **out) { return credutl_client_from_socket(fd, out); }).error;
    };
    const int file = open("/dev/null", O_RDONLY);
    const int inet = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(of(file), KS_ENOTSUP);
    EXPECT_EQ(of(inet), KS_ENOTSUP);
    EXPECT_EQ(of(-1), KS_EBADF);
    close(file);
    close(inet);
    EXPECT_EQ(credutl_client_from_socket(0, nullptr), KS_EINVAL);
}

TEST_F(Client, AuthSysCallerIsWhoItSays) {
    const auth_sys_request caller(3900000001u, 3900000010u, {3900000011u, 3900000010u, 3900000012u, 3900000011u});
    const identity who = of_rpc(caller.request);
    EXPECT_EQ(who.error, 0);
    EXPECT_EQ(who.domain, "CORP");
    EXPECT_EQ(who.user, "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(who.group, "S-1-5-21-1-2-3-513");
    EXPECT_EQ(who.groups, (strings{"S-1-5-21-1-2-3-1100", gid_sid(3900000012u)}));
}

TEST_F(Client, AuthSysCallerWithoutAnAccountHasNoDomain) {
    const auth_sys_request caller(3900000077u, 3900000078u, {});
    const identity who = of_rpc(caller.request);
    EXPECT_EQ(who.error, 0);
    EXPECT_EQ(who.domain, "");
    EXPECT_EQ(who.user, uid_sid(3900000077u));
    EXPECT_EQ(who.groups, strings{});
}

TEST_F(Client, RequestsWithoutAUsableIdentityAreRefused) {
    auth_sys_request caller(1, 1, {2});
    caller.parameters.aup_gids = nullptr;
    EXPECT_EQ(of_rpc(caller.request).error, KS_EACCES);
    caller.parameters.aup_len = CREDUTL_MAX_GROUPS + 1;
    EXPECT_EQ(of_rpc(caller.request).error, KS_EACCES);
    caller.request.rq_clntcred = nullptr;
    EXPECT_EQ(of_rpc(caller.request).error, KS_EACCES);
    EXPECT_EQ(of_rpc(auth_sys_request(UINT32_MAX, 1, {}).request).error, KS_EACCES);
    EXPECT_EQ(of_rpc(auth_sys_request(1, CREDUTL_NO_ID, {}).request).error, KS_EACCES);
    EXPECT_EQ(of_rpc(auth_sys_request(1, 1, {UINT32_MAX}).request).error, KS_EACCES);
    for (const int flavour : {AUTH_NONE, AUTH_SHORT, AUTH_DES, 6, 390003, -1}) {
        auth_sys_request other(1, 1, {});
        other.request.rq_cred.oa_flavor = flavour;
        EXPECT_EQ(of_rpc(other.request).error, KS_EACCES) << flavour;
    }
    SVCXPRT transport{};
    auth_sys_request gss(1, 1, {});
    gss.request.rq_cred.oa_flavor = 6;
    gss.request.rq_xprt = &transport;
    EXPECT_EQ(of_rpc(gss.request).error, KS_EACCES);
    credutl_client_t *client = nullptr;
    EXPECT_EQ(credutl_client_from_rpc(nullptr, &client), KS_EINVAL);
    EXPECT_EQ(credutl_client_from_rpc(&caller.request, nullptr), KS_EINVAL);
}

TEST_F(Client, AuthSysCallerOfManyGroupsHasEachOnceAndInOrder) {
    std::vector<gid_t> groups;
    strings expected;
    for (gid_t i = 0; i < 500; i++) {
        groups.insert(groups.end(), {3900001000u + 7 * i, 3900001000u});
        if (i > 0) expected.push_back(gid_sid(groups[2 * i]));
    }
    const identity who = of_rpc(auth_sys_request(3900000001u, 3900001000u, groups).request);
    EXPECT_EQ(who.error, 0);
    EXPECT_EQ(who.group, gid_sid(3900001000u));
    EXPECT_EQ(who.groups, expected);
}

TEST_F(Client, AuthenticatedCallerIsTheAccountOfItsPrincipal) {
    const auto named = [](const std::string &name) {
        std::string token("\x04\x01\x00\x0B\x06\x09\x2A\x86\x48\x86\xF7\x12\x01\x02\x02\x00\x00\x00", 18);
        token += static_cast<char>(name.size());
        token += name;
        exported_name all{static_cast<int>(token.size()), ""};
        token.copy(all.bytes, sizeof all.bytes);
        return all;
    };
    exported_name alice = named("alice@CORP.EXAMPLE"), service = named("nfs/host@CORP"), cut = alice;
    cut.length = -1;
    SVCXPRT transport{};
    auth_sys_request gss(1, 1, {});
    gss.request.rq_cred.oa_flavor = 6;
    gss.request.rq_xprt = &transport;
    raw_credentials raw{};
    scripted.is_authenticated = true;
    const auto caller = [&](exported_name *name) {
        raw.client = name;
        return of_rpc(gss.request);
    };
    EXPECT_EQ(of_rpc(gss.request).error, KS_EACCES) << "it says nothing";
    scripted.caller = &raw;
    const identity who = caller(&alice);
    EXPECT_EQ(who.error, 0);
    EXPECT_EQ(who.domain, "CORP");
    EXPECT_EQ(who.user, "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(who.group, "S-1-5-21-1-2-3-513");
    EXPECT_EQ(caller(&service).error, KS_EACCES);
    EXPECT_EQ(caller(&cut).error, KS_EACCES);
    EXPECT_EQ(caller(nullptr).error, KS_EACCES);
    scripted.is_authenticated = false;
    EXPECT_EQ(caller(&alice).error, KS_EACCES);
}

// A real call over the loopback, without the port mapper: the service runs in this thread, the caller in another.
extern "C" bool_t no_arguments(XDR *, ...) { return TRUE; }

std::vector<identity> callers;
void serve(svc_req *request, SVCXPRT *transport) {
    credutl_client_t *client = nullptr;
    identity who;
    who.error = credutl_client_from_rpc(request, &client);
    if (who.error == 0) {
        who = crack(client_ptr(client).get());
    }
    callers.push_back(who);
    svc_sendreply(transport, no_arguments, nullptr);
}

TEST_F(Client, CallerOfARealProcedureIsKnown) {
    callers.clear();
    constexpr rpcprog_t program = 0x20000777;
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 4), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size), 0);
    SVCXPRT *transport = svc_vc_create(listener, 0, 0);
    ASSERT_NE(transport, nullptr);
    ASSERT_TRUE(svc_reg(transport, program, 1, serve, nullptr));

    std::atomic<bool> done{false};
    enum clnt_stat results[2] = {RPC_FAILED, RPC_FAILED};
    std::thread caller([&] {
        for (const bool with_identity : {true, false}) {
            int fd = RPC_ANYSOCK;
            sockaddr_in to = address;
            CLIENT *handle = clnttcp_create(&to, program, 1, &fd, 0, 0);
            if (handle) {
                auth_destroy(handle->cl_auth);
                gid_t groups[] = {3900000011u};
                char host[] = "caller";
                handle->cl_auth =
                    with_identity ? authunix_create(host, 3900000001u, 3900000010u, 1, groups) : authnone_create();
                const timeval limit{20, 0};
                results[with_identity ? 0 : 1] =
                    clnt_call(handle, 1, no_arguments, nullptr, no_arguments, nullptr, limit);
                auth_destroy(handle->cl_auth);
                clnt_destroy(handle);
            }
        }
        done = true;
    });
    while (!done) {
        std::vector<pollfd> watched(svc_pollfd, svc_pollfd + svc_max_pollfd);
        const int ready = poll(watched.data(), watched.size(), 10);
        if (ready > 0) {
            svc_getreq_poll(watched.data(), ready);
        }
    }
    caller.join();
    svc_unreg(program, 1);
    svc_destroy(transport);
    EXPECT_EQ(results[0], RPC_SUCCESS);
    EXPECT_EQ(results[1], RPC_SUCCESS);
    ASSERT_EQ(callers.size(), 2u);
    EXPECT_EQ(callers[0].error, 0);
    EXPECT_EQ(callers[0].domain, "CORP");
    EXPECT_EQ(callers[0].user, "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(callers[0].group, "S-1-5-21-1-2-3-513");
    EXPECT_EQ(callers[0].groups, strings{"S-1-5-21-1-2-3-1100"});
    EXPECT_EQ(callers[1].error, KS_EACCES) << "AUTH_NONE";
}

TEST_F(Client, AccountHasItsGroupsOnceAndInOrder) {
    const identity who = made([](credutl_client_t **out) { return credutl_client_from_account("corp\\ALICE", out); });
    EXPECT_EQ(who.error, 0);
    EXPECT_EQ(who.domain, "CORP");
    EXPECT_EQ(who.user, "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(who.group, "S-1-5-21-1-2-3-513");
    EXPECT_EQ(who.groups, (strings{"S-1-5-21-1-2-3-1100", "S-1-5-21-1-2-3-1101"}));
}

TEST_F(Client, AccountWithoutGroupsHasNobodyAsPrimary) {
    const identity who = made([](credutl_client_t **out) { return credutl_client_from_account("CORP\\bob", out); });
    EXPECT_EQ(who.error, 0);
    EXPECT_EQ(who.group, "S-1-0-0");
    EXPECT_EQ(who.groups, strings{});
}

TEST_F(Client, AccountWhosePrimaryGroupIsUnknownIsRefused) {
    const auto error_of = [&](const char *name) {
        return made([&](credutl_client_t **out) { return credutl_client_from_account(name, out); }).error;
    };
    EXPECT_EQ(error_of("CORP\\carol"), KS_ENOENT);
    EXPECT_EQ(error_of("CORP\\dave"), KS_ENOENT);
    EXPECT_EQ(error_of("CORP\\root"), KS_ENOENT);
    EXPECT_EQ(error_of(""), KS_EINVAL);
    EXPECT_EQ(error_of(nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_client_from_account("CORP\\alice", nullptr), KS_EINVAL);
}

TEST_F(Client, LocalAccountHasTheGroupsOfTheHost) {
    const identity who = made([](credutl_client_t **out) { return credutl_client_from_account("root", out); });
    EXPECT_EQ(who.error, 0);
    EXPECT_EQ(who.domain, credutl_local_domain());
    EXPECT_EQ(who.user, "S-1-22-1-0");
    EXPECT_EQ(who.group, gid_sid(0));
}

TEST_F(Client, LocalAccountMayHaveManyGroups) {
    std::vector<gid_t> &groups = scripted.account_groups;
    groups.resize(300);
    std::iota(groups.begin(), groups.end(), 3900001000u);
    groups[200] = 0; // the primary one stands anywhere
    const auto root = [&] {
        return made([](credutl_client_t **out) { return credutl_client_from_account("root", out); });
    };
    const identity who = root();
    EXPECT_EQ(who.error, 0);
    EXPECT_EQ(who.group, gid_sid(0));
    EXPECT_EQ(who.groups.size(), 299u);
    EXPECT_EQ(who.groups.front(), gid_sid(3900001000u));
    groups.resize(size_t{CREDUTL_MAX_GROUPS} + 2, 3900002000u);
    EXPECT_EQ(root().error, KS_EIO);
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    const identity peer = made([&](credutl_client_t **out) { return credutl_client_from_socket(pair[0], out); });
    EXPECT_EQ(peer.error, KS_EIO);
    for (const int each : pair) close(each);
}

TEST_F(Client, GroupsOfAnAccountAreThoseOfTheFileAsItIsNow) {
    const auto alice = [&] {
        return made([](credutl_client_t **out) { return credutl_client_from_account("CORP\\alice", out); });
    };
    ASSERT_EQ(alice().groups.size(), 2u);
    folder.write("accounts", "CORP\\alice user S-1-5-21-1-2-3-1001\n"
                             "CORP\\ops group S-1-5-21-1-2-3-9101\n"
                             "CORP\\alice member CORP\\ops\n");
    const identity now = alice();
    EXPECT_EQ(now.group, "S-1-5-21-1-2-3-9101") << "not the SID that was kept from the former file";
    EXPECT_EQ(now.groups, strings{});
    EXPECT_EQ(alice().error, 0);
    std::filesystem::remove(folder / "accounts");
    EXPECT_EQ(alice().error, KS_EIO);
}

class ReadyClient : public Client {
protected:
    ReadyClient() {
        credutl_str_to_sid("S-1-5-21-1-2-3-1001", &groups[0]);
        credutl_str_to_sid("S-1-5-21-1-2-3-1002", &groups[1]);
        sids = {groups[0], CREDUTL_SID_NOBODY, 2, groups};
        strings_form = {user, group, 1, &names};
    }
    credutl_sid_t groups[2];
    credutl_sid_credentials_t sids{};
    char user[8] = "A\\u", group[8] = "A\\g", extra[8] = "A\\x";
    char *names = extra;
    credutl_string_credentials_t strings_form{};
};

TEST_F(ReadyClient, SidsComeBackAsSids) {
    const identity who = made([&](credutl_client_t **out) { return credutl_client_from_sids("CORP", &sids, out); });
    EXPECT_EQ(who.domain, "CORP");
    EXPECT_EQ(who.user, "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(who.group, "S-1-0-0");
    EXPECT_EQ(who.groups, (strings{"S-1-5-21-1-2-3-1001", "S-1-5-21-1-2-3-1002"}));
}

TEST_F(ReadyClient, StringsComeBackAsStrings) {
    credutl_client_t *client = nullptr;
    ASSERT_EQ(credutl_client_from_strings(nullptr, &strings_form, &client), 0);
    user[2] = 'U'; // the client has its copy
    const identity who = crack(client);
    EXPECT_EQ(who.domain, "");
    EXPECT_EQ(who.user, "A\\u");
    EXPECT_EQ(who.group, "A\\g");
    EXPECT_EQ(who.groups, strings{"A\\x"});
    credutl_client_free(&client);
    EXPECT_EQ(client, nullptr);
    credutl_client_free(&client);
    credutl_client_free(nullptr);
    credutl_free_cracked(nullptr);
}

TEST_F(ReadyClient, DomainsHave256BytesAtMostAndMustFit) {
    credutl_client_t *client = nullptr;
    EXPECT_EQ(credutl_client_from_sids(std::string(257, 'D').c_str(), &sids, &client), KS_ENAMETOOLONG);
    ASSERT_EQ(credutl_client_from_sids(std::string(256, 'D').c_str(), &sids, &client), 0);
    const client_ptr owner(client);
    char domain[257] = "old";
    credutl_cracked_t cracked{};
    EXPECT_EQ(credutl_crack_client(client, domain, 256, &cracked), KS_ENAMETOOLONG);
    EXPECT_STREQ(domain, "old");
    EXPECT_EQ(cracked.sids, nullptr);
    EXPECT_EQ(credutl_crack_client(client, domain, 257, &cracked), 0);
    EXPECT_EQ(std::string(domain), std::string(256, 'D'));
    credutl_free_cracked(&cracked);
}

TEST_F(ReadyClient, NullArgumentsAreRefused) {
    credutl_client_t *client = nullptr;
    EXPECT_EQ(credutl_client_from_sids("D", nullptr, &client), KS_EINVAL);
    EXPECT_EQ(credutl_client_from_sids("D", &sids, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_client_from_strings("D", nullptr, &client), KS_EINVAL);
    EXPECT_EQ(credutl_client_from_strings("D", &strings_form, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_client_from_process(nullptr), KS_EINVAL);
    ASSERT_EQ(credutl_client_from_sids("D", &sids, &client), 0);
    const client_ptr owner(client);
    char domain[8];
    credutl_cracked_t cracked;
    EXPECT_EQ(credutl_crack_client(nullptr, domain, 8, &cracked), KS_EINVAL);
    EXPECT_EQ(credutl_crack_client(client, nullptr, 8, &cracked), KS_EINVAL);
    EXPECT_EQ(credutl_crack_client(client, domain, 8, nullptr), KS_EINVAL);
}

TEST_F(ReadyClient, EveryAllocationMayFail) {
    const auth_sys_request caller(3900000001u, 3900000010u, {3900000011u});
    const auto every = [&](const char *what, auto make) {
        const int refused = faults::each_allocation([&](int, bool) {
            {
                const faults::suspend unrefused;
                credutl_flush_accounts();
            }
            credutl_client_t *client = nullptr;
            int error = make(&client);
            credutl_cracked_t cracked{};
            char domain[256];
            if (error == 0) {
                error = credutl_crack_client(client, domain, sizeof domain, &cracked);
            }
            credutl_free_cracked(&cracked);
            credutl_client_free(&client);
            const faults::suspend unrefused;
            EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << what << ' ' << error;
        });
        EXPECT_GT(refused, 0) << what;
    };
    using C = credutl_client_t **;
    every("process", [](C out) { return credutl_client_from_process(out); });
    every("rpc", [&](C out) { return credutl_client_from_rpc(&caller.request, out); });
    every("account", [](C out) { return credutl_client_from_account("CORP\\alice", out); });
    every("sids", [&](C out) { return credutl_client_from_sids("CORP", &sids, out); });
    every("strings", [&](C out) { return credutl_client_from_strings("CORP", &strings_form, out); });
}

} // namespace
