#!/usr/bin/env python3
"""How long another client waits while the program is busy with many visitors.

    bench/port_latency.py [--vantry FILE] [--leave N] [--page N] [--day N]

Needs the bench preset (cmake --preset bench && cmake --build --preset bench). N visitors come in one scan. --page asks
for the page and the list of all of them, --day for the page of the day's exceptions after each has asked for a missing
page, --leave waits until all of them leave in one tick, a minute or two later. Meanwhile another client asks for a
short page all the time. Tells its slowest and its usual answer, how long the page took, and by how much the program's
memory rose at most. Run it on a quiet machine: whatever else runs is measured too.
"""
import argparse
import os
import re
import shutil
import signal
import socket
import statistics
import subprocess
import tempfile
import threading
import time

from whole_runs import BIN, free_port


def make_home(visitors, minutes, status):
    home = tempfile.mkdtemp(prefix="vantry_latency_")
    stamp = time.strftime("%d/%b/%Y:%H:%M:%S +0000", time.gmtime())
    with open(f"{home}/access.log", "w") as log:
        for i in range(visitors):
            log.write(f'10.{i >> 16}.{i >> 8 & 255}.{i & 255} - - [{stamp}] "GET /articles/2026/page-{i}.html HTTP/1.1" '
                      f'{status} 512 "http://www.search.example/" "Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)"\n')
    port = free_port()
    with open(f"{home}/VANTRY.INI", "w", newline="") as f:
        f.write(f"[One]\r\nType=2\r\nUnix=True\r\nFolder={home}\r\nMask=access.log\r\nFrequency=1\r\n"
                "Domain=www.one.example\r\nWebAccess=True\r\n\r\n\r\n")
    with open(f"{home}/SETTINGS.INI", "w", newline="") as f:
        f.write(f"[Vantry Settings]\r\nWebAccessPort= {port}\r\nWebAccessLog=False\r\nReverseDNS=False\r\n"
                f"InactivityMins= {minutes}\r\n\r\n\r\n")
    return home, port


def ask(port, query):
    with socket.create_connection(("127.0.0.1", port), timeout=120) as s:
        s.sendall(f"GET /?{query} HTTP/1.0\r\nAccept: */*\r\n\r\n".encode())
        size, tail = 0, b""
        while block := s.recv(1 << 18):
            size += len(block)
            tail = (tail + block)[-200:]
        return size, tail


def visitors_now(port):
    with socket.create_connection(("127.0.0.1", port), timeout=120) as s:
        s.sendall(b"@STATUS\r\n")
        return int(s.recv(65536).split(b"\x1b")[2])


class OtherClient(threading.Thread):
    def __init__(self, port):
        super().__init__()
        self.port, self.ended, self.waits = port, threading.Event(), []

    def run(self):
        while not self.ended.wait(0.002):
            begin = time.perf_counter()
            ask(self.port, "LIST&domain=none")
            self.waits.append(time.perf_counter() - begin)

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.ended.set()
        self.join()

    def told(self):
        return (f"another client's slowest answer {max(self.waits) * 1000:.1f} ms, "
                f"usual {statistics.median(self.waits) * 1000:.2f} ms ({len(self.waits)} answers)")


class Program:
    def __init__(self, vantry, visitors, minutes, status=200):
        self.home, self.port = make_home(visitors, minutes, status)
        self.process = subprocess.Popen([vantry], env=dict(os.environ, VANTRY_HOME=self.home, TZ="UTC"),
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.process.stdout.readline()
        while visitors_now(self.port) < visitors:
            time.sleep(0.2)

    def memory_mb(self, what):
        with open(f"/proc/{self.process.pid}/status") as f:
            return int(re.search(what + r":\s+(\d+)", f.read())[1]) / 1024

    def forget_peak(self):
        with open(f"/proc/{self.process.pid}/clear_refs", "w") as f:
            f.write("5")

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()
        shutil.rmtree(self.home)


def page(vantry, visitors, status, *queries):
    program = Program(vantry, visitors, 600, status)
    try:
        for query in queries:
            time.sleep(3)
            program.forget_peak()
            before = program.memory_mb("VmRSS")
            with OtherClient(program.port) as other:
                time.sleep(0.3)
                begin = time.perf_counter()
                size, tail = ask(program.port, query)
                took = time.perf_counter() - begin
            print(f"{query.split('&')[0]} of {visitors} visitors: {size / 1e6:.1f} MB in {took:.2f} s, "
                  f"memory +{program.memory_mb('VmHWM') - before:.1f} MB; {other.told()}; ends {tail[-12:]!r}")
    finally:
        program.stop()


def leave(vantry, visitors):
    while not 35 <= time.time() % 60 < 45:  # Few minutes to wait until a whole one has passed.
        time.sleep(0.2)
    program = Program(vantry, visitors, 1)
    try:
        with OtherClient(program.port) as other:
            time.sleep(3)  # The first scan writes what it has kept.
            other.waits.clear()
            while visitors_now(program.port) == visitors:
                time.sleep(0.02)
            while visitors_now(program.port) > 0:
                time.sleep(0.02)
            time.sleep(3)
        print(f"{visitors} visitors left: {other.told()}")
    finally:
        program.stop()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--vantry", default=f"{BIN}/vantry")
    parser.add_argument("--leave", type=int, default=0)
    parser.add_argument("--page", type=int, default=0)
    parser.add_argument("--day", type=int, default=0)
    options = parser.parse_args()
    if options.page:
        page(options.vantry, options.page, 200, "SITETABLE&site=www.one.example", "LIST&")
    if options.day:
        page(options.vantry, options.day, 404, "EXCEPT&site=www.one.example")
    if options.leave:
        leave(options.vantry, options.leave)


if __name__ == "__main__":
    main()
