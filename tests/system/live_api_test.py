"""What programs are told of the sites while they are watched: lists, events, and the description of both."""

import http.client
import importlib.util
import json
import os
import queue
import re
import subprocess
import sys
import threading
import time

from harness import DEADLINE, SystemTest, append, free_port, ncsa_line, side_by_side, skip_at_midnight, wait_until

CLIENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "live-client.py")
SPEC = importlib.util.spec_from_file_location("live_client", CLIENT)
live_client = importlib.util.module_from_spec(SPEC)
SPEC.loader.exec_module(live_client)

TYPES = {"string": str, "integer": int, "boolean": bool, "object": dict, "array": list, "null": type(None)}
STAMP = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d[+-]\d\d:\d\d$")


class Reader:
    """Reads the events on the side."""

    def __init__(self, client, **query):
        self.events = queue.Queue()
        self.seen = []
        self.thread = threading.Thread(target=self.run, args=(client.events(**query),), daemon=True)
        self.thread.start()

    def run(self, events):
        for event in events:
            self.events.put(event)

    def wait(self, name, fits=lambda data: True):
        """The next event of this name that fits."""
        end = time.monotonic() + DEADLINE
        while True:
            try:
                event = self.events.get(timeout=max(0.0, end - time.monotonic()))
            except queue.Empty:
                raise AssertionError("no %s; seen: %s" % (name, [(e[1], e[2]) for e in self.seen[-20:]])) from None
            self.seen.append(event)
            if event[1] == name and fits(event[2]):
                return event


