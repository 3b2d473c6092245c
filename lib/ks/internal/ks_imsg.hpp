// ks_imsg.hpp - what the parts of the message layer know about each other.
#ifndef KS_INTERNAL_KS_IMSG_HPP
#define KS_INTERNAL_KS_IMSG_HPP

#include "internal/ks_format.hpp"
#include "ks/ks_imsg.h"

#include <memory>
#include <new>
#include <string_view>

namespace ks {

// A message on its way out, but for its text.
struct message {
    int severity;
    const char *module;        // never null
    const imsg_table_t *table; // null for a literal format
    uint32_t index;
};

// The format of a message, translated. Nearly half of all messages insert nothing: of those the length is known, and
// they are copied as they are.
struct message_format {
    static constexpr size_t to_be_formatted = SIZE_MAX;

    const char *text; // null: there is no such message
    size_t plain_length = to_be_formatted;

    void put_into(text_output &out, va_list arguments, unsigned flags) const noexcept {
        if (plain_length != to_be_formatted) {
            out.put(text, plain_length);
        } else {
            format(out, text, arguments, flags);
        }
    }
};

// The table is a literal format for IMSG_LITERAL.
[[nodiscard]] message_format find_format(const void *table, uint32_t index) noexcept;

// Prints a text that is formatted and guarded already. It may hold marks of emphasis.
void print_text(const message &m, std::string_view text) noexcept;

// Appends a record to the log that the calling thread has open, or to the one below when that fails. False when no
// log took it. The text holds no marks.
[[nodiscard]] bool write_to_log(const message &m, std::string_view text) noexcept;

// A text that is put together in place, and in memory of its own only when it is longer.
template <size_t InPlace> class assembled_text {
public:
    // Runs build(text_output &), a second time when the place is too small. Without memory for more the text is cut.
    template <class Build> explicit assembled_text(Build &&build) noexcept {
        text_output out(in_place_, InPlace);
        build(out);
        length_ = out.finish();
        if (length_ < InPlace) [[likely]]
            return;
        own_.reset(length_ < SIZE_MAX ? new (std::nothrow) char[length_ + 1] : nullptr);
        if (!own_) {
            cut();
            return;
        }
        text_output whole(own_.get(), length_ + 1);
        build(whole);
        length_ = std::min(length_, whole.finish()); // a text behind an argument may have changed meanwhile
    }
    assembled_text(const assembled_text &) = delete;
    assembled_text &operator=(const assembled_text &) = delete;

    [[nodiscard]] char *data() noexcept { return own_ ? own_.get() : in_place_; }
    [[nodiscard]] size_t size() const noexcept { return length_; }

private:
    // Ends with a sign that something is missing, and with a line's end; splits no character and no mark.
    void cut() noexcept {
        constexpr std::string_view sign = "...\n";
        size_t end = InPlace - 1 - sign.size();
        while (end > 0 && (static_cast<unsigned char>(in_place_[end]) & 0xC0) == 0x80) end--;
        for (size_t back = std::min(emphasis_mark_size - 1, end); back > 0; back--) {
            const std::string_view tail(in_place_ + end - back, back);
            if (!emphasis_on.starts_with(tail) && !emphasis_off.starts_with(tail)) continue;
            end -= back;
            break;
        }
        std::memcpy(in_place_ + end, sign.data(), sign.size());
        length_ = end + sign.size();
        in_place_[length_] = '\0';
    }

    char in_place_[InPlace];
    std::unique_ptr<char[]> own_;
    size_t length_;
};

} // namespace ks

#endif
