#include "posix/ks_account_sources.hpp"

#include "internal/ks_sid.hpp"
#include "ks/ks_errno.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include <sys/types.h>

namespace ks::os {
namespace {

// The interface of libwbclient. Numbers of its errors and of the types of names.
enum wbc_error : int {
    wbc_success = 0,
    wbc_no_memory = 3,
    wbc_invalid_sid = 4,
    wbc_not_available = 6,
    wbc_domain_not_found = 7,
    wbc_unknown_user = 11,
    wbc_unknown_group = 12
};
enum wbc_type : int {
    wbc_none = 0,
    wbc_user = 1,
    wbc_domain_group = 2,
    wbc_alias = 4,
    wbc_well_known_group = 5,
    wbc_computer = 9
};
struct wbc_sid {
    uint8_t revision;
    uint8_t count;
    uint8_t authority[6];
    uint32_t sub_authorities[15];
};
// How the two records below begin.
struct wbc_interface_details {
    uint32_t interface_version;
    const char *version;
    char separator;
    const char *host;
    const char *domain; // short name of the host's domain
};
struct wbc_domain_info {
    const char *short_name;
    const char *dns_name;
    wbc_sid sid;
};
using interface_details_fn = int(wbc_interface_details **details);
using domain_info_fn = int(const char *domain, wbc_domain_info **info);
using lookup_name_fn = int(const char *domain, const char *name, wbc_sid *sid, int *type);
using lookup_sid_fn = int(const wbc_sid *sid, char **domain, char **name, int *type);
using id_to_sid_fn = int(uid_t id, wbc_sid *sid);
using sid_to_id_fn = int(const wbc_sid *sid, uid_t *id);
using free_fn = void(void *memory);
static_assert(sizeof(uid_t) == sizeof(gid_t));

struct winbind {
    back_end library{"libwbclient.so.0"};
    lookup_name_fn *lookup_name = library.function<lookup_name_fn>("wbcLookupName");
    lookup_sid_fn *lookup_sid = library.function<lookup_sid_fn>("wbcLookupSid");
    id_to_sid_fn *uid_to_sid = library.function<id_to_sid_fn>("wbcUidToSid");
    id_to_sid_fn *gid_to_sid = library.function<id_to_sid_fn>("wbcGidToSid");
    sid_to_id_fn *sid_to_uid = library.function<sid_to_id_fn>("wbcSidToUid");
    sid_to_id_fn *sid_to_gid = library.function<sid_to_id_fn>("wbcSidToGid");
    interface_details_fn *interface_details = library.function<interface_details_fn>("wbcInterfaceDetails");
    domain_info_fn *domain_info = library.function<domain_info_fn>("wbcDomainInfo");
    free_fn *free = library.function<free_fn>("wbcFreeMemory");
    bool complete = lookup_name && lookup_sid && uid_to_sid && gid_to_sid && sid_to_uid && sid_to_gid &&
                    interface_details && domain_info && free;
};

const winbind &the_winbind() noexcept {
    static const winbind instance;
    return instance;
}

// Its functions share one connection.
std::mutex &the_connection() noexcept {
    static constinit std::mutex mutex;
    return mutex;
}

struct freed {
    void operator()(void *memory) const noexcept { the_winbind().free(memory); }
};
using owned_text = std::unique_ptr<char, freed>;

int translate(int error) noexcept {
    switch (error) {
    case wbc_success: return 0;
    case wbc_invalid_sid:
    case wbc_not_available:
    case wbc_domain_not_found:
    case wbc_unknown_user:
    case wbc_unknown_group: return KS_ENOENT;
    case wbc_no_memory: return KS_ENOMEM;
    default: return KS_EIO;
    }
}

bool is_of_kind(int type, credutl_account_kind_t kind) noexcept {
    if (kind == CREDUTL_USER) {
        return type == wbc_user || type == wbc_computer;
    }
    return type == wbc_domain_group || type == wbc_alias || type == wbc_well_known_group;
}

wbc_sid to_wbc(const credutl_sid_t &sid) noexcept {
    wbc_sid out{};
    uint32_t parts[max_sub_authorities];
    out.revision = sid.value[0];
    out.count = static_cast<uint8_t>(sid_sub_authorities(sid, parts));
    std::copy_n(sid.value + 2, sizeof out.authority, out.authority);
    std::copy_n(parts, out.count, out.sub_authorities);
    return out;
}

// False for a SID that the fixed record cannot hold.
bool from_wbc(const wbc_sid &in, credutl_sid_t &sid) noexcept {
    if (in.revision != 1 || in.count < 1 || in.count > max_sub_authorities) {
        return false;
    }
    uint64_t authority = 0;
    for (const uint8_t byte : in.authority) {
        authority = authority << 8 | byte;
    }
    sid = make_sid(authority, {in.sub_authorities, in.count});
    return true;
}

// The id is optional: an account need not have one here.
int id_of_sid(credutl_account_kind_t kind, const wbc_sid &sid, uint32_t &id) noexcept {
    uid_t value = CREDUTL_NO_ID;
    const winbind &all = the_winbind();
    const int error = translate((kind == CREDUTL_USER ? all.sid_to_uid : all.sid_to_gid)(&sid, &value));
    if (error == 0) {
        id = value;
    }
    return error == KS_ENOENT ? 0 : error;
}

} // namespace

int winbind_by_name(credutl_account_kind_t kind, const std::string &domain, const std::string &name,
                    domain_account &found) {
    if (!the_winbind().complete) {
        return KS_ENOENT;
    }
    const std::lock_guard lock(the_connection());
    wbc_sid sid;
    int type = wbc_none;
    const int error = translate(the_winbind().lookup_name(domain.c_str(), name.c_str(), &sid, &type));
    if (error != 0) {
        return error;
    }
    if (!is_of_kind(type, kind) || !from_wbc(sid, found.sid)) {
        return KS_ENOENT;
    }
    return id_of_sid(kind, sid, found.id);
}

int winbind_by_sid(credutl_account_kind_t kind, const credutl_sid_t &sid, domain_account &found) {
    if (!the_winbind().complete) {
        return KS_ENOENT;
    }
    const std::lock_guard lock(the_connection());
    const wbc_sid asked = to_wbc(sid);
    char *domain = nullptr;
    char *name = nullptr;
    int type = wbc_none;
    const int error = translate(the_winbind().lookup_sid(&asked, &domain, &name, &type));
    if (error != 0) {
        return error;
    }
    const owned_text domain_owner(domain);
    const owned_text name_owner(name);
    if (!domain || !name || !is_of_kind(type, kind)) {
        return KS_ENOENT;
    }
    found.sid = sid;
    found.domain = domain;
    found.name = name;
    return id_of_sid(kind, asked, found.id);
}

int winbind_sid_of_id(credutl_account_kind_t kind, uint32_t id, credutl_sid_t &sid) {
    const winbind &all = the_winbind();
    if (!all.complete) {
        return KS_ENOENT;
    }
    const std::lock_guard lock(the_connection());
    wbc_sid found;
    const int error = translate((kind == CREDUTL_USER ? all.uid_to_sid : all.gid_to_sid)(id, &found));
    if (error != 0) {
        return error;
    }
    return from_wbc(found, sid) ? 0 : KS_ENOENT;
}

int winbind_domain_sid(credutl_sid_t &sid) {
    const winbind &all = the_winbind();
    if (!all.complete) {
        return KS_ENOENT;
    }
    const std::lock_guard lock(the_connection());
    wbc_interface_details *details = nullptr;
    int error = translate(all.interface_details(&details));
    const std::unique_ptr<wbc_interface_details, freed> details_owner(details);
    if (error != 0 || !details || !details->domain) {
        return error != 0 ? error : KS_ENOENT;
    }
    wbc_domain_info *info = nullptr;
    error = translate(all.domain_info(details->domain, &info));
    const std::unique_ptr<wbc_domain_info, freed> info_owner(info);
    if (error != 0 || !info) {
        return error != 0 ? error : KS_ENOENT;
    }
    credutl_sid_t found;
    return from_wbc(info->sid, found) && sid_of_domain(found, sid) ? 0 : KS_ENOENT;
}

} // namespace ks::os
