#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Calls the library's interface for C from Python's standard library, as a language without bindings would.

python3 masks_by_ctypes.py [path of libnorvane.so]
"""
import ctypes
import sys
from ctypes import POINTER, byref, c_double, c_int32, c_size_t, c_uint16, c_uint32, c_void_p


class Picture(ctypes.Structure):
    """norvane_picture"""
    _fields_ = [("struct_size", c_size_t), ("samples", POINTER(c_uint16)), ("row_stride", c_size_t),
                ("width", c_uint32), ("height", c_uint32), ("used_bits", c_uint32), ("inverted", c_int32),
                ("pixel_size", c_double), ("noise_class", c_int32), ("resample_first", c_int32),
                ("has_padding", c_int32), ("padding_low", c_uint16), ("padding_high", c_uint16)]


class Params(ctypes.Structure):
    """norvane_params"""
    _fields_ = [("struct_size", c_size_t), ("side", c_int32), ("view", c_int32), ("noise_class", c_int32),
                ("noise_level", c_uint16), ("padding_limit", c_uint16), ("full_contour", c_int32),
                ("single_contour", c_int32), ("smooth_contour", c_int32), ("contour_offset", c_int32),
                ("check_cut_tissue", c_int32), ("fast", c_int32), ("muscle_outline", c_int32)]


def main():
    library = ctypes.CDLL(sys.argv[1] if len(sys.argv) > 1 else "libnorvane.so.1")
    library.norvane_last_error.restype = library.norvane_status_sentence.restype = ctypes.c_char_p

    def call(name, *arguments):
        if getattr(library, name)(*arguments) != 0:
            raise RuntimeError(library.norvane_last_error().decode())

    width, height = 600, 800  # an acquired mammogram: here a bright half disc
    samples = (c_uint16 * (width * height))()
    for y in range(height):
        for x in range(width):
            samples[y * width + x] = 2200 if x * x + (y - 400) ** 2 < 350 ** 2 else 20
    picture, params = Picture(), Params()
    library.norvane_init_picture(byref(picture), c_size_t(ctypes.sizeof(picture)))
    picture.samples, picture.width, picture.height = samples, width, height
    picture.used_bits, picture.pixel_size = 12, 200.0

    image, full, status, area = c_void_p(), c_void_p(), c_int32(), c_double()
    call("norvane_prepare", byref(picture), byref(image))
    library.norvane_init_params(byref(params), c_size_t(ctypes.sizeof(params)), image)
    params.side, params.view = 1, 1  # NORVANE_SIDE_LEFT, NORVANE_VIEW_NO_MUSCLE
    call("norvane_full_mask", image, byref(params), None, byref(full), None, None, byref(status))
    call("norvane_mask_area", full, None, None, byref(area))
    print(f"{library.norvane_status_sentence(status).decode()} The breast covers {area.value:.0f} square millimetres.")
    library.norvane_free_mask(full)
    library.norvane_free_image(image)
    return 0 if status.value == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
