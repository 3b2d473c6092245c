#include "acl_check_support.hpp"
#include "support/memory_meter.hpp"
#include "support/under_sanitizer.hpp"
#include "tbs/tbs_rolemap.h"

#include <map>
#include <random>
#include <thread>

namespace {

using namespace acl_test;
using std::string_literals::operator""s;
using text = std::optional<std::string>;

// ---- identities, policies and role maps as plain values

// One of a few SIDs: none is a record that holds no SID, nobody S-1-0-0.
struct known_sid {
    std::string text;
    credutl_sid_t record;
};
const known_sid &known(unsigned which) {
    static const std::vector<known_sid> all = [] {
        std::vector<known_sid> made{{"", {}}, {"S-1-0-0", CREDUTL_SID_NOBODY}};
        for (unsigned rid = 2; rid < 10; rid++) made.push_back({sid_text(rid), sid(rid)});
        return made;
    }();
    return all.at(which);
}
constexpr unsigned no_sid = 0, nobody = 1, known_sids = 10;

struct identity {
    tbs_acl_id_kind_t kind;
    unsigned sid = no_sid;
    text domain = "", name = "";

    // Borrows the texts.
    [[nodiscard]] tbs_sid_acl_id_t record() const & {
        return sid_id(kind, known(sid).record, domain ? domain->c_str() : nullptr, name ? name->c_str() : nullptr);
    }
    tbs_sid_acl_id_t record() && = delete;
};
struct entry {
    identity id;
    tbs_acl_permission_set_t perms;
};
struct binding {
    identity role;
    std::vector<identity> ids;
};
using entries = std::vector<entry>;
using bindings = std::vector<binding>;

identity user(unsigned which) { return {TBS_ACL_ID_USER, which}; }
identity group(unsigned which) { return {TBS_ACL_ID_GROUP, which}; }
identity role(text name) { return {TBS_ACL_ID_ROLE, no_sid, "", std::move(name)}; }
identity everyone() { return {TBS_ACL_ID_EVERYONE, nobody}; }
identity owner_user() { return {TBS_ACL_ID_OWNER_USER, nobody}; }
identity owner_group() { return {TBS_ACL_ID_OWNER_GROUP, nobody}; }

struct free_map {
    void operator()(tbs_rolemap_acl *map) const { tbs_rolemap_acl_free(&map); }
};
using map_ptr = std::unique_ptr<tbs_rolemap_acl, free_map>;

// Taken as they are: neither checked nor merged.
sid_ptr make_policy(const entries &all) {
    std::vector<tbs_acl_cooked_ent_t> records;
    for (const entry &e : all) records.push_back({e.id.record(), e.perms});
    const tbs_acl_cooked_info_t plain{static_cast<uint32_t>(records.size()), records.data()};
    tbs_sid_acl_h_t policy = nullptr;
    if (tbs_sid_acl_set_acl(&policy, &plain) != 0) throw std::runtime_error("no policy");
    return sid_ptr(policy);
}
map_ptr make_map(const bindings &all) {
    std::vector<std::vector<tbs_sid_acl_id_t>> ids(all.size());
    std::vector<tbs_role_binding_t> records;
    for (size_t i = 0; i < all.size(); i++) {
        for (const identity &id : all[i].ids) ids[i].push_back(id.record());
        records.push_back({all[i].role.record(), ids[i].size(), ids[i].data()});
    }
    const tbs_rolemap_acl_bindings_t plain{records.size(), records.data()};
    tbs_rolemap_acl_h_t map = nullptr;
    if (tbs_rolemap_acl_set_bindings(&map, &plain) != 0) throw std::runtime_error("no map");
    return map_ptr(map);
}

// ---- outcomes

// "kind SID domain name perms"; "-" for a string that is NULL.
std::string line(tbs_acl_id_kind_t kind, const std::string &sid, const char *domain, const char *name,
                 tbs_acl_permission_set_t perms) {
    std::string all = std::to_string(kind) + " [" + sid + "] ";
    all += (domain ? "\""s + domain + "\"" : "-"s) + ' ';
    all += (name ? "\""s + name + "\"" : "-"s) + ' ';
    return all + std::to_string(perms);
}
std::string line(const tbs_acl_cooked_ent_t &e) {
    char sid[CREDUTL_SID_STR_SIZE] = "";
    credutl_sid_to_str(&e.id.sid, sid, sizeof sid);
    return line(e.id.kind, sid, e.id.domain, e.id.name, e.perms);
}
std::string line(const entry &e) {
    const auto pointer = [](const text &t) { return t ? t->c_str() : nullptr; };
    return line(e.id.kind, known(e.id.sid).text, pointer(e.id.domain), pointer(e.id.name), e.perms);
}
lines shown(const entries &all) {
    lines result;
    for (const entry &e : all) result.push_back(line(e));
    return result;
}
lines shown(const tbs_sid_acl *acl) {
    lines result;
    for (uint32_t i = 0; i < acl->entries->count; i++) result.push_back(line(acl->entries->entries[i]));
    return result;
}

struct outcome {
    tbs_status_t status = 0;
    lines acl, printed;

