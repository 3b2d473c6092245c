#include "internal/ks_net_os.hpp"

#include "ks/ks_errno.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <new>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

static_assert(sizeof(sockaddr_storage) <= sizeof(sysutl_sockaddr_t));

const sockaddr *host_form(const sysutl_sockaddr_t &address) {
    return static_cast<const sockaddr *>(static_cast<const void *>(&address));
}

socklen_t host_size(const sysutl_sockaddr_t &address) {
    return static_cast<socklen_t>(ks::os::address_size(&address));
}

int resolver_error(int code) {
    switch (code) {
    case EAI_NONAME:
    case EAI_NODATA:
    case EAI_SERVICE:
    case EAI_ADDRFAMILY:
    case EAI_FAMILY: return KS_ENOENT;
    case EAI_AGAIN: return KS_EAGAIN;
    case EAI_MEMORY: throw std::bad_alloc();
    case EAI_SYSTEM: return ks_errno_from_host(errno);
    default: return KS_EIO;
    }
}

// Waits until the socket is ready, an error among that.
int wait_until(int fd, short events, clock::time_point end) {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - clock::now()).count();
        pollfd waiting{.fd = fd, .events = events, .revents = 0};
        const int ready = poll(&waiting, 1, static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX)));
        if (ready > 0) return 0;
        if (ready == 0 && left <= INT_MAX) return KS_ETIMEDOUT;
        if (ready < 0 && errno != EINTR) return ks_errno_from_host(errno);
    }
}

bool must_wait(int error) { return error == EAGAIN || error == EWOULDBLOCK; }

// What became of a connection that was under way.
int outcome_of_connect(int fd) {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    return error == 0 ? 0 : ks_errno_from_host(error);
}

} // namespace

namespace ks::os {

size_t address_size(const void *address) noexcept {
    sa_family_t family;
    std::memcpy(&family, static_cast<const char *>(address) + offsetof(sockaddr, sa_family), sizeof family);
    return family == AF_INET ? sizeof(sockaddr_in) : family == AF_INET6 ? sizeof(sockaddr_in6) : 0;
}

int resolve(const char *host, const char *service, std::vector<sysutl_sockaddr_t> &addresses) {
    addrinfo wanted{};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (const int code = getaddrinfo(host, service, &wanted, &found)) return resolver_error(code);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
    for (const addrinfo *entry = found; entry; entry = entry->ai_next) {
        sysutl_sockaddr_t address;
        if (sysutl_copy_sockaddr(&address, entry->ai_addr) == 0) addresses.push_back(address);
    }
    return 0;
}

int address_text(const sysutl_sockaddr_t &address, char *host, size_t size, unsigned &port) noexcept {
    const int code = getnameinfo(host_form(address), host_size(address), host, static_cast<socklen_t>(size), nullptr,
                                 0, NI_NUMERICHOST);
    if (code != 0) return code == EAI_MEMORY ? KS_ENOMEM : KS_EIO;
    in_port_t number;
    static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
    std::memcpy(&number, reinterpret_cast<const char *>(&address) + offsetof(sockaddr_in, sin_port), sizeof number);
    port = ntohs(number);
    return 0;
}

bool is_ipv6(const sysutl_sockaddr_t &address) noexcept { return host_form(address)->sa_family == AF_INET6; }

int open_socket(const sysutl_sockaddr_t &address, ks_socket_t &socket) noexcept {
    const int fd = ::socket(host_form(address)->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return ks_errno_from_host(errno);
    const int at_once = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once); // without it all is slower, and as right
    socket = fd;
    return 0;
}

int connect_socket(ks_socket_t socket, const sysutl_sockaddr_t &address, uint32_t limit_ms) noexcept {
    const auto end = clock::now() + milliseconds(limit_ms);
    const int fd = static_cast<int>(socket);
    int error = 0;
    if (connect(fd, host_form(address), host_size(address)) != 0) {
        // One that a signal interrupts goes on by itself, too.
        if (errno != EINPROGRESS && errno != EINTR) return ks_errno_from_host(errno);
        error = wait_until(fd, POLLOUT, end);
        if (error == 0) error = outcome_of_connect(fd);
    }
    int may_not_wait = 0; // from now on each call says how long it waits
    if (error == 0 && ioctl(fd, FIONBIO, &may_not_wait) != 0) error = ks_errno_from_host(errno);
    if (error != 0) shutdown(fd, SHUT_RDWR); // gives up, so that later calls fail at once
    return error;
}

int send_bytes(ks_socket_t socket, const void *data, size_t size, bool more, uint32_t limit_ms,
               size_t &sent) noexcept {
    const int fd = static_cast<int>(socket);
    const auto *bytes = static_cast<const char *>(data);
    while (sent < size) {
        const ssize_t took = send(fd, bytes + sent, size - sent, MSG_DONTWAIT | MSG_NOSIGNAL | (more ? MSG_MORE : 0));
        if (took >= 0) {
            sent += static_cast<size_t>(took);
        } else if (must_wait(errno)) {
            const int error = wait_until(fd, POLLOUT, clock::now() + milliseconds(limit_ms));
            if (error == 0) continue;
            shutdown(fd, SHUT_RDWR); // nothing follows what was cut off
            return error;
        } else if (errno != EINTR) {
            return ks_errno_from_host(errno);
        }
    }
    return 0;
}

int receive_bytes(ks_socket_t socket, void *buffer, size_t size, uint32_t limit_ms, size_t &received) noexcept {
    const int fd = static_cast<int>(socket);
    const auto end = clock::now() + milliseconds(limit_ms);
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - clock::now()).count();
        if (left > 0) { // the system takes 0 for no limit
            const timeval limit{.tv_sec = left / 1000, .tv_usec = left % 1000 * 1000};
            if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) return ks_errno_from_host(errno);
        }
        const ssize_t got = recv(fd, buffer, size, left > 0 ? 0 : MSG_DONTWAIT);
        if (got >= 0) {
            received = static_cast<size_t>(got);
            return 0;
        }
        if (must_wait(errno)) return KS_ETIMEDOUT;
        if (errno != EINTR) return ks_errno_from_host(errno);
    }
}

void close_socket(ks_socket_t socket) noexcept { close(static_cast<int>(socket)); }

} // namespace ks::os
