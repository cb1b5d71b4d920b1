"""What becomes of the program when the message bus is missing, dies, is silent, or has another owner of the name."""

import getpass
import grp
import os
import signal
import socket
import time
import unittest

from gi.repository import GLib

from bus_case import INTERFACE, BusTest, Client, example
from harness import DEADLINE, append, ncsa_line, skip_at_midnight, wait_until

# What a system's bus says by itself: nobody owns a name, nobody calls.
SYSTEM_BUS = """<busconfig><type>system</type><listen>%%s</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><deny own="*"/><deny send_type="method_call"/><allow send_type="signal"/>
<allow send_requested_reply="true" send_type="method_return"/><allow send_requested_reply="true" send_type="error"/>
<allow receive_type="method_call"/><allow receive_type="method_return"/><allow receive_type="error"/>
<allow receive_type="signal"/><allow send_destination="org.freedesktop.DBus"/></policy>%s</busconfig>"""


class TroubleTest(BusTest):
    def watch(self, home, bus, **more):
        append(home.log("access.log"), ncsa_line("192.0.2.1", "/a.html").encode())
        vantry = self.start(home, env={**self.environment(bus), **more})
        vantry.wait_visitor("192.0.2.1")
        return vantry

    def test_a_bus_that_comes_and_goes(self):
        skip_at_midnight()
        bus = self.start_bus()
        bus.kill()
        home = self.home_of_one()
        vantry = self.watch(home, bus)
        self.wait_notes(home, "can't be reached")
        bus.start()
        self.assertEqual(self.client(bus).ask("LogFileName", "(n)", 1), "One")
        self.wait_notes(home, bus.address, "is back")
        bus.kill()
        self.wait_notes(home, "", "", "went away")
        append(home.log("access.log"), ncsa_line("192.0.2.2", "/b.html").encode())
        vantry.wait_visitor("192.0.2.2")
        self.wait_scans(vantry, 3)
        self.wait_notes(home, "", "", "went away")
        bus.start()
        self.assertEqual(self.client(bus).ask("LogFileCurrentVisitors", "(n)", 1), 2)
        self.wait_notes(home, "", "", "", "is back")

    def test_a_bus_that_stops(self):
        skip_at_midnight()
        bus = self.start_bus()
        home = self.home_of_one()
        vantry = self.watch(home, bus)
        program = self.client(bus)
        program.listen()
        bus.process.send_signal(signal.SIGSTOP)
        # More events than a stopped bus takes, with a program there that called: sd-bus asks for 8 MB on its way there.
        path = "/" + "x" * 8000
        now = time.time()
        append(home.log("access.log"), "".join(
            ncsa_line("10.0.%d.%d" % (n // 200, n % 200), path, now) for n in range(3000)).encode())
        self.wait_notes(home, "takes no events")
        wait_until(lambda: len(vantry.addresses()) == 3001, what=lambda: len(vantry.addresses()))
        bus.process.send_signal(signal.SIGCONT)
        self.assertEqual(self.client(bus).ask("LogFileCurrentVisitors", "(n)", 1), 3001)
        self.wait_notes(home, "takes no events", "is back")

    def test_a_name_that_is_taken(self):
        skip_at_midnight()
        bus = self.start_bus()
        first = self.watch(self.home_of_one(), bus)
        self.client(bus)
        home = self.home_of_one()
        home.write_site("Two")
        self.watch(home, bus)
        self.wait_notes(home, "another program")
        program = self.client(bus)
        self.assertEqual(program.ask("LogFileName", "(n)", 1), "One")
        first.stop()
        wait_until(program.reached)
        self.assertEqual(program.ask("LogFileName", "(n)", 1), "Two")
        self.wait_notes(home, "another program", "is back")

    def test_a_socket_that_never_answers(self):
        skip_at_midnight()
        home = self.home_of_one()
        with socket.socket(socket.AF_UNIX) as silent:
            path = os.path.join(home.base, "silent")
            silent.bind(path)
            silent.listen(50)
            begin = time.monotonic()
            vantry = self.watch(home, "unix:path=" + path)
            self.assertLess(time.monotonic() - begin, 9)
            self.wait_notes(home, "does not answer")
            append(home.log("access.log"), ncsa_line("192.0.2.2", "/b.html").encode())
            vantry.wait_visitor("192.0.2.2")
            self.assertLess(vantry.stop(), 9)
        self.wait_notes(home, "does not answer")

    def test_no_bus_at_all(self):
        skip_at_midnight()
        home = self.home_of_one()
        vantry = self.watch(home, "")
        self.wait_scans(vantry, 3)
        self.wait_notes(home, "DBUS_SESSION_BUS_ADDRESS")


class ServiceTest(BusTest):
    def test_the_policy_of_the_page_lets_a_service_and_its_callers_in(self):
        user, group = getpass.getuser(), grp.getgrgid(os.getgid()).gr_name
        policies = example("xml").split("<busconfig>")[1].split("</busconfig>")[0]
        with self.subTest("without the policy"):
            bus = self.start_bus(SYSTEM_BUS % "")
            home = self.home_of_one()
            vantry = self.start(home, env={"NOTIFY_SOCKET": "/dev/null", "DBUS_SYSTEM_BUS_ADDRESS": bus.address})
            self.wait_notes(home, "refuses the name")
            vantry.stop()
        for allowed in (True, False):
            with self.subTest("with the policy", allowed=allowed):
                text = policies.replace('user="vantry"', 'user="%s"' % user)
                text = text.replace('group="monitoring"', 'group="%s"' % (group if allowed else "nogroup"))
                bus = self.start_bus(SYSTEM_BUS % text)
                home = self.home_of_one()
                vantry = self.start(home, env={"NOTIFY_SOCKET": "/dev/null", "DBUS_SYSTEM_BUS_ADDRESS": bus.address,
                                               "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nowhere"})
                if allowed:
                    self.assertEqual(self.client(bus).ask("LogFileName", "(n)", 1), "One")
                else:
                    self.expect_denial(bus)
                self.assertEqual(self.notes(home), [])
                vantry.stop()

    def expect_denial(self, bus):
        client = Client(bus.address)
        self.addCleanup(client.close)

        def answer():
            try:
                return client.raw(INTERFACE, "HTMLFooter", None)
            except GLib.Error as error:
                return None if "ServiceUnknown" in error.message else error.message
        self.assertIn("AccessDenied", wait_until(answer, DEADLINE))


if __name__ == "__main__":
    unittest.main()
