#include "core/small_text.h"

#include <random>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(SmallText, HoldsTextsOfAnySize) {
  for (size_t size : {0, 1, 14, 15, 16, 24, 25, 40, 41, 255, 256, 70'000}) {
    const std::string text(size, static_cast<char>(0xFF));
    const SmallText small(text);
    EXPECT_EQ(small, text);
    EXPECT_EQ(small.size(), size);
    EXPECT_EQ(small.empty(), size == 0);
    EXPECT_EQ(std::string(small), text);
  }
}

TEST(SmallText, ComparesAndJoinsLikeAString) {
  SmallText a, b;
  a = "10.0.0.7";
  b = std::string("10.0.0.7");
  EXPECT_TRUE(a == b);
  EXPECT_TRUE("10.0.0.7" == a);
  EXPECT_TRUE(a != "10.0.0.70");
  EXPECT_EQ(a + "?", "10.0.0.7?");
  EXPECT_EQ("1:" + a, "1:10.0.0.7");
  EXPECT_EQ(a + b, "10.0.0.710.0.0.7");
}

TEST(SmallText, TakesAPartOfItself) {
  SmallText text(std::string(20, 'a') + std::string(20, 'b'));
  text = text.View().substr(1);
  EXPECT_EQ(text, std::string(19, 'a') + std::string(20, 'b'));
  text = text.View().substr(18);
  EXPECT_EQ(text, "a" + std::string(20, 'b'));
  text = text.View().substr(10);
  EXPECT_EQ(text, std::string(11, 'b'));
  text = text.View().substr(8);
  EXPECT_EQ(text, "bbb");
  const SmallText& same = text;
  text = same;
  EXPECT_EQ(text, "bbb");
}

TEST(SmallText, CopiesAreTheirOwn) {
  SmallText text(std::string(100, 'x'));
  SmallText copy = text;
  SmallText moved = std::move(text);
  copy = "short";
  EXPECT_EQ(moved, std::string(100, 'x'));
  EXPECT_EQ(copy, "short");
  copy = moved;
  moved.clear();
  EXPECT_EQ(copy, std::string(100, 'x'));
  EXPECT_TRUE(moved.empty());
}

TEST(SmallText, RandomAssignmentsMatchAString) {
  std::mt19937 random(7);
  SmallText texts[4];
  std::string model[4];
  for (int i = 0; i < 20'000; ++i) {
    const size_t to = random() % 4, from = random() % 4;
    const size_t begin = model[from].empty() ? 0 : random() % model[from].size();
    switch (random() % 3) {
      case 0:
        model[to] = std::string(random() % 60, static_cast<char>('a' + random() % 26));
        texts[to] = model[to];
        break;
      case 1:
        model[to] = std::string(model[from].substr(begin));
        texts[to] = texts[from].View().substr(begin);
        break;
      default:
        model[to] = std::string(model[from]);
        texts[to] = texts[from];
    }
    ASSERT_EQ(texts[to], model[to]);
  }
}

}  // namespace
}  // namespace vantry
