# SPDX-License-Identifier: Apache-2.0
"""Makes the masks of many images on Dask's distributed scheduler, like ``norvane masks`` does on one machine.

The command is ``norvane-dask``, and ``norvane-dask --help`` explains it. In a notebook::

    from distributed import Client
    from norvane import on_dask

    result = on_dask.masks("list.txt", Client("tcp://scheduler:8786"), out_dir="results", view="mlo")
    print(result, result.exit_code)

The workers read the images and write the results, so all of them must see both under the same paths. Results, stamps
and tables are the same as those of the program. With ``--resume``, each of the two continues what the other began.
"""
import argparse
import collections
import contextlib
import importlib
import ipaddress
import logging
import os
import queue
import signal
import socket
import sys
import time
import uuid
from typing import Any, Deque, Dict, Iterator, List, NamedTuple, Optional, Sequence, TextIO, Tuple

from . import __version__
from ._batch import OPTIONS, Input, Option, Record, Run
from ._norvane import Refusal, closing_line, printable, progress_text

_DONE, _PARTLY, _USAGE, _INTERRUPTED = 0, 1, 2, 130  # the program's exit codes

# A lost worker counts as a failure of every task that it had, not only of the one that killed it.
_ALLOWED_FAILURES = 10
_CHUNKS_PER_THREAD = 3  # at the scheduler at a time, so that its memory does not grow with the list
_TICK_S = 0.2
# Reduces what Dask does besides the tasks. Its profiler cannot see into the work on an image, and its own monitors run
# many times a second.
_QUIET = {
    "distributed.worker.profile.enabled": False,
    "distributed.admin.tick.interval": "1s",
    "distributed.admin.system-monitor.interval": "5s",
}
_LOOK_AT_WORKERS_S = 5.0
_LOG_INTERVAL_S = 60.0


class _Chunk(NamedTuple):
    first: int  # index of its first input in the run
    inputs: List[Input]
    attempts: int = 0


class RunEnds(Exception):
    """The run cannot continue, although images are left. The text says why."""


_SCHEDULER_LOST = "the scheduler was lost"
_BY_USER = "interrupted"


def _say(text: str, stream: Optional[TextIO] = None) -> None:
    """Prints a line. Everything that is printed goes through here, so that no file name can control a terminal."""
    print(printable(text), file=stream or sys.stderr, flush=True)


def make_chunk(run: Run, folder: str, version: str) -> Tuple[List[Optional[Record]], float, str]:
    """The task. It raises nothing. Returns a record for each input of the run, the processor time that they took, and,
    if this worker cannot do the task, why."""
    start = time.thread_time()
    unfit = _unfit(run, folder, version)
    records = [] if unfit else [_made(run, one) for one in run.inputs]
    run.close()
    return records, time.thread_time() - start, unfit


def _unfit(run: Run, folder: str, version: str) -> str:
    host = socket.gethostname()
    if version != __version__:
        return f"the worker on {host} has version {__version__}, not {version}"
    try:
        here = os.getcwd()
    except OSError as error:
        here = str(error)
    if here != folder and not all(os.path.isabs(one.file) for one in run.inputs):
        return f"names are relative, and the worker on {host} runs in {here}, not {folder}"
    return ""


def _made(run: Run, one: Input) -> Optional[Record]:
    try:
        return run.make(one)
    except Exception as error:  # not about the image itself, for example no memory for its record
        return _refused(one, f"failed on the worker: {error!r}")


def _refused(one: Input, why: str) -> Record:
    return {"file": one.file, "name": one.name, "refusal": one.refusal or why, "kept": False}


