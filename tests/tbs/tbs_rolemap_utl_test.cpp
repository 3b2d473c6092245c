// Role maps as text files and as listings.

#include "acl_test_support.hpp"
#include "tbs/tbs_rolemap.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace acl_test;
using namespace std::string_literals;

struct free_map {
    void operator()(tbs_rolemap_acl *map) const { tbs_rolemap_acl_free(&map); }
};
using map_ptr = std::unique_ptr<tbs_rolemap_acl, free_map>;

std::string bad_line(int number) {
    return error(15, "Unable to set role-identity binding for line " + std::to_string(number) + ".\n");
}
std::string form() {
    return error(25, "Each rolemap entry has the form: \"Role:identity --> identity_type:identity\"\n");
}
std::string bad_identity(const std::string &text, int number) {
    return error(8, "Problem parsing identity \"" + text + "\" on line " + std::to_string(number) + ".\n");
}

class TbsRolemapUtl : public testing::Test {
protected:
    struct result {
        tbs_status_t status;
        map_ptr map;
    };
    result parse(const std::string &text) {
        dir_.write("map", text);
        tbs_rolemap_acl_h_t map = nullptr;
        const tbs_status_t status = tbs_rolemap_acl_utl_parse((dir_ / "map").c_str(), &map);
        return {status, map_ptr(map)};
    }
    // The text of a map that parses.
    std::string written(const map_ptr &map) {
        const std::string path = dir_ / "written";
        const file_ptr stream(std::fopen(path.c_str(), "w"));
        EXPECT_EQ(tbs_rolemap_acl_utl_output(stream.get(), map.get()), 0);
        std::fflush(stream.get());
        return read_file(path);
    }
    void expect_refused(const std::string &text, tbs_status_t status, const lines &messages) {
        const result parsed = parse(text);
        EXPECT_EQ(parsed.status, status) << text;
        EXPECT_FALSE(parsed.map);
        EXPECT_EQ(printed_.take(), messages) << text;
    }

    temp_dir dir_;
    accounts known_;
    recorder printed_;
};

TEST_F(TbsRolemapUtl, ReadsPairs) {
    const result parsed = parse("# who may do what\n"
                                "\n"
                                "Role:dev --> User:CORP\\fred\n"
                                "   \t \n"
                                "  role:dev-->group:corp/staff  \n"
                                "   # an indented comment\n"
                                "Role:qa\t-->\tEveryone:\n"
                                "Role:dev --> Role:qa");
    ASSERT_EQ(parsed.status, 0);
    EXPECT_EQ(written(parsed.map), "Role:dev --> User:CORP\\fred\n"
                                   "Role:dev --> Group:CORP\\staff\n"
                                   "Role:dev --> Role:qa\n"
                                   "Role:qa --> Everyone:\n");
    EXPECT_TRUE(printed_.take().empty());
}

TEST_F(TbsRolemapUtl, ReadsWhatItWrites) {
    const result parsed = parse("Role:a --> User:CORP\\fred\nRole:a --> Role:b\nRole:b --> Owner-User:\n");
    ASSERT_EQ(parsed.status, 0);
    const std::string text = written(parsed.map);
    const result again = parse(text);
    const tbs_rolemap_acl_h_t x = parsed.map.get(), y = again.map.get();
    EXPECT_TRUE(tbs_rolemap_acl_cmp(&x, &y));
    EXPECT_EQ(written(again.map), text);
}

TEST_F(TbsRolemapUtl, ReadsLineEndsOfOtherSystemsAndEmptyFiles) {
    EXPECT_EQ(written(parse("Role:a --> Everyone:\r\n").map), "Role:a --> Everyone:\n");
    for (const char *text : {"", "\n\n", "# only this", "   "}) {
        const result parsed = parse(text);
        ASSERT_EQ(parsed.status, 0);
        EXPECT_EQ(tbs_rolemap_acl_num_role_bindings(parsed.map.get()), 0u);
        EXPECT_EQ(written(parsed.map), "");
    }
}

TEST_F(TbsRolemapUtl, EndsAtALineWithoutAnArrow) {
    expect_refused("# comment\n\nRole:a --> Everyone:\nRole:a Everyone:\nRole:b --> Everyone:\n", TBS_ST_ERROR,
                   {bad_line(4), form()});
    expect_refused("Role:a -> Everyone:\n", TBS_ST_ERROR, {bad_line(1), form()});
}

