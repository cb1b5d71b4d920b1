"""The web access with its corrections on, as the whole program shows them: pages that steer, guessers, hosts, phones."""

import http.server
import os
import re
import select
import socket
import threading
import time
import unittest

import browser_test
import wap_test
import web_browser
import web_world
from harness import SystemTest, receives_nothing, side_by_side, skip_at_midnight, uses_address_sanitizer, wait_until

LOGIN = {"WebAccessControl": "True", "WebUsername": "operator", "WebPassword": "open sesame"}
FORM = b"UserName=%s&Password=%s&B1=Submit"


def post(body, headers=b"", url=b"/"):
    return b"POST %s HTTP/1.0\r\n%sContent-Length: %d\r\n\r\n%s" % (url, headers, len(body), body)


def cookie_of(answer):
    found = re.search(rb"Set-Cookie: (Vantry\d+=[0-9a-f]{32}); Path=/; HttpOnly; SameSite=Strict\r\n", answer)
    return b"Cookie: %s\r\n" % found[1] if found else None


class CorrectedTest(SystemTest):
    def start_with(self, corrections, security="", **settings):
        skip_at_midnight()
        self.folder = self.home()
        self.folder.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n%s[Corrections]\n%s\n" % (
            security, "".join("%s=True\n" % key for key in corrections)))
        self.folder.write_settings(**settings)
        self.folder.write_site()
        return self.start(self.folder)


class PortTest(CorrectedTest):
    def test_only_known_hosts_are_served(self):
        vantry = self.start_with(["CheckHost"], "AllowedHosts=Vantry.my.example;box\n")
        for host in (b"127.0.0.1:%d" % vantry.port, b"localhost", b"[::1]", b"vantry.MY.example:80", b"BOX"):
            answer = vantry.ask(b"GET /?SITES HTTP/1.1\r\nHost: %s\r\n\r\n" % host)
            self.assertTrue(answer.startswith(b"HTTP/1.0 200 OK"), (host, answer[:200]))
        for headers in (b"Host: evil.example\r\n", b"", b"Host: \r\n", b"Host: box\r\nHost: evil.example\r\n"):
            answer = vantry.ask(b"GET /?SITES HTTP/1.1\r\n%s\r\n" % headers)
            self.assertTrue(answer.startswith(b"HTTP/1.0 403 Forbidden"), (headers, answer[:200]))
            self.assertIn(b"AllowedHosts", answer)
        self.assertIn("[Running]", vantry.control("HELLO"))
        with open(self.folder.file("Data/TRL.LOG"), encoding="latin-1") as f:
            self.assertIn("for the host 'evil.example'", f.read())

    def test_a_damaged_name_closes(self):
        vantry = self.start_with(["CheckHost"], "AllowedHosts=http://box\n")
        self.assertIn("AllowedHosts holds 'http://box'", vantry.stderr())
        self.assertIn("May steer: nobody.", vantry.stdout())

    def test_pages_come_while_paused(self):
        vantry = self.start_with(["AnswerPaused"])
        self.assertNotIn(b"[Paused]", vantry.ask(b"GET / HTTP/1.0\r\n\r\n"))
        vantry.control("PAUSE")
        page = vantry.ask(b"GET / HTTP/1.0\r\n\r\n")
        self.assertIn(b"<b>Vantry Web Access [Paused]</b>", page)
        self.assertIn(b"[Paused]</TITLE>", page)
        self.assertTrue(vantry.control("CONTINUE").endswith("[Running]"))
        self.assertNotIn(b"[Paused]", vantry.ask(b"GET / HTTP/1.0\r\n\r\n"))

    def test_ten_thousand_guesses_beside_a_good_user(self):
        vantry = self.start_with(["SlowGuessing", "LoginCookie", "DecodeForms"], **LOGIN)
        good = post(FORM % (b"operator", b"open%20sesame"))
        before = vantry.memory_peak_kb()
        stop, times, failed = threading.Event(), [], []

        def good_user():
            while not stop.is_set():
                begin = time.monotonic()
                try:
                    answer = vantry.ask(good)
                    if not cookie_of(answer) or b"Sites Being Monitored" not in answer:
                        failed.append(answer[:300])
                except OSError as e:
                    failed.append(e)
                times.append(time.monotonic() - begin)
                time.sleep(0.2)

        thread = threading.Thread(target=good_user)
        thread.start()
        try:
            begin = time.monotonic()
            answered, sent = self.guess(vantry, 10_000, begin + 90)
            took = time.monotonic() - begin
        finally:
            stop.set()
            thread.join()
        print("%d tries in %.1f s, %d answered; the good user: %d logins, longest %.2f s" % (
            sent, took, answered, len(times), max(times)))
        self.assertEqual(sent, 10_000)
        self.assertEqual(failed, [])
        self.assertLess(max(times), 5)
        # Ten are free; the rest wait, and at most a hundred of them at a time, which answers a few a second.
        self.assertLess(answered, 10 + 100 * (1 + took / 30))
        if not uses_address_sanitizer():
            self.assertLess(vantry.memory_peak_kb() - before, 50_000)
        # At its own address the right one waits like the others; half a minute at most, as the unit tests show.
        with vantry.connect("127.0.0.2") as s:
            s.sendall(good)
            self.assertTrue(receives_nothing(s, 1))

    def guess(self, vantry, count, deadline):
        """Tries that many passwords, hundreds at a time, and gives up on the oldest when there are more."""
        answered, sent, open_ones = 0, 0, []
        while sent < count and time.monotonic() < deadline:
            s = socket.socket()
            s.bind(("127.0.0.2", 0))
            s.settimeout(20)
            s.connect(("127.0.0.1", vantry.port))
            s.sendall(post(FORM % (b"operator", b"guess%d" % sent)))
            sent += 1
            open_ones.append(s)
            for ready in select.select(open_ones, [], [], 0)[0]:
                try:
                    answered += b"Invalid user name" in ready.recv(1 << 16)
                except OSError:
                    pass
                open_ones.remove(ready)
                ready.close()
            if len(open_ones) > 250:
                open_ones.pop(0).close()
        for s in open_ones:
            s.close()
        return answered, sent


