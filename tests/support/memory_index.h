// An index store in memory, with commits that fail on command. Its file is on a disk in memory, so that removing,
// replacing and touching that file count.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ports/index_store.h"
#include "support/memory_data_files.h"

namespace vantry {

class MemoryIndex final : public IndexStore {
 public:
  explicit MemoryIndex(MemoryDataFiles& disk) : disk_(disk) {}

  using Keys = std::map<std::string, uint32_t, std::less<>>;
  std::map<std::string, std::map<std::string, Keys>> stored;  // By path and name of the tree, uncommitted ones too.
  // Told "open", "tree", "empty", "put", "erase", "find", "commit"; true breaks the call.
  std::function<bool(const std::string&)> fails;
  bool damaged = false;  // Every look into the file finds damage, until the file is removed.
  int commits = 0;
  bool durable = true;  // Nothing was committed that a loss of power would damage.

  // The machine stopped: what was not durable is a wreck, in a file that looks as it did when it was durable.
  void LosePower() {
    Close();
    if (durable) return;
    if (const auto file = disk_.entries.find(path_); file != disk_.entries.end() && durable_file_) {
      *file->second = *durable_file_;
    }
    for (auto& [path, trees] : stored) {
      for (auto& [name, keys] : trees) {
        std::erase_if(keys, [n = 0](const auto&) mutable { return ++n % 2 == 0; });
        for (auto& [key, row] : keys) row += 7;
      }
    }
    durable = true;
  }

  Status Open(const std::string& path) override {
    Close();
    path_ = path;
    if (Broken("open")) return Failure();
    open_ = true;
    if (!disk_.Has(path)) {
      stored[path].clear();
      disk_.Put(path, "index 0");
      damaged = false;
    }
    file_ = disk_.entries.at(path);
    if (durable) durable_file_ = *file_;
    return Status::Ok();
  }
  void Close() override {
    TakeBack();
    open_ = false;
    trees_.clear();
  }
  Status OpenTree(const std::string& name, int& tree) override {
    if (!open_) return Closed();
    if (damaged) return Damaged();
    if (Broken("tree")) return Failure();
    changed_ = changed_ || !stored[path_].contains(name);
    Keys* const keys = &stored[path_][name];
    const auto same = std::find(trees_.begin(), trees_.end(), keys);
    tree = static_cast<int>(same - trees_.begin());
    if (same == trees_.end()) trees_.push_back(keys);
    return Commit(false);
  }
  Status EmptyTree(int tree) override {
    if (!open_) return Closed();
    if (Broken("empty")) return Failure();
    for (const auto& [key, row] : Tree(tree)) before_.push_back({&Tree(tree), key, row});
    changed_ = changed_ || !Tree(tree).empty();
    Tree(tree).clear();
    return Status::Ok();
  }
  Status Put(int tree, std::string_view key, uint32_t row) override {
    if (!open_) return Closed();
    if (Broken("put")) return Failure();
    Keys& keys = Tree(tree);
    const auto [at, is_new] = keys.emplace(std::string(key), row);
    before_.push_back({&keys, at->first, is_new ? std::nullopt : std::optional(at->second)});
    at->second = row;
    changed_ = true;
    return Status::Ok();
  }
  Status Erase(int tree, std::string_view key) override {
    if (!open_) return Closed();
    if (Broken("erase")) return Failure();
    Keys& keys = Tree(tree);
    const auto at = keys.find(key);
    if (at == keys.end()) return Status::Ok();
    before_.push_back({&keys, at->first, at->second});
    keys.erase(at);
    changed_ = true;
    return Status::Ok();
  }
  Status Find(int tree, Seek how, std::string_view key, IndexEntry& entry) override {
    if (!open_) return Closed();
    if (damaged) return Damaged();
    if (Broken("find")) return Failure();
    const Keys& keys = Tree(tree);
    auto at = how == Seek::kAfter ? keys.upper_bound(key) : keys.lower_bound(key);
    if (how == Seek::kBefore) {
      if (at == keys.begin()) return Status::Error(Fail::kNotFound, "");
      --at;
    }
    if (at == keys.end() || (how == Seek::kEqual && at->first != key)) return Status::Error(Fail::kNotFound, "");
    entry = {at->first, at->second};
    return Status::Ok();
  }
  Status Commit(bool lasting) override {
    if (!open_) return Closed();
    if (Broken("commit")) {
      TakeBack();
      return Status::Error(Fail::kIo, path_ + ": No space left on device");
    }
    ++commits;
    before_.clear();
    // A file that is gone or was replaced does not come back.
    const auto file = disk_.entries.find(path_);
    const bool there = file != disk_.entries.end() && file->second == file_;
    if (changed_ && there) disk_.Put(path_, "index " + std::to_string(commits));
    durable = lasting || (durable && !changed_);
    if (durable && there) durable_file_ = *file_;
    changed_ = false;
    return Status::Ok();
  }

 private:
  struct Before {
    Keys* keys = nullptr;
    std::string key;
    std::optional<uint32_t> row;
  };
  void TakeBack() {
    for (auto change = before_.rbegin(); change != before_.rend(); ++change) {
      if (change->row) {
        (*change->keys)[change->key] = *change->row;
      } else {
        change->keys->erase(change->key);
      }
    }
    before_.clear();
    changed_ = false;
  }
  Keys& Tree(int tree) { return *trees_[static_cast<size_t>(tree)]; }
  Status Closed() const { return Status::Error(Fail::kIo, path_ + ": the index is not open"); }
  Status Damaged() const { return Status::Error(Fail::kBadData, path_ + ": damaged on command"); }
  Status Failure() const { return Status::Error(Fail::kIo, path_ + ": broken on command"); }
  bool Broken(const std::string& call) { return fails && fails(call); }
  MemoryDataFiles& disk_;
  bool open_ = false, changed_ = false;
  std::string path_;
  std::shared_ptr<MemoryDataFiles::Content> file_;
  std::optional<MemoryDataFiles::Content> durable_file_;
  std::vector<Keys*> trees_;
  std::vector<Before> before_;  // What stood there, by change, since the last commit.
};

}  // namespace vantry
