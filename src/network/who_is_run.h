// Asks whose a name or an address is: the who-is server for it, those that it refers to, and by RDAP where nobody
// knows.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "network/who_is_answer.h"
#include "network/who_is_query.h"
#include "ports/who_is.h"

namespace vantry {

struct WhoIsRunEvents {
  std::function<void(const std::string& text)> status;
  // All that was received so far, and what people look for in it.
  std::function<void(const std::string& text, const std::vector<WhoIsField>& fields)> text;
  std::function<void()> done;
};

class WhoIsRun {
 public:
  static constexpr int kMostReferrals = 2;

  WhoIsRun(WhoIs& who_is, WhoIsServers servers, std::string_view subject, WhoIsRunEvents events);
  ~WhoIsRun() { Stop(); }
  WhoIsRun(const WhoIsRun&) = delete;
  WhoIsRun& operator=(const WhoIsRun&) = delete;

  // The run must not be destroyed from within an event.
  void Start();
  // Ends it without a word.
  void Stop();
  bool IsRunning() const { return request_ != 0; }

 private:
  void Ask(const std::string& server, bool is_referral);
  void Answered(const WhoIsAnswer& answer);
  bool FollowReferral(const std::string& text);
  // Takes the first label off a question of three: it may be a host's, which no registry knows. False when it is short.
  bool Shorten();
  void AskRdap(const std::string& why);
  void RdapAnswered(const WhoIsAnswer& answer);
  void AddText(const std::string& from, const WhoIsAnswer& answer);
  void End(const std::string& text);

  WhoIs& who_is_;
  WhoIsServers servers_;
  std::string name_, question_;
  WhoIsRunEvents events_;
  std::string server_;  // The one that is asked.
  bool is_referral_ = false;
  std::set<std::string> asked_;
  std::string text_;
  std::vector<WhoIsField> fields_;
  std::string problem_;  // Why who-is has given nothing.
  int64_t request_ = 0;  // Under way; 0: none.
};

}  // namespace vantry
