// Other programs cut, pack, replace or remove the files of the history while it is open.
#include <gtest/gtest.h>

#include "support/database_rig.h"

namespace vantry {
namespace {

struct ForeignChange : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }

  ForeignChange() {
    for (int n = 1; n <= 5; ++n) AddPage(n, 1);
    Db().FlushAll();
    EXPECT_EQ(rig.program_log, "");
  }
  void AddPage(int visitor, int page) {
    VisitorRec v = rig.Visit("10.0.0." + std::to_string(visitor));
    v.Pages = static_cast<int16_t>(page);
    v.Page = "page" + std::to_string(page);
    Db().AddPageToDatabase(v);
  }
  std::string Pages() {
    std::string text;
    for (const auto& row : rig.Read("Pages").rows)
      text += row.at("IP").substr(7) + "/" + row.at("Page").substr(4) + " ";
    return text;
  }
  // The table without some of its rows.
  std::string Packed(const std::string& table, const std::vector<int>& keep) {
    const std::string bytes = rig.disk.Get(rig.Path(table));
    TableHeader header;
    EXPECT_TRUE(ParseHeader(bytes, header).ok());
    std::string packed = BuildHeader(header.layout, rig.t.Today, static_cast<uint32_t>(keep.size()));
    for (const int row : keep)
      packed += bytes.substr(header.header_bytes + static_cast<size_t>(row - 1) * header.layout.row_bytes,
                             header.layout.row_bytes);
    return packed + dbf::kEndMark;
  }
  void Replace(const std::string& path, const std::string& bytes) {
    rig.disk.entries.erase(path);
    rig.disk.Put(path, bytes);
  }
  int Told(const std::string& part) {
    int count = 0;
    for (size_t at = rig.program_log.find(part); at != std::string::npos; at = rig.program_log.find(part, at + 1))
      ++count;
    return count;
  }
  const std::string kAdvice =
      ". The tables are opened anew as they are now. Stop Vantry before other programs change its files.";
};

TEST_F(ForeignChange, APackedTableIsTakenAsItIsAndWhatWaitedIsAdded) {
  const std::string packed = Packed("Pages", {1, 3, 5});
  AddPage(1, 2);
  AddPage(3, 2);
  rig.disk.Put(rig.Path("Pages"), packed);
  EXPECT_FALSE(Db().FlushAll()) << "what waited waits for the new table";
  EXPECT_TRUE(Db().FlushAll());
  EXPECT_EQ(Pages(), "1/1 3/1 5/1 1/2 3/2 ");
  EXPECT_EQ(rig.disk.Get(rig.Path("Pages")).substr(40, 200), packed.substr(40, 200));
  EXPECT_EQ(Told("/data/Pages.DBF: was changed by another program while it was open" + kAdvice), 1) << rig.program_log;
  EXPECT_EQ(Told("waits in memory"), 0) << rig.program_log;
  EXPECT_EQ(Told("not written"), 0) << rig.program_log;
  EXPECT_EQ(Told("The index of"), 1) << "of this table alone: " << rig.program_log;
  // What they took away may come again; what is there is known.
  for (int n = 1; n <= 5; ++n) AddPage(n, 1);
  EXPECT_TRUE(Db().FlushAll());
  EXPECT_EQ(Pages(), "1/1 3/1 5/1 1/2 3/2 2/1 4/1 ");
  rig.Restart();
  rig.program_log.clear();
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_EQ(rig.program_log, "");
}

TEST_F(ForeignChange, ATableThatWasCutIsPutRight) {
  const std::string bytes = rig.disk.Get(rig.Path("Pages"));
  AddPage(2, 2);
  rig.disk.Put(rig.Path("Pages"), bytes.substr(0, bytes.size() - 10));
  Db().FlushAll();
  EXPECT_TRUE(Db().FlushAll());
  EXPECT_EQ(Pages(), "1/1 2/1 3/1 4/1 2/2 ");
  EXPECT_TRUE(rig.Read("Pages").end_mark);
}

TEST_F(ForeignChange, ATableThatWasReplacedIsLeftAndTheNewOneTaken) {
  const auto old = rig.disk.entries.at(rig.Path("Pages"));
  const std::string before = old->now;
  AddPage(2, 2);
  Replace(rig.Path("Pages"), Packed("Pages", {2}));
  Db().FlushAll();
  EXPECT_TRUE(Db().FlushAll());
  EXPECT_EQ(Pages(), "2/1 2/2 ");
  EXPECT_EQ(old->now, before) << "nothing goes where nobody finds it";
  EXPECT_EQ(Told("/data/Pages.DBF: was replaced by another file while it was open" + kAdvice), 1) << rig.program_log;
}

