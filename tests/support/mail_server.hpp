// mail_server.hpp - a mail server on the loopback interface that answers as a test says.
#ifndef TESTS_SUPPORT_MAIL_SERVER_HPP
#define TESTS_SUPPORT_MAIL_SERVER_HPP

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

// Takes one connection after the other in a thread of its own. A reply is found by the command's first word; that of
// the greeting is "" and that of the end of the mail ".". Of several replies for one word each serves once, the last
// for ever.
class mail_server {
public:
    // In the place of a reply: says nothing from then on, or closes the connection. Behind a reply: without line end.
    static constexpr char silence[] = "(silence)", hang_up[] = "(hang up)", unended[] = "(unended)";

    struct conversation {
        std::vector<std::string> commands; // without line ends
        std::string mail;                  // up to the dot, or as far as it came
        bool overlapped = false;           // another connection waited meanwhile
    };

    explicit mail_server(int family = AF_INET) : listener_(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in6 ipv6{};
        ipv6.sin6_family = AF_INET6;
        ipv6.sin6_addr = in6addr_loopback;
        sockaddr_in ipv4{};
        ipv4.sin_family = AF_INET;
        ipv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto *address =
            family == AF_INET6 ? reinterpret_cast<sockaddr *>(&ipv6) : reinterpret_cast<sockaddr *>(&ipv4);
        socklen_t size = family == AF_INET6 ? sizeof ipv6 : sizeof ipv4;
        if (bind(listener_, address, size) != 0 || listen(listener_, 16) != 0 ||
            getsockname(listener_, address, &size) != 0) {
            close(listener_);
            throw std::runtime_error("cannot listen on the loopback interface");
        }
        port_ = ntohs(family == AF_INET6 ? ipv6.sin6_port : ipv4.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~mail_server() {
        shutdown(listener_, SHUT_RDWR); // ends accept()
        thread_.join();
        close(listener_);
    }
    mail_server(const mail_server &) = delete;
    mail_server &operator=(const mail_server &) = delete;

    uint32_t port() const { return port_; }

    // Lines are ended with CR LF; a reply that ends with "\r" or "\n" itself is sent as it is.
    void replies(const std::string &word, std::vector<std::string> with) {
        const std::lock_guard lock(mutex_);
        replies_[word] = std::move(with);
    }
    void reply(const std::string &word, const std::string &with) { replies(word, {with}); }
    // As at first.
    void reply_well(const std::string &word) { replies(word, good_replies().at(word)); }

    // The conversations that have ended, which it waits for, and forgets them.
    std::vector<conversation> take(size_t count = 1) {
        for (;;) {
            {
                const std::lock_guard lock(mutex_);
                if (ended_.size() >= count) return std::exchange(ended_, {});
            }
            std::this_thread::yield();
        }
    }
    size_t count() {
        const std::lock_guard lock(mutex_);
        return ended_.size();
    }

private:
    using replies_by_word = std::map<std::string, std::vector<std::string>>;

    static replies_by_word good_replies() {
        return {{"", {"220 here"}},      {"HELO", {"250 hello"}}, {"MAIL", {"250 sender"}}, {"RCPT", {"250 taken"}},
                {"DATA", {"354 go on"}}, {".", {"250 kept"}},     {"RSET", {"250 reset"}},  {"QUIT", {"221 bye"}}};
    }

    struct connection {
        int fd;
        bool silent = false;
        std::string received;

        explicit connection(int of) : fd(of) {
            const int at_once = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once);
        }
        ~connection() { close(fd); }
        connection(const connection &) = delete;
        connection &operator=(const connection &) = delete;

        // What comes before a mark, which is taken away; at the end of the connection the rest, and false.
        bool read_up_to(const std::string &mark, std::string &text) {
            size_t at = 0, searched = 0;
            while ((at = received.find(mark, searched)) == received.npos) {
                searched = received.size() - std::min(received.size(), mark.size() - 1);
                char buffer[65536];
                const ssize_t got = recv(fd, buffer, sizeof buffer, 0);
                if (got <= 0) {
                    text = std::exchange(received, {});
                    return false;
                }
                received.append(buffer, static_cast<size_t>(got));
            }
            text = received.substr(0, at);
            received.erase(0, at + mark.size());
            return true;
        }
    };

    void serve() {
        for (int fd; (fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            conversation heard;
            {
                connection client(fd);
                converse(client, heard);
            }
            const std::lock_guard lock(mutex_);
            ended_.push_back(std::move(heard));
        }
    }

    bool others_wait() const {
        pollfd waiting{.fd = listener_, .events = POLLIN, .revents = 0};
        return poll(&waiting, 1, 0) > 0 && (waiting.revents & POLLIN) != 0;
    }

    void converse(connection &client, conversation &heard) {
        std::string word;
        if (!answer(client, word)) return;
        for (std::string line; client.read_up_to("\r\n", line);) {
            heard.commands.push_back(line);
            word = line.substr(0, line.find(' '));
            const std::string reply = next_reply(word);
            if (!say(client, reply)) return;
            if (word == "DATA" && reply.starts_with("354")) {
                heard.overlapped = others_wait();
                const bool whole = client.read_up_to("\r\n.\r\n", heard.mail);
                word = ".";
                if (!whole || !answer(client, word)) return;
            }
            if (word == "QUIT" && !client.silent) return;
        }
    }

    bool answer(connection &client, const std::string &word) { return say(client, next_reply(word)); }

    std::string next_reply(const std::string &word) {
        const std::lock_guard lock(mutex_);
        auto found = replies_.find(word);
        if (found == replies_.end()) return "500 what?";
        std::string reply = found->second.front();
        if (found->second.size() > 1) found->second.erase(found->second.begin());
        return reply;
    }

    // False: the connection is to be closed.
    static bool say(connection &client, std::string reply) {
        if (reply == hang_up) return false;
        if (reply == silence) client.silent = true;
        if (client.silent) return true;
        if (reply.ends_with(unended)) {
            reply.resize(reply.size() + 1 - sizeof unended);
        } else if (reply.empty() || (reply.back() != '\n' && reply.back() != '\r')) {
            reply += "\r\n";
        }
        return send(client.fd, reply.data(), reply.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(reply.size());
    }

    const int listener_;
    uint32_t port_ = 0;
    std::mutex mutex_;
    replies_by_word replies_ = good_replies();
    std::vector<conversation> ended_;
    std::thread thread_;
};

#endif
