#!/usr/bin/python3
"""The dialogs of a running program, filled and confirmed over the accessibility bus: their tests against real servers,
and what becomes of an edit in the files and at the port."""

import os
import socket
import subprocess
import threading
import unittest

from fake_tds import FakeTds
from ftp_daemons_test import start_vsftpd
from ftp_servers import PASSWORD, USER, PyFtp, ScriptedFtp
from harness import (append, ncsa_line, side_by_side, skip_at_midnight, uses_address_sanitizer, vantry_binary,
                     wait_until)
from mail_servers import AioServer
from window_case import MODULE, WindowCase

MAIL_TRACE, FTP_TRACE = "Dialogue with the mail server", "Dialogue with the FTP server"


def bytes_of(home, name):
    with open(home.file(name), "rb") as file:
        return file.read()


def silent_server(test):
    """Takes connections and never says anything."""
    server = ScriptedFtp(lambda s: s.recv(1))
    test.addCleanup(server.clean_up)
    return server


@unittest.skipUnless(os.path.exists(MODULE), "this build has no window")
class DialogsTest(WindowCase):
    def setUp(self):
        skip_at_midnight()

    def wait_text(self, name, part, **how):
        wait_until(lambda: part in self.text_shown(name), what=lambda: "%r in %r" % (part, self.text_shown(name)), **how)

    def gateway(self, replies):
        """An SMS server that answers each connection by the next reply; what it was told is in the list it returns."""
        server = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(server.close)
        heard = []

        def serve():
            for reply in replies:
                try:
                    with server.accept()[0] as peer:
                        heard.append(peer.recv(1000))
                        peer.sendall(reply)
                        if reply:
                            peer.recv(1)
                except OSError:
                    return
        threading.Thread(target=serve, daemon=True).start()
        return server.getsockname()[1], heard

    def test_servers_are_tried_from_the_options(self):
        mail, sql = AioServer(), FakeTds()
        for server in (mail, sql):
            self.addCleanup(server.clean_up)
        port, heard = self.gateway([b"OK\x01", b"NO \x1b[31m\x01", b""])
        home, vantry = self.open(SQLServer=True, SQLServerName="127.0.0.1:%d" % sql.port, SQLServerAuth=False,
                                 SQLServerUser=sql.user, SQLServerPass=sql.password, SQLServerMins=600)
        self.close_messages()
        before = bytes_of(home, "SETTINGS.INI")
        self.menu("Options...")
        for name, text in (("Mail Server", mail.place), ("Send To", "ops@example.test"),
                           ("From Address", "vantry@example.test")):
            self.type_into(name, text)
        self.press_button("Test Email")
        self.wait_text(MAIL_TRACE, "The server took the mail")
        trace = self.text_shown(MAIL_TRACE)
        for line in ("Sending A Test Email To ops@example.test", "> MAIL FROM:<vantry@example.test>", "> RCPT TO:<ops@example.test>"):
            self.assertIn(line, trace)
        self.assertEqual(len(mail.mails), 1)
        self.assertIn(b"This is a test email from Vantry", mail.mails[0][0].content)

        self.type_into("Enter The Computer Name Or IP Address Of The Computer Running SMS Server", "127.0.0.1")
        self.type_into("UDP Port Number", str(port))
        for told in ("Test successfull!", "Test failed: NO \uFFFD[31m", "Error testing the connection to SMS Server: "):
            self.press_button("Test Connection")
            self.press_in(told, "OK")
        self.assertEqual(len(heard), 3)
        self.assertTrue(all(text.startswith(b"IDRCU.") for text in heard), heard)

        self.press_button("Test Login")
        self.press_in("Logged In & Out OK: ", "OK")
        sql.illness = "silent"

        # A test that is under way holds up nobody, and ends with the dialog.
        self.press_button("Test Login")
        self.type_into("Mail Server", "127.0.0.1:%d" % silent_server(self).port)
        self.press_button("Test Email")
        self.type_into("UDP Port Number", str(silent_server(self).port))
        self.press_button("Test Connection")
        append(home.log("tools.log"), ncsa_line("10.9.9.8", "/meanwhile.html"))
        vantry.wait_visitor("10.9.9.8")
        self.press_in("Options", "Cancel")
        self.wait_closed("Options")
        self.assertEqual(bytes_of(home, "SETTINGS.INI"), before)

    def to_location(self):
        self.menu("Add Site")
        self.press_button("Next")
        self.type_into("Enter the Name of the site (Eg: Site1)", "Far")
        self.type_into("Domain", "www.far.example")
        self.press_button("Next")
        self.press(self.find("NCSA Common or Combined. Used by Apache many other web servers.", "radio button"))
        for _ in range(2):
            self.press_button("Next")

    def try_ftp(self, port):
        self.type_into("Domain or IP address of FTP Server", "127.0.0.1:%d" % port)
        for _ in range(2):
            self.press_button("Next")

    def test_ftp_servers_are_tried_before_a_site_exists(self):
        home, vantry = self.open()
        self.close_messages()
        append(home.log("access_log"), ncsa_line("10.5.5.5", "/far.html"))
        before = bytes_of(home, "VANTRY.INI")
        names = range(20_000 if uses_address_sanitizer() else 100_000)
        many = [b"-rw-r--r-- 1 a a 5 Mar 05 11:59 file%06d\r\n" % n for n in names]
        many.append(b"-rw-r--r-- 1 a a 5 Mar 05 11:59 access_log\r\n")
        good = PyFtp(home.logs)
        full = PyFtp(home.logs, listing=many, banner="ready \x1b[2J\x07")
        busy = ScriptedFtp(lambda s: s.sendall(b"421 too many\r\n"))
        for server in (good, full, busy):
            self.addCleanup(server.clean_up)

        self.to_location()
        self.press(self.find("Via FTP.", "radio button"))
        self.type_into("User Name", USER)
        self.find("Password", "password text").queryEditableText().setTextContents(PASSWORD)
        self.try_ftp(busy.port)
        self.find("Test Failed. Click Back and check your connection settings.")
        self.assertIn("421 too many", self.text_shown(FTP_TRACE))
        self.press_button("Back")

        self.try_ftp(silent_server(self).port)
        self.wait_text(FTP_TRACE, "Testing FTP Connection")
        append(home.log("access.log"), ncsa_line("10.0.0.9", "/meanwhile.html"))
        vantry.wait_visitor("10.0.0.9")
        self.press_button("Back")

        self.try_ftp(full.port)
        self.wait_text(FTP_TRACE, "> HELP", seconds=60)
        self.find("Test Successful. Click Next to continue.")
        trace = self.text_shown(FTP_TRACE)
        self.assertIn("< 220 ready  [2J", trace)
        self.assertIn("access_log", trace)
        self.assertNotIn("file000001", trace)
        self.press_button("Back")

        self.try_ftp(good.port)
        self.find("Test Successful. Click Next to continue.")
        self.assertIn("> HELP", self.text_shown(FTP_TRACE))
        self.assertIn("HELP", good.commands)
        self.assertNotIn(PASSWORD, self.text_shown(FTP_TRACE))
        self.press_button("Back")

        # Left in the middle of a test.
        self.try_ftp(silent_server(self).port)
        self.press_in("New Site", "Cancel")
        self.wait_closed("New Site")
        self.assertEqual(bytes_of(home, "VANTRY.INI"), before)

    def test_a_daemon_is_tried_and_followed(self):
        home, vantry = self.open()
        self.close_messages()
        daemon = start_vsftpd(self, home)
        append(home.log("access_log"), ncsa_line("10.5.5.5", "/far.html"))
        self.to_location()
        self.press(self.find("Via FTP.", "radio button"))
        self.type_into("User Name", "anonymous")
        self.find("Password", "password text").queryEditableText().setTextContents("guest")
        self.try_ftp(daemon.port)
        self.find("Test Successful. Click Next to continue.")
        trace = self.text_shown(FTP_TRACE)
        for line in ("< 230", "access_log", "> HELP"):
            self.assertIn(line, trace)
        self.assertNotIn("guest", trace)
        for _ in range(2):
            self.press_button("Next")
        self.press_button("Finish")
        self.wait_closed("New Site")
        self.choose_site("Far")
        self.menu("Start Monitoring")
        vantry.wait_visitor("10.5.5.5", "far.html")

    def lines(self, home):
        """The site file, but for what each scan changes."""
        return [line for line in bytes_of(home, "VANTRY.INI").split(b"\r\n") if not line.startswith(b"Last")]

    def confirm(self, window="Site Properties"):
        self.press_in(window, "OK")
        self.wait_closed(window)

    def test_edits_reach_the_files_and_the_engine_and_cancel_reaches_nothing(self):
        home, vantry = self.open()
        wait_until(lambda: len(vantry.addresses()) == 4, what=vantry.stderr)
        self.close_messages()
        for name, count in (("other.log", 3), ("new.log", 1)):
            append(home.log(name), "".join(ncsa_line("10.1.%d.%d" % (count, i), "/o.html") for i in range(count)))
        before = {name: bytes_of(home, name) for name in ("VANTRY.INI", "SETTINGS.INI")}
        self.choose_site("Garden")

        # The scan of the other site goes on behind each of them.
        dialogs = (("Add Site", "New Site", "Enter the Name of the site (Eg: Site1)"),
                   ("Edit Site", "Site Properties", "Home Page for this site"), ("Options...", "Options", "Send To"))
        for place, (command, window, field) in enumerate(dialogs):
            self.menu(command)
            self.type_into(field, "x")
            append(home.log("tools.log"), ncsa_line("10.9.9.%d" % place, "/behind.html"))
            vantry.wait_visitor("10.9.9.%d" % place)
            self.press_in(window, "Cancel")
            self.wait_closed(window)
        for name, text in before.items():
            self.assertEqual(bytes_of(home, name), text)

        # OK without a change writes the file as the program does; a change after that is its line alone.
        self.menu("Edit Site")
        self.confirm()
        whole = self.lines(home)
        self.menu("Edit Site")
        self.type_into("Home Page for this site", "a=b; [c].htm")
        self.confirm()
        changed = [(a, b) for a, b in zip(whole, self.lines(home)) if a != b]
        self.assertEqual(changed, [(b"HomePage=index.html", b"HomePage=a=b; [c].htm")])
        self.assertEqual(len(whole), len(self.lines(home)))

        # What is changed meanwhile by other means stays, and the rest of the site reaches no file.
        self.menu("Edit Site")
        self.type_into("Home Page for this site", "b.htm")
        ctl = os.path.join(os.path.dirname(vantry_binary()), "vantryctl")
        subprocess.run([ctl, "set-site", home.path, "Garden", "EmailAddress=shop@example.test"], check=True,
                       stdout=subprocess.DEVNULL, timeout=60)
        self.assertEqual(home.site_values("Garden")["Paused"], "False")
        self.confirm()
        values = home.site_values("Garden")
        self.assertEqual((values["HomePage"], values["EmailAddress"], values["Paused"]),
                         ("b.htm", "shop@example.test", "False"))

        # Another mask: what stands there is read from its first byte, and so is the next one's.
        for mask, address in (("other.log", "10.1.3.0"), ("new.log", "10.1.1.0")):
            self.menu("Edit Site")
            self.type_into("Log File Mask", mask)
            self.confirm()
            vantry.wait_visitor(address)
        self.menu("Edit Site")
        self.press_button("New")
        self.find("Referrers", "list").queryTable().addRowSelection(0)
        self.confirm("Alert:1 [Alert 1]")
        self.confirm()
        self.assertIn(b"\r\nAlert=Alert 1\r\n", bytes_of(home, "VANTRY.INI"))
        append(home.log("new.log"), ncsa_line("10.1.1.77", "/alert.html"))
        self.menu("Alerts")
        self.wait_rows("Current Alerts", 1)

        self.menu("Options...")
        self.type_into("Subject", "a=b; [c]")
        self.confirm("Options")
        written = bytes_of(home, "SETTINGS.INI")
        self.assertIn(b"\r\nEmailSubject=a=b; [c]\r\n", written)
        self.menu("Options...")
        self.confirm("Options")
        self.assertEqual(bytes_of(home, "SETTINGS.INI"), written)

        # A site that is removed leaves the file with the next edit.
        self.choose_site("Tools")
        self.menu("Remove")
        self.press_in("Are you sure you want to stop monitoring the site", "Yes")
        self.choose_site("Garden")
        self.menu("Edit Site")
        self.confirm()
        self.assertNotIn(b"[Tools]", bytes_of(home, "VANTRY.INI"))


if __name__ == "__main__":
    side_by_side()
