// The commands on statuses, messages and identities; help, version, usage.
#include "tbs/tbs_msg.h"
#include "tbs/tbs_status.h"
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <tuple>

using namespace tool_test;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// What the tool writes to a terminal.
std::string on_terminal(std::vector<std::string> words, const environment &variables) {
    words.insert(words.begin(), TBS_TOOL_PATH);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        setenv("ORSIK_ACCOUNTS", policy("accounts").c_str(), 1);
        setenv("TERM", "xterm-256color", 1);
        for (const auto &[name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
        std::vector<char *> arguments;
        for (std::string &word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    std::string out;
    char block[4096];
    for (ssize_t got; (got = read(terminal, block, sizeof block)) > 0;) out.append(block, static_cast<size_t>(got));
    close(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    return out;
}

const std::vector<std::vector<std::string>> all_commands = {{},
                                                            {"acl"},
                                                            {"acl", "show"},
                                                            {"acl", "check"},
                                                            {"acl", "diff"},
                                                            {"acl", "encode"},
                                                            {"acl", "decode"},
                                                            {"acl", "effective"},
                                                            {"acl", "apply"},
                                                            {"acl", "matrix"},
                                                            {"rolemap"},
                                                            {"rolemap", "show"},
                                                            {"rolemap", "check"},
                                                            {"rolemap", "add"},
                                                            {"rolemap", "remove"},
                                                            {"rolemap", "replace"},
                                                            {"rolemap", "graph"},
                                                            {"cr"},
                                                            {"cr", "capture"},
                                                            {"cr", "show"},
                                                            {"cr", "diff"},
                                                            {"cr", "graph"},
                                                            {"cr", "convert"},
                                                            {"product"},
                                                            {"profile"},
                                                            {"profile", "get"},
                                                            {"mgr"},
                                                            {"mgr", "list"},
                                                            {"mgr", "supports"},
                                                            {"mgr", "invoke"},
                                                            {"type"},
                                                            {"magic"},
                                                            {"magic", "check"},
                                                            {"magic", "dump"},
                                                            {"notify"},
                                                            {"help-topic"},
                                                            {"registry"},
                                                            {"registry", "get"},
                                                            {"registry", "set"},
                                                            {"registry", "list"},
                                                            {"registry", "delete"},
                                                            {"registry", "import"},
                                                            {"registry", "export"},
                                                            {"fstat"},
                                                            {"name"},
                                                            {"name", "split"},
                                                            {"name", "strip"},
                                                            {"name", "extend"},
                                                            {"name", "do"},
                                                            {"viewroot"},
                                                            {"xdr"},
                                                            {"xdr", "types"},
                                                            {"xdr", "show"},
                                                            {"xdr", "make"},
                                                            {"xdr", "sample"},
                                                            {"xdr", "describe"},
                                                            {"uuid"},
                                                            {"uuid", "new"},
                                                            {"uuid", "show"},
                                                            {"uuid", "hash"},
                                                            {"uuid", "time"},
                                                            {"whoami"},
                                                            {"status"},
                                                            {"msg"},
                                                            {"completion"},
                                                            {"man"}};

} // namespace

// ---- status

TEST(Status, GivesNumberSymbolTextAndErrno) {
    const outcome run = run_tool({"status", "1072", "1033", "--json"});
    EXPECT_EQ(run.status, 0);
    const json list = run.parsed()["statuses"];
    EXPECT_EQ(list[0], (json{{"number", 1072},
                             {"symbol", "TBS_ST_EINVAL"},
                             {"assigned", true},
                             {"text", "Invalid argument"},
                             {"errno", 22}}));
    EXPECT_EQ(list[1]["text"], "success, with exception");
    EXPECT_EQ(list[1]["errno"], 5);
}

TEST(Status, KnowsEverySymbol) {
    std::vector<std::string> words = {"status", "--json"};
    std::vector<tbs_status_t> numbers;
#define ADD(name, number, third)                                                                                     \
    words.push_back("TBS_ST_" #name);                                                                                \
    numbers.push_back(number);
    TBS_STATUS_LIST(ADD)
    TBS_ERRNO_STATUS_LIST(ADD)
#undef ADD
    const outcome run = run_tool(words);
    ASSERT_EQ(run.status, 0);
    const json list = run.parsed()["statuses"];
    ASSERT_EQ(list.size(), numbers.size());
    for (size_t i = 0; i < numbers.size(); i++) {
        EXPECT_EQ(list[i]["number"], numbers[i]);
        EXPECT_EQ(list[i]["symbol"], words[i + 2]);
        EXPECT_EQ(list[i]["text"], tbs_strerror(numbers[i]));
        EXPECT_EQ(list[i]["errno"], tbs_status2errno(numbers[i]));
    }
}

TEST(Status, TellsNumbersThatMeanNothing) {
    const outcome run = run_tool({"status", "1000", "--json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.parsed()["statuses"][0]["text"], "Unrecognized status \"1000\" (from a newer server?)");
    EXPECT_EQ(run.parsed()["statuses"][0]["symbol"], nullptr);
    EXPECT_EQ(run_tool({"status", "0", "2", "EINVAL", "1046"}).status, 0);
    EXPECT_EQ(run_tool({"status", "-1"}).status, 1);
    EXPECT_EQ(run_tool({"status", "1072", "1053"}).status, 1);
}

TEST(Status, RefusesWhatIsNoStatus) {
    for (const std::string code : {"EFROG", "1072x", "99999999999", "0x10", ""}) {
        const outcome run = run_tool({"status", code, "--json"});
        EXPECT_EQ(run.status, 2) << code;
        EXPECT_THAT(run.parsed()["error"]["text"], "\"" + code + "\" is no status");
    }
}

TEST(Status, WrapsLongTexts) {
    std::vector<std::string> words = {"status"};
    for (int number = 1001; number <= 1113; number++) words.push_back(std::to_string(number));
    for (const std::string &line : lines_of(run_tool(words).out)) EXPECT_LE(columns(line), 100u) << line;
}

// ---- msg

TEST(Msg, ListsWholeTables) {
    const std::vector<std::pair<std::string, const imsg_table_t *>> tables = {
        {"tbs", tbs_tbs_msg_table_adr()},
        {"tbs_acl", tbs_acl_tbs_msg_table_adr()},
        {"tbs_notify", tbs_notify_tbs_msg_table_adr()},
        {"cmsg", tbs_cmsg_tbs_msg_table_adr()}};
    for (const auto &[name, table] : tables) {
        const outcome run = run_tool({"msg", name, "--json"});
        ASSERT_EQ(run.status, 0);
        const json answer = run.parsed();
        EXPECT_EQ(answer["module_number"], table->module_number);
        ASSERT_EQ(answer["messages"].size(), table->count);
        for (uint16_t i = 0; i < table->count; i++) {
            EXPECT_EQ(answer["messages"][i]["index"], i);
            EXPECT_EQ(answer["messages"][i]["number"], table->numbers[i]);
            EXPECT_EQ(answer["messages"][i]["text"], table->texts[i]);
        }
        for (const std::string &line : lines_of(run_tool({"msg", name}).out)) EXPECT_LE(columns(line), 100u) << line;
    }
}

TEST(Msg, FindsOneByIndexAndByNumber) {
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "6"}).out,
              "6     8     \"Excluded ACL permission specified: \\\"%s\\\".\\n\"\n");
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "--number", "8"}).out, run_tool({"msg", "tbs_acl", "6"}).out);
    EXPECT_EQ(run_tool({"msg", "tbs", "0"}).out,
              "0     1     \"\\001\\0011BThis product is not installed correctly.\\001\\0010B\\n\"\n");
}

