"""Clients that are slow, loud, rude or many: whatever they do, the others are served."""

import os
import select
import socket
import statistics
import threading
import time

from harness import (SystemTest, append, ncsa_line, parse_list, read_all, read_line, receives_nothing, side_by_side,
                     skip_at_midnight, uses_address_sanitizer, wait_until, write_file)

MB = 1 << 20
LIST = b"GET /?LIST& HTTP/1.0\r\n\r\n"


class PortTest(SystemTest):
    """One program for all tests of a class: none of them may leave it in another state."""
    settings = {}
    visitors = 3
    classic = ("AnswerPaused",)

    def setUp(self):
        skip_at_midnight()
        self.folder = self.home()
        self.folder.keep_classic(*self.classic)
        self.folder.write_settings(**self.settings)
        self.folder.write_site()
        self.log = self.folder.log("access.log")
        at = time.time()
        write_file(self.log, "".join(
            ncsa_line("10.%d.%d.%d" % (i >> 16, i >> 8 & 255, i & 255), "/page-%06d.html" % i, at)
            for i in range(1, self.visitors + 1)))
        self.vantry = self.start(self.folder)

    def wait_list(self):
        wait_until(lambda: len(self.vantry.list()) == self.visitors, what=self.vantry.stderr)


class RequestTest(PortTest):
    def expect_list(self, answer):
        self.assertEqual(len(parse_list(answer)), self.visitors)

    def test_odd_requests(self):
        self.wait_list()
        with self.subTest("byte by byte"):
            with self.vantry.connect() as s:
                for i in range(len(LIST)):
                    s.sendall(LIST[i:i + 1])
                    time.sleep(0.005)
                self.expect_list(read_all(s))
        with self.subTest("a request line of 1 MB"):
            answer = self.vantry.ask(b"GET /?LIST&" + b"A" * MB + b" HTTP/1.0\r\n\r\n")
            self.assertTrue(answer.startswith(b"HTTP/1.0 200 OK\r\n"), answer[:200])
        with self.subTest("a header of 1 MB"):
            self.expect_list(self.vantry.ask(b"GET /?LIST& HTTP/1.0\r\nX: " + b"B" * MB + b"\r\n\r\n"))
        with self.subTest("a line of 30 MB that never ends"):
            before = self.vantry.memory_peak_kb()
            with self.vantry.connect() as s:
                for _ in range(30):
                    s.sendall(b"C" * MB)
                self.expect_list(self.vantry.list_bytes())
                if not uses_address_sanitizer():
                    self.assertLess(self.vantry.memory_peak_kb() - before, 20_000)
        with self.subTest("40 headers"):
            headers = b"".join(b"X-%d: %d\r\n" % (i, i) for i in range(40))
            self.expect_list(self.vantry.ask(b"GET /?LIST& HTTP/1.0\r\n" + headers + b"\r\n"))
        with self.subTest("NUL bytes"):
            self.expect_list(self.vantry.ask(b"\0\0\0\r\nGET /?LIST& HTTP/1.0\0\r\nX\0Y: \0\0\r\n\0\r\n\r\n"))
        with self.subTest("bytes behind the request"):
            self.expect_list(self.vantry.ask(LIST + b"D" * 100_000))
        with self.subTest("a client that ends its half after the request"):
            with self.vantry.connect() as s:
                s.sendall(LIST)
                s.shutdown(socket.SHUT_WR)
                self.expect_list(read_all(s))
        with self.subTest("a client that goes at once"):
            for request in (b"", b"GET /?LI", LIST, b"@STATUS\r\n", b"POST / HTTP/1.0\r\n\r\nUser"):
                with self.vantry.connect() as s:
                    s.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
                    s.sendall(request)
            self.expect_list(self.vantry.list_bytes())
        with self.subTest("a telephone"):
            answer = self.vantry.ask(b"GET /?LIST& HTTP/1.0\r\nAccept: text/vnd.wap.wml, */*\r\n\r\n")
            self.assertTrue(answer.startswith(b"Content-Type: text/vnd.wap.wml\r\n"), answer[:200])
            self.assertNotIn(b"HTTP/1.0 200", answer)
            self.assertIn(b"<!DOCTYPE wml", answer)
            self.assertIn(b"page-000001.html", answer)
            self.expect_list(self.vantry.list_bytes())
        self.assertTrue(os.path.getsize(self.folder.file("Data/webaccess.log")) > 0)

    def test_control_lines(self):
        self.wait_list()
        hello = "Vantry 2.0.000 [Running]"
        self.assertEqual(self.vantry.control("HELLO"), hello)
        self.assertEqual(self.vantry.control("hello"), hello)
        with self.vantry.connect() as s:
            for word in (b"@", b"@@", b"@NOTHING", b"@STATUSES", b"@STOP", b"@\0HELLO", b"@" + b"Z" * MB):
                s.sendall(word + b"\r\n")
            self.assertTrue(receives_nothing(s, 1))
            s.settimeout(30)
            s.sendall(b"@HELLO\r\n@HELLO\r\n")  # Two in one packet.
            self.assertEqual([read_line(s), read_line(s)], [hello.encode()] * 2)
        status = self.vantry.site_status("One")
        self.assertEqual((status.paused, status.current), (False, self.visitors))

        # A pause: nobody is answered but control lines, and nothing is scanned.
        self.assertEqual(self.vantry.control("PAUSE"), "Vantry 2.0.000 [Paused]")
        append(self.log, ncsa_line("192.0.2.1", "/in-pause.html"))
        with self.vantry.connect() as s:
            s.sendall(LIST)
            self.assertTrue(receives_nothing(s, 4.5))
            self.assertIn("[Paused]", self.vantry.control("HELLO"))
            self.assertEqual(self.vantry.site_status("One").current, self.visitors)
            self.assertEqual(self.vantry.control("CONTINUE"), hello)
            self.assertTrue(receives_nothing(s, 1))  # What came in the pause is lost.
            s.settimeout(30)
            s.sendall(LIST)
            parse_list(read_all(s))
        self.vantry.wait_visitor("192.0.2.1", "in-pause.html")

        self.assertEqual(self.vantry.control("@STOP"), "XXX")
        self.assertEqual(self.vantry.wait_end(), 0)
        self.vantry.check_end()
        self.assertGreater(int(self.folder.site_values("One")["LastReadPos"]), 1)


