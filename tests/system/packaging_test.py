#!/usr/bin/python3
"""What the packages bring beside the programs: unit, manual pages, completion, data of the desktop. The packages themselves are
built by scripts/make-packages and tested by debian/tests."""

import os
import pwd
import re
import shutil
import subprocess
import tempfile
import unittest

from harness import ncsa_line, vantry_binary, write_file

TOP = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
BIN = os.path.dirname(vantry_binary())
CTL = os.path.join(BIN, "vantryctl")


def read(*path):
    with open(os.path.join(TOP, *path), encoding="utf-8") as f:
        return f.read()


def run(*words, **how):
    return subprocess.run(words, capture_output=True, text=True, timeout=60, stdin=subprocess.DEVNULL, **how)


class PackagingTest(unittest.TestCase):
    def need(self, tool, package):
        found = shutil.which(tool) or shutil.which(tool, path="/usr/sbin:/sbin")
        if not found:
            self.skipTest("%s (package %s) is missing" % (tool, package))
        return found

    def folder(self):
        folder = tempfile.mkdtemp(prefix="vantry_packaging_")
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        return folder

    def commands(self):
        text = run(CTL, "--help").stdout
        return re.findall(r"^  ([a-z-]+) {2,}", text.split("Commands:")[1].split("Options:")[0], re.M)

    def options(self, command):
        return set(re.findall(r"^  (--[a-z-]+)", run(CTL, command, "--help").stdout, re.M)) | {"--help"}

    def unit(self):
        """The packaged unit, with the built program in place of the installed one."""
        path = os.path.join(self.folder(), "vantry.service")
        write_file(path, read("debian", "vantry.service").replace("/usr/bin/vantry\n", vantry_binary() + "\n"))
        return path

    def test_the_unit_is_sound(self):
        self.need("systemd-analyze", "systemd")
        done = run("systemd-analyze", "verify", "--man=no", self.unit())
        # The verifier looks neither for files of documentation nor for the user.
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_the_unit_allows_little(self):
        self.need("systemd-analyze", "systemd")
        done = run("systemd-analyze", "security", "--offline=true", "--threshold=15", self.unit())
        self.assertEqual(done.returncode, 0, done.stdout[-300:] + done.stderr)
        self.assertLessEqual(float(re.search(r"exposure level for \S+: ([\d.]+)", done.stdout).group(1)), 1.5)
        self.assertIn("SupplementaryGroups=adm", read("debian", "vantry.service").split("\n"))

    def test_an_installed_unit_has_the_rules_of_the_packaged_one(self):
        folder = self.folder()
        done = run(CTL, "install-service", folder, "--root", folder, "--account", "x")
        self.assertEqual(done.returncode, 0, done.stderr)
        with open(os.path.join(folder, "etc/systemd/system/vantry.service"), encoding="utf-8") as f:
            installed = f.read().split("\n")
        own = ("Documentation", "Environment", "ExecStart=", "User", "Group", "StateDirectory", "ReadWritePaths",
               "AppArmorProfile", "#")
        packaged = [line for line in read("debian", "vantry.service").split("\n") if line and not line.startswith(own)]
        self.assertEqual([line for line in installed if line and not line.startswith(own)], packaged)

    def test_each_program_has_a_page_that_names_its_options(self):
        install = re.search(r"install\(TARGETS ([^)]*?) RUNTIME", read("CMakeLists.txt")).group(1).split()
        for program in install:
            with self.subTest(program=program):
                page = read("docs", "man", program + ".1").replace("\\-", "-")
                self.assertIn("docs/man/%s.1" % program, read("CMakeLists.txt"))
                for option in re.findall(r"^ {2}(--[a-z-]+)", run(os.path.join(BIN, program), "--help").stdout, re.M):
                    self.assertIn(option, page)

    def test_the_page_and_the_completion_of_vantryctl_have_its_commands_and_options(self):
        page = read("docs", "man", "vantryctl.1").replace("\\-", "-")
        completion = read("data", "vantryctl.bash")
        self.assertGreater(len(self.commands()), 10)
        for command in self.commands():
            with self.subTest(command=command):
                self.assertRegex(page, r"(?m)^\.B[IR]? %s\b" % command)
                self.assertRegex(completion, r"[\s\"]%s[\s\"]" % command)
                for option in self.options(command):
                    self.assertIn(option, page)

    def test_pages_are_written_well(self):
        self.need("man", "man-db")
        for name in sorted(os.listdir(os.path.join(TOP, "docs", "man"))):
            done = run("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", os.path.join(TOP, "docs", "man", name),
                       env={**os.environ, "LC_ALL": "C.UTF-8", "MANROFFSEQ": "", "MANWIDTH": "80"})
            self.assertEqual((done.returncode, done.stderr), (0, ""), name)

    def complete(self, *words):
        script = ("source /usr/share/bash-completion/bash_completion; source %s/data/vantryctl.bash; COMP_WORDS=(\"$@\");"
                  "COMP_CWORD=$(($# - 1)); COMP_LINE=\"$*\"; COMP_POINT=${#COMP_LINE}; _vantryctl;"
                  "printf '%%s\\n' \"${COMPREPLY[@]}\"" % TOP)
        return set(run("bash", "-c", script, "bash", "vantryctl", *words).stdout.split())

    def test_completion(self):
        if not os.path.exists("/usr/share/bash-completion/bash_completion"):
            self.skipTest("the package bash-completion is missing")
        self.assertEqual(self.complete("install"), {"install-service"})
        self.assertEqual(self.complete(""), set(self.commands()))
        self.assertEqual(self.complete("--port", "80", "pa"), {"pause"})
        for command in self.commands():
            self.assertEqual(self.complete(command, "--"), self.options(command), command)

    def test_the_desktop_file_and_its_data_are_valid(self):
        done = run(self.need("desktop-file-validate", "desktop-file-utils"),
                   os.path.join(TOP, "data", "com.tressimond.Vantry.desktop"))
        self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))
        done = run(self.need("appstreamcli", "appstream"), "validate", "--no-net",
                   os.path.join(TOP, "data", "com.tressimond.Vantry.metainfo.xml"))
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_the_profile_is_understood(self):
        parser = self.need("apparmor_parser", "apparmor")
        done = run(parser, "--skip-kernel-load", "--skip-cache", "-Q", os.path.join(TOP, "debian", "apparmor-profile"))
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_the_packaged_registry_is_what_add_site_writes_and_the_live_page(self):
        folder = self.folder()
        write_file(os.path.join(folder, "access.log"), ncsa_line("10.0.0.1", "/a.html"))
        done = run(CTL, "add-site", os.path.join(folder, "home"), "--name", "One", "--domain", "d",
                   os.path.join(folder, "access.log"))
        self.assertEqual(done.returncode, 0, done.stderr)
        with open(os.path.join(folder, "home", "registry.ini"), encoding="utf-8") as f:
            self.assertEqual(f.read() + "[Live]\nPort=8005\n\n", read("debian", "registry.ini"))

    def test_root_writes_as_the_owner_of_the_folder(self):
        if os.geteuid() != 0:
            self.skipTest("only root can become somebody else")
        folder = self.folder()
        os.chmod(folder, 0o755)
        home = os.path.join(folder, "home")
        os.mkdir(home)
        nobody = pwd.getpwnam("nobody")
        os.chown(home, nobody.pw_uid, nobody.pw_gid)
        log = os.path.join(folder, "access.log")
        write_file(log, ncsa_line("10.0.0.1", "/a.html"))
        os.chmod(log, 0o600)  # Root reads it before it becomes the owner.
        target = os.path.join(folder, "of-root")
        write_file(target, "precious")
        os.chmod(target, 0o600)
        os.symlink(target, os.path.join(home, "vantry.lock"))
        done = run(CTL, "add-site", home, "--name", "One", "--domain", "d", log)
        self.assertEqual(done.returncode, 1, "a link of the owner's leads root nowhere")
        os.unlink(os.path.join(home, "vantry.lock"))
        done = run(CTL, "add-site", home, "--name", "One", "--domain", "d", log)
        self.assertEqual(done.returncode, 0, done.stderr)
        for name in ("VANTRY.INI", "registry.ini", "vantry.lock"):
            self.assertEqual(os.stat(os.path.join(home, name)).st_uid, nobody.pw_uid, name)


if __name__ == "__main__":
    unittest.main()
