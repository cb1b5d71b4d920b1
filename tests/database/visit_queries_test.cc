// What pages ask of the history.
#include <gtest/gtest.h>

#include "support/database_rig.h"

namespace vantry {
namespace {

struct VisitQueriesTest : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }
  Day Today() const { return DayOf(rig.clock.now); }

  // A visit that looks at these pages.
  VisitorRec Visit(const std::string& ip, const std::string& time, std::vector<std::string> pages, int16_t site = 1) {
    VisitorRec v = rig.Visitor(ip, time, site);
    v.Pages = 0;
    v.DNS = "host.example";
    Db().UpdateVisitor(v, false);
    Db().AddVisitToDatabase(v, pages.front());
    for (const std::string& page : pages) {
      ++v.Pages;
      v.Page = page;
      v.Status = 200 + v.Pages;
      Db().AddPageToDatabase(v);
    }
    Db().UpdateVisitInDatabase(v);
    return v;
  }
  // A visitor whom a referrer sent.
  void ComeFromThere(const std::string& time) {
    VisitorRec v = rig.Visitor("10.0.0.1", time);
    v.Referrer = "http://from.example/x";
    Db().UpdateVisitor(v, false);
  }
};

TEST_F(VisitQueriesTest, AVisitorIsFoundByAddressAndSite) {
  Visit("10.0.0.1", "11:00:00", {"a.htm"});
  Visit("10.0.0.1", "11:30:00", {"b.htm"});
  std::optional<StoredVisitor> row;
  ASSERT_TRUE(Db().ReadVisitor("10.0.0.1", "One", row).ok());
  ASSERT_TRUE(row);
  EXPECT_EQ(row->visits, 2);
  EXPECT_EQ(row->dns, "host.example");
  EXPECT_EQ(row->first_time, "11:00:00");
  EXPECT_EQ(row->first_date, Today());
  for (const auto& [ip, site] : {std::pair{"10.0.0.1", "Two"}, {"10.0.0.2", "One"}, {"10.0.0.11", "One"}, {"", ""}}) {
    EXPECT_TRUE(Db().ReadVisitor(ip, site, row).ok());
    EXPECT_FALSE(row) << ip << site;
  }
}

TEST_F(VisitQueriesTest, AVisitIsFoundByItsDayAndNumber) {
  Visit("10.0.0.1", "11:00:00", {"a.htm", "b.htm"});
  std::optional<StoredVisit> row;
  ASSERT_TRUE(Db().ReadVisit({"10.0.0.1", "One", 1}, Today(), row).ok());
  ASSERT_TRUE(row);
  EXPECT_EQ(row->number, "00001");
  EXPECT_EQ(row->first_page, "a.htm");
  EXPECT_EQ(row->last_page, "b.htm");
  EXPECT_EQ(row->pages_seen, 2);
  EXPECT_FALSE(row->is_spider);
  EXPECT_TRUE(Db().ReadVisit({"10.0.0.1", "One", 2}, Today(), row).ok());
  EXPECT_FALSE(row);
  EXPECT_TRUE(Db().ReadVisit({"10.0.0.1", "One", 1}, Day{Today().n - 1}, row).ok());
  EXPECT_FALSE(row);
}

TEST_F(VisitQueriesTest, ListsHoldWhatBelongsToTheAddressAndSiteAlone) {
  Visit("10.0.0.1", "10:00:00", {"a.htm", "b.htm"});
  Visit("10.0.0.1", "11:00:00", {"c.htm"});
  Visit("10.0.0.1", "10:00:00", {"other site"}, 2);
  Visit("10.0.0.2", "10:00:00", {"other address"});
  std::vector<StoredVisit> visits;
  RowsPlace at;
  ASSERT_TRUE(Db().ReadVisits("10.0.0.1", "One", at, 1, visits).ok());
  ASSERT_EQ(visits.size(), 1u);
  EXPECT_FALSE(at.ended);
  ASSERT_TRUE(Db().ReadVisits("10.0.0.1", "One", at, SIZE_MAX, visits).ok());
  EXPECT_TRUE(at.ended);
  ASSERT_TRUE(Db().ReadVisits("10.0.0.1", "One", at, SIZE_MAX, visits).ok());
  ASSERT_EQ(visits.size(), 2u);
  EXPECT_EQ(visits[0].first_page, "a.htm");
  EXPECT_EQ(visits[1].first_page, "c.htm");
  std::vector<StoredPage> pages;
  at = {};
  ASSERT_TRUE(Db().ReadPages({"10.0.0.1", "One", 1}, at, SIZE_MAX, pages).ok());
  ASSERT_EQ(pages.size(), 2u);
  EXPECT_EQ(pages[0].page, "a.htm");
  EXPECT_EQ(pages[1].page, "b.htm");
  EXPECT_EQ(pages[1].status, 202);
  pages.clear();
  at = {};
  ASSERT_TRUE(Db().ReadPages({"10.0.0.9", "One", 1}, at, SIZE_MAX, pages).ok());
  EXPECT_TRUE(pages.empty());
}

