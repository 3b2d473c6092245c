#include "ks/ks_dir.h"

#include "ks/ks_file.h"
#include "support/env.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>

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
