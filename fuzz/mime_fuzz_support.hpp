// mime_fuzz_support.hpp - another reader of mail, and what a text means before it is encoded.
#ifndef FUZZ_MIME_FUZZ_SUPPORT_HPP
#define FUZZ_MIME_FUZZ_SUPPORT_HPP

#include "i18n/i18n_mime.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unicode/unistr.h>

namespace mime_fuzz {

inline void require(bool holds) {
    if (!holds) std::abort();
}

// The first byte of an input chooses the character set, the kind and the ratio; the rest is the text.
struct input {
    std::string text;
    const char *charset = nullptr;
    i18n_mime_kind_t kind = I18N_MIME_PLAIN;
    double ratio = 0;

    input(const uint8_t *data, size_t size) {
        constexpr const char *charsets[] = {nullptr, "ISO-8859-1", "ISO-2022-JP", "Shift_JIS", "GB18030", "no-set"};
        if (size == 0) return;
        charset = charsets[data[0] % 6];
        kind = data[0] / 6 % 3;
        ratio = static_cast<double>(data[0] / 18 % 3) / 2;
        for (const uint8_t byte : std::string_view(reinterpret_cast<const char *>(data) + 1, size - 1)) {
            // NUL ends a text. ICU's own readers put SUB where we put U+FFFD in some character sets, and exchange it with
            // FS and DEL in Shift_JIS.
            const bool exchanged = charset == charsets[3] && (byte == 0x1C || byte == 0x7F);
            if (byte != 0 && byte != 0x1A && !exchanged) text += static_cast<char>(byte);
        }
    }
    // The text as ICU reads it by the rule of i18n_mime.h.
    [[nodiscard]] icu::UnicodeString meaning() const {
        const icu::UnicodeString in_utf8 = icu::UnicodeString::fromUTF8(text);
        std::string back;
        in_utf8.toUTF8String(back);
        const bool is_utf8 = back == text;
        const bool beyond_ascii = text.find_first_not_of(ascii()) != std::string::npos;
        if ((is_utf8 && beyond_ascii) || !charset || std::string_view(charset) == "no-set") {
            return icu::UnicodeString(text.data(), static_cast<int32_t>(text.size()), "UTF-8");
        }
        return decoded(text, charset);
    }
    static icu::UnicodeString decoded(std::string_view bytes, const std::string &charset) {
        icu::UnicodeString all(bytes.data(), static_cast<int32_t>(bytes.size()), charset.c_str());
        return all.findAndReplace(icu::UnicodeString(UChar{0x1A}), icu::UnicodeString(UChar{0xFFFD}));
    }

private:
    static const std::string &ascii() {
        static const std::string all = [] {
            std::string made;
            for (int byte = 1; byte < 128; byte++) made += static_cast<char>(byte);
            return made;
        }();
        return all;
    }
};

inline int digit(char c) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const size_t at = digits.find(c);
    require(at != std::string_view::npos);
    return static_cast<int>(at);
}

// The byte of "=XX" at the beginning of a text, which is removed.
inline char take_escape(std::string_view &text) {
    require(text.size() >= 3);
    const int byte = digit(text[1]) * 16 + digit(text[2]);
    text.remove_prefix(3);
    return static_cast<char>(byte);
}

// Strict: whole groups, padding at the end alone, no line ends.
inline std::string from_base64(std::string_view text) {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    require(text.size() % 4 == 0);
    size_t padding = 0;
    while (padding < 2 && text.ends_with('=')) {
        text.remove_suffix(1);
        padding++;
    }
    std::string bytes;
    uint32_t bits = 0, held = 0;
    for (const char c : text) {
        const size_t value = alphabet.find(c);
        require(value != std::string_view::npos);
        bits = bits << 6 | static_cast<uint32_t>(value);
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes += static_cast<char>(bits >> held);
            bits &= (1U << held) - 1;
        }
    }
    require(bits == 0 && held == 2 * padding);
    return bytes;
}

// Calls line(text, is_last) for each line of what is sent, whose lines end with CRLF.
template <class F> void each_sent_line(std::string_view text, F &&line) {
    for (size_t end; (end = text.find("\r\n")) != std::string_view::npos; text.remove_prefix(end + 2)) {
        line(text.substr(0, end), false);
    }
    line(text, true);
}

} // namespace mime_fuzz

#endif
