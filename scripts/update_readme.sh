#!/usr/bin/env bash
# Writes what the program declares into the documents, or says whether they differ: the README's tables of options, the
# lists in docs/results.md, and the JSON Schemas.
#   scripts/update_readme.sh [--check] [NORVANE-DOCUMENTS]     the program of the release build without it
set -euo pipefail
cd "$(dirname "$0")/.."
check=false
[ "${1:-}" != --check ] || { check=true; shift; }
program=${1:-build/release/apps/norvane/norvane-documents}
made=$(mktemp)
trap 'rm -f "$made"' EXIT
while read -r kind file; do
    "$program" "$kind" "$file" "$made"
    if $check; then
        diff -u "$file" "$made" || { echo "update_readme.sh: $file is stale; call scripts/update_readme.sh" >&2; exit 1; }
    else
        cat "$made" >"$file"
    fi
done <<'END'
readme README.md
results docs/results.md
result-schema docs/result.schema.json
summary-schema docs/summary.schema.json
END
