"""The program is killed again and again while it writes history; what its log says ends up in the tables once.

VANTRY_CRASHES sets how often, VANTRY_SEED repeats the instants of a run as far as the machine does.
"""

import ctypes
import os
import platform
import random
import signal
import struct
import threading
import time
import unittest

import tables
from harness import Vantry, append, ncsa_line, write_file
from history_case import HistoryTest, at
from history_model import Model, Site

CRASHES = int(os.environ.get("VANTRY_CRASHES", "40"))
SEED = int(os.environ.get("VANTRY_SEED", "0")) or random.randrange(1 << 30)
SIDE_BY_SIDE = 4  # Most of a run is waiting for the next scan.
EACH = 10  # Crashes of one folder; a longer log takes longer to be read again.
AT_ONCE, PAUSE = 10, 0.04  # Lines written in one go, seconds between.
MOST_LINES = 30_000

# No part of a file's page ends inside a line of this length, so the program never finds half a line: that would count
# as another page, and rightly so.
LINE_BYTES = 256
# Fields of rows that are there to be counted up.
COUNTED = {"Referrers": ("LastVDate", "LastVTime", "Visits")}
ONCE = ("Visits", "Visitor", "Referrers", "Pages")

# Calls that write, cut or sync a file, by machine: pwrite64, pwritev, ftruncate, fdatasync, unlink.
WRITE_CALLS = {"x86_64": (18, 296, 77, 75, 87), "aarch64": (67, 70, 46, 83, 35)}.get(platform.machine(), ())


class WriteTracer:
    """Follows the calls of a program's main thread and kills it in front of one that writes.

    To be used by one thread alone. The instants between two writes are so short that no clock hits them.
    """

    SEIZE, INTERRUPT, SYSCALL, CALL_INFO = 0x4206, 0x4207, 24, 0x420E
    MARK_CALLS, ENTRY = 1, 1

    def __init__(self, pid):
        self.pid = pid
        self.libc = ctypes.CDLL(None)
        self.libc.ptrace.argtypes = [ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p]

    def ask(self, request, address=None, data=None):
        return self.libc.ptrace(request, self.pid, address, data)

    def kill_at(self, number, deadline):
        """Kills it in front of the call of this number from now on, or at the deadline. False when tracing is
        forbidden here; the program runs on then."""
        if not WRITE_CALLS or self.ask(self.SEIZE, None, self.MARK_CALLS) < 0:
            return False
        self.ask(self.INTERRUPT)
        while time.monotonic() < deadline:
            # Seen, not taken: its starter still asks how it ended.
            seen = os.waitid(os.P_PID, self.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT).si_code
            if seen in (os.CLD_EXITED, os.CLD_KILLED, os.CLD_DUMPED):
                return True
            status = os.waitpid(self.pid, 0)[1]
            if self.at_write_call(status):
                number -= 1
                if number == 0:
                    break
            number_of_signal = os.WSTOPSIG(status)
            passes_on = status >> 16 == 0 and number_of_signal & 0x7F != signal.SIGTRAP
            self.ask(self.SYSCALL, None, number_of_signal if passes_on else 0)
        os.kill(self.pid, signal.SIGKILL)
        return True

    def at_write_call(self, status):
        if os.WSTOPSIG(status) != signal.SIGTRAP | 0x80:
            return False
        info = ctypes.create_string_buffer(88)
        self.ask(self.CALL_INFO, len(info), ctypes.addressof(info))
        return info.raw[0] == self.ENTRY and struct.unpack_from("<Q", info, 24)[0] in WRITE_CALLS


class Journal:
    """All lines that will ever be written, and what comes of them."""

    def __init__(self, model):
        self.lines = [self.line(i) for i in range(MOST_LINES)]
        site, = model.sites
        data = b"".join(self.lines)
        self.counts = []  # How many rows the lines up to a place give, for each place up to which they are written.
        for end in range(0, MOST_LINES + 1, AT_ONCE):
            model.scan(site, data[:end * LINE_BYTES])
            self.counts.append({name: len(model.tables[name].rows) for name in ONCE})
        self.rows = {name: fixed(name, rows) for name, rows in model.expected().items()}
        self.downloads = {row[1:] for row in self.rows["Downloads"]}

    @staticmethod
    def line(i):
        """Of one of many visitors. Among them are pictures, pages that are asked for twice, and two of one second."""
        address = "10.%d.%d.%d" % (i % 7, i % 53, i % 11) if i % 3 else "10.9.9.%d" % (i % 19)
        page = ("/a%d.png" % i if i % 17 == 3 else "/files/%d.zip" % i if i % 401 == 0 else
                "/again.html" if i % 5 == 0 else "/page%d.html" % i)
        line = ncsa_line(address, page, at("0:0:1") + i // 3, 404 if i % 97 == 5 else 200,
                         "http://from%d.test/x" % (i % 13), "Agent%d " % (i % 3))
        return (line[:-2].ljust(LINE_BYTES - 2) + line[-2:]).encode()


def fixed(name, rows):
    return tables.without(rows, *COUNTED.get(name, ()))


