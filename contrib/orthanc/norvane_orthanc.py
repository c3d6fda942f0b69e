# SPDX-License-Identifier: Apache-2.0
"""Script for Orthanc's Python plugin: stores the masks of mammograms as DICOM SEG in the same study. See README.md."""
import collections
import contextlib
import dataclasses
import json
import os
import pathlib
import shlex
import shutil
import signal
import subprocess
import tempfile
import threading
import time

import orthanc

MODALITY = "MG"
STORED, FAILED, OPEN = "stored", "failed", "open"  # states of an image's mark
BACKLOG_END = ""  # after the last series of earlier runs
KILLED = (128 + signal.SIGKILL, -signal.SIGKILL)


@dataclasses.dataclass
class Settings:
    """The section "Norvane" of Orthanc's configuration: Program, TimeLimit ...; NORVANE_PROGRAM ... take precedence."""

    program: str = "norvane"
    results: str = "seg"  # or seg-joined, or both with a comma between
    options: str = ""  # further options of the program
    workers: int = 1
    time_limit: int = 120  # seconds
    attempts: int = 3
    pause: int = 300  # seconds between attempts
    metadata: int = 5228  # number of the user-defined metadata that holds an image's mark
    work_folder: str = ""  # of this server alone; its folder norvane-work is emptied at the start

    @classmethod
    def read(cls, configuration, environment):
        section = dict(configuration.get("Norvane", {}))
        values = {"work_folder": configuration.get("StorageDirectory", "OrthancStorage")}
        for field in dataclasses.fields(cls):
            text = section.pop(field.name.title().replace("_", ""), None)
            text = environment.get("NORVANE_" + field.name.upper(), text)
            if text is not None:
                values[field.name] = field.type(text)
        if section:
            raise ValueError("unknown settings: " + ", ".join(section))
        settings = cls(**values)
        settings.work_folder = os.path.join(settings.work_folder, "norvane-work")
        if min(settings.workers, settings.time_limit, settings.attempts) < 1 or settings.pause < 0:
            raise ValueError("Workers, TimeLimit and Attempts are at least 1, Pause at least 0")
        if not set(settings.results.split(",")) <= {"seg", "seg-joined"}:
            raise ValueError("Results are seg, seg-joined or both with a comma between")
        return settings


class Failure(Exception):
    """Why an image has no masks, in words."""


class Stopped(Exception):
    """The server stops."""


class SeriesQueue:
    """The series that wait: new ones in the order in which they are due, then those that were there when the server
    started. A series waits only once, and only one worker has it at a time."""

    def __init__(self):
        self.changed = threading.Condition()
        self.due = {}
        self.backlog = collections.deque()
        self.under_way = set()
        self.is_closed = False

    def put(self, series, delay=0):
        with self.changed:
            if self.is_closed:
                return
            when = time.monotonic() + delay
            self.due[series] = min(when, self.due.get(series, when))
            self.changed.notify()

    def put_backlog(self, all_series):
        with self.changed:
            self.backlog.extend(all_series)
            self.changed.notify_all()

    def take(self):
        """The next series, or None if the queue is closed. Whoever takes a series must report when it is done."""
        with self.changed:
            while not self.is_closed:
                free = [(when, series) for series, when in self.due.items() if series not in self.under_way]
                when, series = min(free, default=(float("inf"), None))
                if when > time.monotonic() and self.backlog:
                    series = self.backlog.popleft()
                    if series in self.due or series in self.under_way:
                        continue
                    when = 0
                if when <= time.monotonic():
                    self.due.pop(series, None)
                    self.under_way.add(series)
                    return series
                self.changed.wait(min(when - time.monotonic(), threading.TIMEOUT_MAX))
            return None

    def done(self, series):
        with self.changed:
            self.under_way.discard(series)
            self.changed.notify_all()

    def close(self):
        with self.changed:
            self.is_closed = True
            self.changed.notify_all()


