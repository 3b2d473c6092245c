// Version-extended names, view roots and identities, on a registry of its own. The module finds out once what the
// process needs, so each case has a process of its own.

#include "nt/registry_support.hpp"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/new_process.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>
#include <ks/ks_cred.h>
#include <ks/ks_errno.h>
#include <ks/ks_stg.h>
#include <nt/nt_sid.h>
#include <tbs/tbs_mfs.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <latch>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using registry_test::hklm;

// A buffer as callers have it, with a guard behind it.
struct buffer {
    buffer() {
        std::memset(text, 'x', sizeof text);
        text[TBS_PATH_SIZE] = '#';
    }
    ~buffer() { EXPECT_EQ(text[TBS_PATH_SIZE], '#') << "written behind the end"; }
    operator char *() { return text; }
    std::string str() const { return {text, strnlen(text, TBS_PATH_SIZE)}; }
    bool untouched() const { return text[0] == 'x'; }

    char text[TBS_PATH_SIZE + 1];
};

std::string result(tbs_status_t status, const buffer &text) {
    if (status == 0) return text.str();
    EXPECT_TRUE(text.untouched());
    return "status " + std::to_string(status);
}
std::string extended(const char *prefix, const char *suffix) {
    buffer text;
    return result(tbs_version_ext_pname(text, prefix, suffix), text);
}
std::string prefixed(const char *pathname, const char *suffix) {
    buffer text;
    return result(tbs_version_prefix_pname(text, pathname, suffix), text);
}
std::string root_of(mvfs_view_root_type_t type, const char *leaf) {
    buffer text;
    return result(tbs_view_root_type(type, text, leaf), text);
}
// Index, -1 for none.
int suffix_at(const std::string &pathname) {
    size_t index = 4711;
    const tbs_boolean_t found = tbs_pname_contains_version_suffix_at_index(pathname.c_str(), &index);
    EXPECT_EQ(tbs_pname_contains_version_suffix(pathname.c_str()), found);
    EXPECT_TRUE(found || index == 4711);
    return found ? static_cast<int>(index) : -1;
}
std::string stripped(std::string pathname) {
    tbs_strip_ver_ext_chars(pathname.data());
    return pathname.c_str();
}
// "index number", or the status.
std::string decoded(const std::string &pathname) {
    size_t index = 4711;
    uint32_t number = 4712;
    const tbs_status_t status = tbs_decode_do_pname(pathname.c_str(), &index, &number);
    if (status == 0) return std::to_string(index) + ' ' + std::to_string(number);
    EXPECT_EQ(index, 4711u);
    EXPECT_EQ(number, 4712u);
    return "status " + std::to_string(status);
}

void name_view_root(const char *type, const char *value, const std::string &text) {
    const std::string key = std::string("SOFTWARE\\Tessivane\\ViewRoots\\") + type;
    ASSERT_EQ(ntregy_set_string(hklm, key.c_str(), value, text.c_str()), 0);
}
void set_symbol(const char *symbol) {
    ASSERT_EQ(ntregy_set_param(52, NTREGY_SZ, symbol, std::strlen(symbol) + 1), 0);
}

class TbsMfs : public testing::Test {
protected:
    std::string make_directory(const char *leaf) const {
        std::filesystem::create_directory(dir.path() / leaf);
        return dir / leaf;
    }

    registry_test::registry registry;
    temp_dir dir;
    scoped_env workspaces{"ORSIK_NO_WS", nullptr};
};

// ---- the symbol

TEST_F(TbsMfs, SymbolIsTwoAtSignsWithoutViewRootsAndRegistry) {
    in_new_process([] {
        const recording_sink sink;
        EXPECT_EQ(extended(nullptr, nullptr), "@@");
        EXPECT_EQ(prefixed(nullptr, nullptr), "^@@");
        EXPECT_TRUE(sink.empty());
    });
}

TEST_F(TbsMfs, SymbolIsTheRegistrysParameter) {
    set_symbol("%%%");
    in_new_process([] {
        EXPECT_EQ(extended("a", "\\main\\3"), "a%%%\\main\\3");
        EXPECT_EQ(prefixed("d\\a", nullptr), "d\\^%%%\\a");
    });
}

TEST_F(TbsMfs, SymbolOfTheRegistryTakesAtMostSixtyThreeBytes) {
    const std::string longest(63, 's');
    set_symbol(longest.c_str());
    in_new_process([&] { EXPECT_EQ(extended(nullptr, nullptr), longest); });
    set_symbol((longest + 's').c_str());
    in_new_process([] { EXPECT_EQ(extended(nullptr, nullptr), "@@"); });
}

