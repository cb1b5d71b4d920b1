// What each moment of a visit writes into the tables.
#include <gtest/gtest.h>

#include "support/database_rig.h"

namespace vantry {
namespace {

using Row = std::map<std::string, std::string>;

struct RecordTest : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }
};

TEST_F(RecordTest, AVisitIsStoredFieldByField) {
  VisitorRec v = rig.Visitor("10.0.0.1", "11:02:03");
  v.AlertPending = true;
  v.AlertNo = 7;
  v.IsSpider = true;
  v.SpiderName = "Crawler";
  v.Referrer = "http://search.example/find?q=a";
  Db().UpdateVisitor(v, false);
  Db().AddVisitToDatabase(v, "folder/first-page-of-all.html");
  const PlainTable table = rig.Flushed("Visits");
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.rows[0], (Row{{"RecordNo", "000000001"},
                                {"IP", "10.0.0.1"},
                                {"Site", "One"},
                                {"Active", "Y"},
                                {"Alert", "Y"},
                                {"AlertNo", "  7"},
                                {"VisitNo", "00001"},
                                {"VisitDate", "20260305"},
                                {"VisitTime", "11:02:03"},
                                {"FirstPage", "folder/first-page-of"},
                                {"LastPage", "folder/first-page-of"},
                                {"PagesSeen", "    1"},
                                {"MinsOn", ""},
                                {"Browser", "IE"},
                                {"Spider", "Y"},
                                {"SpiderT", "Crawler"},
                                {"Referrer", "http://search.example"},
                                {"HackRaised", ""},
                                {"Flags", ""}}));
}

TEST_F(RecordTest, TheSameVisitIsAddedOnce) {
  VisitorRec v = rig.Visit("10.0.0.1");
  Db().AddVisitToDatabase(v, "other.html");
  const PlainTable table = rig.Flushed("Visits");
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.rows[0].at("FirstPage"), "index.html");
}

TEST_F(RecordTest, PagesAreStoredByTheirNumberInTheVisit) {
  VisitorRec v = rig.Visit("10.0.0.1");
  Db().AddPageToDatabase(v);
  Db().AddPageToDatabase(v);
  v.Pages = 2;
  v.Page = std::string(50, 'p');
  v.Status = 404;
  v.LastPageTime = rig.At("23:59:59", 6);
  Db().AddPageToDatabase(v);
  const PlainTable table = rig.Flushed("Pages");
  ASSERT_EQ(table.rows.size(), 2u);
  EXPECT_EQ(table.rows[1], (Row{{"RecordNo", "000000002"},
                                {"IP", "10.0.0.1"},
                                {"Site", "One"},
                                {"VisitNo", "00001"},
                                {"Page", std::string(40, 'p')},
                                {"PageDate", "20260306"},
                                {"PageTime", "23:59:59"},
                                {"PageNo", "0002"},
                                {"Status", "404"}}));
}

TEST_F(RecordTest, EachDownloadIsARecordAndCounts) {
  VisitorRec v = rig.Visit("10.0.0.1");
  v.Page = "files\\old/tools\\setup.exe";
  for (int i = 0; i < 3; ++i) Db().AddDownload(v);
  EXPECT_EQ(rig.t.Site(1).TodayDownloads, 3);
  const PlainTable table = rig.Flushed("Downloads");
  ASSERT_EQ(table.rows.size(), 3u);
  EXPECT_EQ(table.rows[2], (Row{{"RecordNo", "000000003"},
                                {"IP", "10.0.0.1"},
                                {"Site", "One"},
                                {"VisitNo", "00001"},
                                {"VisitDate", "20260305"},
                                {"VisitTime", "11:00:00"},
                                {"Download", "setup.exe"},
                                {"Status", "200"}}));
}

