#include "ks/ks_acl.h"

#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_stg.h"

#include <acl/libacl.h>
#include <cerrno>
#include <climits>
#include <sys/acl.h>
#include <utility>

static_assert(SYSUTL_ACL_USER_OBJ == ACL_USER_OBJ && SYSUTL_ACL_USER == ACL_USER &&
              SYSUTL_ACL_GROUP_OBJ == ACL_GROUP_OBJ && SYSUTL_ACL_GROUP == ACL_GROUP && SYSUTL_ACL_MASK == ACL_MASK &&
              SYSUTL_ACL_OTHER == ACL_OTHER);
static_assert(SYSUTL_ACL_READ == ACL_READ && SYSUTL_ACL_WRITE == ACL_WRITE && SYSUTL_ACL_EXECUTE == ACL_EXECUTE);

// The host's ACL moves when it grows, so its handle is kept in a record of ours.
struct sysutl_acl {
    acl_t host;
};

namespace {

struct {
    sysutl_acl_recorder_t told;
    void *context;
} constinit recorder = {};

// Runs an operation unless the recorder forbids it. The body gives whether it went well, and errno when not.
template <class F> int operate(const char *name, bool arguments, F &&body) {
    if (!arguments) return KS_EINVAL;
    if (recorder.told) {
        if (const int refused = recorder.told(name, recorder.context)) return refused;
    }
    return body() ? 0 : ks_errno_from_host(errno);
}

acl_entry_t host_of(sysutl_acl_entry_t *entry) { return reinterpret_cast<acl_entry_t>(entry); }
acl_permset_t host_of(sysutl_acl_permset_t *permset) { return reinterpret_cast<acl_permset_t>(permset); }

bool fail(int error) {
    errno = error;
    return false;
}

// File systems without ACLs and systems without them are the same to our callers.
int without_support(int error) { return error == KS_ENOTSUP ? KS_ENOSYS : error; }

bool wrap(acl_t host, sysutl_acl_t **acl_out) {
    if (!host) return false;
    auto *acl = static_cast<sysutl_acl_t *>(stg_malloc(sizeof(sysutl_acl_t)));
    if (!acl) {
        acl_free(host);
        return fail(ENOMEM);
    }
    acl->host = host;
    *acl_out = acl;
    return true;
}

bool add_perms(acl_permset_t permset, uint32_t perms) {
    for (const acl_perm_t perm : {ACL_READ, ACL_WRITE, ACL_EXECUTE}) {
        if ((perms & perm) && acl_add_perm(permset, perm) != 0) return false;
    }
    return true;
}

acl_entry_t find_entry(acl_t acl, acl_tag_t wanted) {
    acl_entry_t entry;
    for (int found = acl_get_entry(acl, ACL_FIRST_ENTRY, &entry); found == 1;
         found = acl_get_entry(acl, ACL_NEXT_ENTRY, &entry)) {
        acl_tag_t tag;
        if (acl_get_tag_type(entry, &tag) == 0 && tag == wanted) return entry;
    }
    return nullptr;
}

bool set_id(acl_entry_t entry, uint32_t id) {
    constexpr uint32_t unknown = 0xFFFFFFFE;
    return id == unknown ? fail(EINVAL) : acl_set_qualifier(entry, &id) == 0;
}

template <class F> int on_file(const char *name, const char *path, bool arguments, F &&body) {
    char host_path[PATH_MAX];
    if (!path || !arguments) return KS_EINVAL;
    if (const int error = fileutl_host_path(path, host_path, sizeof host_path)) return error;
    return without_support(operate(name, true, [&] { return body(static_cast<const char *>(host_path)); }));
}

} // namespace

extern "C" void sysutl_acl_set_recorder(sysutl_acl_recorder_t told, void *context) noexcept {
    recorder = {told, context};
}

extern "C" int sysutl_acl_init(int count, sysutl_acl_t **acl_out) noexcept {
    const int result =
        operate("sysutl_acl_init", acl_out && count >= 0, [&] { return wrap(acl_init(count), acl_out); });
    return without_support(result);
}

extern "C" void sysutl_acl_free(sysutl_acl_t **acl_variable) noexcept {
    if (!acl_variable || !*acl_variable) return;
    acl_free((*acl_variable)->host);
    stg_free(std::exchange(*acl_variable, nullptr));
}

extern "C" int sysutl_acl_create_entry(sysutl_acl_t *acl, sysutl_acl_entry_t **entry_out) noexcept {
    return operate("sysutl_acl_create_entry", acl && entry_out, [&] {
        acl_entry_t entry;
        if (acl_create_entry(&acl->host, &entry) != 0) return false;
        *entry_out = reinterpret_cast<sysutl_acl_entry_t *>(entry);
        return true;
    });
}

