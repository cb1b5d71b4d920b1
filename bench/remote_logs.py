#!/usr/bin/env python3
"""What a remote log costs: the first scan of a log by FTP against that of the same log on the disk, many idle sites,
and a server that sends a byte a second.

    bench/remote_logs.py [--vantry FILE] [--lines N] [--sites N] [--minutes N] [--rate N] [--trickle N]

Needs the bench preset (cmake --preset bench && cmake --build --preset bench), python3-pyftpdlib and faketime. The
server is a process of its own on the loopback. First scans are timed from the program's word that it begins to the last
line's visitor in LIST, three times each. Idle sites have a log of one line each and are scanned once a minute, for so
many minutes of a clock that runs --rate times as fast as ours; told is the memory, once every site was scanned and then
in quarters of the time. Beside the server that trickles, lines are added to a log on the disk, and it is told how soon
they are on the list, with and without that server. In the last two another client asks for a short page all the time:
its slowest answer is the longest that anything held the loop. 0 leaves a part out. Run it on a quiet machine.
"""
import argparse
import multiprocessing
import os
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time

from port_latency import OtherClient
from whole_runs import BIN, free_port

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "system"))
from ftp_servers import MiniFtp  # noqa: E402
from harness import faketime_library  # noqa: E402


def serve(folder, port):
    import logging
    from pyftpdlib.authorizers import DummyAuthorizer
    from pyftpdlib.handlers import FTPHandler
    from pyftpdlib.servers import FTPServer
    logging.disable(logging.CRITICAL)
    FTPHandler.authorizer = DummyAuthorizer()
    FTPHandler.authorizer.add_user("reader", "word", folder, perm="elr")
    FTPHandler.use_sendfile = True
    server = FTPServer(("127.0.0.1", port), FTPHandler, backlog=500)
    server.max_cons = 1_000
    server.serve_forever()


def line(address, page):
    stamp = time.strftime("%d/%b/%Y:%H:%M:%S +0000", time.gmtime())
    return f'{address} - - [{stamp}] "GET {page} HTTP/1.1" 200 512 "-" "Mozilla/5.0"\n'


def section(name, folder, ftp_port, frequency):
    where = f"Folder={folder}/\r\n" if not ftp_port else (
        f"FTP=True\r\nFTPPassive=True\r\nFTPDomain=127.0.0.1:{ftp_port}\r\nFTPUserName=reader\r\nFTPPassword=word\r\n"
        f"FTPPath={folder}\r\n")
    return (f"[{name}]\r\nType=2\r\nUnix=True\r\n{where}Mask=access.log\r\nFrequency={frequency}\r\nSelectMethod=2\r\n"
            f"Domain={name.lower()}.example\r\nWebAccess=True\r\n\r\n")


class Run:
    def __init__(self, vantry, sections, corrections, rate=1):
        self.home, self.port = tempfile.mkdtemp(prefix="vantry_remote_"), free_port()
        with open(f"{self.home}/VANTRY.INI", "w", newline="") as f:
            f.write("".join(sections) + "\r\n")
        with open(f"{self.home}/SETTINGS.INI", "w", newline="") as f:
            f.write(f"[Vantry Settings]\r\nWebAccessPort= {self.port}\r\nWebAccessLog=False\r\nReverseDNS=False\r\n"
                    "InactivityMins= 600\r\n\r\n\r\n")
        with open(f"{self.home}/registry.ini", "w") as f:
            f.write("[Security]\nBindAddress=127.0.0.1\n[Corrections]\n" + corrections)
        env = dict(os.environ, VANTRY_HOME=self.home, TZ="UTC", LC_ALL="C")
        if rate > 1:
            env.update(LD_PRELOAD=faketime_library(), FAKETIME=f"+0 x{rate}", NO_FAKE_STAT="1")
        self.told = tempfile.TemporaryFile()
        self.process = subprocess.Popen([vantry], env=env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=self.told)

    def listed(self, domain):
        with socket.create_connection(("127.0.0.1", self.port), timeout=120) as s:
            s.sendall(f"GET /?LIST&domain={domain} HTTP/1.0\r\nAccept: */*\r\n\r\n".encode())
            parts = []
            while block := s.recv(1 << 18):
                parts.append(block)
        return b"".join(parts)

    def wait_listed(self, domain, address):
        while True:
            try:
                if address.encode() in self.listed(domain):
                    return
            except OSError:
                pass
            time.sleep(0.01)

    def resident_kb(self):
        with open(f"/proc/{self.process.pid}/status") as f:
            return next(int(row.split()[1]) for row in f if row.startswith("VmRSS:"))

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(60)
        self.told.close()
        shutil.rmtree(self.home)


