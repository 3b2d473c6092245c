// tbs xdr: records shown, made, sampled and described.
#include "tool/tool_runner.hpp"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using tool_test::json;
using tool_test::outcome;
using tool_test::run_tool;

std::string content(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream all;
    all << file.rdbuf();
    return all.str();
}

std::string from_hex(const std::string &digits) {
    std::string all;
    for (size_t i = 0; i < digits.size(); i += 2)
        all += static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16));
    return all;
}

json known_records() { return json::parse(content(std::string(ORSIK_TEST_DATA_DIR) + "/vob_records.json")); }

class ToolXdr : public testing::Test {
protected:
    outcome make(const std::string &type, const std::string &text) {
        return run_tool({"xdr", "make", type, dir_.write("text.json", text)});
    }
    std::string refusal(const std::string &type, const std::string &text) {
        const outcome run = make(type, text);
        EXPECT_EQ(run.status, 2) << text;
        EXPECT_EQ(run.out, "") << text;
        return run.err;
    }
    temp_dir dir_;
};

TEST_F(ToolXdr, TypesAreTheWholeFamilyAndMore) {
    const json list = run_tool({"xdr", "types", "--json"}).parsed()["types"];
    EXPECT_EQ(list.size(), 132u);
    EXPECT_EQ(list[0]["type"], "tbs_cr_compressed_t");
    EXPECT_EQ(list[4], (json{{"type", "vob_acl_enforced_t"}, {"kind", "enumeration"}, {"shortest", 4}}));
    EXPECT_EQ(run_tool({"xdr", "types", "--kind", "union", "--json"}).parsed()["types"].size(), 2u);
    EXPECT_THAT(run_tool({"xdr", "types", "--kind", "handle"}).out, HasSubstr("vob_event_h_t"));
    EXPECT_EQ(run_tool({"xdr", "types", "--kind", "frog"}).status, 2);
}

TEST_F(ToolXdr, ShowAndMakeAreInverse) {
    const json known = known_records();
    for (const char *type : {"vob_event_info_t", "vob_oplog_ent_t", "vob_value_t", "vob_user_info_t",
                             "vob_lock_info_t", "vob_cltxt_info_t", "vob_evkind_t", "vob_object_flags_t",
                             "vob_event_h_t", "vob_attype_vinfo_t", "vob_ucm_activity_cset_t"}) {
        const std::string encoded = from_hex(known[type]["bytes"]);
        const outcome shown = run_tool({"xdr", "show", type, dir_.write("record", encoded)});
        EXPECT_EQ(shown.parsed(), known[type]["value"]) << type;
        EXPECT_EQ(make(type, shown.out).out, encoded) << type;
    }
}

TEST_F(ToolXdr, ShowTakesTheNameOfARoutine) {
    const std::string file = dir_.write("record", from_hex("00000005"));
    EXPECT_EQ(run_tool({"xdr", "show", "xdr_vob_evkind_t", file}).out, "\"checkout\"\n");
    EXPECT_EQ(run_tool({"xdr", "show", "vob_ver_num_t", file}).out, "5\n");
}

TEST_F(ToolXdr, ShowNamesMembersBesideTheirBytes) {
    const std::string file = dir_.write("record", from_hex("000000010000000100000003616e6100"
                                                           "00000001"));
    EXPECT_EQ(run_tool({"xdr", "show", "vob_lock_info_t", "--hex", file}).out,
              "offset    bytes                    member            value\n"
              "00000000  00 00 00 01              n_users           1\n"
              "00000004  00 00 00 01              n_users           1\n"
              "                                   users\n"
              "                                     [0]\n"
              "00000008  00 00 00 03 61 6e 61 00      value         \"ana\"\n"
              "00000010  00 00 00 01              obsolete          1\n");
    const json answer = run_tool({"xdr", "show", "vob_lock_info_t", "--json", file}).parsed();
    EXPECT_EQ(answer["value"], (json{{"users", {"ana"}}, {"obsolete", 1}}));
    EXPECT_EQ(answer["members"][0]["offset"], 0);
    EXPECT_EQ(answer["exit_status"], 0);
}