TEST(Msg, TellsWhatIsNotThere) {
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "30"}).status, 1);
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "--number", "7"}).status, 1);
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "--number", "7", "--json"}).parsed()["messages"], json::array());
    EXPECT_EQ(run_tool({"msg", "tbs_frog"}).status, 2);
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "x"}).status, 2);
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "-1"}).status, 2);
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "70000"}).status, 2);
    EXPECT_EQ(run_tool({"msg", "tbs_acl", "1", "--number", "2"}).status, 2);
}

// ---- whoami

TEST(Whoami, NamesTheProcessAndWhoAnswered) {
    const outcome run = run_tool({"whoami", "--json"});
    ASSERT_EQ(run.status, 0) << run.out;
    const json list = run.parsed()["identities"];
    ASSERT_GE(list.size(), 2u);
    EXPECT_EQ(list[0]["role"], "user");
    EXPECT_EQ(list[0]["id"], geteuid());
    EXPECT_EQ(list[0]["source"], "nss");
    EXPECT_EQ(list[0]["sid"], "S-1-22-1-" + std::to_string(geteuid()));
    EXPECT_EQ(list[1]["role"], "primary group");
    EXPECT_EQ(list[1]["id"], getegid());
    EXPECT_THAT(run_tool({"whoami"}).out, HasSubstr("S-1-22-1-" + std::to_string(geteuid())));
}

