// vob_wire.hpp - repository records.
#ifndef TBS_INTERNAL_VOB_WIRE_HPP
#define TBS_INTERNAL_VOB_WIRE_HPP

#include "cr_wire.hpp"
#include "tbs/vob_records.h"
#include "vob_names.hpp"

namespace tbs::wire {

// One member a line.
// clang-format off

template <> struct record<vob_value_t> : rows<choice<&vob_value_t::vtype, names::vtype,
    arm<VOB_VTYPE_INTEGER, scalar<&vob_value_t::integer>>,
    arm<VOB_VTYPE_REAL, real<&vob_value_t::real>>,
    arm<VOB_VTYPE_TIME, time<&vob_value_t::time>>,
    arm<VOB_VTYPE_TEXT, text<&vob_value_t::text>>,
    arm<VOB_VTYPE_OPAQUE, array<&vob_value_t::size, &vob_value_t::bytes>>>> {};

template <> struct record<vob_act_fetch_t> : rows<
    named<&vob_act_fetch_t::flags, names::activity_info_flag>,
    scalar<&vob_act_fetch_t::stream>,
    text<&vob_act_fetch_t::view>,
    text<&vob_act_fetch_t::owner>,
    scalar<&vob_act_fetch_t::max_entries>,
    array<&vob_act_fetch_t::n_activities, &vob_act_fetch_t::activities>> {};

template <> struct record<vob_act_update_t> : rows<
    named<&vob_act_update_t::flags, names::activity_info_flag>,
    scalar<&vob_act_update_t::activity>,
    text<&vob_act_update_t::headline>,
    text<&vob_act_update_t::owner>,
    named<&vob_act_update_t::comment_action, names::com_actn>,
    text<&vob_act_update_t::comment>,
    array<&vob_act_update_t::n_add, &vob_act_update_t::add>,
    array<&vob_act_update_t::n_remove, &vob_act_update_t::remove>> {};

template <> struct record<vob_activity_info_t> : rows<
    text<&vob_activity_info_t::name>,
    text<&vob_activity_info_t::headline>,
    scalar<&vob_activity_info_t::activity>,
    id<&vob_activity_info_t::id>,
    scalar<&vob_activity_info_t::type>,
    scalar<&vob_activity_info_t::stream>,
    text<&vob_activity_info_t::owner>,
    named<&vob_activity_info_t::flags, names::activity_info_flag>,
    time<&vob_activity_info_t::created>,
    named<&vob_activity_info_t::lock, names::lock_kind>,
    scalar<&vob_activity_info_t::cset_size>> {};

template <> struct record<vob_namegen_rule_t> : rows<
    text<&vob_namegen_rule_t::prefix>,
    scalar<&vob_namegen_rule_t::counter>,
    scalar<&vob_namegen_rule_t::width>,
    text<&vob_namegen_rule_t::suffix>> {};

template <> struct record<vob_actype_info_t> : rows<
    text<&vob_actype_info_t::name>,
    scalar<&vob_actype_info_t::type>,
    named<&vob_actype_info_t::flags, names::object_flags>,
    named<&vob_actype_info_t::globalness, names::globalness>,
    part<&vob_actype_info_t::naming>,
    scalar<&vob_actype_info_t::headline_required>,
    array<&vob_actype_info_t::n_states, &vob_actype_info_t::states>> {};

template <> struct record<vob_attype_vinfo_t> : rows<
    named<&vob_attype_vinfo_t::vtype, names::vtype>,
    named<&vob_attype_vinfo_t::occurs, names::occurs>,
    optional<&vob_attype_vinfo_t::low>,
    optional<&vob_attype_vinfo_t::high>,
    scalar<&vob_attype_vinfo_t::low_open>,
    scalar<&vob_attype_vinfo_t::high_open>,
    optional<&vob_attype_vinfo_t::default_value>,
    array<&vob_attype_vinfo_t::n_values, &vob_attype_vinfo_t::values>> {};

template <> struct record<vob_baseline_t> : rows<
    scalar<&vob_baseline_t::baseline>,
    id<&vob_baseline_t::id>,
    text<&vob_baseline_t::name>,
    scalar<&vob_baseline_t::component>,
    scalar<&vob_baseline_t::stream>,
    time<&vob_baseline_t::created>,
    text<&vob_baseline_t::level>,
    scalar<&vob_baseline_t::labelled>,
    scalar<&vob_baseline_t::incremental>,
    array<&vob_baseline_t::n_depends_on, &vob_baseline_t::depends_on>> {};

template <> struct record<vob_cset_ent_t> : rows<
    named<&vob_cset_ent_t::kind, names::cset_ent_kind>,
    id<&vob_cset_ent_t::vob>,
    id<&vob_cset_ent_t::object>> {};

template <> struct record<vob_ucm_activity_cset_t> : rows<
    scalar<&vob_ucm_activity_cset_t::activity>,
    array<&vob_ucm_activity_cset_t::n_entries, &vob_ucm_activity_cset_t::entries>> {};

template <> struct record<vob_checkpoint_cset_list_t> : rows<
    scalar<&vob_checkpoint_cset_list_t::checkpoint>,
    array<&vob_checkpoint_cset_list_t::n_csets, &vob_checkpoint_cset_list_t::csets>> {};

template <> struct record<vob_event_info_t> : rows<
    link<&vob_event_info_t::area>,
    named<&vob_event_info_t::kind, names::evkind>,
    time<&vob_event_info_t::time>,
    text<&vob_event_info_t::comment>,
    text<&vob_event_info_t::user>,
    text<&vob_event_info_t::group>,
    text<&vob_event_info_t::host>,
    text<&vob_event_info_t::name>,
    scalar<&vob_event_info_t::object>,
    named<&vob_event_info_t::op, names::op>> {};

template <> struct record<vob_checkpoint_info_t> : rows<
    text<&vob_checkpoint_info_t::name>,
    scalar<&vob_checkpoint_info_t::checkpoint>,
    id<&vob_checkpoint_info_t::id>,
    scalar<&vob_checkpoint_info_t::timeline>,
    scalar<&vob_checkpoint_info_t::predecessor>,
    scalar<&vob_checkpoint_info_t::sequence>,
    scalar<&vob_checkpoint_info_t::gen>,
    optional<&vob_checkpoint_info_t::event>> {};

template <> struct record<vob_chkpnt_update_t> : rows<
    scalar<&vob_chkpnt_update_t::checkpoint>,
    scalar<&vob_chkpnt_update_t::gen>,
    text<&vob_chkpnt_update_t::name>,
    named<&vob_chkpnt_update_t::comment_action, names::com_actn>,
    text<&vob_chkpnt_update_t::comment>,
    array<&vob_chkpnt_update_t::n_add, &vob_chkpnt_update_t::add>,
    array<&vob_chkpnt_update_t::n_remove, &vob_chkpnt_update_t::remove>> {};

template <> struct record<vob_ckout_info_t> : rows<
    scalar<&vob_ckout_info_t::version>,
    scalar<&vob_ckout_info_t::predecessor>,
    scalar<&vob_ckout_info_t::branch>,
    id<&vob_ckout_info_t::element>,
    id<&vob_ckout_info_t::view>,
    text<&vob_ckout_info_t::view_tag>,
    text<&vob_ckout_info_t::host>,
    text<&vob_ckout_info_t::path>,
    text<&vob_ckout_info_t::user>,
    time<&vob_ckout_info_t::time>,
    scalar<&vob_ckout_info_t::reserved>,
    scalar<&vob_ckout_info_t::mastered>,
    scalar<&vob_ckout_info_t::activity>> {};

template <> struct record<vob_cltxt_info_t> : rows<
    id<&vob_cltxt_info_t::version>,
    scalar<&vob_cltxt_info_t::pool>,
    text<&vob_cltxt_info_t::path>,
    named<&vob_cltxt_info_t::image, names::image_kind>,
    scalar<&vob_cltxt_info_t::text_mode>,
    high_first<&vob_cltxt_info_t::size>,
    narrow<&vob_cltxt_info_t::mtime>,
    scalar<&vob_cltxt_info_t::checksum>> {};

template <> struct record<vob_do_container_info_t> : rows<
    id<&vob_do_container_info_t::object>,
    scalar<&vob_do_container_info_t::pool>,
    text<&vob_do_container_info_t::path>,
    high_first<&vob_do_container_info_t::size>,
    scalar<&vob_do_container_info_t::mode>,
    scalar<&vob_do_container_info_t::refs>,
    narrow<&vob_do_container_info_t::created>,
    scalar<&vob_do_container_info_t::promoted>> {};

template <> struct record<vob_domain_info_t> : rows<
    text<&vob_domain_info_t::name>,
    scalar<&vob_domain_info_t::domain>,
    text<&vob_domain_info_t::identity>,
    scalar<&vob_domain_info_t::trusted>> {};

template <> struct record<vob_eacl_info_t> : rows<
    scalar<&vob_eacl_info_t::object>,
    scalar<&vob_eacl_info_t::policy>,
    scalar<&vob_eacl_info_t::rolemap>,
    scalar<&vob_eacl_info_t::gen>,
    named<&vob_eacl_info_t::enforced, names::acl_enforced>,
    opaque<&vob_eacl_info_t::acl_size, &vob_eacl_info_t::acl>> {};

template <> struct record<vob_epoch_row_entry_t> : rows<
    id<&vob_epoch_row_entry_t::replica>,
    scalar<&vob_epoch_row_entry_t::replica_dbid>,
    scalar<&vob_epoch_row_entry_t::epoch>> {};

template <> struct record<vob_event_legacy_info_t> : rows<
    link<&vob_event_legacy_info_t::area>,
    named<&vob_event_legacy_info_t::kind, names::evkind>,
    narrow<&vob_event_legacy_info_t::time>,
    text<&vob_event_legacy_info_t::comment>,
    text<&vob_event_legacy_info_t::user>,
    text<&vob_event_legacy_info_t::group>,
    text<&vob_event_legacy_info_t::host>,
    text<&vob_event_legacy_info_t::name>,
    scalar<&vob_event_legacy_info_t::object>,
    named<&vob_event_legacy_info_t::op, names::op>> {};

template <> struct record<vob_event_legacy_long_info_t> : rows<
    link<&vob_event_legacy_long_info_t::area>,
    named<&vob_event_legacy_long_info_t::kind, names::evkind>,
    narrow<&vob_event_legacy_long_info_t::time>,
    text<&vob_event_legacy_long_info_t::comment>,
    text<&vob_event_legacy_long_info_t::user>,
    text<&vob_event_legacy_long_info_t::group>,
    text<&vob_event_legacy_long_info_t::host>,
    text<&vob_event_legacy_long_info_t::name>,
    scalar<&vob_event_legacy_long_info_t::object>,
    named<&vob_event_legacy_long_info_t::op, names::op>,
    id<&vob_event_legacy_long_info_t::object_id>,
    named<&vob_event_legacy_long_info_t::object_kind, names::mtype>,
    text<&vob_event_legacy_long_info_t::full_name>,
    text<&vob_event_legacy_long_info_t::type_name>,
    text<&vob_event_legacy_long_info_t::version_name>,
    text<&vob_event_legacy_long_info_t::replica>,
    named<&vob_event_legacy_long_info_t::flags, names::object_flags>,
    array<&vob_event_legacy_long_info_t::n_details, &vob_event_legacy_long_info_t::details>> {};

template <> struct record<vob_event_long_info_t> : rows<
    link<&vob_event_long_info_t::area>,
    named<&vob_event_long_info_t::kind, names::evkind>,
    time<&vob_event_long_info_t::time>,
    text<&vob_event_long_info_t::comment>,
    text<&vob_event_long_info_t::user>,
    text<&vob_event_long_info_t::group>,
    text<&vob_event_long_info_t::host>,
    text<&vob_event_long_info_t::name>,
    scalar<&vob_event_long_info_t::object>,
    named<&vob_event_long_info_t::op, names::op>,
    id<&vob_event_long_info_t::object_id>,
    named<&vob_event_long_info_t::object_kind, names::mtype>,
    text<&vob_event_long_info_t::full_name>,
    text<&vob_event_long_info_t::type_name>,
    text<&vob_event_long_info_t::version_name>,
    text<&vob_event_long_info_t::replica>,
    named<&vob_event_long_info_t::flags, names::object_flags>,
    array<&vob_event_long_info_t::n_details, &vob_event_long_info_t::details>> {};

template <> struct record<vob_event_order_key_t> : rows<
    time<&vob_event_order_key_t::time>,
    id<&vob_event_order_key_t::replica>,
    scalar<&vob_event_order_key_t::entry>,
    scalar<&vob_event_order_key_t::event>> {};

template <> struct record<vob_evil_twin_info_t> : rows<
    id<&vob_evil_twin_info_t::directory>,
    text<&vob_evil_twin_info_t::name>,
    id<&vob_evil_twin_info_t::element>,
    id<&vob_evil_twin_info_t::version>,
    text<&vob_evil_twin_info_t::branch>,
    named<&vob_evil_twin_info_t::enforcement, names::evil_twin_enforcement>> {};

template <> struct record<vob_filter_entry_t> : rows<
    named<&vob_filter_entry_t::kind, names::filter_entry_kind>,
    named<&vob_filter_entry_t::object_kind, names::mtype>,
    text<&vob_filter_entry_t::pattern>,
    scalar<&vob_filter_entry_t::type>,
    scalar<&vob_filter_entry_t::ignore_case>> {};

template <> struct record<vob_lock_info_t> : rows<
    array<&vob_lock_info_t::n_users, &vob_lock_info_t::users>,
    scalar<&vob_lock_info_t::obsolete>> {};

template <> struct record<vob_obj_rfm_blockers_t> : rows<
    scalar<&vob_obj_rfm_blockers_t::object>,
    named<&vob_obj_rfm_blockers_t::kind, names::mtype>,
    named<&vob_obj_rfm_blockers_t::master, names::master_kind>,
    scalar<&vob_obj_rfm_blockers_t::locked>,
    scalar<&vob_obj_rfm_blockers_t::denied>,
    array<&vob_obj_rfm_blockers_t::n_checkouts, &vob_obj_rfm_blockers_t::checkouts>,
    array<&vob_obj_rfm_blockers_t::n_views, &vob_obj_rfm_blockers_t::views>> {};

template <> struct record<vob_oplog_subcr_t> : rows<
    named<&vob_oplog_subcr_t::kind, names::oplog_subcr_kind>,
    text<&vob_oplog_subcr_t::name>,
    id<&vob_oplog_subcr_t::object>,
    id<&vob_oplog_subcr_t::vob>,
    scalar<&vob_oplog_subcr_t::flags>,
    narrow<&vob_oplog_subcr_t::size>,
    narrow<&vob_oplog_subcr_t::time>> {};

template <> struct record<vob_oplog_cr_t> : rows<
    optional<&vob_oplog_cr_t::cr>,
    array<&vob_oplog_cr_t::n_objects, &vob_oplog_cr_t::objects>,
    scalar<&vob_oplog_cr_t::flags>,
    scalar<&vob_oplog_cr_t::depth>,
    array<&vob_oplog_cr_t::n_hashes, &vob_oplog_cr_t::hashes>,
    array<&vob_oplog_cr_t::n_subcrs, &vob_oplog_cr_t::subcrs>> {};

template <> struct record<vob_oplog_ent_t> : rows<
    named<&vob_oplog_ent_t::op, names::oplog_op>,
    id<&vob_oplog_ent_t::object>,
    scalar<&vob_oplog_ent_t::entry>,
    narrow<&vob_oplog_ent_t::time>,
    scalar<&vob_oplog_ent_t::version>,
    optional<&vob_oplog_ent_t::event>,
    opaque<&vob_oplog_ent_t::data_size, &vob_oplog_ent_t::data>,
    narrow<&vob_oplog_ent_t::replay_time>,
    scalar<&vob_oplog_ent_t::origin_entry>,
    id<&vob_oplog_ent_t::replica>,
    optional<&vob_oplog_ent_t::cr>> {};

template <> struct record<vob_opvec_t> : rows<
    named<&vob_opvec_t::op, names::op>,
    scalar<&vob_opvec_t::object>,
    named<&vob_opvec_t::object_kind, names::mtype>,
    time<&vob_opvec_t::time>,
    text<&vob_opvec_t::user>,
    named<&vob_opvec_t::flags, names::option>,
    array<&vob_opvec_t::n_args, &vob_opvec_t::args>,
    optional<&vob_opvec_t::event>> {};

template <> struct record<vob_opvec_legacy_t> : rows<
    named<&vob_opvec_legacy_t::op, names::op>,
    scalar<&vob_opvec_legacy_t::object>,
    named<&vob_opvec_legacy_t::object_kind, names::mtype>,
    narrow<&vob_opvec_legacy_t::time>,
    text<&vob_opvec_legacy_t::user>,
    named<&vob_opvec_legacy_t::flags, names::option>,
    array<&vob_opvec_legacy_t::n_args, &vob_opvec_legacy_t::args>,
    optional<&vob_opvec_legacy_t::event>> {};

template <> struct record<vob_pool_info_t> : rows<
    text<&vob_pool_info_t::name>,
    scalar<&vob_pool_info_t::pool>,
    named<&vob_pool_info_t::kind, names::poolkind>,
    text<&vob_pool_info_t::path>,
    named<&vob_pool_info_t::status, names::stg_path_status>,
    narrow<&vob_pool_info_t::max_size>,
    narrow<&vob_pool_info_t::reclaim_size>,
    scalar<&vob_pool_info_t::age>,
    text<&vob_pool_info_t::alert>> {};

template <> struct record<vob_procdef_action_t> : rows<
    named<&vob_procdef_action_t::exec_type, names::procdef_exec_type>,
    text<&vob_procdef_action_t::library>,
    text<&vob_procdef_action_t::program>,
    array<&vob_procdef_action_t::n_args, &vob_procdef_action_t::args>,
    scalar<&vob_procdef_action_t::stop_on_failure>> {};

template <> struct record<vob_procdef_pvar_t> : rows<
    text<&vob_procdef_pvar_t::name>,
    named<&vob_procdef_pvar_t::type, names::procdef_pvar_type>,
    text<&vob_procdef_pvar_t::value>> {};

template <> struct record<vob_procdef_subr_library_t> : rows<
    text<&vob_procdef_subr_library_t::name>,
    text<&vob_procdef_subr_library_t::path>,
    text<&vob_procdef_subr_library_t::platform>,
    array<&vob_procdef_subr_library_t::n_routines, &vob_procdef_subr_library_t::routines>> {};

template <> struct record<vob_procdef_rule_desc_t> : rows<
    text<&vob_procdef_rule_desc_t::name>,
    named<&vob_procdef_rule_desc_t::op, names::procdef_op>,
    named<&vob_procdef_rule_desc_t::item_sel, names::procdef_item_sel>,
    named<&vob_procdef_rule_desc_t::object_kind, names::mtype>,
    text<&vob_procdef_rule_desc_t::condition>,
    scalar<&vob_procdef_rule_desc_t::before>,
    named<&vob_procdef_rule_desc_t::orig_act, names::procdef_orig_act_flags>,
    array<&vob_procdef_rule_desc_t::n_actions, &vob_procdef_rule_desc_t::actions>> {};

template <> struct record<vob_procdef_rec_t> : rows<
    text<&vob_procdef_rec_t::name>,
    scalar<&vob_procdef_rec_t::procdef>,
    scalar<&vob_procdef_rec_t::version>,
    time<&vob_procdef_rec_t::changed>,
    array<&vob_procdef_rec_t::n_vars, &vob_procdef_rec_t::vars>,
    array<&vob_procdef_rec_t::n_libraries, &vob_procdef_rec_t::libraries>,
    array<&vob_procdef_rec_t::n_rules, &vob_procdef_rec_t::rules>> {};

template <> struct record<vob_replica_info_t> : rows<
    text<&vob_replica_info_t::name>,
    narrow<&vob_replica_info_t::time>> {};

template <> struct record<vob_replica_info_v2_t> : rows<
    text<&vob_replica_info_v2_t::name>> {};

template <> struct record<vob_rptype_info_t> : rows<
    id<&vob_rptype_info_t::replica>,
    text<&vob_rptype_info_t::name>,
    text<&vob_rptype_info_t::host>,
    scalar<&vob_rptype_info_t::level>,
    named<&vob_rptype_info_t::preserve, names::ms_preserve>,
    named<&vob_rptype_info_t::master, names::master_kind>,
    scalar<&vob_rptype_info_t::connected>,
    scalar<&vob_rptype_info_t::requests>> {};

template <> struct record<vob_stg_items_t> : rows<
    narrow<&vob_stg_items_t::measured>,
    narrow<&vob_stg_items_t::database>,
    narrow<&vob_stg_items_t::source>,
    narrow<&vob_stg_items_t::cleartext>,
    narrow<&vob_stg_items_t::derived>,
    narrow<&vob_stg_items_t::admin>,
    narrow<&vob_stg_items_t::other>> {};

template <> struct record<vob_task_info_t> : rows<
    text<&vob_task_info_t::name>,
    scalar<&vob_task_info_t::task>,
    named<&vob_task_info_t::type, names::task_type>,
    named<&vob_task_info_t::priority, names::sched_priority>,
    text<&vob_task_info_t::owner>,
    time<&vob_task_info_t::queued>,
    time<&vob_task_info_t::started>,
    scalar<&vob_task_info_t::percent>,
    scalar<&vob_task_info_t::status>,
    array<&vob_task_info_t::n_args, &vob_task_info_t::args>> {};

template <> struct record<vob_timeline_t> : rows<
    scalar<&vob_timeline_t::timeline>,
    id<&vob_timeline_t::id>,
    text<&vob_timeline_t::name>,
    named<&vob_timeline_t::kind, names::timeline_kind>,
    scalar<&vob_timeline_t::stream>,
    scalar<&vob_timeline_t::head>,
    scalar<&vob_timeline_t::gen>,
    array<&vob_timeline_t::n_checkpoints, &vob_timeline_t::checkpoints>> {};

template <> struct record<vob_trtype_action_t> : rows<
    named<&vob_trtype_action_t::kind, names::trtype_action_kind>,
    text<&vob_trtype_action_t::command>,
    scalar<&vob_trtype_action_t::type>,
    optional<&vob_trtype_action_t::value>,
    text<&vob_trtype_action_t::to_text>> {};

template <> struct record<vob_trtype_obj_kind_t> : rows<
    named<&vob_trtype_obj_kind_t::object_kind, names::mtype>,
    array<&vob_trtype_obj_kind_t::n_names, &vob_trtype_obj_kind_t::names>> {};

template <> struct record<vob_trtype_restriction_t> : rows<
    named<&vob_trtype_restriction_t::object_kind, names::mtype>,
    scalar<&vob_trtype_restriction_t::type>,
    text<&vob_trtype_restriction_t::name>,
    scalar<&vob_trtype_restriction_t::inverted>> {};

template <> struct record<vob_trtype_info_t> : rows<
    named<&vob_trtype_info_t::kind, names::trtype_kind>,
    scalar<&vob_trtype_info_t::before>,
    time<&vob_trtype_info_t::changed>,
    named<&vob_trtype_info_t::flags, names::object_flags>,
    array<&vob_trtype_info_t::n_ops, &vob_trtype_info_t::ops>,
    array<&vob_trtype_info_t::n_obj_kinds, &vob_trtype_info_t::obj_kinds>,
    array<&vob_trtype_info_t::n_restrictions, &vob_trtype_info_t::restrictions>,
    array<&vob_trtype_info_t::n_actions, &vob_trtype_info_t::actions>,
    array<&vob_trtype_info_t::n_exempt_users, &vob_trtype_info_t::exempt_users>> {};

template <> struct record<vob_trtype_legacy_info_t> : rows<
    named<&vob_trtype_legacy_info_t::kind, names::trtype_kind>,
    scalar<&vob_trtype_legacy_info_t::before>,
    narrow<&vob_trtype_legacy_info_t::changed>,
    named<&vob_trtype_legacy_info_t::flags, names::object_flags>,
    array<&vob_trtype_legacy_info_t::n_ops, &vob_trtype_legacy_info_t::ops>,
    array<&vob_trtype_legacy_info_t::n_obj_kinds, &vob_trtype_legacy_info_t::obj_kinds>,
    array<&vob_trtype_legacy_info_t::n_restrictions, &vob_trtype_legacy_info_t::restrictions>,
    array<&vob_trtype_legacy_info_t::n_actions, &vob_trtype_legacy_info_t::actions>,
    array<&vob_trtype_legacy_info_t::n_exempt_users, &vob_trtype_legacy_info_t::exempt_users>> {};

template <> struct record<vob_ucm_activity_info_t> : rows<
    text<&vob_ucm_activity_info_t::name>,
    scalar<&vob_ucm_activity_info_t::activity>,
    scalar<&vob_ucm_activity_info_t::flags>,
    scalar<&vob_ucm_activity_info_t::stream>> {};

template <> struct record<vob_ucm_activity_modcount_t> : rows<
    scalar<&vob_ucm_activity_modcount_t::activity>,
    scalar<&vob_ucm_activity_modcount_t::count>,
    time<&vob_ucm_activity_modcount_t::last>> {};

template <> struct record<vob_ucm_baseline_info_t> : rows<
    text<&vob_ucm_baseline_info_t::name>,
    scalar<&vob_ucm_baseline_info_t::baseline>,
    scalar<&vob_ucm_baseline_info_t::component>,
    scalar<&vob_ucm_baseline_info_t::stream>,
    text<&vob_ucm_baseline_info_t::level>,
    scalar<&vob_ucm_baseline_info_t::labelled>> {};

template <> struct record<vob_ucm_folder_info_t> : rows<
    text<&vob_ucm_folder_info_t::name>,
    scalar<&vob_ucm_folder_info_t::folder>,
    scalar<&vob_ucm_folder_info_t::parent>,
    scalar<&vob_ucm_folder_info_t::is_root>> {};

template <> struct record<vob_ucm_project_info_t> : rows<
    text<&vob_ucm_project_info_t::name>,
    scalar<&vob_ucm_project_info_t::project>,
    scalar<&vob_ucm_project_info_t::folder>,
    scalar<&vob_ucm_project_info_t::stream>,
    scalar<&vob_ucm_project_info_t::policy>,
    scalar<&vob_ucm_project_info_t::single_stream>,
    array<&vob_ucm_project_info_t::n_levels, &vob_ucm_project_info_t::levels>> {};

template <> struct record<vob_ucm_stream_info_t> : rows<
    text<&vob_ucm_stream_info_t::name>,
    scalar<&vob_ucm_stream_info_t::stream>,
    named<&vob_ucm_stream_info_t::parent_kind, names::mtype>,
    scalar<&vob_ucm_stream_info_t::read_only>> {};

template <> struct record<vob_ucm_timeline_info_t> : rows<
    text<&vob_ucm_timeline_info_t::name>,
    scalar<&vob_ucm_timeline_info_t::timeline>,
    named<&vob_ucm_timeline_info_t::kind, names::timeline_kind>,
    scalar<&vob_ucm_timeline_info_t::stream>> {};

template <> struct record<vob_ucm_view_assoc_t> : rows<
    id<&vob_ucm_view_assoc_t::view>,
    text<&vob_ucm_view_assoc_t::tag>,
    text<&vob_ucm_view_assoc_t::host>,
    text<&vob_ucm_view_assoc_t::owner>,
    scalar<&vob_ucm_view_assoc_t::stream>,
    scalar<&vob_ucm_view_assoc_t::activity>,
    named<&vob_ucm_view_assoc_t::config, names::config_kind>> {};

template <> struct record<vob_user_info_t> : rows<
    text<&vob_user_info_t::name>,
    scalar<&vob_user_info_t::user>,
    sid<&vob_user_info_t::identity>,
    text<&vob_user_info_t::full_name>,
    text<&vob_user_info_t::domain>,
    array<&vob_user_info_t::n_groups, &vob_user_info_t::groups>,
    scalar<&vob_user_info_t::administrator>> {};

template <> struct record<vob_user_update_t> : rows<
    scalar<&vob_user_update_t::user>,
    scalar<&vob_user_update_t::flags>,
    text<&vob_user_update_t::name>,
    text<&vob_user_update_t::full_name>,
    array<&vob_user_update_t::n_add_groups, &vob_user_update_t::add_groups>,
    array<&vob_user_update_t::n_remove_groups, &vob_user_update_t::remove_groups>> {};

template <> struct record<vob_view_info_t> : rows<
    id<&vob_view_info_t::view>,
    text<&vob_view_info_t::tag>,
    text<&vob_view_info_t::host>,
    text<&vob_view_info_t::path>,
    text<&vob_view_info_t::owner>,
    scalar<&vob_view_info_t::kind>,
    named<&vob_view_info_t::config, names::config_kind>> {};
// clang-format on

} // namespace tbs::wire

#endif
