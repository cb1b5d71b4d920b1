// From the hit to the counted page.
#include <algorithm>
#include <functional>

#include "core/exception_numbers.h"
#include "core/quiet_lines.h"
#include "core/text.h"
#include "core/visitor_rows.h"
#include "core/wildcard.h"
#include "scan/hit_processor.h"

namespace vantry {
namespace {

// Patterns separated by ";", with or without a closing one. An empty pattern would fit only empty text and is
// ignored.
bool FitsAny(std::string_view text, std::string_view patterns) {
  while (!patterns.empty()) {
    const size_t end = patterns.find(';');
    const std::string_view pattern = patterns.substr(0, end);
    if (!pattern.empty() && Like(text, pattern)) return true;
    if (end == std::string_view::npos) return false;
    patterns.remove_prefix(end + 1);
  }
  return false;
}

}  // namespace

bool ExcludeCheck(std::string_view ip, std::string_view page, const SiteRec& site) {
  return FitsAny(ip, site.Exclude) || FitsAny(page, site.ExcludePages);
}

// Whether the page is of a kind that counts. Images, style sheets and the like end here.
bool HitProcessor::KeepExtension() {
  std::string& page = t_.Hit.HitPage;
  ext_.clear();
  const size_t dot = page.rfind('.');
  if (dot == std::string::npos) return page.size() >= 2;
  const std::string_view behind = std::string_view(page).substr(dot + 1);
  for (const std::string& extension : c_.settings.Extension) {
    // Stored in lower case, so comparing without case is comparing the lower-cased text.
    if (extension.size() != behind.size() || !EqualsNoCase(extension, behind)) continue;
    ext_ = extension;
    if (page.front() == ' ') page.erase(0, page.find_first_not_of(' '));
    if (page.front() == '/') page.erase(0, 1);
    return true;
  }
  return false;
}

void HitProcessor::ProcessHit(std::string_view line, int16_t number, LogTime hit) {
  HitRec& h = t_.Hit;
  line_site_ = number;
  parser_.ReadAddress();
  if (ExcludeCheck(h.HitIP, h.HitPage, t_.Site(number))) return;
  parser_.ReadRemainingFields();

  bool drop = false;
  VisitorRec* v = FindVisitor(number, hit, drop);
  std::optional<AsOther> as_other;
  if (!v && !drop && others_.Full()) {
    as_other.emplace(h);
    v = FindVisitor(number, hit, drop);
  }
  if (drop) return;
  int32_t alert = 0;
  const bool comes = !v;
  if (comes) v = NewVisitor(number, hit, alert);
  if (!v) return;

  v->LastHitTime = t_.Corrected.QuietReplay ? std::max(v->LastHitTime, hit) : hit;
  if (parser_.Format().one_target && v->Referrer != h.HitReferrer) v->Referrer = t_.Visitors.Shared(h.HitReferrer);
  if (as_other) others_.Count(*v, as_other->Address());
  // A repeated request, a frame reload or the re-read last line counts once; so does a second page in one second.
  const auto page_hash = static_cast<uint32_t>(std::hash<std::string>{}(h.HitPage));
  const bool repeated = (page_hash == v->PageHash && h.HitPage == v->Page) || hit == v->LastPageTime;
  if (repeated && !as_other) return;
  v->PageHash = page_hash;
  CountPage(*v, line, hit);
  if (t_.Live) comes ? t_.Live->Came(*v) : t_.Live->Changed(*v);
  if (t_.Corrected.TestEveryPage && v->Pages > 1 && !v->AlertRaised) alert = TestAlerts(*v);
  if (v->AlertPending) c_.alerts.AddAlert(*v, alert);
  if (v->SpiderPending) AddSpider(t_, *v);
}

VisitorRec* HitProcessor::FindVisitor(int16_t number, LogTime hit, bool& drop) {
  const SiteRec& site = t_.Site(number);
  const HitRec& h = t_.Hit;
  VisitorRec* v = t_.Visitors.Lookup(number, h.HitIP);
  if (!v && t_.Corrected.QuietReplay) {
    v = lifecycle_.TakeBack(number, h.HitIP, hit);
  } else if (!v) {
    // A hit that is not newer than the end of a removed visit must not bring it back.
    drop = h.HitIP == site.LastIP && site.LastTime >= hit;
    if (drop) return nullptr;
  }
  if (!v) v = GetVisitorByGroup(hit);
  if (!v || !IsCut(*v, hit)) return v;
  lifecycle_.EndVisit(*v);
  return nullptr;
}

// A first scan and a replay go through hours of log in seconds, so they cut visits at the gaps in log time; with
// QuietReplay all scans do, so that a replay cuts where the visits were cut.
bool HitProcessor::IsCut(const VisitorRec& v, LogTime hit) const {
  const bool by_log = t_.Corrected.QuietReplay || t_.Site(line_site_).ScanCount == 1;
  if (by_log && lifecycle_.IsOver(v, hit)) return true;
  return parser_.Format().one_target && v.Referrer != t_.Hit.HitReferrer;
}

// Whoever is still in the table though its visit is over must not stand before others of the group.
VisitorRec* HitProcessor::FirstOfGroup(const std::string& mask, LogTime hit) {
  for (;;) {
    VisitorRec* first = t_.Visitors.FirstNamed(mask, t_.Corrected.GroupsPerSite ? line_site_ : int16_t{0});
    if (!first || !t_.Corrected.QuietReplay || !lifecycle_.IsOver(*first, hit)) return first;
    lifecycle_.EndVisit(*first);
  }
}

// Clients of rotating proxies show many addresses: a hit joins a visitor whose name fits the same mask, while that
// visitor is active. Classic groups go over all sites, so that a hit shows as a page of another site.
VisitorRec* HitProcessor::GetVisitorByGroup(LogTime hit) {
  const std::string name = c_.history.LookupDNS(t_.Hit.HitIP, nullptr);
  if (name.empty()) return nullptr;
  for (const std::string& mask : c_.settings.DNSMask) {
    if (mask.empty()) return nullptr;
    if (!Like(name, mask)) continue;
    VisitorRec* first = FirstOfGroup(mask, hit);
    if (!first) continue;
    const int64_t silent = t_.Corrected.QuietReplay ? MinutesBetween(first->LastPageTime, hit)
                                                    : MinutesBetween(first->LastClock, c_.clock.Now());
    if (silent >= c_.settings.InactivityMins / 2) return nullptr;
    if (first->GroupMask != mask) first->GroupMask = t_.Visitors.Shared(mask);
    return first;
  }
  return nullptr;
}

// False when spiders are ignored and this is one.
bool HitProcessor::ChooseSpider(int16_t number, LogTime hit, std::string& spider) {
  const HitRec& h = t_.Hit;
  if (t_.Site(number).ProxyStyle) return true;
  spider = classifier_.SelectSpider(h.HitAgent, h.HitIP, c_.agents);
  if (spider.empty() && EqualsNoCase(h.HitPage, "ROBOTS.TXT")) {
    spider = "Unknown";
    if (h.HitAgent.size() >= 2 && classifier_.LearnAgent(h.HitIP, h.HitAgent)) {
      c_.exceptions.AddException(number, kExUnknownSpider, hit, h.HitAgent, h.HitIP, 0);
    }
  }
  return spider.empty() || !c_.settings.NoSpiders;
}

VisitorRec* HitProcessor::NewVisitor(int16_t number, LogTime hit, int32_t& alert) {
  HitRec& h = t_.Hit;
  std::string browser = (c_.agents ? c_.agents->NameOf(h.HitAgent) : classifier_.ClassicName(h.HitAgent)).browser;
  if (browser == "-" && !h.HitMethod.empty()) browser = h.HitMethod;
  if (browser == "VT") return nullptr;  // The program's own touch monitor.
  std::string spider;
  if (!ChooseSpider(number, hit, spider)) return nullptr;

  SiteRec& site = t_.Site(number);
  ++t_.TotalVisitorCount;
  ++t_.TodayVisitorCount;
  ++site.TotalVisitors;
  ++site.TodayVisitors;
  ++site.CurrentVisitors;
  VisitorRec& v = *t_.Visitors.At(t_.Visitors.Add(number, h.HitIP));
  FillVisitor(v, number, hit, browser, spider);
  SetReferrer(v, site);
  // Classic alerts are tested before the page and the name are known: their page masks see an empty text, and so do
  // their host name masks.
  const bool page_first = t_.Corrected.TestEveryPage;
  if (!page_first) alert = TestAlerts(v);
  v.SpiderPending = v.IsSpider;
  t_.Visitors.ChangeName(v, c_.names.ResolveVisitor(v));
  if (t_.CountryLookup) {
    v.CountryCode = t_.Visitors.Shared(c_.history.LookupCountryCode(h.HitIP));
    v.CountryName = t_.Visitors.Shared(c_.names.CountryName(v.CountryCode));
  }
  if (page_first) {
    v.Page = h.HitPage;
    alert = TestAlerts(v);
    v.Page.clear();  // Not counted yet.
  }
  Announce(v, site);
  c_.history.UpdateVisitor(v, false);
  c_.history.AddVisitToDatabase(v, h.HitPage);
  if (!v.IsSpider && browser.empty() && !h.HitAgent.empty()) {
    c_.exceptions.AddException(number, kExUnknownBrowser, hit, h.HitAgent, h.HitIP, v.VisitCount);
  }
  AddToGrid(t_, v);
  return &v;
}

// Marks the visitor with the alert that it raises; returns the alert's place in the table, 0 for none.
int32_t HitProcessor::TestAlerts(VisitorRec& v) {
  const int32_t alert = v.IsSpider ? 0 : c_.alerts.RaiseAlert(v);
  if (alert > 0) {
    v.AlertNo = t_.Alerts[static_cast<size_t>(alert - 1)].AlertNo;
    v.AlertPending = v.AlertRaised = true;
  }
  return alert;
}

// Lines that came while nobody read them were seen when they were written: else a visit that was over before the start
// would go on, and take up whoever comes back. Times of a log can be told from the machine's only if they are right.
WallTime HitProcessor::SeenAt(LogTime hit) const {
  const WallTime now = c_.clock.Now();
  const bool asked = t_.Corrected.QuietReplay || t_.Corrected.QuietFirstScan;
  if (!asked || t_.Site(line_site_).ReadOnce) return now;
  const bool right = t_.Corrected.TrueTimes || c_.clock.UtcOffset() == 0;
  if (!right) return now;
  return {std::min(now.s, hit.s)};
}

void HitProcessor::FillVisitor(VisitorRec& v, int16_t number, LogTime hit, std::string_view browser,
                               std::string_view spider) {
  const HitRec& h = t_.Hit;
  v.StartPos = h.CurPos;
  v.VisitCount = 1;
  v.StartTime = v.LastHitTime = hit;
  v.LastClock = SeenAt(hit);
  v.VisitNo = t_.Site(number).TotalVisitors;
  v.Browser = t_.Visitors.Shared(browser);
  v.UserAgent = t_.Visitors.Shared(h.HitAgent);
  v.UserName = t_.Visitors.Shared(h.HitUser);
  v.IsSpider = !spider.empty();
  v.SpiderName = t_.Visitors.Shared(spider);
}

// Only where a visit came from outside is kept. In logs with user names and no referrer, the column shows who it was.
void HitProcessor::SetReferrer(VisitorRec& v, const SiteRec& site) {
  const HitRec& h = t_.Hit;
  if (h.HitReferrer.size() >= 2) {
    if (Contains(h.HitReferrer, site.Domain)) return;
    v.Referrer = t_.Visitors.Shared(h.HitReferrer.front() == '"' ? RemoveChar(h.HitReferrer, '"') : h.HitReferrer);
  } else if (h.HitUser.size() > 1) {
    v.Referrer = t_.Visitors.Shared(h.HitUser);
  }
}

void HitProcessor::Announce(const VisitorRec& v, const SiteRec& site) {
  if (site.ReplayUntilPos != 0 || !site.CaughtUp || IsQuietLine(t_, site)) return;
  if (!v.AlertPending && site.ScanCount > 2 && !c_.settings.DefaultSound.empty() && c_.settings.NewVisitorSound) {
    c_.notices.PlaySound(c_.settings.DefaultSound);
  }
  if (t_.InterfaceCount > 0) c_.events.VisitorArrived(site.Domain, v, t_.Hit.HitPage);
}

void HitProcessor::Raise(const VisitorRec& v, int number, LogTime hit, std::optional<std::string_view> value,
                         std::string_view who) {
  c_.exceptions.AddException(line_site_, number, hit, value, who, v.VisitCount);
}

// A visitor found through a group may be on another site than the line's; counts, limits and mutes are the line's.
void HitProcessor::CountPage(VisitorRec& v, std::string_view line, LogTime hit) {
  const HitRec& h = t_.Hit;
  SiteRec& site = t_.Site(line_site_);
  ++site.PagesCounted;
  if (t_.ShowTraceView) c_.log.AddTrace(line_site_, line);
  if (v.Pages > 1 && !others_.IsOther(v) && MinutesBetween(v.LastPageTime, hit) >= site.ExValue134)
    Raise(v, kExLongOnAPage, hit, v.Page, v.IP);
  v.LastPageTime = hit;
  v.LastClock = SeenAt(hit);
  v.Page = h.HitPage;
  v.Status = h.HitStatus;
  if (v.Method != h.HitMethod) v.Method = t_.Visitors.Shared(h.HitMethod);
  if (h.HitQuery.size() > 1) v.Query = "?" + h.HitQuery;
  CountUp(v.Pages);
  t_.Visitors.Touch(v);
  v.Idle = false;
  v.Remove = false;
  ScoreStatus(v, hit);
  ScoreExtension(v, hit);
  ScorePageAndMethod(v, hit);
  ScoreVisit(v, hit);
  if (site.ReplayUntilPos == 0) StorePage(v);
  if (v.HackCount > 3 && !v.HackRaised) {
    Raise(v, kExHacker, hit, std::nullopt, v.IP);
    v.HackRaised = true;
    c_.history.UpdateHackCount(v);
  }
}

void HitProcessor::ScoreStatus(VisitorRec& v, LogTime hit) {
  const std::string& page = t_.Hit.HitPage;
  if (v.Status > 400) Raise(v, v.Status, hit, page, v.DNS);
  if (v.Status != 404) return;
  CountUp(v.NotFoundCount);
  if (v.NotFoundCount < t_.Site(line_site_).ExValue161) return;
  Raise(v, kExManyNotFound, hit, std::to_string(v.NotFoundCount), v.DNS);
  v.NotFoundCount = 0;
  CountUp(v.HackCount, 2);
}

void HitProcessor::ScoreExtension(VisitorRec& v, LogTime hit) {
  const std::string& page = t_.Hit.HitPage;
  struct Row {
    std::string_view extension;
    int exception;  // 0 for none.
    bool download, scores;
  };
  static constexpr Row kRows[] = {{"exe", kExExeRequested, true, true},
                                  {"dll", kExDllRequested, true, true},
                                  {"bat", kExBatRequested, false, false},
                                  {"vbs", kExVbsRequested, false, false},
                                  {"zip", 0, true, false}};
  for (const Row& row : kRows) {
    if (ext_ != row.extension) continue;
    if (row.exception != 0) Raise(v, row.exception, hit, page, v.DNS);
    if (row.download) c_.history.AddDownload(v);
    if (row.scores && v.Status >= 400) CountUp(v.HackCount, 2);
  }
}

void HitProcessor::ScorePageAndMethod(VisitorRec& v, LogTime hit) {
  const std::string& page = t_.Hit.HitPage;
  if (Contains(page, "../") || Contains(page, "..%2F") || Contains(page, ".%5c.")) {
    Raise(v, kExPathTraversal, hit, page, v.DNS);
    CountUp(v.HackCount);
  }
  if (v.Method == "PUT") {
    Raise(v, kExPutRequest, hit, page, v.DNS);
    if (v.Status >= 400) CountUp(v.HackCount);
  } else if (v.Method == "DELETE") {
    Raise(v, kExDeleteRequest, hit, page, v.DNS);
    if (v.Status >= 400) CountUp(v.HackCount, 2);
  }
}

void HitProcessor::ScoreVisit(VisitorRec& v, LogTime hit) {
  const SiteRec& site = t_.Site(line_site_);
  if (v.Pages > site.ExValue131 && !v.PagesRaised) {
    Raise(v, kExManyPages, hit, std::to_string(v.Pages), v.DNS);
    v.PagesRaised = true;
  }
  if (MinutesBetween(v.StartTime, v.LastPageTime) > site.ExValue130 && !v.LongVisitRaised) {
    Raise(v, kExLongVisit, hit, std::to_string(site.ExValue130), v.DNS);
    v.LongVisitRaised = true;
  }
}

void HitProcessor::StorePage(VisitorRec& v) {
  const std::string& page = t_.Hit.HitPage;
  const SiteRec& site = t_.Site(line_site_);
  if (t_.InterfaceCount > 0 && v.Pages >= 2 && !IsQuietLine(t_, site)) c_.events.VisitorPageMove(site.Domain, v);
  if (t_.HasWindow) t_.pageGrid.AddRow(v, v.Pages, page, v.Query, SecondOfDay(v.LastPageTime));
  c_.history.AddPageToDatabase(v);
}

}  // namespace vantry
