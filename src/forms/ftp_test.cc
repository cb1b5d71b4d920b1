#include "forms/ftp_test.h"

#include <utility>

#include "core/text.h"
#include "core/wildcard.h"

namespace vantry {

FtpTest::FtpTest(Ftp& ftp, const SiteRec& draft, FtpTestEvents events)
    : draft_(draft), events_(std::move(events)), client_(ftp.NewClient(*this)) {}

void FtpTest::Start() {
  found_ = false;
  Try(false);
}

void FtpTest::Try(bool passive) {
  passive_ = passive;
  step_ = Step::kLogOn;
  events_.line(passive ? "Trying Passive FTP Connection" : "Testing FTP Connection");
  client_->LogOn({.server = std::string(Trim(draft_.FTPDomain)),
                  .user = draft_.FTPUserName,
                  .password = draft_.FTPPassword,
                  .passive = passive,
                  .patience_s = kPatienceSeconds});
}

void FtpTest::Done(const Status& status) {
  // What comes of the last step changes nothing.
  if (step_ == Step::kHelp) {
    client_->LogOff();
    return events_.done(true, passive_, found_);
  }
  if (!status.ok()) return Failed(status);
  if (step_ == Step::kLogOn) {
    step_ = Step::kList;
    return client_->List(draft_.FTPPath);
  }
  step_ = Step::kHelp;
  client_->Help();
}

void FtpTest::Failed(const Status& status) {
  events_.line("i " + status.text);
  client_->LogOff();
  if (passive_) return events_.done(false, true, found_);
  events_.first_failed();
  Try(true);
}

void FtpTest::DirectoryEntry(const FtpEntry& entry) {
  if (!FitsFileMask(entry.name, draft_.Mask)) return;
  found_ = true;
  events_.line(entry.is_folder ? "[" + entry.name + "]" : entry.name);
}

void FtpTest::ProtocolTrail(FtpTrail direction, std::string_view message) {
  if (Contains(message, "PASS")) return;
  const char* mark = direction == FtpTrail::kSent ? "> " : direction == FtpTrail::kReceived ? "< " : "i ";
  events_.line(mark + std::string(message));
}

}  // namespace vantry
