"""A real browser on the port: every page, link and window, the login, the list that reloads itself."""

import collections
import re
import time
import unittest
import urllib.parse

import web_browser
import web_world
from harness import SystemTest, append, skip_at_midnight, wait_until
from web_world import CLUB, NEWS, SHOP

MAX_PAGES = 60
ERROR_PAGES = ("chrome-error:", "about:blank", "data:")
# What the page of each command must show, and what no page may.
SHOWN = {
    "SITES": r"Sites Being Monitored On This Server", "SITETABLE": r"\d+ (Total )?Active Visitors",
    "VISITOR": r"\[Visitor Information\][^$]*\d+ Pages Visted", "PREVIOUS": r"\d+ Previous Visits$",
    "ALERTS": r"Alerts Raised Today For: ", "ALERTSTABLE": r"\d+ Alerts Raised Today\.",
    "SPIDERS": r"\d+ Spiders Spotted Today$", "EXCEPT": r"\d+ Exceptions Raised Today$",
    "REFER": r"\d+ Referring Sites$",
}
NEVER = re.compile(r"is not being monitored|Invalid user name|Please Enter|ERR_[A-Z_]+|This (page|site) (isn|can)")
OPENS_WINDOW = re.compile(r"javascript:openUIWindow\('(\?[^']+)'\)")
LOGIN = {"WebAccessControl": "True", "WebUsername": "Operator", "WebPassword": "opensesame"}


