// The names of visitors: from the stored visits when they are known there, otherwise asked for on the side. A visitor
// is listed under its address until the answer comes, and a scan never waits for one.
#pragma once

#include <string>
#include <string_view>

#include "ports/resolver.h"
#include "scan/scan_context.h"

namespace vantry {

class ResolverQueue final : public VisitorNames {
 public:
  static constexpr int kMaxPending = 100;  // Requests under way at one time.

  // Takes the answers of `resolver` until it goes. Both arguments are used when calls and answers come, not before.
  ResolverQueue(ScanContext& c, Resolver& resolver);
  ~ResolverQueue() override;
  ResolverQueue(const ResolverQueue&) = delete;
  ResolverQueue& operator=(const ResolverQueue&) = delete;

  // What the visitor's DNS starts with: the stored name, or else the trimmed IP. In the second case a request is
  // started and its number kept in DNSRequestId, unless ReverseDNS is off or kMaxPending are under way: such a visitor
  // keeps its address as its name for the whole visit.
  std::string ResolveVisitor(VisitorRec& visitor) override;

  // The name that belongs to the first equal code of `Countries`; empty for an unknown code. The pair found last is
  // kept, so that a run of visitors from one country is one search.
  std::string CountryName(std::string_view code) override;

  // An answer has come: names the visitor, its stored visits, its rows in the day's lists, and tells listeners.
  void RequestComplete(const ResolverAnswer& answer);

 private:
  void ShowPending();
  VisitorRec* FindAsker(const ResolverAnswer& answer) const;
  void NameVisitor(VisitorRec& visitor, const ResolverAnswer& answer);

  ScanContext& c_;
  Resolver& resolver_;
  std::string last_code_, last_name_;
};

}  // namespace vantry
