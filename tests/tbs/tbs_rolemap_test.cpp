#include "acl_test_support.hpp"
#include "ezrpc/ezrpc_xdr.h"
#include "support/memory_meter.hpp"
#include "support/under_sanitizer.hpp"
#include "support/xdr_bytes.hpp"
#include "support/xdr_streams.hpp"
#include "tbs/tbs_rolemap.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <random>
#include <thread>

namespace {

using namespace acl_test;

struct free_map {
    void operator()(tbs_rolemap_acl *map) const { tbs_rolemap_acl_free(&map); }
};
using map_ptr = std::unique_ptr<tbs_rolemap_acl, free_map>;

map_ptr make_map() {
    tbs_rolemap_acl_h_t map = nullptr;
    if (tbs_rolemap_acl_create(&map) != 0) throw std::runtime_error("no map");
    return map_ptr(map);
}

// Identities that borrow their texts.
tbs_sid_acl_id_t role(const char *name) { return sid_id(TBS_ACL_ID_ROLE, CREDUTL_SID_NOBODY, "", name); }
tbs_sid_acl_id_t user(unsigned rid) { return sid_id(TBS_ACL_ID_USER, sid(rid), "", ""); }
tbs_sid_acl_id_t group(unsigned rid) { return sid_id(TBS_ACL_ID_GROUP, sid(rid), "", ""); }

tbs_status_t add(const map_ptr &map, const char *name, const tbs_sid_acl_id_t &id) {
    const tbs_sid_acl_id_t r = role(name);
    return tbs_rolemap_acl_add_role_binding(map.get(), &r, &id);
}
tbs_status_t remove(const map_ptr &map, const char *name, const tbs_sid_acl_id_t &id) {
    const tbs_sid_acl_id_t r = role(name);
    return tbs_rolemap_acl_remove_role_binding(map.get(), &r, &id);
}
tbs_status_t replace(const map_ptr &map, const char *name, const tbs_sid_acl_id_t &a, const tbs_sid_acl_id_t &b) {
    const tbs_sid_acl_id_t r = role(name);
    return tbs_rolemap_acl_replace_role_binding(map.get(), &r, &a, &b);
}
bool in_role(const map_ptr &map, const char *name, const tbs_sid_acl_id_t &id) {
    const tbs_sid_acl_id_t r = role(name);
    return tbs_acl_id_in_role(map.get(), &r, &id) != 0;
}
bool same(const map_ptr &a, const map_ptr &b) {
    const tbs_rolemap_acl_h_t x = a.get(), y = b.get();
    return tbs_rolemap_acl_cmp(&x, &y) != 0;
}

// A map as text: "role: id id; role: id". Users are numbers, groups g and a number, roles their names.
std::string shown(const tbs_sid_acl_id_t &id) {
    if (id.kind == TBS_ACL_ID_ROLE) return id.name;
    if (id.kind != TBS_ACL_ID_USER && id.kind != TBS_ACL_ID_GROUP) return "kind" + std::to_string(id.kind);
    char text[CREDUTL_SID_STR_SIZE] = "?";
    credutl_sid_to_str(&id.sid, text, sizeof text);
    const std::string all = text;
    return (id.kind == TBS_ACL_ID_GROUP ? "g" : "") + all.substr(all.rfind('-') + 1);
}
std::string shown(const map_ptr &map) {
    std::string all;
    uint32_t cursor = 0;
    while (const tbs_role_binding_t *binding = tbs_rolemap_acl_next_role_binding(map.get(), &cursor)) {
        all += (all.empty() ? "" : "; ") + shown(binding->role) + ":";
        for (uint64_t i = 0; i < binding->id_count; i++) all += " " + shown(binding->ids[i]);
    }
    return all;
}

uint32_t capacity_of(const void *elements) {
    return static_cast<const tbs_acl_array_header_t *>(elements)[-1].capacity;
}

std::string circular(const char *name) {
    return error(14, "Role: " + std::string(name) + " is circularly defined.\n");
}

// ---- making and releasing

TEST(TbsRolemapCreate, MakesAnEmptyMapWithRoomForOne) {
    const map_ptr map = make_map();
    EXPECT_EQ(tbs_rolemap_acl_num_role_bindings(map.get()), 0u);
    EXPECT_EQ(capacity_of(map->bindings), 1u);
    EXPECT_EQ(tbs_rolemap_acl_create(nullptr), TBS_ST_EINVAL);
}

TEST(TbsRolemapCreate, ReportsMissingMemory) {
    recorder printed;
    for (int n = 1;; n++) {
        tbs_rolemap_acl_h_t map = reinterpret_cast<tbs_rolemap_acl_h_t>(8);
        const faults::refuse refused(n, false);
        const tbs_status_t status = tbs_rolemap_acl_create(&map);
        const faults::suspend unrefused;
        if (!refused.happened()) {
            tbs_rolemap_acl_free(&map);
            EXPECT_EQ(n, 3);
            break;
        }
        EXPECT_EQ(status, TBS_ST_ENOMEM);
        EXPECT_EQ(map, nullptr);
        EXPECT_EQ(printed.take(), lines{no_memory()});
    }
}

TEST(TbsRolemapFree, TakesNullAndClearsTheVariable) {
    tbs_rolemap_acl_free(nullptr);
    tbs_rolemap_acl_h_t map = nullptr;
    tbs_rolemap_acl_free(&map);
    map = make_map().release();
    tbs_rolemap_acl_free(&map);
    EXPECT_EQ(map, nullptr);
}

// ---- adding

TEST(TbsRolemapAdd, BindsInOrder) {
    const map_ptr map = make_map();
    EXPECT_EQ(add(map, "dev", user(2)), 0);
    EXPECT_EQ(add(map, "qa", group(7)), 0);
    EXPECT_EQ(add(map, "dev", user(1)), 0);
    EXPECT_EQ(add(map, "dev", sid_id(TBS_ACL_ID_EVERYONE)), 0);
    EXPECT_EQ(shown(map), "dev: 2 1 kind4; qa: g7");
    EXPECT_EQ(tbs_rolemap_acl_num_role_bindings(map.get()), 2u);
    EXPECT_EQ(tbs_rolemap_acl_num_role_binding_ids(&map->bindings[0]), 3u);
    EXPECT_EQ(capacity_of(map->bindings), 2u);
    EXPECT_EQ(capacity_of(map->bindings[0].ids), 4u);
    EXPECT_EQ(capacity_of(map->bindings[1].ids), 1u);
}

TEST(TbsRolemapAdd, CopiesItsArguments) {
    const map_ptr map = make_map();
    char name[] = "dev", other[] = "inner", domain[] = "CORP";
    const tbs_sid_acl_id_t r = sid_id(TBS_ACL_ID_ROLE, sid(3), "x", name);
    const tbs_sid_acl_id_t id = sid_id(TBS_ACL_ID_USER, sid(5), domain, other);
    ASSERT_EQ(tbs_rolemap_acl_add_role_binding(map.get(), &r, &id), 0);
    name[0] = other[0] = domain[0] = '!';
    EXPECT_STREQ(map->bindings[0].role.name, "dev");
    EXPECT_STREQ(map->bindings[0].ids[0].name, "inner"); // as it is
    EXPECT_STREQ(map->bindings[0].ids[0].domain, "CORP");
}

TEST(TbsRolemapAdd, LeavesWhatIsThere) {
    const map_ptr map = make_map();
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(add(map, "dev", user(1)), 0);
        EXPECT_EQ(add(map, "DEV", user(1)), 0);
        EXPECT_EQ(add(map, "dev", role("Inner")), 0);
        EXPECT_EQ(add(map, "Dev", role("iNNER")), 0);
    }
    EXPECT_EQ(shown(map), "dev: 1 Inner");
}