TEST_F(RecordTest, TheEndOfAVisitClosesItsRow) {
  struct Case {
    int seconds;
    const char* mins_on;
  };
  int n = 0;
  for (const Case& c : {Case{0, "0:00"}, Case{59, "0:59"}, Case{60, "0:60"}, Case{61, "1:01"}, Case{3600, "60:00"}}) {
    VisitorRec v = rig.Visit("10.0.1." + std::to_string(++n));
    v.LastHitTime.s = v.StartTime.s + c.seconds;
    v.Page = "last.html";
    v.Pages = 12;
    v.HackRaised = n == 1;
    v.KnownName = n == 2 ? "Somebody" : "";
    v.GroupMask = n == 3 ? "*.proxy" : "";
    Db().UpdateVisitInDatabase(v);
    const Row row = rig.Flushed("Visits").rows.back();
    EXPECT_EQ(row.at("MinsOn"), c.mins_on);
    EXPECT_EQ(row.at("LastPage"), "last.html");
    EXPECT_EQ(row.at("FirstPage"), "index.html");
    EXPECT_EQ(row.at("PagesSeen"), "   12");
    EXPECT_EQ(row.at("Active"), "N");
    EXPECT_EQ(row.at("HackRaised"), n == 1 ? "Y" : "N");
    EXPECT_EQ(row.at("Flags"), n == 2 ? "YN" : n == 3 ? "NY" : "NN");
  }
}

TEST_F(RecordTest, TheEndOfAVisitThatIsNotStoredChangesNothing) {
  rig.Visit("10.0.0.1");
  Db().UpdateVisitInDatabase(rig.Visitor("10.0.0.2"));
  const PlainTable table = rig.Flushed("Visits");
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.rows[0].at("Active"), "Y");
}

TEST_F(RecordTest, AnAddressSeenForTheFirstTimeHasOneVisit) {
  VisitorRec v = rig.Visitor("10.0.0.1", "11:02:03");
  v.VisitCount = 99;
  v.CountryCode = "NO";
  v.KnownName = "left over";
  Db().UpdateVisitor(v, false);
  EXPECT_EQ(v.VisitCount, 1);
  EXPECT_EQ(v.KnownName, "");
  EXPECT_EQ(v.FirstVisited, v.StartTime);
  const PlainTable table = rig.Flushed("Visitor");
  ASSERT_EQ(table.rows.size(), 1u);
  EXPECT_EQ(table.rows[0], (Row{{"RecordNo", "000000001"},
                                {"IP", "10.0.0.1"},
                                {"Site", "One"},
                                {"DNS", "10.0.0.1"},
                                {"Name", ""},
                                {"Visits", "    1"},
                                {"Country", "NO"},
                                {"FirstVDate", "20260305"},
                                {"FirstVTime", "11:02:03"},
                                {"LastVDate", "20260305"},
                                {"LastVTime", "11:02:03"},
                                {"Browser", "IE"},
                                {"Spider", "N"},
                                {"SpiderT", ""},
                                {"HackCount", "  0"},
                                {"Flags", ""}}));
}

TEST_F(RecordTest, OnlyALaterVisitCounts) {
  VisitorRec first = rig.Visit("10.0.0.1", "11:00:00");
  Db().UpdateVisitor(first, true);
  EXPECT_EQ(first.VisitCount, 1);
  VisitorRec earlier = rig.Visit("10.0.0.1", "10:00:00");
  EXPECT_EQ(earlier.VisitCount, 1);
  VisitorRec later = rig.Visit("10.0.0.1", "11:00:01");
  EXPECT_EQ(later.VisitCount, 2);
  EXPECT_EQ(later.FirstVisited, first.StartTime);
  VisitorRec other_site = rig.Visit("10.0.0.1", "12:00:00", 2);
  EXPECT_EQ(other_site.VisitCount, 1);
  VisitorRec next_day = rig.Visit("10.0.0.1", "00:00:00", 1, 6);
  EXPECT_EQ(next_day.VisitCount, 3);
  const PlainTable table = rig.Flushed("Visitor");
  ASSERT_EQ(table.rows.size(), 2u);
  EXPECT_EQ(table.rows[0].at("LastVDate") + table.rows[0].at("LastVTime"), "2026030600:00:00");
}

TEST_F(RecordTest, AVisitorWhoReturnsOftenRaisesAnException) {
  rig.t.Site(1).ExValue133 = 2;
  rig.Visit("10.0.0.1", "11:00:00");
  EXPECT_TRUE(rig.exceptions.raised.empty());
  VisitorRec v = rig.Visit("10.0.0.1", "12:00:00");
  const std::string raised = "1 133 " + std::to_string(v.LastPageTime.s) + " 2 10.0.0.1 2";
  EXPECT_EQ(rig.exceptions.raised, std::vector<std::string>{raised});
  Db().UpdateVisitor(v, true);
  EXPECT_EQ(rig.exceptions.raised, std::vector<std::string>{raised}) << "a name that arrives is no visit";
  v.IsSpider = true;
  v.StartTime.s += 1;
  Db().UpdateVisitor(v, false);
  EXPECT_EQ(rig.exceptions.raised.size(), 1u);
}

