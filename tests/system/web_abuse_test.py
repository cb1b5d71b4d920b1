"""The port under abuse: whatever its clients do, a good one gets its page soon and the log is read on."""

import os
import random
import shutil
import socket
import tempfile
import threading
import time
import unittest

from harness import (SystemTest, append, ncsa_line, read_all, read_line, skip_at_midnight, uses_address_sanitizer,
                     wait_until, write_file)

MB = 1 << 20
DOMAIN = "www.example.test"
BIG = "big.example.test"  # A site whose page is longer than what the system takes off the program's hands at once.
VISITORS = 250
HELLO = b"Vantry 2.0.000 [Running]"
HEAD = b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n"
# Seconds until a good client has its page. Sanitizers slow the program down by two to four times.
PROMPT = 4.0 if uses_address_sanitizer() else 1.0
TICK_GAP = 6.0    # Seconds: three ticks, and the log's own times are whole seconds.
SETTINGS = {"WebAccessControl": "True", "WebUsername": "operator", "WebPassword": "open sesame"}


def get(query, more=b""):
    if isinstance(query, str):
        query = query.encode()
    return b"GET /" + query + b" HTTP/1.0\r\nAccept: */*\r\n" + more + b"\r\n"


SITES = get("?SITES")


class Growth(threading.Thread):
    """A log that grows by a hit each half second."""

    def __init__(self, path):
        super().__init__(daemon=True)
        self.path, self.ended = path, threading.Event()

    def run(self):
        n = 0
        while not self.ended.wait(0.5):
            n += 1
            append(self.path, ncsa_line("192.0.2.%d" % (n % 20 + 1), "/steady-%d.html" % n))

    def clean_up(self):
        self.ended.set()
        self.join(20)


class Watch:
    """Meanwhile a good client asks for its page, and the time up to which the log was read is looked at."""

    def __init__(self, test, limit):
        self.test, self.vantry, self.limit = test, test.vantry, limit
        self.ended = threading.Event()
        self.waits, self.stamps, self.error = [], [], None
        self.threads = [threading.Thread(target=self.keep, args=how, daemon=True)
                        for how in ((self.ask, 0.1), (self.look, 0.3))]

    def __enter__(self):
        # Opened first, so that it has a place whoever comes later, and heard before anybody comes: until its first line
        # is answered nobody can tell it from those who come to be silent.
        self.line = self.vantry.connect()
        self.look()
        for thread in self.threads:
            thread.start()
        return self

    def keep(self, step, pause):
        try:
            while not self.ended.wait(pause):
                step()
        except (OSError, AssertionError) as problem:
            self.error = self.error or problem

    def looking(self):
        """Abuse goes on while this holds: until the good client has been there often enough."""
        return len(self.waits) < 12 and not self.error

    def ask(self):
        begin = time.monotonic()
        answer = self.vantry.ask(SITES, source="127.0.0.9", timeout=self.limit + 20)
        self.waits.append(time.monotonic() - begin)
        if not answer.startswith(HEAD) or self.test.good_page not in answer or b"</HTML>" not in answer:
            raise AssertionError("no good page: %r" % answer[:400])

    def look(self):
        self.line.sendall(b"@STATUS\r\n")
        stamp = read_line(self.line).split(b"\n")[0].split(b"\x1b")[-2]  # Of the site whose log grows.
        if not self.stamps or self.stamps[-1][1] != stamp:
            self.stamps.append((time.monotonic(), stamp))

    def __exit__(self, kind, *_):
        self.ended.set()
        for thread in self.threads:
            thread.join(60)
        self.line.close()
        if kind:
            return
        self.test.assertIsNone(self.error)
        self.test.assertTrue(self.waits)
        self.test.assertLess(max(self.waits), self.limit, self.waits)
        times = [at for at, _ in self.stamps] + [time.monotonic()]
        gaps = [b - a for a, b in zip(times, times[1:])]
        self.test.assertLess(max(gaps), TICK_GAP, self.stamps)
        print("%s: %d good pages, the slowest after %.0f ms; the log's time stood for %.1f s at most" % (
            self.test.case, len(self.waits), max(self.waits) * 1000, max(gaps)))


