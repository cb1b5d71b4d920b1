"""A log full of scripts in a real browser: with EscapeHTML nothing of it runs, whatever is clicked."""

import collections
import time
import unittest

import web_browser
from harness import SystemTest, append, ncsa_line, skip_at_midnight, wait_until

RUN = "document.title=%27OWNED%27"
RUNS = "document.title='OWNED'"
# An address has no blanks.
ADDRESSES = [
    "8.8.8.8%27+(" + RUN + ")+%27",
    "8.8.8.8');" + RUNS + ";('",
    "8.8.8.8&#39;);document.title=&#39;OWNED&#39;;(&#39;",
    "8.8.8.8\\x27);document.title=1;//",
    "\"onmouseover=\"" + RUNS,
    "<img/src=x/onerror=" + RUNS + ">",
    "javascript:" + RUNS + "//",
    "8.8.8.9",
    "8.8.8.10",
]
REFERRERS = [
    "javascript:" + RUNS,
    "JaVaScRiPt:" + RUN,
    "\x01javascript:" + RUNS,
    " java\tscript:" + RUNS,
    "data:text/html,<script>" + RUNS + "</script>",
    "http://a.example/\"onclick=\"" + RUNS,
    "http://a.example/'><script>" + RUNS + "</script>",
    "http://a.example/\x1b$@",
    "\x1b(B\" onmouseover=\"" + RUNS + "\" x=\"",
]
PAGES = ["/index.html", "/<script>" + RUNS + "</script>.html", "/\"onmouseover=\"" + RUNS + "\".html",
         "/%22onmouseover=%22" + RUNS + ".html", "/%27onmouseover=" + RUNS + ".html",
         "/javascript:" + RUNS + ".html", "/x\x1b$@.html", "/\x1b(B\"onmouseover=\"" + RUNS + ".html"]
AGENTS = ["<svg onload=" + RUNS + ">", "Googlebot/2.1 <script>" + RUNS + "</script>", "Mozilla/5.0'onclick='" + RUNS]
ALERTS = "".join("Alert=<b onclick=x>%d\r\nAlertNo=%d\r\nAlertEnabled=True\r\nAlertENGINEALL=Y\r\n\r\n" % (n, n)
                 for n in (1, 2))
STARTS = ("", "?SITETABLE&site=ALL", "?SITETABLE&site=", "?ALERTS&site=www.example.test",
          "?SPIDERS&site=www.example.test", "?EXCEPT&site=www.example.test", "?REFER&domain=www.example.test", "?LIST&")
MAX_PAGES = 150


@unittest.skipIf(web_browser.missing(), web_browser.missing())
class ScriptTest(SystemTest):
    def browse(self, escape):
        skip_at_midnight(before=240)
        folder = self.home()
        folder.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\nEscapeHTML=%s\n" % escape)
        folder.write_settings()
        folder.write_sites(folder.section("One", folder.logs) + ALERTS)
        # Each visitor asks for a page every half minute.
        at, lines = time.time() - 3 * len(PAGES) * len(ADDRESSES), []
        for m, page in enumerate(PAGES):
            for n, address in enumerate(ADDRESSES):
                lines.append(ncsa_line(address, page, at, 404 if m == 4 else 200, REFERRERS[n] if m == 0 else "-",
                                       AGENTS[n % len(AGENTS)]))
                at += 3
        append(folder.log("access.log"), "".join(lines).encode("latin-1"))
        self.vantry = self.start(folder)
        wait_until(lambda: self.vantry.status()[0][2] >= len(ADDRESSES) - 1, what=self.vantry.status)
        self.base = "http://127.0.0.1:%d/" % self.vantry.port
        browser = web_browser.Browser()
        self.addCleanup(browser.clean_up)
        self.driver = browser.driver
        return self.driver

    def assert_nothing_ran(self, what):
        """In no window; leaves the first one open and shown."""
        first, *others = self.driver.window_handles
        for window in (*others, first):
            self.driver.switch_to.window(window)
            self.assertFalse(self.driver.execute_script("return document.title === 'OWNED'"), what)
            if window != first:
                self.driver.close()
        self.driver.switch_to.window(first)

    def touch_all(self):
        self.driver.execute_script(
            "for (const e of document.querySelectorAll('*'))"
            " for (const t of ['mouseover', 'mouseout', 'focus']) e.dispatchEvent(new Event(t, {bubbles: true}))")

    def test_nothing_of_a_log_runs(self):
        driver = self.browse(True)
        queue, seen, clicked = collections.deque(self.base + start for start in STARTS), set(), set()
        while queue:
            url = queue.popleft()
            if url in seen or not url.startswith(self.base):
                continue
            self.assertLess(len(seen), MAX_PAGES, seen)
            seen.add(url)
            driver.get(url)
            self.assertEqual(driver.execute_script("return document.scripts.length"), 0, url)
            self.touch_all()
            self.assert_nothing_ran(url)
            hrefs = driver.execute_script("return [...document.links].map(a => a.href)")
            for place, href in enumerate(hrefs):
                self.assertTrue(href.startswith("http"), (url, href))
                if href in clicked:
                    continue
                clicked.add(href)
                driver.get(url)
                windows = len(driver.window_handles)
                new = driver.execute_script(
                    "const a = document.links[arguments[0]]; a.click(); return a.target", place) == "_blank"
                wait_until(lambda: not new or len(driver.window_handles) > windows, what=href)
                self.assert_nothing_ran((url, href))
            queue.extend(href for href in hrefs if href not in seen)
        self.assertTrue(any("javascript:document.title=" in url for url in clicked), clicked)
        # Visits open in windows of their own.
        self.assertTrue(any("?VISITOR&" in url for url in seen), seen)
        self.assertTrue(any("?PREVIOUS&" in url for url in seen), seen)
        self.assertGreater(len(clicked), 40, clicked)

    def test_it_would_run_without(self):
        driver = self.browse(False)
        driver.get(self.base + "?SITETABLE&site=www.example.test")
        link = driver.find_element("css selector", "a[href^='javascript:openUIWindow'][href*='%27OWNED%27']")
        driver.execute_script("arguments[0].click()", link)
        wait_until(lambda: driver.title == "OWNED", what=lambda: driver.title)


if __name__ == "__main__":
    unittest.main()
