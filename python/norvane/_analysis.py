# SPDX-License-Identifier: Apache-2.0
"""Reads files and analyses images like the program."""
import json
import os
from typing import Any, Dict, Iterable, Mapping, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from . import _norvane
from ._enumerations import BG_NOISE, IMAGE_SIDE, IMAGE_VIEW, MASK_STATUS
from ._norvane import Mask, Refusal
from ._operations import Masks, Prepared

PathLike = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

# The words of the program's options.
_SIDES = {"left": IMAGE_SIDE.SIDE_CHEST_LEFT, "right": IMAGE_SIDE.SIDE_CHEST_RIGHT}
_VIEWS = {"mlo": IMAGE_VIEW.VIEW_PECT, "cc": IMAGE_VIEW.VIEW_NO_PECT}
_NOISES = {name: BG_NOISE(value) for name, value in _norvane.noise_names.items()}


_FACT_KINDS = {"side": IMAGE_SIDE, "view": IMAGE_VIEW, "noise": BG_NOISE}  # enumerations; they come as numbers


class Source:
    """A mammogram as its file holds it, read like the program reads it.

    ``pixels`` are uint16, rows x columns, read-only, with samples from 0 up. ``file`` is the name. The other attributes
    are facts from the header; each is None if the file does not say it. ``said_by`` names the field that says a fact.
    """

    __slots__ = ("pixels", "file", "_source", "_facts")

    def __init__(self, source: _norvane.Source, file: str) -> None:
        self.pixels: NDArray[np.uint16] = source.pixels
        self.file = file
        self._source = source
        self._facts = source.facts

    @property
    def said_by(self) -> Mapping[str, str]:
        """For each fact, such as side or view, the field of the header that says it; empty if no field does."""
        return {name: field for name, (value, field) in self._facts.items() if field or value is None}

    def __getattr__(self, name: str) -> Any:
        if name not in _norvane.meanings_of_facts:
            raise AttributeError(f"a Source has no attribute {name!r}")
        value = self._facts[name][0]
        return _FACT_KINDS[name](value) if name in _FACT_KINDS and value is not None else value

    def __dir__(self) -> Iterable[str]:
        return [*super().__dir__(), *_norvane.meanings_of_facts]

    def __repr__(self) -> str:
        file = _norvane.printable(self.file)
        return f"<norvane.Source {file}: {self.format}, {self.pixels.shape[0]} x {self.pixels.shape[1]}>"


_MEANINGS = "".join(f"    {name}: {text}\n" for name, text in _norvane.meanings_of_facts.items())
Source.__doc__ = f"{Source.__doc__}\n{_MEANINGS}"


def read(
    path: PathLike,
    *,
    frame: Optional[int] = None,
    any_modality: bool = False,
    decode: str = "isolated",
    image_memory: Optional[int] = None,
    patient_id: bool = False,
    no_identifiers: bool = False,
) -> Source:
    """Reads the image in a file like the program does (PNG, TIFF, PGM or DICOM, recognised by content).

    frame: which frame to use if the file holds several, from 1. Without it, such a file is refused.
    any_modality: read DICOM files too that are not mammograms by their Modality.
    decode: where the JPEG and JPEG 2000 pixels of DICOM files are decoded: "isolated" in a separate process, or
        "in-process" in this one, which damaged data may then crash.
    image_memory: MiB that the image may need in total; the default is 768. If it would need more, it is refused.
    patient_id: read the patient's identifier too. Otherwise patient_id is None.
    no_identifiers: read no identifiers at all, not even UIDs.

    If the file cannot be read, raises norvane.Refusal (a ValueError) with the program's sentence. If the path holds a
    null byte, raises ValueError.
    """
    return _read(path, frame, False, any_modality, decode, image_memory, patient_id, no_identifiers)


