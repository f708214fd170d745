"""Reads DXF files with ezdxf's strict loader and audits them, as an outside check that the
library's strict DXF road (CDB_WRITE_STRICT_DXF) gives files that strict readers take.

Usage: /usr/bin/python3 ezdxf_strict.py FILE...

For each file one line of JSON: {"file": ..., "ok": true, "errors": [...], "fixes": [...]},
the messages of the audit's errors and fixes; or {"file": ..., "ok": false, "error": ...}
when the strict loader refuses the file. With "--probe" alone the script prints the ezdxf
version and exits 0 when ezdxf can be imported.
"""
import json
import sys


def main(argv):
    import ezdxf

    if argv == ["--probe"]:
        print(ezdxf.__version__)
        return 0
    for path in argv:
        try:
            doc = ezdxf.readfile(path)
            auditor = doc.audit()
            print(json.dumps({
                "file": path,
                "ok": True,
                "errors": [str(e.message) for e in auditor.errors],
                "fixes": [str(f.message) for f in auditor.fixes],
            }))
        except Exception as error:  # the strict loader's refusal, of whatever class
            print(json.dumps({"file": path, "ok": False, "error": "%s: %s" % (type(error).__name__, error)}))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
