# SPDX-License-Identifier: Apache-2.0
"""What surrounds the module: names, types, documents, the wheel."""
import ast
import dataclasses
import inspect
import os
import pathlib
import pydoc
import re
import shutil
import subprocess
import sys

import nbclient
import nbformat
import pytest

import norvane
from norvane import _norvane

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
STUBS = pathlib.Path(norvane.__file__).parent / "_norvane.pyi"
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


TYPED = """
import numpy as np
import norvane
norvane.prepare(np.ones((4, 4), np.uint16), 70.0)
norvane.analyse(np.ones((4, 4), np.uint8), view="cc")
norvane.Mask.from_array(np.ones((4, 4), bool), 70.0)
norvane.prepare(np.ones((4, 4)), 70.0)  # type: ignore[arg-type]
norvane.analyse(np.ones((4, 4)), view="cc")  # type: ignore[arg-type]
norvane.Mask.from_array(np.ones((4, 4)), 70.0)  # type: ignore[arg-type]
"""


def test_types_are_complete_and_refuse_arrays_of_floats(tmp_path):
    (tmp_path / "typed.py").write_text(TYPED)
    package = pathlib.Path(norvane.__file__).parent
    ran = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--no-incremental", "--cache-dir", os.devnull, package,
         tmp_path / "typed.py"],
        capture_output=True,
        text=True,
        check=False,
    )
    assert ran.returncode == 0, ran.stdout
    # The stubs name what the extension has, no more and no less.
    stubs = ast.parse(STUBS.read_text()).body

    def named(nodes):
        names = {node.name for node in nodes if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
        return names | {node.target.id for node in nodes if isinstance(node, ast.AnnAssign)}

    assert named(stubs) == {name for name in vars(_norvane) if not name.startswith("__")}
    for node in stubs:
        if isinstance(node, ast.ClassDef) and node.name != "Refusal":
            own = {name for name in vars(getattr(_norvane, node.name)) if not name.startswith("__")}
            own -= {"_pybind11_conduit_v1_"}
            assert {name for name in named(node.body) if not name.startswith("__")} == own, node.name


def test_help_and_pages_show_signatures_and_texts(tmp_path):
    for kind in map(vars(norvane).get, norvane.__all__):
        public = [name for name in vars(kind) if not name.startswith("_")] if inspect.isclass(kind) else []
        for thing in [kind, *(getattr(kind, name) for name in public)]:
            if isinstance(thing, property) or callable(thing):
                assert inspect.getdoc(thing), thing
            if inspect.isroutine(thing):
                assert "(...)" not in pydoc.plaintext.document(thing), thing
    (stub,) = (node for node in ast.parse(STUBS.read_text()).body if getattr(node, "name", "") == "Mask")
    for method in (node for node in stub.body if isinstance(node, ast.FunctionDef) and node.args.args):
        expected = [argument.arg for argument in method.args.posonlyargs + method.args.args]
        if expected != ["self"] and not method.name.startswith("_"):
            assert list(inspect.signature(getattr(norvane.Mask, method.name)).parameters) == expected

    pages = [sys.executable, "-m", "sphinx", "-q", "-W", "--keep-going", "-n", ROOT / "python" / "docs", tmp_path]
    made = subprocess.run(pages, stderr=subprocess.PIPE, text=True, check=False)
    assert (made.returncode, made.stderr) == (0, "")
    page = (tmp_path / "index.html").read_text()
    for name in ("analyse", "Analysis.source_mask", "Mask.to_array", "Params.contourOffset", "MASK_STATUS.sentence"):
        assert f'id="norvane.{name}"' in page


def python_block(document):
    (block,) = re.findall(r"```python\n(.*?)```", (ROOT / document).read_text(), re.DOTALL)
    return block


def test_documents_and_examples_run(tmp_path):
    for name, text in (
        ("readme.py", python_block("README.md")),
        ("example.py", (ROOT / "python" / "examples" / "masks_of_a_mammogram.py").read_text()),
    ):
        (tmp_path / name).write_text(text)
        ran = subprocess.run([sys.executable, name], cwd=tmp_path, capture_output=True, text=True, check=False)
        assert ran.returncode == 0, ran.stderr
        assert "MASK_OK" in ran.stdout
    measured = [sys.executable, ROOT / "python" / "examples" / "dense_tissue_by_scikit_image.py"]
    assert "dense: " in subprocess.run(measured, stdout=subprocess.PIPE, text=True, check=True).stdout
    notebook = nbformat.read(ROOT / "python" / "examples" / "first_steps.ipynb", 4)
    nbclient.NotebookClient(notebook, timeout=300, kernel_name="python3").execute()  # raises what a cell raises
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
    site = tmp_path / "site"

    def output_of(*command):
        environment = {**os.environ, "PYTHONPATH": str(site)}
        ran = subprocess.run(command, env=environment, cwd=tmp_path, stdout=subprocess.PIPE, text=True, check=True)
        return ran.stdout

    printed = output_of(sys.executable, "-c", program)
    assert printed.startswith(str(site)) and "norvane.Analysis MASK_" in printed
    for script in ([sys.executable, "-m", "norvane"], [site / "bin" / "norvane"]):
        assert output_of(*script, "--version") == f"norvane {norvane.__version__}\n"
    (extension,) = (site / "norvane").glob("_norvane*.so")
    for binary in (extension, site / "norvane" / "norvane"):
        assert "libnorvane" not in output_of("ldd", binary)
    assert (site / "norvane" / "py.typed").exists() and list(site.glob("norvane-*.dist-info/LICENSE"))
