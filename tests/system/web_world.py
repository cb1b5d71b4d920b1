"""Made-up sites with visitors, spiders, wrong requests and alerts, for tests that look at the pages."""

import os
import subprocess
import time

import tables
from harness import ncsa_line, vantry_binary, write_file

SHOP, NEWS, CLUB = "www.garden.example", "www.townnews.example", "chess.example"
IE6 = "Mozilla/4.0+(compatible;+MSIE+6.0;+Windows+NT+5.1)"
IE7 = "Mozilla/4.0+(compatible;+MSIE+7.0;+Windows+NT+6.0)"
FIREFOX = "Mozilla/5.0 (X11; Linux x86_64; rv:115.0) Gecko/20100101 Firefox/115.0"
GOOGLE = "Googlebot/2.1 (+http://www.google.com/bot.html)"
SLURP = "Slurp/3.0 (slurp@inktomi.example)"

NAMES = {
    "192.0.2.17": "pc17.office.garden.example", "192.0.2.44": "anna.office.garden.example",
    "198.51.100.23": "dsl-23.berlin.provider.example", "198.51.100.98": "host98.leeds.provider.example",
    "198.51.100.140": "cable-140.quebec.provider.example", "203.0.113.8": "crawl-8.searchbot.example",
    "203.0.113.55": "p55.lyon.provider.example", "203.0.113.201": "scan201.elsewhere.example",
    "198.51.100.180": "slurp180.inktomi.example",
}
RANGES = """first,last,code,name
192.0.2.0,192.0.2.255,GB,United Kingdom
198.51.100.0,198.51.100.63,DE,Germany
198.51.100.64,198.51.100.127,GB,United Kingdom
198.51.100.128,198.51.100.159,CA,Canada
198.51.100.160,198.51.100.255,US,United States
203.0.113.0,203.0.113.31,US,United States
203.0.113.32,203.0.113.127,FR,France
203.0.113.128,203.0.113.255,AU,Australia
"""

# Seconds ago, address, page, status, referrer, agent, method.
SHOP_HITS = [
    (860, "198.51.100.23", "/index.html", 200, "http://forum.garden.example.org/topic/4711", IE6, "GET"),
    (820, "198.51.100.23", "/products.html", 200, "-", IE6, "GET"),
    (110, "198.51.100.23", "/", 200, "http://www.google.com/search?q=garden+tools", IE6, "GET"),
    (104, "192.0.2.17", "/index.html", 200, "-", IE7, "GET"),
    (98, "198.51.100.23", "/products/tools.html", 200, "-", IE6, "GET"),
    (95, "203.0.113.8", "/robots.txt", 200, "-", GOOGLE, "GET"),
    (90, "203.0.113.55", "/products/garden.html", 200, "http://links.town.example/shops.html", FIREFOX, "GET"),
    (84, "192.0.2.17", "/orders/list.asp", 200, "-", IE7, "GET"),
    (80, "203.0.113.201", "/scripts/../../winnt/system32/cmd.exe", 404, "-", "Mozilla/4.75", "GET"),
    (76, "203.0.113.201", "/msadc/msadcs.dll", 404, "-", "Mozilla/4.75", "GET"),
    (70, "203.0.113.8", "/products.html", 200, "-", GOOGLE, "GET"),
    (66, "198.51.100.98", "/news/spring-sale.html", 200, "http://search.yahoo.com/search?p=spring+sale", IE7, "GET"),
    (60, "203.0.113.201", "/upload/shell.asp", 405, "-", "Mozilla/4.75", "PUT"),
    (52, "203.0.113.55", "/cart.asp", 200, "-", FIREFOX, "GET"),
    (44, "198.51.100.98", "/old/catalogue.html", 404, "-", IE7, "GET"),
    (40, "198.51.100.180", "/products/garden.html", 200, "-", SLURP, "GET"),
    (30, "198.51.100.23", "/cart.asp", 200, "-", IE6, "GET"),
]
NEWS_HITS = [
    (100, "198.51.100.140", "/index.html", 200, "http://www.altavista.com/web/results?q=town+news", IE6, "GET"),
    (70, "192.0.2.44", "/business.html", 200, "http://www.google.com/search?q=garden+shops", FIREFOX, "GET"),
    (60, "203.0.113.8", "/index.html", 200, "-", GOOGLE, "GET"),
    (20, "198.51.100.140", "/weather.html", 200, "-", IE6, "GET"),
]

SHOP_ALERTS = """Alert=From the office\r
AlertNo=1\r
AlertEnabled=True\r
AlertENGINEALL=Y\r
AlertDNS1=192.0.2.*\r
\r
Alert=Any visitor\r
AlertNo=2\r
AlertEnabled=True\r
AlertENGINEALL=Y\r
\r
"""
NEWS_ALERTS = """Alert=Any reader\r
AlertNo=1\r
AlertEnabled=True\r
AlertENGINEALL=Y\r
\r
"""


def lines(hits, now):
    return "".join(ncsa_line(address, page, now - ago, status, referrer, agent, method)
                   for ago, address, page, status, referrer, agent, method in hits)


def young_day(needed=900):
    """The earliest of these hits would be of yesterday."""
    return int(time.time()) % 86400 < needed


def fill(home, registry="", escape=True, **settings):
    """Writes sites, countries and logs; the time of the last hits is now."""
    os.makedirs(home.file("Data"), exist_ok=True)
    source = os.path.join(home.base, "ranges.csv")
    write_file(source, RANGES)
    subprocess.run([os.path.join(os.path.dirname(vantry_binary()), "vantry-ipcc"), source,
                    tables.path_of(home.file("Data"), "IPCC")], check=True, stdout=subprocess.DEVNULL, timeout=60)
    names = sorted({tuple(line.split(",")[2:4]) for line in RANGES.splitlines()[1:]})
    write_file(home.file("Data/Countries.txt"), "".join("%s,%s\r\n" % name for name in names))
    home.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\nEscapeHTML=%s\n\n" % escape + registry)
    home.write_settings(InactivityMins=" 10", **settings)
    home.write_sites(
        home.section("Garden Shop", home.logs, Mask="shop.log", Domain=SHOP, WebUserName="bob", WebPassword="spade")
        + SHOP_ALERTS,
        home.section("Town News", home.logs, Mask="news.log", Domain=NEWS) + NEWS_ALERTS,
        home.section("Chess Club", home.logs, Mask="club.log", Domain=CLUB, WebReferrers=False))
    now = time.time()
    write_file(home.log("shop.log"), lines(SHOP_HITS, now))
    write_file(home.log("news.log"), lines(NEWS_HITS, now))
    write_file(home.log("club.log"), "")


def all_read(vantry):
    """The sites' visitors, alerts, spiders and exceptions are what the hits amount to."""
    return [tuple(site[2:6]) for site in vantry.status()] == [(7, 6, 2, 8), (3, 2, 1, 0), (0, 0, 0, 0)]
