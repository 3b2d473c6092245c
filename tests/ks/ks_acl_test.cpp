#include "ks/ks_acl.h"

#include "ks/ks_errno.h"
#include "ks/ks_stg.h"
#include "support/faults.hpp"
#include "support/temp_dir.hpp"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

struct free_acl {
    void operator()(sysutl_acl_t *acl) const { sysutl_acl_free(&acl); }
};
using acl_ptr = std::unique_ptr<sysutl_acl_t, free_acl>;

acl_ptr make() {
    sysutl_acl_t *acl = nullptr;
    EXPECT_EQ(sysutl_acl_init(4, &acl), 0);
    return acl_ptr(acl);
}

credutl_sid_t sid(const std::string &text) {
    credutl_sid_t value{};
    EXPECT_EQ(credutl_str_to_sid(text.c_str(), &value), 0);
    return value;
}
const std::string user_text = "S-1-22-1-4000001", group_text = "S-1-22-2-4000002";

sysutl_acl_entry_t *add(const acl_ptr &acl, int tag, int perms, const std::string &qualifier = "") {
    sysutl_acl_entry_t *entry = nullptr;
    sysutl_acl_permset_t *permset = nullptr;
    EXPECT_EQ(sysutl_acl_create_entry(acl.get(), &entry), 0);
    EXPECT_EQ(sysutl_acl_set_tag_type(entry, tag), 0);
    if (!qualifier.empty()) {
        const credutl_sid_t value = sid(qualifier);
        EXPECT_EQ(sysutl_acl_set_qualifier(entry, &value), 0);
    }
    EXPECT_EQ(sysutl_acl_get_permset(entry, &permset), 0);
    EXPECT_EQ(sysutl_acl_clear_perms(permset), 0);
    EXPECT_EQ(sysutl_acl_add_perm(permset, perms), 0);
    return entry;
}

acl_ptr minimal(int owner = 6, int group = 4, int others = 0) {
    acl_ptr acl = make();
    add(acl, SYSUTL_ACL_USER_OBJ, owner);
    add(acl, SYSUTL_ACL_GROUP_OBJ, group);
    add(acl, SYSUTL_ACL_OTHER, others);
    return acl;
}

std::string text(const acl_ptr &acl) {
    char *made = nullptr;
    EXPECT_EQ(sysutl_acl_to_text(acl.get(), &made), 0);
    const std::string all = made ? made : "";
    stg_free(made);
    return all;
}

// A file on a file system that keeps ACLs; an empty name when there is none here.
std::string file_with_acls(const temp_dir &dir) {
    const std::string file = dir.write("file", "x");
    const acl_ptr acl = minimal();
    return sysutl_acl_set_file(file.c_str(), acl.get()) == KS_ENOSYS ? "" : file;
}

} // namespace

TEST(SysutlAcl, IsBuiltEntryByEntry) {
    const acl_ptr acl = make();
    add(acl, SYSUTL_ACL_USER_OBJ, 7);
    add(acl, SYSUTL_ACL_USER, 6, user_text);
    add(acl, SYSUTL_ACL_GROUP_OBJ, 5);
    add(acl, SYSUTL_ACL_GROUP, 4, group_text);
    add(acl, SYSUTL_ACL_OTHER, 1);
    EXPECT_EQ(sysutl_acl_valid(acl.get()), KS_EINVAL); // without a mask
    EXPECT_EQ(sysutl_acl_calc_mask(acl.get()), 0);
    EXPECT_EQ(sysutl_acl_valid(acl.get()), 0);
    EXPECT_EQ(text(acl), "user::rwx\nuser:4000001:rw-\ngroup::r-x\ngroup:4000002:r--\nmask::rwx\nother::--x\n");
}

