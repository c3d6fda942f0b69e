#!/usr/bin/env bash
# Writes the tables of options in the README from those of the program. With --check, only says whether they differ.
#   scripts/update_readme.sh [--check] [NORVANE-DOCUMENTS]     default: the program of the release build
set -euo pipefail
cd "$(dirname "$0")/.."
check=false
[ "${1:-}" != --check ] || { check=true; shift; }
made=$(mktemp)
trap 'rm -f "$made"' EXIT
"${1:-build/release/apps/norvane/norvane-documents}" readme README.md "$made"
if $check; then
    diff -u README.md "$made" || { echo "update_readme.sh: README.md is stale; call scripts/update_readme.sh" >&2; exit 1; }
else
    cat "$made" >README.md
fi
