"""Logs on real FTP daemons: vsftpd, with and without encryption, and proftpd."""

import glob
import grp
import os
import pwd
import shutil
import subprocess
import tempfile
import unittest

from ftp_servers import FtpCase, wait_port
from harness import append, free_port, ncsa_line, wait_until

VSFTPD = shutil.which("vsftpd") or "/usr/sbin/vsftpd"
# Debian has both, but only one at a time: scripts/install-deps.sh unpacks the second one here.
UNPACKED = os.path.join(os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache"), "vantry-tests", "proftpd")

VSFTPD_CONFIG = """listen=YES
listen_port={port}
listen_address=127.0.0.1
background=NO
anonymous_enable=YES
no_anon_password=YES
anon_root={logs}
seccomp_sandbox=NO
secure_chroot_dir={base}
connect_from_port_20=NO
run_as_launching_user={plain_user}
"""
VSFTPD_TLS = """ssl_enable=YES
allow_anon_ssl=YES
force_anon_logins_ssl=YES
force_anon_data_ssl=YES
rsa_cert_file={base}/cert.pem
rsa_private_key_file={base}/key.pem
"""
PROFTPD_CONFIG = """ServerName "test"
ServerType standalone
DefaultAddress 127.0.0.1
Port {port}
UseIPv6 off
User {user}
Group {group}
RootLogin on
AuthUserFile {base}/passwd
AuthOrder mod_auth_file.c
RequireValidShell off
WtmpLog off
UseReverseDNS off
PidFile {base}/pid
ScoreboardFile {base}/score
DelayEngine off
SystemLog {base}/log
TransferLog none
AllowRetrieveRestart on
"""


class Daemon:
    def __init__(self, test, home, command, config, **values):
        self.base = tempfile.mkdtemp(prefix="vantry_ftpd_")
        os.chmod(self.base, 0o755)
        test.addCleanup(shutil.rmtree, self.base, True)
        self.port = free_port()
        self.values = dict(values, port=self.port, base=self.base, logs=home.logs)
        with open(os.path.join(self.base, "conf"), "w") as f:
            f.write(config.format(**self.values))
        self.command = [part.format(**self.values) for part in command]

    def start(self, test, **how):
        out = open(os.path.join(self.base, "out"), "w")
        test.addCleanup(out.close)
        self.process = subprocess.Popen(self.command, stdin=subprocess.DEVNULL, stdout=out, stderr=out, **how)
        test.addCleanup(self.stop)
        wait_port(self.port, self.process)
        return self

    def stop(self):
        self.process.terminate()
        self.process.wait(20)


def start_vsftpd(test, home, tls=False):
    """A server of the home's logs for whoever calls himself anonymous."""
    if not os.path.exists(VSFTPD):
        test.skipTest("vsftpd is not installed")
    os.chmod(home.base, 0o755)
    daemon = Daemon(test, home, [VSFTPD, "{base}/conf"], VSFTPD_CONFIG + (VSFTPD_TLS if tls else ""),
                    plain_user="NO" if os.getuid() == 0 else "YES")
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "key.pem", "-out",
                    "cert.pem", "-days", "2", "-subj", "/CN=localhost", "-addext",
                    "subjectAltName=IP:127.0.0.1,DNS:localhost"], cwd=daemon.base, check=True, capture_output=True)
    return daemon.start(test)