TEST(SysutlAcl, GrowsAndKeepsItsEntriesValid) {
    sysutl_acl_t *made = nullptr;
    ASSERT_EQ(sysutl_acl_init(0, &made), 0);
    const acl_ptr acl(made);
    sysutl_acl_permset_t *permset = nullptr;
    sysutl_acl_entry_t *first = add(acl, SYSUTL_ACL_USER, 0, user_text);
    ASSERT_EQ(sysutl_acl_get_permset(first, &permset), 0);
    std::string expected = "user:4000001:-w-\n";
    for (unsigned number = 5'000'000; number < 5'000'200; number++) {
        add(acl, SYSUTL_ACL_USER, 4, "S-1-22-1-" + std::to_string(number));
        expected += "user:" + std::to_string(number) + ":r--\n";
    }
    EXPECT_EQ(sysutl_acl_add_perm(permset, SYSUTL_ACL_WRITE), 0);
    EXPECT_EQ(text(acl), expected);
    EXPECT_EQ(sysutl_acl_delete_entry(acl.get(), first), 0);
    EXPECT_EQ(text(acl), expected.substr(expected.find('\n') + 1));
}

TEST(SysutlAcl, DoesNotDependOnTheOrderOfItsEntries) {
    const acl_ptr one = minimal(), other = make();
    add(one, SYSUTL_ACL_USER, 6, user_text);
    add(other, SYSUTL_ACL_OTHER, 0);
    add(other, SYSUTL_ACL_GROUP_OBJ, 4);
    sysutl_acl_entry_t *entry = add(other, SYSUTL_ACL_USER, 6, user_text);
    add(other, SYSUTL_ACL_USER_OBJ, 6);
    EXPECT_EQ(text(one), text(other));
    EXPECT_EQ(sysutl_acl_equal(one.get(), other.get()), 1);
    sysutl_acl_permset_t *permset = nullptr;
    ASSERT_EQ(sysutl_acl_get_permset(entry, &permset), 0);
    ASSERT_EQ(sysutl_acl_add_perm(permset, SYSUTL_ACL_EXECUTE), 0);
    EXPECT_EQ(sysutl_acl_equal(one.get(), other.get()), 0);
}

TEST(SysutlAclCalcMask, IsTheUnionOfWhatItLimits) {
    const acl_ptr acl = minimal(7, 1, 7);
    EXPECT_EQ(sysutl_acl_calc_mask(acl.get()), 0);
    EXPECT_EQ(text(acl), "user::rwx\ngroup::--x\nmask::--x\nother::rwx\n");
    add(acl, SYSUTL_ACL_USER, 2, user_text);
    EXPECT_EQ(sysutl_acl_calc_mask(acl.get()), 0); // replaces the one that is there
    EXPECT_EQ(text(acl), "user::rwx\nuser:4000001:-w-\ngroup::--x\nmask::-wx\nother::rwx\n");
    sysutl_acl_entry_t *group = add(acl, SYSUTL_ACL_GROUP, 4, group_text);
    EXPECT_EQ(sysutl_acl_calc_mask(acl.get()), 0);
    EXPECT_EQ(text(acl), "user::rwx\nuser:4000001:-w-\ngroup::--x\ngroup:4000002:r--\nmask::rwx\nother::rwx\n");
    EXPECT_EQ(sysutl_acl_delete_entry(acl.get(), group), 0);
    EXPECT_EQ(sysutl_acl_calc_mask(acl.get()), 0);
    EXPECT_EQ(text(acl), "user::rwx\nuser:4000001:-w-\ngroup::--x\nmask::-wx\nother::rwx\n");
}

TEST(SysutlAcl, HasNoUserOrGroupTwice) {
    acl_ptr acl = minimal();
    add(acl, SYSUTL_ACL_USER, 4, user_text);
    add(acl, SYSUTL_ACL_USER, 4, user_text);
    EXPECT_EQ(sysutl_acl_calc_mask(acl.get()), 0);
    EXPECT_EQ(sysutl_acl_valid(acl.get()), KS_EINVAL);
    acl = minimal();
    add(acl, SYSUTL_ACL_OTHER, 4);
    EXPECT_EQ(sysutl_acl_valid(acl.get()), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_valid(make().get()), KS_EINVAL);
}

TEST(SysutlAcl, LosesADeletedEntry) {
    const acl_ptr acl = minimal();
    sysutl_acl_entry_t *entry = add(acl, SYSUTL_ACL_USER, 4, user_text);
    EXPECT_EQ(sysutl_acl_delete_entry(acl.get(), entry), 0);
    EXPECT_EQ(text(acl), "user::rw-\ngroup::r--\nother::---\n");
}

