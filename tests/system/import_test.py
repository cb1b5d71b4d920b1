#!/usr/bin/python3
"""vantry-import on the configuration of nginx with several sites, whose visitors the program then shows."""

import os
import subprocess
import unittest

from harness import SystemTest, ncsa_line, skip_at_midnight, vantry_binary, write_file

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
