#include "ks/ks_cred.h"

#include "internal/ks_account.hpp"
#include "internal/ks_account_os.hpp"
#include "internal/ks_call.hpp"
#include "internal/ks_client.hpp"
#include "internal/ks_client_os.hpp"
#include "internal/ks_credentials.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

// One of the two forms is set.
struct credutl_client {
    std::string domain;
    ks::owned_strings strings;
    ks::owned_sids sids;
};

namespace ks {
namespace {

constexpr size_t max_domain = 256;

// Collects SIDs in their order, each once; the first one added is the primary group.
class group_list {
public:
    void add(const credutl_sid_t &sid) {
        if (seen_.empty()) {
            seen_.resize(64);
        } else if (2 * (sids_.size() + 1) > seen_.size()) {
            grow();
        }
        const size_t at = slot_of(seen_, sid);
        if (seen_[at] == 0) {
            sids_.push_back(sid);
            seen_[at] = static_cast<uint32_t>(sids_.size());
        }
    }
    [[nodiscard]] size_t size() const noexcept { return sids_.size(); }
    [[nodiscard]] const credutl_sid_t &primary() const noexcept {
        return sids_.empty() ? CREDUTL_SID_NOBODY : sids_.front();
    }
    [[nodiscard]] std::span<const credutl_sid_t> supplementary() const noexcept {
        return std::span(sids_).subspan(sids_.empty() ? 0 : 1);
    }

private:
    size_t slot_of(const std::vector<uint32_t> &slots, const credutl_sid_t &sid) const noexcept {
        size_t at = credutl_sid_hash(&sid) & (slots.size() - 1);
        while (slots[at] != 0 && !sid_equal(sids_[slots[at] - 1], sid)) {
            at = (at + 1) & (slots.size() - 1);
        }
        return at;
    }
    void grow() {
        std::vector<uint32_t> larger(2 * seen_.size());
        for (size_t i = 0; i < sids_.size(); i++) {
            larger[slot_of(larger, sids_[i])] = static_cast<uint32_t>(i + 1);
        }
        seen_.swap(larger);
    }

