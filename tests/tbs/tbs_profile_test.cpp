// The profile is loaded once in each process: every case is a process of its
// own.
#include "tbs/tbs_profile.h"

#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/new_process.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

class Profile : public testing::Test {
protected:
    void with(const std::string &content, const std::function<void()> &body) {
        write(content);
        in_new_process(body);
    }
    void write(const std::string &content) { dir.write("profile", content); }

    static std::string look_up(const char *command, const char *name) {
        const char *value = "(untouched)";
        const int found = tbs_check_profile(command, name, &value);
        if (!found) return std::string("none ") + value;
        return value ? value : "(null)";
    }
    static std::string none() { return "none (untouched)"; }

    const temp_dir dir;
    const std::string path = dir / "profile";
    const scoped_env variable{"TESSIVANE_PROFILE", path};
};

struct many {
    int position;
    const char *value;
};
many look_up_many(const char *command, std::vector<const char *> names) {
    many found{0, "(untouched)"};
    found.position = tbs_multi_check_profile(command, names.data(), static_cast<int>(names.size()), &found.value);
    return found;
}

} // namespace

// ---- look-ups

TEST_F(Profile, GivesTheFirstEntryForTheCommandOrAll) {
    with("checkout reserved no\n* reserved yes\ncheckout reserved later\n* "
         "editor vi\nmkview editor ed\n",
         [] {
             EXPECT_EQ(look_up("checkout", "reserved"), "no");
             EXPECT_EQ(look_up("mkview", "reserved"), "yes");
             EXPECT_EQ(look_up("mkview", "editor"), "vi");
             EXPECT_EQ(look_up("mkview", "none"), none());
             EXPECT_EQ(look_up("*", "editor"), "vi");
         });
}

TEST_F(Profile, ComparesExactly) {
    with("checkout reserved no\n", [] {
        EXPECT_EQ(look_up("Checkout", "reserved"), none());
        EXPECT_EQ(look_up("checkout", "Reserved"), none());
        EXPECT_EQ(look_up("check", "reserved"), none());
        EXPECT_EQ(look_up("", ""), none());
    });
}

TEST_F(Profile, GivesNullForAnEntryWithoutValue) {
    with("a b\na c   \na d #value\na e x\n", [] {
        EXPECT_EQ(look_up("a", "b"), "(null)");
        EXPECT_EQ(look_up("a", "c"), "(null)");
        EXPECT_EQ(look_up("a", "d"), "(null)");
        EXPECT_EQ(look_up("a", "e"), "x");
    });
}

TEST_F(Profile, TakesTheRestOfTheLineAsTheValue) {
    with("a b  one  two \t three \t \na c x#y\n", [] {
        EXPECT_EQ(look_up("a", "b"), "one  two   three");
        EXPECT_EQ(look_up("a", "c"), "x");
    });
}

TEST_F(Profile, GivesThePositionOfTheNameOfTheFirstEntryThatHasAny) {
    with("x other 0\nmkview tag 1\n* host 2\nmkview host 3\n", [] {
        many found = look_up_many("mkview", {"none", "host", "tag"});
        EXPECT_EQ(found.position, 2);
        EXPECT_STREQ(found.value, "1");
        found = look_up_many("mkview", {"host"});
        EXPECT_EQ(found.position, 0);
        EXPECT_STREQ(found.value, "2");
        found = look_up_many("mkview", {nullptr, "host", "host"});
        EXPECT_EQ(found.position, 1);
        found = look_up_many("mkview", {"other"});
        EXPECT_EQ(found.position, -1);
        EXPECT_STREQ(found.value, "(untouched)");
        EXPECT_EQ(look_up_many("mkview", {}).position, -1);
        const char *value = nullptr, *name = "tag";
        EXPECT_EQ(tbs_multi_check_profile("mkview", &name, -1, &value), -1);
    });
}

TEST_F(Profile, StandsNulls) {
    with("a b c\n", [] {
        const char *value = nullptr, *names[] = {"b"};
        EXPECT_EQ(tbs_check_profile(nullptr, "b", &value), 0);
        EXPECT_EQ(tbs_check_profile("a", nullptr, &value), 0);
        EXPECT_EQ(tbs_check_profile("a", "b", nullptr), 0);
        EXPECT_EQ(tbs_multi_check_profile(nullptr, names, 1, &value), -1);
        EXPECT_EQ(tbs_multi_check_profile("a", nullptr, 1, &value), -1);
        EXPECT_EQ(tbs_multi_check_profile("a", names, 1, nullptr), -1);
    });
}

