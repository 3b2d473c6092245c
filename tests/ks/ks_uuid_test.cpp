#include "ks/ks_errno.h"
#include "ks/ks_uuid.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(UuidCreate, SetsVersionAndVariantAndLeavesTheRestToChance) {
    ks_uuid_t any{}, all;
    std::memset(&all, 0xFF, sizeof all);
    for (int i = 0; i < 1000; i++) {
        ks_uuid_t made;
        ASSERT_EQ(UuidCreate(&made), 0);
        EXPECT_EQ(made.time_hi_and_version >> 12, 4);
        EXPECT_EQ(made.clock_seq_hi_and_reserved >> 6, 2);
        for (size_t byte = 0; byte < sizeof made; byte++) {
            reinterpret_cast<uint8_t *>(&any)[byte] |= reinterpret_cast<const uint8_t *>(&made)[byte];
            reinterpret_cast<uint8_t *>(&all)[byte] &= reinterpret_cast<const uint8_t *>(&made)[byte];
        }
    }
    // Every bit that chance decides has been 1 and has been 0.
    EXPECT_EQ(any.time_low, 0xFFFFFFFFu);
    EXPECT_EQ(any.time_mid, 0xFFFF);
    EXPECT_EQ(any.time_hi_and_version, 0x4FFF);
    EXPECT_EQ(any.clock_seq_hi_and_reserved, 0xBF);
    EXPECT_EQ(all.time_low, 0u);
    EXPECT_EQ(all.time_hi_and_version, 0x4000);
    EXPECT_EQ(all.clock_seq_hi_and_reserved, 0x80);
    EXPECT_EQ(all.node[5], 0);
    EXPECT_EQ(any.node[0], 0xFF);
}

TEST(UuidCreate, RefusesNull) { EXPECT_EQ(UuidCreate(nullptr), KS_EINVAL); }

} // namespace
