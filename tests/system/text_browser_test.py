"""A browser without scripts, styles and pictures: Lynx logs in through the form and reads the lists."""

import os
import pty
import re
import select
import shutil
import subprocess
import time
import unittest

import web_world
from harness import DEADLINE, SystemTest, skip_at_midnight, wait_until, write_file
from web_world import NEWS, SHOP

LYNX = shutil.which("lynx")
SETTINGS = {"WebAccessControl": "True", "WebUsername": "Operator", "WebPassword": "opensesame"}


def key(*names):
    return "".join("key %s\n" % name for name in names)


def typed(text):
    return key(*("<space>" if c == " " else c for c in text))


def log_in(user, password):
    return typed(user) + key("<tab>") + typed(password) + key("<tab>", "^J")


def save(name):
    """Writes the page that is shown into a file."""
    return key("p", "^J", "^U") + typed(name) + key("^J")


@unittest.skipUnless(LYNX, "lynx is not installed")
class TextBrowserTest(SystemTest):
    def setUp(self):
        skip_at_midnight()
        if web_world.young_day():
            self.skipTest("the first visits would be of yesterday")
        self.folder = self.home()
        self.folder.keep_classic("LoginCookie", "DecodeForms")
        web_world.fill(self.folder, **SETTINGS)
        self.vantry = self.start(self.folder)
        wait_until(lambda: web_world.all_read(self.vantry), what=self.vantry.status)

    def lynx(self, keys):
        """Starts Lynx at the port's address, presses the keys and leaves. Returns the pages that were saved by name."""
        base = self.folder.base
        script, pages = os.path.join(base, "keys"), os.path.join(base, "pages")
        shutil.rmtree(pages, ignore_errors=True)
        os.mkdir(pages)
        write_file(script, keys + key("q", "y"))
        master, slave = pty.openpty()
        process = subprocess.Popen(
            [LYNX, "-cfg=/dev/null", "-nopause", "-cmd_script=" + script, "http://127.0.0.1:%d/" % self.vantry.port],
            stdin=slave, stdout=slave, stderr=slave, cwd=pages, start_new_session=True,
            env={"TERM": "vt100", "HOME": base, "LINES": "50", "COLUMNS": "200", "LC_ALL": "C.UTF-8",
                 "PATH": os.environ.get("PATH", "/usr/bin:/bin")})
        os.close(slave)
        screen, end = b"", time.monotonic() + DEADLINE
        try:
            while process.poll() is None and time.monotonic() < end:
                try:
                    if select.select([master], [], [], 0.1)[0]:
                        screen += os.read(master, 1 << 16)
                except OSError:
                    break  # The other end is closed: Lynx has gone.
            self.assertEqual(process.wait(5), 0, screen[-2000:])
        finally:
            process.kill()
            process.wait()
            os.close(master)
        found = {}
        for name in os.listdir(pages):
            with open(os.path.join(pages, name), encoding="utf-8") as f:
                found[name] = f.read()
        return found

    def test_sites_and_visitors_behind_the_login_form(self):
        # The first link of these pages is the one that Lynx makes of the reload; the next is the first site.
        pages = self.lynx(log_in("operator", "opensesame") + save("sites") +
                          key("Down Arrow", "^J") + save("visitors"))
        self.assertEqual(set(pages), {"sites", "visitors"})
        sites = pages["sites"]
        self.assertRegex(sites, r"(?s)User: OPERATOR.*Sites Being Monitored On This Server")
        self.assertRegex(sites, r"1 %s +7 +8 \d+/\d+/\d+ .* 6 +8 +2" % re.escape(SHOP))
        self.assertRegex(sites, r"2 %s +3 +3 " % re.escape(NEWS))
        visitors = pages["visitors"]
        self.assertRegex(visitors, r"Vantry *: ?%s \[Total Visitors Today:8\]" % re.escape(SHOP))
        self.assertRegex(visitors, r"5 +1 203\.0\.113\.55 +cart\.asp +\d\d:\d\d:\d\d +\d\d:\d\d:\d\d +Mozilla/5\.0 +FR "
                                   r"+http://links\.town\.example/shops\.html")
        self.assertEqual(len(re.findall(r"^ *\d+ +\d+ \d+\.\d+\.\d+\.\d+ ", visitors, re.M)), 7, visitors)
        self.assertIn("7 Active Visitors. Click the Visitor Number", visitors)
        self.assertIn("Top Referrers", visitors)

    def test_a_wrong_password(self):
        form = subprocess.run([LYNX, "-cfg=/dev/null", "-dump", "http://127.0.0.1:%d/?SITES" % self.vantry.port],
                              stdin=subprocess.DEVNULL, capture_output=True, check=True, timeout=DEADLINE,
                              env={"HOME": self.folder.base, "LC_ALL": "C.UTF-8"}).stdout.decode()
        self.assertRegex(form, r"(?s)Not Logged On.*Please Enter Your User Name and Password.*User Name:.*Password:.*"
                               r"Submit.*Reset")
        self.assertNotIn(SHOP, form)
        pages = self.lynx(log_in("operator", "opensesam") + save("refused"))
        self.assertIn("Invalid user name or password. Click Back and try again.", pages["refused"])
        self.assertNotIn(SHOP, pages["refused"])


if __name__ == "__main__":
    unittest.main()
