#include "tbs/tbs_rolemap.h"

#include "internal/rolemap.hpp"
#include "internal/rolemap_wire.hpp"

#include <cstddef>
#include <vector>

static_assert(sizeof(tbs_role_binding_t) == 80 && offsetof(tbs_role_binding_t, id_count) == 64);
static_assert(sizeof(struct tbs_rolemap_acl) == 16);

using namespace tbs::acl;
namespace wire = tbs::wire;

namespace tbs::rolemap {
namespace {

const char *shown(const char *text) { return text ? text : ""; }

// ---- looking

uint32_t walk_to(std::span<const id_type> ids, const id_type &id) {
    for (size_t p = 0; p < ids.size(); p++) {
        if (matches(ids[p], id)) return static_cast<uint32_t>(p);
    }
    return none;
}

uint32_t find_role(const map &m, const id_type &role) {
    if (m.index.knows_all()) return m.index.find_role(m, role);
    for (size_t b = 0; b < m.count; b++) {
        if (matches(m.bindings[b].role, role)) return static_cast<uint32_t>(b);
    }
    return none;
}

uint32_t find_id(const map &m, uint32_t binding, const id_type &id) {
    return m.index.knows_all() ? m.index.find_id(m, binding, id) : walk_to(ids_of(m.bindings[binding]), id);
}

// Calls found(position) for every binding that holds an identity, until it gives true.
template <class F> bool any_holder(const map &m, const id_type &id, F &&found) {
    if (m.index.knows_all()) return m.index.any_holder(m, id, found);
    for (uint32_t b = 0; b < m.count; b++) {
        if (walk_to(ids_of(m.bindings[b]), id) != none && found(b)) return true;
    }
    return false;
}

// Whether a role reaches an identity: climbs from the identity to the roles that hold it, each binding once.
bool reaches(const map &m, const id_type &role, const id_type &id) {
    if (matches(id, role)) return true;
    std::vector<uint32_t> waiting;
    std::vector<bool> met;
    const auto is_role = [&](uint32_t binding) {
        if (matches(m.bindings[binding].role, role)) return true;
        if (met.empty()) met.resize(static_cast<size_t>(m.count));
        if (!met[binding]) waiting.push_back(binding);
        met[binding] = true;
        return false;
    };
    bool reached = any_holder(m, id, is_role);
    while (!reached && !waiting.empty()) {
        const uint32_t binding = waiting.back();
        waiting.pop_back();
        reached = any_holder(m, m.bindings[binding].role, is_role);
    }
    return reached;
}

// ---- changing

// Checks a role argument; prints what is wrong. The copy is normalised.
tbs_status_t check_role(const id_type *role, id_type &normal) {
    if (!role) {
        error<1>("NULL");
        return TBS_ST_EINVAL;
    }
    if (role->kind != TBS_ACL_ID_ROLE) {
        error<13>(shown(role->name));
        return TBS_ST_EINVAL;
    }
    normal = *role;
    return normalise_and_check(normal) ? TBS_ST_EINVAL : 0;
}

tbs_status_t refuse_circle(const map &m, const id_type &role, const id_type &id) {
    if (id.kind != TBS_ACL_ID_ROLE || !reaches(m, role, id)) return 0;
    error<14>(shown(role.name));
    return TBS_ST_EINVAL;
}

// An identity that is released unless it is taken.
struct owned_id {
    explicit owned_id(const id_type &source) : id(copy_id(source)) {}
    ~owned_id() { tbs_sid_acl_free_id(&id); }
    owned_id(const owned_id &) = delete;
    owned_id &operator=(const owned_id &) = delete;
    id_type take() { return std::exchange(id, {}); }
    id_type id;
};

struct owned_ids {
    owned_ids() : array(new_array<id_type>(1)) {}
    ~owned_ids() { free_array(array); }
    owned_ids(const owned_ids &) = delete;
    owned_ids &operator=(const owned_ids &) = delete;
    id_type *array;
};

void index_if_long(map &m) {
    if (m.index.knows_all()) return;
    uint64_t ids = 0;
    for (const binding_type &binding : bindings_of(m)) {
        ids += binding.id_count;
        if (ids >= index::min_ids) return m.index.build(m);
    }
}

// Throws when there is no memory, the map as it was.
void append_binding(map &m, const id_type &role, const id_type &id) {
    owned_id role_copy(role), id_copy(id); // before the array moves: both may lie in the map
    owned_ids ids;
    reserve_one(m.bindings, m.count);
    ids.array[0] = id_copy.take();
    m.bindings[m.count++] = {role_copy.take(), 1, std::exchange(ids.array, nullptr)};
    const auto last = static_cast<uint32_t>(m.count - 1);
    m.index.added_role(m, last);
    m.index.added_id(m, last, 0);
    index_if_long(m);
}

void append_id(map &m, uint32_t binding, const id_type &id) {
    binding_type &to = m.bindings[binding];
    owned_id copy(id);
    reserve_one(to.ids, to.id_count);
    to.ids[to.id_count++] = copy.take();
    m.index.added_id(m, binding, static_cast<uint32_t>(to.id_count - 1));
    index_if_long(m);
}

tbs_status_t add(map &m, const id_type &role, const id_type &id) {
    const uint32_t binding = find_role(m, role);
    if (binding == none) {
        append_binding(m, role, id);
        return 0;
    }
    if (find_id(m, binding, id) != none) return 0;
    const tbs_status_t status = refuse_circle(m, role, id);
    if (status == 0) append_id(m, binding, id);
    return status;
}

void remove_binding(map &m, uint32_t binding) {
    const auto last = static_cast<uint32_t>(m.count - 1);
    m.index.will_remove_role(m, binding);
    if (binding != last) m.index.will_move_role(m, last, binding);
    tbs_rolemap_acl_role_binding_free(&m.bindings[binding]);
    m.bindings[binding] = m.bindings[last];
    m.bindings[last] = {};
    m.count--;
}

void remove_id(map &m, uint32_t binding, uint32_t position) {
    binding_type &from = m.bindings[binding];
    const auto last = static_cast<uint32_t>(from.id_count - 1);
    m.index.will_remove_id(m, binding, position);
    if (position != last) m.index.will_move_id(m, binding, last, position);
    tbs_sid_acl_free_id(&from.ids[position]);
    from.ids[position] = from.ids[last];
    from.ids[last] = {};
    from.id_count--;
    if (from.id_count == 0) remove_binding(m, binding);
}

void close_gap(map &m, uint32_t binding, uint32_t position) {
    binding_type &from = m.bindings[binding];
    m.index.will_remove_id(m, binding, position);
    tbs_sid_acl_free_id(&from.ids[position]);
    for (uint32_t p = position + 1; p < from.id_count; p++) {
        m.index.will_move_id(m, binding, p, p - 1);
        from.ids[p - 1] = from.ids[p];
    }
    from.ids[--from.id_count] = {};
}

void overwrite_id(map &m, uint32_t binding, uint32_t position, const id_type &id) {
    owned_id copy(id);
    m.index.will_remove_id(m, binding, position);
    std::swap(m.bindings[binding].ids[position], copy.id);
    m.index.added_id(m, binding, position);
}

tbs_status_t replace(map &m, const id_type &role, const id_type &old_id, const id_type &new_id) {
    const uint32_t binding = find_role(m, role);
    const uint32_t position = binding == none ? none : find_id(m, binding, old_id);
    if (position == none) return TBS_ST_NOT_FOUND;
    if (find_id(m, binding, new_id) != none) {
        close_gap(m, binding, position);
        return 0;
    }
    const tbs_status_t status = refuse_circle(m, role, new_id);
    if (status == 0) overwrite_id(m, binding, position, new_id);
    return status;
}

// ---- whole maps

map *new_map() {
    void *memory = zalloc<map>();
    owned_map made(new (memory) map{});
    made->bindings = new_array<binding_type>(1);
    return behind(made.release());
}

// Runs a body that fills a new map; hands the map over only when the body succeeds.
template <class F> tbs_status_t build(tbs_rolemap_acl_h_t *map_out, F &&fill) {
    if (!map_out) return TBS_ST_EINVAL;
    *map_out = nullptr;
    return call([&]() -> tbs_status_t {
        owned_map made(new_map());
        const tbs_status_t status = fill(*behind(made.get()));
        if (status == 0) *map_out = made.release();
        return status;
    });
}

tbs_status_t add_all(map &to, std::span<const binding_type> bindings) {
    for (const binding_type &binding : bindings) {
        for (const id_type &id : ids_of(binding)) {
            const tbs_status_t status = tbs_rolemap_acl_add_role_binding(&to, &binding.role, &id);
            if (status) return status;
        }
    }
    return 0;
}

// The identities of a binding with other accounts: the first user and the first group are exchanged, others dropped.
tbs_status_t add_with_accounts(map &to, const binding_type &binding, const tbs_acl_sid_pair_t &sids) {
    bool met_user = false, met_group = false;
    for (id_type id : ids_of(binding)) {
        if (is_account(id.kind)) {
            const bool is_user = id.kind == TBS_ACL_ID_USER;
            if (std::exchange(is_user ? met_user : met_group, true)) continue;
            id = {id.kind, empty_text(), empty_text(), is_user ? sids.user : sids.group};
        }
        const tbs_status_t status = tbs_rolemap_acl_add_role_binding(&to, &binding.role, &id);
        if (status) return status;
    }
    return 0;
}

bool is_readable(const tbs_rolemap_acl &bindings) {
    if (bindings.count && !bindings.bindings) return false;
    for (const binding_type &binding : bindings_of(bindings)) {
        if (binding.id_count && !binding.ids) return false;
    }
    return true;
}

// Copies bindings as they are; throws when there is no memory, with all that was copied counted.
void copy_bindings(const tbs_rolemap_acl &from, tbs_rolemap_acl &to, const credutl_sid_t *sid_of_roles) {
    free_array(to.bindings);
    to.bindings = new_array<binding_type>(from.count);
    for (const binding_type &source : bindings_of(from)) {
        binding_type &copy = to.bindings[to.count];
        copy = {copy_id(source.role), 0, nullptr};
        to.count++;
        if (sid_of_roles) copy.role.sid = *sid_of_roles;
        copy.ids = new_array<id_type>(source.id_count);
        for (const id_type &id : ids_of(source)) {
            copy.ids[copy.id_count] = copy_id(id);
            copy.id_count++;
        }
    }
}

void free_bindings(tbs_rolemap_acl &from) {
    for (binding_type &binding : bindings_of(from)) tbs_rolemap_acl_role_binding_free(&binding);
    free_array(from.bindings);
    from.count = 0;
}

using owned_bindings = owned<tbs_rolemap_acl_bindings_t *, tbs_rolemap_acl_bindings_free>;

constexpr credutl_sid_t no_sid{};

// ---- wire

// Decoded bindings, released when the scope ends.
struct decoded_map : wire::plain_rolemap {
    decoded_map() : plain_rolemap{} {}
    ~decoded_map() { wire::drop(static_cast<wire::plain_rolemap &>(*this)); }
    decoded_map(const decoded_map &) = delete;
    decoded_map &operator=(const decoded_map &) = delete;
};

wire::cursor put_map(wire::sink &s, wire::cursor at, tbs_rolemap_acl_h_t handle) {
    at = s.word(at, handle != nullptr);
    return at && handle ? wire::put(s, at, wire::plain_rolemap{handle->count, handle->bindings}) : at;
}

wire::cursor get_map(wire::source &s, wire::cursor at, tbs_rolemap_acl_h_t &handle) {
    uint32_t present = 0;
    handle = nullptr;
    at = s.word(at, present);
    if (!at || !present) return at;
    decoded_map plain;
    at = wire::get(s, at, static_cast<wire::plain_rolemap &>(plain));
    if (!at) return nullptr;
    const tbs_status_t status = build(&handle, [&](map &made) {
        return add_all(made, std::span<const binding_type>(plain.bindings, static_cast<size_t>(plain.count)));
    });
    return status == 0 ? at : nullptr;
}

} // namespace
} // namespace tbs::rolemap

