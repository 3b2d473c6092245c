#include "name_index.hpp"

#include "ks/ks_wild.h"

#include <algorithm>
#include <utility>

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

// The ends that "*" and then characters and sets of ASCII stand for, when they are few; none for other patterns.
std::vector<std::string> spellings(std::string_view pattern) {
    constexpr size_t most = 64, longest = 16;
    std::vector<std::string> ends{""};
    if (pattern.size() < 2 || pattern[0] != '*' || !is_ascii(pattern)) return {};
    for (size_t at = 1; at < pattern.size(); at++) {
        std::string members(1, pattern[at]);
        if (pattern[at] == '*' || pattern[at] == '?' || pattern[at] == '\\') return {};
        if (pattern[at] == '[') {
            const size_t close = pattern.find(']', at + 2); // the first member may be one itself
            if (close == std::string_view::npos) return {};
            const std::string_view set = pattern.substr(at + 1, close - at - 1);
            if (set[0] == '!' || set.find('\\') != std::string_view::npos) return {};
            members.clear();
            for (size_t i = 0; i < set.size(); i++) {
                const bool is_range = i + 2 < set.size() && set[i + 1] == '-';
                for (char c = set[i]; c <= set[is_range ? i + 2 : i] && members.size() <= most; c++) members += c;
                i += is_range ? 2 : 0;
            }
            at = close;
        }
        std::vector<std::string> longer;
        if (ends.size() * members.size() > most || ends[0].size() == longest) return {};
        for (const std::string &end : ends)
            for (const char c : members) longer.push_back(end + c);
        ends = std::move(longer);
    }
    return ends;
}

// The bracket that ends a set of characters; the first member may be one itself, others when they are escaped.
size_t end_of_set(std::string_view pattern, size_t begin) {
    size_t at = begin + 1;
    if (at < pattern.size() && pattern[at] == '!') at++;
    do at += at < pattern.size() && pattern[at] == '\\' ? 2 : 1;
    while (at < pattern.size() && pattern[at] != ']');
    return at;
}

// The longest text that stands in every name that the pattern matches.
std::string_view longest_part(std::string_view pattern) {
    std::string_view longest;
    for (size_t at = 0; at < pattern.size();) {
        const size_t end = std::min(pattern.find_first_of(special, at), pattern.size());
        if (end - at > longest.size()) longest = pattern.substr(at, end - at);
        at = end;
        if (at < pattern.size() && pattern[at] == '[') at = end_of_set(pattern, at);
        if (at < pattern.size() && pattern[at] == '\\') at++;
        at++;
    }
    return longest;
}

uint8_t byte(char c) { return static_cast<uint8_t>(c); }

uint64_t characters_of(std::string_view text) {
    uint64_t all = 0;
    for (const char c : text) all |= uint64_t{1} << (byte(c) % 64);
    return all;
}

constexpr uint32_t bit_of_length(size_t length) { return uint32_t{1} << (length - 1); }

} // namespace

void name_index::link(key_lists &into, std::string_view key, uint32_t id, const char *compiled) {
    const auto number = static_cast<uint32_t>(entries_.size());
    entries_.push_back({id, compiled, none, {}, 0});
    const auto [place, is_new] = into.try_emplace(key, number);
    if (is_new) return;
    entries_[number].next = place->second;
    place->second = number;
}

void name_index::link_end(std::string_view end, uint32_t id, const char *compiled) {
    end = end.substr(end.size() - std::min(end.size(), longest_key));
    ends_.lengths(end.back(), end.size() > 1 ? &end[end.size() - 2] : nullptr) |= bit_of_length(end.size());
    link(ends_.first, end, id, compiled);
}

uint32_t name_index::add(const ft_node_t &test) {
    const std::string_view text = test.u.name.pattern;
    const auto [known, is_new] = ids_.try_emplace(text, count_);
    const uint32_t id = known->second;
    if (!is_new) return id;
    count_++;
    const char *compiled = test.u.name.compiled;
    if (!compiled) {
        link(whole_names_, text, id, nullptr);
        return id;
    }
    if (const std::vector<std::string> ends = spellings(text); !ends.empty()) {
        for (const std::string &end : ends) link_end(spelled_.emplace_back(end), id, nullptr);
        return id;
    }
    const std::string_view end = literal_end(text), beginning = literal_beginning(text).substr(0, longest_key);
    if (!end.empty()) {
        link_end(end, id, compiled);
    } else if (!beginning.empty()) {
        beginnings_.lengths(beginning[0], beginning.size() > 1 ? &beginning[1] : nullptr) |=
            bit_of_length(beginning.size());
        link(beginnings_.first, beginning, id, compiled);
    } else {
        const std::string_view part = longest_part(text);
        entries_.push_back({id, compiled, tried_, part, characters_of(part)});
        tried_ = static_cast<uint32_t>(entries_.size() - 1);
    }
    return id;
}

void name_index::take(uint32_t first, const char *name, matched_patterns &matched) const {
    for (uint32_t at = first; at != none; at = entries_[at].next) {
        const entry &one = entries_[at];
        if (!one.compiled || wild_match(one.compiled, name, 0)) matched.add(one.id);
    }
}

void name_index::try_others(const char *name, std::string_view text, matched_patterns &matched) const {
    const uint64_t characters = characters_of(text);
    for (uint32_t at = tried_; at != none; at = entries_[at].next) {
        const entry &one = entries_[at];
        const bool may_match = (one.characters & ~characters) == 0 && text.find(one.part) != std::string_view::npos;
        if (may_match && wild_match(one.compiled, name, 0)) matched.add(one.id);
    }
}

void name_index::match(const char *name, std::string_view text, matched_patterns &matched) const {
    const auto look_up = [&](const auto &lists, std::string_view key) {
        const auto found = lists.find(key);
        if (found != lists.end()) take(found->second, name, matched);
    };
    look_up(whole_names_, text);
    try_others(name, text, matched);
    if (text.empty()) return;
    const bool is_one = text.size() == 1;
    const uint32_t ends = ends_.lengths_for(text.back(), is_one ? nullptr : &text[text.size() - 2]);
    const uint32_t beginnings = beginnings_.lengths_for(text[0], is_one ? nullptr : &text[1]);
    for (size_t length = 1; length <= std::min(longest_key, text.size()); length++) {
        if (ends & bit_of_length(length)) look_up(ends_.first, text.substr(text.size() - length));
        if (beginnings & bit_of_length(length)) look_up(beginnings_.first, text.substr(0, length));
    }
}

} // namespace tbs::typing
