// ks_sid.hpp - what the modules of credentials know about the record of a SID.
#ifndef KS_INTERNAL_KS_SID_HPP
#define KS_INTERNAL_KS_SID_HPP

#include "ks/ks_cred.h"

#include <cstring>
#include <span>
#include <string_view>

namespace ks {

inline constexpr size_t max_sub_authorities = 6;

[[nodiscard]] inline bool sid_equal(const credutl_sid_t &a, const credutl_sid_t &b) noexcept {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Says that the record is a SID with a text: revision 1, 1 to 6 sub-authorities, the right length, zeros behind.
[[nodiscard]] bool sid_is_well_formed(const credutl_sid_t &sid) noexcept;

// Says that the SID can stand for an account: well-formed and not nobody.
[[nodiscard]] bool sid_is_account(const credutl_sid_t &sid) noexcept;

// Builds a SID of at most six sub-authorities from an authority below 2^48.
[[nodiscard]] credutl_sid_t make_sid(uint64_t authority, std::span<const uint32_t> sub_authorities) noexcept;

// Makes S-1-5-21-a-b-c of a SID that is that, or that of an account below it; false for any other.
[[nodiscard]] bool sid_of_domain(const credutl_sid_t &sid, credutl_sid_t &domain) noexcept;

// Take a SID apart; the counterparts of make_sid().
[[nodiscard]] size_t sid_sub_authorities(const credutl_sid_t &sid, uint32_t (&out)[max_sub_authorities]) noexcept;
[[nodiscard]] uint64_t sid_authority(const credutl_sid_t &sid) noexcept;

// Reads the strict text form; the text need not be terminated. The SID is untouched on failure.
[[nodiscard]] bool parse_sid(std::string_view text, credutl_sid_t &sid) noexcept;

// Writes the text form, terminated, and gives its length; 0 and "" for a record that is not well-formed.
size_t format_sid(const credutl_sid_t &sid, char (&text)[CREDUTL_SID_STR_SIZE]) noexcept;

// Reads a decimal number without leading zeros that is at most the limit.
[[nodiscard]] bool parse_decimal(std::string_view text, uint64_t limit, uint64_t &value) noexcept;

// The SIDs of the host's own accounts: S-1-22-1-uid and S-1-22-2-gid.
[[nodiscard]] credutl_sid_t host_sid(credutl_account_kind_t kind, uint32_t id) noexcept;
[[nodiscard]] bool host_sid_id(credutl_account_kind_t kind, const credutl_sid_t &sid, uint32_t &id) noexcept;
// Says that the SID is one of the authority of such accounts, of whichever kind.
[[nodiscard]] bool is_host_authority(const credutl_sid_t &sid) noexcept;

// The two parts of "DOMAIN\name", split at the first "\" or "/".
struct name_parts {
    std::string_view domain;
    std::string_view name;
    bool qualified; // there was a separator
};
[[nodiscard]] name_parts split_name(std::string_view fq_name) noexcept;

} // namespace ks

#endif
