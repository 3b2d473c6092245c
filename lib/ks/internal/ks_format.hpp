// ks_format.hpp - the formatter below all messages: bounded, independent of the locale, free of allocations.
#ifndef KS_INTERNAL_KS_FORMAT_HPP
#define KS_INTERNAL_KS_FORMAT_HPP

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ks {

// How inserted texts (%s, %c) are shown.
enum format_flag : unsigned {
    plain = 0,            // as they are
    guard_insertions = 1, // control characters and invalid bytes made visible, as ks_imsg.h says
};

// A width, or a number of digits, counts at most as this many: no format can make the formatter pad for ever.
inline constexpr int max_padding = 1 << 20;

// Text written into a buffer of fixed size. What does not fit is counted and left out.
class text_output {
public:
    // With no buffer, or size 0, it only counts.
    text_output(char *buffer, size_t size) noexcept
        : buffer_(size != 0 ? buffer : nullptr), room_(buffer_ ? size - 1 : 0) {}

    void put(const char *text, size_t length) noexcept {
        if (length_ < room_) std::memcpy(buffer_ + length_, text, std::min(length, room_ - length_));
        advance(length);
    }
    void put(std::string_view text) noexcept { put(text.data(), text.size()); }
    void put(char c) noexcept {
        if (length_ < room_) buffer_[length_] = c;
        advance(1);
    }
    void fill(char c, size_t count) noexcept {
        if (length_ < room_) std::memset(buffer_ + length_, c, std::min(count, room_ - length_));
        advance(count);
    }
    // Puts a text with everything in it made visible that could forge a line or hide a part of one.
    void put_guarded(std::string_view text) noexcept;

    // Length of the whole text, what did not fit included. Saturates.
    [[nodiscard]] size_t length() const noexcept { return length_; }

    // Terminates the text in the buffer and gives the length.
    size_t finish() noexcept {
        if (buffer_) buffer_[std::min(length_, room_)] = '\0';
        return length_;
    }

private:
    void advance(size_t count) noexcept { length_ += std::min(count, SIZE_MAX - length_); }

    char *buffer_;
    size_t room_; // without the terminator
    size_t length_ = 0;
};

// As vsnprintf(), with the conversions that ks_imsg.h lists. Takes its own copy of the arguments.
size_t format(char *buffer, size_t size, const char *fmt, va_list args, unsigned flags) noexcept;

// The same behind what is already in the output; does not terminate it.
void format(text_output &out, const char *fmt, va_list args, unsigned flags) noexcept;

// Whether a format reads the same arguments as another: the same conversions with the same lengths, precisions and
// stars in the same order. Flags and widths may differ. False for formats with unknown conversions.
[[nodiscard]] bool same_conversions(const char *a, const char *b) noexcept;

// The marks of emphasis, and their length.
inline constexpr std::string_view emphasis_on = "\001\0011B", emphasis_off = "\001\0010B";
inline constexpr size_t emphasis_mark_size = 4;

// Whether each mark that switches emphasis on is followed by one that switches it off, and the reverse.
[[nodiscard]] bool emphasis_is_balanced(std::string_view text) noexcept;

// Removes the marks of emphasis in place and gives the new length. The text need not be terminated.
size_t strip_emphasis(char *text, size_t length) noexcept;

} // namespace ks

#endif
