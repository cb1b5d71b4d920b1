// A table against its model: random operations go to both, and everything that can be seen must be the same.
#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "database/schema.h"
#include "database/table.h"
#include "support/memory_index.h"
#include "support/model_table.h"
#include "support/other_readers.h"

namespace vantry {

// Operations in one run over all tables. VANTRY_MODEL_OPERATIONS sets another number.
inline long ModelOperations(long with_sanitizers, long without) {
  if (const char* text = std::getenv("VANTRY_MODEL_OPERATIONS")) return std::max(1L, std::atol(text));
#ifdef __SANITIZE_ADDRESS__
  (void)without;
  return with_sanitizers;
#else
  (void)with_sanitizers;
  return without;
#endif
}

inline std::vector<const TableSchema*> AllSchemas() {
  return {&visits::Schema(), &visitor::Schema(),   &referrers::Schema(), &exceptions::Schema(),
          &pages::Schema(),  &downloads::Schema(), &day_sum::Schema(),   &ipcc::Schema()};
}

// The disk in memory. The one in tests/platform is real.
struct MemoryTables {
  MemoryDataFiles files;
  MemoryIndex index{files};
  std::string folder = "/";
  void EndProgram() {
    index.Close();
    files.EndProgram();
  }
  void Wipe() {
    files.entries.clear();
    index.stored.clear();
  }
};

template <class Disk>
class ModelRun {
 public:
  ModelRun(const TableSchema& schema, unsigned seed) : schema_(schema), model_(schema), random_(seed) { Start(); }

  // Stops at the first difference, as a failure of the test.
  void Run(long operations) {
    for (done_ = 0; done_ < operations && !::testing::Test::HasFailure(); ++done_) {
      Operation();
      if (::testing::Test::HasFailure())
        ADD_FAILURE() << schema_.name << ": after " << done_ << " operations, " << what_;
    }
    if (!::testing::Test::HasFailure()) Restart();
  }
  long done() const { return done_; }

 private:
  static constexpr uint32_t kMaxRows = 3000;  // In the file; then all starts from nothing.

  void Start() {
    connection_ = std::make_unique<TableConnection>(
        disk_.files, disk_.index,
        TableConnection::Outlets{[] { return Day{46000}; }, [this](std::string_view text) { told_ += text; },
                                 [this](std::string_view text) { told_ += text; }});
    table_ = std::make_unique<Table>(*connection_, schema_.name);
    table_->CreateTable(disk_.folder, Table::kReadWrite, schema_.fields, schema_.keys);
    ASSERT_EQ(table_->LastStatus(), Table::kOk) << table_->Problem();
    // Batches of the index that fill up again and again, and ones that never do.
    connection_->Index().SetBatch(std::array<size_t, 3>{3, 60, IndexFile::kBatch}[random_() % 3]);
    model_.ClearBuffer();
    model_.current = 0;
    model_.selected = 0;
  }
  void End() {
    table_.reset();
    connection_.reset();
    disk_.EndProgram();
  }
  void Restart() {
    what_ = "restart";
    table_->CloseTable();
    ASSERT_EQ(table_->LastStatus(), Table::kOk);
    connection_->Close();
    End();
    told_.clear();
    Start();
    ASSERT_EQ(told_, "");
    ExpectAllTheSame();
  }
  // What was changed since the flush is gone.
  void Crash() {
    ASSERT_EQ(table_->Flush(), Table::kOk);
    const ModelTable flushed = model_;
    for (unsigned i = random_() % 40; i > 0; --i) Change();
    what_ = "crash";
    End();
    model_ = flushed;
    Start();
    ExpectAllTheSame();
  }
  void StartAnew() {
    what_ = "start anew";
    End();
    disk_.Wipe();
    model_ = ModelTable(schema_);
    Start();
  }

