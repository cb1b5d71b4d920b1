"""History with something wrong in its folder: foreign tables, other programs, a lost index, a folder that goes."""

import itertools
import os
import shutil

import tables
from harness import append, side_by_side, wait_until, write_file
from history_case import HistoryTest, busy_lines, hit


class TroubleTest(HistoryTest):
    def told(self, home, *parts, since=0):
        """The lines of the program's log that hold all of these."""
        try:
            with open(home.file("Data/TRL.LOG"), encoding="latin-1") as f:
                f.seek(since)
                return [line.rstrip() for line in f if all(part in line for part in parts)]
        except FileNotFoundError:
            return []

    def wait_told(self, home, *parts):
        return wait_until(lambda: self.told(home, *parts), what=lambda: (parts, self.told(home)))

    def visit(self, home, model, when, address, page="/a.html"):
        """One more line, of which the program has not yet heard."""
        append(home.log("access.log"), hit(address, when, page))
        with open(home.log("access.log"), "rb") as f:
            model.scan(model.sites[0], f.read())

    def busy_run(self, lines=300):
        """A program that has read some lines and waits for more."""
        home, model = self.one_site()
        log = b"".join(busy_lines(lines))
        write_file(home.log("access.log"), log)
        vantry = self.start(home)
        model.scan(model.sites[0], log)
        self.wait_live(vantry, model)
        return home, model, vantry

    def first_run(self):
        """A program that has stopped, with some history."""
        home, model, vantry = self.busy_run()
        vantry.stop()
        model.stop()
        self.check_rows(home.file("Data"), model)
        return home, model