TEST(Whoami, TakesTheAccountsFileBeforeTheHost) {
    const temp_dir dir;
    const std::string file =
        dir.write("accounts", "MOVED\\me user S-1-5-21-1-2-3-1001 " + std::to_string(geteuid()) + "\n");
    const json list = run_tool({"whoami", "--json"}, {{"ORSIK_ACCOUNTS", file}}).parsed()["identities"];
    EXPECT_EQ(list[0]["name"], "MOVED\\me");
    EXPECT_EQ(list[0]["source"], "accounts");
}

// ---- the program

TEST(Tool, ShowsItsVersion) {
    const outcome run = run_tool({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "tbs 11.0.0.1\n");
}

TEST(Tool, HelpFitsTheWidthOfATerminal) {
    for (std::vector<std::string> words : all_commands) {
        words.push_back("--help");
        const outcome run = run_tool(words);
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.out, HasSubstr("Usage: tbs"));
        for (const std::string &line : lines_of(run.out)) EXPECT_LE(columns(line), 100u) << line;
    }
}

TEST(Tool, EndsWithTwoOnBadUsage) {
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"acl"},
        {"frog"},
        {"acl", "show"},
        {"acl", "check", "x"},
        {"acl", "diff", "x"},
        {"acl", "show", "x", "--frog"},
        {"status"},
        {"whoami", "now"},
        {"acl", "check", "x", "--want", "Read", "--as", "a", "--creds", "b"}};
    for (std::vector<std::string> words : wrong) {
        const outcome run = run_tool(words);
        EXPECT_EQ(run.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, HasSubstr("tbs: Error: "));
        EXPECT_THAT(run.err, HasSubstr("--help"));
        words.push_back("--json");
        const outcome as_json = run_tool(words);
        EXPECT_EQ(as_json.status, 2);
        EXPECT_EQ(as_json.err, "");
        EXPECT_EQ(as_json.parsed()["exit_status"], 2) << as_json.out;
        EXPECT_FALSE(as_json.parsed()["error"]["remedy"].get<std::string>().empty());
    }
}

TEST(Tool, SaysWhatIsUnknownBeforeWhatIsMissing) {
    const std::vector<std::tuple<std::vector<std::string>, std::string, std::string>> cases = {
        {{"acl", "check", "F", "--permissions", "P", "--wnt", "Look"}, "unknown option \"--wnt\"", "\"--want\"?"},
        {{"acl", "show", "--jsn=yes"}, "unknown option \"--jsn\"", "\"--json\"?"},
        {{"acl", "show", "m.acl", "--perm", "x"}, "unknown option \"--perm\"", "\"--permissions\"?"},
        {{"acl", "show", "m.acl", "-x"}, "unknown option \"-x\"", ""},
        {{"--bad"}, "unknown option \"--bad\"", ""},
        {{"acl", "chek", "F"}, "unknown command \"chek\"", "\"check\"?"},
        {{"rolemp", "--help-me"}, "unknown command \"rolemp\"", "\"rolemap\"?"},
        {{"name", "nonsense"}, "unknown command \"nonsense\"", ""},
        {{"acl", "show", "a", "b", "c"}, "unexpected argument \"b\"", ""},
        {{"acl", "show", "--", "a", "-b"}, "unexpected argument \"-b\"", ""}};
    for (const auto &[words, text, meant] : cases) {
        const outcome run = run_tool(words);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, StartsWith("tbs: Error: " + text + ".\n"));
        EXPECT_EQ(run.err.find("Did you mean") != std::string::npos, !meant.empty()) << run.err;
        EXPECT_THAT(run.err, HasSubstr(meant));
        EXPECT_THAT(run.err, HasSubstr("--help\"."));
    }
    EXPECT_THAT(run_tool({"acl", "check", "F", "--json"}).parsed()["error"]["text"], "--want is required");
    EXPECT_THAT(run_tool({"acl", "show", "--bad", "--json"}).parsed()["error"]["text"], "unknown option \"--bad\"");
}

