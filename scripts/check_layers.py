#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks who includes whom in src/, host/, apps/ and python/: only downwards, see docs/architecture.md. In src/,
members of the public classes may only be defined in the interface. Prints each breach and exits 1 if there is one."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# Free functions on values. No subject includes another; they meet in the pipeline.
SUBJECTS = ("preparation", "field", "levels", "contour", "muscle", "wall", "checks")
MAY_INCLUDE = {
    "model": set(),
    "rules": {"model"},
    "platform": {"model"},
    "imaging": {"platform", "model"},
    **dict.fromkeys(SUBJECTS, {"rules", "imaging", "model"}),
    "pipeline": {*SUBJECTS, "rules", "imaging", "model"},
    "interface": {"pipeline", "rules", "imaging", "model"},
    "c_interface": {"imaging", "model"},  # calls the public functions
}
# The files of the face whose members are one rule each. The operations take the road through the pipeline.
FACES_OF_RULES = ("masking_helpers.cpp", "pect_detect.cpp", "entry_functions.cpp")
IO = ("io", "io/dicom", "io/decoding")
HOST_MAY_INCLUDE = {
    "io/decoding": set(),
    "io": {"io/decoding", "io/dicom"},  # the table of formats alone reaches io/dicom
    "io/dicom": {"io", "io/decoding"},
    "findings": {*IO},
    "export": {"findings", *IO},
    "run": {"run/page", "export", "findings", *IO},
    "run/page": {"run", "export", "findings", *IO},
    "score": {"export", *IO},
    "phantom": set(),
}
APP_MAY_INCLUDE = {
    "": {"verbs", "run", "export", "findings", *IO},
    "verbs": {"", *HOST_MAY_INCLUDE},
}
TABLE_OF_FORMATS = "read_image.cpp"
INCLUDE = re.compile(r'^\s*#include\s+"([^"]+)"', re.MULTILINE)
# The definition of a member function, with any result: `Masking::name(` that is followed by a body.
MEMBER = re.compile(
    r"^[^\n/]*?\b((?:Masking|PectDetect)::~?\w+)\s*\((?:[^()]|\([^()]*\))*\)[^;{}()]*(?=[{:])",
    re.MULTILINE)


def includes_outside(file, allowed):
    for name in INCLUDE.findall(file.read_text()):
        if str(pathlib.PurePath(name).parent).replace(".", "") not in allowed:
            yield f"{file.relative_to(ROOT)} includes {name}"


def rooms(base, may_include):
    """Each file of each room, with the rooms that it may include: its own and the lower ones."""
    folders = {path.parent for path in base.rglob("*") if path.suffix in (".h", ".cpp")}
    for folder in sorted(folders):
        room = str(folder.relative_to(base)).replace(".", "")
        for file in sorted(folder.iterdir()):
            if file.is_file():
                of_rules = SUBJECTS if room == "interface" and file.name in FACES_OF_RULES else ()
                yield file, {room, *of_rules, *may_include[room]} if room in may_include else None


def breaches():
    for base, may_include in ((ROOT / "src", MAY_INCLUDE), (ROOT / "host", HOST_MAY_INCLUDE),
                              (ROOT / "apps" / "norvane", APP_MAY_INCLUDE)):
        for file, allowed in rooms(base, may_include):
            if allowed is None:
                yield f"{file.relative_to(ROOT)} lies in a room without rules"
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
            if "/" in name and str(pathlib.PurePath(name).parent) not in {*HOST_MAY_INCLUDE, "verbs"}:
                yield f"{file.relative_to(ROOT)} includes {name}"
    for file in sorted((ROOT / "host" / "io").glob("*.*")):
        for name in INCLUDE.findall(file.read_text()):
            if name.startswith("io/dicom/") and file.name != TABLE_OF_FORMATS:
                yield f"{file.relative_to(ROOT)} includes {name}: the table of formats alone may"


found = list(breaches())
print("\n".join(found) if found else "layers: no breaches")
sys.exit(1 if found else 0)
