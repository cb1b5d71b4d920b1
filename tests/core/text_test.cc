#include "core/text.h"

#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(Text, Trim_CutsBlanksAlone) {
  EXPECT_EQ(Trim("  a b  "), "a b");
  EXPECT_EQ(Trim("\ta\t"), "\ta\t");
  EXPECT_EQ(Trim("   "), "");
  EXPECT_EQ(Trim(""), "");
}

TEST(Text, Folding_LeavesBytesAbove127Alone) {
  EXPECT_EQ(Lower("ABZ[\xC4"), "abz[\xC4");
  EXPECT_EQ(Upper("abz{\xE4"), "ABZ{\xE4");
  EXPECT_TRUE(EqualsNoCase("Key", "kEY"));
  EXPECT_FALSE(EqualsNoCase("Key", "Keys"));
  EXPECT_FALSE(EqualsNoCase("\xC4", "\xE4"));
  EXPECT_FALSE(EqualsNoCase("[", "{"));
}

TEST(Text, Hexadecimal_TakesEveryByte) {
  EXPECT_EQ(Hexadecimal(std::string("\0\x7f\xa0\xff", 4)), "007fa0ff");
  EXPECT_EQ(Hexadecimal(""), "");
}

TEST(Text, Split_KeepsEmptyParts) {
  const std::vector<std::string_view> parts = {"", "a", "", "b", ""};
  EXPECT_EQ(Split(",a,,b,", ','), parts);
  EXPECT_EQ(Split("", ','), std::vector<std::string_view>{""});
}

TEST(Text, FindLineEnd_TakesTheFirstOfEitherKind) {
  EXPECT_EQ(FindLineEnd("ab\ncd\r"), 2u);
  EXPECT_EQ(FindLineEnd("a\rb\n"), 1u);
  EXPECT_EQ(FindLineEnd("\r\n"), 0u);
  EXPECT_EQ(FindLineEnd("none"), std::string_view::npos);
  EXPECT_EQ(FindLineEnd(""), std::string_view::npos);
}

TEST(Text, ReplaceAll_DoesNotLookAtWhatItPutIn) {
  EXPECT_EQ(ReplaceAll("aaa", "a", "aa"), "aaaaaa");
  EXPECT_EQ(ReplaceAll("a%20b%20", "%20", " "), "a b ");
  EXPECT_EQ(ReplaceAll("aaa", "aa", ""), "a");
  EXPECT_EQ(ReplaceAll("abc", "d", "e"), "abc");
  EXPECT_EQ(RemoveChar("\"a\"b\"", '"'), "ab");
}

TEST(Text, ReplaceAll_FindsNothingWhereNothingIsLookedFor) {
  EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
  EXPECT_EQ(ReplaceAll("", "", "x"), "");
  EXPECT_EQ(ReplaceAll("", "a", "x"), "");
}

TEST(Text, PadNumber_FillsInFrontAndNeverCuts) {
  EXPECT_EQ(PadNumber(7, 2), "07");
  EXPECT_EQ(PadNumber(123, 2), "123");
  EXPECT_EQ(PadNumber(-7, 2), "-07");
  EXPECT_EQ(PadNumber(0, 4), "0000");
}

TEST(Text, LeadingNumber_TakesWhatStandsInFront) {
  struct Case {
    const char* name;
    const char* text;
    int32_t want;
  };
  const Case cases[] = {{"nothing", "", 0},
                        {"no number", "abc", 0},
                        {"blanks in front", "  42", 42},
                        {"tab in front", "\t42", 42},
                        {"text behind", "15 minutes", 15},
                        {"fraction dropped", "3.9", 3},
                        {"minus", "-12x", -12},
                        {"plus", "+12", 12},
                        {"sign alone", "-", 0},
                        {"blank behind the sign", "- 5", 0},
                        {"largest", "2147483647", 2147483647},
                        {"held at the top", "2147483648", 2147483647},
                        {"smallest", "-2147483648", -2147483647 - 1},
                        {"held at the bottom", "-99999999999999999999999", -2147483647 - 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(LeadingNumber(c.text), c.want);
  }
}

TEST(Text, WholeNumber_TakesTheWholeTextOrNothing) {
  struct Case {
    const char* name;
    const char* text;
    std::optional<int64_t> want;
  };
  const Case cases[] = {{"plain", "80", 80},
                        {"blanks around", " 80 ", 80},
                        {"plus", "+80", 80},
                        {"minus", "-80", -80},
                        {"plus and minus", "+-80", {}},
                        {"half goes to even, down", "2.5", 2},
                        {"half goes to even, up", "3.5", 4},
                        {"exponent", "1e3", 1000},
                        {"largest", "9223372036854775807", 9223372036854775807},
                        {"too large", "9223372036854775808", {}},
                        {"far too large", "1e999", {}},
                        {"empty", "", {}},
                        {"blanks", "   ", {}},
                        {"text behind", "80x", {}},
                        {"blank inside", "8 0", {}},
                        {"infinity is a word", "inf", {}},
                        {"nan is a word", "nan", {}},
                        {"hexadecimal is text", "0x10", {}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(WholeNumber(c.text), c.want);
  }
}

TEST(Text, CountUp_StaysFull) {
  int16_t n = 32765;
  CountUp(n);
  EXPECT_EQ(n, 32766);
  CountUp(n, 7);
  EXPECT_EQ(n, 32767);
  CountUp(n);
  EXPECT_EQ(n, 32767);
}

}  // namespace
}  // namespace vantry
