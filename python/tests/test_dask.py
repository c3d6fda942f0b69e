# SPDX-License-Identifier: Apache-2.0
"""norvane-dask: what it does when chunks come back, or do not, and where a cluster of its own listens.
scripts/check_dask.py has real workers."""
import ipaddress
import json
import os
import pickle
import socket
import subprocess
import sys
import types

import pytest

import images
import norvane
from norvane import on_dask

PROGRAM = os.environ["NORVANE_PROGRAM"]
OPTIONS = {"view": "cc", "pixel_size": 228, "side": "left", "noise": "mg", "results": ["json", "page"]}
WORDS = ["--view", "cc", "--pixel-size=228", "--side", "left", "--noise", "mg", "--results", "json", "--results=page"]


class KilledWorker(Exception):
    pass


@pytest.fixture
def dask(monkeypatch):
    """What is asked of the package, which need not be installed."""
    monkeypatch.setitem(sys.modules, "distributed", types.SimpleNamespace(KilledWorker=KilledWorker))


class Future:
    def __init__(self, status, answer):
        self.status, self.answer = status, answer

    def add_done_callback(self, call):
        call(self)

    def result(self):
        if isinstance(self.answer, Exception):
            raise self.answer
        return self.answer


class Client:
    """Workers that do at once what is submitted, in another process as it were; `fate` says what else may happen."""

    status, dashboard_link = "running", "http://somewhere/status"
    scheduler = types.SimpleNamespace(address="tcp://somewhere")

    def __init__(self, fate=lambda names, count: None):
        self.fate, self.submitted, self.cancelled = fate, [], None
        self.dask_scheduler = types.SimpleNamespace(allowed_failures=3)

    def nthreads(self):
        return {"worker": 2}

    def run_on_scheduler(self, function, **arguments):
        function(dask_scheduler=self.dask_scheduler, **arguments)

    def cancel(self, futures):
        self.cancelled = futures

    def submit(self, function, run, *arguments, key, pure):
        names = [os.path.basename(one.file) for one in run.inputs]
        self.submitted.append(names)
        fate = self.fate(names, len(self.submitted))
        if isinstance(fate, Exception):
            return Future("error", fate)
        if fate is not None:
            return Future(fate, None)
        return Future("finished", function(pickle.loads(pickle.dumps(run)), *arguments))


@pytest.fixture(scope="module")
def listing(tmp_path_factory):
    """Six images; one is damaged, and one has a name that another's results take."""
    folder = tmp_path_factory.mktemp("images")
    pixels, _ = norvane.phantom(300, 400, 228.0, view="cc", digital=True, collimation=False)
    names = [f"{number}.png" for number in range(5)] + ["1.json"]
    for name in names:
        images.png(folder / name, pixels << 4)
    (folder / "3.png").write_bytes((folder / "0.png").read_bytes()[:900])
    listing = folder / "list.txt"
    listing.write_text("".join(f"{folder / name}\n" for name in names))
    return listing


def rows_of(folder):
    rows = [json.loads(line) for line in (folder / "summary.ndjson").read_text().splitlines()]
    return [{name: value for name, value in row.items() if not name.startswith("seconds")} for row in rows]


def by_program(listing, out_dir, *more):
    command = [PROGRAM, "masks", "--manifest", listing, "--out-dir", out_dir, *WORDS, *more]
    return subprocess.run(command, capture_output=True, text=True, check=False)


def test_chunks_come_back_to_the_tables_of_the_program(dask, listing, tmp_path, capfd):
    ours = tmp_path / "ours"
    theirs = by_program(listing, tmp_path / "theirs")
    expected = rows_of(tmp_path / "theirs")
    client = Client(lambda names, count: OSError("a worker that has no disk") if count == 1 else None)
    result = on_dask.masks(listing, client, out_dir=ours, chunk=2, **OPTIONS)
    assert result.exit_code == theirs.returncode == 1
    assert (result.done, result.kept, result.refused, result.not_finished, result.failures) == (5, 0, 1, 0, [])
    assert [record["file"] for record in result.records] == listing.read_text().splitlines()
    assert rows_of(ours) == expected and not list(ours.glob(".*"))
    assert [len(names) for names in client.submitted] == [2, 2, 2, 2]  # the first one again, as the last
    assert client.submitted[0] == client.submitted[3] and client.dask_scheduler.allowed_failures == 10
    told = capfd.readouterr()
    assert told.out.startswith("6 images: ") and theirs.stdout.endswith(told.out.replace("ours", "theirs"))
    assert "http://somewhere/status" in told.err
    assert theirs.stderr.splitlines()[0] in told.err


