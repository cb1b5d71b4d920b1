#!/usr/bin/env python3
"""Whole runs over made logs, as ratios to `wc -l` of the same page-cached file in the same run.

    bench/whole_runs.py [--folder DIR] [--gigabytes N] [--big N] [--rows N]

Needs the bench preset: cmake --preset bench && cmake --build --preset bench. Every figure is the best of three runs.
--big N also starts the program on a log of N GB and asks its port all the time it reads. --rows N fills the Pages
table up to N rows and tells what adding, finding, opening and building the index anew cost there and in a small one.
"""
import argparse
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BIN = os.path.join(ROOT, "build", "bench", "bin")
DAY = "20261010"


def make_log(folder, kind, size, addresses):
    path = os.path.join(folder, f"{kind}-{addresses}.log")
    if not os.path.exists(path):
        with open(path, "wb") as out:
            subprocess.run([f"{BIN}/make_log", kind, str(size), str(addresses), DAY, "70"], stdout=out, check=True)
    return path


def count_lines(path):
    """Lines, and the best time of `wc -l`; the first run fills the page cache."""
    best = None
    for _ in range(4):
        begin = time.perf_counter()
        out = subprocess.run(["wc", "-l", path], capture_output=True, check=True).stdout
        took = time.perf_counter() - begin
        best = took if best is None else min(best, took)
    return int(out.split()[0]), best


def scan(kind, path, day, *words):
    best = None
    for _ in range(3):
        out = subprocess.run([f"{BIN}/scan_run", "2" if kind == "ncsa" else "0", path, day, *words],
                             capture_output=True, check=True, text=True).stdout
        run = dict(pair.split("=") for pair in out.split())
        run["seconds"] = float(run["seconds"])
        if best is None or run["seconds"] < best["seconds"]:
            best = run
    return best


def report(name, lines, run, wc):
    print(f"{name:<44} {run['seconds']:7.3f} s  {lines / run['seconds'] / 1e6:6.2f} M lines/s  "
          f"{wc / run['seconds']:5.2f} of wc -l  {int(run['rss_kb']) / 1024:6.1f} MB  {run['visitors']} visitors")


def scans(folder, size):
    for kind in ("ncsa", "w3c"):
        path = make_log(folder, kind, size, 5000)
        lines, wc = count_lines(path)
        print(f"{kind}: {lines} lines, wc -l {wc:.3f} s")
        report("  lines of earlier days", lines, scan(kind, path, "0"), wc)
        live = scan(kind, path, DAY)
        report("  lines of today, 5,000 addresses", lines, live, wc)
        history = with_history(path, kind, DAY)
        report("  the same with history", lines, history, wc)
        print(f"  history keeps {live['seconds'] / history['seconds']:.2f} of the speed without it, "
              f"at {history['pages']} pages")
    few, many = (make_log(folder, "ncsa", size, n) for n in (1000, 100000))
    lines, _ = count_lines(few)
    one = scan("ncsa", few, DAY, "again")
    lines_many, _ = count_lines(many)
    hundred = scan("ncsa", many, DAY, "again")
    ratio = (hundred["seconds"] / lines_many) / (one["seconds"] / lines)
    print(f"a line with 100,000 visitors on the site takes {ratio:.2f} of one with 1,000; "
          f"memory {int(hundred['rss_kb']) / 1024:.1f} MB with 100,000, {int(one['rss_kb']) / 1024:.1f} MB with 1,000")
    many_visitors(folder, size)
    path = make_log(folder, "ncsa", size, 5000)
    loop = scan("ncsa", path, "0", "loop")
    none = scan("ncsa", path, "0", "no-yield")
    print(f"yielding costs {100 * (loop['seconds'] / none['seconds'] - 1):.1f} % of a scan of old lines "
          f"({loop['turns']} turns)")


def many_visitors(folder, size):
    """200,000 addresses spread over the day: nearly each page view is a visit of its own."""
    path = make_log(folder, "ncsa", size, 200000)
    lines, wc = count_lines(path)
    report("lines of today, 200,000 addresses", lines, scan("ncsa", path, DAY), wc)
    report("  the same with history", lines, with_history(path, "ncsa", DAY), wc)


def with_history(path, kind, day, *words):
    """The best of three scans with the history on, each into an empty data folder."""
    best = None
    for _ in range(3):
        data = tempfile.mkdtemp(dir=os.path.dirname(path))
        try:
            out = subprocess.run([f"{BIN}/scan_run", "2" if kind == "ncsa" else "0", path, day, f"history={data}",
                                  *words], capture_output=True, check=True, text=True).stdout
        finally:
            shutil.rmtree(data)
        run = dict(pair.split("=") for pair in out.split())
        run["seconds"] = float(run["seconds"])
        if best is None or run["seconds"] < best["seconds"]:
            best = run
    return best


