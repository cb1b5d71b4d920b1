"""History in dBase tables: what is in them after a day, a restart and a hard stop, and while they are written."""

import os
import threading
import time

import tables
from harness import append, ncsa_line, side_by_side, w3c_header, w3c_line, wait_until, write_file
from history_case import HistoryTest, at, busy_lines, hit
from history_model import DAY, Model, Site

FIELDS = "date time c-ip cs-method cs-uri-stem sc-status cs(User-Agent) cs(Referer)"
LATER_FIELDS = "time date cs-uri-stem c-ip cs(Referer) cs(User-Agent) sc-status cs-method"
IE = "Mozilla/4.0+(compatible;+MSIE+6.0;+Windows+NT+5.1)"
GECKO = "Mozilla/5.0+(X11;+Linux+x86_64)+Gecko"
LONG_NAME = "Two, with a name too long"


def w3c_hit(address, when, page, status=200, referrer="-", agent=IE, fields=FIELDS):
    return w3c_line(fields, {"date": time.strftime("%Y-%m-%d", time.gmtime()), "time": when, "c-ip": address,
                             "cs-uri-stem": page, "sc-status": str(status), "cs(Referer)": referrer,
                             "cs(User-Agent)": agent, "cs-method": "GET"})


def morning():
    """The log of the first site before the program starts. Visits end here after gaps of more than 5 minutes."""
    here = "http://www.one.test/"
    lines = [
        ncsa_line("192.0.2.99", "/yesterday.html", at("0:0:0") - 1), ncsa_line("192.0.2.99", "/b.html", at("23:59:59")),
        ncsa_line("192.0.2.99", "/tomorrow.html", at("0:0:0") + DAY),
        # Two visits and a short third one; pages that are none: the same again, two in a second, a picture.
        hit("192.0.2.1", "00:10:00", "/", referrer="http://search.test/find/it?q=maps&p=2"),
        hit("192.0.2.1", "00:10:20", "/index.html", referrer=here), hit("192.0.2.1", "00:10:30", "/about.html"),
        hit("192.0.2.1", "00:10:30", "/frame.html"), hit("192.0.2.1", "00:10:40", "/logo.png"),
        hit("192.0.2.1", "00:12:05", "/about.html"), hit("192.0.2.1", "00:17:59", "/still-here.html"),
        hit("192.0.2.1", "00:24:00", "/again.HTM", referrer="http://search.test/"),
        hit("192.0.2.1", "00:24:01", "/products", 304), hit("192.0.2.1", "00:33:00", "/third.html"),
        # How long they stayed.
        hit("192.0.2.2", "00:40:00", "/a.html"), hit("192.0.2.3", "00:40:00", "/a.html"),
        hit("192.0.2.4", "00:40:00", "/a.html"), hit("192.0.2.2", "00:40:59", "/b.html"),
        hit("192.0.2.3", "00:41:00", "/b.html"), hit("192.0.2.4", "00:41:01", "/b.html"),
        # Where they came from.
        hit("192.0.2.5", "00:50:00", "/a.html", referrer="http://search.test/other/"),
        hit("192.0.2.6", "00:50:00", "/a.html", referrer="http://search.test"),
        hit("192.0.2.7", "00:50:01", "/a.html", referrer="https://" + "very.long." * 6 + "test/path"),
        hit("192.0.2.8", "00:50:02", "/a.html", referrer=here + "all.html"),
        hit("192.0.2.9", "00:50:03", "/a.html", referrer="bookmarks/"),
        # Robots: a known one, and one that shows by what it asks for.
        hit("192.0.2.20", "01:00:00", "/a.html", agent="Googlebot/2.1"),
        hit("192.0.2.21", "01:00:10", "/robots.txt", agent="Thing/0.1"),
        hit("192.0.2.21", "01:00:20", "/a.html", agent="Thing/0.1"),
        hit("192.0.2.21", "01:20:00", "/b.html", agent="Thing/0.1"),
        hit("192.0.2.22", "01:20:01", "/c.html", agent="SomeCrawler-with-a-long-name/1.0"),
        # Downloads; two that are not there make a suspect.
        hit("192.0.2.30", "02:00:00", "/files/tool.zip"), hit("192.0.2.30", "02:00:10", "/files/tool.exe"),
        hit("192.0.2.30", "02:00:20", "/files/" + "a-file-with-a-very-long-name-indeed" + ".zip"),
        hit("192.0.2.31", "02:00:30", "/cgi\\cmd.exe", 404), hit("192.0.2.31", "02:00:31", "/scripts/root.dll", 403),
        hit("192.0.2.31", "02:00:32", "/a.html"),
        *[hit("192.0.2.32", "02:01:%02d" % i, "/gone%d.html" % i, 404) for i in range(10)],
        hit("192.0.2.32", "02:01:20", "/a/../b.html", 500), hit("192.0.2.32", "02:01:21", "/..%2Fb.html", 400),
        # What does not fit: pages, addresses of which two have the same beginning.
        hit("192.0.2.40", "02:10:00", "/a-page/with-a-path/that-is-longer/than-its-field.html"),
        hit("192.0.2.40", "02:10:01", "/caf\xe9/\xff\xfe.html"), hit("192.0.2.40", "02:10:02", "/list?by=a.html"),
        hit("2001:db8:0:42:11:22:33:44", "02:20:00", "/a.html"), hit("2001:db8::1", "02:20:01", "/b.html"),
        hit("2001:db8:0:42:11:22:33:55", "02:20:02", "/b.html", 500),
        # Another zone, which is added; a line that ends early has the rest of the line before.
        hit("192.0.2.50", "02:30:00", "/zone.html", zone="+0100"),
        hit("192.0.2.51", "03:31:00", "/a.html", referrer="http://last.test/x", agent="Opera/9.80"),
        '192.0.2.52 - - [%s:03:31:10 +0000] "GET /short.html HTTP/1.0" 206 1\n' % time.strftime(
            "%d/%b/%Y", time.gmtime()),
        hit("192.0.2.53", "03:31:20", "/pictures/only.gif"),
    ]
    return "".join(lines).encode("latin-1")


