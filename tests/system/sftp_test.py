"""A log fetched over SSH, from a server whose key is known, and not from one whose key is not."""

import os
import socket
import threading
import unittest
import warnings

from ftp_servers import FtpCase
from harness import append, ncsa_line, wait_until

warnings.simplefilter("ignore")
import paramiko  # noqa: E402

USER, PASSWORD = "reader", "s3cret"


class Login(paramiko.ServerInterface):
    def check_auth_password(self, username, password):
        good = (username, password) == (USER, PASSWORD)
        return paramiko.AUTH_SUCCESSFUL if good else paramiko.AUTH_FAILED

    def check_channel_request(self, kind, chanid):
        return paramiko.OPEN_SUCCEEDED

    def get_allowed_auths(self, username):
        return "password"


class Files(paramiko.SFTPServerInterface):
    root = None

    def _real(self, path):
        return self.root + self.canonicalize(path)

    def list_folder(self, path):
        names = os.listdir(self._real(path))
        return [paramiko.SFTPAttributes.from_stat(os.stat(self._real(path) + "/" + n), n) for n in names]

    def stat(self, path):
        try:
            return paramiko.SFTPAttributes.from_stat(os.stat(self._real(path)))
        except OSError as e:
            return paramiko.SFTPServer.convert_errno(e.errno)

    lstat = stat

    def open(self, path, flags, attr):
        try:
            handle = paramiko.SFTPHandle(flags)
            handle.readfile = open(self._real(path), "rb")
            return handle
        except OSError as e:
            return paramiko.SFTPServer.convert_errno(e.errno)


class SftpServer:
    def __init__(self, folder):
        self.key = paramiko.ECDSAKey.generate()
        self.files = type("TheseFiles", (Files,), {"root": folder})
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        self.transports = []
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                s, _ = self.socket.accept()
            except OSError:
                return
            transport = paramiko.Transport(s)
            self.transports.append(transport)
            transport.add_server_key(self.key)
            transport.set_subsystem_handler("sftp", paramiko.SFTPServer, self.files)
            try:
                transport.start_server(server=Login())
            except (paramiko.SSHException, EOFError):
                pass

    def known_hosts(self):
        return "[127.0.0.1]:%d %s %s\n" % (self.port, self.key.get_name(), self.key.get_base64())

    def clean_up(self):
        self.socket.close()
        for transport in self.transports:
            transport.close()


class SftpTest(FtpCase):
    def setUp(self):
        super().setUp()
        self.site = self.home()
        self.server = SftpServer(self.site.logs)
        self.addCleanup(self.server.clean_up)

    def run_site(self, known, **keys):
        os.mkdir(os.path.join(self.site.base, ".ssh"))
        with open(os.path.join(self.site.base, ".ssh/known_hosts"), "w") as f:
            f.write(known)
        self.site.write_site(**{"Folder": "", "FTP": True, "FTPDomain": "sftp://127.0.0.1:%d" % self.server.port,
                                "FTPUserName": USER, "FTPPassword": PASSWORD, "FTPPath": "/", **keys})
        return self.start(self.site, env={"HOME": self.site.base})

    def grow(self, vantry):
        for n in range(1, 4):
            append(self.site.log("access.log"), ncsa_line("10.0.0.%d" % n, "/%d.htm" % n))
            vantry.wait_visitor("10.0.0.%d" % n, "%d.htm" % n)
        self.assertEqual(len(vantry.list()), 3)

    def test_a_growing_log(self):
        append(self.site.log("access.log"), "")
        self.grow(self.run_site(self.server.known_hosts()))

    def test_a_growing_log_by_mask(self):
        append(self.site.log("access.log"), "")
        self.grow(self.run_site(self.server.known_hosts(), Mask="*.log"))

    def test_an_unknown_key_is_told(self):
        vantry = self.run_site("")
        wait_until(lambda: "the key of the server is not known" in vantry.stderr(), what=vantry.stderr)

    def test_a_wrong_password_is_told(self):
        vantry = self.run_site(self.server.known_hosts(), FTPPassword="wrong")
        wait_until(lambda: "the login was refused" in vantry.stderr(), what=vantry.stderr)


if __name__ == "__main__":
    unittest.main()