// ---- lines

TEST_F(Profile, SkipsCommentsAndEmptyLines) {
    with("# a b 1\n\n   \t \n  # x\na\tb\t2\r\n\t a  c 3# four\n", [] {
        EXPECT_EQ(look_up("a", "b"), "2");
        EXPECT_EQ(look_up("a", "c"), "3");
        EXPECT_EQ(look_up("#", "a"), none());
    });
}

TEST_F(Profile, ReadsALastLineWithoutLineEnd) {
    with("a b 1\na c 2", [] { EXPECT_EQ(look_up("a", "c"), "2"); });
}

TEST_F(Profile, ReadsLongLinesInPiecesOf254Characters) {
    // "a b " and 250 characters; then the next line begins.
    with("a b " + std::string(250, 'v') + "c d e\n", [] {
        EXPECT_EQ(look_up("a", "b"), std::string(250, 'v'));
        EXPECT_EQ(look_up("c", "d"), "e");
    });
}

TEST_F(Profile, ReadsThePiecesOfALongCommentAsLines) {
    with("#" + std::string(253, '-') + "a b c\n", [] { EXPECT_EQ(look_up("a", "b"), "c"); });
}

TEST_F(Profile, AnEmptyFileHasNoEntries) {
    with("", [] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), none());
        EXPECT_EQ(look_up_many("a", {"b"}).position, -1);
        EXPECT_TRUE(sink.empty());
    });
}

TEST_F(Profile, AFileWithoutEntriesIsReadOnceAsWell) {
    with("# nothing\n", [this] {
        EXPECT_EQ(look_up("a", "b"), none());
        write("a b 1\n");
        EXPECT_EQ(look_up("a", "b"), none());
    });
}

TEST_F(Profile, IsReadOnce) {
    with("a b old\n", [this] {
        EXPECT_EQ(look_up("a", "b"), "old");
        write("a b new\n");
        EXPECT_EQ(look_up("a", "b"), "old");
        ASSERT_EQ(unlink(path.c_str()), 0);
        EXPECT_EQ(look_up("a", "b"), "old");
    });
}

TEST_F(Profile, HoldsThousandsOfEntries) {
    std::string content;
    for (int i = 0; i < 5000; i++)
        content += "command name" + std::to_string(i) + " value" + std::to_string(i) + "\n";
    with(content, [] {
        for (const int i : {0, 11, 12, 13, 24, 4999}) {
            EXPECT_EQ(look_up("command", ("name" + std::to_string(i)).c_str()), "value" + std::to_string(i));
        }
    });
}

// ---- failures

TEST_F(Profile, ALineWithoutANameIsAnErrorNumberedByEntries) {
    with("# comment\n\na b 1\n# comment\na c 2\n\nlonely\na d 3\n", [this] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), none());
        const auto messages = sink.take();
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages[0].severity, IMSG_ERROR);
        EXPECT_EQ(messages[0].module, "tbs");
        EXPECT_EQ(messages[0].index, 13u);
        EXPECT_EQ(messages[0].text, "Profile file syntax error at line 3 in " + path + ".\n");
    });
}

TEST_F(Profile, AFailureIsNotRememberedAndTheSameIsSaidAgain) {
    with("a b 1\nlonely\n", [this] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), none());
        EXPECT_EQ(look_up_many("a", {"b"}).position, -1);
        const auto messages = sink.take();
        ASSERT_EQ(messages.size(), 2u);
        EXPECT_EQ(messages[0], messages[1]);
        write("a b 1\na c 2\n");
        EXPECT_EQ(look_up("a", "c"), "2");
        EXPECT_EQ(look_up("a", "b"), "1");
        EXPECT_TRUE(sink.empty());
    });
}

TEST_F(Profile, EntriesBeforeABadLineStay) {
    with("a b old\nlonely\n", [this] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), none());
        write("a b new\na c 2\n");
        EXPECT_EQ(look_up("a", "b"), "old");
        EXPECT_EQ(look_up("a", "c"), "2");
    });
}

TEST_F(Profile, NumbersTheEntriesOfTheFileThatIsRead) {
    with("a b 1\na c 2\nlonely\n", [this] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), none());
        write("x y z\nlonely\n");
        EXPECT_EQ(look_up("a", "b"), none());
        const auto messages = sink.take();
        ASSERT_EQ(messages.size(), 2u);
        EXPECT_THAT(messages[0].text, testing::HasSubstr("at line 3 in"));
        EXPECT_THAT(messages[1].text, testing::HasSubstr("at line 2 in"));
    });
}

