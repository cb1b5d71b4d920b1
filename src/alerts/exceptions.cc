#include "alerts/exceptions.h"

#include <algorithm>
#include <charconv>

#include "core/exception_numbers.h"
#include "core/quiet_lines.h"
#include "core/text.h"
#include "core/visitor_rows.h"

namespace vantry {
namespace {

constexpr int16_t kInformationLevel = 4;

EventLevel LevelOf(int16_t level) {
  if (level == 0) level = kInformationLevel;
  return level == 1 ? EventLevel::kError : level == 2 ? EventLevel::kWarning : EventLevel::kInformation;
}

// Thresholds are edited by hand, so one may be any text.
Status ReadThreshold(const ExceptionType& type, double& threshold) {
  const std::string_view text = Trim(type.Value);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), threshold);
  if (error == std::errc() && end == text.data() + text.size() && !text.empty()) return Status::Ok();
  return Status::Error(Fail::kBadData, "the value of exception type " + std::to_string(type.Number) + " is \"" +
                                           type.Value + "\" and no number; put it right in EXTYPES.INI");
}

}  // namespace

std::string ExceptionMessage(std::string_view description, std::string_view value, std::string_view address,
                             int32_t visit_number) {
  std::string message = ReplaceAll(std::string(description), "[value]", value);
  const size_t open = message.find('[');
  const size_t close = open == std::string::npos ? open : message.find(']', open);
  if (close != std::string::npos) message.replace(open, close + 1 - open, value);
  if (!address.empty()) message.append(" DNS: ").append(address);
  if (visit_number > 0) message.append(" Visit No: ").append(std::to_string(visit_number));
  return message;
}

const ExceptionType* Exceptions::FindType(int number) const {
  const auto& types = c_.settings.ExceptionTypes;
  const auto found = std::find_if(types.begin(), types.end(), [&](const auto& type) { return type.Number == number; });
  return found == types.end() ? nullptr : &*found;
}

bool Exceptions::AddException(int16_t site, int number, LogTime when, std::optional<std::string_view> value,
                              std::string_view address, int32_t visit_number) {
  // Asked first in any case, as this opens the tables.
  if (!c_.history.DatabaseReady() && !c_.t.Corrected.RaiseWithoutHistory) return false;
  const ExceptionType* type = FindType(number);
  if (!type || !type->Raise) return false;
  return c_.log.Guard("f.AddException", [&] {
    Raised raised;
    raised.site = site;
    raised.when = when.s != 0 ? when : LogTime{c_.clock.Now().s};
    raised.number = type->Number;
    raised.value = value.value_or(std::string_view(type->Value));
    raised.address = address;
    raised.visit_number = visit_number;
    raised.message = ExceptionMessage(type->Description, raised.value, address, visit_number);
    bool act = true, notify = true, tell = true;
    if (site > 0) {
      const SiteRec& rec = c_.t.Site(site);
      raised.site_text = rec.Name + ": ";
      act = rec.ReplayUntilPos == 0;
      notify = !rec.EmailNoExceptions;
      raised.of_line = rec.Scanning && !IsOfMonitor(number);
      tell = IsTold(site, *type, notify);
    }
    // In a replay for the history alone, which knows what it has by taking it off.
    if (act || c_.t.Corrected.QuietReplay) Act(raised, *type, notify, act && tell);
    Count(raised);
    return Status::Ok();
  });
}

// Whether people and programs hear of an exception of this site.
bool Exceptions::IsTold(int16_t n, const ExceptionType& type, bool notify) {
  if (IsOfMonitor(type.Number)) return true;
  const SiteRec& site = c_.t.Site(n);
  bool told = true;
  if (c_.t.Corrected.QuietReplay && site.Scanning) {
    const bool mails = type.Email && notify && !c_.settings.EmailServer.empty();
    const bool acts = mails || type.EventLog || (type.SMS && notify) || type.RunProgram;
    told = c_.acted.Next(n, site.LastReadDateTime, acts);
  }
  return told && !IsQuietLine(c_.t, site);
}

void Exceptions::Act(const Raised& raised, const ExceptionType& type, bool notify, bool tell) {
  const std::string number = std::to_string(raised.number);
  if (tell && type.Email && notify) {
    c_.mail.SendEmail(
        raised.site_text + "[" + number + "] " + raised.message + " @ " + c_.regional.General(raised.when), raised.site,
        type.EmailAddress);
  }
  const bool may_be_stored = c_.t.Corrected.QuietReplay && raised.of_line && !c_.t.Site(raised.site).ReadOnce;
  c_.history.AddExceptionToDatabase(
      {raised.site_text, raised.when, type.Number, raised.address, raised.visit_number, raised.value, may_be_stored});
  if (!tell) return;
  if (type.EventLog) {
    c_.log.AddLogEvent(raised.site_text + "[" + number + "] " + raised.message, LevelOf(type.EventLevel));
  }
  if (type.SMS && notify) c_.sms.SendSMS(type.SMSNumber, "[" + raised.site_text + "] " + raised.message);
  if (type.RunProgram) RunProgram(raised, type);
}

