// Identities and permission sets as text.

#include "acl_test_support.hpp"

#include <random>
#include <thread>

using namespace acl_test;

namespace {

std::string text_of(const tbs_acl_id_t &id) { return std::string(id.domain) + '|' + id.name; }

std::string repeat(size_t count, char c = 'a') { return std::string(count, c); }

class AclText : public testing::Test {
protected:
    accounts known_;
    recorder seen_;
};

// ---- kind names ---------------------------------------------------------------------------------------------------

TEST(TbsAclUtlIdKindToStr, NamesEveryKind) {
    const char *const expected[] = {"<id-kind-none>", "User",       "Group",       "Domain",
                                    "Everyone",       "Owner-User", "Owner-Group", "Role"};
    for (uint32_t kind = 0; kind < std::size(expected); kind++) {
        EXPECT_STREQ(tbs_acl_utl_id_kind_to_str(kind), expected[kind]);
    }
}

TEST(TbsAclUtlIdKindToStr, DescribesUnknownKindsWithoutPrinting) {
    recorder seen;
    EXPECT_STREQ(tbs_acl_utl_id_kind_to_str(8), "Unrecognized ACL identity type (8).\n");
    EXPECT_STREQ(tbs_acl_utl_id_kind_to_str(0x7FFFFFFF), "Unrecognized ACL identity type (2147483647).\n");
    EXPECT_STREQ(tbs_acl_utl_id_kind_to_str(0xFFFFFFFF), "Unrecognized ACL identity type (-1).\n");
    EXPECT_EQ(seen.take(), lines{});
}

TEST(TbsAclUtlIdKindToStr, UsesOneBufferOfTheThread) {
    const char *mine = tbs_acl_utl_id_kind_to_str(100);
    std::string theirs;
    std::thread([&] { theirs = tbs_acl_utl_id_kind_to_str(200); }).join();
    EXPECT_EQ(theirs, "Unrecognized ACL identity type (200).\n");
    EXPECT_STREQ(mine, "Unrecognized ACL identity type (100).\n");
    EXPECT_EQ(tbs_acl_utl_id_kind_to_str(300), mine);
    EXPECT_STREQ(mine, "Unrecognized ACL identity type (300).\n");
    EXPECT_STREQ(tbs_acl_utl_id_kind_to_str(1), "User"); // constants leave the buffer alone
    EXPECT_STREQ(mine, "Unrecognized ACL identity type (300).\n");
}

// ---- classic identity from text -----------------------------------------------------------------------------------

class TbsAclUtlIdFromStr : public AclText {
protected:
    // "kind|domain|name", or the status of a refused text.
    std::string read(const std::string &text) {
        tbs_acl_id_t id{99, nullptr, nullptr};
        const tbs_status_t status = tbs_acl_utl_id_from_str(text.c_str(), &id);
        if (status != 0) {
            EXPECT_EQ(id.domain, nullptr);
            EXPECT_EQ(id.name, nullptr);
            return std::to_string(status);
        }
        const std::string result = std::to_string(id.kind) + '|' + text_of(id);
        tbs_acl_free_id(&id);
        EXPECT_EQ(id.domain, nullptr);
        EXPECT_EQ(id.name, nullptr);
        return result;
    }
};

TEST_F(TbsAclUtlIdFromStr, FindsTheKindWithoutCase) {
    EXPECT_EQ(read("User:a\\b"), "1|a|b");
    EXPECT_EQ(read("uSER:a\\b"), "1|a|b");
    EXPECT_EQ(read("GROUP:a\\b"), "2|a|b");
    EXPECT_EQ(read("domain:a"), "3|a|");
    EXPECT_EQ(read("EveryOne:"), "4||");
    EXPECT_EQ(read("owner-user:"), "5||");
    EXPECT_EQ(read("OWNER-GROUP:"), "6||");
    EXPECT_EQ(read("role:a"), "7||a");
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsAclUtlIdFromStr, RefusesOtherKindWords) {
    for (const char *word :
         {"", "Use", "Users", " User", "User ", "Owner", "Owner_User", "none", "<id-kind-none>", "1"}) {
        EXPECT_EQ(read(std::string(word) + ":a\\b"), "1072");
        EXPECT_EQ(seen_.take(), lines{error(1, std::string("Unrecognized ACL identity type \"") + word + "\".\n")});
    }
    EXPECT_EQ(read(""), "1072");
    EXPECT_EQ(seen_.take(), lines{error(1, "Unrecognized ACL identity type \"\".\n")});
    EXPECT_EQ(read("fred"), "1072");
    EXPECT_EQ(seen_.take(), lines{error(1, "Unrecognized ACL identity type \"fred\".\n")});
}

TEST_F(TbsAclUtlIdFromStr, SplitsTheQualifierAtItsFirstSeparator) {
    EXPECT_EQ(read("user:corp/fred"), "1|corp|fred");
    EXPECT_EQ(read("User:a/b\\c"), "1|a|b\\c");
    EXPECT_EQ(read("User:a\\b/c"), "1|a|b/c");
    EXPECT_EQ(read("Group:a\\\\b"), "2|a|\\b");
    EXPECT_EQ(read("User:\\fred"), "1||fred");
    EXPECT_EQ(read("User:corp\\"), "1|corp|");
    EXPECT_EQ(read("User:\\"), "1||");
    EXPECT_EQ(read("Domain:corp\\fred"), "3|corp|fred");
    EXPECT_EQ(read("Everyone:a/b"), "4|a|b");
    EXPECT_EQ(read("Owner-User:a\\b"), "5|a|b");
}

TEST_F(TbsAclUtlIdFromStr, TakesTextWithoutSeparatorAsDomain) {
    EXPECT_EQ(read("User:fred"), "1|fred|");
    EXPECT_EQ(read("Owner-Group:fred"), "6|fred|");
    EXPECT_EQ(read("User:"), "1||");
}

TEST_F(TbsAclUtlIdFromStr, TakesTheFirstColonOnly) {
    EXPECT_EQ(read("User:a:b\\c:d"), "1|a:b|c:d");
    EXPECT_EQ(read("User::a\\b"), "1|:a|b");
    EXPECT_EQ(read("Role::"), "7||:");
}

TEST_F(TbsAclUtlIdFromStr, NeedsNoColon) {
    EXPECT_EQ(read("Everyone"), "4||");
    EXPECT_EQ(read("User"), "1||");
    EXPECT_EQ(read("Role"), "7||");
}

TEST_F(TbsAclUtlIdFromStr, KeepsTheFirstPartOfARole) {
    EXPECT_EQ(read("Role:builders"), "7||builders");
    EXPECT_EQ(read("Role:a\\b"), "7||a");
    EXPECT_EQ(read("Role:a/b\\c"), "7||a");
    EXPECT_EQ(read("Role:\\b"), "7||");
    EXPECT_EQ(read("Role:"), "7||");
    EXPECT_EQ(read("Role:two words"), "7||two words");
}

TEST_F(TbsAclUtlIdFromStr, CutsAt1023Bytes) {
    const std::string whole = "Role:" + repeat(1018);
    ASSERT_EQ(whole.size(), 1023u);
    EXPECT_EQ(read(whole), "7||" + repeat(1018));
    EXPECT_EQ(read(whole + 'b'), "7||" + repeat(1018));
    EXPECT_EQ(read(whole + repeat(5000, 'b')), "7||" + repeat(1018));
    EXPECT_EQ(read("User:d\\" + repeat(1016) + "bcd"), "1|d|" + repeat(1016));
    EXPECT_EQ(read("User:" + repeat(1018) + "\\name"), "1|" + repeat(1018) + '|');
    EXPECT_EQ(seen_.take(), lines{});
    EXPECT_EQ(read(repeat(1023, 'x') + ":a"), "1072");
    EXPECT_EQ(read(repeat(2000, 'x')), "1072");
    const std::string cut = error(1, "Unrecognized ACL identity type \"" + repeat(1023, 'x') + "\".\n");
    EXPECT_EQ(seen_.take(), (lines{cut, cut}));
}

TEST_F(TbsAclUtlIdFromStr, RefusesNull) {
    tbs_acl_id_t id{};
    EXPECT_EQ(tbs_acl_utl_id_from_str(nullptr, &id), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_utl_id_from_str("Everyone:", nullptr), TBS_ST_EINVAL);
}

TEST_F(TbsAclUtlIdFromStr, EveryAllocationMayFail) {
    const int met = refuse_each([] { return 0; },
                                [&](int) {
                                    tbs_acl_id_t id{};
                                    const tbs_status_t status = tbs_acl_utl_id_from_str("User:corp\\fred", &id);
                                    return [this, status, id](bool disturbed) mutable {
                                        EXPECT_EQ(status, disturbed ? TBS_ST_ENOMEM : 0);
                                        EXPECT_EQ(seen_.take(), disturbed ? lines{no_memory()} : lines{});
                                        if (disturbed) {
                                            EXPECT_EQ(id.domain, nullptr);
                                            EXPECT_EQ(id.name, nullptr);
                                        }
                                        tbs_acl_free_id(&id);
                                    };
                                });
    EXPECT_GE(met, 4); // domain and name, in two modes
}

// ---- SID identity from text ---------------------------------------------------------------------------------------

class TbsSidAclUtlIdFromStr : public AclText {
protected:
    // Reads a text that is fine; checks that a user's or group's strings are empty ones.
    tbs_sid_acl_id_t read(const char *text) {
        tbs_sid_acl_id_t id{};
        EXPECT_EQ(tbs_sid_acl_utl_id_from_str(text, &id), 0) << text;
        return id;
    }
    static void expect_empty_strings(const tbs_sid_acl_id_t &id) {
        EXPECT_STREQ(id.domain, "");
        EXPECT_STREQ(id.name, "");
    }
    // The shared empty string is none that anybody would have to release.
    static bool owns_strings(const tbs_sid_acl_id_t &id) {
        return (id.domain && id.domain != stg_empty_string) || (id.name && id.name != stg_empty_string);
    }
    tbs_status_t refused(const std::string &text) {
        tbs_sid_acl_id_t id{};
        id.sid = sid(fred);
        const tbs_status_t status = tbs_sid_acl_utl_id_from_str(text.c_str(), &id);
        EXPECT_FALSE(owns_strings(id));
        EXPECT_TRUE(id.sid.type == 0 || credutl_sid_eq(&id.sid, &CREDUTL_SID_NOBODY));
        return status;
    }
};

TEST_F(TbsSidAclUtlIdFromStr, ResolvesUsersAndGroups) {
    const struct {
        const char *text;
        tbs_acl_id_kind_t kind;
        unsigned rid;
    } cases[] = {
        {"User:CORP\\fred", 1, fred},
        {"user:corp/FRED", 1, fred},
        {"User:corp\\WEISS", 1, weiss},
        {"USER:titanium\\IRIS", 1, iris},
        {"Group:CORP\\staff", 2, staff},
        {"group:corp/Staff", 2, staff},
        {"Group:CORP\\Domain Users", 2, domain_users},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text);
        tbs_sid_acl_id_t id = read(row.text);
        EXPECT_EQ(id.kind, row.kind);
        const credutl_sid_t expected = sid(row.rid);
        EXPECT_TRUE(credutl_sid_eq(&id.sid, &expected));
        expect_empty_strings(id);
        tbs_sid_acl_free_id(&id);
    }
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsSidAclUtlIdFromStr, IgnoresTheQualifierOfEveryoneAndOwners) {
    const struct {
        const char *text;
        tbs_acl_id_kind_t kind;
    } cases[] = {{"Everyone:", 4},      {"everyone", 4},         {"Everyone:CORP\\fred", 4},
                 {"Owner-User:x/y", 5}, {"OWNER-GROUP:CORP", 6}, {"Owner-Group", 6}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text);
        tbs_sid_acl_id_t id = read(row.text);
        EXPECT_EQ(id.kind, row.kind);
        EXPECT_TRUE(credutl_sid_eq(&id.sid, &CREDUTL_SID_NOBODY));
        expect_empty_strings(id);
        tbs_sid_acl_free_id(&id);
    }
}

