#!/usr/bin/python3
"""Appends believable requests to a web server's log until it is told to stop.

demo_traffic.py LOGFILE

First come the requests of the last minutes, so that the site is lively at once; then about three a second follow
as time goes by. The form is NCSA combined.
"""
import argparse
import datetime
import heapq
import os
import random
import signal
import sys
import time

VISITORS = 25
PAST_SECONDS = 600
# Seconds between two pages of one visitor; with the images of each page this makes about three requests a second.
READING_SECONDS = (8, 45)

LINKS = {
    "/": ["/products.html", "/news/2026.html", "/about.html", "/search.php", "/contact.asp"],
    "/index.html": ["/products.html", "/news/2026.html", "/about.html", "/search.php"],
    "/products.html": ["/products/garden.html", "/products/tools.html", "/download/pricelist.zip", "/cart.asp"],
    "/products/garden.html": ["/products.html", "/download/brochure.pdf", "/cart.asp", "/products/tools.html"],
    "/products/tools.html": ["/products.html", "/products/garden.html", "/cart.asp", "/manuals/drill.pdf"],
    "/news/2026.html": ["/news/2025.html", "/news/spring-sale.html", "/index.html"],
    "/news/2025.html": ["/news/2026.html", "/index.html"],
    "/news/spring-sale.html": ["/products/garden.html", "/cart.asp"],
    "/about.html": ["/contact.asp", "/jobs.html", "/index.html"],
    "/jobs.html": ["/contact.asp", "/about.html"],
    "/search.php": ["/products/tools.html", "/products/garden.html", "/manuals/drill.pdf", "/search.php"],
    "/cart.asp": ["/checkout.asp", "/products.html"],
    "/checkout.asp": ["/index.html"],
    "/contact.asp": ["/index.html", "/about.html"],
    "/download/brochure.pdf": ["/products.html"],
    "/download/pricelist.zip": ["/products.html"],
    "/manuals/drill.pdf": ["/products/tools.html"],
    "/old/catalogue.html": ["/index.html", "/products.html"],
}
GONE = {"/old/catalogue.html", "/news/2025.html"}
ENTRIES = ["/"] * 6 + ["/index.html", "/products.html", "/products/garden.html", "/news/2026.html",
                       "/news/spring-sale.html", "/manuals/drill.pdf", "/old/catalogue.html"]
EXTRAS = ["/style/site.css", "/images/logo.gif", "/images/menu.png", "/images/photo1.jpg", "/images/photo2.jpg",
          "/script/menu.js", "/favicon.ico"]
SITE = "http://www.demo.example"
REFERRERS = [
    "-", "-", "-",
    "http://www.google.com/search?q=garden+tools",
    "http://www.google.com/search?q=cordless+drill+manual",
    "http://search.yahoo.com/search?p=spring+sale",
    "http://www.altavista.com/web/results?q=garden+furniture",
    "http://search.msn.com/results.aspx?q=demo+shop",
    "http://links.garden.example/shops.html",
    "http://forum.diy.example/topic/4711",
    "http://news.town.example/business.php",
]
# A log of this form is cut at blanks, so only the first word of an agent shows; some servers write "+" for a blank.
AGENTS = [
    "Mozilla/4.0+(compatible;+MSIE+6.0;+Windows+NT+5.1)",
    "Mozilla/4.0+(compatible;+MSIE+7.0;+Windows+NT+6.0)",
    "Mozilla/4.0+(compatible;+MSIE+5.5;+Windows+98)",
    "Mozilla/5.0+(X11;+Linux+x86_64;+rv:102.0)+Gecko/20100101+Firefox/102.0",
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/119.0 Safari/537.36",
    "Mozilla/5.0 (iPhone; CPU iPhone OS 16_5 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Mobile/15E148",
    "Opera/9.80 (Windows NT 6.1; U; en) Presto/2.10.229 Version/11.62",
    "Lynx/2.8.9rel.1 libwww-FM/2.14",
]
SPIDERS = [
    ("Googlebot/2.1 (+http://www.google.com/bot.html)", 25),
    ("Slurp/3.0 (slurp@inktomi.example)", 40),
    ("ia_archiver", 70),
]
ROBOTS_READER = "LinkLooker/0.3 (+http://linklooker.example/about.html)"
SCANS = [
    ("GET", "/scripts/..%5c../winnt/system32/cmd.exe", 404),
    ("GET", "/../../../../etc/passwd.txt", 400),
    ("GET", "/cgi-bin/test.exe", 404),
    ("GET", "/_vti_bin/shtml.dll", 404),
    ("GET", "/msadc/msadcs.dll", 404),
    ("GET", "/admin/setup.php", 404),
    ("GET", "/phpmyadmin/index.php", 404),
    ("PUT", "/upload/shell.asp", 405),
    ("DELETE", "/index.html", 405),
    ("GET", "/scripts/root.exe", 404),
    ("GET", "/default.ida.txt", 404),
    ("GET", "/backup/site.zip", 404),
]


class Stop(Exception):
    pass


def size_of(page):
    return 1500 + (hash_of(page) % 40000)


def hash_of(text):
    return sum((i + 1) * ord(c) for i, c in enumerate(text))


class Addresses:
    """Hands out addresses that belong to nobody, each once before any comes again."""

    def __init__(self, rng):
        self.rng = rng
        self.left = []

    def take(self):
        if not self.left:
            self.left = [f"{net}.{n}" for net in ("192.0.2", "198.51.100", "203.0.113") for n in range(2, 250)]
            self.rng.shuffle(self.left)
        return self.left.pop()


