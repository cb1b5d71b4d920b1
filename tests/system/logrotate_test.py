"""Hourly rotations by logrotate, at full speed: every line of every log comes to stand in the history once.

VANTRY_ROTATIONS sets how many rotations, 168 for a week. With VANTRY_LATE_LINES the writers also write to the renamed
logs for a moment.
"""

import collections
import os
import shutil
import subprocess
import time
import unittest

import tables
from harness import SystemTest, skip_at_midnight, wait_until
from history_case import NO_EXCEPTIONS, hit

LOGROTATE = shutil.which("logrotate") or "/usr/sbin/logrotate"
ROTATIONS = int(os.environ.get("VANTRY_ROTATIONS", "24"))
LINES = 5  # Between two rotations, in each log.
WAYS = {"create": "create 0644\n  nocompress", "delayed": "create 0644\n  compress\n  delaycompress",
        "packed": "create 0644\n  compress", "copied": "copytruncate\n  compress"}


class Writer:
    """A web server's way with one log: the file stays open until it is told to open it anew."""

    def __init__(self, path, number):
        self.path, self.number, self.count = path, number, 0
        self.open()

    def open(self):
        self.file = open(self.path, "ab", buffering=0)

    def write(self, lines):
        for _ in range(lines):
            self.count += 1
            # A visitor's second page of one second would not count.
            second = self.count // 200 + 1
            self.file.write(hit("10.%d.%d.9" % (self.number, self.count % 200), "0:0:%d" % second,
                                "/p%d.html" % self.count).encode())

    def reopen(self):
        self.file.close()
        self.open()


@unittest.skipUnless(os.path.exists(LOGROTATE), "logrotate is not installed")
class LogrotateTest(SystemTest):
    def setUp(self):
        skip_at_midnight()

    def test_week_of_hourly_rotations_loses_nothing_and_counts_nothing_twice(self):
        home = self.home()
        home.write("EXTYPES.INI", NO_EXCEPTIONS)
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nFollowRotation=True\n"
                                   "WholeLines=True\nWaitForLog=True\nImmediate=True\n")
        sections, configuration, writers = [], "", {}
        for number, (name, how) in enumerate(WAYS.items()):
            folder = home.log(name)
            os.mkdir(folder, 0o755)
            writers[name] = Writer(os.path.join(folder, "access.log"), number)
            writers[name].write(1)
            sections.append(home.section(name, folder, Domain=name + ".test", SelectMethod=2))
            configuration += "%s/access.log {\n  rotate 2000\n  missingok\n  %s\n}\n" % (folder, how)
        home.write_sites(*sections)
        home.write("rotate.conf", configuration)
        os.chmod(home.file("rotate.conf"), 0o644)
        vantry = self.start(home)
        # What was rotated before a log was seen for the first time is not followed.
        for name in writers:
            wait_until(lambda: vantry.list(domain=name + ".test"), what=vantry.stderr)
        begin = time.monotonic()
        for rotation in range(ROTATIONS):
            for writer in writers.values():
                writer.write(LINES)
            self.rotate(home)
            for name, writer in writers.items():
                if name != "packed" and os.environ.get("VANTRY_LATE_LINES"):
                    writer.write(1)  # Late: into the renamed file.
                writer.reopen()
            if rotation == ROTATIONS // 2:
                vantry.stop()
                for writer in writers.values():
                    writer.write(LINES)
                self.rotate(home)
                for writer in writers.values():
                    writer.reopen()
                vantry = self.start(home)
        print("%d rotations of %d logs in %.1f s" % (ROTATIONS + 1, len(WAYS), time.monotonic() - begin))
        for name, writer in writers.items():
            writer.write(1)
            last = "10.%d.%d.9" % (writer.number, writer.count % 200)
            page = "p%d.html" % writer.count
            wait_until(lambda: any((v.address, v.page) == (last, page) for v in vantry.list(domain=name + ".test")),
                       what=lambda: (name, last, page, vantry.stderr()[-2000:]))
        self.assertNotIn("No such file", vantry.stderr())
        vantry.stop()
        rows = collections.Counter((r.Site.strip(), r.Page.strip()) for r in tables.read(home.file("Data"), "Pages"))
        for name, writer in writers.items():
            pages = {"p%d.html" % (i + 1) for i in range(writer.count)}
            counted = collections.Counter({p: n for (site, p), n in rows.items() if site == name})
            self.assertEqual(sorted(pages - set(counted)), [], name)
            self.assertEqual({p: n for p, n in counted.items() if n != 1 or p not in pages}, {}, name)

    def rotate(self, home):
        result = subprocess.run([LOGROTATE, "-f", "-s", home.file("rotate.state"), home.file("rotate.conf")],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
        self.assertEqual((result.returncode, result.stdout), (0, b""))


if __name__ == "__main__":
    unittest.main()
