#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Runs clang-tidy with the settings of .clang-tidy.

Usage: tools/check-tidy.py [--preset dev|release] [FILE.cpp...]

Looks at the given files, otherwise at all of src/, instrument/ and tests/. Needs a build of the preset (default: release), whose compiler
options and generated files it uses. A file that was found clean is passed over as long as neither it nor any header of this project that
it includes, nor its compiler options or the settings, have changed; what was found clean is remembered beside the compiler's own cache
(TIDY_CACHE), so that a fresh clone finds it again.

Most of the time goes into Qt's headers, so many files are looked at together, as one text that includes them all. Files that
do not bear each other (two helpers of the same name) are taken apart again."""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
CACHE = pathlib.Path(os.environ.get("TIDY_CACHE") or pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "scan-tidy")
TOGETHER = 40

# Each test brings a main() of its own, which is no matter here.
HEAD_OF_TESTS = "#include <QTest>\n" + "".join(f"#undef {name}\n#define {name}(test)\n" for name in ("QTEST_MAIN", "QTEST_GUILESS_MAIN", "QTEST_APPLESS_MAIN"))


def output(*command):
    result = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
    return result.stdout


def short(text):
    """Paths within the project, the same in each clone."""
    return text.replace(str(ROOT) + "/", "")


class Build:
    """What the build of a preset knows: each file's compiler line and the files of this project that it includes."""

    def __init__(self, preset):
        folder = ROOT / "build" / preset
        self.command = {}
        entries = folder / "compile_commands.json"
        if not entries.exists():
            sys.exit(f"build/{preset} is missing; build it first: cmake --preset {preset} && cmake --build --preset {preset}")
        objects = {}
        for entry in json.loads(entries.read_text()):
            # The precompiled headers are g++'s; each file includes what it uses.
            command = re.sub(r"(-Winvalid-pch )?-include \S*cmake_pch\.hxx", "", entry["command"])
            words = command.split()
            while words and not re.search(r"(^|/)(c\+\+|g\+\+|clang\+\+)[^/]*$", words[0]):
                words.pop(0)
            target = words[words.index("-o") + 1]
            at = words.index("-o")
            del words[at:at + 2]
            words = words[:words.index("-c")]
            words = [w for w in words if w not in ("-Werror", "-Wno-restrict")]
            file = short(entry["file"])
            self.command[file] = words
            objects[target] = file
        self.included = {file: [] for file in self.command}
        file = None
        for line in output("ninja", "-C", str(folder), "-t", "deps").splitlines():
            if line and not line[0].isspace():
                file = objects.get(line.split(":")[0])
            elif file and line.strip():
                path = os.path.normpath(folder / line.strip())
                if path.startswith(str(ROOT) + "/") and "cmake_pch" not in path:
                    self.included[file].append(path)


def digest(path, known={}):
    if path not in known:
        try:
            known[path] = hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()
        except OSError:
            known[path] = "missing"
    return known[path]


def keyOf(file, build, settings):
    parts = [settings, short(" ".join(build.command[file])), file]
    parts += [f"{short(path)} {digest(path)}" for path in sorted({str(ROOT / file), *build.included[file]})]
    return hashlib.sha256("\n".join(parts).encode()).hexdigest()


