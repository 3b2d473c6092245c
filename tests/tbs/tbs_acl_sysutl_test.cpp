// System ACLs made of SID ACLs: what they hold, which operations make them, what each failure gives.
#include "acl_test_support.hpp"
#include "ks/ks_acl.h"
#include "ks/ks_errno.h"

#include <algorithm>
#include <functional>

namespace {

using namespace acl_test;

// Accounts of the local domain whose numbers have no names here.
constexpr unsigned owner_id = 4'000'001, owners_group_id = 4'000'002, other_id = 4'000'003;
credutl_sid_t user_sid(unsigned id) { return sid("S-1-22-1-" + std::to_string(id)); }
credutl_sid_t group_sid(unsigned id) { return sid("S-1-22-2-" + std::to_string(id)); }

constexpr tbs_acl_permission_set_t required = 0x20001, more = 0x2000F, less = 0x20002;

struct free_system_acl {
    void operator()(sysutl_acl_t *acl) const { sysutl_acl_free(&acl); }
};
using system_acl = std::unique_ptr<sysutl_acl_t, free_system_acl>;

struct entry {
    tbs_sid_acl_id_t id;
    tbs_acl_permission_set_t perms;
};
entry user(unsigned id, tbs_acl_permission_set_t perms = required) {
    return {sid_id(TBS_ACL_ID_USER, user_sid(id)), perms};
}
entry group(unsigned id, tbs_acl_permission_set_t perms = required) {
    return {sid_id(TBS_ACL_ID_GROUP, group_sid(id)), perms};
}
entry of_kind(tbs_acl_id_kind_t kind, tbs_acl_permission_set_t perms = required) { return {sid_id(kind), perms}; }
const auto everyone = of_kind(TBS_ACL_ID_EVERYONE), owner_user = of_kind(TBS_ACL_ID_OWNER_USER),
           owner_group = of_kind(TBS_ACL_ID_OWNER_GROUP);

struct outcome {
    tbs_status_t status;
    system_acl acl;

    // The entries, one behind the other: "user::rw- group::r-- mask::r-- other::---".
    std::string text() const {
        char *made = nullptr;
        if (!acl || sysutl_acl_to_text(acl.get(), &made) != 0) return "(none)";
        std::string all = made;
        stg_free(made);
        std::replace(all.begin(), all.end(), '\n', ' ');
        all.erase(all.find_last_not_of(' ') + 1);
        return all;
    }
};

// Entries as they stand, in this order; tbs_sid_acl_set_entry() would merge and refuse.
sid_ptr acl_of(std::vector<entry> entries) {
    std::vector<tbs_acl_cooked_ent_t> plain;
    for (const entry &one : entries) plain.push_back({one.id, one.perms});
    const tbs_acl_cooked_info_t list = {static_cast<uint32_t>(plain.size()), plain.data()};
    tbs_sid_acl_h_t acl = nullptr;
    EXPECT_EQ(tbs_sid_acl_set_acl(&acl, &list), 0);
    return sid_ptr(acl);
}

const tbs_acl_sid_pair_t &owners() {
    static const tbs_acl_sid_pair_t pair = {user_sid(owner_id), group_sid(owners_group_id)};
    return pair;
}

outcome convert(const sid_ptr &acl, uint32_t mode) {
    sysutl_acl_t *made = nullptr;
    const tbs_status_t status = tbs_sid_acl_convert_to_sysutl_acl(acl.get(), &owners(), mode, required, &made);
    return {status, system_acl(made)};
}
outcome convert(const std::vector<entry> &entries, uint32_t mode) { return convert(acl_of(entries), mode); }
std::string text(const std::vector<entry> &entries, uint32_t mode) { return convert(entries, mode).text(); }

// Writes down the operations, without their prefix, and refuses chosen ones.
class operations {
public:
    operations() { sysutl_acl_set_recorder(&operations::told, this); }
    ~operations() { sysutl_acl_set_recorder(nullptr, nullptr); }
    operations(const operations &) = delete;
    operations &operator=(const operations &) = delete;

