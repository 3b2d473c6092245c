#include "acl_test_support.hpp"

#include <rapidcheck/gtest.h>

#include <cstddef>
#include <cstring>
#include <map>

namespace {

using namespace acl_test;

// ---- one set of tests for both forms

credutl_sid_t rid_sid(unsigned rid) { return acl_test::sid(rid); }

struct classic {
    using handle = tbs_acl_h_t;
    using id = tbs_acl_id_t;
    using entry = tbs_acl_ent_t;
    static constexpr auto create = tbs_acl_create;
    static constexpr auto copy = tbs_acl_copy;
    static constexpr auto find = tbs_acl_find_entry;
    static constexpr auto count = tbs_acl_num_entries;
    static constexpr auto next = tbs_acl_next_entry;
    static constexpr auto set = tbs_acl_set_entry;
    static constexpr auto remove = tbs_acl_remove_entry;
    static constexpr auto compare = tbs_acl_cmp_acl;
    static constexpr auto free = tbs_acl_free;
    static constexpr tbs_status_t refused_kind = TBS_ST_EINVAL;
    static constexpr size_t element_size = 32;

    static tbs_acl_ent_t *entries(tbs_acl_h_t acl) { return acl->entries; }
};

struct by_sid {
    using handle = tbs_sid_acl_h_t;
    using id = tbs_sid_acl_id_t;
    using entry = tbs_acl_cooked_ent_t;
    static constexpr auto create = tbs_sid_acl_create;
    static constexpr auto copy = tbs_sid_acl_copy;
    static constexpr auto find = tbs_sid_acl_find_entry;
    static constexpr auto count = tbs_sid_acl_num_entries;
    static constexpr auto next = tbs_sid_acl_next_entry;
    static constexpr auto set = tbs_sid_acl_set_entry;
    static constexpr auto remove = tbs_sid_acl_remove_entry;
    static constexpr auto compare = tbs_sid_acl_cmp_acl;
    static constexpr auto free = tbs_sid_acl_free;
    static constexpr tbs_status_t refused_kind = 1;
    static constexpr size_t element_size = 72;

    static tbs_acl_cooked_ent_t *entries(tbs_sid_acl_h_t acl) { return acl->entries->entries; }
};

// Identity number n of a kind: another domain, name and SID for each.
struct id_source {
    id_source(tbs_acl_id_kind_t kind_of_it, unsigned n)
        : kind(kind_of_it), domain("DOM" + std::to_string(n)), name("name" + std::to_string(n)),
          sid(rid_sid(5000 + n)) {}

    operator tbs_acl_id_t() { return {kind, domain.data(), name.data()}; }
    operator tbs_sid_acl_id_t() { return {kind, domain.data(), name.data(), sid}; }

