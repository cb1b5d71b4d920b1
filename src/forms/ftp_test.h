// Tries whether the logs of a site can be reached by FTP, first with active data connections, then with passive ones.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "core/tables.h"
#include "ports/ftp.h"

namespace vantry {

struct FtpTestEvents {
  // What happens, line by line, without passwords.
  std::function<void(std::string_view line)> line;
  // Active connections did not work; passive ones are tried now.
  std::function<void()> first_failed;
  // The end. `found`: a file fits the mask.
  std::function<void(bool passed, bool passive, bool found)> done;
};

class FtpTest final : public FtpEvents {
 public:
  static constexpr int kPatienceSeconds = 15;

  FtpTest(Ftp& ftp, const SiteRec& draft, FtpTestEvents events);
  // Ends in one of the events, unless the test is destroyed before.
  void Start();

  bool TakesEvents() override { return true; }
  void Done(const Status& status) override;
  void DirectoryEntry(const FtpEntry& entry) override;
  void StartOfTransfer() override {}
  void Transfer(int64_t, std::string_view) override {}
  void EndOfTransfer() override {}
  void Error(int, const Status&) override {}
  void ProtocolTrail(FtpTrail direction, std::string_view message) override;

 private:
  void Try(bool passive);
  void Failed(const Status& status);
  SiteRec draft_;
  FtpTestEvents events_;
  std::unique_ptr<FtpClient> client_;
  enum class Step { kLogOn, kList, kHelp } step_ = Step::kLogOn;
  bool passive_ = false, found_ = false;
};

}  // namespace vantry
