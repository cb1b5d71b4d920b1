"""nginx and logrotate, both real: requests go on while the logs are rotated, and every line comes to stand in the
history once, over a stop and a kill too.

VANTRY_ROTATIONS sets how many rotations, 168 for a week of hourly ones.
"""

import collections
import glob
import gzip
import http.client
import os
import re
import shutil
import signal
import subprocess
import threading
import time
import unittest

import tables
from harness import SystemTest, skip_at_midnight, wait_until
from history_case import NO_EXCEPTIONS
from nginx_test import AGENT, NGINX, Nginx

LOGROTATE = shutil.which("logrotate") or "/usr/sbin/logrotate"
ROTATIONS = int(os.environ.get("VANTRY_ROTATIONS", "8"))
WAYS = {"create": "create 0644\n  nocompress", "delayed": "create 0644\n  compress\n  delaycompress",
        "copied": "copytruncate\n  compress"}


class CountingNginx(Nginx):
    """Answers everything, and logs each request in all logs."""

    def configure(self, *names):
        super().configure(*names)
        path = os.path.join(self.base, "nginx.conf")
        with open(path) as f:
            text = f.read()
        with open(path, "w") as f:
            f.write(text.replace("    access_log", "    location / { return 200 ok; }\n    access_log", 1))


class Requests(threading.Thread):
    """Numbered requests, each of another address, about 200 a second."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self.port, self.count, self.ended, self.failures = port, 0, False, []

    @staticmethod
    def address(number):
        return "127.%d.%d.9" % (1 + number // 250, number % 250)

    def send(self):
        number = self.count + 1
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=20,
                                                source_address=(self.address(number), 0))
        try:
            connection.request("GET", "/p%d.html" % number, headers={"User-Agent": AGENT})
            if connection.getresponse().read() == b"ok":
                self.count = number
        finally:
            connection.close()

    def run(self):
        while not self.ended and self.count < 60_000:
            try:
                self.send()
            except OSError as error:
                self.failures.append(str(error))
                return
            time.sleep(0.004)

    def end(self):
        self.ended = True
        self.join(30)


def pages_in(folder):
    """How often each page stands in a log and in what was rotated of it."""
    counts = collections.Counter()
    for path in glob.glob(os.path.join(folder, "access.log*")):
        with (gzip.open if path.endswith(".gz") else open)(path, "rb") as f:
            counts.update(re.findall(rb"GET /(p\d+\.html) ", f.read()))
    return collections.Counter({page.decode(): n for page, n in counts.items()})


@unittest.skipUnless(os.path.exists(NGINX) and os.path.exists(LOGROTATE), "nginx or logrotate is not installed")
class NginxRotationsTest(SystemTest):
    def setUp(self):
        skip_at_midnight(before=600)

    def test_every_line_counts_once_through_hourly_rotations(self):
        home = self.home()
        home.write("EXTYPES.INI", NO_EXCEPTIONS)
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nAll=True\nSaveEvery=2\n")
        for name in WAYS:
            os.mkdir(home.log(name), 0o755)
        home.write_sites(*[home.section(name, home.log(name), Domain=name + ".test", SelectMethod=2) for name in WAYS])
        web = CountingNginx(home.logs, *[name + "/access.log" for name in WAYS])
        self.addCleanup(web.clean_up)
        requests = Requests(web.port)
        wait_until(lambda: os.path.exists(os.path.join(web.base, "nginx.pid")) and web.workers(), what="nginx starts")
        self.write_rotation(home, web)
        requests.send()
        vantry = self.start(home)
        # What was rotated before a log was seen for the first time is not followed.
        for name in WAYS:
            wait_until(lambda: vantry.list(domain=name + ".test"), what=vantry.stderr)
        begun = time.monotonic()
        requests.start()
        self.addCleanup(requests.end)
        for rotation in range(ROTATIONS):
            time.sleep(0.1)
            self.rotate(home)
            if rotation == ROTATIONS // 3:
                vantry.stop()
                self.rotate(home)
                vantry = self.start(home)
            if rotation == ROTATIONS * 2 // 3:
                vantry.send_signal(signal.SIGKILL)
                vantry.wait_end()
                vantry.ended = True
                self.rotate(home)
                vantry = self.start(home)
        requests.end()
        self.assertEqual(requests.failures, [])
        took = time.monotonic() - begun
        requests.send()
        for name in WAYS:
            last = requests.address(requests.count)
            wait_until(lambda: last in [v.address for v in vantry.list(domain=name + ".test")],
                       what=lambda: (name, last, vantry.stderr()[-2000:]))
        vantry.stop()
        rows = collections.Counter((r.Site.strip(), r.Page.strip()) for r in tables.read(home.file("Data"), "Pages"))
        every = {"p%d.html" % (i + 1) for i in range(requests.count)}
        lost = 0
        for name in WAYS:
            in_logs = pages_in(home.log(name))
            counted = collections.Counter({p: n for (site, p), n in rows.items() if site == name})
            self.assertEqual({p: n for p, n in in_logs.items() if n != 1}, {}, name)
            if name == "copied":
                # logrotate cuts away what was written since it made its copy.
                lost = len(every - set(in_logs))
                self.assertLess(lost, 5 * ROTATIONS)
            else:
                self.assertEqual(set(in_logs), every, name)
            self.assertEqual(sorted(set(in_logs) - set(counted)), [], name)
            self.assertEqual({p: n for p, n in counted.items() if n != 1 or p not in every}, {}, name)
        print("%d rotations of %d logs and %d requests in %.1f s; %d lines cut away by logrotate"
              % (ROTATIONS + 2, len(WAYS), requests.count, took, lost))

    def write_rotation(self, home, web):
        text = ""
        for name, how in WAYS.items():
            reopen = "" if name == "copied" else (
                "  postrotate\n    kill -USR1 $(cat %s/nginx.pid)\n  endscript\n" % web.base)
            text += "%s/access.log {\n  rotate 2000\n  missingok\n  %s\n%s}\n" % (home.log(name), how, reopen)
        home.write("rotate.conf", text)
        os.chmod(home.file("rotate.conf"), 0o644)

    def rotate(self, home):
        result = subprocess.run([LOGROTATE, "-f", "-s", home.file("rotate.state"), home.file("rotate.conf")],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
        self.assertEqual((result.returncode, result.stdout), (0, b""))


if __name__ == "__main__":
    unittest.main()
