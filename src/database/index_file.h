// The index of all tables: an ordered store with a batch of changes in front of each tree. A batch stays in memory
// until the store has committed it, so a full disk loses no key.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "database/pending_keys.h"
#include "ports/data_files.h"
#include "ports/index_store.h"

namespace vantry {

struct FoundKey {
  std::string key;
  uint32_t row = 0;
};

class IndexFile {
 public:
  static constexpr size_t kBatch = 128 * 1024;      // Changes of one tree sorted together while tables grow.
  static constexpr size_t kBigBatch = 384 * 1024;   // The same while an index is rebuilt: more memory, fewer writes.
  static constexpr size_t kMaxWaiting = 4;          // Batches that may wait while the store takes none.
  static constexpr size_t kCommitEvery = 8 * 1024;  // Changes between commits, each of one 4 kB page at most.
  // Changes of a full batch that move to the store with each new change, so that nobody waits for a whole batch.
  static constexpr size_t kMoveAtOnce = 16;
  static constexpr size_t kWarmAhead = 8;             // How many keys ahead of the move are prefetched.
  static constexpr size_t kSettleAtOnce = 32 * 1024;  // Changes that nobody notices a wait for: about 30 ms.

  explicit IndexFile(IndexStore& store) : store_(store) {}

  // Drops the keys of what was open before. Returns kBadData when the store does.
  Status Open(const std::string& path);
  void Close();
  // Opens the tree of this name, whose keys have this length. `tree` is its number until Close.
  Status OpenTree(const std::string& name, size_t key_bytes, int& tree);
  Status EmptyTree(int tree);

  void SetBatch(size_t changes) { batch_ = changes; }
  // While held, nothing goes to the store, and calls that need it fail.
  void Hold(bool hold) { held_ = hold; }
  // False after the store has failed for so long that no more keys can wait.
  bool HasRoom() const { return !full_; }
  // The change is kept in any case; Commit reports failures of the store. Nothing happens while the index is closed.
  void Set(int tree, std::string_view key, uint32_t row) { Change(tree, key, {row, false}); }
  void Erase(int tree, std::string_view key) { Change(tree, key, {0, true}); }

  // kNotFound when there is no such entry.
  Status Find(int tree, Seek how, std::string_view key, FoundKey& found);
  // Finds the first entry that begins with this text; if `after` is not empty, the first after that key. kNotFound when
  // there is none. Waiting changes need not be applied for it, unless keys of the tree are being erased.
  Status FindBeginning(int tree, std::string_view beginning, FoundKey& found, std::string_view after = {});
  // Whether anything changed since the last durable Commit that succeeded.
  bool Changed() const { return changed_; }
  // Applies and commits everything. After a failure all of it waits for the next call.
  Status Commit(bool durable);
  // Moves some of the changes that wait to the store, unless they are few enough for a Commit that takes no time.
  // Returns whether they are.
  bool Settle();

 private:
  struct Tree {
    explicit Tree(size_t key_bytes) : waiting(key_bytes), moving(key_bytes), ends(key_bytes) {}
    int number = 0;
    PendingKeys waiting;
    // A full batch on its way into the store, in this order; what comes meanwhile is in `waiting`.
    PendingKeys moving;
    std::vector<uint32_t> order;
    size_t moved = 0, kept = 0;  // How many of `order` the store was given, and has committed.
    KnownEnds ends;
    // What the store was given since its last commit and is no longer in `moving`, in order; needed again if the next
    // commit fails.
    std::string applied_keys;
    std::vector<PendingKeys::Change> applied;
    bool stuck = false;  // The last attempt to apply failed: only Commit tries again.
  };
  bool IsOpen(int tree) const { return static_cast<size_t>(tree) < trees_.size(); }
  static Status Closed();
  void Change(int tree, std::string_view key, PendingKeys::Change change);
  Status Apply(Tree& tree);
  static void StartMoving(Tree& tree);
  Status Move(Tree& tree, size_t changes);
  Status CommitStore(bool durable);
  void TakeBackApplied();

  IndexStore& store_;
  std::vector<std::unique_ptr<Tree>> trees_;
  size_t batch_ = kBatch;
  size_t uncommitted_ = 0;
  bool changed_ = false;
  bool held_ = false;
  bool full_ = false;
};

}  // namespace vantry
