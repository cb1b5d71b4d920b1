"""A name server whose answers come late, or never, for programs that ask by way of the system."""

import ctypes
import os
import random
import socket
import subprocess
import tempfile
import threading
import unittest

from dnslib import QTYPE, RR, A, DNSRecord

NEW_MOUNTS, BIND, ALL_BELOW, PRIVATE = 0x20000, 0x1000, 0x4000, 0x40000


class LateNames:
    """Every name is 127.0.0.1, and known `late` seconds after it was asked for; with None, never. A program that is
    started with `lend` as its preexec_fn asks nobody else, once for each name, and waits for two seconds."""

    def __init__(self, late=0.0):
        self.late, self.asked = late, []
        self.libc = ctypes.CDLL(None, use_errno=True)
        self.files = tempfile.TemporaryDirectory(prefix="vantry_names_")
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        address = "127.%d.%d.%d" % (random.randint(1, 250), random.randint(0, 250), random.randint(1, 250))
        try:
            self.socket.bind((address, 53))
        except PermissionError:
            self.clean_up()
            raise unittest.SkipTest("the port of name servers is not ours to take") from None
        for name, text in (("resolv.conf", "nameserver %s\noptions timeout:2 attempts:1\n" % address),
                           ("nsswitch.conf", "hosts: files dns\n")):
            with open(os.path.join(self.files.name, name), "w") as f:
                f.write(text)
        threading.Thread(target=self.serve, daemon=True).start()
        try:
            subprocess.run(["/bin/true"], preexec_fn=self.lend, check=True)
        except (OSError, subprocess.SubprocessError):
            self.clean_up()
            raise unittest.SkipTest("a program can't be given files of its own here") from None

    def lend(self):
        """In the child: puts these files over those of the system, for it alone."""
        def mount(source, target, flags):
            if self.libc.mount(source.encode(), target.encode(), None, ctypes.c_ulong(flags), None) != 0:
                raise OSError(ctypes.get_errno(), target)
        if self.libc.unshare(NEW_MOUNTS) != 0:
            raise OSError(ctypes.get_errno(), "unshare")
        mount("none", "/", ALL_BELOW | PRIVATE)
        for name in ("resolv.conf", "nsswitch.conf"):
            mount(os.path.join(self.files.name, name), os.path.join("/etc", name), BIND)

    def serve(self):
        while True:
            try:
                data, peer = self.socket.recvfrom(4096)
            except OSError:
                return
            if data == b"end":
                return
            question = DNSRecord.parse(data)
            self.asked.append(str(question.q.qname))
            reply = question.reply()
            if question.q.qtype == QTYPE.A:
                reply.add_answer(RR(question.q.qname, QTYPE.A, ttl=0, rdata=A("127.0.0.1")))
            if self.late is not None:
                threading.Timer(self.late, self.send, (reply.pack(), peer)).start()

    def send(self, data, peer):
        try:
            self.socket.sendto(data, peer)
        except OSError:
            pass

    def clean_up(self):
        try:
            self.socket.sendto(b"end", self.socket.getsockname())
        except OSError:
            pass
        self.socket.close()
        self.files.cleanup()
