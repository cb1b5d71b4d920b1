// Alerts: the user's rules about who is visiting, tested at the first hit of each visit (with TestEveryPage until one
// matches), and what is done when one matches.
#pragma once

#include <string>
#include <string_view>

#include "alerts/alert_context.h"
#include "alerts/alert_rules.h"

namespace vantry {

// The words of a search engine's query: "%20" and "%22" become one blank each, then every character other than a
// digit, a letter or "[" becomes a blank.
std::string NormaliseSearchWords(std::string_view text);

class Alerts final : public AlertRules {
 public:
  explicit Alerts(AlertContext context) : c_(context) {}

  int32_t RaiseAlert(const VisitorRec& visitor) override;
  void AddAlert(VisitorRec& visitor, int32_t alert) override;
  void NameArrived(VisitorRec& visitor) override;

 private:
  Status AddAlert(VisitorRec& visitor, int32_t alert, bool silent);
  void AddRow(const VisitorRec& visitor, const AlertRec& alert);
  void PlayAlertSound(const AlertRec& alert);
  std::string MailText(const VisitorRec& visitor, const AlertRec& alert, const SiteRec& site) const;

  AlertContext c_;
};

}  // namespace vantry
