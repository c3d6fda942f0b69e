#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The tables of docs/scale.md: what a core does in an hour, what archives take, and how chunk sizes and lost workers
change that, by a simulation with a fixed seed.

    bench/archive_simulation.py                        # prints them
    bench/archive_simulation.py --check docs/scale.md  # exits 1 unless the page holds them
"""
import heapq
import math
import pathlib
import random
import sys

# Seconds on one core for an image of 3328 x 4096 pixels: docs/performance.md.
ANALYSIS_S, WRITING_S = 0.133, 0.268
RESULT_MB, RESULT_FILES = 0.61, 8  # default results of a phantom of that size
# Transfer syntax, reading in seconds, megabytes of a file: phantoms of that size encoded with the tools of DCMTK, the
# mean of a digital and a film-like one. Those of JPEG 2000 and HTJ2K are taken to be the same as that of JPEG-LS.
SYNTAXES = (
    ("explicit or implicit little endian", 0.030, 27.3),
    ("explicit big endian", 0.060, 27.3),
    ("deflated", 0.182, 13.8),
    ("RLE", 0.052, 12.1),
    ("JPEG extended (.51)", 0.141, 5.6),
    ("JPEG lossless (.57, .70)", 0.179, 10.5),
    ("JPEG-LS lossless (.80)", 0.491, 9.1),
    ("JPEG-LS near-lossless (.81)", 0.453, 6.2),
    ("JPEG 2000 lossless (.90)", 1.589, 9.1),
    ("HTJ2K lossless (.201)", 0.236, 9.1),
)
OF_ARCHIVES = ("explicit or implicit little endian", "JPEG lossless (.57, .70)", "JPEG 2000 lossless (.90)")
LINK_GB_S = 1.25  # ten gigabits a second
CREATED_PER_S = 5000  # files that a file server makes in a second: an assumption

# The simulation. An image takes as long as one of JPEG lossless; what a chunk costs scheduler and client, and what it
# costs a worker besides its images, are those that scripts/check_dask.py measures.
WORKERS, IMAGES = 100, 1_000_000
IMAGE_S, SPREAD_S = 0.58, 0.3
SCHEDULER_S, CHUNK_S = 0.003, 0.003
BACK_AFTER_S = 60.0
CHUNKS = (5, 10, 50, 100, 200, 1000, 5000)
LOSSES_PER_HOUR = (0.0, 1 / 24, 1.0)  # of a worker: never, once a day, once an hour as machines lent for an hour


def seconds_of(reading):
    return reading + ANALYSIS_S + WRITING_S


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def table_of_a_core():
    rows = []
    for name, reading, size in SYNTAXES:
        one = seconds_of(reading)
        rows.append([name, f"{1000 * one:.0f}", f"{3600 / one:,.0f}", f"{size:.1f}", f"{size / one:.1f}",
                     f"{1000 * LINK_GB_S * one / size:.0f}", f"{CREATED_PER_S * one / RESULT_FILES:.0f}"])
    return table(["transfer syntax", "ms per image", "images per hour", "MB per file", "MB/s read",
                  "cores at 10 Gbit/s", "cores at 5,000 files/s"], rows)


def table_of_archives():
    rows = []
    for name, reading, size in SYNTAXES:
        if name not in OF_ARCHIVES:
            continue
        for millions in (1, 10, 100):
            images = millions * 1_000_000
            hours = images * seconds_of(reading) / 3600
            cores = 100 * millions
            rate = cores / seconds_of(reading)  # images a second
            limits = {"network": LINK_GB_S * 1000 / size, "files": CREATED_PER_S / RESULT_FILES}
            first = min(limits, key=limits.get)
            least = images / min(limits.values()) / 3600
            rows.append([name, f"{millions} million", f"{hours:,.0f}", f"{cores:,}: {hours / cores:.1f} h",
                         f"{rate * size / 1000:.2f}", f"{images * size / 1e6:,.0f}", f"{images * RESULT_MB / 1e6:.1f}",
                         f"{rate * RESULT_FILES:,.0f}", f"{first}, {least:,.1f} h"])
    return table(["archive", "images", "core hours", "cores: time", "GB/s read", "TB read", "TB written",
                  "files/s made", "first limit of one server, its hours"], rows)


def simulate(chunk, losses_per_hour, chance):
    """Hours of the run; shares of the workers' time that was lost with them and that they waited."""
    waiting = [chunk] * (IMAGES // chunk)
    rate = losses_per_hour / 3600
    free = [(0.0, worker) for worker in range(WORKERS)]
    running = []  # when a lost chunk shows
    scheduler_free = end = lost = busy = 0.0
    while waiting or running:
        if not waiting:  # a worker that was lost gives its chunk back
            shown, size = heapq.heappop(running)
            waiting.append(size)
            free = [(max(at, shown), worker) for at, worker in free]
            heapq.heapify(free)
        at, worker = heapq.heappop(free)
        while running and running[0][0] <= at:
            waiting.append(heapq.heappop(running)[1])
        size = waiting.pop()
        start = scheduler_free = max(at, scheduler_free) + SCHEDULER_S
        work = CHUNK_S + max(0.0, chance.gauss(size * IMAGE_S, math.sqrt(size) * SPREAD_S))
        until_loss = chance.expovariate(rate) if rate else math.inf
        if until_loss < work:
            lost += until_loss
            heapq.heappush(running, (start + until_loss, size))
            heapq.heappush(free, (start + until_loss + BACK_AFTER_S, worker))
        else:
            busy += work
            end = max(end, start + work)
            heapq.heappush(free, (start + work, worker))
    total = WORKERS * end
    return end / 3600, lost / total, 1 - (lost + busy) / total


def table_of_chunks():
    ideal = IMAGES * IMAGE_S / WORKERS / 3600
    rows = []
    for chunk in CHUNKS:
        row = [str(chunk), f"{chunk * IMAGE_S:.0f} s"]
        for losses in LOSSES_PER_HOUR:
            hours, lost, waited = simulate(chunk, losses, random.Random(1))
            row.append(f"{100 * (hours / ideal - 1):+.1f} % ({100 * lost:.1f}, {100 * waited:.1f})")
        rows.append(row)
    return table(["images per chunk", "time", "no losses", "each worker once a day", "each worker once an hour"], rows)


def main():
    tables = [table_of_a_core(), table_of_archives(), table_of_chunks()]
    if len(sys.argv) == 3 and sys.argv[1] == "--check":
        page = pathlib.Path(sys.argv[2]).read_text()
        missing = [one for one in tables if one not in page]
        print("\n\n".join(missing) or "archive_simulation: the page has the tables")
        return 1 if missing else 0
    print("\n\n".join(tables))
    return 0


if __name__ == "__main__":
    sys.exit(main())
