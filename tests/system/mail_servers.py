"""Mail servers for the tests: two real ones and one that does what a test wants."""

import logging
import mailbox
import os
import pwd
import shutil
import socket
import ssl
import subprocess
import tempfile
import threading
import warnings

from harness import free_port, wait_until

EXIM = "/usr/sbin/exim4"

EXIM_CONFIG = """
primary_hostname = mail.test
spool_directory = {base}/spool
log_file_path = {base}/log/%s
pid_file_path = {base}/exim.pid
local_interfaces = 127.0.0.1
daemon_smtp_ports = {port}
keep_environment =
deliver_drop_privilege
never_users =
tls_advertise_hosts = *
tls_certificate = {cert}
tls_privatekey = {key}
acl_smtp_rcpt = check_rcpt
begin acl
check_rcpt:
  deny local_parts = nobody
       message = no such user here
  accept domains = example.test
  deny message = relaying is not for you
begin routers
all:
  driver = accept
  transport = maildir
begin transports
maildir:
  driver = appendfile
  directory = {base}/maildir
  maildir_format
  create_directory
begin retry
* * F,1h,1m
begin authenticators
cram:
  driver = cram_md5
  public_name = CRAM-MD5
  server_secret = ${{if eq{{$auth1}}{{{user}}}{{{password}}}fail}}
  server_set_id = $auth1
"""


class Certificate:
    """A certificate for "localhost" and 127.0.0.1 that nobody but itself has signed."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="vantry_cert_")
        self.cert = os.path.join(self.folder, "cert.pem")
        self.key = os.path.join(self.folder, "key.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", self.key,
                        "-out", self.cert, "-days", "2", "-subj", "/CN=localhost",
                        "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1"], check=True, capture_output=True)
        os.chmod(self.folder, 0o755)
        os.chmod(self.key, 0o644)

    def context(self):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.cert, self.key)
        return context

    def remove(self):
        shutil.rmtree(self.folder, ignore_errors=True)


class TakesAll:
    """What the aiosmtpd server does with its mails: keeps them. `refused` are recipients that it doesn't know."""

    def __init__(self, refused=()):
        self.refused = refused
        self.mails = []  # (envelope, whether it came encrypted, login)

    async def handle_RCPT(self, _server, _session, envelope, address, options):
        if address in self.refused:
            return "550 no such user"
        envelope.rcpt_tos.append(address)
        envelope.rcpt_options.extend(options)
        return "250 OK"

    async def handle_DATA(self, _server, session, envelope):
        self.mails.append((envelope, session.ssl is not None, session.auth_data))
        return "250 OK kept as %d" % len(self.mails)


class AioServer:
    """aiosmtpd with one login, in a thread of this process."""

    def __init__(self, user=None, password=None, smtps=None, refused=(), host="127.0.0.1", **options):
        from aiosmtpd.controller import Controller
        from aiosmtpd.smtp import AuthResult
        for name in ("mail.log", "asyncio"):
            logging.getLogger(name).setLevel(logging.CRITICAL)
        warnings.filterwarnings("ignore", "Requiring AUTH while not requiring TLS")

        def authenticate(_server, _session, _envelope, _mechanism, data):
            given = (getattr(data, "login", None), getattr(data, "password", None))
            # Not handled: the server answers for itself.
            return AuthResult(success=given == (user.encode(), password.encode()), handled=False, auth_data=given[0])
        if user:
            options.update(authenticator=authenticate, auth_required=True)
        self.handler = TakesAll(refused)
        self.port = free_port()
        self.place = "%s:%d" % (host, self.port)
        self.controller = Controller(self.handler, hostname=host, port=self.port, ssl_context=smtps, ready_timeout=20,
                                     **options)
        self.controller.start()

    @property
    def mails(self):
        return self.handler.mails

    def clean_up(self):
        self.controller.stop()


