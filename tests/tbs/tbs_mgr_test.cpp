#include "tbs/tbs_mgr.h"

#include "ks/ks_errno.h"
#include "nt/nt_regy.h"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char *managers_key = "SOFTWARE\\Tessivane\\TypeManagers";

// A host with a product and a registry of its own. Programs leave with the status that is their name's last digit.
class Manager : public testing::Test {
protected:
    Manager() { std::filesystem::create_directories(dir.path() / "product/lib/mgrs"); }

    // A program below the managers directory, or elsewhere by an absolute path; leaves with the status.
    std::string program(const std::string &leaf, int status) {
        const std::string file = leaf[0] == '/' ? leaf : "product/lib/mgrs/" + leaf;
        const std::string path = dir.write(file[0] == '/' ? file.substr(dir.str().size() + 1) : file,
                                           "#!/bin/sh\nexit " + std::to_string(status) + "\n");
        chmod(path.c_str(), 0755);
        return path;
    }
    void map(const std::string &content) { dir.write("product/lib/mgrs/map", content); }
    static void registry(const std::string &manager, const char *operation, const std::string &location) {
        ASSERT_EQ(ntregy_set_string(NTREGY_LOCAL_MACHINE, (managers_key + ("\\" + manager)).c_str(), operation,
                                    location.c_str()),
                  0);
    }

    // Exit status of an operation's program; -1 when the operation fails.
    static int run(const std::string &manager, const std::string &operation, tbs_status_t expected = 0) {
        char *arguments[] = {nullptr, nullptr};
        int exit_status = -1;
        EXPECT_EQ(tbs_mgr_invoke_op(manager.c_str(), operation.c_str(), arguments, &exit_status), expected);
        EXPECT_EQ(arguments[0], nullptr);
        return exit_status;
    }
    static bool supports(const std::string &manager, const std::string &operation) {
        tbs_boolean_t supported = 9;
        EXPECT_EQ(tbs_mgr_is_supported_op(manager.c_str(), operation.c_str(), &supported), 0);
        return supported != 0;
    }
    static std::vector<std::string> list(stg_area_t *area = nullptr) {
        uint32_t count = 99;
        char **names = nullptr;
        EXPECT_EQ(tbs_mgr_get_mgr_list(area, &count, &names), 0);
        const std::vector<std::string> all(names, names + count);
        EXPECT_EQ(tbs_mgr_free_mgr_list(&count, &names), 0);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(names, nullptr);
        return all;
    }

    const temp_dir dir;
    const std::string managers = dir / "product/lib/mgrs";
    const scoped_env product{"ORSIK_PRODUCT_DIR", dir / "product"}, host{"ORSIK_HOSTDATA_DIR", dir / "host"};
    recording_sink sink;
};

// ---- where programs are

TEST_F(Manager, TheManagersDirectoryHoldsPrograms) {
    program("my_mgr/op", 3);
    EXPECT_EQ(run("my_mgr", "op"), 3);
    EXPECT_TRUE(supports("my_mgr", "op"));
    EXPECT_FALSE(supports("my_mgr", "Op"));
    EXPECT_FALSE(supports("My_mgr", "op"));
    EXPECT_TRUE(sink.empty());
}

TEST_F(Manager, TheMapWinsOverTheDirectory) {
    program("my_mgr/op", 3);
    program("elsewhere/tool", 4);
    map("my_mgr op elsewhere/tool\n");
    EXPECT_EQ(run("my_mgr", "op"), 4);
}

TEST_F(Manager, TheRegistryWinsOverTheMap) {
    program("my_mgr/op", 3);
    program("elsewhere/tool", 4);
    map("my_mgr op elsewhere/tool\n");
    registry("my_mgr", "op", program(dir / "far/away", 5));
    EXPECT_EQ(run("my_mgr", "op"), 5);
    registry("my_mgr", "other", "elsewhere\\tool");
    EXPECT_EQ(run("my_mgr", "other"), 4);
    registry("my_mgr", "op", "not_there"); // whether its program exists is not asked
    EXPECT_FALSE(supports("my_mgr", "op"));
}

