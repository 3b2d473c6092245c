"""Identifiers of objects."""

from __future__ import annotations

import functools
import uuid
from dataclasses import dataclass
from datetime import datetime, timezone
from typing import Any, ClassVar

from ._library import c_text, ffi, py_text
from .errors import NotFound, ask, call

_TEXT_SIZE = 41  # TBS_UUID_STR_SIZE


@functools.total_ordering
@dataclass(frozen=True)
class Uuid:
    """An identifier of 16 bytes. Sorts by its timestamp, as the library does."""

    NULL: ClassVar[Uuid]

    uuid: uuid.UUID
    """The same identifier as a value of the standard library."""

    @classmethod
    def new(cls) -> Uuid:
        """Makes a new identifier, a random one."""
        record = ffi.new("tbs_uuid_t *")
        call("tbs_uuid_gen", record)
        return cls.of_record(record)

    @classmethod
    def parse(cls, text: str) -> Uuid:
        """Reads the dotted or the dense form."""
        record = ffi.new("tbs_uuid_t *")
        call("tbs_str_to_uuid", c_text(text), record)
        return cls.of_record(record)

    @classmethod
    def of_record(cls, record: Any) -> Uuid:
        """Copies a tbs_uuid_t."""
        node = int.from_bytes(bytes(record.node), "big")
        fields = (
            record.time_low,
            record.time_mid,
            record.time_hi_and_version,
            record.clock_seq_hi_and_reserved,
            record.clock_seq_low,
            node,
        )
        return cls(uuid.UUID(fields=fields))

    def native(self) -> Any:
        """Gives a tbs_uuid_t of this value."""
        *fields, node = self.uuid.fields
        return ffi.new("tbs_uuid_t *", (*fields, node.to_bytes(6, "big")))

    @property
    def dense(self) -> str:
        """The dense form, "123456789abc1def8a12001122334455"."""
        return self._text("tbs_uuid_to_dstr")

    @property
    def hash32(self) -> int:
        """The hash that the system's programs agree on."""
        return int(ask("tbs_uuid_to_hash32", self.native()))

    @property
    def made(self) -> datetime | None:
        """When a time-based identifier was made, as all programs of the system tell it; None for others."""
        seconds = ffi.new("time_t *")
        try:
            call("tbs_uuid_to_time", self.native(), seconds)
        except NotFound:
            return None
        return datetime.fromtimestamp(seconds[0], timezone.utc)

    def __str__(self) -> str:
        return self._text("tbs_uuid_to_str")

    def __repr__(self) -> str:
        return f"Uuid.parse({str(self)!r})"

    def __lt__(self, other: object) -> bool:
        if not isinstance(other, Uuid):
            return NotImplemented
        return int(ask("tbs_uuid_cmp", self.native(), other.native())) < 0

    def _text(self, function: str) -> str:
        text = ffi.new("char[]", _TEXT_SIZE)
        return py_text(ask(function, self.native(), text))


Uuid.NULL = Uuid(uuid.UUID(int=0))