using namespace tbs::rolemap;

extern "C" tbs_status_t tbs_rolemap_acl_create(tbs_rolemap_acl_h_t *map_out) noexcept {
    return build(map_out, [](map &) -> tbs_status_t { return 0; });
}

extern "C" tbs_status_t tbs_rolemap_acl_copy(tbs_rolemap_acl_h_t source, tbs_rolemap_acl_h_t *map_out) noexcept {
    if (map_out) *map_out = nullptr;
    if (!source) return TBS_ST_EINVAL;
    return build(map_out, [&](map &made) { return add_all(made, bindings_of(*source)); });
}

extern "C" void tbs_rolemap_acl_free(tbs_rolemap_acl_h_t *map_variable) noexcept {
    if (!map_variable || !*map_variable) return;
    map *m = behind(std::exchange(*map_variable, nullptr));
    m->index.forget();
    free_bindings(*m);
    m->~map();
    stg_free(m);
}

extern "C" uint64_t tbs_rolemap_acl_num_role_bindings(tbs_rolemap_acl_h_t handle) noexcept {
    return handle ? handle->count : 0;
}

extern "C" uint64_t tbs_rolemap_acl_num_role_binding_ids(const tbs_role_binding_t *binding) noexcept {
    return binding ? binding->id_count : 0;
}

