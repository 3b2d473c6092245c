#include "internal/acl_index.hpp"

#include <bit>

namespace tbs::acl {
namespace {

constexpr uint64_t max_slots = uint64_t{1} << 31;

} // namespace

bool entry_index::start(uint64_t expected) {
    drop();
    const uint64_t slots = std::bit_ceil(2 * (expected + 1));
    if (slots > max_slots) return false;
    slots_ = static_cast<slot *>(stg_calloc(slots, sizeof(slot)));
    mask_ = slots_ ? static_cast<uint32_t>(slots - 1) : 0;
    return slots_ != nullptr;
}

bool entry_index::make_room() {
    const uint64_t slots = uint64_t{mask_} + 1;
    if (!is_full()) return true;
    slot *old = slots_;
    slot *larger = 2 * slots <= max_slots ? static_cast<slot *>(stg_calloc(2 * slots, sizeof(slot))) : nullptr;
    if (!larger) {
        drop();
        return false;
    }
    slots_ = larger;
    mask_ = static_cast<uint32_t>(2 * slots - 1);
    used_ = 0;
    for (uint64_t i = 0; i < slots; i++) {
        if (old[i].next_position) put(old[i].hash, old[i].next_position - 1);
    }
    stg_free(old);
    return true;
}

void entry_index::put(uint32_t hash, uint32_t position) {
    uint32_t i = hash & mask_;
    while (slots_[i].next_position) i = (i + 1) & mask_;
    slots_[i] = {hash, position + 1};
    used_++;
}

uint32_t entry_index::slot_of(uint32_t hash, uint32_t position) const {
    for (uint32_t i = hash & mask_; slots_[i].next_position; i = (i + 1) & mask_) {
        if (slots_[i].next_position == position + 1 && slots_[i].hash == hash) return i;
    }
    return none;
}

void entry_index::move(uint32_t hash, uint32_t from, uint32_t to) {
    const uint32_t i = slot_of(hash, from);
    if (i != none) slots_[i].next_position = to + 1;
}

// Closes the gap behind a removed entry, so that no search ends too early.
void entry_index::remove(uint32_t hash, uint32_t position) {
    uint32_t gap = slot_of(hash, position);
    if (gap == none) return;
    for (uint32_t i = (gap + 1) & mask_; slots_[i].next_position; i = (i + 1) & mask_) {
        const uint32_t distance_home = (i - slots_[i].hash) & mask_;
        if (distance_home >= ((i - gap) & mask_)) {
            slots_[gap] = slots_[i];
            gap = i;
        }
    }
    slots_[gap] = {};
    used_--;
}

} // namespace tbs::acl
