"""The library, loaded once, and texts on their way in and out of it."""

from __future__ import annotations

import os
from typing import Any

from cffi import FFI

from ._declarations import CDEF

#: What is loaded unless the environment variable ORSIKTBS_LIBRARY names another file.
DEFAULT_LIBRARY = "liborsiktbs.so.11"

ffi = FFI()
ffi.cdef(CDEF)


def _load() -> Any:
    name = os.environ.get("ORSIKTBS_LIBRARY") or DEFAULT_LIBRARY
    try:
        return ffi.dlopen(name)
    except OSError as error:
        raise ImportError(
            f"{error}. Install the library, or set ORSIKTBS_LIBRARY to its file.", name="orsiktbs", path=name
        ) from error


lib = _load()


def c_text(text: str | os.PathLike[str]) -> Any:
    """Gives a terminated copy of a text or path; bytes that are not UTF-8 pass as os.fsdecode() shows them."""
    encoded = os.fspath(text).encode("utf-8", "surrogateescape")
    if b"\0" in encoded:
        raise ValueError("embedded null character")
    return ffi.new("char[]", encoded)


def py_text(pointer: Any) -> str:
    """Gives the text that a pointer leads to; "" for NULL."""
    return "" if pointer == ffi.NULL else bytes(ffi.string(pointer)).decode("utf-8", "surrogateescape")
