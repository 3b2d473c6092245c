#include "internal/mime_text.hpp"

#include "internal/mime_encode.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <unicode/ucnv_cb.h>

namespace i18n {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD"; // U+FFFD
constexpr size_t longest_name = 30;                      // of a character set: the rest of an encoded word needs room

// How the characters with a given first byte go on. The second byte alone has bounds of its own.
struct lead {
    uint8_t length; // 0: no character begins so
    uint8_t low, high;
};
constexpr auto leads = [] {
    std::array<lead, 256> all{};
    const auto set = [&all](unsigned from, unsigned to, lead how) {
        for (unsigned byte = from; byte <= to; byte++) all[byte] = how;
    };
    set(0x00, 0x7F, {1, 0, 0});
    set(0xC2, 0xDF, {2, 0x80, 0xBF});
    set(0xE0, 0xEF, {3, 0x80, 0xBF});
    set(0xF0, 0xF4, {4, 0x80, 0xBF});
    all[0xE0].low = 0xA0;  // no longer form than need be
    all[0xED].high = 0x9F; // no surrogates
    all[0xF0].low = 0x90;
    all[0xF4].high = 0x8F; // nothing above U+10FFFF
    return all;
}();

// A character at the beginning of a text that is not empty.
struct character {
    size_t length; // of the character, or of the longest part that could begin one
    bool whole;
};
character first_character(std::string_view text) noexcept {
    const auto byte = [text](size_t i) { return static_cast<uint8_t>(text[i]); };
    const lead how = leads[byte(0)];
    if (how.length < 2) return {1, how.length == 1};
    if (text.size() < 2 || byte(1) < how.low || byte(1) > how.high) return {1, false};
    for (size_t i = 2; i < how.length; i++) {
        if (i >= text.size() || (byte(i) & 0xC0) != 0x80) return {i, false};
    }
    return {how.length, true};
}

// The length of the pairs of characters of three bytes at the beginning: long texts beyond ASCII mostly consist of such.
size_t triples_length(std::string_view text) noexcept {
    constexpr uint64_t marks = 0xF0C0C0F0C0C00000, marked = 0xE08080E080800000; // 1110xxxx 10xxxxxx 10xxxxxx, twice
    const auto is_bounded = [](uint64_t word) {
        word &= 0x0F20; // E0 goes on from A0, and ED up to 9F
        return word != 0 && word != 0x0D20;
    };
    size_t i = 0;
    for (; text.size() - i >= sizeof(uint64_t); i += 6) {
        const uint64_t word = load_big_endian(text.data() + i);
        if ((word & marks) != marked || !is_bounded(word >> 48) || !is_bounded(word >> 24)) break;
    }
    return i;
}

size_t ascii_length(std::string_view text) noexcept {
    constexpr uint64_t high_bits = 0x8080808080808080;
    size_t i = 0;
    for (uint64_t word; text.size() - i >= sizeof word; i += sizeof word) {
        std::memcpy(&word, text.data() + i, sizeof word);
        if (word & high_bits) break;
    }
    while (i < text.size() && static_cast<unsigned char>(text[i]) < 0x80) i++;
    return i;
}

// Whether every character set that keeps ASCII has the same characters in it: none beyond, and nothing that shifts.
bool means_ascii(std::string_view text) noexcept {
    constexpr std::string_view shifts = "\x0E\x0F\x1B"; // SO, SI, ESC
    return is_ascii(text) && std::none_of(shifts.begin(), shifts.end(),
                                          [text](char shift) { return text.find(shift) != std::string_view::npos; });
}

bool is_token(std::string_view name) noexcept {
    return std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '_';
    });
}

