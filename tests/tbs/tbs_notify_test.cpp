#include "tbs/tbs_notify.h"

#include "ks/ks_errno.h"
#include "ks/ks_net.h"
#include "nt/nt_time.h"
#include "support/all_threads.hpp"
#include "support/faults.hpp"
#include "support/mail_server.hpp"
#include "support/under_sanitizer.hpp"
#include "tbs/notify_test_support.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {

// What the host does with the calling thread's sockets. A text that is sent is cut off, and nothing can be sent any more.
// Or no host has an address, and the service that was asked for is kept.
struct host_trouble {
    bool no_addresses = false;
    std::string service;
    int no_socket = 0; // error number
    std::string cut;
    size_t cut_size = 0;
    bool is_cut = false;
    bool no_name = false;
};
thread_local host_trouble trouble;

} // namespace

extern "C" [[gnu::visibility("default")]] int sysutl_myhostname(char *buffer, size_t size) noexcept {
    static const auto next = reinterpret_cast<decltype(&sysutl_myhostname)>(dlsym(RTLD_NEXT, "sysutl_myhostname"));
    return trouble.no_name ? KS_EIO : next(buffer, size);
}

extern "C" [[gnu::visibility("default")]] int sysutl_host_addr(const char *host, const char *service,
                                                               sysutl_sockaddr_t **addresses_out,
                                                               size_t *count_out) noexcept {
    static const auto next = reinterpret_cast<decltype(&sysutl_host_addr)>(dlsym(RTLD_NEXT, "sysutl_host_addr"));
    if (!trouble.no_addresses) return next(host, service, addresses_out, count_out);
    trouble.service = service;
    return KS_ENOENT;
}

extern "C" [[gnu::visibility("default")]] int socket(int family, int type, int protocol) noexcept {
    static const auto next = reinterpret_cast<decltype(&socket)>(dlsym(RTLD_NEXT, "socket"));
    if (trouble.no_socket == 0) return next(family, type, protocol);
    errno = trouble.no_socket;
    return -1;
}

extern "C" [[gnu::visibility("default")]] ssize_t send(int fd, const void *data, size_t size, int flags) {
    static const auto next = reinterpret_cast<decltype(&send)>(dlsym(RTLD_NEXT, "send"));
    if (trouble.is_cut) {
        errno = EPIPE;
        return -1;
    }
    if (trouble.cut.empty() || std::string_view(static_cast<const char *>(data), size) != trouble.cut) {
        return next(fd, data, size, flags);
    }
    trouble.is_cut = true;
    if (trouble.cut_size != 0) return next(fd, data, trouble.cut_size, flags);
    errno = EPIPE;
    return -1;
}

namespace {

using namespace notify_test;
using testing::_, testing::AllOf, testing::AnyOf, testing::Contains, testing::Each, testing::ElementsAre,
    testing::EndsWith, testing::HasSubstr, testing::IsEmpty, testing::MatchesRegex, testing::Not, testing::SizeIs,
    testing::StartsWith;

constexpr char undeliverable[] = "6/3 Unable to deliver notification via email.";
constexpr char nobody_left[] = "6/12 No acceptable email recipients.";

class Notify : public testing::Test {
protected:
    std::vector<std::string> said() { return lines_of(sink.take()); }
    mail_server::conversation heard() { return server.take().front(); }

    // One mail with a server that replies to a word in some way; all else goes well.
    mail_server::conversation heard_after(const std::string &word, const std::string &reply, tbs_status_t expected) {
        server.reply(word, reply);
        EXPECT_EQ(notify({"a@b"}), expected);
        return heard();
    }

