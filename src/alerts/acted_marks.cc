#include "alerts/acted_marks.h"

#include <algorithm>
#include <charconv>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kMostSites = 100'000;  // More lines than that are not ours.

std::string Hex(uint64_t number) {
  std::string text(16, '0');
  for (size_t i = text.size(); number != 0; number >>= 4) text[--i] = "0123456789abcdef"[number & 15];
  return text;
}

template <class Number>
bool Read(std::string_view text, Number& number, int base) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size();
}

std::string Padded(const std::string& digits, size_t width) {
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

}  // namespace

std::string FormatActedMark(uint64_t site, const ActedMark& mark) {
  return Hex(site) + " " + Padded(std::to_string(std::max<int64_t>(mark.time.s, 0)), 20) + " " +
         Padded(std::to_string(mark.count), 10) + "\n";
}

bool ParseActedMark(std::string_view line, uint64_t& site, ActedMark& mark) {
  return line.size() == kActsLineBytes && line[16] == ' ' && line[37] == ' ' && line[48] == '\n' &&
         Read(line.substr(0, 16), site, 16) && Read(line.substr(17, 20), mark.time.s, 10) &&
         Read(line.substr(38, 10), mark.count, 10) && FormatActedMark(site, mark) == line;
}

// FNV-1a: the same in every build, as it stands in a file.
uint64_t ActedSite(const SiteRec& site) {
  uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : site.Name + "\n" + site.Folder + "\n" + site.Mask) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  }
  return hash;
}

bool ActedMarks::Next(int16_t number, LogTime line, bool acts) {
  Place& place = PlaceOf(number);
  if (line > place.now.time) place.now = {line, 0};
  ++place.now.count;
  // Later scans read lines that nobody has read before.
  if (!t_.Site(number).ReadOnce && place.now <= place.before) return false;
  if (acts && place.now != place.written) Write(place);
  return true;
}

ActedMarks::Place& ActedMarks::PlaceOf(int16_t number) {
  if (!opened_) Open();
  const auto known = of_this_run_.find(number);
  if (known != of_this_run_.end()) return places_[known->second];
  const uint64_t site = ActedSite(t_.Site(number));
  const auto [entry, is_new] = by_site_.try_emplace(site, places_.size());
  if (is_new) {
    places_.push_back({.site = site, .position = static_cast<int64_t>(places_.size() * kActsLineBytes)});
  }
  of_this_run_[number] = entry->second;
  return places_[entry->second];
}

void ActedMarks::Open() {
  opened_ = true;
  if (const Status status = ReadFile(); !status.ok()) Complain(status);
}

Status ActedMarks::ReadFile() {
  if (Status status = files_.Open(folder_ + kActsName, OpenFor::kCreating, file_); !status.ok()) return status;
  FileIdentity identity;
  if (Status status = file_->Identify(identity); !status.ok()) return status;
  std::string bytes(std::min(static_cast<size_t>(identity.size_bytes), kMostSites * kActsLineBytes), '\0');
  size_t count = 0;
  if (Status status = file_->ReadAt(0, bytes, count); !status.ok()) return status;
  const std::string_view text(bytes.data(), count);
  for (size_t at = 0; at < text.size(); at += kActsLineBytes) {
    Place place{.position = static_cast<int64_t>(at)};
    // A line of another form keeps its place and stands for no site.
    if (ParseActedMark(text.substr(at, kActsLineBytes), place.site, place.before)) {
      by_site_.try_emplace(place.site, places_.size());
      place.written = place.before;
    }
    places_.push_back(place);
  }
  return Status::Ok();
}

void ActedMarks::Write(Place& place) {
  place.written = place.now;
  if (!file_) return;
  // One write within a page: whoever kills the program leaves all of it or nothing.
  const Status status = file_->WriteAt(place.position, FormatActedMark(place.site, place.now));
  if (!status.ok()) Complain(status);
}

void ActedMarks::Complain(const Status& status) {
  if (!told_) {
    log_.ReportError(status.text + ". After a hard stop, exceptions of the last minute may be told a second time.",
                     "Vantry.acts");
  }
  told_ = true;
}

}  // namespace vantry
