#include "internal/mime_encode.hpp"

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Two characters for each 12 bits.
struct pair {
    char text[2];
};
constexpr auto pairs = [] {
    std::array<pair, 4096> all{};
    for (size_t i = 0; i < all.size(); i++) all[i] = {{alphabet[i >> 6], alphabet[i & 63]}};
    return all;
}();

char *put_pair(char *out, uint64_t bits) noexcept {
    std::memcpy(out, pairs[bits & 4095].text, 2);
    return out + 2;
}

// The last three bytes, or fewer.
char *put_last(char *out, std::string_view bytes) noexcept {
    uint32_t value = 0;
    for (size_t i = 0; i < 3; i++) value = value << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0);
    out = put_pair(put_pair(out, value >> 12), value);
    for (size_t i = bytes.size(); i < 3; i++) out[static_cast<ptrdiff_t>(i) - 3] = '=';
    return out;
}

} // namespace

char *i18n::put_base64(char *out, std::string_view bytes) noexcept {
    while (bytes.size() >= 8) {
        const uint64_t value = load_big_endian(bytes.data());
        out = put_pair(put_pair(out, value >> 52), value >> 40);
        out = put_pair(put_pair(out, value >> 28), value >> 16);
        bytes.remove_prefix(6);
    }
    while (!bytes.empty()) {
        const std::string_view some = bytes.substr(0, 3);
        out = put_last(out, some);
        bytes.remove_prefix(some.size());
    }
    return out;
}
