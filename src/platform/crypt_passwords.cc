#include "platform/crypt_passwords.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <chrono>
#include <cstring>
#include <memory>
#include <utility>

#include <crypt.h>

namespace vantry {
namespace {

// Two hashes at once on a slow machine under load; then the answer is "wrong".
constexpr std::chrono::milliseconds kLimit{20'000};

struct Comparison final : Work {
  std::string password, hash;
  bool right = false;
  void Run() override { right = FitsHash(password, hash); }
  void GiveUp() override {}
};

bool SameText(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned char differs = 0;
  for (size_t i = 0; i < a.size(); ++i) differs |= static_cast<unsigned char>(a[i] ^ b[i]);
  return differs == 0;
}

}  // namespace

Status HashPassword(const std::string& password, std::string& hash) {
  const auto data = std::make_unique<crypt_data>();
  char setting[CRYPT_GENSALT_OUTPUT_SIZE];
  if (!::crypt_gensalt_rn("$y$", 0, nullptr, 0, setting, sizeof setting)) {
    return Status::Error(Fail::kIo, "the system makes no salt for a password");
  }
  const char* made = ::crypt_r(password.c_str(), setting, data.get());
  if (!made || made[0] == '*') return Status::Error(Fail::kRefused, "the system makes no hash of this password");
  hash = made;
  return Status::Ok();
}

bool FitsHash(const std::string& password, const std::string& hash) {
  if (password.find('\0') != std::string::npos) return false;
  const auto data = std::make_unique<crypt_data>();
  const char* made = ::crypt_r(password.c_str(), hash.c_str(), data.get());
  return made && made[0] != '*' && SameText(made, hash);
}

CryptPasswords::CryptPasswords(Random& random) : random_(random) {}

bool CryptPasswords::Verify(std::string password, std::string hash, std::function<void(bool right)> told) {
  if (under_way_.size() >= kMostWaiting) return false;
  const auto work = std::make_shared<Comparison>();
  work->password = std::move(password);
  work->hash = std::move(hash);
  const auto number = std::make_shared<uint64_t>(0);
  *number = workers_.Start(work, kLimit, [this, work, number, told = std::move(told)](WorkEnd end) {
    if (under_way_.erase(*number) > 0) told(end == WorkEnd::kDone && work->right);
  });
  under_way_.insert(*number);
  return true;
}

void CryptPasswords::Forget() {
  for (const uint64_t number : std::exchange(under_way_, {})) workers_.Forget(number);
}

std::string CryptPasswords::Digest(std::string_view text) {
  if (key_.empty() && !random_.Draw(32, key_).ok()) return {};
  const QByteArray bytes(text.data(), static_cast<qsizetype>(text.size()));
  const QByteArray key(key_.data(), static_cast<qsizetype>(key_.size()));
  return QMessageAuthenticationCode::hash(bytes, key, QCryptographicHash::Sha256).toStdString();
}

}  // namespace vantry
