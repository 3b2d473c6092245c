#include "internal/ks_account_file.hpp"

#include "internal/ks_sid.hpp"
#include "ks/ks_str.h"

#include <algorithm>
#include <optional>

namespace ks {
namespace {

constexpr uint32_t none = UINT32_MAX;

uint64_t name_key(credutl_account_kind_t kind, const char *name) noexcept { return strutl_fold_hash(name, kind); }

uint64_t sid_key(credutl_account_kind_t kind, const credutl_sid_t &sid) noexcept {
    return credutl_sid_hash(&sid) + kind;
}

uint64_t id_key(credutl_account_kind_t kind, uint32_t id) noexcept {
    const uint64_t key = (uint64_t{id} << 2 | static_cast<uint64_t>(kind)) * 0x9E3779B97F4A7C15u;
    return key ^ key >> 32;
}

bool is_blank(char c) noexcept { return c == ' ' || c == '\t'; }

std::string_view trim(std::string_view text) noexcept {
    while (!text.empty() && is_blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Takes the last field off a trimmed text, and the blanks before it.
std::string_view take_last_field(std::string_view &text) noexcept {
    const size_t at = text.find_last_of(" \t");
    const std::string_view field = at == std::string_view::npos ? text : text.substr(at + 1);
    text = trim(text.substr(0, text.size() - field.size()));
    return field;
}

std::string_view first_field(std::string_view text) noexcept { return text.substr(0, text.find_first_of(" \t")); }

// Normalises "DOMAIN\name"; "." as domain is the host's own. Empty when it is no such name.
std::optional<std::string> account_name(std::string_view text, std::string_view local_domain) {
    const name_parts parts = split_name(text);
    const std::string_view domain = parts.domain == "." ? local_domain : parts.domain;
    if (domain.empty() || parts.name.empty() || domain.size() > account_table::max_part ||
        parts.name.size() > account_table::max_part || split_name(parts.name).qualified ||
        text.find('\t') != std::string_view::npos) {
        return std::nullopt;
    }
    std::string name;
    name.reserve(domain.size() + 1 + parts.name.size());
    name.append(domain).append(1, '\\').append(parts.name);
    return name;
}

// The fields of an account's line, still as text.
struct account_fields {
    std::string_view name, kind, sid, id;
};

// Splits an account's line from its end, since names hold blanks. Nothing when it is no such line.
std::optional<account_fields> split_account(std::string_view line) noexcept {
    account_fields fields;
    fields.sid = take_last_field(line);
    if (!fields.sid.starts_with("S-")) {
        fields.id = fields.sid;
        fields.sid = take_last_field(line);
    }
    fields.kind = take_last_field(line);
    fields.name = line;
    if (!fields.sid.starts_with("S-") || (fields.kind != "user" && fields.kind != "group")) {
        return std::nullopt;
    }
    return fields;
}

struct member_fields {
    std::string_view user, group;
};

// Splits at the first field "member" behind which a qualified name begins.
std::optional<member_fields> split_member(std::string_view line) noexcept {
    constexpr std::string_view word = "member";
    for (size_t at = line.find(word, 1); at != std::string_view::npos; at = line.find(word, at + 1)) {
        const std::string_view behind = line.substr(at + word.size());
        if (!is_blank(line[at - 1]) || behind.empty() || !is_blank(behind.front())) {
            continue;
        }
        const std::string_view group = trim(behind);
        if (split_name(first_field(group)).qualified) {
            return member_fields{trim(line.substr(0, at)), group};
        }
    }
    return std::nullopt;
}

bool has_control_character(std::string_view line) noexcept {
    return std::any_of(line.begin(), line.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && c != '\t') || byte == 0x7F;
    });
}

} // namespace

template <class Equal> uint32_t account_table::index::find(uint64_t hash, Equal &&equal) const noexcept {
    if (slots_.empty()) {
        return none;
    }
    const size_t mask = slots_.size() - 1;
    for (size_t at = hash & mask; slots_[at] != 0; at = (at + 1) & mask) {
        if (equal(slots_[at] - 1)) {
            return slots_[at] - 1;
        }
    }
    return none;
}

template <class Hash> void account_table::index::add(uint32_t position, Hash &&hash_of) {
    const auto place = [](std::vector<uint32_t> &slots, uint64_t hash, uint32_t entry) {
        size_t at = hash & (slots.size() - 1);
        while (slots[at] != 0) {
            at = (at + 1) & (slots.size() - 1);
        }
        slots[at] = entry;
    };
    if (2 * (used_ + 1) > slots_.size()) {
        std::vector<uint32_t> larger(std::max<size_t>(16, 2 * slots_.size()));
        for (const uint32_t entry : slots_) {
            if (entry != 0) {
                place(larger, hash_of(entry - 1), entry);
            }
        }
        slots_.swap(larger);
    }
    place(slots_, hash_of(position), position + 1);
    used_++;
}

account_table account_table::parse(std::string_view text, std::string_view local_domain) {
    account_table table;
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    for (uint32_t number = 1; !text.empty(); number++) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        line = trim(line);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (const char *reason = table.read_line(line, local_domain)) {
            table.note(number, reason);
        }
    }
    return table;
}

