// File status records as text.

#include "ks/ks_cred.h"
#include "ks/ks_date.h"
#include "tbs/tbs_fstat.h"

#include <benchmark/benchmark.h>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace {

tbs_fstat_db_t record() {
    tbs_fstat_db_t made{};
    made.type = TBS_FTYPE_FILE;
    made.mode = 0644;
    made.nlink = 1;
    made.size = 1234567;
    made.ino = 424242;
    made.atime = {1795276800, 0};
    made.mtime = {1795190400, 0};
    made.ctime = made.xtime = {1795190477, 0};
    if (credutl_str_to_sid("S-1-5-21-3623811015-3361044348-30300820-1013", &made.usid) != 0 ||
        credutl_str_to_sid("S-1-5-21-3623811015-3361044348-30300820-513", &made.gsid) != 0) {
        std::abort();
    }
    return made;
}

// Without a zone in TZ the C library looks at the host's zone file for each time.
void format_ours(benchmark::State &state, const char *zone) {
    if (zone) setenv("TZ", zone, 1);
    const tbs_fstat_db_t status = record();
    char text[1024];
    for (auto _ : state) {
        benchmark::DoNotOptimize(tbs_format_fstat_db_new(&status, sizeof text, 0, text));
        benchmark::DoNotOptimize(text);
    }
    unsetenv("TZ");
}

// The same text in one call, of times and SIDs that are texts already.
void format_snprintf(benchmark::State &state) {
    const tbs_fstat_db_t status = record();
    char user[CREDUTL_SID_STR_SIZE], group[CREDUTL_SID_STR_SIZE], times[3][DATE_CTIME_SIZE], text[1024];
    credutl_sid_to_str(&status.usid, user, sizeof user);
    credutl_sid_to_str(&status.gsid, group, sizeof group);
    date_ctime(status.atime.tv_sec, times[0], sizeof times[0]);
    date_ctime(status.mtime.tv_sec, times[1], sizeof times[1]);
    date_ctime(status.ctime.tv_sec, times[2], sizeof times[2]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::snprintf(text, sizeof text,
                                               "ino: %" PRIu32 "; type: %" PRIu32 "; mode: 0%" PRIo32
                                               "\nusid: %s\ngsid: %s\nnlink: %" PRIu32 "; size: %" PRIu64
                                               "\natime: %smtime: %sctime: %.24s",
                                               status.ino, status.type, status.mode, user, group, status.nlink,
                                               status.size, times[0], times[1], times[2]));
        benchmark::DoNotOptimize(text);
    }
}

BENCHMARK_CAPTURE(format_ours, in_utc, "UTC0")->Name("fstat_format/ours");
BENCHMARK_CAPTURE(format_ours, on_host, nullptr)->Name("fstat_format/ours:host_zone");
BENCHMARK(format_snprintf)->Name("fstat_format/peer:snprintf");

} // namespace
