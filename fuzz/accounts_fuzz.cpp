// The accounts file: whatever is in it, each account that was read is found again, and nobody is not among them.
#include "ks/ks_cred.h"
#include "lib/ks/internal/ks_account_file.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void check_found(const ks::account_table &table, const ks::file_account *account) {
    if (account) {
        require(table.by_name(account->kind, account->name.c_str()) == account);
        require(table.by_sid(account->kind, account->sid) == account);
        require(!credutl_sid_eq(&account->sid, &CREDUTL_SID_NOBODY));
        require(account->name.size() < CREDUTL_NAME_SIZE);
        require(account->id == CREDUTL_NO_ID || table.by_id(account->kind, account->id) != nullptr);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    const ks::account_table table = ks::account_table::parse(text, "HOST");
    const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    require(table.account_count() + table.problem_count() <= lines);
    require(table.problems().size() == std::min(table.problem_count(), ks::account_table::max_problems));

    // Names and SIDs are taken from the lines in a simpler way than the parser's.
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);) {
        for (const char *word : {" user ", " group ", " member "}) {
            const std::string name = line.substr(0, line.find(word));
            check_found(table, table.by_name(CREDUTL_USER, name.c_str()));
            check_found(table, table.by_name(CREDUTL_GROUP, name.c_str()));
            for (const std::string &group : table.groups_of(name.c_str())) {
                require(group.find('\\') != std::string::npos);
            }
        }
        const size_t at = line.find("S-1-");
        credutl_sid_t sid;
        if (at != std::string::npos &&
            credutl_str_to_sid(line.substr(at, line.find_first_of(" \t\r", at) - at).c_str(), &sid) == 0) {
            check_found(table, table.by_sid(CREDUTL_USER, sid));
            check_found(table, table.by_sid(CREDUTL_GROUP, sid));
        }
    }
    require(table.by_sid(CREDUTL_USER, CREDUTL_SID_NOBODY) == nullptr);
    return 0;
}
