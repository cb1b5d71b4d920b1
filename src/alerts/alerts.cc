#include "alerts/alerts.h"

#include <algorithm>

#include "core/quiet_lines.h"
#include "core/text.h"
#include "core/visitor_rows.h"
#include "core/wildcard.h"

namespace vantry {
namespace {

bool EnginePasses(const AlertRec& alert, std::string_view referrer) {
  if (alert.EngineAll) return true;
  if (referrer.empty()) return false;
  return std::any_of(alert.Engine.begin(), alert.Engine.end(),
                     [&](const std::string& engine) { return Contains(referrer, engine); });
}

bool FitsAny(const std::vector<std::string>& masks, std::string_view value) {
  return std::any_of(masks.begin(), masks.end(), [&](const std::string& mask) { return Like(value, mask); });
}

// The search for an entry begins at the entry's own place in the list, so words near the start of the text are missed
// by entries far down the list. Alerts were written around that.
bool WordPasses(const AlertRec& alert, std::string_view referrer) {
  if (alert.Word.empty()) return true;
  if (!Contains(referrer, "?")) return false;
  const std::string words = NormaliseSearchWords(referrer);
  for (size_t j = 0; j < alert.Word.size(); ++j) {
    if (words.find(" " + alert.Word[j], j) != std::string::npos) return true;
  }
  return false;
}

bool Matches(const AlertRec& alert, const VisitorRec& v, std::string_view referrer) {
  // Masks of hosts are held in lower case; name servers answer in any.
  return EnginePasses(alert, referrer) && (alert.Page.empty() || FitsAny(alert.Page, v.Page)) &&
         (alert.DNS.empty() || FitsAny(alert.DNS, Lower(v.DNS)) || FitsAny(alert.DNS, v.IP)) &&
         WordPasses(alert, referrer);
}

}  // namespace

std::string NormaliseSearchWords(std::string_view text) {
  std::string words = ReplaceAll(ReplaceAll(std::string(text), "%20", " "), "%22", " ");
  for (char& c : words) {
    const auto code = static_cast<unsigned char>(c);
    const bool stays = (code >= 48 && code <= 57) || (code >= 65 && code <= 91) || (code >= 97 && code <= 122);
    if (!stays) c = ' ';
  }
  return words;
}

int32_t Alerts::RaiseAlert(const VisitorRec& v) {
  int32_t found = 0;
  c_.log.Guard("RaiseAlert", [&] {
    const std::string referrer = Lower(v.Referrer);
    for (size_t i = 0; i < c_.t.Alerts.size() && found == 0; ++i) {
      const AlertRec& alert = c_.t.Alerts[i];
      if (alert.Site == v.Site && alert.Enabled && Matches(alert, v, referrer)) found = static_cast<int32_t>(i + 1);
    }
    return Status::Ok();
  });
  return found;
}

void Alerts::AddAlert(VisitorRec& v, int32_t place) {
  v.AlertPending = false;
  if (place < 1 || static_cast<size_t>(place) > c_.t.Alerts.size()) return;
  // What a first scan finds happened while the program did not run: it is listed in silence.
  const SiteRec& site = c_.t.Site(v.Site);
  const bool read_again = c_.t.Corrected.QuietReplay && !site.ReadOnce;
  const bool silent = site.ScanCount < 2 || read_again || IsQuietLine(c_.t, site);
  c_.log.Guard("AddAlert", [&] { return AddAlert(v, place, silent); });
}

Status Alerts::AddAlert(VisitorRec& v, int32_t place, bool silent) {
  AlertRec& alert = c_.t.Alerts[static_cast<size_t>(place - 1)];
  SiteRec& site = c_.t.Site(v.Site);
  ++c_.t.TotalAlertCount;
  ++c_.t.TodayAlertCount;
  ++alert.AlertHits;
  AddRow(v, alert);
  ++site.TotalAlerts;
  ++site.TodayAlerts;
  if (silent) return Status::Ok();
  PlayAlertSound(alert);
  if (alert.Email) c_.mail.SendEmail(MailText(v, alert, site), v.Site, alert.EmailAddress);
  if (!alert.RunThis || !c_.files.Exists(alert.Run)) return Status::Ok();
  return c_.programs.Start(alert.Run);
}

void Alerts::NameArrived(VisitorRec& v) {
  if (!c_.t.Corrected.TestEveryPage || v.IsSpider || v.AlertRaised) return;
  const int32_t place = RaiseAlert(v);
  if (place == 0) return;
  v.AlertNo = c_.t.Alerts[static_cast<size_t>(place - 1)].AlertNo;
  v.AlertRaised = true;
  // Names of those who came in the first scan arrive after it.
  const SiteRec& site = c_.t.Site(v.Site);
  const bool silent = !site.ReadOnce || v.VisitNo <= site.FirstScanVisitors;
  c_.log.Guard("AddAlert", [&] { return AddAlert(v, place, silent); });
}

void Alerts::AddRow(const VisitorRec& v, const AlertRec& alert) {
  AlertRow row;
  FillDayRow(c_.t, v, row);
  row.hidden = !ShowsAlert(c_.t, v.Site, alert.AlertNo);
  row.alert_no = alert.AlertNo;
  row.alert_colour = static_cast<uint32_t>(alert.Color);
  c_.t.logGrid.Add(std::move(row));
  if (c_.t.Live) c_.t.Live->AlertRaised();
}

void Alerts::PlayAlertSound(const AlertRec& alert) {
  if (!alert.Sound && !c_.settings.NewVisitorSound) return;
  if (alert.Sound && !alert.SoundFile.empty()) {
    c_.notices.PlaySound(alert.SoundFile);
  } else if (!c_.settings.DefaultSound.empty()) {
    c_.notices.PlaySound(c_.settings.DefaultSound);
  }
}

std::string Alerts::MailText(const VisitorRec& v, const AlertRec& alert, const SiteRec& site) const {
  std::string dns(v.DNS);
  if (v.DNS != v.IP) dns += " (" + v.IP + ")";
  return "Site: " + site.Name + " has raised an alert: " + alert.Name + "\r\n\r\nDNS:  \t" + dns + "\r\nDate: \t" +
         c_.regional.Stamp(v.StartTime) + "\r\nPage: \t" + v.Page + "\r\nLoc:   \t" + v.CountryName +
         "\r\nReferrer:\t" + v.Referrer + "\r\n\r\n" + alert.Message;
}

}  // namespace vantry
