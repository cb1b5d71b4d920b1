#!/usr/bin/python3
"""vantryctl against a made-up server, and against the real program."""
import fcntl
import os
import pty
import re
import select
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import termios
import threading
import time
import unittest

BIN = os.environ.get("VANTRY_BIN", os.path.join(os.path.dirname(__file__), "../../build/dev/bin"))
CTL = os.path.join(BIN, "vantryctl")
ESC = b"\x1b"
HEAD = b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n"
STATUS = b"rST" + ESC + b"".join(
    name + ESC + ESC.join([b"3", b"1", b"12", b"4", b"1/5/2026 10:00:01"]) + ESC + b"\n"
    for name in (b"Shop", b"News (Paused) "))
ROW = b"www.example.org\t%d\tpc%d.example\tindex.html\t10:00:00\t10:00:%02d\tIE6\thttp://a.example/\t\n"


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class FakeServer:
    """Answers lines by a table; None means silence, bytes that do not end in CR LF for a cut answer."""

    def __init__(self, port=0, **changes):
        self.answers = {b"@HELLO": b"Vantry 2.0.000 [Running]\r\n", b"@STATUS": STATUS + b"\r\n",
                        b"@PAUSE": b"Vantry 2.0.000\r\n", b"@CONTINUE": b"Vantry 2.0.000 [Running]\r\n",
                        b"@@STOP": b"XXX\r\n", b"GET": HEAD + ROW % (1, 1, 5) + ROW % (2, 2, 9) + b"\r\n"}
        self.answers.update({key.encode(): value for key, value in changes.get("answers", {}).items()})
        self.lines = []
        self.listener = socket.create_server(("127.0.0.1", port))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                connection = self.listener.accept()[0]
            except OSError:
                return
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        with connection, connection.makefile("rb") as stream:
            for line in stream:
                line = line.rstrip(b"\r\n")
                if not line:
                    continue
                self.lines.append(line)
                answer = self.answers.get(b"GET" if line.startswith(b"GET ") else line, b"")
                if answer is None:
                    time.sleep(30)
                    return
                try:
                    connection.sendall(answer)
                except OSError:
                    return
                if line.startswith((b"GET", b"@@")) or not answer.endswith(b"\r\n"):
                    return

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()


def ctl(*words, port=None, env=None, timeout=30):
    command = [CTL, *words] + (["--port", str(port)] if port else [])
    full_env = {k: v for k, v in os.environ.items() if k != "VANTRY_HOME"} | (env or {})
    return subprocess.run(command, capture_output=True, env=full_env, timeout=timeout, stdin=subprocess.DEVNULL)


