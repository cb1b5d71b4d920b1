"""What the tables must hold after given logs: the rules of reading, counting and storing, told once more."""

import calendar
import time

from harness import INACTIVITY, all_corrected
from tables import FIELDS, NAMES, Rows

EXTENSIONS = "htm asp html shtml txt cfm aspx php dll cgi exe bat vbs wml pl cab pdf zip".split()
MANY_NOT_FOUND = 10  # Of these, two points more for a visit; above 3 points it is suspect.
DAY = 86400


def minutes_between(a, b):
    """Minute boundaries crossed."""
    return b // 60 - a // 60


def clock(at):
    return time.strftime("%H:%M:%S", time.gmtime(at))


def date(at):
    return time.strftime("%Y%m%d", time.gmtime(at))


class Table:
    def __init__(self, name):
        self.name = name
        self.fields = FIELDS[name]
        self.rows = []
        self.next_record = 1
        self.places = {}  # Of rows by the values of their key fields, for each set of key fields that was asked for.

    def cut(self, field, value):
        return value[:next(f.width for f in self.fields if f.name == field)].rstrip(" ")

    def find(self, **key):
        names = tuple(key)
        if names not in self.places:
            self.places[names] = {tuple(row[n] for n in names): row for row in self.rows}
        return self.places[names].get(tuple(self.cut(n, v) for n, v in key.items()))

    def insert(self, **values):
        row = {f.name: "" for f in self.fields}
        row["RecordNo"] = "%09d" % self.next_record
        self.next_record += 1
        self.rows.append(row)
        self.update(row, **values)
        for names, rows in self.places.items():
            rows[tuple(row[n] for n in names)] = row

    def update(self, row, **values):
        row.update((name, self.cut(name, str(value))) for name, value in values.items())

    def result(self):
        return [Rows[self.name](**row) for row in self.rows]


class Site:
    """A site as the site file has it, and what the program keeps of it there at a stop."""

    def __init__(self, name, domain, home_page="index.html", w3c=False):
        self.name, self.domain, self.home_page, self.w3c = name, domain, home_page, w3c
        self.pos = self.pos_day = 0
        self.last_read = self.last_ip = self.last_time = None

    def begin(self):
        self.scans = self.visitors = self.spiders = self.downloads = 0
        self.replaying, self.until = False, 0


class Visitor:
    def __init__(self, **values):
        self.pages = self.not_found = self.points = 0
        self.suspect = False
        self.page, self.page_time, self.status, self.visit = "", None, 0, 1
        self.__dict__.update(values)


