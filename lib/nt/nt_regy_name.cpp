#include "internal/nt_regy_name.hpp"

#include "internal/nt_utf.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_str.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace nt::regy {
namespace {

constexpr char separator = '\\';

bool is_control(char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

bool is_printable_ascii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

bool is_name(std::string_view text) {
    if (is_printable_ascii(text)) return true;
    while (!text.empty()) {
        const char32_t c = utf::take_utf8(text);
        if (c == utf::bad || is_control(c)) return false;
    }
    return true;
}

bool has_empty_part(std::string_view path) {
    return path.front() == separator || path.back() == separator || path.find("\\\\") != std::string_view::npos;
}

bool is_terminated_text(std::string_view data) {
    return !data.empty() && data.find('\0') == data.size() - 1 && utf::is_utf8(data);
}

// Texts, each terminated and none empty, and an empty one at the end.
bool is_text_list(std::string_view data) {
    if (data.empty() || data.back() != '\0' || !utf::is_utf8(data)) return false;
    if (data.size() == 1) return true;
    constexpr std::string_view end("\0\0", 2);
    return data.front() != '\0' && data.find(end) == data.size() - end.size();
}

constexpr size_t number_size(ntregy_type_t type) {
    return type == NTREGY_DWORD ? sizeof(uint32_t) : type == NTREGY_QWORD ? sizeof(uint64_t) : 0;
}

} // namespace

int folded_name::set(const char *text) noexcept {
    const auto *end = static_cast<const char *>(std::memchr(text, '\0', NTREGY_KEY_SIZE));
    if (!end) return KS_ENAMETOOLONG;
    text_ = {text, static_cast<size_t>(end - text)};
    if (!is_name(text_)) return KS_EINVAL;
    const int error = strutl_cvt_case_string(text, STRUTL_CASE_FOLD, folded_, sizeof folded_);
    size_ = error == 0 ? std::strlen(folded_) : 0;
    return error;
}

int folded_name::set_key(const char *path) noexcept {
    if (!path || !*path) return KS_EINVAL;
    if (const int error = set(path)) return error;
    if (has_empty_part(text_)) return KS_EINVAL;
    std::replace(folded_, folded_ + size_, separator, '\0');
    return 0;
}

int folded_name::set_key_or_root(const char *path) noexcept {
    if (!path || *path) return set_key(path);
    text_ = {};
    size_ = 0;
    return 0;
}

int folded_name::set_value_name(const char *name) noexcept { return set(name ? name : ""); }

bool fits_type(ntregy_type_t type, std::string_view data) noexcept {
    if (is_text(type)) return is_terminated_text(data);
    if (type == NTREGY_MULTI_SZ) return is_text_list(data);
    const size_t size = number_size(type);
    return size == 0 || data.size() == size;
}

std::string_view in_other_order(ntregy_type_t type, std::string_view data, number_buffer &buffer) noexcept {
    if constexpr (std::endian::native == std::endian::little) return data;
    if (number_size(type) == 0 || data.size() != number_size(type)) return data;
    std::reverse_copy(data.begin(), data.end(), buffer.bytes);
    return {buffer.bytes, data.size()};
}

} // namespace nt::regy
