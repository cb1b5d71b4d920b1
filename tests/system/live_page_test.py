"""The live page in a real browser: what moves, what holds still, what a person can do."""

import gzip
import os
import unittest

import live_mock
from live_mock import PASSWORD, USER
from live_page_case import ALONE, PageCase


class ModulesTest(PageCase):
    def test_what_has_no_document(self):
        mock = self.mock()
        self.driver.get(mock.url + "login")
        done = self.driver.execute_async_script(
            "const done = arguments[0];"
            "import('./tests/live_units.js').then((m) => done(m.run())).catch((e) => done({failures: [String(e)]}))")
        self.assertEqual(done["failures"], [])
        self.assertGreater(done["checks"], 50)

    def test_small_and_of_one_place(self):
        size = 0
        for name in os.listdir(live_mock.PAGE):
            with open(os.path.join(live_mock.PAGE, name), "rb") as f:
                size += len(gzip.compress(f.read(), 9))
        self.assertLess(size, 150_000)
        mock = self.mock()
        self.open(mock)
        loaded = self.js("return performance.getEntriesByType('resource').map(e => e.name)")
        self.assertGreater(len(loaded), 20)
        self.assertEqual([name for name in loaded if not name.startswith(mock.url)], [])


class TableTest(PageCase):
    def test_moves_by_itself(self):
        mock = self.mock()
        first, *_ = self.come(mock, 3)
        self.open(mock)
        self.assertEqual(self.rows(), ["c.example", "b.example", "a.example"])
        mock.world.come(host="new.example")
        self.until(lambda: self.js("return document.querySelector('.row.is-new .c-visitor bdi')?.textContent") ==
                   "new.example")
        self.assertEqual(self.rows()[0], "new.example")
        mock.world.move(first, page="/moved?on=1")
        self.until(lambda: "/moved?on=1" in self.text(".grid-body"))
        mock.world.leave(first)
        self.until(lambda: self.rows() == ["new.example", "c.example", "b.example"])
        self.assertEqual(self.js("return document.getElementById('grid').getAttribute('aria-rowcount')"), "4")
        self.until(lambda: self.driver.title.startswith("3 visitors"))
        self.until(lambda: self.text("#n-now") == "3")

    def test_rows_hold_still_under_the_pointer_and_while_one_is_chosen(self):
        mock = self.mock()
        keys = self.come(mock, 3)
        self.open(mock)
        self.over(".row:nth-child(2)")
        mock.world.come(host="late.example")
        self.until(lambda: self.rows() == ["c.example", "b.example", "a.example", "late.example"])
        self.assertIn("1 new", self.text("#hold"))
        self.away()
        self.until(lambda: self.rows()[0] == "late.example")
        self.find("#grid").send_keys("\ue015", "\ue015")  # Arrow down, twice.
        chosen = "return document.querySelector('.row[aria-selected=true] .c-visitor bdi')?.textContent"
        self.assertEqual(self.js(chosen), "c.example")
        mock.world.come(host="later.example")
        mock.world.leave(keys[1])
        self.until(lambda: self.rows()[-1] == "later.example" and self.js(
            "return document.querySelectorAll('.row')[2].classList.contains('is-left')"))
        self.assertEqual(self.js(chosen), "c.example")
        self.keys("\ue00c")  # Escape.
        self.until(lambda: self.rows() == ["later.example", "late.example", "c.example", "a.example"])

    def test_what_was_scrolled_to_stays(self):
        mock = self.mock()
        live_mock.populate(mock.world, 300)
        self.open(mock)
        self.assertLess(len(self.rows()), 60)  # The others are not drawn.
        self.js("document.getElementById('grid').scrollTop = 34 * 100")
        top = ("const g = document.getElementById('grid'), y = g.getBoundingClientRect().top + 40;"
               "return [...document.querySelectorAll('.row')].find(r => r.getBoundingClientRect().bottom > y).id &&"
               "[...document.querySelectorAll('.row')].find(r => r.getBoundingClientRect().bottom > y).textContent")
        self.until(lambda: self.js("return document.querySelector('.row').getAttribute('aria-rowindex') > 90"))
        before = self.js(top)
        for n in range(5):
            mock.world.come(host="new%d.example" % n)
        self.until(lambda: self.js("return document.getElementById('grid').scrollTop") == 34 * 105)
        self.assertEqual(self.js(top), before)

    def test_search_filters_and_sorting(self):
        mock = self.mock(sites=2)
        self.come(mock, 3, country="DE", country_name="Germany", site=1)
        mock.world.come(host="x.example", site=2, country="FR", country_name="France", spider="Bot", page="/only",
                        pages=9, ago=900, quiet=True)
        self.open(mock)
        self.find("body").send_keys("/")
        self.keys("X.EXA")
        self.until(lambda: self.rows() == ["x.example"])
        self.until(lambda: self.text("#shown-count") == "1 of 4 visitors")
        self.assertIn("q=x.exa", self.driver.current_url)
        self.keys(" nobody")
        self.until(lambda: self.text("#empty-title") == "No visitor matches" and self.find("#empty").is_displayed())
        self.click("#clear-empty")
        self.until(lambda: len(self.rows()) == 4)
        for selector, value, hosts in (("#filter-site", "2", ["x.example"]), ("#filter-country", "FR", ["x.example"]),
                                       ("#filter-kind", "people", ["c.example", "b.example", "a.example"])):
            choose = "const s = arguments[0]; s.value = arguments[1]; s.dispatchEvent(new Event('change'))"
            self.js(choose, self.find(selector), value)
            self.until(lambda hosts=hosts: self.rows() == hosts)
            self.click("#clear")
        self.js("[...document.querySelectorAll('#panel-pages button')].find("
                "b => b.textContent.includes('/only')).click()")
        self.until(lambda: self.rows() == ["x.example"])
        self.driver.refresh()  # The address remembers.
        self.until(lambda: self.rows() == ["x.example"])
        self.click("#chips button")
        self.click("#clear")
        self.js("document.querySelector('.head.c-visitor button').click()")
        self.until(lambda: self.rows() == ["a.example", "b.example", "c.example", "x.example"])
        self.js("document.querySelector('.head.c-pages button').click()")
        self.until(lambda: self.rows()[0] == "x.example")
        sort = "return document.querySelector('.head.c-pages').getAttribute('aria-sort')"
        self.assertEqual(self.js(sort), "descending")

    def test_columns_are_remembered(self):
        mock = self.mock()
        self.come(mock, 1, country="DE")
        self.open(mock)
        shown = "return [...document.querySelectorAll('.head')].map(h => h.dataset.column)"
        self.assertIn("country", self.js(shown))
        self.click("#menu-button")
        self.click("#menu input[data-column=country]")
        self.until(lambda: "country" not in self.js(shown))
        self.keys("\ue00c")
        self.assertFalse(self.find("#menu").is_displayed())
        self.driver.refresh()
        self.until(lambda: self.rows() == ["a.example"])
        self.assertNotIn("country", self.js(shown))
        self.js("localStorage.clear()")


