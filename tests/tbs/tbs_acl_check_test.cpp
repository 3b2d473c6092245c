// The permission checks.

#include "acl_check_support.hpp"

#include <random>

using namespace acl_test;

namespace {

class AclCheck : public testing::Test {
protected:
    static sid_person sid_fred() { return {"CORP", sid(fred), sid(staff), {sid(builders), sid(testers)}}; }
    static named_person named_fred() {
        return {"CORP", "CORP\\fred", "CORP\\staff", {"CORP\\builders", "CORP\\testers"}};
    }

    accounts known_;
    recorder seen_;
};

// ---- adding and checking ------------------------------------------------------------------------------------------

TEST(TbsAclAddAndCheckPerms, AddsAndTellsWhetherTheRequestIsCovered) {
    const struct {
        tbs_acl_permission_set_t requested, add, before, after;
        tbs_boolean_t covered;
    } cases[] = {
        {0, 0, 0, 0, 1},
        {1, 0, 0, 0, 0},
        {1, 1, 0, 1, 1},
        {3, 1, 0, 1, 0},
        {3, 1, 2, 3, 1},
        {3, 4, 3, 7, 1},
        {0, 5, 2, 7, 1},
        {0xFFFFFFFF, 0xF0F0F0F0, 0x0F0F0F0F, 0xFFFFFFFF, 1},
        {0x80000000, 0x7FFFFFFF, 0, 0x7FFFFFFF, 0},
    };
    for (const auto &row : cases) {
        tbs_acl_permission_set_t allowed = row.before;
        EXPECT_EQ(tbs_acl_add_and_check_perms(row.requested, row.add, &allowed), row.covered);
        EXPECT_EQ(allowed, row.after);
    }
    EXPECT_EQ(tbs_acl_add_and_check_perms(0, 1, nullptr), 0);
}

// ---- classic, both forms of credentials ---------------------------------------------------------------------------

class TbsAclCheckPermission : public AclCheck {
protected:
    client_ptr by_sid_ = sid_fred().client();
    client_ptr by_name_ = named_fred().client();
    classic_ptr acl_ = make_classic();

    // The same answer for both forms of credentials.
    void expect_both(decision expected, tbs_acl_permission_set_t requested, tbs_boolean_t owner_user = 0,
                     tbs_boolean_t owner_group = 0) {
        EXPECT_EQ(check(acl_, requested, by_sid_, owner_user, owner_group), expected) << "by SID";
        EXPECT_EQ(check(acl_, requested, by_name_, owner_user, owner_group), expected) << "by name";
        EXPECT_EQ(seen_.take(), lines{});
    }
};

TEST_F(TbsAclCheckPermission, GrantsByEachKindOfEntry) {
    const struct {
        tbs_acl_id_kind_t kind;
        const char *domain, *name;
    } cases[] = {{TBS_ACL_ID_EVERYONE, nullptr, nullptr}, {TBS_ACL_ID_DOMAIN, "corp", nullptr},
                 {TBS_ACL_ID_USER, "corp", "FRED"},       {TBS_ACL_ID_GROUP, "CORP", "staff"},
                 {TBS_ACL_ID_GROUP, "Corp", "Builders"},  {TBS_ACL_ID_GROUP, "CORP", "testers"}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.name ? row.name : tbs_acl_utl_id_kind_to_str(row.kind));
        acl_ = make_classic();
        ASSERT_EQ(set(acl_, row.kind, row.domain, row.name, 0x6), 0);
        expect_both(granted, 0x2);
        expect_both(granted, 0x6);
        expect_both(denied, 0x7);
        expect_both(denied, 0x1);
    }
}

TEST_F(TbsAclCheckPermission, GrantsOwnersOnlyWhenFlagged) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_USER, nullptr, nullptr, 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_GROUP, nullptr, nullptr, 2), 0);
    expect_both(denied, 1, 0, 0);
    expect_both(denied, 1, 0, 1);
    expect_both(granted, 1, 1, 0);
    expect_both(denied, 2, 1, 0);
    expect_both(granted, 2, 0, 1);
    expect_both(denied, 3, 1, 0);
    expect_both(granted, 3, 1, 1);
}

TEST_F(TbsAclCheckPermission, NeverGrantsToOthers) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "wilma", 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "TITANIUM", "fred", 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "staff", 1), 0); // a group's name
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "fred", 1), 0); // a user's name
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "Domain Users", 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_DOMAIN, "TITANIUM", nullptr, 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_DOMAIN, "CORP\\fred", nullptr, 1), 0);
    expect_both(denied, 1, 1, 1);
}

TEST_F(TbsAclCheckPermission, NeverGrantsByRole) {
    for (const char *name : {"fred", "CORP\\fred", "staff", "CORP", "Everyone"}) {
        ASSERT_EQ(set(acl_, TBS_ACL_ID_ROLE, nullptr, name, 1), 0);
    }
    expect_both(denied, 1, 1, 1);
}

TEST_F(TbsAclCheckPermission, AccumulatesOverEntries) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_EVERYONE, nullptr, nullptr, TBS_ACL_PERM_ACL_READ), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "fred", TBS_ACL_PERM_DELETE), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "testers", 1), 0);
    expect_both(granted, TBS_ACL_PERM_ACL_READ | TBS_ACL_PERM_DELETE);
    expect_both(granted, TBS_ACL_PERM_ACL_READ | TBS_ACL_PERM_DELETE | 1);
    expect_both(denied, TBS_ACL_PERM_ACL_READ | TBS_ACL_PERM_DELETE | 3);
}

TEST_F(TbsAclCheckPermission, GrantsAnEmptyRequestAtOnce) {
    expect_both(granted, 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "wilma", 1), 0);
    expect_both(granted, 0);
}

TEST_F(TbsAclCheckPermission, DeniesByAnEmptyAcl) { expect_both(denied, 1, 1, 1); }

TEST_F(TbsAclCheckPermission, NeverGrantsBitsThatNoEntryStores) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 0xFFFFFFFF), 0);
    expect_both(granted, TBS_ACL_STORED_PERMS);
    expect_both(denied, TBS_ACL_PERM_RESERVED);
    expect_both(denied, TBS_ACL_PERM_READ);
}

