// The commands on the product: product, profile, mgr, help-topic.
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tool_test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// A product and a host of its own.
class Product : public testing::Test {
protected:
    outcome run(const std::vector<std::string> &words, environment more = {}) const {
        more.insert(more.begin(), {{"ORSIK_PRODUCT_DIR", dir / "product"}, {"ORSIK_HOSTDATA_DIR", dir / "host"}});
        return run_tool(words, more);
    }
    void program(const std::string &leaf, const std::string &body) const {
        const std::string path = dir.write("product/lib/mgrs/" + leaf, "#!/bin/sh\n" + body + "\n");
        ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    }

    const temp_dir dir;
};

} // namespace

// ---- product

TEST_F(Product, IsShownWithVersionSystemAndDirectories) {
    const json shown = run({"product", "--json"}).parsed();
    EXPECT_EQ(shown["name"], "Tessivane");
    EXPECT_EQ(shown["version"], "11.0.0.1");
    EXPECT_EQ(shown["view_interop"], false);
    EXPECT_EQ(shown["native_interface"], true);
    EXPECT_EQ(shown["directories"]["mgrs"], (dir / "product") + "\\lib\\mgrs");
    EXPECT_EQ(shown["directories"]["log_file"], (dir / "host") + "\\log\\error_log");
    EXPECT_EQ(shown["directories"].size(), 19u);
    const outcome text = run({"product"});
    EXPECT_THAT(text.out, StartsWith("Tessivane 11.0.0.1\nsystem "));
    EXPECT_THAT(text.out, HasSubstr("mgrs              " + (dir / "product") + "\\lib\\mgrs\n"));
}

TEST_F(Product, ShowsTestFixes) {
    dir.write("product/doc/testfix/fix-77", "");
    EXPECT_THAT(run({"product"}).out, HasSubstr("Testfixes detected:\n\tfix-77\n"));
}

TEST_F(Product, ShowsOneDirectory) {
    EXPECT_EQ(run({"product", "cache"}).out, (dir / "host") + "\\cache\n");
    const json shown = run({"product", "ui_uid", "--json"}).parsed();
    EXPECT_EQ(shown["path"], (dir / "product") + "\\lib\\X11/uid");
    const outcome none = run({"product", "nowhere"});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("\"nowhere\" is no directory of the product"));
}

// ---- profile

TEST_F(Product, ProfileGetsADefault) {
    const environment profile = {
        {"TESSIVANE_PROFILE", dir.write("profile", "checkout reserved no\n* editor vi\n* bare\n")}};
    EXPECT_EQ(run({"profile", "get", "checkout", "reserved"}, profile).out, "no\n");
    EXPECT_EQ(run({"profile", "get", "checkout", "none", "editor"}, profile).out, "editor vi\n");
    EXPECT_EQ(run({"profile", "get", "x", "bare"}, profile).out, "\n");
    const outcome none = run({"profile", "get", "checkout", "none"}, profile);
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(run({"profile", "get", "x", "y", "editor", "--json"}, profile).parsed(),
              (json{{"command", "x"}, {"name", "editor"}, {"value", "vi"}, {"exit_status", 0}}));
    EXPECT_EQ(run({"profile", "get", "x", "bare", "--json"}, profile).parsed()["value"], nullptr);
}

TEST_F(Product, ProfileSaysWhichLineIsBad) {
    const outcome bad =
        run({"profile", "get", "a", "b"}, {{"TESSIVANE_PROFILE", dir.write("profile", "a b c\nlonely\n")}});
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.out, "");
    EXPECT_THAT(bad.err, StartsWith("tbs: Error: Profile file syntax error at line 2 in " + (dir / "profile") +
                                    ".\ntbs: Error: the profile was not read"));
}

// ---- mgr

TEST_F(Product, MgrListsManagers) {
    program("mine/op", "exit 0");
    dir.write("product/lib/mgrs/map", "mapped op mine/op\n");
    EXPECT_EQ(run({"mgr", "list"}).out, "mapped\nmine\n");
    EXPECT_EQ(run({"mgr", "list", "--json"}).parsed()["managers"], json({"mapped", "mine"}));
}

TEST_F(Product, MgrTellsWhatIsSupported) {
    program("mine/op", "exit 0");
    const outcome yes = run({"mgr", "supports", "mine", "op"}), no = run({"mgr", "supports", "mine", "other"});
    EXPECT_EQ(yes.status, 0);
    EXPECT_EQ(yes.out, "mine has op\n");
    EXPECT_EQ(no.status, 1);
    EXPECT_EQ(no.out, "mine has no other\n");
    EXPECT_EQ(run({"mgr", "supports", "whole_copy", "create_version64", "--json"}).parsed()["supported"], true);
    EXPECT_EQ(run({"mgr", "supports", std::string(2000, 'x'), "op"}).status, 2);
}

TEST_F(Product, MgrRunsAnOperation) {
    program("mine/op", "printf '<%s>' \"$@\"; exit 37");
    const outcome ran = run({"mgr", "invoke", "mine", "op", "a b", "--json", "-x"});
    EXPECT_EQ(ran.status, 37);
    EXPECT_EQ(ran.out, "<a b><--json><-x>");
    const outcome none = run({"mgr", "invoke", "mine", "none"});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("Operation \"none\" unavailable for manager \"mine\""));
}

// ---- help-topic

TEST_F(Product, HelpTopicShowsTheCommandInADryRun) {
    EXPECT_EQ(run({"help-topic", "CONTENTS", "--dry-run"}).out,
              "cd /d \"" + (dir / "product") + "\\bin\\\" && \"tvhelp.exe\" /index.html\n");
    EXPECT_EQ(run({"help-topic", "contents", "--script", "--dry-run"}).out,
              "cd /d \"" + (dir / "product") + "\\doc\\\" && \"help_start.topic.bat\" contents\n");
    const json shown = run({"help-topic", "ABOUT_UCM", "--dry-run", "--json"}).parsed();
    EXPECT_EQ(shown["document"], "/topics/ucm.html");
    EXPECT_EQ(shown["started"], false);
}

TEST_F(Product, HelpTopicSaysThatThereIsNoViewer) {
    const outcome none = run({"help-topic", "CONTENTS"});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("Graphical help command invocation failure."));
    EXPECT_EQ(run({"help-topic", std::string(1100, 'x'), "--dry-run"}).status, 2);
}