class FtpDaemonsTest(FtpCase):
    def vsftpd(self, home, tls=False):
        return start_vsftpd(self, home, tls)

    def proftpd(self, home):
        binary = shutil.which("proftpd") or os.path.join(UNPACKED, "usr/sbin/proftpd")
        if not os.path.exists(binary):
            self.skipTest("proftpd is not there; scripts/install-deps.sh test unpacks it")
        daemon = Daemon(self, home, [binary, "-n", "-c", "{base}/conf"], PROFTPD_CONFIG,
                        user=pwd.getpwuid(os.getuid()).pw_name, group=grp.getgrgid(os.getgid()).gr_name)
        hashed = subprocess.run(["openssl", "passwd", "-1", "pass word"], capture_output=True, text=True, check=True)
        with open(os.path.join(daemon.base, "passwd"), "w") as f:
            f.write("reader:%s:%d:%d::%s:/bin/sh\n" % (hashed.stdout.strip(), os.getuid(), os.getgid(), home.logs))
        os.chmod(f.name, 0o600)
        libraries = glob.glob(os.path.join(UNPACKED, "usr/lib/*-linux-gnu"))
        return daemon.start(self, env=dict(os.environ, LD_LIBRARY_PATH=":".join(libraries)))

    def follow(self, home, env=None, corrections="", mask="access.log", **keys):
        """Three lines are added one by one, and a fourth after the log was renamed."""
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\n" + corrections)
        append(home.log("access.log"), "")
        home.write_site(**{"Folder": "", "FTP": True, "FTPPassive": True, "Mask": mask, **keys})
        vantry = self.start(home, env=env)
        for n in range(1, 4):
            append(home.log("access.log"), ncsa_line("10.0.0.%d" % n, "/%d.htm" % n))
            vantry.wait_visitor("10.0.0.%d" % n, "%d.htm" % n)
        self.assertEqual(len(vantry.list()), 3)
        if corrections:
            append(home.log("access.log"), ncsa_line("10.0.0.4", "/4.htm"))
            os.rename(home.log("access.log"), home.log("access.log.1"))
            append(home.log("access.log"), ncsa_line("10.0.0.5", "/5.htm"))
            vantry.wait_visitor("10.0.0.5", "5.htm")
            self.assertEqual(len(vantry.list()), 5)
        vantry.stop()
        return vantry

    def anonymous(self, daemon, **more):
        return {"FTPDomain": "127.0.0.1:%d" % daemon.port, "FTPUserName": "anonymous", "FTPPassword": "x",
                "FTPPath": "/", **more}

    def test_vsftpd(self):
        for corrections in ("", "All=True\n"):
            for passive in (True, False):
                with self.subTest(corrections=corrections, passive=passive):
                    home = self.home()
                    daemon = self.vsftpd(home)
                    self.follow(home, corrections=corrections, **self.anonymous(daemon, FTPPassive=passive))

    def test_vsftpd_by_mask(self):
        home = self.home()
        self.follow(home, mask="acc*.log", **self.anonymous(self.vsftpd(home)))

    def test_vsftpd_that_wants_encryption(self):
        home = self.home()
        self.follow(home, **self.anonymous(self.vsftpd(home, tls=True)))

    def test_encryption_that_is_insisted_on_needs_a_valid_certificate(self):
        home = self.home()
        daemon = self.vsftpd(home, tls=True)
        keys = self.anonymous(daemon, FTPDomain="ftpes://127.0.0.1:%d" % daemon.port)
        self.follow(home, env={"SSL_CERT_FILE": os.path.join(daemon.base, "cert.pem")}, **keys)
        stranger = self.home()
        stranger.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n")
        stranger.write_site(**{"Folder": "", "FTP": True, "FTPPassive": True, **keys})
        vantry = self.start(stranger)
        wait_until(lambda: "the certificate is not valid" in vantry.stderr(), what=vantry.stderr)

    def test_encryption_that_is_not_offered_is_told(self):
        home = self.home()
        daemon = self.vsftpd(home)
        home.write_site(**{"Folder": "", "FTP": True, "FTPPassive": True,
                           **self.anonymous(daemon, FTPDomain="ftpes://127.0.0.1:%d" % daemon.port)})
        vantry = self.start(home)
        wait_until(lambda: "the server offers no encryption" in vantry.stderr(), what=vantry.stderr)

    def test_proftpd(self):
        for corrections in ("", "All=True\n"):
            with self.subTest(corrections=corrections):
                home = self.home()
                daemon = self.proftpd(home)
                self.follow(home, corrections=corrections, FTPDomain="127.0.0.1:%d" % daemon.port,
                            FTPUserName="reader", FTPPassword="pass word", FTPPath=home.logs)
                daemon.stop()


if __name__ == "__main__":
    unittest.main()
