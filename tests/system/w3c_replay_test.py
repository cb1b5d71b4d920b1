"""A log of several days with header blocks in its middle: only today counts, and it goes on live."""

import os
import time
import unittest

from harness import (SystemTest, Visitor, all_corrected, append, skip_at_midnight, w3c_date, w3c_header, w3c_line,
                     wait_until, write_file)

WIDE = ("date time c-ip cs-username s-ip cs-method cs-uri-stem cs-uri-query sc-status sc-bytes "
        "cs(User-Agent) cs(Referer)")
# After an upgrade the server logs other fields in another order.
LATER = "time date cs-method sc-status cs(Referer) cs(User-Agent) cs-uri-query cs-uri-stem s-port c-ip"
IE = "Mozilla/4.0+(compatible;+MSIE+6.0;+Windows+NT+5.1)"
GECKO = "Mozilla/5.0+(X11;+Linux+x86_64)+Gecko"
DOMAIN = "www.example.test"


def hit(fields, date, clock, address, page, agent=IE, referrer="-", status="200"):
    return w3c_line(fields, {"date": date, "time": clock, "c-ip": address, "cs-uri-stem": page, "sc-status": status,
                             "cs(User-Agent)": agent, "cs(Referer)": referrer, "cs-method": "GET"})


def old_days(days=3, lines=400):
    out = []
    for back in range(days, 0, -1):
        date = w3c_date(time.time() - back * 86400)
        out.append(w3c_header(WIDE, date))
        for i in range(lines):
            clock = "%02d:%02d:%02d" % (i * 3 // 60 % 24, i * 3 % 60, i % 60)
            out.append(hit(WIDE, date, clock, "10.%d.0.%d" % (back, i % 250), "/old%d.htm" % i))
            if i == lines // 2:
                out.append(w3c_header(WIDE, date))  # The server was restarted.
    return "".join(out)


def todays_lines(today):
    return "".join([
        w3c_header(WIDE, today),
        hit(WIDE, today, "10:00:01", "192.0.2.1", "/start.htm", referrer="http://search.example/?q=maps"),
        hit(WIDE, today, "10:00:02", "192.0.2.2", "/start.htm", GECKO, referrer="http://www.example.test/all.htm"),
        hit(WIDE, today, "10:00:03", "192.0.2.1", "/pictures/logo.gif"),
        hit(WIDE, today, "10:00:04", "192.0.2.1", "/maps/north.asp"),
        hit(WIDE, today, "10:00:05", "192.0.2.9", "/pictures/logo.gif"),
        w3c_header(LATER, today),
        hit(LATER, today, "10:01:10", "192.0.2.2", "/maps/south.asp", GECKO),
        hit(LATER, today, "10:01:11", "192.0.2.3", "/prices", "GOOGLEBOT/2.1"),
        hit(LATER, today, "10:01:12", "192.0.2.4", "/gone.htm", "Opera/9.80", "http://elsewhere.example/", "404"),
        hit(LATER, today, "10:01:13", "192.0.2.4", "/second.htm", "Opera/9.80"),
        hit(LATER, today, "10:01:13", "192.0.2.4", "/same-second.htm", "Opera/9.80"),
    ])


EXPECTED = [
    Visitor(DOMAIN, 1, "192.0.2.1", "maps/north.asp", "10:00:01", "10:00:04", "IE6", "http://search.example/?q=maps"),
    Visitor(DOMAIN, 2, "192.0.2.2", "maps/south.asp", "10:00:02", "10:01:10", "NS5", ""),
    Visitor(DOMAIN, 3, "192.0.2.3", "/prices", "10:01:11", "10:01:11", "GOOGLEBOT/2.1", ""),
    Visitor(DOMAIN, 4, "192.0.2.4", "second.htm", "10:01:12", "10:01:13", "OP", "http://elsewhere.example/"),
]


class W3cReplayTest(SystemTest):
    def setUp(self):
        skip_at_midnight()
        self.today = w3c_date()
        self.folder = self.home()
        self.folder.keep_classic("TodaysNames")
        self.log = self.folder.log("ex.log")
        self.folder.write_site(Type=0, Unix=False, Mask="ex*.log")

    def test_only_today_counts_and_the_log_goes_on_live(self):
        write_file(self.log, old_days() + todays_lines(self.today))
        vantry = self.start(self.folder)
        vantry.wait_visitor("192.0.2.4", "second.htm")
        self.assertEqual(vantry.list(), EXPECTED)
        self.assertEqual(vantry.list(domain=DOMAIN), EXPECTED)
        status = vantry.site_status("One")
        self.assertEqual((status.paused, status.current, status.spiders), (False, 4, 1))
        t = time.strptime(self.today, "%Y-%m-%d")
        self.assertEqual(status.stamp, "%d/%d/%d 10:01:13" % (t.tm_mon, t.tm_mday, t.tm_year))

        append(self.log, hit(LATER, self.today, "10:02:00", "192.0.2.3", "/contact", "GOOGLEBOT/2.1"))
        append(self.log, hit(LATER, self.today, "10:02:01", "192.0.2.5", "/new.htm", GECKO, "http://a.example/b"))
        vantry.wait_visitor("192.0.2.5", "new.htm")
        self.assertEqual(vantry.visitor("192.0.2.3"), EXPECTED[2]._replace(page="/contact", last="10:02:00"))
        self.assertEqual(vantry.visitor("192.0.2.5"), Visitor(
            DOMAIN, 5, "192.0.2.5", "new.htm", "10:02:01", "10:02:01", "NS5", "http://a.example/b"))

        # The layout changes while the program watches, and half a line is in the file at one scan.
        append(self.log, w3c_header(WIDE, self.today))
        line = hit(WIDE, self.today, "10:03:00", "192.0.2.6", "/six.htm")
        append(self.log, line[:9])
        time.sleep(4.5)
        append(self.log, line[9:] + hit(WIDE, self.today, "10:03:05", "192.0.2.1", "/last.htm"))
        vantry.wait_visitor("192.0.2.6", "six.htm")
        vantry.wait_visitor("192.0.2.1", "last.htm")
        before = vantry.list()
        self.assertEqual([v.number for v in before], [1, 2, 3, 4, 5, 6])
        vantry.stop()

        # Today's lines are read again, so the list is what it was.
        values = self.folder.site_values("One")
        self.assertEqual(values["LastFields"].strip(), WIDE.upper())
        self.assertEqual(values["LastLogFile"], self.log)
        # The place of the next byte, from 1 on. Classic scans read the last line again, which may be half a one.
        size, place = os.path.getsize(self.log), int(values["LastReadPos"])
        if all_corrected():
            self.assertEqual(place, size + 1)
        else:
            self.assertLess(1, place)
            self.assertLessEqual(place, size)
        vantry = self.start(self.folder)
        vantry.wait_visitor("192.0.2.1", "last.htm")
        self.assertEqual(vantry.list(), before)
        append(self.log, hit(WIDE, self.today, "10:04:00", "192.0.2.7", "/seven.htm"))
        self.assertEqual(vantry.wait_visitor("192.0.2.7").number, 7)

    def test_a_log_without_a_field_line_pauses_its_site(self):
        write_file(self.log, hit(WIDE, self.today, "10:00:00", "192.0.2.1", "/a.htm") * 3)
        vantry = self.start(self.folder)
        wait_until(lambda: vantry.site_status("One").paused, what=vantry.status)
        self.assertEqual(vantry.list(), [])
        self.assertIn("no #Field definition lines", vantry.stderr())


if __name__ == "__main__":
    unittest.main()
