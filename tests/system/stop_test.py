"""A clean stop never loses what a hard one keeps: with a data folder that takes no rows, the next start reads the lines
again whose rows are missing."""

import os
import subprocess
import time

import tables
from harness import append, side_by_side, wait_until, write_file
from history_case import NO_EXCEPTIONS, HistoryTest, busy_lines, hit


class StopTest(HistoryTest):
    def small_disk(self):
        """A home whose data folder is a small disk of its own."""
        home, model = self.one_site()
        data = home.file("Data")
        os.mkdir(data)
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=8m", "tmpfs", data], capture_output=True).returncode:
            self.skipTest("may not mount a file system")
        self.addCleanup(subprocess.run, ["umount", "-l", data], check=True)
        return home, model

    def follow(self, model, vantry, lines):
        model.scan(model.sites[0], b"".join(lines))
        self.wait_live(vantry, model)

    def check_after_start(self, home, model, lines):
        """The program that starts now has every row, once."""
        data = home.file("Data")
        vantry = self.start_again(home, model)
        self.follow(model, vantry, lines)
        vantry.stop()
        model.stop()
        rows, expected = tables.read_all(data), model.expected()
        for name in ("Visits", "Visitor", "Referrers", "Pages"):
            self.assertEqual(sorted(row[1:] for row in rows[name]), sorted(row[1:] for row in expected[name]), name)
        self.assertEqual({row[1:] for row in rows["Downloads"]}, {row[1:] for row in expected["Downloads"]})

    def test_on_a_full_disk(self):
        lines = busy_lines(1500)
        home, model = self.small_disk()
        data = home.file("Data")
        write_file(home.log("access.log"), b"".join(lines[:500]))
        vantry = self.start(home)
        vantry.errors_expected = True
        self.follow(model, vantry, lines[:500])
        self.wait_rows(data, model)
        with open(home.file("Data/ballast"), "ab", buffering=0) as f:
            try:
                while True:
                    f.write(b"\n" * 512)
            except OSError:
                pass
        append(home.log("access.log"), b"".join(lines[500:]))
        self.follow(model, vantry, lines)
        vantry.stop()
        model.stop()
        self.assertLess(len(tables.read_both(data, "Pages")), len(model.tables["Pages"].rows))
        os.unlink(home.file("Data/ballast"))
        self.check_after_start(home, model, lines)

    def test_on_a_read_only_disk(self):
        lines = busy_lines(600)
        home, model = self.small_disk()
        data = home.file("Data")
        write_file(home.log("access.log"), b"".join(lines[:300]))
        vantry = self.start(home)
        self.follow(model, vantry, lines[:300])
        vantry.stop()
        model.stop()
        subprocess.run(["mount", "-o", "remount,ro", data], check=True)
        append(home.log("access.log"), b"".join(lines[300:]))
        vantry = self.start_again(home, model)
        vantry.errors_expected = True
        self.follow(model, vantry, lines)
        self.wait_scans(vantry)
        vantry.stop()
        model.stop()
        subprocess.run(["mount", "-o", "remount,rw", data], check=True)
        self.check_after_start(home, model, lines)

    def test_without_its_folder(self):
        lines = busy_lines(600)
        home, model = self.one_site()
        data, away = home.file("Data"), home.file("Away")
        write_file(home.log("access.log"), b"".join(lines[:300]))
        vantry = self.start(home)
        vantry.errors_expected = True
        self.follow(model, vantry, lines[:300])
        self.wait_rows(data, model)
        os.rename(data, away)
        append(home.log("access.log"), b"".join(lines[300:450]))
        self.follow(model, vantry, lines[:450])
        self.wait_scans(vantry)  # The tables are closed by then.
        append(home.log("access.log"), b"".join(lines[450:]))
        self.follow(model, vantry, lines)
        vantry.stop()
        model.stop()
        os.rename(away, data)
        self.check_after_start(home, model, lines)

    def test_inside_a_replay(self):
        home, model = self.one_site()
        home.write("EXTYPES.INI", NO_EXCEPTIONS.replace(
            "[Exception Types]\r\n", "[Exception Types]\r\n[404]\r\nNumber=404\r\nDescription=x\r\nRaise=True\r\n\r\n"))
        data = home.file("Data")
        # Long enough that a stop finds its replay under way.
        count = 400_000
        with open(home.log("access.log"), "w") as f:
            for i in range(count):
                f.write(hit("10.0.%d.%d" % (i % 40, i % 250), time.strftime("%H:%M:%S", time.gmtime(1 + i // 80)),
                            "/page%d.html" % i, 404 if i % 100 == 0 else 200))
        vantry = self.start(home)
        last = "10.0.%d.%d" % ((count - 1) % 40, (count - 1) % 250), "page%d.html" % (count - 1), 120
        vantry.wait_visitor(*last)
        vantry.stop()
        before = home.site_values("One")
        rows = tables.read_all(data)
        self.assertEqual(len(rows["Exceptions"]), count // 100)
        vantry = self.start(home)
        wait_until(lambda: vantry.list(), step=0.01)
        vantry.stop()
        after = home.site_values("One")
        self.assertEqual(after, before)
        vantry = self.start(home)
        vantry.wait_visitor(*last)
        self.wait_scans(vantry)
        vantry.stop()
        found = tables.read_all(data)
        self.assertEqual(found["Exceptions"], rows["Exceptions"])
        self.assertEqual(found["Pages"], rows["Pages"])


if __name__ == "__main__":
    side_by_side()
