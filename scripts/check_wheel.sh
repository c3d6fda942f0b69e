#!/usr/bin/env bash
# Tests the wheel: makes it by the README's command from a copy of the tracked files, installs it into a fresh
# environment of Debian's Python, and imports and runs it away from the sources. Nothing is left behind.
#   scripts/check_wheel.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build python packages
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/sources"
git ls-files -z | xargs -0 cp --parents -t "$work/sources"
cd "$work/sources"
/usr/bin/python3 -m pip wheel -q --no-index --no-build-isolation --no-deps -w "$work" ./python
cd "$work"
/usr/bin/python3 -m venv --system-site-packages env
env/bin/pip install -q --no-index --no-deps norvane-*.whl
env/bin/python - <<'EOF'
import os

import norvane

pixels, _ = norvane.phantom(900, 1200, 200.0)
found = norvane.analyse(pixels, pixel_size=200.0, view="mlo", used_bits=12)
print(norvane.__file__, norvane.__version__, found.status.name)
assert found.status.name == "MASK_OK" and "/env/lib/" in norvane.__file__
assert os.access(os.path.join(os.path.dirname(norvane.__file__), "norvane-decoder"), os.X_OK), "and the decoder beside it"
assert not any("libnorvane" in line for line in open("/proc/self/maps")), "the wheel has the library inside"
EOF
env/bin/norvane phantom phantom.png --view=mlo >/dev/null
env/bin/python -m norvane masks phantom.png --view=mlo --pixel-size=100 --out-dir out
cmp "$work/sources/LICENSE" env/lib/python3*/site-packages/norvane-*.dist-info/LICENSE
for wheel in norvane-*.whl; do echo "$wheel: $(stat -c %s "$wheel") bytes, $SECONDS seconds"; done
