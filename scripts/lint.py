#!/usr/bin/python3
"""Checks the sources with clang: format, a clang build without code, clang-tidy.

    scripts/lint.py BUILD [format] [build] [tidy]

BUILD is a build folder of CMake, whose list of compile commands says how each file is compiled. Without further words
all three run. clang-tidy checks the sources of src/ in groups, in a build folder of its own (preset lint). Format and
clang-tidy are those of clang 14 (Debian 12): each version has opinions of its own, so with another they are left out,
and that is said.
"""

import json
import os
import re
import shlex
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
VERSION = "14"
FOLDERS = ("src", "tests", "fuzz", "bench")


def output_of(*command):
    """(exit code, everything it said)"""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                          cwd=ROOT)
    return done.returncode, done.stdout


def is_the_version(tool):
    found = re.search(r"version (\d+)", output_of(tool, "--version")[1])
    if found and found[1] == VERSION:
        return True
    print(f"lint: {tool} is version {found[1] if found else 'unknown'}, not {VERSION}; left out")
    return False


def check_format(_):
    if not is_the_version("clang-format"):
        return True
    files = [str(p) for folder in FOLDERS for p in sorted((ROOT / folder).rglob("*")) if p.suffix in {".h", ".cc"}]
    code, text = output_of("clang-format", "--dry-run", "-Werror", *files)
    if code:
        print(text + "lint: run clang-format -i on these files")
    return code == 0


def commands_of(build):
    """(file, words of its compile command), without files that the build made."""
    for entry in json.loads((Path(build) / "compile_commands.json").read_text()):
        path = Path(entry["directory"], entry["file"]).resolve()
        if path.is_relative_to(ROOT) and path.relative_to(ROOT).parts[0] in FOLDERS:
            yield str(path), shlex.split(entry["command"])


def run_all(name, commands):
    """Runs them on all cores. Prints what the failing ones said."""
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(lambda command: output_of(*command), commands))
    said = {line: None for code, text in results if code for line in text.splitlines()}
    if said:
        print("\n".join(said))
    failed = sum(code != 0 for code, _ in results)
    print(f"lint: {name}: {len(results)} files, {failed} with findings")
    return failed == 0


def check_build(build):
    code, text = output_of("cmake", "--build", build, "--target", "build_stamp")
    if code:
        print(text)
        return False
    commands = []
    for _, words in commands_of(build):
        words = words[1:]
        at = words.index("-o")
        commands.append(["clang++", "-fsyntax-only", *words[:at], *words[at + 2:]])
    return run_all("clang build", commands)


def check_tidy(_):
    if not is_the_version("clang-tidy"):
        return True
    for command in (("cmake", "--preset", "lint"), ("cmake", "--build", "build/lint", "--target", "build_stamp")):
        code, text = output_of(*command)
        if code:
            print(text)
            return False
    folder = ROOT / "build" / "lint"
    files = make_groups(folder)
    return run_all("clang-tidy", [["clang-tidy", "-quiet", "-p", str(folder / "groups"), file] for file in files])


def make_groups(folder):
    """Copies the groups of sources that CMake has made, under a name by which the analyzer knows that what they include
    is code, too: it looks deeply into nothing else. Returns the copies' paths."""
    groups = folder / "groups"
    groups.mkdir(exist_ok=True)
    entries = []
    for entry in json.loads((folder / "compile_commands.json").read_text()):
        if not Path(entry["file"]).name.startswith("unity_"):
            continue
        copy = groups / f"UnifiedSource{len(entries)}.cxx"
        shutil.copyfile(entry["file"], copy)
        entries.append({**entry, "file": str(copy), "command": entry["command"].replace(entry["file"], str(copy))})
    (groups / "compile_commands.json").write_text(json.dumps(entries))
    return [entry["file"] for entry in entries]


CHECKS = {"format": check_format, "build": check_build, "tidy": check_tidy}


def main():
    words = sys.argv[2:] or list(CHECKS)
    if len(sys.argv) < 2 or sys.argv[1].startswith("-") or not set(words) <= set(CHECKS):
        print(__doc__, file=sys.stderr)
        return 2
    return 0 if all([CHECKS[word](sys.argv[1]) for word in words]) else 1


if __name__ == "__main__":
    sys.exit(main())
