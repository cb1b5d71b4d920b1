#!/usr/bin/python3
"""The window on a display of its own (Xvfb), driven from outside as a screen reader does it: over the accessibility bus
it is found by the names of its parts, read, and steered."""

import os
import re
import shutil
import signal
import threading
import time
import unittest

from harness import append, ncsa_line, side_by_side, skip_at_midnight, vantry_binary, wait_until
from window_case import MODULE, Display, WindowCase


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


@unittest.skipUnless(os.path.exists(MODULE), "this build has no window")
class WindowTest(WindowCase):
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
    side_by_side()
