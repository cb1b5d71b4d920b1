#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/tables.h"
#include "core/wildcard.h"

namespace vantry {
namespace {

struct NamesTest : ::testing::Test {
  LiveTables t;
  VisitorRec& Add(const std::string& name, int16_t site = 1) {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, "10.0.0." + std::to_string(++added_)));
    t.Visitors.ChangeName(v, name);
    return v;
  }
  int added_ = 0;
};

TEST_F(NamesTest, FirstInTheTableCounts) {
  EXPECT_EQ(t.Visitors.FirstNamed("*.proxy.example"), nullptr);
  Add("host.example");
  VisitorRec& early = Add("10.0.0.2");
  VisitorRec& late = Add("c1.proxy.example");
  EXPECT_EQ(t.Visitors.FirstNamed("*.proxy.example"), &late);
  t.Visitors.ChangeName(early, "c2.proxy.example");
  EXPECT_EQ(t.Visitors.FirstNamed("*.proxy.example"), &early) << "a name that arrived later counts by its visitor";
  t.Visitors.ChangeName(early, "c2.proxy.example ?");
  EXPECT_EQ(t.Visitors.FirstNamed("*.proxy.example"), &late);
  EXPECT_EQ(t.Visitors.FirstNamed("*.proxy.example*"), &early);
}

TEST_F(NamesTest, VisitorsThatLeaveAreForgotten) {
  for (int i = 0; i < 100; ++i) Add("c" + std::to_string(i) + ".proxy.example");
  VisitorRec* last = t.Visitors.At(100);
  EXPECT_EQ(t.Visitors.FirstNamed("*.example"), t.Visitors.At(1));
  std::vector<int32_t> numbers;
  for (int n = 1; n < 100; ++n) numbers.push_back(n);
  t.Visitors.Remove(numbers);
  t.Visitors.CloseGaps();
  EXPECT_EQ(t.Visitors.FirstNamed("*.example"), last);
  EXPECT_EQ(last->Number, 1) << "gaps were closed";
  VisitorRec& next = Add("d.example");
  EXPECT_EQ(t.Visitors.FirstNamed("d*"), &next);
  t.Visitors.Remove(std::vector<int32_t>{1, 2});
  EXPECT_EQ(t.Visitors.FirstNamed("*.example"), nullptr);
}

TEST_F(NamesTest, MoreMasksThanAreKeptStillFindTheFirst) {
  for (int i = 0; i < 200; ++i) Add("host" + std::to_string(i));
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 200; ++i) {
      ASSERT_EQ(t.Visitors.FirstNamed("*host" + std::to_string(i)), t.Visitors.At(i + 1)) << i;
    }
  }
}

TEST_F(NamesTest, FirstOfASiteIsFoundAmongThoseOfOthers) {
  VisitorRec& one = Add("a.example", 1);
  VisitorRec& two = Add("b.example", 2);
  EXPECT_EQ(t.Visitors.FirstNamed("*.example", 2), &two);
  EXPECT_EQ(t.Visitors.FirstNamed("*.example", 1), &one);
  EXPECT_EQ(t.Visitors.FirstNamed("*.example", 3), nullptr);
  VisitorRec& three = Add("c.example", 3);
  EXPECT_EQ(t.Visitors.FirstNamed("*.example", 3), &three);
  EXPECT_EQ(t.Visitors.FirstNamed("*.example"), &one) << "of any site, after it was asked for by site";
  t.Visitors.Remove(std::vector<int32_t>{one.Number});
  EXPECT_EQ(t.Visitors.FirstNamed("*.example", 1), nullptr);
  EXPECT_EQ(t.Visitors.FirstNamed("*.example", 2), &two);
}

// Against a walk through all visitors.
TEST_F(NamesTest, RandomChangesGiveTheSameAsAWalk) {
  std::mt19937 random(7);
  const std::string masks[] = {"*", "a*", "*b", "[a-c]?c", "nobody"};
  const auto name = [&] {
    std::string text(random() % 4, 'x');
    for (char& c : text) c = static_cast<char>('a' + random() % 3);
    return text;
  };
  for (int step = 0; step < 20'000; ++step) {
    const auto number = static_cast<int32_t>(random() % 80 + 1);
    VisitorRec* v = t.Visitors.At(number);
    if (t.Visitors.Count() < 40 || random() % 3 == 0) {
      if (t.Visitors.Count() < 60) Add(name(), static_cast<int16_t>(random() % 3 + 1));
    } else if (v && random() % 2 == 0) {
      t.Visitors.ChangeName(*v, name());
    } else if (v) {
      t.Visitors.Remove(std::vector<int32_t>{number});
      t.Visitors.CloseGaps();
    }
    const std::string& mask = masks[random() % std::size(masks)];
    const auto site = static_cast<int16_t>(step / 5'000 % 2 == 0 ? 0 : random() % 3 + 1);
    VisitorRec* first = nullptr;
    t.Visitors.ForEach([&](int32_t, VisitorRec& each) {
      if (!first && (site == 0 || each.Site == site) && Like(each.DNS, mask)) first = &each;
    });
    ASSERT_EQ(t.Visitors.FirstNamed(mask, site), first) << "step " << step << ", " << mask << " " << site;
  }
}

}  // namespace
}  // namespace vantry
