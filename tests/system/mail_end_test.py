#!/usr/bin/python3
"""The end of the program beside a mail server that never says a word."""

import signal
import sys
import time
import unittest

from harness import wait_until
from mail_case import TO, MailCase

# Mails have 30 s at the end of the program; the rest is for slow machines.
LAST_SECONDS = 36


class MailEndTest(MailCase):
    def test_a_server_that_never_answers_holds_up_neither_the_port_nor_the_end(self):
        server = self.scripted(lambda line: "")
        home, vantry = self.begin(server, "", classic=["KeepUnsentMail"], EmailSendTo=TO)
        home2, vantry2 = self.begin(server, classic=["KeepUnsentMail"])
        vantry.errors_expected = vantry2.errors_expected = True
        # One has a mail pending, the other one on its way.
        vantry.wait_visitor("10.0.1.1")
        wait_until(lambda: server.connections == 1)
        self.assert_prompt("server that never answers", *self.slowest_answer(vantry2, seconds=3))
        self.assertEqual(server.connections, 1)
        begin = time.monotonic()
        vantry2.send_signal(signal.SIGTERM)
        vantry.send_signal(signal.SIGTERM)
        for program in (vantry, vantry2):
            program.wait_end(LAST_SECONDS)
            program.check_end()
        took = time.monotonic() - begin
        print("the end with a silent server took %.1f s" % took, file=sys.stderr)
        self.assertLess(took, LAST_SECONDS)
        # Which of the two limits comes first is a matter of a second.
        for lines in (self.smtp_lines(home), self.smtp_lines(home2)):
            self.assertEqual(len(lines), 1)
            self.assertIn(lines[0], [server.place + ": the time for sending mail is up",
                                     server.place + ": the server did not answer within 30 s"])


if __name__ == "__main__":
    unittest.main()