    mail_server server;
    mail_settings settings{server.port()};
    recording_sink sink;
};

// ---- a mail

TEST_F(Notify, SendsOneMail) {
    const int64_t before = unix_nt_time(nullptr);
    EXPECT_EQ(notify({"ann@example.com", "bob@example.com"}), 0);
    const int64_t after = unix_nt_time(nullptr);
    EXPECT_THAT(said(), IsEmpty());
    const auto [commands, mail, overlapped] = heard();
    EXPECT_THAT(commands, ElementsAre("HELO " + host_name(), "MAIL FROM:<" + sender() + ">",
                                      "RCPT TO:<ann@example.com>", "RCPT TO:<bob@example.com>", "DATA", "QUIT"));
    EXPECT_FALSE(overlapped);

    const size_t end = mail.find("\r\n");
    EXPECT_EQ(mail.substr(end), "\r\nFrom: " + sender() +
                                    "\r\n"
                                    "To: ann@example.com, bob@example.com\r\n"
                                    "Subject: News\r\n"
                                    "MIME-Version: 1.0\r\n"
                                    "Content-type: text/plain;charset=US-ASCII\r\n"
                                    "Content-Transfer-Encoding: 8bit\r\n"
                                    "\r\n"
                                    "Hello.");
    std::vector<std::string> dates;
    for (int64_t at = before; at <= after; at++) {
        char date[64];
        const time_t host = at;
        struct tm fields;
        std::strftime(date, sizeof date, "Date: %a, %e %b %Y %H:%M:%S +0000 (GMT)", gmtime_r(&host, &fields));
        dates.emplace_back(date);
        if (const size_t blanks = dates.back().find(",  "); blanks != std::string::npos)
            dates.back().erase(blanks + 1, 1);
    }
    EXPECT_THAT(dates, Contains(mail.substr(0, end)));
}

TEST_F(Notify, AnEmptySubjectIsLeftOut) {
    EXPECT_EQ(notify({"a@b"}, ""), 0);
    EXPECT_THAT(heard().mail, Not(HasSubstr("Subject")));
}

TEST_F(Notify, AnEmptyTextIsAMailWithoutLines) {
    EXPECT_EQ(notify({"a@b"}, "x", ""), 0);
    EXPECT_THAT(heard().mail, EndsWith("8bit\r\n\r\n"));
}

TEST_F(Notify, LinesThatBeginWithADotStayInsideTheMail) {
    EXPECT_EQ(notify({"a@b"}, "x", ".\n.\r\nQUIT\r\n.."), 0);
    const auto [commands, mail, overlapped] = heard();
    EXPECT_THAT(commands, SizeIs(5));
    EXPECT_THAT(mail, AllOf(HasSubstr("QUIT"), Not(HasSubstr("\r\n."))));
}

TEST_F(Notify, TheCharacterSetIsThatOfFileAndSubject) {
    const std::string path = settings.own.dir.write("text", "Gr\xFC\xDF"
                                                            "e, said the file\n");
    const char *const to[] = {"a@b"};
    EXPECT_EQ(tbs_notify_pname(1, 1, to, "\xFC", path.c_str(), "ISO-8859-1"), 0);
    EXPECT_THAT(heard().mail, AllOf(HasSubstr("Subject: =?ISO-8859-1?"), HasSubstr("charset=ISO-8859-1\r\n"),
                                    HasSubstr("quoted-printable\r\n\r\nGr=FC=DFe, said the file")));
    EXPECT_EQ(tbs_notify_pname(1, 1, to, "\xC3\xBC", path.c_str(), nullptr), 0);
    EXPECT_THAT(heard().mail, HasSubstr("Subject: =?UTF-8?"));
    EXPECT_EQ(notify({"a@b"}, "x", "\xE6\x97\xA5\xE6\x9C\xAC"), 0);
    EXPECT_THAT(heard().mail, HasSubstr("Content-Transfer-Encoding: base64\r\n\r\n5pel5pys"));
}

TEST_F(Notify, AStreamIsReadToItsEndAndStaysOpen) {
    const std::string path = settings.own.dir.write("text", "left out\nsent\n");
    FILE *stream = std::fopen(path.c_str(), "r");
    ASSERT_NE(stream, nullptr);
    char line[32];
    ASSERT_NE(std::fgets(line, sizeof line, stream), nullptr);
    const char *const to[] = {"a@b"};
    EXPECT_EQ(tbs_notify_fp(1, 1, to, "", stream, ""), 0);
    EXPECT_THAT(heard().mail, EndsWith("\r\n\r\nsent"));
    EXPECT_NE(std::feof(stream), 0);
    EXPECT_EQ(std::fclose(stream), 0);
}

TEST_F(Notify, ManyRecipientsAreAllNamedInOneLine) {
    std::vector<std::string> names;
    std::vector<const char *> to;
    std::string all;
    for (int i = 0; i < 500; i++) names.push_back("recipient-" + std::to_string(i) + "@example.com");
    for (const std::string &name : names) {
        to.push_back(name.c_str());
        all += (all.empty() ? "" : ", ") + name;
    }
    EXPECT_EQ(notify(to), 0);
    const auto [commands, mail, overlapped] = heard();
    EXPECT_THAT(commands, SizeIs(504));
    EXPECT_THAT(mail, HasSubstr("\r\nTo: " + all + "\r\nSubject"));
}

TEST_F(Notify, TheSenderOfAUserWithoutANameIsTessivane) {
    if (getuid() != 0) GTEST_SKIP() << "needs to become another user";
    chmod(settings.own.dir.str().c_str(), 0755);
    const pid_t other = fork();
    if (other == 0) _exit(setuid(1999999999) == 0 && notify({"a@b"}) == 0 ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(status, 0);
    const auto [commands, mail, overlapped] = heard();
    EXPECT_THAT(commands, Contains("MAIL FROM:<Tessivane@example.com>"));
    EXPECT_THAT(mail, HasSubstr("\r\nFrom: Tessivane@example.com\r\n"));
}

// ---- what is delivered

TEST_F(Notify, AMaskOfNothingSendsNothing) {
    EXPECT_EQ(notify({"a@b"}, "x", "y", 0), 0);
    EXPECT_EQ(tbs_notify(0, 0, nullptr, "", ""), 0);
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_EQ(server.count(), 0u);
}

TEST_F(Notify, OtherBitsFailAfterTheMailWasSent) {
    EXPECT_EQ(notify({"a@b"}, "x", "y", 3), TBS_ST_ERROR);
    EXPECT_THAT(heard().mail, HasSubstr("\r\n\r\ny"));
    EXPECT_THAT(said(), ElementsAre("4/14 Unrecognized notification delivery kind mask \"0x2\"."));
    EXPECT_EQ(notify({"a@b"}, "x", "y", 0x80000000), TBS_ST_ERROR);
    EXPECT_THAT(said(), ElementsAre("4/14 Unrecognized notification delivery kind mask \"0x80000000\"."));
    EXPECT_EQ(server.count(), 0u);
    server.reply("HELO", "500 no");
    EXPECT_EQ(notify({"a@b"}, "x", "y", 5), TBS_ST_ERROR);
    EXPECT_THAT(said(), ElementsAre("6/7 Wrong SMTP response status: 500 no.", undeliverable,
                                    "4/14 Unrecognized notification delivery kind mask \"0x4\"."));
}

TEST_F(Notify, AFileThatCannotBeReadSendsNothing) {
    const char *const to[] = {"a@b"};
    const std::string nul = settings.own.dir.write("nul", std::string("a\0b", 3));
    for (const std::string &path : {settings.own.dir / "none", settings.own.dir.str(), nul}) {
        for (const uint32_t mask : {0, 1}) {
            EXPECT_EQ(tbs_notify_pname(mask, 1, to, "", path.c_str(), ""), TBS_ST_ERROR);
            EXPECT_THAT(said(), ElementsAre("6/17 Problem reading notify message from file \"" + path + "\"."));
        }
    }
    EXPECT_EQ(server.count(), 0u);
}

TEST_F(Notify, AStreamThatCannotBeReadSendsNothing) {
    FILE *stream = std::fopen((settings.own.dir / "written").c_str(), "w");
    ASSERT_NE(stream, nullptr);
    const char *const to[] = {"a@b"};
    EXPECT_EQ(tbs_notify_fp(1, 1, to, "", stream, ""), TBS_ST_ERROR);
    EXPECT_THAT(said(), ElementsAre("6/19 Problem reading notify message from stream."));
    EXPECT_EQ(std::fclose(stream), 0);
    EXPECT_EQ(server.count(), 0u);
}

TEST_F(Notify, RefusesWhatIsNotThere) {
    const char *const to[] = {"a@b", nullptr};
    for (const uint32_t mask : {0, 1}) {
        EXPECT_EQ(tbs_notify(mask, 1, nullptr, "", ""), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_notify(mask, 2, to, "", ""), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_notify(mask, -1, to, "", ""), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_notify(mask, 1, to, nullptr, ""), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_notify(mask, 1, to, "", nullptr), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_notify_pname(mask, 1, to, "", nullptr, ""), TBS_ST_EINVAL);
        EXPECT_EQ(tbs_notify_fp(mask, 1, to, "", nullptr, ""), TBS_ST_EINVAL);
    }
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_EQ(server.count(), 0u);
}

// ---- settings

TEST_F(Notify, TellsWhenThereIsNoServer) {
    const auto refused_with = [&](int code) {
        EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
        char text[128];
        std::snprintf(text, sizeof text, "6/16 Unable to get SMTP Server Host Name from Window's registry key: 0x%x.",
                      code);
        EXPECT_THAT(said(), ElementsAre(text, undeliverable));
    };
    set_text("SmtpServer", std::string(65, 'x'));
    refused_with(KS_ERANGE);
    set_number("SmtpServer", 5);
    refused_with(ntregy_get_param(42, std::string(65, ' ').data(), 65));
    set_bytes("SmtpServer", std::string(65, 'x'));
    refused_with(KS_EINVAL);
    ntregy_delete_value(NTREGY_LOCAL_MACHINE, product_key, "SmtpServer");
    refused_with(KS_ENOENT);
}

TEST_F(Notify, TellsWhenTheServerHasNoAddress) {
    for (const std::string &host :
         {std::string("a..b"), std::string(), std::string("a") + std::string(62, '.') + "b"}) {
        set_text("SmtpServer", host);
        EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
        EXPECT_THAT(said(), ElementsAre("6/4 Unable to get IP address for host \"" + host + "\".", undeliverable));
    }
}

TEST_F(Notify, ThePortIs25UnlessItIsSet) {
    const auto service_asked_for = [&] {
        trouble.no_addresses = true;
        EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
        EXPECT_THAT(said(), ElementsAre("6/4 Unable to get IP address for host \"127.0.0.1\".", undeliverable));
        return std::exchange(trouble, {}).service;
    };
    EXPECT_EQ(service_asked_for(), std::to_string(server.port()));
    ntregy_delete_value(NTREGY_LOCAL_MACHINE, product_key, "SmtpPort");
    EXPECT_EQ(service_asked_for(), "25");
}

TEST_F(Notify, SendsNothingFromAHostWithoutAName) {
    trouble.no_name = true;
    EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
    trouble = {};
    EXPECT_THAT(said(), ElementsAre("6/92 Unable to find name of host.", undeliverable));
}

TEST_F(Notify, RefusesSettingsThatAreNoNumbersOfTheirRange) {
    const auto refused = [&](const std::string &text) {
        EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
        EXPECT_THAT(said(), ElementsAre("6/- " + text, undeliverable));
    };
    for (const uint32_t port : {0u, 65536u}) {
        set_number("SmtpPort", port);
        refused("The setting \"SmtpPort\" is no number from 1 to 65535.");
    }
    set_text("SmtpPort", "25");
    refused("The setting \"SmtpPort\" is no number from 1 to 65535.");
    set_number("SmtpPort", server.port());
    for (const uint32_t limit : {0u, 3600001u}) {
        set_number("SmtpTimeout", limit);
        refused("The setting \"SmtpTimeout\" is no number from 1 to 3600000.");
    }
    EXPECT_EQ(server.count(), 0u);
}

TEST_F(Notify, TellsWhoseConnectionWasRefused) {
    const int closed = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(closed, reinterpret_cast<sockaddr *>(&address), size), 0);
    ASSERT_EQ(getsockname(closed, reinterpret_cast<sockaddr *>(&address), &size), 0);
    set_number("SmtpPort", ntohs(address.sin_port));
    EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
    // What takes the conversation back cannot be sent either.
    EXPECT_THAT(said(),
                ElementsAre(StartsWith("6/11 Unable to connect to SMTP server \"127.0.0.1:" +
                                       std::to_string(ntohs(address.sin_port)) + "\": "),
                            StartsWith("6/5 SMTP send error: "), StartsWith("6/5 SMTP send error: "), undeliverable));
    close(closed);
}

TEST_F(Notify, AllAddressesOfTheServerAreTried) {
    set_text("SmtpServer", "localhost"); // of two families as a rule, of which one has a server
    EXPECT_EQ(notify({"a@b"}), 0);
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_THAT(heard().commands, Contains("QUIT"));
}

TEST_F(Notify, SpeaksIPv6) {
    std::unique_ptr<mail_server> other;
    try {
        other = std::make_unique<mail_server>(AF_INET6);
    } catch (const std::exception &) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    set_text("SmtpServer", "::1");
    set_number("SmtpPort", other->port());
    EXPECT_EQ(notify({"a@b"}), 0);
    EXPECT_THAT(other->take().front().commands, Contains("QUIT"));
}

// ---- replies

constexpr const char *commands_in_order[] = {"", "HELO", "MAIL", "RCPT", "DATA", ".", "QUIT"};

TEST_F(Notify, ARefusalAtAnyStepTakesTheMailBack) {
    for (const std::string word : {"", "HELO", "MAIL", "RCPT", "DATA", "."}) {
        for (const std::string reply : {"421 later", "550 no", "999 what", "25x odd", "-1-1"}) {
            SCOPED_TRACE(word + ": " + reply);
            const auto [commands, mail, overlapped] = heard_after(word, reply, TBS_ST_ERROR);
            std::vector<std::string> sent = commands;
            ASSERT_GE(sent.size(), 2u);
            EXPECT_EQ(sent.back(), "QUIT");
            EXPECT_EQ(sent[sent.size() - 2], "RSET");
            EXPECT_EQ(sent.size() == 2, word.empty());
            EXPECT_EQ(std::count(sent.begin(), sent.end(), "DATA"), word == "." || word == "DATA");
            const std::string wrong = "6/7 Wrong SMTP response status: " + reply + ".";
            if (word == "RCPT") {
                EXPECT_THAT(said(),
                            ElementsAre(wrong, "4/15 Recipient \"a@b\" not accepted.", nobody_left, undeliverable));
            } else {
                EXPECT_THAT(said(), ElementsAre(wrong, undeliverable));
            }
        }
        server.reply_well(word);
    }
}

TEST_F(Notify, TheReplyToQuitChangesNothing) {
    for (const std::string reply : {"500 no", "2"}) {
        EXPECT_EQ(heard_after("QUIT", reply, 0).commands.back(), "QUIT");
        EXPECT_THAT(said(), ElementsAre("6/7 Wrong SMTP response status: " + reply + "."));
    }
    heard_after("QUIT", mail_server::hang_up, 0);
    EXPECT_THAT(said(), ElementsAre(StartsWith("6/6 SMTP receive error: ")));
    set_number("SmtpTimeout", 20);
    heard_after("QUIT", mail_server::silence, 0);
    EXPECT_THAT(said(), ElementsAre(StartsWith("6/6 SMTP receive error: ")));
}

TEST_F(Notify, RepliesMayHaveManyLines) {
    for (const std::string word : commands_in_order) {
        const std::string code = word.empty() ? "220" : word == "DATA" ? "354" : word == "QUIT" ? "221" : "250";
        server.reply(word, code + "-one\r\n" + code + "-\r\n" + code + "-" + std::string(3000, 'x') + "\n" + code +
                               "-three\r" + code + " end\r\n");
    }
    EXPECT_EQ(notify({"a@b", "c@d"}), 0);
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_THAT(heard().commands, SizeIs(6));
}

TEST_F(Notify, LinesOfOneReplyHaveOneCode) {
    for (const std::string word : {"HELO", "."}) {
        heard_after(word, "250-one\r\n251 two", TBS_ST_ERROR);
        EXPECT_THAT(said(), ElementsAre("6/20 Parts of multiline response have different status codes: previous code "
                                        "is 250, while the current code is 251",
                                        undeliverable));
        server.reply_well(word);
    }
}

TEST_F(Notify, LinesOfLessThanFourCharactersAreNoReply) {
    for (const std::string reply : {"25", "250", "\r\n", "\n"}) {
        heard_after("HELO", reply, TBS_ST_ERROR);
        const std::string shown = reply[0] == '2' ? reply : "";
        EXPECT_THAT(said(), ElementsAre("6/7 Wrong SMTP response status: " + shown + ".", undeliverable));
    }
    heard_after("HELO", "250-one\r\n25", TBS_ST_ERROR);
    EXPECT_THAT(said(), ElementsAre("6/7 Wrong SMTP response status: 25.", undeliverable));
}

TEST_F(Notify, RepliesNeedNotEnd) {
    set_number("SmtpTimeout", 20);
    for (const std::string word : commands_in_order) {
        const std::string code = word.empty() ? "220" : word == "DATA" ? "354" : word == "QUIT" ? "221" : "250";
        server.reply(word, code + "-one\r\n" + code + " two" + mail_server::unended);
    }
    EXPECT_EQ(notify({"a@b", "c@d"}), 0);
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_THAT(heard().commands, SizeIs(6));
    server.reply("HELO", std::string("25") + mail_server::unended);
    EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
    EXPECT_THAT(said(), ElementsAre("6/7 Wrong SMTP response status: 25.", undeliverable));
    EXPECT_THAT(heard().commands, ElementsAre(_, "RSET", "QUIT"));
}

TEST_F(Notify, WhatFollowsAMalformedReplyIsNotTheNextOne) {
    server.replies("RCPT", {"250-one\r\n251-two\r\n250 three", "550 no"});
    EXPECT_EQ(notify({"a@b", "c@d"}), TBS_ST_ERROR);
    EXPECT_THAT(heard().commands, Not(Contains("DATA")));
}

TEST_F(Notify, AServerThatHangsUpAtAnyStepIsAFailure) {
    for (const std::string word : {"", "HELO", "MAIL", "RCPT", "DATA", "."}) {
        SCOPED_TRACE(word);
        const auto [commands, mail, overlapped] = heard_after(word, mail_server::hang_up, TBS_ST_ERROR);
        const std::string last = word.empty() ? "" : word == "." ? "DATA" : word;
        EXPECT_EQ((commands.empty() ? "" : commands.back().substr(0, 4)), last);
        const auto lines = said();
        EXPECT_THAT(lines.front(),
                    AnyOf(StartsWith("6/6 SMTP receive error: "), StartsWith("6/5 SMTP send error: ")));
        EXPECT_EQ(lines.back(), undeliverable);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), nobody_left), word == "RCPT");
        server.reply_well(word);
    }
}