    std::function<int(const std::string &operation, int number)> refuse = [](const std::string &, int) { return 0; };
    lines all;

private:
    static int told(const char *operation, void *context) {
        auto &mine = *static_cast<operations *>(context);
        const faults::suspend unrefused;
        mine.all.push_back(std::string(operation).substr(std::string("sysutl_acl_").size()));
        return mine.refuse(mine.all.back(), static_cast<int>(mine.all.size()) - 1);
    }
};

const std::string id(unsigned number) { return std::to_string(number); }

} // namespace

// ---- nothing to convert

TEST(ConvertToSysutlAcl, GivesNothingForNothing) {
    sysutl_acl_t *made = reinterpret_cast<sysutl_acl_t *>(8);
    EXPECT_EQ(tbs_sid_acl_convert_to_sysutl_acl(nullptr, &owners(), 0644, required, &made), 0);
    EXPECT_EQ(made, nullptr);
    const sid_ptr empty = make_sid();
    made = reinterpret_cast<sysutl_acl_t *>(8);
    EXPECT_EQ(tbs_sid_acl_convert_to_sysutl_acl(empty.get(), nullptr, 0644, required, &made), 0);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(tbs_sid_acl_convert_to_sysutl_acl(empty.get(), nullptr, 0644, required, nullptr), 0);
}

TEST(ConvertToSysutlAcl, NeedsOwners) {
    const sid_ptr acl = acl_of({everyone});
    sysutl_acl_t *made = reinterpret_cast<sysutl_acl_t *>(8);
    EXPECT_EQ(tbs_sid_acl_convert_to_sysutl_acl(acl.get(), nullptr, 0644, required, &made), TBS_ST_EINVAL);
    EXPECT_EQ(made, nullptr);
}

TEST(ConvertToSysutlAcl, ChecksWithoutGivingTheResult) {
    const sid_ptr acl = acl_of({everyone});
    EXPECT_EQ(tbs_sid_acl_convert_to_sysutl_acl(acl.get(), &owners(), 0644, required, nullptr), 0);
}

// ---- what the entries become

TEST(ConvertToSysutlAcl, GivesEveryoneReadAndTheRestByTheMode) {
    // Others read, so the owner and the owning group do too.
    EXPECT_EQ(text({everyone}, 0), "user::r-- group::r-- mask::r-- other::r--");
    EXPECT_EQ(text({everyone}, 0777), "user::rwx group::rwx mask::rwx other::rwx");
    EXPECT_EQ(text({everyone}, 0321), "user::rwx group::rw- mask::rw- other::r-x");
    EXPECT_EQ(text({everyone}, 0444), "user::r-- group::r-- mask::r-- other::r--");
}

TEST(ConvertToSysutlAcl, GivesOthersNothingToReadWithoutAnEntry) {
    EXPECT_EQ(text({user(other_id)}, 0777),
              "user::-wx user:" + id(other_id) + ":rwx group::-wx mask::rwx other::-wx");
    EXPECT_EQ(text({user(other_id)}, 0), "user::--- user:" + id(other_id) + ":r-- group::--- mask::r-- other::---");
}

TEST(ConvertToSysutlAcl, TakesOtherUsersAndGroupsAsTheGroupClass) {
    EXPECT_EQ(text({user(other_id), group(other_id)}, 0730), "user::-wx user:" + id(other_id) +
                                                                 ":rwx group::-wx group:" + id(other_id) +
                                                                 ":rwx mask::rwx other::---");
    EXPECT_EQ(text({group(other_id)}, 0720),
              "user::-wx group::-w- group:" + id(other_id) + ":rw- mask::rw- other::---");
}

