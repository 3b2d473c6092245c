"""Permissions: the built-in ones, and the vocabularies that name the bits of a kind of object."""

from __future__ import annotations

import enum
import os
import re
from collections.abc import Mapping
from types import MappingProxyType
from typing import Any, NoReturn

from ._library import c_text, ffi, lib, py_text
from .errors import call, call_pointer

#: The bits that an entry stores.
STORED_PERMISSIONS = 0x07FFFFFF


class Permission(enum.IntFlag):
    """The permissions that are always known. READ, CHANGE, EXECUTE and FULL stand for others; see Vocabulary."""

    DELETE = 0x00010000
    ACL_READ = 0x00020000
    ACL_WRITE = 0x00040000
    RESERVED = 0x08000000
    FULL = 0x10000000
    EXECUTE = 0x20000000
    CHANGE = 0x40000000
    READ = 0x80000000
    SPECIFIC_OTHER = 0x0780FFFF
    STANDARD_OTHER = 0x007F0000
    GENERIC_OTHER = 0xF0000000


_BUILT_IN = {
    "SpecificOther": Permission.SPECIFIC_OTHER,
    "Delete": Permission.DELETE,
    "AclRead": Permission.ACL_READ,
    "AclWrite": Permission.ACL_WRITE,
    "StandardOther": Permission.STANDARD_OTHER,
    "Reserved": Permission.RESERVED,
    "Full": Permission.FULL,
    "Execute": Permission.EXECUTE,
    "Read": Permission.READ,
    "Change": Permission.CHANGE,
    "GenericOther": Permission.GENERIC_OTHER,
}

_GENERIC = ("read", "write", "execute", "all")


class VocabularyError(ValueError):
    """A permissions file is not well formed."""

    def __init__(self, path: str, line: int, problem: str) -> None:
        super().__init__(path, line, problem)
        self.path = path
        self.line = line
        self.problem = problem

    def __str__(self) -> str:
        return f"{self.path}:{self.line}: {self.problem}" if self.line else f"{self.path}: {self.problem}"


class Vocabulary:
    """Names of permissions, and what the generic ones stand for. Never changes; threads may share it."""

    def __init__(
        self,
        names: Mapping[str, int] | None = None,
        *,
        read: int = 0x00020001,
        write: int = 0x00030003,
        execute: int = 0x00020004,
        all: int = 0x0007FFFF,
    ) -> None:
        #: The names besides the built-in ones, which they go before.
        self.names: Mapping[str, int] = MappingProxyType(dict(names or {}))
        #: The masks of Read, Change, Execute and Full.
        self.generic = (read, write, execute, all)
        self._texts = [c_text(name) for name in self.names]  # the rows point into them
        self._rows = ffi.new("tbs_acl_perm_name_t[]", list(zip(self._texts, self.names.values())))
        self._map = ffi.new("tbs_acl_generic_map_t *", self.generic)
        #: What functions of the library take: names, their number, generic map.
        self.native: tuple[Any, int, Any] = (self._rows, len(self._texts), self._map)

    @classmethod
    def load(cls, path: str | os.PathLike[str]) -> Vocabulary:
        """Reads a permissions file; :class:`VocabularyError` says what is wrong with it."""
        with open(path, encoding="utf-8") as file:
            return _Reader(os.fspath(path)).read(file.read())

    def parse(self, text: str) -> int:
        """Reads names separated by ","; generic ones become what they stand for."""
        perms = ffi.new("tbs_acl_permission_set_t *")
        call("tbs_acl_utl_perm_set_from_str", c_text(text), *self.native, perms)
        return int(perms[0])

    def text(self, permissions: int) -> str:
        """Writes a set of permissions as names separated by ","; "" for none."""
        if permissions == 0:
            return ""
        return py_text(call_pointer("tbs_acl_utl_perm_set_to_str", permissions, *self.native))


def _same(a: str, b: str) -> bool:
    return bool(lib.strutl_stricoll(c_text(a), c_text(b)) == 0)


class _Reader:
    """Reads one permissions file."""

    def __init__(self, path: str) -> None:
        self._path = path
        self._line = 0
        self._names: dict[str, int] = {}
        self._generic: dict[str, int] | None = None  # once "[generic]" has been read

    def read(self, text: str) -> Vocabulary:
        for self._line, line in enumerate(text.split("\n"), 1):
            line = line.strip(" \t\r")
            if line == "[generic]" and self._generic is None:
                self._generic = {}
            elif line and not line.startswith("#"):
                self._assign(line)
        self._line = 0
        generic = self._generic or {}
        for name in _GENERIC:
            if name not in generic:
                self._refuse(f'the generic permission "{name}" is missing')
        return Vocabulary(self._names, **generic)

    def _assign(self, line: str) -> None:
        name, equals, terms = (part.strip(" \t") for part in line.partition("="))
        if not equals:
            self._refuse('the line is neither "name = value" nor the one "[generic]"')
        value = 0
        for term in terms.split(","):
            value |= self._value(term.strip(" \t"))
        if value & ~STORED_PERMISSIONS:
            self._refuse(f"the value {value:#010x} has bits that no entry stores")
        if self._generic is None:
            self._add_name(name, value)
        else:
            self._set_generic(self._generic, name, value)

    def _value(self, term: str) -> int:
        if re.fullmatch(r"0[xX]0*[0-9A-Fa-f]{1,8}", term):
            return int(term, 16)
        for name, value in (*self._names.items(), *_BUILT_IN.items()):
            if _same(name, term):
                return int(value)
        self._refuse(f'"{term}" is no permission')

    def _add_name(self, name: str, value: int) -> None:
        if not lib.strutl_is_ok_name(c_text(name), c_text("0123456789-._"), c_text("_-.")):
            self._refuse(f'"{name}" is no name for a permission')
        if value == 0:
            self._refuse(f'"{name}" stands for no permission')
        if any(_same(name, known) for known in self._names):
            self._refuse(f'"{name}" is given twice')
        self._names[name] = value

    def _set_generic(self, generic: dict[str, int], name: str, value: int) -> None:
        word = name.lower()
        if word not in _GENERIC:
            self._refuse(f'"{name}" is no generic permission')
        if word in generic:
            self._refuse(f'"{name}" is given twice')
        generic[word] = value

    def _refuse(self, problem: str) -> NoReturn:
        raise VocabularyError(self._path, self._line, problem)
