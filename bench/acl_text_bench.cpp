// ACL files read and written, and long ACLs built entry by entry.

#include "bench_support.hpp"

#include <sys/acl.h>

namespace {

using namespace bench;

constexpr size_t entries = 10'000;

std::string policy(const host &here) {
    std::string path = here.file("policy");
    FILE *stream = std::fopen(path.c_str(), "w");
    for (size_t i = 0; i < entries; i++) {
        std::fprintf(stream, "User:%s Delete,AclRead\n", user_name(1000 + static_cast<unsigned>(i)).c_str());
    }
    std::fclose(stream);
    return path;
}

void per_entry(benchmark::State &state, size_t count) {
    state.counters["per_entry"] = benchmark::Counter(
        static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void parse(benchmark::State &state) {
    const host here;
    const std::string path = policy(here);
    tbs_sid_acl_h_t acl = nullptr;
    if (tbs_sid_acl_utl_parse(path.c_str(), nullptr, 0, nullptr, &acl) != 0) state.SkipWithError("not read");
    tbs_sid_acl_free(&acl);
    for (auto _ : state) {
        tbs_sid_acl_utl_parse(path.c_str(), nullptr, 0, nullptr, &acl);
        tbs_sid_acl_free(&acl);
    }
    per_entry(state, entries);
}

void print(benchmark::State &state) {
    const host here;
    tbs_sid_acl_h_t acl = nullptr;
    if (tbs_sid_acl_utl_parse(policy(here).c_str(), nullptr, 0, nullptr, &acl) != 0) state.SkipWithError("not read");
    FILE *stream = std::fopen(here.file("listing").c_str(), "w");
    for (auto _ : state) {
        std::rewind(stream);
        if (tbs_sid_acl_utl_output(stream, acl, nullptr, 0, nullptr) != 0) state.SkipWithError("not written");
        std::fflush(stream);
    }
    std::fclose(stream);
    tbs_sid_acl_free(&acl);
    per_entry(state, entries);
}

void libacl_parse(benchmark::State &state) {
    constexpr size_t some = 1000;
    std::string text;
    for (size_t i = 0; i < some; i++) text += "u:root:r-x\n";
    for (auto _ : state) {
        acl_t acl = acl_from_text(text.c_str());
        if (!acl) state.SkipWithError("not read");
        acl_free(acl);
    }
    per_entry(state, some);
}

void set_entry(benchmark::State &state) {
    const size_t count = static_cast<size_t>(state.range(0));
    std::vector<credutl_sid_t> sids;
    for (size_t i = 0; i < count; i++) sids.push_back(sid(1000 + static_cast<unsigned>(i)));
    for (auto _ : state) {
        tbs_sid_acl_h_t acl = nullptr;
        tbs_sid_acl_create(&acl);
        for (const credutl_sid_t &one : sids) {
            tbs_sid_acl_set_entry(acl, {TBS_ACL_ID_USER, nullptr, nullptr, one}, TBS_ACL_PERM_DELETE);
        }
        tbs_sid_acl_free(&acl);
    }
    per_entry(state, count);
}

void set_classic_entry(benchmark::State &state) {
    const size_t count = static_cast<size_t>(state.range(0));
    std::string domain = "BENCH";
    std::vector<std::string> names;
    for (size_t i = 0; i < count; i++) names.push_back("user" + std::to_string(i));
    for (auto _ : state) {
        tbs_acl_h_t acl = nullptr;
        tbs_acl_create(&acl);
        for (std::string &name : names) {
            tbs_acl_set_entry(acl, {TBS_ACL_ID_USER, domain.data(), name.data()}, TBS_ACL_PERM_DELETE);
        }
        tbs_acl_free(&acl);
    }
    per_entry(state, count);
}

BENCHMARK(parse)->Name("acl_parse_10000/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(print)->Name("acl_print_10000/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(libacl_parse)->Name("acl_parse_1000/peer:libacl_names")->Unit(benchmark::kMicrosecond);
BENCHMARK(set_entry)->Name("sid_acl_build/ours")->Arg(100)->Arg(1000)->Arg(10'000)->Arg(100'000);
BENCHMARK(set_classic_entry)->Name("classic_acl_build/ours")->Arg(100)->Arg(1000)->Arg(10'000)->Arg(100'000);

} // namespace

BENCHMARK_MAIN();
