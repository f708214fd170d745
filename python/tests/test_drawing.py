"""The package over the library: open, header, tables, walks, blocks, the display walk,
saves, errors, options, and a list of more than 32767 entities."""
from __future__ import annotations

import dataclasses
import warnings

import pytest

import velkow32
from conftest import SAMPLE_DWG
from velkow32 import records


def test_open_as_a_context_manager_closes_the_drawing():
    with velkow32.open(SAMPLE_DWG) as drawing:
        assert drawing.version == 12
        handle = drawing.handle
    with pytest.raises(velkow32.VelkoError):
        drawing.handle  # noqa: B018 - closed
    # The freed handle is handed out again: the drawing was really closed.
    with velkow32.open(SAMPLE_DWG) as again:
        assert again.handle == handle


def test_header_is_a_mapping_of_the_variables():
    with velkow32.open(SAMPLE_DWG) as drawing:
        header = drawing.header
    assert header["acadver"] == "AC1009"
    assert isinstance(header["extmin"], records.Point3)
    assert isinstance(header["ltscale"], float)
    assert "angbase" in header
    with pytest.raises(TypeError):
        header["ltscale"] = 2.0  # a copy of the drawing's variables, read-only


def test_tables_are_lists_of_dataclasses():
    with velkow32.open(SAMPLE_DWG) as drawing:
        layers = drawing.layers
        line_types = drawing.line_types
        styles = drawing.styles
        others = [drawing.vports, drawing.views, drawing.ucs, drawing.appids,
                  drawing.dim_styles, drawing.block_records]
    assert layers and all(isinstance(layer, records.LayerRecord) for layer in layers)
    assert "0" in [layer.name for layer in layers]
    assert dataclasses.is_dataclass(layers[0])
    assert {f.name for f in dataclasses.fields(records.LayerRecord)} >= {
        "name", "handle", "flags", "color", "line_type_index"}
    assert all(isinstance(t, records.LtypeRecord) for t in line_types)
    for line_type in line_types:
        assert len(line_type.dashes) == max(line_type.dash_count, 0)
    assert styles and isinstance(styles[0], records.StyleRecord)
    assert all(isinstance(table, list) for table in others)


def test_entities_are_dataclasses_with_the_record_fields():
    with velkow32.open(SAMPLE_DWG) as drawing:
        entities = list(drawing.entities())
        count = drawing.entity_count()
    assert len(entities) == count > 1
    assert entities[-1].kind == "ENDBLK"  # the main list closes with its end
    first = entities[0]
    assert isinstance(first, velkow32.Entity)
    assert first.entity_type in velkow32.records.__dict__.values() or first.entity_type > 0
    kinds = {e.kind for e in entities}
    assert kinds - {"ENDBLK"}
    for e in entities:
        if e.kind == "LINE":
            assert isinstance(e, records.Line)
            assert isinstance(e.start_point, records.Point3)
        if e.kind == "TEXT":
            assert isinstance(e.text, str)
    positions = [e.id & 0xFFFF for e in entities]
    assert positions == list(range(len(entities)))


def test_blocks_and_their_entities():
    with velkow32.open(SAMPLE_DWG) as drawing:
        blocks = list(drawing.blocks)
        assert blocks and all(isinstance(b, velkow32.BlockDefinition) for b in blocks)
        live = [b for b in blocks if not b.deleted]
        assert live
        assert all(isinstance(b.name, str) and b.name for b in live)
        inside = list(drawing.entities(live[0].index))
        assert inside and inside[-1].kind == "ENDBLK"
        inserts = [e for e in drawing.entities() if e.kind == "INSERT"]
        assert inserts


def test_navigate_follows_inserts_into_blocks():
    with velkow32.open(SAMPLE_DWG) as drawing:
        plain = [e for e in drawing.entities() if e.kind not in ("ENDBLK",)]
        shown = list(drawing.navigate())
    assert shown
    assert all(isinstance(e, velkow32.Entity) for e in shown)
    # Inserted blocks are entered: the walk shows more than the main list's inserts.
    assert len(shown) >= len([e for e in plain if e.kind != "INSERT"])


