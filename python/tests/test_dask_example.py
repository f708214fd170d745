"""examples/dask_convert.py over the corpus with Dask's local schedulers."""
from __future__ import annotations

import importlib.util
import json
import subprocess
import sys

import pytest

from conftest import SOURCE_TREE

pytest.importorskip("dask")

EXAMPLE = SOURCE_TREE / "examples" / "dask_convert.py"


def _example():
    spec = importlib.util.spec_from_file_location("dask_convert", EXAMPLE)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def test_the_corpus_is_converted_over_a_bag(corpus, tmp_path):
    example = _example()
    results = example.convert_tree(str(corpus), str(tmp_path), scheduler="processes",
                                   tolerant=True)
    files = example.find_drawings(str(corpus))
    assert [r["file"] for r in results] == files
    ok = [r for r in results if r["result"] == "ok"]
    assert len(ok) > len(files) // 2
    for r in ok:
        assert (tmp_path / r["file"]).is_file()
    for r in results:
        if r["result"] != "ok":
            assert r["code"] < 0 and r["message"]


def test_the_example_runs_as_a_program(corpus, tmp_path):
    out = subprocess.run([sys.executable, str(EXAMPLE), str(corpus / "dwg12"), str(tmp_path),
                          "--scheduler", "sync", "--json"],
                         capture_output=True, text=True, check=False)
    lines = [json.loads(line) for line in out.stdout.splitlines()]
    summary = lines[-1]
    assert summary["summary"] and summary["files"] == len(lines) - 1
    assert out.returncode == (0 if summary["ok"] == summary["files"] else 1)
