#include "internal/acl.hpp"
#include "ks/ks_cred.h"
#include "ks/ks_errno.h"
#include "tbs/tbs_acl.h"

namespace tbs::acl {
namespace {

constexpr size_t domain_size = 257; // of a client's domain
constexpr size_t part_size = 257;   // of each part of an account's name

using owned_strings = owned<credutl_string_credentials_t *, credutl_free_string_credentials>;
using owned_sids = owned<credutl_sid_credentials_t *, credutl_free_sid_credentials>;
using owned_whole = owned<credutl_whole_credentials_t *, credutl_free_whole_credentials>;

// A client's domain and credentials, released with the scope.
struct cracked_client {
    cracked_client() = default;
    cracked_client(const cracked_client &) = delete;
    cracked_client &operator=(const cracked_client &) = delete;
    ~cracked_client() { credutl_free_cracked(&credentials); }

    [[nodiscard]] tbs_status_t crack(const credutl_client_t *client) {
        const int failure = credutl_crack_client(client, domain, sizeof domain, &credentials);
        if (failure == KS_ENOMEM) throw std::bad_alloc();
        return failure ? tbs_errno2status(failure) : 0;
    }

    char domain[domain_size] = "";
    credutl_cracked_t credentials = {};
};

// What is asked for and what has been granted so far.
struct decision {
    tbs_acl_permission_set_t requested;
    tbs_acl_permission_set_t allowed = 0;
    bool granted = false;

