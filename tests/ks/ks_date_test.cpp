#include "ks/ks_date.h"

#include "ks/ks_errno.h"
#include "support/env.hpp"

#include <cstdint>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <rapidcheck/gtest.h>
#include <string>
#include <vector>

namespace {

std::string text_of(int64_t seconds) {
    char text[DATE_CTIME_SIZE];
    EXPECT_EQ(date_ctime(seconds, text, sizeof text), 0);
    return text;
}

class DateCtime : public testing::Test {
protected:
    const scoped_env zone{"TZ", "UTC0"};
};

TEST_F(DateCtime, WritesTheTextOfC) {
    EXPECT_EQ(text_of(0), "Thu Jan  1 00:00:00 1970\n");
    EXPECT_EQ(text_of(-1), "Wed Dec 31 23:59:59 1969\n");
    EXPECT_EQ(text_of(951782400), "Tue Feb 29 00:00:00 2000\n");
    EXPECT_EQ(text_of(INT32_MIN), "Fri Dec 13 20:45:52 1901\n");
    EXPECT_EQ(text_of(int64_t{INT32_MAX} + 1), "Tue Jan 19 03:14:08 2038\n");
    EXPECT_EQ(text_of(253402300800), "Sat Jan  1 00:00:00 10000\n");
}

TEST_F(DateCtime, AgreesWithTheHost) {
    for (const char *name : {"UTC0", "EST5EDT,M3.2.0,M11.1.0", "IST-5:30", "<+1345>-13:45"}) {
        const scoped_env other("TZ", name);
        for (int64_t seconds = INT32_MIN; seconds <= INT32_MAX; seconds += 9999991) {
            const time_t host = seconds;
            ASSERT_EQ(text_of(seconds), ctime(&host)) << name << ' ' << seconds;
        }
    }
}

TEST_F(DateCtime, FollowsAChangeOfTheZone) {
    EXPECT_EQ(text_of(0), "Thu Jan  1 00:00:00 1970\n");
    const scoped_env other("TZ", "XYZ-1");
    EXPECT_EQ(text_of(0), "Thu Jan  1 01:00:00 1970\n");
}

TEST_F(DateCtime, RefusesAYearThatNobodyCounts) {
    char text[DATE_CTIME_SIZE] = "old";
    EXPECT_EQ(date_ctime(INT64_MAX, text, sizeof text), KS_ERANGE);
    EXPECT_EQ(ks_errno, KS_ERANGE);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(date_ctime(INT64_MIN, text, sizeof text), KS_ERANGE);
    EXPECT_EQ(text_of(67768036191676799), "Wed Dec 31 23:59:59 2147485547\n"); // the last one
}

TEST_F(DateCtime, NeverWritesHalfATime) {
    char text[26] = "old";
    EXPECT_EQ(date_ctime(0, text, 25), KS_ENAMETOOLONG);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(date_ctime(0, text, 26), 0);
    EXPECT_EQ(std::strlen(text), 25u);
    EXPECT_EQ(date_ctime(0, text, 0), KS_EINVAL);
    EXPECT_EQ(std::strlen(text), 25u);
    EXPECT_EQ(date_ctime(0, nullptr, 26), KS_EINVAL);
}

// ---- tokens

std::string token(int64_t seconds) {
    char buffer[DATE_TOKEN_SIZE];
    const int error = date_fmt_token_short_date_time(seconds, buffer, sizeof buffer);
    return error == 0 ? buffer : "error " + std::to_string(error);
}

TEST(DateFmtTokenShortDateTime, WritesTheTimeInUtc) {
    EXPECT_EQ(token(0), "19700101T000000Z");
    EXPECT_EQ(token(951782400), "20000229T000000Z");
    EXPECT_EQ(token(1795273330), "20261121T150210Z");
    EXPECT_EQ(token(-1), "19691231T235959Z");
    EXPECT_EQ(token(INT32_MIN), "19011213T204552Z");
    EXPECT_EQ(token(INT32_MAX), "20380119T031407Z");
}

TEST(DateFmtTokenShortDateTime, KnowsTheYearsOfFourDigits) {
    EXPECT_EQ(token(253402300799), "99991231T235959Z");
    EXPECT_EQ(token(253402300800), "error 22");
    EXPECT_EQ(token(-62167219200), "00000101T000000Z");
    EXPECT_EQ(token(-62167219201), "error 22");
    EXPECT_EQ(token(std::numeric_limits<int64_t>::max()), "error 22");
    EXPECT_EQ(token(std::numeric_limits<int64_t>::min()), "error 22");
}

RC_GTEST_PROP(DateFmtTokenShortDateTime, AgreesWithTheHost, (int32_t seconds)) {
    const time_t moment = seconds;
    tm parts;
    char expected[64];
    RC_ASSERT(gmtime_r(&moment, &parts) != nullptr);
    std::strftime(expected, sizeof expected, "%Y%m%dT%H%M%SZ", &parts);
    RC_ASSERT(token(seconds) == expected);
}

TEST(DateFmtTokenShortDateTime, RefusesABufferThatIsTooSmall) {
    char buffer[DATE_TOKEN_SIZE] = "x";
    ks_errno = 0;
    EXPECT_EQ(date_fmt_token_short_date_time(0, buffer, sizeof buffer - 1), KS_ENAMETOOLONG);
    EXPECT_EQ(ks_errno, KS_ENAMETOOLONG);
    EXPECT_STREQ(buffer, "");
    *buffer = 'x';
    EXPECT_EQ(date_fmt_token_short_date_time(0, buffer, 0), KS_ENAMETOOLONG);
    EXPECT_EQ(*buffer, 'x');
    EXPECT_EQ(date_fmt_token_short_date_time(0, nullptr, 100), KS_EINVAL);
}

RC_GTEST_PROP(DateGetGmtime, AgreesWithTheHost, (int32_t seconds)) {
    const time_t moment = seconds;
    tm host, ours;
    RC_ASSERT(gmtime_r(&moment, &host) != nullptr);
    RC_ASSERT(date_get_gmtime(seconds, &ours) == 0);
    const auto all = [](const tm &t) {
        return std::vector{t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, t.tm_wday, t.tm_yday};
    };
    RC_ASSERT(all(ours) == all(host));
}

TEST(DateGetGmtime, RefusesYearsOfMoreThanFourDigits) {
    tm fields{};
    fields.tm_sec = 77;
    EXPECT_EQ(date_get_gmtime(253402300800, &fields), KS_ERANGE);
    EXPECT_EQ(date_get_gmtime(-62167219201, &fields), KS_ERANGE);
    EXPECT_EQ(date_get_gmtime(std::numeric_limits<int64_t>::min(), &fields), KS_ERANGE);
    EXPECT_EQ(date_get_gmtime(0, nullptr), KS_EINVAL);
    EXPECT_EQ(fields.tm_sec, 77);
    EXPECT_EQ(date_get_gmtime(253402300799, &fields), 0);
    EXPECT_EQ(fields.tm_year, 8099);
}

} // namespace
