// The permission check beside what a program could do without it: a scan of plain ids, and asking the kernel.

#include "bench_support.hpp"

#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <sys/acl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace bench;

constexpr tbs_acl_permission_set_t wanted = 3;

void sid_check(benchmark::State &state) {
    tbs_sid_acl_h_t acl = sid_acl(static_cast<size_t>(state.range(0)));
    const sid_client client;
    tbs_boolean_t granted = 0;
    {
        const counted_allocations heap;
        tbs_sid_acl_check_permission_creds(acl, wanted, client.whole, nullptr, nullptr, &granted);
        if (heap.seen() != 0) state.SkipWithError("the check took memory");
    }
    for (auto _ : state) {
        tbs_sid_acl_check_permission_creds(acl, wanted, client.whole, nullptr, nullptr, &granted);
        benchmark::DoNotOptimize(granted);
    }
    if (!granted) state.SkipWithError("not granted");
    tbs_sid_acl_free(&acl);
}

void memcmp_scan(benchmark::State &state) {
    struct id {
        unsigned char bytes[34];
    };
    std::vector<id> ids;
    for (const unsigned rid : rids(static_cast<size_t>(state.range(0)))) {
        const credutl_sid_t value = sid(rid);
        std::memcpy(ids.emplace_back().bytes, &value, sizeof value);
    }
    const credutl_sid_t sought = sid(client_rid);
    for (auto _ : state) {
        const id *found = nullptr;
        for (const id &candidate : ids) {
            if (std::memcmp(candidate.bytes, &sought, sizeof candidate.bytes) == 0) {
                found = &candidate;
                break;
            }
        }
        benchmark::DoNotOptimize(found);
    }
}

// Ids of the thread alone: the raw calls leave the other threads of the program as they are.
class plain_user {
public:
    plain_user() {
        if (geteuid() != 0) return;
        std::vector<gid_t> groups;
        for (unsigned i = 0; i < group_count; i++) groups.push_back(500'000 + i);
        changed_ = syscall(SYS_setgroups, groups.size(), groups.data()) == 0 &&
                   syscall(SYS_setresgid, -1, 500'000, -1) == 0 && syscall(SYS_setresuid, -1, 400'007, -1) == 0;
    }
    ~plain_user() {
        if (!changed_) return;
        if (syscall(SYS_setresuid, -1, 0, -1) != 0 || syscall(SYS_setresgid, -1, 0, -1) != 0) std::abort();
        if (syscall(SYS_setgroups, 0, nullptr) != 0) std::abort();
    }
    plain_user(const plain_user &) = delete;
    plain_user &operator=(const plain_user &) = delete;
    [[nodiscard]] bool changed() const { return changed_; }

private:
    bool changed_ = false;
};

bool give_acl(const char *path, size_t entries) {
    std::string text = "u::rw,g::-,o::-,m::rwx";
    for (size_t i = 0; i + 1 < entries; i++) text += ",u:" + std::to_string(410'000 + i) + ":r";
    text += ",u:400007:r";
    acl_t acl = acl_from_text(text.c_str());
    const bool given = acl && acl_set_file(path, ACL_TYPE_ACCESS, acl) == 0;
    if (acl) acl_free(acl);
    return given;
}

void kernel_access(benchmark::State &state) {
    const host here(0);
    const std::string path = here.file("object");
    std::fclose(std::fopen(path.c_str(), "w"));
    std::filesystem::permissions(std::filesystem::path(path).parent_path(), std::filesystem::perms(0755));
    if (!give_acl(path.c_str(), static_cast<size_t>(state.range(0)))) {
        state.SkipWithError("the file system has no ACLs");
        return;
    }
    const plain_user user;
    if (!user.changed()) {
        state.SkipWithError("only root can ask as another user");
        return;
    }
    for (auto _ : state) {
        if (faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0) {
            state.SkipWithError("refused");
            break;
        }
    }
}

// The whole request: credentials out of the client handle, then the decision.
template <class Acl, class Check> void request(benchmark::State &state, Acl acl, Check &&check) {
    tbs_boolean_t granted = 0;
    if (check(acl, &granted) != 0) state.SkipWithError("the check failed");
    for (auto _ : state) {
        check(acl, &granted);
        benchmark::DoNotOptimize(granted);
    }
    if (!granted) state.SkipWithError("not granted");
}

void sid_request(benchmark::State &state) {
    tbs_sid_acl_h_t acl = sid_acl(100);
    const sid_client who;
    request(state, acl, [&](tbs_sid_acl_h_t a, tbs_boolean_t *granted) {
        return tbs_sid_acl_check_permission(a, wanted, who.client, nullptr, nullptr, granted);
    });
    tbs_sid_acl_free(&acl);
}

void sid_request_by_name(benchmark::State &state) {
    const host here;
    tbs_sid_acl_h_t acl = sid_acl(100);
    const named_client who;
    request(state, acl, [&](tbs_sid_acl_h_t a, tbs_boolean_t *granted) {
        return tbs_sid_acl_check_permission(a, wanted, who.client, nullptr, nullptr, granted);
    });
    tbs_sid_acl_free(&acl);
}

void classic_cooked(benchmark::State &state) {
    const host here;
    tbs_acl_h_t acl = classic_acl(100);
    const sid_client who;
    request(state, acl, [&](tbs_acl_h_t a, tbs_boolean_t *granted) {
        return tbs_acl_check_permission(a, wanted, who.client, 0, 0, granted);
    });
    tbs_acl_free(&acl);
}

void classic_by_name(benchmark::State &state) {
    tbs_acl_h_t acl = classic_acl(100);
    const named_client who;
    request(state, acl, [&](tbs_acl_h_t a, tbs_boolean_t *granted) {
        return tbs_acl_check_permission(a, wanted, who.client, 0, 0, granted);
    });
    tbs_acl_free(&acl);
}

BENCHMARK(sid_check)->Name("sid_check/ours")->Arg(10)->Arg(100)->Arg(1000)->Arg(100'000);
BENCHMARK(memcmp_scan)->Name("sid_check/peer:memcmp_scan")->Arg(10)->Arg(100)->Arg(1000)->Arg(100'000);
BENCHMARK(kernel_access)->Name("sid_check/peer:access")->Arg(100);
BENCHMARK(sid_request)->Name("sid_request/ours");
BENCHMARK(classic_cooked)->Name("classic_cooked_request/ours");
BENCHMARK(sid_request_by_name)->Name("sid_request_by_name/ours");
BENCHMARK(classic_by_name)->Name("classic_request_by_name/ours");

} // namespace

BENCHMARK_MAIN();
