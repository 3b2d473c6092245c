#include "ks/ks_cred.h"
#include "ks/ks_errno.h"
#include "ks/ks_stg.h"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/temp_dir.hpp"

#include <cerrno>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>
#include <pwd.h>
#include <rapidcheck/gtest.h>
#include <string>
#include <vector>

static bool memory_is_short = false; // for the host's database of users

extern "C" [[gnu::visibility("default")]] int getpwuid_r(uid_t uid, passwd *record, char *buffer, size_t size,
                                                         passwd **found) {
    static const auto next = reinterpret_cast<decltype(&getpwuid_r)>(dlsym(RTLD_NEXT, "getpwuid_r"));
    return memory_is_short ? ENOMEM : next(uid, record, buffer, size, found);
}

namespace {

using strings = std::vector<std::string>;

credutl_sid_t rid(uint32_t number) {
    credutl_sid_t out{};
    EXPECT_EQ(credutl_str_to_sid(("S-1-5-21-1-2-3-" + std::to_string(number)).c_str(), &out), 0);
    return out;
}

std::string text_of(const credutl_sid_t &sid) {
    char text[CREDUTL_SID_STR_SIZE] = "";
    credutl_sid_to_str(&sid, text, sizeof text);
    return text;
}

template <auto Free> struct freed {
    template <class T> void operator()(T *p) const { Free(&p); }
};
using strings_ptr = std::unique_ptr<credutl_string_credentials_t, freed<credutl_free_string_credentials>>;
using sids_ptr = std::unique_ptr<credutl_sid_credentials_t, freed<credutl_free_sid_credentials>>;
using whole_ptr = std::unique_ptr<credutl_whole_credentials_t, freed<credutl_free_whole_credentials>>;

// Caller-made credentials.
struct sid_source {
    sid_source(credutl_sid_t user, credutl_sid_t group, std::vector<credutl_sid_t> more) : groups(std::move(more)) {
        value = {user, group, static_cast<uint32_t>(groups.size()), groups.data()};
    }
    std::vector<credutl_sid_t> groups;
    credutl_sid_credentials_t value;
};
struct string_source {
    string_source(std::string user_name, std::string group_name, strings more)
        : user(std::move(user_name)), group(std::move(group_name)), groups(std::move(more)) {
        for (std::string &each : groups) {
            pointers.push_back(each.data());
        }
        value = {user.data(), group.data(), static_cast<uint32_t>(groups.size()), pointers.data()};
    }
    std::string user, group;
    strings groups;
    std::vector<char *> pointers;
    credutl_string_credentials_t value;
};

strings flat(const credutl_string_credentials_t &all) {
    strings out{all.user, all.group};
    out.insert(out.end(), all.groups, all.groups + all.group_count);
    return out;
}
strings flat(const credutl_sid_credentials_t &all) {
    strings out{text_of(all.user), text_of(all.group)};
    for (uint32_t i = 0; i < all.group_count; i++) {
        out.push_back(text_of(all.groups[i]));
    }
    return out;
}

whole_ptr whole_of(const credutl_sid_credentials_t &sids) {
    credutl_whole_credentials_t *whole = nullptr;
    EXPECT_EQ(credutl_sid_credentials_to_whole(&sids, &whole), 0);
    return whole_ptr(whole);
}

class Credentials : public testing::Test {
protected:
    Credentials() { credutl_flush_accounts(); }
    ~Credentials() override { credutl_flush_accounts(); }

