// The six log formats: which field of a split line is what.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "core/tables.h"

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
  std::array<int16_t, kFieldCount> ordinal;
  FieldLayout() { ordinal.fill(-1); }
  int16_t operator[](Field field) const { return ordinal[field]; }
};

FieldLayout SetIISLayout();
FieldLayout SetNCSALayout();
FieldLayout SetProxyLayout();
FieldLayout SetFirewallLayout();

// The layout told by the text of a "#FIELDS:" line, without the keyword. Names that the type does not know are passed
// over; a type without headers gives an empty layout.
FieldLayout FieldMap(LogType type, std::string_view fields);

struct FormatTraits {
  char separator;
  bool fixed_layout;  // The fields are known without a header.
};
FormatTraits TraitsOf(LogType type);

}  // namespace vantry
