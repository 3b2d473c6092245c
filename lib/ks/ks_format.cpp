#include "internal/ks_format.hpp"

#include <charconv>
#include <climits>
#include <cstdlib>
#include <iterator>
#include <type_traits>

namespace ks {
namespace {

// ---- conversions

enum class length : uint8_t { none, hh, h, l, ll, z, j, t, i64, i32 };

struct length_row {
    std::string_view text;
    length value;
};

// Longer texts before their beginnings.
constexpr length_row lengths[] = {
    {"hh", length::hh}, {"h", length::h}, {"ll", length::ll},   {"l", length::l},     {"z", length::z},
    {"j", length::j},   {"t", length::t}, {"I64", length::i64}, {"I32", length::i32},
};

struct conversion {
    bool left = false, plus = false, blank = false, alternate = false, zero = false;
    bool star_width = false, star_precision = false;
    int width = 0;
    int precision = -1; // none
    ks::length length = length::none;
    char type = 0; // unknown
};

bool set_flag(conversion &c, char flag) noexcept {
    switch (flag) {
    case '-': return c.left = true;
    case '+': return c.plus = true;
    case ' ': return c.blank = true;
    case '#': return c.alternate = true;
    case '0': return c.zero = true;
    default: return false;
    }
}

// Reads digits; a number that an int cannot hold counts as the largest.
const char *read_number(const char *p, int &number) noexcept {
    for (number = 0; *p >= '0' && *p <= '9'; p++) {
        const int digit = *p - '0';
        number = number > (INT_MAX - digit) / 10 ? INT_MAX : number * 10 + digit;
    }
    return p;
}

constexpr bool is_one_of(char c, std::string_view letters) noexcept { return letters.find(c) != letters.npos; }
constexpr bool is_number(char c) noexcept { return is_one_of(c, "diuoxX"); }
constexpr bool is_text(char c) noexcept { return is_one_of(c, "csp"); }

// Reads a length, if there is one, and gives the place behind it.
const char *read_length(const char *p, length &size) noexcept {
    for (const length_row &row : lengths) {
        size_t same = 0;
        while (same < row.text.size() && p[same] == row.text[same]) same++;
        if (same < row.text.size()) continue;
        size = row.value;
        return p + same;
    }
    return p;
}

// Reads what stands behind a "%" and gives the place behind the conversion.
const char *read_conversion(const char *p, conversion &c) noexcept {
    if (*p == 's' || *p == 'd') [[likely]] { // nearly all there are
        c.type = *p;
        return p + 1;
    }
    while (set_flag(c, *p)) p++;
    if (*p == '*') {
        c.star_width = true;
        p++;
    } else {
        p = read_number(p, c.width);
    }
    if (*p == '.') {
        if (*++p == '*') {
            c.star_precision = true;
            p++;
        } else {
            p = read_number(p, c.precision);
        }
    }
    if (!is_number(*p) && !is_text(*p)) p = read_length(p, c.length);
    if (!*p) return p;
    if (is_number(*p) || (is_text(*p) && c.length == length::none)) c.type = *p;
    return p + 1;
}

// ---- arguments

// A va_list in a struct: it can be handed on by reference on every system.
class arguments {
public:
    explicit arguments(va_list list) noexcept { va_copy(list_, list); }
    ~arguments() { va_end(list_); }
    arguments(const arguments &) = delete;
    arguments &operator=(const arguments &) = delete;

    int next_int() noexcept { return va_arg(list_, int); }
    const char *next_text() noexcept { return va_arg(list_, const char *); }
    const void *next_pointer() noexcept { return va_arg(list_, const void *); }

    intmax_t next_signed(length size) noexcept {
        switch (size) {
        case length::hh: return static_cast<signed char>(va_arg(list_, int));
        case length::h: return static_cast<short>(va_arg(list_, int));
        case length::l: return va_arg(list_, long);
        case length::ll: return va_arg(list_, long long);
        case length::z: return va_arg(list_, std::make_signed_t<size_t>);
        case length::j: return va_arg(list_, intmax_t);
        case length::t: return va_arg(list_, ptrdiff_t);
        case length::i64: return va_arg(list_, int64_t);
        case length::i32:
        case length::none: break;
        }
        return va_arg(list_, int);
    }

