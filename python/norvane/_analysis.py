# SPDX-License-Identifier: Apache-2.0
"""Reads files and analyses images like the program."""
import json
import os
from typing import Any, Dict, Iterable, Mapping, Optional, Tuple, Type, Union

import numpy as np
from numpy.typing import NDArray

from . import _norvane
from ._arguments import Member, PathLike, file_name, member, number, whole, word
from ._enumerations import BG_NOISE, IMAGE_SIDE, IMAGE_VIEW, MASK_STATUS
from ._norvane import Mask, Refusal
from ._operations import Masks, Prepared, Samples

# The words of the program's options.
_SIDES = {"left": IMAGE_SIDE.SIDE_CHEST_LEFT, "right": IMAGE_SIDE.SIDE_CHEST_RIGHT}
_VIEWS = {"mlo": IMAGE_VIEW.VIEW_PECT, "cc": IMAGE_VIEW.VIEW_NO_PECT}
_NOISES = {name: BG_NOISE(value) for name, value in _norvane.noise_names.items()}
_MUSCLES = {"exact": False, "refined": True}
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

    def __reduce__(self) -> Tuple[Any, ...]:
        return Source, (self._source, self.file)

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
    file = file_name("path", path)
    return _read(file, frame, False, any_modality, decode, image_memory, patient_id, no_identifiers)


def _read(
    file: bytes,
    frame: Optional[int],
    is_pixel_size_given: bool,
    any_modality: bool,
    decode: str,
    image_memory: Optional[int],
    patient_id: bool,
    no_identifiers: bool,
) -> Source:
    page = None if frame is None else whole("frame", frame, 1, 0xFFFFFFFF)
    read_as = (is_pixel_size_given, any_modality, decode, image_memory, patient_id, no_identifiers)
    return Source(_norvane.read(file, page, *read_as), os.fsdecode(file))


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


def _choice(name: str, value: Any, kind: Type[Member], words: Mapping[str, Member]) -> Member:
    """A member of an enumeration, or its word."""
    return word(name, value, words) if isinstance(value, str) else member(name, kind, value)


def _choice_if_any(name: str, value: Any, kind: Type[Member], words: Mapping[str, Member]) -> Optional[Member]:
    """The same, or None."""
    chosen = None if value is None else _choice(name, value, kind, words)
    if chosen == -1:  # SIDE_UNDEFINED, VIEW_UNDEFINED
        raise ValueError(f"{name}: expected None if it is not known")
    return chosen


def _source_of(
    image: Union[PathLike, Samples, Source], used_bits: Optional[int], read_as: Tuple[Any, ...]
) -> Tuple[_norvane.Source, str]:
    """The source and its name; read_as are the arguments of _read() for a file."""
    if isinstance(image, np.ndarray):
        return _norvane.source_of(image, used_bits), "array"
    expected = "a path, a NumPy array or a norvane.Source"
    found = image if isinstance(image, Source) else _read(file_name("image", image, expected), *read_as)
    return found._source, found.file


def analyse(
    image: Union[PathLike, Samples, Source],
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
    noise_word = None if tries_noise else _choice_if_any("noise", noise, BG_NOISE, _NOISES)
    if padding is not None and noise is not None and noise_word != BG_NOISE.BG_GIVEN_LEVEL:
        raise ValueError("padding: expected no noise class with it except BG_GIVEN_LEVEL, the only one that uses it")
    options = {
        "side": _choice_if_any("side", side, IMAGE_SIDE, _SIDES),
        "view": _choice_if_any("view", view, IMAGE_VIEW, _VIEWS),
        "pixel_size": pixel_size,
        "default_side": _choice_if_any("default_side", default_side, IMAGE_SIDE, _SIDES),
        "default_view": _choice_if_any("default_view", default_view, IMAGE_VIEW, _VIEWS),
        "default_pixel_size": default_pixel_size,
        "noise": noise_word,
        "tries_noise": tries_noise,
        "padding": padding,
        "crop": crop,
        "inverted": inverted,
        "refined_muscle": word("muscle", muscle, _MUSCLES),
        "fast": fast,
        "contour": contour,
        "image_memory": image_memory,
    }
    _norvane.check_options(options)
    if used_bits is not None and not isinstance(image, np.ndarray):
        raise ValueError("used_bits: expected only with an array; a file says it itself")
    if (frame is not None or patient_id or no_identifiers) and isinstance(image, (np.ndarray, Source)):
        raise ValueError("frame, patient_id and no_identifiers: expected a file with them")
    shown = None if name is None else file_name("name", name)
    is_size_given = pixel_size is not None or default_pixel_size is not None
    read_as = (frame, is_size_given, any_modality, decode, image_memory, patient_id, no_identifiers)
    try:
        source, file = _source_of(image, used_bits, read_as)
        return Analysis(_norvane.analyse(source, os.fsencode(file) if shown is None else shown, options))
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
    if not isinstance(masks, (Mapping, type(None))):
        raise TypeError(f"masks: expected masks by name, got {type(masks).__name__}")
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
        ("seed", seed, 0, 0xFFFFFFFF),
        ("used_bits", used_bits, 8, 16),
    ):
        whole(name, value, least, most)
    number("pixel_size", pixel_size, 10, 1000)
    chest_wall = _choice("side", side, IMAGE_SIDE, _SIDES)
    projection = _choice("view", view, IMAGE_VIEW, _VIEWS)
    return _norvane.phantom(
        width, height, pixel_size, chest_wall, projection, collimation, digital, seed, used_bits
    )
