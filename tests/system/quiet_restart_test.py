"""Restarts that change no number and act on nothing twice, after a kill as well, and a new site whose old lines act on
nobody."""

import collections
import os
import random
import signal
import time
import unittest

import tables
from harness import SystemTest, append, ncsa_line, skip_at_midnight, wait_until

SEED = int(os.environ.get("VANTRY_SEED") or 1)
TYPES = """[Exception Types]\r
[404]\r
Number=404\r
Description=Page [lastpage] is missing\r
Raise=True\r
RunProgram=True\r
Run=%s\r
\r
[161]\r
Number=161\r
Value=4\r
Raise=True\r
\r
[165]\r
Number=165\r
Raise=True\r
\r
\r
"""
NAMES = ("Exceptions", "Downloads", "Pages", "Visits", "Visitor", "Referrers", "DaySum")


class QuietCase(SystemTest):
    def setUp(self):
        skip_at_midnight(300)

    def folder(self, corrections):
        """A folder whose exception 404 runs a program, and what the program was told so far."""
        home = self.home()
        home.write_site()
        program, out = home.file("told.sh"), home.file("told")
        with open(program, "w", encoding="ascii") as f:
            f.write('#!/bin/sh\necho "$vantryExceptionValue" >> "%s"\n' % out)
        os.chmod(program, 0o755)
        home.write("EXTYPES.INI", TYPES % program)
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\n" + corrections)

        def told():
            if not os.path.exists(out):
                return []
            with open(out, encoding="ascii") as f:
                return f.read().split()
        return home, told

    def kill(self, vantry):
        vantry.send_signal(signal.SIGKILL)
        vantry.wait_end()
        vantry.ended = True


class FirstScanTest(QuietCase):
    def test_old_lines_of_a_new_site_act_on_nobody(self):
        home, told = self.folder("QuietFirstScan=True\n")
        log, now = home.log("access.log"), time.time()
        for i in range(50):
            append(log, ncsa_line("10.0.0.%d" % i, "/old%d.html" % i, now - 60 - i % 7, status=404))
        vantry = self.start(home)
        wait_until(lambda: vantry.status()[0].exceptions == 50, what=vantry.status)
        append(log, ncsa_line("10.0.1.1", "/new.html", status=404))
        wait_until(lambda: told(), what=vantry.stderr)
        vantry.stop()
        self.assertEqual(told(), ["new.html"])
        self.assertEqual(len(tables.read(home.file("Data"), "Exceptions")), 51)


class RestartTest(QuietCase):
    def lines(self, random_, n):
        """Lines of this moment, each with a page of its own."""
        out, now = [], time.time()
        for i in range(n):
            kind = random_.randrange(8)
            page = "/p%d.%s" % (next(self.numbers), "zip" if kind == 0 else "exe" if kind == 1 else "html")
            out.append(ncsa_line("10.0.0.%d" % random_.randrange(9), page, now + i // 3,
                                 404 if random_.randrange(3) == 0 else 200, "http://from%d.test/" % (kind % 3)))
        return "".join(out)

    def end(self, home, vantry, log):
        """The program's last run has read everything; its numbers, and what the tables hold."""
        with open(log, encoding="ascii") as f:
            text = f.read()
        last = text.splitlines()[-1].split()[0]
        vantry.wait_visitor(last)
        self.wait_scans(vantry, 5)
        status = vantry.status()[0]
        vantry.stop()
        rows = {}
        for name in NAMES:
            found = tables.stripped(tables.read(home.file("Data"), name))
            rows[name] = sorted(tuple(row)[1:] for row in found)
        return (status.current, status.alerts, status.spiders, status.exceptions), rows

    def test_stops_and_kills_leave_the_numbers_of_one_long_run(self):
        self.numbers = iter(range(1, 10_000))
        random_ = random.Random(SEED)
        home, told = self.folder("QuietReplay=True\nSaveEvery=1\n")
        log = home.log("access.log")
        append(log, self.lines(random_, 5))
        vantry = self.start(home)
        for how in ("kill", "stop", "kill", "kill", "stop"):
            until = time.monotonic() + random_.uniform(1, 6)
            while time.monotonic() < until:
                append(log, self.lines(random_, random_.randrange(1, 9)))
                time.sleep(random_.uniform(0, 0.4))
            if how == "kill":
                self.kill(vantry)
            else:
                vantry.stop()
            append(log, self.lines(random_, 2))
            vantry = self.start(home)
        append(log, ncsa_line("10.0.5.5", "/last.html", time.time() + 5))
        numbers, rows = self.end(home, vantry, log)

        whole, told_whole = self.folder("QuietReplay=True\n")
        with open(log, encoding="ascii") as f:
            append(whole.log("access.log"), f.read())
        expected_numbers, expected = self.end(whole, self.start(whole), whole.log("access.log"))
        self.assertEqual(numbers, expected_numbers)
        for name in NAMES:
            self.assertEqual(rows[name], expected[name], "%s, VANTRY_SEED=%d" % (name, SEED))
        twice = [page for page, count in collections.Counter(told()).items() if count > 1]
        self.assertEqual(twice, [])
        self.assertLessEqual(set(told()), set(told_whole()))
        self.assertGreater(len(told()), 5)


if __name__ == "__main__":
    unittest.main()