// What an exception sets off may turn the loop, and a name that arrives then works on the same table.
TEST_F(RecordTest, AnotherOperationDuringTheExceptionDoesNoHarm) {
  rig.t.Site(1).ExValue133 = 1;
  rig.Visit("10.0.0.9");
  rig.exceptions.on_raise = [&] {
    rig.exceptions.on_raise = nullptr;
    Db().UpdateDNS("10.0.0.9", "nine.example");
  };
  rig.Visit("10.0.0.1", "11:30:00");
  const PlainTable table = rig.Flushed("Visitor");
  ASSERT_EQ(table.rows.size(), 2u);
  EXPECT_EQ(table.rows[0].at("DNS"), "nine.example");
  EXPECT_EQ(table.rows[1].at("IP"), "10.0.0.1");
  EXPECT_EQ(table.rows[1].at("DNS"), "10.0.0.1");
}

TEST_F(RecordTest, ReferrersAreCutToSchemeAndHost) {
  struct Case {
    const char *referrer, *stored;
  };
  for (const Case& c :
       {Case{"http://a.example/x/y?z", "http://a.example"}, Case{"http://a.example/", "http://a.example"},
        Case{" http://a.example/x/ ", "http://a.example"}, Case{"https://a.example/x", "https://a.example"},
        Case{"https://a.example", "https://a.example"}, Case{"http://", "http:/"}, Case{"1234567/9", "1234567/9"},
        Case{"12345678/0", "12345678"}, Case{"a/b/c", "a/b/c"}, Case{"-", "-"}, Case{"/", ""}, Case{"", ""}}) {
    EXPECT_EQ(CutReferrer(c.referrer), c.stored) << c.referrer;
  }
}

// The end of a visit finds its row again, also when the number of the visit has changed or the tables were opened anew.
TEST_F(RecordTest, AVisitKnowsItsRow) {
  VisitorRec first = rig.Visit("10.0.0.1"), second = rig.Visit("10.0.0.2");
  EXPECT_EQ(first.VisitRow, 1u);
  EXPECT_EQ(second.VisitRow, 2u);
  Db().AddVisitToDatabase(first, "other.html");
  EXPECT_EQ(first.VisitRow, 1u);
  rig.Restart();
  second.Page = "last.html";
  second.VisitRow = 1;
  Db().UpdateVisitor(second, true);
  Db().UpdateVisitInDatabase(second);
  VisitorRec unknown = rig.Visitor("10.0.0.3");
  unknown.VisitRow = 1;
  Db().UpdateVisitInDatabase(unknown);
  const PlainTable table = rig.Flushed("Visits");
  ASSERT_EQ(table.rows.size(), 2u);
  EXPECT_EQ(table.rows[0].at("Active"), "Y");
  EXPECT_EQ(table.rows[1].at("LastPage"), "last.html");
}

// A name is looked for at each new address: what waits for the index goes on waiting, so that it is applied in order.
TEST_F(RecordTest, LookingForANameAppliesNothing) {
  rig.Visit("10.0.0.1");
  rig.Visit("10.0.0.2");
  VisitorRec named = rig.Visit("10.0.0.3");
  named.DNS = "host.example";
  Db().UpdateVisitor(named, true);
  EXPECT_EQ(Db().LookupDNS("10.0.0.9", nullptr), "");
  EXPECT_EQ(Db().LookupDNS("10.0.0.3", nullptr), "host.example");
  EXPECT_EQ(Db().LookupDNS("10.0.0.", nullptr), "") << "the beginning of an address is not an address";
  EXPECT_TRUE(rig.index.stored["/data/Vantry.idx"]["Visitor.key0"].empty());
}

