"""The country table: what visitors' addresses lead to, and tables that can't be used."""

import os
import subprocess
import unittest

import tables
from harness import append, vantry_binary, write_file
from history_case import HistoryTest, hit

RANGES = """first,last,code,name
"192.0.2.0","192.0.2.127","AU","Australia"
3325256704,3325256959,DE,Germany
# 203.0.113.0 to 203.0.113.255
3405803776,3405804031,??,
2001:db8::,2001:db8:ffff:ffff:ffff:ffff:ffff:ffff,CN,China
"""
COUNTRIES = "AU,Australia\r\nDE,Germany\r\nCN,China\r\n"
CODES = {"192.0.2.0": "AU", "192.0.2.7": "AU", "192.0.2.127": "AU", "192.0.2.128": "", "198.51.100.0": "DE",
         "198.51.100.255": "DE", "198.51.101.0": "", "198.51.99.255": "", "203.0.113.9": "", "0.0.0.0": "",
         "255.255.255.255": "", "2001:db8::1": "", "::ffff:192.0.2.7": "", "name.example": "", "192.0.2": ""}


class CountriesTest(HistoryTest):
    def make_table(self, home, text):
        source = os.path.join(home.base, "ranges.csv")
        write_file(source, text)
        os.makedirs(home.file("Data"), exist_ok=True)
        subprocess.run([os.path.join(os.path.dirname(vantry_binary()), "vantry-ipcc"), source,
                        tables.path_of(home.file("Data"), "IPCC")], check=True, stdout=subprocess.DEVNULL, timeout=60)
        write_file(home.file("Data/Countries.txt"), COUNTRIES)

    def log_of(self, addresses):
        return "".join(hit(address, "01:%02d:00" % i, "/a.html") for i, address in enumerate(addresses))

    def codes(self, home):
        return {row.DNS: row.Country for row in tables.read_both(home.file("Data"), "Visitor")}

    def test_an_address_leads_to_its_country(self):
        home, model = self.one_site()
        model.country = CODES.get
        self.make_table(home, RANGES)
        log = self.log_of(CODES)
        write_file(home.log("access.log"), log)
        vantry = self.start(home)
        model.scan(model.sites[0], log.encode())
        self.wait_live(vantry, model)
        # A new table counts from the next start on, and for those who were not here before.
        self.make_table(home, RANGES.replace('"AU"', '"CN"'))
        more = hit("192.0.2.8", "02:00:00", "/a.html")
        append(home.log("access.log"), more)
        log += more
        model.country = {"192.0.2.8": "AU"}.get
        model.scan(model.sites[0], log.encode())
        self.wait_live(vantry, model)
        vantry.stop()
        model.stop()
        self.check_rows(home.file("Data"), model)
        self.assertEqual(self.codes(home), {**CODES, "192.0.2.8": "AU"})

        log += hit("192.0.2.9", "02:00:01", "/a.html")
        write_file(home.log("access.log"), log)
        vantry = self.start_again(home, model)
        model.country = {"192.0.2.9": "CN"}.get
        model.scan(model.sites[0], log.encode())
        self.wait_live(vantry, model)
        vantry.stop()
        model.stop()
        self.check_rows(home.file("Data"), model)
        self.assertEqual(self.codes(home), {**CODES, "192.0.2.8": "AU", "192.0.2.9": "CN"})

    def test_a_table_that_cannot_be_used_costs_countries_alone(self):
        def write(data):
            return lambda path: write_file(path, data)

        def cut(keep):
            def change(path):
                with open(path, "r+b") as f:
                    f.truncate(keep)
            return change

        def folder(path):
            os.unlink(path)
            os.mkdir(path)
        header_bytes, row_bytes = 32 + 2 * 32 + 1, 1 + 15 + 2
        harms = {
            "missing": os.unlink,
            "empty": write(b""),
            "cut in its header": cut(50),
            "without rows": cut(header_bytes),
            "cut in a row": cut(header_bytes + 3 * row_bytes - 5),
            "random bytes": write(os.urandom(5000)),
            "text": write(RANGES),
            "other fields": write(tables.build(tables.fields_of("IP|C|15 Code|C|2"), [["001.000.000.000", "AU"]])),
            "a folder": folder,
        }
        cases = []
        log = self.log_of(CODES)
        for harm, do in harms.items():
            home, model = self.one_site()
            self.make_table(home, RANGES)
            do(tables.path_of(home.file("Data"), "IPCC"))
            write_file(home.log("access.log"), log)
            cases.append((harm, home, model, self.launch(home)))
        for harm, home, model, vantry in cases:
            with self.subTest(harm):
                vantry.errors_expected = True
                vantry.wait_ready()
                model.scan(model.sites[0], log.encode())
                self.wait_live(vantry, model)
                vantry.stop()
                model.stop()
                if harm == "cut in a row":
                    # What a remaining row says of addresses after the cut can't be right; all else must be.
                    self.check_rows(home.file("Data"), model, [name for name in tables.NAMES if name != "Visitor"])
                else:
                    self.check_rows(home.file("Data"), model)
                with open(home.file("Data/TRL.LOG"), encoding="latin-1") as f:
                    lines = [line for line in f if tables.path_of(home.file("Data"), "IPCC") in line]
                self.assertEqual(len(lines), 0 if harm == "missing" else 1, lines)


if __name__ == "__main__":
    unittest.main()
