#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that no function has more than 60 lines and no file more than 600, in C++ and Python. Prints each breach and
exits 1 if there is one.

C++ is read in the form that clang-format writes: a function opens with "... {" after a closing parenthesis and ends at
the first "}" that is not indented farther. Docstrings do not count.
"""
import ast
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LONGEST_FILE, LONGEST_FUNCTION = 600, 60
OPENING = re.compile(r"^( *)(?!.*\b(?:namespace|struct|class|enum|if|for|while|switch|do|else|try)\b).*\)[^;]*\{$")


def functions_in_cpp(lines):
    for first, line in enumerate(lines):
        found = OPENING.match(line)
        if not found:
            continue
        end = re.compile(rf"^ {{0,{len(found[1])}}}\}}")
        last = next((i for i in range(first + 1, len(lines)) if end.match(lines[i])), first)
        yield first + 1, last - first + 1


def functions_in_python(lines):
    for node in ast.walk(ast.parse("\n".join(lines))):
        if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
            text = ast.get_docstring(node, clean=False) or ""
            yield node.lineno, node.end_lineno - node.lineno + 1 - len(text.splitlines())


def breaches():
    names = subprocess.run(["git", "ls-files", "*.h", "*.cpp", "*.py", "*.sh", "*.js"], cwd=ROOT, check=True,
                           capture_output=True, text=True).stdout.split()
    for name in names:
        lines = (ROOT / name).read_text().splitlines()
        if len(lines) > LONGEST_FILE:
            yield f"{name}: {len(lines)} lines"
        if name.endswith((".h", ".cpp", ".py")):
            for start, length in (functions_in_python if name.endswith(".py") else functions_in_cpp)(lines):
                if length > LONGEST_FUNCTION:
                    yield f"{name}:{start}: a function of {length} lines"


found = list(breaches())
print("\n".join(found) if found else "lengths: no breaches")
sys.exit(1 if found else 0)
