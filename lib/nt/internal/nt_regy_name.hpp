// nt_regy_name.hpp - names of keys and values, and which data a type allows.
#ifndef NT_INTERNAL_NT_REGY_NAME_HPP
#define NT_INTERNAL_NT_REGY_NAME_HPP

#include "nt/nt_regy.h"

#include <cstddef>
#include <string_view>

namespace nt::regy {

// A key path or a value name, checked, and folded so that names equal but for case have the same bytes. Where a path
// separates its parts the folded one has a NUL, which sorts before all else: in the order of its bytes a key is
// followed by the keys below it, and they by its next sibling.
class folded_name {
public:
    folded_name() = default; // the root; the bytes need no initial value

    // 0; KS_EINVAL for a null, an empty part, a control character or what is not UTF-8; KS_ENAMETOOLONG.
    [[nodiscard]] int set_key(const char *path) noexcept;
    // The same, and "" is the root.
    [[nodiscard]] int set_key_or_root(const char *path) noexcept;
    // The same without parts; a null counts as "".
    [[nodiscard]] int set_value_name(const char *name) noexcept;

    // As it was given: borrowed from the caller.
    [[nodiscard]] std::string_view text() const noexcept { return text_; }
    [[nodiscard]] std::string_view folded() const noexcept { return {folded_, size_}; }
    [[nodiscard]] bool is_root() const noexcept { return size_ == 0; }

private:
    int set(const char *text) noexcept;

    // Folding makes a text at most three times as long: U+0390 becomes three characters of its own size.
    char folded_[3 * NTREGY_KEY_SIZE];
    size_t size_ = 0;
    std::string_view text_;
};

// Tells whether data are what their type says, in the form of ntregy_set_value().
[[nodiscard]] bool fits_type(ntregy_type_t type, std::string_view data) noexcept;

[[nodiscard]] constexpr bool is_text(ntregy_type_t type) noexcept {
    return type == NTREGY_SZ || type == NTREGY_EXPAND_SZ;
}

// Eight bytes for in_other_order().
struct number_buffer {
    char bytes[8];
};

// Numbers are kept and exported with the lowest byte first. Turns a number into the host's order or back, in the
// buffer where that changes anything; other data stay as they are.
[[nodiscard]] std::string_view in_other_order(ntregy_type_t type, std::string_view data,
                                              number_buffer &buffer) noexcept;

} // namespace nt::regy

#endif
