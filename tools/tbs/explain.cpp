#include "explain.hpp"

#include "ks/ks_str.h"

namespace tool {
namespace {

struct verdict {
    bool applies;
    const char *reason;
};

verdict judge_group(const requester &who, const credutl_sid_t &group) {
    if (!credutl_has_group_whole(who.whole(), &group)) return {false, "the client is not in this group"};
    return credutl_sid_eq(&group, &who.sids().group) ? verdict{true, "the client's primary group"}
                                                     : verdict{true, "one of the client's groups"};
}

verdict judge(const tbs_sid_acl_id_t &id, const requester &who, const ownership &owner) {
    switch (id.kind) {
    case TBS_ACL_ID_USER:
        return credutl_sid_eq(&id.sid, &who.sids().user) ? verdict{true, "the client is this user"}
                                                         : verdict{false, "the client is another user"};
    case TBS_ACL_ID_GROUP: return judge_group(who, id.sid);
    case TBS_ACL_ID_EVERYONE: return {true, "applies to everyone"};
    case TBS_ACL_ID_OWNER_USER:
        if (!owner.user) return {false, "no owner was given"};
        return credutl_sid_eq(&*owner.user, &who.sids().user) ? verdict{true, "the client owns the object"}
                                                              : verdict{false, "the client is not the owner"};
    case TBS_ACL_ID_OWNER_GROUP:
        if (!owner.group) return {false, "no owning group was given"};
        return credutl_has_group_whole(who.whole(), &*owner.group)
                   ? verdict{true, "the client is in the owning group"}
                   : verdict{false, "the client is not in the owning group"};
    case TBS_ACL_ID_ROLE: return {false, "a role grants nothing by itself"};
    case TBS_ACL_ID_DOMAIN: return {false, "a domain grants nothing in the SID form"};
    default: return {false, "an unknown kind never applies"};
    }
}

// Adds steps up and tells when the request is covered.
class teller {
public:
    explicit teller(tbs_acl_permission_set_t requested) : requested_(requested) { told_.missing = requested; }

    // True when the request is covered. An entry that does not apply changes nothing.
    bool tell(size_t position, std::string identity, const verdict &why, tbs_acl_permission_set_t perms) {
        const tbs_acl_permission_set_t before = told_.allowed;
        if (why.applies) {
            told_.granted = tbs_acl_add_and_check_perms(requested_, perms, &told_.allowed) != 0;
            told_.missing = requested_ & ~told_.allowed;
        }
        told_.steps.push_back(
            {position, std::move(identity), why.applies, why.reason, told_.allowed & ~before, told_.missing});
        return why.applies && told_.granted;
    }
    explanation take() { return std::move(told_); }

private:
    tbs_acl_permission_set_t requested_;
    explanation told_;
};

// The look-ups of the classic check, over the entries with their SIDs.
class lookup {
public:
    lookup(const acl_list &acl, teller &told) : acl_(acl), told_(told) {}

    bool kind(tbs_acl_id_kind_t kind, const char *reason) {
        return first(std::string(tbs_acl_utl_id_kind_to_str(kind)) + ':', reason,
                     [&](const tbs_sid_acl_id_t &id) { return id.kind == kind; });
    }
    bool domain(const std::string &domain) {
        return first("Domain:" + domain, "the client's domain", [&](const tbs_sid_acl_id_t &id) {
            return id.kind == TBS_ACL_ID_DOMAIN && id.domain && strutl_stricoll(id.domain, domain.c_str()) == 0;
        });
    }
    bool account(tbs_acl_id_kind_t kind, const std::string &name, const credutl_sid_t &sid, const char *reason) {
        return first(std::string(tbs_acl_utl_id_kind_to_str(kind)) + ':' + name, reason,
                     [&](const tbs_sid_acl_id_t &id) { return id.kind == kind && credutl_sid_eq(&id.sid, &sid); });
    }

private:
    template <class Match> bool first(const std::string &sought, const char *reason, Match &&match) {
        const tbs_acl_cooked_info_t *cooked = acl_.classic()->cooked;
        for (uint32_t i = 0; cooked && i < cooked->count; i++) {
            const tbs_acl_cooked_ent_t &entry = cooked->entries[i];
            if (match(entry.id)) return told_.tell(i + 1, acl_.entries()[i].identity, {true, reason}, entry.perms);
        }
        return told_.tell(0, sought, {false, "no such entry"}, 0);
    }

    const acl_list &acl_;
    teller &told_;
};

void look_up_in_order(lookup &find, const requester &who, bool is_owner_user, bool is_owner_group) {
    if (find.kind(TBS_ACL_ID_EVERYONE, "applies to everyone")) return;
    if (is_owner_user && find.kind(TBS_ACL_ID_OWNER_USER, "the client owns the object")) return;
    if (is_owner_group && find.kind(TBS_ACL_ID_OWNER_GROUP, "the client is in the owning group")) return;
    if (find.domain(who.domain())) return;
    const credutl_sid_credentials_t &sids = who.sids();
    if (find.account(TBS_ACL_ID_USER, who.user(), sids.user, "the client is this user")) return;
    if (find.account(TBS_ACL_ID_GROUP, who.primary_group(), sids.group, "the client's primary group")) return;
    const std::vector<std::string> names = who.groups();
    for (uint32_t i = 0; i < sids.group_count; i++) {
        if (find.account(TBS_ACL_ID_GROUP, names[i], sids.groups[i], "one of the client's groups")) return;
    }
}

} // namespace

explanation explain_by_sid(const acl_list &acl, tbs_acl_permission_set_t requested, const requester &who,
                           const ownership &owner) {
    teller told(requested);
    uint32_t cursor = 0;
    while (const tbs_acl_cooked_ent_t *entry = tbs_sid_acl_next_entry(acl.by_sid(), &cursor)) {
        if (told.tell(cursor, acl.entries()[cursor - 1].identity, judge(entry->id, who, owner), entry->perms)) break;
    }
    return told.take();
}

explanation explain_classic(const acl_list &acl, tbs_acl_permission_set_t requested, const requester &who,
                            bool is_owner_user, bool is_owner_group) {
    teller told(requested);
    lookup find(acl, told);
    look_up_in_order(find, who, is_owner_user, is_owner_group);
    return told.take();
}

} // namespace tool