TEST_F(TbsMfs, SymbolIsNeverEmptyAndAlwaysTerminated) {
    set_symbol("");
    in_new_process([] {
        EXPECT_EQ(extended(nullptr, nullptr), "@@");
        EXPECT_EQ(suffix_at("a"), -1);
    });
    const std::string bytes(64, 'b');
    ASSERT_EQ(ntregy_set_param(52, NTREGY_BINARY, bytes.data(), bytes.size()), 0);
    in_new_process([&] { EXPECT_EQ(extended(nullptr, nullptr), bytes); });
    const uint32_t number = 7;
    ASSERT_EQ(ntregy_set_param(52, NTREGY_DWORD, &number, sizeof number), 0);
    in_new_process([] { EXPECT_EQ(extended(nullptr, nullptr), "@@"); });
}

TEST_F(TbsMfs, SymbolOfAViewRootComesFirst) {
    set_symbol("%%");
    name_view_root("Automatic", "Path", make_directory("automatic"));
    in_new_process([] { EXPECT_EQ(extended(nullptr, nullptr), "%%"); });
    name_view_root("Automatic", "NamingSymbol", "!a!");
    in_new_process([] { EXPECT_EQ(extended(nullptr, nullptr), "!a!"); });
    name_view_root("Dynamic", "Path", make_directory("dynamic"));
    in_new_process([] { EXPECT_EQ(extended(nullptr, nullptr), "!a!"); });
    name_view_root("Dynamic", "NamingSymbol", "!d!");
    in_new_process([] { EXPECT_EQ(extended(nullptr, nullptr), "!d!"); });
    const std::string longest(127, 's');
    name_view_root("Dynamic", "NamingSymbol", longest);
    in_new_process([&] {
        EXPECT_EQ(extended(nullptr, nullptr), longest);
        EXPECT_EQ(prefixed(nullptr, nullptr), '^' + longest);
    });
    name_view_root("Dynamic", "NamingSymbol", longest + 's');
    in_new_process([] { EXPECT_EQ(extended(nullptr, nullptr), "!a!"); });
}

TEST_F(TbsMfs, SymbolStaysForTheLifeOfTheProcess) {
    in_new_process([] {
        EXPECT_EQ(extended(nullptr, nullptr), "@@");
        set_symbol("%%");
        EXPECT_EQ(extended(nullptr, nullptr), "@@");
    });
}

TEST_F(TbsMfs, SilentFunctionsReportNoViewRootThatCannotBeOpened) {
    name_view_root("Dynamic", "Path", dir / "gone");
    in_new_process([] {
        const recording_sink sink;
        buffer text;
        EXPECT_EQ(tbs_version_ext_pname_sil(text, "a", nullptr, 1), 0);
        EXPECT_EQ(text.str(), "a@@");
        EXPECT_TRUE(sink.empty());
    });
    in_new_process([] {
        const recording_sink sink;
        buffer text;
        EXPECT_EQ(tbs_version_prefix_pname_sil(text, "a", nullptr, 1), 0);
        EXPECT_EQ(tbs_pname_contains_version_suffix("a"), 0);
        EXPECT_TRUE(sink.empty());
    });
    in_new_process([] {
        const recording_sink sink;
        EXPECT_EQ(extended("a", nullptr), "a@@");
        ASSERT_EQ(sink.count(), 1u);
        EXPECT_EQ(sink.messages()[0].module, "mvfs");
        EXPECT_EQ(sink.messages()[0].severity, IMSG_ERROR);
    });
    in_new_process([] {
        const recording_sink sink;
        buffer text;
        EXPECT_EQ(tbs_version_prefix_pname_sil(text, "a", nullptr, 0), 0);
        EXPECT_EQ(sink.count(), 1u);
    });
}

// ---- names

TEST_F(TbsMfs, VersionExtPnameJoinsItsParts) {
    in_new_process([] {
        EXPECT_EQ(extended("src\\main.c", "\\main\\3"), "src\\main.c@@\\main\\3");
        EXPECT_EQ(extended("src/main.c", nullptr), "src/main.c@@");
        EXPECT_EQ(extended(nullptr, "\\main"), "@@\\main");
        EXPECT_EQ(extended("", ""), "@@");
        EXPECT_EQ(tbs_version_ext_pname(nullptr, "a", "b"), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_version_ext_pname_sil(nullptr, "a", "b", 1), TBS_ST_EINVAL);
        buffer text;
        std::strcpy(text, "a");
        EXPECT_EQ(tbs_version_ext_pname(text, text, text), 0);
        EXPECT_EQ(text.str(), "a@@a");
    });
}

