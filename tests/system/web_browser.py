"""A headless Chromium that reaches this machine alone and leaves nothing behind."""

import os
import shutil
import signal
import tempfile

CHROMIUM, DRIVER = shutil.which("chromium"), shutil.which("chromedriver")
try:
    from selenium import webdriver
    from selenium.common.exceptions import (ElementClickInterceptedException, ElementNotInteractableException,
                                            NoSuchElementException, StaleElementReferenceException)
    from selenium.webdriver.chrome.service import Service

    PageChanged = (StaleElementReferenceException, NoSuchElementException)
    InTheWay = (ElementClickInterceptedException, ElementNotInteractableException)
except ImportError:
    webdriver = None


def missing():
    """Why there is no browser to be had, or None."""
    if webdriver is None:
        return "python3-selenium is not installed"
    return None if CHROMIUM and DRIVER else "chromium or chromium-driver is not installed"


class Browser:
    """`driver` is Selenium's. Whatever happened, clean_up ends all of its processes."""

    def __init__(self, width=1000, height=900):
        self.folder = tempfile.mkdtemp(prefix="vantry_browser_")
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        for argument in (
                "--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--no-first-run",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--disable-default-apps", "--no-default-browser-check", "--hide-scrollbars", "--lang=en",
                "--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE 127.0.0.1", "--no-proxy-server",
                "--user-data-dir=" + os.path.join(self.folder, "profile"), "--window-size=%d,%d" % (width, height)):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.service = Service(DRIVER, env={**os.environ, "HOME": self.folder})
        try:
            self.driver = webdriver.Chrome(options=options, service=self.service)
            self.driver.set_page_load_timeout(30)
            self.driver.set_script_timeout(30)
        except BaseException:
            self.clean_up()
            raise

    def processes(self):
        """The browser's: each names the folder of this one, wherever else it is in the tree of processes."""
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open("/proc/%s/cmdline" % pid, "rb") as f:
                    if self.folder.encode() in f.read():
                        yield int(pid)
            except OSError:
                continue

    def clean_up(self):
        try:
            if hasattr(self, "driver"):
                self.driver.quit()
        except Exception:  # A browser that has gone away can't be told to go.
            pass
        finally:
            driver = getattr(self.service, "process", None)
            if driver:
                driver.kill()
                driver.wait()
            for pid in self.processes():
                try:
                    os.kill(pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            shutil.rmtree(self.folder, ignore_errors=True)