class Program:
    """Calls the program norvane, one image per call. Another thread can end calls that are running."""

    def __init__(self, settings):
        self.settings = settings
        self.lock = threading.Lock()
        self.running = set()
        self.is_stopping = False

    def check(self):
        """Raises if the program cannot be run at all, because that is not the fault of the images."""
        subprocess.run([self.settings.program, "--help"], check=True, timeout=60, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL)

    def masks(self, image):
        """The DICOM SEG objects of a DICOM object."""
        with tempfile.TemporaryDirectory(dir=self.settings.work_folder) as folder:
            file = pathlib.Path(folder, "image.dcm")
            file.write_bytes(image)
            # A separate program enforces the limit, because it continues if the server is killed.
            self.run(["timeout", "--signal=KILL", str(self.settings.time_limit), self.settings.program, "masks",
                      str(file), "--out-dir", folder, "--results", self.settings.results, "--jobs", "1", "--no-page",
                      "--format", "json", *shlex.split(self.settings.options)])
            names = [f"image.{kind}.dcm" for kind in self.settings.results.split(",")]
            return [pathlib.Path(folder, name).read_bytes() for name in names]

    def run(self, command):
        with self.lock:
            if self.is_stopping:
                raise Stopped
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, start_new_session=True)
            self.running.add(process)
        output, errors = process.communicate()
        with self.lock:
            self.running.discard(process)
            if self.is_stopping and process.returncode:
                raise Stopped
        if process.returncode:
            raise Failure(self.reason(process.returncode, output, errors))

    def reason(self, code, output, errors):
        if code in KILLED:
            return f"took longer than {self.settings.time_limit} s, or was killed"
        try:
            return json.loads(output)["refusal"]
        except (ValueError, KeyError, TypeError):
            return f"exit code {code}: " + errors.decode(errors="replace").strip()[-500:]

    def stop(self):
        with self.lock:
            self.is_stopping = True
            for process in self.running:
                if process.poll() is None:
                    with contextlib.suppress(ProcessLookupError):  # it ended in between
                        os.killpg(process.pid, signal.SIGKILL)


class Store:
    """Access to the contents of the server by its REST interface, from any thread except those of its callbacks."""

    def __init__(self, settings):
        self.settings = settings

    @staticmethod
    def get(path):
        """Returns None if there is nothing (any more)."""
        try:
            return json.loads(orthanc.RestApiGet(path))
        except orthanc.OrthancException as error:
            if is_unknown(error):
                return None
            raise

    def mark_path(self, instance):
        return f"/instances/{instance}/metadata/{self.settings.metadata}"

    def mark(self, instance):
        try:
            mark = self.get(self.mark_path(instance))
        except ValueError:  # no JSON
            mark = ""
        if mark is not None and not (isinstance(mark, dict) and mark.get("state") in (STORED, FAILED, OPEN)):
            raise Failure(f"metadata {self.settings.metadata} is used by somebody else")
        return mark or {"state": OPEN, "attempts": 0}

    def put_mark(self, instance, **mark):
        orthanc.RestApiPut(self.mark_path(instance), json.dumps(mark))

    @staticmethod
    def add(dicom):
        """Stores an object. If it is there already, it stays unchanged."""
        answer = json.loads(orthanc.RestApiPost("/instances", dicom))
        if answer.get("Status") not in ("Success", "AlreadyStored"):
            raise Failure(f"the server does not store the DICOM SEG: {answer.get('Status')}")
        return answer["ID"]


def is_unknown(error):
    return error.args[:1] == (orthanc.ErrorCode.UNKNOWN_RESOURCE,)