class LiveApiTest(SystemTest):
    def begin(self, lines=(), **keys):
        skip_at_midnight()
        home = self.home()
        home.live = free_port()
        with open(home.file("registry.ini"), "a", encoding="utf-8") as f:
            f.write("[Live]\nPort=%d\n" % home.live)
        home.write_site(**keys)
        append(home.log("access.log"), "".join(lines))
        return self.go_on(home)

    def go_on(self, home):
        vantry = self.start(home)
        vantry.client = live_client.LiveClient("http://127.0.0.1:%d/" % home.live)
        wait_until(lambda: self.ask(vantry, "/readyz")[0] == 200, what="ready")
        return vantry

    def ask(self, vantry, path, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", vantry.home.live, timeout=DEADLINE)
        try:
            connection.request("GET", path, headers=headers)
            answer = connection.getresponse()
            return answer.status, answer.read()
        finally:
            connection.close()

    def grow(self, vantry, *lines):
        append(vantry.home.log("access.log"), "".join(lines))

    def test_lists_and_events_follow_the_log(self):
        vantry = self.begin([ncsa_line("192.0.2.1", "/old.html"), ncsa_line("192.0.2.1", "/older.html")])
        client = vantry.client
        wait_until(lambda: client.get("visitors")["items"], what="the first visitor")
        visitors = client.get("visitors")
        self.assertEqual([v["key"] for v in visitors["items"]], ["1:192.0.2.1"])
        reader = Reader(client, after=visitors["event"])
        self.grow(vantry, ncsa_line("192.0.2.2", "/a.html"), ncsa_line("192.0.2.3", "/x.html"))
        come = reader.wait("come", lambda data: data["key"] == "1:192.0.2.2")
        self.assertEqual((come[2]["page"], come[2]["status"], come[2]["site"]), ("a.html", 200, 1))
        time.sleep(1.1)  # A second page within one second counts as the same.
        self.grow(vantry, ncsa_line("192.0.2.2", "/gone.html", status=404), ncsa_line("192.0.2.3", "/x.html"))
        raised = reader.wait("exception")
        self.assertEqual((raised[2]["number"], raised[2]["key"]), (404, "1:192.0.2.2"))
        move = next((e for e in reader.seen if e[1] == "move"), None) or reader.wait("move")
        self.assertEqual((move[2]["key"], move[2]["page"], move[2]["pages"]), ("1:192.0.2.2", "gone.html", 2))
        self.assertEqual(reader.wait("site", lambda data: data["visitors"] == 3)[2]["name"], "One")
        one = client.get("visitors/1:192.0.2.2")
        self.assertEqual([p["page"] for p in one["pages_seen"]], ["a.html", "gone.html"])
        self.assertEqual([e["number"] for e in client.get("exceptions")["items"]], [404])
        self.assertEqual({p["page"] for p in client.items("pages", limit=1)}, {"old.html", "older.html", "gone.html",
                                                                              "x.html"} & {
            v["page"] for v in client.items("visitors", limit=1)})
        self.assertEqual(len(client.get("rates")["minutes"]), 60)
        self.assertEqual(len(client.get("history/visits", address="192.0.2.2")["items"]), 1)
        # Who goes on after an id gets all that came since, once.
        ids = [int(e[0]) for e in reader.seen]
        self.assertEqual(ids, sorted(set(ids)))
        again = Reader(client, last_id=come[0])
        self.assertEqual(again.wait("move")[0], move[0])
        vantry.stop()

    def test_filters_and_mistakes(self):
        vantry = self.begin([ncsa_line("192.0.2.%d" % i, "/p%d.html" % (i % 3)) for i in range(1, 30)])
        client = vantry.client
        wait_until(lambda: len(client.get("visitors")["items"]) == 29, what="all visitors")
        self.assertEqual(len(list(client.items("visitors", address="192.0.2.1*", limit=2))), 11)
        self.assertEqual(len(list(client.items("visitors", page="/p0.*", limit=4))), 9)
        for query, name in (("colour=1", "colour"), ("site=7", "site"), ("limit=0", "limit"), ("cursor=abc", "cursor")):
            status, text = self.ask(vantry, "/api/v1/visitors?" + query)
            self.assertEqual(status, 400)
            self.assertIn(name, json.loads(text)["error"]["message"])
        self.assertEqual(self.ask(vantry, "/api/v1/visitors/1:10.1.1.1")[0], 404)
        self.assertEqual(self.ask(vantry, "/api/v1/nothing")[0], 404)
        reader = Reader(client, address="192.0.2.99")
        time.sleep(0.3)
        self.grow(vantry, ncsa_line("192.0.2.98", "/a.html"), ncsa_line("192.0.2.99", "/b.html"))
        self.assertEqual(reader.wait("come")[2]["address"], "192.0.2.99")
        vantry.stop()

    def test_a_restart_is_told_and_makes_no_events_of_old_lines(self):
        vantry = self.begin([ncsa_line("192.0.2.1", "/a.html")])
        reader = Reader(vantry.client)
        wait_until(lambda: b"vantry_live_streams 1" in self.ask(vantry, "/metrics")[1], what="the reader")
        self.grow(vantry, ncsa_line("192.0.2.2", "/a.html"))
        first = reader.wait("come")
        vantry.stop()
        vantry = self.go_on(vantry.home)
        missed = reader.wait("missed")
        self.assertGreater(int(missed[0]), int(first[0]))
        self.grow(vantry, ncsa_line("192.0.2.3", "/a.html"))
        self.assertEqual(reader.wait("come")[2]["address"], "192.0.2.3")
        self.assertEqual([e[1] for e in reader.seen if e[1] in ("come", "move")], ["come", "come"])
        vantry.stop()

    def test_curl_and_the_client_print_events(self):
        vantry = self.begin([ncsa_line("192.0.2.1", "/a.html")])
        address = "http://127.0.0.1:%d/" % vantry.home.live
        curl = subprocess.Popen(["curl", "-sN", address + "api/v1/events"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(curl.stdout.close)
        self.addCleanup(curl.wait)
        self.addCleanup(curl.kill)
        client = subprocess.Popen([sys.executable, CLIENT, address, "site=1"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(client.stdout.close)
        self.addCleanup(client.wait)
        self.addCleanup(client.kill)
        self.assertEqual(curl.stdout.readline(), "retry: 1000\n")
        wait_until(lambda: b"vantry_live_streams 2" in self.ask(vantry, "/metrics")[1], what="both readers")
        self.grow(vantry, ncsa_line("192.0.2.7", "/a.html"))
        next(line for line in curl.stdout if line == "event: come\n")
        self.assertIn('"key":"1:192.0.2.7"', curl.stdout.readline())
        line = next(line for line in client.stdout if line.startswith("come"))
        self.assertEqual(line, "come      1:192.0.2.7 a.html\n")
        vantry.stop()

    # Every path answers, and every property of every answer is described, with a type that fits.
    def test_the_description_is_true(self):
        vantry = self.begin([ncsa_line("192.0.2.1", "/a.html", referrer="http://search.example/")], Domain="www.one.test")
        client = vantry.client
        wait_until(lambda: client.get("visitors")["items"], what="a visitor")
        self.grow(vantry, ncsa_line("192.0.2.2", "/robots.txt", agent="Crawler/1 +http://x"),
                  ncsa_line("192.0.2.3", "/b.html", status=404))
        wait_until(lambda: client.get("exceptions")["items"], what="an exception")
        status, text = self.ask(vantry, "/api/v1/openapi.json")
        self.assertEqual(status, 200)
        page = json.loads(text)
        self.assertEqual(page["openapi"], "3.1.0")
        for path, item in page["paths"].items():
            described = item["get"]
            with self.subTest(path):
                status, text = self.answer(vantry, path)
                self.assertIn(str(status), described["responses"], text)
                self.assertEqual(status, 200)
                content = described["responses"]["200"]["content"]
                if "application/json" in content:
                    self.fits(page, content["application/json"]["schema"], json.loads(text), path)
                self.parameters_are_true(vantry, page, path, described)
        self.fits(page, {"$ref": "#/components/schemas/Error"}, json.loads(self.ask(vantry, "/api/v1/sites?x=1")[1]), "e")
        self.events_are_true(client, page)
        vantry.stop()

    def answer(self, vantry, path):
        path = path.replace("{key}", "1:192.0.2.1")
        if not path.endswith("/events"):
            return self.ask(vantry, path)
        connection = http.client.HTTPConnection("127.0.0.1", vantry.home.live, timeout=DEADLINE)
        self.addCleanup(connection.close)
        connection.request("GET", path)
        response = connection.getresponse()
        self.assertEqual(response.getheader("Content-Type"), "text/event-stream")
        return response.status, response.readline()

    def parameters_are_true(self, vantry, page, path, described):
        names = [self.resolve(page, p)["name"] for p in described.get("parameters", [])
                 if self.resolve(page, p)["in"] == "query"]
        if not path.startswith("/api/v1/") or path.endswith("openapi.json"):
            return
        values = {"site": "1", "address": "*", "page": "*", "country": "*", "spider": "0", "limit": "5",
                  "from": "2020-01-01", "to": "2099-01-01", "after": "1"}
        for name, value in values.items():
            if name == "after" and path.endswith("/events"):
                continue  # Never ends; its own test reads it.
            if path.endswith("/events") and name in names:
                continue
            status = self.ask(vantry, "%s?%s=%s" % (path.replace("{key}", "1:192.0.2.1"), name, value))[0]
            self.assertEqual(status, 200 if name in names else 400, (path, name))

    def events_are_true(self, client, page):
        names = {"come": "Visitor", "move": "Visitor", "leave": "Left", "alert": "Alert", "exception": "Exception",
                 "site": "Site", "missed": "Range", "slow": "Range"}
        reader = Reader(client, last_id="1")
        reader.wait("missed")
        reader.wait("site")
        for _, name, data in reader.seen:
            self.fits(page, {"$ref": "#/components/schemas/" + names[name]}, data, name)

    @staticmethod
    def resolve(page, schema):
        while "$ref" in schema:
            node = page
            for part in schema["$ref"].lstrip("#/").split("/"):
                node = node[part]
            schema = node
        return schema

    def fits(self, page, schema, value, where):
        schema = self.resolve(page, schema)
        kinds = schema.get("type")
        kinds = kinds if isinstance(kinds, list) else [kinds]
        self.assertTrue(any(type(value) is TYPES[kind] for kind in kinds), (where, kinds, value))
        if schema.get("format") == "date-time" and value is not None:
            self.assertRegex(value, STAMP, where)
        if "enum" in schema:
            self.assertIn(value, schema["enum"], where)
        if isinstance(value, list):
            for one in value:
                self.fits(page, schema["items"], one, where + "[]")
        if isinstance(value, dict) and "properties" in schema:
            self.assertLessEqual(set(value), set(schema["properties"]), where)
            self.assertLessEqual(set(schema["required"]), set(value), where)
            for name, one in value.items():
                self.fits(page, schema["properties"][name], one, "%s.%s" % (where, name))


if __name__ == "__main__":
    side_by_side()
