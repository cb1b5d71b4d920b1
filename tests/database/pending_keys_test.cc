// What waits in front of the index: changes by key, and where runs of keys end.
#include "database/pending_keys.h"

#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

namespace vantry {
namespace {

using Change = PendingKeys::Change;

std::string RandomKey(std::mt19937& random, size_t bytes, int alphabet) {
  std::string key(bytes, ' ');
  for (char& c : key) c = static_cast<char>(255 - random() % static_cast<unsigned>(alphabet));
  return key;
}

TEST(PendingKeys, TheNewestChangeOfAKeyCounts) {
  PendingKeys keys(3);
  keys.Set("abc", {1, false});
  keys.Set("abd", {2, false});
  keys.Set("abc", {3, false});
  keys.Set("abd", {0, true});
  EXPECT_EQ(keys.Count(), 2u);
  EXPECT_EQ(keys.Find("abc")->row, 3u);
  EXPECT_TRUE(keys.Find("abd")->erase);
  EXPECT_FALSE(keys.Find("abe"));
  EXPECT_FALSE(keys.Find("ab"));
  EXPECT_FALSE(keys.Find("abcd"));
  keys.Clear();
  EXPECT_EQ(keys.Count(), 0u);
  EXPECT_FALSE(keys.Find("abc"));
}

// Keys that begin alike for 8 and for 16 bytes, with bytes above 127, and keys shorter than that.
TEST(PendingKeys, HoldAndSortAsAMapDoes) {
  std::mt19937 random(7);
  for (const size_t bytes : {1u, 4u, 8u, 15u, 17u, 40u}) {
    PendingKeys keys(bytes);
    for (int round = 0; round < 4; ++round) {
      std::map<std::string, Change> model;
      const std::string front = RandomKey(random, bytes, 250);
      for (int i = 0; i < 3000; ++i) {
        std::string key = RandomKey(random, bytes, 250);
        const size_t same = std::min<size_t>(bytes - 1, static_cast<size_t>(round) * 8);
        key.replace(0, same, front, 0, same);
        const Change change{static_cast<uint32_t>(i), random() % 4 == 0};
        keys.Set(key, change);
        model[key] = change;
        const std::string other = RandomKey(random, bytes, 250);
        EXPECT_EQ(keys.Find(other).has_value(), model.contains(other));
      }
      ASSERT_EQ(keys.Count(), model.size());
      auto expected = model.begin();
      for (const uint32_t place : keys.Sorted()) {
        ASSERT_EQ(keys.KeyAt(place), expected->first);
        ASSERT_EQ(keys.ChangeAt(place).row, expected->second.row);
        ASSERT_EQ(keys.ChangeAt(place).erase, expected->second.erase);
        ASSERT_EQ(keys.Find(expected->first)->row, expected->second.row);
        ++expected;
      }
      keys.Clear();
    }
  }
}

TEST(PendingKeys, TheFirstKeyOfABeginningIsKnown) {
  std::mt19937 random(9);
  PendingKeys keys(5);
  std::map<std::string, Change> model;
  const auto expect = [&](const std::string& beginning, const std::string& after) {
    ASSERT_TRUE(keys.GroupBy(beginning.size()));
    const auto first = keys.FirstOfGroup(beginning, after);
    const auto expected = after.empty() ? model.lower_bound(beginning) : model.upper_bound(after);
    ASSERT_EQ(first.has_value(), expected != model.end() && expected->first.starts_with(beginning));
    if (!first) return;
    ASSERT_EQ(keys.KeyAt(*first), expected->first);
    ASSERT_EQ(keys.ChangeAt(*first).row, expected->second.row);
  };
  for (uint32_t i = 0; i < 3000; ++i) {
    const std::string key = RandomKey(random, 5, 4);
    keys.Set(key, {i, false});
    model[key] = {i, false};
    // Beginnings of another length are learned from the keys that wait already.
    const size_t bytes = i < 1500 ? 2 : 3;
    const std::string beginning = RandomKey(random, bytes, 5);
    ASSERT_NO_FATAL_FAILURE(expect(beginning, "")) << i;
    ASSERT_NO_FATAL_FAILURE(expect(beginning, beginning + RandomKey(random, 5 - bytes, 4))) << i;
    if (i % 700 != 0) continue;
    keys.Clear();
    model.clear();
  }
  EXPECT_FALSE(keys.GroupBy(0));
  EXPECT_FALSE(keys.GroupBy(6));
  keys.Set("abcde", {0, true});
  EXPECT_FALSE(keys.GroupBy(3)) << "the index may have what is to be erased";
  keys.Clear();
  EXPECT_TRUE(keys.GroupBy(3));
  EXPECT_FALSE(keys.FirstOfGroup("abc"));
}

constexpr size_t kCounted = KnownEnds::kCountedBytes;

// A key of a run, counted by its last bytes.
std::string KeyOf(const std::string& run, uint64_t count) {
  std::string key = run + std::string(kCounted, '\0');
  for (size_t i = 0; i < kCounted; ++i, count >>= 8) key[key.size() - 1 - i] = static_cast<char>(count & 255);
  return key;
}

TEST(KnownEnds, NothingIsLookedForBehindTheLastKeyOfARun) {
  KnownEnds ends(2 + kCounted);
  const auto key = [](uint64_t n) { return KeyOf("ab", 254 + n); };
  EXPECT_FALSE(ends.Absent(key(1)));
  ends.Learn(key(1));
  EXPECT_TRUE(ends.Absent(key(1)));
  EXPECT_TRUE(ends.Absent(key(2)));
  EXPECT_FALSE(ends.Absent(key(0)));
  EXPECT_FALSE(ends.Absent(KeyOf("ac", 300)));
  ends.Added(key(1));
  EXPECT_FALSE(ends.Absent(key(1)));
  EXPECT_TRUE(ends.Absent(key(2)));
  ends.Taken();
  ends.Applied();
  EXPECT_TRUE(ends.Absent(key(2)));
  ends.Clear();
  EXPECT_FALSE(ends.Absent(key(2)));
}

TEST(KnownEnds, OfARunThatIsNotKnownNothingIsLearnedWhileItsKeysWait) {
  KnownEnds ends(2 + kCounted);
  ends.Added(KeyOf("ab", 5));
  ends.Learn(KeyOf("ab", 3));  // The index, which was asked, does not have the key yet.
  EXPECT_FALSE(ends.Absent(KeyOf("ab", 5)));
  ends.Taken();
  ends.Applied();
  ends.Learn(KeyOf("ab", 6));
  EXPECT_TRUE(ends.Absent(KeyOf("ab", 6)));
  EXPECT_FALSE(ends.Absent(KeyOf("ab", 5)));
}

// Of a known run the index does not yet have what was added: that it finds nothing there says nothing.
TEST(KnownEnds, WhatWaitsOfAKnownRunIsNotForgotten) {
  KnownEnds ends(2 + kCounted);
  ends.Learn(KeyOf("ab", 5));
  ends.Added(KeyOf("ab", 5));
  ends.Learn(KeyOf("ab", 3));
  EXPECT_FALSE(ends.Absent(KeyOf("ab", 5)));
}

TEST(KnownEnds, BehindTheLastNumberThereIsNothingToKnow) {
  KnownEnds ends(1 + kCounted);
  const std::string last = KeyOf("a", UINT64_MAX);
  ends.Learn(KeyOf("a", UINT64_MAX - 1));
  ends.Added(last);
  EXPECT_FALSE(ends.Absent(last));
  ends.Learn(last);
  EXPECT_FALSE(ends.Absent(last));
}

// Keys in an index and keys that wait in front of it, asked for as IndexFile does.
struct Ends {
  size_t key_bytes;
  KnownEnds ends;
  std::set<std::string> index, moving, waiting;
  size_t known = 0;
  explicit Ends(size_t bytes, size_t max_runs = KnownEnds::kMaxRuns) : key_bytes(bytes), ends(bytes, max_runs) {}