TEST_F(ToolXdr, ShowTellsWhereBytesAreDamaged) {
    const std::string cut = dir_.write("cut", from_hex("0000000100000001000000036161"));
    const outcome run = run_tool({"xdr", "show", "vob_lock_info_t", cut});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, AllOf(HasSubstr(cut), HasSubstr("damaged at offset 12: a text is longer than what is left"),
                               HasSubstr("--hex")));
    const outcome in_hex = run_tool({"xdr", "show", "vob_lock_info_t", "--hex", cut});
    EXPECT_EQ(in_hex.status, 2);
    EXPECT_THAT(in_hex.out, HasSubstr("n_users"));
    const json partial = run_tool({"xdr", "show", "vob_lock_info_t", "--json", cut}).parsed();
    EXPECT_EQ(partial["damage"]["offset"], 12);
    EXPECT_EQ(partial["exit_status"], 2);

    const std::string longer = dir_.write("longer", from_hex("0000000500"));
    EXPECT_THAT(run_tool({"xdr", "show", "vob_evkind_t", longer}).err,
                HasSubstr("follow behind the record, from offset 4"));
    const std::string other = dir_.write("other", from_hex("0000000600000000"));
    EXPECT_THAT(run_tool({"xdr", "show", "vob_value_t", other}).err, HasSubstr("offset 4: no value is of this type"));
}

TEST_F(ToolXdr, KeepsWhatJsonHasNoWordFor) {
    const char *const odd[] = {
        "000000027ff8000000000001", // a NaN
        "00000002fff0000000000000", // minus infinity
        "0000000400000002fffe0000", // no UTF-8
        "000000010000000180000000", // behind an integer
    };
    for (const char *digits : odd) {
        const std::string encoded = from_hex(std::string(digits).substr(0, 24));
        const outcome shown = run_tool({"xdr", "show", "vob_value_t", dir_.write("record", encoded)});
        if (shown.status != 0) continue;
        EXPECT_EQ(make("vob_value_t", shown.out).out, encoded) << shown.out;
    }
    EXPECT_EQ(run_tool({"xdr", "show", "vob_evkind_t", dir_.write("record", from_hex("fffffff0"))}).out, "-16\n");
    EXPECT_EQ(json::parse(run_tool({"xdr", "show", "vob_option_t", dir_.write("record", from_hex("80000002"))}).out),
              (json{"atomic checkin", 2147483648}));
    EXPECT_EQ(make("vob_option_t", "[\"atomic checkin\", 2147483648]").out, from_hex("80000002"));
}

TEST_F(ToolXdr, MakeSaysWhatIsWrong) {
    const char *const type = "vob_lock_info_t";
    EXPECT_THAT(refusal(type, "{\"users\": []}"), HasSubstr("obsolete is missing"));
    EXPECT_THAT(refusal(type, "{\"users\": [], \"obsolete\": 0, \"frog\": 1}"), HasSubstr("frog is no member"));
    EXPECT_THAT(refusal(type, "{\"users\": [1], \"obsolete\": 0}"), HasSubstr("users[0] is no text"));
    EXPECT_THAT(refusal(type, "{\"users\": 1, \"obsolete\": 0}"), HasSubstr("users is no list"));
    EXPECT_THAT(refusal(type, "{\"users\": [], \"obsolete\": 4294967296}"), HasSubstr("no room for"));
    EXPECT_THAT(refusal(type, "{\"users\": [], \"obsolete\": 0.5}"), HasSubstr("no whole number"));
    EXPECT_THAT(refusal(type, "{\"users\": [\"a\\u0000b\"], \"obsolete\": 0}"), HasSubstr("users[0] holds a NUL"));
    EXPECT_THAT(refusal(type, "[]"), HasSubstr("the text is no object"));
    EXPECT_THAT(refusal(type, "{\n\"users\": ["), AllOf(HasSubstr("text.json:2"), HasSubstr("no JSON")));
    EXPECT_THAT(refusal("vob_evkind_t", "\"frog\""), HasSubstr("no value that has a name"));
    EXPECT_THAT(refusal("vob_value_t", "{\"vtype\": 6}"), HasSubstr("no type of a value"));
    EXPECT_THAT(refusal("vob_value_t", "{\"vtype\": 1, \"integer\": 1, \"text\": \"\"}"),
                HasSubstr("its type does not have"));
    EXPECT_THAT(refusal("vob_value_t", "{\"vtype\": 3, \"time\": {\"tv_sec\": 1}}"), HasSubstr("tv_usec"));
    EXPECT_THAT(refusal("vob_value_t", "{\"vtype\": 2, \"real\": \"x\"}"), HasSubstr("no number"));
    EXPECT_THAT(refusal("vob_frog_t", "1"), HasSubstr("tbs xdr types"));
    json record = json::parse(run_tool({"xdr", "sample", "tbs_cr_t", "--json"}).out);
    record["format_version"] = 4;
    EXPECT_THAT(refusal("tbs_cr_t", record.dump()), HasSubstr("format_version is neither 5 nor 6"));
}

