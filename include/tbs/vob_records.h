/*
 * vob_records.h - the records that repository servers and their clients exchange and store, and their XDR routines
 * (RFC 4506).
 *
 * The order of the members is that of the wire.
 *
 * - Enumerations are int32_t with named constants: a number that this library has no name for passes unchanged, but
 *   for the discriminant of a union.
 * - A text may be NULL, which travels as "". After decoding a member is NULL or stg_free() releases it.
 * - A list is a count n_X and a pointer X, opaque data a length X_size and a pointer X. Both travel with their number
 *   twice; unequal numbers are refused, and so is a negative count.
 * - A pointer to a single record is NULL when the record is absent.
 * - Times are seconds and microseconds of 32 bits each, or seconds in 64 bits, which travel in 32: a time that does
 *   not fit is refused.
 *
 * Each routine takes a stream, whose x_op says encode, decode or free, and a pointer to the value, and gives TRUE when
 * all went well. It is FALSE when the stream ends or refuses, when a value does not fit its form, for a NULL, and for
 * lack of memory (the message is printed). Decode into a zero-filled object; after a failure it is released by the same
 * routine in the free direction, which releases whatever the record holds, and in which a NULL is no failure where the
 * type owns nothing. Memory for lists, texts and data is taken as their bytes arrive. xdr_vob_X_s() and xdr_vob_X_t()
 * do the same.
 *
 * Routines may be called from any thread; a stream and a record belong to one thread at a time.
 */
#ifndef VOB_RECORDS_H
#define VOB_RECORDS_H

#include "tbs_cr.h"
#include "tbs_xdr.h"

TBS_BEGIN_C

/* ---- enumerations ------------------------------------------------------------------------------------------------ */

/** Whether a repository enforces access control lists on its objects. */
typedef int32_t vob_acl_enforced_t;
enum {
    VOB_ACL_ENFORCED_NO = 0, /**< not enforced */
    VOB_ACL_ENFORCED_YES = 1 /**< enforced */
};

/** What a client is to do with a cached object. */
typedef int32_t vob_cache_actn_t;
enum {
    VOB_CACHE_ACTN_NONE = 0,       /**< nothing */
    VOB_CACHE_ACTN_KEEP = 1,       /**< the cached copy is still good */
    VOB_CACHE_ACTN_REFRESH = 2,    /**< fetch the object again */
    VOB_CACHE_ACTN_INVALIDATE = 3, /**< forget the cached copy */
    VOB_CACHE_ACTN_PURGE = 4       /**< forget the cached copy and everything under it */
};

/** What to do with an existing comment. */
typedef int32_t vob_com_actn_t;
enum {
    VOB_COM_ACTN_KEEP = 0,    /**< leave it */
    VOB_COM_ACTN_REPLACE = 1, /**< put the new text in its place */
    VOB_COM_ACTN_APPEND = 2,  /**< add the new text after it */
    VOB_COM_ACTN_INSERT = 3,  /**< put the new text before it */
    VOB_COM_ACTN_DELETE = 4   /**< remove it */
};

/** Where the configuration of a view or stream comes from. */
typedef int32_t vob_config_kind_t;
enum {
    VOB_CONFIG_KIND_NONE = 0,     /**< none set */
    VOB_CONFIG_KIND_DEFAULT = 1,  /**< the product default */
    VOB_CONFIG_KIND_USER = 2,     /**< written by the user */
    VOB_CONFIG_KIND_STREAM = 3,   /**< made from a stream */
    VOB_CONFIG_KIND_BASELINE = 4, /**< made from baselines */
    VOB_CONFIG_KIND_SNAPSHOT = 5  /**< fixed set of versions */
};

/** Kind of a change-set entry. */
typedef int32_t vob_cset_ent_kind_t;
enum {
    VOB_CSET_ENT_KIND_NONE = 0,        /**< none */
    VOB_CSET_ENT_KIND_VERSION = 1,     /**< a file version */
    VOB_CSET_ENT_KIND_DIR_VERSION = 2, /**< a directory version */
    VOB_CSET_ENT_KIND_SYMLINK = 3,     /**< a symbolic link */
    VOB_CSET_ENT_KIND_ELEMENT = 4,     /**< a new element */
    VOB_CSET_ENT_KIND_FOREIGN = 5      /**< an object of another repository */
};

/** What happens when a name is made that another branch of the directory uses for a different element. */
typedef int32_t vob_evil_twin_enforcement_t;
enum {
    VOB_EVIL_TWIN_ENFORCEMENT_OFF = 0,   /**< allowed */
    VOB_EVIL_TWIN_ENFORCEMENT_WARN = 1,  /**< allowed with a warning */
    VOB_EVIL_TWIN_ENFORCEMENT_REJECT = 2 /**< refused */
};

/** Kind of an event. */
typedef int32_t vob_evkind_t;
enum {
    VOB_EVKIND_NONE = 0,            /**< none */
    VOB_EVKIND_CREATE = 1,          /**< object made */
    VOB_EVKIND_DELETE = 2,          /**< object removed */
    VOB_EVKIND_RENAME = 3,          /**< object renamed */
    VOB_EVKIND_MODIFY = 4,          /**< object changed */
    VOB_EVKIND_CHECKOUT = 5,        /**< version checked out */
    VOB_EVKIND_CHECKIN = 6,         /**< version checked in */
    VOB_EVKIND_UNCHECKOUT = 7,      /**< checkout cancelled */
    VOB_EVKIND_RESERVE = 8,         /**< checkout made reserved */
    VOB_EVKIND_UNRESERVE = 9,       /**< checkout made unreserved */
    VOB_EVKIND_LOCK = 10,           /**< object locked */
    VOB_EVKIND_UNLOCK = 11,         /**< object unlocked */
    VOB_EVKIND_OBSOLETE = 12,       /**< object made obsolete */
    VOB_EVKIND_LABEL = 13,          /**< label put on */
    VOB_EVKIND_UNLABEL = 14,        /**< label taken off */
    VOB_EVKIND_ATTRIBUTE = 15,      /**< attribute put on */
    VOB_EVKIND_UNATTRIBUTE = 16,    /**< attribute taken off */
    VOB_EVKIND_LINK = 17,           /**< hyperlink made */
    VOB_EVKIND_UNLINK = 18,         /**< hyperlink removed */
    VOB_EVKIND_TRIGGER_ATTACH = 19, /**< trigger attached */
    VOB_EVKIND_TRIGGER_DETACH = 20, /**< trigger detached */
    VOB_EVKIND_CHANGE_TYPE = 21,    /**< type changed */
    VOB_EVKIND_CHANGE_POOL = 22,    /**< pool changed */
    VOB_EVKIND_CHANGE_MASTER = 23,  /**< master replica changed */
    VOB_EVKIND_PROTECT = 24,        /**< owner, group or mode changed */
    VOB_EVKIND_CHANGE_ACL = 25,     /**< policy or role map changed */
    VOB_EVKIND_SYNC_EXPORT = 26,    /**< packet exported to a replica */
    VOB_EVKIND_SYNC_IMPORT = 27,    /**< packet imported from a replica */
    VOB_EVKIND_BASELINE = 28,       /**< baseline made */
    VOB_EVKIND_DELIVER = 29,        /**< activities delivered */
    VOB_EVKIND_REBASE = 30,         /**< stream rebased */
    VOB_EVKIND_COMMENT = 31         /**< comment changed */
};

/** Sense of a filter entry. */
typedef int32_t vob_filter_entry_kind_t;
enum {
    VOB_FILTER_ENTRY_KIND_NONE = 0,    /**< none */
    VOB_FILTER_ENTRY_KIND_INCLUDE = 1, /**< matching objects pass */
    VOB_FILTER_ENTRY_KIND_EXCLUDE = 2, /**< matching objects are left out */
    VOB_FILTER_ENTRY_KIND_BY_TYPE = 3, /**< objects of the named type pass */
    VOB_FILTER_ENTRY_KIND_BY_NAME = 4  /**< objects of the named pattern pass */
};

/** Reach of a type object. */
typedef int32_t vob_globalness_t;
enum {
    VOB_GLOBALNESS_ORDINARY = 0,  /**< known in its own repository only */
    VOB_GLOBALNESS_GLOBAL = 1,    /**< the definition that local copies follow */
    VOB_GLOBALNESS_LOCAL_COPY = 2 /**< a copy of a global definition */
};

/** Form in which the contents of a version are kept. */
typedef int32_t vob_image_kind_t;
enum {
    VOB_IMAGE_KIND_NONE = 0,             /**< no contents */
    VOB_IMAGE_KIND_WHOLE = 1,            /**< whole copy */
    VOB_IMAGE_KIND_DELTA = 2,            /**< difference from a predecessor */
    VOB_IMAGE_KIND_COMPRESSED = 3,       /**< whole copy, compressed */
    VOB_IMAGE_KIND_COMPRESSED_DELTA = 4, /**< difference, compressed */
    VOB_IMAGE_KIND_SHARED = 5            /**< contents of another version */
};

/** State of an object lock. */
typedef int32_t vob_lock_kind_t;
enum {
    VOB_LOCK_KIND_NONE = 0,    /**< not locked */
    VOB_LOCK_KIND_LOCKED = 1,  /**< locked */
    VOB_LOCK_KIND_OBSOLETE = 2 /**< locked and hidden from listings */
};

/** How the master replica of an object is found. */
typedef int32_t vob_master_kind_t;
enum {
    VOB_MASTER_KIND_NONE = 0,     /**< no master */
    VOB_MASTER_KIND_SELF = 1,     /**< the current replica */
    VOB_MASTER_KIND_EXPLICIT = 2, /**< a replica named for the object */
    VOB_MASTER_KIND_DEFAULT = 3   /**< the master of the containing object */
};

/** How versions of an element are merged. */
typedef int32_t vob_mergetype_t;
enum {
    VOB_MERGETYPE_NONE = 0, /**< not set */
    VOB_MERGETYPE_AUTO = 1, /**< merged automatically */
    VOB_MERGETYPE_USER = 2, /**< merged by the user */
    VOB_MERGETYPE_COPY = 3, /**< the contributor is copied */
    VOB_MERGETYPE_NEVER = 4 /**< never merged */
};

/** What a replica keeps of the identities and permissions of its siblings. */
typedef int32_t vob_ms_preserve_t;
enum {
    VOB_MS_PRESERVE_NONE = 0,        /**< neither */
    VOB_MS_PRESERVE_PERMISSIONS = 1, /**< permissions only */
    VOB_MS_PRESERVE_IDENTITIES = 2   /**< identities and permissions */
};

