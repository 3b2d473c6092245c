// Texts without case: comparison and hash, both over the same units. A unit is one code point of the folded text, or
// for a byte that is not UTF-8 a number behind all code points.
#include "internal/ks_hashing.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_str.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace {

constexpr uint32_t invalid_byte = 0x110000;
constexpr uint64_t high_bits = 0x8080808080808080;

constexpr unsigned char byte_at(const char *text) { return static_cast<unsigned char>(*text); }

constexpr unsigned char fold_ascii(unsigned char c) { return c >= 'A' && c <= 'Z' ? c | 0x20 : c; }

// Eight ASCII characters at once: 0x20 is set in those from 'A' to 'Z'.
constexpr uint64_t fold_ascii_word(uint64_t word) {
    constexpr uint64_t each = 0x0101010101010101;
    const uint64_t at_least_a = word + each * (0x80 - 'A'), beyond_z = word + each * (0x80 - 'Z' - 1);
    return word | (at_least_a & ~beyond_z & high_bits) >> 2;
}
static_assert(fold_ascii_word(0x5A5B604041617A7F) == 0x7A5B604061617A7F);

// Reads a text unit by unit. Folding is by code point and without context, so a text can be read from any start of
// a character on.
class unit_reader {
public:
    explicit unit_reader(const char *text) : next_(text) {}

    // The next unit, 0 at the end.
    uint32_t take() {
        if (at_ != count_) return pending_[at_++];
        const unsigned char c = byte_at(next_);
        if (c >= 0x80) return take_beyond_ascii();
        if (c != 0) next_++;
        return fold_ascii(c);
    }

    // No unit of the character last read is left.
    bool at_character() const { return at_ == count_; }
    const char *position() const { return next_; }

private:
    static constexpr int longest_folding = 3; // code points that one folds to at most (Unicode, table 3-17)

    uint32_t take_beyond_ascii() {
        int32_t length = 0;
        UChar32 c = 0;
        U8_NEXT(next_, length, -1, c); // -1: a terminated text
        if (c < 0) return invalid_byte + byte_at(next_++);
        next_ += length;
        fold(c);
        return pending_[at_++];
    }

    void fold(UChar32 c) {
        UChar original[2], folded[2 * longest_folding];
        int32_t size = 0;
        U16_APPEND_UNSAFE(original, size, c);
        UErrorCode status = U_ZERO_ERROR;
        const int32_t folded_size =
            u_strFoldCase(folded, 2 * longest_folding, original, size, U_FOLD_CASE_DEFAULT, &status);
        at_ = count_ = 0;
        for (int32_t i = 0; i < folded_size && count_ < longest_folding;) {
            UChar32 unit = 0;
            U16_NEXT(folded, i, folded_size, unit);
            pending_[count_++] = static_cast<uint32_t>(unit);
        }
    }

    const char *next_;
    int at_ = 0, count_ = 0;
    uint32_t pending_[longest_folding] = {};
};

// Length of the common prefix of two texts within the first `limit` bytes, but for the case of ASCII letters.
size_t common_prefix(const char *a, const char *b, size_t limit) {
    size_t n = 0;
    if (limit >= 8) {
        for (;; n = std::min(n + 8, limit - 8)) { // the last word overlaps the one before it
            const uint64_t x = ks::load_word(a + n), y = ks::load_word(b + n);
            if (x != y) {
                if ((x | y) & high_bits) break;
                const uint64_t difference = fold_ascii_word(x) ^ fold_ascii_word(y);
                if (difference != 0) return n + static_cast<size_t>(std::countr_zero(difference)) / 8;
            }
            if (n + 8 == limit) return limit;
        }
    }
    while (n < limit && fold_ascii(byte_at(a + n)) == fold_ascii(byte_at(b + n))) n++;
    return n;
}

