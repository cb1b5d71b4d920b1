// A busy day of the history with a journal of what was written, to be held against the tables after the program has
// ended, the power has gone or the disk was full at any call.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "database/key_expression.h"
#include "support/database_rig.h"
#include "support/other_readers.h"

namespace vantry {

struct BusyDay {
  // What a row was, from its first state on. From the durable one on, no loss of power may take it back.
  struct History {
    std::vector<std::string> states;
    size_t durable = SIZE_MAX;
  };
  static const std::vector<const TableSchema*>& Schemas() {
    static const std::vector<const TableSchema*> schemas{
        &visits::Schema(), &visitor::Schema(),   &referrers::Schema(), &exceptions::Schema(),
        &pages::Schema(),  &downloads::Schema(), &day_sum::Schema()};
    return schemas;
  }

  DatabaseRig rig;
  std::map<std::string, std::map<std::string, History>> journal;  // By table and RecordNo.
  int calls = 0;                                                  // Of the disk and the index.
  int broken = 0;                                                 // Of these.
  int refused = 0;                                                // Operations on open tables.
  bool ended = false;
  bool restarts = true;  // Once, in the middle of the day.
  int step = 0;

  BusyDay() { rig.t.Sites.resize(1); }

  static int64_t PartOf(int part, const std::string& call) {
    const int64_t all = call.starts_with("write ") ? std::stoll(call.substr(call.rfind(' ') + 1)) : 0;
    return part == 0 ? -1 : part == 1 ? 0 : part == 2 ? std::min<int64_t>(1, all) : part == 3 ? all / 2 : all - 1;
  }
  // The disk is full from one call on for some calls: of each write a part is done. In the call `end` the program ends,
  // and nothing reaches the disk any more.
  void Break(int full_from, int full_calls, int end, int how) {
    const auto breaks = [=, this](const std::string& what) {
      ++calls;
      const bool full =
          calls >= full_from && calls < full_from + full_calls && (what.starts_with("write ") || what == "commit");
      ended = calls >= end;
      broken += full || ended;
      return full || ended;
    };
    rig.disk.breaks = [=, this](const std::string& what) {
      return !breaks(what) ? int64_t{-2} : calls > end ? int64_t{-1} : PartOf(how, what);
    };
    rig.index.fails = breaks;
  }
  // The program ends in this call: nothing reaches the disk any more.
  void EndAt(int call, int how) { Break(0, 0, call, how); }
  void Repair() {
    rig.disk.breaks = [](const std::string&) { return int64_t{-2}; };
    rig.index.fails = nullptr;
  }
  void Restart(std::mt19937* power) {
    rig.database.reset();
    rig.index.Close();
    rig.disk.EndProgram();
    Repair();
    if (power) {
      rig.disk.LosePower(*power);
      rig.index.LosePower();
    }
    ended = false;
    rig.program_log.clear();
    rig.Start();
  }

  VisitDatabase& Db() { return *rig.database; }
  // Notes the record that an operation has just written.
  void Note(Table& table) {
    if (!table.IsOpen()) return;
    refused += table.LastStatus() == Table::kFailed || table.LastStatus() == Table::kNoRoom;
    if (table.LastStatus() != Table::kOk || table.Text(0).empty()) return;
    std::string state;
    for (const TableSchema* schema : Schemas()) {
      if (table.Name() != schema->name) continue;
      for (size_t i = 0; i < schema->fields.size(); ++i) state += std::string(table.Text(i)) + "|";
    }
    journal[table.Name()][std::string(table.Text(0))].states.push_back(state);
  }
  // Of a flush in which nothing broke the rows of these tables are durable.
  void Flushed(int broken_before, const std::vector<Table*>& tables) {
    if (broken > broken_before || !Db().IsOpen()) return;
    for (Table* table : tables) {
      for (auto& [number, history] : journal[table->Name()]) history.durable = history.states.size() - 1;
    }
  }
  void FlushAll() {
    const int before = broken;
    Db().FlushAll();
    Flushed(before, {&Db().VAVISITS, &Db().VAVIS, &Db().VAREF, &Db().VAEXP, &Db().VAPG, &Db().VADL, &Db().VADAY});
  }
  // During a scan the rows go to the system and are not waited for.
  void WriteOut() {
    rig.t.ScanInProgress = true;
    Db().FlushAll();
    rig.t.ScanInProgress = false;
  }
  void FlushDatabase() {
    const int before = broken;
    Db().FlushDatabase();
    Flushed(before, {&Db().VAVISITS, &Db().VAVIS, &Db().VAREF, &Db().VAEXP, &Db().VAPG});
  }

  // Closing writes the summary of the day once more.
  void StopAndStart() {
    if (Db().IsOpen()) Db().UpdateDaySummaries();
    Note(Db().VADAY);
    rig.Restart();
  }

