# SPDX-License-Identifier: Apache-2.0
"""Preparation and mask operations on arrays."""
import concurrent.futures
import copy
import hashlib
import inspect
import pickle
import sys
import threading
import time

import numpy as np
import pytest

import images
import norvane
from norvane import BG_NOISE, IMAGE_SIDE, IMAGE_VIEW, MASK_STATUS, Mask

LEFT_CC = {"side": IMAGE_SIDE.SIDE_CHEST_LEFT, "view": IMAGE_VIEW.VIEW_NO_PECT}
LEFT_MLO = {"side": IMAGE_SIDE.SIDE_CHEST_LEFT, "view": IMAGE_VIEW.VIEW_PECT}


@pytest.fixture(scope="module")
def film():
    """A synthetic film of 12 bits, and what its pixels show."""
    return norvane.phantom(900, 1200, 200.0)


@pytest.fixture(scope="module")
def prepared(film):
    return norvane.prepare(film[0], 200.0, used_bits=12, noise=BG_NOISE.BG_AUTO_COARSE)


def dice(a, b):
    return 2.0 * np.sum(a & b) / (np.sum(a) + np.sum(b))


def test_breast_and_muscle_are_found_where_they_lie(film, prepared):
    pixels, labels = film
    assert prepared.pixels.dtype == np.uint16 and not prepared.pixels.flags.writeable
    assert prepared.shape == (1053, 789) and prepared.scale == pytest.approx(200 / 228)
    full = norvane.full_mask(prepared, **LEFT_MLO)
    assert full.status is MASK_STATUS.MASK_OK and full.status.sentence == "The mask can be used."
    at_source = full["full"].to_array(pixels.shape, 200.0)
    assert at_source.dtype == np.uint8 and set(np.unique(at_source)) == {0, 1}
    assert dice(at_source == 1, labels >= 128) > 0.98

    frame = norvane.frame_mask(prepared, **LEFT_MLO)["frame"]
    breast = norvane.breast_mask(prepared, frame=frame, contourOutput=True, pectContour=True, **LEFT_MLO)
    assert breast["frame"] == frame == full["frame"]
    assert breast.contour.shape == (720, 2) and breast.contour.dtype == np.int32
    muscle = norvane.pect_mask(prepared, breast["breast"], frame=frame, **LEFT_MLO)
    assert muscle.status is MASK_STATUS.MASK_OK
    assert frame.contains(394, 526) and frame.contains(1283, 1713, 70.0)  # leaves no trace in the frame
    assert norvane.full_mask(prepared, frame=frame, **LEFT_MLO).masks == full.masks
    by_hand = Mask.from_array(breast["breast"].to_array(), 228.0)  # the image has 227.9989
    for mask in (breast["breast"], by_hand):
        assert norvane.pect_mask(prepared, mask, frame=frame, **LEFT_MLO).masks == muscle.masks
    assert dice(muscle["pectoral"].to_array(pixels.shape, 200.0) == 1, labels == 255) > 0.8
    patched = norvane.chest_wall_patch(prepared, **LEFT_MLO)
    assert patched.shape == prepared.shape and patched.dtype == np.uint16
    assert not np.array_equal(patched, prepared.pixels)


@pytest.mark.parametrize("resample_first", [True, False])
@pytest.mark.parametrize("used_bits", [12, 16])
@pytest.mark.parametrize("width", [900, 899])
def test_every_arrangement_of_the_same_samples_gives_the_same_image(film, width, used_bits, resample_first):
    plain = np.ascontiguousarray(film[0][:, :width]) << (used_bits - 12)
    wide = np.zeros((plain.shape[0], width + 7), np.uint16)
    wide[:, 3:3 + width] = plain
    odd_address = np.frombuffer(b"\0" + plain.tobytes(), np.uint8)[1:].view(np.uint16).reshape(plain.shape)
    arrangements = {
        "backwards": plain[::-1, ::-1].copy()[::-1, ::-1],
        "columns first": np.asfortranarray(plain),
        "a part of wider rows": wide[:, 3:3 + width],
        "big endian": plain.astype(">u2"),
        "an odd address, read-only": odd_address,
    }

    def prepared(pixels):
        return norvane.prepare(pixels, 200.0, used_bits=used_bits, resample_first=resample_first).pixels

    untouched = plain.copy()
    expected = prepared(plain)
    assert np.array_equal(plain, untouched)
    for name, pixels in arrangements.items():
        assert np.array_equal(prepared(pixels), expected), name
    if used_bits == 12:  # 12 bits at the top of 16: the same but for what resampling rounds
        high = norvane.prepare(plain << 4, 200.0, resample_first=resample_first).pixels
        assert np.max(np.abs(high.astype(int) - expected)) < 16


