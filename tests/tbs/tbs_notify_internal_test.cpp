// Replies of a mail server in every division into pieces, and sources of texts that no function can name.
#include "internal/notify.hpp"
#include "internal/smtp_reply.hpp"
#include "support/sink.hpp"
#include "support/temp_dir.hpp"
#include "tbs/notify_test_support.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace notify_test;
using testing::ElementsAre, testing::IsEmpty, testing::StartsWith;

// What a socket receives: one piece a call, as much as is asked for, then an error or the end (0). Where a piece is
// empty nothing comes for a while.
struct pieces {
    std::vector<std::string> *left;
    int then;

    int operator()(char *buffer, size_t size, bool, size_t &received) const {
        if (left->empty()) {
            received = 0;
            return then;
        }
        std::string &first = left->front();
        received = first.copy(buffer, size);
        first.erase(0, received);
        if (first.empty()) left->erase(left->begin());
        return received == 0 ? KS_ETIMEDOUT : 0;
    }
};

class SmtpReply : public testing::Test {
protected:
    using reader = tbs::smtp::reply_reader<pieces>;

    // Reads replies that want 250 or 251 until one is refused; gives how many were not, and what was said.
    std::pair<int, std::vector<std::string>> read(std::vector<std::string> data, int replies, int then = 0) {
        reader from(pieces{&data, then});
        int accepted = 0;
        while (accepted < replies && from.read({"250", "251"})) accepted++;
        return {accepted, lines_of(sink.take())};
    }

    recording_sink sink;
};

const std::string wrong = "6/7 Wrong SMTP response status: ";
const std::string lost = "6/6 SMTP receive error: ";

TEST_F(SmtpReply, EveryDivisionGivesTheSameReplies) {
    const std::string data = "250-one\r\n250-two\r250-three\n250 four\r\n251 again\n250-x\r\n250 y\r\n250 last\r\n";
    for (size_t first = 0; first <= data.size(); first++) {
        for (size_t second = first; second <= data.size(); second++) {
            std::vector<std::string> parts;
            for (const std::string &part :
                 {data.substr(0, first), data.substr(first, second - first), data.substr(second)}) {
                if (!part.empty()) parts.push_back(part);
            }
            const auto [accepted, said] = read(parts, 4);
            ASSERT_EQ(accepted, 4) << first << ' ' << second;
            ASSERT_THAT(said, IsEmpty());
        }
    }
    std::vector<std::string> bytes;
    for (const char c : data) bytes.emplace_back(1, c);
    EXPECT_EQ(read(bytes, 4).first, 4);
}

TEST_F(SmtpReply, TheCodeIsComparedWithEachThatIsWanted) {
    EXPECT_EQ(read({"250 a\r\n", "251 b\r\n", "252 c\r\n"}, 3), std::pair(2, std::vector{wrong + "252 c."}));
    EXPECT_EQ(read({"2500\r\n"}, 1).first, 1); // three characters are the code
    EXPECT_EQ(read({" 250 \r\n"}, 1).second, std::vector{wrong + " 250 ."});
}

TEST_F(SmtpReply, LinesOfOneReplyHaveOneCode) {
    const auto [accepted, said] = read({"250-a\r\n251 b\r\n250 c\r\n"}, 1);
    EXPECT_EQ(accepted, 0);
    EXPECT_THAT(said, ElementsAre("6/20 Parts of multiline response have different status codes: previous code is "
                                  "250, while the current code is 251"));
}

TEST_F(SmtpReply, ALineOfFewerThanFourCharactersIsRefused) {
    for (const std::string line : {"", "2", "25", "250"}) {
        for (const std::string end : {"\r\n", "\r", "\n"}) {
            EXPECT_EQ(read({line + end, "250 x\r\n"}, 1), std::pair(0, std::vector{wrong + line + "."}));
        }
        const auto [accepted, said] = read({line}, 1);
        EXPECT_EQ(accepted, 0);
        EXPECT_THAT(said, ElementsAre(StartsWith(line.empty() ? lost : wrong + line + ".")));
    }
}