  // One thing that happens on this day; false after the last.
  bool Step() {
    if (step >= kSteps) return false;
    const int n = ++step;
    rig.clock.Advance(2);
    VisitorRec v =
        rig.Visitor("10.0.0." + std::to_string(n / 3 % 5), PadNumber(8 + n / 10, 2) + ":00:" + PadNumber(n, 2));
    v.VisitCount = static_cast<int32_t>(n / 15 + 1);
    v.Page = "page" + std::to_string(n);
    v.Pages = static_cast<int16_t>(n);
    v.Referrer = n % 2 ? "http://a.example" : "http://b" + std::to_string(n / 20) + ".example";
    switch (n % 9) {
      case 0:
      case 4:
        AddVisit(v);
        break;
      case 1:
      case 5:
      case 8:
        Db().AddPageToDatabase(v);
        Note(Db().VAPG);
        break;
      case 2:
        Db().AddDownload(v);
        Note(Db().VADL);
        if (n % 2 == 0) FlushDatabase();
        break;
      case 3:
        rig.FlushInScan();
        Db().UpdateHackCount(last_);
        Note(Db().VAVIS);
        break;
      case 6:
        EndVisit(v);
        if (n % 2 == 0) FlushAll();
        break;
      default:
        Summarise(n);
        break;
    }
    return true;
  }
  void Run() {
    while (!ended && Step()) {
    }
  }
  static constexpr int kSteps = 45;

  // What is wrong with the tables on the disk. From here on they are the journal.
  std::string Check() {
    for (const TableSchema* schema : Schemas()) {
      if (std::string trouble = CheckTable(*schema); !trouble.empty())
        return std::string(schema->name) + ": " + trouble;
    }
    return {};
  }
  std::string CheckTable(const TableSchema& schema) {
    const std::string bytes = rig.disk.Get(rig.Path(schema.name));
    const OtherReaders others(bytes);
    if (!others.trouble.empty()) return others.trouble;
    if (others.by_count != others.by_mark) return "one reader sees more than the other";
    TableHeader header;
    KeyDeclaration key;
    if (!ParseHeader(bytes, header).ok() || !ParseKey(schema.keys[0], header.layout, key).ok()) return "is unreadable";
    if (bytes.size() != header.header_bytes + others.by_count.size() * header.layout.row_bytes + 1)
      return "something stands behind the end mark";
    std::map<std::string, History> found;
    std::map<std::string, int> first_keys;
    for (const std::string& row : others.by_count) {
      if (row[0] == dbf::kDeleted) continue;
      std::string state, first_key;
      for (const TableField& field : header.layout.fields) {
        const std::string_view text = FieldText(field, row.data());
        state += std::string(text.substr(0, text.find_last_not_of(' ') + 1)) + "|";
      }
      key.expression.AppendKey(row.data(), first_key);
      if (++first_keys[first_key] > 1) return "the key \"" + first_key + "\" twice";
      const std::string number(Trim(FieldText(header.layout.fields[0], row.data())));
      if (found.contains(number)) return "the number " + number + " twice";
      found[number] = {{state}, SIZE_MAX};
      if (std::string trouble = CheckRow(journal[schema.name][number], state); !trouble.empty()) return trouble;
    }
    for (const auto& [number, history] : journal[schema.name]) {
      if (history.durable != SIZE_MAX && !found.contains(number)) return "lost " + history.states[history.durable];
    }
    journal[schema.name] = found;
    return {};
  }
  static std::string CheckRow(const History& history, const std::string& state) {
    const auto at = std::find(history.states.rbegin(), history.states.rend(), state);
    if (at == history.states.rend()) return "was never written: " + state;
    const auto place = static_cast<size_t>(history.states.rend() - at) - 1;
    if (history.durable != SIZE_MAX && place < history.durable) return "is older than what was flushed: " + state;
    return {};
  }
  // Whether the keys lead to just the living rows of the tables.
  std::string CheckKeys() {
    for (Table* table : {&Db().VAVISITS, &Db().VAVIS, &Db().VAREF, &Db().VAPG, &Db().VADL, &Db().VADAY}) {
      const size_t rows = rig.Read(table->Name()).rows.size();
      for (size_t key = 0; key < 3; ++key) {
        table->SelectKey(key);
        size_t seen = 0;
        for (int r = table->FindNearest(""); r == Table::kOk; r = table->Step(1)) ++seen;
        if (seen != rows) {
          return table->Name() + " has " + std::to_string(rows) + " rows and " + std::to_string(seen) + " by key " +
                 std::to_string(key);
        }
      }
      table->SelectKey(0);
    }
    return {};
  }

 private:
  void AddVisit(VisitorRec& v) {
    Db().UpdateVisitor(v, false);
    Note(Db().VAVIS);
    Note(Db().VAREF);
    Db().AddVisitToDatabase(v, v.Page);
    Note(Db().VAVISITS);
    last_ = v;
  }
  void EndVisit(const VisitorRec& v) {
    last_.LastHitTime.s += v.Pages;
    last_.Page = v.Page;
    Db().UpdateVisitInDatabase(last_);
    Note(Db().VAVISITS);
  }
  void Summarise(int n) {
    rig.t.Site(1).TodayVisitors = static_cast<int16_t>(n);
    Db().UpdateDaySummaries();
    Note(Db().VADAY);
    if (n == 16) FlushAll();
    if (n == 25 && restarts) StopAndStart();
    // The first of two flushes leaves this table out and stamps the others.
    if (n == 34 || n == 43) FlushDatabase();
    if (n == 34) FlushAll();
    if (n == 43) rig.FlushInScan();
  }

  VisitorRec last_;
};

}  // namespace vantry
