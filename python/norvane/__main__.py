# SPDX-License-Identifier: Apache-2.0
"""Runs the program: ``python -m norvane masks image.dcm --out-dir results``."""
import os
import pathlib
import sys

_PACKAGE = pathlib.Path(__file__).resolve().parent
# In a wheel the program is part of the package. Otherwise it is in the bin folder of the same installation.
_PLACES = (_PACKAGE / "norvane", *(folder / "bin" / "norvane" for folder in _PACKAGE.parents[3:4]))


def main() -> None:
    for program in _PLACES:
        if os.access(program, os.X_OK):
            os.execv(program, ["norvane", *sys.argv[1:]])
    sys.exit("norvane: the program is not installed with this module; Debian's package norvane has it")


if __name__ == "__main__":
    main()
