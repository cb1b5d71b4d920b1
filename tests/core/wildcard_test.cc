#include "core/wildcard.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(Wildcard, Like_FitsTheWholeText) {
  struct Case {
    const char* name;
    const char* text;
    const char* pattern;
    bool want;
  };
  const Case cases[] = {{"equal", "index.htm", "index.htm", true},
                        {"case counts", "Index.htm", "index.htm", false},
                        {"prefix is not enough", "index.html", "index.htm", false},
                        {"suffix is not enough", "xindex.htm", "index.htm", false},
                        {"empty pattern fits nothing but the empty text", "", "", true},
                        {"empty pattern", "a", "", false},
                        {"star takes nothing", "", "*", true},
                        {"star takes all", "10.0.0.7", "*", true},
                        {"star in front", "cache1.proxy.aol.com", "*.proxy.aol.com", true},
                        {"star needs the point", "proxy.aol.com", "*.proxy.aol.com", false},
                        {"star behind", "10.0.0.7", "10.0.*", true},
                        {"two stars", "spider.cache7.webtv.net", "*.cache?.webtv.net", true},
                        {"star goes back", "aXbXc", "a*Xc", true},
                        {"stars in a row", "ab", "a***b", true},
                        {"question mark takes one", "a", "?", true},
                        {"question mark takes no nothing", "", "?", false},
                        {"question mark takes no two", "ab", "?", false},
                        {"hash takes a digit", "ex020304.log", "ex######.log", true},
                        {"hash takes no letter", "exa20304.log", "ex######.log", false},
                        {"list", "b", "[abc]", true},
                        {"list misses", "d", "[abc]", false},
                        {"list takes one character", "ab", "[abc]", false},
                        {"range", "m", "[a-z]", true},
                        {"range ends count", "z", "[a-z]", true},
                        {"range is of bytes", "M", "[a-z]", false},
                        {"two ranges", "7", "[a-z0-9]", true},
                        {"range of one", "b", "[b-b]", true},
                        {"hyphen in front", "-", "[-a]", true},
                        {"hyphen behind", "-", "[a-]", true},
                        {"hyphen behind a range", "-", "[a-c-e]", true},
                        {"no second range from one end", "d", "[a-c-e]", false},
                        {"bytes above 127", "\xE4", "[\xE0-\xEF]", true},
                        {"backward range fits nothing", "b", "[c-a]", false},
                        {"backward range behind a star fits nothing", "b", "*[c-a]", false},
                        {"negated list", "d", "[!abc]", true},
                        {"negated list misses", "a", "[!abc]", false},
                        {"negated list needs a character", "", "[!abc]", false},
                        {"negated range", "5", "[!a-z]", true},
                        {"exclamation mark alone in a list", "!", "[!]", true},
                        {"exclamation mark alone is no negation", "a", "[!]", false},
                        {"exclamation mark further back", "!", "[a!]", true},
                        {"empty list stands for nothing", "ab", "a[]b", true},
                        {"empty list alone", "", "[]", true},
                        {"empty list takes no character", "a", "[]", false},
                        {"empty list behind a star", "ab", "a*[]b", true},
                        {"star in a list is itself", "*", "[*]", true},
                        {"star in a list takes nothing else", "a", "[*]", false},
                        {"question mark in a list", "?", "[?]", true},
                        {"hash in a list", "#", "[#]", true},
                        {"open bracket in a list", "[", "[[]", true},
                        {"closing bracket outside is itself", "]", "]", true},
                        {"unclosed bracket fits nothing", "a", "[a", false},
                        {"unclosed bracket is not itself", "[a", "[a", false},
                        {"unclosed bracket behind a star", "abc", "*[", false},
                        {"unclosed bracket the text never reaches", "x", "a[", false},
                        {"star before a list", "abc1", "*[0-9]", true},
                        {"list between stars", "a-5-b", "*[0-9]*", true},
                        {"text longer than all stars", "abcabd", "*abd", true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Like(c.text, c.pattern), c.want);
  }
}

TEST(Wildcard, Like_EndsOnHostilePatterns) {
  const std::string text(100'000, 'a');
  EXPECT_FALSE(Like(text, "*a*a*a*a*b"));
  EXPECT_TRUE(Like(text + "b", "*a*a*a*a*b"));
  EXPECT_FALSE(Like(text, "*[a-z]*[a-z]*[!a]"));
  EXPECT_TRUE(Like(text, std::string(1'000, '*') + "a"));
  EXPECT_FALSE(Like(text, std::string(10'000, '[')));
}

TEST(Wildcard, FitsFileMask_TakesStarAndQuestionMarkAlone) {
  EXPECT_TRUE(FitsFileMask("EX0203.LOG", "ex*.log"));
  EXPECT_TRUE(FitsFileMask("access.log", "*.LOG"));
  EXPECT_TRUE(FitsFileMask("access#1.log", "access#1.log"));
  EXPECT_FALSE(FitsFileMask("access21.log", "access#1.log"));
  EXPECT_TRUE(FitsFileMask("[a].log", "[A].LOG"));
  EXPECT_TRUE(FitsFileMask("a].log", "?].log"));
  EXPECT_FALSE(FitsFileMask("ex.txt", "*.LOG"));
  EXPECT_TRUE(FitsFileMask("access_log", "*.*"));
  EXPECT_FALSE(FitsFileMask("\xC4", "\xE4"));
}

// The plain definition, place by place: fits[p][t] says whether the rest of the pattern takes the rest of the text.
bool SlowLike(const std::string& text, const std::string& pattern) {
  std::vector<std::vector<bool>> fits(pattern.size() + 1, std::vector<bool>(text.size() + 1));
  fits[pattern.size()][text.size()] = true;
  for (size_t p = pattern.size(); p-- > 0;) {
    for (size_t t = text.size() + 1; t-- > 0;) {
      const bool more = t < text.size();
      if (pattern[p] == '*') {
        fits[p][t] = fits[p + 1][t] || (more && fits[p][t + 1]);
      } else {
        fits[p][t] = more && (pattern[p] == '?' || pattern[p] == text[t]) && fits[p + 1][t + 1];
      }
    }
  }
  return fits[0][0];
}

TEST(Wildcard, Like_AgreesWithThePlainDefinition) {
  std::mt19937 random(1);
  int fitting = 0;
  for (int i = 0; i < 50'000; ++i) {
    std::string text, pattern;
    for (size_t n = random() % 8; n > 0; --n) text += "ab"[random() % 2];
    for (size_t n = random() % 7; n > 0; --n) pattern += "ab?**"[random() % 5];
    const bool want = SlowLike(text, pattern);
    fitting += want;
    ASSERT_EQ(Like(text, pattern), want) << text << " like " << pattern;
  }
  EXPECT_GT(fitting, 1'000);
}

}  // namespace
}  // namespace vantry
