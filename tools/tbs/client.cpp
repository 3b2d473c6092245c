#include "client.hpp"

#include "ks/ks_errno.h"
#include "ks/ks_imsg.h"
#include "ks/ks_str.h"
#include "text_file.hpp"

#include <algorithm>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {
namespace {

constexpr char unknown_remedy[] =
    "Write DOMAIN\\name or a SID; the accounts file (ORSIK_ACCOUNTS), the domain and this host were asked.";

const char *kind_name(credutl_account_kind_t kind) { return kind == CREDUTL_USER ? "user" : "group"; }

bool same_sid(const credutl_sid_t &a, const credutl_sid_t &b) { return credutl_sid_eq(&a, &b) != 0; }

// The SID of a name or of a SID's text; the reason why there is none comes back instead.
std::optional<std::string> find_sid(credutl_account_kind_t kind, const std::string &text, credutl_sid_t &sid_out) {
    if (credutl_str_to_sid(text.c_str(), &sid_out) == 0) {
        if (same_sid(sid_out, CREDUTL_SID_NOBODY)) return text + " is nobody";
        return std::nullopt;
    }
    credutl_account_t account;
    const int error = credutl_account_by_name(kind, text.c_str(), &account);
    if (error == KS_ENOMEM) throw std::bad_alloc();
    if (error == KS_ENOENT) return std::string("no ") + kind_name(kind) + " is called \"" + text + "\"";
    if (error) {
        return std::string("the ") + kind_name(kind) + " \"" + text + "\" cannot be looked up: " + error_text(error);
    }
    sid_out = account.sid;
    return std::nullopt;
}

std::string domain_of_user(const credutl_sid_t &sid) {
    credutl_account_t account;
    if (credutl_account_by_sid(CREDUTL_USER, &sid, &account) != 0) return {};
    char domain[CREDUTL_NAME_SIZE], name[CREDUTL_NAME_SIZE];
    const int error = credutl_crack_fq_name(account.name, domain, sizeof domain, name, sizeof name);
    return error ? std::string() : std::string(domain);
}

// What a credentials file has said so far.
struct credentials_file {
    const std::string &path;
    std::optional<credutl_sid_t> user, group;
    std::vector<credutl_sid_t> groups;

    [[noreturn]] void refuse(size_t line, const std::string &text, const std::string &remedy) const {
        throw failure(path, line, text, remedy);
    }

    credutl_sid_t sid(size_t line, credutl_account_kind_t kind, std::string_view text) const {
        credutl_sid_t found;
        if (text.empty()) refuse(line, "a name is missing", "Write DOMAIN\\name or a SID behind the word.");
        if (const auto reason = find_sid(kind, std::string(text), found)) refuse(line, *reason, unknown_remedy);
        return found;
    }

    void set_once(size_t line, const char *word, std::optional<credutl_sid_t> &member, credutl_sid_t found) const {
        if (member) refuse(line, std::string("\"") + word + "\" is given twice", "Keep one of the lines.");
        member = found;
    }

    void add_group(size_t line, credutl_sid_t found) {
        const bool known =
            (group && same_sid(*group, found)) ||
            std::any_of(groups.begin(), groups.end(), [&](const auto &g) { return same_sid(g, found); });
        if (known) refuse(line, "a group is given twice", "Name each group once, the primary one only as \"group\".");
        groups.push_back(found);
    }

    void read(const text_line &line) {
        const std::string_view text = line.text;
        const std::string_view word = text.substr(0, text.find_first_of(" \t"));
        std::string_view value = trimmed(text.substr(word.size()));
        if (word == "user") return set_once(line.number, "user", user, sid(line.number, CREDUTL_USER, value));
        if (word == "group") {
            set_once(line.number, "group", group, sid(line.number, CREDUTL_GROUP, value));
            if (std::any_of(groups.begin(), groups.end(), [&](const auto &g) { return same_sid(g, *group); })) {
                refuse(line.number, "a group is given twice", "Name the primary group only as \"group\".");
            }
            return;
        }
        if (word != "groups") {
            refuse(line.number, "\"" + std::string(word) + "\" is none of user, group and groups",
                   "Write \"user DOMAIN\\name\", \"group DOMAIN\\name\" or \"groups DOMAIN\\a, DOMAIN\\b\".");
        }
        for (;;) {
            const size_t comma = value.find(',');
            add_group(line.number, sid(line.number, CREDUTL_GROUP, trimmed(value.substr(0, comma))));
            if (comma == std::string_view::npos) return;
            value.remove_prefix(comma + 1);
        }
    }
};

} // namespace

