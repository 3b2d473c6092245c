// A stand-in for winbind's library. It knows the accounts in FAKE_WINBIND, "DOMAIN\name,type,rid,id" separated by
// ";" with the SID S-1-5-21-7-7-7-rid and the library's number of the type, and gives FAKE_WINBIND_ERROR for every
// call when that is set. Without FAKE_WINBIND the daemon is not there. With FAKE_WINBIND_EMPTY its answers lack
// their texts, and their SIDs are none.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <sys/types.h>

namespace {

constexpr int success = 0, not_available = 6, not_found = 7;

struct domain_sid {
    uint8_t revision, count, authority[6];
    uint32_t sub_authorities[15];
};

struct account {
    std::string domain, name;
    int type = 0;
    uint32_t rid = 0, id = 0;
};

bool are_empty() { return std::getenv("FAKE_WINBIND_EMPTY") != nullptr; }

int find(const std::function<bool(const account &)> &matches, account &found) {
    if (const char *error = std::getenv("FAKE_WINBIND_ERROR")) {
        return std::atoi(error);
    }
    const char *list = std::getenv("FAKE_WINBIND");
    if (!list) {
        return not_available;
    }
    std::istringstream accounts(list);
    for (std::string text; std::getline(accounts, text, ';');) {
        std::istringstream fields(text);
        std::string type, rid, id;
        account each;
        std::getline(fields, each.domain, '\\');
        std::getline(fields, each.name, ',');
        std::getline(fields, type, ',');
        std::getline(fields, rid, ',');
        std::getline(fields, id, ',');
        each.type = std::atoi(type.c_str());
        each.rid = static_cast<uint32_t>(std::strtoul(rid.c_str(), nullptr, 10));
        each.id = static_cast<uint32_t>(std::strtoul(id.c_str(), nullptr, 10));
        if (matches(each)) {
            found = each;
            return success;
        }
    }
    return not_found;
}

domain_sid sid_of(const account &found) {
    if (are_empty()) return {};
    return {1, 5, {0, 0, 0, 0, 0, 5}, {21, 7, 7, 7, found.rid}};
}

bool has_sid(const account &each, const domain_sid &sid) {
    const domain_sid own = {1, 5, {0, 0, 0, 0, 0, 5}, {21, 7, 7, 7, each.rid}};
    return sid.revision == own.revision && sid.count == own.count &&
           std::memcmp(sid.authority, own.authority, sizeof sid.authority) == 0 &&
           std::memcmp(sid.sub_authorities, own.sub_authorities, sizeof(uint32_t) * sid.count) == 0;
}

} // namespace

extern "C" {

int wbcLookupName(const char *domain, const char *name, domain_sid *sid, int *type) {
    account found;
    const int error = find([&](const account &each) { return each.domain == domain && each.name == name; }, found);
    if (error == success) {
        *sid = sid_of(found);
        *type = found.type;
    }
    return error;
}

int wbcLookupSid(const domain_sid *sid, char **domain, char **name, int *type) {
    account found;
    const int error = find([&](const account &each) { return has_sid(each, *sid); }, found);
    if (error == success) {
        *domain = are_empty() ? nullptr : strdup(found.domain.c_str());
        *name = are_empty() ? nullptr : strdup(found.name.c_str());
        *type = found.type;
    }
    return error;
}

int wbcUidToSid(uid_t id, domain_sid *sid) {
    account found;
    const int error = find([&](const account &each) { return each.id == id && each.type == 1; }, found);
    if (error == success) {
        *sid = sid_of(found);
    }
    return error;
}

int wbcGidToSid(gid_t id, domain_sid *sid) {
    account found;
    const int error = find([&](const account &each) { return each.id == id && each.type != 1; }, found);
    if (error == success) {
        *sid = sid_of(found);
    }
    return error;
}

int wbcSidToUid(const domain_sid *sid, uid_t *id) {
    account found;
    const int error = find([&](const account &each) { return has_sid(each, *sid); }, found);
    if (error == success) {
        *id = found.id;
    }
    return error;
}

int wbcSidToGid(const domain_sid *sid, gid_t *id) { return wbcSidToUid(sid, id); }

struct interface_details {
    uint32_t interface_version;
    const char *version;
    char separator;
    const char *host, *domain;
};

// The host's domain is FAKE_WINBIND_DOMAIN, with the SID S-1-5-21-7-7-7.
int wbcInterfaceDetails(interface_details **details) {
    account none;
    const int error = find([](const account &) { return false; }, none);
    if (error != not_found) return error;
    auto *made = static_cast<interface_details *>(std::calloc(1, sizeof(interface_details)));
    made->domain = std::getenv("FAKE_WINBIND_DOMAIN");
    *details = made;
    return success;
}

struct domain_info {
    const char *short_name, *dns_name;
    domain_sid sid;
    uint32_t more[8];
};

int wbcDomainInfo(const char *domain, domain_info **info) {
    if (!*domain) return not_found;
    auto *made = static_cast<domain_info *>(std::calloc(1, sizeof(domain_info)));
    if (!are_empty()) made->sid = {1, 4, {0, 0, 0, 0, 0, 5}, {21, 7, 7, 7}};
    *info = made;
    return success;
}

void wbcFreeMemory(void *memory) { std::free(memory); }

} // extern "C"
