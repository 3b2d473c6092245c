// What a policy becomes on a real file: what getfacl shows, and whom the kernel lets in.
#include "ks/ks_acl.h"
#include "ks/ks_errno.h"
#include "support/temp_dir.hpp"
#include "tbs/tbs_acl.h"
#include "tbs/tbs_rolemap.h"
#include "tool/tool_runner.hpp"

#include <cerrno>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Numbers that no account of a host has.
constexpr unsigned owner = 4'100'001, owning_group = 4'100'002, reader = 4'100'003, team = 4'100'004,
                   stranger = 4'100'005, no_group = 4'100'006;

constexpr tbs_acl_permission_set_t read_data = 1, may_read = TBS_ACL_PERM_ACL_READ | read_data;

credutl_sid_t sid(const std::string &text) {
    credutl_sid_t value{};
    EXPECT_EQ(credutl_str_to_sid(text.c_str(), &value), 0);
    return value;
}
credutl_sid_t user_sid(unsigned id) { return sid("S-1-22-1-" + std::to_string(id)); }
credutl_sid_t group_sid(unsigned id) { return sid("S-1-22-2-" + std::to_string(id)); }

tbs_sid_acl_id_t role(const char *name) {
    static char nothing[1];
    return {TBS_ACL_ID_ROLE, nothing, const_cast<char *>(name), CREDUTL_SID_NOBODY};
}
tbs_sid_acl_id_t account(tbs_acl_id_kind_t kind, const credutl_sid_t &value) {
    static char nothing[1];
    return {kind, nothing, nothing, value};
}

// Whether a process of this user, this group and these further groups may open the file so.
bool lets_in(const std::string &path, unsigned user, unsigned group, int flags, const std::vector<gid_t> &more = {}) {
    const pid_t child = fork();
    if (child == 0) {
        const bool changed = setgroups(more.size(), more.data()) == 0 && setgid(group) == 0 && setuid(user) == 0;
        if (!changed) _exit(2);
        _exit(open(path.c_str(), flags) >= 0 ? 0 : errno == EACCES ? 1 : 3);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < 2) << status;
    return status == 0;
}

class SystemAcl : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "only the superuser may become other users";
        ASSERT_EQ(chmod(dir.str().c_str(), 0755), 0);
        ASSERT_EQ(chown(file.c_str(), owner, owning_group), 0);
        sysutl_acl_t *there = nullptr;
        const int error = sysutl_acl_get_file(file.c_str(), &there);
        sysutl_acl_free(&there);
        if (error == KS_ENOSYS) GTEST_SKIP() << "this file system keeps no ACLs";
    }

    // A policy of two roles, bound to a user and a group, put on the file for those who may read.
    void apply(uint32_t mode) const {
        tbs_sid_acl_h_t policy = nullptr, effective = nullptr;
        tbs_rolemap_acl_h_t map = nullptr;
        ASSERT_EQ(tbs_sid_acl_create(&policy), 0);
        ASSERT_EQ(tbs_rolemap_acl_create(&map), 0);
        const tbs_sid_acl_id_t readers = role("readers"), teams = role("teams"), others = role("others");
        const tbs_sid_acl_id_t one = account(TBS_ACL_ID_USER, user_sid(reader)),
                               many = account(TBS_ACL_ID_GROUP, group_sid(team)),
                               nobody = account(TBS_ACL_ID_USER, user_sid(stranger));
        EXPECT_EQ(tbs_sid_acl_set_entry(policy, readers, may_read), 0);
        EXPECT_EQ(tbs_sid_acl_set_entry(policy, teams, may_read), 0);
        EXPECT_EQ(tbs_sid_acl_set_entry(policy, others, TBS_ACL_PERM_ACL_READ), 0);
        EXPECT_EQ(tbs_rolemap_acl_add_role_binding(map, &readers, &one), 0);
        EXPECT_EQ(tbs_rolemap_acl_add_role_binding(map, &teams, &many), 0);
        EXPECT_EQ(tbs_rolemap_acl_add_role_binding(map, &others, &nobody), 0);
        ASSERT_EQ(tbs_rolemap_acl_generate_effective_acl(policy, map, &effective), 0);
        put_on_file(effective, mode);
        tbs_sid_acl_free(&effective);
        tbs_sid_acl_free(&policy);
        tbs_rolemap_acl_free(&map);
    }

    // Entries that need no role map, put on the file for those who may read.
    void apply(const std::vector<tbs_acl_cooked_ent_t> &entries, uint32_t mode) const {
        tbs_sid_acl_h_t acl = nullptr;
        ASSERT_EQ(tbs_sid_acl_create(&acl), 0);
        for (const auto &[id, perms] : entries) EXPECT_EQ(tbs_sid_acl_set_entry(acl, id, perms), 0);
        put_on_file(acl, mode);
        tbs_sid_acl_free(&acl);
    }

    void put_on_file(tbs_sid_acl_h_t acl, uint32_t mode) const {
        const tbs_acl_sid_pair_t owners = {user_sid(owner), group_sid(owning_group)};
        sysutl_acl_t *made = nullptr;
        ASSERT_EQ(tbs_sid_acl_convert_to_sysutl_acl(acl, &owners, mode, read_data, &made), 0);
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(sysutl_acl_set_file(file.c_str(), made), 0);
        sysutl_acl_free(&made);
    }

    const temp_dir dir;
    const std::string file = dir.write("file", "content");
};

} // namespace

