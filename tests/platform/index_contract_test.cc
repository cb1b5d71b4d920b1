// One contract, run on LMDB and on the index in memory that the tests of the tables lean on.
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/lmdb_index.h"
#include "support/memory_index.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

struct RealIndex {
  TempFolder temp;
  LmdbIndex store;
  std::string path = temp.path + "index";
};
struct FakeIndex {
  MemoryDataFiles disk;
  MemoryIndex store{disk};
  std::string path = "/index";
};

template <class Index>
struct IndexContract : ::testing::Test {
  Index index;
  IndexStore& store = index.store;

  int Open(const std::string& tree = "tree") {
    EXPECT_TRUE(store.Open(index.path).ok());
    int number = -1;
    const Status status = store.OpenTree(tree, number);
    EXPECT_TRUE(status.ok()) << status.text;
    return number;
  }
  void Put(int tree, std::initializer_list<std::pair<const char*, uint32_t>> keys) {
    for (const auto& [key, row] : keys) ASSERT_TRUE(store.Put(tree, key, row).ok());
  }
  // "key=row", "-" for none, "!" for a failure.
  std::string Find(int tree, Seek how, std::string_view key) {
    IndexEntry entry;
    const Status status = store.Find(tree, how, key, entry);
    if (status.ok()) return std::string(entry.key) + "=" + std::to_string(entry.row);
    return status.fail == Fail::kNotFound ? "-" : "! " + status.text;
  }
  std::string All(int tree) {
    std::string text, key;
    IndexEntry entry;
    for (Status s = store.Find(tree, Seek::kAtOrAfter, "", entry); s.ok();
         s = store.Find(tree, Seek::kAfter, key, entry)) {
      key = entry.key;
      text += key + "=" + std::to_string(entry.row) + " ";
    }
    return text;
  }
};
using Indexes = ::testing::Types<RealIndex, FakeIndex>;
TYPED_TEST_SUITE(IndexContract, Indexes);

TYPED_TEST(IndexContract, FindsAsItIsAsked) {
  const int tree = this->Open();
  ASSERT_NO_FATAL_FAILURE(this->Put(tree, {{"b", 1}, {"bb", 2}, {"d", 3}, {"\xFF", 4}}));
  struct Case {
    const char *key, *equal, *at_or_after, *after, *before;
  };
  for (const Case& c : {Case{"a", "-", "b=1", "b=1", "-"}, Case{"b", "b=1", "b=1", "bb=2", "-"},
                        Case{"ba", "-", "bb=2", "bb=2", "b=1"}, Case{"bb", "bb=2", "bb=2", "d=3", "b=1"},
                        Case{"bbb", "-", "d=3", "d=3", "bb=2"}, Case{"d", "d=3", "d=3", "\xFF=4", "bb=2"},
                        Case{"e", "-", "\xFF=4", "\xFF=4", "d=3"}, Case{"\xFF", "\xFF=4", "\xFF=4", "-", "d=3"},
                        Case{"\xFF\xFF", "-", "-", "-", "\xFF=4"}, Case{"", "-", "b=1", "b=1", "-"}}) {
    EXPECT_EQ(this->Find(tree, Seek::kEqual, c.key), c.equal) << c.key;
    EXPECT_EQ(this->Find(tree, Seek::kAtOrAfter, c.key), c.at_or_after) << c.key;
    EXPECT_EQ(this->Find(tree, Seek::kAfter, c.key), c.after) << c.key;
    EXPECT_EQ(this->Find(tree, Seek::kBefore, c.key), c.before) << c.key;
  }
}

TYPED_TEST(IndexContract, AnEmptyTreeFindsNothing) {
  const int tree = this->Open();
  for (const Seek how : {Seek::kEqual, Seek::kAtOrAfter, Seek::kAfter, Seek::kBefore}) {
    EXPECT_EQ(this->Find(tree, how, ""), "-");
    EXPECT_EQ(this->Find(tree, how, "b"), "-");
  }
}