    bool operator==(const outcome &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const outcome &o) {
        out << "status " << o.status << '\n';
        for (const std::string &l : o.acl) out << "  " << l << '\n';
        for (const std::string &l : o.printed) out << "  printed: " << l;
        return out;
    }
};
outcome made(const entries &all, lines printed = {}) { return {0, shown(all), std::move(printed)}; }
outcome failed(lines printed = {}) { return {TBS_ST_ERROR, {}, std::move(printed)}; }

const tbs_sid_acl_h_t untouched = reinterpret_cast<tbs_sid_acl_h_t>(8);

outcome effective(const sid_ptr &policy, const map_ptr &map, recorder &printed) {
    tbs_sid_acl_h_t acl = untouched;
    const tbs_status_t status = tbs_rolemap_acl_generate_effective_acl(policy.get(), map.get(), &acl);
    if (status) {
        EXPECT_EQ(acl, untouched);
        return {status, {}, printed.take()};
    }
    const sid_ptr owner(acl);
    return {status, shown(acl), printed.take()};
}
outcome effective(const entries &policy, const bindings &map) {
    recorder printed;
    return effective(make_policy(policy), make_map(map), printed);
}
// The new ACL of inputs for which there is one.
sid_ptr effective_acl(const sid_ptr &policy, const map_ptr &map) {
    tbs_sid_acl_h_t acl = nullptr;
    if (tbs_rolemap_acl_generate_effective_acl(policy.get(), map.get(), &acl) != 0)
        throw std::runtime_error("no ACL");
    return sid_ptr(acl);
}

std::string unknown_kind(int kind) {
    return error(0, "Unrecognized ACL identity type (" + std::to_string(kind) + ").\n");
}
std::string undefined_role(const std::string &name) {
    return acl_line(4, 16, "The role name \"" + name + "\" is not defined in the specified policy.\n");
}

// ---- direct entries

TEST(TbsEffectiveAcl, IsACopyOfAPolicyWithoutRoles) {
    const entries policy{{user(2), 1}, {group(3), 2}, {everyone(), 4}, {owner_user(), 8}, {owner_group(), 16}};
    EXPECT_EQ(effective(policy, {}), made(policy));
    EXPECT_EQ(effective({}, {}), made({}));
    EXPECT_EQ(effective({}, {{role("dev"), {user(2)}}}), made({}));
}

TEST(TbsEffectiveAcl, MergesRepeatedEntriesAtTheirFirstPlace) {
    EXPECT_EQ(
        effective({{user(2), 1}, {everyone(), 1}, {user(2), 6}, {user(3), 4}, {everyone(), 8}, {user(2), 1}}, {}),
        made({{user(2), 7}, {everyone(), 9}, {user(3), 4}}));
}

TEST(TbsEffectiveAcl, TakesAUserAndAGroupOfOneSidForOne) {
    EXPECT_EQ(effective({{group(2), 1}, {user(2), 2}}, {{role("dev"), {user(2)}}}), made({{group(2), 3}}));
    EXPECT_EQ(effective({{role("dev"), 4}}, {{role("dev"), {user(3), group(3)}}}), made({{user(3), 4}}));
}

TEST(TbsEffectiveAcl, KeepsEveryoneAndTheOwnersApart) {
    EXPECT_EQ(effective({{owner_group(), 1}, {everyone(), 2}, {owner_user(), 4}},
                        {{role("none"), {everyone(), owner_user()}}}),
              made({{owner_group(), 1}, {everyone(), 2}, {owner_user(), 4}}));
}

TEST(TbsEffectiveAcl, TellsEveryoneAndTheOwnersByTheirKindAlone) {
    for (const tbs_acl_id_kind_t kind : {TBS_ACL_ID_EVERYONE, TBS_ACL_ID_OWNER_USER, TBS_ACL_ID_OWNER_GROUP}) {
        const identity plain{kind, nobody}, named{kind, 4, "CORP", "fred"}, nulls{kind, no_sid, {}, {}};
        EXPECT_EQ(effective({{named, 1}, {plain, 2}, {nulls, 4}}, {}), made({{named, 7}}));
        EXPECT_EQ(effective({{role("r"), 8}, {plain, 1}}, {{role("r"), {named, nulls}}}), made({{plain, 9}}));
        EXPECT_EQ(effective({{role("r"), 8}}, {{role("r"), {nulls, named, plain}}}), made({{nulls, 8}}));
    }
}

TEST(TbsEffectiveAcl, CopiesIdentitiesAsTheyAre) {
    const identity full{TBS_ACL_ID_USER, 2, "CORP", "fred"}, nulls{TBS_ACL_ID_GROUP, 3, {}, {}};
    const sid_ptr policy = make_policy({{full, 1}, {nulls, 2}, {role("dev"), 4}});
    const map_ptr map = make_map({{role("dev"), {{TBS_ACL_ID_USER, 4, "X", "y"}}}});
    const sid_ptr acl = effective_acl(policy, map);
    EXPECT_EQ(shown(acl.get()), shown({{full, 1}, {nulls, 2}, {{TBS_ACL_ID_USER, 4, "X", "y"}, 4}}));
    EXPECT_NE(acl->entries->entries[0].id.name, policy->entries->entries[0].id.name);
    EXPECT_NE(acl->entries->entries[0].id.domain, policy->entries->entries[0].id.domain);
    EXPECT_NE(acl->entries->entries[2].id.name, map->bindings[0].ids[0].name);
    EXPECT_NE(acl->entries->entries[2].id.domain, map->bindings[0].ids[0].domain);
}

TEST(TbsEffectiveAcl, NeedsNoSourceOnceItIsMade) {
    sid_ptr policy = make_policy({{user(2), 1}, {role("dev"), 4}});
    map_ptr map = make_map({{role("dev"), {user(3), role("inner")}}});
    const sid_ptr acl = effective_acl(policy, map);
    policy.reset();
    map.reset();
    EXPECT_EQ(shown(acl.get()), shown({{user(2), 1}, {user(3), 4}, {role("inner"), 4}}));
}

// ---- roles

TEST(TbsEffectiveAcl, PutsTheHoldersInThePlaceOfARole) {
    EXPECT_EQ(effective({{role("dev"), 5}}, {{role("dev"), {user(2), user(3)}}}), made({{user(2), 5}, {user(3), 5}}));
}

TEST(TbsEffectiveAcl, KeepsADirectEntryWhereItIs) {
    const bindings map{{role("dev"), {user(2), user(3)}}};
    EXPECT_EQ(effective({{role("dev"), 1}, {user(4), 8}, {user(3), 2}}, map),
              made({{user(4), 8}, {user(3), 3}, {user(2), 1}}));
    EXPECT_EQ(effective({{user(3), 2}, {role("dev"), 1}}, map), made({{user(3), 3}, {user(2), 1}}));
}

TEST(TbsEffectiveAcl, UnitesThePermissionsOfAllRolesOfAnIdentity) {
    EXPECT_EQ(effective({{role("dev"), 1}, {role("qa"), 2}, {role("ops"), 4}},
                        {{role("ops"), {user(2), everyone()}},
                         {role("dev"), {user(3), user(2)}},
                         {role("qa"), {user(2), group(4), user(3)}}}),
              made({{user(2), 7}, {everyone(), 4}, {user(3), 3}, {group(4), 2}}));
}

TEST(TbsEffectiveAcl, FollowsTheOrderOfTheMapNotOfTheRolesInThePolicy) {
    EXPECT_EQ(effective({{role("a"), 1}, {role("b"), 2}}, {{role("b"), {user(5), user(2)}}, {role("a"), {user(3)}}}),
              made({{user(5), 2}, {user(2), 2}, {user(3), 1}}));
}

TEST(TbsEffectiveAcl, DropsRolesThatNobodyHolds) {
    EXPECT_EQ(effective({{role("dev"), 1}, {user(2), 2}, {role("qa"), 4}}, {}), made({{user(2), 2}}));
    EXPECT_EQ(effective({{role("dev"), 1}}, {{role("dev"), {}}}), made({}));
    EXPECT_EQ(effective({{role("dev"), 1}}, {{role("qa"), {user(2)}}}), made({}));
}

TEST(TbsEffectiveAcl, CountsTheLastEntryOfARoleOnly) {
    EXPECT_EQ(effective({{role("dev"), 1}, {role("dev"), 2}}, {{role("dev"), {user(2)}}}), made({{user(2), 2}}));
    EXPECT_EQ(effective({{role("dev"), 4}, {role("qa"), 1}, {role("DEV"), 2}, {role("Dev"), 8}},
                        {{role("dEV"), {user(2)}}, {role("QA"), {user(3)}}}),
              made({{user(2), 8}, {user(3), 1}}));
    EXPECT_EQ(effective({{role("dev"), 4}, {role("dev"), 0}}, {{role("dev"), {user(2)}}}), made({{user(2), 0}}));
}

TEST(TbsEffectiveAcl, MatchesRolesWithoutCase) {
    for (const auto &[named, bound] :
         {std::pair{"Dev", "dev"}, {"straße", "STRASSE"}, {"Ärzte", "äRZTE"}, {"ΣΑΣ", "σας"}}) {
        EXPECT_EQ(effective({{role(named), 1}}, {{role(bound), {user(2)}}}), made({{user(2), 1}})) << named;
    }
    EXPECT_EQ(effective({{role("dev"), 1}}, {{role("dev "), {user(2)}}, {role("de"), {user(3)}}}), made({}));
}

TEST(TbsEffectiveAcl, ExpandsTheFirstPolicyEntryToo) {
    // The position 0 of the policy is not taken for "absent".
    EXPECT_EQ(effective({{role("a"), 1}, {role("b"), 2}}, {{role("a"), {user(2)}}}), made({{user(2), 1}}));
}

TEST(TbsEffectiveAcl, ExpandsABindingThatStandsTwiceTwice) {
    EXPECT_EQ(effective({{role("a"), 1}}, {{role("a"), {user(2), user(2)}}, {role("A"), {user(3), user(2)}}}),
              made({{user(2), 1}, {user(3), 1}}));
}

TEST(TbsEffectiveAcl, KnowsARoleWithoutANameOnlyByThat) {
    EXPECT_EQ(effective({{role(""), 1}}, {{role(""), {user(2)}}, {role({}), {user(3)}}, {role("x"), {user(4)}}}),
              made({{user(2), 1}, {user(3), 1}}));
    EXPECT_EQ(effective({{role({}), 1}}, {{role(""), {user(2)}}}), made({{user(2), 1}}));
}

TEST(TbsEffectiveAcl, DoesNotTakeOtherKindsForRoles) {
    for (const identity &other : {everyone(), owner_user(), owner_group()}) {
        identity named = other;
        named.name = "dev";
        EXPECT_EQ(effective({{role("dev"), 1}}, {{named, {user(2)}}}), made({}));
        named.name = std::string(300, 'x'); // no part of its key
        EXPECT_EQ(effective({{role("dev"), 1}}, {{named, {user(2)}}}), made({}));
        named.name = "";
        EXPECT_EQ(effective({{role(""), 1}}, {{named, {user(2)}}}), made({}));
    }
    // A map keeps no SID of what it binds to.
    EXPECT_EQ(effective({{role("dev"), 1}}, {{user(2), {user(2)}}}), failed());
    EXPECT_EQ(effective({{role("dev"), 1}}, {{{TBS_ACL_ID_DOMAIN, no_sid, "CORP", "dev"}, {user(2)}}}),
              failed({unknown_kind(3)}));
}

// ---- roles in roles

TEST(TbsEffectiveAcl, ExpandsOneLevelOnly) {
    const bindings map{{role("outer"), {role("inner"), user(2)}}, {role("inner"), {user(3)}}};
    EXPECT_EQ(effective({{role("outer"), 1}}, map), made({{role("inner"), 1}, {user(2), 1}}));
    EXPECT_EQ(effective({{role("outer"), 1}, {role("inner"), 2}}, map),
              made({{role("inner"), 1}, {user(2), 1}, {user(3), 2}}));
}

TEST(TbsEffectiveAcl, KeepsBoundRolesApartThatDifferInCase) {
    EXPECT_EQ(effective({{role("a"), 1}, {role("b"), 2}},
                        {{role("a"), {role("x"), role("X"), role("x")}}, {role("b"), {role("X"), role("y")}}}),
              made({{role("x"), 1}, {role("X"), 3}, {role("y"), 2}}));
}

TEST(TbsEffectiveAcl, EndsForLoopsAndRolesBoundToThemselves) {
    const bindings map{
        {role("self"), {role("self")}}, {role("a"), {role("b"), user(2)}}, {role("b"), {role("A"), user(3)}}};
    EXPECT_EQ(effective({{role("self"), 1}}, map), made({{role("self"), 1}}));
    EXPECT_EQ(effective({{role("a"), 1}, {role("b"), 2}, {role("SELF"), 4}}, map),
              made({{role("self"), 4}, {role("b"), 1}, {user(2), 1}, {role("A"), 2}, {user(3), 2}}));
}

TEST(TbsEffectiveAcl, EndsForAChainOf100000Roles) {
    constexpr unsigned depth = 100'000;
    const auto name = [](unsigned i) { return "r" + std::to_string(i); };
    bindings chain;
    entries all_roles, expected;
    for (unsigned i = 0; i < depth; i++) {
        chain.push_back({role(name(i)), {i + 1 < depth ? role(name(i + 1)) : user(2)}});
        all_roles.push_back({role(name(i)), i + 1});
        expected.push_back({chain.back().ids[0], i + 1});
    }
    const map_ptr map = make_map(chain);
    EXPECT_EQ(shown(effective_acl(make_policy({{role("R0"), 1}}), map).get()), shown({{role("r1"), 1}}));
    EXPECT_EQ(shown(effective_acl(make_policy(all_roles), map).get()), shown(expected));
}

// ---- keys

TEST(TbsEffectiveAcl, TakesKeysOfUpTo255Bytes) {
    const std::string longest(250, 'x'), upper(250, 'X');
    EXPECT_EQ(effective({{role(longest), 1}}, {{role(upper), {user(2), role(upper)}}}),
              made({{user(2), 1}, {role(upper), 1}}));
}

TEST(TbsEffectiveAcl, RefusesKeysOf256BytesWhereverTheyStand) {
    for (const size_t length : {251u, 252u, 1018u, 1019u, 1023u, 1024u, 5000u}) {
        const identity long_role = role(std::string(length, 'x'));
        const outcome refused = failed({too_small()});
        EXPECT_EQ(effective({{user(2), 1}, {long_role, 1}}, {}), refused) << length;
        EXPECT_EQ(effective({}, {{long_role, {user(2)}}}), refused) << length; // though no policy names it
        EXPECT_EQ(effective({{role("dev"), 1}}, {{role("dev"), {user(2), long_role}}}), refused) << length;
    }
}

TEST(TbsEffectiveAcl, RefusesRolesThatGrowTooLongWhenFolded) {
    std::string growing; // of 2 bytes each, 6 when folded
    for (int i = 0; i < 42; i++) growing += "ΐ";
    EXPECT_EQ(effective({{role(growing), 1}}, {}), failed());
    EXPECT_EQ(effective({}, {{role(growing), {user(2)}}}), failed());
    // Identities are not folded.
    EXPECT_EQ(effective({{role("dev"), 1}}, {{role("dev"), {role(growing)}}}), made({{role(growing), 1}}));
    growing.resize(82); // 246 bytes when folded, 251 with "role:"
    EXPECT_EQ(effective({{role(growing), 1}}, {{role(growing), {user(2)}}}), made({{user(2), 1}}));
    growing += "xxxx";
    EXPECT_EQ(effective({{role(growing), 1}}, {{role(growing), {user(2)}}}), made({{user(2), 1}}));
    growing += "x";
    EXPECT_EQ(effective({{role(growing), 1}}, {}), failed());
}

TEST(TbsEffectiveAcl, DoesNotCountNamesThatAreNoPartOfAKey) {
    const std::string name(5000, 'x');
    const identity long_user{TBS_ACL_ID_USER, 2, name, name}, long_everyone{TBS_ACL_ID_EVERYONE, nobody, name, name};
    const identity long_domain{TBS_ACL_ID_ROLE, 5, name, "inner"};
    EXPECT_EQ(effective({{long_user, 1}, {long_everyone, 2}, {role("dev"), 4}}, {{role("dev"), {long_domain}}}),
              made({{long_user, 1}, {long_everyone, 2}, {long_domain, 4}}));
}

// ---- identities without a text

TEST(TbsEffectiveAcl, RefusesRecordsWithoutASid) {
    for (const identity &id : {user(no_sid), group(no_sid)}) {
        EXPECT_EQ(effective({{user(2), 1}, {id, 1}}, {}), failed());
        EXPECT_EQ(effective({{role("dev"), 1}}, {{role("dev"), {user(2), id}}}), failed());
    }
}

TEST(TbsEffectiveAcl, RefusesKindsWithoutAText) {
    for (const int kind : {0, 3, 8, 99, -1}) {
        const identity id{static_cast<tbs_acl_id_kind_t>(kind), 2, "CORP", "fred"};
        EXPECT_EQ(effective({{id, 1}}, {}), failed({unknown_kind(kind)}));
        EXPECT_EQ(effective({{role("dev"), 1}}, {{role("dev"), {id}}}), failed({unknown_kind(kind)}));
    }
}

TEST(TbsEffectiveAcl, EndsWithTheFirstFailureInOrder) {
    const identity none{TBS_ACL_ID_NONE}, domain{TBS_ACL_ID_DOMAIN, no_sid, "CORP"},
        longer = role(std::string(251, 'x'));
    EXPECT_EQ(effective({{none, 1}, {longer, 1}}, {{domain, {user(no_sid)}}}), failed({unknown_kind(0)}));
    EXPECT_EQ(effective({{longer, 1}, {none, 1}}, {}), failed({too_small()}));
    EXPECT_EQ(effective({{role("dev"), 1}}, {{role("dev"), {domain, longer}}, {none, {}}}),
              failed({unknown_kind(3)}));
    EXPECT_EQ(effective({{role("dev"), 1}}, {{longer, {}}, {role("dev"), {domain}}}), failed({too_small()}));
}

TEST(TbsEffectiveAcl, LooksAtNobodyOfRolesThatThePolicyDoesNotName) {
    const bindings map{{role("qa"), {user(no_sid), {TBS_ACL_ID_NONE}, role(std::string(999, 'x'))}}};
    EXPECT_EQ(effective({{user(2), 1}, {role("dev"), 1}}, map), made({{user(2), 1}}));
}

TEST(TbsEffectiveAcl, TakesSidsThatNoAccountHas) {
    const accounts domain;
    domain.use("CORP\\only user " + known(2).text + '\n');
    EXPECT_EQ(effective({{user(9), 1}, {role("dev"), 2}}, {{role("dev"), {user(2), group(8), user(nobody)}}}),
              made({{user(9), 1}, {user(2), 2}, {group(8), 2}, {user(nobody), 2}}));
}

TEST(TbsEffectiveAcl, GrantsToHoldersAndToNobodyElse) {
    const sid_ptr policy = make_policy({{role("dev"), 1}, {role("inner"), 2}, {user(nobody), 4}});
    const sid_ptr acl =
        effective_acl(policy, make_map({{role("dev"), {user(2), group(3), role("inner"), user(nobody)}}}));
    const auto grants = [&](unsigned client, unsigned in_group, tbs_acl_permission_set_t asked) {
        sid_person person{{}, known(client).record, CREDUTL_SID_NOBODY, {known(in_group).record}};
        tbs_boolean_t granted = 2;
        EXPECT_EQ(
            tbs_sid_acl_check_permission_creds(acl.get(), asked, person.whole().get(), nullptr, nullptr, &granted),
            0);
        return granted == 1;
    };
    EXPECT_TRUE(grants(2, 4, 1));
    EXPECT_TRUE(grants(5, 3, 1));
    EXPECT_FALSE(grants(5, 4, 1));
    EXPECT_FALSE(grants(2, 3, 2)); // nobody holds the inner role
    EXPECT_FALSE(grants(2, nobody, 4));
}

// ---- traces

TEST(TbsEffectiveAcl, TracesRolesOfTheMapThatThePolicyDoesNotName) {
    const entries policy{{role("dev"), 1}};
    const bindings map{{role("QA"), {user(2)}}, {role("DEV"), {user(3)}}, {role(""), {}}, {role({}), {user(4)}}};
    const entries expected{{user(3), 1}};
    {
        const tracing on(4, "tbs_acl:4");
        EXPECT_EQ(effective(policy, map), made(expected, {undefined_role("QA"), undefined_role("")}));
        EXPECT_EQ(effective({}, {{role("dev"), {user(2)}}}), made({}, {undefined_role("dev")}));
        identity other = everyone();
        other.name = "dev"; // no role, whatever its name
        EXPECT_EQ(effective(policy, {{other, {user(2)}}}), made({}, {undefined_role("dev")}));
        EXPECT_EQ(effective({{role("x"), 1}}, {{role("one"), {}}, {role("x"), {user(no_sid)}}, {role("two"), {}}}),
                  failed({undefined_role("one")}));
    }
    for (const auto &[verbosity, modules] : {std::pair{3, "tbs_acl:4"}, {4, "tbs_acl:3"}, {4, "other:4"}, {4, ""}}) {
        const tracing not_this(verbosity, modules);
        EXPECT_EQ(effective(policy, map), made(expected)) << verbosity << modules;
    }
    const tracing more(9, "*:9");
    EXPECT_EQ(effective(policy, map).printed.size(), 2u);
}

// ---- the new ACL

TEST(TbsEffectiveAcl, HasRoomForAllThatMayComeFromTheStart) {
    const auto capacity = [](const entries &policy, const bindings &map) {
        const sid_ptr acl = effective_acl(make_policy(policy), make_map(map));
        const auto *array = acl->entries->entries;
        const tbs_acl_array_header_t &header = reinterpret_cast<const tbs_acl_array_header_t *>(array)[-1];
        EXPECT_EQ(header.element_size, sizeof *array);
        EXPECT_EQ(header.ownership, 1u);
        EXPECT_EQ(acl->id_count, 0u);
        EXPECT_EQ(acl->ids, nullptr);
        return header.capacity;
    };
    EXPECT_EQ(capacity({}, {}), 0u);
    EXPECT_EQ(capacity({{role("a"), 1}}, {}), 0u);
    EXPECT_EQ(capacity({{user(2), 1}, {user(2), 1}, {role("a"), 1}}, {}), 2u);
    EXPECT_EQ(capacity({{user(2), 1}, {role("a"), 1}}, {{role("a"), {user(3), user(2)}}, {role("b"), {user(4)}}}),
              4u);
}

TEST(TbsEffectiveAcl, IsAnAclLikeAnyOther) {
    const sid_ptr empty = effective_acl(make_policy({}), make_map({}));
    for (unsigned rid = 100; rid < 130; rid++) ASSERT_EQ(set(empty, TBS_ACL_ID_USER, sid(rid), rid), 0);
    EXPECT_EQ(tbs_sid_acl_num_entries(empty.get()), 30u);

    const sid_ptr acl =
        effective_acl(make_policy({{user(2), 1}, {role("dev"), 2}}), make_map({{role("dev"), {user(3), user(4)}}}));
    EXPECT_EQ(set(acl, TBS_ACL_ID_USER, known(3).record, 7), 0);
    EXPECT_EQ(set(acl, TBS_ACL_ID_EVERYONE, CREDUTL_SID_NOBODY, 1), 0);
    const identity first = user(2);
    const tbs_sid_acl_id_t id = first.record();
    EXPECT_EQ(tbs_sid_acl_remove_entry(acl.get(), &id), 0);
    EXPECT_EQ(shown(acl.get()), shown({{everyone(), 1}, {user(3), 7}, {user(4), 2}}));
}

TEST(TbsEffectiveAcl, LeavesPolicyAndMapAsTheyAre) {
    const sid_ptr policy = make_policy({{user(2), 1}, {role("dev"), 2}, {user(2), 4}, {role("Dev"), 8}});
    const map_ptr map = make_map({{role("dev"), {user(3), user(2)}}, {role("qa"), {user(4)}}});
    const lines before = shown(policy.get());
    tbs_rolemap_acl_h_t copy = nullptr, handle = map.get();
    ASSERT_EQ(tbs_rolemap_acl_copy(handle, &copy), 0);
    const map_ptr owner(copy);
    EXPECT_EQ(shown(effective_acl(policy, map).get()), shown({{user(2), 13}, {user(3), 8}}));
    EXPECT_EQ(shown(policy.get()), before);
    EXPECT_TRUE(tbs_rolemap_acl_cmp(&handle, &copy));
}

TEST(TbsEffectiveAcl, ComesFromMapsMadeStepByStep) {
    const sid_ptr policy = make_sid();
    ASSERT_EQ(set_role(policy, "Dev", 3), 0);
    ASSERT_EQ(set(policy, TBS_ACL_ID_USER, known(4).record, 4), 0);
    tbs_rolemap_acl_h_t handle = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_create(&handle), 0);
    const map_ptr map(handle);
    for (unsigned which = 2; which < known_sids; which++) {
        const identity holder = user(which), held = role(which % 2 ? "qa" : "dev");
        const tbs_sid_acl_id_t r = held.record(), id = holder.record();
        ASSERT_EQ(tbs_rolemap_acl_add_role_binding(handle, &r, &id), 0);
    }
    EXPECT_EQ(shown(effective_acl(policy, map).get()),
              shown({{user(4), 7}, {user(2), 3}, {user(6), 3}, {user(8), 3}}));
}

