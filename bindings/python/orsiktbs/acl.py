"""Access control lists: entries, texts, bytes, decisions."""

from __future__ import annotations

import os
from collections.abc import Iterator
from typing import Any, ClassVar, Generic, NamedTuple, TypeVar

from ._handle import Handle, held
from ._library import c_text, ffi, lib, py_text
from ._text_file import text_file
from .accounts import Client, Sid
from .errors import InvalidArgument, TbsError, ask, call, call_pointer
from .identities import Identity, SidIdentity
from .vocabulary import Vocabulary

AnyIdentity = TypeVar("AnyIdentity", Identity, SidIdentity)
_Self = TypeVar("_Self", bound="_AnyAcl[Any]")

#: The names that hold when no others are given: the built-in ones.
BUILT_IN = Vocabulary()


class Entry(NamedTuple):
    """An identity and its permissions."""

    identity: Any
    permissions: int


class _AnyAcl(Handle, Generic[AnyIdentity]):
    """What both forms have in common: functions of the same shape, under two prefixes."""

    _prefix: ClassVar[str]
    _identity: ClassVar[Any]

    def __init__(self) -> None:
        """Makes an empty list."""
        variable = self._new_variable()
        call(self._prefix + "create", variable)
        super().__init__(variable)

    @classmethod
    def load(cls: type[_Self], path: str | os.PathLike[str], vocabulary: Vocabulary = BUILT_IN) -> _Self:
        """Reads an ACL file. The first bad line ends the reading; the error's messages name it."""
        variable = cls._new_variable()
        _refusing(cls._prefix + "utl_parse", c_text(path), *vocabulary.native, variable)
        return cls._adopt(variable)

    @classmethod
    def parse(cls: type[_Self], text: str, vocabulary: Vocabulary = BUILT_IN) -> _Self:
        """Reads the text of an ACL file."""
        with text_file(text) as path:
            return cls.load(path, vocabulary)

    @classmethod
    def decode(cls: type[_Self], data: bytes) -> _Self:
        """Reads what encode() has made, from anybody."""
        variable = cls._new_variable()
        call(cls._prefix + "decode", len(data), ffi.from_buffer(data), variable)
        return cls._adopt(variable)

    def encode(self) -> bytes:
        """Gives the list as bytes, as servers keep it."""
        length = ffi.new("uint32_t *")
        buffer = ffi.new("void **")
        with held(self) as (handle,):
            call(self._prefix + "encode", handle, length, buffer)
        try:
            return bytes(ffi.buffer(buffer[0], length[0]))
        finally:
            lib.stg_free(buffer[0])

    def copy(self: _Self) -> _Self:
        """Gives a list of the same entries."""
        variable = self._new_variable()
        with held(self) as (handle,):
            call(self._prefix + "copy", handle, variable)
        return self._adopt(variable)

    def text(self, vocabulary: Vocabulary = BUILT_IN) -> str:
        """Gives the text that parse() reads, one entry a line; "" for an empty list."""
        variable = ffi.new("imsg_list_t **", call_pointer("imsg_list_create"))
        try:
            with held(self) as (handle,):
                call(self._prefix + "to_imsg_list", handle, *vocabulary.native, variable[0])
            lines = (py_text(lib.imsg_list_text(variable[0], i)) for i in range(lib.imsg_list_count(variable[0])))
            return "".join(line.strip() + "\n" for line in lines)
        finally:
            lib.imsg_list_free(variable)

    def set(self, identity: AnyIdentity, permissions: int) -> None:
        """Sets an identity's permissions: replaces those of its entry, or appends an entry."""
        native = identity.native()
        with held(self) as (handle,):
            _refusing(self._prefix + "set_entry", handle, native.pointer[0], permissions)

    def find(self, identity: AnyIdentity) -> int | None:
        """Gives an identity's permissions; None when it has no entry."""
        native = identity.native()
        with held(self) as (handle,):
            entry = ask(self._prefix + "find_entry", handle, native.pointer)
            return entry.perms if entry else None

    def remove(self, identity: AnyIdentity) -> None:
        """Removes an identity's entry, whose place the last one takes; NotFound when it has none."""
        native = identity.native()
        with held(self) as (handle,):
            call(self._prefix + "remove_entry", handle, native.pointer)

    def entries(self) -> list[Entry]:
        """Gives all entries in order."""
        cursor = ffi.new("uint32_t *")
        following = getattr(lib, self._prefix + "next_entry")  # prints nothing
        found = []
        with held(self) as (handle,):
            while entry := following(handle, cursor):
                found.append(Entry(self._identity.of_record(entry.id), entry.perms))
        return found

    def __iter__(self) -> Iterator[Entry]:
        return iter(self.entries())

    def __len__(self) -> int:
        with held(self) as (handle,):
            return int(ask(self._prefix + "num_entries", handle))

    def __bool__(self) -> bool:
        return True  # an empty list is a list

    def __contains__(self, identity: object) -> bool:
        return isinstance(identity, self._identity) and self.find(identity) is not None

    def __eq__(self, other: object) -> bool:
        """Tells whether both give the same identities the same permissions, in whatever order."""
        if not isinstance(other, _AnyAcl) or type(other) is not type(self):
            return NotImplemented
        with held(self, other):
            a, b = self._variable, other._variable
            return bool(ask(self._prefix + "cmp_acl", a, b) and ask(self._prefix + "cmp_acl", b, a))

    __hash__ = None  # type: ignore[assignment]  # it changes

    def __repr__(self) -> str:
        return f"<{type(self).__name__}: {'closed' if self.closed else f'{len(self)} entries'}>"


def _refusing(function: str, *arguments: Any) -> None:
    """Calls a function for which the status 1 means a refused identity."""
    try:
        call(function, *arguments)
    except TbsError as error:
        if error.status == 1 and "sid_acl" in function:
            raise InvalidArgument(error.operation, error.status, error.messages) from None
        raise


class Acl(_AnyAcl[Identity]):
    """A classic access control list: identities by domain and name."""

    _type, _free, _prefix = "tbs_acl_h_t", "tbs_acl_free", "tbs_acl_"
    _identity = Identity

    def check(
        self, permissions: int, client: Client, *, is_owner_user: bool = False, is_owner_group: bool = False
    ) -> bool:
        """Tells whether a client has all these permissions, which are free of generic ones."""
        granted = ffi.new("tbs_boolean_t *")
        with held(self, client) as (handle, asking):
            call("tbs_acl_check_permission", handle, permissions, asking, is_owner_user, is_owner_group, granted)
        return bool(granted[0])


class SidAcl(_AnyAcl[SidIdentity]):
    """An access control list of security identifiers."""

    _type, _free, _prefix = "tbs_sid_acl_h_t", "tbs_sid_acl_free", "tbs_sid_acl_"
    _identity = SidIdentity

    def check(
        self, permissions: int, client: Client, *, owner_user: Sid | None = None, owner_group: Sid | None = None
    ) -> bool:
        """Tells whether a client has all these permissions, which are free of generic ones."""
        granted = ffi.new("tbs_boolean_t *")
        user = owner_user.native() if owner_user else ffi.NULL
        group = owner_group.native() if owner_group else ffi.NULL
        with held(self, client) as (handle, asking):
            call("tbs_sid_acl_check_permission", handle, permissions, asking, user, group, granted)
        return bool(granted[0])