TEST_F(Notify, AServerThatFallsSilentAtAnyStepIsAFailure) {
    set_number("SmtpTimeout", 20);
    for (const std::string word : {"", "HELO", "MAIL", "RCPT", "DATA", "."}) {
        SCOPED_TRACE(word);
        const auto [commands, mail, overlapped] = heard_after(word, mail_server::silence, TBS_ST_ERROR);
        EXPECT_THAT(commands, AllOf(Contains("RSET"), Contains("QUIT")));
        const auto lines = said();
        EXPECT_THAT(lines.front(), StartsWith("6/6 SMTP receive error: "));
        EXPECT_EQ(lines.back(), undeliverable);
        EXPECT_THAT(lines, SizeIs(word == "RCPT" ? 6 : 4));
        server.reply_well(word);
    }
}

TEST_F(Notify, OneSilenceIsEnoughForAllRecipients) {
    set_number("SmtpTimeout", 20);
    server.replies("RCPT", {"250 yes", mail_server::silence});
    EXPECT_EQ(notify({"a@b", "c@d", "e@f", "g@h"}), TBS_ST_ERROR);
    EXPECT_THAT(heard().commands, AllOf(Contains("RCPT TO:<c@d>"), Not(Contains("RCPT TO:<e@f>"))));
    EXPECT_THAT(said(), ElementsAre(StartsWith("6/6 "), "4/15 Recipient \"c@d\" not accepted.",
                                    "4/15 Recipient \"e@f\" not accepted.", "4/15 Recipient \"g@h\" not accepted.",
                                    "4/13 Partial email recipient delivery (1 out of 4).", StartsWith("6/6 "),
                                    StartsWith("6/6 "), undeliverable));
}