// Steps back to the start of the character that holds position n, of which everything before n is common.
size_t character_start(const char *text, size_t n) {
    const size_t limit = n < 3 ? 0 : n - 3;
    for (size_t i = n; i > limit; i--) {
        const unsigned char c = byte_at(text + i - 1);
        if (c < 0x80) break;
        if (c >= 0xC0) return i - 1; // a leading byte begins a character, complete or not
    }
    return n;
}

// Compares unit by unit until a difference, the end, or a place where both texts are between characters.
int compare_characters(const char *&a, const char *&b, bool &ended) {
    unit_reader left(a), right(b);
    do {
        const uint32_t x = left.take(), y = right.take();
        if (x != y || x == 0) {
            ended = true;
            return x < y ? -1 : x > y;
        }
    } while (!left.at_character() || !right.at_character());
    a = left.position();
    b = right.position();
    return 0;
}

// The bytes of a unit, at most four.
size_t encode(uint32_t unit, char (&bytes)[U8_MAX_LENGTH]) {
    size_t length = 0;
    if (unit >= invalid_byte) {
        bytes[length++] = static_cast<char>(unit - invalid_byte);
    } else {
        U8_APPEND_UNSAFE(bytes, length, unit);
    }
    return length;
}

} // namespace

extern "C" int strutl_stricoll(const char *a, const char *b) noexcept {
    if (!a || !b) return (a != nullptr) - (b != nullptr);
    if (const unsigned char x = fold_ascii(byte_at(a)), y = fold_ascii(byte_at(b)); x != y && (x | y) < 0x80) {
        return x - y; // most texts that differ do so here
    }
    if (std::strcmp(a, b) == 0) return 0; // and most that are equal are so byte by byte
    const char *const a_end = a + std::strlen(a), *const b_end = b + std::strlen(b);
    for (;;) {
        const size_t n = common_prefix(a, b, static_cast<size_t>(std::min(a_end - a, b_end - b)));
        const unsigned char x = byte_at(a + n), y = byte_at(b + n);
        if ((x | y) < 0x80) return fold_ascii(x) - fold_ascii(y);
        const size_t start = character_start(a, n);
        a += start;
        b += start;
        bool ended = false;
        const int order = compare_characters(a, b, ended);
        if (ended) return order;
    }
}

extern "C" int strutl_cvt_case_string(const char *text, int mode, char *buffer, size_t size) noexcept {
    if (!text || mode != STRUTL_CASE_FOLD || !buffer || size == 0) return KS_EINVAL;
    unit_reader reader(text);
    size_t length = 0;
    while (const uint32_t unit = reader.take()) {
        char bytes[U8_MAX_LENGTH];
        const size_t count = encode(unit, bytes);
        if (count >= size - length) {
            buffer[length] = '\0';
            return KS_ENAMETOOLONG;
        }
        std::memcpy(buffer + length, bytes, count);
        length += count;
    }
    buffer[length] = '\0';
    return 0;
}

extern "C" uint64_t strutl_fold_hash(const char *text, uint64_t seed) noexcept {
    if (!text) text = "";
    ks::hasher hash(seed);
    const size_t length = std::strlen(text);
    const char *const end = text + length;
    for (const char *next = text; next != end;) {
        const size_t left = static_cast<size_t>(end - next);
        const unsigned count = left < 8 ? static_cast<unsigned>(left) : 8;
        const uint64_t word = count == 8 ? ks::load_word(next) : ks::load_tail(text, length, count);
        if (!(word & high_bits)) {
            hash.add(fold_ascii_word(word), count);
            next += count;
            continue;
        }
        unit_reader reader(next);
        do {
            const uint32_t unit = reader.take();
            hash.add(unit, unit < 0x80 ? 1 : 4);
        } while (!reader.at_character());
        next = reader.position();
    }
    return hash.finish();
}

extern "C" int strutl_is_printable(uint32_t character) noexcept {
    return character <= 0x10FFFF && u_isprint(static_cast<UChar32>(character)) != 0;
}
