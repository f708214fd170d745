"""Counts the entities of DXF files with ezdxf, as an outside check of the library's writer.

Usage: /usr/bin/python3 ezdxf_count.py FILE...

For each file one line of JSON: {"file": ..., "ok": true, "counts": {"LINE": 2, ...}}, or
{"file": ..., "ok": false, "error": ...} when ezdxf cannot read it. The counts are those of
every layout (model space and paper space) and of every block, each entity by its DXF name;
the vertices of a polyline and the attributes of an insert are counted as entities of their
own, with the SEQEND that ends them, as a release 12 file holds them. With "--probe" alone
the script prints the ezdxf version and exits 0 when ezdxf can be imported.

With "--tallies" first, each line holds instead what the release 13 check compares:
{"file": ..., "ok": true, "modelspace": N, "layers": N, "blocks": N}, the entities of model
space as ezdxf keeps them (a polyline with its vertices and an insert with its attributes are
one entity each), the layer table's records, and the blocks but those of the two spaces; a layer or
block that ezdxf made itself, whose name the file does not hold, is not counted.
"""
import json
import sys
from collections import Counter


def count_entity(entity, counts):
    kind = entity.dxftype()
    counts[kind] += 1
    if kind == "POLYLINE":
        counts["VERTEX"] += len(entity.vertices)
        if entity.seqend is not None:
            counts["SEQEND"] += 1
    elif kind == "INSERT" and len(entity.attribs):
        # ezdxf keeps an end of sequence for every insert; a file has one only behind
        # attributes.
        counts["ATTRIB"] += len(entity.attribs)
        counts["SEQEND"] += 1


def count_document(doc):
    counts = Counter()
    for layout in doc.layouts:
        for entity in layout:
            count_entity(entity, counts)
    for block in doc.blocks:
        if block.is_any_layout:
            continue  # counted as a layout above
        for entity in block:
            count_entity(entity, counts)
    return dict(counts)


def tallies(doc, path):
    # ezdxf adds what a newer drawing must have (the layer "Defpoints", the arrow blocks):
    # a layer or block counts only when its name stands as a line of the file.
    with open(path, "rb") as f:
        lines = {line.strip() for line in f.read().decode("latin-1").splitlines()}
    layers = sum(1 for layer in doc.layers if layer.dxf.name in lines)
    # A block "*PAPER_SPACE0" is a layout of its own to ezdxf, a block like any other to the
    # library, which keeps apart only the blocks of the two spaces.
    spaces = ("*MODEL_SPACE", "*PAPER_SPACE")
    blocks = sum(1 for block in doc.blocks if block.name.upper() not in spaces and block.name in lines)
    return {"modelspace": len(doc.modelspace()), "layers": layers, "blocks": blocks}


def main(argv):
    try:
        import ezdxf
    except ImportError as error:
        print(json.dumps({"ok": False, "error": "no ezdxf: %s" % error}))
        return 2
    if argv == ["--probe"]:
        print(ezdxf.__version__)
        return 0
    tally = argv[:1] == ["--tallies"]
    for path in argv[1:] if tally else argv:
        try:
            doc = ezdxf.readfile(path)
            line = {"file": path, "ok": True}
            if tally:
                line.update(tallies(doc, path))
            else:
                line["counts"] = count_document(doc)
        except Exception as error:  # any failure of the reader is the finding
            text = "%s: %s" % (type(error).__name__, error)
            # Plain ASCII, and short: the message may quote bytes of a file that is no text.
            text = text.encode("ascii", "backslashreplace").decode("ascii")[:300]
            line = {"file": path, "ok": False, "error": text}
        print(json.dumps(line))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
