// rolemap.hpp - role maps: what stands behind the handle.
#ifndef TBS_INTERNAL_ROLEMAP_HPP
#define TBS_INTERNAL_ROLEMAP_HPP

#include "acl.hpp"
#include "tbs/tbs_rolemap.h"

#include <span>

namespace tbs::rolemap {

using acl::call;

using id_type = tbs_sid_acl_id_t;
using binding_type = tbs_role_binding_t;

inline std::span<binding_type> bindings_of(const tbs_rolemap_acl &map) {
    return {map.bindings, static_cast<size_t>(map.count)};
}
inline std::span<id_type> ids_of(const binding_type &binding) {
    return {binding.ids, static_cast<size_t>(binding.id_count)};
}

inline constexpr uint32_t none = acl::entry_index::none;

// Finds roles, and identities in bindings, of a map that has grown long. Either it knows the whole map or nothing: when
// there is no memory for it the map is walked.
class index {
public:
    static constexpr uint64_t min_ids = acl::entry_index::min_entries;

    [[nodiscard]] bool knows_all() const { return known_; }

    [[nodiscard]] uint32_t find_role(const tbs_rolemap_acl &map, const id_type &role) const;
    [[nodiscard]] uint32_t find_id(const tbs_rolemap_acl &map, uint32_t binding, const id_type &id) const;
    // Calls found(position) for every binding that holds an identity, until it gives true.
    template <class F> bool any_holder(const tbs_rolemap_acl &map, const id_type &id, F &&found) const {
        const std::optional<uint32_t> hash = acl::hash_of(id);
        return hash && holders_.find(*hash, [&](uint32_t binding) {
            return find_id(map, binding, id) != none && found(binding);
        }) != none;
    }

    // Learns the whole map; forgets it when there is no memory.
    void build(const tbs_rolemap_acl &map) noexcept;
    void forget() noexcept;

    // The map has changed like this. Positions are those of now.
    void added_role(const tbs_rolemap_acl &map, uint32_t binding) noexcept;
    void added_id(const tbs_rolemap_acl &map, uint32_t binding, uint32_t position) noexcept;
    // The map will change like this.
    void will_remove_id(const tbs_rolemap_acl &map, uint32_t binding, uint32_t position) noexcept;
    void will_move_id(const tbs_rolemap_acl &map, uint32_t binding, uint32_t from, uint32_t to) noexcept;
    void will_remove_role(const tbs_rolemap_acl &map, uint32_t binding) noexcept;
    void will_move_role(const tbs_rolemap_acl &map, uint32_t from, uint32_t to) noexcept;

private:
    [[nodiscard]] static uint32_t pair_hash(uint32_t role, uint32_t id);
    void check() noexcept;

    acl::entry_index roles_;   // role: position of its binding
    acl::entry_index members_; // role and identity: position of the identity in the binding
    acl::entry_index holders_; // identity: positions of all bindings that hold it
    bool known_ = false;
};

// What really stands behind a handle: the public record, then the index.
struct map : tbs_rolemap_acl {
    rolemap::index index;
};
inline map *behind(tbs_rolemap_acl_h_t handle) { return static_cast<map *>(handle); }

using owned_map = owned<tbs_rolemap_acl_h_t, tbs_rolemap_acl_free>;

} // namespace tbs::rolemap

#endif
