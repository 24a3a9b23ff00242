#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Changes one line of src/ at a time and looks whether a test notices.

Usage: tools/mutate.py [--seed N] [--count N] [--rooms ROOM,ROOM...] [--only FILE[:LINE]] [--list] [--near]

The lines are drawn by the seed: the same seed on the same sources draws the same changes. A change is a limit (< becomes <=, a whole
number one more or less, a fraction twice or half as much), a sign, a condition (negated, && for ||, true for false), a call or an assignment left out, or two arguments
in each other's place. It is made in a copy of the project under build/mutate, which is built there by itself; the project is left alone.
The tests of the line's own room run first, then those of the rooms above that never wait for a real clock (--near: only the room's own).

What does not compile, without a warning, is not counted and another line is drawn for it; nor is what tools/mutate-equivalent.txt lists, with a reason, as no
change at all. Ends with 1 when a change was not noticed."""

import argparse
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
SCRATCH = ROOT / "build" / "mutate"
TREE = SCRATCH / "tree"
BUILD = TREE / "build" / "dev"
EQUIVALENT = ROOT / "tools" / "mutate-equivalent.txt"

# Which test programs (tests/FOLDER, or one of its programs) notice a change in a room: its own, then those above it that are quick.
TESTS_OF = {
    "core": (["core"], ["serial", "startup", "datafiles", "goniometer", "temperature", "profile", "cli"]),
    "serial": (["serial"], ["goniometer", "generator", "temperature", "startup"]),
    "gpib": (["gpib"], ["temperature", "startup"]),
    "datafiles": (["datafiles"], ["goniometer", "profile", "cli"]),
    "goniometer": (["goniometer"], ["startup", "profile"]),
    "generator": (["generator"], ["startup", "profile"]),
    "temperature": (["temperature"], ["startup", "profile"]),
    "profile": (["profile"], ["ui_tst_profileeditor"]),
    "core/startup": (["startup"], []),
    "app": (["cli"], []),
}
DEFAULT_ROOMS = [room for room in TESTS_OF if room != "app"]

BUILD_LIMIT = 600  # s
HANGS_AFTER = (10, 5)  # a test hangs when it takes longer than 10 times its time of the unchanged program, and 5 s beside


# --- the lines of a file, and what can be changed in one


def blanked(text):
    """The same text with comments, texts and characters blanked out, so that positions stay."""
    token = re.compile(r'//[^\n]*|/\*.*?\*/|R"\((?:.|\n)*?\)"|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Za-z])(?:u8|[uUL])?\'(?:\\.|[^\'\\\n])*\'', re.S)
    return token.sub(lambda match: re.sub(r"[^\n]", "\x01" if match[0][0] != "/" else " ", match[0]), text)


def built(lines):
    """For each line whether this system's compiler sees it, as far as the conditions of this project tell."""
    seen, stack = [], []
    for line in lines:
        words = line.split()
        if words[:1] in (["#ifdef"], ["#if"]):
            stack.append(words[1] not in ("Q_OS_WIN",) and not words[1].startswith("defined"))
        elif words[:1] == ["#ifndef"]:
            stack.append(True)
        elif words[:1] in (["#else"], ["#elif"]) and stack:
            stack[-1] = not stack[-1] if words[0] == "#else" else False
        elif words[:1] == ["#endif"] and stack:
            stack.pop()
        seen.append(all(stack) and not line.lstrip().startswith("#"))
    return seen


def closing(text, opening):
    """Where the bracket at `opening` closes, -1 when not on this line."""
    depth = 0
    for i in range(opening, len(text)):
        depth += (text[i] in "([{") - (text[i] in ")]}")
        if depth == 0:
            return i
    return -1


def arguments(code, start, end):
    """The spans between the commas of code[start:end] that stand in no bracket."""
    spans, depth, begin = [], 0, start
    for i in range(start, end):
        depth += (code[i] in "([{") - (code[i] in ")]}")
        if code[i] == "," and depth == 0:
            spans.append((begin, i))
            begin = i + 1
    spans.append((begin, end))
    return spans


