#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures the strength of the tests: changes one operator or constant at a time and counts the changes they notice.

    scripts/check_mutations.py --changes 400 --seed 1 --report report.jsonl
    scripts/check_mutations.py --only host/ --changes 200 --at-least 80
    scripts/check_mutations.py --again report.jsonl     # the survivors once more, after the tests were sharpened

If a run is interrupted, the same command with the same report continues it.

Lines of src/ or of host/ are drawn at random. change_points() lists what can be changed in a line. The changed file,
or every file that includes a changed header, is compiled into separate objects, which are linked before the library of
an unchanged build (-O1). Then the test programs that contain the change are run. For src/ these are the programs of
all its rooms, beginning with the room's own, each with and without the wide inner loops. For host/ they are those that
HOST_TESTS names, with decoders made of the changed objects. A change is noticed if a test fails, if it crashes, or if
it takes five times as long as usual. Changes that do not compile do not count, nor do those whose objects equal the
unchanged ones. Fails below --at-least. If the system allows it, the tests run in separate namespaces, so that a
changed call cannot end other processes.

BUILD_ROOT holds a copy of the sources and its build (default: build/mutations). Runs at the same time need one each.
The work tree is only read.
"""
import argparse
import collections
import itertools
import json
import math
import os
import pathlib
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
ROOMS = ["model", "platform", "imaging", "preparation", "field", "levels", "contour", "muscle", "wall", "checks",
         "interface", "c_interface"]
HOST_TESTS = {  # The first entry that fits applies. The quickest programs that should notice come first.
    "host/io/decoding/": ["host_decoding", "host_io"],
    "host/io/": ["host_io", "apps"],
    "host/findings/": ["host_findings", "apps", "host_export"],
    "host/export/": ["host_export", "host_run"],
    "host/run/": ["host_run", "apps"],
    "host/score/": ["host_run", "apps"],
    "host/phantom/": ["host_export", "host_findings", "host_run"],
}
HOST_ROOMS = sorted(set(itertools.chain(*HOST_TESTS.values())))
WORKERS = {"norvane-decoder": "host/norvane-decoder", "misbehaving_decoder": "tests/misbehaving_decoder"}
APART = ["unshare", *([] if os.geteuid() == 0 else ["--map-current-user", "--keep-caps"]), "--pid", "--fork",
         "--kill-child", "--mount-proc", "sh", "-c", '"$@"; exit $?', "sh"]
BASELINE = {"NORVANE_TEST_BASELINE": "1"}
NOTICED, SURVIVED, EQUAL, REFUSED = "noticed", "survived", "same object code", "does not compile"
COMPILE_SECONDS, MEMORY_BYTES, FILE_BYTES = 120, 4 << 30, 256 << 20

# ---- What can be changed ----

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*|"(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])+'|\[\[.*?\]\]|\s+)
      |(?P<float>\d[\d']*\.\d*(?:[eE][+-]?\d+)?[fFlL]?|\d+[eE][+-]?\d+[fFlL]?)
      |(?P<int>0[xX][\da-fA-F']+[uUlLzZ]*|\d[\d']*[uUlLzZ]*)
      |(?P<word>[A-Za-z_]\w*)
      |(?P<op><=>|<<=|>>=|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)""",
    re.VERBOSE | re.MULTILINE | re.DOTALL)
SWAPS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "+": "-", "-": "+", "*": "/", "/": "*",
         "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "&&": "||", "||": "&&"}
WORD_SWAPS = {"true": "false", "false": "true"}
OTHER_END = {"min": "max", "max": "min", "min_element": "max_element", "max_element": "min_element"}
NO_STATEMENT = set("return if for while switch case default do else using static const constexpr auto struct class "
                   "template typename namespace delete throw sizeof static_assert operator".split())
STATEMENT_BEFORE = (";", "{", "}", ")", "else")
BRACKETS = {"(": ")", "[": "]", "{": "}"}
LONGEST_CALL_LINES = 4