class _Spread:
    """The chunks of a run, on their way to the workers and back."""

    def __init__(self, client: Any, run: Run, size: int, retries: int, progress: "_Progress") -> None:
        self.client, self.run, self.retries, self.progress = client, run, retries, progress
        inputs = run.inputs
        self.waiting: Deque[_Chunk] = collections.deque(
            _Chunk(first, inputs[first:first + size]) for first in range(0, len(inputs), size)
        )
        self.under_way: Dict[Any, _Chunk] = {}
        self.ended: "queue.SimpleQueue[Any]" = queue.SimpleQueue()
        self.records: Dict[int, Optional[Record]] = {}
        self.processor_seconds = 0.0
        self.seen_workers = -_LOOK_AT_WORKERS_S
        self.limit = _CHUNKS_PER_THREAD
        self.name = uuid.uuid4().hex

    def go(self) -> None:
        """Raises RunEnds."""
        while self.waiting or self.under_way:
            self._look_at_workers()
            while self.waiting and len(self.under_way) < self.limit:
                self._submit(self.waiting.popleft())
            with contextlib.suppress(queue.Empty):
                self._take(self.ended.get(timeout=_TICK_S))
            self.progress.show()

    def cancel(self) -> None:
        if self.client.status == "running":  # otherwise it would wait for a lost scheduler
            with contextlib.suppress(OSError, TimeoutError):
                self.client.cancel(list(self.under_way))

    def _look_at_workers(self) -> None:
        if self.client.status != "running":
            raise RunEnds(_SCHEDULER_LOST)
        if time.monotonic() - self.seen_workers < _LOOK_AT_WORKERS_S:
            return
        self.seen_workers = time.monotonic()
        try:
            threads = sum(self.client.nthreads().values())
        except (OSError, TimeoutError) as error:
            raise RunEnds(_SCHEDULER_LOST) from error
        self.limit = max(1, threads) * _CHUNKS_PER_THREAD

    def _submit(self, chunk: _Chunk) -> None:
        key = f"masks-{self.name}-{chunk.first}-{len(chunk.inputs)}-{chunk.attempts}"
        part = self.run.part(chunk.inputs)
        future = self.client.submit(make_chunk, part, os.getcwd(), __version__, key=key, pure=False)
        self.under_way[future] = chunk
        future.add_done_callback(self.ended.put)

    def _take(self, future: Any) -> None:
        chunk = self.under_way.pop(future)
        if future.status == "cancelled":
            self.under_way[future] = chunk
            raise RunEnds(_SCHEDULER_LOST)
        try:
            records, seconds, unfit = future.result()
        except Exception as error:  # the worker was lost, or could not take the chunk
            if self.client.status != "running":
                raise RunEnds(_SCHEDULER_LOST) from error
            self._try_again(chunk, error)
            return
        if unfit:
            self._try_again(chunk, RuntimeError(unfit))
            return
        self.processor_seconds += seconds
        self._note(chunk, records)

    def _note(self, chunk: _Chunk, records: Sequence[Optional[Record]]) -> None:
        for number, record in enumerate(records, chunk.first):
            self.records[number] = record
            self.progress.finish(record)

    def _try_again(self, chunk: _Chunk, error: Exception) -> None:
        count = len(chunk.inputs)
        if not isinstance(error, importlib.import_module("distributed").KilledWorker):  # not caused by the images
            if chunk.attempts == self.retries:
                raise RunEnds(f"no worker can process a chunk: {error!r}") from error
            self.waiting.append(chunk._replace(attempts=chunk.attempts + 1))
        elif count > 1:  # find out which image kills workers
            half = count // 2
            self.waiting.appendleft(_Chunk(chunk.first + half, chunk.inputs[half:]))
            self.waiting.appendleft(_Chunk(chunk.first, chunk.inputs[:half]))
        else:
            self._note(chunk, [_refused(one, "was abandoned after it crashed several workers") for one in chunk.inputs])