TEST(TbsRolemapAdd, RefusesWhatIsNoRole) {
    recorder printed;
    const map_ptr map = make_map();
    const tbs_sid_acl_id_t id = user(1);
    EXPECT_EQ(tbs_rolemap_acl_add_role_binding(map.get(), nullptr, &id), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{error(1, "Unrecognized ACL identity type \"NULL\".\n")});
    for (const tbs_acl_id_kind_t kind : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 8u}) {
        const tbs_sid_acl_id_t wrong = sid_id(kind, sid(1), "", "fred");
        EXPECT_EQ(tbs_rolemap_acl_add_role_binding(map.get(), &wrong, &id), TBS_ST_EINVAL);
        EXPECT_EQ(printed.take(), lines{error(13, "Identity fred must be a role.\n")});
    }
    EXPECT_EQ(add(map, "", id), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{error(22, "ACL identity's role name must not be empty.\n")});
    EXPECT_EQ(add(map, nullptr, id), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{error(22, "ACL identity's role name must not be empty.\n")});
    EXPECT_EQ(add(map, "-x", id), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{error(29, "Invalid role name \"-x\".\n")});
    EXPECT_EQ(shown(map), "");
}

TEST(TbsRolemapAdd, TakesIdentitiesThatLieInTheMap) {
    const map_ptr map = make_map();
    add(map, "r0", user(1));
    for (unsigned i = 1; i < 100; i++) {
        const tbs_sid_acl_id_t known = role("r0");
        const tbs_role_binding_t *binding = tbs_rolemap_acl_find_role_binding(map.get(), &known);
        const std::string name = "r" + std::to_string(i);
        const tbs_sid_acl_id_t fresh = role(name.c_str());
        ASSERT_EQ(tbs_rolemap_acl_add_role_binding(map.get(), &fresh, &binding->role), 0);
        binding = tbs_rolemap_acl_find_role_binding(map.get(), &fresh);
        ASSERT_EQ(tbs_rolemap_acl_add_role_binding(map.get(), &fresh, &map->bindings[0].ids[0]), 0);
        EXPECT_EQ(binding->id_count, 2u);
    }
    EXPECT_TRUE(in_role(map, "r99", user(1)));
    EXPECT_TRUE(in_role(map, "r99", role("r0")));
}

