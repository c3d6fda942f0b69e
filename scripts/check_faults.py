#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs norvane where everything goes wrong: killed at any moment, with nowhere to write, without memory.

check_faults.py [--short] [--seed N] PROGRAM    exits 1 on a fault. --short is what the tests run and takes seconds
"""
import argparse
import collections
import contextlib
import csv
import io
import json
import pathlib
import random
import re
import resource
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import zlib

MIB = 1 << 20
LEAST_MIB = 112  # of address space; what happens below is told and not judged
OPTIONS = ["--jobs", "2", "--view", "mlo", "--side", "left", "--pixel-size", "228", "--noise", "mg"]
RESULTS = ["--results", "json,labels,page,nrrd,masks"]  # the overlay takes most of the time of a small image
NOT_WRITTEN = re.compile(r"norvane: (.+) has results that cannot be written: (.+): (.+)")
Run = collections.namedtuple("Run", "code lines")


class Faults:
    """Each thing that was not as it should be, told once the rest has been looked at, too."""

    def __init__(self):
        self.found = []

    def expect(self, what, expected, found):
        if expected != found:
            self.found.append(f"{what}: expected {expected!r}, found {found!r}")


# Small images in four formats.

def samples_of_png(data):
    """Width, height and big-endian 16-bit samples of a PNG as the program writes it: rows unfiltered or differences."""
    width, height = struct.unpack(">II", data[16:24])
    packed, at = b"", 8
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        packed += data[at + 8:at + 8 + size] if kind == b"IDAT" else b""
        at += size + 12
    raw, rows, above = zlib.decompress(packed), [], bytes(2 * width)
    for y in range(height):
        row = raw[y * (2 * width + 1) + 1:(y + 1) * (2 * width + 1)]
        if raw[y * (2 * width + 1)] == 2:
            row = bytes((a + b) & 255 for a, b in zip(row, above))
        rows.append(row)
        above = row
    return width, height, b"".join(rows)


def swapped(samples):
    words = bytearray(len(samples))
    words[::2], words[1::2] = samples[1::2], samples[::2]
    return bytes(words)


def pgm_head(width, height):
    return f"P5 {width} {height} 65535\n".encode()


def tiff_head(width, height):
    tags = [(256, width), (257, height), (258, 16), (259, 1), (262, 1), (273, 122), (277, 1), (278, height),
            (279, min(2 * width * height, 2**32 - 1))]
    entries = b"".join(struct.pack("<HHII", tag, 4, 1, value) for tag, value in tags)
    return b"II*\0" + struct.pack("<IH", 8, len(tags)) + entries + bytes(4)


def dicom_head(width, height):
    def element(group, number, kind, value):
        value = struct.pack("<H", value) if kind == b"US" else value + b"\0" * (len(value) % 2)
        return struct.pack("<HH2sH", group, number, kind, len(value)) + value

    syntax = element(2, 0x10, b"UI", b"1.2.840.10008.1.2.1")
    text = [(8, 0x16, b"UI", b"1.2.840.10008.5.1.4.1.1.1.2"), (8, 0x18, b"UI", b"1.2.3.4"), (8, 0x60, b"CS", b"MG")]
    numbers = [(2, 1), (0x10, height), (0x11, width), (0x100, 16), (0x101, 16), (0x102, 15), (0x103, 0)]
    fields = [element(*field) for field in text]
    fields += [element(0x28, number, b"US", value) for number, value in numbers]
    fields.insert(4, element(0x28, 4, b"CS", b"MONOCHROME2"))
    length = struct.pack("<HH2sHI", 2, 0, b"UL", 4, len(syntax))
    pixels = struct.pack("<HH2sHI", 0x7FE0, 0x10, b"OW", 0, min(2 * width * height, 2**32 - 2))
    return bytes(128) + b"DICM" + length + syntax + b"".join(fields) + pixels


HEADS = {".pgm": pgm_head, ".tif": tiff_head, ".dcm": dicom_head}


def make_images(program, folder, count):
    for n in range(count):
        stem = folder / f"{'ab'[n % 2]}" / f"image{n:03}"
        stem.parent.mkdir(parents=True, exist_ok=True)
        png = stem.with_suffix(".png")
        size = ["--width", str(96 + 8 * (n % 5)), "--height", str(120 + 8 * (n % 7)), "--pixel-size", "228"]
        subprocess.run([program, "phantom", png, "--seed", str(n), *size], check=True, stdout=subprocess.DEVNULL)
        if n % 4 == 0:
            continue
        width, height, samples = samples_of_png(png.read_bytes())
        png.unlink()
        ending, head = list(HEADS.items())[n % 4 - 1]
        stem.with_suffix(ending).write_bytes(head(width, height) + (samples if ending == ".pgm" else swapped(samples)))


# What a folder of results holds.

def tree_of(folder):
    return {str(file.relative_to(folder)): file.read_bytes() for file in folder.rglob("*") if file.is_file()}


def lasting(record):
    """A record without what differs between runs: times, and whether the results are those of an earlier run."""
    return {name: value for name, value in record.items() if name != "kept" and not name.startswith("seconds_")}


def comparable(name, data):
    """The bytes of a result, or of a file that tells times of the run what else it tells."""
    if name.endswith(".done"):
        origin, record, *files = data.decode().splitlines()
        return origin, lasting(json.loads(record)), files
    if name.startswith("summary.") and name.endswith(".csv"):
        return [lasting(row) for row in csv.DictReader(io.StringIO(data.decode()))]
    if name.startswith("summary.") and name.endswith(".ndjson"):
        return [lasting(json.loads(line)) for line in data.decode().splitlines()]
    if name == "report.html":
        return re.sub(rb'\["Time [^\]]*\],?', b"", data)
    return data


def compare(faults, what, expected, found):
    """The same files, without a temporary one, and the same contents."""
    differing = [n for n in expected.keys() & found.keys() if comparable(n, expected[n]) != comparable(n, found[n])]
    missing, too_many = expected.keys() - found.keys(), found.keys() - expected.keys()
    for which, names in (("are missing", missing), ("are too many", too_many), ("differ", differing)):
        faults.expect(f"{what}, {len(names)} files that {which}", [], sorted(names)[:5])


class Batch:
    """Some images, and what an undisturbed run makes of them."""

    def __init__(self, program, folder, count):
        self.program, self.folder, self.images = program, folder, folder / "images"
        make_images(program, self.images, count)
        self.files = sorted(str(file) for file in self.images.rglob("*") if file.is_file())
        begin = time.monotonic()
        run = self.run(folder / "undisturbed")
        self.seconds = time.monotonic() - begin
        if run.code != 0:
            raise RuntimeError("\n".join(run.lines))
        self.expected = tree_of(folder / "undisturbed")

    def command(self, out, *more, inputs=None):
        return [self.program, "masks", *(inputs or [self.images]), "--out-dir", out, *OPTIONS, *(more or RESULTS)]

    def run(self, out, *more, inputs=None, limit=None, stdout=subprocess.DEVNULL):
        """Exit code (negative: the signal) and the lines on standard error. `limit`: a resource and its value."""
        process = subprocess.run(self.command(out, *more, inputs=inputs), stdout=stdout, stderr=subprocess.PIPE,
                                 timeout=1200,
                                 preexec_fn=limit and (lambda: resource.setrlimit(limit[0], (limit[1], limit[1]))))
        return Run(process.returncode, process.stderr.decode(errors="replace").splitlines())

    def files_of(self, file):
        """The results of an input that has been done."""
        name = str(pathlib.Path(file).relative_to(self.images).with_suffix("")) + "."
        return {n for n in self.expected if n.startswith(name)}


# Killed at random moments.

class Killer:
    def __init__(self, batch, out, chance):
        self.batch, self.out, self.chance = batch, out, chance
        self.places, self.quarters = collections.Counter(), collections.Counter()
        self.longest_delay, self.missed = 0.02, 0

    def stamps(self):
        return sum(1 for _ in self.out.glob("[ab]/*.done"))  # not in the folder of a run, which goes

    def has_begun_tables(self, before):
        with contextlib.suppress(OSError):
            return (self.out / "summary.csv").stat().st_ino != before
        return False

    def kill(self, is_there):
        """Starts a run and kills it a moment after `is_there()`. False if it had come to its end."""
        process = subprocess.Popen(self.batch.command(self.out, "--resume", *RESULTS), stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        while process.poll() is None and not is_there():
            time.sleep(0.0002)
        time.sleep(self.chance.uniform(0.0, self.longest_delay))
        process.kill()
        if process.wait() != -signal.SIGKILL:
            self.missed += 1
            self.longest_delay *= 0.7
            return False
        self.note_place()
        return True

    def kill_among_images(self, done):
        return self.kill(lambda: self.stamps() >= done)

    def kill_among_tables(self):
        before = None
        with contextlib.suppress(OSError):
            before = (self.out / "summary.csv").stat().st_ino
        return self.kill(lambda: self.has_begun_tables(before))

    def note_place(self):
        total, done = len(self.batch.files), self.stamps()
        self.quarters[min(3, 4 * done // total)] += 1
        files = list(self.out.glob(".norvane-run-*/*"))  # what dead runs left went when this one began
        under_way = [slot for file in files if file.name == "under-way" for slot in file.read_bytes()[::16384] if slot]
        if under_way:
            has_results = any(file.name.startswith("result-") for file in files)
            self.places["while results were written" if has_results else "before results"] += 1
        else:
            self.places["at the tables and the page" if done == total else "at the start or between"] += 1


def run_to_the_end(faults, what, batch, out):
    """The last run after kills. Two of them may have met one image, which is then passed over and asked for by the list
    of what failed. Returns the number of these images."""
    failed = batch.folder / "failed"
    run = batch.run(out, "--resume", "--fail-list", failed, *RESULTS)
    passed_over = [line for line in run.lines if "was under way when two runs died" in line]
    faults.expect(f"{what}, exit code", 1 if passed_over else 0, run.code)
    faults.expect(f"{what}, complaints", passed_over, run.lines)
    faults.expect(f"{what}, list of what failed", len(passed_over), len(failed.read_text().splitlines()))
    if passed_over:
        asked_for = ["--manifest", failed, "--root", batch.images]
        faults.expect(f"{what}, what was passed over", Run(0, []), batch.run(out, inputs=asked_for))
        faults.expect(f"{what}, tables of all", Run(0, []), batch.run(out, "--resume", *RESULTS))
    compare(faults, what, batch.expected, tree_of(out))
    return len(passed_over)


def check_kills(faults, batch, rounds, kills, seed):
    """Each round kills a run `kills` times, the last quarter of them at its tables, and takes it up to the end."""
    out = batch.folder / "killed"
    killer = Killer(batch, out, random.Random(seed))
    passed_over = 0
    for number in range(rounds):
        shutil.rmtree(out, ignore_errors=True)
        late = kills // 4
        marks = sorted(killer.chance.randrange(len(batch.files)) for _ in range(kills - late))
        for mark in marks:
            while not killer.kill_among_images(mark):  # all was done before: once more from the start
                shutil.rmtree(out)
        for _ in range(late):
            while not killer.kill_among_tables():
                pass
        passed_over += run_to_the_end(faults, f"round {number}", batch, out)
    where = ", ".join(f"{count} {place}" for place, count in sorted(killer.places.items()))
    spread = " ".join(str(killer.quarters[q]) for q in range(4))
    return (f"{rounds * kills} kills, {killer.missed} more came too late: {where}; "
            f"by quarters of the images done: {spread}; {passed_over} images were passed over and asked for")


# Nowhere to write.

@contextlib.contextmanager
def small_disk(folder, kibibytes):
    folder.mkdir()
    mount = shutil.which("mount") or "/bin/mount"
    try:
        command = [mount, "-t", "tmpfs", "-o", f"size={kibibytes}k", "tmpfs", folder]
        mounted = subprocess.run(command, stderr=subprocess.DEVNULL).returncode == 0
    except OSError:
        mounted = False
    try:
        remount = [mount, "-o", "remount"]
        yield (lambda options: subprocess.run([*remount, "-o", options, folder], check=True)) if mounted else None
    finally:
        if mounted:
            subprocess.run([shutil.which("umount") or "/bin/umount", folder], check=True)


def check_each_image_whole(faults, what, batch, run, out, reason):
    """Every image has all its results, or a line with file and reason and none. Returns how many are done."""
    faults.expect(f"{what}, exit code", 1, run.code)
    refused = set()
    for line in run.lines:
        match = NOT_WRITTEN.fullmatch(line)
        faults.expect(f"{what}, '{line}' gives the reason", reason, match and match[3])
        if match and match[1] not in ("the run", "the page of the run"):
            refused.add(match[1])
    done = set(batch.files) - refused
    expected = {name: batch.expected[name] for file in done for name in batch.files_of(file)}
    found = tree_of(out)
    for table in ("summary.csv", "summary.ndjson", "report.html"):
        found.pop(table, None)
    compare(faults, what, expected, found)
    return len(done)


def check_full_disk(faults, batch):
    place = batch.folder / "disk"
    needed = sum((len(data) + 4095) // 4096 * 4 for data in batch.expected.values())
    with small_disk(place, needed // 2) as remount:
        if not remount:
            return "skipped, a small disk cannot be mounted here"
        out = place / "results"
        done = check_each_image_whole(faults, "full disk", batch, batch.run(out), out, "No space left on device")
        faults.expect("full disk, some images are done and others are not", True, 0 < done < len(batch.files))
        remount("size=1g")
        faults.expect("disk with room again, exit code", 0, batch.run(out, "--resume", *RESULTS).code)
        compare(faults, "disk with room again", batch.expected, tree_of(out))
        remount("ro")
        expect_one_line(faults, batch, out, "cannot be written: Read-only file system")
        compare(faults, "read-only disk", batch.expected, tree_of(out))
    return f"{done} of {len(batch.files)} images before the disk was full, all after it had room again"


def expect_one_line(faults, batch, out, reason):
    run = batch.run(out)
    faults.expect(f"results in {out}, exit code", 1, run.code)
    faults.expect(f"results in {out}", [f"norvane: the folder {out} {reason}"], run.lines)


def check_folders(faults, batch):
    """As any user, the superuser too: no folder, or none that can be one."""
    file = batch.folder / "a file"
    file.write_text("is no folder")
    for out in (file, file / "below"):
        expect_one_line(faults, batch, out, "cannot be made: Not a directory")
    expect_one_line(faults, batch, pathlib.Path("/proc/norvane"), "cannot be made: No such file or directory")
    out = batch.folder / "half"  # of the two folders of images one finds no place
    out.mkdir()
    (out / "a").write_text("")
    run = batch.run(out)
    (out / "a").unlink()
    done = check_each_image_whole(faults, "a file in place of a folder", batch, run, out, "Not a directory")
    faults.expect("a file in place of a folder, images done", len(batch.files) // 2, done)
    with open("/dev/full", "wb") as full:
        run = batch.run(batch.folder / "unreported", stdout=full)
    faults.expect("full standard output", Run(1, ["norvane: the report cannot be written to standard output"]), run)
    compare(faults, "full standard output", batch.expected, tree_of(batch.folder / "unreported"))
    return "5 places that cannot be written"


def check_file_size(faults, batch):
    """Files may not grow: needs no rights, and the system sends a signal as well."""
    limit = (resource.RLIMIT_FSIZE, 24576)
    out = batch.folder / "cut"
    done = check_each_image_whole(faults, "file size", batch, batch.run(out, limit=limit), out, "File too large")
    faults.expect("file size, images done", 0, done)
    run = batch.run(out, "--results", "nrrd", limit=limit)
    faults.expect("file size, small results", (1, [f"norvane: the page of the run has results that cannot be written: "
                                                   f"{out}/report.html: File too large"]), tuple(run))
    faults.expect("file size, stamps", len(batch.files), sum(1 for _ in out.rglob("*.done")))
    return f"{len(batch.files)} images refused by name, then all but the page with small results"


# Little memory.

def write_sparse(file, head, size):
    with open(file, "wb") as stream:
        stream.write(head)
        stream.truncate(len(head) + size)


def write_png(file, width, height, rows):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    packer = zlib.compressobj(1)
    row = bytes(2 * width + 1)
    data = b"".join(packer.compress(row) for _ in range(rows)) + packer.flush()
    head = chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 16, 0, 0, 0, 0))
    file.write_bytes(b"\x89PNG\r\n\x1a\n" + head + chunk(b"IDAT", data) + chunk(b"IEND", b""))


def make_large_images(folder, is_short):
    """Headers that promise more than there is, and images that are as large as they say (without taking disk)."""
    folder.mkdir()
    for side in (16000, 60000):  # the largest that is not refused for its size alone, and one that is
        write_png(folder / f"promise{side}.png", side, side, 2)
        for ending, head in HEADS.items():
            write_sparse(folder / f"promise{side}{ending}", head(side, side), 100)
    write_png(folder / "real.png", 12000, 12000, 12000)
    for ending, head in HEADS.items():
        if not is_short:
            write_sparse(folder / f"real{ending}", head(12000, 12000), 2 * 12000 * 12000)


def check_memory(faults, batch, is_short):
    large = batch.folder / "large"
    make_large_images(large, is_short)
    told = []
    for limit in [1024] if is_short else [1024, 512, 256, 192, 176, 160, 144, 128, 112, 104, 96, 88, 80, 72, 64]:
        out = batch.folder / f"limit{limit}"
        run = batch.run(out, "--results", "json,overlay,labels,page,nrrd,masks", inputs=[large, *batch.files[:8]],
                        limit=(resource.RLIMIT_AS, limit * MIB))
        small = sum(1 for _ in out.glob("image*.done"))
        promised = [line for line in run.lines if "/promise" in line]
        real = sum(1 for _ in out.glob("real*.done"))
        told.append(f"{limit} MiB: exit code {run.code}, {small} of 8 small and {real} large images done, "
                    f"{len(run.lines)} messages")
        if limit >= LEAST_MIB:
            faults.expect(f"{limit} MiB, exit code", 1, run.code)
            faults.expect(f"{limit} MiB, messages about promises", 8, len(promised))
            faults.expect(f"{limit} MiB, messages or results", 8 + len(list(large.iterdir())),
                          len(run.lines) + sum(1 for _ in out.glob("*.done")))
        if limit == 1024:  # with less, an image that fails may have left the other worker too little for its own
            faults.expect(f"{limit} MiB, small images done", 8, small)
        if run.code >= 0:
            faults.expect(f"{limit} MiB, temporary files", [], list(out.rglob(".*")))
    return "\n    ".join(told)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=lambda path: str(pathlib.Path(path).resolve()))
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    is_sanitized = b"__asan_init" in pathlib.Path(arguments.program).read_bytes()
    faults = Faults()
    with tempfile.TemporaryDirectory(prefix="norvane-faults-") as folder:
        few = Batch(arguments.program, pathlib.Path(folder) / "few", 30)
        many = few if arguments.short else Batch(arguments.program, pathlib.Path(folder) / "many", 300)
        rounds, kills = (2, 4) if arguments.short else (10, 10)
        for name, check in (("killed", lambda: check_kills(faults, many, rounds, kills, arguments.seed)),
                            ("full disk", lambda: check_full_disk(faults, few)),
                            ("folders", lambda: check_folders(faults, few)),
                            ("file size", lambda: check_file_size(faults, few)),
                            ("memory", lambda: "skipped, sanitizers reserve more than any limit" if is_sanitized
                             else check_memory(faults, few, arguments.short))):
            begin = time.monotonic()
            said = check()
            print(f"{name} ({time.monotonic() - begin:.1f} s): {said}", flush=True)
    print("\n".join(faults.found) or "check_faults: no faults")
    return 1 if faults.found else 0


if __name__ == "__main__":
    sys.exit(main())
