#!/usr/bin/env python3
"""The port of the program under load: the site list of 100 sites asked for by ab over loopback.

    bench/web_load.py [--folder DIR] [--requests N] [--gigabytes N]

Needs the bench preset (cmake --preset bench && cmake --build --preset bench) and ab (apache2-utils). Tells requests a
second and failures, the program's memory before and after N requests, and how much longer a first scan of N GB of
today's lines takes while 100 requests a second are answered.
"""
import argparse
import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time

from whole_runs import BIN, ask, free_port, group_lives, make_log, read_place

SITES = 100


def make_home(folder, big_log=None):
    home = tempfile.mkdtemp(dir=folder)
    os.mkdir(f"{home}/logs")
    sites = ""
    for n in range(SITES):
        mask = "access.log" if big_log and n == 0 else f"site{n}.log"
        if not (big_log and n == 0):
            open(f"{home}/logs/{mask}", "w").close()
        sites += (f"[Site {n}]\r\nType=2\r\nUnix=True\r\nFolder={home}/logs/\r\nMask={mask}\r\nFrequency=2\r\n"
                  f"Domain=www.site{n}.example\r\nWebAccess=True\r\n\r\n")
    if big_log:
        os.link(big_log, f"{home}/logs/access.log")
    port = free_port()
    with open(f"{home}/VANTRY.INI", "w", newline="") as f:
        f.write(sites)
    with open(f"{home}/SETTINGS.INI", "w", newline="") as f:
        f.write(f"[Vantry Settings]\r\nWebAccessPort= {port}\r\nWebAccessLog=False\r\nReverseDNS=False\r\n\r\n")
    return home, port


class Program:
    def __init__(self, home, clock=()):
        env = dict(os.environ, VANTRY_HOME=home, NO_FAKE_STAT="1", TZ="UTC")
        self.process = subprocess.Popen([*clock, f"{BIN}/vantry"], env=env, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, start_new_session=True)
        self.process.stdout.readline()

    def memory_mb(self):
        with open(f"/proc/{self.process.pid}/status") as f:
            return int(re.search(r"VmRSS:\s+(\d+)", f.read())[1]) / 1024

    def stop(self):
        os.killpg(self.process.pid, signal.SIGTERM)  # With a clock of its own the program is a child of faketime.
        self.process.wait()
        while group_lives(self.process.pid):
            time.sleep(0.05)


def load(port, requests, at_once):
    out = subprocess.run(["ab", "-q", "-n", str(requests), "-c", str(at_once), f"http://127.0.0.1:{port}/?SITES"],
                         capture_output=True, check=True, text=True).stdout
    number = lambda label: float(re.search(label + r":\s+([\d.]+)", out)[1])
    print(f"{requests} requests, {at_once} at once: {number('Requests per second'):.0f} a second, "
          f"{number('Failed requests'):.0f} failed, {number('Document Length'):.0f} bytes a page")


def requests(folder, count):
    home, port = make_home(folder)
    program = Program(home)
    try:
        for at_once in (1, 10, 50):
            load(port, 100_000, at_once)
        before = program.memory_mb()
        load(port, count, 20)
        print(f"memory {before:.1f} MB, after {count} requests more {program.memory_mb():.1f} MB")
    finally:
        program.stop()
        shutil.rmtree(home)


def scan_seconds(folder, source, requests_per_second):
    home, port = make_home(folder, source)
    program = Program(home, ["faketime", "-f", "@2026-10-10 12:00:00"])
    done = threading.Event()
    answered = [0]

    def ask_on():
        next_at = time.perf_counter()
        while not done.is_set():
            ask(port, "?SITES")
            answered[0] += 1
            next_at += 1 / requests_per_second
            time.sleep(max(0.0, next_at - time.perf_counter()))

    try:
        while not read_place(program.process.pid):
            time.sleep(0.002)
        begin = time.perf_counter()
        asker = threading.Thread(target=ask_on)
        if requests_per_second:
            asker.start()
        while read_place(program.process.pid):
            time.sleep(0.01)
        took = time.perf_counter() - begin
        done.set()
        if requests_per_second:
            asker.join()
        return took, answered[0] / took
    finally:
        done.set()
        program.stop()
        shutil.rmtree(home)


def scan_under_load(folder, size):
    source = make_log(folder, "ncsa", size, 5000)
    quiet = min(scan_seconds(folder, source, 0)[0] for _ in range(3))
    loaded, rate = min(scan_seconds(folder, source, 100) for _ in range(3))
    print(f"scan alone {quiet:.2f} s, with {rate:.0f} requests a second {loaded:.2f} s: "
          f"{100 * (1 - quiet / loaded):.1f} % of its speed lost")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--folder", default=os.path.join(tempfile.gettempdir(), "vantry-bench"))
    parser.add_argument("--requests", type=int, default=1_000_000)
    parser.add_argument("--gigabytes", type=float, default=1.0)
    options = parser.parse_args()
    os.makedirs(options.folder, exist_ok=True)
    requests(options.folder, options.requests)
    scan_under_load(options.folder, int(options.gigabytes * 1e9))


if __name__ == "__main__":
    main()
