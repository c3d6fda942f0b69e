#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks who includes whom in src/, tools/ and python/: downwards only, see docs/architecture.md. Prints each breach
and exits 1 on any."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
MAY_INCLUDE = {
    "model": {"model"},
    "platform": {"platform", "model"},
    "imaging": {"imaging", "platform", "model"},
    **{room: {room, "imaging", "model"} for room in ("masking", "contour", "pect")},  # they meet in <norvane/...> only
}
TOOLS_MAY_INCLUDE = {
    "decoding": {"decoding"},
    "reading": {"reading", "decoding"},
    "analysis": {"analysis", "reading"},
    "results": {"results", "analysis", "reading"},
    "batch": {"batch", "results", "analysis", "reading"},
    "phantom": {"phantom"},
    "program": {"program", "batch", "results", "analysis", "reading", "phantom"},
}
# The extension of the Python module knows all rooms of the program and, without a folder, its own files.
PYTHON_MAY_INCLUDE = {*TOOLS_MAY_INCLUDE}
INCLUDE = re.compile(r'^\s*#include\s+"([^"]+)"', re.MULTILINE)


def breaches():
    for room, allowed in MAY_INCLUDE.items():
        for file in sorted((ROOT / "src" / room).iterdir()):
            for name in INCLUDE.findall(file.read_text()):
                if name.split("/")[0] not in allowed:
                    yield f"{file.relative_to(ROOT)} includes {name}"
    for file in sorted((ROOT / "include").rglob("*.h")):
        for name in INCLUDE.findall(file.read_text()):
            yield f"{file.relative_to(ROOT)} includes {name}: public headers use <norvane/...>"
    for room, allowed in TOOLS_MAY_INCLUDE.items():
        for file in sorted((ROOT / "tools" / "norvane" / room).iterdir()):
            for name in INCLUDE.findall(file.read_text()):
                if name.split("/")[0] not in allowed:
                    yield f"{file.relative_to(ROOT)} includes {name}"
    for file in sorted((ROOT / "python" / "src").iterdir()):
        for name in INCLUDE.findall(file.read_text()):
            if "/" in name and name.split("/")[0] not in PYTHON_MAY_INCLUDE:
                yield f"{file.relative_to(ROOT)} includes {name}"


found = list(breaches())
print("\n".join(found) if found else "layers: no breaches")
sys.exit(1 if found else 0)