TEST_F(TbsMfs, VersionExtPnameIsCutAtTheBuffersEnd) {
    in_new_process([] {
        const std::string name(1019, 'n');
        EXPECT_EQ(extended(name.c_str(), "12"), name + "@@12");
        EXPECT_EQ(extended(name.c_str(), "123"), name + "@@12");
        EXPECT_EQ(extended(std::string(5000, 'n').c_str(), "123"), std::string(1023, 'n'));
        EXPECT_EQ(extended(std::string(1022, 'n').c_str(), nullptr), std::string(1022, 'n') + "@");
    });
}

TEST_F(TbsMfs, VersionPrefixPnameMarksTheLeaf) {
    in_new_process([] {
        EXPECT_EQ(prefixed("src\\main.c", nullptr), "src\\^@@\\main.c");
        EXPECT_EQ(prefixed("a/b/c", "@@\\main"), "a/b\\^@@\\c@@\\main");
        EXPECT_EQ(prefixed("main.c", "x"), "^@@\\main.cx");
        EXPECT_EQ(prefixed("src\\", "x"), "src\\^@@x");
        EXPECT_EQ(prefixed("\\main.c", nullptr), "^@@\\main.c");
        EXPECT_EQ(prefixed("", "x"), "^@@x");
        EXPECT_EQ(prefixed(nullptr, "x"), "^@@x");
        EXPECT_EQ(tbs_version_prefix_pname(nullptr, "a", "b"), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_version_prefix_pname_sil(nullptr, "a", "b", 1), TBS_ST_EINVAL);
        buffer text;
        std::strcpy(text, "d\\a");
        EXPECT_EQ(tbs_version_prefix_pname(text, text, text), 0);
        EXPECT_EQ(text.str(), "d\\^@@\\ad\\a");
    });
}

TEST_F(TbsMfs, VersionPrefixPnameSplitsOnlyWhatFits) {
    in_new_process([] {
        const std::string leaf(255, 'l'), directory(1023, 'd');
        EXPECT_EQ(prefixed(leaf.c_str(), "x"), "^@@\\" + leaf + "x");
        EXPECT_EQ(prefixed((leaf + 'l').c_str(), "x"), "status 1001");
        EXPECT_EQ(prefixed((directory + "\\l").c_str(), "x"), directory);
        EXPECT_EQ(prefixed((directory + "d\\l").c_str(), "x"), "status 1001");
        EXPECT_EQ(prefixed((std::string(1000, 'd') + "\\leaf").c_str(), std::string(50, 's').c_str()),
                  std::string(1000, 'd') + "\\^@@\\leaf" + std::string(14, 's'));
    });
}

TEST_F(TbsMfs, ContainsVersionSuffixFindsItOnTheNameOrADirectory) {
    in_new_process([] {
        EXPECT_EQ(suffix_at("a@@"), 1);
        EXPECT_EQ(suffix_at("@@"), 0);
        EXPECT_EQ(suffix_at("d@@\\main\\3"), 1);
        EXPECT_EQ(suffix_at("d@@/main/3"), 1);
        EXPECT_EQ(suffix_at("a/b\\c@@/main\\3"), 5);
        EXPECT_EQ(suffix_at("a@@\\main@@"), 8);
        EXPECT_EQ(suffix_at("a@@\\b@@\\main"), 5);
        EXPECT_EQ(suffix_at("a@@@"), 2);
        EXPECT_EQ(suffix_at("@@@@\\x"), 2);
        EXPECT_EQ(suffix_at("a@@\\"), 1);
        EXPECT_EQ(suffix_at("\\@@\\x"), 1);
        for (const char *none : {"", "a", "@", "a@@b", "a@@b\\c", "a@\\@b", "\\", "\\\\", "a\\b\\c", "@ @"}) {
            EXPECT_EQ(suffix_at(none), -1) << none;
        }
    });
}