def test_inverted_samples_and_padding_values(film):
    plain = norvane.prepare(film[0], 200.0, used_bits=12, padding=(0, 70))
    inverted = norvane.prepare(4095 - film[0], 200.0, used_bits=12, inverted=True, padding=(4025, 4095))
    assert np.max(np.abs(plain.pixels.astype(int) - inverted.pixels)) <= 32  # a level of the source
    assert plain.padding == inverted.padding == (0, 70 * 16)


GOOD = np.ones((40, 40), np.uint16)


@pytest.mark.parametrize(
    "pixels, options, error, message",
    [
        ([[1, 2]], {}, TypeError, "expected a NumPy array, got list"),
        (np.ones((40, 40)), {}, TypeError, "uint16 or uint8, got float64"),
        (GOOD.astype(np.int32), {}, TypeError, r"got int32; .* pass pixels.astype\('uint16'\)"),
        (np.ma.masked_less(GOOD, 1), {}, TypeError, "masked"),
        (np.zeros((3, 4, 5), np.uint16), {}, ValueError, r"rows x columns, got the shape \(3, 4, 5\)"),
        (np.broadcast_to(np.uint16(1), (1 << 20, 1 << 20)), {}, ValueError, "at most 2.28"),
        (GOOD, {"pixel_size": float("nan")}, ValueError, "above 0 and at most 228, got nan"),
        (GOOD, {"pixel_size": 228.5}, ValueError, "got 228.5"),
        (GOOD, {"pixel_size": 1e-50}, ValueError, "got 1e-50"),
        (GOOD, {"used_bits": 17}, ValueError, "1 to 16, got 17"),
        (GOOD, {"noise": 77}, ValueError, "noise: expected one of BG_AUTO_COARSE, .*, got 77"),
        (GOOD, {"noise": "mg"}, TypeError, "noise: expected BG_NOISE, got 'mg'"),
        (GOOD, {"padding": (5, 4)}, ValueError, r"got \(5, 4\)"),
        (GOOD, {"padding": 3}, TypeError, "got 3"),
    ],
)
def test_wrong_arguments_are_named(pixels, options, error, message):
    with pytest.raises(error, match=message):
        norvane.prepare(pixels, **{"pixel_size": 100.0, **options})


def test_small_and_strange_images_are_statuses():
    for pixel_size in (228.0, 0.001):
        image = norvane.prepare(np.full((1, 400), 900, np.uint16), pixel_size)
        found = norvane.full_mask(image, **LEFT_MLO)
        assert found.status is not MASK_STATUS.MASK_OK
        assert (found._repr_png_() is not None) == (0 not in image.shape) == (pixel_size > 1.0)
    assert norvane.full_mask(norvane.prepare(GOOD, 228.0)).status is MASK_STATUS.MASK_NO_SIDE


def test_parameters_are_checked_by_field(prepared):
    for fields, error, message in (
        ({"side": "left"}, TypeError, "side: expected IMAGE_SIDE, got 'left'"),
        ({"side": 7}, ValueError, "side: expected one of SIDE_UNDEFINED"),
        ({"noiseLevel": 70000}, ValueError, "noiseLevel: expected 0 to 65535"),
        ({"contourOffset": 1.5}, TypeError, "contourOffset: expected int"),
        ({"fullContour": 1}, TypeError, "fullContour: expected a truth value"),
        ({"colour": 1}, TypeError, "unknown parameter 'colour'"),
        ({"contour_offset": 1.5}, TypeError, "contourOffset: expected int"),
        ({"contour_offset": 1, "contourOffset": 2}, TypeError, "contourOffset: given twice"),
    ):
        with pytest.raises(error, match=message):
            norvane.frame_mask(prepared, **fields)
    fine, sizes = Mask.from_array(np.ones((2000, 1500), bool), 114.0), "frame: .*227.9.*, got one of 114.0"
    for call, error, message in (
        (lambda: norvane.pect_mask(prepared, None), TypeError, "breast: expected norvane.Mask, got None"),
        (lambda: norvane.Masks(MASK_STATUS.MASK_OK, {"full": None}, prepared)._repr_png_(), TypeError, "got None"),
        (lambda: norvane.full_mask(prepared, frame=fine, **LEFT_MLO), ValueError, sizes),
        (lambda: norvane.pect_mask(prepared, fine, **LEFT_MLO), ValueError, "breast: expected a mask of"),
    ):
        with pytest.raises(error, match=message):
            call()
    asked = norvane.Params(**LEFT_MLO, bgNoise=prepared.noise, fullContour=True)
    assert norvane.full_mask(prepared, asked)["full"] == norvane.full_mask(prepared, **LEFT_MLO)["full"]
    assert norvane.full_mask(prepared, asked, contour_offset=9)["outer"] != norvane.full_mask(prepared, asked)["outer"]


