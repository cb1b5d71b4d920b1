#include "core/shown_bytes.h"

#include <gtest/gtest.h>

#include "core/text_encoding.h"

namespace vantry {
namespace {

TEST(ShownBytes, PlainTextStays) {
  EXPECT_EQ(ShownBytes("a <b> \"c\" & ~"), "a <b> \"c\" & ~");
  EXPECT_EQ(ShownBytes(""), "");
  EXPECT_TRUE(IsPlainText("az~ "));
  EXPECT_FALSE(IsPlainText("a\x7F"));
  EXPECT_FALSE(IsPlainText("\xC3\xA9"));
}

TEST(ShownBytes, Utf8StaysAndOtherBytesAreWindows1252) {
  EXPECT_EQ(ShownBytes("caf\xC3\xA9 \xF0\x9F\x98\x80"), "caf\xC3\xA9 \xF0\x9F\x98\x80");
  EXPECT_EQ(ShownBytes("caf\xE9 \x80"), "caf\xC3\xA9 \xE2\x82\xAC");
  EXPECT_EQ(ShownBytes("\x81"), "\xEF\xBF\xBD");
}

TEST(ShownBytes, NothingSteersWhoeverShowsIt) {
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(ShownBytes("a\nb\x1B[c\x7F"), "a" + replaced + "b" + replaced + "[c" + replaced);
  EXPECT_EQ(ShownBytes(std::string_view("\0", 1)), replaced);
  for (const std::string harmful :
       {"\xC2\x85", "\xE2\x80\x8E", "\xE2\x80\xAE", "\xE2\x80\xA8", "\xE2\x81\xA6", "\xD8\x9C", "\xEF\xBB\xBF"}) {
    EXPECT_EQ(ShownBytes("x" + harmful + "y"), "x" + replaced + "y");
  }
  EXPECT_EQ(ShownBytes("\xE2\x80\x8D"), "\xE2\x80\x8D");  // Joins letters; turns nothing.
}

TEST(ShownBytes, LongTextsAreCutBetweenCharacters) {
  EXPECT_EQ(ShownBytes(std::string(20'000, 'x')).size(), kMostShownBytes);
  const std::string text = std::string(kMostShownBytes - 1, 'x') + "\xC3\xA9zzz";
  EXPECT_EQ(ShownBytes(text), std::string(kMostShownBytes - 1, 'x'));
}

}  // namespace
}  // namespace vantry
