// Mails through real servers, with Python's email package as the judge of what arrived.
#include "tbs/notify_test_support.hpp"

#include <arpa/inet.h>
#include <cstdio>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace notify_test;
using nlohmann::json;
using testing::IsEmpty;

constexpr char python[] = "/usr/bin/python3"; // the one that Debian's packages belong to
constexpr char witness[] = ORSIK_SOURCE_DIR "/tests/tbs/mail_witness.py";
constexpr char sink_program[] = "/usr/sbin/smtp-sink";

// A program with a pipe to its standard input and one from its standard output. It ends with its input, or is ended.
class child {
public:
    explicit child(std::vector<std::string> words) {
        int in[2], out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        std::vector<char *> arguments;
        for (std::string &word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        process_ = fork();
        if (process_ == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = fdopen(out[0], "r");
    }
    ~child() {
        close(input_);
        if (status_ < 0 && is_stubborn) kill(process_, SIGTERM);
        wait();
        std::fclose(output_);
    }
    child(const child &) = delete;
    child &operator=(const child &) = delete;

    std::string line() {
        char *text = nullptr;
        size_t size = 0;
        const ssize_t length = getline(&text, &size, output_);
        std::string read(text ? text : "", length > 0 ? static_cast<size_t>(length) : 0);
        free(text);
        return read;
    }
    // What the witness says of one mail.
    json facts() {
        json told = json::parse(line());
        std::string text(told["text_size"], '\0');
        text.resize(std::fread(text.data(), 1, text.size(), output_));
        told["text"] = std::move(text);
        return told;
    }
    int wait() {
        if (status_ < 0) waitpid(process_, &status_, 0);
        return status_;
    }
    bool has_ended() { return status_ >= 0 || waitpid(process_, &status_, WNOHANG) == process_; }

    bool is_stubborn = false; // does not look at its input

private:
    pid_t process_;
    int input_;
    FILE *output_;
    int status_ = -1;
};

struct sample {
    std::string name, subject, text, charset;
    std::string expected; // the text in UTF-8 with one line end behind it
    std::string encoding;
};

std::string repeated(const std::string &text, size_t times) {
    std::string all;
    while (times-- > 0) all += text;
    return all;
}

std::vector<sample> samples() {
    const std::string japanese = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE6\x9C\xAC\xE6\x96\x87\n";
    const std::string hebrew = "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D \xD7\xA2\xD7\x95\xD7\x9C\xD7\x9D\n";
    const std::string emoji = "\xF0\x9F\x9A\x80 done \xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x94\xA7\n";
    const std::string german = "Gr\xC3\xBC\xC3\x9F"
                               "e aus Mainz, alles in Ordnung\n";
    std::vector<sample> all = {
        {"ascii", "Build 7", "All is well.\nNothing to do.\n", "", "", "8bit"},
        {"utf8", "Gr\xC3\xBC\xC3\x9F", german, "UTF-8", "", "quoted-printable"},
        {"japanese", "\xE6\x97\xA5\xE6\x9C\xAC", japanese, "UTF-8", "", "base64"},
        {"right to left", hebrew.substr(0, 8), hebrew, "", "", "base64"},
        {"emoji", emoji.substr(0, 4), emoji, "", "", ""},
        {"long lines", "Lines", std::string(5000, 'x') + "\n" + std::string(5000, 'y') + "\n", "", "", ""},
        {"long words of many bytes", repeated("\xE6\x97\xA5", 100), repeated("\xE6\x97\xA5", 5000) + "\n", "", "",
         ""},
        {"dots", "...", ".\n..\n.a\n\n.\nQUIT\n", "", "", ""},
        {"no end of the last line", "End", "first\nlast", "", "first\nlast\n", "8bit"},
        {"empty lines", "Empty", "\n\na\n\n", "", "", "8bit"},
        {"a header in the text", "Text", "Subject: no\n\nFrom: nobody\n", "", "", "8bit"},
        {"equals signs", "=?UTF-8?Q?no?=", "a=3D b=\nc =\n", "", "", "8bit"},
    };
    all.push_back({"latin", "Gr\xFC\xDF",
                   "Gr\xFC\xDF"
                   "e aus Mainz, alles in Ordnung\n",
                   "ISO-8859-1", german, "quoted-printable"});
    for (sample &one : all) {
        if (one.expected.empty()) one.expected = one.text;
    }
    return all;
}

// Python tells line ends of quoted and encoded texts as they travelled.
std::string with_lf(std::string text) {
    std::erase(text, '\r');
    return text;
}

void expect_same(const sample &sent, const json &arrived) {
    SCOPED_TRACE(sent.name);
    EXPECT_EQ(arrived["from"], sender());
    EXPECT_EQ(arrived["to"], (json{"ann@example.com", "bob@example.com"}));
    const bool is_latin = sent.charset == "ISO-8859-1";
    EXPECT_EQ(arrived["subject"], is_latin ? "Gr\xC3\xBC\xC3\x9F" : sent.subject);
    std::string text = with_lf(arrived["text"]);
    if (text.empty() || text.back() != '\n') text += '\n'; // of base64 the last line ends as it was
    EXPECT_EQ(text, sent.expected);
    EXPECT_THAT(arrived["defects"], IsEmpty());
    EXPECT_LE(arrived["longest_line"], 998);
    EXPECT_EQ(arrived["is_ascii"], true);
    EXPECT_EQ(arrived["has_date"], true);
    if (!sent.encoding.empty()) {
        EXPECT_EQ(arrived["encoding"], sent.encoding);
    }
}

class MailServers : public testing::Test {
protected:
    static void send(const sample &one, const temp_dir &dir) {
        const std::string path = dir.write("text", one.text);
        const char *const to[] = {"ann@example.com", "bob@example.com"};
        EXPECT_EQ(tbs_notify_pname(1, 2, to, one.subject.c_str(), path.c_str(), one.charset.c_str()), 0) << one.name;
    }
    const temp_dir dir;
};

TEST_F(MailServers, WhatArrivesAtAiosmtpdIsWhatWasSent) {
    child server({python, witness, "serve"});
    const std::string port = server.line();
    if (port.empty()) {
        ASSERT_EQ(WEXITSTATUS(server.wait()), 77);
        GTEST_SKIP() << "Python has no module aiosmtpd";
    }
    const mail_settings settings(static_cast<uint32_t>(std::stoul(port)));
    const recording_sink said;
    for (const sample &one : samples()) {
        send(one, dir);
        const json arrived = server.facts();
        expect_same(one, arrived);
        EXPECT_EQ(arrived["sender"], sender());
        EXPECT_EQ(arrived["recipients"], (json{"ann@example.com", "bob@example.com"}));
    }

    sample large{"10 MB", "Large", "", "", "", ""};
    while (large.text.size() < 10'000'000)
        large.text += std::to_string(large.text.size()) + std::string(900, '.') + '\n';
    large.expected = large.text;
    send(large, dir);
    expect_same(large, server.facts());

    std::vector<std::string> names;
    std::vector<const char *> many;
    for (int i = 0; i < 50; i++)
        names.push_back("r" + std::to_string(i) + "@example.com"); // more make a line too long
    for (const std::string &name : names) many.push_back(name.c_str());
    EXPECT_EQ(notify(many), 0);
    const json arrived = server.facts();
    EXPECT_EQ(arrived["to"], json(names));
    EXPECT_LE(arrived["longest_line"], 998);
    EXPECT_THAT(lines_of(said.messages()), IsEmpty());
}

// A port that nobody listened on a moment ago.
uint16_t likely_free_port() {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    const bool bound = bind(probe, reinterpret_cast<sockaddr *>(&address), size) == 0 &&
                       getsockname(probe, reinterpret_cast<sockaddr *>(&address), &size) == 0;
    close(probe);
    return bound ? ntohs(address.sin_port) : 0;
}

bool answers(uint16_t port) {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const bool connected = connect(probe, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    close(probe);
    return connected;
}

TEST_F(MailServers, WhatArrivesAtSmtpSinkIsWhatWasSent) {
    if (access(sink_program, X_OK) != 0) GTEST_SKIP() << "this host has no smtp-sink";
    ASSERT_EQ(chmod(dir.str().c_str(), 0777), 0); // it gives up the rights of root
    std::unique_ptr<child> server;
    uint16_t port = 0;
    // Between the look at the port and its use another program may take it.
    for (int attempt = 0; attempt < 10 && !server; attempt++) {
        port = likely_free_port();
        std::vector<std::string> words = {sink_program, "-d", dir / "mail-"};
        if (getuid() == 0) words.insert(words.end(), {"-u", "nobody"});
        words.insert(words.end(), {"127.0.0.1:" + std::to_string(port), "16"});
        server = std::make_unique<child>(words);
        server->is_stubborn = true;
        while (!server->has_ended() && !answers(port)) std::this_thread::yield();
        if (server->has_ended()) server.reset();
    }
    ASSERT_TRUE(server);
    const mail_settings settings(port);
    const recording_sink said;
    const auto sent = samples();
    std::vector<std::string> words = {python, witness, "parse"};
    for (const sample &one : sent) {
        send(one, dir);
        const std::string kept = dir / ("kept-" + std::to_string(words.size()));
        for (const auto &entry : std::filesystem::directory_iterator(dir.path())) {
            const bool is_mail = entry.path().filename().string().starts_with("mail-") && entry.file_size() > 0;
            if (is_mail) std::filesystem::rename(entry, kept);
        }
        words.push_back(kept);
    }
    child judge(words);
    for (const sample &one : sent) expect_same(one, judge.facts());
    EXPECT_THAT(lines_of(said.messages()), IsEmpty());
}

} // namespace
