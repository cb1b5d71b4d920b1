"""Web servers are touched: good ones, dead ones and ill ones, by the part alone and by the whole program, whose minutes are
shortened to seconds."""

import os
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from harness import (SystemTest, append, faketime_library, free_port, ncsa_line, quick_clock, skip_at_midnight,
                     vantry_binary, wait_until)
from mail_servers import AioServer, Certificate

NGINX = shutil.which("nginx") or "/usr/sbin/nginx"
TO = "admin@example.test"
# Twenty minutes of the program in a minute of ours.
FAST = quick_clock(20)

CONFIG = """{user}
daemon off;
worker_processes 1;
pid {base}/nginx.pid;
error_log {base}/error.log;
events {{ worker_connections 256; }}
http {{
  access_log {base}/access.log combined;
  client_body_temp_path {base}/tmp1; proxy_temp_path {base}/tmp2; fastcgi_temp_path {base}/tmp3;
  uwsgi_temp_path {base}/tmp4; scgi_temp_path {base}/tmp5;
  server {{
    listen 127.0.0.1:{port};
    listen [::1]:{port};
    listen 127.0.0.1:{tls} ssl;
    listen 127.0.0.2:{tls} ssl;
    ssl_certificate {cert};
    ssl_certificate_key {key};
    root {base}/pages;
    location = /ill.htm {{ return 500; }}
    location = /moved.htm {{ return 301 http://127.0.0.1:1/; }}
  }}
}}
"""


class Nginx:
    def __init__(self, certificate):
        self.base = tempfile.mkdtemp(prefix="vantry_touch_")
        os.chmod(self.base, 0o755)
        self.port, self.tls = free_port(), free_port()
        os.mkdir(os.path.join(self.base, "pages"))
        for name, size in (("index.htm", 100), ("my page.htm", 100), ("big.bin", 5 << 20)):
            with open(os.path.join(self.base, "pages", name), "wb") as f:
                f.write(b"x" * size)
        with open(os.path.join(self.base, "nginx.conf"), "w") as f:
            f.write(CONFIG.format(user="user root;" if os.geteuid() == 0 else "", base=self.base, port=self.port,
                                  tls=self.tls, cert=certificate.cert, key=certificate.key))
        self.process = None
        self.start()

    def start(self):
        self.process = subprocess.Popen(
            [NGINX, "-p", self.base, "-e", os.path.join(self.base, "error.log"), "-c",
             os.path.join(self.base, "nginx.conf")], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, env={"TZ": "UTC", "PATH": "/usr/bin:/bin"})
        wait_until(self.listens)

    def listens(self):
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0

    def stop(self):
        self.process.terminate()
        self.process.wait(20)

    def touches(self):
        """What was asked for, by status."""
        try:
            with open(os.path.join(self.base, "access.log")) as f:
                return [line for line in f if "Vantry V2 Touch" in line]
        except FileNotFoundError:
            return []

    def clean_up(self):
        if self.process.poll() is None:
            self.stop()
        shutil.rmtree(self.base, ignore_errors=True)


class RawServer:
    """Takes connections, keeps what is asked and sends these bytes; without any it says nothing."""

    def __init__(self, answer=b"", then_close=True):
        self.answer, self.then_close = answer, then_close
        self.requests, self.open, self.most_open = [], 0, 0
        self.lock, self.stopped = threading.Lock(), threading.Event()
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=100)
        self.place = "127.0.0.1:%d" % self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        with self.lock:
            self.open += 1
            self.most_open = max(self.most_open, self.open)
        try:
            with connection:
                self.requests.append(connection.recv(65536))
                if self.answer:
                    connection.sendall(self.answer)
                if not self.answer or not self.then_close:
                    connection.settimeout(20)
                    connection.recv(1)
        except OSError:
            pass
        with self.lock:
            self.open -= 1

    def clean_up(self):
        self.listener.close()


@unittest.skipUnless(os.path.exists(NGINX), "nginx is not installed")
class TouchCase(SystemTest):
    def setUp(self):
        self.certificate = Certificate()
        self.addCleanup(self.certificate.remove)
        self.nginx = Nginx(self.certificate)
        self.addCleanup(self.nginx.clean_up)
        self.web = "127.0.0.1:%d" % self.nginx.port

    def raw(self, *how):
        server = RawServer(*how)
        self.addCleanup(server.clean_up)
        return server