@unittest.skipIf(web_browser.missing(), web_browser.missing())
class ForeignPageTest(CorrectedTest):
    """A page of somebody else, in a browser on this machine."""

    def serve(self, script):
        page = ("<html><body>x<script>%s</script></body></html>" % script).encode()

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.send_header("Content-Type", "text/html")
                self.end_headers()
                self.wfile.write(page)

            def log_message(self, *_):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        return "http://127.0.0.1:%d/" % server.server_port

    def post_stop(self, corrections):
        vantry = self.start_with(corrections)
        browser = web_browser.Browser()
        self.addCleanup(browser.clean_up)
        browser.driver.get(self.serve(
            "fetch('http://127.0.0.1:%d/', {method: 'POST', mode: 'no-cors', body: '@@STOP\\r\\n'})"
            ".finally(() => document.title = 'sent')" % vantry.port))
        wait_until(lambda: browser.driver.title == "sent" or not vantry.running())
        return vantry

    def test_it_stops_the_program_as_it_comes(self):
        self.assertEqual(self.post_stop([]).wait_end(), 0)

    def test_it_does_not_with_control_alone(self):
        vantry = self.post_stop(["ControlAlone"])
        time.sleep(0.5)
        self.assertTrue(vantry.running())
        self.assertEqual(vantry.control("@STOP"), "XXX")
        self.assertEqual(vantry.wait_end(), 0)