class Commands(unittest.TestCase):
    def succeed(self, *words, **options):
        result = ctl(*words, **options)
        self.assertEqual((result.returncode, result.stderr), (0, b""), words)
        return result.stdout

    def refuse(self, *words, code=1, **options):
        result = ctl(*words, **options)
        self.assertEqual(result.returncode, code, words)
        self.assertNotIn(ESC, result.stderr)
        return result.stderr.decode()

    def test_state_commands(self):
        with FakeServer() as server:
            self.assertEqual(self.succeed("hello", port=server.port), b"Vantry 2.0.000 [Running]\n")
            self.assertEqual(self.succeed("pause", port=server.port), b"Vantry 2.0.000\n")
            self.assertEqual(self.succeed("continue", port=server.port), b"Vantry 2.0.000 [Running]\n")
            self.assertIn(b"ends", self.succeed("stop", port=server.port))
            self.assertEqual(server.lines, [b"@HELLO", b"@PAUSE", b"@CONTINUE", b"@@STOP"])

    def test_status(self):
        with FakeServer() as server:
            self.assertEqual(
                self.succeed("status", port=server.port).decode().splitlines(),
                ["Site  State    Visitors  Alerts  Spiders  Exceptions  Last read",
                 "Shop  running         3       1       12           4  1/5/2026 10:00:01",
                 "News  paused          3       1       12           4  1/5/2026 10:00:01"])
        with FakeServer(answers={"@STATUS": b"rST" + ESC + b"\r\n"}) as server:
            self.assertEqual(self.succeed("status", port=server.port), b"No sites are monitored.\n")

    def test_list(self):
        with FakeServer() as server:
            lines = self.succeed("list", port=server.port).decode().splitlines()
            self.assertEqual(lines[0].split("\t"), ["www.example.org", "1", "pc1.example", "index.html", "10:00:00",
                                                    "10:00:05", "IE6", "http://a.example/"])
            self.assertEqual(len(lines), 2)
            self.succeed("list", "my shop", port=server.port)
            self.assertIn("'_'", self.refuse("list", "my_shop", port=server.port))
            gets = [line for line in server.lines if line.startswith(b"GET")]
            self.assertEqual(gets, [b"GET /?LIST& HTTP/1.0", b"GET /?LIST&domain=my_shop HTTP/1.0"])
        with FakeServer(answers={"GET": HEAD + b"\r\n"}) as server:
            self.assertEqual(self.succeed("list", port=server.port), b"")

    def test_list_refusals(self):
        unknown = b"The Domain: x is not being monitored by Vantry."
        for answer, part in ((HEAD + unknown + b"\r\n", unknown.decode()),
                             (HEAD + b"<html><form action=x></form></html>\r\n", "login"),
                             (HEAD + ROW % (1, 1, 1) + b"www.exa", "cut off"),
                             (HEAD[:20], "cut off"), (b"x", "no web page")):
            with FakeServer(answers={"GET": answer}) as server:
                self.assertIn(part, self.refuse("list", port=server.port))

    def test_paused_program_leaves_the_list_unanswered(self):
        with FakeServer(answers={"GET": None}) as server:
            start = time.monotonic()
            self.assertIn("vantryctl continue", self.refuse("list", port=server.port))
            self.assertTrue(9 < time.monotonic() - start < 15)

    def test_nobody_there(self):
        port = free_port()
        for command in ("hello", "status", "pause", "continue", "stop", "list"):
            text = self.refuse(command, port=port)
            self.assertIn(f"127.0.0.1:{port}", text)
            self.assertIn("--port", text)

    def test_other_servers(self):
        for answer in (b"HTTP/1.0 400 Bad\x1b[2J Request\r\n", b"220 mail \x07ready\r\n", b"half a line"):
            with FakeServer(answers={"@HELLO": answer, "@STATUS": answer, "@@STOP": answer}) as server:
                for command in ("hello", "status", "stop"):
                    self.refuse(command, port=server.port)

    def test_hostile_texts_reach_no_terminal(self):
        evil = b"\x1b]0;owned\x07\x1b[31m\x9b2J\r"
        row = b"\t".join([evil.replace(b"\r", b"")] * 8) + b"\t\n"
        status = b"rST" + ESC + b"S" + evil[:-1] + ESC + ESC.join([b"1", b"1", b"1", b"1", evil[1:5]]) + ESC + b"\n\r\n"
        with FakeServer(answers={"GET": HEAD + row + b"\r\n", "@STATUS": status,
                                 "@HELLO": b"Vantry" + evil + b"\r\n"}) as server:
            for words in (("hello",), ("status",), ("list",), ("watch", "--once")):
                out = self.succeed(*words, port=server.port)
                self.assertTrue(out)
                self.assertFalse(set(out) & (set(range(32)) - {9, 10} | {127, 0x9B}), words)

    def test_usage(self):
        for words in ((), ("fly",), ("hello", "--fly"), ("hello", "--port", "x"), ("add-site", "x")):
            self.assertIn("Usage: vantryctl", self.refuse(*words, code=2))
        self.assertIn(b"add-site", self.succeed("--help"))
        for command in ("hello", "status", "pause", "continue", "stop", "list", "watch", "add-site"):
            self.assertTrue(self.succeed(command, "--help").startswith(b"Usage: vantryctl " + command.encode()))

    def test_port_comes_from_the_settings(self):
        with FakeServer() as server, tempfile.TemporaryDirectory() as home:
            with open(home + "/SETTINGS.INI", "w", newline="") as settings:
                settings.write(f"[Vantry Settings]\r\nWebAccessPort= {server.port}\r\n\r\n")
            self.succeed("hello", env={"VANTRY_HOME": home})


