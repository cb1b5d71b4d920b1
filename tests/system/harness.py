"""What the whole-program tests share: a program folder of their own, the running program, its two protocols."""

import collections
import concurrent.futures
import glob
import os
import random
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

# Generous: sanitizer builds on a busy machine are slow. A wait ends as soon as its condition holds.
DEADLINE = 30.0
SANITIZER_MARKS = ("AddressSanitizer", "runtime error", "LeakSanitizer", "ThreadSanitizer")
MONTHS = "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec".split()
CONTROL_ESC = "\x1b"

Visitor = collections.namedtuple("Visitor", "domain number address page start last browser referrer")
SiteStatus = collections.namedtuple("SiteStatus", "name paused current alerts spiders exceptions stamp")


def all_corrected():
    """Whether this run has all corrections on, where a test does not say otherwise."""
    return bool(os.environ.get("VANTRY_TEST_CORRECTED"))


# Minutes after which a silent visitor leaves. Tests write lines of early this day, which were written hours ago; with
# all corrections on that is when their visitors were seen last.
INACTIVITY = 1500 if all_corrected() else 600


def vantry_binary():
    here = os.path.dirname(os.path.abspath(__file__))
    default = os.path.join(here, "..", "..", "build", "dev", "bin")
    return os.path.abspath(os.path.join(os.environ.get("VANTRY_BIN") or default, "vantry"))


def uses_address_sanitizer():
    """Such a build needs its library loaded first, and more memory."""
    try:
        with open(vantry_binary(), "rb") as f:
            return b"__asan_init" in f.read()
    except OSError:
        return False


def faketime_library():
    # Not the variant for threads: it is for programs that wait on condition variables by the wall clock.
    found = glob.glob("/usr/lib/*/faketime/libfaketime.so.1")
    return found[0] if found else None


def clock_libraries():
    """What a program must load first so that its clock is the test's; empty without faketime. A program with a
    sanitizer wants that one's library before all others."""
    faketime = faketime_library()
    if not faketime:
        return ""
    needed = subprocess.run(["ldd", vantry_binary()], capture_output=True, text=True, check=False).stdout
    sanitizer = re.search(r"/\S*/libasan\.so\S*", needed)
    return ":".join([sanitizer[0], faketime] if sanitizer else [faketime])


def quick_clock(rate):
    """The environment of a program whose clock runs so many times as fast as ours."""
    return {"LD_PRELOAD": clock_libraries(), "FAKETIME": "+0 x%d" % rate, "NO_FAKE_STAT": "1"}


class StandingClock:
    """A clock that stands still unless a test moves it; timers run as ever."""

    def __init__(self, home, now):
        self.file = os.path.join(home.base, "clock")
        self.set(now)
        self.env = {"LD_PRELOAD": clock_libraries(), "FAKETIME_TIMESTAMP_FILE": self.file, "FAKETIME_NO_CACHE": "1",
                    "NO_FAKE_STAT": "1", "FAKETIME_DONT_FAKE_MONOTONIC": "1", "DONT_FAKE_MONOTONIC": "1"}

    def set(self, now):
        """`now` is in seconds since 1970; the program's zone must be UTC."""
        self._write(time.strftime("%Y-%m-%d %H:%M:%S\n", time.gmtime(now)))

    def _write(self, text):
        with open(self.file + ".new", "w") as f:
            f.write(text)
        os.rename(self.file + ".new", self.file)


class MovedClock(StandingClock):
    """A clock that runs on from where a test puts it."""

    def set(self, now):
        self._write("%+d\n" % (now - time.time()))


def wait_until(predicate, seconds=DEADLINE, what=None, step=0.05):
    """Returns the first true value of the predicate; fails at the deadline with the last value it gave."""
    end = time.monotonic() + seconds
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() > end:
            text = what() if callable(what) else what
            raise AssertionError("waited %.1f s in vain%s" % (seconds, ": %s" % (text,) if text else ""))
        time.sleep(step)


def free_port():
    """A port that nobody listens on, below the range from which the system takes ports for outgoing connections."""
    for _ in range(200):
        port = random.randint(10_000, 32_000)
        try:
            with socket.socket() as probe:
                probe.bind(("", port))
            return port
        except OSError:
            continue
    raise AssertionError("no free port found")


def seconds_to_midnight(zone_offset=0):
    return 86400 - int(time.time() + zone_offset) % 86400


def skip_at_midnight(before=150, zone_offset=0):
    """Only lines of today count, so a test that runs over midnight would lose lines that it is right to lose."""
    if seconds_to_midnight(zone_offset) < before:
        raise unittest.SkipTest("midnight is too near")


