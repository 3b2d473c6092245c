// The example ACL service: the server as a process, its client as a process, and callers who mean no good.
#include "examples/acl_service/acl_service.h"
#include "system/server_process.hpp"
#include "tbs/acl_check_support.hpp"

#include <arpa/inet.h>
#include <csignal>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <span>
#include <sys/socket.h>

namespace {

using acl_test::sid, acl_test::sid_text;
using tool_test::environment, tool_test::outcome;
using strings = std::vector<std::string>;

const std::string server_path = ORSIK_BINARY_DIR "/examples/acl_server";
const std::string client_path = ORSIK_BINARY_DIR "/examples/acl_client";

// ---- accounts ------------------------------------------------------------------------------------------------------

// Who runs the test is CORP\me of CORP\mine, whatever the ids are.
enum rid : unsigned { me = 1001, other = 1002, mine = 2001, foreign = 2002 };
constexpr uint32_t other_uid = 3'000'000'002;
constexpr unsigned listed_users = 120;

std::string account(const std::string &name, const char *kind, unsigned rid) {
    return "CORP\\" + name + ' ' + kind + ' ' + sid_text(rid);
}
std::string account(const std::string &name, const char *kind, unsigned rid, uint32_t id) {
    return account(name, kind, rid) + ' ' + std::to_string(id);
}

std::string account_lines() {
    std::string text = account("me", "user", me, getuid()) + '\n' + account("other", "user", other, other_uid) +
                       '\n' + account("mine", "group", mine, getgid()) + '\n' + account("foreign", "group", foreign) +
                       '\n';
    for (unsigned i = 0; i < listed_users; i++) text += account("u" + std::to_string(i), "user", 5000 + i) + '\n';
    return text;
}

// ---- the server ----------------------------------------------------------------------------------------------------

class server {
public:
    // Objects: name, text of the ACL file, and ":USER-SID:GROUP-SID" or "".
    struct object {
        std::string name, acl, owners;
    };
    explicit server(const std::vector<object> &objects = {}, const environment &variables = {}) {
        dir_.write("accounts", account_lines());
        strings words{server_path};
        for (const object &o : objects) words.push_back(o.name + '=' + dir_.write("acl/" + o.name, o.acl) + o.owners);
        environment all{{"ORSIK_ACCOUNTS", dir_ / "accounts"}};
        all.insert(all.end(), variables.begin(), variables.end());
        process_.emplace(words, dir_ / "stderr", all);
        if (std::sscanf(process_->line().c_str(), "tcp %hu udp %hu\n", &tcp, &udp) != 2) {
            throw std::runtime_error("the server did not start: " + printed());
        }
    }

    // Waits for its end; the exit status, -1 when a signal ended it.
    int end() { return process_->end(); }

    // Runs the client program.
    outcome ask(const char *transport, const strings &words) const {
        strings all{client_path, transport, std::to_string(std::string_view(transport) == "tcp" ? tcp : udp)};
        all.insert(all.end(), words.begin(), words.end());
        return tool_test::run_program(all, {{"ORSIK_ACCOUNTS", dir_ / "accounts"}});
    }
    std::string file(std::string_view leaf, std::string_view text) const { return dir_.write(leaf, text); }
    std::string printed() const { return dir_.read("stderr"); }

    uint16_t tcp = 0, udp = 0;

private:
    temp_dir dir_;
    std::optional<server_process> process_;
};

// ---- callers of our own --------------------------------------------------------------------------------------------

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

template <class F> xdrproc_t proc(F *routine) { return reinterpret_cast<xdrproc_t>(routine); }
const xdrproc_t nothing = proc(xdr_server_exit_req);

// Speaks to the service by its records. Without a user it has no credentials.
class caller {
public:
    caller(int type, uint16_t port, std::optional<uint32_t> uid = {}) {
        sockaddr_in address = loopback(port);
        const netbuf to{sizeof address, sizeof address, &address};
        const int fd = socket(AF_INET, type, 0);
        const auto create = type == SOCK_STREAM ? clnt_vc_create : clnt_dg_create;
        client_ = create(fd, &to, ACL_SERVICE_PROGRAM, ACL_SERVICE_VERSION, 0, 0);
        if (!client_) throw std::runtime_error("no connection");
        clnt_control(client_, CLSET_FD_CLOSE, nullptr);
        if (uid) {
            auth_destroy(client_->cl_auth);
            client_->cl_auth = authunix_create(const_cast<char *>("host"), *uid, getgid(), 0, nullptr);
        }
    }
    ~caller() {
        auth_destroy(client_->cl_auth);
        clnt_destroy(client_);
    }
    caller(const caller &) = delete;
    caller &operator=(const caller &) = delete;