class TouchedServers(TouchCase):
    """The part that asks, alone."""

    def ask(self, *urls, ms=3000, env=None):
        tool = os.path.join(os.path.dirname(vantry_binary()), "ask_server")
        done = subprocess.run([tool, "page", str(ms), *urls], capture_output=True, text=True, timeout=60, check=False,
                              env={**os.environ, **(env or {})})
        self.assertNotIn("Sanitizer", done.stderr)
        return done.stdout.splitlines()

    def test_any_answer_is_a_good_one(self):
        for page in ("index.htm", "/index.htm", "missing.htm", "ill.htm", "moved.htm", "my page.htm", "big.bin"):
            self.assertEqual(self.ask("http://%s/%s" % (self.web, page)), ["ok"], page)
        self.assertEqual(self.ask("http://[::1]:%d/index.htm" % self.nginx.port), ["ok"])

    def test_dead_and_ill_servers_are_told_apart(self):
        closed = "127.0.0.1:%d" % free_port()
        self.assertEqual(self.ask("http://%s/" % closed), [closed + ": connection refused"])
        silent = self.raw()
        self.assertEqual(self.ask("http://%s/" % silent.place, ms=500),
                         [silent.place + ": the server did not answer within 500 ms"])
        short = self.raw(b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc")
        self.assertEqual(self.ask("http://%s/" % short.place), [short.place + ": the connection broke off"])
        nothing = self.raw(b"garbage\0\xff\r\n\r\n")
        [text] = self.ask("http://%s/" % nothing.place)
        self.assertTrue(text.startswith(nothing.place + ": "), text)
        endless = self.raw(b"HTTP/1.1 200 OK\r\n" + b"X-Long: aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\r\n" * 20000)
        self.assertEqual(self.ask("http://%s/" % endless.place),
                         [endless.place + ": the header of the answer does not end"])

    def test_certificates_are_checked(self):
        trusted = {"SSL_CERT_FILE": self.certificate.cert}
        place = "127.0.0.1:%d" % self.nginx.tls
        self.assertEqual(self.ask("https://%s/index.htm" % place, env=trusted), ["ok"])
        [text] = self.ask("https://%s/index.htm" % place)
        self.assertTrue(text.startswith(place + ": the certificate is not valid: "), text)
        # It is another host's.
        other = "127.0.0.2:%d" % self.nginx.tls
        [text] = self.ask("https://%s/index.htm" % other, env=trusted)
        self.assertTrue(text.startswith(other + ": the certificate is not valid: "), text)

    def test_nothing_gets_into_the_request_and_no_proxy_is_asked(self):
        answer = b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"
        server, proxy = self.raw(answer), self.raw(answer)
        page = "caf\u00e9 1.htm\r\nX-Injected: yes"
        self.assertEqual(self.ask("http://%s//%s" % (server.place, page),
                                  env={"http_proxy": "http://" + proxy.place, "LC_ALL": "C.UTF-8"}), ["ok"])
        [request] = server.requests
        lines = request.decode("ascii").split("\r\n")
        self.assertEqual(lines[0], "GET //caf%C3%A9%201.htm%0D%0AX-Injected:%20yes HTTP/1.1")
        self.assertIn("User-Agent: Vantry V2 Touch", lines)
        self.assertEqual(proxy.requests, [])

    def test_what_cannot_be_asked_says_so(self):
        self.assertEqual(self.ask("http:///index.htm"), ["the site has no domain"])
        self.assertEqual(self.ask("http://my site/index.htm"), ["'my site': that is not the name of a server"])

    def test_sixteen_at_once(self):
        silent = self.raw()
        answers = self.ask(*["http://%s/%d" % (silent.place, i) for i in range(40)], ms=700)
        self.assertEqual(answers, [silent.place + ": the server did not answer within 700 ms"] * 40)
        # The server hears of an end a little after the next request has come.
        self.assertGreaterEqual(silent.most_open, 16)
        self.assertLess(silent.most_open, 24)


@unittest.skipUnless(faketime_library(), "faketime is not installed")
class TouchingProgram(TouchCase):
    def setUp(self):
        skip_at_midnight(before=60 * 60)
        super().setUp()
        try:
            self.mail = AioServer()
        except ImportError:
            self.skipTest("aiosmtpd is not installed")
        self.addCleanup(self.mail.clean_up)

    def touch_home(self, corrections, *domains):
        home = self.home()
        home.write_settings(EmailServer=self.mail.place, EmailFrom="monitor@example.test", EmailSubject="An exception")
        types = "".join("[%d]\r\nNumber=%d\r\nDescription=%s\r\nRaise=True\r\nEmail=True\r\nEmailAddress=%s\r\n\r\n" % (
            number, number, text, TO) for number, text in (
                (170, "Touch failed with error [error]. The web server may be down!"),
                (171, "Touch resumed. The web server is back up!")))
        home.write("EXTYPES.INI", "[Exception Types]\r\n" + types + "\r\n")
        home.write_sites(*[home.section("Site %d" % i, home.logs, Domain=domain, Touch=True, TouchEvery=0,
                                        TouchPage="index.htm") for i, domain in enumerate(domains, 1)])
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\n%s\n" % corrections)
        append(home.log("access.log"), ncsa_line("10.0.0.1", "/a.htm"))
        return home

    def texts(self):
        return [envelope.content.decode("latin-1") for envelope, _, _ in self.mail.mails]

    def wait_mail(self, *parts):
        def there():
            return any(all(part in text.replace("=\r\n", "") for part in parts) for text in self.texts())
        wait_until(there, what=lambda: (parts, self.texts()))

    def test_mails_tell_when_a_server_is_down_and_when_it_is_back(self):
        vantry = self.start(self.touch_home("", self.web), env=FAST)
        wait_until(self.nginx.touches)
        self.assertEqual(self.texts(), [])
        self.nginx.stop()
        self.wait_mail("Site 1: [170] Touch failed with error %s: connection refused. The web server may be down!" %
                       self.web)
        self.nginx.start()
        self.wait_mail("Site 1: [171] Touch resumed. The web server is back up!")
        count = len(self.texts())
        self.assertEqual(sum("[171]" in text for text in self.texts()), 1)
        touches = len(self.nginx.touches())
        wait_until(lambda: len(self.nginx.touches()) >= touches + 2)
        self.assertEqual(len(self.texts()), count, "a good server raises nothing")
        self.assertIn('"GET /index.htm HTTP/1.1" 200', self.nginx.touches()[0])
        self.assertEqual(vantry.site_status("Site 1").exceptions, count)

    def test_of_two_in_one_tick_the_last_is_watched(self):
        gone = "127.0.0.1:%d" % free_port()
        self.start(self.touch_home("", gone, self.web), env=FAST)
        wait_until(lambda: len(self.nginx.touches()) >= 2)
        self.nginx.stop()
        self.wait_mail("Site 2: [170]", self.web)
        self.assertFalse(any("Site 1: " in text for text in self.texts()), self.texts())

    def test_corrected_each_site_has_its_own(self):
        gone, silent = "127.0.0.1:%d" % free_port(), self.raw()
        home = self.touch_home("TouchEachSite=True\n[Touch]\nTimeoutSeconds=10", gone, silent.place, self.web,
                               "https://127.0.0.1:%d" % self.nginx.tls, "[::1]:%d" % self.nginx.port)
        vantry = self.start(home, env=FAST)
        self.wait_mail("Site 1: [170]", gone + ": connection refused")
        self.wait_mail("Site 2: [170]", silent.place + ": the server did not answer within 10 s")
        self.wait_mail("Site 4: [170]", "127.0.0.1:%d: the certificate is not valid" % self.nginx.tls)
        slowest = 0.0
        for _ in range(100):
            begin = time.monotonic()
            vantry.list_bytes()
            slowest = max(slowest, time.monotonic() - begin)
            time.sleep(0.02)
        print("touching: slowest of 100 LIST answers %.1f ms" % (slowest * 1000), file=sys.stderr)
        self.assertLess(slowest, 1.0)
        for name in ("Site 3", "Site 5"):
            self.assertEqual(vantry.site_status(name).exceptions, 0)
        self.assertLess(vantry.stop(), 5)


if __name__ == "__main__":
    unittest.main()