TEST_F(TbsRolemapUtl, EndsAtAnIdentityThatIsNone) {
    expect_refused("Rule:a --> Everyone:\n", TBS_ST_EINVAL,
                   {error(1, "Unrecognized ACL identity type \"Rule\".\n"), bad_identity("Rule:a", 1)});
    expect_refused("\nRole:a --> Domain:CORP\n", TBS_ST_EINVAL,
                   {error(1, "Unrecognized ACL identity type \"Domain\".\n"), bad_identity("Domain:CORP", 2)});
    expect_refused("Role:a --> User:CORP\\nobody\n", TBS_ST_ERROR,
                   {error(23, "Unknown ACL identity: CORP\\nobody.\n"), bad_identity("User:CORP\\nobody", 1)});
    expect_refused("--> Everyone:\n", TBS_ST_EINVAL,
                   {error(1, "Unrecognized ACL identity type \"\".\n"), bad_identity("", 1)});
    expect_refused("Role:a -->\n", TBS_ST_EINVAL,
                   {error(1, "Unrecognized ACL identity type \"\".\n"), bad_identity("", 1)});
}

TEST_F(TbsRolemapUtl, EndsAtAPairThatCannotBeBound) {
    expect_refused("User:CORP\\fred --> Everyone:\n", TBS_ST_EINVAL,
                   {error(13, "Identity  must be a role.\n"), bad_line(1), form()});
    expect_refused("Role: --> Everyone:\n", TBS_ST_EINVAL,
                   {error(22, "ACL identity's role name must not be empty.\n"), bad_line(1), form()});
    expect_refused("Role:A --> Role:C\nRole:C --> Role:B\nRole:A --> Role:B\n", TBS_ST_EINVAL,
                   {error(14, "Role: A is circularly defined.\n"), bad_line(3), form()});
}

// Bound identities are not checked: what follows the first arrow is a name.
TEST_F(TbsRolemapUtl, SplitsAtTheFirstArrow) {
    const result parsed = parse("Role:a --> Role:b --> Everyone:\n");
    ASSERT_EQ(parsed.status, 0);
    EXPECT_STREQ(parsed.map->bindings[0].ids[0].name, "b --> Everyone:");
    EXPECT_EQ(written(parsed.map), "Role:a --> Role:b --> Everyone:\n");
}

TEST_F(TbsRolemapUtl, RefusesANulOutsideComments) {
    expect_refused("Role:a --> Everyone:\0 # hidden\n"s, TBS_ST_ERROR, {bad_line(1), form()});
    expect_refused("\0Role:a --> Everyone:\n"s, TBS_ST_ERROR, {bad_line(1), form()});
    EXPECT_EQ(parse("# \0 hidden\nRole:a --> Everyone:\n"s).status, 0);
}

TEST_F(TbsRolemapUtl, ReadsLongLinesInPieces) {
    // 1023 characters are one line; what follows is the next.
    const std::string comment = "#" + std::string(1022, 'x');
    const result parsed = parse(comment + "Role:a --> Everyone:\nRole:b\n");
    EXPECT_EQ(parsed.status, TBS_ST_ERROR);
    EXPECT_EQ(printed_.take(), (lines{bad_line(3), form()}));
}

TEST_F(TbsRolemapUtl, NamesAFileThatCannotBeRead) {
    tbs_rolemap_acl_h_t map = reinterpret_cast<tbs_rolemap_acl_h_t>(8);
    const std::string missing = dir_ / "missing";
    EXPECT_EQ(tbs_rolemap_acl_utl_parse(missing.c_str(), &map), TBS_ST_ENOENT);
    EXPECT_EQ(printed_.take(),
              lines{common(18, "Unable to open file \"" + missing + "\": No such file or directory.\n")});
    EXPECT_EQ(map, reinterpret_cast<tbs_rolemap_acl_h_t>(8));
    const std::string directory = dir_ / "directory";
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    EXPECT_NE(tbs_rolemap_acl_utl_parse(directory.c_str(), &map), 0);
    const lines said = printed_.take();
    ASSERT_EQ(said.size(), 1u);
    EXPECT_TRUE(said[0].starts_with("6 cmsg[18]") || said[0].starts_with("6 cmsg[20]")) << said[0];
    EXPECT_EQ(tbs_rolemap_acl_utl_parse(nullptr, &map), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_utl_parse(missing.c_str(), nullptr), TBS_ST_EINVAL);
}