/** Kind of a repository object. */
enum {
    VOB_MTYPE_NONE = 0,            /**< none */
    VOB_MTYPE_VOB = 1,             /**< repository */
    VOB_MTYPE_REPLICA = 2,         /**< replica */
    VOB_MTYPE_ELEMENT = 3,         /**< element */
    VOB_MTYPE_BRANCH = 4,          /**< branch */
    VOB_MTYPE_VERSION = 5,         /**< version */
    VOB_MTYPE_SYMLINK = 6,         /**< symbolic link */
    VOB_MTYPE_DERIVED_OBJECT = 7,  /**< derived object */
    VOB_MTYPE_HYPERLINK = 8,       /**< hyperlink */
    VOB_MTYPE_ELEMENT_TYPE = 9,    /**< element type */
    VOB_MTYPE_BRANCH_TYPE = 10,    /**< branch type */
    VOB_MTYPE_LABEL_TYPE = 11,     /**< label type */
    VOB_MTYPE_ATTRIBUTE_TYPE = 12, /**< attribute type */
    VOB_MTYPE_HYPERLINK_TYPE = 13, /**< hyperlink type */
    VOB_MTYPE_TRIGGER_TYPE = 14,   /**< trigger type */
    VOB_MTYPE_REPLICA_TYPE = 15,   /**< replica type */
    VOB_MTYPE_ACTIVITY_TYPE = 16,  /**< activity type */
    VOB_MTYPE_POOL = 17,           /**< storage pool */
    VOB_MTYPE_DOMAIN = 18,         /**< domain */
    VOB_MTYPE_USER = 19,           /**< user */
    VOB_MTYPE_ACTIVITY = 20,       /**< activity */
    VOB_MTYPE_STREAM = 21,         /**< stream */
    VOB_MTYPE_BASELINE = 22,       /**< baseline */
    VOB_MTYPE_COMPONENT = 23,      /**< component */
    VOB_MTYPE_PROJECT = 24,        /**< project */
    VOB_MTYPE_FOLDER = 25,         /**< folder */
    VOB_MTYPE_TIMELINE = 26,       /**< timeline */
    VOB_MTYPE_CHECKPOINT = 27,     /**< checkpoint */
    VOB_MTYPE_TASK = 28,           /**< task */
    VOB_MTYPE_POLICY = 29,         /**< access policy */
    VOB_MTYPE_ROLEMAP = 30         /**< role map */
};

/** Class of object kinds. */
typedef int32_t vob_mtype_class_t;
enum {
    VOB_MTYPE_CLASS_NONE = 0,        /**< none */
    VOB_MTYPE_CLASS_VOB = 1,         /**< repositories and replicas */
    VOB_MTYPE_CLASS_FILE_SYSTEM = 2, /**< elements, branches, versions, links, derived objects */
    VOB_MTYPE_CLASS_TYPE = 3,        /**< type objects */
    VOB_MTYPE_CLASS_STORAGE = 4,     /**< pools */
    VOB_MTYPE_CLASS_META = 5,        /**< hyperlinks and other annotations */
    VOB_MTYPE_CLASS_UCM = 6,         /**< streams, activities, baselines, projects, folders, timelines */
    VOB_MTYPE_CLASS_ADMIN = 7        /**< users, domains, tasks, policies and role maps */
};

/** How often an instance of a type may occur. */
typedef int32_t vob_occurs_t;
enum {
    VOB_OCCURS_PER_ELEMENT = 1, /**< once in an element */
    VOB_OCCURS_PER_BRANCH = 2,  /**< once on a branch */
    VOB_OCCURS_PER_VERSION = 3, /**< once on a version */
    VOB_OCCURS_UNLIMITED = 4    /**< any number */
};

/** Operation on the repository, as triggers and locks see it. */
typedef int32_t vob_op_t;
enum {
    VOB_OP_NONE = 0,              /**< none */
    VOB_OP_CHECKOUT = 1,          /**< check out */
    VOB_OP_CHECKIN = 2,           /**< check in */
    VOB_OP_UNCHECKOUT = 3,        /**< cancel a checkout */
    VOB_OP_RESERVE = 4,           /**< reserve a checkout */
    VOB_OP_UNRESERVE = 5,         /**< unreserve a checkout */
    VOB_OP_MAKE_ELEMENT = 6,      /**< make an element */
    VOB_OP_MAKE_BRANCH = 7,       /**< make a branch */
    VOB_OP_MAKE_TYPE = 8,         /**< make a type */
    VOB_OP_MAKE_LABEL = 9,        /**< put a label on */
    VOB_OP_MAKE_ATTRIBUTE = 10,   /**< put an attribute on */
    VOB_OP_MAKE_HYPERLINK = 11,   /**< make a hyperlink */
    VOB_OP_MAKE_TRIGGER = 12,     /**< attach a trigger */
    VOB_OP_MAKE_SYMLINK = 13,     /**< make a symbolic link */
    VOB_OP_REMOVE_NAME = 14,      /**< remove a name */
    VOB_OP_REMOVE_ELEMENT = 15,   /**< remove an element */
    VOB_OP_REMOVE_BRANCH = 16,    /**< remove a branch */
    VOB_OP_REMOVE_VERSION = 17,   /**< remove a version */
    VOB_OP_REMOVE_TYPE = 18,      /**< remove a type */
    VOB_OP_REMOVE_LABEL = 19,     /**< take a label off */
    VOB_OP_REMOVE_ATTRIBUTE = 20, /**< take an attribute off */
    VOB_OP_REMOVE_HYPERLINK = 21, /**< remove a hyperlink */
    VOB_OP_REMOVE_TRIGGER = 22,   /**< detach a trigger */
    VOB_OP_RENAME_TYPE = 23,      /**< rename a type */
    VOB_OP_CHANGE_TYPE = 24,      /**< change the type of an object */
    VOB_OP_CHANGE_EVENT = 25,     /**< change an event record */
    VOB_OP_CHANGE_MASTER = 26,    /**< change the master replica */
    VOB_OP_LOCK = 27,             /**< lock */
    VOB_OP_UNLOCK = 28,           /**< unlock */
    VOB_OP_PROTECT = 29,          /**< change owner, group or mode */
    VOB_OP_MAKE_ACTIVITY = 30,    /**< make an activity */
    VOB_OP_CHANGE_ACTIVITY = 31,  /**< change an activity */
    VOB_OP_MAKE_STREAM = 32,      /**< make a stream */
    VOB_OP_MAKE_BASELINE = 33,    /**< make a baseline */
    VOB_OP_MAKE_PROJECT = 34,     /**< make a project */
    VOB_OP_DELIVER = 35,          /**< deliver */
    VOB_OP_REBASE = 36            /**< rebase */
};

/** Operation in the operation log. */
typedef int32_t vob_oplog_op_t;
enum {
    VOB_OPLOG_OP_NONE = 0,               /**< none */
    VOB_OPLOG_OP_CREATE_OBJECT = 1,      /**< make an object */
    VOB_OPLOG_OP_REMOVE_OBJECT = 2,      /**< remove an object */
    VOB_OPLOG_OP_RENAME_OBJECT = 3,      /**< rename an object */
    VOB_OPLOG_OP_ADD_NAME = 4,           /**< add a name to a directory */
    VOB_OPLOG_OP_REMOVE_NAME = 5,        /**< remove a name from a directory */
    VOB_OPLOG_OP_CHECKIN = 6,            /**< check a version in */
    VOB_OPLOG_OP_PROTECT = 7,            /**< change owner, group or mode */
    VOB_OPLOG_OP_LOCK = 8,               /**< lock */
    VOB_OPLOG_OP_UNLOCK = 9,             /**< unlock */
    VOB_OPLOG_OP_APPLY_LABEL = 10,       /**< put a label on */
    VOB_OPLOG_OP_REMOVE_LABEL = 11,      /**< take a label off */
    VOB_OPLOG_OP_APPLY_ATTRIBUTE = 12,   /**< put an attribute on */
    VOB_OPLOG_OP_REMOVE_ATTRIBUTE = 13,  /**< take an attribute off */
    VOB_OPLOG_OP_MAKE_HYPERLINK = 14,    /**< make a hyperlink */
    VOB_OPLOG_OP_REMOVE_HYPERLINK = 15,  /**< remove a hyperlink */
    VOB_OPLOG_OP_CHANGE_TYPE = 16,       /**< change a type */
    VOB_OPLOG_OP_CHANGE_MASTER = 17,     /**< change the master replica */
    VOB_OPLOG_OP_CHANGE_EVENT = 18,      /**< change an event record */
    VOB_OPLOG_OP_SET_POLICY = 19,        /**< set the access policy */
    VOB_OPLOG_OP_UPDATE_ACTIVITY = 20,   /**< change an activity */
    VOB_OPLOG_OP_UPDATE_STREAM = 21,     /**< change a stream */
    VOB_OPLOG_OP_UPDATE_CHECKPOINT = 22, /**< change a checkpoint */
    VOB_OPLOG_OP_PUT_CR = 23             /**< store a configuration record */
};

/** Order in which log entries are handed out. */
typedef int32_t vob_oplog_order_t;
enum {
    VOB_OPLOG_ORDER_FORWARD = 0,    /**< oldest first */
    VOB_OPLOG_ORDER_BACKWARD = 1,   /**< newest first */
    VOB_OPLOG_ORDER_BY_REPLICA = 2, /**< by replica, then oldest first */
    VOB_OPLOG_ORDER_BY_TIME = 3     /**< by event time */
};

/** Kind of a sub-record of a configuration record. */
typedef int32_t vob_oplog_subcr_kind_t;
enum {
    VOB_OPLOG_SUBCR_KIND_NONE = 0,      /**< none */
    VOB_OPLOG_SUBCR_KIND_SUBTARGET = 1, /**< a part built on its own */
    VOB_OPLOG_SUBCR_KIND_SHARED = 2,    /**< a shared derived object */
    VOB_OPLOG_SUBCR_KIND_SIBLING = 3,   /**< made by the same build step */
    VOB_OPLOG_SUBCR_KIND_EXTERNAL = 4   /**< of another repository */
};

/** Kind of a storage pool. */
typedef int32_t vob_poolkind_t;
enum {
    VOB_POOLKIND_NONE = 0,      /**< none */
    VOB_POOLKIND_SOURCE = 1,    /**< version contents */
    VOB_POOLKIND_CLEARTEXT = 2, /**< expanded version contents */
    VOB_POOLKIND_DERIVED = 3    /**< derived objects */
};

