#!/usr/bin/env python3
"""Generates velkow32/_records.py from the public C header include/velkow32.h.

The header is run through the C preprocessor (so that macros such as the common part of
every entity record are expanded exactly as a C compiler sees them), then every
``typedef struct``/``typedef union`` is turned into a ctypes class with ``_pack_ = 1``, and
every numeric ``#define`` into a constant. Beside the ctypes classes it writes the
dataclasses the package hands out, one per public record, with the same field names.

Run from the source tree after the header changes:

    /usr/bin/python3 python/tools/gen_records.py

The test python/tests/test_layout.py compiles a C probe against the header and compares
every size and field offset with the generated classes, so that the two cannot drift.
"""
from __future__ import annotations

import os
import re
import subprocess
import sys
from typing import Dict, List, Optional, Tuple

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
HEADER = os.path.join(ROOT, "include", "velkow32.h")
OUTPUT = os.environ.get("VELKOW32_RECORDS_OUTPUT") or os.path.join(
    ROOT, "python", "velkow32", "_records.py")

SCALARS = {
    "int8_t": ("ctypes.c_int8", "int"),
    "uint8_t": ("ctypes.c_uint8", "int"),
    "int16_t": ("ctypes.c_int16", "int"),
    "uint16_t": ("ctypes.c_uint16", "int"),
    "int32_t": ("ctypes.c_int32", "int"),
    "uint32_t": ("ctypes.c_uint32", "int"),
    "double": ("ctypes.c_double", "float"),
    "char": ("ctypes.c_char", "str"),
}

# The field that counts the elements of an array field, where the name alone does not tell.
# "^name" means the field of the record that holds this one.
EXPLICIT_COUNTS = {
    ("CDB_LTYPE_TBL_type", "complex_types"): "dash_count",
    ("CDB_LTYPE_TBL_type", "dashes"): "dash_count",
    ("CDB_LTYPE_TBL_type", "shape_numbers"): "dash_count",
    ("CDB_LTYPE_TBL_type", "scales"): "dash_count",
    ("CDB_LTYPE_TBL_type", "rotations"): "dash_count",
    ("CDB_LTYPE_TBL_type", "x_offsets"): "dash_count",
    ("CDB_LTYPE_TBL_type", "y_offsets"): "dash_count",
    ("CDB_LTYPE_TBL_type", "style_handles"): "dash_count",
    ("CDB_MLINE_VERTEX", "lines"): "^line_count",
    ("CDB_OLE_type", "data"): "data_size",
}

# Records handed out as dataclasses under a name of their own.
PUBLIC_NAMES = {
    "CDB_STARTBLOCK_ENTITY_type": "BlockDefinition",
    "CHandleRef": "HandleRef",
}
# Records that get no dataclass: kind parts (merged into the entity classes), unions, the
# header (a mapping), and records the package does not hand out.
NO_DATACLASS = {
    "CDB_ENTITY", "CDB_SHAPE_ENTITY_type", "CDB_HEADER_type", "CDB_VAR_VALUE_type",
    "CDB_EED_type", "CDB_EED_VALUES", "FNT_POINT", "user_compGlyfData", "CDB_FILE_INFO",
}


class Field:
    def __init__(self, ctype: str, name: str, pointer: bool, array: Optional[int]):
        self.ctype, self.name, self.pointer, self.array = ctype, name, pointer, array
        self.count: Optional[str] = None


class Record:
    def __init__(self, name: str, union: bool):
        self.name, self.union = name, union
        self.fields: List[Field] = []
        self.anonymous: Optional["Record"] = None  # the anonymous union inside, if any


def preprocess() -> str:
    cc = os.environ.get("CC", "cc")
    return subprocess.run([cc, "-E", "-P", "-x", "c", HEADER], check=True,
                          capture_output=True, text=True).stdout


def constants() -> List[Tuple[str, int]]:
    found = []
    with open(HEADER, encoding="utf-8") as f:
        for line in f:
            m = re.match(r"#define\s+(CDB_\w+)\s+\(?(-?(?:0x[0-9A-Fa-f]+|\d+))\)?\s*$", line)
            if m:
                found.append((m.group(1), int(m.group(2), 0)))
    return found


def split_statements(body: str) -> List[str]:
    """Splits a brace body at the semicolons of its own level."""
    parts, depth, start = [], 0, 0
    for i, ch in enumerate(body):
        if ch == "{":
            depth += 1
        elif ch == "}":
            depth -= 1
        elif ch == ";" and depth == 0:
            parts.append(body[start:i].strip())
            start = i + 1
    return [p for p in parts if p]


