#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the benchmark program's JSON files as one table."""
import json
import re
import sys

FOUR_TIMES = [("width:1022", "width:2044"), ("size:1022", "size:2044"), ("size:1000", "size:2000"),
              ("size:2", "size:1")]
milliseconds = {}


def growth():
    """How much more four times the pixels cost, for every row that was measured at both sizes."""
    for small, large in FOUR_TIMES:
        for name, ms in milliseconds.items():
            if not re.search(small + r"(?!\d)", name) or not ms:
                continue
            name_of_large = name.replace(small, large)
            if "default_search/" in name and name_of_large not in milliseconds:
                name_of_large = name_of_large.replace("default_search/", "default_search_four_times/")
            if name_of_large in milliseconds:
                ms_of_large = milliseconds[name_of_large]
                ratio = ms_of_large / ms
                print(f"{name:62} {ms:9.2f} {ms_of_large:9.2f} {ratio:7.2f} {4.4:7.1f}        "
                      f"{'yes' if ratio <= 4.4 else 'NO '}")


print(f"{'work':62} {'ours ms':>9} {'theirs ms':>9} {'ratio':>7} {'target':>7} {'aim':>5}  met  besides")
for path in sys.argv[1:]:
    with open(path, encoding="utf-8") as file:
        rows = json.load(file)["benchmarks"]
    for row in rows:
        name = row["name"].replace("/iterations:1/manual_time", "")
        if "error_message" in row:
            print(f"{name:62} {row['error_message']}")
            continue
        ratio = next((k for k in row if k.startswith("x_") and k != "x_memcpy"), "x_memcpy")
        besides = [f"{k} {row[k]:.3g}" for k in ("x_memcpy", "extra_KiB", "peak_images", "decoder", "status")
                   if k in row and k != ratio]
        if "at_least" in row:
            target, met = row["at_least"], row[ratio] >= row["at_least"]
        else:
            target, met = row["at_most"], row[ratio] <= row["at_most"]
        milliseconds[name] = row.get("ours_ms", 0)
        print(f"{name:62} {row.get('ours_ms', 0):9.2f} {row.get('yardstick_ms', 0):9.2f} {row[ratio]:7.2f} "
              f"{target:7.1f} {row.get('aim', 0):5.1f}  {'yes' if met else 'NO ':3}  {ratio[2:]}; {', '.join(besides)}")
print(f"\n{'growth: four times the pixels':62} {'small ms':>9} {'large ms':>9} {'ratio':>7} {'at most':>7}        met")
growth()
