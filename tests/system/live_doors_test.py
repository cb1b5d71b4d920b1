"""The doors of the live listener, from outside: who gets in, and who can't keep others from it."""

import base64
import http.client
import os
import re
import resource
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile
import time
import unittest

from harness import DEADLINE, SystemTest, free_port, read_all, side_by_side, vantry_binary, wait_until, write_file

CTL = os.path.join(os.path.dirname(vantry_binary()), "vantryctl")
NGINX = shutil.which("nginx") or "/usr/sbin/nginx"
USER, PASSWORD = "guard", "a long pass & phrase"
COMMON = {"x-content-type-options": "nosniff", "referrer-policy": "no-referrer",
          "cross-origin-resource-policy": "same-origin", "cache-control": "no-store"}
REQUEST = b"GET /healthz HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n"


def basic(user=USER, password=PASSWORD):
    return {"Authorization": "Basic " + base64.b64encode(("%s:%s" % (user, password)).encode()).decode()}


def read_text(path):
    with open(path, encoding="utf-8") as f:
        return f.read()


class LiveTest(SystemTest):
    def live_home(self, password=False, **keys):
        home = self.home()
        home.live = free_port()
        keys = {"Port": home.live, **keys}
        with open(home.file("registry.ini"), "a", encoding="utf-8") as f:
            f.write("[Live]\n" + "".join("%s=%s\n" % pair for pair in keys.items()))
        if password:
            done = subprocess.run([CTL, "live-password", home.path, "--user", USER], input=PASSWORD + "\n", text=True,
                                  capture_output=True, timeout=60)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertNotIn(PASSWORD, read_text(home.file("registry.ini")))
        return home

    def begin(self, **how):
        home = self.live_home(**how)
        vantry = self.start(home)
        vantry.live = home.live
        return vantry

    def ask(self, vantry, path, method="GET", body=None, headers=(), tls=None):
        where = getattr(vantry, "live", vantry)
        if tls:
            connection = http.client.HTTPSConnection("127.0.0.1", where, timeout=DEADLINE, context=tls)
        else:
            connection = http.client.HTTPConnection("127.0.0.1", where, timeout=DEADLINE)
        try:
            connection.request(method, path, body, dict(headers))
            answer = connection.getresponse()
            answer.body = answer.read()
            return answer
        finally:
            connection.close()

    def log_in(self, vantry, user=USER, password=PASSWORD, path="/login", headers=(), **how):
        form = "user=%s&password=%s" % (user, password.replace("&", "%26").replace(" ", "+"))
        return self.ask(vantry, path, "POST", form,
                        {"Content-Type": "application/x-www-form-urlencoded", **dict(headers)}, **how)


class OffTest(LiveTest):
    def test_without_the_section_nothing_listens(self):
        vantry = self.start(self.home())
        self.assertNotIn("live", vantry.stdout())
        with open("/proc/%d/limits" % vantry.pid()) as f:
            soft = next(line.split()[3] for line in f if line.startswith("Max open files"))
        self.assertEqual(soft, str(resource.getrlimit(resource.RLIMIT_NOFILE)[0]))

    def test_what_is_wrong_is_told_and_nothing_else_ends(self):
        taken = socket.socket()
        self.addCleanup(taken.close)
        taken.bind(("127.0.0.1", 0))
        taken.listen()
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        bad = os.path.join(folder, "bad.pem")
        write_file(bad, "-----BEGIN CERTIFICATE-----\nnonsense\n-----END CERTIFICATE-----\n")
        cases = (({"BindAddress": "0.0.0.0"}, "live-password"), ({"Port": taken.getsockname()[1]}, "taken"),
                 ({"Port": "many"}, "not a port"), ({"Certificate": bad, "Key": bad}, "Certificate or Key"),
                 ({"Certificate": bad}, "belong together"),
                 ({"Certificate": folder + "/no.pem", "Key": bad}, "no.pem"), ({"Prot": "1"}, "Prot"),
                 ({"PasswordHash": "$y$j9T$abcdefghijklmnopqrstuv"}, "User is missing"),
                 ({"BindAddress": "0.0.0.0", "User": "a",
                   "PasswordHash": "$y$j9T$abcdefghijklmnopqrstuv\n[Security]\nodd"}, "its section Security is damaged"))
        started = [(self.launch(self.live_home(**keys)), text) for keys, text in cases]
        for vantry, text in started:
            vantry.wait_ready()
            with self.subTest(text=text):
                told = [line for line in vantry.stderr().split("\n") if "The live page is not served" in line]
                self.assertEqual(len(told), 1, vantry.stderr())
                self.assertIn("registry.ini, section Live: ", told[0])
                self.assertIn(text, told[0])
                self.assertNotIn("live page is at", vantry.stdout())
                self.assertEqual(vantry.list(), [])
                with open(vantry.home.file("Data/TRL.LOG"), encoding="latin-1") as f:
                    self.assertIn(text, f.read())