TEST_F(TbsMfs, ContainsVersionSuffixTakesAnyLengthAndNoNull) {
    in_new_process([] {
        const std::string deep = [] {
            std::string path = "d@@";
            for (int i = 0; i < 100'000; i++) path += "\\b";
            return path;
        }();
        EXPECT_EQ(suffix_at(deep), 1);
        EXPECT_EQ(suffix_at("d@@\\" + std::string(5000, 'l')), 1);
        size_t index = 4711;
        EXPECT_EQ(tbs_pname_contains_version_suffix(nullptr), 0);
        EXPECT_EQ(tbs_pname_contains_version_suffix_at_index(nullptr, &index), 0);
        EXPECT_EQ(tbs_pname_contains_version_suffix_at_index("a@@", nullptr), 0);
        EXPECT_EQ(index, 4711u);
    });
}

TEST_F(TbsMfs, StripCutsOneTrailingSymbol) {
    in_new_process([] {
        EXPECT_EQ(stripped("a@@"), "a");
        EXPECT_EQ(stripped("@@"), "");
        EXPECT_EQ(stripped("a@@@@"), "a@@");
        EXPECT_EQ(stripped("a@@@"), "a@");
        EXPECT_EQ(stripped("a@@b@@"), "a@@b");
        for (const char *kept : {"", "a", "@", "a@@b", "a@@\\", "a@@\\main", "a@@ "}) EXPECT_EQ(stripped(kept), kept);
        EXPECT_EQ(stripped(std::string(5000, 'a') + "@@"), std::string(5000, 'a'));
        tbs_strip_ver_ext_chars(nullptr);
        char name[] = "ab@@";
        tbs_strip_ver_ext_chars(name);
        EXPECT_EQ(std::memcmp(name, "ab\0@", sizeof name), 0) << "only one byte is written";
    });
}

TEST_F(TbsMfs, DecodeDoPnameTakesTheLastSymbol) {
    in_new_process([] {
        EXPECT_EQ(decoded("hello.o@@20261121T150210Z.4711"), "7 4711");
        EXPECT_EQ(decoded("d\\a.o@@x.0x1F"), "5 31");
        EXPECT_EQ(decoded("a@@b.017"), "1 15");
        EXPECT_EQ(decoded("a@@b.c.0"), "1 0");
        EXPECT_EQ(decoded("a@@.1"), "1 1");
        EXPECT_EQ(decoded("@@.1"), "0 1");
        EXPECT_EQ(decoded("a@@b@@c.2"), "4 2");
        EXPECT_EQ(decoded("a@@\\main@@c.2"), "8 2");
        EXPECT_EQ(decoded("a@@@.3"), "2 3");
        EXPECT_EQ(decoded("a@@b.4294967295"), "1 4294967295");
    });
}

TEST_F(TbsMfs, DecodeDoPnameRefusesOtherForms) {
    in_new_process([] {
        for (const char *other : {"",
                                  "a",
                                  "a.1",
                                  "a@.1",
                                  "a@@",
                                  "a@@b",
                                  "a@@b.",
                                  "a@@b.x",
                                  "a@@b.1x",
                                  "a@@b.1 ",
                                  "a@@b. 1",
                                  "a@@b.-1",
                                  "a@@b.+1",
                                  "a@@b.0x",
                                  "a@@b.08",
                                  "a@@b.4294967296",
                                  "a@@\\main\\b.1",
                                  "a@@/b.1",
                                  "a@@b.1/",
                                  "a@@b\\c.1",
                                  "a@@b.1@@",
                                  "a@@b.1@@c"}) {
            EXPECT_EQ(decoded(other), "status 1001") << other;
        }
    });
}

TEST_F(TbsMfs, DecodeDoPnameNeedsNoResults) {
    in_new_process([] {
        uint32_t number = 0;
        size_t index = 0;
        EXPECT_EQ(tbs_decode_do_pname("a@@b.7", nullptr, nullptr), 0);
        EXPECT_EQ(tbs_decode_do_pname("a@@b.7", nullptr, &number), 0);
        EXPECT_EQ(number, 7u);
        EXPECT_EQ(tbs_decode_do_pname("a@@b.7", &index, nullptr), 0);
        EXPECT_EQ(index, 1u);
        EXPECT_EQ(tbs_decode_do_pname(nullptr, &index, &number), TBS_ST_EINVAL);
    });
}

TEST_F(TbsMfs, NamesFollowASymbolOfManyCharacters) {
    set_symbol("<§>");
    in_new_process([] {
        EXPECT_EQ(extended("a", "b"), "a<§>b");
        EXPECT_EQ(prefixed("d\\a", ""), "d\\^<§>\\a");
        EXPECT_EQ(suffix_at("a<§>\\main"), 1);
        EXPECT_EQ(suffix_at("a@@"), -1);
        EXPECT_EQ(stripped("a<§><§>"), "a<§>");
        EXPECT_EQ(stripped("a§>"), "a§>");
        EXPECT_EQ(decoded("a<§>b<§>c.5"), "6 5");
    });
    set_symbol("aba");
    in_new_process([] {
        EXPECT_EQ(decoded("xababa.1"), "3 1");
        EXPECT_EQ(suffix_at("ababa"), 2);
        EXPECT_EQ(stripped("ababa"), "ab");
    });
    set_symbol("@");
    in_new_process([] {
        EXPECT_EQ(decoded("a@@@.1"), "3 1");
        EXPECT_EQ(stripped("a@@"), "a@");
    });
}

TEST(TbsFormatDoIdstr, WritesTimeAndNumber) {
    tbs_fstat_db_t status = {};
    status.mtime = {1795273330, 999999};
    status.ctime = {1, 1};
    buffer text;
    EXPECT_EQ(tbs_format_do_idstr(text, nullptr, &status, 4711), 0);
    EXPECT_EQ(text.str(), "20261121T150210Z.4711");
    status.mtime = {INT32_MIN, 0};
    EXPECT_EQ(tbs_format_do_idstr(text, &status, &status, UINT32_MAX), 0);
    EXPECT_EQ(text.str(), "19011213T204552Z.4294967295");
    EXPECT_EQ(tbs_format_do_idstr(nullptr, nullptr, &status, 1), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_format_do_idstr(text, nullptr, nullptr, 1), TBS_ST_EINVAL);
    EXPECT_EQ(text.str(), "19011213T204552Z.4294967295");
}

TEST_F(TbsMfs, IdentifiersOfDerivedObjectsAreDecoded) {
    in_new_process([] {
        tbs_fstat_db_t status = {};
        buffer text;
        EXPECT_EQ(tbs_format_do_idstr(text, nullptr, &status, 12), 0);
        EXPECT_EQ(decoded(extended("a.o", text)), "3 12");
    });
}

// ---- view roots

TEST_F(TbsMfs, ViewRootIsThePathOfItsType) {
    const std::string dynamic = make_directory("dynamic"), automatic = make_directory("automatic");
    name_view_root("Dynamic", "Path", dynamic);
    name_view_root("Automatic", "Path", automatic);
    in_new_process([&] {
        EXPECT_EQ(root_of(DYVWROOT, nullptr), dynamic);
        EXPECT_EQ(root_of(DYVWROOT, ""), dynamic);
        EXPECT_EQ(root_of(DYVWROOT, "view\\src"), dynamic + "\\view\\src");
        EXPECT_EQ(root_of(AUVWROOT, nullptr), automatic);
        EXPECT_EQ(root_of(AUVWROOT, "v"), automatic + "\\v");
        buffer text;
        EXPECT_EQ(tbs_view_root(text, "v"), 0);
        EXPECT_EQ(text.str(), dynamic + "\\v");
        std::strcpy(text, "v");
        EXPECT_EQ(tbs_view_root(text, text), 0);
        EXPECT_EQ(text.str(), dynamic + "\\v");
        EXPECT_EQ(root_of(DYVWROOT, std::string(2000, 'l').c_str()),
                  (dynamic + '\\' + std::string(2000, 'l')).substr(0, 1023));
    });
}

TEST_F(TbsMfs, ViewRootIsEmptyWithoutMvfs) {
    in_new_process([&] {
        const recording_sink sink;
        for (const auto type : {DYVWROOT, AUVWROOT}) {
            EXPECT_EQ(root_of(type, nullptr), "status 1001");
            EXPECT_EQ(root_of(type, ""), "status 1001");
            EXPECT_EQ(root_of(type, "v"), "\\v");
        }
        name_view_root("Dynamic", "Path", make_directory("dynamic"));
        EXPECT_EQ(root_of(DYVWROOT, nullptr), "status 1001") << "once empty, always empty";
        EXPECT_TRUE(sink.empty());
    });
}

TEST_F(TbsMfs, ViewRootThatCannotBeOpenedIsTriedAgain) {
    name_view_root("Automatic", "Path", make_directory("automatic"));
    in_new_process([&] {
        const recording_sink sink;
        EXPECT_EQ(root_of(DYVWROOT, nullptr), "status 1001");
        EXPECT_EQ(root_of(DYVWROOT, "v"), "\\v");
        name_view_root("Dynamic", "Path", dir / "later");
        EXPECT_EQ(root_of(DYVWROOT, nullptr), "status 1001");
        const std::string later = make_directory("later");
        EXPECT_EQ(root_of(DYVWROOT, nullptr), later);
        std::filesystem::remove(later);
        EXPECT_EQ(root_of(DYVWROOT, "v"), later + "\\v") << "kept";
        EXPECT_TRUE(sink.empty());
    });
}

TEST_F(TbsMfs, ViewRootWithALongPathCannotTellIt) {
    std::string path = dir.str();
    while (path.size() < 256) path += "/directory";
    const auto usable = [&](size_t size) { return path.substr(0, size).back() != '/'; };
    ASSERT_TRUE(usable(255) && usable(256));
    for (const size_t size : {255, 256}) {
        const std::string name = path.substr(0, size);
        std::filesystem::create_directories(name);
        name_view_root("Dynamic", "Path", name);
        in_new_process([&] {
            EXPECT_EQ(root_of(DYVWROOT, nullptr), size == 255 ? name : "status 1002");
            EXPECT_EQ(root_of(DYVWROOT, "v"), size == 255 ? name + "\\v" : "status 1002");
        });
    }
}

TEST_F(TbsMfs, ViewRootRefusesANull) {
    in_new_process([] {
        EXPECT_EQ(tbs_view_root(nullptr, "v"), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_view_root_type(AUVWROOT, nullptr, nullptr), TBS_ST_EINVAL);
    });
}

TEST(TbsViewRootTypeDeathTest, EndsTheProcessForOtherTypes) {
    const std::string report = "Assertion failed: \\(vrtype == DYVWROOT\\) \\|\\| \\(vrtype == AUVWROOT\\) "
                               "\\(lib/tbs/tbs_mfs:96\\)";
    char text[TBS_PATH_SIZE];
    for (const int type : {2, -1, 1000}) {
        SCOPED_TRACE(type);
        EXPECT_DEATH(tbs_view_root_type(type, text, nullptr), report);
        EXPECT_DEATH(tbs_view_root_type(type, nullptr, nullptr), report);
    }
}

// ---- flags

TEST_F(TbsMfs, WorkspaceFlagsTellWhichViewRootsThereAre) {
    in_new_process([] {
        EXPECT_EQ(tbs_mvfs_ws_flags(), 0x1u);
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 0x4u);
    });
    name_view_root("Automatic", "Path", make_directory("automatic"));
    in_new_process([&] {
        EXPECT_EQ(tbs_mvfs_ws_flags(), 0u);
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 0x4u);
        name_view_root("Dynamic", "Path", make_directory("dynamic"));
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 0x4u) << "kept";
    });
    in_new_process([] {
        EXPECT_EQ(tbs_mvfs_ws_flags(), 0u);
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 0u);
        std::filesystem::rename(std::getenv("ORSIK_HOSTDATA_DIR") + std::string("/registry.db"),
                                std::getenv("ORSIK_HOSTDATA_DIR") + std::string("/gone"));
        EXPECT_EQ(tbs_mvfs_ws_flags(), 0u) << "kept";
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 0u) << "kept";
    });
}

