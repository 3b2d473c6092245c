#include "examined_file.hpp"

#include "ks/ks_str.h"
#include "ks/ks_wild.h"
#include "nt/nt_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

namespace tbs::typing {
namespace {

constexpr size_t longest_average_line = 256; // characters

const char *base_name(const char *path) {
    const char *name = path + std::strlen(path);
    while (name != path && name[-1] != '/' && name[-1] != '\\') name--;
    return name;
}

// ---- text

// How far content is text, and how many lines that is.
struct scanned_text {
    size_t size, lines;
};

scanned_text scan_single_bytes(std::string_view content) {
    scanned_text result = {0, 1};
    for (const char c : content) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte == 0 || (!std::isprint(byte) && !std::isspace(byte))) break;
        result.size++;
        result.lines += byte == '\n';
    }
    return result;
}

// Printable characters and white space of ASCII, which are themselves in every locale with UTF-8.
constexpr auto ascii_text = [] {
    std::array<bool, 256> table{};
    for (int c = ' '; c <= '~'; c++) table[static_cast<size_t>(c)] = true;
    for (int c = '\t'; c <= '\r'; c++) table[static_cast<size_t>(c)] = true;
    return table;
}();

bool locale_has_utf8() {
    wchar_t character = 0;
    std::mbstate_t state{};
    return std::mbrtowc(&character, "\xe2\x82\xac", 3, &state) == 3 && character == 0x20ac;
}

scanned_text scan_characters(std::string_view content) {
    scanned_text result = {0, 1};
    const bool is_utf8 = locale_has_utf8();
    std::mbstate_t state{};
    while (result.size < content.size()) {
        const char *at = content.data() + result.size;
        if (is_utf8 && ascii_text[static_cast<unsigned char>(*at)]) {
            result.size++;
            result.lines += *at == '\n';
            continue;
        }
        wchar_t character;
        const size_t taken = std::mbrtowc(&character, at, content.size() - result.size, &state);
        if (taken == 0 || taken > MB_CUR_MAX) break; // the end, or what cannot be decoded
        if (!strutl_is_printable(static_cast<uint32_t>(character)) && !std::iswspace(static_cast<wint_t>(character)))
            break;
        result.size += taken;
        result.lines += character == L'\n';
    }
    return result;
}

} // namespace

bool is_text(std::string_view content) {
    if (content.empty()) return true;
    const size_t longest = MB_CUR_MAX;
    const scanned_text scanned = longest > 1 ? scan_characters(content) : scan_single_bytes(content);
    if (scanned.size < content.size()) {
        // The end of what was read may cut a character.
        const bool may_be_cut =
            longest > 1 && content.size() == FT_CONTENT_SIZE && content.size() - scanned.size <= longest;
        if (!may_be_cut) return false;
    }
    return content.size() / scanned.lines <= longest_average_line * longest;
}

examined_file::examined_file(const char *path, int fd, const fileutl_status_t *status,
                             const fileutl_status_t *second_status, uint32_t options)
    : path_(path), name_(base_name(path)), fd_(fd), options_(options), status_{}, status_known_(status != nullptr),
      status_unavailable_(status == TBS_FT_NO_STATUS), second_unavailable_(second_status == TBS_FT_NO_STATUS) {
    if (status_known_ && !status_unavailable_) status_ = *status;
}

void examined_file::learn_status() {
    if (status_known_) return;
    status_known_ = true;
    status_unavailable_ = fileutl_stat(path_, 1, &status_) != 0;
}

value examined_file::status_is(uint32_t kind) {
    if (!may_look_at(TBS_FT_BY_STATUS)) return value::undecided;
    learn_status();
    if (status_unavailable_ || second_unavailable_) return value::undecided;
    return of(status_.nlink >= 1 && (status_.mode & FILEUTL_KIND) == kind);
}

void examined_file::read_content() {
    if (content_tried_) return;
    content_tried_ = true;
    learn_status();
    size_t size = 0;
    content_unavailable_ = status_unavailable_ || status_.nlink == 0 ||
                           (status_.mode & FILEUTL_KIND) != FILEUTL_REGULAR ||
                           unix_nt_read_content(path_, fd_, content_, FT_CONTENT_SIZE, &size) != 0;
    size_ = static_cast<uint32_t>(size);
    std::memset(content_ + size, 0, sizeof content_ - size);
}

value examined_file::matches(const ft_node_t &test) const {
    if (!may_look_at(TBS_FT_BY_NAME)) return value::undecided;
    const auto &name = test.u.name;
    return of(name.compiled ? wild_match(name.compiled, name_, 0) != 0 : std::strcmp(name.pattern, name_) == 0);
}

value examined_file::has_magic(const ft_node_t &test) const {
    const auto &magic = test.u.magic;
    const char *at = content_ + magic.offset;
    if (magic.is_text) return of(std::strncmp(magic.value.text, at, magic.length) == 0);
    switch (magic.length) {
    case 1: return of(std::memcmp(&magic.value.byte, at, 1) == 0);
    case 2: return of(std::memcmp(&magic.value.two, at, 2) == 0);
    case 4: return of(std::memcmp(&magic.value.four, at, 4) == 0);
    default: return value::undecided;
    }
}

value examined_file::has_token(std::string_view token) const {
    return of(std::string_view(content_, size_).find(token) != std::string_view::npos);
}

value examined_file::is_text() const { return of(typing::is_text({content_, size_})); }

value examined_file::decide(const ft_node_t &test) {
    if (test.kind == FT_STATUS_TEST) return status_is(test.u.status.kind);
    const bool is_of_content =
        test.kind == FT_MAGIC_TEST || test.kind == FT_TOKEN_TEST || test.kind == FT_PRINTABLE_TEST;
    if (!is_of_content || !may_look_at(TBS_FT_BY_CONTENT)) return value::undecided;
    read_content();
    if (content_unavailable_) return value::undecided;
    if (test.kind == FT_MAGIC_TEST) return has_magic(test);
    return test.kind == FT_TOKEN_TEST ? has_token({test.u.token.text, test.u.token.length}) : is_text();
}

} // namespace tbs::typing
