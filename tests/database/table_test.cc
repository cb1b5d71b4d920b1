// The operations of a table, one by one.
#include <gtest/gtest.h>

#include "support/table_rig.h"

namespace vantry {
namespace {

struct TableTest : ::testing::Test {
  TableRig rig;
  TableTest() { EXPECT_EQ(rig.Start(), Table::kOk); }
  Table& T() { return rig.T(); }
};

TEST_F(TableTest, InsertFillsTheRecordNumberAndMakesTheRecordCurrent) {
  EXPECT_EQ(rig.Add("bbb"), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kRecordNo), "000000001");
  EXPECT_EQ(rig.Add("aaa"), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kRecordNo), "000000002");
  EXPECT_EQ(T().LastStatus(), Table::kOk);
  EXPECT_EQ(T().RowCount(), 2u);
  EXPECT_EQ(T().Step(1), Table::kOk) << "it is current, in the order of the key";
  EXPECT_EQ(T().Text(TableRig::kName), "bbb");
  EXPECT_EQ(rig.Names(), "aaa bbb ");
}

TEST_F(TableTest, FieldsAreSetReadAndCleared) {
  rig.Set("ann");
  T().SetText(TableRig::kName, "a name too long");
  T().SetNumber(TableRig::kHits, 123456);
  EXPECT_EQ(T().Text(TableRig::kName), "a name");
  EXPECT_EQ(T().Text(TableRig::kHits), "*****");
  EXPECT_EQ(T().Number(TableRig::kHits), 100000);
  EXPECT_EQ(T().Date(TableRig::kDated), rig.today);
  EXPECT_EQ(T().FieldValue("NAME"), "a name");
  EXPECT_EQ(T().FieldValue("none"), "");
  T().ClearRecord();
  for (size_t i = 0; i < rig.fields.size(); ++i) EXPECT_EQ(T().Text(i), "");
  EXPECT_EQ(T().Date(TableRig::kDated), std::nullopt);
  EXPECT_EQ(T().Number(TableRig::kHits), 0);
}

TEST_F(TableTest, NulsNeverReachTheFileOrAKey) {
  rig.Set("x");
  T().SetText(TableRig::kName, std::string_view("a\0b", 3));
  ASSERT_EQ(T().Insert(), Table::kOk);
  ASSERT_EQ(rig.Add("y"), Table::kOk);
  T().SetText(TableRig::kName, std::string_view("c\0d", 3));
  ASSERT_EQ(T().Update(), Table::kOk);
  EXPECT_EQ(T().FindEqual(T().Key({"a b"})), Table::kOk);
  EXPECT_EQ(T().FindEqual(T().Key({std::string_view("c\0d", 3)})), Table::kOk);
  ASSERT_EQ(T().Flush(), Table::kOk);
  EXPECT_EQ(OtherReaders(rig.Bytes()).trouble, "");
}

TEST_F(TableTest, AUniqueKeyIsTakenOnce) {
  ASSERT_EQ(rig.Add("ann"), Table::kOk);
  EXPECT_EQ(rig.Add("ann"), Table::kDuplicate);
  EXPECT_EQ(T().LastStatus(), Table::kDuplicate);
  rig.Set("ben");
  T().SetText(TableRig::kCode, "cann");
  EXPECT_EQ(T().Insert(), Table::kDuplicate) << "the other unique key";
  EXPECT_EQ(T().RowCount(), 1u);
  ASSERT_EQ(rig.Add("ben"), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kRecordNo), "000000002") << "what was not added took no number";
  T().SetText(TableRig::kName, "ann");
  EXPECT_EQ(T().Update(), Table::kDuplicate);
  EXPECT_EQ(rig.Names(), "ann ben ");
  // A record may keep its own key.
  ASSERT_EQ(rig.Find("ann"), Table::kOk);
  T().SetNumber(TableRig::kHits, 7);
  EXPECT_EQ(T().Update(), Table::kOk);
}