class _Progress:
    """Shows how far a run is: a line that changes in a terminal, a bar in a notebook, one line per minute in a log."""

    def __init__(self, total: int) -> None:
        self.total, self.finished, self.kept = total, 0, 0
        self.start = time.monotonic()
        self.shown = self.start
        self.is_terminal = sys.stderr.isatty()
        self.notebook: Any = None
        python: Any = sys.modules.get("IPython")
        if python is not None and type(python.get_ipython()).__name__ == "ZMQInteractiveShell":
            self.notebook = python.display.display(self, display_id=True)

    def finish(self, record: Optional[Record]) -> None:
        self.finished += 1
        if record is None or record["kept"]:
            self.kept += 1
        elif record["refusal"]:
            self.clear()
            _say(f"norvane: {record['file']} {record['refusal']}")

    def text(self) -> str:
        return progress_text(self.finished, self.kept, self.total, time.monotonic() - self.start)

    def show(self) -> None:
        interval = 2 * _TICK_S if self.is_terminal or self.notebook else _LOG_INTERVAL_S
        if time.monotonic() - self.shown < interval:
            return
        self.shown = time.monotonic()
        if self.notebook:
            self.notebook.update(self)
        elif self.is_terminal:
            width = 30 * self.finished // max(1, self.total)
            sys.stderr.write(f"\r\x1b[K[{'#' * width}{'.' * (30 - width)}] {self.text()}")
            sys.stderr.flush()
        else:
            _say(f"norvane: {self.text()}")

    def clear(self) -> None:
        if self.is_terminal and not self.notebook:
            sys.stderr.write("\r\x1b[K")
            sys.stderr.flush()

    def close(self) -> None:
        if self.notebook:
            self.notebook.update(self)
        self.clear()

    def _repr_html_(self) -> str:
        return f'<progress value="{self.finished}" max="{self.total}"></progress> {self.text()}'


def _allow_failures(client: Any) -> None:
    def raise_them(dask_scheduler: Any, least: int) -> None:
        dask_scheduler.allowed_failures = max(dask_scheduler.allowed_failures, least)

    client.run_on_scheduler(raise_them, least=_ALLOWED_FAILURES)


class Result(NamedTuple):
    """What became of a run. str() gives the first of the program's closing lines."""

    records: List[Record]  #: rows of summary.ndjson, in the order of the inputs
    failures: List[str]  #: one sentence for each table or page that could not be written
    not_finished: int  #: number of images that are left if the run ended early
    passed_over: int  #: number of files in folders that are not images
    stopped_by: str  #: why the run ended early; empty if it did not

    @property
    def refused(self) -> int:
        return sum(bool(record["refusal"]) for record in self.records)

    @property
    def kept(self) -> int:
        """Number of images whose results come from an earlier run."""
        return sum(bool(record["kept"]) for record in self.records)

    @property
    def done(self) -> int:
        return len(self.records) - self.refused - self.kept

    @property
    def exit_code(self) -> int:
        """The exit code of the program: 0 everything was done, 1 some input was refused or failed, or the run could not
        continue, 130 interrupted."""
        if self.stopped_by == _BY_USER:
            return _INTERRUPTED
        return _PARTLY if self.stopped_by or self.failures or self.refused else _DONE

    def __str__(self) -> str:
        return closing_line(self.done, self.kept, self.refused, self.not_finished, self.passed_over)


def masks(inputs: Any, client: Any, *, out_dir: Any, chunk: int = 50, retries: int = 3, **options: Any) -> Result:
    """Makes the masks of many images on the workers of a Client, and the tables and the page of the run.

    inputs: a folder; or a file with one input per line, where ``-`` is standard input; or a list of files and folders.
    options: those of ``norvane masks``, with underscores instead of dashes: ``resume=True``, ``pixel_size=70``.
    chunk: number of images per task. retries: how often a chunk is tried again if a worker cannot take it. Chunks of a
        lost worker always go to another one.

    Raises TypeError if there is no such option, ValueError if a value is wrong, and norvane.Refusal if the list cannot
    be read.
    """
    run = _run_of(inputs, out_dir, options)
    os.makedirs(run.out_dir, exist_ok=True)
    return _masks(run, client, chunk, retries)


