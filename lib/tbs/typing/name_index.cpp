#include "name_index.hpp"

#include "ks/ks_wild.h"

#include <algorithm>

namespace tbs::typing {
namespace {

constexpr std::string_view special = "*?[]\\";

// What stands behind all wildcards and escapes of a pattern, and before them.
std::string_view literal_end(std::string_view pattern) {
    const size_t last = pattern.find_last_of(special);
    const size_t begin = last + (pattern[last] == '\\' ? 2 : 1);
    return pattern.substr(std::min(begin, pattern.size()));
}
std::string_view literal_beginning(std::string_view pattern) {
    return pattern.substr(0, pattern.find_first_of(special));
}

bool is_ascii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

uint8_t byte(char c) { return static_cast<uint8_t>(c); }

constexpr uint32_t bit_of_length(size_t length) { return uint32_t{1} << (length - 1); }

} // namespace

void name_index::link(std::unordered_map<std::string_view, uint32_t> &lists, std::string_view key, uint32_t id) {
    const auto [place, is_new] = lists.try_emplace(key, id);
    if (is_new) return;
    patterns_[id].next = place->second;
    place->second = id;
}

uint32_t name_index::add(const ft_node_t &test) {
    const std::string_view text = test.u.name.pattern;
    const auto [known, is_new] = ids_.try_emplace(text, static_cast<uint32_t>(patterns_.size()));
    const uint32_t id = known->second;
    if (!is_new) return id;
    patterns_.push_back({test.u.name.compiled, none});
    if (!test.u.name.compiled) {
        link(whole_names_, text, id);
        return id;
    }
    std::string_view end = literal_end(text), beginning = literal_beginning(text);
    if (!end.empty()) {
        // "*" takes any bytes before an end whose characters are bytes.
        const bool key_tells_all =
            text[0] == '*' && end.size() + 1 == text.size() && end.size() <= longest_key && is_ascii(end);
        if (key_tells_all) patterns_[id].compiled = nullptr;
        end = end.substr(end.size() - std::min(end.size(), longest_key));
        ends_.lengths[byte(end.back())] |= bit_of_length(end.size());
        link(ends_.first, end, id);
    } else if (!beginning.empty()) {
        beginning = beginning.substr(0, longest_key);
        beginnings_.lengths[byte(beginning[0])] |= bit_of_length(beginning.size());
        link(beginnings_.first, beginning, id);
    } else {
        patterns_[id].next = tried_;
        tried_ = id;
    }
    return id;
}

void name_index::take(uint32_t first, const char *name, matched_patterns &matched) const {
    for (uint32_t id = first; id != none; id = patterns_[id].next)
        if (!patterns_[id].compiled || wild_match(patterns_[id].compiled, name, 0)) matched.add(id);
}

void name_index::match(const char *name, std::string_view text, matched_patterns &matched) const {
    const auto look_up = [&](const auto &lists, std::string_view key) {
        const auto found = lists.find(key);
        if (found != lists.end()) take(found->second, name, matched);
    };
    look_up(whole_names_, text);
    take(tried_, name, matched);
    if (text.empty()) return;
    const uint32_t ends = ends_.lengths[byte(text.back())], beginnings = beginnings_.lengths[byte(text[0])];
    for (size_t length = 1; length <= std::min(longest_key, text.size()); length++) {
        if (ends & bit_of_length(length)) look_up(ends_.first, text.substr(text.size() - length));
        if (beginnings & bit_of_length(length)) look_up(beginnings_.first, text.substr(0, length));
    }
}

} // namespace tbs::typing