extern "C" int sysutl_acl_delete_entry(sysutl_acl_t *acl, sysutl_acl_entry_t *entry) noexcept {
    return operate("sysutl_acl_delete_entry", acl && entry,
                   [&] { return acl_delete_entry(acl->host, host_of(entry)) == 0; });
}

extern "C" int sysutl_acl_set_tag_type(sysutl_acl_entry_t *entry, int tag) noexcept {
    return operate("sysutl_acl_set_tag_type", entry, [&] { return acl_set_tag_type(host_of(entry), tag) == 0; });
}

extern "C" int sysutl_acl_set_qualifier(sysutl_acl_entry_t *entry, const credutl_sid_t *sid) noexcept {
    return operate("sysutl_acl_set_qualifier", entry && sid, [&] {
        acl_tag_t tag;
        if (acl_get_tag_type(host_of(entry), &tag) != 0) return false;
        switch (tag) {
        case ACL_USER_OBJ:
        case ACL_GROUP_OBJ: return true;
        case ACL_USER: return set_id(host_of(entry), credutl_sid_to_uid(sid));
        case ACL_GROUP: return set_id(host_of(entry), credutl_sid_to_gid(sid));
        default: return fail(EINVAL);
        }
    });
}

extern "C" int sysutl_acl_get_permset(sysutl_acl_entry_t *entry, sysutl_acl_permset_t **permset_out) noexcept {
    return operate("sysutl_acl_get_permset", entry && permset_out, [&] {
        acl_permset_t permset;
        if (acl_get_permset(host_of(entry), &permset) != 0) return false;
        *permset_out = reinterpret_cast<sysutl_acl_permset_t *>(permset);
        return true;
    });
}

extern "C" int sysutl_acl_clear_perms(sysutl_acl_permset_t *permset) noexcept {
    return operate("sysutl_acl_clear_perms", permset, [&] { return acl_clear_perms(host_of(permset)) == 0; });
}

extern "C" int sysutl_acl_add_perm(sysutl_acl_permset_t *permset, int perms) noexcept {
    constexpr int all = SYSUTL_ACL_READ | SYSUTL_ACL_WRITE | SYSUTL_ACL_EXECUTE;
    return operate("sysutl_acl_add_perm", permset && (perms & ~all) == 0,
                   [&] { return add_perms(host_of(permset), static_cast<uint32_t>(perms)); });
}

extern "C" int sysutl_acl_modify_perms(sysutl_acl_t *acl, int which, uint32_t mode) noexcept {
    constexpr struct {
        acl_tag_t tag;
        unsigned shift; // of its class in a mode
    } classes[] = {{ACL_USER_OBJ, 6}, {ACL_GROUP_OBJ, 3}};
    return operate("sysutl_acl_modify_perms", acl && which == 0, [&] {
        for (const auto &[tag, shift] : classes) {
            acl_entry_t entry = find_entry(acl->host, tag);
            acl_permset_t permset;
            if (!entry) return fail(EINVAL);
            if (acl_get_permset(entry, &permset) != 0 || !add_perms(permset, mode >> shift & 7)) {
                return false;
            }
        }
        return true;
    });
}

extern "C" int sysutl_acl_calc_mask(sysutl_acl_t *acl) noexcept {
    return operate("sysutl_acl_calc_mask", acl, [&] { return acl_calc_mask(&acl->host) == 0; });
}

extern "C" int sysutl_acl_valid(const sysutl_acl_t *acl) noexcept {
    return operate("sysutl_acl_valid", acl, [&] { return acl_valid(acl->host) == 0; });
}

extern "C" int sysutl_acl_to_text(const sysutl_acl_t *acl, char **text_out) noexcept {
    return operate("sysutl_acl_to_text", acl && text_out, [&] {
        char *host_text = acl_to_text(acl->host, nullptr);
        if (!host_text) return false;
        char *text = stg_strdup(host_text);
        acl_free(host_text);
        if (!text) return fail(ENOMEM);
        *text_out = text;
        return true;
    });
}

extern "C" int sysutl_acl_set_file(const char *path, const sysutl_acl_t *acl) noexcept {
    return on_file("sysutl_acl_set_file", path, acl,
                   [&](const char *host_path) { return acl_set_file(host_path, ACL_TYPE_ACCESS, acl->host) == 0; });
}

extern "C" int sysutl_acl_get_file(const char *path, sysutl_acl_t **acl_out) noexcept {
    return on_file("sysutl_acl_get_file", path, acl_out,
                   [&](const char *host_path) { return wrap(acl_get_file(host_path, ACL_TYPE_ACCESS), acl_out); });
}

extern "C" int sysutl_acl_equal(const sysutl_acl_t *a, const sysutl_acl_t *b) noexcept {
    return a && b && acl_cmp(a->host, b->host) == 0;
}
