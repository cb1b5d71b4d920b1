// Sides, icons and colours of what is shown, as numbers.
#pragma once

#include <cstdint>

namespace vantry {

enum class Align : uint8_t { kLeft, kRight, kCentre };

// Slots of the image list. Those that other rules name by number keep that number.
enum Icon : int16_t {
  kIconNone = 0,
  kIconNewVisitor = 3,
  kIconIdle = 4,
  kIconRepeatVisitor = 5,
  kIconFailedRequest = 12,
  kIconKnownName = 17,
  kIconGroup = 19,
  kIconSuspect = 22,
  kIconBrowserOther = 30,
  kIconBrowserIE = 31,
  kIconBrowserNS = 32,
  kIconBrowserOP = 33,
  kIconSpider = 34,
  kIconSiteIdle = 40,
  kIconSiteIdleProxy = 41,
  kIconSiteScanning = 42,
};

// Colours are 32-bit numbers with red in the lowest byte.
inline constexpr uint32_t kColourDefault = 0xFFFFFFFF;
inline constexpr uint32_t kColourAlarm = 0x000000FF;

}  // namespace vantry
