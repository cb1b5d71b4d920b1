// Who may see the live page: sessions of browsers, and name and password of programs.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/registry_store.h"
#include "live/live_settings.h"
#include "ports/clock.h"
#include "ports/loop.h"
#include "ports/passwords.h"
#include "ports/random.h"
#include "web/credentials.h"
#include "web/guess_brake.h"

namespace vantry {

struct LiveLoginContext {
  RegistryFile& registry;
  Clock& clock;
  Loop& loop;
  Random& random;
  Passwords& passwords;
};

// A login of one browser. Whatever is sent to it for long looks whether it is still open.
struct LiveSession {
  std::string token, user;
  int64_t begun_ms = 0, used_ms = 0;
  bool open = true;
};

enum class Verdict : uint8_t { kRight, kWrong, kBusy };

class LiveLogins {
 public:
  static constexpr size_t kMostSessions = 1'000;  // Beyond them the one that was not used for longest ends.
  static constexpr size_t kTokenBytes = 32;       // Shown as twice as many hexadecimal digits.
  static constexpr int64_t kIdleMs = 12 * 3'600'000;
  static constexpr int64_t kLongestMs = int64_t{30} * 24 * 3'600'000;
  static constexpr int64_t kKnownMs = 60'000;  // Name and password that were right are not compared again so soon.
  static constexpr int64_t kLookMs = 1'000;    // How often registry.ini is looked at for another password.
  static constexpr int64_t kTickMs = 250;      // How often held answers are looked at.
  static constexpr size_t kMostHeld = 500;

  LiveLogins(LiveLoginContext context, LiveLogin login);
  ~LiveLogins();
  LiveLogins(const LiveLogins&) = delete;
  LiveLogins& operator=(const LiveLogins&) = delete;

  // Whether somebody has to log in. Once a password was set this stays so, also when the file has lost it.
  bool Wanted();

  // Null when there is no such session, or it has ended.
  std::shared_ptr<LiveSession> Find(std::string_view token);
  Status Begin(const std::string& user, std::string& token);
  void End(std::string_view token);
  size_t Sessions() const { return sessions_.size(); }
  // Whether the session goes on; counts as a use of it.
  bool Use(LiveSession& session);

  // Compares name and password; `told` is called later, for a guesser after a while.
  void Check(Credentials given, const std::string& peer, const std::function<void(Verdict verdict)>& told);
  // The same for the value of a header "Authorization: Basic ..."; for one that was right a moment ago at once.
  void CheckBasic(const std::string& value, const std::string& peer,
                  std::function<void(Verdict, std::string user)> told);

 private:
  struct Held {
    int64_t due_ms;
    std::function<void()> go;
  };

  int64_t NowMs() const { return c_.clock.Steady().ms; }
  void LookForChange();
  bool Hold(int64_t wait_ms, std::function<void()> go);
  void Tick();
  void Compare(const Credentials& given, const std::string& peer, int64_t waited_ms,
               const std::function<void(Verdict)>& told);

  LiveLoginContext c_;
  LiveLogin login_;
  bool wanted_;
  int64_t looked_ms_ = 0;
  std::list<std::shared_ptr<LiveSession>> sessions_;
  GuessBrake brake_;
  std::vector<Held> held_;
  std::string known_digest_;
  int64_t known_until_ms_ = 0;
  std::unique_ptr<Timer> timer_;
};

// Name and password of "Basic ..."; empty when it is nothing of the kind.
std::optional<Credentials> ReadBasic(std::string_view value);

}  // namespace vantry