class OpenTest(LiveTest):
    def test_rules_of_a_request(self):
        vantry = self.begin()
        self.assertIn("The live page is at http://127.0.0.1:%d/\n" % vantry.live, vantry.stdout())
        with self.subTest("headers"):
            answer = self.ask(vantry, "/api/v1/program")
            self.assertEqual(answer.status, 200)
            for name, value in COMMON.items():
                self.assertEqual(answer.headers[name], value)
            self.assertIn("default-src 'none'", answer.headers["content-security-policy"])
            self.assertIsNone(answer.headers["access-control-allow-origin"])
        with self.subTest("a name that was led here"):
            for host, status in (("evil.example", 421), ("localhost:%d" % vantry.live, 200), ("[::1]", 200)):
                self.assertEqual(self.ask(vantry, "/healthz", headers={"Host": host}).status, status, host)
        with self.subTest("methods"):
            for method in ("POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PROPFIND"):
                answer = self.ask(vantry, "/api/v1/program", method)
                self.assertEqual((answer.status, answer.headers["allow"]), (405, "GET, HEAD"), method)
            self.assertEqual(self.ask(vantry, "/login", "PUT").headers["allow"], "GET, HEAD, POST")
            head = self.ask(vantry, "/", "HEAD")
            self.assertEqual((head.status, head.body), (200, b""))
        with self.subTest("sizes"):
            for size, status in ((6_000, 200), (12_000, 431), (1_000_000, 431)):
                with socket.create_connection(("127.0.0.1", vantry.live), DEADLINE) as s:
                    try:
                        s.sendall(REQUEST[:-2] + b"X: " + b"a" * size + b"\r\n\r\n")
                    except OSError:
                        pass  # It may be gone before it has all.
                    try:
                        self.assertIn(b" %d " % status, read_all(s).split(b"\r\n")[0])
                    except ConnectionResetError:
                        self.assertEqual(size, 1_000_000)
            self.assertEqual(self.ask(vantry, "/login", "POST", "a" * 20_000).status, 413)
        with self.subTest("addresses"):
            for path, status in (("/nothing", 404), ("/../healthz", 404), ("/%2568ealthz", 404), ("/%68ealthz", 200),
                                 ("/%zz", 400), ("/healthz%00", 400), ("/assets/../index.html", 404),
                                 ("/assets/", 404), ("/api/v1/program?a=%", 400)):
                self.assertEqual(self.ask(vantry, path).status, status, path)
        with self.subTest("files"):
            page = self.ask(vantry, "/")
            packed = self.ask(vantry, "/", headers={"Accept-Encoding": "gzip"})
            self.assertTrue(page.body.startswith(b"<!doctype html>"))
            self.assertEqual((packed.headers["content-encoding"], packed.body[:2]), ("gzip", b"\x1f\x8b"))
            self.assertEqual(page.headers["cache-control"], "no-store")
            names = re.findall(rb'"(assets/[^"]+)"', page.body)
            self.assertTrue(names)
            for name in names:
                answer = self.ask(vantry, "/" + name.decode())
                self.assertEqual(answer.status, 200, name)
                self.assertIn("immutable", answer.headers["cache-control"], name)
                known = self.ask(vantry, "/" + name.decode(), headers={"If-None-Match": answer.headers["etag"]})
                self.assertEqual((known.status, known.body), (304, b""))

    def test_silent_and_slow_callers(self):
        vantry = self.begin()
        callers = []
        self.addCleanup(lambda: [s.close() for s in callers])
        begun = time.monotonic()
        for number in range(1_300):
            callers.append(socket.create_connection(("127.0.0.1", vantry.live), DEADLINE))
            if number >= 300:
                callers[-1].sendall(b"GET /healthz HTTP/1.1\r\nHo")
        slowest = 0
        while time.monotonic() - begun < 14:
            for s in callers[300:400]:
                try:
                    s.send(b"s")
                except OSError:
                    pass
            asked = time.monotonic()
            self.assertEqual(self.ask(vantry, "/healthz").status, 200)
            slowest = max(slowest, time.monotonic() - asked)
            time.sleep(0.5)
        self.assertLess(slowest, 2)
        for s in callers:
            s.settimeout(max(0.1, DEADLINE - (time.monotonic() - begun)))
            try:
                self.assertNotIn(b" 200 ", read_all(s))
            except ConnectionResetError:
                pass

    def test_the_silent_give_way_where_places_are_few(self):
        home = self.live_home()
        vantry = self.start(home, preexec=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (700, 700)))
        vantry.live = home.live
        callers = []
        self.addCleanup(lambda: [s.close() for s in callers])
        for address in ("127.0.0.1", "127.0.0.2"):
            for _ in range(200):
                callers.append(socket.create_connection(("127.0.0.1", home.live), DEADLINE))
            with socket.create_connection(("127.0.0.1", home.live), DEADLINE, (address, 0)) as s:
                s.sendall(REQUEST)
                self.assertIn(b" 200 ", read_all(s))
        with os.scandir("/proc/%d/fd" % vantry.pid()) as open_files:
            self.assertLess(len(list(open_files)), 400)
        self.assertEqual(vantry.list(), [])

    def test_nothing_is_done_while_nobody_asks(self):
        vantry = self.begin()
        with socket.create_connection(("127.0.0.1", vantry.live), DEADLINE) as s:
            s.sendall(REQUEST.replace(b"close", b"keep-alive"))
            self.assertIn(b" 200 ", s.recv(4096))
            before = self.cpu_ticks(vantry)
            time.sleep(2)
            self.assertLess(self.cpu_ticks(vantry) - before, 30)

    @staticmethod
    def cpu_ticks(vantry):
        with open("/proc/%d/stat" % vantry.pid()) as f:
            fields = f.read().rsplit(")", 1)[1].split()
        return int(fields[11]) + int(fields[12])


