# SPDX-License-Identifier: Apache-2.0
"""The enumerations of the library, with its names."""
import enum

from . import _norvane


class IMAGE_SIDE(enum.IntEnum):
    """Where the chest wall is."""

    SIDE_UNDEFINED = -1
    SIDE_CHEST_RIGHT = 0  #: at the last column
    SIDE_CHEST_LEFT = 1  #: at column 0


class IMAGE_VIEW(enum.IntEnum):
    """The projection."""

    VIEW_UNDEFINED = -1  #: not given; the pectoral muscle is searched for
    VIEW_PECT = 0  #: a view in which the pectoral muscle is searched for (oblique, lateral)
    VIEW_NO_PECT = 1  #: a view without muscle (cranio-caudal)


class BG_NOISE(enum.IntEnum):
    """Noise class of the background. It fixes the noise level, the blur and the thresholds of the search."""

    BG_AUTO_COARSE = 0  #: digitised film
    BG_MG = 1  #: digital, black background; padding frames
    BG_MG_RAW = 2  #: padding frames
    BG_GIVEN_LEVEL = 3  #: the background is given as a range of padding values
    BG_AUTO = 4  #: the default of the library
    BG_FIXED_MID = 5  #: noise level 11000; preparation raises levels below 10000
    BG_FIXED_HIGH = 6  #: noise level 20000
    BG_MG_RAW_2 = 7  #: padding frames
    BG_MG_RAW_3 = 8  #: padding frames
    BG_AUTO_MEDIUM = 9


class MASK_STATUS(enum.IntEnum):
    """How far to trust the masks. A status other than MASK_OK is a result, not a failure."""

    MASK_OK = 0
    MASK_TOO_SMALL = 1
    MASK_BAD_SHAPE = 2
    MASK_CUT_TISSUE = 3
    MASK_CHEST_WALL = 4
    MASK_BG_NOISE = 5
    MASK_BAD_PIXEL_SIZE = 6
    MASK_NO_IMAGE = 7
    MASK_NO_MASK = 8
    MASK_NO_SIDE = 9
    MASK_PECT_FAILED = 11
    MASK_PECT_REJECTED = 12
    MASK_PECT_NOT_APPLICABLE = 13
    MASK_BOUNDARY_TRACING = 14

    @property
    def sentence(self) -> str:
        """What it means for the user of the masks."""
        return _norvane.status_texts[self.name][1]
