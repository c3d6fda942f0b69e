#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Fuzzes the targets of fuzz/ under ASan and UBSan (Clang, libFuzzer) and prints a table with one row for each.

--build holds the build, the inputs that libFuzzer kept, its logs, and the inputs that showed a fault. Exits 1 on a
finding. With --store nothing is fuzzed: a selection of the kept inputs is written to fuzz/corpus/, which the tests
replay.
"""
import argparse
import concurrent.futures
import os
import pathlib
import re
import random
import struct
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FLAGS = "-O1 -g1 -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all"
ROUND = 300  # seconds, after which the processor time is checked
STORED_BYTES, STORED_INPUTS = 60_000, 250  # per target


def build(folder, targets):
    subprocess.run([ROOT / "scripts/install-packages.sh", "build", "test", "determinism", "fuzz"], check=True)
    subprocess.run(["cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None", "-DNORVANE_FUZZ=ON",
                    "-DCMAKE_CXX_COMPILER=clang++", f"-DCMAKE_CXX_FLAGS={FLAGS}"],
                   check=True, stdout=subprocess.DEVNULL)
    wanted = [f"fuzz_{target}" for target in targets] + ["write_seeds"] if targets else ["fuzz/all"]
    subprocess.run(["ninja", "-C", folder, *wanted], check=True, stdout=subprocess.DEVNULL)
    subprocess.run([folder / "fuzz/write_seeds", folder / "seeds"], check=True)


def unpack(folder, target):
    """Writes the stored inputs as files for libFuzzer. In the store, each input follows its length."""
    packed = ROOT / f"fuzz/corpus/{target}.bin"
    to = folder / "stored" / target
    to.mkdir(parents=True, exist_ok=True)
    data = packed.read_bytes() if packed.exists() else b""
    at = number = 0
    while at < len(data):
        (size,) = struct.unpack_from("<I", data, at)
        (to / str(number)).write_bytes(data[at + 4:at + 4 + size])
        at, number = at + 4 + size, number + 1
    return to


def store(folder, target):
    """A random selection of what libFuzzer kept: each of these inputs reached something new in its time."""
    inputs = [file.read_bytes() for file in sorted((folder / "corpus" / target).iterdir())]
    random.Random(1).shuffle(inputs)
    packed, count = b"", 0
    for data in sorted(inputs[:STORED_INPUTS], key=len):
        if len(packed) + len(data) <= STORED_BYTES:
            packed, count = packed + struct.pack("<I", len(data)) + data, count + 1
    (ROOT / f"fuzz/corpus/{target}.bin").write_bytes(packed)
    return f"`{target}`", f"{count} of {len(inputs)} inputs, {len(packed)} bytes"


def fuzz(folder, target, seconds):
    """Runs rounds until the processor time is used up or an input shows a fault. Returns the fields of the row."""
    kept, log = folder / "corpus" / target, folder / f"{target}.log"
    kept.mkdir(parents=True, exist_ok=True)
    words, found = ROOT / f"fuzz/{target}.dict", ROOT / "fuzz/found" / target
    command = [folder / f"fuzz/fuzz_{target}", kept, folder / "seeds" / target, unpack(folder, target)]
    command += [found] if found.is_dir() else []
    command += [f"-dict={words}"] if words.exists() else []
    command += ["-rss_limit_mb=6000", "-timeout=60", "-print_final_stats=1",
                f"-artifact_prefix={folder}/found-{target}-"]
    used, status = 0.0, 0
    with open(log, "wb") as stream:
        while used < seconds and status == 0:
            round_limit = max(5, min(ROUND, int(seconds - used)))
            child = subprocess.Popen(command + [f"-max_total_time={round_limit}"], stdout=stream, stderr=stream)
            _, wait_status, usage = os.wait4(child.pid, 0)
            child.returncode = status = os.waitstatus_to_exitcode(wait_status)
            used += usage.ru_utime + usage.ru_stime
    text = log.read_text(errors="replace")
    runs = sum(map(int, re.findall(r"stat::number_of_executed_units: (\d+)", text)))
    edges = max(map(int, re.findall(r"cov: (\d+)", text)), default=0)
    return f"`{target}`", runs, edges, round(used), "none" if status == 0 else f"see {log.name}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("targets", nargs="*", help="without one: all")
    parser.add_argument("--seconds", type=int, default=1200, help="processor seconds for each target [%(default)s]")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="targets at a time [%(default)s]")
    parser.add_argument("--store", action="store_true")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/fuzz")
    options = parser.parse_args()
    build(options.build, options.targets)
    found = (options.build / "fuzz").glob("fuzz_*")
    targets = options.targets or sorted(file.name.removeprefix("fuzz_") for file in found if file.is_file())
    if options.store:
        for target in targets:
            print(*store(options.build, target), sep=": ", flush=True)
        return
    print("| target | executions | edges | processor seconds | findings |\n| --- | --- | --- | --- | --- |")
    is_clean = True
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for row in pool.map(lambda target: fuzz(options.build, target, options.seconds), targets):
            print("| " + " | ".join(map(str, row)) + " |", flush=True)
            is_clean = is_clean and row[-1] == "none"
    sys.exit(0 if is_clean else 1)


if __name__ == "__main__":
    main()
