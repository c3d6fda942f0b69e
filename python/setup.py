# SPDX-License-Identifier: Apache-2.0
"""Builds the wheel. CMake builds the extension, with the library inside.

    pip wheel --no-build-isolation --no-deps ./python

pybind11, NumPy and the libraries of the image formats come from packages of the system (scripts/debian-packages.txt,
purposes build and python). If NORVANE_BUILD names a build tree that was configured with NORVANE_BUILD_PYTHON, the
extension and the programs are taken from there.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = pathlib.Path(__file__).resolve().parent.parent
VERSION = ".".join(re.findall(r"#define NORVANE_VERSION_\w+ (\d+)", (SOURCE / "include/norvane/version.h").read_text()))


class BuildWithCMake(build_ext):
    def build_extension(self, ext):
        tree = os.environ.get("NORVANE_BUILD") or str(pathlib.Path(self.build_temp).resolve() / "cmake")
        if "NORVANE_BUILD" not in os.environ:
            configure = ["cmake", "-S", SOURCE, "-B", tree, "-DCMAKE_BUILD_TYPE=Release", "-DNORVANE_BUILD_TESTS=OFF"]
            configure += ["-DNORVANE_BUILD_PYTHON=ON", "-DNORVANE_PYTHON_SHARED=OFF"]
            configure += [f"-DPython_EXECUTABLE={sys.executable}"]
            configure += ["-G", "Ninja"] if shutil.which("ninja") else []
            subprocess.run(configure, check=True)
        # A number of jobs that the user sets in the environment holds; --parallel would replace it.
        parallel = [] if "CMAKE_BUILD_PARALLEL_LEVEL" in os.environ else ["--parallel"]
        targets = ["--target", "norvane_python", "norvane_python_program"]
        subprocess.run(["cmake", "--build", tree, *targets, *parallel], check=True)
        target = pathlib.Path(self.get_ext_fullpath(ext.name))
        built = pathlib.Path(tree, "python", "norvane", target.name)
        target.parent.mkdir(parents=True, exist_ok=True)
        for made in (built, built.with_name("norvane"), built.with_name("norvane-decoder")):
            subprocess.run(["strip", "--strip-unneeded", "-o", target.with_name(made.name), made], check=True)


setup(version=VERSION, ext_modules=[Extension("norvane._norvane", sources=[])], cmdclass={"build_ext": BuildWithCMake})