TEST_F(Notify, TellsWhenThereIsNoSocket) {
    trouble.no_socket = EMFILE;
    EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
    trouble = {};
    EXPECT_THAT(said(), ElementsAre(StartsWith("6/10 Unable to create socket: "), undeliverable));
    EXPECT_EQ(server.count(), 0u);
}

TEST_F(Notify, TellsHowMuchWasSent) {
    for (const std::string &text :
         {"HELO " + host_name() + "\r\n", std::string("RCPT TO:<c@d>\r\n"), std::string("To: a@b, c@d\r\n"),
          std::string("the text"), std::string("\r\n.\r\n")}) {
        for (const size_t size : {size_t{0}, size_t{3}}) {
            SCOPED_TRACE(text);
            trouble.cut = text;
            trouble.cut_size = size;
            const tbs_status_t status = notify({"a@b", "c@d"}, "x", "the text");
            trouble = {};
            EXPECT_EQ(status, TBS_ST_ERROR);
            const std::string first =
                size == 0 ? "6/5 SMTP send error: "
                          : "6/8 SMTP partial send error (3 of " + std::to_string(text.size()) + " bytes sent).";
            const auto lines = said();
            EXPECT_THAT(lines.front(), StartsWith(first));
            EXPECT_EQ(lines[1] == "4/15 Recipient \"c@d\" not accepted.", text[0] == 'R');
            // What takes the mail back cannot be sent either.
            ASSERT_GE(lines.size(), 4u);
            EXPECT_THAT(lines[lines.size() - 3], StartsWith("6/5 "));
            EXPECT_THAT(lines[lines.size() - 2], StartsWith("6/5 "));
            EXPECT_EQ(lines.back(), undeliverable);
            EXPECT_THAT(heard().commands, Not(Contains("QUIT")));
        }
    }
}

