"""What ezdxf reads of DXF files, as an outside check of the library's tolerant reading.

Usage: /usr/bin/python3 ezdxf_names.py [--recover] FILE...

With "--recover" the files are read by ezdxf's recovering reader (ezdxf.recover), which takes
what its strict reader refuses, as a layer name that holds an escape "\\U+XXXX" on an insert.

For each file one line of JSON: {"file": ..., "ok": true, "counts": {...}, "layers": [...],
"lines": [[x1, y1, z1, x2, y2, z2], ...]}, or {"file": ..., "ok": false, "error": ...}. The
counts are those of ezdxf_count.py; the layers are the names of ezdxf's layer table that the
file itself holds (ezdxf adds layers of its own), each as the hexadecimal bytes of its DXF
form (a character outside code page 1252 as its escape "\\U+XXXX"); the lines are the start and end points of
the LINEs of model space, in their order.
"""
import json
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from ezdxf_count import count_document  # noqa: E402


def dxf_form(name):
    """The bytes that stand for `name` in a DXF file of code page 1252."""
    out = b""
    for c in name:
        try:
            out += c.encode("cp1252")
        except UnicodeEncodeError:
            out += ("\\U+%04X" % ord(c)).encode("ascii")
    return out


def main(argv):
    import ezdxf
    from ezdxf import recover

    recovering = argv[:1] == ["--recover"]
    for path in argv[1:] if recovering else argv:
        try:
            doc = recover.readfile(path)[0] if recovering else ezdxf.readfile(path)
            with open(path, "rb") as f:
                raw = f.read()
            layers = [
                dxf_form(layer.dxf.name).hex()
                for layer in doc.layers
                if dxf_form(layer.dxf.name) in raw
            ]
            lines = [
                list(e.dxf.start) + list(e.dxf.end)
                for e in doc.modelspace()
                if e.dxftype() == "LINE"
            ]
            line = {"file": path, "ok": True, "counts": count_document(doc),
                    "layers": layers, "lines": lines}
        except Exception as error:  # any failure of the reader is the finding
            text = "%s: %s" % (type(error).__name__, error)
            text = text.encode("ascii", "backslashreplace").decode("ascii")[:300]
            line = {"file": path, "ok": False, "error": text}
        print(json.dumps(line))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
