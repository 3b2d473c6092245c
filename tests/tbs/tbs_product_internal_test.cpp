// What the product module says of systems that this one is not.
#include "lib/tbs/internal/product.hpp"

#include "support/env.hpp"
#include "support/sink.hpp"
#include "tbs/tbs_product.h"

#include <gtest/gtest.h>
#include <string>
#include <tuple>

using namespace tbs::product;

TEST(OsName, GoesByPlatformAndMinorVersion) {
    const auto name = [](uint32_t platform, uint32_t minor) {
        nt_version_t version = {};
        version.platform_id = platform;
        version.minor_version = minor;
        return std::string(os_name(version));
    };
    EXPECT_EQ(name(0, 10), "Windows/Win32s");
    EXPECT_EQ(name(1, 0), "Windows 95");
    EXPECT_EQ(name(1, 9), "Windows 95");
    EXPECT_EQ(name(1, 10), "Windows 98");
    EXPECT_EQ(name(1, 90), "Windows 98");
    EXPECT_EQ(name(2, 0), "Windows NT");
    EXPECT_EQ(name(3, 0), "unknown");
    EXPECT_EQ(name(0xFFFFFFFF, 0), "unknown");
}

TEST(ProcessorName, GoesByArchitectureAndLevel) {
    const auto name = [](uint16_t architecture, uint16_t level) {
        return std::string(processor_name({architecture, level, 4096, 1}));
    };
    EXPECT_EQ(name(0, 2), "x86");
    EXPECT_EQ(name(0, 3), "386");
    EXPECT_EQ(name(0, 4), "486");
    EXPECT_EQ(name(0, 5), "Pentium");
    EXPECT_EQ(name(0, 6), "x86");
    EXPECT_EQ(name(5, 3), "ARM");
    EXPECT_EQ(name(6, 3), "IA64");
    EXPECT_EQ(name(9, 3), "x64");
    EXPECT_EQ(name(12, 3), "ARM64");
    EXPECT_EQ(name(1, 3), "unknown");
    EXPECT_EQ(name(0xFFFF, 3), "unknown");
}

namespace {
std::string version_text(uint32_t major, uint32_t minor, uint32_t build, const std::u16string &service_pack) {
    nt_version_t version = {};
    version.major_version = major;
    version.minor_version = minor;
    version.build_number = build;
    for (size_t i = 0; i < service_pack.size(); i++) version.service_pack[i] = service_pack[i];
    char text[os_version_size];
    write_os_version(version, text);
    return text;
}
} // namespace

TEST(OsVersion, IsVersionBuildAndServicePack) {
    EXPECT_EQ(version_text(10, 0, 19045, u"Service Pack 2"), "10.0 (build 19045) Service Pack 2");
    EXPECT_EQ(version_text(6, 1, 0, u""), "6.1 (build 0) ");
}

TEST(OsVersion, KeepsAtMost128CharactersOfTheServicePack) {
    EXPECT_EQ(version_text(1, 2, 3, std::u16string(127, u'x')), "1.2 (build 3) " + std::string(127, 'x'));
    // Three bytes a character: cut between two of them.
    const std::string cut = version_text(1, 2, 3, std::u16string(127, u'€'));
    EXPECT_EQ(cut.size(), std::string("1.2 (build 3) ").size() + 3 * 42);
}

TEST(UtilsDirOfKind, KnowsTwoKinds) {
    const scoped_env product("ORSIK_PRODUCT_DIR", "/p");
    char buffer[TBS_PATH_SIZE];
    recording_sink sink;
    EXPECT_EQ(utils_dir_of_kind(1, buffer, nullptr), buffer);
    EXPECT_STREQ(buffer, "/p\\etc\\utils");
    EXPECT_EQ(utils_dir_of_kind(2, buffer, "x"), buffer);
    EXPECT_STREQ(buffer, "/p\\etc\\sql\\x");
    EXPECT_TRUE(sink.empty());
    for (const int kind : {0, 3, -1}) {
        EXPECT_EQ(utils_dir_of_kind(kind, buffer, nullptr), nullptr);
        const auto messages = sink.take();
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages[0].severity, 6);
        EXPECT_EQ(messages[0].text, "tbs_product_utils_dir_type: Unknown type");
    }
}

TEST(AccessLogPath, LiesBesideTheErrorLog) {
    const scoped_env host("ORSIK_HOSTDATA_DIR", "/h");
    char buffer[TBS_PATH_SIZE];
    EXPECT_STREQ(access_log_path(buffer), "/h\\log\\access_log");
}
