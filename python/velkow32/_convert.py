"""Turning the library's ctypes records into the package's dataclasses.

Texts are decoded as Latin-1, which keeps every byte (a drawing's texts are in its code
page; names written by the library are plain ASCII with ``\\U+XXXX`` escapes). Arrays behind
pointers are read with the count the record keeps beside them; a pointer without a known
count is given as None.
"""
from __future__ import annotations

import ctypes
from typing import Any, Callable, Dict, List, Optional, Tuple

from . import _records as r

ENCODING = "latin-1"

_Converter = Callable[[Any, Any], Any]
_plans: Dict[type, List[Tuple[str, _Converter]]] = {}


def text(pointer: Any) -> Optional[str]:
    """The NUL-ended text behind a ``char *``, or None for a null pointer."""
    if not pointer:
        return None
    return ctypes.string_at(pointer).decode(ENCODING)


def _element_converter(element: Any) -> Callable[[Any], Any]:
    if isinstance(element, type) and issubclass(element, (ctypes.Structure, ctypes.Union)):
        return lambda value: convert(value)
    return lambda value: value


def _field_converter(owner: type, name: str, ctype: Any) -> _Converter:
    counts = r.ARRAY_COUNTS.get(owner.__name__, {})
    if isinstance(ctype, type) and issubclass(ctype, ctypes._Pointer):  # noqa: SLF001
        target = ctype._type_
        if target is ctypes.c_char:
            return lambda record, parent: text(getattr(record, name))
        count_name = counts.get(name)
        if count_name is None:
            return lambda record, parent: None
        from_parent = count_name.startswith("^")
        count_name = count_name.lstrip("^")
        if target is ctypes.c_uint8:
            def read_bytes(record: Any, parent: Any) -> Optional[bytes]:
                pointer = getattr(record, name)
                n = getattr(parent if from_parent else record, count_name)
                return ctypes.string_at(pointer, n) if pointer and n > 0 else None
            return read_bytes
        element = _element_converter(target)
        is_record = issubclass(target, (ctypes.Structure, ctypes.Union))

        def read_array(record: Any, parent: Any) -> List[Any]:
            pointer = getattr(record, name)
            n = getattr(parent if from_parent else record, count_name) if (
                parent is not None or not from_parent) else 0
            if not pointer or n <= 0:
                return []
            if is_record:
                return [convert(pointer[i], record) for i in range(n)]
            return [element(pointer[i]) for i in range(n)]
        return read_array
    if isinstance(ctype, type) and issubclass(ctype, ctypes.Array):
        if ctype._type_ is ctypes.c_char:
            return lambda record, parent: getattr(record, name).decode(ENCODING)
        element = _element_converter(ctype._type_)
        return lambda record, parent: [element(v) for v in getattr(record, name)]
    if isinstance(ctype, type) and issubclass(ctype, (ctypes.Structure, ctypes.Union)):
        return lambda record, parent: convert(getattr(record, name))
    return lambda record, parent: getattr(record, name)


def _plan(ctype: type) -> List[Tuple[str, _Converter]]:
    plan = _plans.get(ctype)
    if plan is None:
        plan = [(name, _field_converter(ctype, name, t))
                for name, t in ctype._fields_ if name != "_kind"]
        _plans[ctype] = plan
    return plan


def fields(record: Any, parent: Any = None) -> Dict[str, Any]:
    """The fields of a ctypes record as a dict of plain values, by the record's own names."""
    return {name: read(record, parent) for name, read in _plan(type(record))}


def convert(record: Any, parent: Any = None) -> Any:
    """The dataclass of a ctypes record (its fields as a dict when it has none)."""
    cls = r.DATACLASSES.get(type(record).__name__)
    values = fields(record, parent)
    return cls(**values) if cls else values


def kind_fields(entity: r.CDB_ENTITY, member: str) -> Dict[str, Any]:
    """The fields of the kind part `member` of an entity record. A field with the name of a
    common field takes the part's name before it (the leader's own colour: leader_color)."""
    values = fields(getattr(entity, member), entity)
    return {(member + "_" + k if k in _COMMON_NAMES else k): v for k, v in values.items()}


_COMMON_NAMES = {name for name, _ in r.CDB_ENTITY._fields_} | {"kind", "id"}

