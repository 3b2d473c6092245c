// The commands on ACL files: show, check, diff.
#include "support/env.hpp"
#include "tbs/tbs_acl.h"
#include "tool/tool_runner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>

using namespace tool_test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::vector<std::string> users = {"anika", "bastien", "carmen", "dov",     "elif",      "fumiko",   "goran",
                                        "hana",  "ilse",    "jonas",  "kwame",   "leila",     "mateo",    "noor",
                                        "oskar", "pilar",   "søren",  "visitor", "svc_build", "svc_sync", "svc_scan"};

std::string account(const std::string &name) { return "BRACKWATER\\" + name; }

std::vector<std::string> with_vob(std::vector<std::string> words) {
    words.insert(words.end(), {"--permissions", policy("vob.permissions")});
    return words;
}

outcome check(const std::string &file, const std::string &want, const std::string &as,
              std::vector<std::string> more = {}) {
    std::vector<std::string> words = {"acl", "check", policy(file), "--want", want, "--as", account(as), "--json"};
    words.insert(words.end(), more.begin(), more.end());
    return run_tool(with_vob(words));
}

} // namespace

// ---- show

TEST(AclShow, GivesEveryEntryOfTheSamplePolicy) {
    const outcome run = run_tool(with_vob({"acl", "show", policy("vob.acl"), "--json"}));
    ASSERT_EQ(run.status, 0) << run.err;
    const json answer = run.parsed();
    EXPECT_EQ(answer["form"], "sid");
    EXPECT_GE(answer["entries"].size(), 40u);
    std::set<std::string> kinds;
    for (const json &entry : answer["entries"]) kinds.insert(entry["kind"]);
    EXPECT_EQ(kinds, (std::set<std::string>{"User", "Group", "Everyone", "Owner-User", "Owner-Group", "Role"}));
    EXPECT_EQ(answer["entries"][0]["identity"], "Everyone:");
    EXPECT_EQ(answer["entries"][0]["permissions"]["bits"], "0x00020000");
    EXPECT_EQ(answer["entries"][0]["permissions"]["names"], json({"AclRead"}));
}

TEST(AclShow, WritesWhatCanBeReadAgain) {
    const temp_dir dir;
    for (const std::string form : {"sid", "classic"}) {
        const std::string file = policy(form == "sid" ? "vob.acl" : "classic.acl");
        std::vector<std::string> flags;
        if (form == "classic") flags = {"--classic"};
        std::vector<std::string> show = {"acl", "show", file}, diff = {"acl", "diff", file, dir / form};
        show.insert(show.end(), flags.begin(), flags.end());
        diff.insert(diff.end(), flags.begin(), flags.end());
        const outcome shown = run_tool(with_vob(show));
        ASSERT_EQ(shown.status, 0) << shown.err;
        dir.write(form, shown.out);
        const outcome compared = run_tool(with_vob(diff));
        EXPECT_EQ(compared.status, 0) << compared.out << compared.err;
        EXPECT_EQ(compared.out, "");
    }
}

TEST(AclShow, FitsTheWidthOfATerminal) {
    for (const std::string file : {"vob.acl", "vob_next.acl"}) {
        for (const std::string &line : lines_of(run_tool(with_vob({"acl", "show", policy(file)})).out)) {
            EXPECT_LE(columns(line), 100u) << line;
        }
    }
}

