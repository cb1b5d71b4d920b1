"""Host names of visitors, from a real name server and from ones that are slow, broken, hostile or not there."""

import ipaddress
import os
import pwd
import shutil
import socket
import subprocess
import threading
import time

from dnslib import PTR, QTYPE, RCODE, RR, DNSLabel, DNSRecord

from harness import SystemTest, append, free_port, ncsa_line, side_by_side, skip_at_midnight, wait_until

DNSMASQ = shutil.which("dnsmasq") or "/usr/sbin/dnsmasq"
PROMPT = 5.0  # Seconds for an answer of the port; generous for a sanitizer build on a busy machine.


class Dnsmasq:
    """A name server with these names, {address: name}; other addresses below 10 don't exist, all else is refused."""

    def __init__(self, names):
        self.port = free_port()
        self.log = open("/dev/null", "w")
        records = ["--ptr-record=%s,%s" % (ipaddress.ip_address(a).reverse_pointer, n) for a, n in names.items()]
        self.process = subprocess.Popen(
            [DNSMASQ, "--no-daemon", "--conf-file=/dev/null", "--no-resolv", "--no-hosts", "--pid-file=",
             "--port=%d" % self.port, "--listen-address=127.0.0.1", "--bind-interfaces", "--local=/10.in-addr.arpa/",
             "--user=%s" % pwd.getpwuid(os.getuid()).pw_name, *records],
            stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log)

    def wait_ready(self):
        def answers():
            if self.process.poll() is not None:
                raise AssertionError("dnsmasq ended with %d" % self.process.returncode)
            try:
                DNSRecord.question("1.0.0.10.in-addr.arpa", "PTR").send("127.0.0.1", self.port, timeout=1)
                return True
            except OSError:
                return False
        wait_until(answers)
        return self

    def clean_up(self):
        self.process.terminate()
        self.process.wait(20)
        self.log.close()


