#include "internal/rolemap.hpp"

namespace tbs::rolemap {
namespace {

// Identities of unknown kinds match nothing and are not kept; a role of such a kind is never found.
constexpr uint32_t hash_of_unmatched = 0;

uint32_t role_hash(const binding_type &binding) { return acl::hash_of(binding.role).value_or(hash_of_unmatched); }

} // namespace

uint32_t index::pair_hash(uint32_t role, uint32_t id) {
    const uint64_t mixed = (uint64_t{role} << 32 | id) * 0x9E3779B97F4A7C15u;
    return static_cast<uint32_t>(mixed ^ (mixed >> 32));
}

uint32_t index::find_role(const tbs_rolemap_acl &map, const id_type &role) const {
    const std::optional<uint32_t> hash = acl::hash_of(role);
    if (!hash) return none;
    return roles_.find(*hash, [&](uint32_t p) { return acl::matches(map.bindings[p].role, role); });
}

uint32_t index::find_id(const tbs_rolemap_acl &map, uint32_t binding, const id_type &id) const {
    const std::optional<uint32_t> hash = acl::hash_of(id);
    if (!hash) return none;
    const std::span<id_type> ids = ids_of(map.bindings[binding]);
    return members_.find(pair_hash(role_hash(map.bindings[binding]), *hash),
                         [&](uint32_t p) { return p < ids.size() && acl::matches(ids[p], id); });
}

// A table that had no memory to grow has dropped itself: then the others are of no use.
void index::check() noexcept {
    if (!roles_.exists() || !members_.exists() || !holders_.exists()) forget();
}

void index::forget() noexcept {
    roles_.drop();
    members_.drop();
    holders_.drop();
    known_ = false;
}

void index::build(const tbs_rolemap_acl &map) noexcept {
    forget();
    uint64_t ids = 0;
    for (const binding_type &binding : bindings_of(map)) ids += binding.id_count;
    if (!roles_.start(map.count) || !members_.start(ids) || !holders_.start(ids)) return forget();
    known_ = true;
    for (uint32_t b = 0; b < map.count && known_; b++) {
        added_role(map, b);
        for (uint32_t p = 0; p < map.bindings[b].id_count && known_; p++) added_id(map, b, p);
    }
    // What stands twice cannot be taken out again without looking for its double: such a map is walked.
    if (!roles_.unique() || !members_.unique()) forget();
}

void index::added_role(const tbs_rolemap_acl &map, uint32_t binding) noexcept {
    if (!known_) return;
    const id_type &role = map.bindings[binding].role;
    if (const std::optional<uint32_t> hash = acl::hash_of(role)) {
        roles_.add(*hash, binding, [&](uint32_t p) { return acl::matches(map.bindings[p].role, role); });
    }
    check();
}

void index::added_id(const tbs_rolemap_acl &map, uint32_t binding, uint32_t position) noexcept {
    if (!known_) return;
    const std::span<id_type> ids = ids_of(map.bindings[binding]);
    const std::optional<uint32_t> hash = acl::hash_of(ids[position]);
    if (!hash) return;
    members_.add(pair_hash(role_hash(map.bindings[binding]), *hash), position,
                 [&](uint32_t p) { return p < ids.size() && p != position && acl::matches(ids[p], ids[position]); });
    holders_.add_new(*hash, binding);
    check();
}

void index::will_remove_id(const tbs_rolemap_acl &map, uint32_t binding, uint32_t position) noexcept {
    if (!known_) return;
    const std::optional<uint32_t> hash = acl::hash_of(map.bindings[binding].ids[position]);
    if (!hash) return;
    members_.remove(pair_hash(role_hash(map.bindings[binding]), *hash), position);
    holders_.remove(*hash, binding);
}

void index::will_move_id(const tbs_rolemap_acl &map, uint32_t binding, uint32_t from, uint32_t to) noexcept {
    if (!known_) return;
    const std::optional<uint32_t> hash = acl::hash_of(map.bindings[binding].ids[from]);
    if (hash) members_.move(pair_hash(role_hash(map.bindings[binding]), *hash), from, to);
}

void index::will_remove_role(const tbs_rolemap_acl &map, uint32_t binding) noexcept {
    if (!known_) return;
    if (const auto hash = acl::hash_of(map.bindings[binding].role)) roles_.remove(*hash, binding);
}

void index::will_move_role(const tbs_rolemap_acl &map, uint32_t from, uint32_t to) noexcept {
    if (!known_) return;
    const binding_type &binding = map.bindings[from];
    if (const auto hash = acl::hash_of(binding.role)) roles_.move(*hash, from, to);
    for (const id_type &id : ids_of(binding)) {
        if (const auto hash = acl::hash_of(id)) holders_.move(*hash, from, to);
    }
}

} // namespace tbs::rolemap