TEST(AclShow, ShowsAnEmptyAcl) {
    const temp_dir dir;
    const std::string file = dir.write("empty.acl", "# nothing\n\n");
    EXPECT_EQ(run_tool({"acl", "show", file}).out, "# <empty acl>\n");
    const outcome run = run_tool({"acl", "show", file, "--json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.parsed()["entries"], json::array());
}

TEST(AclShow, KeepsDomainsInTheClassicFormOnly) {
    const outcome classic = run_tool(with_vob({"acl", "show", policy("classic.acl"), "--classic"}));
    EXPECT_EQ(classic.status, 0);
    EXPECT_THAT(classic.out, HasSubstr("Domain:BRACKWATER"));
    const outcome by_sid = run_tool(with_vob({"acl", "show", policy("classic.acl")}));
    EXPECT_EQ(by_sid.status, 2);
    EXPECT_THAT(by_sid.err, HasSubstr("Unrecognized ACL identity type \"Domain\""));
    EXPECT_THAT(by_sid.err, HasSubstr("on line 7"));
    EXPECT_EQ(by_sid.out, "");
}

// ---- check

TEST(AclCheck, EndsWithTheDecision) {
    EXPECT_EQ(check("vob.acl", "Checkout,Checkin", "bastien").status, 0);
    EXPECT_EQ(check("vob.acl", "Delete", "bastien").status, 1);
    EXPECT_EQ(check("vob.acl", "Read", "nobody-of-this-name").status, 2);
}

TEST(AclCheck, SaysTheDecisionInOneLine) {
    const outcome granted =
        run_tool(with_vob({"acl", "check", policy("vob.acl"), "--want", "Checkout", "--as", account("carmen")}));
    EXPECT_EQ(granted.status, 0);
    EXPECT_EQ(granted.out, "granted: BRACKWATER\\carmen may Checkout\n");
    const outcome denied = run_tool(
        with_vob({"acl", "check", policy("vob.acl"), "--want", "Checkout,Audit", "--as", account("carmen")}));
    EXPECT_EQ(denied.status, 1);
    EXPECT_EQ(denied.out, "denied: BRACKWATER\\carmen may not Checkout,Audit; missing Audit\n");
}

TEST(AclCheck, NamesOneClientInThreeWays) {
    const json named = check("vob.acl", "RemoveVersion", "carmen").parsed();
    const outcome by_file = run_tool(with_vob(
        {"acl", "check", policy("vob.acl"), "--want", "RemoveVersion", "--creds", policy("carmen.creds"), "--json"}));
    const outcome by_sid = run_tool(with_vob({"acl", "check", policy("vob.acl"), "--want", "RemoveVersion", "--as",
                                              "S-1-5-21-1180341622-2207716415-864005713-2003", "--json"}));
    EXPECT_EQ(by_file.status, 0) << by_file.out;
    EXPECT_EQ(by_file.parsed()["client"], named["client"]);
    EXPECT_EQ(by_sid.parsed()["client"], named["client"]);
    EXPECT_EQ(named["client"]["group"]["name"], "BRACKWATER\\developers");
    EXPECT_EQ(named["client"]["domain"], "BRACKWATER");
}

TEST(AclCheck, TakesSidsInACredentialsFile) {
    const outcome run = run_tool(with_vob(
        {"acl", "check", policy("vob.acl"), "--want", "Lock,Checkout", "--creds", policy("noor.creds"), "--json"}));
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(run.parsed()["client"]["user"]["name"], "BRACKWATER\\noor");
}

TEST(AclCheck, LeavesGroupsOutThatACredentialsFileDoesNotName) {
    const std::vector<std::string> want = {
        "acl", "check", policy("vob.acl"), "--want", "AclRead,ReadData,Hyperlink", "--creds", policy("kwame.creds")};
    EXPECT_EQ(run_tool(with_vob(want)).status, 0);
    EXPECT_EQ(run_tool(with_vob({"acl", "check", policy("project.acl"), "--want", "Read", "--creds",
                                 policy("kwame.creds")}))
                  .status,
              2); // another vocabulary: Work is no word of it
}

TEST(AclCheck, AsksForTheProcessWithoutAnAccount) {
    const outcome run = run_tool(with_vob({"acl", "check", policy("vob.acl"), "--want", "AclRead", "--json"}));
    EXPECT_EQ(run.status, 0) << run.out;
    const json me = run_tool({"whoami", "--json"}).parsed();
    EXPECT_EQ(run.parsed()["client"]["user"]["sid"], me["identities"][0]["sid"]);
    EXPECT_EQ(run_tool(with_vob({"acl", "check", policy("vob.acl"), "--want", "Checkout"})).status, 1);
}

TEST(AclCheck, GivesOwnersWhatOwnersHave) {
    const std::vector<std::string> owns = {"--owner", account("visitor")};
    const std::vector<std::string> group = {"--owner-group", account("contractors")};
    EXPECT_EQ(check("vob.acl", "AclWrite", "visitor").status, 1);
    EXPECT_EQ(check("vob.acl", "AclWrite", "visitor", owns).status, 0);
    EXPECT_EQ(check("vob.acl", "AclWrite", "jonas", owns).status, 1);
    EXPECT_EQ(check("vob.acl", "Branch", "jonas").status, 1);
    EXPECT_EQ(check("vob.acl", "Branch", "jonas", group).status, 0);
    EXPECT_EQ(check("classic.acl", "Checkin", "jonas", {"--classic"}).status, 1);
    EXPECT_EQ(check("classic.acl", "Checkin", "jonas", {"--classic", "--owner-group", account("contractors")}).status,
              0);
    EXPECT_EQ(check("vob.acl", "AclWrite", "visitor", {"--owner", account("nobody-of-this-name")}).status, 2);
}

TEST(AclCheck, FindsWholeDomainsInTheClassicForm) {
    EXPECT_EQ(check("classic.acl", "ReadData", "kwame", {"--classic"}).status, 0);
    const json answer = check("classic.acl", "ReadData", "kwame", {"--classic", "--explain"}).parsed();
    EXPECT_EQ(answer["explanation"].back()["identity"], "Domain:BRACKWATER");
    EXPECT_EQ(answer["explanation"].back()["entry"], 2);
}

TEST(AclCheck, RefusesARequestOfNothing) {
    EXPECT_EQ(check("vob.acl", "", "carmen").status, 2);
    EXPECT_EQ(check("vob.acl", "Checkout,,Checkin", "carmen").status, 2);
    EXPECT_EQ(check("vob.acl", "Fly", "carmen").status, 2);
}

TEST(AclCheck, NeverGrantsWhatNoEntryStores) { EXPECT_EQ(check("vob.acl", "Reserved", "anika").status, 1); }

TEST(AclCheck, ReadsGenericNamesByTheSampleMapWithoutAFile) {
    const temp_dir dir;
    const std::string file =
        dir.write("a.acl", "Everyone: Read,Execute\nUser:BRACKWATER\\dov Change\nGroup:BRACKWATER\\qa Full\n");
    const std::vector<std::string> show = {"acl", "show", file, "--json"};
    std::vector<std::string> with_sample = show;
    with_sample.insert(with_sample.end(), {"--permissions", source("data/permissions.conf")});
    const outcome plain = run_tool(show);
    ASSERT_EQ(plain.status, 0) << plain.out;
    EXPECT_EQ(plain.out, run_tool(with_sample).out);
    EXPECT_EQ(run_tool({"acl", "check", file, "--want", "Read,Delete", "--as", account("dov")}).status, 0);
    EXPECT_EQ(run_tool({"acl", "check", file, "--want", "Read,Delete", "--as", account("noor")}).status, 1);
}

TEST(AclCheck, LogsARefusalOnDemandOnly) {
    const temp_dir host_data;
    const environment variables = {{"ORSIK_HOSTDATA_DIR", host_data.str()}};
    std::vector<std::string> words =
        with_vob({"acl", "check", policy("vob.acl"), "--want", "Delete", "--as", account("dov")});
    EXPECT_EQ(run_tool(words, variables).status, 1);
    EXPECT_EQ(host_data.read("log/access_log"), "");
    words.push_back("--log");
    EXPECT_EQ(run_tool(words, variables).status, 1);
    EXPECT_THAT(host_data.read("log/access_log"), HasSubstr("BRACKWATER\\dov asked for Delete, missing Delete"));
    const std::string before = host_data.read("log/access_log");
    words = with_vob({"acl", "check", policy("vob.acl"), "--want", "Label", "--as", account("dov"), "--log"});
    EXPECT_EQ(run_tool(words, variables).status, 0);
    EXPECT_EQ(host_data.read("log/access_log"), before);
}

TEST(AclCheck, TracesAtVerbosityThree) {
    const outcome run =
        run_tool(with_vob({"acl", "check", policy("vob.acl"), "--want", "Label", "--as", account("dov")}),
                 {{"ORSIK_VERBOSITY", "3"}, {"ORSIK_TRACE", "tbs_acl:3"}});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("ACL permission is granted.\nMissing:   0x00000000.\nRequested: 0x00000020.\n"));
    EXPECT_THAT(run.err, HasSubstr("Client: <<no domain>> BRACKWATER\\dov,BRACKWATER\\hardware,BRACKWATER\\staff\n"));
}

// ---- explain

namespace {

// What the library decides, asked here and not by the tool.
class judge {
public:
    explicit judge(const std::string &file) : accounts_("ORSIK_ACCOUNTS", policy("accounts")) {
        credutl_flush_accounts();
        if (tbs_sid_acl_utl_parse(file.c_str(), names, std::size(names), &map, &acl_))
            throw std::runtime_error("no ACL");
    }
    ~judge() { tbs_sid_acl_free(&acl_); }
    bool grants(const std::string &user, tbs_acl_permission_set_t wanted) const {
        credutl_client_t *client = nullptr;
        if (credutl_client_from_account(user.c_str(), &client)) throw std::runtime_error("no account " + user);
        tbs_boolean_t granted = 0;
        const tbs_status_t status = tbs_sid_acl_check_permission(acl_, wanted, client, nullptr, nullptr, &granted);
        credutl_client_free(&client);
        return status == 0 && granted;
    }

private:
    static constexpr tbs_acl_perm_name_t names[] = {{"Touch", 0x1}, {"Weigh", 0x2}, {"Move", 0x4}};
    static constexpr tbs_acl_generic_map_t map = {0x1, 0x2, 0x4, 0x7};
    scoped_env accounts_;
    tbs_sid_acl_h_t acl_ = nullptr;
};

tbs_acl_permission_set_t bits(const json &set) {
    return static_cast<tbs_acl_permission_set_t>(std::stoul(set["bits"].get<std::string>(), nullptr, 16));
}

// An explanation holds together: each applied step takes what it adds from what is missing, and the end is the decision.
void expect_coherent(const json &answer) {
    tbs_acl_permission_set_t missing = bits(answer["requested"]);
    size_t position = 0;
    for (const json &step : answer["explanation"]) {
        if (!step["applied"]) {
            EXPECT_EQ(bits(step["added"]), 0u);
        }
        EXPECT_NE(missing, 0u) << "a step behind the decision";
        missing &= ~bits(step["added"]);
        EXPECT_EQ(bits(step["missing"]), missing);
        EXPECT_FALSE(step["reason"].get<std::string>().empty());
        if (answer["form"] == "sid") {
            EXPECT_EQ(step["entry"], ++position);
        }
    }
    EXPECT_EQ(answer["granted"], missing == 0);
    EXPECT_EQ(bits(answer["missing"]), missing);
    EXPECT_EQ(answer["exit_status"], missing == 0 ? 0 : 1);
}

} // namespace

TEST(AclExplain, AgreesWithTheDecisionForEveryAccountOfThePolicy) {
    std::map<bool, int> seen;
    for (const std::string &user : users) {
        for (const std::string want : {"Read", "Edit,Label", "Lock,Audit"}) {
            for (const std::string form : {"sid", "classic"}) {
                SCOPED_TRACE(user + " " + want + " " + form);
                std::vector<std::string> more = {"--explain", "--owner", account("dov"), "--owner-group",
                                                 account("qa")};
                if (form == "classic") more.push_back("--classic");
                const outcome run = check(form == "sid" ? "vob.acl" : "classic.acl", want, user, more);
                ASSERT_TRUE(run.status == 0 || run.status == 1) << run.out;
                const json answer = run.parsed();
                expect_coherent(answer);
                EXPECT_EQ(answer["granted"], run.status == 0);
                seen[answer["granted"]]++;
            }
        }
    }
    EXPECT_GT(seen[true], 10);
    EXPECT_GT(seen[false], 10);
}

TEST(AclExplain, AgreesWithTheLibraryAskedDirectly) {
    const temp_dir dir;
    const std::string file = dir.write("a.acl", "User:BRACKWATER\\dov Touch\nGroup:BRACKWATER\\staff Weigh\n"
                                                "Role:mover Move\nGroup:BRACKWATER\\developers Move\n");
    const std::string words = dir.write("words", "Touch = 0x1\nWeigh = 0x2\nMove = 0x4\n[generic]\nread = Touch\n"
                                                 "write = Weigh\nexecute = Move\nall = Touch,Weigh,Move\n");
    const judge library(file);
    const std::map<std::string, tbs_acl_permission_set_t> wants = {
        {"Touch", 1}, {"Weigh", 2}, {"Move,Weigh", 6}, {"Full", 7}};
    for (const std::string &user : users) {
        for (const auto &[want, mask] : wants) {
            SCOPED_TRACE(user + " " + want);
            const outcome run = run_tool({"acl", "check", file, "--want", want, "--as", account(user),
                                          "--permissions", words, "--explain", "--json"});
            EXPECT_EQ(run.status, library.grants(account(user), mask) ? 0 : 1) << run.out;
            expect_coherent(run.parsed());
        }
    }
}

TEST(AclExplain, NamesWhatAppliedAndWhatIsMissing) {
    const outcome run = run_tool(with_vob({"acl", "check", policy("vob.acl"), "--want", "Checkout,AclWrite,Lock",
                                           "--as", account("elif"), "--owner", account("elif"), "--explain"}));
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(
        run.out,
        HasSubstr(
            "   1  +  Everyone:                              applies to everyone: adds AclRead; still missing"));
    EXPECT_THAT(run.out,
                HasSubstr("   2  +  Owner-User:                            the client owns the object: adds "));
    EXPECT_THAT(run.out, HasSubstr("nothing is missing"));
    EXPECT_THAT(run.out, HasSubstr("The other 42 entries are not needed.\n"));
    EXPECT_EQ(lines_of(run.out).back(), "granted: BRACKWATER\\elif may Checkout,Lock,AclWrite");
    for (const std::string &line : lines_of(run.out)) EXPECT_LE(columns(line), 100u) << line;
}

TEST(AclExplain, FollowsTheOrderOfLookUpInTheClassicForm) {
    const json answer =
        check("classic.acl", "Checkout,Lock,Audit", "oskar",
              {"--classic", "--explain", "--owner", account("oskar"), "--owner-group", account("staff")})
            .parsed();
    std::vector<std::string> order;
    for (const json &step : answer["explanation"]) order.push_back(step["identity"]);
    EXPECT_THAT(order,
                ElementsAre("Everyone:", "Owner-User:", "Owner-Group:", "Domain:BRACKWATER", "User:BRACKWATER\\oskar",
                            "Group:BRACKWATER\\Release Managers", "Group:BRACKWATER\\staff"));
    EXPECT_EQ(answer["explanation"].back()["reason"], "no such entry");
    EXPECT_EQ(answer["missing"]["names"], json({"Audit"}));
}

// ---- diff

TEST(AclDiff, FindsAFileEqualToItself) {
    const outcome run = run_tool(with_vob({"acl", "diff", policy("vob.acl"), policy("vob.acl"), "--json"}));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.parsed()["equal"], true);
}