    tbs_acl_id_kind_t kind;
    std::string domain, name;
    credutl_sid_t sid;
};

template <class Form> struct owned_acl {
    owned_acl() { EXPECT_EQ(Form::create(&handle), 0); }
    explicit owned_acl(typename Form::handle taken) : handle(taken) {}
    ~owned_acl() { Form::free(&handle); }
    owned_acl(const owned_acl &) = delete;
    owned_acl &operator=(const owned_acl &) = delete;

    tbs_status_t set(tbs_acl_id_kind_t kind, unsigned n, tbs_acl_permission_set_t perms) {
        id_source id(kind, n);
        return Form::set(handle, id, perms);
    }
    tbs_status_t remove(tbs_acl_id_kind_t kind, unsigned n) {
        id_source source(kind, n);
        const typename Form::id id = source;
        return Form::remove(handle, &id);
    }
    // Permissions of an identity; 0 when it has no entry.
    tbs_acl_permission_set_t perms(tbs_acl_id_kind_t kind, unsigned n) {
        id_source source(kind, n);
        typename Form::id id = source;
        if (kind != TBS_ACL_ID_USER && kind != TBS_ACL_ID_GROUP) { // as they are stored
            if (kind != TBS_ACL_ID_DOMAIN) id.domain = const_cast<char *>("");
            if (kind != TBS_ACL_ID_ROLE) id.name = const_cast<char *>("");
        }
        const auto *entry = Form::find(handle, &id);
        return entry ? entry->perms : 0;
    }
    // Kinds and permissions in order.
    std::vector<std::pair<unsigned, unsigned>> all() const {
        std::vector<std::pair<unsigned, unsigned>> seen;
        uint32_t cursor = 0;
        while (const auto *entry = Form::next(handle, &cursor)) seen.emplace_back(entry->id.kind, entry->perms);
        EXPECT_EQ(cursor, Form::count(handle));
        return seen;
    }
    const tbs_acl_array_header_t &header() const {
        return reinterpret_cast<const tbs_acl_array_header_t *>(Form::entries(handle))[-1];
    }

    typename Form::handle handle = nullptr;
};

using perms_list = std::vector<std::pair<unsigned, unsigned>>;
const recorded_message no_memory = {IMSG_ERROR, "tbs_acl", tbs_cmsg_tbs_msg_table_adr(), 46,
                                    "Operation \"tbs_acl\" failed: Cannot allocate memory.\n"};

recorded_message acl_message(uint32_t index, const std::string &text) {
    return {IMSG_ERROR, "tbs_acl", tbs_acl_tbs_msg_table_adr(), index, text};
}
const recorded_message empty_set = acl_message(11, "Empty permission set.\n");

template <class Form> class AclEntries : public testing::Test {
protected:
    recording_sink seen_;
};
struct form_names {
    template <class T> static std::string GetName(int) { return std::is_same_v<T, classic> ? "classic" : "sid"; }
};
using forms = testing::Types<classic, by_sid>;
TYPED_TEST_SUITE(AclEntries, forms, form_names);

TEST(AclRecords, LieAsTheyAreStated) {
    EXPECT_EQ(offsetof(tbs_acl_id_t, kind), 0u);
    EXPECT_EQ(offsetof(tbs_acl_id_t, domain), 8u);
    EXPECT_EQ(offsetof(tbs_acl_id_t, name), 16u);
    EXPECT_EQ(offsetof(tbs_acl_ent_t, perms), sizeof(tbs_acl_id_t));
    EXPECT_EQ(offsetof(tbs_sid_acl_id_t, domain), 8u);
    EXPECT_EQ(offsetof(tbs_sid_acl_id_t, name), 16u);
    EXPECT_EQ(offsetof(tbs_sid_acl_id_t, sid), 24u);
    EXPECT_EQ(offsetof(tbs_acl_cooked_ent_t, perms), sizeof(tbs_sid_acl_id_t));
    EXPECT_EQ(offsetof(struct tbs_acl, count), 0u);
    EXPECT_EQ(offsetof(struct tbs_acl, entries), 8u);
    EXPECT_EQ(offsetof(struct tbs_acl, cooked), 16u);
    EXPECT_EQ(offsetof(struct tbs_sid_acl, id_count), 0u);
    EXPECT_EQ(offsetof(struct tbs_sid_acl, ids), 8u);
    EXPECT_EQ(offsetof(struct tbs_sid_acl, entries), 16u);
    EXPECT_EQ(offsetof(tbs_acl_cooked_info_t, entries), 8u);
    EXPECT_EQ(offsetof(tbs_acl_array_header_t, element_size), 4u);
    EXPECT_EQ(offsetof(tbs_acl_array_header_t, ownership), 8u);
    EXPECT_EQ(offsetof(tbs_acl_generic_map_t, all), 12u);
}

TEST(AclRecords, NumberKindsAsTheWireDoes) {
    const int kinds[] = {TBS_ACL_ID_NONE,     TBS_ACL_ID_USER,       TBS_ACL_ID_GROUP,       TBS_ACL_ID_DOMAIN,
                         TBS_ACL_ID_EVERYONE, TBS_ACL_ID_OWNER_USER, TBS_ACL_ID_OWNER_GROUP, TBS_ACL_ID_ROLE};
    for (int i = 0; i < 8; i++) EXPECT_EQ(kinds[i], i);
}

TYPED_TEST(AclEntries, AreNoneAfterCreation) {
    owned_acl<TypeParam> acl;
    EXPECT_EQ(TypeParam::count(acl.handle), 0u);
    uint32_t cursor = 0;
    EXPECT_EQ(TypeParam::next(acl.handle, &cursor), nullptr);
    EXPECT_EQ(cursor, 0u);
    EXPECT_EQ(acl.header().capacity, 1u);
    EXPECT_EQ(acl.header().element_size, TypeParam::element_size);
    EXPECT_EQ(acl.header().ownership, 1u);
}

TEST(TbsSidAclCreate, LeavesTheClassicIdentitiesEmpty) {
    owned_acl<by_sid> acl;
    EXPECT_EQ(acl.handle->id_count, 0u);
    EXPECT_EQ(acl.handle->ids, nullptr);
}

TYPED_TEST(AclEntries, GrowByDoubling) {
    owned_acl<TypeParam> acl;
    const uint32_t capacities[] = {1, 2, 4, 4, 8, 8, 8, 8, 16};
    for (unsigned n = 0; n < 9; n++) {
        ASSERT_EQ(acl.set(TBS_ACL_ID_USER, n, 1), 0);
        EXPECT_EQ(acl.header().capacity, capacities[n]) << n;
        EXPECT_EQ(acl.header().ownership, 1u);
    }
}

TYPED_TEST(AclEntries, StayInTheOrderInWhichTheyWereSet) {
    owned_acl<TypeParam> acl;
    const tbs_acl_id_kind_t kinds[] = {TBS_ACL_ID_ROLE,        TBS_ACL_ID_USER,       TBS_ACL_ID_EVERYONE,
                                       TBS_ACL_ID_OWNER_GROUP, TBS_ACL_ID_OWNER_USER, TBS_ACL_ID_GROUP,
                                       TBS_ACL_ID_DOMAIN};
    perms_list expected;
    for (unsigned i = 0; i < std::size(kinds); i++) {
        EXPECT_EQ(acl.set(kinds[i], i, i + 1), 0);
        expected.emplace_back(kinds[i], i + 1);
    }
    EXPECT_EQ(acl.all(), expected);
}

TYPED_TEST(AclEntries, AreReplacedAndNotMergedWhenSetAgain) {
    owned_acl<TypeParam> acl;
    EXPECT_EQ(acl.set(TBS_ACL_ID_USER, 1, 6), 0);
    EXPECT_EQ(acl.set(TBS_ACL_ID_USER, 2, 1), 0);
    EXPECT_EQ(acl.set(TBS_ACL_ID_USER, 1, 9), 0);
    EXPECT_EQ(acl.all(), (perms_list{{1, 9}, {1, 1}}));
}

TYPED_TEST(AclEntries, StoreTheLow27BitsOnly) {
    owned_acl<TypeParam> acl;
    EXPECT_EQ(acl.set(TBS_ACL_ID_USER, 1, 0xFFFFFFFF), 0);
    EXPECT_EQ(acl.perms(TBS_ACL_ID_USER, 1), 0x07FFFFFFu);
    EXPECT_TRUE(this->seen_.empty());
}

TYPED_TEST(AclEntries, RefuseASetWithoutStoredPermissions) {
    owned_acl<TypeParam> acl;
    ASSERT_EQ(acl.set(TBS_ACL_ID_USER, 1, 5), 0);
    for (const uint32_t perms : {0u, 0x08000000u, 0xF0000000u, 0xF8000000u}) {
        EXPECT_EQ(acl.set(TBS_ACL_ID_USER, 1, perms), TBS_ST_EINVAL);
        EXPECT_EQ(acl.set(TBS_ACL_ID_USER, 2, perms), TBS_ST_EINVAL);
        EXPECT_EQ(this->seen_.take(), (std::vector{empty_set, empty_set}));
    }
    EXPECT_EQ(acl.all(), (perms_list{{1, 5}}));
}

TYPED_TEST(AclEntries, RefuseUnknownKinds) {
    owned_acl<TypeParam> acl;
    for (const uint32_t kind : {0u, 8u, 0xFFFFFFFFu}) {
        EXPECT_EQ(acl.set(kind, 1, 1), TypeParam::refused_kind);
        const std::string number = std::to_string(static_cast<int>(kind));
        EXPECT_EQ(this->seen_.take(),
                  std::vector{acl_message(0, "Unrecognized ACL identity type (" + number + ").\n")});
    }
    EXPECT_EQ(TypeParam::count(acl.handle), 0u);
}

TYPED_TEST(AclEntries, TellABadIdentityBeforeAnEmptySet) {
    owned_acl<TypeParam> acl;
    EXPECT_EQ(acl.set(0, 1, 0), TypeParam::refused_kind);
    ASSERT_EQ(this->seen_.count(), 1u);
    EXPECT_EQ(this->seen_.take()[0].index, 0u);
}

TEST(TbsAclSetEntry, NeedsDomainAndName) {
    recording_sink seen;
    owned_acl<classic> acl;
    char text[] = "x", none[] = "";
    const recorded_message no_domain = acl_message(3, "ACL identity's domain must not be empty.\n");
    const recorded_message no_name = acl_message(4, "ACL identity's name must not be empty.\n");
    struct {
        tbs_acl_id_t id;
        const recorded_message *message;
    } const cases[] = {
        {{TBS_ACL_ID_USER, nullptr, text}, &no_domain}, {{TBS_ACL_ID_USER, none, text}, &no_domain},
        {{TBS_ACL_ID_GROUP, none, none}, &no_domain},   {{TBS_ACL_ID_DOMAIN, nullptr, text}, &no_domain},
        {{TBS_ACL_ID_USER, text, nullptr}, &no_name},   {{TBS_ACL_ID_GROUP, text, none}, &no_name},
        {{TBS_ACL_ID_ROLE, text, nullptr}, &no_name},   {{TBS_ACL_ID_ROLE, nullptr, none}, &no_name},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(tbs_acl_set_entry(acl.handle, one.id, 1), TBS_ST_ERROR);
        EXPECT_EQ(seen.take(), std::vector{*one.message});
    }
    EXPECT_EQ(tbs_acl_num_entries(acl.handle), 0u);
}

TEST(TbsSidAclSetEntry, NeedsADomainOrAWellFormedRoleName) {
    recording_sink seen;
    owned_acl<by_sid> acl;
    char text[] = "x", none[] = "";
    EXPECT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_DOMAIN, none, text, CREDUTL_SID_NOBODY}, 1), 1);
    EXPECT_EQ(seen.take(), std::vector{acl_message(3, "ACL identity's domain must not be empty.\n")});
    EXPECT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_ROLE, text, nullptr, CREDUTL_SID_NOBODY}, 1), 1);
    EXPECT_EQ(seen.take(), std::vector{acl_message(22, "ACL identity's role name must not be empty.\n")});
    for (std::string name : {"-a", "a b", "a/b", "a,b", "a:b"}) {
        EXPECT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_ROLE, text, name.data(), CREDUTL_SID_NOBODY}, 1), 1);
        EXPECT_EQ(seen.take(), std::vector{acl_message(29, "Invalid role name \"" + name + "\".\n")});
    }
    for (std::string name : {"a", "_a-b.c", ".", "9", "r\xC3\xA9viseur"}) {
        EXPECT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_ROLE, text, name.data(), CREDUTL_SID_NOBODY}, 1), 0);
    }
    EXPECT_TRUE(seen.empty());
}

