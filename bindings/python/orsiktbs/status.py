"""Statuses: their numbers by name, their texts, and the error numbers that they stand for."""

from __future__ import annotations

import enum

from ._library import lib, py_text


class Status(enum.IntEnum):
    """The statuses that have a name. Others occur: error numbers below 1000, statuses of newer servers."""

    OK = 0
    ERROR = 1001
    NOT_FOUND = 1002
    NOT_OBJECT = 1003
    TIMEOUT = 1004
    STALE_REFERENCE = 1005
    VERSION_MISMATCH = 1007
    VIEW_ERROR = 1008
    VOB_ERROR = 1009
    VOB_DB_ERROR = 1010
    MVFS_ERROR = 1011
    NO_CONFIG_SPEC = 1012
    DIR_NOT_SELECTED = 1013
    NO_VERSION_SELECTED = 1014
    CLEARTEXT_FETCH = 1015
    VOB_UNKNOWN_TO_VIEW = 1016
    VOB_RECREATED = 1017
    VIEW_RECREATED = 1018
    VOB_DB_NEEDS_RECOVERY = 1019
    VOB_DB_LOCKED = 1020
    VIEW_DB_NEEDS_RECOVERY = 1022
    VIEW_DB_NEEDS_REFORMAT = 1023
    VOB_DB_NEEDS_REFORMAT = 1024
    CONFIG_SPEC_ERROR = 1025
    REGISTRY_MODIFIED = 1026
    REPLAY_DONE = 1027
    REPLAY_MISSING_INPUT = 1028
    NOT_REGISTRY_SERVER = 1029
    DB_TIMEOUT = 1031
    NEEDS_VIEW = 1032
    SUCCESS_WITH_EXCEPTION = 1033
    CONTAINER_MODIFIED = 1034
    RETRY_IN_REPLAY = 1035
    VIEW_STORAGE_UNAVAILABLE = 1036
    VIEW_UNAVAILABLE = 1037
    CHECKOUTS_PREVENT = 1038
    DENIED = 1039
    LOCKS_PREVENT = 1040
    NOT_MASTER = 1041
    FEATURE_LEVEL_LOW = 1043
    NO_IP_CONNECTIVITY = 1044
    UCM_OBJECT = 1045
    CANCELED = 1046
    MASTERSHIP_TRANSFERRED = 1047
    NOT_LAST_VERSION = 1048
    RPC_XID_STALE = 1049
    FS_OP_FAILED = 1050
    SYNCMGR_ERROR = 1101
    SYNCMGR_NOMEM = 1102
    SYNCMGR_INTERNAL = 1103
    SYNCMGR_INVALID_ARG = 1104
    SYNCMGR_DB_ERROR = 1105
    SYNCMGR_DB_NOT_FOUND = 1106
    SYNCMGR_DB_NOSPACE = 1107
    SYNCMGR_INACTIVE = 1108
    SYNCMGR_SHUTDOWN = 1109
    SYNCMGR_JOB_LIMIT = 1110
    RPC_REPLY_TOO_BIG = 1111
    ACL_TOO_LONG = 1112
    ACL_TOO_LONG_FOR_UDP = 1113
    LOGIN_FAILED = 100001
    SESSION_EXPIRED = 100002
    CSPEC_NEEDS_SYNC = 100003
    ACTIVITY_EXISTS = 100004
    STREAM_EXISTS = 100005
    MUST_MERGE_LATEST = 100006
    CLIENT_TOO_OLD = 100007
    CLIENT_TOO_NEW = 100008
    CHECKOUT_NOT_LATEST = 100009
    VERSION_DISCORDANCE = 100010
    VOB_REFORMATTED = 100011
    BAD_DELIVER_LIST = 100012
    BAD_STREAM_CHANGE = 100013
    DELIVER_IN_PROGRESS = 100014
    DELIVER_FROM_INTEGRATION = 100015
    SERVER_BUSY = 100022
    ENCODE_CHARACTER = 100023
    BAD_FIND_MATCHER = 100024
    EPERM = 1051
    ENOENT = 1052
    EIO = 1055
    ENXIO = 1056
    ENOMEM = 1062
    EACCES = 1063
    EEXIST = 1067
    EXDEV = 1068
    ENODEV = 1069
    ENOTDIR = 1070
    EISDIR = 1071
    EINVAL = 1072
    EFBIG = 1077
    ENOSPC = 1078
    EROFS = 1080
    EMLINK = 1081
    ELOOP = 1083
    ENAMETOOLONG = 1084
    ENOTEMPTY = 1085
    ESTALE = 1087
    EBUSY = 1088
    EPFNOSUPPORT = 1089

    def __str__(self) -> str:
        return self.name


def named(status: int) -> int:
    """Gives a status as a member of :class:`Status` when it has a name there."""
    try:
        return Status(status)
    except ValueError:
        return status


def status_text(status: int) -> str:
    """Gives the text of a status."""
    return py_text(lib.tbs_strerror(status))


def status_to_errno(status: int) -> int:
    """Gives the error number of the Windows run-time library that a status stands for; EIO (5) for many."""
    return int(lib.tbs_status2errno(status))


def errno_to_status(error: int) -> int:
    """Gives the status of an error number of the Windows run-time library."""
    return named(lib.tbs_errno2status(error))
