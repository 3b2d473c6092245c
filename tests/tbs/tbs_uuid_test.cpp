#include "ks/ks_uuid.h"
#include "support/sink.hpp"
#include "tbs/tbs_uuid.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cstring>
#include <dlfcn.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <random>
#include <set>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

thread_local int creation_failure = 0; // when not 0, what the system answers

} // namespace

extern "C" [[gnu::visibility("default")]] int UuidCreate(ks_uuid_t *uuid_out) noexcept {
    static const auto next = reinterpret_cast<decltype(&UuidCreate)>(dlsym(RTLD_NEXT, "UuidCreate"));
    if (creation_failure == 0) return next(uuid_out);
    std::memset(uuid_out, 0x5A, sizeof *uuid_out);
    return creation_failure;
}

namespace {

constexpr tbs_uuid_t sample = {0x12345678, 0x9abc, 0x1def, 0x8a, 0x12, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
constexpr char dotted[] = "12345678.9abc1def.8a12.00:11:22:33:44:55";
constexpr char dense[] = "123456789abc1def8a12001122334455";

std::string to_str(const tbs_uuid_t *uuid) {
    char text[TBS_UUID_STR_SIZE];
    return tbs_uuid_to_str(uuid, text);
}
std::string to_dstr(const tbs_uuid_t *uuid) {
    char text[TBS_UUID_STR_SIZE];
    return tbs_uuid_to_dstr(uuid, text);
}

bool same(const tbs_uuid_t &a, const tbs_uuid_t &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

tbs_uuid_t from_bytes(const std::vector<uint8_t> &bytes) {
    tbs_uuid_t uuid;
    std::memcpy(&uuid, bytes.data(), sizeof uuid);
    return uuid;
}

rc::Gen<tbs_uuid_t> any_uuid() {
    return rc::gen::map(rc::gen::container<std::vector<uint8_t>>(16, rc::gen::arbitrary<uint8_t>()), from_bytes);
}

// What the C scanner makes of a text.
struct scanned {
    explicit scanned(const char *text) {
        unsigned low = 0;
        unsigned short v[9] = {};
        int fields = std::sscanf(text, "%08x.%04hx%04hx.%04hx.%02hx:%02hx:%02hx:%02hx:%02hx:%02hx", &low, &v[0],
                                 &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8]);
        if (fields != 10) {
            fields = std::sscanf(text, "%08x%04hx%04hx%04hx%02hx%02hx%02hx%02hx%02hx%02hx", &low, &v[0], &v[1], &v[2],
                                 &v[3], &v[4], &v[5], &v[6], &v[7], &v[8]);
        }
        ok = fields == 10;
        uuid.time_low = low;
        uuid.time_mid = v[0];
        uuid.time_hi_and_version = v[1];
        uuid.clock_seq_hi_and_reserved = static_cast<uint8_t>(v[2] >> 8);
        uuid.clock_seq_low = static_cast<uint8_t>(v[2]);
        for (int i = 0; i < 6; i++) uuid.node[i] = static_cast<uint8_t>(v[3 + i]);
    }
    bool ok;
    tbs_uuid_t uuid{};
};

void expect_as_scanned(const char *text) {
    const scanned expected(text);
    tbs_uuid_t uuid{};
    const tbs_status_t status = tbs_str_to_uuid(text, &uuid);
    ASSERT_EQ(status, expected.ok ? 0 : TBS_ST_ERROR) << '"' << text << '"';
    if (expected.ok) {
        ASSERT_TRUE(same(uuid, expected.uuid)) << '"' << text << "\" " << to_str(&uuid);
    }
}

TEST(TbsUuidNull, IsSixteenZeroBytes) {
    const tbs_uuid_t zero{};
    EXPECT_TRUE(same(TBS_UUID_NULL, zero));
    EXPECT_EQ(std::memcmp(&TBS_OID_NULL, &zero, sizeof zero), 0);
    EXPECT_EQ(to_str(&TBS_UUID_NULL), "00000000.00000000.0000.00:00:00:00:00:00");
    EXPECT_EQ(to_dstr(&TBS_UUID_NULL), std::string(32, '0'));
    EXPECT_EQ(tbs_uuid_to_hash32(&TBS_UUID_NULL), 0u);
    time_t time = 5;
    EXPECT_EQ(tbs_uuid_to_time(&TBS_UUID_NULL, &time), TBS_ST_NOT_FOUND);
    EXPECT_EQ(time, 5);
}

TEST(TbsUuidToStr, WritesBothForms) {
    EXPECT_EQ(to_str(&sample), dotted);
    EXPECT_EQ(to_dstr(&sample), dense);
    EXPECT_EQ(std::strlen(dotted) + 1, size_t{TBS_UUID_STR_SIZE});
}

TEST(TbsUuidToStr, GivesTheBufferBack) {
    char text[TBS_UUID_STR_SIZE];
    EXPECT_EQ(tbs_uuid_to_str(&sample, text), text);
    EXPECT_EQ(tbs_uuid_to_dstr(&sample, text), text);
    EXPECT_EQ(tbs_uuid_to_str(&sample, nullptr), nullptr);
}

TEST(TbsUuidToStr, WritesNullInBothForms) {
    EXPECT_EQ(to_str(nullptr), "(NULL)");
    EXPECT_EQ(to_dstr(nullptr), "(NULL)");
}

RC_GTEST_PROP(TbsUuidToStr, WritesWhatPrintfWrites, ()) {
    const tbs_uuid_t uuid = *any_uuid();
    const uint8_t *n = uuid.node;
    char dotted_text[64], dense_text[64];
    std::snprintf(dotted_text, sizeof dotted_text, "%08x.%04hx%04hx.%02x%02x.%02x:%02x:%02x:%02x:%02x:%02x",
                  uuid.time_low, uuid.time_mid, uuid.time_hi_and_version, uuid.clock_seq_hi_and_reserved,
                  uuid.clock_seq_low, n[0], n[1], n[2], n[3], n[4], n[5]);
    std::snprintf(dense_text, sizeof dense_text, "%08x%04hx%04hx%02x%02x%02x%02x%02x%02x%02x%02x", uuid.time_low,
                  uuid.time_mid, uuid.time_hi_and_version, uuid.clock_seq_hi_and_reserved, uuid.clock_seq_low, n[0],
                  n[1], n[2], n[3], n[4], n[5]);
    RC_ASSERT(to_str(&uuid) == dotted_text);
    RC_ASSERT(to_dstr(&uuid) == dense_text);
}

RC_GTEST_PROP(TbsStrToUuid, ReadsBothFormsBack, ()) {
    const tbs_uuid_t uuid = *any_uuid();
    for (const std::string &text : {to_str(&uuid), to_dstr(&uuid)}) {
        for (const auto read : {tbs_str_to_uuid, tbs_dstr_to_uuid}) {
            tbs_uuid_t back{};
            RC_ASSERT(read(text.c_str(), &back) == 0);
            RC_ASSERT(same(back, uuid));
        }
    }
}

TEST(TbsStrToUuid, IgnoresWhatFollowsAndSkipsBlanksBefore) {
    const std::string texts[] = {std::string(dotted) + "66 and more", "  \n\t" + std::string(dense) + "0",
                                 "12345678.9ABC1DEF.8A12.00:11:22:33:44:55x"};
    for (const std::string &text : texts) {
        tbs_uuid_t uuid{};
        EXPECT_EQ(tbs_str_to_uuid(text.c_str(), &uuid), 0) << text;
        EXPECT_TRUE(same(uuid, sample)) << text;
    }
}

TEST(TbsStrToUuid, RefusesNineFields) {
    for (const char *text : {"12345678.9abc1def.8a12.00:11:22:33:44", "12345678.9abc1def.8a12.00:11:22:33:44:",
                             "123456789abc1def8a120011223344", "", " ", "(NULL)", "12345678", "zzz"}) {
        tbs_uuid_t uuid{};
        EXPECT_EQ(tbs_str_to_uuid(text, &uuid), TBS_ST_ERROR) << text;
        EXPECT_EQ(tbs_dstr_to_uuid(text, &uuid), TBS_ST_ERROR) << text;
    }
}

TEST(TbsStrToUuid, ReadsEveryMutatedTextAsTheScannerDoes) {
    std::mt19937 random(20261121);
    const std::string alphabet = "0123456789abcdefABCDEFxX.:+- \t\ng\x80";
    const auto pick = [&](size_t n) { return static_cast<size_t>(random() % n); };
    for (int round = 0; round < 100'000; round++) {
        std::string text = round % 2 ? dotted : dense;
        for (size_t changes = pick(4); changes-- > 0;) {
            const size_t at = pick(text.size() + 1);
            const char c = alphabet[pick(alphabet.size())];
            switch (pick(4)) {
            case 0: text.insert(at, 1, c); break;
            case 1: text.erase(std::min(at, text.size()), 1); break;
            case 2: text.resize(at); break;
            default:
                if (at < text.size()) text[at] = c;
            }
        }
        ASSERT_NO_FATAL_FAILURE(expect_as_scanned(text.c_str()));
    }
}

TEST(TbsStrToUuid, ReadsSignsAndPrefixesAsTheScannerDoes) {
    for (const char *text : {"0x345678.9abc1def.8a12.00:11:22:33:44:55", "-2345678.9abc1def.8a12.00:11:22:33:44:55",
                             "+1.2 3.4.5:6:7:8:9:a", "1.2 -3.4.0x5:6:7:8:9:a", " 1 2 3 4 5 6 7 8 9 a",
                             "0x1 0x2 0x3 4 5 6 7 8 9 a", "12345678 .9abc1def.8a12.00:11:22:33:44:55"}) {
        ASSERT_NO_FATAL_FAILURE(expect_as_scanned(text));
    }
}

TEST(TbsUuidGen, MakesRandomStandardIdentifiers) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; i++) {
        tbs_uuid_t uuid = sample;
        ASSERT_EQ(tbs_uuid_gen(&uuid), 0);
        EXPECT_EQ(uuid.time_hi_and_version >> 12, 4);
        EXPECT_EQ(uuid.clock_seq_hi_and_reserved & 0xC0, 0x80);
        EXPECT_TRUE(seen.insert(to_str(&uuid)).second);
    }
    EXPECT_EQ(tbs_uuid_gen(nullptr), TBS_ST_EINVAL);
}

