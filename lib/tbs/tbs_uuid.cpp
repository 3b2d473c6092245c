#include "tbs/tbs_uuid.h"

#include "internal/report.hpp"
#include "ks/ks_uuid.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>

static_assert(sizeof(tbs_uuid_t) == 16);
static_assert(offsetof(tbs_uuid_t, clock_seq_hi_and_reserved) == 8 && offsetof(tbs_uuid_t, node) == 10);
static_assert(offsetof(ks_uuid_t, time_mid) == offsetof(tbs_uuid_t, time_mid) && sizeof(ks_uuid_t) == 16);

extern "C" {
constinit const tbs_uuid_t TBS_UUID_NULL = {};
constinit const tbs_oid_t TBS_OID_NULL = {};
}

namespace {

// ---- text forms

// The two digits of every byte.
constexpr auto digits_of = [] {
    std::array<std::array<char, 2>, 256> digits{};
    for (unsigned i = 0; i < 256; i++) digits[i] = {"0123456789abcdef"[i >> 4], "0123456789abcdef"[i & 15]};
    return digits;
}();

// Value of each hexadecimal digit; not_a_digit, which no shift makes small, for every other character.
constexpr uint32_t not_a_digit = 0x100;
constexpr auto value_of = [] {
    std::array<uint16_t, 256> values{};
    values.fill(not_a_digit);
    for (unsigned i = 0; i < 16; i++) {
        values[static_cast<unsigned char>("0123456789abcdef"[i])] = static_cast<uint16_t>(i);
        values[static_cast<unsigned char>("0123456789ABCDEF"[i])] = static_cast<uint16_t>(i);
    }
    return values;
}();

constexpr size_t byte_count = 16;

// Where the digits of each byte stand in a text form, bytes in the order in which they are written, and what stands
// between them.
struct text_form {
    std::array<uint8_t, byte_count> at;
    size_t length;
    std::array<char, TBS_UUID_STR_SIZE> frame; // the separators, 0 where a digit goes
};

constexpr text_form form_with(const char *separators) {
    text_form form{};
    for (size_t byte = 0; byte < byte_count; byte++) {
        if (separators[byte] != '-') form.frame[form.length++] = separators[byte];
        form.at[byte] = static_cast<uint8_t>(form.length);
        form.length += 2;
    }
    return form;
}

// One character for each byte: the separator before it, "-" for none.
constexpr text_form dotted = form_with("----.---.-.:::::");
constexpr text_form dense = form_with("----------------");
static_assert(dotted.length == 40 && dense.length == 32);

std::array<uint8_t, byte_count> bytes_as_written(const tbs_uuid_t &uuid) {
    std::array<uint8_t, byte_count> bytes;
    for (int i = 0; i < 4; i++) bytes[i] = static_cast<uint8_t>(uuid.time_low >> (24 - 8 * i));
    for (int i = 0; i < 2; i++) {
        bytes[4 + i] = static_cast<uint8_t>(uuid.time_mid >> (8 - 8 * i));
        bytes[6 + i] = static_cast<uint8_t>(uuid.time_hi_and_version >> (8 - 8 * i));
    }
    std::memcpy(&bytes[8], &uuid.clock_seq_hi_and_reserved, 8);
    return bytes;
}

void set_from_bytes(const std::array<uint8_t, byte_count> &bytes, tbs_uuid_t *uuid) {
    uuid->time_low = uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
    uuid->time_mid = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
    uuid->time_hi_and_version = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
    std::memcpy(&uuid->clock_seq_hi_and_reserved, &bytes[8], 8);
}

template <const text_form &Form> char *write(const tbs_uuid_t *uuid, char *text) {
    if (!text) return text;
    if (!uuid) return std::strcpy(text, "(NULL)");
    const auto bytes = bytes_as_written(*uuid);
    std::memcpy(text, Form.frame.data(), Form.length);
    for (size_t byte = 0; byte < byte_count; byte++) std::memcpy(text + Form.at[byte], digits_of[bytes[byte]].data(), 2);
    text[Form.length] = '\0';
    return text;
}

// Reads a text that has exactly this form, as nearly all have; what follows it does not matter.
template <const text_form &Form> bool read_canonical(const char *text, tbs_uuid_t *uuid_out) {
    if (strnlen(text, Form.length) < Form.length) return false;
    std::array<uint8_t, byte_count> bytes;
    uint32_t all = 0;
    for (size_t byte = 0; byte < byte_count; byte++) {
        const auto digit = [&](size_t i) { return value_of[static_cast<unsigned char>(text[Form.at[byte] + i])]; };
        const uint32_t value = static_cast<uint32_t>(digit(0)) << 4 | digit(1);
        if (byte > 0 && Form.at[byte] != Form.at[byte - 1] + 2 && text[Form.at[byte] - 1] != Form.frame[Form.at[byte] - 1]) {
            return false;
        }
        all |= value;
        bytes[byte] = static_cast<uint8_t>(value);
    }
    if (all >= not_a_digit) return false;
    set_from_bytes(bytes, uuid_out);
    return true;
}

// Reads what the C scanner reads.
tbs_status_t scan(const char *text, tbs_uuid_t *uuid_out) {
    constexpr int fields = 10;
    unsigned low = 0;
    unsigned short mid = 0, high = 0, clock = 0, n[6] = {};
    const bool is_dotted = std::sscanf(text, "%08x.%04hx%04hx.%04hx.%02hx:%02hx:%02hx:%02hx:%02hx:%02hx", &low, &mid,
                                       &high, &clock, &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]) == fields;
    const bool is_dense = !is_dotted && std::sscanf(text, "%08x%04hx%04hx%04hx%02hx%02hx%02hx%02hx%02hx%02hx", &low,
                                                    &mid, &high, &clock, &n[0], &n[1], &n[2], &n[3], &n[4],
                                                    &n[5]) == fields;
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
    if (const int failure = UuidCreate(&uuid)) {
        tbs::say<tbs::general_messages, 24>(IMSG_ERROR, "tbs", failure);
        return TBS_ST_ERROR;
    }
    std::memcpy(uuid_out, &uuid, sizeof uuid);
    return 0;
}

extern "C" char *tbs_uuid_to_str(const tbs_uuid_t *uuid, char *text) noexcept { return write<dotted>(uuid, text); }

extern "C" char *tbs_uuid_to_dstr(const tbs_uuid_t *uuid, char *text) noexcept { return write<dense>(uuid, text); }

extern "C" tbs_status_t tbs_str_to_uuid(const char *text, tbs_uuid_t *uuid_out) noexcept {
    if (!text || !uuid_out) return TBS_ST_EINVAL;
    if (read_canonical<dotted>(text, uuid_out) || read_canonical<dense>(text, uuid_out)) return 0;
    return scan(text, uuid_out);
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
    if (const int high = order(a->time_hi_and_version & ~version_bits, b->time_hi_and_version & ~version_bits)) return high;
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
    if (!stream || !buffer || buffer_size == 0) return 0;
    *buffer = '\0';
    if (buffer_size < TBS_UUID_SCAN_SIZE) return 0;
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
