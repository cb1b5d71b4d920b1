#!/usr/bin/python3
"""vantry-import on the configuration of nginx with several sites, whose visitors the program then shows."""

import http.client
import os
import shutil
import subprocess
import unittest

from harness import SystemTest, free_port, ncsa_line, skip_at_midnight, vantry_binary, wait_until, write_file

NGINX = shutil.which("nginx") or "/usr/sbin/nginx"
IMPORT = os.path.join(os.path.dirname(vantry_binary()), "vantry-import")

MAIN = """user www-data;
events { worker_connections 768; }
http {
  log_format timed '$remote_addr - $remote_user [$time_local] "$request" $status $body_bytes_sent '
                   '"$http_referer" "$http_user_agent" $request_time';
  log_format json escape=json '{"ip":"$remote_addr","uri":"$request_uri"}';
  access_log /var/log/nginx/access.log;
  include /etc/nginx/sites-enabled/*;
}
"""
SITES = {
    "a": "server { listen 80; server_name a.example www.a.example; access_log /var/log/nginx/a.log; }\n",
    "b": "server { listen 80; server_name b.example; access_log /var/log/nginx/b.log timed; }\n",
    "c": "server { listen 80; server_name c.example; }\nserver { listen 80; server_name d.example; }\n",
    "e": "server {\n  server_name e.example;\n  access_log /var/log/nginx/e.log json;\n}\n",
}
NGINX_MAIN = """{user}
daemon off;
worker_processes 1;
pid {prefix}/nginx.pid;
events {{ worker_connections 64; }}
http {{
  client_body_temp_path {prefix}/tmp1; proxy_temp_path {prefix}/tmp2; fastcgi_temp_path {prefix}/tmp3;
  uwsgi_temp_path {prefix}/tmp4; scgi_temp_path {prefix}/tmp5;
  include sites-enabled/*;
}}
"""
NGINX_SITE = """server {{
  listen 127.0.0.1:{port};
  server_name {name}.example www.{name}.example;
  root pages;
  access_log logs/{name}.log;
}}
"""


