// The visitor from whom tests of lists and rows start.
#pragma once

#include "core/tables.h"

namespace vantry {

// Site and address stay as they are.
inline void FillSample(VisitorRec& v) {
  v.DNS = "host.example";
  v.VisitNo = 12;
  v.VisitCount = 1;
  v.Page = "/a.asp";
  v.Query = "?b";
  v.Browser = "IE6";
  v.CountryCode = "NO";
  v.Referrer = "http://from/";
  v.StartTime = MakeLogTime(*MakeDay(2004, 3, 9), 3'600);
  v.LastHitTime = MakeLogTime(*MakeDay(2004, 3, 9), 3'661);
  v.Status = 200;
}

}  // namespace vantry
