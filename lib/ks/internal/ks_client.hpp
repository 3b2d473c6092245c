// ks_client.hpp - clients by the principal of an authenticated call.
#ifndef KS_INTERNAL_KS_CLIENT_HPP
#define KS_INTERNAL_KS_CLIENT_HPP

#include "ks/ks_cred.h"

#include <string>

namespace ks {

// "user@REALM" is the account "REALM\user". Where the domain is known by its short name, the realm's first label
// names it. Never an account of this host: the realm is not the host. KS_ENOENT: unknown; KS_EACCES: no such form.
[[nodiscard]] int client_of_principal(const std::string &principal, credutl_client_t **client_out);

} // namespace ks

#endif
