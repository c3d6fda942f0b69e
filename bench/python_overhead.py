#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What Python adds to prepare() and full_mask() of a 3328 x 4096 image: processor time beside a loop in C++.

    PYTHONPATH=build/release/python bench/python_overhead.py build/release [RUNS]

Both run in turn on the same samples, each in a process of its own; the results must be equal. Prints medians, the median
of the differences of neighbouring runs, and that as a share of the C++ time.
"""
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

import norvane

WIDTH, HEIGHT, PIXEL_SIZE = 3328, 4096, 70.0
NOISE = norvane.BG_NOISE.BG_AUTO_COARSE


def yardstick(build, samples):
    target = "norvane_python_yardstick"
    subprocess.run(["cmake", "--build", build, "--target", target], check=True, stdout=subprocess.DEVNULL)
    command = [pathlib.Path(build, "python", target), samples, str(WIDTH), str(HEIGHT)]
    return subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)


def ask(process, what):
    process.stdin.write(what + "\n")
    process.stdin.flush()
    return [int(number) for number in process.stdout.readline().split()]


def timed(work):
    start = time.process_time_ns()
    result = work()
    return time.process_time_ns() - start, result


def check_of_mask(found):
    _, _, last_column, last_row = found["full"].bounds
    return 1_000_000 * last_column + 10 * last_row + found.status


def compare(process, what, work, check, runs):
    theirs, ours = [], []
    for run in range(runs + 2):  # the first two warm up
        nanoseconds, expected = ask(process, what)
        own_nanoseconds, result = timed(work)
        if check(result) != expected:
            sys.exit(f"{what}: the results differ")
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
    build, runs = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 101
    pixels, _ = norvane.phantom(WIDTH, HEIGHT, PIXEL_SIZE)
    image = norvane.prepare(pixels, PIXEL_SIZE, used_bits=12, noise=NOISE)
    asked = norvane.Params(
        side=norvane.IMAGE_SIDE.SIDE_CHEST_LEFT, view=norvane.IMAGE_VIEW.VIEW_PECT, bgNoise=NOISE, fullContour=True
    )
    with tempfile.NamedTemporaryFile() as samples:
        pixels.tofile(samples.name)
        with yardstick(build, samples.name) as process:
            compare(
                process,
                "prepare",
                lambda: norvane.prepare(pixels, PIXEL_SIZE, used_bits=12, noise=NOISE),
                lambda made: int(made.pixels.sum(dtype="u8")),
                runs,
            )
            compare(process, "full_mask", lambda: norvane.full_mask(image, asked), check_of_mask, runs)
            process.stdin.close()


main()
