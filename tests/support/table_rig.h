// One table on a disk in memory. A rig can be closed, crash, lose its power, and start again on its disk.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/text.h"
#include "database/table.h"
#include "support/memory_data_files.h"
#include "support/memory_index.h"
#include "support/other_readers.h"

namespace vantry {

// RecordNo, a unique key over Name, keys that are not unique up and down, and a second unique key.
struct TableRig {
  enum Column { kRecordNo, kName, kGroup, kDated, kHits, kCode };
  enum Key { kByName, kByGroup, kByHits, kByCode };
  std::vector<std::string> fields{"RecordNo|C|9", "Name|C|6", "Group|C|4", "Dated|D|8", "Hits|N|5", "Code|C|6"};
  std::vector<std::string> keys{"name|Name||U", "group|Group + DTOS(Dated)", "hits|STR(Hits,5)||N|D", "code|Code||U"};

  MemoryDataFiles disk;
  MemoryIndex index{disk};
  Day today = *MakeDay(2026, 3, 5);
  std::vector<std::string> told, complaints;
  std::unique_ptr<TableConnection> connection;
  std::unique_ptr<Table> table;
  Table::OpenMode mode = Table::kReadWrite;

  ~TableRig() { End(); }

  // The result of opening.
  int Start() {
    connection = std::make_unique<TableConnection>(
        disk, index,
        TableConnection::Outlets{[this] { return today; }, [this](std::string_view text) { told.emplace_back(text); },
                                 [this](std::string_view text) { complaints.emplace_back(text); }});
    table = std::make_unique<Table>(*connection, "T");
    return Open();
  }
  int Open() {
    table->CreateTable("/", mode, fields, keys);
    return table->LastStatus();
  }
  void Close() {
    table->CloseTable();
    connection->Close();
  }
  // The program ends on the spot.
  void End() {
    table.reset();
    connection.reset();
  }
  int Restart() {
    Close();
    End();
    return Start();
  }
  void Crash() {
    End();
    index.Close();
    disk.EndProgram();
    disk.breaks = [](const std::string&) { return int64_t{-2}; };
    index.fails = nullptr;
  }
  template <class Random>
  void LosePower(Random& random) {
    Crash();
    disk.LosePower(random);
    index.LosePower();
  }

  Table& T() { return *table; }
  void Set(const std::string& name, const std::string& group = "g", int64_t hits = 1) {
    T().ClearRecord();
    T().SetText(kName, name);
    T().SetText(kGroup, group);
    T().SetDate(kDated, today);
    T().SetNumber(kHits, hits);
    T().SetText(kCode, "c" + name);
  }
  int Add(const std::string& name, const std::string& group = "g", int64_t hits = 1) {
    Set(name, group, hits);
    return T().Insert();
  }
  int Find(const std::string& name) {
    T().SelectKey(kByName);
    return T().FindEqual(T().Key({name}));
  }
  // The names of all records in the order of a key, forth and back.
  std::string Names(size_t key = kByName) {
    T().SelectKey(key);
    std::vector<std::string> names;
    for (int r = T().FindNearest(""); r == Table::kOk; r = T().Step(1)) names.emplace_back(T().Text(kName));
    std::string text, back;
    for (const std::string& name : names) text += name + " ";
    if (!names.empty()) back = std::string(T().Text(kName)) + " ";
    while (!names.empty() && T().Step(-1) == Table::kOk) back.insert(0, std::string(T().Text(kName)) + " ");
    return text == back ? text : text + "but back " + back;
  }
  const std::string& Bytes() const { return disk.entries.at("/T.DBF")->now; }
  // The rows of the file, each as "RecordNo Name Code", deleted ones with an asterisk in front.
  std::vector<std::string> Rows() const {
    std::vector<std::string> rows;
    const OtherReaders others(Bytes());
    if (!others.trouble.empty()) rows.push_back(others.trouble);
    RowLayout layout;
    (void)ParseFields(fields, layout);
    for (const std::string& row : others.by_count) {
      const auto text = [&](size_t field) { return std::string(Trim(FieldText(layout.fields[field], row.data()))); };
      rows.push_back((row[0] == dbf::kDeleted ? "*" : "") + text(kRecordNo) + " " + text(kName) + " " + text(kCode));
    }
    return rows;
  }
  bool Told(const std::string& part) const {
    return std::any_of(told.begin(), told.end(), [&](const std::string& text) { return Contains(text, part); });
  }
};

}  // namespace vantry
