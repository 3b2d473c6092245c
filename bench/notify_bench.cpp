// One plain mail, from connect to quit, to a server of few words on the loopback interface.

#include "nt/nt_regy.h"
#include "tbs/tbs_notify.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <curl/curl.h>
#include <filesystem>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

const char *const recipient = "ann@example.com";

std::string plain_text() {
    std::string text;
    for (int i = 0; i < 20; i++) text += "The build has ended and all of its targets are up to date.\n";
    return text;
}

void at_once(int fd) {
    const int yes = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

// Takes mails and forgets them. One connection at a time, in a thread that lives as long as the program.
class forgetful_server {
public:
    forgetful_server() {
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        if (bind(listener, reinterpret_cast<sockaddr *>(&address_), size) != 0 || listen(listener, 64) != 0 ||
            getsockname(listener, reinterpret_cast<sockaddr *>(&address_), &size) != 0) {
            std::abort();
        }
        std::thread([listener] {
            for (int fd; (fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(fd)) converse(fd);
        }).detach();
    }
    const sockaddr_in &address() const { return address_; }
    uint32_t port() const { return ntohs(address_.sin_port); }

private:
    static bool say(int fd, std::string_view reply) {
        return send(fd, reply.data(), reply.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(reply.size());
    }

    static void converse(int fd) {
        at_once(fd);
        char buffer[8192];
        size_t used = 0;
        bool inside_mail = false;
        if (!say(fd, "220 here\r\n")) return;
        for (ssize_t got; (got = recv(fd, buffer + used, sizeof buffer - used, 0)) > 0;) {
            used += static_cast<size_t>(got);
            const std::string_view heard(buffer, used);
            if (!heard.ends_with(inside_mail ? "\r\n.\r\n" : "\r\n")) continue;
            const bool begins = !inside_mail && heard.starts_with("DATA");
            const bool quits = !inside_mail && heard.starts_with("QUIT");
            inside_mail = begins;
            used = 0;
            if (!say(fd, begins ? "354 go on\r\n" : quits ? "221 bye\r\n" : "250 fine\r\n") || quits) return;
        }
    }

    sockaddr_in address_{};
};

const forgetful_server &one_server() {
    static const forgetful_server made;
    return made;
}

// A registry of this run that names the server.
class host {
public:
    host() {
        char path[] = "/tmp/tbs_bench_XXXXXX";
        if (!mkdtemp(path)) std::abort();
        directory_ = path;
        setenv("ORSIK_HOSTDATA_DIR", path, 1);
        const uint32_t port = one_server().port();
        char key[NTREGY_KEY_SIZE];
        if (ntregy_get_common_key(key, sizeof key) != 0 ||
            ntregy_set_string(NTREGY_LOCAL_MACHINE, key, "SmtpServer", "127.0.0.1") != 0 ||
            ntregy_set_string(NTREGY_LOCAL_MACHINE, key, "MailDomain", "example.com") != 0 ||
            ntregy_set_value(NTREGY_LOCAL_MACHINE, key, "SmtpPort", NTREGY_DWORD, &port, sizeof port) != 0) {
            std::abort();
        }
    }
    ~host() {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    host(const host &) = delete;
    host &operator=(const host &) = delete;

private:
    std::string directory_;
};

void notify(benchmark::State &state) {
    static const host made;
    const std::string text = plain_text();
    for (auto _ : state) {
        if (tbs_notify(TBS_NOTIFY_BY_EMAIL, 1, &recipient, "Build 7", text.c_str()) != 0) std::abort();
    }
}

std::string ready_mail() {
    std::string mail =
        "Date: Sat, 14 Nov 2026 23:40:00 +0000 (GMT)\r\nFrom: ann@example.com\r\nTo: ann@example.com\r\n"
        "Subject: Build 7\r\n\r\n";
    for (const char c : plain_text()) mail += c == '\n' ? "\r\n" : std::string(1, c);
    return mail;
}

void notify_curl(benchmark::State &state) {
    const std::string mail = ready_mail(), url = "smtp://127.0.0.1:" + std::to_string(one_server().port()) + "/here";
    CURL *curl = curl_easy_init();
    curl_slist *recipients = curl_slist_append(nullptr, recipient);
    if (!curl || !recipients) std::abort();
    struct source {
        const std::string *text;
        size_t at;
    } left{&mail, 0};
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_MAIL_FROM, recipient);
    curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, recipients);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(curl, CURLOPT_READDATA, &left);
    curl_easy_setopt(
        curl, CURLOPT_READFUNCTION, +[](char *buffer, size_t size, size_t count, void *from) {
            auto *rest = static_cast<source *>(from);
            const size_t copied = rest->text->copy(buffer, size * count, rest->at);
            rest->at += copied;
            return copied;
        });
    for (auto _ : state) {
        left.at = 0;
        if (curl_easy_perform(curl) != CURLE_OK) std::abort();
    }
    curl_slist_free_all(recipients);
    curl_easy_cleanup(curl);
}

// The same round trips with nothing around them.
void notify_bare(benchmark::State &state) {
    const sockaddr_in address = one_server().address();
    const std::string mail = ready_mail() + "\r\n.\r\n";
    for (auto _ : state) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        at_once(fd);
        char reply[256];
        bool fine = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                    recv(fd, reply, sizeof reply, 0) > 0;
        for (const std::string_view said :
             {std::string_view("HELO here\r\n"), std::string_view("MAIL FROM:<ann@example.com>\r\n"),
              std::string_view("RCPT TO:<ann@example.com>\r\n"), std::string_view("DATA\r\n"), std::string_view(mail),
              std::string_view("QUIT\r\n")}) {
            fine =
                fine && send(fd, said.data(), said.size(), MSG_NOSIGNAL) > 0 && recv(fd, reply, sizeof reply, 0) > 0;
        }
        close(fd);
        if (!fine) std::abort();
    }
}

} // namespace

BENCHMARK(notify)->Name("notify/ours")->UseRealTime();
BENCHMARK(notify_curl)->Name("notify/peer:libcurl")->UseRealTime();
BENCHMARK(notify_bare)->Name("notify/peer:round_trips")->UseRealTime();
