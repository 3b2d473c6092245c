// ACLs as bytes: tbs acl encode, tbs acl decode, and --encoded for the commands that read ACL files.
#include "tbs/tbs_acl.h"
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tool_test;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

struct sample {
    std::string file;
    bool classic;
};
const std::vector<sample> samples = {{"vob.acl", false}, {"vob_next.acl", false}, {"classic.acl", true}};

std::vector<std::string> with_options(std::vector<std::string> words, bool classic) {
    words.insert(words.end(), {"--permissions", policy("vob.permissions")});
    if (classic) words.push_back("--classic");
    return words;
}

outcome run_acl(std::vector<std::string> words, bool classic = false) {
    words.insert(words.begin(), "acl");
    return run_tool(with_options(std::move(words), classic));
}

// The bytes of an ACL text; fails the test when there are none.
std::string encoded(const std::string &text, bool classic = false) {
    const temp_dir dir;
    const outcome run = run_acl({"encode", dir.write("acl", text), "-o", dir / "bytes"}, classic);
    EXPECT_EQ(run.status, 0) << run.err;
    return dir.read("bytes");
}

std::string with_word(std::string bytes, size_t at, uint32_t word) {
    for (size_t i = 0; i < 4; i++) bytes[at + i] = static_cast<char>(word >> (24 - 8 * i));
    return bytes;
}

constexpr const char *one_entry = "Everyone: Read\n";

} // namespace

// ---- encode and decode

TEST(AclEncode, AndDecodeGiveTheSameAclAgain) {
    for (const auto &[file, classic] : samples) {
        const temp_dir dir;
        ASSERT_EQ(run_acl({"encode", policy(file), "-o", dir / "bytes"}, classic).status, 0) << file;
        const outcome decoded = run_acl({"decode", dir / "bytes", "--out", dir / "text"}, classic);
        ASSERT_EQ(decoded.status, 0) << decoded.err;
        const outcome compared = run_acl({"diff", policy(file), dir / "text"}, classic);
        EXPECT_EQ(compared.status, 0) << compared.out << compared.err;
        ASSERT_EQ(run_acl({"encode", dir / "text", "-o", dir / "again"}, classic).status, 0) << file;
        EXPECT_EQ(dir.read("again"), dir.read("bytes")) << file;
    }
}

TEST(AclEncode, WritesWhatTheLibraryEncodes) {
    const std::string bytes = encoded(one_entry);
    tbs_sid_acl_h_t acl = nullptr;
    ASSERT_EQ(tbs_sid_acl_decode(static_cast<uint32_t>(bytes.size()), bytes.data(), &acl), 0);
    EXPECT_EQ(tbs_sid_acl_num_entries(acl), 1u);
    tbs_sid_acl_free(&acl);
}

TEST(AclEncode, WritesToStandardOutputWithoutAFile) {
    const temp_dir dir;
    const std::string file = dir.write("acl", one_entry);
    const outcome run = run_acl({"encode", file});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, encoded(one_entry));
}

TEST(AclEncode, GivesTheBytesInJson) {
    const temp_dir dir;
    const std::string file = dir.write("acl", one_entry);
    const json answer = run_acl({"encode", file, "--json"}).parsed();
    const std::string bytes = encoded(one_entry);
    EXPECT_EQ(answer["length"], bytes.size());
    EXPECT_EQ(answer["form"], "sid");
    ASSERT_EQ(answer["bytes"].get<std::string>().size(), 2 * bytes.size());
    EXPECT_THAT(answer["bytes"].get<std::string>(), StartsWith("0000000100000001"));
    const json to_file = run_acl({"encode", file, "--json", "-o", dir / "bytes"}).parsed();
    EXPECT_EQ(to_file["out"], dir / "bytes");
    EXPECT_FALSE(to_file.contains("bytes"));
}

