"""liborsiktbs from Python: statuses, messages, access control, role maps, identifiers, records, types of files.

Whatever fails raises a :class:`TbsError`, which holds the status and the messages that the library printed. Objects of
the library are released by ``close()``, at the end of a ``with`` block, or with the last reference. Every function may
be called from any thread; a lock in each object lets threads in one by one.
"""

from .accounts import AccountKind, Client, Credentials, Sid, flush_accounts
from .acl import Acl, Entry, SidAcl
from .element_types import LookAt, file_types, type_file_path
from .errors import AccessDenied, InvalidArgument, NotFound, OutOfMemory, TbsError, TextTooLong
from .identifiers import Uuid
from .identities import Identity, Kind, SidIdentity
from .messages import Message, MessageTable, Severity, message_tables, set_trace, set_verbosity
from .records import (
    ConfigurationRecord,
    FilePredefined,
    LinkText,
    MfsObject,
    MfsPredefined,
    Time,
    VobDescription,
)
from .rolemap import Binding, RoleMap
from .status import Status, errno_to_status, status_text, status_to_errno
from .vocabulary import STORED_PERMISSIONS, Permission, Vocabulary, VocabularyError

__all__ = [
    "AccessDenied",
    "AccountKind",
    "Acl",
    "Binding",
    "Client",
    "ConfigurationRecord",
    "Credentials",
    "Entry",
    "FilePredefined",
    "Identity",
    "InvalidArgument",
    "Kind",
    "LinkText",
    "LookAt",
    "Message",
    "MessageTable",
    "MfsObject",
    "MfsPredefined",
    "NotFound",
    "OutOfMemory",
    "Permission",
    "RoleMap",
    "STORED_PERMISSIONS",
    "Severity",
    "Sid",
    "SidAcl",
    "SidIdentity",
    "Status",
    "TbsError",
    "TextTooLong",
    "Time",
    "Uuid",
    "VobDescription",
    "Vocabulary",
    "VocabularyError",
    "errno_to_status",
    "file_types",
    "flush_accounts",
    "message_tables",
    "set_trace",
    "set_verbosity",
    "status_text",
    "status_to_errno",
    "type_file_path",
]