TEST(TbsUuidGen, FailsAlsoForAnIdentifierThatIsUniqueOnThisHostOnly) {
    constexpr int local_only = 1824;
    creation_failure = local_only;
    recording_sink sink;
    tbs_uuid_t uuid = sample;
    EXPECT_EQ(tbs_uuid_gen(&uuid), TBS_ST_ERROR);
    creation_failure = 0;
    EXPECT_TRUE(same(uuid, from_bytes(std::vector<uint8_t>(16, 0x5A)))) << "what the system gave all the same";
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].severity, IMSG_ERROR);
    EXPECT_EQ(messages[0].text, "Can't generate a UUID (possible network/adapter configuration problem) - "
                                "UuidCreate error 1824\n");
}

TEST(TbsUuidGen, GivesEveryThreadItsOwnIdentifiers) {
    constexpr size_t threads = 8, each = 2000;
    std::vector<tbs_uuid_t> made(threads * each);
    std::vector<std::thread> makers;
    for (size_t t = 0; t < threads; t++) {
        makers.emplace_back([&, t] {
            for (size_t i = 0; i < each; i++) tbs_uuid_gen(&made[t * each + i]);
        });
    }
    for (std::thread &maker : makers) maker.join();
    std::set<std::string> seen;
    for (const tbs_uuid_t &uuid : made) seen.insert(to_dstr(&uuid));
    EXPECT_EQ(seen.size(), made.size());
}

