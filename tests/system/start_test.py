"""What the program makes of its command line, of signals without a meaning, and of files it may not read."""

import os
import re
import shutil
import signal
import subprocess
import unittest
import unittest.mock

from harness import SystemTest, vantry_binary

NOBODY = 65534


def run(*words):
    return subprocess.run([vantry_binary(), *words], capture_output=True, text=True, timeout=30,
                          env={"PATH": "/usr/bin:/bin", "VANTRY_HOME": "/nonexistent"})


class CommandLineTest(unittest.TestCase):
    def test_options_are_answered_or_refused_without_a_start(self):
        done = run("--version")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertRegex(done.stdout, r"^Vantry \d+\.\d+\.\d{3}\n$")
        done = run("--help")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertTrue(done.stdout.startswith("Usage: vantry\n"), done.stdout)
        done = run("--port=80")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertTrue(done.stderr.startswith("vantry: there is no option '--port=80'."), done.stderr)


class StartTest(SystemTest):
    def test_signals_without_a_meaning_change_nothing(self):
        vantry = self.start(self.home())
        for number in (signal.SIGUSR1, signal.SIGUSR2, signal.SIGPIPE):
            vantry.send_signal(number)
        self.assertEqual(vantry.control("HELLO"), "Vantry 2.0.000 [Running]")
        vantry.stop()

    def test_each_start_says_who_may_look_and_who_may_steer(self):
        home = self.home()
        vantry = self.start(home)
        line = "May look: this machine alone, without a login. May steer: this machine alone.\n"
        self.assertTrue(vantry.stdout().endswith(line), vantry.stdout())
        vantry.stop()
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\nControlFrom127.0.0.1\n")
        vantry = self.start(home)
        self.assertTrue(vantry.stdout().endswith("May steer: nobody.\n"), vantry.stdout())
        self.assertIn("ControlFrom127.0.0.1", vantry.stderr())
        vantry.stop()

    def test_a_site_file_that_may_not_be_read_is_there_after_the_stop(self):
        home = self.home()
        home.write_site()
        path = home.file("VANTRY.INI")
        with open(path, "rb") as f:
            before = f.read()
        os.chmod(path, 0)
        drop = None
        if os.getuid() == 0:  # Who may read everything must become somebody who may not, nor enter the build folder.
            shutil.copy(vantry_binary(), home.base)
            self.enterContext(unittest.mock.patch.dict(os.environ, VANTRY_BIN=home.base))
            for folder, _, names in os.walk(home.base):
                for name in [folder, *(os.path.join(folder, n) for n in names)]:
                    os.chown(name, NOBODY, NOBODY)
            drop = lambda: (os.setgid(NOBODY), os.setuid(NOBODY))
        vantry = self.start(home, preexec=drop)
        vantry.errors_expected = True
        self.assertEqual(vantry.status(), [])
        self.assertTrue(re.search(r"No site is watched: .*VANTRY.INI", vantry.stderr()), vantry.stderr())
        vantry.stop()
        os.chmod(path, 0o600)
        with open(path, "rb") as f:
            self.assertEqual(f.read(), before)


if __name__ == "__main__":
    unittest.main()