// ---- recipients

TEST_F(Notify, TheOthersGetTheMailWhenOneRecipientIsRefused) {
    server.replies("RCPT", {"250 yes", "550 no", "251 elsewhere"});
    EXPECT_EQ(notify({"a@b", "c@d", "e@f"}), 0);
    EXPECT_THAT(said(), ElementsAre("6/7 Wrong SMTP response status: 550 no.", "4/15 Recipient \"c@d\" not accepted.",
                                    "4/13 Partial email recipient delivery (2 out of 3)."));
    const auto [commands, mail, overlapped] = heard();
    EXPECT_THAT(mail, HasSubstr("\r\nTo: a@b, c@d, e@f\r\n"));
    EXPECT_THAT(commands, Not(Contains("RSET")));
}

TEST_F(Notify, WithoutRecipientsThereIsNoMail) {
    EXPECT_EQ(tbs_notify(1, 0, nullptr, "x", "y"), TBS_ST_ERROR);
    EXPECT_THAT(said(), ElementsAre(nobody_left, undeliverable));
    EXPECT_THAT(heard().commands, ElementsAre(_, _, "RSET", "QUIT"));
}

// ---- what could forge a command

const std::string forgeries[] = {"a\r\nRCPT TO:<evil@x>", "a\nDATA", "a\rb", "\x01", "a\x1B[0m", "a\x7F", "a\tb"};

