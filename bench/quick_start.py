#!/usr/bin/env python3
"""Starts the program on many sites with long logs and tells how soon all of them were read:

    bench/quick_start.py [--folder DIR] [--sites 1000] [--megabytes 10] [--today 0.1] [--lines 1] [--classic]

Each site has a log of its own, of which --today (a share) is of today. A visitor writes --lines in a visit, of which
three in ten count as pages; with 1, almost every page is a visit of its own, the most work that a log can make.
Meanwhile the port is asked all the time. Needs the bench preset. --classic leaves the corrections off, with which a
site waits 2 s for the one before it.
"""
import argparse
import os
import shutil
import socket
import subprocess
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BIN = os.path.join(ROOT, "build", "bench", "bin")


def made_log(size, day, lines):
    return subprocess.run([f"{BIN}/make_log", "ncsa", str(int(size)), "500", day, "70", "200", str(lines)],
                          capture_output=True, check=True).stdout


def make_sites(home, a):
    now = time.time()
    today = made_log(a.megabytes * 1e6 * a.today, time.strftime("%Y%m%d", time.gmtime(now)), a.lines)
    old = made_log(a.megabytes * 1e6 * (1 - a.today), time.strftime("%Y%m%d", time.gmtime(now - 86400)),
                   a.lines)
    sites = []
    for n in range(a.sites):
        os.makedirs(f"{home}/logs/{n}")
        with open(f"{home}/logs/{n}/access.log", "wb") as f:
            f.write(old)
            f.write(today)
        sites.append(f"[S{n}]\r\nType=2\r\nUnix=True\r\nFolder={home}/logs/{n}\r\nMask=access.log\r\nFrequency=600\r\n"
                     f"Domain=d{n}.example\r\nHomePage=index.html\r\n\r\n")
    with open(f"{home}/VANTRY.INI", "w", newline="") as f:
        f.write("".join(sites) + "\r\n")
    return (len(old) + len(today)) * a.sites / 1e6


def ask(port, line):
    begin = time.perf_counter()
    with socket.create_connection(("127.0.0.1", port), 30) as s:
        s.sendall(line)
        s.shutdown(socket.SHUT_WR)
        answer = b""
        while piece := s.recv(1 << 20):
            answer += piece
    return answer, time.perf_counter() - begin


def sites_read(port):
    """Sites whose day has begun, by the stamp of the line read last."""
    answer, took = ask(port, b"@STATUS\r\n")
    return sum(1 for line in answer.split(b"\n") if line.count(b"\x1b") >= 6 and b"1899" not in line), took


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--folder")
    parser.add_argument("--sites", type=int, default=1000)
    parser.add_argument("--megabytes", type=float, default=10)
    parser.add_argument("--today", type=float, default=0.1)
    parser.add_argument("--lines", type=int, default=1)
    parser.add_argument("--classic", action="store_true")
    a = parser.parse_args()
    home = tempfile.mkdtemp(dir=a.folder)
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        port = s.getsockname()[1]
    try:
        megabytes = make_sites(home, a)
        with open(f"{home}/SETTINGS.INI", "w", newline="") as f:
            f.write(f"[Vantry Settings]\r\nReverseDNS=False\r\nWebAccessPort= {port}\r\n\r\n")
        with open(f"{home}/registry.ini", "w") as f:
            f.write("[Security]\nBindAddress=127.0.0.1\n" + ("" if a.classic else "[Corrections]\nAll=True\n"))
        os.sync()  # The disk is not busy with what was only made for this.
        begin = time.perf_counter()
        program = subprocess.Popen([f"{BIN}/vantry"], env=os.environ | {"VANTRY_HOME": home, "TZ": "UTC"},
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        slowest, read, first = 0.0, 0, None
        while read < a.sites and program.poll() is None and time.perf_counter() - begin < 240:
            try:
                read, took = sites_read(port)
                slowest = max(slowest, took)
            except OSError:
                pass
            if read and first is None:
                first = time.perf_counter() - begin
            time.sleep(0.05)
        took = time.perf_counter() - begin
        program.terminate()
        program.wait()
        print(f"{read} of {a.sites} sites, {megabytes:.0f} MB: the first after {first or 0:.2f} s, all after {took:.2f} s; "
              f"the slowest answer meanwhile took {slowest * 1000:.0f} ms")
    finally:
        shutil.rmtree(home)


if __name__ == "__main__":
    main()
