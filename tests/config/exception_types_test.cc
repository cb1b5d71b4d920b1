#include "config/exception_types.h"

#include <string>

#include <gtest/gtest.h>

#include "config/golden.h"
#include "core/exception_numbers.h"
#include "core/text.h"

namespace vantry {
namespace {

using Types = std::vector<ExceptionType>;

const ExceptionType& Of(const Types& types, int16_t number) {
  for (const ExceptionType& t : types) {
    if (t.Number == number) return t;
  }
  throw std::out_of_range("no type " + std::to_string(number));
}

TEST(ExceptionTypes, Defaults_AreRaisedAndTellTwoLevelsApart) {
  Types types;
  AddDefaultExTypes(types);
  ASSERT_EQ(types.size(), 47u);
  for (const ExceptionType& t : types) {
    EXPECT_TRUE(t.Raise);
    EXPECT_EQ(t.EventLevel, 4);
    EXPECT_FALSE(t.SMS || t.NetMsg || t.EventLog || t.RunProgram);
    // Twelve texts have lost their closing bracket, which readers know.
    EXPECT_EQ(t.Description.find('[') != std::string::npos && t.Description.find(']') == std::string::npos,
              t.Number >= 406 && t.Number <= 417);
  }
  EXPECT_EQ(Of(types, kExActiveVisitors).Description, Of(types, kExManyActiveVisitors).Description);
  EXPECT_EQ(Of(types, kExActiveVisitors).Value, "100");
  EXPECT_EQ(Of(types, kExManyActiveVisitors).Value, "200");
  EXPECT_FALSE(Of(types, kExActiveVisitors).Email);
  EXPECT_TRUE(Of(types, kExManyActiveVisitors).Email);
  EXPECT_FALSE(Of(types, kExUnknownBrowser).Email);
  EXPECT_TRUE(Of(types, kExUnknownSpider).Email);
}

TEST(ExceptionTypes, Defaults_OverwriteTypesOfTheSameNumber) {
  Types types(1);
  types[0].Number = 404;
  types[0].Email = false;
  types[0].NetDNS = "x";
  AddDefaultExTypes(types);
  EXPECT_EQ(types.size(), 47u);
  EXPECT_EQ(types[0].NetDNS, "");
  EXPECT_TRUE(types[0].Email);
}

TEST(ExceptionTypes, AddExType_LeavesTheEventLogFlagAlone) {
  Types types(1);
  ExceptionType& t = types[0];
  t = {7, "old", "3", false, false, "a", true, "b", true, "c", true, 1, true, "d"};
  AddExType(types, 7, "new", true, true);
  ASSERT_EQ(types.size(), 1u);
  EXPECT_EQ(t.Description, "new");
  EXPECT_EQ(t.Value, "");
  EXPECT_TRUE(t.Raise && t.Email && t.EventLog);
  EXPECT_EQ(t.EventLevel, 4);
  EXPECT_EQ(t.EmailAddress + t.SMSNumber + t.NetDNS + t.Run, "");
  EXPECT_FALSE(t.SMS || t.NetMsg || t.RunProgram);
  AddExType(types, 8, "x", false, false, "005");
  ASSERT_EQ(types.size(), 2u);
  EXPECT_EQ(types[1].Value, "5");
  EXPECT_FALSE(types[1].EventLog);
}

TEST(ExceptionTypes, Value_KeepsTextAndShortensWholeNumbers) {
  struct Case {
    const char* name;
    const char* text;
    const char* want;
  };
  const Case cases[] = {{"number", "10", "10"},
                        {"zeros in front", "0010", "10"},
                        {"blank in front", " 10", "10"},
                        {"minus", "-5", "-5"},
                        {"text", "ten", "ten"},
                        {"empty", "", ""},
                        {"fraction", "2.5", "2.5"},
                        {"small fraction", "1e-1", "1e-1"},
                        {"number and text", "10 a", "10 a"},
                        {"address", "10.0.0.7", "10.0.0.7"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Types types;
    EXPECT_FALSE(ReadExTypes("Number=1\r\nValue=" + std::string(c.text) + "\r\n\r\n", types));
    EXPECT_EQ(types.at(0).Value, c.want);
  }
}

TEST(ExceptionTypes, EveryLine_IsReadAndWrittenBack) {
  const std::string block =
      "[Exception Types]\r\n[901]\r\nNumber=901\r\nDescription= Text = [value]\r\nValue=a b\r\nRaise=True\r\n"
      "EventLog=True\r\nEventLevel= 2\r\nEmail=True\r\nEmailAddress=a@b\r\nSMS=True\r\nSMSNumber=12\r\nNetMsg=True\r\n"
      "NetDNS=host\r\nRunProgram=True\r\nRun=/bin/x\r\n\r\n\r\n";
  Types types;
  EXPECT_FALSE(ReadExTypes(block, types));
  ASSERT_EQ(types.size(), 1u);
  const ExceptionType& t = types[0];
  EXPECT_EQ(t.Number, 901);
  EXPECT_EQ(t.Description, " Text = [value]");
  EXPECT_EQ(t.Value, "a b");
  EXPECT_TRUE(t.Raise && t.EventLog && t.Email && t.SMS && t.NetMsg && t.RunProgram);
  EXPECT_EQ(t.EventLevel, 2);
  EXPECT_EQ(t.EmailAddress, "a@b");
  EXPECT_EQ(t.SMSNumber, "12");
  EXPECT_EQ(t.NetDNS, "host");
  EXPECT_EQ(t.Run, "/bin/x");
  EXPECT_EQ(FormatExTypes(types), block);
}

TEST(ExceptionTypes, EachFlag_HasItsOwnField) {
  struct Case {
    const char* key;
    bool ExceptionType::*field;
  };
  for (const Case& c : {Case{"Raise", &ExceptionType::Raise}, Case{"Email", &ExceptionType::Email},
                        Case{"SMS", &ExceptionType::SMS}, Case{"NetMsg", &ExceptionType::NetMsg},
                        Case{"EventLog", &ExceptionType::EventLog}, Case{"RunProgram", &ExceptionType::RunProgram}}) {
    SCOPED_TRACE(c.key);
    Types types;
    EXPECT_FALSE(ReadExTypes("Number=1\r\n" + Upper(c.key) + "=1\r\n\r\n", types));
    const ExceptionType& t = types.at(0);
    EXPECT_TRUE(t.*c.field);
    EXPECT_EQ(t.Raise + t.Email + t.SMS + t.NetMsg + t.EventLog + t.RunProgram, 1);
    EXPECT_TRUE(Contains(FormatExTypes(types), "\r\n" + std::string(c.key) + "=True\r\n"));
  }
}

TEST(ExceptionTypes, ReaderOpensARecordAtNumberAlone) {
  Types types;
  EXPECT_FALSE(
      ReadExTypes("[5]\r\nNumber= 6\r\nDescription=six\r\n[9]\r\nDescription=still six\r\nNumber=x\r\n\r\n", types));
  ASSERT_EQ(types.size(), 2u);
  EXPECT_EQ(types[0].Number, 6);
  EXPECT_EQ(types[0].Description, "still six");
  EXPECT_EQ(types[1].Number, 0);
  // The level of a record without that line is 0; 4 belongs to the built-in rows.
  EXPECT_EQ(types[0].EventLevel, 0);
  EXPECT_FALSE(types[0].Raise);
}

TEST(ExceptionTypes, Problems_KeepTheTypesReadSoFar) {
  struct Case {
    const char* name;
    const char* text;
    int line;
    size_t types;
  };
  const Case cases[] = {{"bad bool", "Number=1\r\nNumber=2\r\nEmail=x\r\nNumber=3\r\n\r\n", 3, 2},
                        {"empty bool", "Number=1\r\nRaise=\r\nNumber=3\r\n\r\n", 2, 1},
                        {"text before the first number", "[1]\r\nDescription=x\r\nNumber=3\r\n\r\n", 2, 0},
                        {"flag before the first number", "Email=True\r\nNumber=3\r\n\r\n", 1, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Types types;
    const auto problem = ReadExTypes(c.text, types);
    ASSERT_TRUE(problem);
    EXPECT_EQ(problem->line, c.line);
    EXPECT_EQ(types.size(), c.types);
  }
}

TEST(ExceptionTypes, UnknownKeysAndTheLastLine_AreIgnored) {
  Types types;
  EXPECT_FALSE(ReadExTypes("Colour=red\r\nNumber=1\r\nDescription=kept\r\nDescription=lost", types));
  EXPECT_EQ(types.at(0).Description, "kept");
}

TEST(ExceptionTypes, ExistingFile_GetsNoLaterBuiltInType) {
  Types types;
  std::string text = Golden("extypes_default.ini");
  const size_t at = text.find("[902]");
  ASSERT_NE(at, std::string::npos);
  text.resize(at);
  EXPECT_FALSE(ReadExTypes(text + "\r\n", types));
  EXPECT_EQ(types.size(), 46u);
}

TEST(ExceptionTypes, Refresh_CopiesFiveThresholdsIntoEverySite) {
  LiveTables tables;
  tables.Sites.resize(2);
  Types types;
  AddDefaultExTypes(types);
  EXPECT_TRUE(RefreshexceptionConstants(types, tables).ok());
  for (const SiteRec& site : tables.Sites) {
    EXPECT_EQ(site.ExValue130, 10);
    EXPECT_EQ(site.ExValue131, 25);
    EXPECT_EQ(site.ExValue133, 25);
    EXPECT_EQ(site.ExValue134, 5);
    EXPECT_EQ(site.ExValue161, 10);
  }
  AddExType(types, kExManyVisits, "x", true, false, "99");
  EXPECT_EQ(tables.Site(1).ExValue133, 25);
  EXPECT_TRUE(RefreshexceptionConstants(types, tables).ok());
  EXPECT_EQ(tables.Site(2).ExValue133, 99);
}

TEST(ExceptionTypes, Refresh_FailsOnAThresholdThatIsNoNumber) {
  for (const char* value : {"many", "", "32768", "-32769"}) {
    SCOPED_TRACE(value);
    LiveTables tables;
    tables.Sites.resize(1);
    Types types;
    AddDefaultExTypes(types);
    AddExType(types, kExManyVisits, "x", true, false, value);
    const Status status = RefreshexceptionConstants(types, tables);
    EXPECT_EQ(status.fail, Fail::kBadData);
    EXPECT_TRUE(Contains(status.text, "133"));
    EXPECT_EQ(tables.Site(1).ExValue130, 10);
    EXPECT_EQ(tables.Site(1).ExValue134, 0);
  }
}

}  // namespace
}  // namespace vantry
