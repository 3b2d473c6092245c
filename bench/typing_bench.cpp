// Types of real files: those of the system that the benchmark runs on, which are read once before.

#include "tbs/tbs_ft.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <clocale>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <span>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>
#ifdef ORSIK_HAS_MAGIC
#include <magic.h>
#endif

namespace {

constexpr size_t most_files = 20'000;
constexpr size_t slow_step = 10; // a slow peer gets every tenth of the files

using paths = std::vector<std::string>;

paths regular_files() {
    using namespace std::filesystem;
    paths all;
    std::error_code ignored;
    for (const char *root : {"/usr/include", "/usr/share", "/usr/lib"}) {
        for (const auto &entry :
             recursive_directory_iterator(root, directory_options::skip_permission_denied, ignored)) {
            const bool is_file = entry.is_regular_file(ignored) && !entry.is_symlink(ignored);
            if (is_file && access(entry.path().c_str(), R_OK) == 0) all.push_back(entry.path());
        }
    }
    std::sort(all.begin(), all.end());
    return all;
}

// Spread evenly over all that there are.
paths chosen_files() {
    const paths all = regular_files();
    const size_t count = std::min(all.size(), most_files);
    paths chosen;
    for (size_t i = 0; i < count; i++) chosen.push_back(all[i * all.size() / count]);
    return chosen;
}

bool read_beginning(const char *path) {
    struct stat status;
    char content[512];
    if (stat(path, &status) != 0) return false;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    const ssize_t got = read(file, content, sizeof content);
    close(file);
    benchmark::DoNotOptimize(content);
    return got >= 0;
}

const paths &files() {
    static const paths chosen = [] {
        std::setlocale(LC_ALL, "C.UTF-8");
        setenv("MAGIC_PATH", ORSIK_SOURCE_DIR "/data/magic", 1);
        paths found = chosen_files();
        for (const std::string &path : found) read_beginning(path.c_str());
        return found;
    }();
    return chosen;
}

void count_files(benchmark::State &state, size_t count) {
    using benchmark::Counter;
    state.counters["per_entry"] =
        Counter(static_cast<double>(count), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

// How many have a type; 0 when the rules are not there.
size_t type_all(std::span<const std::string> some, uint32_t options) {
    size_t typed = 0;
    const char *const *names = nullptr;
    for (const std::string &path : some)
        typed += tbs_file_type_opt(path.c_str(), TBS_FT_NOT_OPEN, nullptr, options, &names) == 0;
    return typed;
}

void type_files(benchmark::State &state, uint32_t options) {
    const paths &all = files();
    for (auto _ : state)
        if (type_all(all, options) == 0) state.SkipWithError("no types");
    count_files(state, all.size());
}

void read_files(benchmark::State &state) {
    const paths &all = files();
    for (auto _ : state)
        for (const std::string &path : all)
            if (!read_beginning(path.c_str())) state.SkipWithError("not read");
    count_files(state, all.size());
}

// The files shared out to so many threads.
void type_in_threads(benchmark::State &state) {
    const std::span<const std::string> all(files());
    const auto threads = static_cast<size_t>(state.range(0));
    type_all(all.first(1), TBS_FT_BY_ALL);
    for (auto _ : state) {
        std::vector<std::jthread> running;
        for (size_t i = 0; i < threads; i++) {
            const size_t begin = i * all.size() / threads, end = (i + 1) * all.size() / threads;
            running.emplace_back([=] { type_all(all.subspan(begin, end - begin), TBS_FT_BY_ALL); });
        }
    }
    count_files(state, all.size());
}

BENCHMARK_CAPTURE(type_files, all, TBS_FT_BY_ALL)->Name("type_file/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(read_files)->Name("type_file/peer:read")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(type_files, name, TBS_FT_BY_NAME)->Name("type_name/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(type_in_threads)
    ->Name("type_file_threads/ours")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

#ifdef ORSIK_HAS_MAGIC
void magic_files(benchmark::State &state) {
    const paths &all = files();
    const magic_t magic = magic_open(MAGIC_MIME_TYPE);
    if (!magic || magic_load(magic, nullptr) != 0) state.SkipWithError("no rules");
    for (auto _ : state)
        for (size_t i = 0; i < all.size(); i += slow_step)
            if (!magic_file(magic, all[i].c_str())) state.SkipWithError("no type");
    count_files(state, (all.size() + slow_step - 1) / slow_step);
    magic_close(magic);
}
BENCHMARK(magic_files)->Name("type_file/peer:libmagic")->Unit(benchmark::kMillisecond);
#endif

} // namespace
