#include "internal/acl.hpp"
#include "ks/ks_str.h"
#include "ks/ks_sys.h"
#include "tbs/tbs_acl.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace tbs::acl {
namespace {

// ---- kinds

constexpr const char *kind_names[] = {"<id-kind-none>", "User",       "Group",       "Domain",
                                      "Everyone",       "Owner-User", "Owner-Group", "Role"};

constexpr tbs_acl_id_kind_t kinds_in_order_of_search[] = {
    TBS_ACL_ID_USER,   TBS_ACL_ID_GROUP,    TBS_ACL_ID_OWNER_USER, TBS_ACL_ID_OWNER_GROUP,
    TBS_ACL_ID_DOMAIN, TBS_ACL_ID_EVERYONE, TBS_ACL_ID_ROLE};

// The kind that a word names. A SID identity is never of the kind Domain.
tbs_status_t find_kind(const char *word, bool domain_allowed, tbs_acl_id_kind_t *kind_out) {
    for (const tbs_acl_id_kind_t kind : kinds_in_order_of_search) {
        if (kind == TBS_ACL_ID_DOMAIN && !domain_allowed) continue;
        if (strutl_stricoll(word, kind_names[kind]) != 0) continue;
        *kind_out = kind;
        return 0;
    }
    error<1>(word);
    return TBS_ST_EINVAL;
}

tbs_status_t unknown_kind(tbs_acl_id_kind_t kind) {
    error<0>(static_cast<int>(kind));
    return TBS_ST_EINVAL;
}

// ---- texts of identities, cut into their parts

// Cuts a text at the first of either separator; gives what is behind it, or the end of the text.
char *cut(char *text, char separator, char other) {
    while (*text && *text != separator && *text != other) text++;
    if (*text) *text++ = '\0';
    return text;
}

// "kind:domain\name" in its pieces.
struct identity_parts {
    explicit identity_parts(const char *text) {
        strutl_cpy_buf(buffer, sizeof buffer, text);
        word = buffer;
        first = cut(word, ':', ':');
        second = cut(first, '/', '\\');
    }
    char buffer[TBS_ACL_TEXT_SIZE];
    char *word;
    char *first;  // domain, or the role's name
    char *second; // name
};

// ---- texts of identities, put together

tbs_status_t too_small() {
    common_error<45>();
    return TBS_ST_ENAMETOOLONG;
}

// Joins three texts in the caller's buffer; none is longer than a working buffer holds.
tbs_status_t join(const char *a, const char *b, const char *c, size_t size, char *buffer) {
    const char *const texts[] = {a, b, c};
    const size_t length = strutl_concat(buffer, std::min<size_t>(size, TBS_ACL_TEXT_SIZE), texts, std::size(texts));
    return length < size && length < TBS_ACL_TEXT_SIZE ? 0 : too_small();
}

tbs_status_t qualifier(const tbs_acl_id_t &id, size_t size, char *buffer) {
    switch (id.kind) {
    case TBS_ACL_ID_USER:
    case TBS_ACL_ID_GROUP: return join(id.domain, "\\", id.name, size, buffer);
    case TBS_ACL_ID_DOMAIN: return join(id.domain, "", "", size, buffer);
    case TBS_ACL_ID_EVERYONE:
    case TBS_ACL_ID_OWNER_USER:
    case TBS_ACL_ID_OWNER_GROUP: return join("", "", "", size, buffer);
    case TBS_ACL_ID_ROLE: return join(id.name, "", "", size, buffer);
    default: return unknown_kind(id.kind);
    }
}

using name_lookup = int (*)(const credutl_sid_t *, int, char *, size_t) noexcept;

// The account name of a SID. The message names the SID as the look-up of users shows it, for groups too.
tbs_status_t account_qualifier(name_lookup lookup, const credutl_sid_t &sid, size_t size, char *buffer) {
    char name[TBS_ACL_TEXT_SIZE];
    if (lookup(&sid, SYSUTL_FORM_NAME, name, sizeof name) != 0) {
        char text[CREDUTL_SID_STR_SIZE];
        sysutl_usid_to_user(&sid, SYSUTL_FORM_SID, text, sizeof text);
        error<24>(static_cast<const char *>(text));
        return TBS_ST_ERROR;
    }
    return join("", "", name, size, buffer);
}

tbs_status_t qualifier(const tbs_sid_acl_id_t &id, size_t size, char *buffer) {
    switch (id.kind) {
    case TBS_ACL_ID_USER: return account_qualifier(sysutl_usid_to_user, id.sid, size, buffer);
    case TBS_ACL_ID_GROUP: return account_qualifier(sysutl_gsid_to_group, id.sid, size, buffer);
    case TBS_ACL_ID_EVERYONE:
    case TBS_ACL_ID_OWNER_USER:
    case TBS_ACL_ID_OWNER_GROUP: return join("", "", "", size, buffer);
    case TBS_ACL_ID_ROLE: return join(id.name, "", "", size, buffer);
    default: return unknown_kind(id.kind);
    }
}

template <class Id> tbs_status_t identity_text(const Id &id, size_t size, char *buffer) {
    char text[TBS_ACL_TEXT_SIZE];
    const tbs_status_t status = qualifier(id, sizeof text, text);
    return status ? status : join(kind_names[id.kind], ":", text, size, buffer);
}

// ---- names to SIDs

using sid_lookup = int (*)(const char *, int, credutl_sid_t *) noexcept;

tbs_status_t account_sid(sid_lookup lookup, const char *trace, const char *domain, const char *name,
                         credutl_sid_t *sid_out) {
    if (!sid_out) return TBS_ST_EINVAL;
    char text[TBS_ACL_TEXT_SIZE];
    const char *const texts[] = {domain, "\\", name};
    const size_t length = strutl_concat(text, sizeof text, texts, std::size(texts));
    if (length < sizeof text && lookup(text, SYSUTL_FORM_SID, sid_out) == 0) return 0;
    *sid_out = CREDUTL_SID_NOBODY;
    if (traces(1)) {
        imsg_print_shared(IMSG_TRACE, module_name, trace, IMSG_LITERAL, domain ? domain : "", name ? name : "");
    }
    return TBS_ST_ERROR;
}

tbs_status_t resolve(const identity_parts &parts, tbs_sid_acl_id_t *id) {
    id->domain = empty_text();
    id->name = empty_text();
    const auto lookup = id->kind == TBS_ACL_ID_USER ? tbs_acl_user_to_usid : tbs_acl_group_to_gsid;
    const tbs_status_t status = lookup(parts.first, parts.second, &id->sid);
    if (status) error<23>(parts.first, "\\", parts.second);
    return status;
}

// ---- permissions

constexpr tbs_acl_perm_name_t built_in_names[] = {
#define X(symbol, text, value) {text, value},
    TBS_ACL_PERMISSION_LIST(X)
#undef X
};

#define X(symbol, text, value) static_assert(TBS_ACL_PERM_##symbol == value);
TBS_ACL_PERMISSION_LIST(X)
#undef X

// A generic permission and the mask that it stands for.
struct generic {
    tbs_acl_permission_set_t bit;
    tbs_acl_permission_set_t tbs_acl_generic_map_t::*mask;
};
constexpr generic generics_in_order[] = {{TBS_ACL_PERM_FULL, &tbs_acl_generic_map_t::all},
                                         {TBS_ACL_PERM_CHANGE, &tbs_acl_generic_map_t::write},
                                         {TBS_ACL_PERM_READ, &tbs_acl_generic_map_t::read},
                                         {TBS_ACL_PERM_EXECUTE, &tbs_acl_generic_map_t::execute}};

constexpr tbs_acl_generic_map_t empty_map = {};

tbs_acl_permission_set_t expand(tbs_acl_permission_set_t perms, const tbs_acl_generic_map_t &map) {
    for (const generic &g : generics_in_order) {
        if (perms & g.bit) perms = (perms & ~g.bit) | map.*g.mask;
    }
    return perms;
}

tbs_acl_permission_set_t fold(tbs_acl_permission_set_t perms, const tbs_acl_generic_map_t &map) {
    for (const generic &g : generics_in_order) {
        const tbs_acl_permission_set_t mask = map.*g.mask;
        if (mask && (perms & mask) == mask) perms = (perms & ~mask) | g.bit;
    }
    return perms;
}

using name_span = std::span<const tbs_acl_perm_name_t>;

const tbs_acl_perm_name_t *find_name(name_span extra, const char *token) {
    for (const name_span rows : {extra, name_span(built_in_names)}) {
        for (const tbs_acl_perm_name_t &row : rows) {
            if (row.name && strutl_stricoll(token, row.name) == 0) return &row;
        }
    }
    return nullptr;
}

enum class change { add, remove };

// Adds the permissions that a text names to a set, or removes them; the set changes only when all names are known.
tbs_status_t apply(change how, const char *text, name_span extra, const tbs_acl_generic_map_t &map,
                   tbs_acl_permission_set_t *perms) {
    if (!text || !*text) return 0;
    char names[TBS_ACL_TEXT_SIZE];
    strutl_cpy_buf(names, sizeof names, text);
    tbs_acl_permission_set_t result = expand(*perms, map);
    for (char *token = names; token;) {
        char *comma = std::strchr(token, ',');
        if (comma) *comma = '\0';
        const tbs_acl_perm_name_t *row = *token ? find_name(extra, token) : nullptr;
        if (!row) {
            error<2>(token);
            return TBS_ST_EINVAL;
        }
        const tbs_acl_permission_set_t value = expand(row->value, map);
        result = how == change::add ? result | value : result & ~value;
        token = comma ? comma + 1 : nullptr;
    }
    *perms = result;
    return 0;
}

// ---- validation

bool is_empty(const char *text) { return !text || !*text; }

tbs_status_t empty_domain() {
    error<3>();
    return TBS_ST_ERROR;
}

// Empties what kinds other than users and groups do not use.
template <class Id> void normalise(Id &id) {
    if (id.kind != TBS_ACL_ID_DOMAIN) id.domain = empty_text();
    if (id.kind != TBS_ACL_ID_ROLE) id.name = empty_text();
}

} // namespace

