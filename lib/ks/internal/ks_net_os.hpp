// ks_net_os.hpp - what a system must supply for ks_net.h. Failures are error numbers of the common space.
#ifndef KS_INTERNAL_KS_NET_OS_HPP
#define KS_INTERNAL_KS_NET_OS_HPP

#include "ks/ks_net.h"

#include <vector>

namespace ks::os {

// Bytes of an address by its family, read where it begins; 0 for a family other than IPv4 and IPv6.
[[nodiscard]] size_t address_size(const void *address) noexcept;

// Appends the addresses of a host's service. May throw bad_alloc.
[[nodiscard]] int resolve(const char *host, const char *service, std::vector<sysutl_sockaddr_t> &addresses);

// Writes the numeric text of a host, without its port, and tells the port; the address is of a known family.
[[nodiscard]] int address_text(const sysutl_sockaddr_t &address, char *host, size_t size, unsigned &port) noexcept;

// Whether the address's text has colons of its own.
[[nodiscard]] bool is_ipv6(const sysutl_sockaddr_t &address) noexcept;

// A stream socket: connects without waiting by itself, closes when a program is started, sends at once.
[[nodiscard]] int open_socket(const sysutl_sockaddr_t &address, ks_socket_t &socket) noexcept;

// As ks_socket_connect(), _send() and _receive(); pointers are valid.
[[nodiscard]] int connect_socket(ks_socket_t socket, const sysutl_sockaddr_t &address, uint32_t limit_ms) noexcept;
[[nodiscard]] int send_bytes(ks_socket_t socket, const void *data, size_t size, bool more, uint32_t limit_ms,
                             size_t &sent) noexcept;
[[nodiscard]] int receive_bytes(ks_socket_t socket, void *buffer, size_t size, uint32_t limit_ms,
                                size_t &received) noexcept;

void close_socket(ks_socket_t socket) noexcept;

} // namespace ks::os

#endif