class NameServer:
    """A name server of our own. `answer` makes a reply of a question, or None to hold it until `release`."""

    def __init__(self, answer=None):
        self.answer = answer or (lambda question: None)
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
        self.socket.bind(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        self.lock = threading.Lock()
        self.held = []
        self.asked = set()
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def serve(self):
        while True:
            data, peer = self.socket.recvfrom(4096)
            if data == b"end":
                return
            question = DNSRecord.parse(data)
            with self.lock:
                self.asked.add(str(question.q.qname))
                reply = self.answer(question)
                if reply is None:
                    self.held.append((question, peer))
                else:
                    self.socket.sendto(reply.pack(), peer)

    def count(self):
        with self.lock:
            return len(self.asked)

    def was_asked(self, address):
        with self.lock:
            return ipaddress.ip_address(address).reverse_pointer + "." in self.asked

    def release(self, answer):
        with self.lock:
            self.answer = answer
            for question, peer in self.held:
                self.socket.sendto(answer(question).pack(), peer)
            self.held.clear()

    def clean_up(self):
        self.socket.sendto(b"end", ("127.0.0.1", self.port))
        self.thread.join(20)
        self.socket.close()


def failure(code):
    def answer(question):
        reply = question.reply()
        reply.header.rcode = code
        return reply
    return answer


def name_of(question):
    """4.3.2.1.in-addr.arpa is host-1-2-3-4.example."""
    reply = question.reply()
    digits = str(question.q.qname).split(".")[3::-1]
    reply.add_answer(RR(question.q.qname, QTYPE.PTR, rdata=PTR("host-%s.example" % "-".join(digits)), ttl=60))
    return reply


def in_second_net(question):
    return str(question.q.qname).endswith(".2.10.in-addr.arpa.")


def addresses(count):
    return ["10.1.%d.%d" % (i // 250, i % 250) for i in range(count)]


def named(address):
    return "host-%s.example" % address.replace(".", "-")


class NamesTest(SystemTest):
    def setUp(self):
        skip_at_midnight()

    def begin(self, servers, lines):
        """A site whose log has these lines, watched by a program that asks these name servers."""
        home = self.home()
        home.write_site()
        home.write_settings(ReverseDNS="True")
        append(home.log("access.log"), "".join(lines))
        return home, self.start_asking(home, servers)

    def start_asking(self, home, servers):
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n\n[Resolver]\nServers=%s\n" % servers)
        return self.start(home)

    def server(self, answer=None):
        server = NameServer(answer)
        self.addCleanup(server.clean_up)
        return server

    def dnsmasq(self, names):
        if not os.path.exists(DNSMASQ):
            self.skipTest("dnsmasq is not installed")
        server = Dnsmasq(names)
        self.addCleanup(server.clean_up)
        return server.wait_ready()

    def wait_listed(self, vantry, expected):
        wait_until(lambda: vantry.addresses() == expected,
                   what=lambda: "%s instead of %s" % (vantry.addresses()[:120], expected[:120]))

    def come_until_one_is_asked_for(self, home, vantry, server):
        """Visitors come one after the other until there is room to ask for the name of one. Returns all of them."""
        clients = []

        def one_more_is_asked_for():
            clients.append("10.2.0.%d" % (len(clients) + 1))
            append(home.log("access.log"), ncsa_line(clients[-1], "/a.html"))
            wait_until(lambda: vantry.visitor(clients[-1]) or vantry.visitor(named(clients[-1])))
            return server.was_asked(clients[-1])
        wait_until(one_more_is_asked_for)
        return clients

    def assert_prompt(self, vantry):
        begin = time.monotonic()
        vantry.list_bytes()
        self.assertLess(time.monotonic() - begin, PROMPT)

    def test_visitors_stand_under_their_names(self):
        server = self.dnsmasq({"10.0.0.1": "one.example", "10.0.0.3": "three.example", "2001:db8::5": "five.example",
                               "10.0.0.6": "six.example"})
        clients = ["10.0.0.1", "10.0.0.2", "10.0.0.3", "192.0.2.4", "2001:db8::5", "::ffff:10.0.0.6"]
        home, vantry = self.begin("127.0.0.1:%d" % server.port, [ncsa_line(c, "/a.html") for c in clients])
        expected = ["one.example", "10.0.0.2", "three.example", "192.0.2.4", "five.example", "six.example"]
        self.wait_listed(vantry, expected)
        # The same clients go on as the same visitors, and the list keeps its order.
        append(home.log("access.log"), "".join(ncsa_line(c, "/b.html", time.time() + 2) for c in clients))
        wait_until(lambda: {v.page for v in vantry.list()} == {"b.html"}, what=vantry.list)
        self.assertEqual(vantry.addresses(), expected)
        self.assertEqual([v.number for v in vantry.list()], [1, 2, 3, 4, 5, 6])

    def test_a_dead_server_before_a_good_one_costs_no_names(self):
        server = self.dnsmasq({"10.0.0.1": "one.example"})
        _, vantry = self.begin("127.0.0.1:%d; 127.0.0.1:%d" % (free_port(), server.port),
                               [ncsa_line("10.0.0.1", "/a.html")])
        self.wait_listed(vantry, ["one.example"])

    def test_two_sites_with_one_client_both_get_its_name(self):
        server = self.server(name_of)
        home = self.home()
        folders = [os.path.join(home.logs, name) for name in ("a", "b")]
        for folder in folders:
            os.mkdir(folder)
            append(os.path.join(folder, "access.log"), ncsa_line("10.1.0.1", "/a.html"))
        home.write_sites(*[home.section(os.path.basename(f), f, Domain=os.path.basename(f) + ".example")
                           for f in folders])
        home.write_settings(ReverseDNS="True")
        vantry = self.start_asking(home, "127.0.0.1:%d" % server.port)
        self.wait_listed(vantry, [named("10.1.0.1")] * 2)
        self.assertEqual([v.domain for v in vantry.list()], ["a.example", "b.example"])

    def test_names_once_known_need_no_server(self):
        server = self.server(name_of)
        clients = addresses(20)
        home, vantry = self.begin("127.0.0.1:%d" % server.port, [ncsa_line(c, "/a.html") for c in clients])
        self.wait_listed(vantry, [named(c) for c in clients])
        vantry.stop()
        vantry = self.start_asking(home, "127.0.0.1:%d" % free_port())
        self.wait_listed(vantry, [named(c) for c in clients])

    def test_an_address_that_had_no_name_is_asked_for_at_its_next_visit(self):
        clients = addresses(3)
        home, vantry = self.begin("127.0.0.1:%d" % free_port(), [ncsa_line(c, "/a.html") for c in clients])
        self.wait_listed(vantry, clients)
        vantry.stop()
        server = self.server(name_of)
        vantry = self.start_asking(home, "127.0.0.1:%d" % server.port)
        self.wait_listed(vantry, [named(c) for c in clients])

    def test_a_slow_server_holds_up_nothing_and_a_hundred_requests_are_under_way_at_most(self):
        server = self.server()
        clients = addresses(101)
        home, vantry = self.begin("127.0.0.1:%d" % server.port, [ncsa_line(c, "/a.html") for c in clients])
        self.wait_listed(vantry, clients)
        wait_until(lambda: server.count() >= 100, what=server.count)
        self.assert_prompt(vantry)
        server.release(name_of)
        self.wait_listed(vantry, [named(c) for c in clients[:100]] + clients[100:])
        # The last one keeps its address for the whole visit, whatever it looks at.
        append(home.log("access.log"), ncsa_line(clients[100], "/b.html", time.time() + 2) +
               ncsa_line("10.1.9.9", "/a.html", time.time() + 2))
        vantry.wait_visitor(named("10.1.9.9"))
        self.assertEqual(vantry.visitor(clients[100]).page, "b.html")
        self.assertEqual(server.count(), 101)

    def test_a_silent_server_holds_up_neither_scans_nor_the_port_nor_the_end(self):
        server = self.server()
        clients = addresses(150)
        home, vantry = self.begin("127.0.0.1:%d" % server.port, [ncsa_line(c, "/a.html") for c in clients])
        self.wait_listed(vantry, clients)
        for page in ("b", "c"):
            append(home.log("access.log"), ncsa_line(clients[0], "/%s.html" % page, time.time() + 2))
            vantry.wait_visitor(clients[0], page + ".html")
            self.assert_prompt(vantry)
        self.assertEqual(vantry.addresses(), clients)
        self.assertLess(vantry.stop(), PROMPT)

    def test_requests_that_timed_out_make_room(self):
        server = self.server(lambda question: name_of(question) if in_second_net(question) else None)
        home, vantry = self.begin("127.0.0.1:%d" % server.port, [ncsa_line(c, "/a.html") for c in addresses(100)])
        wait_until(lambda: server.count() >= 100, what=server.count)
        vantry.wait_visitor(named(self.come_until_one_is_asked_for(home, vantry, server)[-1]))

    def test_servers_that_fail_leave_the_addresses(self):
        clients = addresses(120)
        for code in (RCODE.SERVFAIL, RCODE.REFUSED, RCODE.NXDOMAIN):
            with self.subTest(RCODE[code]):
                server = self.server(failure(code))
                home, vantry = self.begin("127.0.0.1:%d" % server.port, [ncsa_line(c, "/a.html") for c in clients])
                wait_until(lambda: server.count() >= 100, what=server.count)
                more = self.come_until_one_is_asked_for(home, vantry, server)
                self.assertLess(len(more), 4, "their places are free as soon as the answers are read")
                self.wait_listed(vantry, clients + more)
                vantry.stop()

    def test_no_server_at_all_leaves_the_addresses(self):
        clients = addresses(150)
        home, vantry = self.begin("127.0.0.1:%d" % free_port(), [ncsa_line(c, "/a.html") for c in clients])
        self.wait_listed(vantry, clients)
        self.assert_prompt(vantry)
        append(home.log("access.log"), ncsa_line("10.2.0.1", "/a.html"))
        self.wait_listed(vantry, clients + ["10.2.0.1"])

    def test_names_that_are_no_names_are_not_shown(self):
        bad = [DNSLabel([b"<script>alert(1)</script>", b"example"]), DNSLabel([b"tab\there", b"example"]),
               DNSLabel([b"a.b\x00c", b"example"]), DNSLabel([b"10", b"0", b"0", b"9"]), DNSLabel([b"*", b"example"]),
               DNSLabel([b"m\xfcller", b"example"])]

        def answer(question):
            reply = question.reply()
            number = int(str(question.q.qname).split(".")[0])
            name = bad[number] if number < len(bad) else "good.example"
            reply.add_answer(RR(question.q.qname, QTYPE.PTR, rdata=PTR(name), ttl=60))
            return reply
        server = self.server(answer)
        clients = addresses(len(bad) + 1)
        _, vantry = self.begin("127.0.0.1:%d" % server.port, [ncsa_line(c, "/a.html") for c in clients])
        # Answered in the order of the questions, so all others have been seen when the last has its name.
        self.wait_listed(vantry, clients[:-1] + ["good.example"])

    def test_a_list_of_servers_that_cant_be_read_is_told_and_the_program_runs(self):
        home, vantry = self.begin("127.0.0.1:53, dns.example", [ncsa_line("10.0.0.1", "/a.html")])
        self.wait_listed(vantry, ["10.0.0.1"])
        self.assertIn("'dns.example' is no address of a name server", vantry.stderr())
        self.assertIn(home.file("registry.ini"), vantry.stderr())


if __name__ == "__main__":
    side_by_side()