TEST(Tool, SaysItInJsonWhenTheLibraryRefuses) {
    const temp_dir dir;
    const std::string file = dir.write("bad.acl", "Everyone: Delete\nUser:BRACKWATER\\ghost Delete\n");
    const outcome run = run_tool({"acl", "show", file, "--json"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "");
    const json error = run.parsed()["error"];
    EXPECT_EQ(error["file"], file);
    EXPECT_EQ(error["line"], 2);
    ASSERT_EQ(error["messages"].size(), 2u);
    EXPECT_EQ(error["messages"][0]["module"], "tbs_acl");
    EXPECT_EQ(error["messages"][0]["number"], 33);
    EXPECT_EQ(error["messages"][0]["text"], "Unknown ACL identity: BRACKWATER\\ghost.");
    EXPECT_THAT(error["messages"][1]["text"], HasSubstr("on line 2"));
}

TEST(Tool, IsBoldOnATerminalOnly) {
    const std::vector<std::string> words = {"status", "1072"};
    EXPECT_THAT(on_terminal(words, {}), HasSubstr("\033["));
    EXPECT_THAT(on_terminal(words, {{"NO_COLOR", "1"}}), Not(HasSubstr("\033")));
    EXPECT_THAT(on_terminal(words, {{"TERM", "dumb"}}), Not(HasSubstr("\033")));
    EXPECT_THAT(on_terminal(words, {{"TERM", ""}}), Not(HasSubstr("\033")));
    EXPECT_THAT(run_tool(words).out, Not(HasSubstr("\033")));
    EXPECT_THAT(run_tool(words).out, HasSubstr("1072"));
}

TEST(Tool, WritesNoBytesToATerminal) {
    const temp_dir dir;
    const std::string record = dir / "record";
    const std::vector<std::vector<std::string>> commands = {{"xdr", "sample", "tbs_cr_t"},
                                                            {"xdr", "make", "tbs_cr_t", record + ".json"},
                                                            {"cr", "convert", record, "--to", "xdr"},
                                                            {"cr", "convert", record, "--to", "compressed"}};
    ASSERT_EQ(run_tool({"xdr", "sample", "tbs_cr_t", "--out", record}).status, 0);
    dir.write("record.json", run_tool({"xdr", "sample", "tbs_cr_t", "--json"}).out);
    for (const std::vector<std::string> &words : commands) {
        EXPECT_THAT(on_terminal(words, {}), HasSubstr("the answer is bytes, which are not written to a terminal"));
        EXPECT_EQ(run_tool(words).status, 0) << testing::PrintToString(words);
    }
    EXPECT_THAT(on_terminal({"cr", "convert", record, "--to", "json"}, {}), StartsWith("{"));
}

TEST(Tool, AnswersTheSameUnderEveryLocale) {
    const std::vector<std::string> words = {"acl",
                                            "check",
                                            policy("vob.acl"),
                                            "--want",
                                            "READDATA,cHECKIN",
                                            "--as",
                                            "brackwater\\FUMIKO",
                                            "--permissions",
                                            policy("vob.permissions"),
                                            "--json",
                                            "--explain"};
    const outcome plain = run_tool(words, {{"LC_ALL", "C"}});
    EXPECT_EQ(plain.status, 0) << plain.out;
    for (const std::string locale : {"C.UTF-8", "tr_TR.UTF-8", "de_DE.UTF-8"}) {
        EXPECT_EQ(run_tool(words, {{"LC_ALL", locale}}).out, plain.out) << locale;
    }
}
