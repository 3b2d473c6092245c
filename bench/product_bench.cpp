// A user's defaults, and the programs of type managers.

#include "tbs/tbs_mgr.h"
#include "tbs/tbs_profile.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

// A product, a host and a profile of its own, for the life of the process.
struct setting {
    setting() {
        std::string pattern = (std::filesystem::temp_directory_path() / "orsik-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data())) std::abort();
        root = pattern;
        std::filesystem::create_directories(root / "lib/mgrs");
        std::filesystem::create_directories(root / "host");
        profile = root / "profile";
        map = root / "lib/mgrs/map";
        std::ofstream lines(profile);
        for (int i = 0; i < 1000; i++) lines << "command" << i % 10 << " name" << i << " value" << i << '\n';
        std::ofstream managers(map);
        for (int i = 0; i < 199; i++) managers << "manager" << i << " create_version tools/create_version\n";
        managers << "last create_version /bin/true\n";
        setenv("TESSIVANE_PROFILE", profile.c_str(), 1);
        setenv("ORSIK_PRODUCT_DIR", root.c_str(), 1);
        setenv("ORSIK_HOSTDATA_DIR", (root / "host").c_str(), 1);
    }
    ~setting() { std::filesystem::remove_all(root); }

    std::filesystem::path root, profile, map;
};
const setting &host() {
    static const setting only;
    return only;
}

// ---- profile, 1,000 entries, the last one

void profile_lookup(benchmark::State &state) {
    host();
    const char *value = nullptr;
    for (auto _ : state) {
        if (tbs_check_profile("command9", "name999", &value) != 1) state.SkipWithError("not found");
    }
}

void profile_read(benchmark::State &state) {
    const std::string path = host().profile;
    for (auto _ : state) {
        FILE *stream = std::fopen(path.c_str(), "r");
        char line[255], command[255], name[255], value[255] = "";
        bool found = false;
        while (!found && std::fgets(line, sizeof line, stream)) {
            found = std::sscanf(line, "%254s %254s %254s", command, name, value) == 3 &&
                    !std::strcmp(command, "command9") && !std::strcmp(name, "name999");
        }
        std::fclose(stream);
        if (!found) state.SkipWithError("not found");
    }
}

// ---- the program of an operation, the last of 200 lines of the map

void mgr_resolve(benchmark::State &state) {
    host();
    tbs_boolean_t supported = 0;
    for (auto _ : state) {
        if (tbs_mgr_is_supported_op("last", "create_version", &supported) != 0 || !supported)
            state.SkipWithError("not found");
    }
}

void mgr_map_read(benchmark::State &state) {
    const std::string path = host().map;
    for (auto _ : state) {
        FILE *stream = std::fopen(path.c_str(), "r");
        char line[3073];
        size_t lines = 0;
        while (std::fgets(line, sizeof line, stream)) lines++;
        std::fclose(stream);
        benchmark::DoNotOptimize(lines);
    }
}

// ---- running it

void mgr_invoke(benchmark::State &state) {
    host();
    for (auto _ : state) {
        char *arguments[] = {nullptr, nullptr};
        int exit_status = -1;
        if (tbs_mgr_invoke_op("last", "create_version", arguments, &exit_status) != 0 || exit_status != 0) {
            state.SkipWithError("not run");
        }
    }
}

void mgr_spawn(benchmark::State &state) {
    char name[] = "create_version";
    char *arguments[] = {name, nullptr};
    for (auto _ : state) {
        pid_t child = 0;
        int status = -1;
        if (posix_spawn(&child, "/bin/true", nullptr, nullptr, arguments, environ) != 0)
            state.SkipWithError("not run");
        waitpid(child, &status, 0);
    }
}

BENCHMARK(profile_lookup)->Name("profile_lookup/ours");
BENCHMARK(profile_read)->Name("profile_lookup/peer:reading");
BENCHMARK(mgr_resolve)->Name("mgr_resolve/ours");
BENCHMARK(mgr_map_read)->Name("mgr_resolve/peer:reading");
BENCHMARK(mgr_invoke)->Name("mgr_invoke/ours")->UseRealTime();
BENCHMARK(mgr_spawn)->Name("mgr_invoke/peer:posix_spawn")->UseRealTime();

} // namespace