TEST(ConvertToSysutlAcl, IgnoresEntriesThatLackARequiredPermission) {
    EXPECT_EQ(text({user(other_id, less), everyone}, 0), "user::r-- group::r-- mask::r-- other::r--");
    EXPECT_EQ(text({user(other_id, more)}, 0),
              "user::--- user:" + id(other_id) + ":r-- group::--- mask::r-- other::---");
    EXPECT_EQ(text({of_kind(TBS_ACL_ID_EVERYONE, less)}, 0777), "user::-wx group::-wx mask::-wx other::-wx");
}

TEST(ConvertToSysutlAcl, SkipsDomainsRolesAndUnknownKinds) {
    tbs_sid_acl_id_t role = sid_id(TBS_ACL_ID_ROLE, CREDUTL_SID_NOBODY, "", "dev");
    EXPECT_EQ(text({{role, required}, of_kind(TBS_ACL_ID_NONE), of_kind(TBS_ACL_ID_DOMAIN), of_kind(99)}, 0700),
              "user::-wx group::--- mask::--- other::---");
}

TEST(ConvertToSysutlAcl, NamesTheOwnerThatContributes) {
    EXPECT_EQ(text({owner_user}, 0750), "user::rwx user:" + id(owner_id) + ":rwx group::--x mask::rwx other::---");
    // The owner bits hold read even when the mode has none.
    EXPECT_EQ(text({owner_user}, 0), "user::r-- user:" + id(owner_id) + ":r-- group::--- mask::r-- other::---");
}

TEST(ConvertToSysutlAcl, TakesTheOwnerByName) {
    // Of the owner's class; the owner's own entry still has write and execute by the mode alone.
    EXPECT_EQ(text({user(owner_id)}, 0700),
              "user::-wx user:" + id(owner_id) + ":rwx group::--- mask::rwx other::---");
    EXPECT_EQ(text({user(owner_id), owner_user}, 0200),
              "user::rw- user:" + id(owner_id) + ":rw- group::--- mask::rw- other::---");
}

TEST(ConvertToSysutlAcl, MergesTheOwningGroup) {
    EXPECT_EQ(text({owner_group}, 0750),
              "user::-wx group::r-x group:" + id(owners_group_id) + ":r-x mask::r-x other::---");
    EXPECT_EQ(text({group(owners_group_id)}, 0720),
              "user::-wx group::rw- group:" + id(owners_group_id) + ":rw- mask::rw- other::---");
    EXPECT_EQ(text({owner_group, group(owners_group_id)}, 0710),
              "user::-wx group::r-x group:" + id(owners_group_id) + ":r-x mask::r-x other::---");
}

TEST(ConvertToSysutlAcl, TakesTheOwnerOnceHoweverOftenItIsNamedByKind) {
    EXPECT_EQ(text({owner_user, owner_user}, 0100), text({owner_user}, 0100));
}

TEST(ConvertToSysutlAcl, RefusesAnyOtherIdentityThatStandsTwice) {
    for (const entry &twice :
         {user(other_id), user(owner_id), group(other_id), group(owners_group_id), owner_group, everyone}) {
        const outcome result = convert({twice, twice}, 0777);
        EXPECT_EQ(result.status, TBS_ST_EINVAL) << twice.id.kind;
        EXPECT_EQ(result.acl, nullptr);
    }
}

