#include "ks/ks_imsg.h"
#include "support/env.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"
#include "tbs/tbs_msg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr char announcement[] =
    "INTERNAL ERROR detected and logged with the NT Event Service.\nSee the Event Viewer for the error message.\n";

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

class TbsLog : public testing::Test {
protected:
    void log_error(imsg_log_t **log = nullptr, const char *path = "a.acl") {
        tbs_log_int_error("tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 18, "lib/tbs/tbs_acl", 42, log, path, "no luck");
    }
    std::string error_log() const { return dir_.read("log/error_log"); }
    std::string access_log() const { return dir_.read("log/access_log"); }

    temp_dir dir_;
    scoped_env hostdata_{"ORSIK_HOSTDATA_DIR", dir_.str()};
    recording_sink sink_;
};

TEST_F(TbsLog, IntErrorTellsTheUserAndLogsTheRest) {
    log_error();
    const std::vector<recorded_message> seen = sink_.messages();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], (recorded_message{IMSG_ERROR, "tbs_acl", tbs_tbs_msg_table_adr(), 17, announcement}));

    const std::vector<std::string> records = lines_of(error_log());
    ASSERT_EQ(records.size(), 2u);
    EXPECT_TRUE(records[0].ends_with(" 35 0 Internal Error detected in \"lib/tbs/tbs_acl\" line 42")) << records[0];
    EXPECT_TRUE(records[1].ends_with(" tbs_acl 19 6 Unable to open file \"a.acl\": no luck.")) << records[1];
    const std::regex time(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z .*)");
    for (const std::string &record : records) EXPECT_TRUE(std::regex_match(record, time)) << record;
}

TEST_F(TbsLog, IntErrorWithoutAHandleClosesTheLog) {
    log_error();
    imsg_print(IMSG_ERROR, "after\n", IMSG_LITERAL);
    EXPECT_EQ(sink_.messages().back().text, "after\n");
    EXPECT_EQ(error_log().find("after"), std::string::npos);
}

TEST_F(TbsLog, IntErrorWithAHandleLeavesTheLogOpen) {
    imsg_log_t *log = nullptr;
    log_error(&log);
    EXPECT_NE(log, nullptr);
    imsg_print(IMSG_ERROR, "more about it\n", IMSG_LITERAL);
    imsg_end_log();
    imsg_print(IMSG_ERROR, "after\n", IMSG_LITERAL);
    EXPECT_NE(error_log().find("more about it\n"), std::string::npos);
    EXPECT_EQ(error_log().find("after"), std::string::npos);
    EXPECT_EQ(sink_.count(), 2u);
}

TEST_F(TbsLog, IntErrorTakesALiteralFormat) {
    tbs_log_int_error("tbs_acl", "%d is not %s\n", IMSG_LITERAL, "source", 1, nullptr, 7, "eight");
    EXPECT_NE(error_log().find("7 is not eight\n"), std::string::npos);
}

TEST_F(TbsLog, RecordsCarryThePublishedNumberAndNoMarks) {
    imsg_log_t *log = nullptr;
    tbs_log_int_error("tbs_acl", tbs_acl_tbs_msg_table_adr(), 5, "source", 1, &log, "who", 8);
    imsg_print(IMSG_ERROR, tbs_acl_tbs_msg_table_adr(), 6, "Full");
    imsg_print(IMSG_PLAIN, tbs_tbs_msg_table_adr(), 35);
    imsg_print(IMSG_ERROR, tbs_tbs_msg_table_adr(), 0);
    imsg_end_log();
    const std::vector<std::string> records = lines_of(error_log());
    ASSERT_EQ(records.size(), 5u);
    EXPECT_TRUE(records[1].ends_with(" tbs_acl 6 6 who: Problem decoding (possibly corrupt) ACL at or around byte "
                                     "offset 8"));
    EXPECT_TRUE(records[2].ends_with(" tbs_acl 8 6 Excluded ACL permission specified: \"Full\"."));
    EXPECT_TRUE(records[3].ends_with(" tbs 39 0 Testfixes detected:"));
    EXPECT_TRUE(records[4].ends_with(" tbs 1 6 This product is not installed correctly."));
}

TEST_F(TbsLog, NullsAndUnknownIndexesPrintNothingMore) {
    tbs_log_int_error(nullptr, nullptr, 0, nullptr, 0, nullptr);
    tbs_log_int_error("tbs", tbs_acl_tbs_msg_table_adr(), 30, "source", 1, nullptr);
    EXPECT_EQ(sink_.count(), 2u);
    EXPECT_EQ(lines_of(error_log()).size(), 2u);
    tbs_log_access_failure(nullptr, nullptr, 0);
    tbs_log_access_failure(nullptr, nullptr, IMSG_LITERAL);
    EXPECT_EQ(access_log(), "");
    EXPECT_EQ(sink_.count(), 2u);
}

TEST_F(TbsLog, RecordsAreAppended) {
    log_error();
    log_error();
    EXPECT_EQ(lines_of(error_log()).size(), 4u);
}

TEST_F(TbsLog, InsertedTextsCannotForgeARecord) {
    log_error(nullptr, "a\n2026-01-01T00:00:00.000000Z forged");
    EXPECT_EQ(lines_of(error_log()).size(), 2u);
    EXPECT_NE(error_log().find("a^J2026"), std::string::npos);
}