TYPED_TEST(IndexContract, ATextLongerThanAnyKeyIsLookedForAllTheSame) {
  const int tree = this->Open();
  const std::string longest(IndexStore::kMaxKeyBytes, 'm');
  ASSERT_TRUE(this->store.Put(tree, longest, 7).ok());
  ASSERT_NO_FATAL_FAILURE(this->Put(tree, {{"a", 1}, {"z", 2}}));
  EXPECT_EQ(this->Find(tree, Seek::kEqual, longest), longest + "=7");
  for (const size_t bytes : {IndexStore::kMaxKeyBytes + 1, size_t{600}, size_t{100'000}}) {
    const std::string text(bytes, 'm');
    EXPECT_EQ(this->Find(tree, Seek::kEqual, text), "-");
    EXPECT_EQ(this->Find(tree, Seek::kAtOrAfter, text), "z=2");
    EXPECT_EQ(this->Find(tree, Seek::kAfter, text), "z=2");
    EXPECT_EQ(this->Find(tree, Seek::kBefore, text), longest + "=7");
  }
}

TYPED_TEST(IndexContract, PutChangesAndEraseErases) {
  const int tree = this->Open();
  ASSERT_NO_FATAL_FAILURE(this->Put(tree, {{"a", 1}, {"b", 2}, {"a", 4'294'967'295}}));
  EXPECT_TRUE(this->store.Erase(tree, "b").ok());
  EXPECT_TRUE(this->store.Erase(tree, "b").ok());
  EXPECT_TRUE(this->store.Erase(tree, "none").ok());
  EXPECT_EQ(this->All(tree), "a=4294967295 ");
}

TYPED_TEST(IndexContract, TreesAreApart) {
  const int tree = this->Open();
  int other = -1, again = -1;
  ASSERT_NO_FATAL_FAILURE(this->Put(tree, {{"a", 1}}));
  ASSERT_TRUE(this->store.OpenTree("other", other).ok());
  ASSERT_NE(tree, other);
  ASSERT_NO_FATAL_FAILURE(this->Put(other, {{"a", 2}, {"b", 3}}));
  ASSERT_TRUE(this->store.OpenTree("tree", again).ok());
  EXPECT_EQ(again, tree);
  EXPECT_EQ(this->All(tree), "a=1 ");
  EXPECT_EQ(this->All(other), "a=2 b=3 ");
  EXPECT_TRUE(this->store.EmptyTree(other).ok());
  EXPECT_EQ(this->All(tree), "a=1 ");
  EXPECT_EQ(this->All(other), "");
  ASSERT_NO_FATAL_FAILURE(this->Put(other, {{"c", 4}}));
  EXPECT_TRUE(this->store.Commit(true).ok());
  EXPECT_EQ(this->All(other), "c=4 ");
}

TYPED_TEST(IndexContract, WhatWasCommittedIsThereAfterAnOpening) {
  for (const bool durable : {false, true}) {
    int tree = this->Open();
    EXPECT_TRUE(this->store.EmptyTree(tree).ok());
    ASSERT_NO_FATAL_FAILURE(this->Put(tree, {{"a", 1}, {"b", 2}}));
    EXPECT_TRUE(this->store.Commit(durable).ok());
    EXPECT_TRUE(this->store.Commit(durable).ok());
    ASSERT_NO_FATAL_FAILURE(this->Put(tree, {{"c", 3}}));
    EXPECT_TRUE(this->store.Erase(tree, "a").ok());
    EXPECT_EQ(this->All(tree), "b=2 c=3 ");
    this->store.Close();
    tree = this->Open();
    EXPECT_EQ(this->All(tree), "a=1 b=2 ") << "what was not committed is gone";
  }
}

TYPED_TEST(IndexContract, ClosedItFailsAndDoesNoHarm) {
  const auto expect_closed = [&](int tree) {
    IndexEntry entry;
    int number = 0;
    EXPECT_EQ(this->store.OpenTree("tree", number).fail, Fail::kIo);
    EXPECT_EQ(this->store.EmptyTree(tree).fail, Fail::kIo);
    EXPECT_EQ(this->store.Put(tree, "a", 1).fail, Fail::kIo);
    EXPECT_EQ(this->store.Erase(tree, "a").fail, Fail::kIo);
    EXPECT_EQ(this->store.Find(tree, Seek::kEqual, "a", entry).fail, Fail::kIo);
    EXPECT_EQ(this->store.Commit(true).fail, Fail::kIo);
    this->store.Close();
  };
  expect_closed(0);
  const int tree = this->Open();
  this->store.Close();
  expect_closed(tree);
}

TYPED_TEST(IndexContract, AFileThatWasRemovedIsMadeAnew) {
  int tree = this->Open();
  ASSERT_NO_FATAL_FAILURE(this->Put(tree, {{"a", 1}}));
  EXPECT_TRUE(this->store.Commit(true).ok());
  this->store.Close();
  if constexpr (std::is_same_v<TypeParam, RealIndex>) {
    std::filesystem::remove(this->index.path);
  } else {
    this->index.disk.entries.erase(this->index.path);
  }
  tree = this->Open();
  EXPECT_EQ(this->All(tree), "");
}

// Small keys and many deletions, so that pages split and join, against a map.
TYPED_TEST(IndexContract, BehavesAsAMap) {
#ifdef __SANITIZE_ADDRESS__
  constexpr int kSteps = 60'000;
#else
  constexpr int kSteps = 400'000;
#endif
  const int tree = this->Open();
  std::map<std::string, uint32_t, std::less<>> model;
  std::mt19937 random(5);
  const auto key = [&] {
    std::string text(1 + random() % 40, 'x');
    for (char& c : text) c = static_cast<char>('a' + random() % 3);
    return text;
  };
  for (int i = 0; i < kSteps; ++i) {
    const std::string k = key();
    const unsigned what = random() % 16;
    // It grows for a while, then it shrinks.
    if (what < (i / 5000 % 2 == 0 ? 7u : 2u)) {
      ASSERT_TRUE(this->store.Put(tree, k, static_cast<uint32_t>(i)).ok());
      model[k] = static_cast<uint32_t>(i);
    } else if (what < 9) {
      const auto at = model.lower_bound(k);
      const std::string victim = at == model.end() ? k : at->first;
      ASSERT_TRUE(this->store.Erase(tree, victim).ok());
      model.erase(victim);
    } else if (what == 15 && random() % 64 == 0) {
      ASSERT_TRUE(this->store.Commit(random() % 16 == 0).ok());
    } else {
      const Seek how = static_cast<Seek>(random() % 4);
      auto at = how == Seek::kAfter ? model.upper_bound(k) : model.lower_bound(k);
      if (how == Seek::kBefore) at = at == model.begin() ? model.end() : std::prev(at);
      if (how == Seek::kEqual && at != model.end() && at->first != k) at = model.end();
      const std::string expected = at == model.end() ? "-" : at->first + "=" + std::to_string(at->second);
      ASSERT_EQ(this->Find(tree, how, k), expected) << "step " << i;
    }
  }
}

}  // namespace
}  // namespace vantry
