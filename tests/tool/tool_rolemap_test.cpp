// Role map files: tbs rolemap show, check, add, remove, replace; and tbs acl effective.
#include "tool/tool_runner.hpp"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tool_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string sample = policy("roles.map");
constexpr const char *anika = "User:BRACKWATER\\anika";
constexpr const char *carmen = "User:BRACKWATER\\carmen";
constexpr const char *small_map = "# who reviews\n\nRole:reviewer --> User:BRACKWATER\\anika\n";

outcome rolemap(std::vector<std::string> words) {
    words.insert(words.begin(), "rolemap");
    return run_tool(std::move(words));
}

outcome effective(const std::string &acl, const std::string &map, std::vector<std::string> more = {}) {
    std::vector<std::string> words = {"acl", "effective", acl, map, "--permissions", policy("vob.permissions")};
    words.insert(words.end(), more.begin(), more.end());
    return run_tool(std::move(words));
}

size_t files_in(const temp_dir &dir) {
    using iterator = std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(iterator(dir / "."), iterator()));
}

struct stat status_of(const std::string &path) {
    struct stat s = {};
    EXPECT_EQ(lstat(path.c_str(), &s), 0) << path;
    return s;
}

std::map<std::string, std::string> bits_by_identity(const json &answer) {
    std::map<std::string, std::string> bits;
    for (const json &entry : answer["entries"]) bits[entry["identity"]] = entry["permissions"]["bits"];
    return bits;
}

// A map that breaks a rule, and both messages about it.
struct bad_map {
    const char *text;
    const char *cause;
    const char *place;
};
const std::vector<bad_map> bad_maps = {
    {"# one\nRole:reviewer User:BRACKWATER\\anika\n", "Unable to set role-identity binding for line 2.",
     "Each rolemap entry has the form: \"Role:identity --> identity_type:identity\""},
    {"Role:a --> User:BRACKWATER\\anika\n\nRole:a --> User:BRACKWATER\\none\n",
     "Unknown ACL identity: BRACKWATER\\none.", "Problem parsing identity \"User:BRACKWATER\\none\" on line 3"},
    {"User:BRACKWATER\\anika --> Role:a\n", "must be a role.", "Unable to set role-identity binding for line 1."},
    {"Role:a --> Role:c\nRole:c --> Role:b\nRole:a --> Role:b\n", "Role: a is circularly defined.",
     "Unable to set role-identity binding for line 3."},
    {"Role: --> User:BRACKWATER\\anika\n", "role name must not be empty",
     "Unable to set role-identity binding for line 1."},
    {"Role:a --> Keeper:x\n", "Unrecognized ACL identity type \"Keeper\"", "on line 1"},
};

} // namespace

// ---- show

TEST(RolemapShow, PutsTheArrowsBelowEachOther) {
    const temp_dir dir;
    const std::string file = dir.write(
        "map", "Role:b-long-one-->User:BRACKWATER\\anika\n  Role:a   -->\tGroup:BRACKWATER\\Release Managers\n"
               "role:B-LONG-ONE --> Everyone:\n");
    const outcome run = rolemap({"show", file});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "Role:b-long-one --> User:BRACKWATER\\anika\n"
                       "Role:b-long-one --> Everyone:\n"
                       "Role:a          --> Group:BRACKWATER\\Release Managers\n");
}

TEST(RolemapShow, WritesWhatCanBeReadAgain) {
    const temp_dir dir;
    const outcome shown = rolemap({"show", sample});
    ASSERT_EQ(shown.status, 0) << shown.err;
    const outcome again = rolemap({"show", dir.write("map", shown.out)});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(again.out, shown.out);
    EXPECT_EQ(lines_of(shown.out).size(), 13u);
}