// Every choice of entries in two orders, under modes of each bit, against what the entries say together.
TEST(ConvertToSysutlAcl, GivesReadByTheEntriesAndTheRestByTheMode) {
    const std::vector<entry> all = {user(owner_id), owner_user,      user(other_id), group(owners_group_id),
                                    owner_group,    group(other_id), everyone};
    const auto shown = [](const std::string &name, int bits) {
        return name + (bits & 4 ? 'r' : '-') + (bits & 2 ? 'w' : '-') + (bits & 1 ? 'x' : '-');
    };
    const unsigned choices = 1u << all.size();
    for (unsigned choice = 1; choice < choices; choice++) {
        std::vector<entry> entries;
        for (size_t i = 0; i < all.size(); i++) {
            if (choice >> i & 1) entries.push_back(all[i]);
        }
        const bool by_name = choice & 1, as_owner = choice & 2, another = choice & 4, group_by_name = choice & 8,
                   as_group = choice & 16, another_group = choice & 32, by_all = choice & 64;
        for (const uint32_t mode : {0u, 0100u, 0200u, 0010u, 0020u, 0001u, 0002u, 0333u}) {
            const int of_owner = mode >> 6 & 3, of_group = mode >> 3 & 3, of_others = mode & 3;
            const int group_bits = of_group | (group_by_name || as_group || by_all ? 4 : 0);
            std::string expected = shown("user::", of_owner | (as_owner || by_all ? 4 : 0));
            int mask = group_bits;
            const auto named = [&](bool there, const std::string &name, unsigned number, int bits) {
                if (!there) return;
                expected += shown(' ' + name + ':' + std::to_string(number) + ':', 4 | bits);
                mask |= 4 | bits;
            };
            named(by_name || as_owner, "user", owner_id, of_owner);
            named(another, "user", other_id, of_group);
            expected += shown(" group::", group_bits);
            named(group_by_name || as_group, "group", owners_group_id, of_group);
            named(another_group, "group", other_id, of_group);
            expected += shown(" mask::", mask) + shown(" other::", of_others | (by_all ? 4 : 0));
            ASSERT_EQ(text(entries, mode), expected) << std::oct << mode;
            ASSERT_EQ(text({entries.rbegin(), entries.rend()}, mode | 0444), expected) << std::oct << mode;
        }
    }
}

TEST(ConvertToSysutlAcl, NeedsANumberForTheOwnerOnlyToNameIt) {
    const accounts corp;
    const tbs_acl_sid_pair_t unknown = {sid(stranger), sid(stranger)};
    const auto status = [&](const std::vector<entry> &entries) {
        const sid_ptr acl = acl_of(entries);
        return tbs_sid_acl_convert_to_sysutl_acl(acl.get(), &unknown, 0777, required, nullptr);
    };
    EXPECT_EQ(status({everyone}), 0);
    EXPECT_EQ(status({owner_user}), TBS_ST_EINVAL);
    EXPECT_EQ(status({owner_group}), TBS_ST_EINVAL);
}

// ---- operations

TEST(ConvertToSysutlAcl, DoesOneStepAfterTheOther) {
    const lines added = {"create_entry", "set_tag_type", "get_permset", "clear_perms", "add_perm"};
    const lines named = {"create_entry", "set_tag_type", "set_qualifier", "get_permset", "clear_perms", "add_perm"};
    lines expected = {"init"};
    const auto then = [&](const lines &more_steps) {
        expected.insert(expected.end(), more_steps.begin(), more_steps.end());
    };
    then(named); // the user
    then(added); // everyone
    then(named); // the owner
    then(named); // the owning group
    then({"modify_perms", "calc_mask", "valid"});
    const sid_ptr acl = acl_of({user(other_id), everyone});
    operations seen;
    EXPECT_EQ(convert(acl, 0777).status, 0);
    EXPECT_EQ(seen.all, expected);
}

TEST(ConvertToSysutlAcl, ChecksAgainWhatItHasShown) {
    const sid_ptr acl = acl_of({everyone});
    const tracing on(3, "tbs_acl:3");
    const recorder printed;
    operations seen;
    EXPECT_EQ(convert(acl, 0).status, 0);
    ASSERT_GT(seen.all.size(), 5u);
    EXPECT_EQ(lines(seen.all.end() - 5, seen.all.end()),
              (lines{"modify_perms", "calc_mask", "valid", "to_text", "valid"}));
}

TEST(ConvertToSysutlAcl, AddsOthersAndLeavesReadersAloneWithoutEveryone) {
    const sid_ptr acl = acl_of({user(other_id)});
    operations seen;
    EXPECT_EQ(convert(acl, 0).status, 0);
    EXPECT_EQ(std::count(seen.all.begin(), seen.all.end(), "create_entry"), 4);
    EXPECT_EQ(std::count(seen.all.begin(), seen.all.end(), "modify_perms"), 0);
}

