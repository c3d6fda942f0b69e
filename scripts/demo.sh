#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Draws the masks of a mammogram, starting from a fresh clone on Debian 12.
#   scripts/demo.sh                                    a synthetic mammogram
#   scripts/demo.sh exam.dcm                           your own, or a folder of them
#   scripts/demo.sh exam.png --view mlo --pixel-size 70   with options of "norvane masks"
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-packages.sh" build

(
    cd "$root"
    # A separate build folder, without the tests and the packages that they need.
    cmake --preset release -B build/demo -DNORVANE_BUILD_TESTS=OFF >/dev/null
    cmake --build build/demo --target norvane-cli
) >&2
norvane=$root/build/demo/apps/norvane/norvane
results=${NORVANE_DEMO_DIR:-norvane-demo}

if [ $# -eq 0 ]; then
    mkdir -p "$results"
    "$norvane" phantom "$results/phantom.png" --labels "$results/phantom.truth.png" >/dev/null
    set -- "$results/phantom.png" --view mlo --pixel-size 100
    echo "No file was given: $results/phantom.png is a synthetic mammogram, phantom.truth.png its labels."
fi
status=0
"$norvane" masks "$@" --out-dir "$results" || status=$?

cat <<END

The results are in $results. report.html shows all images in a browser; for each image NAME there are
   NAME.overlay.png    the picture with its outlines
   NAME.labels.png     labels at the size of the image: 0 background, 1 breast, 2 pectoral muscle
   NAME.json           everything in numbers, with the reasons of the settings
summary.csv has a row an image. NAME.thumb.jpg, NAME.picture.jpg and NAME.layers.js belong to report.html; NAME.done tells
a later run with --resume that nothing is left to do.

The status says how far to trust the masks:
   0  the masks can be used
   1  the breast is smaller than 1/60 of the image        2  no skin line was found
   3  tissue lies outside the mask                        4  too much of the chest-wall side is dark
   5  the background is as bright as the noise level      8  a mask that is needed came out empty
  11  no line of the pectoral muscle was found           12  a line was found and rejected
  13  the view shows no pectoral muscle                  14  the outline was traced along padding values
END
exit $status
