"""An operator edits the files of a running program, and nobody's work is lost."""

import os
import signal
import subprocess
import unittest

from harness import Home, Vantry, append, ncsa_line, skip_at_midnight, vantry_binary, wait_until


class Edits(unittest.TestCase):
    def setUp(self):
        skip_at_midnight()
        self.home = Home()
        self.addCleanup(self.home.remove)
        self.home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nKeepEdits=True\n")
        self.home.write_site("One")
        # The last line stays unread, so that the program's place in the log is behind the first.
        append(self.home.log("access.log"), (ncsa_line("10.0.0.3", "/a.htm") + ncsa_line("10.0.0.1", "/a.htm")).encode())

    def start(self):
        vantry = Vantry(self.home).wait_ready()
        self.addCleanup(lambda: vantry.ended or vantry.process.kill())
        return vantry

    def ctl(self, *words):
        program = os.path.join(os.path.dirname(vantry_binary()), "vantryctl")
        done = subprocess.run([program, *words], capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, 0, done)
        return done.stdout

    def add_second_site(self):
        folder = os.path.join(self.home.base, "more")
        os.makedirs(folder)
        append(os.path.join(folder, "access.log"), ncsa_line("10.0.0.2", "/b.htm").encode())
        with open(self.home.file("VANTRY.INI"), newline="", encoding="latin-1") as f:
            text = f.read()
        section = Home.section("Two", folder, Domain="www.two.test")
        self.home.write("VANTRY.INI", text.rstrip("\r\n") + "\r\n\r\n" + section + "\r\n")

    def test_new_site_without_being_asked(self):
        vantry = self.start()
        vantry.wait_visitor("10.0.0.1")
        log = self.home.log("more.log")
        append(log, ncsa_line("10.0.0.2", "/b.htm").encode())
        self.ctl("add-site", self.home.path, "--name", "Two", "--domain", "www.two.test", log)
        vantry.wait_visitor("10.0.0.2")
        vantry.stop()
        self.assertEqual(self.home.site_values("Two")["Domain"], "www.two.test")
        self.assertGreater(int(self.home.site_values("One")["LastReadPos"]), 0)

    def test_reload_and_hang_up(self):
        vantry = self.start()
        vantry.wait_visitor("10.0.0.1")
        self.home.write_settings(NoSpiders="Perhaps")
        self.assertIn("not taken over: ", self.ctl("reload", "--port", str(self.home.port)))
        wait_until(lambda: "SETTINGS.INI line 6: 'Perhaps' is neither True nor False" in vantry.stderr(),
                   what=vantry.stderr)
        self.add_second_site()
        vantry.send_signal(signal.SIGHUP)
        vantry.wait_visitor("10.0.0.2")
        self.assertTrue(vantry.running())
        vantry.stop()


if __name__ == "__main__":
    unittest.main()