TEST_F(Profile, AFileWithoutEntriesAnswersNothingEvenAfterAFailure) {
    with("a b 1\nlonely\n", [this] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), none());
        write("# nothing\n");
        EXPECT_EQ(look_up("a", "b"), none());
    });
}

TEST_F(Profile, KeepsACarriageReturnInsideALine) {
    with("a b x\ry\r\n", [] { EXPECT_EQ(look_up("a", "b"), "x\ry"); });
}

TEST_F(Profile, MayHaveAPathnameOf1024Characters) {
    std::string file = dir.write("far", "a b far\n");
    file.insert(dir.str().size(), 1024 - file.size(), '/'); // as many separators as one
    const scoped_env far("TESSIVANE_PROFILE", file);
    in_new_process([] { EXPECT_EQ(look_up("a", "b"), "far"); });
}

TEST_F(Profile, AFileThatIsNotThereIsTriedAgain) {
    in_new_process([this] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), none());
        EXPECT_EQ(look_up("a", "b"), none());
        EXPECT_TRUE(sink.empty());
        write("a b 1\n");
        EXPECT_EQ(look_up("a", "b"), "1");
    });
}

TEST_F(Profile, WhatIsNoFileIsNotRead) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    in_new_process([] { EXPECT_EQ(look_up("a", "b"), none()); });
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    in_new_process([] { EXPECT_EQ(look_up("a", "b"), none()); });
}

TEST_F(Profile, AFileThatEverybodyMayWriteToIsUsedWithAWarning) {
    write("a b 1\n");
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
    in_new_process([this] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), "1");
        EXPECT_EQ(look_up("a", "b"), "1");
        const auto messages = sink.take();
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages[0].severity, IMSG_WARNING);
        EXPECT_EQ(messages[0].text, "Everybody on this host may write to the file \"" + path + "\".\n");
    });
}

TEST_F(Profile, RefusedAllocationsLeaveItForTheNextTry) {
    with("a b 1\na c 2\n* d\n", [] {
        const int points = faults::each_allocation([](int, bool) {
            const char *value = nullptr;
            tbs_check_profile("a", "c", &value);
        });
        EXPECT_GT(points, 0);
        EXPECT_EQ(look_up("a", "b"), "1");
        EXPECT_EQ(look_up("a", "c"), "2");
        EXPECT_EQ(look_up("x", "d"), "(null)");
    });
}

// ---- where it is

TEST_F(Profile, LiesInTheHomeDirectoryWithoutTheVariable) {
    dir.write(".tessivane_profile", "a b home\n");
    for (const char *value : {static_cast<const char *>(nullptr), ""}) {
        const scoped_env unset("TESSIVANE_PROFILE", value), home("HOME", dir.str());
        in_new_process([] { EXPECT_EQ(look_up("a", "b"), "home"); });
    }
}

TEST_F(Profile, IsNamedInTheHomeDirectoryWhenALineIsWrong) {
    dir.write(".tessivane_profile", "lonely\n");
    const scoped_env unset("TESSIVANE_PROFILE", nullptr), home("HOME", dir.str());
    in_new_process([this] {
        recording_sink sink;
        EXPECT_EQ(look_up("a", "b"), none());
        EXPECT_EQ(sink.text(), "Profile file syntax error at line 1 in " + dir.str() + "\\.tessivane_profile.\n");
    });
}

TEST_F(Profile, IsNotAnotherFileWhenTheNameIsTooLong) {
    dir.write(".tessivane_profile", "a b home\n");
    const scoped_env too_long("TESSIVANE_PROFILE", std::string(1025, '/')), home("HOME", dir.str());
    in_new_process([] { EXPECT_EQ(look_up("a", "b"), none()); });
}

// ---- threads

TEST_F(Profile, IsLoadedOnceByThreadsThatAskTogether) {
    std::string content;
    for (int i = 0; i < 500; i++) content += "a n" + std::to_string(i) + " v\n";
    content += "a last 1\n";
    with(content, [] {
        std::atomic<int> found = 0;
        std::atomic<const char *> first = nullptr;
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; i++) {
            threads.emplace_back([&] {
                const char *value = nullptr, *expected = nullptr;
                if (tbs_check_profile("a", "last", &value) != 1) return;
                if (first.compare_exchange_strong(expected, value) || expected == value) found++;
            });
        }
        for (std::thread &one : threads) one.join();
        EXPECT_EQ(found, 8);
    });
}