def _run_of(inputs: Any, out_dir: Any, options: Dict[str, Any]) -> Run:
    out_dir = os.path.abspath(os.fspath(out_dir))
    if not isinstance(inputs, (str, bytes, os.PathLike)):
        return Run(list(inputs), out_dir=out_dir, **options)
    if os.path.isdir(inputs):
        return Run([inputs], out_dir=out_dir, **options)
    return Run((), out_dir=out_dir, manifest=inputs, **options)


def _masks(run: Run, client: Any, size: int, retries: int) -> Result:
    _allow_failures(client)
    run.take_over_dead_runs()
    total = len(run.inputs)
    _say(
        f"norvane-dask: {total} images in chunks of {size}, scheduler {client.scheduler.address}, "
        f"dashboard {client.dashboard_link or 'none'}"
    )
    progress = _Progress(total)
    spread = _Spread(client, run, size, retries, progress)
    stopped_by = ""
    try:
        spread.go()
    except KeyboardInterrupt:
        stopped_by = _BY_USER
    except RunEnds as reason:
        stopped_by = str(reason)
    finally:
        progress.close()
    if stopped_by:
        run.pardon()
        spread.cancel()
    else:
        run.take_over_dead_runs()  # of workers that were killed
    found = [spread.records[number] for number in sorted(spread.records)]
    records = [record for record in found if record is not None]
    failures, closing_lines = run.finish(found, total - len(found))
    passed_over = run.passed_over + len(found) - len(records)
    result = Result(records, failures, total - len(found), passed_over, stopped_by)
    for failure in failures:
        _say(f"norvane: {failure}")
    for line in closing_lines:
        _say(line, sys.stdout)
    _say(f"norvane-dask: the images took {spread.processor_seconds:.1f} s of processor time")
    if stopped_by:
        _say(f"norvane-dask: {stopped_by}")
    return result


class _IgnoreInterrupts:
    """A plugin for local workers: they ignore Ctrl-C in their terminal, because the client closes them."""

    name = "norvane-ignore-interrupts"

    def setup(self, worker: Any) -> None:
        with contextlib.suppress(ValueError):  # not in the main thread
            signal.signal(signal.SIGINT, signal.SIG_IGN)


_LOOPBACK = "127.0.0.1"


def _address_of(interface: str) -> str:
    """Raises ValueError if there is no such interface, or if it has no address."""
    address: str = importlib.import_module("distributed.utils").get_ip_interface(interface)
    if not ipaddress.ip_address(address).is_loopback:
        _say(
            f"norvane-dask: warning: scheduler and workers listen on {address} ({interface}) without a password: "
            "whoever reaches their ports can run programs as this user"
        )
    return address