TYPED_TEST(AclEntries, StoreNormalisedIdentities) {
    owned_acl<TypeParam> acl;
    for (uint32_t kind = TBS_ACL_ID_DOMAIN; kind <= TBS_ACL_ID_ROLE; kind++) {
        ASSERT_EQ(acl.set(kind, kind, 1), 0);
        const auto &id = TypeParam::entries(acl.handle)[kind - TBS_ACL_ID_DOMAIN].id;
        EXPECT_STREQ(id.domain, kind == TBS_ACL_ID_DOMAIN ? "DOM3" : "");
        EXPECT_STREQ(id.name, kind == TBS_ACL_ID_ROLE ? "name7" : "");
        if (kind != TBS_ACL_ID_DOMAIN) {
            EXPECT_EQ(id.domain, stg_empty_string);
        }
    }
}

TEST(TbsSidAclSetEntry, EmptiesTheTextsOfUsersAndGroups) {
    owned_acl<by_sid> acl;
    ASSERT_EQ(acl.set(TBS_ACL_ID_USER, 1, 1), 0);
    EXPECT_STREQ(acl.handle->entries->entries[0].id.domain, "");
    EXPECT_STREQ(acl.handle->entries->entries[0].id.name, "");
}

TYPED_TEST(AclEntries, HoldCopiesOfTheirTexts) {
    owned_acl<TypeParam> acl;
    id_source role(TBS_ACL_ID_ROLE, 1);
    ASSERT_EQ(TypeParam::set(acl.handle, role, 1), 0);
    const auto &id = TypeParam::entries(acl.handle)[0].id;
    EXPECT_NE(id.name, role.name.data());
    role.name = "changed";
    EXPECT_STREQ(id.name, "name1");
}

TYPED_TEST(AclEntries, MayBeSetFromTheirOwnIdentity) {
    owned_acl<TypeParam> acl;
    ASSERT_EQ(acl.set(TBS_ACL_ID_ROLE, 1, 1), 0);
    ASSERT_EQ(TypeParam::set(acl.handle, TypeParam::entries(acl.handle)[0].id, 2), 0);
    EXPECT_EQ(acl.all(), (perms_list{{TBS_ACL_ID_ROLE, 2}}));
    EXPECT_STREQ(TypeParam::entries(acl.handle)[0].id.name, "name1");
}

TEST(TbsAclFindEntry, ComparesWithoutCaseAndWithoutNormalising) {
    owned_acl<classic> acl;
    char domain[] = "Corp",
         name[] = "Fr\xC3\xA9"
                  "d",
         upper_domain[] = "CORP",
         upper_name[] = "FR\xC3\x89"
                        "D",
         none[] = "";
    ASSERT_EQ(tbs_acl_set_entry(acl.handle, {TBS_ACL_ID_USER, domain, name}, 1), 0);
    ASSERT_EQ(tbs_acl_set_entry(acl.handle, {TBS_ACL_ID_DOMAIN, domain, nullptr}, 2), 0);
    ASSERT_EQ(tbs_acl_set_entry(acl.handle, {TBS_ACL_ID_EVERYONE, domain, name}, 4), 0);
    ASSERT_EQ(tbs_acl_set_entry(acl.handle, {TBS_ACL_ID_ROLE, nullptr, name}, 8), 0);
    const auto perms = [&](tbs_acl_id_t id) {
        const tbs_acl_ent_t *entry = tbs_acl_find_entry(acl.handle, &id);
        return entry ? entry->perms : 0;
    };
    EXPECT_EQ(perms({TBS_ACL_ID_USER, upper_domain, upper_name}), 1u);
    EXPECT_EQ(perms({TBS_ACL_ID_GROUP, domain, name}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_USER, domain, nullptr}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_USER, nullptr, name}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_DOMAIN, upper_domain, none}), 2u);
    EXPECT_EQ(perms({TBS_ACL_ID_DOMAIN, domain, nullptr}), 2u) << "the part that a domain has no use for";
    EXPECT_EQ(perms({TBS_ACL_ID_DOMAIN, domain, name}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_DOMAIN, nullptr, none}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_ROLE, nullptr, upper_name}), 8u);
    EXPECT_EQ(perms({TBS_ACL_ID_ROLE, none, name}), 8u);
    EXPECT_EQ(perms({TBS_ACL_ID_ROLE, domain, name}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_ROLE, nullptr, nullptr}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_EVERYONE, nullptr, nullptr}), 4u);
    EXPECT_EQ(perms({TBS_ACL_ID_EVERYONE, upper_domain, none}), 4u);
    EXPECT_EQ(perms({TBS_ACL_ID_NONE, domain, name}), 0u);
}

