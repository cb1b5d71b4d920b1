#!/usr/bin/python3
"""Checks who includes whom under src/ against src/layers.txt, and that every C++ test belongs to a test program."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
ANGLED = re.compile(r"\s*#\s*include\s*<([^>]*)>")
STANDARD = re.compile(r"[a-z_]+$")  # Headers of standard C++ have neither a folder nor an ending.
LIBRARY = re.compile(r"Q|curl/|ares|lmdb|systemd/|archive|zlib|microhttpd|crypt")
# Libraries that belong to one folder and are seen nowhere else.
OF_ONE_FOLDER = (("live", re.compile(r"rapidjson/|prometheus/")),)
INSIDE = re.compile(r'\s*#\s*include\s*"([^"/]+)/[^"]*"')
MAY_USE_LIBRARIES = {"platform", "desktop", "app", "archive"}
MAY_USE_THE_SYSTEM = {*MAY_USE_LIBRARIES, "ctl", "setup"}


def read_layers(path):
    """The table as {folder: set of folders}, each with itself."""
    layers = {}
    for line in path.read_text().splitlines():
        line = line.split("#", 1)[0].strip()
        if line:
            folder, _, allowed = line.partition(":")
            layers[folder.strip()] = {folder.strip(), *allowed.split()}
    return layers


def may_include(folder, header):
    if STANDARD.match(header):
        return True
    for owner, library in OF_ONE_FOLDER:
        if library.match(header):
            return folder == owner
    return folder in (MAY_USE_LIBRARIES if LIBRARY.match(header) else MAY_USE_THE_SYSTEM)


def check_file(path, root, layers):
    folder = path.relative_to(root / "src").parts[0]
    for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
        inside, angled = INSIDE.match(line), ANGLED.match(line)
        if inside and inside[1] not in layers[folder]:
            yield f"{path.relative_to(root)}:{number}: {folder} may not include {inside[1]}/"
        if angled and not may_include(folder, angled[1]):
            yield f"{path.relative_to(root)}:{number}: {folder} may not include <{angled[1]}>"


def check_sources(root):
    layers = read_layers(root / "src" / "layers.txt")
    for path in sorted((root / "src").glob("*/**/*")):
        if path.suffix not in {".h", ".cc"}:
            continue
        folder = path.relative_to(root / "src").parts[0]
        if folder not in layers:
            yield f"{path.relative_to(root)}:1: folder {folder} has no line in src/layers.txt"
        else:
            yield from check_file(path, root, layers)


def check_tests(root):
    """A test file that no glob covers would never run and nobody would notice."""
    cmake = (root / "tests" / "CMakeLists.txt").read_text()
    covered = set(re.findall(r"^\s*vantry_tests\(\s*(\w+)", cmake, re.MULTILINE))
    for path in sorted((root / "tests").rglob("*_test.cc")):
        parts = path.relative_to(root / "tests").parts
        if len(parts) != 2 or parts[0] not in covered:
            yield f"{path.relative_to(root)}:1: no vantry_tests() line covers this file"


def main():
    # Another root serves to try the checks themselves.
    root = Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT
    problems = [*check_sources(root), *check_tests(root)]
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
