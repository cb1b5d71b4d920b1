#!/usr/bin/python3
"""Short messages of the running program: through a gateway over TCP and through the polled file."""

import os
import re
import socket
import threading
import time
import unittest

from harness import SystemTest, append, free_port, ncsa_line, read_all, receives_nothing, skip_at_midnight, wait_until
from history_case import NO_EXCEPTIONS

NUMBER = "+441234567"
END = b"\x01"
PROMPT = 5.0
DEADLINE = 20.0


def not_found_type(**keys):
    pairs = {"Number": 404, "Description": "HTTP Page [lastpage] not found 404 error", "Value": "", "Raise": True}
    pairs.update(keys)
    return "[404]\r\n" + "".join("%s=%s\r\n" % pair for pair in pairs.items()) + "\r\n"


class Call:
    """A connection of the program to the gateway."""

    def __init__(self, peer):
        self.socket = peer
        self.socket.settimeout(DEADLINE)
        self.rest = b""

    def message(self):
        while END not in self.rest:
            part = self.socket.recv(1 << 16)
            if not part:
                raise AssertionError("the connection ended behind %r" % self.rest)
            self.rest += part
        text, self.rest = self.rest.split(END, 1)
        return text.decode("latin-1")

    def silent(self, seconds=0.7):
        silent = not self.rest and receives_nothing(self.socket, seconds)
        self.socket.settimeout(DEADLINE)
        return silent

    def say(self, text):
        self.socket.sendall(text.encode("latin-1") + END)

    def ended(self):
        """True when the program closes the connection without another word, whatever it has left unread."""
        try:
            return self.rest + read_all(self.socket) == b""
        except ConnectionResetError:
            return True

    def close(self):
        self.socket.close()


class Gateway:
    def __init__(self, port=0):
        self.server = socket.create_server(("127.0.0.1", port))
        self.server.settimeout(DEADLINE)
        self.port = self.server.getsockname()[1]

    def call(self):
        return Call(self.server.accept()[0])

    def close(self):
        self.server.close()