    // Adds an entry's permissions, none for NULL; true when the request is covered.
    template <class Entry> bool add(const Entry *entry) {
        granted = tbs_acl_add_and_check_perms(requested, entry ? entry->perms : 0, &allowed);
        return granted;
    }
};

// ---- trace

template <class... A> void trace_line(int severity, const char *format, A... arguments) {
    imsg_print_shared(severity, module_name, format, IMSG_LITERAL, arguments...);
}

void trace_client(const char *domain, const credutl_string_credentials_t &client) {
    const char *shown = domain && *domain ? domain : "<<no domain>>";
    trace_line(IMSG_TRACE, "Client: %s %s,%s", shown, client.user, client.group);
    for (uint32_t i = 0; i < client.group_count; i++) trace_line(IMSG_CONTINUATION, ",%s", client.groups[i]);
    say<common_messages, 1>(IMSG_CONTINUATION, module_name);
}

// Tells how a check ended. The names of the client are made only when they are shown; names gives its credentials.
template <class F> void trace(const decision &made, const char *domain, F &&names) {
    if (!traces(2)) return;
    trace_line(IMSG_TRACE, "ACL permission is %sgranted.\n", made.granted ? "" : "NOT ");
    if (made.granted && !traces(3)) return;
    trace_line(IMSG_TRACE, "Missing:   0x%.8x.\n", made.requested & ~made.allowed);
    trace_line(IMSG_TRACE, "Requested: 0x%.8x.\n", made.requested);
    trace_line(IMSG_TRACE, "Allowed:   0x%.8x.\n", made.allowed);
    owned_strings converted;
    if (const credutl_string_credentials_t *client = names(converted)) trace_client(domain, *client);
}

// ---- classic ACLs

// The entry of an ACL as the SID check sees it; a name that does not resolve becomes a kind that matches nobody.
void cook(const tbs_acl_ent_t &entry, sid_list cooked) {
    tbs_sid_acl_id_t id = {entry.id.kind, nullptr, nullptr, CREDUTL_SID_NOBODY};
    owned_text domain, name;
    const auto copy_or_null = [](const char *text, owned_text &copy) {
        *copy.put() = stg_strdup(text);
        if (text && !copy.get()) report_no_memory(module_name);
    };
    switch (entry.id.kind) {
    case TBS_ACL_ID_USER:
        if (tbs_acl_user_to_usid(entry.id.domain, entry.id.name, &id.sid)) id.kind = TBS_ACL_ID_NONE;
        break;
    case TBS_ACL_ID_GROUP:
        if (tbs_acl_group_to_gsid(entry.id.domain, entry.id.name, &id.sid)) id.kind = TBS_ACL_ID_NONE;
        break;
    case TBS_ACL_ID_DOMAIN: copy_or_null(entry.id.domain, domain); break;
    case TBS_ACL_ID_ROLE: copy_or_null(entry.id.name, name); break;
    case TBS_ACL_ID_EVERYONE:
    case TBS_ACL_ID_OWNER_USER:
    case TBS_ACL_ID_OWNER_GROUP: break;
    default: id.kind = TBS_ACL_ID_NONE;
    }
    cooked.adopt(id, domain, name, entry.perms);
}

void make_cooked(tbs_acl_h_t acl) {
    if (acl->cooked) return;
    try {
        start_cooked(acl);
        for (const tbs_acl_ent_t &entry : list_of(acl).all()) cook(entry, cooked_list_of(acl));
    } catch (...) {
        drop_cooked(acl);
        throw;
    }
}

// Looks the client's identities up in a fixed order until the request is covered. find gives the entry of a kind alone,
// of a domain, of a user and of a group.
template <class Find> void decide_classic(decision &made, bool is_owner_user, bool is_owner_group, Find &&find) {
    if (made.add(find.kind(TBS_ACL_ID_EVERYONE))) return;
    if (is_owner_user && made.add(find.kind(TBS_ACL_ID_OWNER_USER))) return;
    if (is_owner_group && made.add(find.kind(TBS_ACL_ID_OWNER_GROUP))) return;
    if (made.add(find.domain()) || made.add(find.user()) || made.add(find.group())) return;
    for (uint32_t i = 0; i < find.group_count(); i++) {
        if (made.add(find.group(i))) return;
    }
}

class by_sid {
public:
    by_sid(sid_list entries, const char *domain, const credutl_sid_credentials_t &client)
        : entries_(entries), domain_(domain), client_(client) {}
    auto *kind(tbs_acl_id_kind_t kind) const { return entries_.find({kind, nullptr, nullptr, CREDUTL_SID_NOBODY}); }
    auto *domain() const {
        return entries_.find({TBS_ACL_ID_DOMAIN, const_cast<char *>(domain_), nullptr, CREDUTL_SID_NOBODY});
    }
    auto *user() const { return entries_.find({TBS_ACL_ID_USER, nullptr, nullptr, client_.user}); }
    auto *group() const { return group_with(client_.group); }
    auto *group(uint32_t i) const { return group_with(client_.groups[i]); }
    [[nodiscard]] uint32_t group_count() const { return client_.group_count; }

private:
    tbs_acl_cooked_ent_t *group_with(const credutl_sid_t &sid) const {
        return entries_.find({TBS_ACL_ID_GROUP, nullptr, nullptr, sid});
    }
    sid_list entries_;
    const char *domain_;
    const credutl_sid_credentials_t &client_;
};

class by_name {
public:
    by_name(tbs_acl_h_t acl, const char *domain, const credutl_string_credentials_t &client)
        : acl_(acl), domain_(domain), client_(client) {}
    auto *kind(tbs_acl_id_kind_t kind) const { return find({kind, nullptr, nullptr}); }
    auto *domain() const { return find({TBS_ACL_ID_DOMAIN, const_cast<char *>(domain_), empty_text()}); }
    auto *user() const { return account(TBS_ACL_ID_USER, client_.user); }
    auto *group() const { return account(TBS_ACL_ID_GROUP, client_.group); }
    auto *group(uint32_t i) const { return account(TBS_ACL_ID_GROUP, client_.groups[i]); }
    [[nodiscard]] uint32_t group_count() const { return client_.group_count; }

private:
    tbs_acl_ent_t *find(const tbs_acl_id_t &id) const { return list_of(acl_).find(id); }
    // A name that is too long to be split has no entry.
    tbs_acl_ent_t *account(tbs_acl_id_kind_t kind, const char *fq_name) const {
        char domain[part_size], name[part_size];
        if (credutl_crack_fq_name(fq_name, domain, sizeof domain, name, sizeof name) != 0) return nullptr;
        return find({kind, domain, name});
    }
    tbs_acl_h_t acl_;
    const char *domain_;
    const credutl_string_credentials_t &client_;
};

void check_by_sid(tbs_acl_h_t acl, const cracked_client &client, bool is_owner_user, bool is_owner_group,
                  decision &made) {
    const credutl_sid_credentials_t &sids = *client.credentials.sids;
    make_cooked(acl);
    decide_classic(made, is_owner_user, is_owner_group, by_sid(cooked_list_of(acl), client.domain, sids));
    trace(made, client.domain, [&](owned_strings &converted) {
        credutl_sid_credentials_to_string_credentials(&sids, converted.put());
        return converted.get();
    });
}

void check_by_name(tbs_acl_h_t acl, const cracked_client &client, bool is_owner_user, bool is_owner_group,
                   decision &made) {
    const credutl_string_credentials_t &names = *client.credentials.strings;
    decide_classic(made, is_owner_user, is_owner_group, by_name(acl, client.domain, names));
    trace(made, client.domain, [&](owned_strings &) { return &names; });
}

// ---- SID ACLs

// Which entries of a SID ACL apply to a client.
class client_of_object {
public:
    client_of_object(const credutl_whole_credentials_t *client, const credutl_sid_t *owner_user,
                     const credutl_sid_t *owner_group)
        : client_(client), user_(credutl_whole_user_sid(client)),
          is_owner_user_(owner_user && credutl_sid_eq(owner_user, user_)),
          is_owner_group_(owner_group && credutl_has_group_whole(client, owner_group)) {}