TEST_F(TbsAclCheckPermission, LooksIdentitiesUpInAFixedOrder) {
    // Set in another order than the one that is looked up.
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "testers", 0x80), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "builders", 0x40), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "staff", 0x20), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "fred", 0x10), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_DOMAIN, "CORP", nullptr, 0x08), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_GROUP, nullptr, nullptr, 0x04), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_USER, nullptr, nullptr, 0x02), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 0x01), 0);
    const tracing on(3, "tbs_acl:3");
    for (const client_ptr *client : {&by_sid_, &by_name_}) {
        for (unsigned bit = 0; bit < 8; bit++) {
            EXPECT_EQ(check(acl_, 1u << bit, *client, 1, 1), granted);
            EXPECT_EQ(traced_allowed(seen_.take()), (2u << bit) - 1);
        }
        EXPECT_EQ(check(acl_, 0, *client, 1, 1), granted);
        EXPECT_EQ(traced_allowed(seen_.take()), 0x01u);
        EXPECT_EQ(check(acl_, 0x100, *client, 1, 1), denied);
        EXPECT_EQ(traced_allowed(seen_.take()), 0xFFu);
        EXPECT_EQ(check(acl_, 0x100, *client, 0, 0), denied);
        EXPECT_EQ(traced_allowed(seen_.take()), 0xF9u);
    }
}

TEST_F(TbsAclCheckPermission, MatchesTheDomainOfTheClientNotOfItsAccount) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_DOMAIN, "TITANIUM", nullptr, 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_DOMAIN, "CORP", nullptr, 2), 0);
    sid_person who = sid_fred();
    named_person named = named_fred();
    who.domain = named.domain = "titanium";
    by_sid_ = who.client();
    by_name_ = named.client();
    expect_both(granted, 1);
    expect_both(denied, 2);
    who.domain = named.domain = std::nullopt;
    by_sid_ = who.client();
    by_name_ = named.client();
    expect_both(denied, 1);
    expect_both(denied, 2);
}

TEST_F(TbsAclCheckPermission, MatchesUnresolvedNamesByNameOnly) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "ghost", 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "ghosts", 2), 0);
    const client_ptr ghost = named_person{"CORP", "corp\\GHOST", "CORP\\none", {"CORP/ghosts"}}.client();
    EXPECT_EQ(check(acl_, 1, ghost), granted);
    EXPECT_EQ(check(acl_, 3, ghost), granted);
    for (const credutl_sid_t &user : {CREDUTL_SID_NOBODY, credutl_sid_t{}, sid(stranger)}) {
        const client_ptr unknown = sid_person{"CORP", user, user, {user, CREDUTL_SID_NOBODY}}.client();
        EXPECT_EQ(check(acl_, 1, unknown), denied);
        EXPECT_EQ(check(acl_, 2, unknown), denied);
    }
}

TEST_F(TbsAclCheckPermission, SplitsNamesOfCredentialsAtTheFirstSeparator) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "a\\b", 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "a/b", 2), 0);
    const auto of = [](const char *user) { return named_person{std::nullopt, user, "", {}}.client(); };
    EXPECT_EQ(check(acl_, 1, of("CORP\\a\\b")), granted);
    EXPECT_EQ(check(acl_, 1, of("CORP/a\\b")), granted);
    EXPECT_EQ(check(acl_, 2, of("CORP\\a\\b")), denied);
    EXPECT_EQ(check(acl_, 3, of("CORP")), denied);
    EXPECT_EQ(check(acl_, 3, of("")), denied);
    EXPECT_EQ(check(acl_, 1, of("a\\b")), denied);
}

TEST_F(TbsAclCheckPermission, NeverMatchesACutName) {
    const std::string longest(256, 'n'), longer(257, 'n');
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", longest.c_str(), 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, longest.c_str(), "g", 2), 0);
    const auto of = [](const std::string &user, const std::string &group) {
        return named_person{std::nullopt, user, group, {}}.client();
    };
    EXPECT_EQ(check(acl_, 3, of("CORP\\" + longest, longest + "\\g")), granted);
    EXPECT_EQ(check(acl_, 1, of("CORP\\" + longer, "")).granted, 0);
    EXPECT_EQ(check(acl_, 2, of("", longer + "\\g")).granted, 0);
}

TEST_F(TbsAclCheckPermission, FindsTheFirstEntryOfASid) {
    // "." is the host's own domain: two names, one account.
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, ".", "root", 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, credutl_local_domain(), "root", 2), 0);
    const client_ptr root = sid_person{std::nullopt, sid("S-1-22-1-0"), sid("S-1-22-2-0"), {}}.client();
    EXPECT_EQ(check(acl_, 1, root), granted);
    EXPECT_EQ(check(acl_, 2, root), denied);
    const client_ptr named =
        named_person{std::nullopt, std::string(credutl_local_domain()) + "\\root", "", {}}.client();
    EXPECT_EQ(check(acl_, 2, named), granted);
    EXPECT_EQ(check(acl_, 1, named), denied);
}

TEST_F(TbsAclCheckPermission, RefusesNull) {
    tbs_boolean_t result = 1;
    EXPECT_EQ(tbs_acl_check_permission(nullptr, 0, by_sid_.get(), 0, 0, &result), TBS_ST_EINVAL);
    EXPECT_EQ(result, 0);
    result = 1;
    EXPECT_EQ(tbs_acl_check_permission(acl_.get(), 0, nullptr, 0, 0, &result), TBS_ST_EINVAL);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(tbs_acl_check_permission(acl_.get(), 0, by_sid_.get(), 0, 0, nullptr), TBS_ST_EINVAL);
}

// ---- the cooked list ----------------------------------------------------------------------------------------------

