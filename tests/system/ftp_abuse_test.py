"""FTP servers that hang, lie, flood and break: each is told in a line with the site, the host and what to do, and
nothing else waits for them."""

import os
import threading
import time
import unittest

from ftp_servers import FtpCase, MiniFtp, PyFtp, ScriptedFtp
from harness import append, ncsa_line, wait_until

PROMPT = 1.0  # Seconds for an answer of the port; generous for a busy machine.


class FtpAbuseTest(FtpCase):
    def watch(self, server, corrections="All=True\n", local=False, **keys):
        self.addCleanup(server.clean_up)
        home = self.home()
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\n" + corrections)
        sections = [home.section("Far", "", **{**server.keys(), "Domain": "far.example.test", **keys})]
        if local:
            sections.append(home.section("Near", home.logs, Domain="near.example.test"))
        home.write_sites(*sections)
        vantry = self.start(home)
        vantry.errors_expected = True
        return home, vantry

    def slowest_answer(self, vantry, seconds=3.0):
        end, worst = time.monotonic() + seconds, 0.0
        while time.monotonic() < end:
            begin = time.monotonic()
            vantry.list()
            worst = max(worst, time.monotonic() - begin)
            time.sleep(0.05)
        return worst

    def wait_told(self, vantry, text):
        wait_until(lambda: text in vantry.stderr(), what=vantry.stderr)

    def test_a_server_that_trickles_delays_nothing_else(self):
        text = ncsa_line("10.0.0.1", "/p.htm").encode()
        server = MiniFtp(text, pieces=[text[n:n + 1] for n in range(len(text))], pause=1.0)
        home, vantry = self.watch(server, local=True)
        wait_until(lambda: any(c.startswith("RETR") for c in server.commands))
        for n in range(1, 4):
            append(home.log("access.log"), ncsa_line("10.1.0.%d" % n, "/p.htm"))
            vantry.wait_visitor("10.1.0.%d" % n, seconds=10)
        self.assertLess(self.slowest_answer(vantry), PROMPT)
        self.assertLess(vantry.stop(), 8)

    def test_a_server_that_never_speaks_delays_nothing_else(self):
        server = ScriptedFtp(lambda s: s.recv(1))
        home, vantry = self.watch(server, local=True)
        append(home.log("access.log"), ncsa_line("10.1.0.1", "/p.htm"))
        vantry.wait_visitor("10.1.0.1", seconds=10)
        self.assertLess(self.slowest_answer(vantry), PROMPT)
        self.assertLess(vantry.stop(), 8)

    def test_a_server_that_says_no_good_bye_delays_no_end(self):
        gone = threading.Event()
        self.addCleanup(gone.set)
        server = MiniFtp(ncsa_line("10.0.0.1", "/p.htm").encode(), replies={"QUIT": lambda s: gone.wait() and b""})
        _, vantry = self.watch(server)
        vantry.wait_visitor("10.0.0.1")
        self.assertLess(vantry.stop(), 4)
        wait_until(lambda: "QUIT" in server.commands, what=lambda: server.commands)

    def test_the_port_answers_while_all_sites_wait_in_the_classic_way(self):
        server = ScriptedFtp(lambda s: s.recv(1))
        _, vantry = self.watch(server, corrections="", local=True)
        wait_until(lambda: server.open)
        self.assertLess(self.slowest_answer(vantry), PROMPT)
        self.assertLess(vantry.stop(), 8)

    def test_a_banner_of_a_megabyte_is_told(self):
        server = MiniFtp(b"", banner=b"220-welcome to the machine\r\n" * 37_000 + b"220 ready\r\n")
        _, vantry = self.watch(server)
        self.wait_told(vantry, "the server says more than its clients can read")
        self.assertIn("Site Far: 127.0.0.1:%d" % server.port, vantry.stderr())
        self.assertLess(len(vantry.stderr()), 10_000)

    def test_a_long_banner_is_read(self):
        text = ncsa_line("10.0.0.1", "/p.htm").encode()
        _, vantry = self.watch(MiniFtp(text, banner=b"220-welcome to the machine\r\n" * 5_000 + b"220 ready\r\n"))
        vantry.wait_visitor("10.0.0.1")

    def test_a_banner_without_an_end(self):
        def flood(s):
            while True:
                s.sendall(b"220-" + b"x" * 10_000)
        _, vantry = self.watch(ScriptedFtp(flood))
        self.assertLess(self.slowest_answer(vantry), PROMPT)
        self.assertLess(vantry.memory_peak_kb(), 250_000)
        self.assertLess(vantry.stop(), 8)

    def test_too_many_clients(self):
        server = ScriptedFtp(lambda s: s.sendall(b"421 Too many connections (8), come back later.\r\n"))
        _, vantry = self.watch(server)
        self.wait_told(vantry, "421 Too many connections")
        self.assertIn("127.0.0.1:%d" % server.port, vantry.stderr())

    def test_a_size_beyond_all_files(self):
        text = ncsa_line("10.0.0.1", "/p.htm").encode()
        server = MiniFtp(text, replies={"SIZE": b"213 99999999999999999999\r\n"})
        _, vantry = self.watch(server)
        vantry.wait_visitor("10.0.0.1")

    def test_names_with_line_ends_reach_no_command(self):
        home = self.home()
        server = PyFtp(home.logs, listing=[b"-rw-r--r-- 1 o g 77 Jan 15 2021 a\rDELE b.log\r\n",
                                           b"-rw-r--r-- 1 o g 77 Jan 15 2021 ../../b.log\r\n",
                                           b"-rw-r--r-- 1 o g 77 Jan 15 2020 a b.log\r\n"])
        append(home.log("a b.log"), ncsa_line("10.0.0.1", "/p.htm"))
        _, vantry = self.watch(server, Mask="*.log")
        vantry.wait_visitor("10.0.0.1")
        self.assertEqual(server.count("DELE"), 0)
        self.assertEqual({c for c in server.commands if c.startswith("RETR")}, {"RETR a b.log"})

    def test_a_folder_with_a_control_character_is_told(self):
        server = MiniFtp(b"")
        _, vantry = self.watch(server, FTPPath="/logs\x0bDELE x")
        self.wait_told(vantry, "the name of the folder holds a line end or another control character; check FTPPath")
        self.assertIn("Site Far: 127.0.0.1:%d" % server.port, vantry.stderr())

    def test_a_login_or_a_mask_with_a_control_character_is_told(self):
        for keys, text in (({"FTPPassword": "a\x0bDELE x"}, "the login holds a line end or another control character; "
                            "check FTPUserName and FTPPassword"),
                           ({"Mask": "a\x0bDELE x"}, "the name of the file holds a line end or another control "
                            "character; check Mask")):
            with self.subTest(keys):
                server = MiniFtp(b"")
                _, vantry = self.watch(server, **keys)
                self.wait_told(vantry, text)
                self.assertIn("Site Far: 127.0.0.1:%d" % server.port, vantry.stderr())
                self.assertFalse([c for c in server.commands if "DELE" in c])
                vantry.stop()

    def test_a_domain_that_is_none_is_told(self):
        server = MiniFtp(b"")
        _, vantry = self.watch(server, FTPDomain="http://example.test/")
        self.wait_told(vantry, "'http://example.test/' is not an FTP server; write host, host:port, ftps://host")

    def test_a_folder_that_is_not_there_is_told(self):
        home = self.home()
        _, vantry = self.watch(PyFtp(home.logs), FTPPath="/nowhere")
        self.wait_told(vantry, "the folder '/nowhere' can't be opened: 550")
        self.assertIn("check FTPPath", vantry.stderr())

    def test_a_log_of_blank_lines_and_of_one_endless_line(self):
        line = ncsa_line("10.0.0.1", "/p.htm").encode()
        for filling in (b"\r\n" * 2_000_000, b"\0" * 4_000_000 + b"\n", b"x" * 4_000_000 + b"\n"):
            for corrections in ("", "All=True\n"):
                with self.subTest(filling=filling[:2], corrections=corrections):
                    _, vantry = self.watch(MiniFtp(filling + line), corrections)
                    vantry.wait_visitor("10.0.0.1")
                    vantry.stop()


if __name__ == "__main__":
    unittest.main()