extern "C" tbs_role_binding_t *tbs_rolemap_acl_next_role_binding(tbs_rolemap_acl_h_t handle,
                                                                 uint32_t *cursor) noexcept {
    return handle && cursor && *cursor < handle->count ? &handle->bindings[(*cursor)++] : nullptr;
}

extern "C" tbs_role_binding_t *tbs_rolemap_acl_find_role_binding(tbs_rolemap_acl_h_t handle,
                                                                 const tbs_sid_acl_id_t *role) noexcept {
    if (!handle || !role) return nullptr;
    const uint32_t binding = find_role(*behind(handle), *role);
    return binding == none ? nullptr : &handle->bindings[binding];
}

extern "C" tbs_sid_acl_id_t *tbs_rolemap_acl_find_binding_id(const tbs_role_binding_t *binding,
                                                             const tbs_sid_acl_id_t *id) noexcept {
    if (!binding || !id) return nullptr;
    const uint32_t position = walk_to(ids_of(*binding), *id);
    return position == none ? nullptr : &binding->ids[position];
}

extern "C" tbs_status_t tbs_rolemap_acl_add_role_binding(tbs_rolemap_acl_h_t handle, const tbs_sid_acl_id_t *role,
                                                         const tbs_sid_acl_id_t *id) noexcept {
    if (!handle) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        id_type normal;
        const tbs_status_t status = check_role(role, normal);
        if (status) return status;
        return id ? add(*behind(handle), normal, *id) : TBS_ST_EINVAL;
    });
}

