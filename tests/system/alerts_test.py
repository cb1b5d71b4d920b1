"""Alerts and exceptions as the operator sees them: counts, stored rows, the event log, a program, silence after a
restart."""

import os
import time
import unittest

import tables
from harness import SystemTest, append, ncsa_line, skip_at_midnight, wait_until

TYPES = """[Exception Types]\r
[404]\r
Number=404\r
Description=Page [lastpage] is missing\r
Raise=True\r
EventLog=True\r
EventLevel= 2\r
RunProgram=True\r
Run=%s\r
\r
[130]\r
Number=130\r
Value=30\r
\r
[131]\r
Number=131\r
Value=100\r
\r
[134]\r
Number=134\r
Value=30\r
\r
[161]\r
Number=161\r
Description=More than [value]\r
Value=3\r
Raise=True\r
\r
\r
"""

ALERTS = """
Alert=Never\r
AlertNo=1\r
AlertEnabled=True\r
AlertENGINEALL=N\r
\r
Alert=Insiders\r
AlertNo=2\r
AlertEnabled=True\r
AlertENGINEALL=Y\r
AlertDNS1=192.0.2.*\r
AlertRunThis=True\r
AlertRun=%s\r
\r
Alert=Everybody\r
AlertNo=3\r
AlertEnabled=True\r
AlertENGINEALL=Y\r
"""


class AlertsTest(SystemTest):
    def script(self, home, name):
        """A program that adds a line to a file each time it is started; both their paths."""
        path, out = home.file(name), home.file(name + ".out")
        with open(path, "w", encoding="ascii") as f:
            f.write('#!/bin/sh\necho "$vantryExceptionNumber|$vantryExceptionValue|$vantryIPAddress|$vantrySiteName"'
                    ' >> "%s"\n' % out)
        os.chmod(path, 0o755)
        return path, out

    @staticmethod
    def program_log(home):
        with open(home.file("Data/TRL.LOG"), encoding="latin-1") as f:
            return f.read()

    @staticmethod
    def lines(path):
        if not os.path.exists(path):
            return []
        with open(path, encoding="utf-8") as f:
            return f.read().splitlines()

    def test_a_day_with_alerts_and_exceptions_and_the_same_day_read_again(self):
        skip_at_midnight()
        home, now = self.home(), time.time()
        home.keep_classic("QuietFirstScan")
        program, told = self.script(home, "exception.sh")
        alert_program, alerted = self.script(home, "alert.sh")
        home.write("EXTYPES.INI", TYPES % program)
        home.write_sites(home.section("One", home.logs) + (ALERTS % alert_program).lstrip("\n") + "\r\n")
        log = home.log("access.log")
        append(log, ncsa_line("192.0.2.1", "/early.html", now - 9))
        append(log, ncsa_line("192.0.2.1", "/early404.html", now - 5, status=404))
        append(log, ncsa_line("192.0.2.1", "/late.html", now))
        vantry = self.start(home, env={"JOURNAL_STREAM": "1:1"})
        # Alerts of a first scan are listed in silence; its exceptions are told.
        wait_until(lambda: vantry.status()[0].alerts == 1, what=vantry.status)
        wait_until(lambda: len(self.lines(told)) == 1, what=lambda: (self.lines(told), vantry.stderr()))
        self.assertEqual(self.lines(told), ["404|early404.html|192.0.2.1|One: "])
        append(log, ncsa_line("192.0.2.2", "/a.html") + ncsa_line("203.0.113.5", "/a.html"))
        wait_until(lambda: vantry.status()[0].alerts == 3, what=vantry.status)
        wait_until(lambda: len(self.lines(alerted)) == 1, what=lambda: self.lines(alerted))
        append(log, ncsa_line("192.0.2.2", "/gone.html", time.time() + 2, status=404))
        wait_until(lambda: len(self.lines(told)) == 2, what=lambda: (self.lines(told), vantry.stderr()))
        self.assertEqual(self.lines(told)[1], "404|gone.html|192.0.2.2|One: ")
        self.assertIn("<4>vantry: One: [404] Page gone.html is missing DNS: 192.0.2.2 Visit No: 1", vantry.stderr())
        self.assertIn("One: [404] Page gone.html is missing DNS: 192.0.2.2 Visit No: 1", self.program_log(home))
        self.assertEqual(vantry.status()[0].exceptions, 2)
        vantry.stop()
        rows = tables.read(home.file("Data"), "Exceptions")
        self.assertEqual([(r.Site, r.Number, r.Value, r.IP, r.VisitNo) for r in tables.stripped(rows)],
                         [("One:", "404", "early404.html", "192.0.2.1", "00001"),
                          ("One:", "404", "gone.html", "192.0.2.2", "00001")])

        vantry = self.start(home, env={"JOURNAL_STREAM": "1:1"})
        wait_until(lambda: vantry.status()[0].exceptions == 2, what=vantry.status)
        self.assertEqual(vantry.status()[0].alerts, 3)
        self.assertNotIn("[404]", vantry.stderr())
        vantry.stop()
        self.assertEqual(len(self.lines(told)), 2)
        self.assertEqual(len(self.lines(alerted)), 1)
        self.assertEqual(tables.read(home.file("Data"), "Exceptions"), rows)


if __name__ == "__main__":
    unittest.main()