class AclCookedList : public AclCheck {
protected:
    AclCookedList() {
        EXPECT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "staff", 0x01), 0);
        EXPECT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "ghost", 0x02), 0);
        EXPECT_EQ(set(acl_, TBS_ACL_ID_DOMAIN, "CORP", nullptr, 0x04), 0);
        EXPECT_EQ(set(acl_, TBS_ACL_ID_ROLE, nullptr, "dev", 0x08), 0);
        EXPECT_EQ(set(acl_, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 0x10), 0);
        EXPECT_EQ(set(acl_, TBS_ACL_ID_OWNER_USER, nullptr, nullptr, 0x20), 0);
        EXPECT_EQ(set(acl_, TBS_ACL_ID_OWNER_GROUP, nullptr, nullptr, 0x40), 0);
        EXPECT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "fred", 0x80), 0);
        EXPECT_EQ(set(acl_, TBS_ACL_ID_GROUP, "CORP", "ghosts", 0x100), 0);
    }
    // Entries as "kind sid domain name perms".
    static lines shown(const tbs_acl_cooked_info_t *cooked) {
        lines all;
        for (uint32_t i = 0; i < cooked->count; i++) {
            const tbs_acl_cooked_ent_t &entry = cooked->entries[i];
            char text[CREDUTL_SID_STR_SIZE];
            EXPECT_EQ(credutl_sid_to_str(&entry.id.sid, text, sizeof text), 0);
            all.push_back(std::to_string(entry.id.kind) + ' ' + text + ' ' +
                          (entry.id.domain ? entry.id.domain : "") + ' ' + (entry.id.name ? entry.id.name : "") +
                          ' ' + std::to_string(entry.perms));
        }
        return all;
    }

    const lines expected_ = {"2 " + sid_text(staff) + "   1",
                             "0 S-1-0-0   2",
                             "3 S-1-0-0 CORP  4",
                             "7 S-1-0-0  dev 8",
                             "4 S-1-0-0   16",
                             "5 S-1-0-0   32",
                             "6 S-1-0-0   64",
                             "1 " + sid_text(fred) + "   128",
                             "0 S-1-0-0   256"};
    classic_ptr acl_ = make_classic();
    client_ptr client_ = sid_fred().client();
};

TEST_F(AclCookedList, IsMadeByTheFirstCheckBySid) {
    EXPECT_EQ(acl_->cooked, nullptr);
    EXPECT_EQ(check(acl_, 1, named_fred().client()), granted);
    EXPECT_EQ(acl_->cooked, nullptr);
    EXPECT_EQ(check(acl_, 0x80, client_), granted);
    ASSERT_NE(acl_->cooked, nullptr);
    EXPECT_EQ(shown(acl_->cooked), expected_);
    EXPECT_NE(acl_->cooked->entries[2].id.domain, acl_->entries[2].id.domain); // copies
    EXPECT_NE(acl_->cooked->entries[3].id.name, acl_->entries[3].id.name);
}

TEST_F(AclCookedList, IsKeptForLaterChecks) {
    ASSERT_EQ(check(acl_, 0x80, client_), granted);
    const tbs_acl_cooked_info_t *cooked = acl_->cooked;
    known_.use("CORP\\fred user " + sid_text(stranger) + "\n"); // another SID by now
    EXPECT_EQ(check(acl_, 0x80, client_), granted);
    EXPECT_EQ(acl_->cooked, cooked);
    EXPECT_EQ(set(acl_, TBS_ACL_ID_ROLE, nullptr, "other", 1), 0);
    EXPECT_EQ(acl_->cooked, nullptr);
    EXPECT_EQ(check(acl_, 0x80, client_), denied);
}

TEST_F(AclCookedList, IsMadeEvenWhenEveryoneIsGranted) {
    ASSERT_EQ(check(acl_, 0, client_), granted);
    EXPECT_NE(acl_->cooked, nullptr);
}

TEST_F(AclCookedList, IsDroppedByEveryChange) {
    const auto cook = [&] {
        EXPECT_EQ(check(acl_, 0, client_), granted);
        return acl_->cooked != nullptr;
    };
    ASSERT_TRUE(cook());
    EXPECT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "fred", 0x80), 0); // the same again
    EXPECT_EQ(acl_->cooked, nullptr);
    ASSERT_TRUE(cook());
    EXPECT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "fred", 0), TBS_ST_EINVAL); // dropped before it fails
    EXPECT_EQ(acl_->cooked, nullptr);
    ASSERT_TRUE(cook());
    EXPECT_EQ(set(acl_, TBS_ACL_ID_USER, "CORP", "", 1), TBS_ST_ERROR); // fails before
    EXPECT_NE(acl_->cooked, nullptr);
    const tbs_acl_id_t absent = classic_id(TBS_ACL_ID_USER, "CORP", "wilma");
    EXPECT_EQ(tbs_acl_remove_entry(acl_.get(), &absent), TBS_ST_NOT_FOUND);
    EXPECT_NE(acl_->cooked, nullptr);
    const tbs_acl_id_t present = classic_id(TBS_ACL_ID_USER, "CORP", "fred");
    EXPECT_EQ(tbs_acl_remove_entry(acl_.get(), &present), 0);
    EXPECT_EQ(acl_->cooked, nullptr);
    EXPECT_EQ(check(acl_, 0x80, client_), denied);
}

TEST_F(AclCookedList, IsCarriedByACopy) {
    tbs_acl_h_t plain_copy = nullptr, cooked_copy = nullptr;
    ASSERT_EQ(tbs_acl_copy(acl_.get(), &plain_copy), 0);
    const classic_ptr plain_owner(plain_copy);
    EXPECT_EQ(plain_copy->cooked, nullptr);
    ASSERT_EQ(check(acl_, 0x80, client_), granted);
    ASSERT_EQ(tbs_acl_copy(acl_.get(), &cooked_copy), 0);
    const classic_ptr owner(cooked_copy);
    ASSERT_NE(owner->cooked, nullptr);
    EXPECT_NE(owner->cooked, acl_->cooked);
    EXPECT_EQ(shown(owner->cooked), expected_);
    known_.use("");
    acl_.reset();
    EXPECT_EQ(check(owner, 0x80, client_), granted);
    EXPECT_EQ(check(plain_owner, 0x80, client_), denied);
}