class Person:
    def __init__(self, rng, addresses):
        self.rng = rng
        self.addresses = addresses
        self.arrive()

    def arrive(self):
        self.ip = self.addresses.take()
        self.agent = self.rng.choice(AGENTS)
        self.page = self.rng.choice(ENTRIES)
        self.referrer = self.rng.choice(REFERRERS)
        self.left = self.rng.choice([1, 2, 3, 3, 4, 5, 6, 8, 12, 20])
        self.seen = set()

    def act(self, when):
        """The requests of one look at a page and the time of the next."""
        status = 404 if self.page in GONE else 200
        yield when, request(self.ip, "GET", self.page, status, self.referrer, self.agent)
        # A download has no images, and no link leads out of it.
        download = self.page.endswith((".pdf", ".zip"))
        here = self.referrer if download else SITE + self.page
        at = when
        for extra in self.rng.sample(EXTRAS, 0 if download else self.rng.randint(1, 4)):
            at += self.rng.uniform(0.0, 0.8)
            code = 304 if extra in self.seen else 200
            self.seen.add(extra)
            yield at, request(self.ip, "GET", extra, code, here, self.agent)
        self.left -= 1
        if self.left > 0:
            self.referrer = here
            self.page = self.rng.choice(LINKS[self.page])
            yield when + self.rng.uniform(*READING_SECONDS), self
        else:
            self.arrive()
            yield when + self.rng.uniform(2, 20), self


class Spider:
    def __init__(self, rng, addresses, agent, pause, robots):
        self.rng, self.ip, self.agent, self.pause = rng, addresses.take(), agent, pause
        self.robots = robots

    def act(self, when):
        page = "/robots.txt" if self.robots else self.rng.choice(list(LINKS))
        self.robots = False
        yield when, request(self.ip, "GET", page, 404 if page in GONE else 200, "-", self.agent)
        yield when + self.rng.uniform(0.5, 1.5) * self.pause, self


class Scanner:
    """Tries known weak spots in a burst, goes away, and comes back from elsewhere."""

    def __init__(self, rng, addresses):
        self.rng, self.addresses = rng, addresses
        self.next = 0
        self.ip = addresses.take()

    def act(self, when):
        method, page, status = SCANS[self.next]
        yield when, request(self.ip, method, page, status, "-", "Mozilla/4.75")
        self.next = (self.next + 1) % len(SCANS)
        if self.next == 0:
            self.ip = self.addresses.take()
        yield when + (self.rng.uniform(120, 240) if self.next == 0 else self.rng.uniform(1.1, 4)), self


def request(ip, method, page, status, referrer, agent):
    size = "-" if status == 304 else (312 if status >= 400 else size_of(page))
    return (ip, f'"{method} {page} HTTP/1.1" {status} {size} "{referrer}" "{agent}"')


def line_of(when, entry):
    # Local time under the zone of UTC: the reader adds the zone to the time it stands beside, so that with a zone of
    # zero the local time shows as it is.
    stamp = datetime.datetime.fromtimestamp(when).strftime("%d/%b/%Y:%H:%M:%S +0000")
    return f"{entry[0]} - - [{stamp}] {entry[1]}\n"


class Traffic:
    """All that will happen, in order of time."""

    def __init__(self, rng, start):
        self.queue = []
        self.serial = 0
        addresses = Addresses(rng)
        for _ in range(VISITORS):
            self.put(start + rng.uniform(0, 45), Person(rng, addresses))
        for agent, pause in SPIDERS:
            self.put(start + rng.uniform(0, 60), Spider(rng, addresses, agent, pause, True))
        self.put(start + rng.uniform(5, 60), Spider(rng, addresses, ROBOTS_READER, 50, True))
        self.put(start + rng.uniform(0, 120), Scanner(rng, addresses))

    def put(self, when, what):
        self.serial += 1
        heapq.heappush(self.queue, (when, self.serial, what))

    def next_time(self):
        return self.queue[0][0]

    def step(self):
        """The next request as (time, entry), or None when a visitor only made up its mind."""
        when, _, what = heapq.heappop(self.queue)
        if isinstance(what, tuple):
            return when, what
        for later, thing in what.act(when):
            self.put(later, thing)
        return None


def now():
    return datetime.datetime.now().timestamp()


def start_time():
    midnight = datetime.datetime.now().replace(hour=0, minute=0, second=0, microsecond=0).timestamp()
    return max(now() - PAST_SECONDS, midnight)


def write(out, lines):
    if lines:
        out.write("".join(lines))
        out.flush()


def run(path):
    def stop(_signal, _frame):
        raise Stop

    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)
    os.makedirs(os.path.dirname(os.path.abspath(path)), exist_ok=True)
    try:
        with open(path, "a", encoding="ascii", newline="\n") as out:
            traffic = Traffic(random.Random(), start_time())
            while True:
                wait = traffic.next_time() - now()
                if wait > 0:
                    # A clock that was set back must not silence the site for hours.
                    time.sleep(min(wait, 5))
                    if wait > 5:
                        continue
                past = []
                while traffic.next_time() <= now():
                    entry = traffic.step()
                    if entry:
                        past.append(line_of(*entry))
                write(out, past)
    except Stop:
        return 0
    except OSError as error:
        print(f"demo_traffic.py: {path}: {error.strerror}", file=sys.stderr)
        return 1


def main():
    parser = argparse.ArgumentParser(description="Appends believable web requests to LOGFILE until it is stopped.")
    parser.add_argument("logfile", metavar="LOGFILE")
    return run(parser.parse_args().logfile)


if __name__ == "__main__":
    sys.exit(main())