TEST_F(RecordTest, ReferrersCountVisitsBySite) {
  const auto visit = [&](const char* ip, const char* time, int16_t site, const char* referrer, bool skip) {
    VisitorRec v = rig.Visitor(ip, time, site);
    v.Referrer = referrer;
    Db().UpdateVisitor(v, skip);
  };
  visit("10.0.0.1", "11:00:00", 1, "http://a.example/1", false);
  visit("10.0.0.2", "11:00:01", 1, "http://a.example/2", false);
  visit("10.0.0.3", "11:00:01", 1, "http://a.example/3", false);  // Not later than the last one.
  visit("10.0.0.4", "11:00:05", 2, "http://a.example/4", false);
  visit("10.0.0.5", "11:00:06", 1, "http://a.example/5", true);
  visit("10.0.0.6", "11:00:07", 1, "   ", false);
  const PlainTable table = rig.Flushed("Referrers");
  ASSERT_EQ(table.rows.size(), 2u);
  EXPECT_EQ(table.rows[0], (Row{{"RecordNo", "000000001"},
                                {"Name", "http://a.example"},
                                {"Site", "One"},
                                {"FirstVDate", "20260305"},
                                {"FirstVTime", "11:00:00"},
                                {"LastVDate", "20260305"},
                                {"LastVTime", "11:00:01"},
                                {"Visits", "    2"}}));
  EXPECT_EQ(table.rows[1].at("Visits"), "    1");
}

TEST_F(RecordTest, AnExceptionIsStoredFieldByField) {
  ASSERT_TRUE(Db().DatabaseReady());
  const LogTime when = MakeLogTime(*MakeDay(2026, 3, 4), 3723);
  Db().AddExceptionToDatabase({"A site with a long name: ", when, 404, "host.with.a.long.name", 7, "page.htm"});
  Db().AddExceptionToDatabase({"", when, 1180, "", 0, std::string(30, 'v')});
  const PlainTable table = rig.Flushed("Exceptions");
  ASSERT_EQ(table.rows.size(), 2u);
  EXPECT_EQ(table.rows[0], (std::map<std::string, std::string>{{"RecordNo", "000000001"},
                                                               {"Site", "A site with a long n"},
                                                               {"ExDate", "20260304"},
                                                               {"ExTime", "01:02:03"},
                                                               {"Number", "404"},
                                                               {"Value", "page.htm"},
                                                               {"IP", "host.with.a.lon"},
                                                               {"VisitNo", "00007"}}));
  EXPECT_EQ(table.rows[1].at("Number"), "***") << "as dBase shows a number that does not fit";
  EXPECT_EQ(table.rows[1].at("Value"), std::string(20, 'v'));
  EXPECT_EQ(table.rows[1].at("VisitNo"), "00000");
  Db().CloseDatabase();
  Db().AddExceptionToDatabase({"One: ", when, 404, "", 0, ""});
  EXPECT_EQ(rig.program_log, "");
}

TEST_F(RecordTest, ReportsOfAnAddressAreCounted) {
  VisitorRec v = rig.Visit("10.0.0.1");
  Db().UpdateHackCount(v);
  Db().UpdateHackCount(v);
  EXPECT_EQ(v.StoredHackCount, 2);
  EXPECT_EQ(v.HackCount, 0);
  EXPECT_EQ(rig.Flushed("Visitor").rows[0].at("HackCount"), "  2");
  VisitorRec unknown = rig.Visitor("10.0.0.2");
  Db().UpdateHackCount(unknown);
  EXPECT_EQ(unknown.StoredHackCount, 0);
}

TEST_F(RecordTest, AFriendlyNameIsStoredOnOneSiteAndShownOnAll) {
  rig.Visit("10.0.0.1", "11:00:00", 1);
  rig.Visit("10.0.0.1", "11:00:00", 2);
  Db().ChangeFriendlyName("10.0.0.1", "One", "Somebody");
  std::string name = "unchanged";
  Db().GetFriendlyName("10.0.0.1", name);
  EXPECT_EQ(name, "Somebody");
  name = "unchanged";
  Db().GetFriendlyName("10.0.0.2", name);
  EXPECT_EQ(name, "unchanged");
  Db().ChangeFriendlyName("10.0.0.2", "One", "Nobody");  // Not in the table: dropped.
  EXPECT_EQ(rig.Flushed("Visitor").rows.size(), 2u);
  // The first record in the order of the sites decides.
  Db().ChangeFriendlyName("10.0.0.1", "Two", "Second");
  Db().GetFriendlyName("10.0.0.1", name);
  EXPECT_EQ(name, "Somebody");
  VisitorRec v = rig.Visit("10.0.0.1", "12:00:00", 1);
  EXPECT_EQ(v.KnownName, "Somebody");
}