TEST(AclDiff, NamesWhatARevisionChanged) {
    const outcome run = run_tool(with_vob({"acl", "diff", policy("vob.acl"), policy("vob_next.acl"), "--json"}));
    EXPECT_EQ(run.status, 1);
    const json answer = run.parsed();
    EXPECT_EQ(answer["equal"], false);
    std::set<std::string> added, removed, changed;
    for (const json &entry : answer["added"]) added.insert(entry["identity"]);
    for (const json &entry : answer["removed"]) removed.insert(entry["identity"]);
    for (const json &entry : answer["changed"]) changed.insert(entry["identity"]);
    EXPECT_EQ(added, (std::set<std::string>{"Role:translator"}));
    EXPECT_EQ(removed, (std::set<std::string>{"User:BRACKWATER\\jonas", "User:BRACKWATER\\visitor"}));
    EXPECT_EQ(changed, (std::set<std::string>{"Owner-Group:", "Group:BRACKWATER\\contractors",
                                              "User:BRACKWATER\\hana", "Role:reviewer"}));
}

TEST(AclDiff, SeesAPermissionThatOnlyOneSideHas) {
    const temp_dir dir;
    const std::string small = dir.write("small", "Everyone: Delete\n"),
                      large = dir.write("large", "Everyone: Delete,AclRead\n");
    EXPECT_EQ(run_tool({"acl", "diff", small, large}).status, 1);
    EXPECT_EQ(run_tool({"acl", "diff", large, small}).status, 1);
    EXPECT_EQ(
        run_tool({"acl", "diff", small, large}).out,
        "- Everyone:                             Delete\n+ Everyone:                             Delete,AclRead\n");
}

TEST(AclDiff, DoesNotCareForOrder) {
    const temp_dir dir;
    const std::string a = dir.write("a", "Everyone: Delete\nRole:x AclRead\n"),
                      b = dir.write("b", "Role:x AclRead\nEveryone: Delete\n");
    EXPECT_EQ(run_tool({"acl", "diff", a, b}).status, 0);
    EXPECT_EQ(run_tool({"acl", "diff", a, b, "--classic"}).status, 0);
}