TEST(TbsAclFindEntry, ComparesUnknownKindsByDomainAndName) {
    char domain[] = "Corp", name[] = "fred", upper_name[] = "FRED";
    tbs_acl_ent_t entries[] = {{{9, domain, name}, 1}, {{TBS_ACL_ID_NONE, nullptr, nullptr}, 2}};
    const tbs_acl_t plain = {std::size(entries), entries, nullptr};
    tbs_acl_h_t acl = nullptr;
    ASSERT_EQ(tbs_acl_set_acl(&acl, &plain), 0);
    const auto perms = [&](tbs_acl_id_t id) {
        const tbs_acl_ent_t *entry = tbs_acl_find_entry(acl, &id);
        return entry ? entry->perms : 0;
    };
    EXPECT_EQ(perms({9, domain, upper_name}), 1u);
    EXPECT_EQ(perms({8, domain, name}), 0u);
    EXPECT_EQ(perms({9, domain, nullptr}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_NONE, nullptr, nullptr}), 2u);
    EXPECT_TRUE(tbs_acl_cmp_acl(&acl, &acl));
    tbs_acl_free_acl(&acl);
}

TEST(TbsSidAclFindEntry, ComparesWhatTheKindUses) {
    owned_acl<by_sid> acl;
    char domain[] = "Corp", role[] = "Build", upper_domain[] = "CORP", upper_role[] = "BUILD";
    const credutl_sid_t one = rid_sid(1), two = rid_sid(2);
    ASSERT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_USER, nullptr, nullptr, one}, 1), 0);
    ASSERT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_GROUP, nullptr, nullptr, one}, 2), 0);
    ASSERT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_DOMAIN, domain, nullptr, one}, 4), 0);
    ASSERT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_ROLE, nullptr, role, one}, 8), 0);
    ASSERT_EQ(tbs_sid_acl_set_entry(acl.handle, {TBS_ACL_ID_OWNER_USER, nullptr, nullptr, one}, 16), 0);
    const auto perms = [&](tbs_sid_acl_id_t id) {
        const tbs_acl_cooked_ent_t *entry = tbs_sid_acl_find_entry(acl.handle, &id);
        return entry ? entry->perms : 0;
    };
    EXPECT_EQ(perms({TBS_ACL_ID_USER, domain, role, one}), 1u);
    EXPECT_EQ(perms({TBS_ACL_ID_USER, nullptr, nullptr, two}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_GROUP, nullptr, nullptr, one}), 2u);
    EXPECT_EQ(perms({TBS_ACL_ID_DOMAIN, upper_domain, role, two}), 4u);
    EXPECT_EQ(perms({TBS_ACL_ID_DOMAIN, nullptr, nullptr, one}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_ROLE, upper_domain, upper_role, two}), 8u);
    EXPECT_EQ(perms({TBS_ACL_ID_ROLE, nullptr, nullptr, one}), 0u);
    EXPECT_EQ(perms({TBS_ACL_ID_OWNER_USER, nullptr, nullptr, two}), 16u);
    EXPECT_EQ(perms({TBS_ACL_ID_OWNER_GROUP, nullptr, nullptr, one}), 0u);
}

TYPED_TEST(AclEntries, RemovedLeaveTheirPlaceToTheLast) {
    owned_acl<TypeParam> acl;
    for (unsigned n = 1; n <= 3; n++) ASSERT_EQ(acl.set(TBS_ACL_ID_USER, n, n), 0);
    EXPECT_EQ(acl.remove(TBS_ACL_ID_USER, 1), 0);
    EXPECT_EQ(acl.all(), (perms_list{{1, 3}, {1, 2}}));
    EXPECT_EQ(acl.remove(TBS_ACL_ID_USER, 1), TBS_ST_NOT_FOUND);
    EXPECT_EQ(acl.remove(TBS_ACL_ID_USER, 2), 0);
    EXPECT_EQ(acl.remove(TBS_ACL_ID_USER, 3), 0);
    EXPECT_EQ(TypeParam::count(acl.handle), 0u);
    EXPECT_TRUE(this->seen_.empty());
}

TYPED_TEST(AclEntries, AreComparedOneSided) {
    owned_acl<TypeParam> a, b;
    EXPECT_EQ(TypeParam::compare(&a.handle, &b.handle), 1);
    for (unsigned n = 1; n <= 12; n++) {
        ASSERT_EQ(a.set(TBS_ACL_ID_USER, n, 1), 0);
        ASSERT_EQ(b.set(TBS_ACL_ID_USER, 13 - n, 1), 0);
    }
    EXPECT_EQ(TypeParam::compare(&a.handle, &b.handle), 1);
    ASSERT_EQ(b.set(TBS_ACL_ID_USER, 7, 3), 0);
    EXPECT_EQ(TypeParam::compare(&a.handle, &b.handle), 1);
    EXPECT_EQ(TypeParam::compare(&b.handle, &a.handle), 0);
    ASSERT_EQ(b.set(TBS_ACL_ID_EVERYONE, 0, 3), 0);
    EXPECT_EQ(TypeParam::compare(&a.handle, &b.handle), 0) << "other counts";
    ASSERT_EQ(a.set(TBS_ACL_ID_OWNER_USER, 0, 3), 0);
    EXPECT_EQ(TypeParam::compare(&a.handle, &b.handle), 0) << "other identities";

    typename TypeParam::handle none = nullptr, other = nullptr;
    EXPECT_EQ(TypeParam::compare(&none, &other), 1);
    EXPECT_EQ(TypeParam::compare(&none, &a.handle), 0);
    EXPECT_EQ(TypeParam::compare(&a.handle, &none), 0);
}