def ncsa_line(address, page, at=None, status=200, referrer="-", agent="Mozilla/5.0", method="GET", end="\n",
              zone="+0000"):
    """A line of the combined layout. `at` is a time in seconds since 1970, taken as UTC."""
    t = time.gmtime(time.time() if at is None else at)
    stamp = "%02d/%s/%04d:%02d:%02d:%02d" % (t.tm_mday, MONTHS[t.tm_mon - 1], t.tm_year, t.tm_hour, t.tm_min, t.tm_sec)
    return '%s - - [%s %s] "%s %s HTTP/1.1" %d 512 "%s" "%s"%s' % (
        address, stamp, zone, method, page, status, referrer, agent, end)


def w3c_date(at=None):
    return time.strftime("%Y-%m-%d", time.gmtime(time.time() if at is None else at))


def w3c_header(fields, date, software="Example Web Server 6.0", end="\r\n"):
    lines = ["#Software: " + software, "#Version: 1.0", "#Date: %s 00:00:00" % date, "#Fields: " + fields]
    return "".join(line + end for line in lines)


def w3c_line(fields, values, end="\r\n"):
    """One line in the order of a field list; what is not given is "-"."""
    return " ".join(values.get(name, "-") for name in fields.split()) + end


class Home:
    """A program folder with its site file, and a folder beside it for logs."""

    def __init__(self, folder=None):
        self.base = tempfile.mkdtemp(prefix="vantry_test_")
        self.path = folder or os.path.join(self.base, "home")
        self.logs = os.path.join(self.base, "logs")
        os.makedirs(self.path, exist_ok=True)
        os.makedirs(self.logs)
        self.port = free_port()
        self.write_settings()
        corrections = "[Corrections]\nAll=True\n" if all_corrected() else ""
        self.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n" + corrections)

    def keep_classic(self, *keys):
        """For tests of what holds without these corrections: off, also where the run has all on."""
        if all_corrected():
            with open(self.file("registry.ini"), "a", encoding="latin-1") as f:
                f.write("".join("%s=False\n" % key for key in keys))

    def file(self, name):
        return os.path.join(self.path, name)

    def log(self, name):
        return os.path.join(self.logs, name)

    def write(self, name, text):
        with open(self.file(name), "w", newline="", encoding="latin-1") as f:
            f.write(text)

    def write_settings(self, **keys):
        # No names: a test that did not ask must not depend on this machine's name servers.
        pairs = {"WebAccessPort": " %d" % self.port, "InactivityMins": " %d" % INACTIVITY, "NewVisitorSound": "False",
                 "ReverseDNS": "False"}
        pairs.update(keys)
        text = "[Vantry Settings]\r\n" + "".join("%s=%s\r\n" % pair for pair in pairs.items())
        self.write("SETTINGS.INI", text + "\r\n\r\n")

    @staticmethod
    def section(name, folder, **keys):
        pairs = {"Type": 2, "Unix": True, "Folder": folder, "Mask": "access.log", "SelectMethod": 0,
                 "Domain": "www.example.test", "HomePage": "index.html", "Frequency": 1, "WebAccess": True}
        pairs.update(keys)
        return "[%s]\r\n" % name + "".join("%s=%s\r\n" % pair for pair in pairs.items()) + "\r\n"

    def write_sites(self, *sections):
        # The last line of the file is not looked at, hence one empty line more.
        self.write("VANTRY.INI", "".join(sections) + "\r\n")

    def write_site(self, name="One", **keys):
        self.write_sites(self.section(name, keys.pop("Folder", self.logs), **keys))

    def site_values(self, name):
        """The keys of one section of the site file as the program left it."""
        with open(self.file("VANTRY.INI"), newline="", encoding="latin-1") as f:
            lines = f.read().split("\r\n")
        values, inside = {}, False
        for line in lines:
            if line.startswith("["):
                inside = line == "[%s]" % name
            elif inside and "=" in line:
                key, value = line.split("=", 1)
                values[key] = value
        return values

    def remove(self):
        shutil.rmtree(self.base, ignore_errors=True)


