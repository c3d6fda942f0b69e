# SPDX-License-Identifier: Apache-2.0
"""The results of a run as a data set for PyTorch.

    norvane masks archive/ --for training --patient-id --out-dir run
    python3 mammogram_data_set.py run

The run needs the kinds labels and crop (--for training writes both). An example is a pair of tensors of one size: the
image as 1 x HEIGHT x WIDTH of float32, 1 being its brightest sample, and the labels as HEIGHT x WIDTH of int64 (0
nothing, 1 breast, 2 pectoral muscle). The image is NAME.crop.png, the breast on black. The labels are cut out of
NAME.labels.png accordingly.

Images of one patient belong to one part. The patient is known if the run was made with --patient-id. Otherwise the
study takes its place, and if the identifiers are not known either, each image is on its own.
"""
import hashlib
import json
import pathlib
import sys

import numpy as np
from PIL import Image

PARTS = {"train": 0.8, "validation": 0.1, "test": 0.1}
IDENTITIES = ("patient_id", "study_instance_uid", "name")  # the first one that a record holds


def identity_of(record):
    """What must not be in two parts."""
    return next(f"{field} {record[field]}" for field in IDENTITIES if record.get(field))


def part_of(record, parts=PARTS, seed=0):
    """The part to which an image belongs. It depends on nothing but its patient and the seed, so images that are added
    later do not move the others."""
    digest = hashlib.sha256(f"{seed} {identity_of(record)}".encode()).digest()
    place = int.from_bytes(digest[:8], "big") / 2**64 * sum(parts.values())
    for name, share in parts.items():
        place -= share
        if place < 0:
            return name
    return name


def records_of(folder, most_doubt=0.5):
    """The rows of summary.ndjson whose masks can be used."""
    lines = (pathlib.Path(folder) / "summary.ndjson").read_text().splitlines()
    records = [json.loads(line) for line in lines]
    return [one for one in records if not one["refusal"] and one["status"] == 0
            and max(one["breast_doubt"] or 0, one["muscle_doubt"] or 0) <= most_doubt]


def pair_of(folder, name):
    """The crop and its labels as arrays of one size, uint16 and uint8."""
    stem = pathlib.Path(folder) / name
    image = np.array(Image.open(f"{stem}.crop.png")).astype(np.uint16)
    labels = np.array(Image.open(f"{stem}.labels.png"))
    rows, columns = np.nonzero(labels.any(axis=1))[0], np.nonzero(labels.any(axis=0))[0]
    if rows.size:  # otherwise the crop is the whole image
        labels = labels[rows[0]:rows[-1] + 1, columns[0]:columns[-1] + 1]
    if labels.shape != image.shape:
        raise ValueError(f"{stem}: the crop and the labels are not of one run")
    return image, labels


class MammogramDataSet:
    """A data set in PyTorch's sense: it has a length, and an index gives an image and its labels."""

    def __init__(self, folder, part="train", size=(512, 384), parts=None, seed=0):
        """folder: that of the results. size: height and width of the tensors; crops are scaled to it. parts: names and
        shares, PARTS without it. Raises FileNotFoundError if the folder is none of a run."""
        self.folder, self.size = folder, tuple(size)
        self.records = [one for one in records_of(folder) if part_of(one, parts or PARTS, seed) == part]

    def __len__(self):
        return len(self.records)

    def __getitem__(self, index):
        import torch  # here, so that the rest of this file works without it
        from torch.nn.functional import interpolate
        image, labels = pair_of(self.folder, self.records[index]["name"])
        grey = torch.from_numpy(image.astype(np.float32) / max(int(image.max()), 1))
        grey = interpolate(grey[None, None], self.size, mode="bilinear", align_corners=False, antialias=True)[0]
        marks = torch.from_numpy(labels)[None, None].float()
        return grey.clamp(0, 1), interpolate(marks, self.size, mode="nearest")[0, 0].long()


def main(folder):
    from torch.utils.data import DataLoader
    for part in PARTS:
        data = MammogramDataSet(folder, part)
        print(f"{part}: {len(data)} images of {len({identity_of(one) for one in data.records})} patients or studies")
        for images, labels in DataLoader(data, batch_size=4):
            print("   ", tuple(images.shape), tuple(labels.shape), "labels", labels.unique().tolist())


if __name__ == "__main__":
    main(sys.argv[1])
