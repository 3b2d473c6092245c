// What "cmake --install" lays down is a product that finds itself, wherever it lies.
#include "tool/tool_runner.hpp"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tool_test;
using testing::Contains;
using testing::HasSubstr;

namespace {

// An installed product, in a directory whose name has a blank.
class Installed : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir = new temp_dir;
        const outcome run = run_program({CMAKE_COMMAND_PATH, "--install", ORSIK_BINARY_DIR, "--prefix", prefix()});
        ASSERT_EQ(run.status, 0) << run.err;
    }
    static void TearDownTestSuite() {
        delete dir;
        dir = nullptr;
    }
    static std::string prefix() { return *dir / "my product"; }

    static outcome run(std::vector<std::string> words) {
        words.insert(words.begin(), prefix() + "/bin/tbs");
        return run_program(words, {{"ORSIK_HOSTDATA_DIR", *dir / "host"}, {"LD_LIBRARY_PATH", ""}});
    }

    static temp_dir *dir;
};
temp_dir *Installed::dir = nullptr;

} // namespace

TEST_F(Installed, FindsItself) {
    const outcome shown = run({"product", "--json"});
    ASSERT_EQ(shown.status, 0) << shown.err;
    const json product = shown.parsed();
    EXPECT_EQ(product["directories"]["product"], prefix());
    EXPECT_EQ(product["directories"]["mgrs"], prefix() + "\\lib\\mgrs");
}

TEST_F(Installed, HasEveryDirectoryOfTheProduct) {
    const json directories = run({"product", "--json"}).parsed()["directories"];
    for (const char *name : {"product", "script", "tool", "server", "etc", "utils", "sql", "library", "config",
                             "common", "ui_config", "ui_uid", "mgrs"}) {
        std::string path = directories[name];
        std::replace(path.begin(), path.end(), '\\', '/');
        EXPECT_TRUE(std::filesystem::is_directory(path)) << path;
    }
    EXPECT_TRUE(std::filesystem::is_directory(prefix() + "/doc/testfix"));
}

TEST_F(Installed, ListsAndRunsItsTypeManagers) {
    const json managers = run({"mgr", "list", "--json"}).parsed()["managers"];
    EXPECT_THAT(managers, Contains("whole_copy"));
    EXPECT_THAT(managers, Contains("packed_copy"));
    EXPECT_EQ(run({"mgr", "supports", "packed_copy", "create_version64"}).status, 0);
    const outcome help = run({"mgr", "invoke", "packed_copy", "create_version", "--help"});
    EXPECT_EQ(help.status, 0) << help.err;
    EXPECT_THAT(help.out, HasSubstr("create_version"));
}

TEST_F(Installed, HasNothingThatEverybodyMayWriteTo) {
    for (const auto &entry : std::filesystem::recursive_directory_iterator(prefix())) {
        if (entry.is_symlink()) continue;
        EXPECT_EQ(entry.status().permissions() & std::filesystem::perms::others_write, std::filesystem::perms::none)
            << entry.path();
    }
}