class Model:
    """One program after the other on the same tables. Exception types are taken to be switched off."""

    def __init__(self, sites, inactivity=INACTIVITY, country=None, quiet_replay=all_corrected(),
                 whole_lines=all_corrected()):
        self.sites = sites
        self.inactivity = inactivity
        self.country = country or (lambda address: "")
        self.tables = {name: Table(name) for name in NAMES}
        self.today = int(time.time()) // DAY
        self.quiet_replay, self.whole_lines = quiet_replay, whole_lines
        self.known_robots = {}
        self.suspects = set()
        self.start()

    def start(self):
        self.live = []  # The visitors, in the order in which they came.
        self.by_key = {}
        self.robots = dict(self.known_robots)
        for site in self.sites:
            site.begin()
        self.saved = self.places()

    def places(self):
        return [(s.pos, s.pos_day, s.last_read, s.last_ip, s.last_time) for s in self.sites]

    def kill(self):
        """The program ends at once, when all that it knew was in the tables."""
        for site, place in zip(self.sites, self.saved):
            site.pos, site.pos_day, site.last_read, site.last_ip, site.last_time = place

    def stop(self):
        self.known_robots = dict(self.robots)
        day = date(self.today * DAY)
        table = self.tables["DaySum"]
        for site in self.sites:
            values = dict(Visitors=site.visitors, Alerts=0, Spiders=site.spiders, Exceptions=0,
                          Downloads=site.downloads)
            row = table.find(Site=site.name, Dated=day)
            if row:
                # Classic sums may go down.
                if all_corrected():
                    values = {name: max(value, int(row[name])) for name, value in values.items()}
                table.update(row, **values)
            else:
                table.insert(Site=site.name, Dated=day, **values)

    def expected(self):
        return {name: table.result() for name, table in self.tables.items()}

    def addresses(self):
        return [v.dns for v in self.live]

    def scan(self, site, data):
        """`data` is the whole log as one scan finds it, or several of which each finds more of it."""
        site.scans += 1
        if site.scans == 1:
            # What was read today is read once more, for the visitors; what it led to has been stored.
            if site.last_read is not None and site.last_read // DAY == self.today and site.pos_day > 0:
                site.until, site.pos, site.replaying = site.pos, site.pos_day, True
            site.pos_day = 0
        end = b"\r\n" if site.w3c else b"\n"
        position = max(site.pos - 1, 0)
        site.pos_day = site.pos_day or position + 1
        self.hit = dict.fromkeys(("ip", "page", "agent", "referrer", "method"), "") | {"status": 0}
        current = site.pos
        lines = data[position:].split(end)
        if not lines[-1]:
            lines.pop()
        for number, line in enumerate(lines):
            position += len(line) + len(end)
            # The last line is read again by the next classic scan.
            if number < len(lines) - 1 or self.whole_lines:
                current = position + 1
                if line.startswith(b"#"):
                    if line.upper().startswith(b"#FIELDS:"):
                        site.names = line.decode("latin-1").upper().split()[1:]
                    continue
            self.line(site, line.decode("latin-1"), current)
        site.replaying, site.until = False, 0

    def line(self, site, line, current):
        parts = [part.strip() for part in line.split(" ")]
        at, places = self.places_of(site, parts)
        site.pos = current
        if at // DAY != self.today:
            return
        site.last_read = at
        if site.replaying and site.pos > site.until:
            site.until = 0

        def take(*names):
            for name in names:
                if name in places and places[name] < len(parts):
                    value = parts[places[name]]
                    self.hit[name] = int(value) if name == "status" else value
        take("page")
        page = self.hit["page"]
        if not site.w3c and page == "/":
            page += site.home_page
        extension = page.rpartition(".")[2].lower() if "." in page else ""
        if "." in page:
            if extension not in EXTENSIONS:
                return
            page = page.removeprefix("/")
        elif len(page) < 2:
            return
        self.hit["page"] = page
        take("ip", "referrer", "agent", "status", "method")
        self.hit["agent"] = self.hit["agent"].replace('"', "")
        visitor = self.visitor(site, at)
        if not visitor:
            return
        visitor.last_hit = at
        if page != visitor.page and at != visitor.page_time:
            self.page(site, visitor, at, extension)

    @staticmethod
    def places_of(site, parts):
        """When a line was written, and which of its parts is what."""
        if site.w3c:
            names = {"C-IP": "ip", "CS-URI-STEM": "page", "SC-STATUS": "status", "CS(REFERER)": "referrer",
                     "CS(USER-AGENT)": "agent", "CS-METHOD": "method"}
            places = {names[n]: i for i, n in enumerate(site.names) if n in names}
            text = parts[site.names.index("DATE")] + " " + parts[site.names.index("TIME")]
            return calendar.timegm(time.strptime(text, "%Y-%m-%d %H:%M:%S")), places
        at = calendar.timegm(time.strptime(parts[3], "[%d/%b/%Y:%H:%M:%S"))
        return (at + round(int(parts[4][:5]) / 100) * 3600,
                dict(ip=0, page=6, status=8, referrer=10, agent=11))

    def visitor(self, site, at):
        visitor = self.by_key.get((site, self.hit["ip"]))
        if not visitor and not self.quiet_replay and self.hit["ip"] == site.last_ip and site.last_time >= at:
            return None
        if visitor and site.scans == 1 and minutes_between(visitor.last_hit, at) > self.inactivity:
            self.leave(visitor)
            visitor = None
        return visitor or self.new_visitor(site, at)

    def leave(self, visitor):
        self.live.remove(visitor)
        del self.by_key[visitor.site, visitor.ip]
        visitor.site.last_ip, visitor.site.last_time = visitor.ip, visitor.last_hit
        table = self.tables["Visits"]
        row = table.find(IP=visitor.ip, Site=visitor.site.name, VisitDate=date(visitor.start),
                         VisitNo="%05d" % visitor.visit)
        if row:
            seconds = visitor.last_hit - visitor.start
            minutes, seconds = divmod(seconds, 60) if seconds > 60 else (0, seconds)
            table.update(row, LastPage=visitor.page, PagesSeen=visitor.pages, MinsOn="%d:%02d" % (minutes, seconds),
                         Active="N", HackRaised="NY"[visitor.suspect], Flags="NY"[bool(visitor.known)] + "N")

    def age(self):
        """The visitors go that were silent for too long by their log's own clock."""
        for visitor in list(self.live):
            if minutes_between(visitor.last_hit, visitor.site.last_read) > self.inactivity:
                self.leave(visitor)

    def new_visitor(self, site, at):
        hit = self.hit
        browser = self.browser(hit["agent"])
        if browser == "-" and hit["method"]:
            browser = hit["method"]
        spider = self.spider(hit["agent"], hit["ip"], hit["page"])
        referrer = ""
        if len(hit["referrer"]) >= 2 and site.domain not in hit["referrer"]:
            referrer = hit["referrer"].replace('"', "") if hit["referrer"].startswith('"') else hit["referrer"]
        visitor = Visitor(site=site, ip=hit["ip"], start=at, last_hit=at, browser=browser, spider=spider,
                          referrer=self.cut_referrer(referrer))
        self.live.append(visitor)
        self.by_key[site, visitor.ip] = visitor
        site.visitors += 1
        site.spiders += bool(spider)
        visitor.dns, visitor.known = self.name_of(visitor.ip)
        self.store_visitor(visitor)
        self.store_visit(visitor)
        return visitor

    def name_of(self, ip):
        """Host name and given name as they are stored. Nobody else is asked, so most have their address as name."""
        found = (self.tables["Visitor"].find(IP=ip, Site=name) for name in sorted(site.name for site in self.sites))
        row = next((row for row in found if row and row["IP"] == ip), {"DNS": ip, "Name": ""})
        return row["DNS"], row["Name"]

    def spider(self, agent, ip, page):
        """Of the agents that are known as spiders, those that the tests use."""
        for sign, name in (("SLURP", "Inktomi"), ("GOOGLE", "Google"), ("CRAWLER", agent)):
            if sign in agent.upper():
                return name
        if len(agent) >= 2 and (ip in self.robots or any(a in agent.upper() for a in self.robots.values())):
            return "Auto Detected"
        if page.upper() != "ROBOTS.TXT":
            return ""
        if len(agent) >= 2:
            self.robots.setdefault(ip, agent)
        return "Unknown"

    @staticmethod
    def browser(agent):
        upper = agent.upper()
        if "MSIE" in upper:
            return "IE" + upper[upper.index("MSIE") + 5]
        if "OPERA" in upper:
            return "OP"
        if "MOZILLA/" in upper and "+" in upper[upper.index("MOZILLA/"):]:
            return "NS" + upper[8]
        return agent

    @staticmethod
    def cut_referrer(text):
        text = text.strip(" ").removesuffix("/")
        slash = text.find("/", 8)
        return text if slash < 0 else text[:slash]

    @staticmethod
    def was_before(row, at):
        return (row["LastVDate"], row["LastVTime"]) < (date(at), clock(at))

    def store_visitor(self, v):
        table = self.tables["Visitor"]
        if not table.find(IP=v.ip, Site=v.site.name):
            table.insert(IP=v.ip, Site=v.site.name, FirstVDate=date(v.start), FirstVTime=clock(v.start), Visits=0,
                         Spider="NY"[bool(v.spider)], SpiderT=v.spider, Country=self.country(v.ip), HackCount=0)
        row = table.find(IP=v.ip, Site=v.site.name)
        table.update(row, Browser=v.browser, DNS=v.dns)
        if self.was_before(row, v.start):
            table.update(row, Visits=int(row["Visits"]) + 1, LastVDate=date(v.start), LastVTime=clock(v.start))
        v.visit, v.known = int(row["Visits"]), row["Name"]
        if (row["LastVDate"], row["LastVTime"]) > (date(v.start), clock(v.start)):
            stored = self.tables["Visits"].find(IP=v.ip, Site=v.site.name, VisitDate=date(v.start),
                                                VisitTime=clock(v.start))
            v.visit = int(stored["VisitNo"]) if stored else v.visit
        if v.referrer:
            self.store_referrer(v)

    def store_referrer(self, v):
        table = self.tables["Referrers"]
        if not table.find(Name=v.referrer, Site=v.site.name):
            table.insert(Name=v.referrer, Site=v.site.name, FirstVDate=date(v.start), FirstVTime=clock(v.start),
                         Visits=0)
        row = table.find(Name=v.referrer, Site=v.site.name)
        if self.was_before(row, v.start):
            table.update(row, Visits=int(row["Visits"]) + 1, LastVDate=date(v.start), LastVTime=clock(v.start))

    def store_visit(self, v):
        key = dict(IP=v.ip, Site=v.site.name, VisitDate=date(v.start), VisitNo="%05d" % v.visit)
        if not self.tables["Visits"].find(**key):
            self.tables["Visits"].insert(
                **key, Active="Y", Alert="N", AlertNo=0, VisitTime=clock(v.start), FirstPage=self.hit["page"],
                LastPage=self.hit["page"], PagesSeen=1, Browser=v.browser, Spider="NY"[bool(v.spider)],
                SpiderT=v.spider, Referrer=v.referrer)

    def page(self, site, v, at, extension):
        v.page, v.page_time, v.status = self.hit["page"], at, self.hit["status"]
        v.pages += 1
        if v.status == 404:
            v.not_found += 1
            if v.not_found == MANY_NOT_FOUND:
                v.not_found = 0
                v.points += 2
        if extension in ("exe", "dll", "zip"):
            self.store_download(v, at)
            v.points += 2 if extension != "zip" and v.status >= 400 else 0
        if any(sign in v.page for sign in ("../", "..%2F", ".%5c.")):
            v.points += 1
        if site.until == 0:
            self.store_page(v, at)
        if v.points > 3 and not v.suspect:
            v.suspect = True
            row = self.tables["Visitor"].find(IP=v.ip, Site=v.site.name)
            visit = v.ip, v.site.name, v.visit
            # Classic restarts count the day's suspects once more.
            if not (self.quiet_replay and visit in self.suspects):
                self.tables["Visitor"].update(row, HackCount=int(row["HackCount"]) + 1)
            self.suspects.add(visit)

    def store_download(self, v, at):
        v.site.downloads += 1
        row = dict(IP=v.ip, Site=v.site.name, VisitNo="%05d" % v.visit, VisitDate=date(at), VisitTime=clock(at),
                   Download=v.page.rpartition("/")[2].rpartition("\\")[2], Status=str(v.status))
        # Classic restarts store the day's downloads once more.
        if not (self.quiet_replay and self.tables["Downloads"].find(**row)):
            self.tables["Downloads"].insert(**row)

    def store_page(self, v, at):
        key = dict(IP=v.ip, Site=v.site.name, VisitNo="%05d" % v.visit, PageNo="%04d" % v.pages)
        if not self.tables["Pages"].find(**key):
            self.tables["Pages"].insert(**key, Page=v.page, PageDate=date(at), PageTime=clock(at), Status=v.status)
