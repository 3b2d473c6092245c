#include "tbs/tbs_acl.h"

#include "internal/acl.hpp"
#include "internal/owned.hpp"

#include <cstddef>
#include <cstring>

static_assert(sizeof(credutl_sid_t) == 34 && alignof(credutl_sid_t) == 1);
static_assert(sizeof(tbs_acl_id_t) == 24 && sizeof(tbs_acl_ent_t) == 32);
static_assert(offsetof(tbs_sid_acl_id_t, sid) == 24 && sizeof(tbs_sid_acl_id_t) == 64);
static_assert(sizeof(tbs_acl_cooked_ent_t) == 72 && sizeof(struct tbs_acl) == 24 && sizeof(struct tbs_sid_acl) == 24);

namespace tbs::acl {
namespace {

bool same_text(const char *a, const char *b) { return a && b ? strutl_stricoll(a, b) == 0 : a == b; }

// Of a part that the kind has no use for, nothing and an empty text are the same: entries hold the latter, and who
// looks for one may give either.
bool same_text(const char *a, const char *b, bool is_used) {
    return is_used ? same_text(a, b) : same_text(a ? a : "", b ? b : "");
}

uint32_t text_hash(tbs_acl_id_kind_t kind, const char *text) {
    return account_hash(kind, text ? strutl_fold_hash(text, kind) : kind);
}

// Runs a body that fills a new ACL; hands the ACL over only when the body succeeds.
template <class Owned, class Handle, class F> tbs_status_t build(Owned &&acl, Handle *acl_out, F &&fill) {
    const tbs_status_t status = fill(acl.get());
    if (status == 0) *acl_out = acl.release();
    return status;
}

template <class List> tbs_boolean_t contained(const List &a, const List &b) {
    for (const auto &entry : a.all()) {
        const auto *other = b.find(entry.id);
        if (!other || (other->perms & entry.perms) != entry.perms) return 0;
    }
    return 1;
}

template <class Handle> tbs_boolean_t compare(const Handle *a_variable, const Handle *b_variable) {
    const Handle a = a_variable ? *a_variable : nullptr;
    const Handle b = b_variable ? *b_variable : nullptr;
    if (!a || !b) return a == b;
    if (list_of(a).all().size() != list_of(b).all().size()) return 0;
    return contained(list_of(a), list_of(b));
}

// Replaces the permissions of an identity's entry, or appends one. The identity is valid.
template <class List> tbs_status_t set(List list, const typename List::id_type &id, tbs_acl_permission_set_t perms) {
    const tbs_acl_permission_set_t stored = perms & TBS_ACL_STORED_PERMS;
    if (!stored) {
        error<11>();
        return TBS_ST_EINVAL;
    }
    list.set(id, stored);
    return 0;
}

template <class Handle> auto *next(Handle acl, uint32_t *cursor) {
    using entry = std::remove_reference_t<decltype(list_of(acl).all()[0])>;
    if (!acl || !cursor) return static_cast<entry *>(nullptr);
    const std::span<entry> entries = list_of(acl).all();
    return *cursor < entries.size() ? &entries[(*cursor)++] : nullptr;
}

template <class Handle, class Id> tbs_status_t remove(Handle acl, const Id &id) {
    auto *entry = list_of(acl).find(id);
    if (!entry) return TBS_ST_NOT_FOUND;
    list_of(acl).remove(*entry);
    return 0;
}

// Whether an entry concerns one SID of somebody with these credentials.
class concerns {
public:
    concerns(const credutl_sid_t *sid, const credutl_whole_credentials_t *credentials)
        : sid_(sid), credentials_(credentials), is_user_(credutl_sid_eq(sid, credutl_whole_user_sid(credentials))),
          is_group_(credutl_has_group_whole(credentials, sid)) {}

