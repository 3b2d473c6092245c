#include "ks/ks_errno.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <set>
#include <thread>

namespace {

constexpr int unknown = -1;

// The run-time library's errno.h and the sockets' numbers, as names of the host.
// clang-format off
const std::map<int, int> numbers = {
    {1, EPERM}, {2, ENOENT}, {3, ESRCH}, {4, EINTR}, {5, EIO}, {6, ENXIO}, {7, E2BIG}, {8, ENOEXEC}, {9, EBADF},
    {10, ECHILD}, {11, EAGAIN}, {12, ENOMEM}, {13, EACCES}, {14, EFAULT}, {16, EBUSY}, {17, EEXIST}, {18, EXDEV},
    {19, ENODEV}, {20, ENOTDIR}, {21, EISDIR}, {22, EINVAL}, {23, ENFILE}, {24, EMFILE}, {25, ENOTTY}, {27, EFBIG},
    {28, ENOSPC}, {29, ESPIPE}, {30, EROFS}, {31, EMLINK}, {32, EPIPE}, {33, EDOM}, {34, ERANGE}, {36, EDEADLK},
    {38, ENAMETOOLONG}, {39, ENOLCK}, {40, ENOSYS}, {41, ENOTEMPTY}, {42, EILSEQ}, {80, unknown},
    {100, EADDRINUSE}, {101, EADDRNOTAVAIL}, {102, EAFNOSUPPORT}, {103, EALREADY}, {104, EBADMSG},
    {105, ECANCELED}, {106, ECONNABORTED}, {107, ECONNREFUSED}, {108, ECONNRESET}, {109, EDESTADDRREQ},
    {110, EHOSTUNREACH}, {111, EIDRM}, {112, EINPROGRESS}, {113, EISCONN}, {114, ELOOP}, {115, EMSGSIZE},
    {116, ENETDOWN}, {117, ENETRESET}, {118, ENETUNREACH}, {119, ENOBUFS}, {120, ENODATA}, {121, ENOLINK},
    {122, ENOMSG}, {123, ENOPROTOOPT}, {124, ENOSR}, {125, ENOSTR}, {126, ENOTCONN}, {127, ENOTRECOVERABLE},
    {128, ENOTSOCK}, {129, ENOTSUP}, {130, EOPNOTSUPP}, {131, unknown}, {132, EOVERFLOW}, {133, EOWNERDEAD},
    {134, EPROTO}, {135, EPROTONOSUPPORT}, {136, EPROTOTYPE}, {137, ETIME}, {138, ETIMEDOUT}, {139, ETXTBSY},
    {140, EWOULDBLOCK},
    {10004, EINTR}, {10009, EBADF}, {10013, EACCES}, {10014, EFAULT}, {10022, EINVAL}, {10024, EMFILE},
    {10035, EWOULDBLOCK}, {10036, EINPROGRESS}, {10037, EALREADY}, {10038, ENOTSOCK}, {10039, EDESTADDRREQ},
    {10040, EMSGSIZE}, {10041, EPROTOTYPE}, {10042, ENOPROTOOPT}, {10043, EPROTONOSUPPORT},
    {10044, ESOCKTNOSUPPORT}, {10045, EOPNOTSUPP}, {10046, EPFNOSUPPORT}, {10047, EAFNOSUPPORT},
    {10048, EADDRINUSE}, {10049, EADDRNOTAVAIL}, {10050, ENETDOWN}, {10051, ENETUNREACH}, {10052, ENETRESET},
    {10053, ECONNABORTED}, {10054, ECONNRESET}, {10055, ENOBUFS}, {10056, EISCONN}, {10057, ENOTCONN},
    {10058, ESHUTDOWN}, {10059, ETOOMANYREFS}, {10060, ETIMEDOUT}, {10061, ECONNREFUSED}, {10062, ELOOP},
    {10063, ENAMETOOLONG}, {10064, EHOSTDOWN}, {10065, EHOSTUNREACH}, {10066, ENOTEMPTY}, {10067, unknown},
    {10068, EUSERS}, {10069, EDQUOT}, {10070, ESTALE}, {10071, EREMOTE}, {10091, unknown}, {10092, unknown},
    {10093, unknown}, {10101, unknown}, {10102, unknown}, {10103, ECANCELED}, {10104, unknown}, {10105, unknown},
    {10106, unknown}, {10107, unknown}, {10108, unknown}, {10109, unknown}, {10110, unknown}, {10111, ECANCELED},
    {10112, unknown},
};
// clang-format on

TEST(KsErrnoToHost, KnowsEveryNumberOfTheCommonSpace) {
    for (const auto &[common, host] : numbers) EXPECT_EQ(ks_errno_to_host(common), host) << common;
}

TEST(KsErrnoToHost, KnowsNoOtherNumber) {
    for (int common = -200; common <= 11200; common++) {
        if (common == 0 || numbers.contains(common)) continue;
        ASSERT_EQ(ks_errno_to_host(common), unknown) << common;
    }
    EXPECT_EQ(ks_errno_to_host(0), 0);
}

TEST(KsErrnoFromHost, GivesTheLowestNumberThatStandsForTheHostsNumber) {
    std::map<int, int> lowest;
    for (const auto &[common, host] : numbers) lowest.emplace(host, common);
    for (int host = 1; host <= 200; host++) {
        const auto found = lowest.find(host);
        EXPECT_EQ(ks_errno_from_host(host), found == lowest.end() ? KS_EIO : found->second) << host;
    }
}

TEST(KsErrnoFromHost, IsUndoneByToHost) {
    for (const auto &[common, host] : numbers) {
        if (host == unknown) continue;
        EXPECT_EQ(ks_errno_to_host(ks_errno_from_host(host)), host) << common;
    }
}

TEST(KsErrnoFromHost, ChangesOnlyNumbersWithSeveralNames) {
    std::set<int> changed;
    for (const auto &[common, host] : numbers) {
        if (common < 1000 && host != unknown && ks_errno_from_host(host) != common) changed.insert(common);
    }
    EXPECT_THAT(changed, testing::ElementsAre(130, 140)); // EOPNOTSUPP is ENOTSUP, EWOULDBLOCK is EAGAIN
}

TEST(KsErrnoFromHost, MapsTheNumbersThatPeersRelyOn) {
    EXPECT_EQ(ks_errno_from_host(EAGAIN), 11);
    EXPECT_EQ(ks_errno_from_host(ELOOP), 114);
    EXPECT_EQ(ks_errno_from_host(ESTALE), 10070);
    EXPECT_EQ(ks_errno_from_host(EPFNOSUPPORT), 10046);
    EXPECT_EQ(ks_errno_from_host(0), 0);
    EXPECT_EQ(ks_errno_from_host(-ENOENT), KS_EIO);
    EXPECT_EQ(ks_errno_from_host(100000), KS_EIO);
}

TEST(KsErrno, IsOfTheThread) {
    ks_errno = KS_EBUSY;
    int other = -1;
    int *place = nullptr;
    std::thread([&] {
        other = ks_errno;
        place = ks_errno_location();
        ks_errno = KS_EIO;
    }).join();
    EXPECT_EQ(other, 0);
    EXPECT_NE(place, ks_errno_location());
    EXPECT_EQ(ks_errno, KS_EBUSY);
}

} // namespace
