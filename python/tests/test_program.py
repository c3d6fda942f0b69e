# SPDX-License-Identifier: Apache-2.0
"""The module beside the program: the same text, the same bytes."""
import json
import os
import pickle
import pathlib
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import images
import norvane
from norvane import _batch, _norvane

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from trial import differences  # noqa: E402
PROGRAM = os.environ["NORVANE_PROGRAM"]


def run_program(*arguments):
    return subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True, check=False)


@pytest.fixture(scope="module")
def archive(tmp_path_factory):
    """A folder with every format, in both sides and views, and what else lies in archives."""
    folder = tmp_path_factory.mktemp("archive")
    film, _ = norvane.phantom(300, 400, 228.0, used_bits=12)
    images.pgm(folder / "film.pgm", film, 12)
    images.tiff(folder / "film.tif", film << 4)
    images.dicom(folder / "film.dcm", film, 12, 0.2)
    digital, _ = norvane.phantom(301, 400, 228.0, side="right", view="cc", digital=True, collimation=False)
    images.png(folder / "digital.png", digital << 4)
    padded = np.zeros((460, 400), np.uint8)  # film inside the black border of its scanner
    padded[30:430, 50:350] = norvane.phantom(300, 400, 228.0, used_bits=8, collimation=False)[0]
    images.png(folder / "padded.png", padded)
    (folder / "below").mkdir()
    (folder / "below" / "damaged.png").write_bytes((folder / "digital.png").read_bytes()[:900])
    (folder / "notes.txt").write_text("no image")
    return folder


def test_marks_are_read_as_the_page_exports_them(tmp_path):
    (tmp_path / "marks.csv").write_text('file,mark,note\n"a, b.png",bad,"too ""low"""\n./-c.png,,\'=1\n')
    assert norvane.read_marks(tmp_path / "marks.csv") == [("a, b.png", "bad", 'too "low"'), ("./-c.png", "", "=1")]
    with pytest.raises(norvane.Refusal, match="no column mark"):
        (tmp_path / "list").write_text("file\na.png\n")
        norvane.read_marks(tmp_path / "list")


def made_by_module(folder, run):
    with ThreadPoolExecutor(4) as pool:
        records = list(pool.map(run.make, run.inputs))
    failures, _ = run.finish(records)
    assert failures == []
    return records


def rows_of(folder):
    return [json.loads(line) for line in (folder / "summary.ndjson").read_text().splitlines()]


OPTIONS = {"view": "mlo", "pixel_size": 228, "results": "json,overlay,labels,masks,page"}


def words_of(**options):
    """Options as the command line has them."""
    words = []
    for name, value in options.items():
        words += [f"--{name.replace('_', '-')}"] + ([] if value is True else [value])
    return words


def test_a_run_of_the_module_is_a_run_of_the_program(archive, tmp_path):
    theirs, ours = tmp_path / "program", tmp_path / "module"
    ran = run_program("masks", archive, *words_of(**OPTIONS), "--out-dir", theirs, "--fail-list", theirs / "failed.txt")
    assert ran.returncode == 1, ran.stderr  # a file is damaged
    options = {**OPTIONS, "out_dir": ours, "fail_list": ours / "failed.txt"}
    run = _batch.Run([archive], **options)
    assert run.passed_over == 1
    records = made_by_module(ours, pickle.loads(pickle.dumps(run)))
    assert not list(differences(theirs, ours))
    assert rows_of(ours) == records

    # Either takes up what the other has made, however the values are written in Python.
    as_values = {"view": "mlo", "pixel_size": 228.0, "results": ["json", "overlay,labels", "masks", "page"]}
    again = made_by_module(theirs, _batch.Run([archive], **as_values, out_dir=theirs, resume=True, fast=False))
    assert [record["kept"] for record in again] == [not record["refusal"] for record in records]
    assert "5 kept" in run_program("masks", archive, *words_of(**OPTIONS, out_dir=ours, resume=True)).stdout
    for other in ({"fast": True}, {"contour": False}):
        changed = _batch.Run([archive], **OPTIONS, **other, out_dir=theirs, resume=True)
        assert not any(changed.make(one)["kept"] for one in changed.inputs[:2])
    parts = [_batch.Run([archive], **options, shard=f"{k}/3").inputs for k in (1, 2, 3)]
    assert sorted(one for part in parts for one in part) == sorted(run.inputs)


