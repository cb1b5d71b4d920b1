#!/usr/bin/python3
"""What somebody does who has never seen the program: from a folder without a site to the first visitor, an alert with a
sound and a mail, in the window alone."""

import os
import unittest

from harness import append, ncsa_line, skip_at_midnight, wait_until, write_file
from mail_servers import AioServer
from window_case import MODULE, WindowCase

TO = "ops@example.test"


@unittest.skipUnless(os.path.exists(MODULE), "this build has no window")
class NewcomerTest(WindowCase):
    def setUp(self):
        skip_at_midnight()

    def sound_player(self, home):
        """Stands in for the machine's: notes in a file what it was to play."""
        folder, played = os.path.join(home.base, "bin"), os.path.join(home.base, "played")
        os.mkdir(folder)
        path = os.path.join(folder, "pw-play")
        write_file(path, "#!/bin/sh\necho \"$1\" >>%s\n" % played)
        os.chmod(path, 0o755)
        return folder, played

    def new_site(self, home):
        self.menu("Add Site")
        self.press_button("Next")
        self.type_into("Enter the Name of the site (Eg: Site1)", "Garden")
        self.type_into("Domain", "www.garden.example/")
        self.press_button("Next")
        self.press(self.find("NCSA Common or Combined. Used by Apache many other web servers.", "radio button"))
        self.press_button("Next")
        self.press_button("Next")
        self.type_into("Folder of the log files", home.logs)
        for _ in range(2):
            self.press_button("Next")
        self.press_button("Finish")
        self.wait_closed("New Site")

    def confirm(self, window):
        self.press_in(window, "OK")
        self.wait_closed(window)

    def test_from_an_empty_folder_to_a_sound_and_a_mail(self):
        try:
            mail = AioServer()
        except ImportError:
            self.skipTest("aiosmtpd is not installed")
        self.addCleanup(mail.clean_up)
        home = self.home()  # The port and its address are all there is.
        player, played = self.sound_player(home)
        sound = os.path.join(home.base, "bell.wav")
        write_file(sound, b"RIFF")
        append(home.log("access_log"), ncsa_line("10.0.0.1", "/first.html"))
        vantry = self.start(home, env={**self.display.of_the_program(), "PATH": player + ":/usr/bin:/bin"})
        wait_until(lambda: self.application() is not None, what="the window is not on the accessibility bus")
        self.press_button("No")  # Nothing to import.

        self.new_site(home)
        self.choose_site("Garden")
        self.menu("Start Monitoring")
        vantry.wait_visitor("10.0.0.1", "first.html")
        self.close_messages()

        # The alert that the wizard has made, for every visitor.
        self.menu("Edit Site")
        self.press_button("Modify")
        self.check("Play A Sound")
        self.type_into("Sound File", sound)
        self.confirm("Alert:1")
        self.confirm("Site Properties")
        append(home.log("access_log"), ncsa_line("10.0.0.2", "/second.html"))
        vantry.wait_visitor("10.0.0.2", "second.html")
        wait_until(lambda: os.path.exists(played) and self.text_of(home, played) == sound + "\n", what=vantry.stderr)
        self.menu("Alerts")
        self.wait_rows("Current Alerts", 2)

        self.menu("Options...")
        for name, text in (("Mail Server", mail.place), ("From Address", "vantry@example.test")):
            self.type_into(name, text)
        types = self.find("Exception Types", "table").queryTable()
        numbers = [types.getAccessibleAt(row, 0).name for row in range(types.nRows)]
        types.addRowSelection(numbers.index("404"))
        self.press_button("Modify...")
        self.check("Email This Exception")
        self.type_into("Email Address", TO)
        self.confirm("Exception Types: [")
        self.confirm("Options")
        append(home.log("access_log"), ncsa_line("10.0.0.3", "/gone.html", status=404))
        envelope, = wait_until(lambda: [m[0] for m in mail.mails], what=vantry.stderr)
        self.assertEqual((envelope.mail_from, envelope.rcpt_tos), ("vantry@example.test", [TO]))
        self.assertIn(b"Garden: [404] ", envelope.content)
        self.assertIn(b"gone.html", envelope.content)
        vantry.stop()
        # All of it is kept.
        self.assertEqual(home.site_values("Garden")["AlertSoundFile"], sound)
        self.assertIn("EmailAddress=%s" % TO, self.text_of(home, "EXTYPES.INI"))
        self.assertIn("EmailServer=%s" % mail.place, self.text_of(home, "SETTINGS.INI"))


if __name__ == "__main__":
    unittest.main()
