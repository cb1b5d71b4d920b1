"""Who gets at the port: as the program comes, with the values of section Security, and behind nginx as docs/security.md
sets it up."""

import base64
import os
import re
import shutil
import socket
import ssl
import subprocess
import tempfile
import unittest
import urllib.error
import urllib.request

from harness import SystemTest, free_port, ncsa_line, read_all, skip_at_midnight, wait_until, write_file

NGINX = shutil.which("nginx") or "/usr/sbin/nginx"
SECURITY_PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "security.md")
SCRIPT = "<script>alert(1)<.html"
SITE_PAGE = b"GET /?SITETABLE&site=www.example.test HTTP/1.0\r\nAccept: */*\r\n\r\n"
# Two addresses of every machine, the second not the one that 127.0.0.1 means.
HERE, FOREIGN = "127.0.0.1", "127.0.0.2"


def reaches(address, port):
    try:
        socket.create_connection((address, port), 5).close()
        return True
    except ConnectionRefusedError:
        return False


class OpenPort(SystemTest):
    def start_with(self, security):
        skip_at_midnight()
        home = self.home()
        home.write("registry.ini", "[Security]\n" + security if security else "")
        home.write_site()
        line = ncsa_line("203.0.113.9", "/" + SCRIPT, referrer="javascript:alert(2)")
        write_file(home.log("access.log"), line + line)
        return self.start(home)

    def wait_page(self, vantry):
        def shown():
            page = vantry.ask(SITE_PAGE)
            return page if b"203.0.113.9" in page else None
        return wait_until(shown)


class ExposureTest(OpenPort):
    def stop_from(self, vantry, source):
        """What a control line and a request after it bring, in one connection from this address."""
        with vantry.connect(source) as s:
            s.sendall(b"@@STOP\r\n" + SITE_PAGE)
            return read_all(s)

    def test_as_it_comes_all_addresses_answer(self):
        vantry = self.start_with("")
        self.assertTrue(reaches(FOREIGN, vantry.port))
        self.assertTrue(vantry.control("HELLO", source=FOREIGN).endswith(" [Running]"))
        page = self.wait_page(vantry)
        self.assertIn(b"/" + SCRIPT.encode() + b'">' + SCRIPT.encode() + b"</a>", page)
        self.assertIn(b'<a href="javascript:alert(2)">', page)
        self.assertEqual(self.stop_from(vantry, FOREIGN)[:5], b"XXX\r\n")
        self.assertEqual(vantry.wait_end(), 0)

    def test_the_listener_is_on_the_one_address(self):
        vantry = self.start_with("BindAddress=%s\n" % HERE)
        self.assertTrue(reaches(HERE, vantry.port))
        self.assertFalse(reaches(FOREIGN, vantry.port))

    def test_control_lines_of_others_get_no_answer(self):
        vantry = self.start_with("BindAddress=%s\nControlFrom=10.*;%s\n" % (HERE, HERE))
        self.assertTrue(self.stop_from(vantry, FOREIGN).startswith(b"HTTP/1.0 200 OK\r\n"), "pages are for all")
        self.assertTrue(vantry.control("HELLO", source=HERE).endswith(" [Running]"))
        self.assertEqual(vantry.control("@STOP", source=HERE), "XXX")
        self.assertEqual(vantry.wait_end(), 0)

    def test_nobody_may_send_control_lines(self):
        for nobody in ("-", ";"):
            with self.subTest(nobody):
                vantry = self.start_with("BindAddress=%s\nControlFrom=%s\n" % (HERE, nobody))
                self.assertTrue(self.stop_from(vantry, HERE).startswith(b"HTTP/1.0 200 OK\r\n"))
                self.assertTrue(vantry.running())

    def test_a_script_in_a_log_is_shown_as_text(self):
        for value in ("True", "yes please"):
            with self.subTest(value):
                vantry = self.start_with("BindAddress=%s\nEscapeHTML=%s\n" % (HERE, value))
                page = self.wait_page(vantry)
                self.assertIn(b"&lt;script&gt;alert(1)&lt;.html</a>", page)
                self.assertNotIn(b"<script>alert", page)
                self.assertNotIn(b'href="javascript:alert', page)
                self.assertIn(b"javascript:alert(2)", page)
                self.assertEqual("EscapeHTML" in vantry.stderr(), value != "True", vantry.stderr())