TEST(ConvertToSysutlAcl, TellsThatThePlatformHasNoAcls) {
    const tracing on(9, "tbs_acl:9");
    recorder printed;
    const sid_ptr acl = acl_of({everyone});
    operations seen;
    seen.refuse = [](const std::string &operation, int) { return operation == "init" ? KS_ENOSYS : 0; };
    sysutl_acl_t *made = reinterpret_cast<sysutl_acl_t *>(8);
    EXPECT_EQ(tbs_sid_acl_convert_to_sysutl_acl(acl.get(), &owners(), 0644, required, &made),
              TBS_ST_SUCCESS_WITH_EXCEPTION);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(seen.all, lines{"init"});
    EXPECT_EQ(printed.take(), lines{});
}

TEST(ConvertToSysutlAcl, TakesOnlyTheFirstOperationForAMissingPlatform) {
    const sid_ptr acl = acl_of({everyone});
    for (const char *refused : {"calc_mask", "modify_perms", "valid"}) {
        operations seen;
        seen.refuse = [refused](const std::string &operation, int) { return operation == refused ? KS_ENOSYS : 0; };
        EXPECT_EQ(convert(acl, 0).status, tbs_errno2status(KS_ENOSYS)) << refused;
    }
    operations seen;
    seen.refuse = [](const std::string &operation, int) { return operation == "init" ? KS_ENOMEM : 0; };
    EXPECT_EQ(convert(acl, 0).status, tbs_errno2status(KS_ENOMEM));
    EXPECT_EQ(seen.all, lines{"init"});
}

// Every operation fails once. Those for entries of the SID ACL are tolerated, all others end the conversion; either
// way an entry that was begun is deleted.
TEST(ConvertToSysutlAcl, EndsWithTheStatusOfAnOperationThatFails) {
    const struct {
        std::vector<entry> entries;
        size_t first_fixed; // operation behind those for the entries
    } cases[] = {
        {{user(other_id), user(owner_id), owner_user, owner_group, group(owners_group_id), everyone}, 1 + 4 * 6 + 5},
        {{owner_user, owner_group}, 1 + 6}, // the owner and the owning group are named behind them
        {{group(owners_group_id)}, 1 + 6},  // the owning group takes over from its name
    };
    const std::string status_text = tbs_strerror(tbs_errno2status(KS_EACCES));
    const tracing on(1, "tbs_acl:1");
    for (const auto &[entries, first_fixed] : cases) {
        const sid_ptr acl = acl_of(entries);
        lines steps;
        {
            operations seen;
            EXPECT_EQ(convert(acl, 0777).status, 0);
            steps = seen.all;
        }
        ASSERT_EQ(steps[first_fixed], "create_entry");
        bool begun = false;
        for (size_t number = 0; number < steps.size(); number++) {
            SCOPED_TRACE(std::to_string(number) + ' ' + steps[number]);
            recorder printed;
            operations seen;
            seen.refuse = [number](const std::string &, int at) {
                return static_cast<size_t>(at) == number ? KS_EACCES : 0;
            };
            const outcome result = convert(acl, 0777);
            lines expected(steps.begin(), steps.begin() + static_cast<ptrdiff_t>(number) + 1);
            if (begun) expected.push_back("delete_entry");
            if (number > 0 && number < first_fixed) {
                EXPECT_EQ(result.status, 0);
                EXPECT_NE(result.acl, nullptr);
                EXPECT_EQ(printed.take(), lines{});
                seen.all.resize(expected.size());
                EXPECT_EQ(seen.all, expected);
            } else {
                EXPECT_EQ(result.status, tbs_errno2status(KS_EACCES));
                EXPECT_EQ(result.acl, nullptr);
                EXPECT_EQ(printed.take(), lines{"8 tbs_sid_acl_convert_to_sysutl_acl: \"" + status_text + "\"\n"});
                EXPECT_EQ(seen.all, expected);
            }
            if (steps[number] == "create_entry") begun = true;
            if (steps[number] == "add_perm") begun = false;
        }
    }
}