    bool operator()(const tbs_sid_acl_id_t &id) const {
        switch (id.kind) {
        case TBS_ACL_ID_USER: return credutl_sid_eq(&id.sid, sid_);
        case TBS_ACL_ID_GROUP: return is_group_ && credutl_has_group_whole(credentials_, &id.sid);
        case TBS_ACL_ID_OWNER_USER: return is_user_;
        case TBS_ACL_ID_OWNER_GROUP: return is_group_;
        default: return true;
        }
    }

private:
    const credutl_sid_t *sid_;
    const credutl_whole_credentials_t *credentials_;
    bool is_user_, is_group_;
};

void free_list(tbs_acl_cooked_info_t *&list, entry_index &index) {
    if (!list) return;
    sid_list(list->entries, list->count, index).clear();
    stg_free(std::exchange(list, nullptr));
}

void copy_entries(sid_list from, sid_list to) {
    for (const tbs_acl_cooked_ent_t &entry : from.all()) to.append(entry.id, entry.perms);
}

void free_empty_list(tbs_acl_cooked_info_t **list) { stg_free(*list); }

tbs_acl_cooked_info_t *new_list() {
    owned<tbs_acl_cooked_info_t *, free_empty_list> list(zalloc<tbs_acl_cooked_info_t>());
    list->entries = new_array<tbs_acl_cooked_ent_t>(1);
    return list.release();
}

tbs_sid_acl_id_t account_id(tbs_acl_id_kind_t kind, const credutl_sid_t &sid) {
    return {kind, empty_text(), empty_text(), sid};
}

size_t length(const char *text) { return text ? std::strlen(text) : 0; }

} // namespace

bool matches(const tbs_acl_id_t &a, const tbs_acl_id_t &b) {
    if (a.kind != b.kind || matches_by_kind(a.kind)) return a.kind == b.kind;
    const bool has_domain = a.kind != TBS_ACL_ID_ROLE, has_name = a.kind != TBS_ACL_ID_DOMAIN;
    return same_text(a.domain, b.domain, has_domain) && same_text(a.name, b.name, has_name);
}

bool matches(const tbs_sid_acl_id_t &a, const tbs_sid_acl_id_t &b) {
    if (a.kind != b.kind) return false;
    if (is_account(a.kind)) return credutl_sid_eq(&a.sid, &b.sid);
    if (a.kind == TBS_ACL_ID_DOMAIN) return same_text(a.domain, b.domain);
    if (a.kind == TBS_ACL_ID_ROLE) return same_text(a.name, b.name);
    return matches_by_kind(a.kind);
}

std::optional<uint32_t> hash_of(const tbs_acl_id_t &id) {
    if (matches_by_kind(id.kind)) return account_hash(id.kind, 0);
    return account_hash(id.kind, credutl_name_hash(id.domain, id.name));
}

std::optional<uint32_t> hash_of(const tbs_sid_acl_id_t &id) {
    if (is_account(id.kind)) return account_hash(id.kind, credutl_sid_hash(&id.sid));
    if (id.kind == TBS_ACL_ID_DOMAIN) return text_hash(id.kind, id.domain);
    if (id.kind == TBS_ACL_ID_ROLE) return text_hash(id.kind, id.name);
    if (matches_by_kind(id.kind)) return account_hash(id.kind, 0);
    return std::nullopt;
}

tbs_acl_h_t new_acl() {
    void *memory = zalloc<classic_acl>();
    owned_acl acl(new (memory) classic_acl{});
    acl->entries = new_array<tbs_acl_ent_t>(1);
    return acl.release();
}

tbs_sid_acl_h_t new_sid_acl() {
    void *memory = zalloc<sid_acl>();
    owned_sid_acl acl(new (memory) sid_acl{});
    acl->entries = new_list();
    return acl.release();
}

void start_cooked(tbs_acl_h_t acl) {
    drop_cooked(acl);
    acl->cooked = new_list();
}

void drop_cooked(tbs_acl_h_t acl) noexcept { free_list(acl->cooked, static_cast<classic_acl *>(acl)->cooked_index); }

} // namespace tbs::acl

using namespace tbs::acl;

extern "C" tbs_status_t tbs_acl_create(tbs_acl_h_t *acl_out) noexcept {
    if (!acl_out) return TBS_ST_EINVAL;
    *acl_out = nullptr;
    return call([&]() -> tbs_status_t {
        *acl_out = new_acl();
        return 0;
    });
}

extern "C" tbs_status_t tbs_sid_acl_create(tbs_sid_acl_h_t *acl_out) noexcept {
    if (!acl_out) return TBS_ST_EINVAL;
    *acl_out = nullptr;
    return call([&]() -> tbs_status_t {
        *acl_out = new_sid_acl();
        return 0;
    });
}

extern "C" tbs_status_t tbs_acl_copy(tbs_acl_h_t acl, tbs_acl_h_t *acl_out) noexcept {
    if (!acl || !acl_out) return TBS_ST_EINVAL;
    *acl_out = nullptr;
    return call([&]() -> tbs_status_t {
        return build(owned_acl(new_acl()), acl_out, [&](tbs_acl_h_t copy) -> tbs_status_t {
            for (const tbs_acl_ent_t &entry : list_of(acl).all()) {
                const tbs_status_t status = tbs_acl_set_entry(copy, entry.id, entry.perms);
                if (status) return status;
            }
            if (acl->cooked) {
                start_cooked(copy);
                copy_entries(cooked_list_of(acl), cooked_list_of(copy));
            }
            return 0;
        });
    });
}

