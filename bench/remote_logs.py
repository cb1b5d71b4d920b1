#!/usr/bin/env python3
"""What a remote log costs: the first scan of a log by FTP against that of the same log on the disk, and many idle sites.

    bench/remote_logs.py [--vantry FILE] [--lines N] [--sites N] [--seconds S]

Needs the bench preset (cmake --preset bench && cmake --build --preset bench) and python3-pyftpdlib. The server is a
process of its own on the loopback. First scans are timed from the program's word that it begins to the last line's
visitor in LIST, three times each. Idle sites have a log of one line each and are scanned every 5 seconds; told are the
memory at the beginning and the end, and how long the port took to answer, which no tick may hold up. Run it on a quiet
machine.
"""
import argparse
import multiprocessing
import os
import shutil
import signal
import socket
import statistics
import subprocess
import tempfile
import time

from whole_runs import BIN, free_port


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
    def __init__(self, vantry, sections, corrections):
        self.home, self.port = tempfile.mkdtemp(prefix="vantry_remote_"), free_port()
        with open(f"{self.home}/VANTRY.INI", "w", newline="") as f:
            f.write("".join(sections) + "\r\n")
        with open(f"{self.home}/SETTINGS.INI", "w", newline="") as f:
            f.write(f"[Vantry Settings]\r\nWebAccessPort= {self.port}\r\nWebAccessLog=False\r\nReverseDNS=False\r\n"
                    "InactivityMins= 600\r\n\r\n\r\n")
        with open(f"{self.home}/registry.ini", "w") as f:
            f.write("[Security]\nBindAddress=127.0.0.1\n[Corrections]\n" + corrections)
        self.process = subprocess.Popen([vantry], env=dict(os.environ, VANTRY_HOME=self.home, TZ="UTC", LC_ALL="C"),
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def listed(self, domain):
        with socket.create_connection(("127.0.0.1", self.port), timeout=120) as s:
            s.sendall(f"GET /?LIST&domain={domain} HTTP/1.0\r\nAccept: */*\r\n\r\n".encode())
            parts = []
            while block := s.recv(1 << 18):
                parts.append(block)
        return b"".join(parts)

    def resident_kb(self):
        with open(f"/proc/{self.process.pid}/status") as f:
            return next(int(row.split()[1]) for row in f if row.startswith("VmRSS:"))

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(60)
        self.process.stderr.close()
        shutil.rmtree(self.home)


def first_scan(vantry, folder, ftp_port):
    run = Run(vantry, [section("One", "/" if ftp_port else folder, ftp_port, 60)], "")
    while b"for the first time" not in run.process.stderr.readline():
        pass
    begin = time.perf_counter()
    while b"10.9.9.9" not in run.listed("one.example"):
        time.sleep(0.005)
    took = time.perf_counter() - begin
    run.end()
    return took


def idle_sites(vantry, folder, ftp_port, sites, seconds):
    sections = [section(f"S{n}", f"/s{n}", ftp_port, 5) for n in range(sites)]
    for n in range(sites):
        os.makedirs(f"{folder}/s{n}", exist_ok=True)
        with open(f"{folder}/s{n}/access.log", "w") as f:
            f.write(line("10.0.0.1", "/p.html"))
    run = Run(vantry, sections, "All=True\n")
    while True:
        try:
            if b"10.0.0.1" in run.listed(f"s{sites - 1}.example"):
                break
        except OSError:
            pass
        time.sleep(0.2)
    time.sleep(5)
    begin_kb, times, end = run.resident_kb(), [], time.perf_counter() + seconds
    while time.perf_counter() < end:
        begin = time.perf_counter()
        run.listed("s0.example")
        times.append(time.perf_counter() - begin)
        time.sleep(0.002)
    print(f"{sites} idle sites for {seconds:.0f} s: memory {begin_kb} kB at first, {run.resident_kb()} kB at the end; "
          f"answers of the port: usual {statistics.median(times) * 1e3:.1f} ms, 99th of a hundred "
          f"{sorted(times)[len(times) * 99 // 100] * 1e3:.1f} ms, slowest {max(times) * 1e3:.1f} ms")
    run.end()


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--vantry", default=f"{BIN}/vantry")
    options.add_argument("--lines", type=int, default=300_000)
    options.add_argument("--sites", type=int, default=200)
    options.add_argument("--seconds", type=float, default=30)
    o = options.parse_args()
    folder, port = tempfile.mkdtemp(prefix="vantry_served_"), free_port()
    server = multiprocessing.Process(target=serve, args=(folder, port), daemon=True)
    server.start()
    try:
        with open(f"{folder}/access.log", "w") as f:
            for n in range(o.lines):
                f.write(line(f"10.1.{n % 20}.{n % 250}", f"/{n % 97}.html"))
            f.write(line("10.9.9.9", "/last.html"))
        local = [first_scan(o.vantry, folder, 0) for _ in range(3)]
        remote = [first_scan(o.vantry, folder, port) for _ in range(3)]
        print(f"first scan of {o.lines} lines of today, {os.path.getsize(folder + '/access.log') >> 20} MB: on the disk "
              f"{min(local):.2f} s, by FTP {min(remote):.2f} s, {min(remote) / min(local):.2f} times as long")
        if o.sites:
            idle_sites(o.vantry, folder, port, o.sites, o.seconds)
    finally:
        server.terminate()
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
