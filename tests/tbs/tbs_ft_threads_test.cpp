// Many threads ask for types of files at once, from before the type files are loaded. Meant for ThreadSanitizer too.

#include "support/all_threads.hpp"
#include "support/env.hpp"
#include "support/new_process.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>
#include <tbs/tbs_ft.h>

#include <cstdlib>
#include <latch>
#include <string>
#include <vector>

namespace {

constexpr int thread_count = 8;
constexpr int queries = 10000;

class FileTypeThreads : public testing::Test {
protected:
    FileTypeThreads() {
        std::string text = "directory: -s d;\nscript shell: -m 0,\"#!\";\n";
        for (int i = 0; i < 200; i++) {
            const std::string number = std::to_string(i);
            text += "t" + number + ": -n \"*.e" + number + "\" | -n \"n" + number + "*\" & !-t \"none\";\n";
        }
        dir.write("types/a.magic", text + "needle: -t \"needle\";\n");
        dir.write("types/b.magic", "text: -p;\nother: -n \"*\";\n");
        paths = {dir.str(),
                 dir.write("script", "#!/bin/sh\n"),
                 dir.write("found", "some needle"),
                 dir.write("text", "plain\n"),
                 dir.write("binary", "\x01\x02"),
                 dir.write("empty", ""),
                 dir / "none",
                 dir / "none.e199",
                 dir.write("x.e7", "#!"),
                 dir.write("n77.c", "x"),
                 "/dev/null"};
    }
    // What one thread gets.
    static std::string type_of(const std::string &path, int fd = TBS_FT_NOT_OPEN) {
        const char *const *names = nullptr;
        if (tbs_file_type(path.c_str(), fd, nullptr, &names) != 0) return "";
        std::string all;
        for (; *names; names++) all += *names + std::string(" ");
        return all;
    }

    temp_dir dir;
    std::vector<std::string> paths;
};

TEST_F(FileTypeThreads, EachGetsWhatOneGets) {
    const scoped_env search("MAGIC_PATH", dir / "types");
    const std::vector<std::string> expected = {"directory ",    "script shell ", "needle ", "text ",
                                               "other ",        "text ",         "other ",  "t199 ",
                                               "script shell ", "t7 ",           "other "};
    ASSERT_EQ(paths.size(), expected.size());
    in_new_process([&] {
        int wrong[thread_count] = {};
        on_all_threads(thread_count, [&](int number) {
            for (int i = 0; i < queries; i++) {
                const size_t which = static_cast<size_t>(i + number) % paths.size();
                wrong[number] += type_of(paths[which]) != expected[which];
            }
        });
        for (const int count : wrong) EXPECT_EQ(count, 0);
        for (size_t i = 0; i < paths.size(); i++) EXPECT_EQ(type_of(paths[i]), expected[i]) << paths[i];
    });
}

TEST_F(FileTypeThreads, NamesAreTheSameArrayForAll) {
    const scoped_env search("MAGIC_PATH", dir / "types");
    in_new_process([&] {
        const char *const *got[thread_count] = {};
        on_all_threads(thread_count,
                       [&](int number) { tbs_file_type(paths[1].c_str(), TBS_FT_NOT_OPEN, nullptr, &got[number]); });
        ASSERT_NE(got[0], nullptr);
        for (const char *const *one : got) EXPECT_EQ(one, got[0]);
    });
}

TEST_F(FileTypeThreads, EachHasAPathOfItsOwn) {
    const scoped_env search("MAGIC_PATH", dir / "types");
    const std::string expected = dir / "types";
    in_new_process([&] {
        const char *seen[thread_count] = {};
        int wrong[thread_count] = {};
        std::latch done(thread_count);
        on_all_threads(thread_count, [&](int number) {
            seen[number] = tbs_file_type_path();
            for (int i = 0; i < 1000; i++) {
                const char *path = tbs_file_type_path();
                wrong[number] += path != seen[number] || !path || expected != path;
                if (i % 10 == number) wrong[number] += type_of(paths[3]) != "text ";
            }
            done.arrive_and_wait(); // none has ended, so that no place is used twice
        });
        for (int i = 0; i < thread_count; i++) {
            EXPECT_EQ(wrong[i], 0);
            for (int j = 0; j < i; j++) EXPECT_NE(seen[i], seen[j]);
        }
    });
}

TEST_F(FileTypeThreads, DefinitionsMayBeAddedMeanwhile) {
    const scoped_env search("MAGIC_PATH", dir / "types");
    in_new_process([&] {
        int wrong[thread_count] = {};
        static char name[] = "added";
        on_all_threads(thread_count, [&](int number) {
            for (int i = 0; i < 50; i++) {
                if (number == 0) {
                    char *names[] = {name, nullptr};
                    ft_reg_def(names, ft_and_node(ft_name_leaf("nothing is called so"), ft_printable()));
                }
                wrong[number] += type_of(paths[3]) != "text ";
            }
        });
        for (const int count : wrong) EXPECT_EQ(count, 0);
    });
}

TEST_F(FileTypeThreads, FailedLoadsAreTriedByAll) {
    const scoped_env search("MAGIC_PATH", "/" + std::string(6000, 'x'));
    in_new_process([&] {
        int answered[thread_count] = {};
        on_all_threads(thread_count, [&](int number) {
            for (int i = 0; i < 5; i++)
                answered[number] += tbs_file_type_path() != nullptr || !type_of(paths[3]).empty();
        });
        for (const int count : answered) EXPECT_EQ(count, 0);
        setenv("MAGIC_PATH", (dir / "types").c_str(), 1);
        on_all_threads(thread_count, [&](int number) { answered[number] += type_of(paths[3]) == "text "; });
        for (const int count : answered) EXPECT_EQ(count, 1);
    });
}

} // namespace
