// Many threads at once: listings stay whole, answers stay right. Meant for ThreadSanitizer too.

#include "acl_check_support.hpp"

#include "support/all_threads.hpp"
#include <atomic>

using namespace acl_test;

namespace {

constexpr int thread_count = 16;

class AclThreads : public testing::Test {
protected:
    accounts known_;
    recorder seen_;
};

TEST_F(AclThreads, ListingsAreNeverMixed) {
    constexpr int rounds = 20, entries = 10;
    on_all_threads(thread_count, [](int number) {
        const classic_ptr classic = make_classic();
        const sid_ptr by_sid = make_sid();
        for (int i = 0; i < entries; i++) {
            const std::string role = "t" + std::to_string(number) + "_" + std::to_string(i);
            // Each line with permissions of its own: a text taken from another thread would show.
            const auto perms = static_cast<tbs_acl_permission_set_t>(number * entries + i + 0x100);
            set(classic, TBS_ACL_ID_ROLE, nullptr, role.c_str(), perms);
            set_role(by_sid, role.c_str(), perms);
        }
        for (int round = 0; round < rounds; round++) {
            tbs_acl_utl_print(classic.get(), nullptr, 0, nullptr);
            tbs_sid_acl_utl_print(by_sid.get(), nullptr, 0, nullptr);
        }
    });
    // Every listing begins with entry 0 of a thread and goes on with the others of that thread.
    const lines printed = seen_.take();
    ASSERT_EQ(printed.size(), size_t{thread_count} * rounds * entries * 3);
    int listings = 0;
    for (size_t at = 0; at < printed.size(); listings++) {
        const bool classic = printed[at].starts_with("0 acl[19] ");
        const std::string &first = printed[classic ? at : at + 1];
        const int number = std::stoi(first.substr(first.find("Role:t") + 6));
        for (int i = 0; i < entries; i++) {
            char text[80];
            std::snprintf(text, sizeof text, "Role:t%d_%d 0x%.8x\n", number, i,
                          static_cast<unsigned>(number * entries + i + 0x100));
            if (!classic) {
                ASSERT_EQ(printed[at++], plain(27, "    "));
            }
            ASSERT_EQ(printed[at++], classic ? plain(19, std::string("    ") + text) : plain(26, text));
        }
    }
    EXPECT_EQ(listings, thread_count * rounds * 2);
}

TEST_F(AclThreads, OneSidAclServesAllThreads) {
    const sid_ptr acl = make_sid();
    for (unsigned i = 0; i < numbered_accounts; i += 2) {
        ASSERT_EQ(set(acl, TBS_ACL_ID_USER, sid(first_user_rid + i), 1), 0);
        ASSERT_EQ(set(acl, TBS_ACL_ID_GROUP, sid(first_group_rid + i), 2), 0);
    }
    ASSERT_EQ(set(acl, TBS_ACL_ID_OWNER_USER, CREDUTL_SID_NOBODY, 4), 0);
    sid_person shared_person{"CORP", sid(first_user_rid), sid(first_group_rid), {}};
    const whole_ptr shared_whole = shared_person.whole();
    const client_ptr shared_client = shared_person.client();
    std::atomic<int> wrong = 0;
    on_all_threads(thread_count, [&](int number) {
        for (unsigned i = 0; i < 60; i++) {
            const unsigned n = (i + static_cast<unsigned>(number)) % numbered_accounts;
            const bool listed = n % 2 == 0;
            sid_person who{"CORP", sid(first_user_rid + n), sid(first_group_rid + n), {}};
            wrong += check(acl, 3, who.whole(), &who.user).granted != listed;
            wrong += check(acl, 4, who.client(), &who.user) != granted;
            named_person named{"CORP", "CORP\\u" + std::to_string(n), "CORP\\g" + std::to_string(n), {}};
            wrong += check(acl, 3, named.client()).granted != listed;
            wrong += check(acl, 3, shared_whole) != granted;
            wrong += check(acl, 3, shared_client) != granted;
            wrong += check(acl, 4, shared_client) != denied;
            const tbs_sid_acl_id_t id = sid_id(TBS_ACL_ID_USER, who.user);
            wrong += (tbs_sid_acl_find_entry(acl.get(), &id) != nullptr) != listed;
            wrong += tbs_sid_acl_num_entries(acl.get()) != numbered_accounts + 1;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(AclThreads, EachThreadChecksByItsOwnClassicAcl) {
    std::atomic<int> wrong = 0;
    on_all_threads(thread_count, [&](int number) {
        const std::string user = "u" + std::to_string(number);
        named_person named{"CORP", "CORP\\" + user, "", {}};
        sid_person who{"CORP", sid(first_user_rid + static_cast<unsigned>(number)), CREDUTL_SID_NOBODY, {}};
        const client_ptr by_name = named.client(), by_sid = who.client();
        for (int i = 0; i < 60; i++) {
            const classic_ptr acl = make_classic();
            set(acl, TBS_ACL_ID_USER, "CORP", user.c_str(), 1);
            set(acl, TBS_ACL_ID_USER, "CORP", "ghost", 2);
            wrong += check(acl, 1, by_name) != granted;
            wrong += check(acl, 1, by_sid) != granted;
            wrong += check(acl, 2, by_sid) != denied;
            wrong += check(acl, 1, by_sid) != granted;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(AclThreads, CookedListsMadeBeforehandServeAllThreads) {
    const classic_ptr acl = make_classic();
    ASSERT_EQ(set(acl, TBS_ACL_ID_USER, "CORP", "fred", 1), 0);
    ASSERT_EQ(set(acl, TBS_ACL_ID_GROUP, "CORP", "staff", 2), 0);
    const client_ptr client = sid_person{"CORP", sid(fred), sid(staff), {}}.client();
    ASSERT_EQ(check(acl, 3, client), granted);
    std::atomic<int> wrong = 0;
    on_all_threads(thread_count, [&](int) {
        for (int i = 0; i < 200; i++) {
            wrong += check(acl, 3, client) != granted;
            wrong += check(acl, 4, client) != denied;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(AclThreads, TextsBelongToTheirThread) {
    std::atomic<int> wrong = 0;
    on_all_threads(thread_count, [&](int number) {
        const auto perms = static_cast<tbs_acl_permission_set_t>(number) << 8 | TBS_ACL_PERM_ACL_READ;
        char expected_perms[40], expected_kind[60];
        std::snprintf(expected_perms, sizeof expected_perms, number ? "AclRead,0x%.8x" : "AclRead",
                      static_cast<unsigned>(number) << 8);
        std::snprintf(expected_kind, sizeof expected_kind, "Unrecognized ACL identity type (%d).\n", 1000 + number);
        const tbs_status_t status = number % 2 ? TBS_ST_NOT_FOUND : 5000 + number;
        const std::string expected_status = tbs_strerror(status);
        for (int i = 0; i < 200; i++) {
            wrong += tbs_acl_utl_perm_set_to_str(perms, nullptr, 0, nullptr) != std::string_view(expected_perms);
            wrong +=
                tbs_acl_utl_id_kind_to_str(1000u + static_cast<unsigned>(number)) != std::string_view(expected_kind);
            wrong += tbs_strerror(status) != expected_status;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(AclThreads, AccountsAreResolvedEverywhere) {
    std::atomic<int> wrong = 0;
    on_all_threads(thread_count, [&](int number) {
        for (unsigned i = 0; i < 100; i++) {
            if (number == 0 && i % 10 == 0) credutl_flush_accounts();
            const unsigned n = (i * 7 + static_cast<unsigned>(number)) % numbered_accounts;
            const std::string name = "u" + std::to_string(n);
            credutl_sid_t user{}, ghost{};
            const credutl_sid_t expected = sid(first_user_rid + n);
            wrong += tbs_acl_user_to_usid("corp", name.c_str(), &user) != 0 || !credutl_sid_eq(&user, &expected);
            wrong += tbs_acl_group_to_gsid("CORP", name.c_str(), &ghost) == 0;
            char text[100] = "";
            const tbs_sid_acl_id_t id = sid_id(TBS_ACL_ID_USER, expected);
            wrong += tbs_sid_acl_utl_id_to_str(&id, sizeof text, text) != 0 || "User:CORP\\" + name != text;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(AclThreads, FilesAreReadByAllThreads) {
    const temp_dir dir;
    std::string content;
    for (unsigned i = 0; i < 50; i++) content += "User:CORP\\u" + std::to_string(i) + " List\n";
    const std::string good = dir.write("good", content), bad = dir.write("bad", content + "x\n");
    std::atomic<int> wrong = 0;
    on_all_threads(thread_count, [&](int) {
        for (int i = 0; i < 10; i++) {
            tbs_sid_acl_h_t acl = nullptr;
            wrong += tbs_sid_acl_utl_parse(good.c_str(), names, name_count, &map, &acl) != 0;
            const sid_ptr owner(acl);
            wrong += tbs_sid_acl_num_entries(acl) != 50;
            tbs_acl_h_t classic = nullptr;
            wrong += tbs_acl_utl_parse(bad.c_str(), names, name_count, &map, &classic) != TBS_ST_ERROR;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(AclThreads, OneAclIsEncodedAndItsBytesAreDecodedByAllThreads) {
    const sid_ptr acl = make_sid();
    const classic_ptr named = make_classic();
    for (unsigned i = 0; i < 120; i++) {
        ASSERT_EQ(set(acl, TBS_ACL_ID_USER, sid(first_user_rid + i), i + 1), 0);
        ASSERT_EQ(set(named, TBS_ACL_ID_USER, "CORP", ("u" + std::to_string(i)).c_str(), i + 1), 0);
    }
    std::atomic<int> wrong = 0;
    on_all_threads(thread_count, [&](int) {
        for (int round = 0; round < 20; round++) {
            uint32_t length = 0;
            void *bytes = nullptr;
            tbs_sid_acl_h_t back = nullptr, original = acl.get();
            wrong += tbs_sid_acl_encode(original, &length, &bytes) != 0;
            wrong += tbs_sid_acl_decode(length, bytes, &back) != 0;
            wrong += !tbs_sid_acl_cmp_acl(&back, &original);
            tbs_sid_acl_free(&back);
            stg_free(std::exchange(bytes, nullptr));
            tbs_acl_h_t named_back = nullptr;
            wrong += tbs_acl_encode(named.get(), &length, &bytes) != 0;
            wrong += tbs_acl_decode(length, bytes, &named_back) != 0;
            wrong += tbs_acl_num_entries(named_back) != 120;
            tbs_acl_free(&named_back);
            stg_free(bytes);
        }
    });
    EXPECT_EQ(wrong, 0);
}

} // namespace
