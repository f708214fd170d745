"""An open drawing: its release, header, tables, blocks, entity walks and saves."""
from __future__ import annotations

import ctypes
import os
import warnings
from types import MappingProxyType
from typing import Any, Iterator, List, Mapping, Optional, Tuple, Union

from . import _convert as convert
from . import _records as r
from ._errors import VelkoError, check, last_error
from ._library import TABLE_RECORDS, free, lib

PathLike = Union[str, "os.PathLike[str]"]

# The highest count the flat interface gives for a list; a longer list reads as this many.
FLAT_WALK_LIMIT = 32767


class WalkLimitWarning(UserWarning):
    """A walk ended where the flat interface can go no further although the list goes on:
    the entity walk past position 65535 of a list (an id keeps the position in 16 bits),
    the display walk past position 32768 (its cursor keeps 16 signed bits)."""


def _path(path: PathLike) -> bytes:
    return os.fsencode(os.fspath(path))


class Drawing:
    """A drawing opened by :func:`velkow32.open`. Use it as a context manager, or call
    :meth:`close` when done; every other call raises :class:`VelkoError` after that."""

    def __init__(self, handle: int, path: str):
        self._h: Optional[int] = handle
        self.path = path

    # ---- life --------------------------------------------------------------------------

    def close(self) -> None:
        """Closes the drawing; a second call does nothing."""
        if self._h is not None:
            lib().CDBEndOperation(self._h)
            self._h = None

    def __enter__(self) -> "Drawing":
        return self

    def __exit__(self, *exc: Any) -> None:
        self.close()

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # pragma: no cover - at interpreter exit
            pass

    @property
    def handle(self) -> int:
        """The library's handle of the drawing."""
        if self._h is None:
            raise VelkoError(r.CDB_ERR_INVALID_DRAWING_HANDLE, "the drawing is closed")
        return self._h

    # ---- what the drawing is -----------------------------------------------------------

    @property
    def version(self) -> int:
        """The release the drawing was read in: 12 or 13."""
        return check(lib().CDBGetAutoCADVersion(self.handle), self.handle)

    @property
    def tolerant_reads(self) -> int:
        """The CDB_READ_ bits of the tolerant roads the reading of this drawing took."""
        return lib().CDBGetTolerantReads(self.handle)

    @property
    def header(self) -> Mapping[str, Any]:
        """The header variables as a read-only mapping from their names (``acadver``,
        ``extmin``, ...) to their values: numbers, texts, and Point2/Point3 dataclasses."""
        record = r.CDB_HEADER_type()
        check(lib().CDBGetAllVariables(self.handle, ctypes.byref(record)), self.handle)
        return MappingProxyType(convert.fields(record))

    # ---- tables ------------------------------------------------------------------------

    def _table(self, name: str) -> List[Any]:
        count = getattr(lib(), "CDB%sTableCount" % name)(self.handle)
        if count < 0:
            raise last_error(self.handle)
        get = getattr(lib(), "CDB%sTableGet" % name)
        records = []
        for index in range(count):
            record = TABLE_RECORDS[name]()
            check(get(self.handle, index, ctypes.byref(record)), self.handle)
            records.append(convert.convert(record))
        return records

    @property
    def layers(self) -> List[r.LayerRecord]:
        """The layer table."""
        return self._table("Layer")

    @property
    def line_types(self) -> List[r.LtypeRecord]:
        """The line type table."""
        return self._table("LineType")

    @property
    def styles(self) -> List[r.StyleRecord]:
        """The text style table."""
        return self._table("Style")

    @property
    def vports(self) -> List[r.VportRecord]:
        """The viewport table."""
        return self._table("Vport")

    @property
    def views(self) -> List[r.ViewRecord]:
        """The view table."""
        return self._table("View")

    @property
    def ucs(self) -> List[r.UcsRecord]:
        """The user coordinate system table."""
        return self._table("UCS")

    @property
    def appids(self) -> List[r.AppidRecord]:
        """The application id table."""
        return self._table("Appid")

    @property
    def dim_styles(self) -> List[r.DimstyleRecord]:
        """The dimension style table."""
        return self._table("DimStyle")

    @property
    def mline_styles(self) -> List[r.MlinestyleRecord]:
        """The multiline style table (release 13; empty for release 12)."""
        return self._table("MLineStyle")

    @property
    def block_records(self) -> List[r.BlockRecord]:
        """The block table's records."""
        return self._table("Block")

    # ---- blocks ------------------------------------------------------------------------

    @property
    def blocks(self) -> Iterator[r.BlockDefinition]:
        """The blocks in the order of the block walk, deleted ones included (``deleted``).
        ``drawing.entities(block.index)`` walks a block's entities."""
        h = self.handle
        record = r.CDB_STARTBLOCK_ENTITY_type()
        status = lib().CDBGetFirstBlock(h, ctypes.byref(record))
        index = 0
        while status >= 0:
            values = convert.fields(record)
            own = {k: values[k] for k in ("xref_path", "name", "name_2", "flags", "base_point")}
            for name in ("xref_path", "name", "name_2"):
                free(ctypes.cast(getattr(record, name), ctypes.c_void_p).value)
            yield r.BlockDefinition(index=index, deleted=status == r.CDB_DELETED, **own)
            index += 1
            record = r.CDB_STARTBLOCK_ENTITY_type()
            status = lib().CDBGetNextBlock(h, ctypes.byref(record))
        if status == r.CDB_FAIL:
            raise last_error(h)

    # ---- entity walks ------------------------------------------------------------------

    def _walk(self, block: int) -> Iterator[Tuple[int, r.CDB_ENTITY]]:
        """The ids and records of a list, the record filled for each in turn (and its owned
        texts the caller's to free before the next)."""
        h = self.handle
        l = lib()
        record = r.CDB_ENTITY()
        entity_id = l.CDBFirstEntity(h, block)
        if entity_id == r.CDB_END_OF_WALK and block >= 0 and \
                l.CDBGetErrorNumber(h) == r.CDB_ERR_BLOCK_NOT_FOUND:
            raise last_error(h)
        while entity_id >= 0:
            ctypes.memset(ctypes.byref(record), 0, ctypes.sizeof(record))
            current = l.CDBGetCurrentEntity(h, ctypes.byref(record))
            if current < 0:
                break
            yield current, record
            entity_id = l.CDBNextEntity(h)
        if entity_id == r.CDB_FAIL:
            raise last_error(h)
        if entity_id < 0:
            return
        # The cursor keeps its position in 16 signed bits and stops at 32768 while the list
        # goes on; an id keeps 16 unsigned bits, so the rest is read by id, up to 65535.
        position = entity_id & 0xFFFF
        while position <= 0xFFFF:
            entity_id = l.CDBPackEntityId(block, position)
            ctypes.memset(ctypes.byref(record), 0, ctypes.sizeof(record))
            l.CDBGetEntity(h, entity_id, ctypes.byref(record))
            if record.entity_type == 0:  # past the end: nothing was filled
                return
            yield entity_id, record
            position += 1
        warnings.warn("the list holds more than 65536 entities: the flat interface names no "
                      "position past 65535, so the walk ends there", WalkLimitWarning,
                      stacklevel=3)

    def entities(self, block: int = -1) -> Iterator[r.Entity]:
        """The entities of the main list (block -1) or of the block with that index, in
        order, the list's closing entity included (the main list ends with an ENDBLK).

        There is no limit of 32767 here: where the flat cursor stops (at position 32768 of
        a list), the walk goes on by entity id, whose position has 16 unsigned bits. A list
        of more than 65536 entities cannot be walked further through the flat interface: the
        walk then ends at position 65535 with a :class:`WalkLimitWarning`, never silently."""
        for entity_id, record in self._walk(block):
            try:
                item = convert.entity(record, entity_id)
            finally:
                convert.free_owned_texts(record)
            yield item

    def entity_count(self, block: int = -1) -> int:
        """The entities of a list, its closing entity included, counted by walking it (the
        flat count stops at 32767)."""
        n = 0
        for _, record in self._walk(block):
            convert.free_owned_texts(record)
            n += 1
        return n

    def navigate(self) -> Iterator[r.Entity]:
        """The display walk from the start of the main list: entities as they are shown,
        inserted blocks followed into their entities, hidden ones left out. An entity's
        ``id`` here is the position the display walk gives (in its list, 0 to 65535).

        The display walk moves the flat cursor, which stops at position 32768 of a list:
        when the main list is longer, a :class:`WalkLimitWarning` says that the display walk
        ends there."""
        h = self.handle
        if lib().CDBFirstEntity(h, -1) == r.CDB_FAIL:
            raise last_error(h)
        if lib().CDBEntityCount(h, -1) >= FLAT_WALK_LIMIT and \
                self.entity_count() > FLAT_WALK_LIMIT + 1:
            warnings.warn("the main list holds more than 32768 entities: the display walk "
                          "ends at position 32768", WalkLimitWarning, stacklevel=2)
            lib().CDBFirstEntity(h, -1)
        record = r.CDB_ENTITY()
        while True:
            ctypes.memset(ctypes.byref(record), 0, ctypes.sizeof(record))
            result = lib().CDBNavigate(h, ctypes.byref(record))
            if result == r.CDB_END_OF_WALK:
                return
            if result == r.CDB_FAIL:
                raise last_error(h)
            try:
                item = convert.entity(record, result & 0xFFFF)
            finally:
                convert.free_owned_texts(record)
            yield item

    # ---- saving ------------------------------------------------------------------------

    def save(self, path: PathLike, binary: bool = False) -> None:
        """Writes the drawing in the release it was read in: as DWG when `path` ends in
        ``.dwg`` (any case), otherwise as DXF, binary when `binary` is set. The write
        options in force (:func:`velkow32.set_write_options`) apply."""
        h = self.handle
        name = _path(path)
        if name.lower().endswith(b".dwg"):
            if binary:
                raise ValueError("binary is for DXF output, not for a .dwg")
            status = lib().CDBSaveAsDWG(h, name)
        else:
            status = lib().CDBSaveAsDXF(h, name, 1 if binary else 0)
        check(status, h)


def open_drawing(path: PathLike, tolerant: bool = False) -> Drawing:
    """Opens the drawing file at `path` (DWG or DXF, release 12 or 13).

    With `tolerant` set the drawing is read with every tolerant road
    (CDB_READ_TOLERANT) whatever the process-wide read options are; otherwise with the
    read options in force (the original behaviour unless set_read_options changed it).
    Raises :class:`VelkoError` with the library's code and message when the file is
    refused."""
    name = _path(path)
    l = lib()
    before = l.CDBSetReadOptions(r.CDB_READ_TOLERANT) if tolerant else None
    try:
        h = l.CDBStartFileReading(name, None)
    finally:
        if before is not None:
            l.CDBSetReadOptions(before)
    if h == r.CDB_FAIL or h < 0:
        raise last_error(r.CDB_FAIL, os.fsdecode(name))
    return Drawing(h, os.fsdecode(name))
