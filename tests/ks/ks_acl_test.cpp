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

TEST(SysutlAclFile, SaysWhyItFails) {
    const temp_dir dir;
    const acl_ptr acl = minimal();
    sysutl_acl_t *back = nullptr;
    EXPECT_EQ(sysutl_acl_set_file((dir / "none").c_str(), acl.get()), KS_ENOENT);
    EXPECT_EQ(sysutl_acl_get_file((dir / "none").c_str(), &back), KS_ENOENT);
    EXPECT_EQ(sysutl_acl_set_file(std::string(5000, 'x').c_str(), acl.get()), KS_ENAMETOOLONG);
    EXPECT_EQ(sysutl_acl_set_file("/proc/self/status", acl.get()), KS_ENOSYS);
    EXPECT_EQ(sysutl_acl_set_file(nullptr, acl.get()), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_set_file("x", nullptr), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_get_file(nullptr, &back), KS_EINVAL);
    EXPECT_EQ(sysutl_acl_get_file("x", nullptr), KS_EINVAL);
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
    EXPECT_EQ(sysutl_acl_equal(nullptr, acl.get()), 0);
    EXPECT_EQ(sysutl_acl_equal(acl.get(), nullptr), 0);
    sysutl_acl_free(nullptr);
    sysutl_acl_free(&made);
}

TEST(SysutlAcl, ReportsMissingMemory) {
    const acl_ptr acl = minimal();
    const faults::refuse refused(1, true);
    sysutl_acl_t *made = nullptr;
    char *shown = nullptr;
    EXPECT_EQ(sysutl_acl_init(4, &made), KS_ENOMEM);
    EXPECT_EQ(sysutl_acl_to_text(acl.get(), &shown), KS_ENOMEM);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(shown, nullptr);
}

TEST(SysutlAclRecorder, IsToldBeforeAndMayRefuse) {
    std::vector<std::string> seen;
    sysutl_acl_set_recorder(
        [](const char *operation, void *context) {
            static_cast<std::vector<std::string> *>(context)->push_back(operation);
            return std::string(operation) == "sysutl_acl_valid" ? KS_EPERM : 0;
        },
        &seen);
    {
        const acl_ptr acl = make();
        EXPECT_EQ(sysutl_acl_valid(acl.get()), KS_EPERM);
        EXPECT_EQ(sysutl_acl_equal(acl.get(), acl.get()), 1);
    }
    sysutl_acl_set_recorder(nullptr, nullptr);
    EXPECT_EQ(seen, (std::vector<std::string>{"sysutl_acl_init", "sysutl_acl_valid"}));
    const acl_ptr acl = minimal();
    EXPECT_EQ(sysutl_acl_valid(acl.get()), 0);
}