class Story:
    """One folder, whose program is killed a number of times.

    Visits do not end here, and an address has one visit. So the rules give every line the same row, however often it is
    read again, and rows come in the order of the lines: at any moment a table holds the first of the rows that the
    whole log would give, and no more of them than the lines written so far account for. That means as well that no row
    is there twice, none is torn, none that was seen has gone, and record numbers have no gap. Downloads alone are added
    once more with each reading.
    """

    def __init__(self, test, home, journal, random_):
        self.test, self.home, self.journal, self.random = test, home, journal, random_
        self.data, self.log = home.file("Data"), home.log("access.log")
        self.written = self.kills = 0
        self.seen = {}  # How many rows each reader has seen of each table: the count in the header is written last.
        write_file(self.log, b"")

    def write_lines(self, until):
        while not until.is_set() and self.written < MOST_LINES:
            # Told before it is done, so that nobody finds a row too early.
            self.written += AT_ONCE
            append(self.log, b"".join(self.journal.lines[self.written - AT_ONCE:self.written]))
            until.wait(PAUSE)

    def check(self):
        """Both readers, at any moment."""
        for name in tables.NAMES:
            for read in (tables.read, tables.dump):
                path = tables.path_of(self.data, name)
                if not os.path.exists(path) or os.path.getsize(path) == 0:
                    # Not yet made.
                    self.test.assertNotIn((read, name), self.seen)
                    continue
                self.check_rows(read, name, fixed(name, tables.stripped(read(self.data, name))))

    def check_rows(self, read, name, rows):
        test = self.test
        test.assertGreaterEqual(len(rows), self.seen.get((read, name), 0), name)
        self.seen[read, name] = len(rows)
        if name in ONCE:
            test.assertLessEqual(len(rows), self.journal.counts[self.written // AT_ONCE][name], name)
            wrong = [pair for pair in zip(rows, self.journal.rows[name]) if pair[0] != pair[1]]
            test.assertEqual(wrong[:3], [], name)
        elif name == "Downloads":
            test.assertEqual([row for row in rows if row[1:] not in self.journal.downloads][:3], [])
            numbers = [row.RecordNo for row in rows]
            test.assertEqual(numbers, sorted(set(numbers)))
        else:
            test.assertLessEqual(len(rows), 1 if name == "DaySum" else 0, name)

    def files_change(self):
        state = []
        for name in ("Pages.DBF", "Visitor.DBF", "Vantry.redo", "Vantry.idx", "Vantry.stamp"):
            try:
                info = os.stat(os.path.join(self.data, name))
                state.append((info.st_size, info.st_mtime_ns))
            except FileNotFoundError:
                state.append(None)
        return state

    def wait_for_the_instant(self, vantry):
        """Any instant; or one when files are being written; or one in front of a certain write."""
        how = self.random.choice(["any", "files change", "write", "write", "write"])
        if how == "write":
            time.sleep(self.random.uniform(0, 5))
            number = self.random.randint(1, self.random.choice([15, 50, 300]))
            if WriteTracer(vantry.pid()).kill_at(number, time.monotonic() + 6):
                return
        elif how == "files change":
            for _ in range(self.random.randint(1, 6)):
                before, end = self.files_change(), time.monotonic() + 6
                while self.files_change() == before and time.monotonic() < end:
                    time.sleep(0.0005)
            time.sleep(self.random.choice([0, self.random.uniform(0, 0.003), self.random.uniform(0, 0.05)]))
        else:
            time.sleep(self.random.uniform(1, 7))

    def one_run(self, kill):
        vantry = Vantry(self.home)
        until = threading.Event()
        writer = threading.Thread(target=self.write_lines, args=(until,), daemon=True)
        try:
            writer.start()
            if kill:
                self.wait_for_the_instant(vantry)
                self.test.kill(vantry)
                self.kills += 1
            else:
                time.sleep(self.random.uniform(1, 7))
                vantry.wait_ready()
                self.check()
                vantry.stop()
        finally:
            until.set()
            writer.join()
            vantry.clean_up()
        self.check()

    def run(self, crashes):
        while self.kills < crashes:
            # A stop now and then: what is read from then on begins with what has been read before.
            self.one_run(kill=self.random.random() < 0.85)
        self.finish()

    def finish(self):
        model = Model([Site("One", "www.one.test")])
        model.scan(model.sites[0], b"".join(self.journal.lines[:self.written]))
        vantry = Vantry(self.home)
        try:
            vantry.wait_ready()
            self.test.wait_live(vantry, model)
            vantry.stop()
        finally:
            vantry.clean_up()
        model.stop()
        expected = model.expected()
        rows = tables.read_all(self.data)
        for name in ONCE + ("Exceptions",):
            self.test.assertEqual(len(rows[name]), len(expected[name]), name)
            self.test.assertTrue(rows[name] == expected[name], name)
        self.test.assertEqual({row[1:] for row in rows["Downloads"]}, {row[1:] for row in expected["Downloads"]})
        self.test.assertEqual([row.Dated for row in rows["DaySum"]], [row.Dated for row in expected["DaySum"]])


class CrashTest(HistoryTest):
    def test_history_after_hard_stops_at_any_instant(self):
        journal = Journal(Model([Site("One", "www.one.test")]))
        failures, left = [], [min(EACH, CRASHES - n) for n in range(0, CRASHES, EACH)]
        lock = threading.Lock()

        def work(number):
            while not failures:
                with lock:
                    if not left:
                        return
                    crashes = left.pop()
                    number += SIDE_BY_SIDE
                try:
                    Story(self, self.one_site(InactivityMins=" 1500")[0], journal, random.Random(SEED + number)).run(crashes)
                except BaseException as e:
                    failures.append(e)
        threads = [threading.Thread(target=work, args=(n,)) for n in range(SIDE_BY_SIDE)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if failures:
            raise AssertionError("VANTRY_SEED=%d" % SEED) from failures[0]


if __name__ == "__main__":
    unittest.main()
