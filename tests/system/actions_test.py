#!/usr/bin/python3
"""Programs that the running program starts when exceptions are raised."""

import os
import signal
import time
import unittest

from harness import SystemTest, append, ncsa_line, skip_at_midnight, wait_until, write_file
from history_case import NO_EXCEPTIONS

PROMPT = 5.0


def running_type(number, run):
    pairs = {"Number": number, "Description": "Status %d" % number, "Value": "", "Raise": True, "RunProgram": True,
             "Run": run}
    return "[%d]\r\n" % number + "".join("%s=%s\r\n" % pair for pair in pairs.items()) + "\r\n"


def process_fields(pid):
    """State and parent of a process; None when it is gone."""
    try:
        with open("/proc/%d/stat" % pid) as f:
            fields = f.read().rsplit(")", 1)[1].split()
    except (FileNotFoundError, ProcessLookupError):
        return None
    return fields[0], int(fields[1])


def children(pid):
    found = [(int(name), process_fields(int(name))) for name in os.listdir("/proc") if name.isdigit()]
    return [(child, fields[0]) for child, fields in found if fields and fields[1] == pid]


class ActionsTest(SystemTest):
    def setUp(self):
        skip_at_midnight()
        self.visitors = 0

    def script(self, home, name, text, mode=0o755):
        path = os.path.join(home.base, name)
        write_file(path, text)
        os.chmod(path, mode)
        return path

    def begin(self, home, runs, **how):
        """`runs`: per status what is run when a request ends in it."""
        home.write("EXTYPES.INI", NO_EXCEPTIONS[:-2] + "".join(running_type(*run) for run in runs.items()) + "\r\n")
        home.write_site()
        append(home.log("access.log"), ncsa_line("10.0.0.1", "/index.html"))
        vantry = self.start(home, **how)
        vantry.wait_visitor("10.0.0.1", "index.html")
        return vantry

    def fail(self, home, *statuses, page="/gone.html"):
        """Each request is of a visitor of its own: of one visitor, one page counts for each second."""
        lines = []
        for status in statuses:
            self.visitors += 1
            lines.append(ncsa_line("10.1.0.%d" % self.visitors, page, status=status))
        append(home.log("access.log"), "".join(lines))

    @staticmethod
    def failures(vantry):
        return [line for line in vantry.failed_steps() if line.endswith(" From f.runThis")]

    def wait_failures(self, vantry, count):
        return wait_until(lambda: len(self.failures(vantry)) >= count and self.failures(vantry),
                          what=lambda: (vantry.failed_steps(), vantry.stderr()[-2000:]))

    def test_variables_reach_the_program(self):
        home = self.home()
        run = self.script(home, "act.sh", "#!/bin/sh\ncd %s\nenv > new.$$\ncat /proc/self/status >> new.$$\n"
                                          "mv new.$$ out.$$\n" % home.base)
        vantry = self.begin(home, {404: run})

        def results():
            return [os.path.join(home.base, name) for name in os.listdir(home.base) if name.startswith("out.")]
        for count, page in enumerate(("missing.html", "$(id);'x'.html"), 1):
            before = set(results())
            self.fail(home, 404, page="/" + page)
            wait_until(lambda: len(results()) == count, what=vantry.stderr)
            with open((set(results()) - before).pop(), encoding="latin-1") as f:
                text = f.read()
            lines = text.splitlines()
            self.assertIn("vantryIPAddress=10.1.0.%d" % count, lines)
            self.assertIn("vantryExceptionNumber=404", lines)
            self.assertIn("vantryExceptionValue=" + page, lines)
            self.assertTrue(any(line.startswith("vantrySiteName=One") for line in lines), lines)
            self.assertIn("VANTRY_HOME=" + home.path, lines)
            self.assertIn("SigBlk:\t0000000000000000", lines)
            self.assertIn("SigIgn:\t0000000000000000", lines)
        self.assertEqual(children(vantry.pid()), [])
        with open("/proc/%d/environ" % vantry.pid(), "rb") as f:
            self.assertNotIn(b"vantryIPAddress", f.read())

    def test_what_cant_be_run_is_told_and_the_program_goes_on(self):
        home = self.home()
        folder = os.path.join(home.base, "folder")
        os.mkdir(folder)
        plain = self.script(home, "plain.sh", "#!/bin/sh\n", 0o644)
        broken = self.script(home, "broken", "no program\n")
        astray = self.script(home, "astray", "#!/no/such/interpreter\n")
        # No program that opens documents: an empty folder is all that is searched.
        vantry = self.begin(home, {403: folder, 404: plain, 405: broken, 406: astray, 410: "/no/such/file"},
                            env={"PATH": folder})
        vantry.errors_expected = True
        self.fail(home, 410, 403, 404, 405, 406)
        lines = self.wait_failures(vantry, 4)
        for line, path, reason in zip(lines, (folder, plain, broken, astray),
                                      ("is a folder", "is not executable", "Exec format error", "interpreter")):
            self.assertIn(" %s: " % path, line)
            self.assertIn(reason, line)
        self.assertEqual(len(lines), 4)
        append(home.log("access.log"), ncsa_line("10.0.0.2", "/index.html"))
        vantry.wait_visitor("10.0.0.2", "index.html")
        self.assertEqual(children(vantry.pid()), [])

    def test_document_is_opened_by_the_program_for_its_type(self):
        home = self.home()
        tools, out = os.path.join(home.base, "tools"), os.path.join(home.base, "out")
        os.mkdir(tools)
        self.script(home, "tools/xdg-open", "#!/bin/sh\ncd %s\necho \"$# $1\" > new\n/bin/mv new out\n" % home.base)
        page = self.script(home, "page.html", "<p>", 0o644)
        self.begin(home, {404: page}, env={"PATH": tools})
        self.fail(home, 404)
        wait_until(lambda: os.path.exists(out))
        with open(out) as f:
            self.assertEqual(f.read(), "1 %s\n" % page)

    def test_program_that_hangs_holds_up_nobody(self):
        home = self.home()
        run = self.script(home, "hang.sh", "#!/bin/sh\n: > %s/pid.$$\nexec sleep 300\n" % home.base)
        vantry = self.begin(home, {404: run})

        def pids():
            return [int(name[4:]) for name in os.listdir(home.base) if name.startswith("pid.")]

        def end_all():
            for pid in pids():
                try:
                    os.kill(pid, signal.SIGTERM)
                except ProcessLookupError:
                    pass
        self.addCleanup(end_all)
        self.fail(home, *[404] * 5)
        wait_until(lambda: len(pids()) == 5, what=vantry.stderr)
        begin = time.monotonic()
        vantry.list_bytes()
        self.assertLess(time.monotonic() - begin, PROMPT)
        self.assertEqual(children(vantry.pid()), [])
        self.assertLess(vantry.stop(), PROMPT)
        for pid in pids():
            self.assertIsNotNone(process_fields(pid), "it outlives the program")
            os.kill(pid, signal.SIGTERM)
            wait_until(lambda: (process_fields(pid) or "Z")[0] == "Z", what="it can be ended")


if __name__ == "__main__":
    unittest.main()
