#include "notify/grid_to_html.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/golden.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

// Texts by row and column, and a say in everything else.
struct TestGrid final : ReportGrid {
  std::vector<std::vector<std::string>> texts;
  std::map<int, int> widths, heights;  // Those that are not the usual ones.
  std::map<int, bool> hidden_rows, hidden_columns;
  std::map<int, GridAlign> aligns;
  std::map<int, GridData> data;
  std::map<std::pair<int, int>, GridFont> fonts;
  std::map<std::pair<int, int>, bool> checked;
  std::map<int, int> levels;
  std::vector<GridRange> merged;
  std::optional<int> outline_column;
  int fixed_rows = 1, fixed_columns = 0, client_width = 0;

  template <class Map, class Key, class Value>
  static Value At(const Map& map, const Key& key, Value otherwise) {
    const auto it = map.find(key);
    return it == map.end() ? otherwise : Value(it->second);
  }
  int Rows() const override { return static_cast<int>(texts.size()); }
  int Columns() const override { return texts.empty() ? 2 : static_cast<int>(texts[0].size()); }
  std::string Text(int r, int c) const override { return texts[static_cast<size_t>(r)][static_cast<size_t>(c)]; }
  int FixedRows() const override { return fixed_rows; }
  int FixedColumns() const override { return fixed_columns; }
  bool RowHidden(int r) const override { return At(hidden_rows, r, false); }
  bool ColumnHidden(int c) const override { return At(hidden_columns, c, false); }
  int RowHeight(int r) const override { return At(heights, r, 240); }
  int ColumnWidth(int c) const override { return At(widths, c, 1'000); }
  int ClientWidth() const override { return client_width; }
  GridRange Merged(int r, int c) const override {
    for (const GridRange& m : merged) {
      if (r >= m.top && r <= m.bottom && c >= m.left && c <= m.right) return m;
    }
    return {r, c, r, c};
  }
  GridFont Font(int r, int c) const override { return At(fonts, std::pair(r, c), GridFont{}); }
  GridAlign Alignment(int c) const override { return At(aligns, c, GridAlign::kGeneral); }
  GridData DataType(int c) const override { return At(data, c, GridData::kOther); }
  bool Checked(int r, int c) const override { return At(checked, std::pair(r, c), false); }
  std::optional<int> OutlineColumn() const override { return outline_column; }
  std::optional<int> OutlineLevel(int r) const override {
    const auto it = levels.find(r);
    return it == levels.end() ? std::nullopt : std::optional(it->second);
  }
};

std::string Html(const ReportGrid& grid, const ReportPart& part = {"Title", "Caption"}) {
  std::string out;
  EXPECT_TRUE(WriteGridHTML(grid, part, [&out](std::string_view bytes) {
                out += bytes;
                return Status::Ok();
              }).ok());
  return out;
}

// The cells of a report without rows and table around them.
std::vector<std::string> Cells(const ReportGrid& grid) {
  std::vector<std::string> cells;
  const std::string html = Html(grid);
  for (const std::string_view line : Split(html, '\n')) {
    if (StartsWith(line, "<TD")) cells.emplace_back(line.substr(0, line.size() - 1));
  }
  return cells;
}

// One cell that is not fixed, in the first of two columns of the same width.
std::string Cell(TestGrid grid, const std::string& text) {
  grid.fixed_rows = 0;
  grid.texts = {{text, ""}};
  return Cells(grid).at(0);
}

TEST(GridToHTML, AnEmptyGridIsATableWithoutRows) {
  EXPECT_EQ(Html(TestGrid()),
            "<HTML>\r\n<HEAD>\r\n<META HTTP-EQUIV=\"Content-Type\" CONTENT=\"text/html;charset=windows-1252\">\r\n"
            "<META NAME=\"Generator\" CONTENT=\"Vantry\">\r\n<TITLE>Vantry</TITLE>\r\n</HEAD>\r\n<BODY>\r\n\r\n"
            "<p><font face=\"Arial\"><b>Title</b><br>\r\nCaption</font><br>\r\n"
            "<TABLE BORDER=\"1\" CELLSPACING=\"0\" CELLPADDING=\"3\" VALIGN=\"CENTER\" BGCOLOR=\"#FFFFFF\" "
            "BORDERCOLOR=\"#D4D0C8\" STYLE=\"font-family:   MS Sans Serif, Tahoma; font-size: 8pt; "
            "border: 0px solid #000000; ; border-collapse:collapse\">\r\n"
            "</TABLE>\r\n\r\n\r\n</BODY>\r\n</HTML>");
}

TEST(GridToHTML, ARowIsALineForEachCell) {
  TestGrid grid;
  grid.fixed_rows = 0;
  grid.texts = {{"a", "b"}};
  EXPECT_TRUE(
      Contains(Html(grid),
               "collapse\">\r\n<TR>\r\n<TD WIDTH=\"50%\">a</TD>\r\n<TD WIDTH=\"50%\">b</TD>\r\n</TR><P>\r\n</TABLE>"))
      << Html(grid);
}

TEST(GridToHTML, EverythingAtOnce) {
  TestGrid grid;
  grid.fixed_rows = 2;
  grid.fixed_columns = 1;
  grid.texts = {{"Merged over all", "", "", "", "", ""},
                {"No", "Name", "Open", "When", "Address", "Hidden"},
                {"1", "Group <one>", "-1", "3/9/2004", "http://a.example/?x=1&y=2", "x"},
                {"2", "Below & one", "0", "3/10/2004", "https://b.example/\"q\"", "x"},
                {"3", "a hidden row", "0", "", "", "x"},
                {"4", "no height", "0", "", "", "x"},
                {"5", "tall", "-1", "12", "1,234.50", "x"},
                {"6", "swallowed", "0", "", "-1", "x"}};
  grid.merged = {{0, 0, 0, 5}, {6, 1, 7, 1}};
  grid.widths = {{0, 300}, {1, 2'000}, {2, 500}, {3, 1'200}, {4, 3'000}};
  grid.hidden_rows = {{4, true}};
  grid.heights = {{5, 0}};
  grid.hidden_columns = {{5, true}};
  grid.data = {{2, GridData::kBoolean}, {3, GridData::kDate}};
  grid.checked = {{{2, 2}, true}, {{6, 2}, true}};
  grid.fonts = {{{2, 1}, {.italic = true}}, {{3, 1}, {.bold = true, .italic = true, .underline = true}}};
  grid.outline_column = 1;
  grid.levels = {{2, 1}, {3, 2}};
  grid.client_width = 6'000;  // Narrower than the columns: does not count.
  CheckGoldenFile("reports/synthetic.htm", Html(grid, {"Synthetic", "All that a grid can be"}));
}

TEST(GridToHTML, AHiddenColumnLeavesNoCellAndTheOthersAsTheyAre) {
  TestGrid grid;
  grid.fixed_rows = 0;
  grid.texts = {{"a", "b", "c", "d"}};
  grid.hidden_columns = {{1, true}};
  grid.widths = {{2, 0}, {3, 2'000}};
  EXPECT_EQ(Cells(grid), (std::vector<std::string>{"<TD WIDTH=\"25%\">a</TD>", "<TD WIDTH=\"50%\">d</TD>"}));
}

TEST(GridToHTML, HiddenAndFlatRowsAreLeftOut) {
  TestGrid grid;
  grid.fixed_rows = 0;
  grid.texts = {{"a"}, {"b"}, {"c"}};
  grid.hidden_rows = {{0, true}};
  grid.heights = {{1, 0}};
  EXPECT_EQ(Cells(grid), (std::vector<std::string>{"<TD WIDTH=\"100%\">c</TD>"}));
}

TEST(GridToHTML, WidthsAreWholePercentOfTheWiderOfColumnsAndPlace) {
  TestGrid grid;
  grid.widths = {{0, 1}, {1, 199}};
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"1%\">a</TD>");  // Half a percent is one.
  grid.widths = {{0, 1}, {1, 200}};
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"%\">a</TD>");
  grid.client_width = 2;
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"%\">a</TD>");
  grid = {};
  grid.client_width = 4'000;
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"25%\">a</TD>");
}

TEST(GridToHTML, AMergedRangeIsItsFirstCellWithTheWidthOfAllItsColumns) {
  TestGrid grid;
  grid.fixed_rows = 0;
  grid.texts = {{"a", "b", "c", "d"}, {"e", "f", "g", "h"}, {"i", "j", "k", "l"}};
  grid.merged = {{0, 0, 1, 1}, {1, 2, 1, 3}, {2, 2, 2, 9}};
  EXPECT_EQ(Cells(grid), (std::vector<std::string>{"<TD WIDTH=\"50%\" COLSPAN=2 ROWSPAN=2>a</TD>",
                                                   "<TD WIDTH=\"25%\">c</TD>", "<TD WIDTH=\"25%\">d</TD>",
                                                   "<TD WIDTH=\"50%\" COLSPAN=2>g</TD>", "<TD WIDTH=\"25%\">i</TD>",
                                                   "<TD WIDTH=\"25%\">j</TD>", "<TD WIDTH=\"50%\" COLSPAN=8>k</TD>"}));
  // Hidden columns inside a range count, and a range that begins in one is not shown.
  grid.merged = {{0, 0, 0, 2}};
  grid.hidden_columns = {{1, true}};
  EXPECT_EQ(Cells(grid)[0], "<TD WIDTH=\"75%\" COLSPAN=3>a</TD>");
  grid.hidden_columns = {{0, true}};
  EXPECT_EQ(Cells(grid)[0], "<TD WIDTH=\"25%\">d</TD>");
}

TEST(GridToHTML, FixedCellsAreRaisedAndBold) {
  const std::string raised =
      "<TD WIDTH=\"50%\" BGCOLOR=\"#D4D0C8\" BORDERCOLOR=\"#808080\" BORDERCOLORLIGHT=\"#808080\" "
      "BORDERCOLORDARK=\"#FFFFFF\" HEIGHT=\"25\"><B>";
  TestGrid grid;
  grid.fixed_columns = 1;
  grid.texts = {{"a", "b"}, {"c", "d"}};
  grid.fonts = {{{0, 0}, {.bold = true, .underline = true}}};
  EXPECT_EQ(Cells(grid), (std::vector<std::string>{raised + "<U>a</U></B></TD>", raised + "b</B></TD>",
                                                   raised + "c</B></TD>", "<TD WIDTH=\"50%\">d</TD>"}));
}

TEST(GridToHTML, EachAlignmentHasItsAttributes) {
  const std::pair<GridAlign, const char*> cases[] = {{GridAlign::kLeftTop, " VALIGN=TOP"},
                                                     {GridAlign::kLeft, ""},
                                                     {GridAlign::kLeftBottom, " VALIGN=BOTTOM"},
                                                     {GridAlign::kCentreTop, " ALIGN=CENTER VALIGN=TOP"},
                                                     {GridAlign::kCentre, " ALIGN=CENTER"},
                                                     {GridAlign::kCentreBottom, " ALIGN=CENTER VALIGN=BOTTOM"},
                                                     {GridAlign::kRightTop, " ALIGN=RIGHT VALIGN=TOP"},
                                                     {GridAlign::kRight, " ALIGN=RIGHT"},
                                                     {GridAlign::kRightBottom, " ALIGN=RIGHT VALIGN=BOTTOM"}};
  for (const auto& [align, attributes] : cases) {
    TestGrid grid;
    grid.aligns = {{0, align}};
    // The column's own setting counts, whatever the data.
    for (const GridData data : {GridData::kOther, GridData::kDate, GridData::kBoolean}) {
      grid.data = {{0, data}};
      EXPECT_EQ(Cell(grid, "12"), "<TD WIDTH=\"50%\"" + std::string(attributes) + ">12</TD>");
    }
  }
}

TEST(GridToHTML, TheGeneralAlignmentGoesByTheData) {
  TestGrid grid;
  EXPECT_EQ(Cell(grid, "12.5"), "<TD WIDTH=\"50%\" ALIGN=RIGHT>12.5</TD>");
  EXPECT_EQ(Cell(grid, "-12"), "<TD WIDTH=\"50%\">-12</TD>");
  EXPECT_EQ(Cell(grid, "10.0.0.7"), "<TD WIDTH=\"50%\">10.0.0.7</TD>");
  EXPECT_EQ(Cell(grid, "text"), "<TD WIDTH=\"50%\">text</TD>");
  EXPECT_EQ(Cell(grid, ""), "<TD WIDTH=\"50%\" ALIGN=RIGHT>&nbsp;</TD>");
  grid.data = {{0, GridData::kDate}};
  EXPECT_EQ(Cell(grid, "12"), "<TD WIDTH=\"50%\">12</TD>");
  grid.data = {{0, GridData::kBoolean}};
  EXPECT_EQ(Cell(grid, "12"), "<TD WIDTH=\"50%\" ALIGN=CENTER>12</TD>");
}

TEST(GridToHTML, ACheckedCellOfABooleanColumnIsY) {
  TestGrid grid;
  grid.checked = {{{0, 0}, true}};
  EXPECT_EQ(Cell(grid, "-1"), "<TD WIDTH=\"50%\">-1</TD>");
  grid.data = {{0, GridData::kBoolean}};
  EXPECT_EQ(Cell(grid, "-1"), "<TD WIDTH=\"50%\" ALIGN=CENTER>Y</TD>");
  grid.checked.clear();
  EXPECT_EQ(Cell(grid, "False"), "<TD WIDTH=\"50%\" ALIGN=CENTER>False</TD>");
}

TEST(GridToHTML, TheOutlineIndentsItsNodesInItsColumnAlone) {
  const std::string level = "&nbsp&nbsp&nbsp&nbsp";
  TestGrid grid;
  grid.levels = {{0, 2}};
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"50%\">a</TD>");
  grid.outline_column = 1;
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"50%\">a</TD>");
  grid.outline_column = 0;
  grid.fonts = {{{0, 0}, {.italic = true}}};
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"50%\"><I>" + level + level + "a</I></TD>");
  grid.levels = {{0, 0}};
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"50%\"><I>a</I></TD>");
  grid.levels.clear();
  EXPECT_EQ(Cell(grid, "a"), "<TD WIDTH=\"50%\"><I>a</I></TD>");
}

