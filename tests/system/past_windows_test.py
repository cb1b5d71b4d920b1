#!/usr/bin/python3
"""The windows on what happened before, walked through over the accessibility bus as a person would: from a visitor to
the visit, its pages and its referrer, which is deleted with each of the three answers, and a list that is mailed."""

import email
import os
import time
import unittest

from harness import append, ncsa_line, skip_at_midnight, wait_until
from mail_servers import AioServer
from window_case import BUTTON, MODULE, WindowCase, parts, role_of

QUESTION = "Are you sure you want to delete the referrer"
EXCLUDE = "Do you want to exclude this referrer"


@unittest.skipUnless(os.path.exists(MODULE), "this build has no window")
class PastWindowsTest(WindowCase):
    def setUp(self):
        skip_at_midnight()

    def choose_row(self, list_name, text):
        """Chooses the row with this text in any cell."""
        def choose():
            table = self.find(list_name, "table").queryTable()
            for row in range(table.nRows):
                if any(table.getAccessibleAt(row, column).name == text for column in range(table.nColumns)):
                    return table.addRowSelection(row)
            return None
        wait_until(choose, what="no row with %r in %s" % (text, list_name))

    def close_window(self, caption):
        def gone():
            return all(node.name != caption for node in self.application())
        self.press_in_window(caption, "Close")
        wait_until(gone, what="%s is still open" % caption)

    def press_in_window(self, caption, button):
        """A tool of the window with this caption: several have one of that name."""
        def search():
            for window in self.application():
                try:
                    if window.name == caption:
                        return next(n for n in parts(window) if n.name == button and role_of(n) in BUTTON)
                except Exception:  # Gone meanwhile, or there is none yet.
                    continue
            return None
        self.press(wait_until(search, what="no %s in %s" % (button, caption)))

    def referrers(self):
        return sorted(row[4] for row in self.rows("Top Referrers") if row[4] != "-")

    def delete(self, name, *answers):
        self.choose_row("Top Referrers", name)
        self.press_in_window("Top Referrers", "Delete")
        for question, answer in zip((QUESTION, EXCLUDE), answers):
            self.press_in(question, answer)

    def test_from_a_visitor_to_everything_about_the_visit(self):
        try:
            mail = AioServer()
        except ImportError:
            self.skipTest("aiosmtpd is not installed")
        self.addCleanup(mail.clean_up)
        home, vantry = self.open(EmailServer=mail.place, EmailFrom="vantry@example.test")
        for n in range(1, 4):
            append(home.log("access.log"), ncsa_line("10.1.0.%d" % n, "/from%d.html" % n, at=time.time() - 5,
                                                     referrer="http://from%d.example/x" % n))
        append(home.log("access.log"), ncsa_line("10.1.0.1", "/second.html"))
        vantry.wait_visitor("10.1.0.1", "second.html")
        self.close_messages()
        self.choose_site("Garden")
        self.choose_row("Current Visitors", "second.html")

        self.menu("View Visit Details")
        details = {row[0]: row[1] for row in self.wait_rows("Visit Details", 11)}
        self.assertEqual((details["IP Address"], details["Referrer"]), ("10.1.0.1", "http://from1.example"))
        self.assertEqual([row[1] for row in self.rows("Visit Details")[-3:]],
                         ["Session Started", "from1.html", "second.html"])
        self.press_in_window("Visit Details", "Previous Visits")
        visit, = self.wait_rows("Previous Visits", 1)
        self.assertEqual(visit[1], "Garden")
        self.assertEqual(visit[-1], "http://from1.example")

        self.press_in_window("Previous Visits", "Email")
        title = "Previous Visits For 10.1.0.1 On Site Garden"
        to = next(part for part in parts(self.find("Send to:", "combo box")) if role_of(part) == "text")
        to.queryEditableText().setTextContents("ops@example.test")
        self.press_in(title, "Send")
        self.wait_closed(title)
        envelope, = wait_until(lambda: [m[0] for m in mail.mails], what=vantry.stderr)
        self.assertEqual(envelope.rcpt_tos, ["ops@example.test"])
        attached, = [part for part in email.message_from_bytes(envelope.content).walk() if part.get_filename()]
        self.assertEqual(attached.get_filename(), "Previous Visits.htm")
        text = attached.get_payload(decode=True).decode("latin-1")
        self.assertIn("<b>%s</b>" % title, text)
        self.assertIn("from1.html", text)
        self.close_window("Previous Visits")
        self.close_window("Visit Details")

        self.menu("View Top Referrers")
        self.wait_rows("Top Referrers", 4)
        names = ["http://from%d.example" % n for n in range(1, 4)]
        self.assertEqual(self.referrers(), names)
        self.delete(names[0], "No")
        self.delete(names[0], "Yes", "Cancel")
        self.assertEqual(self.referrers(), names)
        self.delete(names[0], "Yes", "No")
        self.wait_rows("Top Referrers", 3)
        self.delete(names[1], "Yes", "Yes")
        self.wait_rows("Top Referrers", 2)
        self.assertEqual(self.referrers(), names[2:])
        vantry.stop()
        rows = {row["NAME"]: row["VISITS"] for row in self.table(home, "Referrers") if row["NAME"] != "-"}
        self.assertEqual(rows, {names[1]: -1, names[2]: 1})

    @staticmethod
    def table(home, name):
        from dbfread import DBF
        return [{k.upper(): v for k, v in row.items()} for row in DBF(home.file("Data/%s.DBF" % name), encoding="latin-1")]


if __name__ == "__main__":
    unittest.main()