void Exceptions::RunProgram(const Raised& raised, const ExceptionType& type) {
  c_.programs.SetEnvironment("vantryIPAddress", std::string(raised.address));
  c_.programs.SetEnvironment("vantryExceptionNumber", std::to_string(raised.number));
  c_.programs.SetEnvironment("vantryExceptionValue", std::string(raised.value));
  c_.programs.SetEnvironment("vantrySiteName", raised.site_text);
  runThis(type.Run);
}

void Exceptions::runThis(const std::string& file) {
  c_.log.Guard("f.runThis", [&] { return c_.files.Exists(file) ? c_.programs.Start(file) : Status::Ok(); });
}

void Exceptions::Count(const Raised& raised) {
  ++c_.t.TotalExceptionCount;
  ++c_.t.TodayExceptionCount;
  ExceptionRow row{{raised.when, raised.site}, raised.number, c_.t.TotalExceptionCount, raised.message};
  if (raised.site > 0) {
    SiteRec& site = c_.t.Site(raised.site);
    ++site.TotalExceptions;
    ++site.TodayExceptions;
    row.no = site.TotalExceptions;
  }
  row.hidden = !ShowsException(c_.t, row, ExceptionFilter(c_.t, exception_number_));
  c_.t.exGrid.Add(std::move(row));
  if (c_.t.Live) c_.t.Live->ExceptionRaised(raised.address);
  c_.view.UpdateStatus();
}

void Exceptions::CheckExceptions(int16_t site) {
  c_.log.Guard("CheckExceptions", [&] {
    for (const ExceptionType& type : c_.settings.ExceptionTypes) {
      if (!type.Raise || type.Number < kExActiveVisitors || type.Number > kExNoVisitorsForLong) continue;
      if (Status status = CheckType(site, type); !status.ok()) return status;
    }
    return Status::Ok();
  });
}

Status Exceptions::CheckType(int16_t n, const ExceptionType& type) {
  const bool about_many = type.Number == kExActiveVisitors || type.Number == kExManyActiveVisitors;
  const bool about_none = type.Number == kExNoVisitors || type.Number == kExNoVisitorsForLong;
  if (!about_many && !about_none) return Status::Ok();
  const WallTime now = c_.clock.Now();
  SiteRec& site = c_.t.Site(n);
  double threshold = 0;
  // Each of the two has a moment of its own that it sets back, but both measure from the first one's: while the shorter
  // of them is on, the longer never comes due.
  WallTime& own_check = type.Number == kExNoVisitors ? site.ExLastLowCheck : site.ExLastHighCheck;
  const std::pair key(n, type.Number);
  if (about_none && site.CurrentVisitors != 0) {
    own_check = now;
    told_.erase(key);
    return Status::Ok();
  }
  if (Status status = ReadThreshold(type, threshold); !status.ok()) return status;
  const bool holds = about_many ? site.CurrentVisitors > threshold
                                : static_cast<double>(MinutesBetween(site.ExLastLowCheck, now)) > threshold;
  if (!holds) {
    told_.erase(key);
    return Status::Ok();
  }
  const std::string visitors = std::to_string(site.CurrentVisitors);
  const auto value = about_many ? std::optional<std::string_view>(visitors) : std::nullopt;
  if (IsDue(n, type.Number) && AddException(n, type.Number, LogTime{now.s}, value, "", 0)) {
    told_[key] = c_.clock.Steady();
  }
  if (about_none) own_check = now;
  return Status::Ok();
}

void Exceptions::CountStored(int16_t site, int number, LogTime when, std::string_view value, std::string_view address) {
  const ExceptionType* type = FindType(number);
  Raised raised;
  raised.site = site;
  raised.when = when;
  raised.number = static_cast<int16_t>(number);
  raised.message = ExceptionMessage(type ? std::string_view(type->Description) : "", value, address, 0);
  Count(raised);
  // A condition that holds on is not raised anew for a restart.
  const int64_t age_ms = (c_.clock.Now().s - when.s) * 1000;
  if (age_ms >= 0) told_[{site, raised.number}] = {c_.clock.Steady().ms - age_ms};
}

// Type 122 sets its own moment back when it is raised, so it never repeats too soon.
bool Exceptions::IsDue(int16_t site, int16_t number) const {
  const int64_t minutes = c_.t.Corrected.RepeatMinutes;
  const auto told = told_.find({site, number});
  if (minutes == 0 || number == kExNoVisitors || told == told_.end()) return true;
  return c_.clock.Steady().ms - told->second.ms >= minutes * 60'000;
}

}  // namespace vantry