tbs_status_t normalise_and_check(tbs_acl_id_t &id) noexcept {
    if (!is_kind(id.kind)) return unknown_kind(id.kind);
    if (!is_account(id.kind)) normalise(id);
    const bool needs_domain = is_account(id.kind) || id.kind == TBS_ACL_ID_DOMAIN;
    const bool needs_name = is_account(id.kind) || id.kind == TBS_ACL_ID_ROLE;
    if (needs_domain && is_empty(id.domain)) return empty_domain();
    if (needs_name && is_empty(id.name)) {
        error<4>();
        return TBS_ST_ERROR;
    }
    return 0;
}

tbs_status_t normalise_and_check(tbs_sid_acl_id_t &id) noexcept {
    if (!is_kind(id.kind)) return unknown_kind(id.kind);
    normalise(id);
    if (id.kind == TBS_ACL_ID_DOMAIN && is_empty(id.domain)) return empty_domain();
    if (id.kind != TBS_ACL_ID_ROLE) return 0;
    if (is_empty(id.name)) {
        error<22>();
        return TBS_ST_ERROR;
    }
    if (!strutl_is_ok_name(id.name, "-", "_-.")) {
        error<29>(id.name);
        return TBS_ST_ERROR;
    }
    return 0;
}

permission_names::permission_names(const tbs_acl_perm_name_t *extra, size_t extra_count) {
    const size_t most = extra_count + std::size(built_in_names);
    if (most > few) {
        rows_ = static_cast<tbs_acl_perm_name_t *>(stg_calloc(most, sizeof *rows_));
        if (!rows_) throw std::bad_alloc();
    }
    for (const name_span rows : {name_span(extra, extra_count), name_span(built_in_names)}) {
        for (const tbs_acl_perm_name_t &row : rows) {
            if (row.name) rows_[count_++] = row;
        }
    }
}

