"""Counts the entities of DXF files with ezdxf, as an outside check of the library's writer.

Usage: /usr/bin/python3 ezdxf_count.py FILE...

For each file one line of JSON: {"file": ..., "ok": true, "counts": {"LINE": 2, ...}}, or
{"file": ..., "ok": false, "error": ...} when ezdxf cannot read it. The counts are those of
every layout (model space and paper space) and of every block, each entity by its DXF name;
the vertices of a polyline and the attributes of an insert are counted as entities of their
own, with the SEQEND that ends them, as a release 12 file holds them. With "--probe" alone
the script prints the ezdxf version and exits 0 when ezdxf can be imported.
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


def main(argv):
    try:
        import ezdxf
    except ImportError as error:
        print(json.dumps({"ok": False, "error": "no ezdxf: %s" % error}))
        return 2
    if argv == ["--probe"]:
        print(ezdxf.__version__)
        return 0
    for path in argv:
        try:
            doc = ezdxf.readfile(path)
            line = {"file": path, "ok": True, "counts": count_document(doc)}
        except Exception as error:  # any failure of the reader is the finding
            line = {"file": path, "ok": False, "error": "%s: %s" % (type(error).__name__, error)}
        print(json.dumps(line))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