class StateTest(PageCase):
    def test_below_a_path_of_a_proxy(self):
        mock = self.mock(base="/some/where/")
        self.come(mock, 1)
        self.open(mock)
        mock.world.come(host="new.example")
        self.until(lambda: self.rows() == ["new.example", "a.example"])
        self.click(".row")
        self.until(lambda: self.js("return document.getElementById('drawer-pages').children.length"))

    def test_pause(self):
        mock = self.mock()
        self.come(mock, 2)
        self.open(mock)
        self.click("#pause")
        mock.world.come(host="new.example")
        self.until(lambda: "waiting" in self.text("#state-detail"))
        self.assertEqual((self.state(), self.rows()), ("paused", ["b.example", "a.example"]))
        self.click("#pause")
        self.until(lambda: self.rows()[0] == "new.example" and self.state() == "live")

    def test_server_stopped_and_back(self):
        mock = self.mock()
        key, *_ = self.come(mock, 2)
        self.open(mock)
        mock.stop()
        self.until(lambda: self.state() == "lost")
        self.assertIn("stale since", self.text("#state-detail"))
        self.assertEqual(self.rows(), ["b.example", "a.example"])
        mock.world.move(key, page="/meanwhile")  # The same run: what was missed is told.
        mock.start()
        self.until(lambda: self.state() == "live" and "/meanwhile" in self.text(".grid-body"))
        mock.stop()
        self.until(lambda: self.state() == "lost")
        mock.another_run()
        mock.world.come(host="another.example", quiet=True)
        self.until(lambda: self.rows() == ["another.example"])
        mock.world.come(host="second.example")
        self.until(lambda: self.rows() == ["second.example", "another.example"])

    def test_missed_events(self):
        mock = self.mock()
        self.come(mock, 1)
        self.open(mock)
        mock.stop()
        self.until(lambda: self.state() == "lost")
        mock.world.come(host="missed.example")
        mock.world.forget_events()
        mock.start()
        self.until(lambda: self.rows() == ["missed.example", "a.example"])

    def test_offline_and_back(self):
        mock = self.mock()
        self.come(mock, 1)
        with self.before_scripts(ALONE):
            self.open(mock)
            self.cdp("Network.enable")
            conditions = {"latency": 0, "downloadThroughput": -1, "uploadThroughput": -1}
            self.cdp("Network.emulateNetworkConditions", offline=True, **conditions)
            self.until(lambda: self.state() == "lost")
            mock.world.come(host="meanwhile.example")
            self.cdp("Network.emulateNetworkConditions", offline=False, **conditions)
            self.until(lambda: self.state() == "live" and self.rows()[0] == "meanwhile.example")

    def test_empty_states(self):
        mock = self.mock()
        sites, mock.world.sites = mock.world.sites, {}
        self.open(mock)
        self.until(lambda: "No site is watched" in self.text("#empty-title"))
        self.assertIn("vantryctl add-site", self.text("#empty-code"))
        mock.stop()
        mock.another_run()
        mock.world.sites = sites
        self.until(lambda: "Nobody is here" in self.text("#empty-title"))
        mock.world.come(host="first.example")
        self.until(lambda: self.rows() == ["first.example"] and not self.find("#empty").is_displayed())

    def test_login(self):
        mock = self.mock(login=True)
        mock.world.come(host="inside.example", quiet=True)
        self.driver.get(mock.url)
        self.assertTrue(self.driver.current_url.endswith("/login"))
        for password in ("wrong", PASSWORD):
            for field, value in (("#user", USER), ("#password", password)):
                self.find(field).clear()
                self.find(field).send_keys(value)
            self.click("form button")
            if password == "wrong":
                self.until(lambda: self.find("#wrong").is_displayed(), what=lambda: self.driver.current_url)
                self.assertTrue(self.driver.title.startswith("Wrong user name"))
                self.assertFalse(self.find("#busy").is_displayed())
        self.until(lambda: self.driver.find_elements("id", "grid") and self.rows() == ["inside.example"],
                   what=lambda: self.driver.current_url)
        mock.session = "another"  # The session has ended.
        mock.stop()
        mock.start()
        self.until(lambda: self.state() == "login" and self.find("#login-link").is_displayed())


