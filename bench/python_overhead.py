#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What Python adds to prepare() and full_mask() of a 3328 x 4096 image: processor time beside the same calls in C++.

    PYTHONPATH=build/release/python bench/python_overhead.py build/release [RUNS]

Both run in turn in one process, on the same samples and the same heap: in processes of their own the state of the
allocator alone makes a tenth of a difference. The results must be equal. Prints medians, and the median of the
differences of neighbouring runs as a share of the C++ time; and what a call of full_mask() costs that the library ends
at once, since a loaded machine moves the medians by more than that.
"""
import ctypes
import pathlib
import statistics
import subprocess
import sys
import time

import numpy as np

import norvane

WIDTH, HEIGHT, PIXEL_SIZE = 3328, 4096, 70.0
NOISE = norvane.BG_NOISE.BG_AUTO_COARSE


def yardstick(build):
    target = "norvane_python_yardstick"
    subprocess.run(["cmake", "--build", build, "--target", target], check=True, stdout=subprocess.DEVNULL)
    library = ctypes.CDLL(pathlib.Path(build, "python", f"lib{target}.so").resolve())
    library.yardstick_prepare.restype = library.yardstick_full_mask.restype = ctypes.c_longlong
    return library


def timed(work):
    start = time.process_time_ns()
    result = work()
    return time.process_time_ns() - start, result


def check_of_mask(found):
    _, _, last_column, last_row = found["full"].bounds
    return 1_000_000 * last_column + 10 * last_row + found.status


def compare(what, their_work, own_work, check, runs):
    theirs, ours = [], []
    for run in range(runs + 2):  # the first two warm up
        expected = ctypes.c_ulonglong()
        nanoseconds = their_work(ctypes.byref(expected))
        own_nanoseconds, result = timed(own_work)
        if check(result) != expected.value:
            sys.exit(f"{what}: the results differ")
        del result
        if run >= 2:
            theirs.append(nanoseconds / 1e6)
            ours.append(own_nanoseconds / 1e6)
    added = statistics.median(own - their for own, their in zip(ours, theirs))
    base = statistics.median(theirs)
    print(
        f"{what:10} C++ {base:7.3f} ms   Python {statistics.median(ours):7.3f} ms   "
        f"added {added * 1000:+6.0f} us   {100 * added / base:+5.2f} %"
    )


def main():
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 101
    library = yardstick(sys.argv[1])
    pixels, _ = norvane.phantom(WIDTH, HEIGHT, PIXEL_SIZE)
    image = norvane.prepare(pixels, PIXEL_SIZE, used_bits=12, noise=NOISE)
    working = np.ascontiguousarray(image.pixels)
    asked = norvane.Params(
        side=norvane.IMAGE_SIDE.SIDE_CHEST_LEFT, view=norvane.IMAGE_VIEW.VIEW_PECT, bgNoise=NOISE, fullContour=True
    )
    compare(
        "prepare",
        lambda check: library.yardstick_prepare(ctypes.c_void_p(pixels.ctypes.data), WIDTH, HEIGHT, check),
        lambda: norvane.prepare(pixels, PIXEL_SIZE, used_bits=12, noise=NOISE),
        lambda made: int(made.pixels.sum(dtype="u8")),
        runs,
    )
    compare(
        "full_mask",
        lambda check: library.yardstick_full_mask(
            ctypes.c_void_p(working.ctypes.data), *image.shape[::-1], ctypes.c_float(image.pixel_size), check
        ),
        lambda: norvane.full_mask(image, asked),
        check_of_mask,
        runs,
    )
    nowhere = norvane.Params(bgNoise=NOISE)  # without a side there is nothing to do
    calls = 100 * runs
    nanoseconds, _ = timed(lambda: [norvane.full_mask(image, nowhere) for _ in range(calls)])
    print(f"a call of full_mask() that ends at once: {nanoseconds / calls / 1000:.1f} us")


main()
