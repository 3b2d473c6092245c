// xdr_bytes.hpp - encodings put together by hand, as sums of what they say.
#ifndef TESTS_SUPPORT_XDR_BYTES_HPP
#define TESTS_SUPPORT_XDR_BYTES_HPP

#include "ks/ks_cred.h"

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

using bytes = std::vector<uint8_t>;

inline bytes &operator+=(bytes &a, const bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
inline bytes operator+(bytes a, const bytes &b) { return a += b; }

inline bytes word(uint32_t value) {
    return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
            static_cast<uint8_t>(value)};
}

inline bytes words(std::initializer_list<uint32_t> values) {
    bytes all;
    for (const uint32_t value : values) all += word(value);
    return all;
}

// Characters and zeros up to a whole word.
inline bytes padded(std::string_view characters) {
    bytes all(characters.begin(), characters.end());
    all.resize((all.size() + 3) / 4 * 4);
    return all;
}

inline bytes text(std::string_view characters) {
    return word(static_cast<uint32_t>(characters.size())) + padded(characters);
}

inline bytes opaque(const credutl_sid_t &sid) { return padded({reinterpret_cast<const char *>(&sid), sizeof sid}); }

#endif
