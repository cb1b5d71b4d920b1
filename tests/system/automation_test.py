"""Other programs ask the running program and hear of its visitors over a message bus."""

import os
import re
import signal
import subprocess
import sys
import time
import unittest

from gi.repository import GLib

from bus_case import CONNECTOR, INTERFACE, NAME, BusTest, example
from harness import append, ncsa_line, skip_at_midnight, wait_until
from names_test import Dnsmasq

OPERATIONS = """LogFileName LogFileDomain LogFileCurrentVisitors LogFileTotalSpiders LogFileTotalVisitors
 LogFileTotalAlerts NumberOfSites VisitorsTable SiteTable VisitorDetailsTable PreviousVisitsTable SitesTable
 AlertsTypeList AlertsTable SpidersTable ExceptionsTable LoginTable InvalidLogin ReferrersTable HTMLHeader HTMLFooter
 GetVisitorsList ExtractLogEntriesToFile VisitorArrived DNSResolved VisitorPageMove VisitorLeft""".split()
DOMAIN = "www.example.test"


def without_clock(page):
    return re.sub(r"\d+/\d+/\d{4} \d+:\d\d:\d\d [AP]M", "CLOCK", page)


def outside_a_request(page):
    """A web page as the place of its connection shows it when no request is under way there."""
    return page.replace("<br>User: Default</td>", "<br>Not Logged On</td>").replace('"/?', '"?')


