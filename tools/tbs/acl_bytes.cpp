#include "acl_bytes.hpp"

#include "ks/ks_stg.h"
#include "ks/ks_sys.h"

#include <memory>

namespace tool {
namespace {

namespace wire = tbs::wire;

struct release_bytes {
    void operator()(void *memory) const { stg_free(memory); }
};

struct deaf : wire::listener {
    void member(const wire::item &) override {}
    void enter_record(std::string_view) override {}
    void enter_list(std::string_view, uint32_t) override {}
    void leave() override {}
};

// The account of a SID, where the member before said which kind of account; "" when no source knows it.
std::string account_of(tbs_acl_id_kind_t kind, const std::string &text) {
    credutl_sid_t sid;
    char name[CREDUTL_NAME_SIZE];
    if (kind != TBS_ACL_ID_USER && kind != TBS_ACL_ID_GROUP) return "";
    const auto name_of = kind == TBS_ACL_ID_USER ? sysutl_usid_to_user : sysutl_gsid_to_group;
    if (credutl_str_to_sid(text.c_str(), &sid) != 0) return "";
    return name_of(&sid, SYSUTL_FORM_NAME, name, sizeof name) == 0 ? name : "";
}

} // namespace

bytes encode(const acl_list &acl) {
    uint32_t length = 0;
    void *buffer = nullptr;
    const tbs_status_t status = acl.is_classic() ? tbs_acl_encode(acl.classic(), &length, &buffer)
                                                 : tbs_sid_acl_encode(acl.by_sid(), &length, &buffer);
    if (status) {
        throw failure(acl.path(), 0, std::string("the ACL cannot be encoded: ") + tbs_strerror(status),
                      "Shorten the names: 500 bytes an entry always suffice.");
    }
    const std::unique_ptr<void, release_bytes> owner(buffer);
    const auto *first = static_cast<const uint8_t *>(buffer);
    return {first, first + length};
}

wire::view_result view_acl(std::span<const uint8_t> encoded, bool classic, wire::listener &listener) {
    return classic ? wire::view<wire::classic_bytes>(encoded, listener)
                   : wire::view<wire::sid_bytes>(encoded, listener);
}

meaning meaning_in_acl(const vocabulary &words) {
    return [&words, kind = tbs_acl_id_kind_t{TBS_ACL_ID_NONE}](const wire::item &what) mutable -> std::string {
        if (what.kind == wire::item_kind::sid) return account_of(kind, std::get<std::string>(what.value));
        if (what.name == "perms") {
            return words.text(static_cast<tbs_acl_permission_set_t>(std::get<uint64_t>(what.value)));
        }
        if (what.name != "kind") return "";
        kind = static_cast<tbs_acl_id_kind_t>(std::get<uint64_t>(what.value));
        return kind <= TBS_ACL_ID_ROLE ? tbs_acl_utl_id_kind_to_str(kind) : "";
    };
}

failure no_acl(const std::string &path, std::span<const uint8_t> encoded, bool classic) {
    deaf nobody;
    const wire::view_result found = view_acl(encoded, classic, nobody);
    if (found.whole) {
        return {path, 0, "the bytes hold an entry that is not valid, see the message before",
                "\"tbs acl decode --hex\" shows it; encode the ACL's text again."};
    }
    return {path, 0, "the bytes are damaged at offset " + std::to_string(found.end) + ": " + found.why,
            std::string("\"tbs acl decode --hex\" shows what is whole; ") +
                (classic ? "bytes of the SID form are read without --classic."
                         : "bytes of the classic form are read with --classic.")};
}

} // namespace tool
