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
  listing_ = false;
  events_.line(passive ? "Trying Passive FTP Connection" : "Testing FTP Connection");
  client_->LogOn({.server = std::string(Trim(draft_.FTPDomain)),
                  .user = draft_.FTPUserName,
                  .password = draft_.FTPPassword,
                  .passive = passive});
}

void FtpTest::Done(const Status& status) {
  if (!status.ok()) {
    events_.line("i " + status.text);
    client_->LogOff();
    if (passive_) return events_.done(false, true, found_);
    events_.first_failed();
    return Try(true);
  }
  if (!listing_) {
    listing_ = true;
    return client_->List(draft_.FTPPath);
  }
  client_->LogOff();
  events_.done(true, passive_, found_);
}

void FtpTest::DirectoryEntry(const FtpEntry& entry) {
  if (!FitsFileMask(entry.name, draft_.Mask)) return;
  found_ = true;
  events_.line(entry.is_folder ? "[" + entry.name + "]" : entry.name);
}

void FtpTest::ProtocolTrail(std::string_view message) {
  if (!Contains(message, "PASS")) events_.line(message);
}

}  // namespace vantry