class LoginTest(LiveTest):
    def test_people_and_machines(self):
        vantry = self.begin(password=True)
        self.assertEqual(self.ask(vantry, "/healthz").status, 200)
        page = self.ask(vantry, "/")
        self.assertEqual((page.status, page.headers["location"]), (303, "login"))
        refused = self.ask(vantry, "/api/v1/program")
        self.assertEqual((refused.status, refused.body[:22]), (401, b'{"error":{"status":401'))
        self.assertEqual(self.ask(vantry, "/api/v1/program", headers=basic()).status, 200)
        begun = time.monotonic()
        for _ in range(50):
            self.assertEqual(self.ask(vantry, "/api/v1/program", headers=basic()).status, 200)
        self.assertLess(time.monotonic() - begun, 5)  # Not a slow hash each time.
        self.assertEqual(self.ask(vantry, "/", headers=basic()).status, 303)
        self.assertEqual(self.ask(vantry, "/api/v1/program", headers=basic(password="wrong")).status, 401)

        self.assertIn(b"<form", self.ask(vantry, "/login").body)
        wrong = self.log_in(vantry, password="wrong")
        self.assertEqual((wrong.status, wrong.headers["location"]), (303, "login?wrong#wrong"))
        self.assertIsNone(wrong.headers["set-cookie"])
        self.assertEqual(self.log_in(vantry, headers={"Sec-Fetch-Site": "cross-site"}).status, 403)
        right = self.log_in(vantry)
        self.assertEqual((right.status, right.headers["location"]), (303, "./"))
        cookie = right.headers["set-cookie"]
        self.assertIn("; Path=/; HttpOnly; SameSite=Strict", cookie)
        self.assertNotIn("Secure", cookie)
        self.assertIn("; Secure", self.log_in(vantry, headers={"X-Forwarded-Proto": "https"}).headers["set-cookie"])
        mine = {"Cookie": "other=1; " + cookie.split(";")[0]}
        self.assertEqual(self.ask(vantry, "/", headers=mine).status, 200)
        self.assertIn(b'"user":"guard"', self.ask(vantry, "/api/v1/program", headers=mine).body)
        forged = {"Cookie": cookie.split("=")[0] + "=" + "0" * 64}
        self.assertEqual(self.ask(vantry, "/api/v1/program", headers=forged).status, 401)
        self.assertEqual(self.ask(vantry, "/logout", headers=mine).status, 303)
        self.assertEqual(self.ask(vantry, "/", headers=mine).status, 303)

        again = {"Cookie": self.log_in(vantry).headers["set-cookie"].split(";")[0]}
        done = subprocess.run([CTL, "live-password", vantry.home.path, "--user", USER], input="quite another one\n",
                              text=True, capture_output=True, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        wait_until(lambda: self.ask(vantry, "/", headers=again).status == 303)
        self.assertEqual(self.ask(vantry, "/api/v1/program", headers=basic()).status, 401)
        self.assertEqual(self.ask(vantry, "/api/v1/program", headers=basic(password="quite another one")).status, 200)

    def test_guessing_gets_slow(self):
        vantry = self.begin(password=True)
        for _ in range(10):
            self.assertEqual(self.ask(vantry, "/api/v1/program", headers=basic(password="guess")).status, 401)
        begun = time.monotonic()
        self.assertEqual(self.ask(vantry, "/api/v1/program", headers=basic(password="guess")).status, 401)
        self.assertGreater(time.monotonic() - begun, 0.9)
        # Another address is not slowed when it is right.
        begun = time.monotonic()
        other = {**basic(), "X-Forwarded-For": "203.0.113.5"}
        self.assertEqual(self.ask(vantry, "/api/v1/program", headers=other).status, 200)
        self.assertLess(time.monotonic() - begun, 0.9 * 2)
        self.assertEqual(self.ask(vantry, "/healthz").status, 200)

    def certificate(self):
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        os.chmod(folder, 0o755)
        made = subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                               "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost", "-keyout",
                               folder + "/key.pem", "-out", folder + "/cert.pem"], capture_output=True, timeout=60)
        self.assertEqual(made.returncode, 0, made.stderr)
        return folder + "/cert.pem", folder + "/key.pem"

    @unittest.skipUnless(shutil.which("openssl"), "openssl is not installed")
    def test_encrypted(self):
        certificate, key = self.certificate()
        vantry = self.begin(password=True, Certificate=certificate, Key=key)
        self.assertIn("https://127.0.0.1:%d/" % vantry.live, vantry.stdout())
        context = ssl.create_default_context(cafile=certificate)
        self.assertIn("; Secure", self.log_in(vantry, tls=context).headers["set-cookie"])
        self.assertEqual(self.ask(vantry, "/api/v1/program", headers=basic(), tls=context).status, 200)
        with socket.create_connection(("127.0.0.1", vantry.live), DEADLINE) as s:
            s.sendall(REQUEST)  # Not in the clear.
            try:
                self.assertNotIn(b"200", read_all(s))
            except ConnectionResetError:
                pass
        self.assertEqual(self.ask(vantry, "/healthz", tls=context).status, 200)

    @unittest.skipUnless(os.path.exists(NGINX) and shutil.which("openssl"), "nginx or openssl is not installed")
    def test_behind_a_proxy_below_a_path(self):
        certificate, key = self.certificate()
        vantry = self.begin(password=True, BasePath="/stats/live")
        folder, port = os.path.dirname(certificate), free_port()
        write_file(folder + "/nginx.conf", """%s
daemon off; worker_processes 1; pid %s/pid; error_log %s/error.log;
events { worker_connections 64; }
http {
  access_log off;
  client_body_temp_path %s/t1; proxy_temp_path %s/t2; fastcgi_temp_path %s/t3; uwsgi_temp_path %s/t4;
  scgi_temp_path %s/t5;
  server {
    listen 127.0.0.1:%d ssl;
    ssl_certificate %s; ssl_certificate_key %s;
    location /stats/live/ {
      proxy_pass http://127.0.0.1:%d/;
      proxy_buffering off;
      proxy_set_header X-Forwarded-Proto $scheme;
      proxy_set_header X-Forwarded-For $remote_addr;
    }
  }
}
""" % (("user root;" if os.geteuid() == 0 else "",) + (folder,) * 7 + (port, certificate, key, vantry.live)))
        nginx = subprocess.Popen([NGINX, "-p", folder, "-e", folder + "/error.log", "-c", folder + "/nginx.conf"],
                                 stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(nginx.wait)
        self.addCleanup(nginx.send_signal, signal.SIGTERM)
        context = ssl.create_default_context(cafile=certificate)

        def answers():
            try:
                return self.ask(port, "/stats/live/healthz", tls=context).status == 200
            except OSError:
                return False
        wait_until(answers)
        self.assertEqual(self.ask(port, "/stats/live/", tls=context).headers["location"], "login")
        right = self.log_in(port, path="/stats/live/login", tls=context)
        cookie = right.headers["set-cookie"]
        self.assertIn("; Path=/stats/live/; HttpOnly; SameSite=Strict; Secure", cookie)
        mine = {"Cookie": cookie.split(";")[0]}
        self.assertEqual(self.ask(port, "/stats/live/", headers=mine, tls=context).status, 200)
        self.assertEqual(self.ask(port, "/stats/live/api/v1/program", headers=mine, tls=context).status, 200)
        # Without a proxy, or with one that leaves the path as it is.
        self.assertEqual(self.ask(vantry, "/stats/live/healthz").status, 200)
        self.assertEqual(self.ask(vantry, "/stats/live").headers["location"], "live/")


class PasswordCommandTest(LiveTest):
    def run_ctl(self, *words, text=""):
        return subprocess.run([CTL, "live-password", *words], input=text, text=True, capture_output=True, timeout=60,
                              env={"PATH": "/usr/bin:/bin"})

    def test_it_writes_or_prints(self):
        home = self.home()
        printed = self.run_ctl("--print", text="correct horse\n")
        self.assertEqual(printed.returncode, 0, printed.stderr)
        self.assertRegex(printed.stdout, r"\AUser=admin\nPasswordHash=\$y\$\S{30,}\n\Z")
        written = self.run_ctl(home.path, text="correct horse\n")
        self.assertEqual(written.returncode, 0, written.stderr)
        text = read_text(home.file("registry.ini"))
        self.assertIn("[Live]\nUser=admin\nPasswordHash=$y$", text)
        self.assertIn("Port", written.stdout)  # Which is not set yet.
        for words, typed in ((["--print"], ""), (["--print"], "\n"), (["--print"], "short\n"),
                             (["--print", "--user", "a:b"], "correct horse\n"), ([], "correct horse\n"),
                             ([home.path + "/none"], "correct horse\n")):
            with self.subTest(words=words, typed=typed):
                self.assertNotEqual(self.run_ctl(*words, text=typed).returncode, 0)


if __name__ == "__main__":
    side_by_side(8)
