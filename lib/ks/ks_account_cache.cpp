#include "internal/ks_account_cache.hpp"

#include "internal/ks_hashing.hpp"

#include <new>

namespace ks {
namespace {

// Shards take the upper bits of a hash, buckets the lower ones.
uint64_t spread(uint64_t hash, account_question::subject about, credutl_account_kind_t kind) noexcept {
    return hash_mix(hash ^ (static_cast<uint64_t>(about) << 2 | static_cast<uint64_t>(kind)),
                    hash_salt() ^ 0x9E3779B97F4A7C15u);
}

} // namespace

account_question account_question::of_name(credutl_account_kind_t kind, std::string_view name) noexcept {
    return {by_name, kind, spread(hash_bytes(name), by_name, kind), name, nullptr, CREDUTL_NO_ID};
}

account_question account_question::of_sid(credutl_account_kind_t kind, const credutl_sid_t &sid) noexcept {
    return {by_sid, kind, spread(credutl_sid_hash(&sid), by_sid, kind), {}, &sid, CREDUTL_NO_ID};
}

account_question account_question::of_id(credutl_account_kind_t kind, uint32_t id) noexcept {
    return {by_id, kind, spread(id, by_id, kind), {}, nullptr, id};
}

bool account_cache::matches(const entry &kept, const account_question &question) noexcept {
    if (kept.hash != question.hash || kept.about != question.about || kept.kind != question.kind) {
        return false;
    }
    switch (question.about) {
    case account_question::by_sid: return sid_equal(kept.sid, *question.sid);
    case account_question::by_id: return kept.id == question.id;
    case account_question::by_name: break;
    }
    return (kept.asked_is_name ? kept.answer.name : kept.asked) == question.name;
}

uint32_t account_cache::shard::locate(const account_question &question) const noexcept {
    if (buckets.empty()) {
        return none;
    }
    uint32_t at = buckets[question.hash & (buckets.size() - 1)];
    while (at != none && !matches(entries[at], question)) {
        at = entries[at].next;
    }
    return at;
}

void account_cache::shard::link(uint32_t position) noexcept {
    uint32_t &bucket = buckets[entries[position].hash & (buckets.size() - 1)];
    entries[position].next = bucket;
    bucket = position;
}

void account_cache::shard::unlink(uint32_t position) noexcept {
    uint32_t *at = &buckets[entries[position].hash & (buckets.size() - 1)];
    while (*at != position) {
        at = &entries[*at].next;
    }
    *at = entries[position].next;
}

void account_cache::shard::grow_buckets() {
    const size_t wanted = buckets.empty() ? 16 : 2 * buckets.size();
    std::vector<uint32_t> larger(wanted, none);
    buckets.swap(larger);
    for (uint32_t i = 0; i < entries.size(); i++) {
        link(i);
    }
}

// Gives the position of an entry that is in no bucket; throws std::bad_alloc before anything is changed.
uint32_t account_cache::shard::make_room() {
    if (entries.size() < shard_capacity) {
        if (entries.size() >= buckets.size()) {
            grow_buckets();
        }
        entries.emplace_back();
        return static_cast<uint32_t>(entries.size() - 1);
    }
    const uint32_t position = oldest;
    oldest = (oldest + 1) % shard_capacity;
    unlink(position);
    return position;
}

void account_cache::shard::clear() noexcept {
    std::vector<entry>().swap(entries);
    std::vector<uint32_t>().swap(buckets);
    oldest = 0;
}

void account_cache::keep(uint64_t generation, const account_question &question,
                         const account_answer &answer) noexcept {
    try {
        entry fresh{};
        fresh.hash = question.hash;
        fresh.expires = now_() + (answer.known ? positive_ms : negative_ms);
        fresh.about = question.about;
        fresh.kind = question.kind;
        fresh.id = question.id;
        if (question.sid) {
            fresh.sid = *question.sid;
        }
        fresh.asked_is_name = answer.name == question.name;
        if (!fresh.asked_is_name) {
            fresh.asked = question.name;
        }
        fresh.answer = answer;

        shard &home = shard_of(question.hash);
        const std::lock_guard lock(home.mutex);
        // Compared under the lock: forget_all() counts first and clears afterwards.
        if (generation != this->generation()) {
            return;
        }
        uint32_t position = home.locate(question);
        if (position != none) {
            home.unlink(position);
        } else {
            position = home.make_room();
        }
        home.entries[position] = std::move(fresh);
        home.link(position);
    } catch (const std::bad_alloc &) {
        // Not kept: the next question goes to the sources again.
    }
}

uint64_t account_cache::forget_all() noexcept {
    const uint64_t next = generation_.fetch_add(1, std::memory_order_acq_rel) + 1;
    for (shard &each : shards_) {
        const std::lock_guard lock(each.mutex);
        each.clear();
    }
    return next;
}

size_t account_cache::size() noexcept {
    size_t total = 0;
    for (shard &each : shards_) {
        const std::lock_guard lock(each.mutex);
        total += each.entries.size();
    }
    return total;
}

} // namespace ks
