// ks_account.hpp - the chain of account sources, as the modules of credentials use it. Functions throw
// std::bad_alloc and give error numbers; none sets ks_errno.
#ifndef KS_INTERNAL_KS_ACCOUNT_HPP
#define KS_INTERNAL_KS_ACCOUNT_HPP

#include "internal/ks_account_cache.hpp"

#include <string>
#include <vector>

namespace ks {

[[nodiscard]] int find_account(credutl_account_kind_t kind, const char *name, account_answer &answer);
[[nodiscard]] int find_account(credutl_account_kind_t kind, const credutl_sid_t &sid, account_answer &answer);

// The SID of a name, without copying the rest.
[[nodiscard]] int find_sid(credutl_account_kind_t kind, const char *name, credutl_sid_t &sid);

// The SID of a uid or gid. It has one even when no source lists the id.
[[nodiscard]] int find_sid(credutl_account_kind_t kind, uint32_t id, credutl_sid_t &sid);

// Writes the name "DOMAIN\name" of a SID. KS_ENAMETOOLONG: the buffer is too small.
[[nodiscard]] int find_name(credutl_account_kind_t kind, const credutl_sid_t &sid, char *buffer, size_t size);

// The uid or gid of a SID; KS_ENOENT when it has none.
[[nodiscard]] int find_id(credutl_account_kind_t kind, const credutl_sid_t &sid, uint32_t &id);

// The groups that the accounts file gives to a user, the primary one first.
[[nodiscard]] int file_groups(const char *user, std::vector<std::string> &groups);

[[nodiscard]] inline bool is_account_kind(credutl_account_kind_t kind) noexcept {
    return kind == CREDUTL_USER || kind == CREDUTL_GROUP;
}

} // namespace ks

#endif