# Kinds and the union member that holds their part. Kinds 13 (ENDBLK) and 17 (SEQEND) have
# none; a 3DLINE (21) is read through the part of a LINE.
KIND_MEMBERS = {
    r.CDB_LINE: "line", r.CDB_POINT: "point", r.CDB_CIRCLE: "circle", r.CDB_SHAPE: "shape",
    r.CDB_TEXT: "text", r.CDB_ARC: "arc", r.CDB_TRACE: "trace", r.CDB_SOLID: "solid",
    r.CDB_BLOCK: "block", r.CDB_INSERT: "insert", r.CDB_ATTDEF: "attdef",
    r.CDB_ATTRIB: "attrib", r.CDB_POLYLINE: "polyline", r.CDB_VERTEX: "vertex",
    r.CDB_3DLINE: "line", r.CDB_3DFACE: "face", r.CDB_DIMENSION: "dimension",
    r.CDB_VIEWPORT: "viewport", r.CDB_ELLIPSE: "ellipse", r.CDB_SPLINE: "spline",
    r.CDB_REGION: "region", r.CDB_3DSOLID: "solid3d", r.CDB_BODY: "body", r.CDB_RAY: "ray",
    r.CDB_XLINE: "xline", r.CDB_MTEXT: "mtext", r.CDB_LEADER: "leader",
    r.CDB_TOLERANCE: "tolerance", r.CDB_MLINE: "mline", r.CDB_OLEFRAME: "ole",
}

KIND_NAMES = {
    r.CDB_LINE: "LINE", r.CDB_POINT: "POINT", r.CDB_CIRCLE: "CIRCLE", r.CDB_SHAPE: "SHAPE",
    r.CDB_TEXT: "TEXT", r.CDB_ARC: "ARC", r.CDB_TRACE: "TRACE", r.CDB_SOLID: "SOLID",
    r.CDB_BLOCK: "BLOCK", r.CDB_ENDBLK: "ENDBLK", r.CDB_INSERT: "INSERT",
    r.CDB_ATTDEF: "ATTDEF", r.CDB_ATTRIB: "ATTRIB", r.CDB_SEQEND: "SEQEND",
    r.CDB_POLYLINE: "POLYLINE", r.CDB_VERTEX: "VERTEX", r.CDB_3DLINE: "3DLINE",
    r.CDB_3DFACE: "3DFACE", r.CDB_DIMENSION: "DIMENSION", r.CDB_VIEWPORT: "VIEWPORT",
    r.CDB_ELLIPSE: "ELLIPSE", r.CDB_SPLINE: "SPLINE", r.CDB_REGION: "REGION",
    r.CDB_3DSOLID: "3DSOLID", r.CDB_BODY: "BODY", r.CDB_RAY: "RAY", r.CDB_XLINE: "XLINE",
    r.CDB_MTEXT: "MTEXT", r.CDB_LEADER: "LEADER", r.CDB_TOLERANCE: "TOLERANCE",
    r.CDB_MLINE: "MLINE", r.CDB_OLEFRAME: "OLEFRAME",
}

# The texts of each kind that a walked record hands over to its caller, who frees them.
OWNED_TEXTS = {
    r.CDB_TEXT: ("text", ("text",)),
    r.CDB_BLOCK: ("block", ("xref_path", "name", "name_2")),
    r.CDB_ATTDEF: ("attdef", ("default_value", "prompt", "tag")),
    r.CDB_ATTRIB: ("attrib", ("value", "tag")),
    r.CDB_DIMENSION: ("dimension", ("text",)),
    r.CDB_MTEXT: ("mtext", ("text",)),
    r.CDB_TOLERANCE: ("tolerance", ("text",)),
}


def entity(record: r.CDB_ENTITY, entity_id: int) -> r.Entity:
    """The dataclass of a walked entity record."""
    common = fields(record)
    kind = record.entity_type
    name = KIND_NAMES.get(kind, "UNKNOWN")
    member = KIND_MEMBERS.get(kind)
    if member is None:
        return r.Entity(kind=name, id=entity_id, **common)
    return r.KIND_CLASSES[member](kind=name, id=entity_id, **common,
                                  **kind_fields(record, member))


def free_owned_texts(record: r.CDB_ENTITY) -> None:
    """Frees the texts a walked record handed over and nulls their pointers."""
    from ._library import free
    owned = OWNED_TEXTS.get(record.entity_type)
    if not owned:
        return
    part = getattr(record, owned[0])
    for name in owned[1]:
        pointer = getattr(part, name)
        if pointer:
            free(ctypes.cast(pointer, ctypes.c_void_p).value)
            setattr(part, name, ctypes.POINTER(ctypes.c_char)())
