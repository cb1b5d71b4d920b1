"""Names of SQL servers, FTP servers and watched web servers that are known late or never: nothing else waits for them,
and what comes of it is told."""

import os
import subprocess
import sys
import time
import unittest

from fake_tds import FakeTds
from ftp_servers import PyFtp
from harness import (SystemTest, append, faketime_library, ncsa_line, quick_clock, skip_at_midnight, vantry_binary,
                     wait_until)
from late_names import LateNames

# So many seconds of the program pass in one of ours. It waits 30 of its own for a server, and as many for a name.
RATE = 15


class LateNamesCase(SystemTest):
    def setUp(self):
        self.names = LateNames()
        self.addCleanup(self.names.clean_up)
        self.tds = FakeTds()
        self.addCleanup(self.tds.clean_up)
        self.database = "db.example.test:%d" % self.tds.port


class Logons(LateNamesCase):
    """The part that logs on to SQL servers, alone."""

    def log_on(self, late):
        self.names.late = late
        tool = os.path.join(os.path.dirname(vantry_binary()), "ask_server")
        begin = time.monotonic()
        done = subprocess.run([tool, "sql", "10", self.database, "watcher", "secret"], capture_output=True, text=True,
                              timeout=60, check=False, preexec_fn=self.names.lend)
        self.assertNotIn("Sanitizer", done.stderr)
        return done.stdout.strip(), time.monotonic() - begin

    def test_a_late_name_is_waited_for(self):
        text, took = self.log_on(1.0)
        self.assertEqual(text, "ok watcher")
        self.assertGreaterEqual(took, 1.0)

    def test_a_name_that_nobody_knows_is_told(self):
        text, _ = self.log_on(None)
        self.assertEqual(text, self.database + ": the name of the server is not known")


@unittest.skipUnless(faketime_library(), "faketime is not installed")
class WatchingProgram(LateNamesCase):
    def setUp(self):
        skip_at_midnight(before=60 * 60)
        super().setUp()
        self.watched = self.home()
        self.watched.write_settings(SQLServer="True", SQLServerName=self.database, SQLServerAuth="False",
                                    SQLServerUser="watcher", SQLServerPass="secret", SQLServerMins="1")
        self.watched.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nAll=True\n")
        self.ftp = PyFtp(self.watched.logs)
        self.addCleanup(self.ftp.stop)
        append(self.watched.log("access.log"), ncsa_line("10.0.0.1", "/a.htm"))
        append(self.watched.log("near.log"), ncsa_line("10.1.0.1", "/a.htm"))
        self.watched.write("EXTYPES.INI", "[Exception Types]\r\n" + "".join(
            "[%d]\r\nNumber=%d\r\nDescription=%s [error]\r\nRaise=True\r\n\r\n" % (number, number, text)
            for number, text in ((170, "Touch failed"), (171, "Touch resumed"))) + "\r\n")
        # Nobody listens on the port of the web server: that it is down is known as soon as its name is.
        self.watched.write_sites(
            self.watched.section("Far", "", **{**self.ftp.keys(), "Domain": "far.example.test",
                                               "FTPDomain": "ftp.example.test:%d" % self.ftp.port}),
            self.watched.section("Near", self.watched.logs, Mask="near.log", Domain="near.example.test:1",
                                 Touch=True, TouchEvery=1, TouchPage="index.htm"))

    def lines(self):
        try:
            with open(self.watched.file("Data/SQLCHECK.LOG"), newline="", encoding="utf-8") as f:
                return f.read().split("\r\n")[:-1]
        except FileNotFoundError:
            return []

    def wait_line(self, vantry, end):
        """Waits for this end of the last line, and asks the port meanwhile."""
        slowest, give_up = 0.0, time.monotonic() + 60
        while not (self.lines() and self.lines()[-1].endswith(end)):
            self.assertLess(time.monotonic(), give_up, (end, self.lines(), self.names.asked[-5:]))
            begin = time.monotonic()
            vantry.list_bytes()
            slowest = max(slowest, time.monotonic() - begin)
            time.sleep(0.02)
        return slowest

    def test_nothing_waits_for_a_name(self):
        self.names.late = 0.3
        vantry = self.start(self.watched, env=quick_clock(RATE), preexec=self.names.lend)
        vantry.errors_expected = True
        slowest = self.wait_line(vantry, " logged in and out of SQL Server %s login=watcher" % self.database)
        vantry.wait_visitor("10.0.0.1")
        self.assertIn("RETR access.log", self.ftp.commands)
        self.names.late = None
        # Asked for twice, a name takes longer than the program waits for a logon.
        late = "%s: the logon did not end in time SERVER MAY BE DOWN!" % self.database
        slowest = max(slowest, self.wait_line(vantry, late))
        append(self.watched.log("near.log"), ncsa_line("10.1.0.2", "/b.htm"))
        vantry.wait_visitor("10.1.0.2")
        wait_until(lambda: vantry.site_status("Near").exceptions >= 2, what=vantry.status)
        self.names.late = 0.0
        slowest = max(slowest, self.wait_line(vantry, " login=watcher"))
        self.assertEqual({name.split(".")[0] for name in self.names.asked}, {"db", "ftp", "near"})
        print("names late or never: slowest LIST answer %.1f ms" % (slowest * 1000), file=sys.stderr)
        self.assertLess(slowest, 0.5)
        self.assertLess(vantry.stop(), 8)


if __name__ == "__main__":
    unittest.main()