class Service:
    """Workers that make and store the masks of what is in the queue."""

    def __init__(self, settings):
        self.settings = settings
        self.queue = SeriesQueue()
        self.program = Program(settings)
        self.store = Store(settings)
        self.opener = None
        self.workers = []

    def start(self):
        self.opener = threading.Thread(target=self.open)
        self.opener.start()

    def open(self):
        """Begins with the series that were there before, because a server that starts does not know what was
        waiting."""
        try:
            self.program.check()
            # Removes what a killed server left behind. Its last program may still be working there and is not
            # disturbed.
            shutil.rmtree(self.settings.work_folder, ignore_errors=True)
            os.makedirs(self.settings.work_folder, mode=0o700, exist_ok=True)
            self.queue.put_backlog([*self.store.get("/series"), BACKLOG_END])
        except Exception as error:  # pylint: disable=broad-except
            self.queue.close()
            orthanc.LogError(f"Norvane: no masks are made: {error}")
            return
        orthanc.LogWarning(f"Norvane: {self.settings.workers} worker(s) for mammograms")
        for _ in range(self.settings.workers):
            self.workers.append(threading.Thread(target=self.work))
            self.workers[-1].start()

    def stop(self):
        self.queue.close()
        self.program.stop()
        for thread in filter(None, [self.opener, *self.workers]):
            thread.join()

    def work(self):
        while (series := self.queue.take()) is not None:
            is_open = False
            try:
                is_open = self.serve_series(series)
            except Stopped:
                pass
            except Exception as error:  # pylint: disable=broad-except # a worker has to live on
                orthanc.LogError(f"Norvane: series {series}: {error}")
            finally:
                self.queue.done(series)
            if is_open:
                self.queue.put(series, self.settings.pause)

    def serve_series(self, series):
        """Processes a series. Returns whether one of its images has to be tried again."""
        if series == BACKLOG_END:
            orthanc.LogWarning("Norvane: looked at all series of earlier runs")
            return False
        facts = self.store.get(f"/series/{series}")
        # If more images are coming, there will be another call.
        if not facts or facts["MainDicomTags"].get("Modality", "").strip() != MODALITY or not facts["IsStable"]:
            return False
        is_open = False
        for instance in facts["Instances"]:
            try:
                is_open |= self.serve(instance)
            except Stopped:
                raise
            except Exception as error:  # pylint: disable=broad-except # the other images are not to blame
                orthanc.LogError(f"Norvane: image {instance}: {error}")
                is_open |= isinstance(error, orthanc.OrthancException)  # such as a database that is busy
        return is_open

    def serve(self, instance):
        """Whether it has to be tried again."""
        try:
            mark = self.store.mark(instance)
            if mark["state"] != OPEN:
                return False
            facts = self.store.get(f"/instances/{instance}")
            if facts is None:
                return False
            frames = facts["MainDicomTags"].get("NumberOfFrames", "1").strip()
            if frames not in ("", "1") and "--frame" not in self.settings.options:
                return self.fail(instance, self.settings.attempts, f"has {frames} frames")
            return self.attempt(instance, mark["attempts"] + 1)
        except orthanc.OrthancException as error:
            if is_unknown(error):  # it was deleted meanwhile
                return False
            raise

    def attempt(self, instance, number):
        if number > self.settings.attempts:  # the server was killed in the last one
            return self.fail(instance, number - 1, "the server was killed in each attempt")
        # Counted before it begins, so that an image that takes the server down is not tried for ever.
        self.store.put_mark(instance, state=OPEN, attempts=number)
        try:
            stored = [self.store.add(dicom) for dicom in self.program.masks(orthanc.GetDicomForInstance(instance))]
        except Stopped:
            self.store.put_mark(instance, state=OPEN, attempts=number - 1)
            raise
        except (Failure, OSError, orthanc.OrthancException) as error:
            if isinstance(error, orthanc.OrthancException) and is_unknown(error):
                raise
            return self.fail(instance, number, str(error))
        self.store.put_mark(instance, state=STORED, instances=stored)
        orthanc.LogInfo(f"Norvane: instance {instance}: masks are stored")
        return False

    def fail(self, instance, number, reason):
        is_last = number >= self.settings.attempts
        self.store.put_mark(instance, state=FAILED if is_last else OPEN, attempts=number, reason=reason)
        orthanc.LogWarning(f"Norvane: instance {instance}: attempt {number} of {self.settings.attempts}: {reason}")
        return not is_last


def make_service():
    """Returns None if it cannot work; the server continues without it."""
    try:
        return Service(Settings.read(json.loads(orthanc.GetConfiguration()), os.environ))
    except (ValueError, TypeError) as error:
        orthanc.LogError(f"Norvane: no masks are made: {error}")
        return None


def on_change(change, _level, resource):
    """Called in the server's own threads, so it only waits at the end."""
    if change == orthanc.ChangeType.STABLE_SERIES:
        service.queue.put(resource)
    elif change == orthanc.ChangeType.ORTHANC_STARTED:
        service.start()
    elif change == orthanc.ChangeType.ORTHANC_STOPPED:
        service.stop()


service = make_service()
if service:
    orthanc.RegisterOnChangeCallback(on_change)
