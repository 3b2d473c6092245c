#include "nt/nt_sid.h"

#include "ks/ks_errno.h"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

// An accounts file of its own, for as long as it lives.
struct accounts {
    explicit accounts(std::string_view lines) : variable("ORSIK_ACCOUNTS", dir.write("accounts", lines)) {
        credutl_flush_accounts();
    }
    ~accounts() { credutl_flush_accounts(); }

    temp_dir dir;
    scoped_env variable;
};

std::string own_sid() {
    char text[CREDUTL_SID_STR_SIZE];
    const int error = nt_get_sid_str(text, sizeof text);
    return error == 0 ? text : "error " + std::to_string(error);
}

std::string sid_of(const char *login) {
    char text[CREDUTL_SID_STR_SIZE];
    const int error = nt_get_user_sid_str(login, text, sizeof text);
    return error == 0 ? text : "error " + std::to_string(error);
}

TEST(NtGetSidStr, IsTheEffectiveUsers) {
    const accounts none("");
    EXPECT_EQ(own_sid(), "S-1-22-1-" + std::to_string(geteuid()));
}

TEST(NtGetSidStr, IsWhatTheAccountsSay) {
    const accounts mine("CORP\\me user S-1-5-21-1-2-3-1001 " + std::to_string(geteuid()) + "\n");
    EXPECT_EQ(own_sid(), "S-1-5-21-1-2-3-1001");
}

TEST(NtGetSidStr, FailsWhileTheAccountsCannotBeAsked) {
    const recording_sink quiet;
    const scoped_env missing("ORSIK_ACCOUNTS", "/does/not/exist");
    credutl_flush_accounts();
    char text[CREDUTL_SID_STR_SIZE] = "x";
    ks_errno = 0;
    EXPECT_EQ(nt_get_sid_str(text, sizeof text), KS_EIO);
    EXPECT_EQ(ks_errno, KS_EIO);
    EXPECT_STREQ(text, "");
    credutl_flush_accounts();
}

TEST(NtGetUserSidStr, FindsAUserByName) {
    const accounts some("CORP\\alice user S-1-5-21-1-2-3-1001\nCORP\\staff group S-1-5-21-1-2-3-1100\n");
    EXPECT_EQ(sid_of("CORP\\alice"), "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(sid_of("corp/ALICE"), "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(sid_of("root"), "S-1-22-1-0");
    EXPECT_EQ(sid_of("CORP\\staff"), "error 2");
    EXPECT_EQ(sid_of("CORP\\bob"), "error 2");
    EXPECT_EQ(sid_of(""), "error 22");
    EXPECT_EQ(sid_of(nullptr), "error 22");
    EXPECT_EQ(sid_of(std::string(CREDUTL_NAME_SIZE, 'a').c_str()), "error 38");
}

TEST(NtGetDomainSidStr, IsTheHostsOwnWhenItStandsAlone) {
    char text[CREDUTL_SID_STR_SIZE] = "x", again[CREDUTL_SID_STR_SIZE];
    const int error = nt_get_domain_sid_str(text, sizeof text);
    if (error != 0) {
        EXPECT_EQ(error, KS_ENOENT);
        EXPECT_STREQ(text, "");
        return; // an image without an id
    }
    const std::string_view whole = text;
    EXPECT_TRUE(whole.starts_with("S-1-5-21-")) << text;
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '-'), 6) << text;
    EXPECT_EQ(nt_get_domain_sid_str(again, sizeof again), 0);
    EXPECT_STREQ(again, text);
    credutl_sid_t sid;
    EXPECT_EQ(credutl_str_to_sid(text, &sid), 0);
    for (size_t size = 1; size <= std::strlen(text); size++) {
        EXPECT_EQ(nt_get_domain_sid_str(again, size), KS_ENAMETOOLONG);
        EXPECT_STREQ(again, "");
    }
    EXPECT_EQ(nt_get_domain_sid_str(again, std::strlen(text) + 1), 0);
}

TEST(NtGetSidStrAndItsKin, RefuseBadBuffers) {
    const accounts none("");
    EXPECT_EQ(nt_get_domain_sid_str(nullptr, 100), KS_EINVAL);
    EXPECT_EQ(nt_get_sid_str(nullptr, 100), KS_EINVAL);
    EXPECT_EQ(nt_get_user_sid_str("root", nullptr, 100), KS_EINVAL);
    char text[5] = "x";
    EXPECT_EQ(nt_get_sid_str(text, 0), KS_ENAMETOOLONG);
    EXPECT_STREQ(text, "x");
    EXPECT_EQ(nt_get_sid_str(text, sizeof text), KS_ENAMETOOLONG);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(nt_get_user_sid_str("root", text, sizeof text), KS_ENAMETOOLONG);
    EXPECT_STREQ(text, "");
}

TEST(NtGetUserSidStr, SaysWhenThereIsNoMemory) {
    const accounts some("CORP\\alice user S-1-5-21-1-2-3-1001\n");
    const int refused = faults::each_allocation([&](int n, bool) {
        char text[CREDUTL_SID_STR_SIZE] = "x";
        {
            const faults::suspend unrefused;
            credutl_flush_accounts();
        }
        const int error = nt_get_user_sid_str("CORP\\alice", text, sizeof text);
        const faults::suspend unrefused;
        EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << n << ": " << error;
        EXPECT_STREQ(text, error == 0 ? "S-1-5-21-1-2-3-1001" : "") << n;
    });
    EXPECT_GT(refused, 0);
}

} // namespace
