"""How the live page looks: hostile texts, widths, colours, many tabs, and what axe-core finds."""

import json
import os
import unittest

import live_mock
from live_mock import HOSTILE
from live_page_case import NO_WORKER, PageCase

AXE = os.path.join(os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache"), "vantry-tests", "axe.min.js")


class TabsTest(PageCase):
    def tabs_share_a_stream(self, count, source=""):
        mock = self.mock()
        self.come(mock, 1)
        home, handles = self.driver.current_window_handle, []
        try:
            while len(handles) < count:
                self.driver.switch_to.new_window("tab")
                handles.append(self.driver.current_window_handle)
                self.cdp("Page.addScriptToEvaluateOnNewDocument", source=source)
                self.driver.get(mock.url)
            mock.world.come(host="all.example")
            for handle in handles:
                self.driver.switch_to.window(handle)
                self.until(lambda: "all.example" in self.rows() and self.state() == "live")
            self.assertEqual(len(mock.streams), 1)
            # The tab that was first goes: the others live on.
            self.driver.switch_to.window(handles.pop(0))
            self.driver.close()
            self.driver.switch_to.window(handles[-1])
            mock.world.come(host="after.example")
            self.until(lambda: "after.example" in self.rows())
        finally:
            for handle in handles:
                self.driver.switch_to.window(handle)
                self.driver.close()
            self.driver.switch_to.window(home)

    def test_eight_tabs_share_a_worker(self):
        self.tabs_share_a_stream(8)

    def test_tabs_without_workers_share_the_stream_of_one(self):
        self.tabs_share_a_stream(3, NO_WORKER)


class HostileTest(PageCase):
    def test_texts_of_logs_stay_texts(self):
        mock = self.mock(sites=2)
        live_mock.hostile(mock.world)
        self.open(mock)
        for text in HOSTILE:
            mock.world.come(page=text, host=text, referrer=text, name=text, spider=text, country=text,
                            country_name=text)
        self.until(lambda: len(self.rows()) == 2 * len(HOSTILE))
        for n in range(len(HOSTILE)):
            self.js("document.querySelectorAll('.row')[arguments[0]].click()", n)
            self.until(lambda: self.js("return document.getElementById('drawer-pages').children.length"))
        for tab in ("exceptions", "spiders", "referrers", "countries", "sites"):
            self.js("document.getElementById('tab-' + arguments[0]).click()", tab)
        self.assertIsNone(self.js("return window.hacked ?? null"))
        self.assertEqual(self.js("return document.querySelectorAll('script').length"), 1)
        self.assertEqual(self.js("return document.querySelectorAll('svg').length"), 2)
        self.assertEqual(self.js("return [...document.images].map(i => i.getAttribute('src'))"), ["assets/favicon.svg"])
        self.until(lambda: self.driver.title == "%d visitors – Vantry" % (2 * len(HOSTILE)))
        shown = self.js("return document.body.innerText")
        self.assertNotRegex(shown, "[\u202a-\u202e\u2066-\u2069\u0007\u001b]")
        self.assertNotIn("x" * 2100, shown)
        links = self.js("return [...document.links].map(a => a.protocol)")
        self.assertEqual(set(links), {"http:"})
        self.assertLessEqual(self.js("return document.documentElement.scrollWidth"), 1280)


class LookTest(PageCase):
    def test_no_width_scrolls_sideways(self):
        mock = self.mock(sites=3)
        live_mock.populate(mock.world, 60)
        live_mock.hostile(mock.world)
        for width, height, query in ((360, 640, ""), (768, 1024, ""), (1920, 1080, ""), (3840, 2160, "?wall")):
            self.resize(width, height)
            self.open(mock, query)
            self.assertEqual(self.js("return document.documentElement.scrollWidth"), width)
            for view in ("now", "today", "hour", "visitors") if width < 900 else ():
                self.js("document.querySelector('.views [data-view=%s]').click()" % view)
                self.assertEqual(self.js("return document.documentElement.scrollWidth"), width)
            # Nothing that is to be seen or clicked is beyond the edge.
            beyond = self.js(
                "return [...document.querySelectorAll('header *, .strip *, .tools *, .row, .row *, .tabs *')].filter("
                "e => { const r = e.getBoundingClientRect(); return r.width > 1 && r.right > innerWidth + 1; })"
                ".map(e => e.outerHTML.slice(0, 80))")
            self.assertEqual(beyond, [], width)
        big = self.js("return [parseFloat(getComputedStyle(document.querySelector('.row')).fontSize),"
                      "document.querySelectorAll('.controls, .tools, .tabs').length,"
                      "[...document.querySelectorAll('.controls, .tools, .tabs')].filter(e => e.offsetWidth).length]")
        self.assertGreater(big[0], 24)
        self.assertEqual(big[2], 0)
        # Whole rows alone.
        self.assertTrue(self.js("const g = document.getElementById('grid').getBoundingClientRect().bottom;"
                                "return [...document.querySelectorAll('.row')].every("
                                "r => r.getBoundingClientRect().bottom <= g + 1)"))

    def test_tags_leave_an_address_whole(self):
        mock = self.mock(sites=3)
        for more in ({}, {"spider": "Bot"}):
            mock.world.come("255.255.255.%d" % (240 + len(more)), host=None, quiet=True,
                            **{"alert": 1, "spider": None, **more})
        for width in (360, 1280):
            self.resize(width, 800)
            self.open(mock)
            cut = self.js("return [...document.querySelectorAll('.row .c-visitor bdi')].filter("
                          "b => b.scrollWidth > b.clientWidth).map(b => b.textContent)")
            self.assertEqual((len(self.rows()), cut), (2, []), width)

    def test_dark_is_dark(self):
        mock = self.mock()
        self.scheme("dark")
        self.open(mock)
        self.assertEqual(self.js("return getComputedStyle(document.body).backgroundColor"), "rgb(15, 20, 23)")

    def test_the_last_hour_is_a_table_as_well(self):
        mock = self.mock()
        self.open(mock)
        self.until(lambda: self.js("return document.getElementById('rates-rows').children.length") == 60)
        self.assertRegex(self.js("return document.querySelector('#chart-views svg').getAttribute('aria-label')"),
                         r"^Page views a minute, last hour: now \d+, most \d+$")

    def test_notifications_are_asked_for_by_a_click_alone(self):
        mock = self.mock()
        key = mock.world.come("192.0.2.9", quiet=True)
        fake = ("window.asked = 0; window.notes = []; window.Notification = class { constructor(title, more) {"
                "notes.push([title, more.tag]); } static permission = 'default';"
                "static async requestPermission() { asked += 1; Notification.permission = 'granted'; } };")
        with self.before_scripts(fake):
            self.open(mock)
            mock.world.alert(key, name="Unasked")
            self.until(lambda: "Unasked" in self.text("#panel-alerts"))
            self.assertEqual(self.js("return [asked, notes]"), [0, []])
            self.click("#notify")
            self.until(lambda: "on" in self.text("#notify-label"))
            mock.world.alert(key, name="Asked for")
            self.until(lambda: self.js("return notes") == [["Asked for", "vantry-alert-2"]])
        self.js("localStorage.clear()")


@unittest.skipUnless(os.path.exists(AXE), "axe.min.js is not in %s; scripts/install-deps.sh test fetches it" % AXE)
class AccessibilityTest(PageCase):
    def check(self, name):
        if not self.js("return 'axe' in window"):
            with open(AXE, encoding="utf-8") as f:
                self.js(f.read())
        options = {"resultTypes": ["violations"]}
        if name.startswith("dark"):  # All but the colours is as it was in the light.
            options["runOnly"] = ["color-contrast"]
        found = self.driver.execute_async_script(
            "const done = arguments[1]; axe.run(arguments[0]).then((r) => done(r.violations.map((v) => [v.id, v.help,"
            "v.nodes.slice(0, 3).map((n) => n.html.slice(0, 200) + n.failureSummary)])))", options)
        self.assertEqual(found, [], name + json.dumps(found, indent=1))

    def test_no_findings(self):
        mock = self.mock(sites=2)
        live_mock.populate(mock.world, 50)
        key = next(iter(mock.world.visitors))
        mock.world.alert(key)
        mock.world.exception()
        for scheme in ("light", "dark"):
            self.scheme(scheme)
            self.resize(1280, 800)
            self.open(mock)
            self.check(scheme)
            self.js("document.querySelector('.row').click()")
            self.until(lambda: self.text("#drawer-pages"))
            self.check(scheme + " drawer")
            self.click("#drawer-close")
            self.click("#menu-button")
            self.check(scheme + " menu")
            self.click("#menu-button")
            self.click("#pause")
            self.until(lambda: self.state() == "paused")
            self.check(scheme + " paused")
            self.click("#pause")
            self.resize(360, 740)
            self.check(scheme + " 360")
            self.js("document.querySelector('.views [data-view=today]').click()")
            self.check(scheme + " 360 today")
            self.resize(1280, 800)
            mock.stop()
            self.until(lambda: self.state() == "lost")
            self.check(scheme + " stale")
            mock.start()
            self.resize(1920, 1080)
            self.open(mock, "?wall")
            self.check(scheme + " wall")

    def test_no_findings_where_nothing_is(self):
        mock = self.mock(login=True)
        mock.world.sites = {}
        for scheme in ("light", "dark"):
            self.scheme(scheme)
            self.driver.get(mock.url + "login?wrong#wrong")
            self.check(scheme + " login")
        mock.login = False
        self.open(mock)
        self.until(lambda: "No site is watched" in self.text("#empty-title"))
        self.check("empty")


if __name__ == "__main__":
    unittest.main()
