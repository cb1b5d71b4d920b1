#include "archive/log_choice.h"

#include "core/text.h"
#include "core/text_encoding.h"
#include "core/wildcard.h"

namespace vantry {
namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kQuietSeconds = 3'600;
constexpr size_t kMostNameBytesOfSite = 100;

std::string FileNameOf(std::string_view site) {
  std::string name(site);
  for (char& c : name) {
    if (c == '/' || static_cast<unsigned char>(c) < 32 || c == 127) c = '_';
  }
  if (name.empty()) name = "_";
  if (name.front() == '.') name.front() = '_';
  const bool utf8 = IsUtf8(name);
  size_t size = std::min(name.size(), kMostNameBytesOfSite);
  // A character is not cut in two.
  while (utf8 && size < name.size() && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80) --size;
  name.resize(size);
  return name;
}

}  // namespace

Verdict Judge(const FolderFile& file, std::string_view mask, const ChoiceRules& rules) {
  if (!FitsFileMask(file.name, mask)) return Verdict::kOtherName;
  if (!file.plain) return Verdict::kNotPlain;
  if (rules.being_read.contains(KeyOf(file))) return Verdict::kBeingRead;
  if (rules.of_others.contains(KeyOf(file))) return Verdict::kOfOthers;
  const int64_t age_s = rules.now_s - FloorDiv(file.written_ns, kSecond);
  if (age_s < int64_t{rules.days} * kSecondsPerDay) return Verdict::kYoung;
  return age_s < kQuietSeconds ? Verdict::kChangedLately : Verdict::kGoes;
}

std::string ZipName(std::string_view site, WallTime written) {
  const CivilDate date = ToCivil(DayOf(written));
  return FileNameOf(site) + "-" + PadNumber(date.year, 4) + "-" + PadNumber(date.month, 2) + ".zip";
}

std::string EntryName(const std::string& log, const std::set<std::string>& taken) {
  std::string name = log;
  for (int n = 2; taken.contains(name); ++n) name = log + "~" + std::to_string(n);
  return name;
}

bool IsEntryOf(std::string_view entry, std::string_view log) {
  if (!StartsWith(entry, log)) return false;
  entry.remove_prefix(log.size());
  if (entry.empty()) return true;
  if (entry.size() < 2 || entry.front() != '~') return false;
  entry.remove_prefix(1);
  for (const char c : entry) {
    if (!IsDigit(c)) return false;
  }
  return true;
}

}  // namespace vantry
