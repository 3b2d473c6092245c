#include "tbs/tbs_uuid.h"

#include "internal/report.hpp"
#include "ks/ks_uuid.h"

#include <bit>
#include <cstddef>
#include <cstdio>
#include <cstring>

static_assert(sizeof(tbs_uuid_t) == 16 && offsetof(tbs_uuid_t, node) == 10);
static_assert(offsetof(ks_uuid_t, time_mid) == offsetof(tbs_uuid_t, time_mid) && sizeof(ks_uuid_t) == 16);

extern "C" {
constinit const tbs_uuid_t TBS_UUID_NULL = {};
constinit const tbs_oid_t TBS_OID_NULL = {};
}

namespace {

// ---- text forms: eight digits at a time, in a word whose lowest byte is the first character

constexpr uint64_t each(uint8_t byte) { return 0x0101010101010101u * byte; }

// Words as they stand in memory, lowest byte first.
template <class T> T in_order(T word) {
    if constexpr (std::endian::native == std::endian::little) return word;
    if constexpr (sizeof word == 8) return __builtin_bswap64(word);
    return sizeof word == 4 ? static_cast<T>(__builtin_bswap32(word)) : static_cast<T>(__builtin_bswap16(word));
}
template <class T> T load(const void *from) {
    T word;
    std::memcpy(&word, from, sizeof word);
    return in_order(word);
}
template <class T> void store(void *to, T word) {
    word = in_order(word);
    std::memcpy(to, &word, sizeof word);
}

// The digits of four bytes, of which the highest is written first.
uint64_t digits_of(uint32_t bytes) {
    uint64_t word = __builtin_bswap32(bytes);
    word = (word | word << 16) & 0x0000FFFF0000FFFF;
    word = (word | word << 8) & 0x00FF00FF00FF00FF;
    const uint64_t values = (word >> 4 & 0x000F000F000F000F) | (word & 0x000F000F000F000F) << 8;
    const uint64_t letters = (values + each(6)) >> 4 & each(1); // 1 where the value is ten or more
    return values + each('0') + letters * ('a' - '0' - 10);
}

// The four bytes that eight digits of either case tell; clears ok when one is no digit.
uint32_t bytes_of(uint64_t digits, bool &ok) {
    constexpr uint64_t flags = each(0x80); // set by a sum when a character is at or above a bound
    const uint64_t ascii = digits & ~flags;
    const uint64_t lower = ascii | each(0x20);
    const uint64_t decimal = (ascii + each(0x80 - '0')) & ~(ascii + each(0x7F - '9'));
    const uint64_t letter = (lower + each(0x80 - 'a')) & ~(lower + each(0x7F - 'f'));
    ok &= ((decimal | letter) & ~digits & flags) == flags;
    const uint64_t values = (ascii & each(0x0F)) + ((letter & flags) >> 7) * 9;
    uint64_t word = (values << 4 | values >> 8) & 0x00FF00FF00FF00FF;
    word = (word | word >> 8) & 0x0000FFFF0000FFFF;
    return __builtin_bswap32(static_cast<uint32_t>(word | word >> 16));
}

constexpr size_t clock_at = offsetof(tbs_uuid_t, clock_seq_hi_and_reserved); // and the node after it
constexpr size_t dense_length = 32, dotted_length = TBS_UUID_STR_SIZE - 1;

// The digits in the order in which they are written, eight in each word.
struct all_digits {
    uint64_t low, middle, clock,
        node; // "middle" is time_mid and time_hi_and_version, "clock" has two bytes of the node
};

[[gnu::always_inline]] inline all_digits digits_of(const tbs_uuid_t &uuid) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(&uuid) + clock_at;
    return {digits_of(uuid.time_low), digits_of(uint32_t{uuid.time_mid} << 16 | uuid.time_hi_and_version),
            digits_of(__builtin_bswap32(load<uint32_t>(bytes))),
            digits_of(__builtin_bswap32(load<uint32_t>(bytes + 4)))};
}

[[gnu::always_inline]] inline bool set_from(const all_digits &digits, tbs_uuid_t *uuid_out) {
    bool ok = true;
    const uint32_t low = bytes_of(digits.low, ok), middle = bytes_of(digits.middle, ok);
    const uint32_t clock = bytes_of(digits.clock, ok), node = bytes_of(digits.node, ok);
    if (!ok) return false;
    uuid_out->time_low = low;
    uuid_out->time_mid = static_cast<uint16_t>(middle >> 16);
    uuid_out->time_hi_and_version = static_cast<uint16_t>(middle);
    auto *bytes = reinterpret_cast<uint8_t *>(uuid_out) + clock_at;
    store(bytes, __builtin_bswap32(clock));
    store(bytes + 4, __builtin_bswap32(node));
    return true;
}

char *write_dense(const all_digits &digits, char *text) {
    store(text, digits.low);
    store(text + 8, digits.middle);
    store(text + 16, digits.clock);
    store(text + 24, digits.node);
    text[dense_length] = '\0';
    return text;
}