Token = collections.namedtuple("Token", "kind text start")
Change = collections.namedtuple("Change", "file line text start before after rule")  # text: of the whole line


def line_at(text, at):
    return text[text.rfind("\n", 0, at) + 1:].split("\n", 1)[0]


def end_of(token):
    return token.start + len(token.text)


def tokens_of(text):
    found = (Token(m.lastgroup, m.group(), m.start()) for m in TOKEN.finditer(text))
    return [t for t in found if t.kind != "skip"]


def closing(tokens, i):
    """The index of the bracket that closes the one at i."""
    close, depth = BRACKETS[tokens[i].text], 0
    for j in range(i, len(tokens)):
        depth += (tokens[j].text == tokens[i].text) - (tokens[j].text == close)
        if depth == 0:
            return j
    return len(tokens) - 1


def closing_angle(tokens, i):
    depth = 0
    for j in range(i, len(tokens)):
        depth += {"<": 1, ">": -1, ">>": -2}.get(tokens[j].text, 0)
        if depth <= 0:
            return j
    return len(tokens) - 1


def opens_angle(tokens, i, text):
    """Comparisons have blanks on both sides; the brackets of templates have none before them."""
    if tokens[i].text != "<" or i == 0 or tokens[i - 1].text == "operator":
        return False
    return tokens[i - 1].text == "template" or not text[tokens[i].start - 1].isspace()


def left_alone(tokens, text):
    """The indices of tokens in the angle brackets of templates and in static_assert."""
    alone = set()
    for i, token in enumerate(tokens):
        if opens_angle(tokens, i, text):
            alone.update(range(i, closing_angle(tokens, i) + 1))
        elif token.text == "static_assert":
            alone.update(range(i, closing(tokens, i + 1) + 1))
    return alone


def end_of_call_statement(tokens, i, text):
    """The index of the semicolon where a statement that is nothing but a call starts at i, else None."""
    if tokens[i].text in NO_STATEMENT or not (i == 0 or tokens[i - 1].text in STATEMENT_BEFORE):
        return None
    j, after_word = i, False
    while j < len(tokens):
        token = tokens[j]
        if token.text == ";":
            return j if j > i and tokens[j - 1].text == ")" else None
        if token.kind == "word":
            if after_word:
                return None
            after_word = True
        elif token.text in ("(", "["):
            j, after_word = closing(tokens, j), False
        elif opens_angle(tokens, j, text):
            j, after_word = closing_angle(tokens, j), True
        elif token.text in ("::", ".", "->"):
            after_word = False
        else:
            return None
        j += 1
    return None


def in_parentheses(tokens, i):
    """Whether the header of a loop ends here. Changing its step would only make the loop endless."""
    j = i
    while tokens[j].text not in (";", ")"):
        j = closing(tokens, j) + 1 if tokens[j].text in BRACKETS else j + 1
    return tokens[j].text == ")"


def other_numbers(token):
    """One more and one less, or a tenth."""
    if token.kind == "int":
        is_hex = token.text[:2].lower() == "0x"
        suffix = re.search(r"[uUlLzZ]*$", token.text).group()
        value = int(token.text.removesuffix(suffix).replace("'", ""), 16 if is_hex else 10)
        return [f"{v}{suffix}" for v in (value - 1, value + 1) if v >= 0]
    suffix = re.search(r"[fFlL]?$", token.text).group()
    value = float(token.text.removesuffix(suffix).replace("'", ""))
    return [f"{v!r}{suffix}" for v in ([1.0] if value == 0.0 else [value * 0.9, value * 1.1])]


