# SPDX-License-Identifier: Apache-2.0
"""From the samples of a mammogram to masks, numbers and pictures, in cells like those of a notebook.

    python3 masks_of_a_mammogram.py [FILE [FOLDER]]

Without FILE, a synthetic mammogram is used. The pictures are written into FOLDER, or into the current folder.
"""
import pathlib
import sys

import numpy as np

import norvane

# %% A mammogram, from a file or synthetic.
if len(sys.argv) > 1 and sys.argv[1]:
    source = norvane.read(sys.argv[1])
    pixels, pixel_size, used_bits = source.pixels, source.pixel_size or 70.0, source.used_bits
else:
    pixel_size, used_bits = 100.0, 12
    pixels, truth = norvane.phantom(1800, 2400, pixel_size, used_bits=used_bits)
folder = pathlib.Path(sys.argv[2] if len(sys.argv) > 2 else ".")

# %% The short way: do what the program does. The settings come from the pixels.
found = norvane.analyse(pixels, pixel_size=pixel_size, used_bits=used_bits, view="mlo")
print(found.status.name, "-", found.status.sentence)
settings = found.to_dict()["settings"]
print("chest wall", settings["side"]["value"], "because", settings["side"]["reason"])
print("noise class", settings["noise"]["value"], "because", settings["noise"]["reason"])

# %% Masks are sets: how much of the breast does the muscle cover, and where is the rest?
breast, muscle = found["breast"], found["pectoral"]
rest = breast - muscle
muscle_mm2 = (breast & muscle).area_mm2
print(f"breast {breast.area_mm2:.0f} mm2, of which muscle {muscle_mm2:.0f}; the rest lies in {rest.bounds}")

# %% On the pixels of the source: the mean grey level of the breast without the muscle.
labels = found.labels()
print("mean grey level", round(float(np.mean(pixels[labels == 1])), 1))

# %% The long way: one step after another, with every parameter under your control.
image = norvane.prepare(pixels, pixel_size, used_bits=used_bits, noise=norvane.BG_NOISE.BG_AUTO_COARSE)
asked = norvane.Params(side=norvane.IMAGE_SIDE.SIDE_CHEST_LEFT, view=norvane.IMAGE_VIEW.VIEW_PECT, bgNoise=image.noise)
frame = norvane.frame_mask(image, asked)["frame"]
full = norvane.full_mask(image, asked, frame=frame, fullContour=True)
print(full.status.name, full["full"])

# %% Pictures. In a notebook, a cell that ends with `found` or `full` shows them.
(folder / "analysis.png").write_bytes(found._repr_png_() or b"")
(folder / "full.png").write_bytes(full._repr_png_() or b"")
(folder / "muscle.png").write_bytes(muscle._repr_png_() or b"")
print("overlay", norvane.overlay(full, zoom=0.5).shape)
