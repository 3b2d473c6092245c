"""Texts for functions that read files."""

from __future__ import annotations

import contextlib
import os
import tempfile
from collections.abc import Iterator


@contextlib.contextmanager
def text_file(text: str) -> Iterator[str]:
    """Gives the path of a file that holds a text and goes with the block."""
    descriptor, path = tempfile.mkstemp(prefix="orsiktbs-")
    try:
        with os.fdopen(descriptor, "wb") as file:
            file.write(text.encode("utf-8", "surrogateescape"))
        yield path
    finally:
        os.unlink(path)