TEST_F(Manager, TheMapWinsOverTheDirectoryAlsoWithoutItsProgram) {
    program("my_mgr/op", 3);
    map("my_mgr op not_there\n");
    EXPECT_FALSE(supports("my_mgr", "op"));
}

TEST_F(Manager, LocationsMayNameARegistryValue) {
    const std::string far = program(dir / "far/away", 5);
    ASSERT_EQ(ntregy_set_string(NTREGY_LOCAL_MACHINE, "Software\\Deep\\Key", "Place", far.c_str()), 0);
    map("a op HKLM\\Software\\Deep\\Key\\Place\nb op HKEY_LOCAL_MACHINE\\Software\\Deep\\Key\\Place\n");
    registry("c", "op", "HKLM\\Software\\Deep\\Key\\Place");
    for (const char *manager : {"a", "b", "c"}) EXPECT_EQ(run(manager, "op"), 5) << manager;
}

TEST_F(Manager, ARegistryReferenceIsFinal) {
    ASSERT_EQ(ntregy_set_string(NTREGY_LOCAL_MACHINE, "Deep", "Place", "my_mgr/op"), 0);
    program("my_mgr/op", 3);
    map("a op HKLM\\Deep\\Place\n");
    EXPECT_FALSE(supports("a", "op"));
}

TEST_F(Manager, AReferenceThatLeadsNowhereIsTakenAsAPath) {
    map("a op HKLM\\Nothing\\Here\nb op HKLM\\Here\nc op hklm\\Nothing\\Here\n");
    for (const char *manager : {"a", "b", "c"}) EXPECT_FALSE(supports(manager, "op")) << manager;
    program("HKLM/Nothing/Here", 6);
    program("HKLM/Here", 7);
    EXPECT_EQ(run("a", "op"), 6);
    EXPECT_EQ(run("b", "op"), 7);
}

TEST_F(Manager, LocationsMayBeAbsolute) {
    const std::string far = program(dir / "far/away", 5);
    std::string product_path = far;
    std::replace(product_path.begin(), product_path.end(), '/', '\\');
    map("a op " + far + "\nb op " + product_path + "\nc op \\" + far + "\nd op C:\\x\\y\n");
    for (const char *manager : {"a", "b", "c"}) EXPECT_EQ(run(manager, "op"), 5) << manager;
    EXPECT_FALSE(supports("d", "op"));
}

// ---- the map

TEST_F(Manager, TheMapSkipsWhatIsNoEntry) {
    program("good", 1);
    map("# a op bad\n#a op bad\n\na\na op\na op    \t \nx op bad\na opx bad\n   a \t op   good  \t\r\n a op bad\n");
    EXPECT_EQ(run("a", "op"), 1);
}

TEST_F(Manager, TheMapTakesTheRestOfTheLineAsTheLocation) {
    program("a program with blanks", 2);
    map("a op   a program with blanks  \n");
    EXPECT_EQ(run("a", "op"), 2);
    map("a op a program with blanks"); // no line end
    EXPECT_EQ(run("a", "op"), 2);
}

TEST_F(Manager, TheMapCutsWordsAt255Characters) {
    program("rest good", 3);
    const std::string name(255, 'm');
    map(name + "x op good\n");
    // 255 characters are the manager, the 256th is the operation, the location is what follows.
    program("op good", 4);
    EXPECT_EQ(run(name, "x"), 4);
    EXPECT_FALSE(supports(name + "x", "op"));
}

TEST_F(Manager, TheMapReadsLongLinesInPieces) {
    program("good", 1);
    map("a op " + std::string(3072 - 5, 'x') + "b op good\n");
    EXPECT_EQ(run("b", "op"), 1);
}

