// Key declarations, and the keys that they make of rows.
#include "database/key_expression.h"

#include <map>

#include <gtest/gtest.h>

#include "core/text.h"
#include "database/schema.h"

namespace vantry {
namespace {

struct KeySample {
  RowLayout layout;
  std::string row;
  explicit KeySample(const std::vector<std::string>& fields) {
    const Status status = ParseFields(fields, layout);
    EXPECT_TRUE(status.ok()) << status.text;
    row.assign(layout.row_bytes, ' ');
  }
  KeySample& Set(const std::string& field, std::string_view text) {
    PutText(layout.fields[layout.Find(field).value()], text, row.data());
    return *this;
  }
  std::string Key(const std::string& declaration) const {
    KeyDeclaration key;
    const Status status = ParseKey(declaration, layout, key);
    EXPECT_TRUE(status.ok()) << declaration << ": " << status.text;
    std::string text;
    key.expression.AppendKey(row.data(), text);
    EXPECT_EQ(text.size(), key.expression.KeyBytes());
    return text;
  }
};

struct Declared {
  const TableSchema& (*schema)();
  size_t number;
  const char* kind;    // U for unique, D for descending.
  const char* values;  // "Field=text;Field=text".
  const char* key;
};

const Declared kDeclared[] = {
    {visits::Schema, 0, "U", "IP=10.0.0.1;Site=One;VisitDate=20260305;VisitNo=00012",
     "10.0.0.1       One                 2026030500012"},
    {visits::Schema, 1, "", "IP=10.0.0.1;Site=One;VisitNo=00012", "One                         00012"},
    {visitor::Schema, 0, "U", "IP=255.255.255.255;Site=A site of 20 letters;DNS=host.example",
     "255.255.255.255A site of 20 letters"},
    {referrers::Schema, 0, "U", "Name=http://a.example;Site=One",
     "http://a.example                                  One                 "},
    {referrers::Schema, 1, "D", "Site=One;Visits=   42", "One                    42"},
    {exceptions::Schema, 0, "U", "Site=One;RecordNo=000000123", "One                 000000123"},
    {exceptions::Schema, 1, "", "Site=One;ExDate=20260305", "One                 20260305"},
    {exceptions::Schema, 2, "", "Site=One;Number=7", "One                   7"},
    {pages::Schema, 0, "U", "IP=10.0.0.1;Site=One;VisitNo=00012;PageNo=0003;Page=index.html",
     "10.0.0.1       One                 000120003"},
    {downloads::Schema, 0, "U", "IP=10.0.0.1;RecordNo=000000123", "10.0.0.1       000000123"},
    {downloads::Schema, 1, "", "IP=10.0.0.1;Site=One;VisitNo=00012", "10.0.0.1       One                 00012"},
    {downloads::Schema, 2, "", "Site=One;Download=setup.exe", "One                 setup.exe                     "},
    {day_sum::Schema, 0, "U", "Site=One;Dated=20260305", "One                 20260305"},
    {ipcc::Schema, 0, "", "IP=010.000.000.000;Country=NO", "010.000.000.000"},
};

TEST(Keys, EveryDeclaredKeyMakesItsText) {
  std::map<std::string, size_t> seen;
  for (const Declared& c : kDeclared) {
    const TableSchema& schema = c.schema();
    const std::string which = schema.name + std::to_string(c.number);
    KeySample sample(schema.fields);
    for (const std::string_view value : Split(c.values, ';')) {
      const auto parts = Split(value, '=');
      sample.Set(std::string(parts[0]), parts[1]);
    }
    KeyDeclaration key;
    ASSERT_TRUE(ParseKey(schema.keys.at(c.number), sample.layout, key).ok()) << which;
    EXPECT_EQ(key.name, "key" + std::to_string(c.number)) << which;
    EXPECT_EQ(key.unique, std::string_view(c.kind) == "U") << which;
    EXPECT_EQ(key.descending, std::string_view(c.kind) == "D") << which;
    EXPECT_EQ(sample.Key(schema.keys[c.number]), c.key) << which;
    EXPECT_EQ(seen[schema.name]++, c.number);
  }
  for (const auto schema : {visits::Schema, visitor::Schema, referrers::Schema, exceptions::Schema, pages::Schema,
                            downloads::Schema, day_sum::Schema, ipcc::Schema}) {
    EXPECT_EQ(seen[schema().name], schema().keys.size()) << schema().name;
  }
}

TEST(Keys, NumbersStandAtTheRightOfTheirPart) {
  struct Case {
    const char *stored, *key;
  };
  for (const Case& c :
       {Case{"    7", "  7"}, Case{"7    ", "  7"}, Case{"  -42", "-42"}, Case{"  999", "999"}, Case{" 1000", "***"},
        Case{" -100", "***"}, Case{"*****", "***"}, Case{"     ", "   "}, Case{"  ***", "***"}}) {
    EXPECT_EQ(KeySample({"F|N|5"}).Set("F", c.stored).Key("k|STR(F,3)"), c.key) << c.stored;
  }
  EXPECT_EQ(KeySample({"F|N|5"}).Set("F", "*****").Key("k|STR(F,5)"), "*****");
  EXPECT_EQ(KeySample({"F|N|5"}).Set("F", "*****").Key("k|STR(F,8)"), "   *****");
  EXPECT_EQ(KeySample({"F|N|5"}).Set("F", "    1").Key("k|STR(F,20)"), "                   1");
}

TEST(Keys, BlankDatesAreBlanksAndSortFirst) {
  const std::string blank = KeySample({"A|C|2", "D|D|8"}).Set("A", "xy").Key("k|A+DTOS(D)");
  const std::string set = KeySample({"A|C|2", "D|D|8"}).Set("A", "xy").Set("D", "19000101").Key("k|A+DTOS(D)");
  EXPECT_EQ(blank, "xy        ");
  EXPECT_LT(blank, set);
}

TEST(Keys, AreReadWhateverTheirBlanksAndCase) {
  KeySample sample({"Name|C|3", "Hits|N|4", "Dated|D|8"});
  sample.Set("Name", "abc").Set("Hits", "  12").Set("Dated", "20260305");
  for (const char* text : {"k|Name+STR(Hits,4)+DTOS(Dated)", "k|NAME + str( hits , 4 ) + dtos( dated )",
                           "k|  name  +Str(HITS,4 )+  DtoS(DATED)  ||N|", "k|name+STR (hits,4)+DTOS (dated)|"}) {
    EXPECT_EQ(sample.Key(text), "abc  1220260305") << text;
  }
}

TEST(Keys, TrailingPartsMayBeMissing) {
  struct Case {
    const char* text;
    bool unique, descending;
  };
  const RowLayout layout = KeySample({"A|C|1"}).layout;
  for (const Case& c : {Case{"k|A", false, false}, Case{"k|A|", false, false}, Case{"k|A||", false, false},
                        Case{"k|A||U", true, false}, Case{"k|A||U|", true, false}, Case{"k|A||N|D", false, true},
                        Case{"k|A||U|D", true, true}, Case{"k|A|||D", false, true}}) {
    KeyDeclaration key;
    EXPECT_TRUE(ParseKey(c.text, layout, key).ok()) << c.text;
    EXPECT_EQ(key.unique, c.unique) << c.text;
    EXPECT_EQ(key.descending, c.descending) << c.text;
  }
}

TEST(Keys, WhatCantBeReadIsToldWithItsPart) {
  const RowLayout layout = KeySample({"A|C|1", "N|N|5", "D|D|8"}).layout;
  struct Case {
    const char *text, *told;
  };
  for (const Case& c : {Case{"", "can't be read"},
                        Case{"|A", "can't be read"},
                        Case{"k|A||U|D|x", "can't be read"},
                        Case{"k", "there is no field \"\""},
                        Case{"k|", "there is no field \"\""},
                        Case{"k|A|A > 1", "has a filter"},
                        Case{"k|A| ", "has a filter"},
                        Case{"k|A||X", "is neither U nor N"},
                        Case{"k|A||u", "is neither U nor N"},
                        Case{"k|A||U|A", "or not D"},
                        Case{"k|B", "key part \"B\": there is no field \"B\""},
                        Case{"k|A+B", "key part \"B\""},
                        Case{"k|A+", "key part \"\""},
                        Case{"k|+A", "key part \"\""},
                        Case{"k|A++A", "key part \"\""},
                        Case{"k|N", "only a text field stands alone"},
                        Case{"k|D", "only a text field stands alone"},
                        Case{"k|DTOS(A)", "DTOS takes one date field"},
                        Case{"k|DTOS(N)", "DTOS takes one date field"},
                        Case{"k|DTOS(D,8)", "DTOS takes one date field"},
                        Case{"k|DTOS()", "there is no field \"\""},
                        Case{"k|STR(A,5)", "STR takes a number field"},
                        Case{"k|STR(D,5)", "STR takes a number field"},
                        Case{"k|STR(N)", "STR takes a number field"},
                        Case{"k|STR(N,0)", "STR takes a number field"},
                        Case{"k|STR(N,-1)", "STR takes a number field"},
                        Case{"k|STR(N,21)", "STR takes a number field"},
                        Case{"k|STR(N,)", "can't be read"},
                        Case{"k|STR(N,x)", "can't be read"},
                        Case{"k|STR(N,5,2)", "can't be read"},
                        Case{"k|STR(N,5", "can't be read"},
                        Case{"k|(A)", "can't be read"},
                        Case{"k|A)", "there is no field \"A)\""},
                        Case{"k|UPPER(A)", "there is no function UPPER"},
                        Case{"k|DTOS(D))", "there is no field \"D)\""}}) {
    KeyDeclaration key;
    const Status status = ParseKey(c.text, layout, key);
    EXPECT_EQ(status.fail, Fail::kBadData) << c.text;
    EXPECT_TRUE(Contains(status.text, c.told)) << c.text << ": " << status.text;
  }
}

TEST(Keys, OfPartsStandAsInTheRow) {
  const RowLayout layout = KeySample({"A|C|4", "N|N|5", "D|D|8"}).layout;
  KeyDeclaration key;
  ASSERT_TRUE(ParseKey("k|A + STR(N,3) + DTOS(D)", layout, key).ok());
  const auto parts = [&](std::initializer_list<std::string_view> values) {
    std::string text;
    key.expression.AppendParts(values, text);
    return text;
  };
  EXPECT_EQ(parts({}), "");
  EXPECT_EQ(parts({"ab"}), "ab  ");
  EXPECT_EQ(parts({"abcdef"}), "abcd");
  EXPECT_EQ(parts({{}}), "    ");
  EXPECT_EQ(parts({"ab", "7"}), "ab    7");
  EXPECT_EQ(parts({"ab", "1234"}), "ab  123");
  EXPECT_EQ(parts({"ab", "7", "20260305"}), "ab    720260305");
  EXPECT_EQ(parts({"ab", "7", "20260305", "too many"}), "ab    720260305");
  EXPECT_EQ(parts({std::string_view("a\0b\0", 4)}), "a b ");
  EXPECT_EQ(parts({"ab", std::string_view("\0"
                                          "7",
                                          2)}),
            "ab    7");
}

}  // namespace
}  // namespace vantry