  void Look(const std::string& key) {
    const bool there = index.contains(key) || moving.contains(key) || waiting.contains(key);
    if (ends.Absent(key)) {
      ++known;
      ASSERT_FALSE(there);
      return;
    }
    if (there) return;
    const auto next = index.lower_bound(key);
    const size_t run = key_bytes - std::min(key_bytes, KnownEnds::kCountedBytes);
    if (next == index.end() || next->substr(0, run) != key.substr(0, run)) ends.Learn(key);
  }
  void Add(const std::string& key) {
    waiting.insert(key);
    ends.Added(key);
  }
  void Erase(const std::string& key) {
    for (auto* keys : {&index, &moving, &waiting}) keys->erase(key);
  }
  // What waits is on its way, and more may follow.
  void Take() {
    if (!moving.empty()) return;
    moving.swap(waiting);
    ends.Taken();
  }
  void Arrive() {
    index.merge(moving);
    moving.clear();
    ends.Applied();
  }
  void Apply() {
    Arrive();
    Take();
    Arrive();
  }
};

TEST(KnownEnds, NeverCallAKeyAbsentThatIsThere) {
  std::mt19937 random(11);
  for (const size_t bytes : {size_t{1}, kCounted, kCounted + 1, kCounted + 2, kCounted + 5}) {
    Ends model(bytes);
    for (uint64_t i = 0; i < 100'000; ++i) {
      std::string key = RandomKey(random, bytes, 3);
      // The ends move on, as the pages of a visit do.
      if (bytes > kCounted) key = KeyOf(key.substr(kCounted), random() % (i / 200 + 3));
      switch (random() % 16) {
        case 0:
          model.Erase(key);
          break;
        case 1:
          if (random() % 10 == 0) model.Take();
          if (random() % 10 == 0) model.Arrive();
          break;
        case 2:
        case 3:
          model.Add(key);
          break;
        default:
          ASSERT_NO_FATAL_FAILURE(model.Look(key)) << "after " << i << " steps, keys of " << bytes;
      }
      // As when the tree is emptied, with what waits.
      if (random() % 5000 == 0) {
        model.ends.Clear();
        for (auto* keys : {&model.index, &model.moving, &model.waiting}) keys->clear();
      }
    }
    if (bytes > kCounted) {
      EXPECT_GT(model.known, 1000u) << bytes;
    } else {
      EXPECT_EQ(model.known, 0u) << bytes;
    }
  }
}

// Pages of more visits than are remembered, counted up.
TEST(KnownEnds, MoreRunsThanAreRemembered) {
  constexpr size_t kMaxRuns = 128 * 1024;
  Ends model(4 + kCounted, kMaxRuns);
  const size_t runs = kMaxRuns * 2 / 3;
  for (uint64_t round = 0; round < 4; ++round) {
    for (size_t run = 0; run < runs; ++run) {
      std::string name = "0000";
      if (round % 2 == 1) name[0] = 'x';  // Other runs, which together are too many.
      for (size_t at = 3, rest = run; rest > 0; rest /= 36)
        name[at--] = "0123456789abcdefghijklmnopqrstuvwxyz"[rest % 36];
      const std::string key = KeyOf(name, round);
      ASSERT_NO_FATAL_FAILURE(model.Look(key));
      model.Add(key);
      ASSERT_NO_FATAL_FAILURE(model.Look(key));
      ASSERT_NO_FATAL_FAILURE(model.Look(KeyOf(name, round + 1)));
      if (run % 3000 == 0) model.Apply();
    }
  }
  for (const auto& key : std::set<std::string>(model.index)) ASSERT_NO_FATAL_FAILURE(model.Look(key));
  EXPECT_GT(model.known, runs);
}

}  // namespace
}  // namespace vantry
