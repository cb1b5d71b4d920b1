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
    "/": ["/products.php", "/news/2026.html", "/about.html", "/search.php", "/contact.php"],
    "/index.html": ["/products.php", "/news/2026.html", "/about.html", "/search.php"],
    "/products.php": ["/products/garden.html", "/products/tools.html", "/download/pricelist.zip", "/cart.php"],
    "/products/garden.html": ["/products.php", "/download/brochure.pdf", "/cart.php", "/products/tools.html"],
    "/products/tools.html": ["/products.php", "/products/garden.html", "/cart.php", "/manuals/drill.pdf"],
    "/news/2026.html": ["/news/2025.html", "/news/spring-sale.html", "/index.html"],
    "/news/2025.html": ["/news/2026.html", "/index.html"],
    "/news/spring-sale.html": ["/products/garden.html", "/cart.php"],
    "/about.html": ["/contact.php", "/jobs.html", "/index.html"],
    "/jobs.html": ["/contact.php", "/about.html"],
    "/search.php": ["/products/tools.html", "/products/garden.html", "/manuals/drill.pdf", "/search.php"],
    "/cart.php": ["/checkout.php", "/products.php"],
    "/checkout.php": ["/index.html"],
    "/contact.php": ["/index.html", "/about.html"],
    "/download/brochure.pdf": ["/products.php"],
    "/download/pricelist.zip": ["/products.php"],
    "/manuals/drill.pdf": ["/products/tools.html"],
    "/old/catalogue.html": ["/index.html", "/products.php"],
}
# What stands behind the "?" of a page's address.
QUERIES = {
    "/search.php": ["q=garden+tools", "q=cordless+drill", "q=rain%20barrel&page=2", "q=%C3%A9tag%C3%A8re"],
    "/products.php": ["sort=price", "category=7&sort=name", "page=3", ""],
    "/cart.php": ["add=4711", "add=1234&amount=2"],
    "/products/garden.html": ["utm_source=newsletter&utm_medium=email", "", "", ""],
    "/": ["utm_source=chatgpt.com", "fbclid=IwAR0demo", "", "", "", "", ""],
}
GONE = {"/old/catalogue.html", "/news/2025.html"}
ENTRIES = ["/"] * 6 + ["/index.html", "/products.php", "/products/garden.html", "/news/2026.html",
                       "/news/spring-sale.html", "/manuals/drill.pdf", "/old/catalogue.html"]
EXTRAS = ["/style/site.css", "/images/logo.svg", "/images/menu.webp", "/images/photo1.avif", "/images/photo2.webp",
          "/script/menu.js", "/favicon.ico"]
