#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the benchmark program's JSON files as one table."""
import json
import sys

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
        besides = [f"{k} {row[k]:.3g}" for k in ("x_memcpy", "extra_KiB", "peak_images", "status") if k in row and k != ratio]
        if "at_least" in row:
            target, met = row["at_least"], row[ratio] >= row["at_least"]
        else:
            target, met = row["at_most"], row[ratio] <= row["at_most"]
        print(f"{name:62} {row.get('ours_ms', 0):9.2f} {row.get('yardstick_ms', 0):9.2f} {row[ratio]:7.2f} {target:7.1f} "
              f"{row.get('aim', 0):5.1f}  {'yes' if met else 'NO ':3}  {ratio[2:]}; {', '.join(besides)}")
