// The fields of a log line: which of them there are, where a layout has them, and a line cut into them.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vantry {

enum Field : uint8_t {
  kDate,
  kTime,
  kClientIp,
  kUserName,
  kSiteName,
  kComputerName,
  kServerIp,
  kMethod,
  kUriStem,
  kUriQuery,
  kStatus,
  kWin32Status,
  kServerBytes,
  kClientBytes,
  kTimeTaken,
  kServerPort,
  kVersion,
  kUserAgent,
  kCookie,
  kReferer,
  kFieldCount
};

// 0-based place of each field in a split line, -1 when the layout lacks it.
struct FieldLayout {
  struct Place {
    Field field;
    int16_t ordinal;
  };
  std::array<int16_t, kFieldCount> ordinal;
  constexpr FieldLayout() : ordinal{} { ordinal.fill(-1); }
  constexpr FieldLayout(std::initializer_list<Place> places) : FieldLayout() {
    for (const Place& place : places) ordinal[place.field] = place.ordinal;
  }
  constexpr int16_t operator[](Field field) const { return ordinal[field]; }
};

// What a "#FIELDS:" line of one format calls a field, in upper case.
struct HeaderName {
  std::string_view name;
  Field field;
};

// Returns the layout that the text of a "#FIELDS:" line tells, without the keyword. Tabs separate like blanks. Unknown
// names are passed over; with no `names` at all the layout is empty.
FieldLayout FieldMap(std::span<const HeaderName> names, std::string_view fields);

// One line cut at a separator, only as far as somebody has asked: most lines are dropped on their first fields.
class FieldCutter {
 public:
  void Start(std::string_view line, char separator) {
    rest_ = line;
    separator_ = separator;
    fields_.clear();
    done_ = false;
  }
  // Returns the field at a 0-based place, without blanks at its ends. Empty when the line is too short or the place is
  // below 0.
  std::optional<std::string_view> Get(int ordinal);

 private:
  std::vector<std::string_view> fields_;
  std::string_view rest_;
  char separator_ = ' ';
  bool done_ = true;
};

}  // namespace vantry
