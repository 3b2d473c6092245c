// Identity texts of any content: what is read is written, set into an ACL, and read again as the same identity.

#include "acl_fuzz_support.hpp"

using namespace acl_fuzz;

namespace {

bool is_empty_or_null(const char *text) { return !text || !*text; }

void read_classic(const std::string &text) {
    tbs_acl_id_t id{};
    if (tbs_acl_utl_id_from_str(text.c_str(), &id) != 0) {
        demand(is_empty_or_null(id.domain) && is_empty_or_null(id.name), "a refused text leaves nothing to release");
        return;
    }
    demand(id.kind >= TBS_ACL_ID_USER && id.kind <= TBS_ACL_ID_ROLE && id.domain && id.name, "a whole identity");
    demand(std::strlen(id.domain) + std::strlen(id.name) < TBS_ACL_TEXT_SIZE, "parts within the working buffer");
    char whole[TBS_ACL_TEXT_SIZE + 16], qualifier[TBS_ACL_TEXT_SIZE];
    if (tbs_acl_utl_id_to_str(&id, sizeof whole, whole) == 0) {
        demand(std::strlen(whole) < TBS_ACL_TEXT_SIZE, "a text within the working buffer");
        demand(tbs_acl_utl_id_qual_to_str(&id, sizeof qualifier, qualifier) == 0, "a qualifier of the text");
        demand(std::string_view(whole).ends_with(qualifier), "the text ends with the qualifier");
        tbs_acl_id_t back{};
        demand(tbs_acl_utl_id_from_str(whole, &back) == 0 && back.kind == id.kind, "the text is read again");
        tbs_acl_h_t acl = nullptr;
        demand(tbs_acl_create(&acl) == 0, "an ACL");
        if (tbs_acl_set_entry(acl, id, 1) == 0) {
            demand(tbs_acl_set_entry(acl, back, 2) == 0, "the same identity is as good");
            demand(tbs_acl_num_entries(acl) == 1, "one identity, one entry");
        } else {
            demand(is_empty_or_null(id.domain) || is_empty_or_null(id.name), "only empty parts are refused");
        }
        tbs_acl_free(&acl);
        tbs_acl_free_id(&back);
    }
    tbs_acl_free_id(&id);
}

void read_by_sid(const std::string &text) {
    tbs_sid_acl_id_t id{};
    if (tbs_sid_acl_utl_id_from_str(text.c_str(), &id) != 0) {
        demand(is_empty_or_null(id.domain) && is_empty_or_null(id.name), "a refused text leaves nothing to release");
        return;
    }
    demand(id.kind != TBS_ACL_ID_DOMAIN, "no SID identity is a domain");
    char whole[TBS_ACL_TEXT_SIZE];
    demand(tbs_sid_acl_utl_id_to_str(&id, sizeof whole, whole) == 0, "what was resolved has a name");
    tbs_sid_acl_id_t back{};
    demand(tbs_sid_acl_utl_id_from_str(whole, &back) == 0, "the text is read again");
    demand(back.kind == id.kind, "as the same kind");
    if (id.kind <= TBS_ACL_ID_GROUP) demand(credutl_sid_eq(&back.sid, &id.sid) == 1, "as the same SID");
    demand(std::strcmp(back.name, id.name) == 0, "as the same name");
    tbs_sid_acl_free_id(&back);
    tbs_sid_acl_free_id(&id);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    prepare();
    const std::string text(reinterpret_cast<const char *>(data), size);
    read_classic(text);
    read_by_sid(text);
    return 0;
}