def test_every_argument_of_a_wrong_type_is_named(film, prepared):
    mask = Mask.from_array(GOOD, 228.0)
    found = norvane.analyse(film[0], view="mlo", pixel_size=200, used_bits=12)
    for call, good in (
        (norvane.prepare, {"pixels": GOOD, "pixel_size": 228.0}),
        (norvane.analyse, {"image": "absent.png", "used_bits": None}),
        (norvane.read, {"path": "absent.png"}),
        (norvane.read_marks, {"table": "absent.csv"}),
        (norvane.phantom, {}),
        (norvane.overlay, {"picture": prepared}),
        (norvane.Params, {}),
        (norvane.pect_mask, {"image": prepared, "breast": mask}),
        *((operation, {"image": prepared}) for operation in (
            norvane.frame_mask, norvane.breast_mask, norvane.full_mask, norvane.chest_wall_patch)),
        (Mask.from_runs, {"runs": [[1, 5, 6]], "pixel_size": 228.0}),
        (Mask.from_array, {"array": GOOD, "pixel_size": 228.0}),
        (mask.to_array, {}),
        (mask.contains, {"x": 1, "y": 2}),
        (found.source_mask, {"name": "full"}),
    ):
        for name in inspect.signature(call).parameters:  # help() shows the same
            if name not in ("fields", "used_bits"):  # any parameter; refused together with a file
                with pytest.raises(TypeError, match=f"^{name}: expected "):
                    call(**{**good, name: object()})


def random_bits(seed, shape=(37, 53)):
    rng = np.random.default_rng(seed)
    return rng.random(shape) < rng.choice([0.1, 0.5, 0.9])


@pytest.mark.parametrize("seed", range(6))
def test_a_mask_is_its_bitmap(seed):
    bits, others = random_bits(seed), random_bits(seed + 100)
    mask, other = Mask.from_array(bits, 228.0), Mask.from_array(others, 228.0)
    assert np.array_equal(mask.to_array(), bits)
    assert np.asarray(mask).dtype == bool and np.array_equal(mask, bits)
    assert np.array_equal((mask & other).to_array(), bits & others)
    assert np.array_equal((mask | other).to_array(), bits | others)
    assert np.array_equal((mask - other).to_array(), bits & ~others)
    assert mask.area == bits.sum() and mask.area_mm2 == pytest.approx(bits.sum() * 0.228**2)
    rows, columns = np.nonzero(bits)
    assert mask.bounds == (columns.min(), rows.min(), columns.max(), rows.max())
    assert mask.bbox == (rows.min(), columns.min(), rows.max() + 1, columns.max() + 1)
    assert mask.sha256 == hashlib.sha256(bits.astype(np.uint8).tobytes()).hexdigest()
    runs = mask.runs()
    drawn = np.zeros_like(bits)
    for row, first, last in runs:
        drawn[row, first:last + 1] = True
    assert np.array_equal(drawn, bits)
    assert Mask.from_runs(runs[::-1].astype(np.uint64), 228.0, bits.shape) == mask == pickle.loads(pickle.dumps(mask))
    coco = mask.to_coco()
    values = np.repeat(np.arange(len(coco["counts"])) % 2, coco["counts"])
    assert np.array_equal(values.reshape(coco["size"][::-1]).T, bits)
    hits = [[mask.contains(x, y, 100.0) for x in range(140)] for y in range(90)]
    assert np.array_equal(mask.to_array((90, 140), 100.0), hits)
    assert mask.to_array(pixel_size=114.0).shape == (74, 106)
    assert mask._repr_png_().startswith(b"\x89PNG")