def changes(line, code):
    """All changes of one line: (kind, changed line). `code` is the line with texts blanked."""
    found = []

    def put(kind, start, end, text):
        found.append((kind, line[:start] + text + line[end:]))

    for match in re.finditer(r" (<=|>=|<|>|==|!=|&&|\|\|) ", code):
        other = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}[match[1]]
        put("limit" if match[1][0] in "<>" else "condition", match.start(1), match.end(1), other)
    for match in re.finditer(r"(?<![\w.])(\d+)(?![\w.']|\.\d)", code):
        for value in (int(match[1]) + 1, int(match[1]) - 1):
            put("limit", match.start(1), match.end(1), str(value))
    for match in re.finditer(r"(?<![\w.])(\d+)\.(\d+)(?=[Ff]?(?!\w))", code):
        for value in (float(match[0]) * 2, float(match[0]) / 2):
            put("limit", match.start(), match.end(), repr(value))
    for match in re.finditer(r"(?<=[\w)\]]) ([-+*/]) (?=[\w(-])", code):
        if match[1] == "+" and re.search(r"\x01|QString|lineBreak", code):
            continue  # texts are joined with it
        put("sign", match.start(1), match.end(1), {"+": "-", "-": "+", "*": "/", "/": "*"}[match[1]])
    for match in re.finditer(r"([-+])= ", code):
        put("sign", match.start(1), match.end(1), "-" if match[1] == "+" else "+")
    for match in re.finditer(r"\+\+|--", code):
        put("sign", match.start(), match.end(), "--" if match[0] == "++" else "++")
    for match in re.finditer(r"(?:(?<=[(,=?:] )|(?<=[([{])|(?<=return ))-(?=[\w(])", code):
        put("sign", match.start(), match.end(), "")
    for match in re.finditer(r"\b(?:if|while) \(", code):
        end = closing(code, match.end() - 1)
        if end > 0 and ";" not in code[match.end():end] and "constexpr" not in code:
            put("condition", match.end(), end, "!(" + line[match.end():end] + ")")
    for match in re.finditer(r"!(?=[\w(:])", code):
        put("condition", match.start(), match.end(), "")
    for match in re.finditer(r"\b(?:true|false)\b", code):
        put("condition", match.start(), match.end(), "false" if match[0] == "true" else "true")
    called = re.match(r"\s*(?:emit )?(?:[\w:]+(?:\([^()]*\))?(?:\.|->))*[\w:]+\(.*\);\s*$", code)
    if called and closing(code, code.index("(")) > 0 and not re.match(r"\s*(?:return|const|auto|else)\b", code):
        put("left out", len(line) - len(line.lstrip()), len(line.rstrip()), ";")
    assigned = re.match(r"\s*(?:[\w:]+(?:\([^()]*\))?(?:\.|->))*[\w:]+(?:\[[^\]]*\])? [-+]?= .*;\s*$", code)
    if assigned:
        put("left out", len(line) - len(line.lstrip()), len(line.rstrip()), ";")
    for match in re.finditer(r"\b(\w+)\(", code):
        end = closing(code, match.end() - 1)
        if end < 0 or match[1] in ("if", "while", "for", "switch", "sizeof", "min", "max", "qMin", "qMax"):
            continue
        spans = arguments(code, match.end(), end)
        for (a, b), (c, d) in zip(spans, spans[1:]):
            first, second = line[a:b], line[c:d]
            declared = any(re.fullmatch(r"\s*(?:const )?[\w:<>]+(?: const)?(?:[&*]* [&*]*| )\w+(?: = .*)?", code[i:j]) for i, j in ((a, b), (c, d)))
            logged = match[1] == "WriteLog" and a == match.end()
            if not declared and not logged and first.strip() and second.strip() and first.strip() != second.strip():
                put("swapped", a, d, first.replace(first.strip(), second.strip(), 1) + "," + second.replace(second.strip(), first.strip(), 1))
    unique = {}
    for kind, text in found:
        if text != line:
            unique.setdefault(text, kind)
    return [(kind, text) for text, kind in unique.items()]


def room_of(path):
    """The room of a path below src/; None for windows."""
    folder = path.parent.as_posix()
    while folder != "." and folder not in TESTS_OF:
        folder = pathlib.Path(folder).parent.as_posix()
    return folder if folder in TESTS_OF else None


class Line:
    def __init__(self, path, number, text, options):
        self.path, self.number, self.text, self.options = path, number, text, options
        self.room = room_of(path.relative_to("src"))


def candidates(rooms, only):
    """Every line of the rooms that can be changed, in the order of files and lines."""
    wanted, _, number = (only or "").partition(":")
    lines = []
    for path in sorted((ROOT / "src").rglob("*.cpp")):
        relative = path.relative_to(ROOT)
        if room_of(path.relative_to(ROOT / "src")) not in rooms or (wanted and not relative.as_posix().endswith(wanted)):
            continue
        text = path.read_text(encoding="utf-8")
        plain = text.split("\n")
        seen = built(plain)
        for i, code in enumerate(blanked(text).split("\n")):
            if number and i + 1 != int(number):
                continue
            options = changes(plain[i], code) if seen[i] and "static_assert" not in code else []
            if options:
                lines.append(Line(relative, i + 1, plain[i], options))
    return lines


