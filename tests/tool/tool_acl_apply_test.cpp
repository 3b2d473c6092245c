// tbs acl apply: policies that the operating system enforces on files.
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tool_test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char *acl_text = "Role:reader Read\nUser:BRACKWATER\\visitor Read\nUser:BRACKWATER\\hana AclRead\n";
constexpr const char *map_text = "Role:reader --> User:BRACKWATER\\anika\nRole:reader --> User:BRACKWATER\\dov\n";

outcome apply(const temp_dir &dir, std::vector<std::string> words) {
    words.insert(words.begin(), {"acl", "apply"});
    words.insert(words.end(),
                 {"--policy", dir.write("policy", acl_text), "--rolemap", dir.write("map", map_text), "--permissions",
                  policy("vob.permissions"), "--required", "Read", "--owner", "BRACKWATER\\dov"});
    return run_tool(std::move(words));
}

std::string file_of_mode(const temp_dir &dir, const std::string &leaf, mode_t mode) {
    const std::string path = dir.write(leaf, "content");
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
    return path;
}

// As the system's own program sees it.
std::string acl_of(const std::string &path) { return run_program({"/usr/bin/getfacl", "-cnpE", path}).out; }

bool keeps_acls(const temp_dir &dir) {
    return run_program({"/usr/bin/setfacl", "-m", "u:62001:r", dir.write("probe", "")}).status == 0;
}

} // namespace

#define NEEDS_ACLS(dir)                                                                                              \
    if (!keeps_acls(dir))                                                                                            \
    GTEST_SKIP() << "the file system of the temporary directory keeps no ACLs, or the package acl is missing"

TEST(AclApply, LetsThoseReadWhomTheRoleMapNames) {
    const temp_dir dir;
    NEEDS_ACLS(dir);
    const std::string file = file_of_mode(dir, "file", 0644);
    const outcome run = apply(dir, {file});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "left out: User:BRACKWATER\\visitor has no id on this host\n"
                       "1 file: 1 changed, 0 unchanged, 0 refused\n");
    EXPECT_THAT(acl_of(file), AllOf(HasSubstr("user:62001:r--"), HasSubstr("user:62004:rw-"), HasSubstr("other::---"),
                                    Not(HasSubstr("62008"))));
}

// The mask holds the owner's write permission; it must not become that of the readers.
TEST(AclApply, GivesNobodyMoreTheSecondTime) {
    for (const mode_t mode : {0600u, 0640u, 0644u, 0664u, 0755u, 0775u, 0777u}) {
        const temp_dir dir;
        NEEDS_ACLS(dir);
        const std::string file = file_of_mode(dir, "file", mode);
        ASSERT_EQ(apply(dir, {file}).status, 0);
        const std::string first = acl_of(file);
        const outcome again = apply(dir, {file});
        EXPECT_THAT(again.out, HasSubstr("0 changed, 1 unchanged, 0 refused")) << std::oct << mode;
        EXPECT_EQ(acl_of(file), first) << std::oct << mode;
    }
}

// What only a mask shows, as that of another tool's ACL, is no permission of the group.
TEST(AclApply, DoesNotTakeAForeignMaskForTheGroup) {
    const temp_dir dir;
    NEEDS_ACLS(dir);
    const std::string file = file_of_mode(dir, "file", 0644);
    ASSERT_EQ(run_program({"/usr/bin/setfacl", "-m", "u:62010:rwx", file}).status, 0);
    ASSERT_EQ(apply(dir, {file}).status, 0);
    EXPECT_THAT(acl_of(file), AllOf(HasSubstr("user:62001:r--"), Not(HasSubstr("62010"))));
}

TEST(AclApply, ChangesNothingInADryRun) {
    const temp_dir dir;
    NEEDS_ACLS(dir);
    const std::string file = file_of_mode(dir, "file", 0644);
    const std::string before = acl_of(file);
    const outcome run = apply(dir, {file, "--dry-run"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("files of mode 0644 get:\n    user::-w-\n    user:62001:r--\n"),
                               HasSubstr("1 would change")));
    EXPECT_EQ(acl_of(file), before);
}

TEST(AclApply, ReportsRefusalsAndGoesOn) {
    const temp_dir dir;
    NEEDS_ACLS(dir);
    const std::string file = file_of_mode(dir, "file", 0644);
    const std::string victim = file_of_mode(dir, "victim", 0644), before = acl_of(victim);
    ASSERT_EQ(symlink("victim", (dir / "link").c_str()), 0);
    const outcome run = apply(dir, {dir / "none", dir / "link", dir.str(), file, "--json"});
    EXPECT_EQ(run.status, 1);
    const json answer = run.parsed();
    EXPECT_EQ(answer["refused"], 3);
    EXPECT_EQ(answer["changed"], 1);
    EXPECT_EQ(answer["files"][0]["reason"], "No such file or directory");
    EXPECT_THAT(answer["files"][1]["reason"], HasSubstr("symbolic link"));
    EXPECT_THAT(answer["files"][2]["reason"], HasSubstr("directory"));
    EXPECT_EQ(answer["files"][3]["result"], "changed");
    EXPECT_EQ(acl_of(victim), before);
}

TEST(AclApply, DoesManyFiles) {
    const temp_dir dir;
    NEEDS_ACLS(dir);
    std::vector<std::string> files;
    for (int i = 0; i < 500; i++) files.push_back(dir.write("f" + std::to_string(i), ""));
    const outcome run = apply(dir, files);
    EXPECT_THAT(run.out, HasSubstr("500 files: 500 changed, 0 unchanged, 0 refused\n"));
    EXPECT_EQ(run.err, "");
}

TEST(AclApply, TouchesNoFileOnBadInput) {
    const temp_dir dir;
    const std::string file = file_of_mode(dir, "file", 0644), before = acl_of(file);
    const std::string acl = dir.write("policy", "Role:nobody Read\n"), map = dir.write("map", "");
    const auto run = [&](const std::string &required, const std::string &owner) {
        return run_tool(
            {"acl", "apply", file, "--policy", acl, "--rolemap", map, "--required", required, "--owner", owner});
    };
    EXPECT_THAT(run("Read", "BRACKWATER\\dov").err, HasSubstr("the effective ACL is empty"));
    EXPECT_EQ(run("Read", "BRACKWATER\\dov").status, 2);
    EXPECT_EQ(run("Fly", "BRACKWATER\\dov").status, 2);
    EXPECT_EQ(run("Read", "BRACKWATER\\none").status, 2);
    EXPECT_THAT(run("Read", "BRACKWATER\\visitor").err, HasSubstr("has no primary group"));
    EXPECT_EQ(acl_of(file), before);
}
