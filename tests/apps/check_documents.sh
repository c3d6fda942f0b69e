#!/usr/bin/env bash
# The completion in bash, and the manual page in man, as they were made from the tables of options.
#   tests/apps/check_documents.sh FOLDER
set -uo pipefail # a completion may answer 1
documents=$(realpath "$1")
# shellcheck source=/dev/null
source "$documents/norvane.bash" || exit 1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
mkdir "exam one"
touch exam.png
failed=0

# What is offered for the last word after "norvane", beside what is expected.
offers() {
    local expected=$1
    shift
    COMP_WORDS=(norvane "$@")
    COMP_CWORD=$#
    _norvane
    local offered
    offered=$(printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd' ')
    [ "$offered" = "$expected" ] || { echo "completion of '$*': '$offered' instead of '$expected'"; failed=1; }
}
offers phantom ph
offers 'info masks phantom score' ''
offers '--help --version' --
offers '--csv --help --masks --pixel-size --truth-values' score --
offers '--no-contour --no-identifiers --no-page' masks --no-
offers 'exam one exam.png' masks ex
offers exam.png masks --fast exam.png exam.
offers exam.png masks --manifest exam.
offers 'exam one' masks --out-dir ex
offers json,overlay masks --results json,ov
offers overlay masks --results ov
offers exam.png masks --results json exam.
offers 'mg-raw-2 mg-raw-3' masks --noise mg-raw-
offers 'left right' masks --side '='
offers 'left right' masks --side '=' ''
offers '' masks --jobs ''
offers '' phantom --noise ''
offers exam.png info --side exam.

if command -v man >/dev/null; then
    said=$(man --warnings --encoding=utf8 --local-file "$documents/norvane.1" 2>&1 >page.txt)
    [ -z "$said" ] || { echo "man: $said"; failed=1; }
    for words in '--side left|right' '-0, --null' '--contour, --no-contour' 'seg-joined (DICOM SEG' '--noise SHARE'; do
        grep -qF -e "$words" page.txt || { echo "manual page: '$words' is missing"; failed=1; }
    done
fi
exit $failed