class Vantry:
    """The program running on a Home."""

    def __init__(self, home, zone="UTC", env=None, preexec=None, program=None):
        self.home = home
        self.port = home.port
        environment = {k: v for k, v in os.environ.items()
                       if k not in ("http_proxy", "JOURNAL_STREAM", "LC_ALL", "LC_TIME", "LANG", "NOTIFY_SOCKET",
                                    "DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS", "XDG_RUNTIME_DIR",
                                    "DISPLAY", "WAYLAND_DISPLAY")}
        environment.update({"VANTRY_HOME": home.path, "TZ": zone, "LC_ALL": "C"})
        environment.update(env or {})
        self.log_begin = self._log_size()
        # Files, not pipes: a program that tells much must not wait for a reader.
        self.out = tempfile.TemporaryFile()
        self.err = tempfile.TemporaryFile()
        self.process = subprocess.Popen([program or vantry_binary()], stdin=subprocess.DEVNULL, stdout=self.out, stderr=self.err,
                                        env=environment, cwd="/", preexec_fn=preexec)
        self.ended = False
        self.errors_expected = False  # Set by a test that makes a step of the program fail.

    @staticmethod
    def _text(stream):
        return os.pread(stream.fileno(), 16 << 20, 0).decode("utf-8", "replace")

    def stdout(self):
        return self._text(self.out)

    def stderr(self):
        return self._text(self.err)

    def running(self):
        return self.process.poll() is None

    def wait_ready(self):
        wait_until(lambda: self.stdout().endswith("\n") or not self.running(), what=self.stderr)
        if not self.running():
            raise AssertionError("the program ended with %s: %s" % (self.process.returncode, self.stderr()))
        self.connect().close()
        return self

    def pid(self):
        return self.process.pid

    def memory_peak_kb(self):
        with open("/proc/%d/status" % self.pid()) as f:
            return next(int(line.split()[1]) for line in f if line.startswith("VmHWM:"))

    def has_open(self, path):
        folder = "/proc/%d/fd" % self.pid()
        for name in os.listdir(folder):
            try:
                if os.readlink(os.path.join(folder, name)) == os.path.realpath(path):
                    return True
            except OSError:
                continue
        return False

    def connect(self, source=None, timeout=DEADLINE):
        return socket.create_connection(("127.0.0.1", self.port), timeout, (source, 0) if source else None)

    def ask(self, request, source=None, timeout=DEADLINE):
        """All bytes that come back until the program closes the connection."""
        with self.connect(source, timeout) as s:
            s.sendall(request)
            return read_all(s)

    def list_bytes(self, domain=None, **how):
        query = "domain=" + domain if domain else ""
        # The Accept header sets back what an earlier client in the same slot said about itself.
        return self.ask(b"GET /?LIST&%s HTTP/1.0\r\nAccept: */*\r\n\r\n" % query.encode(), **how)

    def list(self, domain=None, **how):
        return parse_list(self.list_bytes(domain, **how))

    def addresses(self):
        return [v.address for v in self.list()]

    def visitor(self, address):
        found = [v for v in self.list() if v.address == address]
        if len(found) > 1:
            raise AssertionError("%s is on the list more than once: %s" % (address, found))
        return found[0] if found else None

    def wait_visitor(self, address, page=None, seconds=DEADLINE):
        def there():
            v = self.visitor(address)
            return v if v and page in (None, v.page) else None
        return wait_until(there, seconds, lambda: "%s on %s; list: %s; stderr: %s" % (
            address, page, self.list()[:40], self.stderr()[-2000:]))

    def control(self, word, source=None):
        """Sends a control line and returns the one line that answers it."""
        with self.connect(source) as s:
            s.sendall(b"@" + word.encode() + b"\r\n")
            answer = read_line(s).decode("latin-1")
            try:
                # The program's own end of the connection says that its place is free again.
                s.shutdown(socket.SHUT_WR)
                read_all(s)
            except OSError:
                pass
            return answer

    def status(self):
        text = self.control("STATUS")
        if not text.startswith("rST" + CONTROL_ESC):
            raise AssertionError("no status record: %r" % text)
        records = []
        for line in text[4:].split("\n")[:-1]:
            fields = line.split(CONTROL_ESC)
            if len(fields) != 7 or fields[6] != "":
                raise AssertionError("a status line of another form: %r" % line)
            paused = fields[0].endswith(" (Paused) ")
            name = fields[0][:-len(" (Paused) ")] if paused else fields[0]
            records.append(SiteStatus(name, paused, *[int(f) for f in fields[1:5]], fields[5]))
        return records

    def site_status(self, name):
        return next(s for s in self.status() if s.name == name)

    def send_signal(self, number):
        self.process.send_signal(number)

    def wait_end(self, seconds=DEADLINE):
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise AssertionError("the program did not end within %s s" % seconds) from None

    def check_end(self):
        self.ended = True
        problem = self.sanitizer_report()
        if problem:
            raise AssertionError("a sanitizer speaks:\n" + problem)
        failed = self.failed_steps()
        if failed and not self.errors_expected:
            raise AssertionError("steps of the program failed: %s" % failed[:20])
        if self.process.returncode != 0:
            raise AssertionError("exit code %s: %s" % (self.process.returncode, self.stderr()[-4000:]))

    def _log_size(self):
        try:
            return os.path.getsize(self.home.file("Data/TRL.LOG"))
        except FileNotFoundError:
            return 0

    def failed_steps(self):
        """The lines that this run's log has of steps that broke off, each with the name of the step."""
        try:
            with open(self.home.file("Data/TRL.LOG"), encoding="latin-1") as f:
                f.seek(self.log_begin)
                return [line.strip() for line in f if re.search(r" From [A-Za-z0-9_.]+\s*$", line)]
        except FileNotFoundError:
            return []

    def sanitizer_report(self):
        text = self.stderr()
        return text[-8000:] if any(mark in text for mark in SANITIZER_MARKS) else ""

    def stop(self, number=signal.SIGTERM, seconds=DEADLINE):
        """Ends the program as an operator does; returns how long that took."""
        if not self.running():
            raise AssertionError("the program had ended already: %s" % self.stderr()[-4000:])
        begin = time.monotonic()
        self.send_signal(number)
        self.wait_end(seconds)
        took = time.monotonic() - begin
        self.check_end()
        return took

    def clean_up(self):
        """The end of a test: whatever happened in it, nothing stays and no report of a sanitizer gets lost."""
        try:
            if self.running():
                self.stop()
            elif not self.ended:
                self.check_end()
        finally:
            if self.running():
                self.process.kill()
                self.process.wait()
            self.out.close()
            self.err.close()


