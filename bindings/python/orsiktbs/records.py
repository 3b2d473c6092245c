"""Configuration records: who built what, where and when, and of what.

The classes have the members of the C records, by the same names. How each kind of member is copied stands in one table;
the members themselves tell their kinds by their types.
"""

from __future__ import annotations

import struct
from collections.abc import Callable
from dataclasses import Field, dataclass, field, fields
from typing import Any, ClassVar, TypeVar

from ._library import c_text, ffi, lib, py_text
from .errors import TbsError, call
from .identifiers import Uuid
from .status import Status

_COMPRESSED_FORMAT = 1  # TBS_CR_COMPRESSED_CURR_FORMAT
_MOST_FLAGS = 0xFFFF  # more end the process when they are encoded
_HEADER = struct.Struct(">iII")  # format, length, length again: the data and zeros up to a multiple of 4 follow


_Self = TypeVar("_Self", bound="_Record")


@dataclass
class _Record:
    """A record that is copied member by member."""

    _type: ClassVar[str]

    @classmethod
    def of_record(cls: type[_Self], record: Any) -> _Self:
        """Copies the C record."""
        return cls(**{member.name: _from_c(record, member) for member in fields(cls)})

    def fill(self, record: Any, keep: list[Any]) -> None:
        """Writes the members into a C record; what it points to is put into a list, which is to live as long."""
        for member in fields(self):
            _to_c(record, member, getattr(self, member.name), keep)


@dataclass
class Time:
    """A point of time: seconds since 1970, and microseconds."""

    tv_sec: int = 0
    tv_usec: int = 0


def _number() -> Any:
    return field(default=0, metadata={"kind": int})


def _text() -> Any:
    return field(default="", metadata={"kind": str})


def _uuid() -> Any:
    return field(default=Uuid.NULL, metadata={"kind": Uuid})


def _list_of(kind: type, count: str) -> Any:
    return field(default_factory=list, metadata={"kind": kind, "count": count})


@dataclass
class VobDescription(_Record):
    """A repository that objects come from."""

    _type = "tbs_cr_vob_desc_t"
    pathname: str = _text()
    family_oid: Uuid = _uuid()
    replica_oid: Uuid = _uuid()


@dataclass
class MfsPredefined(_Record):
    """An object in the MVFS that the build was told of beforehand."""

    _type = "tbs_cr_mfs_predef_t"
    pathname: str = _text()
    version: str = _text()
    flags: int = _number()


@dataclass
class LinkText(_Record):
    """Where a symbolic link leads."""

    _type = "tbs_cr_slinktext_rec_t"
    text: str = _text()
    object: int = _number()


@dataclass
class FilePredefined(_Record):
    """A file outside the MVFS that took part."""

    _type = "tbs_cr_fs_predef_t"
    pathname: str = _text()
    checksum: str = _text()
    result_obj_flags: int = _number()
    ftype: int = _number()
    host_kind: int = _number()
    size: int = _number()
    mode: int = _number()
    mtime: int = _number()
    ctime: int = _number()


@dataclass
class MfsObject(_Record):
    """An object in the MVFS that took part."""

    _type = "tbs_cr_mfs_obj_desc_t"
    oid: Uuid = _uuid()
    mtime: int = _number()
    element_oid: Uuid = _uuid()
    vob: int = _number()
    result_obj_flags: int = _number()
    ftype: int = _number()
    mtype: int = _number()
    parent: int = _number()
    branch_oid: Uuid = _uuid()
    name: str = _text()


