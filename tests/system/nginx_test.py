"""A real web server, real requests: its visitors are followed through rotations of the log and through restarts."""

import http.client
import os
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

from harness import (MovedClock, SystemTest, faketime_library, free_port, seconds_to_midnight, skip_at_midnight,
                     wait_until)

NGINX = shutil.which("nginx") or "/usr/sbin/nginx"
DOMAIN = "www.example.test"
AGENT = "Mozilla/5.0 (X11; Linux x86_64; rv:115.0) Gecko/20100101 Firefox/115.0"
FILES = ("index.html", "about.html", "contact.htm", "products", "notes.txt", "logo.png", "style.css")

CONFIG = """{user}
daemon off;
worker_processes 1;
pid {base}/nginx.pid;
error_log {base}/error.log;
events {{ worker_connections 256; }}
http {{
  types {{ text/html html htm; text/plain txt; image/png png; text/css css; }}
  default_type text/plain;
  client_body_temp_path {base}/tmp1; proxy_temp_path {base}/tmp2; fastcgi_temp_path {base}/tmp3;
  uwsgi_temp_path {base}/tmp4; scgi_temp_path {base}/tmp5;
  server {{
    listen 127.0.0.1:{port};
    root {base}/pages;
{logs}
  }}
}}
"""


class Nginx:
    def __init__(self, logs, *names):
        self.base = tempfile.mkdtemp(prefix="vantry_nginx_")
        self.logs = logs
        self.port = free_port()
        os.chmod(self.base, 0o755)
        os.mkdir(os.path.join(self.base, "pages"))
        for name in FILES:
            with open(os.path.join(self.base, "pages", name), "w") as f:
                f.write("This is %s.\n" % name)
        self.configure(*names)
        self.errors = open(os.path.join(self.base, "start.log"), "w")
        self.process = subprocess.Popen(
            [NGINX, "-p", self.base, "-e", os.path.join(self.base, "error.log"), "-c",
             os.path.join(self.base, "nginx.conf")],
            stdin=subprocess.DEVNULL, stdout=self.errors, stderr=self.errors,
            env={"TZ": "UTC", "PATH": "/usr/bin:/bin"})
        self.last_second = {}

    def configure(self, *names):
        logs = "".join("    access_log %s combined;\n" % os.path.join(self.logs, name) for name in names)
        with open(os.path.join(self.base, "nginx.conf"), "w") as f:
            # The worker must get at the folders of this test, which belong to the user who runs it.
            f.write(CONFIG.format(user="user root;" if os.geteuid() == 0 else "", base=self.base, port=self.port,
                                  logs=logs))

    def wait_ready(self):
        def answers():
            if self.process.poll() is not None:
                with open(self.errors.name) as f:
                    raise AssertionError("nginx did not start: " + f.read())
            try:
                # An image of no visitor: it is in the log, but counts for nothing.
                self.get("127.0.0.250", "/logo.png")
                return True
            except OSError:
                return False
        wait_until(answers)
        return self

    def get(self, address, path, referrer=None, agent=AGENT, method="GET"):
        """One request; returns its status. Two requests of an address never fall into one second of the log."""
        headers = {"Host": DOMAIN, "User-Agent": agent}
        if referrer:
            headers["Referer"] = referrer
        wait_until(lambda: time.time() >= self.last_second.get(address, 0) + 1.05, step=0.02)
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=20, source_address=(address, 0))
        try:
            connection.request(method, path, headers=headers)
            response = connection.getresponse()
            response.read()
            return response.status
        finally:
            connection.close()
            self.last_second[address] = int(time.time())

    def workers(self):
        with open("/proc/%d/task/%d/children" % (self.process.pid, self.process.pid)) as f:
            return set(f.read().split())

    def signal_and_wait(self, number, new_log):
        old = self.workers()
        self.process.send_signal(number)
        if number == signal.SIGHUP:
            # Until it is gone, the old worker answers too, and logs under the old names.
            wait_until(lambda: self.workers() and not self.workers() & old, what="a new worker")
        wait_until(lambda: os.path.exists(os.path.join(self.logs, new_log)), what="nginx opens " + new_log)

    def clean_up(self):
        self.process.terminate()
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.errors.close()
        shutil.rmtree(self.base, ignore_errors=True)


