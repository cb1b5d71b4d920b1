#include "network/who_is_run.h"

#include <algorithm>
#include <utility>

#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kError = "An error occurred.";

// What the root itself says of a zone or a block of addresses is not what was asked for.
bool IsOfTheRoot(const std::string& text) {
  const std::string lower = Lower(text);
  return Contains(lower, "% iana whois server") || Contains(lower, "source:       iana");
}

// Of two answers the later one is nearer to the subject.
void TakeFields(std::vector<WhoIsField> later, std::vector<WhoIsField>& fields) {
  for (const WhoIsField& field : fields) {
    const bool known =
        std::any_of(later.begin(), later.end(), [&](const WhoIsField& f) { return f.caption == field.caption; });
    if (!known) later.push_back(field);
  }
  fields = std::move(later);
}

}  // namespace

WhoIsRun::WhoIsRun(WhoIs& who_is, WhoIsServers servers, std::string_view subject, WhoIsRunEvents events)
    : who_is_(who_is),
      servers_(std::move(servers)),
      name_(WhoIsName(subject)),
      question_(CutName(name_)),
      events_(std::move(events)) {}

void WhoIsRun::Start() {
  if (!CanBeAsked(name_)) return End(std::string(kError) + " '" + name_ + "' is not a name or an address.");
  Ask(Internic(name_, servers_), false);
}

void WhoIsRun::Stop() {
  if (request_ != 0) who_is_.Stop(std::exchange(request_, 0));
}

void WhoIsRun::Ask(const std::string& server, bool is_referral) {
  server_ = server;
  is_referral_ = is_referral;
  asked_.insert(Lower(server));
  events_.status("Connecting to " + server);
  request_ = who_is_.Ask({server, question_, is_referral}, [this](const WhoIsAnswer& answer) { Answered(answer); });
}

void WhoIsRun::AddText(const std::string& from, const WhoIsAnswer& answer) {
  // The first answer alone stands as it came.
  if (!text_.empty()) text_ += "\n\n[" + from + "]\n";
  text_ += answer.text;
  TakeFields(WhoIsFields(answer.text), fields_);
  events_.text(text_, fields_);
}

void WhoIsRun::Answered(const WhoIsAnswer& answer) {
  if (request_ == 0) return;  // Stopped, and told of nevertheless.
  request_ = 0;
  const bool is_first = asked_.size() == 1;
  if (!answer.status.ok()) {
    // What was found before stays.
    if (!is_first && !SaysNothing(text_)) return End(std::string(kError) + " " + answer.status.text);
    return AskRdap(answer.status.text);
  }
  if (!answer.text.empty()) AddText(server_, answer);
  if (FollowReferral(answer.text)) return;
  const bool nothing = SaysNothing(answer.text) || (is_first && IsOfTheRoot(answer.text) && Contains(name_, "."));
  const std::string why = server_ + " knows nothing of " + question_;
  if (nothing) return SaysNothing(answer.text) && Shorten() ? Ask(server_, is_referral_) : AskRdap(why);
  End("Answer of " + server_ + (answer.is_cut ? ", cut short" : ""));
}

bool WhoIsRun::Shorten() {
  const size_t dot = question_.find('.');
  if (IsNumericAddress(question_) || dot == question_.npos || question_.find('.', dot + 1) == question_.npos) {
    return false;
  }
  question_.erase(0, dot + 1);
  return true;
}

bool WhoIsRun::FollowReferral(const std::string& text) {
  if (asked_.size() > static_cast<size_t>(kMostReferrals)) return false;
  const auto server = ReferralOf(text);
  if (!server || asked_.count(*server) > 0) return false;
  Ask(*server, true);
  return true;
}

void WhoIsRun::AskRdap(const std::string& why) {
  problem_ = why;
  const std::string url = RdapAddress(question_, servers_);
  if (url.empty()) return End(text_.empty() ? std::string(kError) + " " + why : why);
  events_.status(why + ". Asking by RDAP: " + url);
  request_ = who_is_.AskRdap(url, [this](const WhoIsAnswer& answer) { RdapAnswered(answer); });
}

void WhoIsRun::RdapAnswered(const WhoIsAnswer& answer) {
  if (request_ == 0) return;
  request_ = 0;
  if (answer.status.fail == Fail::kNotFound && Shorten()) return AskRdap(problem_);
  if (!answer.status.ok()) {
    const std::string both = problem_ + "; " + answer.status.text;
    return End(text_.empty() ? std::string(kError) + " " + both : both);
  }
  AddText("RDAP", answer);
  End("Answer by RDAP, as " + problem_);
}

void WhoIsRun::End(const std::string& text) {
  events_.status(text);
  events_.done();
}

}  // namespace vantry
