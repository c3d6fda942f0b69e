#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""How well the exact and the refined muscle meet labels that somebody drew, one line per image.

    bench/muscle_table.py PROGRAM FOLDER --pixel-size 228 --truth-values breast=128+192,pectoral=255

FOLDER holds images of the view mlo, NAME.png, and their labels, NAME.labels.png.
"""
import argparse
import csv
import pathlib
import subprocess
import tempfile


def dice_of_muscles(arguments: argparse.Namespace, border: str, results: str) -> dict:
    images = [str(path) for path in sorted(arguments.folder.glob("*.png")) if not path.name.endswith(".labels.png")]
    subprocess.run([arguments.program, "masks", *images, "--view", "mlo", "--pixel-size", arguments.pixel_size,
                    "--muscle", border, "--no-page", "-q", "--out-dir", results], check=True,
                   stdout=subprocess.DEVNULL)
    subprocess.run([arguments.program, "score", str(arguments.folder), "--masks", results,
                    "--truth-values", arguments.truth_values], check=True, stdout=subprocess.DEVNULL)
    with open(pathlib.Path(results, "score.csv"), encoding="utf-8") as table:
        return {row["name"]: float(row["dice"]) for row in csv.DictReader(table) if row["region"] == "pectoral"}


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--pixel-size", required=True)
    parser.add_argument("--truth-values", default="breast=1,pectoral=2")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as exact_folder, tempfile.TemporaryDirectory() as refined_folder:
        exact = dice_of_muscles(arguments, "exact", exact_folder)
        refined = dice_of_muscles(arguments, "refined", refined_folder)
    for name, dice in exact.items():
        print(f"{name:40} exact {dice:.4f} refined {refined[name]:.4f} {refined[name] - dice:+.4f}")
    for border, values in (("exact", exact.values()), ("refined", refined.values())):
        print(f"{border}: mean {sum(values) / len(values):.4f}, lowest {min(values):.4f}, "
              f"{sum(value < 0.95 for value in values)} of {len(values)} below 0.95")


if __name__ == "__main__":
    main()
