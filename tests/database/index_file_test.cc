// The batches in front of the index, with a store that fails on command: whatever fails and when, what a good commit
// leaves in the store is what was asked for.
#include "database/index_file.h"

#include <random>

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/memory_index.h"

namespace vantry {
namespace {

static_assert(KnownEnds::kCountedBytes < 11);

// Of the twelve bytes that keys have here.
std::string NumberedKey(uint32_t number) {
  return "ab" + PadNumber(number, 10);
}

struct IndexRig {
  MemoryDataFiles disk;
  MemoryIndex store{disk};
  IndexFile index{store};
  std::map<std::string, uint32_t, std::less<>> model[2];  // By tree.
  std::mt19937 random{3};
  int calls = 0;
  int failed = 0;
  std::function<bool(int call)> fails = [](int) { return false; };

  IndexRig() {
    store.fails = [this](const std::string&) {
      const bool fail = fails(++calls);
      failed += fail;
      return fail;
    };
  }
  void Open(size_t batch) {
    ASSERT_TRUE(index.Open("/index").ok());
    for (int tree = 0; tree < 2; ++tree) {
      int number = -1;
      ASSERT_TRUE(index.OpenTree("tree" + std::to_string(tree), 12, number).ok());
      ASSERT_EQ(number, tree);
    }
    ASSERT_TRUE(index.Commit(true).ok());
    index.SetBatch(batch);
    calls = 0;
  }
  // Of some runs, counted at their end.
  std::string Key() {
    std::string key = "ab0000000000";
    key[1] = static_cast<char>('a' + random() % 12);
    key[11] = static_cast<char>('0' + random() % 10);
    return key;
  }
  void Set(int tree, const std::string& key, uint32_t row) {
    index.Set(tree, key, row);
    model[tree][key] = row;
  }
  void Erase(int tree, const std::string& key) {
    index.Erase(tree, key);
    model[tree].erase(key);
  }
  // A look-up may fail with the store, but never tell a wrong thing.
  void Find(int tree, Seek how, const std::string& key) {
    FoundKey found;
    const int failed_before = failed;
    const Status status = index.Find(tree, how, key, found);
    if (failed > failed_before && status.fail == Fail::kIo) return;
    const auto& keys = model[tree];
    auto at = how == Seek::kAfter ? keys.upper_bound(key) : keys.lower_bound(key);
    if (how == Seek::kBefore) at = at == keys.begin() ? keys.end() : std::prev(at);
    if (how == Seek::kEqual && at != keys.end() && at->first != key) at = keys.end();
    ASSERT_EQ(status.fail, at == keys.end() ? Fail::kNotFound : Fail::kNone) << key << ": " << status.text;
    if (!status.ok()) return;
    ASSERT_EQ(found.key, at->first);
    ASSERT_EQ(found.row, at->second);
  }
  void FindBeginning(int tree, const std::string& beginning, const std::string& after = "") {
    FoundKey found;
    const int failed_before = failed;
    const Status status = index.FindBeginning(tree, beginning, found, after);
    if (failed > failed_before && status.fail == Fail::kIo) return;
    const auto at = after.empty() ? model[tree].lower_bound(beginning) : model[tree].upper_bound(after);
    const bool there = at != model[tree].end() && at->first.starts_with(beginning);
    ASSERT_EQ(status.fail, there ? Fail::kNone : Fail::kNotFound) << beginning << ": " << status.text;
    if (!there) return;
    ASSERT_EQ(found.key, at->first);
    ASSERT_EQ(found.row, at->second);
  }
  void Commit() {
    const int failed_before = failed;
    const bool durable = random() % 2 == 0;
    const Status status = index.Commit(durable);
    ASSERT_EQ(status.ok(), failed == failed_before) << status.text;
    if (!status.ok()) return;
    ASSERT_NO_FATAL_FAILURE(ExpectKept());
    ASSERT_TRUE(index.Changed() || store.durable);
    ASSERT_FALSE(index.Changed() && durable);
  }
  void ExpectKept() {
    for (int tree = 0; tree < 2; ++tree) {
      const auto& kept = store.stored["/index"]["tree" + std::to_string(tree)];
      ASSERT_TRUE(kept == model[tree]) << kept.size() << " keys instead of " << model[tree].size();
    }
  }
  void Step() {
    const int tree = static_cast<int>(random() % 2);
    const std::string key = Key();
    switch (random() % 14) {
      case 12:
        return FindBeginning(tree, key.substr(0, 2));
      case 13:
        return FindBeginning(tree, key.substr(0, 2), key);
      case 0:
        return Commit();
      case 1:
      case 2:
        return Erase(tree, key);
      case 3:
        return Find(tree, Seek::kAtOrAfter, key);
      case 4:
        return Find(tree, Seek::kAfter, key);
      case 5:
        return Find(tree, Seek::kBefore, key);
      case 6:
      case 7:
        return Set(tree, key, random());
      default:
        return Find(tree, Seek::kEqual, key);
    }
  }
};

TEST(IndexFile, ChangesAreSeenAtOnceAndKeptByCommit) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(1000));
  EXPECT_FALSE(rig.index.Changed());
  rig.Set(0, "ab0000000001", 7);
  EXPECT_TRUE(rig.index.Changed());
  EXPECT_TRUE(rig.store.stored["/index"]["tree0"].empty()) << "it waits";
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, "ab0000000001"));
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kAtOrAfter, "ab0000000001"));
  ASSERT_NO_FATAL_FAILURE(rig.Find(1, Seek::kAtOrAfter, "ab0000000001"));
  rig.Erase(0, "ab0000000001");
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, "ab0000000001"));
  rig.Set(0, "ab0000000002", 8);
  EXPECT_TRUE(rig.index.Commit(true).ok());
  EXPECT_TRUE(rig.store.durable);
  EXPECT_FALSE(rig.index.Changed());
  ASSERT_NO_FATAL_FAILURE(rig.ExpectKept());
}

