#include "ks/ks_cred.h"

#include "internal/ks_call.hpp"
#include "internal/ks_hashing.hpp"
#include "internal/ks_sid.hpp"
#include "ks/ks_str.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>

static_assert(sizeof(credutl_sid_t) == 34 && alignof(credutl_sid_t) == 1, "an opaque of 34 bytes on the wire");

namespace ks {
namespace {

constexpr size_t header_size = 8; // revision, count, authority
constexpr uint64_t max_authority = (uint64_t{1} << 48) - 1;
constexpr uint64_t host_authority = 22;

const char *bytes_of(const credutl_sid_t &sid) noexcept { return reinterpret_cast<const char *>(&sid); }

} // namespace

bool sid_is_well_formed(const credutl_sid_t &sid) noexcept {
    const size_t count = sid.value[1];
    if (sid.type != 1 || sid.value[0] != 1 || count - 1 >= max_sub_authorities ||
        sid.length != header_size + 4 * count) {
        return false;
    }
    // What is behind the SID is zero: the last sub-authorities, seen as words.
    uint32_t unused = 0;
    for (size_t i = count; i < max_sub_authorities; i++) {
        uint32_t word;
        std::memcpy(&word, sid.value + header_size + 4 * i, sizeof word);
        unused |= word;
    }
    return unused == 0;
}

bool sid_is_account(const credutl_sid_t &sid) noexcept {
    return sid_is_well_formed(sid) && !sid_equal(sid, CREDUTL_SID_NOBODY);
}

credutl_sid_t make_sid(uint64_t authority, std::span<const uint32_t> sub_authorities) noexcept {
    credutl_sid_t sid{};
    sid.type = 1;
    sid.length = static_cast<uint8_t>(header_size + 4 * sub_authorities.size());
    uint8_t *at = sid.value;
    *at++ = 1;
    *at++ = static_cast<uint8_t>(sub_authorities.size());
    for (int shift = 40; shift >= 0; shift -= 8) {
        *at++ = static_cast<uint8_t>(authority >> shift);
    }
    for (const uint32_t value : sub_authorities) {
        for (int shift = 0; shift < 32; shift += 8) {
            *at++ = static_cast<uint8_t>(value >> shift);
        }
    }
    return sid;
}

bool sid_of_domain(const credutl_sid_t &sid, credutl_sid_t &domain) noexcept {
    constexpr uint64_t nt_authority = 5;
    constexpr uint32_t not_unique = 21; // what follows tells one domain from all others
    constexpr size_t parts_of_domain = 4;
    uint32_t parts[max_sub_authorities];
    if (!sid_is_well_formed(sid) || sid_authority(sid) != nt_authority) {
        return false;
    }
    const size_t count = sid_sub_authorities(sid, parts);
    if (count < parts_of_domain || count > parts_of_domain + 1 || parts[0] != not_unique) {
        return false;
    }
    domain = make_sid(nt_authority, {parts, parts_of_domain});
    return true;
}

size_t sid_sub_authorities(const credutl_sid_t &sid, uint32_t (&out)[max_sub_authorities]) noexcept {
    const size_t count = std::min<size_t>(sid.value[1], max_sub_authorities);
    for (size_t i = 0; i < count; i++) {
        const uint8_t *at = sid.value + header_size + 4 * i;
        out[i] = at[0] | uint32_t{at[1]} << 8 | uint32_t{at[2]} << 16 | uint32_t{at[3]} << 24;
    }
    return count;
}

uint64_t sid_authority(const credutl_sid_t &sid) noexcept {
    uint64_t authority = 0;
    for (size_t i = 2; i < header_size; i++) {
        authority = authority << 8 | sid.value[i];
    }
    return authority;
}

bool parse_decimal(std::string_view text, uint64_t limit, uint64_t &value) noexcept {
    if (text.empty() || (text.size() > 1 && text[0] == '0')) {
        return false;
    }
    uint64_t number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end || number > limit) {
        return false;
    }
    value = number;
    return true;
}

bool parse_sid(std::string_view text, credutl_sid_t &sid) noexcept {
    constexpr std::string_view prefix = "S-1-";
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    uint64_t authority = 0;
    uint32_t sub_authorities[max_sub_authorities];
    size_t count = 0;
    for (bool first = true;; first = false) {
        const size_t dash = text.find('-');
        uint64_t number;
        if (!parse_decimal(text.substr(0, dash), first ? max_authority : UINT32_MAX, number)) {
            return false;
        }
        if (first) {
            authority = number;
        } else if (count == max_sub_authorities) {
            return false;
        } else {
            sub_authorities[count++] = static_cast<uint32_t>(number);
        }
        if (dash == std::string_view::npos) {
            break;
        }
        text.remove_prefix(dash + 1);
    }
    if (count == 0) {
        return false;
    }
    sid = make_sid(authority, {sub_authorities, count});
    return true;
}