SITE = "https://www.demo.example"
# Most of them name their site and no more.
REFERRERS = [
    "-", "-", "-",
    "https://www.google.com/", "https://www.google.com/", "https://www.google.de/",
    "https://www.bing.com/search?q=garden+furniture",
    "https://duckduckgo.com/",
    "https://www.ecosia.org/",
    "https://chatgpt.com/",
    "https://www.perplexity.ai/",
    "https://www.reddit.com/",
    "https://out.reddit.com/",
    "https://l.facebook.com/",
    "android-app://com.google.android.googlequicksearchbox/",
    "https://links.garden.example/shops.html",
    "https://forum.diy.example/topic/4711?page=2",
    "https://news.town.example/business.php",
]
AGENTS = [
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36",
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/129.0.0.0 Safari/537.36",
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36"
    " Edg/130.0.0.0",
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/129.0.0.0 Safari/537.36"
    " OPR/114.0.0.0",
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64; rv:131.0) Gecko/20100101 Firefox/131.0",
    "Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0",
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.6"
    " Safari/605.1.15",
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0"
    " Safari/537.36",
    "Mozilla/5.0 (iPhone; CPU iPhone OS 17_6_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.6"
    " Mobile/15E148 Safari/604.1",
    "Mozilla/5.0 (iPhone; CPU iPhone OS 18_0 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/18.0"
    " Mobile/15E148 Safari/604.1",
    "Mozilla/5.0 (iPad; CPU OS 17_6 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.6 Mobile/15E148"
    " Safari/604.1",
    "Mozilla/5.0 (Linux; Android 10; K) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Mobile Safari/537.36",
    "Mozilla/5.0 (Linux; Android 10; K) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/129.0.0.0 Mobile Safari/537.36",
    "Mozilla/5.0 (Linux; Android 14; SM-S918B) AppleWebKit/537.36 (KHTML, like Gecko) SamsungBrowser/26.0"
    " Chrome/122.0.0.0 Mobile Safari/537.36",
    "Mozilla/5.0 (Android 14; Mobile; rv:131.0) Gecko/131.0 Firefox/131.0",
    "Mozilla/5.0 (iPhone; CPU iPhone OS 17_6_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Mobile/15E148"
    " Instagram 353.0.0.28.109 (iPhone14,5; iOS 17_6_1; en_GB; en; scale=3.00; 1170x2532; 651234567)",
]
# Each with the seconds between two of its pages.
SPIDERS = [
    ("Mozilla/5.0 (compatible; Googlebot/2.1; +http://www.google.com/bot.html)", 25),
    ("Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; bingbot/2.0; +http://www.bing.com/bingbot.htm)"
     " Chrome/116.0.1938.76 Safari/537.36", 40),
    ("Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; GPTBot/1.2; +https://openai.com/gptbot)", 30),
    ("Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; ClaudeBot/1.0; +claudebot@anthropic.com)", 45),
    ("Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko); compatible; ChatGPT-User/1.0; +https://openai.com/bot", 90),
    ("Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; Perplexity-User/1.0;"
     " +https://perplexity.ai/perplexity-user)", 110),
    ("facebookexternalhit/1.1 (+http://www.facebook.com/externalhit_uatext.php)", 120),
    ("Mozilla/5.0+(compatible; UptimeRobot/2.0; http://www.uptimerobot.com/)", 60),
    ("Mozilla/5.0 (compatible; AhrefsBot/7.0; +http://ahrefs.com/robot/)", 35),
    ("Feedly/1.0 (+http://www.feedly.com/fetcher.html; 12 subscribers)", 150),
]
ROBOTS_READER = "LinkLooker/0.3 (+https://linklooker.example/about.html)"
SCANNER = "Mozilla/5.0 zgrab/0.x"
SCANS = [
    ("GET", "/.env.txt", 404),
    ("GET", "/wp-login.php", 404),
    ("GET", "/xmlrpc.php", 404),
    ("GET", "/phpmyadmin/index.php", 404),
    ("GET", "/cgi-bin/.%2e/.%2e/.%2e/bin/sh.exe", 400),
    ("GET", "/../../../../etc/passwd.txt", 400),
    ("GET", "/vendor/phpunit/phpunit/src/Util/PHP/eval-stdin.php", 404),
    ("GET", "/admin/setup.php?step=1", 404),
    ("PUT", "/upload/shell.php", 405),
    ("DELETE", "/index.html", 405),
    ("GET", "/owa/auth/logon.aspx", 404),
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
            # Three of ten come by IPv6.
            self.left += [f"2001:db8:{self.rng.randrange(1, 0xffff):x}:{self.rng.randrange(0xffff):x}::"
                          f"{self.rng.randrange(1, 0xffff):x}" for _ in range(320)]
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
        self.protocol = self.rng.choice(["HTTP/2.0"] * 8 + ["HTTP/1.1", "HTTP/3.0"])
        self.page = self.rng.choice(ENTRIES)
        self.referrer = self.rng.choice(REFERRERS)
        self.left = self.rng.choice([1, 2, 3, 3, 4, 5, 6, 8, 12, 20])
        self.seen = set()

    def act(self, when):
        """The requests of one look at a page and the time of the next."""
        status = 404 if self.page in GONE else 200
        query = self.rng.choice(QUERIES.get(self.page, [""]))
        address = self.page + ("?" + query if query else "")
        yield when, request(self.ip, "GET", address, status, self.referrer, self.agent, self.protocol)
        # A download has no images, and no link leads out of it.
        download = self.page.endswith((".pdf", ".zip"))
        here = self.referrer if download else SITE + address
        at = when
        for extra in self.rng.sample(EXTRAS, 0 if download else self.rng.randint(1, 4)):
            at += self.rng.uniform(0.0, 0.8)
            code = 304 if extra in self.seen else 200
            self.seen.add(extra)
            yield at, request(self.ip, "GET", extra, code, here, self.agent, self.protocol)
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
        yield when, request(self.ip, method, page, status, "-", SCANNER)
        self.next = (self.next + 1) % len(SCANS)
        if self.next == 0:
            self.ip = self.addresses.take()
        yield when + (self.rng.uniform(120, 240) if self.next == 0 else self.rng.uniform(1.1, 4)), self


def request(ip, method, page, status, referrer, agent, protocol="HTTP/1.1"):
    size = "-" if status == 304 else (312 if status >= 400 else size_of(page))
    return (ip, f'"{method} {page} {protocol}" {status} {size} "{referrer}" "{agent}"')


def line_of(when, entry):
    stamp = datetime.datetime.fromtimestamp(when).astimezone().strftime("%d/%b/%Y:%H:%M:%S %z")
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