TYPED_TEST(AclEntries, AreCopiedInOrder) {
    owned_acl<TypeParam> acl;
    for (unsigned n = 1; n <= 20; n++) ASSERT_EQ(acl.set(n % 7 + 1, n, n), 0);
    typename TypeParam::handle handle = nullptr;
    ASSERT_EQ(TypeParam::copy(acl.handle, &handle), 0);
    owned_acl<TypeParam> copy(handle);
    EXPECT_EQ(copy.all(), acl.all());
    EXPECT_EQ(TypeParam::compare(&acl.handle, &copy.handle), 1);
    EXPECT_NE(TypeParam::entries(copy.handle), TypeParam::entries(acl.handle));
}

TEST(TbsAclFree, IgnoresNullAndClearsTheVariable) {
    tbs_acl_free(nullptr);
    tbs_sid_acl_free(nullptr);
    tbs_acl_h_t classic_handle = nullptr;
    tbs_acl_free(&classic_handle);
    ASSERT_EQ(tbs_acl_create(&classic_handle), 0);
    tbs_acl_free(&classic_handle);
    EXPECT_EQ(classic_handle, nullptr);
    tbs_sid_acl_h_t sid_handle = nullptr;
    tbs_sid_acl_free(&sid_handle);
    ASSERT_EQ(tbs_sid_acl_create(&sid_handle), 0);
    tbs_sid_acl_free(&sid_handle);
    EXPECT_EQ(sid_handle, nullptr);
}

TEST(TbsAclFreeId, LeavesKindAndSid) {
    tbs_acl_id_t id = {TBS_ACL_ID_USER, stg_strdup("a"), stg_strdup("")};
    tbs_acl_free_id(&id);
    EXPECT_EQ(id.kind, 1u);
    EXPECT_EQ(id.domain, nullptr);
    EXPECT_EQ(id.name, nullptr);
    tbs_sid_acl_id_t with_sid = {TBS_ACL_ID_ROLE, nullptr, stg_strdup("a"), rid_sid(1)};
    tbs_sid_acl_free_id(&with_sid);
    EXPECT_EQ(with_sid.kind, 7u);
    EXPECT_EQ(with_sid.name, nullptr);
    const credutl_sid_t expected = rid_sid(1);
    EXPECT_TRUE(credutl_sid_eq(&with_sid.sid, &expected));
    tbs_acl_free_id(nullptr);
    tbs_sid_acl_free_id(nullptr);
}

// ---- operations of SID ACLs alone

class SidAcl : public testing::Test {
protected:
    tbs_status_t replace(id_source old_id, id_source new_id) {
        const tbs_sid_acl_id_t from = old_id, to = new_id;
        return tbs_sid_acl_replace_id(acl_.handle, &from, &to);
    }
    recording_sink seen_;
    owned_acl<by_sid> acl_;
};

TEST_F(SidAcl, ReplaceIdKeepsPlaceAndPermissions) {
    for (unsigned n = 1; n <= 10; n++) ASSERT_EQ(acl_.set(TBS_ACL_ID_USER, n, n), 0);
    EXPECT_EQ(replace({TBS_ACL_ID_USER, 3}, {TBS_ACL_ID_ROLE, 77}), 0);
    EXPECT_EQ(acl_.all()[2], std::make_pair(7u, 3u));
    EXPECT_EQ(acl_.perms(TBS_ACL_ID_ROLE, 77), 3u);
    EXPECT_EQ(acl_.perms(TBS_ACL_ID_USER, 3), 0u);
    EXPECT_EQ(tbs_sid_acl_num_entries(acl_.handle), 10u);
}

TEST_F(SidAcl, ReplaceIdMergesIntoAnEntryThatIsThere) {
    for (unsigned n = 1; n <= 10; n++) ASSERT_EQ(acl_.set(TBS_ACL_ID_USER, n, 1u << n), 0);
    EXPECT_EQ(replace({TBS_ACL_ID_USER, 2}, {TBS_ACL_ID_USER, 5}), 0);
    EXPECT_EQ(tbs_sid_acl_num_entries(acl_.handle), 9u);
    EXPECT_EQ(acl_.perms(TBS_ACL_ID_USER, 5), 1u << 5 | 1u << 2);
    EXPECT_EQ(acl_.all()[1], std::make_pair(1u, 1u << 10)) << "the last takes the place";
}

TEST_F(SidAcl, ReplaceIdRefusesWhatItCannotDo) {
    ASSERT_EQ(acl_.set(TBS_ACL_ID_USER, 1, 1), 0);
    EXPECT_EQ(replace({TBS_ACL_ID_USER, 2}, {TBS_ACL_ID_USER, 2}), 0) << "the same identity, with or without entry";
    EXPECT_EQ(replace({TBS_ACL_ID_USER, 2}, {TBS_ACL_ID_USER, 3}), TBS_ST_NOT_FOUND);
    EXPECT_TRUE(seen_.empty());
    EXPECT_EQ(replace({TBS_ACL_ID_USER, 2}, {0, 3}), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take()[0].index, 0u);
    id_source role(TBS_ACL_ID_ROLE, 1);
    role.name = "-bad";
    EXPECT_EQ(replace({TBS_ACL_ID_USER, 1}, role), TBS_ST_ERROR);
    EXPECT_EQ(seen_.take()[0].index, 29u);
    EXPECT_EQ(acl_.all(), (perms_list{{1, 1}}));
}

TEST_F(SidAcl, ReplaceSidIdsCollapsesAccounts) {
    ASSERT_EQ(acl_.set(TBS_ACL_ID_USER, 1, 1), 0);
    ASSERT_EQ(acl_.set(TBS_ACL_ID_EVERYONE, 0, 2), 0);
    ASSERT_EQ(acl_.set(TBS_ACL_ID_GROUP, 1, 4), 0);
    ASSERT_EQ(acl_.set(TBS_ACL_ID_USER, 2, 8), 0);
    ASSERT_EQ(acl_.set(TBS_ACL_ID_ROLE, 5, 16), 0);
    const tbs_acl_sid_pair_t pair = {rid_sid(100), rid_sid(200)};
    tbs_sid_acl_h_t handle = nullptr;
    ASSERT_EQ(tbs_sid_acl_replace_sid_ids(acl_.handle, &pair, &handle), 0);
    owned_acl<by_sid> replaced(handle);
    EXPECT_EQ(replaced.all(), (perms_list{{4, 2}, {7, 16}, {1, 9}, {2, 4}}));
    EXPECT_TRUE(credutl_sid_eq(&handle->entries->entries[2].id.sid, &pair.user));
    EXPECT_TRUE(credutl_sid_eq(&handle->entries->entries[3].id.sid, &pair.group));
}

