#include "scan/resolver_queue.h"

#include "core/text.h"

namespace vantry {

ResolverQueue::ResolverQueue(ScanContext& c, Resolver& resolver) : c_(c), resolver_(resolver) {
  resolver_.OnComplete([this](const ResolverAnswer& answer) { RequestComplete(answer); });
}

ResolverQueue::~ResolverQueue() {
  resolver_.OnComplete({});
}

std::string ResolverQueue::ResolveVisitor(VisitorRec& v) {
  std::string ip(Trim(v.IP));
  std::string name = c_.history.LookupDNS(ip, &v);
  if (!name.empty()) return name;
  if (c_.settings.ReverseDNS && resolver_.Pending() < kMaxPending) {
    v.DNSRequestId = resolver_.Start(ip);
    if (v.DNSRequestId != 0) ShowPending();
  }
  return ip;
}

std::string ResolverQueue::CountryName(std::string_view code) {
  const std::string upper = Upper(code);
  if (upper == last_code_) return last_name_;
  for (const CountryEntry& country : c_.t.Countries) {
    if (country.Code != upper) continue;
    last_code_ = upper;
    last_name_ = country.Name;
    return last_name_;
  }
  return {};
}

void ResolverQueue::ShowPending() {
  const int pending = resolver_.Pending();
  c_.view.SetDnsStatus(pending > 0 ? "Pending DNS:" + std::to_string(pending) : std::string());
}

void ResolverQueue::RequestComplete(const ResolverAnswer& answer) {
  c_.log.Guard("IPInfo.RequestComplete", [&] {
    ShowPending();
    if (answer.name.empty()) return Status::Ok();
    if (VisitorRec* visitor = FindAsker(answer)) {
      NameVisitor(*visitor, answer);
    } else {
      c_.history.UpdateDNS(answer.address, answer.name);
    }
    c_.t.logGrid.NameFirst(answer.address, answer.name);
    c_.t.spiderGrid.NameFirst(answer.address, answer.name);
    if (c_.t.InterfaceCount > 0) c_.events.DNSResolved(answer.address, answer.name);
    return Status::Ok();
  });
}

// Numbers of visitors change while a request is under way; its own number does not. The visitor that asked has the
// address of the answer, so it is found without a walk through all of them. This also keeps an old request from naming
// a later visitor with the same number.
VisitorRec* ResolverQueue::FindAsker(const ResolverAnswer& answer) const {
  for (int16_t site = 1; site <= c_.t.SiteCount(); ++site) {
    VisitorRec* visitor = c_.t.Visitors.Lookup(site, answer.address);
    if (visitor && visitor->DNSRequestId == answer.id) return visitor;
  }
  return nullptr;
}

void ResolverQueue::NameVisitor(VisitorRec& v, const ResolverAnswer& answer) {
  v.DNSDone = true;
  if (answer.status != 0) {
    c_.t.Visitors.ChangeName(v, v.DNS + " ?");
  } else {
    c_.t.Visitors.ChangeName(v, answer.name);
    c_.history.UpdateVisitor(v, true);
    c_.alerts.NameArrived(v);
  }
  c_.t.Visitors.Touch(v);
  if (c_.t.Live) c_.t.Live->Changed(v);
}

}  // namespace vantry