class Watch(unittest.TestCase):
    def start_on_terminal(self, port, rows=24, columns=80):
        leader, follower = pty.openpty()
        fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        process = subprocess.Popen([CTL, "watch", "--port", str(port)], stdin=follower, stdout=follower,
                                   stderr=follower)
        os.close(follower)
        self.addCleanup(os.close, leader)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process, leader

    def read_until(self, leader, pattern, seconds=15):
        seen = b""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if select.select([leader], [], [], 0.1)[0]:
                try:
                    seen += os.read(leader, 65536)
                except OSError:
                    break
            if re.search(pattern, seen, re.S):
                return seen
        self.fail(f"{pattern} did not come; this did: {seen}")

    def test_draws_until_a_signal_and_restores_the_cursor(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with FakeServer() as server:
                process, leader = self.start_on_terminal(server.port)
                seen = self.read_until(leader, b"10:00:09.*10:00:05.*10:00:09")
                self.assertTrue(seen.startswith(b"\x1b[?25l\x1b[2J"))
                process.send_signal(number)
                self.read_until(leader, b"\x1b\\[\\?25h")
                self.assertEqual(process.wait(5), 0)

    def test_no_line_is_wider_than_the_window(self):
        rows = b"".join(ROW % (n, n, n) for n in range(50))
        with FakeServer(answers={"GET": HEAD + rows + b"\r\n"}) as server:
            _, leader = self.start_on_terminal(server.port, 16, 40)
            frame = self.read_until(leader, b"more").split(b"\x1b[H")[1]
            lines = [re.sub(r"\x1b\[[0-9]*[A-Z]", "", line) for line in frame.decode().replace("\r", "").split("\n")]
            self.assertEqual(len(lines), 16)
            self.assertLessEqual(max(map(len, lines)), 40)

    def test_waits_for_a_server_and_finds_it_again(self):
        port = free_port()
        process, leader = self.start_on_terminal(port)
        self.read_until(leader, b"waiting for 127.0.0.1:%d" % port)
        with FakeServer(port):
            self.read_until(leader, b"10:00:05")
        self.read_until(leader, b"waiting for")
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(5), 0)

    def test_a_signal_ends_waiting_for_a_silent_server(self):
        with FakeServer(answers={"@HELLO": None}) as server:
            process, _ = self.start_on_terminal(server.port)
            while not server.lines:
                time.sleep(0.05)
            process.send_signal(signal.SIGTERM)
            self.assertEqual(process.wait(5), 0)

    def test_without_a_terminal(self):
        with FakeServer() as server:
            once = ctl("watch", "--once", port=server.port)
            self.assertEqual(once.returncode, 0)
            self.assertNotIn(ESC, once.stdout)
            self.assertIn(b"pc2.example", once.stdout)
            process = subprocess.Popen([CTL, "watch", "--port", str(server.port)], stdout=subprocess.PIPE)
            time.sleep(3)
            process.send_signal(signal.SIGINT)
            out = process.communicate(timeout=5)[0]
            self.assertEqual(process.returncode, 0)
            self.assertNotIn(ESC, out)
            self.assertEqual(out.count(b"Vantry 2.0.000"), 2)
        self.assertEqual(ctl("watch", "--once", port=free_port()).returncode, 1)

    def test_paused_program_is_shown_without_waiting_for_its_list(self):
        with FakeServer(answers={"GET": None, "@HELLO": b"Vantry 2.0.000 [Paused]\r\n"}) as server:
            start = time.monotonic()
            self.assertIn(b"[Paused]", ctl("watch", "--once", port=server.port).stdout)
            self.assertLess(time.monotonic() - start, 5)


def log_line(ip, page):
    stamp = time.strftime("%d/%b/%Y:%H:%M:%S +0000", time.localtime())
    return f'{ip} - - [{stamp}] "GET {page} HTTP/1.1" 200 100 "-" "Mozilla/4.0"\n'