extern "C" tbs_status_t tbs_rolemap_acl_remove_role_binding(tbs_rolemap_acl_h_t handle, const tbs_sid_acl_id_t *role,
                                                            const tbs_sid_acl_id_t *id) noexcept {
    if (!handle || !role || !id) return TBS_ST_EINVAL;
    map &m = *behind(handle);
    const uint32_t binding = find_role(m, *role);
    const uint32_t position = binding == none ? none : find_id(m, binding, *id);
    if (position == none) return TBS_ST_NOT_FOUND;
    remove_id(m, binding, position);
    return 0;
}

extern "C" tbs_status_t tbs_rolemap_acl_replace_role_binding(tbs_rolemap_acl_h_t handle, const tbs_sid_acl_id_t *role,
                                                             const tbs_sid_acl_id_t *old_id,
                                                             const tbs_sid_acl_id_t *new_id) noexcept {
    if (!handle) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        id_type normal;
        const tbs_status_t status = check_role(role, normal);
        if (status) return status;
        if (!old_id || !new_id) return TBS_ST_EINVAL;
        return matches(*old_id, *new_id) ? 0 : replace(*behind(handle), normal, *old_id, *new_id);
    });
}

extern "C" void tbs_rolemap_acl_role_binding_free(tbs_role_binding_t *binding) noexcept {
    if (!binding) return;
    tbs_sid_acl_free_id(&binding->role);
    if (binding->ids) {
        for (id_type &id : ids_of(*binding)) free_id(id);
    }
    free_array(binding->ids);
    binding->id_count = 0;
}

