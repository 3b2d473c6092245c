#include "ks/ks_wild.h"

#include <cstdint>
#include <cstring>
#include <unicode/utf8.h>

namespace {

// The compiled form: bytes that stand for themselves, and operations.
enum operation : char {
    end = 0,
    any_text = 1,
    any_character = 2,
    one_of = 3,  // followed by the number of ranges, and for each its first and last character in 3 bytes each
    none_of = 4, // the same
    literal = 5  // the next byte stands for itself, though it looks like an operation
};
constexpr size_t range_size = 6;
constexpr size_t most_ranges = 127;

constexpr uint32_t no_character = 0x200000; // and the value of a byte that is no character

// The character at a text that is not at its end, and how many bytes it has.
uint32_t character_at(const char *text, size_t &size) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(text);
    if (*bytes < 0x80) {
        size = 1;
        return *bytes;
    }
    int32_t at = 0;
    UChar32 character;
    U8_NEXT(bytes, at, -1, character); // stops at the terminator
    size = character < 0 ? 1 : static_cast<size_t>(at);
    return character < 0 ? no_character + *bytes : static_cast<uint32_t>(character);
}

// ---- compiling

class compiler {
public:
    compiler(const char *pattern, char *buffer, size_t size) : at_(pattern), out_(buffer), left_(size) {}

    int run() {
        const char *begin = out_;
        while (ok_ && *at_) step();
        put(end);
        return ok_ ? static_cast<int>(out_ - begin - 1) : WILD_BAD;
    }

private:
    void put(char byte) {
        ok_ = ok_ && left_ > 0;
        if (!ok_) return;
        *out_++ = byte;
        left_--;
    }
    void put_literal(char byte) {
        if (byte >= end && byte <= literal) put(literal);
        put(byte);
    }
    void put_number(uint32_t number) {
        for (int shift = 16; shift >= 0; shift -= 8) put(static_cast<char>(number >> shift));
    }
    void step() {
        switch (const char c = *at_++) {
        case '*': put(any_text); break;
        case '?': put(any_character); break;
        case '[': set(); break;
        case '\\':
            ok_ = ok_ && *at_;
            if (ok_) put_literal(*at_++);
            break;
        default: put_literal(c);
        }
    }
    // A character of a set, quoted or not.
    uint32_t member() {
        if (*at_ == '\\') at_++;
        if (!*at_) {
            ok_ = false;
            return 0;
        }
        size_t size;
        const uint32_t character = character_at(at_, size);
        at_ += size;
        return character;
    }
    void set() {
        const bool negated = *at_ == '!';
        at_ += negated;
        put(negated ? none_of : one_of);
        char *count = out_;
        put(0);
        size_t ranges = 0;
        do {
            const uint32_t first = member();
            const bool is_range = ok_ && at_[0] == '-' && at_[1] && at_[1] != ']';
            at_ += is_range;
            const uint32_t last = is_range ? member() : first;
            ok_ = ok_ && *at_ && first <= last && ++ranges <= most_ranges;
            put_number(first);
            put_number(last);
        } while (ok_ && *at_ != ']');
        if (!ok_) return;
        at_++;
        *count = static_cast<char>(ranges);
    }

    const char *at_;
    char *out_;
    size_t left_;
    bool ok_ = true;
};

// ---- matching

uint32_t number_at(const char *at) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(at);
    return static_cast<uint32_t>(bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
}

bool is_in_set(const char *set, uint32_t character) {
    const char *range = set + 2;
    for (int i = 0; i < set[1]; i++, range += range_size)
        if (number_at(range) <= character && character <= number_at(range + range_size / 2)) return true;
    return false;
}

// Matches one operation that is no any_text, and steps over what it took.
bool match_one(const char *&at, const char *&text) {
    if (!*text) return false;
    switch (*at) {
    case any_character:
    case one_of:
    case none_of: {
        size_t size;
        const uint32_t character = character_at(text, size);
        if (*at != any_character && is_in_set(at, character) != (*at == one_of)) return false;
        text += size;
        at += *at == any_character ? 1 : 2 + range_size * static_cast<size_t>(at[1]);
        return true;
    }
    case literal: at++; [[fallthrough]];
    default: return *at++ == *text++;
    }
}

// Only the last any_text has to be tried anew: an earlier one that takes more gives no match that this one misses.
bool match(const char *at, const char *text) {
    const char *behind_any = nullptr, *retried = nullptr;
    for (;;) {
        if (*at == any_text) {
            behind_any = ++at;
            retried = text;
            continue;
        }
        if (*at == end && !*text) return true;
        const char *next = at, *rest = text;
        if (*at != end && match_one(next, rest)) {
            at = next;
            text = rest;
            continue;
        }
        if (!behind_any || !*retried) return false;
        size_t size;
        character_at(retried, size);
        text = retried += size;
        at = behind_any;
    }
}

} // namespace

extern "C" int wild_compile_pattern(const char *pattern, char *buffer, size_t size) noexcept {
    if (!pattern || !buffer) return WILD_BAD;
    return std::strpbrk(pattern, "*?[\\") ? compiler(pattern, buffer, size).run() : WILD_PLAIN;
}

extern "C" int wild_match(const char *compiled, const char *text, int flags) noexcept {
    return compiled && text && flags == 0 && match(compiled, text);
}