size_t format_sid(const credutl_sid_t &sid, char (&text)[CREDUTL_SID_STR_SIZE]) noexcept {
    char *at = text;
    if (sid_is_well_formed(sid)) {
        uint32_t parts[max_sub_authorities];
        const size_t count = sid_sub_authorities(sid, parts);
        at = std::copy_n("S-1-", 4, at);
        at = std::to_chars(at, std::end(text), sid_authority(sid)).ptr;
        for (size_t i = 0; i < count; i++) {
            *at++ = '-';
            at = std::to_chars(at, std::end(text), parts[i]).ptr;
        }
    }
    *at = '\0';
    return static_cast<size_t>(at - text);
}

credutl_sid_t host_sid(credutl_account_kind_t kind, uint32_t id) noexcept {
    return make_sid(host_authority, std::array{static_cast<uint32_t>(kind), id});
}

bool host_sid_id(credutl_account_kind_t kind, const credutl_sid_t &sid, uint32_t &id) noexcept {
    uint32_t parts[max_sub_authorities];
    if (!is_host_authority(sid) || sid_sub_authorities(sid, parts) != 2 || parts[0] != static_cast<uint32_t>(kind)) {
        return false;
    }
    id = parts[1];
    return id < CREDUTL_NO_ID;
}

bool is_host_authority(const credutl_sid_t &sid) noexcept {
    return sid_is_well_formed(sid) && sid_authority(sid) == host_authority;
}

name_parts split_name(std::string_view fq_name) noexcept {
    const auto at = std::find_if(fq_name.begin(), fq_name.end(), [](char c) { return c == '\\' || c == '/'; });
    if (at == fq_name.end()) {
        return {{}, fq_name, false};
    }
    return {{fq_name.begin(), at}, {at + 1, fq_name.end()}, true};
}

} // namespace ks

using namespace ks;

const credutl_sid_t CREDUTL_SID_NOBODY = {1, 12, {1, 1}}; // authority 0, sub-authority 0

extern "C" int credutl_sid_is_valid(const credutl_sid_t *sid) noexcept { return sid && ks::sid_is_well_formed(*sid); }

extern "C" int credutl_sid_eq(const credutl_sid_t *a, const credutl_sid_t *b) noexcept {
    return a && b && sid_equal(*a, *b);
}

extern "C" uint64_t credutl_sid_hash(const credutl_sid_t *sid) noexcept {
    if (!sid) {
        return 0;
    }
    // The words are mixed in pairs, which run in parallel; the last two bytes go into the end.
    const char *bytes = bytes_of(*sid);
    const uint64_t salt = hash_salt();
    const uint64_t low = hash_mix(load_word(bytes) ^ salt, load_word(bytes + 8) ^ 0xA0761D6478BD642F);
    const uint64_t high = hash_mix(load_word(bytes + 16) ^ ~salt, load_word(bytes + 24) ^ 0xE7037ED1A0B428DB);
    const uint64_t last = load_word(bytes + sizeof *sid - 8);
    return hash_mix(low ^ last, std::rotl(high, 32) ^ 0x8EBC6AF09C88C6E3);
}

extern "C" int credutl_sid_to_str(const credutl_sid_t *sid, char *buffer, size_t size) noexcept {
    return call([&]() -> int {
        if (!buffer || size == 0) {
            return buffer ? KS_ENAMETOOLONG : KS_EINVAL;
        }
        buffer[0] = '\0';
        char text[CREDUTL_SID_STR_SIZE];
        const size_t length = sid ? format_sid(*sid, text) : 0;
        if (length == 0 || length >= size) {
            return length == 0 ? KS_EINVAL : KS_ENAMETOOLONG;
        }
        std::memcpy(buffer, text, length + 1);
        return 0;
    });
}

extern "C" int credutl_str_to_sid(const char *text, credutl_sid_t *sid_out) noexcept {
    return call([&]() -> int { return text && sid_out && parse_sid(text, *sid_out) ? 0 : KS_EINVAL; });
}

extern "C" int credutl_crack_fq_name(const char *fq_name, char *domain, size_t domain_size, char *name,
                                     size_t name_size) noexcept {
    return call([&]() -> int {
        if (!fq_name || !domain || !name) {
            return KS_EINVAL;
        }
        const name_parts parts = split_name(fq_name);
        if (parts.domain.size() >= domain_size || parts.name.size() >= name_size) {
            return KS_ENAMETOOLONG;
        }
        domain[parts.domain.copy(domain, parts.domain.size())] = '\0';
        name[parts.name.copy(name, parts.name.size())] = '\0';
        return 0;
    });
}

extern "C" uint64_t credutl_name_hash(const char *domain, const char *name) noexcept {
    return strutl_fold_hash(name ? name : "", strutl_fold_hash(domain ? domain : "", 0));
}
