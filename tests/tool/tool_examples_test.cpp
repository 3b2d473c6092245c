// The small examples, as programs that somebody runs.
#include "tool/tool_runner.hpp"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using tool_test::environment;
using tool_test::outcome;
using tool_test::policy;

outcome run_example(const std::string &name, std::vector<std::string> words, const environment &variables = {}) {
    words.insert(words.begin(), std::string(ORSIK_BINARY_DIR) + "/examples/example_" + name);
    return tool_test::run_program(words, variables);
}

TEST(ExampleListTypes, TellsTheTypesOfFiles) {
    const environment rules = {{"MAGIC_PATH", tool_test::source("data/magic")}};
    const temp_dir dir;
    const std::string source = dir.write("main.c", "int main(void) { return 0; }\n");
    const outcome run = run_example("list_types", {source, dir / "absent.c/x"}, rules);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, AllOf(HasSubstr(source + ": c_source"), HasSubstr(dir / "absent.c/x" + ": -\n")));
}

TEST(ExampleBuildRecord, StoresARecordThatTheToolShows) {
    const temp_dir dir;
    const outcome run = run_example("build_record", {dir / "record"});
    EXPECT_EQ(run.out, "hello.o: cc -c hello.c\n"
                       "  /vobs/tools/hello.c, 120 bytes\n"
                       "  /vobs/tools/hello.h, 40 bytes\n");
    EXPECT_THAT(tool_test::run_tool({"cr", "show", dir / "record"}).out, HasSubstr("cc -c hello.c"));
    EXPECT_EQ(run_example("build_record", {dir / "absent/record"}).status, 2);
    EXPECT_EQ(run_example("build_record", {}).status, 2);
}

TEST(ExampleRoleReview, PrintsTheEffectiveList) {
    const environment accounts = {{"ORSIK_ACCOUNTS", policy("accounts")}};
    const temp_dir dir;
    const std::string of = dir.write("policy", "Role:developer Change\nEveryone: Read\n"),
                      map = dir.write("map", "Role:developer --> User:BRACKWATER\\bastien\n");
    const outcome run = run_example("role_review", {of, map}, accounts);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("User:BRACKWATER\\bastien"), HasSubstr("Everyone:")));
    EXPECT_EQ(run_example("role_review", {of, dir / "absent"}, accounts).status, 2);
    EXPECT_EQ(run_example("role_review", {}).status, 2);
}

TEST(ExampleWatchMessages, CountsWhatTheLibrarySays) {
    const temp_dir dir;
    const outcome bad = run_example("watch_messages", {dir.write("bad", "Everyone:\nfrog\n")});
    EXPECT_EQ(bad.status, 1);
    EXPECT_THAT(bad.out, AllOf(HasSubstr("severity 6"), HasSubstr(" errors, 0 warnings")));
    const outcome good = run_example("watch_messages", {dir.write("good", "Everyone: Read\n")});
    EXPECT_EQ(good.out, "0: read, 0 errors, 0 warnings\n");
}

} // namespace