class AbuseCase(SystemTest):
    """One program for all cases of a class, and a log that grows."""
    settings = {}
    good_page = b"Sites Being Monitored On This Server"

    def setUp(self):
        skip_at_midnight()
        # In memory: these tests are not about how long a busy disk takes to make the history durable.
        memory = tempfile.mkdtemp(prefix="vantry_abuse_", dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None)
        self.addCleanup(shutil.rmtree, memory, ignore_errors=True)
        folder = self.home(memory)
        folder.keep_classic("ControlAlone", "LoginCookie", "DecodeForms")
        folder.write_settings(**self.settings)
        folder.write_sites(folder.section("One", folder.logs, Domain=DOMAIN),
                           folder.section("Big", folder.logs, Mask="big.log", Domain=BIG))
        self.log = folder.log("access.log")
        at = time.time()
        write_file(self.log, "".join(
            ncsa_line("10.0.%d.%d" % (i >> 8, i & 255), "/%s/page-%06d.html" % ("x" * 40, i), at,
                      referrer="http://from%d.example/%s" % (i, "y" * 60))
            for i in range(1, VISITORS + 1)))
        write_file(folder.log("big.log"), "".join(
            ncsa_line("10.1.%d.%d" % (i >> 8, i & 255), "/page-%06d.html" % i, at,
                      referrer="http://from%d.example/%s" % (i, "z" * 7000))
            for i in range(1, VISITORS + 1)))
        self.vantry = self.start(folder)
        wait_until(lambda: min(site.current for site in self.vantry.status()) >= VISITORS,
                   what=lambda: (self.vantry.status(), self.vantry.stderr()))
        growth = Growth(self.log)
        growth.start()
        self.addCleanup(growth.clean_up)
        self.number = 0

    def watch(self, case, limit=PROMPT):
        self.case = case
        return Watch(self, limit)

    def counted(self):
        """A new visitor is counted: the log is read."""
        self.number += 1
        before = self.vantry.site_status("One").current
        append(self.log, ncsa_line("198.51.100.%d" % self.number, "/after-%d.html" % self.number))
        wait_until(lambda: self.vantry.site_status("One").current > before, TICK_GAP)

    def page(self, answer, end=b"</HTML>\r\n\r\n"):
        self.assertTrue(answer.startswith(HEAD) and answer.endswith(end), (answer[:300], answer[-200:]))
        return answer

    def crowd(self, count, **options):
        sockets = []
        self.addCleanup(lambda: [s.close() for s in sockets])
        for _ in range(count):
            s = socket.socket()
            s.settimeout(30)
            if options.get("small"):
                s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            s.connect(("127.0.0.1", self.vantry.port))
            sockets.append(s)
        return sockets