def equivalents():
    """The changes that change nothing: (file, line as it is, line as changed), blanks around a line left aside."""
    listed = set()
    if EQUIVALENT.exists():
        rows = [row.split("\t") for row in EQUIVALENT.read_text(encoding="utf-8").splitlines() if row and not row.startswith("#")]
        for row in rows:
            if len(row) != 4 or not row[3].strip():
                sys.exit(f"{EQUIVALENT.name}: not file, line, change and reason, tabs between: {row}")
            listed.add((row[0], row[1].strip(), row[2].strip()))
    return listed


# --- the copy that is changed, built and tested


def limits():
    resource.setrlimit(resource.RLIMIT_FSIZE, (2 << 30, 2 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(command, limit, **more):
    """Exit status and output; None as status when it did not end in time."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace", start_new_session=True,
                               preexec_fn=limits, **more)
    try:
        output, _ = process.communicate(timeout=limit)
        return process.returncode, output
    except subprocess.TimeoutExpired:
        subprocess.run(["kill", "-KILL", "--", f"-{process.pid}"], check=False)
        process.communicate()
        return None, ""


def copy_tree():
    """Brings the copy up to date; files that are alike keep their times, so that little is built anew."""
    files = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT, capture_output=True, text=True,
                           check=True).stdout.splitlines()
    wanted = {name for name in files if (ROOT / name).is_file()}
    for name in sorted(wanted):
        target = TREE / name
        content = (ROOT / name).read_bytes()
        if not target.exists() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)
            shutil.copymode(ROOT / name, target)
    for path in TREE.rglob("*"):
        name = path.relative_to(TREE).as_posix()
        if path.is_file() and name not in wanted and not name.startswith("build/"):
            path.unlink()


def same_options():
    """The options of build/dev, so that the compiler cache knows what is unchanged."""
    cache = ROOT / "build" / "dev" / "CMakeCache.txt"
    known = re.findall(r"^(CMAKE_CXX_FLAGS_DEBUG|CMAKE_EXE_LINKER_FLAGS):\w+=(.+)$", cache.read_text(), re.M) if cache.exists() else []
    return [f"-D{name}={value}" for name, value in known]


class Bench:
    """The copy's build folder and its test programs."""

    def __init__(self, near):
        self.near = near
        self.took = {}
        copy_tree()
        self.environment = {**os.environ, "QT_QPA_PLATFORM": "offscreen", "CCACHE_BASEDIR": str(TREE),
                            "CCACHE_NOHASHDIR": "1"}
        if not (BUILD / "build.ninja").exists():
            self.must(["cmake", "-S", str(TREE), "--preset", "dev", *same_options()], cwd=TREE)

    def must(self, command, **more):
        status, output = run(command, 7200, env=self.environment, **more)
        if status != 0:
            sys.exit(f"{' '.join(command[:6])} ... failed on the unchanged program:\n{output[-3000:]}")

    def programs(self, names):
        """The test programs of folders, or single ones, in the order of the names."""
        found = []
        for name in names:
            if (TREE / "tests" / name).is_dir():
                prefix = name.replace("/", "_")
                found += [f"{prefix}_{path.stem}" for path in sorted((TREE / "tests" / name).glob("tst_*.cpp"))]
            else:
                found.append(name)
        return found

    def stages(self, room):
        own, above = TESTS_OF[room]
        return [self.programs(own)] + ([] if self.near or not above else [self.programs(above)])

    def build(self, targets, more=None):
        return run(["cmake", "--build", str(BUILD), "--target", *targets], BUILD_LIMIT, env={**self.environment, **(more or {})})

    def test(self, program):
        """What noticed, or None. What a busy machine alone makes fail is no notice: a failure counts when it comes twice, a hang at once."""
        noticed = self.run_test(program)
        return noticed if not noticed or noticed.endswith("does not end") else self.run_test(program)

    def run_test(self, program):
        longest = HANGS_AFTER[0] * self.took.get(program, 60) + HANGS_AFTER[1]
        began = time.monotonic()
        status, output = run([str(BUILD / "tests" / program)], longest, env=self.environment, cwd=BUILD)
        if program not in self.took:
            self.took[program] = time.monotonic() - began
        if status == 0:
            return None
        if status is None:
            return f"{program} does not end"
        failed = re.search(r"^(?:FAIL!|QFATAL)\s*: *([^\n]*)", output, re.M)
        return f"{program}: {failed[1].split('(')[0].split('::')[-1]}" if failed else f"{program} ends with {status}"

    def unchanged(self, rooms):
        """Builds and runs all that will be asked; it has to pass."""
        wanted = []
        for room in rooms:
            wanted += [program for stage in self.stages(room) for program in stage if program not in wanted]
        print(f"building {len(wanted)} test programs ...", flush=True)
        self.must(["cmake", "--build", str(BUILD), "--target", *wanted])
        for program in wanted:
            noticed = self.test(program)
            if noticed:
                sys.exit(f"the unchanged program fails: {noticed}")

    def judge(self, line, changed):
        """"noticed", "not noticed" or "does not compile", and by what."""
        target = TREE / line.path
        before = target.read_text(encoding="utf-8")
        lines = before.split("\n")
        lines[line.number - 1] = changed
        target.write_text("\n".join(lines), encoding="utf-8")
        try:
            for stage in self.stages(line.room):
                # What the changed line compiles to is of no use to anybody: it stays out of the compiler cache.
                status, output = self.build(stage, {"CCACHE_READONLY": "1"})
                if status != 0:
                    return "does not compile", "the compiler" if "error:" in output else output[-300:]
                for program in stage:
                    noticed = self.test(program)
                    if noticed:
                        return "noticed", noticed
            return "not noticed", ""
        finally:
            target.write_text(before, encoding="utf-8")


# --- the draw and its report


def draw(lines, seed):
    """All lines in the order of the draw, each with one of its changes."""
    dice = random.Random(seed)
    order = list(range(len(lines)))
    dice.shuffle(order)
    for i in order:
        options = lines[i].options
        kinds = sorted({kind for kind, _ in options})
        kind = kinds[dice.randrange(len(kinds))]
        texts = [text for name, text in options if name == kind]
        yield lines[i], kind, texts[dice.randrange(len(texts))]


def report(results):
    print(f"\n{'room':<14}{'noticed':>8}{'of':>6}{'':>8}   not compiled, equivalent")
    rows = [*sorted({line.room for line, *_ in results}), "all"]
    for room in rows:
        verdicts = [verdict for line, _, _, verdict in results if room in ("all", line.room)]
        noticed, counted = verdicts.count("noticed"), verdicts.count("noticed") + verdicts.count("not noticed")
        share = f"{100 * noticed / counted:.0f} %" if counted else "-"
        print(f"{room:<14}{noticed:>8}{counted:>6}{share:>8}   {verdicts.count('does not compile')}, {verdicts.count('equivalent')}")
    missed = [(line, kind, changed) for line, kind, changed, verdict in results if verdict == "not noticed"]
    if missed:
        print("\nnot noticed:")
    for line, kind, changed in sorted(missed, key=lambda item: (item[0].path, item[0].number)):
        print(f"{line.path}:{line.number}: {kind}\n    - {line.text.strip()}\n    + {changed.strip()}")
    return len(missed)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter, usage=argparse.SUPPRESS)
    parser.add_argument("--seed", type=int, default=1, help="what is drawn (default 1)")
    parser.add_argument("--count", type=int, default=200, help="how many changes are counted (default 200)")
    parser.add_argument("--rooms", default=",".join(DEFAULT_ROOMS), help="rooms, commas between (default: all without windows)")
    parser.add_argument("--only", metavar="FILE[:LINE]", help="only this file, or this one line with all its changes")
    parser.add_argument("--list", action="store_true", help="show what would be drawn, and change nothing")
    parser.add_argument("--near", action="store_true", help="run only the tests of the line's own room")
    wanted = parser.parse_args()
    rooms = list(TESTS_OF) if wanted.only else wanted.rooms.split(",")
    unknown = [room for room in rooms if room not in TESTS_OF]
    if unknown:
        sys.exit(f"no such room: {', '.join(unknown)}; there are {', '.join(TESTS_OF)}")
    lines = candidates(rooms, wanted.only)
    if not lines:
        sys.exit("nothing to change there")
    if ":" in (wanted.only or ""):
        drawn = ((line, kind, text) for line in lines for kind, text in line.options)
    else:
        drawn = draw(lines, wanted.seed)
    print(f"seed {wanted.seed}: {len(lines)} lines can be changed in {', '.join(sorted({line.room for line in lines}))}", flush=True)
    no_change = equivalents()
    bench = None
    results, counted = [], 0
    for line, kind, changed in drawn:
        if counted == wanted.count:
            break
        where = f"{line.path}:{line.number}"
        if (line.path.as_posix(), line.text.strip(), changed.strip()) in no_change:
            results.append((line, kind, changed, "equivalent"))
            continue
        if wanted.list:
            print(f"{where}: {kind}\n    - {line.text.strip()}\n    + {changed.strip()}")
            counted += 1
            continue
        if bench is None:
            bench = Bench(wanted.near)
            bench.unchanged(sorted({line.room for line in lines}, key=list(TESTS_OF).index))
        verdict, by = bench.judge(line, changed)
        results.append((line, kind, changed, verdict))
        counted += verdict != "does not compile"
        if verdict != "does not compile":
            print(f"{counted:4} {verdict:<12} {where}: {changed.strip()}{'   [' + by + ']' if by else ''}", flush=True)
    return 0 if wanted.list else int(report(results) > 0)


if __name__ == "__main__":
    sys.exit(main())