TEST_F(Manager, AMapThatEverybodyMayWriteToIsUsedWithAWarning) {
    program("good", 1);
    map("a op good\n");
    ASSERT_EQ(chmod((managers + "/map").c_str(), 0666), 0);
    EXPECT_TRUE(supports("a", "op"));
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, IMSG_WARNING);
    EXPECT_EQ(messages[0].text,
              "Everybody on this host may write to the file \"" + (dir / "product") + "\\lib\\mgrs\\map\".\n");
    EXPECT_TRUE(supports("a", "op"));
    EXPECT_TRUE(sink.empty()); // said once
}

TEST_F(Manager, AMapThatIsNoFileIsNone) {
    program("a/op", 1);
    ASSERT_EQ(mkfifo((managers + "/map").c_str(), 0600), 0);
    EXPECT_EQ(run("a", "op"), 1);
}

TEST_F(Manager, TheMapCutsLocationsAt1023Characters) {
    program("good", 1);
    map("a op good" + std::string(1100, ' ') + "x\n");
    EXPECT_EQ(run("a", "op"), 1);
}

// ---- sources that cannot be asked

TEST_F(Manager, ARegistryThatCannotBeReadIsNotPassedOver) {
    program("a/op", 1);
    map("b op a/op\n");
    dir.write("host/registry.db", "this is no registry, and large enough to be taken for a damaged one");
    for (const char *manager : {"a", "b"}) {
        EXPECT_EQ(run(manager, "op", tbs_errno2status(5)), -1) << manager;
        const auto messages = sink.take();
        ASSERT_GE(messages.size(), 1u);
        EXPECT_EQ(messages.back().severity, 6);
        EXPECT_EQ(messages.back().index, 47u);
    }
}

TEST_F(Manager, AMapThatCannotBeReadIsNotPassedOver) {
    program("a/op", 1);
    ASSERT_EQ(symlink("map", (managers + "/map").c_str()), 0);
    const tbs_status_t loop = tbs_errno2status(KS_ELOOP);
    EXPECT_EQ(run("a", "op", loop), -1);
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, IMSG_ERROR);
    EXPECT_EQ(messages[0].index, 18u);
    EXPECT_EQ(messages[0].text, "Unable to open file \"" + (dir / "product") +
                                    "\\lib\\mgrs\\map\": " + imsg_strerror(KS_ELOOP) + ".\n");
}

TEST_F(Manager, AnEmptyLocationInTheRegistryIsNone) {
    registry("a", "op", "");
    EXPECT_FALSE(supports("a", "op"));
    program("a/op", 1);
    EXPECT_EQ(run("a", "op"), 1);
}

TEST_F(Manager, RunsProgramsAlsoWhenChildrenAreIgnored) {
    program("a/op", 37);
    const auto handler = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run("a", "op"), 37);
    std::signal(SIGCHLD, handler);
    EXPECT_TRUE(sink.empty());
}

// ---- hostile names

TEST_F(Manager, NamesThatAreNoFileNamesFindNothingInTheDirectory) {
    program("op", 1);
    program("a/op", 1);
    program("a/b/op", 1);
    program("../op", 1);
    for (const char *manager : {"", ".", "..", "a/b", "a\\b", "../mgrs/a", "..\\..\\lib\\mgrs\\a", "a/", "/a"}) {
        EXPECT_FALSE(supports(manager, "op")) << manager;
        EXPECT_EQ(run(manager, "op", TBS_ST_ERROR), -1) << manager;
    }
    for (const char *operation : {"", ".", "..", "../a/op", "..\\a\\op", "b/op", "/a/op"}) {
        EXPECT_FALSE(supports("a", operation)) << operation;
    }
    program("a b/an op", 7);
    EXPECT_EQ(run("a b", "an op"), 7);
}