class ImportTest(SystemTest):
    def machine(self, home):
        root = home.file("machine")
        for folder in ("sites-available", "sites-enabled"):
            os.makedirs(os.path.join(root, "etc/nginx", folder))
        os.makedirs(os.path.join(root, "var/log/nginx"))
        write_file(os.path.join(root, "etc/nginx/nginx.conf"), MAIN)
        for name, text in SITES.items():
            write_file(os.path.join(root, "etc/nginx/sites-available", name), text)
            # A full path, as Debian's packages have it: below the root, not on this machine.
            os.symlink("/etc/nginx/sites-available/" + name, os.path.join(root, "etc/nginx/sites-enabled", name))
        return root

    def run_import(self, home, *words, **how):
        return subprocess.run([IMPORT, *words], stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60,
                              env={"PATH": "/usr/bin:/bin", "VANTRY_HOME": home.path}, **how)

    def test_all_sites_of_nginx_are_found_and_shown(self):
        skip_at_midnight()
        home = self.home()
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nAll=True\n")
        root = self.machine(home)
        log = lambda name: os.path.join(root, "var/log/nginx", name)
        write_file(log("a.log"), ncsa_line("10.0.0.1", "/a.html"))
        write_file(log("e.log"), '{"ip":"10.0.0.5","uri":"/"}\n')
        write_file(log("access.log"), "")

        before = self.files(root)
        listed = self.run_import(home, "--dry-run", "--root", root)
        self.assertEqual((listed.returncode, listed.stderr), (0, ""))
        self.assertFalse(os.path.exists(home.file("VANTRY.INI")))
        mute = self.run_import(home, "--root", root)
        self.assertEqual(mute.returncode, 1)
        self.assertIn("Use --all", mute.stderr)
        done = self.run_import(home, "--all", "--root", root)
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)
        self.assertEqual(self.files(root), before, "the web server's files are only read")
        for domain in ("a.example", "b.example", "c.example"):
            self.assertRegex(done.stdout, r"(?m)^Added %s " % domain)
        self.assertNotIn("Added e.example", done.stdout)
        self.assertIn("write into the server's block (/etc/nginx/sites-enabled/e:1): "
                      "access_log /var/log/nginx/e.example.access.log combined;", done.stdout)
        self.assertIn("The same log has the visitors of: d.example.", done.stdout)

        again = self.run_import(home, "--all", "--root", root)
        self.assertEqual((again.returncode, again.stderr), (0, ""))
        self.assertIn("Nothing to add.", again.stdout)

        write_file(log("b.log"), ncsa_line("10.0.0.2", "/b.html").replace("\n", " 0.004\n"))
        write_file(log("access.log"), ncsa_line("10.0.0.3", "/c.html"))
        vantry = self.start(home)
        for address, page in (("10.0.0.1", "a.html"), ("10.0.0.2", "b.html"), ("10.0.0.3", "c.html")):
            vantry.wait_visitor(address, page)

    def nginx(self, root):
        """A running nginx whose whole configuration is below this folder: of the prefix that Debian builds it with, and
        of its configuration file, it knows by relative paths alone where they are."""
        prefix, port = os.path.join(root, "usr/share/nginx"), free_port()
        for folder in (os.path.join(prefix, "pages"), os.path.join(prefix, "logs"), os.path.join(root, "etc/nginx/sites-enabled")):
            os.makedirs(folder)
        write_file(os.path.join(prefix, "pages/index.html"), "Welcome.\n")
        config = os.path.join(root, "etc/nginx/nginx.conf")
        write_file(config, NGINX_MAIN.format(user="user root;" if os.geteuid() == 0 else "", prefix=prefix))
        for name in ("a", "b"):
            write_file(os.path.join(root, "etc/nginx/sites-enabled", name), NGINX_SITE.format(port=port, name=name))
        os.chmod(os.path.dirname(root), 0o755)
        process = subprocess.Popen([NGINX, "-p", prefix + "/", "-e", prefix + "/error.log", "-c", config],
                                   stdin=subprocess.DEVNULL, env={"TZ": "UTC", "PATH": "/usr/bin:/bin"})

        def end():
            process.terminate()
            process.wait(20)
        self.addCleanup(end)
        return port

    def visit(self, port, host, address):
        """True once there is an answer; before that nobody listens."""
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=20, source_address=(address, 0))
        try:
            connection.request("GET", "/index.html", headers={"Host": host, "User-Agent": "Mozilla/5.0 (X11)"})
            return connection.getresponse().status == 200
        except OSError:
            return False
        finally:
            connection.close()

    @unittest.skipUnless(os.path.exists(NGINX), "nginx is not installed")
    def test_one_command_on_a_machine_with_nginx(self):
        skip_at_midnight()
        home = self.home()
        os.unlink(home.file("registry.ini"))  # The folder is new.
        root = os.path.join(home.base, "machine")
        port = self.nginx(root)
        wait_until(lambda: self.visit(port, "a.example", "127.0.0.250"), what="nginx does not answer")
        done = self.run_import(home, "--all", "--root", root)
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)
        vantry = self.start(home)
        for host, address in (("a.example", "127.0.0.9"), ("b.example", "127.0.0.10")):
            self.assertTrue(self.visit(port, host, address))
            vantry.wait_visitor(address, "index.html")
        self.assertEqual({v.domain for v in vantry.list()}, {"a.example", "b.example"})

    @staticmethod
    def files(root):
        seen = {}
        for folder, _, names in os.walk(root):
            for name in names:
                path = os.path.join(folder, name)
                info = os.lstat(path)
                seen[path] = (info.st_size, info.st_mtime_ns, info.st_mode)
        return seen

    def test_wrong_use_and_a_machine_without_a_server(self):
        home = self.home()
        for words, code in ((("--nonsense",), 2), (("--all", "--dry-run"), 2), (("--root",), 2),
                            (("--all", "--root", home.file("nothing")), 1), (("--all", "--root", home.path), 1)):
            done = self.run_import(home, *words)
            self.assertEqual((done.returncode, done.stdout), (code, ""), words)
            self.assertTrue(done.stderr.startswith("vantry-import: "), done.stderr)
        self.assertEqual(self.run_import(home, "--help").returncode, 0)


if __name__ == "__main__":
    unittest.main()
