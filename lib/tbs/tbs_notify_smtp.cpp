#include "internal/smtp.hpp"

#include "internal/owned.hpp"

#include <algorithm>
#include <climits>
#include <string>

namespace tbs::smtp {
namespace {

// Messages show sizes as 32-bit numbers.
int shown(size_t size) { return static_cast<int>(std::min<size_t>(size, INT_MAX)); }

// Line by line, since arguments cannot bring line ends.
void trace_sent(std::string_view text) {
    const char *before = "SMTP Send: ";
    do {
        const size_t end = text.find("\r\n");
        trace("%s%.*s\r\n", before, shown(std::min(end, text.size())), text.data());
        text.remove_prefix(end == text.npos ? text.size() : end + 2);
        before = "";
    } while (!text.empty());
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

int session::receiver::operator()(char *buffer, size_t size, bool inside_line, size_t &received) const noexcept {
    // The limit is for the reply as a whole: a server cannot stretch it by sending it bit by bit. What the network cut
    // into pieces is there in a moment; a server that ends no lines has said all.
    using std::chrono::milliseconds;
    constexpr int64_t longest_gap = 1000;
    const int64_t left = std::chrono::ceil<milliseconds>(of->reply_end_ - std::chrono::steady_clock::now()).count();
    const auto limit = static_cast<uint32_t>(std::clamp<int64_t>(left, 0, inside_line ? longest_gap : UINT32_MAX));
    return ks_socket_receive(of->socket_, buffer, size, limit, &received);
}

} // namespace tbs::smtp
