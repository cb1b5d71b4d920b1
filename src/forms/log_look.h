// A look at a folder of logs before anything is read from it: which files fit the mask, which of them would be read
// now, and what that one looks like.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/tables.h"
#include "ports/clock.h"
#include "ports/files.h"

namespace vantry {

struct LookedLog {
  std::string name;
  int64_t size_bytes = 0;
  std::optional<int64_t> age_s;  // Since the last write; below 0 for a file of the future.
};

struct LogLook {
  static constexpr size_t kMostShown = 3;
  static constexpr size_t kMostOfLine = 300;

  std::string problem;            // Why nothing can be seen; empty if something can.
  size_t fitting = 0;             // Files that fit the mask.
  std::vector<LookedLog> newest;  // Of those the last written, kMostShown at most.
  std::string read_now;           // The name of the one that a scan would read; empty for none.
  std::string first_line;         // Of that one, as far as kMostOfLine bytes.
  bool line_goes_on = false;      // There is more of it.
  bool is_empty = false;          // It has no line yet.
  std::optional<LogType> type;    // What it looks like; empty when that can't be told.
};

// Finds out which file of the folder a scan would read now. In pieces, as there may be a hundred thousand of them.
class FolderLook {
 public:
  // So many files are looked at in some milliseconds.
  static constexpr size_t kPiece = 1'000;

  FolderLook(const SiteRec& site, Files& files, const Clock& clock);
  // Looks at so many more at most. True if that was all.
  bool Step(size_t most = kPiece);
  // What was seen, after Step has returned true.
  LogLook Result() const;

 private:
  void Consider(const FileEntry& entry);

  std::string mask_;
  FileChoice method_;
  int64_t now_ = 0;  // In seconds of UTC.
  LogLook look_;
  std::unique_ptr<FolderReader> reader_;
  std::vector<FileEntry> newest_;  // The last written, in order.
  std::optional<FileEntry> best_;  // The one that would be read.
};

// Adds how the one begins that would be read now. Reads the beginning alone, however long its lines are.
void LookInside(const SiteRec& site, Files& files, bool quoted_fields, LogLook& look);

// What is to be said about it, line by line: files, first line, and what it looks like beside the type of the site.
// Names and lines of logs are in it as they are, so show it as such.
std::vector<std::string> DescribeLook(const LogLook& look, const SiteRec& site);
// One line: which file would be read now.
std::string DescribeReadNow(const LogLook& look, const SiteRec& site);

// "12 seconds", "3 minutes", "5 hours", "40 days".
std::string AgeText(int64_t seconds);

}  // namespace vantry