TEST(TbsRolemapAdd, LooksAtTheRoleFirst) {
    const map_ptr map = make_map();
    recording_sink sink;
    EXPECT_EQ(tbs_rolemap_acl_add_role_binding(map.get(), nullptr, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_role_binding(map.get(), nullptr, nullptr, nullptr), TBS_ST_EINVAL);
    const auto messages = sink.take();
    ASSERT_EQ(messages.size(), 2u);
    for (const recorded_message &message : messages) EXPECT_EQ(message.index, 1u);
    const tbs_sid_acl_id_t r = role("r"), id = user(1);
    EXPECT_EQ(tbs_rolemap_acl_add_role_binding(map.get(), &r, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_role_binding(map.get(), &r, &id, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_role_binding(map.get(), &r, nullptr, &id), TBS_ST_EINVAL);
    EXPECT_TRUE(sink.empty());
}

TEST(TbsRolemap, LeavesNoHandleBehindOnFailure) {
    const auto stale = reinterpret_cast<tbs_rolemap_acl_h_t>(8);
    tbs_rolemap_acl_h_t map = stale;
    EXPECT_EQ(tbs_rolemap_acl_copy(nullptr, &map), TBS_ST_EINVAL);
    EXPECT_EQ(map, nullptr);
    map = stale;
    EXPECT_EQ(tbs_rolemap_acl_replace_sid_ids(nullptr, nullptr, &map), TBS_ST_EINVAL);
    EXPECT_EQ(map, nullptr);
    map = stale;
    EXPECT_EQ(tbs_rolemap_acl_set_bindings(&map, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(map, nullptr);
    auto *bindings = reinterpret_cast<tbs_rolemap_acl_bindings_t *>(8);
    EXPECT_EQ(tbs_rolemap_acl_get_bindings(nullptr, &bindings), TBS_ST_EINVAL);
    EXPECT_EQ(bindings, nullptr);
}

TEST(TbsRolemapAdd, TakesAnyIdentity) {
    recorder printed;
    const map_ptr map = make_map();
    EXPECT_EQ(add(map, "dev", sid_id(99, sid(1))), 0);
    EXPECT_EQ(add(map, "dev", sid_id(99, sid(1))), 0); // matches nothing, itself neither
    EXPECT_EQ(add(map, "dev", sid_id(TBS_ACL_ID_DOMAIN, CREDUTL_SID_NOBODY, "CORP")), 0);
    EXPECT_EQ(shown(map), "dev: kind99 kind99 kind3");
    EXPECT_TRUE(printed.take().empty());
}

TEST(TbsRolemapAdd, RefusesARoleFoundBelowTheOneItIsBoundTo) {
    recorder printed;
    const map_ptr map = make_map();
    EXPECT_EQ(add(map, "A", role("C")), 0);
    EXPECT_EQ(add(map, "C", role("B")), 0);
    EXPECT_EQ(add(map, "A", role("B")), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{circular("A")});
    EXPECT_EQ(shown(map), "A: C; C: B");
}

TEST(TbsRolemapAdd, TakesARoleAboveTheOneItIsBoundTo) {
    const map_ptr map = make_map();
    EXPECT_EQ(add(map, "A", role("B")), 0);
    EXPECT_EQ(add(map, "B", user(1)), 0);
    EXPECT_EQ(add(map, "B", role("A")), 0);
    EXPECT_EQ(shown(map), "A: B; B: 1 A");
}

TEST(TbsRolemapAdd, BindsARoleToItselfOnlyFirst) {
    recorder printed;
    const map_ptr map = make_map();
    EXPECT_EQ(add(map, "self", role("self")), 0);
    EXPECT_EQ(add(map, "other", user(1)), 0);
    EXPECT_EQ(add(map, "other", role("OTHER")), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{circular("other")});
    EXPECT_EQ(shown(map), "self: self; other: 1");
}

// ---- the membership test

TEST(TbsAclIdInRole, FollowsBindingsDown) {
    const map_ptr map = make_map();
    add(map, "a", role("b"));
    add(map, "b", role("c"));
    add(map, "c", user(1));
    EXPECT_TRUE(in_role(map, "a", role("A")));
    EXPECT_TRUE(in_role(map, "a", role("c")));
    EXPECT_TRUE(in_role(map, "a", user(1)));
    EXPECT_TRUE(in_role(map, "c", user(1)));
    EXPECT_FALSE(in_role(map, "c", role("b")));
    EXPECT_FALSE(in_role(map, "a", user(2)));
    EXPECT_FALSE(in_role(map, "a", group(1)));
    EXPECT_FALSE(in_role(map, "nobody", user(1)));
    EXPECT_TRUE(in_role(map, "nobody", role("nobody")));
    const tbs_sid_acl_id_t id = user(1);
    EXPECT_FALSE(tbs_acl_id_in_role(nullptr, &id, &id));
    EXPECT_FALSE(tbs_acl_id_in_role(map.get(), nullptr, &id));
    EXPECT_FALSE(tbs_acl_id_in_role(map.get(), &id, nullptr));
}

TEST(TbsAclIdInRole, EndsForLoops) {
    const map_ptr map = make_map();
    for (const auto &[outer, inner] : {std::pair{"a", "b"}, {"b", "c"}, {"c", "a"}, {"s", "s"}}) {
        EXPECT_EQ(add(map, outer, role(inner)), 0);
    }
    EXPECT_EQ(add(map, "x", role("s")), 0);
    EXPECT_TRUE(in_role(map, "a", role("a")));
    EXPECT_TRUE(in_role(map, "b", role("a")));
    EXPECT_FALSE(in_role(map, "b", role("x")));
    EXPECT_FALSE(in_role(map, "s", role("a")));
    EXPECT_FALSE(in_role(map, "a", user(1)));
}

TEST(TbsAclIdInRole, EndsForAChainOf100000Roles) {
    constexpr int depth = 100'000;
    const map_ptr map = make_map();
    for (int i = 0; i < depth; i++) {
        ASSERT_EQ(add(map, ("r" + std::to_string(i)).c_str(), role(("r" + std::to_string(i + 1)).c_str())), 0);
    }
    ASSERT_EQ(add(map, ("r" + std::to_string(depth)).c_str(), user(1)), 0);
    EXPECT_TRUE(in_role(map, "r0", user(1)));
    EXPECT_FALSE(in_role(map, ("r" + std::to_string(depth)).c_str(), role("r0")));
    recorder printed;
    EXPECT_EQ(add(map, "r0", role(("r" + std::to_string(depth)).c_str())), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{circular("r0")});
    EXPECT_EQ(add(map, ("r" + std::to_string(depth)).c_str(), role("r0")), 0); // closes the loop
    EXPECT_TRUE(in_role(map, "r5", role("r4")));
}

// ---- looking

TEST(TbsRolemapFind, GivesWhatMatchesFirst) {
    const map_ptr map = make_map();
    add(map, "dev", user(1));
    add(map, "dev", role("Inner"));
    const tbs_sid_acl_id_t dev = role("DEV"), none = role("none"), inner = role("INNER"), one = user(1),
                           two = user(2);
    EXPECT_EQ(tbs_rolemap_acl_find_role_binding(map.get(), &dev), &map->bindings[0]);
    EXPECT_EQ(tbs_rolemap_acl_find_role_binding(map.get(), &none), nullptr);
    EXPECT_EQ(tbs_rolemap_acl_find_binding_id(&map->bindings[0], &inner), &map->bindings[0].ids[1]);
    EXPECT_EQ(tbs_rolemap_acl_find_binding_id(&map->bindings[0], &one), &map->bindings[0].ids[0]);
    EXPECT_EQ(tbs_rolemap_acl_find_binding_id(&map->bindings[0], &two), nullptr);
    EXPECT_TRUE(tbs_rolemap_contains_id(map.get(), &inner));
    EXPECT_TRUE(tbs_rolemap_contains_id(map.get(), &one));
    EXPECT_FALSE(tbs_rolemap_contains_id(map.get(), &two));
    EXPECT_FALSE(tbs_rolemap_contains_id(map.get(), &dev)); // roles themselves are not looked at
}

TEST(TbsRolemapNext, WalksToTheEndAndStays) {
    const map_ptr map = make_map();
    add(map, "a", user(1));
    add(map, "b", user(2));
    uint32_t cursor = 0;
    EXPECT_EQ(tbs_rolemap_acl_next_role_binding(map.get(), &cursor), &map->bindings[0]);
    EXPECT_EQ(tbs_rolemap_acl_next_role_binding(map.get(), &cursor), &map->bindings[1]);
    EXPECT_EQ(tbs_rolemap_acl_next_role_binding(map.get(), &cursor), nullptr);
    EXPECT_EQ(tbs_rolemap_acl_next_role_binding(map.get(), &cursor), nullptr);
    EXPECT_EQ(cursor, 2u);
}

// ---- removing and replacing

TEST(TbsRolemapRemove, MovesTheLastIntoTheGap) {
    const map_ptr map = make_map();
    for (unsigned i = 1; i <= 4; i++) add(map, "a", user(i));
    add(map, "b", user(9));
    add(map, "c", user(8));
    EXPECT_EQ(remove(map, "A", user(2)), 0);
    EXPECT_EQ(shown(map), "a: 1 4 3; b: 9; c: 8");
    EXPECT_EQ(remove(map, "a", user(3)), 0);
    EXPECT_EQ(shown(map), "a: 1 4; b: 9; c: 8");
    EXPECT_EQ(remove(map, "a", user(1)), 0);
    EXPECT_EQ(remove(map, "a", user(4)), 0);
    EXPECT_EQ(shown(map), "c: 8; b: 9");
    EXPECT_EQ(remove(map, "b", user(9)), 0);
    EXPECT_EQ(remove(map, "c", user(8)), 0);
    EXPECT_EQ(shown(map), "");
    EXPECT_EQ(add(map, "d", user(1)), 0);
}

TEST(TbsRolemapRemove, MissesQuietly) {
    recorder printed;
    const map_ptr map = make_map();
    add(map, "a", user(1));
    EXPECT_EQ(remove(map, "b", user(1)), TBS_ST_NOT_FOUND);
    EXPECT_EQ(remove(map, "a", user(2)), TBS_ST_NOT_FOUND);
    EXPECT_TRUE(printed.take().empty());
    EXPECT_EQ(shown(map), "a: 1");
}

TEST(TbsRolemapReplace, PutsTheNewInThePlaceOfTheOld) {
    const map_ptr map = make_map();
    for (unsigned i = 1; i <= 3; i++) add(map, "a", user(i));
    EXPECT_EQ(replace(map, "a", user(2), user(7)), 0);
    EXPECT_EQ(shown(map), "a: 1 7 3");
    EXPECT_EQ(replace(map, "a", user(1), user(3)), 0); // there already: the gap is closed, the order kept
    EXPECT_EQ(shown(map), "a: 7 3");
    EXPECT_EQ(replace(map, "a", user(5), user(5)), 0); // nothing to do, whoever holds it
    EXPECT_EQ(replace(map, "none", user(5), user(5)), 0);
    EXPECT_EQ(replace(map, "a", user(5), user(6)), TBS_ST_NOT_FOUND);
    EXPECT_EQ(replace(map, "none", user(7), user(6)), TBS_ST_NOT_FOUND);
    EXPECT_EQ(shown(map), "a: 7 3");
}

TEST(TbsRolemapReplace, RefusesLikeAdd) {
    recorder printed;
    const map_ptr map = make_map();
    add(map, "A", role("C"));
    add(map, "C", role("B"));
    add(map, "A", user(1));
    EXPECT_EQ(replace(map, "A", user(1), role("B")), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{circular("A")});
    const tbs_sid_acl_id_t wrong = sid_id(TBS_ACL_ID_USER, sid(1), "", "fred"), one = user(1);
    EXPECT_EQ(tbs_rolemap_acl_replace_role_binding(map.get(), &wrong, &one, &one), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take(), lines{error(13, "Identity fred must be a role.\n")});
    EXPECT_EQ(tbs_rolemap_acl_replace_role_binding(map.get(), nullptr, &one, &one), TBS_ST_EINVAL);
    EXPECT_EQ(printed.take().size(), 1u);
    EXPECT_EQ(shown(map), "A: C 1; C: B");
}

TEST(TbsRolemapRoleBindingFree, LeavesNothing) {
    const map_ptr map = make_map();
    add(map, "a", user(1));
    tbs_rolemap_acl_bindings_t *plain = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_get_bindings(map.get(), &plain), 0);
    tbs_rolemap_acl_role_binding_free(&plain->bindings[0]);
    EXPECT_EQ(plain->bindings[0].id_count, 0u);
    EXPECT_EQ(plain->bindings[0].ids, nullptr);
    tbs_rolemap_acl_role_binding_free(&plain->bindings[0]);
    tbs_rolemap_acl_role_binding_free(nullptr);
    tbs_rolemap_acl_bindings_free(&plain);
    EXPECT_EQ(plain, nullptr);
    tbs_rolemap_acl_bindings_free(&plain);
    tbs_rolemap_acl_bindings_free(nullptr);
}

// ---- whole maps

map_ptr sample() {
    map_ptr map = make_map();
    add(map, "dev", user(1));
    add(map, "dev", role("lead"));
    add(map, "lead", group(7));
    add(map, "lead", user(2));
    add(map, "dev", user(3));
    return map;
}

TEST(TbsRolemapCopy, KeepsTheOrder) {
    const map_ptr map = sample();
    tbs_rolemap_acl_h_t copy = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_copy(map.get(), &copy), 0);
    const map_ptr owner(copy);
    EXPECT_EQ(shown(owner), "dev: 1 lead 3; lead: g7 2");
    EXPECT_TRUE(same(map, owner));
}

TEST(TbsRolemapCopy, MayBeRefused) {
    recorder printed;
    const map_ptr map = make_map();
    add(map, "B", user(1));
    add(map, "A", user(2));
    add(map, "A", role("B"));
    add(map, "B", role("A")); // accepted here: A is not below B yet
    tbs_rolemap_acl_h_t copy = reinterpret_cast<tbs_rolemap_acl_h_t>(8);
    EXPECT_EQ(tbs_rolemap_acl_copy(map.get(), &copy), 0);
    tbs_rolemap_acl_free(&copy);

    // A raw map that names a role without a name.
    tbs_sid_acl_id_t id = user(1);
    tbs_role_binding_t binding{role(""), 1, &id};
    const tbs_rolemap_acl_bindings_t raw{1, &binding};
    tbs_rolemap_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_set_bindings(&made, &raw), 0);
    const map_ptr owner(made);
    copy = reinterpret_cast<tbs_rolemap_acl_h_t>(8);
    EXPECT_EQ(tbs_rolemap_acl_copy(made, &copy), TBS_ST_EINVAL);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(printed.take(), lines{error(22, "ACL identity's role name must not be empty.\n")});
}

TEST(TbsRolemapCmp, LooksAtPairsNotAtTheirOrder) {
    const map_ptr a = make_map(), b = make_map(), c = make_map(), d = make_map();
    add(a, "x", user(1));
    add(a, "x", user(2));
    add(a, "y", user(3));
    add(b, "Y", user(3));
    add(b, "X", user(2));
    add(b, "X", user(1));
    add(c, "x", user(1));
    add(c, "y", user(3));
    add(d, "x", user(1));
    add(d, "x", user(4));
    add(d, "y", user(3));
    EXPECT_TRUE(same(a, b));
    EXPECT_TRUE(same(b, a));
    EXPECT_FALSE(same(a, c));
    EXPECT_FALSE(same(a, d));
    const map_ptr none;
    EXPECT_FALSE(same(a, none));
    EXPECT_FALSE(same(none, a));
    EXPECT_TRUE(same(none, none));
    EXPECT_TRUE(tbs_rolemap_acl_cmp(nullptr, nullptr));
}

TEST(TbsRolemapReplaceSidIds, ExchangesTheFirstOfEachBinding) {
    const map_ptr map = make_map();
    add(map, "a", user(1));
    add(map, "a", role("r"));
    add(map, "a", user(2));
    add(map, "a", group(3));
    add(map, "a", group(4));
    add(map, "b", group(5));
    add(map, "c", sid_id(TBS_ACL_ID_EVERYONE));
    const tbs_acl_sid_pair_t sids{sid(77), sid(88)};
    tbs_rolemap_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_replace_sid_ids(map.get(), &sids, &made), 0);
    const map_ptr owner(made);
    EXPECT_EQ(shown(owner), "a: 77 r g88; b: g88; c: kind4");
    EXPECT_STREQ(made->bindings[0].ids[0].domain, "");
    EXPECT_STREQ(made->bindings[0].ids[0].name, "");
}

TEST(TbsRolemapBindings, AreAPlainCopy) {
    const map_ptr map = sample();
    tbs_rolemap_acl_bindings_t *plain = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_get_bindings(map.get(), &plain), 0);
    ASSERT_EQ(plain->count, 2u);
    EXPECT_NE(plain->bindings[0].role.name, map->bindings[0].role.name);
    const credutl_sid_t zero{};
    EXPECT_EQ(std::memcmp(&plain->bindings[0].role.sid, &zero, sizeof zero), 0);
    tbs_rolemap_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_set_bindings(&made, plain), 0);
    tbs_rolemap_acl_bindings_free(&plain);
    const map_ptr owner(made);
    EXPECT_EQ(shown(owner), shown(map));
    EXPECT_TRUE(same(map, owner));
    EXPECT_EQ(add(owner, "dev", user(9)), 0);
    EXPECT_EQ(shown(owner), "dev: 1 lead 3 9; lead: g7 2");
}