@pytest.mark.parametrize(
    "options, error, message",
    [
        ({"view": "sideways"}, ValueError, "view: 'sideways' is none of mlo, cc"),
        ({"view": os.fsdecode(b"\xff")}, ValueError, "view: '\udcff' is none"),
        ({"padding": "0:7", "noise": "mg"}, ValueError, "padding: contradicts --noise mg"),
        ({"inverted": "yes"}, TypeError, "invert: expected True or False"),  # as analyse() calls it
        ({"sideways": 1}, TypeError, "sideways: no such option; there are any_modality, .*, view"),
        ({"dry_run": True}, TypeError, "dry_run: no such option"),
        ({"manifest": "there is none"}, norvane.Refusal, "cannot be opened"),
    ],
)
def test_wrong_options_of_a_run(tmp_path, options, error, message):
    with pytest.raises(error, match=message):
        _batch.Run(["x.png"], out_dir=tmp_path, **options)


def test_names_of_files_are_bytes(tmp_path):
    odd = os.fsdecode(b"no \xff such.png")  # a name that is not UTF-8
    refusal = norvane.analyse(odd).refusal
    with pytest.raises(norvane.Refusal) as refused:
        norvane.read(odd)
    assert odd in refusal and str(refused.value) == refusal
    drawn = tmp_path / "drawn.png"
    images.png(drawn, norvane.phantom(300, 400, 228.0)[0])
    longer = f"{drawn}\0.txt"  # the system would open the file whose name ends at the NUL
    for use in (
        norvane.read,
        lambda name: _batch.Run([name], out_dir="out"),
        lambda name: _batch.Run([drawn], out_dir=name),
        lambda name: _norvane.read(os.fsencode(name), None, False, False, "isolated", None, False, False),
    ):
        with pytest.raises(ValueError, match="embedded null byte"):
            use(longer)
    run = _batch.Run([odd], out_dir=tmp_path / "out")
    assert run.inputs[0].file == odd and run.make(run.inputs[0])["file"] == odd
    assert len(made_by_module(tmp_path / "out", run)) == len(rows_of(tmp_path / "out")) == 1


def same_as_program(file, folder, options):
    """The JSON, the overlay and the labels of one file, made both ways."""
    words = {"view": "--view", "side": "--side", "pixel_size": "--pixel-size", "noise": "--noise"}
    arguments = [text for name, value in options.items() if name in words for text in (words[name], value)]
    arguments += ["--fast"] * ("fast" in options) + ["--no-contour"] * ("contour" in options)
    arguments += ["--crop", "none"] * ("crop" in options)
    if "padding" in options:
        arguments += ["--padding", "%d:%d" % options["padding"]]
    ran = run_program("masks", file, *arguments, "--out-dir", folder, "--no-page")
    found = norvane.analyse(file, **options)
    if ran.returncode != 0:
        assert found.status is norvane.MASK_STATUS.MASK_NO_IMAGE
        assert ran.stderr.startswith("norvane: " + found.refusal.partition(": give")[0])
        return False
    (report,) = folder.glob("*.json")
    stem = report.name[: -len(".json")]
    assert found.to_json() == report.read_text()
    assert found._repr_png_() == (folder / f"{stem}.overlay.png").read_bytes()
    assert np.array_equal(found.labels(), norvane.read(folder / f"{stem}.labels.png").pixels)
    written = json.loads(report.read_text())
    assert {name: mask.sha256 for name, mask in found.masks.items()} == {
        name: mask["sha256"] for name, mask in written["masks"].items()
    }
    muscle = found.source_mask("pectoral")
    assert np.array_equal(np.maximum(found.source_mask("breast"), 2 * muscle), found.labels())
    assert found.status == written["status"]["number"] and found.image.noise.value == found.image._image._noise
    return True


@pytest.mark.parametrize(
    "name, options, is_made",
    [
        ("film.dcm", {}, True),
        ("film.dcm", {"side": "right", "fast": True, "contour": False}, True),
        ("film.pgm", {"view": "mlo", "pixel_size": 228, "noise": "auto-coarse"}, True),
        ("film.tif", {"view": "mlo", "pixel_size": 200, "padding": (0, 500)}, True),
        ("padded.png", {"view": "mlo", "pixel_size": 228, "crop": False}, True),
        ("digital.png", {"view": "cc"}, False),
        ("below/damaged.png", {"view": "mlo", "pixel_size": 228}, False),
    ],
)
def test_one_file_is_what_the_program_makes_of_it(archive, tmp_path, name, options, is_made):
    assert same_as_program(archive / name, tmp_path, options) == is_made


