"""Alerts whose masks meet every page and the name that a name server gives, as the operator switched them on."""

import os
import time

from harness import SystemTest, append, ncsa_line, skip_at_midnight, wait_until
from names_test import Dnsmasq

ALERTS = """Alert=Orders\r
AlertNo=1\r
AlertEnabled=True\r
AlertENGINEALL=Y\r
AlertPage1=order*\r
AlertRunThis=True\r
AlertRun=%s\r
\r
Alert=Partners\r
AlertNo=2\r
AlertEnabled=True\r
AlertENGINEALL=Y\r
AlertDNS1=*.partner.test\r
AlertRunThis=True\r
AlertRun=%s\r
\r
\r
"""


class AlertPagesTest(SystemTest):
    def setUp(self):
        skip_at_midnight()
        self.folder = self.home()
        self.server = Dnsmasq({"10.0.0.5": "Host5.Partner.test"})
        self.addCleanup(self.server.clean_up)
        self.server.wait_ready()
        self.folder.write_settings(ReverseDNS="True")

    def script(self, name):
        path, out = self.folder.file(name), self.folder.file(name + ".out")
        with open(path, "w", encoding="ascii") as f:
            f.write('#!/bin/sh\necho x >> "%s"\n' % out)
        os.chmod(path, 0o755)
        return path, lambda: os.path.getsize(out) // 2 if os.path.exists(out) else 0

    def test_pages_and_names_raise_alerts_once_a_visit(self):
        home, log = self.folder, self.folder.log("access.log")
        orders, ordered = self.script("orders.sh")
        partners, partnered = self.script("partners.sh")
        home.write_sites(home.section("One", home.logs) + ALERTS % (orders, partners))
        home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Resolver]\nServers=127.0.0.1:%d\n"
                   "[Corrections]\nTestEveryPage=True\n" % self.server.port)
        append(log, ncsa_line("10.0.0.1", "/start.html", time.time() - 60))
        vantry = self.start(home)
        vantry.wait_visitor("10.0.0.1")
        time.sleep(3)  # The first scan is over.
        append(log, ncsa_line("10.0.0.1", "/order1.html") + ncsa_line("10.0.0.5", "/start.html"))
        wait_until(lambda: (ordered(), partnered()) == (1, 1), what=lambda: (ordered(), partnered(), vantry.stderr()))
        append(log, ncsa_line("10.0.0.1", "/order2.html", time.time() + 1) +
               ncsa_line("10.0.0.5", "/order.html", time.time() + 1))
        vantry.wait_visitor("host5.partner.test", "order.html")
        self.wait_scans(vantry, 3)
        self.assertEqual((ordered(), partnered()), (1, 1))
        self.assertEqual(vantry.status()[0].alerts, 2)
        vantry.stop()
        # Read again, the same visits raise the same alerts in silence.
        vantry = self.start(home)
        wait_until(lambda: vantry.status()[0].alerts == 2, what=vantry.status)
        vantry.stop()
        self.assertEqual((ordered(), partnered()), (1, 1))


if __name__ == "__main__":
    import unittest
    unittest.main()
