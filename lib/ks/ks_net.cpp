#include "ks/ks_net.h"

#include "internal/ks_call.hpp"
#include "internal/ks_net_os.hpp"
#include "ks/ks_stg.h"
#include "ks/ks_str.h"

#include <cstring>

using namespace ks;

namespace {

bool is_known(const sysutl_sockaddr_t *address) noexcept { return sysutl_sockaddr_size(address) != 0; }

} // namespace

extern "C" int sysutl_host_addr(const char *host, const char *service, sysutl_sockaddr_t **addresses_out,
                                size_t *count_out) noexcept {
    return call([&]() -> int {
        if (!host || !*host || !service || !*service || !addresses_out || !count_out) return KS_EINVAL;
        std::vector<sysutl_sockaddr_t> addresses;
        if (const int error = os::resolve(host, service, addresses)) return error;
        if (addresses.empty()) return KS_ENOENT;
        const size_t bytes = addresses.size() * sizeof addresses[0];
        auto *copy = static_cast<sysutl_sockaddr_t *>(stg_malloc(bytes));
        if (!copy) return KS_ENOMEM;
        std::memcpy(copy, addresses.data(), bytes);
        *addresses_out = copy;
        *count_out = addresses.size();
        return 0;
    });
}

extern "C" size_t sysutl_sockaddr_size(const sysutl_sockaddr_t *address) noexcept {
    return address ? os::address_size(address) : 0;
}

extern "C" int sysutl_copy_sockaddr(sysutl_sockaddr_t *to, const void *from) noexcept {
    const size_t size = from ? os::address_size(from) : 0;
    if (!to || size == 0) return fail(KS_EINVAL);
    sysutl_sockaddr_t copy{};
    std::memcpy(&copy, from, size);
    *to = copy;
    return 0;
}

extern "C" int sysutl_sockaddr_to_str(const sysutl_sockaddr_t *address, char *buffer, size_t size) noexcept {
    return call([&]() -> int {
        if (!buffer || size == 0) return KS_EINVAL;
        buffer[0] = '\0';
        if (!is_known(address)) return KS_EINVAL;
        char host[SYSUTL_SOCKADDR_STR_SIZE];
        unsigned port = 0;
        if (const int error = os::address_text(*address, host, sizeof host, port)) return error;
        const char *const format = os::is_ipv6(*address) ? "[%s]:%u" : "%s:%u";
        if (strutl_snprintf(buffer, size, format, host, port) < size) return 0;
        buffer[0] = '\0';
        return KS_ENAMETOOLONG;
    });
}

extern "C" int ks_socket_create(const sysutl_sockaddr_t *address, ks_socket_t *socket_out) noexcept {
    return call([&]() -> int {
        if (!socket_out || !is_known(address)) return KS_EINVAL;
        return os::open_socket(*address, *socket_out);
    });
}

extern "C" int ks_socket_connect(ks_socket_t socket, const sysutl_sockaddr_t *address, uint32_t limit_ms) noexcept {
    return call(
        [&]() -> int { return is_known(address) ? os::connect_socket(socket, *address, limit_ms) : KS_EINVAL; });
}

extern "C" int ks_socket_send(ks_socket_t socket, const void *data, size_t size, int more, uint32_t limit_ms,
                              size_t *sent_out) noexcept {
    return call([&]() -> int {
        if (!sent_out || (!data && size != 0)) return KS_EINVAL;
        *sent_out = 0;
        return os::send_bytes(socket, data, size, more != 0, limit_ms, *sent_out);
    });
}

extern "C" int ks_socket_receive(ks_socket_t socket, void *buffer, size_t size, uint32_t limit_ms,
                                 size_t *received_out) noexcept {
    return call([&]() -> int {
        if (!buffer || size == 0 || !received_out) return KS_EINVAL;
        return os::receive_bytes(socket, buffer, size, limit_ms, *received_out);
    });
}

extern "C" void ks_socket_close(ks_socket_t *socket) noexcept {
    if (!socket || *socket == KS_NO_SOCKET) return;
    os::close_socket(*socket);
    *socket = KS_NO_SOCKET;
}