TEST(SysutlAclQualifier, GoesByTheTag) {
    const acl_ptr acl = make();
    const credutl_sid_t user = sid(user_text), group = sid(group_text), unknown = sid("S-1-5-21-9-9-9-12345");
    sysutl_acl_entry_t *entry = nullptr;
    ASSERT_EQ(sysutl_acl_create_entry(acl.get(), &entry), 0);
    const auto qualify = [&](int tag, const credutl_sid_t &with) {
        EXPECT_EQ(sysutl_acl_set_tag_type(entry, tag), 0);
        return sysutl_acl_set_qualifier(entry, &with);
    };
    EXPECT_EQ(qualify(SYSUTL_ACL_USER, user), 0);
    EXPECT_EQ(qualify(SYSUTL_ACL_GROUP, group), 0);
    EXPECT_EQ(qualify(SYSUTL_ACL_USER, unknown), KS_EINVAL);
    EXPECT_EQ(qualify(SYSUTL_ACL_GROUP, unknown), KS_EINVAL);
    EXPECT_EQ(qualify(SYSUTL_ACL_USER_OBJ, unknown), 0); // not kept
    EXPECT_EQ(qualify(SYSUTL_ACL_GROUP_OBJ, unknown), 0);
    EXPECT_EQ(qualify(SYSUTL_ACL_OTHER, user), KS_EINVAL);
    EXPECT_EQ(qualify(SYSUTL_ACL_MASK, user), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_set_tag_type(entry, 3), KS_EINVAL);
}

TEST(SysutlAclModifyPerms, AddsToTheOwnerAndTheOwningGroup) {
    const acl_ptr acl = minimal(2, 1, 0);
    add(acl, SYSUTL_ACL_USER, 1, user_text);
    EXPECT_EQ(sysutl_acl_modify_perms(acl.get(), 0, 0440), 0);
    EXPECT_EQ(text(acl), "user::rw-\nuser:4000001:--x\ngroup::r-x\nother::---\n");
    EXPECT_EQ(sysutl_acl_modify_perms(acl.get(), 0, 0107), 0); // bits of others do not count
    EXPECT_EQ(text(acl), "user::rwx\nuser:4000001:--x\ngroup::r-x\nother::---\n");
    EXPECT_EQ(sysutl_acl_modify_perms(acl.get(), 1, 0440), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_modify_perms(make().get(), 0, 0440), KS_EINVAL);
}

TEST(SysutlAclPerms, AreThoseOfTheThreeBits) {
    const acl_ptr acl = minimal(0, 0, 0);
    sysutl_acl_permset_t *permset = nullptr;
    sysutl_acl_entry_t *entry = add(acl, SYSUTL_ACL_USER, 0, user_text);
    ASSERT_EQ(sysutl_acl_get_permset(entry, &permset), 0);
    EXPECT_EQ(sysutl_acl_add_perm(permset, 8), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_add_perm(permset, -1), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_add_perm(permset, 0), 0);
    EXPECT_EQ(sysutl_acl_add_perm(permset, 5), 0);
    EXPECT_EQ(text(acl), "user::---\nuser:4000001:r-x\ngroup::---\nother::---\n");
    EXPECT_EQ(sysutl_acl_clear_perms(permset), 0);
    EXPECT_EQ(text(acl), "user::---\nuser:4000001:---\ngroup::---\nother::---\n");
}

// ---- files

TEST(SysutlAclFile, KeepsWhatIsPutOnIt) {
    const temp_dir dir;
    const std::string file = file_with_acls(dir);
    if (file.empty()) GTEST_SKIP() << "this file system keeps no ACLs";
    const acl_ptr acl = minimal(7, 5, 1);
    add(acl, SYSUTL_ACL_USER, 6, user_text);
    ASSERT_EQ(sysutl_acl_calc_mask(acl.get()), 0);
    std::string product_path = file;
    std::replace(product_path.begin(), product_path.end(), '/', '\\');
    ASSERT_EQ(sysutl_acl_set_file(product_path.c_str(), acl.get()), 0);
    sysutl_acl_t *back = nullptr;
    ASSERT_EQ(sysutl_acl_get_file(product_path.c_str(), &back), 0);
    const acl_ptr owner(back);
    EXPECT_EQ(text(owner), text(acl));
    EXPECT_EQ(sysutl_acl_equal(back, acl.get()), 1);
    EXPECT_EQ(sysutl_acl_equal(back, minimal().get()), 0);
    struct stat status;
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0771u); // the mask stands for the group
}