class Exim:
    """An exim that keeps mails for example.test in a folder, but none for "nobody". Root lends it its own account."""

    def __init__(self, certificate, user, password):
        self.base = tempfile.mkdtemp(prefix="vantry_exim_")
        self.port = free_port()
        self.place = "127.0.0.1:%d" % self.port
        for name in ("spool", "log"):
            os.mkdir(os.path.join(self.base, name))
        config = os.path.join(self.base, "exim.conf")
        with open(config, "w") as f:
            f.write(EXIM_CONFIG.format(base=self.base, port=self.port, cert=certificate.cert, key=certificate.key,
                                       user=user, password=password))
        lend = None
        if os.getuid() == 0:
            account = pwd.getpwnam("Debian-exim")
            for folder, _, files in os.walk(self.base):
                for path in [folder] + [os.path.join(folder, name) for name in files]:
                    os.chown(path, account.pw_uid, account.pw_gid)

            def lend():
                os.setgroups([account.pw_gid])
                os.setgid(account.pw_gid)
                os.setuid(account.pw_uid)
        self.output = open(os.path.join(self.base, "output"), "wb")
        self.process = subprocess.Popen([EXIM, "-C", config, "-bdf"], stdin=subprocess.DEVNULL, stdout=self.output,
                                        stderr=self.output, cwd="/", preexec_fn=lend)

    def what_it_says(self):
        texts = []
        for name in ("output", "log/main", "log/panic"):
            try:
                with open(os.path.join(self.base, name), errors="replace") as f:
                    texts.append(f.read()[-1500:])
            except OSError:
                continue
        return "\n".join(texts)

    def wait_ready(self):
        def listens():
            if self.process.poll() is not None:
                raise AssertionError("exim ended: " + self.what_it_says())
            with socket.socket() as s:
                return s.connect_ex(("127.0.0.1", self.port)) == 0
        wait_until(listens, what=self.what_it_says)
        return self

    def wait_mails(self, count):
        """The mails delivered, as bytes, oldest first."""
        folder = os.path.join(self.base, "maildir")

        def delivered():
            if not os.path.isdir(os.path.join(folder, "new")):
                return None
            box = mailbox.Maildir(folder, create=False)
            return [box.get_bytes(key) for key in sorted(box.keys())] if len(box) >= count else None
        return wait_until(delivered, what=self.what_it_says)

    def clean_up(self):
        self.process.terminate()
        self.process.wait(20)
        self.output.close()
        shutil.rmtree(self.base, ignore_errors=True)


class ScriptedServer:
    """Answers as a test says. `answer` makes the reply to a line, where "" is the greeting and "." the end of a mail:
    None closes the connection, "" keeps silent, and it may sleep. Each connection has a thread."""

    def __init__(self, answer=None):
        self.answer = answer or self.good
        self.lines = []
        self.mails = []
        self.connections = 0
        self.open = []
        self.socket = socket.create_server(("127.0.0.1", 0), backlog=200)
        self.port = self.socket.getsockname()[1]
        self.place = "127.0.0.1:%d" % self.port
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    @staticmethod
    def good(line):
        if line == "":
            return "220 mail.test ESMTP\r\n"
        if line == "DATA":
            return "354 go on\r\n"
        return "221 bye\r\n" if line == "QUIT" else "250 OK\r\n"

    def serve(self):
        while True:
            try:
                peer, _ = self.socket.accept()
            except OSError:
                return
            self.connections += 1
            self.open.append(peer)
            threading.Thread(target=self.talk, args=(peer,), daemon=True).start()

    def talk(self, peer):
        try:
            with peer, peer.makefile("rb") as stream:
                line = ""
                while True:
                    reply = self.answer(line)
                    if reply is None:
                        return
                    peer.sendall(reply.encode("latin-1"))
                    line = self.next_line(stream, line == "DATA" and reply.startswith("354"))
                    if line is None:
                        return
        except OSError:
            pass

    def next_line(self, stream, in_mail):
        mail = b""
        for line in stream:
            if not in_mail:
                self.lines.append(line.decode("latin-1").rstrip("\r\n"))
                return self.lines[-1]
            if line == b".\r\n":
                self.mails.append(mail)
                return "."
            mail += line[1:] if line.startswith(b".") else line
        return None

    def stop_listening(self):
        if self.socket.fileno() >= 0:
            self.socket.shutdown(socket.SHUT_RDWR)
            self.socket.close()

    def clean_up(self):
        self.stop_listening()
        for peer in self.open:
            try:
                peer.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
        self.thread.join(20)