template <class T> void put_run(char *text, uint64_t digits, char after) {
    store(text, static_cast<T>(digits));
    text[sizeof(T)] = after;
}

char *write_dotted(const all_digits &digits, char *text) {
    put_run<uint64_t>(text, digits.low, '.');
    put_run<uint64_t>(text + 9, digits.middle, '.');
    put_run<uint32_t>(text + 18, digits.clock, '.');
    put_run<uint16_t>(text + 23, digits.clock >> 32, ':');
    put_run<uint16_t>(text + 26, digits.clock >> 48, ':');
    put_run<uint16_t>(text + 29, digits.node, ':');
    put_run<uint16_t>(text + 32, digits.node >> 16, ':');
    put_run<uint16_t>(text + 35, digits.node >> 32, ':');
    put_run<uint16_t>(text + 38, digits.node >> 48, '\0');
    return text;
}

template <char *(*Form)(const all_digits &, char *)> char *write(const tbs_uuid_t *uuid, char *text) {
    if (!text) return text;
    return uuid ? Form(digits_of(*uuid), text) : std::strcpy(text, "(NULL)");
}

bool read_dense(const char *text, tbs_uuid_t *uuid_out) {
    return set_from(
        {load<uint64_t>(text), load<uint64_t>(text + 8), load<uint64_t>(text + 16), load<uint64_t>(text + 24)},
        uuid_out);
}

bool read_dotted(const char *text, tbs_uuid_t *uuid_out) {
    const auto pair = [text](size_t at, int place) { return uint64_t{load<uint16_t>(text + at)} << 16 * place; };
    const bool separated = text[8] == '.' && text[17] == '.' && text[22] == '.' && text[25] == ':' &&
                           text[28] == ':' && text[31] == ':' && text[34] == ':' && text[37] == ':';
    return separated && set_from({load<uint64_t>(text), load<uint64_t>(text + 9),
                                  load<uint32_t>(text + 18) | pair(23, 2) | pair(26, 3),
                                  pair(29, 0) | pair(32, 1) | pair(35, 2) | pair(38, 3)},
                                 uuid_out);
}

// Reads a text that has one of the forms to the letter, as nearly all have; what follows it does not matter.
bool read_canonical(const char *text, tbs_uuid_t *uuid_out) {
    const size_t length = strnlen(text, dotted_length);
    return (length == dotted_length && read_dotted(text, uuid_out)) ||
           (length >= dense_length && read_dense(text, uuid_out));
}

// Reads what the C scanner reads. A field has no more digits than its variable holds.
tbs_status_t scan(const char *text, tbs_uuid_t *uuid_out) {
    constexpr int fields = 10;
    unsigned low = 0;
    unsigned short mid = 0, high = 0, clock = 0, n[6] = {};
    // NOLINTBEGIN(cert-err34-c)
    const bool is_dotted = std::sscanf(text, "%08x.%04hx%04hx.%04hx.%02hx:%02hx:%02hx:%02hx:%02hx:%02hx", &low, &mid,
                                       &high, &clock, &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]) == fields;
    const bool is_dense =
        !is_dotted && std::sscanf(text, "%08x%04hx%04hx%04hx%02hx%02hx%02hx%02hx%02hx%02hx", &low, &mid, &high,
                                  &clock, &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]) == fields;
    // NOLINTEND(cert-err34-c)
    if (!is_dotted && !is_dense) return TBS_ST_ERROR;
    uuid_out->time_low = low;
    uuid_out->time_mid = mid;
    uuid_out->time_hi_and_version = high;
    uuid_out->clock_seq_hi_and_reserved = static_cast<uint8_t>(clock >> 8);
    uuid_out->clock_seq_low = static_cast<uint8_t>(clock);
    for (int i = 0; i < 6; i++) uuid_out->node[i] = static_cast<uint8_t>(n[i]);
    return 0;
}

template <class T> int order(T a, T b) { return a < b ? -1 : a > b; }

} // namespace

extern "C" tbs_status_t tbs_uuid_gen(tbs_uuid_t *uuid_out) noexcept {
    if (!uuid_out) return TBS_ST_EINVAL;
    ks_uuid_t uuid;
    std::memcpy(&uuid, uuid_out, sizeof uuid); // a system that fails may leave it as it is
    const int failure = UuidCreate(&uuid);
    std::memcpy(uuid_out, &uuid, sizeof uuid);
    if (failure == 0) return 0;
    tbs::say<tbs::general_messages, 24>(IMSG_ERROR, "tbs", failure);
    return TBS_ST_ERROR;
}

extern "C" char *tbs_uuid_to_str(const tbs_uuid_t *uuid, char *text) noexcept {
    return write<write_dotted>(uuid, text);
}

extern "C" char *tbs_uuid_to_dstr(const tbs_uuid_t *uuid, char *text) noexcept {
    return write<write_dense>(uuid, text);
}

extern "C" tbs_status_t tbs_str_to_uuid(const char *text, tbs_uuid_t *uuid_out) noexcept {
    if (!text || !uuid_out) return TBS_ST_EINVAL;
    return read_canonical(text, uuid_out) ? 0 : scan(text, uuid_out);
}

