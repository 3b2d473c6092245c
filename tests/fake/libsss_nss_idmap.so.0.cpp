// A stand-in for sssd's library. It knows the accounts in FAKE_SSSD, "name@domain,u|g|b,SID,id" separated by ";",
// gives FAKE_SSSD_ERROR for every call (or only for the one named FAKE_SSSD_ERROR_OF) when that is set, and appends a
// line per call to the file FAKE_SSSD_LOG. With FAKE_SSSD_NO_TEXT its answers lack their text.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>

namespace {

struct account {
    std::string name, sid;
    int type = 0; // 1 uid, 2 gid, 3 both
    uint32_t id = 0;
};

int find(const char *call, const std::string &subject, const std::function<bool(const account &)> &matches,
         account &found) {
    if (const char *path = std::getenv("FAKE_SSSD_LOG")) {
        if (FILE *log = std::fopen(path, "a")) {
            std::fprintf(log, "%s %s\n", call, subject.c_str());
            std::fclose(log);
        }
    }
    const char *error = std::getenv("FAKE_SSSD_ERROR");
    const char *only = std::getenv("FAKE_SSSD_ERROR_OF");
    if (error && (!only || std::strcmp(only, call) == 0)) {
        return std::atoi(error);
    }
    const char *list = std::getenv("FAKE_SSSD");
    std::istringstream accounts(list ? list : "");
    for (std::string text; std::getline(accounts, text, ';');) {
        std::istringstream fields(text);
        std::string type, id;
        account each;
        std::getline(fields, each.name, ',');
        std::getline(fields, type, ',');
        std::getline(fields, each.sid, ',');
        std::getline(fields, id, ',');
        each.type = type == "u" ? 1 : type == "g" ? 2 : 3;
        each.id = static_cast<uint32_t>(std::strtoul(id.c_str(), nullptr, 10));
        if (matches(each)) {
            found = each;
            return 0;
        }
    }
    return ENOENT;
}

int give(int error, const std::string &text, const account &found, char **out, int *type) {
    if (error == 0) {
        *out = std::getenv("FAKE_SSSD_NO_TEXT") ? nullptr : strdup(text.c_str());
        *type = found.type;
    }
    return error;
}

} // namespace

extern "C" {

int sss_nss_getsidbyname_timeout(const char *name, unsigned, char **sid, int *type) {
    account found;
    const int error = find(
        "sidbyname", name, [&](const account &each) { return each.name == name; }, found);
    return give(error, found.sid, found, sid, type);
}

// Newer libraries also have this one, which tells a user from a group of the same name.
int sss_nss_getsidbyusername_timeout(const char *name, unsigned, char **sid, int *type) {
    account found;
    const int error = find(
        "sidbyusername", name, [&](const account &each) { return each.name == name && each.type != 2; }, found);
    return give(error, found.sid, found, sid, type);
}

int sss_nss_getnamebysid_timeout(const char *sid, unsigned, char **name, int *type) {
    account found;
    const int error = find(
        "namebysid", sid, [&](const account &each) { return each.sid == sid; }, found);
    return give(error, found.name, found, name, type);
}

int sss_nss_getidbysid_timeout(const char *sid, unsigned, uint32_t *id, int *type) {
    account found;
    const int error = find(
        "idbysid", sid, [&](const account &each) { return each.sid == sid; }, found);
    if (error == 0) {
        *id = found.id;
        *type = found.type;
    }
    return error;
}

int sss_nss_getsidbyuid_timeout(uint32_t id, unsigned, char **sid, int *type) {
    account found;
    const int error = find(
        "sidbyuid", std::to_string(id), [&](const account &each) { return each.id == id && each.type != 2; }, found);
    return give(error, found.sid, found, sid, type);
}

int sss_nss_getsidbygid_timeout(uint32_t id, unsigned, char **sid, int *type) {
    account found;
    const int error = find(
        "sidbygid", std::to_string(id), [&](const account &each) { return each.id == id && each.type != 1; }, found);
    return give(error, found.sid, found, sid, type);
}

} // extern "C"
