// Answers questions about accounts, one line each, so that tests can ask in an environment of their own:
//   user=NAME group=NAME usid=SID gsid=SID uid=ID gid=ID     error source name sid id
//   to-uid=SID to-gid=SID                                    id
//   client=NAME                                              error domain|user|primary group|group|...
//   strings=USER,GROUP,GROUP                                 error user|primary group|group, after conversion
//   domain, nt-domain                                        error SID
//   set=NAME=VALUE, flush                                    nothing
#include "ks/ks_cred.h"
#include "nt/nt_sid.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string text_of(const credutl_sid_t &sid) {
    char text[CREDUTL_SID_STR_SIZE];
    credutl_sid_to_str(&sid, text, sizeof text);
    return text;
}

void print(int error, const credutl_account_t &account) {
    if (error != 0) {
        std::printf("%d\n", error);
    } else {
        std::printf("0 %s %s %s %u\n", account.source, account.name, text_of(account.sid).c_str(), account.id);
    }
}

void print_client(const char *name) {
    credutl_client_t *client = nullptr;
    if (const int error = credutl_client_from_account(name, &client)) {
        std::printf("%d\n", error);
        return;
    }
    char domain[256];
    credutl_cracked_t cracked;
    const int error = credutl_crack_client(client, domain, sizeof domain, &cracked);
    std::printf("%d %s", error, domain);
    std::printf("|%s|%s", text_of(cracked.sids->user).c_str(), text_of(cracked.sids->group).c_str());
    for (uint32_t i = 0; i < cracked.sids->group_count; i++) {
        std::printf("|%s", text_of(cracked.sids->groups[i]).c_str());
    }
    std::printf("\n");
    credutl_free_cracked(&cracked);
    credutl_client_free(&client);
}

void print_converted(std::string list) {
    std::vector<char *> names;
    for (char *at = std::strtok(list.data(), ","); at; at = std::strtok(nullptr, ",")) {
        names.push_back(at);
    }
    const credutl_string_credentials_t strings = {names.at(0), names.at(1), static_cast<uint32_t>(names.size() - 2),
                                                  names.data() + 2};
    credutl_sid_credentials_t *sids = nullptr;
    if (const int error = credutl_string_credentials_to_sid_credentials(&strings, &sids)) {
        std::printf("%d\n", error);
        return;
    }
    std::printf("0 %s|%s", text_of(sids->user).c_str(), text_of(sids->group).c_str());
    for (uint32_t i = 0; i < sids->group_count; i++) {
        std::printf("|%s", text_of(sids->groups[i]).c_str());
    }
    std::printf("\n");
    credutl_free_sid_credentials(&sids);
}

} // namespace

int main(int argc, char **argv) {
    for (int i = 1; i < argc; i++) {
        const std::string argument = argv[i];
        const size_t at = argument.find('=');
        const std::string question = argument.substr(0, at);
        const std::string value = at == std::string::npos ? "" : argument.substr(at + 1);
        const auto id = static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
        credutl_account_t account;
        credutl_sid_t sid{};
        credutl_str_to_sid(value.c_str(), &sid);
        if (question == "user") {
            print(credutl_account_by_name(CREDUTL_USER, value.c_str(), &account), account);
        } else if (question == "group") {
            print(credutl_account_by_name(CREDUTL_GROUP, value.c_str(), &account), account);
        } else if (question == "usid") {
            print(credutl_account_by_sid(CREDUTL_USER, &sid, &account), account);
        } else if (question == "gsid") {
            print(credutl_account_by_sid(CREDUTL_GROUP, &sid, &account), account);
        } else if (question == "uid") {
            print(credutl_account_by_id(CREDUTL_USER, id, &account), account);
        } else if (question == "gid") {
            print(credutl_account_by_id(CREDUTL_GROUP, id, &account), account);
        } else if (question == "to-uid") {
            std::printf("%u\n", credutl_sid_to_uid(&sid));
        } else if (question == "to-gid") {
            std::printf("%u\n", credutl_sid_to_gid(&sid));
        } else if (question == "client") {
            print_client(value.c_str());
        } else if (question == "strings") {
            print_converted(value);
        } else if (question == "domain") {
            const int error = credutl_domain_sid(&sid);
            std::printf("%d %s\n", error, error == 0 ? text_of(sid).c_str() : "");
        } else if (question == "nt-domain") {
            char text[CREDUTL_SID_STR_SIZE];
            const int error = nt_get_domain_sid_str(text, sizeof text);
            std::printf("%d %s\n", error, text);
        } else if (question == "set") {
            const size_t equals = value.find('=');
            setenv(value.substr(0, equals).c_str(), value.substr(equals + 1).c_str(), 1);
        } else if (question == "flush") {
            credutl_flush_accounts();
        }
    }
    return 0;
}
