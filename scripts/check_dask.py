#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests norvane-dask with a scheduler and workers on this machine that are killed, stopped and restarted:

    check_dask.py [--short | --undisturbed] [--images N] [--workers N] [--list FILE] NORVANE PACKAGE [OPTION ...]

NORVANE is the program, PACKAGE the folder of the Python package, and OPTION an option of norvane masks. Draws phantoms
or takes the images of a list. Processes them with the program, with an undisturbed norvane-dask, whose processor time
is measured, and with a disturbed one. Compares all results. Exits 77 if Dask is missing."""
import argparse
import collections
import concurrent.futures
import csv
import importlib.util
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from trial import Faults, SKIPPED, differences, free_port, stop, wait_for

ROOT = pathlib.Path(__file__).resolve().parent.parent
OPTIONS = ["--view", "cc", "--pixel-size", "228", "--side", "left"]
ATTEMPTS = 10  # to kill a worker half-way
QUIET = {"DASK_DISTRIBUTED__WORKER__PROFILE__ENABLED": "False", "DASK_DISTRIBUTED__ADMIN__TICK__INTERVAL": "1s",
         "DASK_DISTRIBUTED__ADMIN__SYSTEM_MONITOR__INTERVAL": "5s"}  # as docs/scale.md says
TICKS_PER_S = os.sysconf("SC_CLK_TCK")


def children_of(process):
    threads = pathlib.Path(f"/proc/{process}/task").glob("*/children")
    return [int(word) for listing in threads for word in listing.read_text().split()]


def family_of(process):
    return [process, *(one for child in children_of(process) for one in family_of(child))]


def processor_s(process):
    fields = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS_PER_S


class Cluster:
    """A scheduler, and workers with the nannies that replace them."""

    def __init__(self, folder, package, workers):
        self.folder, self.port = folder, free_port()
        self.address = f"tcp://127.0.0.1:{self.port}"
        self.environment = {**os.environ, **QUIET, "PYTHONPATH": str(package), "PYTHONDONTWRITEBYTECODE": "1"}
        self.scheduler, self.nannies = self.start_scheduler(), []
        self.nannies = [self.start_worker(number) for number in range(workers)]
        try:
            wait_for("the workers", lambda: all(self.workers()))
        except RuntimeError:
            self.stop()
            raise

    def start(self, name, *words):
        with open(self.folder / f"{name}.log", "a", encoding="utf-8") as log:
            return subprocess.Popen([sys.executable, "-m", *map(str, words)], env=self.environment, cwd=self.folder,
                                    stdout=log, stderr=log)

    def start_scheduler(self):
        return self.start("scheduler", "distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", self.port,
                          "--dashboard-address", "127.0.0.1:0")

    def start_worker(self, number):
        return self.start(f"worker{number}", "distributed.cli.dask_worker", self.address, "--name", number,
                          "--nthreads", 1, "--memory-limit", 0, "--no-dashboard", "--local-directory", self.folder)

    def workers(self):
        """The process of each worker; None if there is none yet. The log of its nanny says when it is ready."""
        found = []
        for number, nanny in enumerate(self.nannies):
            log = (self.folder / f"worker{number}.log").read_text(errors="replace")
            spawned = [one for one in children_of(nanny.pid)
                       if b"spawn_main" in pathlib.Path(f"/proc/{one}/cmdline").read_bytes()]
            found.append(spawned[0] if spawned and "Registered to" in log else None)
        return found

    def processor_s(self):
        return {"scheduler": processor_s(self.scheduler.pid),
                "workers": sum(processor_s(one) for nanny in self.nannies for one in family_of(nanny.pid))}

    def kill_scheduler(self):
        self.scheduler.kill()
        self.scheduler.wait()

    def come_back(self):
        """A new scheduler at the same address, and new workers."""
        self.scheduler = self.start_scheduler()
        for number, nanny in enumerate(self.nannies):
            nanny.terminate()
            nanny.wait()
            (self.folder / f"worker{number}.log").unlink()
            self.nannies[number] = self.start_worker(number)
        wait_for("the workers", lambda: all(self.workers()))

    def stop(self):
        stop(*self.nannies, self.scheduler)


class Trial:
    def __init__(self, given, folder):
        self.given, self.folder, self.faults = given, folder, Faults()
        self.options = given.options or OPTIONS
        self.listing = given.list or self.draw_phantoms()
        self.files = self.listing.read_text().splitlines()
        self.cluster = Cluster(folder, given.package, given.workers)

    def draw_phantoms(self):
        (self.folder / "images").mkdir()
        files = [self.folder / "images" / f"{number}.png" for number in range(self.given.images)]

        def draw(number):
            command = [self.given.program, "phantom", files[number], "--seed", str(number), "--view", "cc", "--width",
                       "300", "--height", "400", "--pixel-size", "228"]
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(draw, range(len(files))))
        listing = self.folder / "list.txt"
        listing.write_text("".join(f"{file}\n" for file in files))
        return listing

    def start(self, command, name):
        log = open(self.folder / f"{name}.log", "wb")
        with log:
            return subprocess.Popen(list(map(str, command)), env=self.cluster.environment, stdout=log, stderr=log)

    def log_of(self, name):
        return (self.folder / f"{name}.log").read_text(errors="replace")

    def dask(self, name, out_dir, *more):
        command = [sys.executable, ROOT / "python" / "bin" / "norvane-dask", "--scheduler", self.cluster.address,
                   self.listing, "--out-dir", out_dir, "--chunk", self.given.chunk, *self.options, *more]
        return self.start(command, name)

    @staticmethod
    def end_of(process):
        """Exit code, and the processor time that it took."""
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        return process.returncode, usage.ru_utime + usage.ru_stime

    def run_undisturbed(self):
        start = time.monotonic()
        command = [self.given.program, "masks", "--manifest", self.listing, "--out-dir", self.folder / "program",
                   "--jobs", self.given.workers, *self.options]
        self.code, program_s = self.end_of(self.start(command, "program"))
        middle = time.monotonic()
        if self.given.short:
            return
        before = self.cluster.processor_s()
        code, client_s = self.end_of(self.dask("undisturbed", self.folder / "undisturbed"))
        parts = {name: after - before[name] for name, after in self.cluster.processor_s().items()}
        self.faults.expect("exit code of the undisturbed run", self.code, code)
        own_s = float(re.search(r"took ([\d.]+) s of processor", self.log_of("undisturbed")).group(1))
        overhead = client_s + parts["scheduler"] + parts["workers"] - own_s
        print(f"check_dask: processor time of {len(self.files)} images: program {program_s:.1f} s; on the workers "
              f"{own_s:.1f} s, and beside them client {client_s:.1f} s, scheduler {parts['scheduler']:.1f} s, workers "
              f"{parts['workers'] - own_s:.1f} s: {100 * overhead / own_s:.1f} %; all against the program "
              f"{100 * ((own_s + overhead) / program_s - 1):+.1f} %; wall time {middle - start:.0f} and "
              f"{time.monotonic() - middle:.0f} s", flush=True)

    def done(self):
        return sum(1 for _ in (self.folder / "disturbed").glob("*.done"))

    def wait_for_share(self, share, process):
        wanted = int(share * len(self.files))
        wait_for(f"{wanted} images", lambda: self.done() >= wanted or process.poll() is not None, 0.02)

    def tell(self, what):
        print(f"check_dask: {what} with {self.done()} of {len(self.files)} done", flush=True)

    def kill_a_worker_half_way(self):
        for _ in range(ATTEMPTS):
            process = self.dask("disturbed", self.folder / "disturbed")
            self.wait_for_share(0.15, process)
            worker = self.cluster.workers()[0]
            os.kill(worker, signal.SIGSTOP)
            if self.done() < len(self.files) and process.poll() is None:
                os.kill(worker, signal.SIGKILL)
                self.tell("a worker was killed")
                return process
            os.kill(worker, signal.SIGCONT)
            process.wait()
            shutil.rmtree(self.folder / "disturbed")
        raise RuntimeError(f"the run ended before a worker was killed, {ATTEMPTS} times")

    def run_disturbed(self):
        process = self.kill_a_worker_half_way()
        if not self.given.short:
            process = self.lose_the_scheduler(process)
            self.stop_a_worker(process)
        self.faults.expect("exit code of the disturbed run", self.code, process.wait())

    def stop_a_worker(self, process):
        self.wait_for_share(0.6, process)
        stopped = self.cluster.workers()[1]
        os.kill(stopped, signal.SIGSTOP)
        self.tell("a worker was stopped")
        time.sleep(self.given.pause)
        os.kill(stopped, signal.SIGCONT)
        self.tell(f"it went on after {self.given.pause} s")

    def lose_the_scheduler(self, process):
        self.wait_for_share(0.35, process)
        self.faults.expect("the run goes on", None, process.poll())
        self.cluster.kill_scheduler()
        self.tell("the scheduler was killed")
        self.faults.expect("exit code without a scheduler", 1, process.wait())
        self.faults.expect("what it says then", True,
                           "give the same command with --resume" in self.log_of("disturbed"))
        self.cluster.come_back()
        self.tell("the scheduler was restarted and the run resumed")
        return self.dask("resumed", self.folder / "disturbed", "--resume")

    def compare(self):
        for name in ("undisturbed", "disturbed"):
            out_dir = self.folder / name
            if not out_dir.exists():
                continue
            self.faults += [f"{name}: {text}" for text in differences(self.folder / "program", out_dir)]
            rows = [json.loads(line) for line in (out_dir / "summary.ndjson").read_text().splitlines()]
            self.faults.expect(f"{name}: images in the table", self.files, [row["file"] for row in rows])
            made = collections.Counter("refused" if row["refusal"] else "kept" if row["kept"] else "made"
                                       for row in rows)
            stamps = sum(1 for _ in out_dir.rglob("*.done"))
            self.faults.expect(f"{name}: one result an image", len(rows) - made["refused"], stamps)
            self.faults.expect(f"{name}: files left over", [], [str(file) for file in out_dir.rglob(".*")])
            table = list(csv.DictReader((out_dir / "summary.csv").read_text().splitlines()))
            self.faults.expect(f"{name}: rows of the table", len(rows), len(table))
            files = sum(file.is_file() for file in out_dir.rglob("*"))
            print(f"check_dask: {name}: {dict(made)}, {stamps} stamps, {files} files compared")


def check(given):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        trial = Trial(given, folder)
        try:
            trial.run_undisturbed()
            if not given.undisturbed:
                trial.run_disturbed()
            trial.compare()
        except (RuntimeError, OSError, AttributeError, subprocess.CalledProcessError) as error:
            trial.faults.append(repr(error))
        finally:
            trial.cluster.stop()
        if trial.faults:
            trial.faults += [f"{log.name}: {log.read_text(errors='replace')[-2000:]}" for log in folder.glob("*.log")]
        print("\n".join(trial.faults) or "check_dask: no faults")
        return 1 if trial.faults else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--short", action="store_true", help="60 images, 2 workers, one of which is killed")
    parser.add_argument("--undisturbed", action="store_true", help="only take the processor time")
    parser.add_argument("--images", type=int)
    parser.add_argument("--workers", type=int)
    parser.add_argument("--chunk", type=int)
    parser.add_argument("--pause", type=float, default=60, help="seconds that a worker is stopped")
    parser.add_argument("--list", type=pathlib.Path, help="a list of images, instead of phantoms")
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("package", type=pathlib.Path)
    given, options = parser.parse_known_args()
    given.options, given.program, given.package = options, given.program.resolve(), given.package.resolve()
    given.images = given.images or (60 if given.short else 2000)
    given.workers = given.workers or (2 if given.short else 4)
    given.chunk = given.chunk or (5 if given.short else 50)
    if given.short:
        given.options += [*OPTIONS, "--noise", "mg-raw-2", "--results", "json,masks"]
    if not importlib.util.find_spec("distributed"):
        print("check_dask: skipped, distributed is not installed")
        return SKIPPED
    return check(given)


if __name__ == "__main__":
    sys.exit(main())