TEST_F(Manager, LongNamesAreRefusedAndLogged) {
    std::filesystem::create_directories(dir / "host/log");
    tbs_boolean_t supported = 1;
    const std::string long_name(2000, 'x');
    EXPECT_EQ(tbs_mgr_is_supported_op(long_name.c_str(), "op", &supported), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(supported, 0);
    EXPECT_EQ(run(long_name, "op", TBS_ST_ENAMETOOLONG), -1);
    EXPECT_EQ(run("a", long_name, TBS_ST_ENAMETOOLONG), -1);
    const std::string log = dir.read("host/log/error_log");
    EXPECT_THAT(log, HasSubstr("Internal Error detected in \"lib/tbs/tbs_mgr\" line "));
    EXPECT_THAT(log, HasSubstr("String buffer too small."));
}

TEST_F(Manager, PathsHaveAtMost1023Bytes) {
    const size_t before = managers.size() + std::string("\\a\\").size();
    EXPECT_FALSE(supports("a", std::string(1023 - before, 'x')));
    tbs_boolean_t supported = 1;
    EXPECT_EQ(tbs_mgr_is_supported_op("a", std::string(1024 - before, 'x').c_str(), &supported), TBS_ST_ENAMETOOLONG);
}

TEST_F(Manager, LocationsThatDoNotFitAreRefused) {
    const std::string whole = '/' + std::string(1022, 'x');
    map("a op " + whole + "\nb op " + whole + "x\nc op " + std::string(1023 - managers.size(), 'x') + "\n");
    EXPECT_FALSE(supports("a", "op"));
    EXPECT_FALSE(supports("b", "op")); // cut behind 1023 characters, as in the scanner
    tbs_boolean_t supported = 1;
    EXPECT_EQ(tbs_mgr_is_supported_op("c", "op", &supported), TBS_ST_ENAMETOOLONG);
    registry("d", "op", whole + "x");
    EXPECT_EQ(tbs_mgr_is_supported_op("d", "op", &supported), TBS_ST_ENAMETOOLONG);
}

// ---- support

TEST_F(Manager, WholeCopyHasItsOperationsWithoutPrograms) {
    for (const char *operation : {"create_element", "create_branch", "create_version", "create_version64",
                                  "construct_version", "delete_branches_versions", "get_cont_info"}) {
        EXPECT_TRUE(supports("whole_copy", operation)) << operation;
        EXPECT_FALSE(supports("Whole_copy", operation)) << operation;
    }
    EXPECT_FALSE(supports("whole_copy", "merge"));
    EXPECT_FALSE(supports("whole_copy", "create_version6"));
    program("whole_copy/merge", 0);
    EXPECT_TRUE(supports("whole_copy", "merge"));
    EXPECT_EQ(run("whole_copy", "create_version", TBS_ST_ERROR), -1);
}

TEST_F(Manager, LargeVersionsNeedTheirOperation) {
    tbs_boolean_t supported = 0;
    EXPECT_EQ(tbs_mgr_supports_large_versions("whole_copy", &supported), 0);
    EXPECT_EQ(supported, 1);
    EXPECT_EQ(tbs_mgr_supports_large_versions("other", &supported), 0);
    EXPECT_EQ(supported, 0);
    program("other/create_version64", 0);
    EXPECT_EQ(tbs_mgr_supports_large_versions("other", &supported), 0);
    EXPECT_EQ(supported, 1);
}

// ---- invoking

TEST_F(Manager, ProgramsGetTheVectorWithTheOperationInFront) {
    const std::string path =
        dir.write("product/lib/mgrs/a/op", "#!/bin/sh\nprintf '<%s>' \"$@\" > " + (dir / "out") + "\n");
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    std::string first = "a b", second = "$HOME;x", third = "";
    char *arguments[] = {nullptr, first.data(), second.data(), third.data(), nullptr};
    int exit_status = -1;
    ASSERT_EQ(tbs_mgr_invoke_op("a", "op", arguments, &exit_status), 0);
    EXPECT_EQ(exit_status, 0);
    EXPECT_EQ(dir.read("out"), "<a b><$HOME;x><>");
    EXPECT_EQ(arguments[0], nullptr);
    EXPECT_EQ(arguments[1], first.data());
}

TEST_F(Manager, TheFirstSlotHoldsTheOperationsName) {
    std::filesystem::create_directory(managers + "/a");
    std::filesystem::create_symlink("/bin/sh", managers + "/a/op");
    std::string option = "-c",
                script = "echo \"$0\" > " + (dir / "out") + "; tr '\\0' '\\n' < /proc/$$/cmdline > " + (dir / "line");
    char *arguments[] = {nullptr, option.data(), script.data(), nullptr};
    int exit_status = -1;
    ASSERT_EQ(tbs_mgr_invoke_op("a", "op", arguments, &exit_status), 0);
    EXPECT_EQ(dir.read("out"), "op\n");
    EXPECT_THAT(dir.read("line"), testing::StartsWith("op\n-c\n"));
}

TEST_F(Manager, TheFirstSlotIsClearedWhateverHappens) {
    char stale[] = "stale";
    int exit_status = -1;
    for (const std::string &operation : {std::string("none"), std::string(2000, 'x')}) {
        char *arguments[] = {stale, nullptr};
        EXPECT_NE(tbs_mgr_invoke_op("a", operation.c_str(), arguments, &exit_status), 0);
        EXPECT_EQ(arguments[0], nullptr);
    }
}

TEST_F(Manager, AMissingProgramIsUnavailable) {
    EXPECT_EQ(run("a", "op", TBS_ST_ERROR), -1);
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].severity, 6);
    EXPECT_EQ(messages[0].index, 20u);
    EXPECT_EQ(messages[0].text, "Operation \"op\" unavailable for manager \"a\"\n");
    EXPECT_EQ(messages[1].severity, 7);
    EXPECT_EQ(messages[1].index, 21u);
    EXPECT_EQ(messages[1].text, "\t(Operation pathname was: \"" + (dir / "product") + "\\lib\\mgrs\\a\\op\")\n");
}

