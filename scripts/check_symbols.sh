#!/usr/bin/env bash
# Checks the binary interface of a built library: the exported symbols are those of tests/package/symbols.txt, the
# soname has the major version, and every public header compiles alone as C++17 with GCC and Clang without a warning.
#   scripts/check_symbols.sh build/release/libnorvane.so [--update]
# If the machine has no Clang, its half is left out, and the script says so.
set -euo pipefail
library=$(realpath "${1:?path of libnorvane.so}")
cd "$(dirname "$0")/.."
list=tests/package/symbols.txt

# Inline variables (type u) appear if a compiler did not fold them; they are not part of the interface.
exported() { nm -D --defined-only "$library" | awk '$2 != "u"' | cut -d' ' -f3- | c++filt | LC_ALL=C sort -u; }
if [ "${2:-}" = --update ]; then exported >"$list"; fi
diff -u "$list" <(exported) || { echo "check_symbols.sh: the exported symbols differ from $list" >&2; exit 1; }

major=$(sed -n 's/^#define NORVANE_VERSION_MAJOR //p' include/norvane/version.h)
readelf -d "$library" | grep -q "SONAME.*\[libnorvane\.so\.$major\]" || { echo "check_symbols.sh: wrong soname" >&2; exit 1; }

compilers=()
for compiler in g++ clang++; do
    if command -v "$compiler" >/dev/null; then compilers+=("$compiler"); else echo "check_symbols.sh: no $compiler here" >&2; fi
done
headers=(include/norvane/*.h)
for compiler in "${compilers[@]}"; do
    for header in "${headers[@]}"; do
        echo "#include <norvane/${header##*/}>" |
            "$compiler" -x c++ -std=c++17 -Iinclude -Wall -Wextra -Wpedantic -Werror -fsyntax-only -
    done
done
echo "binary interface: $(wc -l <"$list") symbols, soname $major, ${#headers[@]} headers alone with ${compilers[*]}"