extern "C" tbs_status_t tbs_sid_acl_copy(tbs_sid_acl_h_t acl, tbs_sid_acl_h_t *acl_out) noexcept {
    if (!acl || !acl_out) return TBS_ST_EINVAL;
    *acl_out = nullptr;
    return call([&]() -> tbs_status_t {
        return build(owned_sid_acl(new_sid_acl()), acl_out, [&](tbs_sid_acl_h_t copy) -> tbs_status_t {
            copy_entries(list_of(acl), list_of(copy));
            return 0;
        });
    });
}

extern "C" tbs_status_t tbs_sid_acl_filter(tbs_sid_acl_h_t acl, const credutl_sid_t *sid,
                                           const credutl_whole_credentials_t *credentials,
                                           tbs_sid_acl_h_t *acl_out) noexcept {
    if (!acl || !sid || !credentials || !acl_out) return TBS_ST_EINVAL;
    *acl_out = nullptr;
    return call([&]() -> tbs_status_t {
        return build(owned_sid_acl(new_sid_acl()), acl_out, [&](tbs_sid_acl_h_t filtered) -> tbs_status_t {
            const concerns kept(sid, credentials);
            for (const tbs_acl_cooked_ent_t &entry : list_of(acl).all()) {
                if (!is_kind(entry.id.kind)) break;
                if (kept(entry.id)) list_of(filtered).append(entry.id, entry.perms);
            }
            return 0;
        });
    });
}

extern "C" tbs_acl_ent_t *tbs_acl_find_entry(tbs_acl_h_t acl, const tbs_acl_id_t *id) noexcept {
    return acl && id ? list_of(acl).find(*id) : nullptr;
}

extern "C" tbs_acl_cooked_ent_t *tbs_sid_acl_find_entry(tbs_sid_acl_h_t acl, const tbs_sid_acl_id_t *id) noexcept {
    return acl && id ? list_of(acl).find(*id) : nullptr;
}

extern "C" uint64_t tbs_acl_num_entries(tbs_acl_h_t acl) noexcept { return acl ? acl->count : 0; }

extern "C" uint64_t tbs_sid_acl_num_entries(tbs_sid_acl_h_t acl) noexcept { return acl ? acl->entries->count : 0; }

extern "C" tbs_acl_ent_t *tbs_acl_next_entry(tbs_acl_h_t acl, uint32_t *cursor) noexcept { return next(acl, cursor); }

extern "C" tbs_acl_cooked_ent_t *tbs_sid_acl_next_entry(tbs_sid_acl_h_t acl, uint32_t *cursor) noexcept {
    return next(acl, cursor);
}

extern "C" tbs_status_t tbs_acl_set_entry(tbs_acl_h_t acl, tbs_acl_id_t id, tbs_acl_permission_set_t perms) noexcept {
    if (!acl) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        const tbs_status_t status = normalise_and_check(id);
        if (status) return status;
        drop_cooked(acl);
        return set(list_of(acl), id, perms);
    });
}

extern "C" tbs_status_t tbs_sid_acl_set_entry(tbs_sid_acl_h_t acl, tbs_sid_acl_id_t id,
                                              tbs_acl_permission_set_t perms) noexcept {
    constexpr tbs_status_t identity_refused = 1; // older callers know this number, whatever is wrong
    if (!acl) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        if (normalise_and_check(id)) return identity_refused;
        return set(list_of(acl), id, perms);
    });
}

extern "C" tbs_status_t tbs_acl_remove_entry(tbs_acl_h_t acl, const tbs_acl_id_t *id) noexcept {
    if (!acl || !id) return TBS_ST_EINVAL;
    const tbs_status_t status = remove(acl, *id);
    if (status == 0) drop_cooked(acl);
    return status;
}

extern "C" tbs_status_t tbs_sid_acl_remove_entry(tbs_sid_acl_h_t acl, const tbs_sid_acl_id_t *id) noexcept {
    if (!acl || !id) return TBS_ST_EINVAL;
    return remove(acl, *id);
}