class DrawerTest(PageCase):
    def test_everything_known_live(self):
        mock = self.mock()
        key = mock.world.come("192.0.2.9", host="a.example", ago=60, quiet=True, page="/first",
                              referrer="http://r.example/x", agent="Agent/1", spider=None)
        self.open(mock)
        self.click(".row")
        self.until(lambda: "/first" in self.text("#drawer-pages"))
        for text in ("192.0.2.9", "Agent/1", "http://r.example/x"):
            self.assertIn(text, self.text("#drawer-facts"))
        links = self.js("return [...document.querySelectorAll('#drawer-links a')].map(a => [a.href, a.target, a.rel])")
        visit = mock.world.visitors[key]["visit"]
        address = "http://127.0.0.1:8004/?VISITOR&domain=www.demo.example:192.0.2.9!%d" % visit
        self.assertEqual(links[0], [address, "_blank", "noopener noreferrer"])
        mock.world.move(key, page="/second")
        self.until(lambda: "/second" in self.text("#drawer-pages"))
        mock.world.leave(key)
        self.until(lambda: "has left" in self.text("#drawer-tags"))
        self.assertIn("/second", self.text("#drawer-pages"))
        self.keys("\ue00c")
        self.until(lambda: not self.find("#drawer").is_displayed())
        self.assertEqual(self.js("return document.activeElement.id"), "grid")

    def test_an_alert_of_somebody_who_has_left(self):
        mock = self.mock()
        key = mock.world.come("192.0.2.9", host=None, page="/secret", quiet=True)
        self.open(mock)
        mock.world.alert(key, name="Looks around")
        self.until(lambda: "Looks around" in self.text("#panel-alerts"))
        self.until(lambda: "Alert: Looks around" in self.text("#voice"))
        mock.world.leave(key)
        self.until(lambda: self.rows() == [])
        self.click("#panel-alerts button")
        self.until(lambda: "Looks around" in self.text("#drawer-tags") and "has left" in self.text("#drawer-tags"))
        self.assertEqual(self.text("#drawer-title"), "192.0.2.9")

    def test_keys_alone(self):
        mock = self.mock()
        self.come(mock, 40)
        self.open(mock)
        self.js("document.getElementById('grid').focus()")
        active = ("const row = document.getElementById('grid').getAttribute('aria-activedescendant');"
                  "return document.getElementById(row)?.querySelector('bdi').textContent")
        names = [*range(39, 25, -1), *"zyxwvutsrqponmlkjihgfedcba"]
        newest = ["%s.example" % name for name in names]
        self.keys("\ue015", "\ue015", "\ue015", "\ue013")
        self.assertEqual(self.js(active), newest[1])
        self.keys("\ue010")  # End.
        self.until(lambda: self.js(active) == newest[-1])
        self.keys("\ue011")  # Home.
        self.until(lambda: self.js(active) == newest[0])
        self.keys("\ue007")  # Enter.
        self.until(lambda: self.find("#drawer").is_displayed() and self.text("#drawer-title") == newest[0])
        self.keys("\ue00c")  # Escape.
        self.assertEqual(self.js("return document.activeElement.id"), "grid")
        self.js("document.getElementById('tab-pages').focus()")
        self.keys("\ue014")  # Arrow right.
        self.assertEqual(self.js("return document.activeElement.id"), "tab-referrers")
        self.assertTrue(self.find("#panel-referrers").is_displayed())
        self.keys("/", "q")
        self.assertEqual(self.js("return [document.activeElement.id, document.activeElement.value]"), ["search", "q"])
        # A focus that nobody sees is none.
        outline = self.js("const s = getComputedStyle(document.activeElement); return [s.outlineStyle, s.outlineWidth]")
        self.assertEqual(outline, ["solid", "2px"])


if __name__ == "__main__":
    unittest.main()