def parse_fields(record: Record, body: str) -> None:
    for statement in split_statements(body):
        m = re.match(r"(struct|union)\s*\{(.*)\}\s*$", statement, re.S)
        if m:
            inner = Record(record.name + "_anonymous", m.group(1) == "union")
            parse_fields(inner, m.group(2))
            record.anonymous = inner
            record.fields.append(Field("<anonymous>", "_kind", False, None))
            continue
        m = re.match(r"((?:const\s+)?\w+)\s+(.*)$", statement, re.S)
        if not m:
            raise SystemExit("cannot read the field '%s' of %s" % (statement, record.name))
        ctype = m.group(1)
        for declarator in m.group(2).split(","):
            d = re.match(r"\s*(\*?)\s*(\w+)\s*(?:\[(\d+)\])?\s*$", declarator)
            if not d:
                raise SystemExit("cannot read '%s' of %s" % (declarator, record.name))
            record.fields.append(
                Field(ctype, d.group(2), d.group(1) == "*", int(d.group(3)) if d.group(3) else None))


def parse_records(text: str) -> Tuple[List[Record], Dict[str, str]]:
    records: List[Record] = []
    aliases: Dict[str, str] = {}
    for m in re.finditer(r"typedef\s+(struct|union)\s+(\w*)\s*\{(.*?)\}\s*(\w+)\s*;", text, re.S):
        # A nested anonymous union closes with "};" inside: widen the body to its balance.
        start = m.start(3)
        depth, i = 1, start
        while depth:
            ch = text[i]
            depth += ch == "{"
            depth -= ch == "}"
            i += 1
        body = text[start:i - 1]
        alias = re.match(r"\s*(\w+)\s*;", text[i:]).group(1)
        if alias.startswith("_"):
            continue  # the C library's own records, from <stdint.h>
        record = Record(alias, m.group(1) == "union")
        parse_fields(record, body)
        records.append(record)
    for m in re.finditer(r"typedef\s+(\w+)\s+(\w+)\s*;", text):
        if m.group(1) not in ("struct", "union", "enum") and m.group(2).startswith("CDB"):
            aliases[m.group(2)] = m.group(1)
    # The regular expression above may also match a nested body as a record of its own when
    # two typedefs follow each other closely; keep the first of each name.
    seen, unique = set(), []
    for r in records:
        if r.name not in seen:
            seen.add(r.name)
            unique.append(r)
    return unique, aliases


def singular_candidates(name: str) -> List[str]:
    names = [name]
    if name.endswith("ices"):
        names.append(name[:-4] + "ex")
    if name.endswith("s"):
        names.append(name[:-1])
    return [n + "_count" for n in names]


def assign_counts(record: Record) -> None:
    names = {f.name for f in record.fields}
    for f in record.fields:
        if not f.pointer or f.ctype == "char":
            continue
        explicit = EXPLICIT_COUNTS.get((record.name, f.name))
        if explicit:
            f.count = explicit
        elif f.name == "eed_data":
            f.count = "eed_size"
        else:
            for candidate in singular_candidates(f.name):
                if candidate in names:
                    f.count = candidate
    if record.anonymous:
        assign_counts(record.anonymous)


def ctype_of(f: Field, known: Dict[str, str]) -> str:
    base = known.get(f.ctype, f.ctype)
    if f.pointer:
        return "ctypes.POINTER(%s)" % (SCALARS[base][0] if base in SCALARS else base)
    t = SCALARS[base][0] if base in SCALARS else base
    return "%s * %d" % (t, f.array) if f.array else t


def write_ctypes(out: List[str], record: Record, known: Dict[str, str], indent: str = "") -> None:
    kind = "Union" if record.union else "Structure"
    out.append("%sclass %s(ctypes.%s):" % (indent, record.name, kind))
    out.append("%s    _pack_ = 1" % indent)
    if record.anonymous:
        write_ctypes(out, record.anonymous, known, indent + "    ")
        out.append("%s    _anonymous_ = (\"_kind\",)" % indent)
    out.append("%s    _fields_ = [" % indent)
    for f in record.fields:
        t = record.anonymous.name if f.name == "_kind" else ctype_of(f, known)
        out.append("%s        (\"%s\", %s)," % (indent, f.name, t))
    out.append("%s    ]" % indent)
    out.append("")


def class_name(c_name: str) -> str:
    if c_name in PUBLIC_NAMES:
        return PUBLIC_NAMES[c_name]
    name = re.sub(r"^CDB_", "", c_name)
    name = re.sub(r"_type$", "", name)
    record = "_TBL" in name
    name = name.replace("_TBL", "")
    words = [w for w in name.split("_") if w]
    result = "".join(w[:1].upper() + w[1:].lower() for w in words)
    return result + "Record" if record else result


def python_type(f: Field, known: Dict[str, str], classes: Dict[str, str]) -> str:
    base = known.get(f.ctype, f.ctype)
    if base == "char" and (f.pointer or f.array):
        return "Optional[str]"
    if f.pointer and base == "uint8_t":
        return "Optional[bytes]"
    element = SCALARS[base][1] if base in SCALARS else classes.get(base, "Any")
    if f.pointer:
        return "List[%s]" % element if f.count else "Optional[Any]"
    if f.array:
        return "List[%s]" % element
    return element


def write_dataclass(out: List[str], name: str, base: Optional[str], doc: str,
                    fields: List[Field], known: Dict[str, str], classes: Dict[str, str]) -> None:
    out.append("@dataclass")
    out.append("class %s%s:" % (name, "(%s)" % base if base else ""))
    out.append("    \"\"\"%s\"\"\"" % doc)
    out.append("")
    for f in fields:
        out.append("    %s: %s" % (f.name, python_type(f, known, classes)))
    if not fields:
        out.append("    pass")
    out.append("")
    out.append("")


