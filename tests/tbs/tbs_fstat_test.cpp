#include "tbs/tbs_fstat.h"

#include "ks/ks_errno.h"
#include "support/env.hpp"
#include "support/faults.hpp"
#include "support/temp_dir.hpp"

#include <algorithm>
#include <climits>
#include <clocale>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

credutl_sid_t sid(const char *text) {
    credutl_sid_t value{};
    EXPECT_EQ(credutl_str_to_sid(text, &value), 0) << text;
    return value;
}

bool same(const tbs_timeval_t &a, const tbs_timeval_t &b) { return a.tv_sec == b.tv_sec && a.tv_usec == b.tv_usec; }

bool same(const tbs_fstat_db_t &a, const tbs_fstat_db_t &b) {
    return a.type == b.type && a.mode == b.mode && a.nlink == b.nlink && a.reserved == b.reserved &&
           credutl_sid_eq(&a.usid, &b.usid) && credutl_sid_eq(&a.gsid, &b.gsid) && a.size == b.size &&
           a.ino == b.ino && same(a.xtime, b.xtime) && same(a.atime, b.atime) && same(a.mtime, b.mtime) &&
           same(a.ctime, b.ctime);
}

// Its members have no padding between them.
bool same(const tbs_fstat_t &a, const tbs_fstat_t &b) { return std::memcmp(&a, &b, sizeof a) == 0; }
static_assert(sizeof(tbs_fstat_t) == 17 * sizeof(uint32_t));

tbs_fstat_t classic_sample() {
    return {.type = TBS_FTYPE_FILE,
            .mode = 0644,
            .nlink = 2,
            .uid = 1000,
            .gid = 100,
            .size = 4000000000u,
            .blsz = 512,
            .rdev = 9,
            .blks = 8,
            .fsid = 7,
            .ino = 42,
            .atime = {0, 1},
            .mtime = {86400, 2},
            .ctime = {172800, 3}};
}

tbs_fstat_db_t db_sample() {
    return {.type = TBS_FTYPE_DIRECTORY,
            .mode = 0755,
            .nlink = 3,
            .reserved = 77,
            .usid = sid("S-1-22-1-1000"),
            .gsid = sid("S-1-22-2-100"),
            .size = 2147483647,
            .ino = 43,
            .xtime = {9, 8},
            .atime = {1, 2},
            .mtime = {3, 4},
            .ctime = {5, 6}};
}

tbs_fstat_full_t full_sample() {
    const tbs_fstat_db_t record = db_sample();
    tbs_fstat_full_t full{};
    EXPECT_EQ(tbs_fstat_cvt_to_full(&record, &full), 0);
    full.rolemap_dbid = 0x2a;
    return full;
}

// Only the host's own accounts are known.
class HostAccounts : public testing::Test {
protected:
    HostAccounts() { credutl_flush_accounts(); }
    ~HostAccounts() override { credutl_flush_accounts(); }

    temp_dir folder;
    const scoped_env accounts{"ORSIK_ACCOUNTS", folder.write("accounts", "")};
};

// ---- from one form to another

class TbsFstatCvt : public HostAccounts {};

TEST_F(TbsFstatCvt, DatabaseToClassicCopiesAndLeavesDevicesAlone) {
    const tbs_fstat_db_t record = db_sample();
    tbs_fstat_t out;
    std::memset(&out, 0x5A, sizeof out);
    ASSERT_EQ(tbs_fstat_cvt_from_db(&record, 0, &out), 0);
    EXPECT_EQ(out.type, 2u);
    EXPECT_EQ(out.mode, 0755u);
    EXPECT_EQ(out.nlink, 3u);
    EXPECT_EQ(out.uid, 0xFFFFFFFEu);
    EXPECT_EQ(out.gid, 0xFFFFFFFEu);
    EXPECT_EQ(out.size, 2147483647u);
    EXPECT_EQ(out.blsz, 1024u);
    EXPECT_EQ(out.blks, 0u);
    EXPECT_EQ(out.rdev, 0x5A5A5A5Au);
    EXPECT_EQ(out.fsid, 0x5A5A5A5Au);
    EXPECT_EQ(out.ino, 43u);
    EXPECT_TRUE(same(out.atime, {1, 2}));
    EXPECT_TRUE(same(out.mtime, {3, 4}));
    EXPECT_TRUE(same(out.ctime, {5, 6}));
}

TEST_F(TbsFstatCvt, DatabaseToClassicConvertsIdsWhenAsked) {
    tbs_fstat_db_t record = db_sample();
    tbs_fstat_t out{};
    ASSERT_EQ(tbs_fstat_cvt_from_db(&record, 1, &out), 0);
    EXPECT_EQ(out.uid, 1000u);
    EXPECT_EQ(out.gid, 100u);
    record.usid = CREDUTL_SID_NOBODY;
    record.gsid = sid("S-1-5-21-1-2-3-513");
    ASSERT_EQ(tbs_fstat_cvt_from_db(&record, 1, &out), 0);
    EXPECT_EQ(out.uid, 0xFFFFFFFEu);
    EXPECT_EQ(out.gid, 0xFFFFFFFEu);
    record.usid = {}; // no SID at all
    ASSERT_EQ(tbs_fstat_cvt_from_db(&record, -1, &out), 0);
    EXPECT_EQ(out.uid, 0xFFFFFFFEu);
}

