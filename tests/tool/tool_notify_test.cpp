// tbs notify: a text sent as mail.
#include "support/mail_server.hpp"
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tool_test;
using testing::AllOf, testing::Contains, testing::EndsWith, testing::HasSubstr, testing::IsEmpty, testing::StartsWith;

namespace {

class NotifyTool : public testing::Test {
protected:
    outcome run(std::vector<std::string> words) const {
        return run_tool(std::move(words), {{"ORSIK_HOSTDATA_DIR", dir / "host"}});
    }
    void set(const std::string &name, const std::string &type, const std::string &value) const {
        const outcome done = run({"registry", "set", "SOFTWARE\\Tessivane", name, "--type", type, value});
        ASSERT_EQ(done.status, 0) << done.err;
    }
    void use(const mail_server &server) const {
        set("SmtpServer", "sz", "127.0.0.1");
        set("SmtpPort", "dword", std::to_string(server.port()));
    }

    const temp_dir dir;
    const std::string file = dir.write("text", "All is well.\n");
};

} // namespace

TEST_F(NotifyTool, SendsAFileToAll) {
    mail_server server;
    use(server);
    const outcome sent = run({"notify", "--to", "a@b", "--to", "c@d", file, "--subject", "News"});
    EXPECT_EQ(sent.status, 0);
    EXPECT_EQ(sent.out + sent.err, "");
    const auto [commands, mail, overlapped] = server.take().front();
    EXPECT_THAT(commands, AllOf(Contains("RCPT TO:<a@b>"), Contains("RCPT TO:<c@d>")));
    EXPECT_THAT(mail, AllOf(HasSubstr("\r\nTo: a@b, c@d\r\nSubject: News\r\n"), EndsWith("\r\n\r\nAll is well.")));
}

TEST_F(NotifyTool, SendsStandardInputAndTracesTheConversation) {
    mail_server server;
    use(server);
    const outcome sent = run({"notify", "--to", "a@b", "--trace"});
    EXPECT_EQ(sent.status, 0);
    EXPECT_EQ(sent.out, "");
    EXPECT_THAT(sent.err, AllOf(StartsWith("SMTP Rcvd: 220 here\r\nSMTP Send: HELO "),
                                EndsWith("SMTP Send: QUIT\r\nSMTP Rcvd: 221 bye\r\n")));
}

TEST_F(NotifyTool, AnswersInJsonWhoWasLeftOut) {
    mail_server server;
    use(server);
    server.replies("RCPT", {"250 yes", "550 no"});
    const outcome sent = run({"notify", file, "--to", "a@b", "--to", "c@d", "--json"});
    EXPECT_EQ(sent.status, 0);
    EXPECT_EQ(sent.err, "");
    const json answer = sent.parsed();
    EXPECT_EQ(answer["sent"], true);
    EXPECT_EQ(answer["recipients"], (json{"a@b", "c@d"}));
    ASSERT_EQ(answer["messages"].size(), 3u);
    EXPECT_EQ(answer["messages"][0]["number"], 7);
    EXPECT_EQ(
        answer["messages"][2],
        (json{{"severity", "warning"}, {"number", 13}, {"text", "Partial email recipient delivery (1 out of 2)."}}));
}

TEST_F(NotifyTool, EndsWithOneWhenNothingWasSent) {
    const outcome lost = run({"notify", file, "--to", "a@b"});
    EXPECT_EQ(lost.status, 1);
    EXPECT_THAT(lost.err, HasSubstr("Unable to get SMTP Server Host Name from Window's registry key: 0x2."));
    const outcome as_json = run({"notify", file, "--to", "a@b", "--json"});
    EXPECT_EQ(as_json.status, 1);
    EXPECT_EQ(as_json.parsed()["sent"], false);
    EXPECT_EQ(as_json.parsed()["exit_status"], 1);
}

TEST_F(NotifyTool, SaysHowToSetWhatKeepsMailFromBeingSent) {
    const std::vector<std::string> words = {"notify", file, "--to", "a@b"};
    const std::string set_it = "    Set it with: tbs registry set 'SOFTWARE\\Tessivane' ";
    EXPECT_THAT(run(words).err, EndsWith(set_it + "SmtpServer HOST\n"));
    const json answer = run({"notify", file, "--to", "a@b", "--json"}).parsed();
    EXPECT_THAT(answer["remedy"].get<std::string>(), EndsWith("SmtpServer HOST"));
    set("SmtpServer", "sz", "127.0.0.1");
    set("SmtpTimeout", "sz", "100");
    EXPECT_THAT(run(words).err, EndsWith(set_it + "SmtpTimeout NUMBER --type dword\n"));
    set("SmtpPort", "sz", "25");
    EXPECT_THAT(run(words).err, EndsWith(set_it + "SmtpPort NUMBER --type dword\n"));
}

TEST_F(NotifyTool, BlamesNoSettingWhenTheServerRefuses) {
    mail_server server;
    use(server);
    server.replies("RCPT", {"550 no"});
    const outcome refused = run({"notify", file, "--to", "a@b", "--json"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.parsed()["remedy"], nullptr);
}

TEST_F(NotifyTool, ShowsTheMailWithoutAServer) {
    const std::string latin = dir.write("latin", "Gr\xFC\xDF"
                                                 "e, heute wie gestern\n");
    const outcome shown = run({"notify", latin, "--to", "a@b", "--charset", "ISO-8859-1", "--dry-run"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "");
    EXPECT_THAT(shown.out, AllOf(StartsWith("Date: "), HasSubstr("\nTo: a@b\nMIME-Version: 1.0\n"),
                                 EndsWith("charset=ISO-8859-1\nContent-Transfer-Encoding: quoted-printable\n\n"
                                          "Gr=FC=DFe, heute wie gestern\n")));
    const json answer =
        run({"notify", latin, "--to", "a@b", "--charset", "ISO-8859-1", "--dry-run", "--json"}).parsed();
    EXPECT_EQ(answer["sent"], false);
    EXPECT_THAT(answer["mail"].get<std::string>(), HasSubstr("Gr=FC=DFe"));
}

TEST_F(NotifyTool, RefusesBadInput) {
    const std::vector<std::vector<std::string>> wrong = {{file},
                                                         {dir / "none", "--to", "a@b"},
                                                         {dir.str(), "--to", "a@b"},
                                                         {dir / "none", "--to", "a@b", "--dry-run"},
                                                         {file, "--to", "a\nb", "--dry-run"},
                                                         {file, "--to", "", "--dry-run"},
                                                         {file, "--to", "a@b", "--to", " "},
                                                         {file, "--to", "a@b", "--subject", "a\rb", "--dry-run"},
                                                         {file, "--to", "a@b", "--dry-run", "--trace"},
                                                         {file, file, "--to", "a@b"}};
    for (std::vector<std::string> words : wrong) {
        words.insert(words.begin(), "notify");
        const outcome run_of = run(words);
        EXPECT_EQ(run_of.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(run_of.out, "");
        EXPECT_THAT(run_of.err, HasSubstr("tbs: Error: "));
    }
}
