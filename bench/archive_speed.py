#!/usr/bin/env python3
"""Packs logs with vantry-archive and with `zip -6` in turn, on the same disk, and tells times, sizes and memory:

    bench/archive_speed.py [--folder DIR] [--megabytes 1000] [--logs 10] [--rounds 1]

The archiver also syncs, reads its zip back and removes the logs; zip does none of that. Then one more log comes into the
month, which is what a usual day is. Needs the release or the bench preset (target vantry-archive), and Debian's zip.
"""
import argparse
import os
import random
import shutil
import subprocess
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def archiver():
    for preset in ("bench", "release"):
        path = f"{ROOT}/build/{preset}/bin/vantry-archive"
        if os.path.exists(path):
            return path
    raise SystemExit("build the target vantry-archive of the preset bench or release first")


def made_log(size, seed):
    """Lines of the combined layout as a busy site has them."""
    r = random.Random(seed)
    agents = [f"Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/{n}.0 Safari/537.36"
              for n in range(90, 130)]
    lines, length, n = [], 0, 0
    while length < size:
        n += 1
        line = '%d.%d.%d.%d - - [05/Mar/2026:%02d:%02d:%02d +0000] "GET /%s/page%d.html HTTP/1.1" %d %d "%s" "%s"\n' % (
            r.randint(1, 220), r.randint(0, 255), r.randint(0, 255), r.randint(0, 255), n // 40_000 % 24,
            n // 600 % 60, n // 10 % 60, r.choice("abcdefgh"), r.randint(1, 5_000), r.choice([200, 200, 200, 304, 404]),
            r.randint(100, 99_999), "https://www.example.com/%d" % r.randint(1, 900), r.choice(agents))
        lines.append(line)
        length += len(line)
    return "".join(lines).encode()


def memory_mb(pid):
    """The most it ever had. What a wait tells has this script's own memory in it."""
    try:
        with open(f"/proc/{pid}/status", encoding="ascii") as f:
            return next((int(line.split()[1]) / 1024 for line in f if line.startswith("VmHWM:")), 0)
    except OSError:
        return 0


def timed(command, **how):
    """Seconds, seconds of processor, megabytes of memory."""
    begin = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, **how)
    memory = 0
    while True:
        ended, status, usage = os.wait4(process.pid, os.WNOHANG)
        if ended:
            break
        with open(f"/proc/{process.pid}/comm", encoding="ascii") as f:
            begun = os.path.basename(command[0]).startswith(f.read().strip())
        memory = max(memory, memory_mb(process.pid) if begun else 0)
        time.sleep(0.02)
    if status:
        raise SystemExit(f"{command[0]} ended with {status}")
    return time.perf_counter() - begin, usage.ru_utime + usage.ru_stime, memory


def put_logs(folder, block, a):
    old = time.time() - 100 * 86_400
    for n in range(a.logs):
        path = f"{folder}/{n}.log"
        with open(path, "wb") as f:
            for _ in range(max(1, round(a.megabytes * 1e6 / a.logs / len(block)))):
                f.write(block)
            os.fsync(f.fileno())
        os.utime(path, (old, old))
    with open(f"{folder}/current.log", "wb") as f:
        f.write(b"now\n")
    return sum(os.path.getsize(f"{folder}/{n}.log") for n in range(a.logs))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--folder")
    parser.add_argument("--megabytes", type=float, default=1_000)
    parser.add_argument("--logs", type=int, default=10)
    parser.add_argument("--rounds", type=int, default=1)
    a = parser.parse_args()
    base = tempfile.mkdtemp(dir=a.folder)
    home, logs = f"{base}/home", f"{base}/logs"
    os.makedirs(home)
    os.makedirs(logs)
    with open(f"{home}/SETTINGS.INI", "w", newline="") as f:
        f.write("[Vantry Settings]\r\nAutoArchive=True\r\n\r\n\r\n")
    with open(f"{home}/VANTRY.INI", "w", newline="") as f:
        f.write(f"[One]\r\nFolder={logs}\r\nMask=*.log\r\nAutoArchive=True\r\n\r\n\r\n")
    environment = {**os.environ, "VANTRY_HOME": home}
    block = made_log(50e6 if a.megabytes / a.logs > 50 else a.megabytes * 1e6 / a.logs, 1)
    try:
        for _ in range(a.rounds):
            size = put_logs(logs, block, a)
            names = [f"{logs}/{n}.log" for n in range(a.logs)]
            for name in names:
                subprocess.run(["cat", name], stdout=subprocess.DEVNULL, check=True)
            zip_s, zip_cpu, _ = timed(["zip", "-6", "-q", f"{base}/zip.zip", *names])
            own_s, own_cpu, own_mb = timed([archiver()], env=environment)
            archive, = os.listdir(f"{logs}/Archive")
            own_bytes, zip_bytes = os.path.getsize(f"{logs}/Archive/{archive}"), os.path.getsize(f"{base}/zip.zip")
            print(f"{size / 1e6:.0f} MB in {a.logs} logs: zip -6 {zip_s:.1f} s ({zip_cpu:.1f} s of processor), "
                  f"{zip_bytes / 1e6:.1f} MB; vantry-archive {own_s:.1f} s ({own_cpu:.1f} s), {own_bytes / 1e6:.1f} MB, "
                  f"memory {own_mb:.0f} MB; ratio {own_s / zip_s:.2f} of the time, {own_bytes / zip_bytes:.3f} of the size")
            more = argparse.Namespace(logs=1, megabytes=a.megabytes / a.logs)
            put_logs(logs, block, more)
            more_s, _, more_mb = timed([archiver()], env=environment)
            print(f"one more log of {more.megabytes:.0f} MB: {more_s:.1f} s, memory {more_mb:.0f} MB")
            shutil.rmtree(f"{logs}/Archive")
            os.unlink(f"{base}/zip.zip")
    finally:
        shutil.rmtree(base)


if __name__ == "__main__":
    main()