TEST_F(SidAcl, ReplaceSidIdsMakesNoEntryForWhatIsNotThere) {
    ASSERT_EQ(acl_.set(TBS_ACL_ID_OWNER_USER, 0, 2), 0);
    const tbs_acl_sid_pair_t pair = {rid_sid(100), rid_sid(200)};
    tbs_sid_acl_h_t handle = nullptr;
    ASSERT_EQ(tbs_sid_acl_replace_sid_ids(acl_.handle, &pair, &handle), 0);
    owned_acl<by_sid> replaced(handle);
    EXPECT_EQ(replaced.all(), (perms_list{{5, 2}}));
}

TEST_F(SidAcl, ReplaceSidIdsEndsAtTheFirstEntryThatCannotBeSet) {
    ASSERT_EQ(acl_.set(TBS_ACL_ID_EVERYONE, 0, 2), 0);
    ASSERT_EQ(acl_.set(TBS_ACL_ID_ROLE, 1, 2), 0);
    acl_.handle->entries->entries[1].perms = 0;
    const tbs_acl_sid_pair_t pair = {rid_sid(100), rid_sid(200)};
    tbs_sid_acl_h_t handle = nullptr;
    EXPECT_EQ(tbs_sid_acl_replace_sid_ids(acl_.handle, &pair, &handle), TBS_ST_EINVAL);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(seen_.take(), std::vector{empty_set});
}

TEST_F(SidAcl, SizeCountsEntriesAndTexts) {
    EXPECT_EQ(tbs_sid_acl_size(acl_.handle), 0u);
    ASSERT_EQ(acl_.set(TBS_ACL_ID_USER, 1, 1), 0);
    EXPECT_EQ(tbs_sid_acl_size(acl_.handle), 42u);
    ASSERT_EQ(acl_.set(TBS_ACL_ID_DOMAIN, 1, 1), 0);
    EXPECT_EQ(tbs_sid_acl_size(acl_.handle), 42u + 42 + 4);
    ASSERT_EQ(acl_.set(TBS_ACL_ID_ROLE, 1, 1), 0);
    EXPECT_EQ(tbs_sid_acl_size(acl_.handle), 42u + 42 + 4 + 42 + 5);
    EXPECT_EQ(tbs_sid_acl_size(nullptr), 0u);
    char domain[] = "CORP", name[] = "fred";
    tbs_acl_id_t classic[] = {{TBS_ACL_ID_USER, domain, name}, {TBS_ACL_ID_EVERYONE, nullptr, nullptr}};
    acl_.handle->ids = classic;
    acl_.handle->id_count = std::size(classic);
    EXPECT_EQ(tbs_sid_acl_size(acl_.handle), 42u + 42 + 4 + 42 + 5 + 8 + 4 + 4 + 8);
    acl_.handle->ids = nullptr;
    acl_.handle->id_count = 0;
}

TEST_F(SidAcl, FilterKeepsWhatConcernsASid) {
    const credutl_sid_t user = rid_sid(5001), primary = rid_sid(5002);
    credutl_sid_t other = rid_sid(5003);
    const credutl_sid_credentials_t sids = {user, primary, 1, &other};
    credutl_whole_credentials_t *who = nullptr;
    ASSERT_EQ(credutl_sid_credentials_to_whole(&sids, &who), 0);
    unsigned bit = 0;
    for (const unsigned kind : {1, 2}) {
        for (unsigned n = 1; n <= 4; n++) ASSERT_EQ(acl_.set(kind, n, 1u << bit++), 0); // bits 0-3 users, 4-7 groups
    }
    for (unsigned kind = 3; kind <= 7; kind++) ASSERT_EQ(acl_.set(kind, 9, 1u << bit++), 0); // bits 8-12
    const auto kept = [&](const credutl_sid_t &sid) {
        tbs_sid_acl_h_t handle = nullptr;
        EXPECT_EQ(tbs_sid_acl_filter(acl_.handle, &sid, who, &handle), 0);
        owned_acl<by_sid> filtered(handle);
        unsigned bits = 0;
        for (const auto &[kind, perms] : filtered.all()) {
            EXPECT_GT(perms, bits) << "in the order of the source";
            bits |= perms;
        }
        return bits;
    };
    constexpr unsigned always = 1u << 8 | 1u << 9 | 1u << 12;
    EXPECT_EQ(kept(user), always | 1u << 0 | 1u << 10);
    EXPECT_EQ(kept(primary), always | 1u << 1 | 1u << 5 | 1u << 6 | 1u << 11);
    EXPECT_EQ(kept(other), always | 1u << 2 | 1u << 5 | 1u << 6 | 1u << 11);
    EXPECT_EQ(kept(rid_sid(5004)), always | 1u << 3) << "a stranger: groups are kept only for members";
    credutl_free_whole_credentials(&who);
}

TEST_F(SidAcl, FilterEndsAtAnUnknownKindAndCopyDoesNot) {
    for (unsigned n = 1; n <= 3; n++) ASSERT_EQ(acl_.set(TBS_ACL_ID_ROLE, n, n), 0);
    acl_.handle->entries->entries[1].id.kind = 9;
    const credutl_sid_credentials_t sids = {rid_sid(1), rid_sid(2), 0, nullptr};
    credutl_whole_credentials_t *who = nullptr;
    ASSERT_EQ(credutl_sid_credentials_to_whole(&sids, &who), 0);
    tbs_sid_acl_h_t handle = nullptr;
    ASSERT_EQ(tbs_sid_acl_filter(acl_.handle, &sids.user, who, &handle), 0);
    EXPECT_EQ(owned_acl<by_sid>(handle).all(), (perms_list{{7, 1}}));
    handle = nullptr;
    ASSERT_EQ(tbs_sid_acl_copy(acl_.handle, &handle), 0);
    EXPECT_EQ(owned_acl<by_sid>(handle).all(), (perms_list{{7, 1}, {9, 2}, {7, 3}}));
    credutl_free_whole_credentials(&who);
}