TEST(AclEncode, LeavesTheOutputFileAloneWhenTheTextIsBad) {
    const temp_dir dir;
    dir.write("bytes", "as it was");
    const outcome run = run_acl({"encode", dir.write("acl", "Nobody: Read\n"), "-o", dir / "bytes"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("on line 1"));
    EXPECT_EQ(dir.read("bytes"), "as it was");
}

TEST(AclEncode, ReplacesTheOutputFileAndKeepsItsMode) {
    const temp_dir dir;
    const std::string out = dir.write("bytes", std::string(100000, 'x'));
    ASSERT_EQ(chmod(out.c_str(), 0640), 0);
    ASSERT_EQ(run_acl({"encode", dir.write("acl", one_entry), "-o", out}).status, 0);
    EXPECT_EQ(dir.read("bytes"), encoded(one_entry));
    struct stat s;
    ASSERT_EQ(stat(out.c_str(), &s), 0);
    EXPECT_EQ(s.st_mode & 07777, 0640u);
}

TEST(AclEncode, SaysThatADirectoryForTheOutputIsMissing) {
    const temp_dir dir;
    const outcome run = run_acl({"encode", dir.write("acl", one_entry), "-o", dir / "none/bytes"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("none/bytes"));
}

TEST(AclDecode, ReadsStandardInput) {
    const temp_dir dir;
    const std::string bytes = dir.write("bytes", encoded(one_entry));
    const std::string command =
        std::string(TBS_TOOL_PATH) + " acl decode - --permissions " + policy("vob.permissions") + " < " + bytes;
    const outcome run = run_program({"/bin/sh", "-c", command});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "Everyone: Read\n");
}

TEST(AclDecode, WritesACommentForAnEmptyAcl) {
    const temp_dir dir;
    for (const bool classic : {false, true}) {
        const std::string bytes = dir.write("bytes", encoded("", classic));
        const outcome run = run_acl({"decode", bytes}, classic);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "# <empty acl>\n");
    }
}

// ---- the members of the bytes

TEST(AclDecodeHex, ShowsEveryMemberBesideItsBytes) {
    const temp_dir dir;
    const std::string bytes = dir.write("bytes", encoded(one_entry));
    const outcome run = run_acl({"decode", "--hex", bytes});
    EXPECT_EQ(run.status, 0) << run.err;
    const char *shown = "offset    bytes                    member            value\n"
                        "00000000  00 00 00 01              format            1\n"
                        "00000004  00 00 00 01              present           1\n"
                        "                                   list\n"
                        "00000008  00 00 00 01                count           1\n"
                        "                                     entries\n"
                        "                                       [0]\n"
                        "                                         id\n"
                        "0000000c  00 00 00 04                      kind      Everyone\n"
                        "00000010  00 00 00 00                      domain    \"\"\n"
                        "00000014  00 00 00 00                      name      \"\"\n"
                        "00000018  01 0c 01 01 00 00 00 00          sid       S-1-0-0\n";
    EXPECT_THAT(run.out, StartsWith(shown));
    EXPECT_THAT(lines_of(run.out).back(), EndsWith("perms       Read"));
}

TEST(AclDecodeHex, NamesTheAccountOfASid) {
    const temp_dir dir;
    const std::string bytes = dir.write("bytes", encoded("User:BRACKWATER\\carmen Read\n"));
    EXPECT_THAT(run_acl({"decode", "--hex", bytes}).out, HasSubstr("BRACKWATER\\carmen"));
}

TEST(AclDecodeHex, ShowsWhatStandsBehindTheAcl) {
    const temp_dir dir;
    const std::string file = dir.write("bytes", encoded(one_entry) + std::string(70, 'z'));
    const outcome run = run_acl({"decode", "--hex", file});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("70 bytes behind the end"));
    EXPECT_THAT(run.out, HasSubstr("and 6 more"));
    EXPECT_EQ(run_acl({"decode", "--json", file}).parsed()["behind"]["size"], 70);
}

TEST(AclDecodeHex, ShowsDamagedBytesAsFarAsTheyMakeSense) {
    const temp_dir dir;
    const std::string whole = encoded(one_entry);
    const outcome run = run_acl({"decode", "--hex", dir.write("bytes", whole.substr(0, 17))});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.out, HasSubstr("Everyone"));
    EXPECT_THAT(lines_of(run.out).back(), HasSubstr("damaged: the bytes end here"));
    EXPECT_THAT(run.err, HasSubstr("around byte offset 16"));
    EXPECT_THAT(run.err, HasSubstr("damaged at offset 16"));
}

