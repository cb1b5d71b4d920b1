#include "live/live_logins.h"

#include <algorithm>
#include <utility>

#include "core/text.h"

namespace vantry {
namespace {

int SixBits(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (IsDigit(c)) return c - '0' + 52;
  return c == '+' ? 62 : c == '/' ? 63 : -1;
}

std::optional<std::string> DecodeBase64(std::string_view text) {
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  std::string bytes;
  uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const int six = SixBits(c);
    if (six < 0) return std::nullopt;
    bits = (bits << 6 | static_cast<uint32_t>(six)) & 0xFFFFFF;
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  return bytes;
}

}  // namespace

std::optional<Credentials> ReadBasic(std::string_view value) {
  constexpr std::string_view kScheme = "Basic ";
  if (!EqualsNoCase(value.substr(0, kScheme.size()), kScheme)) return std::nullopt;
  const auto text = DecodeBase64(Trim(value.substr(kScheme.size())));
  const size_t colon = text ? text->find(':') : std::string::npos;
  if (colon == std::string::npos) return std::nullopt;
  return Credentials{text->substr(0, colon), text->substr(colon + 1)};
}

LiveLogins::LiveLogins(LiveLoginContext context, LiveLogin login)
    : c_(context),
      login_(std::move(login)),
      wanted_(login_.Wanted()),
      timer_(c_.loop.NewTimer(kTickMs, [this] { Tick(); })) {}

LiveLogins::~LiveLogins() {
  c_.passwords.Forget();
}

// Another name or password ends what was begun with the old one. That they are gone opens nothing.
void LiveLogins::LookForChange() {
  if (NowMs() - looked_ms_ < kLookMs) return;
  looked_ms_ = NowMs();
  LiveLogin now = ReadLiveLogin(c_.registry);
  if (now.user == login_.user && now.password_hash == login_.password_hash) return;
  login_ = std::move(now);
  wanted_ = wanted_ || login_.Wanted();
  for (const auto& session : sessions_) session->open = false;
  sessions_.clear();
  known_digest_.clear();
}

bool LiveLogins::Wanted() {
  LookForChange();
  return wanted_;
}

bool LiveLogins::Use(LiveSession& session) {
  const int64_t now = NowMs();
  if (now - session.used_ms > kIdleMs || now - session.begun_ms > kLongestMs) session.open = false;
  if (session.open) session.used_ms = now;
  return session.open;
}

std::shared_ptr<LiveSession> LiveLogins::Find(std::string_view token) {
  LookForChange();
  // All of them, however soon one fits: the time tells nothing.
  std::shared_ptr<LiveSession> found;
  for (const auto& session : sessions_) {
    if (SameSecret(session->token, token)) found = session;
  }
  if (!found || Use(*found)) return found;
  sessions_.remove(found);
  return nullptr;
}

Status LiveLogins::Begin(const std::string& user, std::string& token) {
  std::string bytes;
  if (Status status = c_.random.Draw(kTokenBytes, bytes); !status.ok()) return status;
  token = Hexadecimal(bytes);
  sessions_.remove_if([&](const auto& session) {
    const int64_t now = NowMs();
    return now - session->used_ms > kIdleMs || now - session->begun_ms > kLongestMs;
  });
  if (sessions_.size() >= kMostSessions) {
    const auto oldest = std::min_element(sessions_.begin(), sessions_.end(),
                                         [](const auto& a, const auto& b) { return a->used_ms < b->used_ms; });
    (*oldest)->open = false;
    sessions_.erase(oldest);
  }
  sessions_.push_back(std::make_shared<LiveSession>(LiveSession{token, user, NowMs(), NowMs()}));
  return Status::Ok();
}

void LiveLogins::End(std::string_view token) {
  sessions_.remove_if([&](const auto& session) {
    const bool ends = SameSecret(session->token, token);
    if (ends) session->open = false;
    return ends;
  });
}

bool LiveLogins::Hold(int64_t wait_ms, std::function<void()> go) {
  if (held_.size() >= kMostHeld) return false;
  held_.push_back({NowMs() + wait_ms, std::move(go)});
  if (!timer_->Enabled()) timer_->Start();
  return true;
}

void LiveLogins::Tick() {
  const int64_t now = NowMs();
  const auto later = std::stable_partition(held_.begin(), held_.end(), [&](const Held& h) { return h.due_ms > now; });
  std::vector<Held> due(std::make_move_iterator(later), std::make_move_iterator(held_.end()));
  held_.erase(later, held_.end());
  if (held_.empty()) timer_->Stop();
  for (const Held& held : due) held.go();
}

// Who has guessed waits before anything is compared, so that guesses of many connections don't keep others from their
// turn.
void LiveLogins::Check(Credentials given, const std::string& peer, const std::function<void(Verdict)>& told) {
  LookForChange();
  const int64_t wait_ms = brake_.Try(peer, given.user, true, c_.clock.Steady());
  if (wait_ms == 0) return Compare(given, peer, 0, told);
  const bool held =
      Hold(wait_ms, [this, given = std::move(given), peer, wait_ms, told] { Compare(given, peer, wait_ms, told); });
  if (!held) told(Verdict::kBusy);
}

void LiveLogins::Compare(const Credentials& given, const std::string& peer, int64_t waited_ms,
                         const std::function<void(Verdict)>& told) {
  const std::string hash = login_.password_hash;
  // A wrong name takes as long.
  const bool begun = c_.passwords.Verify(given.password, hash, [this, given, hash, peer, waited_ms, told](bool fits) {
    const bool right = SameSecret(given.user, login_.user) && fits && hash == login_.password_hash && !hash.empty();
    const int64_t wait_ms = brake_.Try(peer, given.user, right, c_.clock.Steady()) - waited_ms;
    if (right || wait_ms <= 0) return told(right ? Verdict::kRight : Verdict::kWrong);
    if (!Hold(wait_ms, [told] { told(Verdict::kWrong); })) told(Verdict::kBusy);
  });
  if (!begun) told(Verdict::kBusy);
}

void LiveLogins::CheckBasic(const std::string& value, const std::string& peer,
                            std::function<void(Verdict, std::string)> told) {
  LookForChange();
  auto given = ReadBasic(value);
  if (!given) return told(Verdict::kWrong, {});
  const std::string digest = c_.passwords.Digest(value);
  if (NowMs() < known_until_ms_ && !known_digest_.empty() && SameSecret(known_digest_, digest)) {
    return told(Verdict::kRight, given->user);
  }
  const std::string user = given->user;
  Check(std::move(*given), peer,
        [this, digest, user, hash = login_.password_hash, told = std::move(told)](Verdict verdict) {
          if (verdict == Verdict::kRight && hash == login_.password_hash) {
            known_digest_ = digest;
            known_until_ms_ = NowMs() + kKnownMs;
          }
          told(verdict, user);
        });
}

}  // namespace vantry