TEST(TbsUuidGen, GivesParentAndChildDifferentIdentifiers) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    tbs_uuid_t mine{}, theirs{};
    tbs_uuid_gen(&mine);
    if (child == 0) _exit(write(ends[1], &mine, sizeof mine) == sizeof mine ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(read(ends[0], &theirs, sizeof theirs), static_cast<ssize_t>(sizeof theirs));
    EXPECT_FALSE(same(mine, theirs));
    close(ends[0]);
    close(ends[1]);
}

// Makes getrandom fail with EIO in the calling process from now on.
bool refuse_randomness() {
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, 0), // the number of the system call
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_getrandom, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | 5),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog program = {sizeof code / sizeof *code, code};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(TbsUuidGenDeathTest, ReportsASystemWithoutRandomness) {
    EXPECT_EXIT(
        {
            tbs_uuid_t uuid = sample;
            if (!refuse_randomness()) _exit(99);
            _exit(tbs_uuid_gen(&uuid) == TBS_ST_ERROR && same(uuid, sample) ? 0 : 1);
        },
        testing::ExitedWithCode(0),
        R"(tbs: Error: Can't generate a UUID \(possible network/adapter configuration problem\) - UuidCreate error 5)");
}

TEST(TbsUuidEq, ComparesAllSixteenBytes) {
    EXPECT_TRUE(tbs_uuid_eq(&sample, &sample));
    for (size_t i = 0; i < sizeof sample; i++) {
        tbs_uuid_t other = sample;
        reinterpret_cast<uint8_t *>(&other)[i] ^= 1;
        EXPECT_FALSE(tbs_uuid_eq(&sample, &other)) << i;
    }
    EXPECT_TRUE(tbs_uuid_eq(nullptr, nullptr));
    EXPECT_FALSE(tbs_uuid_eq(&sample, nullptr));
    EXPECT_FALSE(tbs_uuid_eq(nullptr, &sample));
}