TEST_F(ToolXdr, SampleIsTheSameForTheSameSeed) {
    const outcome one = run_tool({"xdr", "sample", "vob_event_info_t", "--seed", "7"});
    EXPECT_EQ(one.out, run_tool({"xdr", "sample", "vob_event_info_t", "--seed", "7"}).out);
    EXPECT_NE(one.out, run_tool({"xdr", "sample", "vob_event_info_t", "--seed", "8"}).out);
    const outcome text = run_tool({"xdr", "sample", "vob_event_info_t", "--seed", "7", "--json"});
    EXPECT_EQ(make("vob_event_info_t", text.out).out, one.out);
    const std::string file = dir_ / "out";
    EXPECT_EQ(run_tool({"xdr", "sample", "vob_event_info_t", "--seed", "7", "-o", file}).status, 0);
    EXPECT_EQ(content(file), one.out);
}

TEST_F(ToolXdr, ConfigurationRecordsNeedNotBeAsEncodingMakesThem) {
    for (const char *seed : {"1", "2", "3", "25"}) { // both formats, flags that are not encoded
        const outcome one = run_tool({"xdr", "sample", "tbs_cr_t", "--seed", seed});
        ASSERT_EQ(one.status, 0) << one.err;
        const outcome text = run_tool({"xdr", "show", "tbs_cr_t", dir_.write("record", one.out)});
        EXPECT_EQ(make("tbs_cr_t", text.out).out, one.out) << seed;
    }
}

TEST_F(ToolXdr, DescribeTellsTheMembersInOrder) {
    const outcome run = run_tool({"xdr", "describe", "vob_lock_info_t"});
    EXPECT_EQ(run.out, "vob_lock_info_t: record, at least 12 bytes\n"
                       "  users                     count twice, elements: text: length, characters, padding\n"
                       "  obsolete                  int\n");
    EXPECT_THAT(run_tool({"xdr", "describe", "vob_lock_kind_t"}).out, HasSubstr("    2         obsolete\n"));
    const json in_json = run_tool({"xdr", "describe", "vob_value_t", "--json"}).parsed();
    EXPECT_EQ(in_json["kind"], "union");
    EXPECT_EQ(in_json["members"][0]["arms"][1]["selected_by"], 2);
    EXPECT_EQ(run_tool({"xdr", "describe", "all"}).status, 2);
}

TEST_F(ToolXdr, DescribeSpeaksTheLanguageOfRpcgen) {
    EXPECT_EQ(run_tool({"xdr", "describe", "vob_ckout_info_t", "--x"}).out.substr(0, 24),
              "struct vob_ckout_info {\n");
    EXPECT_THAT(run_tool({"xdr", "describe", "tbs_cr_t", "--x"}).err, HasSubstr("no words for"));
    EXPECT_EQ(run_tool({"xdr", "describe", "all", "--x"}).out,
              content(tool_test::source("tests/peers/vob_records.x")))
        << "write the file anew: tbs xdr describe all --x > tests/peers/vob_records.x";
}

} // namespace
