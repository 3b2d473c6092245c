// File types: loading the type files of the search path, and queries. Loading happens once in a process, so each case
// has one of its own.

#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/new_process.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>
#include <ks/ks_errno.h>
#include <ks/ks_file.h>
#include <ks/ks_imsg.h>
#include <ks/ks_str.h>
#include <ks/ks_wild.h>
#include <tbs/tbs_ft.h>
#include <tbs/tbs_product.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr uint32_t nobody = 4'000'001; // no account of a host

// The same as a user without rights and without a name; false when that cannot be.
bool in_new_process_of_nobody(const std::function<void()> &body) {
    if (geteuid() != 0) return false;
    in_new_process([&] {
        ASSERT_EQ(setuid(nobody), 0);
        body();
    });
    return true;
}

constexpr const char *untouched[] = {"(untouched)", nullptr};

// First name, or what the call did instead. The names are looked at when the result is there.
std::string first_name(int result, const char *const *const &names) {
    if (result == -1) return names == untouched ? "" : "(changed)";
    return result == 0 ? names[0] : "(" + std::to_string(result) + ")";
}
std::string type_of(const std::string &path) {
    const char *const *names = untouched;
    return first_name(tbs_file_type(path.c_str(), TBS_FT_NOT_OPEN, nullptr, &names), names);
}

std::string path_or_none() {
    const char *path = tbs_file_type_path();
    return path ? path : "(none)";
}

class FileType : public testing::Test {
protected:
    void write(const char *leaf, const std::string &text) { dir.write(std::string("types/") + leaf, text); }
    void with(const std::string &path, const std::function<void()> &body) {
        in_new_process([&] {
            const scoped_env search("MAGIC_PATH", path);
            body();
        });
    }
    void with(const std::function<void()> &body) { with(dir / "types", body); }

    // What loading finds in a directory: its product path, made as the library makes it.
    static std::string listed(const std::string &directory, const std::string &leaf) {
        uint32_t index = 0, count = 0;
        char **names = nullptr;
        EXPECT_EQ(fileutl_resolve_pattern_index(directory.c_str(), leaf.c_str(), 0, &index, &names, &count), 0);
        EXPECT_EQ(count, 1u) << directory << leaf;
        const std::string path = count ? names[0] : "";
        strutl_free_str_list(&names, count);
        return path;
    }

    temp_dir dir;
};

using messages = std::vector<recorded_message>;

recorded_message general(uint32_t index, int severity, const std::string &text) {
    return {severity, "tbs", nullptr, index, text};
}

// Messages without the addresses of their tables.
messages told(recording_sink &sink) {
    messages all = sink.take();
    for (recorded_message &one : all) one.table = nullptr;
    return all;
}

recorded_message unsearchable() {
    return general(
        15, 6, "Unable to resolve magic (file typing) names:  " + std::string(imsg_strerror(KS_ENAMETOOLONG)) + "\n");
}

// ---- queries

TEST_F(FileType, IsTheNamesOfTheFirstDefinitionThatHolds) {
    write("a.magic", "c_source text_file: -n \"*.c\";\nsource: -n \"*.c\" | -n \"*.h\";\n");
    with([] {
        const char *const *names = untouched;
        ASSERT_EQ(tbs_file_type("/some/f.c", TBS_FT_NOT_OPEN, nullptr, &names), 0);
        EXPECT_STREQ(names[0], "c_source");
        EXPECT_STREQ(names[1], "text_file");
        EXPECT_EQ(names[2], nullptr);
        const char *const *again = untouched;
        ASSERT_EQ(tbs_file_type("other.c", TBS_FT_NOT_OPEN, nullptr, &again), 0);
        EXPECT_EQ(again, names) << "the array is the library's";
        EXPECT_EQ(type_of("f.h"), "source");
        EXPECT_EQ(type_of("f.txt"), "");
    });
}

TEST_F(FileType, OptionsSayWhatMayBeLookedAt) {
    write("a.magic", "named: -n \"f.c\";\nregular: -s r;\ntext: -p;\nany: !-file_re \"x\";\n");
    const std::string path = dir.write("f.c", "text");
    with([&] {
        const auto by = [&](uint32_t options) {
            const char *const *names = untouched;
            return first_name(tbs_file_type_opt(path.c_str(), TBS_FT_NOT_OPEN, nullptr, options, &names), names);
        };
        EXPECT_EQ(by(0), "any");
        EXPECT_EQ(by(TBS_FT_BY_NAME), "named");
        EXPECT_EQ(by(TBS_FT_BY_STATUS), "regular");
        EXPECT_EQ(by(TBS_FT_BY_CONTENT), "text");
        EXPECT_EQ(by(TBS_FT_BY_STATUS | TBS_FT_BY_CONTENT), "regular");
        EXPECT_EQ(by(7), "named");
        EXPECT_EQ(by(8), "any");
        EXPECT_EQ(by(15), "named");
        EXPECT_EQ(by(~0u), "named");
        EXPECT_EQ(type_of(path), "named");
    });
}

TEST_F(FileType, TheSecondStatusDecidesNothingButWhetherStatusesAreThere) {
    write("a.magic", "directory: -s d;\nregular: -s r;\nneither: -n \"*\";\n");
    const std::string path = dir.write("f", "text");
    with([&] {
        fileutl_status_t is_directory{};
        is_directory.mode = FILEUTL_DIRECTORY | 0755;
        is_directory.nlink = 1;
        const auto by = [&](const fileutl_status_t *status, const fileutl_status_t *second) {
            const char *const *names = untouched;
            return first_name(
                tbs_file_type_opt_2stat(path.c_str(), TBS_FT_NOT_OPEN, status, second, TBS_FT_BY_ALL, &names), names);
        };
        EXPECT_EQ(by(nullptr, nullptr), "regular");
        EXPECT_EQ(by(&is_directory, nullptr), "directory");
        EXPECT_EQ(by(nullptr, &is_directory), "regular");
        EXPECT_EQ(by(nullptr, TBS_FT_NO_STATUS), "neither");
        EXPECT_EQ(by(&is_directory, TBS_FT_NO_STATUS), "neither");
        EXPECT_EQ(by(TBS_FT_NO_STATUS, nullptr), "neither");
        EXPECT_EQ(by(TBS_FT_NO_STATUS, &is_directory), "neither");
        const char *const *names = untouched;
        EXPECT_EQ(first_name(tbs_file_type(path.c_str(), TBS_FT_NOT_OPEN, TBS_FT_NO_STATUS, &names), names),
                  "neither");
        names = untouched;
        EXPECT_EQ(first_name(tbs_file_type_opt(path.c_str(), TBS_FT_NOT_OPEN, &is_directory, 7, &names), names),
                  "directory");
    });
}