def look(files, build, scratch):
    """What clang-tidy finds in the files, looked at together: (clean, text, late). Late are files that clash with earlier ones; nothing
    was looked at then."""
    name = hashlib.sha256("\n".join(files).encode()).hexdigest()[:16]
    text = str(ROOT / files[0])
    words = list(build.command[files[0]])
    names = {word.split("=")[0] for word in words}
    for word in [word for file in files[1:] for word in build.command[file]]:
        if word.startswith(("-I", "-D")) and word.split("=")[0] not in names:
            names.add(word.split("=")[0])
            words.append(word)
    if len(files) > 1:
        text = str(scratch / f"{name}.cpp")
        head = HEAD_OF_TESTS if "/tst_" in files[0] else ""
        pathlib.Path(text).write_text(head + "".join(f'#include "{ROOT / file}"\n' for file in files))
        tried = subprocess.run(" ".join([*words, "-w", "-O0", "-fsyntax-only", text]), shell=True, cwd=ROOT, stderr=subprocess.PIPE, text=True, check=False)
        if tried.returncode:
            late = [file for file in files if re.search(rf"/{re.escape(file)}:\d+:\d+: error: ", tried.stderr)]
            return False, tried.stderr, late if late and len(late) < len(files) else files[len(files) // 2:]

    database = scratch / name
    database.mkdir(exist_ok=True)
    # Quotes of definitions stand as the shell wants them, so the line stays one text.
    (database / "compile_commands.json").write_text(json.dumps([{"directory": str(ROOT), "file": text, "command": " ".join([*words, "-c", text])}]))
    command = ["clang-tidy", "-p", str(database), "--quiet", f"--header-filter=^{ROOT}/(src|instrument|tests)/", "--extra-arg=-Wno-unknown-warning-option"]
    if len(files) > 1:
        command += ["--checks=-bugprone-suspicious-include"] # added to those of .clang-tidy
    result = subprocess.run([*command, text], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    findings = "\n".join(line for line in result.stdout.splitlines() if not re.match(r"\d+ warnings?( and \d+ errors?)? generated", line))
    return result.returncode == 0, findings, []


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--preset", default="release", choices=["dev", "release"])
    parser.add_argument("files", nargs="*", metavar="FILE.cpp")
    arguments = parser.parse_args()
    if not shutil.which("clang-tidy"):
        sys.exit("clang-tidy is missing; tools/setup-debian.sh installs it")
    build = Build(arguments.preset)
    files = [short(str(pathlib.Path(file).resolve())) for file in arguments.files]
    if not files:
        listed = output("git", "ls-files", "--cached", "--others", "--exclude-standard", "src/*.cpp", "instrument/*.cpp", "tests/*.cpp")
        files = [file for file in listed.splitlines() if (ROOT / file).exists()]
    for file in [file for file in files if file not in build.command]:
        print(f"{file} is not built by the preset {arguments.preset}; passed over")
        files.remove(file)

    settings = output("clang-tidy", "--version") + output("c++", "--version") + output("dpkg-query", "-W", "qt6-base-dev") + (ROOT / ".clang-tidy").read_text()
    CACHE.mkdir(parents=True, exist_ok=True)
    key = {file: keyOf(file, build, settings) for file in files}
    todo = {}
    for file in files:
        if not (CACHE / key[file]).exists():
            windows = any("/qt6/QtWidgets" in word for word in build.command[file])
            todo.setdefault((file.split("/")[0], "/tst_" in file, windows), []).append(file)
    count = sum(len(group) for group in todo.values())

    scratch = ROOT / "build" / "tidy"
    shutil.rmtree(scratch, ignore_errors=True)
    scratch.mkdir(parents=True)
    dirty = []

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 2) as pool:
        waiting = set()

        def ask(group):
            waiting.add(pool.submit(lambda: (group, *look(group, build, scratch))))

        for group in sorted(todo.values(), key=len, reverse=True):
            parts = -(-len(group) // TOGETHER)
            for part in range(parts):
                ask(group[part::parts])
        while waiting:
            done, _ = concurrent.futures.wait(waiting, return_when=concurrent.futures.FIRST_COMPLETED)
            for future in done:
                waiting.remove(future)
                group, clean, findings, late = future.result()
                if late:
                    ask([file for file in group if file not in late])
                    ask(late)
                elif clean:
                    for file in group:
                        (CACHE / key[file]).touch()
                else:
                    dirty += group
                    print(findings, flush=True)
    shutil.rmtree(scratch, ignore_errors=True)
    if dirty:
        sys.exit(f"clang-tidy found something in {', '.join(dirty)}")
    print(f"{len(files)} files are clean ({count} looked at now).")


main()
