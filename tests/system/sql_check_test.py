"""A SQL server is logged on to: a good one, dead ones and ill ones, by the part alone and by the whole program, whose minutes
are shortened to seconds."""

import os
import shutil
import socket
import struct
import subprocess
import sys
import threading
import time
import unittest

from fake_tds import FakeTds
from harness import (SystemTest, append, faketime_library, free_port, ncsa_line, quick_clock, skip_at_midnight,
                     vantry_binary, wait_until)
from mail_servers import AioServer

TO = "admin@example.test"
# Twenty minutes of the program in a minute of ours.
FAST = quick_clock(20)


class SqlCase(SystemTest):
    def tds(self, **how):
        server = FakeTds(**how)
        self.addCleanup(server.clean_up)
        return server


class FakeServer(SqlCase):
    """Others take it for a SQL server too."""

    @unittest.skipUnless(shutil.which("tsql"), "tsql is not installed")
    def test_tsql_agrees(self):
        server = self.tds()
        for password, well in (("secret", True), ("wrong", False)):
            done = subprocess.run(["tsql", "-H", "127.0.0.1", "-p", str(server.port), "-U", "watcher", "-P", password],
                                  input="select 1\ngo\nexit\n", capture_output=True, text=True, timeout=30, check=False,
                                  env={"TDSVER": "7.4", "PATH": "/usr/bin:/bin"})
            self.assertEqual(done.returncode == 0, well, done)
            self.assertEqual("Login failed for user 'watcher'." in done.stderr + done.stdout, not well)

    def test_python_tds_agrees(self):
        try:
            import pytds
        except ImportError:
            self.skipTest("python3-tds is not installed")
        server = self.tds()
        how = {"port": server.port, "user": "watcher", "autocommit": True, "login_timeout": 10}
        pytds.connect("127.0.0.1", password="secret", **how).close()
        with self.assertRaisesRegex(pytds.Error, "Login failed for user 'watcher'"):
            pytds.connect("127.0.0.1", password="wrong", **how)


class Logons(SqlCase):
    """The part that logs on, alone."""

    def log_on(self, server, *login, seconds=5):
        tool = os.path.join(os.path.dirname(vantry_binary()), "ask_server")
        done = subprocess.run([tool, "sql", str(seconds), server, *login], capture_output=True, text=True, timeout=60,
                              check=False)
        self.assertNotIn("Sanitizer", done.stderr)
        return done.stdout.strip()

    def test_good_and_bad_password(self):
        server = self.tds()
        for form in ("127.0.0.1:%d", "127.0.0.1,%d", "localhost:%d", "(local),%d"):
            self.assertEqual(self.log_on(form % server.port, "watcher", "secret"), "ok watcher", form)
        place = "127.0.0.1:%d" % server.port
        self.assertEqual(self.log_on(place, "watcher", "wrong"), place + ": Login failed for user 'watcher'.")
        self.assertEqual(server.logins[-1], ("watcher", "wrong"))
        self.assertEqual(self.log_on(place, "", "x"), place + ": SQLServerUser is empty")
        self.assertEqual(self.log_on(place, "u" * 200, "x"), place + ": SQLServerUser is too long")

    def test_ipv6(self):
        server = self.tds(host="::1")
        self.assertEqual(self.log_on("[::1]:%d" % server.port, "watcher", "secret"), "ok watcher")

    def test_an_instance_is_asked_for_its_port(self):
        server = self.tds()
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as browser:
            try:
                browser.bind(("127.0.0.1", 1434))
            except OSError:
                self.skipTest("somebody else tells of instances here")
            asked = []

            def answer():
                question, peer = browser.recvfrom(100)
                asked.append(question)
                told = b"ServerName;X;InstanceName;SALES;IsClustered;No;Version;15.0.0.0;tcp;%d;;" % server.port
                browser.sendto(b"\5" + struct.pack("<H", len(told)) + told, peer)
            threading.Thread(target=answer, daemon=True).start()
            self.assertEqual(self.log_on("127.0.0.1\\SALES", "watcher", "secret"), "ok watcher")
            self.assertEqual(asked[0][:1] + asked[0][1:].rstrip(b"\0"), b"\4SALES")

    def test_closed_port(self):
        place = "127.0.0.1:%d" % free_port()
        self.assertEqual(self.log_on(place, "watcher", "secret"), place + ": no connection: connection refused")

    def test_ill_servers(self):
        server = self.tds()
        place = "127.0.0.1:%d" % server.port
        for illness, text in (("silent", "the server did not answer within 1 s"),
                              ("dies", "the connection broke off in the course of the logon"),
                              ("garbage", "the connection broke off in the course of the logon")):
            server.illness = illness
            begin = time.monotonic()
            self.assertEqual(self.log_on(place, "watcher", "secret", seconds=1), "%s: %s" % (place, text), illness)
            self.assertLess(time.monotonic() - begin, 8, illness)

    def test_answers_in_drops_end_in_time(self):
        server = self.tds()
        server.illness = "drops"
        place = "127.0.0.1:%d" % server.port
        begin = time.monotonic()
        text = self.log_on(place, "watcher", "secret", seconds=1)
        self.assertIn(text, (place + ": the logon did not end in time",
                             place + ": the server did not answer within 1 s"))
        self.assertLess(time.monotonic() - begin, 15)

    def test_the_account_of_the_program_needs_a_ticket(self):
        server = self.tds()
        place = "127.0.0.1:%d" % server.port
        text = self.log_on(place)
        self.assertTrue(text.startswith(place + ": "), text)
        self.assertIn("needs a Kerberos ticket", text)

    def test_what_is_no_server_says_so(self):
        self.assertEqual(self.log_on("my db", "a", "b"), "'my db': that is not the name of a server")
        self.assertEqual(self.log_on("db1:port", "a", "b"), "'db1:port': a port is a number from 1 to 65535")