TEST_F(TbsSidAclUtlIdFromStr, KeepsTheFirstPartOfARole) {
    for (const char *text : {"Role:builders", "role:builders\\x", "ROLE:builders/x\\y"}) {
        tbs_sid_acl_id_t id = read(text);
        EXPECT_EQ(id.kind, 7u);
        EXPECT_STREQ(id.name, "builders");
        EXPECT_NE(id.sid.length, sizeof id.sid.value);
        tbs_sid_acl_free_id(&id);
    }
}

TEST_F(TbsSidAclUtlIdFromStr, IsNeverADomain) {
    EXPECT_EQ(refused("Domain:CORP"), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(), lines{error(1, "Unrecognized ACL identity type \"Domain\".\n")});
    EXPECT_EQ(refused("domain:CORP"), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(), lines{error(1, "Unrecognized ACL identity type \"domain\".\n")});
    EXPECT_EQ(refused("Bogus"), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(), lines{error(1, "Unrecognized ACL identity type \"Bogus\".\n")});
    EXPECT_EQ(refused(""), TBS_ST_EINVAL);
    EXPECT_EQ(seen_.take(), lines{error(1, "Unrecognized ACL identity type \"\".\n")});
}

TEST_F(TbsSidAclUtlIdFromStr, NamesUnknownAccounts) {
    const struct {
        const char *text, *shown;
    } cases[] = {{"User:CORP\\ghost", "CORP\\ghost"},
                 {"User:corp/ghost", "corp\\ghost"},
                 {"Group:CORP\\fred", "CORP\\fred"},
                 {"User:CORP\\staff", "CORP\\staff"},
                 {"User:fred", "fred\\"},
                 {"User:", "\\"},
                 {"User", "\\"},
                 {"User:a/b\\c", "a\\b\\c"},
                 {"Group:x\x1b[2J\ny\\z", "x^[[2J^Jy\\z"}};
    for (const auto &row : cases) {
        EXPECT_EQ(refused(row.text), TBS_ST_ERROR);
        EXPECT_EQ(seen_.take(), lines{error(23, std::string("Unknown ACL identity: ") + row.shown + ".\n")});
    }
}

TEST_F(TbsSidAclUtlIdFromStr, TracesTheFailedLookUpFirst) {
    const tracing on(1, "tbs_acl:1");
    EXPECT_EQ(refused("Group:CORP\\ghost"), TBS_ST_ERROR);
    EXPECT_EQ(seen_.take(), (lines{"8 Unable to convert \"CORP\",\"ghost\" to group SID.\n",
                                   error(23, "Unknown ACL identity: CORP\\ghost.\n")}));
}

TEST_F(TbsSidAclUtlIdFromStr, CutsAt1023Bytes) {
    tbs_sid_acl_id_t id = read(("Role:" + repeat(3000)).c_str());
    EXPECT_EQ(id.name, repeat(1018));
    tbs_sid_acl_free_id(&id);
    EXPECT_EQ(refused("User:CORP\\fred" + repeat(3000)), TBS_ST_ERROR);
    EXPECT_EQ(seen_.take(), lines{error(23, "Unknown ACL identity: CORP\\fred" + repeat(1009) + ".\n")});
}

TEST_F(TbsSidAclUtlIdFromStr, RefusesNull) {
    tbs_sid_acl_id_t id{};
    EXPECT_EQ(tbs_sid_acl_utl_id_from_str(nullptr, &id), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_sid_acl_utl_id_from_str("Everyone:", nullptr), TBS_ST_EINVAL);
}

