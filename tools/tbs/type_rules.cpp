#include "type_rules.hpp"

#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"
#include "ks/ks_str.h"
#include "lib/tbs/typing/reader.hpp"
#include "nt/nt_file.h"
#include "tool.hpp"

#include <array>
#include <bit>
#include <cstdio>
#include <memory>
#include <new>

namespace tool {
namespace {

std::string quoted(const char *text) {
    std::string all = "\"";
    for (const char *at = text; *at; at++) {
        if (*at == '"' || *at == '\\') all += '\\';
        all += *at;
    }
    return all + '"';
}

// A number as it stands in the file, first byte first.
template <class T> std::string number_text(const char *key, T in_memory) {
    uint32_t number = 0;
    for (const uint8_t byte : std::bit_cast<std::array<uint8_t, sizeof(T)>>(in_memory)) number = number << 8 | byte;
    char text[32];
    std::snprintf(text, sizeof text, "%s, 0x%0*x", key, static_cast<int>(2 * sizeof(T)), number);
    return text;
}

std::string magic_text(const ft_node_t &test) {
    const auto &magic = test.u.magic;
    std::string value;
    if (magic.is_text) {
        value = quoted(magic.value.text);
    } else if (magic.length == 1) {
        value = number_text("byte", magic.value.byte);
    } else if (magic.length == 2) {
        value = number_text("b_short", magic.value.two);
    } else {
        value = number_text("b_long", magic.value.four);
    }
    return "-magic " + std::to_string(magic.offset) + ", " + value;
}

struct file_list {
    ~file_list() { strutl_free_str_list(&names, count); }
    char **names = nullptr;
    uint32_t count = 0;
};

// As the user writes it.
std::string host_path(const char *product_path) {
    char path[KS_PATH_SIZE];
    return fileutl_host_path(product_path, path, sizeof path) == 0 ? path : product_path;
}

constexpr char never_text[] = "the test never matches: ";
constexpr char remedy_of_path[] = "Set MAGIC_PATH to the directories of the type files, separated by \";\".";

} // namespace

// ---- reading

void type_rules::read(const std::string &path) {
    fileutl_status_t status;
    const bool is_there = fileutl_stat(path.c_str(), 1, &status) == 0;
    if (is_there && (status.mode & FILEUTL_KIND) != FILEUTL_REGULAR) {
        remarks_.push_back({weight::warning, path, 0, "it is no regular file, and is skipped"});
        return;
    }
    const std::unique_ptr<FILE, int (*)(FILE *)> stream(unix_nt_fopen_settings(path.c_str(), nullptr), std::fclose);
    if (!stream) {
        remarks_.push_back({weight::error, path, 0, std::string("it cannot be opened: ") + imsg_strerror(ks_errno)});
        return;
    }
    try {
        tbs::typing::read_stream(rules_, path.c_str(), stream.get());
    } catch (const tbs::typing::scanner_failure &why) {
        throw failure(path, rules_.line(), why.text, "Give the tool more memory, or a smaller file.");
    }
    if (lacks_memory_) throw std::bad_alloc();
}

void type_rules::hear(weight is, const char *file, uint32_t line, const char *text, const char *more) noexcept {
    try {
        remarks_.push_back({is, file, line, std::string(text) + more});
    } catch (const std::bad_alloc &) {
        lacks_memory_ = true;
    }
}
void type_rules::bad_syntax(const char *what, const char *file, uint32_t line) noexcept {
    hear(weight::error, file, line, what, "");
}
void type_rules::beyond_content(const char *file, uint32_t line) noexcept {
    static_assert(FT_CONTENT_SIZE == 512);
    hear(weight::warning, file, line, never_text, "it looks beyond the first 512 bytes");
}
void type_rules::never_matches(const char *why, const char *file, uint32_t line) noexcept {
    hear(weight::warning, file, line, never_text, why);
}

const char *type_file_path() {
    const char *const path = tbs_file_type_path();
    if (!path) throw failure("the type files cannot be loaded", remedy_of_path);
    return path;
}

std::vector<std::string> type_files_of_path() {
    const char *const path = type_file_path();
    std::vector<std::string> files;
    for (uint32_t next = 0;; next++) {
        file_list found;
        const int error =
            fileutl_resolve_pattern_index(path, tbs::typing::file_pattern, next, &next, &found.names, &found.count);
        if (error == KS_ENOENT) return files; // the end of the path
        if (error != 0)
            throw failure(std::string("the type files cannot be found: ") + imsg_strerror(error), remedy_of_path);
        for (uint32_t i = 0; i < found.count; i++) files.push_back(host_path(found.names[i]));
    }
}

// ---- text

std::string test_text(const ft_node_t &test) {
    switch (test.kind) {
    case FT_NAME_TEST: return "-name " + quoted(test.u.name.pattern);
    case FT_STATUS_TEST: return std::string("-stat ") + test.u.status.word;
    case FT_MAGIC_TEST: return magic_text(test);
    case FT_TOKEN_TEST: return "-token " + quoted(test.u.token.text);
    case FT_COMMAND_TEST: return "-file " + quoted(test.u.command.text);
    case FT_PRINTABLE_TEST: return "-printable";
    default: return "(unknown)";
    }
}

// Rules are as deep as their authors like: a list of what is still to write takes the place of recursion.
std::string rule_text(const ft_node_t *rule) {
    struct piece {
        const char *text; // or a node
        const ft_node_t *node;
        int outside, is_right;
    };
    std::string all;
    std::vector<piece> left = {{nullptr, rule, 0, 0}};
    while (!left.empty()) {
        const piece next = left.back();
        left.pop_back();
        if (next.text) {
            all += next.text;
            continue;
        }
        if (!next.node) {
            all += "(never)";
            continue;
        }
        const ft_node_t &node = *next.node;
        const bool is_pair = node.kind == FT_OR || node.kind == FT_AND;
        if (!is_pair && node.kind != FT_NOT) {
            all += test_text(node);
            continue;
        }
        // What is written without them would be read as another tree.
        const bool in_parentheses =
            next.outside == FT_NOT || (is_pair && next.outside && (node.kind < next.outside || next.is_right));
        const auto put = [&](const char *text) { left.push_back({text, nullptr, 0, 0}); };
        if (in_parentheses) put(")");
        if (is_pair) left.push_back({nullptr, node.u.operands.right, node.kind, 1});
        if (is_pair) put(node.kind == FT_OR ? " | " : " & ");
        left.push_back({nullptr, node.u.operands.left, node.kind, 0});
        if (!is_pair) put("! ");
        if (in_parentheses) put("(");
    }
    return all;
}

std::string names_text(const char *const *names) {
    std::string all;
    for (; *names; names++) {
        if (!all.empty()) all += ' ';
        all += *names;
    }
    return all;
}

} // namespace tool