@unittest.skipUnless(faketime_library(), "faketime is not installed")
class CheckingProgram(SqlCase):
    def setUp(self):
        skip_at_midnight(before=60 * 60)
        try:
            self.mail = AioServer()
        except ImportError:
            self.skipTest("aiosmtpd is not installed")
        self.addCleanup(self.mail.clean_up)
        self.server = self.tds()
        self.name = "127.0.0.1:%d" % self.server.port
        self.sql_home = self.home()
        self.sql_home.write_settings(
            EmailServer=self.mail.place, EmailFrom="monitor@example.test", EmailSubject="An exception", SQLServer="True",
            SQLServerName=self.name, SQLServerAuth="False", SQLServerUser="watcher", SQLServerPass="secret",
            SQLServerMins="1")
        types = "".join("[%d]\r\nNumber=%d\r\nDescription=%s\r\nRaise=True\r\nEmail=True\r\nEmailAddress=%s\r\n\r\n" % (
            number, number, text, TO) for number, text in (
                (180, "Failed to logon to SQL Server [servername]. The SQL Server may be down!"),
                (181, "Logon to SQL Server [servername] resumed. The SQL Server appears to be back on-line!")))
        self.sql_home.write("EXTYPES.INI", "[Exception Types]\r\n" + types + "\r\n")
        self.sql_home.write_site()
        append(self.sql_home.log("access.log"), ncsa_line("10.0.0.1", "/a.htm"))

    def lines(self):
        try:
            with open(self.sql_home.file("Data/SQLCHECK.LOG"), newline="", encoding="utf-8") as f:
                return f.read().split("\r\n")[:-1]
        except FileNotFoundError:
            return []

    def wait_line(self, end):
        wait_until(lambda: self.lines() and self.lines()[-1].endswith(end), what=lambda: (end, self.lines()))

    def wait_mail(self, part):
        def texts():
            return [envelope.content.decode("latin-1").replace("=\r\n", "") for envelope, _, _ in self.mail.mails]
        wait_until(lambda: any(part in text for text in texts()), what=lambda: (part, texts()))

    def test_changes_are_mailed_and_each_check_is_noted(self):
        self.start(self.sql_home, env=FAST)
        self.wait_line(" Successfully logged in and out of SQL Server %s login=watcher" % self.name)
        self.assertRegex(self.lines()[0], r"^\d+/\d+/\d{4} \d+:\d\d:\d\d [AP]M Successfully ")
        self.assertEqual(self.mail.mails, [])
        self.server.password = "changed"
        self.wait_line(" Failed to login to SQL Server %s login=%s: Login failed for user 'watcher'. SERVER MAY BE DOWN!" % (
            self.name, self.name))
        self.wait_mail("[180] Failed to logon to SQL Server %s. The SQL Server may be down!" % self.name)
        bad = len(self.lines())
        wait_until(lambda: len(self.lines()) > bad)
        self.server.password = "secret"
        self.wait_line(" login=watcher")
        self.wait_mail("[181] Logon to SQL Server %s resumed. The SQL Server appears to be back on-line!" % self.name)
        self.assertEqual(len(self.mail.mails), 2)

    def test_a_server_that_hangs_holds_up_nobody(self):
        self.server.illness = "silent"
        vantry = self.start(self.sql_home, env=FAST)
        wait_until(lambda: self.server.connections > 0)
        slowest, count, end = 0.0, 0, time.monotonic() + 1.2
        while time.monotonic() < end:
            begin = time.monotonic()
            vantry.list_bytes()
            slowest = max(slowest, time.monotonic() - begin)
            count += 1
            time.sleep(0.01)
        print("logging on: slowest of %d LIST answers %.1f ms" % (count, slowest * 1000), file=sys.stderr)
        self.assertGreater(count, 20)
        self.assertLess(slowest, 0.5)
        self.wait_line("%s: the server did not answer within 30 s SERVER MAY BE DOWN!" % self.name)
        before = self.server.connections
        wait_until(lambda: self.server.connections > before)
        took = vantry.stop()
        print("stopped in %.2f s while a logon hung" % took, file=sys.stderr)
        self.assertLess(took, 5)


if __name__ == "__main__":
    unittest.main()