def w3c_morning():
    today = time.strftime("%Y-%m-%d", time.gmtime())
    return "".join([
        w3c_header(FIELDS, today),
        w3c_hit("192.0.2.1", "09:00:00", "/default.asp", referrer="http://www.one.test/links.html"),
        w3c_hit("192.0.2.1", "09:00:30", "/"),
        w3c_hit("192.0.2.1", "09:00:31", "/shop/list.aspx", 302),
        w3c_hit("192.0.2.61", "09:01:00", "/a.htm", agent=GECKO, referrer="http://www.two.test/x"),
        w3c_hit("192.0.2.62", "09:02:00", "/a.htm", agent="-"),
        w3c_header(LATER_FIELDS, today),
        w3c_hit("192.0.2.63", "09:20:00", "/x/tool.zip", 206, agent="Slurp/3.0", fields=LATER_FIELDS),
        w3c_hit("192.0.2.1", "09:20:01", "/back.htm", agent=GECKO, fields=LATER_FIELDS),
    ]).encode("latin-1")


class DayTest(HistoryTest):
    def two_sites(self):
        home = self.quiet_home()
        # Corrected visitors were seen when their lines were written: these have left hours ago. One line has a zone.
        home.keep_classic("QuietReplay", "QuietFirstScan", "TrueTimes")
        home.write_settings(InactivityMins=5)
        home.write_sites(home.section("One", home.logs, Domain="www.one.test"),
                         home.section(LONG_NAME, home.logs, Type=0, Unix=False, Mask="ex.log", Domain="www.two.test"))
        one, two = Site("One", "www.one.test"), Site(LONG_NAME, "www.two.test", w3c=True)
        return home, Model([one, two], 5, quiet_replay=False), one, two

    def read_day(self, home, model, one, two):
        """The morning at the start, the rest while the program watches."""
        logs = [morning(), w3c_morning()]
        write_file(home.log("access.log"), logs[0])
        write_file(home.log("ex.log"), logs[1])
        vantry = self.start(home)
        model.scan(one, logs[0])
        model.scan(two, logs[1])
        self.wait_live(vantry, model)
        self.assertNotIn("192.0.2.1", [v.ip for v in model.live if v.site is one])
        more = hit("192.0.2.1", "03:45:00", "/later.html") + hit("192.0.2.70", "03:45:01", "/new.zip")
        append(home.log("access.log"), more)
        model.scan(one, logs[0] + more.encode())
        self.wait_live(vantry, model)
        more_w3c = w3c_hit("192.0.2.1", "09:21:00", "/more.htm", fields=LATER_FIELDS)
        append(home.log("ex.log"), more_w3c)
        model.scan(two, logs[1] + more_w3c.encode())
        vantry.wait_visitor("192.0.2.70", "new.zip")
        wait_until(lambda: "more.htm" in [v.page for v in vantry.list()])
        return vantry, logs[0] + more.encode(), logs[1] + more_w3c.encode()

    def test_every_row_of_a_day_is_as_the_log_says(self):
        home, model, one, two = self.two_sites()
        vantry, _, _ = self.read_day(home, model, one, two)
        vantry.stop()
        model.stop()
        data = home.file("Data")
        rows = model.expected()
        # What the story was made for is part of what is compared.
        visits = [r for r in rows["Visits"] if (r.IP, r.Site) == ("192.0.2.1", "One")]
        self.assertEqual([(r.VisitNo, r.PagesSeen, r.MinsOn, r.Active) for r in visits],
                         [("00001", "3", "7:59", "N"), ("00002", "2", "0:01", "N"), ("00003", "1", "0:00", "N"),
                          ("00004", "1", "", "Y")])
        self.assertEqual([r.MinsOn for r in rows["Visits"] if r.IP in ("192.0.2.2", "192.0.2.3", "192.0.2.4")],
                         ["0:59", "0:60", "1:01"])
        self.assertEqual([r.HackRaised for r in rows["Visits"] if r.IP in ("192.0.2.31", "192.0.2.32")], ["Y", "Y"])
        self.assertEqual({r.SpiderT for r in rows["Visits"]},
                         {"", "Google", "Unknown", "Auto Detected", "SomeCrawler-wit", "Inktomi"})
        self.assertEqual([(r.IP, r.Visits) for r in rows["Visitor"] if ":" in r.IP],
                         [("2001:db8:0:42:1", "2"), ("2001:db8::1", "1")])
        self.assertEqual([(r.Visitors, r.Spiders, r.Downloads) for r in rows["DaySum"]],
                         [(str(len([r for r in rows["Visits"] if r.Site == "One"])), "4", "6"), ("5", "1", "1")])
        self.assertEqual([r.Visits for r in rows["Referrers"] if r.Name == "http://search.test"], ["3"])
        self.check_rows(data, model)
        self.check_files(data, model)

    def test_the_day_read_again_adds_nothing_but_its_downloads(self):
        home, model, one, two = self.two_sites()
        vantry, log, w3c_log = self.read_day(home, model, one, two)
        vantry.stop()
        model.stop()
        data = home.file("Data")
        once = tables.read_all(data)

        vantry = self.start_again(home, model)
        model.scan(one, log)
        model.scan(two, w3c_log)
        self.wait_live(vantry, model)
        vantry.stop()
        model.stop()
        self.check_rows(data, model)
        again = tables.read_all(data)
        self.check_files(data, model)
        self.assertEqual(tables.without(again["Visitor"], "HackCount"), tables.without(once["Visitor"], "HackCount"))
        self.assertEqual([again[n] for n in ("Visits", "Referrers", "Pages", "Exceptions")],
                         [once[n] for n in ("Visits", "Referrers", "Pages", "Exceptions")])
        self.assertEqual([(r.RecordNo, r.Site, r.Dated) for r in again["DaySum"]],
                         [(r.RecordNo, r.Site, r.Dated) for r in once["DaySum"]])
        self.assertEqual(again["Downloads"][:len(once["Downloads"])], once["Downloads"])
        self.assertEqual({r[1:] for r in again["Downloads"]}, {r[1:] for r in once["Downloads"]})


