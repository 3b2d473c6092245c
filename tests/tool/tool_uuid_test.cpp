// tbs uuid: identifiers made and read.
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

using namespace tool_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

constexpr const char *time_based = "12345678.9abc1def.8a12.00:11:22:33:44:55";
constexpr const char *time_based_dense = "123456789abc1def8a12001122334455";

outcome run_on_input(const std::string &command, const std::string &input) {
    const temp_dir dir;
    dir.write("input", input);
    return run_program({"/bin/sh", "-c", std::string(TBS_TOOL_PATH) + ' ' + command + " < " + (dir / "input")});
}

} // namespace

TEST(UuidNew, MakesAsManyDifferentOnesAsAreAskedFor) {
    const outcome run = run_tool({"uuid", "new", "--count", "100"});
    EXPECT_EQ(run.status, 0);
    const std::vector<std::string> lines = lines_of(run.out);
    EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), 100u);
    const char *random = "[0-9a-f]{8}\\.[0-9a-f]{4}4[0-9a-f]{3}\\.[89ab][0-9a-f]{3}\\.[0-9a-f]{2}(:[0-9a-f]{2}){5}";
    for (const std::string &line : lines) EXPECT_THAT(line, MatchesRegex(random));
}

TEST(UuidNew, WritesDigitsOnlyWhenDense) {
    const outcome run = run_tool({"uuid", "new", "--dense"});
    EXPECT_THAT(run.out, MatchesRegex("[0-9a-f]{12}4[0-9a-f]{3}[89ab][0-9a-f]{15}\n"));
}

TEST(UuidNew, AnswersInJson) {
    const json answer = run_tool({"uuid", "new", "-n", "3", "--json"}).parsed();
    EXPECT_EQ(answer["identifiers"].size(), 3u);
    EXPECT_EQ(answer["exit_status"], 0);
}

TEST(UuidNew, RefusesCountsOutOfRange) {
    for (const char *count : {"0", "1000001", "-1", "many"}) {
        EXPECT_EQ(run_tool({"uuid", "new", "--count", count}).status, 2) << count;
    }
}

TEST(UuidShow, TellsAllThatIsInAnIdentifierOfEitherForm) {
    const json expected = {{"dotted", time_based},
                           {"dense", time_based_dense},
                           {"variant", "standard"},
                           {"version", 1},
                           {"clock_seq", "8a12"},
                           {"node", "00:11:22:33:44:55"},
                           {"made", "2042-11-25T03:18:18Z"},
                           {"hash", "1bc4f27f"}};
    for (const char *text : {time_based, time_based_dense}) {
        EXPECT_EQ(run_tool({"uuid", "show", "--json", text}).parsed()["identifiers"], json::array({expected}))
            << text;
    }
}

TEST(UuidShow, PutsAnEmptyLineBetweenIdentifiers) {
    const outcome run = run_tool({"uuid", "show", time_based, time_based_dense});
    const std::vector<std::string> lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 17u);
    EXPECT_EQ(lines[0], std::string("dotted            ") + time_based);
    EXPECT_EQ(lines[8], "");
    EXPECT_EQ(lines[9], lines[0]);
}

TEST(UuidShow, NamesTheVariantByItsTopBits) {
    const auto variant = [](const char *clock) {
        const std::string text = std::string("123456789abc1def") + clock + "12001122334455";
        return run_tool({"uuid", "show", "--json", text}).parsed()["identifiers"][0]["variant"];
    };
    EXPECT_EQ(variant("7f"), "reserved for old systems");
    EXPECT_EQ(variant("80"), "standard");
    EXPECT_EQ(variant("bf"), "standard");
    EXPECT_EQ(variant("c0"), "reserved for another system");
    EXPECT_EQ(variant("e0"), "unknown");
}

TEST(UuidShow, KnowsTheIdentifierOfNothing) {
    const json shown = run_tool({"uuid", "show", "--json", std::string(32, '0')}).parsed()["identifiers"][0];
    EXPECT_EQ(shown["variant"], "null");
    EXPECT_EQ(shown["hash"], "00000000");
    EXPECT_TRUE(shown["made"].is_null());
}

TEST(UuidHash, TellsTheHashOfEach) {
    const outcome run = run_tool({"uuid", "hash", time_based_dense, std::string(32, '0')});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(lines_of(run.out), ElementsAre(std::string(time_based) + "  1bc4f27f",
                                               "00000000.00000000.0000.00:00:00:00:00:00  00000000"));
}

TEST(UuidHash, ReadsStandardInput) {
    const outcome run = run_on_input("uuid hash -", std::string("  ") + time_based + "\n\n" + time_based_dense);
    EXPECT_EQ(run.status, 0);
    const std::string line = std::string(time_based) + "  1bc4f27f";
    EXPECT_THAT(lines_of(run.out), ElementsAre(line, line));
}

TEST(UuidTime, TellsWhenEachWasMade) {
    const outcome run = run_tool({"uuid", "time", time_based});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, std::string(time_based) + "  2042-11-25T03:18:18Z\n");
}

TEST(UuidTime, EndsNegativeWhenOneWasNotMadeFromTheTime) {
    const std::string random = "12345678.9abc4def.8a12.00:11:22:33:44:55";
    const outcome run = run_tool({"uuid", "time", random, time_based});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(lines_of(run.out)[0], random + "  -");
    const json answer = run_tool({"uuid", "time", "--json", random}).parsed();
    EXPECT_EQ(answer["identifiers"], json::array({{{"identifier", random}, {"time", nullptr}}}));
    EXPECT_EQ(answer["exit_status"], 1);
}

TEST(Uuid, SaysWhichTextIsNoIdentifier) {
    for (const char *command : {"show", "hash", "time"}) {
        const outcome run = run_tool({"uuid", command, time_based, "12345678.9abc"});
        EXPECT_EQ(run.status, 2) << command;
        EXPECT_EQ(run.out, "") << command;
        EXPECT_THAT(run.err, HasSubstr("\"12345678.9abc\" is no identifier")) << command;
    }
    const outcome piped = run_on_input("uuid hash --json -", "nonsense\n");
    EXPECT_EQ(piped.status, 2);
    EXPECT_EQ(piped.parsed()["error"]["text"], "\"nonsense\" is no identifier");
}

TEST(Uuid, NeedsASubcommandAndIdentifiers) {
    EXPECT_EQ(run_tool({"uuid"}).status, 2);
    EXPECT_EQ(run_tool({"uuid", "hash"}).status, 2);
}