class AddSite(unittest.TestCase):
    def setUp(self):
        self.home = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.home)
        self.log = self.home + "/access.log"
        with open(self.log, "w") as log:
            log.write(log_line("192.0.2.1", "/index.html"))

    def add(self, path, *more, name="Shop", domain="www.example.org"):
        return ctl("add-site", self.home + "/new/home", "--name", name, "--domain", domain, path, *more)

    def test_adds(self):
        result = self.add(self.log)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn(b"Recognised NCSA Common/Combined, LF line ends", result.stdout)
        with open(self.home + "/new/home/VANTRY.INI", newline="") as ini:
            text = ini.read()
        for part in ("[Shop]\r\n", "Type=2\r\n", "Unix=True\r\n", f"Folder={self.home}/\r\n", "Mask=access.log\r\n",
                     "SelectMethod=2\r\n", "Domain=www.example.org\r\n"):
            self.assertIn(part, text)
        again = self.add(self.log, name="Other")
        self.assertEqual(again.returncode, 1)
        self.assertIn(b"www.example.org", again.stderr)

    def test_refuses(self):
        with open(self.home + "/letter.txt", "wb") as file:
            file.write(b"Dear \x1b[31mreader\n")
        letter = self.add(self.home + "/letter.txt")
        self.assertEqual(letter.returncode, 1)
        self.assertIn(b"letter.txt", letter.stderr)
        self.assertIn(b"Dear ?[31mreader", letter.stderr)
        open(self.home + "/empty.log", "w").close()
        self.assertIn(b"--type", self.add(self.home + "/empty.log").stderr)
        self.assertEqual(self.add(self.home + "/none.log").returncode, 1)
        self.assertFalse(os.path.exists(self.home + "/new"))
        self.assertEqual(self.add(self.home + "/empty.log", "--type", "0").returncode, 0)

    def test_refuses_while_a_program_holds_the_folder(self):
        os.makedirs(self.home + "/new/home")
        with open(self.home + "/new/home/vantry.lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            held = self.add(self.log)
            self.assertEqual(held.returncode, 1)
            self.assertIn(b"vantryctl stop", held.stderr)
        self.assertEqual(self.add(self.log).returncode, 0)


class RealProgram(unittest.TestCase):
    def wait_for(self, what, condition, seconds=30):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            result = condition()
            if result:
                return result
            time.sleep(0.2)
        self.fail(f"waited {seconds} s for {what}")

    def test_from_first_site_to_stop(self):
        home = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, home)
        port = free_port()
        log, env = home + "/access.log", {"VANTRY_HOME": home}
        with open(log, "w") as file:
            file.write(log_line("192.0.2.1", "/index.html"))
        with open(home + "/registry.ini", "w", newline="") as file:
            file.write("[Security]\r\nBindAddress=127.0.0.1\r\n")
        with open(home + "/SETTINGS.INI", "w", newline="") as file:
            file.write(f"[Vantry Settings]\r\nReverseDNS=False\r\nWebAccessPort= {port}\r\n\r\n")
        added = ctl("add-site", home, "--name", "Shop", "--domain", "www.example.org", log)
        self.assertEqual(added.returncode, 0, added.stderr)

        process = subprocess.Popen([BIN + "/vantry"], env=os.environ | env, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.wait_for("an answer", lambda: ctl("hello", env=env).returncode == 0)
        self.assertIn(b"[Running]", ctl("hello", env=env).stdout)
        self.assertEqual(ctl("add-site", home, "--name", "N", "--domain", "d", log).returncode, 1)

        def append():
            with open(log, "a") as file:
                file.write(log_line("192.0.2.2", "/products.html"))
            return b"192.0.2.2" in ctl("list", "www.example.org", env=env).stdout

        self.wait_for("a visitor in the list", append)
        self.assertRegex(ctl("status", env=env).stdout, rb"\nShop +running +[1-9]")
        self.assertIn(b"not being monitored", ctl("list", "other.example", env=env).stderr)

        self.assertEqual(ctl("pause", env=env).returncode, 0)
        self.assertIn(b"[Paused]", ctl("hello", env=env).stdout)
        self.assertEqual(ctl("status", env=env).returncode, 0)
        self.assertIn(b"[Paused]", ctl("watch", "--once", env=env).stdout)
        self.assertIn(b"[Running]", ctl("continue", env=env).stdout)
        self.assertEqual(ctl("list", env=env).returncode, 0)

        self.assertEqual(ctl("stop", env=env).returncode, 0)
        self.assertEqual(process.wait(20), 0)
        self.assertEqual(ctl("hello", env=env).returncode, 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
