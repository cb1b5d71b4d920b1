#include "forms/log_look.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "config/value_forms.h"
#include "core/text.h"
#include "core/wildcard.h"
#include "forms/site_form.h"
#include "logs/newest_log.h"
#include "logs/recogniser.h"

namespace vantry {
namespace {

constexpr int64_t kBillion = 1'000'000'000;

std::string MaskOf(const SiteRec& site) {
  const std::string mask(Trim(site.Mask));
  return mask.empty() ? "*.LOG" : mask;
}

bool IsNewer(const FileEntry& a, const FileEntry& b) {
  return a.written_ns != b.written_ns ? a.written_ns > b.written_ns : a.name > b.name;
}

std::string NameOf(LogType type) {
  for (const Choice& choice : kLogTypes) {
    if (choice.value == static_cast<int32_t>(type)) return std::string(choice.text);
  }
  return "unknown";
}

// As much as decides, of a folder that was looked at.
void LookInside(const std::string& path, Files& files, bool quoted_fields, LogLook& look) {
  std::unique_ptr<LogFile> file;
  std::string bytes;
  Status status = files.OpenLog(path, file);
  if (status.ok()) status = ReadFirstBytes(*file, bytes);
  if (!status.ok()) {
    look.problem = status.text;
    return;
  }
  const std::string_view line = FirstLine(bytes);
  look.is_empty = line.empty();
  look.line_goes_on = line.size() > LogLook::kMostOfLine;
  look.first_line = line.substr(0, LogLook::kMostOfLine);
  if (const auto log = RecogniseLog(bytes, quoted_fields)) look.type = log->type;
}

std::string CountText(size_t count) {
  return std::to_string(count) + (count == 1 ? " file fits" : " files fit");
}

}  // namespace

std::string AgeText(int64_t seconds) {
  struct Unit {
    int64_t seconds;
    const char* name;
  };
  constexpr Unit kUnits[] = {{86'400, "day"}, {3'600, "hour"}, {60, "minute"}, {1, "second"}};
  for (const Unit& unit : kUnits) {
    const int64_t count = seconds / unit.seconds;
    // Up to 47 hours are hours: "1 day" says too little.
    if (count >= 2 || (unit.seconds <= 60 && count == 1)) {
      return std::to_string(count) + " " + unit.name + (count == 1 ? "" : "s");
    }
  }
  return "0 seconds";
}

LogLook LookAtFolder(const SiteRec& site, Files& files, const Clock& clock) {
  LogLook look;
  if (Trim(site.Folder).empty()) {
    look.problem = "No folder yet.";
    return look;
  }
  std::vector<FileEntry> entries;
  if (const Status status = files.List(WithSeparator(site.Folder), entries); !status.ok()) {
    look.problem = status.text;
    return look;
  }
  const std::string mask = MaskOf(site);
  std::erase_if(entries, [&](const FileEntry& entry) { return !FitsFileMask(entry.name, mask); });
  look.fitting = entries.size();
  const size_t shown = std::min(entries.size(), LogLook::kMostShown);
  std::partial_sort(entries.begin(), entries.begin() + static_cast<ptrdiff_t>(shown), entries.end(), IsNewer);
  const int64_t now = clock.Now().s - clock.UtcOffset();
  for (size_t i = 0; i < shown; ++i) {
    LookedLog& log = look.newest.emplace_back(LookedLog{entries[i].name, entries[i].size_bytes, std::nullopt});
    // The clock of a file server may be another one; for an age that people read that is good enough.
    if (entries[i].written_ns) log.age_s = now - *entries[i].written_ns / kBillion;
  }
  if (auto now_read = NewestLog(std::move(entries), mask, site.SelectMethod)) look.read_now = std::move(now_read->name);
  return look;
}

LogLook LookAtLog(const SiteRec& site, Files& files, const Clock& clock, bool quoted_fields) {
  LogLook look = LookAtFolder(site, files, clock);
  if (!look.read_now.empty()) LookInside(WithSeparator(site.Folder) + look.read_now, files, quoted_fields, look);
  return look;
}

std::string DescribeReadNow(const LogLook& look, const SiteRec& site) {
  if (site.FTP) return "The log is on an FTP server; what is there is seen at the next scan.";
  if (look.read_now.empty()) return look.problem.empty() ? "No file fits the mask now." : look.problem;
  return "Read now: " + look.read_now + " (" + CountText(look.fitting) + " the mask)";
}

std::vector<std::string> DescribeLook(const LogLook& look, const SiteRec& site) {
  if (look.newest.empty()) return {look.problem.empty() ? "No file fits the mask " + MaskOf(site) + "." : look.problem};
  std::vector<std::string> lines{CountText(look.fitting) + " the mask. Written last:"};
  for (const LookedLog& log : look.newest) {
    std::string line = log.name + ", " + std::to_string(log.size_bytes) + " bytes";
    if (log.age_s) line += *log.age_s < 0 ? ", written in the future" : ", " + AgeText(*log.age_s) + " ago";
    lines.push_back(std::move(line));
  }
  if (!look.problem.empty()) {
    lines.push_back(look.problem);
  } else if (look.is_empty) {
    lines.push_back(look.read_now + " has no line yet, so its type can't be told.");
  } else {
    lines.push_back("First line of " + look.read_now + ": " + look.first_line + (look.line_goes_on ? "..." : ""));
    lines.push_back(!look.type                ? "That is not a log of a type that Vantry reads."
                    : *look.type == site.Type ? "That looks like " + NameOf(*look.type) + ", as chosen."
                                              : "That looks like " + NameOf(*look.type) + ", but " + NameOf(site.Type) +
                                                    " is chosen. Go back to change it.");
  }
  return lines;
}

}  // namespace vantry