TEST(ConvertToSysutlAcl, GivesNothingForAnEntryThatIsGivenUp) {
    const sid_ptr acl = acl_of({user(other_id), owner_group, everyone});
    const std::string expected[] = {
        "user::rw- group::r-- group:" + id(owners_group_id) + ":r-- mask::r-- other::r-x",
        "user::rw- user:" + id(other_id) + ":r-- group::r-- mask::r-- other::r-x",
        "user::-w- user:" + id(other_id) + ":r-- group::r-- group:" + id(owners_group_id) +
            ":r-- mask::r-- other::--x",
    };
    for (int given_up = 0; given_up < 3; given_up++) {
        outcome result{};
        {
            operations seen;
            int created = 0;
            seen.refuse = [&](const std::string &operation, int) {
                return operation == "set_tag_type" && created++ == given_up ? KS_EINVAL : 0;
            };
            result = convert(acl, 0201);
        }
        EXPECT_EQ(result.text(), expected[given_up]);
    }
}

TEST(ConvertToSysutlAcl, EndsWhenABegunEntryCannotBeDeleted) {
    const sid_ptr acl = acl_of({user(other_id), everyone});
    operations seen;
    seen.refuse = [](const std::string &operation, int at) {
        return at == 3 || operation == "delete_entry" ? KS_EACCES : 0;
    };
    const outcome result = convert(acl, 0777);
    ASSERT_EQ(seen.all[3], "set_qualifier");
    EXPECT_EQ(result.status, TBS_ST_EINVAL);
    EXPECT_EQ(result.acl, nullptr);
}

TEST(ConvertToSysutlAcl, TracesAFailureOnlyWhenWanted) {
    const sid_ptr acl = acl_of({everyone});
    recorder printed;
    operations seen;
    seen.refuse = [](const std::string &operation, int) { return operation == "calc_mask" ? KS_EACCES : 0; };
    for (const auto &[verbosity, modules] : {std::pair{0, "tbs_acl:1"}, {1, "tbs_acl:0"}, {1, "tbs_lib:1"}}) {
        const tracing off(verbosity, modules);
        EXPECT_EQ(convert(acl, 0).status, tbs_errno2status(KS_EACCES));
    }
    EXPECT_EQ(printed.take(), lines{});
}

TEST(ConvertToSysutlAcl, TracesEntriesThatAreGivenUp) {
    const sid_ptr acl = acl_of({user(other_id), everyone, owner_group});
    for (const auto &[skipped, sid_shown] : {std::pair{0, "S-1-22-1-" + id(other_id)},
                                             {1, std::string("no sid")},
                                             {2, "S-1-22-2-" + id(owners_group_id)}}) {
        SCOPED_TRACE(sid_shown);
        recorder printed;
        operations seen;
        int created = 0;
        seen.refuse = [&, wanted = skipped](const std::string &operation, int) {
            return operation == "create_entry" && created++ == wanted ? KS_ENOMEM : 0;
        };
        {
            const tracing off(2, "tbs_acl:3");
            EXPECT_EQ(convert(acl, 0777).status, 0);
        }
        EXPECT_EQ(printed.take(), lines{});
        created = 0;
        const tracing on(3, "tbs_acl:3");
        EXPECT_EQ(convert(acl, 0777).status, 0);
        const lines all = printed.take();
        ASSERT_EQ(all.size(), 3u);
        EXPECT_EQ(all[0], "8 tbs_sid_acl_convert_to_sysutl_acl: error from tbs_acl_add_sysutl_ace: \"" +
                              std::string(tbs_strerror(tbs_errno2status(KS_ENOMEM))) + "\" for sid: \"" + sid_shown +
                              "\"\n");
    }
}

