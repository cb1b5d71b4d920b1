#include "core/text_encoding.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(TextEncoding, WellFormedUtf8) {
  for (const char* good :
       {"", "abc", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xED\x9F\xBF", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(IsUtf8(good)) << good;
  }
  for (const char* bad : {"\x80", "\xC0\xAF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80",
                          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFF"}) {
    EXPECT_FALSE(IsUtf8(bad)) << bad;
  }
}

TEST(TextEncoding, WhatIsNoUtf8IsWindows1252) {
  EXPECT_EQ(ToUtf8("\xC3\xA9"), "\xC3\xA9");
  EXPECT_EQ(ToUtf8("caf\xE9"), "caf\xC3\xA9");
  EXPECT_EQ(ToUtf8("\x80 5 \x96 \x9F \xFF"), "\xE2\x82\xAC 5 \xE2\x80\x93 \xC5\xB8 \xC3\xBF");
  EXPECT_EQ(ToUtf8("\x81"), "\xEF\xBF\xBD");
}

TEST(TextEncoding, OneLineHoldsNoControlCharacters) {
  EXPECT_EQ(ToOneLine(std::string("a\r\nb\0c\x7F\t", 8)), "a  b c  ");
  EXPECT_EQ(ToOneLine("a\xC2\x85"
                      "b\xC2\xA0"
                      "c\xC2\x80"),
            "a b\xC2\xA0"
            "c ");
  EXPECT_EQ(ToOneLine("a\x85\xC2"), "a\xE2\x80\xA6\xC3\x82") << "as Windows-1252";
}

TEST(TextEncoding, Base64) {
  EXPECT_EQ(Base64(""), "");
  EXPECT_EQ(Base64("f"), "Zg==");
  EXPECT_EQ(Base64("fo"), "Zm8=");
  EXPECT_EQ(Base64("foo"), "Zm9v");
  EXPECT_EQ(Base64("foob"), "Zm9vYg==");
  EXPECT_EQ(Base64("\xFF\xFE\xFD"), "//79");
}

TEST(TextEncoding, QuotedPrintableLines) {
  EXPECT_EQ(QuotedPrintable(""), "");
  EXPECT_EQ(QuotedPrintable("one\ntwo\rthree\r\n\nfive"), "one\r\ntwo\r\nthree\r\n\r\nfive\r\n");
  EXPECT_EQ(QuotedPrintable(".\n..x\n"), ".\r\n..x\r\n");
  EXPECT_EQ(QuotedPrintable("a=b \tc \n\xC3\xA9\t"), "a=3Db \tc=20\r\n=C3=A9=09\r\n");
  EXPECT_EQ(QuotedPrintable(std::string("\0\x7F", 2)), "=00=7F\r\n");
}

TEST(TextEncoding, QuotedPrintableBreaksLongLines) {
  EXPECT_EQ(QuotedPrintable(std::string(76, 'x')), std::string(76, 'x') + "\r\n");
  EXPECT_EQ(QuotedPrintable(std::string(77, 'x')), std::string(75, 'x') + "=\r\nxx\r\n");
  EXPECT_EQ(QuotedPrintable(std::string(73, 'x') + "=y"), std::string(73, 'x') + "=\r\n=3Dy\r\n");
  EXPECT_EQ(QuotedPrintable(std::string(73, 'x') + "="), std::string(73, 'x') + "=3D\r\n");
}

TEST(TextEncoding, RepairedUtf8KeepsWhatIsWellFormed) {
  for (const std::string text : {"", "plain\r\n", "caf\xC3\xA9 \xF0\x9F\x98\x80", "\xEF\xBF\xBD", "\xEF\xB7\x8F",
                                 "\xEF\xB7\xB0", "\xF0\x9E\xBF\xBF", "\xF4\x8F\xBF\xBD"}) {
    EXPECT_EQ(RepairUtf8(text), text);
  }
  EXPECT_EQ(RepairUtf8("caf\xE9 \xC3\xA9 \x80"), "caf\xC3\xA9 \xC3\xA9 \xE2\x82\xAC");
  EXPECT_EQ(RepairUtf8(std::string("a\0b\0", 4)), "ab");
  EXPECT_EQ(RepairUtf8("\x81"), "\xEF\xBF\xBD");
  for (const char* none :
       {"\xEF\xB7\x90", "\xEF\xB7\xAF", "\xEF\xBF\xBE", "\xEF\xBF\xBF", "\xF0\x9F\xBF\xBE", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(RepairUtf8(std::string("a") + none + "b"),
              "a\xEF\xBF\xBD"
              "b");
  }
  // Cut short, overlong, a surrogate, beyond the end.
  EXPECT_EQ(RepairUtf8("x\xE2\x82"), "x\xC3\xA2\xE2\x80\x9A");
  for (const char* bytes : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF\xFE"}) {
    EXPECT_TRUE(IsUtf8(RepairUtf8(bytes))) << bytes;
  }
}

TEST(TextEncoding, EncodedWordsHoldWholeCharacters) {
  EXPECT_EQ(EncodedWords(""), "");
  EXPECT_EQ(EncodedWords("\xC3\xA9"), "=?UTF-8?B?w6k=?=");
  std::string text;
  for (int i = 0; i < 30; ++i) text += "\xC3\xA9";
  // 39 bytes would cut the twentieth in two.
  EXPECT_EQ(EncodedWords(text),
            "=?UTF-8?B?" + Base64(text.substr(0, 38)) + "?= =?UTF-8?B?" + Base64(text.substr(38)) + "?=");
}

TEST(TextEncoding, HeadersAreFoldedAtBlanks) {
  EXPECT_EQ(FoldedHeader("Subject: short"), "Subject: short\r\n");
  const std::string x(30, 'x');
  EXPECT_EQ(FoldedHeader("To: " + x + " " + x + " " + x), "To: " + x + " " + x + "\r\n " + x + "\r\n");
  // No blank in time: the next one serves.
  const std::string y(100, 'y');
  EXPECT_EQ(FoldedHeader("To: " + y + " " + x), "To: " + y + "\r\n " + x + "\r\n");
  EXPECT_EQ(FoldedHeader("To: " + y), "To: " + y + "\r\n");
  // Never a line of blanks alone, which would look like the end of the head, nor one of the name alone.
  EXPECT_EQ(FoldedHeader("A: " + x + std::string(100, ' ') + x),
            "A: " + x + "\r\n" + std::string(100, ' ') + x + "\r\n");
  EXPECT_EQ(FoldedHeader("To: " + y), "To: " + y + "\r\n");
  EXPECT_EQ(FoldedHeader("To: " + y + std::string(9, ' ')), "To: " + y + std::string(9, ' ') + "\r\n");
}

}  // namespace
}  // namespace vantry
