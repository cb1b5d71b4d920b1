#include "core/day_list.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace vantry {
namespace {

using Exceptions = DayList<ExceptionRow>;

ExceptionRow Exception(int32_t no, std::string details = "x") {
  return {{LogTime{no}, 1}, 404, no, std::move(details)};
}

TEST(DayList, Add_BeyondTheRowsDropsTheOldest) {
  Exceptions list;
  const auto all = static_cast<int32_t>(Exceptions::kMaxRows);
  for (int32_t no = 1; no <= all; ++no) list.Add(Exception(no));
  EXPECT_EQ(list.RowCount(), Exceptions::kMaxRows);
  EXPECT_EQ(list.Dropped(), 0u);
  EXPECT_EQ(list.begin()->no, 1);
  for (int32_t no = all + 1; no <= all + 3; ++no) list.Add(Exception(no));
  EXPECT_EQ(list.RowCount(), Exceptions::kMaxRows);
  EXPECT_EQ(list.Dropped(), 3u);
  int32_t next = 4;
  for (const ExceptionRow& row : list) ASSERT_EQ(row.no, next++);
  EXPECT_EQ(next, all + 4);
}

TEST(DayList, Add_BeyondTheBytesOfTextDropsTheOldest) {
  Exceptions list;
  const std::string text(1 << 20, 'x');
  for (int32_t no = 1; no <= 40; ++no) list.Add(Exception(no, text));
  EXPECT_EQ(list.RowCount(), Exceptions::kMaxTextBytes >> 20);
  EXPECT_EQ(list.Dropped(), 40 - (Exceptions::kMaxTextBytes >> 20));
  EXPECT_EQ(list.begin()->no, 25);
  // A row's text may change later; what it came with is what leaves with it.
  for (ExceptionRow& row : list) row.details.clear();
  for (int32_t no = 41; no <= 80; ++no) list.Add(Exception(no, text));
  EXPECT_EQ(list.RowCount(), Exceptions::kMaxTextBytes >> 20);
  EXPECT_EQ(list.begin()->no, 65);
}

TEST(DayList, Clear_ForgetsRowsAndCounts) {
  Exceptions list;
  for (size_t i = 0; i <= Exceptions::kMaxRows; ++i) list.Add(Exception(1));
  list.told = true;
  list.Clear();
  EXPECT_EQ(list.RowCount(), 0u);
  EXPECT_EQ(list.Dropped(), 0u);
  EXPECT_FALSE(list.told);
  list.Add(Exception(2));
  EXPECT_EQ(list.begin()->no, 2);
}

AlertRow Alert(const std::string& ip, int32_t visit_no) {
  AlertRow row;
  row.site = 1;
  row.ip = row.dns = ip;
  row.visit_no = visit_no;
  return row;
}

struct Alerts : DayList<AlertRow> {
  AlertRow* Find(const std::string& ip, int32_t visit_no) {
    return FindFirst(AlertRow::VisitHash(ip, 1, visit_no),
                     [&](const AlertRow& row) { return row.ip == ip && row.visit_no == visit_no; });
  }
};

TEST(DayList, FindFirst_FindsTheRowOfAVisitUntilItIsDropped) {
  Alerts list;
  for (int32_t no = 1; no <= 3; ++no) list.Add(Alert("10.0.0.1", no));
  list.Add(Alert("10.0.0.2", 4));
  list.Add(Alert("10.0.0.1", 2));
  EXPECT_EQ(list.Find("10.0.0.1", 2), &*(list.begin() + 1)) << "the first of two";
  EXPECT_EQ(list.Find("10.0.0.2", 2), nullptr);
  for (size_t i = 5; i < Alerts::kMaxRows + 2; ++i) list.Add(Alert("10.0.0.3", 0));
  EXPECT_EQ(list.Find("10.0.0.1", 1), nullptr);
  EXPECT_EQ(list.Find("10.0.0.1", 3), &*list.begin());
  EXPECT_EQ(list.Find("10.0.0.1", 2), &*(list.begin() + 2));
  list.Clear();
  EXPECT_EQ(list.Find("10.0.0.1", 3), nullptr);
}

TEST(DayList, NameFirst_NamesOneRowAfterTheOther) {
  Alerts list;
  for (const char* ip : {"10.0.0.1", "10.0.0.2", "10.0.0.1"}) list.Add(Alert(ip, 0));
  const auto names = [&] {
    std::string out;
    for (const AlertRow& row : list) out += row.dns + " ";
    return out;
  };
  list.NameFirst("10.0.0.1", "one");
  EXPECT_EQ(names(), "one 10.0.0.2 10.0.0.1 ");
  list.NameFirst("one", "uno");
  list.NameFirst("10.0.0.1", "two");
  list.NameFirst("10.0.0.1", "three");
  EXPECT_EQ(names(), "uno 10.0.0.2 two ");
  for (size_t i = 3; i < Alerts::kMaxRows + 1; ++i) list.Add(Alert("10.0.0.4", 0));
  list.NameFirst("uno", "gone");
  list.NameFirst("two", "kept");
  EXPECT_EQ(list.begin()->dns, "10.0.0.2");
  EXPECT_EQ((list.begin() + 1)->dns, "kept");
}

TEST(DayList, ChangesCountWhatAListShows) {
  Alerts list;
  uint64_t before = list.Changes();
  const auto changed = [&] { return std::exchange(before, list.Changes()) != list.Changes(); };
  list.Add(Alert("10.0.0.1", 1));
  EXPECT_TRUE(changed());
  EXPECT_EQ(list.Find("10.0.0.9", 1), nullptr);
  list.NameFirst("10.0.0.9", "host");
  for (const AlertRow& row : std::as_const(list)) EXPECT_EQ(row.visit_no, 1);
  EXPECT_FALSE(changed());
  EXPECT_NE(list.Find("10.0.0.1", 1), nullptr);
  EXPECT_TRUE(changed()) << "the row may be written to";
  list.NameFirst("10.0.0.1", "host");
  EXPECT_TRUE(changed());
  for (AlertRow& row : list) row.hidden = true;
  EXPECT_TRUE(changed());
  EXPECT_TRUE(list.Has(list.FirstNumber()));
  EXPECT_FALSE(list.Has(list.EndNumber()));
  list.Clear();
  EXPECT_TRUE(changed());
  EXPECT_FALSE(list.Has(list.EndNumber() - 1));
}

}  // namespace
}  // namespace vantry