def first_scan(vantry, folder, ftp_port):
    run = Run(vantry, [section("One", "/" if ftp_port else folder, ftp_port, 60)], "")
    while b"for the first time" not in os.pread(run.told.fileno(), 4096, 0):
        time.sleep(0.001)
    begin = time.perf_counter()
    while b"10.9.9.9" not in run.listed("one.example"):
        time.sleep(0.005)
    took = time.perf_counter() - begin
    run.end()
    return took


def first_scans(vantry, folder, port, lines):
    with open(f"{folder}/access.log", "w") as f:
        for n in range(lines):
            f.write(line(f"10.1.{n % 20}.{n % 250}", f"/{n % 97}.html"))
        f.write(line("10.9.9.9", "/last.html"))
    local = [first_scan(vantry, folder, 0) for _ in range(3)]
    remote = [first_scan(vantry, folder, port) for _ in range(3)]
    print(f"first scan of {lines} lines of today, {os.path.getsize(folder + '/access.log') >> 20} MB: on the disk "
          f"{min(local):.2f} s, by FTP {min(remote):.2f} s, {min(remote) / min(local):.2f} times as long")


def idle_sites(vantry, folder, ftp_port, sites, minutes, rate):
    sections = [section(f"S{n}", f"/s{n}", ftp_port, 60) for n in range(sites)]
    for n in range(sites):
        os.makedirs(f"{folder}/s{n}", exist_ok=True)
        with open(f"{folder}/s{n}/access.log", "w") as f:
            f.write(line("10.0.0.1", "/p.html"))
    run = Run(vantry, sections, "All=True\n", rate)
    for n in range(sites):
        run.wait_listed(f"s{n}.example", "10.0.0.1")
    time.sleep(150 / rate)
    with OtherClient(run.port) as other:
        memory = [run.resident_kb()]
        for _ in range(4):
            time.sleep(minutes * 60 / rate / 4)
            memory.append(run.resident_kb())
    print(f"{sites} idle sites for {minutes} minutes of a clock {rate} times as fast: "
          f"memory {' '.join(map(str, memory))} kB; {other.told()}")
    run.end()


def seconds_until_listed(run, log, count):
    times = []
    for n in range(count):
        with open(log, "a") as f:
            f.write(line(f"10.2.0.{n}", "/n.html"))
        begin = time.perf_counter()
        run.wait_listed("near.example", f"10.2.0.{n}")
        times.append(time.perf_counter() - begin)
    return times


def trickling_server(vantry, folder, count):
    os.makedirs(f"{folder}/near", exist_ok=True)
    log = f"{folder}/near/access.log"
    for trickles in (False, True):
        with open(log, "w") as f:
            f.write(line("10.0.0.1", "/p.html"))
        text = line("10.0.0.2", "/far.html").encode()
        server = MiniFtp(text, pieces=[text[n:n + 1] for n in range(len(text))], pause=1.0)
        far = section("Far", "/", server.port, 5)
        run = Run(vantry, ([far] if trickles else []) + [section("Near", f"{folder}/near", 0, 1)], "All=True\n")
        run.wait_listed("near.example", "10.0.0.1")
        while trickles and not any(command.startswith("RETR") for command in server.commands):
            time.sleep(0.1)
        with OtherClient(run.port) as other:
            times = seconds_until_listed(run, log, count)
        print(f"{'beside a server that trickles' if trickles else 'alone'}: lines of a log on the disk are on the list "
              f"after {statistics.median(times) * 1e3:.0f} ms, at most {max(times) * 1e3:.0f} ms; {other.told()}")
        run.end()
        server.clean_up()


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--vantry", default=f"{BIN}/vantry")
    options.add_argument("--lines", type=int, default=300_000)
    options.add_argument("--sites", type=int, default=200)
    options.add_argument("--minutes", type=int, default=60)
    options.add_argument("--rate", type=int, default=60)
    options.add_argument("--trickle", type=int, default=10, help="lines to add beside a server that trickles")
    o = options.parse_args()
    folder, port = tempfile.mkdtemp(prefix="vantry_served_"), free_port()
    server = multiprocessing.Process(target=serve, args=(folder, port), daemon=True)
    server.start()
    try:
        if o.lines:
            first_scans(o.vantry, folder, port, o.lines)
        if o.sites:
            idle_sites(o.vantry, folder, port, o.sites, o.minutes, o.rate)
        if o.trickle:
            trickling_server(o.vantry, folder, o.trickle)
    finally:
        server.terminate()
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
