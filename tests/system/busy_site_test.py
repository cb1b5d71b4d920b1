"""A day of a busy site as servers write it today, and the midnight after it, with all corrections on: the program counts
what a short script counts that knows nothing of it."""

import collections
import datetime
import os
import random
import re
import unittest

import tables
from harness import Home, MovedClock, Vantry, append, faketime_library, wait_until

INACTIVITY = 20
PAGES = ["/", "/products.php", "/news/2026.html", "/about", "/search.php?q=caf%C3%A9+cr%C3%A8me",
         "/cart.php?add=17&n=2", "/manuals/drill.pdf", "/old/gone.html"]
ASSETS = ["/style/site.css?v=3", "/images/logo.svg", "/script/app.js", "/favicon.ico", "/images/a.b.webp"]
BROWSERS = [
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36",
    "Mozilla/5.0 (X11; Linux x86_64; rv:131.0) Gecko/20100101 Firefox/131.0",
    "Mozilla/5.0 (iPhone; CPU iPhone OS 17_6_1 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/17.6"
    " Mobile/15E148 Safari/604.1",
    "Mozilla/5.0 (Linux; Android 10; K) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Mobile Safari/537.36",
]
SPIDERS = [
    "Mozilla/5.0 (compatible; Googlebot/2.1; +http://www.google.com/bot.html)",
    "Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; GPTBot/1.2; +https://openai.com/gptbot)",
    "Mozilla/5.0 AppleWebKit/537.36 (KHTML, like Gecko; compatible; Claude-User/1.0; +Claude-User@anthropic.com)",
    "facebookexternalhit/1.1 (+http://www.facebook.com/externalhit_uatext.php)",
    "Mozilla/5.0+(compatible; UptimeRobot/2.0; http://www.uptimerobot.com/)",
    "python-requests/2.32.3",
]
REFERRERS = ["-", "https://www.google.com/", "https://chatgpt.com/", "https://www.bing.com/search?q=drill",
             "https://x.test/a b"]
QUOTED = r'"((?:[^"\\]|\\.)*)"'
LINE = re.compile(r'^(\S+) \S+ .*? ?\[([^\]]+)\] "(\S+) (\S+) [^"]*" (\d+) \S+ ' + QUOTED + " " + QUOTED + "$")
EXTENSIONS = "htm asp html shtml txt cfm aspx php dll cgi exe bat vbs wml pl cab pdf zip".split()
NO_PEOPLE = re.compile(r"bot|claude-user|externalhit|python-requests", re.I)


def line_of(address, when, path, agent, rng):
    user = rng.choice(["-", "-", "-", "jo ann"])
    return '%s - %s [%s +0000] "GET %s HTTP/2.0" %d %d "%s" "%s"\n' % (
        address, user, when.strftime("%d/%b/%Y:%H:%M:%S"), path, 404 if "gone" in path else 200,
        rng.randint(200, 90000), rng.choice(REFERRERS), agent)


def visit_lines(rng, address, agent, begin, pages):
    """One visitor's requests, with the assets of each page in the same second."""
    at, lines = begin, []
    for _ in range(pages):
        lines.append((at, line_of(address, at, rng.choice(PAGES), agent, rng)))
        for _ in range(rng.randint(0, 3)):
            lines.append((at, line_of(address, at, rng.choice(ASSETS), agent, rng)))
        at += datetime.timedelta(seconds=rng.randint(1, 240))
    return lines