def _read(
    path: PathLike,
    frame: Optional[int],
    is_pixel_size_given: bool,
    any_modality: bool,
    decode: str,
    image_memory: Optional[int],
    patient_id: bool,
    no_identifiers: bool,
) -> Source:
    name = os.fsencode(path)
    if patient_id and no_identifiers:
        raise ValueError("patient_id: contradicts no_identifiers")
    if frame is not None and not 1 <= frame <= 0xFFFFFFFF:
        raise ValueError(f"frame: expected a number from 1, got {frame}")
    read_as = (is_pixel_size_given, bool(any_modality), decode, image_memory, bool(patient_id), bool(no_identifiers))
    return Source(_norvane.read(name, frame, *read_as), os.fsdecode(name))


class Analysis:
    """The result of analyse(). The masks lie on the working grid of the crop. Its corner is that of the source unless a
    film area was cut out. source_mask() and labels() bring the masks to the pixels of the source."""

    def __init__(self, made: Optional[_norvane.Analysis], refusal: str = "") -> None:
        self._made = made
        self._refusal = refusal
        self._masks: Optional[Dict[str, Mask]] = None

    @property
    def refusal(self) -> str:
        """Why there are no masks, in the program's words; empty if there are."""
        return self._refusal

    def raise_for_refusal(self) -> None:
        """Raises norvane.Refusal with the sentence of ``refusal`` if the image was refused."""
        self._analysis()

    @property
    def status(self) -> MASK_STATUS:
        """The status of the image, which is that of its full mask; MASK_NO_IMAGE if the image was refused."""
        return self.statuses["full"] if self._made is not None else MASK_STATUS.MASK_NO_IMAGE

    @property
    def statuses(self) -> Dict[str, MASK_STATUS]:
        """The status of each mask except outer, which has none."""
        given = {} if self._made is None else self._made.statuses
        return {name: MASK_STATUS(status) for name, status in given.items()}

    @property
    def areas(self) -> Dict[str, float]:
        """The areas in square millimetres by name: breast_mm2 (without the muscle), muscle_mm2, breast_with_muscle_mm2.
        Empty if the image was refused."""
        return {} if self._made is None else self._made.areas

    @property
    def doubt(self) -> Dict[str, float]:
        """How doubtful a mask is, from 0 to 1, by its name: breast, muscle. Above 0.5 the mask should be looked at.
        Empty if the image was refused."""
        return {} if self._made is None else self._made.doubt

    @property
    def masks(self) -> Dict[str, Mask]:
        """The masks by name: frame, breast, pectoral, full, refined_pectoral, refined_full, outer. Empty if the image
        was refused."""
        if self._masks is None:
            self._masks = {} if self._made is None else self._made.masks
        return self._masks

    def __getitem__(self, name: str) -> Mask:
        return self.masks[name]

    @property
    def image(self) -> Prepared:
        """The working image of the crop."""
        return Prepared(self._analysis().image)

    def to_json(self) -> str:
        """The JSON of this image, byte for byte as the program writes it."""
        return self._analysis().to_json()

    def to_dict(self) -> Dict[str, Any]:
        """The same JSON as a dictionary: settings with reasons, geometry, crop, warnings, contour, masks in numbers."""
        parsed: Dict[str, Any] = json.loads(self.to_json())
        return parsed

    def source_mask(self, name: str) -> NDArray[np.uint8]:
        """A mask on the pixels of the whole source: uint8, 1 inside. Raises KeyError if there is no such mask."""
        return self._analysis().source_mask(name)

    def labels(self) -> NDArray[np.uint8]:
        """A label for each pixel of the source: uint8, 0 background, 1 breast, 2 pectoral muscle."""
        return self._analysis().labels()

    def _analysis(self) -> _norvane.Analysis:
        if self._made is None:
            raise Refusal(self._refusal)
        return self._made

    def __repr__(self) -> str:
        refusal = _norvane.printable(self._refusal)
        return f"<norvane.Analysis {self.status.name}{': ' + refusal if refusal else ''}>"

    def _repr_png_(self) -> Optional[bytes]:
        return None if self._made is None else self._made.overlay_png()


