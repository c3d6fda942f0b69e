#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Gives norvane small files that stand for gigabytes, together with ordinary ones: each may only cost its own image.

check_bombs.py [--short | --kills] PROGRAM    exits 1 on a fault. The tests run --short, with smaller numbers

Each file is run together with eight small images, with two jobs, in a memory cgroup of 700 MiB. If no cgroup can be
made, an address space of that size is used. A table shows what became of each file, the peak memory and the processor
time. Large numbers of fragments are judged by a ratio: four times as many may take eight times the processor time, but
not sixteen. With --kills, all of them lie beside 300 images in one run that is killed 100 times and continued. In the
end, every image must have its results once, and they must be equal to those of an undisturbed run.
"""
import argparse
import multiprocessing
import os
import pathlib
import random
import re
import resource
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

import check_faults

MIB = 1 << 20
LIMIT = 700 * MIB
OPTIONS = ["--jobs", "2", "--view", "mlo", "--side", "left", "--pixel-size", "100", "--noise", "mg",
           "--results", "json"]
LARGE = 16383  # rows and columns: just below what the library can hold
DONE = "done"
TOO_LARGE = r"needs about \d+ MiB of memory for .*; --image-memory allows 768 MiB"
EXPLICIT, DEFLATED, RLE, J2K, JPEG_LS = "1.2.840.10008.1.2." + "1", "1.2.840.10008.1.2.1.99", "1.2.840.10008.1.2.5", \
    "1.2.840.10008.1.2.4.90", "1.2.840.10008.1.2.4.80"


# DICOM files written by hand, because no library would write them.

def element(group, number, kind, value, length=None):
    length = len(value) if length is None else length
    if kind in ("OB", "OW", "SQ", "UN"):
        return struct.pack("<HH2sHI", group, number, kind.encode(), 0, length) + value
    return struct.pack("<HH2sH", group, number, kind.encode(), length) + value


def text(group, number, kind, value):
    return element(group, number, kind, value.encode() + b"\0" * (len(value) % 2))


def number(group, which, value):
    return element(group, which, "US", struct.pack("<H", value))


def header(width, height, bits=16, extra=b""):
    """The file up to the pixels. `extra` is put between the identifiers and the layout of the pixels."""
    return (text(8, 0x16, "UI", "1.2.840.10008.5.1.4.1.1.1.2") + text(8, 0x18, "UI", "1.2.3.4") +
            text(8, 0x60, "CS", "MG") + extra + number(0x28, 2, 1) + text(0x28, 4, "CS", "MONOCHROME2") +
            number(0x28, 0x10, height) + number(0x28, 0x11, width) + number(0x28, 0x100, 8 if bits == 8 else 16) +
            number(0x28, 0x101, bits) + number(0x28, 0x102, bits - 1) + number(0x28, 0x103, 0))


def dicom(syntax, data_set):
    meta = text(2, 0x10, "UI", syntax)
    return bytes(128) + b"DICM" + element(2, 0, "UL", struct.pack("<I", len(meta))) + meta + data_set


def item(value):
    return struct.pack("<HHI", 0xFFFE, 0xE000, len(value)) + value


def fragments(values):
    items = item(b"") + b"".join(map(item, values))
    return element(0x7FE0, 0x10, "OB", items, 0xFFFFFFFF) + struct.pack("<HHI", 0xFFFE, 0xE0DD, 0)


def raw(width, height, samples):
    return element(0x7FE0, 0x10, "OW", samples, 2 * width * height)


class Small:
    """The samples of an ordinary image."""

    def __init__(self, program, folder):
        png = folder / "small.png"
        subprocess.run([program, "phantom", png, "--width", "240", "--height", "300", "--pixel-size", "228"],
                       check=True, stdout=subprocess.DEVNULL)
        self.width, self.height = 240, 300
        left = b"\x00\x20" * 120 + b"\x14\0" * 120  # a breast at the left border, as little-endian words
        dark = b"\x14\0" * 240
        self.words = b"".join(left if 60 < y < 240 else dark for y in range(300))


def private(kind, length, value=b""):
    return element(0x0009, 0x1001, kind, value, length)


def deflate(data_set_parts):
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    return b"".join(map(packer.compress, data_set_parts)) + packer.flush()


def deflated_element(small, mebibytes):
    start, end = header(small.width, small.height).split(number(0x28, 2, 1))
    zeros = bytes(MIB)
    parts = [start, private("OB", mebibytes * MIB)] + [zeros] * mebibytes
    return dicom(DEFLATED, deflate(parts + [number(0x28, 2, 1) + end, raw(small.width, small.height, small.words)]))


def png_of_zeros(side):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    packer = zlib.compressobj(9)
    row = bytes(side + 1)
    rows = b"".join(packer.compress(row) for _ in range(side)) + packer.flush()
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", side, side, 8, 0, 0, 0, 0)) + chunk(
        b"IDAT", rows) + chunk(b"IEND", b"")


def sparse(file, head, size, tail=b""):
    with open(file, "wb") as stream:
        stream.write(head)
        stream.truncate(len(head) + size)
        stream.seek(len(head) + size)
        stream.write(tail)


def j2k_start(side):
    """A codestream that ends after its header. If the size is refused, nothing after the header is read."""
    size = struct.pack(">HHHIIIIIIIIHBBB", 0xFF51, 41, 0, side, side, 0, 0, side, side, 0, 0, 1, 15, 1, 1)
    return b"\xff\x4f" + size


def rle_of_zeros(side):
    plane = b"\x81\0" * (-(-side * side // 128))
    return struct.pack("<16I", 2, 64, 64 + len(plane), *[0] * 13) + plane * 2


def bombs(small, folder, scale):
    """Name, file and expected outcome. `scale` divides the sizes of those that take time."""
    def write(name, data):
        (folder / name).write_bytes(data)
        return folder / name

    yield ("deflated private element, 1 GiB", write("deflated.dcm", deflated_element(small, 1024 // scale)),
           r"inflates to more bytes than --image-memory allows" if scale == 1 else DONE)
    yield "PNG of 16383 x 16383", write("large.png", png_of_zeros(LARGE)), TOO_LARGE
    sparse(folder / "sparse.pgm", b"P5 40000 40000 65535\n", 3_200_000_000)
    yield "sparse PGM of 3 GB", folder / "sparse.pgm", r"is too large \(40000 x 40000 pixels\)"
    start, end = header(small.width, small.height).split(number(0x28, 2, 1))
    pixels = raw(small.width, small.height, small.words)
    sparse(folder / "private.dcm", dicom(EXPLICIT, start + private("OB", 1024 * MIB)), 1024 * MIB,
           number(0x28, 2, 1) + end + pixels)
    yield "private element of 1 GiB", folder / "private.dcm", DONE
    items = struct.pack("<HHI", 0xFFFE, 0xE000, 0) * (3_000_000 // scale)
    for name, group, which in (("private", 9, 0x1002), ("public", 8, 0x1140)):
        data = dicom(EXPLICIT, header(small.width, small.height, extra=element(group, which, "SQ", items)) + pixels)
        yield f"3 million empty items, {name} sequence", write(f"items-{name}.dcm", data), DONE
    views = element(0x54, 0x220, "SQ", items)
    data = dicom(EXPLICIT, header(small.width, small.height) + views + pixels)
    yield ("3 million empty items, sequence of the view", write("items-view.dcm", data),
           r"has a header of more than 256 KiB")
    many = b"".join(text(0x20, 0x4000, "LT", "") for _ in range(1000)) * (3000 // scale)
    yield "3 million empty elements", write("elements.dcm", dicom(EXPLICIT, header(240, 300) + many + pixels)), \
        r"has a header of more than 256 KiB"
    reversed_order = b"".join(text(0x20, number, "LT", "") for number in range(0xFFFE, 0x4000, -2))
    data = dicom(EXPLICIT, header(240, 300, extra=reversed_order) + pixels)
    yield "24,575 elements in the wrong order", write("disorder.dcm", data), DONE
    groups = element(0x5200, 0x9230, "SQ", struct.pack("<HHI", 0xFFFE, 0xE000, 0) * (3_000_000 // scale))
    data = dicom(EXPLICIT, header(240, 300) + groups + pixels)
    yield "3 million frames in the header", write("frames.dcm", data), DONE
    for name, syntax, frame in (("RLE", RLE, rle_of_zeros(LARGE)), ("JPEG 2000", J2K, j2k_start(LARGE))):
        data = dicom(syntax, header(LARGE, LARGE) + fragments([frame]))
        yield f"{name} frame of 16383 x 16383", write(f"{name}.dcm", data), TOO_LARGE
    yield ("JPEG 2000 of 16383 x 16383 in a header of 240 x 300", write(
        "liar.dcm", dicom(J2K, header(240, 300) + fragments([j2k_start(LARGE)]))),
           r"(holds a compressed image of 16383 x 16383 pixels; its header says 240 x 300|has JPEG 2000 data that .*)")
    for name, syntax in (("JPEG 2000", J2K), ("JPEG-LS", JPEG_LS), ("RLE", RLE)):
        for count in (250_000, 1_000_000):
            frame = [b"\xff\x4f\xff\x51"] + [b""] * count
            yield (f"{name}, {count} empty fragments", write(f"fragments {name} {count}.dcm", dicom(
                syntax, header(240, 300) + fragments(frame))), r"has .*")


# Runs under a limit.

class Cgroup:
    """A memory cgroup with the limit, or None if this machine does not allow one."""

    def __init__(self):
        self.place = None
        for root, limit in (("/sys/fs/cgroup/memory", "memory.limit_in_bytes"), ("/sys/fs/cgroup", "memory.max")):
            place = pathlib.Path(root) / f"norvane-{os.getpid()}"
            try:
                place.mkdir()
                (place / limit).write_text(str(LIMIT))
                self.place = place
                return
            except OSError:
                if place.is_dir():
                    place.rmdir()

    def enter(self):
        if self.place:
            (self.place / "cgroup.procs").write_text(str(os.getpid()))
        else:
            resource.setrlimit(resource.RLIMIT_AS, (LIMIT, LIMIT))

    def close(self):
        if self.place:
            if str(os.getpid()) in (self.place / "cgroup.procs").read_text().split():
                (self.place.parent / "cgroup.procs").write_text(str(os.getpid()))
            self.place.rmdir()


def run(program, cgroup, inputs, out):
    process = subprocess.Popen([program, "masks", *inputs, "--out-dir", out, *OPTIONS], stdout=subprocess.DEVNULL,
                               stderr=subprocess.PIPE, preexec_fn=cgroup.enter)
    lines = process.stderr.read().decode(errors="replace").splitlines()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return process.returncode, lines, usage.ru_maxrss // 1024, usage.ru_utime + usage.ru_stime


def write_bombs(program, folder, scale, to):
    """Runs in a separate process, because its memory would count for the processes that are measured."""
    to.put([(name, str(file), expected) for name, file, expected in bombs(Small(program, folder), folder, scale)])


def outcome_of(program, cgroup, file, plain, out):
    code, lines, peak, seconds = run(program, cgroup, [file, plain], out)
    done = len(list(out.rglob("*.json")))
    shutil.rmtree(out, ignore_errors=True)
    outcome = lines[0].removeprefix(f"norvane: {file} ") if lines else DONE
    is_alone = len(lines) < 2 and done == (9 if outcome == DONE else 8) and code == (0 if outcome == DONE else 1)
    return outcome if is_alone else f"code {code}, {done} results, {lines}", peak, seconds


class BatchBesideBombs(check_faults.Batch):
    """The images of check_faults together with the bombs, in one run."""
    bombs = None

    def command(self, out, *more, inputs=None):
        return super().command(out, *more, inputs=inputs or [self.images, *filter(None, [self.bombs])])


def check_beside_kills(program, cgroup, folder, faults):
    """Ten rounds of ten kills. Afterwards, images that two kills met are processed on request, and then all are
    done."""
    batch = BatchBesideBombs(program, folder / "batch", 300)
    batch.bombs = folder / "bombs"
    cgroup.enter()  # with all that is started from here
    killer = check_faults.Killer(batch, folder / "out", random.Random(1))
    found, missed = check_faults.Faults(), 0
    for _ in range(10):
        shutil.rmtree(killer.out, ignore_errors=True)
        for done in sorted(killer.chance.randrange(len(batch.files)) for _ in range(10)):
            while not killer.kill_among_images(done):
                shutil.rmtree(killer.out)
        batch.run(killer.out, "--resume", *check_faults.RESULTS)
        missing = [file for file in batch.files
                   if not any((killer.out / name).exists() for name in batch.files_of(file))]
        missed += len(missing)
        if missing:
            batch.run(killer.out, *check_faults.RESULTS, inputs=[*missing, "--root", batch.images])
        results = {name: data for name, data in check_faults.tree_of(killer.out).items() if name[:2] in ("a/", "b/")}
        expected = {name: data for name, data in batch.expected.items() if name[:2] in ("a/", "b/")}
        check_faults.compare(found, "beside bombs", expected, results)
    faults += found.found
    print(f"100 kills: {dict(killer.places)}; {missed} images were met by two kills and asked for")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=lambda path: str(pathlib.Path(path).resolve()))
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--kills", action="store_true")
    arguments = parser.parse_args()
    faults, times = [], {}
    cgroup = Cgroup()
    print(f"Limit: {LIMIT // MIB} MiB by {'a memory cgroup' if cgroup.place else 'the address space'}")
    if not arguments.kills:
        print("| file | outcome | peak MiB | processor seconds |\n| --- | --- | --- | --- |")
    with tempfile.TemporaryDirectory(prefix="norvane-bombs-") as place:
        folder = pathlib.Path(place)
        answers = multiprocessing.SimpleQueue()
        writer = multiprocessing.Process(target=write_bombs, args=(arguments.program, folder,
                                                                   10 if arguments.short else 1, answers))
        writer.start()
        table = answers.get()
        writer.join()
        if arguments.kills:
            (folder / "bombs").mkdir()
            for _, file, _ in table:
                shutil.move(file, folder / "bombs")
            check_beside_kills(arguments.program, cgroup, folder, faults)
            table = []
        plain = folder / "plain"
        plain.mkdir()
        for n in range(8):
            shutil.copy(folder / "small.png", plain / f"{n}.png")
        for name, file, expected in table:
            outcome, peak, seconds = outcome_of(arguments.program, cgroup, file, plain, folder / "out")
            print(f"| {name} | {outcome} | {peak} | {seconds:.2f} |", flush=True)
            times.setdefault(name.split(",")[0], []).append(seconds)
            if not re.fullmatch(expected, outcome):
                faults.append(f"{name}: expected '{expected}', found '{outcome}'")
    faults += [f"fragments of {name} take {few} and {many} s" for name, (few, many) in
               ((name, seconds) for name, seconds in times.items() if len(seconds) == 2) if many > 8 * few]
    cgroup.close()
    print("\n".join(faults) or "check_bombs: no faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
