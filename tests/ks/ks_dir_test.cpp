#include "ks/ks_dir.h"

#include "ks/ks_file.h"
#include "ks/ks_imsg.h"
#include "support/env.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// What the host has, in place of the truth.
struct host_answers {
    std::optional<bool> lets_us_fill_var;
    bool has_configuration = false;
    const char *has_file = nullptr, *has_open_directory = nullptr; // paths, in a directory that we may not write
};
host_answers scripted;

} // namespace

extern "C" [[gnu::visibility("default")]] int faccessat(int at, const char *path, int mode, int flags) noexcept {
    static const auto next = reinterpret_cast<decltype(&faccessat)>(dlsym(RTLD_NEXT, "faccessat"));
    if (!scripted.lets_us_fill_var || !std::string_view(path).starts_with("/var/lib")) {
        return next(at, path, mode, flags);
    }
    errno = EACCES;
    const bool is_open = scripted.has_open_directory && std::strcmp(path, scripted.has_open_directory) == 0;
    return *scripted.lets_us_fill_var || is_open ? 0 : -1;
}

extern "C" [[gnu::visibility("default")]] int stat(const char *path, struct stat *status) noexcept {
    const auto is = [&](const char *known) { return known && std::strcmp(path, known) == 0; };
    const bool is_directory = (scripted.has_configuration && is("/etc/tessivane")) || is(scripted.has_open_directory);
    return fstatat(AT_FDCWD, is_directory ? "/" : is(scripted.has_file) ? "/dev/null" : path, status, 0);
}

