// Role maps built through the interface, and the effective ACLs that come of them.

#include "bench_support.hpp"
#include "tbs/tbs_rolemap.h"

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstring>
#include <unordered_map>

namespace {

using namespace bench;

constexpr size_t ids_of_role = 100;

tbs_sid_acl_id_t role(const std::string &name) {
    static char nothing[1];
    return {TBS_ACL_ID_ROLE, nothing, const_cast<char *>(name.c_str()), CREDUTL_SID_NOBODY};
}
tbs_sid_acl_id_t user(const credutl_sid_t &sid) {
    static char nothing[1];
    return {TBS_ACL_ID_USER, nothing, nothing, sid};
}

// SIDs made without a text: a million of them.
std::vector<credutl_sid_t> sids(size_t count) {
    std::vector<credutl_sid_t> all(count, sid(1));
    for (size_t i = 0; i < count; i++) {
        const auto rid = static_cast<uint32_t>(i * 2654435761u);
        std::memcpy(all[i].value + all[i].length - 4, &rid, sizeof rid);
    }
    return all;
}

std::string role_name(size_t number) { return "role" + std::to_string(number); }

// A map of so many identities, a hundred to a role, and a policy that names all roles.
struct setting {
    explicit setting(size_t identities) : all(sids(identities)) {
        if (tbs_rolemap_acl_create(&map) != 0 || tbs_sid_acl_create(&policy) != 0) std::abort();
        for (size_t i = 0; i < identities; i++) {
            const std::string name = role_name(i / ids_of_role);
            const tbs_sid_acl_id_t to = role(name), id = user(all[i]);
            if (tbs_rolemap_acl_add_role_binding(map, &to, &id) != 0) std::abort();
            if (i % ids_of_role == 0 && tbs_sid_acl_set_entry(policy, to, 1) != 0) std::abort();
        }
    }
    ~setting() {
        tbs_rolemap_acl_free(&map);
        tbs_sid_acl_free(&policy);
    }
    setting(const setting &) = delete;
    setting &operator=(const setting &) = delete;

    std::vector<credutl_sid_t> all;
    tbs_rolemap_acl_h_t map = nullptr;
    tbs_sid_acl_h_t policy = nullptr;
};

void per_identity(benchmark::State &state) {
    state.counters["per_entry"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void effective(benchmark::State &state) {
    const setting here(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        tbs_sid_acl_h_t acl = nullptr;
        if (tbs_rolemap_acl_generate_effective_acl(here.policy, here.map, &acl) != 0) state.SkipWithError("not made");
        benchmark::DoNotOptimize(acl);
        tbs_sid_acl_free(&acl);
    }
    per_identity(state);
}

// What no way of merging can do without: each key inserted into a table that has room for all.
struct key : std::array<char, sizeof(credutl_sid_t)> {};
struct hash_of_key {
    size_t operator()(const key &k) const { return std::hash<std::string_view>()({k.data(), k.size()}); }
};
template <class Table> void insert(benchmark::State &state) {
    const std::vector<credutl_sid_t> all = sids(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        Table table;
        table.reserve(all.size());
        uint32_t position = 0;
        for (const credutl_sid_t &one : all) {
            key k;
            std::memcpy(k.data(), &one, sizeof one);
            table.try_emplace(k, position++);
        }
        benchmark::DoNotOptimize(table);
    }
    per_identity(state);
}

void build(benchmark::State &state) {
    const auto bindings = static_cast<size_t>(state.range(0));
    const std::vector<credutl_sid_t> all = sids(bindings);
    std::vector<std::string> names;
    for (size_t i = 0; i < bindings; i++) names.push_back(role_name(i));
    for (auto _ : state) {
        tbs_rolemap_acl_h_t map = nullptr;
        tbs_rolemap_acl_create(&map);
        for (size_t i = 0; i < bindings; i++) {
            const tbs_sid_acl_id_t to = role(names[i]), id = user(all[i]);
            tbs_rolemap_acl_add_role_binding(map, &to, &id);
        }
        tbs_rolemap_acl_free(&map);
    }
    per_identity(state);
}

BENCHMARK(effective)->Name("effective_acl/ours")->Arg(1000)->Arg(10'000)->Arg(100'000)->Arg(1'000'000);
BENCHMARK(insert<boost::unordered_flat_map<key, uint32_t, hash_of_key>>)
    ->Name("effective_acl/peer:flat_map")
    ->Arg(1000)
    ->Arg(100'000)
    ->Arg(1'000'000);
BENCHMARK(insert<std::unordered_map<key, uint32_t, hash_of_key>>)
    ->Name("effective_acl/peer:unordered_map")
    ->Arg(100'000);
BENCHMARK(build)->Name("rolemap_build/ours")->Arg(1000)->Arg(10'000)->Arg(100'000);

} // namespace