def _word(name: str, value: Any, kind: type, words: Mapping[str, Any]) -> Any:
    if value is None:
        return None
    if isinstance(value, str):
        if value.lower() not in words:
            raise ValueError(f"{name}: expected one of {', '.join(words)}, got {value!r}")
        return words[value.lower()]
    try:
        return kind(value)
    except ValueError:
        expected = f"norvane.{kind.__name__} or one of {', '.join(words)}"
        raise ValueError(f"{name}: expected {expected}, got {value!r}") from None


def _muscle_choice(muscle: str) -> bool:
    if muscle not in ("exact", "refined"):
        raise ValueError(f"muscle: expected exact or refined, got {muscle!r}")
    return muscle == "refined"


def _source_of(
    image: Union[PathLike, NDArray[Any], Source], used_bits: Optional[int], read_as: Tuple[Any, ...]
) -> Tuple[_norvane.Source, str]:
    """The source and its name; read_as are the arguments of _read() for a file."""
    if isinstance(image, np.ndarray):
        return _norvane.source_of(image, used_bits), "array"
    found = image if isinstance(image, Source) else _read(image, *read_as)
    return found._source, found.file


def analyse(
    image: Union[PathLike, NDArray[Any], Source],
    *,
    side: Union[IMAGE_SIDE, str, None] = None,
    view: Union[IMAGE_VIEW, str, None] = None,
    pixel_size: Optional[float] = None,
    default_side: Union[IMAGE_SIDE, str, None] = None,
    default_view: Union[IMAGE_VIEW, str, None] = None,
    default_pixel_size: Optional[float] = None,
    any_modality: bool = False,
    frame: Optional[int] = None,
    decode: str = "isolated",
    image_memory: Optional[int] = None,
    patient_id: bool = False,
    no_identifiers: bool = False,
    crop: bool = True,
    noise: Union[BG_NOISE, str, None] = None,
    padding: Optional[Tuple[int, int]] = None,
    inverted: bool = False,
    muscle: str = "exact",
    fast: bool = False,
    contour: bool = True,
    used_bits: Optional[int] = None,
    name: Optional[str] = None,
) -> Analysis:
    """Makes all masks of one image, like ``norvane masks``.

    image: a file, the result of read(), or an array of samples. For an array, view and pixel size must be given. It is
        an array as for prepare(), but samples beyond used_bits are refused, not cut.
    side: "left" or "right", the border at which the chest wall lies. Default: what the file says, otherwise the border
        with more tissue.
    view: "mlo" shows the pectoral muscle, "cc" does not. Default: what the file says.
    pixel_size: micrometres, at most 228. Default: what the file says.
    default_side, default_view, default_pixel_size: used if the image does not say it. They override nothing.
    any_modality: see read().
    frame: which frame to use if the file holds several, from 1.
    decode: "isolated" or "in-process", see read().
    image_memory: MiB that the image may need in total. If it would need more, it is refused. Default: 768 for a file,
        no limit for an array, because it is in memory already.
    patient_id, no_identifiers: only for a file, see read().
    crop: cut off the black and white borders that a scanner or an archive added to the film.
    noise: noise class of the background, as a BG_NOISE or the program's word for it; "auto" chooses it from the pixels.
        Default: what the file says, otherwise "auto".
    padding: grey values (low, high) of the background; implies the class BG_GIVEN_LEVEL.
    inverted: tissue is dark on a bright background, whatever the file says.
    muscle: "exact" or "refined", the border of the pectoral muscle in labels, areas and pictures. The masks by name
        hold both.
    fast: use the fast search for the contour; results differ.
    contour: include 720 outline points.
    used_bits: number of used bits of an array.
    name: the name of the image in the JSON. Default: the path, or "array".

    Raises TypeError or ValueError if an argument is wrong. If the image is refused, for example because the file does
    not exist, nothing is raised: the status is MASK_NO_IMAGE, and ``refusal`` says why. The interpreter lock is
    released.
    """
    tries_noise = isinstance(noise, str) and noise.lower() == "auto"
    noise_word = None if tries_noise else _word("noise", noise, BG_NOISE, _NOISES)
    if padding is not None and noise is not None and noise_word != BG_NOISE.BG_GIVEN_LEVEL:
        raise ValueError("padding: expected no noise class with it except BG_GIVEN_LEVEL, the only one that uses it")
    options = {
        "side": _word("side", side, IMAGE_SIDE, _SIDES),
        "view": _word("view", view, IMAGE_VIEW, _VIEWS),
        "pixel_size": pixel_size,
        "default_side": _word("default_side", default_side, IMAGE_SIDE, _SIDES),
        "default_view": _word("default_view", default_view, IMAGE_VIEW, _VIEWS),
        "default_pixel_size": default_pixel_size,
        "noise": noise_word,
        "tries_noise": tries_noise,
        "padding": padding,
        "crop": bool(crop),
        "inverted": bool(inverted),
        "refined_muscle": _muscle_choice(muscle),
        "fast": bool(fast),
        "contour": bool(contour),
        "image_memory": image_memory,
    }
    _norvane.check_options(options)
    if any(options[name] == -1 for name in ("side", "view", "default_side", "default_view")):  # SIDE_UNDEFINED
        raise ValueError("side and view: expected None if they are not known")
    if used_bits is not None and not isinstance(image, np.ndarray):
        raise ValueError("used_bits: expected only with an array; a file says it itself")
    if (frame is not None or patient_id or no_identifiers) and isinstance(image, (np.ndarray, Source)):
        raise ValueError("frame, patient_id and no_identifiers: expected a file with them")
    try:
        is_size_given = pixel_size is not None or default_pixel_size is not None
        read_as = (frame, is_size_given, any_modality, decode, image_memory, patient_id, no_identifiers)
        source, file = _source_of(image, used_bits, read_as)
        return Analysis(_norvane.analyse(source, os.fsencode(file if name is None else name), options))
    except Refusal as refusal:
        return Analysis(None, str(refusal))


