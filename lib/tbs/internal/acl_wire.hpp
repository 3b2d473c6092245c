// acl_wire.hpp - the records of access control lists.
#ifndef TBS_INTERNAL_ACL_WIRE_HPP
#define TBS_INTERNAL_ACL_WIRE_HPP

#include "acl_array.hpp"
#include "wire.hpp"

namespace tbs::wire {

// A count and an array behind a header: the count travels once.
template <auto N, auto P> struct entry_array {
    using element = std::remove_pointer_t<member_t<P>>;
    static constexpr size_t least = unit;
    static constexpr bool owns = true;

    static cursor put(sink &s, cursor at, const auto &o) {
        if (o.*N && !(o.*P)) return nullptr;
        at = s.word(at, o.*N);
        return at ? s.elements(at, o.*P, o.*N, shape_of<element>) : nullptr;
    }
    static cursor get(source &s, cursor at, auto &o) {
        uint32_t count = 0;
        o.*N = 0;
        o.*P = nullptr;
        at = s.word(at, count);
        return at ? get_more(s, at, o, count) : nullptr;
    }
    // Appends so many decoded entries. What has arrived is counted, whole or not.
    static cursor get_more(source &s, cursor at, auto &o, uint32_t count) {
        constexpr size_t shortest = wire::least(record<element>{});
        while (count > 0) {
            const uint32_t next = s.expected(at, count, sizeof(element), shortest);
            acl::reserve(o.*P, o.*N, uint64_t{o.*N} + next);
            for (uint32_t i = 0; i < next; i++) {
                element &entry = (o.*P)[(o.*N)++];
                entry = {};
                at = wire::get(s, at, entry);
                if (!at) return nullptr;
            }
            count -= next;
        }
        return at;
    }
    static void drop(auto &o) {
        if (o.*P) drop_elements<element>(o.*P, o.*N);
        acl::free_array(o.*P);
        o.*N = 0;
    }
};

// An optional byte that nobody sends any more. One that arrives is passed over.
struct absent_byte {
    static constexpr size_t least = unit;
    static constexpr bool owns = false;
    static cursor put(sink &s, cursor at, const auto &) { return s.word(at, 0); }
    static cursor get(source &s, cursor at, auto &) {
        uint32_t present = 0, byte = 0;
        at = s.word(at, present);
        return at && present ? s.word(at, byte) : at;
    }
    static void drop(auto &) {}
};

// One member a line.
// clang-format off

template <> struct record<tbs_acl_id_t> : rows<
    scalar<&tbs_acl_id_t::kind>,
    text<&tbs_acl_id_t::domain>,
    text<&tbs_acl_id_t::name>> {};

template <> struct record<tbs_acl_ent_t> : rows<
    part<&tbs_acl_ent_t::id>,
    scalar<&tbs_acl_ent_t::perms>> {};

template <> struct record<tbs_sid_acl_id_t> : rows<
    scalar<&tbs_sid_acl_id_t::kind>,
    text_of_kind<&tbs_sid_acl_id_t::domain, &tbs_sid_acl_id_t::kind, TBS_ACL_ID_DOMAIN>,
    text_of_kind<&tbs_sid_acl_id_t::name, &tbs_sid_acl_id_t::kind, TBS_ACL_ID_ROLE>,
    sid<&tbs_sid_acl_id_t::sid>> {};

template <> struct record<tbs_acl_cooked_ent_t> : rows<
    part<&tbs_acl_cooked_ent_t::id>,
    scalar<&tbs_acl_cooked_ent_t::perms>> {};
static_assert(least(record<tbs_acl_cooked_ent_t>{}) == 52);

template <> struct record<tbs_acl_cooked_info_t> : rows<
    entry_array<&tbs_acl_cooked_info_t::count, &tbs_acl_cooked_info_t::entries>> {};

template <> struct record<tbs_acl_generic_map_t> : rows<
    scalar<&tbs_acl_generic_map_t::read>,
    scalar<&tbs_acl_generic_map_t::write>,
    scalar<&tbs_acl_generic_map_t::execute>,
    scalar<&tbs_acl_generic_map_t::all>> {};

// The entries of a classic ACL, as they come.
struct classic_entries {
    uint64_t count;
    tbs_acl_ent_t *entries;
};
template <> struct record<classic_entries> : rows<
    array<&classic_entries::count, &classic_entries::entries>> {};

// What stands behind the presence word of a classic handle.
struct classic_handle : classic_entries {};
template <> struct record<classic_handle> : rows<
    array<&classic_entries::count, &classic_entries::entries>,
    absent_byte> {};

// The self-contained encodings begin with their version.
struct classic_bytes : classic_entries {};
template <> struct record<classic_bytes> : rows<
    always<1>,
    array<&classic_entries::count, &classic_entries::entries>> {};

struct sid_bytes {
    tbs_acl_cooked_info_t *list;
};
template <> struct record<sid_bytes> : rows<
    always<1>,
    optional<&sid_bytes::list>> {};

// clang-format on

} // namespace tbs::wire

#endif