def day_lines(rng, begin, end, visits):
    lines = []
    seconds = int((end - begin).total_seconds())
    for n in range(visits):
        address = "2001:db8:%x::%x" % (n % 7 + 1, n + 1) if n % 3 == 0 else "10.%d.%d.%d" % (
            n % 5, n // 250, n % 250 + 1)
        if n % 11 == 5:
            address = "10.9.9.9"  # One that comes again and again.
        spider = n % 5 == 4 and n % 11 != 5
        agent = rng.choice(SPIDERS if spider else BROWSERS)
        start = begin + datetime.timedelta(seconds=rng.randrange(seconds))
        lines += visit_lines(rng, address, agent, start, rng.randint(1, 9))
    return [text for when, text in sorted(lines, key=lambda pair: pair[0]) if when < end]


def mark(address, when):
    """A visitor whose being seen says that everything before was read."""
    return line_of(address, when, "/about", BROWSERS[0], random.Random(1))


def count(lines):
    """Visits, pages and visits of spiders, from nothing but the lines."""
    last = {}
    visits, pages, spiders = 0, 0, 0
    for line in lines:
        address, stamp, _, target, _, _, agent = LINE.match(line.rstrip("\n")).groups()
        when = datetime.datetime.strptime(stamp, "%d/%b/%Y:%H:%M:%S %z")
        path = target.split("?")[0]
        path = "/index.html" if path == "/" else path
        name = path.rsplit("/", 1)[-1]
        if "." in name and name.rsplit(".", 1)[-1].lower() not in EXTENSIONS:
            continue
        minute = int(when.timestamp()) // 60
        known = last.get(address)
        if not known or minute - known["minute"] > INACTIVITY or when.date() != known["day"]:
            known = last[address] = {"path": None, "viewed": None, "day": when.date()}
            visits += 1
            spiders += bool(NO_PEOPLE.search(agent))
        known["minute"] = minute
        if path != known["path"] and when != known["viewed"]:
            known["path"], known["viewed"] = path, when
            pages += 1
    return collections.Counter(visits=visits, pages=pages, spiders=spiders)


@unittest.skipUnless(faketime_library(), "faketime is not installed")
class BusySite(unittest.TestCase):
    def setUp(self):
        self.home = Home()
        self.addCleanup(self.home.remove)
        self.home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n[Corrections]\nAll=True\n")
        self.home.write_settings(InactivityMins=" %d" % INACTIVITY)
        self.home.write_site("One")
        self.log = self.home.log("access.log")

    def start(self, clock):
        vantry = Vantry(self.home, env=clock.env).wait_ready()
        self.addCleanup(lambda: vantry.ended or vantry.process.kill())
        return vantry

    def stored(self):
        data = self.home.file("Data")
        visits = tables.read_both(data, "Visits")
        return collections.Counter(visits=len(visits), pages=len(tables.read_both(data, "Pages")),
                                   spiders=sum(row.Spider == "Y" for row in visits))

    def test_day_and_the_midnight_after_it(self):
        rng = random.Random(12)
        day = datetime.datetime.now(datetime.timezone.utc).replace(hour=0, minute=0, second=0, microsecond=0)
        night = day + datetime.timedelta(days=1)
        before = day_lines(rng, day, night - datetime.timedelta(minutes=6), 1500)
        last = day_lines(rng, night - datetime.timedelta(minutes=6), night - datetime.timedelta(seconds=5), 30)
        append(self.log, "".join(before).encode())
        clock = MovedClock(self.home, (night - datetime.timedelta(seconds=90)).timestamp())
        vantry = self.start(clock)
        last.append(mark("192.0.2.1", night - datetime.timedelta(seconds=3)))
        append(self.log, "".join(last).encode())
        vantry.wait_visitor("192.0.2.1")
        # Within this second of the machine's, hours of visits have passed: they have to end before new ones begin.
        wait_until(lambda: all(visitor.last > "23:36" for visitor in vantry.list()), what=vantry.list)
        first = day_lines(rng, night, night + datetime.timedelta(seconds=70), 40)
        # The server's rotation, with lines that nobody has read yet.
        late = day_lines(rng, night - datetime.timedelta(seconds=4), night, 3)
        append(self.log, "".join(late).encode())
        os.rename(self.log, self.log + ".1")
        first.append(mark("192.0.2.2", night + datetime.timedelta(seconds=71)))
        append(self.log, "".join(first).encode())
        clock.set((night + datetime.timedelta(seconds=80)).timestamp())
        vantry.wait_visitor("192.0.2.2")
        vantry.stop()
        # A visit ends with its day.
        self.assertEqual(self.stored(), count(before + last + late + first))


if __name__ == "__main__":
    unittest.main()