def overlay(
    picture: Union[Analysis, Masks, Prepared], masks: Optional[Mapping[str, Mask]] = None, *, zoom: float = 1.0
) -> NDArray[np.uint8]:
    """Draws a picture with the outlines of masks: uint8, rows x columns x 3 (red, green, blue).

    An Analysis gives the program's picture with its legend. Masks, or a prepared image and masks by name (frame, full,
    outer, breast, pectoral), give the image in grey with the outlines; zoom pixels show one pixel of the working grid.
    """
    if isinstance(picture, Analysis):
        return picture._analysis().overlay()
    if isinstance(picture, Masks):
        masks = picture.masks if masks is None else masks
        picture = picture.image
    if not isinstance(picture, Prepared):
        raise TypeError(f"picture: expected Analysis, Masks or Prepared, got {type(picture).__name__}")
    return _norvane.draw_masks(picture._image, dict(masks or {}), zoom)


def phantom(
    width: int = 1800,
    height: int = 2400,
    pixel_size: float = 100.0,
    *,
    side: Union[IMAGE_SIDE, str] = "left",
    view: Union[IMAGE_VIEW, str] = "mlo",
    collimation: bool = True,
    digital: bool = False,
    seed: int = 1,
    used_bits: int = 12,
) -> Tuple[NDArray[np.uint16], NDArray[np.uint8]]:
    """Draws a synthetic mammogram like ``norvane phantom``. Returns its pixels (uint16, 0 .. 2**used_bits - 1) and what
    they show (uint8: 0 frame, 64 background, 128 breast, 255 pectoral muscle), both rows x columns.

    collimation: a bright frame on all borders. digital: a black, flat background instead of that of film.
    """
    for name, value, least, most in (
        ("width", width, 64, 8192),
        ("height", height, 64, 8192),
        ("pixel_size", pixel_size, 10, 1000),
        ("seed", seed, 0, 0xFFFFFFFF),
        ("used_bits", used_bits, 8, 16),
    ):
        if not least <= value <= most:
            raise ValueError(f"{name}: expected {least} to {most}, got {value}")
    chest_wall, projection = _word("side", side, IMAGE_SIDE, _SIDES), _word("view", view, IMAGE_VIEW, _VIEWS)
    return _norvane.phantom(
        width, height, pixel_size, chest_wall, projection, bool(collimation), bool(digital), seed, used_bits
    )
