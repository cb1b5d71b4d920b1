// The index of all tables: an ordered store with a batch of changes in front of each tree. A batch stays in memory
// until the store has kept it, so a full disk costs no key.
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
  static constexpr size_t kBatch = 128 * 1024;      // Changes of one tree that are sorted together while tables grow.
  static constexpr size_t kBigBatch = 384 * 1024;   // While an index is built anew: more memory, fewer pages written.
  static constexpr size_t kMaxWaiting = 4;          // Batches that wait when the store takes none.
  static constexpr size_t kCommitEvery = 8 * 1024;  // Changes, each of one page of 4 kB at most, before a commit.
  // Changes of a full batch that go to the store with each new one: nobody waits for a whole batch.
  static constexpr size_t kMoveAtOnce = 16;
  static constexpr size_t kWarmAhead = 8;  // Keys that the memory is asked for before they are moved.

  explicit IndexFile(IndexStore& store) : store_(store) {}

  // Keys of what was open before are dropped. kBadData as the store tells it.
  Status Open(const std::string& path);
  void Close();
  // A tree by its name, whose keys have this length. `tree` is its number until Close.
  Status OpenTree(const std::string& name, size_t key_bytes, int& tree);
  Status EmptyTree(int tree);

  void SetBatch(size_t changes) { batch_ = changes; }
  // While it is held nothing is given to the store; what needs that fails.
  void Hold(bool hold) { held_ = hold; }
  // False when the store has failed for so long that no more keys can wait.
  bool HasRoom() const { return !full_; }
  // Failures of the store stay for Commit to tell; the change itself is held in any case. Nothing happens while the
  // index is closed.
  void Set(int tree, std::string_view key, uint32_t row) { Change(tree, key, {row, false}); }
  void Erase(int tree, std::string_view key) { Change(tree, key, {0, true}); }

  // kNotFound when there is no such entry.
  Status Find(int tree, Seek how, std::string_view key, FoundKey& found);
  // The first entry that begins with this text; of those after the key `after`, if that is not empty. kNotFound when
  // there is none. Spares what waits from being applied, unless keys of the tree are being erased.
  Status FindBeginning(int tree, std::string_view beginning, FoundKey& found, std::string_view after = {});
  // Whether a change was made since the last durable Commit that went well.
  bool Changed() const { return changed_; }
  // Applies everything and keeps it. After a failure all of it waits for the next call.
  Status Commit(bool durable);

 private:
  struct Tree {
    explicit Tree(size_t key_bytes) : waiting(key_bytes), moving(key_bytes), ends(key_bytes) {}
    int number = 0;
    PendingKeys waiting;
    // A full batch on its way into the store, in this order; what comes meanwhile waits behind it.
    PendingKeys moving;
    std::vector<uint32_t> order;
    size_t moved = 0, kept = 0;  // Of `order`: given to the store, and kept by a commit.
    KnownEnds ends;
    // Given to the store since its last commit, in order, and no longer in `moving`; needed again when that commit
    // fails.
    std::string applied_keys;
    std::vector<PendingKeys::Change> applied;
    bool stuck = false;  // The last attempt to apply failed: Commit alone tries again.
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
