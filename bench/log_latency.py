#!/usr/bin/env python3
"""How long after it was written a line is in LIST, with the correction Immediate.

    bench/log_latency.py [--vantry FILE] [--sites N] [--rate LINES] [--seconds S] [--classic]

Needs the bench preset (cmake --preset bench && cmake --build --preset bench). N logs grow by LINES a second each. Now and
then a line of a new visitor is written to one of them, and LIST of that site is asked for until it is there. Tells the
usual, the 99th of a hundred, and the slowest. Run it on a quiet machine.
"""
import argparse
import os
import random
import shutil
import signal
import socket
import statistics
import subprocess
import tempfile
import threading
import time

from whole_runs import BIN, free_port


def line(address, page):
    stamp = time.strftime("%d/%b/%Y:%H:%M:%S +0000", time.gmtime())
    return f'{address} - - [{stamp}] "GET {page} HTTP/1.1" 200 512 "-" "Mozilla/5.0"\n'.encode()


def make_home(sites, classic):
    home = tempfile.mkdtemp(prefix="vantry_latency_")
    port = free_port()
    with open(f"{home}/VANTRY.INI", "w", newline="") as f:
        for i in range(sites):
            os.mkdir(f"{home}/logs{i}")
            open(f"{home}/logs{i}/access.log", "wb").write(line("10.255.0.1", "/first.html"))
            f.write(f"[S{i}]\r\nType=2\r\nUnix=True\r\nFolder={home}/logs{i}\r\nMask=access.log\r\nFrequency=5\r\n"
                    f"SelectMethod=2\r\nDomain=s{i}.example\r\nWebAccess=True\r\n\r\n")
        f.write("\r\n")
    with open(f"{home}/SETTINGS.INI", "w", newline="") as f:
        f.write(f"[Vantry Settings]\r\nWebAccessPort= {port}\r\nWebAccessLog=False\r\nReverseDNS=False\r\n"
                "InactivityMins= 600\r\n\r\n\r\n")
    with open(f"{home}/registry.ini", "w") as f:
        on = not classic
        f.write(f"[Corrections]\nImmediate={on}\nWholeLines={on}\nFollowRotation={on}\n")
    return home, port


def listed(port, site):
    with socket.create_connection(("127.0.0.1", port), timeout=120) as s:
        s.sendall(f"GET /?LIST&domain=s{site}.example HTTP/1.0\r\nAccept: */*\r\n\r\n".encode())
        parts = []
        while block := s.recv(1 << 18):
            parts.append(block)
    return b"".join(parts)


class Traffic(threading.Thread):
    """All logs, a hundred times a second. Few visitors, so that LIST stays short."""

    def __init__(self, home, sites, rate):
        super().__init__()
        self.files = [open(f"{home}/logs{i}/access.log", "ab", buffering=0) for i in range(sites)]
        self.rate, self.ended, self.written = rate, threading.Event(), 0

    def run(self):
        begin, done = time.perf_counter(), 0
        while not self.ended.wait(0.01):
            due = int((time.perf_counter() - begin) * self.rate)
            for file in self.files:
                file.write(b"".join(line(f"10.0.0.{n % 50}", f"/page{n}.html") for n in range(done, due)))
            done = due
        self.written = done * len(self.files)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--vantry", default=os.path.join(BIN, "vantry"))
    parser.add_argument("--sites", type=int, default=10)
    parser.add_argument("--rate", type=int, default=1000)
    parser.add_argument("--seconds", type=float, default=20)
    parser.add_argument("--classic", action="store_true")
    options = parser.parse_args()
    home, port = make_home(options.sites, options.classic)
    process = subprocess.Popen([options.vantry], env=dict(os.environ, VANTRY_HOME=home, TZ="UTC"),
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    process.stdout.readline()
    while any(b"first.html" not in listed(port, i) for i in range(options.sites)):
        time.sleep(0.2)
    traffic = Traffic(home, options.sites, options.rate)
    traffic.start()
    waits, number = [], 0
    begin = time.perf_counter()
    ticks = process_ticks(process.pid)
    while time.perf_counter() - begin < options.seconds:
        time.sleep(random.uniform(0.05, 0.3))
        number += 1
        site = random.randrange(options.sites)
        address = f"10.77.{number // 250}.{number % 250}"
        mark = address.encode() + b"\t"
        with open(f"{home}/logs{site}/access.log", "ab", buffering=0) as f:
            f.write(line(address, "/new.html"))
        written = time.perf_counter()
        while mark not in listed(port, site):
            time.sleep(0.002)
        waits.append((time.perf_counter() - written) * 1000)
    took = time.perf_counter() - begin
    busy = (process_ticks(process.pid) - ticks) / os.sysconf("SC_CLK_TCK") / took
    traffic.ended.set()
    traffic.join()
    waits.sort()
    print(f"{options.sites} sites, {options.rate} lines a second each: {len(waits)} lines looked for: "
          f"usual {statistics.median(waits):.0f} ms, 99 % {waits[int(len(waits) * 0.99) - 1]:.0f} ms, "
          f"slowest {waits[-1]:.0f} ms; the program used {busy * 100:.0f} % of a core")
    process.send_signal(signal.SIGTERM)
    process.wait()
    shutil.rmtree(home)


def process_ticks(pid):
    with open(f"/proc/{pid}/stat") as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


if __name__ == "__main__":
    main()
