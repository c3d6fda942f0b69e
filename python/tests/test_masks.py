# SPDX-License-Identifier: Apache-2.0
"""Preparation and mask operations on arrays."""
import numpy as np
import pytest

import norvane
from norvane import IMAGE_SIDE, IMAGE_VIEW, MASK_STATUS

LEFT_CC = {"side": IMAGE_SIDE.SIDE_CHEST_LEFT, "view": IMAGE_VIEW.VIEW_NO_PECT}


def half_disc(width=1200, height=1600, used_bits=12):
    """A bright half disc at the left border on a dark background."""
    y, x = np.mgrid[:height, :width]
    inside = (x < 0.67 * width) & (x**2 + (y - height / 2) ** 2 < (0.44 * height) ** 2)
    return np.where(inside, (1 << used_bits) * 9 // 16, 20).astype(np.uint16)


def test_a_half_disc_is_found_where_it_lies():
    pixels = half_disc()
    image = norvane.prepare(pixels, 100.0, used_bits=12)
    assert image.pixels.dtype == np.uint16 and not image.pixels.flags.writeable
    assert image.shape == (702, 526) and image.scale == pytest.approx(100 / 228)
    found = norvane.full_mask(image, **LEFT_CC)
    assert found.status is MASK_STATUS.MASK_OK and found.status.sentence == "The mask can be used."
    at_source = found["full"].to_array(pixels.shape, 100.0)
    assert at_source.dtype == np.uint8 and set(np.unique(at_source)) == {0, 1}
    assert np.mean((at_source == 1) != (pixels > 100)) < 0.01
