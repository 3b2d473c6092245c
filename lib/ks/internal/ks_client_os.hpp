// ks_client_os.hpp - what a system must supply to tell who asks. Failures are error numbers of the common space.
#ifndef KS_INTERNAL_KS_CLIENT_OS_HPP
#define KS_INTERNAL_KS_CLIENT_OS_HPP

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ks::os {

// Who asks, by the host's ids. The groups may hold the primary one again.
struct client_ids {
    uint32_t uid;
    uint32_t gid;
    std::vector<uint32_t> groups;
};

// The calling process: effective ids, supplementary groups.
[[nodiscard]] int process_ids(client_ids &ids);

// The peer of a connected local socket, without supplementary groups. KS_ENOTSUP: it is no such socket.
[[nodiscard]] int peer_ids(int socket, client_ids &ids);

// Who called a remote procedure: either ids, or a principal "name@REALM" when that is not empty.
struct rpc_identity {
    client_ids ids;
    std::string principal;
};

// KS_EACCES: the request says it in no form that can be used.
[[nodiscard]] int caller_of_rpc(const void *request, rpc_identity &caller);

// Reads the principal out of a mechanism's exported name (RFC 2743, section 3.2). False for a name that is not one
// of Kerberos.
[[nodiscard]] bool principal_of_exported_name(std::span<const unsigned char> token, std::string &principal);

} // namespace ks::os

#endif
