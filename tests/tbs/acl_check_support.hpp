// acl_check_support.hpp - clients for the permission checks, and the rules of the checks in their plainest form.
#ifndef TESTS_TBS_ACL_CHECK_SUPPORT_HPP
#define TESTS_TBS_ACL_CHECK_SUPPORT_HPP

#include "acl_test_support.hpp"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <optional>
#include <ostream>

namespace acl_test {

// ---- clients ------------------------------------------------------------------------------------------------------

struct sid_person {
    std::optional<std::string> domain;
    credutl_sid_t user, group;
    std::vector<credutl_sid_t> groups;

    [[nodiscard]] credutl_sid_credentials_t credentials() {
        return {user, group, static_cast<uint32_t>(groups.size()), groups.data()};
    }
    [[nodiscard]] client_ptr client() {
        const credutl_sid_credentials_t sids = credentials();
        credutl_client_t *client = nullptr;
        if (credutl_client_from_sids(domain ? domain->c_str() : nullptr, &sids, &client) != 0) {
            throw std::runtime_error("no client");
        }
        return client_ptr(client);
    }
    [[nodiscard]] whole_ptr whole() {
        const credutl_sid_credentials_t sids = credentials();
        credutl_whole_credentials_t *whole = nullptr;
        if (credutl_sid_credentials_to_whole(&sids, &whole) != 0) throw std::runtime_error("no credentials");
        return whole_ptr(whole);
    }
};

struct named_person {
    std::optional<std::string> domain;
    std::string user, group;
    std::vector<std::string> groups;

    [[nodiscard]] client_ptr client() {
        std::vector<char *> pointers;
        for (std::string &name : groups) pointers.push_back(name.data());
        const credutl_string_credentials_t strings{user.data(), group.data(), static_cast<uint32_t>(groups.size()),
                                                   pointers.data()};
        credutl_client_t *client = nullptr;
        if (credutl_client_from_strings(domain ? domain->c_str() : nullptr, &strings, &client) != 0) {
            throw std::runtime_error("no client");
        }
        return client_ptr(client);
    }
};

// ---- decisions ----------------------------------------------------------------------------------------------------

struct decision {
    tbs_status_t status;
    tbs_boolean_t granted;

    bool operator==(const decision &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const decision &d) {
        return out << "{status " << d.status << ", granted " << d.granted << '}';
    }
};
inline constexpr decision granted{0, 1}, denied{0, 0};

inline decision check(const classic_ptr &acl, tbs_acl_permission_set_t requested, const client_ptr &client,
                      tbs_boolean_t owner_user = 0, tbs_boolean_t owner_group = 0) {
    decision result{-1, 7};
    result.status =
        tbs_acl_check_permission(acl.get(), requested, client.get(), owner_user, owner_group, &result.granted);
    return result;
}
inline decision check(const sid_ptr &acl, tbs_acl_permission_set_t requested, const client_ptr &client,
                      const credutl_sid_t *owner_user = nullptr, const credutl_sid_t *owner_group = nullptr) {
    decision result{-1, 7};
    result.status =
        tbs_sid_acl_check_permission(acl.get(), requested, client.get(), owner_user, owner_group, &result.granted);
    return result;
}
inline decision check(const sid_ptr &acl, tbs_acl_permission_set_t requested, const whole_ptr &whole,
                      const credutl_sid_t *owner_user = nullptr, const credutl_sid_t *owner_group = nullptr) {
    decision result{-1, 7};
    result.status = tbs_sid_acl_check_permission_creds(acl.get(), requested, whole.get(), owner_user, owner_group,
                                                       &result.granted);
    return result;
}

// ---- the rules, written down without any haste --------------------------------------------------------------------

struct verdict {
    bool granted = false;
    tbs_acl_permission_set_t allowed = 0;

