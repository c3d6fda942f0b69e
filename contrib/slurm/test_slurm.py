#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs norvane_masks.sbatch in a Slurm of its own on this machine: test_slurm.py NORVANE [IMAGES]. Exits 77 if a
package is missing."""
import contextlib
import csv
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "scripts"))
from trial import Faults, SKIPPED, differences, free_port, is_skipped, stop, wait_for  # noqa: E402

DAEMONS = ("slurmctld", "slurmd")
ATTEMPTS = 10  # to disturb all tasks half-way
TASKS = 4
OPTIONS = ["--view", "cc", "--pixel-size", "228", "--side", "left", "--results", "json,masks,page"]
# Stands between the script and the program. The first start of each task says who it is and stops until it may go on.
WRAPPER = """#!/bin/sh
if [ -n "$SLURM_ARRAY_TASK_ID" ] && (set -C; echo $$ >"FOLDER/task$SLURM_ARRAY_TASK_ID") 2>/dev/null; then
    kill -STOP $$
fi
exec PROGRAM "$@"
"""

CONFIGURATION = """ClusterName=test
SlurmctldHost=localhost
SlurmctldPort={controller_port}
SlurmdPort={node_port}
SlurmUser={user}
SlurmdUser={user}
{communication}
AuthType=auth/none
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


