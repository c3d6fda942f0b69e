#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures a breast and its dense tissue with scikit-image: masks are arrays, and boxes are those of regionprops().

python3 dense_tissue_by_scikit_image.py [FILE [VIEW]]     without a file: a synthetic mammogram
"""
import sys

import numpy as np
from skimage import filters, measure, morphology

import norvane


def main():
    if len(sys.argv) > 1:
        found = norvane.analyse(sys.argv[1], default_view=sys.argv[2] if len(sys.argv) > 2 else None)
    else:
        pixels, _ = norvane.phantom(900, 1200, 200.0)
        found = norvane.analyse(pixels, view="mlo", pixel_size=200.0, used_bits=12)
    found.raise_for_refusal()
    grey = found.image.pixels  # the working image, on whose pixels the masks lie
    muscle = found["pectoral"]
    breast = found["full"] - muscle

    (region,) = measure.regionprops(np.asarray(breast).astype(np.uint8), intensity_image=grey)
    assert region.bbox == breast.bbox
    print(f"breast: {breast.area_mm2:.0f} mm2, box {region.bbox}, solidity {region.solidity:.2f}, "
          f"mean grey level {region.mean_intensity:.0f}")

    inside = morphology.binary_erosion(np.asarray(breast), morphology.disk(5))  # without the skin line
    threshold = filters.threshold_otsu(grey[inside])
    dense = norvane.Mask.from_array(inside & (grey > threshold), breast.pixel_size)
    print(f"dense: {dense.area_mm2:.0f} mm2, {100 * dense.area / breast.area:.0f} % of the breast")
    return 0


if __name__ == "__main__":
    sys.exit(main())
