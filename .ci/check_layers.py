#!/usr/bin/env python3
"""Checks that every source file includes only what its layer may include.

The rules are the table between the "layers:begin" and "layers:end" markers of
docs/ARCHITECTURE.md: one row a folder, naming the folders (or single headers) that the
folder's files may include besides their own folder. The public header velkow32.h may be
included everywhere; system headers (<...>) are not looked at.

An include is resolved the way the build resolves it: relative to the including file first,
then against the project's include roots (src/, tools/, tests/, include/). Exit status 0 when
every include is allowed, 1 with one line per offending include otherwise, 2 on a broken
rule table.

Usage: check_layers.py [REPOSITORY]
       check_layers.py --self-test   (the checker on a small made-up tree)
"""
import os
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')
ROOTS = ("src", "tools", "tests", "include", "bench")
SOURCES = (".h", ".hpp", ".cpp", ".c")


def read_rules(repo):
    path = os.path.join(repo, "docs", "ARCHITECTURE.md")
    with open(path, encoding="utf-8") as f:
        text = f.read()
    block = re.search(r"<!-- layers:begin -->(.*?)<!-- layers:end -->", text, re.S)
    if not block:
        sys.exit("check_layers: no layer table in docs/ARCHITECTURE.md")
    rules = {}
    for line in block.group(1).splitlines():
        cells = [c.strip() for c in line.strip().strip("|").split("|")]
        if len(cells) != 2 or cells[0] in ("folder", "") or set(cells[0]) <= set("-"):
            continue
        allowed = [a.strip() for a in cells[1].split(",") if a.strip()]
        rules[cells[0]] = allowed
    if not rules:
        sys.exit("check_layers: the layer table has no rows")
    return rules


def folder_of(rel, rules):
    """The ruled folder a file belongs to: the longest row that is a prefix of its path."""
    best = None
    for folder in rules:
        if rel == folder or rel.startswith(folder + "/"):
            if best is None or len(folder) > len(best):
                best = folder
    return best


def resolve(repo, including, name):
    """The repository-relative path of an included file, or None when it is not ours."""
    candidates = [os.path.join(os.path.dirname(including), name)]
    candidates += [os.path.join(repo, root, name) for root in ROOTS]
    candidates.append(os.path.join(repo, name))
    for c in candidates:
        if os.path.isfile(c):
            return os.path.relpath(os.path.normpath(c), repo).replace(os.sep, "/")
    return None


def allowed(target, own, allowed_list):
    if target == "include/velkow32.h":
        return True
    for a in [own] + allowed_list:
        if target == a or target.startswith(a + "/"):
            return True
    return False


def check(repo):
    rules = read_rules(repo)
    problems = []
    checked = 0
    for top in ("src", "tools", "bench", "fuzz"):
        for dirpath, _, files in os.walk(os.path.join(repo, top)):
            for name in sorted(files):
                if not name.endswith(SOURCES):
                    continue
                path = os.path.join(dirpath, name)
                rel = os.path.relpath(path, repo).replace(os.sep, "/")
                own = folder_of(rel, rules)
                if own is None:
                    problems.append(f"{rel}: its folder has no row in the layer table")
                    continue
                checked += 1
                with open(path, encoding="utf-8", errors="replace") as f:
                    for number, line in enumerate(f, 1):
                        m = INCLUDE.match(line)
                        if not m:
                            continue
                        target = resolve(repo, path, m.group(1))
                        if target is None:
                            problems.append(f'{rel}:{number}: "{m.group(1)}" is not found')
                        elif not allowed(target, own, rules[own]):
                            problems.append(
                                f'{rel}:{number}: includes "{m.group(1)}" ({target}), '
                                f"which {own} may not depend on")
    return checked, problems


def self_test():
    """A lower layer that includes a higher one, and a tool that reaches into src, are
    caught; allowed includes, the public header and system headers pass."""
    import tempfile

    files = {
        "docs/ARCHITECTURE.md": "<!-- layers:begin -->\n| folder | may include |\n|---|---|\n"
        "| src/io | |\n| src/model | src/io |\n| tools/velko | |\n<!-- layers:end -->\n",
        "include/velkow32.h": "",
        "src/io/file.h": '#include <cstdio>\n#include "velkow32.h"\n',
        "src/model/list.h": '#include "io/file.h"\n#include "model/other.h"\n',
        "src/model/other.h": "",
        "src/io/bad.cpp": '#include "model/list.h"\n',
        "tools/velko/bad.cpp": '#include "../../src/io/file.h"\n',
    }
    with tempfile.TemporaryDirectory() as repo:
        for name, text in files.items():
            os.makedirs(os.path.dirname(os.path.join(repo, name)), exist_ok=True)
            with open(os.path.join(repo, name), "w", encoding="utf-8") as f:
                f.write(text)
        checked, problems = check(repo)
    wanted = ["src/io/bad.cpp:1:", "tools/velko/bad.cpp:1:"]
    found = sorted(p.split(" ")[0] for p in problems)
    if checked != 5 or found != wanted:
        print(f"check_layers self-test failed: {checked} files, problems {problems}")
        return 1
    print("check_layers self-test: a bad include in a lower layer and in a tool are caught")
    return 0


def main():
    if sys.argv[1:] == ["--self-test"]:
        return self_test()
    repo = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else ".")
    checked, problems = check(repo)
    for p in problems:
        print(p)
    print(f"check_layers: {checked} files, {len(problems)} includes against the layer table")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
