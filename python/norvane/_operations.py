# SPDX-License-Identifier: Apache-2.0
"""Preparation and the mask operations of the library."""
import dataclasses
import re
from typing import Any, Dict, Mapping, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from . import _norvane
from ._arguments import member, truth, whole
from ._enumerations import BG_NOISE, IMAGE_SIDE, IMAGE_VIEW, MASK_STATUS
from ._norvane import Mask

#: What the module takes as grey levels.
Samples = Union[NDArray[np.uint16], NDArray[np.uint8]]

_GREATEST = {"noiseLevel": 65535, "pixelPaddingValueRangeLimit": 65535, "contourOffset": 2**31 - 1}
_LEAST = {"contourOffset": -(2**31)}


@dataclasses.dataclass(frozen=True)
class Params:
    """The parameters of an operation. They are the fields of the library's ``Masking::Params`` with its names, except
    ``reserved``, which nothing reads, and ``contour``, which is part of the result. The operations take them as keyword
    arguments too, by these names or in snake case: ``contourOffset=9`` or ``contour_offset=9``.

    Raises TypeError or ValueError if a value does not suit its field.
    """

    side: IMAGE_SIDE = IMAGE_SIDE.SIDE_UNDEFINED  #: chest wall
    view: IMAGE_VIEW = IMAGE_VIEW.VIEW_UNDEFINED  #: projection
    bgNoise: BG_NOISE = BG_NOISE.BG_AUTO  #: noise class
    noiseLevel: int = 0  #: for BG_GIVEN_LEVEL: one end of the range of padding values, on the prepared scale
    pixelPaddingValueRangeLimit: int = 0  #: the other end of that range
    fullContour: bool = False  #: also search the outer contour
    singleContour: bool = False  #: do not write the second outline
    smoothContour: bool = True  #: smooth the outer contour of the fast search
    contourOffset: int = 0  #: pixels that are added to the radii of the outer contour
    checkCutTissue: bool = True  #: full_mask() runs the cut-tissue check
    contourOutput: bool = False  #: breast_mask() returns contour points
    maskingSpeed: bool = False  #: use the fast search and the fast polygon writer; results differ
    pectContour: bool = False  #: the contour points outline breast and upper muscle

    def __post_init__(self) -> None:
        for field in dataclasses.fields(self):
            object.__setattr__(self, field.name, _checked(field.name, type(field.default), getattr(self, field.name)))


def _checked(name: str, kind: type, value: Any) -> Any:
    if kind is bool:
        return truth(name, value)
    if kind is int:
        return whole(name, value, _LEAST.get(name, 0), _GREATEST[name])
    return member(name, kind, value)


class Prepared:
    """The working image of a mammogram, made by :func:`prepare`. It never changes and can be pickled."""

    def __init__(self, image: _norvane.WorkingImage) -> None:
        self._image = image

    @property
    def pixels(self) -> NDArray[np.uint16]:
        """16-bit grey levels, bright tissue on a dark background: uint16, rows x columns, read-only."""
        return self._image.pixels

    @property
    def shape(self) -> Tuple[int, int]:
        """Rows and columns of the working grid."""
        return self.pixels.shape  # type: ignore[return-value]

    @property
    def pixel_size(self) -> float:
        """Micrometres: 228, the working pixel size."""
        return self._image.pixel_size

    @property
    def scale(self) -> float:
        """Resampling factor: pixel size of the source / 228."""
        return self._image.scale

    @property
    def padding(self) -> Tuple[int, int]:
        """The padding values on the prepared scale, the lower one first; (0, 0) if none were given."""
        return self._image.padding

    @property
    def noise(self) -> BG_NOISE:
        """The noise class that it was prepared for."""
        return BG_NOISE(self._image._noise)

    def __repr__(self) -> str:
        return f"<norvane.Prepared of {self.shape[0]} x {self.shape[1]} pixels of {self.pixel_size:g} um>"


@dataclasses.dataclass(frozen=True)
class Masks:
    """The result of a mask operation."""

    status: MASK_STATUS  #: how far to trust the masks; ``status.sentence`` says it in words
    masks: Mapping[str, Mask]  #: by name: frame, breast, full, pectoral, outer
    image: Prepared  #: the image that the masks lie on
    contour: Optional[NDArray[np.int32]] = None  #: from breast_mask() with contourOutput: n x 2, columns x and y

    def __getitem__(self, name: str) -> Mask:
        return self.masks[name]

    def _repr_png_(self) -> Optional[bytes]:
        if 0 in self.image.shape:
            return None
        return _norvane.draw_masks_png(self.image._image, dict(self.masks), 1.0)

    def __repr__(self) -> str:
        return f"<norvane.Masks {self.status.name}: {', '.join(self.masks)}>"


