// cr_wire.hpp - configuration records.
#ifndef TBS_INTERNAL_CR_WIRE_HPP
#define TBS_INTERNAL_CR_WIRE_HPP

#include "tbs/tbs_cr.h"
#include "wire.hpp"

namespace tbs::wire {

inline constexpr int32_t cr_narrow_format = 5, cr_wide_format = 6;

// The objects of a record as format 5 sends them.
struct narrow_fs_predef : tbs_cr_fs_predef_t {};
struct narrow_mfs_obj_desc : tbs_cr_mfs_obj_desc_t {};
static_assert(sizeof(narrow_fs_predef) == sizeof(tbs_cr_fs_predef_t));
static_assert(sizeof(narrow_mfs_obj_desc) == sizeof(tbs_cr_mfs_obj_desc_t));

// The low 32 bits of a 64-bit integer, in one unit.
template <auto M> struct low_word : narrow<M> {
    static bool put(cursor to, const auto &o) { return static_cast<void>(narrow<M>::put(to, o)), true; }
};

// An array of objects of their own, whose look depends on the record's format.
template <auto Version, auto N, auto P, class Narrow> struct array_of_format {
    using objects = array<N, P>;
    using element = typename objects::element;
    static constexpr size_t least = objects::least;
    static constexpr bool owns = true;

    static const shape *shape_of_format(int32_t version) {
        if (version == cr_narrow_format) return &shape_of<Narrow *>;
        return version == cr_wide_format ? &shape_of<element> : nullptr;
    }
    static cursor put(sink &s, cursor at, const auto &o) {
        const shape *look = shape_of_format(o.*Version);
        return look ? objects::put_as(s, at, o, *look) : nullptr;
    }
    static cursor get(source &s, cursor at, auto &o) {
        const shape *look = shape_of_format(o.*Version);
        return look ? objects::get_as(s, at, o, *look) : s.refuse(at);
    }
    static void drop(auto &o) { objects::drop(o); }
};

// One member a line.
// clang-format off

template <> struct record<tbs_cr_dep_hash_t> : rows<
    scalar<&tbs_cr_dep_hash_t::high>,
    scalar<&tbs_cr_dep_hash_t::low>> {};

template <> struct record<tbs_cr_vob_desc_t> : rows<
    text<&tbs_cr_vob_desc_t::pathname>,
    id<&tbs_cr_vob_desc_t::family_oid>,
    id<&tbs_cr_vob_desc_t::replica_oid>> {};

template <> struct record<tbs_cr_mfs_predef_t> : rows<
    text<&tbs_cr_mfs_predef_t::pathname>,
    text<&tbs_cr_mfs_predef_t::version>,
    scalar<&tbs_cr_mfs_predef_t::flags>> {};

template <> struct record<tbs_cr_slinktext_rec_t> : rows<
    text<&tbs_cr_slinktext_rec_t::text>,
    scalar<&tbs_cr_slinktext_rec_t::object>> {};

template <> struct record<tbs_cr_fs_predef_t> : rows<
    text<&tbs_cr_fs_predef_t::pathname>,
    text<&tbs_cr_fs_predef_t::checksum>,
    scalar<&tbs_cr_fs_predef_t::result_obj_flags>,
    scalar<&tbs_cr_fs_predef_t::ftype>,
    scalar<&tbs_cr_fs_predef_t::host_kind>,
    high_first<&tbs_cr_fs_predef_t::size>,
    scalar<&tbs_cr_fs_predef_t::mode>,
    narrow<&tbs_cr_fs_predef_t::mtime>,
    narrow<&tbs_cr_fs_predef_t::ctime>> {};

template <> struct record<narrow_fs_predef> : rows<
    text<&tbs_cr_fs_predef_t::pathname>,
    text<&tbs_cr_fs_predef_t::checksum>,
    low_half<&tbs_cr_fs_predef_t::result_obj_flags>,
    scalar<&tbs_cr_fs_predef_t::ftype>,
    scalar<&tbs_cr_fs_predef_t::host_kind>,
    low_word<&tbs_cr_fs_predef_t::size>,
    scalar<&tbs_cr_fs_predef_t::mode>,
    narrow<&tbs_cr_fs_predef_t::mtime>,
    narrow<&tbs_cr_fs_predef_t::ctime>> {};

template <> struct record<tbs_cr_mfs_obj_desc_t> : rows<
    id<&tbs_cr_mfs_obj_desc_t::oid>,
    narrow<&tbs_cr_mfs_obj_desc_t::mtime>,
    id<&tbs_cr_mfs_obj_desc_t::element_oid>,
    scalar<&tbs_cr_mfs_obj_desc_t::vob>,
    scalar<&tbs_cr_mfs_obj_desc_t::result_obj_flags>,
    scalar<&tbs_cr_mfs_obj_desc_t::ftype>,
    scalar<&tbs_cr_mfs_obj_desc_t::mtype>,
    scalar<&tbs_cr_mfs_obj_desc_t::parent>,
    id<&tbs_cr_mfs_obj_desc_t::branch_oid>,
    text<&tbs_cr_mfs_obj_desc_t::name>> {};

template <> struct record<narrow_mfs_obj_desc> : rows<
    id<&tbs_cr_mfs_obj_desc_t::oid>,
    narrow<&tbs_cr_mfs_obj_desc_t::mtime>,
    id<&tbs_cr_mfs_obj_desc_t::element_oid>,
    scalar<&tbs_cr_mfs_obj_desc_t::vob>,
    low_half<&tbs_cr_mfs_obj_desc_t::result_obj_flags>,
    scalar<&tbs_cr_mfs_obj_desc_t::ftype>,
    scalar<&tbs_cr_mfs_obj_desc_t::mtype>,
    scalar<&tbs_cr_mfs_obj_desc_t::parent>,
    id<&tbs_cr_mfs_obj_desc_t::branch_oid>,
    text<&tbs_cr_mfs_obj_desc_t::name>> {};

template <> struct record<tbs_cr_t> : rows<
    scalar<&tbs_cr_t::format_version>,
    narrow<&tbs_cr_t::build_time>,
    scalar<&tbs_cr_t::elapsed>,
    scalar<&tbs_cr_t::exit_status>,
    text<&tbs_cr_t::user>,
    text<&tbs_cr_t::group>,
    text<&tbs_cr_t::host>,
    text<&tbs_cr_t::host_type>,
    text<&tbs_cr_t::directory>,
    id<&tbs_cr_t::target_oid>,
    id<&tbs_cr_t::view_uuid>,
    text<&tbs_cr_t::target>,
    time<&tbs_cr_t::began>,
    text<&tbs_cr_t::command>,
    scalar<&tbs_cr_t::flags>,
    array<&tbs_cr_t::variable_count, &tbs_cr_t::variables>,
    array<&tbs_cr_t::mfs_predef_count, &tbs_cr_t::mfs_predefs>,
    array_of_format<&tbs_cr_t::format_version, &tbs_cr_t::fs_predef_count, &tbs_cr_t::fs_predefs,
                    narrow_fs_predef>,
    array<&tbs_cr_t::option_count, &tbs_cr_t::options>,
    array<&tbs_cr_t::vob_count, &tbs_cr_t::vobs>,
    array_of_format<&tbs_cr_t::format_version, &tbs_cr_t::mfs_object_count, &tbs_cr_t::mfs_objects,
                    narrow_mfs_obj_desc>,
    array<&tbs_cr_t::slinktext_count, &tbs_cr_t::slinktexts>> {};

template <> struct record<tbs_cr_compressed_t> : rows<
    scalar<&tbs_cr_compressed_t::format_version>,
    opaque<&tbs_cr_compressed_t::length, &tbs_cr_compressed_t::data>> {};

// clang-format on

} // namespace tbs::wire

#endif