@dataclass
class ConfigurationRecord(_Record):
    """A configuration record. Times are seconds since 1970."""

    _type = "tbs_cr_t"
    format_version: int = _number()
    build_time: int = _number()
    elapsed: int = _number()
    exit_status: int = _number()
    user: str = _text()
    group: str = _text()
    host: str = _text()
    host_type: str = _text()
    directory: str = _text()
    target_oid: Uuid = _uuid()
    view_uuid: Uuid = _uuid()
    target: str = _text()
    began: Time = field(default_factory=Time, metadata={"kind": Time})
    command: str = _text()
    flags: int = _number()
    variables: list[str] = _list_of(str, "variable_count")
    mfs_predefs: list[MfsPredefined] = _list_of(MfsPredefined, "mfs_predef_count")
    fs_predefs: list[FilePredefined] = _list_of(FilePredefined, "fs_predef_count")
    options: list[str] = _list_of(str, "option_count")
    vobs: list[VobDescription] = _list_of(VobDescription, "vob_count")
    mfs_objects: list[MfsObject] = _list_of(MfsObject, "mfs_object_count")
    slinktexts: list[LinkText] = _list_of(LinkText, "slinktext_count")

    @classmethod
    def decompress(cls, data: bytes) -> ConfigurationRecord:
        """Reads the compressed data of a record, one zstd frame; TbsError for anything else."""
        content = ffi.from_buffer("uint8_t[]", data)
        compressed = ffi.new("tbs_cr_compressed_t *", (_COMPRESSED_FORMAT, len(data), content))
        record = ffi.new("tbs_cr_t *")
        try:
            call("tbs_cr_compressed_to_cr", compressed, record)
            return cls.of_record(record)
        finally:
            lib.tbs_cr_free_cr_xdr(record)

    def compress(self) -> bytes:
        """Gives the compressed data. Sets format_version to the format that was written.

        Flags of objects that do not fit in 16 bits are a ValueError, numbers that their members do not hold an
        OverflowError.
        """
        flags = [each.result_obj_flags for each in self.fs_predefs]
        flags += [each.result_obj_flags for each in self.mfs_objects]
        if any(each > _MOST_FLAGS for each in flags):
            raise ValueError("flags of objects fit in 16 bits")
        record = ffi.new("tbs_cr_t *")
        keep: list[Any] = []
        self.fill(record, keep)
        variable = ffi.new("tbs_cr_compressed_t **")
        call("tbs_cr_to_compressed", record, variable)
        try:
            self.format_version = record.format_version
            return bytes(ffi.buffer(variable[0].data, variable[0].length))
        finally:
            lib.tbs_cr_free_compressed_stg(variable[0])

    @classmethod
    def decode(cls, data: bytes) -> ConfigurationRecord:
        """Reads a record as servers store it: format, length, length, compressed data, in XDR (RFC 4506)."""
        if len(data) >= _HEADER.size:
            version, length, again = _HEADER.unpack_from(data)
            rest = data[_HEADER.size:]
            if version == _COMPRESSED_FORMAT and length == again and len(rest) == length + -length % 4:
                return cls.decompress(rest[:length])
        raise TbsError("decode", Status.ERROR)

    def encode(self) -> bytes:
        """Gives the record as servers store it."""
        data = self.compress()
        return _HEADER.pack(_COMPRESSED_FORMAT, len(data), len(data)) + data + bytes(-len(data) % 4)


# How a value of each kind comes out of C. Records are told by their classes.
_OUT: dict[type, Callable[[Any], Any]] = {
    int: int,
    str: py_text,
    Uuid: Uuid.of_record,
    Time: lambda time: Time(time.tv_sec, time.tv_usec),
}


def _from_c(record: Any, member: Field[Any]) -> Any:
    kind, count = member.metadata["kind"], member.metadata.get("count")
    out = _OUT.get(kind) or kind.of_record
    value = getattr(record, member.name)
    return out(value) if count is None else [out(value[i]) for i in range(getattr(record, count))]


def _to_c(record: Any, member: Field[Any], value: Any, keep: list[Any]) -> None:
    kind, count = member.metadata["kind"], member.metadata.get("count")
    if count is not None:
        setattr(record, count, len(value))
        value = _array(getattr(record, member.name), [_pointer(each, keep) for each in value], keep)
    elif kind is str:
        value = _pointer(value, keep)
    elif kind is Uuid:
        value = value.native()[0]
    elif kind is Time:
        value = (value.tv_sec, value.tv_usec)
    setattr(record, member.name, value)


def _array(like: Any, pointers: list[Any], keep: list[Any]) -> Any:
    """Gives an array of pointers, of the type of a member, that lives as long as the list."""
    array = ffi.new("void *[]", pointers)
    keep.append(array)
    return ffi.cast(ffi.typeof(like), array)


def _pointer(value: Any, keep: list[Any]) -> Any:
    """Gives a pointer to a text or record of C that lives as long as the list."""
    if isinstance(value, str):
        pointer = c_text(value)
    else:
        pointer = ffi.new(value._type + " *")
        value.fill(pointer, keep)
    keep.append(pointer)
    return pointer