TEST_F(RecordTest, AStoredNameIsFoundAndAnAddressIsNone) {
  rig.Visit("10.0.0.1");
  EXPECT_EQ(Db().LookupDNS("10.0.0.1", nullptr), "");
  Db().UpdateDNS("10.0.0.1", "one.example");
  // The last question is not asked again.
  EXPECT_EQ(Db().LookupDNS("10.0.0.1", nullptr), "");
  EXPECT_EQ(Db().LookupDNS("10.0.0.2", nullptr), "");
  Db().ChangeFriendlyName("10.0.0.1", "One", "Somebody");
  VisitorRec v = rig.Visitor("10.0.0.1");
  EXPECT_EQ(Db().LookupDNS("10.0.0.1", &v), "one.example");
  EXPECT_EQ(v.KnownName, "Somebody");
  VisitorRec again = rig.Visitor("10.0.0.1");
  EXPECT_EQ(Db().LookupDNS("10.0.0.1", &again), "one.example");
  EXPECT_EQ(again.KnownName, "");
}

TEST_F(RecordTest, ANameGoesToEverySiteOfTheAddress) {
  rig.Visit("10.0.0.1", "11:00:00", 1);
  rig.Visit("10.0.0.10", "11:00:00", 1);
  rig.Visit("10.0.0.1", "11:00:00", 2);
  Db().UpdateDNS("10.0.0.1", "one.example");
  Db().UpdateDNS("10.0.0.7", "nobody.example");
  std::map<std::string, int> names;
  for (const Row& row : rig.Flushed("Visitor").rows) ++names[row.at("IP") + " " + row.at("DNS")];
  EXPECT_EQ(names, (std::map<std::string, int>{{"10.0.0.1 one.example", 2}, {"10.0.0.10 10.0.0.10", 1}}));
}

TEST_F(RecordTest, LongAddressesAreCutAndNeverMixedUp) {
  const std::string a = "2001:db8:1111:2222::1", b = "2001:db8:1111:2222::2";
  rig.Visit(a);
  Db().UpdateDNS(a, "a.example");
  EXPECT_EQ(rig.Flushed("Visitor").rows[0].at("IP"), "2001:db8:1111:2");
  EXPECT_EQ(Db().LookupDNS(b, nullptr), "");
  EXPECT_EQ(Db().LookupDNS(a, nullptr), "");
  std::string name = "unchanged";
  Db().GetFriendlyName(b, name);
  EXPECT_EQ(name, "unchanged");
  EXPECT_EQ(CountryKey(b), "");
}

TEST_F(RecordTest, HostileTextStaysInItsField) {
  VisitorRec v = rig.Visitor("10.0.0.1");
  v.Browser = std::string("a\0b", 3);
  v.Page = std::string("caf\xC3\xA9\x1A\xFF") + std::string(500, 'x');
  v.Status = 123456;
  rig.t.Site(1).Name = "A site name of more than twenty bytes";
  Db().UpdateVisitor(v, false);
  Db().AddVisitToDatabase(v, v.Page);
  Db().AddPageToDatabase(v);
  rig.Visit("10.0.0.2");
  const PlainTable visits = rig.Flushed("Visits"), pages = rig.Read("Pages");
  ASSERT_EQ(visits.rows.size(), 2u);
  EXPECT_EQ(visits.rows[0].at("Browser"), "a b");
  EXPECT_EQ(visits.rows[0].at("Site"), "A site name of more");
  EXPECT_EQ(visits.rows[0].at("FirstPage"), "caf\xC3\xA9\x1A\xFF" + std::string(13, 'x'));
  EXPECT_EQ(visits.rows[1].at("IP"), "10.0.0.2");
  ASSERT_EQ(pages.rows.size(), 1u);
  EXPECT_EQ(pages.rows[0].at("Status"), "***");
  EXPECT_TRUE(visits.end_mark && pages.end_mark);
}

