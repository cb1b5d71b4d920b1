// The scan of a remote log. It comes in pieces: logging on and looking, then the chunks of the file, then its end. In
// the classic way it keeps the scan to itself meanwhile, as if it had been one call; with FetchAside it stands aside
// between its pieces, and other scans have their turn.
#include <utility>

#include "core/quiet_lines.h"
#include "scan/scan_cycle.h"

namespace vantry {

void ScanCycle::BeginFetch(int16_t n, bool look_up) {
  SiteRec& site = t_.Site(n);
  site.Fetching = true;
  fetches_[n].first_of_site = IsFirstReading(t_, site);
  open_fetch_ = n;
  LeaveFetch(n);
  c_.ftp.PrepareFetch(n, look_up, [this, n, look_up] { FetchPrepared(n, look_up); });
}

void ScanCycle::FetchPrepared(int16_t n, bool look_up) {
  if (t_.Closing) return;
  // An edit of the site asks for another look meanwhile.
  if (t_.Site(n).ForceLookup && !look_up) {
    return c_.ftp.PrepareFetch(n, true, [this, n] { FetchPrepared(n, true); });
  }
  const FetchTurn turn(*this, n);
  const Status status = Attempt([&] {
    if (Status prepared = PrepareScan(n); !prepared.ok()) return prepared;
    return StartFetch(n);
  });
  if (!status.ok() && !t_.Closing) FailFetch(n, status);
}

Status ScanCycle::StartFetch(int16_t n) {
  (void)StartReading(t_.Site(n), true);
  SiteRec& site = t_.Site(n);
  // The first byte is written as 1 where 0 means that nothing of today was read yet.
  if (t_.Corrected.QuietReplay && site.LastReadPos == 1) site.LastReadPos = 0;
  const int64_t start = site.LastReadPos < 1 ? 0 : site.LastReadPos;
  if (t_.Corrected.QuietReplay && site.LastReadPosDay == 0) site.LastReadPosDay = start > 0 ? start : 1;
  // A server that falls silent in a first scan may do so for good, as long as others don't wait.
  constexpr int kLimit = 120;
  c_.ftp.StartDownload(n, start, t_.FirstScan && !t_.Corrected.FetchAside ? 0 : kLimit);
  return Status::Ok();
}

bool ScanCycle::TakeFetchedLine(int16_t n, std::string_view line, std::string_view ahead) {
  return TakeLine(n, line, ahead);
}

void ScanCycle::FailFetch(int16_t n, const Status& status) {
  FailScan(n, status);
  FetchOver(n);
}

void ScanCycle::FetchOver(int16_t n) {
  t_.Site(n).Fetching = false;
  open_fetch_ = 0;
  const bool first = fetches_[n].first_of_site;
  fetches_.erase(n);
  if (!t_.Closing) AfterScan(n, first);
  if (next_site_ == 0 || t_.Closing || serving_) return;
  if (monitoring_()) {
    ServeRest();
  } else {
    next_site_ = 0;
  }
}

void ScanCycle::EnterFetch(int16_t n) {
  const auto fetch = fetches_.find(n);
  if (!t_.Corrected.FetchAside || fetch == fetches_.end()) return;
  Aside& aside = fetch->second;
  open_fetch_ = n;
  t_.ScanInProgress = t_.Site(n).Scanning = true;
  std::swap(t_.Hit, aside.hit);
  t_.HitShift = aside.shift;
  t_.FirstScan = aside.first_scan;
  first_reading_ = aside.first_reading;
  lines_dropped_ = aside.lines_dropped;
  hits_.SetLayout(n);
  const SiteRec& site = t_.Site(n);
  if (!site.LastFields.empty() && TakesHeader()) hits_.Parser().MapFields(site.LastFields);
  if (!site.IncludeQuery) hits_.Parser().DropQuery();
}

void ScanCycle::LeaveFetch(int16_t n) {
  const auto fetch = fetches_.find(n);
  if (!t_.Corrected.FetchAside || fetch == fetches_.end()) return;
  Aside& aside = fetch->second;
  std::swap(t_.Hit, aside.hit);
  aside.shift = t_.HitShift;
  aside.first_scan = std::exchange(t_.FirstScan, false);
  aside.first_reading = first_reading_;
  aside.lines_dropped = lines_dropped_;
  open_fetch_ = 0;
  t_.ScanInProgress = t_.Site(n).Scanning = false;
}

}  // namespace vantry