TEST_F(SmtpReply, ALineThatTheServerDoesNotEndIsWhatCameOfIt) {
    for (const int then : {0, int{KS_ETIMEDOUT}}) {
        EXPECT_EQ(read({"250 o", "k"}, 1, then).first, 1);
        EXPECT_THAT(read({"550 n", "o"}, 1, then).second, ElementsAre(wrong + "550 no."));
        EXPECT_THAT(read({"250-o", "k"}, 1, then).second, ElementsAre(StartsWith(lost)));
    }
    EXPECT_THAT(read({"250 ok"}, 1, KS_EIO).second, ElementsAre(StartsWith(lost)));
}

TEST_F(SmtpReply, WhatComesLaterIsTheNextLine) {
    EXPECT_EQ(read({"250 one", "", "251 two\r\n", "250-a", "", "250 b", ""}, 3),
              std::pair(3, std::vector<std::string>()));
    EXPECT_EQ(read({"250-one", "", "251 two", ""}, 1).first, 0);
    EXPECT_EQ(read({"25", "", "250 x"}, 1), std::pair(0, std::vector{wrong + "25."}));
    for (const std::string end : {"\r\n", "\r", "\n"}) {
        EXPECT_EQ(read({"250 one", "", end + "250 two", "", end}, 2).first, 2);
    }
    EXPECT_EQ(read({"250 one", "", "\r", "\n250 two\r\n"}, 2).first, 2);
    EXPECT_EQ(read({"250 one", "", "\n\n250 two\r\n"}, 2), std::pair(1, std::vector{wrong + "."}));
}

TEST_F(SmtpReply, OfALongLineTheBeginningCounts) {
    for (const size_t length : {2040u, 2046u, 2047u, 2048u, 2049u, 2050u, 4095u, 4096u, 4097u, 100000u}) {
        for (const std::string end : {"\r\n", "\r", "\n"}) {
            const std::string line = "250 " + std::string(length - 4, 'x') + end;
            const auto [accepted, said] = read({line + "251 next\r\n" + line, line + "251 next\r\n"}, 5);
            EXPECT_EQ(accepted, 5) << length;
            EXPECT_THAT(said, IsEmpty());
            EXPECT_EQ(read({"250-" + line + "250 x\r\n"}, 1).first, 1);
        }
        const std::string no = "550 " + std::string(length - 4, 'x');
        EXPECT_THAT(read({no + "\r\n"}, 1).second, ElementsAre(wrong + no.substr(0, 2048) + "."));
    }
}

TEST_F(SmtpReply, APieceOfEverySizeAroundTheBufferIsRead) {
    for (size_t size = 2030; size < 2070; size++) {
        const std::string filler = "250-" + std::string(size - 6, 'x') + "\r\n";
        EXPECT_EQ(read({filler + "250 a\r\n251 b\r\n"}, 2).first, 2) << size;
        EXPECT_EQ(read({"250-a\r\n" + filler, filler + "250 a\r\n", "251 b\r\n"}, 2).first, 2) << size;
    }
}

TEST_F(SmtpReply, WhatFollowsAMalformedReplyIsDropped) {
    std::vector<std::string> data = {"250-a\r\n251-b\r\n250 c\r\n", "250 d\r\n", "2\r\n250 e\r\n", "550 f\r\n"};
    reader from(pieces{&data, 0});
    EXPECT_FALSE(from.read({"250"}));
    EXPECT_TRUE(from.read({"250"}));
    EXPECT_FALSE(from.read({"250"}));
    EXPECT_FALSE(from.read({"250"}));
    EXPECT_THAT(sink.take(), testing::SizeIs(3));
    EXPECT_FALSE(from.is_broken());
    EXPECT_FALSE(from.read({"250"}));
    EXPECT_TRUE(from.is_broken());
}

TEST_F(SmtpReply, BytesOfNoTextAreNoCode) {
    EXPECT_EQ(read({std::string("25\0 ok\r\n", 8)}, 1).first, 0);
    EXPECT_EQ(read({"\x80\xFF\x01 x\r\n"}, 1).first, 0);
}

TEST(NotifyDispatch, AnUnknownKindOfSourceIsAnInternalError) {
    using namespace tbs::notify;
    const registry_test::registry own;
    const recording_sink sink;
    EXPECT_EQ(dispatch(1, 0, nullptr, "", {static_cast<source_kind>(7), "", nullptr}, ""), TBS_ST_ERROR);
    EXPECT_THAT(sink.text(), StartsWith("INTERNAL ERROR"));
    EXPECT_THAT(own.dir.read("log/error_log"), testing::HasSubstr("Unrecognized kind \"7\"."));
}

} // namespace
