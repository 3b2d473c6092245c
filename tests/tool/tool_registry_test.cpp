// tbs registry: the settings of a host.
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tool_test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class Registry : public testing::Test {
protected:
    outcome run(std::vector<std::string> words) const {
        words.insert(words.begin(), "registry");
        return run_tool(words, {{"ORSIK_HOSTDATA_DIR", dir / "host"}});
    }
    void set(const std::vector<std::string> &words) const {
        std::vector<std::string> all = {"set", key};
        all.insert(all.end(), words.begin(), words.end());
        const outcome done = run(all);
        ASSERT_EQ(done.status, 0) << done.err;
    }

    const temp_dir dir;
    const std::string key = "SOFTWARE\\Tessivane";
};

} // namespace

TEST_F(Registry, GivesWhatWasSet) {
    set({"SmtpServer", "mail.example"});
    set({"ViewInterop", "1", "--type", "dword"});
    set({"Big", "0x1ffffffff", "--type", "qword"});
    set({"Bytes", "00ff10", "--type", "binary"});
    set({"List", "one", "two three", "--type", "multi"});
    EXPECT_EQ(run({"get", key, "SmtpServer"}).out, "mail.example\n");
    EXPECT_EQ(run({"get", "software\\TESSIVANE", "smtpserver"}).out, "mail.example\n");
    EXPECT_EQ(run({"get", key, "ViewInterop"}).out, "1\n");
    EXPECT_EQ(run({"get", key, "Big"}).out, "8589934591\n");
    EXPECT_EQ(run({"get", key, "Bytes"}).out, "00ff10\n");
    EXPECT_EQ(run({"get", key, "List"}).out, "[\"one\",\"two three\"]\n");
    EXPECT_EQ(
        run({"get", key, "List", "--json"}).parsed(),
        (json{
            {"key", key}, {"name", "List"}, {"type", "multi"}, {"value", {"one", "two three"}}, {"exit_status", 0}}));
}

TEST_F(Registry, TellsWhatIsNotThere) {
    const outcome none = run({"get", key, "Nothing"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "");
    EXPECT_THAT(none.err, HasSubstr("there is no key \"" + key + '"'));
    EXPECT_EQ(run({"get", key, "Nothing", "--json"}).parsed()["value"], nullptr);
    EXPECT_EQ(run({"get", key, "Nothing", "--json"}).err, "");
    EXPECT_EQ(run({"list"}).status, 0);
    EXPECT_EQ(run({"list", key}).status, 2);
    EXPECT_EQ(run({"delete", key, "Nothing"}).status, 2);
    set({"SmtpServer", "mail.example"});
    EXPECT_THAT(run({"get", key, "Nothing"}).err, HasSubstr("the key \"" + key + "\" has no value \"Nothing\""));
    EXPECT_THAT(run({"get", key}).err, HasSubstr("has no default value"));
    EXPECT_EQ(run({"get", key}).status, 1);
}

TEST_F(Registry, ListsKeysAndValues) {
    set({"SmtpServer", "mail.example"});
    ASSERT_EQ(run({"set", key + "\\TypeManagers\\mine", "op", "/bin/true"}).status, 0);
    EXPECT_EQ(run({"list"}).out, "SOFTWARE\\\n");
    EXPECT_EQ(run({"list", key}).out, "TypeManagers\\\nSmtpServer              sz      mail.example\n");
    const json listed = run({"list", key + "\\TypeManagers", "--json"}).parsed();
    EXPECT_EQ(listed["keys"], (json::array({{{"name", "mine"}, {"values", 1}}})));
}

TEST_F(Registry, DeletesValuesAndKeys) {
    set({"a", "1"});
    set({"b", "2"});
    EXPECT_EQ(run({"delete", key, "a"}).status, 0);
    EXPECT_EQ(run({"get", key, "a"}).status, 1);
    EXPECT_EQ(run({"get", key, "b"}).status, 0);
    EXPECT_EQ(run({"delete", "SOFTWARE", "--key"}).status, 0);
    EXPECT_EQ(run({"list"}).out, "");
}

TEST_F(Registry, CarriesSettingsFromHostToHost) {
    set({"SmtpServer", "mail.example"});
    set({"Größe", "7", "--type", "dword"});
    ASSERT_EQ(run({"export", dir / "settings.reg", key}).status, 0);
    EXPECT_THAT(dir.read("settings.reg"), StartsWith("\xFF\xFEW"));
    ASSERT_EQ(run({"delete", "SOFTWARE", "--key"}).status, 0);
    ASSERT_EQ(run({"import", dir / "settings.reg"}).status, 0);
    EXPECT_EQ(run({"get", key, "SmtpServer"}).out, "mail.example\n");
    EXPECT_EQ(run({"get", key, "größe"}).out, "7\n");
}

TEST_F(Registry, SaysWhichLineOfAFileIsWrong) {
    const std::string file =
        dir.write("bad.reg", "Windows Registry Editor Version "
                             "5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\X]\r\n\"a\"=dword:00000001\r\nnonsense\r\n");
    const outcome bad = run({"import", file});
    EXPECT_EQ(bad.status, 2);
    EXPECT_THAT(bad.err, HasSubstr("bad.reg:5"));
    EXPECT_EQ(run({"get", "X", "a"}).status, 1);
    const std::string other = dir.write("other.reg", "REGEDIT4\n\n[HKEY_CURRENT_USER\\X]\n\"a\"=\"b\"\n");
    EXPECT_THAT(run({"import", other}).out, HasSubstr("1 keys of other roots"));
    EXPECT_EQ(run({"import", dir / "none.reg"}).status, 2);
}

TEST_F(Registry, RefusesValuesThatAreNone) {
    EXPECT_EQ(run({"set", key, "a", "4294967296", "--type", "dword"}).status, 2);
    EXPECT_EQ(run({"set", key, "a", "-1", "--type", "dword"}).status, 2);
    EXPECT_EQ(run({"set", key, "a", "xyz", "--type", "binary"}).status, 2);
    EXPECT_EQ(run({"set", key, "a", "abc", "--type", "binary"}).status, 2);
    EXPECT_EQ(run({"set", key, "a", "1", "2"}).status, 2);
    EXPECT_EQ(run({"set", "a\\\\b", "a", "1"}).status, 2);
    EXPECT_EQ(run({"set", key, "a", "1", "--type", "word"}).status, 2);
    EXPECT_EQ(run({"list"}).out, "");
}