// The name of a character set in mail; null when there is none.
const char *mime_name(const char *charset) {
    if (!charset || !*charset || std::strlen(charset) > longest_name) return nullptr;
    for (const char *standard : {"MIME", "IANA"}) {
        UErrorCode error = U_ZERO_ERROR;
        const char *name = ucnv_getStandardName(charset, standard, &error);
        if (error == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
        if (U_SUCCESS(error) && name) return std::strlen(name) <= longest_name && is_token(name) ? name : nullptr;
    }
    return nullptr;
}

// ICU's own callbacks leave out characters that are seldom shown: here they count like any other.
extern "C" void U_CALLCONV refuse(const void *, UConverterFromUnicodeArgs *, const UChar *, int32_t, UChar32,
                                  UConverterCallbackReason, UErrorCode *) {}

// In ICU's, one wrong byte becomes a control character in some character sets.
extern "C" void U_CALLCONV replace(const void *, UConverterToUnicodeArgs *to, const char *, int32_t,
                                   UConverterCallbackReason reason, UErrorCode *error) {
    if (reason > UCNV_IRREGULAR) return;
    constexpr UChar replacement_unit = 0xFFFD;
    *error = U_ZERO_ERROR;
    ucnv_cbToUWriteUChars(to, &replacement_unit, 1, 0, error);
}

void check(UErrorCode error) {
    if (error == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

} // namespace

bool is_ascii(std::string_view text) noexcept { return ascii_length(text) == text.size(); }

size_t well_formed_length(std::string_view text) noexcept {
    size_t i = 0;
    while (true) {
        i += ascii_length(text.substr(i));
        i += triples_length(text.substr(i));
        if (i == text.size()) return i;
        const character next = first_character(text.substr(i));
        if (!next.whole) return i;
        i += next.length;
    }
}

std::string repaired(std::string_view text) {
    std::string whole;
    whole.reserve(text.size());
    while (true) {
        const size_t good = well_formed_length(text);
        whole += text.substr(0, good);
        text.remove_prefix(good);
        if (text.empty()) return whole;
        whole += replacement;
        text.remove_prefix(first_character(text).length);
    }
}

converter::converter(const char *charset) {
    const char *name = mime_name(charset);
    if (!name || std::strcmp(name, "UTF-8") == 0 || std::strcmp(name, "US-ASCII") == 0) return;
    foreign_ = open(name);
    utf8_ = open("UTF-8");
    name_ = name;
    if (foreign_ && !(utf8_ && keeps_ascii())) foreign_.reset();
}

converter::handle converter::open(const char *name) {
    UErrorCode error = U_ZERO_ERROR;
    handle opened(ucnv_open(name, &error));
    check(error);
    if (!opened) return opened;
    ucnv_setFallback(opened.get(), false);
    ucnv_setFromUCallBack(opened.get(), refuse, nullptr, nullptr, nullptr, &error);
    ucnv_setToUCallBack(opened.get(), replace, nullptr, nullptr, nullptr, &error);
    return opened;
}

bool converter::keeps_ascii() const {
    std::string ascii = "\t\r\n", bytes;
    for (char c = ' '; c <= '~'; c++) ascii += c;
    return from_utf8(ascii, bytes) && bytes == ascii && to_utf8(ascii) == ascii;
}

// In blocks: the converters count bytes in 31 bits.
bool converter::convert(UConverter *to, UConverter *from, std::string_view in, std::string &out) {
    constexpr size_t block = size_t{1} << 24;
    std::array<UChar, 1024> pivot;
    std::array<char, 4096> target;
    UChar *pivot_source = pivot.data(), *pivot_target = pivot.data();
    const char *source = in.data(), *const end = source + in.size();
    for (bool begins = true;; begins = false) {
        const char *const limit = source + std::min<size_t>(block, static_cast<size_t>(end - source));
        char *made = target.data();
        UErrorCode error = U_ZERO_ERROR;
        ucnv_convertEx(to, from, &made, target.data() + target.size(), &source, limit, pivot.data(), &pivot_source,
                       &pivot_target, pivot.data() + pivot.size(), begins, limit == end, &error);
        check(error);
        out.append(target.data(), static_cast<size_t>(made - target.data()));
        if (error == U_BUFFER_OVERFLOW_ERROR) continue;
        if (U_FAILURE(error)) return false;
        if (limit == end) return true;
    }
}

std::string converter::to_utf8(std::string_view bytes) const {
    std::string text;
    text.reserve(bytes.size());
    if (!convert(utf8_.get(), foreign_.get(), bytes, text)) return repaired(bytes);
    return text;
}

bool converter::from_utf8(std::string_view text, std::string &bytes) const {
    bytes.clear();
    return convert(foreign_.get(), utf8_.get(), text, bytes);
}

mime_text::mime_text(std::string_view text, const char *charset)
    : converter_(means_ascii(text) ? nullptr : charset), utf8_(text) {
    const bool is_utf8 = well_formed_length(text) == text.size();
    if (converter_ && (is_ascii(text) || !is_utf8)) {
        replace(converter_.to_utf8(text));
    } else if (!is_utf8) {
        replace(repaired(text));
    }
}

std::string_view mime_text::encode() {
    if (is_ascii(utf8_)) {
        charset_ = "US-ASCII";
        return utf8_;
    }
    converts_ = converter_ && converter_.from_utf8(utf8_, encoded_);
    charset_ = converts_ ? converter_.name() : "UTF-8";
    return converts_ ? encoded_ : utf8_;
}

std::string_view mime_text::encode_part(std::string_view part, std::string &bytes) const {
    return converts_ && converter_.from_utf8(part, bytes) ? bytes : part;
}

} // namespace i18n
