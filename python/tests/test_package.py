# SPDX-License-Identifier: Apache-2.0
"""What surrounds the module: names, types, documents, the wheel."""
import ast
import dataclasses
import os
import pathlib
import re
import shutil
import subprocess
import sys

import pytest

import norvane
from norvane import _norvane

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HEADER = (ROOT / "include" / "norvane" / "masking.h").read_text()


def test_enumerations_and_parameters_are_those_of_the_header():
    for kind in (norvane.IMAGE_SIDE, norvane.IMAGE_VIEW, norvane.BG_NOISE, norvane.MASK_STATUS):
        body = re.search(rf"enum {kind.__name__}[^{{]*{{(.*?)}};", HEADER, re.DOTALL).group(1)
        values = {name: int(value) for name, value in re.findall(r"^\s*(\w+) = (-?\d+),", body, re.MULTILINE)}
        assert {member.name: member.value for member in kind} == values
    assert {status.name: (status.value, status.sentence) for status in norvane.MASK_STATUS} == _norvane.status_texts
    body = re.search(r"struct Params {(.*?)};", HEADER, re.DOTALL).group(1)
    fields = [name for name in re.findall(r"(\w+) = [\w-]+;", body) if name not in ("reserved", "contour")]
    assert [field.name for field in dataclasses.fields(norvane.Params)] == fields


def test_types_are_complete():
    package = pathlib.Path(norvane.__file__).parent
    ran = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--no-incremental", "--cache-dir", os.devnull, package],
        capture_output=True,
        text=True,
        check=False,
    )
    assert ran.returncode == 0, ran.stdout
    # The stubs name what the extension has, no more and no less.
    stubs = ast.parse((package / "_norvane.pyi").read_text()).body

    def named(nodes):
        names = {node.name for node in nodes if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
        return names | {node.target.id for node in nodes if isinstance(node, ast.AnnAssign)}

    assert named(stubs) == {name for name in vars(_norvane) if not name.startswith("__")}
    for node in stubs:
        if isinstance(node, ast.ClassDef) and node.name != "Refusal":
            own = {name for name in vars(getattr(_norvane, node.name)) if not name.startswith("__")}
            own -= {"_pybind11_conduit_v1_"}
            assert {name for name in named(node.body) if not name.startswith("__")} == own, node.name


def python_block(document):
    (block,) = re.findall(r"```python\n(.*?)```", (ROOT / document).read_text(), re.DOTALL)
    return block


def test_documents_and_example_run(tmp_path):
    for name, text in (
        ("readme.py", python_block("README.md")),
        ("example.py", (ROOT / "python" / "examples" / "masks_of_a_mammogram.py").read_text()),
    ):
        (tmp_path / name).write_text(text)
        ran = subprocess.run([sys.executable, name], cwd=tmp_path, capture_output=True, text=True, check=False)
        assert ran.returncode == 0, ran.stderr
        assert "MASK_OK" in ran.stdout
    for name in ("analysis.png", "full.png", "muscle.png"):
        assert (tmp_path / name).read_bytes().startswith(b"\x89PNG"), name


def test_the_extension_shows_its_entry_only():
    command = ["nm", "-D", "--defined-only", _norvane.__file__]
    shown = subprocess.run(command, capture_output=True, text=True, check=True)
    assert [line.split()[-1] for line in shown.stdout.splitlines()] == ["PyInit__norvane"]


def test_the_wheel_stands_alone(tmp_path):
    build = os.environ.get("NORVANE_BUILD", "")
    if "NORVANE_PYTHON_SHARED:BOOL=OFF" not in (pathlib.Path(build) / "CMakeCache.txt").read_text():
        pytest.skip("this build takes the shared library")
    shutil.copytree(ROOT / "python", tmp_path / "python", ignore=shutil.ignore_patterns("build", "*.egg-info"))
    shutil.copytree(ROOT / "include", tmp_path / "include")
    pip = [sys.executable, "-m", "pip", "--disable-pip-version-check", "install", "-q", "--no-index", "--no-deps"]
    pip += ["--no-build-isolation", "--target", tmp_path / "site", tmp_path / "python"]  # by way of a wheel
    subprocess.run(pip, check=True)
    program = "import norvane; pixels, _ = norvane.phantom(300, 400, 228)\n"
    program += "print(norvane.__file__, norvane.analyse(pixels, view='mlo', pixel_size=228))"
    ran = subprocess.run(
        [sys.executable, "-c", program],
        env={**os.environ, "PYTHONPATH": str(tmp_path / "site")},
        cwd=tmp_path,
        capture_output=True,
        text=True,
        check=True,
    )
    assert ran.stdout.startswith(str(tmp_path / "site")) and "norvane.Analysis MASK_" in ran.stdout
    (extension,) = (tmp_path / "site" / "norvane").glob("_norvane*.so")
    assert "libnorvane" not in subprocess.run(["ldd", extension], capture_output=True, text=True, check=True).stdout
    assert (tmp_path / "site" / "norvane" / "py.typed").exists()
