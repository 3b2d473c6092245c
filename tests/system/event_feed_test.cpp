// The example event feed: the server as a process, its client as a process.
#include "system/server_process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using tool_test::lines_of;
using tool_test::outcome;

class feed {
public:
    explicit feed(const std::string &count)
        : process_({ORSIK_BINARY_DIR "/examples/event_feed_server", count}, dir_ / "stderr") {
        unsigned port = 0;
        if (std::sscanf(process_.line().c_str(), "tcp %u\n", &port) != 1) {
            throw std::runtime_error("the server did not start: " + dir_.read("stderr"));
        }
        port_ = std::to_string(port);
    }
    outcome ask(std::vector<std::string> words = {}) const {
        words.insert(words.begin(), {ORSIK_BINARY_DIR "/examples/event_feed_client", port_});
        return tool_test::run_program(words);
    }
    int end() { return process_.end(); }

private:
    temp_dir dir_;
    server_process process_;
    std::string port_;
};

TEST(EventFeed, HandsOutEntriesWithEventsAndConfigurationRecords) {
    feed server("3");
    const outcome run = server.ask();
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "1 2023-11-14T22:14:20Z mira checked in src/part1.c: change 1\n"
                       "2 2023-11-14T22:15:20Z mira checked in src/part2.c: change 2\n"
                       "3 2023-11-14T22:16:20Z builder made part3.o\n"
                       "  built by \"cc -O2 -c src/part3.c\" of 1 object\n"
                       "3 entries in 1 batches\n");
}

TEST(EventFeed, HandsThemOutInBatches) {
    feed server("500");
    const outcome all = server.ask();
    EXPECT_EQ(lines_of(all.out).back(), "500 entries in 8 batches") << "of at most 64";
    const outcome few = server.ask({"490", "3"});
    EXPECT_EQ(lines_of(few.out).back(), "10 entries in 4 batches");
    EXPECT_THAT(few.out, StartsWith("491 "));
    EXPECT_EQ(lines_of(server.ask({"500"}).out).back(), "0 entries in 0 batches");
    EXPECT_EQ(lines_of(server.ask({"4000000000"}).out).back(), "0 entries in 0 batches");
}

TEST(EventFeed, ServesAnEmptyLogAndEnds) {
    feed server("0");
    EXPECT_EQ(server.ask().out, "0 entries in 0 batches\n");
    EXPECT_EQ(server.ask({"stop"}).status, 0);
    EXPECT_EQ(server.end(), 0);
    const outcome late = server.ask();
    EXPECT_EQ(late.status, 2);
    EXPECT_THAT(late.err, HasSubstr("event_feed_client"));
}

TEST(EventFeed, RefusesBadArguments) {
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{}, {"70000"}, {"x"}, {"1", "2", "3", "4"}}) {
        std::vector<std::string> all{ORSIK_BINARY_DIR "/examples/event_feed_client"};
        all.insert(all.end(), words.begin(), words.end());
        EXPECT_EQ(tool_test::run_program(all).status, 2);
    }
    EXPECT_EQ(tool_test::run_program({ORSIK_BINARY_DIR "/examples/event_feed_server"}).status, 1);
    EXPECT_EQ(tool_test::run_program({ORSIK_BINARY_DIR "/examples/event_feed_server", "100001"}).status, 1);
}

} // namespace
