#!/usr/bin/python3
"""The report of a scripted day: made when vantryctl asks and at the rollover, mailed through a real server, and read in
a browser as a person would."""

import datetime
import email
import email.policy
import os
import subprocess
import unittest
import urllib.parse

import web_browser
from harness import MovedClock, SystemTest, append, faketime_library, ncsa_line, vantry_binary, wait_until
from mail_servers import AioServer

GOLDEN = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "reports", "daily_report.txt")
DAY = datetime.datetime(2026, 3, 5, tzinfo=datetime.timezone.utc)
NAME = "Garden & Co"
REPORT = NAME + " Daily Report.htm"
GOOGLE = "Googlebot/2.1 (+http://www.google.com/bot.html)"
ALERTS = "\r\n".join(["Alert=Everybody", "AlertNo=1", "AlertEnabled=True", "AlertENGINEALL=Y", ""])
EXCEPTION_TYPES = "\r\n".join(["[Exception Types]", "[404]", "Number=404", "Description=Page [lastpage] not found",
                               "Raise=True", "", "", ""])

# All that the page shows, a line for a title, a caption and a row.
READ_PAGE = """
const lines = [];
for (const node of document.querySelectorAll('font, table')) {
  if (node.tagName == 'FONT') {
    lines.push(...node.innerText.split('\\n').map(line => line.trim()).filter(line => line));
  } else {
    for (const row of node.rows) lines.push([...row.cells].map(cell => cell.innerText.trim()).join(' | '));
  }
}
return lines.join('\\n') + '\\n';
"""


def line(time, address, page, **how):
    when = DAY + datetime.timedelta(hours=int(time[:2]), minutes=int(time[3:5]), seconds=int(time[6:8]))
    return ncsa_line(address, page, when.timestamp(), **how)