TEST(IndexFile, WhatWasOpenBeforeIsDropped) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(1000));
  rig.Set(0, "ab0000000001", 7);
  ASSERT_NO_FATAL_FAILURE(rig.Open(1000));
  EXPECT_FALSE(rig.index.Changed());
  rig.model[0].clear();
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, "ab0000000001"));
}

TEST(IndexFile, AnEmptiedTreeHasNothingOfBefore) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(4));
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 30; ++i) rig.Set(i % 2, rig.Key(), 1);
    if (round == 1) {
      ASSERT_TRUE(rig.index.Commit(false).ok());
    }
    ASSERT_TRUE(rig.index.EmptyTree(0).ok());
    rig.model[0].clear();
    for (int i = 0; i < 30; ++i) ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, rig.Key()));
    ASSERT_NO_FATAL_FAILURE(rig.Commit());
  }
}

TEST(IndexFile, KeysOfALengthThatCantBeIndexedAreRefused) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(1000));
  int tree = 0;
  EXPECT_EQ(rig.index.OpenTree("none", 0, tree).fail, Fail::kBadData);
  EXPECT_EQ(rig.index.OpenTree("long", IndexStore::kMaxKeyBytes + 1, tree).fail, Fail::kBadData);
  EXPECT_TRUE(rig.index.OpenTree("just", IndexStore::kMaxKeyBytes, tree).ok());
  int again = 0;
  EXPECT_TRUE(rig.index.OpenTree("just", IndexStore::kMaxKeyBytes, again).ok());
  EXPECT_EQ(again, tree);
}

// Who asks for the first key of a beginning, as for each new address, leaves the batch as it is.
TEST(IndexFile, LookingForABeginningAppliesNothing) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(1000));
  rig.Set(0, "ab0000000004", 4);
  rig.Set(0, "ad0000000007", 7);
  ASSERT_NO_FATAL_FAILURE(rig.Commit());
  rig.Set(0, "ab0000000003", 3);
  rig.Set(0, "ac0000000009", 9);
  rig.Set(0, "ad0000000007", 8);
  for (const char* beginning : {"aa", "ab", "ac", "ad", "ae", "a", "ac0000000009"}) {
    ASSERT_NO_FATAL_FAILURE(rig.FindBeginning(0, beginning));
  }
  ASSERT_NO_FATAL_FAILURE(rig.FindBeginning(0, "ab", "ab0000000003"));
  ASSERT_NO_FATAL_FAILURE(rig.FindBeginning(0, "ab", "ab0000000004"));
  EXPECT_EQ(rig.store.stored["/index"]["tree0"].size(), 2u);
  rig.Erase(0, "ab0000000003");
  ASSERT_NO_FATAL_FAILURE(rig.FindBeginning(0, "ab"));
  ASSERT_NO_FATAL_FAILURE(rig.FindBeginning(0, "ab", "ab0000000003"));
}

