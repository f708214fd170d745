"""The package installed with pip from the source tree into a fresh virtual environment
(without network), then used from another folder."""
from __future__ import annotations

import os
import shutil
import subprocess
import sys

import pytest

from conftest import SAMPLE_DWG, SOURCE_TREE

import velkow32

USE = """
import sys, velkow32
assert "site-packages" in velkow32.__file__, velkow32.__file__
with velkow32.open(sys.argv[1]) as d:
    print(d.version, len(d.layers), sum(1 for _ in d.entities()))
"""


@pytest.mark.skipif(not os.path.exists("/usr/bin/python3"), reason="Debian's python3 needed")
def test_pip_install_into_a_fresh_venv_and_use_it_elsewhere(tmp_path):
    venv = tmp_path / "venv"
    subprocess.run(["/usr/bin/python3", "-m", "venv", "--system-site-packages", str(venv)],
                   check=True)
    # A copy of the package's source folder, so that the build leaves the checkout clean.
    source = tmp_path / "source"
    shutil.copytree(SOURCE_TREE / "python", source,
                    ignore=shutil.ignore_patterns("__pycache__", "build", "*.egg-info",
                                                  ".pytest_cache"))
    python = str(venv / "bin" / "python")
    subprocess.run([python, "-m", "pip", "install", "--no-build-isolation", "--no-index",
                    "--quiet", str(source)], check=True)
    elsewhere = tmp_path / "elsewhere"
    elsewhere.mkdir()
    env = {k: v for k, v in os.environ.items() if k != "PYTHONPATH"}
    env["VELKOW32_LIBRARY"] = velkow32.library_path()
    out = subprocess.run([python, "-c", USE, str(SAMPLE_DWG)], cwd=elsewhere, env=env,
                         capture_output=True, text=True)
    assert out.returncode == 0, out.stderr
    version, layers, entities = out.stdout.split()
    assert version == "12" and int(layers) > 0 and int(entities) > 0


def test_without_a_library_the_error_says_what_to_do(tmp_path):
    env = {k: v for k, v in os.environ.items() if k != "VELKOW32_LIBRARY"}
    env["VELKOW32_LIBRARY"] = str(tmp_path / "nowhere.so")
    out = subprocess.run([sys.executable, "-c", "import velkow32; velkow32.get_read_options()"],
                         env=env, capture_output=True, text=True)
    assert out.returncode != 0
    assert "nowhere.so" in out.stderr
