#include "ks/ks_compress.h"

#include "ks/ks_errno.h"
#include "ks/ks_stg.h"
#include "support/faults.hpp"
#include "support/memory_meter.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using bytes = std::vector<uint8_t>;

constexpr size_t untouched = 0xA5A5A5A5;

// What one of the functions gives; nothing when it fails, and its error is kept then.
template <class F> std::optional<bytes> result_of(F function, const bytes &from) {
    size_t size = untouched;
    ks_errno = 0;
    void *made = function(from.data(), from.size(), &size);
    const faults::suspend unrefused;
    if (!made) {
        EXPECT_NE(ks_errno, 0);
        EXPECT_EQ(size, untouched);
        return std::nullopt;
    }
    const auto *first = static_cast<const uint8_t *>(made);
    bytes all(first, first + size);
    stg_free(made);
    return all;
}

std::optional<bytes> compressed(const bytes &content) { return result_of(compress_compress, content); }

std::optional<bytes> whole(const bytes &frame) { return result_of(compress_uncompress, frame); }

// The error of a frame that is refused; 0 for one that is not.
int error_of(const bytes &frame) { return whole(frame) ? 0 : ks_errno; }

bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }

bytes noise(size_t size, unsigned seed = 1) {
    std::mt19937 random(seed);
    bytes all(size);
    for (uint8_t &byte : all) byte = static_cast<uint8_t>(random());
    return all;
}

// Lines such as a build prints, of which no two are equal.
bytes lines(size_t size) {
    std::string all;
    for (uint32_t i = 0; all.size() < size; i++)
        all += "cc -c -O2 /vobs/gauge/part" + std::to_string(i * 7919) + ".c\n";
    all.resize(size);
    return bytes_of(all);
}

const bytes magic = {0x28, 0xB5, 0x2F, 0xFD};