TEST(GridToHTML, TextsAreEscapedAndWebAddressesAreLinks) {
  const std::pair<const char*, const char*> cases[] = {
      {"<b>&amp;\"'", "&lt;b&gt;&amp;amp;\"'"},
      {"http://a/?b&c", "<a href=\"http://a/?b&amp;c\">http://a/?b&amp;c</a>"},
      {"https://a/", "<a href=\"https://a/\">https://a/</a>"},
      // A quote must not end the attribute.
      {"http://a/\" onclick=\"x", "<a href=\"http://a/&quot; onclick=&quot;x\">http://a/\" onclick=\"x</a>"},
      {"http://a/<b>", "<a href=\"http://a/&lt;b&gt;\">http://a/&lt;b&gt;</a>"},
      {"HTTP://a/", "HTTP://a/"},
      {" http://a/", " http://a/"},
      {"javascript:x", "javascript:x"},
      {"ftp://a/", "ftp://a/"},
      {"\xE9\x80\x01", "\xE9\x80\x01"}};
  for (const auto& [text, html] : cases) {
    EXPECT_EQ(Cell({}, text), "<TD WIDTH=\"50%\">" + std::string(html) + "</TD>");
  }
}

TEST(GridToHTML, PartsFollowEachOtherInOneFile) {
  MemoryFiles files;
  files.Put("/p/a.htm", "old");
  TestGrid grid;
  EXPECT_TRUE(GridToHTML(grid, files, "/p/a.htm", {"One", "1"}).ok());
  const std::string first = files.Get("/p/a.htm");
  EXPECT_TRUE(GridToHTML(grid, files, "/p/a.htm", {"Two", "2", true, false}).ok());
  const std::string second = files.Get("/p/a.htm");
  EXPECT_TRUE(GridToHTML(grid, files, "/p/a.htm", {"Three", "3", true, true}).ok());
  const std::string third = files.Get("/p/a.htm");
  EXPECT_TRUE(StartsWith(first, "<HTML>\r\n"));
  EXPECT_TRUE(first.ends_with("</BODY>\r\n</HTML>"));
  EXPECT_TRUE(StartsWith(second, first + "<p><font face=\"Arial\"><b>Two</b><br>\r\n2</font><br>\r\n<TABLE"));
  EXPECT_TRUE(second.ends_with("</TABLE>\r\n\r\n"));
  EXPECT_TRUE(StartsWith(third, second + "<p><font face=\"Arial\"><b>Three</b>"));
  EXPECT_TRUE(third.ends_with("</TABLE>\r\n\r\n\r\n</BODY>\r\n</HTML>"));
}