TEST_F(TbsSidAclUtlIdFromStr, EveryAllocationMayFail) {
    for (const char *text : {"User:CORP\\fred", "Group:CORP\\staff", "Role:builders"}) {
        SCOPED_TRACE(text);
        const auto forget = [] { return credutl_flush_accounts(), 0; };
        refuse_each(forget, [&](int) {
            tbs_sid_acl_id_t id{};
            const tbs_status_t status = tbs_sid_acl_utl_id_from_str(text, &id);
            return [this, status, id](bool disturbed) mutable {
                const lines printed = seen_.take();
                if (status != 0) {
                    EXPECT_TRUE(disturbed);
                    EXPECT_TRUE(status == TBS_ST_ENOMEM || status == TBS_ST_ERROR) << status;
                    EXPECT_FALSE(printed.empty());
                    EXPECT_FALSE(owns_strings(id));
                }
                tbs_sid_acl_free_id(&id);
            };
        });
    }
}

// ---- names to SIDs ------------------------------------------------------------------------------------------------

class TbsAclNameToSid : public AclText {
protected:
    static bool is(const credutl_sid_t &value, unsigned rid) {
        const credutl_sid_t expected = sid(rid);
        return credutl_sid_eq(&value, &expected) != 0;
    }
};

TEST_F(TbsAclNameToSid, FindsUsersAndGroups) {
    credutl_sid_t value{};
    EXPECT_EQ(tbs_acl_user_to_usid("CORP", "fred", &value), 0);
    EXPECT_TRUE(is(value, fred));
    EXPECT_EQ(tbs_acl_user_to_usid("corp", "WILMA", &value), 0);
    EXPECT_TRUE(is(value, wilma));
    EXPECT_EQ(tbs_acl_group_to_gsid("CORP", "builders", &value), 0);
    EXPECT_TRUE(is(value, builders));
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsAclNameToSid, GivesNobodyForUnknownNames) {
    const struct {
        const char *domain, *name;
    } cases[] = {{"CORP", "ghost"}, {"CORP", ""}, {"", ""}, {"OTHER", "fred"}, {nullptr, nullptr}, {"CORP", nullptr}};
    for (const auto &row : cases) {
        credutl_sid_t user = sid(fred), group = sid(staff);
        EXPECT_EQ(tbs_acl_user_to_usid(row.domain, row.name, &user), TBS_ST_ERROR);
        EXPECT_TRUE(credutl_sid_eq(&user, &CREDUTL_SID_NOBODY));
        EXPECT_EQ(tbs_acl_group_to_gsid(row.domain, row.name, &group), TBS_ST_ERROR);
        EXPECT_TRUE(credutl_sid_eq(&group, &CREDUTL_SID_NOBODY));
    }
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsAclNameToSid, KeepsUsersAndGroupsApart) {
    credutl_sid_t value{};
    EXPECT_EQ(tbs_acl_user_to_usid("CORP", "staff", &value), TBS_ST_ERROR);
    EXPECT_EQ(tbs_acl_group_to_gsid("CORP", "fred", &value), TBS_ST_ERROR);
}

TEST_F(TbsAclNameToSid, NeverFindsAnAccountByACutName) {
    const std::string padding(2000, 'x');
    credutl_sid_t value{};
    EXPECT_EQ(tbs_acl_user_to_usid("CORP", ("fred" + padding).c_str(), &value), TBS_ST_ERROR);
    EXPECT_EQ(tbs_acl_group_to_gsid(padding.c_str(), "staff", &value), TBS_ST_ERROR);
    EXPECT_TRUE(credutl_sid_eq(&value, &CREDUTL_SID_NOBODY));
}

TEST_F(TbsAclNameToSid, TracesOnlyWhenVerbosityAndModuleSaySo) {
    credutl_sid_t value{};
    const struct {
        int verbosity;
        const char *modules;
        bool traced;
    } cases[] = {{0, "tbs_acl:3", false}, {1, "", false},         {1, "tbs_acl:0", false}, {3, "tbs:3", false},
                 {1, "tbs_acl:1", true},  {3, "tbs_acl:3", true}, {1, "*:1", true}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.modules);
        const tracing on(row.verbosity, row.modules);
        tbs_acl_user_to_usid("CORP", "ghost", &value);
        EXPECT_EQ(seen_.take(),
                  row.traced ? lines{"8 Unable to convert \"CORP\",\"ghost\" to user SID.\n"} : lines{});
        tbs_acl_group_to_gsid("CORP", "ghosts", &value);
        EXPECT_EQ(seen_.take(),
                  row.traced ? lines{"8 Unable to convert \"CORP\",\"ghosts\" to group SID.\n"} : lines{});
        tbs_acl_user_to_usid("CORP", "fred", &value);
        EXPECT_EQ(seen_.take(), lines{});
    }
}