    clnt_stat call(rpcproc_t procedure, xdrproc_t encode, void *request, xdrproc_t decode, void *reply) {
        return clnt_call(client_, procedure, encode, static_cast<char *>(request), decode, static_cast<char *>(reply),
                         (timeval{30, 0}));
    }
    [[nodiscard]] rpc_err error() const {
        rpc_err why{};
        clnt_geterr(client_, &why);
        return why;
    }

    // Gives the next call the number that the last one had, as a datagram has that comes twice.
    void repeat_next() {
        uint32_t number = 0;
        clnt_control(client_, CLGET_XID, reinterpret_cast<char *>(&number));
        clnt_control(client_, CLSET_XID, reinterpret_cast<char *>(&number));
    }

    tbs_status_t put(acl_put_request_t &request) {
        tbs_status_t status = -1;
        const clnt_stat result =
            call(ACL_SERVICE_PUT, proc(xdr_acl_put_request), &request, proc(xdr_tbs_status_t), &status);
        EXPECT_EQ(result, RPC_SUCCESS);
        return status;
    }
    // All pieces, one behind the other; the status of the first that fails.
    tbs_status_t put_all(const char *name, tbs_sid_acl_h_t acl) {
        acl_put_request_t request = put_request(name, acl);
        tbs_status_t status = 0;
        do {
            request.cursor = request.next;
            status = put(request);
        } while (status == 0 && request.next != 0);
        return status;
    }
    static acl_put_request_t put_request(const char *name, tbs_sid_acl_h_t acl) {
        acl_put_request_t request{};
        std::snprintf(request.name, sizeof request.name, "%s", name);
        request.acl = acl;
        return request;
    }

    // The next piece of a list; the reply gathers.
    tbs_status_t get(const char *name, acl_get_reply_t &reply) {
        acl_get_request_t request{};
        std::snprintf(request.name, sizeof request.name, "%s", name);
        request.cursor = reply.cursor;
        request.generation = reply.generation;
        EXPECT_EQ(call(ACL_SERVICE_GET, proc(xdr_acl_get_request), &request, proc(xdr_acl_get_reply), &reply),
                  RPC_SUCCESS);
        return reply.status;
    }

private:
    CLIENT *client_ = nullptr;
};

struct gathered : acl_get_reply_t {
    gathered() : acl_get_reply_t{} {}
    ~gathered() { tbs_sid_acl_free(&acl); }
    gathered(const gathered &) = delete;
    gathered &operator=(const gathered &) = delete;
    [[nodiscard]] uint64_t count() const { return tbs_sid_acl_num_entries(acl); }
};

acl_test::sid_ptr list_of(size_t entries) {
    tbs_sid_acl_h_t acl = nullptr;
    if (tbs_sid_acl_create(&acl) != 0) throw std::runtime_error("no ACL");
    acl_test::sid_ptr owner(acl);
    for (unsigned i = 0; i < entries; i++) {
        if (tbs_sid_acl_set_entry(acl, {TBS_ACL_ID_USER, nullptr, nullptr, sid(5000 + i)}, 1 + i % 3) != 0) {
            throw std::runtime_error("no entry");
        }
    }
    return owner;
}

std::string list_text() {
    const char *const perms[] = {"ReadData", "WriteData", "ReadData,WriteData"};
    std::string text;
    for (unsigned i = 0; i < listed_users; i++) {
        text += "User:CORP\\u" + std::to_string(i) + ' ' + perms[i % 3] + '\n';
    }
    return text;
}

// ---- requests and their answers ------------------------------------------------------------------------------------

// An object and what the rules say about it.
struct made_object {
    server::object object;
    std::vector<tbs_acl_cooked_ent_t> entries;
    std::optional<credutl_sid_t> owner_user, owner_group;