TEST(RolemapShow, GivesRolesAndIdentitiesInJson) {
    const outcome run = rolemap({"show", sample, "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const json answer = run.parsed();
    EXPECT_EQ(answer["file"], sample);
    ASSERT_EQ(answer["roles"].size(), 6u);
    EXPECT_EQ(answer["roles"][1]["role"], "Role:reviewer");
    EXPECT_EQ(answer["roles"][1]["identities"][1], json({{"kind", "User"}, {"identity", "User:BRACKWATER\\søren"}}));
}

TEST(RolemapShow, ShowsAnEmptyMap) {
    const temp_dir dir;
    const std::string file = dir.write("map", "# nobody\n\n");
    EXPECT_EQ(rolemap({"show", file}).out, "# <empty rolemap>\n");
    EXPECT_EQ(rolemap({"show", file, "--json"}).parsed()["roles"], json::array());
}

TEST(RolemapShow, SaysWhatIsWrongAndOnWhichLine) {
    for (const bad_map &bad : bad_maps) {
        const temp_dir dir;
        const std::string file = dir.write("map", bad.text);
        const outcome run = rolemap({"show", file});
        EXPECT_EQ(run.status, 2) << bad.text;
        EXPECT_EQ(run.out, "") << bad.text;
        EXPECT_THAT(run.err, HasSubstr(bad.cause));
        EXPECT_THAT(run.err, HasSubstr(bad.place));
        EXPECT_THAT(run.err, AllOf(HasSubstr(file + ':'), HasSubstr(": no role map was read")));
    }
}

TEST(RolemapShow, TellsABadLineInJsonToo) {
    const temp_dir dir;
    const outcome run = rolemap({"show", dir.write("map", bad_maps[0].text), "--json"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr("role-identity binding for line 2"));
    EXPECT_THAT(run.out, HasSubstr("Each rolemap entry has the form"));
    EXPECT_EQ(run.parsed()["exit_status"], 2);
}

TEST(RolemapShow, RefusesWhatIsNoText) {
    const temp_dir dir;
    EXPECT_EQ(rolemap({"show", dir / "none"}).status, 2);
    EXPECT_EQ(rolemap({"show", dir / "."}).status, 2);
    EXPECT_EQ(rolemap({"show", dir.write("nul", std::string("Role:a --> Everyone:\n\0", 22))}).status, 2);
    EXPECT_EQ(rolemap({"show", dir.write("long", "Role:" + std::string(1100, 'x') + " --> Everyone:\n")}).status, 2);
}

// ---- check

TEST(RolemapCheck, FindsNothingWrongWithTheSample) {
    const outcome run = rolemap({"check", sample, "--strict"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "6 roles, 13 bindings: 0 errors, 0 warnings\n");
}

TEST(RolemapCheck, GoesOnBehindABadLine) {
    const temp_dir dir;
    const std::string file = dir.write("map", "Role:a --> User:BRACKWATER\\anika\n"
                                              "Role:a User:BRACKWATER\\carmen\n"
                                              "# a comment\n"
                                              "Role:a --> User:BRACKWATER\\none\n"
                                              "Role:A --> User:BRACKWATER\\anika\n"
                                              "Everyone: --> Role:a\n");
    const outcome run = rolemap({"check", file});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(lines_of(run.out),
                ElementsAre(file + ":2: error: the line has no \"-->\" between a role and an identity",
                            file + ":4: error: Unknown ACL identity: BRACKWATER\\none.",
                            file + ":5: warning: the role holds this identity already",
                            AllOf(StartsWith(file + ":6: error: Identity "), EndsWith(" must be a role.")),
                            "1 role, 1 binding: 3 errors, 1 warning"));
}

TEST(RolemapCheck, AgreesWithTheReaderOnEveryBadMap) {
    for (const bad_map &bad : bad_maps) {
        const temp_dir dir;
        const json answer = rolemap({"check", dir.write("map", bad.text), "--json"}).parsed();
        EXPECT_EQ(answer["exit_status"], 1) << bad.text;
        EXPECT_EQ(answer["errors"], 1) << bad.text;
    }
}

TEST(RolemapCheck, ShowsTheWayOfALoop) {
    const temp_dir dir;
    const std::string file = dir.write("map", "Role:a --> Role:b\nRole:b --> Role:c\nRole:c --> Role:a\n"
                                              "Role:a --> User:BRACKWATER\\anika\nRole:self --> Role:self\n");
    const outcome run = rolemap({"check", file});
    EXPECT_EQ(run.status, 0) << "a loop is a warning: the map can be read";
    EXPECT_THAT(run.out, HasSubstr("warning: roles are bound in a loop: Role:a --> Role:b --> Role:c --> Role:a\n"));
    EXPECT_THAT(run.out, HasSubstr("warning: roles are bound in a loop: Role:self --> Role:self\n"));
    const outcome strict = rolemap({"check", file, "--strict", "--json"});
    EXPECT_EQ(strict.status, 1);
    EXPECT_EQ(strict.parsed()["findings"][0]["roles"], json({"Role:a", "Role:b", "Role:c", "Role:a"}));
    EXPECT_EQ(strict.parsed()["findings"][0]["line"], nullptr);
}

TEST(RolemapCheck, WarnsOfRolesThatNobodyHolds) {
    const temp_dir dir;
    const std::string file = dir.write("map", "Role:lead --> Role:member\nRole:member --> User:BRACKWATER\\anika\n"
                                              "Role:ghost --> Role:nobody\n");
    const std::string out = rolemap({"check", file}).out;
    EXPECT_THAT(out, HasSubstr("Role:lead is bound to roles only"));
    EXPECT_THAT(out, HasSubstr("Role:ghost is held by nobody\n"));
    EXPECT_THAT(out, HasSubstr("Role:nobody is held by nobody\n"));
    EXPECT_THAT(out, Not(HasSubstr("Role:member is")));
}

// A loop of as many roles as a file may hold does not exhaust the stack.
TEST(RolemapCheck, FollowsALongLoop) {
    const temp_dir dir;
    constexpr int roles = 3000;
    std::string text;
    for (int i = 0; i < roles; i++) {
        text += "Role:r" + std::to_string(i) + " --> Role:r" + std::to_string((i + 1) % roles) + '\n';
    }
    const json answer = rolemap({"check", dir.write("map", text), "--json"}).parsed();
    EXPECT_EQ(answer["findings"][0]["roles"].size(), roles + 1u);
}

// ---- add, remove, replace

TEST(RolemapEdit, AddsAnIdentityToARole) {
    const temp_dir dir;
    const std::string file = dir.write("map", small_map);
    const outcome run = rolemap({"add", file, "reviewer", carmen});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "done: User:BRACKWATER\\carmen is bound to Role:reviewer\n");
    EXPECT_EQ(dir.read("map"),
              "Role:reviewer --> User:BRACKWATER\\anika\nRole:reviewer --> User:BRACKWATER\\carmen\n");
}

TEST(RolemapEdit, AddsARoleThatWasNotThere) {
    const temp_dir dir;
    const std::string file = dir.write("map", "");
    EXPECT_EQ(rolemap({"add", file, "Role:writer", "Group:BRACKWATER\\Release Managers"}).status, 0);
    EXPECT_EQ(dir.read("map"), "Role:writer --> Group:BRACKWATER\\Release Managers\n");
}

TEST(RolemapEdit, LeavesTheFileAloneWhenNothingChanges) {
    const temp_dir dir;
    const std::string file = dir.write("map", small_map);
    const ino_t before = status_of(file).st_ino;
    const outcome run = rolemap({"add", file, "REVIEWER", anika});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, StartsWith("unchanged: "));
    EXPECT_EQ(dir.read("map"), small_map);
    EXPECT_EQ(status_of(file).st_ino, before);
}

TEST(RolemapEdit, RemovesAnIdentityAndThenTheRole) {
    const temp_dir dir;
    const std::string file = dir.write("map", std::string(small_map) + "Role:reviewer --> Everyone:\n");
    EXPECT_EQ(rolemap({"remove", file, "reviewer", anika}).status, 0);
    EXPECT_EQ(dir.read("map"), "Role:reviewer --> Everyone:\n");
    EXPECT_EQ(rolemap({"remove", file, "reviewer", "Everyone:"}).status, 0);
    EXPECT_EQ(dir.read("map"), "");
}

TEST(RolemapEdit, SaysWhenTheRoleDoesNotHoldTheIdentity) {
    const temp_dir dir;
    const std::string file = dir.write("map", small_map);
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"remove", file, "reviewer", carmen},
             {"remove", file, "writer", anika},
             {"replace", file, "reviewer", carmen, "Everyone:"},
         }) {
        const outcome run = rolemap(words);
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.out, StartsWith("not found: Role:"));
        EXPECT_EQ(dir.read("map"), small_map);
    }
}