@unittest.skipUnless(os.path.exists(NGINX), "nginx is not installed")
class NginxTest(SystemTest):
    def setUp(self):
        skip_at_midnight()

    def nginx(self, home, *names):
        server = Nginx(home.logs, *names)
        self.addCleanup(server.clean_up)
        return server.wait_ready()

    def test_visitors_are_followed_from_page_to_page_and_over_a_restart(self):
        home = self.home()
        home.keep_classic("TodaysNames", "NcsaFields")
        home.write_site()
        web = self.nginx(home, "access.log")
        vantry = self.start(home)

        self.assertEqual(web.get("127.0.0.11", "/", "http://search.example/?q=maps"), 200)
        self.assertEqual(web.get("127.0.0.12", "/about.html", "http://%s/index.html" % DOMAIN), 200)
        self.assertEqual(web.get("127.0.0.13", "/notes.txt", agent="Googlebot/2.1 (+http://bots.example/)"), 200)
        self.assertEqual(web.get("127.0.0.14", "/logo.png"), 200)
        first = vantry.wait_visitor("127.0.0.11", "index.html")
        self.assertEqual((first.domain, first.number, first.browser, first.referrer),
                         (DOMAIN, 1, "Mozilla/5.0", "http://search.example/?q=maps"))
        self.assertEqual(first.start, first.last)
        second = vantry.wait_visitor("127.0.0.12", "about.html")
        self.assertEqual((second.number, second.referrer), (2, ""))  # From within the site.
        third = vantry.wait_visitor("127.0.0.13", "notes.txt")
        self.assertEqual((third.number, third.browser, third.referrer), (3, "Googlebot/2.1", "-"))
        status = vantry.site_status("One")
        self.assertEqual((status.paused, status.current, status.spiders), (False, 3, 1))

        # Moves. What is not a page leaves the visitor where it was, at the time it came there.
        self.assertEqual(web.get("127.0.0.11", "/products"), 200)
        moved = vantry.wait_visitor("127.0.0.11", "/products")
        self.assertEqual((moved.start, moved.number, moved.referrer), (first.start, 1, first.referrer))
        self.assertGreater(moved.last, first.last)
        self.assertEqual(web.get("127.0.0.12", "/missing.html"), 404)
        self.assertEqual(web.get("127.0.0.11", "/style.css"), 200)
        self.assertEqual(web.get("127.0.0.11", "/missing.gif"), 404)
        self.assertEqual(web.get("127.0.0.15", "/contact.htm", "http://elsewhere.example/links"), 200)
        vantry.wait_visitor("127.0.0.12", "missing.html")
        # Written after the requests that don't count, so these have been seen when it is there.
        vantry.wait_visitor("127.0.0.15", "contact.htm")
        self.assertEqual(vantry.visitor("127.0.0.11"), moved)
        before = vantry.list()
        self.assertEqual([v.address for v in before], ["127.0.0.11", "127.0.0.12", "127.0.0.13", "127.0.0.15"])
        vantry.stop()
        values = home.site_values("One")
        self.assertEqual(values["LastLogFile"], home.log("access.log"))
        self.assertGreater(int(values["LastReadPos"]), 1)

        # While the program is away, the web server works on.
        self.assertEqual(web.get("127.0.0.16", "/about.html"), 200)
        vantry = self.start(home)
        vantry.wait_visitor("127.0.0.16", "about.html")
        self.assertEqual(vantry.list()[:-1], before)
        self.assertEqual(vantry.visitor("127.0.0.16").number, 5)
        self.assertEqual(web.get("127.0.0.11", "/contact.htm"), 200)
        self.assertEqual(web.get("127.0.0.17", "/"), 200)
        self.assertEqual(vantry.wait_visitor("127.0.0.17", "index.html").number, 6)
        self.assertEqual(vantry.wait_visitor("127.0.0.11", "contact.htm").start, first.start)
        self.assertEqual(vantry.stderr().count("past end"), 0, vantry.stderr())

    def test_a_log_rotated_under_its_name_is_taken_up_at_its_end_by_the_next_start(self):
        home = self.home()
        home.keep_classic("FollowRotation")
        home.write_site()
        web = self.nginx(home, "access.log")
        for i in range(20):
            web.get("127.0.0.%d" % (100 + i), "/about.html")
        vantry = self.start(home)
        vantry.wait_visitor("127.0.0.119")
        self.assertEqual(len(vantry.list()), 20)
        os.rename(home.log("access.log"), home.log("access.log.1"))
        web.signal_and_wait(signal.SIGUSR1, "access.log")
        self.assertEqual(web.get("127.0.0.21", "/index.html"), 200)
        # The new file is shorter than the place reached in the old one: until the file is searched nothing is read.
        self.wait_scans(vantry)
        before = vantry.list()
        self.assertEqual(len(before), 20)
        self.assertIsNone(vantry.visitor("127.0.0.21"))
        self.assertFalse(vantry.site_status("One").paused)
        vantry.stop()

        vantry = self.start(home)
        # The file is searched by the first scan; what comes after its end at that time is new.
        self.wait_scans(vantry)
        self.assertEqual(vantry.list(), [])
        self.assertFalse(vantry.site_status("One").paused)
        self.assertEqual(web.get("127.0.0.22", "/about.html"), 200)
        self.assertEqual(vantry.wait_visitor("127.0.0.22", "about.html").number, 1)
        self.assertEqual(web.get("127.0.0.21", "/contact.htm"), 200)
        self.assertEqual(vantry.wait_visitor("127.0.0.21", "contact.htm").number, 2)
        self.assertEqual(vantry.addresses(), ["127.0.0.22", "127.0.0.21"])

    def test_a_log_with_a_new_name_is_read_from_its_start_by_the_next_start(self):
        home = self.home()
        home.keep_classic("FollowRotation", "Immediate")
        home.write_site(Mask="ACCESS*.LOG", SelectMethod=0)
        web = self.nginx(home, "access-1.log")
        web.get("127.0.0.31", "/index.html")
        vantry = self.start(home)
        vantry.wait_visitor("127.0.0.31", "index.html")
        web.configure("access-2.log")
        web.signal_and_wait(signal.SIGHUP, "access-2.log")
        self.assertEqual(web.get("127.0.0.32", "/about.html"), 200)
        self.assertEqual(web.get("127.0.0.33", "/products"), 200)
        self.wait_scans(vantry, 4.5)
        self.assertIsNone(vantry.visitor("127.0.0.33"))
        vantry.stop()
        self.assertEqual(home.site_values("One")["LastLogFile"], home.log("access-1.log"))

        vantry = self.start(home)
        vantry.wait_visitor("127.0.0.33", "/products")
        self.assertEqual(vantry.addresses(), ["127.0.0.32", "127.0.0.33"])
        self.assertEqual(web.get("127.0.0.32", "/contact.htm"), 200)
        vantry.wait_visitor("127.0.0.32", "contact.htm")
        vantry.stop()
        self.assertEqual(home.site_values("One")["LastLogFile"], home.log("access-2.log"))

    @unittest.skipUnless(faketime_library(), "faketime is not installed")
    def test_after_15_minutes_the_running_program_searches_the_log_again(self):
        if seconds_to_midnight() > 86400 - 1200:
            self.skipTest("the clock is set back, which must not lead to yesterday")
        home = self.home()
        home.keep_classic("FollowRotation", "Immediate")
        home.write_sites(home.section("Same", home.logs, Mask="same.log", Domain="same.example"),
                         home.section("Daily", home.logs, Mask="daily*.log", Domain="daily.example"))
        web = self.nginx(home, "same.log", "daily-1.log")
        for i in range(15):
            web.get("127.0.0.%d" % (100 + i), "/about.html")
        # The program's clock is behind by more than the time between two searches; it is put right below.
        clock = MovedClock(home, time.time() - 1000)
        vantry = self.start(home, env=clock.env)
        wait_until(lambda: len(vantry.list()) == 30, what=vantry.list)
        os.rename(home.log("same.log"), home.log("same.log.1"))
        web.configure("same.log", "daily-2.log")
        web.signal_and_wait(signal.SIGHUP, "daily-2.log")
        wait_until(lambda: os.path.exists(home.log("same.log")))
        web.get("127.0.0.41", "/about.html")
        web.get("127.0.0.42", "/products")
        self.wait_scans(vantry, 4.5)
        self.assertEqual(len(vantry.list()), 30)

        clock.set(time.time())
        # The log with a new name from its start.
        wait_until(lambda: [v for v in vantry.list(domain="daily.example") if v.address == "127.0.0.42"],
                   what=vantry.list)
        daily = vantry.list(domain="daily.example")
        self.assertEqual(len(daily), 17)
        self.assertEqual([(v.address, v.page) for v in daily[15:]],
                         [("127.0.0.41", "about.html"), ("127.0.0.42", "/products")])
        # The log under its old name from its end, as it was when it was searched.
        self.wait_scans(vantry, 4.5)
        same = vantry.list(domain="same.example")
        self.assertEqual(len(same), 15)
        web.get("127.0.0.43", "/contact.htm")
        wait_until(lambda: len(vantry.list(domain="same.example")) == 16, what=vantry.list)
        last = vantry.list(domain="same.example")[-1]
        self.assertEqual((last.number, last.address, last.page), (16, "127.0.0.43", "contact.htm"))


if __name__ == "__main__":
    unittest.main()
