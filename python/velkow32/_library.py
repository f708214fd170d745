"""Finding and loading the shared library velkow32, and the prototypes of its flat calls.

The library is looked for, in this order:

1. the path in the environment variable ``VELKOW32_LIBRARY``;
2. the build folder of the source tree this package sits in (``<tree>/build`` and every
   ``<tree>/build*`` folder), so that a package used from a checkout finds the library it
   was built with;
3. the installed library, through :func:`ctypes.util.find_library`.
"""
from __future__ import annotations

import ctypes
import ctypes.util
import glob
import os
from typing import List, Optional

from . import _records as r

_NAMES = ("libvelkow32.so", "libvelkow32.dylib", "velkow32.dll")


def _source_tree_candidates() -> List[str]:
    here = os.path.dirname(os.path.abspath(__file__))
    tree = os.path.dirname(os.path.dirname(here))  # <tree>/python/velkow32 -> <tree>
    if not os.path.isfile(os.path.join(tree, "include", "velkow32.h")):
        return []
    found = []
    for folder in [os.path.join(tree, "build")] + sorted(glob.glob(os.path.join(tree, "build*"))):
        for name in _NAMES:
            path = os.path.join(folder, name)
            if os.path.isfile(path) and path not in found:
                found.append(path)
    return found


def library_path() -> Optional[str]:
    """The path of the library the package will load, or None when none is found."""
    explicit = os.environ.get("VELKOW32_LIBRARY")
    if explicit:
        return explicit
    candidates = _source_tree_candidates()
    if candidates:
        return candidates[0]
    return ctypes.util.find_library("velkow32")


def _prototype(lib: ctypes.CDLL, name: str, restype, *argtypes) -> None:
    fn = getattr(lib, name)
    fn.restype = restype
    fn.argtypes = list(argtypes)


_TABLES = ("Block", "Layer", "LineType", "Style", "Vport", "View", "UCS", "Appid", "DimStyle",
           "MLineStyle")
# The record of each table, by the name its flat calls carry.
TABLE_RECORDS = {
    "Block": r.CDB_BLOCK_TBL,
    "Layer": r.CDB_LAYER_TBL_type,
    "LineType": r.CDB_LTYPE_TBL_type,
    "Style": r.CDB_STYLE_TBL_type,
    "Vport": r.CDB_VPORT_TBL_type,
    "View": r.CDB_VIEW_TBL_type,
    "UCS": r.CDB_UCS_TBL_type,
    "Appid": r.CDB_APPID_TBL_type,
    "DimStyle": r.CDB_DIMSTYLE_TBL_type,
    "MLineStyle": r.CDB_MLINESTYLE_TBL_type,
}


def _declare(lib: ctypes.CDLL) -> None:
    i16, i32, u16 = ctypes.c_int16, ctypes.c_int32, ctypes.c_uint16
    text, buf = ctypes.c_char_p, ctypes.c_char_p
    P = ctypes.POINTER
    _prototype(lib, "CDBStartFileReading", i16, text, text)
    _prototype(lib, "CDBEndOperation", i16, i16)
    _prototype(lib, "CDBGetAutoCADVersion", i16, i16)
    _prototype(lib, "CDBGetErrorNumber", i16, i16)
    _prototype(lib, "CDBGetErrorMessage", i16, i16, buf, i16)
    _prototype(lib, "CDBSetReadOptions", i32, i32)
    _prototype(lib, "CDBGetReadOptions", i32)
    _prototype(lib, "CDBSetWriteOptions", i32, i32)
    _prototype(lib, "CDBGetWriteOptions", i32)
    _prototype(lib, "CDBGetTolerantReads", i32, i16)
    _prototype(lib, "CDBGetDrawingFileInfo", i16, text, P(r.CDB_FILE_INFO))
    for table in _TABLES:
        record = P(TABLE_RECORDS[table])
        _prototype(lib, "CDB%sTableCount" % table, i16, i16)
        _prototype(lib, "CDB%sTableGet" % table, i16, i16, i16, record)
    _prototype(lib, "CDBGetFirstBlock", i16, i16, P(r.CDB_STARTBLOCK_ENTITY_type))
    _prototype(lib, "CDBGetNextBlock", i16, i16, P(r.CDB_STARTBLOCK_ENTITY_type))
    _prototype(lib, "CDBEntityCount", i16, i16, i16)
    _prototype(lib, "CDBFirstEntity", i32, i16, i16)
    _prototype(lib, "CDBNextEntity", i32, i16)
    _prototype(lib, "CDBGetCurrentEntity", i32, i16, P(r.CDB_ENTITY))
    _prototype(lib, "CDBNavigate", i16, i16, P(r.CDB_ENTITY))
    _prototype(lib, "CDBGetEntity", i16, i16, i32, P(r.CDB_ENTITY))
    _prototype(lib, "CDBPackEntityId", i32, i16, u16)
    _prototype(lib, "CDBUnpackEntityId", i16, i32, P(u16), P(i16))
    _prototype(lib, "CDBGetAllVariables", i16, i16, P(r.CDB_HEADER_type))
    _prototype(lib, "CDBEntityDefault", i16, i16, P(r.CDB_ENTITY), i16)
    _prototype(lib, "CDBEntityAdd", i32, i16, i16, P(r.CDB_ENTITY))
    _prototype(lib, "CDBSaveAsDWG", i16, i16, text)
    _prototype(lib, "CDBSaveAsDXF", i16, i16, text, i16)


_lib: Optional[ctypes.CDLL] = None
_libc: Optional[ctypes.CDLL] = None


def lib() -> ctypes.CDLL:
    """The loaded library, loaded at the first call."""
    global _lib
    if _lib is None:
        path = library_path()
        if path is None:
            raise OSError("the library velkow32 was not found: set VELKOW32_LIBRARY to the "
                          "path of libvelkow32.so, or install the library")
        loaded = ctypes.CDLL(path)
        _declare(loaded)
        _lib = loaded
    return _lib


def free(address: int) -> None:
    """Gives memory that the library handed over (allocated with malloc) back."""
    global _libc
    if _libc is None:
        _libc = ctypes.CDLL(None)
        _libc.free.restype = None
        _libc.free.argtypes = [ctypes.c_void_p]
    if address:
        _libc.free(address)