TEST_F(TbsMfs, WorkspaceFlagsHoldAnExactTrue) {
    for (const char *value : {"TRUE", "true", "True", "", "1", "TRUE ", " TRUE", "TRUEX", "TRU"}) {
        const scoped_env variable("ORSIK_NO_WS", value);
        in_new_process(
            [&] { EXPECT_EQ(tbs_mvfs_ws_flags(), std::strcmp(value, "TRUE") == 0 ? 0x3u : 0x1u) << value; });
    }
    const scoped_env variable("ORSIK_NO_WS", "TRUE" + std::string(300, ' '));
    in_new_process([] {
        EXPECT_EQ(tbs_mvfs_ws_flags(), 0x1u);
        const scoped_env later("ORSIK_NO_WS", "TRUE");
        EXPECT_EQ(tbs_mvfs_ws_flags(), 0x1u) << "kept";
    });
    name_view_root("Dynamic", "Path", make_directory("dynamic"));
    const scoped_env disabled("ORSIK_NO_WS", "TRUE");
    in_new_process([&] {
        EXPECT_EQ(tbs_mvfs_ws_flags(), 0x2u);
        EXPECT_EQ(tbs_mvfs_ws_dyn_flags(), 0u);
        EXPECT_EQ(root_of(DYVWROOT, nullptr), dir / "dynamic") << "this flag hides no view root";
    });
}