class WebAbuseTest(AbuseCase):
    def test_abuse(self):
        for case in (self.one_byte_at_a_time, self.long_lines, self.never_reading, self.random_bytes,
                     self.half_closed, self.control_lines_inside, self.odd_queries, self.silent):
            with self.subTest(case.__name__):
                case()
                self.counted()
                self.assertTrue(self.vantry.running())
                self.assertEqual(self.vantry.sanitizer_report(), "")

    def one_byte_at_a_time(self):
        request = get("?SITETABLE&site=" + DOMAIN, b"Accept-Language: en\r\n")
        with self.watch("one byte at a time"):
            callers = self.crowd(20)
            for i in range(len(request)):
                for s in callers:
                    s.sendall(request[i:i + 1])
                time.sleep(0.02)
            for s in callers:
                self.assertIn(b"page-000001.html", self.page(read_all(s)))

    def long_lines(self):
        with self.watch("lines of 1 MB") as watch:
            while watch.looking():
                self.page(self.vantry.ask(get(b"?SITES&" + b"A" * MB)))
                self.page(self.vantry.ask(get("?SITES", b"X-Long: " + b"B" * MB + b"\r\n")))
                self.page(self.vantry.ask(b"C" * MB + b"\r\n" + SITES))
            callers = self.crowd(10)
            for _ in range(5):
                for s in callers:
                    s.sendall(b"D" * MB)  # No end in sight.
            for s in callers:
                s.close()

    def never_reading(self):
        with self.watch("100 that never read"):
            callers = self.crowd(100, small=True)
            for s in callers:
                s.sendall(get("?SITETABLE&site=" + BIG))
            time.sleep(4)
            # Connections whose page was taken off its hands would be gone by now.
            self.assertGreater(len(os.listdir("/proc/%d/fd" % self.vantry.pid())), 100)
            self.assertEqual(self.page(read_all(callers[0])).count(b"z" * 7000), 2 * VISITORS)
            for s in callers:
                s.close()

    def random_bytes(self):
        rng = random.Random(20260305)
        words = [b"GET ", b"POST ", b"/?", b"SITES", b"VISITOR&domain=", b"LIST&", b" HTTP/1.0", b"\r\n", b"\r\n\r\n",
                 b"\r", b"\n", b"@", b"@HELLO\r\n", b"@STATUS\r\n", b"Content-Length: 99999999999\r\n",
                 b"Content-Length: -1\r\n", b"Accept: wap.wml\r\n", b"UserName=", b"Password=", b"&", b"%00", b"\0"]
        with self.watch("random bytes") as watch:
            while watch.looking():
                data = b"".join(rng.choice(words) if rng.random() < 0.5 else rng.randbytes(rng.randint(0, 60))
                                for _ in range(rng.randint(1, 120)))
                with self.vantry.connect(timeout=5) as s:
                    try:
                        for start in range(0, len(data), 700):
                            s.sendall(data[start:start + 700])
                    except OSError:
                        pass  # Its answer was complete before its request.

    def half_closed(self):
        with self.watch("half-closed connections") as watch:
            while watch.looking():
                callers = self.crowd(40)
                for i, s in enumerate(callers):
                    s.sendall((b"", b"GET /?SI", b"GET /?SITES HTTP/1.0\r\n", SITES)[i % 4])
                    s.shutdown(socket.SHUT_WR)
                for i, s in enumerate(callers):
                    answer = read_all(s)
                    if i % 4 == 3:
                        self.page(answer)
                    else:
                        self.assertEqual(answer, b"", i)
                    s.close()

    def control_lines_inside(self):
        with self.watch("control lines inside") as watch:
            while watch.looking():
                answer = self.vantry.ask(b"@HELLO\r\nGET /?SITES HTTP/1.0\r\n@HELLO\r\nAccept: */*\r\n@HELLO\r\n\r\n")
                hello = (HELLO + b"\r\n") * 3
                self.assertTrue(answer.startswith(hello), answer[:200])
                self.assertIn(self.good_page, self.page(answer[len(hello):]))
            # Inside a line it is part of the line.
            self.assertNotIn(HELLO, self.page(self.vantry.ask(get("?SITES&@HELLO", b"X: @HELLO\r\n"))))

    def odd_queries(self):
        commands = ("SITE", "TABLE", "SITETABLE", "VISITOR", "PREVIOUS", "ALERTS", "ALERTSTABLE", "SPIDERS", "EXCEPT",
                    "REFER", "SITES", "NONE", "LIST", "")
        arguments = [
            b"", b"&", b"=", b"&site=", b"&domain=", b"&site=unknown.example", b"&domain=unknown.example:10.0.0.1!1",
            b"&domain=" + DOMAIN.encode(), b"&domain=" + DOMAIN.encode() + b":", b"&domain=" + DOMAIN.encode() + b":!",
            b"&domain=:10.0.0.1!1", b"&domain=!:!:!", b"&domain=" + DOMAIN.encode() + b":10.0.0.1",
            b"&domain=" + DOMAIN.encode() + b":10.0.0.1!99999999999999999999", b"&domain=::::::::!-1",
            b"&domain=" + DOMAIN.encode() + b":10.0.0.1!-2147483649",
            b"&site=" + DOMAIN.encode() + b"&alertno=4294967297",
            b"&site=" + DOMAIN.encode() + b"&alertno=-9223372036854775809", b"&site=" + DOMAIN.encode() + b"&alertno=",
            b"&site=" + b"A" * 100_000, b"&domain=" + b":" * 60_000, b"&domain=" + b"www:" * 15_000 + b"!1",
            b"&site=%77%77%77%2eexample%2etest", b"&site=%", b"&site=%00%ff%zz", b"&site=\xc3\xa9\xe2\x82\xac.example",
            b"&site=\xff\xfe\x80\x00", b"&domain=" + DOMAIN.encode() + b":\xe2\x82\xac!\xc3\xa9",
            b"&site=<script>alert(1)</script>", b"&site=\"'>"]
        with self.watch("odd queries") as watch:
            while watch.looking():
                for command in commands:
                    for argument in arguments:
                        answer = self.vantry.ask(get(b"?" + command.encode() + argument))
                        # The list is plain.
                        self.page(answer, b"\r\n" if command == "LIST" else b"</HTML>\r\n\r\n")
                        self.assertLess(len(answer), 8 * MB)

    def silent(self):
        # Both of these wait behind the silent ones that came before.
        with self.watch("300 silent connections", limit=15.0):
            self.crowd(300)
            time.sleep(2)
            begin = time.monotonic()
            self.page(self.vantry.ask(SITES, source="127.0.0.8"))
            self.assertLess(time.monotonic() - begin, 15.0)


class LoginAbuseTest(AbuseCase):
    settings = SETTINGS
    good_page = b'name="Password"'

    def post(self, pieces, pause):
        body = b"".join(pieces)
        with self.vantry.connect(source="127.0.0.5") as s:
            s.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            s.sendall(b"POST / HTTP/1.0\r\nAccept: */*\r\nContent-Type: application/x-www-form-urlencoded\r\n"
                      b"Content-Length: %d\r\n\r\n" % len(body))
            for piece in pieces:
                time.sleep(pause)
                s.sendall(piece)
            return self.page(read_all(s))

    def test_a_body_that_comes_in_pieces(self):
        body = b"UserName=operator&Password=open sesame&B1=Submit"
        with self.watch("a form in pieces"):
            for pause, size in ((0.02, 1), (0.25, 9), (0.6, 20)):
                answer = self.post([body[i:i + size] for i in range(0, len(body), size)], pause)
                self.assertIn(b"Sites Being Monitored", answer)
                answer = self.post([body[i:i + size] for i in range(0, len(body), size)] + [b"x"], pause)
                self.assertIn(b"Sites Being Monitored", answer)
            self.assertIn(b"Invalid user name or password", self.post([b"UserName=operator&", b"Password=", b"&B1="],
                                                                      0.1))
            # Bodies that never end must not keep others out.
            callers = self.crowd(90)
            for s in callers:
                s.sendall(b"POST / HTTP/1.0\r\nContent-Length: 60000\r\n\r\nUserName=operator&")
            time.sleep(2)
            for s in callers:
                s.close()
        self.counted()


if __name__ == "__main__":
    unittest.main()
