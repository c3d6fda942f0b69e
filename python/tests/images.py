# SPDX-License-Identifier: Apache-2.0
"""Small image files of every format that the program reads, written byte by byte."""
import struct
import zlib


def png(path, pixels):
    height, width = pixels.shape
    bits = 8 * pixels.itemsize
    rows = b"".join(b"\0" + row.astype(f">u{pixels.itemsize}").tobytes() for row in pixels)

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    header = struct.pack(">IIBBBBB", width, height, bits, 0, 0, 0, 0)
    path.write_bytes(
        b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, 1)) + chunk(b"IEND", b"")
    )


def pgm(path, pixels, used_bits):
    height, width = pixels.shape
    path.write_bytes(b"P5 %d %d %d\n" % (width, height, (1 << used_bits) - 1) + pixels.astype(">u2").tobytes())


def tiff(path, pixels):
    height, width = pixels.shape
    data = pixels.astype("<u2").tobytes()
    entries = [(256, width), (257, height), (258, 16), (259, 1), (262, 1), (273, 8), (277, 1)]
    entries += [(278, height), (279, len(data))]
    directory = b"".join(struct.pack("<HHII", tag, 4, 1, value) for tag, value in entries)
    path.write_bytes(
        struct.pack("<2sHI", b"II", 42, 8 + len(data)) + data + struct.pack("<H", len(entries)) + directory + bytes(4)
    )


def dicom(path, pixels, used_bits, pixel_size_mm):
    """A left breast in an oblique view, in explicit little endian."""

    def element(group, number, kind, value):
        value += (b"\0" if kind in ("UI", "OW", "OB") else b" ") * (len(value) % 2)
        length = struct.pack("<xxI" if kind in ("OW", "OB") else "<H", len(value))
        return struct.pack("<HH2s", group, number, kind.encode()) + length + value

    def text(group, number, kind, value):
        return element(group, number, kind, value.encode())

    def short(group, number, value):
        return element(group, number, "US", struct.pack("<H", value))

    height, width = pixels.shape
    mammogram = "1.2.840.10008.5.1.4.1.1.1.2"
    meta = (
        element(2, 1, "OB", b"\0\1")
        + text(2, 2, "UI", mammogram)
        + text(2, 3, "UI", "1.2.3.4")
        + text(2, 0x10, "UI", "1.2.840.10008.1.2.1")
    )
    body = (
        text(8, 0x16, "UI", mammogram)
        + text(8, 0x18, "UI", "1.2.3.4")
        + text(8, 0x60, "CS", "MG")
        + text(8, 0x68, "CS", "FOR PRESENTATION")
        + text(0x18, 0x1164, "DS", f"{pixel_size_mm}\\{pixel_size_mm}")
        + text(0x18, 0x5101, "CS", "MLO")
        + text(0x20, 0x62, "CS", "L")
        + short(0x28, 2, 1)
        + text(0x28, 4, "CS", "MONOCHROME2")
        + short(0x28, 0x10, height)
        + short(0x28, 0x11, width)
        + short(0x28, 0x100, 16)
        + short(0x28, 0x101, used_bits)
        + short(0x28, 0x102, used_bits - 1)
        + short(0x28, 0x103, 0)
        + element(0x7FE0, 0x10, "OW", pixels.astype("<u2").tobytes())
    )
    path.write_bytes(bytes(128) + b"DICM" + element(2, 0, "UL", struct.pack("<I", len(meta))) + meta + body)
