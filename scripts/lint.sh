#!/usr/bin/env bash
# Form and faults that need no run: who includes whom, lengths of functions and files, clang-format, cppcheck, and clang-tidy
# on the sources named, or on all of src/, tools/, python/ and fuzz/ (minutes).
#   scripts/lint.sh [--no-tidy | --quick] [source...]
# --no-tidy: all but clang-tidy; --quick: without its path analyser, which takes a third of its time.
set -euo pipefail
cd "$(dirname "$0")/.."
checks=
tidies=true
case ${1:-} in
    --quick) checks="-clang-analyzer-*"; shift ;;
    --no-tidy) tidies=false; shift ;;
esac
scripts/install-packages.sh build test lint python
python3 scripts/check_layers.py
python3 scripts/check_lengths.py
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror
# Not asked: public signatures are fixed and pass parameters by value; samples are words in a buffer of bytes; an image
# releases its own buffer in its constructors; and the check of statements without effect takes indexed assignments for some.
cppcheck --quiet --error-exitcode=1 --inline-suppr --enable=warning,performance,portability --std=c++20 --language=c++ \
    -Iinclude -Isrc -Itools/norvane -Itests --suppress=passedByValue --suppress=invalidPointerCast \
    --suppress=virtualCallInConstructor --suppress=constStatement src tools python/src fuzz
$tidies || { echo "lint: no findings (without clang-tidy)"; exit; }
cmake --preset dev -DNORVANE_BUILD_PYTHON=ON >/dev/null
if [ $# -gt 0 ]; then files=("$@"); else mapfile -t files < <(git ls-files {src,tools,python,fuzz}/'*.cpp'); fi
printf '%s\n' "${files[@]}" | xargs -P"$(nproc)" -n4 clang-tidy -p build/dev --quiet --checks="$checks" 2>/dev/null
echo "lint: no findings"
