#include "database/index_file.h"

#include <algorithm>

namespace vantry {

Status IndexFile::Open(const std::string& path) {
  Close();
  return store_.Open(path);
}

void IndexFile::Close() {
  trees_.clear();
  uncommitted_ = 0;
  changed_ = false;
  store_.Close();
}

Status IndexFile::OpenTree(const std::string& name, size_t key_bytes, int& tree) {
  if (key_bytes == 0 || key_bytes > IndexStore::kMaxKeyBytes) {
    return Status::Error(Fail::kBadData, name + ": a key of " + std::to_string(key_bytes) + " bytes can't be indexed");
  }
  // Opening a tree ends the store's transaction.
  if (Status status = CommitStore(false); !status.ok()) return status;
  int number = 0;
  if (Status status = store_.OpenTree(name, number); !status.ok()) return status;
  const auto same = std::find_if(trees_.begin(), trees_.end(), [&](const auto& t) { return t->number == number; });
  tree = static_cast<int>(same - trees_.begin());
  if (same == trees_.end()) {
    trees_.push_back(std::make_unique<Tree>(key_bytes));
    trees_.back()->number = number;
  }
  return Status::Ok();
}

Status IndexFile::EmptyTree(int tree) {
  if (!IsOpen(tree)) return Closed();
  Tree& t = *trees_[static_cast<size_t>(tree)];
  t.waiting.Clear();
  t.ends.Clear();
  t.applied_keys.clear();
  t.applied.clear();
  changed_ = true;
  return store_.EmptyTree(t.number);
}

Status IndexFile::Closed() {
  return Status::Error(Fail::kIo, "the index is not open");
}

bool IndexFile::HasRoom() const {
  return std::all_of(trees_.begin(), trees_.end(),
                     [this](const auto& t) { return t->waiting.Count() < kMaxWaiting * batch_; });
}

void IndexFile::Change(int tree, std::string_view key, PendingKeys::Change change) {
  if (!IsOpen(tree)) return;
  Tree& t = *trees_[static_cast<size_t>(tree)];
  t.waiting.Set(key, change);
  if (!change.erase) t.ends.Added(key);
  changed_ = true;
  if (t.waiting.Count() >= batch_ && !t.stuck) t.stuck = !Apply(t).ok();
}

Status IndexFile::Find(int tree, Seek how, std::string_view key, FoundKey& found) {
  if (!IsOpen(tree)) return Closed();
  Tree& t = *trees_[static_cast<size_t>(tree)];
  if (how == Seek::kEqual) {
    if (t.ends.Absent(key)) return Status::Error(Fail::kNotFound, "");
    if (const auto change = t.waiting.Find(key)) {
      if (change->erase) return Status::Error(Fail::kNotFound, "");
      found = {std::string(key), change->row};
      return Status::Ok();
    }
  } else if (Status status = Apply(t); !status.ok()) {
    return status;
  }
  IndexEntry entry;
  Status status = store_.Find(t.number, how == Seek::kEqual ? Seek::kAtOrAfter : how, key, entry);
  if (how == Seek::kEqual && (status.fail == Fail::kNotFound || (status.ok() && entry.key != key))) {
    const size_t run = key.size() - std::min(key.size(), KnownEnds::kCountedBytes);
    if (!status.ok() || entry.key.substr(0, run) != key.substr(0, run)) t.ends.Learn(key);
    return Status::Error(Fail::kNotFound, "");
  }
  if (!status.ok()) return status;
  found.key.assign(entry.key);
  found.row = entry.row;
  return status;
}

Status IndexFile::Apply(Tree& tree) {
  if (tree.waiting.Count() == 0) return Status::Ok();
  const std::vector<uint32_t>& order = tree.waiting.Sorted();
  size_t kept = 0;
  if (Status status = GiveToStore(tree, order, kept); !status.ok()) return status;
  for (size_t i = kept; i < order.size(); ++i) {
    tree.applied_keys.append(tree.waiting.KeyAt(order[i]));
    tree.applied.push_back(tree.waiting.ChangeAt(order[i]));
  }
  tree.waiting.Clear();
  tree.ends.Applied();
  return Status::Ok();
}

// `kept` is how many of the changes a commit on the way has kept.
Status IndexFile::GiveToStore(Tree& tree, const std::vector<uint32_t>& order, size_t& kept) {
  for (size_t i = 0; i < order.size(); ++i) {
    const std::string_view key = tree.waiting.KeyAt(order[i]);
    const PendingKeys::Change change = tree.waiting.ChangeAt(order[i]);
    Status status = change.erase ? store_.Erase(tree.number, key) : store_.Put(tree.number, key, change.row);
    if (!status.ok()) {
      // Ends the store's transaction, for good or ill; nothing of the batch has left the memory.
      (void)CommitStore(false);
      return status;
    }
    if (++uncommitted_ < kCommitEvery) continue;
    if (status = CommitStore(false); !status.ok()) return status;
    kept = i + 1;
  }
  return Status::Ok();
}

Status IndexFile::CommitStore(bool durable) {
  Status status = store_.Commit(durable);
  uncommitted_ = 0;
  if (!status.ok()) {
    TakeBackApplied();
    return status;
  }
  for (const auto& tree : trees_) {
    tree->applied_keys.clear();
    tree->applied.clear();
  }
  return status;
}

// The store has forgotten what it was given: it waits again, behind what is newer.
void IndexFile::TakeBackApplied() {
  for (const auto& tree : trees_) {
    const size_t key_bytes = tree->applied.empty() ? 0 : tree->applied_keys.size() / tree->applied.size();
    for (size_t i = tree->applied.size(); i-- > 0;) {
      const std::string_view key = std::string_view(tree->applied_keys).substr(i * key_bytes, key_bytes);
      if (tree->waiting.Find(key)) continue;
      tree->waiting.Set(key, tree->applied[i]);
      if (!tree->applied[i].erase) tree->ends.Added(key);
    }
    tree->applied_keys.clear();
    tree->applied.clear();
  }
}

Status IndexFile::Commit(bool durable) {
  for (const auto& tree : trees_) {
    Status status = Apply(*tree);
    tree->stuck = !status.ok();
    if (!status.ok()) return status;
  }
  Status status = CommitStore(durable);
  if (status.ok() && durable) changed_ = false;
  return status;
}

}  // namespace vantry
