#include "tbs/tbs_help.h"

#include "support/answer_pipe.hpp"
#include "support/env.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"
#include "tbs/tbs_product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A product directory with viewers that tell how they were started.
class Help : public testing::Test {
protected:
    Help() {
        install("doc/help_start.topic.bat");
        install("bin/tvhelp.exe");
        install("bin/tessiprompt");
    }

    void install(const std::string &leaf) {
        const std::string body = "#!/bin/sh\n{ printf '" + leaf +
                                 " in %s:' \"$PWD\"; printf ' <%s>' \"$@\"; echo; } > " + answer.path() + '\n';
        ASSERT_EQ(chmod(dir.write(leaf, body).c_str(), 0755), 0);
    }
    // What the next viewer to be started tells.
    std::string started() const { return answer.line(); }
    // What the help viewer is told for a topic.
    std::string document(const char *topic) {
        EXPECT_EQ(tbs_show_graphical_help(topic), 0);
        const std::string line = started(), before = "bin/tvhelp.exe in " + (dir / "bin") + ": <";
        EXPECT_THAT(line, testing::StartsWith(before));
        return line.substr(before.size(), line.size() - before.size() - 1);
    }

    const temp_dir dir;
    const answer_pipe answer{dir};
    const scoped_env product{"ORSIK_PRODUCT_DIR", dir.str()};
    recording_sink sink;
};

TEST_F(Help, KeywordsNameDocuments) {
    EXPECT_EQ(document("CONTENTS"), "/index.html");
    EXPECT_EQ(document("TUTORIAL"), "/tutorial/index.html");
    EXPECT_EQ(document("ABOUT_VOBS"), "/topics/vobs.html");
    EXPECT_EQ(document("ABOUT_VIEWS"), "/topics/views.html");
    EXPECT_EQ(document("ABOUT_PROJECTS"), "/topics/projects.html");
    EXPECT_EQ(document("ABOUT_BASECC"), "/topics/base.html");
    EXPECT_EQ(document("ABOUT_UCM"), "/topics/ucm.html");
    EXPECT_TRUE(sink.empty());
}

TEST_F(Help, AnyOtherTopicIsADocument) {
    EXPECT_EQ(document("contents"), "contents");
    EXPECT_EQ(document("/topics/x.html#part"), "/topics/x.html#part");
    EXPECT_EQ(document("CONTENTS "), "CONTENTS");
}

TEST_F(Help, TheTopicScriptIsStartedInTheDocumentation) {
    EXPECT_EQ(tbs_show_graphical_help_util("CONTENTS", 0), 0);
    EXPECT_EQ(started(), "doc/help_start.topic.bat in " + (dir / "doc") + ": </index.html>");
    EXPECT_EQ(tbs_show_graphical_help_util("CONTENTS", 1), 0);
    EXPECT_EQ(started(), "bin/tvhelp.exe in " + (dir / "bin") + ": </index.html>");
}

TEST_F(Help, ATopicNeverReachesAShell) {
    const std::string evil = dir / "evil";
    EXPECT_EQ(tbs_show_graphical_help(("x;touch " + evil + " && touch $(touch " + evil + ")").c_str()), 0);
    EXPECT_EQ(started(), "bin/tvhelp.exe in " + (dir / "bin") + ": <x;touch> <" + evil +
                             "> <&&> <touch> <$(touch> <" + evil + ")>");
    EXPECT_NE(access(evil.c_str(), F_OK), 0);
}

TEST_F(Help, RefusesNoTopicAndOtherModes) {
    EXPECT_EQ(tbs_show_graphical_help(nullptr), TBS_ST_ERROR);
    EXPECT_EQ(tbs_show_graphical_help_util(nullptr, 7), TBS_ST_ERROR);
    for (const int mode : {-1, 2}) EXPECT_EQ(tbs_show_graphical_help_util("CONTENTS", mode), TBS_ST_EINVAL);
    EXPECT_TRUE(sink.empty());
}

TEST_F(Help, TellsWhenTheViewerDoesNotStart) {
    ASSERT_EQ(unlink((dir / "bin/tvhelp.exe").c_str()), 0);
    EXPECT_EQ(tbs_show_graphical_help("CONTENTS"), TBS_ST_ERROR);
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, IMSG_ERROR);
    EXPECT_EQ(messages[0].module, "tbs");
    EXPECT_EQ(messages[0].index, 36u);
    EXPECT_EQ(messages[0].text, "Graphical help command invocation failure.\n");
}

TEST_F(Help, RefusesWhatDoesNotFit) {
    const auto refused = [&](const std::string &topic) {
        const tbs_status_t status = tbs_show_graphical_help(topic.c_str());
        const auto messages = sink.take();
        EXPECT_EQ(messages.size(), status == 0 ? 0u : 1u);
        for (const recorded_message &message : messages) {
            EXPECT_EQ(message.severity, IMSG_ERROR);
            EXPECT_EQ(message.index, 45u);
            EXPECT_EQ(message.text, "String buffer too small.\n");
        }
        return status == TBS_ST_ERROR;
    };
    const size_t around = ("cd /d \"" + (dir / "") + "bin\\\" && \"tvhelp.exe\" ").size();
    EXPECT_FALSE(refused(std::string(1024 - around, 'x')));
    EXPECT_THAT(started(), testing::EndsWith(std::string(1024 - around, 'x') + '>'));
    EXPECT_TRUE(refused(std::string(1025 - around, 'x')));
    EXPECT_TRUE(refused(std::string(1023, 'x')));
    EXPECT_TRUE(refused(std::string(1024, 'x')));
    for (const size_t size : {1000, 1022, 1023, 5000}) {
        const scoped_env long_product("ORSIK_PRODUCT_DIR", '/' + std::string(size - 1, 'x'));
        EXPECT_TRUE(refused("x")) << size;
    }
}

TEST_F(Help, TracesTheCommand) {
    const int verbosity = imsg_get_desired_verbosity();
    imsg_set_desired_verbosity(1);
    imsg_set_trace("tbs_help_viewer:1");
    EXPECT_EQ(tbs_show_graphical_help("CONTENTS"), 0);
    imsg_set_trace("");
    EXPECT_EQ(tbs_show_graphical_help("CONTENTS"), 0);
    imsg_set_desired_verbosity(0);
    imsg_set_trace("tbs_help_viewer:1");
    EXPECT_EQ(tbs_show_graphical_help("CONTENTS"), 0);
    imsg_set_trace("");
    imsg_set_desired_verbosity(verbosity);
    for (int i = 0; i < 3; i++) started();
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, IMSG_TRACE);
    EXPECT_EQ(messages[0].text,
              "Launching help viewer: cd /d \"" + dir.str() + "\\bin\\\" && \"tvhelp.exe\" /index.html\n");
}

TEST_F(Help, ShowsAWarningThroughThePromptUtility) {
    EXPECT_EQ(tbs_graphical_help_not_available(), 0);
    EXPECT_THAT(started(), testing::EndsWith(": <proceed> <-type> <warning> <-default> <proceed> <-mask> <proceed> "
                                             "<-prompt> <Graphical help not available> <-prefer_gui>"));
    ASSERT_EQ(unlink((dir / "bin/tessiprompt").c_str()), 0);
    EXPECT_EQ(tbs_graphical_help_not_available(), TBS_ST_ERROR);
    const scoped_env too_long("ORSIK_PRODUCT_DIR", '/' + std::string(1010, 'x'));
    EXPECT_EQ(tbs_graphical_help_not_available(), TBS_ST_ERROR);
    EXPECT_TRUE(sink.empty());
}

} // namespace
