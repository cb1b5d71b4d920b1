#!/usr/bin/python3
"""Serves the live page with made-up visitors, as the program would: files, lists, events, login.

    live_mock.py [--port N] [--visitors N] [--changes N] [--login] [--hostile] [--sites N]

By hand: shows the page at http://127.0.0.1:PORT/. Tests use LiveMock, whose visitors come and go as the test says.
"""

import argparse
import collections
import datetime
import http.server
import json
import os
import random
import socket
import threading
import time
import urllib.parse

PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "src", "live", "page")
TYPES = {".html": "text/html; charset=utf-8", ".js": "text/javascript; charset=utf-8",
         ".css": "text/css; charset=utf-8", ".svg": "image/svg+xml"}
HEADERS = {
    "Content-Security-Policy": "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
                               "connect-src 'self'; font-src 'self'; worker-src 'self'; manifest-src 'self'; "
                               "base-uri 'none'; form-action 'self'; frame-ancestors 'none'",
    "X-Content-Type-Options": "nosniff", "Referrer-Policy": "no-referrer",
    "Cross-Origin-Resource-Policy": "same-origin", "Cache-Control": "no-store"}
LISTS = ("sites", "visitors", "alerts", "exceptions", "spiders")
ZONE = datetime.timezone(datetime.timedelta(hours=2))
KEPT = 10_000
USER, PASSWORD = "operator", "opensesame"

PAGES = ["/", "/tools/", "/tools/spades", "/tools/rakes", "/seeds/", "/seeds/tomatoes", "/seeds/beans?sort=price",
         "/cart", "/checkout", "/about", "/journal/2026/11/pruning-roses", "/journal/", "/search?q=garden+gnome",
         "/images/greenhouse-plan.pdf", "/account/orders/48213"]
REFERRERS = ["", "", "", "https://www.search.example/results?q=garden+tools", "https://news.example/item?id=4",
             "https://forum.growers.example/t/late-frost/812", "https://www.demo.example/tools/"]
AGENTS = [("Firefox 134", "Mozilla/5.0 (X11; Linux x86_64; rv:134.0) Gecko/20100101 Firefox/134.0"),
          ("Chrome 140", "Mozilla/5.0 (Windows NT 10.0) AppleWebKit/537.36 Chrome/140.0 Safari/537.36"),
          ("Safari 19", "Mozilla/5.0 (Macintosh) AppleWebKit/605.1 Version/19.0 Safari/605.1")]
COUNTRIES = [("DE", "Germany"), ("FR", "France"), ("US", "United States"), ("JP", "Japan"), ("BR", "Brazil"),
             ("NL", "Netherlands"), ("IN", "India"), (None, None)]
SPIDERS = ["Indexer", "FeedReader", "ArchiveWalker"]
MARKUP = "<img src=x onerror=\"window.hacked=1\"><script>window.hacked=1</script>"
HOSTILE = [MARKUP, "</title><svg/onload=window.hacked=1>", "\u202egpj.exe\u202c and on", "\u2067שלום\u2069 עולם",
           "x" * 10_000, "{{7*7}} ${window.hacked=1} javascript:window.hacked=1", "\U0001f600 \u0000\u0007\u001b[31m",
           "a\u0301" * 400]


def stamp(at):
    return datetime.datetime.fromtimestamp(int(at), ZONE).isoformat()


