#!/usr/bin/env python3
"""The window on a display of its own (Xvfb): how soon it is painted, how long a key takes while a log is read for the
first time, and what it costs a scan.

    bench/window_times.py [--folder DIR] [--keys N] [--gigabytes N] [--pairs N]

Needs the bench preset (cmake --preset bench && cmake --build --preset bench), xvfb, xdotool and python3-pil. Keys are
tried on a log of --keys gigabytes of earlier days, as a first scan reads most of them, and the cost on --gigabytes of
today, in pairs without and with the window. Run it on a quiet machine: whatever else runs is measured too.
"""
import argparse
import os
import shutil
import signal
import statistics
import subprocess
import tempfile
import time

from PIL import ImageChops, ImageGrab

from whole_runs import BIN, free_port, make_log, read_place

SITES = 100
SIZE = (1400, 900)


class Display:
    def __init__(self):
        read, write = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", "%dx%dx24" % SIZE, "-nolisten", "tcp"],
            pass_fds=[write], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as number:
            self.name = ":" + number.readline().strip()

    def picture(self, box=None):
        return ImageGrab.grab(bbox=box, xdisplay=self.name)

    def keys(self, *keys):
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True,
                       env=dict(os.environ, DISPLAY=self.name))

    def focus(self, process):
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(process)], check=True, text=True,
                               capture_output=True, env=dict(os.environ, DISPLAY=self.name)).stdout.split()
        subprocess.run(["xdotool", "windowfocus", found[-1]], env=dict(os.environ, DISPLAY=self.name))


def make_home(folder, sites):
    home = tempfile.mkdtemp(dir=folder)
    os.mkdir(f"{home}/logs")
    masks = ["access.log", *(f"site{n}.log" for n in range(1, sites))]
    for mask in masks:
        with open(f"{home}/logs/{mask}", "w") as log:
            log.write('10.0.0.1 - - [01/Jan/2020:00:00:00 +0000] "GET /a.html HTTP/1.0" 200 5 "-" "-"\n' * 2)
    with open(f"{home}/VANTRY.INI", "w", newline="") as file:
        for n, mask in enumerate(masks):
            file.write(f"[Site {n}]\r\nType=2\r\nUnix=True\r\nFolder={home}/logs/\r\nMask={mask}\r\nFrequency=2\r\n"
                       f"Domain=www.site{n}.example\r\n\r\n")
        file.write("\r\n")
    with open(f"{home}/SETTINGS.INI", "w", newline="") as file:
        file.write(f"[Vantry Settings]\r\nWebAccessPort= {free_port()}\r\nReverseDNS=False\r\nShowTraceView=True\r\n"
                   "\r\n")
    return home


def start(home, display=None, clock=()):
    environment = dict(os.environ, VANTRY_HOME=home, TZ="UTC", NO_FAKE_STAT="1")
    environment.pop("WAYLAND_DISPLAY", None)
    environment.pop("DISPLAY", None)
    if display:
        environment["DISPLAY"] = display.name
    return subprocess.Popen([*clock, f"{BIN}/vantry"], env=environment, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL, start_new_session=True)


def stop(process, home):
    os.killpg(process.pid, signal.SIGTERM)  # faketime runs the program as a child, and would end alone.
    process.wait()
    wait_for(lambda: not is_left(process.pid))
    shutil.rmtree(home)


def is_left(group):
    try:
        os.killpg(group, 0)
        return True
    except ProcessLookupError:
        return False


def wait_for(condition, seconds=60):
    begin = time.perf_counter()
    while not condition():
        if time.perf_counter() - begin > seconds:
            raise SystemExit("waited in vain")
        time.sleep(0.002)
    return time.perf_counter() - begin


def painted(display):
    """Something of many colours stands where the lists are, not only an empty frame."""
    return len(set(display.picture((200, 100, 900, 500)).resize((175, 100)).getdata())) > 8