def test_what_is_no_mask_is_refused():
    mask, coarse = Mask.from_array(random_bits(1), 228.0), Mask.from_array(random_bits(1), 100.0)
    empty = mask - mask
    assert (empty.bounds, empty.bbox, empty.centroid(), empty.area) == (None, None, None, 0)
    assert empty.runs().shape == (0, 3)
    assert mask.to_array((0, 7)).shape == (0, 7) and not mask.contains(-1, 0)
    assert Mask.from_runs([[2, 3, 5], [2, 6, 6]], 228.0).runs().tolist() == [[2, 3, 6]]
    for call, error in (
        (lambda: mask & coarse, ValueError),
        (lambda: mask & 3, TypeError),
        (Mask, TypeError),
        (lambda: object.__new__(type("Own", (Mask,), {})), TypeError),
        (lambda: Mask.from_runs([[1, 5, 4]], 228.0), ValueError),
        (lambda: Mask.from_runs([[1, 5]], 228.0), ValueError),
        (lambda: Mask.from_runs([[1, 5, 6]], float("nan")), ValueError),
        (lambda: Mask.from_runs([[1, 5, 6]], 228.0, (2, 6)), ValueError),
        (lambda: Mask.from_runs([[1, 5, 6.5]], 228.0), TypeError),
        (lambda: Mask.from_runs(np.full((1, 3), 2**64 - 1, np.uint64), 228.0), ValueError),
        (lambda: Mask.from_array(np.ma.masked_equal(GOOD, 1), 228.0), TypeError),
        (lambda: mask.to_array((-1, 5)), ValueError),
        (lambda: mask.to_array(5), TypeError),
        (lambda: mask.to_array(pixel_size=1e-9), ValueError),
    ):
        with pytest.raises(error):
            call()


def test_results_pickle(prepared):
    found = norvane.full_mask(prepared, **LEFT_MLO)
    again = pickle.loads(pickle.dumps(found))
    assert again.status is found.status and again.masks == found.masks
    assert np.array_equal(again.image.pixels, prepared.pixels) and again.image.noise is prepared.noise
    assert norvane.full_mask(again.image, **LEFT_MLO).masks == found.masks


def test_a_process_pool_takes_sources_and_gives_analyses(tmp_path, film):
    images.dicom(tmp_path / "film.dcm", film[0], 12, 0.2)
    source = norvane.read(tmp_path / "film.dcm")
    here = norvane.analyse(source, noise="auto", muscle="refined")
    with concurrent.futures.ProcessPoolExecutor(1) as pool:
        there = pool.submit(norvane.analyse, source, noise="auto", muscle="refined").result()
        with pytest.raises(norvane.Refusal, match="absent.png does not exist"):
            pool.submit(norvane.read, "absent.png").result()
    for one in (there, copy.copy(here), copy.deepcopy(here)):
        assert one.to_json() == here.to_json() and one.masks == here.masks and one.areas == here.areas
        assert one._repr_png_() == here._repr_png_() and np.array_equal(one.labels(), here.labels())
        assert np.array_equal(one.image.pixels, here.image.pixels) and one.image.scale == here.image.scale
    again = copy.deepcopy(source)
    assert again.file == source.file and again._facts == source._facts and np.array_equal(again.pixels, source.pixels)
    function, arguments, state = source._source.__reduce_ex__(4)[:3]
    with pytest.raises(ValueError, match="was made by norvane 0.1, and this is"):
        function(*arguments).__setstate__(("0.1", state[1]))


@pytest.mark.parametrize(
    "call",
    [
        lambda film, _: norvane.prepare(film[0], 200.0, used_bits=12),
        lambda _, prepared: norvane.full_mask(prepared, **LEFT_MLO),
        lambda film, _: norvane.analyse(film[0], view="mlo", pixel_size=200, used_bits=12, noise=BG_NOISE.BG_MG),
        lambda _, prepared: Mask.from_array(random_bits(2), 228.0).to_array((3000, 3000), 10.0),
    ],
)
def test_other_threads_go_on_meanwhile(film, prepared, call):
    """Nobody is made to hand the lock over, so the other thread counts during a call only if the call lets it."""
    is_over, counts = threading.Event(), [0]

    def count():
        while not is_over.is_set():
            counts[0] += 1
            time.sleep(0)  # hands the lock over by itself

    switch_interval = sys.getswitchinterval()
    counter = threading.Thread(target=count)
    try:
        sys.setswitchinterval(1000.0)
        counter.start()
        for _ in range(1000):
            before = counts[0]
            call(film, prepared)
            if counts[0] > before:
                return
        pytest.fail("the other thread never went on")
    finally:
        is_over.set()
        sys.setswitchinterval(switch_interval)
        counter.join()
