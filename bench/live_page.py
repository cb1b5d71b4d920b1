#!/usr/bin/python3
"""The live page under load in headless Chromium: 10,000 visitors of whom 500 change every second.

    bench/live_page.py [--visitors N] [--changes N] [--seconds N] [--scroll]

A made-up program serves the page (tests/system/live_mock.py). Tells frames a second, the longest time between two
frames, the page's heap at its highest and after a collection, and the memory its process shares with no other, beside
that of an empty page. --scroll scrolls through the table meanwhile.
"""
import argparse
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "system"))

import web_browser  # noqa: E402
from harness import wait_until  # noqa: E402
from live_mock import LiveMock, Load, populate  # noqa: E402

FRAMES = """
window.frames_ = []; let last = performance.now();
const tick = (now) => { frames_.push(now - last); last = now; requestAnimationFrame(tick); };
requestAnimationFrame(tick);"""
SCROLL = """
const grid = document.getElementById('grid'); let down = true;
const step = () => { grid.scrollTop += down ? 40 : -40;
  if (grid.scrollTop <= 0 || grid.scrollTop + grid.clientHeight >= grid.scrollHeight - 1) down = !down;
  requestAnimationFrame(step); };
requestAnimationFrame(step);"""


def heap_mb(driver):
    return driver.execute_cdp_cmd("Runtime.getHeapUsage", {})["usedSize"] / 1e6


def process_mb(browser):
    """What the biggest process that draws pages has for itself."""
    biggest = 0
    for pid in browser.processes():
        with open("/proc/%d/cmdline" % pid, "rb") as f:
            if b"--type=renderer" not in f.read():
                continue
        with open("/proc/%d/smaps_rollup" % pid, encoding="ascii") as f:
            biggest = max(biggest, sum(int(line.split()[1]) for line in f if line.startswith("Private_")) / 1024)
    return biggest


def measure(browser, mock, options):
    driver = browser.driver
    empty = process_mb(browser)
    driver.get(mock.url)
    wait_until(lambda: driver.execute_script("return document.querySelectorAll('.row').length > 10"))
    load = Load(mock.world, options.changes)
    try:
        time.sleep(2)
        driver.execute_script(FRAMES)
        if options.scroll:
            driver.execute_script(SCROLL)
        done, heap, end = load.done, 0, time.monotonic() + options.seconds
        begun = time.monotonic()
        driver.execute_script("frames_.length = 0")
        while time.monotonic() < end:
            time.sleep(0.5)
            heap = max(heap, heap_mb(driver))
        frames = driver.execute_script("return frames_.sort((a, b) => a - b)")
        seconds = time.monotonic() - begun
        print("%d visitors, %.0f changes a second, %.0f s%s" % (
            options.visitors, (load.done - done) / seconds, seconds, ", scrolling" if options.scroll else ""))
        print("%.1f frames a second; between two frames half take %.0f ms, 99 of 100 at most %.0f ms, the longest "
              "%.0f ms" % (len(frames) / seconds, frames[len(frames) // 2], frames[len(frames) * 99 // 100],
                           frames[-1]))
        memory = process_mb(browser)
    finally:
        load.stop()
    driver.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
    print("heap of the page at most %.0f MB, %.0f MB after a collection; its process has %.0f MB "
          "for itself, of which an empty page has %.0f MB" % (heap, heap_mb(driver), memory, empty))
    wait_until(lambda: driver.execute_script("return document.getElementById('n-now').textContent")
               .replace(",", "") == str(options.visitors))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--visitors", type=int, default=10_000)
    parser.add_argument("--changes", type=float, default=500)
    parser.add_argument("--seconds", type=float, default=15)
    parser.add_argument("--scroll", action="store_true")
    options = parser.parse_args()
    if web_browser.missing():
        sys.exit(web_browser.missing())
    mock = LiveMock(sites=4)
    populate(mock.world, options.visitors)
    browser = web_browser.Browser(1280, 800)
    try:
        measure(browser, mock, options)
    finally:
        browser.clean_up()
        mock.stop()


if __name__ == "__main__":
    main()