    // Adds permissions; true when the request is covered now.
    bool add(tbs_acl_permission_set_t perms, tbs_acl_permission_set_t requested) {
        allowed |= perms;
        return granted = (allowed & requested) == requested;
    }
};

inline bool same_sid(const credutl_sid_t &a, const credutl_sid_t &b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool same_text(std::string_view a, std::string_view b) { // ASCII
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

// Walks SID entries in their order.
inline verdict decide_by_sid(const std::vector<tbs_acl_cooked_ent_t> &entries, tbs_acl_permission_set_t requested,
                             const sid_person &who, const credutl_sid_t *owner_user,
                             const credutl_sid_t *owner_group) {
    const auto holds = [&](const credutl_sid_t &group) {
        return !same_sid(group, CREDUTL_SID_NOBODY) &&
               (same_sid(group, who.group) || std::any_of(who.groups.begin(), who.groups.end(),
                                                          [&](const auto &held) { return same_sid(group, held); }));
    };
    verdict result;
    for (const tbs_acl_cooked_ent_t &entry : entries) {
        bool applies = false;
        switch (entry.id.kind) {
        case TBS_ACL_ID_USER: applies = same_sid(entry.id.sid, who.user); break;
        case TBS_ACL_ID_GROUP: applies = holds(entry.id.sid); break;
        case TBS_ACL_ID_EVERYONE: applies = true; break;
        case TBS_ACL_ID_OWNER_USER: applies = owner_user && same_sid(*owner_user, who.user); break;
        case TBS_ACL_ID_OWNER_GROUP: applies = owner_group && holds(*owner_group); break;
        default: break;
        }
        if (applies && result.add(entry.perms, requested)) break;
    }
    return result;
}

// An entry of a classic ACL as its maker knows it. No SID: its name belongs to no account.
struct named_entry {
    tbs_acl_id_kind_t kind;
    std::string domain, name;
    std::optional<credutl_sid_t> sid;
    tbs_acl_permission_set_t perms;
};

// Looks identities up in the fixed order; the first entry of each counts.
template <class Who>
verdict decide_in_order(const std::vector<named_entry> &entries, tbs_acl_permission_set_t requested, const Who &who,
                        bool owner_user, bool owner_group) {
    verdict result;
    const auto covers = [&](auto &&matches) {
        const auto entry = std::find_if(entries.begin(), entries.end(), matches);
        return result.add(entry == entries.end() ? 0 : entry->perms, requested);
    };
    const auto covers_kind = [&](tbs_acl_id_kind_t kind) {
        return covers([&](const named_entry &entry) { return entry.kind == kind; });
    };
    const auto covers_account = [&](tbs_acl_id_kind_t kind, const auto &account) {
        return covers([&](const named_entry &entry) {
            if (entry.kind != kind) return false;
            if constexpr (std::is_same_v<Who, sid_person>) {
                return entry.sid && same_sid(*entry.sid, account);
            } else {
                return same_text(entry.domain + '\\' + entry.name, account);
            }
        });
    };
    if (covers_kind(TBS_ACL_ID_EVERYONE)) return result;
    if (owner_user && covers_kind(TBS_ACL_ID_OWNER_USER)) return result;
    if (owner_group && covers_kind(TBS_ACL_ID_OWNER_GROUP)) return result;
    if (covers([&](const named_entry &entry) {
            return entry.kind == TBS_ACL_ID_DOMAIN && same_text(entry.domain, who.domain.value_or(""));
        })) {
        return result;
    }
    if (covers_account(TBS_ACL_ID_USER, who.user)) return result;
    if (covers_account(TBS_ACL_ID_GROUP, who.group)) return result;
    for (const auto &group : who.groups) {
        if (covers_account(TBS_ACL_ID_GROUP, group)) return result;
    }
    return result;
}

// The accumulated set that a trace at level 3 tells, and nothing when there is none.
inline std::optional<tbs_acl_permission_set_t> traced_allowed(const lines &printed) {
    constexpr std::string_view prefix = "8 Allowed:   0x";
    for (const std::string &line : printed) {
        if (line.starts_with(prefix))
            return static_cast<uint32_t>(std::stoul(line.substr(prefix.size()), nullptr, 16));
    }
    return std::nullopt;
}

} // namespace acl_test

#endif