extern "C" tbs_status_t tbs_sid_acl_replace_id(tbs_sid_acl_h_t acl, const tbs_sid_acl_id_t *old_id,
                                               const tbs_sid_acl_id_t *new_id) noexcept {
    if (!acl || !old_id || !new_id) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        tbs_sid_acl_id_t id = *new_id;
        const tbs_status_t status = normalise_and_check(id);
        if (status) return status;
        if (matches(*old_id, id)) return 0;
        tbs_acl_cooked_ent_t *entry = list_of(acl).find(*old_id);
        if (!entry) return TBS_ST_NOT_FOUND;
        if (tbs_acl_cooked_ent_t *present = list_of(acl).find(id)) {
            present->perms |= entry->perms;
            list_of(acl).remove(*entry);
        } else {
            list_of(acl).rename(*entry, id);
        }
        return 0;
    });
}

extern "C" tbs_status_t tbs_sid_acl_replace_sid_ids(tbs_sid_acl_h_t acl, const tbs_acl_sid_pair_t *sids,
                                                    tbs_sid_acl_h_t *acl_out) noexcept {
    if (!acl || !sids || !acl_out) return TBS_ST_EINVAL;
    *acl_out = nullptr;
    return call([&]() -> tbs_status_t {
        return build(owned_sid_acl(new_sid_acl()), acl_out, [&](tbs_sid_acl_h_t replaced) -> tbs_status_t {
            struct {
                bool found = false;
                tbs_acl_permission_set_t perms = 0;
            } users, groups;
            for (const tbs_acl_cooked_ent_t &entry : list_of(acl).all()) {
                if (is_account(entry.id.kind)) {
                    auto &all = entry.id.kind == TBS_ACL_ID_USER ? users : groups;
                    all.found = true;
                    all.perms |= entry.perms;
                    continue;
                }
                const tbs_status_t status = tbs_sid_acl_set_entry(replaced, entry.id, entry.perms);
                if (status) return status;
            }
            tbs_status_t status = 0;
            if (users.found) {
                status = tbs_sid_acl_set_entry(replaced, account_id(TBS_ACL_ID_USER, sids->user), users.perms);
            }
            if (status == 0 && groups.found) {
                status = tbs_sid_acl_set_entry(replaced, account_id(TBS_ACL_ID_GROUP, sids->group), groups.perms);
            }
            return status;
        });
    });
}

extern "C" tbs_boolean_t tbs_acl_cmp_acl(const tbs_acl_h_t *a, const tbs_acl_h_t *b) noexcept {
    return compare(a, b);
}

extern "C" tbs_boolean_t tbs_sid_acl_cmp_acl(const tbs_sid_acl_h_t *a, const tbs_sid_acl_h_t *b) noexcept {
    return compare(a, b);
}

extern "C" uint64_t tbs_sid_acl_size(tbs_sid_acl_h_t acl) noexcept {
    constexpr uint64_t bytes_of_entry = 42, bytes_of_id = 8;
    if (!acl) return 0;
    uint64_t size = 0;
    for (const tbs_acl_cooked_ent_t &entry : list_of(acl).all()) {
        size += bytes_of_entry + length(entry.id.domain) + length(entry.id.name);
    }
    for (uint64_t i = 0; i < acl->id_count; i++) {
        size += bytes_of_id + length(acl->ids[i].domain) + length(acl->ids[i].name);
    }
    return size;
}

extern "C" void tbs_acl_free(tbs_acl_h_t *acl_variable) noexcept {
    if (!acl_variable || !*acl_variable) return;
    auto *acl = static_cast<classic_acl *>(std::exchange(*acl_variable, nullptr));
    drop_cooked(acl);
    list_of(acl).clear();
    acl->~classic_acl();
    stg_free(acl);
}

extern "C" void tbs_sid_acl_free(tbs_sid_acl_h_t *acl_variable) noexcept {
    if (!acl_variable || !*acl_variable) return;
    auto *acl = static_cast<sid_acl *>(std::exchange(*acl_variable, nullptr));
    free_list(acl->entries, acl->index);
    for (uint64_t i = 0; i < acl->id_count; i++) tbs_acl_free_id(&acl->ids[i]);
    free_array(acl->ids);
    acl->~sid_acl();
    stg_free(acl);
}

extern "C" void tbs_acl_free_id(tbs_acl_id_t *id) noexcept {
    if (!id) return;
    tbs::free_text(&id->domain);
    tbs::free_text(&id->name);
}

extern "C" void tbs_sid_acl_free_id(tbs_sid_acl_id_t *id) noexcept {
    if (!id) return;
    tbs::free_text(&id->domain);
    tbs::free_text(&id->name);
}
