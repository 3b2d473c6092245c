// type_fuzz_support.hpp - file typing written a second time, as plainly as it can be: rule by rule, each tree by
// recursion, all of the file at hand. What the library finds must be what this finds.
#ifndef FUZZ_TYPE_FUZZ_SUPPORT_HPP
#define FUZZ_TYPE_FUZZ_SUPPORT_HPP

#include "acl_fuzz_support.hpp"
#include "ks/ks_str.h"
#include "ks/ks_wild.h"
#include "lib/tbs/typing/program.hpp"
#include "lib/tbs/typing/reader.hpp"

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace type_fuzz {

using acl_fuzz::demand;
using acl_fuzz::memory_file;
using tbs::typing::definition;
using tbs::typing::value;

class silent final : public tbs::typing::listener {
public:
    void bad_syntax(const char *, const char *, uint32_t) noexcept override {}
    void beyond_content(const char *, uint32_t) noexcept override {}
};

// ---- the naive evaluation

// A regular file of which everything is known.
struct known_file {
    known_file(std::string its_name, std::string_view all, uint32_t may_look_at)
        : name(std::move(its_name)), content(all.substr(0, FT_CONTENT_SIZE)), padded(content), options(may_look_at) {
        padded.resize(FT_CONTENT_SIZE + 1, '\0');
    }
    std::string name, content, padded;
    uint32_t options;
};

inline std::string base_name(const std::string &path) {
    const size_t last = path.find_last_of("/\\");
    return last == std::string::npos ? path : path.substr(last + 1);
}

inline value of(bool holds) { return holds ? value::holds : value::fails; }

// The bytes of the first character, 0 when there is none that is text.
inline size_t text_character(const char *at, wchar_t &character) {
    if (MB_CUR_MAX == 1) {
        const auto byte = static_cast<unsigned char>(*at);
        character = byte;
        return std::isprint(byte) || std::isspace(byte);
    }
    std::mbtowc(nullptr, nullptr, 0);
    const int size = std::mbtowc(&character, at, MB_CUR_MAX);
    if (size <= 0) return 0;
    const bool is_text =
        strutl_is_printable(static_cast<uint32_t>(character)) || std::iswspace(static_cast<wint_t>(character));
    return is_text ? static_cast<size_t>(size) : 0;
}

inline value printable(const std::string &content) {
    if (content.empty()) return value::holds;
    size_t scanned = 0, lines = 1;
    wchar_t character = 0;
    for (size_t size; content[scanned] && (size = text_character(content.c_str() + scanned, character)) > 0;) {
        lines += character == L'\n';
        scanned += size;
    }
    const size_t left = content.size() - scanned;
    const bool is_cut = MB_CUR_MAX > 1 && content.size() == FT_CONTENT_SIZE && left <= MB_CUR_MAX;
    if (left > 0 && !is_cut) return value::fails;
    return of(content.size() / lines <= 256 * MB_CUR_MAX);
}

inline value magic(const ft_node_t &node, const std::string &padded) {
    const auto &test = node.u.magic;
    const char *at = padded.c_str() + test.offset;
    if (test.is_text) return of(std::strncmp(test.value.text, at, test.length) == 0);
    uint32_t number = 0;
    if (test.length == 1) {
        number = static_cast<uint8_t>(*at);
        return of(number == test.value.byte);
    }
    if (test.length == 2) {
        uint16_t two = 0;
        std::memcpy(&two, at, sizeof two);
        return of(two == test.value.two);
    }
    std::memcpy(&number, at, sizeof number);
    return of(number == test.value.four);
}

inline value evaluate(const ft_node_t *node, const known_file &file) {
    if (!node) return value::fails;
    const value unless_allowed = value::undecided;
    const auto allowed = [&](uint32_t option) { return (file.options & option) != 0; };
    switch (node->kind) {
    case FT_OR: {
        const value left = evaluate(node->u.operands.left, file);
        if (left == value::holds) return left;
        const value right = evaluate(node->u.operands.right, file);
        if (right == value::holds) return right;
        return left == value::undecided ? left : right;
    }
    case FT_AND: {
        const value left = evaluate(node->u.operands.left, file);
        return left == value::holds ? evaluate(node->u.operands.right, file) : left;
    }
    case FT_NOT: {
        const value operand = evaluate(node->u.operands.left, file);
        return operand == value::undecided ? operand : of(operand == value::fails);
    }
    case FT_NAME_TEST: {
        if (!allowed(TBS_FT_BY_NAME)) return unless_allowed;
        const auto &test = node->u.name;
        return of(test.compiled ? wild_match(test.compiled, file.name.c_str(), 0) != 0 : file.name == test.pattern);
    }
    case FT_STATUS_TEST:
        return allowed(TBS_FT_BY_STATUS) ? of(node->u.status.kind == FILEUTL_REGULAR) : unless_allowed;
    case FT_MAGIC_TEST: return allowed(TBS_FT_BY_CONTENT) ? magic(*node, file.padded) : unless_allowed;
    case FT_TOKEN_TEST:
        return allowed(TBS_FT_BY_CONTENT) ? of(file.content.find(node->u.token.text) != std::string::npos)
                                          : unless_allowed;
    case FT_PRINTABLE_TEST: return allowed(TBS_FT_BY_CONTENT) ? printable(file.content) : unless_allowed;
    default: return value::undecided;
    }
}

inline const definition *first_that_holds(const definition *first, const known_file &file) {
    while (first && evaluate(first->rule, file) != value::holds) first = first->next;
    return first;
}

// ---- the comparison

inline constexpr off_t somewhere = 7;

// Types a regular file of the content under a path, by its descriptor.
inline void compare(const definition *first, const tbs::typing::program &rules, const memory_file &held,
                    std::string_view content, const std::string &path, uint32_t options) {
    const known_file known(base_name(path), content, options);
    fileutl_status_t status = {};
    status.mode = FILEUTL_REGULAR;
    status.nlink = 1;
    const int fd = open(held.path().c_str(), O_RDONLY | O_CLOEXEC);
    demand(fd >= 0 && lseek(fd, somewhere, SEEK_SET) == somewhere, "the file is open");
    tbs::typing::examined_file file(path.c_str(), fd, &status, nullptr, options);
    const definition *found = rules.find(file);
    demand(lseek(fd, 0, SEEK_CUR) == somewhere, "the descriptor stays where it was");
    close(fd);
    demand(found == first_that_holds(first, known), "the definition is that of the naive evaluation");
}

} // namespace type_fuzz

#endif
