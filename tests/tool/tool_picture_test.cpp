// Policies and role maps as tables and pictures: tbs acl matrix, tbs rolemap graph.
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <unistd.h>

using namespace tool_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using grid = std::vector<std::vector<std::string>>;

// A policy of two roles and one user, with its role map.
class Pictures : public testing::Test {
protected:
    Pictures() {
        dir.write("policy",
                  "Role:dev ReadData,Checkout\nRole:review ReadData,Label\nUser:BRACKWATER\\carmen Label\n");
        dir.write("map", "Role:dev --> User:BRACKWATER\\dov\nRole:review --> Group:BRACKWATER\\qa\n");
    }
    outcome matrix(const std::vector<std::string> &more) const {
        std::vector<std::string> words = {"acl",       "matrix",        dir / "policy",
                                          dir / "map", "--permissions", policy("vob.permissions")};
        words.insert(words.end(), more.begin(), more.end());
        return run_tool(words);
    }
    outcome graph(const std::string &map, const std::vector<std::string> &more = {}) const {
        std::vector<std::string> words = {"rolemap", "graph", dir.write("map", map)};
        words.insert(words.end(), more.begin(), more.end());
        return run_tool(words);
    }

    const temp_dir dir;
};

grid csv_cells(const std::string &text) {
    grid all;
    for (const std::string &line : lines_of(text)) {
        EXPECT_TRUE(line.ends_with('\r'));
        all.emplace_back(1);
        for (const char c : line.substr(0, line.size() - 1)) {
            if (c == ',') {
                all.back().emplace_back();
            } else {
                all.back().back() += c;
            }
        }
    }
    return all;
}

// The texts of a page's table.
grid html_cells(const std::string &page) {
    grid all;
    const std::regex row("<tr>(.*?)</tr>"), cell("<t[hd][^>]*>(?:<span>)?([^<]*)(?:</span>)?</t[hd]>");
    for (std::sregex_iterator r(page.begin(), page.end(), row), end; r != end; ++r) {
        const std::string inside = (*r)[1];
        all.emplace_back();
        for (std::sregex_iterator c(inside.begin(), inside.end(), cell); c != end; ++c) all.back().push_back((*c)[1]);
    }
    return all;
}

} // namespace

// ---- acl matrix