class RestartTest(HistoryTest):
    def test_visits_that_did_not_end_are_the_same_after_stops_and_hard_stops(self):
        home, model = self.one_site()
        site, = model.sites
        data, log = home.file("Data"), home.log("access.log")
        lines = busy_lines(3000)
        write_file(log, b"".join(lines[:1000]))
        before = None
        for end in (1000, 1500, 2000, 2000, 3000):
            vantry = self.start_again(home, model)
            append(log, b"".join(lines[before or 1000:end]))
            model.scan(site, b"".join(lines[:end]))
            self.wait_live(vantry, model)
            if end in (1500, 2000):
                self.wait_rows(data, model)
                self.kill(vantry)
                model.kill()
            else:
                vantry.stop()
                model.stop()
            self.check_rows(data, model)
            before = end
        # None of this depends on how often the program was ended.
        straight = Model([Site("One", "www.one.test")])
        straight.scan(straight.sites[0], b"".join(lines))
        straight.stop()
        rows, expected = tables.read_all(data), straight.expected()
        for name in ("Visits", "Visitor", "Referrers", "Pages", "Exceptions"):
            self.assertEqual(rows[name], expected[name], name)
        self.assertEqual({r[1:] for r in rows["Downloads"]}, {r[1:] for r in expected["Downloads"]})
        self.assertEqual([r.RecordNo for r in rows["DaySum"]], ["000000001"])
        self.assertEqual(rows["DaySum"][0].Visitors, expected["DaySum"][0].Visitors)