    [[nodiscard]] bool grants(tbs_acl_permission_set_t wanted) const {
        const acl_test::sid_person who{"CORP", sid(me), sid(mine), {}};
        return acl_test::decide_by_sid(entries, wanted, who, owner_user ? &*owner_user : nullptr,
                                       owner_group ? &*owner_group : nullptr)
            .granted;
    }
};

std::string names_of(tbs_acl_permission_set_t perms) {
    std::string text;
    for (const tbs_acl_perm_name_t &p : acl_service_names) {
        if (perms & p.value) text += (text.empty() ? "" : ",") + std::string(p.name);
    }
    return text;
}

made_object make_object(std::mt19937 &random, unsigned number) {
    struct identity {
        std::string text;
        tbs_acl_id_kind_t kind;
        unsigned rid;
    };
    std::vector<identity> left = {
        {"User:CORP\\me", TBS_ACL_ID_USER, me},       {"User:CORP\\other", TBS_ACL_ID_USER, other},
        {"Group:CORP\\mine", TBS_ACL_ID_GROUP, mine}, {"Group:CORP\\foreign", TBS_ACL_ID_GROUP, foreign},
        {"Everyone:", TBS_ACL_ID_EVERYONE, 0},        {"Owner-User:", TBS_ACL_ID_OWNER_USER, 0},
        {"Owner-Group:", TBS_ACL_ID_OWNER_GROUP, 0},  {"Role:keeper", TBS_ACL_ID_ROLE, 0},
    };
    made_object made;
    made.object.name = "object" + std::to_string(number);
    for (size_t count = number % left.size(); count > 0; count--) {
        const auto at = left.begin() + static_cast<std::ptrdiff_t>(random() % left.size());
        const tbs_acl_permission_set_t perms = 1 + random() % 15;
        made.object.acl += at->text + ' ' + names_of(perms) + '\n';
        made.entries.push_back({{at->kind, nullptr, nullptr, at->rid ? sid(at->rid) : CREDUTL_SID_NOBODY}, perms});
        left.erase(at);
    }
    if (number % 3 != 0) {
        const unsigned user = number % 3 == 1 ? me : other, group = number % 2 ? mine : foreign;
        made.owner_user = sid(user);
        made.owner_group = sid(group);
        made.object.owners = ':' + sid_text(user) + ':' + sid_text(group);
    }
    return made;
}

TEST(AclService, AnswersTenThousandChecksAsTheRulesSay) {
    std::mt19937 random(20);
    std::vector<made_object> made;
    std::vector<server::object> objects;
    for (unsigned i = 0; i < 10; i++) objects.push_back(made.emplace_back(make_object(random, i)).object);
    server service(objects);

    size_t answers = 0, granted = 0;
    for (const made_object &o : made) {
        for (const tbs_acl_permission_set_t wanted : {1u, 2u, 6u, 9u, 15u}) {
            SCOPED_TRACE(o.object.acl + o.object.owners + " wanted " + names_of(wanted));
            const bool grants = o.grants(wanted);
            const outcome said = service.ask("tcp", {"check", o.object.name, names_of(wanted), "200"});
            EXPECT_EQ(said.status, grants ? 0 : 1) << said.err;
            for (const std::string &answer : tool_test::lines_of(said.out)) {
                EXPECT_EQ(answer, grants ? "granted" : "denied");
                answers++;
                granted += grants;
            }
        }
    }
    EXPECT_EQ(answers, 10'000u);
    EXPECT_GT(granted, 1'000u);
    EXPECT_LT(granted, 9'000u);
    EXPECT_EQ(service.printed(), "");
}

TEST(AclService, ChecksOverDatagramsToo) {
    server service({{"object", "User:CORP\\me ReadData\n", ""}});
    EXPECT_EQ(service.ask("udp", {"check", "object", "ReadData", "3"}).out, "granted\ngranted\ngranted\n");
    EXPECT_EQ(service.ask("udp", {"check", "object", "WriteData"}).out, "denied\n");
}

TEST(AclService, TellsThatAnObjectIsUnknown) {
    server service;
    for (const char *transport : {"tcp", "udp"}) {
        const outcome said = service.ask(transport, {"check", "nothing", "ReadData"});
        EXPECT_EQ(said.status, 2);
        EXPECT_EQ(said.out, "");
        EXPECT_EQ(said.err, std::string("acl_client: nothing: ") + tbs_strerror(TBS_ST_NOT_FOUND) + '\n');
    }
}

TEST(AclService, TracesWhyItDecided) {
    server service({{"object", "User:CORP\\me ReadData\n", ""}},
                   {{"ORSIK_VERBOSITY", "3"}, {"ORSIK_TRACE", "tbs_acl:3"}});
    EXPECT_EQ(service.ask("tcp", {"check", "object", "ReadData,WriteData"}).status, 1);
    EXPECT_THAT(service.printed(), testing::HasSubstr("ACL permission is NOT granted.\n"
                                                      "Missing:   0x00000002.\n"
                                                      "Requested: 0x00000003.\n"
                                                      "Allowed:   0x00000001.\n"
                                                      "Client: "));
    EXPECT_THAT(service.printed(), testing::HasSubstr(" CORP\\me,CORP\\mine"));
}

// ---- lists in pieces -----------------------------------------------------------------------------------------------

TEST(AclService, TakesAndGivesALongListInDatagrams) {
    server service;
    const std::string text = list_text();
    const outcome stored = service.ask("udp", {"put", "list", service.file("list", text)});
    EXPECT_EQ(stored.status, 0) << stored.err;
    EXPECT_EQ(service.ask("udp", {"get", "list"}).out, text);
    EXPECT_EQ(service.ask("tcp", {"get", "list"}).out, text);

    caller owner(SOCK_DGRAM, service.udp, getuid());
    gathered all;
    for (const auto &[count, cursor] : {std::pair{50u, 50u}, {100u, 100u}, {120u, 0u}}) {
        EXPECT_EQ(owner.get("list", all), 0);
        EXPECT_EQ(all.count(), count);
        EXPECT_EQ(all.cursor, cursor);
    }
    const tbs_sid_acl_h_t sent = list_of(listed_users).release();
    const acl_test::sid_ptr sent_owner(sent);
    EXPECT_TRUE(tbs_sid_acl_cmp_acl(&sent, &all.acl));
    EXPECT_TRUE(tbs_sid_acl_cmp_acl(&all.acl, &sent));
}

TEST(AclService, StoresAnEmptyList) {
    server service;
    EXPECT_EQ(service.ask("tcp", {"put", "list", service.file("list", "# nobody\n")}).status, 0);
    const outcome given = service.ask("tcp", {"get", "list"});
    EXPECT_EQ(given.status, 0) << given.err;
    EXPECT_EQ(given.out, "");
    EXPECT_EQ(service.ask("tcp", {"check", "list", "ReadData"}).out, "denied\n");
}

TEST(AclService, TakesADatagramThatComesTwiceOnce) {
    server service;
    const acl_test::sid_ptr list = list_of(listed_users);
    caller owner(SOCK_DGRAM, service.udp, getuid());
    acl_put_request_t request = caller::put_request("list", list.get());
    EXPECT_EQ(owner.put(request), 0);
    request.cursor = request.next;
    EXPECT_EQ(owner.put(request), 0);
    owner.repeat_next();
    EXPECT_EQ(owner.put(request), 0);
    request.cursor = request.next;
    EXPECT_EQ(owner.put(request), 0);

    gathered all;
    do {
        EXPECT_EQ(owner.get("list", all), 0);
    } while (all.cursor != 0 && !HasFailure());
    EXPECT_EQ(all.count(), listed_users);
}

TEST(AclService, RefusesPiecesOutOfOrder) {
    server service;
    const acl_test::sid_ptr list = list_of(listed_users);
    caller owner(SOCK_STREAM, service.tcp, getuid());
    acl_put_request_t request = caller::put_request("list", list.get());
    request.cursor = 50;
    EXPECT_EQ(owner.put(request), TBS_ST_EINVAL) << "no first piece";
    request.cursor = 0;
    EXPECT_EQ(owner.put(request), 0);
    request.cursor = 100;
    EXPECT_EQ(owner.put(request), TBS_ST_EINVAL) << "the second is missing";
    request.cursor = 50;
    EXPECT_EQ(owner.put(request), 0) << "what was refused has changed nothing";
    request.cursor = 100;
    EXPECT_EQ(owner.put(request), 0);
}

TEST(AclService, KeepsThePiecesOfTwoConnectionsApart) {
    server service;
    const acl_test::sid_ptr longer = list_of(listed_users), shorter = list_of(60);
    caller first(SOCK_STREAM, service.tcp, getuid()), second(SOCK_STREAM, service.tcp, getuid());
    acl_put_request_t of_first = caller::put_request("list", longer.get());
    EXPECT_EQ(first.put(of_first), 0);
    EXPECT_EQ(second.put_all("list", shorter.get()), 0);
    gathered all;
    EXPECT_EQ(first.get("list", all), 0);
    for (of_first.cursor = 50; of_first.next != 0; of_first.cursor = of_first.next) ASSERT_EQ(first.put(of_first), 0);
    EXPECT_EQ(first.get("list", all), TBS_ST_ESTALE) << "the list has changed since its first piece";
}

// ---- limits --------------------------------------------------------------------------------------------------------

TEST(AclService, RefusesMoreObjectsThanItHolds) {
    server service;
    caller owner(SOCK_STREAM, service.tcp, getuid());
    const acl_test::sid_ptr list = list_of(1);
    unsigned stored = 0;
    tbs_status_t status = 0;
    while (stored <= 1000 && (status = owner.put_all(("object" + std::to_string(stored)).c_str(), list.get())) == 0) {
        stored++;
    }
    EXPECT_EQ(status, TBS_ST_ENOSPC);
    EXPECT_EQ(stored, 256u);
    EXPECT_EQ(owner.put_all("object7", list.get()), 0) << "one that is there can be changed";
}

TEST(AclService, RefusesAListThatIsTooLong) {
    server service;
    caller owner(SOCK_STREAM, service.tcp, getuid());
    EXPECT_EQ(owner.put_all("fits", list_of(1500).get()), 0);
    EXPECT_EQ(owner.put_all("does not", list_of(1600).get()), TBS_ST_ACL_TOO_LONG);
    EXPECT_EQ(service.ask("tcp", {"check", "does not", "ReadData"}).status, 2);
}

TEST(AclService, ForgetsTheOldestOfTooManyUnfinishedLists) {
    server service;
    caller owner(SOCK_STREAM, service.tcp, getuid());
    const acl_test::sid_ptr list = list_of(60);
    for (unsigned i = 0; i < 17; i++) {
        acl_put_request_t request = caller::put_request(("list" + std::to_string(i)).c_str(), list.get());
        EXPECT_EQ(owner.put(request), 0);
    }
    acl_put_request_t request = caller::put_request("list1", list.get());
    request.cursor = 50;
    EXPECT_EQ(owner.put(request), 0);
    request = caller::put_request("list0", list.get());
    request.cursor = 50;
    EXPECT_EQ(owner.put(request), TBS_ST_EINVAL);
}

// ---- who may --------------------------------------------------------------------------------------------------------

TEST(AclService, RefusesACallerWithoutCredentials) {
    server service({{"object", "Everyone: ReadData\n", ""}});
    for (const auto &[type, port] : {std::pair{SOCK_STREAM, service.tcp}, {SOCK_DGRAM, service.udp}}) {
        caller nobody(type, port);
        EXPECT_EQ(nobody.call(ACL_SERVICE_NULL, nothing, nullptr, nothing, nullptr), RPC_SUCCESS);
        for (const rpcproc_t procedure : {ACL_SERVICE_CHECK, ACL_SERVICE_PUT, ACL_SERVICE_GET, ACL_SERVICE_EXIT}) {
            SCOPED_TRACE(procedure);
            EXPECT_EQ(nobody.call(procedure, nothing, nullptr, nothing, nullptr), RPC_AUTHERROR);
            EXPECT_EQ(nobody.error().re_why, AUTH_TOOWEAK);
        }
        EXPECT_EQ(nobody.call(99, nothing, nullptr, nothing, nullptr), RPC_PROCUNAVAIL);
    }
    EXPECT_EQ(service.ask("tcp", {"check", "object", "ReadData"}).out, "granted\n");
}

TEST(AclService, ShowsAndChangesAnAclOnlyForItsOwnerAndWhomItNames) {
    server service(
        {{"closed", "Everyone: Read,Change\nUser:CORP\\other ReadData\n", ':' + sid_text(me) + ':' + sid_text(mine)},
         {"open", "User:CORP\\other AclRead\n", ""}});
    const acl_test::sid_ptr list = list_of(1);
    caller owner(SOCK_STREAM, service.tcp, getuid()), stranger(SOCK_STREAM, service.tcp, other_uid);

    gathered reply;
    EXPECT_EQ(stranger.get("open", reply), 0) << "AclRead";
    EXPECT_EQ(stranger.put_all("open", list.get()), TBS_ST_EACCES) << "no AclWrite";
    gathered other_reply;
    EXPECT_EQ(owner.get("open", other_reply), TBS_ST_EACCES) << "neither owner nor named";

    EXPECT_EQ(owner.put_all("closed", list.get()), 0) << "the owner, though the list does not name him";
    gathered closed;
    EXPECT_EQ(owner.get("closed", closed), 0);
    EXPECT_EQ(stranger.get("closed", other_reply), TBS_ST_EACCES);
    EXPECT_EQ(stranger.put_all("closed", list.get()), TBS_ST_EACCES);

    EXPECT_EQ(stranger.put_all("new", list.get()), 0) << "who puts it owns it";
    EXPECT_EQ(stranger.put_all("new", list.get()), 0);
    EXPECT_EQ(owner.put_all("new", list.get()), TBS_ST_EACCES);
}

TEST(AclService, IsEndedByItsUserAlone) {
    server service;
    tbs_status_t status = -1;
    caller stranger(SOCK_STREAM, service.tcp, other_uid);
    EXPECT_EQ(
        stranger.call(ACL_SERVICE_EXIT, proc(xdr_server_exit_req), nullptr, proc(xdr_server_exit_reply), &status),
        RPC_SUCCESS);
    EXPECT_EQ(status, TBS_ST_EACCES);
    const outcome stopped = service.ask("tcp", {"stop"});
    EXPECT_EQ(stopped.status, 0) << stopped.err;
    EXPECT_EQ(service.end(), 0);
    EXPECT_EQ(service.printed(), "");
}

TEST(AclService, IsEndedByADatagramToo) {
    server service;
    EXPECT_EQ(service.ask("udp", {"stop"}).status, 0);
    EXPECT_EQ(service.end(), 0);
}

// ---- hostile bytes --------------------------------------------------------------------------------------------------

using bytes = std::string;

bytes word(uint32_t value) {
    const uint32_t big = htonl(value);
    return {reinterpret_cast<const char *>(&big), sizeof big};
}
bytes record(const bytes &body) { return word(0x80000000u | static_cast<uint32_t>(body.size())) + body; }

// A call up to its arguments: AUTH_SYS credentials, no verifier.
bytes call_header(uint32_t procedure, uint32_t uid = getuid()) {
    const bytes credentials = word(0) + word(0) + word(uid) + word(getgid()) + word(0);
    return word(7) + word(0) + word(2) + word(ACL_SERVICE_PROGRAM) + word(ACL_SERVICE_VERSION) + word(procedure) +
           word(AUTH_SYS) + word(static_cast<uint32_t>(credentials.size())) + credentials + word(AUTH_NONE) + word(0);
}

class connection {
public:
    explicit connection(uint16_t port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_in address = loopback(port);
        if (connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
            throw std::runtime_error("no connection");
        }
        const timeval limit{60, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~connection() { close(fd_); }
    connection(const connection &) = delete;
    connection &operator=(const connection &) = delete;

    // The server may close before it has read all.
    void send(const bytes &all) const {
        for (size_t at = 0; at < all.size();) {
            const ssize_t sent = ::send(fd_, all.data() + at, all.size() - at, MSG_NOSIGNAL);
            if (sent <= 0) return;
            at += static_cast<size_t>(sent);
        }
    }
    // Reads until the server closes; false when it does not.
    [[nodiscard]] bool closed_by_server() const {
        shutdown(fd_, SHUT_WR);
        char buffer[4096];
        ssize_t got = 0;
        while ((got = read(fd_, buffer, sizeof buffer)) > 0) {}
        return got == 0 || errno == ECONNRESET;
    }

private:
    int fd_;
};

TEST(AclService, OutlivesHostileBytes) {
    server service({{"object", "User:CORP\\me ReadData\n", ""}});
    const bytes a_name = word(6) + "object" + bytes(2, '\0');
    std::vector<bytes> attacks = {
        "GET / HTTP/1.0\r\n\r\n",
        word(0xFFFFFFFF) + bytes(1000, '\xFF'),
        word(0x80000000),
        bytes(4096, '\0'),
        word(0x7FFFFFFF),
        record(bytes(64, '\0')),
        record(bytes(200'000, 'x')),
        record(call_header(ACL_SERVICE_CHECK)),
        record(call_header(ACL_SERVICE_CHECK) + word(0xFFFFFFFF)),
        record(call_header(ACL_SERVICE_CHECK) + word(256) + bytes(256, 'n') + word(1)),
        record(call_header(ACL_SERVICE_PUT) + a_name + word(0) + word(0) + word(50) + word(50)),
        record(call_header(ACL_SERVICE_PUT) + a_name + word(0) + word(0) + word(0xFFFFFFFF) + word(0xFFFFFFFF)),
        record(call_header(ACL_SERVICE_PUT) + a_name + word(0xFFFFFFFF) + word(0) + word(0) + word(0xFFFFFFFF)),
        record(call_header(ACL_SERVICE_PUT) + a_name + word(0) + word(1)),
        record(call_header(ACL_SERVICE_PUT) + a_name + word(0) + word(0) + word(1) + word(1) + word(3) +
               word(0xFFFFFFF0)),
        record(call_header(ACL_SERVICE_GET) + a_name + word(0xFFFFFFFF) + word(1)),
        record(call_header(0xFFFFFFFF)),
        record(word(7) + word(0) + word(2) + word(ACL_SERVICE_PROGRAM) + word(1) + word(1) + word(AUTH_SYS) +
               word(0xFFFFFFFF)),
        record(word(7) + word(0) + word(2) + word(ACL_SERVICE_PROGRAM) + word(1) + word(1) + word(AUTH_SYS) +
               word(20) + word(0) + word(0) + word(1) + word(1) + word(0xFFFFFFFF) + word(0) + word(0)),
    };
    // One connection for each, all open at the same time: half a request keeps nobody waiting.
    std::vector<std::unique_ptr<connection>> open;
    for (const bytes &attack : attacks) {
        open.push_back(std::make_unique<connection>(service.tcp));
        open.back()->send(attack);
        open.push_back(std::make_unique<connection>(service.tcp));
        open.back()->send(attack.substr(0, attack.size() / 2));
    }
    EXPECT_EQ(service.ask("tcp", {"check", "object", "ReadData"}).out, "granted\n");
    for (const auto &one : open) EXPECT_TRUE(one->closed_by_server());
    open.clear();

    // Somebody who may not end the server, should the noise happen to ask for it.
    std::mt19937 random(7);
    for (int round = 0; round < 200; round++) {
        bytes noise = round % 2 ? record(call_header(1 + random() % 4, other_uid) + bytes(random() % 200, '\0'))
                                : bytes(random() % 400, '\0');
        for (int changes = 0; changes < 20 && !noise.empty(); changes++) {
            noise[random() % noise.size()] = static_cast<char>(random());
        }
        const connection one(service.tcp);
        one.send(noise);
        EXPECT_TRUE(one.closed_by_server()) << "round " << round;
    }
    EXPECT_EQ(service.ask("tcp", {"check", "object", "ReadData"}).out, "granted\n");
    EXPECT_EQ(service.ask("tcp", {"stop"}).status, 0);
    EXPECT_EQ(service.end(), 0);
}

// ---- the programs' own words ----------------------------------------------------------------------------------------

TEST(AclServer, RefusesAnObjectThatCannotBeRead) {
    for (const char *object : {"no file named", "=file", "name=/nonexistent/file"}) {
        SCOPED_TRACE(object);
        const outcome said = tool_test::run_program({server_path, object});
        EXPECT_EQ(said.status, 1);
        EXPECT_EQ(said.out, "");
        EXPECT_NE(said.err, "");
    }
}

TEST(AclClient, RefusesBadArguments) {
    const std::vector<strings> bad = {{"tcp"},
                                      {"tcp", "1", "check", "name"},
                                      {"tcp", "1", "dance"},
                                      {"tcp", "0", "stop"},
                                      {"ipx", "1", "stop"},
                                      {"tcp", "1", "get", "a", "b"}};
    for (strings words : bad) {
        SCOPED_TRACE(words.back());
        words.insert(words.begin(), client_path);
        const outcome said = tool_test::run_program(words);
        EXPECT_EQ(said.status, 2);
        EXPECT_NE(said.err, "");
    }
}

TEST(AclClient, TellsThatNobodyAnswers) {
    uint16_t port = 0;
    {
        const server gone;
        port = gone.tcp;
    }
    const outcome said = tool_test::run_program({client_path, "tcp", std::to_string(port), "stop"});
    EXPECT_EQ(said.status, 2);
    EXPECT_THAT(said.err, testing::StartsWith("acl_client: "));
}

} // namespace