TEST(TbsUuidCmp, OrdersByTimestampFirst) {
    const tbs_uuid_t late_high = {0, 0, 0x1002, 0x80, 0, {}};
    const tbs_uuid_t late_mid = {0, 9, 0xF001, 0x80, 0, {}};
    const tbs_uuid_t late_low = {9, 8, 0xF001, 0xFF, 0xFF, {}};
    const tbs_uuid_t early = {8, 8, 0x1001, 0xFF, 0xFF, {}};
    const tbs_uuid_t *ascending[] = {nullptr, &early, &late_low, &late_mid, &late_high};
    for (size_t i = 0; i < std::size(ascending); i++) {
        for (size_t j = 0; j < std::size(ascending); j++) {
            const int order = tbs_uuid_cmp(ascending[i], ascending[j]);
            EXPECT_EQ(order < 0, i < j);
            EXPECT_EQ(order == 0, i == j);
        }
    }
}

TEST(TbsUuidCmp, BreaksTiesByTheBytesInMemory) {
    tbs_uuid_t other = sample;
    other.time_hi_and_version = 0x4def; // another version, the same time
    EXPECT_EQ(tbs_uuid_cmp(&sample, &other) < 0, std::memcmp(&sample, &other, sizeof other) < 0);
    EXPECT_NE(tbs_uuid_cmp(&sample, &other), 0);
    other = sample;
    other.node[5]++;
    EXPECT_LT(tbs_uuid_cmp(&sample, &other), 0);
    EXPECT_GT(tbs_uuid_cmp(&other, &sample), 0);
}

RC_GTEST_PROP(TbsUuidCmp, IsATotalOrder, ()) {
    // Few values a byte, so that ties at every stage happen.
    const auto few = rc::gen::map(
        rc::gen::container<std::vector<uint8_t>>(16, rc::gen::element<uint8_t>(0, 1, 0x10, 0xFF)), from_bytes);
    const tbs_uuid_t a = *few, b = *few, c = *few;
    const auto sign = [](int n) { return (n > 0) - (n < 0); };
    RC_ASSERT(tbs_uuid_cmp(&a, &a) == 0);
    RC_ASSERT(sign(tbs_uuid_cmp(&a, &b)) == -sign(tbs_uuid_cmp(&b, &a)));
    RC_ASSERT((tbs_uuid_cmp(&a, &b) == 0) == static_cast<bool>(tbs_uuid_eq(&a, &b)));
    if (tbs_uuid_cmp(&a, &b) <= 0 && tbs_uuid_cmp(&b, &c) <= 0) RC_ASSERT(tbs_uuid_cmp(&a, &c) <= 0);
}

TEST(TbsUuidToHash32, MixesAsPeersDo) {
    EXPECT_EQ(tbs_uuid_to_hash32(&sample), 0x1BC4F27Fu);
    EXPECT_EQ(tbs_uuid_to_hash32(nullptr), 0u);
}