const char *permission_text(tbs_acl_permission_set_t perms, const permission_names &names,
                            const tbs_acl_generic_map_t *map) {
    const tbs_acl_permission_set_t folded = fold(perms, map ? *map : empty_map);
    const char *text = strutl_flags_to_str(folded, names.rows().data(), names.rows().size(), ",");
    if (!text) throw std::bad_alloc();
    return text;
}

} // namespace tbs::acl

using namespace tbs::acl;
using tbs::empty_text;

extern "C" const char *tbs_acl_utl_id_kind_to_str(tbs_acl_id_kind_t kind) noexcept {
    static thread_local char unknown[100];
    if (kind < std::size(kind_names)) return kind_names[kind];
    imsg_snprintf(unknown, sizeof unknown, &tbs::acl_table, 0, static_cast<int>(kind));
    return unknown;
}

extern "C" tbs_status_t tbs_acl_utl_id_from_str(const char *text, tbs_acl_id_t *id_out) noexcept {
    if (!text || !id_out) return TBS_ST_EINVAL;
    *id_out = {};
    return call([&]() -> tbs_status_t {
        const identity_parts parts(text);
        tbs_acl_id_t id = {};
        const tbs_status_t status = find_kind(parts.word, true, &id.kind);
        if (status) return status;
        id.domain = id.kind == TBS_ACL_ID_ROLE ? empty_text() : parts.first;
        id.name = id.kind == TBS_ACL_ID_ROLE ? parts.first : parts.second;
        *id_out = copy_id(id);
        return 0;
    });
}

