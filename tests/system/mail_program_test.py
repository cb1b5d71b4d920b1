#!/usr/bin/python3
"""The whole program sends mails: an exception of the log has one sent at once, the port answers meanwhile, and failures
are told."""

import email
import email.policy
import threading
import time
import unittest

from harness import append, ncsa_line, wait_until
from mail_case import TO, MailCase
from mail_servers import ScriptedServer


class MailProgramTest(MailCase):
    def test_an_exception_is_mailed_at_once(self):
        server = self.aio()
        home, vantry = self.begin(server)
        wait_until(lambda: server.mails)
        envelope = server.mails[0][0]
        self.assertEqual((envelope.mail_from, envelope.rcpt_tos), ("monitor@example.test", [TO]))
        mail = email.message_from_bytes(envelope.content, policy=email.policy.default)
        self.assertEqual(mail["Subject"], "An exception")
        self.assertEqual(mail["From"], "Monitor <monitor@example.test>")
        self.assertEqual(mail["To"], TO)
        self.assertIn("One: [404] Page gone.html not found", mail.get_content())
        self.assertIn("10.0.1.1", mail.get_content())
        self.wait_smtp_line(home, "%s took the mail for %s: 250 OK kept as 1" % (server.place, TO))
        vantry.stop()
        self.assertEqual(len(server.mails), 1)

    def test_the_port_answers_while_a_server_thinks(self):
        release = []

        def answer(line):
            if line == ".":
                release.append(time.monotonic() + 10)
                time.sleep(10)
            return ScriptedServer.good(line)
        server = self.scripted(answer)
        home, vantry = self.begin(server)
        # After the line whose mail is under way; neither waits for it.
        append(home.log("access.log"), ncsa_line("10.0.2.1", "/next.html", time.time() + 1))
        wait_until(lambda: release)
        vantry.wait_visitor("10.0.2.1", seconds=8)
        self.assertLess(time.monotonic(), release[0])
        slowest, count = self.slowest_answer(vantry, until=lambda: time.monotonic() > release[0] - 0.5)
        self.assertEqual(self.smtp_lines(home), [], "still under way")
        self.assert_prompt("server that thinks for 10 s", slowest, count)
        self.wait_smtp_line(home, "%s took the mail for %s: 250 OK" % (server.place, TO))

    def test_a_login_waits_for_its_mail_and_nothing_else_does(self):
        released = threading.Event()
        thinks = []

        def answer(line):
            if line == ".":
                thinks.append(line)
                released.wait(25)
            return ScriptedServer.good(line)
        server = self.scripted(answer)
        # The mail of the exception is under way all the time; that of the login passes it.
        home, vantry = self.begin(server, classic=["KeepUnsentMail"], EmailSendTo=TO, WebAccessControl="True",
                                  WebAccessEmail="True", WebUsername="operator", WebPassword="open sesame")
        wait_until(lambda: len(thinks) == 1)
        body = b"UserName=operator&Password=open sesame&B1=Submit"
        with vantry.connect() as s:
            s.sendall(b"POST / HTTP/1.0\r\nContent-Length: %d\r\n\r\n" % len(body) + body)
            wait_until(lambda: len(thinks) == 2)
            self.assertIn(b"HTTP/1.0 200", vantry.ask(b"GET / HTTP/1.0\r\n\r\n"))
            s.settimeout(0.5)
            with self.assertRaises(TimeoutError):
                s.recv(1)
            released.set()
            s.settimeout(20)
            self.assertTrue(s.recv(1 << 16).startswith(b"HTTP/1.0 200"))
        wait_until(lambda: len(self.smtp_lines(home)) == 2)
        self.assertEqual(len(server.mails), 2)
        vantry.stop()

    def test_what_goes_wrong_is_told_and_the_program_goes_on(self):
        known = ScriptedServer.good
        server = self.scripted(lambda line: "550 no such user\r\n" if "<gone@" in line else known(line))
        home, vantry = self.begin(server, "gone@example.test; %s" % TO, classic=["KeepUnsentMail"])
        vantry.errors_expected = True
        self.wait_smtp_line(home, server.place + ": 550 no such user <gone@example.test>")
        self.assertEqual(self.smtp_lines(home)[0], "%s took the mail for %s: 250 OK" % (server.place, TO))
        self.assertEqual(len(server.mails), 1)
        server.answer = lambda line: None if line == "." else known(line)
        self.not_found(home, "/gone2.html")
        self.wait_smtp_line(home, server.place + ": the connection broke off")
        server.stop_listening()
        self.not_found(home, "/gone3.html")
        self.wait_smtp_line(home, server.place + ": connection refused")
        vantry.wait_visitor("10.0.1.3")
        self.assertEqual(len(self.smtp_lines(home)), 4)

    def test_what_is_pending_goes_out_at_the_end(self):
        server = self.aio()
        home, vantry = self.begin(server, "", ["/gone1.html", "/gone2.html"], EmailSendTo=TO)
        vantry.wait_visitor("10.0.1.2")
        self.assertEqual(server.mails, [])
        self.assertLess(vantry.stop(), 20)
        self.assertEqual(len(server.mails), 1)
        content = email.message_from_bytes(server.mails[0][0].content, policy=email.policy.default).get_content()
        self.assertIn("gone1.html", content)
        self.assertIn("gone2.html", content)
        self.assertEqual(self.smtp_lines(home), ["%s took the mail for %s: 250 OK kept as 1" % (server.place, TO)])


if __name__ == "__main__":
    unittest.main()
