"""Identities of access control lists: the classic ones by name, the others by security identifier."""

from __future__ import annotations

import enum
from dataclasses import dataclass
from typing import Any

from ._library import c_text, ffi, lib, py_text
from .accounts import Sid
from .errors import call

_TEXT_SIZE = 1024  # TBS_ACL_TEXT_SIZE


class Kind(enum.IntEnum):
    """Kind of an identity."""

    NONE = 0
    USER = 1
    GROUP = 2
    DOMAIN = 3
    EVERYONE = 4
    OWNER_USER = 5
    OWNER_GROUP = 6
    ROLE = 7


def _kind(number: int) -> int:
    try:
        return Kind(number)
    except ValueError:
        return number


class Native:
    """A C record of an identity together with the texts that it points to."""

    def __init__(self, record: str, kind: int, domain: str | None, name: str | None) -> None:
        self._texts = [ffi.NULL if text is None else c_text(text) for text in (domain, name)]
        self.pointer = ffi.new(record + " *")
        self.pointer.kind = kind
        self.pointer.domain, self.pointer.name = self._texts


def _optional(pointer: Any) -> str | None:
    return py_text(pointer) if pointer else None


@dataclass(frozen=True)
class Identity:
    """An identity by domain and name."""

    kind: int
    domain: str | None = None
    name: str | None = None

    @classmethod
    def parse(cls, text: str) -> Identity:
        r"""Reads "User:DOMAIN\name", "Domain:DOMAIN", "Everyone:", "Role:name"."""
        record = ffi.new("tbs_acl_id_t *")
        call("tbs_acl_utl_id_from_str", c_text(text), record)
        try:
            return cls.of_record(record)
        finally:
            lib.tbs_acl_free_id(record)

    @classmethod
    def of_record(cls, record: Any) -> Identity:
        """Copies a tbs_acl_id_t."""
        return cls(_kind(record.kind), _optional(record.domain), _optional(record.name))

    def native(self) -> Native:
        """Gives a tbs_acl_id_t of this value."""
        return Native("tbs_acl_id_t", self.kind, self.domain, self.name)

    def __str__(self) -> str:
        text = ffi.new("char[]", _TEXT_SIZE)
        native = self.native()
        call("tbs_acl_utl_id_to_str", native.pointer, _TEXT_SIZE, text)
        return py_text(text)


@dataclass(frozen=True)
class SidIdentity:
    """An identity by security identifier; of roles the name, of domains the domain counts."""

    kind: int
    domain: str | None = None
    name: str | None = None
    sid: Sid = Sid.NOBODY

    @classmethod
    def parse(cls, text: str) -> SidIdentity:
        r"""Reads "User:DOMAIN\name", "Owner-User:", "Role:name". Accounts must be known."""
        record = ffi.new("tbs_sid_acl_id_t *")
        call("tbs_sid_acl_utl_id_from_str", c_text(text), record)
        try:
            return cls.of_record(record)
        finally:
            lib.tbs_sid_acl_free_id(record)

    @classmethod
    def of_record(cls, record: Any) -> SidIdentity:
        """Copies a tbs_sid_acl_id_t."""
        return cls(_kind(record.kind), _optional(record.domain), _optional(record.name), Sid.of_record(record.sid))

    def native(self) -> Native:
        """Gives a tbs_sid_acl_id_t of this value."""
        native = Native("tbs_sid_acl_id_t", self.kind, self.domain, self.name)
        native.pointer.sid = self.sid.native()[0]
        return native

    def __str__(self) -> str:
        text = ffi.new("char[]", _TEXT_SIZE)
        native = self.native()
        call("tbs_sid_acl_utl_id_to_str", native.pointer, _TEXT_SIZE, text)
        return py_text(text)