TEST_F(AclCookedList, TracesNamesThatItCannotResolve) {
    const tracing on(1, "tbs_acl:1");
    EXPECT_EQ(check(acl_, 0x200, client_), denied);
    const lines expected{"8 Unable to convert \"CORP\",\"ghost\" to user SID.\n",
                         "8 Unable to convert \"CORP\",\"ghosts\" to group SID.\n"};
    EXPECT_EQ(seen_.take(), expected);
    EXPECT_EQ(check(acl_, 0x200, client_), denied);
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(AclCookedList, HoldsKindZeroForAnUnknownKind) {
    acl_->entries[4].id.kind = 77; // "Everyone" no more
    EXPECT_EQ(check(acl_, 0x10, client_), denied);
    ASSERT_NE(acl_->cooked, nullptr);
    EXPECT_EQ(shown(acl_->cooked)[4], "0 S-1-0-0   16");
    acl_->entries[4].id.kind = TBS_ACL_ID_EVERYONE;
}

// ---- SID ----------------------------------------------------------------------------------------------------------

class TbsSidAclCheckPermission : public AclCheck {
protected:
    sid_person who_ = sid_fred();
    whole_ptr whole_ = who_.whole();
    client_ptr by_sid_ = who_.client();
    client_ptr by_name_ = named_fred().client();
    sid_ptr acl_ = make_sid();

    // The same answer for whole credentials and for clients of either form.
    void expect_all(decision expected, tbs_acl_permission_set_t requested, const credutl_sid_t *owner_user = nullptr,
                    const credutl_sid_t *owner_group = nullptr) {
        EXPECT_EQ(check(acl_, requested, whole_, owner_user, owner_group), expected) << "whole";
        EXPECT_EQ(check(acl_, requested, by_sid_, owner_user, owner_group), expected) << "by SID";
        EXPECT_EQ(check(acl_, requested, by_name_, owner_user, owner_group), expected) << "by name";
        EXPECT_EQ(seen_.take(), lines{});
    }
};

TEST_F(TbsSidAclCheckPermission, GrantsByEachKindOfEntry) {
    const tbs_sid_acl_id_t cases[] = {sid_id(TBS_ACL_ID_EVERYONE), sid_id(TBS_ACL_ID_USER, sid(fred)),
                                      sid_id(TBS_ACL_ID_GROUP, sid(staff)), sid_id(TBS_ACL_ID_GROUP, sid(builders)),
                                      sid_id(TBS_ACL_ID_GROUP, sid(testers))};
    for (const tbs_sid_acl_id_t &id : cases) {
        acl_ = make_sid();
        ASSERT_EQ(tbs_sid_acl_set_entry(acl_.get(), id, 0x6), 0);
        expect_all(granted, 0x2);
        expect_all(granted, 0x6);
        expect_all(denied, 0x1);
        expect_all(denied, 0x7);
    }
}

TEST_F(TbsSidAclCheckPermission, GrantsOwnersByTheGivenSids) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_USER, CREDUTL_SID_NOBODY, 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_GROUP, CREDUTL_SID_NOBODY, 2), 0);
    const credutl_sid_t me = sid(fred), other = sid(wilma), primary = sid(staff), second = sid(testers),
                        foreign = sid(domain_users);
    expect_all(denied, 1);
    expect_all(denied, 2);
    expect_all(granted, 1, &me);
    expect_all(denied, 2, &me);
    expect_all(denied, 1, &other);
    expect_all(granted, 2, nullptr, &primary);
    expect_all(granted, 2, nullptr, &second);
    expect_all(denied, 2, nullptr, &foreign);
    expect_all(denied, 3, &me, &foreign);
    expect_all(granted, 3, &me, &primary);
    expect_all(denied, 1, &primary, nullptr); // a group's SID owns nothing as user
    expect_all(denied, 2, nullptr, &me);
    expect_all(denied, 3, &CREDUTL_SID_NOBODY, &CREDUTL_SID_NOBODY);
}

TEST_F(TbsSidAclCheckPermission, KeepsUsersAndGroupsApart) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, sid(staff), 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, sid(fred), 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, sid(wilma), 1), 0);
    expect_all(denied, 1);
}

TEST_F(TbsSidAclCheckPermission, NeverGrantsByDomainOrRole) {
    const tbs_sid_acl_id_t domain = sid_id(TBS_ACL_ID_DOMAIN, CREDUTL_SID_NOBODY, "CORP");
    ASSERT_EQ(tbs_sid_acl_set_entry(acl_.get(), domain, 1), 0);
    ASSERT_EQ(set_role(acl_, "fred", 1), 0);
    const credutl_sid_t me = sid(fred), mine = sid(staff);
    expect_all(denied, 1, &me, &mine);
    expect_all(denied, 0, &me, &mine);
}

TEST_F(TbsSidAclCheckPermission, GrantsAnEmptyRequestByTheFirstEntryThatApplies) {
    expect_all(denied, 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, sid(wilma), 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_USER, CREDUTL_SID_NOBODY, 2), 0);
    expect_all(denied, 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, sid(testers), 4), 0);
    expect_all(granted, 0);
    const tracing on(3, "tbs_acl:3");
    EXPECT_EQ(check(acl_, 0, whole_), granted);
    EXPECT_EQ(traced_allowed(seen_.take()), 4u);
}

TEST_F(TbsSidAclCheckPermission, AccumulatesInStoredOrder) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, sid(testers), 0x01), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, sid(wilma), 0x100), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, sid(fred), 0x02), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 0x04), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_GROUP, CREDUTL_SID_NOBODY, 0x08), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_GROUP, sid(staff), 0x10), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_OWNER_USER, CREDUTL_SID_NOBODY, 0x20), 0);
    const credutl_sid_t me = sid(fred), mine = sid(builders);
    const tracing on(3, "tbs_acl:3");
    for (unsigned bit = 0; bit < 6; bit++) {
        EXPECT_EQ(check(acl_, 1u << bit, whole_, &me, &mine), granted);
        EXPECT_EQ(traced_allowed(seen_.take()), (2u << bit) - 1);
    }
    EXPECT_EQ(check(acl_, 0x100, whole_, &me, &mine), denied);
    EXPECT_EQ(traced_allowed(seen_.take()), 0x3Fu);
    EXPECT_EQ(check(acl_, 0x100, whole_), denied);
    EXPECT_EQ(traced_allowed(seen_.take()), 0x17u);
}

TEST_F(TbsSidAclCheckPermission, NeedsKnownAccountsForStringCredentials) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
    EXPECT_EQ(check(acl_, 1, named_person{"CORP", "CORP\\ghost", "CORP\\staff", {}}.client()),
              (decision{TBS_ST_ENOENT, 0}));
    EXPECT_EQ(check(acl_, 1, named_person{"CORP", "CORP\\fred", "CORP\\ghosts", {}}.client()),
              (decision{TBS_ST_ENOENT, 0}));
    EXPECT_EQ(check(acl_, 1, named_person{"CORP", "CORP\\fred", "", {"CORP\\ghosts"}}.client()), granted);
    EXPECT_EQ(check(acl_, 1, named_person{"CORP", "CORP\\fred", "", {}}.client()), granted);
}

