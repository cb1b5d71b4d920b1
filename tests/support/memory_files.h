// A disk in memory for tests: records writes and fails on command.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ports/files.h"

namespace vantry {

class MemoryFiles final : public Files {
 public:
  struct Entry {
    std::string bytes;
    int64_t written_ns = 0;
    bool readable = true;
    int64_t version = 0;  // Another one after every write.
    uint64_t inode = 0;   // Given when it is asked for.
  };
  std::map<std::string, std::shared_ptr<Entry>> entries;  // By path.
  std::map<std::string, std::string> links;  // Symbolic links: what stands at the first path is at the second.
  std::set<std::string> folders;
  std::vector<std::string> calls;                      // "replace /a", "append /b", "remove /c", in order.
  std::function<bool(const std::string& call)> fails;  // Told each call before it is made; true breaks it.
  int64_t clock_ns = 1;

  void Put(const std::string& path, std::string bytes) {
    auto& entry = entries[path];
    if (!entry) entry = std::make_shared<Entry>();
    entry->bytes = std::move(bytes);
    entry->written_ns = clock_ns;
    entry->version = ++versions_;
  }
  std::string Get(const std::string& path) const {
    const auto it = entries.find(path);
    return it == entries.end() ? "<none>" : it->second->bytes;
  }

  Status Read(const std::string& path, std::string& bytes) override {
    if (Broken("read " + path)) return Status::Error(Fail::kIo, path + ": broken on command");
    const auto it = entries.find(path);
    if (it == entries.end()) return Status::Error(Fail::kNotFound, path + ": not there");
    if (!it->second->readable) return Status::Error(Fail::kIo, path + ": Permission denied");
    bytes = it->second->bytes;
    return Status::Ok();
  }
  Status Replace(const std::string& path, std::string_view bytes) override {
    if (Broken("replace " + path)) return Status::Error(Fail::kIo, path + ": No space left on device");
    entries[path] = std::make_shared<Entry>(Entry{std::string(bytes), clock_ns, true, ++versions_, 0});
    return Status::Ok();
  }
  Status Append(const std::string& path, std::string_view bytes) override {
    if (Broken("append " + path)) return Status::Error(Fail::kIo, path + ": No space left on device");
    auto& entry = entries[path];
    if (!entry) entry = std::make_shared<Entry>();
    entry->bytes.append(bytes);
    entry->written_ns = clock_ns;
    entry->version = ++versions_;
    return Status::Ok();
  }
  Status Remove(const std::string& path) override {
    if (Broken("remove " + path)) return Status::Error(Fail::kIo, path + ": broken on command");
    entries.erase(path);
    return Status::Ok();
  }
  bool Exists(const std::string& path) override { return entries.contains(path); }
  Status Identify(const std::string& path, FileIdentity& identity) override {
    const auto it = entries.find(path);
    if (it == entries.end()) return Status::Error(Fail::kNotFound, path + ": not there");
    const Entry& entry = *it->second;
    identity = {static_cast<int64_t>(entry.bytes.size()), 1, entry.written_ns, entry.version};
    return Status::Ok();
  }
  Status MakeFolder(const std::string& path) override {
    if (Broken("folder " + path)) return Status::Error(Fail::kIo, path + ": broken on command");
    folders.insert(path);
    return Status::Ok();
  }
  Status OpenFolder(const std::string& folder, std::unique_ptr<FolderReader>& reader) override {
    if (Broken("list " + folder)) return Status::Error(Fail::kIo, folder + ": broken on command");
    std::vector<FileEntry> list;
    for (const auto& [path, entry] : entries) {
      if (path.rfind(folder, 0) != 0 || path.find('/', folder.size()) != std::string::npos) continue;
      list.push_back({path.substr(folder.size()), static_cast<int64_t>(entry->bytes.size()),
                      entry->readable ? std::optional(entry->written_ns) : std::nullopt, 1, InodeOf(*entry)});
    }
    for (const auto& [path, target] : links) {
      const auto entry = entries.find(target);
      if (entry == entries.end() || path.rfind(folder, 0) != 0) continue;
      list.push_back({path.substr(folder.size()), static_cast<int64_t>(entry->second->bytes.size()),
                      entry->second->written_ns, 1, InodeOf(*entry->second)});
    }
    reader = std::make_unique<ListedFolder>(std::move(list));
    return Status::Ok();
  }
  Status OpenLog(const std::string& path, std::unique_ptr<LogFile>& file) override {
    if (Broken("open " + path)) return Status::Error(Fail::kIo, path + ": broken on command");
    const auto it = entries.find(Resolve(path));
    if (it == entries.end()) return Status::Error(Fail::kNotFound, path + ": No such file or directory");
    if (!it->second->readable) return Status::Error(Fail::kIo, path + ": Permission denied");
    file = std::make_unique<OpenFile>(*this, it->first, it->second);
    return Status::Ok();
  }
  // A file packed here is its content behind this mark.
  static constexpr char kPacked[] = "packed:";
  Status OpenUnpacked(const std::string& path, std::unique_ptr<LogFile>& file) override {
    if (Broken("unpack " + path)) return Status::Error(Fail::kIo, path + ": broken on command");
    const auto it = entries.find(path);
    if (it == entries.end()) return Status::Error(Fail::kNotFound, path + ": No such file or directory");
    auto content = std::make_shared<Entry>(*it->second);
    content->inode = InodeOf(*it->second);
    content->bytes = content->bytes.rfind(kPacked, 0) == 0 ? content->bytes.substr(sizeof kPacked - 1) : "";
    file = std::make_unique<OpenFile>(*this, path, std::move(content));
    return Status::Ok();
  }
  Status Look(const std::string& path, FileLook& look) override {
    if (Broken("look " + path)) return Status::Error(Fail::kIo, path + ": broken on command");
    if (path.back() == '/') {
      look = {1, 1, 0, FolderState(path), {}};
      return Status::Ok();
    }
    const auto it = entries.find(Resolve(path));
    if (it == entries.end()) return Status::Error(Fail::kNotFound, path + ": No such file or directory");
    look = LookOf(*it->second);
    return Status::Ok();
  }
  uint64_t InodeOf(Entry& entry) {
    if (entry.inode == 0) entry.inode = ++last_inode_;
    return entry.inode;
  }
  const std::string& Resolve(const std::string& path) const {
    const auto link = links.find(path);
    return link == links.end() ? path : link->second;
  }