class AskTest(BusTest):
    def setUp(self):
        skip_at_midnight()
        self.bus = self.start_bus()
        self.folder = self.home_of_one()
        before = time.time() - 30
        lines = [ncsa_line("192.0.2.%d" % n, "/page%d.html" % n, before, referrer="http://out.example/")
                 for n in range(1, 6)]
        lines.append(ncsa_line("192.0.2.1", "/gone.html", status=404))
        lines.append(ncsa_line("192.0.2.9", "/robot.html", agent="Googlebot/2.1"))
        lines.append(ncsa_line("192.0.2.7", "/caf\xe9\xff.html", agent="Odd\x80\x81\xc3\xa9"))
        append(self.folder.log("access.log"), "".join(lines).encode("latin-1"))
        self.vantry = self.start(self.folder, env=self.environment(self.bus))
        self.vantry.wait_visitor("192.0.2.7")
        self.program = self.client(self.bus)

    def tool(self, *words):
        done = subprocess.run(words, env={**os.environ, **self.environment(self.bus)}, capture_output=True, timeout=30)
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def busctl(self, *words):
        return self.tool("busctl", "--user", *words)

    def web(self, query):
        answer = self.vantry.ask(b"GET /?%s HTTP/1.0\r\nAccept: */*\r\n\r\n" % query.encode())
        return answer.split(b"\r\n\r\n", 1)[1][:-2]

    def test_operations(self):
        ask = self.program.ask
        with self.subTest("the connector"):
            self.assertEqual(self.program.property("Interface", "/VantryConnector", CONNECTOR), "/Interface")
            code, out, _ = self.busctl("get-property", NAME, "/VantryConnector", CONNECTOR, "Interface")
            self.assertEqual((code, out), (0, 'o "/Interface"\n'))
        with self.subTest("counts"):
            self.assertEqual(self.program.property("NumberOfSites"), 1)
            self.assertEqual([ask(o, "(n)", 1) for o in OPERATIONS[:6]], ["One", DOMAIN, 7, 1, 7, 0])
            code, out, _ = self.busctl("call", NAME, "/Interface", INTERFACE, "LogFileCurrentVisitors", "n", "1")
            self.assertEqual((code, out), (0, "i 7\n"))
            for site in (0, 2, -1, 32767, -32768):
                self.assertEqual([ask(o, "(n)", site) for o in OPERATIONS[:6]], ["", "", 0, 0, 0, 0])
        with self.subTest("pages are those of the web access"):
            visit = DOMAIN + ":192.0.2.1!1"
            for query, page in (("SITES", ask("SitesTable", "(n)", 1)),
                                ("SITE&domain=ALL", ask("VisitorsTable", "(ns)", 1, "ALL")),
                                ("TABLE&domain=" + DOMAIN, ask("VisitorsTable", "(ns)", 1, DOMAIN)),
                                ("TABLE&domain=", ask("VisitorsTable", "(ns)", 1, "")),
                                ("TABLE&domain=nowhere", ask("VisitorsTable", "(ns)", 1, "nowhere")),
                                ("VISITOR&domain=" + visit, ask("VisitorDetailsTable", "(ns)", 1, visit)),
                                ("PREVIOUS&domain=" + visit[:-2], ask("PreviousVisitsTable", "(ns)", 1, visit[:-2])),
                                ("ALERTS&site=" + DOMAIN, ask("AlertsTypeList", "(ns)", 1, DOMAIN)),
                                ("ALERTSTABLE&site=" + DOMAIN, ask("AlertsTable", "(nsi)", 1, DOMAIN, 5)[0]),
                                ("SPIDERS&site=" + DOMAIN, ask("SpidersTable", "(ns)", 1, DOMAIN)),
                                ("EXCEPT&site=" + DOMAIN, ask("ExceptionsTable", "(ns)", 1, DOMAIN)),
                                ("REFER&domain=" + DOMAIN, ask("ReferrersTable", "(nsi)", 1, DOMAIN, 5)[0]),
                                ("LIST&domain=" + DOMAIN, ask("GetVisitorsList", "(s)", DOMAIN))):
                # As the log's odd bytes travel: Windows-1252 but for what is UTF-8.
                want = self.web(query).replace(b"\xc3\xa9", b"\xe9").replace(b"\x81", b"?").decode("cp1252")
                self.assertEqual(without_clock(page.replace("\ufffd", "?")), without_clock(outside_a_request(want)), query)
                self.assertGreater(len(page), 100, query)
            self.assertIn(">Google<", ask("SpidersTable", "(ns)", 1, DOMAIN))
            self.assertIn("gone.html", ask("ExceptionsTable", "(ns)", 1, DOMAIN))
        with self.subTest("links are those of the request that is under way in the place"):
            with self.vantry.connect() as s:
                s.sendall(b"GET /there?SITES HTTP/1.0\r\n")
                wait_until(lambda: 'href="/there?SITETABLE&' in ask("SitesTable", "(n)", 1))
                self.assertIn('href="?SITETABLE&', ask("SitesTable", "(n)", 100))
        with self.subTest("the rest"):
            self.assertIn("page5.html", ask("SiteTable", "(nn)", 100, 1))
            self.assertNotIn("<HTML>", ask("SiteTable", "(nn)", 100, 0))
            self.assertIn('name="Password"', ask("LoginTable", "(n)", 2))
            self.assertIn("Invalid user name", ask("InvalidLogin", "(n)", 2))
            head, colour = ask("HTMLHeader", "(sbs)", "", True, "")
            self.assertIn("<TITLE>Vantry - Real Time Web Server Monitor</TITLE>", head)
            self.assertIn('<BODY bgcolor="%s"' % colour, head)
            self.assertTrue(colour)
            self.assertEqual(ask("HTMLHeader", "(sbs)", "T", False, "Red")[1], "Red")
            self.assertIn("</HTML>", ask("HTMLFooter"))
            self.assertEqual(ask("AlertsTable", "(nsi)", 1, DOMAIN, 70_000)[1], 70_000)
            self.assertEqual(ask("ReferrersTable", "(nsi)", 1, DOMAIN, -7)[1], -7)
            name = ask("ExtractLogEntriesToFile", "(sn)", "1:192.0.2.1", 3)
            with open(name, encoding="latin-1") as f:
                self.assertIn("2 Log Entries", f.read())
            self.assertEqual(ask("ExtractLogEntriesToFile", "(sn)", "1:192.0.2.99", 3), "")
        with self.subTest("a client number that is none"):
            for member, types, values in (("SitesTable", "(n)", ()), ("VisitorsTable", "(ns)", ("",)),
                                          ("SiteTable", "(nn)", (1,)), ("AlertsTable", "(nsi)", ("", 1)),
                                          ("InvalidLogin", "(n)", ()), ("LoginTable", "(n)", ())):
                for client_no in (0, 101, -1):
                    with self.assertRaises(GLib.Error) as failed:
                        ask(member, types, client_no, *values)
                    self.assertIn("org.freedesktop.DBus.Error.InvalidArgs", failed.exception.message)
                    self.assertIn("ClientNo %d " % client_no, failed.exception.message)
            code, _, error = self.busctl("call", NAME, "/Interface", INTERFACE, "SitesTable", "n", "0")
            self.assertEqual((code, "ClientNo 0 " in error), (1, True), error)
        with self.subTest("bytes of any kind"):
            self.assertIn("caf\xe9\xff.html", ask("VisitorsTable", "(ns)", 1, ""))
            self.assertIn("Odd\u20ac\ufffd\xe9", ask("GetVisitorsList", "(s)", ""))
        self.assertEqual(self.notes(self.folder), [])

    def test_introspection(self):
        code, out, error = self.tool("gdbus", "introspect", "--session", "--dest", NAME, "--object-path", "/Interface",
                                     "--xml")
        self.assertEqual(code, 0, error)
        ours = out[out.index('<interface name="%s">' % INTERFACE):]
        ours = ours[:ours.index("</interface>")]
        self.assertEqual(re.findall(r'<(?:method|property|signal) .*?name="(\w+)"', ours), OPERATIONS)
        self.assertEqual(len(re.findall(r"<arg ", ours)), len(re.findall(r"<arg [^>]*name=\"\w+\"", ours)))
        arguments = re.search(r'<method name="AlertsTable">(.*?)</method>', ours, re.DOTALL)[1]
        self.assertEqual(re.findall(r'type="(\w)" name="(\w+)" direction="(\w+)"', arguments),
                         [("n", "ClientNo", "in"), ("s", "Domain", "in"), ("i", "StartNo", "in"),
                          ("s", "Page", "out"), ("i", "StartNo", "out")])
        code, out, error = self.tool("gdbus", "introspect", "--session", "--dest", NAME, "--object-path",
                                     "/VantryConnector")
        self.assertIn("readonly o Interface = '/Interface';", out, error)

    def test_the_shell_example_runs_as_it_stands(self):
        code, out, error = self.tool("bash", "-e", "-c", example("sh"))
        self.assertEqual((code, error), (0, ""))
        for part in ('o "/Interface"', "n 1", 's "One"', "i 7", "192.0.2.1", "Sites Being Monitored"):
            self.assertIn(part, out)

    def test_the_python_example_runs_as_it_stands(self):
        with open(self.folder.file("out"), "w+") as out:
            program = subprocess.Popen([sys.executable, "-c", example("python")], stdout=out, stderr=out,
                                       env={**os.environ, **self.environment(self.bus)})
            try:
                def said():
                    with open(self.folder.file("out")) as f:
                        return f.read()
                wait_until(lambda: "characters in the page" in said(), what=said)
                self.assertIn("One 7 visitors\n", said())
                append(self.folder.log("access.log"), ncsa_line("192.0.2.50", "/new.html").encode() +
                       ncsa_line("192.0.2.50", "/next.html", time.time() + 1).encode())
                wait_until(lambda: "VisitorPageMove " + DOMAIN + " 192.0.2.50" in said(), what=said)
                self.assertIn("VisitorArrived " + DOMAIN + " 192.0.2.50", said())
            finally:
                program.send_signal(signal.SIGINT)
                program.wait(30)


