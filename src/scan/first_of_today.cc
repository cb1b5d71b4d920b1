#include "scan/first_of_today.h"

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "core/text.h"

namespace vantry {
namespace {

constexpr int64_t kBlock = 64 * 1024;
constexpr int64_t kFirstStep = 1024 * 1024;         // Less than that is read rather than sought.
constexpr int64_t kFine = 4 * kBlock;               // Halving ends here; what is left is read.
constexpr int64_t kMostWalk = 1024 * 1024;          // How far a place is walked on from to the next line with a date.
constexpr int64_t kHeaderReach = 16 * 1024 * 1024;  // How far back a header is looked for.
constexpr int64_t kLongestHeader = 8 * 1024;
constexpr Day kNoDay{-10'000'000};

bool IsDashedDate(std::string_view text) {
  return text.size() == 10 && text[4] == '-' && text[7] == '-' && IsDigit(text[0]);
}

bool IsClockTime(std::string_view text) {
  return text.size() >= 8 && text[2] == ':' && text[5] == ':' && IsDigit(text[0]);
}

bool IsHeader(std::string_view line) {
  constexpr std::string_view kKeyword = "#FIELDS:";
  return EqualsNoCase(line.substr(0, kKeyword.size()), kKeyword);
}

std::string FieldsOf(std::string_view header) {
  const std::string text = Upper(Trim(header));
  return text.size() > 9 ? text.substr(9) : std::string();
}

// The lines of a block, each without its end. What the block's ends cut off is passed over.
template <class Each>
void ForEachLine(std::string_view block, bool at_line, Each each) {
  const char mark = block.find('\n') == std::string_view::npos ? '\r' : '\n';
  if (!at_line) block.remove_prefix(std::min(block.find(mark), block.size()));
  for (size_t end = block.find(mark); end != std::string_view::npos; end = block.find(mark)) {
    std::string_view line = block.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!line.empty() && !each(line)) return;
    block.remove_prefix(end + 1);
  }
}

class Searcher {
 public:
  Searcher(const LogToSearch& log, Day today)
      : log_(log), target_{MakeLogTime(today, 0).s - kSeekMargin}, parser_(hit_, shift_, log.clock), buffer_(kBlock) {
    parser_.SetFormat(log.format, log.rules);
    if (HasHeaders()) parser_.MapFields("DATE TIME");
  }

  TodayPlace Find(int64_t from) {
    const int64_t place = LastBefore(from);
    // Without a single line with a date nothing is known.
    if (failed_ || place == from || !dated_) return {from, {}};
    const auto start = LineAfter(place);
    if (!start) return {from, {}};
    TodayPlace found{*start, {}};
    if (HasHeaders() && !FindHeader(*start, found.header)) return {from, {}};
    return failed_ ? TodayPlace{from, {}} : found;
  }

 private:
  enum class Side { kOlder, kToday };

  bool HasHeaders() const { return !log_.format.header.empty(); }

  // Up to a block at a place; empty at the end of the file, and when reading fails.
  std::string_view Read(int64_t at, int64_t size = kBlock) {
    buffer_.resize(static_cast<size_t>(std::max(size, kBlock)));
    size_t filled = 0, count = 0;
    do {
      const std::span<char> rest(buffer_.data() + filled, static_cast<size_t>(size) - filled);
      if (!log_.file.ReadAt(at + static_cast<int64_t>(filled), rest, count).ok()) failed_ = true;
      filled += count;
    } while (!failed_ && count > 0 && filled < static_cast<size_t>(size));
    return failed_ ? std::string_view() : std::string_view(buffer_.data(), filled);
  }

