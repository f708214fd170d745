"""The ctypes records of the package against the C header: a probe compiled by a C compiler
prints the size of every record and the offset of every field, and the generated classes
must agree with each, so that the two cannot drift. A second test checks that the
generated module is what the generator makes of the header today."""
from __future__ import annotations

import ctypes
import os
import shutil
import subprocess
import sys

import pytest

from conftest import SOURCE_TREE
from velkow32 import _records as records

HEADER_DIR = SOURCE_TREE / "include"


def _record_classes():
    for name in dir(records):
        value = getattr(records, name)
        if isinstance(value, type) and issubclass(value, (ctypes.Structure, ctypes.Union)) \
                and value.__name__ == name and value.__module__ == records.__name__:
            yield value


def _members(cls):
    """(C member name, ctypes offset) of every field, the anonymous union's members as
    members of the record that holds them."""
    for name, ctype in cls._fields_:
        if name in getattr(cls, "_anonymous_", ()):
            base = getattr(cls, name).offset
            for inner, _ in ctype._fields_:
                yield inner, base + getattr(ctype, inner).offset
        else:
            yield name, getattr(cls, name).offset


def _probe_source(classes):
    lines = ["#include <stdio.h>", "#include <stddef.h>", "#include \"velkow32.h\"",
             "int main(void) {"]
    for cls in classes:
        lines.append('    printf("%s %%zu\\n", sizeof(%s));' % (cls.__name__, cls.__name__))
        for member, _ in _members(cls):
            lines.append('    printf("%s.%s %%zu\\n", offsetof(%s, %s));'
                         % (cls.__name__, member, cls.__name__, member))
    lines += ["    return 0;", "}"]
    return "\n".join(lines) + "\n"


@pytest.fixture(scope="module")
def probe(tmp_path_factory):
    compiler = os.environ.get("CC") or shutil.which("cc") or shutil.which("gcc")
    if not compiler:
        pytest.skip("no C compiler")
    folder = tmp_path_factory.mktemp("probe")
    source = folder / "probe.c"
    program = folder / "probe"
    classes = list(_record_classes())
    source.write_text(_probe_source(classes))
    subprocess.run([compiler, "-std=c11", "-I", str(HEADER_DIR), str(source), "-o",
                    str(program)], check=True)
    out = subprocess.run([str(program)], check=True, capture_output=True, text=True).stdout
    return dict(line.rsplit(" ", 1) for line in out.splitlines())


def test_every_record_is_generated():
    names = {cls.__name__ for cls in _record_classes()}
    for expected in ("CDB_ENTITY", "CDB_HEADER_type", "CDB_LAYER_TBL_type",
                     "CDB_STARTBLOCK_ENTITY_type", "CDB_BLOCK_TBL", "CDB_VAR_VALUE_type",
                     "CDB_EED_VALUES", "CDB_FILE_INFO"):
        assert expected in names


def test_sizes_and_offsets_match_the_c_header(probe):
    mismatches = []
    checked = 0
    for cls in _record_classes():
        if str(ctypes.sizeof(cls)) != probe[cls.__name__]:
            mismatches.append("sizeof %s: ctypes %d, C %s"
                              % (cls.__name__, ctypes.sizeof(cls), probe[cls.__name__]))
        for member, offset in _members(cls):
            checked += 1
            c_offset = probe["%s.%s" % (cls.__name__, member)]
            if str(offset) != c_offset:
                mismatches.append("%s.%s: ctypes %d, C %s"
                                  % (cls.__name__, member, offset, c_offset))
    assert checked > 500
    assert not mismatches, "\n".join(mismatches)


def test_generated_module_is_up_to_date(tmp_path):
    generator = SOURCE_TREE / "python" / "tools" / "gen_records.py"
    committed = (SOURCE_TREE / "python" / "velkow32" / "_records.py").read_text()
    out = tmp_path / "_records.py"
    env = dict(os.environ, VELKOW32_RECORDS_OUTPUT=str(out))
    subprocess.run([sys.executable, str(generator)], check=True, env=env, capture_output=True)
    assert out.read_text() == committed, "run python/tools/gen_records.py and commit the result"
