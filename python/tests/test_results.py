# SPDX-License-Identifier: Apache-2.0
"""Results of runs beside the published JSON Schemas, and beside each other."""
import csv
import json
import os
import pathlib
import subprocess

import jsonschema
import numpy as np
import pytest
from PIL import Image

import images
import norvane

PROGRAM = os.environ["NORVANE_PROGRAM"]
DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
SIZE = ("--width", "300", "--height", "400", "--pixel-size", "220")


def closed(schema):
    """The schema without room for members that it does not name."""
    if isinstance(schema, list):
        return [closed(part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    made = {key: closed(value) for key, value in schema.items()}
    return {"additionalProperties": False, **made} if schema.get("type") == "object" else made


def validator(name):
    schema = json.loads((DOCS / name).read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(closed(schema))


@pytest.fixture(scope="module")
def archive(tmp_path_factory):
    folder = tmp_path_factory.mktemp("archive")
    for view in ("mlo", "cc"):
        subprocess.run([PROGRAM, "phantom", folder / f"{view}.png", "--view", view, *SIZE], check=True)
    film, _ = norvane.phantom(300, 400, 228.0, used_bits=12)
    images.dicom(folder / "film.dcm", film, 12, 0.2)
    (folder / "damaged.png").write_bytes((folder / "mlo.png").read_bytes()[:900])
    return folder


def run(folder, out, *options):
    subprocess.run([PROGRAM, "masks", folder, "--out-dir", out, "--results", "json", *options], check=False)
    reports = {file.stem: json.loads(file.read_text()) for file in out.glob("*.json")}
    records = {row["name"]: row for row in map(json.loads, (out / "summary.ndjson").read_text().splitlines())}
    return reports, records


@pytest.mark.parametrize("identifiers", [None, "--patient-id", "--no-identifiers"])
def test_results_fit_their_schemas(archive, tmp_path, identifiers):
    options = ["--pixel-size", "220", *([identifiers] if identifiers else [])]
    of_report, of_record = validator("result.schema.json"), validator("summary.schema.json")
    for view in ("mlo", "cc"):
        reports, records = run(archive, tmp_path / view, "--view", view, *options)
        assert set(reports) == {"mlo", "cc", "film"} and set(records) == {"mlo", "cc", "film", "damaged"}
        assert records["damaged"]["refusal"]
        for report in reports.values():
            of_report.validate(report)
            assert report["schema"] == 1
        for record in records.values():
            of_record.validate(record)
        with (tmp_path / view / "summary.csv").open(newline="") as table:
            assert next(csv.reader(table)) == list(json.loads((DOCS / "summary.schema.json").read_text())["properties"])
        uid = records["film"]["sop_instance_uid"]
        assert uid == ("" if identifiers == "--no-identifiers" else "1.2.3.4")
        said = reports["film"]["header"]["sop_instance_uid"]
        assert (said["value"] if said else "") == uid
        assert records["film"]["laterality"] == "left" and records["film"]["laterality_reason"] == "ImageLaterality"
        assert {name: records["mlo"][name] for name in reports["mlo"]["areas"]} == reports["mlo"]["areas"]
    broken = dict(reports["cc"], areas={"breast_mm2": "wide"})
    assert not of_report.is_valid(broken) and not of_record.is_valid(dict(records["cc"], view=1))


def test_the_patient_is_named_on_request(tmp_path):
    film, _ = norvane.phantom(300, 400, 228.0, used_bits=12)
    images.dicom(tmp_path / "film.dcm", film, 12, 0.2, PatientID="P17")
    assert norvane.read(tmp_path / "film.dcm").patient_id is None
    assert norvane.read(tmp_path / "film.dcm", patient_id=True).patient_id == "P17"
    assert norvane.analyse(tmp_path / "film.dcm", no_identifiers=True).to_dict()["header"]["sop_instance_uid"] is None
    with pytest.raises(ValueError, match="contradicts"):
        norvane.read(tmp_path / "film.dcm", patient_id=True, no_identifiers=True)
    for options, is_there in (([], False), (["--patient-id"], True), (["--no-identifiers"], False)):
        out = tmp_path / "".join(options or ["plain"])
        subprocess.run([PROGRAM, "masks", tmp_path / "film.dcm", "--out-dir", out, "--results", "json,page", *options],
                       check=True)
        tells = {".json", ".csv", ".ndjson", ".html", ".done"} if is_there else set()
        for file in out.iterdir():
            assert (b"P17" in file.read_bytes()) == (file.suffix in tells), (file, options)
    (tmp_path / "other.dcm").write_bytes((tmp_path / "film.dcm").read_bytes())
    later = subprocess.run([PROGRAM, "masks", tmp_path / "other.dcm", "--out-dir", tmp_path / "--patient-id"],
                           stderr=subprocess.PIPE, text=True, check=True)
    assert later.stderr.startswith("norvane: earlier results of 1 image (film) hold identifiers that this run does not")
    assert b"P17" not in (tmp_path / "--patient-id" / "summary.csv").read_bytes()


def pixels_of(segmentation):
    """The text of run lengths, as its description has it: digits of 5 bits, differences from the last but one."""
    counts, at, text = [], 0, segmentation["counts"].encode()
    while at < len(text):
        number, shift, has_more = 0, 0, True
        while has_more:
            digit = text[at] - 48
            number |= (digit & 31) << shift
            shift, has_more, at = shift + 5, bool(digit & 32), at + 1
        if digit & 16:
            number -= 1 << shift
        counts.append(number + (counts[-2] if len(counts) > 2 else 0))
    bits = np.repeat(np.arange(len(counts)) % 2, counts)
    return bits.reshape(segmentation["size"], order="F").astype(bool)


def test_the_coco_data_set_holds_the_labels_of_all_runs(archive, tmp_path):
    for name in ("mlo", "cc"):
        subprocess.run([PROGRAM, "masks", archive / f"{name}.png", "--out-dir", tmp_path, "--view", name,
                        "--pixel-size", "220", "--results", "labels,coco"], check=True)
    data = json.loads((tmp_path / "coco.json").read_text())
    categories = {category["id"]: category["name"] for category in data["categories"]}
    assert categories == {1: "breast", 2: "pectoral muscle"}
    files = {image["id"]: pathlib.Path(image["file_name"]).stem for image in data["images"]}
    assert sorted(files.values()) == ["cc", "mlo"]
    shown = [(files[one["image_id"]], one["category_id"]) for one in data["annotations"]]
    assert sorted(shown) == [("cc", 1), ("mlo", 1), ("mlo", 2)]
    assert len({one["id"] for one in data["annotations"]}) == 3
    for one in data["annotations"]:
        mask = pixels_of(one["segmentation"])
        labels = np.asarray(Image.open(tmp_path / f"{files[one['image_id']]}.labels.png"))
        assert np.array_equal(mask, labels == one["category_id"])
        rows, columns = np.nonzero(mask)
        left, top = columns.min(), rows.min()
        assert one["bbox"] == [left, top, columns.max() + 1 - left, rows.max() + 1 - top]
        assert one["area"] == mask.sum()
    (tmp_path / "cc.coco.json").write_text('{"width": 375')
    again = subprocess.run([PROGRAM, "masks", archive / "mlo.png", "--out-dir", tmp_path, "--view", "mlo",
                            "--pixel-size", "220", "--results", "coco"], stderr=subprocess.PIPE, text=True, check=False)
    assert again.returncode == 1
    assert again.stderr.startswith(f"norvane: {tmp_path}/cc.coco.json is damaged, so the COCO data set leaves its")
    assert len(json.loads((tmp_path / "coco.json").read_text())["images"]) == 1