def test_an_image_that_kills_workers_is_found_and_given_up(dask, listing, tmp_path):
    client = Client(lambda names, count: KilledWorker("lost") if "2.png" in names else None)
    files = listing.read_text().splitlines()
    assert on_dask.masks(files, client, out_dir=tmp_path, chunk=6, **OPTIONS).refused == 2
    refused = {os.path.basename(row["file"]): row["refusal"] for row in rows_of(tmp_path) if row["refusal"]}
    assert sorted(refused) == ["2.png", "3.png"] and "after it crashed several workers" in refused["2.png"]
    assert len(list(tmp_path.glob("*.done"))) == 4


@pytest.mark.parametrize(
    "fate, code, reason",
    [
        ("cancelled", 1, "the scheduler was lost"),
        (ModuleNotFoundError("norvane"), 1, "no worker can process a chunk: ModuleNotFoundError('norvane')"),
        (None, 130, "interrupted"),
    ],
)
def test_a_run_that_ends_early_is_taken_up(dask, listing, tmp_path, capfd, fate, code, reason):
    def from_the_second(names, count):
        if count == 2 and fate is None:
            raise KeyboardInterrupt
        return fate if count >= 2 else None

    early = on_dask.masks(listing, Client(from_the_second), out_dir=tmp_path, chunk=1, **OPTIONS)
    assert early.exit_code == code and early.not_finished > 0
    told = capfd.readouterr()
    assert reason in told.err and "not finished" in told.out
    assert f"To make the other {early.not_finished} images, give the same command with --resume.\n" in told.out
    done = len(list(tmp_path.glob("*.done")))
    assert on_dask.masks(listing, Client(), out_dir=tmp_path, chunk=3, resume=True, **OPTIONS).kept == done
    assert "5 kept" in by_program(listing, tmp_path, "--resume").stdout


def test_workers_that_would_make_something_else_make_nothing(listing, tmp_path, monkeypatch):
    monkeypatch.chdir(listing.parent)
    run = on_dask.Run(["0.png"], out_dir=tmp_path, **OPTIONS)
    for folder, version, reason in (("/", norvane.__version__, "names are relative"), (os.getcwd(), "0.0", "version")):
        records, _, unfit = on_dask.make_chunk(run, folder, version)
        assert reason in unfit and records == [] and not list(tmp_path.iterdir())
    (record,), seconds, unfit = on_dask.make_chunk(run, os.getcwd(), norvane.__version__)
    assert record["refusal"] == unfit == "" and seconds > 0


@pytest.mark.parametrize(
    "arguments, code, complaint",
    [
        ([], 2, "--out-dir"),
        (["LIST", "--manifest", "LIST", "--out-dir", "OUT"], 2, "expected one MANIFEST"),
        (["LIST", "--out-dir=OUT", "--view", "sideways"], 2, "view: 'sideways' is none of mlo, cc"),
        (["LIST", "--out-dir", "OUT", "--chunk", "0"], 2, "--chunk"),
        (["LIST", "--out-dir", "OUT", "--scheduler", "tcp://x", "--interface", "lo"], 2, "--interface"),
        (["--no-contour", "--manifest", "none.txt", "-0", "--out-dir=OUT"], 1, "the manifest cannot be opened"),
        (["LIST", "--out-dir", "BESIDE"], 2, "1.json is an input"),  # which a result of 1.png would replace
    ],
)
def test_wrong_command_lines(listing, tmp_path, capsys, arguments, code, complaint):
    words = {"LIST": str(listing), "OUT": str(tmp_path), "BESIDE": str(listing.parent)}
    try:
        found = on_dask.main([words.get(one, one) for one in arguments])
    except SystemExit as end:
        found = end.code
    assert found == code and complaint in capsys.readouterr().err


def test_a_cluster_of_its_own_is_reached_from_this_machine_alone(capfd):
    pytest.importorskip("distributed")
    psutil = pytest.importorskip("psutil")
    with on_dask._client_for(None, 2) as client:
        client.wait_for_workers(2)
        processes = [psutil.Process(), *psutil.Process().children(recursive=True)]
        sockets = [one for process in processes for one in process.connections("inet")]
        found = {one.laddr.ip for one in sockets if one.status == psutil.CONN_LISTEN}
    assert found == {"127.0.0.1"}
    for name, addresses in psutil.net_if_addrs().items():
        for address in [one.address for one in addresses if one.family == socket.AF_INET][:1]:
            assert on_dask._address_of(name) == address
            is_warned = f"listen on {address} ({name}) without a password" in capfd.readouterr().err
            assert is_warned != ipaddress.ip_address(address).is_loopback
