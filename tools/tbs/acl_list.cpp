#include "acl_list.hpp"

#include "acl_bytes.hpp"
#include "ks/ks_sys.h"
#include "text_file.hpp"

#include <new>

namespace tool {
namespace {

std::string identity_text(const tbs_acl_id_t &id) {
    char text[TBS_ACL_TEXT_SIZE];
    const tbs_status_t status = tbs_acl_utl_id_to_str(&id, sizeof text, text);
    if (status) throw failure(std::string("an identity has no text: ") + tbs_strerror(status), "Shorten its name.");
    return text;
}

// Whether the permissions of a line, its last word, look like a part of a list.
bool has_broken_list(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    line = trimmed(line);
    return line.ends_with(',') || trimmed(line.substr(0, line.find_last_of(" \t") + 1)).ends_with(',');
}

// What to do about the line of an ACL file that the library refused.
std::string remedy_for(const std::string &line, const std::vector<collected_message> &messages,
                       const vocabulary &words) {
    constexpr int unknown_permission = 3;
    if (has_broken_list(line)) {
        return "A list of permissions holds no blanks and does not end with a comma: Delete,AclRead.";
    }
    if (has_message(messages, "tbs_acl", unknown_identity)) return unknown_identity_remedy;
    if (has_message(messages, "tbs_acl", unknown_permission)) {
        return words.count() ? "Correct the name, or add it to the file behind --permissions."
                             : "Correct the name; --permissions FILE names further permissions.";
    }
    return "Correct the line that it names: kind:DOMAIN\\name, a blank, permissions.";
}

// The library reads files only.
acl_list of_standard_input(bool classic, const vocabulary &words) {
    const bytes content = read_bytes("-");
    const scratch_file file(as_text(content));
    try {
        acl_list acl(file.path(), classic, words);
        acl.call("-");
        return acl;
    } catch (const failure &why) {
        throw failure("(standard input)", why.line(), why.text(), why.remedy());
    }
}

failure refused(const std::string &path, const std::vector<collected_message> &messages, const vocabulary &words) {
    const size_t number = line_named_in(messages);
    const std::string line = number ? line_of_file(path, number) : std::string();
    return {path, number, "no ACL was read, see the message before", remedy_for(line, messages, words)};
}

} // namespace

std::string identity_text(const tbs_sid_acl_id_t &id) {
    std::string text = std::string(tbs_acl_utl_id_kind_to_str(id.kind)) + ':';
    if (id.kind > TBS_ACL_ID_ROLE) return "<kind " + std::to_string(id.kind) + ">:";
    if (id.kind == TBS_ACL_ID_ROLE) return text + (id.name ? id.name : "");
    if (id.kind == TBS_ACL_ID_DOMAIN) return text + (id.domain ? id.domain : "");
    if (id.kind != TBS_ACL_ID_USER && id.kind != TBS_ACL_ID_GROUP) return text;
    const auto name_of = id.kind == TBS_ACL_ID_USER ? sysutl_usid_to_user : sysutl_gsid_to_group;
    char name[CREDUTL_NAME_SIZE];
    if (name_of(&id.sid, SYSUTL_FORM_NAME, name, sizeof name) != 0 &&
        credutl_sid_to_str(&id.sid, name, sizeof name) != 0) {
        return text;
    }
    return text + name;
}

std::vector<acl_entry> entries_of(tbs_sid_acl_h_t acl) {
    std::vector<acl_entry> entries;
    uint32_t cursor = 0;
    while (const tbs_acl_cooked_ent_t *entry = tbs_sid_acl_next_entry(acl, &cursor)) {
        entries.push_back({entry->id.kind, identity_text(entry->id), entry->perms});
    }
    return entries;
}

void acl_options::add_to(command target) {
    target.flag("--classic", classic, "Read classic ACLs: identities by name, Domain entries");
    target.option("--permissions", permissions, "FILE", "Permission names and generic map");
    target.flag("--json", as_json, "Answer in JSON");
}

void acl_options::add_encoded_to(command target) {
    target.flag("--encoded", encoded, "Read bytes, as \"tbs acl encode\" writes them");
}

acl_list::acl_list(const std::string &path, bool classic, const vocabulary &words)
    : path_(path), is_classic_(classic) {
    check_text_file(path);
    const tbs_status_t status = parse(words);
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) throw refused(path, messages_of([&] { parse(words); }), words);
    list_entries();
}

acl_list::acl_list(const std::string &path, std::span<const uint8_t> encoded, bool classic)
    : path_(path), is_classic_(classic) {
    const auto length = static_cast<uint32_t>(encoded.size());
    const void *first = encoded.empty() ? "" : static_cast<const void *>(encoded.data());
    const tbs_status_t status =
        classic ? tbs_acl_decode(length, first, classic_.put()) : tbs_sid_acl_decode(length, first, by_sid_.put());
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) throw no_acl(path, encoded, classic);
    list_entries();
}

acl_list::acl_list(const std::string &path, const acl_options &o, const vocabulary &words)
    : acl_list(o.encoded     ? acl_list(path, read_bytes(path), o.classic)
               : path == "-" ? of_standard_input(o.classic, words)
                             : acl_list(path, o.classic, words)) {}

tbs_status_t acl_list::parse(const vocabulary &words) {
    const char *const path = path_.c_str();
    return is_classic_ ? tbs_acl_utl_parse(path, words.names(), words.count(), words.map(), classic_.put())
                       : tbs_sid_acl_utl_parse(path, words.names(), words.count(), words.map(), by_sid_.put());
}

void acl_list::list_entries() {
    uint32_t cursor = 0;
    while (const tbs_acl_ent_t *entry = tbs_acl_next_entry(classic_.get(), &cursor)) {
        entries_.push_back({entry->id.kind, identity_text(entry->id), entry->perms});
    }
    if (by_sid_.get()) entries_ = entries_of(by_sid_.get());
}

std::optional<tbs_acl_permission_set_t> acl_list::perms_of(const acl_list &other, size_t position) const {
    auto cursor = static_cast<uint32_t>(position);
    if (is_classic_) {
        const tbs_acl_ent_t *theirs = tbs_acl_next_entry(other.classic(), &cursor);
        const tbs_acl_ent_t *ours = theirs ? tbs_acl_find_entry(classic(), &theirs->id) : nullptr;
        return ours ? std::optional(ours->perms) : std::nullopt;
    }
    const tbs_acl_cooked_ent_t *theirs = tbs_sid_acl_next_entry(other.by_sid(), &cursor);
    const tbs_acl_cooked_ent_t *ours = theirs ? tbs_sid_acl_find_entry(by_sid(), &theirs->id) : nullptr;
    return ours ? std::optional(ours->perms) : std::nullopt;
}

bool acl_list::equals(const acl_list &other) const {
    if (is_classic_) {
        const tbs_acl_h_t ours = classic(), theirs = other.classic();
        return tbs_acl_cmp_acl(&ours, &theirs) && tbs_acl_cmp_acl(&theirs, &ours);
    }
    const tbs_sid_acl_h_t ours = by_sid(), theirs = other.by_sid();
    return tbs_sid_acl_cmp_acl(&ours, &theirs) && tbs_sid_acl_cmp_acl(&theirs, &ours);
}

} // namespace tool