def operator_change(tokens, i, text):
    """What replaces the operator at i: (rule, after), or None."""
    token = tokens[i]
    following = text[end_of(token):end_of(token) + 1]
    if token.text in SWAPS and text[token.start - 1].isspace() and following.isspace():
        return None if tokens[i - 1].text == "operator" else ("operator", SWAPS[token.text])
    if token.text == "!" and not following.isspace():
        return "dropped !", ""
    operand_before = tokens[i - 1].kind in ("word", "int", "float") or tokens[i - 1].text in (")", "]")
    if token.text == "-" and not following.isspace() and (not operand_before or tokens[i - 1].text == "return"):
        return "sign", ""
    if token.text in ("++", "--") and tokens[i - 1].text in STATEMENT_BEFORE and not in_parentheses(tokens, i):
        return "operator", "--" if token.text == "++" else "++"
    return None


def change_points(text):
    """For each place that can be changed: a list of (start, before, after, rule)."""
    tokens = tokens_of(text)
    alone = left_alone(tokens, text)
    for i, token in enumerate(tokens):
        if i in alone:
            continue
        if token.kind in ("int", "float"):
            yield [(token.start, token.text, other, "constant") for other in other_numbers(token)]
        elif token.kind == "word":
            if token.text in WORD_SWAPS:
                yield [(token.start, token.text, WORD_SWAPS[token.text], "constant")]
            elif token.text in OTHER_END and [t.text for t in tokens[i - 2:i]] in (["std", "::"], ["ranges", "::"]):
                yield [(token.start, token.text, OTHER_END[token.text], "min, max")]
            end = end_of_call_statement(tokens, i, text)
            if end is not None:
                call = text[token.start:tokens[end].start]
                if call.count("\n") < LONGEST_CALL_LINES:
                    yield [(token.start, call, "", "dropped call")]
        elif i > 0:
            change = operator_change(tokens, i, text)
            if change is not None:
                yield [(token.start, token.text, change[1], change[0])]


def changes_of(only):
    """All changes below src/ or host/, by line, by place."""
    lines = collections.defaultdict(list)
    for path in sorted((ROOT / only.split("/")[0]).rglob("*.*")):
        name = path.relative_to(ROOT).as_posix()
        if path.suffix not in (".cpp", ".h") or not name.startswith(only):
            continue
        text = path.read_text()
        for place in change_points(text):
            line = text.count("\n", 0, place[0][0]) + 1
            lines[name, line].append([Change(name, line, line_at(text, place[0][0]), *change) for change in place])
    return lines


def drawn(lines, seed):
    """An endless series of changes: each line once, then each line again with its remaining changes."""
    lines = {at: [list(place) for place in places] for at, places in lines.items()}
    draw = random.Random(seed)
    while lines:
        order = sorted(lines)
        draw.shuffle(order)
        for at in order:
            place = draw.choice(lines[at])
            yield place.pop(draw.randrange(len(place)))
            lines[at] = [p for p in lines[at] if p]
            if not lines[at]:
                del lines[at]


# ---- The unchanged build ----