def prepare(
    pixels: Samples,
    pixel_size: float,
    *,
    used_bits: Optional[int] = None,
    inverted: bool = False,
    noise: BG_NOISE = BG_NOISE.BG_AUTO,
    resample_first: bool = True,
    padding: Optional[Tuple[int, int]] = None,
) -> Prepared:
    """Makes the working image of a mammogram: 16-bit grey levels over the full range, bright tissue, 228 micrometres.

    pixels: samples from 0 up, rows x columns, uint16 or uint8. An aligned uint16 array in C order and native byte
        order, with an even number of columns and fewer than 16 used bits, is read in place. Any other is copied once.
    pixel_size: micrometres, above 0 and at most 228.
    used_bits: samples lie in 0 .. 2**used_bits - 1, and higher bits are cut off. The default is all bits of the type.
    inverted: tissue is dark on a bright background.
    noise: noise class of the background; BG_FIXED_MID raises the result to at least 10000.
    resample_first: resample before the grey-level steps instead of after them; results differ.
    padding: two grey values (low, high), the range of the background. They are converted to the prepared scale.

    Raises TypeError if the dtype is wrong, and ValueError if the shape, the pixel size or the number of bits is wrong.
    The interpreter lock is released during the work.
    """
    number = int(member("noise", BG_NOISE, noise))
    return Prepared(_norvane.prepare(pixels, pixel_size, used_bits, inverted, number, resample_first, padding))


def _working(image: Prepared) -> _norvane.WorkingImage:
    if not isinstance(image, Prepared):
        raise TypeError(f"image: expected what prepare() returns, got {type(image).__name__}")
    return image._image


def _params(image: Prepared, params: Optional[Params], fields: Mapping[str, Any], **defaults: Any) -> Params:
    if params is None:
        low, high = image.padding
        params = Params(bgNoise=image.noise, noiseLevel=high, pixelPaddingValueRangeLimit=low, **defaults)
    elif not isinstance(params, Params):
        raise TypeError(f"params: expected norvane.Params, got {type(params).__name__}")
    return dataclasses.replace(params, **_by_library_names(fields))


def _by_library_names(given: Mapping[str, Any]) -> Dict[str, Any]:
    """The same fields by the names of Params. In snake case they may be given as well."""
    names = {name: field.name for field in dataclasses.fields(Params) for name in (_snake_case(field.name), field.name)}
    fields: Dict[str, Any] = {}
    for name, value in given.items():
        if name not in names:
            raise TypeError(f"unknown parameter {name!r}; the parameters are {', '.join(names)}")
        if names[name] in fields:
            raise TypeError(f"{name}: given twice, in snake case and by the library's name")
        fields[names[name]] = value
    return fields


def _snake_case(name: str) -> str:
    return re.sub("[A-Z]", lambda letter: "_" + letter.group().lower(), name)


def _masks(image: Prepared, answer: Mapping[str, Any]) -> Masks:
    return Masks(MASK_STATUS(answer["status"]), answer["masks"], image, answer.get("contour"))


def frame_mask(image: Prepared, params: Optional[Params] = None, **fields: Any) -> Masks:
    """Finds the exposed field, without collimation frame or pixel padding. The mask is ``frame``.

    All operations take ``norvane.Params``, or its fields by name, or both; a field then overrides params. Without
    params, the noise class and the padding values are those of the preparation. The interpreter lock is released during
    the work, and any number of threads may use the same image.
    """
    return _masks(image, _norvane.frame_mask(_working(image), _params(image, params, fields)))


def breast_mask(
    image: Prepared, params: Optional[Params] = None, *, frame: Optional[Mask] = None, **fields: Any
) -> Masks:
    """Finds the breast. The masks are ``breast`` and ``frame``. If no frame or an empty one is given, it is found
    first.

    Masks that are passed in, here and below, must have the pixel size of the image. Otherwise ValueError is raised.

    With contourOutput, the result has ``contour``: 720 points x, y of the working grid.
    """
    return _masks(image, _norvane.breast_mask(_working(image), _params(image, params, fields), frame))


def full_mask(
    image: Prepared, params: Optional[Params] = None, *, frame: Optional[Mask] = None, **fields: Any
) -> Masks:
    """Finds breast and upper pectoral muscle. The masks are ``full``, ``pectoral`` (if a line was found), ``outer`` and
    ``frame``.

    Without params, fullContour is True, as in the program, because the cut-tissue check needs the outer contour.
    """
    working, asked = _working(image), _params(image, params, fields, fullContour=True)
    return _masks(image, _norvane.full_mask(working, asked, frame))


def pect_mask(
    image: Prepared, breast: Mask, params: Optional[Params] = None, *, frame: Optional[Mask] = None, **fields: Any
) -> Masks:
    """Finds the pectoral muscle for a known breast mask. The masks are ``pectoral`` and ``frame``. ``pectoral`` is
    empty unless the status is MASK_OK.

    The method selects gradients whose direction a muscle can have, finds the line by a Hough transform, and tests the
    contrast across it. docs/references.md names the sources.
    """
    return _masks(image, _norvane.pect_mask(_working(image), breast, _params(image, params, fields), frame))


def chest_wall_patch(image: Prepared, params: Optional[Params] = None, **fields: Any) -> NDArray[np.uint16]:
    """The image to which the contour search applies its thresholds: uint16, rows x columns of the working grid.

    In it, dark tissue next to the chest wall is raised. It is blurred and cut to the frame.
    """
    return _norvane.chest_wall_patch(_working(image), _params(image, params, fields))
