# SPDX-License-Identifier: Apache-2.0
"""Results in DICOM, read back by pydicom and looked at by the validator of dicom3tools."""
import json
import os
import pathlib
import subprocess
import sys

import numpy as np
import pydicom
import pytest
from PIL import Image, ImageDraw

import images

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from check_readers import complaints, on_source, read_by_pydicom, run_quietly  # noqa: E402

PROGRAM = os.environ["NORVANE_PROGRAM"]
WIDTH, HEIGHT, PIXEL_SIZE_UM = 801, 1043, 200.0  # no multiples of 8
SOURCE = "1.2.3.4"
IDENTITY = {"StudyInstanceUID": "1.2.3", "SeriesInstanceUID": "1.2.3.1", "PatientID": "17", "PatientName": "Doe^Jane",
            "StudyDate": "20200229", "StudyTime": "0815", "StudyID": "4", "AccessionNumber": "A1"}
WINDOW = {"WindowCenter": 30000, "WindowWidth": 50000, "VOILUTFunction": "SIGMOID"}
SECRETS = ("1.2.3", "Doe", "20200229")


def masks(image, folder, results, *options):
    """Makes results. Returns the files in DICOM by their kinds."""
    run_quietly(PROGRAM, "masks", image, "--out-dir", folder, "--no-page", "--quiet", f"--results={results}", *options)
    return {file.name.split(".")[1]: file for file in sorted(folder.glob(f"{image.stem}.*.dcm"))}


@pytest.fixture(scope="module")
def exams(tmp_path_factory):
    """A left breast with muscle and a right one without, each with its report, labels and overlay."""
    folder = tmp_path_factory.mktemp("exams")
    made = {}
    for side, view in (("left", "mlo"), ("right", "cc")):
        drawn = folder / f"{side}.png"
        run_quietly(PROGRAM, "phantom", drawn, f"--side={side}", f"--view={view}", "--bits=16", f"--width={WIDTH}",
                    f"--height={HEIGHT}", f"--pixel-size={PIXEL_SIZE_UM}")
        image = folder / f"{side}.dcm"
        fields = {**IDENTITY, **WINDOW, "ViewPosition": view.upper(), "ImageLaterality": side[0].upper()}
        images.dicom(image, np.array(Image.open(drawn)), 16, PIXEL_SIZE_UM / 1000, **fields)
        masks(image, folder / "out", "json,labels,overlay")
        made[side] = image, folder / "out" / side
    return made


def result(stem, ending):
    return stem.with_name(f"{stem.name}.{ending}")


def pixels(stem, name):
    return np.array(Image.open(result(stem, f"{name}.png")))


def report_of(stem):
    return json.loads(result(stem, "json").read_text())


@pytest.mark.parametrize("side", ["left", "right"])
@pytest.mark.parametrize("options, is_validated", [
    ((), True),
    (("--seg-geometry=viewer",), True),
    (("--seg-compression=deflate",), True),
    (("--seg-type=labelmap",), False),  # the validator is older than label maps
    (("--seg-type=labelmap", "--seg-compression=rle", "--seg-geometry=viewer"), False),
    (("--seg-type=labelmap", "--seg-compression=deflate"), False),
])
def test_seg_is_the_labels_in_every_form(exams, tmp_path, side, options, is_validated):
    image, stem = exams[side]
    expected = {"seg": pixels(stem, "labels"), "seg-joined": on_source(report_of(stem), "full")}
    for kind, file in masks(image, tmp_path, "seg,seg-joined", *options).items():
        assert np.array_equal(read_by_pydicom(file), expected[kind]), kind
        assert not is_validated or not complaints(file)
        seg = pydicom.dcmread(file)
        numbers = {segment.SegmentNumber for segment in seg.SegmentSequence}
        is_map = "--seg-type=labelmap" in options
        assert numbers == {*range(0 if is_map else 1, 3 if (side, kind) == ("left", "seg") else 2)}
        assert seg.SOPClassUID.endswith(".66.7" if is_map else ".66.4") and file.stat().st_size % 2 == 0
        if is_map:
            assert (seg.NumberOfFrames, seg.BitsAllocated, seg.PixelPaddingValue) == (1, 8, 0)
            assert numbers >= set(np.unique(seg.pixel_array))
            assert "SegmentIdentificationSequence" not in seg.PerFrameFunctionalGroupsSequence[0]


def content_of(item):
    """The content of a report as (name, value) of each item, in order."""
    value = {"TEXT": "TextValue", "UIDREF": "UID", "CODE": "ConceptCodeSequence", "NUM": "MeasuredValueSequence",
             "IMAGE": "ReferencedSOPSequence"}.get(item.ValueType)
    if value:
        found = item[value].value if value != "UID" else item.UID
        yield item.ConceptNameCodeSequence[0].CodeMeaning if "ConceptNameCodeSequence" in item else "", found
    for child in item.get("ContentSequence", []):
        yield from content_of(child)


