// System ACLs: what the operating system is to enforce on files that are kept for an object.

#include "internal/acl.hpp"
#include "ks/ks_acl.h"
#include "ks/ks_errno.h"
#include "ks/ks_str.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace tbs::acl {
namespace {

constexpr int read_perm = SYSUTL_ACL_READ, write_perm = SYSUTL_ACL_WRITE, execute_perm = SYSUTL_ACL_EXECUTE;
constexpr int tag_of_none = 0;
constexpr int most_fixed_entries = 6;
constexpr uint32_t owner_and_group_read = 0440;

// The two bits of a mode that decide about a class.
struct mode_bits {
    uint32_t write, execute;
};
constexpr mode_bits owner_class = {0200, 0100}, group_class = {0020, 0010}, other_class = {0002, 0001};

int bits_of(uint32_t mode, mode_bits bits) {
    return (mode & bits.write ? write_perm : 0) | (mode & bits.execute ? execute_perm : 0);
}

int tag_of(tbs_acl_id_kind_t kind) {
    switch (kind) {
    case TBS_ACL_ID_USER: return SYSUTL_ACL_USER;
    case TBS_ACL_ID_GROUP: return SYSUTL_ACL_GROUP;
    case TBS_ACL_ID_EVERYONE: return SYSUTL_ACL_OTHER;
    case TBS_ACL_ID_OWNER_USER: return SYSUTL_ACL_USER_OBJ;
    case TBS_ACL_ID_OWNER_GROUP: return SYSUTL_ACL_GROUP_OBJ;
    default: return tag_of_none;
    }
}

// A failed operation of the platform, thrown to where the conversion ends.
struct platform_failure {
    int error;
};
void demand(int error) {
    if (error) throw platform_failure{error};
}

// The platform has no ACLs at all, which is no failure.
struct no_acl_support {};

void trace(int level, const char *format, const char *text) {
    if (traces(level)) imsg_print_shared(IMSG_TRACE, module_name, format, IMSG_LITERAL, text);
}

// Prints a text of several lines, which an argument could not hold: each line as messages show it.
void trace_lines(std::string format, std::string_view text) {
    while (!text.empty()) {
        const std::string line(text.substr(0, text.find('\n')));
        std::string shown(4 * line.size() + 1, '\0');
        shown.resize(strutl_visible(shown.data(), shown.size(), line.c_str()));
        for (const char c : shown) format += c == '%' ? std::string("%%") : std::string(1, c);
        if (line.size() < text.size()) format += '\n';
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    imsg_print_shared(IMSG_TRACE, module_name, (format + '\n').c_str(), IMSG_LITERAL);
}

void free_system_acl(sysutl_acl_t **acl) { sysutl_acl_free(acl); }
using owned_system_acl = owned<sysutl_acl_t *, free_system_acl>;

// An entry that is not wanted unless all of it could be made.
class half_made_entry {
public:
    explicit half_made_entry(sysutl_acl_t *acl) : acl_(acl) {}
    ~half_made_entry() {
        if (entry_) sysutl_acl_delete_entry(acl_, entry_);
    }
    half_made_entry(const half_made_entry &) = delete;
    half_made_entry &operator=(const half_made_entry &) = delete;
    sysutl_acl_entry_t **put() { return &entry_; }
    sysutl_acl_entry_t *get() const { return entry_; }
    sysutl_acl_entry_t *release() { return std::exchange(entry_, nullptr); }

private:
    sysutl_acl_t *acl_;
    sysutl_acl_entry_t *entry_ = nullptr;
};

class conversion {
public:
    conversion(const tbs_acl_sid_pair_t &owners, uint32_t mode, tbs_acl_permission_set_t required)
        : owners_(owners), mode_(mode), required_(required) {}

    // Throws platform_failure, and no_acl_support.
    sysutl_acl_t *run(std::span<const tbs_acl_cooked_ent_t> entries) {
        const int error = sysutl_acl_init(static_cast<int>(entries.size()) + most_fixed_entries, acl_.put());
        if (error == KS_ENOSYS) throw no_acl_support();
        demand(error);
        for (const tbs_acl_cooked_ent_t &entry : entries) add_contribution(entry);
        add_owner();
        add_group();
        add_other();
        if (other_bits_ & read_perm) demand(sysutl_acl_modify_perms(acl_.get(), 0, owner_and_group_read));
        demand(sysutl_acl_calc_mask(acl_.get()));
        trace_result();
        demand(sysutl_acl_valid(acl_.get()));
        return acl_.release();
    }

private:
    [[nodiscard]] bool is_owner_user(const tbs_sid_acl_id_t &id) const {
        return id.kind == TBS_ACL_ID_USER && credutl_sid_eq(&id.sid, &owners_.user);
    }
    [[nodiscard]] bool is_owner_group(const tbs_sid_acl_id_t &id) const {
        return id.kind == TBS_ACL_ID_GROUP && credutl_sid_eq(&id.sid, &owners_.group);
    }

    [[nodiscard]] const credutl_sid_t *qualifier_of(const tbs_sid_acl_id_t &id) const {
        if (is_account(id.kind)) return &id.sid;
        return id.kind == TBS_ACL_ID_OWNER_GROUP ? &owners_.group : nullptr;
    }

    [[nodiscard]] int contribution_of(const tbs_sid_acl_id_t &id) const {
        if (id.kind == TBS_ACL_ID_OWNER_USER || is_owner_user(id)) return read_perm | bits_of(mode_, owner_class);
        if (id.kind == TBS_ACL_ID_EVERYONE) return read_perm | bits_of(mode_, other_class);
        return read_perm | bits_of(mode_, group_class);
    }

    sysutl_acl_entry_t *add_entry(int tag, const credutl_sid_t *qualifier, int bits) {
        half_made_entry entry(acl_.get());
        demand(sysutl_acl_create_entry(acl_.get(), entry.put()));
        demand(sysutl_acl_set_tag_type(entry.get(), tag));
        if (qualifier) demand(sysutl_acl_set_qualifier(entry.get(), qualifier));
        sysutl_acl_permset_t *permset = nullptr;
        demand(sysutl_acl_get_permset(entry.get(), &permset));
        demand(sysutl_acl_clear_perms(permset));
        demand(sysutl_acl_add_perm(permset, bits));
        return entry.release();
    }

    static void add_bits(sysutl_acl_entry_t *entry, int bits) {
        sysutl_acl_permset_t *permset = nullptr;
        demand(sysutl_acl_get_permset(entry, &permset));
        demand(sysutl_acl_add_perm(permset, bits));
    }

    // What an entry of the SID ACL contributes. One that the platform refuses is given up, and traced.
    void add_contribution(const tbs_acl_cooked_ent_t &entry) {
        const int tag = tag_of(entry.id.kind);
        if (tag == tag_of_none || (entry.perms & required_) != required_) return;
        const int bits = contribution_of(entry.id);
        if (tag == SYSUTL_ACL_USER_OBJ) {
            owner_bits_ = bits;
            return;
        }
        const credutl_sid_t *qualifier = qualifier_of(entry.id);
        try {
            remember(entry.id, tag, add_entry(tag, qualifier, bits), bits);
        } catch (const platform_failure &failure) {
            trace_refused(failure, qualifier);
        }
    }

    void remember(const tbs_sid_acl_id_t &id, int tag, sysutl_acl_entry_t *added, int bits) {
        if (is_owner_user(id)) owner_user_ = added;
        if (is_owner_group(id)) {
            owner_group_ = added;
            group_bits_ |= bits;
        }
        if (tag == SYSUTL_ACL_GROUP_OBJ) {
            group_object_ = added;
            group_bits_ |= bits;
        }
        if (tag == SYSUTL_ACL_OTHER) {
            has_other_ = true;
            other_bits_ = bits;
        }
    }

    void add_owner() {
        add_entry(SYSUTL_ACL_USER_OBJ, &owners_.user, owner_bits_ | bits_of(mode_, owner_class));
        if (!owner_bits_) return;
        if (owner_user_) {
            add_bits(owner_user_, owner_bits_);
        } else {
            add_entry(SYSUTL_ACL_USER, &owners_.user, owner_bits_);
        }
    }

    void add_group() {
        if (!group_object_) {
            add_entry(SYSUTL_ACL_GROUP_OBJ, &owners_.group, group_bits_ | bits_of(mode_, group_class));
        } else if (owner_group_) {
            add_bits(owner_group_, group_bits_);
            add_bits(group_object_, group_bits_);
        } else if (group_bits_) {
            add_entry(SYSUTL_ACL_GROUP, &owners_.group, group_bits_);
        }
    }

    void add_other() {
        if (has_other_) return;
        other_bits_ = bits_of(mode_, other_class);
        add_entry(SYSUTL_ACL_OTHER, nullptr, other_bits_);
    }

    static void trace_refused(const platform_failure &failure, const credutl_sid_t *qualifier) {
        if (!traces(3)) return;
        char sid[CREDUTL_SID_STR_SIZE] = "no sid";
        if (qualifier) credutl_sid_to_str(qualifier, sid, sizeof sid);
        imsg_print_shared(IMSG_TRACE, module_name,
                          "tbs_sid_acl_convert_to_sysutl_acl: error from tbs_acl_add_sysutl_ace: \"%s\" for sid: "
                          "\"%s\"\n",
                          IMSG_LITERAL, tbs_strerror(tbs_errno2status(failure.error)), sid);
    }

    void trace_result() const {
        if (!traces(3)) return;
        const int validity = sysutl_acl_valid(acl_.get());
        if (validity == 0 || validity == KS_EINVAL) {
            trace(3, "sysutl_acl_valid says: %s\n", validity == 0 ? "YES" : "NO");
        } else {
            trace(3, "tbs_sid_acl_convert_to_sysutl_acl: error from sysutl_acl_valid: %s\n",
                  tbs_strerror(tbs_errno2status(validity)));
        }
        owned_text text;
        if (const int failure = sysutl_acl_to_text(acl_.get(), text.put())) {
            trace(3, "tbs_sid_acl_convert_to_sysutl_acl: error from sysutl_acl_to_text: %s\n",
                  tbs_strerror(tbs_errno2status(failure)));
        } else {
            trace_lines("tbs_sid_acl_convert_to_sysutl_acl: SYSUTL ACL:\n", text.get());
        }
    }

    const tbs_acl_sid_pair_t &owners_;
    const uint32_t mode_;
    const tbs_acl_permission_set_t required_;
    owned_system_acl acl_;
    // Entries that are completed after the walk: the last of each.
    sysutl_acl_entry_t *owner_user_ = nullptr, *owner_group_ = nullptr, *group_object_ = nullptr;
    int owner_bits_ = 0, group_bits_ = 0, other_bits_ = 0;
    bool has_other_ = false;
};

tbs_status_t failed(int error) {
    const tbs_status_t status = tbs_errno2status(error);
    trace(1, "tbs_sid_acl_convert_to_sysutl_acl: \"%s\"\n", tbs_strerror(status));
    return status;
}

} // namespace
} // namespace tbs::acl

using namespace tbs::acl;

extern "C" tbs_status_t tbs_sid_acl_convert_to_sysutl_acl(tbs_sid_acl_h_t acl, const tbs_acl_sid_pair_t *owners,
                                                          uint32_t mode, tbs_acl_permission_set_t required,
                                                          sysutl_acl_t **acl_out) noexcept {
    if (acl_out) *acl_out = nullptr;
    if (!acl || acl->entries->count == 0) return 0;
    if (!owners) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        try {
            owned_system_acl made(conversion(*owners, mode, required).run(list_of(acl).all()));
            if (acl_out) *acl_out = made.release();
            return 0;
        } catch (const no_acl_support &) {
            return TBS_ST_SUCCESS_WITH_EXCEPTION;
        } catch (const platform_failure &failure) {
            return failed(failure.error);
        }
    });
}