    [[nodiscard]] bool has(const tbs_sid_acl_id_t &id) const {
        switch (id.kind) {
        case TBS_ACL_ID_USER: return credutl_sid_eq(&id.sid, user_);
        case TBS_ACL_ID_GROUP: return credutl_has_group_whole(client_, &id.sid);
        case TBS_ACL_ID_EVERYONE: return true;
        case TBS_ACL_ID_OWNER_USER: return is_owner_user_;
        case TBS_ACL_ID_OWNER_GROUP: return is_owner_group_;
        default: return false;
        }
    }
    [[nodiscard]] bool is_owner(tbs_acl_id_kind_t kind) const {
        return kind == TBS_ACL_ID_OWNER_USER ? is_owner_user_ : is_owner_group_;
    }
    [[nodiscard]] const credutl_whole_credentials_t *credentials() const { return client_; }

private:
    const credutl_whole_credentials_t *client_;
    const credutl_sid_t *user_;
    bool is_owner_user_, is_owner_group_;
};

void walk_entries(sid_list entries, const client_of_object &client, decision &made) {
    for (const tbs_acl_cooked_ent_t &entry : entries.all()) {
        if (client.has(entry.id) && made.add(&entry)) return;
    }
}

// Asks the index for each identity of the client instead of walking all entries. The union of what applies decides as
// the walk does; only how much had been allowed when the walk stopped is not known.
void look_identities_up(sid_list entries, const client_of_object &client, decision &made) {
    const auto covered_by = [&](const tbs_acl_cooked_ent_t *entry) { return entry && made.add(entry); };
    const auto by_kind = [&](tbs_acl_id_kind_t kind) {
        return entries.find_hashed(account_hash(kind, 0), {kind, nullptr, nullptr, CREDUTL_SID_NOBODY});
    };
    if (covered_by(by_kind(TBS_ACL_ID_EVERYONE))) return;
    for (const tbs_acl_id_kind_t kind : {TBS_ACL_ID_OWNER_USER, TBS_ACL_ID_OWNER_GROUP}) {
        if (client.is_owner(kind) && covered_by(by_kind(kind))) return;
    }
    const uint64_t *hashes = nullptr;
    size_t count = 0;
    const credutl_sid_t *sids = credutl_whole_sids(client.credentials(), &hashes, &count);
    for (size_t i = 0; i < count; i++) {
        const tbs_acl_id_kind_t kind = i == 0 ? TBS_ACL_ID_USER : TBS_ACL_ID_GROUP;
        const tbs_acl_cooked_ent_t *entry = entries.find_account(kind, hashes[i], sids[i]);
        if (entry && client.has(entry->id) && covered_by(entry)) return;
    }
}

void check_sids(sid_list entries, const client_of_object &client, decision &made) {
    size_t identities = 0;
    credutl_whole_sids(client.credentials(), nullptr, &identities);
    const bool lookup_pays =
        entries.is_indexed() && entries.index().unique() && identities < 8 * entries.all().size();
    if (lookup_pays && !traces(2)) {
        look_identities_up(entries, client, made);
    } else {
        walk_entries(entries, client, made);
    }
}

} // namespace
} // namespace tbs::acl