TEST_F(Pictures, MatrixTellsWhoHasWhichPermission) {
    const outcome run = matrix({"--format", "json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const json identities = run.parsed()["identities"];
    ASSERT_EQ(identities.size(), 3u);
    std::map<std::string, json> by_name;
    for (const json &one : identities) by_name[one["identity"]] = one["permissions"];
    const json &carmen = by_name["User:BRACKWATER\\carmen"], &dov = by_name["User:BRACKWATER\\dov"],
               &qa = by_name["Group:BRACKWATER\\qa"];
    EXPECT_EQ(carmen["Label"], true);
    EXPECT_EQ(carmen["ReadData"], false);
    EXPECT_EQ(dov["ReadData"], true);
    EXPECT_EQ(dov["Checkout"], true);
    EXPECT_EQ(dov["Edit"], false); // Checkin is missing
    EXPECT_EQ(qa["Label"], true);
    EXPECT_EQ(qa["Checkout"], false);
    EXPECT_EQ(qa.size(), 18u);
}

TEST_F(Pictures, MatrixIsTheSameInEveryFormat) {
    const json identities = matrix({"--format", "json"}).parsed()["identities"];
    const grid csv = csv_cells(matrix({"--format", "csv"}).out), html = html_cells(matrix({"--format", "html"}).out);
    ASSERT_EQ(csv.size(), identities.size() + 1);
    ASSERT_EQ(html.size(), csv.size());
    EXPECT_EQ(html[0], csv[0]);
    const std::vector<std::string> table = lines_of(matrix({}).out);
    for (size_t row = 1; row < csv.size(); row++) {
        const json &one = identities[row - 1];
        ASSERT_EQ(csv[row].size(), one["permissions"].size() + 1);
        EXPECT_EQ(csv[row][0], one["identity"]);
        EXPECT_EQ(html[row][0], one["identity"]);
        const std::string line = table[table.size() - identities.size() + row - 1];
        EXPECT_THAT(line, StartsWith(one["identity"].get<std::string>()));
        for (size_t i = 1; i < csv[row].size(); i++) {
            const bool holds = one["permissions"][csv[0][i]];
            EXPECT_EQ(csv[row][i], holds ? "1" : "0");
            EXPECT_EQ(html[row][i], holds ? "yes" : "no");
            EXPECT_EQ(line[line.size() - 1 - 3 * (csv[row].size() - 1 - i)], holds ? 'x' : '.');
        }
    }
}

TEST_F(Pictures, MatrixHidesNothingThatSomebodyHas) {
    dir.write("policy", "User:BRACKWATER\\dov Delete,AclRead\n"
                        "User:BRACKWATER\\elif SpecificOther\n"
                        "Group:BRACKWATER\\qa Full\n");
    const outcome run = run_tool({"acl", "matrix", dir / "policy", "--format", "csv"});
    EXPECT_EQ(run.out, "identity,Delete,AclRead,AclWrite,SpecificOther,0x0000ffff\r\n"
                       "User:BRACKWATER\\dov,1,1,0,0,0\r\n"
                       "User:BRACKWATER\\elif,0,0,0,1,1\r\n"
                       "Group:BRACKWATER\\qa,1,1,1,0,1\r\n");
    EXPECT_THAT(run_tool({"acl", "matrix", dir / "policy"}).out, HasSubstr("\n  5  0x0000ffff\n"));
    EXPECT_EQ(html_cells(run_tool({"acl", "matrix", dir / "policy", "--format", "html"}).out)[3],
              (std::vector<std::string>{"Group:BRACKWATER\\qa", "yes", "yes", "yes", "no", "yes"}));
    const std::string words = dir.write("words", "Pair = 0x3\n[generic]\nread = 0x1\nwrite = 0x2\nexecute = 0x4\n"
                                                 "all = 0x7\n");
    dir.write("policy", "Everyone: Read\nUser:BRACKWATER\\dov Pair,Execute\n");
    EXPECT_EQ(run_tool({"acl", "matrix", dir / "policy", "--format", "csv", "--permissions", words}).out,
              "identity,Pair,0x00000001,0x00000004\r\n"
              "Everyone:,0,1,0\r\n"
              "User:BRACKWATER\\dov,1,1,1\r\n");
}

TEST_F(Pictures, MatrixShowsAPolicyWithoutARoleMap) {
    const outcome run = run_tool({"acl", "matrix", dir / "policy", "--permissions", policy("vob.permissions")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("Role:dev"));
}

TEST_F(Pictures, MatrixPageNeedsNoOtherFile) {
    const std::string page = matrix({"--format", "html"}).out;
    EXPECT_THAT(page, StartsWith("<!DOCTYPE html>"));
    for (const char *reference : {"http", "src=", "href=", "@import", "url("})
        EXPECT_THAT(page, Not(HasSubstr(reference)));
}

TEST_F(Pictures, MatrixPageEscapesTexts) {
    const std::string evil = dir.write("<script>&\"", "Everyone: Read\n");
    const outcome run = run_tool({"acl", "matrix", evil, "--format", "html"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("&lt;script&gt;&amp;&quot;"));
    EXPECT_THAT(run.out, Not(HasSubstr("<script>")));
}

TEST_F(Pictures, MatrixPageIsReadByABrowser) {
    const char *browser = "/usr/bin/chromium";
    if (access(browser, X_OK) != 0) GTEST_SKIP() << "there is no " << browser;
    ASSERT_EQ(matrix({"--format", "html", "--out", dir / "page.html"}).status, 0);
    const outcome shown =
        run_program({browser, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--user-data-dir=" + (dir / "browser"), "--dump-dom", "file://" + (dir / "page.html")},
                    {{"HOME", dir.str()}});
    ASSERT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(html_cells(shown.out), html_cells(dir.read("page.html")));
}

TEST_F(Pictures, MatrixSaysWhatIsWrong) {
    EXPECT_EQ(matrix({"--format", "pdf"}).status, 2);
    dir.write("map", "Role:dev User:BRACKWATER\\dov\n");
    const outcome run = matrix({"--out", dir / "table"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("line 1"));
    EXPECT_EQ(dir.read("table"), "");
}

// ---- rolemap graph

TEST_F(Pictures, GraphIsWrittenInDot) {
    const outcome run =
        graph("Role:a --> Role:b\nRole:b --> User:BRACKWATER\\dov\nRole:b --> Group:BRACKWATER\\qa\n");
    ASSERT_EQ(run.status, 0) << run.err;
    const char *role = "shape=box, style=\"rounded,filled\", fillcolor=\"#dce9f7\"";
    EXPECT_EQ(run.out,
              "digraph \"" + (dir / "map") +
                  "\" {\n    rankdir=LR;\n    node [fontname=\"sans-serif\", fontsize=11];\n"
                  "    edge [color=\"#555555\"];\n"
                  "    n0 [label=\"Role:a\", " +
                  role + "];\n    n1 [label=\"Role:b\", " + role +
                  "];\n"
                  "    n2 [label=\"User:BRACKWATER\\\\dov\", shape=ellipse, style=filled, fillcolor=\"#fbfbf6\"];\n"
                  "    n3 [label=\"Group:BRACKWATER\\\\qa\", shape=folder, style=filled, fillcolor=\"#eef3e2\"];\n"
                  "    n0 -> n1;\n    n1 -> n2;\n    n1 -> n3;\n}\n");
}

TEST_F(Pictures, GraphShowsLoopsInRed) {
    const outcome run = graph("Role:a --> Role:b\nRole:b --> Role:a\nRole:c --> Role:a\nRole:self --> Role:self\n");
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string red = "color=\"#c00000\", penwidth=2";
    std::vector<std::string> marked;
    for (const std::string &line : lines_of(run.out)) {
        if (line.find(red) != std::string::npos) marked.push_back(line.substr(4, line.find(" [") - 4));
    }
    EXPECT_THAT(marked, ElementsAre("n0", "n1", "n3", "n0 -> n1", "n1 -> n0", "n3 -> n3"));
}

TEST_F(Pictures, GraphIsDrawnAsSvg) {
    if (access("/usr/bin/dot", X_OK) != 0) GTEST_SKIP() << "there is no /usr/bin/dot";
    const outcome run = graph("Role:a --> User:BRACKWATER\\dov\n", {"--format", "svg", "-o", dir / "map.svg"});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string check =
        "import sys, xml.etree.ElementTree as tree\n"
        "root = tree.parse(sys.argv[1]).getroot()\n"
        "texts = [t.text for t in root.iter('{http://www.w3.org/2000/svg}text')]\n"
        "sys.exit(0 if sorted(texts) == ['Role:a', 'User:BRACKWATER\\\\dov'] else str(texts))\n";
    const outcome drawn = run_program({"/usr/bin/python3", "-c", check, dir / "map.svg"});
    EXPECT_EQ(drawn.status, 0) << drawn.err;
}

TEST_F(Pictures, GraphSaysThatThereIsNothingToDrawWith) {
    dir.write("map", "Role:a --> User:BRACKWATER\\dov\n");
    const outcome run =
        run_tool({"rolemap", "graph", dir / "map", "--format", "svg", "-o", dir / "map.svg"}, {{"PATH", dir.str()}});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("graphviz"));
    EXPECT_EQ(dir.read("map.svg"), "");
}

TEST_F(Pictures, GraphSaysWhatIsWrong) {
    EXPECT_EQ(graph("nonsense\n").status, 2);
    EXPECT_EQ(graph("Role:a --> Everyone:\n", {"--format", "png"}).status, 2);
}
