# SPDX-License-Identifier: Apache-2.0
"""Masks of mammograms: field, breast and pectoral muscle.

    import norvane

    image = norvane.prepare(pixels, 70.0, used_bits=12)          # uint16, rows x columns; micrometres
    found = norvane.full_mask(image, side=norvane.IMAGE_SIDE.SIDE_CHEST_LEFT, view=norvane.IMAGE_VIEW.VIEW_PECT)
    print(found.status.sentence)
    breast = found["full"].to_array(pixels.shape, 70.0)          # uint8, 1 inside

    found = norvane.analyse("left.dcm")                          # the same as the program does with a file
"""
from ._analysis import Analysis, Source, analyse, overlay, phantom, read
from ._enumerations import BG_NOISE, IMAGE_SIDE, IMAGE_VIEW, MASK_STATUS
from ._marks import Mark, read_marks
from ._norvane import Mask, Refusal
from ._norvane import version as __version__
from ._operations import (
    Masks,
    Params,
    Prepared,
    breast_mask,
    chest_wall_patch,
    frame_mask,
    full_mask,
    pect_mask,
    prepare,
)

__all__ = [
    "Analysis",
    "BG_NOISE",
    "IMAGE_SIDE",
    "IMAGE_VIEW",
    "MASK_STATUS",
    "Mark",
    "Mask",
    "Masks",
    "Params",
    "Prepared",
    "Refusal",
    "Source",
    "__version__",
    "analyse",
    "breast_mask",
    "chest_wall_patch",
    "frame_mask",
    "full_mask",
    "overlay",
    "pect_mask",
    "phantom",
    "prepare",
    "read",
    "read_marks",
]