@unittest.skipIf(web_browser.missing(), web_browser.missing())
class BrowserCase(SystemTest):
    settings = {}
    escape = True

    def setUp(self):
        skip_at_midnight(before=240)
        if web_world.young_day():
            self.skipTest("the first visits would be of yesterday")
        self.folder = self.home()
        web_world.fill(self.folder, escape=self.escape, **self.settings)
        self.vantry = self.start(self.folder)
        self.base = "http://127.0.0.1:%d/" % self.vantry.port
        browser = web_browser.Browser()
        self.addCleanup(browser.clean_up)
        self.driver = browser.driver
        wait_until(lambda: web_world.all_read(self.vantry), what=self.vantry.status)

    def body(self):
        for _ in range(5):
            try:
                return self.driver.find_element("tag name", "body").text
            except web_browser.PageChanged:
                continue  # The page went away in between; the next look finds its successor.
        raise AssertionError("no page stays")

    def commands(self, url):
        return urllib.parse.urlsplit(url).query.split("&")[0] or "SITES"

    def check_page(self):
        """The page that is shown is whole and the one its address asks for. Returns its text."""
        url, text = self.driver.current_url, self.body()
        self.assertFalse(url.startswith(ERROR_PAGES), url)
        self.assertRegex(text, re.compile(SHOWN[self.commands(url)], re.M), url)
        self.assertNotRegex(text, NEVER, url)
        self.assertTrue(self.driver.title, url)
        # An unclosed brace or tag must not swallow what follows it.
        tables = self.driver.execute_script(
            "return [...document.querySelectorAll('table')].map(t => t.getBoundingClientRect().height)")
        self.assertTrue(tables and min(tables) > 0, (url, tables))
        self.check_console()
        return text

    def check_console(self):
        said = [entry for entry in self.driver.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")]
        self.assertEqual(said, [], self.driver.current_url)

    def links(self):
        # The attributes too: what the browser makes of them is in href.
        return self.driver.execute_script("return [...document.links].map(a => a.href)")

    def rows(self, text, word):
        return [line for line in text.splitlines() if word in line]

    def open(self, query):
        self.driver.get(self.base + query)
        return self.check_page()


class PagesTest(BrowserCase):
    windows = {"VISITOR": 11, "PREVIOUS": 10}

    def setUp(self):
        super().setUp()
        self.popups = {}

    def test_every_link_of_every_page(self):
        seen, external = self.walk(["", "?SITETABLE&site=ALL", "?SITETABLE&site="])
        commands = collections.Counter(self.commands(url) for url in seen)
        self.assertEqual(set(commands) | {self.commands(url) for url in self.popups}, set(SHOWN))
        # Each number of a visitor or alert leads to a visit, each visit number to the visits before.
        asked = collections.Counter(self.commands(url) for url in self.popups)
        self.assertEqual(asked, self.windows)
        for url in external:
            parts = urllib.parse.urlsplit(url)
            self.assertIn(parts.scheme, ("http", "https"), url)
            self.assertTrue(parts.hostname and "." in parts.hostname, url)
        self.assertIn("http://www.garden.example/cart.asp", external)
        self.assertIn("http://www.google.com/search?q=garden+tools", external)
        self.check_contents()

    def walk(self, starts):
        """Breadth first through all that stays on the port; every other address in a link is returned."""
        queue = collections.deque(self.base + start for start in starts)
        seen, external = set(queue), set()
        while queue:
            self.assertLess(len(seen), MAX_PAGES, seen)
            url = queue.popleft()
            self.driver.get(url)
            self.check_page()
            self.click_windows()
            for link in self.links():
                if link.startswith("javascript:"):
                    continue
                if not link.startswith(self.base):
                    external.add(link)
                elif link not in seen and link not in self.popups:
                    seen.add(link)
                    queue.append(link)
        return seen, external

    def click_windows(self):
        """Clicks what opens a window, once for each address, and looks at the window."""
        page = self.driver.current_window_handle
        before = self.driver.window_handles
        kind = "a[target='_blank']" if self.escape else "a[href^='javascript:']"
        for element in self.driver.find_elements("css selector", kind):
            wanted = element.get_attribute("href")
            if not self.escape:
                script = urllib.parse.unquote(wanted)
                self.assertRegex(script, OPENS_WINDOW)
                wanted = self.base + OPENS_WINDOW.fullmatch(script).group(1)
            if wanted in self.popups:
                continue
            element.click()
            wait_until(lambda: len(self.driver.window_handles) > len(before), what=wanted)
            self.driver.switch_to.window((set(self.driver.window_handles) - set(before)).pop())
            wait_until(lambda: self.driver.current_url == wanted and self.driver.execute_script(
                "return document.readyState") == "complete", what=lambda: (wanted, self.driver.current_url))
            self.popups[wanted] = self.check_page()
            for link in self.links():
                if link.startswith(self.base) and link not in self.popups:
                    self.driver.get(link)
                    self.popups[link] = self.check_page()
            self.driver.close()
            self.driver.switch_to.window(page)
            self.check_console()

    def check_contents(self):
        sites = self.open("?SITES")
        self.assertRegex(sites, r"1 www\.garden\.example 7 8 .* 6 8 2")
        self.assertRegex(sites, r"2 www\.townnews\.example 3 3 ")
        self.assertRegex(sites, r"Total 10 11 ")
        self.assertRegex(self.open("?SITETABLE&site=" + SHOP),
                         r"5 1 203\.0\.113\.55 cart\.asp \d\d:\d\d:\d\d \d\d:\d\d:\d\d Mozilla/5\.0 FR "
                         r"http://links\.town\.example/shops\.html")
        self.assertIn("0 Active Visitors", self.open("?SITETABLE&site=" + CLUB))
        text = self.open("?EXCEPT&site=" + SHOP)
        self.assertEqual(len(self.rows(text, "old/catalogue.html not found 404 error")), 1, text)
        self.assertEqual(len(self.rows(text, "contains ../")), 1, text)
        self.assertEqual(len(self.rows(self.open("?SPIDERS&site=" + SHOP), "Google")), 1)
        self.assertEqual(len(self.rows(self.open("?REFER&domain=" + SHOP), "http://")), 4)
        # With two alerts the types come first, with one its alerts.
        self.assertIn("All Alerts", self.open("?ALERTS&site=" + SHOP))
        self.assertIn("1 Alerts Raised", self.open("?ALERTSTABLE&site=%s&alertno=1" % SHOP))
        self.assertIn("5 Alerts Raised", self.open("?ALERTSTABLE&site=%s&alertno=2" % SHOP))
        self.assertIn("2 Alerts Raised", self.open("?ALERTS&site=" + NEWS))
        visit = self.popups[self.base + "?VISITOR&domain=%s:198.51.100.23!2" % SHOP]
        self.assertRegex(visit, r"(?s)Number Of Visits 2\n.*Location DE\n.*products/tools\.html 200\n.*3 Pages Visted")
        self.assertIn("2 Previous Visits", self.popups[self.base + "?PREVIOUS&domain=%s:198.51.100.23" % SHOP])


class PlainPagesTest(PagesTest):
    """Where texts go out as they are a script opens the windows."""
    escape = False
    windows = {**PagesTest.windows, "SITES": 1}  # A missing referrer is a link too, "-", below the port's own address.


class LoginTest(BrowserCase):
    settings = LOGIN

    def submit(self, user, password):
        for name, text in (("UserName", user), ("Password", password)):
            field = self.driver.find_element("name", name)
            field.clear()
            field.send_keys(text)
        button = self.driver.find_element("name", "B1")
        button.click()
        wait_until(lambda: not self.driver.find_elements("name", "Password"), what=self.body)

    def assert_form(self, query):
        self.driver.get(self.base + query)
        self.assertIn("Please Enter Your User Name and Password", self.body())
        self.assertNotIn("garden", self.body())
        self.check_console()

    def test_the_form(self):
        self.assert_form("")
        left_open = self.driver.current_window_handle
        self.driver.switch_to.new_window("tab")
        self.assert_form("?SITETABLE&site=ALL")
        self.assert_form("")
        with self.subTest("wrong names and passwords"):
            for user, password in (("operator", "opensesam"), ("", ""), ("bob", "opensesame")):
                self.submit(user, password)
                self.assertIn("Invalid user name or password. Click Back and try again.", self.body())
                self.driver.back()
                wait_until(lambda: self.driver.find_elements("name", "Password"), what=self.body)
        for step in (self.user_of_one_site, self.operator, self.list_that_reloads_itself):
            with self.subTest(step.__name__):
                step()
                # A wrong password, in a form that was left open, is the way out.
                own = self.driver.current_window_handle
                self.driver.switch_to.window(left_open)
                self.submit("operator", "no more")
                self.assertIn("Invalid user name or password.", self.body())
                self.driver.back()
                self.driver.switch_to.window(own)
                self.assert_form("?SITES")
                self.assert_form("")

    def user_of_one_site(self):
        self.submit("Bob", "spade")
        text = self.check_page()
        self.assertIn("User: BOB", text)
        self.assertIn(SHOP, text)
        self.assertNotIn(NEWS, text)
        self.assertNotIn(CLUB, text)
        self.assertRegex(text, r"Total 7 8 ")
        self.driver.find_element("link text", SHOP).click()
        self.assertIn("7 Active Visitors", self.check_page())

    def operator(self):
        self.submit("operator", "OpenSesame")
        self.assertRegex(self.check_page(), r"User: OPERATOR(?s:.*)Sites Being Monitored")
        for domain in (SHOP, NEWS, CLUB):
            self.assertIn(domain, self.body())
        # From here on by the links of the pages, as somebody does who clicks.
        self.click_through(SHOP, "Top Referrers", "Back")
        self.click_through("6", "All Alerts", "Back", NEWS, "Back")

    def click_through(self, *texts):
        for text in texts:
            self.driver.find_element("link text", text).click()
            self.check_page()
            self.assertIn("User: OPERATOR", self.body())

    def list_that_reloads_itself(self):
        self.submit("operator", "opensesame")
        self.assertRegex(self.check_page(), r"1 www\.garden\.example 7 8 ")
        begin = time.monotonic()
        append(self.folder.log("shop.log"), web_world.lines([(-1, "198.51.100.77", "/index.html", 200, "-",
                                                              web_world.IE7, "GET")], time.time()))
        # Nobody touches the browser: it comes by itself, and not at once.
        wait_until(lambda: re.search(r"1 www\.garden\.example 8 9 ", self.body()), 45, self.body, step=0.5)
        self.assertGreater(time.monotonic() - begin, 15)
        self.assertIn("User: OPERATOR", self.check_page())


if __name__ == "__main__":
    unittest.main()