// ---- long lists against a plain model

template <class Form> void run_against_model() {
    struct row {
        unsigned kind, n, perms;
    };
    std::vector<row> model;
    owned_acl<Form> acl;
    const auto position = [&](unsigned kind, unsigned n) {
        const bool one_of_a_kind = kind >= 4 && kind <= 6;
        for (size_t i = 0; i < model.size(); i++) {
            if (model[i].kind == kind && (one_of_a_kind || model[i].n == n)) return i;
        }
        return model.size();
    };
    const auto operations = *rc::gen::container<std::vector<std::tuple<unsigned, unsigned, unsigned, unsigned>>>(
        *rc::gen::inRange<size_t>(0, 400), rc::gen::tuple(rc::gen::inRange(0u, 10u), rc::gen::inRange(1u, 8u),
                                                          rc::gen::inRange(0u, 60u), rc::gen::inRange(1u, 1000u)));
    for (const auto &[what, kind, n, perms] : operations) {
        const size_t at = position(kind, n);
        if (what < 7) {
            RC_ASSERT(acl.set(kind, n, perms) == 0);
            if (at == model.size()) {
                model.push_back({kind, n, perms});
            } else {
                model[at] = {kind, n, perms};
            }
        } else if (what < 9) {
            // Kinds that keep no domain and name are found by what is stored; the model removes by number.
            const bool stored_as_given =
                kind == TBS_ACL_ID_USER || kind == TBS_ACL_ID_GROUP || (kind >= 4 && kind <= 6);
            if (!stored_as_given && !std::is_same_v<Form, by_sid>) continue;
            RC_ASSERT(acl.remove(kind, n) == (at == model.size() ? TBS_ST_NOT_FOUND : 0));
            if (at == model.size()) continue;
            model[at] = model.back();
            model.pop_back();
        } else {
            RC_ASSERT(acl.perms(kind, n) == (at == model.size() ? 0 : model[at].perms));
        }
    }
    perms_list expected;
    for (const row &one : model) expected.emplace_back(one.kind, one.perms);
    RC_ASSERT(acl.all() == expected);
    for (const row &one : model) RC_ASSERT(acl.perms(one.kind, one.n) == one.perms);
}

RC_GTEST_PROP(AclList, IsWhatAPlainListIs, ()) { run_against_model<classic>(); }
RC_GTEST_PROP(SidAclList, IsWhatAPlainListIs, ()) { run_against_model<by_sid>(); }

// ---- no memory

TYPED_TEST(AclEntries, SetSurvivesEveryRefusedAllocation) {
    for (const unsigned size : {0u, 1u, 2u, 7u, 8u, 16u, 32u}) {
        SCOPED_TRACE(size);
        owned_acl<TypeParam> acl;
        for (unsigned n = 0; n < size; n++) ASSERT_EQ(acl.set(TBS_ACL_ID_ROLE, n, n + 1), 0);
        const perms_list before = acl.all();
        id_source fresh(TBS_ACL_ID_ROLE, 999);
        int failures = 0;
        faults::each_allocation([&](int, bool) {
            const tbs_status_t status = TypeParam::set(acl.handle, fresh, 77);
            const faults::suspend unrefused;
            if (status == 0) {
                EXPECT_EQ(acl.perms(TBS_ACL_ID_ROLE, 999), 77u);
                EXPECT_EQ(TypeParam::count(acl.handle), size + 1);
                typename TypeParam::id stored = fresh;
                stored.domain = const_cast<char *>("");
                EXPECT_EQ(TypeParam::remove(acl.handle, &stored), 0);
            } else {
                failures++;
                EXPECT_EQ(status, TBS_ST_ENOMEM);
                EXPECT_EQ(this->seen_.messages().back(), no_memory);
            }
            EXPECT_EQ(acl.all(), before);
        });
        EXPECT_GT(failures, 0);
    }
}

TYPED_TEST(AclEntries, OverwritingSurvivesEveryRefusedAllocation) {
    owned_acl<TypeParam> acl;
    ASSERT_EQ(acl.set(TBS_ACL_ID_ROLE, 1, 1), 0);
    id_source role(TBS_ACL_ID_ROLE, 1);
    const int refused = faults::each_allocation([&](int, bool) {
        const tbs_status_t status = TypeParam::set(acl.handle, role, 2);
        const faults::suspend unrefused;
        EXPECT_TRUE(status == 0 || status == TBS_ST_ENOMEM);
        EXPECT_EQ(acl.all(), (perms_list{{7, status == 0 ? 2u : 1u}}));
        EXPECT_EQ(acl.set(TBS_ACL_ID_ROLE, 1, 1), 0);
    });
    EXPECT_EQ(refused, 1);
}

TYPED_TEST(AclEntries, CreationSurvivesEveryRefusedAllocation) {
    const int refused = faults::each_allocation([&](int, bool) {
        typename TypeParam::handle acl = reinterpret_cast<typename TypeParam::handle>(this);
        const tbs_status_t status = TypeParam::create(&acl);
        const faults::suspend unrefused;
        EXPECT_TRUE(status == 0 || status == TBS_ST_ENOMEM);
        EXPECT_EQ(acl != nullptr, status == 0);
        if (status) {
            EXPECT_EQ(this->seen_.messages().back(), no_memory);
        }
        TypeParam::free(&acl);
    });
    EXPECT_GE(refused, 2);
}

TYPED_TEST(AclEntries, CopyingSurvivesEveryRefusedAllocation) {
    owned_acl<TypeParam> acl;
    for (unsigned n = 1; n <= 12; n++) ASSERT_EQ(acl.set(n % 7 + 1, n, n), 0);
    int failures = 0;
    faults::each_allocation([&](int, bool) {
        typename TypeParam::handle copy = reinterpret_cast<typename TypeParam::handle>(this);
        const tbs_status_t status = TypeParam::copy(acl.handle, &copy);
        const faults::suspend unrefused;
        failures += status != 0;
        EXPECT_TRUE(status == 0 || status == TBS_ST_ENOMEM);
        EXPECT_EQ(copy != nullptr, status == 0);
        if (status) {
            EXPECT_EQ(this->seen_.messages().back(), no_memory);
        } else {
            EXPECT_EQ(TypeParam::compare(&copy, &acl.handle), 1);
        }
        TypeParam::free(&copy);
    });
    EXPECT_GT(failures, 4);
}

