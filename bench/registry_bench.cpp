// The registry: a numbered parameter, read again and again.

#include "nt/nt_regy.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sqlite3.h>
#include <string>

namespace {

constexpr uint32_t number = 26;

// A registry of this run with a few hundred values, as a host has them.
class host {
public:
    host() {
        char path[] = "/tmp/tbs_bench_XXXXXX";
        if (!mkdtemp(path)) std::abort();
        directory_ = path;
        setenv("ORSIK_HOSTDATA_DIR", path, 1);
        for (unsigned i = 0; i < 300; i++) {
            const uint32_t value = i;
            if (ntregy_set_param(1000 + i, NTREGY_DWORD, &value, sizeof value) != 0) std::abort();
        }
        const uint32_t value = 1;
        if (ntregy_set_param(number, NTREGY_DWORD, &value, sizeof value) != 0) std::abort();
    }
    ~host() {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    host(const host &) = delete;
    host &operator=(const host &) = delete;
    [[nodiscard]] std::string file() const { return directory_ + "/registry.db"; }

private:
    std::string directory_;
};

const host &one_host() {
    static const host made;
    return made;
}

void param(benchmark::State &state) {
    one_host();
    for (auto _ : state) {
        uint32_t value = 0;
        if (ntregy_get_param(number, &value, sizeof value) != 0 || value != 1) std::abort();
        benchmark::DoNotOptimize(value);
    }
}

// The same row of the same file by one prepared statement on an open connection.
void param_sqlite(benchmark::State &state) {
    sqlite3 *db = nullptr;
    sqlite3_stmt *look_up = nullptr;
    if (sqlite3_open_v2(one_host().file().c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) ||
        sqlite3_prepare_v2(db, "SELECT type, data FROM value WHERE path = ?1 AND fold = ?2", -1, &look_up, nullptr)) {
        std::abort();
    }
    const char path[] = "software\0tessivane", name[] = "viewinterop";
    for (auto _ : state) {
        uint32_t value = 0;
        sqlite3_bind_blob(look_up, 1, path, sizeof path - 1, SQLITE_STATIC);
        sqlite3_bind_blob(look_up, 2, name, sizeof name - 1, SQLITE_STATIC);
        if (sqlite3_step(look_up) != SQLITE_ROW || sqlite3_column_int(look_up, 0) != NTREGY_DWORD) std::abort();
        std::memcpy(&value, sqlite3_column_blob(look_up, 1), sizeof value);
        sqlite3_reset(look_up);
        if (value != 1) std::abort();
        benchmark::DoNotOptimize(value);
    }
    sqlite3_finalize(look_up);
    sqlite3_close(db);
}

BENCHMARK(param)->Name("registry_param/ours");
BENCHMARK(param_sqlite)->Name("registry_param/peer:sqlite");

} // namespace