 private:
  class ListedFolder final : public FolderReader {
   public:
    explicit ListedFolder(std::vector<FileEntry> list) : list_(std::move(list)) {}
    bool Next(size_t most, std::vector<FileEntry>& more) override {
      for (; most > 0 && next_ < list_.size(); --most) more.push_back(list_[next_++]);
      return next_ < list_.size();
    }

   private:
    std::vector<FileEntry> list_;
    size_t next_ = 0;
  };

  // Holds the content it was opened on, as an open file does when its name is given to another.
  class OpenFile final : public LogFile {
   public:
    OpenFile(MemoryFiles& disk, std::string path, std::shared_ptr<Entry> entry)
        : disk_(disk), path_(std::move(path)), entry_(std::move(entry)) {}
    Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) override {
      count = 0;
      if (disk_.Broken("readat " + path_)) return Status::Error(Fail::kIo, path_ + ": Input/output error");
      const auto size = static_cast<int64_t>(entry_->bytes.size());
      if (position >= size) return Status::Ok();
      count = std::min(buffer.size(), static_cast<size_t>(size - position));
      std::memcpy(buffer.data(), entry_->bytes.data() + position, count);
      return Status::Ok();
    }
    Status Look(FileLook& look) override {
      look = disk_.LookOf(*entry_);
      look.path = path_;
      return Status::Ok();
    }

   private:
    MemoryFiles& disk_;
    std::string path_;
    std::shared_ptr<Entry> entry_;
  };

  int64_t versions_ = 0;
  FileLook LookOf(Entry& entry) {
    return {1, InodeOf(entry), static_cast<int64_t>(entry.bytes.size()), entry.written_ns, {}};
  }
  // Another number whenever names have come or gone.
  int64_t FolderState(const std::string& folder) {
    std::string names;
    for (const auto& [path, entry] : entries) {
      if (path.rfind(folder, 0) == 0) names += path + " " + std::to_string(InodeOf(*entry)) + "\n";
    }
    for (const auto& [path, target] : links) names += path + " " + target + "\n";
    return static_cast<int64_t>(std::hash<std::string>{}(names) >> 1);
  }

  uint64_t last_inode_ = 1'000;

  bool Broken(const std::string& call) {
    calls.push_back(call);
    return fails && fails(call);
  }
};

}  // namespace vantry