def groups_of(report):
    (measurements,) = (one for one in report.ContentSequence
                       if one.ConceptNameCodeSequence[0].CodeMeaning == "Imaging Measurements")
    return [list(content_of(group)) for group in measurements.ContentSequence]


def test_reports_say_what_the_json_says(exams, tmp_path):
    for side, (image, stem) in exams.items():
        made = masks(image, tmp_path / side, "seg,sr")
        # The validator knows no private scheme of codes.
        assert not [line for line in complaints(made["sr"]) if "<99NORVANE>" not in line]
        report, seg, said = pydicom.dcmread(made["sr"]), pydicom.dcmread(made["seg"]), report_of(stem)
        assert (report.SOPClassUID, report.CompletionFlag) == ("1.2.840.10008.5.1.4.1.1.88.33", "COMPLETE")
        expected = [("breast", "breast_mm2", "breast"), ("pectoral", "muscle_mm2", "muscle"),
                    ("full", "breast_with_muscle_mm2", None)]
        groups = groups_of(report)
        assert len(groups) == (3 if side == "left" else 1)
        for number, (group, (mask, area, doubt)) in enumerate(zip(groups, expected), 1):
            facts = dict(group)
            assert float(facts["Area"][0].NumericValue) == pytest.approx(said["areas"][area], rel=1e-9)
            assert facts["Area"][0].MeasurementUnitsCodeSequence[0].CodeValue == "mm2"
            if doubt:
                found = float(facts["Doubt, from 0 to 1"][0].NumericValue)
                assert found == pytest.approx(said["doubt"][doubt], rel=1e-9, abs=1e-9)
                assert facts["Referenced Segment"][0].ReferencedSOPInstanceUID == seg.SOPInstanceUID
                assert facts["Referenced Segment"][0].ReferencedSegmentNumber == number
            status = said["masks"][mask]["status"]
            assert facts["Status of the mask"] == f"{status['name']}: {status['sentence']}"
            assert (facts["Algorithm Name"], facts["Algorithm Version"]) == ("Norvane", said["program"]["version"])
            assert facts["Source of Measurement"][0].ReferencedSOPInstanceUID == SOURCE
            assert facts["Laterality"][0].CodeMeaning == side.capitalize()
        facts = dict(content_of(report))
        assert facts["View"].startswith(said["settings"]["view"]["value"] + ": ")
        assert facts["Border of the image at which the chest wall lies"].startswith(side + ": ")
        evidence = [one.ReferencedSOPSequence[0].ReferencedSOPInstanceUID
                    for one in report.CurrentRequestedProcedureEvidenceSequence[0].ReferencedSeriesSequence]
        assert sorted(evidence) == sorted([SOURCE, seg.SOPInstanceUID])
        dumped = subprocess.run(["dsrdump", made["sr"]], capture_output=True, text=True, check=True)
        assert "Imaging Measurement Report" in dumped.stdout and "Error" not in dumped.stderr


def test_a_muscle_that_was_not_found_measures_nothing(exams, tmp_path):
    image = tmp_path / "missed.dcm"
    shown = pydicom.dcmread(exams["right"][0])
    shown.ViewPosition = "MLO"
    shown.save_as(image)
    made = masks(image, tmp_path, "sr,gsps")
    assert not [line for line in complaints(made["sr"]) if "<99NORVANE>" not in line]
    breast, muscle = (dict(group) for group in groups_of(pydicom.dcmread(made["sr"])))
    assert breast["Area"] and breast["Status of the mask"].startswith("MASK_OK")
    assert not muscle["Area"] and muscle["Status of the mask"].startswith("MASK_PECT")
    layers = pydicom.dcmread(made["gsps"]).GraphicLayerSequence
    assert [layer.GraphicLayerDescription for layer in layers] == ["Breast, MASK_OK"]


def drawn(state, layer):
    """The inside of the outlines of a layer, as a mask of the source."""
    picture = Image.new("1", (WIDTH, HEIGHT))
    for annotation in state.GraphicAnnotationSequence:
        if annotation.GraphicLayer == layer:
            for graphic in annotation.GraphicObjectSequence:
                assert len(graphic.GraphicData) == 2 * graphic.NumberOfGraphicPoints
                corners = np.reshape(graphic.GraphicData, (-1, 2)) - 0.5  # the first pixel begins at 0
                ImageDraw.Draw(picture).polygon([tuple(corner) for corner in corners], fill=1)
    return np.array(picture)


def dice(a, b):
    return 2 * np.count_nonzero(a & b) / (np.count_nonzero(a) + np.count_nonzero(b))