extern "C" tbs_boolean_t tbs_rolemap_contains_id(tbs_rolemap_acl_h_t handle, const tbs_sid_acl_id_t *id) noexcept {
    return handle && id && any_holder(*behind(handle), *id, [](uint32_t) { return true; });
}

extern "C" tbs_boolean_t tbs_rolemap_acl_cmp(const tbs_rolemap_acl_h_t *a_variable,
                                             const tbs_rolemap_acl_h_t *b_variable) noexcept {
    const tbs_rolemap_acl_h_t a = a_variable ? *a_variable : nullptr, b = b_variable ? *b_variable : nullptr;
    if (!a || !b) return a == b;
    if (a->count != b->count) return 0;
    const map &other = *behind(b);
    for (const binding_type &binding : bindings_of(*a)) {
        const uint32_t same = find_role(other, binding.role);
        if (same == none || other.bindings[same].id_count != binding.id_count) return 0;
        for (const id_type &id : ids_of(binding)) {
            if (find_id(other, same, id) == none) return 0;
        }
    }
    return 1;
}

extern "C" tbs_boolean_t tbs_acl_id_in_role(tbs_rolemap_acl_h_t handle, const tbs_sid_acl_id_t *role,
                                            const tbs_sid_acl_id_t *id) noexcept {
    if (!handle || !role || !id) return 0;
    return tbs::guard<tbs_boolean_t>(module_name, 0, 0,
                                     [&]() -> tbs_boolean_t { return reaches(*behind(handle), *role, *id); });
}

extern "C" tbs_status_t tbs_rolemap_acl_replace_sid_ids(tbs_rolemap_acl_h_t source, const tbs_acl_sid_pair_t *sids,
                                                        tbs_rolemap_acl_h_t *map_out) noexcept {
    if (map_out) *map_out = nullptr;
    if (!source || !sids) return TBS_ST_EINVAL;
    return build(map_out, [&](map &made) -> tbs_status_t {
        for (const binding_type &binding : bindings_of(*source)) {
            const tbs_status_t status = add_with_accounts(made, binding, *sids);
            if (status) return status;
        }
        return 0;
    });
}

extern "C" tbs_status_t tbs_rolemap_acl_set_bindings(tbs_rolemap_acl_h_t *map_out,
                                                     const tbs_rolemap_acl_bindings_t *bindings) noexcept {
    if (map_out) *map_out = nullptr;
    if (!bindings || !is_readable(*bindings)) return TBS_ST_EINVAL;
    return build(map_out, [&](map &made) -> tbs_status_t {
        copy_bindings(*bindings, made, &no_sid);
        index_if_long(made);
        return 0;
    });
}

extern "C" tbs_status_t tbs_rolemap_acl_get_bindings(tbs_rolemap_acl_h_t handle,
                                                     tbs_rolemap_acl_bindings_t **bindings_out) noexcept {
    if (bindings_out) *bindings_out = nullptr;
    if (!handle || !bindings_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        owned_bindings bindings(tbs::zalloc<tbs_rolemap_acl_bindings_t>());
        copy_bindings(*handle, *bindings.get(), &no_sid);
        *bindings_out = bindings.release();
        return 0;
    });
}

extern "C" void tbs_rolemap_acl_bindings_free(tbs_rolemap_acl_bindings_t **bindings_variable) noexcept {
    if (!bindings_variable || !*bindings_variable) return;
    free_bindings(**bindings_variable);
    stg_free(std::exchange(*bindings_variable, nullptr));
}

extern "C" bool_t xdr_tbs_rolemap_acl_h_t(XDR *stream, tbs_rolemap_acl_h_t *handle) noexcept {
    return wire::pass_handle(module_name, stream, handle, tbs_rolemap_acl_free, put_map, get_map);
}
