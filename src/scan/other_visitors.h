// Visitors beyond the bound, as one row of their site: a flood of addresses takes no more memory than the bound allows.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "core/address_sketch.h"
#include "core/tables.h"

namespace vantry {

class OtherVisitors {
 public:
  static constexpr std::string_view kAddress = "other";

  explicit OtherVisitors(LiveTables& t) : t_(t) {}

  // No more visitors have a row of their own.
  bool Full() const { return t_.Corrected.MaxVisitors > 0 && t_.Visitors.Count() >= t_.Corrected.MaxVisitors; }
  bool IsOther(const VisitorRec& v) const { return t_.Corrected.MaxVisitors > 0 && v.IP == kAddress; }

  // Counts a page of this address and shows the numbers in the row, which stands for many: it is no suspect, and
  // nothing is raised about its visit.
  void Count(VisitorRec& v, std::string_view address);

 private:
  struct Numbers {
    int32_t visit = 0;  // VisitNo of the row that these belong to.
    int64_t pages = 0;
    AddressSketch addresses;
  };
  LiveTables& t_;
  std::map<int16_t, Numbers> sites_;
};

// Makes a hit of the row for others out of that of one address, and puts it back: a line that lacks a field takes it
// from the line before.
class AsOther {
 public:
  explicit AsOther(HitRec& hit) : hit_(hit), saved_{hit.HitIP, hit.HitUser, hit.HitAgent, hit.HitReferrer} {
    hit.HitIP = OtherVisitors::kAddress;
    hit.HitUser.clear();
    hit.HitAgent.clear();
    hit.HitReferrer.clear();
  }
  ~AsOther() {
    hit_.HitIP = saved_.ip;
    hit_.HitUser = saved_.user;
    hit_.HitAgent = saved_.agent;
    hit_.HitReferrer = saved_.referrer;
  }
  AsOther(const AsOther&) = delete;
  AsOther& operator=(const AsOther&) = delete;
  const std::string& Address() const { return saved_.ip; }

 private:
  HitRec& hit_;
  const struct { std::string ip, user, agent, referrer; } saved_;
};

}  // namespace vantry
