// tbs whoami: the identities that this process asks with, and who knows them.
#include "client.hpp"

#include <nlohmann/json.hpp>

namespace tool {
namespace {

struct identity {
    const char *role; // "user", "primary group", "group"
    std::string name, sid;
    std::string source; // "" when no source knows the SID
    uint32_t id;
};

identity known(const char *role, credutl_account_kind_t kind, const credutl_sid_t &sid) {
    credutl_account_t account;
    if (credutl_account_by_sid(kind, &sid, &account) != 0) {
        return {role, sid_text(sid), sid_text(sid), "", CREDUTL_NO_ID};
    }
    return {role, account.name, sid_text(sid), account.source, account.id};
}

std::vector<identity> identities_of(const credutl_sid_credentials_t &sids) {
    std::vector<identity> all = {known("user", CREDUTL_USER, sids.user)};
    if (!credutl_sid_eq(&sids.group, &CREDUTL_SID_NOBODY)) {
        all.push_back(known("primary group", CREDUTL_GROUP, sids.group));
    }
    for (uint32_t i = 0; i < sids.group_count; i++) all.push_back(known("group", CREDUTL_GROUP, sids.groups[i]));
    return all;
}

void print_text(const std::vector<identity> &all, const std::string &domain) {
    print_padded("domain", 15);
    print(domain.empty() ? "(none)" : domain);
    end_line();
    for (const identity &one : all) {
        print_padded(one.role, 15);
        print_padded(one.name, 32);
        print_padded(one.sid, 42);
        print(one.source.empty() ? "(unknown)" : one.source);
        end_line();
    }
}

void print_as_json(const std::vector<identity> &all, const std::string &domain) {
    json accounts = json::array();
    for (const identity &one : all) {
        accounts.push_back({{"role", one.role},
                            {"name", one.name},
                            {"sid", one.sid},
                            {"id", one.id == CREDUTL_NO_ID ? json(nullptr) : json(one.id)},
                            {"source", one.source.empty() ? json(nullptr) : json(one.source)}});
    }
    print_json({{"domain", domain.empty() ? json(nullptr) : json(domain)},
                {"identities", std::move(accounts)},
                {"exit_status", exit_done}});
}

int whoami(bool as_json) {
    const requester who = requester::of_process();
    const std::vector<identity> all = identities_of(who.sids());
    as_json ? print_as_json(all, who.domain()) : print_text(all, who.domain());
    return exit_done;
}

} // namespace

void add_whoami(command parent, action &chosen) {
    const auto as_json = std::make_shared<bool>(false);
    const command whoami_command = parent.add("whoami", "Show who this process is: names, SIDs, who knows them");
    whoami_command.flag("--json", *as_json, "Answer in JSON");
    whoami_command.runs([as_json] { return whoami(*as_json); }, chosen);
}

} // namespace tool
