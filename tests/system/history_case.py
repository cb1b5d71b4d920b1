"""What the tests of history share: a program without exceptions, a busy log, comparisons with the model."""

import signal
import time

import dbfread

import tables
from harness import INACTIVITY, SystemTest, ncsa_line, skip_at_midnight, wait_until
from history_model import DAY, Model, Site, clock

# These tests are not about what an exception leaves behind. The types listed here limit the counting.
NO_EXCEPTIONS = "[Exception Types]\r\n" + "".join(
    "[%d]\r\nNumber=%d\r\nValue=%d\r\nRaise=False\r\n\r\n" % (n, n, value)
    for n, value in ((130, 10), (131, 25), (133, 25), (134, 5), (161, 10))) + "\r\n"


def at(text):
    """A time of day as seconds since 1970."""
    h, m, s = (int(part) for part in text.split(":"))
    return int(time.time()) // DAY * DAY + h * 3600 + m * 60 + s


def hit(address, when, page, status=200, referrer="-", agent="Mozilla/5.0", **more):
    return ncsa_line(address, page, at(when), status, referrer, agent, **more)


def busy_lines(count, site="one", start=0):
    """Lines of many visitors at `count` different seconds of the day, some of which count for nothing."""
    lines = []
    for i in range(start, start + count):
        address = "10.%d.%d.%d" % (i % 7, i % 53, i % 11)
        page = "/pictures/%d.png" % i if i % 17 == 3 else "/%s/page%d.html" % (site, i % 1000)
        if i % 101 == 0:
            page = "/files/%d.zip" % i
        lines.append(ncsa_line(address, page, at("0:0:1") + i // 20, 404 if i % 97 == 5 else 200,
                               "http://from%d.test/x" % (i % 13) if i % 5 else "-", "Agent%d" % (i % 3)).encode())
    return lines


class HistoryTest(SystemTest):
    def setUp(self):
        skip_at_midnight()

    def quiet_home(self):
        home = self.home()
        home.write("EXTYPES.INI", NO_EXCEPTIONS)
        home.keep_classic("WideKeys", "TodaysNames", "NcsaFields")  # The model knows the classic fields of a row.
        return home

    def one_site(self, **settings):
        home = self.quiet_home()
        home.write_settings(**settings)
        home.write_site(Domain="www.one.test")
        return home, Model([Site("One", "www.one.test")], int(settings.get("InactivityMins", INACTIVITY)))

    def wait_live(self, vantry, model):
        """Everything was read, and those have left who should have."""
        model.age()
        expected = sorted((v.dns, v.page, clock(v.page_time)) for v in model.live)

        def shown():
            return sorted((v.address, v.page, v.last) for v in vantry.list())
        wait_until(lambda: shown() == expected, what=lambda: (
            sorted(set(shown()) ^ set(expected))[:20], vantry.stderr()[-2000:]))

    def check_rows(self, folder, model, names=tables.NAMES):
        expected = model.expected()
        for name in names:
            with self.subTest(table=name):
                self.assertEqual(tables.read_both(folder, name), expected[name])

    def wait_rows(self, folder, model, names=tables.NAMES):
        """Everything has been written, as readers see it while the program runs."""
        def written():
            expected = model.expected()
            return all(tables.stripped(tables.read(folder, name)) == expected[name] for name in names)
        wait_until(written, what=lambda: [(name, len(tables.read(folder, name)), len(model.tables[name].rows))
                                          for name in names])

    def check_files(self, folder, model):
        """Header, padding, end: the bytes of files that the program has closed."""
        for name, rows in model.expected().items():
            with self.subTest(table=name), open(tables.path_of(folder, name), "rb") as f:
                data = f.read()
                fields = tables.FIELDS[name]
                head = tables.header(data)
                row_bytes = 1 + sum(f.width for f in fields)
                header_bytes = 32 + 32 * len(fields) + 1
                self.assertEqual((head.version, head.language), (tables.VERSION, tables.LANGUAGE))
                self.assertEqual(head.updated.strftime("%Y%m%d"), time.strftime("%Y%m%d", time.gmtime()))
                self.assertEqual((head.rows, head.header_bytes, head.row_bytes), (len(rows), header_bytes, row_bytes))
                table = dbfread.DBF(tables.path_of(folder, name), ignorecase=False)
                self.assertEqual([(f.name, f.type, f.length, f.decimal_count) for f in table.fields],
                                 [(*field, 0) for field in fields])
                self.assertEqual(data[header_bytes - 1:header_bytes], b"\r")
                body = "".join(" " + "".join(map(tables.padded, fields, row)) for row in rows)
                self.assertTrue(data[header_bytes:] == body.encode("latin-1") + tables.END_MARK)

    def kill(self, vantry):
        vantry.send_signal(signal.SIGKILL)
        self.assertEqual(vantry.wait_end(), -signal.SIGKILL, vantry.stderr()[-8000:])
        self.assertEqual(vantry.sanitizer_report(), "")
        vantry.ended = True

    def start_again(self, home, model):
        model.start()
        return self.start(home)
