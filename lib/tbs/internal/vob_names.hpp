// vob_names.hpp - the names of the values and flags in repository records.
#ifndef TBS_INTERNAL_VOB_NAMES_HPP
#define TBS_INTERNAL_VOB_NAMES_HPP

#include "tbs/vob_records.h"
#include "wire_names.hpp"

namespace tbs::wire::names {

inline constexpr value_name acl_enforced_values[] = {
    {VOB_ACL_ENFORCED_NO, "no"},
    {VOB_ACL_ENFORCED_YES, "yes"},
};
inline constexpr names_of_values acl_enforced = {"vob_acl_enforced_t", false, acl_enforced_values};

inline constexpr value_name cache_actn_values[] = {
    {VOB_CACHE_ACTN_NONE, "none"},       {VOB_CACHE_ACTN_KEEP, "keep"},
    {VOB_CACHE_ACTN_REFRESH, "refresh"}, {VOB_CACHE_ACTN_INVALIDATE, "invalidate"},
    {VOB_CACHE_ACTN_PURGE, "purge"},
};
inline constexpr names_of_values cache_actn = {"vob_cache_actn_t", false, cache_actn_values};

inline constexpr value_name com_actn_values[] = {
    {VOB_COM_ACTN_KEEP, "keep"},     {VOB_COM_ACTN_REPLACE, "replace"}, {VOB_COM_ACTN_APPEND, "append"},
    {VOB_COM_ACTN_INSERT, "insert"}, {VOB_COM_ACTN_DELETE, "delete"},
};
inline constexpr names_of_values com_actn = {"vob_com_actn_t", false, com_actn_values};

inline constexpr value_name config_kind_values[] = {
    {VOB_CONFIG_KIND_NONE, "none"},         {VOB_CONFIG_KIND_DEFAULT, "default"},
    {VOB_CONFIG_KIND_USER, "user"},         {VOB_CONFIG_KIND_STREAM, "stream"},
    {VOB_CONFIG_KIND_BASELINE, "baseline"}, {VOB_CONFIG_KIND_SNAPSHOT, "snapshot"},
};
inline constexpr names_of_values config_kind = {"vob_config_kind_t", false, config_kind_values};

inline constexpr value_name cset_ent_kind_values[] = {
    {VOB_CSET_ENT_KIND_NONE, "none"},
    {VOB_CSET_ENT_KIND_VERSION, "version"},
    {VOB_CSET_ENT_KIND_DIR_VERSION, "dir version"},
    {VOB_CSET_ENT_KIND_SYMLINK, "symlink"},
    {VOB_CSET_ENT_KIND_ELEMENT, "element"},
    {VOB_CSET_ENT_KIND_FOREIGN, "foreign"},
};
inline constexpr names_of_values cset_ent_kind = {"vob_cset_ent_kind_t", false, cset_ent_kind_values};

inline constexpr value_name evil_twin_enforcement_values[] = {
    {VOB_EVIL_TWIN_ENFORCEMENT_OFF, "off"},
    {VOB_EVIL_TWIN_ENFORCEMENT_WARN, "warn"},
    {VOB_EVIL_TWIN_ENFORCEMENT_REJECT, "reject"},
};
inline constexpr names_of_values evil_twin_enforcement = {"vob_evil_twin_enforcement_t", false,
                                                          evil_twin_enforcement_values};

inline constexpr value_name evkind_values[] = {
    {VOB_EVKIND_NONE, "none"},
    {VOB_EVKIND_CREATE, "create"},
    {VOB_EVKIND_DELETE, "delete"},
    {VOB_EVKIND_RENAME, "rename"},
    {VOB_EVKIND_MODIFY, "modify"},
    {VOB_EVKIND_CHECKOUT, "checkout"},
    {VOB_EVKIND_CHECKIN, "checkin"},
    {VOB_EVKIND_UNCHECKOUT, "uncheckout"},
    {VOB_EVKIND_RESERVE, "reserve"},
    {VOB_EVKIND_UNRESERVE, "unreserve"},
    {VOB_EVKIND_LOCK, "lock"},
    {VOB_EVKIND_UNLOCK, "unlock"},
    {VOB_EVKIND_OBSOLETE, "obsolete"},
    {VOB_EVKIND_LABEL, "label"},
    {VOB_EVKIND_UNLABEL, "unlabel"},
    {VOB_EVKIND_ATTRIBUTE, "attribute"},
    {VOB_EVKIND_UNATTRIBUTE, "unattribute"},
    {VOB_EVKIND_LINK, "link"},
    {VOB_EVKIND_UNLINK, "unlink"},
    {VOB_EVKIND_TRIGGER_ATTACH, "trigger attach"},
    {VOB_EVKIND_TRIGGER_DETACH, "trigger detach"},
    {VOB_EVKIND_CHANGE_TYPE, "change type"},
    {VOB_EVKIND_CHANGE_POOL, "change pool"},
    {VOB_EVKIND_CHANGE_MASTER, "change master"},
    {VOB_EVKIND_PROTECT, "protect"},
    {VOB_EVKIND_CHANGE_ACL, "change acl"},
    {VOB_EVKIND_SYNC_EXPORT, "sync export"},
    {VOB_EVKIND_SYNC_IMPORT, "sync import"},
    {VOB_EVKIND_BASELINE, "baseline"},
    {VOB_EVKIND_DELIVER, "deliver"},
    {VOB_EVKIND_REBASE, "rebase"},
    {VOB_EVKIND_COMMENT, "comment"},
};
inline constexpr names_of_values evkind = {"vob_evkind_t", false, evkind_values};

inline constexpr value_name filter_entry_kind_values[] = {
    {VOB_FILTER_ENTRY_KIND_NONE, "none"},       {VOB_FILTER_ENTRY_KIND_INCLUDE, "include"},
    {VOB_FILTER_ENTRY_KIND_EXCLUDE, "exclude"}, {VOB_FILTER_ENTRY_KIND_BY_TYPE, "by type"},
    {VOB_FILTER_ENTRY_KIND_BY_NAME, "by name"},
};
inline constexpr names_of_values filter_entry_kind = {"vob_filter_entry_kind_t", false, filter_entry_kind_values};

inline constexpr value_name globalness_values[] = {
    {VOB_GLOBALNESS_ORDINARY, "ordinary"},
    {VOB_GLOBALNESS_GLOBAL, "global"},
    {VOB_GLOBALNESS_LOCAL_COPY, "local copy"},
};
inline constexpr names_of_values globalness = {"vob_globalness_t", false, globalness_values};

inline constexpr value_name image_kind_values[] = {
    {VOB_IMAGE_KIND_NONE, "none"},
    {VOB_IMAGE_KIND_WHOLE, "whole"},
    {VOB_IMAGE_KIND_DELTA, "delta"},
    {VOB_IMAGE_KIND_COMPRESSED, "compressed"},
    {VOB_IMAGE_KIND_COMPRESSED_DELTA, "compressed delta"},
    {VOB_IMAGE_KIND_SHARED, "shared"},
};
inline constexpr names_of_values image_kind = {"vob_image_kind_t", false, image_kind_values};

inline constexpr value_name lock_kind_values[] = {
    {VOB_LOCK_KIND_NONE, "none"},
    {VOB_LOCK_KIND_LOCKED, "locked"},
    {VOB_LOCK_KIND_OBSOLETE, "obsolete"},
};
inline constexpr names_of_values lock_kind = {"vob_lock_kind_t", false, lock_kind_values};

inline constexpr value_name master_kind_values[] = {
    {VOB_MASTER_KIND_NONE, "none"},
    {VOB_MASTER_KIND_SELF, "self"},
    {VOB_MASTER_KIND_EXPLICIT, "explicit"},
    {VOB_MASTER_KIND_DEFAULT, "default"},
};
inline constexpr names_of_values master_kind = {"vob_master_kind_t", false, master_kind_values};

inline constexpr value_name mergetype_values[] = {
    {VOB_MERGETYPE_NONE, "none"}, {VOB_MERGETYPE_AUTO, "auto"},   {VOB_MERGETYPE_USER, "user"},
    {VOB_MERGETYPE_COPY, "copy"}, {VOB_MERGETYPE_NEVER, "never"},
};
inline constexpr names_of_values mergetype = {"vob_mergetype_t", false, mergetype_values};

inline constexpr value_name ms_preserve_values[] = {
    {VOB_MS_PRESERVE_NONE, "none"},
    {VOB_MS_PRESERVE_PERMISSIONS, "permissions"},
    {VOB_MS_PRESERVE_IDENTITIES, "identities"},
};
inline constexpr names_of_values ms_preserve = {"vob_ms_preserve_t", false, ms_preserve_values};

inline constexpr value_name mtype_values[] = {
    {VOB_MTYPE_NONE, "none"},
    {VOB_MTYPE_VOB, "vob"},
    {VOB_MTYPE_REPLICA, "replica"},
    {VOB_MTYPE_ELEMENT, "element"},
    {VOB_MTYPE_BRANCH, "branch"},
    {VOB_MTYPE_VERSION, "version"},
    {VOB_MTYPE_SYMLINK, "symlink"},
    {VOB_MTYPE_DERIVED_OBJECT, "derived object"},
    {VOB_MTYPE_HYPERLINK, "hyperlink"},
    {VOB_MTYPE_ELEMENT_TYPE, "element type"},
    {VOB_MTYPE_BRANCH_TYPE, "branch type"},
    {VOB_MTYPE_LABEL_TYPE, "label type"},
    {VOB_MTYPE_ATTRIBUTE_TYPE, "attribute type"},
    {VOB_MTYPE_HYPERLINK_TYPE, "hyperlink type"},
    {VOB_MTYPE_TRIGGER_TYPE, "trigger type"},
    {VOB_MTYPE_REPLICA_TYPE, "replica type"},
    {VOB_MTYPE_ACTIVITY_TYPE, "activity type"},
    {VOB_MTYPE_POOL, "pool"},
    {VOB_MTYPE_DOMAIN, "domain"},
    {VOB_MTYPE_USER, "user"},
    {VOB_MTYPE_ACTIVITY, "activity"},
    {VOB_MTYPE_STREAM, "stream"},
    {VOB_MTYPE_BASELINE, "baseline"},
    {VOB_MTYPE_COMPONENT, "component"},
    {VOB_MTYPE_PROJECT, "project"},
    {VOB_MTYPE_FOLDER, "folder"},
    {VOB_MTYPE_TIMELINE, "timeline"},
    {VOB_MTYPE_CHECKPOINT, "checkpoint"},
    {VOB_MTYPE_TASK, "task"},
    {VOB_MTYPE_POLICY, "policy"},
    {VOB_MTYPE_ROLEMAP, "rolemap"},
};
inline constexpr names_of_values mtype = {"vob_mtype_t", false, mtype_values};

inline constexpr value_name mtype_class_values[] = {
    {VOB_MTYPE_CLASS_NONE, "none"},
    {VOB_MTYPE_CLASS_VOB, "vob"},
    {VOB_MTYPE_CLASS_FILE_SYSTEM, "file system"},
    {VOB_MTYPE_CLASS_TYPE, "type"},
    {VOB_MTYPE_CLASS_STORAGE, "storage"},
    {VOB_MTYPE_CLASS_META, "meta"},
    {VOB_MTYPE_CLASS_UCM, "ucm"},
    {VOB_MTYPE_CLASS_ADMIN, "admin"},
};
inline constexpr names_of_values mtype_class = {"vob_mtype_class_t", false, mtype_class_values};

inline constexpr value_name occurs_values[] = {
    {VOB_OCCURS_PER_ELEMENT, "per element"},
    {VOB_OCCURS_PER_BRANCH, "per branch"},
    {VOB_OCCURS_PER_VERSION, "per version"},
    {VOB_OCCURS_UNLIMITED, "unlimited"},
};
inline constexpr names_of_values occurs = {"vob_occurs_t", false, occurs_values};

inline constexpr value_name op_values[] = {
    {VOB_OP_NONE, "none"},
    {VOB_OP_CHECKOUT, "checkout"},
    {VOB_OP_CHECKIN, "checkin"},
    {VOB_OP_UNCHECKOUT, "uncheckout"},
    {VOB_OP_RESERVE, "reserve"},
    {VOB_OP_UNRESERVE, "unreserve"},
    {VOB_OP_MAKE_ELEMENT, "make element"},
    {VOB_OP_MAKE_BRANCH, "make branch"},
    {VOB_OP_MAKE_TYPE, "make type"},
    {VOB_OP_MAKE_LABEL, "make label"},
    {VOB_OP_MAKE_ATTRIBUTE, "make attribute"},
    {VOB_OP_MAKE_HYPERLINK, "make hyperlink"},
    {VOB_OP_MAKE_TRIGGER, "make trigger"},
    {VOB_OP_MAKE_SYMLINK, "make symlink"},
    {VOB_OP_REMOVE_NAME, "remove name"},
    {VOB_OP_REMOVE_ELEMENT, "remove element"},
    {VOB_OP_REMOVE_BRANCH, "remove branch"},
    {VOB_OP_REMOVE_VERSION, "remove version"},
    {VOB_OP_REMOVE_TYPE, "remove type"},
    {VOB_OP_REMOVE_LABEL, "remove label"},
    {VOB_OP_REMOVE_ATTRIBUTE, "remove attribute"},
    {VOB_OP_REMOVE_HYPERLINK, "remove hyperlink"},
    {VOB_OP_REMOVE_TRIGGER, "remove trigger"},
    {VOB_OP_RENAME_TYPE, "rename type"},
    {VOB_OP_CHANGE_TYPE, "change type"},
    {VOB_OP_CHANGE_EVENT, "change event"},
    {VOB_OP_CHANGE_MASTER, "change master"},
    {VOB_OP_LOCK, "lock"},
    {VOB_OP_UNLOCK, "unlock"},
    {VOB_OP_PROTECT, "protect"},
    {VOB_OP_MAKE_ACTIVITY, "make activity"},
    {VOB_OP_CHANGE_ACTIVITY, "change activity"},
    {VOB_OP_MAKE_STREAM, "make stream"},
    {VOB_OP_MAKE_BASELINE, "make baseline"},
    {VOB_OP_MAKE_PROJECT, "make project"},
    {VOB_OP_DELIVER, "deliver"},
    {VOB_OP_REBASE, "rebase"},
};
inline constexpr names_of_values op = {"vob_op_t", false, op_values};

inline constexpr value_name oplog_op_values[] = {
    {VOB_OPLOG_OP_NONE, "none"},
    {VOB_OPLOG_OP_CREATE_OBJECT, "create object"},
    {VOB_OPLOG_OP_REMOVE_OBJECT, "remove object"},
    {VOB_OPLOG_OP_RENAME_OBJECT, "rename object"},
    {VOB_OPLOG_OP_ADD_NAME, "add name"},
    {VOB_OPLOG_OP_REMOVE_NAME, "remove name"},
    {VOB_OPLOG_OP_CHECKIN, "checkin"},
    {VOB_OPLOG_OP_PROTECT, "protect"},
    {VOB_OPLOG_OP_LOCK, "lock"},
    {VOB_OPLOG_OP_UNLOCK, "unlock"},
    {VOB_OPLOG_OP_APPLY_LABEL, "apply label"},
    {VOB_OPLOG_OP_REMOVE_LABEL, "remove label"},
    {VOB_OPLOG_OP_APPLY_ATTRIBUTE, "apply attribute"},
    {VOB_OPLOG_OP_REMOVE_ATTRIBUTE, "remove attribute"},
    {VOB_OPLOG_OP_MAKE_HYPERLINK, "make hyperlink"},
    {VOB_OPLOG_OP_REMOVE_HYPERLINK, "remove hyperlink"},
    {VOB_OPLOG_OP_CHANGE_TYPE, "change type"},
    {VOB_OPLOG_OP_CHANGE_MASTER, "change master"},
    {VOB_OPLOG_OP_CHANGE_EVENT, "change event"},
    {VOB_OPLOG_OP_SET_POLICY, "set policy"},
    {VOB_OPLOG_OP_UPDATE_ACTIVITY, "update activity"},
    {VOB_OPLOG_OP_UPDATE_STREAM, "update stream"},
    {VOB_OPLOG_OP_UPDATE_CHECKPOINT, "update checkpoint"},
    {VOB_OPLOG_OP_PUT_CR, "put cr"},
};
inline constexpr names_of_values oplog_op = {"vob_oplog_op_t", false, oplog_op_values};

inline constexpr value_name oplog_order_values[] = {
    {VOB_OPLOG_ORDER_FORWARD, "forward"},
    {VOB_OPLOG_ORDER_BACKWARD, "backward"},
    {VOB_OPLOG_ORDER_BY_REPLICA, "by replica"},
    {VOB_OPLOG_ORDER_BY_TIME, "by time"},
};
inline constexpr names_of_values oplog_order = {"vob_oplog_order_t", false, oplog_order_values};

inline constexpr value_name oplog_subcr_kind_values[] = {
    {VOB_OPLOG_SUBCR_KIND_NONE, "none"},         {VOB_OPLOG_SUBCR_KIND_SUBTARGET, "subtarget"},
    {VOB_OPLOG_SUBCR_KIND_SHARED, "shared"},     {VOB_OPLOG_SUBCR_KIND_SIBLING, "sibling"},
    {VOB_OPLOG_SUBCR_KIND_EXTERNAL, "external"},
};
inline constexpr names_of_values oplog_subcr_kind = {"vob_oplog_subcr_kind_t", false, oplog_subcr_kind_values};

inline constexpr value_name poolkind_values[] = {
    {VOB_POOLKIND_NONE, "none"},
    {VOB_POOLKIND_SOURCE, "source"},
    {VOB_POOLKIND_CLEARTEXT, "cleartext"},
    {VOB_POOLKIND_DERIVED, "derived"},
};
inline constexpr names_of_values poolkind = {"vob_poolkind_t", false, poolkind_values};

inline constexpr value_name procdef_exec_type_values[] = {
    {VOB_PROCDEF_EXEC_TYPE_NONE, "none"},       {VOB_PROCDEF_EXEC_TYPE_PROGRAM, "program"},
    {VOB_PROCDEF_EXEC_TYPE_SCRIPT, "script"},   {VOB_PROCDEF_EXEC_TYPE_SUBROUTINE, "subroutine"},
    {VOB_PROCDEF_EXEC_TYPE_BUILTIN, "builtin"},
};
inline constexpr names_of_values procdef_exec_type = {"vob_procdef_exec_type_t", false, procdef_exec_type_values};

inline constexpr value_name procdef_item_sel_values[] = {
    {VOB_PROCDEF_ITEM_SEL_NONE, "none"},       {VOB_PROCDEF_ITEM_SEL_OPERAND, "operand"},
    {VOB_PROCDEF_ITEM_SEL_PARENT, "parent"},   {VOB_PROCDEF_ITEM_SEL_STREAM, "stream"},
    {VOB_PROCDEF_ITEM_SEL_PROJECT, "project"}, {VOB_PROCDEF_ITEM_SEL_ALL, "all"},
};
inline constexpr names_of_values procdef_item_sel = {"vob_procdef_item_sel_t", false, procdef_item_sel_values};

inline constexpr value_name procdef_op_values[] = {
    {VOB_PROCDEF_OP_NONE, "none"},
    {VOB_PROCDEF_OP_SET_ACTIVITY, "set activity"},
    {VOB_PROCDEF_OP_FINISH_ACTIVITY, "finish activity"},
    {VOB_PROCDEF_OP_DELIVER_START, "deliver start"},
    {VOB_PROCDEF_OP_DELIVER_COMPLETE, "deliver complete"},
    {VOB_PROCDEF_OP_DELIVER_CANCEL, "deliver cancel"},
    {VOB_PROCDEF_OP_REBASE_START, "rebase start"},
    {VOB_PROCDEF_OP_REBASE_COMPLETE, "rebase complete"},
    {VOB_PROCDEF_OP_REBASE_CANCEL, "rebase cancel"},
    {VOB_PROCDEF_OP_MAKE_BASELINE, "make baseline"},
    {VOB_PROCDEF_OP_MAKE_STREAM, "make stream"},
    {VOB_PROCDEF_OP_CHANGE_STREAM, "change stream"},
    {VOB_PROCDEF_OP_CHANGE_PROJECT, "change project"},
};
inline constexpr names_of_values procdef_op = {"vob_procdef_op_t", false, procdef_op_values};

inline constexpr value_name procdef_pvar_type_values[] = {
    {VOB_PROCDEF_PVAR_TYPE_NONE, "none"}, {VOB_PROCDEF_PVAR_TYPE_INTEGER, "integer"},
    {VOB_PROCDEF_PVAR_TYPE_TEXT, "text"}, {VOB_PROCDEF_PVAR_TYPE_BOOLEAN, "boolean"},
    {VOB_PROCDEF_PVAR_TYPE_LIST, "list"}, {VOB_PROCDEF_PVAR_TYPE_OBJECT, "object"},
};
inline constexpr names_of_values procdef_pvar_type = {"vob_procdef_pvar_type_t", false, procdef_pvar_type_values};

inline constexpr value_name query_kind_values[] = {
    {VOB_QUERY_KIND_NONE, "none"},
    {VOB_QUERY_KIND_BY_NAME, "by name"},
    {VOB_QUERY_KIND_BY_DBID, "by dbid"},
    {VOB_QUERY_KIND_BY_OID, "by oid"},
    {VOB_QUERY_KIND_BY_TYPE, "by type"},
    {VOB_QUERY_KIND_BY_KIND, "by kind"},
    {VOB_QUERY_KIND_EXPRESSION, "expression"},
};
inline constexpr names_of_values query_kind = {"vob_query_kind_t", false, query_kind_values};

inline constexpr value_name sched_priority_values[] = {
    {VOB_SCHED_PRIORITY_NONE, "none"},           {VOB_SCHED_PRIORITY_LOW, "low"},
    {VOB_SCHED_PRIORITY_NORMAL, "normal"},       {VOB_SCHED_PRIORITY_HIGH, "high"},
    {VOB_SCHED_PRIORITY_IMMEDIATE, "immediate"},
};
inline constexpr names_of_values sched_priority = {"vob_sched_priority_t", false, sched_priority_values};

inline constexpr value_name stg_path_status_values[] = {
    {VOB_STG_PATH_STATUS_UNKNOWN, "unknown"},     {VOB_STG_PATH_STATUS_OK, "ok"},
    {VOB_STG_PATH_STATUS_MISSING, "missing"},     {VOB_STG_PATH_STATUS_INACCESSIBLE, "inaccessible"},
    {VOB_STG_PATH_STATUS_READ_ONLY, "read only"}, {VOB_STG_PATH_STATUS_WRONG_OWNER, "wrong owner"},
};
inline constexpr names_of_values stg_path_status = {"vob_stg_path_status_t", false, stg_path_status_values};

inline constexpr value_name task_type_values[] = {
    {VOB_TASK_TYPE_NONE, "none"},         {VOB_TASK_TYPE_SCRUB, "scrub"},     {VOB_TASK_TYPE_SNAPSHOT, "snapshot"},
    {VOB_TASK_TYPE_REFORMAT, "reformat"}, {VOB_TASK_TYPE_CHECK, "check"},     {VOB_TASK_TYPE_SYNC, "sync"},
    {VOB_TASK_TYPE_SPACE, "space"},       {VOB_TASK_TYPE_PROTECT, "protect"},
};
inline constexpr names_of_values task_type = {"vob_task_type_t", false, task_type_values};

inline constexpr value_name timeline_kind_values[] = {
    {VOB_TIMELINE_KIND_NONE, "none"},
    {VOB_TIMELINE_KIND_INTEGRATION, "integration"},
    {VOB_TIMELINE_KIND_DEVELOPMENT, "development"},
    {VOB_TIMELINE_KIND_RELEASE, "release"},
    {VOB_TIMELINE_KIND_PRIVATE, "private"},
};
inline constexpr names_of_values timeline_kind = {"vob_timeline_kind_t", false, timeline_kind_values};

inline constexpr value_name trtype_action_kind_values[] = {
    {VOB_TRTYPE_ACTION_KIND_NONE, "none"},           {VOB_TRTYPE_ACTION_KIND_EXEC, "exec"},
    {VOB_TRTYPE_ACTION_KIND_EXEC_UNIX, "exec unix"}, {VOB_TRTYPE_ACTION_KIND_EXEC_WINDOWS, "exec windows"},
    {VOB_TRTYPE_ACTION_KIND_LABEL, "label"},         {VOB_TRTYPE_ACTION_KIND_ATTRIBUTE, "attribute"},
    {VOB_TRTYPE_ACTION_KIND_HYPERLINK, "hyperlink"},
};
inline constexpr names_of_values trtype_action_kind = {"vob_trtype_action_kind_t", false, trtype_action_kind_values};

inline constexpr value_name trtype_kind_values[] = {
    {VOB_TRTYPE_KIND_NONE, "none"},
    {VOB_TRTYPE_KIND_ELEMENT, "element"},
    {VOB_TRTYPE_KIND_ALL_ELEMENTS, "all elements"},
    {VOB_TRTYPE_KIND_TYPE, "type"},
    {VOB_TRTYPE_KIND_UCM, "ucm"},
};
inline constexpr names_of_values trtype_kind = {"vob_trtype_kind_t", false, trtype_kind_values};

inline constexpr value_name vtype_values[] = {
    {VOB_VTYPE_NONE, "none"}, {VOB_VTYPE_INTEGER, "integer"}, {VOB_VTYPE_REAL, "real"},
    {VOB_VTYPE_TIME, "time"}, {VOB_VTYPE_TEXT, "text"},       {VOB_VTYPE_OPAQUE, "opaque"},
};
inline constexpr names_of_values vtype = {"vob_vtype_t", false, vtype_values};

inline constexpr value_name wkobj_values[] = {
    {VOB_WKOBJ_NONE, "none"},
    {VOB_WKOBJ_VOB, "vob"},
    {VOB_WKOBJ_ROOT_DIR, "root dir"},
    {VOB_WKOBJ_LOST_FOUND, "lost found"},
    {VOB_WKOBJ_MAIN_BRANCH_TYPE, "main branch type"},
    {VOB_WKOBJ_LATEST_LABEL_TYPE, "latest label type"},
    {VOB_WKOBJ_DEFAULT_SOURCE_POOL, "default source pool"},
    {VOB_WKOBJ_DEFAULT_CLEARTEXT_POOL, "default cleartext pool"},
    {VOB_WKOBJ_DEFAULT_DERIVED_POOL, "default derived pool"},
    {VOB_WKOBJ_ORIGINAL_REPLICA, "original replica"},
    {VOB_WKOBJ_ROOT_FOLDER, "root folder"},
};
inline constexpr names_of_values wkobj = {"vob_wkobj_t", false, wkobj_values};

inline constexpr value_name activity_info_flag_values[] = {
    {VOB_ACTIVITY_INFO_FLAG_HEADLINE, "headline"}, {VOB_ACTIVITY_INFO_FLAG_OWNER, "owner"},
    {VOB_ACTIVITY_INFO_FLAG_STREAM, "stream"},     {VOB_ACTIVITY_INFO_FLAG_CSET, "cset"},
    {VOB_ACTIVITY_INFO_FLAG_COMMENT, "comment"},   {VOB_ACTIVITY_INFO_FLAG_LOCK, "lock"},
    {VOB_ACTIVITY_INFO_FLAG_EVENT, "event"},
};
inline constexpr names_of_values activity_info_flag = {"vob_activity_info_flag_t", true, activity_info_flag_values};

inline constexpr value_name object_flags_values[] = {
    {VOB_OBJECT_FLAGS_LOCKED, "locked"},           {VOB_OBJECT_FLAGS_OBSOLETE, "obsolete"},
    {VOB_OBJECT_FLAGS_CHECKED_OUT, "checked out"}, {VOB_OBJECT_FLAGS_MASTERED_HERE, "mastered here"},
    {VOB_OBJECT_FLAGS_HAS_EVENTS, "has events"},   {VOB_OBJECT_FLAGS_HAS_ACL, "has acl"},
    {VOB_OBJECT_FLAGS_DELETED, "deleted"},
};
inline constexpr names_of_values object_flags = {"vob_object_flags_t", true, object_flags_values};

inline constexpr value_name option_values[] = {
    {VOB_OPTION_CASE_FOLD, "case fold"},
    {VOB_OPTION_ATOMIC_CHECKIN, "atomic checkin"},
    {VOB_OPTION_NO_NETWORK_SCAN, "no network scan"},
    {VOB_OPTION_UCM, "ucm"},
    {VOB_OPTION_SERIALIZED_LABELS, "serialized labels"},
};
inline constexpr names_of_values option = {"vob_option_t", true, option_values};

inline constexpr value_name procdef_orig_act_flags_values[] = {
    {VOB_PROCDEF_ORIG_ACT_FLAGS_RUN, "run"},
    {VOB_PROCDEF_ORIG_ACT_FLAGS_BEFORE, "before"},
    {VOB_PROCDEF_ORIG_ACT_FLAGS_AFTER, "after"},
    {VOB_PROCDEF_ORIG_ACT_FLAGS_SUPPRESS, "suppress"},
    {VOB_PROCDEF_ORIG_ACT_FLAGS_ON_FAILURE, "on failure"},
};
inline constexpr names_of_values procdef_orig_act_flags = {"vob_procdef_orig_act_flags_t", true,
                                                           procdef_orig_act_flags_values};

} // namespace tbs::wire::names

#endif