// What a search for the first key did not find is not looked for again by Insert; that holds for this key alone.
TEST_F(TableTest, ASearchForOneKeySaysNothingOfTheOther) {
  rig.Set("cxx");
  T().SetText(TableRig::kCode, "same");
  ASSERT_EQ(T().Insert(), Table::kOk);
  ASSERT_EQ(rig.Find("same"), Table::kNotFound);
  rig.Set("same");
  T().SetText(TableRig::kCode, "same");
  EXPECT_EQ(T().Insert(), Table::kDuplicate);
  ASSERT_EQ(rig.Find("new"), Table::kNotFound);
  ASSERT_EQ(rig.Add("new"), Table::kOk);
  EXPECT_EQ(rig.Add("new"), Table::kDuplicate);
  ASSERT_EQ(rig.Find("other"), Table::kNotFound);
  ASSERT_EQ(rig.Find("new"), Table::kOk);
  T().SetText(TableRig::kName, "other");
  ASSERT_EQ(T().Update(), Table::kOk);
  EXPECT_EQ(rig.Add("other"), Table::kDuplicate);
}

TEST_F(TableTest, FindEqualWantsTheWholeKey) {
  ASSERT_EQ(rig.Add("ann"), Table::kOk);
  ASSERT_EQ(rig.Add("ben"), Table::kOk);
  EXPECT_EQ(T().FindEqual("ann   "), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "ann");
  for (const char* text : {"ann", "ann    ", "anm   ", "ANN   ", "", "      "}) {
    EXPECT_EQ(T().FindEqual(text), Table::kNotFound) << text;
    EXPECT_EQ(T().Text(TableRig::kName), "ann") << "the current record stays";
  }
  EXPECT_EQ(T().FindEqual("ben   "), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "ben");
  T().SetText(TableRig::kName, "xxx");
  EXPECT_EQ(T().FindEqual("ben   "), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "ben") << "the buffer is read anew";
}