TEST(TbsRolemapBindings, AreTakenAsTheyAre) {
    // Two bindings of one role, one identity twice, a binding of nobody, a role that is none (its SID is not taken), a loop.
    tbs_sid_acl_id_t ids[] = {user(1), user(1), role("a"), user(2)};
    tbs_role_binding_t bindings[] = {
        {role("a"), 3, ids}, {role("A"), 1, ids + 3}, {role("b"), 0, nullptr}, {user(5), 1, ids}};
    const tbs_rolemap_acl_bindings_t raw{4, bindings};
    tbs_rolemap_acl_h_t made = nullptr;
    ASSERT_EQ(tbs_rolemap_acl_set_bindings(&made, &raw), 0);
    const map_ptr map(made);
    EXPECT_EQ(shown(map), "a: 1 1 a; A: 2; b:; : 1");
    EXPECT_TRUE(in_role(map, "a", user(2)));
    EXPECT_EQ(remove(map, "a", user(1)), 0);
    EXPECT_EQ(shown(map), "a: a 1; A: 2; b:; : 1");
}

TEST(TbsRolemapBindings, RefuseNulls) {
    tbs_role_binding_t binding{role("a"), 1, nullptr};
    const tbs_rolemap_acl_bindings_t no_array{1, nullptr}, no_ids{1, &binding};
    tbs_rolemap_acl_h_t made = nullptr;
    tbs_rolemap_acl_bindings_t *plain = nullptr;
    const map_ptr map = make_map();
    const tbs_sid_acl_id_t id = user(1), r = role("a");
    const tbs_acl_sid_pair_t sids{};
    EXPECT_EQ(tbs_rolemap_acl_set_bindings(&made, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_set_bindings(&made, &no_array), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_set_bindings(&made, &no_ids), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_set_bindings(nullptr, &no_array), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_get_bindings(nullptr, &plain), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_get_bindings(map.get(), nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_copy(nullptr, &made), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_copy(map.get(), nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_add_role_binding(nullptr, &r, &id), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_add_role_binding(map.get(), &r, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_remove_role_binding(nullptr, &r, &id), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_remove_role_binding(map.get(), nullptr, &id), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_remove_role_binding(map.get(), &r, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_role_binding(nullptr, &r, &id, &id), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_role_binding(map.get(), &r, nullptr, &id), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_role_binding(map.get(), &r, &id, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_sid_ids(nullptr, &sids, &made), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_sid_ids(map.get(), nullptr, &made), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_replace_sid_ids(map.get(), &sids, nullptr), TBS_ST_EINVAL);
    EXPECT_EQ(tbs_rolemap_acl_num_role_bindings(nullptr), 0u);
    EXPECT_EQ(tbs_rolemap_acl_num_role_binding_ids(nullptr), 0u);
    uint32_t cursor = 0;
    EXPECT_EQ(tbs_rolemap_acl_next_role_binding(nullptr, &cursor), nullptr);
    EXPECT_EQ(tbs_rolemap_acl_next_role_binding(map.get(), nullptr), nullptr);
    EXPECT_EQ(tbs_rolemap_acl_find_role_binding(nullptr, &r), nullptr);
    EXPECT_EQ(tbs_rolemap_acl_find_role_binding(map.get(), nullptr), nullptr);
    EXPECT_EQ(tbs_rolemap_acl_find_binding_id(nullptr, &id), nullptr);
    EXPECT_FALSE(tbs_rolemap_contains_id(nullptr, &id));
    EXPECT_FALSE(tbs_rolemap_contains_id(map.get(), nullptr));
}

// ---- refused memory

TEST(TbsRolemap, EveryAllocationMayFail) {
    recorder printed;
    const tbs_acl_sid_pair_t sids{sid(77), sid(88)};
    const int refused = faults::each_allocation([&](int, bool) {
        tbs_rolemap_acl_h_t handle = nullptr;
        tbs_status_t status = tbs_rolemap_acl_create(&handle);
        map_ptr map(handle);
        // Long enough for the index; some of it nested.
        for (unsigned i = 0; i < 12 && status == 0; i++) {
            const std::string before = [&] {
                const faults::suspend unrefused;
                return shown(map);
            }();
            const char *names[] = {"a", "b", "c"};
            const auto [r, id] = [&] {
                const faults::suspend unrefused;
                return std::pair(role(names[i % 3]), i == 7 ? role("a") : i == 9 ? role("x") : user(i));
            }();
            status = tbs_rolemap_acl_add_role_binding(map.get(), &r, &id);
            const faults::suspend unrefused;
            if (status) {
                EXPECT_EQ(shown(map), before);
            }
        }
        tbs_rolemap_acl_h_t copy = nullptr, other = nullptr, made = nullptr;
        tbs_rolemap_acl_bindings_t *plain = nullptr;
        if (status == 0) status = tbs_rolemap_acl_copy(map.get(), &copy);
        if (status == 0) status = tbs_rolemap_acl_replace_sid_ids(map.get(), &sids, &other);
        if (status == 0) status = tbs_rolemap_acl_get_bindings(map.get(), &plain);
        if (status == 0) status = tbs_rolemap_acl_set_bindings(&made, plain);
        const faults::suspend unrefused;
        EXPECT_TRUE(status == 0 || status == TBS_ST_ENOMEM) << status;
        EXPECT_EQ(printed.take(), status ? lines{no_memory()} : lines{});
        if (status == 0) {
            EXPECT_EQ(shown(map_ptr(std::exchange(made, nullptr))), shown(map));
        }
        tbs_rolemap_acl_bindings_free(&plain);
        tbs_rolemap_acl_free(&copy);
        tbs_rolemap_acl_free(&other);
        tbs_rolemap_acl_free(&made);
    });
    EXPECT_GT(refused, 40);
}

// ---- a plain model of the rules, against long random histories

struct model {
    struct binding {
        std::string role;
        std::vector<std::string> ids; // roles by name, users by number
    };
    std::vector<binding> bindings;

    static std::string fold(std::string text) {
        std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
        return text;
    }
    static bool match(const std::string &a, const std::string &b) { return fold(a) == fold(b); }
    static bool is_role(const std::string &id) { return !std::isdigit(static_cast<unsigned char>(id[0])); }

    binding *find(const std::string &role) {
        for (binding &b : bindings) {
            if (match(b.role, role)) return &b;
        }
        return nullptr;
    }
    static std::vector<std::string>::iterator find(binding &b, const std::string &id) {
        return std::find_if(b.ids.begin(), b.ids.end(), [&](const std::string &x) { return match(x, id); });
    }
    bool in_role(const std::string &role, const std::string &id, std::vector<std::string> &met) {
        if (match(id, role)) return true;
        if (std::count(met.begin(), met.end(), fold(id))) return false;
        met.push_back(fold(id));
        for (binding &b : bindings) {
            if (find(b, id) != b.ids.end() && in_role(role, b.role, met)) return true;
        }
        return false;
    }
    bool in_role(const std::string &role, const std::string &id) {
        std::vector<std::string> met;
        return in_role(role, id, met);
    }
    tbs_status_t add(const std::string &role, const std::string &id) {
        binding *b = find(role);
        if (!b) {
            bindings.push_back({role, {id}});
            return 0;
        }
        if (find(*b, id) != b->ids.end()) return 0;
        if (is_role(id) && in_role(role, id)) return TBS_ST_EINVAL;
        b->ids.push_back(id);
        return 0;
    }
    tbs_status_t remove(const std::string &role, const std::string &id) {
        binding *b = find(role);
        if (!b || find(*b, id) == b->ids.end()) return TBS_ST_NOT_FOUND;
        *find(*b, id) = b->ids.back();
        b->ids.pop_back();
        if (b->ids.empty()) {
            *b = bindings.back();
            bindings.pop_back();
        }
        return 0;
    }
    tbs_status_t replace(const std::string &role, const std::string &a, const std::string &b) {
        if (match(a, b)) return 0;
        binding *in = find(role);
        if (!in || find(*in, a) == in->ids.end()) return TBS_ST_NOT_FOUND;
        if (find(*in, b) != in->ids.end()) {
            in->ids.erase(find(*in, a));
            return 0;
        }
        if (is_role(b) && in_role(role, b)) return TBS_ST_EINVAL;
        *find(*in, a) = b;
        return 0;
    }
    std::string shown() const {
        std::string all;
        for (const binding &b : bindings) {
            all += (all.empty() ? "" : "; ") + b.role + ":";
            for (const std::string &id : b.ids) all += " " + id;
        }
        return all;
    }
};

TEST(TbsRolemap, FollowsThePlainModelThroughRandomHistories) {
    const recording_sink quiet;
    std::mt19937 random(20'26);
    const auto pick = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
    constexpr int histories = under_thread_sanitizer ? 1'000 : 50'000; // of one thread
    for (int history = 0; history < histories; history++) {
        model expected;
        const map_ptr map = make_map();
        const unsigned names = 1 + pick(6), users = 1 + pick(5), steps = pick(history % 100 == 0 ? 300 : 20);
        const auto name = [&] { return std::string(pick(2) ? "r" : "R") + std::to_string(pick(names)); };
        const auto id = [&] { return pick(2) ? name() : std::to_string(1 + pick(users)); };
        const auto as_id = [](const std::string &text) {
            return model::is_role(text) ? role(text.c_str()) : user(static_cast<unsigned>(std::stoul(text)));
        };
        for (unsigned step = 0; step < steps; step++) {
            const std::string r = name(), a = id(), b = id();
            const tbs_sid_acl_id_t x = as_id(a), y = as_id(b);
            switch (pick(6)) {
            case 0: ASSERT_EQ(remove(map, r.c_str(), x), expected.remove(r, a)); break;
            case 1: ASSERT_EQ(replace(map, r.c_str(), x, y), expected.replace(r, a, b)); break;
            case 2: ASSERT_EQ(in_role(map, r.c_str(), x), expected.in_role(r, a)); break;
            default: ASSERT_EQ(add(map, r.c_str(), x), expected.add(r, a)); break;
            }
            ASSERT_EQ(shown(map), expected.shown()) << "history " << history << " step " << step;
        }
    }
}

// ---- wire

const xdrproc_t routine = reinterpret_cast<xdrproc_t>(xdr_tbs_rolemap_acl_h_t);

bytes id_bytes(tbs_acl_id_kind_t kind, std::string_view name, const credutl_sid_t &value) {
    return word(kind) + text("") + text(name) + opaque(value);
}

bytes sample_bytes() {
    const bytes nobody = opaque(CREDUTL_SID_NOBODY);
    const bytes dev = word(7) + text("") + text("dev") + nobody, lead = word(7) + text("") + text("lead") + nobody;
    return word(1) + word(2) + word(2) + dev + word(3) + word(3) + id_bytes(1, "", sid(1)) + lead +
           id_bytes(1, "", sid(3)) + lead + word(2) + word(2) + id_bytes(2, "", sid(7)) + id_bytes(1, "", sid(2));
}

TEST(XdrTbsRolemapAclH, SendsTheGoldenBytesOnEveryStream) {
    const map_ptr map = sample();
    tbs_rolemap_acl_h_t handle = map.get(), none = nullptr;
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        EXPECT_EQ(encode(kind, routine, &handle), sample_bytes());
        EXPECT_EQ(encode(kind, routine, &none), word(0));
        tbs_rolemap_acl_h_t back = nullptr;
        ASSERT_TRUE(decode(kind, sample_bytes(), routine, &back));
        EXPECT_EQ(shown(map_ptr(back)), shown(map));
        back = reinterpret_cast<tbs_rolemap_acl_h_t>(8); // overwritten
        ASSERT_TRUE(decode(kind, word(0), routine, &back));
        EXPECT_EQ(back, nullptr);
    }
}

TEST(XdrTbsRolemapAclH, EveryPrefixIsRefusedAndReleased) {
    recorder printed;
    const bytes whole = sample_bytes();
    for (const stream_kind kind : all_stream_kinds) {
        for (size_t length = 0; length < whole.size(); length++) {
            tbs_rolemap_acl_h_t handle = nullptr;
            EXPECT_FALSE(decode(kind, first(whole, length), routine, &handle)) << length;
            xdr_ez_free(routine, &handle);
        }
    }
    EXPECT_TRUE(printed.take().empty());
}

TEST(XdrTbsRolemapAclH, RefusesUnequalCountsAndRolesThatAreNone) {
    recorder printed;
    tbs_rolemap_acl_h_t handle = nullptr;
    EXPECT_FALSE(decode(stream_kind::memory, word(1) + word(1) + word(0), routine, &handle));
    EXPECT_FALSE(decode(stream_kind::memory,
                        word(1) + word(1) + word(1) + id_bytes(7, "a", {}) + word(2) + word(1) + id_bytes(1, "", {}),
                        routine, &handle));
    EXPECT_TRUE(printed.take().empty());
    EXPECT_FALSE(decode(stream_kind::memory,
                        word(1) + word(1) + word(1) + id_bytes(1, "a", {}) + word(1) + word(1) + id_bytes(1, "", {}),
                        routine, &handle));
    EXPECT_EQ(printed.take(), lines{error(13, "Identity a must be a role.\n")});
    EXPECT_EQ(handle, nullptr);
}

TEST(XdrTbsRolemapAclH, TakesNoMemoryForMereClaims) {
    const bytes role_bytes = id_bytes(7, "a", {});
    for (const uint32_t claim : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 1u << 20}) {
        for (const stream_kind kind : all_stream_kinds) {
            for (const bytes &from :
                 {word(1) + word(claim) + word(claim),
                  word(1) + word(claim) + word(claim) + role_bytes + word(claim) + word(claim) + role_bytes}) {
                tbs_rolemap_acl_h_t handle = nullptr;
                const memory_meter meter;
                EXPECT_FALSE(decode(kind, from, routine, &handle));
                EXPECT_LE(meter.peak(), 64 * 1024 + 8 * from.size()) << name_of(kind) << ' ' << claim;
            }
        }
    }
}

TEST(XdrTbsRolemapAclH, TakesMemoryInProportionToTheBytes) {
    for (const bool one_role : {true, false}) {
        const map_ptr map = make_map();
        for (unsigned i = 0; i < 5'000; i++) {
            ASSERT_EQ(add(map, one_role ? "r" : ("r" + std::to_string(i)).c_str(), user(i)), 0);
        }
        tbs_rolemap_acl_h_t handle = map.get(), back = nullptr;
        const bytes from = *encode(stream_kind::storage, routine, &handle);
        {
            const memory_meter meter;
            ASSERT_TRUE(decode(stream_kind::storage, from, routine, &back));
            EXPECT_LE(meter.peak(), 64 * 1024 + 8 * from.size()) << one_role;
        }
        EXPECT_TRUE(same(map, map_ptr(back)));
    }
}

TEST(XdrTbsRolemapAclH, EveryAllocationMayFail) {
    recorder printed;
    const bytes whole = sample_bytes();
    const int refused = faults::each_allocation([&](int, bool) {
        tbs_rolemap_acl_h_t handle = nullptr;
        const bool decoded = decode(stream_kind::memory, whole, routine, &handle);
        const faults::suspend unrefused;
        EXPECT_EQ(printed.take(), decoded ? lines{} : lines{no_memory()});
        xdr_ez_free(routine, &handle);
    });
    EXPECT_GT(refused, 10);
}

TEST(XdrTbsRolemapAclH, FreeTouchesNothingOfTheStreamButItsDirection) {
    XDR poison;
    std::memset(static_cast<void *>(&poison), 0xA5, sizeof poison);
    poison.x_op = XDR_FREE;
    tbs_rolemap_acl_h_t handle = sample().release();
    EXPECT_TRUE(xdr_tbs_rolemap_acl_h_t(&poison, &handle));
    EXPECT_EQ(handle, nullptr);
    EXPECT_FALSE(xdr_tbs_rolemap_acl_h_t(nullptr, &handle));
    EXPECT_FALSE(xdr_tbs_rolemap_acl_h_t(&poison, nullptr));
}

// ---- threads

TEST(TbsRolemap, OneMapServesAllThreads) {
    const map_ptr map = make_map();
    for (unsigned i = 0; i < 500; i++) {
        ASSERT_EQ(add(map, ("r" + std::to_string(i % 25)).c_str(), user(i)), 0);
        if (i % 25 == 24) {
            ASSERT_EQ(add(map, "top", role(("r" + std::to_string(i / 25)).c_str())), 0);
        }
    }
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < 8; number++) {
        threads.emplace_back([&, number] {
            for (unsigned i = 0; i < 200; i++) {
                const unsigned rid = (i * 7 + number) % 500;
                wrong += !in_role(map, ("r" + std::to_string(rid % 25)).c_str(), user(rid));
                wrong += in_role(map, "top", user(rid)) != (rid % 25 < 20);
                const tbs_sid_acl_id_t id = user(rid);
                wrong += !tbs_rolemap_contains_id(map.get(), &id);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
