// A disk for the tables in memory: fails on command, ends the program in the middle of a write, and loses its power
// with any part of what was not yet durable.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ports/data_files.h"

namespace vantry {

class MemoryDataFiles final : public DataFiles {
 public:
  static constexpr size_t kSectorBytes = 512;
  struct Content {
    std::string now;      // As programs see it.
    std::string durable;  // As the last Sync left it.
    // Since then: each state that a sector had, by its number, and each size of the file.
    std::map<size_t, std::vector<std::string>> sectors;
    std::vector<size_t> sizes;
    bool ever_synced = false;
    uint64_t inode = 0;
    int64_t written = 0, changed = 0;
    int64_t durable_time = 0;  // What these were when the last Sync was done.
    bool held = false;

    void Remember(size_t from, size_t to) {
      sizes.push_back(now.size());
      for (size_t sector = from / kSectorBytes; sector * kSectorBytes < to; ++sector) {
        sectors[sector].push_back(sector * kSectorBytes < now.size() ? now.substr(sector * kSectorBytes, kSectorBytes)
                                                                     : std::string());
      }
    }
    void MakeDurable() {
      durable = now;
      sectors.clear();
      sizes.clear();
      durable_time = changed;
      ever_synced = true;
    }
  };
  std::map<std::string, std::shared_ptr<Content>> entries;
  std::vector<std::string> calls;  // "write /a 32 7", "sync /a", "truncate /a 5", "open /a", in order.
  // Told each call before it is made. Breaks it at -1 or more: a write leaves that many of its bytes.
  std::function<int64_t(const std::string& call)> breaks = [](const std::string&) { return int64_t{-2}; };
  std::set<std::string> missing_folders;
  bool read_only = false;

  void Put(const std::string& path, std::string bytes) {
    auto& entry = entries[path];
    if (!entry) entry = NewContent();
    entry->now = std::move(bytes);
    entry->written = entry->changed = ++clock_;
    entry->MakeDurable();
  }
  std::string Get(const std::string& path) const {
    const auto it = entries.find(path);
    return it == entries.end() ? "<none>" : it->second->now;
  }
  bool Has(const std::string& path) const { return entries.contains(path); }

  // The program ended: nothing is held any more.
  void EndProgram() {
    for (auto& [path, entry] : entries) entry->held = false;
    calls.clear();
  }
  // The machine stopped. A file that was never synced may be gone; otherwise its size is one of those that it had since
  // the last Sync, each sector is in one of its states since then, and there are zeros where nothing was written.
  template <class Random>
  void LosePower(Random& random) {
    for (auto entry = entries.begin(); entry != entries.end();) {
      Content& content = *entry->second;
      const bool gone = !content.ever_synced && random() % 4 == 0;
      if (!content.sizes.empty()) Mix(content, random);
      entry = gone ? entries.erase(entry) : std::next(entry);
    }
    EndProgram();
  }

  Status Open(const std::string& path, OpenFor purpose, std::unique_ptr<DataFile>& file) override {
    if (Breaks("open " + path) > -2) return Status::Error(Fail::kIo, path + ": broken on command");
    for (const std::string& folder : missing_folders) {
      if (path.rfind(folder, 0) == 0) return Status::Error(Fail::kNotFound, path + ": No such file or directory");
    }
    const auto found = entries.find(path);
    if (found == entries.end() && purpose != OpenFor::kCreating) {
      return Status::Error(Fail::kNotFound, path + ": No such file or directory");
    }
    if (read_only && purpose != OpenFor::kReading) return Status::Error(Fail::kIo, path + ": Read-only file system");
    auto& entry = entries[path];
    if (!entry) entry = NewContent();
    if (purpose != OpenFor::kReading && entry->held) {
      return Status::Error(Fail::kRefused, path + ": is held by another program");
    }
    file = std::make_unique<OpenFile>(*this, path, entry, purpose != OpenFor::kReading);
    return Status::Ok();
  }
  Status Identify(const std::string& path, FileIdentity& identity) override {
    const auto it = entries.find(path);
    if (it == entries.end()) return Status::Error(Fail::kNotFound, path + ": No such file or directory");
    identity = IdentityOf(*it->second);
    return Status::Ok();
  }
  Status Remove(const std::string& path) override {
    if (Breaks("remove " + path) > -2) return Status::Error(Fail::kIo, path + ": broken on command");
    if (read_only) return Status::Error(Fail::kIo, path + ": Read-only file system");
    entries.erase(path);
    return Status::Ok();
  }
  Status Replace(const std::string& from, const std::string& to) override {
    if (Breaks("replace " + from + " " + to) > -2) return Status::Error(Fail::kIo, to + ": broken on command");
    const auto it = entries.find(from);
    if (it == entries.end()) return Status::Error(Fail::kNotFound, from + ": No such file or directory");
    entries[to] = it->second;
    entries.erase(it);
    return Status::Ok();
  }