class Appender(threading.Thread):
    """Another program that writes its log."""

    def __init__(self, path, lines, at_once, pause):
        super().__init__(daemon=True)
        self.path, self.lines, self.at_once, self.pause = path, lines, at_once, pause

    def run(self):
        for i in range(0, len(self.lines), self.at_once):
            append(self.path, b"".join(self.lines[i:i + self.at_once]))
            time.sleep(self.pause)


class ReadersTest(HistoryTest):
    # Rewritten while a visitor stays; all other fields keep their first value.
    CHANGING = {"Referrers": ("LastVDate", "LastVTime", "Visits")}

    def test_readers_see_whole_rows_at_any_moment(self):
        home, model = self.one_site()
        lines = busy_lines(16000)
        model.scan(model.sites[0], b"".join(lines))
        expected = {name: tables.without(rows, *self.CHANGING.get(name, ())) for name, rows in model.expected().items()}
        data, log = home.file("Data"), home.log("access.log")
        write_file(log, b"".join(lines[:100]))
        vantry = self.start(home)
        writer = Appender(log, lines[100:], 50, 0.03)
        wait_until(lambda: os.path.exists(tables.path_of(data, "DaySum")))
        writer.start()
        reads, grew = 0, 0
        counts = dict.fromkeys(tables.NAMES, 0)
        end = time.monotonic() + 60
        while time.monotonic() < end and counts["Pages"] < len(expected["Pages"]):
            for name in tables.NAMES:
                for read in (tables.read, tables.dump):
                    rows = tables.without(tables.stripped(read(data, name)), *self.CHANGING.get(name, ()))
                    if name != "DaySum":
                        self.assertEqual(rows, expected[name][:len(rows)], name)
                    self.assertGreaterEqual(len(rows), counts[name], name)
                    grew += len(rows) > counts[name]
                    counts[name] = len(rows)
                    reads += 1
        writer.join()
        self.assertGreater(grew, 8, "the tables were to grow between reads, not at once")
        self.wait_live(vantry, model)
        vantry.stop()
        model.stop()
        self.check_rows(data, model)


if __name__ == "__main__":
    side_by_side()