TEST_F(VisitQueriesTest, ReferrersComeBusiestFirstAndNoMoreThanAskedFor) {
  for (int i = 1; i <= 4; ++i) {
    for (int visit = 0; visit < i; ++visit) {
      VisitorRec v = rig.Visitor("10.0." + std::to_string(i) + "." + std::to_string(visit),
                                 "0" + std::to_string(visit) + ":00:00");
      v.Referrer = "http://from" + std::to_string(i) + ".example/";
      Db().UpdateVisitor(v, false);
    }
  }
  std::vector<StoredReferrer> rows;
  ASSERT_TRUE(Db().ReadReferrers("One", 3, rows).ok());
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0].name, "http://from4.example");
  EXPECT_EQ(rows[0].visits, 4);
  EXPECT_EQ(rows[2].visits, 2);
  rows.clear();
  ASSERT_TRUE(Db().ReadReferrers("Two", 3, rows).ok());
  EXPECT_TRUE(rows.empty());
}

TEST_F(VisitQueriesTest, ATableThatCantBeReadKeepsTheRowsSoFar) {
  Visit("10.0.0.1", "10:00:00", {"a.htm", "b.htm", "c.htm"});
  Db().FlushDatabase();
  rig.index.fails = [looks = 0](const std::string& what) mutable { return what == "find" && ++looks == 3; };
  std::vector<StoredPage> pages;
  RowsPlace at;
  EXPECT_EQ(Db().ReadPages({"10.0.0.1", "One", 1}, at, SIZE_MAX, pages).fail, Fail::kIo);
  EXPECT_GT(pages.size(), 0u);
  EXPECT_LT(pages.size(), 3u);
}

TEST_F(VisitQueriesTest, AnExcludedReferrerIsCountedOn) {
  ComeFromThere("10:00:00");
  EXPECT_TRUE(Db().ExcludeReferrer("http://from.example", "One").ok());
  ComeFromThere("11:00:00");
  ComeFromThere("12:00:00");
  const PlainTable table = rig.Flushed("Referrers");
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.rows[0].at("Visits"), "    1");
}

TEST_F(VisitQueriesTest, KeepExcluded_LeavesAnExcludedReferrerOutWhoeverComesFromThere) {
  rig.t.Corrected.KeepExcluded = true;
  ComeFromThere("10:00:00");
  EXPECT_TRUE(Db().ExcludeReferrer("http://from.example", "One").ok());
  EXPECT_EQ(Db().ExcludeReferrer("http://from.example", "Two").fail, Fail::kNotFound);
  ComeFromThere("11:00:00");
  ComeFromThere("12:00:00");
  const PlainTable table = rig.Flushed("Referrers");
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.rows[0].at("Visits"), "   -1");
  EXPECT_EQ(table.rows[0].at("LastVTime"), "12:00:00");
}

TEST_F(VisitQueriesTest, ADeletedReferrerComesBackWithTheNextVisitor) {
  ComeFromThere("10:00:00");
  EXPECT_TRUE(Db().DeleteReferrer("http://from.example", "One").ok());
  EXPECT_EQ(Db().DeleteReferrer("http://from.example", "One").fail, Fail::kNotFound);
  ComeFromThere("11:00:00");
  const PlainTable table = rig.Flushed("Referrers");
  EXPECT_EQ(table.deleted, 1u);
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.rows[0].at("Visits"), "    1");
}

}  // namespace
}  // namespace vantry
