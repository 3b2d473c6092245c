"""Who asks: security identifiers of accounts, and clients."""

from __future__ import annotations

import enum
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any, ClassVar

from ._handle import Handle, held
from ._library import c_text, ffi, lib, py_text
from .errors import ask, call_system

_SID_SIZE = ffi.sizeof("credutl_sid_t")
_SID_TEXT_SIZE = 96  # CREDUTL_SID_STR_SIZE
_DOMAIN_SIZE = 256


class AccountKind(enum.IntEnum):
    """What an account is."""

    USER = 1
    GROUP = 2


@dataclass(frozen=True)
class Sid:
    """A security identifier: names a user or a group on every host."""

    NOBODY: ClassVar[Sid]

    record: bytes
    """The fixed record of 34 bytes."""

    def __post_init__(self) -> None:
        if len(self.record) != _SID_SIZE:
            raise ValueError("a SID has a record of 34 bytes")

    @classmethod
    def parse(cls, text: str) -> Sid:
        """Reads "S-1-5-21-1-2-3-1001"."""
        sid = ffi.new("credutl_sid_t *")
        call_system("credutl_str_to_sid", c_text(text), sid)
        return cls.of_record(sid[0])

    @classmethod
    def of_user(cls, name: str) -> Sid:
        r"""Gives the SID of the user "DOMAIN\name"; NotFound when no source knows it."""
        return cls._of_account(AccountKind.USER, name)

    @classmethod
    def of_group(cls, name: str) -> Sid:
        r"""Gives the SID of the group "DOMAIN\name"; NotFound when no source knows it."""
        return cls._of_account(AccountKind.GROUP, name)

    @classmethod
    def of_record(cls, record: Any) -> Sid:
        """Copies a credutl_sid_t."""
        return cls(bytes(ffi.buffer(ffi.addressof(record))))

    @classmethod
    def _of_account(cls, kind: AccountKind, name: str) -> Sid:
        account = ffi.new("credutl_account_t *")
        call_system("credutl_account_by_name", int(kind), c_text(name), account)
        return cls.of_record(account.sid)

    def native(self) -> Any:
        """Gives a credutl_sid_t of this value."""
        return ffi.new("credutl_sid_t *", {"type": self.record[0], "length": self.record[1], "value": self.record[2:]})

    def name(self, kind: AccountKind) -> str:
        r"""Gives the account's name, "DOMAIN\name"; NotFound when no source knows it."""
        account = ffi.new("credutl_account_t *")
        call_system("credutl_account_by_sid", int(kind), self.native(), account)
        return py_text(account.name)

    def __str__(self) -> str:
        text = ffi.new("char[]", _SID_TEXT_SIZE)
        call_system("credutl_sid_to_str", self.native(), text, _SID_TEXT_SIZE)
        return py_text(text)

    def __repr__(self) -> str:
        return f"Sid.parse({str(self)!r})"


Sid.NOBODY = Sid.parse("S-1-0-0")


@dataclass(frozen=True)
class Credentials:
    """The identities of a client."""

    domain: str
    user: Sid
    group: Sid
    """The primary group; nobody when there is none."""
    groups: tuple[Sid, ...]
    """The supplementary groups, without the primary one."""


class Client(Handle):
    """Who asks for permissions."""

    _type = "credutl_client_t *"
    _free = "credutl_client_free"

    def __init__(self) -> None:
        raise TypeError("a client is made by named(), process() or of_sids()")

    @classmethod
    def named(cls, account: str) -> Client:
        r"""Gives the client of the account "DOMAIN\name", with all its groups; NotFound for an unknown one."""
        return cls._made("credutl_client_from_account", c_text(account))

    @classmethod
    def process(cls) -> Client:
        """Gives the client that the calling process is: effective ids, supplementary groups."""
        return cls._made("credutl_client_from_process")

    @classmethod
    def of_sids(cls, user: Sid, group: Sid = Sid.NOBODY, groups: Iterable[Sid] = (), domain: str = "") -> Client:
        """Gives a client of these identities."""
        records = [sid.native()[0] for sid in groups]
        array = ffi.new("credutl_sid_t[]", records)
        sids = ffi.new("credutl_sid_credentials_t *", (user.native()[0], group.native()[0], len(records), array))
        return cls._made("credutl_client_from_sids", c_text(domain), sids)

    @classmethod
    def _made(cls, function: str, *arguments: Any) -> Client:
        variable = cls._new_variable()
        call_system(function, *arguments, variable)
        return cls._adopt(variable)

    def credentials(self) -> Credentials:
        """Gives the client's identities; names are resolved."""
        domain = ffi.new("char[]", _DOMAIN_SIZE)
        cracked = ffi.new("credutl_cracked_t *")
        with held(self) as (handle,):
            call_system("credutl_crack_client", handle, domain, _DOMAIN_SIZE, cracked)
        try:
            if cracked.sids:
                return _credentials(py_text(domain), cracked.sids)
            resolved = ffi.new("credutl_sid_credentials_t **")
            call_system("credutl_string_credentials_to_sid_credentials", cracked.strings, resolved)
            try:
                return _credentials(py_text(domain), resolved[0])
            finally:
                lib.credutl_free_sid_credentials(resolved)
        finally:
            lib.credutl_free_cracked(cracked)


def _credentials(domain: str, sids: Any) -> Credentials:
    groups = tuple(Sid.of_record(sids.groups[i]) for i in range(sids.group_count))
    return Credentials(domain, Sid.of_record(sids.user), Sid.of_record(sids.group), groups)


def flush_accounts() -> None:
    """Forgets what the sources of accounts have answered; ORSIK_ACCOUNTS is read again."""
    ask("credutl_flush_accounts")