TEST_F(Manager, AProgramThatDoesNotStartIsReported) {
    dir.write("product/lib/mgrs/a/op", "no program");
    EXPECT_EQ(run("a", "op", TBS_ST_ERROR), -1);
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].severity, 6);
    EXPECT_EQ(messages[0].index, 22u);
    EXPECT_THAT(messages[0].text, testing::StartsWith("Unable to invoke operation \"op\" for manager \"a\": "));
    EXPECT_EQ(messages[1].severity, 6);
    EXPECT_EQ(messages[1].index, 21u);
}

TEST_F(Manager, TheExitStatusIsTheCallersToJudge) {
    program("a/op", 37);
    EXPECT_EQ(run("a", "op"), 37);
    EXPECT_TRUE(sink.empty());
}

TEST_F(Manager, NullsAreRefused) {
    char *arguments[] = {nullptr, nullptr};
    int exit_status = -1;
    tbs_boolean_t supported = 1;
    uint32_t count = 0;
    char **names = nullptr;
    EXPECT_EQ(tbs_mgr_invoke_op(nullptr, "op", arguments, &exit_status), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_invoke_op("a", nullptr, arguments, &exit_status), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_invoke_op("a", "op", nullptr, &exit_status), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_invoke_op("a", "op", arguments, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_is_supported_op(nullptr, "op", &supported), TBS_ST_EINVAL);
    EXPECT_EQ(supported, 0);
    EXPECT_EQ(tbs_mgr_is_supported_op("a", nullptr, &supported), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_is_supported_op("a", "op", nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_supports_large_versions(nullptr, &supported), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_get_mgr_list(nullptr, nullptr, &names), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_get_mgr_list(nullptr, &count, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_free_mgr_list(nullptr, &names), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_mgr_free_mgr_list(&count, nullptr), TBS_ST_EINVAL);
}

// ---- the list

TEST_F(Manager, TheListKeepsTheOrderOfFirstAppearance) {
    registry("in_all", "op", "x");
    registry("in_registry", "op", "x");
    map("# no\nin_map op x\nin_all op x\nin_map op2 x\nbroken op\n");
    program("in_all/op", 0);
    program("in_directory/op", 0);
    dir.write("product/lib/mgrs/file", "");
    EXPECT_THAT(list(), ElementsAre("in_all", "in_registry", "in_map", "in_directory"));
    EXPECT_TRUE(sink.empty());
}

TEST_F(Manager, ARegistryKeyWithoutValuesIsNoManager) {
    ASSERT_EQ(ntregy_create_key(NTREGY_LOCAL_MACHINE, (std::string(managers_key) + "\\empty").c_str()), 0);
    registry("full", "op", "x");
    EXPECT_THAT(list(), ElementsAre("full"));
}

TEST_F(Manager, TheListFollowsLinksToDirectories) {
    std::filesystem::create_directory(dir.path() / "far");
    std::filesystem::create_symlink(dir / "far", managers + "/linked");
    EXPECT_THAT(list(), ElementsAre("linked"));
}

TEST_F(Manager, ALinkThatLeadsNowhereIsReportedAndTheRestListed) {
    std::filesystem::create_symlink(dir / "none", managers + "/dangling");
    program("good/op", 0);
    EXPECT_THAT(list(), ElementsAre("good"));
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, 6);
    EXPECT_EQ(messages[0].index, 25u);
    EXPECT_THAT(messages[0].text,
                testing::StartsWith("Unable to access \"" + (dir / "product") + "\\lib\\mgrs\\dangling\": "));
}

TEST_F(Manager, AMissingDirectoryIsReportedAndTheListIsTheRest) {
    registry("a", "op", "x");
    std::filesystem::remove_all(managers);
    EXPECT_THAT(list(), ElementsAre("a"));
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, 6);
    EXPECT_EQ(messages[0].index, 73u);
    EXPECT_THAT(messages[0].text,
                testing::StartsWith("Unable to open directory \"" + (dir / "product") + "\\lib\\mgrs\": "));
}

TEST_F(Manager, AnEmptyListIsAListToo) { EXPECT_THAT(list(), IsEmpty()); }

TEST_F(Manager, TheListGrowsBeyondItsFirst50Names) {
    std::string content;
    std::vector<std::string> expected;
    for (int i = 0; i < 500; i++) {
        expected.push_back("m" + std::to_string(i));
        content += expected.back() + " op x\n";
    }
    map(content);
    EXPECT_EQ(list(), expected);
}

TEST_F(Manager, TheListLivesInAnArea) {
    map("a op x\nb op x\n");
    stg_area_t *area = stg_create_area();
    EXPECT_THAT(list(area), ElementsAre("a", "b"));
    uint32_t count = 0;
    char **names = nullptr;
    ASSERT_EQ(tbs_mgr_get_mgr_list(area, &count, &names), 0);
    EXPECT_STREQ(names[1], "b");
    stg_delete_area(&area);
}

TEST_F(Manager, ReleasingNothingIsDone) {
    uint32_t count = 0;
    char **names = nullptr;
    EXPECT_EQ(tbs_mgr_free_mgr_list(&count, &names), 0);
}

TEST_F(Manager, RefusedAllocationsGiveNoList) {
    std::string content;
    for (int i = 0; i < 60; i++) content += "m" + std::to_string(i) + " op x\n";
    map(content);
    registry("r", "op", "x");
    program("d/op", 0);
    int refused = 0;
    const int points = faults::each_allocation([&](int, bool) {
        uint32_t count = 7;
        char **names = nullptr;
        const tbs_status_t status = tbs_mgr_get_mgr_list(nullptr, &count, &names);
        const faults::suspend unrefused;
        if (status == 0) {
            tbs_mgr_free_mgr_list(&count, &names);
        } else {
            refused++;
            EXPECT_EQ(status, TBS_ST_ENOMEM);
            EXPECT_EQ(count, 7u);
            EXPECT_EQ(names, nullptr);
        }
    });
    EXPECT_GT(points, 60);
    EXPECT_GT(refused, 60);
}

} // namespace