// Gives what is wrong with the line, or nullptr.
const char *account_table::read_line(std::string_view line, std::string_view local_domain) {
    if (has_control_character(line)) {
        return "control character";
    }
    if (const auto fields = split_account(line)) {
        file_account account{fields->kind == "user" ? CREDUTL_USER : CREDUTL_GROUP, {}, CREDUTL_NO_ID, {}};
        auto name = account_name(fields->name, local_domain);
        uint64_t id = CREDUTL_NO_ID;
        if (!name) {
            return "name is not DOMAIN\\name";
        }
        if (!parse_sid(fields->sid, account.sid)) {
            return "bad SID";
        }
        if (!sid_is_account(account.sid)) {
            return "S-1-0-0 is nobody";
        }
        if (!fields->id.empty() && !parse_decimal(fields->id, CREDUTL_NO_ID - 1, id)) {
            return "bad uid or gid";
        }
        account.id = static_cast<uint32_t>(id);
        account.name = std::move(*name);
        return add_account(std::move(account));
    }
    if (const auto fields = split_member(line)) {
        auto user = account_name(fields->user, local_domain);
        auto group = account_name(fields->group, local_domain);
        if (!user || !group) {
            return "name is not DOMAIN\\name";
        }
        return add_membership(std::move(*user), std::move(*group));
    }
    return "neither an account nor a membership";
}

const char *account_table::add_account(file_account account) {
    const file_account *same_name = by_name(account.kind, account.name.c_str());
    const file_account *same_sid = by_sid(account.kind, account.sid);
    if (same_name || same_sid) {
        if (same_name == same_sid && same_name->id == account.id) {
            return nullptr; // the same line again
        }
        return same_name ? "name is already defined" : "SID is already defined";
    }
    const auto position = static_cast<uint32_t>(accounts_.size());
    accounts_.push_back(std::move(account));
    names_.add(position, [&](uint32_t i) { return name_key(accounts_[i].kind, accounts_[i].name.c_str()); });
    sids_.add(position, [&](uint32_t i) { return sid_key(accounts_[i].kind, accounts_[i].sid); });
    const file_account &added = accounts_.back();
    if (added.id != CREDUTL_NO_ID && !by_id(added.kind, added.id)) {
        ids_.add(position, [&](uint32_t i) { return id_key(accounts_[i].kind, accounts_[i].id); });
    }
    return nullptr;
}

const char *account_table::add_membership(std::string user, std::string group) {
    const auto key = [&](uint32_t i) { return name_key(CREDUTL_USER, memberships_[i].user.c_str()); };
    const auto position = static_cast<uint32_t>(memberships_.size());
    const uint32_t first = members_.find(name_key(CREDUTL_USER, user.c_str()), [&](uint32_t i) {
        return strutl_stricoll(memberships_[i].user.c_str(), user.c_str()) == 0;
    });
    memberships_.push_back({first == none ? std::move(user) : std::string(), std::move(group), none, position});
    if (first == none) {
        members_.add(position, key);
        return nullptr;
    }
    memberships_[memberships_[first].last].next = position;
    memberships_[first].last = position;
    return nullptr;
}

void account_table::note(uint32_t line, const char *reason) {
    problem_count_++;
    if (problems_.size() < max_problems) {
        problems_.push_back({line, reason});
    }
}

const file_account *account_table::by_name(credutl_account_kind_t kind, const char *fq_name) const noexcept {
    const uint32_t at = names_.find(name_key(kind, fq_name), [&](uint32_t i) {
        return accounts_[i].kind == kind && strutl_stricoll(accounts_[i].name.c_str(), fq_name) == 0;
    });
    return at == none ? nullptr : &accounts_[at];
}

const file_account *account_table::by_sid(credutl_account_kind_t kind, const credutl_sid_t &sid) const noexcept {
    const uint32_t at = sids_.find(sid_key(kind, sid), [&](uint32_t i) {
        return accounts_[i].kind == kind && sid_equal(accounts_[i].sid, sid);
    });
    return at == none ? nullptr : &accounts_[at];
}

const file_account *account_table::by_id(credutl_account_kind_t kind, uint32_t id) const noexcept {
    const uint32_t at =
        ids_.find(id_key(kind, id), [&](uint32_t i) { return accounts_[i].kind == kind && accounts_[i].id == id; });
    return at == none ? nullptr : &accounts_[at];
}

std::vector<std::string> account_table::groups_of(const char *user) const {
    std::vector<std::string> groups;
    uint32_t at = members_.find(name_key(CREDUTL_USER, user),
                                [&](uint32_t i) { return strutl_stricoll(memberships_[i].user.c_str(), user) == 0; });
    for (; at != none; at = memberships_[at].next) {
        groups.push_back(memberships_[at].group);
    }
    return groups;
}

} // namespace ks
