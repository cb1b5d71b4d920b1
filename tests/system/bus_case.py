"""What the tests of the automation share: a message bus of their own, and a program that asks and listens on it."""

import os
import re
import shutil
import signal
import subprocess
import tempfile

from gi.repository import Gio, GLib

from harness import SystemTest, wait_until

NAME = "com.tressimond.Vantry"
CONNECTOR, INTERFACE = NAME + ".VantryConnector", NAME + ".Interface"
DOCS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "automation.md")


def example(language):
    """The first block of this language in the page about the automation."""
    with open(DOCS, encoding="utf-8") as f:
        return re.search(r"^```%s\n(.*?)^```$" % language, f.read(), re.MULTILINE | re.DOTALL)[1]


class Bus:
    """A real bus that can be killed and started again at the same address."""

    def __init__(self, config=None):
        self.folder = tempfile.mkdtemp(prefix="vantry_bus_")
        self.path = os.path.join(self.folder, "bus")
        self.address = "unix:path=" + self.path
        self.config = config
        self.process = None

    def start(self):
        kind = "--session"
        if self.config:
            with open(os.path.join(self.folder, "bus.conf"), "w") as f:
                f.write(self.config % self.address)
            kind = "--config-file=" + f.name
        self.process = subprocess.Popen(
            ["dbus-daemon", kind, "--nofork", "--nosyslog", "--nopidfile", "--address=" + self.address],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(self.accepts)
        return self

    def accepts(self):
        try:
            Client(self.address).close()
            return True
        except GLib.Error:
            return False

    def kill(self):
        self.process.kill()
        self.process.wait()
        if os.path.exists(self.path):
            os.unlink(self.path)

    def clean_up(self):
        if self.process and self.process.poll() is None:
            self.process.send_signal(signal.SIGCONT)
            self.kill()
        shutil.rmtree(self.folder, ignore_errors=True)


class Client:
    """A program on the bus."""

    def __init__(self, address):
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self.bus = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)
        self.events = []

    def raw(self, interface, member, arguments, path="/Interface"):
        """The results; None where there are none. Fails with GLib.Error."""
        return self.bus.call_sync(NAME, path, interface, member, arguments, None, Gio.DBusCallFlags.NONE, 30_000,
                                  None).unpack()

    def ask(self, member, types="()", *values):
        """The result of an operation, or all of them when there are several."""
        results = self.raw(INTERFACE, member, GLib.Variant(types, values))
        return results[0] if len(results) == 1 else results

    def property(self, name, path="/Interface", interface=INTERFACE):
        arguments = GLib.Variant("(ss)", (interface, name))
        return self.raw("org.freedesktop.DBus.Properties", "Get", arguments, path)[0]

    def reached(self):
        try:
            return self.property("NumberOfSites") > 0
        except GLib.Error:
            return False

    def listen(self):
        def heard(_bus, _sender, _path, _interface, event, values):
            self.events.append((event, *values.unpack()))
        self.bus.signal_subscribe(NAME, INTERFACE, None, "/Interface", None, Gio.DBusSignalFlags.NONE, heard)
        self.property("NumberOfSites")  # From now on every event comes.

    def heard(self, event, *values):
        """All events of this kind that begin with these values."""
        while GLib.MainContext.default().iteration(False):
            pass
        return [e for e in self.events if e[:len(values) + 1] == (event, *values)]

    def wait_event(self, event, *values):
        return wait_until(lambda: self.heard(event, *values),
                          what=lambda: "%s%s; heard: %s" % (event, values, self.events[-20:]))[0]

    def close(self):
        self.bus.close_sync(None)


class BusTest(SystemTest):
    def start_bus(self, config=None):
        bus = Bus(config)
        self.addCleanup(bus.clean_up)
        return bus.start()

    def client(self, bus):
        client = Client(bus.address)
        self.addCleanup(lambda: client.bus.is_closed() or client.close())
        wait_until(client.reached)
        return client

    def home_of_one(self, **settings):
        """A program folder with the site One, and a short time between two tries to reach the bus."""
        home = self.home()
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Automation]\nRetrySeconds=1\n")
        home.write_settings(**settings)
        home.write_site()
        return home

    def environment(self, bus):
        return {"DBUS_SESSION_BUS_ADDRESS": bus if isinstance(bus, str) else bus.address}

    @staticmethod
    def notes(home):
        """What the program log says about the bus."""
        try:
            with open(home.file("Data/TRL.LOG"), encoding="latin-1") as f:
                return [line.strip() for line in f if "Automation: " in line]
        except FileNotFoundError:
            return []

    def wait_notes(self, home, *parts):
        """As many notes as parts, each with its part."""
        notes = wait_until(lambda: self.notes(home)[len(parts) - 1:] and self.notes(home))
        self.assertEqual(len(notes), len(parts), notes)
        for note, part in zip(notes, parts):
            self.assertIn(part, note)