RC_GTEST_PROP(TbsUuidToHash32, IsTheSumOfShiftedBytes, ()) {
    const tbs_uuid_t uuid = *any_uuid();
    uint8_t b[16];
    std::memcpy(b, &uuid, sizeof b);
    uint64_t s = (uint64_t{b[8]} << 26) + (uint64_t{b[15]} << 20) + (uint64_t{b[14]} << 16) +
                 (uint64_t{b[13]} << 12) + (uint64_t{b[12]} << 8) + (uint64_t{b[11]} << 4) + b[10] + b[9] +
                 uuid.time_hi_and_version + uuid.time_mid;
    s %= uint64_t{1} << 32;
    const uint64_t hash = s * 536870909u + (uuid.time_low >> 22) + (uuid.time_low >> 2);
    RC_ASSERT(tbs_uuid_to_hash32(&uuid) == static_cast<uint32_t>(hash));
}

TEST(TbsUuidToTime, KeepsTheEpochOfStoredTimes) {
    const tbs_uuid_t billion = {0x83424000, 0xa4c5, 0x11d5, 0x80, 0, {}};
    time_t time = 0;
    EXPECT_EQ(tbs_uuid_to_time(&billion, &time), 0);
    EXPECT_EQ(time, 1'000'000'000);
}

TEST(TbsUuidToTime, TruncatesTowardsZeroAndKeepsTheLow32Bits) {
    constexpr uint64_t epoch = 0x01B21DD313814000;
    const auto seconds_at = [](uint64_t ticks) {
        const tbs_uuid_t uuid = {static_cast<uint32_t>(ticks),
                                 static_cast<uint16_t>(ticks >> 32),
                                 static_cast<uint16_t>(0x1000 | (ticks >> 48 & 0xFFF)),
                                 0xBF,
                                 0,
                                 {}};
        time_t time = -1;
        EXPECT_EQ(tbs_uuid_to_time(&uuid, &time), 0);
        return time;
    };
    EXPECT_EQ(seconds_at(epoch), 0);
    EXPECT_EQ(seconds_at(epoch + 9'999'999), 0);
    EXPECT_EQ(seconds_at(epoch + 10'000'000), 1);
    EXPECT_EQ(seconds_at(epoch - 9'999'999), 0);
    EXPECT_EQ(seconds_at(epoch - 10'000'000), 0xFFFFFFFF);
    EXPECT_EQ(seconds_at(epoch + (uint64_t{1} << 32) * 10'000'000), 0);
}

TEST(TbsUuidToTime, KnowsOnlyTimeBasedStandardIdentifiers) {
    for (int version = 0; version < 16; version++) {
        for (int variant = 0; variant < 4; variant++) {
            tbs_uuid_t uuid = sample;
            uuid.time_hi_and_version = static_cast<uint16_t>(version << 12 | 0xdef);
            uuid.clock_seq_hi_and_reserved = static_cast<uint8_t>(variant << 6);
            time_t time = 77;
            const bool known = version == 1 && variant == 2;
            EXPECT_EQ(tbs_uuid_to_time(&uuid, &time), known ? 0 : TBS_ST_NOT_FOUND);
            EXPECT_EQ(time == 77, !known);
        }
    }
    time_t time = 77;
    EXPECT_EQ(tbs_uuid_to_time(nullptr, &time), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_uuid_to_time(&sample, nullptr), TBS_ST_EINVAL);
}

// A stream over a text.
struct text_stream {
    explicit text_stream(const std::string &text) : file(std::tmpfile()) {
        std::fwrite(text.data(), 1, text.size(), file);
        std::rewind(file);
    }
    ~text_stream() { std::fclose(file); }
    FILE *file;
};

TEST(TbsFscanfUuid, ReadsAWordAndLeavesTheNewlineUnlessTold) {
    for (const tbs_boolean_t skip : {0, 1}) {
        const text_stream stream(std::string(dotted) + "\n\n  next");
        char buffer[TBS_UUID_SCAN_SIZE] = "old";
        EXPECT_EQ(tbs_fscanf_uuid(stream.file, sizeof buffer, skip, buffer), 1);
        EXPECT_STREQ(buffer, dotted);
        EXPECT_EQ(std::fgetc(stream.file), skip ? 'n' : '\n');
    }
}

TEST(TbsFscanfUuid, ReadsNothingIntoABufferOfAtMostFiftyBytes) {
    const text_stream stream(dotted);
    char buffer[TBS_UUID_SCAN_SIZE];
    for (const size_t size : {0, 1, 50}) {
        std::strcpy(buffer, "old");
        EXPECT_EQ(tbs_fscanf_uuid(stream.file, size, 1, buffer), 0);
        EXPECT_STREQ(buffer, "");
        EXPECT_EQ(std::ftell(stream.file), 0);
    }
    EXPECT_EQ(tbs_fscanf_oid(stream.file, 51, 1, buffer), 1);
    EXPECT_STREQ(buffer, dotted);
}

TEST(TbsFscanfUuid, CutsAtFiftyCharactersAndTellsTheEnd) {
    const text_stream stream(std::string(60, 'a'));
    char buffer[TBS_UUID_SCAN_SIZE];
    EXPECT_EQ(tbs_fscanf_uuid(stream.file, sizeof buffer, 0, buffer), 1);
    EXPECT_EQ(std::string(buffer), std::string(50, 'a'));
    EXPECT_EQ(tbs_fscanf_uuid(stream.file, sizeof buffer, 0, buffer), 1);
    EXPECT_EQ(std::string(buffer), std::string(10, 'a'));
    EXPECT_EQ(tbs_fscanf_uuid(stream.file, sizeof buffer, 0, buffer), EOF);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(tbs_fscanf_uuid(nullptr, sizeof buffer, 0, buffer), 0);
    EXPECT_EQ(tbs_fscanf_uuid(stream.file, sizeof buffer, 0, nullptr), 0);
}

RC_GTEST_PROP(TbsOid, DoesWhatTheUuidDoes, ()) {
    const tbs_uuid_t a = *any_uuid(), b = *any_uuid();
    tbs_oid_t oid_a{}, oid_b{};
    tbs_uuid_to_oid(&a, &oid_a);
    tbs_uuid_to_oid(&b, &oid_b);
    RC_ASSERT(std::memcmp(&oid_a, &a, sizeof a) == 0);
    char text[TBS_UUID_STR_SIZE];
    RC_ASSERT(to_str(&a) == tbs_oid_to_str(&oid_a, text));
    RC_ASSERT(to_dstr(&a) == tbs_oid_to_dstr(&oid_a, text));
    for (const auto read : {tbs_str_to_oid, tbs_dstr_to_oid}) {
        tbs_oid_t back{};
        RC_ASSERT(read(to_str(&a).c_str(), &back) == 0);
        RC_ASSERT(std::memcmp(&back, &a, sizeof a) == 0);
    }
    RC_ASSERT(tbs_oid_eq(&oid_a, &oid_b) == tbs_uuid_eq(&a, &b));
    RC_ASSERT(tbs_oid_eq(&oid_a, &oid_a) == 1);
    RC_ASSERT((tbs_oid_cmp(&oid_a, &oid_b) < 0) == (tbs_uuid_cmp(&a, &b) < 0));
    RC_ASSERT(tbs_oid_to_hash32(&oid_a) == tbs_uuid_to_hash32(&a));
    tbs_uuid_t again{};
    tbs_oid_to_uuid(&oid_a, &again);
    RC_ASSERT(same(again, a));
}

TEST(TbsOid, RefusesWhatTheUuidRefuses) {
    tbs_oid_t oid{};
    char text[TBS_UUID_STR_SIZE];
    EXPECT_EQ(tbs_str_to_oid("no", &oid), TBS_ST_ERROR);
    EXPECT_EQ(tbs_str_to_oid(nullptr, &oid), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_dstr_to_oid(dense, nullptr), TBS_ST_EINVAL);
    EXPECT_STREQ(tbs_oid_to_str(nullptr, text), "(NULL)");
    EXPECT_STREQ(tbs_oid_to_dstr(nullptr, text), "(NULL)");
    EXPECT_EQ(tbs_oid_to_hash32(nullptr), 0u);
    EXPECT_LT(tbs_oid_cmp(nullptr, &oid), 0);
    EXPECT_FALSE(tbs_oid_eq(nullptr, &oid));
}

TEST(TbsOid, ConvertsInPlace) {
    tbs_uuid_t place = sample;
    tbs_uuid_to_oid(&place, reinterpret_cast<tbs_oid_t *>(&place));
    EXPECT_TRUE(same(place, sample));
    tbs_oid_to_uuid(nullptr, &place);
    tbs_uuid_to_oid(&place, nullptr);
    EXPECT_TRUE(same(place, sample));
}

} // namespace
