#include "internal/smtp.hpp"

#include "internal/owned.hpp"

#include <algorithm>
#include <climits>
#include <string>

namespace tbs::smtp {
namespace {

// Messages show sizes as 32-bit numbers.
int shown(size_t size) { return static_cast<int>(std::min<size_t>(size, INT_MAX)); }

// Each line as one trace line: what is sent brings its own line ends.
void trace_sent(std::string_view text) {
    while (!text.empty()) {
        const size_t end = text.find("\r\n");
        const int length = shown(std::min(end, text.size()));
        trace("SMTP Send: %.*s\r\n", length, text.data());
        text.remove_prefix(end == text.npos ? text.size() : end + 2);
    }
}

void free_addresses(sysutl_sockaddr_t **addresses) { stg_free(*addresses); }
using owned_addresses = owned<sysutl_sockaddr_t *, free_addresses>;

} // namespace

session::~session() {
    if (socket_ == KS_NO_SOCKET) return;
    if (send("RSET\r\n")) static_cast<void>(expect({"250"}));
    quit();
}

bool session::connect(const char *host, const char *service) {
    owned_addresses addresses;
    size_t count = 0;
    if (const int error = sysutl_host_addr(host, service, addresses.put(), &count)) {
        if (error == KS_ENOMEM) throw std::bad_alloc();
        report<3>(IMSG_ERROR, host);
        return false;
    }
    // What the last address gave is reported; the socket of one that did not answer is taken back like any other.
    int error = 0;
    bool created = false;
    for (size_t i = 0; i < count; i++) {
        ks_socket_close(&socket_);
        error = ks_socket_create(addresses.get() + i, &socket_);
        created = error == 0;
        if (created) error = ks_socket_connect(socket_, addresses.get() + i, limit_);
        if (error == 0) return true;
    }
    char address[SYSUTL_SOCKADDR_STR_SIZE];
    sysutl_sockaddr_to_str(addresses.get() + count - 1, address, sizeof address);
    if (created) {
        report<10>(IMSG_ERROR, static_cast<const char *>(address), imsg_strerror(error));
    } else {
        report<9>(IMSG_ERROR, imsg_strerror(error));
    }
    return false;
}

bool session::expect(std::initializer_list<const char *> wanted) noexcept {
    reply_end_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_);
    return reader_.read(wanted);
}

bool session::send(std::string_view text, bool more) noexcept {
    if (is_tracing()) trace_sent(text);
    size_t sent = 0;
    const int error = ks_socket_send(socket_, text.data(), text.size(), more, limit_, &sent);
    if (error == 0) return true;
    send_failed_ = true;
    if (sent != 0) {
        report<7>(IMSG_ERROR, shown(sent), shown(text.size()));
    } else {
        report<4>(IMSG_ERROR, imsg_strerror(error));
    }
    return false;
}

bool session::command(std::string_view text, std::initializer_list<const char *> wanted) noexcept {
    return !send_failed_ && !reader_.is_broken() && send(text) && expect(wanted);
}

void session::quit() noexcept {
    if (send("QUIT\r\n")) static_cast<void>(expect({"221"}));
    ks_socket_close(&socket_);
}

int session::receiver::operator()(char *buffer, size_t size, size_t &received) const noexcept {
    // The limit is for the reply as a whole: a server cannot stretch it by sending it bit by bit.
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(of->reply_end_ - std::chrono::steady_clock::now()).count();
    const auto limit = static_cast<uint32_t>(std::max<int64_t>(left, 0));
    return ks_socket_receive(of->socket_, buffer, size, limit, &received);
}

} // namespace tbs::smtp
