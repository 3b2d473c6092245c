#include "posix/ks_account_sources.hpp"

#include "internal/ks_sid.hpp"
#include "internal/ks_sys_os.hpp"
#include "ks/ks_errno.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

#include <dlfcn.h>

namespace ks::os {
namespace {

constexpr unsigned time_limit_ms = 5000;

// The interface of libsss_nss_idmap, whose header does not declare the calls with a time limit.
enum sss_type : int { sss_unspecified, sss_uid, sss_gid, sss_both };
using sid_by_name_fn = int(const char *fq_name, unsigned timeout, char **sid, int *type);
using name_by_sid_fn = int(const char *sid, unsigned timeout, char **fq_name, int *type);
using id_by_sid_fn = int(const char *sid, unsigned timeout, uint32_t *id, int *type);
using sid_by_id_fn = int(uint32_t id, unsigned timeout, char **sid, int *type);

struct sssd {
    back_end library{"libsss_nss_idmap.so.0"};
    sid_by_name_fn *sid_by_user = function<sid_by_name_fn>("sss_nss_getsidbyusername_timeout");
    sid_by_name_fn *sid_by_group = function<sid_by_name_fn>("sss_nss_getsidbygroupname_timeout");
    sid_by_name_fn *sid_by_name = function<sid_by_name_fn>("sss_nss_getsidbyname_timeout");
    name_by_sid_fn *name_by_sid = function<name_by_sid_fn>("sss_nss_getnamebysid_timeout");
    id_by_sid_fn *id_by_sid = function<id_by_sid_fn>("sss_nss_getidbysid_timeout");
    sid_by_id_fn *sid_by_uid = function<sid_by_id_fn>("sss_nss_getsidbyuid_timeout");
    sid_by_id_fn *sid_by_gid = function<sid_by_id_fn>("sss_nss_getsidbygid_timeout");
    bool complete = sid_by_name && name_by_sid && id_by_sid && sid_by_uid && sid_by_gid;

    template <class Function> Function *function(const char *name) const noexcept {
        return library.function<Function>(name);
    }
};

const sssd &the_sssd() noexcept {
    static const sssd instance;
    return instance;
}

struct freed {
    void operator()(char *text) const noexcept { std::free(text); }
};
using owned_text = std::unique_ptr<char, freed>;

// The daemon does not run: ENOENT. It does not serve the domain, or its provider knows no SIDs: it does not know.
int translate(int error) noexcept {
    switch (error) {
    case 0: return 0;
    case ENOENT:
    case ENETUNREACH:
    case ENOSYS:
    case EINVAL: return KS_ENOENT;
    case ENOMEM: return KS_ENOMEM;
    default: return KS_EIO;
    }
}

bool is_of_kind(int type, credutl_account_kind_t kind) noexcept {
    return type == sss_both || type == (kind == CREDUTL_USER ? sss_uid : sss_gid);
}

int read_sid(int error, const owned_text &text, int type, credutl_account_kind_t kind, credutl_sid_t &sid) noexcept {
    if (error != 0) {
        return translate(error);
    }
    return text && is_of_kind(type, kind) && parse_sid(text.get(), sid) ? 0 : KS_ENOENT;
}

int sid_of_name(credutl_account_kind_t kind, const std::string &fq_name, credutl_sid_t &sid) {
    const sssd &all = the_sssd();
    sid_by_name_fn *typed = kind == CREDUTL_USER ? all.sid_by_user : all.sid_by_group;
    char *text = nullptr;
    int type = sss_unspecified;
    const int error = (typed ? typed : all.sid_by_name)(fq_name.c_str(), time_limit_ms, &text, &type);
    return read_sid(error, owned_text(text), type, kind, sid);
}

// The id is optional: an account need not have one here.
int id_of_sid(credutl_account_kind_t kind, const char *sid, uint32_t &id) noexcept {
    uint32_t value = CREDUTL_NO_ID;
    int type = sss_unspecified;
    const int error = translate(the_sssd().id_by_sid(sid, time_limit_ms, &value, &type));
    if (error == 0 && is_of_kind(type, kind)) {
        id = value;
    }
    return error == KS_ENOENT ? 0 : error;
}

// The daemon's name of an account is "name@domain", or "DOMAIN\name" where it is configured so.
bool split_sssd_name(std::string_view text, domain_account &found) {
    const name_parts parts = split_name(text);
    if (parts.qualified) {
        found.domain = parts.domain;
        found.name = parts.name;
        return true;
    }
    const size_t at = text.rfind('@');
    if (at == std::string_view::npos) {
        return false;
    }
    found.domain = text.substr(at + 1);
    found.name = text.substr(0, at);
    return true;
}

} // namespace

back_end::back_end(const char *file) noexcept : handle_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {}

void *back_end::symbol(const char *name) const noexcept { return handle_ ? dlsym(handle_, name) : nullptr; }

int sssd_by_name(credutl_account_kind_t kind, const std::string &domain, const std::string &name,
                 domain_account &found) {
    if (!the_sssd().complete) {
        return KS_ENOENT;
    }
    // Every configuration reads the first form, some also the second, which serves names that hold an "@".
    int error = sid_of_name(kind, name + '@' + domain, found.sid);
    if (error == KS_ENOENT) {
        error = sid_of_name(kind, domain + '\\' + name, found.sid);
    }
    char text[CREDUTL_SID_STR_SIZE];
    if (error == 0 && format_sid(found.sid, text) != 0) {
        error = id_of_sid(kind, text, found.id);
    }
    return error;
}

int sssd_by_sid(credutl_account_kind_t kind, const credutl_sid_t &sid, domain_account &found) {
    char text[CREDUTL_SID_STR_SIZE];
    if (!the_sssd().complete || format_sid(sid, text) == 0) {
        return KS_ENOENT;
    }
    char *name = nullptr;
    int type = sss_unspecified;
    const int error = translate(the_sssd().name_by_sid(text, time_limit_ms, &name, &type));
    const owned_text owner(name);
    if (error != 0) {
        return error;
    }
    if (!name || !is_of_kind(type, kind) || !split_sssd_name(name, found)) {
        return KS_ENOENT;
    }
    found.sid = sid;
    return id_of_sid(kind, text, found.id);
}

int sssd_sid_of_id(credutl_account_kind_t kind, uint32_t id, credutl_sid_t &sid) {
    const sssd &all = the_sssd();
    if (!all.complete) {
        return KS_ENOENT;
    }
    char *text = nullptr;
    int type = sss_unspecified;
    const int error = (kind == CREDUTL_USER ? all.sid_by_uid : all.sid_by_gid)(id, time_limit_ms, &text, &type);
    return read_sid(error, owned_text(text), type, kind, sid);
}

// The daemon tells nothing about its domain itself, but knows the account that the host has there: "HOST$".
int sssd_domain_sid(credutl_sid_t &sid) {
    if (!the_sssd().complete) {
        return KS_ENOENT;
    }
    char host[256];
    if (const int error = host_name(host, sizeof host)) {
        return error;
    }
    const std::string_view whole = host;
    const std::string account = std::string(whole.substr(0, whole.find('.'))) + '$';
    credutl_sid_t found;
    const int error = sid_of_name(CREDUTL_USER, account, found);
    if (error != 0) {
        return error;
    }
    return sid_of_domain(found, sid) ? 0 : KS_ENOENT;
}

} // namespace ks::os
