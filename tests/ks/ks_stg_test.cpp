#include "ks/ks_stg.h"

#include "ks/ks_errno.h"
#include "support/faults.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

bool aligned(const void *memory) { return reinterpret_cast<uintptr_t>(memory) % alignof(std::max_align_t) == 0; }

struct area_owner {
    stg_area_t *area = stg_create_area();
    ~area_owner() { stg_delete_area(&area); }
};

TEST(StgMalloc, GivesAlignedMemoryEvenForNoBytes) {
    for (size_t size : {0, 1, 7, 4096}) {
        void *memory = stg_malloc(size);
        ASSERT_NE(memory, nullptr);
        EXPECT_TRUE(aligned(memory));
        std::memset(memory, 0xA5, size);
        stg_free(memory);
    }
}

TEST(StgMalloc, RefusesWhatCannotBeHad) {
    ks_errno = 0;
    EXPECT_EQ(stg_malloc(SIZE_MAX / 2), nullptr);
    EXPECT_EQ(ks_errno, KS_ENOMEM);
}

TEST(StgMalloc, LeavesTheErrorOfTheThreadAloneWhenItSucceeds) {
    ks_errno = KS_EBUSY;
    stg_free(stg_malloc(10));
    EXPECT_EQ(ks_errno, KS_EBUSY);
}

TEST(StgCalloc, GivesZeroes) {
    auto *bytes = static_cast<unsigned char *>(stg_calloc(3, 1000));
    ASSERT_NE(bytes, nullptr);
    EXPECT_TRUE(std::all_of(bytes, bytes + 3000, [](unsigned char b) { return b == 0; }));
    stg_free(bytes);
}

TEST(StgCalloc, GivesMemoryForNoElements) {
    for (const auto &[count, size] : {std::pair<size_t, size_t>{0, 8}, {8, 0}, {0, 0}, {SIZE_MAX, 0}}) {
        void *memory = stg_calloc(count, size);
        EXPECT_NE(memory, nullptr);
        stg_free(memory);
    }
}

TEST(StgCalloc, RefusesAProductThatOverflows) {
    ks_errno = 0;
    EXPECT_EQ(stg_calloc(SIZE_MAX / 2, 3), nullptr);
    EXPECT_EQ(ks_errno, KS_ENOMEM);
    EXPECT_EQ(stg_calloc(SIZE_MAX / 16 + 2, 16), nullptr);
}

TEST(StgStrdup, CopiesTexts) {
    const char text[] = "name";
    char *copy = stg_strdup(text);
    EXPECT_STREQ(copy, "name");
    EXPECT_NE(copy, text);
    stg_free(copy);
    EXPECT_EQ(stg_strdup(nullptr), nullptr);
}

TEST(StgStrdup, SharesTheEmptyString) {
    EXPECT_EQ(stg_strdup(""), stg_empty_string);
    EXPECT_EQ(stg_area_strdup(nullptr, ""), stg_empty_string);
    stg_free(const_cast<char *>(stg_empty_string)); // must not reach the heap
    stg_free(nullptr);
    EXPECT_EQ(stg_empty_string[0], '\0');
}

TEST(StgAlloc, WithoutAnAreaIsTheHeap) {
    void *memory = stg_alloc(nullptr, 100);
    ASSERT_NE(memory, nullptr);
    stg_free(memory); // the address sanitizer would tell
    char *text = stg_area_strdup(nullptr, "text");
    EXPECT_STREQ(text, "text");
    stg_free(text);
}

TEST(StgAlloc, KeepsAllPiecesOfAnAreaApart) {
    area_owner owner;
    ASSERT_NE(owner.area, nullptr);
    std::vector<std::pair<unsigned char *, size_t>> pieces;
    size_t size = 1;
    for (unsigned i = 0; i < 2000; i++, size = size * 31 % 1021) {
        const size_t wanted = i % 400 == 399 ? 100000 : size;
        auto *piece = static_cast<unsigned char *>(stg_alloc(owner.area, wanted));
        ASSERT_NE(piece, nullptr);
        EXPECT_TRUE(aligned(piece));
        std::memset(piece, static_cast<int>(i & 0xFF), wanted);
        pieces.emplace_back(piece, wanted);
    }
    for (unsigned i = 0; i < pieces.size(); i++) {
        const auto [piece, length] = pieces[i];
        ASSERT_TRUE(std::all_of(piece, piece + length, [i](unsigned char b) { return b == (i & 0xFF); })) << i;
    }
}

TEST(StgAlloc, TakesFromTheHeapInGrowingSteps) {
    area_owner owner;
    const int asked = faults::count_allocations([&] {
        for (int i = 0; i < 10000; i++) (void)stg_alloc(owner.area, 16);
    });
    EXPECT_GT(asked, 1);
    EXPECT_LT(asked, 16); // 160 KB: chunks of 1, 2, 4 ... 64 KB
}

