#!/usr/bin/python3
"""vantry-ipcc on the address ranges that Debian ships, read back with other people's table readers."""

import bisect
import datetime
import os
import random
import struct
import subprocess
import tempfile
import unittest

import dbfread

BIN = os.environ.get("VANTRY_BIN", os.path.join(os.path.dirname(__file__), "../../build/dev/bin"))
IPCC = os.path.join(BIN, "vantry-ipcc")
GEOIP = "/usr/share/tor/geoip"
GEOIP6 = "/usr/share/tor/geoip6"
HEADER_BYTES = 32 + 2 * 32 + 1
ROW_BYTES = 1 + 15 + 2
TOP = 2**32 - 1


def ipcc(*words, cwd=None):
    return subprocess.run([IPCC, *words], capture_output=True, text=True, timeout=120, stdin=subprocess.DEVNULL,
                          cwd=cwd)


def key_form(address):
    return ".".join("%03d" % (address >> shift & 255) for shift in (24, 16, 8, 0))


def source_ranges():
    """The ranges of GEOIP as (first, last, code)."""
    ranges = []
    with open(GEOIP, encoding="ascii") as source:
        for line in source:
            if not line.startswith("#"):
                first, last, code = line.rstrip("\n").split(",")
                ranges.append((int(first), int(last), "" if code == "??" else code))
    return ranges


class Source:
    """Tells countries straight from the ranges, which do not overlap."""

    def __init__(self):
        self.ranges = sorted(source_ranges())
        self.firsts = [r[0] for r in self.ranges]
        assert all(a[1] < b[0] for a, b in zip(self.ranges, self.ranges[1:])), "the ranges overlap"

    def country(self, address):
        at = bisect.bisect_right(self.firsts, address) - 1
        return self.ranges[at][2] if at >= 0 and address <= self.ranges[at][1] else ""


class DebianRanges(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.path = os.path.join(cls.folder.name, "IPCC.DBF")
        cls.before = datetime.date.today()
        cls.result = ipcc(GEOIP, cls.path)
        cls.after = datetime.date.today()
        with open(cls.path, "rb") as table:
            cls.bytes = table.read()
        cls.table = dbfread.DBF(cls.path, encoding="ascii", load=True)
        cls.keys = [row["IP"] for row in cls.table.records]
        cls.codes = [row["Country"] for row in cls.table.records]
        cls.source = Source()

    def test_says_what_it_did(self):
        self.assertEqual((self.result.returncode, self.result.stderr), (0, ""))
        gaps = self.codes.count("")
        self.assertIn("%d ranges read, %d rows written, %d gaps" % (len(self.source.ranges), len(self.keys), gaps),
                      self.result.stdout)
        self.assertIn("next start", self.result.stdout)
        self.assertEqual(os.listdir(self.folder.name), ["IPCC.DBF"])

    def test_header(self):
        version, year, month, day, rows, header_bytes, row_bytes = struct.unpack("<BBBBIHH", self.bytes[:12])
        self.assertEqual(version, 3)
        self.assertIn(datetime.date(1900 + year, month, day), (self.before, self.after))
        self.assertEqual((header_bytes, row_bytes), (HEADER_BYTES, ROW_BYTES))
        self.assertEqual(rows, len(self.keys))
        self.assertGreater(rows, 100_000)
        self.assertEqual(len(self.bytes), HEADER_BYTES + rows * ROW_BYTES + 1)
        self.assertEqual(self.bytes[-1], 0x1A)
        self.assertEqual([(f.name, f.type, f.length, f.decimal_count) for f in self.table.fields],
                         [("IP", "C", 15, 0), ("Country", "C", 2, 0)])

    def test_rows_ascend_and_change(self):
        self.assertEqual(self.keys[0], "000.000.000.000")
        self.assertTrue(all(a < b for a, b in zip(self.keys, self.keys[1:])))
        self.assertTrue(all(a != b for a, b in zip(self.codes, self.codes[1:])))

    def country(self, address):
        return self.codes[bisect.bisect_right(self.keys, key_form(address)) - 1]

    def test_tells_the_country_of_random_addresses(self):
        chosen = random.Random(249)
        addresses = [chosen.randint(0, TOP) for _ in range(10_000)]
        # Most errors would show where ranges begin and end.
        for first, last, _ in chosen.sample(self.source.ranges, 10_000):
            addresses += [max(first - 1, 0), first, last, min(last + 1, TOP)]
        wrong = [key_form(a) for a in [0, TOP, *addresses] if self.country(a) != self.source.country(a)]
        self.assertEqual(wrong[:10], [])
        self.assertGreater(len({self.country(a) for a in addresses}), 100)

    def test_other_reader(self):
        dump = subprocess.run(["dbfdump", "-h", self.path], capture_output=True, text=True, timeout=120, check=True)
        lines = dump.stdout.splitlines()
        self.assertIn("Title=`IP', Width=15", lines[0])
        self.assertIn("Title=`Country', Width=2", lines[1])
        rows = [line.split() for line in lines[3:]]
        expected = [[key, code or "(NULL)"] for key, code in zip(self.keys, self.codes)]
        self.assertEqual(len(rows), len(expected))
        self.assertEqual([pair for pair in zip(rows, expected) if pair[0] != pair[1]][:10], [])

    def test_ipv6_ranges_change_nothing(self):
        other = os.path.join(self.folder.name, "OTHER.DBF")
        self.addCleanup(os.remove, other)
        result = ipcc(GEOIP6, GEOIP, other)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertRegex(result.stdout, r"geoip6: \d{5,} IPv6 ranges left out")
        with open(other, "rb") as table:
            # A test at midnight may see two dates in the header.
            self.assertTrue(table.read()[4:] == self.bytes[4:])


class Files(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.write("ranges", "1,2,AU\n5,4,CN\n")

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w", encoding="ascii") as file:
            file.write(text)

    def test_an_open_table_stays_as_it_is(self):
        self.assertEqual(ipcc("ranges", "IPCC.DBF", cwd=self.folder).returncode, 0)
        with open(os.path.join(self.folder, "IPCC.DBF"), "rb") as table:
            before = os.pread(table.fileno(), 1000, 0)
            self.write("ranges", "0,4294967295,CN\n")
            self.assertEqual(ipcc("ranges", "IPCC.DBF", cwd=self.folder).returncode, 0)
            self.assertEqual(table.read(), before)
        records = list(dbfread.DBF(os.path.join(self.folder, "IPCC.DBF")))
        self.assertEqual([tuple(r.values()) for r in records], [("000.000.000.000", "CN")])

    def test_failures(self):
        self.write("text", "hello\n")
        for words, code, part in (((), 2, "Usage: vantry-ipcc"), (("ranges",), 2, "Usage: vantry-ipcc"),
                                  (("text", "T.DBF"), 1, "text: holds no address range"),
                                  (("missing", "T.DBF"), 1, "missing: No such file"),
                                  ((".", "T.DBF"), 1, "is no plain file"),
                                  (("ranges", "text"), 1, "text: is no dBase table"),
                                  (("ranges", "no/folder/T.DBF"), 1, "no/folder/T.DBF")):
            result = ipcc(*words, cwd=self.folder)
            self.assertEqual(result.returncode, code, words)
            self.assertIn(part, result.stderr, words)
        self.assertEqual(sorted(os.listdir(self.folder)), ["ranges", "text"])
        result = ipcc("ranges", "T.DBF", cwd=self.folder)
        self.assertEqual((result.returncode, result.stderr),
                         (0, "ranges:2: the last address '4' lies below the first, '5'\n"))


if __name__ == "__main__":
    unittest.main()
