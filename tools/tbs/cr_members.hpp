// cr_members.hpp - the members of configuration records with their names, one a line, in the order of the wire.
//
// A visitor has number(), time() (seconds that travel in 32 bits), text(), id(), time_pair(), texts() and objects(), each
// called with the member's name and the member. The record may be constant.
#ifndef TOOLS_TBS_CR_MEMBERS_HPP
#define TOOLS_TBS_CR_MEMBERS_HPP

#include "tbs/tbs_cr.h"

#include <concepts>
#include <type_traits>

namespace tool {

template <class O, class T>
concept maybe_constant = std::same_as<std::remove_const_t<O>, T>;

void visit_members(maybe_constant<tbs_cr_vob_desc_t> auto &o, auto &&v) {
    v.text("pathname", o.pathname);
    v.id("family_oid", o.family_oid);
    v.id("replica_oid", o.replica_oid);
}

void visit_members(maybe_constant<tbs_cr_mfs_predef_t> auto &o, auto &&v) {
    v.text("pathname", o.pathname);
    v.text("version", o.version);
    v.number("flags", o.flags);
}

void visit_members(maybe_constant<tbs_cr_slinktext_rec_t> auto &o, auto &&v) {
    v.text("text", o.text);
    v.number("object", o.object);
}

void visit_members(maybe_constant<tbs_cr_fs_predef_t> auto &o, auto &&v) {
    v.text("pathname", o.pathname);
    v.text("checksum", o.checksum);
    v.number("result_obj_flags", o.result_obj_flags);
    v.number("ftype", o.ftype);
    v.number("host_kind", o.host_kind);
    v.number("size", o.size);
    v.number("mode", o.mode);
    v.time("mtime", o.mtime);
    v.time("ctime", o.ctime);
}

void visit_members(maybe_constant<tbs_cr_mfs_obj_desc_t> auto &o, auto &&v) {
    v.id("oid", o.oid);
    v.time("mtime", o.mtime);
    v.id("element_oid", o.element_oid);
    v.number("vob", o.vob);
    v.number("result_obj_flags", o.result_obj_flags);
    v.number("ftype", o.ftype);
    v.number("mtype", o.mtype);
    v.number("parent", o.parent);
    v.id("branch_oid", o.branch_oid);
    v.text("name", o.name);
}

void visit_members(maybe_constant<tbs_cr_t> auto &o, auto &&v) {
    v.number("format_version", o.format_version);
    v.time("build_time", o.build_time);
    v.number("elapsed", o.elapsed);
    v.number("exit_status", o.exit_status);
    v.text("user", o.user);
    v.text("group", o.group);
    v.text("host", o.host);
    v.text("host_type", o.host_type);
    v.text("directory", o.directory);
    v.id("target_oid", o.target_oid);
    v.id("view_uuid", o.view_uuid);
    v.text("target", o.target);
    v.time_pair("began", o.began);
    v.text("command", o.command);
    v.number("flags", o.flags);
    v.texts("variables", o.variable_count, o.variables);
    v.objects("mfs_predefs", o.mfs_predef_count, o.mfs_predefs);
    v.objects("fs_predefs", o.fs_predef_count, o.fs_predefs);
    v.texts("options", o.option_count, o.options);
    v.objects("vobs", o.vob_count, o.vobs);
    v.objects("mfs_objects", o.mfs_object_count, o.mfs_objects);
    v.objects("slinktexts", o.slinktext_count, o.slinktexts);
}

} // namespace tool

#endif
