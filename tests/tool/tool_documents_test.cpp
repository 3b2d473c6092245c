// What the documents show is what happens: every console block of the README and of docs/ is run and compared; the
// example program and the demonstration are run as they are.
//
// In a console block a line that begins with "$ " is a command, the lines behind it are what it prints; "..." stands for any
// lines. Each block is one shell, which starts in the top directory with the built tool in PATH.
#include "support/under_sanitizer.hpp"
#include "tool/tool_runner.hpp"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tool_test;
using testing::HasSubstr;

namespace {

struct command {
    std::string where, text;
    std::vector<std::string> expected;
};
using session = std::vector<command>; // one console block: one shell

std::vector<session> sessions_of(const std::string &path) {
    std::vector<session> found;
    bool inside = false;
    size_t number = 0;
    for (const std::string &line : lines_of(temp_dir().read(path))) {
        number++;
        if (line.starts_with("```")) {
            inside = !inside && line == "```console";
            if (inside) found.emplace_back();
        } else if (inside && line.starts_with("$ ")) {
            found.back().push_back({path + ":" + std::to_string(number), line.substr(2), {}});
        } else if (inside && !found.back().empty()) {
            found.back().back().expected.push_back(line);
        }
    }
    return found;
}

// Left out under sanitizers: a program that is compiled without one cannot load libraries that have one.
bool compiles(const session &commands) {
    return std::any_of(commands.begin(), commands.end(), [](const command &c) { return c.text.starts_with("cc "); });
}

bool matches(const std::vector<std::string> &expected, size_t i, const std::vector<std::string> &got, size_t j) {
    for (; i < expected.size(); i++, j++) {
        if (expected[i] == "...") {
            for (size_t rest = j; rest <= got.size(); rest++) {
                if (matches(expected, i + 1, got, rest)) return true;
            }
            return false;
        }
        if (j >= got.size() || got[j] != expected[i]) return false;
    }
    return j == got.size();
}

// Runs a session; gives what each command printed, standard error included.
std::vector<std::vector<std::string>> run_session(const session &commands, const temp_dir &host_data) {
    const std::string mark = "-- end of a command --";
    std::string script = "cd '" ORSIK_SOURCE_DIR "' || exit 1\nexec 2>&1\n";
    for (const command &c : commands) script += c.text + "\necho '" + mark + "'\n";
    const std::string tool_dir = std::filesystem::path(TBS_TOOL_PATH).parent_path();
    const outcome run = run_program({"/bin/bash", "-c", script}, {{"PATH", tool_dir + ":" + std::getenv("PATH")},
                                                                  {"ORSIK_HOSTDATA_DIR", host_data.str()},
                                                                  {"BUILD", ORSIK_BINARY_DIR},
                                                                  {"LC_ALL", "C.UTF-8"}});
    std::vector<std::vector<std::string>> printed(1);
    for (const std::string &line : lines_of(run.out)) {
        if (line == mark) {
            printed.emplace_back();
        } else {
            printed.back().push_back(line);
        }
    }
    printed.resize(commands.size());
    return printed;
}

} // namespace

TEST(Documents, ShowWhatHappens) {
    std::vector<std::string> files = {source("README.md")};
    for (const auto &entry : std::filesystem::directory_iterator(source("docs"))) {
        if (entry.path().extension() == ".md") files.push_back(entry.path());
    }
    const temp_dir host_data;
    size_t count = 0;
    for (const std::string &file : files) {
        for (const session &commands : sessions_of(file)) {
            if (under_sanitizer && compiles(commands)) continue;
            const auto printed = run_session(commands, host_data);
            for (size_t i = 0; i < commands.size(); i++) {
                SCOPED_TRACE(commands[i].where + ": " + commands[i].text);
                EXPECT_TRUE(matches(commands[i].expected, 0, printed[i], 0)) << testing::PrintToString(printed[i]);
                count++;
            }
        }
    }
    EXPECT_GT(count, 8u);
}

TEST(Documents, LinkToWhatIsThere) {
    std::vector<std::string> files = {source("README.md"), source("docs/architecture.md"),
                                      source("docs/acl_files.md")};
    for (const std::string &file : files) {
        const std::string text = temp_dir().read(file);
        ASSERT_FALSE(text.empty()) << file;
        for (size_t at = 0; (at = text.find("](", at)) != std::string::npos;) {
            at += 2;
            const std::string target = text.substr(at, text.find_first_of(")#", at) - at);
            if (target.empty() || target.starts_with("http")) continue;
            EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(file).parent_path() / target))
                << file << ": " << target;
        }
    }
}

TEST(Example, DecidesARequestInPlainC) {
    const std::string program = std::string(ORSIK_BINARY_DIR) + "/examples/example_check_access";
    if (!std::filesystem::exists(program)) GTEST_SKIP() << "the examples were not built";
    const environment variables = {{"ORSIK_ACCOUNTS", policy("accounts")}};
    const outcome granted =
        run_program({program, policy("vob.acl"), "BRACKWATER\\bastien", "Checkout,Checkin"}, variables);
    EXPECT_EQ(granted.status, 0) << granted.err;
    EXPECT_EQ(granted.out, "BRACKWATER\\bastien: granted\n");
    const outcome denied = run_program({program, policy("vob.acl"), "BRACKWATER\\visitor", "Checkout"}, variables);
    EXPECT_EQ(denied.status, 1);
    EXPECT_EQ(denied.out, "BRACKWATER\\visitor: denied\n");
    EXPECT_EQ(run_program({program, policy("vob.acl"), "BRACKWATER\\ghost", "Checkout"}, variables).status, 2);
    EXPECT_EQ(run_program({program, "/nonexistent", "BRACKWATER\\dov", "Checkout"}, variables).status, 2);
    EXPECT_EQ(run_program({program, policy("vob.acl"), "BRACKWATER\\dov", "Jump"}, variables).status, 2);
    EXPECT_EQ(run_program({program}, variables).status, 2);
}

TEST(Demonstration, ComesOutAsItSays) {
    const outcome run = run_program({"/bin/bash", source("scripts/demo.sh"), ORSIK_BINARY_DIR});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_THAT(run.out, HasSubstr("all as expected"));
    for (const std::string &line : lines_of(run.out)) EXPECT_LE(columns(line), 100u) << line;
}

TEST(Demonstration, FailsWhenADecisionIsNotTheExpectedOne) {
    const temp_dir dir;
    std::filesystem::create_directory(dir.path() / "bin");
    dir.write("bin/tbs", "#!/bin/sh\nexit 0\n");
    std::filesystem::permissions(dir / "bin/tbs", std::filesystem::perms::owner_all);
    EXPECT_NE(run_program({"/bin/bash", source("scripts/demo.sh"), dir.str()}).status, 0);
}
