#!/usr/bin/env bash
# Runs the static checks. The parts are layers (who includes whom), lengths (of functions and files), format
# (clang-format), cppcheck, python (pyflakes, pycodestyle), shell (shellcheck), javascript (eslint), and tidy
# (clang-tidy).
#   scripts/lint.sh [--no-tidy | --quick] [source...]    every part; tidy checks the named sources, or all of src/,
#                                                        host/, apps/, python/ and fuzz/ (about 20 minutes of processor time)
#   scripts/lint.sh --part PART                          one part only; installs nothing
# --no-tidy: everything except clang-tidy; --quick: without its path analyser, which takes a third of its time.
set -euo pipefail
cd "$(dirname "$0")/.."

part_layers() { python3 scripts/check_layers.py; }
part_lengths() { python3 scripts/check_lengths.py; }
part_format() { git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror; }

# Suppressed, because public signatures are fixed and pass parameters by value, samples are words in a buffer of bytes,
# an image releases its own buffer in its constructors, and indexed assignments are mistaken for statements without
# effect.
part_cppcheck() {
    cppcheck --quiet --error-exitcode=1 --inline-suppr --enable=warning,performance,portability --std=c++20 --language=c++ \
        -Iinclude -Isrc -Ihost -Iapps/norvane -Itests --suppress=passedByValue --suppress=invalidPointerCast \
        --suppress=virtualCallInConstructor --suppress=constStatement src host apps python/src fuzz
}

part_python() {
    git ls-files '*.py' | xargs pyflakes3
    git ls-files '*.py' | xargs pycodestyle --max-line-length=120
}

# Excluded, because single quotes keep patterns and the scripts of other shells unchanged (SC2016), and Slurm sets
# variables that look misspelt (SC2153).
part_shell() { git grep -lE '^#!.*\b(ba)?sh$' -- ':!*.md' | xargs shellcheck --exclude=SC2016,SC2153; }

# The rules are in .eslintrc.js. If Node.js is not Debian's, it does not find Debian's modules by itself.
part_javascript() { git ls-files '*.js' 'web/*.mjs' ':!.eslintrc.js' | NODE_PATH=/usr/share/nodejs xargs eslint --format unix --max-warnings 0; }

checks=
part_tidy() {
    cmake --preset dev -DNORVANE_BUILD_PYTHON=ON >/dev/null
    local files=("$@")
    [ $# -gt 0 ] || mapfile -t files < <(git ls-files {src,host,apps,python,fuzz}/'*.cpp')
    printf '%s\n' "${files[@]}" | xargs -P"$(nproc)" -n4 clang-tidy -p build/dev --quiet --checks="$checks" 2>/dev/null
}

parts=(layers lengths format cppcheck python shell javascript tidy)
case ${1:-} in
    --quick) checks="-clang-analyzer-*"; shift ;;
    --no-tidy) unset 'parts[-1]'; shift ;;
    --part) parts=("$2"); shift 2 ;;
esac
[ ${#parts[@]} -eq 1 ] || scripts/install-packages.sh build test lint python
for part in "${parts[@]}"; do "part_$part" "$@"; done
echo "lint: no findings (${parts[*]})"