TEST_F(FileType, ADescriptorStaysWhereItIs) {
    write("a.magic", "script: -m 0,\"#!\";\ntext: -p;\n");
    const std::string path = dir.write("f", "#!" + std::string(1000, 'x'));
    with([&] {
        const int fd = open(path.c_str(), O_RDONLY);
        ASSERT_EQ(lseek(fd, 100, SEEK_SET), 100);
        const char *const *names = untouched;
        EXPECT_EQ(first_name(tbs_file_type(path.c_str(), fd, nullptr, &names), names), "script");
        EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 100);
        EXPECT_EQ(close(fd), 0) << "it is left open";
    });
}

TEST_F(FileType, NoDescriptorIsLeftOpen) {
    write("a.magic", "script: -m 0,\"#!\";\n");
    const std::string path = dir.write("f", "text");
    with([&] {
        const int before = open("/dev/null", O_RDONLY);
        close(before);
        EXPECT_EQ(type_of(path), "");
        EXPECT_EQ(type_of(dir / "none"), "");
        EXPECT_EQ(type_of(dir.str()), "");
        const int after = open("/dev/null", O_RDONLY);
        EXPECT_EQ(after, before);
        close(after);
    });
}

TEST_F(FileType, NothingIsAskedOfAFileBeforeATestNeedsIt) {
    write("a.magic", "named: -n \"*.c\";\ndirectory: -s d;\nscript: -m 0,\"#!\";\nother: -n \"*\";\n");
    ASSERT_EQ(mkfifo((dir / "fifo.c").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    with([&] {
        EXPECT_EQ(type_of(dir / "none.c"), "named");
        EXPECT_EQ(type_of(dir / "fifo.c"), "named");
        EXPECT_EQ(type_of(dir / "fifo"), "other") << "and nothing is waited for";
        EXPECT_EQ(type_of(dir / "none"), "other");
        EXPECT_EQ(type_of(dir.str()), "directory");
        EXPECT_EQ(type_of("/dev/null"), "other");
    });
}

TEST_F(FileType, ContentThatMayNotBeReadIsNotDecided) {
    write("a.magic", "text: -p;\nbinary: !-p;\nregular: -s r;\n");
    const std::string path = dir.write("f", "text");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    ASSERT_EQ(chmod(dir.str().c_str(), 0755), 0);
    const scoped_env search("MAGIC_PATH", dir / "types");
    const auto body = [&] { EXPECT_EQ(type_of(path), "regular"); };
    if (!in_new_process_of_nobody(body)) in_new_process(body);
}

TEST_F(FileType, NothingIsSaidOfFilesThatAreNotThere) {
    write("a.magic", "text: -p;\nregular: -s r;\nscript: -m 0,\"#!\";\n");
    with([&] {
        recording_sink sink;
        EXPECT_EQ(type_of(dir / "none"), "");
        EXPECT_EQ(type_of(dir / "none/below"), "");
        EXPECT_EQ(type_of(std::string(100000, 'x')), "");
        EXPECT_EQ(type_of(""), "");
        EXPECT_EQ(told(sink), messages{});
    });
}

TEST_F(FileType, NullsAreRefused) {
    write("a.magic", "any: -n \"*\";\n");
    with([] {
        const char *const *names = untouched;
        EXPECT_EQ(tbs_file_type(nullptr, TBS_FT_NOT_OPEN, nullptr, &names), -1);
        EXPECT_EQ(names, untouched);
        EXPECT_EQ(tbs_file_type("f", TBS_FT_NOT_OPEN, nullptr, nullptr), -1);
        EXPECT_EQ(tbs_file_type_opt(nullptr, TBS_FT_NOT_OPEN, nullptr, 15, &names), -1);
        EXPECT_EQ(tbs_file_type_opt("f", TBS_FT_NOT_OPEN, nullptr, 15, nullptr), -1);
        EXPECT_EQ(tbs_file_type_opt_2stat(nullptr, TBS_FT_NOT_OPEN, nullptr, nullptr, 15, &names), -1);
        EXPECT_EQ(tbs_file_type_opt_2stat("f", TBS_FT_NOT_OPEN, nullptr, nullptr, 15, nullptr), -1);
        EXPECT_EQ(type_of("f"), "any");
    });
}

// ---- the search path

TEST_F(FileType, PathIsTheVariable) {
    write("a.magic", "a: -n \"*\";\n");
    with(dir / "types", [&] {
        EXPECT_EQ(path_or_none(), dir / "types");
        EXPECT_EQ(type_of("f"), "a");
    });
    const std::string strange = ";;" + (dir / "none") + ";" + (dir / "types") + ";;";
    with(strange, [&] {
        EXPECT_EQ(path_or_none(), strange) << "as it was given";
        EXPECT_EQ(type_of("f"), "a");
    });
    with(dir / "types\\", [&] { EXPECT_EQ(type_of("f"), "a"); });
}

TEST_F(FileType, PathElementsAreReadInTheirOrder) {
    dir.write("one/z.magic", "one_z: -n \"f\";\nboth: -n \"g\";\n");
    dir.write("one/B.magic", "one_b: -n \"f\";\n");
    dir.write("one/a.MAGIC", "one_a: -n \"e\";\n");
    dir.write("two/a.magic", "two: -n \"f\";\nboth2: -n \"g\";\ntwo_h: -n \"h\";\n");
    const std::string one = dir / "one", two = dir / "two", none = dir / "none";
    with(one + ";" + none + ";" + two, [] {
        EXPECT_EQ(type_of("f"), "one_b") << "of the files of a directory, sorted by their bytes, the first";
        EXPECT_EQ(type_of("g"), "both");
        EXPECT_EQ(type_of("h"), "two_h");
        EXPECT_EQ(type_of("e"), "one_a");
    });
    with(none + ";" + two + ";" + one, [] {
        EXPECT_EQ(type_of("f"), "two");
        EXPECT_EQ(type_of("g"), "both2");
        EXPECT_EQ(type_of("e"), "one_a");
    });
    with(one + ";" + one, [] { EXPECT_EQ(type_of("f"), "one_b"); });
}

TEST_F(FileType, ManyPathElementsAreRead) {
    std::string path;
    for (int i = 0; i < 60; i++) {
        const std::string number = std::to_string(i);
        dir.write("d" + number + "/x.magic", "t" + number + ": -n \"f" + number + "\";\n");
        path += (i ? ";" : "") + (dir / ("d" + number));
    }
    with(path, [&] {
        EXPECT_EQ(path_or_none(), path);
        for (int i = 0; i < 60; i++) EXPECT_EQ(type_of("f" + std::to_string(i)), "t" + std::to_string(i));
    });
}

TEST_F(FileType, NoTypeFilesAtAllIsNoFailure) {
    std::filesystem::create_directory(dir / "types");
    for (const std::string &path : {dir / "types", dir / "none", std::string(";"), dir.write("file", "x")})
        with(path, [&] {
            recording_sink sink;
            EXPECT_EQ(type_of("f"), "");
            EXPECT_EQ(path_or_none(), path);
            EXPECT_EQ(told(sink), messages{});
        });
}

TEST_F(FileType, FilesAreToldByTheirExtensionInAnyCase) {
    const char *const taken[] = {"a.magic", "b.MAGIC", "c.Magic", "d.mAgIc", "e.x.magic"};
    const char *const left[] = {"f.magi", "g.magicx", "magic", "h.magic.bak", "i.txt", "jmagic"};
    for (const char *leaf : taken) write(leaf, "taken: -n \"" + std::string(leaf) + "\";\n");
    for (const char *leaf : left) write(leaf, "taken: -n \"" + std::string(leaf) + "\";\n");
    with([&] {
        for (const char *leaf : taken) EXPECT_EQ(type_of(leaf), "taken") << leaf;
        for (const char *leaf : left) EXPECT_EQ(type_of(leaf), "") << leaf;
    });
}

std::string product_types() {
    char config[TBS_PATH_SIZE];
    std::string path = tbs_product_config_dir(config, nullptr);
    if (!path.ends_with('\\')) path += '\\';
    return path + "magic";
}

TEST_F(FileType, DefaultPathIsThatOfTheUserAndThatOfTheProduct) {
    if (geteuid() != 0) GTEST_SKIP() << "the user may have no name";
    dir.write("home/.magic/a.magic", "of_user: -n \"f\";\n");
    dir.write("product/config/magic/a.magic", "of_product: -n \"f\" | -n \"g\";\n");
    const std::string home = dir / "home";
    const scoped_env product("ORSIK_PRODUCT_DIR", dir / "product");
    const auto by_default = [&](const char *variable, const char *home_value, const std::string &expected) {
        in_new_process([&] {
            const scoped_env search("MAGIC_PATH", variable), at_home("HOME", home_value);
            EXPECT_EQ(path_or_none(), expected);
            EXPECT_EQ(type_of("f"), "of_user");
            EXPECT_EQ(type_of("g"), "of_product");
        });
    };
    by_default(nullptr, home.c_str(), home + "\\.magic;" + product_types());
    by_default("", home.c_str(), home + "\\.magic;" + product_types()); // an empty variable is no path
    by_default(nullptr, (home + "\\").c_str(), home + "\\.magic;" + product_types());
}

TEST_F(FileType, TheVariableTakesThePlaceOfBothDefaults) {
    write("a.magic", "mine: -n \"f\";\n");
    dir.write("home/.magic/a.magic", "other: -n \"*\";\n");
    const scoped_env home("HOME", dir / "home"), product("ORSIK_PRODUCT_DIR", dir / "product");
    dir.write("product/config/magic/a.magic", "other: -n \"*\";\n");
    with([] {
        EXPECT_EQ(type_of("f"), "mine");
        EXPECT_EQ(type_of("g"), "");
    });
}

TEST_F(FileType, AHomeThatIsTooLongIsLeftOut) {
    if (geteuid() != 0) GTEST_SKIP() << "the user may have no name";
    const scoped_env product("ORSIK_PRODUCT_DIR", dir / "product");
    in_new_process([&] {
        const scoped_env home("HOME", "/" + std::string(1100, 'h'));
        EXPECT_EQ(path_or_none(), product_types());
    });
}

// Absolute path of a size, in leaves that a host takes.
std::string path_of(size_t size) {
    std::string path;
    while (path.size() < size) path += "/" + std::string(99, 'p');
    path.resize(size);
    if (path.back() == '/') path.back() = 'p';
    return path;
}

TEST_F(FileType, DefaultPathHasRoomFor2047Bytes) {
    if (geteuid() != 0) GTEST_SKIP() << "the user may have no name";
    // "HOME\.magic;" and the product's part. Homes of up to 1023 bytes count.
    for (const size_t product_size : {size_t{900}, size_t{1000}, size_t{1010}, size_t{1012}, size_t{1016}}) {
        const scoped_env product("ORSIK_PRODUCT_DIR", path_of(product_size));
        const std::string of_product = product_types();
        for (size_t home_size = 1000; home_size <= 1023; home_size++) {
            const scoped_env home("HOME", path_of(home_size));
            const std::string path = path_of(home_size) + "\\.magic;" + of_product;
            if (path.size() < 2046 && home_size != 1000 && home_size != 1023) continue;
            in_new_process([&] {
                recording_sink sink;
                const size_t longest = std::max(home_size + std::strlen("\\.magic"), of_product.size());
                if (path.size() <= 2047 && longest < KS_PATH_SIZE) {
                    EXPECT_EQ(path_or_none(), path) << path.size();
                    EXPECT_EQ(told(sink), messages{});
                    return;
                }
                if (path.size() <= 2047) {
                    EXPECT_EQ(path_or_none(), "(none)") << path.size();
                    EXPECT_EQ(told(sink), messages{unsearchable()}) << "a directory has too long a name";
                    return;
                }
                EXPECT_EQ(path_or_none(), "(none)") << path.size();
                const recorded_message too_small =
                    general(18, 6, "Search path buffer for default file typing path too small.\n");
                EXPECT_EQ(told(sink), messages{too_small});
                EXPECT_EQ(type_of("f"), "");
                EXPECT_EQ(told(sink), messages{too_small}) << "it is tried again";
            });
        }
    }
}

TEST_F(FileType, SomePathDoesNotFit) {
    if (geteuid() != 0) GTEST_SKIP() << "the user may have no name";
    // The case above is about something.
    const scoped_env product("ORSIK_PRODUCT_DIR", path_of(1016));
    EXPECT_GT(1023 + std::strlen("\\.magic;") + product_types().size(), 2047u) << product_types().size();
}

TEST_F(FileType, AUserWithoutANameHasNoDefaultPath) {
    ASSERT_EQ(chmod(dir.str().c_str(), 0755), 0);
    write("a.magic", "any: -n \"*\";\n");
    const scoped_env home("HOME", dir / "home");
    const bool ran = in_new_process_of_nobody([&] {
        recording_sink sink;
        EXPECT_EQ(path_or_none(), "(none)");
        EXPECT_EQ(type_of("f"), "");
        EXPECT_EQ(told(sink), messages{});
        const scoped_env search("MAGIC_PATH", dir / "types");
        EXPECT_EQ(type_of("f"), "any") << "the next query tries again";
        EXPECT_EQ(path_or_none(), dir / "types");
    });
    if (!ran) GTEST_SKIP() << "only the superuser may become another user";
}

TEST_F(FileType, APathThatCannotBeSearchedIsAFailureUntilItIsMended) {
    write("a.magic", "any: -n \"*\";\n");
    const std::string good = dir / "types", bad = good + ";/" + std::string(6000, 'x');
    with(bad, [&] {
        recording_sink sink;
        const recorded_message cannot = unsearchable();
        EXPECT_EQ(type_of("f"), "");
        EXPECT_EQ(told(sink), messages{cannot});
        EXPECT_EQ(path_or_none(), "(none)");
        EXPECT_EQ(told(sink), messages{cannot});
        setenv("MAGIC_PATH", good.c_str(), 1);
        EXPECT_EQ(type_of("f"), "any");
        EXPECT_EQ(path_or_none(), good);
        EXPECT_EQ(told(sink), messages{});
        setenv("MAGIC_PATH", bad.c_str(), 1);
        EXPECT_EQ(type_of("f"), "any") << "loaded once";
        EXPECT_EQ(path_or_none(), good);
    });
}

TEST_F(FileType, AFailedLoadLeavesNoDefinitions) {
    write("a.magic", "old: -n \"*\";\n");
    dir.write("new/a.magic", "new: -n \"f\";\n");
    with((dir / "types") + ";/" + std::string(6000, 'x'), [&] {
        recording_sink sink;
        for (int i = 0; i < 3; i++) EXPECT_EQ(type_of("f"), "");
        setenv("MAGIC_PATH", (dir / "new").c_str(), 1);
        EXPECT_EQ(type_of("f"), "new");
        EXPECT_EQ(type_of("g"), "");
    });
}

TEST_F(FileType, PathIsKeptForEachThread) {
    write("a.magic", "any: -n \"*\";\n");
    with([&] {
        const char *const mine = tbs_file_type_path();
        ASSERT_NE(mine, nullptr);
        EXPECT_EQ(tbs_file_type_path(), mine) << "cached";
        std::thread([&] {
            const char *const theirs = tbs_file_type_path();
            ASSERT_NE(theirs, nullptr);
            EXPECT_STREQ(theirs, mine);
            EXPECT_NE(theirs, mine);
            EXPECT_EQ(tbs_file_type_path(), theirs);
        }).join();
        EXPECT_EQ(type_of("f"), "any");
        EXPECT_EQ(mine, dir / "types");
    });
}

// ---- reading

TEST_F(FileType, FilesAreReadOnce) {
    write("a.magic", "old: -n \"*\";\n");
    with([&] {
        EXPECT_EQ(type_of("f"), "old");
        write("a.magic", "new: -n \"*\";\n");
        write("0.magic", "new: -n \"*\";\n");
        EXPECT_EQ(type_of("f"), "old");
        std::filesystem::remove_all(dir / "types");
        EXPECT_EQ(type_of("f"), "old");
        setenv("MAGIC_PATH", (dir / "none").c_str(), 1);
        EXPECT_EQ(type_of("f"), "old");
        EXPECT_EQ(path_or_none(), dir / "types");
    });
}

TEST_F(FileType, ThePathAloneLoadsTheFiles) {
    write("a.magic", "old: -n \"*\";\n");
    with([&] {
        EXPECT_EQ(path_or_none(), dir / "types");
        write("a.magic", "new: -n \"*\";\n");
        EXPECT_EQ(type_of("f"), "old");
    });
}

TEST_F(FileType, ErrorsNameTheirPlaceAndLeaveTheRest) {
    write("a.magic", "a: -n \"a\";\nbad: -N \"x\";\nfar:\n-m 511,b_long,1 | -n \"far\";\n");
    write("b.magic", "\n\nalso bad -n;\nb: -n \"b\";\n");
    write("c.magic", "c: -n \"c\";\n");
    const std::string a = listed(dir / "types", "a.magic"), b = listed(dir / "types", "b.magic");
    with([&] {
        recording_sink sink;
        EXPECT_EQ(type_of("b"), "b");
        EXPECT_EQ(told(sink),
                  (messages{general(2, 6, "syntax error on line 2 in type file \"" + a + "\".\n"),
                            general(4, 4, "Magic value beyond 512 bytes on line 4 in type file \"" + a + "\".\n"),
                            general(2, 6, "syntax error on line 3 in type file \"" + b + "\".\n")}));
        EXPECT_EQ(type_of("a"), "a");
        EXPECT_EQ(type_of("far"), "far");
        EXPECT_EQ(type_of("c"), "c");
        EXPECT_EQ(type_of("x"), "");
        EXPECT_EQ(told(sink), messages{}) << "once";
    });
}

TEST_F(FileType, NestingTooDeepEndsItsFileOnly) {
    write("a.magic", "a: -n \"a\";\ndeep: " + std::string(1000000, '(') + "-p;\nlost: -n \"*\";\n");
    write("b.magic", "b: -n \"b\";\n");
    const std::string a = listed(dir / "types", "a.magic");
    with([&] {
        recording_sink sink;
        EXPECT_EQ(type_of("a"), "a");
        EXPECT_EQ(told(sink), messages{general(2, 6, "yacc stack overflow on line 2 in type file \"" + a + "\".\n")});
        EXPECT_EQ(type_of("b"), "b");
        EXPECT_EQ(type_of("c"), "");
    });
}

TEST_F(FileType, EmptyFilesAreSyntaxErrors) {
    write("a.magic", "");
    write("b.magic", "# nothing\n");
    write("c.magic", "# nothing without an end");
    write("d.magic", "d: -n \"d\";");
    with([&] {
        recording_sink sink;
        EXPECT_EQ(type_of("d"), "d");
        const messages all = told(sink);
        ASSERT_EQ(all.size(), 3u);
        for (const recorded_message &one : all) EXPECT_TRUE(one.text.starts_with("syntax error on line ")) << one;
    });
}

TEST_F(FileType, LinesMayEndInTheOtherManner) {
    write("a.magic", "# comment\r\n\r\n  \r\na b:\r\n\t-n \"f\"\r\n;\r\nbad;\r\nc: -n \"g\";\r\n");
    const std::string a = listed(dir / "types", "a.magic");
    with([&] {
        recording_sink sink;
        EXPECT_EQ(type_of("f"), "a");
        EXPECT_EQ(type_of("g"), "c");
        EXPECT_EQ(told(sink), messages{general(2, 6, "syntax error on line 7 in type file \"" + a + "\".\n")});
    });
}

TEST_F(FileType, HostileFilesDoNotHinderOthers) {
    write("a.magic", std::string(100000, '\0'));
    write("b.magic", std::string(100000, '\xff'));
    write("c.magic", "c: -n \"" + std::string(5'000'000, 'x'));
    std::string quotes = "d: -n ";
    while (quotes.size() < 50'000'000) quotes += "\"\\\"\\\"";
    write("d.magic", quotes);
    std::string words;
    while (words.size() < 20'000'000) words += "wordwords ";
    write("e.magic", words);
    write("f.magic", "f: -n \"f\";\n");
    with([] {
        recording_sink sink;
        EXPECT_EQ(type_of("f"), "f");
        const messages all = told(sink);
        EXPECT_EQ(all.size(), 5u);
        for (const recorded_message &one : all) EXPECT_TRUE(one.text.starts_with("syntax error on line 1 ")) << one;
    });
}

TEST_F(FileType, WhatIsNoFileIsPassedOver) {
    write("z.magic", "z: -n \"*\";\n");
    std::filesystem::create_directories(dir / "types/dir.magic");
    ASSERT_EQ(mkfifo((dir / "types/fifo.magic").c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/null", dir / "types/null.magic");
    std::filesystem::create_symlink("/dev/zero", dir / "types/zero.magic");
    with([&] {
        recording_sink sink;
        EXPECT_EQ(type_of("f"), "z");
        EXPECT_EQ(told(sink), messages{});
    });
}

TEST_F(FileType, ALinkToATypeFileIsRead) {
    const std::string elsewhere = dir.write("elsewhere", "linked: -n \"*\";\n");
    std::filesystem::create_directory(dir / "types");
    std::filesystem::create_symlink(elsewhere, dir / "types/a.magic");
    with([] { EXPECT_EQ(type_of("f"), "linked"); });
}

TEST_F(FileType, AFileThatIsNotThereIsNamedAndLeftOut) {
    write("z.magic", "z: -n \"*\";\n");
    std::filesystem::create_symlink("nothing", dir / "types/a.magic");
    with([&] {
        const std::string a = listed(dir / "types", "a.magic");
        recording_sink sink;
        EXPECT_EQ(type_of("f"), "z");
        EXPECT_EQ(told(sink),
                  messages{general(18, 6, "Unable to open file \"" + a + "\": " + imsg_strerror(KS_ENOENT) + ".\n")});
    });
}

TEST_F(FileType, AFileThatMayNotBeReadIsNamedAndLeftOut) {
    write("a.magic", "a: -n \"*\";\n");
    write("z.magic", "z: -n \"*\";\n");
    ASSERT_EQ(chmod((dir / "types/a.magic").c_str(), 0), 0);
    ASSERT_EQ(chmod(dir.str().c_str(), 0755), 0);
    const std::string a = listed(dir / "types", "a.magic");
    const scoped_env search("MAGIC_PATH", dir / "types");
    const auto body = [&] {
        recording_sink sink;
        EXPECT_EQ(type_of("f"), "z");
        EXPECT_EQ(told(sink),
                  messages{general(18, 6, "Unable to open file \"" + a + "\": " + imsg_strerror(KS_EACCES) + ".\n")});
    };
    if (!in_new_process_of_nobody(body)) in_new_process(body);
}

TEST_F(FileType, ADirectoryThatMayNotBeReadIsPassedOver) {
    write("a.magic", "a: -n \"*\";\n");
    dir.write("more/z.magic", "z: -n \"*\";\n");
    ASSERT_EQ(chmod((dir / "types").c_str(), 0), 0);
    ASSERT_EQ(chmod(dir.str().c_str(), 0755), 0);
    const scoped_env search("MAGIC_PATH", (dir / "types") + ";" + (dir / "more"));
    const auto body = [] { EXPECT_EQ(type_of("f"), "z"); };
    if (!in_new_process_of_nobody(body)) in_new_process(body);
    ASSERT_EQ(chmod((dir / "types").c_str(), 0755), 0);
}

TEST_F(FileType, AFileThatEverybodyMayWriteToIsReadWithAWarning) {
    write("a.magic", "a: -n \"*\";\n");
    ASSERT_EQ(chmod((dir / "types/a.magic").c_str(), 0666), 0);
    with([&] {
        recording_sink sink;
        EXPECT_EQ(type_of("f"), "a");
        const messages all = told(sink);
        ASSERT_EQ(all.size(), 1u);
        EXPECT_EQ(all[0].severity, IMSG_WARNING);
        EXPECT_NE(all[0].text.find("Everybody on this host may write to the file"), std::string::npos);
    });
}

TEST_F(FileType, FilesThatAreReadAreTraced) {
    write("a.magic", "a: -n \"*\";\n");
    write("b.magic", "b: -n \"*\";\n");
    std::filesystem::create_directories(dir / "types/c.magic");
    const auto line = [&](const char *leaf) { return "read_type_file( " + listed(dir / "types", leaf) + " )\n"; };
    const std::vector<std::string> expected = {line("a.magic"), line("b.magic"), line("c.magic")};
    const auto traced = [&](int verbosity, const char *trace) {
        recording_sink sink;
        imsg_set_desired_verbosity(verbosity);
        imsg_set_trace(trace);
        EXPECT_EQ(type_of("f"), "a");
        std::vector<std::string> texts;
        for (const recorded_message &one : sink.take()) {
            EXPECT_EQ(one.severity, IMSG_TRACE);
            EXPECT_EQ(one.module, "tbs");
            texts.push_back(one.text);
        }
        return texts;
    };
    with([&] { EXPECT_EQ(traced(3, "tbs:3"), expected); });
    with([&] { EXPECT_EQ(traced(5, "*:3"), expected); });
    with([&] { EXPECT_EQ(traced(2, "tbs:3"), std::vector<std::string>{}); });
    with([&] { EXPECT_EQ(traced(3, "tbs_acl:3"), std::vector<std::string>{}); });
    with([&] { EXPECT_EQ(traced(3, ""), std::vector<std::string>{}); });
}

// ---- builders

std::vector<char *> names(std::initializer_list<const char *> texts) {
    std::vector<char *> all;
    for (const char *text : texts) all.push_back(const_cast<char *>(text));
    all.push_back(nullptr);
    return all;
}

TEST_F(FileType, DefinitionsOfAProgramCount) {
    write("a.magic", "of_file: -n \"*.c\";\n");
    with([] {
        auto before = names({"before", "more"}), after = names({"after"}), never = names({"never"}), none = names({});
        ft_reg_def(before.data(), ft_name_leaf("x.c"));
        ft_reg_def(never.data(), nullptr);
        ft_reg_def(none.data(), ft_name_leaf("*"));
        ft_reg_def(nullptr, ft_name_leaf("*"));
        before[0] = nullptr; // the array was copied
        EXPECT_EQ(type_of("x.c"), "before");
        EXPECT_EQ(type_of("y.c"), "of_file");
        EXPECT_EQ(type_of("z"), "");
        ft_reg_def(after.data(), ft_or_node(ft_name_leaf("z"), ft_name_leaf("y.c")));
        EXPECT_EQ(type_of("z"), "after");
        EXPECT_EQ(type_of("y.c"), "of_file") << "what was read earlier";
    });
}

TEST_F(FileType, DefinitionsOfAProgramOutliveAFailedLoad) {
    dir.write("types/a.magic", "of_file: -n \"*.c\";\n");
    with("/" + std::string(6000, 'x'), [&] {
        recording_sink sink;
        auto mine = names({"mine"});
        ft_reg_def(mine.data(), ft_name_leaf("x"));
        EXPECT_EQ(type_of("x"), "");
        setenv("MAGIC_PATH", (dir / "types").c_str(), 1);
        EXPECT_EQ(type_of("x"), "mine");
        EXPECT_EQ(type_of("y.c"), "of_file");
    });
}

TEST(FtBuilders, CollectNamesInOneArray) {
    char a[] = "a", b[] = "b", c[] = "c";
    char **list = ft_type_name(nullptr, a);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list[0], a);
    EXPECT_EQ(list[1], nullptr);
    EXPECT_EQ(ft_type_name(list, b), list);
    EXPECT_EQ(list[0], a);
    EXPECT_EQ(list[1], b);
    EXPECT_EQ(list[2], nullptr);
    EXPECT_EQ(ft_type_name(nullptr, c), list);
    EXPECT_EQ(list[0], c);
    EXPECT_EQ(list[1], nullptr);
    for (int i = 0; i < 300; i++) list = ft_type_name(list, b);
    int count = 0;
    while (list[count]) count++;
    EXPECT_EQ(count, 256);
    EXPECT_EQ(list[0], c);
}

TEST(FtBuilders, MakeNodes) {
    ft_node_t *name = ft_name_leaf("plain"), *wild = ft_name_leaf("*.c");
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name->kind, 259);
    EXPECT_EQ(name->u.name.length, -1);
    EXPECT_STREQ(name->u.name.pattern, "plain");
    EXPECT_EQ(name->u.name.compiled, nullptr);
    ASSERT_NE(wild, nullptr);
    EXPECT_EQ(wild->u.name.length, static_cast<int>(std::strlen(wild->u.name.compiled)));
    EXPECT_EQ(wild_match(wild->u.name.compiled, "x.c", 0), 1);
    EXPECT_EQ(ft_name_leaf("[a"), nullptr);
    EXPECT_EQ(ft_name_leaf((std::string(600, 'a') + "*").c_str()), nullptr);

    const ft_node_t *either = ft_or_node(name, wild), *both = ft_and_node(wild, name), *not_name = ft_not_node(name);
    EXPECT_EQ(either->kind, 272);
    EXPECT_EQ(either->u.operands.left, name);
    EXPECT_EQ(either->u.operands.right, wild);
    EXPECT_EQ(both->kind, 273);
    EXPECT_EQ(both->u.operands.left, wild);
    EXPECT_EQ(both->u.operands.right, name);
    EXPECT_EQ(not_name->kind, 274);
    EXPECT_EQ(not_name->u.operands.left, name);

    for (const auto &[word, kind] : {std::pair{"char", 0x2000u},
                                     {"dir", 0x4000u},
                                     {"b", 0u},
                                     {"fifo", 0u},
                                     {"l", 0u},
                                     {"socket", 0u},
                                     {"regular", 0x8000u},
                                     {"", 0x8000u},
                                     {"D", 0x8000u}}) {
        const ft_node_t *status = ft_type_leaf(word);
        ASSERT_NE(status, nullptr);
        EXPECT_EQ(status->kind, 260);
        EXPECT_EQ(status->u.status.kind, kind) << word;
    }
    const ft_node_t *token = ft_token_leaf("token"), *command = ft_filecmd_leaf("command"), *text = ft_printable();
    EXPECT_EQ(token->kind, 262);
    EXPECT_STREQ(token->u.token.text, "token");
    EXPECT_EQ(command->kind, 263);
    EXPECT_STREQ(command->u.command.text, "command");
    EXPECT_EQ(command->u.command.length, 7u);
    EXPECT_EQ(text->kind, 265);
    EXPECT_EQ(ft_filecmd_regex_leaf("x"), nullptr);
}

TEST(FtBuilders, MakeMagicTests) {
    recording_sink sink;
    const ft_node_t *text = ft_magic_leaf(3, 0, 0, "abc"), *byte = ft_magic_leaf(511, 1, 0x1ff, nullptr),
                    *two = ft_magic_leaf(510, 2, 0x12345, nullptr),
                    *four = ft_magic_leaf(508, 4, 0x12345678, nullptr);
    EXPECT_EQ(text->kind, 261);
    EXPECT_EQ(text->u.magic.offset, 3u);
    EXPECT_EQ(text->u.magic.length, 3u);
    EXPECT_EQ(text->u.magic.is_text, 1);
    EXPECT_STREQ(text->u.magic.value.text, "abc");
    EXPECT_EQ(byte->u.magic.value.byte, 0xff);
    EXPECT_EQ(byte->u.magic.is_text, 0);
    EXPECT_EQ(two->u.magic.value.two, 0x2345);
    EXPECT_EQ(four->u.magic.value.four, 0x12345678u);
    EXPECT_EQ(told(sink), messages{});
    for (const auto &[offset, length] :
         {std::pair{512u, 1u}, {511u, 2u}, {509u, 4u}, {0xffffffffu, 1u}, {0xffffffffu, 4u}, {0u, 513u}, {1u, ~0u}}) {
        EXPECT_EQ(ft_magic_leaf(offset, length, 0, nullptr), nullptr);
        const messages all = told(sink);
        ASSERT_EQ(all.size(), 1u);
        EXPECT_EQ(all[0].severity, 4);
        EXPECT_EQ(all[0].index, 4u);
        EXPECT_TRUE(all[0].text.starts_with("Magic value beyond 512 bytes on line ")) << all[0];
    }
    EXPECT_NE(ft_magic_leaf(0, 0, 0, std::string(512, 'x').c_str()), nullptr);
    EXPECT_EQ(ft_magic_leaf(1, 0, 0, std::string(512, 'x').c_str()), nullptr);
}

TEST_F(FileType, ANumberOfAnotherLengthIsNeverDecided) {
    const std::string path = dir.write("f", std::string(16, '\0'));
    std::filesystem::create_directory(dir / "types");
    with([&] {
        auto holds = names({"holds"}), fails = names({"fails"}), last = names({"last"});
        ft_reg_def(holds.data(), ft_magic_leaf(0, 3, 0, nullptr));
        ft_reg_def(fails.data(), ft_not_node(ft_magic_leaf(0, 3, 0, nullptr)));
        ft_reg_def(last.data(), ft_magic_leaf(0, 4, 0, nullptr));
        EXPECT_EQ(type_of(path), "last");
    });
}

TEST(FtBuilders, RefuseNulls) {
    recording_sink sink;
    EXPECT_EQ(ft_name_leaf(nullptr), nullptr);
    EXPECT_EQ(ft_type_leaf(nullptr), nullptr);
    EXPECT_EQ(ft_magic_leaf(0, 0, 0, nullptr), nullptr);
    EXPECT_EQ(ft_token_leaf(nullptr), nullptr);
    EXPECT_EQ(ft_filecmd_leaf(nullptr), nullptr);
    EXPECT_EQ(ft_filecmd_regex_leaf(nullptr), nullptr);
    ft_reg_def(nullptr, nullptr);
    EXPECT_NE(ft_or_node(nullptr, nullptr), nullptr);
    EXPECT_NE(ft_and_node(nullptr, nullptr), nullptr);
    EXPECT_NE(ft_not_node(nullptr), nullptr);
    EXPECT_EQ(told(sink), messages{});
}

// ---- refused memory

TEST(FtBuilders, SayThatThereIsNoMemory) {
    const std::function<const void *()> builders[] = {[] { return ft_or_node(nullptr, nullptr); },
                                                      [] { return ft_and_node(nullptr, nullptr); },
                                                      [] { return ft_not_node(nullptr); },
                                                      [] { return ft_name_leaf("plain"); },
                                                      [] { return ft_name_leaf("*.wild"); },
                                                      [] { return ft_type_leaf("d"); },
                                                      [] { return ft_magic_leaf(0, 4, 1, nullptr); },
                                                      [] { return ft_magic_leaf(0, 0, 0, "x"); },
                                                      [] { return ft_token_leaf("x"); },
                                                      [] { return ft_filecmd_leaf("x"); },
                                                      [] { return ft_printable(); }};
    for (size_t i = 0; i < std::size(builders); i++) {
        recording_sink sink;
        // So many that the area grows.
        const int refused = faults::each_allocation([&](int n, bool lasting) {
            size_t missing = 0;
            for (int nodes = 0; nodes < 3000; nodes++) missing += builders[i]() == nullptr;
            const faults::suspend unrefused;
            const messages all = sink.take();
            EXPECT_EQ(all.size(), missing) << i << ' ' << n;
            if (!lasting) {
                EXPECT_LE(missing, 1u) << i << ' ' << n;
            }
            for (const recorded_message &one : all) {
                EXPECT_EQ(one.severity, IMSG_ERROR);
                EXPECT_NE(one.text.find("allocate memory"), std::string::npos) << one;
            }
        });
        EXPECT_GE(refused, 1) << i;
        EXPECT_NE(builders[i](), nullptr) << i;
        EXPECT_TRUE(sink.empty());
    }
}

TEST_F(FileType, ADefinitionThatFindsNoMemoryIsNotThere) {
    std::filesystem::create_directory(dir / "types");
    with([] {
        recording_sink sink;
        auto mine = names({"mine"}), last = names({"last"});
        ft_node_t *const rule = ft_name_leaf("x");
        const int refused = faults::each_allocation([&](int n, bool lasting) {
            for (int i = 0; i < 3000; i++) ft_reg_def(mine.data(), rule);
            const faults::suspend unrefused;
            const messages all = sink.take();
            if (!lasting) {
                EXPECT_LE(all.size(), 1u) << n;
            }
            for (const recorded_message &one : all)
                EXPECT_NE(one.text.find("allocate memory"), std::string::npos) << one;
        });
        EXPECT_GE(refused, 1);
        ft_reg_def(last.data(), ft_name_leaf("y"));
        EXPECT_EQ(type_of("x"), "mine");
        EXPECT_EQ(type_of("y"), "last") << "the list is whole";
        EXPECT_TRUE(sink.empty());
    });
}

TEST_F(FileType, AQueryWithoutMemoryForNewDefinitionsFailsAndTheNextSucceeds) {
    write("a.magic", "a: -n \"a\";\n");
    with([] {
        EXPECT_EQ(type_of("a"), "a");
        recording_sink sink;
        auto mine = names({"mine"});
        const int refused = faults::each_allocation([&](int n, bool) {
            {
                const faults::suspend unrefused;
                ft_reg_def(mine.data(), ft_name_leaf("*.x"));
            }
            const char *const *found = untouched;
            const int result = tbs_file_type("f.x", TBS_FT_NOT_OPEN, nullptr, &found);
            const faults::suspend unrefused;
            const messages all = sink.take();
            EXPECT_EQ(result == -1, all.size() == 1) << n;
            EXPECT_EQ(first_name(result, found), result == -1 ? "" : "mine") << n;
            EXPECT_EQ(type_of("f.x"), "mine") << n;
            EXPECT_EQ(type_of("a"), "a") << n;
        });
        EXPECT_GE(refused, 1);
    });
}

TEST_F(FileType, ALoadWithoutMemoryFailsAndTheNextSucceeds) {
    write("a.magic", "a b: -n \"*.x\" | !-s d & -t \"needle\";\nbad;\nc: -m 0,\"te\" & -p;\n");
    write("b.magic",
          "d: -n \"f\" & -f \"x\";\ndeep: " + std::string(300, '(') + "-n \"deep\"" + std::string(300, ')') + ";\n");
    const std::string path = dir.write("f", "text");
    bool went_well = false;
    int n = 0;
    for (n = 1; !went_well && n < 2000; n++) {
        for (const bool lasting : {false, true}) {
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                const scoped_env search("MAGIC_PATH", dir / "types");
                recording_sink sink;
                bool happened = false;
                const char *const *found = untouched;
                int result = 0;
                {
                    const faults::refuse refused(n, lasting);
                    result = tbs_file_type(path.c_str(), TBS_FT_NOT_OPEN, nullptr, &found);
                    happened = refused.happened();
                }
                const messages all = sink.take();
                if (result == -1) {
                    EXPECT_EQ(found, untouched);
                    EXPECT_FALSE(all.empty()) << "silent without memory " << n;
                    EXPECT_EQ(type_of(path), "c") << n;
                    EXPECT_EQ(path_or_none(), dir / "types");
                    EXPECT_EQ(type_of("a.x"), "a");
                    EXPECT_EQ(type_of("deep"), "deep");
                } else {
                    EXPECT_EQ(first_name(result, found), "c") << n;
                }
                std::exit(testing::Test::HasFailure() ? 1 : happened ? 0 : 7);
            }
            int status = -1;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status)) << n;
            went_well = WEXITSTATUS(status) == 7;
            if (!went_well) {
                ASSERT_EQ(WEXITSTATUS(status), 0) << "allocation " << n << (lasting ? " and all behind it" : "");
            }
        }
    }
    EXPECT_TRUE(went_well);
    EXPECT_GT(n, 10);
}