/** How a process action is run. */
typedef int32_t vob_procdef_exec_type_t;
enum {
    VOB_PROCDEF_EXEC_TYPE_NONE = 0,       /**< not run */
    VOB_PROCDEF_EXEC_TYPE_PROGRAM = 1,    /**< a program of its own */
    VOB_PROCDEF_EXEC_TYPE_SCRIPT = 2,     /**< a script of the product */
    VOB_PROCDEF_EXEC_TYPE_SUBROUTINE = 3, /**< a routine of a library */
    VOB_PROCDEF_EXEC_TYPE_BUILTIN = 4     /**< built in */
};

/** Which items a process rule is applied to. */
typedef int32_t vob_procdef_item_sel_t;
enum {
    VOB_PROCDEF_ITEM_SEL_NONE = 0,    /**< none */
    VOB_PROCDEF_ITEM_SEL_OPERAND = 1, /**< the operand of the operation */
    VOB_PROCDEF_ITEM_SEL_PARENT = 2,  /**< its containing object */
    VOB_PROCDEF_ITEM_SEL_STREAM = 3,  /**< its stream */
    VOB_PROCDEF_ITEM_SEL_PROJECT = 4, /**< its project */
    VOB_PROCDEF_ITEM_SEL_ALL = 5      /**< every object of the activity */
};

/** Operation that a process rule watches. */
typedef int32_t vob_procdef_op_t;
enum {
    VOB_PROCDEF_OP_NONE = 0,             /**< none */
    VOB_PROCDEF_OP_SET_ACTIVITY = 1,     /**< an activity is set in a view */
    VOB_PROCDEF_OP_FINISH_ACTIVITY = 2,  /**< an activity is finished */
    VOB_PROCDEF_OP_DELIVER_START = 3,    /**< a deliver starts */
    VOB_PROCDEF_OP_DELIVER_COMPLETE = 4, /**< a deliver completes */
    VOB_PROCDEF_OP_DELIVER_CANCEL = 5,   /**< a deliver is cancelled */
    VOB_PROCDEF_OP_REBASE_START = 6,     /**< a rebase starts */
    VOB_PROCDEF_OP_REBASE_COMPLETE = 7,  /**< a rebase completes */
    VOB_PROCDEF_OP_REBASE_CANCEL = 8,    /**< a rebase is cancelled */
    VOB_PROCDEF_OP_MAKE_BASELINE = 9,    /**< a baseline is made */
    VOB_PROCDEF_OP_MAKE_STREAM = 10,     /**< a stream is made */
    VOB_PROCDEF_OP_CHANGE_STREAM = 11,   /**< a stream is changed */
    VOB_PROCDEF_OP_CHANGE_PROJECT = 12   /**< a project is changed */
};

/** Type of a process variable. */
typedef int32_t vob_procdef_pvar_type_t;
enum {
    VOB_PROCDEF_PVAR_TYPE_NONE = 0,    /**< none */
    VOB_PROCDEF_PVAR_TYPE_INTEGER = 1, /**< integer */
    VOB_PROCDEF_PVAR_TYPE_TEXT = 2,    /**< text */
    VOB_PROCDEF_PVAR_TYPE_BOOLEAN = 3, /**< truth value */
    VOB_PROCDEF_PVAR_TYPE_LIST = 4,    /**< list of texts */
    VOB_PROCDEF_PVAR_TYPE_OBJECT = 5   /**< repository object */
};

/** Kind of a query. */
typedef int32_t vob_query_kind_t;
enum {
    VOB_QUERY_KIND_NONE = 0,      /**< none */
    VOB_QUERY_KIND_BY_NAME = 1,   /**< by name */
    VOB_QUERY_KIND_BY_DBID = 2,   /**< by database id */
    VOB_QUERY_KIND_BY_OID = 3,    /**< by object identifier */
    VOB_QUERY_KIND_BY_TYPE = 4,   /**< all objects of a type */
    VOB_QUERY_KIND_BY_KIND = 5,   /**< all objects of a kind */
    VOB_QUERY_KIND_EXPRESSION = 6 /**< by query expression */
};

/** Priority of a scheduled task. */
typedef int32_t vob_sched_priority_t;
enum {
    VOB_SCHED_PRIORITY_NONE = 0,     /**< not scheduled */
    VOB_SCHED_PRIORITY_LOW = 1,      /**< low */
    VOB_SCHED_PRIORITY_NORMAL = 2,   /**< normal */
    VOB_SCHED_PRIORITY_HIGH = 3,     /**< high */
    VOB_SCHED_PRIORITY_IMMEDIATE = 4 /**< at once */
};

/** State of a storage path. */
typedef int32_t vob_stg_path_status_t;
enum {
    VOB_STG_PATH_STATUS_UNKNOWN = 0,      /**< not looked at */
    VOB_STG_PATH_STATUS_OK = 1,           /**< there and usable */
    VOB_STG_PATH_STATUS_MISSING = 2,      /**< not there */
    VOB_STG_PATH_STATUS_INACCESSIBLE = 3, /**< there but not reachable */
    VOB_STG_PATH_STATUS_READ_ONLY = 4,    /**< not writable */
    VOB_STG_PATH_STATUS_WRONG_OWNER = 5   /**< owned by somebody else */
};

/** Kind of a background task. */
typedef int32_t vob_task_type_t;
enum {
    VOB_TASK_TYPE_NONE = 0,     /**< none */
    VOB_TASK_TYPE_SCRUB = 1,    /**< pool clean-up */
    VOB_TASK_TYPE_SNAPSHOT = 2, /**< repository copy */
    VOB_TASK_TYPE_REFORMAT = 3, /**< database conversion */
    VOB_TASK_TYPE_CHECK = 4,    /**< consistency check */
    VOB_TASK_TYPE_SYNC = 5,     /**< replica synchronisation */
    VOB_TASK_TYPE_SPACE = 6,    /**< space accounting */
    VOB_TASK_TYPE_PROTECT = 7   /**< propagation of permissions */
};

/** Kind of a timeline. */
typedef int32_t vob_timeline_kind_t;
enum {
    VOB_TIMELINE_KIND_NONE = 0,        /**< none */
    VOB_TIMELINE_KIND_INTEGRATION = 1, /**< of an integration stream */
    VOB_TIMELINE_KIND_DEVELOPMENT = 2, /**< of a development stream */
    VOB_TIMELINE_KIND_RELEASE = 3,     /**< of a release */
    VOB_TIMELINE_KIND_PRIVATE = 4      /**< of one user */
};

/** Kind of a trigger action. */
typedef int32_t vob_trtype_action_kind_t;
enum {
    VOB_TRTYPE_ACTION_KIND_NONE = 0,         /**< none */
    VOB_TRTYPE_ACTION_KIND_EXEC = 1,         /**< run a command on every platform */
    VOB_TRTYPE_ACTION_KIND_EXEC_UNIX = 2,    /**< run a command on UNIX hosts */
    VOB_TRTYPE_ACTION_KIND_EXEC_WINDOWS = 3, /**< run a command on Windows hosts */
    VOB_TRTYPE_ACTION_KIND_LABEL = 4,        /**< put a label on */
    VOB_TRTYPE_ACTION_KIND_ATTRIBUTE = 5,    /**< put an attribute on */
    VOB_TRTYPE_ACTION_KIND_HYPERLINK = 6     /**< make a hyperlink */
};

/** Kind of a trigger type. */
typedef int32_t vob_trtype_kind_t;
enum {
    VOB_TRTYPE_KIND_NONE = 0,         /**< none */
    VOB_TRTYPE_KIND_ELEMENT = 1,      /**< attached to single elements */
    VOB_TRTYPE_KIND_ALL_ELEMENTS = 2, /**< fires for all elements */
    VOB_TRTYPE_KIND_TYPE = 3,         /**< fires for type objects */
    VOB_TRTYPE_KIND_UCM = 4           /**< fires for streams, activities, baselines and projects */
};

/** Type of a value; the numbers are the discriminants of `vob_value_t`. */
typedef int32_t vob_vtype_t;
enum {
    VOB_VTYPE_NONE = 0,    /**< none */
    VOB_VTYPE_INTEGER = 1, /**< integer */
    VOB_VTYPE_REAL = 2,    /**< real */
    VOB_VTYPE_TIME = 3,    /**< time */
    VOB_VTYPE_TEXT = 4,    /**< text */
    VOB_VTYPE_OPAQUE = 5   /**< opaque bytes */
};

/** Object that every repository has. */
typedef int32_t vob_wkobj_t;
enum {
    VOB_WKOBJ_NONE = 0,                   /**< none */
    VOB_WKOBJ_VOB = 1,                    /**< the repository object */
    VOB_WKOBJ_ROOT_DIR = 2,               /**< root directory element */
    VOB_WKOBJ_LOST_FOUND = 3,             /**< directory of unreferenced elements */
    VOB_WKOBJ_MAIN_BRANCH_TYPE = 4,       /**< first branch type */
    VOB_WKOBJ_LATEST_LABEL_TYPE = 5,      /**< label type of the newest version */
    VOB_WKOBJ_DEFAULT_SOURCE_POOL = 6,    /**< default source pool */
    VOB_WKOBJ_DEFAULT_CLEARTEXT_POOL = 7, /**< default cleartext pool */
    VOB_WKOBJ_DEFAULT_DERIVED_POOL = 8,   /**< default derived-object pool */
    VOB_WKOBJ_ORIGINAL_REPLICA = 9,       /**< first replica */
    VOB_WKOBJ_ROOT_FOLDER = 10            /**< root project folder */
};

/* ---- scalars ----------------------------------------------------------------------------------------------------- */

/** Flag word: which members of an activity are asked for, given or changed. */
typedef uint32_t vob_activity_info_flag_t;
enum {
    VOB_ACTIVITY_INFO_FLAG_HEADLINE = 0x1, /**< headline */
    VOB_ACTIVITY_INFO_FLAG_OWNER = 0x2,    /**< owner */
    VOB_ACTIVITY_INFO_FLAG_STREAM = 0x4,   /**< stream */
    VOB_ACTIVITY_INFO_FLAG_CSET = 0x8,     /**< change set */
    VOB_ACTIVITY_INFO_FLAG_COMMENT = 0x10, /**< comment */
    VOB_ACTIVITY_INFO_FLAG_LOCK = 0x20,    /**< lock state */
    VOB_ACTIVITY_INFO_FLAG_EVENT = 0x40    /**< creation event */
};

/** Feature level of a replica or repository family. */
typedef uint32_t vob_feature_level_t;

