"""How a corrected program reads logs: true times, quoted fields, the end of the day, first scans."""

import datetime
import os
import subprocess
import time
import unittest
import zoneinfo

from harness import (MONTHS, MovedClock, SystemTest, append, faketime_library, ncsa_line, seconds_to_midnight,
                     side_by_side, vantry_binary, w3c_header, w3c_line, wait_until, write_file)

UTC = datetime.timezone.utc
FIELDS = "date time c-ip cs-uri-stem sc-status cs(User-Agent)"


def zone_of(minutes):
    return datetime.timezone(datetime.timedelta(minutes=minutes))


def line_in_zone(address, page, at, zone, agent="Browser/1.0"):
    stamp = at.astimezone(zone)
    return '%s - - [%02d/%s/%s] "GET %s HTTP/1.1" 200 5 "-" "%s"\n' % (
        address, stamp.day, MONTHS[stamp.month - 1], stamp.strftime("%Y:%H:%M:%S %z"), page, agent)


class CorrectedReadingTest(SystemTest):
    def corrected_home(self, *keys):
        home = self.home()
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\n" +
                   "".join("%s=True\n" % key for key in keys))
        return home

    def skip_near_local_midnight(self, zone):
        now = datetime.datetime.now(zone)
        if not 120 < now.hour * 3600 + now.minute * 60 + now.second < 86400 - 120:
            self.skipTest("midnight is too near in " + str(zone))

    def test_hits_are_shown_at_the_time_at_which_they_happened(self):
        for name in ("America/St_Johns", "Asia/Kathmandu", "Pacific/Kiritimati"):
            here = zoneinfo.ZoneInfo(name)
            self.skip_near_local_midnight(here)
            home = self.corrected_home("TrueTimes")
            home.write_sites(home.section("Apache", home.logs, Domain="a.example"),
                             home.section("IIS", home.logs, Domain="w.example", Type=0, Unix=False, Mask="ex.log"))
            now = datetime.datetime.now(UTC).replace(microsecond=0)
            write_file(home.log("access.log"), "".join(
                line_in_zone("10.0.0.%d" % i, "/a.htm", now, zone_of(minutes))
                for i, minutes in enumerate((-720, -570, 0, 60, 330, 345, 840), 1)))
            write_file(home.log("ex.log"), w3c_header(FIELDS, str(now.date())) + w3c_line(FIELDS, {
                "date": str(now.date()), "time": str(now.time()), "c-ip": "10.0.1.1", "cs-uri-stem": "/b.htm"}))
            vantry = self.start(home, zone=name)
            vantry.wait_visitor("10.0.0.7")
            vantry.wait_visitor("10.0.1.1")
            shown = now.astimezone(here).strftime("%H:%M:%S")
            self.assertEqual({v.address: v.start for v in vantry.list()},
                             dict({"10.0.0.%d" % i: shown for i in range(1, 8)}, **{"10.0.1.1": shown}))
            vantry.stop()

    def test_line_of_nginx_with_a_virtual_host_is_read_whole(self):
        home = self.corrected_home("NcsaFields")
        home.write_site(IncludeQuery=True)
        self.skip_near_local_midnight(UTC)
        tail = ncsa_line("x", "/shop/index.php?id=3&amp", agent="Mozilla/5.0 (compatible; Examplebot/1.0)")[1:]
        write_file(home.log("access.log"), "www.example.test:443 2001:db8::7" + tail +
                   ncsa_line("10.0.0.1", "/") + ncsa_line("10.0.0.2", "-", method="").replace('" -', '"-'))
        vantry = self.start(home)
        self.assertEqual(vantry.wait_visitor("2001:db8::7").page, "shop/index.php")
        self.assertEqual(vantry.wait_visitor("10.0.0.1").page, "index.html")
        self.assertEqual(vantry.addresses(), ["2001:db8::7", "10.0.0.1"])

    def test_a_log_is_read_at_once_also_where_another_folder_takes_its_place(self):
        home = self.corrected_home("Immediate", "FollowRotation")
        real, link = os.path.join(home.base, "real"), os.path.join(home.base, "link")
        os.mkdir(real)
        os.symlink(home.logs, link)
        home.write_sites(home.section("Folder", real, Frequency=600), home.section("Link", link, Frequency=600))
        # A first scan comes 2 seconds after that of the site before.
        append(os.path.join(real, "access.log"), ncsa_line("10.0.0.1", "/a.html"))
        append(home.log("access.log"), ncsa_line("10.0.1.1", "/a.html"))
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.1")
        vantry.wait_visitor("10.0.1.1")
        append(os.path.join(real, "access.log"), ncsa_line("10.0.0.2", "/b.html"))
        vantry.wait_visitor("10.0.0.2")
        # A folder that is moved away and made anew, and a link that leads to another.
        other = os.path.join(home.base, "other")
        os.rename(real, real + ".old")
        for folder in (real, other):
            os.mkdir(folder)
        append(os.path.join(real, "access.log"), ncsa_line("10.0.0.3", "/c.html"))
        append(os.path.join(other, "access.log"), ncsa_line("10.0.1.3", "/c.html"))
        os.unlink(link)
        os.symlink(other, link)
        vantry.wait_visitor("10.0.0.3")
        vantry.wait_visitor("10.0.1.3")
        append(os.path.join(real, "access.log"), ncsa_line("10.0.0.4", "/d.html"))
        append(os.path.join(other, "access.log"), ncsa_line("10.0.1.4", "/d.html"))
        vantry.wait_visitor("10.0.0.4")
        vantry.wait_visitor("10.0.1.4")

    def test_many_long_logs_are_read_at_once(self):
        """The classic program takes two minutes for the first scans alone."""
        self.skip_near_local_midnight(UTC)
        home = self.corrected_home("QuickStart", "SeekToday")
        old = "".join(ncsa_line("10.9.9.9", "/old%d.htm" % i, at=time.time() - 86400 * 2) for i in range(20000))
        write_file(home.log("old"), old)
        sections = []
        for n in range(60):
            folder = os.path.join(home.logs, str(n))
            os.mkdir(folder)
            with open(os.path.join(folder, "access.log"), "wb") as f:
                subprocess.run(["cat", home.log("old")], stdout=f, check=True)
                f.write(ncsa_line("10.0.0.%d" % n, "/a.htm").encode())
                f.write(ncsa_line("10.0.1.%d" % n, "/a.htm").encode())
            sections.append(home.section("S%d" % n, folder, Domain="d%d.example" % n, Frequency=5))
        home.write_sites(*sections)
        vantry = self.start(home)
        wait_until(lambda: len(vantry.list()) == 120, seconds=60, what=lambda: len(vantry.list()))
        append(home.log("7/access.log"), ncsa_line("10.0.2.7", "/b.htm"))
        vantry.wait_visitor("10.0.2.7")
        self.assertEqual(len(vantry.list()), 121)

    @unittest.skipUnless(faketime_library(), "faketime is not installed")
    def test_day_changes_after_a_sleep_over_midnight(self):
        home = self.corrected_home("CatchUpRollover")
        home.write_site()
        midnight = time.time() + seconds_to_midnight()
        clock = MovedClock(home, midnight - 600)
        write_file(home.log("access.log"), ncsa_line("10.0.0.1", "/a.htm", at=midnight - 700))
        vantry = self.start(home, env=clock.env)
        vantry.wait_visitor("10.0.0.1")
        clock.set(midnight + 3 * 3600)
        append(home.log("access.log"), ncsa_line("10.0.0.2", "/a.htm", at=midnight + 5) +
               ncsa_line("10.0.0.3", "/a.htm", at=midnight - 5))
        vantry.wait_visitor("10.0.0.2")
        self.assertIsNone(vantry.visitor("10.0.0.3"))

    def test_dates_are_saved_with_the_year_in_front_and_read_in_both_forms(self):
        self.skip_near_local_midnight(UTC)
        home = self.corrected_home("IsoDates")
        home.write_site()
        write_file(home.log("access.log"), ncsa_line("10.0.0.1", "/a.htm") + ncsa_line("10.0.0.2", "/b.htm"))
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.2")
        vantry.stop()
        saved = home.site_values("One")["LastReadDateTime"]
        self.assertRegex(saved, r"^20\d\d-\d\d-\d\d \d\d:\d\d:\d\d$")
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[International]\nShortDate=d.M.yyyy\n")
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.2")
        vantry.stop()
        day = time.strptime(saved, "%Y-%m-%d %H:%M:%S")
        self.assertEqual(home.site_values("One")["LastReadDateTime"],
                         "%d.%d.%d %s" % (day.tm_mday, day.tm_mon, day.tm_year, saved.split()[1]))

    def test_add_site_recognises_a_log_with_virtual_hosts_in_a_new_folder_alone(self):
        home = self.home()
        write_file(home.log("access.log"), "www.example.test:80 " + ncsa_line("10.0.0.1", "/a.htm"))
        for folder, code in ((home.path, 1), (os.path.join(home.base, "new"), 0)):
            home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n")
            done = subprocess.run([os.path.join(os.path.dirname(vantry_binary()), "vantryctl"), "add-site", folder,
                                   "--name", "S", "--domain", "d.example", home.log("access.log")], capture_output=True)
            self.assertEqual(done.returncode, code, done.stderr)


if __name__ == "__main__":
    side_by_side()