TEST_F(TbsLog, AccessFailureIsLoggedUnderItsCategory) {
    imsg_nt_set_category("server");
    tbs_log_access_failure("tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 25, "x", "denied");
    EXPECT_STREQ(imsg_get_app_name(), "server");
    imsg_nt_set_category(nullptr);
    EXPECT_TRUE(sink_.empty());
    const std::vector<std::string> records = lines_of(access_log());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_TRUE(records[0].ends_with(" access tbs_acl 26 6 Unable to access \"x\": denied.")) << records[0];
    imsg_print(IMSG_ERROR, "after\n", IMSG_LITERAL);
    EXPECT_EQ(sink_.count(), 1u);
}

TEST_F(TbsLog, WhatCannotBeLoggedIsPrinted) {
    dir_.write("log", "a file where the directory belongs");
    log_error();
    const std::vector<recorded_message> seen = sink_.take();
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0].text, announcement);
    EXPECT_EQ(seen[1], (recorded_message{IMSG_PLAIN, "tbs", tbs_cmsg_tbs_msg_table_adr(), 34,
                                         "Internal Error detected in \"lib/tbs/tbs_acl\" line 42\n"}));
    EXPECT_EQ(seen[2], (recorded_message{IMSG_ERROR, "tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 18,
                                         "Unable to open file \"a.acl\": no luck.\n"}));
    tbs_log_access_failure("tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 25, "x", "denied");
    EXPECT_EQ(sink_.text(), "Unable to access \"x\": denied.\n");
}

TEST_F(TbsLog, AFailedLogWithAHandleGivesNullAndIsEndedAllTheSame) {
    dir_.write("log", "a file where the directory belongs");
    imsg_log_t *log = reinterpret_cast<imsg_log_t *>(this);
    log_error(&log);
    EXPECT_EQ(log, nullptr);
    imsg_end_log();
    sink_.clear();
    imsg_print(IMSG_ERROR, "after\n", IMSG_LITERAL);
    EXPECT_EQ(sink_.text(), "after\n");
}

TEST_F(TbsLog, ALinkInPlaceOfTheLogIsNotFollowed) {
    const std::string victim = dir_.write("victim", "untouched");
    std::filesystem::create_directory(dir_ / "log");
    std::filesystem::create_symlink(victim, dir_ / "log/error_log");
    log_error();
    EXPECT_EQ(dir_.read("victim"), "untouched");
    EXPECT_EQ(sink_.count(), 3u);
}

TEST_F(TbsLog, APathThatHadToBeCutOpensNoLog) {
    std::string deep = dir_.str();
    while (deep.size() < 1010) deep += '/' + std::string(std::min<size_t>(100, 1010 - deep.size()), 'd');
    std::filesystem::create_directories(deep + "/log");
    const scoped_env longer("ORSIK_HOSTDATA_DIR", deep);
    log_error();
    EXPECT_EQ(sink_.take().size(), 3u);
    tbs_log_access_failure("tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 25, "x", "denied");
    EXPECT_EQ(sink_.text(), "Unable to access \"x\": denied.\n");
    EXPECT_TRUE(std::filesystem::is_empty(deep + "/log"));
}

TEST_F(TbsLog, ALogInsideALogEndsBeforeIt) {
    imsg_log_t *outer = nullptr;
    log_error(&outer);
    tbs_log_access_failure("tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 25, "x", "denied");
    imsg_print(IMSG_PLAIN, "outer again\n", IMSG_LITERAL);
    imsg_end_log();
    EXPECT_NE(error_log().find("outer again"), std::string::npos);
    EXPECT_EQ(access_log().find("outer again"), std::string::npos);
    EXPECT_EQ(lines_of(access_log()).size(), 1u);
}

std::vector<bool> blocked_now() {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    std::vector<bool> blocked;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) blocked.push_back(sigismember(&mask, signal) == 1);
    return blocked;
}

// A sink that looks at the signal mask at each message, while a failed log sends the records to it.
void look_at_signals(void *context, int, const char *, const imsg_table_t *, uint32_t, const char *) {
    static_cast<std::vector<std::vector<bool>> *>(context)->push_back(blocked_now());
}

TEST_F(TbsLog, SignalsAreHeldBackWhileALogIsOpen) {
    dir_.write("log", "a file where the directory belongs");
    std::vector<std::vector<bool>> seen;
    imsg_set_sink(look_at_signals, &seen);
    log_error();
    tbs_log_access_failure("tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 25, "x", "denied");
    imsg_set_sink(nullptr, nullptr);
    const std::vector<bool> none(4, false), all(4, true);
    EXPECT_EQ(seen, (std::vector<std::vector<bool>>{none, all, all, all}));
    EXPECT_EQ(blocked_now(), none);
}

TEST_F(TbsLog, ThreadsLogWithoutMixing) {
    constexpr int threads = 4, rounds = 25;
    std::vector<std::thread> all;
    for (int i = 0; i < threads; i++) {
        all.emplace_back([this, i] {
            for (int round = 0; round < rounds; round++) {
                if (i % 2) {
                    log_error();
                } else {
                    tbs_log_access_failure("tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 25, "x", "denied");
                }
            }
        });
    }
    for (std::thread &thread : all) thread.join();
    EXPECT_EQ(lines_of(error_log()).size(), size_t{threads / 2 * rounds * 2});
    EXPECT_EQ(lines_of(access_log()).size(), size_t{threads / 2 * rounds});
    EXPECT_EQ(sink_.count(), size_t{threads / 2 * rounds});
}

} // namespace