TEST_F(TbsFstatCvt, DatabaseToClassicRefusesASizeBeyondItsOffsets) {
    tbs_fstat_t before, out;
    std::memset(&before, 0x5A, sizeof before);
    for (const uint64_t size : {uint64_t{0x80000000}, uint64_t{0xFFFFFFFF}, uint64_t{1} << 32,
                                (uint64_t{1} << 32) + 5, uint64_t{1} << 63, UINT64_MAX}) {
        SCOPED_TRACE(size);
        tbs_fstat_db_t record = db_sample();
        record.size = size;
        out = before;
        EXPECT_EQ(tbs_fstat_cvt_from_db(&record, 1, &out), 1077);
        EXPECT_TRUE(same(out, before));
    }
}

TEST_F(TbsFstatCvt, ClassicToDatabaseCopies) {
    const tbs_fstat_t classic = classic_sample();
    tbs_fstat_db_t out;
    std::memset(&out, 0x5A, sizeof out);
    ASSERT_EQ(tbs_fstat_cvt_to_db(&classic, 0, &out), 0);
    const tbs_fstat_db_t expected = {.type = TBS_FTYPE_FILE,
                                     .mode = 0644,
                                     .nlink = 2,
                                     .reserved = 0,
                                     .usid = CREDUTL_SID_NOBODY,
                                     .gsid = CREDUTL_SID_NOBODY,
                                     .size = 4000000000u,
                                     .ino = 42,
                                     .xtime = {172800, 3},
                                     .atime = {0, 1},
                                     .mtime = {86400, 2},
                                     .ctime = {172800, 3}};
    EXPECT_TRUE(same(out, expected));
}

TEST_F(TbsFstatCvt, ClassicToDatabaseConvertsIdsWhenAsked) {
    tbs_fstat_t classic = classic_sample();
    tbs_fstat_db_t out{};
    ASSERT_EQ(tbs_fstat_cvt_to_db(&classic, 1, &out), 0);
    const credutl_sid_t user = sid("S-1-22-1-1000"), group = sid("S-1-22-2-100");
    EXPECT_TRUE(credutl_sid_eq(&out.usid, &user));
    EXPECT_TRUE(credutl_sid_eq(&out.gsid, &group));
    classic.uid = classic.gid = 0xFFFFFFFEu; // no id
    ASSERT_EQ(tbs_fstat_cvt_to_db(&classic, 1, &out), 0);
    EXPECT_TRUE(credutl_sid_eq(&out.usid, &CREDUTL_SID_NOBODY));
    EXPECT_TRUE(credutl_sid_eq(&out.gsid, &CREDUTL_SID_NOBODY));
}

TEST_F(TbsFstatCvt, XtimeIsTheLaterOfTheTwoTimes) {
    struct row {
        tbs_timeval_t mtime, ctime, xtime;
    };
    constexpr row rows[] = {
        {{5, 0}, {4, 999999}, {5, 0}}, {{4, 999999}, {5, 0}, {5, 0}},
        {{5, 2}, {5, 1}, {5, 2}},      {{5, 1}, {5, 2}, {5, 2}},
        {{5, 5}, {5, 5}, {5, 5}},      {{-1, 0}, {1, 0}, {1, 0}}, // seconds have a sign
        {{-1, 0}, {-2, 9}, {-1, 0}},   {{INT32_MIN, 0}, {INT32_MAX, 0}, {INT32_MAX, 0}},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(&r - rows);
        tbs_fstat_t classic = classic_sample();
        classic.mtime = r.mtime;
        classic.ctime = r.ctime;
        tbs_fstat_db_t out{};
        ASSERT_EQ(tbs_fstat_cvt_to_db(&classic, 0, &out), 0);
        EXPECT_TRUE(same(out.xtime, r.xtime));
    }
}

TEST_F(TbsFstatCvt, ClassicThereAndBackLosesTheIdsUnlessAsked) {
    tbs_fstat_t classic = classic_sample();
    classic.size = 5;
    tbs_fstat_db_t record{};
    tbs_fstat_t back = classic, expected = classic;
    expected.blsz = 1024;
    expected.blks = 0;
    ASSERT_EQ(tbs_fstat_cvt_to_db(&classic, 1, &record), 0);
    ASSERT_EQ(tbs_fstat_cvt_from_db(&record, 1, &back), 0);
    EXPECT_TRUE(same(back, expected));
    expected.uid = expected.gid = 0xFFFFFFFEu;
    ASSERT_EQ(tbs_fstat_cvt_to_db(&classic, 0, &record), 0);
    ASSERT_EQ(tbs_fstat_cvt_from_db(&record, 0, &back), 0);
    EXPECT_TRUE(same(back, expected));
}

TEST_F(TbsFstatCvt, FullHasNoRoleMapAndComesBackWhole) {
    const tbs_fstat_db_t record = db_sample();
    tbs_fstat_full_t full;
    std::memset(&full, 0x5A, sizeof full);
    ASSERT_EQ(tbs_fstat_cvt_to_full(&record, &full), 0);
    EXPECT_EQ(full.rolemap_dbid, 0u);
    EXPECT_EQ(full.reserved, 77u);
    EXPECT_EQ(full.size, 2147483647u);
    EXPECT_TRUE(same(full.xtime, {9, 8}));
    full.rolemap_dbid = 99;
    tbs_fstat_db_t back;
    std::memset(&back, 0x5A, sizeof back);
    ASSERT_EQ(tbs_fstat_cvt_from_full(&full, &back), 0);
    EXPECT_TRUE(same(back, record));
}

