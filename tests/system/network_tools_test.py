"""Ping and trace route in a network of this test's own: here - r1 - r2 - a server, each a network namespace. On another
machine beside this one, at r1 too, nobody may send pings by a socket of datagrams. No rights are needed for all that where
the system lets anybody make namespaces; elsewhere the tests are skipped."""

import os
import subprocess
import sys
import tempfile
import time
import unittest

from harness import wait_until

INSIDE = "VANTRY_TEST_IN_NAMESPACE"
NAMESPACE = ["unshare", "-Urn", "--fork", "--kill-child"]
SERVER = {4: "10.0.3.9", 6: "fd00:3::9"}
OPEN, CLOSED = True, False  # The two machines to ask from.
HOPS = {4: ["10.0.1.254", "10.0.2.254", "10.0.3.9"], 6: ["fd00:1::254", "fd00:2::254", "fd00:3::9"]}
NO_PROGRAM = "/nowhere/ping"
SLOW = 8_000  # No answer is waited for so long; a machine under load has its time.


def tool():
    return os.path.join(os.environ["VANTRY_BIN"], "ask_network")


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


class Machine:
    """A network namespace, kept by a process that does nothing."""

    def __init__(self):
        self.process = subprocess.Popen(["unshare", "-n", "sleep", "600"])
        own = os.readlink("/proc/self/ns/net")
        wait_until(lambda: os.readlink(f"/proc/{self.process.pid}/ns/net") != own, what="a namespace")
        self.run("ip", "link", "set", "lo", "up")

    def inside(self, *command):
        return ["nsenter", "-t", str(self.process.pid), "-n", *command]

    def run(self, *command):
        run(*self.inside(*command))

    def set(self, name, value):
        self.run("sh", "-c", f"echo '{value}' > /proc/sys/net/{name}")

    def end(self):
        self.process.kill()
        self.process.wait()


class Here:
    run = staticmethod(run)

    @staticmethod
    def inside(*command):
        return list(command)


def connect(number, left, right):
    """A cable between two machines: net 10.0.N.0/24 and fd00:N::/64."""
    run("ip", "link", "add", "name", f"left{number}", "type", "veth", "peer", "name", f"right{number}")
    for machine, side, host in ((left, "left", 1), (right, "right", 9 if number == 3 else 254)):
        name = f"{side}{number}"
        if isinstance(machine, Machine):
            run("ip", "link", "set", name, "netns", str(machine.process.pid))
        machine.run("ip", "address", "add", f"10.0.{number}.{host}/24", "dev", name)
        machine.run("ip", "link", "set", name, "up")
        if has_v6():
            machine.run("ip", "address", "add", f"fd00:{number}::{host}/64", "dev", name, "nodad")


def has_v6():
    """Whether new interfaces of this namespace have IPv6."""
    try:
        with open("/proc/sys/net/ipv6/conf/default/disable_ipv6", encoding="ascii") as f:
            return f.read().strip() == "0"
    except FileNotFoundError:
        return False


