#!/usr/bin/python3
"""vantryctl sets up what the dialogs do, and whatever runs or ends meanwhile, no change is lost."""

import os
import subprocess

from harness import (SystemTest, append, faketime_library, ncsa_line, quick_clock, side_by_side, skip_at_midnight,
                     vantry_binary, wait_until)


class EditCommands(SystemTest):
    def setUp(self):
        skip_at_midnight(before=300)
        self.clock = quick_clock(5) if faketime_library() else {}  # Scans are two seconds apart.

    def ctl(self, *words, code=0, stdin=""):
        program = os.path.join(os.path.dirname(vantry_binary()), "vantryctl")
        command, *rest = words
        done = subprocess.run([program, command, self.base.path, *rest], capture_output=True, text=True, timeout=120,
                              input=stdin)
        self.assertEqual(done.returncode, code, done)
        return done.stdout if code == 0 else done.stderr

    def read(self, name):
        with open(self.base.file(name), "rb") as f:
            return f.read()

    def begin(self, corrections, security=""):
        self.base = self.home()
        self.base.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n%s\n[Corrections]\n%s" % (security, corrections))
        more = os.path.join(self.base.base, "more")
        os.makedirs(more)
        append(self.base.log("access.log"), ncsa_line("10.0.0.1", "/a.htm").encode() * 2)
        append(self.base.log("other.txt"), ncsa_line("10.0.0.2", "/b.htm").encode() * 2)
        append(os.path.join(more, "access.log"), ncsa_line("10.0.0.3", "/c.htm").encode() * 2)
        self.base.write_sites(self.base.section("One", self.base.logs),
                              self.base.section("Two", more, Domain="www.two.test"))

    def changes(self, vantry):
        self.assertIn("is read from the beginning", self.ctl("set-site", "One", "Mask=other.txt"))
        if vantry:
            vantry.wait_visitor("10.0.0.2")
            wait_until(lambda: vantry.site_status("One").current == 2, what=vantry.status)
        self.ctl("remove-site", "Two")
        self.ctl("set", "EmailServer=mail.test", "EmailPassword=-", stdin="secret word\n")
        self.ctl("set-exception", "130", "Value=77")
        self.ctl("set-alert", "One", "new", "Name=My alert", "EngineAll=True")

    def unchanged(self):
        names = ("VANTRY.INI", "SETTINGS.INI", "EXTYPES.INI")
        before = [self.read(name) for name in names]
        self.assertIn("The domain name cannot contain spaces.",
                      self.ctl("set-site", "One", "HomePage=x", "Domain=a b", code=1))
        self.assertIn("must be at least 2", self.ctl("set", "InactivityMins=1", code=1))
        self.assertIn("is no number up to 32767", self.ctl("set-exception", "130", "Value=x", code=1))
        self.assertIn("at most, not 100000", self.ctl("set-site", "One", "HomePage=" + "x" * 100_000, code=1))
        self.assertEqual([self.read(name) for name in names], before)

    def kept(self):
        one = self.base.site_values("One")
        self.assertEqual((one["Mask"], one["Alert"], one["AlertENGINEALL"]), ("other.txt", "My alert", "Y"))
        self.assertNotIn(b"[Two]", self.read("VANTRY.INI"))
        self.assertIn(b"\r\nEmailServer=mail.test\r\n", self.read("SETTINGS.INI"))
        self.assertIn(b"\r\nEmailPassword=secret word\r\n", self.read("SETTINGS.INI"))
        self.assertIn(b"\r\nValue=77\r\n", self.read("EXTYPES.INI"))
        self.assertEqual([name for name in os.listdir(self.base.path) if name.startswith("vantry-edit")], [])

    def run_through(self, corrections):
        self.begin(corrections)
        vantry = self.start(self.base, env=self.clock)
        vantry.wait_visitor("10.0.0.1")
        vantry.wait_visitor("10.0.0.3")
        self.changes(vantry)
        self.kept()
        self.unchanged()
        vantry.stop()
        self.kept()
        vantry = self.start(self.base, env=self.clock)
        vantry.wait_visitor("10.0.0.2")
        self.assertEqual([site.name for site in vantry.status()], ["One"])
        vantry.stop()
        self.kept()

    def test_of_a_classic_program(self):
        self.run_through("KeepEdits=False\n")

    def test_of_a_program_that_takes_over_edits(self):
        self.run_through("All=True\n")

    def test_of_a_stopped_program(self):
        self.begin("KeepEdits=False\n")
        self.changes(None)
        self.kept()
        self.unchanged()
        self.assertIn("********", self.ctl("settings"))
        self.assertNotIn("secret", self.ctl("settings"))
        vantry = self.start(self.base, env=self.clock)
        vantry.wait_visitor("10.0.0.2")
        vantry.stop()
        self.kept()

    def test_a_file_that_cannot_be_written(self):
        self.begin("KeepEdits=False\n")
        vantry = self.start(self.base, env=self.clock)
        vantry.wait_visitor("10.0.0.1")
        # Even root can't put a file in the place of a folder, which is where the new one is made.
        os.mkdir(self.base.file("VANTRY.INI.new"))
        before = self.read("VANTRY.INI")
        self.assertIn("VANTRY.INI", self.ctl("set-site", "One", "Domain=www.new.test", code=1))
        self.assertEqual(self.read("VANTRY.INI"), before)
        os.rmdir(self.base.file("VANTRY.INI.new"))
        vantry.stop()
        self.assertEqual(self.base.site_values("One")["Domain"], "www.example.test")

    def test_who_may_not_steer_changes_nothing(self):
        self.begin("KeepEdits=False\n", security="ControlFrom=-\n")
        vantry = self.start(self.base, env=self.clock)
        vantry.wait_visitor("10.0.0.1")
        self.assertIn("ControlFrom=- in its registry.ini", self.ctl("remove-site", "One", code=1))
        vantry.stop()
        self.assertEqual(self.base.site_values("One")["Domain"], "www.example.test")


if __name__ == "__main__":
    side_by_side()
