"""What tests of the window share: a display and a bus of its own, and the parts of the window by their names."""

import os
import shutil
import subprocess
import tempfile
import time

from harness import SystemTest, append, ncsa_line, vantry_binary, wait_until

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


def role_of(node):
    """None when it went away meanwhile."""
    from gi.repository import GLib
    try:
        return node.getRoleName()
    except GLib.GError:
        return None


def parts(node, depth=0):
    """Every accessible object below this one, those of a window that was opened last first."""
    yield node
    if depth > 30:
        return
    places = range(node.childCount)
    for i in places if depth else reversed(places):
        child = node.getChildAtIndex(i)
        # A table has a child for each cell; those that are asked for are found by their places.
        if child is not None and role_of(child) not in (None, "table cell", "table row"):
            yield from parts(child, depth + 1)


class WindowCase(SystemTest):
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
        # A button is held down for a tenth of a second, and one that is pressed again meanwhile begins anew.
        time.sleep(0.15)

    def menu(self, caption):
        """Runs a command of the menus."""
        self.press(self.find(caption, "menu item", "check menu item"))

    def press_button(self, caption):
        self.press(self.find(caption, *BUTTON))

    def check(self, caption):
        """Switches a box on, if it is not."""
        box = self.find(caption, "check box")
        if not box.getState().contains(pyatspi.STATE_CHECKED):
            self.press(box)

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

    @staticmethod
    def text_of(home, name):
        with open(home.file(name), encoding="latin-1") as file:
            return file.read()

    def type_into(self, name, text):
        self.find(name, "text").queryEditableText().setTextContents(text)

    def dialog(self, title):
        for node in self.application():
            try:
                if node.name.startswith(title) and node.getRoleName() == "dialog":
                    return node
            except Exception:
                continue
        return None

    def inside(self, window):
        """The dialog whose title begins so, or the box with a text that does."""
        def search():
            dialog = self.dialog(window)
            if dialog:
                return dialog
            for node in parts(self.application()):
                try:
                    if role_of(node) == "label" and node.name.startswith(window):
                        return node.parent
                except Exception:
                    continue
            return None
        return wait_until(search, what="there is no box %r" % window)

    def press_in(self, window, button):
        def search():
            try:
                for node in parts(self.inside(window)):
                    if node.name == button and role_of(node) in BUTTON:
                        return node
            except Exception:  # The box went away meanwhile.
                return None
            return None
        self.press(wait_until(search, what="no %s in %s" % (button, window)))

    def wait_closed(self, title):
        wait_until(lambda: self.dialog(title) is None, what="%s is still open" % title)

    def text_shown(self, name):
        text = self.find(name, "text").queryText()
        return text.getText(0, text.characterCount)
