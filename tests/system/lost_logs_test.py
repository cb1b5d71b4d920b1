"""Logs that shrink, vanish, come back as something else: a site goes on when its log does."""

import os
import unittest

from harness import SystemTest, append, ncsa_line, skip_at_midnight, wait_until, write_file


class LostLogTest(SystemTest):
    """Many sites in one run, each with another misfortune; none of them may touch the others."""

    def setUp(self):
        skip_at_midnight()

    def test_logs_that_shrink_vanish_and_return(self):
        home = self.home()
        home.keep_classic("WaitForLog", "FollowRotation", "QuietReplay", "WholeLines", "Immediate")
        names = ("cut-unix", "cut-text", "replaced", "deleted", "directory", "folder", "fine")
        folders = {}
        sections = []
        for name in names:
            folders[name] = home.log(name)
            os.mkdir(folders[name])
            sections.append(home.section(name, folders[name], Domain=name + ".test", Unix=name != "cut-text"))
            self.add(folders[name], *["192.0.2.%d" % i for i in range(1, 6)])
        home.write_sites(*sections, home.section("missing", home.logs, Mask="no.log", Domain="missing.test"))
        vantry = self.start(home)

        def listed(name):
            return [v.address for v in vantry.list(domain=name + ".test")]
        for name in names:
            wait_until(lambda: len(listed(name)) == 5, what=lambda: (name, vantry.list(), vantry.stderr()))
        # A log that is not there when it is searched pauses its site.
        wait_until(lambda: vantry.site_status("missing").paused, what=vantry.status)
        self.assertIn("no.log", vantry.stderr())

        def path(name):
            return os.path.join(folders[name], "access.log")
        for name in ("cut-unix", "cut-text"):
            os.truncate(path(name), 0)
            self.add(folders[name], "192.0.2.11")
        other = path("replaced") + ".new"
        with open(path("replaced"), "rb") as f:
            write_file(other, f.read())
        append(other, ncsa_line("192.0.2.12", "/later.html"))
        os.rename(other, path("replaced"))
        os.unlink(path("deleted"))
        os.rename(path("directory"), path("directory") + ".away")
        os.mkdir(path("directory"))
        os.rename(folders["folder"], folders["folder"] + ".away")
        self.add(folders["fine"], "192.0.2.13")

        # A replaced log that holds what was read goes on as if nothing had been.
        wait_until(lambda: "192.0.2.12" in listed("replaced"), what=vantry.stderr)
        wait_until(lambda: "192.0.2.13" in listed("fine"), what=vantry.stderr)
        for name in ("deleted", "folder"):
            wait_until(lambda: path(name) + ": No such file" in vantry.stderr(), what=vantry.stderr)
        wait_until(lambda: path("directory") + ": is no plain file" in vantry.stderr(), what=vantry.stderr)
        wait_until(lambda: "Site cut-text: Input past end of file" in vantry.stderr(), what=vantry.stderr)
        self.wait_scans(vantry, 4.5)
        for name in names:
            self.assertFalse(vantry.site_status(name).paused, name)
        for name in ("cut-unix", "cut-text", "deleted", "directory", "folder"):
            self.assertEqual(listed(name), ["192.0.2.%d" % i for i in range(1, 6)], name)
        self.assertEqual(vantry.stderr().count("Site cut-text"), 1)  # Told once, though tried again and again.

        # Everything returns, with more in it.
        for name in ("cut-unix", "cut-text"):
            self.add(folders[name], *["192.0.2.%d" % i for i in range(21, 30)])
        with open(path("fine"), "rb") as f:
            same_start = b"".join(f.readlines()[:5])
        write_file(path("deleted"), same_start)
        os.rmdir(path("directory"))
        os.rename(path("directory") + ".away", path("directory"))
        os.rename(folders["folder"] + ".away", folders["folder"])
        for name in ("cut-unix", "cut-text", "deleted", "directory", "folder"):
            self.add(folders[name], "192.0.2.31")
            wait_until(lambda: "192.0.2.31" in listed(name), what=lambda: (name, listed(name), vantry.stderr()))
        # The truncated logs were taken up at the old place, which their new lines have passed meanwhile.
        for name in ("cut-unix", "cut-text"):
            self.assertNotIn("192.0.2.11", listed(name))

    @staticmethod
    def add(folder, *addresses):
        append(os.path.join(folder, "access.log"), "".join(ncsa_line(a, "/page.html") for a in addresses))


if __name__ == "__main__":
    unittest.main()