TEST_F(ForeignChange, IsNoticedThoughNothingWaits) {
  rig.disk.Put(rig.Path("Visitor"), Packed("Visitor", {4, 5}));
  EXPECT_TRUE(Db().FlushAll());
  EXPECT_EQ(Told("/data/Visitor.DBF: was changed"), 1) << rig.program_log;
  EXPECT_EQ(Db().VAVIS.FindEqual(Db().VAVIS.Key({"10.0.0.5", "One"})), Table::kOk);
  EXPECT_EQ(Db().VAVIS.FindEqual(Db().VAVIS.Key({"10.0.0.1", "One"})), Table::kNotFound);
}

TEST_F(ForeignChange, EachTableIsNamed) {
  for (const char* table : {"Visits", "Pages"}) rig.disk.Put(rig.Path(table), Packed(table, {1, 2}));
  Db().FlushAll();
  EXPECT_TRUE(Db().FlushAll());
  EXPECT_EQ(Told("/data/Visits.DBF: was changed"), 1) << rig.program_log;
  EXPECT_EQ(Told("/data/Pages.DBF: was changed"), 1) << rig.program_log;
}

// A search that meets what others have made of a table leads there as well.
TEST_F(ForeignChange, IsNoticedByWhoeverFindsARowMissing) {
  rig.disk.Put(rig.Path("Pages"), Packed("Pages", {1}));
  Db().VAPG.FindEqual(Db().VAPG.Key({"10.0.0.1", "One", "00001", "0001"}));
  AddPage(5, 1);
  AddPage(4, 1);
  EXPECT_EQ(Told("/data/Pages.DBF: was changed"), 1) << rig.program_log;
  Db().FlushAll();
  EXPECT_NE(Pages().find("4/1 "), std::string::npos) << Pages();
  EXPECT_FALSE(Db().FlushAll()) << "the row that found out is missing";
}

TEST_F(ForeignChange, ChangedRowsGoIntoNobodysTable) {
  VisitorRec v = rig.Visitor("10.0.0.2");
  v.Page = "last";
  Db().UpdateVisitInDatabase(v);
  const std::string theirs = Packed("Visits", {3, 2, 1});
  rig.disk.Put(rig.Path("Visits"), theirs);
  EXPECT_FALSE(Db().FlushAll()) << "its row comes again when its lines are read again";
  EXPECT_EQ(rig.disk.Get(rig.Path("Visits")).substr(40), theirs.substr(40));
  EXPECT_TRUE(Db().IsOpen());
  Db().UpdateVisitInDatabase(v);
  Db().FlushAll();
  EXPECT_EQ(rig.Read("Visits").rows.at(1).at("LastPage"), "last");
}

TEST_F(ForeignChange, OtherTablesLoseNothing) {
  VisitorRec v = rig.Visitor("10.0.0.2");
  v.Page = "last";
  Db().UpdateVisitInDatabase(v);
  rig.disk.Put(rig.Path("Referrers"), Packed("Visits", {1}));  // Of other fields.
  AddPage(2, 2);
  Db().FlushAll();
  EXPECT_FALSE(Db().IsOpen());
  EXPECT_EQ(Pages(), "1/1 2/1 3/1 4/1 5/1 2/2 ");
  EXPECT_EQ(rig.Read("Visits").rows.at(1).at("LastPage"), "last");
  EXPECT_GE(Told("is not the table that Vantry writes"), 1) << rig.program_log;
}

TEST_F(ForeignChange, AnIndexThatIsGoneOrReplacedIsBuiltAnew) {
  for (const bool replaced : {false, true}) {
    rig.program_log.clear();
    rig.clock.Advance(120);
    rig.disk.entries.erase("/data/Vantry.idx");
    if (replaced) rig.disk.Put("/data/Vantry.idx", "something else");
    AddPage(2, replaced ? 3 : 2);
    EXPECT_TRUE(Db().FlushAll()) << "no row needs it to be on the disk";
    AddPage(2, replaced ? 3 : 2);
    EXPECT_TRUE(Db().FlushAll());
    EXPECT_TRUE(Db().FlushAll());
    EXPECT_EQ(Told("/data/Vantry.idx: "), 1) << rig.program_log;
    EXPECT_EQ(Told("The index of Pages is built anew"), 1) << rig.program_log;
  }
  EXPECT_EQ(Pages(), "1/1 2/1 3/1 4/1 5/1 2/2 2/3 ");
}

// A stamp must not vouch for rows that the index does not know.
TEST_F(ForeignChange, AtTheStopTheIndexIsNotTakenToFit) {
  rig.disk.Put(rig.Path("Pages"), Packed("Pages", {5, 4}));
  rig.Restart();
  rig.program_log.clear();
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_EQ(Told("The index of Pages is built anew from 2 rows"), 1) << rig.program_log;
  EXPECT_EQ(Db().VAPG.FindEqual(Db().VAPG.Key({"10.0.0.4", "One", "00001", "0001"})), Table::kOk);
}

}  // namespace
}  // namespace vantry
