// vob_types.hpp - every type of the xdr_vob_ family by its name: routine, size in memory, layout on the wire.
#ifndef TBS_INTERNAL_VOB_TYPES_HPP
#define TBS_INTERNAL_VOB_TYPES_HPP

#include "vob_wire.hpp"
#include "wire_layout.hpp"

#include <span>

namespace tbs::wire {

enum class type_kind { scalar, enumeration, flags, record, choice, handle };

struct wire_type {
    const char *name;
    xdrproc_t pass;
    size_t size; // of the object, zero-filled before it is decoded
    type_kind kind;
    const layout *wire;
};

template <class T>
wire_type make_type(const char *name, bool_t (*pass)(XDR *, T *), type_kind kind, const layout *l) {
    constexpr size_t size = sizeof(std::conditional_t<std::is_pointer_v<T>, void *, T>);
    return {name, reinterpret_cast<xdrproc_t>(pass), size, kind, l};
}

template <class T> wire_type scalar_type(const char *name, bool_t (*pass)(XDR *, T *)) {
    return make_type(name, pass, type_kind::scalar, &layout_of<T>);
}

// An integer some of whose values have names.
template <class T, const names_of_values &Names> struct named_value {
    static constexpr field only[] = {field_of(named<itself<T>{}, Names>{})};
    static constexpr layout made = {Names.type, only, unit};
};
template <const names_of_values &Names, class T> wire_type named_type(const char *name, bool_t (*pass)(XDR *, T *)) {
    return make_type(name, pass, Names.are_flags ? type_kind::flags : type_kind::enumeration,
                     &named_value<T, Names>::made);
}

template <class T> wire_type record_type(const char *name, bool_t (*pass)(XDR *, T *)) {
    const layout &l = layout_of<T>;
    return make_type(name, pass, l.fields[0].kind == form::choice ? type_kind::choice : type_kind::record, &l);
}

// A pointer to a record that may be null.
template <class T> struct handle_to {
    static constexpr field only[] = {{.name = "record", .kind = form::optional, .inner = inner_layout<T>()}};
    static constexpr layout made = {"", only, unit};
};
template <class T> wire_type handle_type(const char *name, bool_t (*pass)(XDR *, T **)) {
    return make_type(name, pass, type_kind::handle, &handle_to<T>::made);
}

// In the order of their names.
inline std::span<const wire_type> vob_types() {
    static const wire_type types[] = {
        named_type<names::acl_enforced>("vob_acl_enforced_t", xdr_vob_acl_enforced_t),
        record_type("vob_act_fetch_t", xdr_vob_act_fetch_t),
        record_type("vob_act_update_t", xdr_vob_act_update_t),
        named_type<names::activity_info_flag>("vob_activity_info_flag_t", xdr_vob_activity_info_flag_t),
        record_type("vob_activity_info_t", xdr_vob_activity_info_t),
        record_type("vob_actype_info_t", xdr_vob_actype_info_t),
        record_type("vob_attype_vinfo_s", xdr_vob_attype_vinfo_s),
        record_type("vob_attype_vinfo_t", xdr_vob_attype_vinfo_t),
        record_type("vob_baseline_t", xdr_vob_baseline_t),
        named_type<names::cache_actn>("vob_cache_actn_t", xdr_vob_cache_actn_t),
        record_type("vob_checkpoint_cset_list_t", xdr_vob_checkpoint_cset_list_t),
        record_type("vob_checkpoint_info_t", xdr_vob_checkpoint_info_t),
        record_type("vob_chkpnt_update_t", xdr_vob_chkpnt_update_t),
        record_type("vob_ckout_info_s", xdr_vob_ckout_info_s),
        record_type("vob_ckout_info_t", xdr_vob_ckout_info_t),
        record_type("vob_cltxt_info_s", xdr_vob_cltxt_info_s),
        record_type("vob_cltxt_info_t", xdr_vob_cltxt_info_t),
        named_type<names::com_actn>("vob_com_actn_t", xdr_vob_com_actn_t),
        named_type<names::config_kind>("vob_config_kind_t", xdr_vob_config_kind_t),
        handle_type("vob_cr_h_t", xdr_vob_cr_h_t),
        named_type<names::cset_ent_kind>("vob_cset_ent_kind_t", xdr_vob_cset_ent_kind_t),
        record_type("vob_do_container_info_s", xdr_vob_do_container_info_s),
        record_type("vob_do_container_info_t", xdr_vob_do_container_info_t),
        record_type("vob_domain_info_t", xdr_vob_domain_info_t),
        record_type("vob_eacl_info_t", xdr_vob_eacl_info_t),
        record_type("vob_epoch_row_entry_s", xdr_vob_epoch_row_entry_s),
        record_type("vob_epoch_row_entry_t", xdr_vob_epoch_row_entry_t),
        handle_type("vob_event_h_t", xdr_vob_event_h_t),
        record_type("vob_event_info_s", xdr_vob_event_info_s),
        record_type("vob_event_info_t", xdr_vob_event_info_t),
        record_type("vob_event_legacy_info_s", xdr_vob_event_legacy_info_s),
        record_type("vob_event_legacy_info_t", xdr_vob_event_legacy_info_t),
        record_type("vob_event_legacy_long_info_s", xdr_vob_event_legacy_long_info_s),
        record_type("vob_event_legacy_long_info_t", xdr_vob_event_legacy_long_info_t),
        record_type("vob_event_long_info_s", xdr_vob_event_long_info_s),
        record_type("vob_event_long_info_t", xdr_vob_event_long_info_t),
        record_type("vob_event_order_key_t", xdr_vob_event_order_key_t),
        named_type<names::evil_twin_enforcement>("vob_evil_twin_enforcement_t", xdr_vob_evil_twin_enforcement_t),
        record_type("vob_evil_twin_info_t", xdr_vob_evil_twin_info_t),
        named_type<names::evkind>("vob_evkind_t", xdr_vob_evkind_t),
        scalar_type("vob_feature_level_t", xdr_vob_feature_level_t),
        named_type<names::filter_entry_kind>("vob_filter_entry_kind_t", xdr_vob_filter_entry_kind_t),
        record_type("vob_filter_entry_s", xdr_vob_filter_entry_s),
        record_type("vob_filter_entry_t", xdr_vob_filter_entry_t),
        scalar_type("vob_gen_num_t", xdr_vob_gen_num_t),
        named_type<names::globalness>("vob_globalness_t", xdr_vob_globalness_t),
        named_type<names::image_kind>("vob_image_kind_t", xdr_vob_image_kind_t),
        record_type("vob_lock_info_s", xdr_vob_lock_info_s),
        record_type("vob_lock_info_t", xdr_vob_lock_info_t),
        named_type<names::lock_kind>("vob_lock_kind_t", xdr_vob_lock_kind_t),
        named_type<names::master_kind>("vob_master_kind_t", xdr_vob_master_kind_t),
        named_type<names::mergetype>("vob_mergetype_t", xdr_vob_mergetype_t),
        named_type<names::ms_preserve>("vob_ms_preserve_t", xdr_vob_ms_preserve_t),
        named_type<names::mtype_class>("vob_mtype_class_t", xdr_vob_mtype_class_t),
        named_type<names::mtype>("vob_mtype_t", xdr_vob_mtype_t),
        record_type("vob_namegen_rule_t", xdr_vob_namegen_rule_t),
        scalar_type("vob_nsdir_offset_t", xdr_vob_nsdir_offset_t),
        record_type("vob_obj_rfm_blockers_t", xdr_vob_obj_rfm_blockers_t),
        named_type<names::object_flags>("vob_object_flags_t", xdr_vob_object_flags_t),
        named_type<names::occurs>("vob_occurs_t", xdr_vob_occurs_t),
        named_type<names::op>("vob_op_t", xdr_vob_op_t),
        record_type("vob_oplog_cr_s", xdr_vob_oplog_cr_s),
        record_type("vob_oplog_cr_t", xdr_vob_oplog_cr_t),
        record_type("vob_oplog_ent_s", xdr_vob_oplog_ent_s),
        record_type("vob_oplog_ent_t", xdr_vob_oplog_ent_t),
        scalar_type("vob_oplog_id_t", xdr_vob_oplog_id_t),
        named_type<names::oplog_op>("vob_oplog_op_t", xdr_vob_oplog_op_t),
        named_type<names::oplog_order>("vob_oplog_order_t", xdr_vob_oplog_order_t),
        named_type<names::oplog_subcr_kind>("vob_oplog_subcr_kind_t", xdr_vob_oplog_subcr_kind_t),
        record_type("vob_oplog_subcr_s", xdr_vob_oplog_subcr_s),
        record_type("vob_oplog_subcr_t", xdr_vob_oplog_subcr_t),
        named_type<names::option>("vob_option_t", xdr_vob_option_t),
        record_type("vob_opvec_legacy_t", xdr_vob_opvec_legacy_t),
        record_type("vob_opvec_s", xdr_vob_opvec_s),
        record_type("vob_opvec_t", xdr_vob_opvec_t),
        record_type("vob_pool_info_s", xdr_vob_pool_info_s),
        record_type("vob_pool_info_t", xdr_vob_pool_info_t),
        named_type<names::poolkind>("vob_poolkind_t", xdr_vob_poolkind_t),
        record_type("vob_procdef_action_t", xdr_vob_procdef_action_t),
        named_type<names::procdef_exec_type>("vob_procdef_exec_type_t", xdr_vob_procdef_exec_type_t),
        named_type<names::procdef_item_sel>("vob_procdef_item_sel_t", xdr_vob_procdef_item_sel_t),
        named_type<names::procdef_op>("vob_procdef_op_t", xdr_vob_procdef_op_t),
        named_type<names::procdef_orig_act_flags>("vob_procdef_orig_act_flags_t", xdr_vob_procdef_orig_act_flags_t),
        named_type<names::procdef_pvar_type>("vob_procdef_pvar_type_t", xdr_vob_procdef_pvar_type_t),
        record_type("vob_procdef_rec_t", xdr_vob_procdef_rec_t),
        record_type("vob_procdef_rule_desc_t", xdr_vob_procdef_rule_desc_t),
        record_type("vob_procdef_subr_library_t", xdr_vob_procdef_subr_library_t),
        named_type<names::query_kind>("vob_query_kind_t", xdr_vob_query_kind_t),
        record_type("vob_replica_info_s", xdr_vob_replica_info_s),
        record_type("vob_replica_info_t", xdr_vob_replica_info_t),
        record_type("vob_replica_info_v2_t", xdr_vob_replica_info_v2_t),
        record_type("vob_rptype_info_s", xdr_vob_rptype_info_s),
        record_type("vob_rptype_info_t", xdr_vob_rptype_info_t),
        named_type<names::sched_priority>("vob_sched_priority_t", xdr_vob_sched_priority_t),
        record_type("vob_stg_items_t", xdr_vob_stg_items_t),
        named_type<names::stg_path_status>("vob_stg_path_status_t", xdr_vob_stg_path_status_t),
        record_type("vob_task_info_t", xdr_vob_task_info_t),
        named_type<names::task_type>("vob_task_type_t", xdr_vob_task_type_t),
        named_type<names::timeline_kind>("vob_timeline_kind_t", xdr_vob_timeline_kind_t),
        record_type("vob_timeline_t", xdr_vob_timeline_t),
        named_type<names::trtype_action_kind>("vob_trtype_action_kind_t", xdr_vob_trtype_action_kind_t),
        record_type("vob_trtype_action_s", xdr_vob_trtype_action_s),
        record_type("vob_trtype_action_t", xdr_vob_trtype_action_t),
        record_type("vob_trtype_info_s", xdr_vob_trtype_info_s),
        record_type("vob_trtype_info_t", xdr_vob_trtype_info_t),
        named_type<names::trtype_kind>("vob_trtype_kind_t", xdr_vob_trtype_kind_t),
        record_type("vob_trtype_legacy_info_t", xdr_vob_trtype_legacy_info_t),
        record_type("vob_trtype_obj_kind_s", xdr_vob_trtype_obj_kind_s),
        record_type("vob_trtype_obj_kind_t", xdr_vob_trtype_obj_kind_t),
        record_type("vob_trtype_restriction_s", xdr_vob_trtype_restriction_s),
        record_type("vob_trtype_restriction_t", xdr_vob_trtype_restriction_t),
        record_type("vob_ucm_activity_cset_t", xdr_vob_ucm_activity_cset_t),
        record_type("vob_ucm_activity_info_t", xdr_vob_ucm_activity_info_t),
        record_type("vob_ucm_activity_modcount_t", xdr_vob_ucm_activity_modcount_t),
        record_type("vob_ucm_baseline_info_t", xdr_vob_ucm_baseline_info_t),
        record_type("vob_ucm_folder_info_t", xdr_vob_ucm_folder_info_t),
        record_type("vob_ucm_project_info_t", xdr_vob_ucm_project_info_t),
        record_type("vob_ucm_stream_info_t", xdr_vob_ucm_stream_info_t),
        record_type("vob_ucm_timeline_info_t", xdr_vob_ucm_timeline_info_t),
        record_type("vob_ucm_view_assoc_t", xdr_vob_ucm_view_assoc_t),
        record_type("vob_user_info_t", xdr_vob_user_info_t),
        record_type("vob_user_update_t", xdr_vob_user_update_t),
        record_type("vob_value_s", xdr_vob_value_s),
        record_type("vob_value_t", xdr_vob_value_t),
        scalar_type("vob_ver_num_t", xdr_vob_ver_num_t),
        handle_type("vob_view_info_h_t", xdr_vob_view_info_h_t),
        named_type<names::vtype>("vob_vtype_t", xdr_vob_vtype_t),
        named_type<names::wkobj>("vob_wkobj_t", xdr_vob_wkobj_t),
    };
    return types;
}

} // namespace tbs::wire

#endif
