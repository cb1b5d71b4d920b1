#!/usr/bin/python3
"""What vantryctl shows of the history: the tables' own rows, while they are written and afterwards."""

import collections
import hashlib
import json
import os
import subprocess
import unittest

import tables
from harness import append, vantry_binary, wait_until, write_file
from history_case import HistoryTest, busy_lines, hit

LINES = 3000


def iso(day):
    return "%s-%s-%s" % (day[:4], day[4:6], day[6:]) if day.strip() else None


class HistoryLists(HistoryTest):
    def ctl(self, home, *words):
        program = os.path.join(os.path.dirname(vantry_binary()), "vantryctl")
        done = subprocess.run([program, "history", home.path, *words, "--format", "json"], capture_output=True,
                              timeout=120, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, b""), words)
        return json.loads(done.stdout)

    def digests(self, data):
        found = {}
        for folder, _, names in os.walk(data):
            for name in names:
                path = os.path.join(folder, name)
                with open(path, "rb") as f:
                    found[path] = (hashlib.sha256(f.read()).hexdigest(), os.stat(path).st_mtime_ns)
        return found

    def test_lists_are_what_the_tables_hold(self):
        home, _ = self.one_site()
        write_file(home.log("access.log"), b"".join(busy_lines(LINES)))
        vantry = self.start(home)
        wait_until(lambda: len(vantry.list()) > 50)
        # While the program has the tables open and writes them, none of its rows is seen in halves.
        seen = 0
        for n in range(5):
            append(home.log("access.log"), b"".join(busy_lines(200, start=LINES + 200 * n)))
            visits = self.ctl(home, "visits")
            self.assertGreaterEqual(len(visits), seen)
            seen = len(visits)
            for visit in visits:
                self.assertEqual(visit["site"], "One")
                self.assertRegex(visit["address"], r"^10\.\d+\.\d+\.\d+$")
        append(home.log("access.log"), hit("192.0.2.9", "05:00:00", "/last.html"))
        vantry.wait_visitor("192.0.2.9")
        vantry.stop()
        self.compare(home, tables.read_all(home.file("Data")))

    def compare(self, home, rows):
        before = self.digests(home.file("Data"))
        visits = [r for r in rows["Visits"] if r.Site == "One"]
        self.assertGreater(len(visits), 100)
        self.assertEqual(sorted((v["address"], v["visit"], v["date"], v["time"], v["first_page"], v["last_page"],
                                 v["minutes"], v["pages"], v["referrer"]) for v in self.ctl(home, "visits")),
                         sorted((r.IP, int(r.VisitNo), iso(r.VisitDate), r.VisitTime, r.FirstPage, r.LastPage, r.MinsOn,
                                 int(r.PagesSeen), r.Referrer) for r in visits))
        busiest = max(visits, key=lambda r: int(r.PagesSeen))
        mine = [r for r in visits if r.IP == busiest.IP]
        self.assertEqual([v["visit"] for v in self.ctl(home, "visits", "--address", busiest.IP, "--site", "One")],
                         sorted(int(r.VisitNo) for r in mine))
        pages = sorted((r.PageNo, r.PageTime, r.Page + (" Error" if int(r.Status) > 400 else ""))
                       for r in rows["Pages"] if (r.IP, r.VisitNo) == (busiest.IP, busiest.VisitNo))
        shown = self.ctl(home, "visit", busiest.VisitNo, "--address", busiest.IP, "--site", "One")
        start = [row["value"] for row in shown].index("Session Started")
        self.assertEqual([(row["name"], row["value"]) for row in shown[start + 1:]], [page[1:] for page in pages])
        listed = self.ctl(home, "referrers", "--site", "One")
        self.assertEqual(sorted((r["visits"], r["name"]) for r in listed),
                         sorted((int(r.Visits), r.Name) for r in rows["Referrers"]))
        counts = [r["visits"] for r in listed]
        self.assertEqual(counts, sorted(counts, reverse=True))
        files = collections.Counter(r.Download for r in rows["Downloads"])
        self.assertEqual({r["file"]: r["downloads"] for r in self.ctl(home, "downloads")}, files)
        self.assertEqual([(d["date"], d["visitors"], d["downloads"]) for d in self.ctl(home, "days", "--site", "One")],
                         [(iso(r.Dated), int(r.Visitors), int(r.Downloads)) for r in rows["DaySum"]])
        self.assertEqual(self.digests(home.file("Data")), before)


if __name__ == "__main__":
    unittest.main()