    uintmax_t next_unsigned(length size) noexcept {
        switch (size) {
        case length::hh: return static_cast<unsigned char>(va_arg(list_, int));
        case length::h: return static_cast<unsigned short>(va_arg(list_, int));
        case length::l: return va_arg(list_, unsigned long);
        case length::ll: return va_arg(list_, unsigned long long);
        case length::z: return va_arg(list_, size_t);
        case length::j: return va_arg(list_, uintmax_t);
        case length::t: return va_arg(list_, std::make_unsigned_t<ptrdiff_t>);
        case length::i64: return va_arg(list_, uint64_t);
        case length::i32:
        case length::none: break;
        }
        return va_arg(list_, unsigned);
    }

private:
    va_list list_;
};

void take_stars(conversion &c, arguments &args) noexcept {
    if (c.star_width) {
        const int width = args.next_int();
        c.left |= width < 0;
        c.width = width == INT_MIN ? INT_MAX : std::abs(width);
    }
    if (c.star_precision) c.precision = std::max(args.next_int(), -1);
    c.width = std::min(c.width, max_padding);
}

// ---- output of one conversion

void put_text(text_output &out, const conversion &c, std::string_view text, unsigned flags) noexcept {
    const size_t width = static_cast<size_t>(c.width);
    const size_t padding = width > text.size() ? width - text.size() : 0;
    if (!c.left) out.fill(' ', padding);
    if (flags & guard_insertions) {
        out.put_guarded(text);
    } else {
        out.put(text);
    }
    if (c.left) out.fill(' ', padding);
}

// Never looks behind the terminator, nor behind the precision.
std::string_view cut(const char *text, int precision) noexcept {
    if (!text) text = "(null)";
    if (precision < 0) return text;
    const auto limit = static_cast<size_t>(precision);
    const void *end = std::memchr(text, '\0', limit);
    return {text, end ? static_cast<size_t>(static_cast<const char *>(end) - text) : limit};
}

void put_number(text_output &out, const conversion &c, std::string_view sign, uintmax_t value, int base) noexcept {
    char digits[sizeof(uintmax_t) * CHAR_BIT / 3 + 1];
    char *end = digits;
    if (value != 0 || c.precision != 0) end = std::to_chars(digits, digits + sizeof digits, value, base).ptr;
    if (c.type == 'X') {
        for (char *p = digits; p != end; p++) {
            if (*p >= 'a') *p = static_cast<char>(*p - 'a' + 'A');
        }
    }
    const size_t count = static_cast<size_t>(end - digits);
    if (c.width == 0 && c.precision < 0 && !c.alternate) [[likely]] {
        out.put(sign);
        out.put(digits, count);
        return;
    }

    const size_t width = static_cast<size_t>(c.width);
    size_t zeros = 0;
    if (c.precision >= 0) {
        const auto wanted = static_cast<size_t>(std::min(c.precision, max_padding));
        zeros = wanted > count ? wanted - count : 0;
    }
    if (c.alternate && base == 8 && zeros == 0 && (count == 0 || digits[0] != '0')) zeros = 1;
    if (c.zero && !c.left && c.precision < 0 && width > sign.size() + zeros + count) {
        zeros = width - sign.size() - count;
    }
    const size_t used = sign.size() + zeros + count;
    const size_t padding = width > used ? width - used : 0;
    if (!c.left) out.fill(' ', padding);
    out.put(sign);
    out.fill('0', zeros);
    out.put(digits, count);
    if (c.left) out.fill(' ', padding);
}

void put_signed(text_output &out, const conversion &c, intmax_t value) noexcept {
    const bool negative = value < 0;
    const auto magnitude = negative ? 0 - static_cast<uintmax_t>(value) : static_cast<uintmax_t>(value);
    put_number(out, c, negative ? "-" : c.plus ? "+" : c.blank ? " " : "", magnitude, 10);
}

void put_hexadecimal(text_output &out, const conversion &c, uintmax_t value) noexcept {
    const bool prefixed = c.alternate && value != 0;
    put_number(out, c, !prefixed ? "" : c.type == 'X' ? "0X" : "0x", value, 16);
}

void put_pointer(text_output &out, conversion c, const void *pointer) noexcept {
    if (!pointer) {
        put_text(out, c, "(nil)", plain);
        return;
    }
    c.alternate = true;
    put_hexadecimal(out, c, reinterpret_cast<uintptr_t>(pointer));
}

void put_conversion(text_output &out, const conversion &c, arguments &args, unsigned flags) noexcept {
    switch (c.type) {
    case 'd':
    case 'i': put_signed(out, c, args.next_signed(c.length)); break;
    case 'u': put_number(out, c, "", args.next_unsigned(c.length), 10); break;
    case 'o': put_number(out, c, "", args.next_unsigned(c.length), 8); break;
    case 'x':
    case 'X': put_hexadecimal(out, c, args.next_unsigned(c.length)); break;
    case 's': put_text(out, c, cut(args.next_text(), c.precision), flags); break;
    case 'c': {
        const char character = static_cast<char>(args.next_int());
        put_text(out, c, {&character, 1}, flags);
        break;
    }
    default: put_pointer(out, c, args.next_pointer()); break; // 'p': no other is left
    }
}

// Bytes up to the next "%" or the end. Most runs are short, too short for a call to pay.
size_t length_of_run(const char *fmt) noexcept {
    constexpr size_t few = 12;
    for (size_t i = 0; i < few; i++) {
        if (!fmt[i] || fmt[i] == '%') return i;
    }
    return few + std::strcspn(fmt + few, "%");
}

// ---- texts made safe

constexpr bool is_plain_ascii(char c) noexcept { return (c >= ' ' && c <= '~') || c == '\t'; }

struct character {
    size_t size;    // 0: the bytes are not UTF-8
    char32_t value; // code point
};

struct utf8_lead {
    unsigned char mask, bits;
    char32_t least; // smallest code point of this size
};
constexpr utf8_lead leads[] = {{0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};

// Reads the character that begins with a byte of 0x80 or above.
character read_utf8(std::string_view text) noexcept {
    const auto first = static_cast<unsigned char>(text[0]);
    for (size_t size = 2; size <= 4; size++) {
        const utf8_lead &lead = leads[size - 2];
        if ((first & lead.mask) != lead.bits) continue;
        if (text.size() < size) return {0, 0};
        char32_t value = first & static_cast<unsigned char>(~lead.mask);
        for (size_t i = 1; i < size; i++) {
            const auto byte = static_cast<unsigned char>(text[i]);
            if ((byte & 0xC0) != 0x80) return {0, 0};
            value = (value << 6) | (byte & 0x3F);
        }
        const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
        if (value < lead.least || value > 0x10FFFF || surrogate) return {0, 0};
        return {size, value};
    }
    return {0, 0};
}

struct code_range {
    char32_t first, last;
};

// C1 controls, bidirectional controls, separators of lines and paragraphs.
constexpr code_range unsafe[] = {{0x80, 0x9F}, {0x61C, 0x61C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};

bool is_unsafe(char32_t value) noexcept {
    return std::any_of(std::begin(unsafe), std::end(unsafe),
                       [value](const code_range &r) { return value >= r.first && value <= r.last; });
}

void put_bytes_as_hex(text_output &out, std::string_view bytes) noexcept {
    constexpr char digits[] = "0123456789abcdef";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const char shown[] = {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        out.put(shown, sizeof shown);
    }
}

} // namespace

void text_output::put_guarded(std::string_view text) noexcept {
    while (!text.empty()) {
        size_t run = 0;
        while (run < text.size() && is_plain_ascii(text[run])) run++;
        put(text.substr(0, run));
        text.remove_prefix(run);
        if (text.empty()) return;

        const auto byte = static_cast<unsigned char>(text[0]);
        size_t size = 1;
        if (byte < 0x80) {
            put('^');
            put(static_cast<char>(byte ^ 0x40)); // NUL is "^@", DEL is "^?"
        } else {
            const character c = read_utf8(text);
            size = std::max<size_t>(c.size, 1);
            if (c.size != 0 && !is_unsafe(c.value)) {
                put(text.substr(0, size));
            } else {
                put_bytes_as_hex(*this, text.substr(0, size));
            }
        }
        text.remove_prefix(size);
    }
}

void format(text_output &out, const char *fmt, va_list args, unsigned flags) noexcept {
    arguments list(args);
    bool trusted = true; // an unknown conversion leaves the arguments behind it unknown too
    for (;;) {
        const size_t run = length_of_run(fmt);
        out.put(fmt, run);
        fmt += run;
        if (!*fmt) return;
        if (fmt[1] == '%') {
            out.put('%');
            fmt += 2;
        } else {
            conversion c;
            const char *end = trusted ? read_conversion(fmt + 1, c) : fmt + 1;
            if (c.type) {
                take_stars(c, list);
                put_conversion(out, c, list, flags);
                fmt = end;
            } else {
                trusted = false;
                out.put('%');
                fmt++;
            }
        }
    }
}

size_t format(char *buffer, size_t size, const char *fmt, va_list args, unsigned flags) noexcept {
    text_output out(buffer, size);
    format(out, fmt, args, flags);
    return out.finish();
}

namespace {

// Goes to the next conversion behind `p`; null at the end of the format.
const char *next_conversion(const char *p, conversion &c) noexcept {
    while ((p = std::strchr(p, '%')) && p[1] == '%') p += 2;
    return p ? read_conversion(p + 1, c) : nullptr;
}

bool same_arguments(const conversion &a, const conversion &b) noexcept {
    return a.type == b.type && a.length == b.length && a.star_width == b.star_width &&
           a.star_precision == b.star_precision && a.precision == b.precision;
}

} // namespace

bool same_conversions(const char *a, const char *b) noexcept {
    for (;;) {
        conversion of_a, of_b;
        a = next_conversion(a, of_a);
        b = next_conversion(b, of_b);
        if (!a || !b) return a == b;
        if (!of_a.type || !same_arguments(of_a, of_b)) return false;
    }
}

bool emphasis_is_balanced(std::string_view text) noexcept {
    bool on = false;
    for (size_t at = 0; (at = text.find('\001', at)) != text.npos; at += emphasis_mark_size) {
        const std::string_view mark = text.substr(at, emphasis_mark_size);
        if (mark != (on ? emphasis_off : emphasis_on)) return false;
        on = !on;
    }
    return !on;
}

size_t strip_emphasis(char *text, size_t length) noexcept {
    std::string_view rest(text, length);
    char *to = text;
    for (;;) {
        const size_t run = std::min(rest.find('\001'), rest.size());
        if (run != 0) std::memmove(to, rest.data(), run);
        to += run;
        rest.remove_prefix(run);
        if (rest.empty()) return static_cast<size_t>(to - text);
        if (rest.starts_with(emphasis_on) || rest.starts_with(emphasis_off)) {
            rest.remove_prefix(emphasis_mark_size);
        } else {
            *to++ = rest[0];
            rest.remove_prefix(1);
        }
    }
}

} // namespace ks
