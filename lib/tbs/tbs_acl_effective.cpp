// Effective ACLs: a policy with its roles replaced by those whom a role map binds to them.

#include "internal/acl.hpp"
#include "internal/rolemap.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_str.h"

#include <algorithm>
#include <cstring>

namespace tbs::acl {
namespace {

using rolemap::binding_type;
using rolemap::bindings_of;
using rolemap::id_type;
using rolemap::ids_of;

// An identity is named by a key: the text of a SID, or kind and name. Keys are no longer than this.
constexpr size_t key_size = 256;

const char *shown(const char *text) { return text ? text : ""; }

tbs_status_t check_text_key(const id_type &id) {
    char text[TBS_ACL_TEXT_SIZE];
    if (tbs_sid_acl_utl_id_qual_to_str(&id, sizeof text, text)) return TBS_ST_ERROR;
    const size_t length = std::strlen(tbs_acl_utl_id_kind_to_str(id.kind)) + 1 + std::strlen(text);
    if (length < key_size) return 0;
    common_error<45>();
    return TBS_ST_ERROR;
}

// Whether an identity has a key; prints what is wrong. Keys themselves are not written: users and groups are told
// apart by their SID, whichever of the two they are, and all others by kind and name.
inline tbs_status_t check_key(const id_type &id) {
    if (!is_account(id.kind)) return check_text_key(id);
    return credutl_sid_is_valid(&id.sid) ? 0 : TBS_ST_ERROR;
}

// A role's key is compared without case, and folding may lengthen it.
tbs_status_t check_role_key(const id_type &role) {
    if (const tbs_status_t status = check_key(role)) return status;
    if (role.kind != TBS_ACL_ID_ROLE) return 0;
    constexpr size_t prefix = sizeof "Role:" - 1;
    char folded[key_size - prefix];
    return strutl_cvt_case_string(shown(role.name), STRUTL_CASE_FOLD, folded, sizeof folded) ? TBS_ST_ERROR : 0;
}

// Without case, though names that differ in case are others: there are few. Only of what the key is made of.
uint32_t text_key_hash(const id_type &id) {
    return account_hash(id.kind, strutl_fold_hash(matches_by_kind(id.kind) ? "" : shown(id.name), id.kind));
}
inline uint32_t key_hash(const id_type &id) {
    return is_account(id.kind) ? account_hash(TBS_ACL_ID_USER, credutl_sid_hash(&id.sid)) : text_key_hash(id);
}

bool same_key(const id_type &a, const id_type &b) {
    if (is_account(a.kind)) return is_account(b.kind) && credutl_sid_eq(&a.sid, &b.sid);
    if (a.kind != b.kind) return false;
    return matches_by_kind(a.kind) || std::strcmp(shown(a.name), shown(b.name)) == 0;
}

class generator {
public:
    generator(tbs_sid_acl_h_t policy, const tbs_rolemap_acl &map) : policy_(policy), map_(map), acl_(new_sid_acl()) {
        uint64_t roles = 0, others = 0;
        for (const tbs_acl_cooked_ent_t &entry : list_of(policy).all()) {
            (entry.id.kind == TBS_ACL_ID_ROLE ? roles : others)++;
        }
        for (const binding_type &binding : bindings_of(map)) others += binding.id_count;
        free_array(list().entries);
        list().entries = new_array<tbs_acl_cooked_ent_t>(others);
        if (!roles_.start(roles) || !identities_.start(others)) throw std::bad_alloc();
    }

    tbs_status_t run() {
        const std::span<tbs_acl_cooked_ent_t> entries = list_of(policy_).all();
        for (uint32_t i = 0; i < entries.size(); i++) {
            const tbs_status_t status = entries[i].id.kind == TBS_ACL_ID_ROLE ? note_role(i) : note(entries[i]);
            if (status) return status;
        }
        for (const binding_type &binding : bindings_of(map_)) {
            if (const tbs_status_t status = expand(binding)) return status;
        }
        return 0;
    }

    [[nodiscard]] tbs_sid_acl_h_t release() { return acl_.release(); }

private:
    static constexpr size_t batch_size = 16;

    tbs_acl_cooked_info_t &list() { return *acl_->entries; }

    tbs_status_t note(const tbs_acl_cooked_ent_t &entry) {
        const tbs_status_t status = check_key(entry.id);
        if (status == 0) add(entry.id, key_hash(entry.id), entry.perms);
        return status;
    }

    // The last entry that names a role counts.
    tbs_status_t note_role(uint32_t position) {
        const id_type &role = list_of(policy_).all()[position].id;
        if (const tbs_status_t status = check_role_key(role)) return status;
        const uint32_t hash = role_hash(role), earlier = find_role(role, hash);
        if (earlier == entry_index::none) {
            roles_.add_new(hash, position);
        } else {
            roles_.move(hash, earlier, position);
        }
        return 0;
    }

