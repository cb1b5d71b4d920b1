"""Mail that outlives a server that is away, one that never answers, and a program that is killed."""

import os
import signal
import time

from harness import free_port, side_by_side, wait_until
from mail_case import EXCEPTION_404, TO, MailCase
from mail_servers import ScriptedServer

FILE = "Data/Unsent.mail"


class UnsentMailTest(MailCase):
    def folder(self, place):
        home = self.home()
        home.write_site()
        self.server_is(home, place)
        home.write("EXTYPES.INI", EXCEPTION_404 % TO)
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nKeepUnsentMail=True\n"
                   "QuietReplay=True\nSaveEvery=1\n")
        self.not_found(home, "/first.html")
        return home

    def server_is(self, home, place, **more):
        home.write_settings(EmailSubject="An exception", EmailServer=place, EmailFrom="Monitor <monitor@example.test>",
                            **more)

    def kill(self, vantry):
        vantry.send_signal(signal.SIGKILL)
        vantry.wait_end()
        vantry.ended = True

    def waiting(self, home):
        try:
            with open(home.file(FILE), "rb") as f:
                return f.read().count(b"VMAIL1 W ")
        except FileNotFoundError:
            return 0

    def three_wait(self, home):
        vantry = self.start(home)
        for page in ("/second.html", "/third.html"):
            self.not_found(home, page)
        wait_until(lambda: self.waiting(home) == 3, what=vantry.stderr)
        return vantry

    def taken(self, server):
        """How often each page was mailed."""
        text = b"".join(server.mails).decode("latin-1")
        return [text.count("Page %s.html" % name) for name in ("first", "second", "third")]

    def end_with(self, home, server):
        self.server_is(home, server.place)
        vantry = self.start(home)
        wait_until(lambda: self.waiting(home) == 0, what=lambda: (self.smtp_lines(home), vantry.stderr()))
        vantry.errors_expected = True  # Of the tries before.
        vantry.stop()

    def test_mails_wait_for_a_server_that_is_away_over_a_kill_and_a_stop(self):
        home = self.folder("127.0.0.1:%d" % free_port())
        vantry = self.three_wait(home)
        self.wait_smtp_line(home, "to be tried again in 1 min")
        self.kill(vantry)
        self.assertEqual(self.waiting(home), 3)
        vantry = self.start(home)
        vantry.errors_expected = True
        self.wait_scans(vantry, 3)
        self.assertLess(vantry.stop(), 10)
        self.assertEqual(self.waiting(home), 3)
        server = self.scripted()
        self.end_with(home, server)
        self.assertEqual(self.taken(server), [1, 1, 1])
        self.end_with(home, server)
        self.assertEqual(self.taken(server), [1, 1, 1])
        self.assertEqual(os.path.getsize(home.file(FILE)), 0)

    def test_a_server_that_never_answers_holds_one_connection_and_loses_no_mail(self):
        silent = self.scripted(lambda line: "")
        home = self.folder(silent.place)
        vantry = self.three_wait(home)
        wait_until(lambda: silent.connections == 1, what=vantry.stderr)
        slowest, count = self.slowest_answer(vantry, 2)
        self.assert_prompt("while a mail server keeps silent", slowest, count)
        self.assertEqual(silent.connections, 1)
        self.kill(vantry)
        server = self.scripted()
        self.end_with(home, server)
        self.assertEqual(self.taken(server), [1, 1, 1])

    def test_a_kill_at_any_step_of_the_dialogue_loses_nothing_and_repeats_one_at_most(self):
        for step in ("", "EHLO", "MAIL", "RCPT", "DATA", "."):
            reached = []

            def answer(line):
                if line.split(" ")[0] == step:
                    reached.append(line)
                    return ""  # And the program is killed while it waits.
                return ScriptedServer.good(line)
            slow = self.scripted(answer)
            home = self.folder(slow.place)
            vantry = self.three_wait(home)
            wait_until(lambda: reached, what=vantry.stderr)
            self.kill(vantry)
            server = self.scripted()
            self.end_with(home, server)
            self.assertEqual(self.taken(server), [1, 1, 1], step)

    def test_a_login_waits_for_no_server_and_its_mail_is_kept(self):
        silent = self.scripted(lambda line: "")
        home = self.folder(silent.place)
        login = dict(EmailSendTo=TO, WebAccessControl="True", WebAccessEmail="True", WebUsername="operator",
                     WebPassword="sesame")
        self.server_is(home, silent.place, **login)
        vantry = self.start(home)
        wait_until(lambda: self.waiting(home) == 1, what=vantry.stderr)
        body = b"UserName=operator&Password=sesame&B1=Submit"
        begun = time.monotonic()
        answer = vantry.ask(b"POST / HTTP/1.0\r\nContent-Length: %d\r\n\r\n" % len(body) + body)
        self.assertIn(b"Sites Being Monitored", answer)
        self.assertLess(time.monotonic() - begun, 10)
        self.assertEqual(self.waiting(home), 2)
        self.kill(vantry)
        server = self.scripted()
        self.end_with(home, server)
        self.assertEqual(sum(b"Web Access User Login" in mail for mail in server.mails), 1)

    def test_a_refusal_for_good_is_told_and_dropped(self):
        no = self.scripted(lambda line: "550 not here\r\n" if line.startswith("RCPT") else ScriptedServer.good(line))
        home = self.folder(no.place)
        vantry = self.start(home)
        vantry.errors_expected = True
        self.wait_smtp_line(home, "550 not here <%s>" % TO)
        wait_until(lambda: self.waiting(home) == 0, what=vantry.stderr)
        vantry.stop()
        server = self.scripted()
        self.server_is(home, server.place)
        vantry = self.start(home)
        self.wait_scans(vantry, 3)
        vantry.stop()
        self.assertEqual(server.mails, [])


if __name__ == "__main__":
    side_by_side()