TEST(TbsEffectiveAcl, RefusesNulls) {
    recorder printed;
    const sid_ptr policy = make_policy({});
    const map_ptr map = make_map({});
    tbs_sid_acl_h_t acl = untouched;
    EXPECT_EQ(tbs_rolemap_acl_generate_effective_acl(nullptr, map.get(), &acl), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_generate_effective_acl(policy.get(), nullptr, &acl), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_generate_effective_acl(policy.get(), map.get(), nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(acl, untouched);
    EXPECT_TRUE(printed.take().empty());
}

// ---- memory and threads

TEST(TbsEffectiveAcl, EveryAllocationMayFail) {
    recorder printed;
    const identity named{TBS_ACL_ID_USER, 2, "CORP", "fred"};
    const sid_ptr policy = make_policy({{named, 1}, {role("dev"), 2}, {group(3), 4}, {role("qa"), 8}, {named, 16}});
    const map_ptr map = make_map({{role("dev"), {named, {TBS_ACL_ID_GROUP, 4, "CORP", "x"}, role("inner")}},
                                  {role("QA"), {role("inner"), role("Inner")}}});
    const lines before = shown(policy.get());
    const lines expected = shown(effective_acl(policy, map).get());
    const int refused = faults::each_allocation([&](int, bool) {
        tbs_sid_acl_h_t acl = untouched;
        const tbs_status_t status = tbs_rolemap_acl_generate_effective_acl(policy.get(), map.get(), &acl);
        const faults::suspend unrefused;
        if (status == 0) {
            EXPECT_EQ(shown(sid_ptr(acl).get()), expected);
            EXPECT_TRUE(printed.take().empty());
            return;
        }
        EXPECT_EQ(status, TBS_ST_ENOMEM);
        EXPECT_EQ(acl, untouched);
        EXPECT_EQ(printed.take(), lines{no_memory()});
        EXPECT_EQ(shown(policy.get()), before);
    });
    // Handle, list, its two arrays, the tables; two strings for each account with a name, one for each role.
    EXPECT_GE(refused, 4 + 2 + 2 * 2 + 2);
}

TEST(TbsEffectiveAcl, TakesMemoryInProportionToItsInput) {
    constexpr unsigned holders = 20'000;
    bindings all{{role("dev"), {}}};
    for (unsigned i = 0; i < holders; i++) all[0].ids.push_back(role("r" + std::to_string(i)));
    const map_ptr map = make_map(all);
    const sid_ptr policy = make_policy({{role("dev"), 1}});
    const memory_meter meter;
    const sid_ptr acl = effective_acl(policy, map);
    EXPECT_EQ(tbs_sid_acl_num_entries(acl.get()), holders);
    EXPECT_LE(meter.peak(), 64 * 1024 + holders * 3 * sizeof(tbs_acl_cooked_ent_t));
}

TEST(TbsEffectiveAcl, ComesOfSharedSourcesInTwoThreadsAtOnce) {
    entries direct;
    bindings bound;
    for (unsigned i = 0; i < 40; i++) {
        direct.push_back({i % 2 ? role("r" + std::to_string(i)) : user(2 + i % 8), i + 1});
        bound.push_back({role("R" + std::to_string(i)), {user(2 + i % 7), role("x" + std::to_string(i % 5))}});
    }
    const sid_ptr policy = make_policy(direct);
    const map_ptr map = make_map(bound);
    const lines expected = shown(effective_acl(policy, map).get());
    int right[2] = {};
    std::vector<std::thread> threads;
    for (int &count : right) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; i++) count += shown(effective_acl(policy, map).get()) == expected;
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(right[0], 200);
    EXPECT_EQ(right[1], 200);
}

// ---- the rules in their plainest form, against random policies and maps

class model {
public:
    [[nodiscard]] outcome run(const entries &policy, const bindings &map) {
        try {
            first_pass(policy);
            second_pass(policy, map);
        } catch (const refusal &) {
            return failed(printed_);
        }
        return made(out_, printed_);
    }

private:
    struct refusal {};

    static constexpr size_t most_bytes = 255;

    std::string key_of(const identity &id) {
        switch (id.kind) {
        case TBS_ACL_ID_USER:
        case TBS_ACL_ID_GROUP:
            if (known(id.sid).text.empty()) throw refusal();
            return known(id.sid).text;
        case TBS_ACL_ID_EVERYONE: return "Everyone:";
        case TBS_ACL_ID_OWNER_USER: return "Owner-User:";
        case TBS_ACL_ID_OWNER_GROUP: return "Owner-Group:";
        case TBS_ACL_ID_ROLE: {
            std::string key = "Role:" + id.name.value_or("");
            if (key.size() <= most_bytes) return key;
            printed_.push_back(too_small());
            throw refusal();
        }
        default: printed_.push_back(unknown_kind(static_cast<int>(id.kind))); throw refusal();
        }
    }

    // For the letters that the names below are made of.
    static std::string fold(const std::string &key) {
        static const std::map<std::string, std::string> others{{"Ä", "ä"}, {"ß", "ss"}, {"ΐ", "\u03B9\u0308\u0301"}};
        std::string folded;
        for (size_t i = 0; i < key.size();) {
            const auto found = others.find(key.substr(i, 2));
            folded += found != others.end() ? found->second : std::string(1, lower(key[i]));
            i += found != others.end() ? 2 : 1;
        }
        if (folded.size() > most_bytes) throw refusal();
        return folded;
    }
    static char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

    void first_pass(const entries &policy) {
        for (size_t i = 0; i < policy.size(); i++) {
            const std::string key = key_of(policy[i].id);
            if (policy[i].id.kind == TBS_ACL_ID_ROLE) {
                roles_[fold(key)] = i;
            } else {
                enter(key, policy[i].id, policy[i].perms);
            }
        }
    }

    void second_pass(const entries &policy, const bindings &map) {
        for (const binding &b : map) {
            identity bare = b.role; // a map keeps no SID of a role
            bare.sid = no_sid;
            const auto found = roles_.find(fold(key_of(bare)));
            if (found == roles_.end()) {
                if (b.role.name) printed_.push_back(undefined_role(*b.role.name));
                continue;
            }
            for (const identity &id : b.ids) enter(key_of(id), id, policy[found->second].perms);
        }
    }

    void enter(const std::string &key, const identity &id, tbs_acl_permission_set_t perms) {
        const auto [place, is_new] = identities_.emplace(key, out_.size());
        if (is_new) {
            out_.push_back({id, perms});
        } else {
            out_[place->second].perms |= perms;
        }
    }

    std::map<std::string, size_t> roles_, identities_;
    entries out_;
    lines printed_;
};

// Random inputs: mostly what is met in practice, now and then what is not.
class random_inputs {
public:
    entries policy() {
        entries all;
        for (unsigned n = pick(max_); n > 0; n--) all.push_back({any(), pick(TBS_ACL_STORED_PERMS + 1)});
        return all;
    }
    bindings map() {
        bindings all;
        for (unsigned n = pick(max_); n > 0; n--) {
            all.push_back({now_and_then() ? any() : role(name()), {}});
            for (unsigned ids = pick(max_); ids > 0; ids--) all.back().ids.push_back(any());
        }
        return all;
    }
    void next() { max_ = now_and_then() ? 40 : 6; }

private:
    unsigned pick(unsigned n) { return static_cast<unsigned>(random_() % n); }
    bool now_and_then() { return pick(150) == 0; }

    text name() {
        static const text common[] = {"dev",     "Dev",     "DEV", "qa", "Qa", "lead", "straße",
                                      "STRASSE", "strasse", "Äz",  "äZ", "",   {}};
        static const text odd[] = {std::string(250, 'x'),
                                   std::string(250, 'X'),
                                   std::string(251, 'x'),
                                   std::string(1024, 'x'),
                                   "ΐ",
                                   std::string(100, 'y') + "ΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐΐ"};
        return now_and_then() ? odd[pick(std::size(odd))] : common[pick(std::size(common))];
    }
    text some_text() {
        static const text all[] = {"", {}, "CORP"};
        return all[pick(std::size(all))];
    }
    identity any() {
        const tbs_acl_id_kind_t kind = now_and_then() ? pick(10) : pick(3) ? 1 + pick(2) : 4 + pick(4);
        return {kind, now_and_then() ? no_sid : 1 + pick(known_sids - 1), some_text(), name()};
    }

    std::mt19937 random_{20'27};
    unsigned max_ = 6;
};

TEST(TbsEffectiveAcl, FollowsThePlainModelOnRandomInputs) {
    const tracing on(4, "tbs_acl:4");
    recorder printed;
    random_inputs random;
    unsigned refused = 0;
    constexpr unsigned runs = under_thread_sanitizer ? 1'000 : 50'000; // of one thread
    for (unsigned run = 0; run < runs; run++) {
        random.next();
        const entries policy = random.policy();
        const bindings map = random.map();
        const outcome expected = model().run(policy, map);
        ASSERT_EQ(effective(make_policy(policy), make_map(map), printed), expected) << "run " << run;
        refused += expected.status != 0;
    }
    EXPECT_GT(refused, runs / 50);
    EXPECT_LT(refused, runs / 2);
}

// ---- generic permissions by names

struct child {
    text name;
    lines names;

    bool operator==(const child &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const child &c) {
        out << c.name.value_or("-") << ':';
        for (const std::string &n : c.names) out << ' ' << n;
        return out;
    }
};
child taken(const tbs_acl_generic_child_t &from) {
    child all{from.name ? text(from.name) : text(), {}};
    for (uint32_t i = 0; i < from.count; i++) all.names.emplace_back(from.names[i]);
    return all;
}

// In the order of the record: Read, Change, Execute, Full.
std::vector<child> taken(const tbs_acl_generic_child_map_t &from) {
    return {taken(from.read), taken(from.change), taken(from.execute), taken(from.full)};
}
std::vector<child> children(const tbs_acl_perm_name_t *extra, size_t count, const tbs_acl_generic_map_t &from) {
    tbs_acl_generic_child_map_t made;
    std::memset(&made, 0xA5, sizeof made); // overwritten, not released
    EXPECT_EQ(tbs_acl_utl_get_generic_child_map(extra, count, &from, &made), 0);
    std::vector<child> all = taken(made);
    tbs_acl_free_generic_child_map(&made);
    EXPECT_EQ(taken(made), std::vector<child>(4));
    return all;
}

TEST(TbsGenericChildMap, NamesWhatEachGenericPermissionStandsFor) {
    recorder printed;
    EXPECT_EQ(children(names, name_count, acl_test::map),
              (std::vector<child>{
                  {"Read", {"List", "AclRead"}},
                  {"Change", {"List", "Modify", "Create", "Delete", "AclRead"}},
                  {"Execute", {"Run"}},
                  {"Full", {"List", "Modify", "Create", "Run", "Mount", "Delete", "AclRead", "AclWrite"}}}));
    EXPECT_TRUE(printed.take().empty());
}

TEST(TbsGenericChildMap, HasEmptyListsForMasksOfZero) {
    recorder printed;
    EXPECT_EQ(children(names, name_count, no_map), std::vector<child>(4));
    EXPECT_EQ(children(nullptr, 0, {0, 0, 0, 0x10000}), (std::vector<child>{{}, {}, {}, {"Full", {"Delete"}}}));
    EXPECT_EQ(children(nullptr, 0, {0x10000, 0, 0, 0}), (std::vector<child>{{"Read", {"Delete"}}, {}, {}, {}}));
    EXPECT_EQ(children(nullptr, 0, {0, 0x20000, 0, 0}), (std::vector<child>{{}, {"Change", {"AclRead"}}, {}, {}}));
    EXPECT_EQ(children(nullptr, 0, {0, 0, 0x40000, 0}), (std::vector<child>{{}, {}, {"Execute", {"AclWrite"}}, {}}));
    EXPECT_TRUE(printed.take().empty());
}

TEST(TbsGenericChildMap, SearchesTheNamesOfTheCallerFirst) {
    constexpr tbs_acl_perm_name_t mine[] = {
        {"Remove", 0x10000}, {nullptr, 0x20000}, {"aclread", 0x1}, {"Odd", 0x80000000}, {"None", 0}};
    EXPECT_EQ(children(mine, std::size(mine), {0x30001, 0x10000, 0x80000000, 0x70000}),
              (std::vector<child>{{"Read", {"Remove", "aclread", "0x00020000"}}, // "AclRead" means 1 here
                                  {"Change", {"Remove"}},
                                  {"Execute", {"Odd"}},
                                  {"Full", {"Remove", "AclWrite", "0x00020000"}}}));
}

TEST(TbsGenericChildMap, KnowsTheBuiltInNamesInTheirOrder) {
    EXPECT_EQ(children(nullptr, 0, {0x0780FFFF, 0x007F0000, 0xF8000000, 0xFFFFFFFF}),
              (std::vector<child>{{"Read", {"SpecificOther"}},
                                  {"Change", {"Delete", "AclRead", "AclWrite", "StandardOther"}},
                                  {"Execute", {"Reserved", "Full", "Execute", "Read", "Change"}},
                                  {"Full",
                                   {"SpecificOther", "Delete", "AclRead", "AclWrite", "StandardOther", "Reserved",
                                    "Full", "Execute", "Read", "Change"}}}));
    EXPECT_EQ(children(nullptr, 0, {0x10001, 1, 0, 0}),
              (std::vector<child>{{"Read", {"Delete", "0x00000001"}}, {"Change", {"0x00000001"}}, {}, {}}));
}

TEST(TbsGenericChildMap, TakesAnyNumberOfNames) {
    lines texts;
    for (int i = 0; i < 1000; i++) texts.push_back("Perm" + std::to_string(i));
    std::vector<tbs_acl_perm_name_t> rows;
    for (size_t i = 0; i < texts.size(); i++) rows.push_back({texts[i].c_str(), i == 999 ? 1u : 2u});
    for (const size_t count : {36u, 37u, 38u, 48u, 49u, 1000u}) {
        EXPECT_EQ(children(rows.data() + (1000 - count), count, {0x10001, 0, 0, 0})[0],
                  (child{"Read", {"Perm999", "Delete"}}))
            << count;
    }
}

TEST(TbsGenericChildMap, RefusesNulls) {
    recorder printed;
    tbs_acl_generic_child_map_t made{};
    EXPECT_EQ(tbs_acl_utl_get_generic_child_map(nullptr, 1, &acl_test::map, &made), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_utl_get_generic_child_map(names, name_count, nullptr, &made), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_acl_utl_get_generic_child_map(names, name_count, &acl_test::map, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(taken(made), std::vector<child>(4));
    EXPECT_TRUE(printed.take().empty());
}

TEST(TbsGenericChildMap, IsReleasedTwiceWithoutHarm) {
    tbs_acl_free_generic_child_map(nullptr);
    tbs_acl_generic_child_map_t made{};
    tbs_acl_free_generic_child_map(&made);
    ASSERT_EQ(tbs_acl_utl_get_generic_child_map(names, name_count, &acl_test::map, &made), 0);
    tbs_acl_free_generic_child_map(&made);
    for (const tbs_acl_generic_child_t &list : {made.read, made.change, made.execute, made.full}) {
        EXPECT_EQ(list.name, nullptr);
        EXPECT_EQ(list.names, nullptr);
        EXPECT_EQ(list.count, 0u);
    }
    tbs_acl_free_generic_child_map(&made);
}

TEST(TbsGenericChildMap, LeavesOutListsForWhichThereIsNoMemory) {
    recorder printed;
    const std::vector<child> whole = children(names, name_count, acl_test::map);
    const int refused = faults::each_allocation([&](int n, bool lasting) {
        tbs_acl_generic_child_map_t made;
        const tbs_status_t status = tbs_acl_utl_get_generic_child_map(names, name_count, &acl_test::map, &made);
        const faults::suspend unrefused;
        EXPECT_EQ(status, 0);
        const std::vector<child> lists = taken(made);
        size_t missing = 0;
        for (size_t i = 0; i < lists.size(); i++) {
            if (lists[i] == whole[i]) continue;
            EXPECT_EQ(lists[i], child{}) << n;
            missing++;
        }
        EXPECT_EQ(printed.take(), lines(missing, no_memory())) << n;
        if (!lasting) {
            EXPECT_LE(missing, 1u);
        } else if (n == 1) {
            EXPECT_EQ(missing, 4u);
        }
        tbs_acl_free_generic_child_map(&made);
    });
    // Each list: its name, the array, the names of 8 + 5 + 2 + 1 permissions.
    EXPECT_GE(refused, 4 * 2 + 16);
}

TEST(TbsGenericChildMap, IsEmptyWhenThereIsNoMemoryForTheManyNames) {
    recorder printed;
    const std::vector<tbs_acl_perm_name_t> rows(100, {"Many", 1});
    tbs_acl_generic_child_map_t made;
    {
        const faults::refuse first(1, false);
        EXPECT_EQ(tbs_acl_utl_get_generic_child_map(rows.data(), rows.size(), &acl_test::map, &made), 0);
        EXPECT_TRUE(first.happened());
    }
    EXPECT_EQ(taken(made), std::vector<child>(4));
    EXPECT_EQ(printed.take(), lines{no_memory()});
    tbs_acl_free_generic_child_map(&made);
}

TEST(TbsGenericChildMap, FollowsThePlainRuleOnRandomMasks) {
    std::vector<tbs_acl_perm_name_t> vocabulary(std::begin(names), std::end(names));
#define ROW(symbol, word, value) vocabulary.push_back({word, value});
    TBS_ACL_PERMISSION_LIST(ROW)
#undef ROW
    const auto plain = [&](const char *name, tbs_acl_permission_set_t mask) {
        if (mask == 0) return child{};
        child expected{name, {}};
        tbs_acl_permission_set_t rest = mask;
        for (const auto &[word, value] : vocabulary) {
            if ((mask & value) != value || (rest & value) == 0) continue;
            expected.names.emplace_back(word);
            rest &= ~value;
        }
        if (rest == 0) return expected;
        char number[16];
        std::snprintf(number, sizeof number, "0x%.8x", rest);
        expected.names.emplace_back(number);
        return expected;
    };
    std::mt19937 random(20'28);
    const auto mask = [&] {
        const auto bits = static_cast<tbs_acl_permission_set_t>(random());
        switch (random() % 4) {
        case 0: return 0u;
        case 1: return bits;
        case 2: return bits | TBS_ACL_PERM_STANDARD_OTHER | TBS_ACL_PERM_SPECIFIC_OTHER;
        default: return bits & 0x000F001Fu;
        }
    };
    for (int run = 0; run < 5'000; run++) {
        const tbs_acl_generic_map_t from{mask(), mask(), mask(), mask()};
        ASSERT_EQ(children(names, name_count, from),
                  (std::vector<child>{plain("Read", from.read), plain("Change", from.write),
                                      plain("Execute", from.execute), plain("Full", from.all)}))
            << run;
    }
}

} // namespace
