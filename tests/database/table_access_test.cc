// Tables that can't be opened, tables that are read alone, and files that go away under an open table.
#include <gtest/gtest.h>

#include "support/database_rig.h"
#include "support/table_rig.h"

namespace vantry {
namespace {

struct AccessTest : ::testing::Test {
  TableRig rig;
  Table& T() { return rig.T(); }
  void PutTable(const std::vector<std::string>& fields, const std::string& row = "") {
    RowLayout layout;
    ASSERT_TRUE(ParseFields(fields, layout).ok());
    rig.disk.Put("/T.DBF", BuildHeader(layout, rig.today, row.empty() ? 0 : 1) + row + dbf::kEndMark);
  }
};

TEST_F(AccessTest, ATableOfOtherFieldsIsRefusedWithTheFirstDifference) {
  struct Case {
    std::vector<std::string> fields;
    const char* told;
  };
  const std::vector<std::string> right = rig.fields;
  const auto with = [&](size_t i, const char* field) {
    std::vector<std::string> fields = right;
    fields[i] = field;
    return fields;
  };
  for (const Case& c : {Case{with(1, "Name|C|7"), "field 2 is Name|C|7 instead of Name|C|6"},
                        Case{with(4, "Hits|C|5"), "field 5 is Hits|C|5 instead of Hits|N|5"},
                        Case{with(0, "Number|C|9"), "field 1 is Number|C|9 instead of RecordNo|C|9"},
                        Case{{right.begin(), right.end() - 1}, "field 6 (Code|C|6) is missing"}}) {
    PutTable(c.fields);
    const std::string before = rig.Bytes();
    EXPECT_EQ(rig.Start(), Table::kFailed);
    EXPECT_EQ(T().Problem(), std::string("/T.DBF is not the table that Vantry writes: ") + c.told +
                                 ". Move it away, and a new one is made");
    EXPECT_FALSE(T().IsOpen());
    EXPECT_EQ(rig.Bytes(), before);
    rig.Crash();
  }
  PutTable(with(1, "NAME|C|6"));
  EXPECT_EQ(rig.Start(), Table::kOk) << "letters of any case";
}

TEST_F(AccessTest, DeclarationsThatCantBeReadAreRefused) {
  rig.fields[3] = "Dated|D|9";
  EXPECT_EQ(rig.Start(), Table::kFailed);
  EXPECT_TRUE(Contains(T().Problem(), "Dated|D|9")) << T().Problem();
  rig.fields[3] = "Dated|D|8";
  const auto keys = rig.keys;
  rig.keys[1] = "group|Grupp";
  EXPECT_EQ(rig.Open(), Table::kFailed);
  EXPECT_TRUE(Contains(T().Problem(), "Grupp")) << T().Problem();
  rig.keys.clear();
  EXPECT_EQ(rig.Open(), Table::kFailed);
  EXPECT_TRUE(Contains(T().Problem(), "needs a key")) << T().Problem();
  rig.keys = {"long|" + std::string("Name + Name") + std::string(100, ' ')};
  for (int i = 0; i < 100; ++i) rig.keys[0] += "+ Name";
  EXPECT_EQ(rig.Open(), Table::kFailed);
  EXPECT_TRUE(Contains(T().Problem(), "can't be indexed")) << T().Problem();
  rig.keys = keys;
  EXPECT_EQ(rig.Open(), Table::kOk) << T().Problem();
  EXPECT_EQ(rig.Add("n1"), Table::kOk);
}

TEST_F(AccessTest, FilesThatAnotherProgramHoldsAreNamed) {
  for (const char* path : {"/T.DBF", "/Vantry.stamp", "/Vantry.redo"}) {
    std::unique_ptr<DataFile> held;
    ASSERT_TRUE(rig.disk.Open(path, OpenFor::kCreating, held).ok());
    EXPECT_EQ(rig.Start(), Table::kFailed) << path;
    EXPECT_EQ(T().Problem(), std::string(path) + ": is held by another program");
    held.reset();
    EXPECT_EQ(rig.Open(), Table::kOk) << path << ": " << T().Problem();
    rig.Close();
    rig.End();
  }
}

TEST_F(AccessTest, AMissingOrReadOnlyFolderIsTold) {
  rig.disk.missing_folders = {"/"};
  EXPECT_EQ(rig.Start(), Table::kNotFound);
  EXPECT_EQ(T().Problem(), "/Vantry.stamp: No such file or directory");
  rig.disk.missing_folders.clear();
  rig.disk.read_only = true;
  EXPECT_EQ(rig.Open(), Table::kFailed);
  EXPECT_TRUE(Contains(T().Problem(), "Read-only file system")) << T().Problem();
  rig.disk.read_only = false;
  EXPECT_EQ(rig.Open(), Table::kOk);
  rig.disk.read_only = true;
  EXPECT_EQ(rig.Add("n1"), Table::kOk);
  rig.Close();
  rig.End();
  rig.disk.read_only = false;
  EXPECT_EQ(rig.Start(), Table::kOk);
}

// Each call of opening and of the first flush fails in turn; the next attempt finds everything in order.
TEST_F(AccessTest, AnAttemptThatFailedAnywhereSpoilsNothing) {
  ASSERT_EQ(rig.Start(), Table::kOk);
  for (const char* name : {"n1", "n2", "n3"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  int failures = 0;
  for (int broken = 1; broken < 40; ++broken) {
    rig.Close();
    rig.End();
    rig.disk.Put("/T.DBF", rig.Bytes().substr(0, rig.Bytes().size() - 1));  // Something to put right.
    int calls = 0;
    rig.disk.breaks = [&](const std::string&) { return ++calls == broken ? int64_t{1} : int64_t{-2}; };
    rig.index.fails = [&](const std::string&) { return ++calls == broken; };
    failures += rig.Start() != Table::kOk;
    rig.disk.breaks = [](const std::string&) { return int64_t{-2}; };
    rig.index.fails = nullptr;
    ASSERT_EQ(rig.Open(), Table::kOk) << broken << ": " << T().Problem();
    ASSERT_EQ(rig.Names(), "n1 n2 n3 ") << broken;
    ASSERT_EQ(rig.Names(TableRig::kByHits), "n1 n2 n3 ") << broken;
  }
  EXPECT_GT(failures, 15);
}

TEST_F(AccessTest, ATableThatIsReadAloneIsNeverWritten) {
  ASSERT_EQ(rig.Start(), Table::kOk);
  for (const char* name : {"n1", "n2"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  rig.Close();
  rig.End();
  const std::string before = rig.Bytes();
  rig.mode = Table::kReadOnly;
  std::unique_ptr<DataFile> held;
  ASSERT_TRUE(rig.disk.Open("/T.DBF", OpenFor::kWriting, held).ok()) << "another program may write it";
  rig.fields = {"Code|C|6", "Name|C|6"};
  rig.keys = {"name|Name||U"};
  ASSERT_EQ(rig.Start(), Table::kOk) << T().Problem();
  ASSERT_EQ(T().FindEqual("n2    "), Table::kOk);
  EXPECT_EQ(T().FieldValue("Code"), "cn2");
  for (const int result : {T().Insert(), T().Update(), T().Delete()}) {
    EXPECT_EQ(result, Table::kFailed);
    EXPECT_EQ(T().Problem(), "T is not open for writing");
  }
  EXPECT_EQ(T().Flush(), Table::kOk);
  rig.Close();
  EXPECT_EQ(rig.Bytes(), before);
}

TEST_F(AccessTest, ATableThatIsReadAloneMustBeThereWithItsFields) {
  rig.mode = Table::kReadOnly;
  EXPECT_EQ(rig.Start(), Table::kNotFound);
  EXPECT_EQ(T().Problem(), "/T.DBF: No such file or directory");
  EXPECT_FALSE(rig.disk.Has("/T.DBF"));
  PutTable({"RecordNo|C|9", "Name|C|7"});
  EXPECT_EQ(rig.Open(), Table::kFailed);
  EXPECT_EQ(T().Problem(), "/T.DBF has no text field Name of 6 bytes");
  rig.disk.Put("/T.DBF", "");
  EXPECT_EQ(rig.Open(), Table::kFailed);
  EXPECT_TRUE(Contains(T().Problem(), "/T.DBF is no dBase table")) << T().Problem();
}

struct GoneTest : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }
};

TEST_F(GoneTest, AFileThatIsReplacedWhileItIsOpenIsOpenedAnew) {
  rig.Visit("10.0.0.1");
  Db().FlushAll();
  const std::string backup = rig.disk.Get("/data/Visits.DBF");
  rig.Visit("10.0.0.2");
  Db().FlushAll();
  rig.disk.entries.erase("/data/Visits.DBF");
  rig.disk.Put("/data/Visits.DBF", backup);
  rig.Visit("10.0.0.3");
  Db().FlushDatabase();
  EXPECT_TRUE(Contains(rig.program_log, "/data/Visits.DBF: was replaced by another file while it was open"))
      << rig.program_log;
  rig.Visit("10.0.0.4");
  ASSERT_TRUE(Db().IsOpen());
  const PlainTable table = rig.Flushed("Visits");
  ASSERT_EQ(table.rows.size(), 3u) << "what the file that was put there holds, and what came since";
  EXPECT_EQ(table.rows[1].at("IP"), "10.0.0.3");
  EXPECT_EQ(table.rows[2].at("IP"), "10.0.0.4");
  EXPECT_NE(table.rows[1].at("RecordNo"), "000000002") << "that number was given to another";
}

TEST_F(GoneTest, AFileThatVanishesIsMadeAnew) {
  for (const char* path : {"/data/Pages.DBF", "/data/Vantry.idx"}) {
    rig.Visit("10.0.0.1");
    Db().AddPageToDatabase(rig.Visitor("10.0.0.1"));
    Db().FlushAll();
    rig.disk.entries.erase(path);
    Db().AddPageToDatabase(rig.Visitor("10.0.0.2"));
    Db().FlushDatabase();
    EXPECT_EQ(Db().IsOpen(), std::string(path) == "/data/Vantry.idx") << path;
    rig.Visit("10.0.0.3");
    EXPECT_TRUE(Db().IsOpen()) << path << rig.program_log;
    EXPECT_TRUE(rig.Flushed("Pages").readable) << path;
  }
  EXPECT_EQ(rig.Read("Pages").rows.size(), 2u);
}

}  // namespace
}  // namespace vantry
