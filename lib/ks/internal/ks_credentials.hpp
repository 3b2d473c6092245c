// ks_credentials.hpp - credentials as owned values. The makers throw std::bad_alloc.
#ifndef KS_INTERNAL_KS_CREDENTIALS_HPP
#define KS_INTERNAL_KS_CREDENTIALS_HPP

#include "ks/ks_cred.h"

#include <memory>
#include <span>

namespace ks {

struct string_credentials_deleter {
    void operator()(credutl_string_credentials_t *strings) const noexcept {
        credutl_free_string_credentials(&strings);
    }
};
struct sid_credentials_deleter {
    void operator()(credutl_sid_credentials_t *sids) const noexcept { credutl_free_sid_credentials(&sids); }
};
using owned_strings = std::unique_ptr<credutl_string_credentials_t, string_credentials_deleter>;
using owned_sids = std::unique_ptr<credutl_sid_credentials_t, sid_credentials_deleter>;

// Credentials without texts yet, with room for the groups.
[[nodiscard]] owned_strings make_strings(size_t group_count);
[[nodiscard]] owned_sids make_sids(const credutl_sid_t &user, const credutl_sid_t &group,
                                   std::span<const credutl_sid_t> groups);

// The source is usable.
[[nodiscard]] owned_strings copy_of(const credutl_string_credentials_t &source);
[[nodiscard]] owned_sids copy_of(const credutl_sid_credentials_t &source);

// Says that a caller's record is complete: no null where a text belongs, no count without its array, not too many.
[[nodiscard]] bool is_usable(const credutl_string_credentials_t *strings) noexcept;
[[nodiscard]] bool is_usable(const credutl_sid_credentials_t *sids) noexcept;

} // namespace ks

#endif
