#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks who includes whom in src/, tools/ and python/: downwards only, see docs/architecture.md. In src/, members of
the public classes of rules are defined in the face alone. Prints each breach and exits 1 on any."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Free functions on values. No subject knows another; they meet in the pipeline.
SUBJECTS = ("preparation", "field", "levels", "contour", "muscle", "wall", "checks")
MAY_INCLUDE = {
    "model": set(),
    "rules": {"model"},
    "platform": {"model"},
    "imaging": {"platform", "model"},
    **dict.fromkeys(SUBJECTS, {"rules", "imaging", "model"}),
    "pipeline": {*SUBJECTS, "rules", "imaging", "model"},
    "interface": {"pipeline", *SUBJECTS, "rules", "imaging", "model"},
}
TOOLS_MAY_INCLUDE = {
    "decoding": set(),
    "reading": {"decoding"},
    "analysis": {"reading"},
    "results": {"analysis", "reading"},
    "batch": {"results", "analysis", "reading", "decoding"},
    "phantom": set(),
    "program": {"batch", "results", "analysis", "reading", "decoding", "phantom"},
}
INCLUDE = re.compile(r'^\s*#include\s+"([^"]+)"', re.MULTILINE)
# The definition of a member function, whatever its result: `Masking::name(` that is followed by a body.
MEMBER = re.compile(
    r"^[^\n/]*?\b((?:Masking|PectDetect)::~?\w+)\s*\((?:[^()]|\([^()]*\))*\)[^;{}()]*(?=[{:])",
    re.MULTILINE)


def includes_outside(file, allowed):
    for name in INCLUDE.findall(file.read_text()):
        if name.split("/")[0] not in allowed:
            yield f"{file.relative_to(ROOT)} includes {name}"


def rooms(base, may_include):
    """Each file of each room, with the rooms that it may include: its own and those below."""
    unknown = {path.name for path in base.iterdir() if path.is_dir()} - {*may_include, "completion"}
    for room in sorted(unknown):
        yield from [(base / room, None)]
    for room, below in may_include.items():
        for file in sorted((base / room).iterdir()):
            yield file, {room, *below}


def breaches():
    for base, may_include in ((ROOT / "src", MAY_INCLUDE), (ROOT / "tools" / "norvane", TOOLS_MAY_INCLUDE)):
        for file, allowed in rooms(base, may_include):
            if allowed is None:
                yield f"{file.relative_to(ROOT)} is a room without rules"
            else:
                yield from includes_outside(file, allowed)
    for file in sorted((ROOT / "src").rglob("*.*")):
        if file.parent.name != "interface":
            for member in MEMBER.findall(file.read_text()):
                yield f"{file.relative_to(ROOT)} defines {member}: members are defined in src/interface/"
    for file in sorted((ROOT / "include").rglob("*.h")):
        for name in INCLUDE.findall(file.read_text()):
            yield f"{file.relative_to(ROOT)} includes {name}: public headers use <norvane/...>"
    # The extension of the Python module knows all rooms of the program and, without a folder, its own files.
    for file in sorted((ROOT / "python" / "src").iterdir()):
        for name in INCLUDE.findall(file.read_text()):
            if "/" in name and name.split("/")[0] not in TOOLS_MAY_INCLUDE:
                yield f"{file.relative_to(ROOT)} includes {name}"


found = list(breaches())
print("\n".join(found) if found else "layers: no breaches")
sys.exit(1 if found else 0)
