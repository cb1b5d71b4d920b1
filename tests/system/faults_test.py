"""What goes wrong around the program: hard stops, taken ports, hostile lines, full disks."""

import os
import resource
import signal
import socket
import subprocess
import tempfile
import time

from harness import (SystemTest, append, ncsa_line, side_by_side, skip_at_midnight, uses_address_sanitizer, w3c_header,
                     w3c_line, wait_until, write_file)

MB = 1 << 20


def old_block():
    """About 1 MB of yesterday's lines."""
    at = time.time() - 86400
    lines = [ncsa_line("10.0.%d.%d" % (i // 250, i % 250), "/old%d.html" % i, at) for i in range(6000)]
    return "".join(lines).encode()


def write_blocks(path, head, block, size, tail):
    with open(path, "wb") as f:
        f.write(head)
        for _ in range(size // len(block)):
            f.write(block)
        f.write(tail)


def offset_of(zone, at):
    """The offset of a zone from UTC, in seconds."""
    text = subprocess.run(["date", "-d", "@%d" % at, "+%z"], env={"TZ": zone, "PATH": "/usr/bin:/bin"},
                          capture_output=True, text=True, check=True).stdout.strip()
    return (1 if text[0] == "+" else -1) * (int(text[1:3]) * 3600 + int(text[3:5]) * 60)


class StopTest(SystemTest):
    def setUp(self):
        skip_at_midnight()

    def test_a_stop_in_a_big_first_scan_saves_the_position_and_the_next_start_goes_on(self):
        home = self.home()
        home.keep_classic("SeekToday", "FollowRotation")
        home.write_site()
        log = home.log("access.log")
        now = time.time()
        write_blocks(log, b"", old_block(), 300 * MB, ncsa_line("192.0.2.9", "/end.html", now).encode())
        size = os.path.getsize(log)
        vantry = self.start(home)
        wait_until(lambda: vantry.has_open(log), what="the log is opened", step=0.005)
        time.sleep(0.1)
        took = vantry.stop(seconds=20)
        self.assertLess(took, 5)
        position = int(home.site_values("One")["LastReadPos"])
        self.assertGreater(position, 1)
        self.assertLess(position, size - 1000)
        with open(log, "rb") as f:
            f.seek(position - 2)
            self.assertEqual(f.read(1), b"\n")  # A place where a line begins.

        # What is before the saved place is not read again: a line of today there makes no visitor.
        with open(log, "r+b") as f:
            first = f.readline()
            line = ncsa_line("192.0.2.1", "/a.html", now).encode()
            self.assertGreaterEqual(len(first), len(line))
            f.seek(0)
            f.write(line[:-1].ljust(len(first) - 1) + b"\n")
        vantry = self.start(home)
        vantry.wait_visitor("192.0.2.9", "end.html", 60)
        self.assertEqual(vantry.addresses(), ["192.0.2.9"])
        append(log, ncsa_line("192.0.2.10", "/next.html"))
        vantry.wait_visitor("192.0.2.10", "next.html")
        # Wherever the program is, an interrupt from the keyboard ends it as well.
        vantry.stop(signal.SIGINT)
        self.assertGreaterEqual(int(home.site_values("One")["LastReadPos"]), size)

    def test_a_second_start_on_the_same_folder_leaves_the_first_alone(self):
        home = self.home()
        home.write_site()
        write_file(home.log("access.log"), ncsa_line("192.0.2.1", "/a.html"))
        first = self.start(home)
        first.wait_visitor("192.0.2.1")
        with open(home.file("VANTRY.INI"), "rb") as f:
            sites = f.read()
        second = self.launch(home)
        self.assertEqual(second.wait_end(), 0)
        self.assertEqual((second.stdout(), second.stderr()), ("", ""))
        with open(home.file("VANTRY.INI"), "rb") as f:
            self.assertEqual(f.read(), sites)
        append(home.log("access.log"), ncsa_line("192.0.2.2", "/b.html"))
        first.wait_visitor("192.0.2.2", "b.html")
        first.stop()
        third = self.start(home)  # The folder is free again.
        third.wait_visitor("192.0.2.2", "b.html")

    def test_a_taken_port_is_named_and_the_scan_goes_on(self):
        home = self.home()
        home.write_site()
        log = home.log("access.log")
        write_file(log, "".join(ncsa_line("192.0.2.%d" % i, "/a.html") for i in range(1, 9)))
        with socket.socket() as other:
            other.bind(("127.0.0.1", home.port))
            other.listen()
            vantry = self.launch(home)
            wait_until(lambda: str(home.port) in vantry.stderr(), what=vantry.stderr)
            self.assertIn("taken", vantry.stderr())
            time.sleep(8)
            self.assertEqual(vantry.stdout(), "")
            vantry.stop()
        self.assertGreater(int(home.site_values("One")["LastReadPos"]), 1)
        self.assertEqual(home.site_values("One")["LastLogFile"], log)


class HostileLineTest(SystemTest):
    def setUp(self):
        skip_at_midnight()

    def test_hostile_lines_do_no_harm_to_the_lines_around_them(self):
        home = self.home()
        sections = [home.section("unix", home.logs, Mask="unix.log", Domain="unix.test", Unix=True),
                    home.section("text", home.logs, Mask="text.log", Domain="text.test", Unix=False),
                    home.section("wide", home.logs, Mask="wide.log", Domain="wide.test", Type=0, Unix=False)]
        home.write_sites(*sections)
        now = time.time()

        def good(n, end):
            return ncsa_line("192.0.2.%d" % n, "/p%d.html" % n, now, end=end).encode()
        stamp = good(1, "").split(b"[")[1].split(b"]")[0]
        bad = [
            b"\0" * 3000,
            bytes(range(1, 10)) + bytes(range(14, 256)) * 20,
            b"\xff\xfe\xc3(\xed\xa0\x80" * 50,
            b" " * 10_000,
            b"x " * 10_000,
            b"[" * 5000 + b'"' * 5000,
            b"192.0.2.66 - - [",
            b'192.0.2.66 - - [99/Foo/2999:99:99:99 +9999] "GET /x.html HTTP/1.0" 999999999999999999999 - "',
            b'192.0.2.77 - - [' + stamp + b'] "GET /caf\xe9\xff\xc3 HTTP/1.1" 200 1 "-" "A\xff\xfe"',
            b'192.0.2.78 - - [' + stamp + b'] "GET /long' + b"n" * 20_000 + b'.html HTTP/1.1" 200 1 "-" "A"',
            b'192.0.2.79 - - [' + stamp + b'] "GET /whole.html HTTP/1.1" 200 1 "-" "' + b"A" * (20 * MB),
        ]
        for name, ends in (("unix.log", ["\n"]), ("text.log", ["\r\n", "\n", "\r"])):
            parts, n = [], 0
            for line in bad:
                n += 1
                end = ends[n % len(ends)]
                parts += [good(n, end), line, end.encode()]
            parts.append(good(n + 1, ends[-1]))
            write_file(home.log(name), b"".join(parts))
        fields = "date time " + "x " * 9990 + "c-ip cs-method cs-uri-stem"
        date, clock = time.strftime("%Y-%m-%d", time.gmtime(now)), time.strftime("%H:%M:%S", time.gmtime(now))
        write_file(home.log("wide.log"), w3c_header(fields, date) + w3c_line(fields, {
            "date": date, "time": clock, "c-ip": "192.0.2.1", "cs-uri-stem": "/wide.htm"}) + "-" + "\r\n")

        vantry = self.start(home)
        count = len(bad) + 1
        for domain in ("unix.test", "text.test"):
            def pages():
                return {v.address: v.page for v in vantry.list(domain=domain)}
            wait_until(lambda: "192.0.2.%d" % count in pages(), what=lambda: (domain, sorted(pages()), vantry.stderr()))
            got = pages()
            for n in range(1, count + 1):
                self.assertEqual(got.get("192.0.2.%d" % n), "p%d.html" % n, (domain, n))
            self.assertEqual(got.get("192.0.2.77"), "/caf\xe9\xff\xc3")
            self.assertEqual(got.get("192.0.2.79"), "whole.html")
        wait_until(lambda: vantry.list(domain="wide.test"))
        wide = vantry.list(domain="wide.test")
        self.assertEqual([(v.address, v.page) for v in wide], [("192.0.2.1", "wide.htm")])
        append(home.log("text.log"), good(200, "\r\n"))
        append(home.log("unix.log"), good(201, "\n"))
        vantry.wait_visitor("192.0.2.200", "p200.html")
        vantry.wait_visitor("192.0.2.201", "p201.html")
        if not uses_address_sanitizer():
            self.assertLess(vantry.memory_peak_kb(), 150_000)  # The line of 20 MB was never in memory as a whole.


class SiteFileTest(SystemTest):
    def setUp(self):
        skip_at_midnight()

    def stop_with_no_room(self, home, vantry, before):
        vantry.errors_expected = True
        vantry.stop()
        with open(home.file("VANTRY.INI"), "rb") as f:
            self.assertEqual(f.read(), before)
        self.assertEqual([n for n in os.listdir(home.path) if n.lower().endswith(".new")], [])

    def test_a_full_disk_leaves_the_old_site_file_whole(self):
        folder = tempfile.mkdtemp(prefix="vantry_full_")
        self.addCleanup(os.rmdir, folder)
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m", "tmpfs", folder], capture_output=True).returncode:
            self.skipTest("may not mount a file system")
        self.addCleanup(subprocess.run, ["umount", "-l", folder], check=True)
        home = self.home(folder)
        # Longer than what the rest of a page of TRL.LOG or of another file could hold.
        home.write_sites(*[home.section("Site %d" % i, home.logs, Paused=i > 1) for i in range(1, 21)])
        with open(home.file("VANTRY.INI"), "rb") as f:
            before = f.read()
        # Three lines, since a last line leaves the position where it was.
        write_file(home.log("access.log"), ncsa_line("192.0.2.1", "/a.html") * 3)
        vantry = self.start(home)
        vantry.wait_visitor("192.0.2.1")
        with open(home.file("filler"), "wb", buffering=0) as f:
            try:
                while True:
                    f.write(b"\0" * 512)
            except OSError:
                pass
        # A page answers though its line in the access log finds no room.
        self.assertEqual(vantry.addresses(), ["192.0.2.1"])
        self.stop_with_no_room(home, vantry, before)
        os.unlink(home.file("filler"))
        vantry = self.start(home)
        vantry.wait_visitor("192.0.2.1")
        vantry.stop()
        self.assertGreater(int(home.site_values("Site 1")["LastReadPos"]), 1)

    def test_a_write_that_breaks_off_leaves_the_old_site_file_whole(self):
        home = self.home()
        home.write_sites(*[home.section("Site %d" % i, home.logs, Paused=True) for i in range(1, 41)])
        with open(home.file("VANTRY.INI"), "rb") as f:
            before = f.read()

        def small_files():
            # Ignored, so that the write fails where it would end the program otherwise.
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
        self.assertGreater(len(before), 4096)
        vantry = self.launch(home, preexec=small_files)
        vantry.wait_ready()
        self.stop_with_no_room(home, vantry, before)
        self.assertTrue([line for line in vantry.failed_steps() if "VANTRY.INI" in line], vantry.failed_steps())

    def test_a_bad_line_is_named_with_its_file(self):
        home = self.home()
        home.keep_classic("QuickStart")  # The second site is scanned seconds later.
        write_file(home.log("access.log"), ncsa_line("192.0.2.1", "/a.html"))
        text = home.section("One", home.logs) + home.section("Two", home.logs, Frequency="often")
        home.write("VANTRY.INI", text + "\r\n")
        line = text.split("\r\n").index("Frequency=often") + 1
        vantry = self.start(home)
        wait_until(lambda: "VANTRY.INI line %d" % line in vantry.stderr(), what=vantry.stderr)
        self.assertIn("often", vantry.stderr())
        vantry.wait_visitor("192.0.2.1", "a.html")  # What comes before it counts.


class ZoneTest(SystemTest):
    def test_the_lines_of_a_utc_log_show_in_local_time(self):
        runs = []
        fields = "date time c-ip cs-method cs-uri-stem"
        for zone in ("Europe/Berlin", "EST5EDT", "<+0530>-5:30", "UTC"):
            now = int(time.time())
            offset = offset_of(zone, now)
            skip_at_midnight(zone_offset=offset)
            skip_at_midnight(zone_offset=offset + 60)  # The line below is of a minute ago.
            home = self.home()
            home.write_site(Type=0, Unix=False)
            at = now - 1
            if int(at + offset) // 86400 != int(now + offset) // 86400:
                self.skipTest("midnight was just now")

            def line(when, address, page):
                t = time.gmtime(when)
                return w3c_line(fields, {"date": time.strftime("%Y-%m-%d", t), "time": time.strftime("%H:%M:%S", t),
                                         "c-ip": address, "cs-uri-stem": page, "cs-method": "GET"})
            yesterday = at - 86400
            write_file(home.log("access.log"), w3c_header(fields, time.strftime("%Y-%m-%d", time.gmtime(yesterday))) +
                       line(yesterday, "192.0.2.8", "/old.htm") + line(at, "192.0.2.1", "/a.htm") +
                       line(at, "192.0.2.2", "/b.htm"))
            runs.append((zone, offset, at, home, self.start(home, zone=zone)))
        for zone, offset, at, home, vantry in runs:
            with self.subTest(zone=zone):
                vantry.wait_visitor("192.0.2.2", "b.htm")
                self.assertEqual(vantry.addresses(), ["192.0.2.1", "192.0.2.2"])
                local = time.gmtime(at + offset)
                self.assertEqual(vantry.visitor("192.0.2.1").start, time.strftime("%H:%M:%S", local))
                stamp = "%d/%d/%d " % (local.tm_mon, local.tm_mday, local.tm_year) + time.strftime("%H:%M:%S", local)
                self.assertEqual(vantry.site_status("One").stamp, stamp)


if __name__ == "__main__":
    side_by_side()