/** Position in a name-space directory. */
typedef uint32_t vob_nsdir_offset_t;

/** Flag word of an object. */
typedef uint32_t vob_object_flags_t;
enum {
    VOB_OBJECT_FLAGS_LOCKED = 0x1,        /**< locked */
    VOB_OBJECT_FLAGS_OBSOLETE = 0x2,      /**< obsolete */
    VOB_OBJECT_FLAGS_CHECKED_OUT = 0x4,   /**< checked out */
    VOB_OBJECT_FLAGS_MASTERED_HERE = 0x8, /**< mastered by this replica */
    VOB_OBJECT_FLAGS_HAS_EVENTS = 0x10,   /**< has event records */
    VOB_OBJECT_FLAGS_HAS_ACL = 0x20,      /**< governed by a policy */
    VOB_OBJECT_FLAGS_DELETED = 0x40       /**< removed, kept for the log */
};

/** Number of an entry in the operation log of one replica; 1 is the first. */
typedef uint32_t vob_oplog_id_t;

/** Option word of a repository. */
typedef uint32_t vob_option_t;
enum {
    VOB_OPTION_CASE_FOLD = 0x1,         /**< names compare without case */
    VOB_OPTION_ATOMIC_CHECKIN = 0x2,    /**< check-in of several versions is one operation */
    VOB_OPTION_NO_NETWORK_SCAN = 0x4,   /**< no scan of remote storage */
    VOB_OPTION_UCM = 0x8,               /**< holds projects */
    VOB_OPTION_SERIALIZED_LABELS = 0x10 /**< labels are put on one at a time */
};

/** What became of the original action of a process rule. */
typedef uint32_t vob_procdef_orig_act_flags_t;
enum {
    VOB_PROCDEF_ORIG_ACT_FLAGS_RUN = 0x1,        /**< run it */
    VOB_PROCDEF_ORIG_ACT_FLAGS_BEFORE = 0x2,     /**< run it before the rule */
    VOB_PROCDEF_ORIG_ACT_FLAGS_AFTER = 0x4,      /**< run it after the rule */
    VOB_PROCDEF_ORIG_ACT_FLAGS_SUPPRESS = 0x8,   /**< do not run it */
    VOB_PROCDEF_ORIG_ACT_FLAGS_ON_FAILURE = 0x10 /**< run it when the rule fails */
};

/** Number of a version on its branch; 0 is the branch point. */
typedef uint32_t vob_ver_num_t;

/* ---- the value union --------------------------------------------------------------------------------------------- */

/** Value of an attribute, of one of five types. */
typedef struct vob_value_s {
    vob_vtype_t vtype; /**< says which member below holds the value; any other than the five is refused */
    union {
        int32_t integer;    /**< #VOB_VTYPE_INTEGER */
        double real;        /**< #VOB_VTYPE_REAL: IEEE 754 binary64 */
        tbs_timeval_t time; /**< #VOB_VTYPE_TIME */
        char *text;         /**< #VOB_VTYPE_TEXT; owned */
        tbs_byte_t *bytes;  /**< #VOB_VTYPE_OPAQUE; owned */
    };
    uint64_t size; /**< #VOB_VTYPE_OPAQUE: number of bytes, below 4 GiB; unused by the others */
} vob_value_t;

/* ---- records ----------------------------------------------------------------------------------------------------- */

/** Request for activities. */
typedef struct vob_act_fetch_s {
    vob_activity_info_flag_t flags; /**< members wanted */
    tbs_dbid_t stream;              /**< stream, or 0 for all */
    char *view;                     /**< view tag, or empty */
    char *owner;                    /**< owner, or empty */
    uint32_t max_entries;           /**< most activities to return, 0 for all */
    int32_t n_activities;
    tbs_dbid_t *activities; /**< single activities wanted */
} vob_act_fetch_t;

/** Change of an activity. */
typedef struct vob_act_update_s {
    vob_activity_info_flag_t flags; /**< members changed */
    tbs_dbid_t activity;            /**< activity */
    char *headline;                 /**< new headline */
    char *owner;                    /**< new owner */
    vob_com_actn_t comment_action;  /**< what to do with the comment */
    char *comment;                  /**< comment text */
    int32_t n_add;
    tbs_oid_t *add; /**< versions to add to the change set */
    int32_t n_remove;
    tbs_oid_t *remove; /**< versions to take out of it */
} vob_act_update_t;

/** Activity. */
typedef struct vob_activity_info_s {
    char *name;                     /**< name */
    char *headline;                 /**< headline */
    tbs_dbid_t activity;            /**< activity */
    tbs_oid_t id;                   /**< object identifier */
    tbs_dbid_t type;                /**< activity type */
    tbs_dbid_t stream;              /**< stream */
    char *owner;                    /**< owner */
    vob_activity_info_flag_t flags; /**< members that are valid */
    tbs_timeval_t created;          /**< creation time */
    vob_lock_kind_t lock;           /**< lock state */
    uint32_t cset_size;             /**< number of change-set entries */
} vob_activity_info_t;

/** Rule for generated names. */
typedef struct vob_namegen_rule_s {
    char *prefix;     /**< text before the number */
    uint32_t counter; /**< next number */
    uint32_t width;   /**< least number of digits */
    char *suffix;     /**< text after the number */
} vob_namegen_rule_t;

/** Activity type. */
typedef struct vob_actype_info_s {
    char *name;                      /**< name */
    tbs_dbid_t type;                 /**< type object */
    vob_object_flags_t flags;        /**< object flags */
    vob_globalness_t globalness;     /**< reach */
    vob_namegen_rule_t naming;       /**< rule for names of new activities */
    tbs_boolean_t headline_required; /**< an empty headline is refused */
    int32_t n_states;
    char **states; /**< names of the states an activity passes through */
} vob_actype_info_t;

/** Value rules of an attribute type. */
typedef struct vob_attype_vinfo_s {
    vob_vtype_t vtype;          /**< type of the values */
    vob_occurs_t occurs;        /**< occurrences */
    vob_value_t *low;           /**< lower bound */
    vob_value_t *high;          /**< upper bound */
    tbs_boolean_t low_open;     /**< the lower bound itself is not allowed */
    tbs_boolean_t high_open;    /**< the upper bound itself is not allowed */
    vob_value_t *default_value; /**< default */
    int32_t n_values;
    vob_value_t *values; /**< the allowed values, when they are listed */
} vob_attype_vinfo_t;

/** Baseline. */
typedef struct vob_baseline_s {
    tbs_dbid_t baseline;       /**< baseline */
    tbs_oid_t id;              /**< object identifier */
    char *name;                /**< name */
    tbs_dbid_t component;      /**< component */
    tbs_dbid_t stream;         /**< stream */
    tbs_timeval_t created;     /**< creation time */
    char *level;               /**< promotion level */
    tbs_boolean_t labelled;    /**< every version carries the label */
    tbs_boolean_t incremental; /**< recorded as a difference */
    int32_t n_depends_on;
    tbs_dbid_t *depends_on; /**< baselines it is made of */
} vob_baseline_t;

/** Entry of a change set. */
typedef struct vob_cset_ent_s {
    vob_cset_ent_kind_t kind; /**< kind */
    tbs_oid_t vob;            /**< repository that holds the object */
    tbs_oid_t object;         /**< object */
} vob_cset_ent_t;

/** Change set of an activity. */
typedef struct vob_ucm_activity_cset_s {
    tbs_dbid_t activity; /**< activity */
    int32_t n_entries;
    vob_cset_ent_t *entries; /**< entries */
} vob_ucm_activity_cset_t;

/** Change sets of one checkpoint. */
typedef struct vob_checkpoint_cset_list_s {
    tbs_dbid_t checkpoint; /**< checkpoint */
    int32_t n_csets;
    vob_ucm_activity_cset_t *csets; /**< one per activity */
} vob_checkpoint_cset_list_t;

/** Event. */
typedef struct vob_event_info_s {
    stg_area_rpc_ptr_t area; /**< storage-area link */
    vob_evkind_t kind;       /**< event kind */
    tbs_timeval_t time;      /**< event time */
    char *comment;           /**< comment */
    char *user;              /**< login name */
    char *group;             /**< group name */
    char *host;              /**< host name */
    char *name;              /**< name of the object */
    tbs_dbid_t object;       /**< object */
    vob_op_t op;             /**< operation that made the event */
} vob_event_info_t;

/** Checkpoint of a timeline. */
typedef struct vob_checkpoint_info_s {
    char *name;              /**< name */
    tbs_dbid_t checkpoint;   /**< checkpoint */
    tbs_oid_t id;            /**< object identifier */
    tbs_dbid_t timeline;     /**< timeline */
    tbs_dbid_t predecessor;  /**< checkpoint before it, or 0 */
    uint32_t sequence;       /**< position on the timeline */
    vob_gen_num_t gen;       /**< generation */
    vob_event_info_t *event; /**< creation event */
} vob_checkpoint_info_t;

/** Change of a checkpoint. */
typedef struct vob_chkpnt_update_s {
    tbs_dbid_t checkpoint;         /**< checkpoint */
    vob_gen_num_t gen;             /**< generation the change is based on */
    char *name;                    /**< new name, or empty */
    vob_com_actn_t comment_action; /**< what to do with the comment */
    char *comment;                 /**< comment text */
    int32_t n_add;
    tbs_dbid_t *add; /**< activities to add */
    int32_t n_remove;
    tbs_dbid_t *remove; /**< activities to take out */
} vob_chkpnt_update_t;

/** Checkout. */
typedef struct vob_ckout_info_s {
    tbs_dbid_t version;     /**< checked-out version */
    tbs_dbid_t predecessor; /**< version it was made from */
    tbs_dbid_t branch;      /**< branch */
    tbs_oid_t element;      /**< element */
    tbs_oid_t view;         /**< view */
    char *view_tag;         /**< view tag */
    char *host;             /**< host of the view */
    char *path;             /**< pathname in the view */
    char *user;             /**< who checked out */
    tbs_timeval_t time;     /**< when */
    tbs_boolean_t reserved; /**< reserved */
    tbs_boolean_t mastered; /**< the branch is mastered here */
    tbs_dbid_t activity;    /**< activity, or 0 */
} vob_ckout_info_t;

/** Cleartext of a version. */
typedef struct vob_cltxt_info_s {
    tbs_oid_t version;         /**< version */
    tbs_dbid_t pool;           /**< pool */
    char *path;                /**< container under the pool */
    vob_image_kind_t image;    /**< form of the stored contents */
    tbs_text_mode_t text_mode; /**< text mode of the element */
    int64_t size;              /**< size in bytes */
    int64_t mtime;             /**< modification time */
    uint32_t checksum;         /**< checksum of the contents */
} vob_cltxt_info_t;