TEST(StgAlloc, GoesOnWithTheCurrentChunkAfterALargePiece) {
    area_owner owner;
    auto *before = static_cast<char *>(stg_alloc(owner.area, 16));
    ASSERT_NE(stg_alloc(owner.area, 50000), nullptr);
    auto *behind = static_cast<char *>(stg_alloc(owner.area, 16));
    EXPECT_EQ(behind, before + 16);
}

TEST(StgAlloc, RefusesSizesThatOverflow) {
    area_owner owner;
    for (size_t size : {SIZE_MAX, SIZE_MAX - 1, SIZE_MAX - 15, SIZE_MAX - 16, SIZE_MAX - 40, SIZE_MAX / 2}) {
        ks_errno = 0;
        EXPECT_EQ(stg_alloc(owner.area, size), nullptr) << size;
        EXPECT_EQ(ks_errno, KS_ENOMEM);
    }
    EXPECT_NE(stg_alloc(owner.area, 8), nullptr);
}

TEST(StgAreaStrdup, CopiesIntoTheArea) {
    area_owner owner;
    const std::string longer(5000, 'x');
    EXPECT_STREQ(stg_area_strdup(owner.area, "one"), "one");
    EXPECT_STREQ(stg_area_strdup(owner.area, longer.c_str()), longer.c_str());
    EXPECT_STREQ(stg_area_strdup(owner.area, ""), "");
    EXPECT_EQ(stg_area_strdup(owner.area, nullptr), nullptr);
}

TEST(StgDeleteArea, SetsTheVariableToNull) {
    stg_area_t *area = stg_create_area();
    stg_delete_area(&area);
    EXPECT_EQ(area, nullptr);
    stg_delete_area(&area);
    stg_delete_area(nullptr);
}

TEST(StgArea, StandsEveryRefusedAllocation) {
    const int refused = faults::each_allocation([](int, bool) {
        ks_errno = 0;
        area_owner owner;
        bool whole = owner.area != nullptr;
        for (size_t size : {10, 2000, 10, 1000, 10, 100000}) {
            whole = whole && stg_alloc(owner.area, size) != nullptr;
        }
        whole = whole && stg_area_strdup(owner.area, "text") != nullptr;
        const faults::suspend unrefused;
        EXPECT_EQ(ks_errno, whole ? 0 : KS_ENOMEM);
    });
    EXPECT_GE(refused, 4); // the area, its first chunk, the two large pieces
}

TEST(StgStrdup, StandsARefusedAllocation) {
    const int refused = faults::each_allocation([](int, bool) {
        ks_errno = 0;
        char *copy = stg_strdup("text");
        void *zeroes = stg_calloc(2, 4);
        const faults::suspend unrefused;
        EXPECT_EQ(ks_errno, copy && zeroes ? 0 : KS_ENOMEM);
        stg_free(copy);
        stg_free(zeroes);
    });
    EXPECT_EQ(refused, 2);
}

TEST(StgMustFail, SaysNoWithoutAHook) {
    stg_set_failure_hook(nullptr, nullptr);
    EXPECT_EQ(stg_must_fail(), 0);
}

// Each hook belongs to its own context: a thread never sees one with the other's.
struct watched {
    int tag;
    std::atomic<int> *mixed;
};
int hook_of_one(void *context) {
    auto *w = static_cast<watched *>(context);
    if (w->tag != 1) ++*w->mixed;
    return 0;
}
int hook_of_two(void *context) {
    auto *w = static_cast<watched *>(context);
    if (w->tag != 2) ++*w->mixed;
    return 0;
}

TEST(StgSetFailureHook, NeverPairsAHookWithAnothersContext) {
    std::atomic<int> mixed{0};
    std::atomic<bool> stop{false};
    watched one{1, &mixed}, two{2, &mixed};
    std::vector<std::thread> askers;
    for (int i = 0; i < 2; i++) {
        askers.emplace_back([&] {
            while (!stop.load()) stg_free(stg_malloc(8));
        });
    }
    for (int i = 0; i < 3000; i++) {
        stg_set_failure_hook(hook_of_one, &one);
        stg_set_failure_hook(hook_of_two, &two);
        if (i % 8 == 0) stg_set_failure_hook(nullptr, nullptr);
    }
    stop = true;
    for (std::thread &asker : askers) asker.join();
    stg_set_failure_hook(nullptr, nullptr);
    EXPECT_EQ(mixed.load(), 0);
}

TEST(StgSetFailureHook, HandsItsContextOverAndRefuses) {
    int calls = 0;
    stg_set_failure_hook([](void *context) { return ++*static_cast<int *>(context) == 2 ? 1 : 0; }, &calls);
    void *first = stg_malloc(1), *second = stg_malloc(1), *third = stg_calloc(1, 1);
    stg_set_failure_hook(nullptr, nullptr);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    EXPECT_EQ(calls, 3);
    stg_free(first);
    stg_free(third);
}

} // namespace