class EventsTest(BusTest):
    def test_each_event_arrives(self):
        skip_at_midnight(before=1500)
        server = Dnsmasq({"10.0.0.5": "five.example.test"})
        self.addCleanup(server.clean_up)
        server.wait_ready()
        bus = self.start_bus()
        home = self.home_of_one(ReverseDNS="True", InactivityMins=" 5")
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Resolver]\nServers=127.0.0.1:%d\n"
                   % server.port)
        home.write_site(Alerts=0)
        log = home.log("access.log")
        now = time.time()
        append(log, ncsa_line("10.0.0.1", "/first.html", now - 60).encode())
        vantry = self.start(home, env=self.environment(bus))
        program = self.client(bus)
        program.listen()
        vantry.wait_visitor("10.0.0.1")
        append(log, ncsa_line("10.0.0.5", "/start.html", now, referrer="http://out.example/",
                              agent="Mozilla/5.0 (X11) Firefox/1.0").encode())
        arrived = program.wait_event("VisitorArrived", DOMAIN, "10.0.0.5")
        stamp = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(now))
        self.assertEqual(arrived[3:5], (stamp, "start.html"))
        self.assertIn("http://out.example/", arrived)
        self.assertIs(arrived[8], False)
        self.assertEqual(program.wait_event("DNSResolved", "10.0.0.5")[2], "five.example.test")
        append(log, ncsa_line("10.0.0.5", "/n\xe4chste.html", now + 1).encode("latin-1"))
        moved = program.wait_event("VisitorPageMove", DOMAIN, "10.0.0.5")
        stamp = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(now + 1))
        self.assertEqual(moved[3:], (stamp, "n\xe4chste.html"))
        append(log, ncsa_line("10.0.0.6", "/later.html", now + 600, agent="Googlebot/2.1").encode())
        self.assertEqual(program.wait_event("VisitorLeft", DOMAIN, "10.0.0.5"),
                         ("VisitorLeft", DOMAIN, "10.0.0.5"))
        self.assertEqual(program.wait_event("VisitorArrived", DOMAIN, "10.0.0.6")[6], "Google")
        # The first scan tells of nobody, and each of the others was told once.
        self.assertEqual(program.heard("VisitorArrived", DOMAIN, "10.0.0.1"), [])
        self.assertEqual(len(program.heard("VisitorArrived")), 2)
        self.assertEqual(len(program.heard("VisitorPageMove")), 1)
        self.assertEqual(self.notes(home), [])


if __name__ == "__main__":
    unittest.main()
