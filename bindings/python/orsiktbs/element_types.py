"""Element types of files, by the rules of the type files."""

from __future__ import annotations

import enum
import os

from ._library import c_text, ffi, py_text
from .errors import ask, call_pointer
from .status import Status

_NOT_OPEN = -2  # TBS_FT_NOT_OPEN


class LookAt(enum.IntFlag):
    """What a question may look at."""

    NAME = 1
    STATUS = 2
    CONTENT = 4
    ALL = 15


def file_types(path: str | os.PathLike[str], look_at: LookAt = LookAt.ALL) -> tuple[str, ...]:
    """Gives the types of a file, the closest first; none when no rule holds.

    The first question of the process reads the type files of the search path; TbsError when they cannot be read.
    """
    type_file_path()
    names = ffi.new("const char *const **")
    if ask("tbs_file_type_opt", c_text(path), _NOT_OPEN, ffi.NULL, int(look_at), names) != 0:
        return ()
    found: list[str] = []
    while pointer := names[0][len(found)]:
        found.append(py_text(pointer))
    return tuple(found)


def type_file_path() -> str:
    """Gives the search path of the type files; TbsError when they cannot be read."""
    return py_text(call_pointer("tbs_file_type_path", failure=Status.ERROR))
