#include "config/followed_files.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kMostRead = 1'000;

std::string IdText(const LogFileId& id) {
  return std::to_string(id.Device) + " " + std::to_string(id.Inode) + " " + std::to_string(id.StartBytes) + " " +
         std::to_string(id.StartHash) + " " + std::to_string(id.WrittenNs) + " " + id.Path;
}

// Takes a whole number and the blank after it off the text.
template <class Number>
bool TakeNumber(std::string_view& text, Number& number) {
  const size_t end = std::min(text.find(' '), text.size());
  const auto result = std::from_chars(text.data(), text.data() + end, number);
  if (result.ec != std::errc() || result.ptr != text.data() + end) return false;
  text.remove_prefix(std::min(end + 1, text.size()));
  return true;
}

std::optional<LogFileId> ReadId(std::string_view text) {
  LogFileId id;
  const bool whole = TakeNumber(text, id.Device) && TakeNumber(text, id.Inode) && TakeNumber(text, id.StartBytes) &&
                     TakeNumber(text, id.StartHash) && TakeNumber(text, id.WrittenNs);
  if (!whole || id.Inode == 0 || id.StartBytes < 0) return std::nullopt;
  id.Path = Trim(text);
  return id;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> FollowedLines(const ReadState& state) {
  std::vector<std::pair<std::string, std::string>> lines;
  if (state.LastFile.Inode == 0) return lines;
  lines.emplace_back("LastFile", IdText(state.LastFile));
  lines.emplace_back("FollowedTo", std::to_string(state.FollowedNs));
  for (const LeftLog& left : state.LeftLogs) {
    lines.emplace_back("LeftFile", std::to_string(left.ReadPos) + " " + std::to_string(left.DayPos) + " " +
                                       (left.Done ? "1 " : "0 ") + IdText(left.File));
  }
  return lines;
}

void ReadFollowed(std::string_view key, std::string_view value, ReadState& state) {
  if (key == "LASTFILE") {
    if (auto id = ReadId(value)) state.LastFile = std::move(*id);
    return;
  }
  if (key == "FOLLOWEDTO") {
    int64_t time = 0;
    if (TakeNumber(value, time)) state.FollowedNs = time;
    return;
  }
  LeftLog left;
  int done = 0;
  if (!TakeNumber(value, left.ReadPos) || !TakeNumber(value, left.DayPos) || !TakeNumber(value, done)) return;
  auto id = ReadId(value);
  if (!id || left.ReadPos < 0 || left.DayPos < 0 || state.LeftLogs.size() >= kMostRead) return;
  left.Done = done != 0;
  left.File = std::move(*id);
  state.LeftLogs.push_back(std::move(left));
}

void ForgetFollowed(ReadState& state) {
  state.LastFile = {};
  state.LeftLogs.clear();
  state.FollowedNs = 0;
}

}  // namespace vantry
