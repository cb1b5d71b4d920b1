"""The deck for WAP phones, as a WML compiler takes it."""

import os
import re
import shutil
import subprocess
import time
import unittest

from harness import SystemTest, append, ncsa_line, skip_at_midnight, wait_until, write_file

TESTER = shutil.which("wml_tester") or "/usr/lib/kannel/test/wml_tester"
PHONE = b"Accept: text/vnd.wap.wml, image/vnd.wap.wbmp\r\n"
HEAD = (b"Content-Type: text/vnd.wap.wml\r\nCache-Control: no-cache\r\n"
        b'<?xml version="1.0"?>\r<!DOCTYPE wml PUBLIC "-//WAPFORUM//DTD WML 1.1//EN" '
        b'"http://www.wapforum.org/DTD/wml_1.1.xml">\r\n<wml>')


@unittest.skipUnless(os.path.exists(TESTER), "wml_tester of kannel-extras is not installed")
class WapTest(SystemTest):
    def setUp(self):
        skip_at_midnight()
        self.folder = self.home()
        self.folder.keep_classic("ReadablePages")

    def compile(self, deck):
        """The strings of the compiled deck; fails when the compiler finds anything to say."""
        path = os.path.join(self.folder.base, "deck.wml")
        write_file(path, deck)
        done = subprocess.run([TESTER, path], capture_output=True, timeout=30, check=False)
        said = done.stdout + done.stderr
        self.assertEqual(done.returncode, 0, said)
        self.assertIn(b"wml_compile returned: 0", said)
        self.assertNotRegex(said, rb"ERROR|WARNING|PANIC", deck)
        # Its text form has bytes and characters mixed; strings are in it as they are.
        return done.stdout.split(b"And as a text:")[1].decode("latin-1")

    def deck(self, vantry, query=b"/?SITES"):
        answer = vantry.ask(b"GET " + query + b" HTTP/1.0\r\n" + PHONE + b"\r\n")
        self.assertTrue(answer.startswith(HEAD), answer[:400])
        self.assertNotIn(b"HTTP/1.0", answer)
        self.assertTrue(answer.endswith(b"</wml>\r\n\r\n"), answer[-200:])
        # The compiler must be able to say no.
        with self.assertRaises(AssertionError):
            self.compile(answer[answer.index(b"<?xml"):].replace(b"</card>", b"", 1))
        text = answer.decode("latin-1")
        # A link leads to a card of this deck.
        cards = re.findall(r'<card id="([^"]+)"', text)
        for link in re.findall(r'href="([^"]+)"', text):
            self.assertIn(link.removeprefix("#"), cards)
        self.strings = self.compile(answer[answer.index(b"<?xml"):])
        return text

    def two_sites(self, registry="", first="Garden Shop"):
        self.folder.write_sites(
            self.folder.section(first, self.folder.logs, Mask="shop.log", Domain="www.garden.example"),
            self.folder.section("Chess Club", self.folder.logs, Mask="club.log", Domain="chess.example"))
        for name in ("shop.log", "club.log"):
            write_file(self.folder.log(name), "")
        if registry:
            self.folder.write("registry.ini", registry)

    def test_decks_with_and_without_visitors(self):
        self.two_sites()
        vantry = self.start(self.folder)
        text = self.deck(vantry)
        self.assertEqual(text.count("No current visitors since "), 2)
        self.assertIn("Garden Shop", self.strings)
        self.assertIn("Chess Club", self.strings)
        append(self.folder.log("shop.log"), "".join(
            ncsa_line("192.0.2.%d" % i, "/products/page%d.html" % i, time.time() - 20 + i) for i in range(1, 6)))
        wait_until(lambda: vantry.site_status("Garden Shop").current == 5)
        text = self.deck(vantry)
        self.assertEqual(text.count("No current visitors since "), 1)
        for i in range(1, 6):
            self.assertIn("<td>%d</td>\r\n<td>192.0.2.%d</td>\r\n<td>products/page%d.html</td>" % (i, i, i), text)
            self.assertIn("products/page%d.html" % i, self.strings)
        # A phone gets the deck whatever it asks for first, and others don't get it.
        self.assertIn("products/page1.html", self.deck(vantry, b"/"))
        page = vantry.ask(b"GET /?SITES HTTP/1.0\r\nAccept: text/html\r\n\r\n")
        self.assertTrue(page.startswith(b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n<HTML>"), page[:100])

    def test_no_sites(self):
        vantry = self.start(self.folder)
        self.assertNotIn("site1", self.deck(vantry))
        self.assertIn("Vantry WAP", self.strings)

    def test_wap_switched_off(self):
        self.two_sites()
        self.folder.write_settings(WAPAccess="False")
        vantry = self.start(self.folder)
        self.assertNotIn("Garden", self.deck(vantry))
        self.assertIn(" WAP access is not enabled on this server.", self.strings)  # "Vantry" is in a table.

    def test_names_with_markup_pass_when_they_are_escaped(self):
        self.two_sites("[Security]\nBindAddress=127.0.0.1\nEscapeHTML=True\n", 'Fish & "Chips" <Ltd>')
        write_file(self.folder.log("shop.log"), ncsa_line("192.0.2.1", "/a&b<c>.html"))
        vantry = self.start(self.folder)
        wait_until(lambda: vantry.status()[0].current == 1)
        self.assertIn("a&amp;b&lt;c&gt;.html", self.deck(vantry))
        self.assertIn("a&b<c>.html", self.strings)


if __name__ == "__main__":
    unittest.main()
