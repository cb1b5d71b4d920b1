#!/usr/bin/python3
"""Mails through real servers: what was handed over is fetched back and taken apart with Python's own reader."""

import email
import email.header
import email.policy
import email.utils
import os
import random
import shutil
import subprocess
import tempfile
import time
import unittest

from harness import DEADLINE, SANITIZER_MARKS, free_port, vantry_binary
from mail_servers import EXIM, AioServer, Certificate, Exim, ScriptedServer

USER, PASSWORD = "monitor", "geheim-4711"
SENDER = "monitor@example.test"
SELF_SIGNED = "the certificate is not valid: self-signed certificate"


def parse(raw):
    """The mail with the line ends of this system."""
    return email.message_from_bytes(raw.replace(b"\r\n", b"\n"), policy=email.policy.default)


def decoded(header):
    return str(email.header.make_header(email.header.decode_header(header)))


class MailTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        try:
            import aiosmtpd  # noqa: F401
        except ImportError:
            raise unittest.SkipTest("aiosmtpd is not installed") from None
        cls.certificate = Certificate()
        cls.addClassCleanup(cls.certificate.remove)

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="vantry_mail_")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def server(self, **how):
        server = AioServer(**how)
        self.addCleanup(server.clean_up)
        return server

    def exim(self):
        if not os.path.exists(EXIM):
            self.skipTest("exim is not installed")
        server = Exim(self.certificate, USER, PASSWORD)
        self.addCleanup(server.clean_up)
        return server.wait_ready()

    def file(self, name, data):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as f:
            f.write(data)
        return path

    def send(self, place, user="", password="", sender=SENDER, to="a@example.test", subject="Hello", body=b"One line\n",
             html=False, attachment=None, env=None):
        """Exit code and status lines."""
        arguments = [place, user, password, sender, to, subject, self.file("body", body), "html" if html else "text"]
        tool = os.path.join(os.path.dirname(vantry_binary()), "send_mail")
        environment = {k: v for k, v in os.environ.items() if k not in ("SSL_CERT_FILE", "SSL_CERT_DIR")}
        environment.update(env or {})
        done = subprocess.run([tool] + arguments + ([attachment] if attachment else []), env=environment,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=DEADLINE, check=False)
        errors = done.stderr.decode("utf-8", "replace")
        self.assertFalse(any(mark in errors for mark in SANITIZER_MARKS), errors)
        text = done.stdout.decode("utf-8")
        self.assertNotIn(PASSWORD, text)
        return done.returncode, text.split("\n")[:-1]

    def assert_sent(self, place, **how):
        code, lines = self.send(place, **how)
        self.assertEqual((code, len(lines)), (0, 1), lines)
        self.assertIn(" took the mail for ", lines[0])
        return lines[0]

    def assert_fails(self, place, text, **how):
        self.assertEqual(self.send(place, **how), (1, ["%s: %s" % (place, text)]))

    def trusting(self):
        return {"SSL_CERT_FILE": self.certificate.cert}

    # What arrives.

    def test_a_plain_mail(self):
        server = self.server()
        to = "Ann Smith <a@example.test>, b@example.test"
        line = self.assert_sent(server.place, to=to, subject="Gr\u00fc\u00dfe",
                                body=b"Zeile 1\r\n.\r\n..zwei\rdrei = \xe9\x80\n" + b"x" * 3000 + b"\nend")
        self.assertEqual(line, server.place + " took the mail for a@example.test, b@example.test: 250 OK kept as 1")
        envelope, _, _ = server.mails[0]
        self.assertEqual((envelope.mail_from, envelope.rcpt_tos), (SENDER, ["a@example.test", "b@example.test"]))
        mail = parse(envelope.content)
        self.assertEqual(mail.defects, [])
        self.assertEqual(envelope.content.count(b"\n"), envelope.content.count(b"\r\n"))
        self.assertEqual(mail.get_content_type(), "text/plain")
        self.assertFalse(mail.is_multipart())
        self.assertEqual(mail["Subject"], "Gr\u00fc\u00dfe")
        self.assertEqual(mail["From"], SENDER)
        self.assertEqual(mail["To"], to)
        self.assertEqual(mail["Auto-Submitted"], "auto-generated")
        self.assertRegex(mail["Message-ID"], r"^<[0-9.]+@example\.test>$")
        self.assertAlmostEqual(email.utils.parsedate_to_datetime(mail["Date"]).timestamp(), time.time(), delta=60)
        self.assertEqual(mail.get_content(), "Zeile 1\n.\n..zwei\ndrei = \u00e9\u20ac\n" + "x" * 3000 + "\nend\n")

    def test_a_date_with_its_zone(self):
        server = self.server()
        self.assert_sent(server.place, env={"TZ": "XYZ-5:30"})
        date = parse(server.mails[0][0].content)["Date"]
        self.assertTrue(date.endswith(" +0530"), date)
        self.assertAlmostEqual(email.utils.parsedate_to_datetime(date).timestamp(), time.time(), delta=60)

    def test_hundreds_of_recipients(self):
        server = self.server()
        recipients = ["user%d@mail.example.test" % i for i in range(400)]
        self.assert_sent(server.place, to=", ".join(recipients + recipients[:3]))
        envelope, _, _ = server.mails[0]
        self.assertEqual(envelope.rcpt_tos, recipients)
        self.assertLessEqual(max(len(line) for line in envelope.content.split(b"\r\n")), 78)
        self.assertEqual([a.addr_spec for a in parse(envelope.content)["To"].addresses], recipients)

    def test_names_beyond_ascii(self):
        server = self.server()
        name = "J\u00f6rg \u20ac " + "\u4e2d\u6587" * 40
        self.assert_sent(server.place, sender="M\u00fcller, Web <m@example.test>", to=name + " <j@example.test>",
                         subject=name * 5)
        # Python's newer reader takes the blanks between encoded words for a part of a name.
        mail = email.message_from_bytes(server.mails[0][0].content)
        self.assertEqual(decoded(mail["To"]), name + " <j@example.test>")
        self.assertEqual(decoded(mail["From"]), "M\u00fcller, Web <m@example.test>")
        self.assertEqual(decoded(mail["Subject"]), name * 5)

    def test_html(self):
        server = self.server()
        body = "<html><body><p>Gr\u00fc\u00dfe = \u20ac</p>" + "<b>x</b>" * 500 + "</body></html>\n"
        self.assert_sent(server.place, html=True, body=body.encode())
        mail = parse(server.mails[0][0].content)
        self.assertEqual(mail.get_content_type(), "text/html")
        self.assertEqual(mail.get_content(), body)

    def test_attachments_byte_for_byte(self):
        rng = random.Random(7)
        server = self.server()
        for name, data, kind in (("today.htm", b"<p>Report\n", "text/html"),
                                 ("log.zip", rng.randbytes(300_000), "application/zip"),
                                 ("empty.txt", b"", "text/plain"),
                                 ("w\u00f6che \"7\".bin", bytes(range(256)) * 9, "application/octet-stream")):
            with self.subTest(name):
                self.assert_sent(server.place, attachment=self.file(name, data), body=b"See there.\n")
                mail = parse(server.mails[-1][0].content)
                self.assertEqual(mail.get_content_type(), "multipart/mixed")
                body, attached = mail.iter_parts()
                self.assertEqual(body.get_content(), "See there.\n")
                self.assertEqual(attached.get_content_type(), kind)
                self.assertTrue(attached.is_attachment())
                self.assertEqual(attached.get_filename(), name)
                self.assertEqual(attached.get_payload(decode=True), data)
                self.assertLessEqual(max(len(line) for line in server.mails[-1][0].content.split(b"\r\n")), 78)

    def test_a_refused_recipient_keeps_nobody_from_the_mail(self):
        server = self.server(refused=["b@example.test"])
        code, lines = self.send(server.place, to="a@example.test, b@example.test, c@example.test")
        self.assertEqual(code, 1)
        self.assertEqual(lines, [server.place + " took the mail for a@example.test, c@example.test: 250 OK kept as 1",
                                 server.place + ": 550 no such user <b@example.test>"])
        self.assertEqual(server.mails[0][0].rcpt_tos, ["a@example.test", "c@example.test"])

    def test_proxies_are_for_the_web(self):
        server = self.server()
        dead = "http://127.0.0.1:%d" % free_port()
        names = ("http_proxy", "https_proxy", "all_proxy", "ALL_PROXY", "smtp_proxy", "smtps_proxy")
        self.assert_sent(server.place, env=dict.fromkeys(names, dead))

    # Who is let in.

    def test_a_login_in_clear_where_no_encryption_is_offered(self):
        server = self.server(user=USER, password=PASSWORD, auth_require_tls=False)
        self.assert_sent(server.place, user=USER, password=PASSWORD)
        self.assertEqual(server.mails[0][1:], (False, USER.encode()))
        code, lines = self.send(server.place, user=USER, password="wrong-secret")
        self.assertEqual(code, 1)
        self.assertRegex(lines[0], r"^127\.0\.0\.1:\d+: the login was refused: 535 ")
        self.assertNotIn("wrong-secret", lines[0])
        code, lines = self.send(server.place)
        self.assertRegex(lines[0], r"^127\.0\.0\.1:\d+: 530 .*<%s>$" % SENDER)
        self.assertEqual(len(server.mails), 1)

    def test_without_a_login_any_encryption_will_do(self):
        server = self.server(tls_context=self.certificate.context(), require_starttls=True)
        self.assert_sent(server.place)
        self.assertTrue(server.mails[0][1])

    def test_a_login_goes_to_nobody_unknown(self):
        server = self.server(user=USER, password=PASSWORD, tls_context=self.certificate.context())
        self.assert_fails(server.place, SELF_SIGNED, user=USER, password=PASSWORD)
        self.assert_sent(server.place, user=USER, password=PASSWORD, env=self.trusting())
        self.assertEqual(server.mails[0][1:], (True, USER.encode()))
        # The certificate is for other names.
        listener = self.server(user=USER, password=PASSWORD, tls_context=self.certificate.context(), host="127.0.0.2")
        code, lines = self.send(listener.place, user=USER, password=PASSWORD, env=self.trusting())
        self.assertEqual(code, 1)
        self.assertIn(listener.place + ": the certificate is not valid: ", lines[0])
        self.assertEqual(listener.mails, [])

    def test_encrypted_from_the_first_byte(self):
        server = self.server(smtps=self.certificate.context())
        place = "smtps://" + server.place
        self.assertEqual(self.send(place), (1, [server.place + ": " + SELF_SIGNED]))
        self.assert_sent(place, env=self.trusting())
        self.assert_sent("smtps://localhost:%d" % server.port, env=self.trusting())
        self.assertEqual(len(server.mails), 2)

    def test_a_folder_of_certificates(self):
        server = self.server(smtps=self.certificate.context())
        shutil.copy(self.certificate.cert, self.folder)
        subprocess.run(["openssl", "rehash", self.folder], check=True, capture_output=True)
        self.assert_sent("smtps://" + server.place, env={"SSL_CERT_DIR": self.folder})

    def test_a_file_of_certificates_that_is_not_there(self):
        server = self.server(smtps=self.certificate.context())
        self.assertEqual(self.send("smtps://" + server.place, env={"SSL_CERT_FILE": "/nowhere/ca.pem"}),
                         (1, [server.place + ": the file of trusted certificates can't be read: /nowhere/ca.pem"]))

    # What goes wrong.

    def test_nobody_there(self):
        place = "127.0.0.1:%d" % free_port()
        self.assert_fails(place, "connection refused")
        code, lines = self.send("no-such-host.invalid")
        self.assertEqual((code, lines), (1, ["no-such-host.invalid:25: the name of the server is not known"]))
        self.assertEqual(self.send("mail server"), (1, ["'mail server' is no mail server"]))

    def test_a_server_without_encryption_where_it_must_be(self):
        server = ScriptedServer()
        self.addCleanup(server.clean_up)
        code, lines = self.send("smtps://" + server.place)
        self.assertEqual(code, 1)
        self.assertTrue(lines[0].startswith(server.place + ": "), lines)
        self.assertEqual(server.mails, [])

    # The other server.

    def test_exim_delivers(self):
        server = self.exim()
        data = random.Random(8).randbytes(100_000)
        code, lines = self.send(server.place, to="Ann <a@example.test>, nobody@example.test, x@elsewhere.test",
                                subject="Gr\u00fc\u00dfe", body=b".\n.dot\nlast", attachment=self.file("r.bin", data))
        self.assertEqual(code, 1)
        self.assertRegex(lines[0], "^%s took the mail for a@example.test: 250 OK id=" % server.place)
        self.assertEqual(lines[1], server.place + ": 550 no such user here <nobody@example.test>; "
                                                  "550 relaying is not for you <x@elsewhere.test>")
        mail = parse(server.wait_mails(1)[0])
        self.assertEqual(mail["Subject"], "Gr\u00fc\u00dfe")
        self.assertIn("esmtps", mail["Received"])
        body, attached = mail.iter_parts()
        self.assertEqual(body.get_content(), ".\n.dot\nlast\n")
        self.assertEqual(attached.get_payload(decode=True), data)

    def test_exim_takes_a_login_by_challenge(self):
        server = self.exim()
        self.assert_fails(server.place, SELF_SIGNED, user=USER, password=PASSWORD)
        self.assert_fails(server.place, "the login was refused: 535 Incorrect authentication data", user=USER,
                          password="wrong", env=self.trusting())
        self.assert_sent(server.place, user=USER, password=PASSWORD, env=self.trusting())
        self.assertIn("esmtpsa", parse(server.wait_mails(1)[0])["Received"])


if __name__ == "__main__":
    unittest.main()