@unittest.skipUnless(os.path.exists(NGINX), "nginx is not installed")
class ProxyTest(OpenPort):
    """The server block of the page, with this test's files, ports and user."""

    def setUp(self):
        self.base = tempfile.mkdtemp(prefix="vantry_proxy_")
        self.addCleanup(shutil.rmtree, self.base, True)
        os.chmod(self.base, 0o755)
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                        "/CN=localhost", "-keyout", self.base + "/key.pem", "-out", self.base + "/cert.pem"],
                       check=True, capture_output=True)
        with open(self.base + "/users", "w") as f:
            f.write("ann:{PLAIN}secret\n")

    def start_nginx(self, to_port):
        with open(SECURITY_PAGE) as f:
            block = re.search(r"```nginx\n(.*?)```", f.read(), re.DOTALL)[1]
        port = free_port()
        for old, new in (("443 ssl", "127.0.0.1:%d ssl" % port),
                         ("/etc/ssl/vantry.my.example.pem", self.base + "/cert.pem"),
                         ("/etc/ssl/private/vantry.my.example.key", self.base + "/key.pem"),
                         ("auth_basic_user_file /etc/nginx/vantry.users", "auth_basic_user_file %s/users" % self.base),
                         ("127.0.0.1:8004", "127.0.0.1:%d" % to_port)):
            self.assertEqual(block.count(old), 1, old)
            block = block.replace(old, new)
        temp = "".join("  %s_temp_path %s/%s;\n" % (name, self.base, name)
                       for name in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        with open(self.base + "/nginx.conf", "w") as f:
            f.write("%sdaemon off;\nworker_processes 1;\npid %s/pid;\nevents {}\nhttp {\n  access_log off;\n%s%s}\n" % (
                "user root;\n" if os.geteuid() == 0 else "", self.base, temp, block))
        log = open(self.base + "/start.log", "w")
        self.addCleanup(log.close)
        nginx = subprocess.Popen([NGINX, "-p", self.base, "-e", self.base + "/error.log", "-c",
                                  self.base + "/nginx.conf"], stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.addCleanup(nginx.wait, 20)
        self.addCleanup(nginx.terminate)

        def answers():
            if nginx.poll() is not None:
                with open(self.base + "/start.log") as f:
                    raise AssertionError("nginx did not start: " + f.read())
            return reaches(HERE, port)
        wait_until(answers)
        return port

    def ask(self, port, path, user="ann:secret", data=None, headers=None):
        """Status and body."""
        request = urllib.request.Request("https://127.0.0.1:%d%s" % (port, path), data, headers or {})
        if user:
            request.add_header("Authorization", "Basic " + base64.b64encode(user.encode()).decode())
        context = ssl._create_unverified_context()  # The certificate is this test's own.
        try:
            with urllib.request.urlopen(request, timeout=20, context=context) as answer:
                return answer.status, answer.read()
        except urllib.error.HTTPError as e:
            return e.code, e.read()

    def test_the_proxy_of_the_page(self):
        vantry = self.start_with("BindAddress=127.0.0.1\nControlFrom=-\nEscapeHTML=True\n")
        port = self.start_nginx(vantry.port)
        self.assertEqual(self.ask(port, "/?SITES", user=None)[0], 401)
        self.assertEqual(self.ask(port, "/?SITES", user="ann:wrong")[0], 401)
        status, page = self.ask(port, "/?SITES", headers={"Accept": "text/html, text/vnd.wap.wml"})
        self.assertEqual(status, 200)
        self.assertIn(b"Sites Being Monitored On This Server", page)
        self.assertIn(b"www.example.test", self.ask(port, "/?SITETABLE&site=www.example.test")[1])
        self.assertEqual(self.ask(port, "/?SITES", data=b"\r\n@@STOP\r\n")[0], 403)
        self.assertTrue(self.ask(port, "/?SITES", headers={"X-A": "b", "@@STOP": "c"})[1].endswith(b"</HTML>\r\n\r\n"))
        self.assertTrue(vantry.running())


if __name__ == "__main__":
    unittest.main()
