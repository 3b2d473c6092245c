#include "hexadecimal.hpp"

#include "byte_file.hpp"

#include <charconv>
#include <iterator>

namespace tool {

std::string hex_number(uint64_t value, size_t width) {
    char digits[2 * sizeof value];
    const std::string text(digits, std::to_chars(digits, std::end(digits), value, 16).ptr);
    return text.size() < width ? std::string(width - text.size(), '0') + text : text;
}

std::string hex_digits(std::span<const uint8_t> of) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * of.size());
    for (const uint8_t byte : of) text += {digits[byte >> 4], digits[byte & 15]};
    return text;
}

std::string hex_digits(std::string_view of) { return hex_digits(as_bytes(of)); }

std::optional<std::string> bytes_of_hex(std::string_view digits) {
    if (digits.size() % 2 != 0) return std::nullopt;
    std::string content;
    content.reserve(digits.size() / 2);
    for (size_t i = 0; i < digits.size(); i += 2) {
        unsigned byte = 0;
        const char *const end = &digits[i] + 2;
        if (std::from_chars(&digits[i], end, byte, 16).ptr != end) return std::nullopt;
        content += static_cast<char>(byte);
    }
    return content;
}

} // namespace tool
