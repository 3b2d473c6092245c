#include "rule_set.hpp"

#include "ks/ks_wild.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

namespace tbs::typing {
namespace {

constexpr size_t pattern_size = 513; // of a compiled pattern with its terminator

// Kinds of files by the first letter of a word; 0 never matches.
constexpr struct {
    char letter;
    uint32_t kind;
} kinds[] = {{'c', FILEUTL_CHAR_DEVICE}, {'d', FILEUTL_DIRECTORY}, {'b', 0}, {'f', 0}, {'l', 0}, {'s', 0}};

uint32_t kind_of(char letter) {
    const auto *const found =
        std::find_if(std::begin(kinds), std::end(kinds), [letter](const auto &row) { return row.letter == letter; });
    return found == std::end(kinds) ? uint32_t{FILEUTL_REGULAR} : found->kind;
}

} // namespace

bool rule_set::create_area() {
    if (!area_) area_ = stg_create_area();
    return area_ != nullptr;
}

void rule_set::release() {
    if (area_) stg_delete_area(&area_);
    if (area_before_) stg_delete_area(&area_before_);
    first_ = last_ = nullptr;
    file_ = nullptr;
}

bool rule_set::begin_attempt() {
    last_before_ = last_;
    area_before_ = std::exchange(area_, nullptr);
    if (create_area()) return true;
    area_ = std::exchange(area_before_, nullptr);
    return false;
}

void rule_set::take_back_attempt() {
    stg_delete_area(&area_);
    area_ = std::exchange(area_before_, nullptr);
    last_ = last_before_;
    (last_ ? last_->next : first_) = nullptr;
    names_[name_count_ = 0] = nullptr;
    begin_file(nullptr);
}

void rule_set::begin_file(const char *path) {
    file_ = path ? copy(path, std::strlen(path)) : nullptr;
    line_ = path ? 1 : 0;
}

void *rule_set::allocate(size_t size) {
    void *memory = create_area() ? stg_alloc(area_, size) : nullptr;
    if (!memory) throw std::bad_alloc();
    return memory;
}

char *rule_set::copy(const char *text, size_t size) {
    char *made = static_cast<char *>(allocate(size + 1));
    std::memcpy(made, text, size);
    made[size] = '\0';
    return made;
}

ft_node_t *rule_set::node(int kind) {
    auto *made = static_cast<ft_node_t *>(allocate(sizeof(ft_node_t)));
    *made = {};
    made->kind = kind;
    made->line = line_;
    return made;
}

bool rule_set::define(char **names, const ft_node_t *rule) {
    size_t count = 0;
    while (names && names[count]) count++;
    if (count == 0) return false;
    auto **copies = static_cast<char **>(allocate((count + 1) * sizeof(char *)));
    std::copy_n(names, count + 1, copies);
    auto *made = static_cast<definition *>(allocate(sizeof(definition)));
    *made = {nullptr, copies, rule, file_, names == names_ ? names_line_ : line_};
    (last_ ? last_->next : first_) = made;
    last_ = made;
    return true;
}

char **rule_set::add_name(char **list, char *name) {
    if (!list) {
        name_count_ = 0;
        names_line_ = line_;
    }
    if (name_count_ < most_names) names_[name_count_++] = name;
    names_[name_count_] = nullptr;
    return names_;
}

ft_node_t *rule_set::join(int kind, ft_node_t *left, ft_node_t *right) {
    ft_node_t *made = node(kind);
    made->u.operands = {left, right};
    return made;
}

ft_node_t *rule_set::name_test(const char *pattern) {
    char compiled[pattern_size];
    const int length = pattern ? wild_compile_pattern(pattern, compiled, sizeof compiled) : WILD_BAD;
    if (length == WILD_BAD) {
        listener_->never_matches("the pattern is not well formed, or too long", file(), line_);
        return nullptr;
    }
    const char *kept = length == WILD_PLAIN ? nullptr : copy(compiled, static_cast<size_t>(length));
    ft_node_t *made = node(FT_NAME_TEST);
    made->u.name = {pattern, kept, length == WILD_PLAIN ? -1 : length};
    return made;
}

ft_node_t *rule_set::status_test(const char *word) {
    if (!word) return nullptr;
    ft_node_t *made = node(FT_STATUS_TEST);
    made->u.status = {kind_of(*word), word};
    return made;
}

ft_node_t *rule_set::magic_test(uint32_t offset, uint32_t length, uint32_t number, const char *text) {
    const bool is_text = length == 0;
    if (is_text && !text) return nullptr;
    const uint64_t size = is_text ? std::strlen(text) : length;
    if (offset + size > FT_CONTENT_SIZE) {
        listener_->beyond_content(file(), line_);
        return nullptr;
    }
    ft_node_t *made = node(FT_MAGIC_TEST);
    made->u.magic.offset = offset;
    made->u.magic.length = static_cast<uint32_t>(size);
    made->u.magic.is_text = is_text;
    auto &value = made->u.magic.value;
    if (is_text) {
        value.text = text;
    } else if (length == 1) {
        value.byte = static_cast<uint8_t>(number);
    } else if (length == 2) {
        value.two = static_cast<uint16_t>(number);
    } else {
        value.four = number;
    }
    return made;
}

ft_node_t *rule_set::token_test(const char *text) {
    if (!text) return nullptr;
    ft_node_t *made = node(FT_TOKEN_TEST);
    made->u.token = {text, static_cast<uint32_t>(std::strlen(text))};
    return made;
}

ft_node_t *rule_set::command_test(const char *text) {
    if (!text) return nullptr;
    ft_node_t *made = node(FT_COMMAND_TEST);
    made->u.command = {text, static_cast<uint32_t>(std::strlen(text))};
    return made;
}

ft_node_t *rule_set::command_regex_test() {
    listener_->never_matches("commands are not run", file(), line_);
    return nullptr;
}

ft_node_t *rule_set::printable_test() { return node(FT_PRINTABLE_TEST); }

} // namespace tbs::typing