RC_GTEST_PROP(TbsFstatCvtFull, BringsBackAnyRecord, ()) {
    const auto bytes =
        *rc::gen::container<std::vector<uint8_t>>(sizeof(tbs_fstat_db_t), rc::gen::arbitrary<uint8_t>());
    tbs_fstat_db_t record, back{};
    std::memcpy(&record, bytes.data(), sizeof record);
    tbs_fstat_full_t full{};
    RC_ASSERT(tbs_fstat_cvt_to_full(&record, &full) == 0);
    RC_ASSERT(tbs_fstat_cvt_from_full(&full, &back) == 0);
    RC_ASSERT(same(record, back));
}

TEST_F(TbsFstatCvt, RefusesNull) {
    const tbs_fstat_t classic = classic_sample();
    const tbs_fstat_db_t record = db_sample();
    const tbs_fstat_full_t full = full_sample();
    tbs_fstat_t classic_out{};
    tbs_fstat_db_t record_out{};
    tbs_fstat_full_t full_out{};
    EXPECT_EQ(tbs_fstat_cvt_from_db(nullptr, 0, &classic_out), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_fstat_cvt_from_db(&record, 0, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_fstat_cvt_to_db(nullptr, 0, &record_out), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_fstat_cvt_to_db(&classic, 0, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_fstat_cvt_to_full(nullptr, &full_out), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_fstat_cvt_to_full(&record, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_fstat_cvt_from_full(nullptr, &record_out), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_fstat_cvt_from_full(&full, nullptr), TBS_ST_EINVAL);
}

TEST_F(TbsFstatCvt, WithoutMemoryAnIdBecomesNobodyAtWorst) {
    const tbs_fstat_t classic = classic_sample();
    const credutl_sid_t user = sid("S-1-22-1-1000");
    faults::each_allocation([&](int, bool) {
        {
            const faults::suspend unrefused;
            credutl_flush_accounts();
        }
        tbs_fstat_db_t out{};
        const tbs_status_t status = tbs_fstat_cvt_to_db(&classic, 1, &out);
        const faults::suspend unrefused;
        EXPECT_EQ(status, 0);
        EXPECT_TRUE(credutl_sid_eq(&out.usid, &user) || credutl_sid_eq(&out.usid, &CREDUTL_SID_NOBODY));
    });
}

// ---- from disk

struct examined {
    tbs_boolean_t failed;
    int error;
    tbs_fstat_db_t record;
};

examined examine(const std::string &path, int follow = 0) {
    examined result{0, -7, {}};
    std::memset(&result.record, 0x5A, sizeof result.record);
    result.failed = tbs_get_fstat_db(path.c_str(), follow, &result.record, &result.error);
    EXPECT_TRUE(result.failed || result.error == -7);
    return result;
}

void set_times(const std::string &path, int64_t atime, int64_t mtime) {
    const timespec times[] = {{atime, 999999999}, {mtime, 999999999}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

int32_t clamped(int64_t seconds) { return static_cast<int32_t>(std::clamp<int64_t>(seconds, INT32_MIN, INT32_MAX)); }

class TbsGetFstatDb : public testing::Test {
protected:
    temp_dir dir;
};

TEST_F(TbsGetFstatDb, DescribesAFile) {
    const std::string path = dir.write("file", "12345");
    ASSERT_EQ(chmod(path.c_str(), 06741), 0);
    ASSERT_EQ(link(path.c_str(), (dir / "second").c_str()), 0);
    set_times(path, 1000, 2000);
    const auto [failed, error, record] = examine(path);
    ASSERT_EQ(failed, 0);
    EXPECT_EQ(record.type, 1u);
    EXPECT_EQ(record.mode, 06741u);
    EXPECT_EQ(record.nlink, 2u);
    EXPECT_EQ(record.reserved, 0u);
    EXPECT_TRUE(credutl_sid_eq(&record.usid, &CREDUTL_SID_NOBODY));
    EXPECT_TRUE(credutl_sid_eq(&record.gsid, &CREDUTL_SID_NOBODY));
    EXPECT_EQ(record.size, 5u);
    EXPECT_EQ(record.ino, 0u);
    EXPECT_TRUE(same(record.atime, {1000, 0}));
    EXPECT_TRUE(same(record.mtime, {2000, 0}));
    struct stat host;
    ASSERT_EQ(stat(path.c_str(), &host), 0);
    EXPECT_TRUE(same(record.ctime, {clamped(host.st_ctime), 0}));
    EXPECT_TRUE(same(record.xtime, record.ctime));
}

TEST_F(TbsGetFstatDb, TellsTheKinds) {
    dir.write("file", "");
    std::filesystem::create_symlink("file", dir.path() / "link");
    std::filesystem::create_symlink("nowhere", dir.path() / "dangling");
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(examine(dir.str()).record.type, 2u);
    EXPECT_EQ(examine(dir / "pipe").record.type, 6u);
    EXPECT_EQ(examine(dir / "link", 0).record.type, 5u);
    EXPECT_EQ(examine(dir / "link", 0).record.size, 4u);
    EXPECT_EQ(examine(dir / "link", 1).record.type, 1u);
    EXPECT_EQ(examine(dir / "link", -1).record.type, 1u);
    EXPECT_EQ(examine(dir / "dangling", 0).record.type, 5u);
    const examined dangling = examine(dir / "dangling", 1);
    EXPECT_EQ(dangling.failed, 1);
    EXPECT_EQ(dangling.error, KS_ENOENT);
}

TEST_F(TbsGetFstatDb, DevicesAndSocketsAreOfNoKind) {
    const examined null = examine("/dev/null");
    ASSERT_EQ(null.failed, 0);
    EXPECT_EQ(null.record.type, 0u);

    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(socket, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = dir / "socket";
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const examined bound = examine(path);
    close(socket);
    ASSERT_EQ(bound.failed, 0);
    EXPECT_EQ(bound.record.type, 0u);

    const std::string block = dir / "block";
    if (mknod(block.c_str(), S_IFBLK | 0600, makedev(7, 250)) != 0) GTEST_SKIP() << "block devices cannot be made";
    const examined device = examine(block);
    ASSERT_EQ(device.failed, 0);
    EXPECT_EQ(device.record.type, 0u);
    EXPECT_EQ(device.record.mode, 0600u);
}

TEST_F(TbsGetFstatDb, ThePermissionWordHasNoStickyBit) {
    const std::string path = dir / "sub";
    std::filesystem::create_directory(path);
    ASSERT_EQ(chmod(path.c_str(), 07777), 0);
    EXPECT_EQ(examine(path).record.mode, 0xDFFu);
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    EXPECT_EQ(examine(path).record.mode, 0u);
    ASSERT_EQ(chmod(path.c_str(), 0700), 0);
}

TEST_F(TbsGetFstatDb, SizesHave64Bits) {
    const std::string path = dir.write("sparse", "");
    for (const uint64_t size : {uint64_t{0x7FFFFFFF}, uint64_t{0x80000000}, (uint64_t{1} << 32) - 1,
                                (uint64_t{1} << 32) + 5, (uint64_t{1} << 40) + 1}) {
        SCOPED_TRACE(size);
        if (truncate(path.c_str(), static_cast<off_t>(size)) != 0) GTEST_SKIP() << "files cannot be that large here";
        const examined large = examine(path);
        ASSERT_EQ(large.failed, 0);
        EXPECT_EQ(large.record.size, size);
        tbs_fstat_t classic{};
        EXPECT_EQ(tbs_fstat_cvt_from_db(&large.record, 0, &classic), size == 0x7FFFFFFF ? 0 : TBS_ST_EFBIG);
    }
}

TEST_F(TbsGetFstatDb, TimesAreTheNearestThat32BitsHold) {
    const std::string path = dir.write("file", "");
    for (const int64_t seconds : {int64_t{-1}, int64_t{-86400}, int64_t{INT32_MIN}, int64_t{INT32_MIN} - 1,
                                  int64_t{INT32_MAX}, int64_t{INT32_MAX} + 1, int64_t{4102444800}}) {
        SCOPED_TRACE(seconds);
        set_times(path, seconds, seconds);
        struct stat host; // file systems have limits of their own
        ASSERT_EQ(stat(path.c_str(), &host), 0);
        const tbs_fstat_db_t record = examine(path).record;
        EXPECT_TRUE(same(record.atime, {clamped(host.st_atime), 0}));
        EXPECT_TRUE(same(record.mtime, {clamped(host.st_mtime), 0}));
        EXPECT_TRUE(same(record.xtime, seconds > 0 ? record.mtime : record.ctime));
    }
}

TEST_F(TbsGetFstatDb, TakesNamesOfAnyBytesAndBothSeparators) {
    const std::string name = "caf\xE9\xFF\xFE \x80";
    const std::string path = dir.write("sub/" + name, "123");
    EXPECT_EQ(examine(path).record.size, 3u);
    const examined product_path = examine(dir.str() + "\\sub\\" + name);
    EXPECT_EQ(product_path.failed, 0);
    EXPECT_EQ(product_path.record.size, 3u);
}

TEST_F(TbsGetFstatDb, GivesTheErrorAndLeavesTheRecord) {
    const std::string file = dir.write("file", "");
    std::filesystem::create_symlink("loop", dir.path() / "loop");
    tbs_fstat_db_t untouched;
    std::memset(&untouched, 0x5A, sizeof untouched);
    const auto error_of = [&](const std::string &path, int follow) {
        const examined result = examine(path, follow);
        EXPECT_EQ(result.failed, 1);
        EXPECT_EQ(std::memcmp(&result.record, &untouched, sizeof untouched), 0);
        EXPECT_EQ(ks_errno, result.error);
        return result.error;
    };
    EXPECT_EQ(error_of(dir / "nothing", 0), KS_ENOENT);
    EXPECT_EQ(error_of("", 0), KS_ENOENT);
    EXPECT_EQ(error_of(file + "/below", 0), KS_ENOTDIR);
    EXPECT_EQ(error_of(dir / "loop", 1), KS_ELOOP);
    EXPECT_EQ(error_of(dir / std::string(300, 'x'), 0), KS_ENAMETOOLONG);
    EXPECT_EQ(error_of(std::string(5000, 'x'), 0), KS_ENAMETOOLONG);
}

TEST_F(TbsGetFstatDb, FailsForNull) {
    tbs_fstat_db_t record{};
    int error = 0;
    EXPECT_EQ(tbs_get_fstat_db(nullptr, 0, &record, &error), 1);
    EXPECT_EQ(error, KS_EINVAL);
    error = 0;
    EXPECT_EQ(tbs_get_fstat_db(dir.str().c_str(), 0, nullptr, &error), 1);
    EXPECT_EQ(error, KS_EINVAL);
    EXPECT_EQ(tbs_get_fstat_db(dir.str().c_str(), 0, &record, nullptr), 1);
    EXPECT_EQ(record.type, 0u);
}

TEST_F(TbsGetFstatDb, TakesNoMemory) {
    const std::string path = dir.str();
    tbs_fstat_db_t record{};
    int error = 0;
    EXPECT_EQ(faults::count_allocations([&] { tbs_get_fstat_db(path.c_str(), 1, &record, &error); }), 0);
}

// ---- texts

class TbsFormatFstat : public testing::Test {
protected:
    const scoped_env zone{"TZ", "UTC0"};
};

constexpr char classic_text[] = "ino: 42; type: 1; mode: 0644; uid: 1000; gid: 100\n"
                                "nlink: 2; size: 4000000000; blsz: 512; blks: 8 fsid: 7; rdev 9\n"
                                "atime: Thu Jan  1 00:00:00 1970\n"
                                "mtime: Fri Jan  2 00:00:00 1970\n"
                                "ctime: Sat Jan  3 00:00:00 1970";

constexpr char db_text[] = "ino: 43; type: 2; mode: 0755\n"
                           "usid: S-1-22-1-1000\n"
                           "gsid: S-1-22-2-100\n"
                           "nlink: 3; size: 2147483647\n"
                           "atime: Thu Jan  1 00:00:01 1970\n"
                           "mtime: Thu Jan  1 00:00:03 1970\n"
                           "ctime: Thu Jan  1 00:00:05 1970";

constexpr char verbose_text[] = "ino: 43; type: 2; mode: 0755\n"
                                "usid: S-1-22-1-1000\n"
                                "gsid: S-1-22-2-100\n"
                                "nlink: 3; size: 2147483647\n"
                                "atime: Thu Jan  1 00:00:01 1970\n"
                                "       (1.2)\n"
                                "mtime: Thu Jan  1 00:00:03 1970\n"
                                "       (3.4)\n"
                                "ctime: Thu Jan  1 00:00:05 1970\n"
                                "       (5.6)";

constexpr char full_text[] = "ino: 43; type: 2; mode: 0755; rolemap dbid: 0x2a\n"
                             "usid: S-1-22-1-1000\n"
                             "gsid: S-1-22-2-100\n"
                             "nlink: 3; size: 2147483647\n"
                             "xtime: Thu Jan  1 00:00:09 1970\n"
                             "atime: Thu Jan  1 00:00:01 1970\n"
                             "mtime: Thu Jan  1 00:00:03 1970\n"
                             "ctime: Thu Jan  1 00:00:05 1970";

std::string text_of(const tbs_fstat_t &fstat) {
    char text[1024];
    EXPECT_EQ(tbs_format_fstat(&fstat, sizeof text, text), 0);
    return text;
}

std::string text_of(const tbs_fstat_db_t &record, int verbose = 0) {
    char text[1024];
    EXPECT_EQ(tbs_format_fstat_db_new(&record, sizeof text, verbose, text), 0);
    return text;
}

std::string text_of(const tbs_fstat_full_t &full) {
    char text[1024];
    EXPECT_EQ(tbs_format_fstat_full(&full, sizeof text, text), 0);
    return text;
}

TEST_F(TbsFormatFstat, WritesEachForm) {
    EXPECT_EQ(text_of(classic_sample()), classic_text);
    EXPECT_EQ(text_of(db_sample()), db_text);
    EXPECT_EQ(text_of(db_sample(), 1), verbose_text);
    EXPECT_EQ(text_of(full_sample()), full_text);
    const tbs_fstat_db_t record = db_sample();
    char text[1024];
    EXPECT_EQ(tbs_format_fstat_db(&record, sizeof text, text), 0);
    EXPECT_STREQ(text, db_text);
}

TEST_F(TbsFormatFstat, OnlyOneIsVerbose) {
    for (const int verbose : {0, 2, -1, INT_MAX}) EXPECT_EQ(text_of(db_sample(), verbose), db_text);
}

TEST_F(TbsFormatFstat, WritesExtremes) {
    tbs_fstat_t classic;
    std::memset(&classic, 0xFF, sizeof classic);
    classic.mtime.tv_sec = INT32_MIN;
    classic.ctime.tv_sec = INT32_MAX;
    EXPECT_EQ(text_of(classic),
              "ino: 4294967295; type: 4294967295; mode: 037777777777; uid: 4294967295; gid: 4294967295\n"
              "nlink: 4294967295; size: 4294967295; blsz: 4294967295; blks: 4294967295 fsid: 4294967295; rdev "
              "4294967295\n"
              "atime: Wed Dec 31 23:59:59 1969\n"
              "mtime: Fri Dec 13 20:45:52 1901\n"
              "ctime: Tue Jan 19 03:14:07 2038");
    tbs_fstat_db_t record = db_sample();
    record.ino = record.type = record.mode = record.nlink = UINT32_MAX;
    record.usid = record.gsid = sid("S-1-281474976710655-4294967295-4294967295-4294967295-4294967295-4294967295-"
                                    "4294967295");
    record.size = uint64_t{1} << 63; // the formats have a sign
    record.atime = record.mtime = record.ctime = {INT32_MIN, INT32_MIN};
    EXPECT_EQ(text_of(record, 1),
              "ino: 4294967295; type: 4294967295; mode: 037777777777\n"
              "usid: S-1-281474976710655-4294967295-4294967295-4294967295-4294967295-4294967295-4294967295\n"
              "gsid: S-1-281474976710655-4294967295-4294967295-4294967295-4294967295-4294967295-4294967295\n"
              "nlink: 4294967295; size: -9223372036854775808\n"
              "atime: Fri Dec 13 20:45:52 1901\n       (-2147483648.-2147483648)\n"
              "mtime: Fri Dec 13 20:45:52 1901\n       (-2147483648.-2147483648)\n"
              "ctime: Fri Dec 13 20:45:52 1901\n       (-2147483648.-2147483648)");
}

TEST_F(TbsFormatFstat, WritesZeros) {
    EXPECT_EQ(text_of(tbs_fstat_full_t{}), "ino: 0; type: 0; mode: 00; rolemap dbid: 0\n"
                                           "usid: \n"
                                           "gsid: \n"
                                           "nlink: 0; size: 0\n"
                                           "xtime: Thu Jan  1 00:00:00 1970\n"
                                           "atime: Thu Jan  1 00:00:00 1970\n"
                                           "mtime: Thu Jan  1 00:00:00 1970\n"
                                           "ctime: Thu Jan  1 00:00:00 1970");
    tbs_fstat_db_t nobody = db_sample();
    nobody.usid = CREDUTL_SID_NOBODY;
    EXPECT_NE(text_of(nobody).find("\nusid: S-1-0-0\n"), std::string::npos);
}

TEST_F(TbsFormatFstat, SizesBeyond4GigabytesAreWhole) {
    tbs_fstat_db_t record = db_sample();
    record.size = (uint64_t{1} << 40) + 7;
    EXPECT_NE(text_of(record).find("; size: 1099511627783\n"), std::string::npos);
}

TEST_F(TbsFormatFstat, FollowsTheTimeZone) {
    tbs_fstat_t classic = classic_sample();
    classic.atime = {1720000000, 0}; // 2024-07-03 09:46:40 UTC
    classic.mtime = {1705000000, 0}; // 2024-01-11 19:06:40 UTC
    classic.ctime = {-1, 0};
    struct row {
        const char *zone, *times;
    };
    constexpr row rows[] = {
        {"UTC0", "atime: Wed Jul  3 09:46:40 2024\nmtime: Thu Jan 11 19:06:40 2024\nctime: Wed Dec 31 23:59:59 1969"},
        {"EST5EDT,M3.2.0,M11.1.0",
         "atime: Wed Jul  3 05:46:40 2024\nmtime: Thu Jan 11 14:06:40 2024\nctime: Wed Dec 31 18:59:59 1969"},
        {"IST-5:30",
         "atime: Wed Jul  3 15:16:40 2024\nmtime: Fri Jan 12 00:36:40 2024\nctime: Thu Jan  1 05:29:59 1970"},
        {"", "atime: Wed Jul  3 09:46:40 2024\nmtime: Thu Jan 11 19:06:40 2024\nctime: Wed Dec 31 23:59:59 1969"},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.zone);
        const scoped_env other("TZ", r.zone);
        const std::string text = text_of(classic);
        EXPECT_EQ(text.substr(text.find("atime")), r.times);
    }
    EXPECT_NE(text_of(classic).find("09:46:40"), std::string::npos);
}

TEST_F(TbsFormatFstat, DoesNotFollowTheLocale) {
    const char *before = setlocale(LC_ALL, nullptr);
    const std::string restored = before ? before : "C";
    setlocale(LC_ALL, "tr_TR.UTF-8"); // where it is installed
    EXPECT_EQ(text_of(classic_sample()), classic_text);
    setlocale(LC_ALL, restored.c_str());
}

using formatter = std::function<tbs_boolean_t(size_t, char *)>;

// Writes into every size up to what is needed and one more. `reports` says for which sizes the text counts as cut.
void expect_cut(const formatter &write, const std::string &whole, const std::function<bool(size_t)> &reports) {
    for (size_t size = 0; size <= whole.size() + 2; size++) {
        SCOPED_TRACE(size);
        std::vector<char> buffer(whole.size() + 3, '#');
        EXPECT_EQ(write(size, buffer.data()), reports(size) ? 1 : 0);
        const size_t kept = size == 0 ? 0 : std::min(size - 1, whole.size());
        EXPECT_EQ(std::string(buffer.data(), kept), whole.substr(0, kept));
        EXPECT_EQ(buffer[kept], size == 0 ? '#' : '\0');
        EXPECT_TRUE(std::all_of(buffer.begin() + static_cast<ptrdiff_t>(size), buffer.end(),
                                [](char c) { return c == '#'; }));
    }
}

TEST_F(TbsFormatFstat, CutsToFitAndSaysSo) {
    const tbs_fstat_t classic = classic_sample();
    const tbs_fstat_db_t record = db_sample();
    const auto cut = [](const char *text) { return [n = std::strlen(text)](size_t size) { return size <= n; }; };
    expect_cut([&](size_t size, char *buffer) { return tbs_format_fstat(&classic, size, buffer); }, classic_text,
               cut(classic_text));
    expect_cut([&](size_t size, char *buffer) { return tbs_format_fstat_db(&record, size, buffer); }, db_text,
               cut(db_text));
    expect_cut([&](size_t size, char *buffer) { return tbs_format_fstat_db_new(&record, size, 1, buffer); },
               verbose_text, cut(verbose_text));
}

TEST_F(TbsFormatFstat, TheFullFormCountsWithoutTheTerminator) {
    const tbs_fstat_full_t full = full_sample();
    expect_cut([&](size_t size, char *buffer) { return tbs_format_fstat_full(&full, size, buffer); }, full_text,
               [](size_t size) { return std::strlen(full_text) > size; });
}

TEST_F(TbsFormatFstat, FailsForNull) {
    const tbs_fstat_t classic = classic_sample();
    const tbs_fstat_db_t record = db_sample();
    const tbs_fstat_full_t full = full_sample();
    EXPECT_EQ(tbs_format_fstat(&classic, 99, nullptr), 1);
    EXPECT_EQ(tbs_format_fstat_db(&record, 99, nullptr), 1);
    EXPECT_EQ(tbs_format_fstat_db_new(&record, 99, 1, nullptr), 1);
    EXPECT_EQ(tbs_format_fstat_full(&full, 99, nullptr), 1);
    EXPECT_EQ(tbs_format_fstat_full(&full, 0, nullptr), 1);
    const formatter writers[] = {
        [](size_t size, char *buffer) { return tbs_format_fstat(nullptr, size, buffer); },
        [](size_t size, char *buffer) { return tbs_format_fstat_db(nullptr, size, buffer); },
        [](size_t size, char *buffer) { return tbs_format_fstat_db_new(nullptr, size, 1, buffer); },
        [](size_t size, char *buffer) { return tbs_format_fstat_full(nullptr, size, buffer); },
    };
    for (const formatter &write : writers) {
        char text[] = "old";
        EXPECT_EQ(write(0, text), 1);
        EXPECT_STREQ(text, "old");
        EXPECT_EQ(write(sizeof text, text), 1);
        EXPECT_STREQ(text, "");
    }
}

TEST_F(TbsFormatFstat, TakesNoMemory) {
    const tbs_fstat_db_t record = db_sample();
    char text[1024];
    EXPECT_EQ(faults::count_allocations([&] { tbs_format_fstat_db_new(&record, sizeof text, 1, text); }), 0);
}

TEST(TbsFtypeToStr, NamesTheKinds) {
    constexpr const char *names[] = {"null",          "file",       "directory", "block device", "character device",
                                     "symbolic link", "named pipe", "type 7"};
    for (uint32_t type = 0; type < std::size(names); type++) {
        char text[TBS_FTYPE_STR_SIZE];
        EXPECT_EQ(tbs_ftype_to_str(type, text), text);
        EXPECT_STREQ(text, names[type]);
    }
    char text[TBS_FTYPE_STR_SIZE];
    EXPECT_STREQ(tbs_ftype_to_str(UINT32_MAX, text), "type 4294967295");
    EXPECT_STREQ(tbs_ftype_to_str(0x80000000u, text), "type 2147483648");
    EXPECT_EQ(tbs_ftype_to_str(TBS_FTYPE_FILE, nullptr), nullptr);
}

// ---- access

class TbsAccessFstat : public HostAccounts {
protected:
    TbsAccessFstat() {
        EXPECT_EQ(credutl_uid_to_sid(geteuid(), &me), 0);
        EXPECT_EQ(credutl_gid_to_sid(getegid(), &my_group), 0);
    }
    // The access, or -1 when the question fails.
    static int access(const credutl_sid_t &owner, const credutl_sid_t &group, tbs_fmode_t mode) {
        tbs_fstat_db_t record = db_sample();
        record.usid = owner;
        record.gsid = group;
        record.mode = mode;
        uint32_t answer = 99;
        int error = -7;
        const tbs_boolean_t failed = tbs_access_fstat(&record, &answer, &error);
        EXPECT_TRUE(failed || error == -7);
        return failed ? -1 : static_cast<int>(answer);
    }

    credutl_sid_t me{}, my_group{};
    const credutl_sid_t stranger = sid("S-1-5-21-9-9-9-9"), strangers = sid("S-1-5-21-9-9-9-10");
};

TEST_F(TbsAccessFstat, MapsTheBitsOfEachClass) {
    for (unsigned bits = 0; bits < 8; bits++) {
        const int expected = static_cast<int>(bits); // read 4, write 2, execute 1
        EXPECT_EQ(access(me, strangers, bits << 6), expected);
        EXPECT_EQ(access(stranger, my_group, bits << 3), expected);
        EXPECT_EQ(access(stranger, strangers, bits), expected);
    }
}

TEST_F(TbsAccessFstat, OnlyTheFirstClassThatMatchesCounts) {
    EXPECT_EQ(access(me, my_group, 0077), 0);
    EXPECT_EQ(access(me, my_group, 0477), 4);
    EXPECT_EQ(access(me, strangers, 0007), 0);
    EXPECT_EQ(access(stranger, my_group, 0707), 0);
    EXPECT_EQ(access(stranger, my_group, 0717), 1);
    EXPECT_EQ(access(stranger, strangers, 0770), 0);
    EXPECT_EQ(access(stranger, strangers, 0774), 4);
}

TEST_F(TbsAccessFstat, OtherBitsDoNotCount) {
    EXPECT_EQ(access(me, my_group, ~0700u), 0);
    EXPECT_EQ(access(me, my_group, UINT32_MAX), 7);
    EXPECT_EQ(access(stranger, strangers, ~0007u), 0);
}

TEST_F(TbsAccessFstat, NobodyIsNoGroupOfOurs) {
    EXPECT_EQ(access(CREDUTL_SID_NOBODY, CREDUTL_SID_NOBODY, 0770), 0);
    EXPECT_EQ(access({}, {}, 0771), 1);
    EXPECT_EQ(access(my_group, me, 0770), 0); // a group is no user, a user no group
}

TEST_F(TbsAccessFstat, SupplementaryGroupsCount) {
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser may change groups";
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const gid_t groups[] = {54321, 54322};
        // Later the process is somebody else, who must read the accounts file.
        chmod(folder.str().c_str(), 0755);
        if (setgroups(2, groups) != 0) _exit(9);
        const bool held = access(stranger, sid("S-1-22-2-54322"), 0050) == 5;
        const bool not_held = access(stranger, sid("S-1-22-2-54323"), 0050) == 0;
        const bool dropped = seteuid(12345) == 0 && access(me, strangers, 0700) == 0 &&
                             access(sid("S-1-22-1-12345"), strangers, 0700) == 7;
        _exit((held ? 0 : 1) | (not_held ? 0 : 2) | (dropped ? 0 : 4));
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(TbsAccessFstat, FailsForNull) {
    const tbs_fstat_db_t record = db_sample();
    uint32_t answer = 99;
    int error = 0;
    EXPECT_EQ(tbs_access_fstat(nullptr, &answer, &error), 1);
    EXPECT_EQ(error, 22);
    error = 0;
    EXPECT_EQ(tbs_access_fstat(&record, nullptr, &error), 1);
    EXPECT_EQ(error, 22);
    EXPECT_EQ(tbs_access_fstat(&record, &answer, nullptr), 1);
    EXPECT_EQ(answer, 99u);
}

TEST_F(TbsAccessFstat, WithoutCredentialsTheAnswerIsUntouched) {
    tbs_fstat_db_t record = db_sample();
    record.usid = me;
    record.mode = 0600;
    const int points = faults::each_allocation([&](int, bool) {
        {
            const faults::suspend unrefused;
            credutl_flush_accounts();
        }
        uint32_t answer = 99;
        int error = -7;
        const tbs_boolean_t failed = tbs_access_fstat(&record, &answer, &error);
        const faults::suspend unrefused;
        EXPECT_EQ(error, failed ? 22 : -7);
        EXPECT_EQ(answer, failed ? 99u : 6u);
    });
    EXPECT_GT(points, 2);
}

// ---- permission words

TEST(TbsModeMapping, KeepsTheBitsOfAPermissionWord) {
    EXPECT_EQ(tbs_mode_t_to_fmode_t(0100644), 0644u);
    EXPECT_EQ(tbs_mode_t_to_fmode_t(041777), 0777u);
    EXPECT_EQ(tbs_mode_t_to_fmode_t(07777), 06777u);
    EXPECT_EQ(tbs_mode_t_to_fmode_t(0xFFFFFFFFu), 0xDFFu);
    EXPECT_EQ(tbs_fmode_t_to_mode_t(06755), 06755u);
    EXPECT_EQ(tbs_fmode_t_to_mode_t(0x200), 0u);
    EXPECT_EQ(tbs_fmode_t_to_mode_t(0xFFFFFFFEu), 0xDFEu);
    EXPECT_EQ(tbs_fmode_t_to_mode_t(TBS_FMODE_NONE), 0xFFFFFFFFu);
    for (uint32_t mode = 0; mode <= 0xFFFF; mode++) {
        ASSERT_EQ(tbs_mode_t_to_fmode_t(mode), mode & 0xDFF);
        ASSERT_EQ(tbs_fmode_t_to_mode_t(mode), mode & 0xDFF);
    }
}

class scoped_umask {
public:
    explicit scoped_umask(mode_t mask) : before_(::umask(mask)) {}
    ~scoped_umask() { ::umask(before_); }
    scoped_umask(const scoped_umask &) = delete;
    scoped_umask &operator=(const scoped_umask &) = delete;

private:
    mode_t before_;
};

TEST(TbsUmaskFmode, TakesWhatTheMaskDenies) {
    for (const uint32_t mask : {0u, 022u, 077u, 0777u, 02u, 0123u}) {
        const scoped_umask set(mask);
        SCOPED_TRACE(mask);
        EXPECT_EQ(tbs_umask_fmode(0777), 0777 & ~mask);
        EXPECT_EQ(tbs_umask_fmode(06751), 06751 & ~mask);
        EXPECT_EQ(tbs_umask_fmode(0), 0u);
        EXPECT_EQ(tbs_umask_fmode(UINT32_MAX), ~mask); // bits that are no permission stay
        EXPECT_EQ(::umask(mask), mask);                // and so does the mask
    }
}

TEST(TbsFmodeMakeWritable, WriteFollowsReadClassByClass) {
    struct row {
        uint32_t mask, mode, writable;
    };
    constexpr row rows[] = {
        {0, 0x124, 0x1B6},  {022, 0x124, 0x1A4}, {0, 0, 0200},      {0, 0440, 0660},
        {0, 0404, 0606},    {0, 0111, 0311},     {0, 0010, 0210},   {0, 0700, 0700},
        {0200, 0444, 0466}, {077, 0444, 0600},   {0777, 0777, 0},   {0, 06555, 06777},
        {0, 0040, 0260},    {0, 0004, 0206},     {002, 0444, 0664}, {022, 06755, 06755},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.mode);
        const scoped_umask set(r.mask);
        EXPECT_EQ(tbs_fmode_make_writable(r.mode), r.writable);
    }
}

TEST(TbsUmaskFmodeDeathTest, AMaskThatCannotBeReadEndsTheProcess) {
    const auto without_descriptors = [](auto call) {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        call(0644u);
    };
    const char *const message =
        "Assertion failed: sysutl_get_umask\\(&mask\\) == KS_ST_OK \\(lib/tbs/tbs_fstat:595\\)";
    EXPECT_DEATH(without_descriptors(tbs_umask_fmode), message);
    EXPECT_DEATH(without_descriptors(tbs_fmode_make_writable), message);
}

} // namespace