class CorrectedLoginTest(browser_test.BrowserCase):
    settings = {"WebAccessControl": "True", "WebUsername": "Ann Lee", "WebPassword": "\u00fc+%&=\" Zz".encode().decode(
        "latin-1"), "registry": "[Corrections]\nLoginCookie=True\nDecodeForms=True\nOwnSiteOnly=True\n"}
    PASSWORD = "\u00fc+%&=\" Zz"

    def submit(self, user, password):
        for name, text in (("UserName", user), ("Password", password)):
            field = self.driver.find_element("name", name)
            field.clear()
            field.send_keys(text)
        self.driver.find_element("name", "B1").click()
        wait_until(lambda: not self.driver.find_elements("name", "Password"), what=self.body)

    def test_two_people_each_with_their_login(self):
        self.driver.get(self.base)
        self.submit("ann lee", self.PASSWORD)
        self.assertIn("Invalid user name", self.body())
        self.driver.get(self.base)
        self.submit("Ann Lee", self.PASSWORD)
        self.assertIn("User: ANN LEE", self.check_page())
        cookie = self.driver.get_cookies()[0]
        self.assertEqual((cookie["httpOnly"], cookie["sameSite"], cookie["path"]), (True, "Strict", "/"))
        self.assertEqual(len(cookie["value"]), 32)
        # Somebody else logs in from the same address, and is asked for in between.
        other = self.vantry.ask(post(FORM % (b"bob", b"spade")))
        self.assertIn(b"User: BOB", other)
        self.assertIn("User: ANN LEE", self.open("?SITES"))
        for domain in (web_world.SHOP, web_world.NEWS, web_world.CLUB):
            self.assertIn(domain, self.body())
        self.driver.get(self.base)
        self.assertIn("User: ANN LEE", self.check_page())  # The bare address ends nothing.
        self.driver.find_element("link text", "Log out").click()
        wait_until(lambda: self.driver.find_elements("name", "Password"), what=self.body)
        self.assertEqual(self.driver.get_cookies(), [])
        self.driver.get(self.base + "?LOGOUT")
        self.submit("bob", "spade")
        self.assertIn("User: BOB", self.check_page())
        self.assertNotIn("LOGOUT", self.driver.current_url)
        text = self.open("?SITETABLE&site=ALL")
        self.assertIn("7 Total Active Visitors", text)
        self.assertNotIn("townnews", text)
        self.driver.get(self.base + "?SITETABLE&site=" + web_world.NEWS)
        self.assertIn("is not being monitored", self.body())
        self.assertIn(b"User: BOB", self.vantry.ask(b"GET / HTTP/1.0\r\n%s\r\n" % cookie_of(other)))


CONTRAST = """
const lin = v => (v /= 255) <= 0.03928 ? v / 12.92 : Math.pow((v + 0.055) / 1.055, 2.4);
const numbers = c => c.match(/[\\d.]+/g).map(Number);
const light = c => 0.2126 * lin(c[0]) + 0.7152 * lin(c[1]) + 0.0722 * lin(c[2]);
const back = e => {
  for (; e; e = e.parentElement) {
    const c = numbers(getComputedStyle(e).backgroundColor);
    if (c.length < 4 || c[3] > 0) return c;
  }
  return [255, 255, 255];
};
const found = [];
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walker.nextNode()) {
  const node = walker.currentNode, text = node.data.replace(/[\\s\\u00a0]+/g, ' ').trim();
  if (!text || ['SCRIPT', 'STYLE', 'TITLE'].includes(node.parentElement.tagName)) continue;
  const a = light(numbers(getComputedStyle(node.parentElement).color)), b = light(back(node.parentElement));
  found.push([text, (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05)]);
}
return found;
"""
BLANK_LINKS = "return [...document.links].filter(a => !a.innerText.replace(/[\\s\\u00a0]/g, '')).length"


class ReadableTest(browser_test.BrowserCase):
    corrections = "ReadablePages=True\nLoginCookie=True\nAnswerPaused=True\n"
    settings = {"registry": "[Corrections]\n" + corrections}
    QUERIES = ["", "?SITETABLE&site=ALL", "?SITETABLE&site=", "?SITETABLE&site=" + web_world.SHOP,
               "?ALERTS&site=" + web_world.SHOP, "?ALERTSTABLE&site=" + web_world.SHOP,
               "?SPIDERS&site=" + web_world.SHOP, "?EXCEPT&site=" + web_world.SHOP, "?REFER&domain=" + web_world.SHOP,
               "?VISITOR&domain=%s:198.51.100.23!2" % web_world.SHOP,
               "?PREVIOUS&domain=%s:198.51.100.23" % web_world.SHOP, "?SITETABLE&site=no.example"]

    def look(self, width):
        """The worst contrast, how wide the page is, and the links that nobody sees, over all pages."""
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 800, "deviceScaleFactor": 1, "mobile": width < 500})
        worst, widest, blank = [], 0, 0
        for query in self.QUERIES:
            self.driver.get(self.base + query)
            texts = self.driver.execute_script(CONTRAST)
            self.assertGreater(len(texts), 3, query)
            worst += [(text, round(ratio, 2), query) for text, ratio in texts if ratio < 4.5]
            widest = max(widest, self.driver.execute_script(
                "return Math.max(document.documentElement.scrollWidth, window.innerWidth)"))
            blank += self.driver.execute_script(BLANK_LINKS)
            self.shoot("%d_%s" % (width, query))
        return worst, widest, blank

    def shoot(self, name):
        folder = os.environ.get("VANTRY_SCREENSHOTS")
        if folder:
            self.driver.get_screenshot_as_file("%s/%s_%s.png" % (folder, type(self).__name__, re.sub(r"[^\w]+", "_", name)))

    def test_contrast_and_width_of_every_page(self):
        for width in (1000, 360):
            worst, widest, blank = self.look(width)
            self.assertEqual(worst, [], width)
            self.assertLessEqual(widest, width)
            self.assertEqual(blank, 0)
        red = self.driver.execute_script("return document.querySelectorAll('td[bgcolor=Red]').length")
        self.driver.get(self.base + "?SITETABLE&site=" + web_world.SHOP)
        red = self.driver.execute_script("return document.querySelectorAll('td[bgcolor=Red]').length")
        self.assertGreater(red, 1, "a page that was not found, and the legend")
        self.assertIn("The page was not found (404).", self.body())
        # Under the mouse a cell takes another colour.
        self.driver.execute_script("for (const td of document.querySelectorAll('td')) td.onmouseover && td.onmouseover()")
        self.assertEqual([t for t in self.driver.execute_script(CONTRAST) if t[1] < 4.5], [])


