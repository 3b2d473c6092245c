// hexadecimal.hpp - numbers and bytes as hexadecimal digits, and back. The digits are small letters.
#ifndef TOOLS_TBS_HEXADECIMAL_HPP
#define TOOLS_TBS_HEXADECIMAL_HPP

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tool {

// A number, with zeros before it up to `width` digits.
std::string hex_number(uint64_t value, size_t width);

// Two digits for each byte.
std::string hex_digits(std::span<const uint8_t> of);
std::string hex_digits(std::string_view of);

// The bytes that two digits each stand for, in either case; nothing for what is not such a text.
std::optional<std::string> bytes_of_hex(std::string_view digits);

} // namespace tool

#endif
