#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs norvane_masks.sbatch in a Slurm of its own on this machine: test_slurm.py NORVANE [IMAGES]. Exits 77 where a
package is missing."""
import contextlib
import csv
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
DAEMONS = ("slurmctld", "slurmd")
SKIPPED = 77
PATIENCE_S = 180
TASKS = 4
OPTIONS = ["--view", "cc", "--pixel-size", "228", "--side", "left", "--results", "json,masks,page"]
# What differs between two runs: how long it took, and whether the results were there.
RUN_FIELDS = ("kept", "seconds_reading", "seconds_analysis", "seconds_writing")

CONFIGURATION = """ClusterName=test
SlurmctldHost=localhost
SlurmctldPort={controller_port}
SlurmdPort={node_port}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/none
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
CredType=cred/none
AuthInfo=cred_expire=5
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MpiDefault=none
SwitchType=switch/none
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
SchedulerParameters=sched_interval=1,bf_interval=1,batch_sched_delay=0
KillWait=5
NodeName=node NodeAddr=127.0.0.1 NodeHostname={host} CPUs=2 RealMemory=1000
PartitionName=all Nodes=node Default=YES State=UP
"""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(what, condition, pause_s=0.2):
    end = time.monotonic() + PATIENCE_S
    while not (found := condition()):
        if time.monotonic() > end:
            raise RuntimeError(f"{what} did not come")
        time.sleep(pause_s)
    return found


def run(*command):
    return subprocess.run(list(map(str, command)), check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


class Cluster:
    """A controller and a node, in a folder of their own."""

    def __init__(self, folder):
        self.folder = folder
        configuration = folder / "slurm.conf"
        configuration.write_text(CONFIGURATION.format(
            folder=folder, user=run("id", "-un"), host=socket.gethostname().split(".")[0],
            controller_port=free_port(), node_port=free_port()))
        os.environ["SLURM_CONF"] = str(configuration)
        for name in ("state", "spool"):
            (folder / name).mkdir()
        self.processes = []
        for program, words in zip(DAEMONS, ([], ["-N", "node"])):
            with open(folder / f"{program}.log", "w", encoding="utf-8") as log:
                command = [program, "-D", "-f", configuration, *words]
                self.processes.append(subprocess.Popen(command, stdout=log, stderr=log))
        wait_for("the node", lambda: self.state_of_node() == "idle")

    @staticmethod
    def state_of_node():
        answer = subprocess.run(["sinfo", "--noheader", "--format=%T"], stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True, check=False)
        return answer.stdout.strip()

    def stop(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait(PATIENCE_S)

    def submit(self, *words):
        resources = ["--cpus-per-task=1", "--mem=100", f"--output={self.folder}/job-%j.log"]
        return run("sbatch", "--parsable", *resources, *words)


def facts_of(job):
    return dict(re.findall(r"(\w+)=(\S+)", run("scontrol", "--oneliner", "show", "job", job)))


def program_of_task(out_dir, task):
    """The process that works on a part."""
    for folder in pathlib.Path("/proc").iterdir():
        try:
            words = (folder / "cmdline").read_bytes().decode().split("\0") if folder.name.isdigit() else ()
        except (OSError, UnicodeError):
            continue
        if f"{task}/{TASKS}" in words and str(out_dir) in words and words[1] == "masks":
            return int(folder.name)
    return None


def names_of_part(program, listing, out_dir, task):
    text = run(program, "masks", "--manifest", listing, "--out-dir", out_dir, "--shard", f"{task}/{TASKS}", "--dry-run")
    return [match.rsplit("/", 1)[-1] for match in re.findall(r"would make (.*)\.\*", text)]


def is_told_to_end(process):
    """Whether SIGTERM waits for the process, or it is no more."""
    try:
        status = pathlib.Path(f"/proc/{process}/status").read_text()
    except OSError:
        return True
    pending = sum(int(mask, 16) for mask in re.findall(r"^...Pnd:\s*(\w+)", status, re.MULTILINE))
    return bool(pending >> (signal.SIGTERM - 1) & 1) or "State:\tZ" in status


def disturb(out_dir, names, task, deed):
    """Does it when some of the task's images are there, but not all: time stands still for the program meanwhile."""
    process = wait_for(f"task {task}", lambda: program_of_task(out_dir, task), 0.005)
    wait_for("its images", lambda: sum((out_dir / f"{name}.done").exists() for name in names) >= 3, 0.005)
    os.kill(process, signal.SIGSTOP)
    count = sum((out_dir / f"{name}.done").exists() for name in names)
    deed(process)
    wait_for("the signal", lambda: is_told_to_end(process), 0.005)
    with contextlib.suppress(ProcessLookupError):
        os.kill(process, signal.SIGCONT)
    return count


def comparable(file):
    """The content of a result without what differs between two runs."""
    content = file.read_bytes()

    def without_run_fields(line):
        return {name: value for name, value in json.loads(line).items() if name not in RUN_FIELDS}

    if file.suffix == ".done":
        origin, record, *rest = content.decode().splitlines()
        return [origin, without_run_fields(record), rest]
    if file.name == "summary.ndjson":
        return [without_run_fields(line) for line in content.decode().splitlines()]
    if file.name == "summary.csv":
        rows = csv.DictReader(content.decode().splitlines())
        return [{name: value for name, value in row.items() if name not in RUN_FIELDS} for row in rows]
    if file.name == "report.html":
        return re.sub(rb'\["Time [^]]*\]', b"", content)
    return content