def meta(record: Record) -> str:
    counts = {f.name: f.count for f in record.fields if f.count}
    return repr(counts)


def main() -> None:
    text = preprocess()
    records, aliases = parse_records(text)
    for r in records:
        assign_counts(r)
    known = {a: t for a, t in aliases.items()}
    by_name = {r.name: r for r in records}
    entity = by_name["CDB_ENTITY"]
    kind_parts = {known.get(f.ctype, f.ctype) for f in entity.anonymous.fields}
    classes = {r.name: class_name(r.name) for r in records
               if r.name not in NO_DATACLASS and r.name not in kind_parts}

    out = ["# Generated by python/tools/gen_records.py from include/velkow32.h: do not edit.",
           "# The ctypes layouts of the library's records (all byte-packed), its numeric",
           "# constants, and the dataclasses the package hands out, field for field.",
           "# pylint: skip-file",
           "from __future__ import annotations",
           "",
           "import ctypes",
           "from dataclasses import dataclass",
           "from typing import Any, Dict, List, Optional",
           "",
           ""]
    for name, value in constants():
        out.append("%s = %d" % (name, value))
    out.append("")
    out.append("")
    for r in records:
        write_ctypes(out, r, known)
        out.append("")
    for alias, target in aliases.items():
        if target in by_name:
            out.append("%s = %s" % (alias, target))
    out.append("")
    out.append("# The field that counts each array field of a record; \"^name\" is a field of")
    out.append("# the record that holds this one.")
    out.append("ARRAY_COUNTS: Dict[str, Dict[str, str]] = {")
    for r in records:
        for rec in ([r, r.anonymous] if r.anonymous else [r]):
            m = meta(rec)
            if m != "{}":
                out.append("    %r: %s," % (rec.name, m))
    out.append("}")
    out.append("")
    out.append("")

    # Dataclasses: the helper records and the table records first, then the entities.
    for r in records:
        if r.name not in classes or r.name == "CDB_STARTBLOCK_ENTITY_type":
            continue  # kind parts are merged into their entity classes below
        write_dataclass(out, classes[r.name], None,
                        "The record %s, field for field." % r.name, r.fields, known, classes)
    common = [f for f in entity.fields if f.name != "_kind"]
    out.append("@dataclass")
    out.append("class Entity:")
    out.append("    \"\"\"An entity: its kind, its id in the walk, and the common part of every")
    out.append("    entity record. Kinds without a part of their own (ENDBLK, SEQEND) are plain")
    out.append("    Entity objects; every other kind is a subclass with its part's fields.\"\"\"")
    out.append("")
    out.append("    kind: str")
    out.append("    id: int")
    for f in common:
        out.append("    %s: %s" % (f.name, python_type(f, known, classes)))
    out.append("")
    out.append("")
    kinds = []
    common_names = {f.name for f in common} | {"kind", "id"}
    for member in entity.anonymous.fields:
        part = known.get(member.ctype, member.ctype)
        name = member.name[:1].upper() + member.name[1:]
        kinds.append((member.name, name))
        # A part's field that has the name of a common field takes the part's name before it
        # (the leader's own colour: leader_color).
        own = []
        for f in by_name[part].fields:
            if f.name in common_names:
                f = Field(f.ctype, "%s_%s" % (member.name, f.name), f.pointer, f.array)
            own.append(f)
        write_dataclass(out, name, "Entity",
                        "An entity record with the part `%s` (%s)." % (member.name, part),
                        own, known, classes)
    start = by_name["CDB_STARTBLOCK_ENTITY_type"]
    own = start.fields[len(common):]
    out.append("@dataclass")
    out.append("class BlockDefinition:")
    out.append("    \"\"\"A block as the block walk gives it: its index, whether it is deleted,")
    out.append("    and the block start record's own fields.\"\"\"")
    out.append("")
    out.append("    index: int")
    out.append("    deleted: bool")
    for f in own:
        out.append("    %s: %s" % (f.name, python_type(f, known, classes)))
    out.append("")
    out.append("")
    out.append("# The kind part of the entity record, by the name of its union member.")
    out.append("KIND_CLASSES: Dict[str, type] = {")
    for member, name in kinds:
        out.append("    %r: %s," % (member, name))
    out.append("}")
    out.append("")
    out.append("# The dataclass of each record, by the name of its ctypes class.")
    out.append("DATACLASSES: Dict[str, type] = {")
    for r in records:
        if r.name in classes and r.name != "CDB_STARTBLOCK_ENTITY_type":
            out.append("    %r: %s," % (r.name, classes[r.name]))
    out.append("}")
    out.append("")
    with open(OUTPUT, "w", encoding="utf-8") as f:
        f.write("\n".join(out))
    print("wrote %s: %d records" % (os.path.relpath(OUTPUT, ROOT), len(records)))


if __name__ == "__main__":
    sys.exit(main())
