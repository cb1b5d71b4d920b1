#include "core/visitor_table.h"

#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/tables.h"

namespace vantry {
namespace {

TEST(VisitorTable, Find_TellsSitesApart) {
  VisitorTable table;
  const int32_t one = table.Add(1, "10.0.0.7");
  const int32_t two = table.Add(2, "10.0.0.7");
  EXPECT_EQ(table.Count(), 2);
  EXPECT_EQ(table.Find(1, "10.0.0.7"), one);
  EXPECT_EQ(table.Find(2, "10.0.0.7"), two);
  EXPECT_EQ(table.Find(3, "10.0.0.7"), 0);
  EXPECT_EQ(table.Find(1, "10.0.0.70"), 0);
  EXPECT_NE(table.At(one), table.At(two));
}

TEST(VisitorTable, At_IsNullOutsideAndInGaps) {
  VisitorTable table;
  for (int i = 0; i < 10; ++i) table.Add(1, std::to_string(i));
  table.Remove(std::vector<int32_t>{4});
  table.CloseGaps();
  EXPECT_EQ(table.At(0), nullptr);
  EXPECT_EQ(table.At(-1), nullptr);
  EXPECT_EQ(table.At(11), nullptr);
  EXPECT_EQ(table.At(4), nullptr);
  EXPECT_EQ(table.At(5)->IP, "4");
}

TEST(VisitorTable, Find_TakesTheEarlierOfTwoWithOneAddress) {
  VisitorTable table;
  const int32_t first = table.Add(1, "a");
  const int32_t second = table.Add(1, "b");
  table.ChangeAddress(*table.At(second), "a");
  EXPECT_EQ(table.Find(1, "a"), first);
  EXPECT_EQ(table.Find(1, "b"), 0);
  table.Remove(std::vector<int32_t>{first});
  table.CloseGaps();
  const int32_t left = table.Find(1, "a");
  ASSERT_NE(left, 0);
  EXPECT_EQ(table.At(left)->IP, "a");
  EXPECT_EQ(table.Count(), 1);
}

TEST(VisitorTable, Remove_KeepsTheOrderOfTheOthers) {
  VisitorTable table;
  for (int i = 0; i < 10; ++i) table.Add(1, std::to_string(i));
  table.Remove(std::vector<int32_t>{1, 2, 3, 5, 7, 9, 9, 42});
  table.CloseGaps();
  std::string order;
  table.ForEach([&](int32_t number, VisitorRec& v) {
    order += v.IP;
    EXPECT_EQ(table.At(number), &v);
    EXPECT_EQ(v.Number, number);
  });
  EXPECT_EQ(order, "3579");
  EXPECT_EQ(table.Count(), 4);
}

TEST(VisitorTable, Remove_OfAllLeavesATableThatStartsAtOne) {
  VisitorTable table;
  table.Add(1, "a");
  table.Remove(std::vector<int32_t>{1});
  table.CloseGaps();
  EXPECT_EQ(table.Count(), 0);
  EXPECT_EQ(table.Add(1, "b"), 1);
}

TEST(VisitorTable, AWalkMeetsThoseThatStayedOnceAndInOrder) {
  VisitorTable table;
  for (int i = 0; i < 20; ++i) table.Add(1, std::to_string(i));
  const auto walk = table.NewWalk();
  std::string met;
  const auto steps = [&](int count) {
    for (; count > 0 && !walk->Done(); --count) {
      if (const VisitorRec* v = table.Step(*walk)) met += v->IP + " ";
    }
  };
  steps(5);
  EXPECT_EQ(table.Removed(), 0u);
  table.Remove(std::vector<int32_t>{1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 20});
  EXPECT_EQ(table.Removed(), 13u);
  table.CloseGaps();
  EXPECT_EQ(table.LastNumber(), 7);
  table.Add(1, "late");
  steps(2);
  table.Remove(std::vector<int32_t>{1, 2, 3, 6, 8});
  table.CloseGaps();
  steps(100);
  EXPECT_EQ(met, "0 1 2 3 4 13 14 15 16 18 ") << "without those that left, and without whoever came later";
  table.Remove(std::vector<int32_t>{1, 2, 3, 4, 5, 6, 7, 8});
  table.CloseGaps();
  EXPECT_TRUE(walk->Done());
}

// The table beside a map from order of arrival to (site, address), and for each pair the set of its arrivals.
class Pair {
 public:
  void Add(int16_t site, const std::string& ip) {
    VisitorRec* v = table.At(table.Add(site, ip));
    v->StartPos = next_;
    order_[next_] = {site, ip};
    where_[{site, ip}].insert(next_++);
  }
  void Change(VisitorRec& v, const std::string& ip) {
    Forget(v.StartPos);
    table.ChangeAddress(v, ip);
    order_[v.StartPos] = {v.Site, ip};
    where_[{v.Site, ip}].insert(v.StartPos);
  }
  void Remove(const std::vector<int32_t>& numbers) {
    for (const int32_t n : numbers) {
      if (const VisitorRec* v = table.At(n)) gone_.insert(v->StartPos);
    }
    for (const int64_t n : gone_) {
      Forget(n);
      order_.erase(n);
    }
    gone_.clear();
    table.Remove(numbers);
    table.CloseGaps();
  }
  void CheckFind(int16_t site, const std::string& ip) const {
    const auto it = where_.find({site, ip});
    const VisitorRec* v = table.At(table.Find(site, ip));
    ASSERT_EQ(v != nullptr, it != where_.end());
    if (v) {
      ASSERT_EQ(v->StartPos, *it->second.begin());
    }
  }
  void CheckAll() const {
    ASSERT_EQ(static_cast<size_t>(table.Count()), order_.size());
    auto it = order_.begin();
    int32_t last = 0;
    table.ForEach([&](int32_t number, VisitorRec& v) {
      ASSERT_NE(it, order_.end());
      ASSERT_EQ(v.StartPos, it->first);
      ASSERT_EQ(std::pair(v.Site, std::string(v.IP)), it->second);
      ASSERT_GT(number, last);
      ASSERT_EQ(v.Number, number);
      last = number;
      ++it;
    });
    ASSERT_EQ(it, order_.end());
  }

