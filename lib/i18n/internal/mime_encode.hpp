// mime_encode.hpp - what headers and bodies share.
#ifndef I18N_INTERNAL_MIME_ENCODE_HPP
#define I18N_INTERNAL_MIME_ENCODE_HPP

#include "i18n/i18n_mime.h"
#include "ks/ks_stg.h"

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace i18n {

struct stg_deleter {
    void operator()(void *memory) const noexcept { stg_free(memory); }
};
using stg_text = std::unique_ptr<char, stg_deleter>;

[[nodiscard]] inline stg_text make_text(size_t size) {
    stg_text made(static_cast<char *>(stg_malloc(size)));
    if (!made) throw std::bad_alloc();
    return made;
}

// Eight bytes, the first as the highest: one load and a swap.
[[nodiscard]] inline uint64_t load_big_endian(const char *bytes) noexcept {
    const auto at = [bytes](int i) { return uint64_t{static_cast<unsigned char>(bytes[i])} << (56 - 8 * i); };
    return at(0) | at(1) | at(2) | at(3) | at(4) | at(5) | at(6) | at(7);
}

// What a byte becomes.
struct escape {
    std::array<char, 4> text; // a fourth that does not count, so that one store of four writes it
    uint32_t length;
};
using escape_table = std::array<escape, 256>;

constexpr escape escape_of(unsigned char byte) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    return {{'=', digits[byte >> 4], digits[byte & 15], 0}, 3};
}

// Writes what a byte becomes; may touch the three bytes behind.
[[nodiscard]] inline char *put(char *out, const escape &what) noexcept {
    std::memcpy(out, what.text.data(), what.text.size());
    return out + what.length;
}
[[nodiscard]] inline char *put(char *out, std::string_view text) noexcept {
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
}

[[nodiscard]] constexpr size_t base64_size(size_t bytes) { return (bytes + 2) / 3 * 4; }
// Writes bytes as base64_size() characters. No line ends.
[[nodiscard]] char *put_base64(char *out, std::string_view bytes) noexcept;

// See i18n_mime.h. `kind` is what is wanted, then what was used.
[[nodiscard]] stg_text encode_header(std::string_view text, const char *charset, i18n_mime_kind_t kind, double ratio);
[[nodiscard]] stg_text encode_body(std::string_view text, const char *charset, i18n_mime_kind_t &kind, double ratio,
                                   const char *&charset_out);

} // namespace i18n

#endif