TEST_F(SidAcl, ReplacementsAndFilterSurviveEveryRefusedAllocation) {
    for (unsigned n = 1; n <= 9; n++) ASSERT_EQ(acl_.set(n % 7 + 1, n, n), 0);
    const perms_list before = acl_.all();
    const tbs_acl_sid_pair_t pair = {rid_sid(100), rid_sid(200)};
    const credutl_sid_credentials_t sids = {rid_sid(5007), rid_sid(5001), 0, nullptr};
    credutl_whole_credentials_t *who = nullptr;
    ASSERT_EQ(credutl_sid_credentials_to_whole(&sids, &who), 0);
    id_source from(TBS_ACL_ID_USER, 7), to(TBS_ACL_ID_ROLE, 55);
    const tbs_sid_acl_id_t old_id = from, new_id = to;
    int failures = 0;
    const auto made = [&](tbs_status_t status, tbs_sid_acl_h_t handle) {
        const faults::suspend unrefused;
        failures += status != 0;
        EXPECT_TRUE(status == 0 || status == TBS_ST_ENOMEM);
        EXPECT_EQ(handle != nullptr, status == 0);
        tbs_sid_acl_free(&handle);
    };
    faults::each_allocation([&](int, bool) {
        tbs_sid_acl_h_t handle = nullptr;
        const tbs_status_t status = tbs_sid_acl_replace_sid_ids(acl_.handle, &pair, &handle);
        made(status, handle);
    });
    faults::each_allocation([&](int, bool) {
        tbs_sid_acl_h_t handle = nullptr;
        const tbs_status_t status = tbs_sid_acl_filter(acl_.handle, &sids.user, who, &handle);
        made(status, handle);
    });
    faults::each_allocation([&](int, bool) {
        const tbs_status_t status = tbs_sid_acl_replace_id(acl_.handle, &old_id, &new_id);
        const faults::suspend unrefused;
        failures += status != 0;
        if (status) {
            EXPECT_EQ(acl_.all(), before);
        } else {
            EXPECT_EQ(tbs_sid_acl_replace_id(acl_.handle, &new_id, &old_id), 0);
        }
    });
    EXPECT_GT(failures, 6);
    credutl_free_whole_credentials(&who);
}

// ---- null arguments

TEST(AclNullArguments, GiveAStatusOrNothing) {
    recording_sink seen;
    owned_acl<classic> acl;
    owned_acl<by_sid> sid_acl;
    tbs_acl_h_t made = nullptr;
    tbs_sid_acl_h_t sid_made = nullptr;
    const tbs_acl_id_t id = {TBS_ACL_ID_EVERYONE, nullptr, nullptr};
    const tbs_sid_acl_id_t sid_id = {TBS_ACL_ID_EVERYONE, nullptr, nullptr, CREDUTL_SID_NOBODY};
    const credutl_sid_t sid = rid_sid(1);
    const tbs_acl_sid_pair_t pair = {sid, sid};
    const credutl_sid_credentials_t sids = {sid, sid, 0, nullptr};
    credutl_whole_credentials_t *who = nullptr;
    ASSERT_EQ(credutl_sid_credentials_to_whole(&sids, &who), 0);
    uint32_t cursor = 0;

    for (const tbs_status_t status : {
             tbs_acl_create(nullptr),
             tbs_sid_acl_create(nullptr),
             tbs_acl_copy(nullptr, &made),
             tbs_acl_copy(acl.handle, nullptr),
             tbs_sid_acl_copy(nullptr, &sid_made),
             tbs_sid_acl_copy(sid_acl.handle, nullptr),
             tbs_sid_acl_filter(nullptr, &sid, who, &sid_made),
             tbs_sid_acl_filter(sid_acl.handle, nullptr, who, &sid_made),
             tbs_sid_acl_filter(sid_acl.handle, &sid, nullptr, &sid_made),
             tbs_sid_acl_filter(sid_acl.handle, &sid, who, nullptr),
             tbs_acl_set_entry(nullptr, id, 1),
             tbs_sid_acl_set_entry(nullptr, sid_id, 1),
             tbs_acl_remove_entry(nullptr, &id),
             tbs_acl_remove_entry(acl.handle, nullptr),
             tbs_sid_acl_remove_entry(nullptr, &sid_id),
             tbs_sid_acl_remove_entry(sid_acl.handle, nullptr),
             tbs_sid_acl_replace_id(nullptr, &sid_id, &sid_id),
             tbs_sid_acl_replace_id(sid_acl.handle, nullptr, &sid_id),
             tbs_sid_acl_replace_id(sid_acl.handle, &sid_id, nullptr),
             tbs_sid_acl_replace_sid_ids(nullptr, &pair, &sid_made),
             tbs_sid_acl_replace_sid_ids(sid_acl.handle, nullptr, &sid_made),
             tbs_sid_acl_replace_sid_ids(sid_acl.handle, &pair, nullptr),
         }) {
        EXPECT_EQ(status, TBS_ST_EINVAL);
    }
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(sid_made, nullptr);
    EXPECT_EQ(tbs_acl_find_entry(nullptr, &id), nullptr);
    EXPECT_EQ(tbs_acl_find_entry(acl.handle, nullptr), nullptr);
    EXPECT_EQ(tbs_sid_acl_find_entry(nullptr, &sid_id), nullptr);
    EXPECT_EQ(tbs_sid_acl_find_entry(sid_acl.handle, nullptr), nullptr);
    EXPECT_EQ(tbs_acl_num_entries(nullptr), 0u);
    EXPECT_EQ(tbs_sid_acl_num_entries(nullptr), 0u);
    EXPECT_EQ(tbs_acl_next_entry(nullptr, &cursor), nullptr);
    EXPECT_EQ(tbs_acl_next_entry(acl.handle, nullptr), nullptr);
    EXPECT_EQ(tbs_sid_acl_next_entry(nullptr, &cursor), nullptr);
    EXPECT_EQ(tbs_sid_acl_next_entry(sid_acl.handle, nullptr), nullptr);
    EXPECT_EQ(tbs_acl_cmp_acl(nullptr, nullptr), 1);
    EXPECT_EQ(tbs_acl_cmp_acl(&acl.handle, nullptr), 0);
    EXPECT_EQ(tbs_sid_acl_cmp_acl(nullptr, &sid_acl.handle), 0);
    EXPECT_TRUE(seen.empty());
    credutl_free_whole_credentials(&who);
}

} // namespace
