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
    const tbs_status_t status =
        classic ? tbs_acl_utl_parse(path.c_str(), words.names(), words.count(), words.map(), classic_.put())
                : tbs_sid_acl_utl_parse(path.c_str(), words.names(), words.count(), words.map(), by_sid_.put());
    if (status) {
        throw failure(path, 0, "no ACL was read, see the message before",
                      "Correct the line that it names: kind:DOMAIN\\name, a blank, permissions.");
    }
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
    : acl_list(o.encoded ? acl_list(path, read_bytes(path), o.classic) : acl_list(path, o.classic, words)) {}

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