/** Container of a derived object. */
typedef struct vob_do_container_info_s {
    tbs_oid_t object;       /**< derived object */
    tbs_dbid_t pool;        /**< pool, or 0 while in the view */
    char *path;             /**< container pathname */
    int64_t size;           /**< size in bytes */
    tbs_fmode_t mode;       /**< permissions */
    uint32_t refs;          /**< number of references */
    int64_t created;        /**< creation time */
    tbs_boolean_t promoted; /**< moved from the view to the pool */
} vob_do_container_info_t;

/** Domain known to the repository. */
typedef struct vob_domain_info_s {
    char *name;            /**< name */
    tbs_dbid_t domain;     /**< domain object */
    char *identity;        /**< text form of its identifier */
    tbs_boolean_t trusted; /**< its users are accepted */
} vob_domain_info_t;

/** Effective access control list of an object. */
typedef struct vob_eacl_info_s {
    tbs_dbid_t object;           /**< object */
    tbs_dbid_t policy;           /**< policy */
    tbs_dbid_t rolemap;          /**< role map */
    vob_gen_num_t gen;           /**< generation of the list */
    vob_acl_enforced_t enforced; /**< whether it is enforced */
    uint64_t acl_size;
    char *acl; /**< the list in its byte encoding */
} vob_eacl_info_t;

/** One column of an epoch table row. */
typedef struct vob_epoch_row_entry_s {
    tbs_oid_t replica;       /**< replica that made the operations */
    tbs_dbid_t replica_dbid; /**< its replica object */
    vob_oplog_id_t epoch;    /**< last operation known of it */
} vob_epoch_row_entry_t;

/** Event, old form. */
typedef struct vob_event_legacy_info_s {
    stg_area_rpc_ptr_t area; /**< storage-area link */
    vob_evkind_t kind;       /**< event kind */
    int64_t time;            /**< event time */
    char *comment;           /**< comment */
    char *user;              /**< login name */
    char *group;             /**< group name */
    char *host;              /**< host name */
    char *name;              /**< name of the object */
    tbs_dbid_t object;       /**< object */
    vob_op_t op;             /**< operation that made the event */
} vob_event_legacy_info_t;

/** Event with all its particulars, old form. */
typedef struct vob_event_legacy_long_info_s {
    stg_area_rpc_ptr_t area;  /**< storage-area link */
    vob_evkind_t kind;        /**< event kind */
    int64_t time;             /**< event time */
    char *comment;            /**< comment */
    char *user;               /**< login name */
    char *group;              /**< group name */
    char *host;               /**< host name */
    char *name;               /**< name of the object */
    tbs_dbid_t object;        /**< object */
    vob_op_t op;              /**< operation that made the event */
    tbs_oid_t object_id;      /**< object identifier */
    vob_mtype_t object_kind;  /**< kind of the object */
    char *full_name;          /**< full name of the user */
    char *type_name;          /**< name of the type concerned, or empty */
    char *version_name;       /**< version path, or empty */
    char *replica;            /**< replica where it happened */
    vob_object_flags_t flags; /**< object flags */
    int32_t n_details;
    char **details; /**< further lines */
} vob_event_legacy_long_info_t;

/** Event with all its particulars. */
typedef struct vob_event_long_info_s {
    stg_area_rpc_ptr_t area;  /**< storage-area link */
    vob_evkind_t kind;        /**< event kind */
    tbs_timeval_t time;       /**< event time */
    char *comment;            /**< comment */
    char *user;               /**< login name */
    char *group;              /**< group name */
    char *host;               /**< host name */
    char *name;               /**< name of the object */
    tbs_dbid_t object;        /**< object */
    vob_op_t op;              /**< operation that made the event */
    tbs_oid_t object_id;      /**< object identifier */
    vob_mtype_t object_kind;  /**< kind of the object */
    char *full_name;          /**< full name of the user */
    char *type_name;          /**< name of the type concerned, or empty */
    char *version_name;       /**< version path, or empty */
    char *replica;            /**< replica where it happened */
    vob_object_flags_t flags; /**< object flags */
    int32_t n_details;
    char **details; /**< further lines */
} vob_event_long_info_t;

/** Sort key of events. */
typedef struct vob_event_order_key_s {
    tbs_timeval_t time;   /**< event time */
    tbs_oid_t replica;    /**< replica */
    vob_oplog_id_t entry; /**< log entry */
    tbs_dbid_t event;     /**< event object */
} vob_event_order_key_t;

/** Two elements with one name. */
typedef struct vob_evil_twin_info_s {
    tbs_oid_t directory;                     /**< directory element */
    char *name;                              /**< the name */
    tbs_oid_t element;                       /**< element that has the name already */
    tbs_oid_t version;                       /**< directory version where it has it */
    char *branch;                            /**< branch of that version */
    vob_evil_twin_enforcement_t enforcement; /**< what is done about it */
} vob_evil_twin_info_t;

/** Entry of an object filter. */
typedef struct vob_filter_entry_s {
    vob_filter_entry_kind_t kind; /**< sense */
    vob_mtype_t object_kind;      /**< kind of the objects */
    char *pattern;                /**< name pattern, or empty */
    tbs_dbid_t type;              /**< type object, or 0 */
    tbs_boolean_t ignore_case;    /**< compare names without case */
} vob_filter_entry_t;

/** Object lock. */
typedef struct vob_lock_info_s {
    int32_t n_users;
    char **users;           /**< users that the lock exempts */
    tbs_boolean_t obsolete; /**< the object is obsolete */
} vob_lock_info_t;

/** What stands against a request for mastership of an object. */
typedef struct vob_obj_rfm_blockers_s {
    tbs_dbid_t object;        /**< object */
    vob_mtype_t kind;         /**< its kind */
    vob_master_kind_t master; /**< how its master is found */
    tbs_boolean_t locked;     /**< a lock forbids it */
    tbs_boolean_t denied;     /**< requests are turned off */
    int32_t n_checkouts;
    tbs_dbid_t *checkouts; /**< checked-out versions */
    int32_t n_views;
    char **views; /**< tags of the views that hold them */
} vob_obj_rfm_blockers_t;

/** Sub-record of a configuration record. */
typedef struct vob_oplog_subcr_s {
    vob_oplog_subcr_kind_t kind; /**< kind */
    char *name;                  /**< name of the part */
    tbs_oid_t object;            /**< derived object */
    tbs_oid_t vob;               /**< repository that holds it */
    uint32_t flags;              /**< flags */
    uint64_t size;               /**< size of the record */
    int64_t time;                /**< build time */
} vob_oplog_subcr_t;

/** Configuration-record part of a log entry. */
typedef struct vob_oplog_cr_s {
    tbs_cr_compressed_t *cr; /**< compressed configuration record */
    int32_t n_objects;
    tbs_oid_t *objects; /**< derived objects that share it */
    uint32_t flags;     /**< flags */
    uint32_t depth;     /**< build depth */
    int32_t n_hashes;
    tbs_cr_dep_hash_t *hashes; /**< dependency hashes */
    int32_t n_subcrs;
    vob_oplog_subcr_t *subcrs; /**< sub-records */
} vob_oplog_cr_t;

/** Operation-log entry. */
typedef struct vob_oplog_ent_s {
    vob_oplog_op_t op;              /**< operation */
    tbs_oid_t object;               /**< object */
    uint32_t entry;                 /**< log entry number */
    int64_t time;                   /**< when it was logged */
    int32_t version;                /**< version of the data */
    vob_event_legacy_info_t *event; /**< event */
    uint64_t data_size;
    char *data;            /**< arguments of the operation */
    int64_t replay_time;   /**< when it was replayed here */
    uint32_t origin_entry; /**< entry number at the origin */
    tbs_oid_t replica;     /**< replica of origin */
    vob_oplog_cr_t *cr;    /**< configuration-record part */
} vob_oplog_ent_t;

/** Operation with its arguments. */
typedef struct vob_opvec_s {
    vob_op_t op;             /**< operation */
    tbs_dbid_t object;       /**< object */
    vob_mtype_t object_kind; /**< its kind */
    tbs_timeval_t time;      /**< time of the operation */
    char *user;              /**< who asked for it */
    vob_option_t flags;      /**< options */
    int32_t n_args;
    char **args;             /**< arguments */
    vob_event_info_t *event; /**< event to be recorded */
} vob_opvec_t;

/** Operation with its arguments, old form. */
typedef struct vob_opvec_legacy_s {
    vob_op_t op;             /**< operation */
    tbs_dbid_t object;       /**< object */
    vob_mtype_t object_kind; /**< its kind */
    int64_t time;            /**< time of the operation */
    char *user;              /**< who asked for it */
    vob_option_t flags;      /**< options */
    int32_t n_args;
    char **args;                    /**< arguments */
    vob_event_legacy_info_t *event; /**< event to be recorded */
} vob_opvec_legacy_t;

/** Storage pool. */
typedef struct vob_pool_info_s {
    char *name;                   /**< name */
    tbs_dbid_t pool;              /**< pool */
    vob_poolkind_t kind;          /**< kind */
    char *path;                   /**< storage directory */
    vob_stg_path_status_t status; /**< state of that directory */
    uint64_t max_size;            /**< size above which it is cleaned up, in KiB */
    uint64_t reclaim_size;        /**< size to clean up to, in KiB */
    uint32_t age;                 /**< hours after which unused contents may go */
    char *alert;                  /**< command to run when cleaning up does not help */
} vob_pool_info_t;

/** Action of a process rule. */
typedef struct vob_procdef_action_s {
    vob_procdef_exec_type_t exec_type; /**< how it is run */
    char *library;                     /**< library, or empty */
    char *program;                     /**< program, script or routine */
    int32_t n_args;
    char **args;                   /**< arguments */
    tbs_boolean_t stop_on_failure; /**< a failure refuses the operation */
} vob_procdef_action_t;

/** Process variable. */
typedef struct vob_procdef_pvar_s {
    char *name;                   /**< name */
    vob_procdef_pvar_type_t type; /**< type */
    char *value;                  /**< first value */
} vob_procdef_pvar_t;

/** Library of process routines. */
typedef struct vob_procdef_subr_library_s {
    char *name;     /**< name */
    char *path;     /**< pathname */
    char *platform; /**< platform it is for */
    int32_t n_routines;
    char **routines; /**< routines it offers */
} vob_procdef_subr_library_t;

