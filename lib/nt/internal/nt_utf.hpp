// nt_utf.hpp - UTF-8 and UTF-16, one character at a time.
#ifndef NT_INTERNAL_NT_UTF_HPP
#define NT_INTERNAL_NT_UTF_HPP

#include <cstddef>
#include <string>
#include <string_view>

namespace nt::utf {

// No character.
inline constexpr char32_t bad = 0xFFFFFFFF;

inline constexpr char32_t first_surrogate = 0xD800, first_low_surrogate = 0xDC00, beyond_surrogates = 0xE000;

// Takes a character off a text that is not empty. Gives `bad`, and takes nothing, when the text does not begin with
// one (Unicode, table 3-7).
inline char32_t take_utf8(std::string_view &text) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    const size_t size = first < 0x80   ? 1
                        : first < 0xC2 ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
    if (size == 0 || size > text.size()) return bad;
    char32_t c = size == 1 ? first : first & (0x7Fu >> size);
    for (size_t i = 1; i < size; i++) {
        if ((byte(i) & 0xC0) != 0x80) return bad;
        c = c << 6 | (byte(i) & 0x3Fu);
    }
    constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < least[size] || c > 0x10FFFF || (c >= first_surrogate && c < beyond_surrogates)) return bad;
    text.remove_prefix(size);
    return c;
}

inline bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        if (take_utf8(text) == bad) return false;
    }
    return true;
}

inline void append_utf8(std::string &text, char32_t c) {
    const auto put = [&](char32_t byte) { text += static_cast<char>(byte); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

enum class byte_order { little, big };

// Takes a character off bytes that hold UTF-16 and are not empty. Gives `bad`, and takes nothing, for half a unit or
// a surrogate without its other half.
inline char32_t take_utf16(std::string_view &bytes, byte_order order) {
    const auto unit = [&](size_t at) -> char32_t {
        const auto one = static_cast<unsigned char>(bytes[at]), two = static_cast<unsigned char>(bytes[at + 1]);
        return order == byte_order::little ? char32_t{two} << 8 | one : char32_t{one} << 8 | two;
    };
    if (bytes.size() < 2) return bad;
    const char32_t c = unit(0);
    if (c < first_surrogate || c >= beyond_surrogates) {
        bytes.remove_prefix(2);
        return c;
    }
    if (c >= first_low_surrogate || bytes.size() < 4) return bad;
    const char32_t low = unit(2);
    if (low < first_low_surrogate || low >= beyond_surrogates) return bad;
    bytes.remove_prefix(4);
    return 0x10000 + ((c - first_surrogate) << 10) + (low - first_low_surrogate);
}

inline void append_utf16le(std::string &bytes, char32_t c) {
    const auto put = [&](char32_t unit) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    };
    if (c < 0x10000) return put(c);
    put(first_surrogate + ((c - 0x10000) >> 10));
    put(first_low_surrogate + ((c - 0x10000) & 0x3FF));
}

} // namespace nt::utf

#endif