def missing_pages(folder):
    """A million pages that are there, and a million that raise 404, with mail that is collected."""
    there, gone = os.path.join(folder, "pages.log"), os.path.join(folder, "missing.log")
    with open(there, "wb") as out:
        subprocess.run([f"{BIN}/make_log", "ncsa", "213000000", "5000", DAY, "0"], stdout=out, check=True)
    with open(there, "rb") as lines, open(gone, "wb") as out:
        out.writelines(line.replace(b'" 200 ', b'" 404 ', 1) for line in lines)
    quiet = with_history(there, "ncsa", DAY)
    loud = with_history(gone, "ncsa", DAY, "exceptions")
    listed = with_history(gone, "ncsa", DAY, "exceptions-without-mail")
    row = (int(listed["rss_kb"]) - int(quiet["rss_kb"])) * 1024 / int(listed["exceptions"])
    print(f"{loud['pages']} missing pages take {loud['seconds'] / quiet['seconds']:.2f} of the time of as many that "
          f"are there and raise nothing ({loud['seconds']:.2f} s); {loud['exceptions']} exceptions, {row:.0f} bytes each")


def tables(folder, rows):
    for count in (10_000, rows):
        data = tempfile.mkdtemp(dir=folder)
        try:
            print(f"Pages table of {count} rows")
            for turn in range(2):
                # The second time the stamp is gone, so opening rebuilds the index.
                out = subprocess.run([f"{BIN}/tables", data, str(count)], capture_output=True, check=True, text=True)
                lines = out.stdout.splitlines()
                print("  " + "\n  ".join(lines if turn == 0 else lines[:1]))
                os.remove(f"{data}/Vantry.stamp")
        finally:
            shutil.rmtree(data)


def idle_sites():
    folder = tempfile.mkdtemp()
    try:
        out = subprocess.run([f"{BIN}/idle_sites", folder], capture_output=True, check=True, text=True).stdout
        print("1,000 idle sites, all due:", out.strip())
    finally:
        shutil.rmtree(folder)


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def ask(port, query="?LIST&"):
    begin = time.perf_counter()
    with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
        s.sendall(f"GET /{query} HTTP/1.0\r\n\r\n".encode())
        while s.recv(65536):
            pass
    return time.perf_counter() - begin


def port_during_scan(folder, gigabytes):
    """The slowest answers while the program reads a big log for the first time."""
    home = tempfile.mkdtemp(dir=folder)
    source = make_log(folder, "ncsa", 1000000000, 5000)
    try:
        os.mkdir(f"{home}/logs")
        with open(f"{home}/logs/access.log", "wb") as out:
            for _ in range(gigabytes):
                with open(source, "rb") as part:
                    shutil.copyfileobj(part, out, 1 << 24)
        port = free_port()
        with open(f"{home}/SETTINGS.INI", "w", newline="") as f:
            f.write(f"[Vantry Settings]\r\nWebAccessPort= {port}\r\nWebAccessLog=False\r\nReverseDNS=False\r\n\r\n")
        for name, clock in (("old lines", []), ("lines of today", ["faketime", "-f", "@2026-10-10 12:00:00"])):
            with open(f"{home}/VANTRY.INI", "w", newline="") as f:
                f.write(f"[Big]\r\nType=2\r\nUnix=True\r\nFolder={home}/logs/\r\nMask=*.LOG\r\nFrequency=2\r\n"
                        "Domain=www.big.example\r\n\r\n")
            port_of_one_run(home, port, name, clock)
    finally:
        shutil.rmtree(home)


def port_of_one_run(home, port, name, clock):
    env = dict(os.environ, VANTRY_HOME=home, NO_FAKE_STAT="1", TZ="UTC")
    program = subprocess.Popen([*clock, f"{BIN}/vantry"], env=env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               start_new_session=True)
    try:
        program.stdout.readline()
        size = os.path.getsize(f"{home}/logs/access.log")
        times, reading = [], False
        while True:
            took = ask(port)
            where = read_place(program.pid)
            if where > 0:
                reading = True
                times.append(took)
            elif reading:
                break
            time.sleep(0.02)
        times.sort()
        print(f"port during a first scan of {size / 1e9:.0f} GB of {name}: {len(times)} questions, "
              f"median {1000 * times[len(times) // 2]:.1f} ms, slowest {1000 * times[-1]:.1f} ms")
    finally:
        os.killpg(program.pid, signal.SIGTERM)  # With a clock of its own the program is a child of faketime.
        program.wait()
        while group_lives(program.pid):
            time.sleep(0.05)


def group_lives(pid):
    try:
        os.killpg(pid, 0)
        return True
    except ProcessLookupError:
        return False


def read_place(pid):
    """1 while the program has a log open, 0 otherwise."""
    pids = [str(pid)]
    try:
        with open(f"/proc/{pid}/task/{pid}/children") as f:
            pids += f.read().split()
        for p in pids:
            for fd in os.listdir(f"/proc/{p}/fd"):
                try:
                    if os.readlink(f"/proc/{p}/fd/{fd}").endswith("access.log"):
                        return 1
                except OSError:
                    pass
    except OSError:
        pass
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--folder", default=os.path.join(tempfile.gettempdir(), "vantry-bench"))
    parser.add_argument("--gigabytes", type=float, default=1.0)
    parser.add_argument("--big", type=int, default=0)
    parser.add_argument("--rows", type=int, default=0)
    options = parser.parse_args()
    os.makedirs(options.folder, exist_ok=True)
    scans(options.folder, int(options.gigabytes * 1e9))
    missing_pages(options.folder)
    idle_sites()
    if options.rows:
        tables(options.folder, options.rows)
    if options.big:
        port_during_scan(options.folder, options.big)


if __name__ == "__main__":
    main()