TEST(SysutlAclFile, OfALinkIsThatOfItsTarget) {
    const temp_dir dir;
    const std::string file = file_with_acls(dir);
    if (file.empty()) GTEST_SKIP() << "this file system keeps no ACLs";
    std::filesystem::create_symlink(file, dir / "link");
    ASSERT_EQ(sysutl_acl_set_file((dir / "link").c_str(), minimal(4, 0, 0).get()), 0);
    struct stat status;
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0400u);
}

TEST(SysutlAclFile, IsThatOfTheModeUntilOneIsPutOnIt) {
    const temp_dir dir;
    const std::string file = dir.write("file", "x");
    ASSERT_EQ(chmod(file.c_str(), 0751), 0);
    sysutl_acl_t *back = nullptr;
    if (sysutl_acl_get_file(file.c_str(), &back) == KS_ENOSYS) GTEST_SKIP() << "this file system keeps no ACLs";
    const acl_ptr acl(back);
    EXPECT_EQ(text(acl), "user::rwx\ngroup::r-x\nother::--x\n");
}

TEST(SysutlAclFile, MayBeADirectory) {
    const temp_dir dir;
    if (file_with_acls(dir).empty()) GTEST_SKIP() << "this file system keeps no ACLs";
    std::filesystem::create_directory(dir / "below");
    const acl_ptr acl = minimal(7, 5, 0);
    ASSERT_EQ(sysutl_acl_set_file((dir / "below").c_str(), acl.get()), 0);
    sysutl_acl_t *back = nullptr;
    ASSERT_EQ(sysutl_acl_get_file((dir / "below").c_str(), &back), 0);
    EXPECT_EQ(sysutl_acl_equal(back, acl.get()), 1);
    sysutl_acl_free(&back);
    EXPECT_EQ(back, nullptr);
}

TEST(SysutlAclFile, KeepsTheOldAclWhenTheNewOneIsNotValid) {
    const temp_dir dir;
    const std::string file = file_with_acls(dir);
    if (file.empty()) GTEST_SKIP() << "this file system keeps no ACLs";
    const acl_ptr twice = minimal(7, 7, 7), unmasked = minimal(7, 7, 7);
    add(twice, SYSUTL_ACL_OTHER, 7);
    add(unmasked, SYSUTL_ACL_USER, 7, user_text);
    EXPECT_EQ(sysutl_acl_set_file(file.c_str(), twice.get()), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_set_file(file.c_str(), unmasked.get()), KS_EINVAL);
    struct stat status;
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u); // that of file_with_acls()
}