TEST(RolemapEdit, ReplacesAnIdentityInItsPlace) {
    const temp_dir dir;
    const std::string file = dir.write("map", std::string(small_map) + "Role:reviewer --> Everyone:\n");
    const outcome run = rolemap({"replace", file, "reviewer", anika, carmen, "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(dir.read("map"), "Role:reviewer --> User:BRACKWATER\\carmen\nRole:reviewer --> Everyone:\n");
    EXPECT_EQ(run.parsed(), json({{"file", file},
                                  {"edit", "replace"},
                                  {"role", "Role:reviewer"},
                                  {"identity", anika},
                                  {"replacement", carmen},
                                  {"output", file},
                                  {"found", true},
                                  {"changed", true},
                                  {"exit_status", 0}}));
}

TEST(RolemapEdit, WritesElsewhereWhenAsked) {
    const temp_dir dir;
    const std::string file = dir.write("map", small_map);
    EXPECT_EQ(rolemap({"add", file, "reviewer", carmen, "-o", dir / "new"}).status, 0);
    EXPECT_EQ(dir.read("map"), small_map);
    EXPECT_EQ(lines_of(dir.read("new")).size(), 2u);
    for (const std::string option : {"--out", "--output"}) {
        EXPECT_EQ(rolemap({"add", file, "reviewer", carmen, option, dir / option}).status, 0);
        EXPECT_EQ(dir.read(option), dir.read("new"));
    }
}

TEST(RolemapEdit, TouchesNothingWhenTheFileHasABadLine) {
    for (const bad_map &bad : bad_maps) {
        const temp_dir dir;
        const std::string file = dir.write("map", bad.text);
        const ino_t before = status_of(file).st_ino;
        const outcome run = rolemap({"add", file, "reviewer", carmen});
        EXPECT_EQ(run.status, 2) << bad.text;
        EXPECT_THAT(run.err, HasSubstr(bad.cause));
        EXPECT_THAT(run.err, HasSubstr(bad.place));
        EXPECT_EQ(dir.read("map"), bad.text);
        EXPECT_EQ(status_of(file).st_ino, before);
        EXPECT_EQ(files_in(dir), 1u);
    }
}

TEST(RolemapEdit, TouchesNothingWhenTheBindingIsRefused) {
    const struct {
        std::string role, id, says;
    } refused[] = {{anika, "Everyone:", "must be a role"},
                   {"reviewer", "User:BRACKWATER\\none", "Unknown ACL identity"},
                   {"reviewer", "Role:reviewer", "circularly defined"},
                   {"a\nb", "Everyone:", "Invalid role name"}};
    for (const auto &[role, id, says] : refused) {
        const temp_dir dir;
        const std::string file = dir.write("map", small_map);
        const outcome run = rolemap({"add", file, role, id});
        EXPECT_EQ(run.status, 2) << role;
        EXPECT_THAT(run.err, HasSubstr(says));
        EXPECT_EQ(dir.read("map"), small_map);
        EXPECT_EQ(files_in(dir), 1u);
    }
}

// Who has the old file open keeps the old content whole: the new one is another file that took the name.
TEST(RolemapEdit, TakesTheNameInOneStepAndKeepsTheMode) {
    const temp_dir dir;
    const std::string file = dir.write("map", small_map);
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    const ino_t before = status_of(file).st_ino;
    std::FILE *held_open = std::fopen(file.c_str(), "r");
    ASSERT_NE(held_open, nullptr);
    ASSERT_EQ(rolemap({"add", file, "reviewer", carmen}).status, 0);
    char seen[200] = {};
    EXPECT_EQ(std::fread(seen, 1, sizeof seen - 1, held_open), std::string(small_map).size());
    std::fclose(held_open);
    EXPECT_STREQ(seen, small_map);
    EXPECT_NE(status_of(file).st_ino, before);
    EXPECT_EQ(status_of(file).st_mode & 07777, 0640u);
    EXPECT_EQ(files_in(dir), 1u);
}

TEST(RolemapEdit, FollowsALinkToTheFile) {
    const temp_dir dir;
    dir.write("map", small_map);
    ASSERT_EQ(symlink("map", (dir / "link").c_str()), 0);
    ASSERT_EQ(rolemap({"add", dir / "link", "reviewer", carmen}).status, 0);
    EXPECT_TRUE(S_ISLNK(status_of(dir / "link").st_mode));
    EXPECT_EQ(lines_of(dir.read("map")).size(), 2u);
}

TEST(RolemapEdit, LeavesNothingBehindWhenTheOutputCannotBeWritten) {
    const temp_dir dir;
    const std::string file = dir.write("map", small_map);
    const outcome run = rolemap({"add", file, "reviewer", carmen, "-o", dir / "."});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("no regular file"));
    EXPECT_EQ(dir.read("map"), small_map);
    EXPECT_EQ(files_in(dir), 1u);
}

// ---- acl effective

TEST(AclEffective, PutsThoseWhoHoldARoleInItsPlace) {
    const temp_dir dir;
    const std::string acl = dir.write("acl", "Role:reviewer Read\nUser:BRACKWATER\\carmen Delete\nRole:none Full\n");
    const std::string map = dir.write("map", std::string(small_map) + "ROLE:Reviewer --> User:BRACKWATER\\carmen\n");
    const outcome run = effective(acl, map);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "User:BRACKWATER\\carmen                  Delete,Read\n"
                       "User:BRACKWATER\\anika                   Read\n");
}

