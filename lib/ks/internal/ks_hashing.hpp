// ks_hashing.hpp - a fast keyed hash for tables, hard to flood with collisions chosen in advance.
//
// A word at a time: 64 x 64 -> 128 bit multiplication, folded, of words that the process's salt hides. Values differ
// from process to process: never stored, never sent.
#ifndef KS_INTERNAL_KS_HASHING_HPP
#define KS_INTERNAL_KS_HASHING_HPP

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ks {

// The process's secret, never 0. Cannot fail.
uint64_t hash_salt() noexcept;

inline uint64_t hash_mix(uint64_t a, uint64_t b) noexcept {
    __extension__ using product_t = unsigned __int128;
    const product_t product = static_cast<product_t>(a) * b;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

// Eight bytes, the first one lowest, on every machine.
inline uint64_t load_word(const char *bytes) noexcept {
    uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    return word;
}

// The last `count` bytes, 1 to 7, of a text of `length`; the rest zero.
inline uint64_t load_tail(const char *text, size_t length, size_t count) noexcept {
    if (length >= 8) return load_word(text + length - 8) >> 8 * (8 - count); // one load, partly of bytes before
    uint64_t word = 0;
    for (size_t i = 0; i < count; i++) {
        word |= static_cast<uint64_t>(static_cast<unsigned char>(text[length - count + i])) << 8 * i;
    }
    return word;
}

// Takes bytes in words or in smaller groups; the hash depends on the bytes alone, not on how they came.
class hasher {
public:
    explicit hasher(uint64_t seed) noexcept : salt_(hash_salt()), state_(hash_mix(seed ^ key[0], salt_)) {}

    // `count` bytes, 1 to 8, the first one lowest, the unused ones zero.
    void add(uint64_t bytes, unsigned count) noexcept {
        length_ += count;
        if (filled_ == 0 && count == 8) return absorb(bytes);
        pending_ |= bytes << 8 * filled_;
        filled_ += count;
        if (filled_ < 8) return;
        absorb(pending_);
        filled_ -= 8;
        pending_ = filled_ == 0 ? 0 : bytes >> 8 * (count - filled_);
    }

    uint64_t finish() const noexcept {
        return hash_mix(hash_mix(state_ ^ pending_, salt_ ^ key[1]) ^ length_, salt_ ^ key[2]);
    }

private:
    static constexpr uint64_t key[] = {0xA0761D6478BD642F, 0xE7037ED1A0B428DB, 0x8EBC6AF09C88C6E3};

    void absorb(uint64_t word) noexcept { state_ = hash_mix(state_ ^ word, salt_ ^ key[1]); }

    uint64_t salt_, state_, pending_ = 0, length_ = 0;
    unsigned filled_ = 0; // bytes in pending_
};

inline uint64_t hash_bytes(std::string_view bytes) noexcept {
    hasher hash(0);
    const size_t tail = bytes.size() % 8;
    for (size_t n = 0; n + 8 <= bytes.size(); n += 8) hash.add(load_word(bytes.data() + n), 8);
    if (tail != 0) hash.add(load_tail(bytes.data(), bytes.size(), tail), static_cast<unsigned>(tail));
    return hash.finish();
}

} // namespace ks

#endif