class TablesTest(TroubleTest):
    def test_a_table_of_other_fields_keeps_history_off_and_nothing_else(self):
        home, model = self.one_site()
        data = home.file("Data")
        os.mkdir(data)
        fields = tables.fields_of(tables.LAYOUTS["Visits"].replace("Site|C|20", "Site|C|25"))
        foreign = tables.build(fields, [["x"] * len(fields)])
        write_file(tables.path_of(data, "Visits"), foreign)
        write_file(home.log("access.log"), hit("192.0.2.1", "01:00:00", "/a.html") +
                   hit("192.0.2.2", "01:00:01", "/b.html"))
        vantry = self.start(home)
        vantry.errors_expected = True
        vantry.wait_visitor("192.0.2.2", "b.html")
        line, = self.wait_told(home, "CreateDatabase")
        self.assertIn(tables.path_of(data, "Visits"), line)
        self.assertIn("field 3 is Site|C|25 instead of Site|C|20", line)
        self.visit(home, model, "01:00:02", "192.0.2.1", "/moved.html")
        vantry.wait_visitor("192.0.2.1", "moved.html")
        self.assertEqual(vantry.site_status("One").current, 2)
        self.wait_scans(vantry)
        with open(tables.path_of(data, "Visits"), "rb") as f:
            self.assertEqual(f.read(), foreign)
        self.assertEqual(self.told(home, "CreateDatabase"), [line])
        # Moved away, as the line says; the next visitor is the first of the new table.
        os.rename(tables.path_of(data, "Visits"), os.path.join(data, "old.dbf"))
        append(home.log("access.log"), hit("192.0.2.3", "01:00:03", "/c.html"))
        wait_until(lambda: os.path.exists(tables.path_of(data, "Visits")) and
                   os.path.getsize(tables.path_of(data, "Visits")) > 0 and  # It is made, then written.
                   [row.IP for row in tables.dump(data, "Visits")] == ["192.0.2.3"])
        vantry.stop()
        # Those who were missed meanwhile come back with the lines of the day.
        vantry = self.start(home)
        wait_until(lambda: len(vantry.list()) == 3)
        vantry.stop()
        self.assertEqual([row.IP for row in tables.read_both(data, "Visits")],
                         ["192.0.2.3", "192.0.2.1", "192.0.2.2"])
        self.assertEqual(len(tables.read_both(data, "Pages")), 4)

    def test_tables_that_are_changed_while_the_program_runs_are_opened_anew(self):
        home, model, vantry = self.busy_run()
        vantry.errors_expected = True
        data = home.file("Data")
        self.wait_rows(data, model)
        # Packed under its name; exchanged for another file; cut, with the header's count as it was.
        pages = model.tables["Pages"]
        pages.rows = [row for i, row in enumerate(pages.rows) if i % 3]
        pages.places.clear()
        tables.rewrite(data, "Pages", pages.result())
        self.visit(home, model, "01:00:00", "192.0.2.77")
        self.wait_told(home, tables.path_of(data, "Pages"), "was changed by another program")
        self.wait_live(vantry, model)

        def written(name):
            # A row that waited has another number than the model gives it.
            return [row[1:] for row in tables.stripped(tables.read(data, name))] == [
                row[1:] for row in model.expected()[name]]
        wait_until(lambda: written("Pages") and written("Visits"), what=lambda: self.told(home))
        referrers = model.tables["Referrers"]
        del referrers.rows[5:]
        referrers.places.clear()
        tables.rewrite(data, "Referrers", referrers.result())
        shutil.copy(tables.path_of(data, "Referrers"), home.file("copy"))
        os.replace(home.file("copy"), tables.path_of(data, "Referrers"))
        visits = model.tables["Visits"]
        visits.rows.pop()
        visits.places.clear()
        with open(tables.path_of(data, "Visits"), "r+b") as f:
            f.truncate(os.path.getsize(f.name) - 20)
        self.wait_told(home, tables.path_of(data, "Referrers"), "by another")
        self.wait_told(home, tables.path_of(data, "Visits"), "was changed by another program")
        self.visit(home, model, "01:00:01", "192.0.2.78", "/b.html")
        self.wait_live(vantry, model)
        vantry.stop()
        model.stop()
        rows, expected = tables.read_all(data), model.expected()
        for name in ("Pages", "Visitor", "Visits"):
            self.assertEqual([row[1:] for row in rows[name]], [row[1:] for row in expected[name]], name)
        for name in ("Pages", "Visits"):
            self.assertEqual(len(self.told(home, tables.path_of(data, name), "was changed")), 1, self.told(home))

    def test_tables_cut_or_miscounted_are_put_right(self):
        home, model = self.first_run()
        data = home.file("Data")

        def harm(name, change):
            with open(tables.path_of(data, name), "r+b") as f:
                change(f, os.path.getsize(tables.path_of(data, name)), len(model.tables[name].rows))

        def miscount(by):
            def change(f, size, rows):
                f.seek(4)
                f.write((rows + by).to_bytes(4, "little"))
            return change

        def cut_in_the_last_row(f, size, rows):
            f.truncate(size - 10)
            model.tables["Pages"].rows.pop()
            model.tables["Pages"].places.clear()
        harm("Pages", cut_in_the_last_row)
        harm("Visits", lambda f, size, rows: f.truncate(size - 1))  # The end mark.
        harm("Visitor", miscount(5))
        harm("Referrers", miscount(-5))
        harm("Downloads", lambda f, size, rows: f.seek(size) or f.write(b" half a row"))
        vantry = self.start_again(home, model)
        self.visit(home, model, "01:00:00", "192.0.2.77", "/new.zip")
        self.wait_live(vantry, model)
        vantry.stop()
        model.stop()
        for name in ("Pages", "Visitor", "Referrers"):
            self.assertEqual(len(self.told(home, tables.path_of(data, name), "put right")), 1, self.told(home))
        self.check_rows(data, model)
        self.check_files(data, model)

    def test_tables_that_another_program_changed_meanwhile_are_taken_as_they_are(self):
        home, model = self.first_run()
        data = home.file("Data")
        # Packed, so that all later rows have other places.
        pages = model.tables["Pages"]
        pages.rows = [row for i, row in enumerate(pages.rows) if i % 3]
        pages.places.clear()
        tables.rewrite(data, "Pages", pages.result())
        # Added to: an address that was here before the program was.
        visitors = model.tables["Visitor"]
        visitors.next_record = 700
        visitors.insert(IP="192.0.2.77", Site="One", DNS="old.example", Name="An old friend", Visits=7, Country="AU",
                        FirstVDate="20010203", FirstVTime="04:05:06", LastVDate="20040506", LastVTime="07:08:09",
                        Browser="IE4", Spider="N", HackCount=0)
        tables.rewrite(data, "Visitor", visitors.result())
        self.check_rows(data, model)
        since = os.path.getsize(home.file("Data/TRL.LOG"))
        vantry = self.start_again(home, model)
        vantry.wait_visitor("10.0.0.0")
        for name in ("Pages", "Visitor"):
            line, = self.wait_told(home, "index of %s is built anew" % name, "%d rows" % len(model.tables[name].rows))
        self.assertEqual(len(self.told(home, "index", since=since)), 2, self.told(home))
        self.visit(home, model, "01:00:00", "192.0.2.77")
        self.visit(home, model, "01:00:01", "192.0.2.78")
        self.assertIn("old.example", model.addresses())
        self.wait_live(vantry, model)
        vantry.stop()
        model.stop()
        row = model.tables["Visitor"].rows[-2]
        self.assertEqual((row["Visits"], row["FirstVDate"], row["Name"]), ("8", "20010203", "An old friend"))
        self.assertEqual(model.tables["Visitor"].rows[-1]["RecordNo"], "000000701")
        self.check_rows(data, model)


