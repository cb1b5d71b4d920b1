// Folders with logs of a given age, and what is in the zips of their archives.
#pragma once

#include <algorithm>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "support/temp_folder.h"

namespace vantry {

struct ArchiveRig {
  static constexpr int64_t kNow = 1'772'712'000;  // 5 March 2026, 12:00 UTC.
  TempFolder disk;
  std::string logs = disk.path + "logs/";

  ArchiveRig() {
    std::setlocale(LC_CTYPE, "C.UTF-8");
    std::filesystem::create_directories(logs);
  }
  static void Age(const std::string& path, int64_t written_s) {
    const timespec times[2] = {{written_s, 0}, {written_s, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
  }
  // A log that was last written this many days ago.
  void Log(const std::string& name, const std::string& bytes, double days_ago) const {
    const std::string path = name.front() == '/' ? name : logs + name;
    std::ofstream(path, std::ios::binary) << bytes;
    Age(path, kNow - static_cast<int64_t>(days_ago * 86'400));
  }
  static std::string TextOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
  }
  // Name and bytes of each entry; a damaged zip has an entry "DAMAGED".
  static std::map<std::string, std::string> Unzip(const std::string& path) {
    std::map<std::string, std::string> entries;
    struct archive* a = ::archive_read_new();
    ::archive_read_support_format_zip(a);
    struct archive_entry* entry = nullptr;
    int result = ::archive_read_open_filename(a, path.c_str(), 65'536);
    while (result == ARCHIVE_OK && (result = ::archive_read_next_header(a, &entry)) == ARCHIVE_OK) {
      std::string& bytes = entries[::archive_entry_pathname(entry)];
      char block[4'096];
      la_ssize_t n = 0;
      while ((n = ::archive_read_data(a, block, sizeof block)) > 0) bytes.append(block, static_cast<size_t>(n));
      if (n < 0) result = ARCHIVE_FATAL;
    }
    if (result != ARCHIVE_EOF) entries["DAMAGED"] = "";
    ::archive_read_free(a);
    return entries;
  }
  static std::vector<std::string> Names(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  // Every log of the folder and every entry of its zips, by name.
  std::multimap<std::string, std::string> All() const {
    std::multimap<std::string, std::string> all;
    for (const std::string& name : Names(logs)) {
      if (name != "Archive") all.emplace(name, TextOf(logs + name));
    }
    for (const std::string& name : Names(logs + "Archive")) {
      if (!name.ends_with(".zip")) continue;
      for (const auto& entry : Unzip(logs + "Archive/" + name)) all.insert(entry);
    }
    return all;
  }
};

// Bytes that don't pack well, so that a few blocks are written.
inline std::string NoisyLog(size_t size, uint32_t seed) {
  std::string text(size, '\0');
  for (char& c : text) {
    seed = seed * 1'664'525 + 1'013'904'223;
    c = static_cast<char>(' ' + (seed >> 24) % 90);
  }
  return text;
}

}  // namespace vantry
