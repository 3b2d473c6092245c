// acl_index.hpp - finds the entries of a long list by the hash of their identity.
//
// An open-addressing table of positions beside the entry array. It only speeds up what a walk over the list would
// find: when there is no memory for it, or the list was changed behind its back, the walk is taken.
#ifndef TBS_INTERNAL_ACL_INDEX_HPP
#define TBS_INTERNAL_ACL_INDEX_HPP

#include "ks/ks_stg.h"

#include <cstdint>
#include <utility>

namespace tbs::acl {

class entry_index {
public:
    static constexpr uint32_t none = UINT32_MAX;
    static constexpr uint64_t min_entries = 8; // a shorter list is walked as fast

    entry_index() = default;
    entry_index(const entry_index &) = delete;
    entry_index &operator=(const entry_index &) = delete;
    ~entry_index() { drop(); }

    // Whether it describes just this array with this many entries.
    [[nodiscard]] bool covers(const void *entries, uint64_t count) const {
        return slots_ && entries_ == entries && count_ == count;
    }
    // Whether no identity stands in the list twice; otherwise only the first of each is known here.
    [[nodiscard]] bool unique() const { return !duplicates_; }

    // The position stored under the hash for which match(position) holds, or none.
    template <class Match> [[nodiscard]] uint32_t find(uint32_t hash, Match &&match) const {
        for (uint32_t i = hash & mask_; slots_[i].next_position; i = (i + 1) & mask_) {
            if (slots_[i].hash == hash && match(slots_[i].next_position - 1)) return slots_[i].next_position - 1;
        }
        return none;
    }

    // Brings the place of a hash near, for a search that comes soon.
    void prefetch(uint32_t hash) const { __builtin_prefetch(&slots_[hash & mask_]); }

    // Starts an empty table for a list of so many entries. False, and dropped, when there is no memory.
    bool start(uint64_t expected);
    // The position stored under the hash for which match(position) holds; or none, and this one is stored there.
    template <class Match> [[nodiscard]] uint32_t find_or_add(uint32_t hash, uint32_t position, Match &&match) {
        uint32_t i = hash & mask_;
        for (; slots_[i].next_position; i = (i + 1) & mask_) {
            if (slots_[i].hash == hash && match(slots_[i].next_position - 1)) return slots_[i].next_position - 1;
        }
        if (is_full()) {
            add_new(hash, position);
        } else {
            slots_[i] = {hash, position + 1};
            used_++;
        }
        return none;
    }
    // Adds an entry behind those known. A second one of the same identity is only noted as a duplicate.
    template <class Match> void add(uint32_t hash, uint32_t position, Match &&match) {
        if (find(hash, match) != none) {
            duplicates_ = true;
        } else {
            add_new(hash, position);
        }
    }
    // Adds an entry of an identity that is not known yet.
    void add_new(uint32_t hash, uint32_t position) {
        if (make_room()) put(hash, position);
    }
    void remove(uint32_t hash, uint32_t position);
    void move(uint32_t hash, uint32_t from, uint32_t to);
    // Says which array it describes from now on.
    void describe(const void *entries, uint64_t count) {
        entries_ = entries;
        count_ = count;
    }
    void drop() {
        stg_free(std::exchange(slots_, nullptr));
        mask_ = used_ = 0;
        duplicates_ = false;
    }
    [[nodiscard]] bool exists() const { return slots_ != nullptr; }

private:
    struct slot {
        uint32_t hash;
        uint32_t next_position; // position + 1; 0 marks a free slot
    };
    // At least half of the slots stay free, so that looking for an absent identity ends soon.
    [[nodiscard]] bool is_full() const { return 2 * (uint64_t{used_} + 1) > uint64_t{mask_} + 1; }
    bool make_room();
    void put(uint32_t hash, uint32_t position);
    [[nodiscard]] uint32_t slot_of(uint32_t hash, uint32_t position) const;

    slot *slots_ = nullptr;
    uint32_t mask_ = 0;
    uint32_t used_ = 0;
    bool duplicates_ = false;
    const void *entries_ = nullptr;
    uint64_t count_ = 0;
};

} // namespace tbs::acl

#endif
