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

FolderLook::FolderLook(const SiteRec& site, Files& files, const Clock& clock)
    : mask_(MaskOf(site)), method_(site.SelectMethod), now_(clock.Now().s - clock.UtcOffset()) {
  if (Trim(site.Folder).empty()) {
    look_.problem = "No folder yet.";
  } else if (const Status status = files.OpenFolder(WithSeparator(site.Folder), reader_); !status.ok()) {
    look_.problem = status.text;
  }
}

bool FolderLook::Step(size_t most) {
  if (!reader_) return true;
  std::vector<FileEntry> entries;
  const bool more = reader_->Next(most, entries);
  for (const FileEntry& entry : entries) Consider(entry);
  if (!more) reader_.reset();
  return !more;
}

void FolderLook::Consider(const FileEntry& entry) {
  if (!FitsFileMask(entry.name, mask_)) return;
  ++look_.fitting;
  newest_.insert(std::upper_bound(newest_.begin(), newest_.end(), entry, IsNewer), entry);
  if (newest_.size() > LogLook::kMostShown) newest_.pop_back();
  if (CanBeRead(entry, method_) && (!best_ || IsNewerLog(entry, *best_, method_))) best_ = entry;
}

LogLook FolderLook::Result() const {
  LogLook look = look_;
  for (const FileEntry& entry : newest_) {
    LookedLog& log = look.newest.emplace_back(LookedLog{entry.name, entry.size_bytes, std::nullopt});
    // The clock of a file server may be another one; for an age that people read that is good enough.
    if (entry.written_ns) log.age_s = now_ - *entry.written_ns / kBillion;
  }
  if (best_) look.read_now = best_->name;
  return look;
}

// As much as decides.
void LookInside(const SiteRec& site, Files& files, bool quoted_fields, LogLook& look) {
  if (look.read_now.empty()) return;
  std::unique_ptr<LogFile> file;
  std::string bytes;
  Status status = files.OpenLog(WithSeparator(site.Folder) + look.read_now, file);
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
