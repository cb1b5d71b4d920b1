"""Tables with wide fields: made by a program with that correction, and converted from narrow ones."""

import collections
import hashlib
import os
import random
import shutil
import signal
import subprocess
import time
import unittest

import tables
from harness import append, uses_address_sanitizer, wait_until, write_file
from history_case import HistoryTest, busy_lines, hit

BIN = os.environ.get("VANTRY_BIN", "build/quick/bin")
STEPS = ("pwrite64", "ftruncate", "fdatasync", "fsync", "rename")  # What changes a file, or makes it durable.
ROWS = int(os.environ.get("VANTRY_WIDEN_ROWS", "5000"))
FIRST, SECOND = "2001:db8:85a3:8d3:1319:8a2e:370:7344", "2001:db8:85a3:8d3:1319:8a2e:370:7345"


class WidenTest(HistoryTest):
    def widen(self, home):
        return subprocess.Popen([os.path.join(BIN, "vantryctl"), "widen-tables", home.path], stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT)

    def succeed(self, home):
        program = self.widen(home)
        text = program.communicate(timeout=120)[0].decode()
        self.assertEqual(program.returncode, 0, text)
        return text

    def visit(self, home, vantry):
        append(home.log("access.log"), (hit(FIRST, "02:00:00", "/a.html") + hit(SECOND, "02:00:01", "/a.html")).encode())
        wait_until(lambda: {FIRST, SECOND} <= set(vantry.addresses()), what=vantry.addresses)

    def full_home(self):
        """A folder with narrow tables of ROWS rows, and these rows."""
        home, _ = self.one_site()
        write_file(home.log("access.log"), b"".join(busy_lines(2000)))
        vantry = self.start(home)
        wait_until(lambda: len(vantry.list()) > 50)
        self.visit(home, vantry)
        vantry.stop()
        data = home.file("Data")
        row = tables.stripped(tables.read(data, "Pages"))[0]
        many = [row._replace(RecordNo="%09d" % n, Page="/page%d.html" % n, PageNo="%04d" % (n % 10000),
                             VisitNo="%05d" % (n // 10000)) for n in range(1, ROWS + 1)]
        tables.rewrite(data, "Pages", many)
        before = tables.read_all(data)
        self.assertEqual(before["Pages"], many)
        self.assertEqual(len([r for r in before["Visitor"] if r.IP == FIRST[:15]]), 1)
        return home, data, before

    @staticmethod
    def digests(data):
        found = {}
        for name in tables.NAMES:
            with open(tables.path_of(data, name), "rb") as f:
                found[name] = hashlib.file_digest(f, "sha256").hexdigest()
        return found

    @unittest.skipUnless(shutil.which("strace"), "strace is not installed")
    @unittest.skipIf(uses_address_sanitizer(), "leaks can't be looked for in a traced program")
    def test_killed_before_every_step_and_ended_later(self):
        home, data, before = self.full_home()
        narrow, copy, traced = self.digests(data), home.file("copy"), home.file("traced")
        subprocess.run(["cp", "-a", data, copy], check=True)
        widen = [os.path.join(BIN, "vantryctl"), "widen-tables", home.path]
        trace = ["strace", "-qq", "-o", traced, "-e", "trace=" + ",".join(STEPS)]
        if subprocess.run(trace + widen, stdout=subprocess.DEVNULL).returncode:
            self.skipTest("may not trace a program")
        with open(traced, encoding="ascii", errors="replace") as f:
            counts = collections.Counter(line.split("(")[0] for line in f)
        self.assertEqual(counts["rename"], len(tables.NAMES))
        self.assertEqual(tables.read_all(data), before)
        wide = self.digests(data)
        kills = 0
        for step in STEPS:
            for n in range(1, counts[step] + 1):
                subprocess.run("rm -r '%s' && cp -a '%s' '%s'" % (data, copy, data), shell=True, check=True)
                result = subprocess.run(trace + ["-e", "inject=%s:signal=KILL:when=%d" % (step, n)] + widen,
                                        stdout=subprocess.DEVNULL)
                self.assertEqual(result.returncode, -signal.SIGKILL, (step, n))
                kills += 1
                found = self.digests(data)
                for name in tables.NAMES:
                    self.assertIn(found[name], (narrow[name], wide[name]), (step, n, name))
                if step == "rename":
                    self.assertEqual([found[name] == wide[name] for name in tables.NAMES],
                                     [i < n - 1 for i in range(len(tables.NAMES))], n)
                self.succeed(home)
                self.assertEqual(self.digests(data), wide, (step, n))
                self.assertEqual([name for name in os.listdir(data) if name.endswith(".wide")], [], (step, n))
        self.assertGreater(kills, 50)

    def test_interrupted_at_any_moment_and_ended_later(self):
        home, data, before = self.full_home()
        begun = time.monotonic()
        copy = home.file("copy")
        subprocess.run(["cp", "-a", data, copy], check=True)
        self.succeed(home)
        whole = time.monotonic() - begun
        subprocess.run("rm -r '%s' && mv '%s' '%s'" % (data, copy, data), shell=True, check=True)
        chance = random.Random(5)
        for _ in range(5):
            program = self.widen(home)
            time.sleep(chance.uniform(0, whole))
            program.send_signal(signal.SIGKILL)
            program.communicate()
            for name in tables.NAMES:
                self.assertEqual(tables.read_both(data, name), before[name], name)
        self.succeed(home)
        self.assertEqual(tables.read_all(data), before)
        for name in tables.NAMES:
            self.assertEqual(dict((f.name, f.width) for f in tables.fields_in(data, name))["Site"], 60, name)
        self.assertEqual([n for n in os.listdir(data) if n.endswith(".wide")], [])
        self.assertIn("no narrow table", self.succeed(home))

        vantry = self.start(home)
        append(home.log("access.log"), hit(FIRST, "03:00:00", "/b.html").encode() +
               hit(SECOND, "03:00:01", "/b.html").encode())
        wait_until(lambda: [v.page for v in vantry.list() if v.address == SECOND] == ["b.html"])
        vantry.stop()
        visitors = tables.read_both(data, "Visitor")
        self.assertEqual([r.IP for r in visitors if r.IP in (FIRST, SECOND)], [FIRST, SECOND])

    def test_a_running_program_keeps_its_tables(self):
        home, _ = self.one_site()
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n\n[Corrections]\nWideKeys=True\n")
        write_file(home.log("access.log"), b"".join(busy_lines(20)))
        vantry = self.start(home)
        wait_until(lambda: len(vantry.list()) > 5)
        program = self.widen(home)
        text = program.communicate(timeout=30)[0].decode()
        self.assertEqual(program.returncode, 1)
        self.assertIn("Vantry runs on", text)
        self.visit(home, vantry)
        vantry.stop()
        visitors = tables.read_both(home.file("Data"), "Visitor")
        self.assertEqual([r.IP for r in visitors if ":" in r.IP], [FIRST, SECOND])


if __name__ == "__main__":
    unittest.main()