TEST(AclDecode, IsCutAtEveryByte) {
    const temp_dir dir;
    const std::string whole = encoded("User:BRACKWATER\\carmen Read\nRole:build Edit\n");
    for (size_t size = 0; size < whole.size(); size += 3) {
        const outcome run = run_acl({"decode", "--json", dir.write("bytes", whole.substr(0, size))});
        EXPECT_EQ(run.status, 2) << size;
        const json answer = run.parsed();
        EXPECT_EQ(answer["length"], size);
        const std::string offset = std::to_string(answer["damage"]["offset"].get<size_t>());
        EXPECT_THAT(answer["error"]["messages"][0]["text"].get<std::string>(), EndsWith("offset " + offset)) << size;
    }
}

TEST(AclDecode, RefusesWhatIsNoAcl) {
    const temp_dir dir;
    const std::string whole = encoded(one_entry);
    const auto damage = [&](const std::string &bytes) {
        const outcome run = run_acl({"decode", "--json", dir.write("bytes", bytes)});
        EXPECT_EQ(run.status, 2);
        return run.parsed()["damage"];
    };
    EXPECT_EQ(damage(with_word(whole, 0, 7))["reason"], "not the number that stands in every encoding");
    EXPECT_EQ(damage(with_word(whole, 8, 0xFFFFFFFF))["offset"], whole.size());
    EXPECT_EQ(damage(with_word(whole, 0x10, 0x7FFFFFFF))["reason"], "a text is longer than what is left");
    EXPECT_EQ(damage("")["offset"], 0);
}

TEST(AclDecode, TellsWhenTheBytesAreOfTheOtherForm) {
    const temp_dir dir;
    const outcome run = run_acl({"decode", dir.write("bytes", encoded("Everyone: Read\n", true))});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("--classic"));
}

TEST(AclDecode, WritesNoTextThatWouldBeReadAsAnotherAcl) {
    const temp_dir dir;
    std::string bytes = encoded("Role:build Read\n");
    const size_t name = bytes.find("build");
    ASSERT_NE(name, std::string::npos);
    bytes[name + 2] = '\n';
    dir.write("bytes", bytes);
    const outcome run = run_acl({"decode", dir / "bytes", "-o", dir / "text"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("no text would be read back as this ACL"));
    EXPECT_EQ(dir.read("text"), "");
}

TEST(AclDecode, SaysWhichFileCannotBeRead) {
    const temp_dir dir;
    const outcome run = run_acl({"decode", dir / "none"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr(dir / "none"));
    EXPECT_EQ(run_acl({"decode", dir.str()}).status, 2);
}

TEST(AclDecode, HasNoOutputFileForAView) { EXPECT_EQ(run_acl({"decode", "--hex", "-o", "text", "bytes"}).status, 2); }

// ---- --encoded

TEST(Encoded, BytesAreCheckedShownAndComparedLikeTexts) {
    for (const auto &[file, classic] : samples) {
        const temp_dir dir;
        ASSERT_EQ(run_acl({"encode", policy(file), "-o", dir / "bytes"}, classic).status, 0);
        const auto same = [&, f = file, c = classic](std::vector<std::string> words) {
            words.insert(words.begin() + 1, policy(f));
            const outcome text = run_acl(words, c);
            words[1] = dir / "bytes";
            words.push_back("--encoded");
            const outcome bytes = run_acl(words, c);
            EXPECT_EQ(bytes.status, text.status) << words[0];
            json expected = text.parsed(), shown = bytes.parsed();
            expected.erase("file");
            shown.erase("file");
            EXPECT_EQ(shown, expected) << words[0];
        };
        same({"show", "--json"});
        same({"check", "--want", "Read", "--as", "BRACKWATER\\bastien", "--json"});
        same({"check", "--want", "Full", "--as", "BRACKWATER\\visitor", "--json", "--explain"});
        const outcome compared = run_acl({"diff", "--encoded", dir / "bytes", dir / "bytes"}, classic);
        EXPECT_EQ(compared.status, 0) << compared.err;
    }
}

TEST(Encoded, DamagedBytesAreNoDecision) {
    const temp_dir dir;
    const std::string file = dir.write("bytes", encoded(one_entry).substr(0, 30));
    const outcome run = run_acl({"check", file, "--encoded", "--want", "Read", "--as", "BRACKWATER\\carmen"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("damaged at offset"));
}
