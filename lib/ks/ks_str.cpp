#include "ks/ks_str.h"

#include "internal/ks_fail.hpp"
#include "internal/ks_format.hpp"
#include "ks/ks_stg.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstring>
#include <string_view>
#include <system_error>
#include <unicode/utf.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace {

// The calling thread's text: grows, and stays for the life of the thread.
class thread_text {
public:
    constexpr thread_text() = default;
    thread_text(const thread_text &) = delete;
    thread_text &operator=(const thread_text &) = delete;
    ~thread_text() { stg_free(text_); }

    [[nodiscard]] bool clear() {
        length_ = 0;
        return append("");
    }

    [[nodiscard]] bool append(std::string_view piece) {
        if (piece.size() >= size_ - length_ && !grow(length_ + piece.size() + 1)) return false;
        std::memcpy(text_ + length_, piece.data(), piece.size());
        length_ += piece.size();
        text_[length_] = '\0';
        return true;
    }

    bool empty() const { return length_ == 0; }
    const char *text() const { return text_; }

private:
    bool grow(size_t needed) {
        const size_t size = std::max({needed, 2 * size_, size_t{256}});
        char *larger = static_cast<char *>(stg_malloc(size));
        if (!larger) return false;
        if (length_ != 0) std::memcpy(larger, text_, length_);
        stg_free(text_);
        text_ = larger;
        size_ = size;
        return true;
    }

    char *text_ = nullptr;
    size_t size_ = 0, length_ = 0;
};

constinit thread_local thread_text flags_text;

// Finds out whether a row's name occurs in an earlier row. Few rows are asked for, and nearly all names differ in
// their first two characters, so a set of those spares most comparisons.
class earlier_names {
public:
    explicit earlier_names(const strutl_flag_t *table) : table_(table) {}

    bool have(size_t row) {
        for (; noted_ < row; noted_++) starts_ |= start_of(table_[noted_].name);
        const char *name = table_[row].name;
        if (!(starts_ & start_of(name))) return false;
        return std::any_of(table_, table_ + row, [name](const strutl_flag_t &earlier) {
            return earlier.name && start_of(earlier.name) & start_of(name) &&
                   strutl_stricoll(earlier.name, name) == 0;
        });
    }

private:
    // One of 64 bits for the first two characters without case; all bits where folding may lead anywhere.
    static uint64_t start_of(const char *name) {
        if (!name) return 0;
        const auto first = static_cast<unsigned char>(name[0]);
        const auto second = static_cast<unsigned char>(first ? name[1] : 0);
        if ((first | second) >= 0x80) return ~uint64_t{0};
        return uint64_t{1} << ((first & 0x1F) * 5 + (second & 0x1F)) % 64;
    }

    const strutl_flag_t *table_;
    size_t noted_ = 0; // rows whose first characters are in starts_
    uint64_t starts_ = 0;
};

std::string_view hex_number(uint32_t value, char (&buffer)[10]) {
    buffer[0] = '0';
    buffer[1] = 'x';
    for (int i = 9; i >= 2; i--, value >>= 4) buffer[i] = "0123456789abcdef"[value & 0xF];
    return {buffer, sizeof buffer};
}

bool is_letter_or_digit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c & 0x80);
}

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

char *copy_of(std::string_view text) {
    auto *copy = static_cast<char *>(stg_malloc(text.size() + 1));
    if (copy) copy[text.copy(copy, text.size())] = '\0';
    return copy;
}

// Calls add(name) for each name of a set, until it gives false.
template <class F> bool each_name(uint32_t flags, const strutl_flag_t *table, size_t count, F &&add) {
    earlier_names earlier(table);
    uint32_t rest = flags;
    bool nothing_named = flags == 0;
    for (size_t i = 0; i < count && (rest != 0 || nothing_named); i++) {
        const auto [name, value] = table[i];
        const bool fits = value == 0 ? nothing_named : (flags & value) == value && (rest & value) != 0;
        if (!fits || !name || earlier.have(i)) continue;
        if (!add(name)) return false;
        rest &= ~value;
        nothing_named = false;
    }
    char number[10];
    return rest == 0 || add(hex_number(rest, number));
}

std::string_view stripped(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

// The bits of one name: those of the table's first row of that name, or a number.
int read_flag(std::string_view name, const strutl_flag_t *table, size_t count, uint32_t &value) {
    char *terminated = copy_of(name);
    if (!terminated) return KS_ENOMEM;
    const auto *row = std::find_if(table, table + count, [&](const strutl_flag_t &one) {
        return one.name && strutl_stricoll(one.name, terminated) == 0;
    });
    int error = 0;
    if (row != table + count) {
        value = row->value;
    } else {
        const bool hexadecimal = name.starts_with("0x") || name.starts_with("0X");
        error = hexadecimal && strutl_strtoul(terminated, 16, &value) == 0 ? 0 : KS_EINVAL;
    }
    stg_free(terminated);
    return error;
}

} // namespace

extern "C" const char *strutl_flags_to_str(uint32_t flags, const strutl_flag_t *table, size_t count,
                                           const char *separator) noexcept {
    if (!separator || (!table && count != 0)) return ks::fail_null(KS_EINVAL);
    thread_text &text = flags_text;
    if (!text.clear()) return nullptr;
    const bool written = each_name(flags, table, count, [&](std::string_view name) {
        return (text.empty() || text.append(separator)) && text.append(name);
    });
    return written ? text.text() : nullptr;
}