TEST_F(Notify, ARecipientWithAControlCharacterIsNotAccepted) {
    for (const std::string &forged : forgeries) {
        EXPECT_EQ(notify({"a@b", forged.c_str()}), 0);
        const auto [commands, mail, overlapped] = heard();
        EXPECT_THAT(commands, ElementsAre(_, _, "RCPT TO:<a@b>", "DATA", "QUIT"));
        EXPECT_THAT(mail, HasSubstr("\r\nTo: a@b\r\n"));
        const auto lines = said();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_THAT(lines[0], StartsWith("4/15 Recipient \""));
        EXPECT_THAT(lines[0], Not(AnyOf(HasSubstr("\r"), HasSubstr("\n"), HasSubstr("\x1B"))));
        EXPECT_EQ(lines[1], "4/13 Partial email recipient delivery (1 out of 2).");
    }
}

TEST_F(Notify, ASubjectWithAControlCharacterIsRefusedBeforeAnythingIsSent) {
    for (const std::string &forged : forgeries) {
        EXPECT_EQ(notify({"a@b"}, forged), TBS_ST_ERROR);
        EXPECT_THAT(said(),
                    ElementsAre("6/- The subject of the notification holds a control character.", undeliverable));
    }
    EXPECT_EQ(server.count(), 0u);
}

