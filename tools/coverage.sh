#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/coverage.sh [--all] [--missed ROOM] [CTEST-ARGUMENT...]
#
# Builds build/coverage, runs the tests and prints for each room of src/ how many of its lines they have been through. Ends with 1 when a
# test fails, or when it is less than 90 % of the lines outside src/ui.
#
#   --all          all tests; without it those labelled unit, wire and window
#   --missed ROOM  prints the lines of a room that no test went through, from the last run; builds and runs nothing

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

tests=(-L 'unit|wire|window' -E '^instrument_') # those of the instrument share no line with src/
room=
case ${1:-} in
    --all) tests=()
        shift ;;
    --missed) room=${2:?"--missed needs a room"} ;;
    -h | --help) usage; exit 0 ;;
esac

# report: the counters of all objects as gcov reads them, line by line; a header counts once, however many objects hold it.
report() {
    MISSED=$room python3 - <<'PYTHON'
import json
import os
import pathlib
import subprocess
import sys

root = pathlib.Path.cwd()
notes = sorted((root / "build/coverage/src").rglob("*.gcno"))
hits = {}
for first in range(0, len(notes), 20):
    command = ["gcov", "--json-format", "--stdout", *map(str, notes[first:first + 20])]
    output = subprocess.run(command, capture_output=True, text=True, cwd=root / "build/coverage").stdout
    for document in output.splitlines():
        for file in json.loads(document)["files"] if document.startswith("{") else []:
            path = pathlib.Path(os.path.normpath(root / "build/coverage" / file["file"]))
            if not path.is_relative_to(root / "src"):
                continue
            lines = hits.setdefault(path.relative_to(root / "src"), {})
            for line in file["lines"]:
                lines[line["line_number"]] = lines.get(line["line_number"], 0) + line["count"]
if not hits:
    sys.exit("coverage.sh: no counters were found below build/coverage/src")


def room_of(path):
    return "core/startup" if path.as_posix().startswith("core/startup/") else path.parts[0]


if os.environ["MISSED"]:
    for path in sorted(hits):
        if room_of(path) == os.environ["MISSED"]:
            source = (root / "src" / path).read_text(encoding="utf-8").split("\n")
            for number in sorted(number for number, count in hits[path].items() if count == 0):
                print(f"src/{path}:{number}: {source[number - 1].strip()}")
    sys.exit()


def share(rooms):
    counts = [count for path, lines in hits.items() if room_of(path) in rooms for count in lines.values()]
    return len(counts), sum(count > 0 for count in counts)


def show(name, rooms):
    lines, been = share(rooms)
    print(f"{name:<22}{been:>7} of {lines:>6} lines {100 * been / lines:7.1f} %")
    return been / lines


order = [line.split("(")[1].rstrip(")") for line in (root / "src/CMakeLists.txt").read_text().splitlines() if line.startswith("add_sub")]
rooms = [room for room in order if share([room])[0]]
for room in rooms:
    show(room, [room])
show("src/ without windows", [room for room in rooms if room not in ("plot", "ui")])
sys.exit(show("src/ outside ui", [room for room in rooms if room != "ui"]) < 0.9)
PYTHON
}

if [[ -n $room ]]; then
    report
    exit
fi
tools/setup-debian.sh --test
[[ -f build/coverage/build.ninja ]] || cmake --preset coverage
programs=() # a test has its program's name; with --all everything is built
if [[ ${#tests[@]} -gt 0 ]]; then
    mapfile -t programs < <(ctest --preset coverage -N "${tests[@]}" "$@" | sed -n 's/^ *Test *#[0-9]*: //p')
fi
build coverage ${programs[@]+"${programs[@]}"}
find build/coverage -name '*.gcda' -delete
result=0
ctest --preset coverage -j "$((2 * $(cores)))" --no-tests=error ${tests[@]+"${tests[@]}"} "$@" || result=1
report || result=1
exit $result