/** Process rule. */
typedef struct vob_procdef_rule_desc_s {
    char *name;                            /**< name */
    vob_procdef_op_t op;                   /**< operation watched */
    vob_procdef_item_sel_t item_sel;       /**< items it applies to */
    vob_mtype_t object_kind;               /**< kind of those items */
    char *condition;                       /**< condition, or empty */
    tbs_boolean_t before;                  /**< applied before the operation */
    vob_procdef_orig_act_flags_t orig_act; /**< what becomes of the original action */
    int32_t n_actions;
    vob_procdef_action_t *actions; /**< actions */
} vob_procdef_rule_desc_t;

/** Process definition. */
typedef struct vob_procdef_rec_s {
    char *name;            /**< name */
    tbs_dbid_t procdef;    /**< definition */
    uint32_t version;      /**< version of the definition */
    tbs_timeval_t changed; /**< last change */
    int32_t n_vars;
    vob_procdef_pvar_t *vars; /**< variables */
    int32_t n_libraries;
    vob_procdef_subr_library_t *libraries; /**< libraries */
    int32_t n_rules;
    vob_procdef_rule_desc_t *rules; /**< rules */
} vob_procdef_rec_t;

/** Replica. */
typedef struct vob_replica_info_s {
    char *name;   /**< name */
    int64_t time; /**< time of the last synchronisation */
} vob_replica_info_t;

/** Replica, second form. */
typedef struct vob_replica_info_v2_s {
    char *name; /**< name */
} vob_replica_info_v2_t;

/** Replica type. */
typedef struct vob_rptype_info_s {
    tbs_oid_t replica;          /**< replica */
    char *name;                 /**< replica name */
    char *host;                 /**< host of its server */
    vob_feature_level_t level;  /**< feature level */
    vob_ms_preserve_t preserve; /**< what it keeps of identities and permissions */
    vob_master_kind_t master;   /**< how its master is found */
    tbs_boolean_t connected;    /**< it can be reached over the network */
    tbs_boolean_t requests;     /**< it takes requests for mastership */
} vob_rptype_info_t;

/** Space used by a repository, in KiB. */
typedef struct vob_stg_items_s {
    int64_t measured;   /**< when it was measured */
    uint64_t database;  /**< database */
    uint64_t source;    /**< source pools */
    uint64_t cleartext; /**< cleartext pools */
    uint64_t derived;   /**< derived-object pools */
    uint64_t admin;     /**< administration data */
    uint64_t other;     /**< anything else */
} vob_stg_items_t;

/** Background task. */
typedef struct vob_task_info_s {
    char *name;                    /**< name */
    tbs_dbid_t task;               /**< task */
    vob_task_type_t type;          /**< kind */
    vob_sched_priority_t priority; /**< priority */
    char *owner;                   /**< who asked for it */
    tbs_timeval_t queued;          /**< when it was queued */
    tbs_timeval_t started;         /**< when it was started, or zero */
    uint32_t percent;              /**< how far it has come */
    tbs_status_t status;           /**< result so far */
    int32_t n_args;
    char **args; /**< arguments */
} vob_task_info_t;

/** Timeline with its checkpoints. */
typedef struct vob_timeline_s {
    tbs_dbid_t timeline;      /**< timeline */
    tbs_oid_t id;             /**< object identifier */
    char *name;               /**< name */
    vob_timeline_kind_t kind; /**< kind */
    tbs_dbid_t stream;        /**< stream */
    tbs_dbid_t head;          /**< newest checkpoint */
    vob_gen_num_t gen;        /**< generation */
    int32_t n_checkpoints;
    tbs_dbid_t *checkpoints; /**< checkpoints, oldest first */
} vob_timeline_t;

/** Action of a trigger type. */
typedef struct vob_trtype_action_s {
    vob_trtype_action_kind_t kind; /**< kind */
    char *command;                 /**< command line, or empty */
    tbs_dbid_t type;               /**< label, attribute or hyperlink type, or 0 */
    vob_value_t *value;            /**< attribute value */
    char *to_text;                 /**< far end of the hyperlink, or empty */
} vob_trtype_action_t;

/** Kind of objects a trigger type fires for. */
typedef struct vob_trtype_obj_kind_s {
    vob_mtype_t object_kind; /**< kind */
    int32_t n_names;
    char **names; /**< names of the objects, none for all */
} vob_trtype_obj_kind_t;

/** Restriction of a trigger type. */
typedef struct vob_trtype_restriction_s {
    vob_mtype_t object_kind; /**< kind of the restricting type */
    tbs_dbid_t type;         /**< restricting type */
    char *name;              /**< its name */
    tbs_boolean_t inverted;  /**< fires for all but these */
} vob_trtype_restriction_t;

/** Trigger type. */
typedef struct vob_trtype_info_s {
    vob_trtype_kind_t kind;   /**< kind */
    tbs_boolean_t before;     /**< fires before the operation */
    tbs_timeval_t changed;    /**< last change */
    vob_object_flags_t flags; /**< object flags */
    int32_t n_ops;
    vob_op_t *ops; /**< operations it fires for */
    int32_t n_obj_kinds;
    vob_trtype_obj_kind_t *obj_kinds; /**< objects it fires for */
    int32_t n_restrictions;
    vob_trtype_restriction_t *restrictions; /**< restrictions */
    int32_t n_actions;
    vob_trtype_action_t *actions; /**< actions */
    int32_t n_exempt_users;
    char **exempt_users; /**< users it does not fire for */
} vob_trtype_info_t;

/** Trigger type, old form. */
typedef struct vob_trtype_legacy_info_s {
    vob_trtype_kind_t kind;   /**< kind */
    tbs_boolean_t before;     /**< fires before the operation */
    int64_t changed;          /**< last change */
    vob_object_flags_t flags; /**< object flags */
    int32_t n_ops;
    vob_op_t *ops; /**< operations it fires for */
    int32_t n_obj_kinds;
    vob_trtype_obj_kind_t *obj_kinds; /**< objects it fires for */
    int32_t n_restrictions;
    vob_trtype_restriction_t *restrictions; /**< restrictions */
    int32_t n_actions;
    vob_trtype_action_t *actions; /**< actions */
    int32_t n_exempt_users;
    char **exempt_users; /**< users it does not fire for */
} vob_trtype_legacy_info_t;

/** Activity, short form. */
typedef struct vob_ucm_activity_info_s {
    char *name;          /**< name */
    tbs_dbid_t activity; /**< activity */
    uint32_t flags;      /**< flags */
    tbs_dbid_t stream;   /**< stream */
} vob_ucm_activity_info_t;

/** How often an activity was changed. */
typedef struct vob_ucm_activity_modcount_s {
    tbs_dbid_t activity; /**< activity */
    uint32_t count;      /**< number of changes */
    tbs_timeval_t last;  /**< last change */
} vob_ucm_activity_modcount_t;

/** Baseline, short form. */
typedef struct vob_ucm_baseline_info_s {
    char *name;             /**< name */
    tbs_dbid_t baseline;    /**< baseline */
    tbs_dbid_t component;   /**< component */
    tbs_dbid_t stream;      /**< stream */
    char *level;            /**< promotion level */
    tbs_boolean_t labelled; /**< every version carries the label */
} vob_ucm_baseline_info_t;

/** Project folder. */
typedef struct vob_ucm_folder_info_s {
    char *name;            /**< name */
    tbs_dbid_t folder;     /**< folder */
    tbs_dbid_t parent;     /**< folder above, or 0 */
    tbs_boolean_t is_root; /**< the root folder */
} vob_ucm_folder_info_t;

/** Project. */
typedef struct vob_ucm_project_info_s {
    char *name;                  /**< name */
    tbs_dbid_t project;          /**< project */
    tbs_dbid_t folder;           /**< folder */
    tbs_dbid_t stream;           /**< integration stream */
    uint32_t policy;             /**< policy flags */
    tbs_boolean_t single_stream; /**< has no development streams */
    int32_t n_levels;
    char **levels; /**< promotion levels, lowest first */
} vob_ucm_project_info_t;

/** Stream, short form. */
typedef struct vob_ucm_stream_info_s {
    char *name;              /**< name */
    tbs_dbid_t stream;       /**< stream */
    vob_mtype_t parent_kind; /**< kind of the object it belongs to */
    tbs_boolean_t read_only; /**< no changes are made on it */
} vob_ucm_stream_info_t;

/** Timeline, short form. */
typedef struct vob_ucm_timeline_info_s {
    char *name;               /**< name */
    tbs_dbid_t timeline;      /**< timeline */
    vob_timeline_kind_t kind; /**< kind */
    tbs_dbid_t stream;        /**< stream */
} vob_ucm_timeline_info_t;

/** View attached to a stream. */
typedef struct vob_ucm_view_assoc_s {
    tbs_oid_t view;           /**< view */
    char *tag;                /**< view tag */
    char *host;               /**< host of the view */
    char *owner;              /**< owner */
    tbs_dbid_t stream;        /**< stream */
    tbs_dbid_t activity;      /**< activity set in the view, or 0 */
    vob_config_kind_t config; /**< where its configuration comes from */
} vob_ucm_view_assoc_t;

/** User known to the repository. */
typedef struct vob_user_info_s {
    char *name;             /**< login name */
    tbs_dbid_t user;        /**< user object */
    credutl_sid_t identity; /**< security identifier */
    char *full_name;        /**< full name */
    char *domain;           /**< domain */
    int32_t n_groups;
    char **groups;               /**< groups */
    tbs_boolean_t administrator; /**< may administer the repository */
} vob_user_info_t;

/** Change of a user. */
typedef struct vob_user_update_s {
    tbs_dbid_t user; /**< user object */
    uint32_t flags;  /**< members changed: 1 name, 2 full name, 4 groups */
    char *name;      /**< new login name */
    char *full_name; /**< new full name */
    int32_t n_add_groups;
    char **add_groups; /**< groups to add */
    int32_t n_remove_groups;
    char **remove_groups; /**< groups to take away */
} vob_user_update_t;

/** View. */
typedef struct vob_view_info_s {
    tbs_oid_t view;           /**< view */
    char *tag;                /**< view tag */
    char *host;               /**< host */
    char *path;               /**< storage directory */
    char *owner;              /**< owner */
    uint32_t kind;            /**< 0 dynamic, 1 automatic, 2 snapshot */
    vob_config_kind_t config; /**< where its configuration comes from */
} vob_view_info_t;

/* ---- handles ----------------------------------------------------------------------------------------------------- */

