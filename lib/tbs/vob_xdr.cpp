#include "tbs/vob_records.h"

#include "internal/vob_wire.hpp"

using namespace tbs;

namespace {

constexpr char module_name[] = "tbs_xdr";

template <class T> bool_t run(XDR *stream, T *value, int line = __builtin_LINE()) noexcept {
    return wire::run(module_name, stream, value, line);
}
template <class T> bool_t run_optional(XDR *stream, T **value, int line = __builtin_LINE()) noexcept {
    return wire::run_optional(module_name, stream, value, line);
}

} // namespace

// ---- enumerations

extern "C" bool_t xdr_vob_acl_enforced_t(XDR *stream, vob_acl_enforced_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_cache_actn_t(XDR *stream, vob_cache_actn_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_com_actn_t(XDR *stream, vob_com_actn_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_config_kind_t(XDR *stream, vob_config_kind_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_cset_ent_kind_t(XDR *stream, vob_cset_ent_kind_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_evil_twin_enforcement_t(XDR *stream, vob_evil_twin_enforcement_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_evkind_t(XDR *stream, vob_evkind_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_filter_entry_kind_t(XDR *stream, vob_filter_entry_kind_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_globalness_t(XDR *stream, vob_globalness_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_image_kind_t(XDR *stream, vob_image_kind_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_lock_kind_t(XDR *stream, vob_lock_kind_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_master_kind_t(XDR *stream, vob_master_kind_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_mergetype_t(XDR *stream, vob_mergetype_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_ms_preserve_t(XDR *stream, vob_ms_preserve_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_mtype_class_t(XDR *stream, vob_mtype_class_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_occurs_t(XDR *stream, vob_occurs_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_op_t(XDR *stream, vob_op_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_oplog_op_t(XDR *stream, vob_oplog_op_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_oplog_order_t(XDR *stream, vob_oplog_order_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_oplog_subcr_kind_t(XDR *stream, vob_oplog_subcr_kind_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_poolkind_t(XDR *stream, vob_poolkind_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_procdef_exec_type_t(XDR *stream, vob_procdef_exec_type_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_procdef_item_sel_t(XDR *stream, vob_procdef_item_sel_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_procdef_op_t(XDR *stream, vob_procdef_op_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_procdef_pvar_type_t(XDR *stream, vob_procdef_pvar_type_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_query_kind_t(XDR *stream, vob_query_kind_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_sched_priority_t(XDR *stream, vob_sched_priority_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_stg_path_status_t(XDR *stream, vob_stg_path_status_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_task_type_t(XDR *stream, vob_task_type_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_timeline_kind_t(XDR *stream, vob_timeline_kind_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_trtype_action_kind_t(XDR *stream, vob_trtype_action_kind_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_trtype_kind_t(XDR *stream, vob_trtype_kind_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_vtype_t(XDR *stream, vob_vtype_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_wkobj_t(XDR *stream, vob_wkobj_t *value) noexcept { return run(stream, value); }

// ---- scalars

extern "C" bool_t xdr_vob_activity_info_flag_t(XDR *stream, vob_activity_info_flag_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_feature_level_t(XDR *stream, vob_feature_level_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_nsdir_offset_t(XDR *stream, vob_nsdir_offset_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_object_flags_t(XDR *stream, vob_object_flags_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_oplog_id_t(XDR *stream, vob_oplog_id_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_option_t(XDR *stream, vob_option_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_procdef_orig_act_flags_t(XDR *stream, vob_procdef_orig_act_flags_t *value) noexcept {
    return run(stream, value);
}
extern "C" bool_t xdr_vob_ver_num_t(XDR *stream, vob_ver_num_t *value) noexcept { return run(stream, value); }

// ---- the value union

extern "C" bool_t xdr_vob_value_t(XDR *stream, vob_value_t *value) noexcept { return run(stream, value); }
extern "C" bool_t xdr_vob_value_s(XDR *stream, struct vob_value_s *value) noexcept {
    return xdr_vob_value_t(stream, value);
}

// ---- records

extern "C" bool_t xdr_vob_act_fetch_t(XDR *stream, vob_act_fetch_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_act_update_t(XDR *stream, vob_act_update_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_activity_info_t(XDR *stream, vob_activity_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_actype_info_t(XDR *stream, vob_actype_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_attype_vinfo_t(XDR *stream, vob_attype_vinfo_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_attype_vinfo_s(XDR *stream, struct vob_attype_vinfo_s *record) noexcept {
    return xdr_vob_attype_vinfo_t(stream, record);
}
extern "C" bool_t xdr_vob_baseline_t(XDR *stream, vob_baseline_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_checkpoint_cset_list_t(XDR *stream, vob_checkpoint_cset_list_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_checkpoint_info_t(XDR *stream, vob_checkpoint_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_chkpnt_update_t(XDR *stream, vob_chkpnt_update_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ckout_info_t(XDR *stream, vob_ckout_info_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_ckout_info_s(XDR *stream, struct vob_ckout_info_s *record) noexcept {
    return xdr_vob_ckout_info_t(stream, record);
}
extern "C" bool_t xdr_vob_cltxt_info_t(XDR *stream, vob_cltxt_info_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_cltxt_info_s(XDR *stream, struct vob_cltxt_info_s *record) noexcept {
    return xdr_vob_cltxt_info_t(stream, record);
}
extern "C" bool_t xdr_vob_do_container_info_t(XDR *stream, vob_do_container_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_do_container_info_s(XDR *stream, struct vob_do_container_info_s *record) noexcept {
    return xdr_vob_do_container_info_t(stream, record);
}
extern "C" bool_t xdr_vob_domain_info_t(XDR *stream, vob_domain_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_eacl_info_t(XDR *stream, vob_eacl_info_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_epoch_row_entry_t(XDR *stream, vob_epoch_row_entry_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_epoch_row_entry_s(XDR *stream, struct vob_epoch_row_entry_s *record) noexcept {
    return xdr_vob_epoch_row_entry_t(stream, record);
}
extern "C" bool_t xdr_vob_event_info_t(XDR *stream, vob_event_info_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_event_info_s(XDR *stream, struct vob_event_info_s *record) noexcept {
    return xdr_vob_event_info_t(stream, record);
}
extern "C" bool_t xdr_vob_event_legacy_info_t(XDR *stream, vob_event_legacy_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_event_legacy_info_s(XDR *stream, struct vob_event_legacy_info_s *record) noexcept {
    return xdr_vob_event_legacy_info_t(stream, record);
}
extern "C" bool_t xdr_vob_event_legacy_long_info_t(XDR *stream, vob_event_legacy_long_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_event_legacy_long_info_s(XDR *stream,
                                                   struct vob_event_legacy_long_info_s *record) noexcept {
    return xdr_vob_event_legacy_long_info_t(stream, record);
}
extern "C" bool_t xdr_vob_event_long_info_t(XDR *stream, vob_event_long_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_event_long_info_s(XDR *stream, struct vob_event_long_info_s *record) noexcept {
    return xdr_vob_event_long_info_t(stream, record);
}
extern "C" bool_t xdr_vob_event_order_key_t(XDR *stream, vob_event_order_key_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_evil_twin_info_t(XDR *stream, vob_evil_twin_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_filter_entry_t(XDR *stream, vob_filter_entry_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_filter_entry_s(XDR *stream, struct vob_filter_entry_s *record) noexcept {
    return xdr_vob_filter_entry_t(stream, record);
}
extern "C" bool_t xdr_vob_lock_info_t(XDR *stream, vob_lock_info_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_lock_info_s(XDR *stream, struct vob_lock_info_s *record) noexcept {
    return xdr_vob_lock_info_t(stream, record);
}
extern "C" bool_t xdr_vob_namegen_rule_t(XDR *stream, vob_namegen_rule_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_obj_rfm_blockers_t(XDR *stream, vob_obj_rfm_blockers_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_oplog_cr_t(XDR *stream, vob_oplog_cr_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_oplog_cr_s(XDR *stream, struct vob_oplog_cr_s *record) noexcept {
    return xdr_vob_oplog_cr_t(stream, record);
}
extern "C" bool_t xdr_vob_oplog_ent_t(XDR *stream, vob_oplog_ent_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_oplog_ent_s(XDR *stream, struct vob_oplog_ent_s *record) noexcept {
    return xdr_vob_oplog_ent_t(stream, record);
}
extern "C" bool_t xdr_vob_oplog_subcr_t(XDR *stream, vob_oplog_subcr_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_oplog_subcr_s(XDR *stream, struct vob_oplog_subcr_s *record) noexcept {
    return xdr_vob_oplog_subcr_t(stream, record);
}
extern "C" bool_t xdr_vob_opvec_legacy_t(XDR *stream, vob_opvec_legacy_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_opvec_t(XDR *stream, vob_opvec_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_opvec_s(XDR *stream, struct vob_opvec_s *record) noexcept {
    return xdr_vob_opvec_t(stream, record);
}
extern "C" bool_t xdr_vob_pool_info_t(XDR *stream, vob_pool_info_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_pool_info_s(XDR *stream, struct vob_pool_info_s *record) noexcept {
    return xdr_vob_pool_info_t(stream, record);
}
extern "C" bool_t xdr_vob_procdef_action_t(XDR *stream, vob_procdef_action_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_procdef_rec_t(XDR *stream, vob_procdef_rec_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_procdef_rule_desc_t(XDR *stream, vob_procdef_rule_desc_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_procdef_subr_library_t(XDR *stream, vob_procdef_subr_library_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_replica_info_t(XDR *stream, vob_replica_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_replica_info_s(XDR *stream, struct vob_replica_info_s *record) noexcept {
    return xdr_vob_replica_info_t(stream, record);
}
extern "C" bool_t xdr_vob_replica_info_v2_t(XDR *stream, vob_replica_info_v2_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_rptype_info_t(XDR *stream, vob_rptype_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_rptype_info_s(XDR *stream, struct vob_rptype_info_s *record) noexcept {
    return xdr_vob_rptype_info_t(stream, record);
}
extern "C" bool_t xdr_vob_stg_items_t(XDR *stream, vob_stg_items_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_task_info_t(XDR *stream, vob_task_info_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_timeline_t(XDR *stream, vob_timeline_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_trtype_action_t(XDR *stream, vob_trtype_action_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_trtype_action_s(XDR *stream, struct vob_trtype_action_s *record) noexcept {
    return xdr_vob_trtype_action_t(stream, record);
}
extern "C" bool_t xdr_vob_trtype_info_t(XDR *stream, vob_trtype_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_trtype_info_s(XDR *stream, struct vob_trtype_info_s *record) noexcept {
    return xdr_vob_trtype_info_t(stream, record);
}
extern "C" bool_t xdr_vob_trtype_legacy_info_t(XDR *stream, vob_trtype_legacy_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_trtype_obj_kind_t(XDR *stream, vob_trtype_obj_kind_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_trtype_obj_kind_s(XDR *stream, struct vob_trtype_obj_kind_s *record) noexcept {
    return xdr_vob_trtype_obj_kind_t(stream, record);
}
extern "C" bool_t xdr_vob_trtype_restriction_t(XDR *stream, vob_trtype_restriction_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_trtype_restriction_s(XDR *stream, struct vob_trtype_restriction_s *record) noexcept {
    return xdr_vob_trtype_restriction_t(stream, record);
}
extern "C" bool_t xdr_vob_ucm_activity_cset_t(XDR *stream, vob_ucm_activity_cset_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ucm_activity_info_t(XDR *stream, vob_ucm_activity_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ucm_activity_modcount_t(XDR *stream, vob_ucm_activity_modcount_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ucm_baseline_info_t(XDR *stream, vob_ucm_baseline_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ucm_folder_info_t(XDR *stream, vob_ucm_folder_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ucm_project_info_t(XDR *stream, vob_ucm_project_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ucm_stream_info_t(XDR *stream, vob_ucm_stream_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ucm_timeline_info_t(XDR *stream, vob_ucm_timeline_info_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_ucm_view_assoc_t(XDR *stream, vob_ucm_view_assoc_t *record) noexcept {
    return run(stream, record);
}
extern "C" bool_t xdr_vob_user_info_t(XDR *stream, vob_user_info_t *record) noexcept { return run(stream, record); }
extern "C" bool_t xdr_vob_user_update_t(XDR *stream, vob_user_update_t *record) noexcept {
    return run(stream, record);
}

// ---- handles

extern "C" bool_t xdr_vob_cr_h_t(XDR *stream, vob_cr_h_t *handle) noexcept { return run_optional(stream, handle); }
extern "C" bool_t xdr_vob_event_h_t(XDR *stream, vob_event_h_t *handle) noexcept {
    return run_optional(stream, handle);
}
extern "C" bool_t xdr_vob_view_info_h_t(XDR *stream, vob_view_info_h_t *handle) noexcept {
    return run_optional(stream, handle);
}
