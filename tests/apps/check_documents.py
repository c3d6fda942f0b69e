#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Manual page and completion for bash name the options that --help names, verb by verb, and their listed values.

    tests/apps/check_documents.py PROGRAM
"""
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
MANUAL = ROOT / "docs" / "man" / "norvane.1"
COMPLETION = ROOT / "apps" / "norvane" / "completion" / "norvane.bash"
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")


def options_of_help(program, verb):
    """Each option with its listed values, an empty set for others."""
    text = subprocess.run([program, *verb, "--help"], capture_output=True, text=True, check=True).stdout
    options = {}
    for line in re.findall(r"^  (-\S.*)$", text, re.MULTILINE):
        names = line.split("  ")[0]
        values = re.search(r"TEXT:{(.*?)}", names)
        for name in OPTION.findall(names):
            options[name] = set(values.group(1).split(",")) if values else set()
    return options


def sections_of_manual():
    text = re.sub(r"\\f[A-Z]", "", MANUAL.read_text().replace("\\-", "-"))
    parts = re.split(r"^\.SH (.*)$", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def complete(words, folder):
    """What bash offers for the last word of a command line."""
    script = f'source "{COMPLETION}"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _norvane'
    script += '; printf "%s\\n" "${COMPREPLY[@]}"'
    ran = subprocess.run(["bash", "-c", script, "bash", *words], cwd=folder, capture_output=True, text=True, check=True)
    assert not ran.stderr, ran.stderr
    return set(ran.stdout.split())


def check_verb(program, verb, manual, folder):
    options = options_of_help(program, [verb] if verb else [])
    assert "--help" in options, f"the help of '{verb}' was not understood"
    documented = "\n".join(re.findall(r"^\.TP\n(.*)$", manual, re.MULTILINE))
    named = set(OPTION.findall(documented)) | {"--help"}  # which all verbs have
    assert named == set(options), f"manual of '{verb}': {named ^ set(options)}"
    line = ["norvane", verb] if verb else ["norvane"]
    offered = complete([*line, "--"], folder)
    assert offered == set(options), f"completion of '{verb}': {offered ^ set(options)}"
    for option, values in options.items():
        if not values:
            continue
        unnamed = {value for value in values if not re.search(rf"(?<![\w-]){value}(?![\w-])", manual)}
        assert not unnamed, f"manual of {verb} {option}: {unnamed}"
        for given in ([option, ""], [option, "=", ""], [option, "="]):  # bash takes --option=value for three words
            offered = complete([*line, *given], folder)
            assert offered == values, f"completion of {verb} {given}: {offered ^ values}"


def check_words(folder):
    (folder / "exam one").mkdir()
    (folder / "exam.png").touch()
    names = {"exam", "one", "exam.png"}  # as complete() splits them
    table = [
        (["ph"], {"phantom"}),
        ([""], {"masks", "info", "score", "phantom"}),
        (["masks", "ex"], names),
        (["masks", "--fast", "exam.png", "exam."], {"exam.png"}),
        (["masks", "--manifest", "exam."], {"exam.png"}),
        (["masks", "--out-dir", "ex"], {"exam", "one"}),
        (["masks", "--results", "json,ov"], {"json,overlay"}),
        (["masks", "--results", "json", "exam."], {"exam.png"}),
        (["masks", "--noise", "mg-raw-"], {"mg-raw-2", "mg-raw-3"}),
        (["masks", "--jobs", ""], set()),
        (["phantom", "--noise", ""], set()),
        (["info", "--side", "exam."], {"exam.png"}),
    ]
    for words, expected in table:
        offered = complete(["norvane", *words], folder)
        assert offered == expected, f"completion of {words}: {offered}"


def main():
    program = str(pathlib.Path(sys.argv[1]).resolve())
    sections = sections_of_manual()
    with tempfile.TemporaryDirectory() as folder:
        for verb in ("", "masks", "info", "score", "phantom"):
            check_verb(program, verb, sections[verb.upper() or "OPTIONS"], folder)
        check_words(pathlib.Path(folder))
    print("manual page and completion name what --help names")


if __name__ == "__main__":
    main()