TEST(GridToHTML, AFileThatCantBeOpenedAsksForNoCell) {
  struct NoCells final : ReportGrid {
    int Rows() const override { return 1; }
    int Columns() const override { return 1; }
    std::string Text(int, int) const override {
      ADD_FAILURE();
      return {};
    }
  };
  MemoryFiles files;
  files.fails = [](const std::string& call) { return call == "append /p/a.htm"; };
  const Status status = GridToHTML(NoCells(), files, "/p/a.htm", {"One", "1"});
  EXPECT_TRUE(Contains(status.text, "/p/a.htm")) << status.text;
  files.fails = [](const std::string& call) { return call == "remove /p/a.htm"; };
  EXPECT_FALSE(GridToHTML(NoCells(), files, "/p/a.htm", {"One", "1"}).ok());
}

TEST(GridToHTML, AFullDiskEndsIt) {
  TestGrid grid;
  grid.texts.assign(100, {std::string(10'000, 'x'), ""});
  MemoryFiles files;
  int pieces = 0;
  files.fails = [&pieces](const std::string& call) { return StartsWith(call, "append") && ++pieces == 3; };
  EXPECT_FALSE(GridToHTML(grid, files, "/p/a.htm", {"One", "1"}).ok());
  EXPECT_EQ(pieces, 3);
}

TEST(GridToHTML, GoesOutInBoundedPieces) {
  TestGrid grid;
  grid.texts.assign(2'000, {std::string(1'000, '<'), "b"});
  size_t longest = 0, total = 0;
  EXPECT_TRUE(WriteGridHTML(grid, {"T", "C"}, [&](std::string_view bytes) {
                longest = std::max(longest, bytes.size());
                total += bytes.size();
                return Status::Ok();
              }).ok());
  EXPECT_GT(total, 8'000'000u);
  EXPECT_LT(longest, kReportPiece + 10'000);
}

TEST(EscapeHTML, ThreeCharactersAndNothing) {
  EXPECT_EQ(EscapeHTML("a<b>&amp;\""), "a&lt;b&gt;&amp;amp;\"");
  EXPECT_EQ(EscapeHTML(""), "&nbsp;");
  EXPECT_EQ(EscapeHTML("&<"), "&amp;&lt;");
}

TEST(IsNumberText, DigitsCommasAndOnePoint) {
  for (const char* text : {"", " ", "0", "12", " 12 ", "1,234.5", ".", ",", "1.", ",,,"}) {
    EXPECT_TRUE(IsNumberText(text)) << text;
  }
  for (const char* text : {"-1", "+1", "1-", "1.2.3", "1 2", "1e5", "\t1", "a"})
    EXPECT_FALSE(IsNumberText(text)) << text;
}

TEST(HTMLAnchor, ShowsTextOrAddress) {
  EXPECT_EQ(HTMLAnchor("http://a/", "text"), "<a href=\"http://a/\">text</a>");
  EXPECT_EQ(HTMLAnchor("http://a/", ""), "<a href=\"http://a/\">http://a/</a>");
  EXPECT_EQ(HTMLAnchor("http://a/", "0"), "<a href=\"http://a/\">&nbsp;</a>");
  EXPECT_EQ(HTMLAnchor("0", ""), "<a href=\"0\">&nbsp;</a>");
  EXPECT_EQ(HTMLAnchor("", "text"), "");
}

}  // namespace
}  // namespace vantry
