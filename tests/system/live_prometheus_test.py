"""The numbers of the running program in a real Prometheus, with the rules and the dashboard that come with them."""

import json
import os
import re
import shutil
import subprocess
import unittest
import urllib.parse
import urllib.request

from harness import SystemTest, append, free_port, ncsa_line, skip_at_midnight, wait_until

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "prometheus")
RULES, DASHBOARD = os.path.join(FOLDER, "vantry-alerts.yml"), os.path.join(FOLDER, "vantry-dashboard.json")
NAME = re.compile(r"\bvantry_[a-z_]+")


def get(address):
    with urllib.request.urlopen(address, timeout=10) as answer:
        return answer.read().decode()


def read_text(path):
    with open(path, encoding="utf-8") as f:
        return f.read()


def expressions():
    """All that rules and dashboard ask for."""
    dashboard = json.loads(read_text(DASHBOARD))
    asked = [t["expr"] for panel in dashboard["panels"] for t in panel["targets"]]
    asked += [v["query"] for v in dashboard["templating"]["list"]]
    return asked + re.findall(r"expr: (.*)", read_text(RULES))


@unittest.skipUnless(shutil.which("promtool"), "no Prometheus here")
class PrometheusTest(SystemTest):
    def begin(self):
        skip_at_midnight()
        home = self.home()
        home.live = free_port()
        with open(home.file("registry.ini"), "a", encoding="utf-8") as f:
            f.write("[Live]\nPort=%d\n" % home.live)
        os.mkdir(home.log("two"))
        home.write_sites(home.section("One", home.logs), home.section("T\xf6 \"2\"", home.log("two"), Paused=True))
        append(home.log("access.log"), ncsa_line("192.0.2.1", "/a.html") + ncsa_line("192.0.2.2", "/b.html", status=404))
        vantry = self.start(home)
        self.metrics = "http://127.0.0.1:%d/metrics" % home.live
        wait_until(lambda: 'vantry_site_visitors{site="One"} 2' in get(self.metrics), what="the visitors")
        return vantry

    def test_numbers_are_what_checkers_like(self):
        vantry = self.begin()
        append(vantry.home.log("access.log"), ncsa_line("192.0.2.3", "/gone.html", status=404) * 2)
        wait_until(lambda: 'vantry_exceptions_total{number="404"}' in get(self.metrics), what="an exception")
        text = get(self.metrics)
        done = subprocess.run(["promtool", "check", "metrics"], input=text, text=True, capture_output=True, timeout=60)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""), text)
        there = set(re.findall(r"^# TYPE (\w+)", text, re.MULTILINE))
        for expression in expressions():
            for name in NAME.findall(expression):
                self.assertIn(name, there, expression)
        labels = set(re.findall(r'[{,]([a-z_]+)="', text))
        self.assertEqual(labels, {"site", "number", "table", "version"})
        self.assertIn('vantry_site_paused{site="T\xf6 \\"2\\""} 1', text)
        self.assertRegex(text, r"vantry_resident_memory_bytes [1-9]\d{6,}")
        vantry.stop()

    def test_a_prometheus_reads_them_with_rules_and_dashboard(self):
        vantry = self.begin()
        done = subprocess.run(["promtool", "check", "rules", RULES], capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr + done.stdout)
        port = free_port()
        config = os.path.join(vantry.home.base, "prometheus.yml")
        with open(config, "w", encoding="utf-8") as f:
            f.write("global: {scrape_interval: 1s, evaluation_interval: 1s}\nrule_files: ['%s']\nscrape_configs:\n"
                    "- job_name: vantry\n  static_configs: [{targets: ['127.0.0.1:%d']}]\n" % (
                        os.path.abspath(RULES), vantry.home.live))
        server = subprocess.Popen(
            ["prometheus", "--config.file=" + config, "--web.listen-address=127.0.0.1:%d" % port,
             "--storage.tsdb.path=" + os.path.join(vantry.home.base, "tsdb"), "--log.level=warn"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        self.api = "http://127.0.0.1:%d/api/v1/" % port
        wait_until(lambda: self.ask_quietly('vantry_site_visitors{site="One"}'), what="the first scrape")
        self.assertEqual(self.ask('up{job="vantry"}')[0]["value"][1], "1")
        self.assertEqual(self.ask("vantry_visitors")[0]["value"][1], "2")
        for expression in expressions():
            if "label_values" not in expression and expression != "prometheus":
                self.ask(expression.replace("$instance", ".*").replace("$site", ".*"))

        def rules_are_well():
            groups = json.loads(get(self.api + "rules"))["data"]["groups"]
            return groups and all(rule["health"] == "ok" for group in groups for rule in group["rules"])
        wait_until(rules_are_well, what=lambda: get(self.api + "rules"))
        vantry.stop()

    def ask(self, expression):
        answer = json.loads(get(self.api + "query?" + urllib.parse.urlencode({"query": expression})))
        self.assertEqual(answer["status"], "success", expression)
        return answer["data"]["result"]

    def ask_quietly(self, expression):
        try:
            return self.ask(expression)
        except OSError:
            return None


if __name__ == "__main__":
    unittest.main()