    temp_dir folder;
    const scoped_env accounts{"ORSIK_ACCOUNTS", folder.write("accounts", "CORP\\alice user S-1-5-21-1-2-3-1001\n"
                                                                         "CORP\\users group S-1-5-21-1-2-3-513\n"
                                                                         "CORP\\devs group S-1-5-21-1-2-3-1100\n"
                                                                         "CORP\\ops group S-1-5-21-1-2-3-1101\n")};
    string_source alice{"CORP\\alice", "CORP\\users", {"CORP\\devs", "CORP\\ops"}};
    sid_source alice_sids{rid(1001), rid(513), {rid(1100), rid(1101)}};
};

TEST_F(Credentials, NamesBecomeSids) {
    credutl_sid_credentials_t *out = nullptr;
    ASSERT_EQ(credutl_string_credentials_to_sid_credentials(&alice.value, &out), 0);
    EXPECT_EQ(flat(*sids_ptr(out)), flat(alice_sids.value));
}

TEST_F(Credentials, UnknownUserOrPrimaryGroupFails) {
    auto *untouched = reinterpret_cast<credutl_sid_credentials_t *>(this);
    credutl_sid_credentials_t *out = untouched;
    const string_source no_user{"CORP\\carol", "CORP\\users", {}};
    const string_source no_group{"CORP\\alice", "CORP\\none", {}};
    const string_source empty_user{"", "CORP\\users", {}};
    EXPECT_EQ(credutl_string_credentials_to_sid_credentials(&no_user.value, &out), KS_ENOENT);
    EXPECT_EQ(credutl_string_credentials_to_sid_credentials(&no_group.value, &out), KS_ENOENT);
    EXPECT_EQ(credutl_string_credentials_to_sid_credentials(&empty_user.value, &out), KS_EINVAL);
    EXPECT_EQ(out, untouched);
}

TEST_F(Credentials, UnknownSupplementaryGroupsAreLeftOut) {
    const string_source some{"CORP\\alice", "CORP\\users", {"CORP\\none", "CORP\\ops", "", std::string(600, 'x')}};
    credutl_sid_credentials_t *out = nullptr;
    ks_errno = 77;
    ASSERT_EQ(credutl_string_credentials_to_sid_credentials(&some.value, &out), 0);
    EXPECT_EQ(ks_errno, 77) << "a function that succeeds does not touch it";
    EXPECT_EQ(flat(*sids_ptr(out)), (strings{text_of(rid(1001)), text_of(rid(513)), text_of(rid(1101))}));
}

TEST_F(Credentials, NoPrimaryGroupIsNobody) {
    string_source none{"CORP\\alice", "", {}};
    for (char *group : {none.value.group, static_cast<char *>(nullptr)}) {
        none.value.group = group;
        credutl_sid_credentials_t *out = nullptr;
        ASSERT_EQ(credutl_string_credentials_to_sid_credentials(&none.value, &out), 0);
        EXPECT_EQ(flat(*sids_ptr(out)), (strings{text_of(rid(1001)), "S-1-0-0"}));
        credutl_string_credentials_t *back = nullptr;
        const sid_source source{rid(1001), CREDUTL_SID_NOBODY, {}};
        ASSERT_EQ(credutl_sid_credentials_to_string_credentials(&source.value, &back), 0);
        EXPECT_EQ(flat(*strings_ptr(back)), (strings{"CORP\\alice", ""}));
    }
}

TEST_F(Credentials, SidsAreNamedOrShownByTheirText) {
    credutl_string_credentials_t *out = nullptr;
    ASSERT_EQ(credutl_sid_credentials_to_string_credentials(&alice_sids.value, &out), 0);
    EXPECT_EQ(flat(*strings_ptr(out)), flat(alice.value));
    const sid_source strange{rid(7), rid(8), {rid(9), CREDUTL_SID_NOBODY, credutl_sid_t{}}};
    ks_errno = 77;
    ASSERT_EQ(credutl_sid_credentials_to_string_credentials(&strange.value, &out), 0);
    EXPECT_EQ(ks_errno, 77);
    EXPECT_EQ(flat(*strings_ptr(out)),
              (strings{"S-1-5-21-1-2-3-7", "S-1-5-21-1-2-3-8", "S-1-5-21-1-2-3-9", "S-1-0-0", ""}));
    const whole_ptr whole = whole_of(alice_sids.value);
    ASSERT_EQ(credutl_whole_credentials_to_whole_string_credentials(whole.get(), &out), 0);
    EXPECT_EQ(flat(*strings_ptr(out)), flat(alice.value));
}

TEST_F(Credentials, NameForWhichMemoryIsShortIsNotShownByItsText) {
    sid_source root{credutl_sid_t{}, CREDUTL_SID_NOBODY, {}};
    ASSERT_EQ(credutl_str_to_sid("S-1-22-1-0", &root.value.user), 0);
    credutl_string_credentials_t *out = nullptr;
    memory_is_short = true;
    EXPECT_EQ(credutl_sid_credentials_to_string_credentials(&root.value, &out), KS_ENOMEM);
    memory_is_short = false;
    EXPECT_EQ(out, nullptr);
    ASSERT_EQ(credutl_sid_credentials_to_string_credentials(&root.value, &out), 0);
    EXPECT_EQ(flat(*strings_ptr(out)), (strings{std::string(credutl_local_domain()) + "\\root", ""}));
}

TEST_F(Credentials, CopiesAreEqualAndTheirOwn) {
    credutl_string_credentials_t *names = nullptr;
    ASSERT_EQ(credutl_copy_string_credentials(&alice.value, &names), 0);
    EXPECT_EQ(flat(*names), flat(alice.value));
    EXPECT_NE(names->groups[0], alice.value.groups[0]);
    credutl_free_string_credentials(&names);
    EXPECT_EQ(names, nullptr);
    credutl_sid_credentials_t *sids = nullptr;
    ASSERT_EQ(credutl_copy_sid_credentials(&alice_sids.value, &sids), 0);
    EXPECT_EQ(flat(*sids), flat(alice_sids.value));
    EXPECT_NE(sids->groups, alice_sids.value.groups);
    credutl_free_sid_credentials(&sids);
    EXPECT_EQ(sids, nullptr);
}

TEST_F(Credentials, FreeStandsNullAndNullInside) {
    credutl_string_credentials_t *names = nullptr;
    credutl_sid_credentials_t *sids = nullptr;
    credutl_whole_credentials_t *whole = nullptr;
    credutl_free_string_credentials(&names);
    credutl_free_sid_credentials(&sids);
    credutl_free_whole_credentials(&whole);
    credutl_free_string_credentials(nullptr);
    credutl_free_sid_credentials(nullptr);
    credutl_free_whole_credentials(nullptr);
}

TEST_F(Credentials, IncompleteRecordsAreRefused) {
    credutl_string_credentials_t *names = nullptr;
    credutl_sid_credentials_t *sids = nullptr;
    credutl_whole_credentials_t *whole = nullptr;
    const auto all = [&](const credutl_string_credentials_t *s) {
        return credutl_copy_string_credentials(s, &names) == KS_EINVAL &&
               credutl_string_credentials_to_sid_credentials(s, &sids) == KS_EINVAL;
    };
    const auto all_sids = [&](const credutl_sid_credentials_t *s) {
        return credutl_copy_sid_credentials(s, &sids) == KS_EINVAL &&
               credutl_sid_credentials_to_string_credentials(s, &names) == KS_EINVAL &&
               credutl_sid_credentials_to_whole(s, &whole) == KS_EINVAL;
    };
    EXPECT_TRUE(all(nullptr));
    credutl_string_credentials_t bad = alice.value;
    bad.user = nullptr;
    EXPECT_TRUE(all(&bad));
    bad = alice.value;
    bad.groups = nullptr;
    EXPECT_TRUE(all(&bad));
    bad = alice.value;
    bad.groups[1] = nullptr;
    EXPECT_TRUE(all(&bad));
    bad.group_count = CREDUTL_MAX_GROUPS + 1;
    EXPECT_TRUE(all(&bad));
    EXPECT_TRUE(all_sids(nullptr));
    credutl_sid_credentials_t bad_sids = alice_sids.value;
    bad_sids.groups = nullptr;
    EXPECT_TRUE(all_sids(&bad_sids));
    bad_sids = alice_sids.value;
    bad_sids.group_count = CREDUTL_MAX_GROUPS + 1;
    EXPECT_TRUE(all_sids(&bad_sids));

    EXPECT_EQ(credutl_copy_string_credentials(&alice.value, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_copy_sid_credentials(&alice_sids.value, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_string_credentials_to_sid_credentials(&alice.value, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_sid_credentials_to_string_credentials(&alice_sids.value, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_sid_credentials_to_whole(&alice_sids.value, nullptr), KS_EINVAL);
    EXPECT_EQ(credutl_whole_credentials_to_whole_string_credentials(nullptr, &names), KS_EINVAL);
    EXPECT_EQ(names, nullptr);
    EXPECT_EQ(sids, nullptr);
    EXPECT_EQ(whole, nullptr);
}

TEST_F(Credentials, WholeOnesListTheirIdentitiesWithHashes) {
    const whole_ptr whole = whole_of(alice_sids.value);
    const uint64_t *hashes = nullptr;
    size_t count = 0;
    const credutl_sid_t *all = credutl_whole_sids(whole.get(), &hashes, &count);
    ASSERT_EQ(count, 4u);
    const credutl_sid_t expected[] = {rid(1001), rid(513), rid(1100), rid(1101)};
    for (size_t i = 0; i < count; i++) {
        EXPECT_TRUE(credutl_sid_eq(&all[i], &expected[i])) << i;
        EXPECT_EQ(hashes[i], credutl_sid_hash(&expected[i])) << i;
    }
    EXPECT_EQ(credutl_whole_user_sid(whole.get()), all);
    EXPECT_EQ(credutl_whole_sids(whole.get(), nullptr, nullptr), all);
    EXPECT_EQ(credutl_whole_sids(nullptr, &hashes, &count), nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(hashes, nullptr);
    EXPECT_EQ(credutl_whole_user_sid(nullptr), nullptr);
}

TEST_F(Credentials, GroupsAreHeldTheUserIsNot) {
    const whole_ptr whole = whole_of(alice_sids.value);
    const auto held = [&](credutl_sid_t sid) {
        const int answer = credutl_has_group_whole(whole.get(), &sid);
        EXPECT_EQ(credutl_has_group_sid(&alice_sids.value, &sid), answer);
        return answer;
    };
    EXPECT_EQ(held(rid(513)), 1) << "the primary group counts";
    EXPECT_EQ(held(rid(1100)), 1);
    EXPECT_EQ(held(rid(1101)), 1);
    EXPECT_EQ(held(rid(1001)), 0) << "the user is no group";
    EXPECT_EQ(held(rid(1102)), 0);
    EXPECT_EQ(held(credutl_sid_t{}), 0);
    EXPECT_EQ(credutl_has_group_whole(nullptr, &alice_sids.value.group), 0);
    EXPECT_EQ(credutl_has_group_whole(whole.get(), nullptr), 0);
    EXPECT_EQ(credutl_has_group_sid(nullptr, &alice_sids.value.group), 0);
    EXPECT_EQ(credutl_has_group_sid(&alice_sids.value, nullptr), 0);
}

TEST_F(Credentials, NobodyAndTheEmptyRecordAreNeverHeld) {
    const credutl_sid_t empty{};
    for (const credutl_sid_t &never : {CREDUTL_SID_NOBODY, empty}) {
        const sid_source source{rid(1), never, {never, never}};
        EXPECT_EQ(credutl_has_group_whole(whole_of(source.value).get(), &never), 0);
        EXPECT_EQ(credutl_has_group_sid(&source.value, &never), 0);
    }
}

TEST_F(Credentials, MostGroupsAreFoundAsFastAsFew) {
    std::vector<credutl_sid_t> many;
    for (uint32_t i = 0; i < CREDUTL_MAX_GROUPS; i++) {
        many.push_back(rid(i * 2));
    }
    const sid_source source{rid(1), rid(3), many};
    const whole_ptr whole = whole_of(source.value);
    for (uint32_t i = 0; i < CREDUTL_MAX_GROUPS; i++) {
        const credutl_sid_t held = rid(i * 2);
        const credutl_sid_t other = rid(i * 2 + 5);
        ASSERT_EQ(credutl_has_group_whole(whole.get(), &held), 1) << i;
        ASSERT_EQ(credutl_has_group_whole(whole.get(), &other), 0) << i;
    }
}

RC_GTEST_PROP(WholeCredentials, AgreeWithAPlainSearch, ()) {
    const auto numbers = *rc::gen::container<std::vector<uint32_t>>(rc::gen::inRange<uint32_t>(0, 40));
    std::vector<credutl_sid_t> groups;
    for (const uint32_t number : numbers) {
        groups.push_back(rid(number));
    }
    const sid_source source{rid(*rc::gen::inRange<uint32_t>(0, 40)), rid(*rc::gen::inRange<uint32_t>(0, 40)), groups};
    const whole_ptr whole = whole_of(source.value);
    for (uint32_t number = 0; number < 40; number++) {
        const credutl_sid_t asked = rid(number);
        RC_ASSERT(credutl_has_group_whole(whole.get(), &asked) == credutl_has_group_sid(&source.value, &asked));
    }
}

TEST_F(Credentials, EveryAllocationMayFail) {
    const whole_ptr whole = whole_of(alice_sids.value);
    const auto every = [&](const char *what, auto make, auto release) {
        const int refused = faults::each_allocation([&](int, bool) {
            {
                const faults::suspend unrefused;
                credutl_flush_accounts();
            }
            const int error = release(make);
            const faults::suspend unrefused;
            EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << what << ' ' << error;
        });
        EXPECT_GT(refused, 0) << what;
    };
    const auto names = [](auto make) {
        credutl_string_credentials_t *out = nullptr;
        const int error = make(&out);
        EXPECT_EQ(error == 0, out != nullptr);
        credutl_free_string_credentials(&out);
        return error;
    };
    const auto sids = [](auto make) {
        credutl_sid_credentials_t *out = nullptr;
        const int error = make(&out);
        EXPECT_EQ(error == 0, out != nullptr);
        credutl_free_sid_credentials(&out);
        return error;
    };
    const auto wholes = [](auto make) {
        credutl_whole_credentials_t *out = nullptr;
        const int error = make(&out);
        EXPECT_EQ(error == 0, out != nullptr);
        credutl_free_whole_credentials(&out);
        return error;
    };
    using S = credutl_string_credentials_t **;
    using I = credutl_sid_credentials_t **;
    using W = credutl_whole_credentials_t **;
    every(
        "copy names", [&](S out) { return credutl_copy_string_credentials(&alice.value, out); }, names);
    every(
        "copy sids", [&](I out) { return credutl_copy_sid_credentials(&alice_sids.value, out); }, sids);
    every(
        "names to sids", [&](I out) { return credutl_string_credentials_to_sid_credentials(&alice.value, out); },
        sids);
    every(
        "sids to names", [&](S out) { return credutl_sid_credentials_to_string_credentials(&alice_sids.value, out); },
        names);
    every(
        "sids to whole", [&](W out) { return credutl_sid_credentials_to_whole(&alice_sids.value, out); }, wholes);
    every(
        "whole to names",
        [&](S out) { return credutl_whole_credentials_to_whole_string_credentials(whole.get(), out); }, names);
}

} // namespace