@contextlib.contextmanager
def _client_for(scheduler: Optional[str], workers: Optional[int], interface: Optional[str] = None) -> Iterator[Any]:
    distributed: Any = importlib.import_module("distributed")
    if scheduler is not None:
        with distributed.Client(scheduler, name="norvane-dask") as client:
            yield client
        return
    host = _LOOPBACK if interface is None else _address_of(interface)
    # There is no memory limit, because that would only concern data that Dask holds. The addresses of the dashboards
    # are set, because those of the scheduler and of each worker would otherwise listen on all interfaces.
    arguments = {
        "n_workers": workers or os.cpu_count(),
        "threads_per_worker": 1,
        "memory_limit": None,
        "host": host,
        "dashboard_address": f"{host}:8787",
        "worker_dashboard_address": f"{host}:0",
    }
    importlib.import_module("dask").config.set(_QUIET)
    handler = signal.signal(signal.SIGINT, signal.SIG_IGN)
    with distributed.LocalCluster(**arguments) as cluster, distributed.Client(cluster, name="norvane-dask") as client:
        client.register_worker_plugin(_IgnoreInterrupts())
        signal.signal(signal.SIGINT, handler)
        yield client


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="norvane-dask",
        usage="norvane-dask [--scheduler ADDRESS | --workers N --interface NAME] MANIFEST --out-dir FOLDER "
        "[OPTION of norvane masks ...]",
        description="Makes the masks of many images on Dask's distributed scheduler. MANIFEST lists one input per "
        "line; - is standard input, and a folder stands for the images in it. All workers must see images and results.",
        epilog="Exit codes: 0 everything was done; 1 some input was refused or failed, or the run could not continue; "
        "2 the command line is wrong; 130 interrupted.",
        allow_abbrev=False,
    )
    parser.add_argument("--scheduler", metavar="ADDRESS", help="such as tcp://host:8786 [start a cluster here]")
    parser.add_argument("--workers", metavar="N", type=int, help="in a cluster on this machine [one per processor]")
    parser.add_argument(
        "--interface",
        metavar="NAME",
        help="network interface on which a cluster on this machine listens, without a password [only this machine]",
    )
    parser.add_argument("--chunk", metavar="N", type=int, default=50, help="images per task, 50 to 200 [50]")
    parser.add_argument("--retries", metavar="N", type=int, default=3, help="if a worker cannot take a chunk [3]")
    parser.add_argument("--version", action="version", version=f"norvane-dask {__version__}")
    parser.add_argument("inputs", metavar="MANIFEST", nargs="*", help=argparse.SUPPRESS)
    of_masks = parser.add_argument_group("options of norvane masks")
    for keyword, option in OPTIONS.items():
        _add(of_masks, keyword, option)
    return parser


def _add(parser: Any, keyword: str, option: Option) -> None:
    names = [f"-{option.letter}"] * bool(option.letter) + [f"--{option.name}"]
    about = {"dest": keyword, "default": None, "help": option.help.replace("%", "%%")}
    if not option.is_flag:
        action = "store" if keyword in ("out_dir", "manifest") else "append"  # Run checks what may be given twice
        parser.add_argument(*names, metavar=option.value, required=keyword == "out_dir", action=action, **about)
        return
    parser.add_argument(*names, action="store_true", **about)
    if option.is_two_way:
        parser.add_argument(f"--no-{option.name}", dest=keyword, action="store_false", default=None)


def _interrupt(number: int, frame: Any) -> None:
    raise KeyboardInterrupt


def main(argv: Optional[Sequence[str]] = None) -> int:
    parser = _parser()
    own = parser.parse_intermixed_args(argv)
    if own.scheduler is not None and (own.workers, own.interface) != (None, None):
        parser.error("--workers and --interface: not allowed with --scheduler, which has its own workers")
    if own.chunk < 1 or own.retries < 0 or (own.workers is not None and own.workers < 1):
        parser.error("--chunk and --workers: expected a number from 1; --retries: from 0")
    options = {name: value for name in OPTIONS if (value := getattr(own, name)) is not None}
    inputs = [*own.inputs, *([options.pop("manifest")] if "manifest" in options else [])]
    if len(inputs) != 1:
        parser.error("expected one MANIFEST")
    signal.signal(signal.SIGTERM, _interrupt)
    try:
        run = _run_of(inputs[0], options.pop("out_dir"), options)
        os.makedirs(run.out_dir, exist_ok=True)
        logging.getLogger("distributed").setLevel(logging.CRITICAL)  # do not report each lost worker
        with _client_for(own.scheduler, own.workers, own.interface) as client:
            return _masks(run, client, own.chunk, own.retries).exit_code
    except ImportError as error:
        _say(f"norvane-dask: needs Dask's distributed scheduler: {error}")
    except Refusal as error:
        _say(f"norvane-dask: the manifest {error}")
    except ValueError as error:
        for line in str(error).splitlines():
            _say(f"norvane-dask: {line}")
        return _USAGE
    except OSError as error:
        _say(f"norvane-dask: {error}")
    except KeyboardInterrupt:
        return _INTERRUPTED
    return _PARTLY


if __name__ == "__main__":
    sys.exit(main())