class World:
    """What the made-up program knows. Every change is an event."""

    def __init__(self, sites=1):
        self.lock = threading.Condition()
        self.random = random.Random(17)
        self.events = collections.deque(maxlen=KEPT)
        self.last = 1795376884105000  # As the program numbers them: by the time of its start.
        self.visits = 0
        self.started = time.time()
        self.paused = False
        self.classic_port = 8004
        self.visitors, self.seen = {}, {}
        self.alerts, self.exceptions, self.spiders = [], [], []
        self.rates_scale = 1
        names = ["Demo Site", "Shop", "Journal", "Documentation"] + ["Site %d" % n for n in range(5, 2000)]
        self.sites = {n: self._site(n, names[n - 1]) for n in range(1, sites + 1)}

    @staticmethod
    def _site(number, name):
        return {"site": number, "name": name, "domain": "www.%s.example" % name.split()[0].lower(),
                "home_page": "/", "type": "NCSA", "state": "ok", "visitors": 0, "visitors_today": 0,
                "spiders_today": 0, "alerts_today": 0, "exceptions_today": 0, "downloads_today": 0, "peak_today": 0,
                "log_file": "/var/log/access.log", "bytes_read": 1000, "bytes_behind": 0,
                "last_line": stamp(time.time()), "last_scan": stamp(time.time())}

    def _event(self, kind, data):
        with self.lock:
            self.last += 1
            text = "id: %d\nevent: %s\ndata: %s\n\n" % (self.last, kind, json.dumps(data))
            self.events.append((self.last, text.encode("utf-8")))
            self.lock.notify_all()

    def _count(self, site, **by):
        with self.lock:
            for name, step in by.items():
                self.sites[site][name] += step
            self.sites[site]["last_line"] = stamp(time.time())
            data = dict(self.sites[site])
        self._event("site", data)

    def come(self, address=None, site=1, quiet=False, ago=0, **fields):
        """A new visitor. `quiet`: it was there before anybody looked."""
        rnd = self.random
        self.visits += 1
        address = address or "%d.%d.%d.%d" % (rnd.choice((192, 198, 203)), rnd.randrange(256), rnd.randrange(256),
                                              rnd.randrange(1, 255))
        country = rnd.choice(COUNTRIES)
        browser, agent = rnd.choice(AGENTS)
        spider = rnd.choice(SPIDERS) if rnd.random() < 0.15 else None
        page, _, query = rnd.choice(PAGES).partition("?")
        now = time.time() - ago
        host = "host%d.provider.example" % self.visits if rnd.random() < 0.5 else None
        v = {"key": "%d:%s" % (site, address), "site": site, "visit": self.visits, "address": address, "host": host,
             "name": None, "page": page, "query": query, "status": 200, "method": "GET", "pages": 1,
             "started": stamp(now), "last_hit": stamp(now), "last_page": stamp(now), "referrer": rnd.choice(REFERRERS),
             "browser": browser, "agent": agent, "user": None, "country": country[0], "country_name": country[1],
             "spider": spider, "visits": rnd.randrange(1, 9), "idle": False, "alert": None, "hack_score": 0,
             "not_found": 0}
        v.update(fields)
        with self.lock:
            self.visitors[v["key"]] = v
            self.seen[v["key"]] = [{"time": v["last_hit"], "page": v["page"], "query": v["query"],
                                    "status": v["status"]}]
            if v["spider"]:
                self.spiders.append({"id": len(self.spiders) + 1, "site": site, "visit": v["visit"],
                                     "spider": v["spider"], "address": address, "host": v["host"], "page": v["page"],
                                     "time": v["started"], "key": v["key"]})
        if quiet:
            self.sites[site]["visitors"] += 1
            self.sites[site]["visitors_today"] += 1
            self.sites[site]["spiders_today"] += bool(v["spider"])
        else:
            self._event("come", v)
            self._count(site, visitors=1, visitors_today=1, spiders_today=int(bool(v["spider"])))
        return v["key"]

    def move(self, key, page=None, ago=0, **fields):
        with self.lock:
            v = dict(self.visitors[key])
            name, _, query = (page or self.random.choice(PAGES)).partition("?")
            now = stamp(time.time() - ago)
            v.update(page=name, query=query, pages=v["pages"] + 1, last_hit=now, last_page=now)
            v.update(fields)
            self.visitors[key] = v
            self.seen[key] = self.seen[key][-999:] + [{"time": now, "page": name, "query": query,
                                                      "status": v["status"]}]
        self._event("move", v)

    def leave(self, key):
        with self.lock:
            v = self.visitors.pop(key)
        self._event("leave", {"key": key, "site": v["site"], "visit": v["visit"]})
        self._count(v["site"], visitors=-1)

    def alert(self, key, name="Somebody from 203.0.113"):
        v = self.visitors[key]
        data = {"id": len(self.alerts) + 1, "site": v["site"], "visit": v["visit"], "alert": 1, "name": name,
                "address": v["address"], "host": v["host"], "page": v["page"], "time": stamp(time.time()),
                "minutes": None, "country": v["country"], "referrer": v["referrer"], "key": key}
        self.alerts.insert(0, data)
        self._event("alert", data)
        self.move(key, alert=1)
        self._count(v["site"], alerts_today=1)

    def exception(self, name="Page not found", details="/wp-login.php was asked for 12 times", key=None, site=1):
        data = {"id": len(self.exceptions) + 1, "site": site, "number": 6, "name": name, "time": stamp(time.time()),
                "details": details, "key": key}
        self.exceptions.insert(0, data)
        self._event("exception", data)
        self._count(site, exceptions_today=1)

    def forget_events(self):
        """As if 10,000 others had come since: who resumes has missed some."""
        with self.lock:
            self.last += KEPT + 1
            self.events.clear()

    # --- What the resources say.

    def program(self):
        return {"version": "2.0.000", "started": stamp(self.started) + "", "now": stamp(time.time()), "zone": "CEST",
                "paused": self.paused, "classic_port": self.classic_port, "classic_path": "/", "user": None,
                "event": self.last, "visitors": len(self.visitors),
                "visitors_today": sum(s["visitors_today"] for s in self.sites.values())}

    def rates(self, site):
        now = int(time.time()) // 60 * 60
        minutes = []
        for ago in range(59, -1, -1):
            at = now - ago * 60
            wave = 10 + (at // 60 * 7919) % 13 + (20 - abs(ago - 20)) * (ago < 40)
            minutes.append({"time": stamp(at), "visitors": int(wave * self.rates_scale),
                            "page_views": int(wave * 3.4 + (at // 60 * 31) % 17) * self.rates_scale,
                            "spiders": wave // 6, "exceptions": 0})
        return {"site": site, "minutes": minutes}

    def list(self, name):
        with self.lock:
            held = getattr(self, name)
            return {"items": list(held.values()) if isinstance(held, dict) else list(held), "next": None,
                    "event": self.last}

    def visitor(self, key):
        with self.lock:
            v = self.visitors.get(key)
            return v and {**v, "pages_seen": list(self.seen[key]), "first_visited": stamp(self.started - 864000)}


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def log_error(self, *_):
        pass

    @property
    def mock(self):
        return self.server.mock

    def reply(self, status, body, kind="application/json", **headers):
        self.send_response(status)
        for name, value in {**HEADERS, "Content-Type": kind, **headers}.items():
            self.send_header(name.replace("_", "-"), value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def json(self, data, status=200):
        self.reply(status, json.dumps(data).encode("utf-8"))

    def error(self, status, message):
        self.json({"error": {"status": status, "message": message}}, status)

    def logged_in(self):
        return not self.mock.login or ("session=" + self.mock.session) in self.headers.get("Cookie", "")

    def do_GET(self):
        path, _, query = self.path.partition("?")
        if not path.startswith(self.mock.base):
            return self.error(404, "not found")
        path = path[len(self.mock.base):]
        if path == "login" or path.startswith("assets/"):
            return self.file("login.html" if path == "login" else path[len("assets/"):])
        if path == "tests/live_units.js":
            return self.file(path[len("tests/"):], folder=os.path.dirname(__file__))
        if path == "logout":
            self.mock.session = "%032x" % random.getrandbits(128)
            return self.reply(303, b"", Location="login")
        if not self.logged_in():
            return self.error(401, "log in") if path else self.reply(303, b"", Location="login")
        if path == "":
            return self.file("index.html")
        if path.startswith("api/v1/"):
            return self.api(urllib.parse.unquote(path[len("api/v1/"):]), dict(urllib.parse.parse_qsl(query)))
        return self.error(404, "not found")

    def do_POST(self):
        body = self.rfile.read(min(int(self.headers.get("Content-Length") or 0), 10_000))
        form = dict(urllib.parse.parse_qsl(body.decode("utf-8", "replace")))
        if self.path != self.mock.base + "login" or not self.mock.login:
            return self.error(404, "not found")
        if (form.get("user"), form.get("password")) != (USER, PASSWORD):
            return self.reply(303, b"", Location="login?wrong#wrong")
        return self.reply(303, b"", Location="./",
                          Set_Cookie="session=%s; HttpOnly; SameSite=Strict" % self.mock.session)

    def file(self, name, status=200, folder=PAGE):
        kind = TYPES.get(os.path.splitext(name)[1])
        try:
            with open(os.path.join(folder, os.path.basename(name)), "rb") as f:
                body = f.read()
        except OSError:
            kind = None
        if kind is None:
            return self.error(404, "not found")
        return self.reply(status, body, kind)

    def api(self, name, query):
        world = self.mock.world
        if name == "program":
            return self.json({**world.program(), "user": USER if self.mock.login else None})
        if name == "events":
            return self.events(int(query.get("after") or self.headers.get("Last-Event-ID") or world.last))
        if name == "rates":
            return self.json(world.rates(int(query["site"]) if "site" in query else None))
        if name in LISTS:
            return self.json(world.list(name))
        found = world.visitor(name[len("visitors/"):]) if name.startswith("visitors/") else None
        return self.json(found) if found else self.error(404, "not found")

    def events(self, after):
        world, mock = self.mock.world, self.mock
        self.send_response(200)
        for name, value in {**HEADERS, "Content-Type": "text/event-stream", "X-Accel-Buffering": "no"}.items():
            self.send_header(name, value)
        self.send_header("Connection", "close")
        self.end_headers()
        self.close_connection = True
        self.wfile.write(b": here\n\n")
        mock.streams.add(self)
        try:
            while not mock.ending:
                with world.lock:
                    if world.last <= after and not world.lock.wait(5):
                        new = [(after, b": still here\n\n")]
                    else:
                        new = [event for event in world.events if event[0] > after]
                    missed = world.last > after and (not new or new[0][0] > after + 1)
                    newest = world.last
                if mock.ending:
                    return
                if missed:
                    new.insert(0, (after, b"event: missed\ndata: {\"from\":%d,\"to\":%d}\n\n" % (after, newest)))
                    after = newest
                self.wfile.write(b"".join(text for _, text in new))
                after = max(after, max((number for number, _ in new), default=after))
        except OSError:
            pass
        finally:
            mock.streams.discard(self)


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 64
    allow_reuse_address = True

    def __init__(self, address, mock):
        self.mock, self.sockets = mock, set()
        super().__init__(address, Handler)

    def process_request(self, request, client_address):
        self.sockets.add(request)
        super().process_request(request, client_address)

    def shutdown_request(self, request):
        self.sockets.discard(request)
        super().shutdown_request(request)

    def handle_error(self, request, client_address):
        pass  # A browser that went away.


class LiveMock:
    def __init__(self, port=0, login=False, sites=1, base="/"):
        self.world, self.login, self.base = World(sites), login, base
        self.session = "%032x" % random.getrandbits(128)
        self.port, self.server = port, None
        self.streams = set()
        self.start()

    @property
    def url(self):
        return "http://127.0.0.1:%d%s" % (self.port, self.base)

    def start(self):
        self.ending = False
        self.server = Server(("127.0.0.1", self.port), self)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True).start()

    def stop(self):
        """Ends as a program does that is killed: all connections are cut."""
        self.ending = True
        self.server.shutdown()
        self.server.server_close()
        for each in list(self.server.sockets):
            try:
                each.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
        with self.world.lock:
            self.world.lock.notify_all()

    def another_run(self, sites=1):
        """What stands where a program was that has been restarted: nothing of before."""
        self.world = World(sites)
        self.world.started += 5
        self.start()


def hostile(world):
    for text in HOSTILE:
        key = world.come(page=text, referrer=text, agent=text, browser=text, host=text, user=text, country=text[:2],
                         country_name=text, quiet=True)
        world.visitors[key]["spider"] = text if text == MARKUP else None
    world.alert(next(iter(world.visitors)), name=MARKUP)
    world.exception(name=MARKUP, details=MARKUP)
    world.sites[1]["name"] = MARKUP


class Load:
    """So many changes a second: mostly moves, some come and some leave, so that the number stays."""

    def __init__(self, world, changes):
        self.world, self.changes, self.done, self.ending = world, changes, 0, False
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def run(self):
        started = time.monotonic()
        keys = list(self.world.visitors)
        rnd = random.Random(4)
        while not self.ending:
            due = int((time.monotonic() - started) * self.changes)
            while self.done < due:
                self.done += 1
                at = rnd.randrange(len(keys))
                if rnd.random() < 0.05:
                    self.world.leave(keys[at])
                    keys[at] = self.world.come(site=rnd.randrange(1, len(self.world.sites) + 1))
                    self.done += 1
                else:
                    self.world.move(keys[at])
                    if rnd.random() < 0.01 / max(1, self.changes / 5):
                        self.world.alert(keys[at], rnd.choice(["Looks for the garden", "Somebody from 203.0.113"]))
                    if rnd.random() < 0.02 / max(1, self.changes / 5):
                        self.world.exception(key=keys[at])
            time.sleep(0.01)

    def stop(self):
        self.ending = True
        self.thread.join()


def populate(world, visitors):
    for n in range(visitors):
        ago = world.random.randrange(5, 1500)
        key = world.come("10.%d.%d.%d" % (n >> 16, n >> 8 & 255, n & 255) if visitors > 1000 else None,
                         site=world.random.randrange(1, len(world.sites) + 1), quiet=True, ago=ago)
        for step in range(world.random.randrange(0, 5) if visitors <= 1000 else 0):
            ago = max(1, ago - 20 * (step + 1))
            world.move(key, ago=ago)
        if world.random.random() < 0.1:
            world.visitors[key]["idle"] = True
    for site in world.sites.values():
        site["visitors_today"] += 137


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--visitors", type=int, default=120)
    parser.add_argument("--changes", type=float, default=3)
    parser.add_argument("--sites", type=int, default=1)
    parser.add_argument("--login", action="store_true")
    parser.add_argument("--hostile", action="store_true")
    options = parser.parse_args()
    mock = LiveMock(options.port, options.login, options.sites)
    populate(mock.world, options.visitors)
    if options.hostile:
        hostile(mock.world)
    load = Load(mock.world, options.changes) if options.visitors and options.changes else None
    print(mock.url, ("log in as %s, %s" % (USER, PASSWORD)) if options.login else "", flush=True)
    try:
        threading.Event().wait()
    except KeyboardInterrupt:
        if load:
            load.stop()
        mock.stop()


if __name__ == "__main__":
    main()
