// name_index.hpp - which of many patterns a name matches, without trying them one by one.
#ifndef TBS_TYPING_NAME_INDEX_HPP
#define TBS_TYPING_NAME_INDEX_HPP

#include "tbs/tbs_ft.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tbs::typing {

// The patterns that a name matches; too many are not all kept.
class matched_patterns {
public:
    void add(uint32_t id) {
        if (count_ < most) ids_[count_] = id;
        count_++;
    }
    [[nodiscard]] bool all_are_here() const { return count_ <= most; }
    [[nodiscard]] std::span<const uint32_t> ids() const { return {ids_, count_ < most ? count_ : most}; }
    [[nodiscard]] bool contains(uint32_t id) const {
        for (const uint32_t one : ids())
            if (one == id) return true;
        return false;
    }

    static constexpr size_t most = 32;

private:
    size_t count_ = 0;
    uint32_t ids_[most];
};

// Patterns are found by what must stand in a name: the whole of it, else its end, else its beginning. Those that ask
// for neither are tried. Texts are the rules' own.
class name_index {
public:
    // Gives the number of the test's pattern, the same for the same pattern.
    uint32_t add(const ft_node_t &test);
    [[nodiscard]] size_t size() const { return count_; }

    void match(const char *name, std::string_view text, matched_patterns &matched) const;

private:
    static constexpr size_t longest_key = 16;

    // What a key leads to.
    struct entry {
        uint32_t id;
        const char *compiled;  // null when the key tells all
        uint32_t next;         // with the same key
        std::string_view part; // what a name must hold for the pattern to be tried
        uint64_t characters;   // those of the part, each a bit
    };
    static constexpr uint32_t none = UINT32_MAX;

    // Literal ends (or beginnings) of patterns, with the lengths that there are for each pair of outermost characters.
    struct keys {
        std::unordered_map<std::string_view, uint32_t> first;
        std::array<uint32_t, 256> of_one{}, of_more{};

        // The outermost character, and the one beside it when there is one.
        uint32_t &lengths(char outer, const char *inner) {
            return inner ? of_more[pair(outer, *inner)] : of_one[static_cast<uint8_t>(outer)];
        }
        [[nodiscard]] uint32_t lengths_for(char outer, const char *inner) const {
            return of_one[static_cast<uint8_t>(outer)] | (inner ? of_more[pair(outer, *inner)] : 0);
        }
        static size_t pair(char outer, char inner) { return static_cast<uint8_t>(outer ^ inner << 3 ^ inner >> 5); }
    };

    using key_lists = std::unordered_map<std::string_view, uint32_t>;
    void link(key_lists &into, std::string_view key, uint32_t id, const char *compiled);
    void link_end(std::string_view end, uint32_t id, const char *compiled);
    void take(uint32_t first, const char *name, matched_patterns &matched) const;
    void try_others(const char *name, std::string_view text, matched_patterns &matched) const;

    std::vector<entry> entries_;
    std::deque<std::string> spelled_; // ends that patterns with sets of characters stand for
    uint32_t count_ = 0;
    std::unordered_map<std::string_view, uint32_t> ids_, whole_names_;
    keys ends_, beginnings_;
    uint32_t tried_ = none;
};

} // namespace tbs::typing

#endif