 private:
  class OpenFile final : public DataFile {
   public:
    OpenFile(MemoryDataFiles& disk, std::string path, std::shared_ptr<Content> content, bool holds)
        : disk_(disk), path_(std::move(path)), content_(std::move(content)), holds_(holds) {
      if (holds_) content_->held = true;
    }
    ~OpenFile() override {
      if (holds_) content_->held = false;
    }
    Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) override {
      count = 0;
      const auto size = static_cast<int64_t>(content_->now.size());
      if (position < size) count = std::min(buffer.size(), static_cast<size_t>(size - position));
      if (count > 0) std::memcpy(buffer.data(), content_->now.data() + position, count);
      return Status::Ok();
    }
    Status WriteAt(int64_t position, std::string_view bytes) override {
      const int64_t kept =
          disk_.Breaks("write " + path_ + " " + std::to_string(position) + " " + std::to_string(bytes.size()));
      if (!holds_) return Status::Error(Fail::kIo, path_ + ": Bad file descriptor");
      const std::string_view part =
          kept > -2 ? bytes.substr(0, static_cast<size_t>(std::max<int64_t>(kept, 0))) : bytes;
      const size_t from = static_cast<size_t>(position), end = from + part.size();
      if (!part.empty()) {
        if (content_->now.size() < end) content_->now.resize(end, '\0');
        content_->now.replace(from, part.size(), part);
        Changed(from, end);
      }
      return kept > -2 ? Status::Error(Fail::kIo, path_ + ": No space left on device") : Status::Ok();
    }
    Status Truncate(int64_t size_bytes) override {
      if (disk_.Breaks("truncate " + path_ + " " + std::to_string(size_bytes)) > -2) {
        return Status::Error(Fail::kIo, path_ + ": broken on command");
      }
      if (!holds_) return Status::Error(Fail::kIo, path_ + ": Invalid argument");
      const auto size = static_cast<size_t>(size_bytes);
      content_->now.resize(size, '\0');
      Changed(size, size + 1);
      return Status::Ok();
    }
    Status Sync() override {
      if (disk_.Breaks("sync " + path_) > -2) return Status::Error(Fail::kIo, path_ + ": Input/output error");
      content_->MakeDurable();
      return Status::Ok();
    }
    Status Identify(FileIdentity& identity) override {
      identity = IdentityOf(*content_);
      return Status::Ok();
    }

   private:
    void Changed(size_t from, size_t to) {
      content_->Remember(from, to);
      content_->written = content_->changed = ++disk_.clock_;
    }
    MemoryDataFiles& disk_;
    std::string path_;
    std::shared_ptr<Content> content_;
    bool holds_;
  };

  template <class Random>
  void Mix(Content& content, Random& random) {
    const size_t size_at = random() % (content.sizes.size() + 1);
    std::string mixed = content.durable;
    mixed.resize(size_at == content.sizes.size() ? content.durable.size() : content.sizes[size_at], '\0');
    for (const auto& [sector, states] : content.sectors) {
      // The newest state is the most likely one to have reached the disk.
      const size_t choice = random() % 2 == 0 ? states.size() - 1 : random() % (states.size() + 1);
      const size_t at = sector * kSectorBytes;
      if (choice == states.size() || at >= mixed.size()) continue;
      std::string state = states[choice];
      const size_t bytes = std::min(kSectorBytes, mixed.size() - at);
      state.resize(bytes, '\0');
      mixed.replace(at, bytes, state);
    }
    content.now = mixed;
    // The times may be older than what was written.
    if (random() % 2 == 0) content.written = content.changed = content.durable_time;
    content.MakeDurable();
  }
  static FileIdentity IdentityOf(const Content& content) {
    return {static_cast<int64_t>(content.now.size()), content.inode, content.written, content.changed};
  }
  std::shared_ptr<Content> NewContent() {
    auto content = std::make_shared<Content>();
    content->inode = ++next_inode_;
    content->written = content->changed = ++clock_;
    return content;
  }
  int64_t Breaks(const std::string& call) {
    calls.push_back(call);
    return breaks(call);
  }
  uint64_t next_inode_ = 0;
  int64_t clock_ = 0;
};

}  // namespace vantry