/** A configuration record in its compressed form, or NULL. */
typedef tbs_cr_compressed_t *vob_cr_h_t;
/** An event, or NULL. */
typedef vob_event_info_t *vob_event_h_t;
/** A view, or NULL. */
typedef vob_view_info_t *vob_view_info_h_t;

/* ---- routines of enumerations: one signed unit; values without a name pass --------------------------------------- */

/** Whether a repository enforces access control lists on its objects. */
TBS_API bool_t xdr_vob_acl_enforced_t(XDR *stream, vob_acl_enforced_t *value) TBS_NOEXCEPT;
/** What a client is to do with a cached object. */
TBS_API bool_t xdr_vob_cache_actn_t(XDR *stream, vob_cache_actn_t *value) TBS_NOEXCEPT;
/** What to do with an existing comment. */
TBS_API bool_t xdr_vob_com_actn_t(XDR *stream, vob_com_actn_t *value) TBS_NOEXCEPT;
/** Where the configuration of a view or stream comes from. */
TBS_API bool_t xdr_vob_config_kind_t(XDR *stream, vob_config_kind_t *value) TBS_NOEXCEPT;
/** Kind of a change-set entry. */
TBS_API bool_t xdr_vob_cset_ent_kind_t(XDR *stream, vob_cset_ent_kind_t *value) TBS_NOEXCEPT;
/** What happens when a name is made that another branch of the directory uses for a different element. */
TBS_API bool_t xdr_vob_evil_twin_enforcement_t(XDR *stream, vob_evil_twin_enforcement_t *value) TBS_NOEXCEPT;
/** Kind of an event. */
TBS_API bool_t xdr_vob_evkind_t(XDR *stream, vob_evkind_t *value) TBS_NOEXCEPT;
/** Sense of a filter entry. */
TBS_API bool_t xdr_vob_filter_entry_kind_t(XDR *stream, vob_filter_entry_kind_t *value) TBS_NOEXCEPT;
/** Reach of a type object. */
TBS_API bool_t xdr_vob_globalness_t(XDR *stream, vob_globalness_t *value) TBS_NOEXCEPT;
/** Form in which the contents of a version are kept. */
TBS_API bool_t xdr_vob_image_kind_t(XDR *stream, vob_image_kind_t *value) TBS_NOEXCEPT;
/** State of an object lock. */
TBS_API bool_t xdr_vob_lock_kind_t(XDR *stream, vob_lock_kind_t *value) TBS_NOEXCEPT;
/** How the master replica of an object is found. */
TBS_API bool_t xdr_vob_master_kind_t(XDR *stream, vob_master_kind_t *value) TBS_NOEXCEPT;
/** How versions of an element are merged. */
TBS_API bool_t xdr_vob_mergetype_t(XDR *stream, vob_mergetype_t *value) TBS_NOEXCEPT;
/** What a replica keeps of the identities and permissions of its siblings. */
TBS_API bool_t xdr_vob_ms_preserve_t(XDR *stream, vob_ms_preserve_t *value) TBS_NOEXCEPT;
/** Class of object kinds. */
TBS_API bool_t xdr_vob_mtype_class_t(XDR *stream, vob_mtype_class_t *value) TBS_NOEXCEPT;
/** How often an instance of a type may occur. */
TBS_API bool_t xdr_vob_occurs_t(XDR *stream, vob_occurs_t *value) TBS_NOEXCEPT;
/** Operation on the repository, as triggers and locks see it. */
TBS_API bool_t xdr_vob_op_t(XDR *stream, vob_op_t *value) TBS_NOEXCEPT;
/** Operation in the operation log. */
TBS_API bool_t xdr_vob_oplog_op_t(XDR *stream, vob_oplog_op_t *value) TBS_NOEXCEPT;
/** Order in which log entries are handed out. */
TBS_API bool_t xdr_vob_oplog_order_t(XDR *stream, vob_oplog_order_t *value) TBS_NOEXCEPT;
/** Kind of a sub-record of a configuration record. */
TBS_API bool_t xdr_vob_oplog_subcr_kind_t(XDR *stream, vob_oplog_subcr_kind_t *value) TBS_NOEXCEPT;
/** Kind of a storage pool. */
TBS_API bool_t xdr_vob_poolkind_t(XDR *stream, vob_poolkind_t *value) TBS_NOEXCEPT;
/** How a process action is run. */
TBS_API bool_t xdr_vob_procdef_exec_type_t(XDR *stream, vob_procdef_exec_type_t *value) TBS_NOEXCEPT;
/** Which items a process rule is applied to. */
TBS_API bool_t xdr_vob_procdef_item_sel_t(XDR *stream, vob_procdef_item_sel_t *value) TBS_NOEXCEPT;
/** Operation that a process rule watches. */
TBS_API bool_t xdr_vob_procdef_op_t(XDR *stream, vob_procdef_op_t *value) TBS_NOEXCEPT;
/** Type of a process variable. */
TBS_API bool_t xdr_vob_procdef_pvar_type_t(XDR *stream, vob_procdef_pvar_type_t *value) TBS_NOEXCEPT;
/** Kind of a query. */
TBS_API bool_t xdr_vob_query_kind_t(XDR *stream, vob_query_kind_t *value) TBS_NOEXCEPT;
/** Priority of a scheduled task. */
TBS_API bool_t xdr_vob_sched_priority_t(XDR *stream, vob_sched_priority_t *value) TBS_NOEXCEPT;
/** State of a storage path. */
TBS_API bool_t xdr_vob_stg_path_status_t(XDR *stream, vob_stg_path_status_t *value) TBS_NOEXCEPT;
/** Kind of a background task. */
TBS_API bool_t xdr_vob_task_type_t(XDR *stream, vob_task_type_t *value) TBS_NOEXCEPT;
/** Kind of a timeline. */
TBS_API bool_t xdr_vob_timeline_kind_t(XDR *stream, vob_timeline_kind_t *value) TBS_NOEXCEPT;
/** Kind of a trigger action. */
TBS_API bool_t xdr_vob_trtype_action_kind_t(XDR *stream, vob_trtype_action_kind_t *value) TBS_NOEXCEPT;
/** Kind of a trigger type. */
TBS_API bool_t xdr_vob_trtype_kind_t(XDR *stream, vob_trtype_kind_t *value) TBS_NOEXCEPT;
/** Type of a value. */
TBS_API bool_t xdr_vob_vtype_t(XDR *stream, vob_vtype_t *value) TBS_NOEXCEPT;
/** Object that every repository has. */
TBS_API bool_t xdr_vob_wkobj_t(XDR *stream, vob_wkobj_t *value) TBS_NOEXCEPT;

/* ---- routines of scalars: one unsigned unit ---------------------------------------------------------------------- */

/** Flag word: which members of an activity are asked for, given or changed. */
TBS_API bool_t xdr_vob_activity_info_flag_t(XDR *stream, vob_activity_info_flag_t *value) TBS_NOEXCEPT;
/** Feature level of a replica or repository family. */
TBS_API bool_t xdr_vob_feature_level_t(XDR *stream, vob_feature_level_t *value) TBS_NOEXCEPT;
/** Position in a name-space directory. */
TBS_API bool_t xdr_vob_nsdir_offset_t(XDR *stream, vob_nsdir_offset_t *value) TBS_NOEXCEPT;
/** Flag word of an object. */
TBS_API bool_t xdr_vob_object_flags_t(XDR *stream, vob_object_flags_t *value) TBS_NOEXCEPT;
/** Number of an entry in the operation log of one replica; 1 is the first. */
TBS_API bool_t xdr_vob_oplog_id_t(XDR *stream, vob_oplog_id_t *value) TBS_NOEXCEPT;
/** Option word of a repository. */
TBS_API bool_t xdr_vob_option_t(XDR *stream, vob_option_t *value) TBS_NOEXCEPT;
/** What became of the original action of a process rule. */
TBS_API bool_t xdr_vob_procdef_orig_act_flags_t(XDR *stream, vob_procdef_orig_act_flags_t *value) TBS_NOEXCEPT;
/** Number of a version on its branch; 0 is the branch point. */
TBS_API bool_t xdr_vob_ver_num_t(XDR *stream, vob_ver_num_t *value) TBS_NOEXCEPT;

/* ---- routine of the value union ---------------------------------------------------------------------------------- */

/** A value: the discriminant, then the arm that it selects. */
TBS_API bool_t xdr_vob_value_t(XDR *stream, vob_value_t *value) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_value_s(XDR *stream, struct vob_value_s *value) TBS_NOEXCEPT;

/* ---- routines of records: the members in the order of the struct ------------------------------------------------- */