using namespace tbs::acl;

extern "C" tbs_boolean_t tbs_acl_add_and_check_perms(tbs_acl_permission_set_t requested, tbs_acl_permission_set_t add,
                                                     tbs_acl_permission_set_t *allowed) noexcept {
    if (!allowed) return 0;
    *allowed |= add;
    return (*allowed & requested) == requested;
}

extern "C" tbs_status_t tbs_acl_check_permission(tbs_acl_h_t acl, tbs_acl_permission_set_t requested,
                                                 const credutl_client_t *client, tbs_boolean_t is_owner_user,
                                                 tbs_boolean_t is_owner_group, tbs_boolean_t *granted_out) noexcept {
    if (granted_out) *granted_out = 0;
    if (!acl || !client || !granted_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        cracked_client cracked;
        const tbs_status_t status = cracked.crack(client);
        if (status) return status;
        decision made{requested};
        const auto check = cracked.credentials.form == CREDUTL_FORM_SID ? check_by_sid : check_by_name;
        check(acl, cracked, is_owner_user, is_owner_group, made);
        *granted_out = made.granted;
        return 0;
    });
}

extern "C" tbs_status_t tbs_sid_acl_check_permission(tbs_sid_acl_h_t acl, tbs_acl_permission_set_t requested,
                                                     const credutl_client_t *client, const credutl_sid_t *owner_user,
                                                     const credutl_sid_t *owner_group,
                                                     tbs_boolean_t *granted_out) noexcept {
    if (granted_out) *granted_out = 0;
    if (!acl || !client || !granted_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        cracked_client cracked;
        const tbs_status_t status = cracked.crack(client);
        if (status) return status;
        owned_sids converted;
        const credutl_sid_credentials_t *sids = cracked.credentials.sids;
        if (cracked.credentials.form == CREDUTL_FORM_STRING) {
            const int failure =
                credutl_string_credentials_to_sid_credentials(cracked.credentials.strings, converted.put());
            if (failure == KS_ENOMEM) throw std::bad_alloc();
            if (failure) return tbs_errno2status(failure);
            sids = converted.get();
        }
        owned_whole whole;
        const int failure = credutl_sid_credentials_to_whole(sids, whole.put());
        if (failure == KS_ENOMEM) throw std::bad_alloc();
        if (failure) return tbs_errno2status(failure);
        return tbs_sid_acl_check_permission_creds(acl, requested, whole.get(), owner_user, owner_group, granted_out);
    });
}

extern "C" tbs_status_t tbs_sid_acl_check_permission_creds(tbs_sid_acl_h_t acl, tbs_acl_permission_set_t requested,
                                                           const credutl_whole_credentials_t *credentials,
                                                           const credutl_sid_t *owner_user,
                                                           const credutl_sid_t *owner_group,
                                                           tbs_boolean_t *granted_out) noexcept {
    if (granted_out) *granted_out = 0;
    if (!acl || !credentials || !granted_out) return TBS_ST_EINVAL;
    decision made{requested};
    check_sids(list_of(acl), client_of_object(credentials, owner_user, owner_group), made);
    trace(made, nullptr, [&](owned_strings &converted) {
        credutl_whole_credentials_to_whole_string_credentials(credentials, converted.put());
        return converted.get();
    });
    *granted_out = made.granted;
    return 0;
}