def test_arrays_and_sources_are_analysed_like_files(archive):
    file = archive / "film.pgm"
    source = norvane.read(file)
    assert source.pixels.dtype == np.uint16 and not source.pixels.flags.writeable and source.used_bits == 12
    options = {"view": "mlo", "pixel_size": 228}
    expected = norvane.analyse(file, **options)
    assert norvane.analyse(source, **options).to_json() == expected.to_json()
    from_array = norvane.analyse(np.asfortranarray(source.pixels), used_bits=12, name=str(file), **options)
    assert from_array.to_json() == expected.to_json().replace('"format": "PGM"', '"format": "array"')
    dicom = norvane.read(archive / "film.dcm")
    assert (dicom.view, dicom.laterality, dicom.pixel_size) == (norvane.IMAGE_VIEW.VIEW_PECT, "left", 200.0)
    assert dicom.said_by["view"] == "ViewPosition MLO" and np.array_equal(dicom.pixels, source.pixels)
    with ThreadPoolExecutor(8) as pool:  # one source, its header included, serves many threads
        made = set(pool.map(lambda _: norvane.analyse(dicom).to_json(), range(16)))
    assert made == {norvane.analyse(archive / "film.dcm").to_json()}


def test_wrong_options_are_errors_and_refused_images_are_not(archive):
    pixels = np.ones((64, 64), np.uint16)
    for image, options, error, message in (
        (pixels, {"view": "oblique"}, ValueError, "view: expected one of mlo, cc, got 'oblique'"),
        (pixels, {"noise": 12}, ValueError, "noise: expected one of BG_AUTO_COARSE"),
        (pixels, {"padding": (0, 1), "noise": "mg"}, ValueError, "padding"),
        (pixels, {"frame": 1}, ValueError, "frame"),
        (pixels * 4096, {"used_bits": 12, "view": "cc", "pixel_size": 70}, ValueError, "samples of 12 bits, got 4096"),
        (archive / "film.pgm", {"used_bits": 12}, ValueError, "used_bits"),
        (pixels, {"default_pixel_size": 0}, ValueError, "default_pixel_size: expected micrometres above 0, got 0"),
        (pixels, {"image_memory": -1}, TypeError, "image_memory: expected MiB .*, got -1"),
        (pixels, {"padding": (None, "x")}, TypeError, "padding: expected two grey values"),
    ):
        with pytest.raises(error, match=message):
            norvane.analyse(image, **options)
    refused = norvane.analyse(pixels)
    assert refused.status is norvane.MASK_STATUS.MASK_NO_IMAGE and "does not say its view" in refused.refusal
    assert refused.masks == {} and refused._repr_png_() is None
    for call in (refused.to_json, refused.raise_for_refusal):
        with pytest.raises(norvane.Refusal, match="does not say its view"):
            call()
    for options, words in (
        ({}, "does not say its view: give default_view='mlo' or default_view='cc'"),
        ({"view": "cc"}, "does not say its pixel size: give default_pixel_size in micrometres"),
        ({"view": "cc", "pixel_size": 70, "noise": "given-level"}, "give padding=(low, high)"),
        ({"view": "cc", "pixel_size": 228}, "give default_side"),
    ):
        assert norvane.analyse(pixels, **options).refusal.endswith(words)
    with pytest.raises(norvane.Refusal, match="damaged.png"):
        norvane.read(archive / "below" / "damaged.png")


def test_overlays_are_pictures_of_their_masks():
    pixels, _ = norvane.phantom(300, 400, 228.0)
    image = norvane.prepare(pixels, 228.0, used_bits=12)
    mask = norvane.Mask.from_runs([[row, 50, 149] for row in range(100, 200)], image.pixel_size, image.shape)
    plain, drawn = norvane.overlay(image), norvane.overlay(image, {"breast": mask})
    assert plain.shape == (400, 300, 3) and np.array_equal(plain[..., 0], image.pixels >> 8)
    rows, columns = np.nonzero((plain != drawn).any(axis=2))
    assert 97 <= rows.min() <= 100 and 199 <= rows.max() <= 202 and 47 <= columns.min() and columns.max() <= 152
    assert norvane.overlay(image, zoom=0.5).shape == (200, 150, 3)
    for arguments, options in (((image, {"nose": mask}), {}), ((image,), {"zoom": 1e9}), ((image,), {"zoom": 0.0})):
        with pytest.raises(ValueError):
            norvane.overlay(*arguments, **options)
