"""Objects of the library behind a handle: their release, and the lock that makes them safe to share."""

from __future__ import annotations

import contextlib
import threading
import weakref
from collections.abc import Iterator
from typing import Any, ClassVar, TypeVar

from ._library import ffi, lib

_Self = TypeVar("_Self", bound="Handle")


class Handle:
    """An object of the library.

    It is released by :meth:`close`, at the end of a ``with`` block, or with the last reference to it. Threads may share
    it: a lock of its own lets them in one by one.
    """

    _type: ClassVar[str]
    _free: ClassVar[str]

    def __init__(self, variable: Any) -> None:
        self._variable = variable
        self._lock = threading.RLock()
        self._released = weakref.finalize(self, getattr(lib, self._free), variable)

    @classmethod
    def _new_variable(cls) -> Any:
        return ffi.new(cls._type + " *")

    @classmethod
    def _adopt(cls: type[_Self], variable: Any) -> _Self:
        """Gives an object for the handle that a function has left in a variable."""
        self = cls.__new__(cls)
        Handle.__init__(self, variable)
        return self

    @property
    def closed(self) -> bool:
        """Whether it has been released."""
        return not self._released.alive

    def close(self) -> None:
        """Releases it; again does nothing."""
        with self._lock:
            self._released()

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


@contextlib.contextmanager
def held(*objects: Handle) -> Iterator[list[Any]]:
    """Gives the handles of objects, which are neither released nor used by other threads inside the block."""
    with contextlib.ExitStack() as stack:
        for each in sorted(objects, key=id):  # one order for all threads
            stack.enter_context(each._lock)
        for each in objects:
            if each.closed:
                raise ValueError(f"the {type(each).__name__} is closed")
        yield [each._variable[0] for each in objects]
