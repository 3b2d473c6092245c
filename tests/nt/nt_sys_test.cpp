#include "nt/nt_sys.h"

#include "ks/ks_errno.h"
#include "ks/ks_str.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/utsname.h>

namespace {

TEST(NtGetVersion, GivesTheNumbersOfTheKernelsRelease) {
    utsname host;
    ASSERT_EQ(uname(&host), 0);
    nt_version_t version;
    ASSERT_EQ(nt_get_version(&version), 0);
    EXPECT_EQ(version.platform_id, static_cast<uint32_t>(NT_PLATFORM_POSIX));
    const std::string release = host.release;
    EXPECT_EQ(version.major_version, std::strtoul(release.c_str(), nullptr, 10));
    EXPECT_EQ(version.minor_version, std::strtoul(release.c_str() + release.find('.') + 1, nullptr, 10));
    char pack[256];
    strutl_cvt_wide_str_to_str(pack, sizeof pack, version.service_pack);
    EXPECT_EQ(pack, "Linux " + release);
}

TEST(NtGetVersion, RefusesANull) {
    ks_errno = 0;
    EXPECT_EQ(nt_get_version(nullptr), KS_EINVAL);
    EXPECT_EQ(ks_errno, KS_EINVAL);
}

TEST(GetSystemInfo, KnowsTheProcessor) {
    nt_system_info_t info = {};
    GetSystemInfo(&info);
#if defined(__x86_64__)
    EXPECT_EQ(info.architecture, NT_ARCHITECTURE_X64);
#elif defined(__aarch64__)
    EXPECT_EQ(info.architecture, NT_ARCHITECTURE_ARM64);
#endif
    EXPECT_GE(info.processors, 1u);
    EXPECT_EQ(info.page_size & (info.page_size - 1), 0u);
    EXPECT_GE(info.page_size, 4096u);
    GetSystemInfo(nullptr);
}

} // namespace