TEST(IndexFile, BehavesAsAMapWhateverTheBatch) {
  for (const size_t batch : {1u, 2u, 7u, 50u}) {
    IndexRig rig;
    ASSERT_NO_FATAL_FAILURE(rig.Open(batch));
    for (int i = 0; i < 20'000; ++i) ASSERT_NO_FATAL_FAILURE(rig.Step()) << "step " << i << ", batch " << batch;
  }
}

// One call of the store fails, the first, the second and so on; or several from there on.
TEST(IndexFile, NothingIsLostWhicheverCallFails) {
  for (const int length : {1, 2, 40}) {
    for (int first = 1; first < 150; ++first) {
      for (const size_t batch : {2u, 25u}) {
        IndexRig rig;
        ASSERT_NO_FATAL_FAILURE(rig.Open(batch));
        rig.random.seed(static_cast<unsigned>(first));
        rig.fails = [&](int call) { return call >= first && call < first + length; };
        for (int i = 0; i < 150; ++i) ASSERT_NO_FATAL_FAILURE(rig.Step()) << "call " << first << ", step " << i;
        rig.fails = [](int) { return false; };
        ASSERT_NO_FATAL_FAILURE(rig.Commit()) << "call " << first;
      }
    }
  }
}

TEST(IndexFile, NothingIsLostWithAStoreThatOftenFails) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(5));
  std::mt19937 dice(5);
  rig.fails = [&](int) { return dice() % 5 == 0; };
  for (int i = 0; i < 50'000; ++i) ASSERT_NO_FATAL_FAILURE(rig.Step()) << "step " << i;
  EXPECT_GT(rig.failed, 1000);
  rig.fails = [](int) { return false; };
  ASSERT_NO_FATAL_FAILURE(rig.Commit());
}

// What a failed commit has taken back counts among the keys of its run, which the store does not have.
TEST(IndexFile, AKeyThatWasTakenBackIsNotForgotten) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(1000));
  rig.Set(0, "ab0000000005", 5);
  rig.store.fails = [](const std::string& call) { return call == "commit"; };
  EXPECT_FALSE(rig.index.Commit(false).ok());
  rig.store.fails = nullptr;
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, "ab0000000003"));
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, "ab0000000005"));
}

// Big batches are committed on the way; each of these commits fails once, and once all from there on for a while.
TEST(IndexFile, ABigBatchIsCommittedInPieces) {
  constexpr uint32_t kKeys = 2 * IndexFile::kCommitEvery + 100;
  for (int broken = 0; broken <= 3; ++broken) {
    IndexRig rig;
    ASSERT_NO_FATAL_FAILURE(rig.Open(IndexFile::kBigBatch));
    const int commits_before = rig.store.commits;
    for (uint32_t i = 0; i < kKeys; ++i) rig.Set(0, NumberedKey(i * 7919 % 1'000'000), i);
    int commits = 0;
    rig.store.fails = [&](const std::string& call) { return call == "commit" && ++commits == broken; };
    EXPECT_EQ(rig.index.Commit(true).ok(), broken == 0);
    if (broken == 0) {
      EXPECT_EQ(rig.store.commits - commits_before, 3);
    }
    rig.Set(0, NumberedKey(7919), 12345);
    rig.Erase(0, NumberedKey(0));
    ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, NumberedKey(7919)));
    EXPECT_TRUE(rig.index.Commit(true).ok());
    ASSERT_NO_FATAL_FAILURE(rig.ExpectKept());
  }
}