TEST_F(FileType, ALoadWithoutAStorageAreaFails) {
    write("a.magic", "a: -n \"*\";\n");
    with([&] {
        recording_sink sink;
        const recorded_message no_area = general(40, 6, "Unable to create storage (stg) area.\n");
        int seen = 0;
        for (int n = 1; n < 1000; n++) {
            const char *path = nullptr;
            {
                const faults::refuse refused(n, false);
                path = tbs_file_type_path();
            }
            const messages all = told(sink);
            seen += all == messages{no_area};
            if (path) break;
            EXPECT_EQ(all.size(), 1u) << n;
        }
        EXPECT_EQ(seen, 1);
        EXPECT_EQ(type_of("f"), "a");
    });
}

TEST_F(FileType, PathWithoutMemoryIsNone) {
    write("a.magic", "a: -n \"*\";\n");
    const std::string path = dir / "types";
    with([&] {
        recording_sink sink;
        const int refused = faults::each_allocation([&](int n, bool) {
            const char *got = tbs_file_type_path();
            const faults::suspend unrefused;
            if (got) {
                EXPECT_EQ(got, path) << n;
            }
        });
        EXPECT_GE(refused, 1);
        EXPECT_EQ(path_or_none(), path);
        EXPECT_EQ(type_of("f"), "a");
    });
}

} // namespace
