#!/usr/bin/python3
"""The window on a display of its own (Xvfb), driven from outside as a screen reader does it: over the accessibility bus
it is found by the names of its parts, read, and steered."""

import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
import unittest

from harness import SystemTest, append, ncsa_line, skip_at_midnight, vantry_binary, wait_until

MODULE = os.path.join(os.path.dirname(vantry_binary()), "..", "lib", "vantry", "vantry-desktop.so")
BUTTON = ("push button", "button")  # Its name before and after version 2.53 of the bus.
pyatspi = None  # Imported when its bus is there, which it looks for at once.


class Display:
    """A display and a session bus."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="vantry_display_")
        os.chmod(self.folder, 0o700)
        read, write = os.pipe()
        self.x = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-screen", "0", "1400x900x24", "-nolisten", "tcp"],
                                  pass_fds=[write], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as number:
            self.name = ":" + number.readline().strip()
        self.bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=self.environment(""))
        self.address = self.bus.stdout.readline().decode().strip()

    def environment(self, address):
        environment = {k: v for k, v in os.environ.items() if k not in ("WAYLAND_DISPLAY", "AT_SPI_BUS_ADDRESS")}
        environment.update(DISPLAY=self.name, XDG_RUNTIME_DIR=self.folder, HOME=self.folder, LC_ALL="C.UTF-8")
        if address:
            environment["DBUS_SESSION_BUS_ADDRESS"] = address
        return environment

    def of_the_program(self):
        return {"DISPLAY": self.name, "XDG_RUNTIME_DIR": self.folder, "HOME": self.folder,
                "DBUS_SESSION_BUS_ADDRESS": self.address, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
                "NO_AT_BRIDGE": "0", "LC_ALL": "C.UTF-8"}

    def close(self):
        for process in (self.bus, self.x):
            process.terminate()
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self.bus.stdout.close()
        shutil.rmtree(self.folder, ignore_errors=True)


class Tray:
    """A tray as desktops have it: items register at it over the bus."""

    XML = """<node><interface name="org.kde.StatusNotifierWatcher">
      <method name="RegisterStatusNotifierItem"><arg direction="in" type="s"/></method>
      <method name="RegisterStatusNotifierHost"><arg direction="in" type="s"/></method>
      <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
      <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
      <property name="ProtocolVersion" type="i" access="read"/>
      <signal name="StatusNotifierHostRegistered"/></interface></node>"""

    def __init__(self, address):
        from gi.repository import Gio, GLib
        self.Gio, self.GLib = Gio, GLib
        self.items = []
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        interface = Gio.DBusNodeInfo.new_for_xml(self.XML).interfaces[0]
        self.bus.register_object("/StatusNotifierWatcher", interface, self._called, self._property, None)
        self._call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                   GLib.Variant("(su)", ("org.kde.StatusNotifierWatcher", 4)))
        self.loop = GLib.MainLoop()
        self.thread = threading.Thread(target=self.loop.run)  # The program asks while it starts.
        self.thread.start()

    def _called(self, _bus, sender, _path, _interface, method, parameters, invocation):
        if method == "RegisterStatusNotifierItem":
            self.items.append((sender, parameters.unpack()[0]))
        invocation.return_value(None)

    def _property(self, _bus, _sender, _path, _interface, name):
        return {"RegisteredStatusNotifierItems": self.GLib.Variant("as", []),
                "IsStatusNotifierHostRegistered": self.GLib.Variant("b", True),
                "ProtocolVersion": self.GLib.Variant("i", 0)}[name]

    def _call(self, name, path, interface, method, parameters):
        return self.bus.call_sync(name, path, interface, method, parameters, None, self.Gio.DBusCallFlags.NONE, 5000,
                                  None).unpack()

    def tooltip(self):
        return self._call(self.items[-1][0], "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                          self.GLib.Variant("(ss)", ("org.kde.StatusNotifierItem", "ToolTip")))[0]

    def click(self):
        self._call(self.items[-1][0], "/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate",
                   self.GLib.Variant("(ii)", (0, 0)))

    def close(self):
        self.loop.quit()
        self.thread.join()
        self.bus.close_sync(None)


def role_of(node):
    """None when it went away meanwhile."""
    from gi.repository import GLib
    try:
        return node.getRoleName()
    except GLib.GError:
        return None


def parts(node, depth=0):
    """Every accessible object below this one."""
    yield node
    if depth > 30:
        return
    for i in range(node.childCount):
        child = node.getChildAtIndex(i)
        # A table has a child for each cell; those that are asked for are found by their places.
        if child is not None and role_of(child) not in (None, "table cell", "table row"):
            yield from parts(child, depth + 1)


@unittest.skipUnless(os.path.exists(MODULE), "this build has no window")
class WindowTest(SystemTest):
    @classmethod
    def setUpClass(cls):
        global pyatspi
        cls.display = Display()
        cls.addClassCleanup(cls.display.close)
        os.environ.update(cls.display.environment(cls.display.address))
        import pyatspi as module
        pyatspi = module

    def open(self, env=None, **settings):
        home = self.home()
        home.write_settings(**settings)
        home.write_sites(home.section("Garden", home.logs, Domain="www.garden.example"),
                         home.section("Tools", home.logs, Domain="www.tools.example", Mask="tools.log"))
        for i in range(1, 4):
            append(home.log("access.log"), ncsa_line("10.0.0.%d" % i, "/page%d.html" % i))
        append(home.log("tools.log"), ncsa_line("10.9.9.9", "/<b>tool.html"))
        vantry = self.start(home, env={**self.display.of_the_program(), **(env or {})})
        self.vantry = vantry
        wait_until(lambda: self.application() is not None, what="the window is not on the accessibility bus")
        return home, vantry

    def application(self):
        for application in pyatspi.Registry.getDesktop(0):
            if application is not None and application.name.startswith("vantry"):
                return application
        return None

    def find(self, name, *roles):
        def search():
            application = self.application()
            for node in parts(application) if application else ():
                try:
                    if node.name == name and (not roles or node.getRoleName() in roles):
                        return node
                except Exception:  # An object that is gone answers nothing.
                    continue
            return None
        return wait_until(search, what="there is no %s %r" % (" or ".join(roles) or "part", name))

    def press(self, node):
        node.queryAction().doAction(0)

    def menu(self, caption):
        """Runs a command of the menus."""
        self.press(self.find(caption, "menu item", "check menu item"))

    def press_button(self, caption):
        self.press(self.find(caption, *BUTTON))

    def rows(self, list_name):
        """The cells of a list, row by row."""
        table = self.find(list_name, "table").queryTable()
        return [[table.getAccessibleAt(row, column).name for column in range(table.nColumns)]
                for row in range(table.nRows)]

    def wait_rows(self, list_name, count):
        return wait_until(lambda: (lambda rows: rows if len(rows) == count else None)(self.rows(list_name)),
                          what=lambda: "%d rows in %s: %s" % (count, list_name, self.rows(list_name)))

    def choose_site(self, prefix):
        def choose():
            tree = self.find("Sites", "tree").queryTable()
            for row in range(tree.nRows):
                if tree.getAccessibleAt(row, 0).name.startswith(prefix):
                    return tree.addRowSelection(row)
            return None
        wait_until(choose, what="no site %s" % prefix)

    def close_messages(self):
        """The first scan of a site is announced in a box."""
        def close():
            for node in parts(self.application()):
                if node.getRoleName() in BUTTON and node.name == "OK":
                    self.press(node)
                    return False
            return True
        wait_until(close)

    def on_screen(self):
        return self.find("Current Visitors", "table").getState().contains(pyatspi.STATE_SHOWING)

    def test_is_read_and_steered_over_the_accessibility_bus(self):
        skip_at_midnight()
        _, vantry = self.open()
        wait_until(lambda: len(vantry.addresses()) == 4, what=vantry.stderr)
        time.sleep(1)
        self.close_messages()
        self.choose_site("Garden")
        rows = self.wait_rows("Current Visitors", 3)
        self.assertTrue(any("page2.html" in row for row in rows), rows)
        self.choose_site("Tools")
        rows = self.wait_rows("Current Visitors", 1)
        self.assertIn("<b>tool.html", rows[0])
        self.choose_site("All Sites")
        self.wait_rows("Current Visitors", 4)
        search = self.find("Search").queryEditableText()
        search.setTextContents("page3")
        self.wait_rows("Current Visitors", 1)
        search.setTextContents("")
        self.wait_rows("Current Visitors", 4)
        self.menu("Exceptions")
        self.find("Exceptions", "table")
        self.menu("Visitors")
        self.wait_rows("Current Visitors", 4)

    @staticmethod
    def text_of(home, name):
        with open(home.file(name), encoding="latin-1") as file:
            return file.read()

    def type_into(self, name, text):
        self.find(name, "text").queryEditableText().setTextContents(text)

    def test_from_an_empty_folder_to_an_alert_in_dialogs_alone(self):
        skip_at_midnight()
        home = self.home()
        home.write_sites()
        append(home.log("access_log"), ncsa_line("10.0.0.1", "/first.html"))
        vantry = self.start(home, env=self.display.of_the_program())
        wait_until(lambda: self.application() is not None, what="the window is not on the accessibility bus")
        self.press_button("No")  # Nothing to import.
        self.menu("Add Site")
        self.press_button("Next")
        self.type_into("Enter the Name of the site (Eg: Site1)", "Garden")
        self.type_into("Domain", "www.garden.example/")
        self.press_button("Next")
        self.press(self.find("NCSA Common or Combined. Used by Apache many other web servers.", "radio button"))
        self.press_button("Next")
        self.press_button("Next")
        self.type_into("Folder of the log files", home.logs)
        for _ in range(2):
            self.press_button("Next")
        self.press_button("Finish")
        wait_until(lambda: "[Garden]" in self.text_of(home, "VANTRY.INI"))
        self.choose_site("Garden")
        self.menu("Start Monitoring")
        vantry.wait_visitor("10.0.0.1")
        self.close_messages()

        self.menu("Edit Site")
        self.type_into("Home Page for this site", "first.html")
        self.press_button("OK")
        wait_until(lambda: home.site_values("Garden").get("HomePage") == "first.html")
        self.menu("Options...")
        self.type_into("Send To", "ops@example.com")
        self.press_button("OK")
        wait_until(lambda: "EmailSendTo=ops@example.com" in self.text_of(home, "SETTINGS.INI"))
        self.menu("Alerts")
        self.wait_rows("Current Alerts", 1)
        append(home.log("access_log"), ncsa_line("10.0.0.2", "/second.html") + ncsa_line("10.0.0.2", "/x"))
        self.wait_rows("Current Alerts", 2)

    def test_closing_asks_and_ends_the_program_only_with_yes(self):
        home, vantry = self.open()
        self.close_messages()
        for button, ends in (("No", False), ("Yes", True)):
            self.menu("Exit")
            self.find("Are you sure you want to close Vantry?")
            self.press_button(button)
            if not ends:
                time.sleep(1)
                self.assertTrue(vantry.running())
        self.assertEqual(vantry.wait_end(), 0)
        self.assertTrue(os.path.exists(home.file("Data/vtpro2.tb")))
        self.assertIn("FormWidth=", self.text_of(home, "registry.ini"))

    def test_a_display_that_dies_ends_the_program_with_everything_saved(self):
        display = Display()
        self.addCleanup(display.close)
        home = self.home()
        home.write_site()
        append(home.log("access.log"), ncsa_line("10.0.0.1", "/a.html") + ncsa_line("10.0.0.2", "/b.html"))
        vantry = self.start(home, env=display.of_the_program())
        vantry.wait_visitor("10.0.0.2")
        display.x.send_signal(signal.SIGKILL)
        self.assertEqual(vantry.wait_end(), 1)
        vantry.ended = True
        self.assertGreater(int(home.site_values("One")["LastReadPos"]), 0)
        with open(home.file("Data/TRL.LOG"), encoding="latin-1") as log:
            self.assertIn("End of session", log.read())

    def test_a_module_of_another_build_or_a_damaged_one_is_refused(self):
        home = self.home()
        folder = os.path.join(home.base, "copy")
        for part in ("bin", "lib/vantry"):
            os.makedirs(os.path.join(folder, part))
        program = shutil.copy(vantry_binary(), os.path.join(folder, "bin"))
        with open(MODULE, "rb") as file:
            whole = file.read()
        stamp = re.search(rb"\d+\.\d+\.\d+ [0-9a-f]{16}\0", whole).group(0)
        modules = {"is of another build": whole.replace(stamp, b"9" + stamp[1:]),
                   "is cut off": whole[:300_000],
                   "can't be loaded": b"no library" * 100}
        for problem, module in modules.items():
            with open(os.path.join(folder, "lib/vantry/vantry-desktop.so"), "wb") as file:
                file.write(module)
            vantry = self.start(home, env=self.display.of_the_program(), program=program)
            self.assertIn("There is no window, as %s/lib/vantry/vantry-desktop.so %s" % (folder, problem),
                          vantry.stderr().replace("/bin/..", ""))
            vantry.stop()

    def test_a_system_without_fonts_is_told_what_to_install(self):
        home = self.home()
        none = os.path.join(home.base, "fonts.conf")
        with open(none, "w") as file:
            file.write('<?xml version="1.0"?><fontconfig></fontconfig>')
        vantry = self.start(home, env={**self.display.of_the_program(), "FONTCONFIG_FILE": none})
        self.assertIn("No font is installed, so the window shows boxes for letters. Install one, such as "
                      "fonts-dejavu-core.", vantry.stderr())

    def test_is_hidden_and_shown_by_control_lines(self):
        _, vantry = self.open()
        self.close_messages()

        wait_until(self.on_screen)
        vantry.control("HIDE")
        wait_until(lambda: not self.on_screen(), what="it is still on the screen")
        vantry.control("SHOW")
        wait_until(self.on_screen, what="it did not come back")

    def test_waits_in_the_tray_and_comes_back_at_a_click(self):
        tray = Tray(self.display.address)
        self.addCleanup(tray.close)
        # Qt's library of the bus does not give back what it has made for the icon.
        _, vantry = self.open(env={"ASAN_OPTIONS": "detect_leaks=0"})
        wait_until(lambda: len(vantry.addresses()) == 4, what=vantry.stderr)
        self.close_messages()
        self.menu("Hide")
        wait_until(lambda: tray.items and not self.on_screen(), what="it did not go into the tray")
        wait_until(lambda: "Vantry: [4 Visitors]" in tray.tooltip(), what=lambda: tray.tooltip())
        tray.click()
        wait_until(self.on_screen, what="it did not come back")

    def test_without_a_display_it_runs_as_ever(self):
        home = self.home()
        home.write_site()
        append(home.log("access.log"), ncsa_line("10.0.0.1", "/a.html"))
        environment = self.display.of_the_program()
        environment["DISPLAY"] = ":9999"
        vantry = self.start(home, env=environment)
        vantry.wait_visitor("10.0.0.1")


if __name__ == "__main__":
    unittest.main()