TEST_F(SystemAcl, IsWhatGetfaclShows) {
    apply(0640);
    const auto shown =
        tool_test::run_program({"/usr/bin/getfacl", "--omit-header", "--numeric", "--absolute-names", file});
    if (shown.status == 127) GTEST_SKIP() << "there is no getfacl";
    EXPECT_EQ(shown.out, "user::-w-\nuser:4100003:r--\ngroup::---\ngroup:4100004:r--\nmask::r--\nother::---\n\n");
}

TEST_F(SystemAcl, IsEnforcedByTheKernel) {
    apply(0660);
    EXPECT_TRUE(lets_in(file, reader, no_group, O_RDONLY));
    EXPECT_TRUE(lets_in(file, reader, no_group, O_RDWR)); // write goes by the mode of the class
    EXPECT_TRUE(lets_in(file, stranger, team, O_RDONLY));
    EXPECT_FALSE(lets_in(file, stranger, no_group, O_RDONLY));
    EXPECT_FALSE(lets_in(file, stranger, no_group, O_WRONLY));
    EXPECT_FALSE(lets_in(file, owner, no_group, O_RDONLY)); // the policy does not name the owner
    EXPECT_TRUE(lets_in(file, owner, no_group, O_WRONLY));
    EXPECT_FALSE(lets_in(file, stranger, owning_group, O_RDONLY));
    EXPECT_TRUE(lets_in(file, stranger, owning_group, O_WRONLY));
}

TEST_F(SystemAcl, GoesByTheModeForWriting) {
    apply(0600);
    EXPECT_TRUE(lets_in(file, reader, no_group, O_RDONLY));
    EXPECT_FALSE(lets_in(file, reader, no_group, O_WRONLY));
    EXPECT_FALSE(lets_in(file, stranger, team, O_RDWR));
    EXPECT_TRUE(lets_in(file, owner, no_group, O_WRONLY));
}

TEST_F(SystemAcl, CountsAllGroupsOfAProcess) {
    apply(0660);
    EXPECT_TRUE(lets_in(file, stranger, no_group, O_RDONLY, {no_group, team}));
    EXPECT_TRUE(lets_in(file, stranger, no_group, O_RDWR, {team}));
    EXPECT_FALSE(lets_in(file, stranger, no_group, O_RDONLY, {owning_group}));
    EXPECT_TRUE(lets_in(file, stranger, no_group, O_WRONLY, {owning_group}));
    EXPECT_FALSE(lets_in(file, stranger, no_group, O_RDONLY, {no_group}));
}

TEST_F(SystemAcl, OfEveryoneLetsAllRead) {
    apply({{account(TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY), may_read}}, 0602);
    for (const unsigned user : {owner, reader, stranger}) {
        for (const unsigned group : {owning_group, team, no_group}) {
            EXPECT_TRUE(lets_in(file, user, group, O_RDONLY)) << user << ' ' << group;
        }
    }
    EXPECT_TRUE(lets_in(file, owner, no_group, O_WRONLY));
    EXPECT_TRUE(lets_in(file, stranger, no_group, O_WRONLY));
    EXPECT_FALSE(lets_in(file, stranger, owning_group, O_WRONLY)); // the mode gives the group less than others
}

TEST_F(SystemAcl, OfTheOwnersLetsOnlyThemRead) {
    apply({{account(TBS_ACL_ID_OWNER_USER, CREDUTL_SID_NOBODY), may_read}}, 0600);
    EXPECT_TRUE(lets_in(file, owner, no_group, O_RDWR));
    EXPECT_FALSE(lets_in(file, stranger, owning_group, O_RDONLY));
    EXPECT_FALSE(lets_in(file, stranger, no_group, O_RDONLY));
    apply({{account(TBS_ACL_ID_OWNER_GROUP, CREDUTL_SID_NOBODY), may_read}}, 0620);
    EXPECT_TRUE(lets_in(file, stranger, owning_group, O_RDWR));
    EXPECT_FALSE(lets_in(file, owner, owning_group, O_RDONLY)); // the owner's entry goes before that of the group
    EXPECT_FALSE(lets_in(file, stranger, no_group, O_RDONLY));
}

TEST_F(SystemAcl, TakesTheOwnersByTheirSids) {
    apply({{account(TBS_ACL_ID_GROUP, group_sid(owning_group)), may_read}}, 0620);
    EXPECT_TRUE(lets_in(file, stranger, owning_group, O_RDWR));
    EXPECT_FALSE(lets_in(file, stranger, team, O_RDONLY));
    // The named entry of the owner stays when the file gets another owner.
    apply({{account(TBS_ACL_ID_OWNER_USER, CREDUTL_SID_NOBODY), may_read}}, 0600);
    ASSERT_EQ(chown(file.c_str(), stranger, no_group), 0);
    EXPECT_TRUE(lets_in(file, owner, no_group, O_RDWR));
}

TEST_F(SystemAcl, LeavesOutThoseWithoutThePermission) {
    apply({{account(TBS_ACL_ID_USER, user_sid(reader)), TBS_ACL_PERM_ACL_READ},
           {account(TBS_ACL_ID_GROUP, group_sid(team)), TBS_ACL_PERM_ACL_READ},
           {account(TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY), TBS_ACL_PERM_ACL_READ}},
          0666);
    for (const unsigned user : {owner, reader, stranger}) {
        for (const unsigned group : {owning_group, team, no_group}) {
            EXPECT_FALSE(lets_in(file, user, group, O_RDONLY)) << user << ' ' << group;
        }
    }
}
