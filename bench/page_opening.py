#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the page of a run costs as it grows: opening it in headless Chromium and filtering it, for 10,000 images
relative to 1,000. The two pages are measured in turn in one browser, and medians count. Ten times the images may cost
at most ten times as much; exits 1 if they cost more.

    page_opening.py TESTS    TESTS is the program with the tests of host/run, which writes the sample
"""
import pathlib
import statistics
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "scripts"))
from check_page import Browser, make_sample, page_of, ready_with  # noqa: E402

SMALL, LARGE = 1000, 10000
CARDS = 2000  # as many as the page puts into the sheet at once
ROUNDS = 9
FILTER = """const text = document.getElementById('text'), begin = performance.now();
for (const value of ['contradicts', '']) {
    text.value = value;
    text.dispatchEvent(new Event('input', {bubbles: true}));
    document.getElementById('sheet').offsetHeight;
}
return (performance.now() - begin) / 1000"""


def main():
    seconds = {(what, count): [] for what in ("open", "filter") for count in (SMALL, LARGE)}
    with tempfile.TemporaryDirectory() as folder:
        sample = make_sample(sys.argv[1], pathlib.Path(folder) / "sample")
        pages = {count: page_of(sample, count) for count in (SMALL, LARGE)}
        browser = Browser()
        for _ in range(ROUNDS):
            for count, page in pages.items():
                seconds["open", count].append(browser.open(page, ready_with(min(count, CARDS))))
                seconds["filter", count].append(browser.run(FILTER))
        browser.close()
    print(f"{'page of a run':20} {f'{SMALL} ms':>9} {f'{LARGE} ms':>9} {'ratio':>7} {'at most':>7}  met")
    is_met = True
    for what in ("open", "filter"):
        small, large = (1000 * statistics.median(seconds[what, count]) for count in (SMALL, LARGE))
        is_met &= large <= LARGE / SMALL * small
        print(f"{what:20} {small:9.1f} {large:9.1f} {large / small:7.2f} {LARGE / SMALL:7.1f}  "
              f"{'yes' if large <= LARGE / SMALL * small else 'NO'}")
    return 0 if is_met else 1


if __name__ == "__main__":
    sys.exit(main())
