// ks_account_os.hpp - what a system must supply for accounts. Failures are error numbers of the common space.
#ifndef KS_INTERNAL_KS_ACCOUNT_OS_HPP
#define KS_INTERNAL_KS_ACCOUNT_OS_HPP

#include "ks/ks_cred.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace ks::os {

// ---- the accounts file ----

// Two equal identities mean that the content has not changed.
struct file_identity {
    uint64_t device = 0, file = 0, size = 0;
    int64_t modified = 0, changed = 0; // nanoseconds
    bool operator==(const file_identity &) const = default;
};

// Gives the identity of the file at a product path. KS_ENOENT: there is none.
[[nodiscard]] int identify_file(const std::string &path, file_identity &identity);

struct file_content {
    std::string bytes;
    file_identity identity;          // of the open file, before it was read
    bool writable_by_others = false; // another than its owner may change it
};

// Reads a file through one descriptor. KS_ENOENT: there is none. KS_EISDIR, KS_EFBIG (more than the limit) and
// others: it cannot be read.
[[nodiscard]] int read_file(const std::string &path, size_t limit, file_content &content);

// Milliseconds of a clock that never goes back. Cheap rather than exact: a few milliseconds do not matter.
[[nodiscard]] int64_t milliseconds() noexcept;

// ---- sources of accounts ----

// What a source of domain accounts knows about one.
struct domain_account {
    credutl_sid_t sid;
    uint32_t id = CREDUTL_NO_ID;
    std::string domain, name;
};

// A source beside the accounts file and the host's own accounts. Each function gives 0, KS_ENOENT (it does not know,
// or is not there), KS_ENOMEM, or KS_EIO (it is there but cannot answer, or not in time). They may be called from any
// thread.
struct domain_source {
    const char *name;
    int (*by_name)(credutl_account_kind_t kind, const std::string &domain, const std::string &name,
                   domain_account &found);
    int (*by_sid)(credutl_account_kind_t kind, const credutl_sid_t &sid, domain_account &found);
    int (*sid_of_id)(credutl_account_kind_t kind, uint32_t id, credutl_sid_t &sid);
    int (*domain_sid)(credutl_sid_t &sid); // of the domain that the host is a member of: S-1-5-21-a-b-c
};

// The sources in the order in which they are asked.
[[nodiscard]] std::span<const domain_source> domain_sources() noexcept;

// The host's own accounts, by plain name; results as those of a source.
[[nodiscard]] int local_by_name(credutl_account_kind_t kind, const std::string &name, uint32_t &id);
[[nodiscard]] int local_by_id(credutl_account_kind_t kind, uint32_t id, std::string &name);

// The groups of the host's account with that uid, the primary one first. KS_ENOENT: no such account; KS_EIO: not
// known, or more than CREDUTL_MAX_GROUPS.
[[nodiscard]] int local_groups(uint32_t uid, std::vector<uint32_t> &gids);

} // namespace ks::os

#endif
