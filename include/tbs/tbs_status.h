/*
 * tbs_status.h - the status of every operation: numbers, texts, errno conversions.
 *
 * A status is a signed 32-bit number, 0 for success. The numbers travel between clients and servers of different
 * age: none is ever changed or reused, and a client has a fixed text for a status that it does not know.
 *
 *   1 ... 999            an errno value passed through
 *   1001 ... 1050        library and server conditions
 *   1051 ... 1089        the errno family: one status per run-time library error
 *   1101 ... 1113        synchronization management server and RPC transport
 *   100001 ... 100024    change-management server tier
 *
 * Every function here may be called from any thread at any time and prints nothing.
 */
#ifndef TBS_STATUS_H
#define TBS_STATUS_H

#include "tbs_types.h"

TBS_BEGIN_C

/** Status of an operation; 0 is success. On the wire a 32-bit enumeration. */
typedef int32_t tbs_status_t;

/* clang-format off */
/** Conditions with a text of their own: X(name, number, index of the text in the common message table). */
#define TBS_STATUS_LIST(X) \
    X(ERROR,                    1001,    10) \
    X(NOT_FOUND,                1002,    11) \
    X(NOT_OBJECT,               1003,    12) \
    X(TIMEOUT,                  1004,    13) \
    X(STALE_REFERENCE,          1005,    14) \
    X(VERSION_MISMATCH,         1007,    55) \
    X(VIEW_ERROR,               1008,    56) \
    X(VOB_ERROR,                1009,    57) \
    X(VOB_DB_ERROR,             1010,    58) \
    X(MVFS_ERROR,               1011,    59) \
    X(NO_CONFIG_SPEC,           1012,    60) \
    X(DIR_NOT_SELECTED,         1013,    61) \
    X(NO_VERSION_SELECTED,      1014,    53) \
    X(CLEARTEXT_FETCH,          1015,    62) \
    X(VOB_UNKNOWN_TO_VIEW,      1016,    63) \
    X(VOB_RECREATED,            1017,    64) \
    X(VIEW_RECREATED,           1018,    65) \
    X(VOB_DB_NEEDS_RECOVERY,    1019,    66) \
    X(VOB_DB_LOCKED,            1020,    67) \
    X(VIEW_DB_NEEDS_RECOVERY,   1022,    79) \
    X(VIEW_DB_NEEDS_REFORMAT,   1023,    80) \
    X(VOB_DB_NEEDS_REFORMAT,    1024,    81) \
    X(CONFIG_SPEC_ERROR,        1025,    95) \
    X(REGISTRY_MODIFIED,        1026,   102) \
    X(REPLAY_DONE,              1027,   103) \
    X(REPLAY_MISSING_INPUT,     1028,   104) \
    X(NOT_REGISTRY_SERVER,      1029,   105) \
    X(DB_TIMEOUT,               1031,   107) \
    X(NEEDS_VIEW,               1032,   109) \
    X(SUCCESS_WITH_EXCEPTION,   1033,   115) \
    X(CONTAINER_MODIFIED,       1034,   119) \
    X(RETRY_IN_REPLAY,          1035,   120) \
    X(VIEW_STORAGE_UNAVAILABLE, 1036,   121) \
    X(VIEW_UNAVAILABLE,         1037,   122) \
    X(CHECKOUTS_PREVENT,        1038,   123) \
    X(DENIED,                   1039,   124) \
    X(LOCKS_PREVENT,            1040,   125) \
    X(NOT_MASTER,               1041,   126) \
    X(FEATURE_LEVEL_LOW,        1043,   131) \
    X(NO_IP_CONNECTIVITY,       1044,   136) \
    X(UCM_OBJECT,               1045,   141) \
    X(CANCELED,                 1046,   166) \
    X(MASTERSHIP_TRANSFERRED,   1047,   167) \
    X(NOT_LAST_VERSION,         1048,   170) \
    X(RPC_XID_STALE,            1049,   173) \
    X(FS_OP_FAILED,             1050,   177) \
    X(SYNCMGR_ERROR,            1101,   143) \
    X(SYNCMGR_NOMEM,            1102,   144) \
    X(SYNCMGR_INTERNAL,         1103,   145) \
    X(SYNCMGR_INVALID_ARG,      1104,   152) \
    X(SYNCMGR_DB_ERROR,         1105,   146) \
    X(SYNCMGR_DB_NOT_FOUND,     1106,   147) \
    X(SYNCMGR_DB_NOSPACE,       1107,   148) \
    X(SYNCMGR_INACTIVE,         1108,   149) \
    X(SYNCMGR_SHUTDOWN,         1109,   150) \
    X(SYNCMGR_JOB_LIMIT,        1110,   151) \
    X(RPC_REPLY_TOO_BIG,        1111,   174) \
    X(ACL_TOO_LONG,             1112,   175) \
    X(ACL_TOO_LONG_FOR_UDP,     1113,   176) \
    X(LOGIN_FAILED,             100001, 163) \
    X(SESSION_EXPIRED,          100002, 165) \
    X(CSPEC_NEEDS_SYNC,         100003, 153) \
    X(ACTIVITY_EXISTS,          100004, 156) \
    X(STREAM_EXISTS,            100005, 160) \
    X(MUST_MERGE_LATEST,        100006, 154) \
    X(CLIENT_TOO_OLD,           100007, 158) \
    X(CLIENT_TOO_NEW,           100008, 159) \
    X(CHECKOUT_NOT_LATEST,      100009, 155) \
    X(VERSION_DISCORDANCE,      100010, 164) \
    X(VOB_REFORMATTED,          100011, 157) \
    X(BAD_DELIVER_LIST,         100012, 161) \
    X(BAD_STREAM_CHANGE,        100013, 162) \
    X(DELIVER_IN_PROGRESS,      100014, 168) \
    X(DELIVER_FROM_INTEGRATION, 100015, 169) \
    X(SERVER_BUSY,              100022, 171) \
    X(ENCODE_CHARACTER,         100023, 172) \
    X(BAD_FIND_MATCHER,         100024, 178)