class CrowdTest(PortTest):
    visitors = 20_000

    def test_many_callers(self):
        self.wait_list()
        with self.subTest("a half-closed slow reader gets the whole list"):
            with socket.socket() as s:
                s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
                s.settimeout(30)
                s.connect(("127.0.0.1", self.vantry.port))
                s.sendall(LIST)
                s.shutdown(socket.SHUT_WR)
                time.sleep(3)
                self.assertEqual(len(parse_list(read_all(s))), self.visitors)
        with self.subTest("300 callers at once"):
            self.three_hundred()
        with self.subTest("callers that never read"):
            self.never_read()
        with self.subTest("100 silent callers"):
            self.silence()
        with self.subTest("requests that never end"):
            self.endless_requests(1, 3)
            self.endless_requests(2, 20)

    def three_hundred(self):
        callers = [self.vantry.connect() for _ in range(300)]
        try:
            # A short answer each; the visitors are asked for by a domain that nobody watches.
            for s in callers:
                s.sendall(b"GET /?LIST&domain=none HTTP/1.0\r\nAccept: */*\r\n\r\n")
            answers = [read_all(s) for s in callers]
        finally:
            for s in callers:
                s.close()
        self.assertEqual(len(answers), 300)
        for answer in answers:
            self.assertTrue(answer.startswith(b"HTTP/1.0 200 OK\r\n"), answer[:200])
            self.assertIn(b"The Domain: none is not being monitored by Vantry.", answer)

    def never_read(self):
        before = self.vantry.memory_peak_kb()
        callers = [self.vantry.connect() for _ in range(20)]
        stop = time.monotonic() + 4
        waits = []
        try:
            for s in callers:
                s.setblocking(False)
            for s in callers[:5]:
                s.send(LIST)
            while time.monotonic() < stop:
                for s in select.select([], callers[5:], [], 0)[1]:
                    try:
                        s.send(b"@STATUS\r\n" * 2000)
                    except OSError:
                        pass
                begin = time.monotonic()
                answer = self.vantry.ask(b"GET /?LIST&domain=none HTTP/1.0\r\nAccept: */*\r\n\r\n")
                waits.append(time.monotonic() - begin)
                self.assertIn(b"The Domain: none", answer)
        finally:
            for s in callers:
                s.close()
        self.assertGreater(len(waits), 2)
        self.assertLess(statistics.median(waits), 1.0)
        self.assertLess(max(waits), 5.0)
        # 1 MB of answers is kept for each before its requests wait, not more and more.
        if not uses_address_sanitizer():
            self.assertLess(self.vantry.memory_peak_kb() - before, 150_000)

    def silence(self):
        # Those above are gone when all 100 places are free: a program that is full accepts nobody.
        callers = [self.vantry.connect() for _ in range(100)]
        try:
            begin = time.monotonic()
            with self.vantry.connect() as late:
                late.sendall(LIST)
                self.assertTrue(receives_nothing(late, 5))
                late.settimeout(30)
                self.assertEqual(len(parse_list(read_all(late))), self.visitors)
            self.assertGreater(time.monotonic() - begin, 9)
            # One gave way, and the place it left suffices from here on.
            self.assertEqual(self.vantry.control("HELLO"), "Vantry 2.0.000 [Running]")
            gone = select.select(callers, [], [], 0)[0]
            self.assertEqual(len(gone), 1)
            callers[-1].sendall(LIST)
            if callers[-1] not in gone:
                self.assertEqual(len(parse_list(read_all(callers[-1]))), self.visitors)
        finally:
            for s in callers:
                s.close()


    def endless_requests(self, addresses, limit):
        """99 callers send a header every 2 seconds; a console and somebody else want something too."""
        with self.vantry.connect() as console:
            console.sendall(b"@HELLO\r\n")
            self.assertEqual(read_line(console), b"Vantry 2.0.000 [Running]")
            callers = [self.vantry.connect("127.0.0.%d" % (2 + i % addresses)) for i in range(99)]
            ended = threading.Event()

            def trickle():
                piece = b"GET /?LIST& HTTP/1.0\r\n"
                while True:
                    for s in callers:
                        try:
                            s.sendall(piece)
                        except OSError:
                            pass  # It had its time.
                    piece = b"X: y\r\n"
                    if ended.wait(2):
                        return

            thread = threading.Thread(target=trickle)
            thread.start()
            try:
                time.sleep(1)
                begin = time.monotonic()
                with self.vantry.connect("127.0.0.9") as s:
                    s.sendall(LIST)
                    self.assertEqual(len(parse_list(read_all(s))), self.visitors)
                took = time.monotonic() - begin
                print("99 endless requests from %d address(es): a good one answered after %.1f s" % (addresses, took))
                self.assertLess(took, limit)
                console.sendall(b"@HELLO\r\n")
                self.assertEqual(read_line(console), b"Vantry 2.0.000 [Running]")
            finally:
                ended.set()
                thread.join()
                for s in callers:
                    s.close()


