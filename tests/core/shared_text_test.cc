#include "core/shared_text.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(SharedText, IsEmptyUntilItHasAText) {
  SharedText text;
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(text, "");
  text = "Firefox 102";
  EXPECT_EQ(text, "Firefox 102");
  EXPECT_EQ(text.size(), 11u);
  text = "";
  EXPECT_TRUE(text.empty());
}

TEST(SharedText, CopiesShareAndAnAssignmentChangesOne) {
  SharedText text("a text of some length");
  SharedText copy = text;
  EXPECT_EQ(copy.View().data(), text.View().data());
  text = "another";
  EXPECT_EQ(copy, "a text of some length");
  copy = copy.View().substr(2, 4);
  EXPECT_EQ(copy, "text");
  SharedText moved = std::move(copy);
  EXPECT_EQ(moved, "text");
  const SharedText& same = moved;
  moved = same;
  EXPECT_EQ(moved, "text");
}

TEST(TextPool, EqualTextsAreOne) {
  TextPool pool;
  const SharedText a = pool.Get("agent"), b = pool.Get(std::string("agent")), c = pool.Get("agen");
  EXPECT_EQ(a.View().data(), b.View().data());
  EXPECT_NE(a.View().data(), c.View().data());
  EXPECT_EQ(pool.Count(), 2u);
  EXPECT_TRUE(pool.Get("").empty());
  EXPECT_EQ(pool.Count(), 2u);
}

TEST(TextPool, ATextLeavesWithItsLastUser) {
  TextPool pool;
  {
    std::vector<SharedText> users;
    for (int i = 0; i < 10'000; ++i) users.push_back(pool.Get("referrer " + std::to_string(i % 1'000)));
    EXPECT_EQ(pool.Count(), 1'000u);
    users.resize(1'500);
    EXPECT_EQ(pool.Count(), 1'000u) << "the other users are still there";
    users.erase(users.begin(), users.begin() + 700);
    EXPECT_EQ(pool.Count(), 800u);
    users[0] = pool.Get("referrer 999");
    EXPECT_EQ(pool.Count(), 799u);
  }
  EXPECT_EQ(pool.Count(), 0u);
  pool.Fit();
  EXPECT_EQ(pool.Get("new"), "new");
}

TEST(TextPool, TextsMayOutliveIt) {
  auto pool = std::make_unique<TextPool>();
  const SharedText text = pool->Get("a spider");
  pool.reset();
  const SharedText copy = text;
  EXPECT_EQ(copy, "a spider");
}

}  // namespace
}  // namespace vantry