TEST_F(TbsRolemapUtl, PrintsRolesAndTheirIdentities) {
    const result parsed = parse("Role:dev --> User:CORP\\fred\nRole:dev --> Role:qa\nRole:qa --> Everyone:\n");
    EXPECT_EQ(tbs_rolemap_acl_utl_print(parsed.map.get()), 0);
    EXPECT_EQ(printed_.take(),
              (lines{plain(20, "    Role:dev\n"), plain(21, "      User:CORP\\fred\n"), plain(21, "      Role:qa\n"),
                     plain(20, "    Role:qa\n"), plain(21, "      Everyone:\n")}));
    EXPECT_EQ(tbs_rolemap_acl_utl_print(parse("").map.get()), 0);
    EXPECT_EQ(printed_.take(), lines{plain(18, "    # <empty rolemap>\n")});
    EXPECT_EQ(tbs_rolemap_acl_utl_print(nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_utl_output(nullptr, parsed.map.get()), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_utl_output(stdout, nullptr), TBS_ST_EINVAL);
}

// A map that no function refuses.
map_ptr raw_map(tbs_sid_acl_id_t role, tbs_sid_acl_id_t id) {
    tbs_role_binding_t binding{role, 1, &id};
    const tbs_rolemap_acl_bindings_t bindings{1, &binding};
    tbs_rolemap_acl_h_t map = nullptr;
    EXPECT_EQ(tbs_rolemap_acl_set_bindings(&map, &bindings), 0);
    return map_ptr(map);
}

TEST_F(TbsRolemapUtl, EndsAtAnIdentityWithoutAText) {
    const tbs_sid_acl_id_t role = sid_id(TBS_ACL_ID_ROLE, CREDUTL_SID_NOBODY, "", "r");
    const map_ptr unknown = raw_map(role, sid_id(TBS_ACL_ID_USER, sid(stranger)));
    EXPECT_EQ(tbs_rolemap_acl_utl_print(unknown.get()), TBS_ST_ERROR);
    lines said = printed_.take();
    ASSERT_EQ(said.size(), 2u);
    EXPECT_EQ(said[0], plain(20, "    Role:r\n"));
    EXPECT_EQ(said[1],
              error(24, "Unable to convert identity \"" + sid_text(stranger) + "\" to an account/group name.\n"));
    EXPECT_EQ(tbs_rolemap_acl_utl_output(stdout, unknown.get()), TBS_ST_ERROR);

    printed_.take();
    const map_ptr domain = raw_map(role, sid_id(TBS_ACL_ID_DOMAIN, CREDUTL_SID_NOBODY, "CORP"));
    EXPECT_EQ(tbs_rolemap_acl_utl_print(domain.get()), TBS_ST_EINVAL);
}

TEST_F(TbsRolemapUtl, RefusesTextsLongerThanItsBuffer) {
    const std::string fits(1023 - 5, 'r'), outgrows(1024 - 5, 'r');
    const tbs_sid_acl_id_t everyone = sid_id(TBS_ACL_ID_EVERYONE);
    const auto role = [](const std::string &name) {
        return sid_id(TBS_ACL_ID_ROLE, CREDUTL_SID_NOBODY, "", name.c_str());
    };
    EXPECT_EQ(tbs_rolemap_acl_utl_print(raw_map(role(fits), everyone).get()), 0);
    printed_.take();
    EXPECT_EQ(tbs_rolemap_acl_utl_print(raw_map(role(outgrows), everyone).get()), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(printed_.take(), lines{too_small()});
    EXPECT_EQ(tbs_rolemap_acl_utl_print(raw_map(role("r"), role(outgrows)).get()), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(printed_.take(), (lines{plain(20, "    Role:r\n"), too_small()}));
    EXPECT_EQ(tbs_rolemap_acl_utl_output(stdout, raw_map(role("r"), role(outgrows)).get()), TBS_ST_ENAMETOOLONG);
    EXPECT_EQ(printed_.take(), lines{too_small()});
}

TEST_F(TbsRolemapUtl, WritesNoForgedLines) {
    const map_ptr map =
        raw_map(sid_id(TBS_ACL_ID_ROLE, CREDUTL_SID_NOBODY, "", "a\nRole:b"), sid_id(TBS_ACL_ID_EVERYONE));
    const std::string text = written(map);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

TEST_F(TbsRolemapUtl, EveryAllocationMayFail) {
    dir_.write("map", "Role:dev --> User:CORP\\fred\nRole:dev --> Role:qa\nRole:qa --> Everyone:\n");
    const std::string path = dir_ / "map";
    tbs_rolemap_acl_h_t warm = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_utl_parse(path.c_str(), &warm), 0); // accounts are known now
    tbs_rolemap_acl_free(&warm);
    const int refused = faults::each_allocation([&](int, bool) {
        tbs_rolemap_acl_h_t map = nullptr;
        const tbs_status_t status = tbs_rolemap_acl_utl_parse(path.c_str(), &map);
        const faults::suspend unrefused;
        EXPECT_EQ(map != nullptr, status == 0);
        EXPECT_EQ(printed_.take().empty(), status == 0) << status;
        tbs_rolemap_acl_free(&map);
    });
    EXPECT_GT(refused, 8);
}

} // namespace
