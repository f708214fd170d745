"""The one exception of the package, carrying the library's error code and message."""
from __future__ import annotations

import ctypes
from typing import Optional

from . import _records as r
from ._library import lib


class VelkoError(Exception):
    """A call the library refused. ``code`` is the library's error number (-400 and below,
    or -123 when the library left none), ``message`` its text for it."""

    def __init__(self, code: int, message: str, path: Optional[str] = None):
        self.code = code
        self.message = message
        self.path = path
        where = "%s: " % path if path else ""
        super().__init__("%s%s (%d)" % (where, message, code))


def message_of(code: int) -> str:
    """The library's text for an error number."""
    buffer = ctypes.create_string_buffer(128)
    lib().CDBGetErrorMessage(code, buffer, len(buffer) - 1)
    return buffer.value.decode("latin-1")


def last_error(handle: int, path: Optional[str] = None) -> VelkoError:
    """The error the library keeps for a drawing handle (CDB_FAIL: the last failed open)."""
    code = lib().CDBGetErrorNumber(handle)
    if code == 0:
        return VelkoError(r.CDB_FAIL, "the call failed", path)
    return VelkoError(code, message_of(code), path)


def check(status: int, handle: int) -> int:
    """`status` itself, or the drawing's error raised when the status is CDB_FAIL."""
    if status == r.CDB_FAIL:
        raise last_error(handle)
    return status