  std::string RandomText(size_t width) {
    static const char* const kTexts[] = {"a", "b", "ab", "", "10.0.0.1", "00001", "zz"};
    if (random_() % 8 != 0) return kTexts[random_() % std::size(kTexts)];
    std::string text(random_() % (width + 4), ' ');
    for (char& c : text) c = static_cast<char>(random_());
    return text;
  }
  int64_t RandomNumber() {
    return random_() % 8 == 0 ? static_cast<int64_t>(random_()) - 2'000'000'000 : static_cast<int64_t>(random_() % 6);
  }
  void SetField(size_t field) {
    if (model_.Type(field) == 'N') {
      const int64_t number = RandomNumber();
      table_->SetNumber(field, number);
      model_.SetNumber(field, number);
    } else if (model_.Type(field) == 'D') {
      const Day day{random_() % 3 == 0 ? 0 : 46000 + static_cast<int64_t>(random_() % 3)};
      table_->SetDate(field, day);
      model_.SetText(field, day.n == 0 ? "" : FormatDayKey(day));
    } else {
      const std::string text = RandomText(model_.Width(field));
      table_->SetText(field, text);
      model_.SetText(field, text);
    }
  }
  // The key of some record, the record buffer's own, or any text.
  std::string SomeKey() {
    const auto& order = model_.Order(model_.selected);
    std::string text = model_.KeyText(model_.selected, model_.buffer);
    if (random_() % 2 == 0 && !order.empty()) {
      auto at = order.lower_bound(std::string(1, static_cast<char>(random_())));
      if (at == order.end()) at = order.begin();
      for (unsigned i = random_() % 8; i > 0 && std::next(at) != order.end(); --i) ++at;
      text = model_.KeyText(model_.selected, model_.Records().at(at->second).row);
    }
    switch (random_() % 8) {
      case 0:
        return text.substr(0, random_() % (text.size() + 1));
      case 1:
        text[random_() % text.size()] = static_cast<char>(random_());
        return text;
      case 2:
        return RandomText(text.size());
      case 3:
        return text + RandomText(5);
      default:
        return text;
    }
  }
  void Change() {
    if (random_() % 3 == 0) {
      table_->ClearRecord();
      model_.ClearBuffer();
    }
    for (size_t i = 1; i < model_.Fields(); ++i) {
      if (random_() % 2 == 0) SetField(i);
    }
    if (!model_.HasNumber()) SetField(0);
    const unsigned kind = random_() % 8;
    what_ = kind < 4 ? "insert" : kind < 7 ? "update" : "delete";
    const int expected = kind < 4 ? model_.Insert() : kind < 7 ? model_.Update() : model_.Delete();
    const int result = kind < 4 ? table_->Insert() : kind < 7 ? table_->Update() : table_->Delete();
    ASSERT_EQ(result, expected) << table_->Problem();
  }
  void Search() {
    const std::string key = SomeKey();
    const bool equal = random_() % 2 == 0;
    what_ = (equal ? "find equal " : "find nearest ") + key;
    const int expected = equal ? model_.FindEqual(key) : model_.FindNearest(key);
    ASSERT_EQ(equal ? table_->FindEqual(key) : table_->FindNearest(key), expected) << table_->Problem();
  }
  void SearchBeginning() {
    // Mostly of one length, as of a first field that is asked for again and again.
    std::string key = SomeKey();
    if (random_() % 8 != 0) key.resize(model_.KeyText(model_.selected, model_.buffer).size() / 3);
    what_ = "find beginning " + key;
    const int expected = model_.FindBeginning(key);
    ASSERT_EQ(table_->FindBeginning(key), expected) << table_->Problem();
  }
  void Step() {
    const int direction = random_() % 2 == 0 ? 1 : -1;
    what_ = "step";
    const int expected = model_.Step(direction);
    ASSERT_EQ(table_->Step(direction), expected) << table_->Problem();
  }
  void Operation() {
    const unsigned what = random_() % 1000;
    if (what < 300) {
      Change();
    } else if (what < 550) {
      Search();
    } else if (what < 700) {
      SearchBeginning();
    } else if (what < 950) {
      Step();
    } else if (what < 997) {
      what_ = "select";
      model_.selected = random_() % model_.Keys();
      table_->SelectKey(model_.selected);
    } else if (what < 999) {
      what_ = "flush";
      ASSERT_EQ(table_->Flush(), Table::kOk) << table_->Problem();
    } else if (random_() % 2 == 0) {
      Restart();
    } else {
      Crash();
    }
    ExpectSameBuffer();
    if (model_.places > kMaxRows) StartAnew();
  }

  void ExpectSameBuffer() {
    for (size_t i = 0; i < model_.Fields(); ++i) {
      const std::string& text = model_.buffer[i];
      ASSERT_EQ(table_->Text(i), std::string_view(text).substr(0, text.find_last_not_of(' ') + 1)) << "field " << i;
    }
    ASSERT_EQ(table_->RowCount(), model_.places);
  }
  // Every order from end to end, and the rows of the file.
  void ExpectAllTheSame() {
    for (size_t key = 0; key < model_.Keys(); ++key) {
      model_.selected = key;
      table_->SelectKey(key);
      int expected = model_.FindNearest("");
      ASSERT_EQ(table_->FindNearest(""), expected);
      while (expected == Table::kOk) {
        ASSERT_NO_FATAL_FAILURE(ExpectSameBuffer()) << "in the order of key " << key;
        expected = model_.Step(1);
        ASSERT_EQ(table_->Step(1), expected) << "in the order of key " << key;
      }
    }
    std::unique_ptr<DataFile> file;
    FileIdentity identity;
    ASSERT_TRUE(disk_.files.Open(disk_.folder + schema_.name + ".DBF", OpenFor::kReading, file).ok());
    ASSERT_TRUE(file->Identify(identity).ok());
    std::string bytes(static_cast<size_t>(identity.size_bytes), '\0');
    size_t count = 0;
    ASSERT_TRUE(file->ReadAt(0, bytes, count).ok());
    const OtherReaders others(bytes);
    ASSERT_EQ(others.trouble, "");
    ASSERT_EQ(others.by_count, others.by_mark);
    ASSERT_EQ(others.by_count.size(), model_.places);
    size_t living = 0;
    for (const std::string& row : others.by_count) living += row[0] == dbf::kLiving;
    ASSERT_EQ(living, model_.Records().size());
    for (const auto& [number, record] : model_.Records()) {
      std::string row(1, dbf::kLiving);
      for (const std::string& text : record.row) row += text;
      ASSERT_EQ(others.by_count[record.place - 1], row);
    }
  }

  const TableSchema& schema_;
  Disk disk_;
  ModelTable model_;
  std::mt19937 random_;
  std::unique_ptr<TableConnection> connection_;
  std::unique_ptr<Table> table_;
  std::string told_, what_;
  long done_ = 0;
};

template <class Disk>
void RunModel(const TableSchema& schema, long operations_of_all) {
  const long operations = std::max(1L, operations_of_all / static_cast<long>(AllSchemas().size()));
  ModelRun<Disk> run(schema, 2026);
  run.Run(operations);
  EXPECT_EQ(run.done(), operations);
  std::printf("%ld operations on %s\n", run.done(), schema.name);
}

}  // namespace vantry
