"""A SQL server of a hundred lines for the tests: it knows one user, and can be as ill as a test wants. tsql and python3-tds
agree with it (sql_check_test.py)."""

import socket
import struct
import threading

PRELOGIN, LOGIN, REPLY = 0x12, 0x10, 0x04


def utf16(text):
    return text.encode("utf-16-le")


def packet(kind, body):
    return struct.pack(">BBHHBB", kind, 1, len(body) + 8, 0, 1, 0) + body


def done(error=False):
    return struct.pack("<BHHQ", 0xFD, 2 if error else 0, 0, 0)


def error(number, text, severity=14):
    body = struct.pack("<IBBH", number, 1, severity, len(text)) + utf16(text) + b"\0\0" + struct.pack("<I", 1)
    return struct.pack("<BH", 0xAA, len(body)) + body


def accepted():
    name = "Fake"
    ack = struct.pack(">BIB", 1, 0x74000004, len(name)) + utf16(name) + bytes(4)
    size = struct.pack("<BB", 4, 4) + utf16("4096") + struct.pack("<B", 4) + utf16("4096")
    return (struct.pack("<BH", 0xE3, len(size)) + size + struct.pack("<BH", 0xAD, len(ack)) + ack + done())


def prelogin_reply():
    """No encryption here; one option after the other, as (number, offset, length)."""
    values = [(0, bytes([15, 0, 0, 0, 0, 0])), (1, bytes([2])), (2, bytes([0])), (4, bytes([0]))]
    offset, head, data = 5 * len(values) + 1, b"", b""
    for number, value in values:
        head += struct.pack(">BHH", number, offset + len(data), len(value))
        data += value
    return head + b"\xff" + data


def login_of(body):
    """User and password of a login packet."""
    def text(place):
        offset, count = struct.unpack_from("<HH", body, place)
        return body[offset:offset + 2 * count]
    password = bytes(((b ^ 0xA5) << 4 | (b ^ 0xA5) >> 4) & 255 for b in text(44))
    return text(40).decode("utf-16-le"), password.decode("utf-16-le")


class FakeTds:
    """`illness` is "" for none, "silent" (takes connections and says nothing), "dies" (in the middle of the answer to a
    login), "drops" (answers byte by byte, for ever) or "garbage"."""

    def __init__(self, user="watcher", password="secret", host="127.0.0.1", port=0):
        self.user, self.password, self.illness = user, password, ""
        self.logins = []      # (user, password) of every login.
        self.connections = 0
        family = socket.AF_INET6 if ":" in host else socket.AF_INET
        self.listener = socket.socket(family)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind((host, port))
        self.listener.listen(16)
        self.port = self.listener.getsockname()[1]
        self.stopped = threading.Event()
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            self.connections += 1
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        with connection:
            try:
                if self.illness == "silent":
                    self.stopped.wait()
                    return
                while self.answer(connection):
                    pass
            except OSError:
                pass

    @staticmethod
    def receive(connection):
        kind, data, last = 0, b"", False
        while not last:
            head = connection.recv(8, socket.MSG_WAITALL)
            if len(head) < 8:
                return 0, b""
            kind, status, size = struct.unpack_from(">BBH", head)
            data += connection.recv(size - 8, socket.MSG_WAITALL)
            last = bool(status & 1)
        return kind, data

    def answer(self, connection):
        kind, data = self.receive(connection)
        if kind == 0:
            return False
        if self.illness == "garbage":
            connection.sendall(bytes(range(256)) * 16)
            return False
        if self.illness == "drops":
            # A header that announces much, and then a byte now and again.
            connection.sendall(struct.pack(">BBHHBB", REPLY, 1, 32000, 0, 1, 0))
            while not self.stopped.wait(0.2):
                connection.sendall(b"\0")
            return False
        if kind == PRELOGIN:
            connection.sendall(packet(REPLY, prelogin_reply()))
        elif kind == LOGIN:
            login = login_of(data)
            self.logins.append(login)
            good = login == (self.user, self.password)
            reply = accepted() if good else error(18456, "Login failed for user '%s'." % login[0]) + done(True)
            reply = packet(REPLY, reply)
            connection.sendall(reply[:20] if self.illness == "dies" else reply)
            return good and self.illness != "dies"
        else:
            connection.sendall(packet(REPLY, done()))
        return True

    def clean_up(self):
        self.stopped.set()
        self.listener.close()
