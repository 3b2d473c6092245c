"""Errors: one class for all, subclasses for what callers tell apart; calls that raise them."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

from . import messages
from ._library import lib
from .messages import Message
from .status import Status, errno_to_status, named, status_text


class TbsError(Exception):
    """A function of the library has failed."""

    def __init__(self, operation: str, status: int, printed: tuple[Message, ...] = ()) -> None:
        super().__init__(operation, status, printed)
        #: The C function that failed.
        self.operation = operation
        #: The status, a member of :class:`Status` when it has a name there.
        self.status = named(status)
        #: The text of the status.
        self.text = status_text(status)
        #: What the function printed, in order.
        self.messages = printed

    def __str__(self) -> str:
        printed = " ".join(message.text for message in self.messages)
        return f"{printed or self.text} [{self.operation}: {int(self.status)}]"


class NotFound(TbsError, KeyError):
    """There is no such entry, binding, account or file."""

    __str__ = TbsError.__str__  # that of KeyError shows its argument


class AccessDenied(TbsError):
    """The system or the library does not permit it."""


class InvalidArgument(TbsError, ValueError):
    """A value is none that the function takes: a name, a kind, a set of permissions, a line of a file."""


class TextTooLong(TbsError, ValueError):
    """A text does not fit."""


class OutOfMemory(TbsError, MemoryError):
    """There is no memory; the objects are as they were."""


CLASSES: Mapping[int, type[TbsError]] = {
    1: AccessDenied,
    2: NotFound,
    12: OutOfMemory,
    13: AccessDenied,
    22: InvalidArgument,
    Status.NOT_FOUND: NotFound,
    Status.DENIED: AccessDenied,
    Status.EPERM: AccessDenied,
    Status.ENOENT: NotFound,
    Status.ENOMEM: OutOfMemory,
    Status.EACCES: AccessDenied,
    Status.EINVAL: InvalidArgument,
    Status.ENAMETOOLONG: TextTooLong,
}


def error_of(operation: str, status: int, printed: list[Message]) -> TbsError:
    """Gives the error of a status."""
    return CLASSES.get(status, TbsError)(operation, status, tuple(printed))


def ask(function: str, *arguments: Any) -> Any:
    """Calls a function that cannot fail, or whose result says it; gives the result."""
    result, printed = messages.collected(getattr(lib, function), *arguments)
    messages.log(printed)
    return result


def call(function: str, *arguments: Any) -> None:
    """Calls a function that gives a status; raises its error."""
    status, printed = messages.collected(getattr(lib, function), *arguments)
    if status != Status.OK:
        raise error_of(function, status, printed)
    messages.log(printed)


def call_system(function: str, *arguments: Any) -> None:
    """Calls a function that gives an error number; raises the error of its status."""
    error, printed = messages.collected(getattr(lib, function), *arguments)
    if error != 0:
        raise error_of(function, errno_to_status(error), printed)
    messages.log(printed)


def call_pointer(function: str, *arguments: Any, failure: int = Status.ENOMEM) -> Any:
    """Calls a function that gives NULL when it fails, mostly for lack of memory; gives the pointer."""
    pointer, printed = messages.collected(getattr(lib, function), *arguments)
    if not pointer:
        raise error_of(function, failure, printed)
    messages.log(printed)
    return pointer
