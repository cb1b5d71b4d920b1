#!/usr/bin/python3
"""The program as a service, under a service manager that is a script; installing it as one; the signals."""

import fcntl
import os
import re
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest

from harness import (SystemTest, append, ncsa_line, receives_nothing, skip_at_midnight, vantry_binary, wait_until,
                     write_file)
from mail_case import MailCase

CTL = os.path.join(os.path.dirname(vantry_binary()), "vantryctl")
SHOW, HIDE = signal.SIGRTMIN, signal.SIGRTMIN + 1
UNIT = "etc/systemd/system/vantry.service"
LINK = "etc/systemd/system/multi-user.target.wants/vantry.service"
DONE = ("Service Installed Successfully. Close Vantry and use the Services Applet to start the service, or restart "
        "your computer.")


class Manager:
    """Takes the notes of a service, each with the time at which it came."""

    def __init__(self, test):
        self.folder = tempfile.mkdtemp(prefix="vantry_notes_")
        test.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.path = os.path.join(self.folder, "notify")
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(self.path)
        self.notes = []
        threading.Thread(target=self._listen, daemon=True).start()
        test.addCleanup(self._end)

    def _listen(self):
        while True:
            try:
                note = self.socket.recv(4096).decode()
            except OSError:
                return
            if note == "end":
                return self.socket.close()
            self.notes.append((time.monotonic(), note))

    def _end(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as s:
            s.sendto(b"end", self.path)

    def texts(self):
        return [note for _, note in self.notes if note != "WATCHDOG=1"]

    def alive(self):
        return [when for when, note in self.notes if note == "WATCHDOG=1"]

    def wait_for(self, start):
        return wait_until(lambda: [n for n in self.texts() if n.startswith(start)], what=lambda: self.notes)[-1]

    def environment(self, **more):
        return {"NOTIFY_SOCKET": self.path, **more}


class Journal:
    """The other end of a service's stderr, which can be made to take nothing."""

    def __init__(self, test):
        self.out, self.into = os.pipe()
        fcntl.fcntl(self.into, fcntl.F_SETPIPE_SZ, 4096)
        self.text = b""
        test.addCleanup(os.close, self.out)
        test.addCleanup(os.close, self.into)

    def be_stderr(self):
        os.dup2(self.into, 2)

    def hang(self):
        self.take()
        # An opening of its own: the program's stays one that waits.
        into = os.open("/proc/self/fd/%d" % self.into, os.O_WRONLY | os.O_NONBLOCK)
        try:
            while True:
                os.write(into, b".")
        except BlockingIOError:
            os.close(into)

    def take(self):
        """All that came up to now. A pipe's length of room is enough for the rest of a test."""
        while select.select([self.out], [], [], 0)[0]:
            self.text += os.read(self.out, 1 << 20)
        return self.text


def program_log(home):
    try:
        with open(home.file("Data/TRL.LOG"), encoding="latin-1") as f:
            return [line.rstrip("\r\n") for line in f]
    except FileNotFoundError:
        return []


def stamped(home, text):
    return [line for line in program_log(home) if line.endswith("M " + text)]


def running_mark(home):
    with open(home.file("registry.ini"), encoding="latin-1") as f:
        found = re.search(r"^ServiceRunning=(\w+)", f.read(), re.M)
        return found and found.group(1)


class ServiceTest(SystemTest):
    def setUp(self):
        skip_at_midnight()
        self.manager = Manager(self)

    def site(self, lines=1):
        home = self.home()
        home.write_site()
        append(home.log("access.log"), "".join(
            ncsa_line("10.%d.%d.%d" % (1 + n // 60000, n // 250 % 240, 1 + n % 250), "/a%d.html" % (n % 7))
            for n in range(lines)))
        return home

    def service(self, home, preexec=None, **variables):
        return self.start(home, env=self.manager.environment(**variables), preexec=preexec)

    def test_tells_its_manager_when_it_is_up_how_it_is_and_that_it_ends(self):
        home = self.site()
        vantry = self.service(home)
        self.manager.wait_for("READY=1")
        self.assertEqual(running_mark(home), "True")
        self.assertRegex(vantry.control("HELLO"), r"^Vantry 2\.\d\.\d{3} \(Service Mode\) \[Running\]$")
        vantry.wait_visitor("10.1.0.1")
        self.assertRegex(self.manager.wait_for("STATUS=1 site, 1 visitor, last scan "), r"\d\d:\d\d:\d\d$")
        vantry.stop()
        self.assertEqual(self.manager.wait_for("STOPPING=1"), "STOPPING=1")
        self.assertEqual(self.manager.texts()[0], "READY=1")
        self.assertEqual(running_mark(home), "False")
        self.assertEqual(len(stamped(home, "Vantry Service Was Started")), 1)
        self.assertEqual(len(stamped(home, "Vantry Service Was Stopped")), 1)
        self.assertEqual(re.findall(r"<6>vantry: Vantry Service Was \w+", vantry.stderr()),
                         ["<6>vantry: Vantry Service Was Started", "<6>vantry: Vantry Service Was Stopped"])
        # Nothing was asked of anybody at the first scan.
        self.assertNotIn("for the first time", vantry.stderr())

    def test_signs_of_life_come_twice_within_the_limit_and_also_in_a_pause(self):
        vantry = self.service(self.site(), WATCHDOG_USEC="1000000")
        wait_until(lambda: len(self.manager.alive()) >= 6)
        times = self.manager.alive()
        self.assertLess(max(b - a for a, b in zip(times, times[1:])), 1.0)
        vantry.send_signal(signal.SIGUSR1)
        self.manager.wait_for("STATUS=paused")
        before = len(self.manager.alive())
        wait_until(lambda: len(self.manager.alive()) >= before + 3)

    def test_no_signs_of_life_are_sent_to_a_manager_that_does_not_watch_or_watches_another(self):
        self.service(self.site())
        other = Manager(self)
        self.start(self.site(), env=other.environment(WATCHDOG_USEC="400000", WATCHDOG_PID="1"))
        time.sleep(1.5)
        self.assertEqual(self.manager.alive() + other.alive(), [])

    def test_signs_of_life_go_on_in_a_long_scan(self):
        home = self.site(lines=40_000)
        vantry = self.service(home, WATCHDOG_USEC="600000")
        wait_until(lambda: vantry.has_open(home.log("access.log")), step=0.01)
        begin = time.monotonic()
        wait_until(lambda: not vantry.has_open(home.log("access.log")), 60)
        times = [t for t in self.manager.alive() if t > begin]
        if time.monotonic() - begin < 0.7:
            self.skipTest("this machine reads the log before a sign is due")
        self.assertTrue(times, "no sign in %.1f s" % (time.monotonic() - begin))

    def test_a_loop_that_is_stuck_in_a_scan_sends_no_signs_of_life(self):
        """Stuck in telling of a hit on a stderr that takes nothing, as behind a journal that hangs; only the loop is,
        so that signs from a thread or a timer of the system would go on."""
        home = self.site()
        home.write("EXTYPES.INI", "\r\n".join(
            ["[Exception Types]", "[404]", "Number=404", "Description=gone", "Raise=True", "EventLog=True", "", "",
             ""]))
        journal = Journal(self)
        vantry = self.service(home, journal.be_stderr, WATCHDOG_USEC="400000")
        vantry.wait_visitor("10.1.0.1")
        journal.hang()
        append(home.log("access.log"), ncsa_line("10.1.0.2", "/gone.html", status=404))
        wait_until(lambda: self.answers_nothing(vantry))
        before = len(self.manager.alive())
        time.sleep(2)
        self.assertLessEqual(len(self.manager.alive()), before)
        journal.take()
        vantry.wait_visitor("10.1.0.2")
        wait_until(lambda: len(self.manager.alive()) > before + 2)
        wait_until(lambda: b"gone" in journal.take())

    @staticmethod
    def answers_nothing(vantry):
        with vantry.connect() as s:
            s.sendall(b"@HELLO\r\n")
            return receives_nothing(s, 0.5)

    def test_pause_continue_and_stop_by_signals_in_the_middle_of_a_scan(self):
        home = self.site(lines=40_000)
        vantry = self.service(home)
        wait_until(lambda: vantry.has_open(home.log("access.log")), step=0.01)
        vantry.send_signal(signal.SIGUSR1)
        wait_until(lambda: vantry.control("HELLO").endswith("[Service Mode] [Paused] [Paused]"), what=vantry.stderr)
        for number in (SHOW, HIDE, signal.SIGUSR2):
            vantry.send_signal(number)
        wait_until(lambda: vantry.control("HELLO").endswith("[Service Mode] [Running]"))
        in_scan = vantry.has_open(home.log("access.log"))
        self.assertLess(vantry.stop(), 10)
        self.assertEqual(len(stamped(home, "Service Paused")), 1)
        self.assertEqual(len(stamped(home, "Service Resumed")), 1)
        position = int(home.site_values("One")["LastReadPos"])
        size = os.path.getsize(home.log("access.log"))
        self.assertTrue(0 < position <= size, (position, size))
        # The next start takes up there, and has everybody in the end.
        again = self.service(home)
        wait_until(lambda: not again.has_open(home.log("access.log")) and len(again.list()) == 40_000, 60,
                   lambda: (in_scan, len(again.list())))

    def test_the_signals_act_outside_of_service_mode_too(self):
        vantry = self.start(self.site())
        self.assertNotIn("Service", vantry.control("HELLO"))
        vantry.send_signal(signal.SIGUSR1)
        wait_until(lambda: vantry.control("HELLO").endswith(" [Paused] [Paused]"))
        vantry.send_signal(SHOW)
        vantry.send_signal(HIDE)
        vantry.send_signal(signal.SIGUSR2)
        wait_until(lambda: vantry.control("HELLO").endswith(" [Running]"))
        vantry.stop()
        self.assertEqual(stamped(vantry.home, "Vantry Service Was Stopped"), [])

    def test_the_control_line_ends_a_service_without_the_managers_line(self):
        vantry = self.service(self.site())
        self.assertEqual(vantry.control("@STOP"), "XXX")
        vantry.wait_end()
        vantry.check_end()
        self.manager.wait_for("STOPPING=1")
        self.assertEqual(stamped(vantry.home, "Vantry Service Was Stopped"), [])
        self.assertEqual(running_mark(vantry.home), "False")

    def test_a_crash_leaves_the_mark_and_only_a_start_with_words_is_refused(self):
        home = self.site()
        vantry = self.service(home)
        self.manager.wait_for("READY=1")
        vantry.process.kill()
        vantry.wait_end()
        vantry.ended = True
        self.assertEqual(running_mark(home), "True")
        words = subprocess.run([vantry_binary(), "now"], env={**os.environ, "VANTRY_HOME": home.path, "LC_ALL": "C"},
                               stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=30)
        self.assertIn("Vantry is currently running as a service.  Stop the service before running Vantry as an "
                      "application.", words.stderr)
        self.assertEqual(words.returncode, 0)
        self.service(home).stop()
        self.assertEqual(running_mark(home), "False")

    def test_a_log_that_is_missing_is_an_event_with_the_journals_priority(self):
        home = self.home()
        home.keep_classic("WaitForLog")
        home.write_site()
        vantry = self.service(home)
        wait_until(lambda: vantry.status()[0].paused)
        text = "No log file was found in the folder:%s Using mask:access.log" % (home.logs + "/")
        self.assertIn("<3>vantry: " + text, vantry.stderr())
        self.assertEqual(len(stamped(home, text)), 1)
        self.manager.wait_for("STATUS=1 site (1 paused)")

    def test_a_socket_that_takes_no_notes_is_told_once_and_nothing_else_happens(self):
        vantry = self.start(self.site(), env={"NOTIFY_SOCKET": "/dev/null"})
        vantry.wait_visitor("10.1.0.1")
        self.assertEqual(vantry.stderr().count("NOTIFY_SOCKET"), 1)
        vantry.stop()


class SignalsInAMail(MailCase):
    def test_pause_continue_show_hide_and_stop_while_a_mail_server_is_silent(self):
        server = self.scripted(lambda line: "")
        manager = Manager(self)
        home = self.home()
        home.write_site()
        home.write_settings(EmailServer=server.place, EmailFrom="m@example.test", EmailSubject="x")
        home.write("EXTYPES.INI", "\r\n".join(
            ["[Exception Types]", "[404]", "Number=404", "Description=gone", "Raise=True", "Email=True",
             "EmailAddress=a@example.test", "", "", ""]))
        self.not_found(home, "/gone.html")
        vantry = self.start(home, env=manager.environment(WATCHDOG_USEC="1000000"))
        vantry.errors_expected = True
        wait_until(lambda: server.connections == 1)
        vantry.send_signal(signal.SIGUSR1)
        manager.wait_for("STATUS=paused")
        for number in (SHOW, HIDE, signal.SIGUSR2):
            vantry.send_signal(number)
        wait_until(lambda: vantry.control("HELLO").endswith("[Service Mode] [Running]"))
        self.assertEqual(server.connections, 1)
        before = len(manager.alive())
        wait_until(lambda: len(manager.alive()) > before + 2)
        vantry.send_signal(signal.SIGTERM)
        manager.wait_for("STOPPING=1")
        self.assertTrue(vantry.running(), "the mail is waited for")
        server.clean_up()
        vantry.wait_end()
        vantry.check_end()
        self.assertEqual(len(stamped(home, "Vantry Service Was Stopped")), 1)
        self.assertTrue(any("SMTP: " in line for line in program_log(home)))


class InstallTest(unittest.TestCase):
    def setUp(self):
        self.base = tempfile.mkdtemp(prefix="vantry_install_")
        self.addCleanup(shutil.rmtree, self.base, ignore_errors=True)
        self.root = os.path.join(self.base, "root")
        self.home = os.path.join(self.base, "the home 100% $HOME")
        os.makedirs(self.home)

    def run_ctl(self, *words, **how):
        return subprocess.run([CTL, *words], capture_output=True, text=True, timeout=30, **how)

    def install(self, *words, code=0):
        done = self.run_ctl("install-service", self.home, "--root", self.root, *words)
        self.assertEqual(done.returncode, code, done.stdout + done.stderr)
        return done

    def unit(self):
        with open(os.path.join(self.root, UNIT), encoding="utf-8") as f:
            return f.read().split("\n")

    def test_installs_on_demand_and_with_the_machine_and_removes(self):
        done = self.install()
        self.assertTrue(done.stdout.startswith(DONE + "\n"), done.stdout)
        self.assertIn("Type=notify", self.unit())
        self.assertFalse(os.path.lexists(os.path.join(self.root, LINK)))
        self.install("--auto")
        self.assertEqual(os.readlink(os.path.join(self.root, LINK)), "/" + UNIT)
        # What is installed is uninstalled first: the link of before is gone.
        self.install()
        self.assertFalse(os.path.lexists(os.path.join(self.root, LINK)))
        self.install("--auto")
        done = self.run_ctl("remove-service", "--root", self.root)
        self.assertEqual((done.returncode, done.stdout), (0, "The Service has been removed.\n"))
        self.assertFalse(os.path.lexists(os.path.join(self.root, LINK)))
        self.assertFalse(os.path.exists(os.path.join(self.root, UNIT)))
        done = self.run_ctl("remove-service", "--root", self.root)
        self.assertEqual(done.returncode, 0)
        self.assertIn("There is no ", done.stdout)

    def test_accounts(self):
        owner = [] if os.geteuid() == 0 else ["User=" + os.environ.get("USER", "")]
        for account, wanted in (("administrator", ["User=administrator"]), ("OFFICE\\web", ["User=OFFICE\\web"]),
                                ("\\web", ["User=web"]), ("SyStem", owner), (" ", owner)):
            with self.subTest(account=account):
                self.install("--account", account)
                self.assertEqual([line for line in self.unit() if line.startswith("User=")], wanted)
        self.install("--account", "web", "--system-account")
        self.assertEqual([line for line in self.unit() if line.startswith("User=")], owner)

    def test_a_running_service_is_not_replaced(self):
        write_file(os.path.join(self.home, "registry.ini"), "[Settings]\nServiceRunning=True\n")
        lock = os.path.join(self.home, "vantry.lock")
        holder = subprocess.Popen(["flock", lock, "sh", "-c", "echo held; read end"], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE)
        try:
            holder.stdout.readline()
            done = self.install(code=1)
            self.assertEqual(done.stderr, "vantryctl: The Service is currently running. Please stop the Service before "
                                          "selecting this option.\n")
            self.assertFalse(os.path.exists(self.root))
        finally:
            holder.communicate(b"\n")
        # A crash leaves the mark, and nobody who holds the folder.
        self.install()

    def test_a_unit_that_cant_be_written_is_named_with_what_to_do(self):
        write_file(self.root, "a file, not a folder")
        done = self.install(code=1)
        self.assertRegex(done.stderr, r"^vantryctl: Error installing service\. .*%s.*: " % re.escape(self.root))
        self.assertEqual(done.stderr.count("\n"), 1)

    def test_wrong_use(self):
        self.assertEqual(self.run_ctl("install-service", os.path.join(self.base, "none")).returncode, 1)
        env = {k: v for k, v in os.environ.items() if k != "VANTRY_HOME"}
        self.assertEqual(self.run_ctl("install-service", env=env).returncode, 1)
        self.assertEqual(self.run_ctl("remove-service", "x").returncode, 2)
        self.assertEqual(self.run_ctl("hello", "--root", "/").returncode, 2)

    def analyze(self, *words):
        if not shutil.which("systemd-analyze"):
            self.skipTest("systemd-analyze (package systemd) is missing")
        return subprocess.run(["systemd-analyze", *words], capture_output=True, text=True, timeout=60,
                              env={**os.environ, "SYSTEMD_COLORS": "0"})

    def test_the_unit_is_sound_whatever_the_folder_is_called(self):
        self.install()
        # It ends with 0 even when it finds keys that it does not know.
        done = self.analyze("verify", "--man=no", os.path.join(self.root, UNIT))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn('Environment="VANTRY_HOME=%s/"' % self.home.replace("%", "%%"), self.unit())

    def test_the_unit_allows_little(self):
        self.install("--account", "vantry")
        done = self.analyze("security", "--offline=true", "--threshold=15", os.path.join(self.root, UNIT))
        self.assertEqual(done.returncode, 0, done.stdout[-400:] + done.stderr)
        exposure = float(re.search(r"exposure level for vantry\.service: ([\d.]+)", done.stdout).group(1))
        self.assertLessEqual(exposure, 1.5)


if __name__ == "__main__":
    unittest.main()
