#include "internal/ks_client_os.hpp"

#include "ks/ks_cred.h"
#include "ks/ks_errno.h"

#include <algorithm>
#include <cerrno>

#include <grp.h>
#include <rpc/rpc.h>
#include <sys/socket.h>
#include <unistd.h>

extern "C" {

// From <rpc/rpcsec_gss.h> of TI-RPC, which needs the headers of a GSS library; its records are part of the interface.
struct rpc_gss_exported_name {
    int length;
    char bytes[1];
};
struct rpc_gss_raw_credentials {
    unsigned version;
    char *mechanism;
    char *qop;
    struct rpc_gss_exported_name *client;
    char *service;
    int protection;
};
bool_t rpc_gss_getcred(struct svc_req *request, struct rpc_gss_raw_credentials **raw, void **unix_ids, void **cookie);
}

namespace ks::os {
namespace {

constexpr int flavour_gss = 6; // RFC 2203

// A caller that is nobody, or says more groups than an account has, is not believed.
bool is_believable(const client_ids &ids) noexcept {
    const auto is_id = [](uint32_t id) { return id < CREDUTL_NO_ID; };
    return is_id(ids.uid) && is_id(ids.gid) && std::all_of(ids.groups.begin(), ids.groups.end(), is_id);
}

int read_auth_sys(const svc_req &request, client_ids &ids) {
    const auto *sent = static_cast<const authunix_parms *>(request.rq_clntcred);
    if (!sent || sent->aup_len > CREDUTL_MAX_GROUPS || (sent->aup_len > 0 && !sent->aup_gids)) {
        return KS_EACCES;
    }
    ids.uid = sent->aup_uid;
    ids.gid = sent->aup_gid;
    ids.groups.assign(sent->aup_gids, sent->aup_gids + sent->aup_len);
    return is_believable(ids) ? 0 : KS_EACCES;
}

int read_gss(const svc_req &request, std::string &principal) {
    rpc_gss_raw_credentials *raw = nullptr;
    // The call reads the transport's state, which a request made by hand does not have.
    if (!request.rq_xprt || !rpc_gss_getcred(const_cast<svc_req *>(&request), &raw, nullptr, nullptr) || !raw ||
        !raw->client || raw->client->length < 0) {
        return KS_EACCES;
    }
    const auto *bytes = reinterpret_cast<const unsigned char *>(raw->client->bytes);
    return principal_of_exported_name({bytes, static_cast<size_t>(raw->client->length)}, principal) ? 0 : KS_EACCES;
}

} // namespace

int process_ids(client_ids &ids) {
    ids.uid = geteuid();
    ids.gid = getegid();
    for (;;) {
        const int count = getgroups(0, nullptr);
        if (count < 0) {
            return ks_errno_from_host(errno);
        }
        ids.groups.resize(static_cast<size_t>(count));
        const int got = getgroups(count, ids.groups.data());
        if (got >= 0) {
            // With room for none the call only counts.
            ids.groups.resize(count == 0 ? 0 : static_cast<size_t>(got));
            return ids.groups.size() <= CREDUTL_MAX_GROUPS ? 0 : KS_EIO;
        }
        if (errno != EINVAL) { // another thread has changed them meanwhile
            return ks_errno_from_host(errno);
        }
    }
}

int peer_ids(int socket, client_ids &ids) {
    int family = 0;
    socklen_t size = sizeof family;
    if (getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &family, &size) != 0) {
        return errno == ENOTSOCK ? KS_ENOTSUP : ks_errno_from_host(errno);
    }
    ucred peer;
    size = sizeof peer;
    if (family != AF_UNIX || getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return KS_ENOTSUP;
    }
    if (peer.uid >= CREDUTL_NO_ID || peer.gid >= CREDUTL_NO_ID) { // not connected
        return KS_ENOTSUP;
    }
    ids.uid = peer.uid;
    ids.gid = peer.gid;
    return 0;
}

int caller_of_rpc(const void *request, rpc_identity &caller) {
    const auto &from = *static_cast<const svc_req *>(request);
    switch (from.rq_cred.oa_flavor) {
    case AUTH_SYS: return read_auth_sys(from, caller.ids);
    case flavour_gss: return read_gss(from, caller.principal);
    default: return KS_EACCES;
    }
}

bool principal_of_exported_name(std::span<const unsigned char> token, std::string &principal) {
    // 04 01, length of the mechanism's identifier, the identifier in DER, length of the name, the name (all lengths
    // with the high byte first): RFC 2743, section 3.2; the mechanism 1.2.840.113554.1.2.2: RFC 1964.
    static constexpr unsigned char kerberos[] = {0x04, 0x01, 0x00, 0x0B, 0x06, 0x09, 0x2A, 0x86,
                                                 0x48, 0x86, 0xF7, 0x12, 0x01, 0x02, 0x02};
    constexpr size_t name_at = sizeof kerberos + 4;
    if (token.size() <= name_at || !std::equal(std::begin(kerberos), std::end(kerberos), token.begin())) {
        return false;
    }
    size_t length = 0;
    for (size_t i = sizeof kerberos; i < name_at; i++) {
        length = length << 8 | token[i];
    }
    const auto name = token.subspan(name_at);
    // An escaped character ("\@" or "\0") is no part of an account's name, and a zero byte would cut it.
    if (length != name.size() || std::any_of(name.begin(), name.end(), [](unsigned char c) {
            return c == '\\' || c == '/' || c < 0x20 || c == 0x7F;
        })) {
        return false;
    }
    principal.assign(name.begin(), name.end());
    return true;
}

} // namespace ks::os
