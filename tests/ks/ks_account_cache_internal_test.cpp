#include "internal/ks_account_cache.hpp"

#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using ks::account_answer;
using ks::account_cache;
using ks::account_question;

std::atomic<int64_t> now_ms{0};
int64_t fake_clock() noexcept { return now_ms; }

credutl_sid_t sid_of(uint32_t rid) { return ks::make_sid(5, std::array{21u, 1u, rid}); }

account_answer answer_of(uint32_t rid, std::string name = "CORP\\alice") {
    account_answer answer;
    answer.known = true;
    answer.sid = sid_of(rid);
    answer.id = rid;
    answer.source = "test";
    answer.name = std::move(name);
    return answer;
}

class AccountCache : public testing::Test {
protected:
    AccountCache() { now_ms = 1000; }

    // The id of the answer; -1 for one that says "unknown", -2 when there is none.
    int64_t find(const account_question &question) {
        int64_t id = -2;
        cache->find(question, [&](const account_answer &answer) { id = answer.known ? int64_t{answer.id} : -1; });
        return id;
    }
    void keep(const account_question &question, const account_answer &answer) {
        cache->keep(cache->generation(), question, answer);
    }

    std::unique_ptr<account_cache> cache = std::make_unique<account_cache>(fake_clock);
    account_question alice = account_question::of_name(CREDUTL_USER, "CORP\\alice");
};

TEST_F(AccountCache, KeepsAnswersByNameSidAndId) {
    const credutl_sid_t sid = sid_of(7);
    keep(alice, answer_of(1));
    keep(account_question::of_sid(CREDUTL_USER, sid), answer_of(2));
    keep(account_question::of_id(CREDUTL_USER, 7), answer_of(3));
    EXPECT_EQ(find(alice), 1);
    EXPECT_EQ(find(account_question::of_sid(CREDUTL_USER, sid)), 2);
    EXPECT_EQ(find(account_question::of_id(CREDUTL_USER, 7)), 3);
    EXPECT_EQ(find(account_question::of_name(CREDUTL_GROUP, "CORP\\alice")), -2);
    EXPECT_EQ(find(account_question::of_sid(CREDUTL_GROUP, sid)), -2);
    EXPECT_EQ(find(account_question::of_id(CREDUTL_GROUP, 7)), -2);
}

TEST_F(AccountCache, NamesThatDifferInCaseHaveTheirOwnAnswers) {
    keep(alice, account_answer{});
    EXPECT_EQ(find(account_question::of_name(CREDUTL_USER, "CORP\\ALICE")), -2);
    keep(account_question::of_name(CREDUTL_USER, "CORP\\ALICE"), answer_of(2));
    EXPECT_EQ(find(alice), -1);
    EXPECT_EQ(find(account_question::of_name(CREDUTL_USER, "CORP\\ALICE")), 2);
}

TEST_F(AccountCache, ForgetsKnownAccountsAfterFiveMinutes) {
    keep(alice, answer_of(1));
    now_ms = 1000 + 5 * 60 * 1000 - 1;
    EXPECT_EQ(find(alice), 1);
    now_ms = 1000 + 5 * 60 * 1000;
    EXPECT_EQ(find(alice), -2);
}

TEST_F(AccountCache, ForgetsUnknownOnesAfterTenSeconds) {
    keep(alice, account_answer{});
    now_ms = 1000 + 10 * 1000 - 1;
    EXPECT_EQ(find(alice), -1);
    now_ms = 1000 + 10 * 1000;
    EXPECT_EQ(find(alice), -2);
}

TEST_F(AccountCache, ALaterAnswerReplacesTheEarlier) {
    keep(alice, account_answer{});
    keep(alice, answer_of(1));
    keep(alice, answer_of(2));
    EXPECT_EQ(find(alice), 2);
    EXPECT_EQ(cache->size(), 1u);
}

TEST_F(AccountCache, DropsWhatWasAskedBeforeAllWasForgotten) {
    const uint64_t before = cache->generation();
    keep(alice, answer_of(1));
    const uint64_t after = cache->forget_all();
    EXPECT_EQ(find(alice), -2);
    cache->keep(before, alice, answer_of(1));
    EXPECT_EQ(find(alice), -2);
    cache->keep(after, alice, answer_of(2));
    EXPECT_EQ(find(alice), 2);
}

TEST_F(AccountCache, StaysWithinItsBoundAndDropsTheOldest) {
    const uint32_t asked = 3 * account_cache::capacity;
    for (uint32_t id = 0; id < asked; id++) {
        keep(account_question::of_id(CREDUTL_USER, id), answer_of(id, ""));
    }
    EXPECT_LE(cache->size(), account_cache::capacity);
    EXPECT_GT(cache->size(), account_cache::capacity * 9 / 10);
    EXPECT_EQ(find(account_question::of_id(CREDUTL_USER, asked - 1)), asked - 1);
    EXPECT_EQ(find(account_question::of_id(CREDUTL_USER, 0)), -2);
    // Each shard keeps its newest: the last half of a capacity is there, whole.
    for (uint32_t id = asked - account_cache::capacity / 2; id < asked; id++) {
        ASSERT_EQ(find(account_question::of_id(CREDUTL_USER, id)), id);
    }
}

TEST_F(AccountCache, ServesSixteenThreadsWhileOneForgets) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 16; t++) {
        threads.emplace_back([&, t] {
            for (uint32_t i = 0; i < 2000; i++) {
                const uint32_t id = (i * 7 + static_cast<uint32_t>(t)) % 50;
                const auto question = account_question::of_id(CREDUTL_USER, id);
                const int64_t found = find(question);
                wrong += found != -2 && found != int64_t{id};
                cache->keep(cache->generation(), question, answer_of(id));
                if (t == 0 && i % 50 == 0) {
                    cache->forget_all();
                }
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