def first_paint(folder):
    os.makedirs(folder, exist_ok=True)
    took = []
    for _ in range(3):
        display, home = Display(), make_home(folder, SITES)
        process = start(home, display)
        took.append(wait_for(lambda: painted(display)))
        stop(process, home)
        display.process.terminate()
    print(f"start to first paint with {SITES} sites: {min(took):.2f} s, {max(took):.2f} s at worst")


def key_times(folder, log):
    display, home = Display(), make_home(folder, 1)
    process = start(home, display)
    try:
        wait_for(lambda: painted(display))
        time.sleep(5)  # The first scan of two lines, and its message.
        display.keys("Escape")
        display.focus(process.pid)
        display.keys("ctrl+f")
        time.sleep(0.5)
        before = display.picture()
        display.keys("w")
        time.sleep(0.5)
        x, y, right, bottom = ImageChops.difference(before, display.picture()).getbbox() or (0, 0, 0, 0)
        if right == 0:
            raise SystemExit("a key changed nothing on the screen")
        box = (x, y, min(right, x + 40), min(bottom, y + 40))
        display.keys("BackSpace")
        os.link(log, f"{home}/logs/new.log")
        os.replace(f"{home}/logs/new.log", f"{home}/logs/access.log")
        wait_for(lambda: read_place(process.pid))
        took = []
        while read_place(process.pid):
            for key in ("w", "BackSpace"):
                shown = display.picture(box).tobytes()
                begin = time.perf_counter()
                display.keys(key)
                wait_for(lambda: display.picture(box).tobytes() != shown)
                took.append(time.perf_counter() - begin)
        print(f"{len(took)} keys during the first scan of {os.path.getsize(log) / 1e9:.1f} GB: on the screen after "
              f"{1000 * statistics.median(took):.0f} ms, {1000 * max(took):.0f} ms at worst (xdotool's own start "
              "and the look at the screen included)")
    finally:
        stop(process, home)
        display.process.terminate()


def scan_seconds(folder, log, display):
    home = make_home(folder, 1)
    os.unlink(f"{home}/logs/access.log")
    os.link(log, f"{home}/logs/access.log")
    process = start(home, display, ["faketime", "-f", "@2026-10-10 12:00:00"])
    try:
        wait_for(lambda: read_place(process.pid))
        begin = time.perf_counter()
        wait_for(lambda: not read_place(process.pid), 600)
        return time.perf_counter() - begin
    finally:
        stop(process, home)


def scan_cost(folder, log, pairs):
    display, alone, shown = Display(), [], []
    try:
        for _ in range(pairs):
            alone.append(scan_seconds(folder, log, None))
            shown.append(scan_seconds(folder, log, display))
    finally:
        display.process.terminate()
    longer = sorted(100 * (with_it / without - 1) for without, with_it in zip(alone, shown))
    print(f"scan of {os.path.getsize(log) / 1e9:.1f} GB of today's lines: without a window {min(alone):.2f} s at best, "
          f"with it {min(shown):.2f} s; of {pairs} pairs {statistics.median(longer):.1f} % longer, {longer[0]:.1f} to "
          f"{longer[-1]:.1f} %")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--folder", default=os.path.join(tempfile.gettempdir(), "vantry-bench"))
    parser.add_argument("--keys", type=float, default=1.0)
    parser.add_argument("--gigabytes", type=float, default=1.0)
    parser.add_argument("--pairs", type=int, default=5)
    options = parser.parse_args()
    first_paint(options.folder)
    for gigabytes, measure in ((options.keys, key_times),
                               (options.gigabytes, lambda folder, log: scan_cost(folder, log, options.pairs))):
        folder = os.path.join(options.folder, f"{gigabytes:g}")
        os.makedirs(folder, exist_ok=True)
        measure(options.folder, make_log(folder, "ncsa", int(gigabytes * 1e9), 5000))


if __name__ == "__main__":
    main()