TEST_F(RecordTest, CountryKeysAreFourNumbersOfThreeDigits) {
  struct Case {
    const char *ip, *key;
  };
  for (const Case& c : {Case{"10.2.3.4", "010.002.003.004"}, Case{"255.255.255.255", "255.255.255.255"},
                        Case{" 1.2.3.4 ", "001.002.003.004"}, Case{"1.2.3", ""}, Case{"1.2.3.4.5", ""},
                        Case{"1..3.4", ""}, Case{"a.b.c.d", ""}, Case{"1.2.3.4000", ""}, Case{"", ""},
                        Case{"::ffff:1.2.3.4", ""}, Case{"2001:db8::1", ""}}) {
    EXPECT_EQ(CountryKey(c.ip), c.key) << c.ip;
  }
}

struct CountryTest : RecordTest {
  // A table as another tool makes it, with the fields in another order.
  void PutCountries(const std::vector<std::pair<std::string, std::string>>& rows) {
    RowLayout layout;
    ASSERT_TRUE(ParseFields({"Country|C|2", "IP|C|15"}, layout).ok());
    std::string bytes = BuildHeader(layout, *MakeDay(2026, 1, 1), static_cast<uint32_t>(rows.size()));
    for (const auto& [ip, country] : rows) {
      std::string row(layout.row_bytes, ' ');
      PutText(layout.fields[0], country, row.data());
      PutText(layout.fields[1], ip, row.data());
      bytes += row;
    }
    rig.disk.Put("/data/IPCC.DBF", bytes + dbf::kEndMark);
  }
};

TEST_F(CountryTest, TheRangeThatBeginsAtOrBeforeTheAddressCounts) {
  PutCountries({{"001.000.000.000", "AU"}, {"002.000.000.000", ""}, {"010.000.000.000", "NO"}});
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_TRUE(rig.t.CountryLookup);
  struct Case {
    const char *ip, *country;
  };
  for (const Case& c : {Case{"1.0.0.0", "AU"}, Case{"1.255.255.255", "AU"}, Case{"2.0.0.0", ""}, Case{"9.9.9.9", ""},
                        Case{"10.0.0.0", "NO"}, Case{"250.1.1.1", "NO"}, Case{"2001:db8::1", ""}, Case{"host", ""},
                        // Below the first range the first record stays current.
                        Case{"0.0.0.1", "AU"}}) {
    EXPECT_EQ(Db().LookupCountryCode(c.ip), c.country) << c.ip;
  }
}

TEST_F(CountryTest, WithoutTheTableNothingIsLookedUp) {
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_FALSE(rig.t.CountryLookup);
  EXPECT_FALSE(rig.disk.Has("/data/IPCC.DBF"));
  EXPECT_FALSE(Contains(rig.program_log, "IPCC")) << rig.program_log;
}

TEST_F(CountryTest, AnEmptyCutOrForeignTableCostsCountriesAlone) {
  PutCountries({});
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_TRUE(rig.t.CountryLookup);
  EXPECT_EQ(Db().LookupCountryCode("1.2.3.4"), "");

  rig.Restart();
  PutCountries({{"001.000.000.000", "AU"}, {"002.000.000.000", "NO"}});
  std::string bytes = rig.disk.Get("/data/IPCC.DBF");
  rig.disk.Put("/data/IPCC.DBF", bytes.substr(0, bytes.size() - 5));
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_FALSE(rig.t.CountryLookup);
  EXPECT_TRUE(Contains(rig.program_log, "IPCC.DBF: the header counts 2 rows and the file holds 1")) << rig.program_log;
  EXPECT_EQ(rig.disk.Get("/data/IPCC.DBF").size(), bytes.size() - 5);

  for (const std::string& foreign :
       {std::string(), std::string("no table"), std::string(70000, 'x'), bytes.substr(0, 40)}) {
    rig.Restart();
    rig.program_log.clear();
    rig.disk.Put("/data/IPCC.DBF", foreign);
    EXPECT_TRUE(Db().DatabaseReady());
    EXPECT_FALSE(rig.t.CountryLookup);
    EXPECT_TRUE(Contains(rig.program_log, "/data/IPCC.DBF is no dBase table")) << rig.program_log;
  }
}

}  // namespace
}  // namespace vantry