class SmsTest(SystemTest):
    def setUp(self):
        skip_at_midnight()
        self.visitors = 0

    def gateway(self, port=0):
        gateway = Gateway(port)
        self.addCleanup(gateway.close)
        return gateway

    def call(self, gateway):
        call = gateway.call()
        self.addCleanup(call.close)
        return call

    def begin(self, **settings):
        home = self.home()
        home.write("EXTYPES.INI", NO_EXCEPTIONS[:-2] + not_found_type(SMS=True, SMSNumber=NUMBER) + "\r\n")
        home.write_settings(**settings)
        home.write_site()
        append(home.log("access.log"), ncsa_line("10.0.0.1", "/index.html"))
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.1", "index.html")
        return home, vantry

    def begin_tcp(self, port):
        return self.begin(SMSConnect=" 0", SMSServerName="127.0.0.1", SMSServerPort=" %d" % port)

    def miss(self, home, *pages):
        """Each page is asked for by a visitor of its own: of one visitor, one page counts for each second."""
        lines = []
        for page in pages:
            self.visitors += 1
            lines.append(ncsa_line("10.1.%d.%d" % divmod(self.visitors, 250), "/" + page, status=404))
        append(home.log("access.log"), "".join(lines))

    @staticmethod
    def program_log(home):
        with open(home.file("Data/TRL.LOG"), newline="", encoding="latin-1") as f:
            return f.read()

    def wait_logged(self, home, text):
        wait_until(lambda: text in self.program_log(home), what=lambda: "%r in %s" % (text, self.program_log(home)))

    def greeting(self, home):
        version = re.match(r"Vantry (\S+) Program Log", self.program_log(home))[1]
        return "IDRCU." + version

    def check_fields(self, text, page):
        number, message, date, clock = text.split("\t")
        now = time.gmtime()
        self.assertEqual(number, NUMBER)
        self.assertTrue(message.startswith("[One: ] HTTP Page %s not found 404 error" % page), message)
        self.assertEqual(date, "%d/%d/%d" % (now.tm_mon, now.tm_mday, now.tm_year))
        self.assertRegex(clock, r"^[0-2]\d:[0-5]\d:[0-5]\d$")
        said = sum(int(part) * factor for part, factor in zip(clock.split(":"), (3600, 60, 1)))
        self.assertLess(abs(now.tm_hour * 3600 + now.tm_min * 60 + now.tm_sec - said), 120)

    def check_command(self, text, page):
        self.assertTrue(text.startswith("SEND "), text)
        self.check_fields(text[5:], page)

    def test_each_reply_releases_the_next_message(self):
        gateway = self.gateway()
        home, vantry = self.begin_tcp(gateway.port)
        self.miss(home, "one.html", "two.html")
        call = self.call(gateway)
        self.assertEqual(call.message(), self.greeting(home))
        self.assertTrue(call.silent())
        call.say("OK")
        self.check_command(call.message(), "one.html")
        self.assertTrue(call.silent())
        call.say("NO CREDIT\r\n1/1/2026 00:00:00 forged")
        self.check_command(call.message(), "two.html")
        call.say("SENT")
        self.assertTrue(call.silent())
        # The same connection serves what comes later.
        self.miss(home, "three.html")
        self.assertEqual(call.message(), self.greeting(home))
        call.say("OK")
        self.check_command(call.message(), "three.html")
        call.say("SENT")
        self.wait_logged(home, " SMS Server: NO CREDIT  1/1/2026 00:00:00 forged\r\n")
        self.assertEqual(self.program_log(home).count("SMS Server"), 1)
        self.assertLess(vantry.stop(), PROMPT)
        self.assertTrue(call.ended())

    def test_gateway_that_comes_up_late_and_closes_in_the_middle_gets_everything(self):
        port = free_port()
        home, _ = self.begin_tcp(port)
        self.miss(home, "one.html")
        self.wait_logged(home, " Error connecting to SMS Server on 127.0.0.1: 127.0.0.1:%d: "
                               "Connection refused\r\n" % port)
        gateway = self.gateway(port)
        self.miss(home, "two.html", "three.html")
        call = self.call(gateway)
        self.assertEqual(call.message(), self.greeting(home))
        call.say("OK")
        self.check_command(call.message(), "one.html")
        call.close()
        self.miss(home, "four.html")
        call = self.call(gateway)
        self.assertEqual(call.message(), self.greeting(home))
        for page in ("two.html", "three.html", "four.html"):
            call.say("OK")
            self.check_command(call.message(), page)
        self.assertEqual(self.program_log(home).count("SMS Server"), 1)

    def test_gateway_that_says_nothing_or_too_much_holds_up_nobody(self):
        gateway = self.gateway()
        home, vantry = self.begin_tcp(gateway.port)
        self.miss(home, "one.html")
        call = self.call(gateway)
        call.message()
        begin = time.monotonic()
        vantry.list_bytes()
        self.assertLess(time.monotonic() - begin, PROMPT)
        # A reply without an end ends the connection, not the program.
        try:
            for _ in range(40):
                call.socket.sendall(b"x" * 65536)
        except (BrokenPipeError, ConnectionResetError):
            pass
        self.assertTrue(call.ended())
        self.miss(home, "two.html")
        call = self.call(gateway)
        self.assertEqual(call.message(), self.greeting(home))
        call.say("OK")
        self.check_command(call.message(), "one.html")
        self.assertLess(vantry.stop(), PROMPT)

    def test_polled_file_can_be_read_and_taken_at_any_time(self):
        folder = self.home().path
        home, _ = self.begin(SMSConnect=" 1", SMSFolder=folder)
        path = os.path.join(folder, "POLLED.TXT")
        pages = ["p%d.html" % i for i in range(200)]
        seen, stop, problems = [b""], threading.Event(), []

        def look():
            while not stop.is_set():
                try:
                    with open(path, "rb") as f:
                        data = f.read()
                except FileNotFoundError:
                    continue
                if not data.startswith(seen[-1]):
                    problems.append((seen[-1], data))
                if data != seen[-1]:
                    seen.append(data)
        reader = threading.Thread(target=look)
        reader.start()
        try:
            for count in (100, 200):
                self.miss(home, *pages[count - 100:count])
                wait_until(lambda: seen[-1].count(b"\r\n") == count, what=lambda: (seen[-1][-300:], problems))
        finally:
            stop.set()
            reader.join()
        self.assertEqual(problems, [])
        for line, page in zip(seen[-1].decode("latin-1").split("\r\n"), pages):
            self.check_fields(line, page)
        # Where it can't be written that is told, and the next message is written as soon as it can.
        os.rename(folder, folder + ".away")
        self.miss(home, "lost.html")
        self.wait_logged(home, " Failed to send message to SMS Server: %s: No such file or directory\r\n" % path)
        os.mkdir(folder)
        self.miss(home, "after.html")
        wait_until(lambda: os.path.exists(path) and os.path.getsize(path) > 0)
        with open(path, encoding="latin-1", newline="") as f:
            text = f.read()
        self.assertTrue(text.endswith("\r\n"))
        self.check_fields(text[:-2], "after.html")


if __name__ == "__main__":
    unittest.main()