def test_presentation_states_draw_the_masks(exams, tmp_path):
    for side, (image, stem) in exams.items():
        file = masks(image, tmp_path / side, "gsps")["gsps"]
        assert not complaints(file)
        state, said = pydicom.dcmread(file), report_of(stem)
        layers = {"BREAST": "breast", "PECTORAL": "pectoral"} if side == "left" else {"BREAST": "breast"}
        assert [layer.GraphicLayer for layer in state.GraphicLayerSequence] == [*layers]
        for layer, mask in layers.items():
            assert dice(drawn(state, layer), on_source(said, mask) != 0) > 0.99, layer
        corners = np.reshape([int(n) for n in state.VerticesOfThePolygonalShutter], (-1, 2))[:, ::-1] - 1
        shown = Image.new("1", (WIDTH, HEIGHT))
        ImageDraw.Draw(shown).polygon([tuple(map(int, corner)) for corner in corners], fill=1)
        field = on_source(said, "frame") != 0
        assert state.ShutterShape == "POLYGONAL" and dice(np.array(shown), field) > 0.999
        assert not (np.array(shown) & ~field).any()
        (series,) = state.ReferencedSeriesSequence
        assert series.SeriesInstanceUID == IDENTITY["SeriesInstanceUID"]
        assert series.ReferencedImageSequence[0].ReferencedSOPInstanceUID == SOURCE
        shown_window = state.SoftcopyVOILUTSequence[0]
        assert {name: shown_window[name].value for name in WINDOW} == WINDOW
        assert state.PresentationLUTShape == "IDENTITY"
        assert list(state.DisplayedAreaSelectionSequence[0].DisplayedAreaBottomRightHandCorner) == [WIDTH, HEIGHT]


def test_secondary_captures_are_the_overlay(exams, tmp_path):
    for side, (image, stem) in exams.items():
        file = masks(image, tmp_path / side, "sc")["sc"]
        assert not complaints(file)
        capture = pydicom.dcmread(file)
        assert np.array_equal(capture.pixel_array, np.array(Image.open(result(stem, "overlay.png")).convert("RGB")))
        assert capture.SourceImageSequence[0].ReferencedSOPInstanceUID == SOURCE


def test_objects_are_the_same_in_every_run_and_name_nobody_on_request(exams, tmp_path):
    image, _ = exams["left"]
    first, second = (masks(image, tmp_path / name, "seg,seg-joined,sr,gsps,sc") for name in ("first", "second"))
    nameless = masks(image, tmp_path / "nameless", "seg,seg-joined,sr,sc", "--no-identifiers")
    assert len(first) == 5 and len(nameless) == 4
    studies = set()
    for kind, file in first.items():
        assert file.read_bytes() == second[kind].read_bytes(), kind
        named = pydicom.dcmread(file)
        kept = {name: value for name, value in IDENTITY.items() if name != "SeriesInstanceUID"}
        assert {name: named[name].value for name in kept} == kept
        if kind not in nameless:
            continue
        other = pydicom.dcmread(nameless[kind])
        assert other.SOPInstanceUID != named.SOPInstanceUID
        assert (other.PatientIdentityRemoved, other.PatientID, other.StudyTime) == ("YES", "", "")
        found = [text for text in SECRETS if text.encode() in nameless[kind].read_bytes()]
        assert not found, kind
        studies.add(other.StudyInstanceUID)
    assert len(studies) == 1
    command = [PROGRAM, "masks", image, "--out-dir", tmp_path / "none", "--results=gsps", "--no-identifiers"]
    refused = subprocess.run([*map(str, command)], capture_output=True, text=True, check=False)
    assert refused.returncode == 2 and "no-identifiers" in refused.stderr


@pytest.mark.parametrize("purpose, extra, endings", [
    ("archive", (), {"seg.dcm", "sr.dcm"}),
    ("station", ("--results=sc,sr",), {"gsps.dcm", "sr.dcm", "sc.dcm"}),
    ("training", (), {"labels.png", "crop.png", "coco.json"}),
])
def test_profiles_write_what_a_dry_run_shows(exams, tmp_path, purpose, extra, endings):
    image, _ = exams["left"]
    command = [PROGRAM, "masks", str(image), "--out-dir", str(tmp_path / "out"), "--for", purpose, *extra]
    foreseen = subprocess.run([*command, "--dry-run"], capture_output=True, text=True, check=True).stdout
    assert not (tmp_path / "out").exists()
    (kinds,) = (line for line in foreseen.splitlines() if line.startswith("Kinds of results: "))
    assert {ending.split(".")[0] for ending in endings} == set(kinds.split(": ")[1].split(", "))
    run_quietly(*command, "--no-page")
    assert {f"left.{ending}" for ending in endings} == {file.name for file in (tmp_path / "out").glob("left.*")} - {
        "left.done"}