TEST_F(Notify, ADomainWithAControlCharacterIsRefusedBeforeAnythingIsSent) {
    for (const std::string &forged : forgeries) {
        set_text("MailDomain", forged);
        EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
        EXPECT_THAT(said(),
                    ElementsAre("6/- The sender of the notification holds a control character.", undeliverable));
    }
    EXPECT_EQ(server.count(), 0u);
}

TEST_F(Notify, AServerNameWithAControlCharacterIsRefusedBeforeAnythingIsSent) {
    for (const std::string &forged : forgeries) {
        set_text("SmtpServer", "127.0.0.1" + forged);
        EXPECT_EQ(notify({"a@b"}), TBS_ST_ERROR);
        EXPECT_THAT(said(),
                    ElementsAre("6/- The mail server of the notification holds a control character.", undeliverable));
    }
    EXPECT_EQ(server.count(), 0u);
}

// ---- trace

TEST_F(Notify, TracesTheConversation) {
    const auto traced = [&] {
        server.reply("RCPT", "251 elsewhere");
        EXPECT_EQ(notify({"a@b"}, "x", "one\ntwo\n"), 0);
        heard();
        auto lines = said();
        EXPECT_THAT(lines, Each(StartsWith("8/- ")));
        for (std::string &line : lines) line.erase(0, 4);
        return lines;
    };
    EXPECT_THAT(traced(), IsEmpty());
    tbs_notify_trace(1);
    const auto conversation = traced();
    tbs_notify_trace(0);
    EXPECT_THAT(traced(), IsEmpty());
    EXPECT_THAT(conversation,
                ElementsAre("SMTP Rcvd: 220 here", "SMTP Send: HELO " + host_name(), "SMTP Rcvd: 250 hello",
                            "SMTP Send: MAIL FROM:<" + sender() + ">", "SMTP Rcvd: 250 sender",
                            "SMTP Send: RCPT TO:<a@b>", "SMTP Rcvd: 251 elsewhere",
                            "Resp status: want \"250\" have \"251\".", "SMTP Send: DATA", "SMTP Rcvd: 354 go on",
                            StartsWith("SMTP Send: Date: "), "SMTP Send: From: " + sender(), "SMTP Send: To: a@b",
                            "SMTP Send: Subject: x", "SMTP Send: MIME-Version: 1.0",
                            "SMTP Send: Content-type: text/plain;charset=US-ASCII",
                            "SMTP Send: Content-Transfer-Encoding: 8bit", "SMTP Send: ", "SMTP Send: one", "two",
                            "SMTP Send: ", ".", "SMTP Rcvd: 250 kept", "SMTP Send: QUIT", "SMTP Rcvd: 221 bye"));

    imsg_set_trace("tbs_notify:2");
    imsg_set_desired_verbosity(1);
    EXPECT_THAT(traced(), IsEmpty());
    imsg_set_desired_verbosity(2);
    EXPECT_THAT(traced(), SizeIs(conversation.size()));
    imsg_set_trace("tbs_notify:1");
    EXPECT_THAT(traced(), IsEmpty());
    imsg_set_trace("");
    imsg_set_desired_verbosity(0);
}

// ---- hosts in trouble

bool is_last(const mail_server::conversation &one) {
    return std::ranges::count(one.commands, "RCPT TO:<last@b>") != 0;
}

TEST_F(Notify, EveryAllocationMayFail) {
    const std::string path = settings.own.dir.write("text", "Gr\xC3\xBC\xC3\x9F"
                                                            "e\n");
    const char *const to[] = {"a@b", "c@d"}, *const subject = "Gr\xC3\xBC\xC3\x9F"
                                                              "e";
    int done = 0;
    const int refused = faults::each_allocation([&](int, bool) {
        const tbs_status_t status = tbs_notify_pname(1, 2, to, subject, path.c_str(), "UTF-8");
        const faults::suspend unrefused;
        const auto lines = said();
        done += status == 0;
        EXPECT_EQ(status == 0, lines.empty());
        EXPECT_THAT(status, AnyOf(0, TBS_ST_ENOMEM));
        EXPECT_THAT(lines, Each(StartsWith("6/47 Operation \"tbs_notify\" failed")));
    });
    EXPECT_EQ(done, 1);
    EXPECT_GE(refused, 4);

    // Who was spoken to before hears that there is no mail.
    EXPECT_EQ(notify({"last@b"}), 0);
    std::vector<mail_server::conversation> all;
    while (all.empty() || !is_last(all.back())) std::ranges::copy(server.take(), std::back_inserter(all));
    all.pop_back();
    int taken_back = 0;
    for (const auto &[commands, mail, overlapped] : all) {
        ASSERT_FALSE(commands.empty());
        EXPECT_EQ(commands.back(), "QUIT");
        taken_back += commands[commands.size() - 2] == "RSET";
    }
    EXPECT_EQ(taken_back, static_cast<int>(all.size()) - done);
    EXPECT_GT(taken_back, 0);
}