// ---- identities

TEST_F(TbsMfs, DomainIdIsTheDomainsSid) {
    in_new_process([] {
        char sid[CREDUTL_SID_STR_SIZE];
        const bool known = nt_get_domain_sid_str(sid, sizeof sid) == 0;
        const char *id = nullptr, *again = nullptr;
        EXPECT_EQ(tbs_get_my_domain_id(&id), 0);
        EXPECT_STREQ(id, known ? sid : "UnknownDomain");
        EXPECT_EQ(tbs_get_my_domain_id(&again), 0);
        EXPECT_EQ(again, id);
        EXPECT_EQ(tbs_get_my_domain_id(nullptr), TBS_ST_EINVAL);
    });
}

TEST_F(TbsMfs, DomainIdThatCannotBeFoundOutIsUnknownAndStays) {
    in_new_process([] {
        rlimit usual{};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
        const rlimit none{0, usual.rlim_max};
        const char *id = nullptr, *again = nullptr;
        setrlimit(RLIMIT_NOFILE, &none);
        EXPECT_EQ(tbs_get_my_domain_id(&id), 0);
        setrlimit(RLIMIT_NOFILE, &usual);
        EXPECT_STREQ(id, "UnknownDomain");
        EXPECT_EQ(tbs_get_my_domain_id(&again), 0);
        EXPECT_EQ(again, id);
    });
}