def run(*command):
    return subprocess.run(list(map(str, command)), check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


class Cluster:
    """A controller and a node, in a folder of their own."""

    def __init__(self, folder):
        self.folder = folder
        configuration, host = folder / "slurm.conf", socket.gethostname().split(".")[0]
        # Daemons can be bound to an address only if it is that of the machine's name.
        communication = "CommunicationParameters=NoCtldInAddrAny,NoInAddrAny" if host == "localhost" else ""
        configuration.write_text(CONFIGURATION.format(
            folder=folder, user=run("id", "-un"), host=host, communication=communication, controller_port=free_port(),
            node_port=free_port()))
        (folder / "cgroup.conf").write_text("CgroupPlugin=cgroup/v1\n")  # none is used, but to look for one may fail
        os.environ["SLURM_CONF"] = str(configuration)
        for name in ("state", "spool"):
            (folder / name).mkdir()
        self.processes = []

    def start(self):
        for program, words in zip(DAEMONS, ([], ["-N", "node"])):
            with open(self.folder / f"{program}.log", "w", encoding="utf-8") as log:
                command = [program, "-D", "-f", os.environ["SLURM_CONF"], *words]
                self.processes.append(subprocess.Popen(command, stdout=log, stderr=log))
        wait_for("the node", lambda: self.state_of_node() == "idle")

    def state_of_node(self):
        if any(process.poll() is not None for process in self.processes):
            raise RuntimeError("a daemon has ended")
        answer = subprocess.run(["sinfo", "--noheader", "--format=%T"], stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True, check=False)
        return answer.stdout.strip()

    def stop(self):
        with contextlib.suppress(RuntimeError, subprocess.CalledProcessError):
            self.cancel_all()
        stop(*reversed(self.processes))

    @staticmethod
    def cancel_all():
        run("scancel", "--user", run("id", "-un"))
        wait_for("the end of all jobs", lambda: not run("squeue", "--noheader"))

    def submit(self, *words):
        resources = ["--cpus-per-task=1", "--mem=100", f"--output={self.folder}/job-%j.log"]
        return run("sbatch", "--parsable", *resources, *words)


def facts_of(job):
    return dict(re.findall(r"(\w+)=(\S+)", run("scontrol", "--oneliner", "show", "job", job)))


def names_of_part(program, listing, out_dir, task):
    text = run(program, "masks", "--manifest", listing, "--out-dir", out_dir, "--shard", f"{task}/{TASKS}", "--dry-run")
    return [match.rsplit("/", 1)[-1] for match in re.findall(r"would make (.*)\.\*", text)]


def status_of(process):
    """What the system tells about a process; nothing if it is no more."""
    try:
        fields = dict(re.findall(r"^(\w+):\s*(\w+)", pathlib.Path(f"/proc/{process}/status").read_text(), re.MULTILINE))
    except OSError:
        return {}
    return {} if fields["State"] == "Z" else fields


def is_stopped_or_gone(process):
    return status_of(process).get("State", "T") == "T"


def is_told_to_end(process):
    """Whether SIGTERM waits for the process, or it is no more."""
    pending = (int(status_of(process).get(mask, "-1"), 16) for mask in ("SigPnd", "ShdPnd"))
    return any(mask >> (signal.SIGTERM - 1) & 1 for mask in pending)


class Missed(Exception):
    """A task had come to its end before it could be disturbed."""


def disturb(pid_file, stamps, deed):
    """Does it when some of the task's images are there, but not all: time stands still for the program meanwhile."""
    def count():  # an image's stamp is there before its results; its last line comes after them
        return sum(stamp.exists() and stamp.read_text().endswith("\nwhole\n") for stamp in stamps)

    process = int(wait_for(pid_file.name, lambda: pid_file.exists() and pid_file.read_text()))
    wait_for("its stop", lambda: is_stopped_or_gone(process))
    os.kill(process, signal.SIGCONT)
    wait_for("its images", lambda: count() >= 3 or not status_of(process), 0.002)
    with contextlib.suppress(ProcessLookupError):
        os.kill(process, signal.SIGSTOP)
    wait_for("its stop", lambda: is_stopped_or_gone(process))
    done = count()
    if not status_of(process) or done == len(stamps):
        raise Missed
    deed(process)
    wait_for("the signal", lambda: is_told_to_end(process))
    with contextlib.suppress(ProcessLookupError):
        os.kill(process, signal.SIGCONT)
    return done


def column(table, name):
    return [row[name] for row in csv.DictReader(table.read_text().splitlines())]


class Trial:
    def __init__(self, program, folder, count):
        self.program, self.folder, self.faults = program, folder, Faults()
        self.listing, self.out_dir, self.count = folder / "list.txt", folder / "results", count
        images = [folder / "images" / f"{i}.png" for i in range(count)]
        images[0].parent.mkdir()
        for i, image in enumerate(images):
            run(program, "phantom", image, "--seed", i, "--width", 300, "--height", 400, "--pixel-size", 228, "--view",
                "cc")
        self.listing.write_text("".join(f"{image}\n" for image in images))

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
        stamps = {task: [self.out_dir / f"{name}.done" for name in names] for task, names in parts.items()}
        done = {task: disturb(self.folder / f"task{task}", stamps[task], deed) for task, deed in deeds.items()}
        wait_for("the last job", lambda: facts_of(last)["JobState"] not in ("PENDING", "RUNNING", "COMPLETING"))

        self.faults.expect("state of the last job", "COMPLETED", facts_of(last)["JobState"])
        tasks = [facts_of(f"{array}_{task}") for task in parts]
        states = ["COMPLETED", "CANCELLED", "COMPLETED", "COMPLETED"]
        self.faults.expect("states", states, [task["JobState"] for task in tasks])
        self.faults.expect("restarts", ["1", "0", "1", "1"], [task["Restarts"] for task in tasks])
        for task in (1, 3, 4):
            kept = column(self.out_dir / f"summary.{task}-of-{TASKS}.csv", "kept").count("1")
            self.faults.expect(f"kept when task {task} came again", True, done[task] <= kept < len(parts[task]))
        log = pathlib.Path(tasks[2]["StdOut"]).read_text()
        self.faults.expect("the program has time to end after a warning", True, "exit code 130" in log)
        kept = column(self.out_dir / "summary.csv", "kept").count("1")
        self.faults.expect("kept by the last job", True, self.count - len(parts[2]) <= kept < self.count)

    def compare(self):
        self.faults += differences(self.folder / "undisturbed", self.out_dir)
        leftovers = [file.name for file in self.out_dir.rglob(".*")]
        self.faults.expect("files left over", [], leftovers)

    def run_until_none_is_missed(self, cluster):
        for attempt in range(ATTEMPTS):
            try:
                return self.run_in_cluster(cluster)
            except Missed:
                print(f"test_slurm: attempt {attempt + 1}: a task ended before it could be disturbed")
                cluster.cancel_all()
                shutil.rmtree(self.out_dir)
                for file in self.folder.glob("task?"):
                    file.unlink()
        raise RuntimeError(f"the tasks could not be disturbed in {ATTEMPTS} attempts")


def check(program, count):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        trial = Trial(program, folder, count)
        trial.run_undisturbed()
        (folder / "bin").mkdir()
        wrapper = folder / "bin" / "norvane"
        wrapper.write_text(WRAPPER.replace("FOLDER", name).replace("PROGRAM", str(program)))
        wrapper.chmod(0o755)
        os.environ["PATH"] = f"{folder}/bin:{os.environ['PATH']}"
        cluster = Cluster(folder)
        try:
            cluster.start()
            trial.run_until_none_is_missed(cluster)
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
    if is_skipped("test_slurm", *DAEMONS, "sbatch", "scontrol", "squeue"):
        return SKIPPED
    return check(pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 200)


if __name__ == "__main__":
    sys.exit(main())