def garbage(path):
    with open(path, "r+b") as f:
        f.write(os.urandom(os.path.getsize(path)))


def truncate(path, size):
    with open(path, "r+b") as f:
        f.truncate(size)


class IndexTest(TroubleTest):
    HARMS = [
        ("nothing", None, lambda path: None),
        ("garbage", "Vantry.idx", garbage),
        ("half", "Vantry.idx", lambda path: truncate(path, os.path.getsize(path) // 2)),
        ("empty", "Vantry.idx", lambda path: truncate(path, 0)),
        ("gone", "Vantry.idx", os.unlink),
        ("another file", "Vantry.idx", lambda path: shutil.copy("/bin/true", path)),
        ("garbage", "Vantry.stamp", garbage),
        ("gone", "Vantry.stamp", os.unlink),
        ("garbage", "Vantry.redo", lambda path: write_file(path, os.urandom(5000))),
        ("gone", "Vantry.redo", os.unlink),
    ]

    def test_a_lost_or_damaged_index_is_built_anew(self):
        log = b"".join(busy_lines(300))
        cases = []
        for harm, name, do in self.HARMS:
            home, model = self.one_site()
            write_file(home.log("access.log"), log)
            cases.append((harm, name, do, home, model))
            model.scan(model.sites[0], log)
        # All of them at once: most of the time a program waits for its next scan.
        for vantry, (_, _, _, home, model) in [(self.launch(case[3]), case) for case in cases]:
            self.wait_live(vantry.wait_ready(), model)
            vantry.stop()
            model.stop()
        second = []
        for harm, name, do, home, model in cases:
            do(os.path.join(home.file("Data"), name or ""))
            since = os.path.getsize(home.file("Data/TRL.LOG"))
            model.start()
            self.visit(home, model, "01:00:00", "192.0.2.100")
            second.append((self.launch(home), harm, name, home, model, since))
        for vantry, harm, name, home, model, since in second:
            with self.subTest(file=name, harm=harm):
                self.wait_live(vantry.wait_ready(), model)
                vantry.stop()
                model.stop()
                built = len(self.told(home, "index", "built anew", since=since))
                filled = [n for n in tables.NAMES if n != "Exceptions"]
                self.assertEqual(built, 0 if name in (None, "Vantry.redo") else len(filled), self.told(home))
                self.check_rows(home.file("Data"), model)
                self.check_files(home.file("Data"), model)


    def test_an_index_that_is_damaged_while_it_is_open_is_built_anew(self):
        """Each harm in turn, under one program that goes on reading."""
        def meta_pages(path):
            with open(path, "r+b") as f:
                f.write(os.urandom(8192))
        home, model = self.one_site()
        data, index = home.file("Data"), home.file("Data/Vantry.idx")
        lines = busy_lines(300 * 6)
        write_file(home.log("access.log"), b"".join(lines[:300]))
        vantry = self.start(home)
        vantry.errors_expected = True
        for i, harm in enumerate((lambda path: truncate(path, 0), garbage, meta_pages, os.unlink,
                                  lambda path: truncate(path, os.path.getsize(path) // 2))):
            model.scan(model.sites[0], b"".join(lines[:300 * (i + 1)]))
            self.wait_live(vantry, model)
            self.wait_rows(data, model)
            harm(index)
            append(home.log("access.log"), b"".join(lines[300 * (i + 1):300 * (i + 2)]))
            # The same text is told once a minute, so that the later ones may not be told.
            if i == 0:
                self.wait_told(home, "built anew")
        model.scan(model.sites[0], b"".join(lines))
        self.wait_live(vantry, model)
        self.wait_rows(data, model)
        vantry.stop()
        model.stop()
        self.check_rows(data, model)


class FolderTest(TroubleTest):
    def test_a_folder_that_goes_takes_history_alone(self):
        home, model = self.one_site()
        data = home.file("Data")
        write_file(home.log("access.log"), hit("192.0.2.1", "01:00:00", "/a.html") * 2)
        vantry = self.start(home)
        vantry.errors_expected = True
        vantry.wait_visitor("192.0.2.1")
        wait_until(lambda: tables.dump(data, "Visits"))
        shutil.rmtree(data)
        self.visit(home, model, "01:00:02", "192.0.2.2")
        vantry.wait_visitor("192.0.2.2")
        self.wait_scans(vantry)
        self.visit(home, model, "01:00:03", "192.0.2.3")
        vantry.wait_visitor("192.0.2.3")
        self.assertEqual(vantry.site_status("One").current, 3)
        self.assertFalse(os.path.exists(data))
        # The log of the program was in it too, so the operator hears of it in another place.
        wait_until(lambda: data in vantry.stderr(), what=vantry.stderr)
        # Once there is a folder, tables are made in it for those who come then.
        os.mkdir(data)
        coming = itertools.count(4)
        visits = tables.path_of(data, "Visits")
        wait_until(lambda: self.visit(home, model, "01:00:04", "192.0.2.%d" % next(coming)) or
                   os.path.exists(visits) and os.path.getsize(visits) and tables.dump(data, "Visits"), step=1)
        vantry.stop()
        self.assertTrue([row for row in tables.read_both(data, "Visits") if row.IP not in ("192.0.2.2", "192.0.2.3")])
        tables.read_all(data)

    def test_a_folder_that_comes_back_is_written_again(self):
        home, model = self.one_site()
        data, away = home.file("Data"), home.file("Away")
        log = b"".join(busy_lines(300))
        write_file(home.log("access.log"), log)
        vantry = self.start(home)
        vantry.errors_expected = True
        model.scan(model.sites[0], log)
        self.wait_live(vantry, model)
        self.wait_rows(data, model)
        os.rename(data, away)
        # In memory while the folder is away.
        self.visit(home, model, "01:00:01", "192.0.2.1")
        self.wait_live(vantry, model)
        self.wait_scans(vantry)
        self.assertFalse(os.path.exists(data))
        self.check_rows(away, model)
        before = {name: len(table.rows) for name, table in model.tables.items()}
        os.rename(away, data)
        self.visit(home, model, "01:00:02", "192.0.2.2")
        self.visit(home, model, "01:00:03", "192.0.2.3")
        self.wait_live(vantry, model)
        self.wait_rows(data, model)
        self.assertEqual(len(model.tables["Visits"].rows), before["Visits"] + 2)
        vantry.stop()
        model.stop()
        self.check_rows(data, model)

    def test_a_second_program_on_the_folder_waits_for_the_first(self):
        home, model, first = self.busy_run()
        first.errors_expected = True
        data = home.file("Data")
        other = self.quiet_home()
        other.write_site("Other", Domain="www.other.test")
        other.write("registry.ini", "[Security]\nBindAddress=127.0.0.1\n\n[Settings]\nDDFPath=%s/\n" % data)
        append(other.log("access.log"), hit("192.0.2.1", "01:00:00", "/other.html") * 2)
        second = self.start(other)
        second.errors_expected = True
        second.wait_visitor("192.0.2.1", "other.html")
        line, = self.wait_told(home, "held by another program")
        self.assertIn(data, line)
        self.visit(home, model, "01:00:01", "192.0.2.2")
        self.wait_live(first, model)
        append(other.log("access.log"), hit("192.0.2.1", "01:00:05", "/moved.html"))
        second.wait_visitor("192.0.2.1", "moved.html")
        self.wait_rows(data, model)
        first.stop()
        model.stop()
        self.check_rows(data, model)
        # The folder is free: the next visitor of the other program opens the tables.
        append(other.log("access.log"), hit("192.0.2.3", "01:00:06", "/b.html"))
        wait_until(lambda: [row for row in tables.dump(data, "Pages") if row.IP == "192.0.2.3"])
        second.stop()
        added = tables.read_both(data, "Visits")[len(model.tables["Visits"].rows):]
        self.assertEqual([(row.RecordNo, row.IP, row.Site) for row in added],
                         [("%09d" % (len(model.tables["Visits"].rows) + 1), "192.0.2.3", "Other")])


if __name__ == "__main__":
    side_by_side()
