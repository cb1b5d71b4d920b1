#!/usr/bin/python3
"""Takes pictures of the web access and of the live page: starts the program on made-up sites and looks with Chromium.

screenshots.py [FOLDER]         default: docs/images
screenshots.py [FOLDER] live    the live page alone

VANTRY_BIN names the folder of the program, else build/release/bin is taken. Packages: `install-deps.sh test`.
"""
import io
import os
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
os.environ.setdefault("VANTRY_BIN", os.path.join(ROOT, "build", "release", "bin"))
sys.path.insert(0, os.path.join(ROOT, "tests", "system"))

from PIL import Image  # noqa: E402
from selenium.webdriver.common.by import By  # noqa: E402

import web_world  # noqa: E402
from harness import Home, Vantry, free_port, quick_clock, wait_until  # noqa: E402
from names_test import Dnsmasq  # noqa: E402
from web_browser import Browser  # noqa: E402
from web_world import NAMES, SHOP  # noqa: E402

WIDTH, HEIGHT, COLOURS = 1000, 900, 64
# The charts of the live page show an hour: the program lives through one in so many seconds.
LIVE_SECONDS, LIVE_RATE = 200, 20


def save(browser, path):
    """The window, cut off below its last line, in few colours."""
    picture = Image.open(io.BytesIO(browser.driver.get_screenshot_as_png())).convert("RGB")
    bottom = browser.driver.execute_script(
        "return Math.max(...[...document.body.querySelectorAll('*')].map(e => e.getBoundingClientRect().bottom))")
    picture = picture.crop((0, 0, WIDTH, min(picture.height, int(bottom) + 20)))
    picture.quantize(COLOURS, dither=Image.Dither.NONE).save(path, optimize=True)
    print("%s: %dx%d, %d bytes" % (path, *picture.size, os.path.getsize(path)))


class Pictures:
    def __init__(self, folder):
        self.folder = folder
        os.makedirs(folder, exist_ok=True)

    def pages(self, browser, base):
        shop = "site=" + SHOP
        for name, query in (
                ("sites", "SITES"), ("visitors", "SITETABLE&" + shop), ("visitors-all", "SITETABLE&site=ALL"),
                ("visit", "VISITOR&domain=%s:198.51.100.23!2" % SHOP),
                ("previous", "PREVIOUS&domain=%s:198.51.100.23" % SHOP), ("alert-types", "ALERTS&" + shop),
                ("alerts", "ALERTSTABLE&" + shop), ("spiders", "SPIDERS&" + shop), ("exceptions", "EXCEPT&" + shop),
                ("referrers", "REFER&domain=" + SHOP)):
            browser.driver.get(base + "?" + query)
            save(browser, os.path.join(self.folder, name + ".png"))

    def login(self, browser, base):
        browser.driver.get(base)
        save(browser, os.path.join(self.folder, "login.png"))
        browser.driver.find_element(By.NAME, "UserName").send_keys("operator")
        browser.driver.find_element(By.NAME, "Password").send_keys("guess")
        browser.driver.find_element(By.NAME, "B1").click()
        wait_until(lambda: "Invalid" in browser.driver.page_source)
        save(browser, os.path.join(self.folder, "invalid-login.png"))


def shoot(pictures, take, settings):
    home = Home()
    names = Dnsmasq(NAMES).wait_ready()
    vantry = browser = None
    try:
        web_world.fill(home, "[Resolver]\nServers=127.0.0.1:%d\n" % names.port, ReverseDNS="True", **settings)
        vantry = Vantry(home).wait_ready()
        wait_until(lambda: web_world.all_read(vantry), what=vantry.status)
        # A site that was not looked at yet shows a day long ago.
        wait_until(lambda: "1899" not in vantry.site_status("Chess Club").stamp)
        if not settings:  # Else the list is for those who are logged in.
            wait_until(lambda: all(v.address in NAMES.values() for v in vantry.list()), what=vantry.list)
        browser = Browser(WIDTH, HEIGHT)
        browser.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": WIDTH, "height": HEIGHT, "deviceScaleFactor": 1, "mobile": False})
        take(pictures, browser, "http://127.0.0.1:%d/" % vantry.port)
    finally:
        for thing in (browser, vantry, names):
            if thing:
                thing.clean_up()
        home.remove()


def live_home():
    """A site like that of ./run."""
    home = Home()
    home.live = free_port()
    home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nAll=True\n"
               "[Live]\nPort=%d\n" % home.live)
    home.write_settings(InactivityMins=" 5")
    home.write_site(name="Demo Site", Domain="www.demo.example")
    with open(home.file("VANTRY.INI"), "a", newline="", encoding="latin-1") as f:
        f.write("Alert=Somebody from 203.0.113\r\nAlertNo=1\r\nAlertENGINEALL=Y\r\nAlertDNS1=203.0.113.*\r\n"
                "Alert=Looks for the garden\r\nAlertNo=2\r\nAlertENGINEALL=Y\r\nAlertWORD1=garden\r\n\r\n")
    return home


def show_live(browser, size, scheme, address):
    browser.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": size[0], "height": size[1], "deviceScaleFactor": 1, "mobile": False})
    browser.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
        "features": [{"name": "prefers-color-scheme", "value": scheme}]})
    browser.driver.get(address)
    wait_until(lambda: browser.driver.execute_script("return document.querySelectorAll('.row').length") > 9)
    wait_until(lambda: browser.driver.execute_script("return document.getElementById('n-now').textContent") != "0")
    time.sleep(1)  # A few rows are new.


def save_live(browser, path):
    picture = Image.open(io.BytesIO(browser.driver.get_screenshot_as_png())).convert("RGB")
    picture.quantize(128, dither=Image.Dither.NONE).save(path, optimize=True)
    print("%s: %dx%d, %d bytes" % (path, *picture.size, os.path.getsize(path)))


def shoot_live(folder):
    home = live_home()
    vantry = browser = None
    clock = quick_clock(LIVE_RATE)
    traffic = subprocess.Popen([os.path.join(ROOT, "scripts", "demo_traffic.py"), home.log("access.log")],
                               env={**os.environ, **clock})
    try:
        wait_until(lambda: os.path.exists(home.log("access.log")) and os.path.getsize(home.log("access.log")) > 10_000)
        vantry = Vantry(home, env=clock).wait_ready()
        time.sleep(LIVE_SECONDS)
        browser = Browser(1280, 800)
        address = "http://127.0.0.1:%d/" % home.live
        show_live(browser, (1280, 800), "light", address)
        save_live(browser, os.path.join(folder, "live.png"))
        show_live(browser, (1920, 1080), "dark", address + "?wall")
        save_live(browser, os.path.join(folder, "live-wall.png"))
    finally:
        for thing in (browser, vantry):
            if thing:
                thing.clean_up()
        traffic.terminate()
        traffic.wait()
        home.remove()


def main():
    pictures = Pictures(sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "docs", "images"))
    shoot_live(pictures.folder)
    if sys.argv[2:] == ["live"]:
        return
    shoot(pictures, Pictures.pages, {})
    shoot(pictures, Pictures.login, {"WebAccessControl": "True", "WebUsername": "operator", "WebPassword": "secret"})


if __name__ == "__main__":
    main()
