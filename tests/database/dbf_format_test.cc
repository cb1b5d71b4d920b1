// The bytes of the dBase III format: headers to the bit, hostile headers, and values in and out of fields.
#include "database/dbf_format.h"

#include <functional>

#include <gtest/gtest.h>

#include "core/text.h"

namespace vantry {
namespace {

RowLayout Layout(const std::vector<std::string>& fields) {
  RowLayout layout;
  const Status status = ParseFields(fields, layout);
  EXPECT_TRUE(status.ok()) << status.text;
  return layout;
}

std::string Hex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<uint8_t>(c);
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

// One field of each type, as other programs expect the bytes.
constexpr const char* kGolden =
    "03"        // dBase III without memo fields.
    "7e0305"    // 5 March 2026.
    "04030201"  // 16,909,060 rows.
    "8100"      // The first row begins after 129 bytes.
    "1700"      // 23 bytes a row.
    "0000000000000000000000000000000000"
    "030000"                  // Windows-1252.
    "5265636f72644e6f000000"  // "RecordNo"
    "4300000000"
    "0900"
    "0000000000000000000000000000"
    "4e756d6265720000000000"  // "Number"
    "4e00000000"
    "0500"
    "0000000000000000000000000000"
    "4461746564000000000000"  // "Dated"
    "4400000000"
    "0800"
    "0000000000000000000000000000"
    "0d";

TEST(DbfHeader, StandsAsOtherProgramsExpectIt) {
  const RowLayout layout = Layout({"RecordNo|C|9", "Number|N|5", "Dated|D|8"});
  EXPECT_EQ(layout.row_bytes, 23u);
  EXPECT_EQ(Hex(BuildHeader(layout, *MakeDay(2026, 3, 5), 0x01020304)), kGolden);
}

TEST(DbfHeader, TheDateOfTheLastUpdateIsHeldInOneByteForTheYear) {
  struct Case {
    int year, month, day;
    const char* bytes;
  };
  for (const Case& c : {Case{1900, 1, 1, "000101"}, Case{1999, 12, 31, "630c1f"}, Case{2000, 2, 29, "64021d"},
                        Case{2155, 6, 7, "ff0607"}, Case{2156, 6, 7, "ff0607"}, Case{1899, 12, 31, "000c1f"}}) {
    const std::string bytes = BuildDateAndCount(*MakeDay(c.year, c.month, c.day), 5);
    EXPECT_EQ(Hex(bytes), std::string(c.bytes) + "05000000") << c.year;
  }
}

TEST(DbfHeader, IsReadAsItWasWritten) {
  for (const uint32_t rows : {0u, 1u, 255u, 65536u, 0xFFFFFFFFu}) {
    RowLayout layout = Layout({"RecordNo|C|9", "A|N|19", "Dated|D|8", "Long_name1|C|254"});
    layout.fields[1].decimals = 3;
    const std::string bytes = BuildHeader(layout, *MakeDay(2026, 3, 5), rows);
    TableHeader header;
    ASSERT_TRUE(ParseHeader(bytes + "rows behind", header).ok());
    EXPECT_EQ(header.rows, rows);
    EXPECT_EQ(header.header_bytes, bytes.size());
    EXPECT_EQ(header.layout.row_bytes, layout.row_bytes);
    EXPECT_EQ(FirstDifference(layout, header.layout), "");
    for (size_t i = 0; i < layout.fields.size(); ++i)
      EXPECT_EQ(header.layout.fields[i].offset, layout.fields[i].offset);
  }
}

struct Damage {
  const char* what;
  std::function<void(std::string&)> change;
  const char* told;
};

void Put16(std::string& bytes, size_t place, int number) {
  bytes[place] = static_cast<char>(number & 255);
  bytes[place + 1] = static_cast<char>(number >> 8);
}

TEST(DbfHeader, WhatIsNoTableIsRefusedWithTheReason) {
  const std::string whole = BuildHeader(Layout({"RecordNo|C|9", "Number|N|5"}), *MakeDay(2026, 3, 5), 1);
  const Damage damages[] = {
      {"empty", [](std::string& b) { b.clear(); }, "it has only 0 bytes"},
      {"cut in the first part", [](std::string& b) { b.resize(31); }, "it has only 31 bytes"},
      {"cut at the first field", [](std::string& b) { b.resize(32); }, "its header is cut"},
      {"cut before the end", [](std::string& b) { b.pop_back(); }, "its header is cut"},
      {"a memo file", [](std::string& b) { b[0] = '\x83'; }, "its first byte is 131 instead of 3"},
      {"another version", [](std::string& b) { b[0] = '\x30'; }, "its first byte is 48 instead of 3"},
      {"a header without fields", [](std::string& b) { Put16(b, 8, 0); }, "it has no fields"},
      {"a header of its first part", [](std::string& b) { Put16(b, 8, 32); }, "it has no fields"},
      {"no fields", [](std::string& b) { b[32] = '\r'; }, "it has no fields"},
      {"a header too long", [](std::string& b) { Put16(b, 8, 65535); }, "its header is cut"},
      {"no end of fields", [](std::string& b) { b.back() = 'x'; }, "its field list has no end"},
      {"a header that ends in a field", [](std::string& b) { Put16(b, 8, 80); }, "its field list has no end"},
      {"rows too long", [](std::string& b) { Put16(b, 10, 16); }, "take 15 bytes a row and its header says 16"},
      {"rows of no bytes", [](std::string& b) { Put16(b, 10, 0); }, "take 15 bytes a row and its header says 0"},
      {"a field too wide", [](std::string& b) { b[48] = '\xFF'; }, "take 261 bytes a row and its header says 15"},
  };
  for (const Damage& damage : damages) {
    std::string bytes = whole;
    damage.change(bytes);
    TableHeader header;
    const Status status = ParseHeader(bytes, header);
    EXPECT_EQ(status.fail, Fail::kBadData) << damage.what;
    EXPECT_TRUE(StartsWith(status.text, "is no dBase table: ")) << damage.what << ": " << status.text;
    EXPECT_TRUE(Contains(status.text, damage.told)) << damage.what << ": " << status.text;
  }
}

// Later programs put more after the field list, and the first row is where the header says.
TEST(DbfHeader, TheFirstRowStandsWhereTheHeaderSays) {
  std::string bytes = BuildHeader(Layout({"A|C|3"}), *MakeDay(2026, 3, 5), 2);
  bytes += std::string(263, 'x');
  Put16(bytes, 8, static_cast<int>(bytes.size()));
  TableHeader header;
  ASSERT_TRUE(ParseHeader(bytes, header).ok());
  EXPECT_EQ(header.header_bytes, bytes.size());
  EXPECT_EQ(header.layout.fields.size(), 1u);
}

TEST(DbfHeader, HoldsUpTo255Fields) {
  RowLayout layout;
  for (int i = 0; i < 256; ++i) layout.Add({"F" + std::to_string(i), 'C', 1, 0, 0});
  TableHeader header;
  EXPECT_FALSE(ParseHeader(BuildHeader(layout, Day{46000}, 0), header).ok());
  layout.fields.pop_back();
  --layout.row_bytes;
  EXPECT_TRUE(ParseHeader(BuildHeader(layout, Day{46000}, 0), header).ok());
  EXPECT_EQ(header.layout.fields.size(), 255u);
}

TEST(DbfFields, AreDeclaredAsNameTypeAndWidth) {
  const RowLayout layout = Layout({"RecordNo|C|9", "Visits|N|5", "Dated|D|8"});
  EXPECT_EQ(layout.Find("visits"), 1u);
  EXPECT_EQ(layout.Find("Visit"), std::nullopt);
  EXPECT_EQ(layout.fields[0].offset, 1u);
  EXPECT_EQ(layout.fields[2].offset, 15u);
  for (const char* text : {"", "A", "A|C", "A|C|", "A|C|0", "A|C|-1", "A|C|255", "A|C|x", "|C|9", "A|X|9", "A|CN|9",
                           "A||9", "A|D|7", "A|C|9|1", "ElevenChars|C|9", "A|C|99999999999999999999"}) {
    RowLayout none;
    const Status status = ParseFields({"B|C|1", text}, none);
    EXPECT_EQ(status.fail, Fail::kBadData) << text;
    EXPECT_EQ(status.text, "field \"" + std::string(text) + "\" can't be read");
  }
}

TEST(DbfFields, TheFirstDifferenceOfTwoListsIsTold) {
  const std::vector<std::string> wanted{"A|C|9", "B|N|5"};
  struct Case {
    std::vector<std::string> found;
    const char* told;
  };
  for (const Case& c :
       {Case{{"A|C|9", "B|N|5"}, ""}, Case{{"a|C|9", "b|N|5"}, ""}, Case{{"A|C|9"}, "field 2 (B|N|5) is missing"},
        Case{{"A|C|9", "B|N|5", "C|C|1"}, "field 3 (C|C|1) is one too many"},
        Case{{"A|C|8", "B|N|6"}, "field 1 is A|C|8 instead of A|C|9"},
        Case{{"A|C|9", "B|C|5"}, "field 2 is B|C|5 instead of B|N|5"},
        Case{{"B|N|5", "A|C|9"}, "field 1 is B|N|5 instead of A|C|9"}}) {
    EXPECT_EQ(FirstDifference(Layout(wanted), Layout(c.found)), c.told);
  }
  RowLayout decimals = Layout(wanted);
  decimals.fields[1].decimals = 2;
  EXPECT_EQ(FirstDifference(Layout(wanted), decimals), "field 2 is B|N|5.2 instead of B|N|5");
}

// Fields of a row between two others that must stay as they are.
struct Cell {
  RowLayout layout;
  std::string row;
  explicit Cell(const std::string& field) : layout(Layout({"L|C|2", "F" + field, "R|C|2"})) {
    row.assign(layout.row_bytes, '#');
  }
  const TableField& Field() const { return layout.fields[1]; }
  std::string Stored() const {
    EXPECT_EQ(row.substr(0, 3), "###");
    EXPECT_EQ(row.substr(row.size() - 2), "##");
    return row.substr(3, row.size() - 5);
  }
};

TEST(DbfValues, TextsAreCutOrFilled) {
  struct Case {
    std::string_view text, stored;
  };
  for (const Case& c :
       {Case{"", "     "}, Case{{}, "     "}, Case{"abc", "abc  "}, Case{"abcde", "abcde"}, Case{"abcdef", "abcde"},
        Case{" a ", " a   "}, Case{"\r\n\x1A", "\r\n\x1A  "}, Case{"\xFF\x80*", "\xFF\x80*  "}}) {
    Cell cell("|C|5");
    PutText(cell.Field(), c.text, cell.row.data());
    EXPECT_EQ(cell.Stored(), c.stored);
    EXPECT_EQ(FieldText(cell.Field(), cell.row.data()), c.stored);
  }
}

TEST(DbfRows, HolesAreToldByTheirZeros) {
  EXPECT_FALSE(HasHole(" text"));
  EXPECT_FALSE(HasHole("*text"));
  EXPECT_TRUE(HasHole(std::string_view(" te\0t", 5)));
  EXPECT_TRUE(HasHole(std::string_view("\0text", 5)));
  EXPECT_TRUE(HasHole("\x1Atext"));
}

TEST(DbfValues, NulsBecomeBlanks) {
  std::string row("\0a\0\0b*\0", 7);
  BlankNuls(row.data(), 6);
  EXPECT_EQ(row, std::string(" a  b*\0", 7));
  BlankNuls(row.data(), 6);
  EXPECT_EQ(row, std::string(" a  b*\0", 7));
}

TEST(DbfValues, NumbersStandAtTheRightAndNeverSpill) {
  struct Case {
    int64_t number;
    const char *stored3, *stored1, *stored20;
  };
  for (const Case& c :
       {Case{0, "  0", "0", "                   0"}, Case{7, "  7", "7", "                   7"},
        Case{999, "999", "*", "                 999"}, Case{1000, "***", "*", "                1000"},
        Case{-1, " -1", "*", "                  -1"}, Case{-99, "-99", "*", "                 -99"},
        Case{-100, "***", "*", "                -100"}, Case{INT64_MAX, "***", "*", " 9223372036854775807"},
        Case{INT64_MIN, "***", "*", "-9223372036854775808"}}) {
    for (const auto& [field, stored] : {std::pair{"|N|3", c.stored3}, {"|N|1", c.stored1}, {"|N|20", c.stored20}}) {
      Cell cell(field);
      PutNumber(cell.Field(), c.number, cell.row.data());
      EXPECT_EQ(cell.Stored(), stored) << c.number;
      if (Contains(stored, "*")) continue;
      EXPECT_EQ(FieldNumber(cell.Field(), cell.row.data()), c.number);
    }
  }
}

TEST(DbfValues, WhatIsNoNumberIsZeroAndAsterisksAreTheFirstNumberTooWide) {
  struct Case {
    const char* text;
    int64_t number;
  };
  for (const Case& c : {Case{"     ", 0}, Case{"12   ", 12}, Case{" 12  ", 12}, Case{"   12", 12}, Case{"  -12", -12},
                        Case{"*****", 100000}, Case{"  ***", 100000}, Case{"1*   ", 0}, Case{"abc  ", 0},
                        Case{"1.5  ", 2}, Case{"1 2  ", 0}, Case{"1e3  ", 1000}}) {
    Cell cell("|C|5");
    PutText(cell.Field(), c.text, cell.row.data());
    EXPECT_EQ(FieldNumber(cell.Field(), cell.row.data()), c.number) << c.text;
  }
  Cell wide("|N|200");
  PutText(wide.Field(), std::string(200, '*'), wide.row.data());
  EXPECT_EQ(FieldNumber(wide.Field(), wide.row.data()), 1'000'000'000'000'000'000);
}

TEST(DbfValues, DatesAreEightDigitsAndUnsetOnesBlank) {
  struct Case {
    Day day;
    const char* stored;
  };
  for (const Case& c :
       {Case{Day{}, "        "}, Case{*MakeDay(2026, 3, 5), "20260305"}, Case{*MakeDay(1899, 12, 31), "18991231"},
        Case{*MakeDay(9999, 12, 31), "99991231"}, Case{*MakeDay(1000, 1, 1), "10000101"},
        Case{Day{MakeDay(1000, 1, 1)->n - 1}, "        "}, Case{Day{MakeDay(9999, 12, 31)->n + 1}, "        "}}) {
    Cell cell("|D|8");
    PutDate(cell.Field(), c.day, cell.row.data());
    EXPECT_EQ(cell.Stored(), c.stored);
    const std::optional<Day> day = FieldDate(cell.Field(), cell.row.data());
    EXPECT_EQ(day, c.stored[0] == ' ' ? std::nullopt : std::optional(c.day));
  }
}

TEST(DbfValues, WhatIsNoDateIsEmpty) {
  for (const char* text : {"00000000", "20260230", "20261301", "2026030", "2026-3-5", " 2026030", "+2026305"}) {
    Cell cell("|D|8");
    PutText(cell.Field(), text, cell.row.data());
    EXPECT_EQ(FieldDate(cell.Field(), cell.row.data()), std::nullopt) << text;
  }
  Cell narrow("|C|7");
  PutText(narrow.Field(), "2026030", narrow.row.data());
  EXPECT_EQ(FieldDate(narrow.Field(), narrow.row.data()), std::nullopt);
}

}  // namespace
}  // namespace vantry