  // Date and time of a line whose layout may have changed since the header that is known: they look alike wherever they
  // stand.
  bool TakeDate(std::string_view line) {
    std::string_view date, time;
    for (std::string_view rest = line; !rest.empty() && (date.empty() || time.empty());) {
      const size_t end = rest.find(log_.format.separator);
      const std::string_view word = Trim(rest.substr(0, end));
      if (date.empty() && IsDashedDate(word)) {
        date = word;
      } else if (time.empty() && IsClockTime(word)) {
        time = word;
      }
      rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    date_and_time_.assign(date).append(1, log_.format.separator).append(time);
    return !date.empty();
  }

  std::optional<LogTime> TimeOf(std::string_view line) {
    if (HasHeaders()) {
      if (line.front() == '#' || !TakeDate(line)) return std::nullopt;
      line = date_and_time_;
    }
    hit_.HitDate = kNoDay;
    hit_.HitTime = 0;
    shift_ = log_.shift;
    const LogTime time = parser_.ReadTime(line);
    if (hit_.HitDate == kNoDay) return std::nullopt;
    dated_ = true;
    return time;
  }

  // What the first block with a date after a place holds. A line that was long in the making is logged late with an old
  // time, so the newest of a block counts. The end of the file counts as today's, and what is not lines as older: a log
  // that was cut under a server which goes on at its old place begins with a hole.
  Side Look(int64_t at) {
    const int64_t end = at + kMostWalk;
    for (; at < end && !failed_; at += kBlock) {
      const std::string_view block = Read(at);
      if (block.empty()) return Side::kToday;
      bool dated = false, today = false;
      ForEachLine(block, at == 0, [&](std::string_view line) {
        const auto time = TimeOf(line);
        dated = dated || time;
        today = time && *time >= target_;
        return !today;
      });
      if (dated) return today ? Side::kToday : Side::kOlder;
    }
    return Side::kOlder;
  }

  // A place with only older lines before it; the lines of today begin within kFine bytes, if there are any.
  int64_t LastBefore(int64_t from) {
    int64_t low = from, step = kFirstStep;
    while (!failed_ && Look(from + step) == Side::kOlder) {
      low = from + step;
      step *= 4;
    }
    if (low == from) return from;
    int64_t high = from + step;
    while (!failed_ && high - low > kFine) {
      const int64_t middle = low + (high - low) / 2;
      (Look(middle) == Side::kOlder ? low : high) = middle;
    }
    return low;
  }

  std::optional<int64_t> LineAfter(int64_t place) {
    for (int64_t at = place; at < place + kMostWalk; at += kBlock) {
      const std::string_view block = Read(at);
      if (block.empty()) return std::nullopt;
      size_t end = block.find('\n');
      if (end == std::string_view::npos) end = block.find('\r');
      if (end != std::string_view::npos) return at + static_cast<int64_t>(end) + 1;
    }
    return std::nullopt;
  }

  // The last header that begins before the place `limit` of these bytes.
  static std::string_view LastHeader(std::string_view bytes, size_t limit, bool at_line) {
    std::string_view found;
    for (size_t at = bytes.find('#'); at < limit && at != std::string_view::npos; at = bytes.find('#', at + 1)) {
      const bool begins = at == 0 ? at_line : bytes[at - 1] == '\n' || bytes[at - 1] == '\r';
      if (!begins || !IsHeader(bytes.substr(at))) continue;
      const size_t end = bytes.find_first_of("\r\n", at);
      if (end != std::string_view::npos) found = bytes.substr(at, end - at);
    }
    return found;
  }

  bool FindHeader(int64_t start, std::string& header) {
    constexpr int64_t kPiece = 4 * kBlock;
    const int64_t least = std::max<int64_t>(0, start - kHeaderReach);
    for (int64_t end = start; end > least && !failed_;) {
      const int64_t begin = std::max(least, end - kPiece);
      const std::string_view bytes = Read(begin, end - begin + kLongestHeader);
      header = LastHeader(bytes, static_cast<size_t>(end - begin), begin == 0);
      if (!header.empty()) return true;
      // One byte is looked at twice: the end of the line before a header.
      end = begin > least ? begin + 1 : begin;
    }
    // Too far away. What is known otherwise must fit the lines that it is taken for.
    const std::string line = LineWithDate(start);
    if (log_.format.layout || Fits(log_.last_fields, line)) return true;
    header = LastHeader(Read(0), kBlock, true);
    return !header.empty() && Fits(FieldsOf(header), line);
  }

  std::string LineWithDate(int64_t start) {
    std::string found;
    ForEachLine(Read(start), true, [&](std::string_view line) {
      if (TimeOf(line)) found = line;
      return found.empty();
    });
    return found;
  }

  bool Fits(std::string_view fields, std::string_view line) {
    const auto names = Split(fields, fields.find('\t') == std::string_view::npos ? ' ' : '\t');
    const auto values = Split(line, log_.format.separator);
    const FieldLayout layout = FieldMap(log_.format.header, fields);
    const auto named = std::count_if(names.begin(), names.end(), [](std::string_view n) { return !Trim(n).empty(); });
    if (layout[kDate] < 0 || static_cast<size_t>(named) != values.size()) return false;
    return IsDashedDate(Trim(values[static_cast<size_t>(layout[kDate])]));
  }

  const LogToSearch& log_;
  LogTime target_;
  HitRec hit_;
  int32_t shift_ = 0;
  LineParser parser_;
  std::vector<char> buffer_;
  std::string date_and_time_;
  bool dated_ = false;   // A line with a date was seen.
  bool failed_ = false;  // The disk refused.
};

}  // namespace

TodayPlace FirstOfToday(const LogToSearch& log, int64_t from, Day today) {
  return Searcher(log, today).Find(from);
}

}  // namespace vantry
