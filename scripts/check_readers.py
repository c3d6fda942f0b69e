#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Opens DICOM segmentations of each kind in readers of other projects and prints a table: does each reader see exactly
the pixels that the program found? scripts/check_readers.sh calls it with the program and the folder in which npm put
the readers:

    check_readers.py NORVANE FOLDER

Exits 1 if an object breaks a rule of the standard, or if a reader that should read it exactly does not."""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

import numpy as np
import pydicom
from PIL import Image

HERE = pathlib.Path(__file__).resolve().parent
MAMMOGRAM = "1.2.840.10008.5.1.4.1.1.1.2"
WIDTH, HEIGHT = 1001, 1303  # no multiple of 8, so that rows and frames begin within a byte
PIXEL_SIZE_MM = 0.163
PHANTOMS = (("left", "mlo"), ("right", "cc"))
# The forms of the objects, with the options and the readers that are known not to read them.
FORMS = {
    "no geometry": ((), {"@cornerstonejs/adapters", "@itk-wasm/dicom"}),
    "viewer": (("--seg-geometry=viewer",), set()),
    "viewer, deflate": (("--seg-geometry=viewer", "--seg-compression=deflate"), {"@itk-wasm/dicom"}),
    "viewer, label map": (("--seg-geometry=viewer", "--seg-type=labelmap"),
                          {"dciodvfy", "@cornerstonejs/adapters", "@itk-wasm/dicom"}),
    "viewer, label map, rle": (("--seg-geometry=viewer", "--seg-type=labelmap", "--seg-compression=rle"),
                               {"dciodvfy", "@cornerstonejs/adapters", "@itk-wasm/dicom"}),
}
KINDS = ("seg", "seg-joined")
VALIDATOR = "dciodvfy"
NPM_READERS = ("dcmjs", "@cornerstonejs/adapters", "@itk-wasm/dicom")
READERS = (VALIDATOR, "pydicom", *NPM_READERS)
GOOD = {"exact", "silent"}


def run_quietly(*command):
    subprocess.run([str(word) for word in command], check=True, stdout=subprocess.DEVNULL)


def mammogram(norvane, folder, number, side, view):
    """A phantom as a DICOM file, and what a viewer knows about it."""
    picture = folder / f"{side}-{view}.png"
    run_quietly(norvane, "phantom", picture, f"--side={side}", f"--view={view}", "--bits=16", f"--width={WIDTH}",
                f"--height={HEIGHT}", f"--pixel-size={PIXEL_SIZE_MM * 1000}")
    pixels = np.array(Image.open(picture)).astype("<u2")
    uid = f"1.2.{number}"
    image = pydicom.Dataset()
    for field, value in dict(
        SOPClassUID=MAMMOGRAM, SOPInstanceUID=uid, StudyInstanceUID=uid + ".1", SeriesInstanceUID=uid + ".2",
        PatientID="phantom", StudyDate="20200229", StudyTime="0815", StudyID="1", Modality="MG",
        PresentationIntentType="FOR PRESENTATION", ViewPosition=view.upper(), ImageLaterality=side[0].upper(),
        ImagerPixelSpacing=[PIXEL_SIZE_MM] * 2, SamplesPerPixel=1,
        PhotometricInterpretation="MONOCHROME2", Rows=HEIGHT, Columns=WIDTH, BitsAllocated=16, BitsStored=16,
        HighBit=15, PixelRepresentation=0, PixelData=pixels.tobytes(),
    ).items():
        setattr(image, field, value)
    image.file_meta = pydicom.dataset.FileMetaDataset()
    image.file_meta.TransferSyntaxUID = pydicom.uid.ExplicitVRLittleEndian
    image.is_little_endian, image.is_implicit_VR = True, False
    file = folder / f"{side}-{view}.dcm"
    image.save_as(file, write_like_original=False)
    return file, {"uid": uid, "series": uid + ".2", "rows": HEIGHT, "columns": WIDTH}


def on_source(report, name):
    """A mask of the JSON on the pixels of the source, by the rule that the JSON states."""
    geometry = report["geometry"]
    working, crop = geometry["working"], geometry["crop"]
    mask = np.zeros((working["height"], working["width"]), np.uint8)
    for row, *ends in report["masks"][name]["rows"]:
        for first, last in zip(ends[::2], ends[1::2]):
            mask[row, first:last + 1] = 1
    scale = geometry["source"]["pixel_size_um"], working["pixel_size_um"]

    def places(count, most):
        found = np.minimum(np.floor(np.arange(count) * scale[0] / scale[1] + 0.5).astype(int), most - 1)
        found[-1] = most - 1
        return found

    whole = np.zeros((geometry["source"]["height"], geometry["source"]["width"]), np.uint8)
    whole[crop["y"]:crop["y"] + crop["height"], crop["x"]:crop["x"] + crop["width"]] = mask[
        np.ix_(places(crop["height"], working["height"]), places(crop["width"], working["width"]))]
    return whole


def read_by_pydicom(file):
    seg = pydicom.dcmread(file)
    pixels = seg.pixel_array.reshape(-1, seg.Rows, seg.Columns)
    if seg.SegmentationType == "LABELMAP":
        return pixels[0]
    labels = np.zeros(pixels.shape[1:], np.uint8)
    for frame, groups in zip(pixels, seg.PerFrameFunctionalGroupsSequence):
        labels[frame != 0] = groups.SegmentIdentificationSequence[0].ReferencedSegmentNumber
    return labels


def complaints(file):
    """What the validator finds. It does not inflate."""
    copy = file
    if pydicom.filereader.read_file_meta_info(file).TransferSyntaxUID.is_deflated:
        copy = f"{file}.inflated"
        inflated = pydicom.dcmread(file)
        inflated.file_meta.TransferSyntaxUID = pydicom.uid.ExplicitVRLittleEndian
        inflated.save_as(copy)
    said = subprocess.run([VALIDATOR, copy], capture_output=True, text=True, check=False)
    return [line for line in (said.stdout + said.stderr).splitlines() if "Error" in line or "Warning" in line]


def cases_of(norvane, folder):
    """Objects of each kind in each form, with the labels that every reader should see."""
    for number, (side, view) in enumerate(PHANTOMS):
        image, source = mammogram(norvane, folder, number, side, view)
        for form, (options, _) in FORMS.items():
            out = folder / f"{image.stem}-{form}".replace(" ", "-")
            run_quietly(norvane, "masks", image, "--out-dir", out, "--no-page", "--quiet",
                        f"--results=json,labels,{','.join(KINDS)}", *options)
            report = json.loads((out / f"{image.stem}.json").read_text())
            expected = {"seg": np.array(Image.open(out / f"{image.stem}.labels.png")),
                        "seg-joined": on_source(report, "full")}
            assert np.array_equal(expected["seg"] > 0, on_source(report, "breast") | on_source(report, "pectoral"))
            for kind in KINDS:
                yield {"name": f"{side} {view}, {kind}, {form}", "file": str(out / f"{image.stem}.{kind}.dcm"),
                       "source": source, "labels": str(out / kind), "form": form, "expected": expected[kind]}


def read_by_npm(readers, cases, folder):
    """What each reader of npm sees in each case: labels, or a refusal."""
    shutil.copy(HERE / "check_readers.mjs", readers)  # a module finds packages only beside itself
    listed, answers = folder / "cases.json", folder / "answers.json"
    listed.write_text(json.dumps([{key: case[key] for key in ("file", "source", "labels")} for case in cases]))
    ran = subprocess.run(["node", readers / "check_readers.mjs", listed, answers], capture_output=True, text=True,
                         check=False)  # the readers log a lot
    if ran.returncode != 0:
        sys.exit(f"check_readers.py: node failed: {ran.stderr[-2000:]}")
    seen = {}
    for one in json.loads(answers.read_text()):
        file = pathlib.Path(f"{one['labels']}.{one['reader'].replace('/', '-')}")
        seen[one["labels"], one["reader"]] = one["refusal"] or np.fromfile(file, np.uint8)
    return seen


def verdict(seen, expected):
    if isinstance(seen, str):
        return f"refuses: {seen}"
    wrong = np.count_nonzero(seen != expected.ravel()) if seen.size == expected.size else None
    return "exact" if wrong == 0 else "other size" if wrong is None else f"{wrong} pixels differ"


def main(norvane, readers):
    faults = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        cases = list(cases_of(norvane, folder))
        seen = read_by_npm(pathlib.Path(readers), cases, folder)
        print("| object | bytes |", " | ".join(READERS), "|\n|---|---|" + "---|" * len(READERS))
        for case in cases:
            found = {VALIDATOR: next(iter(complaints(case["file"])), "silent"),
                     "pydicom": verdict(read_by_pydicom(case["file"]).ravel(), case["expected"]),
                     **{one: verdict(seen[case["labels"], one], case["expected"]) for one in NPM_READERS}}
            print(f"| {case['name']} | {pathlib.Path(case['file']).stat().st_size} |",
                  " | ".join(found[one] for one in READERS), "|")
            faults += sum(found[one] not in GOOD for one in set(READERS) - FORMS[case["form"]][1])
    print(f"{faults} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