@unittest.skipUnless(faketime_library(), "faketime is not installed")
class DailyReport(SystemTest):
    def setUp(self):
        try:
            self.server = AioServer()
        except ImportError:
            self.skipTest("aiosmtpd is not installed")
        self.addCleanup(self.server.clean_up)
        home = self.site_home = self.home()
        # Without corrections in every run: they end the day, and visits, at other times.
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n")
        home.write_settings(EmailServer=self.server.place, EmailFrom="monitor@example.test",
                            EmailSendTo="all@example.test", EmailSubject="Vantry", InactivityMins=" 1400")
        home.write("EXTYPES.INI", EXCEPTION_TYPES)
        garden = home.section(NAME, home.logs, Mask="garden.log", EmailAddress="garden@example.test",
                              EmailGlobalAlso=True, EmailDailyReport=True)
        home.write_sites(garden.rstrip("\r\n") + "\r\n" + ALERTS + "\r\n",
                         home.section("News", home.logs, Mask="news.log", Domain="news.example.test"))
        append(home.log("garden.log"), "".join([
            line("09:00:00", "192.0.2.1", "/index.html", referrer="http://www.google.com/search?q=roses&hl=en"),
            line("09:00:30", "192.0.2.1", "/roses.html"),
            line("09:02:00", "192.0.2.1", "/<script>document.title='x'</script>.html", status=404),
            line("10:15:00", "192.0.2.2", "/tulips.html",
                 referrer="http://evil.example/'><script>document.title=1</script>"),
            line("11:30:00", "198.51.100.7", "/index.html", agent=GOOGLE)]))
        append(home.log("news.log"), line("09:30:00", "203.0.113.9", "/gone.html", status=404))

    @staticmethod
    def moment(hours, minutes, seconds):
        return (DAY + datetime.timedelta(hours=hours, minutes=minutes, seconds=seconds)).timestamp()

    def set_clock(self, *time):
        self.clock.set(self.moment(*time))

    def start_at(self, *time):
        self.clock = MovedClock(self.site_home, self.moment(*time))
        return self.start(self.site_home, env=self.clock.env)

    def ctl(self, *words):
        tool = os.path.join(os.path.dirname(vantry_binary()), "vantryctl")
        return subprocess.run([tool, "--port", str(self.site_home.port), *words], capture_output=True, timeout=30,
                              check=False, text=True)

    def read_report(self):
        with open(self.site_home.file(REPORT), "rb") as f:
            return f.read()

    def check_in_browser(self, report):
        if web_browser.missing():
            self.skipTest(web_browser.missing())
        path = os.path.join(self.site_home.base, "attached.htm")
        with open(path, "wb") as f:
            f.write(report)
        browser = web_browser.Browser()
        self.addCleanup(browser.clean_up)
        browser.driver.get("file://" + urllib.parse.quote(path))
        text = browser.driver.execute_script(READ_PAGE)
        if os.environ.get("VANTRY_SCREENSHOT"):
            browser.driver.save_screenshot(os.environ["VANTRY_SCREENSHOT"])
        if os.environ.get("VANTRY_RENEW"):
            with open(GOLDEN, "w", encoding="utf-8") as f:
                f.write(text)
        with open(GOLDEN, encoding="utf-8") as f:
            self.assertEqual(text, f.read())
        self.assertEqual(browser.driver.title, "Vantry")
        self.assertEqual(browser.driver.execute_script("return document.scripts.length"), 0)
        attributes = browser.driver.execute_script(
            "return [...document.links].map(a => [a.getAttributeNames().join(), a.protocol])")
        self.assertEqual(attributes, [["href", "http:"]] * 2)

    def test_a_day_and_its_report(self):
        vantry = self.start_at(23, 50, 0)
        wait_until(lambda: [s[2:6] for s in vantry.status()] == [(3, 2, 1, 1), (1, 0, 0, 1)], what=vantry.status)
        # On demand. Nothing is mailed.
        made = self.ctl("report", NAME.lower())
        self.assertEqual((made.returncode, made.stdout), (0, self.site_home.file(REPORT) + "\n"), made.stderr)
        on_demand = self.read_report()
        unknown = self.ctl("report", "Nobody")
        self.assertEqual((unknown.returncode, unknown.stdout, unknown.stderr),
                         (1, "", "vantryctl: There is no site 'Nobody'.\n"))
        os.remove(self.site_home.file(REPORT))
        # In the first minute of the new day nothing is over yet.
        self.set_clock(24, 0, 20)
        self.wait_scans(vantry, 3)
        self.assertFalse(os.path.exists(self.site_home.file(REPORT)))
        self.assertEqual(self.server.mails, [])
        self.set_clock(24, 1, 5)
        wait_until(lambda: len(self.server.mails) == 2, what=vantry.stderr)
        wait_until(lambda: vantry.site_status(NAME).alerts == 0)
        vantry.stop()
        self.assertEqual([mail[0].rcpt_tos for mail in self.server.mails],
                         [["garden@example.test"], ["all@example.test"]])
        for envelope, _, _ in self.server.mails:
            mail = email.message_from_bytes(envelope.content, policy=email.policy.default)
            self.assertEqual(mail["Subject"], "Vantry")
            body, attached = mail.iter_parts()
            self.assertEqual((body.get_content_type(), body.get_content().strip()),
                             ("text/html", "Daily Report For Site:" + NAME))
            self.assertEqual(attached.get_filename(), REPORT)
            self.assertEqual(attached.get_payload(decode=True), self.read_report())
        self.assertEqual(self.read_report(), on_demand)
        self.assertFalse(os.path.exists(self.site_home.file("News Daily Report.htm")))
        self.check_in_browser(self.read_report())

    def test_a_name_that_is_no_files_name(self):
        self.site_home.write_site("Shop/Garden", Mask="garden.log", EmailDailyReport=True)
        vantry = self.start_at(23, 59, 50)
        wait_until(lambda: vantry.status()[0].current == 3)
        made = self.ctl("report", "Shop/Garden")
        self.assertEqual(made.returncode, 1)
        self.assertIn("Shop/Garden Daily Report.htm: the site's name can't be a file's", made.stderr)
        self.set_clock(24, 1, 5)
        vantry.errors_expected = True
        failed = wait_until(vantry.failed_steps)
        self.assertEqual(len(failed), 1, failed)
        self.assertTrue(failed[0].endswith("From frmLog.SendDailyReport"), failed)
        vantry.stop()
        self.assertEqual(self.server.mails, [])


if __name__ == "__main__":
    unittest.main()
