// What a list is asked for: who is wanted in it, how many, and where to go on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/tables.h"
#include "live/route.h"

namespace vantry {

// The parameters that a list takes, as bits.
enum Parameter : uint16_t {
  kTakesSite = 1,
  kTakesAddress = 2,
  kTakesPage = 4,
  kTakesCountry = 8,
  kTakesSpider = 16,
  kTakesPlace = 32,  // limit and cursor.
  kTakesDays = 64,   // from and to.
  kTakesAfter = 128,
  kTakesVisitors = kTakesSite | kTakesAddress | kTakesPage | kTakesCountry | kTakesSpider,
};

struct ListQuery {
  static constexpr size_t kUsualLimit = 1'000, kMostRows = 1'000'000;

  int16_t site = 0;                            // 0 for all.
  std::string address, page, country, engine;  // Masks; empty for all.
  std::optional<bool> spider;                  // Spiders alone, or people alone.
  size_t limit = kUsualLimit;
  std::string cursor;
  std::optional<Day> from, to;
  std::optional<uint64_t> after;

  bool Fits(const VisitorRec& visitor) const;
  bool Fits(const SpiderRow& row) const;
  bool Fits(const AlertRow& row) const;
  bool Fits(const ExceptionRow& row) const { return FitsSite(row.site); }
  bool FitsSite(int16_t number) const { return site == 0 || site == number; }

 private:
  bool FitsRow(const VisitorDayRow& row) const;
};

// Reads the parameters that are taken, as bits of Parameter. What comes back says what is wrong with which; empty if
// nothing is.
std::string ReadListQuery(const LiveQuery& query, const LiveTables& t, unsigned takes, ListQuery& list);

// A visitor's key for addresses of the web: site, ":" and the visitor's address, in which each byte that is not
// printable ASCII, and "%", is "%" and two hex digits.
std::string KeyText(int16_t site, std::string_view address);
// Reads one back; false when it is none.
bool ReadKey(std::string_view key, int16_t& site, std::string& address);
std::string EscapeBytes(std::string_view bytes);

// A cursor of this run of the program; empty for one of another run and for what is none.
std::string MakeCursor(const LiveTables& t, std::string_view place);
std::optional<std::string> ReadCursor(const LiveTables& t, std::string_view cursor);
std::optional<uint64_t> ReadCount(std::string_view text);

inline constexpr std::string_view kBadCursor =
    "cursor: it is not one of this list, or of an earlier run of the program; begin without one";

}  // namespace vantry