TEST(ConvertToSysutlAcl, LeavesOutAccountsWithoutANumberHere) {
    const accounts corp;
    const sid_ptr acl = acl_of({{sid_id(TBS_ACL_ID_USER, sid(stranger)), required}, user(other_id)});
    EXPECT_EQ(convert(acl, 0).text(), "user::--- user:" + id(other_id) + ":r-- group::--- mask::r-- other::---");
}

// ---- traces

TEST(ConvertToSysutlAcl, TracesTheResultLineByLine) {
    const sid_ptr acl = acl_of({everyone});
    recorder printed;
    {
        const tracing on(3, "tbs_acl:3");
        EXPECT_EQ(convert(acl, 0644).status, 0);
    }
    EXPECT_EQ(printed.take(),
              (lines{"8 sysutl_acl_valid says: YES\n", "8 tbs_sid_acl_convert_to_sysutl_acl: SYSUTL ACL:\n"
                                                       "user::rw-\ngroup::r--\nmask::r--\nother::r--\n\n"}));
    for (const auto &[verbosity, modules] : {std::pair{2, "tbs_acl:3"}, {3, "tbs_acl:2"}}) {
        const tracing off(verbosity, modules);
        EXPECT_EQ(convert(acl, 0644).status, 0);
    }
    EXPECT_EQ(printed.take(), lines{});
}

TEST(ConvertToSysutlAcl, TracesAnAclThatIsNotValid) {
    const sid_ptr twice = acl_of({user(other_id), user(other_id)});
    recorder printed;
    const tracing on(3, "tbs_acl:3");
    const outcome result = convert(twice, 0);
    EXPECT_EQ(result.status, TBS_ST_EINVAL);
    EXPECT_EQ(result.acl, nullptr);
    const lines all = printed.take();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0], "8 sysutl_acl_valid says: NO\n");
    EXPECT_EQ(all[2], "8 tbs_sid_acl_convert_to_sysutl_acl: \"Invalid argument\"\n");
}

TEST(ConvertToSysutlAcl, TracesTracesThatFail) {
    const sid_ptr acl = acl_of({everyone});
    const std::string failure = tbs_strerror(tbs_errno2status(KS_EACCES));
    const tracing on(3, "tbs_acl:3");
    {
        recorder printed;
        operations seen;
        seen.refuse = [](const std::string &operation, int) { return operation == "to_text" ? KS_EACCES : 0; };
        EXPECT_EQ(convert(acl, 0).status, 0);
        EXPECT_EQ(printed.take(),
                  (lines{"8 sysutl_acl_valid says: YES\n",
                         "8 tbs_sid_acl_convert_to_sysutl_acl: error from sysutl_acl_to_text: " + failure + "\n"}));
    }
    recorder printed;
    operations seen;
    seen.refuse = [](const std::string &operation, int) { return operation == "valid" ? KS_EACCES : 0; };
    EXPECT_EQ(convert(acl, 0).status, tbs_errno2status(KS_EACCES));
    EXPECT_EQ(printed.take()[0],
              "8 tbs_sid_acl_convert_to_sysutl_acl: error from sysutl_acl_valid: " + failure + "\n");
}

// ---- memory

TEST(ConvertToSysutlAcl, GivesNothingWhenMemoryIsRefused) {
    const sid_ptr acl = acl_of({user(other_id), owner_user, owner_group, everyone});
    for (const int verbosity : {0, 3}) {
        const tracing on(verbosity, "tbs_acl:3");
        recorder printed;
        const int points = faults::each_allocation([&](int, bool) {
            sysutl_acl_t *made = nullptr;
            const tbs_status_t status =
                tbs_sid_acl_convert_to_sysutl_acl(acl.get(), &owners(), 0644, required, &made);
            const faults::suspend unrefused;
            EXPECT_TRUE(status == 0 || status == TBS_ST_ENOMEM || status == tbs_errno2status(KS_ENOMEM)) << status;
            EXPECT_EQ(made != nullptr, status == 0);
            sysutl_acl_free(&made);
        });
        EXPECT_GT(points, 0);
    }
}
