"""The live page in a real browser, of the program itself: login, live change, drawer, restart."""

import os
import subprocess
import time
import unittest

import web_browser
from harness import SystemTest, append, free_port, ncsa_line, skip_at_midnight, vantry_binary, wait_until, write_file

CTL = os.path.join(os.path.dirname(vantry_binary()), "vantryctl")
USER, PASSWORD = "guard", "a long pass & phrase"
ROWS = "return [...document.querySelectorAll('.row')].map(r => r.querySelector('.c-visitor bdi').textContent)"
MARKUP = "<img/src=x/onerror=window.hacked=1>"


@unittest.skipIf(web_browser.missing(), web_browser.missing())
class ProgramTest(SystemTest):
    def setUp(self):
        skip_at_midnight()
        self.folder = self.home()
        self.folder.write_site()
        self.live = free_port()
        self.log = self.folder.log("access.log")
        write_file(self.log, "")
        with open(self.folder.file("registry.ini"), "a", encoding="utf-8") as f:
            f.write("[Live]\nPort=%d\n" % self.live)
        browser = web_browser.Browser(1280, 800)
        self.addCleanup(browser.clean_up)
        self.driver = browser.driver

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def text(self, selector):
        return self.js("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def until(self, condition):
        return wait_until(condition, what=lambda: (self.driver.current_url, self.text("body")[:600],
                                                   self.driver.get_log("browser")))

    def rows(self):
        return self.js(ROWS)

    def hit(self, address, page, **how):
        append(self.log, ncsa_line(address, page, **how))

    def state(self):
        return self.js("return document.getElementById('state')?.dataset.state")

    def open(self):
        self.driver.get("http://127.0.0.1:%d/" % self.live)

    def test_live_change_drawer_and_restart(self):
        vantry = self.start(self.folder)
        self.hit("192.0.2.1", "/first.html", at=time.time() - 60)
        self.open()
        self.until(lambda: self.state() == "live" and self.rows() == ["192.0.2.1"])
        self.hit("192.0.2.2", "/second.html", referrer="http://from.example/" + MARKUP, agent=MARKUP)
        self.until(lambda: self.rows() == ["192.0.2.2", "192.0.2.1"])
        self.hit("192.0.2.1", "/third.html")
        self.until(lambda: "third.html" in self.text(".grid-body"))
        self.js("document.querySelectorAll('.row')[1].click()")
        self.until(lambda: "first.html" in self.text("#drawer-pages") and "third.html" in self.text("#drawer-pages"))
        links = self.js("return [...document.querySelectorAll('#drawer-links a')].map(a => a.href)")
        self.assertEqual(len(links), 2)
        self.driver.switch_to.new_window("tab")
        self.driver.get(links[0])
        self.assertIn("192.0.2.1", self.text("body"))
        self.driver.close()
        self.driver.switch_to.window(self.driver.window_handles[0])
        self.hit("192.0.2.1", "/fourth.html")
        self.until(lambda: "fourth.html" in self.text("#drawer-pages"))
        self.js("document.getElementById('drawer-close').click()")
        self.js("document.getElementById('tab-referrers').click()")
        self.until(lambda: self.text("#n-now") == "2" and "from.example" in self.text("#panel-referrers"))
        vantry.stop()
        self.until(lambda: self.state() == "lost" and "stale since" in self.text("#state-detail"))
        self.assertEqual(len(self.rows()), 2)
        self.start(self.folder)
        self.hit("192.0.2.3", "/after.html")
        self.until(lambda: self.state() == "live" and "192.0.2.3" in self.rows())
        self.assertIsNone(self.js("return window.hacked ?? null"))
        self.assertEqual(self.js("return document.querySelectorAll('img').length"), 1)
        expected = ("ERR_CONNECTION", "ERR_INCOMPLETE", "ERR_EMPTY", "ERR_SOCKET")
        self.assertEqual([e["message"] for e in self.driver.get_log("browser")
                          if not any(word in e["message"] for word in expected)], [])

    def test_login_and_its_end(self):
        done = subprocess.run([CTL, "live-password", self.folder.path, "--user", USER], input=PASSWORD + "\n",
                              text=True, capture_output=True, timeout=60, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.start(self.folder)
        self.hit("192.0.2.1", "/first.html")
        self.open()
        self.assertTrue(self.driver.current_url.endswith("/login"), self.driver.current_url)
        for password in ("wrong", PASSWORD):
            for name, value in (("user", USER), ("password", password)):
                field = self.driver.find_element("id", name)
                field.clear()
                field.send_keys(value)
            self.driver.find_element("css selector", "form button").click()
            if password == "wrong":
                self.until(lambda: self.js("return document.getElementById('wrong')?.offsetHeight"))
        self.until(lambda: self.rows() == ["192.0.2.1"])
        self.until(lambda: self.js("return !document.getElementById('logout-link').hidden"))
        self.js("document.getElementById('logout-link').click()")
        self.until(lambda: self.driver.current_url.endswith("/login"))
        self.open()
        self.assertTrue(self.driver.current_url.endswith("/login"), self.driver.current_url)


if __name__ == "__main__":
    unittest.main()
