#!/usr/bin/env bash
# Form and faults that need no run: who includes whom, clang-format, and clang-tidy on the sources named (all of src/ and
# tools/ without arguments; "--no-tidy" leaves it out, since it takes minutes).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build lint
python3 scripts/check_layers.py
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror
if [ "${1:-}" = --no-tidy ]; then echo "lint: no findings (without clang-tidy)"; exit; fi
cmake --preset dev >/dev/null
if [ $# -gt 0 ]; then files=("$@"); else mapfile -t files < <(git ls-files 'src/*.cpp' 'tools/*.cpp'); fi
printf '%s\n' "${files[@]}" | xargs -P"$(nproc)" -n4 clang-tidy -p build/dev --quiet 2>/dev/null
echo "lint: no findings"
