#!/usr/bin/python3
"""vantry-archive: by itself on real disks, with kills and full disks, and as the program starts it at its minute."""

import os
import random
import resource
import signal
import stat
import subprocess
import time
import unittest
import zipfile

from harness import (Home, MovedClock, SystemTest, append, faketime_library, ncsa_line, uses_address_sanitizer,
                     vantry_binary, wait_until)

BIN = os.path.dirname(vantry_binary())
ARCHIVER = os.path.join(BIN, "vantry-archive")
DAY = 86400
SITE = dict(Mask="*", AutoArchive=True)


def noisy(size, seed):
    return random.Random(seed).randbytes(size // 2).hex().encode()


class ArchiveTest(SystemTest):
    def setUp(self):
        super().setUp()
        self.home = Home()
        self.addCleanup(self.home.remove)
        self.home.write_settings(AutoArchive="True", AutoArchiveDays="60")
        self.home.write_site("One", **SITE)
        self.folder = self.home.log("Archive")

    def log(self, name, content, days_ago):
        path = os.path.join(os.fsencode(self.home.logs), os.fsencode(name))
        with open(path, "wb") as f:
            f.write(content)
        then = time.time() - days_ago * DAY
        os.utime(path, (then, then))

    def environment(self):
        # As a service has it.
        return {"VANTRY_HOME": self.home.path, "TZ": "UTC", "LC_ALL": "C", "PATH": "/usr/bin:/bin",
                **{k: v for k, v in os.environ.items() if k.endswith("SAN_OPTIONS")}}

    def archive(self, *words, preexec=None):
        return subprocess.run([ARCHIVER, *words], capture_output=True, env=self.environment(), cwd="/", timeout=120,
                              preexec_fn=preexec, stdin=subprocess.DEVNULL)

    def archive_well(self, *words):
        done = self.archive(*words)
        self.assertEqual(done.returncode, 0, done)
        self.assertEqual(done.stderr, b"")
        return done

    def zips(self):
        if not os.path.isdir(self.folder):
            return []
        return sorted(os.path.join(self.folder, name) for name in os.listdir(self.folder) if name.endswith(".zip"))

    def packed(self):
        """What the zips hold, as two readers of other people tell alike."""
        entries = {}
        for path in self.zips():
            subprocess.run(["unzip", "-tqq", path], check=True, capture_output=True)
            subprocess.run(["/usr/bin/python3", "-m", "zipfile", "-t", path], check=True, capture_output=True)
            with zipfile.ZipFile(path) as z:
                self.assertIsNone(z.testzip())
                for info in z.infolist():
                    name = info.filename if info.flag_bits & 0x800 else os.fsdecode(info.filename.encode("cp437"))
                    self.assertNotIn(name, entries)
                    entries[name] = z.read(info)
        return entries

    def left(self):
        return sorted(name for name in os.listdir(self.home.logs) if name != "Archive")


class Archives(ArchiveTest):
    def test_other_readers_read_every_archive(self):
        logs = {"plain.log": noisy(300_000, 1), "with blanks in it.log": b"two\n", "empty.log": b"",
                "K\u00fcche \u20ac \u65e5\u672c.log": b"utf-8\n", os.fsdecode(b"latin-\xe9.log"): b"latin\n",
                "-rf": b"option\n", "*?[a].log": b"wild\n", "a'b\"c$d.log": b"quotes\n"}
        for name, content in logs.items():
            self.log(name, content, 100)
        self.log("current.log", b"now\n", 0)
        self.archive_well()
        self.assertEqual(self.left(), ["current.log"])
        self.assertEqual(self.packed(), logs)
        # What was written to once more has the next place; what was packed before is taken over.
        self.log("plain.log", b"later\n", 100)
        self.archive_well("AUTO")
        self.assertEqual(self.packed(), {**logs, "plain.log~2": b"later\n"})
        self.assertEqual(len(self.zips()), 1)

    def test_unzip_gives_names_and_times_back(self):
        name = "K\u00fcche.log"
        self.log(name, b"content\n", 100)
        self.log("current.log", b"now\n", 0)
        written = int(os.stat(self.home.log(name)).st_mtime)
        os.chmod(self.home.log(name), 0o640)
        self.archive_well()
        out = os.path.join(self.home.base, "out")
        subprocess.run(["unzip", "-q", self.zips()[0], "-d", out], check=True, env={"LC_ALL": "C.UTF-8"})
        info = os.stat(os.path.join(out, name))
        self.assertEqual(int(info.st_mtime), written)
        self.assertEqual(stat.S_IMODE(info.st_mode), 0o640)
        self.assertEqual(stat.S_IMODE(os.stat(self.zips()[0]).st_mode), 0o640)

    def test_a_dry_run_changes_nothing(self):
        self.log("old.log", b"old\n", 100)
        self.log("current.log", b"now\n", 0)
        done = self.archive_well("--dry-run")
        self.assertIn(b"old.log (4 bytes) would go to Archive/One-", done.stdout)
        self.assertEqual(self.left(), ["current.log", "old.log"])
        self.assertFalse(os.path.exists(self.home.file("ARCHIVE.LOG")))

    def test_help_and_wrong_words(self):
        self.assertIn(b"--dry-run", self.archive_well("--help").stdout)
        self.assertRegex(self.archive_well("--version").stdout, rb"^vantry-archive \d+\.\d+\.\d{3}\n$")
        self.assertEqual(self.archive("--verbose").returncode, 2)

    @unittest.skipIf(os.geteuid() == 0 and not os.path.exists("/usr/bin/setpriv"), "needs another user")
    def test_a_folder_that_may_not_be_changed(self):
        self.log("old.log", b"old\n", 100)
        self.log("current.log", b"now\n", 0)
        os.chmod(self.home.base, 0o755)
        os.chmod(self.home.logs, 0o555)
        self.addCleanup(os.chmod, self.home.logs, 0o755)
        os.chmod(self.home.path, 0o777)
        for name in os.listdir(self.home.path):
            os.chmod(self.home.file(name), 0o666)
        done = self.archive(preexec=(lambda: (os.setgid(65534), os.setuid(65534))) if os.geteuid() == 0 else None)
        self.assertEqual(done.returncode, 1, done)
        self.assertIn(b"Site One: %s/: Permission denied." % self.home.logs.encode(), done.stderr)
        self.assertIn(b"right to write", done.stderr)
        self.assertEqual(self.left(), ["current.log", "old.log"])


    @unittest.skipUnless(os.geteuid() == 0, "only root can be in the way of others")
    def test_a_run_as_root_does_not_shut_out_the_owner(self):
        self.log("a.log", b"a\n", 100)
        self.log("current.log", b"now\n", 0)
        os.chmod(self.home.base, 0o755)
        for path in (self.home.path, self.home.logs, *map(self.home.file, os.listdir(self.home.path)),
                     self.home.log("a.log")):
            os.chown(path, 65534, 65534)
        self.archive_well()
        self.assertEqual(os.stat(self.zips()[0]).st_uid, 65534)
        self.log("b.log", b"b\n", 100)
        done = self.archive(preexec=lambda: (os.setgroups([]), os.setgid(65534), os.setuid(65534)))
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(self.packed(), {"a.log": b"a\n", "b.log": b"b\n"})

    def test_a_folder_that_a_service_may_only_read(self):
        self.log("old.log", b"old\n", 100)
        self.log("current.log", b"now\n", 0)
        if subprocess.run(["mount", "--bind", self.home.logs, self.home.logs], capture_output=True).returncode:
            self.skipTest("may not mount a file system")
        self.addCleanup(subprocess.run, ["umount", "-l", self.home.logs], check=True)
        if subprocess.run(["mount", "-o", "remount,ro,bind", self.home.logs], capture_output=True).returncode:
            self.skipTest("may not mount a file system")
        done = self.archive()
        self.assertEqual(done.returncode, 1, done)
        self.assertIn(b"Read-only file system. Logs are packed and removed there. A service may write there with "
                      b"ReadWritePaths=%s/ in its unit" % self.home.logs.encode(), done.stderr)
        self.assertEqual(self.left(), ["current.log", "old.log"])


class Accidents(ArchiveTest):
    def setUp(self):
        super().setUp()
        self.logs = {"%d.log" % n: noisy(600_000, n) for n in range(6)}
        self.logs["small.log"] = b"small\n"

    def put_logs(self, names):
        for name in names:
            self.log(name, self.logs[name], 100)

    def check_nothing_lost(self):
        """Each log is whole where it was, or in a zip that others can read."""
        packed = self.packed()
        for name, content in packed.items():
            self.assertTrue(content == self.logs[name.split("~")[0]], name)
        for name in self.left():
            if name != "current.log":
                with open(self.home.log(name), "rb") as f:
                    self.assertTrue(f.read() == self.logs[name], name)
        self.assertLessEqual(set(self.logs), set(packed) | set(self.left()))

    def check_the_next_run_ends_it(self):
        self.archive_well()
        self.assertEqual(self.left(), ["current.log"])
        self.assertTrue(self.packed() == self.logs)
        self.assertEqual(os.listdir(self.folder), [os.path.basename(self.zips()[0])])

    def begin_anew(self):
        for path in self.zips():
            os.unlink(path)
        self.log("current.log", b"now\n", 0)
        first, *others = self.logs
        self.put_logs([first])
        self.archive_well()
        self.put_logs(others)

    def test_kills_at_any_moment(self):
        self.begin_anew()
        begin = time.monotonic()
        self.archive_well()
        whole = time.monotonic() - begin
        killed = 0
        for _ in range(15):
            self.begin_anew()
            running = subprocess.Popen([ARCHIVER, "AUTO"], env=self.environment(), stderr=subprocess.DEVNULL)
            time.sleep(random.uniform(0, whole))
            running.send_signal(signal.SIGKILL)
            killed += running.wait() == -signal.SIGKILL
            self.check_nothing_lost()
            self.check_the_next_run_ends_it()
        self.assertGreater(killed, 3)

    def test_files_that_may_not_grow(self):
        """Whatever is written beyond a limit fails, as on a disk that is full."""
        for limit in (0, 100, 250_000, 1_000_000):
            self.begin_anew()
            done = self.archive(preexec=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
            self.assertEqual(done.returncode, 1, done)
            self.assertIn(b"File too large", done.stderr)
            self.check_nothing_lost()
            self.check_the_next_run_ends_it()

    def test_a_full_disk(self):
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=7m", "tmpfs", self.home.logs],
                          capture_output=True).returncode:
            self.skipTest("may not mount a file system")
        self.addCleanup(subprocess.run, ["umount", "-l", self.home.logs], check=True)
        self.begin_anew()
        ballast = self.home.log("ballast")
        for free in (0, 4_096, 500_000, 1_000_000):
            room = os.statvfs(self.home.logs)
            with open(ballast, "wb") as f:
                f.truncate()
                try:
                    f.write(b"\0" * max(0, room.f_bavail * room.f_frsize - free))
                except OSError:
                    pass
            done = self.archive()
            self.assertEqual(done.returncode, 1, (free, done))
            self.assertIn(b"No space left on device. No log was removed. Needed is room for up to", done.stderr)
            os.unlink(ballast)
            self.check_nothing_lost()
        self.check_the_next_run_ends_it()

    def test_two_archivers_at_once(self):
        self.begin_anew()
        both = [subprocess.Popen([ARCHIVER], env=self.environment(), stdout=subprocess.DEVNULL,
                                 stderr=subprocess.PIPE) for _ in range(2)]
        told = [p.communicate(timeout=60)[1] for p in both]
        self.assertEqual(sorted(p.returncode for p in both)[0], 0)
        for process, text in zip(both, told):
            if process.returncode:
                self.assertEqual((process.returncode, text),
                                 (3, b"vantry-archive: another archiver runs; nothing was done.\n"))
        self.assertTrue(self.packed() == self.logs)


class Rotation(ArchiveTest):
    def test_a_rotated_log_that_goes_is_missed_by_nobody(self):
        """With the log followed across rotations, and while the program runs."""
        self.home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nAll=True\n")
        self.home.write_site("One", Mask="access.log*", AutoArchive=True)
        log, left = self.home.log("access.log"), self.home.log("access.log.1")
        append(log, ncsa_line("10.0.0.1", "/one.html"))
        vantry = self.start(self.home)
        vantry.wait_visitor("10.0.0.1")
        os.rename(log, left)
        append(log, ncsa_line("10.0.0.2", "/two.html"))
        vantry.wait_visitor("10.0.0.2")
        os.utime(left, (time.time() - 100 * DAY,) * 2)
        self.archive_well("AUTO")
        self.assertEqual(self.left(), ["access.log"])
        self.assertEqual(list(self.packed()), ["access.log.1"])
        append(log, ncsa_line("10.0.0.3", "/three.html"))
        vantry.wait_visitor("10.0.0.3")
        vantry.stop()
        # The next run knows of the log that is gone.
        vantry = self.start(self.home)
        append(log, ncsa_line("10.0.0.4", "/four.html"))
        vantry.wait_visitor("10.0.0.4")
        self.assertEqual(sorted(vantry.addresses()).count("10.0.0.3"), 1)
        vantry.stop()


@unittest.skipUnless(faketime_library(), "faketime is not installed")
class Trigger(ArchiveTest):
    def setUp(self):
        super().setUp()
        self.two = time.time() // DAY * DAY + 2 * 3600
        self.clock = MovedClock(self.home, self.two - 600)

    def start_before_two(self):
        return self.start(self.home, env=self.clock.env)

    def let_it_be_two(self):
        self.clock.set(self.two - 2)

    def archive_log(self):
        try:
            with open(self.home.file("ARCHIVE.LOG"), encoding="utf-8") as f:
                return f.read()
        except FileNotFoundError:
            return ""

    def test_the_program_starts_it_at_its_minute_and_reads_on(self):
        self.log("ex1.log", ncsa_line("10.0.0.1", "/old.html", time.time() - 100 * DAY).encode(), 100)
        append(self.home.log("ex2.log"), ncsa_line("10.0.0.2", "/new.html"))
        vantry = self.start_before_two()
        vantry.wait_visitor("10.0.0.2")
        self.assertEqual(self.archive_log(), "")
        self.let_it_be_two()
        wait_until(lambda: "Finished: 1 log" in self.archive_log(), what=vantry.stderr)
        self.assertRegex(self.archive_log(), r"^\d{4}-\d\d-\d\d 02:00:0\d Site One: ")
        self.assertEqual(self.left(), ["ex2.log"])
        append(self.home.log("ex2.log"), ncsa_line("10.0.0.3", "/next.html") * 2)
        vantry.wait_visitor("10.0.0.3")
        time.sleep(4)
        self.assertEqual(self.archive_log().count("Finished"), 1)
        vantry.stop()

    @unittest.skipIf(uses_address_sanitizer(), "a shell hangs at its start with both preloaded libraries")
    def test_a_file_of_the_program_folder_goes_before(self):
        with open(self.home.file("VTArchive.EXE"), "w", encoding="ascii") as f:
            f.write('#!/bin/sh\necho "$# $1 $VANTRY_HOME" >> "$VANTRY_HOME/own"\n')
        os.chmod(self.home.file("VTArchive.EXE"), 0o755)
        self.log("ex1.log", b"old\n", 100)
        append(self.home.log("ex2.log"), ncsa_line("10.0.0.2", "/new.html"))
        vantry = self.start_before_two()
        self.let_it_be_two()
        wait_until(lambda: os.path.exists(self.home.file("own")), what=vantry.stderr)
        time.sleep(4)
        with open(self.home.file("own"), encoding="ascii") as f:
            self.assertEqual(f.read(), "1 AUTO %s/\n" % self.home.path)
        self.assertEqual(self.left(), ["ex1.log", "ex2.log"])
        vantry.stop()

    def test_one_that_cant_be_started_is_told_and_sites_are_read_on(self):
        self.home.write("VTArchive.EXE", "MZ")
        append(self.home.log("ex2.log"), ncsa_line("10.0.0.2", "/new.html"))
        vantry = self.start_before_two()
        vantry.errors_expected = True
        self.let_it_be_two()
        wait_until(lambda: any("VTArchive.EXE" in line and "Timer1" in line for line in vantry.failed_steps()))
        append(self.home.log("ex2.log"), ncsa_line("10.0.0.3", "/next.html") * 2)
        vantry.wait_visitor("10.0.0.3")
        self.assertEqual(len(vantry.failed_steps()), 1)
        vantry.stop()


if __name__ == "__main__":
    unittest.main()