class ReadableLoginTest(ReadableTest):
    settings = {**browser_test.LOGIN, **ReadableTest.settings}
    QUERIES = ["", "?LOGOUT", "?SITES"]

    def test_contrast_and_width_of_every_page(self):
        for width in (1000, 360):
            self.assertEqual(self.look(width)[0], [])
            self.assertLessEqual(self.look(width)[1], width)
        self.driver.find_element("name", "B1").click()
        wait_until(lambda: "Invalid user name" in self.body(), what=self.body)
        self.assertEqual([t for t in self.driver.execute_script(CONTRAST) if t[1] < 4.5], [])


class ClassicLookTest(ReadableTest):
    """What the script above finds where nothing is corrected: it can fail."""
    settings = {"registry": "[Corrections]\n"}

    def test_contrast_and_width_of_every_page(self):
        worst, _, blank = self.look(1000)
        self.assertLess(min(ratio for _, ratio, _ in worst), 3)
        self.assertGreater(blank, 0)
        self.assertGreater(self.look(360)[1], 360)


@unittest.skipUnless(os.path.exists(wap_test.TESTER), "wml_tester of kannel-extras is not installed")
class PhoneTest(SystemTest):
    """A deck with two fields asks, and what they bring opens the deck of sites."""
    setUp, compile, two_sites = wap_test.WapTest.setUp, wap_test.WapTest.compile, wap_test.WapTest.two_sites

    def test_a_phone_logs_in(self):
        self.two_sites("[Security]\nBindAddress=127.0.0.1\n[Corrections]\nPhonesLogIn=True\nDecodeForms=True\n")
        self.folder.write_settings(**LOGIN)
        vantry = self.start(self.folder)
        asked = vantry.ask(b"GET / HTTP/1.0\r\n" + wap_test.PHONE + b"\r\n")
        self.assertTrue(asked.startswith(wap_test.HEAD), asked[:300])
        self.assertNotIn(b"Garden", asked)
        self.compile(asked[asked.index(b"<?xml"):])
        fields = dict(re.findall(rb'<postfield name="(\w+)" value="([^"]*)"/>', asked))
        self.assertEqual(set(fields), {b"UserName", b"Password", b"B1"})
        href = re.search(rb'<go method="post" href="(\?\w+)"', asked)[1]
        for password, opens in ((b"wrong", False), (b"open+sesame", True)):
            values = {b"$(user)": b"operator", b"$(pass)": password}
            body = b"&".join(name + b"=" + values.get(value, value) for name, value in fields.items())
            answer = vantry.ask(post(body, wap_test.PHONE, b"/" + href))
            self.assertTrue(answer.startswith(wap_test.HEAD), answer[:300])
            self.assertEqual(b"Garden Shop" in answer, opens)
            self.assertEqual(b"Invalid user name or password." in answer, not opens)
            self.compile(answer[answer.index(b"<?xml"):])


if __name__ == "__main__":
    side_by_side()
