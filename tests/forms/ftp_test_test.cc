// Trying an FTP server for a new site.
#include "forms/ftp_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fake_ftp.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;

struct FtpTestTest : ::testing::Test {
  FakeFtp ftp;
  SiteRec draft;
  std::vector<std::string> lines, ends;
  std::unique_ptr<FtpTest> test;

  FtpTestTest() {
    draft.FTPDomain = " ftp.example ";
    draft.FTPUserName = "reader";
    draft.FTPPath = "/logs/";
    draft.Mask = "access*";
  }
  void Run() {
    FtpTestEvents events;
    events.line = [this](std::string_view line) { lines.emplace_back(line); };
    events.first_failed = [this] { ends.emplace_back("first failed"); };
    events.done = [this](bool passed, bool passive, bool found) {
      ends.push_back(std::string(passed ? "passed" : "failed") + (passive ? " passive" : "") + (found ? " found" : ""));
    };
    test = std::make_unique<FtpTest>(ftp, draft, events);
    test->Start();
    ftp.TurnAll();
  }
};

TEST_F(FtpTestTest, LogsOnListsAsksForHelpAndLogsOff) {
  FtpEntry file, folder, other;
  file.name = "access_log";
  folder.name = "access_old";
  folder.is_folder = true;
  other.name = "error_log";
  ftp.entries = {file, folder, other};
  Run();
  EXPECT_THAT(ftp.calls, ElementsAre("logon ftp.example reader", "list /logs/", "help", "logoff"));
  EXPECT_THAT(lines, ElementsAre("Testing FTP Connection", "access_log", "[access_old]", "> HELP", "< 214 Help OK"));
  EXPECT_THAT(ends, ElementsAre("passed found"));
}

TEST_F(FtpTestTest, AServerWithoutHelpPasses) {
  ftp.help = Status::Error(Fail::kIo, "the server did not answer within 15 s");
  Run();
  EXPECT_THAT(ends, ElementsAre("passed"));
}

TEST_F(FtpTestTest, ASecondTestIsPassive) {
  ftp.listing = Status::Error(Fail::kIo, "no data connection");
  Run();
  EXPECT_THAT(ftp.calls, ElementsAre("logon ftp.example reader", "list /logs/", "logon ftp.example reader passive",
                                     "list /logs/"));
  EXPECT_THAT(ends, ElementsAre("first failed", "failed passive"));
}

TEST_F(FtpTestTest, MarksWhoSaidALineAndLeavesPasswordsOut) {
  FtpTestEvents events;
  events.line = [this](std::string_view line) { lines.emplace_back(line); };
  FtpTest quiet(ftp, draft, events);
  quiet.ProtocolTrail(FtpTrail::kReceived, "220 ready");
  quiet.ProtocolTrail(FtpTrail::kSent, "USER reader");
  quiet.ProtocolTrail(FtpTrail::kSent, "PASS secret");
  quiet.ProtocolTrail(FtpTrail::kInformation, "the certificate is fine");
  EXPECT_THAT(lines, ElementsAre("< 220 ready", "> USER reader", "i the certificate is fine"));
}

}  // namespace
}  // namespace vantry
