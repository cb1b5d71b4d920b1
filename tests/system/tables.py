"""The tables of the data folder as other people's programs see them: two independent readers, and a small writer."""

import collections
import datetime
import os
import struct
import subprocess

import dbfread

# As a database tool would be told to make them.
LAYOUTS = {
    "Visits": "RecordNo|C|9 IP|C|15 Site|C|20 Active|C|1 Alert|C|1 AlertNo|N|3 VisitNo|C|5 VisitDate|D|8 VisitTime|C|8 "
              "FirstPage|C|20 LastPage|C|20 PagesSeen|N|5 MinsOn|C|6 Browser|C|5 Spider|C|1 SpiderT|C|15 Referrer|C|50 "
              "HackRaised|C|1 Flags|C|10",
    "Visitor": "RecordNo|C|9 IP|C|15 Site|C|20 DNS|C|50 Name|C|25 Visits|N|5 Country|C|2 FirstVDate|D|8 FirstVTime|C|8 "
               "LastVDate|D|8 LastVTime|C|8 Browser|C|5 Spider|C|1 SpiderT|C|15 HackCount|N|3 Flags|C|10",
    "Referrers": "RecordNo|C|9 Name|C|50 Site|C|20 FirstVDate|D|8 FirstVTime|C|8 LastVDate|D|8 LastVTime|C|8 "
                 "Visits|N|5",
    "Exceptions": "RecordNo|C|9 Site|C|20 ExDate|D|8 ExTime|C|8 Number|N|3 Value|C|20 IP|C|15 VisitNo|C|5",
    "Pages": "RecordNo|C|9 IP|C|15 Site|C|20 VisitNo|C|5 Page|C|40 PageDate|D|8 PageTime|C|8 PageNo|C|4 Status|N|3",
    "Downloads": "RecordNo|C|9 IP|C|15 Site|C|20 VisitNo|C|5 VisitDate|D|8 VisitTime|C|8 Download|C|30 Status|N|3",
    "DaySum": "RecordNo|C|9 Site|C|20 Dated|D|8 Visitors|N|5 Alerts|N|5 Spiders|N|5 Exceptions|N|5 Downloads|N|5",
}
NAMES = tuple(LAYOUTS)
VERSION, LANGUAGE, END_MARK = 3, 3, b"\x1a"  # dBase III without memo fields; Windows-1252.

Field = collections.namedtuple("Field", "name type width")
Header = collections.namedtuple("Header", "version updated rows header_bytes row_bytes language")


def fields_of(layout):
    return [Field(n, t, int(w)) for n, t, w in (text.split("|") for text in layout.split())]


FIELDS = {name: fields_of(layout) for name, layout in LAYOUTS.items()}
Rows = {name: collections.namedtuple(name, [f.name for f in fields]) for name, fields in FIELDS.items()}


def path_of(folder, name):
    return os.path.join(folder, name + ".DBF")


def padded(field, value):
    """A value as it must be in the file."""
    return value.rjust(field.width) if field.type == "N" else value.ljust(field.width)


def read(folder, name):
    """All living rows by the first reader, each value as it is there. It reads up to the end mark."""
    table = dbfread.DBF(path_of(folder, name), ignorecase=False, raw=True)
    return [Rows[name](*[value.decode("latin-1") for value in row.values()]) for row in table]


def fields_in(folder, name):
    """The fields of a table with the widths that they have there: tables are narrow or wide."""
    with open(path_of(folder, name), "rb") as f:
        data = f.read(32 + 32 * len(FIELDS[name]))
    places = range(32, len(data), 32)
    return [Field(data[at:at + 11].rstrip(b"\0").decode(), chr(data[at + 11]), data[at + 16]) for at in places]


def dump(folder, name):
    """All rows by the second reader, without blanks around the values. It reads as many as the header counts."""
    result = subprocess.run(["dbfdump", "-r", path_of(folder, name)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            timeout=300)
    if result.returncode or result.stderr:
        raise AssertionError("dbfdump %s: %s %s" % (name, result.stdout[-200:], result.stderr))
    titles, *lines = result.stdout.decode("latin-1").split("\n")[:-1]
    if titles.split() != [f.name for f in FIELDS[name]]:
        raise AssertionError("dbfdump %s: %s" % (name, titles))
    rows = []
    fields = fields_in(folder, name)
    for line in lines:
        at, values = 0, []
        for field in fields:
            wide = max(field.width, len(field.name))
            values.append(line[at:at + wide].strip(" "))
            at += wide + 1
        if line[at:].strip():
            raise AssertionError("dbfdump %s: a line of another form: %r" % (name, line))
        rows.append(Rows[name](*values))
    return rows


def stripped(rows):
    return [row._make(value.strip(" ") for value in row) for row in rows]


def read_both(folder, name):
    """All rows of a table that nobody writes, without blanks around the values."""
    rows = stripped(read(folder, name))
    other = dump(folder, name)
    if rows != other:
        raise AssertionError("two readers do not see the same in %s: %d and %d rows; %s" % (
            name, len(rows), len(other), [pair for pair in zip(rows, other) if pair[0] != pair[1]][:3]))
    return rows


def read_all(folder):
    return {name: read_both(folder, name) for name in NAMES}


def without(rows, *fields):
    return [row._replace(**{field: "" for field in fields}) for row in rows]


def header(data):
    version, year, month, day, rows, header_bytes, row_bytes = struct.unpack("<BBBBIHH", data[:12])
    return Header(version, datetime.date(1900 + year, month, day), rows, header_bytes, row_bytes, data[29])


def build(fields, rows):
    """A table file made by hand: `rows` hold the values in the order of the fields."""
    row_bytes = 1 + sum(f.width for f in fields)
    today = datetime.date.today()
    data = struct.pack("<BBBBIHH", VERSION, today.year - 1900, today.month, today.day, len(rows),
                       32 + 32 * len(fields) + 1, row_bytes).ljust(32, b"\0")
    for f in fields:
        data += f.name.encode().ljust(11, b"\0") + f.type.encode() + bytes(4) + bytes([f.width]) + bytes(15)
    data += b"\r"
    parts = [data] + [b" " + "".join(padded(f, v) for f, v in zip(fields, row)).encode("latin-1") for row in rows]
    return b"".join(parts) + END_MARK


def rewrite(folder, name, rows):
    """What another program does that packs a table, or adds to it: the same file with these rows alone."""
    with open(path_of(folder, name), "r+b") as f:
        f.write(build(FIELDS[name], rows))
        f.truncate()
