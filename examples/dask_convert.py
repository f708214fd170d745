#!/usr/bin/env python3
"""Converts a tree of drawings with Dask: the files become a bag, each partition is
converted by the velkow32 package, and the results are gathered into one report.

    python3 examples/dask_convert.py SRC_DIR DST_DIR [--scheduler processes|threads|sync]
                                     [--partitions N] [--tolerant] [--json]

Each drawing is written into DST_DIR under its relative path, in the release it was read in
and the form its name asks for (DWG for .dwg, ASCII DXF otherwise), as `velko batch
convert` does. The library keeps its settings per process, so the default scheduler is
"processes"; on a cluster, a dask.distributed client does the same with workers on many
machines. The exit status is 0 when every drawing converted, 1 otherwise.
"""
from __future__ import annotations

import argparse
import json
import os
import sys
import time
from typing import Dict, List

import dask
import dask.bag as db


def find_drawings(src: str) -> List[str]:
    """The drawings below `src` (.dwg and .dxf in any case), relative to it, sorted."""
    found = []
    for folder, _, names in os.walk(src):
        for name in names:
            if os.path.splitext(name)[1].lower() in (".dwg", ".dxf"):
                found.append(os.path.relpath(os.path.join(folder, name), src))
    return sorted(found)


def convert_one(relative: str, src: str, dst: str, tolerant: bool) -> Dict[str, object]:
    """Converts one drawing; a refusal becomes a result, never an exception."""
    import velkow32  # imported in the worker, which loads the library there

    velkow32.set_write_options(velkow32.CDB_WRITE_INTEROPERABLE if tolerant else 0)
    start = time.monotonic()
    result: Dict[str, object] = {"file": relative, "result": "ok", "code": 0, "message": "",
                                 "entities": 0, "blocks": 0}
    target = os.path.join(dst, relative)
    try:
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with velkow32.open(os.path.join(src, relative), tolerant=tolerant) as drawing:
            result["entities"] = sum(1 for _ in drawing.entities())
            result["blocks"] = sum(1 for _ in drawing.blocks)
            drawing.save(target)
    except velkow32.VelkoError as error:
        result.update(result="refused", code=error.code, message=error.message)
    result["seconds"] = round(time.monotonic() - start, 3)
    return result


def convert_tree(src: str, dst: str, scheduler: str = "processes", partitions: int = 0,
                 tolerant: bool = False) -> List[Dict[str, object]]:
    """Converts every drawing below `src` into `dst` over a Dask bag; the results in the
    order of the files."""
    files = find_drawings(src)
    if not files:
        return []
    bag = db.from_sequence(files, npartitions=partitions or min(len(files), 2 * os.cpu_count()))
    results = bag.map(convert_one, src=src, dst=dst, tolerant=tolerant)
    with dask.config.set(scheduler=scheduler):
        return list(results.compute())


def main(argv: List[str]) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("src")
    parser.add_argument("dst")
    parser.add_argument("--scheduler", default="processes",
                        choices=("processes", "threads", "sync", "synchronous"))
    parser.add_argument("--partitions", type=int, default=0)
    parser.add_argument("--tolerant", action="store_true",
                        help="read tolerantly and write interoperable files")
    parser.add_argument("--json", action="store_true", help="one JSON line per file")
    args = parser.parse_args(argv)
    start = time.monotonic()
    results = convert_tree(args.src, args.dst, args.scheduler, args.partitions, args.tolerant)
    for r in results:
        print(json.dumps(r) if args.json else "%-8s %s" % (r["result"], r["file"]))
    ok = sum(1 for r in results if r["result"] == "ok")
    summary = {"summary": True, "files": len(results), "ok": ok,
               "refused": len(results) - ok, "seconds": round(time.monotonic() - start, 3)}
    print(json.dumps(summary) if args.json else "files %d: ok %d, refused %d"
          % (len(results), ok, len(results) - ok))
    return 0 if ok == len(results) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