  VisitorTable table;

 private:
  void Forget(int64_t n) {
    const auto it = where_.find(order_[n]);
    it->second.erase(n);
    if (it->second.empty()) where_.erase(it);
  }
  std::map<int64_t, std::pair<int16_t, std::string>> order_;
  std::map<std::pair<int16_t, std::string>, std::set<int64_t>> where_;
  std::set<int64_t> gone_;
  int64_t next_ = 0;
};

TEST(VisitorTable, RandomOperations_MatchAPlainModel) {
  Pair pair;
  std::mt19937 random(7);
  const auto ip = [&] { return "10.0." + std::to_string(random() % 4) + "." + std::to_string(random() % 500); };
  const auto site = [&] { return static_cast<int16_t>(1 + random() % 3); };
  for (int i = 0; i < 200'000; ++i) {
    const uint32_t kind = random() % 100;
    const int32_t top = 2 * pair.table.Count() + 2;
    if (kind < 40) {
      pair.Add(site(), ip());
    } else if (kind < 45) {
      VisitorRec* v = pair.table.At(static_cast<int32_t>(random() % static_cast<uint32_t>(top)));
      if (v) pair.Change(*v, ip());
    } else if (kind < 47) {
      std::vector<int32_t> numbers;
      for (size_t n = random() % 60; n > 0; --n) {
        numbers.push_back(static_cast<int32_t>(random() % static_cast<uint32_t>(top)));
      }
      pair.Remove(numbers);
    } else {
      ASSERT_NO_FATAL_FAILURE(pair.CheckFind(site(), ip()));
    }
    if (i % 2'000 == 0) {
      ASSERT_NO_FATAL_FAILURE(pair.CheckAll());
    }
  }
  ASSERT_NO_FATAL_FAILURE(pair.CheckAll());
}

TEST(VisitorTable, ArrivalsStayWhileNumbersChange) {
  VisitorTable table;
  std::vector<std::pair<uint64_t, std::string>> model;  // Arrival and address of those who are there.
  std::mt19937 random(5);
  uint64_t arrived = 0;
  for (int i = 0; i < 3'000; ++i) {
    const uint32_t kind = random() % 100;
    if (kind < 50) {
      const std::string ip = std::to_string(i);
      ASSERT_EQ(table.ArrivalAt(table.Add(1, ip)), ++arrived);
      model.emplace_back(arrived, ip);
    } else if (kind < 97 && !model.empty()) {
      const auto leaver = model.begin() + static_cast<std::ptrdiff_t>(random() % model.size());
      const int32_t number = table.FindArrival(leaver->first);
      ASSERT_EQ(table.At(number)->IP, leaver->second);
      table.Remove({&number, 1});
      ASSERT_EQ(table.FindArrival(leaver->first), 0) << "a gap";
      model.erase(leaver);
    } else {
      table.CloseGaps();
    }
    if (i % 50 != 0) continue;
    for (const auto& [arrival, ip] : model) {
      const int32_t number = table.FindArrival(arrival);
      ASSERT_NE(number, 0);
      ASSERT_EQ(table.At(number)->IP, ip);
      ASSERT_EQ(table.ArrivalAt(number), arrival);
      ASSERT_EQ(table.FirstFrom(arrival), number);
    }
    ASSERT_EQ(table.FirstFrom(arrived + 1), table.LastNumber() + 1);
    ASSERT_EQ(table.FindArrival(0), 0);
    ASSERT_EQ(table.FindArrival(arrived + 1), 0);
  }
}

TEST(VisitorTable, ChangesCountWhatAListShows) {
  VisitorTable table;
  uint64_t before = table.Changes();
  const auto changed = [&] { return std::exchange(before, table.Changes()) != table.Changes(); };
  const int32_t number = table.Add(1, "10.0.0.1");
  EXPECT_TRUE(changed());
  EXPECT_FALSE(changed());
  table.Touch(*table.At(number));
  EXPECT_TRUE(table.At(number)->GridDirty);
  EXPECT_TRUE(changed());
  table.NoteViewChange();
  EXPECT_TRUE(changed());
  table.Remove({&number, 1});
  EXPECT_TRUE(changed());
  table.Remove({&number, 1});
  EXPECT_FALSE(changed()) << "it had left already";
}

}  // namespace
}  // namespace vantry
