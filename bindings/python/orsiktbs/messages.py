"""Messages: what the library prints, caught before it reaches the standard streams; its message tables.

A call that fails raises an error which holds its messages. What is printed otherwise, by a call that succeeds (a
warning, a trace) or by nobody's call, goes to the logger "orsiktbs".
"""

from __future__ import annotations

import atexit
import enum
import logging
import threading
from collections.abc import Callable
from dataclasses import dataclass, replace
from typing import Any

from ._library import c_text, ffi, lib, py_text
from .status import errno_to_status

logger = logging.getLogger("orsiktbs")


class Severity(enum.IntEnum):
    """How much a message matters. Any other number is shown as an error."""

    PLAIN = 0
    WARNING = 4
    ERROR = 6
    FOLLOW_UP = 7
    TRACE = 8
    CONTINUATION = 9


_LEVELS = {
    Severity.PLAIN: logging.INFO,
    Severity.WARNING: logging.WARNING,
    Severity.TRACE: logging.DEBUG,
    Severity.CONTINUATION: logging.INFO,
}


@dataclass(frozen=True)
class Message:
    """A message as it was printed: without prefix, and without the line end behind it."""

    severity: int
    module: str
    number: int
    """The published number; 0 when the message is of no table."""
    text: str

    def __str__(self) -> str:
        return self.text


class _Collecting(threading.local):
    """What the thread has printed while it is inside a call."""

    messages: list[Message] | None = None


_collecting = _Collecting()


@ffi.callback("imsg_sink_t")  # type: ignore[misc]  # cffi has no types
def _sink(_context: Any, severity: int, module: Any, table: Any, index: int, text: Any) -> None:
    number = table.numbers[index] if table != ffi.NULL and index < table.count else 0
    message = Message(severity, py_text(module), number, py_text(text))
    printed = _collecting.messages
    if printed is None:
        log([_finished(message)])
    elif severity == Severity.CONTINUATION and printed:
        printed[-1] = replace(printed[-1], text=printed[-1].text + message.text)
    else:
        printed.append(message)


def _finished(message: Message) -> Message:
    return replace(message, text=message.text.rstrip("\n"))


def collected(function: Callable[..., Any], *arguments: Any) -> tuple[Any, list[Message]]:
    """Calls a function; gives its result, and what the thread has printed meanwhile."""
    printed: list[Message] = []
    before = _collecting.messages
    _collecting.messages = printed
    try:
        result = function(*arguments)
    finally:
        _collecting.messages = before
    return result, [_finished(message) for message in printed]


def log(messages: list[Message]) -> None:
    """Hands messages to the logger "orsiktbs"."""
    for message in messages:
        level = _LEVELS.get(message.severity, logging.ERROR)  # type: ignore[call-overload]
        logger.log(level, "%s: %s", message.module or "tbs", message.text)


def catch() -> None:
    """Catches the messages of the process; importing the package has done it."""
    lib.imsg_set_sink(_sink, ffi.NULL)


def release() -> None:
    """Gives the messages of the process back to the standard streams; errors then hold none."""
    lib.imsg_set_sink(ffi.cast("imsg_sink_t", 0), ffi.NULL)


catch()
atexit.register(release)  # an ending interpreter answers no more


@dataclass(frozen=True)
class MessageTable:
    """A message table: the formats of its messages by their published numbers, translated as the library does."""

    module: str
    module_number: int
    texts: dict[int, str]


def _table(pointer: Any) -> MessageTable:
    texts = {pointer.numbers[i]: py_text(lib.imsg_text(pointer, i)) for i in range(pointer.count)}
    return MessageTable(py_text(pointer.module), pointer.module_number, texts)


def message_tables() -> dict[str, MessageTable]:
    """Gives the four message tables by the names that the tool calls them."""
    return {
        "tbs": _table(lib.tbs_tbs_msg_table_adr()),
        "tbs_acl": _table(lib.tbs_acl_tbs_msg_table_adr()),
        "tbs_cmsg": _table(lib.tbs_cmsg_tbs_msg_table_adr()),
        "tbs_notify": _table(lib.tbs_notify_tbs_msg_table_adr()),
    }


def set_verbosity(verbosity: int) -> None:
    """Sets the verbosity of the process, as ORSIK_VERBOSITY does."""
    lib.imsg_set_desired_verbosity(verbosity)


def set_trace(modules: str) -> None:
    """Sets which modules trace, as ORSIK_TRACE does: "tbs_acl:3,tbs_notify:2"; "" for none."""
    if (error := lib.imsg_set_trace(c_text(modules))) != 0:
        from .errors import error_of

        raise error_of("imsg_set_trace", errno_to_status(error), [])