TEST_F(TbsMfs, UserIdentityIsTheUsersSidAndStays) {
    const std::string file =
        dir.write("accounts", "CORP\\me user S-1-5-21-1-2-3-1001 " + std::to_string(geteuid()) + '\n');
    const scoped_env accounts("ORSIK_ACCOUNTS", file);
    in_new_process([&] {
        const char *identity = nullptr, *again = nullptr;
        EXPECT_EQ(tbs_get_my_user_identity(&identity), 0);
        EXPECT_STREQ(identity, "S-1-5-21-1-2-3-1001");
        std::filesystem::remove(file);
        EXPECT_EQ(tbs_get_my_user_identity(&again), 0);
        EXPECT_EQ(again, identity);
        EXPECT_EQ(tbs_get_my_user_identity(nullptr), TBS_ST_EINVAL);
    });
}

TEST_F(TbsMfs, UserIdentityThatFailsOnceFailsForeverAndHangsNobody) {
    const std::string file = dir / "accounts";
    const scoped_env accounts("ORSIK_ACCOUNTS", file);
    in_new_process([&] {
        const recording_sink quiet;
        const char *identity = "untouched";
        EXPECT_EQ(tbs_get_my_user_identity(&identity), TBS_ST_ERROR);
        dir.write("accounts", "");
        char sid[CREDUTL_SID_STR_SIZE];
        EXPECT_EQ(nt_get_sid_str(sid, sizeof sid), 0) << "it would go well now";
        EXPECT_EQ(tbs_get_my_user_identity(&identity), TBS_ST_ERROR);
        std::thread([&] { EXPECT_EQ(tbs_get_my_user_identity(&identity), TBS_ST_ERROR); }).join();
        EXPECT_STREQ(identity, "untouched");
    });
}

TEST_F(TbsMfs, LoginToUserIdentityGivesACopyOfTheCallers) {
    const std::string file = dir.write("accounts", "CORP\\alice user S-1-5-21-1-2-3-1001\n");
    const scoped_env accounts("ORSIK_ACCOUNTS", file);
    in_new_process([&] {
        char *identity = nullptr;
        EXPECT_EQ(tbs_login_to_user_identity("CORP\\alice", &identity), 0);
        EXPECT_STREQ(identity, "S-1-5-21-1-2-3-1001");
        stg_free(identity);
        EXPECT_EQ(tbs_login_to_user_identity("root", &identity), 0);
        EXPECT_STREQ(identity, "S-1-22-1-0");
        stg_free(identity);
        identity = nullptr;
        for (const char *unknown : {"CORP\\bob", "", "CORP\\"}) {
            EXPECT_EQ(tbs_login_to_user_identity(unknown, &identity), TBS_ST_ERROR) << unknown;
        }
        EXPECT_EQ(tbs_login_to_user_identity(std::string(2000, 'a').c_str(), &identity), TBS_ST_ERROR);
        EXPECT_EQ(identity, nullptr);
        EXPECT_EQ(tbs_login_to_user_identity(nullptr, &identity), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_login_to_user_identity("root", nullptr), TBS_ST_EINVAL);
    });
}

// ---- threads

