"""The disk of the data folder is full for a time: visitors are watched on, and history waits in memory for room."""

import os
import re
import resource
import signal
import subprocess
import time

import tables
from harness import append, side_by_side, wait_until, write_file
from history_case import HistoryTest, busy_lines

NO_SPACE = "No space left on device"


class FullDiskTest(HistoryTest):
    def small_disk(self, size):
        """A home whose data folder is a small disk of its own."""
        home, model = self.one_site()
        data = home.file("Data")
        os.mkdir(data)
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=" + size, "tmpfs", data],
                          capture_output=True).returncode:
            self.skipTest("may not mount a file system")
        # Whatever still holds a file on it.
        self.addCleanup(subprocess.run, ["umount", "-l", data], check=True)
        return home, model

    def fill(self, home, *open_end):
        """Takes all room, and what is left in the last blocks of these files."""
        for name in ("ballast", *open_end):
            with open(os.path.join(home.file("Data"), name), "ab", buffering=0) as f:
                for size in (4096, 1):
                    try:
                        while True:
                            f.write(b"\n" * size)
                    except OSError:
                        pass

    def make_room(self, home):
        os.unlink(home.file("Data/ballast"))

    def log_lines(self, home):
        with open(home.file("Data/TRL.LOG"), encoding="latin-1") as f:
            return [line.strip() for line in f]

    def told(self, home, vantry, open_end):
        return vantry.stderr().splitlines() if open_end else self.log_lines(home)

    def check_told(self, lines, words):
        """The operator hears of it; of the same thing once a minute."""
        found = [line for line in lines if words in line]
        self.assertTrue(found, lines)
        last = {}
        for line in found:
            stamp, text = re.search(r"(\S+ \d+:\d\d:\d\d [AP]M) (.*)", line).groups()
            when = time.mktime(time.strptime(stamp, "%m/%d/%Y %I:%M:%S %p"))
            self.assertGreaterEqual(when - last.get(text, 0), 60, found)
            last[text] = when

    def check_begun(self, data, model):
        """Both readers find whole tables that hold the first of the rows."""
        changing = {"Referrers": ("LastVDate", "LastVTime", "Visits")}
        for name, rows in model.expected().items():
            if os.path.exists(tables.path_of(data, name)):
                found = tables.without(tables.read_both(data, name), *changing.get(name, ()))
                self.assertEqual(found, tables.without(rows, *changing.get(name, ()))[:len(found)], name)

    def begin(self, home, lines, end, **how):
        write_file(home.log("access.log"), b"".join(lines[:end]))
        vantry = self.launch(home, **how).wait_ready()
        vantry.errors_expected = True
        return vantry

    def grow(self, home, lines, begin, end):
        append(home.log("access.log"), b"".join(lines[begin:end]))

    def follow(self, model, vantry, lines, end):
        model.scan(model.sites[0], b"".join(lines[:end]))
        self.wait_live(vantry, model)
        self.assertEqual(vantry.site_status("One").current, len(model.live))

    def test_what_waited_is_written_when_there_is_room(self):
        lines = busy_lines(2000)
        # The log of the program has room in its last block, or none.
        cases = [(open_end, *self.small_disk("8m")) for open_end in ((), ("TRL.LOG",))]
        cases = [(*case, self.begin(case[1], lines, 200)) for case in cases]
        for open_end, home, model, vantry in cases:
            self.follow(model, vantry, lines, 200)
            self.wait_rows(home.file("Data"), model)
            self.fill(home, *open_end)
        for begin, end in ((200, 700), (700, 1000), (1000, 1500)):
            for _, home, _, _ in cases:
                self.grow(home, lines, begin, end)
            for _, home, model, vantry in cases:
                self.follow(model, vantry, lines, end)
                self.check_begun(home.file("Data"), model)
        for open_end, home, model, vantry in cases:
            wait_until(lambda: NO_SPACE in "\n".join(self.told(home, vantry, open_end)), what=vantry.stderr)
            self.assertLess(len(tables.read(home.file("Data"), "Pages")), len(model.tables["Pages"].rows))
            self.make_room(home)
        for _, home, model, _ in cases:
            self.wait_rows(home.file("Data"), model)
            self.grow(home, lines, 1500, 2000)
        for open_end, home, model, vantry in cases:
            self.follow(model, vantry, lines, 2000)
            self.wait_rows(home.file("Data"), model)
            self.check_told(self.told(home, vantry, open_end), NO_SPACE)
            vantry.stop()
            model.stop()
            self.check_rows(home.file("Data"), model)
            self.check_files(home.file("Data"), model)

    def test_a_stop_with_no_room_says_so_and_the_next_start_reads_again(self):
        lines = busy_lines(1000)
        home, model = self.small_disk("4m")
        data = home.file("Data")
        vantry = self.begin(home, lines, 200)
        self.follow(model, vantry, lines, 200)
        self.wait_rows(data, model)
        self.fill(home, "TRL.LOG")
        self.grow(home, lines, 200, 1000)
        self.follow(model, vantry, lines, 1000)
        vantry.stop()
        model.stop()
        lost = [line for line in vantry.stderr().splitlines() if "was not written" in line]
        self.assertTrue([line for line in lost if tables.path_of(data, "Pages") in line], vantry.stderr())
        self.check_begun(data, model)
        self.assertLess(len(tables.read_both(data, "Pages")), len(model.tables["Pages"].rows))
        # The site file tells of the lines whose rows are on the disk, so the others come back.
        self.make_room(home)
        vantry = self.start_again(home, model)
        self.follow(model, vantry, lines, 1000)
        vantry.stop()
        model.stop()
        rows, expected = tables.read_all(data), model.expected()
        for name in ("Visits", "Visitor", "Referrers", "DaySum", "Pages"):
            self.assertEqual([row[1:] for row in rows[name]], [row[1:] for row in expected[name]], name)
        self.assertEqual({row[1:] for row in rows["Downloads"]}, {row[1:] for row in expected["Downloads"]})

    def test_a_disk_that_is_full_from_the_start(self):
        lines = busy_lines(600)
        home, model = self.small_disk("4m")
        data = home.file("Data")
        self.fill(home)
        vantry = self.begin(home, lines, 200)
        vantry.wait_visitor("10.0.0.0")
        wait_until(lambda: [line for line in vantry.stderr().splitlines() if NO_SPACE in line and "CreateDatabase" in
                            line], what=vantry.stderr)
        self.assertEqual(vantry.site_status("One").current, len(vantry.list()))
        self.make_room(home)
        # The tables are tried again by those who come, a second after the last try at the earliest.
        ends = iter(range(210, 401, 10))

        def visits():
            end = next(ends, None)
            if end:
                self.grow(home, lines, end - 10, end)
            return os.path.exists(tables.path_of(data, "Visits")) and tables.dump(data, "Visits")
        wait_until(visits, step=0.25)
        for end in ends:
            self.grow(home, lines, end - 10, end)
        tables.read_all(data)
        # No more is known of the visits before than of those before an installation, until the day is read again.
        self.kill(vantry)
        vantry = self.start_again(home, model)
        self.grow(home, lines, 400, 600)
        self.follow(model, vantry, lines, 600)
        vantry.stop()
        rows, expected = tables.read_all(data), model.expected()
        for name in ("Visits", "Visitor", "Pages"):
            self.assertEqual(sorted(row[1:] for row in rows[name]), sorted(row[1:] for row in expected[name]), name)

    def test_an_index_that_cannot_grow_costs_no_row(self):
        lines = busy_lines(800)
        home, model = self.one_site()
        data = home.file("Data")

        def no_signal():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        vantry = self.begin(home, lines, 100, preexec=no_signal)
        self.follow(model, vantry, lines, 100)
        self.wait_rows(data, model)
        # No table is as large; the next pages of the index find no room.
        limit = os.path.getsize(home.file("Data/Vantry.idx"))
        resource.prlimit(vantry.pid(), resource.RLIMIT_FSIZE, (limit, resource.RLIM_INFINITY))
        self.grow(home, lines, 100, 350)
        self.follow(model, vantry, lines, 350)
        wait_until(lambda: [line for line in self.log_lines(home) if "Vantry.idx" in line],
                   what=lambda: (self.log_lines(home), os.listdir(data)))
        self.wait_rows(data, model)
        self.assertLess(max(os.path.getsize(tables.path_of(data, name)) for name in tables.NAMES), limit)
        # Those who are there already are found without it.
        self.grow(home, lines, 350, 400)
        self.follow(model, vantry, lines, 400)
        self.check_told(self.log_lines(home), "Vantry.idx")
        resource.prlimit(vantry.pid(), resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
        self.grow(home, lines, 400, 800)
        self.follow(model, vantry, lines, 800)
        self.wait_rows(data, model)
        self.assertGreater(os.path.getsize(home.file("Data/Vantry.idx")), limit)
        vantry.stop()
        model.stop()
        self.check_rows(data, model)
        vantry = self.start_again(home, model)
        self.follow(model, vantry, lines, 800)
        vantry.stop()
        model.stop()
        self.check_rows(data, model)
        self.assertEqual([line for line in self.log_lines(home) if "built anew" in line], [])


if __name__ == "__main__":
    side_by_side()