std::string error_text(int error) { return imsg_strerror(error); }

void require(int error, const std::string &what) {
    if (error == KS_ENOMEM) throw std::bad_alloc();
    if (error) throw failure(what + ": " + error_text(error), "Try again; if it stays, ask who runs this host.");
}

std::string sid_text(const credutl_sid_t &sid) {
    char text[CREDUTL_SID_STR_SIZE];
    return credutl_sid_to_str(&sid, text, sizeof text) == 0 ? text : "(no SID)";
}

credutl_sid_t resolve(credutl_account_kind_t kind, const std::string &text) {
    credutl_sid_t sid;
    if (text.empty()) throw failure(std::string("the name of a ") + kind_name(kind) + " is empty", unknown_remedy);
    if (const auto reason = find_sid(kind, text, sid)) throw failure(*reason, unknown_remedy);
    return sid;
}

requester::requester(owned_client client) : client_(std::move(client)) {
    char domain[256];
    credutl_cracked_t cracked = {};
    require(credutl_crack_client(client_.get(), domain, sizeof domain, &cracked),
            "the client's credentials are not to be had");
    domain_ = domain;
    int error = 0;
    if (cracked.form == CREDUTL_FORM_SID) {
        std::swap(*sids_.put(), cracked.sids);
    } else {
        error = credutl_string_credentials_to_sid_credentials(cracked.strings, sids_.put());
    }
    credutl_free_cracked(&cracked);
    require(error, "the client's names are not to be resolved");
    make_ready();
}

requester::requester(const std::string &domain, const credutl_sid_credentials_t &sids) : domain_(domain) {
    require(credutl_copy_sid_credentials(&sids, sids_.put()), "the credentials cannot be used");
    make_ready();
}

// From here on the client is asked with exactly the credentials that are shown.
void requester::make_ready() {
    owned_client client;
    const char *domain = domain_.empty() ? nullptr : domain_.c_str();
    require(credutl_client_from_sids(domain, sids_.get(), client.put()), "the credentials cannot be used");
    client_ = std::move(client);
    require(credutl_sid_credentials_to_whole(sids_.get(), whole_.put()), "the credentials cannot be used");
    require(credutl_sid_credentials_to_string_credentials(sids_.get(), strings_.put()), "the accounts have no names");
}

requester requester::of_process() {
    owned_client client;
    require(credutl_client_from_process(client.put()), "the credentials of this process are not to be had");
    return requester(std::move(client));
}

requester requester::of_account(const std::string &name) {
    std::string known = name;
    const credutl_sid_t sid = resolve(CREDUTL_USER, name);
    if (credutl_sid_t given; credutl_str_to_sid(name.c_str(), &given) == 0) {
        credutl_account_t account;
        if (credutl_account_by_sid(CREDUTL_USER, &sid, &account) != 0) {
            throw failure("no user has the SID " + name, unknown_remedy);
        }
        known = account.name;
    }
    owned_client client;
    const int error = credutl_client_from_account(known.c_str(), client.put());
    if (error == KS_ENOENT) throw failure("no user is called \"" + known + "\"", unknown_remedy);
    require(error, "the account \"" + known + "\" cannot be used");
    return requester(std::move(client));
}

requester requester::of_file(const std::string &path) {
    credentials_file file{path, {}, {}, {}};
    for (const text_line &line : read_text_file(path)) file.read(line);
    if (!file.user) {
        throw failure(path, 0, "the file names no user", "Add a line \"user DOMAIN\\name\".");
    }
    const credutl_sid_credentials_t sids = {*file.user, file.group.value_or(CREDUTL_SID_NOBODY),
                                            static_cast<uint32_t>(file.groups.size()), file.groups.data()};
    return {domain_of_user(sids.user), sids};
}

std::vector<std::string> requester::groups() const {
    return {strings_->groups, strings_->groups + strings_->group_count};
}

json requester::as_json() const {
    const auto account = [](const std::string &name, const credutl_sid_t &sid) {
        return json{{"name", name}, {"sid", sid_text(sid)}};
    };
    json supplementary = json::array();
    const std::vector<std::string> names = groups();
    for (size_t i = 0; i < names.size(); i++) supplementary.push_back(account(names[i], sids().groups[i]));
    return {{"domain", domain_.empty() ? json(nullptr) : json(domain_)},
            {"user", account(user(), sids().user)},
            {"group", primary_group().empty() ? json(nullptr) : account(primary_group(), sids().group)},
            {"groups", std::move(supplementary)}};
}

} // namespace tool