def differences(expected, found):
    names = {file.relative_to(folder) for folder in (expected, found) for file in folder.rglob("*")
             if not re.fullmatch(r"summary\.\d-of-\d\..*", file.name)}
    for name in sorted(names):
        files = [folder / name for folder in (expected, found)]
        missing = [str(file) for file in files if not file.exists()]
        if missing:
            yield f"missing: {missing}"
        elif files[0].is_file() and comparable(files[0]) != comparable(files[1]):
            yield f"differs: {name}"


def column(table, name):
    return [row[name] for row in csv.DictReader(table.read_text().splitlines())]


class Trial:
    def __init__(self, program, folder, count):
        self.program, self.folder, self.faults = program, folder, []
        self.listing, self.out_dir, self.count = folder / "list.txt", folder / "results", count
        images = [folder / "images" / f"{i}.png" for i in range(count)]
        images[0].parent.mkdir()
        for i, image in enumerate(images):
            run(program, "phantom", image, "--seed", i, "--width", 300, "--height", 400, "--pixel-size", 228, "--view",
                "cc")
        self.listing.write_text("".join(f"{image}\n" for image in images))

    def expect(self, what, expected, found):
        if expected != found:
            self.faults.append(f"{what}: expected {expected}, found {found}")

    def run_undisturbed(self):
        run(self.program, "masks", "--manifest", self.listing, "--out-dir", self.folder / "undisturbed", *OPTIONS)

    def run_in_cluster(self, cluster):
        parts = {task: names_of_part(self.program, self.listing, self.out_dir, task) for task in range(1, TASKS + 1)}
        script = [HERE / "norvane_masks.sbatch", self.listing, self.out_dir, *OPTIONS]
        array = cluster.submit(f"--array=1-{TASKS}", *script)
        last = cluster.submit(f"--dependency=afterany:{array}", *script)
        deeds = {1: lambda _: run("scontrol", "requeue", f"{array}_1"),
                 2: lambda _: run("scancel", f"{array}_2"),
                 3: lambda _: run("scancel", "--batch", "--signal=TERM", f"{array}_3"),  # as before the time limit
                 4: lambda process: os.kill(process, signal.SIGKILL)}
        done = {task: disturb(self.out_dir, parts[task], task, deed) for task, deed in deeds.items()}
        wait_for("the last job", lambda: facts_of(last)["JobState"] not in ("PENDING", "RUNNING", "COMPLETING"))

        self.expect("state of the last job", "COMPLETED", facts_of(last)["JobState"])
        tasks = [facts_of(f"{array}_{task}") for task in parts]
        states = ["COMPLETED", "CANCELLED", "COMPLETED", "COMPLETED"]
        self.expect("states", states, [task["JobState"] for task in tasks])
        self.expect("restarts", ["1", "0", "1", "1"], [task["Restarts"] for task in tasks])
        for task, count in done.items():
            self.expect(f"task {task} was disturbed half-way", True, 3 <= count < len(parts[task]))
        for task in (1, 3, 4):
            kept = column(self.out_dir / f"summary.{task}-of-{TASKS}.csv", "kept").count("1")
            self.expect(f"kept when task {task} came again", True, done[task] <= kept < len(parts[task]))
        log = pathlib.Path(tasks[2]["StdOut"]).read_text()
        self.expect("the program has time to end after a warning", True, "exit code 130" in log)
        kept = column(self.out_dir / "summary.csv", "kept").count("1")
        self.expect("kept by the last job", True, self.count - len(parts[2]) <= kept < self.count)
        print(f"test_slurm: disturbed with {done} of { {task: len(names) for task, names in parts.items()} } done, "
              f"{kept} of {self.count} kept by the last job")

    def compare(self):
        self.faults += differences(self.folder / "undisturbed", self.out_dir)
        files = sum(file.is_file() for file in self.out_dir.rglob("*"))
        leftovers = [file.name for file in self.out_dir.rglob(".*")]
        self.expect("files left over", [], leftovers)
        print(f"test_slurm: {files} files compared")


def check(program, count):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        (folder / "bin").mkdir()
        (folder / "bin" / "norvane").symlink_to(program)
        os.environ["PATH"] = f"{folder}/bin:{os.environ['PATH']}"
        trial = Trial(program, folder, count)
        trial.run_undisturbed()
        cluster = Cluster(folder)
        try:
            trial.run_in_cluster(cluster)
        except (RuntimeError, OSError, subprocess.CalledProcessError) as error:
            logs = [file.read_text(errors="replace")[-3000:] for file in folder.glob("*.log")]
            trial.faults += [str(error), *logs]
        finally:
            cluster.stop()
        trial.compare()
        print("\n".join(trial.faults) or "test_slurm: no faults")
        return 1 if trial.faults else 0


def main():
    os.environ["PATH"] += ":/usr/sbin"
    missing = [name for name in (*DAEMONS, "sbatch", "scontrol", "squeue") if not shutil.which(name)]
    if missing:
        print("test_slurm: skipped, missing:", *missing)
        return SKIPPED
    return check(pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 200)


if __name__ == "__main__":
    sys.exit(main())