TEST(IndexFile, ManyChangesSettleInPieces) {
  constexpr uint32_t kKeys = IndexFile::kSettleAtOnce;
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(IndexFile::kBatch));
  for (uint32_t i = 0; i < kKeys; ++i) rig.Set(0, NumberedKey(i), i);
  rig.calls = 0;
  EXPECT_TRUE(rig.index.Settle()) << "so many are left to Commit";
  EXPECT_EQ(rig.calls, 0);
  for (uint32_t i = 0; i < kKeys; ++i) rig.Set(1, NumberedKey(i), i);
  EXPECT_FALSE(rig.index.Settle());
  EXPECT_GE(rig.calls, static_cast<int>(kKeys)) << "half of them";
  EXPECT_LE(rig.calls, static_cast<int>(kKeys + kKeys / IndexFile::kCommitEvery));
  EXPECT_TRUE(rig.index.Changed());
  rig.Set(0, NumberedKey(7), 12345);
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, NumberedKey(7)));
  ASSERT_NO_FATAL_FAILURE(rig.Find(1, Seek::kEqual, NumberedKey(7)));
  EXPECT_FALSE(rig.index.Settle());
  EXPECT_TRUE(rig.index.Settle());
  ASSERT_NO_FATAL_FAILURE(rig.Commit());
  EXPECT_TRUE(rig.index.Settle());
}

TEST(IndexFile, AStoreThatFailsIsLeftToCommit) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(IndexFile::kBatch));
  for (uint32_t i = 0; i <= IndexFile::kSettleAtOnce; ++i) rig.Set(0, NumberedKey(i), i);
  rig.fails = [](int) { return true; };
  EXPECT_TRUE(rig.index.Settle());
  EXPECT_FALSE(rig.index.Commit(true).ok());
  rig.fails = [](int) { return false; };
  EXPECT_FALSE(rig.index.Settle());
  ASSERT_NO_FATAL_FAILURE(rig.Commit());
}

TEST(IndexFile, AStoreThatTakesNothingIsNotAskedForEachKey) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(10));
  rig.fails = [](int) { return true; };
  uint32_t n = 0;
  while (rig.index.HasRoom()) {
    ++n;
    rig.Set(0, NumberedKey(n), n);
    ASSERT_LT(n, 1000u);
  }
  EXPECT_EQ(n, 10 * IndexFile::kMaxWaiting);
  EXPECT_LE(rig.calls, 2) << "the first batch alone, and the end of what it began";
  rig.fails = [](int) { return false; };
  ASSERT_NO_FATAL_FAILURE(rig.Commit());
  EXPECT_TRUE(rig.index.HasRoom());
  EXPECT_EQ(rig.store.stored["/index"]["tree0"].size(), n);
}

TEST(IndexFile, WhileItIsHeldNothingReachesTheStore) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(4));
  rig.Set(0, "ab0000000001", 1);
  ASSERT_NO_FATAL_FAILURE(rig.Commit());
  rig.index.Hold(true);
  rig.calls = 0;
  for (int i = 0; i < 12; ++i) rig.Set(0, "ab000000000" + std::to_string(i % 10), 7);
  rig.Erase(0, "ab0000000003");
  EXPECT_EQ(rig.calls, 0);
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, "ab0000000002"));
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kEqual, "ab0000000003"));
  FoundKey found;
  EXPECT_EQ(rig.index.Find(0, Seek::kAtOrAfter, "ab0000000001", found).fail, Fail::kIo);
  EXPECT_EQ(rig.index.Commit(true).fail, Fail::kIo);
  EXPECT_EQ(rig.store.stored["/index"]["tree0"].size(), 1u);
  ASSERT_NO_FATAL_FAILURE(rig.Find(1, Seek::kAtOrAfter, ""));  // Of this tree nothing waits.
  rig.index.Hold(false);
  ASSERT_NO_FATAL_FAILURE(rig.Find(0, Seek::kAtOrAfter, "ab0000000001"));
  ASSERT_NO_FATAL_FAILURE(rig.Commit());
}

TEST(IndexFile, AStoreThatCantBeOpenedLeavesNoTreeToUse) {
  IndexRig rig;
  ASSERT_NO_FATAL_FAILURE(rig.Open(10));
  rig.store.fails = [](const std::string& call) { return call == "open"; };
  EXPECT_FALSE(rig.index.Open("/index").ok());
  FoundKey found;
  EXPECT_FALSE(rig.index.Find(0, Seek::kEqual, "ab0000000001", found).ok());
  EXPECT_FALSE(rig.index.Find(0, Seek::kAtOrAfter, "ab0000000001", found).ok());
  EXPECT_FALSE(rig.index.EmptyTree(0).ok());
  rig.index.Set(0, "ab0000000001", 1);
  rig.index.Erase(0, "ab0000000001");
  EXPECT_FALSE(rig.index.Commit(true).ok());
}

}  // namespace
}  // namespace vantry
