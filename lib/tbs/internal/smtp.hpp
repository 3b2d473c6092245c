// smtp.hpp - one conversation with a mail server.
#ifndef TBS_INTERNAL_SMTP_HPP
#define TBS_INTERNAL_SMTP_HPP

#include "ks/ks_net.h"
#include "smtp_reply.hpp"

#include <chrono>
#include <string_view>

namespace tbs::smtp {

// A conversation. Every function that fails reports why. One that is not ended with quit() is taken back (RSET, QUIT)
// when the session goes, also when that is for an exception.
class session {
public:
    explicit session(uint32_t limit_ms) : limit_(limit_ms), reader_(receiver{this}) {}
    ~session();
    session(const session &) = delete;
    session &operator=(const session &) = delete;

    // Connects to the first of the host's addresses that answers.
    [[nodiscard]] bool connect(const char *host, const char *service);

    // Reads a reply with one of these codes.
    [[nodiscard]] bool expect(std::initializer_list<const char *> wanted) noexcept;

    // Sends a text as it is. With `more` the next call follows at once.
    [[nodiscard]] bool send(std::string_view text, bool more = false) noexcept;

    // Sends a command, its end included, and reads the reply. After the connection broke nothing is tried any more.
    [[nodiscard]] bool command(std::string_view text, std::initializer_list<const char *> wanted) noexcept;

    // Ends the conversation; what the server says to that changes nothing.
    void quit() noexcept;

private:
    struct receiver {
        session *of;
        int operator()(char *buffer, size_t size, bool inside_line, size_t &received) const noexcept;
    };

    uint32_t limit_; // milliseconds
    std::chrono::steady_clock::time_point reply_end_;
    ks_socket_t socket_ = KS_NO_SOCKET;
    bool send_failed_ = false;
    reply_reader<receiver> reader_;
};

} // namespace tbs::smtp

#endif
