#include "config/value_forms.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(ValueForms, ParseBool_TakesWordsAndNumbers) {
  struct Case {
    const char* name;
    const char* text;
    std::optional<bool> want;
  };
  const Case cases[] = {{"True", "True", true},
                        {"capitals", "TRUE", true},
                        {"False", "false", false},
                        {"blank in front", " True", true},
                        {"0", "0", false},
                        {"1", "1", true},
                        {"-1", "-1", true},
                        {"fraction", "0.4", true},
                        {"zero with a point", "0.0", false},
                        {"Yes", "Yes", {}},
                        {"Y", "Y", {}},
                        {"empty", "", {}},
                        {"number with text", "1x", {}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ParseBool(c.text), c.want);
  }
  EXPECT_EQ(BoolText(true), "True");
  EXPECT_EQ(BoolText(false), "False");
}

TEST(ValueForms, ParseLong_MustConvertAsAWholeWithin32Bits) {
  EXPECT_EQ(ParseLong(" 8004 "), 8004);
  EXPECT_EQ(ParseLong("2147483647"), 2147483647);
  EXPECT_EQ(ParseLong("-2147483648"), -2147483647 - 1);
  for (const char* text : {"", " ", "x", "80x", "2147483648", "-2147483649", "8 0"}) {
    EXPECT_EQ(ParseLong(text), std::nullopt) << text;
  }
}

TEST(ValueForms, ParsePosition_Holds64Bits) {
  EXPECT_EQ(ParsePosition("5000000000"), 5'000'000'000);
  EXPECT_EQ(ParsePosition(""), std::nullopt);
}

TEST(ValueForms, TextLines_EndAtEachKindOfLineEnd) {
  using Lines = std::vector<std::string_view>;
  struct Case {
    const char* name;
    const char* text;
    Lines want;
  };
  const Case cases[] = {{"empty file", "", {}},
                        {"CR LF", "a\r\nb\r\n", {"a", "b"}},
                        {"LF", "a\nb\n", {"a", "b"}},
                        {"lone CR", "a\rb\r", {"a", "b"}},
                        {"mixed", "a\r\nb\nc\rd", {"a", "b", "c", "d"}},
                        {"no end of line at the end", "a\r\nb", {"a", "b"}},
                        {"empty line at the end", "a\r\n\r\n", {"a", ""}},
                        {"empty lines inside", "a\n\nb\n", {"a", "", "b"}},
                        {"LF CR is two ends", "a\n\rb", {"a", "", "b"}},
                        {"one end of line", "\r\n", {""}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(TextLines(c.text), c.want);
  }
}

TEST(ValueForms, SplitKeyValue_CutsAtTheFirstEqualsSign) {
  const auto pair = SplitKeyValue(" dnsMask1 = a=b ");
  ASSERT_TRUE(pair);
  EXPECT_EQ(pair->key, "DNSMASK1");
  EXPECT_EQ(pair->value, " a=b ");
  EXPECT_FALSE(SplitKeyValue("no sign"));
  EXPECT_EQ(SplitKeyValue("=v")->key, "");
}

TEST(ValueForms, WithSeparator_AddsOneWhereNoneStands) {
  EXPECT_EQ(WithSeparator("/var/log"), "/var/log/");
  EXPECT_EQ(WithSeparator("/var/log/"), "/var/log/");
  EXPECT_EQ(WithSeparator("C:\\Logs\\"), "C:\\Logs/");
  EXPECT_EQ(WithSeparator(""), "");
}

}  // namespace
}  // namespace vantry