TEST_F(TbsAclNameToSid, RefusesNull) {
    EXPECT_EQ(tbs_acl_user_to_usid("CORP", "fred", nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_group_to_gsid("CORP", "staff", nullptr), TBS_ST_EINVAL);
}

// ---- identity to text ---------------------------------------------------------------------------------------------

using classic_writer = tbs_status_t (*)(const tbs_acl_id_t *, size_t, char *);
using sid_writer = tbs_status_t (*)(const tbs_sid_acl_id_t *, size_t, char *);

class TbsAclUtlIdToStr : public AclText {
protected:
    // The text, in a buffer that it just fills; checks that one byte less does not do.
    template <class Id, class Writer> std::string write(Writer writer, const Id &id) {
        char large[4096];
        EXPECT_EQ(writer(&id, sizeof large, large), 0);
        const std::string text = large;
        const std::unique_ptr<char[]> exact(new char[text.size() + 1]); // its own block, for AddressSanitizer
        EXPECT_EQ(writer(&id, text.size() + 1, exact.get()), 0);
        EXPECT_EQ(exact.get(), text);
        EXPECT_EQ(seen_.take(), lines{});
        if (!text.empty()) {
            EXPECT_EQ(writer(&id, text.size(), exact.get()), TBS_ST_ENAMETOOLONG);
            EXPECT_EQ(seen_.take(), lines{too_small()});
            EXPECT_EQ(writer(&id, 1, exact.get()), TBS_ST_ENAMETOOLONG);
            EXPECT_EQ(seen_.take(), lines{too_small()});
            exact[0] = '#';
            EXPECT_EQ(writer(&id, 0, exact.get()), TBS_ST_ENAMETOOLONG);
            EXPECT_EQ(exact[0], '#');
            EXPECT_EQ(seen_.take(), lines{too_small()});
        }
        return text;
    }
};

TEST_F(TbsAclUtlIdToStr, WritesClassicIdentities) {
    const struct {
        tbs_acl_id_t id;
        const char *qualifier, *text;
    } cases[] = {
        {classic_id(1, "CORP", "fred"), "CORP\\fred", "User:CORP\\fred"},
        {classic_id(2, "CORP", "Domain Users"), "CORP\\Domain Users", "Group:CORP\\Domain Users"},
        {classic_id(1), "\\", "User:\\"},
        {classic_id(1, nullptr, "fred"), "\\fred", "User:\\fred"},
        {classic_id(2, "CORP", nullptr), "CORP\\", "Group:CORP\\"},
        {classic_id(3, "CORP", "ignored"), "CORP", "Domain:CORP"},
        {classic_id(3), "", "Domain:"},
        {classic_id(4, "a", "b"), "", "Everyone:"},
        {classic_id(5, "a", "b"), "", "Owner-User:"},
        {classic_id(6), "", "Owner-Group:"},
        {classic_id(7, "ignored", "builders"), "builders", "Role:builders"},
        {classic_id(7), "", "Role:"},
        {classic_id(1, "%s%n", "%d"), "%s%n\\%d", "User:%s%n\\%d"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(write(tbs_acl_utl_id_qual_to_str, row.id), row.qualifier);
        EXPECT_EQ(write(tbs_acl_utl_id_to_str, row.id), row.text);
    }
}

TEST_F(TbsAclUtlIdToStr, WritesSidIdentities) {
    const struct {
        tbs_sid_acl_id_t id;
        const char *qualifier, *text;
    } cases[] = {
        {sid_id(1, sid(fred)), "CORP\\fred", "User:CORP\\fred"},
        {sid_id(1, sid(fred), "x", "y"), "CORP\\fred", "User:CORP\\fred"},
        {sid_id(2, sid(domain_users)), "CORP\\Domain Users", "Group:CORP\\Domain Users"},
        {sid_id(4), "", "Everyone:"},
        {sid_id(5, sid(fred)), "", "Owner-User:"},
        {sid_id(6), "", "Owner-Group:"},
        {sid_id(7, CREDUTL_SID_NOBODY, "x", "builders"), "builders", "Role:builders"},
        {sid_id(7), "", "Role:"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(write(tbs_sid_acl_utl_id_qual_to_str, row.id), row.qualifier);
        EXPECT_EQ(write(tbs_sid_acl_utl_id_to_str, row.id), row.text);
    }
}

TEST_F(TbsAclUtlIdToStr, RefusesUnknownKinds) {
    char buffer[100];
    for (const uint32_t kind : {0u, 8u, 0xFFFFFFFFu}) {
        const lines expected{
            error(0, "Unrecognized ACL identity type (" + std::to_string(static_cast<int32_t>(kind)) + ").\n")};
        const tbs_acl_id_t classic = classic_id(kind, "CORP", "fred");
        const tbs_sid_acl_id_t by_sid = sid_id(kind, sid(fred));
        for (const classic_writer writer : {tbs_acl_utl_id_qual_to_str, tbs_acl_utl_id_to_str}) {
            EXPECT_EQ(writer(&classic, sizeof buffer, buffer), TBS_ST_EINVAL);
            EXPECT_EQ(seen_.take(), expected);
        }
        for (const sid_writer writer : {tbs_sid_acl_utl_id_qual_to_str, tbs_sid_acl_utl_id_to_str}) {
            EXPECT_EQ(writer(&by_sid, sizeof buffer, buffer), TBS_ST_EINVAL);
            EXPECT_EQ(seen_.take(), expected);
        }
    }
}

TEST_F(TbsAclUtlIdToStr, RefusesASidDomain) {
    char buffer[100];
    const tbs_sid_acl_id_t id = sid_id(3, CREDUTL_SID_NOBODY, "CORP");
    for (const sid_writer writer : {tbs_sid_acl_utl_id_qual_to_str, tbs_sid_acl_utl_id_to_str}) {
        EXPECT_EQ(writer(&id, sizeof buffer, buffer), TBS_ST_EINVAL);
        EXPECT_EQ(seen_.take(), lines{error(0, "Unrecognized ACL identity type (3).\n")});
    }
}

TEST_F(TbsAclUtlIdToStr, ShowsASidWithoutAccountByItsUserText) {
    char buffer[200];
    const auto expected = [](const std::string &text) {
        return lines{error(24, "Unable to convert identity \"" + text + "\" to an account/group name.\n")};
    };
    const struct {
        tbs_sid_acl_id_t id;
        std::string shown;
    } cases[] = {
        {sid_id(1, sid(stranger)), sid_text(stranger)}, {sid_id(2, sid(stranger)), sid_text(stranger)},
        {sid_id(1, sid(staff)), sid_text(staff)}, // a group is no user
        {sid_id(2, sid(fred)), sid_text(fred)},   // nor a user a group
        {sid_id(1, CREDUTL_SID_NOBODY), "S-1-0-0"},     {sid_id(2, CREDUTL_SID_NOBODY), "S-1-0-0"},
    };
    for (const auto &row : cases) {
        // The text is what the user look-up says, for groups too.
        char text[CREDUTL_NAME_SIZE];
        sysutl_usid_to_user(&row.id.sid, SYSUTL_FORM_SID, text, sizeof text);
        EXPECT_EQ(text, row.shown);
        for (const sid_writer writer : {tbs_sid_acl_utl_id_qual_to_str, tbs_sid_acl_utl_id_to_str}) {
            EXPECT_EQ(writer(&row.id, sizeof buffer, buffer), TBS_ST_ERROR);
            EXPECT_EQ(seen_.take(), expected(row.shown));
        }
    }
    const tbs_sid_acl_id_t no_sid = sid_id(1, credutl_sid_t{});
    EXPECT_EQ(tbs_sid_acl_utl_id_qual_to_str(&no_sid, sizeof buffer, buffer), TBS_ST_ERROR);
    EXPECT_EQ(seen_.take(), expected(""));
}

TEST_F(TbsAclUtlIdToStr, HoldsTextsOf1023BytesAndNoLongerOnes) {
    char buffer[4096];
    const std::string fits = repeat(1023), too_long = repeat(1024);
    const std::string fits_text = repeat(1018), too_long_text = repeat(1019); // with "Role:"
    const auto classic = [&](classic_writer writer, const std::string &name) {
        const tbs_acl_id_t id = classic_id(7, nullptr, name.c_str());
        return writer(&id, sizeof buffer, buffer);
    };
    EXPECT_EQ(classic(tbs_acl_utl_id_qual_to_str, fits), 0);
    EXPECT_EQ(buffer, fits);
    EXPECT_EQ(classic(tbs_acl_utl_id_to_str, fits_text), 0);
    EXPECT_EQ(buffer, "Role:" + fits_text);
    EXPECT_EQ(seen_.take(), lines{});
    EXPECT_EQ(classic(tbs_acl_utl_id_qual_to_str, too_long), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(seen_.take(), lines{too_small()});
    for (const std::string &name : {too_long_text, fits, too_long, repeat(100'000)}) {
        EXPECT_EQ(classic(tbs_acl_utl_id_to_str, name), TBS_ST_ENAMETOOLONG);
        EXPECT_EQ(seen_.take(), lines{too_small()});
    }

    const auto by_sid = [&](sid_writer writer, const std::string &name) {
        const tbs_sid_acl_id_t id = sid_id(7, CREDUTL_SID_NOBODY, nullptr, name.c_str());
        return writer(&id, sizeof buffer, buffer);
    };
    EXPECT_EQ(by_sid(tbs_sid_acl_utl_id_qual_to_str, fits), 0);
    EXPECT_EQ(by_sid(tbs_sid_acl_utl_id_to_str, fits_text), 0);
    EXPECT_EQ(buffer, "Role:" + fits_text);
    EXPECT_EQ(seen_.take(), lines{});
    EXPECT_EQ(by_sid(tbs_sid_acl_utl_id_qual_to_str, too_long), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(seen_.take(), lines{too_small()});
    EXPECT_EQ(by_sid(tbs_sid_acl_utl_id_to_str, too_long_text), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(seen_.take(), lines{too_small()});

    const tbs_acl_id_t user = classic_id(1, fits_text.c_str(), "fred");
    EXPECT_EQ(tbs_acl_utl_id_qual_to_str(&user, sizeof buffer, buffer), 0);
    EXPECT_EQ(buffer, fits_text + "\\fred");
    const tbs_acl_id_t longer = classic_id(1, fits_text.c_str(), "wilma");
    EXPECT_EQ(tbs_acl_utl_id_qual_to_str(&longer, sizeof buffer, buffer), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(seen_.take(), lines{too_small()});
}

TEST_F(TbsAclUtlIdToStr, RefusesNull) {
    char buffer[100];
    const tbs_acl_id_t classic = classic_id(4);
    const tbs_sid_acl_id_t by_sid = sid_id(4);
    for (const classic_writer writer : {tbs_acl_utl_id_qual_to_str, tbs_acl_utl_id_to_str}) {
        EXPECT_EQ(writer(nullptr, sizeof buffer, buffer), TBS_ST_EINVAL);
        EXPECT_EQ(writer(&classic, sizeof buffer, nullptr), TBS_ST_EINVAL);
    }
    for (const sid_writer writer : {tbs_sid_acl_utl_id_qual_to_str, tbs_sid_acl_utl_id_to_str}) {
        EXPECT_EQ(writer(nullptr, sizeof buffer, buffer), TBS_ST_EINVAL);
        EXPECT_EQ(writer(&by_sid, sizeof buffer, nullptr), TBS_ST_EINVAL);
    }
}

// ---- validation, seen through the functions that set entries ------------------------------------------------------

class AclIdentityValidation : public AclText {
protected:
    tbs_status_t set_classic(const tbs_acl_id_t &id) {
        classic_ = make_classic();
        return tbs_acl_set_entry(classic_.get(), id, 1);
    }
    tbs_status_t set_sid(const tbs_sid_acl_id_t &id) {
        sid_ = make_sid();
        return tbs_sid_acl_set_entry(sid_.get(), id, 1);
    }
    // The real status of the check, which setting a SID entry hides.
    tbs_status_t replace_sid(const tbs_sid_acl_id_t &id) {
        sid_ = make_sid();
        EXPECT_EQ(set(sid_, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
        const tbs_sid_acl_id_t old_id = sid_id(TBS_ACL_ID_EVERYONE);
        return tbs_sid_acl_replace_id(sid_.get(), &old_id, &id);
    }
    std::string stored_classic() { return text_of(classic_->entries[0].id); }
    std::string stored_sid() {
        const tbs_sid_acl_id_t &id = sid_->entries->entries[0].id;
        return std::string(id.domain) + '|' + id.name;
    }

    classic_ptr classic_;
    sid_ptr sid_;
};

TEST_F(AclIdentityValidation, RefusesUnknownKinds) {
    for (const uint32_t kind : {0u, 8u, 0x80000000u}) {
        const lines expected{
            error(0, "Unrecognized ACL identity type (" + std::to_string(static_cast<int32_t>(kind)) + ").\n")};
        EXPECT_EQ(set_classic(classic_id(kind, "CORP", "fred")), TBS_ST_EINVAL);
        EXPECT_EQ(seen_.take(), expected);
        EXPECT_EQ(set_sid(sid_id(kind, sid(fred))), 1);
        EXPECT_EQ(seen_.take(), expected);
        EXPECT_EQ(replace_sid(sid_id(kind, sid(fred))), TBS_ST_EINVAL);
        EXPECT_EQ(seen_.take(), expected);
        EXPECT_EQ(tbs_acl_num_entries(classic_.get()), 0u);
    }
}

TEST_F(AclIdentityValidation, ClassicUsersGroupsAndDomainsNeedADomain) {
    const lines expected{error(3, "ACL identity's domain must not be empty.\n")};
    for (const uint32_t kind : {1u, 2u, 3u}) {
        for (const char *domain : {static_cast<const char *>(nullptr), ""}) {
            for (const char *name : {static_cast<const char *>(nullptr), "", "fred"}) {
                EXPECT_EQ(set_classic(classic_id(kind, domain, name)), TBS_ST_ERROR);
                EXPECT_EQ(seen_.take(), expected);
            }
        }
    }
}

TEST_F(AclIdentityValidation, ClassicUsersGroupsAndRolesNeedAName) {
    const lines expected{error(4, "ACL identity's name must not be empty.\n")};
    for (const uint32_t kind : {1u, 2u, 7u}) {
        for (const char *name : {static_cast<const char *>(nullptr), ""}) {
            EXPECT_EQ(set_classic(classic_id(kind, "CORP", name)), TBS_ST_ERROR);
            EXPECT_EQ(seen_.take(), expected);
        }
    }
}

TEST_F(AclIdentityValidation, SidDomainsNeedADomain) {
    for (const char *domain : {static_cast<const char *>(nullptr), ""}) {
        const tbs_sid_acl_id_t id = sid_id(3, CREDUTL_SID_NOBODY, domain, "name");
        EXPECT_EQ(set_sid(id), 1);
        EXPECT_EQ(seen_.take(), lines{error(3, "ACL identity's domain must not be empty.\n")});
        EXPECT_EQ(replace_sid(id), TBS_ST_ERROR);
        EXPECT_EQ(seen_.take(), lines{error(3, "ACL identity's domain must not be empty.\n")});
    }
}

TEST_F(AclIdentityValidation, SidRolesNeedAWellFormedName) {
    for (const char *name : {static_cast<const char *>(nullptr), ""}) {
        const tbs_sid_acl_id_t id = sid_id(7, CREDUTL_SID_NOBODY, "x", name);
        EXPECT_EQ(set_sid(id), 1);
        EXPECT_EQ(seen_.take(), lines{error(22, "ACL identity's role name must not be empty.\n")});
        EXPECT_EQ(replace_sid(id), TBS_ST_ERROR);
        EXPECT_EQ(seen_.take(), lines{error(22, "ACL identity's role name must not be empty.\n")});
    }
    for (const char *name : {"-a", "-", "a b", "a:b", "a/b", "a\\b", "a,b", "a#", "a\tb", "*", "a+"}) {
        const tbs_sid_acl_id_t id = sid_id(7, CREDUTL_SID_NOBODY, nullptr, name);
        const lines expected{error(29, std::string("Invalid role name \"") + name + "\".\n")};
        EXPECT_EQ(set_sid(id), 1);
        EXPECT_EQ(seen_.take(), expected);
        EXPECT_EQ(replace_sid(id), TBS_ST_ERROR);
        EXPECT_EQ(seen_.take(), expected);
    }
    for (const char *name : {"a", "Z9", "9a", "_", ".", ".a", "a-b", "a-", "_a.b-c", "gr\xC3\xBC\xC3\x9F"}) {
        EXPECT_EQ(set_sid(sid_id(7, CREDUTL_SID_NOBODY, nullptr, name)), 0) << name;
    }
    EXPECT_EQ(set_classic(classic_id(7, nullptr, "-a b:c")), 0); // a classic role may have any name
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(AclIdentityValidation, ShowsControlCharactersOfARoleName) {
    EXPECT_EQ(set_sid(sid_id(7, CREDUTL_SID_NOBODY, nullptr, "a\nb\x1b[1m\x7f")), 1);
    EXPECT_EQ(seen_.take(), lines{error(29, "Invalid role name \"a^Jb^[[1m^?\".\n")});
}

TEST_F(AclIdentityValidation, EmptiesWhatAClassicKindDoesNotUse) {
    const struct {
        uint32_t kind;
        const char *stored;
    } cases[] = {{1, "D|N"}, {2, "D|N"}, {3, "D|"}, {4, "|"}, {5, "|"}, {6, "|"}, {7, "|N"}};
    for (const auto &row : cases) {
        EXPECT_EQ(set_classic(classic_id(row.kind, "D", "N")), 0);
        EXPECT_EQ(stored_classic(), row.stored);
    }
}

TEST_F(AclIdentityValidation, EmptiesWhatASidKindDoesNotUse) {
    const struct {
        uint32_t kind;
        const char *stored;
    } cases[] = {{1, "|"}, {2, "|"}, {3, "D|"}, {4, "|"}, {5, "|"}, {6, "|"}, {7, "|N"}};
    for (const auto &row : cases) {
        EXPECT_EQ(set_sid(sid_id(row.kind, sid(fred), "D", "N")), 0);
        EXPECT_EQ(stored_sid(), row.stored);
    }
}

TEST_F(AclIdentityValidation, NormalisesBeforeItLooksForTheEntry) {
    classic_ptr acl = make_classic();
    EXPECT_EQ(set(acl, TBS_ACL_ID_DOMAIN, "CORP", nullptr, 1), 0);
    EXPECT_EQ(set(acl, TBS_ACL_ID_DOMAIN, "corp", "x", 2), 0);
    EXPECT_EQ(set(acl, TBS_ACL_ID_ROLE, nullptr, "r", 1), 0);
    EXPECT_EQ(set(acl, TBS_ACL_ID_ROLE, "x", "R", 2), 0);
    EXPECT_EQ(tbs_acl_num_entries(acl.get()), 2u);
}

// ---- permission text to set ---------------------------------------------------------------------------------------

class TbsAclUtlPermSetFromStr : public AclText {
protected:
    static constexpr tbs_acl_permission_set_t untouched = 0xA5A5A5A5;

    // The set, or `untouched` when the text is refused.
    tbs_acl_permission_set_t read(const std::string &text, const tbs_acl_generic_map_t &generic = map) {
        tbs_acl_permission_set_t perms = untouched;
        status_ = tbs_acl_utl_perm_set_from_str(text.c_str(), names, name_count, &generic, &perms);
        if (status_ != 0) {
            EXPECT_EQ(perms, untouched);
        }
        return perms;
    }
    void expect_refused(const std::string &text, const std::string &token) {
        SCOPED_TRACE(text);
        read(text);
        EXPECT_EQ(status_, TBS_ST_EINVAL);
        EXPECT_EQ(seen_.take(), lines{error(2, "Unrecognized ACL permission: \"" + token + "\".\n")});
    }

    tbs_status_t status_ = 0;
};

TEST_F(TbsAclUtlPermSetFromStr, KnowsTheBuiltInNames) {
    const tbs_acl_generic_map_t identity{TBS_ACL_PERM_READ, TBS_ACL_PERM_CHANGE, TBS_ACL_PERM_EXECUTE,
                                         TBS_ACL_PERM_FULL};
#define EXPECT_VALUE(symbol, text, value)                                                                            \
    EXPECT_EQ(read(text, identity), value);                                                                          \
    EXPECT_EQ(TBS_ACL_PERM_##symbol, value);
    TBS_ACL_PERMISSION_LIST(EXPECT_VALUE)
#undef EXPECT_VALUE
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsAclUtlPermSetFromStr, LeavesAnEmptyTextEmpty) {
    for (const char *text : {static_cast<const char *>(nullptr), ""}) {
        tbs_acl_permission_set_t perms = untouched;
        EXPECT_EQ(tbs_acl_utl_perm_set_from_str(text, names, name_count, &map, &perms), 0);
        EXPECT_EQ(perms, 0u);
    }
}

TEST_F(TbsAclUtlPermSetFromStr, AddsTheTokens) {
    EXPECT_EQ(read("Delete"), 0x00010000u);
    EXPECT_EQ(read("List,Mount"), 0x11u);
    EXPECT_EQ(read("List,List,list,LIST"), 0x01u);
    EXPECT_EQ(read("aclread,ACLWRITE"), 0x00060000u);
    EXPECT_EQ(read("SpecificOther,StandardOther"), 0x07FFFFFFu);
    EXPECT_EQ(read("Reserved"), 0x08000000u); // only storing drops it
}

TEST_F(TbsAclUtlPermSetFromStr, ExpandsGenericNames) {
    EXPECT_EQ(read("Read"), 0x00020001u);
    EXPECT_EQ(read("Change"), 0x00030007u);
    EXPECT_EQ(read("Execute"), 0x00000008u);
    EXPECT_EQ(read("Full"), 0x0007001Fu);
    EXPECT_EQ(read("GenericOther"), 0x0007001Fu);
    EXPECT_EQ(read("Read,Execute,Mount"), 0x00020019u);
    EXPECT_EQ(read("Read", no_map), 0u);
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(read("Full,Delete", no_map), 0x00010000u);
}

TEST_F(TbsAclUtlPermSetFromStr, ExpandsInTheOrderFullChangeReadExecute) {
    // Each mask names the next generic bit; the last one names the first, which is not looked at again.
    const tbs_acl_generic_map_t chain{0x20000004, 0x80000002, 0x10000008, 0x40000001};
    EXPECT_EQ(read("Full", chain), 0x1000000Fu);
    EXPECT_EQ(read("Change", chain), 0x1000000Eu);
    EXPECT_EQ(read("Read", chain), 0x1000000Cu);
    EXPECT_EQ(read("Execute", chain), 0x10000008u);
    const tbs_acl_generic_map_t back{0x40000001, 0x10000002, 0x80000004, 0x00000010};
    EXPECT_EQ(read("Execute", back), 0x80000004u);
    EXPECT_EQ(read("Read", back), 0x40000001u);
    EXPECT_EQ(read("Change", back), 0x10000002u);
}

TEST_F(TbsAclUtlPermSetFromStr, CountsANullMapAsZero) {
    tbs_acl_permission_set_t perms = untouched;
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("Full,Delete", names, name_count, nullptr, &perms), 0);
    EXPECT_EQ(perms, 0x00010000u);
}

TEST_F(TbsAclUtlPermSetFromStr, RefusesEmptyTokens) {
    expect_refused(",", "");
    expect_refused("Read,", "");
    expect_refused(",Read", "");
    expect_refused("Read,,Delete", "");
    expect_refused(",,", "");
}

TEST_F(TbsAclUtlPermSetFromStr, RefusesAnEmptyTokenWhateverTheCallersNames) {
    const tbs_acl_perm_name_t extra[] = {{"", 0x04}};
    tbs_acl_permission_set_t perms = untouched;
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("Delete,", extra, 1, &map, &perms), TBS_ST_EINVAL);
    EXPECT_EQ(perms, untouched);
    EXPECT_EQ(seen_.take(), lines{error(2, "Unrecognized ACL permission: \"\".\n")});
}

TEST_F(TbsAclUtlPermSetFromStr, RefusesUnknownTokens) {
    expect_refused("Bogus", "Bogus");
    expect_refused("Read,Bogus,Other", "Bogus");
    expect_refused("Bogus,,", "Bogus");
    expect_refused("Rea", "Rea");
    expect_refused("Reads", "Reads");
    expect_refused(" Read", " Read");
    expect_refused("Read ", "Read ");
    expect_refused("Read, Delete", " Delete");
    expect_refused("Read;Delete", "Read;Delete");
    expect_refused("0x00000001", "0x00000001");
    expect_refused("1", "1");
    expect_refused(" ", " ");
    expect_refused("Del\nete", "Del^Jete");
    expect_refused("De\xFFlete", "De\\xfflete");
}

TEST_F(TbsAclUtlPermSetFromStr, PrefersTheCallersNames) {
    const tbs_acl_perm_name_t shadow[] = {{"delete", 0x20}, {"Twice", 0x40}, {"TWICE", 0x80}, {"READ", 0x100}};
    tbs_acl_permission_set_t perms = untouched;
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("Delete", shadow, 4, &map, &perms), 0);
    EXPECT_EQ(perms, 0x20u);
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("twice", shadow, 4, &map, &perms), 0);
    EXPECT_EQ(perms, 0x40u);
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("Read", shadow, 4, &map, &perms), 0);
    EXPECT_EQ(perms, 0x100u);
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("Delete", shadow, 0, &map, &perms), 0);
    EXPECT_EQ(perms, 0x10000u);
}

TEST_F(TbsAclUtlPermSetFromStr, ExpandsTheCallersValuesToo) {
    const tbs_acl_perm_name_t extra[] = {{"Browse", TBS_ACL_PERM_READ | 0x10}};
    tbs_acl_permission_set_t perms = untouched;
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("browse", extra, 1, &map, &perms), 0);
    EXPECT_EQ(perms, 0x00020011u);
}

TEST_F(TbsAclUtlPermSetFromStr, CutsAt1023Bytes) {
    const std::string name = repeat(1023, 'n');
    const tbs_acl_perm_name_t extra[] = {{name.c_str(), 0x04}};
    tbs_acl_permission_set_t perms = untouched;
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str((name + "x").c_str(), extra, 1, &map, &perms), 0);
    EXPECT_EQ(perms, 0x04u);
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str((name + ",,Bogus").c_str(), extra, 1, &map, &perms), 0);
    EXPECT_EQ(perms, 0x04u);
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsAclUtlPermSetFromStr, RefusesNull) {
    tbs_acl_permission_set_t perms = untouched;
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("Read", nullptr, 1, &map, &perms), TBS_ST_EINVAL);
    EXPECT_EQ(perms, untouched);
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("Read", nullptr, 0, &map, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_utl_perm_set_from_str("Read", nullptr, 0, &map, &perms), 0);
    EXPECT_EQ(perms, 0x00020001u);
}

TEST_F(TbsAclUtlPermSetFromStr, EveryAllocationMayFail) {
    refuse_each([] { return 0; },
                [&](int) {
                    tbs_acl_permission_set_t perms = untouched;
                    const tbs_status_t status =
                        tbs_acl_utl_perm_set_from_str("Read,Delete", names, name_count, &map, &perms);
                    return [this, status, perms](bool disturbed) {
                        EXPECT_EQ(status, disturbed ? TBS_ST_ENOMEM : 0);
                        EXPECT_EQ(perms, disturbed ? untouched : 0x00030001u);
                        EXPECT_EQ(seen_.take(), disturbed ? lines{no_memory()} : lines{});
                    };
                });
}

class TbsAclUtlPermSetFromCombinedStrings : public AclText {
protected:
    static constexpr tbs_acl_permission_set_t untouched = 0xA5A5A5A5;

    tbs_acl_permission_set_t read(const char *granted, const char *excluded,
                                  const tbs_acl_generic_map_t &generic = map) {
        tbs_acl_permission_set_t perms = untouched;
        status_ = tbs_acl_utl_perm_set_from_combined_strings(granted, excluded, names, name_count, &generic, &perms);
        return perms;
    }

    tbs_status_t status_ = 0;
};

TEST_F(TbsAclUtlPermSetFromCombinedStrings, TakesTheExcludedNamesFromTheGranted) {
    EXPECT_EQ(read("List,Mount,Delete", "Mount"), 0x00010001u);
    EXPECT_EQ(read("Full", "Read"), 0x0005001Eu);
    EXPECT_EQ(read("Change", "AclRead,Delete"), 0x00000007u);
    EXPECT_EQ(read("Read", "Full"), 0u);
    EXPECT_EQ(read("Read", "GenericOther"), 0u);
    EXPECT_EQ(read("List", "Delete,Mount"), 0x01u);
    EXPECT_EQ(read("List,Modify", "list"), 0x02u);
    EXPECT_EQ(seen_.take(), lines{});
}

TEST_F(TbsAclUtlPermSetFromCombinedStrings, EitherTextMayBeEmpty) {
    for (const char *none : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(read("Read", none), 0x00020001u);
        EXPECT_EQ(read(none, "Read"), 0u);
        EXPECT_EQ(status_, 0);
        EXPECT_EQ(read(none, none), 0u);
        EXPECT_EQ(status_, 0);
    }
}

TEST_F(TbsAclUtlPermSetFromCombinedStrings, ExpandsBitsOfTheSetBeforeItRemoves) {
    // "Execute" leaves the generic bit Full in the set, which the second pass expands.
    const tbs_acl_generic_map_t chain{0x04, 0x02, 0x10000008, 0x0007001F};
    EXPECT_EQ(read("Execute", "Mount", chain), 0x0007000Fu | 0x08u);
    EXPECT_EQ(read("Execute", "", chain), 0x10000008u);
}

TEST_F(TbsAclUtlPermSetFromCombinedStrings, RefusesUnknownNamesOnEitherSide) {
    const struct {
        const char *granted, *excluded, *token;
    } cases[] = {{"Bogus", "Read", "Bogus"}, {"Read", "Bogus", "Bogus"}, {"Read", "List,", ""},
                 {"Read,", "Bogus", ""},     {nullptr, ",", ""},         {"One", "Two", "One"}};
    for (const auto &row : cases) {
        EXPECT_EQ(read(row.granted, row.excluded), untouched);
        EXPECT_EQ(status_, TBS_ST_EINVAL);
        EXPECT_EQ(seen_.take(),
                  lines{error(2, std::string("Unrecognized ACL permission: \"") + row.token + "\".\n")});
    }
}

TEST_F(TbsAclUtlPermSetFromCombinedStrings, RefusesNull) {
    tbs_acl_permission_set_t perms = untouched;
    EXPECT_EQ(tbs_acl_utl_perm_set_from_combined_strings("Read", "", nullptr, 1, &map, &perms), TBS_ST_EINVAL);
    EXPECT_EQ(perms, untouched);
    EXPECT_EQ(tbs_acl_utl_perm_set_from_combined_strings("Read", "", nullptr, 0, &map, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_utl_perm_set_from_combined_strings("Full,List", "", names, name_count, nullptr, &perms), 0);
    EXPECT_EQ(perms, 0x01u);
}

TEST_F(TbsAclUtlPermSetFromCombinedStrings, EveryAllocationMayFail) {
    refuse_each([] { return 0; },
                [&](int) {
                    const tbs_acl_permission_set_t perms = read("Full", "Read");
                    const tbs_status_t status = status_;
                    return [this, status, perms](bool disturbed) {
                        EXPECT_EQ(status, disturbed ? TBS_ST_ENOMEM : 0);
                        EXPECT_EQ(perms, disturbed ? untouched : 0x0005001Eu);
                        EXPECT_EQ(seen_.take(), disturbed ? lines{no_memory()} : lines{});
                    };
                });
}

// ---- permission set to text ---------------------------------------------------------------------------------------

std::string written(tbs_acl_permission_set_t perms, const tbs_acl_generic_map_t *generic = &no_map) {
    const char *text = tbs_acl_utl_perm_set_to_str(perms, nullptr, 0, generic);
    return text ? text : "(null)";
}

std::string written_with_names(tbs_acl_permission_set_t perms, const tbs_acl_generic_map_t &generic = map) {
    const char *text = tbs_acl_utl_perm_set_to_str(perms, names, name_count, &generic);
    return text ? text : "(null)";
}

TEST(TbsAclUtlPermSetToStr, WritesTheBuiltInNamesInTheirOrder) {
    EXPECT_EQ(written(0), "");
    EXPECT_EQ(written(0x00010000), "Delete");
    EXPECT_EQ(written(0x00060000), "AclRead,AclWrite");
    EXPECT_EQ(written(0x0780FFFF), "SpecificOther");
    EXPECT_EQ(written(0x0781FFFF), "SpecificOther,Delete");
    EXPECT_EQ(written(0x08000000), "Reserved");
    EXPECT_EQ(written(0x10000000), "Full");
    EXPECT_EQ(written(0x20000000), "Execute");
    EXPECT_EQ(written(0x40000000), "Change");
    EXPECT_EQ(written(0x80000000), "Read");
    EXPECT_EQ(written(0xC0000000), "Read,Change");
    EXPECT_EQ(written(0xF0000000), "Full,Execute,Read,Change");
    EXPECT_EQ(written(0xFFFFFFFF),
              "SpecificOther,Delete,AclRead,AclWrite,StandardOther,Reserved,Full,Execute,Read,Change");
}

TEST(TbsAclUtlPermSetToStr, NamesOverlappingSetsOnlyForBitsNotYetNamed) {
    EXPECT_EQ(written(0x00070000), "Delete,AclRead,AclWrite");
    EXPECT_EQ(written(0x007F0000), "Delete,AclRead,AclWrite,StandardOther");
    const tbs_acl_perm_name_t extra[] = {{"Wide", 0x007F0000}, {"Narrow", 0x00080000}};
    EXPECT_STREQ(tbs_acl_utl_perm_set_to_str(0x007F0000, extra, 2, &no_map), "Wide");
    EXPECT_STREQ(tbs_acl_utl_perm_set_to_str(0x00080000, extra, 2, &no_map), "Narrow");
}

TEST(TbsAclUtlPermSetToStr, WritesBitsWithoutNameAsOneNumber) {
    EXPECT_EQ(written(0x00000001), "0x00000001");
    EXPECT_EQ(written(0x00000801 | 0x00020000), "AclRead,0x00000801");
    EXPECT_EQ(written(0x0780FFFE), "0x0780fffe");
    EXPECT_EQ(written_with_names(0x00000021), "List,0x00000020");
}

TEST(TbsAclUtlPermSetToStr, FoldsGenericSets) {
    EXPECT_EQ(written_with_names(0x00020001), "Read");
    EXPECT_EQ(written(0x00020001, &map), "Read");
    EXPECT_EQ(written_with_names(0x00030007), "Change");
    EXPECT_EQ(written_with_names(0x00000008), "Execute");
    EXPECT_EQ(written_with_names(0x0007001F), "Full");
    EXPECT_EQ(written_with_names(0x0007001F | 0x00080000), "Full,0x00080000");
    EXPECT_EQ(written_with_names(0x00020000), "AclRead"); // half of Read is not Read
    EXPECT_EQ(written_with_names(0x00000001), "List");
}

TEST(TbsAclUtlPermSetToStr, FoldingConsumesBitsInTheOrderFullChangeReadExecute) {
    EXPECT_EQ(written_with_names(0x0003000F), "Execute,Change"); // Change took what Read would need
    EXPECT_EQ(written_with_names(0x00020009), "Execute,Read");
    const tbs_acl_generic_map_t same{0x1, 0x1, 0x1, 0x1};
    EXPECT_EQ(written(0x1, &same), "Full");
    const tbs_acl_generic_map_t no_full{0x1, 0x1, 0x1, 0};
    EXPECT_EQ(written(0x1, &no_full), "Change");
    const tbs_acl_generic_map_t no_change{0x1, 0, 0x1, 0};
    EXPECT_EQ(written(0x1, &no_change), "Read");
    const tbs_acl_generic_map_t overlapping{0x3, 0, 0x6, 0};
    EXPECT_EQ(written(0x7, &overlapping), "Read,0x00000004");
}

TEST(TbsAclUtlPermSetToStr, FoldsNothingIntoAnEmptyMask) {
    EXPECT_EQ(written(0, &no_map), "");
    EXPECT_EQ(written(0, nullptr), "");
    EXPECT_EQ(written(0x00010000, nullptr), "Delete");
    EXPECT_EQ(written(0x80000000, nullptr), "Read");
}

TEST(TbsAclUtlPermSetToStr, WritesTheCallersNamesFirst) {
    EXPECT_EQ(written_with_names(0x00050011), "List,Mount,Delete,AclWrite");
    const tbs_acl_perm_name_t shadow[] = {{"DELETE", 0x20}, {"Keep", 0x40}, {"keep", 0x80}};
    EXPECT_STREQ(tbs_acl_utl_perm_set_to_str(0x00010020, shadow, 3, &no_map), "DELETE,0x00010000");
    EXPECT_STREQ(tbs_acl_utl_perm_set_to_str(0xC0, shadow, 3, &no_map), "Keep,0x00000080");
    const tbs_acl_perm_name_t none[] = {{"None", 0}};
    EXPECT_STREQ(tbs_acl_utl_perm_set_to_str(0, none, 1, &no_map), "None");
    EXPECT_STREQ(tbs_acl_utl_perm_set_to_str(0x00010000, none, 1, &no_map), "Delete");
}

TEST(TbsAclUtlPermSetToStr, GivesATextOfTheThread) {
    const char *mine = tbs_acl_utl_perm_set_to_str(0x00010000, nullptr, 0, &no_map);
    std::thread([] { EXPECT_STREQ(tbs_acl_utl_perm_set_to_str(0x00020000, nullptr, 0, &no_map), "AclRead"); }).join();
    EXPECT_STREQ(mine, "Delete");
}

TEST(TbsAclUtlPermSetToStr, GrowsWithTheNames) {
    const std::string name(5000, 'n');
    const tbs_acl_perm_name_t extra[] = {{name.c_str(), 1}, {"b", 2}};
    EXPECT_EQ(tbs_acl_utl_perm_set_to_str(3, extra, 2, &no_map), name + ",b");
}

TEST(TbsAclUtlPermSetToStr, GivesNullForACountWithoutNames) {
    EXPECT_EQ(tbs_acl_utl_perm_set_to_str(1, nullptr, 1, &no_map), nullptr);
}

TEST(TbsAclUtlPermSetToStr, EveryAllocationMayFail) {
    recorder seen;
    int met = 0;
    for (bool disturbed = true; disturbed;) {
        std::string text;
        std::thread([&] { // a thread that has no text yet
            const faults::refuse refused(met + 1, false);
            const char *result = tbs_acl_utl_perm_set_to_str(0x00050011, names, name_count, &map);
            disturbed = refused.happened();
            const faults::suspend unrefused;
            text = result ? result : "(null)";
        })
            .join();
        EXPECT_EQ(text, disturbed ? "(null)" : "List,Mount,Delete,AclWrite");
        EXPECT_EQ(seen.take(), disturbed ? lines{no_memory()} : lines{});
        met += disturbed;
    }
    EXPECT_GT(met, 0);
}

TEST(TbsAclUtlPermSetToStr, WhatItWritesReadsBackAsTheSameSet) {
    recorder seen;
    std::mt19937 random(20); // NOLINT: the same sets each time
    const auto bits = [&] { return static_cast<uint32_t>(random() & random()) & TBS_ACL_STORED_PERMS; };
    for (int round = 0; round < 20'000; round++) {
        const tbs_acl_generic_map_t generic{bits(), bits(), bits(), bits()};
        const tbs_acl_perm_name_t extra[] = {{"A", bits()}, {"B", bits()}, {"a", bits()}, {"Delete", bits()}};
        const tbs_acl_permission_set_t perms =
            bits() | (random() % 2 ? generic.read : 0) | (random() % 2 ? generic.write : 0);
        std::string text = tbs_acl_utl_perm_set_to_str(perms, extra, std::size(extra), &generic);
        tbs_acl_permission_set_t unnamed = 0;
        const size_t number = text.rfind("0x");
        if (number != std::string::npos) {
            unnamed = static_cast<uint32_t>(std::stoul(text.substr(number), nullptr, 16));
            text.resize(number == 0 ? 0 : number - 1);
        }
        tbs_acl_permission_set_t back = 0;
        ASSERT_EQ(tbs_acl_utl_perm_set_from_str(text.c_str(), extra, std::size(extra), &generic, &back), 0) << text;
        ASSERT_EQ(back | unnamed, perms) << text;
        ASSERT_EQ(unnamed & ~perms, 0u) << text;
    }
    EXPECT_EQ(seen.take(), lines{});
}

} // namespace
