# SPDX-License-Identifier: Apache-2.0
"""The examples that read the results of a run. What needs PyTorch is tested if PyTorch is installed."""
import collections
import importlib.util
import os
import pathlib
import subprocess
import sys

import numpy as np
import pytest
from PIL import Image

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "examples"))
import mammogram_data_set as data_set  # noqa: E402

PROGRAM = os.environ["NORVANE_PROGRAM"]
EXAMS = {"a": "--view=mlo", "b": "--view=cc"}


@pytest.fixture(scope="module")
def run(tmp_path_factory):
    folder = tmp_path_factory.mktemp("run")
    for seed, (name, view) in enumerate(EXAMS.items()):
        size = ("--width=401", "--height=503", "--pixel-size=220", "--bits=16", f"--seed={seed}")
        subprocess.run([PROGRAM, "phantom", folder / f"{name}.png", view, *size], check=True, capture_output=True)
        subprocess.run([PROGRAM, "masks", folder / f"{name}.png", view, "--pixel-size=220", "--for=training",
                        "--no-page", "--out-dir", folder / "out"], check=True, capture_output=True)
    return folder


def test_patients_are_not_divided():
    records = [{"patient_id": f"{i % 500}", "study_instance_uid": f"1.{i}", "name": f"{i}"} for i in range(2000)]
    parts = collections.defaultdict(set)
    for record in records:
        parts[data_set.part_of(record)].add(record["patient_id"])
    assert sorted(map(len, parts.values()), reverse=True)[0] == pytest.approx(400, abs=30)
    assert sum(map(len, parts.values())) == 500  # nobody is in two parts
    assert data_set.part_of(records[0], seed=1) in data_set.PARTS
    for missing, identity in (({"patient_id": ""}, "study_instance_uid 1.0"),
                              ({"patient_id": "", "study_instance_uid": ""}, "name 0")):
        assert data_set.identity_of({**records[0], **missing}) == identity


def test_crops_and_labels_fit(run):
    names = [record["name"] for record in data_set.records_of(run / "out", most_doubt=1.0)]
    assert sorted(names) == sorted(EXAMS)
    for name in names:
        source = np.array(Image.open(run / f"{name}.png"))
        image, labels = data_set.pair_of(run / "out", name)
        assert image.shape == labels.shape and image.dtype == np.uint16
        assert not image[labels == 0].any()
        assert set(np.unique(labels)) == ({0, 1, 2} if name == "a" else {0, 1})
        rows, columns = np.nonzero(np.array(Image.open(run / "out" / f"{name}.labels.png")))
        window = source[rows.min():rows.max() + 1, columns.min():columns.max() + 1]
        assert np.array_equal(image, np.where(labels > 0, window, 0))


def check_tensors(run):
    import torch
    folder, size = run / "out", (64, 48)
    data = data_set.MammogramDataSet(folder, "all", size, parts={"all": 1.0})
    assert len(data) == sum(1 for _ in data_set.records_of(folder)) > 0
    for index, record in enumerate(data.records):
        image, labels = data[index]
        assert (image.shape, labels.shape) == ((1, *size), size)
        assert (image.dtype, labels.dtype) == (torch.float32, torch.int64)
        assert 0.0 <= image.min() and 0.5 < image.max() <= 1.0
        whole = data_set.pair_of(folder, record["name"])[1]
        for label in (0, 1, 2):
            assert (labels == label).float().mean() == pytest.approx((whole == label).mean(), abs=0.03)
    ran = subprocess.run([sys.executable, data_set.__file__, folder], capture_output=True, text=True, check=True)
    assert "train: " in ran.stdout and "labels [0, 1" in ran.stdout


if importlib.util.find_spec("torch"):
    test_tensors_for_pytorch = check_tensors
