// The history on a disk in memory, with a clock moved by hand. A rig can be closed, crash, and start again on its disk.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/registry_store.h"
#include "database/schema.h"
#include "database/visit_database.h"
#include "support/fakes.h"
#include "support/memory_data_files.h"
#include "support/memory_files.h"
#include "support/memory_index.h"

namespace vantry {

struct RaisedExceptions final : ExceptionSink {
  std::vector<std::string> raised;  // "site number when value who visit"
  std::function<void()> on_raise;
  bool AddException(int16_t site, int number, LogTime when, std::optional<std::string_view> value, std::string_view who,
                    int32_t visit) override {
    raised.push_back(std::to_string(site) + " " + std::to_string(number) + " " + std::to_string(when.s) + " " +
                     std::string(value.value_or("")) + " " + std::string(who) + " " + std::to_string(visit));
    if (on_raise) on_raise();
    return true;
  }
  void CheckExceptions(int16_t) override {}
  std::vector<std::string> counted;  // "site number when value who"
  void CountStored(int16_t site, int number, LogTime when, std::string_view value, std::string_view who) override {
    counted.push_back(std::to_string(site) + " " + std::to_string(number) + " " + FormatTime(SecondOfDay(when)) + " " +
                      std::string(value) + " " + std::string(who));
  }
};

// A table as another program reads it: by the header's count, texts without their trailing blanks.
struct PlainTable {
  bool readable = false;
  std::vector<std::map<std::string, std::string>> rows;  // Living ones.
  size_t deleted = 0;
  bool end_mark = false;  // Directly after the last row, at the end of the file.

  explicit PlainTable(const std::string& bytes) {
    TableHeader header;
    if (!ParseHeader(bytes, header).ok()) return;
    const size_t row_bytes = header.layout.row_bytes, end = header.header_bytes + header.rows * row_bytes;
    if (end > bytes.size()) return;
    readable = true;
    end_mark = bytes.size() == end + 1 && bytes[end] == dbf::kEndMark;
    for (size_t at = header.header_bytes; at < end; at += row_bytes) {
      if (bytes[at] != dbf::kLiving) {
        ++deleted;
        continue;
      }
      auto& row = rows.emplace_back();
      for (const TableField& field : header.layout.fields) {
        std::string text = bytes.substr(at + field.offset, field.width);
        text.erase(text.find_last_not_of(' ') + 1);
        row[field.name] = text;
      }
    }
  }
};

// Noon of 5 March 2026; two sites, "One" and "Two"; the data folder is /data/.
struct DatabaseRig {
  LiveTables t;
  Regional regional;
  FakeClock clock;
  MemoryFiles files;
  RegistryFile registry{files, "/registry.ini"};
  MemoryDataFiles disk;
  MemoryIndex index{disk};
  RaisedExceptions exceptions;
  std::string program_log;
  ProgramLog log{t,
                 regional,
                 {[this] { return clock.Now(); }, [this](std::string_view b) { program_log += b; }, [] {},
                  [](std::string_view) {}, [](std::string_view, EventLevel) {}}};
  std::string folder = "/data/";
  std::unique_ptr<VisitDatabase> database;

  DatabaseRig() {
    for (const char* name : {"One", "Two"}) {
      SiteRec& site = t.Sites.emplace_back();
      site.Name = name;
      site.ExValue133 = 25;
    }
    t.Today = DayOf(clock.Now());
    Start();
  }
  ~DatabaseRig() {
    // Before the disk, on which it has files open.
    database.reset();
  }

  void Start() {
    t.Closing = false;
    t.CountryLookup = false;
    database =
        std::make_unique<VisitDatabase>(VisitDatabaseContext{t, folder, log, clock, registry, exceptions, disk, index});
    database->DatabaseVersion =
        static_cast<int16_t>(LeadingNumber(ReadRegistryValue(registry, "Settings", "DatabaseVersion", "0")));
  }
  void Restart() {
    database->CloseDatabase();
    database.reset();
    Start();
  }
  // The program ends without a word; what it wrote is on the disk.
  void Crash() {
    database.reset();
    index.Close();
    disk.EndProgram();
    Start();
  }
  std::string Path(const std::string& table) const { return folder + table + ".DBF"; }
  // As the timer does inside a scan.
  void FlushInScan() {
    t.ScanInProgress = true;
    database->FlushAll();
    t.ScanInProgress = false;
  }
  // What is in the file now.
  PlainTable Read(const std::string& table) const { return PlainTable(disk.Get(Path(table))); }
  // What is there once everything has been written.
  PlainTable Flushed(const std::string& table) {
    database->FlushAll();
    return Read(table);
  }

  static LogTime At(const std::string& time, int day = 5) {
    return MakeLogTime(*MakeDay(2026, 3, day), *ParseTime(time));
  }
  // A visitor of a site in the middle of its first page.
  VisitorRec Visitor(const std::string& ip, const std::string& time = "11:00:00", int16_t site = 1, int day = 5) {
    VisitorRec v;
    v.Site = site;
    v.IP = v.DNS = ip;
    v.StartTime = v.LastHitTime = v.LastPageTime = At(time, day);
    v.VisitCount = 1;
    v.Pages = 1;
    v.Page = "index.html";
    v.Status = 200;
    v.Browser = "IE";
    return v;
  }
  // A visit as the scan announces it.
  VisitorRec Visit(const std::string& ip, const std::string& time = "11:00:00", int16_t site = 1, int day = 5) {
    VisitorRec v = Visitor(ip, time, site, day);
    database->UpdateVisitor(v, false);
    database->AddVisitToDatabase(v, v.Page);
    return v;
  }
};

}  // namespace vantry
