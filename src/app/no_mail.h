// A build without a way to a mail server.
#pragma once

#include "ports/mail.h"

namespace vantry {

class NoMail final : public Mail {
 public:
  Status Send(const MailMessage& message, const std::function<void(std::string_view)>&) override {
    return Status::Error(Fail::kIo, message.server + ": this build can't send mail");
  }
  void SetTimeLeft(int64_t) override {}
  void WaitForAll() override {}
};

}  // namespace vantry