extern "C" tbs_status_t tbs_dstr_to_uuid(const char *text, tbs_uuid_t *uuid_out) noexcept {
    return tbs_str_to_uuid(text, uuid_out);
}

extern "C" tbs_boolean_t tbs_uuid_eq(const tbs_uuid_t *a, const tbs_uuid_t *b) noexcept {
    if (!a || !b) return a == b;
    return a->time_low == b->time_low && std::memcmp(a, b, sizeof *a) == 0;
}

extern "C" int tbs_uuid_cmp(const tbs_uuid_t *a, const tbs_uuid_t *b) noexcept {
    constexpr unsigned version_bits = 0xF000;
    if (!a || !b) return order(a != nullptr, b != nullptr);
    if (const int high = order(a->time_hi_and_version & ~version_bits, b->time_hi_and_version & ~version_bits))
        return high;
    if (const int mid = order(a->time_mid, b->time_mid)) return mid;
    if (const int low = order(a->time_low, b->time_low)) return low;
    return std::memcmp(a, b, sizeof *a);
}

extern "C" uint32_t tbs_uuid_to_hash32(const tbs_uuid_t *uuid) noexcept {
    if (!uuid) return 0;
    uint32_t node[6];
    for (int i = 0; i < 6; i++) node[i] = uuid->node[i];
    const uint32_t sum = (uint32_t{uuid->clock_seq_hi_and_reserved} << 26) + (node[5] << 20) + (node[4] << 16) +
                         (node[3] << 12) + (node[2] << 8) + (node[1] << 4) + node[0] + uuid->clock_seq_low +
                         uuid->time_hi_and_version + uuid->time_mid;
    return sum * 0x1FFFFFFDu + (uuid->time_low >> 22) + (uuid->time_low >> 2);
}

extern "C" tbs_status_t tbs_uuid_to_time(const tbs_uuid_t *uuid, time_t *time_out) noexcept {
    constexpr int64_t epoch = 0x01B21DD313814000, ticks_a_second = 10'000'000;
    if (!uuid || !time_out) return TBS_ST_EINVAL;
    const bool standard = (uuid->clock_seq_hi_and_reserved & 0xC0) == 0x80;
    const bool time_based = uuid->time_hi_and_version >> 12 == 1;
    if (!standard || !time_based) return TBS_ST_NOT_FOUND;
    const int64_t ticks = static_cast<int64_t>(uuid->time_hi_and_version & 0xFFF) << 48 |
                          static_cast<int64_t>(uuid->time_mid) << 32 | uuid->time_low;
    *time_out = static_cast<uint32_t>((ticks - epoch) / ticks_a_second);
    return 0;
}

extern "C" int tbs_fscanf_uuid(FILE *stream, size_t buffer_size, tbs_boolean_t skip_newline, char *buffer) noexcept {
    if (!buffer) return 0;
    *buffer = '\0';
    if (!stream || buffer_size < TBS_UUID_SCAN_SIZE) return 0;
    return skip_newline ? std::fscanf(stream, "%50s\n", buffer) : std::fscanf(stream, "%50s", buffer);
}

extern "C" void tbs_oid_to_uuid(const tbs_oid_t *oid, tbs_uuid_t *uuid_out) noexcept {
    if (oid && uuid_out) std::memmove(uuid_out, oid, sizeof *uuid_out);
}

extern "C" void tbs_uuid_to_oid(const tbs_uuid_t *uuid, tbs_oid_t *oid_out) noexcept {
    if (uuid && oid_out) std::memmove(oid_out, uuid, sizeof *oid_out);
}

extern "C" char *tbs_oid_to_str(const tbs_oid_t *oid, char *text) noexcept { return tbs_uuid_to_str(oid, text); }

extern "C" char *tbs_oid_to_dstr(const tbs_oid_t *oid, char *text) noexcept { return tbs_uuid_to_dstr(oid, text); }

extern "C" tbs_status_t tbs_str_to_oid(const char *text, tbs_oid_t *oid_out) noexcept {
    return tbs_str_to_uuid(text, oid_out);
}

extern "C" tbs_status_t tbs_dstr_to_oid(const char *text, tbs_oid_t *oid_out) noexcept {
    return tbs_str_to_uuid(text, oid_out);
}

extern "C" tbs_boolean_t tbs_oid_eq(const tbs_oid_t *a, const tbs_oid_t *b) noexcept { return tbs_uuid_eq(a, b); }

extern "C" int tbs_oid_cmp(const tbs_oid_t *a, const tbs_oid_t *b) noexcept { return tbs_uuid_cmp(a, b); }

extern "C" uint32_t tbs_oid_to_hash32(const tbs_oid_t *oid) noexcept { return tbs_uuid_to_hash32(oid); }

extern "C" int tbs_fscanf_oid(FILE *stream, size_t buffer_size, tbs_boolean_t skip_newline, char *buffer) noexcept {
    return tbs_fscanf_uuid(stream, buffer_size, skip_newline, buffer);
}