    tbs_status_t expand(const binding_type &binding) {
        if (const tbs_status_t status = check_role_key(binding.role)) return status;
        const uint32_t entry = find_role(binding.role, role_hash(binding.role));
        if (entry == entry_index::none) {
            trace_unused(binding.role);
            return 0;
        }
        const tbs_acl_permission_set_t perms = list_of(policy_).all()[entry].perms;
        std::span<const id_type> ids = ids_of(binding);
        while (!ids.empty()) {
            const std::span<const id_type> batch = ids.first(std::min(ids.size(), batch_size));
            if (const tbs_status_t status = add_batch(batch, perms)) return status;
            ids = ids.subspan(batch.size());
        }
        return 0;
    }

    // All hashes first: while one is made, the places of the others come near.
    tbs_status_t add_batch(std::span<const id_type> ids, tbs_acl_permission_set_t perms) {
        uint32_t hashes[batch_size];
        for (size_t i = 0; i < ids.size(); i++) {
            if (const tbs_status_t status = check_key(ids[i])) return status;
            identities_.prefetch(hashes[i] = key_hash(ids[i]));
        }
        for (size_t i = 0; i < ids.size(); i++) add(ids[i], hashes[i], perms);
        return 0;
    }

    // Gives an identity these permissions too. An account of the map is kept as it stands there.
    void add(const id_type &id, uint32_t hash, tbs_acl_permission_set_t perms) {
        tbs_acl_cooked_info_t &out = list();
        const uint32_t known =
            identities_.find_or_add(hash, out.count, [&](uint32_t p) { return same_key(out.entries[p].id, id); });
        if (known != entry_index::none) {
            out.entries[known].perms |= perms;
            return;
        }
        if (!identities_.exists()) throw std::bad_alloc();
        reserve_one(out.entries, out.count);
        copy_id_to(out.entries[out.count].id, id);
        out.entries[out.count++].perms = perms;
    }

    static uint32_t role_hash(const id_type &role) { return static_cast<uint32_t>(strutl_fold_hash(role.name, 0)); }
    // A map made of a plain record may bind to what is no role.
    uint32_t find_role(const id_type &role, uint32_t hash) const {
        if (role.kind != TBS_ACL_ID_ROLE) return entry_index::none;
        const std::span<tbs_acl_cooked_ent_t> entries = list_of(policy_).all();
        return roles_.find(
            hash, [&](uint32_t p) { return strutl_stricoll(shown(entries[p].id.name), shown(role.name)) == 0; });
    }

    static void trace_unused(const id_type &role) {
        constexpr int level = 4;
        if (role.name && traces(level)) say<acl_messages, 16>(IMSG_WARNING, module_name, role.name);
    }

    tbs_sid_acl_h_t policy_;
    const tbs_rolemap_acl &map_;
    owned_sid_acl acl_;
    entry_index roles_;      // roles of the policy: position of the entry that counts
    entry_index identities_; // identities met so far: position in the new ACL
};

// ---- generic permissions by names

// The names of a mask; an empty list, after the message, when there is no memory.
tbs_acl_generic_child_t children_of(const char *name, tbs_acl_permission_set_t mask, const permission_names &names) {
    tbs_acl_generic_child_t child = {};
    if (mask == 0) return child;
    child.name = stg_strdup(name);
    const int failure = child.name ? strutl_flags_to_str_list(mask, names.rows().data(), names.rows().size(),
                                                              &child.names, &child.count)
                                   : KS_ENOMEM;
    if (failure) {
        report_no_memory(module_name);
        tbs::free_text(&child.name);
    }
    return child;
}

void free_children(tbs_acl_generic_child_t &child) {
    tbs::free_text(&child.name);
    strutl_free_str_list(&child.names, child.count);
    child.count = 0;
}

} // namespace
} // namespace tbs::acl

using namespace tbs::acl;

extern "C" tbs_status_t tbs_rolemap_acl_generate_effective_acl(tbs_sid_acl_h_t policy, tbs_rolemap_acl_h_t map,
                                                               tbs_sid_acl_h_t *acl_out) noexcept {
    if (!policy || !map || !acl_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        generator effective(policy, *map);
        const tbs_status_t status = effective.run();
        if (status == 0) *acl_out = effective.release();
        return status;
    });
}

extern "C" tbs_status_t tbs_acl_utl_get_generic_child_map(const tbs_acl_perm_name_t *extra, size_t extra_count,
                                                          const tbs_acl_generic_map_t *map,
                                                          tbs_acl_generic_child_map_t *map_out) noexcept {
    if (!readable(extra, extra_count) || !map || !map_out) return TBS_ST_EINVAL;
    tbs_acl_generic_child_map_t made = {};
    call([&]() -> tbs_status_t {
        const permission_names names(extra, extra_count);
        made.full = children_of("Full", map->all, names);
        made.change = children_of("Change", map->write, names);
        made.read = children_of("Read", map->read, names);
        made.execute = children_of("Execute", map->execute, names);
        return 0;
    });
    *map_out = made;
    return 0;
}

extern "C" void tbs_acl_free_generic_child_map(tbs_acl_generic_child_map_t *map) noexcept {
    if (!map) return;
    for (tbs_acl_generic_child_t *child : {&map->read, &map->change, &map->execute, &map->full})
        free_children(*child);
}