TEST_F(TbsSidAclCheckPermission, HeedsPermissionsChangedInPlace) {
    for (unsigned i = 0; i < 50; i++) ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, sid(first_user_rid + i), 1), 0);
    ASSERT_EQ(set(acl_, TBS_ACL_ID_USER, sid(fred), 1), 0);
    expect_all(granted, 1);
    const tbs_sid_acl_id_t id = sid_id(TBS_ACL_ID_USER, sid(fred));
    tbs_sid_acl_find_entry(acl_.get(), &id)->perms = 2;
    expect_all(denied, 1);
    expect_all(granted, 2);
}

TEST_F(TbsSidAclCheckPermission, RefusesNull) {
    ASSERT_EQ(set(acl_, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
    tbs_boolean_t result = 1;
    EXPECT_EQ(tbs_sid_acl_check_permission(nullptr, 1, by_sid_.get(), nullptr, nullptr, &result), TBS_ST_EINVAL);
    EXPECT_EQ(result, 0);
    result = 1;
    EXPECT_EQ(tbs_sid_acl_check_permission(acl_.get(), 1, nullptr, nullptr, nullptr, &result), TBS_ST_EINVAL);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(tbs_sid_acl_check_permission(acl_.get(), 1, by_sid_.get(), nullptr, nullptr, nullptr), TBS_ST_EINVAL);
    result = 1;
    EXPECT_EQ(tbs_sid_acl_check_permission_creds(nullptr, 1, whole_.get(), nullptr, nullptr, &result), TBS_ST_EINVAL);
    EXPECT_EQ(result, 0);
    result = 1;
    EXPECT_EQ(tbs_sid_acl_check_permission_creds(acl_.get(), 1, nullptr, nullptr, nullptr, &result), TBS_ST_EINVAL);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(tbs_sid_acl_check_permission_creds(acl_.get(), 1, whole_.get(), nullptr, nullptr, nullptr),
              TBS_ST_EINVAL);
}

// ---- traces -------------------------------------------------------------------------------------------------------

class AclCheckTrace : public AclCheck {
protected:
    AclCheckTrace() {
        EXPECT_EQ(set(classic_, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 0x00020001), 0);
        EXPECT_EQ(set(by_sid_, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 0x00020001), 0);
    }
    // The lines of a check: the verdict, and what follows it for a denied or fully traced one.
    static lines verdict_line(bool is_granted) {
        return {is_granted ? "8 ACL permission is granted.\n" : "8 ACL permission is NOT granted.\n"};
    }
    static lines masks(const char *missing, const char *requested, const char *allowed) {
        return {std::string("8 Missing:   ") + missing + ".\n", std::string("8 Requested: ") + requested + ".\n",
                std::string("8 Allowed:   ") + allowed + ".\n"};
    }
    static lines client_line(const std::string &domain, const std::string &user, const std::string &group,
                             const lines &groups) {
        lines all{"8 Client: " + domain + ' ' + user + ',' + group};
        for (const std::string &name : groups) all.push_back("9 ," + name);
        all.emplace_back("9 cmsg[1] \n");
        return all;
    }
    static lines fred_line(const std::string &domain) {
        return client_line(domain, "CORP\\fred", "CORP\\staff", {"CORP\\builders", "CORP\\testers"});
    }
    static lines joined(std::initializer_list<lines> parts) {
        lines all;
        for (const lines &part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    }

    classic_ptr classic_ = make_classic();
    sid_ptr by_sid_ = make_sid();
    sid_person who_ = sid_fred();
};

TEST_F(AclCheckTrace, IsSilentBelowLevelTwo) {
    const struct {
        int verbosity;
        const char *modules;
    } cases[] = {{0, "tbs_acl:3"}, {1, "tbs_acl:3"}, {3, "tbs_acl:1"}, {3, ""}, {3, "tbs:3"}};
    for (const auto &row : cases) {
        const tracing on(row.verbosity, row.modules);
        check(classic_, 2, who_.client());
        check(classic_, 2, named_fred().client());
        check(by_sid_, 2, who_.whole());
        EXPECT_EQ(seen_.take(), lines{});
    }
}

TEST_F(AclCheckTrace, SaysJustThatAccessIsGranted) {
    for (const auto &[verbosity, modules] :
         {std::pair(2, "tbs_acl:2"), std::pair(2, "tbs_acl:3"), std::pair(3, "tbs_acl:2")}) {
        const tracing on(verbosity, modules);
        EXPECT_EQ(check(classic_, 1, who_.client()), granted);
        EXPECT_EQ(seen_.take(), verdict_line(true));
        EXPECT_EQ(check(classic_, 1, named_fred().client()), granted);
        EXPECT_EQ(seen_.take(), verdict_line(true));
        EXPECT_EQ(check(by_sid_, 1, who_.client()), granted);
        EXPECT_EQ(seen_.take(), verdict_line(true));
        EXPECT_EQ(check(by_sid_, 1, who_.whole()), granted);
        EXPECT_EQ(seen_.take(), verdict_line(true));
    }
}

TEST_F(AclCheckTrace, TellsWhyAccessIsDenied) {
    const tracing on(2, "tbs_acl:2");
    const lines why = joined({verdict_line(false), masks("0x00010002", "0x00010003", "0x00020001")});
    EXPECT_EQ(check(classic_, 0x00010003, who_.client()), denied);
    EXPECT_EQ(seen_.take(), joined({why, fred_line("CORP")}));
    EXPECT_EQ(check(classic_, 0x00010003, named_fred().client()), denied);
    EXPECT_EQ(seen_.take(), joined({why, fred_line("CORP")}));
    EXPECT_EQ(check(by_sid_, 0x00010003, who_.whole()), denied);
    EXPECT_EQ(seen_.take(), joined({why, fred_line("<<no domain>>")}));
    EXPECT_EQ(check(by_sid_, 0x00010003, who_.client()), denied);
    EXPECT_EQ(seen_.take(), joined({why, fred_line("<<no domain>>")}));
    EXPECT_EQ(check(by_sid_, 0x00010003, named_fred().client()), denied);
    EXPECT_EQ(seen_.take(), joined({why, fred_line("<<no domain>>")}));
}

TEST_F(AclCheckTrace, TellsAllAtLevelThree) {
    const tracing on(3, "tbs_acl:3");
    const lines all = joined({verdict_line(true), masks("0x00000000", "0x00000001", "0x00020001")});
    EXPECT_EQ(check(classic_, 1, who_.client()), granted);
    EXPECT_EQ(seen_.take(), joined({all, fred_line("CORP")}));
    EXPECT_EQ(check(classic_, 1, named_fred().client()), granted);
    EXPECT_EQ(seen_.take(), joined({all, fred_line("CORP")}));
    EXPECT_EQ(check(by_sid_, 1, who_.whole()), granted);
    EXPECT_EQ(seen_.take(), joined({all, fred_line("<<no domain>>")}));
}

TEST_F(AclCheckTrace, SaysWhenThereIsNoDomain) {
    const tracing on(2, "tbs_acl:2");
    who_.domain = std::nullopt;
    check(classic_, 2, who_.client());
    EXPECT_EQ(seen_.take()[4], "8 Client: <<no domain>> CORP\\fred,CORP\\staff");
    who_.domain = "";
    check(classic_, 2, who_.client());
    EXPECT_EQ(seen_.take()[4], "8 Client: <<no domain>> CORP\\fred,CORP\\staff");
    named_person named = named_fred();
    named.domain = std::nullopt;
    check(classic_, 2, named.client());
    EXPECT_EQ(seen_.take()[4], "8 Client: <<no domain>> CORP\\fred,CORP\\staff");
}

TEST_F(AclCheckTrace, ShowsUnknownAccountsByTheirSid) {
    const tracing on(2, "tbs_acl:2");
    who_ = {"CORP", sid(stranger), sid(staff), {sid(stranger)}};
    const lines expected = client_line("<<no domain>>", sid_text(stranger), "CORP\\staff", {sid_text(stranger)});
    check(by_sid_, 2, who_.whole());
    const lines printed = seen_.take();
    EXPECT_EQ(lines(printed.begin() + 4, printed.end()), expected);
}

TEST_F(AclCheckTrace, ShowsStringCredentialsAsTheyAre) {
    const tracing on(2, "tbs_acl:2");
    check(classic_, 2, named_person{"dom\n", "a/b%s", "x\x1b[0m", {"", "?"}}.client());
    const lines printed = seen_.take();
    ASSERT_EQ(printed.size(), 8u);
    EXPECT_EQ(printed[4], "8 Client: dom^J a/b%s,x^[[0m");
    EXPECT_EQ(printed[5], "9 ,");
    EXPECT_EQ(printed[6], "9 ,?");
    EXPECT_EQ(printed[7], "9 cmsg[1] \n");
}

TEST_F(AclCheckTrace, DoesNotChangeTheDecision) {
    const auto decide = [&] {
        return std::vector{check(classic_, 1, who_.client()), check(classic_, 2, who_.client()),
                           check(by_sid_, 1, who_.whole()), check(by_sid_, 2, who_.whole())};
    };
    const auto silent = decide();
    const tracing on(3, "*:3");
    EXPECT_EQ(decide(), silent);
}

// ---- any ACL, any client ------------------------------------------------------------------------------------------

class AclCheckAgainstTheRules : public AclCheck {
protected:
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    bool one_in(unsigned n) { return below(n) == 0; }

    // Sparse sets, so that requests need several entries.
    tbs_acl_permission_set_t some_perms() {
        const tbs_acl_permission_set_t perms = 1u << below(8) | (one_in(3) ? 1u << below(8) : 0);
        return one_in(20) ? perms | 0xFF : perms;
    }
    tbs_acl_permission_set_t some_request() {
        switch (below(6)) {
        case 0: return 0;
        case 1: return 0xFF;
        case 2: return 1u << below(9);
        default: return some_perms() | some_perms();
        }
    }
    credutl_sid_t some_user() {
        if (one_in(12)) return CREDUTL_SID_NOBODY;
        return one_in(12) ? sid(stranger) : sid(first_user_rid + below(numbered_accounts));
    }
    credutl_sid_t some_group() {
        if (one_in(12)) return CREDUTL_SID_NOBODY;
        return one_in(12) ? sid(stranger) : sid(first_group_rid + below(numbered_accounts));
    }
    std::optional<std::string> some_domain() {
        const std::optional<std::string> all[] = {"CORP", "corp", "OTHER", "", std::nullopt};
        return all[below(5)];
    }
    sid_person some_person() {
        sid_person who{some_domain(), some_user(), some_group(), {}};
        for (unsigned n = below(41); n > 0; n--) who.groups.push_back(some_group());
        return who;
    }
    std::string some_account(char letter) {
        const std::string domain = one_in(2) ? "CORP\\" : "corp/";
        return domain + (one_in(10) ? "ghost" : letter + std::to_string(below(numbered_accounts)));
    }

    // One check by a SID ACL, silent and traced.
    void expect_as_by_the_rules(const sid_ptr &acl, sid_person who, const char *what) {
        const std::vector<tbs_acl_cooked_ent_t> entries(acl->entries->entries,
                                                        acl->entries->entries + acl->entries->count);
        const whole_ptr whole = who.whole();
        const credutl_sid_t user = one_in(2) ? who.user : some_user();
        const credutl_sid_t group =
            who.groups.empty() || one_in(3) ? some_group() : who.groups[below(who.groups.size())];
        const credutl_sid_t *owner_user = one_in(3) ? nullptr : &user;
        const credutl_sid_t *owner_group = one_in(3) ? nullptr : &group;
        const tbs_acl_permission_set_t requested = some_request();
        const verdict expected = decide_by_sid(entries, requested, who, owner_user, owner_group);
        ASSERT_EQ(check(acl, requested, whole, owner_user, owner_group), (decision{0, expected.granted}))
            << what << ", " << entries.size() << " entries, " << who.groups.size() << " groups, request "
            << requested;
        if (one_in(4)) {
            const tracing on(3, "tbs_acl:3");
            ASSERT_EQ(check(acl, requested, whole, owner_user, owner_group), (decision{0, expected.granted})) << what;
            ASSERT_EQ(traced_allowed(seen_.take()), expected.allowed) << what << ", request " << requested;
        }
        granted_ += expected.granted;
        denied_ += !expected.granted;
    }

    // Both answers came often enough for the comparison to mean something.
    void expect_both_answers(int each) const {
        EXPECT_GT(granted_, each);
        EXPECT_GT(denied_, each);
    }

    std::mt19937 random_{7}; // NOLINT: the same lists each time
    int granted_ = 0, denied_ = 0;
};

TEST_F(AclCheckAgainstTheRules, SidAclsOfEverySize) {
    static const char *const domains[] = {"CORP", "OTHER"};
    for (unsigned size = 0; size <= 400; size++) {
        const sid_ptr acl = make_sid();
        for (unsigned tries = 0; acl->entries->count < size && tries < 2 * size; tries++) {
            switch (below(12)) {
            case 0: set(acl, TBS_ACL_ID_EVERYONE + below(3), CREDUTL_SID_NOBODY, some_perms()); break;
            case 1: set_role(acl, ("u" + std::to_string(below(1000))).c_str(), some_perms()); break;
            case 2: {
                const tbs_sid_acl_id_t id = sid_id(TBS_ACL_ID_DOMAIN, sid(fred), domains[below(2)]);
                tbs_sid_acl_set_entry(acl.get(), id, some_perms());
                break;
            }
            case 3:
            case 4:
            case 5:
            case 6: set(acl, TBS_ACL_ID_USER, some_user(), some_perms()); break;
            default: set(acl, TBS_ACL_ID_GROUP, some_group(), some_perms()); break;
            }
        }
        for (int i = 0; i < 6; i++) expect_as_by_the_rules(acl, some_person(), "set");

        // Removal moves the last entry; a replaced identity keeps its place or is merged.
        for (unsigned n = below(size + 1) / 4; n > 0; n--) {
            const tbs_sid_acl_id_t removed = acl->entries->entries[below(acl->entries->count)].id;
            ASSERT_EQ(tbs_sid_acl_remove_entry(acl.get(), &removed), 0);
        }
        if (acl->entries->count > 0) {
            const tbs_sid_acl_id_t old_id = acl->entries->entries[below(acl->entries->count)].id;
            const tbs_sid_acl_id_t new_id = sid_id(TBS_ACL_ID_GROUP, some_group());
            ASSERT_EQ(tbs_sid_acl_replace_id(acl.get(), &old_id, &new_id), 0);
            acl->entries->entries[below(acl->entries->count)].perms = some_perms();
        }
        for (int i = 0; i < 3; i++) expect_as_by_the_rules(acl, some_person(), "changed");

        tbs_sid_acl_h_t copy = nullptr;
        ASSERT_EQ(tbs_sid_acl_copy(acl.get(), &copy), 0);
        const sid_ptr owner(copy);
        for (int i = 0; i < 2; i++) expect_as_by_the_rules(owner, some_person(), "copied");
        if (HasFatalFailure()) return;
    }
    expect_both_answers(300);
}

TEST_F(AclCheckAgainstTheRules, ClassicAclsOfEverySize) {
    const std::string local = credutl_local_domain();
    for (unsigned size = 0; size <= 400; size += size < 20 ? 1 : 7) {
        const classic_ptr acl = make_classic();
        std::vector<named_entry> entries;
        const auto add = [&](named_entry entry) {
            for (const named_entry &other : entries) {
                if (other.kind == entry.kind && same_text(other.domain, entry.domain) &&
                    same_text(other.name, entry.name)) {
                    return;
                }
            }
            ASSERT_EQ(set(acl, entry.kind, entry.domain.c_str(), entry.name.c_str(), entry.perms), 0);
            entries.push_back(std::move(entry));
        };
        for (unsigned tries = 0; entries.size() < size && tries < 2 * size + 10; tries++) {
            const unsigned n = below(numbered_accounts);
            const tbs_acl_permission_set_t perms = some_perms();
            switch (below(14)) {
            case 0: add({TBS_ACL_ID_EVERYONE + below(3), "", "", std::nullopt, perms}); break;
            case 1: add({TBS_ACL_ID_ROLE, "", "u" + std::to_string(n), std::nullopt, perms}); break;
            case 2: add({TBS_ACL_ID_DOMAIN, one_in(2) ? "Corp" : "OTHER", "", std::nullopt, perms}); break;
            case 3: // two names of one account
                add({TBS_ACL_ID_USER, one_in(2) ? "." : local, "root", sid("S-1-22-1-0"), perms});
                break;
            case 4: add({TBS_ACL_ID_USER, "CORP", "ghost" + std::to_string(n % 10), std::nullopt, perms}); break;
            case 5:
            case 6:
            case 7:
            case 8: add({TBS_ACL_ID_USER, "CORP", "u" + std::to_string(n), sid(first_user_rid + n), perms}); break;
            default: add({TBS_ACL_ID_GROUP, "CORP", "g" + std::to_string(n), sid(first_group_rid + n), perms}); break;
            }
        }
        const auto compare = [&](auto who, const char *what) {
            const bool owner_user = one_in(2), owner_group = one_in(2);
            const tbs_acl_permission_set_t requested = some_request();
            const client_ptr client = who.client();
            const verdict expected = [&] {
                if constexpr (std::is_same_v<decltype(who), named_person>) {
                    named_person plain_who = who; // the rules know one separator
                    const auto plain_name = [](std::string &name) {
                        std::replace(name.begin(), name.end(), '/', '\\');
                    };
                    plain_name(plain_who.user);
                    plain_name(plain_who.group);
                    std::for_each(plain_who.groups.begin(), plain_who.groups.end(), plain_name);
                    return decide_in_order(entries, requested, plain_who, owner_user, owner_group);
                } else {
                    return decide_in_order(entries, requested, who, owner_user, owner_group);
                }
            }();
            ASSERT_EQ(check(acl, requested, client, owner_user, owner_group), (decision{0, expected.granted}))
                << what << ", " << entries.size() << " entries, request " << requested;
            const tracing on(3, "tbs_acl:3");
            ASSERT_EQ(check(acl, requested, client, owner_user, owner_group), (decision{0, expected.granted}))
                << what;
            ASSERT_EQ(traced_allowed(seen_.take()), expected.allowed) << what << ", request " << requested;
            granted_ += expected.granted;
            denied_ += !expected.granted;
        };
        for (int i = 0; i < 6; i++) {
            sid_person who = some_person();
            if (one_in(6)) who.user = sid("S-1-22-1-0");
            compare(who, "by SID");
            named_person named{some_domain(), some_account('u'), some_account('g'), {}};
            for (unsigned n = below(41); n > 0; n--) named.groups.push_back(some_account('g'));
            compare(named, "by name");
        }

        // The cooked list is a SID list with repeated SIDs and kinds of 0: each entry that applies counts there.
        ASSERT_EQ(check(acl, 0, sid_fred().client()), granted);
        const sid_ptr raw = take_cooked(acl);
        tbs_sid_acl_h_t copy = nullptr;
        ASSERT_EQ(tbs_sid_acl_copy(raw.get(), &copy), 0);
        const sid_ptr owner(copy);
        ASSERT_EQ(copy->entries->count, entries.size());
        for (int i = 0; i < 4; i++) {
            sid_person who = some_person();
            if (one_in(3)) who.user = sid("S-1-22-1-0");
            expect_as_by_the_rules(raw, who, "raw");
            expect_as_by_the_rules(owner, who, "copy of raw");
        }
        if (HasFatalFailure()) return;
    }
    expect_both_answers(100);
}

// ---- refused allocations ------------------------------------------------------------------------------------------

using AclCheckWithoutMemory = AclCheck;

TEST_F(AclCheckWithoutMemory, ClassicByNameNeverGrantsMore) {
    const classic_ptr acl = make_classic();
    ASSERT_EQ(set(acl, TBS_ACL_ID_USER, "CORP", "fred", 1), 0);
    const client_ptr client = named_fred().client();
    for (const tbs_acl_permission_set_t requested : {1u, 3u}) {
        const int met = refuse_each([] { return 0; },
                                    [&](int) {
                                        const decision result = check(acl, requested, client);
                                        return [this, result, requested](bool disturbed) {
                                            if (result.status == 0) {
                                                EXPECT_EQ(result.granted, requested == 1);
                                            } else {
                                                EXPECT_TRUE(disturbed);
                                                EXPECT_EQ(result, (decision{TBS_ST_ENOMEM, 0}));
                                            }
                                            seen_.take();
                                        };
                                    });
        EXPECT_GT(met, 0);
    }
}

TEST_F(AclCheckWithoutMemory, ClassicBySidDropsAListThatItCannotMake) {
    const client_ptr client = sid_fred().client();
    const auto setup = [] {
        credutl_flush_accounts();
        classic_ptr acl = make_classic();
        EXPECT_EQ(set(acl, TBS_ACL_ID_USER, "CORP", "wilma", 2), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_DOMAIN, "CORP", nullptr, 1), 0);
        EXPECT_EQ(set(acl, TBS_ACL_ID_ROLE, nullptr, "dev", 4), 0);
        return acl;
    };
    int refused = 0, without_text = 0;
    const int met = refuse_each(setup, [&](classic_ptr &acl) {
        const decision result = check(acl, 1, client);
        return [&, result](bool disturbed) {
            const lines printed = seen_.take();
            if (result.status != 0) {
                EXPECT_TRUE(disturbed);
                EXPECT_EQ(result, (decision{TBS_ST_ENOMEM, 0}));
                EXPECT_EQ(acl->cooked, nullptr);
                refused++;
                return;
            }
            ASSERT_NE(acl->cooked, nullptr);
            ASSERT_EQ(acl->cooked->count, 3u);
            if (!acl->cooked->entries[1].id.domain) {
                // The copy of the domain failed: reported, and an entry that never matches.
                EXPECT_EQ(result.granted, 0);
                EXPECT_FALSE(printed.empty());
                EXPECT_EQ(printed.front(), no_memory());
                without_text++;
            } else {
                EXPECT_EQ(result.granted, 1);
            }
        };
    });
    EXPECT_GT(met, 0);
    EXPECT_GT(refused, 0);
    EXPECT_GT(without_text, 0);
}

TEST_F(AclCheckWithoutMemory, SaysThatTheListCannotBeMade) {
    // The crack takes memory first; the first refusal behind it is the list's.
    const client_ptr client = sid_fred().client();
    bool said = false;
    const auto setup = [] {
        classic_ptr acl = make_classic();
        EXPECT_EQ(set(acl, TBS_ACL_ID_EVERYONE, nullptr, nullptr, 1), 0);
        return acl;
    };
    refuse_each(setup, [&](classic_ptr &acl) {
        const decision result = check(acl, 1, client);
        return [&, result](bool) {
            const lines printed = seen_.take();
            if (result.status == TBS_ST_ENOMEM && printed == lines{no_memory()}) said = true;
        };
    });
    EXPECT_TRUE(said);
}

TEST_F(AclCheckWithoutMemory, SidChecksNeverGrantMore) {
    const sid_ptr acl = make_sid();
    ASSERT_EQ(set(acl, TBS_ACL_ID_USER, sid(fred), 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_GROUP, sid(testers), 2), 0);
    const client_ptr by_sid = sid_fred().client(), by_name = named_fred().client();
    const auto forget = [] { return credutl_flush_accounts(), 0; };
    for (const client_ptr *client : {&by_sid, &by_name}) {
        for (const tbs_acl_permission_set_t requested : {3u, 4u}) {
            const int met = refuse_each(forget, [&](int) {
                const decision result = check(acl, requested, *client);
                return [&, requested, result](bool disturbed) {
                    seen_.take();
                    if (result.status != 0) {
                        EXPECT_TRUE(disturbed);
                        EXPECT_EQ(result, (decision{TBS_ST_ENOMEM, 0}));
                    } else {
                        EXPECT_EQ(result.granted, requested == 3);
                    }
                };
            });
            EXPECT_GT(met, 0);
        }
    }
}

TEST_F(AclCheckWithoutMemory, TracesDoNotChangeTheDecision) {
    const sid_ptr acl = make_sid();
    const classic_ptr classic = make_classic();
    ASSERT_EQ(set(acl, TBS_ACL_ID_USER, sid(fred), 1), 0);
    ASSERT_EQ(set(classic, TBS_ACL_ID_USER, "CORP", "fred", 1), 0);
    sid_person who = sid_fred();
    const whole_ptr whole = who.whole();
    const tracing on(3, "tbs_acl:3");
    const auto forget = [] { return credutl_flush_accounts(), 0; };
    for (const tbs_acl_permission_set_t requested : {1u, 2u}) {
        refuse_each(forget, [&](int) {
            const decision result = check(acl, requested, whole);
            return [&, requested, result](bool) {
                seen_.take();
                EXPECT_TRUE(result.status == 0 ? result.granted == (requested == 1) : result.granted == 0);
            };
        });
    }
}

TEST_F(AclCheckWithoutMemory, WholeCredentialsNeedNone) {
    const sid_ptr acl = make_sid();
    for (unsigned i = 0; i < 100; i++) ASSERT_EQ(set(acl, TBS_ACL_ID_USER, sid(first_user_rid + i), 1), 0);
    sid_person who = sid_fred();
    const whole_ptr whole = who.whole();
    EXPECT_EQ(faults::count_allocations([&] { check(acl, 1, whole); }), 0);
}

} // namespace