class LoginTest(PortTest):
    settings = {"WebAccessControl": "True", "WebUsername": "operator", "WebPassword": "open sesame"}
    classic = ("LoginCookie", "DecodeForms")
    FORM = b"UserName=%s&Password=%s&B1=Submit"

    def post(self, body, pieces=None, source="127.0.0.1"):
        head = b"POST / HTTP/1.0\r\nAccept: */*\r\nContent-Length: %d\r\n\r\n" % len(body)
        with self.vantry.connect(source) as s:
            s.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            s.sendall(head)
            for piece in pieces or [body]:
                s.sendall(piece)
                time.sleep(0.05)
            return read_all(s)

    def get(self, source="127.0.0.1"):
        return self.vantry.ask(b"GET /?LIST& HTTP/1.0\r\nAccept: */*\r\n\r\n", source=source)

    def assert_form(self, answer):
        self.assertTrue(answer.startswith(b"HTTP/1.0 200 OK\r\n"), answer[:100])
        self.assertIn(b'name="Password"', answer)
        self.assertNotIn(b"page-0", answer)

    def wait_status(self):
        wait_until(lambda: self.vantry.site_status("One").current == self.visitors)

    def test_login(self):
        self.wait_status()  # Control lines need no login.
        self.assert_form(self.get())
        for user, password in ((b"operator", b"wrong"), (b"", b""), (b"nobody", b"open sesame"), (b"operator", b"")):
            answer = self.post(self.FORM % (user, password))
            self.assertIn(b"Invalid user name or password", answer)
            self.assertNotIn(b"page-0", answer)
            self.assert_form(self.get())
        answer = self.post(self.FORM % (b"Operator", b"Open Sesame"))
        self.assertTrue(answer.startswith(b"HTTP/1.0 200 OK\r\n"))
        self.assertNotIn(b"Invalid", answer)
        self.assertNotIn(b'name="Password"', answer)
        for _ in range(3):
            self.assertEqual(len(parse_list(self.get())), self.visitors)
        # The slot is bound to the address that logged in.
        self.assert_form(self.get("127.0.0.2"))
        self.assert_form(self.get())

    def test_a_form_in_pieces(self):
        self.wait_status()
        body = self.FORM % (b"operator", b"open sesame")
        for cut in (4, 12, 25, 40, len(body) - 1):
            answer = self.post(body, [body[:cut], body[cut:]])
            self.assertNotIn(b"Invalid", answer, cut)
            self.assertEqual(len(parse_list(self.get())), self.visitors, cut)
            self.assert_form(self.get("127.0.0.2"))  # Logs the slot out.
        answer = self.post(body, [body[i:i + 1] for i in range(len(body))])
        self.assertNotIn(b"Invalid", answer)
        self.assertEqual(len(parse_list(self.get())), self.visitors)