extern "C" int strutl_flags_to_str_list(uint32_t flags, const strutl_flag_t *table, size_t count, char ***names_out,
                                        uint32_t *count_out) noexcept {
    if (!names_out || !count_out || (!table && count != 0)) return KS_EINVAL;
    constexpr size_t most_names = 33; // one for each bit, and the number for what is left
    auto **names = static_cast<char **>(stg_calloc(most_names, sizeof(char *)));
    uint32_t named = 0;
    const bool written = names && each_name(flags, table, count, [&](std::string_view name) {
                             names[named] = copy_of(name);
                             return names[named++] != nullptr;
                         });
    if (!written) {
        strutl_free_str_list(&names, named);
        return KS_ENOMEM;
    }
    *names_out = names;
    *count_out = named;
    return 0;
}

extern "C" int strutl_flags_from_str(const char *text, const strutl_flag_t *table, size_t count,
                                     const char *separator, uint32_t *flags_out) noexcept {
    const bool valid = text && separator && *separator && flags_out && (table || count == 0);
    if (!valid) return ks::fail(KS_EINVAL);
    const std::string_view between = separator;
    uint32_t flags = 0;
    std::string_view rest = text;
    for (bool more = !stripped(rest).empty(); more;) {
        const size_t length = rest.find(between);
        uint32_t value = 0;
        if (const int error = read_flag(stripped(rest.substr(0, length)), table, count, value))
            return ks::fail(error);
        flags |= value;
        more = length != rest.npos;
        if (more) rest.remove_prefix(length + between.size());
    }
    *flags_out = flags;
    return 0;
}

extern "C" void strutl_free_str_list(char ***names_variable, uint32_t count) noexcept {
    if (!names_variable || !*names_variable) return;
    for (uint32_t i = 0; i < count; i++) stg_free((*names_variable)[i]);
    stg_free(*names_variable);
    *names_variable = nullptr;
}

extern "C" size_t strutl_cpy_buf(char *buffer, size_t size, const char *text) noexcept {
    if (!buffer || size == 0) return 0;
    const std::string_view whole = text ? text : "";
    const size_t length = whole.copy(buffer, size - 1);
    buffer[length] = '\0';
    return length;
}

extern "C" size_t strutl_concat(char *buffer, size_t size, const char *const *texts, size_t count) noexcept {
    if (!texts || !buffer) return 0;
    size_t length = 0;
    for (size_t i = 0; i < count; i++) {
        const std::string_view piece = texts[i] ? texts[i] : "";
        if (length < size) piece.copy(buffer + length, std::min(piece.size(), size - length));
        length += piece.size();
    }
    if (size != 0) buffer[std::min(length, size - 1)] = '\0';
    return length;
}

extern "C" const char *strutl_find_str(const char *text, const char *wanted) noexcept {
    return text && wanted ? std::strstr(text, wanted) : nullptr;
}

extern "C" int strutl_strtoul(const char *text, int base, uint32_t *number_out) noexcept {
    const bool known_base = base == 0 || (base >= 2 && base <= 36);
    if (!text || !number_out || !known_base) return ks::fail(KS_EINVAL);
    std::string_view digits = text;
    const bool hexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
    if (hexadecimal && (base == 0 || base == 16)) digits.remove_prefix(2);
    if (base == 0) base = hexadecimal ? 16 : digits.starts_with('0') ? 8 : 10;
    uint32_t number = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, base);
    if (error == std::errc::result_out_of_range && stop == end) return ks::fail(KS_ERANGE);
    if (error != std::errc() || stop != end) return ks::fail(KS_EINVAL);
    *number_out = number;
    return 0;
}

extern "C" size_t strutl_visible(char *buffer, size_t size, const char *text) noexcept {
    ks::text_output out(buffer, size);
    out.put_guarded(text ? text : "");
    return out.finish();
}

extern "C" int strutl_is_ok_name(const char *name, const char *not_first, const char *allowed) noexcept {
    if (!name || !*name) return 0;
    if (not_first && std::strchr(not_first, *name)) return 0;
    const std::string_view whole = name, others = allowed ? allowed : "";
    return std::all_of(whole.begin(), whole.end(),
                       [&](char c) { return is_letter_or_digit(c) || others.find(c) != others.npos; });
}

extern "C" size_t strutl_snprintf(char *buffer, size_t size, const char *format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    const size_t length = ks::format(buffer, buffer ? size : 0, format ? format : "", arguments, 0);
    va_end(arguments);
    return length;
}

extern "C" size_t strutl_cvt_wide_str_to_str(char *buffer, size_t size, const uint16_t *wide) noexcept {
    if (!buffer || size == 0) return 0;
    size_t length = 0;
    for (size_t at = 0; wide && wide[at];) {
        UChar32 character;
        U16_NEXT(reinterpret_cast<const UChar *>(wide), at, SIZE_MAX, character);
        if (U_IS_SURROGATE(character)) character = 0xFFFD;
        if (size - length <= static_cast<size_t>(U8_LENGTH(character))) break;
        U8_APPEND_UNSAFE(buffer, length, character);
    }
    buffer[length] = '\0';
    return length;
}

extern "C" char *strutl_strip(char *text) noexcept {
    if (!text) return nullptr;
    while (is_blank(*text)) text++;
    char *end = text + std::strlen(text);
    while (end != text && is_blank(end[-1])) end--;
    *end = '\0';
    return text;
}