@unittest.skipUnless(os.environ.get(INSIDE), "no network namespaces can be made here")
class NetworkToolsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        run("ip", "link", "set", "lo", "up")
        with open("/proc/sys/net/ipv4/ping_group_range", "w", encoding="ascii") as f:
            f.write("0 0")
        cls.r1, cls.r2, cls.server, cls.closed = (Machine() for _ in range(4))
        cables = ((Here, cls.r1), (cls.r1, cls.r2), (cls.r2, cls.server), (cls.closed, cls.r1))
        for number, (left, right) in enumerate(cables, 1):
            connect(number, left, right)
        for router in (cls.r1, cls.r2):
            router.set("ipv4/ip_forward", "1")
            router.set("ipv4/icmp_ratelimit", "0")
            if has_v6():
                router.set("ipv6/conf/all/forwarding", "1")
                router.set("ipv6/icmp/ratelimit", "0")
        routes = [(Here, "default", 1, 254), (cls.closed, "default", 4, 254), (cls.r1, "3", 2, 254),
                  (cls.r2, "1", 2, 1), (cls.r2, "4", 2, 1), (cls.server, "default", 3, 1)]
        for machine, to, number, host in routes:
            machine.run("ip", "route", "add", to if to == "default" else f"10.0.{to}.0/24", "via",
                        f"10.0.{number}.{host}")
            if has_v6():
                machine.run("ip", "-6", "route", "add", to if to == "default" else f"fd00:{to}::/64", "via",
                            f"fd00:{number}::{host}")

    @classmethod
    def tearDownClass(cls):
        for machine in (cls.r1, cls.r2, cls.server, cls.closed):
            machine.end()

    def families(self):
        for family in (4, 6) if has_v6() else (4,):
            with self.subTest(family=family):
                yield family

    def ping(self, host, *more, machine=CLOSED, timeout=SLOW, program=NO_PROGRAM, size=32):
        command = [tool(), "ping", str(timeout), str(size), "1", program, host, *more]
        done = subprocess.run((Here if machine else self.closed).inside(*command), stdout=subprocess.PIPE, check=True,
                              text=True, timeout=120)
        return done.stdout.rstrip("\n").split("|")

    @staticmethod
    def hop(number, host, timeout=SLOW):
        done = subprocess.run([tool(), "hop", str(timeout), str(number), host], stdout=subprocess.PIPE, check=True,
                              text=True, timeout=120)
        return done.stdout.rstrip("\n").split("|")

    def test_ping_by_datagrams_where_the_group_may(self):
        for family in self.families():
            self.assertEqual(self.ping(SERVER[family], machine=OPEN), ["ok", SERVER[family], "ICMP", "32", "62"])
            self.assertEqual(self.ping(SERVER[family], "no-raw", machine=OPEN, size=1000)[2:4], ["ICMP", "1000"])

    def test_ping_by_a_raw_socket_where_that_is_allowed(self):
        for family in self.families():
            self.assertEqual(self.ping(SERVER[family]), ["ok", SERVER[family], "raw ICMP", "32", "62"])

    def test_ping_by_the_program_where_there_is_one(self):
        with tempfile.TemporaryDirectory() as folder:
            program = os.path.join(folder, "ping")
            with open(program, "w", encoding="ascii") as f:
                f.write('#!/bin/sh\nprintf "%s\\n" "$@" > "$0.asked"\n'
                        'echo "40 bytes from x: icmp_seq=1 ttl=33 time=1.5 ms"\n')
            os.chmod(program, 0o700)
            self.assertEqual(self.ping(SERVER[4], "no-raw", program=program),
                             ["ok", SERVER[4], "the program ping", "32", "33"])
            with open(program + ".asked", encoding="ascii") as f:
                *before, seconds, option, size, host = f.read().split()
            self.assertEqual([*before, option, size, host], ["-n", "-c", "1", "-W", "-s", "32", SERVER[4]])
            self.assertIn(int(seconds), range(1, SLOW // 1_000 + 1), "what is left of the time")
            with open(program, "w", encoding="ascii") as f:
                f.write("#!/bin/sh\nexit 1\n")
            self.assertEqual(self.ping(SERVER[4], "no-raw", program=program)[0], "no answer from " + SERVER[4])
            with open(program, "w", encoding="ascii") as f:
                f.write("#!/bin/sh\nexec sleep 60\n")
            began = time.monotonic()
            self.assertEqual(self.ping(SERVER[4], "no-raw", program=program, timeout=300)[0],
                             "no answer from " + SERVER[4])
            self.assertLess(time.monotonic() - began, 20)
            with open(program, "w", encoding="ascii") as f:
                f.write("#!/bin/sh\nexit 2\n")
            self.assertEqual(self.ping(SERVER[4], "no-raw", program=program)[2], "UDP", "it may not ask either")

    def test_ping_by_udp_where_nothing_else_is_left(self):
        for family in self.families():
            self.assertEqual(self.ping(SERVER[family], "no-raw"), ["ok", SERVER[family], "UDP", "32", "62"])

    def test_ping_of_this_machine(self):
        for machine, road in ((OPEN, "ICMP"), (CLOSED, "raw ICMP")):
            self.assertEqual(self.ping("127.0.0.1", machine=machine), ["ok", "127.0.0.1", road, "32", "64"])

    def test_ping_of_a_silent_host(self):
        self.server.set("ipv4/icmp_echo_ignore_all", "1")
        try:
            for machine in (OPEN, CLOSED):
                answer = self.ping(SERVER[4], machine=machine, timeout=300)
                self.assertEqual(answer[:2], ["no answer from " + SERVER[4], SERVER[4]])
        finally:
            self.server.set("ipv4/icmp_echo_ignore_all", "0")

    def test_a_lost_ping_among_others(self):
        self.server.set("ipv4/icmp_echo_ignore_all", "1")
        # As many as it takes on a machine that is slow to let them through.
        command = [tool(), "ping", "1500", "32", "40", NO_PROGRAM, SERVER[4]]
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
            first = process.stdout.readline()
            self.server.set("ipv4/icmp_echo_ignore_all", "0")
            answered = any(line.startswith("ok|") for line in process.stdout)
            process.kill()
        self.assertTrue(first.startswith("no answer"), first)
        self.assertTrue(answered)

    def test_a_host_that_is_answered_for_with_an_error(self):
        self.r2.run("ip", "route", "add", "unreachable", "10.0.9.1")
        self.r2.run("ip", "route", "add", "prohibit", "10.0.9.2")
        self.r1.run("ip", "route", "add", "10.0.9.0/24", "via", "10.0.2.254")
        for machine in (OPEN, CLOSED):
            self.assertEqual(self.ping("10.0.9.1", machine=machine)[0], "10.0.2.254: host unreachable")
            self.assertEqual(self.ping("10.0.9.2", machine=machine)[0], "10.0.2.254: forbidden by a filter")
        self.assertEqual(self.ping("10.0.9.1", "no-raw")[0], "10.0.2.254: host unreachable", "by UDP")
        self.assertEqual(self.hop(5, "10.0.9.1"), ["ok", "10.0.9.1", "10.0.2.254", "end", "host unreachable"])
        self.assertEqual(self.hop(5, "10.0.9.2"), ["ok", "10.0.9.2", "10.0.2.254", "end", "forbidden by a filter"])

    def test_what_is_not_a_host(self):
        for text in ("-c", "a b", "50%", "a@b", "$(x)", "", "a;b"):
            self.assertEqual(self.ping(text)[0], f"'{text}' is not a host")
            self.assertEqual(self.hop(1, text)[0], f"'{text}' is not a host")
        self.assertTrue(self.ping("no-such-host.invalid")[0].startswith("no-such-host.invalid: "))

    def test_three_hops(self):
        for family in self.families():
            for number, address in enumerate(HOPS[family], 1):
                self.assertEqual(self.hop(number, SERVER[family]),
                                 ["ok", SERVER[family], address, "end" if number == 3 else "", ""])
            self.assertEqual(self.hop(9, SERVER[family])[2:4], [SERVER[family], "end"], "more than it takes")

    def test_a_hop_that_is_silent(self):
        self.r1.run("ip", "route", "add", "blackhole", "10.0.8.0/24")
        self.assertEqual(self.hop(2, "10.0.8.1", timeout=300), ["ok", "10.0.8.1", "", "", ""])

    def test_a_hop_whose_first_packet_is_lost(self):
        self.r1.run("ip", "route", "add", "blackhole", SERVER[4])
        with subprocess.Popen([tool(), "hop", "20000", "3", SERVER[4]], stdout=subprocess.PIPE, text=True) as process:
            time.sleep(0.5)  # The second packet goes after 10 s. One that is late makes the test prove less, not fail.
            self.r1.run("ip", "route", "delete", "blackhole", SERVER[4])
            self.assertEqual(process.stdout.read(), f"ok|{SERVER[4]}|{SERVER[4]}|end|\n")

    def test_a_network_that_is_not_there(self):
        run("ip", "route", "delete", "default")
        try:
            self.assertEqual(self.ping("10.0.7.7", machine=OPEN)[0], "10.0.7.7: Network is unreachable")
            self.assertEqual(self.hop(1, "10.0.7.7")[0], "10.0.7.7: Network is unreachable")
        finally:
            run("ip", "route", "add", "default", "via", "10.0.1.254")


if __name__ == "__main__":
    can = subprocess.run([*NAMESPACE, "sh", "-c", "test -w /proc/sys/net/ipv4/ping_group_range && ip link set lo up"],
                         stderr=subprocess.DEVNULL, check=False)
    if INSIDE not in os.environ and can.returncode == 0:
        os.environ[INSIDE] = "1"
        os.execvp(NAMESPACE[0], [*NAMESPACE, sys.executable, *sys.argv])
    unittest.main()
