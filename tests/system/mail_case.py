"""A program that has mails to send, for the tests."""

import itertools
import sys
import time

from harness import SystemTest, append, ncsa_line, skip_at_midnight, wait_until
from mail_servers import AioServer, ScriptedServer

TO = "admin@example.test"
EXCEPTION_404 = "\r\n".join(["[Exception Types]", "[404]", "Number=404", "Description=Page [lastpage] not found",
                             "Raise=True", "Email=True", "EmailAddress=%s", "", "", ""])


class MailCase(SystemTest):
    def setUp(self):
        skip_at_midnight()
        self.visitors = itertools.count(1)

    def aio(self, **how):
        try:
            server = AioServer(**how)
        except ImportError:
            self.skipTest("aiosmtpd is not installed")
        self.addCleanup(server.clean_up)
        return server

    def scripted(self, answer=None):
        server = ScriptedServer(answer)
        self.addCleanup(server.clean_up)
        return server

    def begin(self, server, address=TO, pages=("/gone.html",), classic=(), **settings):
        """A program whose exception 404 has a mail sent: to this address at once, without one with what is pending. Its
        first scan finds these pages missing, each for a visitor of its own."""
        home = self.home()
        home.keep_classic(*classic)
        home.write_site()
        keys = {"EmailServer": server.place, "EmailFrom": "Monitor <monitor@example.test>"}
        home.write_settings(EmailSubject="An exception", **keys, **settings)
        home.write("EXTYPES.INI", EXCEPTION_404 % address)
        for page in pages:
            self.not_found(home, page)
        return home, self.start(home)

    def not_found(self, home, page):
        append(home.log("access.log"), ncsa_line("10.0.1.%d" % next(self.visitors), page, status=404))

    def smtp_lines(self, home):
        try:
            with open(home.file("Data/TRL.LOG"), encoding="latin-1") as f:
                return [line.split("SMTP: ", 1)[1].rstrip("\r\n") for line in f if "SMTP: " in line]
        except FileNotFoundError:
            return []

    def wait_smtp_line(self, home, end):
        def there():
            return [line for line in self.smtp_lines(home) if line.endswith(end)]
        return wait_until(there, what=lambda: self.smtp_lines(home))[0]

    def slowest_answer(self, vantry, seconds=None, until=None):
        """The longest that a LIST took, and how many there were."""
        slowest, count, end = 0.0, 0, time.monotonic() + (seconds or 30)
        while time.monotonic() < end and not (until and until()):
            begin = time.monotonic()
            vantry.list_bytes()
            slowest = max(slowest, time.monotonic() - begin)
            count += 1
            time.sleep(0.02)
        return slowest, count

    def assert_prompt(self, what, slowest, count):
        print("%s: slowest of %d LIST answers %.1f ms" % (what, count, slowest * 1000), file=sys.stderr)
        self.assertLess(slowest, 1.0)
        self.assertGreater(count, 20)