TEST(SysutlAclFile, IsChangedByItsOwnerOnly) {
    const temp_dir dir;
    const std::string file = file_with_acls(dir);
    if (file.empty()) GTEST_SKIP() << "this file system keeps no ACLs";
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser may become another user";
    ASSERT_EQ(chmod(dir.str().c_str(), 0755), 0);
    const acl_ptr acl = minimal(7, 7, 7);
    const pid_t child = fork();
    if (child == 0) _exit(setuid(4'000'001) == 0 ? sysutl_acl_set_file(file.c_str(), acl.get()) : 255);
    int ended = -1;
    ASSERT_EQ(waitpid(child, &ended, 0), child);
    ASSERT_TRUE(WIFEXITED(ended));
    EXPECT_EQ(WEXITSTATUS(ended), KS_EPERM);
    struct stat status;
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST(SysutlAclFile, MustBeThere) {
    const temp_dir dir;
    const std::string file = dir.write("file", "x");
    std::filesystem::create_symlink(dir / "none", dir / "dangling");
    const acl_ptr acl = minimal();
    sysutl_acl_t *back = nullptr;
    for (const auto &[path, error] : {std::pair{dir / "none", KS_ENOENT},
                                      {dir / "dangling", KS_ENOENT},
                                      {file + "/below", KS_ENOTDIR},
                                      {std::string(), KS_ENOENT},
                                      {std::string(5000, 'x'), KS_ENAMETOOLONG},
                                      {dir / std::string(300, 'x'), KS_ENAMETOOLONG}}) {
        EXPECT_EQ(sysutl_acl_set_file(path.c_str(), acl.get()), error) << path;
        EXPECT_EQ(sysutl_acl_get_file(path.c_str(), &back), error) << path;
    }
    EXPECT_EQ(back, nullptr);
    EXPECT_FALSE(std::filesystem::exists(dir / "none"));
}

TEST(SysutlAclFile, OfAFileSystemWithoutAclsIsNotSupported) {
    const std::string file = "/proc/self/status";
    if (!std::filesystem::exists(file)) GTEST_SKIP() << "there is no /proc";
    sysutl_acl_t *back = nullptr;
    EXPECT_EQ(sysutl_acl_set_file(file.c_str(), minimal().get()), KS_ENOSYS);
    EXPECT_EQ(sysutl_acl_get_file(file.c_str(), &back), KS_ENOSYS);
    EXPECT_EQ(back, nullptr);
}

// ---- arguments, memory, the recorder

TEST(SysutlAcl, RefusesNulls) {
    const acl_ptr acl = minimal();
    sysutl_acl_t *made = nullptr;
    sysutl_acl_entry_t *entry = nullptr;
    sysutl_acl_permset_t *permset = nullptr;
    char *shown = nullptr;
    const credutl_sid_t user = sid(user_text);
    EXPECT_EQ(sysutl_acl_init(4, nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_init(-1, &made), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_create_entry(nullptr, &entry), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_create_entry(acl.get(), nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_delete_entry(nullptr, entry), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_delete_entry(acl.get(), nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_set_tag_type(nullptr, 1), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_set_qualifier(nullptr, &user), KS_EINVAL);
    ASSERT_EQ(sysutl_acl_create_entry(acl.get(), &entry), 0);
    EXPECT_EQ(sysutl_acl_set_qualifier(entry, nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_get_permset(nullptr, &permset), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_get_permset(entry, nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_clear_perms(nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_add_perm(nullptr, 4), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_modify_perms(nullptr, 0, 0), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_calc_mask(nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_valid(nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_to_text(nullptr, &shown), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_to_text(acl.get(), nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_set_file(nullptr, acl.get()), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_set_file("x", nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_get_file(nullptr, &made), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_get_file("x", nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_equal(nullptr, acl.get()), 0);
    EXPECT_EQ(sysutl_acl_equal(acl.get(), nullptr), 0);
    EXPECT_EQ(sysutl_acl_equal(nullptr, nullptr), 0);
    sysutl_acl_free(nullptr);
    sysutl_acl_free(&made);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(permset, nullptr);
    EXPECT_EQ(shown, nullptr);
}

TEST(SysutlAcl, ReportsMissingMemory) {
    const temp_dir dir;
    const std::string file = file_with_acls(dir);
    const acl_ptr acl = minimal();
    const faults::refuse refused(1, true);
    sysutl_acl_t *made = nullptr;
    char *shown = nullptr;
    EXPECT_EQ(sysutl_acl_init(4, &made), KS_ENOMEM);
    if (!file.empty()) {
        EXPECT_EQ(sysutl_acl_get_file(file.c_str(), &made), KS_ENOMEM);
    }
    EXPECT_EQ(sysutl_acl_to_text(acl.get(), &shown), KS_ENOMEM);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(shown, nullptr);
}

namespace {

struct recorded {
    std::vector<std::string> seen;
    int answer;

    explicit recorded(int error) : answer(error) { sysutl_acl_set_recorder(&recorded::told, this); }
    ~recorded() { sysutl_acl_set_recorder(nullptr, nullptr); }
    recorded(const recorded &) = delete;
    recorded &operator=(const recorded &) = delete;

    static int told(const char *operation, void *context) {
        auto &mine = *static_cast<recorded *>(context);
        mine.seen.push_back(operation);
        return mine.answer;
    }
};

} // namespace

TEST(SysutlAclRecorder, IsToldOfEachOperationAndMayRefuseIt) {
    const temp_dir dir;
    const std::string file = dir.write("file", "x");
    acl_ptr acl = minimal();
    const std::string before = text(acl);
    const credutl_sid_t user = sid(user_text);
    sysutl_acl_entry_t *entry = nullptr, *added = nullptr;
    sysutl_acl_permset_t *permset = nullptr, *other_permset = nullptr;
    ASSERT_EQ(sysutl_acl_create_entry(acl.get(), &entry), 0);
    ASSERT_EQ(sysutl_acl_get_permset(entry, &permset), 0);
    sysutl_acl_t *made = nullptr;
    char *shown = nullptr;
    {
        const recorded all(KS_EPERM);
        EXPECT_EQ(sysutl_acl_init(4, &made), KS_EPERM);
        EXPECT_EQ(sysutl_acl_create_entry(acl.get(), &added), KS_EPERM);
        EXPECT_EQ(sysutl_acl_set_tag_type(entry, SYSUTL_ACL_USER), KS_EPERM);
        EXPECT_EQ(sysutl_acl_set_qualifier(entry, &user), KS_EPERM);
        EXPECT_EQ(sysutl_acl_get_permset(entry, &other_permset), KS_EPERM);
        EXPECT_EQ(sysutl_acl_clear_perms(permset), KS_EPERM);
        EXPECT_EQ(sysutl_acl_add_perm(permset, 7), KS_EPERM);
        EXPECT_EQ(sysutl_acl_delete_entry(acl.get(), entry), KS_EPERM);
        EXPECT_EQ(sysutl_acl_modify_perms(acl.get(), 0, 0777), KS_EPERM);
        EXPECT_EQ(sysutl_acl_calc_mask(acl.get()), KS_EPERM);
        EXPECT_EQ(sysutl_acl_valid(acl.get()), KS_EPERM);
        EXPECT_EQ(sysutl_acl_to_text(acl.get(), &shown), KS_EPERM);
        EXPECT_EQ(sysutl_acl_set_file(file.c_str(), acl.get()), KS_EPERM);
        EXPECT_EQ(sysutl_acl_get_file(file.c_str(), &made), KS_EPERM);
        EXPECT_EQ(sysutl_acl_equal(acl.get(), acl.get()), 1);
        const std::vector<std::string> expected = {
            "sysutl_acl_init",          "sysutl_acl_create_entry", "sysutl_acl_set_tag_type",
            "sysutl_acl_set_qualifier", "sysutl_acl_get_permset",  "sysutl_acl_clear_perms",
            "sysutl_acl_add_perm",      "sysutl_acl_delete_entry", "sysutl_acl_modify_perms",
            "sysutl_acl_calc_mask",     "sysutl_acl_valid",        "sysutl_acl_to_text",
            "sysutl_acl_set_file",      "sysutl_acl_get_file"};
        EXPECT_EQ(all.seen, expected);
    }
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(added, nullptr);
    EXPECT_EQ(other_permset, nullptr);
    EXPECT_EQ(shown, nullptr);
    EXPECT_EQ(sysutl_acl_delete_entry(acl.get(), entry), 0);
    EXPECT_EQ(text(acl), before);
}

TEST(SysutlAclRecorder, LetsOperationsHappenAndHearsNothingOfBadArguments) {
    const recorded all(0);
    sysutl_acl_t *made = nullptr;
    EXPECT_EQ(sysutl_acl_init(-1, &made), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_valid(nullptr), KS_EINVAL);
    EXPECT_EQ(all.seen, std::vector<std::string>{});
    ASSERT_EQ(sysutl_acl_init(1, &made), 0);
    const acl_ptr acl(made);
    EXPECT_EQ(sysutl_acl_valid(made), KS_EINVAL);
    EXPECT_EQ(all.seen, (std::vector<std::string>{"sysutl_acl_init", "sysutl_acl_valid"}));
}

TEST(SysutlAclRecorder, StandsForAHostWithoutAcls) {
    const acl_ptr acl = minimal();
    const recorded all(KS_ENOTSUP);
    sysutl_acl_t *made = nullptr;
    EXPECT_EQ(sysutl_acl_init(4, &made), KS_ENOSYS);
    EXPECT_EQ(sysutl_acl_set_file("x", acl.get()), KS_ENOSYS);
    EXPECT_EQ(sysutl_acl_get_file("x", &made), KS_ENOSYS);
    EXPECT_EQ(made, nullptr);
}