TEST_F(TbsMfs, ThreadsThatStartTogetherFindTheSame) {
    set_symbol("%%");
    const std::string dynamic = make_directory("dynamic");
    name_view_root("Dynamic", "Path", dynamic);
    in_new_process([&] {
        constexpr int count = 8;
        std::latch start(count);
        std::array<const char *, count> domains{}, users{};
        std::vector<std::thread> threads;
        for (int i = 0; i < count; i++) {
            threads.emplace_back([&, i] {
                start.arrive_and_wait();
                // Each begins with another function.
                for (int step = 0; step < 8; step++) {
                    switch ((i + step) % 8) {
                    case 0: EXPECT_EQ(extended("a", "b"), "a%%b"); break;
                    case 1: EXPECT_EQ(prefixed("d\\a", nullptr), "d\\^%%\\a"); break;
                    case 2: EXPECT_EQ(root_of(DYVWROOT, "v"), dynamic + "\\v"); break;
                    case 3: EXPECT_EQ(tbs_mvfs_ws_flags() | tbs_mvfs_ws_dyn_flags(), 0u); break;
                    case 4: EXPECT_EQ(stripped("a%%"), "a"); break;
                    case 5: EXPECT_EQ(decoded("a%%b.1"), "1 1"); break;
                    case 6: EXPECT_EQ(tbs_get_my_domain_id(&domains[i]), 0); break;
                    default: EXPECT_EQ(tbs_get_my_user_identity(&users[i]), 0); break;
                    }
                }
            });
        }
        for (std::thread &each : threads) each.join();
        for (int i = 0; i < count; i++) {
            EXPECT_EQ(domains[i], domains[0]);
            EXPECT_EQ(users[i], users[0]);
        }
    });
}

// ---- without memory

TEST_F(TbsMfs, NothingWrongIsKeptWithoutMemory) {
    set_symbol("%%");
    const std::string dynamic = make_directory("dynamic");
    name_view_root("Dynamic", "Path", dynamic);
    bool went_well = false;
    int n = 0;
    for (n = 1; !went_well && n < 1000; n++) {
        for (const bool lasting : {false, true}) {
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                recording_sink sink;
                buffer name, root;
                tbs_status_t named = 0, rooted = 0;
                char *identity = nullptr;
                tbs_status_t identified = 0;
                bool happened = false;
                {
                    const faults::refuse refused(n, lasting);
                    named = tbs_version_ext_pname_sil(name, "a", "b", 1);
                    rooted = tbs_view_root(root, "v");
                    identified = tbs_login_to_user_identity("root", &identity);
                    happened = refused.happened();
                }
                const auto messages = sink.take();
                EXPECT_EQ(result(named, name), named == 0 ? "a%%b" : "status 1062");
                EXPECT_EQ(result(rooted, root), rooted == 0 ? dynamic + "\\v" : "status 1062");
                EXPECT_TRUE(identified == 0 || identified == TBS_ST_ENOMEM) << identified;
                EXPECT_EQ(identity != nullptr, identified == 0);
                const auto reports = std::count_if(messages.begin(), messages.end(), [](const recorded_message &m) {
                    return m.module == "tbs_mfs" && m.index == 46 && m.severity == IMSG_ERROR;
                });
                EXPECT_EQ(reports, (named != 0) + (rooted != 0) + (identified != 0)) << n;
                EXPECT_EQ(extended("a", "b"), "a%%b") << n;
                EXPECT_EQ(root_of(DYVWROOT, "v"), dynamic + "\\v") << n;
                EXPECT_EQ(tbs_mvfs_ws_flags(), 0u) << n;
                stg_free(identity);
                std::exit(testing::Test::HasFailure() ? 1 : happened ? 0 : 7);
            }
            int status = -1;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status));
            ASSERT_NE(WEXITSTATUS(status), 1) << n;
            went_well = WEXITSTATUS(status) == 7;
        }
    }
    EXPECT_TRUE(went_well);
    EXPECT_GT(n, 2);
}

TEST_F(TbsMfs, FunctionsWithoutAStatusGiveTheirFailureWithoutMemory) {
    in_new_process([] {
        recording_sink sink;
        char name[] = "a@@";
        tbs_boolean_t contained = 1;
        uint32_t flags = 0, dynamic = 0;
        const char *id = nullptr;
        {
            const faults::refuse refused(1, true);
            contained = tbs_pname_contains_version_suffix(name);
            tbs_strip_ver_ext_chars(name);
            flags = tbs_mvfs_ws_flags();
            dynamic = tbs_mvfs_ws_dyn_flags();
            tbs_get_my_domain_id(&id);
        }
        EXPECT_EQ(contained, 0);
        EXPECT_STREQ(name, "a@@");
        EXPECT_EQ(flags, 0x1u);
        EXPECT_EQ(dynamic, 0x4u);
        EXPECT_NE(id, nullptr);
        const auto messages = sink.take();
        const auto reports = std::count_if(messages.begin(), messages.end(),
                                           [](const recorded_message &m) { return m.module == "tbs_mfs"; });
        EXPECT_EQ(reports, 4);
        EXPECT_EQ(tbs_pname_contains_version_suffix(name), 1);
        tbs_strip_ver_ext_chars(name);
        EXPECT_STREQ(name, "a");
    });
}

} // namespace
