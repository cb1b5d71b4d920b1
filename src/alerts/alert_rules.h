// The alerts of a site, as the hit processor asks for them.
#pragma once

#include <cstdint>

#include "core/tables.h"

namespace vantry {

class AlertRules {
 public:
  virtual ~AlertRules() = default;
  // The 1-based place in the alert table of the first alert of the visitor's site that matches, or 0.
  virtual int32_t RaiseAlert(const VisitorRec& visitor) = 0;
  // Lists and acts on the alert at this place; clears AlertPending.
  virtual void AddAlert(VisitorRec& visitor, int32_t alert) = 0;
  // The visitor's host name has come. With TestEveryPage a visit that has raised no alert yet is tested once more.
  virtual void NameArrived(VisitorRec& visitor) = 0;
};

}  // namespace vantry