bytes operator+(bytes left, const bytes &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

constexpr size_t largest_block = 128 * 1024;

// A block of one byte repeated.
bytes repeated(uint8_t byte, size_t times, bool is_last) {
    const size_t header = times << 3 | 1u << 1 | size_t{is_last};
    return {static_cast<uint8_t>(header), static_cast<uint8_t>(header >> 8), static_cast<uint8_t>(header >> 16),
            byte};
}

// A block of bytes as they are.
bytes stored(const bytes &content, bool is_last) {
    const size_t header = content.size() << 3 | size_t{is_last};
    return bytes{static_cast<uint8_t>(header), static_cast<uint8_t>(header >> 8),
                 static_cast<uint8_t>(header >> 16)} +
           content;
}

// A frame of @p blocks full blocks of zeros, with this header behind its magic number.
bytes zeros(const bytes &header, size_t blocks) {
    bytes frame = magic + header;
    for (size_t i = 1; i <= blocks; i++) frame = std::move(frame) + repeated(0, largest_block, i == blocks);
    return frame;
}

const bytes window_128_kib = {0x00, 0x38}; // no size of the content

// ---- round trips

TEST(CompressCompress, IsUndoneByCompressUncompress) {
    const bytes contents[] = {{}, {0}, {0xFF}, bytes_of("gauge.c"), noise(1000), lines(100'000), bytes(65'536, 'x')};
    for (const bytes &content : contents) {
        SCOPED_TRACE(content.size());
        const auto frame = compressed(content);
        ASSERT_TRUE(frame);
        EXPECT_TRUE(std::equal(magic.begin(), magic.end(), frame->begin()));
        EXPECT_EQ(whole(*frame), content);
    }
}

TEST(CompressCompress, TakesTenMegabytes) {
    for (const bytes &content : {noise(10 << 20), lines(10 << 20)}) {
        const auto frame = compressed(content);
        ASSERT_TRUE(frame);
        EXPECT_TRUE(whole(*frame) == content);
    }
}

TEST(CompressCompress, MakesNothingThatIsRefusedAsTooLarge) {
    for (const size_t size : {size_t{65'537}, size_t{10} << 20, size_t{COMPRESS_MOST_FROM_LITTLE}}) {
        SCOPED_TRACE(size);
        const bytes content(size, 'x');
        const auto frame = compressed(content);
        ASSERT_TRUE(frame);
        EXPECT_TRUE(whole(*frame) == content) << frame->size() << " bytes, error " << ks_errno;
    }
}

// In blocks as large as they may be this would take less than a thousandth.
TEST(CompressCompress, TakesEvenContentBeyondWhatALittleFrameMayHold) {
    const bytes content(COMPRESS_MOST_FROM_LITTLE + 1, 'x');
    const auto frame = compressed(content);
    ASSERT_TRUE(frame);
    EXPECT_LT(frame->size() * 900, content.size());
    EXPECT_TRUE(whole(*frame) == content) << frame->size() << " bytes, error " << ks_errno;
}

TEST(CompressCompress, MakesTextSmaller) {
    const auto frame = compressed(lines(100'000));
    ASSERT_TRUE(frame);
    EXPECT_LT(frame->size(), 30'000u);
}

TEST(CompressCompress, TellsTheSizeOfTheContent) {
    // One segment, the size in one byte; then a block of seven bytes as they are.
    const bytes golden = magic + bytes{0x20, 7} + stored(bytes_of("gauge.c"), true);
    EXPECT_EQ(compressed(bytes_of("gauge.c")), golden);
    EXPECT_EQ(compressed({}), magic + (bytes{0x20, 0} + stored({}, true)));
}

TEST(CompressCompress, GivesTheSameBytesEachTime) { EXPECT_EQ(compressed(lines(50'000)), compressed(lines(50'000))); }

TEST(CompressCompress, RefusesMoreThanItsLimit) {
    // Never read: the size alone decides.
    const char byte = 0;
    size_t size = untouched;
    ks_errno = 0;
    EXPECT_EQ(compress_compress(&byte, size_t{COMPRESS_MOST_CONTENT} + 1, &size), nullptr);
    EXPECT_EQ(ks_errno, KS_EFBIG);
    ks_errno = 0;
    EXPECT_EQ(compress_compress(&byte, SIZE_MAX, &size), nullptr);
    EXPECT_EQ(ks_errno, KS_EFBIG);
    EXPECT_EQ(size, untouched);
}

RC_GTEST_PROP(CompressProperties, EveryContentSurvives, (const bytes &content)) {
    const auto frame = compressed(content);
    RC_ASSERT(frame.has_value());
    RC_ASSERT(whole(*frame) == content);
}

// ---- nulls

TEST(CompressCompress, RefusesNullsButForNoBytes) {
    const char byte = 'x';
    size_t size = untouched;
    const auto refuses = [&](const void *content, size_t count, size_t *size_out) {
        ks_errno = 0;
        return compress_compress(content, count, size_out) == nullptr && ks_errno == KS_EINVAL;
    };
    EXPECT_TRUE(refuses(nullptr, 1, &size));
    EXPECT_TRUE(refuses(&byte, 1, nullptr));
    EXPECT_TRUE(refuses(nullptr, 0, nullptr));
    EXPECT_EQ(size, untouched);
    void *frame = compress_compress(nullptr, 0, &size);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(size, 9u);
    stg_free(frame);
}

TEST(CompressUncompress, RefusesNulls) {
    const bytes frame = *compressed(bytes_of("x"));
    size_t size = untouched;
    const auto refuses = [&](const void *from, size_t count, size_t *size_out) {
        ks_errno = 0;
        return compress_uncompress(from, count, size_out) == nullptr && ks_errno == KS_EINVAL;
    };
    EXPECT_TRUE(refuses(nullptr, 0, &size));
    EXPECT_TRUE(refuses(nullptr, frame.size(), &size));
    EXPECT_TRUE(refuses(frame.data(), frame.size(), nullptr));
    EXPECT_TRUE(refuses(frame.data(), 0, &size));
    EXPECT_EQ(size, untouched);
}

// ---- frames that are not whole

TEST(CompressUncompress, RefusesEveryPrefix) {
    for (const bytes &content : {bytes{}, bytes_of("gauge.c"), lines(5000), noise(300), bytes(50'000, 'x')}) {
        const bytes frame = *compressed(content);
        for (size_t length = 0; length < frame.size(); length++) {
            const bytes cut(frame.begin(), frame.begin() + static_cast<ptrdiff_t>(length));
            EXPECT_EQ(error_of(cut), KS_EINVAL) << length << " of " << frame.size();
        }
    }
}

TEST(CompressUncompress, RefusesTheEndOfALongFrame) {
    const bytes frame = *compressed(lines(1 << 20));
    for (const size_t missing : {1, 2, 3, 4, 100}) {
        EXPECT_EQ(error_of({frame.begin(), frame.end() - static_cast<ptrdiff_t>(missing)}), KS_EINVAL);
    }
}

TEST(CompressUncompress, RefusesBytesBehindAFrame) {
    for (const bytes &content : {bytes{}, bytes_of("gauge.c"), lines(5000), lines(65'536)}) {
        const bytes frame = *compressed(content);
        EXPECT_EQ(error_of(frame + bytes{0}), KS_EINVAL);
        EXPECT_EQ(error_of(frame + magic), KS_EINVAL);
        EXPECT_EQ(error_of(frame + frame), KS_EINVAL);
    }
}

TEST(CompressUncompress, RefusesWhatIsNoFrame) {
    EXPECT_EQ(error_of({}), KS_EINVAL);
    EXPECT_EQ(error_of({0}), KS_EINVAL);
    EXPECT_EQ(error_of(bytes(100, 0)), KS_EINVAL);
    EXPECT_EQ(error_of(lines(100)), KS_EINVAL);
    EXPECT_EQ(error_of(noise(1000)), KS_EINVAL);
    EXPECT_EQ(error_of({0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0}), KS_EINVAL);
}

TEST(CompressUncompress, RefusesDamage) {
    const bytes good = magic + (window_128_kib + stored(bytes_of("gauge"), true));
    ASSERT_EQ(whole(good), bytes_of("gauge"));
    EXPECT_EQ(error_of(magic + bytes{0x00, 0x38, 0x07, 0, 0}), KS_EINVAL);    // reserved kind of block
    EXPECT_EQ(error_of(magic + bytes{0x08, 0x38, 0x01, 0, 0}), KS_EINVAL);    // reserved bit of the header
    EXPECT_EQ(error_of(magic + bytes{0x01, 0x38, 9, 0x01, 0, 0}), KS_EINVAL); // of a dictionary that nobody has
    EXPECT_EQ(error_of(magic + (bytes{0x20, 6} + stored(bytes_of("gauge"), true))), KS_EINVAL); // less than it tells
    EXPECT_EQ(error_of(magic + (bytes{0x20, 4} + stored(bytes_of("gauge"), true))), KS_EINVAL); // more
    EXPECT_EQ(error_of(magic + (window_128_kib + repeated(0, largest_block + 1, true))), KS_EINVAL);
}

TEST(CompressUncompress, SurvivesEveryFlippedBit) {
    for (const bytes &content : {lines(400), noise(40), bytes(5000, 'x')}) {
        const bytes frame = *compressed(content);
        for (size_t bit = 0; bit < frame.size() * 8; bit++) {
            bytes flipped = frame;
            flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
            const auto result = whole(flipped);
            EXPECT_TRUE(result || ks_errno == KS_EINVAL || ks_errno == KS_EFBIG) << bit << ": " << ks_errno;
        }
    }
}

// ---- frames of others

TEST(CompressUncompress, ReadsFramesOfOtherWriters) {
    const std::string line = "one fish, two fish, red fish, blue fish\n";
    const bytes content = bytes_of(line + line + line);
    // Written piece by piece, so that nobody knew the size when the frame began; the second with a checksum.
    const bytes streamed = {0x28, 0xb5, 0x2f, 0xfd, 0x00, 0x58, 0x14, 0x01, 0x00, 0xa0, 0x6f, 0x6e,
                            0x65, 0x20, 0x66, 0x69, 0x73, 0x68, 0x2c, 0x20, 0x74, 0x77, 0x6f, 0x72,
                            0x65, 0x64, 0x62, 0x6c, 0x75, 0x0a, 0x04, 0x00, 0xbd, 0x14, 0x12, 0x42,
                            0xe1, 0x01, 0xf2, 0xd0, 0xac, 0x7c, 0x01, 0x01, 0x00, 0x00};
    bytes checked = streamed + bytes{0x16, 0x2d, 0x5c, 0x47};
    checked[4] = 0x04;
    checked[5] = 0x68;
    EXPECT_EQ(whole(streamed), content);
    EXPECT_EQ(whole(checked), content);
    checked.back() ^= 1;
    EXPECT_EQ(error_of(checked), KS_EINVAL);
    EXPECT_EQ(error_of(streamed + bytes{0}), KS_EINVAL);
}

TEST(CompressUncompress, ReadsBlocksOfEveryKind) {
    const bytes frame =
        magic + (window_128_kib + (stored(bytes_of("ab"), false) + (stored({}, false) + repeated('c', 3, true))));
    EXPECT_EQ(whole(frame), bytes_of("abccc"));
}

// ---- limits

// A frame of so many bytes at least, of so much content.
bytes sized(size_t size, size_t content) {
    bytes frame = magic + window_128_kib;
    while (frame.size() < size) frame.insert(frame.end(), 3, 0); // blocks of nothing
    for (; content > largest_block; content -= largest_block) {
        const bytes block = repeated(7, largest_block, false);
        frame.insert(frame.end(), block.begin(), block.end());
    }
    return frame + repeated(7, content, true);
}

TEST(CompressUncompress, MakesSixteenMebibytesOfAnyFrame) {
    const size_t most = COMPRESS_MOST_FROM_LITTLE;
    EXPECT_TRUE(whole(sized(0, most)) == bytes(most, 7));
    EXPECT_EQ(error_of(sized(0, most + 1)), KS_EFBIG);
    EXPECT_EQ(error_of(sized(0, 2 * most)), KS_EFBIG);
}

TEST(CompressUncompress, MakesAThousandTimesALargerFrame) {
    const size_t most = sized(20'000, 20'000'000).size() * COMPRESS_MOST_RATIO;
    const bytes frame = sized(20'000, most);
    ASSERT_GE(frame.size() * COMPRESS_MOST_RATIO, most);
    const size_t just = frame.size() * COMPRESS_MOST_RATIO;
    ASSERT_EQ(sized(20'000, just).size(), frame.size());
    EXPECT_TRUE(whole(sized(20'000, just)) == bytes(just, 7));
    EXPECT_EQ(error_of(sized(20'000, just + 1)), KS_EFBIG);
}

TEST(CompressUncompress, RefusesAGigabyteFromAKilobyteInBoundedMemory) {
    const bytes claim = {0, 0, 0, 0x40, 0, 0, 0, 0};
    const struct {
        const char *name;
        bytes frame;
        int error = KS_EFBIG;
    } bombs[] = {
        {"claimed, and not there", magic + (bytes{0xC0, 0x38} + claim) + bytes(1000, 0x5A), KS_EINVAL},
        {"claimed in one segment, and not there", magic + (bytes{0xE0} + claim) + bytes(1000, 0x5A)},
        {"claimed, and begun", zeros(bytes{0xC0, 0x38} + claim, 250)},
        {"claimed in one segment, and begun", zeros(bytes{0xE0} + claim, 250)},
        {"made", zeros(window_128_kib, 8192)},
        {"made with a window of 8 MiB", zeros({0x00, 0x68}, 250)},
        {"made with a window of 2 GiB", zeros({0x00, 0xA8}, 250)},
    };
    for (const auto &[name, frame, error] : bombs) {
        SCOPED_TRACE(name);
        size_t size = untouched;
        ks_errno = 0;
        const memory_meter meter;
        EXPECT_EQ(compress_uncompress(frame.data(), frame.size(), &size), nullptr);
        EXPECT_EQ(ks_errno, error);
        // Twice the content that is allowed, and what the decompressor keeps.
        const size_t allowed = std::max<size_t>(COMPRESS_MOST_FROM_LITTLE, COMPRESS_MOST_RATIO * frame.size());
        EXPECT_LE(meter.peak(), 2 * allowed + (10u << 20));
        EXPECT_EQ(size, untouched);
    }
}

TEST(CompressUncompress, TakesMemoryAsContentArrives) {
    const bytes frame = *compressed(noise(1 << 20));
    size_t size = 0;
    const memory_meter meter;
    void *content = compress_uncompress(frame.data(), frame.size(), &size);
    EXPECT_EQ(size, size_t{1} << 20);
    EXPECT_LE(meter.peak(), 6u << 20);
    stg_free(content);
}

// ---- no memory

TEST(CompressFunctions, SurviveEveryRefusedAllocation) {
    const bytes content = lines(300'000), frame = *compressed(content);
    const auto in_compress = faults::each_allocation([&](int, bool) {
        const auto made = compressed(content);
        const faults::suspend unrefused;
        if (made) {
            EXPECT_TRUE(*made == frame);
        } else {
            EXPECT_EQ(ks_errno, KS_ENOMEM);
        }
    });
    EXPECT_EQ(in_compress, 1);
    const auto in_uncompress = faults::each_allocation([&](int, bool) {
        size_t size = untouched;
        void *made = compress_uncompress(frame.data(), frame.size(), &size);
        const faults::suspend unrefused;
        if (made) {
            EXPECT_EQ(size, content.size());
            EXPECT_EQ(std::memcmp(made, content.data(), size), 0);
            stg_free(made);
        } else {
            EXPECT_EQ(ks_errno, KS_ENOMEM);
            EXPECT_EQ(size, untouched);
        }
    });
    EXPECT_EQ(in_uncompress, 4); // 64 KiB, and three times twice as much
}

} // namespace
