"""Shared fixtures: where the corpus and the sample drawings are, and a clean state of the
library's process-wide options around every test."""
from __future__ import annotations

import os
import pathlib
import sys

import pytest

SOURCE_TREE = pathlib.Path(__file__).resolve().parents[2]

# The package of this source tree, for the tests and for the processes they start (Dask's
# workers among them), whether or not PYTHONPATH already names it.
_PACKAGE_DIR = str(SOURCE_TREE / "python")
if _PACKAGE_DIR not in sys.path:
    sys.path.insert(0, _PACKAGE_DIR)
if _PACKAGE_DIR not in os.environ.get("PYTHONPATH", "").split(os.pathsep):
    os.environ["PYTHONPATH"] = os.pathsep.join(
        p for p in (_PACKAGE_DIR, os.environ.get("PYTHONPATH")) if p)

import velkow32  # noqa: E402  (after the path above)

SAMPLE_DWG = SOURCE_TREE / "data" / "picture.dwg"  # a small plan with a block
CORPUS = pathlib.Path(os.environ.get("VELKO_CORPUS") or "/work/shared/corpus")


@pytest.fixture(autouse=True)
def original_options():
    """Every test starts with the original behaviour and leaves it so."""
    read = velkow32.set_read_options(0)
    write = velkow32.set_write_options(0)
    yield
    velkow32.set_read_options(read)
    velkow32.set_write_options(write)


@pytest.fixture
def corpus() -> pathlib.Path:
    """The corpus folder; the test is skipped when it is absent."""
    if not CORPUS.is_dir():
        if os.environ.get("CI") == "true":
            pytest.fail("corpus folder %s not found (CI=true: a failure)" % CORPUS)
        pytest.skip("corpus folder %s not found; set VELKO_CORPUS" % CORPUS)
    return CORPUS
