#!/usr/bin/python3
"""Makes a C++ source of the files of the live page.

    scripts/embed_page.py FOLDER OUTPUT

Each file is there as it is and packed by gzip. All have one version, made of all contents; it is added where one file
names another ("assets/main.js" in pages, "./table.js" in scripts), so that browsers may keep them for good.
"""

import hashlib
import re
import sys
import zlib
from pathlib import Path

TYPES = {".html": "text/html; charset=utf-8", ".css": "text/css; charset=utf-8",
         ".js": "text/javascript; charset=utf-8", ".mjs": "text/javascript; charset=utf-8", ".svg": "image/svg+xml",
         ".png": "image/png", ".ico": "image/x-icon", ".json": "application/json", ".woff2": "font/woff2",
         ".webmanifest": "application/manifest+json", ".txt": "text/plain; charset=utf-8"}
REFERENCES = {".html": re.compile(rb'(["\'])((?:\./)?assets/([A-Za-z0-9._-]+))\1'),
              ".js": re.compile(rb'(["\'])(\./([A-Za-z0-9._-]+))\1')}
PER_LINE = 100


def version_of(files):
    digest = hashlib.sha256()
    for name, contents in sorted(files.items()):
        digest.update(b"%s %d\n" % (name.encode(), len(contents)) + contents)
    return digest.hexdigest()[:12]


def with_version(name, contents, files, version):
    reference = REFERENCES.get(Path(name).suffix)
    if not reference:
        return contents

    def replace(found):
        known = found[3].decode() in files
        return found[1] + found[2] + b"?v=" + version.encode() + found[1] if known else found[0]
    return reference.sub(replace, contents)


def gzipped(contents):
    """By zlib, as Debian's smallest Python has no module gzip. The same for the same contents: it holds no time."""
    packer = zlib.compressobj(9, zlib.DEFLATED, 31)
    return packer.compress(contents) + packer.flush()


def literal(contents):
    """The bytes as lines of a C++ string; always three octal digits, as the next byte may be one itself."""
    lines = []
    for at in range(0, len(contents), PER_LINE):
        text = "".join(chr(b) if 32 <= b < 127 and b not in b'"\\?' else f"\\{b:03o}"
                       for b in contents[at:at + PER_LINE])
        lines.append(f'    "{text}"')
    return "\n".join(lines) or '    ""'


def main():
    folder, output = Path(sys.argv[1]), Path(sys.argv[2])
    files = {p.name: p.read_bytes() for p in sorted(folder.iterdir()) if p.is_file() and p.suffix in TYPES}
    version = version_of(files)
    parts = ['#include "live/page_files.h"', "", "namespace vantry {", "namespace {", ""]
    rows = []
    for number, name in enumerate(sorted(files)):
        contents = with_version(name, files[name], files, version)
        packed = gzipped(contents)
        parts += [f"constexpr char kPacked{number}[] =", literal(packed) + ";",
                  f"constexpr char kPlain{number}[] =", literal(contents) + ";"]
        rows.append(f'    {{"{name}", "{TYPES[Path(name).suffix]}", "{version}",\n'
                    f"     {{kPacked{number}, {len(packed)}}}, {{kPlain{number}, {len(contents)}}}}},")
    parts += ["", "constexpr PageFile kFiles[] = {", *rows, "};", "", "}  // namespace", "",
              "const std::span<const PageFile> kPageFiles = kFiles;", "", "}  // namespace vantry", ""]
    output.parent.mkdir(parents=True, exist_ok=True)
    output.write_text("\n".join(parts))


if __name__ == "__main__":
    main()