class SystemTest(unittest.TestCase):
    maxDiff = None

    def home(self, folder=None):
        home = Home(folder)
        self.addCleanup(home.remove)
        return home

    def launch(self, home, **how):
        vantry = Vantry(home, **how)
        self.addCleanup(vantry.clean_up)
        return vantry

    def start(self, home, **how):
        return self.launch(home, **how).wait_ready()

    def wait_scans(self, vantry, seconds=6.5):
        """Time in which a site with Frequency 1 is scanned at least twice, for tests that nothing happens."""
        time.sleep(seconds)
        self.assertTrue(vantry.running(), vantry.stderr())


def side_by_side(at_once=4):
    """In place of unittest.main for scripts whose cases wait most of their time: so many of them at once, each in a
    process of its own. Named cases run one after the other, as ever."""
    if len(sys.argv) > 1:
        unittest.main()
    names = [case.id().split(".", 1)[1] for suite in unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"])
             for case in suite]
    failed, begin = [], time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(at_once) as pool:
        runs = pool.map(lambda name: subprocess.run([sys.executable, sys.argv[0], name], stdin=subprocess.DEVNULL,
                                                    stdout=subprocess.PIPE, stderr=subprocess.STDOUT), names)
        for name, run in zip(names, runs):
            print("== %s\n%s" % (name, run.stdout.decode("utf-8", "replace")), flush=True)
            if run.returncode:
                failed.append(name)
    print("%d cases in %.1f s; failed: %s" % (len(names), time.monotonic() - begin, ", ".join(failed) or "none"))
    sys.exit(1 if failed or not names else 0)


def read_all(s):
    parts = []
    while True:
        part = s.recv(1 << 16)
        if not part:
            return b"".join(parts)
        parts.append(part)


def read_line(s):
    line = b""
    while not line.endswith(b"\r\n"):
        byte = s.recv(1)
        if not byte:
            raise AssertionError("the connection ended inside a line: %r" % line)
        line += byte
    return line[:-2]


def receives_nothing(s, seconds):
    """True when neither bytes nor an end come in this time."""
    s.settimeout(seconds)
    try:
        s.recv(1)
        return False
    except socket.timeout:
        return True


def parse_list(answer):
    head = b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n"
    if not answer.startswith(head) or not answer.endswith(b"\r\n"):
        raise AssertionError("no list: %r" % answer[:300])
    body = answer[len(head):-2].decode("latin-1")
    if body.startswith("The Domain: "):
        raise AssertionError(body)
    visitors = []
    for line in body.split("\n")[:-1]:
        fields = line.split("\t")
        if len(fields) != 9 or fields[8] != "":
            raise AssertionError("a list line of another form: %r" % line)
        visitors.append(Visitor(fields[0], int(fields[1]), *fields[2:8]))
    return visitors


def append(path, data):
    with open(path, "ab") as f:
        f.write(data if isinstance(data, bytes) else data.encode("latin-1"))


def write_file(path, data):
    with open(path, "wb") as f:
        f.write(data if isinstance(data, bytes) else data.encode("latin-1"))