namespace {

struct path_buffer {
    char bytes[KS_PATH_SIZE];
    char guard[8] = "guard";
};

using dir_function = char *(*)(char *, const char *) noexcept;

std::string call(dir_function function, const char *leaf) {
    path_buffer buffer;
    EXPECT_EQ(function(buffer.bytes, leaf), buffer.bytes);
    EXPECT_STREQ(buffer.guard, "guard");
    return buffer.bytes;
}

bool writable(const char *directory) { return access(directory, W_OK | X_OK) == 0; }

TEST(KsProductDir, IsTheVariableAndTheLeaf) {
    const scoped_env variable("ORSIK_PRODUCT_DIR", "/opt/x");
    EXPECT_EQ(call(ks_product_dir, "bin"), "/opt/x\\bin");
    EXPECT_EQ(call(ks_product_dir, ""), "/opt/x");
    EXPECT_EQ(call(ks_product_dir, nullptr), "/opt/x");
}

TEST(KsProductDir, IsElseTheDirectoryAboveTheLibrarys) {
    for (const char *value : {static_cast<const char *>(nullptr), ""}) {
        const scoped_env variable("ORSIK_PRODUCT_DIR", value);
        const std::string found = call(ks_product_dir, nullptr);
        EXPECT_EQ(std::filesystem::path(found), std::filesystem::canonical(ORSIK_BINARY_DIR));
        EXPECT_EQ(call(ks_product_dir, "lib"), found + "\\lib");
    }
}

TEST(KsProductDir, IsCutAndTerminatedWhenTooLong) {
    const std::string base = "/" + std::string(KS_PATH_SIZE - 10, 'x');
    const scoped_env variable("ORSIK_PRODUCT_DIR", base);
    const std::string whole = base + "\\" + std::string(50, 'y');
    EXPECT_EQ(call(ks_product_dir, std::string(50, 'y').c_str()), whole.substr(0, KS_PATH_SIZE - 1));
    const scoped_env longer("ORSIK_PRODUCT_DIR", base + base);
    EXPECT_EQ(call(ks_product_dir, "leaf"), (base + base).substr(0, KS_PATH_SIZE - 1));
}

TEST(KsHostdataDir, IsTheVariableAndTheLeaf) {
    const scoped_env variable("ORSIK_HOSTDATA_DIR", "/data");
    EXPECT_EQ(call(ks_hostdata_dir, "log"), "/data\\log");
    EXPECT_EQ(call(ks_hostdata_dir, nullptr), "/data");
}

TEST(KsHostdataDir, IsElseTheHostsOrTheUsersOwn) {
    const scoped_env unset("ORSIK_HOSTDATA_DIR", nullptr);
    const scoped_env state("XDG_STATE_HOME", "/users/u/state");
    constexpr char host[] = "/var/lib/tessivane";
    const bool for_all = std::filesystem::exists(host) ? writable(host) : writable("/var/lib");
    EXPECT_EQ(call(ks_hostdata_dir, "log"), for_all ? "/var/lib/tessivane\\log" : "/users/u/state\\tessivane\\log");
}

TEST(KsHostdataDir, IsTheUsersOwnForThoseWhoMayNotFillTheHosts) {
    const scoped_env unset("ORSIK_HOSTDATA_DIR", nullptr);
    const scoped_env state("XDG_STATE_HOME", "/users/u/state");
    scripted.lets_us_fill_var = false;
    EXPECT_EQ(call(ks_hostdata_dir, "log"), "/users/u/state\\tessivane\\log");
    {
        const scoped_env none("XDG_STATE_HOME", nullptr);
        const scoped_env home("HOME", nullptr);
        EXPECT_EQ(call(ks_hostdata_dir, "log"), "/var/lib/tessivane\\log") << "they have none";
    }
    scripted.lets_us_fill_var = true;
    EXPECT_EQ(call(ks_hostdata_dir, "log"), "/var/lib/tessivane\\log");
    scripted = {};
}

TEST(KsHostdataDir, IsTheHostsForWhatTheHostSharesWithEverybody) {
    const scoped_env unset("ORSIK_HOSTDATA_DIR", nullptr);
    const scoped_env state("XDG_STATE_HOME", "/users/u/state");
    scripted.lets_us_fill_var = false;
    scripted.has_file = "/var/lib/tessivane/registry.db";
    EXPECT_EQ(call(ks_hostdata_dir, "registry.db"), "/var/lib/tessivane\\registry.db");
    EXPECT_EQ(call(ks_hostdata_dir, "log"), "/users/u/state\\tessivane\\log") << "there is none";
    scripted.has_open_directory = "/var/lib/tessivane/log";
    EXPECT_EQ(call(ks_hostdata_dir, "log"), "/var/lib/tessivane\\log");
    EXPECT_EQ(call(ks_hostdata_dir, nullptr), "/users/u/state\\tessivane");
    scripted.has_open_directory = nullptr;
    scripted.has_file = nullptr;
    EXPECT_EQ(call(ks_hostdata_dir, "registry.db"), "/users/u/state\\tessivane\\registry.db");
    scripted = {};
}

// Whether a log can be opened in the directory "log" below a path.
bool logs_below(const std::string &directory) {
    const bool opened = imsg_start_log((directory + "\\log\\a log").c_str(), 0, 0) != nullptr;
    imsg_end_log();
    return opened;
}

TEST(KsHostdataDir, IsMadeByTheFirstLogUnlessItWasNamed) {
    const temp_dir dir;
    const scoped_env state("XDG_STATE_HOME", dir / "home/state");
    scripted.lets_us_fill_var = false;
    {
        const scoped_env named("ORSIK_HOSTDATA_DIR", dir / "named");
        EXPECT_FALSE(logs_below(dir / "named")) << "it may be one that is not mounted";
    }
    const scoped_env unset("ORSIK_HOSTDATA_DIR", nullptr);
    EXPECT_FALSE(logs_below(dir / "elsewhere/deep"));
    EXPECT_FALSE(logs_below(dir / "home/state/tessivane2"));
    EXPECT_FALSE(std::filesystem::exists(dir / "home"));
    EXPECT_TRUE(logs_below(dir / "home/state/tessivane"));
    EXPECT_TRUE(std::filesystem::is_regular_file(dir / "home/state/tessivane/log/a log"));
    const scoped_env blocked("XDG_STATE_HOME", dir / "home/state/tessivane/log/a log");
    EXPECT_FALSE(logs_below(dir / "home/state/tessivane/log/a log/tessivane"));
    scripted = {};
}

TEST(KsConfigDir, IsTheHostsWhereThereIsOne) {
    const scoped_env variable("ORSIK_PRODUCT_DIR", "/opt/x");
    scripted.has_configuration = true;
    EXPECT_EQ(call(ks_config_dir, "accounts"), "/etc/tessivane\\accounts");
    scripted = {};
}

TEST(KsConfigDir, IsTheHostsOrTheProducts) {
    const scoped_env variable("ORSIK_PRODUCT_DIR", "/opt/x");
    const std::string base = std::filesystem::is_directory("/etc/tessivane") ? "/etc/tessivane" : "/opt/x\\config";
    EXPECT_EQ(call(ks_config_dir, nullptr), base);
    EXPECT_EQ(call(ks_config_dir, "accounts"), base + "\\accounts");
}

TEST(KsDir, GivesNullForANullBuffer) {
    for (dir_function function : {ks_product_dir, ks_hostdata_dir, ks_config_dir}) {
        EXPECT_EQ(function(nullptr, "leaf"), nullptr);
    }
}

} // namespace
