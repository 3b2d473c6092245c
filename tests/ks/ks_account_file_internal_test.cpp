#include "internal/ks_account_file.hpp"

#include "ks/ks_errno.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using ks::account_table;

account_table parse(const std::string &text) { return account_table::parse(text, "HOST"); }

std::string sid_of(const account_table &table, credutl_account_kind_t kind, const char *name) {
    const ks::file_account *account = table.by_name(kind, name);
    char text[CREDUTL_SID_STR_SIZE] = "";
    if (account) {
        credutl_sid_to_str(&account->sid, text, sizeof text);
    }
    return text;
}

// The reasons for the lines that were left out, as "line: reason".
std::vector<std::string> problems(const account_table &table) {
    std::vector<std::string> texts;
    for (const ks::file_problem &each : table.problems()) {
        texts.push_back(std::to_string(each.line) + ": " + each.reason);
    }
    return texts;
}

using strings = std::vector<std::string>;

TEST(AccountTable, ReadsUsersGroupsCommentsAndBlankLines) {
    const account_table table = parse("# accounts\n"
                                      "\n"
                                      "CORP\\alice user S-1-5-21-1-2-3-1001 5001\n"
                                      "   CORP/bob\t user\tS-1-5-21-1-2-3-1002   \r\n"
                                      "CORP\\Domain Users group S-1-5-21-1-2-3-513 5000");
    EXPECT_EQ(problems(table), strings{});
    EXPECT_EQ(table.account_count(), 3u);
    EXPECT_EQ(sid_of(table, CREDUTL_USER, "corp\\ALICE"), "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(sid_of(table, CREDUTL_USER, "CORP\\bob"), "S-1-5-21-1-2-3-1002");
    EXPECT_EQ(sid_of(table, CREDUTL_GROUP, "CORP\\domain users"), "S-1-5-21-1-2-3-513");
    EXPECT_EQ(table.by_name(CREDUTL_USER, "CORP\\alice")->id, 5001u);
    EXPECT_EQ(table.by_name(CREDUTL_USER, "CORP\\bob")->id, CREDUTL_NO_ID);
    EXPECT_EQ(table.by_id(CREDUTL_GROUP, 5000)->name, "CORP\\Domain Users");
    EXPECT_EQ(table.by_id(CREDUTL_USER, 5000), nullptr);
    EXPECT_EQ(table.by_name(CREDUTL_GROUP, "CORP\\alice"), nullptr);
    EXPECT_EQ(table.by_name(CREDUTL_USER, "alice"), nullptr);
}

TEST(AccountTable, KindWordsMayBePartOfAName) {
    const account_table table = parse("CORP\\user group group S-1-5-21-1-2-3-1\n"
                                      "CORP\\member user S-1-5-21-1-2-3-2\n"
                                      "CORP\\member member CORP\\member group\n"
                                      "CORP\\x 5 user S-1-5-21-1-2-3-3 7\n");
    EXPECT_EQ(problems(table), strings{});
    EXPECT_EQ(sid_of(table, CREDUTL_GROUP, "CORP\\user group"), "S-1-5-21-1-2-3-1");
    EXPECT_EQ(sid_of(table, CREDUTL_USER, "CORP\\x 5"), "S-1-5-21-1-2-3-3");
    EXPECT_EQ(table.groups_of("CORP\\member"), strings{"CORP\\member group"});
}

TEST(AccountTable, GroupsOfAUserKeepTheOrderOfTheirLines) {
    const account_table table = parse("CORP\\alice member CORP\\Domain Users\n"
                                      "CORP\\bob member CORP\\Testers\n"
                                      "corp\\ALICE member CORP\\Developers\n"
                                      "CORP\\alice member .\\wheel\n");
    EXPECT_EQ(problems(table), strings{});
    EXPECT_EQ(table.groups_of("CORP\\alice"), (strings{"CORP\\Domain Users", "CORP\\Developers", "HOST\\wheel"}));
    EXPECT_EQ(table.groups_of("CORP\\bob"), strings{"CORP\\Testers"});
    EXPECT_EQ(table.groups_of("CORP\\carol"), strings{});
}

TEST(AccountTable, DotIsTheHostsOwnDomain) {
    const account_table table = parse(".\\alice user S-1-5-21-1-2-3-1\n");
    EXPECT_EQ(sid_of(table, CREDUTL_USER, "host\\alice"), "S-1-5-21-1-2-3-1");
    EXPECT_EQ(table.by_name(CREDUTL_USER, ".\\alice"), nullptr);
}

TEST(AccountTable, WrongLinesAreLeftOutAndNamed) {
    const account_table table = parse("alice user S-1-5-21-1\n"
                                      "CORP\\ user S-1-5-21-1\n"
                                      "\\alice user S-1-5-21-1\n"
                                      "CORP\\a\\b user S-1-5-21-1\n"
                                      "CORP\\a\tb user S-1-5-21-1\n"
                                      "CORP\\a user S-1-5-021\n"
                                      "CORP\\a user S-1-5-1-2-3-4-5-6-7\n"
                                      "CORP\\a user S-1-0-0\n"
                                      "CORP\\a user S-1-5-21-1 -1\n"
                                      "CORP\\a user S-1-5-21-1 07\n"
                                      "CORP\\a user S-1-5-21-1 4294967294\n"
                                      "CORP\\a User S-1-5-21-1\n"
                                      "CORP\\a user\n"
                                      "CORP\\a S-1-5-21-1\n"
                                      "CORP\\a member Developers\n"
                                      "member CORP\\Developers\n"
                                      "CORP\\a member CORP\\b\\c\n"
                                      "CORP\\a user S-1-5-21-1 7 8\n"
                                      "CORP\\\x1b[0m user S-1-5-21-1\n");
    EXPECT_EQ(problems(table),
              (strings{"1: name is not DOMAIN\\name", "2: name is not DOMAIN\\name", "3: name is not DOMAIN\\name",
                       "4: name is not DOMAIN\\name", "5: name is not DOMAIN\\name", "6: bad SID", "7: bad SID",
                       "8: S-1-0-0 is nobody", "9: bad uid or gid", "10: bad uid or gid", "11: bad uid or gid",
                       "12: neither an account nor a membership", "13: neither an account nor a membership",
                       "14: neither an account nor a membership", "15: neither an account nor a membership",
                       "16: neither an account nor a membership", "17: name is not DOMAIN\\name",
                       "18: neither an account nor a membership", "19: control character"}));
    EXPECT_EQ(table.account_count(), 0u);
    EXPECT_EQ(table.groups_of("CORP\\a"), strings{});
}

TEST(AccountTable, FirstOfTwoThatDisagreeStays) {
    const account_table table = parse("CORP\\alice user S-1-5-21-1-1 1\n"
                                      "CORP\\ALICE user S-1-5-21-1-2 2\n"    // another SID
                                      "CORP\\bob user S-1-5-21-1-1 3\n"      // another name
                                      "CORP\\alice user S-1-5-21-1-1 4\n"    // another uid
                                      "CORP\\alice user S-1-5-21-1-1 1\n"    // the same again
                                      "CORP\\alice group S-1-5-21-1-1 1\n"); // another kind
    EXPECT_EQ(problems(table),
              (strings{"2: name is already defined", "3: SID is already defined", "4: name is already defined"}));
    EXPECT_EQ(sid_of(table, CREDUTL_USER, "CORP\\alice"), "S-1-5-21-1-1");
    EXPECT_EQ(table.by_name(CREDUTL_USER, "CORP\\bob"), nullptr);
    EXPECT_EQ(table.by_id(CREDUTL_USER, 2), nullptr);
    EXPECT_EQ(table.account_count(), 2u);
}

TEST(AccountTable, FirstOfTwoAccountsWithOneUidAnswersForIt) {
    const account_table table = parse("CORP\\a user S-1-5-21-1 7\nCORP\\b user S-1-5-21-2 7\n");
    EXPECT_EQ(table.by_id(CREDUTL_USER, 7)->name, "CORP\\a");
    EXPECT_EQ(table.by_name(CREDUTL_USER, "CORP\\b")->id, 7u);
}

TEST(AccountTable, StandsZeroBytesLongLinesAndBytesThatAreNotUtf8) {
    EXPECT_EQ(problems(parse(std::string("CORP\\a\0b user S-1-5-21-1\n", 24))), strings{"1: control character"});
    EXPECT_EQ(sid_of(parse("CORP\\\xFF\xFE user S-1-5-21-1\n"), CREDUTL_USER, "CORP\\\xFF\xFE"), "S-1-5-21-1");
    EXPECT_EQ(sid_of(parse("\xEF\xBB\xBF"
                           "CORP\\a user S-1-5-21-1\n"),
                     CREDUTL_USER, "CORP\\a"),
              "S-1-5-21-1");
    const std::string ten_megabytes(10 << 20, 'x');
    EXPECT_EQ(problems(parse("CORP\\" + ten_megabytes + " user S-1-5-21-1\nCORP\\a user S-1-5-21-2\n")),
              strings{"1: name is not DOMAIN\\name"});
    std::string members = "CORP\\a";
    while (members.size() < 10 << 20) {
        members += " member";
    }
    EXPECT_EQ(problems(parse(members)), strings{"1: neither an account nor a membership"});
    std::string blanks(1 << 20, ' ');
    blanks.append("x").append(1 << 20, '\t');
    EXPECT_EQ(problems(parse(blanks)), strings{"1: neither an account nor a membership"});
}

TEST(AccountTable, PartsOfANameHave255BytesAtMost) {
    const std::string longest(account_table::max_part, 'a');
    EXPECT_EQ(parse(longest + '\\' + longest + " user S-1-5-21-1\n").account_count(), 1u);
    EXPECT_EQ(parse(longest + "a\\" + longest + " user S-1-5-21-1\n").account_count(), 0u);
    EXPECT_EQ(parse(longest + '\\' + longest + "a user S-1-5-21-1\n").account_count(), 0u);
}

TEST(AccountTable, CountsProblemsBeyondThoseThatItKeeps) {
    std::string text;
    for (int i = 0; i < 1000; i++) {
        text += "wrong\n";
    }
    const account_table table = parse(text);
    EXPECT_EQ(table.problems().size(), account_table::max_problems);
    EXPECT_EQ(table.problem_count(), 1000u);
}

TEST(AccountTable, FindsEachOfManyAccounts) {
    std::string text;
    for (int i = 0; i < 5000; i++) {
        const std::string n = std::to_string(i);
        text += "CORP\\user" + n + " user S-1-5-21-1-2-3-" + n + " " + n + "\n";
    }
    const account_table table = parse(text);
    ASSERT_EQ(table.account_count(), 5000u);
    for (uint32_t i = 0; i < 5000; i++) {
        const std::string n = std::to_string(i);
        const ks::file_account *account = table.by_name(CREDUTL_USER, ("Corp\\User" + n).c_str());
        ASSERT_NE(account, nullptr) << i;
        EXPECT_EQ(account->id, i);
        EXPECT_EQ(table.by_sid(CREDUTL_USER, account->sid), account);
        EXPECT_EQ(table.by_id(CREDUTL_USER, i), account);
    }
}

} // namespace