class BigScanTest(SystemTest):
    def test_callers_are_answered_in_the_middle_of_a_big_scan(self):
        skip_at_midnight()
        home = self.home()
        home.keep_classic("SeekToday")  # Yesterday's lines stand behind one of today, and all are to be read.
        home.write_site()
        at = time.time()
        yesterday = at - 86400
        old = "".join(ncsa_line("10.0.0.%d" % (i % 250), "/old%d.html" % i, yesterday) for i in range(6000)).encode()
        with open(home.log("access.log"), "wb") as f:
            f.write(ncsa_line("192.0.2.1", "/first.html", at).encode())
            for _ in range(300 * MB // len(old)):
                f.write(old)
            f.write(ncsa_line("192.0.2.2", "/end.html", at).encode())
        vantry = self.start(home)
        wait_until(lambda: vantry.addresses() == ["192.0.2.1"], step=0.005)
        waits = []
        deadline = time.monotonic() + 80
        while time.monotonic() < deadline:
            begin = time.monotonic()
            addresses = vantry.addresses()
            waits.append(time.monotonic() - begin)
            if addresses == ["192.0.2.1", "192.0.2.2"]:
                break
            self.assertEqual(addresses, ["192.0.2.1"])
        print("LIST in a big scan: %d times, median %.1f ms, longest %.1f ms" % (
            len(waits), statistics.median(waits) * 1000, max(waits) * 1000))
        self.assertEqual(addresses, ["192.0.2.1", "192.0.2.2"])
        self.assertGreater(len(waits), 5)
        self.assertLess(statistics.median(waits), 0.5)
        self.assertLess(max(waits), 1.0)


if __name__ == "__main__":
    side_by_side()
