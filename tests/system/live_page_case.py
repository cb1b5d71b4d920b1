"""The live page in a headless Chromium, against a made-up program: what the tests of it share."""

import contextlib
import unittest

import web_browser
from harness import wait_until
from live_mock import LiveMock

# What happens when the program goes away, and no defect of the page.
EXPECTED = ("ERR_CONNECTION", "ERR_INCOMPLETE", "ERR_EMPTY_RESPONSE", "ERR_INTERNET_DISCONNECTED", "ERR_NETWORK",
            "ERR_SOCKET", "401 (Unauthorized)")
ROWS = "return [...document.querySelectorAll('.row')].map(r => r.querySelector('.c-visitor bdi').textContent)"
NO_WORKER = "delete globalThis.SharedWorker;"
ALONE = NO_WORKER + "delete globalThis.BroadcastChannel;"


@unittest.skipIf(web_browser.missing(), web_browser.missing())
class PageCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = web_browser.Browser(1280, 800)
        cls.addClassCleanup(cls.browser.clean_up)
        cls.driver = cls.browser.driver

    def setUp(self):
        self.resize(1280, 800)
        self.scheme("light")

    def tearDown(self):
        said = [e["message"] for e in self.driver.get_log("browser") if e["level"] in ("SEVERE", "WARNING")]
        self.driver.get("about:blank")
        self.assertEqual([text for text in said if not any(word in text for word in EXPECTED)], [])

    def mock(self, **options):
        mock = LiveMock(**options)
        self.addCleanup(mock.stop)
        return mock

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def cdp(self, command, **arguments):
        return self.driver.execute_cdp_cmd(command, arguments)

    def resize(self, width, height):
        self.cdp("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def scheme(self, name):
        self.cdp("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": name}])

    @contextlib.contextmanager
    def before_scripts(self, source):
        made = self.cdp("Page.addScriptToEvaluateOnNewDocument", source=source)
        try:
            yield
        finally:
            self.cdp("Page.removeScriptToEvaluateOnNewDocument", identifier=made["identifier"])

    def find(self, selector):
        return self.driver.find_element("css selector", selector)

    def click(self, selector):
        def clicked():
            try:
                self.find(selector).click()
                return True
            except web_browser.PageChanged + web_browser.InTheWay:
                return False  # Drawn anew, or moved, in between.
        self.until(clicked)

    def text(self, selector):
        return self.js("return document.querySelector(arguments[0]).textContent", selector)

    def rows(self):
        return self.js(ROWS)

    def state(self):
        return self.js("return document.getElementById('state').dataset.state")

    def until(self, condition, what=None):
        return wait_until(condition, what=what or self.page_now)

    def page_now(self):
        return self.state(), self.rows()[:12], self.text("#empty-title")

    def open(self, mock, query=""):
        self.driver.get(mock.url + query)
        self.until(lambda: self.state() == "live" and self.text("#shown-count"))

    def come(self, mock, count, **fields):
        """Visitors a.example, b.example, ... in the order of their coming; after z come numbers."""
        names = [chr(97 + n) if n < 26 else n for n in range(count)]
        return [mock.world.come(host="%s.example" % name, ago=600 - n, spider=None, quiet=True, **fields)
                for n, name in enumerate(names)]

    def keys(self, *keys):
        self.driver.switch_to.active_element.send_keys(*keys)

    def away(self):
        """Takes the pointer off the table."""
        self.cdp("Input.dispatchMouseEvent", type="mouseMoved", x=200, y=20)

    def over(self, selector):
        x, y = self.js("const r = document.querySelector(arguments[0]).getBoundingClientRect();"
                       "return [r.left + 30, r.top + r.height / 2]", selector)
        self.cdp("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)
