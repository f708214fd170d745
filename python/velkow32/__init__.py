"""velkow32: read, walk and write CAD drawings of release 12 and 13 (DWG and DXF) from
Python, over the shared library velkow32 through ctypes.

    import velkow32
    with velkow32.open("plan.dwg", tolerant=True) as drawing:
        print(drawing.version, drawing.header["extmin"])
        for layer in drawing.layers:
            print(layer.name, layer.color)
        for entity in drawing.entities():
            print(entity.kind, entity.layer_index)
        drawing.save("plan.dxf")

Records come as dataclasses with the fields of the library's records under their names
(generated from the C header). Every refusal of the library is a :class:`VelkoError`
carrying its code and message. The library's settings, the read and write options among
them, are process-wide.
"""
from __future__ import annotations

from typing import Optional

from . import _records as records
from ._drawing import Drawing, WalkLimitWarning, open_drawing as open
from ._errors import VelkoError
from ._library import lib, library_path
from ._records import (CDB_READ_ANY_OBJECT_ORDER, CDB_READ_COMMENTS, CDB_READ_FULL_BINARY_CODES,
                       CDB_READ_LONG_NAMES, CDB_READ_OBJECT_HEADS, CDB_READ_TOLERANT,
                       CDB_WRITE_INTEROPERABLE, CDB_WRITE_REAL_CRCS, CDB_WRITE_SECTION_MARKS,
                       CDB_WRITE_STRICT_DXF, BlockDefinition, Entity)

__all__ = [
    "open", "Drawing", "VelkoError", "WalkLimitWarning", "Entity", "BlockDefinition",
    "records", "set_read_options", "get_read_options", "set_write_options",
    "get_write_options", "library_path",
    "CDB_READ_ANY_OBJECT_ORDER", "CDB_READ_COMMENTS", "CDB_READ_FULL_BINARY_CODES",
    "CDB_READ_LONG_NAMES", "CDB_READ_OBJECT_HEADS", "CDB_READ_TOLERANT",
    "CDB_WRITE_INTEROPERABLE", "CDB_WRITE_REAL_CRCS", "CDB_WRITE_SECTION_MARKS",
    "CDB_WRITE_STRICT_DXF",
]

__version__ = "0.1.0"


def set_read_options(options: int) -> int:
    """Sets the process-wide read options (CDB_READ_ bits; 0 is the original behaviour) for
    the drawings opened from now on; returns the options in force before."""
    return int(lib().CDBSetReadOptions(options))


def get_read_options() -> int:
    """The process-wide read options in force."""
    return int(lib().CDBGetReadOptions())


def set_write_options(options: int) -> int:
    """Sets the process-wide write options (CDB_WRITE_ bits; 0 writes the original bytes)
    for the saves from now on; returns the options in force before."""
    return int(lib().CDBSetWriteOptions(options))


def get_write_options() -> int:
    """The process-wide write options in force."""
    return int(lib().CDBGetWriteOptions())
