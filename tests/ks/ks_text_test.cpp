// Texts that are read whole, and sets of bits read from names.
#include "ks/ks_str.h"

#include "ks/ks_errno.h"
#include "ks/ks_stg.h"
#include "nt/nt_time.h"
#include "support/faults.hpp"
#include "support/temp_dir.hpp"

#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <iterator>

namespace {

// The text of a file, or "error N".
std::string read(const std::string &path) {
    char *text = nullptr;
    if (const int error = strutl_read(path.c_str(), &text)) return "error " + std::to_string(error);
    std::string copy = text;
    stg_free(text);
    return copy;
}

TEST(StrutlRead, GivesTheWholeFile) {
    const temp_dir dir;
    for (const size_t size : {0u, 1u, 4094u, 4095u, 4096u, 4097u, 8191u, 8192u, 100000u}) {
        EXPECT_EQ(read(dir.write("text", std::string(size, 'x'))), std::string(size, 'x'));
    }
    dir.write("sub/text", "a\r\nb\n");
    EXPECT_EQ(read(dir.str() + "\\sub\\text"), "a\r\nb\n");
}

TEST(StrutlRead, RefusesWhatIsNoText) {
    const temp_dir dir;
    EXPECT_EQ(read(dir / "none"), "error " + std::to_string(KS_ENOENT));
    EXPECT_EQ(read(dir.str()), "error " + std::to_string(KS_EISDIR));
    EXPECT_EQ(read(dir.write("nul", std::string(5000, 'x') + std::string(1, '\0'))),
              "error " + std::to_string(KS_EILSEQ));
    EXPECT_EQ(read("/dev/zero"), "error " + std::to_string(KS_EILSEQ));
    EXPECT_EQ(read(std::string(5000, 'x')), "error " + std::to_string(KS_ENAMETOOLONG));
    char *text = nullptr;
    EXPECT_EQ(strutl_read(nullptr, &text), KS_EINVAL);
    EXPECT_EQ(strutl_read("/dev/null", nullptr), KS_EINVAL);
    EXPECT_EQ(strutl_read_fp(nullptr, &text), KS_EINVAL);
    EXPECT_EQ(strutl_read_fp(stdin, nullptr), KS_EINVAL);
    EXPECT_EQ(text, nullptr);
}

TEST(StrutlReadFp, ReadsOnFromWhereTheStreamStands) {
    const temp_dir dir;
    FILE *stream = std::fopen(dir.write("text", "abcdef").c_str(), "r+");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fgetc(stream), 'a');
    char *text = nullptr;
    ASSERT_EQ(strutl_read_fp(stream, &text), 0);
    EXPECT_STREQ(text, "bcdef");
    stg_free(text);
    std::fclose(stream);
    stream = std::fopen((dir / "written").c_str(), "w");
    ASSERT_NE(stream, nullptr);
    text = nullptr;
    EXPECT_EQ(strutl_read_fp(stream, &text), KS_EBADF);
    EXPECT_EQ(text, nullptr);
    std::fclose(stream);
}

TEST(StrutlRead, EveryAllocationMayFail) {
    const temp_dir dir;
    const std::string path = dir.write("text", std::string(20000, 'x'));
    const int refused = faults::each_allocation([&](int, bool) {
        char *text = nullptr;
        const int error = strutl_read(path.c_str(), &text);
        const faults::suspend unrefused;
        EXPECT_EQ(error == 0, text != nullptr);
        EXPECT_TRUE(error == 0 || error == KS_ENOMEM);
        stg_free(text);
    });
    EXPECT_GE(refused, 4);
}

constexpr strutl_flag_t table[] = {{"<none>", 0}, {nullptr, 8}, {"read", 1}, {"write", 2}, {"Read", 4}, {"all", 3}};

// The set, or -1 with the error in ks_errno.
int64_t set_of(const char *text, const char *separator = ",") {
    uint32_t flags = 0xAAAA;
    const int error = strutl_flags_from_str(text, table, std::size(table), separator, &flags);
    EXPECT_TRUE(error == 0 || flags == 0xAAAA);
    return error == 0 ? int64_t{flags} : -1;
}

TEST(StrutlFlagsFromStr, ReadsNamesWithoutCaseAndNumbers) {
    EXPECT_EQ(set_of(""), 0);
    EXPECT_EQ(set_of("  "), 0);
    EXPECT_EQ(set_of("<NONE>"), 0);
    EXPECT_EQ(set_of("read"), 1);
    EXPECT_EQ(set_of(" WRITE , read "), 3);
    EXPECT_EQ(set_of("all,0x80000000"), 0x80000003);
    EXPECT_EQ(set_of("0XfF"), 255);
    EXPECT_EQ(set_of("read | write", "|"), 3);
}

TEST(StrutlFlagsFromStr, RefusesWhatIsNoName) {
    for (const char *text :
         {",", "read,", ",read", "read,,write", "frog", "1", "0x", "0x100000000", "0xg", "re ad"}) {
        EXPECT_EQ(set_of(text), -1) << text;
    }
    EXPECT_EQ(set_of("read", ""), -1);
    uint32_t flags = 0;
    EXPECT_EQ(strutl_flags_from_str(nullptr, table, 1, ",", &flags), KS_EINVAL);
    EXPECT_EQ(strutl_flags_from_str("", nullptr, 1, ",", &flags), KS_EINVAL);
    EXPECT_EQ(strutl_flags_from_str("", table, 1, nullptr, &flags), KS_EINVAL);
    EXPECT_EQ(strutl_flags_from_str("", table, 1, ",", nullptr), KS_EINVAL);
    EXPECT_EQ(strutl_flags_from_str("0x7", nullptr, 0, ",", &flags), 0);
    EXPECT_EQ(flags, 7u);
}

TEST(StrutlFlagsFromStr, ReadsBackWhatIsWritten) {
    for (uint32_t flags = 0; flags < 64; flags++) {
        const std::string text = strutl_flags_to_str(flags, table, std::size(table), ",");
        EXPECT_EQ(set_of(text.c_str()), flags) << text;
    }
}

TEST(UnixNtTime, IsTheTimeOfDay) {
    const time_t before = std::time(nullptr);
    int64_t stored = 0;
    const int64_t now = unix_nt_time(&stored);
    EXPECT_EQ(stored, now);
    EXPECT_GE(now, before);
    EXPECT_LE(unix_nt_time(nullptr), std::time(nullptr));
}

} // namespace