/** Request for activities. */
TBS_API bool_t xdr_vob_act_fetch_t(XDR *stream, vob_act_fetch_t *record) TBS_NOEXCEPT;
/** Change of an activity. */
TBS_API bool_t xdr_vob_act_update_t(XDR *stream, vob_act_update_t *record) TBS_NOEXCEPT;
/** Activity. */
TBS_API bool_t xdr_vob_activity_info_t(XDR *stream, vob_activity_info_t *record) TBS_NOEXCEPT;
/** Activity type. */
TBS_API bool_t xdr_vob_actype_info_t(XDR *stream, vob_actype_info_t *record) TBS_NOEXCEPT;
/** Value rules of an attribute type. */
TBS_API bool_t xdr_vob_attype_vinfo_t(XDR *stream, vob_attype_vinfo_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_attype_vinfo_s(XDR *stream, struct vob_attype_vinfo_s *record) TBS_NOEXCEPT;
/** Baseline. */
TBS_API bool_t xdr_vob_baseline_t(XDR *stream, vob_baseline_t *record) TBS_NOEXCEPT;
/** Change sets of one checkpoint. */
TBS_API bool_t xdr_vob_checkpoint_cset_list_t(XDR *stream, vob_checkpoint_cset_list_t *record) TBS_NOEXCEPT;
/** Checkpoint of a timeline. */
TBS_API bool_t xdr_vob_checkpoint_info_t(XDR *stream, vob_checkpoint_info_t *record) TBS_NOEXCEPT;
/** Change of a checkpoint. */
TBS_API bool_t xdr_vob_chkpnt_update_t(XDR *stream, vob_chkpnt_update_t *record) TBS_NOEXCEPT;
/** Checkout. */
TBS_API bool_t xdr_vob_ckout_info_t(XDR *stream, vob_ckout_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_ckout_info_s(XDR *stream, struct vob_ckout_info_s *record) TBS_NOEXCEPT;
/** Cleartext of a version. */
TBS_API bool_t xdr_vob_cltxt_info_t(XDR *stream, vob_cltxt_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_cltxt_info_s(XDR *stream, struct vob_cltxt_info_s *record) TBS_NOEXCEPT;
/** Container of a derived object. */
TBS_API bool_t xdr_vob_do_container_info_t(XDR *stream, vob_do_container_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_do_container_info_s(XDR *stream, struct vob_do_container_info_s *record) TBS_NOEXCEPT;
/** Domain known to the repository. */
TBS_API bool_t xdr_vob_domain_info_t(XDR *stream, vob_domain_info_t *record) TBS_NOEXCEPT;
/** Effective access control list of an object. */
TBS_API bool_t xdr_vob_eacl_info_t(XDR *stream, vob_eacl_info_t *record) TBS_NOEXCEPT;
/** One column of an epoch table row. */
TBS_API bool_t xdr_vob_epoch_row_entry_t(XDR *stream, vob_epoch_row_entry_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_epoch_row_entry_s(XDR *stream, struct vob_epoch_row_entry_s *record) TBS_NOEXCEPT;
/** Event. */
TBS_API bool_t xdr_vob_event_info_t(XDR *stream, vob_event_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_event_info_s(XDR *stream, struct vob_event_info_s *record) TBS_NOEXCEPT;
/** Event, old form. */
TBS_API bool_t xdr_vob_event_legacy_info_t(XDR *stream, vob_event_legacy_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_event_legacy_info_s(XDR *stream, struct vob_event_legacy_info_s *record) TBS_NOEXCEPT;
/** Event with all its particulars, old form. */
TBS_API bool_t xdr_vob_event_legacy_long_info_t(XDR *stream, vob_event_legacy_long_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_event_legacy_long_info_s(XDR *stream,
                                                struct vob_event_legacy_long_info_s *record) TBS_NOEXCEPT;
/** Event with all its particulars. */
TBS_API bool_t xdr_vob_event_long_info_t(XDR *stream, vob_event_long_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_event_long_info_s(XDR *stream, struct vob_event_long_info_s *record) TBS_NOEXCEPT;
/** Sort key of events. */
TBS_API bool_t xdr_vob_event_order_key_t(XDR *stream, vob_event_order_key_t *record) TBS_NOEXCEPT;
/** Two elements with one name. */
TBS_API bool_t xdr_vob_evil_twin_info_t(XDR *stream, vob_evil_twin_info_t *record) TBS_NOEXCEPT;
/** Entry of an object filter. */
TBS_API bool_t xdr_vob_filter_entry_t(XDR *stream, vob_filter_entry_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_filter_entry_s(XDR *stream, struct vob_filter_entry_s *record) TBS_NOEXCEPT;
/** Object lock. */
TBS_API bool_t xdr_vob_lock_info_t(XDR *stream, vob_lock_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_lock_info_s(XDR *stream, struct vob_lock_info_s *record) TBS_NOEXCEPT;
/** Rule for generated names. */
TBS_API bool_t xdr_vob_namegen_rule_t(XDR *stream, vob_namegen_rule_t *record) TBS_NOEXCEPT;
/** What stands against a request for mastership of an object. */
TBS_API bool_t xdr_vob_obj_rfm_blockers_t(XDR *stream, vob_obj_rfm_blockers_t *record) TBS_NOEXCEPT;
/** Configuration-record part of a log entry. */
TBS_API bool_t xdr_vob_oplog_cr_t(XDR *stream, vob_oplog_cr_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_oplog_cr_s(XDR *stream, struct vob_oplog_cr_s *record) TBS_NOEXCEPT;
/** Operation-log entry. */
TBS_API bool_t xdr_vob_oplog_ent_t(XDR *stream, vob_oplog_ent_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_oplog_ent_s(XDR *stream, struct vob_oplog_ent_s *record) TBS_NOEXCEPT;
/** Sub-record of a configuration record. */
TBS_API bool_t xdr_vob_oplog_subcr_t(XDR *stream, vob_oplog_subcr_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_oplog_subcr_s(XDR *stream, struct vob_oplog_subcr_s *record) TBS_NOEXCEPT;
/** Operation with its arguments, old form. */
TBS_API bool_t xdr_vob_opvec_legacy_t(XDR *stream, vob_opvec_legacy_t *record) TBS_NOEXCEPT;
/** Operation with its arguments. */
TBS_API bool_t xdr_vob_opvec_t(XDR *stream, vob_opvec_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_opvec_s(XDR *stream, struct vob_opvec_s *record) TBS_NOEXCEPT;
/** Storage pool. */
TBS_API bool_t xdr_vob_pool_info_t(XDR *stream, vob_pool_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_pool_info_s(XDR *stream, struct vob_pool_info_s *record) TBS_NOEXCEPT;
/** Action of a process rule. */
TBS_API bool_t xdr_vob_procdef_action_t(XDR *stream, vob_procdef_action_t *record) TBS_NOEXCEPT;
/** Process definition. */
TBS_API bool_t xdr_vob_procdef_rec_t(XDR *stream, vob_procdef_rec_t *record) TBS_NOEXCEPT;
/** Process rule. */
TBS_API bool_t xdr_vob_procdef_rule_desc_t(XDR *stream, vob_procdef_rule_desc_t *record) TBS_NOEXCEPT;
/** Library of process routines. */
TBS_API bool_t xdr_vob_procdef_subr_library_t(XDR *stream, vob_procdef_subr_library_t *record) TBS_NOEXCEPT;
/** Replica. */
TBS_API bool_t xdr_vob_replica_info_t(XDR *stream, vob_replica_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_replica_info_s(XDR *stream, struct vob_replica_info_s *record) TBS_NOEXCEPT;
/** Replica, second form. */
TBS_API bool_t xdr_vob_replica_info_v2_t(XDR *stream, vob_replica_info_v2_t *record) TBS_NOEXCEPT;
/** Replica type. */
TBS_API bool_t xdr_vob_rptype_info_t(XDR *stream, vob_rptype_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_rptype_info_s(XDR *stream, struct vob_rptype_info_s *record) TBS_NOEXCEPT;
/** Space used by a repository, in KiB. */
TBS_API bool_t xdr_vob_stg_items_t(XDR *stream, vob_stg_items_t *record) TBS_NOEXCEPT;
/** Background task. */
TBS_API bool_t xdr_vob_task_info_t(XDR *stream, vob_task_info_t *record) TBS_NOEXCEPT;
/** Timeline with its checkpoints. */
TBS_API bool_t xdr_vob_timeline_t(XDR *stream, vob_timeline_t *record) TBS_NOEXCEPT;
/** Action of a trigger type. */
TBS_API bool_t xdr_vob_trtype_action_t(XDR *stream, vob_trtype_action_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_trtype_action_s(XDR *stream, struct vob_trtype_action_s *record) TBS_NOEXCEPT;
/** Trigger type. */
TBS_API bool_t xdr_vob_trtype_info_t(XDR *stream, vob_trtype_info_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_trtype_info_s(XDR *stream, struct vob_trtype_info_s *record) TBS_NOEXCEPT;
/** Trigger type, old form. */
TBS_API bool_t xdr_vob_trtype_legacy_info_t(XDR *stream, vob_trtype_legacy_info_t *record) TBS_NOEXCEPT;
/** Kind of objects a trigger type fires for. */
TBS_API bool_t xdr_vob_trtype_obj_kind_t(XDR *stream, vob_trtype_obj_kind_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_trtype_obj_kind_s(XDR *stream, struct vob_trtype_obj_kind_s *record) TBS_NOEXCEPT;
/** Restriction of a trigger type. */
TBS_API bool_t xdr_vob_trtype_restriction_t(XDR *stream, vob_trtype_restriction_t *record) TBS_NOEXCEPT;
/** The same. */
TBS_API bool_t xdr_vob_trtype_restriction_s(XDR *stream, struct vob_trtype_restriction_s *record) TBS_NOEXCEPT;
/** Change set of an activity. */
TBS_API bool_t xdr_vob_ucm_activity_cset_t(XDR *stream, vob_ucm_activity_cset_t *record) TBS_NOEXCEPT;
/** Activity, short form. */
TBS_API bool_t xdr_vob_ucm_activity_info_t(XDR *stream, vob_ucm_activity_info_t *record) TBS_NOEXCEPT;
/** How often an activity was changed. */
TBS_API bool_t xdr_vob_ucm_activity_modcount_t(XDR *stream, vob_ucm_activity_modcount_t *record) TBS_NOEXCEPT;
/** Baseline, short form. */
TBS_API bool_t xdr_vob_ucm_baseline_info_t(XDR *stream, vob_ucm_baseline_info_t *record) TBS_NOEXCEPT;
/** Project folder. */
TBS_API bool_t xdr_vob_ucm_folder_info_t(XDR *stream, vob_ucm_folder_info_t *record) TBS_NOEXCEPT;
/** Project. */
TBS_API bool_t xdr_vob_ucm_project_info_t(XDR *stream, vob_ucm_project_info_t *record) TBS_NOEXCEPT;
/** Stream, short form. */
TBS_API bool_t xdr_vob_ucm_stream_info_t(XDR *stream, vob_ucm_stream_info_t *record) TBS_NOEXCEPT;
/** Timeline, short form. */
TBS_API bool_t xdr_vob_ucm_timeline_info_t(XDR *stream, vob_ucm_timeline_info_t *record) TBS_NOEXCEPT;
/** View attached to a stream. */
TBS_API bool_t xdr_vob_ucm_view_assoc_t(XDR *stream, vob_ucm_view_assoc_t *record) TBS_NOEXCEPT;
/** User known to the repository. */
TBS_API bool_t xdr_vob_user_info_t(XDR *stream, vob_user_info_t *record) TBS_NOEXCEPT;
/** Change of a user. */
TBS_API bool_t xdr_vob_user_update_t(XDR *stream, vob_user_update_t *record) TBS_NOEXCEPT;

/* ---- routines of handles: a presence word, then the record when there is one ------------------------------------- */

/** A compressed configuration record that may be absent. */
TBS_API bool_t xdr_vob_cr_h_t(XDR *stream, vob_cr_h_t *handle) TBS_NOEXCEPT;
/** An event that may be absent. */
TBS_API bool_t xdr_vob_event_h_t(XDR *stream, vob_event_h_t *handle) TBS_NOEXCEPT;
/** A view that may be absent. */
TBS_API bool_t xdr_vob_view_info_h_t(XDR *stream, vob_view_info_h_t *handle) TBS_NOEXCEPT;

TBS_END_C

#endif
