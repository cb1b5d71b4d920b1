// Where in a long log the lines of today begin, found without reading what comes before.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "logs/line_parser.h"
#include "ports/clock.h"
#include "ports/files.h"

namespace vantry {

struct LogToSearch {
  LogFile& file;
  const LogFormat& format;
  LineRules rules;
  int32_t shift = 0;  // Seconds to add to times where neither line nor rules tell them.
  const Clock& clock;
  std::string_view last_fields = {};  // Of the "#FIELDS:" line read last; empty if there was none.
};

struct TodayPlace {
  int64_t start = 0;   // 0-based place of a line. Those before it are of earlier days.
  std::string header;  // The "#Fields" line that holds there; empty where the layout known before holds.
};

// A log is in order of time but for minutes, so the place is found by halving. Where a log mixes days by more than
// kSeekMargin, lines of today may be left out. Returns `from` when nothing is known to be left out by it: a short log,
// lines without dates, a layout that can't be made out, a disk that refuses.
inline constexpr int64_t kSeekMargin = 600;
TodayPlace FirstOfToday(const LogToSearch& log, int64_t from, Day today);

}  // namespace vantry