TEST_F(TableTest, FindNearestTakesTheFirstAtOrAfterElseTheLast) {
  EXPECT_EQ(T().FindNearest("a"), Table::kNotFound) << "an empty table";
  EXPECT_EQ(T().Step(1), Table::kNotFound);
  for (const char* name : {"bbb", "ddd", "fff"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  struct Case {
    const char *text, *name;
    int result;
  };
  for (const Case& c : {Case{"", "bbb", 0}, Case{"a", "bbb", 0}, Case{"bbb", "bbb", 0}, Case{"bbb   ", "bbb", 0},
                        Case{"bbb    ", "ddd", 0}, Case{"bbc", "ddd", 0}, Case{"d", "ddd", 0}, Case{"eee", "fff", 0},
                        Case{"fff", "fff", 0}, Case{"fffx", "fff", 1}, Case{"zzz", "fff", 1}, Case{"\xFF", "fff", 1}}) {
    ASSERT_EQ(T().FindEqual("bbb   "), Table::kOk);
    EXPECT_EQ(T().FindNearest(c.text), c.result) << c.text;
    EXPECT_EQ(T().LastStatus(), c.result) << c.text;
    EXPECT_EQ(T().Text(TableRig::kName), c.name) << c.text;
  }
  EXPECT_EQ(T().FindNearest(std::string(600, 'a')), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "bbb");
}

TEST_F(TableTest, StepStaysAtTheEnds) {
  EXPECT_EQ(T().Step(1), Table::kNotFound);
  for (const char* name : {"bbb", "ddd", "fff"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  ASSERT_EQ(rig.Find("ddd"), Table::kOk);
  EXPECT_EQ(T().Step(1), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "fff");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(T().Step(1), Table::kNotFound);
    EXPECT_EQ(T().Text(TableRig::kName), "fff");
  }
  EXPECT_EQ(T().Step(-1), Table::kOk);
  EXPECT_EQ(T().Step(-1), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "bbb");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(T().Step(-1), Table::kNotFound);
    EXPECT_EQ(T().Text(TableRig::kName), "bbb");
  }
  EXPECT_EQ(T().Step(1), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "ddd");
}

// Equal keys are in the order of their rows, descending ones as well.
TEST_F(TableTest, KeysGiveTheirOrder) {
  ASSERT_EQ(rig.Add("n1", "b", 5), Table::kOk);
  ASSERT_EQ(rig.Add("n5", "a", 70), Table::kOk);
  ASSERT_EQ(rig.Add("n3", "b", 5), Table::kOk);
  ASSERT_EQ(rig.Add("n2", "a", 123456), Table::kOk);
  ASSERT_EQ(rig.Add("n4", "c", 1234), Table::kOk);
  EXPECT_EQ(rig.Names(TableRig::kByName), "n1 n2 n3 n4 n5 ");
  EXPECT_EQ(rig.Names(TableRig::kByGroup), "n5 n2 n1 n3 n4 ");
  // Asterisks, which mean a number too wide, sort after the blanks of smaller numbers.
  EXPECT_EQ(rig.Names(TableRig::kByHits), "n2 n4 n5 n1 n3 ");
  T().SelectKey(TableRig::kByHits);
  EXPECT_EQ(T().FindEqual(T().Key({"5"})), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "n1");
  EXPECT_EQ(T().FindEqual(T().Key({"6"})), Table::kNotFound);
  EXPECT_EQ(T().FindNearest(T().Key({"6"})), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "n1") << "the first at or below";
  EXPECT_EQ(T().FindNearest(T().Key({"4"})), Table::kNotFound);
  EXPECT_EQ(T().Text(TableRig::kName), "n3") << "the last";
  T().SelectKey(TableRig::kByGroup);
  EXPECT_EQ(T().FindEqual(T().Key({"b", "20260305"})), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "n1");
  T().SelectKey(99);
  EXPECT_EQ(T().Step(1), Table::kOk) << "a key that is not there changes nothing";
  EXPECT_EQ(T().Text(TableRig::kName), "n3");
}

TEST_F(TableTest, TheCurrentRecordStaysWhenAnotherKeyIsSelected) {
  ASSERT_EQ(rig.Add("n1", "b"), Table::kOk);
  ASSERT_EQ(rig.Add("n2", "a"), Table::kOk);
  ASSERT_EQ(rig.Add("n3", "c"), Table::kOk);
  ASSERT_EQ(rig.Find("n1"), Table::kOk);
  T().SelectKey(TableRig::kByGroup);
  EXPECT_EQ(T().Step(1), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "n3");
  T().SelectKey(TableRig::kByName);
  EXPECT_EQ(T().Step(-1), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "n2");
}

TEST_F(TableTest, UpdateMovesTheRecordInEveryOrder) {
  for (const char* name : {"n1", "n2", "n3"}) ASSERT_EQ(rig.Add(name, "b", 5), Table::kOk);
  for (const bool flushed : {false, true}) {
    if (flushed) {
      ASSERT_EQ(T().Flush(), Table::kOk);
    }
    ASSERT_EQ(rig.Find("n1"), Table::kOk);
    T().SetText(TableRig::kName, "n9");
    T().SetText(TableRig::kGroup, "z");
    T().SetNumber(TableRig::kHits, 1);
    ASSERT_EQ(T().Update(), Table::kOk);
    EXPECT_EQ(T().Step(1), Table::kNotFound) << "it stands at the end now";
    EXPECT_EQ(rig.Names(TableRig::kByName), "n2 n3 n9 ");
    EXPECT_EQ(rig.Names(TableRig::kByGroup), "n2 n3 n9 ");
    EXPECT_EQ(rig.Names(TableRig::kByHits), "n2 n3 n9 ");
    EXPECT_EQ(rig.Find("n1"), Table::kNotFound);
    ASSERT_EQ(rig.Find("n9"), Table::kOk);
    T().SetText(TableRig::kName, "n1");
    T().SetText(TableRig::kGroup, "b");
    T().SetNumber(TableRig::kHits, 5);
    ASSERT_EQ(T().Update(), Table::kOk);
    EXPECT_EQ(rig.Names(TableRig::kByGroup), "n1 n2 n3 ");
  }
}

TEST_F(TableTest, UpdateKeepsTheRecordNumber) {
  ASSERT_EQ(rig.Add("n1"), Table::kOk);
  ASSERT_EQ(rig.Add("n2"), Table::kOk);
  ASSERT_EQ(rig.Find("n1"), Table::kOk);
  rig.Set("n1", "other");
  ASSERT_EQ(T().Update(), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kRecordNo), "000000001");
  EXPECT_EQ(rig.Add("n2"), Table::kDuplicate);
  ASSERT_EQ(rig.Find("n1"), Table::kOk);
  EXPECT_EQ(rig.Add("n2"), Table::kDuplicate);  // Leaves the next number in the buffer.
  T().SetText(TableRig::kName, "n1");
  T().SetText(TableRig::kCode, "cn1");
  ASSERT_EQ(T().Update(), Table::kOk);
  ASSERT_EQ(T().Flush(), Table::kOk);
  EXPECT_EQ(rig.Rows(), (std::vector<std::string>{"000000001 n1 cn1", "000000002 n2 cn2"}));
}

TEST_F(TableTest, DeleteMarksTheRowAndLeavesNoCurrentRecord) {
  for (const char* name : {"n1", "n2", "n3"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  ASSERT_EQ(rig.Find("n2"), Table::kOk);
  T().SetText(TableRig::kName, "xx");
  EXPECT_EQ(T().Delete(), Table::kOk);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(T().Update(), Table::kNotFound);
    EXPECT_EQ(T().Delete(), Table::kNotFound);
    EXPECT_EQ(T().Step(1), Table::kNotFound);
  }
  EXPECT_EQ(rig.Names(), "n1 n3 ");
  ASSERT_EQ(T().Flush(), Table::kOk);
  EXPECT_EQ(rig.Rows(), (std::vector<std::string>{"000000001 n1 cn1", "*000000002 n2 cn2", "000000003 n3 cn3"}));
  EXPECT_EQ(rig.Add("n2"), Table::kOk) << "the key is free again";
  EXPECT_EQ(T().Text(TableRig::kRecordNo), "000000004") << "the number is not";
  EXPECT_EQ(rig.Names(TableRig::kByCode), "n1 n2 n3 ");
  ASSERT_EQ(rig.Restart(), Table::kOk);
  EXPECT_EQ(rig.Names(), "n1 n2 n3 ");
}

TEST_F(TableTest, NothingCurrentCanBeUpdatedOrDeletedAfterOpening) {
  ASSERT_EQ(rig.Add("n1"), Table::kOk);
  ASSERT_EQ(rig.Restart(), Table::kOk);
  EXPECT_EQ(T().Update(), Table::kNotFound);
  EXPECT_EQ(T().Delete(), Table::kNotFound);
  EXPECT_EQ(T().Step(-1), Table::kNotFound);
  EXPECT_EQ(T().Text(TableRig::kName), "");
}

TEST_F(TableTest, ATableThatIsNotOpenFailsWithItsName) {
  rig.Close();
  for (const int result :
       {T().FindEqual("n1    "), T().FindNearest("n1"), T().Step(1), T().Insert(), T().Update(), T().Delete()}) {
    EXPECT_EQ(result, Table::kFailed);
  }
  EXPECT_TRUE(Contains(T().Problem(), "T is not open")) << T().Problem();
  EXPECT_EQ(T().Key({"a"}), "");
  EXPECT_EQ(T().Flush(), Table::kOk);
  T().CloseTable();
  EXPECT_EQ(rig.Open(), Table::kOk);
  EXPECT_EQ(rig.Open(), Table::kOk) << "opening what is open does nothing";
}

TEST_F(TableTest, TextsReadAheadOfAFlushAndBehindIt) {
  ASSERT_EQ(rig.Add("n1", "g1"), Table::kOk);
  for (const bool flushed : {false, true}) {
    if (flushed) {
      ASSERT_EQ(T().Flush(), Table::kOk);
    }
    ASSERT_EQ(rig.Find("n1"), Table::kOk);
    T().SetText(TableRig::kGroup, flushed ? "g3" : "g2");
    ASSERT_EQ(T().Update(), Table::kOk);
    ASSERT_EQ(rig.Find("none"), Table::kNotFound);
    ASSERT_EQ(T().FindNearest(""), Table::kOk);
    EXPECT_EQ(T().Text(TableRig::kGroup), flushed ? "g3" : "g2");
  }
}

TEST_F(TableTest, TheRecordsOfABeginningComeInTheOrderOfTheirKeys) {
  for (const char* name : {"ab3", "ac1"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  ASSERT_EQ(T().Flush(), Table::kOk);
  for (const char* name : {"ab4", "ab1", "ab2"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  T().SelectKey(TableRig::kByName);
  std::string names;
  for (int found = T().FindBeginning("ab"); found == Table::kOk; found = T().NextBeginning("ab")) {
    names += T().Text(TableRig::kName);
    // A record that is changed meanwhile stays in its place.
    T().SetText(TableRig::kGroup, "g9");
    ASSERT_EQ(T().Update(), Table::kOk);
  }
  EXPECT_EQ(names, "ab1ab2ab3ab4");
  EXPECT_EQ(T().LastStatus(), Table::kNotFound);
  EXPECT_EQ(T().Text(TableRig::kName), "ab4") << "the current record stays";
  EXPECT_EQ(T().NextBeginning("ac"), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "ac1");
  ASSERT_EQ(T().Delete(), Table::kOk);
  EXPECT_EQ(T().NextBeginning("ac"), Table::kNotFound) << "there is no current record";
}

// By the first key, for which it is remembered.
TEST_F(TableTest, TheFirstRecordOfABeginningIsFoundAgainUntilItIsAnother) {
  T().SelectKey(TableRig::kByName);
  for (const char* name : {"ab2", "ab3"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  const auto first = [&] {
    const bool found = T().FindBeginning("ab") == Table::kOk;
    return found ? std::string(T().Text(TableRig::kName)) : "none";
  };
  for (int i = 0; i < 2; ++i) EXPECT_EQ(first(), "ab2");
  ASSERT_EQ(rig.Find("ab3"), Table::kOk);
  EXPECT_EQ(first(), "ab2") << "after another record was the current one";
  ASSERT_EQ(rig.Add("ab1"), Table::kOk);
  EXPECT_EQ(first(), "ab1") << "a new one before it";
  ASSERT_EQ(T().Delete(), Table::kOk);
  EXPECT_EQ(first(), "ab2");
  T().SetText(TableRig::kName, "ab4");
  ASSERT_EQ(T().Update(), Table::kOk);
  EXPECT_EQ(first(), "ab3") << "its key was changed";
}

TEST_F(TableTest, TheFirstRecordOfABeginningBecomesCurrent) {
  for (const char* name : {"ac2", "ab2", "ab1"}) ASSERT_EQ(rig.Add(name), Table::kOk);
  T().SelectKey(TableRig::kByName);
  EXPECT_EQ(T().FindBeginning("ab"), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "ab1");
  EXPECT_EQ(T().FindBeginning("ad"), Table::kNotFound);
  EXPECT_EQ(T().Text(TableRig::kName), "ab1") << "the current record stays";
  EXPECT_EQ(rig.Find("ad1"), Table::kNotFound);
  EXPECT_EQ(rig.Find("ac2"), Table::kOk);
  // What was not there may have come meanwhile.
  EXPECT_EQ(T().FindBeginning("ad"), Table::kNotFound);
  ASSERT_EQ(rig.Add("ad1"), Table::kOk);
  EXPECT_EQ(rig.Find("ad1"), Table::kOk);
  EXPECT_EQ(rig.Add("ad1"), Table::kDuplicate);
  EXPECT_EQ(T().FindBeginning("ae"), Table::kNotFound);
  ASSERT_EQ(rig.Find("ab1"), Table::kOk);
  T().SetText(TableRig::kName, "ae9");
  ASSERT_EQ(T().Update(), Table::kOk);
  EXPECT_EQ(rig.Find("ac2"), Table::kOk);
  EXPECT_EQ(rig.Find("ae9"), Table::kOk);
}

// A row that is remembered from before is taken when it still has the key, and searched for otherwise.
TEST_F(TableTest, ARememberedRowIsTakenWhileItHasTheKey) {
  std::vector<uint32_t> rows;
  for (const char* name : {"ann", "bob", "cid"}) {
    ASSERT_EQ(rig.Add(name), Table::kOk);
    rows.push_back(T().CurrentRow());
  }
  ASSERT_EQ(T().Flush(), Table::kOk);
  T().SelectKey(TableRig::kByName);
  const auto find = [&](const char* name, uint32_t row) { return T().FindEqual(T().Key({name}), row); };
  rig.index.fails = [](const std::string& call) { return call == "find"; };
  EXPECT_EQ(find("ann", rows[0]), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kName), "ann");
  EXPECT_EQ(T().CurrentRow(), rows[0]);
  EXPECT_EQ(find("bob", rows[0]), Table::kFailed) << "it is another record's row";
  rig.index.fails = nullptr;
  for (const uint32_t row : {0u, rows[0], rows[1], rows[2], 4u, 0xFFFF'FFFFu}) {
    ASSERT_EQ(find("bob", row), Table::kOk) << row;
    EXPECT_EQ(T().CurrentRow(), rows[1]);
  }
  T().SetText(TableRig::kCode, "new");
  ASSERT_EQ(T().Update(), Table::kOk);
  ASSERT_EQ(rig.Find("ann"), Table::kOk);
  ASSERT_EQ(find("bob", rows[1]), Table::kOk);
  EXPECT_EQ(T().Text(TableRig::kCode), "new") << "also while the change waits";
  ASSERT_EQ(T().Delete(), Table::kOk);
  EXPECT_EQ(find("bob", rows[1]), Table::kNotFound);
}

}  // namespace
}  // namespace vantry
