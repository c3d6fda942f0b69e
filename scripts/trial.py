# SPDX-License-Identifier: Apache-2.0
"""Helpers for the tests with servers: free ports, waiting, ending processes, and comparing two folders of results."""
import csv
import json
import os
import re
import shutil
import socket
import subprocess
import time

SKIPPED = 77
PATIENCE_S = 600  # only ends a test that hangs; on a busy machine, a server may need minutes to start
# These fields differ between two runs: how long it took, and whether the results were there already.
RUN_FIELDS = ("kept", "seconds_reading", "seconds_analysis", "seconds_writing")


class Faults(list):
    """Collects what was not as expected and reports it at the end."""

    def expect(self, what, expected, found):
        if expected != found:
            self.append(f"{what}: expected {expected!r}, found {found!r}")


def is_skipped(test, *needed):
    """Whether one of these programs or files is not installed; says which."""
    missing = [name for name in needed if not shutil.which(name) and not os.path.exists(name)]
    if missing:
        print(f"{test}: skipped, missing:", *missing)
    return bool(missing)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(what, condition, pause_s=0.1, patience_s=PATIENCE_S):
    """Waits for a condition and returns its value."""
    end = time.monotonic() + patience_s
    while not (found := condition()):
        if time.monotonic() > end:
            raise RuntimeError(f"{what} did not come")
        time.sleep(pause_s)
    return found


def stop(*processes):
    """Ends processes in this order, by force if they do not end by themselves."""
    for process in processes:
        process.terminate()
        try:
            process.wait(PATIENCE_S / 10)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()


def comparable(file):
    """The content of a result without the parts that differ between two runs."""
    content = file.read_bytes()

    def without_run_fields(row):
        return {name: value for name, value in row.items() if name not in RUN_FIELDS}

    if file.suffix == ".done":
        origin, record, *rest = content.decode().splitlines()
        return [origin, without_run_fields(json.loads(record)), rest]
    if file.name == "summary.ndjson":
        return [without_run_fields(json.loads(line)) for line in content.decode().splitlines()]
    if file.name == "summary.csv":
        return [without_run_fields(row) for row in csv.DictReader(content.decode().splitlines())]
    if file.name == "report.html":
        return re.sub(rb'\["Time [^]]*\]', b"", content)
    return content


def differences(expected, found):
    """The differences between two folders of results, except for the tables of single shards."""
    names = {file.relative_to(folder) for folder in (expected, found) for file in folder.rglob("*")
             if not re.fullmatch(r"summary\.\d-of-\d\..*", file.name)}
    for name in sorted(names):
        files = [folder / name for folder in (expected, found)]
        missing = [str(file) for file in files if not file.exists()]
        if missing:
            yield f"missing: {missing}"
        elif files[0].is_file() and comparable(files[0]) != comparable(files[1]):
            yield f"differs: {name}"
