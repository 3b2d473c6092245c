// What the tool writes for shells and for man: it completes what there is, and no formatter complains.
#include "tool/tool_runner.hpp"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tool_test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

namespace {

std::string path_of(const std::string &program) {
    for (const char *dir : {"/usr/bin/", "/bin/", "/usr/local/bin/"}) {
        if (std::filesystem::exists(dir + program)) return dir + program;
    }
    return "";
}

// A directory with two files, and what the tool writes for a shell.
class Completion : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dir = new temp_dir;
        dir->write("vob.acl", "");
        dir->write("with blank.acl", "");
        for (const std::string shell : {"bash", "zsh", "fish"}) {
            const outcome run = run_tool({"completion", shell});
            ASSERT_EQ(run.status, 0) << run.err;
            dir->write(shell, run.out);
        }
    }
    static void TearDownTestSuite() {
        delete dir;
        dir = nullptr;
    }

    // What bash offers for the last of the words, sorted.
    static std::vector<std::string> offered(const std::vector<std::string> &words) {
        std::string script = "cd '" + dir->str() + "' && source ./bash && COMP_WORDS=(tbs";
        for (const std::string &word : words) script += " '" + word + "'";
        script +=
            ") && COMP_CWORD=" + std::to_string(words.size()) + " && _tbs && printf '%s\\n' \"${COMPREPLY[@]}\"";
        const outcome run = run_program({path_of("bash"), "--norc", "-c", script + " | LC_ALL=C sort"});
        EXPECT_EQ(run.err, "");
        return lines_of(run.out);
    }

    static temp_dir *dir;
};
temp_dir *Completion::dir = nullptr;

} // namespace

TEST_F(Completion, OffersCommandsAndThoseBelow) {
    EXPECT_THAT(offered({""}), IsSupersetOf({"acl", "completion", "help-topic", "man", "rolemap", "uuid"}));
    EXPECT_THAT(offered({"ro"}), ElementsAre("rolemap"));
    EXPECT_THAT(offered({"uuid", ""}), ElementsAre("hash", "new", "show", "time"));
    EXPECT_THAT(offered({"acl", "ch"}), ElementsAre("check"));
}

TEST_F(Completion, OffersOptionsOfTheCommandAlone) {
    EXPECT_THAT(offered({"acl", "check", "--o"}), ElementsAre("--owner", "--owner-group"));
    EXPECT_THAT(offered({"acl", "check", "acl", "uuid", "--cr"}), ElementsAre("--creds"));
    EXPECT_THAT(offered({"uuid", "new", "-"}), AllOf(Contains("--count"), Contains("-n"), Not(Contains("--want"))));
}

TEST_F(Completion, OffersChoicesAndFilesAsValues) {
    EXPECT_THAT(offered({"acl", "matrix", "a", "b", "--format", ""}), ElementsAre("csv", "html", "json", "table"));
    EXPECT_THAT(offered({"acl", "matrix", "--format", "=", "c"}), ElementsAre("csv"));
    EXPECT_THAT(offered({"acl", "matrix", "--format", "="}), ElementsAre("csv", "html", "json", "table"));
    EXPECT_THAT(offered({"acl", "check", "v"}), ElementsAre("vob.acl"));
    EXPECT_THAT(offered({"fstat", "vob.acl", "v"}), ElementsAre("vob.acl"));
    EXPECT_THAT(offered({"acl", "check", "--creds", "w"}), ElementsAre("with blank.acl"));
    EXPECT_THAT(offered({"completion", ""}), ElementsAre("bash", "fish", "zsh"));
    EXPECT_THAT(offered({"acl", "check", "--as", ""}), ElementsAre("")); // nobody knows
}

TEST_F(Completion, IsRefusedForOtherShells) {
    EXPECT_EQ(run_tool({"completion", "csh"}).status, 2);
    EXPECT_EQ(run_tool({"completion"}).status, 2);
}

TEST_F(Completion, IsReadByFish) {
    const std::string fish = path_of("fish");
    if (fish.empty()) GTEST_SKIP() << "fish is not here";
    const auto complete = [&](const std::string &line) {
        const outcome run = run_program(
            {fish, "--no-config", "-c", "cd '" + dir->str() + "'; source ./fish; complete -C '" + line + "'"},
            {{"HOME", dir->str()}});
        EXPECT_EQ(run.err, "");
        return lines_of(run.out);
    };
    EXPECT_THAT(complete("tbs acl ch"), ElementsAre("check\tDecide a request by an ACL file"));
    EXPECT_THAT(complete("tbs acl check --owner-"), ElementsAre("--owner-group\tGroup of the object"));
    EXPECT_THAT(complete("tbs acl matrix --format c"), ElementsAre(StartsWith("csv\t")));
    EXPECT_THAT(complete("tbs acl check --creds vo"), ElementsAre(StartsWith("vob.acl")));
    EXPECT_THAT(complete("tbs acl check v"), ElementsAre("vob.acl"));
}

TEST_F(Completion, IsReadByZsh) {
    const std::string zsh = path_of("zsh");
    if (zsh.empty()) GTEST_SKIP() << "zsh is not here";
    const outcome run = run_program({zsh, "-f", "-n", *dir / "zsh"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
}

// ---- man

TEST(ManualPage, DescribesEveryCommandAndOption) {
    const std::string page = run_tool({"man"}).out;
    EXPECT_THAT(page, HasSubstr(".TH TBS 1 "));
    for (const char *command : {"acl check", "rolemap graph", "help\\-topic", "registry import", "man"}) {
        EXPECT_THAT(page, HasSubstr(std::string("\n.SS tbs ") + command + '\n'));
    }
    EXPECT_THAT(page, HasSubstr("\n.TP\n\\fB\\-n\\fR, \\fB\\-\\-count\\fR \\fICOUNT\\fR\nHow many.\n"));
    EXPECT_THAT(page, HasSubstr("\\fBtbs fstat\\fR [\\fIOPTION\\fR]...\\&\n\\fIPATH\\fR...\n"));
    EXPECT_THAT(page, HasSubstr("\n.SH EXIT STATUS\n"));
}

TEST(ManualPage, IsFormattedWithoutWarnings) {
    const temp_dir dir;
    dir.write("tbs.1", run_tool({"man"}).out);
    const std::string groff = path_of("groff"), mandoc = path_of("mandoc");
    if (groff.empty() && mandoc.empty()) GTEST_SKIP() << "neither formatter is here";
    if (!groff.empty()) {
        EXPECT_EQ(run_program({groff, "-ww", "-man", "-Tutf8", "-z", dir / "tbs.1"}).err, "");
    }
    if (!mandoc.empty()) {
        EXPECT_EQ(run_program({mandoc, "-T", "lint", "-W", "all", dir / "tbs.1"}).out, "");
    }
}