/** The errno family: X(name, number, errno value). Numbers of the Windows run-time library and Windows Sockets. */
#define TBS_ERRNO_STATUS_LIST(X) \
    X(EPERM,        1051, 1)     \
    X(ENOENT,       1052, 2)     \
    X(EIO,          1055, 5)     \
    X(ENXIO,        1056, 6)     \
    X(ENOMEM,       1062, 12)    \
    X(EACCES,       1063, 13)    \
    X(EEXIST,       1067, 17)    \
    X(EXDEV,        1068, 18)    \
    X(ENODEV,       1069, 19)    \
    X(ENOTDIR,      1070, 20)    \
    X(EISDIR,       1071, 21)    \
    X(EINVAL,       1072, 22)    \
    X(EFBIG,        1077, 27)    \
    X(ENOSPC,       1078, 28)    \
    X(EROFS,        1080, 30)    \
    X(EMLINK,       1081, 31)    \
    X(ELOOP,        1083, 10062) \
    X(ENAMETOOLONG, 1084, 38)    \
    X(ENOTEMPTY,    1085, 41)    \
    X(ESTALE,       1087, 10070) \
    X(EBUSY,        1088, 16)    \
    X(EPFNOSUPPORT, 1089, 10046)
/* clang-format on */

/** The status numbers by name: TBS_ST_ERROR is 1001, TBS_ST_EINVAL is 1072. */
enum {
    TBS_ST_OK = 0,
#define TBS_STATUS_ENUM(name, number, third) TBS_ST_##name = number,
    TBS_STATUS_LIST(TBS_STATUS_ENUM) TBS_ERRNO_STATUS_LIST(TBS_STATUS_ENUM)
#undef TBS_STATUS_ENUM
};

/** Second names of two statuses: their errno name and their Windows Sockets name. */
enum { TBS_ST_ECANCELED = TBS_ST_CANCELED, TBS_ST_WSAEPFNOSUPPORT = TBS_ST_EPFNOSUPPORT };

/** Size in bytes of the buffer that holds a thread's status text. */
#define TBS_STRERROR_SIZE 512

/**
 * Converts a status into an errno value.
 *
 * @param status  any status.
 * @return  0 for 0; the errno value of a member of the errno family, and 105 for TBS_ST_CANCELED; a near errno value
 *          for some library conditions (5, 2, 10070, 30, 12, 22 or 28); any other value below 1000 unchanged; 5 (EIO)
 *          for all others. Numbers of the Windows run-time library and of Windows Sockets.
 */
TBS_API int tbs_status2errno(tbs_status_t status) TBS_NOEXCEPT;

/**
 * Converts an errno value into a status. Not the inverse of tbs_status2errno(): 0 is no error, and gives
 * TBS_ST_ERROR.
 *
 * @param err  an errno value of the Windows run-time library or of Windows Sockets.
 * @return  the member of the errno family (or TBS_ST_CANCELED for 105); TBS_ST_ERROR for every other value.
 */
TBS_API tbs_status_t tbs_errno2status(int err) TBS_NOEXCEPT;

/**
 * Gives the text of a status.
 *
 * @param status  any status.
 * @return  never NULL. The text of a condition stands in a buffer of the calling thread, always the same, that the
 *          thread's next call overwrites; so does "Unrecognized status "N" (from a newer server?)" for an unknown
 *          library status. For values below 1000 and for the errno family it is the system's text, as
 *          imsg_strerror() gives it for tbs_status2errno() of the status.
 */
TBS_API const char *tbs_strerror(tbs_status_t status) TBS_NOEXCEPT;

TBS_END_C

#endif
