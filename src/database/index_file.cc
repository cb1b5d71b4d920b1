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
  changed_ = full_ = held_ = false;
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
  const size_t key_bytes = t.waiting.KeyBytes();
  const int number = t.number;
  t = Tree(key_bytes);
  t.number = number;
  changed_ = true;
  return store_.EmptyTree(number);
}

Status IndexFile::Closed() {
  return Status::Error(Fail::kIo, "the index is not open");
}

void IndexFile::Change(int tree, std::string_view key, PendingKeys::Change change) {
  if (!IsOpen(tree)) return;
  Tree& t = *trees_[static_cast<size_t>(tree)];
  t.waiting.Set(key, change);
  if (!change.erase) t.ends.Added(key);
  changed_ = true;
  if (!held_ && !t.stuck && t.moving.Count() > 0) t.stuck = !Move(t, kMoveAtOnce).ok();
  if (t.waiting.Count() < batch_) return;
  if (t.moving.Count() == 0) StartMoving(t);
  full_ = full_ || t.waiting.Count() + t.moving.Count() >= kMaxWaiting * batch_;
}

Status IndexFile::Find(int tree, Seek how, std::string_view key, FoundKey& found) {
  if (!IsOpen(tree)) return Closed();
  Tree& t = *trees_[static_cast<size_t>(tree)];
  if (how == Seek::kEqual) {
    if (t.ends.Absent(key)) return Status::Error(Fail::kNotFound, "");
    auto change = t.waiting.Find(key);
    if (!change) change = t.moving.Find(key);
    if (change) {
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

Status IndexFile::FindBeginning(int tree, std::string_view beginning, FoundKey& found, std::string_view after) {
  if (!IsOpen(tree)) return Closed();
  Tree& t = *trees_[static_cast<size_t>(tree)];
  const auto begins = [&](std::string_view key) { return key.substr(0, beginning.size()) == beginning; };
  const Seek how = after.empty() ? Seek::kAtOrAfter : Seek::kAfter;
  const std::string_view from = after.empty() ? beginning : after;
  if (!t.waiting.GroupBy(beginning.size()) || !t.moving.GroupBy(beginning.size())) {
    Status status = Find(tree, how, from, found);
    return status.ok() && !begins(found.key) ? Status::Error(Fail::kNotFound, "") : status;
  }
  IndexEntry entry;
  Status status = store_.Find(t.number, how, from, entry);
  if (!status.ok() && status.fail != Fail::kNotFound) return status;
  bool any = status.ok() && begins(entry.key);
  if (any) found = {std::string(entry.key), entry.row};
  // If a key is in several of these, the newest row counts.
  for (const PendingKeys* keys : {&t.moving, &t.waiting}) {
    const auto first = keys->FirstOfGroup(beginning, after);
    if (!first || (any && keys->KeyAt(*first) > found.key)) continue;
    found = {std::string(keys->KeyAt(*first)), keys->ChangeAt(*first).row};
    any = true;
  }
  return any ? Status::Ok() : Status::Error(Fail::kNotFound, "");
}

Status IndexFile::Apply(Tree& tree) {
  if (held_ && tree.moving.Count() + tree.waiting.Count() > 0) {
    return Status::Error(Fail::kIo, "the index waits for the tables");
  }
  while (tree.moving.Count() > 0 || tree.waiting.Count() > 0) {
    if (tree.moving.Count() == 0) StartMoving(tree);
    if (Status status = Move(tree, tree.order.size()); !status.ok()) return status;
  }
  return Status::Ok();
}

void IndexFile::StartMoving(Tree& tree) {
  std::swap(tree.waiting, tree.moving);
  tree.order = tree.moving.Sorted();
  tree.moved = tree.kept = 0;
  tree.ends.Taken();
}

Status IndexFile::Move(Tree& tree, size_t changes) {
  for (; changes > 0 && tree.moved < tree.order.size(); --changes) {
    if (tree.moved + kWarmAhead < tree.order.size()) tree.moving.Warm(tree.order[tree.moved + kWarmAhead]);
    const std::string_view key = tree.moving.KeyAt(tree.order[tree.moved]);
    const PendingKeys::Change change = tree.moving.ChangeAt(tree.order[tree.moved]);
    Status status = change.erase ? store_.Erase(tree.number, key) : store_.Put(tree.number, key, change.row);
    if (!status.ok()) {
      // Ends the store's transaction either way; the batch is still in memory.
      (void)CommitStore(false);
      return status;
    }
    ++tree.moved;
    if (++uncommitted_ < kCommitEvery) continue;
    if (status = CommitStore(false); !status.ok()) return status;
  }
  if (tree.moved < tree.order.size()) return Status::Ok();
  for (size_t i = tree.kept; i < tree.order.size(); ++i) {
    tree.applied_keys.append(tree.moving.KeyAt(tree.order[i]));
    tree.applied.push_back(tree.moving.ChangeAt(tree.order[i]));
  }
  tree.moving.Clear();
  tree.order.clear();
  tree.moved = tree.kept = 0;
  tree.ends.Applied();
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
    tree->kept = tree->moved;
  }
  return status;
}

// The store has lost what it was given. It waits again, unless something newer has taken its place.
void IndexFile::TakeBackApplied() {
  for (const auto& tree : trees_) {
    const size_t key_bytes = tree->applied.empty() ? 0 : tree->applied_keys.size() / tree->applied.size();
    for (size_t i = tree->applied.size(); i-- > 0;) {
      const std::string_view key = std::string_view(tree->applied_keys).substr(i * key_bytes, key_bytes);
      if (tree->waiting.Find(key) || tree->moving.Find(key)) continue;
      tree->waiting.Set(key, tree->applied[i]);
      if (!tree->applied[i].erase) tree->ends.Added(key);
    }
    tree->applied_keys.clear();
    tree->applied.clear();
    tree->moved = tree->kept;
  }
}

bool IndexFile::Settle() {
  size_t waiting = 0;
  for (const auto& tree : trees_) waiting += tree->waiting.Count() + tree->order.size() - tree->moved;
  if (waiting <= kSettleAtOnce || full_ || held_) return true;
  size_t left = kSettleAtOnce;
  for (const auto& tree : trees_) {
    if (left > 0 && tree->moving.Count() == 0 && tree->waiting.Count() > 0) StartMoving(*tree);
    const size_t some = std::min(left, tree->order.size() - tree->moved);
    if (!Move(*tree, some).ok()) return true;  // Commit tells why.
    left -= some;
  }
  return false;
}

Status IndexFile::Commit(bool durable) {
  for (const auto& tree : trees_) {
    Status status = Apply(*tree);
    tree->stuck = !status.ok();
    if (!status.ok()) return status;
  }
  full_ = false;  // Nothing waits any more.
  Status status = CommitStore(durable);
  if (status.ok() && durable) changed_ = false;
  return status;
}

}  // namespace vantry