TEST(AclEffective, LeavesNoRoleOfTheSamplePolicy) {
    const outcome run = effective(policy("vob.acl"), sample, {"--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const json answer = run.parsed();
    for (const json &entry : answer["entries"]) EXPECT_NE(entry["kind"], "Role");
    const auto before = bits_by_identity(
        run_tool({"acl", "show", policy("vob.acl"), "--permissions", policy("vob.permissions"), "--json"}).parsed());
    const auto after = bits_by_identity(answer);
    for (const auto &[identity, bits] : before) {
        if (identity.starts_with("Role:")) continue;
        const auto old_bits = std::stoul(bits, nullptr, 16);
        ASSERT_TRUE(after.contains(identity)) << identity;
        EXPECT_EQ(std::stoul(after.at(identity), nullptr, 16) & old_bits, old_bits) << identity;
    }
    EXPECT_EQ(std::stoul(after.at("Group:BRACKWATER\\replication"), nullptr, 16),
              std::stoul(before.at("Group:BRACKWATER\\replication"), nullptr, 16) |
                  std::stoul(before.at("Role:archivist"), nullptr, 16));
}

TEST(AclEffective, WritesAFileThatDecidesRequests) {
    const temp_dir dir;
    const std::string out = dir / "effective.acl";
    const outcome run = effective(policy("vob.acl"), sample, {"-o", out});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "");
    const std::vector<std::string> ask = {"--want",        "RemoveVersion",          "--as", "BRACKWATER\\oskar",
                                          "--permissions", policy("vob.permissions")};
    const auto asked = [&](const std::string &file) {
        std::vector<std::string> words = {"acl", "check", file};
        words.insert(words.end(), ask.begin(), ask.end());
        return run_tool(words).status;
    };
    EXPECT_EQ(asked(policy("vob.acl")), 1);
    EXPECT_EQ(asked(out), 0);
}

TEST(AclEffective, ShowsAnEmptyAcl) {
    const temp_dir dir;
    EXPECT_EQ(effective(dir.write("acl", "Role:x Read\n"), dir.write("map", "")).out, "# <empty acl>\n");
}

TEST(AclEffective, WritesNothingWhenAFileIsBad) {
    for (const bad_map &bad : bad_maps) {
        const temp_dir dir;
        const std::string out = dir.write("out", "as it was");
        const outcome run = effective(policy("vob.acl"), dir.write("map", bad.text), {"-o", out});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, HasSubstr(bad.cause));
        EXPECT_THAT(run.err, HasSubstr(bad.place));
        EXPECT_EQ(dir.read("out"), "as it was");
    }
    const temp_dir dir;
    const outcome run = effective(dir.write("acl", "\nUser:BRACKWATER\\anika Fly\n"), sample, {"-o", dir / "out"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("on line 2"));
    EXPECT_EQ(files_in(dir), 1u);
}
