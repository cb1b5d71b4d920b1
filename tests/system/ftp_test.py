"""Logs on a remote server: what is fetched, from where on, and what becomes of it when log or server change."""

import calendar
import os
import time
import unittest

from ftp_servers import RATE, FtpCase, PyFtp
from harness import StandingClock, SystemTest, append, faketime_library, ncsa_line, wait_until

DEFAULT = "[Security]\nBindAddress=127.0.0.1\n"
NOON = calendar.timegm((2026, 3, 5, 12, 0, 0))
NO_CONNECTION = "no connection; see whether the server runs, and check FTPDomain: connection refused"


def tables(home):
    """The tables and their index, byte for byte."""
    found = {}
    for name in os.listdir(home.file("Data")):
        if name.endswith((".DBF", ".idx")):
            with open(home.file(os.path.join("Data", name)), "rb") as f:
                found[name] = f.read()
    return found


class FtpTest(FtpCase):
    def remote(self, corrections="", **habits):
        """A home whose logs a server has; its site is written by the test."""
        home = self.home()
        if corrections:
            home.write("registry.ini", DEFAULT + "[Corrections]\n" + corrections)
        server = PyFtp(home.logs, **habits)
        self.addCleanup(lambda: server.stop())
        return home, server

    def write_site(self, home, server, name="One", **keys):
        home.write_site(name, **{**server.keys(), "Folder": "", **keys})

    def read_one_after_the_other(self, home, server, vantry, count=4):
        """Adds lines one by one; each is fetched. Returns the length of the log."""
        for n in range(1, count + 1):
            append(home.log("access.log"), ncsa_line("10.0.0.%d" % n, "/p.htm"))
            vantry.wait_visitor("10.0.0.%d" % n, "p.htm")
        self.assertEqual(len(vantry.list()), count)
        return os.path.getsize(home.log("access.log"))

    def test_a_growing_log_is_fetched_from_where_it_was_left(self):
        home, server = self.remote()
        append(home.log("access.log"), "")
        self.write_site(home, server)
        vantry = self.start(home)
        size = self.read_one_after_the_other(home, server, vantry)
        self.assertEqual(server.count("USER"), 1, "the logon is used again: %s" % server.commands)
        self.assertIn("REST %d" % len(ncsa_line("10.0.0.1", "/p.htm")), server.commands)
        vantry.stop()
        self.assertEqual(int(home.site_values("One")["LastReadPos"]), size)

    def test_half_a_line_waits_for_its_other_half(self):
        home, server = self.remote()
        line = ncsa_line("10.0.0.2", "/second.htm")
        append(home.log("access.log"), ncsa_line("10.0.0.1", "/first.htm") + line[:20])
        self.write_site(home, server)
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.1")
        self.assertEqual(vantry.addresses(), ["10.0.0.1"])
        append(home.log("access.log"), line[20:])
        vantry.wait_visitor("10.0.0.2", "second.htm")
        self.assertEqual(sorted(vantry.addresses()), ["10.0.0.1", "10.0.0.2"])

    def test_servers_without_size_or_rest_give_each_line_once(self):
        for habits in ({"no_size": "550 SIZE is not for you."}, {"no_size": "502 No such command."},
                       {"no_rest": "502 No such command."}, {"no_size": "550 No.", "no_rest": "501 No."}):
            with self.subTest(**habits):
                home, server = self.remote("WholeLines=True\n", **habits)
                append(home.log("access.log"), "")
                self.write_site(home, server)
                vantry = self.start(home)
                self.read_one_after_the_other(home, server, vantry)
                vantry.stop()

    def test_the_newest_file_is_picked_of_both_forms_of_listing(self):
        for dos in (False, True):
            with self.subTest(dos=dos):
                home, server = self.remote(dos=dos)
                os.mkdir(home.log("ex9.log"))
                for name, age in (("ex1.log", 7200), ("ex2.log", 60), ("ex0.log", 86400 * 400)):
                    append(home.log(name), ncsa_line("10.0.0." + name[2], "/p.htm"))
                    os.utime(home.log(name), (time.time() - age,) * 2)
                append(home.log("note.txt"), "x")
                self.write_site(home, server, Mask="EX*.LOG")
                vantry = self.start(home)
                vantry.wait_visitor("10.0.0.2")
                self.assertEqual(vantry.addresses(), ["10.0.0.2"])
                vantry.stop()
                self.assertEqual(home.site_values("One")["LastLogFile"], "ex2.log")

    def test_ten_thousand_entries(self):
        lines = [b"-rw-r--r-- 1 o g 77 Jan 15 2020 ex%05d.log\r\n" % n for n in range(10_000)]
        lines.append(b"-rw-r--r-- 1 o g 99999999999999999999 Feb 15 2021 today.log\r\n")
        home, server = self.remote(listing=lines)
        append(home.log("today.log"), ncsa_line("10.0.0.1", "/p.htm"))
        self.write_site(home, server, Mask="*.log")
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.1")

    def test_a_listing_without_dates_is_read_by_nobody(self):
        home, server = self.remote("WaitForLog=True\n", listing=[b"ex1.log\r\n", b"-rw-r--r-- ex2.log\r\n"])
        self.write_site(home, server, Mask="*.log")
        vantry = self.start(home)
        wait_until(lambda: "no log file was found in the FTP path / [*.log]" in vantry.stderr(), what=vantry.stderr)

    def test_a_folder_in_the_place_of_the_log_is_told(self):
        home, server = self.remote("WaitForLog=True\n")
        os.mkdir(home.log("access.log"))
        self.write_site(home, server)
        vantry = self.start(home)
        wait_until(lambda: "'access.log' can't be fetched" in vantry.stderr(), what=vantry.stderr)
        self.assertIn("Site One: 127.0.0.1:%d" % server.port, vantry.stderr())

    def test_rotation_by_rename_loses_no_line_when_followed(self):
        home, server = self.remote("FollowRotation=True\n")
        append(home.log("access.log"), "")
        self.write_site(home, server)
        vantry = self.start(home)
        self.read_one_after_the_other(home, server, vantry, 3)
        server.stop()
        append(home.log("access.log"), ncsa_line("10.0.1.1", "/last.htm"))
        os.rename(home.log("access.log"), home.log("access.log.1"))
        append(home.log("access.log"), ncsa_line("10.0.1.2", "/new.htm"))
        server.start()
        vantry.wait_visitor("10.0.1.2", "new.htm")
        self.assertEqual(len(vantry.list()), 5)
        self.assertEqual(vantry.visitor("10.0.1.1").page, "last.htm")

    def test_a_log_that_shrank_is_read_from_its_start_at_the_next_look(self):
        home, server = self.remote()
        append(home.log("access.log"), "")
        self.write_site(home, server)
        vantry = self.start(home)
        self.read_one_after_the_other(home, server, vantry, 3)
        vantry.stop()
        os.remove(home.log("access.log"))
        append(home.log("access.log"), ncsa_line("10.0.1.2", "/new.htm"))
        vantry = self.start(home)
        vantry.wait_visitor("10.0.1.2", "new.htm")

    def test_another_name_is_a_log_from_its_start(self):
        home, server = self.remote()
        append(home.log("ex1.log"), ncsa_line("10.0.0.1", "/p.htm") * 5)
        self.write_site(home, server, Mask="ex*.log", SelectMethod=1)
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.1")
        vantry.stop()
        append(home.log("ex2.log"), ncsa_line("10.0.0.2", "/p.htm"))
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.2")

    def test_a_transfer_that_breaks_off_in_a_line_goes_on_there(self):
        home, server = self.remote(drop_after=40_000)
        append(home.log("access.log"), "".join(ncsa_line("10.1.%d.%d" % (n // 200, n % 200), "/p.htm")
                                               for n in range(1_000)))
        self.write_site(home, server, Frequency=0)
        vantry = self.start(home)
        wait_until(lambda: len(vantry.list()) == 1_000, what=lambda: (len(vantry.list()), vantry.stderr()))
        self.assertGreater(server.count("RETR"), 1)

    def test_a_server_that_goes_and_comes_back_is_logged_on_to_again(self):
        home, server = self.remote("TellFetchOnce=True\n")
        append(home.log("access.log"), "")
        self.write_site(home, server)
        vantry = self.start(home)
        size = self.read_one_after_the_other(home, server, vantry, 2)
        server.stop()
        wait_until(lambda: NO_CONNECTION in vantry.stderr(), what=vantry.stderr)
        self.wait_scans(vantry, 1 + 6 / RATE)
        told = vantry.stderr()
        self.assertEqual(told.count("FTP Connect: 127.0.0.1:%d: %s\n" % (server.port, NO_CONNECTION)), 1, told)
        append(home.log("access.log"), ncsa_line("10.0.0.3", "/p.htm"))
        server.start()
        vantry.wait_visitor("10.0.0.3")
        self.assertIn("REST %d" % size, server.commands)

    def test_a_server_that_logs_idle_clients_off_is_logged_on_to_again(self):
        home, server = self.remote(idle=1)
        append(home.log("access.log"), "")
        self.write_site(home, server, Frequency=2 * RATE)  # Two seconds of the server's.
        vantry = self.start(home)
        self.read_one_after_the_other(home, server, vantry, 2)
        self.assertGreater(server.count("USER"), 1)
        self.assertNotIn("can't", vantry.stderr())

    def test_a_wrong_password_is_told_with_what_to_do(self):
        home, server = self.remote("WaitForLog=True\nTellFetchOnce=True\n")
        append(home.log("access.log"), ncsa_line("10.0.0.1", "/p.htm"))
        self.write_site(home, server, FTPPassword="wr0ng")
        vantry = self.start(home)
        wait_until(lambda: "check FTPUserName and FTPPassword" in vantry.stderr(), what=vantry.stderr)
        self.assertIn("127.0.0.1:%d: the login was refused: 530" % server.port, vantry.stderr())
        self.assertNotIn("wr0ng", vantry.stderr())

    def test_active_mode(self):
        home, server = self.remote()
        append(home.log("access.log"), "")
        self.write_site(home, server, FTPPassive=False)
        vantry = self.start(home)
        self.read_one_after_the_other(home, server, vantry, 2)
        self.assertEqual(server.count("PASV") + server.count("EPSV"), 0)
        self.assertGreater(server.count("EPRT") + server.count("PORT"), 1)

    def tables_of(self, text, corrections, is_remote):
        """All tables of a run that read this log, by name. Its clock stands still, as exceptions have their time."""
        home, server = self.remote(corrections)
        append(home.log("access.log"), text)
        keys = {**server.keys(), "Folder": ""} if is_remote else {}
        home.write_site(**keys)
        clock = StandingClock(home, NOON)
        vantry = SystemTest.start(self, home, env=clock.env)
        clock.set(NOON + 5)  # Now a scan is due, and no other one.
        wait_until(lambda: vantry.visitor("10.9.9.9"), what=vantry.stderr)
        vantry.stop()
        server.stop()
        self.assertEqual(server.count("RETR"), 1 if is_remote else 0)
        return tables(home)

    @unittest.skipUnless(faketime_library(), "faketime is not installed")
    def test_the_same_log_gives_the_same_tables_whether_local_or_remote(self):
        text = "".join(ncsa_line("10.2.%d.%d" % (n % 7, n % 50), "/%d.htm" % (n % 11), at=NOON - 900 + n // 4,
                                 status=404 if n % 17 == 0 else 200) for n in range(1_000))
        text += ncsa_line("10.9.9.9", "/last.htm", at=NOON - 600)
        for corrections in ("", "All=True\n"):
            with self.subTest(corrections=corrections):
                local, remote = (self.tables_of(text, corrections, is_remote) for is_remote in (False, True))
                self.assertEqual(sorted(local), sorted(remote))
                self.assertGreater(len(local["Pages.DBF"]), 10_000)
                self.assertGreater(len(local["Exceptions.DBF"]), 5_000)
                for name, data in local.items():
                    self.assertEqual(data, remote[name], name)


if __name__ == "__main__":
    unittest.main()
