#include "ks/ks_hash.h"

#include "ks/ks_errno.h"
#include "support/faults.hpp"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

struct table_owner {
    hash_t *table = nullptr;
    explicit table_owner(size_t capacity = 0) { EXPECT_EQ(hash_str_create(capacity, &table), 0); }
    ~table_owner() { hash_str_delete(&table); }
};

constexpr uint64_t untouched = 0xDEAD;

uint64_t get(const hash_t *table, const std::string &key, uint64_t absent = untouched) {
    uint64_t value = absent;
    hash_str_get(table, key.c_str(), &value);
    return value;
}

TEST(HashStr, TellsAStoredZeroFromAnAbsentKey) {
    table_owner t;
    EXPECT_EQ(hash_str_get(t.table, "key", nullptr), 0);
    EXPECT_EQ(hash_str_put(t.table, "key", 0), 0);
    uint64_t value = untouched;
    EXPECT_EQ(hash_str_get(t.table, "key", &value), 1);
    EXPECT_EQ(value, 0u);
    value = untouched;
    EXPECT_EQ(hash_str_get(t.table, "Key", &value), 0);
    EXPECT_EQ(value, untouched);
}

TEST(HashStr, ReplacesAValue) {
    table_owner t;
    hash_str_put(t.table, "key", 1);
    hash_str_put(t.table, "key", UINT64_MAX);
    EXPECT_EQ(get(t.table, "key"), UINT64_MAX);
    EXPECT_EQ(hash_str_count(t.table), 1u);
}

TEST(HashStr, RemovesAKeyOnce) {
    table_owner t;
    hash_str_put(t.table, "key", 1);
    hash_str_put(t.table, "other", 2);
    EXPECT_EQ(hash_str_remove(t.table, "KEY"), 0);
    EXPECT_EQ(hash_str_remove(t.table, "key"), 1);
    EXPECT_EQ(hash_str_remove(t.table, "key"), 0);
    EXPECT_EQ(hash_str_count(t.table), 1u);
    EXPECT_EQ(get(t.table, "key"), untouched);
    EXPECT_EQ(get(t.table, "other"), 2u);
}

TEST(HashStr, CopiesKeys) {
    table_owner t;
    char key[] = "first";
    hash_str_put(t.table, key, 7);
    key[0] = 'F';
    EXPECT_EQ(get(t.table, "first"), 7u);
    EXPECT_EQ(get(t.table, "First"), untouched);
}

TEST(HashStr, GrowsBeyondItsCapacity) {
    table_owner t(4);
    for (uint64_t i = 0; i < 20000; i++) ASSERT_EQ(hash_str_put(t.table, std::to_string(i).c_str(), i), 0);
    EXPECT_EQ(hash_str_count(t.table), 20000u);
    for (uint64_t i = 0; i < 20000; i++) ASSERT_EQ(get(t.table, std::to_string(i)), i);
}

TEST(HashStrCreate, TakesCapacityAsAGuess) {
    table_owner t(SIZE_MAX);
    EXPECT_EQ(hash_str_put(t.table, "key", 1), 0);
}

TEST(HashStr, NamesNullArguments) {
    table_owner t;
    ks_errno = 0;
    EXPECT_EQ(hash_str_create(1, nullptr), KS_EINVAL);
    EXPECT_EQ(ks_errno, KS_EINVAL);
    EXPECT_EQ(hash_str_put(nullptr, "k", 1), KS_EINVAL);
    EXPECT_EQ(hash_str_put(t.table, nullptr, 1), KS_EINVAL);
    EXPECT_EQ(hash_str_get(nullptr, "k", nullptr), 0);
    EXPECT_EQ(hash_str_get(t.table, nullptr, nullptr), 0);
    EXPECT_EQ(hash_str_remove(nullptr, "k"), 0);
    EXPECT_EQ(hash_str_remove(t.table, nullptr), 0);
    EXPECT_EQ(hash_str_count(nullptr), 0u);
    hash_str_delete(nullptr);
    hash_t *none = nullptr;
    hash_str_delete(&none);
}

TEST(HashStr, StandsEveryRefusedAllocation) {
    const std::string long_key(100, 'k');
    const int refused = faults::each_allocation([&](int, bool) {
        ks_errno = 0;
        hash_t *table = nullptr;
        int error = hash_str_create(8, &table);
        size_t stored = 0;
        for (int i = 0; i < 40 && error == 0; i++) {
            char key[120];
            { // the key is the test's, not the table's
                const faults::suspend unrefused;
                snprintf(key, sizeof key, "%d %s", i, long_key.c_str());
            }
            error = hash_str_put(table, key, 1000 + static_cast<uint64_t>(i));
            if (error == 0) stored++;
        }
        const faults::suspend unrefused;
        EXPECT_EQ(ks_errno, error);
        EXPECT_TRUE(error == 0 || error == KS_ENOMEM) << error;
        EXPECT_EQ(hash_str_count(table), stored);
        for (size_t i = 0; i < stored; i++) {
            EXPECT_EQ(get(table, std::to_string(i) + ' ' + long_key), 1000 + i);
        }
        hash_str_delete(&table);
        EXPECT_EQ(table, nullptr);
    });
    EXPECT_GE(refused, 42); // the table, its first slots, forty keys, slots again as it grows
}

TEST(HashStr, MayBeReadByManyThreads) {
    table_owner t;
    for (uint64_t i = 0; i < 100; i++) hash_str_put(t.table, std::to_string(i).c_str(), i);
    std::vector<std::thread> readers;
    std::vector<uint64_t> sums(4, 0);
    for (uint64_t &sum : sums) {
        readers.emplace_back([&] {
            for (int i = 0; i < 100; i++) sum += get(t.table, std::to_string(i), 0);
        });
    }
    for (std::thread &reader : readers) reader.join();
    for (uint64_t sum : sums) EXPECT_EQ(sum, 4950u);
}

// A short alphabet, so that keys come back.
rc::Gen<std::string> any_key() { return rc::gen::container<std::string>(rc::gen::element('a', 'A', '\xC3', ' ')); }

RC_GTEST_PROP(HashStr, BehavesLikeAnOrderedMap, ()) {
    table_owner t;
    std::map<std::string, uint64_t> model;
    const auto steps = *rc::gen::container<std::vector<std::pair<std::string, int>>>(
        rc::gen::pair(any_key(), rc::gen::inRange(0, 10)));
    for (const auto &[key, choice] : steps) {
        if (choice < 7) {
            RC_ASSERT(hash_str_put(t.table, key.c_str(), static_cast<uint64_t>(choice)) == 0);
            model[key] = static_cast<uint64_t>(choice);
        } else {
            RC_ASSERT(hash_str_remove(t.table, key.c_str()) == static_cast<int>(model.erase(key)));
        }
        RC_ASSERT(hash_str_count(t.table) == model.size());
    }
    for (const auto &[key, value] : model) RC_ASSERT(get(t.table, key) == value);
}

} // namespace