constexpr int mails_in_a_row = under_sanitizer ? 300 : 10000;

int open_descriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) count++;
    return count;
}

TEST_F(Notify, ManyMailsInARowKeepNothing) {
    const auto send = [&](int count) {
        for (int i = 0; i < count; i++) ASSERT_EQ(notify({"a@b"}), 0);
        server.take(static_cast<size_t>(count));
    };
    send(50);
    const int descriptors = open_descriptors();
    const size_t memory = mallinfo2().uordblks;
    send(mails_in_a_row);
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_LT(mallinfo2().uordblks, memory + 65536);
}

std::atomic<int> pipe_signals{0};

TEST_F(Notify, NoSignalIsRaisedWhenTheServerHangsUp) {
    struct sigaction counting {
    }, before;
    counting.sa_handler = [](int) { pipe_signals++; };
    ASSERT_EQ(sigaction(SIGPIPE, &counting, &before), 0);
    for (const char *word : commands_in_order) {
        server.reply(word, mail_server::hang_up);
        for (int i = 0; i < 20; i++) notify({"a@b"}, "x", std::string(200000, 'y'));
        server.take(20);
        server.reply_well(word);
    }
    sigaction(SIGPIPE, &before, nullptr);
    EXPECT_EQ(pipe_signals, 0);
}

TEST_F(Notify, OneNotificationGoesAfterTheOther) {
    constexpr int threads = 4, each = 25;
    std::atomic<int> failed{0};
    on_all_threads(threads, [&](int) {
        for (int i = 0; i < each; i++) failed += notify({"a@b"}) != 0;
    });
    EXPECT_EQ(failed, 0);
    const auto conversations = server.take(threads * each);
    EXPECT_EQ(conversations.size(), size_t{threads} * each);
    for (const auto &one : conversations) {
        EXPECT_FALSE(one.overlapped);
        EXPECT_THAT(one.commands, SizeIs(5));
    }
}

// ---- texts

std::string domain_of_size(size_t size) {
    std::string buffer(size + 1, '#');
    tbs_notify_my_mail_domain_name(buffer.data(), size);
    EXPECT_EQ(buffer[size], '#');
    return buffer.c_str();
}

TEST(NotifyMyMailDomainName, IsTheDomainOrTheHostOrNothing) {
    const registry_test::registry own;
    EXPECT_EQ(domain_of_size(1025), "@" + host_name());
    set_text("MailDomain", "");
    EXPECT_EQ(domain_of_size(1025), "");
    set_text("MailDomain", std::string(1023, 'x'));
    EXPECT_EQ(domain_of_size(1025), "@" + std::string(1023, 'x'));
    set_text("MailDomain", std::string(1024, 'x'));
    EXPECT_EQ(domain_of_size(1025), "@" + host_name());
    set_bytes("MailDomain", std::string(1024, 'x'));
    EXPECT_EQ(domain_of_size(1025), "@" + host_name());
}

TEST(NotifyMyMailDomainName, IsNeverHalfADomain) {
    const registry_test::registry own;
    set_text("MailDomain", "example.com");
    EXPECT_EQ(domain_of_size(13), "@example.com");
    EXPECT_EQ(domain_of_size(12), "");
    EXPECT_EQ(domain_of_size(1), "");
    char untouched = '#';
    tbs_notify_my_mail_domain_name(&untouched, 0);
    tbs_notify_my_mail_domain_name(nullptr, 10);
    EXPECT_EQ(untouched, '#');
}

TEST(NotifyDeliveryMask, IsWrittenAndReadAsNames) {
    const std::pair<uint32_t, const char *> texts[] = {
        {0, "<none>"}, {1, "email"}, {2, "0x00000002"}, {3, "email,0x00000002"}, {UINT32_MAX, "email,0xfffffffe"}};
    for (const auto &[mask, text] : texts) {
        EXPECT_STREQ(tbs_notify_utl_delivery_mask_to_str(mask), text);
        EXPECT_EQ(tbs_notify_utl_delivery_mask_from_str(text), mask);
    }
    EXPECT_EQ(tbs_notify_utl_delivery_mask_from_str("EMail"), 1u);
    EXPECT_EQ(tbs_notify_utl_delivery_mask_from_str(" email , <none>"), 1u);
    for (const char *text : {"", " ", "mail", "email,", "email,,", "email,pager", "1", "0x", "0x100000000"}) {
        EXPECT_EQ(tbs_notify_utl_delivery_mask_from_str(text), 0u) << text;
    }
    EXPECT_EQ(tbs_notify_utl_delivery_mask_from_str(nullptr), 0u);
}

} // namespace
