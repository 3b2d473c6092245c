// acl.hpp - what the files of the ACL module share.
#ifndef TBS_INTERNAL_ACL_HPP
#define TBS_INTERNAL_ACL_HPP

#include "acl_array.hpp"
#include "acl_index.hpp"
#include "guard.hpp"
#include "ks/ks_thread.h"
#include "owned.hpp"
#include "report.hpp"
#include "tbs/tbs_acl.h"

#include <optional>
#include <span>

namespace tbs::acl {

inline constexpr char module_name[] = "tbs_acl";

template <class F> tbs_status_t call(F &&body, int line = __builtin_LINE()) noexcept {
    return tbs::call(module_name, std::forward<F>(body), line);
}

template <uint32_t Index, class... A> void error(A... arguments) noexcept {
    say<acl_messages, Index>(IMSG_ERROR, module_name, arguments...);
}
template <uint32_t Index, class... A> void common_error(A... arguments) noexcept {
    say<common_messages, Index>(IMSG_ERROR, module_name, arguments...);
}

// Whether a trace line of this level is wanted.
inline bool traces(int level) {
    return imsg_get_desired_verbosity() >= level && imsg_should_trace(module_name, level);
}

// What the kinds are called and what their qualifier is made of.
constexpr bool is_kind(tbs_acl_id_kind_t kind) { return kind >= TBS_ACL_ID_USER && kind <= TBS_ACL_ID_ROLE; }
constexpr bool is_account(tbs_acl_id_kind_t kind) { return kind == TBS_ACL_ID_USER || kind == TBS_ACL_ID_GROUP; }
constexpr bool matches_by_kind(tbs_acl_id_kind_t kind) {
    return kind == TBS_ACL_ID_EVERYONE || kind == TBS_ACL_ID_OWNER_USER || kind == TBS_ACL_ID_OWNER_GROUP;
}

// Empties the members that an identity's kind does not use, then checks the others; prints what is wrong.
[[nodiscard]] tbs_status_t normalise_and_check(tbs_acl_id_t &id) noexcept;
[[nodiscard]] tbs_status_t normalise_and_check(tbs_sid_acl_id_t &id) noexcept;

// Whether two identities are the same one.
[[nodiscard]] bool matches(const tbs_acl_id_t &a, const tbs_acl_id_t &b);
[[nodiscard]] bool matches(const tbs_sid_acl_id_t &a, const tbs_sid_acl_id_t &b);

// Equal for identities that match; none for kinds that never match.
[[nodiscard]] std::optional<uint32_t> hash_of(const tbs_acl_id_t &id);
[[nodiscard]] std::optional<uint32_t> hash_of(const tbs_sid_acl_id_t &id);

// The hash of a user's or group's identity whose SID's hash is known.
inline uint32_t account_hash(tbs_acl_id_kind_t kind, uint64_t hash) {
    const uint64_t mixed = hash + kind * 0x9E3779B97F4A7C15u;
    return static_cast<uint32_t>(mixed ^ (mixed >> 32));
}

template <class Id> void free_id(Id &id) {
    free_text(&id.domain);
    free_text(&id.name);
}

// Makes of an identity a deep copy of another; throws when there is no memory, the identity as it was.
template <class Id> void copy_id_to(Id &to, const Id &source) {
    owned_text domain(copy_text(source.domain));
    char *name = copy_text(source.name);
    to = source;
    to.domain = domain.release();
    to.name = name;
}
template <class Id> [[nodiscard]] Id copy_id(const Id &source) {
    Id copy;
    copy_id_to(copy, source);
    return copy;
}

// An entry array with its count and index: of a classic ACL, a SID ACL or a cooked list.
template <class Entry, class Count> class entry_list {
public:
    using id_type = decltype(Entry::id);

    entry_list(Entry *&entries, Count &count, entry_index &index) : entries_(entries), count_(count), index_(index) {}

    [[nodiscard]] std::span<Entry> all() const { return {entries_, static_cast<size_t>(count_)}; }

    // The first entry of an identity, or NULL.
    [[nodiscard]] Entry *find(const id_type &id) const {
        if (!is_indexed()) return walk_to(id);
        const std::optional<uint32_t> hash = hash_of(id);
        return hash ? find_hashed(*hash, id) : nullptr;
    }

    // The same with the hash of the identity at hand. Only for a list whose index covers it.
    [[nodiscard]] Entry *find_hashed(uint32_t hash, const id_type &id) const {
        const uint32_t position = index_.find(hash, [&](uint32_t p) { return matches(entries_[p].id, id); });
        return position == entry_index::none ? nullptr : &entries_[position];
    }

    // The entry of a user or group whose SID's hash is known, likewise.
    [[nodiscard]] Entry *find_account(tbs_acl_id_kind_t kind, uint64_t sid_hash, const credutl_sid_t &sid) const {
        const uint32_t position = index_.find(account_hash(kind, sid_hash), [&](uint32_t p) {
            return entries_[p].id.kind == kind && credutl_sid_eq(&entries_[p].id.sid, &sid);
        });
        return position == entry_index::none ? nullptr : &entries_[position];
    }

    [[nodiscard]] bool is_indexed() const { return index_.covers(entries_, count_); }
    [[nodiscard]] const entry_index &index() const { return index_; }

    // Appends a copy of an identity with its permissions; throws when there is no memory, the list as it was.
    void append(const id_type &id, tbs_acl_permission_set_t perms) {
        const bool indexed = make_room();
        put_last(copy_id(id), perms, indexed);
    }

    // Gives the entry of a valid identity these permissions, or appends one; throws when there is no memory, the list
    // as it was.
    void set(const id_type &id, tbs_acl_permission_set_t perms) {
        const bool indexed = is_indexed();
        const uint32_t hash = indexed ? hash_of(id).value_or(0) : 0;
        Entry *entry = indexed ? find_hashed(hash, id) : walk_to(id);
        if (!entry) make_room();
        const id_type copy = copy_id(id);
        if (entry) {
            free_id(entry->id);
            *entry = {copy, perms};
            return;
        }
        entries_[count_++] = {copy, perms};
        if (indexed) index_.add_new(hash, static_cast<uint32_t>(count_ - 1));
        finish_append(indexed);
    }

    // Appends an entry with strings that are taken over; throws when there is no memory, nothing taken.
    void adopt(id_type id, owned_text &domain, owned_text &name, tbs_acl_permission_set_t perms) {
        const bool indexed = make_room();
        id.domain = domain.release();
        id.name = name.release();
        put_last(id, perms, indexed);
    }

    // Overwrites an entry's identity with a copy; throws when there is no memory, the entry as it was.
    void rename(Entry &entry, const id_type &id) {
        const id_type copy = copy_id(id);
        const uint32_t position = position_of(entry);
        const bool indexed = unindex(position);
        free_id(entry.id);
        entry.id = copy;
        if (indexed) index_entry(position);
    }

    // Removes an entry; the last one takes its place.
    void remove(Entry &entry) {
        const uint32_t position = position_of(entry);
        const uint32_t last = static_cast<uint32_t>(count_ - 1);
        const bool indexed = unindex(position);
        if (indexed && position != last) {
            if (const std::optional<uint32_t> hash = hash_of(entries_[last].id)) index_.move(*hash, last, position);
        }
        free_id(entry.id);
        entry = entries_[last];
        entries_[last] = {};
        count_--;
        index_.describe(entries_, count_);
    }

    // Releases all entries and the array.
    void clear() {
        index_.drop();
        for (Entry &entry : all()) free_id(entry.id);
        free_array(entries_);
        count_ = 0;
    }

private:
    [[nodiscard]] Entry *walk_to(const id_type &id) const {
        for (Entry &entry : all()) {
            if (matches(entry.id, id)) return &entry;
        }
        return nullptr;
    }

    // Makes room for one entry more; tells whether the index knows the others.
    bool make_room() {
        const bool indexed = is_indexed();
        reserve_one(entries_, count_);
        if (indexed) index_.describe(entries_, count_);
        return indexed;
    }

    void put_last(const id_type &id, tbs_acl_permission_set_t perms, bool indexed) {
        entries_[count_++] = {id, perms};
        if (indexed) index_entry(static_cast<uint32_t>(count_ - 1));
        finish_append(indexed);
    }

    [[nodiscard]] uint32_t position_of(const Entry &entry) const { return static_cast<uint32_t>(&entry - entries_); }

    void index_entry(uint32_t position) {
        const id_type &id = entries_[position].id;
        const std::optional<uint32_t> hash = hash_of(id);
        if (!hash || !index_.exists()) return;
        index_.add(*hash, position, [&](uint32_t p) { return matches(entries_[p].id, id); });
    }

    // Begins the index of a list that has grown long enough.
    void finish_append(bool indexed) {
        if (!indexed) {
            index_.drop();
            if (count_ >= entry_index::min_entries && index_.start(count_)) {
                for (uint32_t position = 0; position < count_; position++) index_entry(position);
            }
        }
        index_.describe(entries_, count_);
    }

    // Takes an entry out of the index. With duplicates nobody knows which entry is next: the index is given up.
    bool unindex(uint32_t position) {
        if (!is_indexed() || !index_.unique()) {
            index_.drop();
            return false;
        }
        if (const std::optional<uint32_t> hash = hash_of(entries_[position].id)) index_.remove(*hash, position);
        return true;
    }

    Entry *&entries_;
    Count &count_;
    entry_index &index_;
};

using classic_list = entry_list<tbs_acl_ent_t, uint64_t>;
using sid_list = entry_list<tbs_acl_cooked_ent_t, uint32_t>;

// What really stands behind the handles: the public record, then the indexes.
struct classic_acl : tbs_acl {
    entry_index index;
    entry_index cooked_index;
};
struct sid_acl : tbs_sid_acl {
    entry_index index;
};

inline classic_list list_of(tbs_acl_h_t acl) {
    return {acl->entries, acl->count, static_cast<classic_acl *>(acl)->index};
}
inline sid_list list_of(tbs_sid_acl_h_t acl) {
    return {acl->entries->entries, acl->entries->count, static_cast<sid_acl *>(acl)->index};
}
// Only for an ACL that has its cooked list.
inline sid_list cooked_list_of(tbs_acl_h_t acl) {
    return {acl->cooked->entries, acl->cooked->count, static_cast<classic_acl *>(acl)->cooked_index};
}

// An empty cooked list, taken by the ACL; throws when there is no memory.
void start_cooked(tbs_acl_h_t acl);
// Gives the cooked list up.
void drop_cooked(tbs_acl_h_t acl) noexcept;

using owned_acl = owned<tbs_acl_h_t, tbs_acl_free>;
using owned_sid_acl = owned<tbs_sid_acl_h_t, tbs_sid_acl_free>;

// New handles; throw when there is no memory.
[[nodiscard]] tbs_acl_h_t new_acl();
[[nodiscard]] tbs_sid_acl_h_t new_sid_acl();

// The names that permissions have in a listing: the caller's first, then the built-in ones.
class permission_names {
public:
    permission_names(const tbs_acl_perm_name_t *extra, size_t extra_count);
    permission_names(const permission_names &) = delete;
    permission_names &operator=(const permission_names &) = delete;
    ~permission_names() {
        if (rows_ != few_) stg_free(rows_);
    }
    [[nodiscard]] std::span<const tbs_acl_perm_name_t> rows() const { return {rows_, count_}; }

private:
    static constexpr size_t few = 48; // more names than this are kept on the heap
    tbs_acl_perm_name_t few_[few];
    tbs_acl_perm_name_t *rows_ = few_;
    size_t count_ = 0;
};

// The text of a set; throws when there is no memory. Belongs to the calling thread, valid until its next call.
[[nodiscard]] const char *permission_text(tbs_acl_permission_set_t perms, const permission_names &names,
                                          const tbs_acl_generic_map_t *map);

// Whether the caller's names can be read.
inline bool readable(const tbs_acl_perm_name_t *extra, size_t extra_count) { return extra || extra_count == 0; }

} // namespace tbs::acl

#endif
