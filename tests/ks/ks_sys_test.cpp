#include "ks/ks_errno.h"
#include "ks/ks_sys.h"
#include "support/env.hpp"
#include "support/temp_dir.hpp"

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <pwd.h>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

static int error_of_host_name = 0; // when it cannot be told

extern "C" [[gnu::visibility("default")]] int gethostname(char *name, size_t size) noexcept {
    static const auto next = reinterpret_cast<decltype(&gethostname)>(dlsym(RTLD_NEXT, "gethostname"));
    if (error_of_host_name == 0) return next(name, size);
    errno = error_of_host_name;
    return -1;
}

namespace {

class Sysutl : public testing::Test {
protected:
    Sysutl() {
        credutl_flush_accounts();
        credutl_str_to_sid("S-1-5-21-1-2-3-1001", &alice);
        credutl_str_to_sid("S-1-5-21-1-2-3-513", &users);
    }
    ~Sysutl() override { credutl_flush_accounts(); }

    temp_dir folder;
    const scoped_env accounts{"ORSIK_ACCOUNTS",
                              folder.write("accounts", "CORP\\alice user S-1-5-21-1-2-3-1001\n"
                                                       "CORP\\Domain Users group S-1-5-21-1-2-3-513\n")};
    credutl_sid_t alice{}, users{}, out{};
    char text[CREDUTL_NAME_SIZE] = "old";
};

TEST_F(Sysutl, NamesBecomeSidsInBothForms) {
    for (const int form : {SYSUTL_FORM_SID, SYSUTL_FORM_NAME}) {
        out = {};
        EXPECT_EQ(sysutl_user_to_usid("CORP\\alice", form, &out), 0);
        EXPECT_TRUE(credutl_sid_eq(&out, &alice));
        EXPECT_EQ(sysutl_group_to_gsid("corp\\domain users", form, &out), 0);
        EXPECT_TRUE(credutl_sid_eq(&out, &users));
    }
}

TEST_F(Sysutl, UnknownNamesLeaveTheSidAlone) {
    out = alice;
    EXPECT_EQ(sysutl_user_to_usid("CORP\\carol", SYSUTL_FORM_NAME, &out), KS_ENOENT);
    EXPECT_EQ(sysutl_group_to_gsid("CORP\\alice", SYSUTL_FORM_NAME, &out), KS_ENOENT);
    EXPECT_EQ(sysutl_user_to_usid("CORP\\root", SYSUTL_FORM_NAME, &out), KS_ENOENT);
    EXPECT_EQ(sysutl_user_to_usid("", SYSUTL_FORM_NAME, &out), KS_EINVAL);
    EXPECT_EQ(sysutl_user_to_usid(nullptr, SYSUTL_FORM_NAME, &out), KS_EINVAL);
    EXPECT_EQ(sysutl_user_to_usid("CORP\\alice", 3, &out), KS_EINVAL);
    EXPECT_EQ(sysutl_user_to_usid("CORP\\alice", SYSUTL_FORM_NAME, nullptr), KS_EINVAL);
    EXPECT_TRUE(credutl_sid_eq(&out, &alice));
}

TEST_F(Sysutl, SidsAreNamedInTwoForms) {
    EXPECT_EQ(sysutl_usid_to_user(&alice, SYSUTL_FORM_SID, text, sizeof text), 0);
    EXPECT_STREQ(text, "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(sysutl_usid_to_user(&alice, SYSUTL_FORM_NAME, text, sizeof text), 0);
    EXPECT_STREQ(text, "CORP\\alice");
    EXPECT_EQ(sysutl_gsid_to_group(&users, SYSUTL_FORM_NAME, text, sizeof text), 0);
    EXPECT_STREQ(text, "CORP\\Domain Users");
    EXPECT_EQ(sysutl_gsid_to_group(&alice, SYSUTL_FORM_SID, text, sizeof text), 0);
    EXPECT_STREQ(text, "S-1-5-21-1-2-3-1001");
}

TEST_F(Sysutl, FailureLeavesAnEmptyText) {
    const credutl_sid_t empty{};
    const auto fails = [&](const credutl_sid_t *sid, int form, size_t size) {
        std::strcpy(text, "old");
        const int error = sysutl_usid_to_user(sid, form, text, size);
        EXPECT_STREQ(text, "");
        return error;
    };
    EXPECT_EQ(fails(&users, SYSUTL_FORM_NAME, sizeof text), KS_ENOENT);
    EXPECT_EQ(fails(&CREDUTL_SID_NOBODY, SYSUTL_FORM_NAME, sizeof text), KS_ENOENT);
    EXPECT_EQ(fails(&empty, SYSUTL_FORM_NAME, sizeof text), KS_EINVAL);
    EXPECT_EQ(fails(&empty, SYSUTL_FORM_SID, sizeof text), KS_EINVAL);
    EXPECT_EQ(fails(nullptr, SYSUTL_FORM_NAME, sizeof text), KS_EINVAL);
    EXPECT_EQ(fails(&alice, 0, sizeof text), KS_EINVAL);
    EXPECT_EQ(fails(&alice, SYSUTL_FORM_NAME, std::strlen("CORP\\alice")), KS_ENAMETOOLONG);
    EXPECT_EQ(sysutl_usid_to_user(&alice, SYSUTL_FORM_NAME, nullptr, 9), KS_EINVAL);
    std::strcpy(text, "old");
    EXPECT_EQ(sysutl_usid_to_user(&alice, SYSUTL_FORM_NAME, text, 0), KS_ENAMETOOLONG);
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(sysutl_usid_to_user(&alice, SYSUTL_FORM_NAME, text, std::strlen("CORP\\alice") + 1), 0);
}

TEST_F(Sysutl, HostNameThatCannotBeToldIsEmpty) {
    std::strcpy(text, "old");
    error_of_host_name = EPERM;
    EXPECT_EQ(sysutl_myhostname(text, sizeof text), KS_EPERM);
    error_of_host_name = 0;
    EXPECT_STREQ(text, "");
}

TEST_F(Sysutl, HostNameIsShortAndCutToFit) {
    char host[256];
    char whole[256];
    ASSERT_EQ(gethostname(whole, sizeof whole), 0);
    ASSERT_EQ(sysutl_myhostname(host, sizeof host), 0);
    EXPECT_EQ(std::string(host), std::string(whole).substr(0, std::string(whole).find('.')));
    char small[3];
    ASSERT_EQ(sysutl_myhostname(small, sizeof small), 0);
    EXPECT_EQ(std::string(small), std::string(host).substr(0, 2));
    EXPECT_EQ(sysutl_myhostname(nullptr, 5), KS_EINVAL);
    EXPECT_EQ(sysutl_myhostname(host, 0), KS_EINVAL);
}

TEST(SysutlMyloginname, IsThatOfTheRealUser) {
    const passwd *entry = getpwuid(getuid());
    if (!entry) GTEST_SKIP() << "the user has no name";
    char name[256];
    ASSERT_EQ(sysutl_myloginname(name, sizeof name), 0);
    EXPECT_STREQ(name, entry->pw_name);
    const size_t length = std::strlen(name);
    EXPECT_EQ(sysutl_myloginname(name, length + 1), 0);
    EXPECT_EQ(sysutl_myloginname(name, length), KS_ENAMETOOLONG);
    EXPECT_STREQ(name, "");
    EXPECT_EQ(sysutl_myloginname(nullptr, 9), KS_EINVAL);
    EXPECT_EQ(sysutl_myloginname(name, 0), KS_EINVAL);
}

TEST(SysutlGetHomedir, HonoursAnAbsoluteHomeOfTheProcesssUserOnly) {
    const passwd *entry = getpwuid(getuid());
    if (!entry) GTEST_SKIP() << "the user has no name";
    const std::string login = entry->pw_name, listed = entry->pw_dir;
    char directory[256];
    const auto home = [&](const char *user) {
        EXPECT_EQ(sysutl_get_homedir(user, directory, sizeof directory), 0);
        return std::string(directory);
    };
    {
        const scoped_env variable("HOME", "/somewhere");
        EXPECT_EQ(home(login.c_str()), "/somewhere");
        const std::string other = getuid() == 0 ? "daemon" : "root";
        EXPECT_NE(home(other.c_str()), "/somewhere");
    }
    for (const char *unusable : {"", "somewhere"}) {
        const scoped_env variable("HOME", unusable);
        EXPECT_EQ(home(login.c_str()), listed);
    }
}

TEST(SysutlGetHomedir, SaysWhyItFails) {
    char directory[256] = "old";
    EXPECT_EQ(sysutl_get_homedir("no such user", directory, sizeof directory), KS_ENOENT);
    EXPECT_STREQ(directory, "");
    EXPECT_EQ(sysutl_get_homedir("root", directory, 1), KS_ENAMETOOLONG);
    EXPECT_EQ(sysutl_get_homedir(nullptr, directory, sizeof directory), KS_EINVAL);
    EXPECT_EQ(sysutl_get_homedir("root", nullptr, 4), KS_EINVAL);
    EXPECT_EQ(sysutl_get_homedir("root", directory, 0), KS_EINVAL);
}

TEST(SysutlGetUmask, ReadsTheMaskAndLeavesIt) {
    const mode_t before = umask(0);
    for (const mode_t mask : {0u, 022u, 077u, 0777u, 0123u}) {
        umask(mask);
        uint32_t got = 9999;
        EXPECT_EQ(sysutl_get_umask(&got), 0);
        EXPECT_EQ(got, mask);
        EXPECT_EQ(umask(mask), mask);
    }
    umask(before);
}

TEST(SysutlGetUmask, IsThatOfTheCallingThread) {
    const mode_t before = umask(022);
    uint32_t theirs = 9999, ours = 9999;
    bool apart = false;
    std::thread([&] {
        apart = unshare(CLONE_FS) == 0;
        umask(077);
        EXPECT_EQ(sysutl_get_umask(&theirs), 0);
    }).join();
    EXPECT_EQ(sysutl_get_umask(&ours), 0);
    umask(before);
    if (!apart) GTEST_SKIP() << "threads cannot have masks of their own here";
    EXPECT_EQ(theirs, 077u);
    EXPECT_EQ(ours, 022u);
}

TEST(SysutlGetUmask, TheNameOfAThreadDoesNotMatter) {
    const mode_t before = umask(022);
    uint32_t got = 9999;
    std::thread([&] {
        pthread_setname_np(pthread_self(), "\nUmask:\t0000\n");
        EXPECT_EQ(sysutl_get_umask(&got), 0);
    }).join();
    umask(before);
    EXPECT_EQ(got, 022u);
}

TEST(SysutlGetUmask, FailsWithoutADescriptor) {
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    uint32_t got = 9999;
    const int error = sysutl_get_umask(&got);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(error, ks_errno_from_host(EMFILE));
    EXPECT_EQ(ks_errno, error);
    EXPECT_EQ(got, 9999u);
    EXPECT_EQ(sysutl_get_umask(nullptr), KS_EINVAL);
}

} // namespace