def processor_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def run(command, seconds, at, extra_environment=None):
    """(succeeded, output). `seconds` limits the processor time, and the clock time to twenty times as much."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CPU, (math.ceil(seconds),) * 2)
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY_BYTES,) * 2)
        resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_BYTES,) * 2)
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    # The output goes to a file, because a file has a size limit and a pipe has none.
    with tempfile.TemporaryFile() as log:
        try:
            code = subprocess.run(command, cwd=at, env={**os.environ, **(extra_environment or {})}, stdout=log,
                                  stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, preexec_fn=limit,
                                  timeout=20 * seconds, check=False).returncode
        except subprocess.TimeoutExpired:
            return False, "too long"
        log.seek(0)
        return code == 0, log.read(1 << 20).decode(errors="replace")


class Build:
    """A copy of the sources, built; the commands that compile and link it; how long its tests take."""

    def __init__(self, root, is_of_host):
        self.root, self.source, self.build = root, root / "source", root / "build"
        self.is_of_host, self.rooms = is_of_host, HOST_ROOMS if is_of_host else ROOMS
        self.programs = {f"{room}_tests": f"tests/{room}_tests" for room in self.rooms}
        self.workers = WORKERS if is_of_host else {}
        self.apart = APART if subprocess.run([*APART, "true"], check=False, capture_output=True).returncode == 0 else []
        self.copy_sources()
        self.make()
        self.commands = {}  # object: command without -o and the source
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            words = words[next(i for i, w in enumerate(words) if w.endswith("++")):]  # without a launcher
            out = words.index("-o")
            self.commands[words[out + 1]] = (words[:out] + ["-w"], pathlib.Path(entry["file"]))
        self.dependents = self.read_dependents()
        made = {**self.programs, **self.workers}
        self.links = {program: self.read_link(target) for program, target in made.items()}
        self.members = {program: self.read_members(program) for program in made}
        untested = {o for o in self.commands if self.is_judged(o)}.difference(*self.members.values())
        if untested:
            sys.exit(f"check_mutations.py: no test program contains {sorted(untested)}")
        self.seconds = {room: self.usual_seconds(room) for room in self.rooms}

    def is_judged(self, made):
        return made.startswith("host/") if self.is_of_host else "norvane_objects" in made

    def tests_of(self, file):
        """The rooms whose tests should notice a change of the file, in the order in which they are asked."""
        if self.is_of_host:
            return next((rooms for begin, rooms in HOST_TESTS.items() if file.startswith(begin)), HOST_ROOMS)
        own = file.split("/")[1]
        return sorted(ROOMS, key=lambda room: (room != own, self.seconds[room]))

    def copy_sources(self):
        """Writes only files that differ, so that nothing is compiled twice."""
        wanted = set()
        for name in ["CMakeLists.txt", "apps", "cmake", "docs", "fuzz", "host", "include", "scripts", "src", "tests"]:
            paths = [ROOT / name] if (ROOT / name).is_file() else sorted((ROOT / name).rglob("*"))
            for path in (p for p in paths if p.is_file()):
                copy = self.source / path.relative_to(ROOT)
                wanted.add(copy)
                if not copy.exists() or copy.read_bytes() != path.read_bytes():
                    copy.parent.mkdir(parents=True, exist_ok=True)
                    shutil.copy(path, copy)
        for copy in self.source.rglob("*"):
            if copy.is_file() and copy not in wanted:
                copy.unlink()

    def make(self):
        configure = ["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
                     "-DCMAKE_CXX_FLAGS=-O1", f"-DNORVANE_BUILD_TOOLS={'ON' if self.is_of_host else 'OFF'}",
                     "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"]
        subprocess.run(configure, check=True, stdout=subprocess.DEVNULL)
        jobs = ["-j", os.environ["JOBS"]] if "JOBS" in os.environ else []
        subprocess.run(["ninja", "-C", self.build, *jobs, *self.programs, *self.workers], check=True,
                       stdout=subprocess.DEVNULL)

    def read_dependents(self):
        """For each source or header the objects that are made of it."""
        listing = subprocess.run(["ninja", "-C", self.build, "-t", "deps"], check=True, capture_output=True, text=True)
        dependents, made = collections.defaultdict(set), None
        for line in listing.stdout.splitlines():
            if "#deps" in line:
                made = line.split(":")[0]
            elif line.strip() and made in self.commands:
                dependents[os.path.normpath(self.build / line.strip())].add(made)
        return dependents

    def read_link(self, target):
        listing = subprocess.run(["ninja", "-C", self.build, "-t", "commands", target], check=True,
                                 capture_output=True, text=True)
        words = shlex.split(listing.stdout.splitlines()[-1], comments=False)
        parts = [list(part) for is_end, part in itertools.groupby(words, lambda word: word == "&&") if not is_end]
        return next(part for part in parts if part[0].endswith("++"))  # what comes before and after are links to files

    def read_members(self, program):
        """The objects that the program consists of, including those from libraries."""
        trace = subprocess.run([*self.links[program], "-Wl,--trace,--trace"], cwd=self.build, check=True,
                               capture_output=True, text=True).stdout
        names = {name.removesuffix(")") for name in re.findall(r"[^()\s]+\.o\)?$", trace, re.MULTILINE)}
        # Libraries only show file names. If two sources share a name, both count.
        return {made for made in self.commands if made in names or pathlib.Path(made).name in names}

    def usual_seconds(self, room):
        before = processor_seconds()
        passed, output = self.test(self.build / "tests" / f"{room}_tests", 300, {})
        if not passed:
            sys.exit(f"{output}\ncheck_mutations.py: the unchanged tests of {room} fail")
        return processor_seconds() - before

    def test(self, program, seconds, environment):
        return run([*self.apart, program, "--gtest_fail_fast", "--gtest_brief=1"], seconds, self.root, environment)


# ---- One change ----

def applied(change, text):
    return text[:change.start] + change.after + text[change.start + len(change.before):]


def compile_changed(build, change, at, made):
    """Compiles `made` with the change into `at`: object -> changed object, or None if it does not compile."""
    changed_source = at / "source" / change.file
    changed = {}
    for name in made:
        words, source = build.commands[name]
        if source == build.source / change.file:
            source = changed_source
        out = at / name
        out.parent.mkdir(parents=True, exist_ok=True)
        room_folders = [f"-I{at / 'source' / folder}" for folder in ("src", "host")]
        command = [words[0], *room_folders, *words[1:], "-o", out, "-c", source]
        if not run(command, COMPILE_SECONDS, build.build)[0]:
            return None
        changed[name] = out
    return changed


def first_failure(output):
    failed = re.search(r"\[  FAILED  \] ([\w./]+)", output)
    return failed.group(1) if failed else "crash or too long"


def judge(build, change):
    """(what became of the change, the first test that noticed it)"""
    with tempfile.TemporaryDirectory(dir=build.root, prefix="change-") as folder:
        at = pathlib.Path(folder)
        changed_source = at / "source" / change.file
        changed_source.parent.mkdir(parents=True)
        changed_source.write_text(applied(change, (build.source / change.file).read_text()))
        made = sorted(build.dependents[str(build.source / change.file)])
        changed = compile_changed(build, change, at, [o for o in made if build.is_judged(o)])
        if changed is None:
            return REFUSED, ""
        if all(out.read_bytes() == (build.build / name).read_bytes() for name, out in changed.items()):
            return EQUAL, ""
        rooms = build.tests_of(change.file)
        of_workers = set().union(*(build.members[name] for name in build.workers))
        for name, target in build.workers.items():
            if build.members[name].isdisjoint(made):
                (at / name).symlink_to(build.build / target)
            elif changed_program(build, change, at, name, changed) is None:
                return REFUSED, ""
        programs = {}
        for environment, room in itertools.product([{}] if build.is_of_host else [{}, BASELINE], rooms):
            name = f"{room}_tests"
            if (build.members[name] | of_workers).isdisjoint(made):
                continue
            if room not in programs:
                programs[room] = changed_program(build, change, at, name, changed)
            if programs[room] is None:
                return REFUSED, ""
            passed, output = build.test(programs[room], 5 * build.seconds[room] + 1,
                                        {**environment, "TMPDIR": folder})
            if not passed:
                return NOTICED, f"{room}: {first_failure(output)}"
        return SURVIVED, ""


def changed_program(build, change, at, name, changed):
    """The program with the changed objects, its own among them, or None if it cannot be made."""
    made = build.dependents[str(build.source / change.file)]
    of_program = compile_changed(build, change, at, sorted(made & build.members[name] - set(changed)))
    return None if of_program is None else link(build, name, at, {**changed, **of_program})


def link(build, name, at, changed):
    """The changed objects come first, so that their inline functions are used."""
    mine = {made: out for made, out in changed.items() if made in build.members[name]}
    words = [w for w in build.links[name] if w not in mine]
    program = at / name
    words[words.index("-o") + 1] = str(program)
    words[1:1] = [str(out) for out in mine.values()]
    return program if run(words, COMPILE_SECONDS, build.build)[0] else None


# ---- Reports ----

def show(change):
    text = (ROOT / change.file).read_text()
    print(f"{change.file}:{change.line} {change.rule}\n    - {change.text.strip()}")
    print(f"    + {line_at(applied(change, text), change.start).strip()}", flush=True)


def is_still_there(change):
    text = (ROOT / change.file).read_text() if (ROOT / change.file).exists() else ""
    return text[change.start:].startswith(change.before) and line_at(text, change.start) == change.text


def read_report(path):
    entries = [json.loads(line) for line in path.read_text().splitlines()]
    found = [(Change(**e["change"]), e["became"], e["by"]) for e in entries]
    still = [e for e in found if is_still_there(e[0])]
    print(f"{len(still)} of {len(found)} changes of {path} are of lines that still are where they were")
    return still


def write_entry(file, change, became, by):
    file.write(json.dumps({"change": change._asdict(), "became": became, "by": by}) + "\n")
    file.flush()


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--changes", type=int, help="how many changes count (400; all with --again)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", default="src/", metavar="PATH", help="changes in files whose path begins so")
    parser.add_argument("--report", type=pathlib.Path, help="a line of JSON for each change")
    parser.add_argument("--again", type=pathlib.Path, metavar="REPORT", help="the changes of a report that survived")
    parser.add_argument("--of", choices=[SURVIVED, NOTICED], default=SURVIVED, help="with --again: which")
    parser.add_argument("--at-least", type=float, default=85.0, metavar="PERCENT", help="fails below (85)")
    options = parser.parse_args()
    if not options.only.startswith(("src/", "host/")):
        parser.error("--only: a path that begins with src/ or host/")
    return options


def main():
    options = arguments()
    kept = []
    if options.again:
        entries = read_report(options.again)
        chosen = [c for c, became, _ in entries if became == options.of and c.file.startswith(options.only)]
        random.Random(options.seed).shuffle(chosen)
        chosen = chosen[:options.changes]
        kept = [e for e in entries if e[0] not in chosen]
        wanted, source = len(chosen), iter(chosen)
    else:
        wanted, source = options.changes or 400, drawn(changes_of(options.only), options.seed)
    root = pathlib.Path(os.environ.get("BUILD_ROOT", ROOT / "build" / "mutations")).resolve()
    build = Build(root, options.only.startswith("host/"))
    begun, counts = processor_seconds(), collections.Counter()
    judged = {}
    if not options.again and options.report and options.report.exists():
        judged = {change: (became, by) for change, became, by in read_report(options.report)}
    with open(options.report or os.devnull, "a" if judged else "w", encoding="utf-8") as report:
        for change in source:
            if counts[NOTICED] + counts[SURVIVED] >= wanted:
                break
            became, by = judged.get(change) or judge(build, change)
            counts[became] += 1
            if change not in judged:
                write_entry(report, change, became, by)
            if became == SURVIVED:
                show(change)
        for entry in kept:
            write_entry(report, *entry)
    summarise(counts, kept, (processor_seconds() - begun) / max(1, sum(counts.values())), options.at_least)


def summarise(counts, kept, seconds, at_least):
    print(f"{counts[REFUSED]} more did not compile, {counts[EQUAL]} gave the same object code; "
          f"{seconds:.1f} s of processor time a change")
    total = counts + collections.Counter(became for _, became, _ in kept)
    counted = total[NOTICED] + total[SURVIVED]
    score = 100.0 * total[NOTICED] / max(1, counted)
    print(f"{total[NOTICED]} of {counted} changes noticed: {score:.1f} %")
    sys.exit(score < at_least)


if __name__ == "__main__":
    main()