    std::vector<credutl_sid_t> sids_;
    std::vector<uint32_t> seen_; // positions plus one
};

int add_gid(group_list &groups, uint32_t gid) {
    credutl_sid_t sid;
    const int error = find_sid(CREDUTL_GROUP, gid, sid);
    if (error == 0) {
        groups.add(sid);
    }
    return error;
}

int add_gids(group_list &groups, std::span<const uint32_t> gids) {
    for (const uint32_t gid : gids) {
        if (const int error = add_gid(groups, gid)) {
            return error;
        }
    }
    return 0;
}

// Makes credentials whose groups the host or a source has listed.
int checked_sids(const credutl_sid_t &user, const group_list &groups, owned_sids &sids) {
    if (groups.size() > CREDUTL_MAX_GROUPS) {
        return KS_EIO;
    }
    sids = make_sids(user, groups.primary(), groups.supplementary());
    return 0;
}

int finish(std::string_view name, owned_sids sids, credutl_client_t **client_out) {
    auto client = std::make_unique<credutl_client>();
    client->domain = split_name(name).domain;
    if (client->domain.size() > max_domain) {
        return KS_ENAMETOOLONG;
    }
    client->sids = std::move(sids);
    *client_out = client.release();
    return 0;
}

int sids_of_ids(const os::client_ids &ids, owned_sids &sids) {
    credutl_sid_t user;
    if (const int error = find_sid(CREDUTL_USER, ids.uid, user)) {
        return error;
    }
    group_list groups;
    if (const int error = add_gid(groups, ids.gid)) {
        return error;
    }
    if (const int error = add_gids(groups, ids.groups)) {
        return error;
    }
    return checked_sids(user, groups, sids);
}

// The domain is that of the user's name; a user without a name has none.
int client_of_ids(const os::client_ids &ids, credutl_client_t **client_out) {
    owned_sids sids;
    if (const int error = sids_of_ids(ids, sids)) {
        return error;
    }
    account_answer account;
    const int error = find_account(CREDUTL_USER, sids->user, account);
    if (error != 0 && error != KS_ENOENT) {
        return error;
    }
    return finish(account.name, std::move(sids), client_out);
}

// Adds the groups that the accounts file gives. The first one is the primary group and must be known; another one
// that is not can only lose permissions.
int add_file_groups(group_list &groups, const account_answer &account) {
    std::vector<std::string> names;
    if (const int error = file_groups(account.name.c_str(), names)) {
        return error;
    }
    for (const std::string &name : names) {
        credutl_sid_t sid;
        const int error = find_sid(CREDUTL_GROUP, name.c_str(), sid);
        if (error == 0) {
            groups.add(sid);
        } else if (error != KS_ENOENT || groups.size() == 0) {
            return error;
        }
    }
    return 0;
}

int client_of_account(const char *name, credutl_client_t **client_out) {
    account_answer account;
    if (const int error = find_account(CREDUTL_USER, name, account)) {
        return error;
    }
    group_list groups;
    if (const int error = add_file_groups(groups, account)) {
        return error;
    }
    if (account.id != CREDUTL_NO_ID) {
        std::vector<uint32_t> gids;
        const int error = os::local_groups(account.id, gids);
        if (error != 0 && error != KS_ENOENT) {
            return error;
        }
        if (const int failure = add_gids(groups, gids)) {
            return failure;
        }
    }
    owned_sids sids;
    const int error = checked_sids(account.sid, groups, sids);
    return error != 0 ? error : finish(account.name, std::move(sids), client_out);
}

template <class Credentials>
int client_of_credentials(const char *domain, const Credentials *credentials, credutl_client_t **client_out) {
    if (!is_usable(credentials) || !client_out) {
        return KS_EINVAL;
    }
    if (domain && std::strlen(domain) > max_domain) {
        return KS_ENAMETOOLONG;
    }
    auto client = std::make_unique<credutl_client>();
    client->domain = domain ? domain : "";
    if constexpr (std::is_same_v<Credentials, credutl_sid_credentials_t>) {
        client->sids = copy_of(*credentials);
    } else {
        client->strings = copy_of(*credentials);
    }
    *client_out = client.release();
    return 0;
}

} // namespace

int client_of_principal(const std::string &principal, credutl_client_t **client_out) {
    const size_t at = principal.rfind('@');
    if (at == std::string::npos || at == 0 || at + 1 == principal.size() || principal[at + 1] == '.') {
        return KS_EACCES;
    }
    const std::string user = principal.substr(0, at);
    std::string realm = principal.substr(at + 1);
    std::transform(realm.begin(), realm.end(), realm.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    const std::string label = realm.substr(0, realm.find('.'));
    for (const std::string &domain : {realm, label}) {
        account_answer account;
        const int error = find_account(CREDUTL_USER, (domain + '\\' + user).c_str(), account);
        if (error == 0 && !is_host_authority(account.sid)) {
            return client_of_account(account.name.c_str(), client_out);
        }
        if (error == KS_EIO || error == KS_ENOMEM) {
            return error;
        }
    }
    return KS_ENOENT;
}

} // namespace ks

using namespace ks;

extern "C" int credutl_get_sid_credentials(credutl_sid_credentials_t **sids_out) noexcept {
    return call([&]() -> int {
        if (!sids_out) {
            return KS_EINVAL;
        }
        os::client_ids ids;
        if (const int error = os::process_ids(ids)) {
            return error;
        }
        owned_sids sids;
        if (const int error = sids_of_ids(ids, sids)) {
            return error;
        }
        *sids_out = sids.release();
        return 0;
    });
}

extern "C" int credutl_client_from_process(credutl_client_t **client_out) noexcept {
    return call([&]() -> int {
        if (!client_out) {
            return KS_EINVAL;
        }
        os::client_ids ids;
        const int error = os::process_ids(ids);
        return error != 0 ? error : client_of_ids(ids, client_out);
    });
}

extern "C" int credutl_client_from_socket(int socket, credutl_client_t **client_out) noexcept {
    return call([&]() -> int {
        if (!client_out) {
            return KS_EINVAL;
        }
        os::client_ids ids;
        if (const int error = os::peer_ids(socket, ids)) {
            return error;
        }
        const int error = os::local_groups(ids.uid, ids.groups);
        return error != 0 && error != KS_ENOENT ? error : client_of_ids(ids, client_out);
    });
}

extern "C" int credutl_client_from_rpc(const void *request, credutl_client_t **client_out) noexcept {
    return call([&]() -> int {
        if (!request || !client_out) {
            return KS_EINVAL;
        }
        os::rpc_identity caller;
        if (const int error = os::caller_of_rpc(request, caller)) {
            return error;
        }
        return caller.principal.empty() ? client_of_ids(caller.ids, client_out)
                                        : client_of_principal(caller.principal, client_out);
    });
}

extern "C" int credutl_client_from_sids(const char *domain, const credutl_sid_credentials_t *sids,
                                        credutl_client_t **client_out) noexcept {
    return call([&]() -> int { return client_of_credentials(domain, sids, client_out); });
}

extern "C" int credutl_client_from_strings(const char *domain, const credutl_string_credentials_t *strings,
                                           credutl_client_t **client_out) noexcept {
    return call([&]() -> int { return client_of_credentials(domain, strings, client_out); });
}

extern "C" int credutl_client_from_account(const char *name, credutl_client_t **client_out) noexcept {
    return call([&]() -> int { return client_out ? client_of_account(name, client_out) : KS_EINVAL; });
}

extern "C" void credutl_client_free(credutl_client_t **client) noexcept {
    if (client) {
        std::unique_ptr<credutl_client>(*client).reset();
        *client = nullptr;
    }
}

extern "C" int credutl_crack_client(const credutl_client_t *client, char *domain, size_t domain_size,
                                    credutl_cracked_t *cracked_out) noexcept {
    return call([&]() -> int {
        if (!client || !domain || !cracked_out) {
            return KS_EINVAL;
        }
        if (client->domain.size() >= domain_size) {
            return KS_ENAMETOOLONG;
        }
        credutl_cracked_t cracked{};
        if (client->sids) {
            cracked.form = CREDUTL_FORM_SID;
            cracked.sids = copy_of(*client->sids).release();
        } else {
            cracked.form = CREDUTL_FORM_STRING;
            cracked.strings = copy_of(*client->strings).release();
        }
        std::memcpy(domain, client->domain.c_str(), client->domain.size() + 1);
        *cracked_out = cracked;
        return 0;
    });
}

extern "C" void credutl_free_cracked(credutl_cracked_t *cracked) noexcept {
    if (cracked) {
        credutl_free_string_credentials(&cracked->strings);
        credutl_free_sid_credentials(&cracked->sids);
        *cracked = credutl_cracked_t{};
    }
}
