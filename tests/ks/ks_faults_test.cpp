// The tests' own way of refusing allocations: what it promises to all others.
#include "support/faults.hpp"

#include "ks/ks_stg.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <thread>
#include <vector>

namespace {

struct alignas(64) overaligned {
    char bytes[64];
};

// Not to be optimised away.
template <class T> bool made() {
    try {
        std::unique_ptr<T> memory(new T());
        T *volatile seen = memory.get();
        return seen != nullptr;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

bool taken() {
    void *memory = stg_malloc(10);
    stg_free(memory);
    return memory != nullptr;
}

TEST(FaultsRefuse, RefusesTheNthAllocationOnce) {
    bool first, second, third;
    {
        const faults::refuse refused(2, false);
        first = made<int>();
        second = made<int>();
        third = made<int>();
        EXPECT_TRUE(refused.happened());
    }
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
    EXPECT_TRUE(third);
}

TEST(FaultsRefuse, RefusesFromThenOn) {
    int granted = 0;
    {
        const faults::refuse refused(2, true);
        for (int i = 0; i < 5; i++) granted += made<int>();
    }
    EXPECT_EQ(granted, 1);
    EXPECT_TRUE(made<int>());
}

TEST(FaultsRefuse, CountsBothHeapsAndAlignedFormsTogether) {
    EXPECT_EQ(faults::count_allocations([] {
                  taken();
                  made<int>();
                  made<overaligned>();
                  int *volatile none = new (std::nothrow) int;
                  delete none;
                  int *volatile several = new int[3];
                  delete[] several;
              }),
              5);
    bool storage, language, aligned;
    {
        const faults::refuse refused(1, true);
        storage = taken();
        language = made<int>();
        aligned = made<overaligned>();
    }
    EXPECT_FALSE(storage || language || aligned);
}

TEST(FaultsRefuse, LeavesOtherThreadsAlone) {
    bool others = false;
    std::thread other;
    {
        const faults::refuse refused(1, true);
        {
            const faults::suspend unrefused; // starting a thread takes memory
            other = std::thread([&] { others = made<int>() && taken(); });
        }
        other.join();
    }
    EXPECT_TRUE(others);
}

TEST(FaultsSuspend, NeitherRefusesNorCounts) {
    int asked;
    bool inside, outside;
    {
        const faults::refuse refused(1, true);
        {
            const faults::suspend outer;
            const faults::suspend inner;
            inside = made<int>() && taken();
        }
        asked = refused.asked();
        outside = made<int>();
    }
    EXPECT_EQ(asked, 0);
    EXPECT_TRUE(inside);
    EXPECT_FALSE(outside);
}

TEST(FaultsEachAllocation, RefusesEveryOneInTurnAndEndsWithASuccess) {
    std::vector<std::pair<int, bool>> runs;
    bool last = false;
    const int refused = faults::each_allocation([&](int n, bool lasting) {
        last = made<int>() && taken() && made<int>();
        const faults::suspend unrefused;
        runs.emplace_back(n, lasting);
    });
    EXPECT_EQ(refused, 3);
    EXPECT_TRUE(last);
    EXPECT_EQ(runs, (std::vector<std::pair<int, bool>>{
                        {1, false}, {1, true}, {2, false}, {2, true}, {3, false}, {3, true}, {4, false}}));
}

} // namespace