extern "C" tbs_status_t tbs_sid_acl_utl_id_from_str(const char *text, tbs_sid_acl_id_t *id_out) noexcept {
    if (!text || !id_out) return TBS_ST_EINVAL;
    *id_out = {};
    return call([&]() -> tbs_status_t {
        const identity_parts parts(text);
        tbs_sid_acl_id_t id = {};
        const tbs_status_t status = find_kind(parts.word, false, &id.kind);
        if (status) return status;
        id_out->kind = id.kind;
        if (is_account(id.kind)) return resolve(parts, id_out);
        id.domain = empty_text();
        id.name = id.kind == TBS_ACL_ID_ROLE ? parts.first : empty_text();
        if (id.kind != TBS_ACL_ID_ROLE) id.sid = CREDUTL_SID_NOBODY;
        *id_out = copy_id(id);
        return 0;
    });
}

extern "C" tbs_status_t tbs_acl_utl_id_qual_to_str(const tbs_acl_id_t *id, size_t size, char *buffer) noexcept {
    if (!id || !buffer) return TBS_ST_EINVAL;
    return qualifier(*id, size, buffer);
}

extern "C" tbs_status_t tbs_acl_utl_id_to_str(const tbs_acl_id_t *id, size_t size, char *buffer) noexcept {
    if (!id || !buffer) return TBS_ST_EINVAL;
    return identity_text(*id, size, buffer);
}

extern "C" tbs_status_t tbs_sid_acl_utl_id_qual_to_str(const tbs_sid_acl_id_t *id, size_t size,
                                                       char *buffer) noexcept {
    if (!id || !buffer) return TBS_ST_EINVAL;
    return qualifier(*id, size, buffer);
}

extern "C" tbs_status_t tbs_sid_acl_utl_id_to_str(const tbs_sid_acl_id_t *id, size_t size, char *buffer) noexcept {
    if (!id || !buffer) return TBS_ST_EINVAL;
    return identity_text(*id, size, buffer);
}

extern "C" tbs_status_t tbs_acl_user_to_usid(const char *domain, const char *name, credutl_sid_t *sid_out) noexcept {
    return account_sid(sysutl_user_to_usid, "Unable to convert \"%s\",\"%s\" to user SID.\n", domain, name, sid_out);
}

extern "C" tbs_status_t tbs_acl_group_to_gsid(const char *domain, const char *name, credutl_sid_t *sid_out) noexcept {
    return account_sid(sysutl_group_to_gsid, "Unable to convert \"%s\",\"%s\" to group SID.\n", domain, name,
                       sid_out);
}

extern "C" const char *tbs_acl_utl_perm_set_to_str(tbs_acl_permission_set_t perms, const tbs_acl_perm_name_t *extra,
                                                   size_t extra_count, const tbs_acl_generic_map_t *map) noexcept {
    if (!readable(extra, extra_count)) return nullptr;
    return tbs::guard<const char *>(module_name, nullptr, nullptr, [&] {
        return permission_text(perms, permission_names(extra, extra_count), map);
    });
}

extern "C" tbs_status_t tbs_acl_utl_perm_set_from_str(const char *text, const tbs_acl_perm_name_t *extra,
                                                      size_t extra_count, const tbs_acl_generic_map_t *map,
                                                      tbs_acl_permission_set_t *set_out) noexcept {
    return tbs_acl_utl_perm_set_from_combined_strings(text, nullptr, extra, extra_count, map, set_out);
}

extern "C" tbs_status_t tbs_acl_utl_perm_set_from_combined_strings(const char *granted, const char *excluded,
                                                                   const tbs_acl_perm_name_t *extra,
                                                                   size_t extra_count,
                                                                   const tbs_acl_generic_map_t *map,
                                                                   tbs_acl_permission_set_t *set_out) noexcept {
    if (!set_out || !readable(extra, extra_count)) return TBS_ST_EINVAL;
    const name_span names(extra, extra_count);
    const tbs_acl_generic_map_t &masks = map ? *map : empty_map;
    tbs_acl_permission_set_t perms = 0;
    tbs_status_t status = apply(change::add, granted, names, masks, &perms);
    if (status == 0) status = apply(change::remove, excluded, names, masks, &perms);
    if (status == 0) *set_out = perms;
    return status;
}