def test_save_as_dxf_and_dwg_reads_back(tmp_path):
    with velkow32.open(SAMPLE_DWG) as drawing:
        kinds = [e.kind for e in drawing.entities()]
        drawing.save(tmp_path / "out.dxf")
        drawing.save(tmp_path / "out.DWG")
        drawing.save(tmp_path / "bin.dxf", binary=True)
        with pytest.raises(ValueError):
            drawing.save(tmp_path / "x.dwg", binary=True)
    assert (tmp_path / "bin.dxf").read_bytes().startswith(b"AutoCAD Binary DXF")
    for name in ("out.dxf", "out.DWG"):
        with velkow32.open(tmp_path / name) as back:
            assert [e.kind for e in back.entities()] == kinds, name


def test_errors_carry_the_library_code_and_message(tmp_path):
    with pytest.raises(velkow32.VelkoError) as missing:
        velkow32.open(tmp_path / "absent.dwg")
    assert missing.value.code < 0
    assert missing.value.message
    assert str(missing.value.code) in str(missing.value)
    bad = tmp_path / "bad.dwg"
    bad.write_bytes(b"AC1009" + b"\0" * 10)
    with pytest.raises(velkow32.VelkoError) as refused:
        velkow32.open(bad)
    assert refused.value.code <= -400
    with velkow32.open(SAMPLE_DWG) as drawing:
        with pytest.raises(velkow32.VelkoError) as no_block:
            list(drawing.entities(30000))
        assert no_block.value.code == records.CDB_ERR_BLOCK_NOT_FOUND


def test_options_are_process_wide_and_returned():
    assert velkow32.set_read_options(velkow32.CDB_READ_TOLERANT) == 0
    assert velkow32.get_read_options() == velkow32.CDB_READ_TOLERANT
    assert velkow32.set_write_options(velkow32.CDB_WRITE_INTEROPERABLE) == 0
    assert velkow32.get_write_options() == velkow32.CDB_WRITE_INTEROPERABLE


def test_tolerant_open_is_for_that_open_alone(corpus):
    comments = corpus / "dxf12" / "cc_dxflib.dxf"
    with pytest.raises(velkow32.VelkoError) as refused:
        velkow32.open(comments)
    assert refused.value.code == records.CDB_ERR_INVALID_FILE
    try:
        with velkow32.open(comments, tolerant=True) as drawing:
            assert drawing.tolerant_reads & velkow32.CDB_READ_COMMENTS
            assert list(drawing.entities())
    except velkow32.VelkoError as error:
        # A library without the road for comments refuses it the same way.
        assert error.code == records.CDB_ERR_INVALID_FILE
    assert velkow32.get_read_options() == 0
    with velkow32.open(SAMPLE_DWG, tolerant=True) as drawing:
        assert drawing.tolerant_reads == 0  # a file that needs no tolerant road


def _points_dxf(count: int) -> str:
    groups = ["0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1009", "0", "ENDSEC",
              "0", "SECTION", "2", "ENTITIES"]
    for i in range(count):
        groups += ["0", "POINT", "8", "0", "10", str(i % 1000), "20", str(i // 1000), "30", "0"]
    groups += ["0", "ENDSEC", "0", "EOF"]
    return "\n".join(groups) + "\n"


def test_a_list_of_more_than_32767_entities_is_walked_whole(tmp_path):
    count = 40000
    path = tmp_path / "many.dxf"
    path.write_text(_points_dxf(count))
    with velkow32.open(path) as drawing:
        with warnings.catch_warnings():
            warnings.simplefilter("error")  # no warning below 65536 entities
            entities = list(drawing.entities())
        points = [e for e in entities if e.kind == "POINT"]
        assert len(points) == count
        assert [(p.location.x, p.location.y) for p in points] == [
            (float(i % 1000), float(i // 1000)) for i in range(count)]
        assert entities[-1].kind == "ENDBLK"
        assert [e.id & 0xFFFF for e in entities] == list(range(count + 1))
        assert drawing.entity_count() == count + 1
        # The display walk moves the flat cursor: the package says where it ends.
        with pytest.warns(velkow32.WalkLimitWarning):
            shown = sum(1 for _ in drawing.navigate())
        assert shown <= 32768


def test_past_65536_entities_the_walk_warns_where_it_ends(tmp_path):
    count = 65600
    path = tmp_path / "more.dxf"
    path.write_text(_points_dxf(count))
    with velkow32.open(path) as drawing:
        with pytest.warns(velkow32.WalkLimitWarning):
            walked = sum(1 for _ in drawing.entities())
    assert walked == 65536
