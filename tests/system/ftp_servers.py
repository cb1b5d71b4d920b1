"""FTP servers for the tests: pyftpdlib with habits of all kinds, and one that speaks from a script."""

import logging
import os
import socket
import threading
import time

from harness import SystemTest, faketime_library, free_port, quick_clock, skip_at_midnight, wait_until

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.filesystems import AbstractedFS
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.ioloop import IOLoop
from pyftpdlib.servers import FTPServer

logging.disable(logging.CRITICAL)  # Every command is a line otherwise.
USER, PASSWORD = "log reader", "s3cret word"
# How many seconds of the program pass in one of ours: it looks for news every two seconds of its own.
RATE = 8 if faketime_library() else 1


class FtpCase(SystemTest):
    def setUp(self):
        skip_at_midnight(before=600)

    def start(self, home, env=None, **how):
        quick = quick_clock(RATE) if RATE > 1 else {}
        return super().start(home, env={**quick, **(env or {})}, **how)


def dos_lines(folder, names):
    for name in names:
        info = os.stat(os.path.join(folder, name))
        stamp = time.strftime("%m-%d-%y  %I:%M%p", time.localtime(info.st_mtime))
        size = "<DIR>         " if os.path.isdir(os.path.join(folder, name)) else "%14d" % info.st_size
        yield ("%s %s %s\r\n" % (stamp, size, name)).encode()


class PyFtp:
    """A pyftpdlib server on a folder, in a thread of this process. `commands` has what clients sent.

    Habits: no_size (a reply to SIZE in its place), no_rest, dos (listing), listing (lines of it as they are),
    drop_after (bytes after which each transfer breaks off), idle (seconds), bytes_per_second, tls (handler class)."""

    def __init__(self, folder, port=None, handler=FTPHandler, **habits):
        self.folder, self.port, self.habits, self.handler_base = folder, port or free_port(), habits, handler
        self.commands, self.received = [], []
        self.thread = None
        self.start()

    def _handler(self):
        owner, habits = self, self.habits

        class Files(AbstractedFS):
            def format_list(self, basedir, listing, ignore_err=True):
                if "listing" in habits:
                    return iter(habits["listing"])
                if habits.get("dos"):
                    return dos_lines(basedir, listing)
                return super().format_list(basedir, listing, ignore_err)

        class Handler(self.handler_base):
            abstracted_fs = Files
            banner = habits.get("banner", "ready")
            timeout = habits.get("idle", 300)
            permit_foreign_addresses = True

            def pre_process_command(self, line, cmd, arg):
                owner.commands.append(cmd + (" " + arg if arg and cmd != "PASS" else ""))
                return super().pre_process_command(line, cmd, arg)

            def ftp_SIZE(self, path):
                if "no_size" in habits:
                    return self.respond(habits["no_size"])
                return super().ftp_SIZE(path)

            def ftp_REST(self, line):
                if "no_rest" in habits:
                    return self.respond(habits["no_rest"])
                return super().ftp_REST(line)

        if "bytes_per_second" in habits or "drop_after" in habits:
            from pyftpdlib.handlers import DTPHandler, ThrottledDTPHandler

            class Data(ThrottledDTPHandler):
                read_limit = write_limit = habits.get("bytes_per_second", 0)
                ac_in_buffer_size = ac_out_buffer_size = 1024 if "drop_after" in habits else 65536
                sent = 0

                def send(self, data):
                    result = super().send(data)
                    self.sent += result
                    if 0 < habits.get("drop_after", 0) <= self.sent:
                        control = self.cmd_channel
                        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
                        self.close()
                        control.close()
                    return result

            Handler.dtp_handler = Data
        authorizer = DummyAuthorizer()
        authorizer.add_user(USER, PASSWORD, self.folder, perm="elr")
        Handler.authorizer = authorizer
        return Handler

    def start(self):
        self.stopping = False
        self.loop = IOLoop()
        self.server = FTPServer(("127.0.0.1", self.port), self._handler(), ioloop=self.loop)
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()
        return self

    def _serve(self):
        while not self.stopping:
            self.loop.loop(timeout=0.02, blocking=False)
        self.server.close_all()
        self.loop.close()

    def stop(self):
        self.stopping = True
        self.thread.join(10)

    clean_up = stop

    def count(self, verb):
        return sum(1 for c in self.commands if c.split(" ")[0] == verb)

    def keys(self, path="/", **more):
        """What a site needs to read its log here."""
        pairs = {"FTP": True, "FTPPassive": True, "FTPDomain": "127.0.0.1:%d" % self.port, "FTPUserName": USER,
                 "FTPPassword": PASSWORD, "FTPPath": path}
        pairs.update(more)
        return pairs


class ScriptedFtp:
    """A server that answers each connection by a routine of the test, which is given the socket."""

    def __init__(self, serve):
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        self.open = []
        self.serve = serve
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                s, _ = self.socket.accept()
            except OSError:
                return
            self.open.append(s)
            threading.Thread(target=self._run, args=(s,), daemon=True).start()

    def _run(self, s):
        try:
            self.serve(s)
        except OSError:
            pass

    def clean_up(self):
        self.socket.close()
        for s in self.open:
            s.close()

    keys = PyFtp.keys


def wait_port(port, process=None):
    def answers():
        if process and process.poll() is not None:
            raise AssertionError("the server ended with %d" % process.returncode)
        try:
            with socket.create_connection(("127.0.0.1", port), 2) as s:
                return s.recv(3) == b"220"
        except OSError:
            return False
    wait_until(answers)


class MiniFtp(ScriptedFtp):
    """A server of one file. `replies` answers verbs in a way of its own, with bytes or a routine that is given the
    socket and returns them; `pieces` are what is sent of the file, each after a pause; `banner` comes first."""

    def __init__(self, text, replies=None, pieces=None, pause=0.0, banner=b"220 ready\r\n"):
        self.text, self.replies, self.pieces, self.pause, self.banner = text, replies or {}, pieces, pause, banner
        self.commands = []
        super().__init__(self._serve)

    def _serve(self, s):
        s.sendall(self.banner)
        data, start = None, 0
        for line in s.makefile("rb"):
            verb, _, rest = line.decode("latin-1").strip().partition(" ")
            self.commands.append(line.decode("latin-1").strip())
            if verb in self.replies:
                reply = self.replies[verb]
                s.sendall(reply(s) if callable(reply) else reply)
            elif verb == "EPSV":
                data = socket.create_server(("127.0.0.1", 0))
                s.sendall(b"229 (|||%d|)\r\n" % data.getsockname()[1])
            elif verb == "SIZE":
                s.sendall(b"213 %d\r\n" % len(self.text))
            elif verb == "REST":
                start = int(rest)
                s.sendall(b"350 from there\r\n")
            elif verb in ("RETR", "LIST"):
                s.sendall(b"150 here it comes\r\n")
                with data, data.accept()[0] as d:
                    for piece in self.pieces or [self.text[start:]]:
                        d.sendall(piece)
                        time.sleep(self.pause)
                s.sendall(b"226 done\r\n")
                start = 0
            elif verb == "AUTH":
                s.sendall(b"502 no\r\n")
            else:
                s.sendall({"USER": b"331 name?\r\n", "PASS": b"230 in\r\n", "PWD": b'257 "/"\r\n',
                           "QUIT": b"221 bye\r\n"}.get(verb, b"200 ok\r\n"))
