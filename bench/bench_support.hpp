// bench_support.hpp - accounts, ACLs and clients of any size for the benchmarks.
#ifndef BENCH_SUPPORT_HPP
#define BENCH_SUPPORT_HPP

#include "ks/ks_cred.h"
#include "ks/ks_stg.h"
#include "tbs/tbs_acl.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

inline credutl_sid_t sid(unsigned rid) {
    credutl_sid_t sid{};
    const std::string text = "S-1-5-21-3623811015-3361044348-30300820-" + std::to_string(rid);
    if (credutl_str_to_sid(text.c_str(), &sid) != 0) std::abort();
    return sid;
}

inline std::string user_name(unsigned rid) { return "BENCH\\user" + std::to_string(rid); }
inline std::string group_name(unsigned rid) { return "BENCH\\group" + std::to_string(rid); }

inline constexpr unsigned groups_from = 10'000'000; // rids of groups begin here
inline constexpr unsigned client_rid = 7;
inline constexpr unsigned group_count = 32;

// A client who is user 7 and member of 32 groups, none of which stands in the ACLs made here.
struct sid_client {
    explicit sid_client(unsigned groups = group_count) {
        for (unsigned i = 1; i < groups; i++) supplementary.push_back(sid(groups_from + i));
        sids = {sid(client_rid), sid(groups_from), static_cast<uint32_t>(supplementary.size()), supplementary.data()};
        if (credutl_sid_credentials_to_whole(&sids, &whole) != 0) std::abort();
        if (credutl_client_from_sids("BENCH", &sids, &client) != 0) std::abort();
    }
    ~sid_client() {
        credutl_free_whole_credentials(&whole);
        credutl_client_free(&client);
    }
    sid_client(const sid_client &) = delete;
    sid_client &operator=(const sid_client &) = delete;

    std::vector<credutl_sid_t> supplementary;
    credutl_sid_credentials_t sids{};
    credutl_whole_credentials_t *whole = nullptr;
    credutl_client_t *client = nullptr;
};

// The same client by name.
struct named_client {
    named_client() {
        for (unsigned i = 0; i < group_count; i++) names.push_back(group_name(groups_from + i));
        for (unsigned i = 1; i < group_count; i++) groups.push_back(names[i].data());
        credutl_string_credentials_t strings{user.data(), names[0].data(), static_cast<uint32_t>(groups.size()),
                                             groups.data()};
        if (credutl_client_from_strings("BENCH", &strings, &client) != 0) std::abort();
    }
    ~named_client() { credutl_client_free(&client); }
    named_client(const named_client &) = delete;
    named_client &operator=(const named_client &) = delete;

    std::string user = user_name(client_rid);
    std::vector<std::string> names;
    std::vector<char *> groups;
    credutl_client_t *client = nullptr;
};

// Rids of an ACL of so many entries: strangers, then the client.
inline std::vector<unsigned> rids(size_t entries) {
    std::vector<unsigned> all;
    for (size_t i = 0; i + 1 < entries; i++) all.push_back(1000 + static_cast<unsigned>(i));
    all.push_back(client_rid);
    return all;
}

inline tbs_sid_acl_h_t sid_acl(size_t entries) {
    tbs_sid_acl_h_t acl = nullptr;
    if (tbs_sid_acl_create(&acl) != 0) std::abort();
    for (const unsigned rid : rids(entries)) {
        if (tbs_sid_acl_set_entry(acl, {TBS_ACL_ID_USER, nullptr, nullptr, sid(rid)}, 3) != 0) std::abort();
    }
    return acl;
}

inline tbs_acl_h_t classic_acl(size_t entries) {
    tbs_acl_h_t acl = nullptr;
    if (tbs_acl_create(&acl) != 0) std::abort();
    std::string domain = "BENCH";
    for (const unsigned rid : rids(entries)) {
        std::string name = "user" + std::to_string(rid);
        if (tbs_acl_set_entry(acl, {TBS_ACL_ID_USER, domain.data(), name.data()}, 3) != 0) std::abort();
    }
    return acl;
}

// A directory of this run, and in it an accounts file that knows all users and groups of the benchmarks.
class host {
public:
    explicit host(size_t users = 20'000) {
        char path[] = "/tmp/tbs_bench_XXXXXX";
        if (!mkdtemp(path)) std::abort();
        directory_ = path;
        const std::string accounts = file("accounts");
        FILE *stream = std::fopen(accounts.c_str(), "w");
        if (!stream) std::abort();
        const auto line = [&](const std::string &name, const char *kind, unsigned rid) {
            std::fprintf(stream, "%s %s S-1-5-21-3623811015-3361044348-30300820-%u\n", name.c_str(), kind, rid);
        };
        line(user_name(client_rid), "user", client_rid);
        for (unsigned i = 0; i < users; i++) line(user_name(1000 + i), "user", 1000 + i);
        for (unsigned i = 0; i < group_count; i++) line(group_name(groups_from + i), "group", groups_from + i);
        std::fclose(stream);
        setenv("ORSIK_ACCOUNTS", accounts.c_str(), 1);
        credutl_flush_accounts();
    }
    ~host() {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    host(const host &) = delete;
    host &operator=(const host &) = delete;
    [[nodiscard]] std::string file(const char *leaf) const { return directory_ + "/" + leaf; }

private:
    std::string directory_;
};

// Counts what the library takes from the heap while it lives.
class counted_allocations {
public:
    counted_allocations() { stg_set_failure_hook(count, this); }
    ~counted_allocations() { stg_set_failure_hook(nullptr, nullptr); }
    counted_allocations(const counted_allocations &) = delete;
    counted_allocations &operator=(const counted_allocations &) = delete;
    [[nodiscard]] size_t seen() const { return seen_; }

private:
    static int count(void *self) {
        static_cast<counted_allocations *>(self)->seen_++;
        return 0;
    }
    size_t seen_ = 0;
};

} // namespace bench

#endif
