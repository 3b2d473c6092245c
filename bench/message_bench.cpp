// Status texts and printed messages beside those of the C library.

#include "ks/ks_imsg.h"
#include "tbs/tbs_msg.h"
#include "tbs/tbs_status.h"

#include <benchmark/benchmark.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

void status_text(benchmark::State &state) {
    for (auto _ : state) benchmark::DoNotOptimize(tbs_strerror(TBS_ST_DENIED));
}

void system_text(benchmark::State &state) {
    char buffer[512];
    for (auto _ : state) benchmark::DoNotOptimize(strerror_r(ENOTDIR, buffer, sizeof buffer));
}

// Standard output led into a file while it lives.
class output_file {
public:
    output_file() {
        std::fflush(stdout);
        char path[] = "/tmp/tbs_bench_XXXXXX";
        const int file = mkstemp(path);
        if (file < 0) std::abort();
        unlink(path);
        kept_ = dup(STDOUT_FILENO);
        dup2(file, STDOUT_FILENO);
        close(file);
    }
    ~output_file() {
        std::fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        close(kept_);
    }
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

private:
    int kept_ = -1;
};

constexpr char identity[] = "User:CORP\\fred", permissions[] = "Read,AclRead,Delete";

void printed_message(benchmark::State &state) {
    const output_file file;
    const imsg_table_t *table = tbs_acl_tbs_msg_table_adr();
    for (auto _ : state) imsg_print(IMSG_PLAIN, table, 19, identity, permissions);
}

void printed_line(benchmark::State &state) {
    const output_file file;
    for (auto _ : state) {
        std::fprintf(stdout, "    %s %s\n", identity, permissions);
        std::fflush(stdout);
    }
}

BENCHMARK(status_text)->Name("tbs_strerror/ours");
BENCHMARK(system_text)->Name("tbs_strerror/peer:strerror_r");
BENCHMARK(printed_message)->Name("imsg_print/ours");
BENCHMARK(printed_line)->Name("imsg_print/peer:fprintf_fflush");

} // namespace

BENCHMARK_MAIN();
