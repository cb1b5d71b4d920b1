#include "web/page_pieces.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "support/database_rig.h"
#include "web/pages.h"

namespace vantry {
namespace {

struct PiecesTest : ::testing::Test {
  DatabaseRig rig;
  Settings settings;
  WebClientTable clients;
  PageContext pages{rig.t,         settings, rig.regional, rig.log, rig.clock, rig.files,
                    *rig.database, clients,  "/app/",      "2.0",   false};
  int next = 0;

  PiecesTest() {
    rig.t.Site(1).Domain = "www.one.example";
    rig.t.Site(2).Domain = "two.example";
    rig.t.Site(1).WebAccess = true;
    clients[1].LoggedIn = clients[1].AllSites = true;
    clients[1].Path = "/path";
  }
  void Come(int16_t site, int count) {
    for (int i = 0; i < count; ++i) {
      VisitorRec& v = *rig.t.Visitors.At(rig.t.Visitors.Add(site, "ip" + std::to_string(++next)));
      v.DNS = "<" + v.IP + ">";
      v.Referrer = std::string(500, 'r');
      ++rig.t.Site(site).CurrentVisitors;
    }
  }
  // Those of the numbers from `first` on leave.
  void Leave(int32_t first, int32_t count) {
    std::vector<int32_t> numbers;
    for (int32_t n = first; n < first + count; ++n) numbers.push_back(n);
    rig.t.Visitors.Remove(numbers, [&](VisitorRec& v) { --rig.t.Site(v.Site).CurrentVisitors; });
    rig.t.Visitors.CloseGaps();
  }
  // Rows of today's lists, with texts that tell which they are.
  void AddDayRows(int16_t site, int count) {
    for (int i = 0; i < count; ++i) {
      const std::string text = "<row" + std::to_string(++next) + ">";
      const LogTime now{rig.clock.now.s};
      const std::string filler(300, 'f');
      const VisitorDayRow row{{now, site}, 1, 1, "ip", text, filler, "DE", ""};
      rig.t.logGrid.Add({row, static_cast<int16_t>(i % 2)});
      rig.t.spiderGrid.Add({row, "engine"});
      rig.t.exGrid.Add({{now, site}, 404, i, text + filler});
    }
  }
  // A visit of so many pages to the first site, the visitor's newest.
  VisitorRec Visit(const std::string& ip, int count) {
    VisitorRec v = rig.Visitor(ip, "11:00:00");
    v.LastPageTime.s += ++next;
    v.StartTime = v.LastPageTime;
    rig.database->UpdateVisitor(v, false);
    rig.database->AddVisitToDatabase(v, "first.htm");
    See(v, count);
    return v;
  }
  void See(VisitorRec& v, int count) {
    for (int i = 0; i < count; ++i) {
      ++v.Pages;
      ++v.LastPageTime.s;
      v.Page = "page" + std::to_string(++next) + ".htm";
      rig.database->AddPageToDatabase(v);
    }
  }
  static std::string Rest(const PieceSource& source) {
    std::string text;
    while (source(text)) {
    }
    return text;
  }
  static size_t Times(std::string_view text, std::string_view what) {
    size_t times = 0;
    for (size_t at = 0; (at = text.find(what, at)) != std::string_view::npos; at += what.size()) ++times;
    return times;
  }
};

TEST_F(PiecesTest, PiecesAreShortAndTogetherTheWholePage) {
  Come(2, 6000);
  Come(1, 1000);
  AddDayRows(2, 1000);
  AddDayRows(1, 3000);
  rig.clock.now.s += 86400;
  AddDayRows(2, 2000);
  rig.t.Site(1).AlertDefinitions = 2;
  AlertRec& rule = rig.t.Alerts.emplace_back();
  rule.Site = rule.AlertNo = 1;
  rule.Name = "rule";
  for (const Page& page : kPages) {
    if (!page.pieces) continue;
    for (const char* domain :
         {"", "ALL", "www.one.example", "two.example", "no.example", "www.one.example&alertno=1"}) {
      const PieceSource source = page.pieces(pages, 1, domain);
      std::string text, piece;
      size_t longest = 0;
      for (bool more = true; more; text += piece) {
        piece.clear();
        more = source(piece);
        longest = std::max(longest, piece.size());
      }
      EXPECT_EQ(text, page.build(pages, 1, domain)) << page.operation << " " << domain;
      EXPECT_LT(longest, PagePieces::kPieceBytes + 10'000);
    }
  }
}

TEST_F(PiecesTest, WhoComesOrGoesMeanwhileLeavesThePageWhole) {
  Come(1, 5000);
  const PieceSource source = VisitorsTablePieces(pages, 1, "ALL");
  std::string page;
  EXPECT_TRUE(source(page));
  const size_t rows = Times(page, "><ip");
  EXPECT_GT(rows, 20u);
  EXPECT_LT(rows, 500u);
  Leave(1, 4000);  // Most of them unseen.
  Come(1, 300);
  clients[1] = {};  // The slot has another client by now.
  page += Rest(source);
  EXPECT_EQ(Times(page, "><ip"), rows + 1000);
  EXPECT_EQ(Times(page, "<ip5000>"), 1u);
  EXPECT_EQ(Times(page, "<ip5001>"), 0u) << "came after its table had begun";
  const std::string count = std::to_string(rows + 1000);
  EXPECT_TRUE(Contains(page, count + " Active Visitors</font>")) << "as many as are shown";
  EXPECT_TRUE(Contains(page, count + " Total Active Visitors"));
  EXPECT_EQ(Times(page, "\"/path?SITES\""), 2u);
  EXPECT_TRUE(page.ends_with("</HTML>\r\n"));
}

TEST_F(PiecesTest, AVisitOfManyPagesComesInPieces) {
  VisitorRec v = Visit("10.0.0.1", 3'000);
  Visit("10.0.0.2", 10);
  const std::string argument = "www.one.example:10.0.0.1!" + std::to_string(v.VisitCount);
  const PieceSource source = FindPage("VISITOR").pieces(pages, 1, argument);
  std::string page, piece;
  for (bool more = true; more; page += piece) {
    piece.clear();
    more = source(piece);
    EXPECT_LT(piece.size(), PagePieces::kPieceBytes + 10'000);
    // What others ask and store in between moves the table.
    Rest(FindPage("VISITOR").pieces(pages, 2, "www.one.example:10.0.0.2!1"));
    Visit("10.0.0.2", 1);
    clients[1] = {};
  }
  EXPECT_EQ(Times(page, "<tr>"), 3'000u + Times(VisitorDetailsTable(pages, 1, "www.one.example:10.0.0.9!1"), "<tr>"));
  EXPECT_TRUE(Contains(page, ">3000 Pages Visted "));
  EXPECT_TRUE(Contains(page, "/path?PREVIOUS&domain=www.one.example:10.0.0.1"));
  EXPECT_TRUE(page.ends_with("</HTML>\r\n"));
}

TEST_F(PiecesTest, ManyVisitsOfAnAddressComeInPieces) {
  for (int i = 0; i < 700; ++i) Visit("10.0.0.1", 1);
  const PieceSource source = FindPage("PREVIOUS").pieces(pages, 1, "www.one.example:10.0.0.1");
  std::string page, piece;
  int pieces = 0;
  for (bool more = true; more; page += piece, ++pieces) {
    piece.clear();
    more = source(piece);
    EXPECT_LT(piece.size(), PagePieces::kPieceBytes + 10'000);
    Visit("10.0.0.2", 1);
  }
  EXPECT_GT(pieces, 2);
  EXPECT_TRUE(Contains(page, ">700 Previous Visits"));
  EXPECT_EQ(page, PreviousVisitsTable(pages, 1, "www.one.example:10.0.0.1"));
}

TEST_F(PiecesTest, ThoseWhoComeAreNotShownAndNotCounted) {
  Come(1, 5000);
  const PieceSource source = VisitorsTablePieces(pages, 1, "www.one.example");
  std::string page;
  EXPECT_TRUE(source(page));
  Come(1, 10);
  page += Rest(source);
  EXPECT_EQ(Times(page, "><ip"), 5000u);
  EXPECT_TRUE(Contains(page, "5000 Active Visitors."));
}

TEST_F(PiecesTest, AListOfManyWhoAllLeaveEnds) {
  Come(1, 5000);
  const PieceSource source = VisitorsListPieces(pages, 1, "");
  std::string list;
  EXPECT_TRUE(source(list));
  const size_t lines = Times(list, "\n");
  Leave(1, 5000);
  Come(1, 10'000);
  list += Rest(source);
  EXPECT_EQ(Times(list, "\n"), lines);
}

TEST_F(PiecesTest, EachDayPageGoesOutInPieces) {
  AddDayRows(1, 3000);
  for (const char* command : {"ALERTS", "ALERTSTABLE", "SPIDERS", "EXCEPT"}) {
    const PieceSource source = FindPage(command).pieces(pages, 1, "www.one.example");
    std::string piece;
    EXPECT_TRUE(source(piece)) << command;
    EXPECT_LT(piece.size(), PagePieces::kPieceBytes + 10'000) << command;
    const size_t first = Times(piece, "<row");
    EXPECT_GT(first, 20u) << command;
    clients[1] = {};  // The slot has another client by now.
    AddDayRows(1, 10);
    const std::string rest = Rest(source);
    EXPECT_EQ(first + Times(rest, "<row"), static_cast<size_t>(next - 10)) << command << ": came after its beginning";
    EXPECT_TRUE(Contains(rest, std::to_string(next - 10) + " ")) << command;
    EXPECT_TRUE(Contains(rest, "\"/path?SITES\"")) << command;
    EXPECT_TRUE(rest.ends_with("</HTML>\r\n")) << command;
    clients[1].Path = "/path";
  }
}

TEST_F(PiecesTest, RowsOfADayThatAreDroppedMeanwhileAreNotShown) {
  AddDayRows(1, 3000);
  const PieceSource source = ExceptionsTablePieces(pages, 1, "www.one.example");
  std::string page;
  EXPECT_TRUE(source(page));
  const size_t shown = Times(page, "<row");
  for (size_t i = 0; rig.t.exGrid.FirstNumber() < 2000; ++i)
    rig.t.exGrid.Add({{{1}, 2}, 404, 1, std::string(50'000, 'x')});
  page += Rest(source);
  const size_t left = 3000 - rig.t.exGrid.FirstNumber();
  EXPECT_GT(left, 500u);
  EXPECT_EQ(Times(page, "<row"), shown + left);
  EXPECT_EQ(Times(page, "<row3000>"), 1u);
  EXPECT_TRUE(Contains(page, std::to_string(shown + left) + " Exceptions Raised Today<"));
}

TEST_F(PiecesTest, APageThatMeetsTheEndOfTheDayKeepsItsRowsAndEnds) {
  AddDayRows(1, 3000);
  const PieceSource source = ExceptionsTablePieces(pages, 1, "www.one.example");
  const PieceSource cleared = ExceptionsTablePieces(pages, 1, "www.one.example");
  std::string page, short_page;
  EXPECT_TRUE(source(page) && cleared(short_page));
  rig.clock.now.s += 86400;
  page += Rest(source);
  EXPECT_EQ(Times(page, "<row"), 3000u) << "of the day on which it began";
  const size_t shown = Times(short_page, "<row");
  rig.t.exGrid.Clear();
  AddDayRows(1, 5000);
  short_page += Rest(cleared);
  EXPECT_EQ(Times(short_page, "<row"), shown);
  EXPECT_TRUE(Contains(short_page, std::to_string(shown) + " Exceptions Raised Today<"));
}

TEST_F(PiecesTest, AFailureIsToldAndEndsThePage) {
  auto page = std::make_shared<PagePieces>(pages, "Interface.Test");
  page->Text() << "head ";
  page->Add([](PageText&) -> bool { throw std::runtime_error("no memory"); });
  page->Add([](PageText& text) {
    text << "end";
    return false;
  });
  EXPECT_EQ(WholeText(SourceOf(page)), "head ");
  EXPECT_TRUE(Contains(rig.program_log, "Interface.Test"));
}

TEST_F(PiecesTest, AFailedPartShowsWhatItHasWrittenAndEndsThePage) {
  auto page = std::make_shared<PagePieces>(pages, "Interface.Test");
  page->AddOnce([](PageText& text) {
    text << "some ";
    return Status::Error(Fail::kIo, "the disk is gone");
  });
  page->AddOnce([](PageText& text) {
    text << "end";
    return Status::Ok();
  });
  EXPECT_EQ(WholeText(SourceOf(page)), "some ");
  EXPECT_TRUE(Contains(rig.program_log, "the disk is gone"));
}

}  // namespace
}  // namespace vantry
