// What every FTP client promises, tried on the real one and on the fake that other tests use.
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/curl_ftp.h"
#include "platform/ftp_text.h"
#include "platform/loopback_ftp_server.h"
#include "support/fake_ftp.h"
#include "support/fakes.h"

namespace vantry {
namespace {

constexpr char kWord[] = "word";

struct FtpSubject {
  virtual ~FtpSubject() = default;
  virtual Ftp& Get() = 0;
  virtual std::string Server() = 0;
  virtual void PutFile(const std::string& path, const std::string& content) = 0;
  virtual void PutListing(const std::vector<std::string>& lines) = 0;
  // Who may log on.
  virtual void LetIn(bool in) = 0;
  // Lets what is under way go on for a moment. False when nothing will ever come.
  virtual bool GoOn() = 0;
};

struct FakeFtpSubject final : FtpSubject {
  FakeFtp ftp;
  Ftp& Get() override { return ftp; }
  std::string Server() override { return "ftp.example:21"; }
  void PutFile(const std::string& path, const std::string& content) override {
    ftp.chunk_bytes = 1'000;
    ftp.files[path] = content;
  }
  void PutListing(const std::vector<std::string>& lines) override {
    for (const std::string& line : lines) {
      if (const auto entry = ParseFtpListLine(line, {})) ftp.entries.push_back(*entry);
    }
  }
  void LetIn(bool in) override {
    ftp.login = in ? Status::Ok() : Status::Error(Fail::kIo, Server() + ": the login was refused: 530 not you");
  }
  bool GoOn() override { return ftp.TurnOnce() || ftp.Waits(); }
};

struct RealFtpSubject final : FtpSubject {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  LoopbackFtpServer server;
  FakeClock clock;
  CurlFtp ftp{clock};
  RealFtpSubject() { server.password = kWord; }
  Ftp& Get() override { return ftp; }
  std::string Server() override { return server.Place(); }
  void PutFile(const std::string& path, const std::string& content) override { server.files[path] = content; }
  void PutListing(const std::vector<std::string>& lines) override { server.listing = lines; }
  void LetIn(bool in) override { server.password = in ? kWord : "another"; }
  bool GoOn() override {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return true;
  }
};

struct RecordingFtpEvents final : FtpEvents {
  bool takes = true;
  std::vector<std::string> told;  // Without the trail, and all chunks in a row as one.
  std::vector<FtpEntry> entries;
  std::vector<Status> ends;
  std::string content;
  int64_t first = 0, last = 0;  // Positions of the first byte and after the last one.
  std::vector<std::string> trail;
  std::function<void(const std::string& what)> then = [](const std::string&) {};

  bool TakesEvents() override { return takes; }
  void Done(const Status& status) override { End("done", status); }
  void DirectoryEntry(const FtpEntry& entry) override {
    entries.push_back(entry);
    Tell("entry");
  }
  void StartOfTransfer() override { Tell("start"); }
  void Transfer(int64_t count, std::string_view chunk) override {
    EXPECT_FALSE(chunk.empty());
    if (content.empty()) first = count - static_cast<int64_t>(chunk.size());
    content += chunk;
    EXPECT_EQ(count, first + static_cast<int64_t>(content.size())) << "in order, and nothing left out";
    last = count;
    if (Last() != "bytes") return Tell("bytes");
    then("bytes");
  }
  void EndOfTransfer() override { End("end", Status::Ok()); }
  void Error(int, const Status& status) override { End("error", status); }
  void ProtocolTrail(FtpTrail direction, std::string_view message) override {
    trail.push_back((direction == FtpTrail::kSent ? "> " : "< ") + std::string(message));
  }

  std::string Last() const { return told.empty() ? "" : told.back(); }
  void Tell(const std::string& what) {
    told.push_back(what);
    then(what);
  }
  void End(const std::string& what, const Status& status) {
    ends.push_back(status);
    Tell(what);
  }
};

using Told = std::vector<std::string>;

struct FtpContract : ::testing::TestWithParam<bool> {
  std::unique_ptr<FtpSubject> subject;
  RecordingFtpEvents events;
  std::unique_ptr<FtpClient> client;
  const std::string log = std::string(2'500, 'a') + std::string(2'500, 'b');

  FtpContract() {
    if (GetParam()) {
      subject = std::make_unique<RealFtpSubject>();
    } else {
      subject = std::make_unique<FakeFtpSubject>();
    }
    subject->PutFile("/logs/a.log", log);
    client = subject->Get().NewClient(events);
  }
  FtpLogon Logon() const { return {subject->Server(), "reader", kWord, true, 0}; }
  void TurnUntil(const std::function<bool()>& holds) {
    for (const QDeadlineTimer limit(30'000); !holds();) {
      if (subject->GoOn() && !limit.hasExpired()) continue;
      FAIL() << "waited in vain; told was " << ::testing::PrintToString(events.told);
    }
  }
  // Turns until the call has come to its end, and returns what was told.
  Told Finish() {
    const size_t ended = events.ends.size(), before = events.told.size();
    TurnUntil([&] { return events.ends.size() > ended; });
    return {events.told.begin() + static_cast<std::ptrdiff_t>(before), events.told.end()};
  }
  void LogOn() {
    client->LogOn(Logon());
    EXPECT_EQ(Finish(), Told{"done"});
    ASSERT_TRUE(client->Connected()) << events.ends.back().text;
  }
  void Download(int64_t start, const std::string& name = "a.log") {
    events.content.clear();
    client->Download({"/logs", name, start, 30});
  }
};

TEST_P(FtpContract, LogsOnAndTellsLater) {
  EXPECT_FALSE(client->Connected());
  EXPECT_TRUE(client->Idle());
  client->LogOn(Logon());
  EXPECT_FALSE(client->Idle());
  EXPECT_EQ(events.told, Told{}) << "never from inside the call";
  EXPECT_EQ(Finish(), Told{"done"});
  EXPECT_TRUE(events.ends.back().ok() && client->Connected() && client->Idle());
}

TEST_P(FtpContract, ARefusedLogonIsToldAndTheNextMayDo) {
  subject->LetIn(false);
  client->LogOn(Logon());
  EXPECT_EQ(Finish(), Told{"done"});
  EXPECT_TRUE(StartsWith(events.ends.back().text, subject->Server() + ": the login was refused: 530 not you"))
      << events.ends.back().text;
  EXPECT_TRUE(!client->Connected() && client->Idle());
  subject->LetIn(true);
  LogOn();
}

TEST_P(FtpContract, TheSizeIsInTheLastReply) {
  LogOn();
  client->Size("/logs", "a.log");
  EXPECT_EQ(Finish(), Told{"done"});
  EXPECT_TRUE(events.ends.back().ok());
  EXPECT_EQ(client->LastReply(), "213 5000");
  client->Size("/logs", "none.log");
  EXPECT_EQ(Finish(), Told{"done"});
  EXPECT_TRUE(events.ends.back().ok()) << "the server did answer";
  EXPECT_TRUE(StartsWith(client->LastReply(), "550"));
}

TEST_P(FtpContract, AListingIsToldEntryByEntry) {
  subject->PutListing({"drwxr-xr-x 2 o g 4096 Jan 15 2020 old", "-rw-r--r-- 1 o g 77 Jan 15 2020 a b.log"});
  LogOn();
  client->List("/logs");
  EXPECT_EQ(Finish(), (Told{"entry", "entry", "done"}));
  EXPECT_TRUE(events.ends.back().ok());
  EXPECT_TRUE(events.entries[0].is_folder && !events.entries[1].is_folder);
  EXPECT_EQ(events.entries[1].name, "a b.log");
  EXPECT_EQ(events.entries[1].size_bytes, 77);
  EXPECT_EQ(events.entries[1].time_text, "01-15-20 00:00");
}

TEST_P(FtpContract, WhatTheServerCanDoIsInTheTrail) {
  LogOn();
  events.trail.clear();
  client->Help();
  EXPECT_EQ(Finish(), Told{"done"});
  EXPECT_TRUE(events.ends.back().ok());
  const auto sent = std::find(events.trail.begin(), events.trail.end(), "> HELP");
  EXPECT_NE(std::find(sent, events.trail.end(), "< 214 Help OK"), events.trail.end())
      << ::testing::PrintToString(events.trail);
}

TEST_P(FtpContract, ADownloadComesInOrderFromAnyPosition) {
  LogOn();
  for (const int64_t start : {0, 1, 2'500, 4'999}) {
    Download(start);
    EXPECT_EQ(Finish(), (Told{"start", "bytes", "end"})) << start;
    EXPECT_EQ(events.content, log.substr(static_cast<size_t>(start)));
    EXPECT_EQ(events.first, start);
    EXPECT_EQ(events.last, 5'000);
  }
  EXPECT_TRUE(client->Connected());
}

TEST_P(FtpContract, AtItsEndALogGivesNothingAndBeyondItAnError) {
  LogOn();
  Download(5'000);
  EXPECT_EQ(Finish(), (Told{"start", "end"}));
  Download(5'001);
  EXPECT_EQ(Finish(), Told{"error"});
  EXPECT_EQ(events.ends.back().fail, Fail::kBadData);
  Download(0, "none.log");
  EXPECT_EQ(Finish(), Told{"error"});
  EXPECT_EQ(events.ends.back().fail, Fail::kNotFound);
  Download(4'000);
  EXPECT_EQ(Finish(), (Told{"start", "bytes", "end"})) << "nothing of that sticks to the client";
}

TEST_P(FtpContract, NothingIsToldWhileEventsAreNotTaken) {
  LogOn();
  events.takes = false;
  Download(0);
  for (int i = 0; i < 10; ++i) subject->GoOn();
  EXPECT_EQ(events.told, Told{"done"});
  EXPECT_FALSE(client->Idle());
  events.takes = true;
  EXPECT_EQ(Finish(), (Told{"start", "bytes", "end"}));
  EXPECT_EQ(events.content, log);
}

TEST_P(FtpContract, ABusyClientTakesNoOtherCall) {
  LogOn();
  Download(0);
  client->Size("/logs", "a.log");
  client->List("/logs");
  client->Help();
  client->LogOn(Logon());
  Download(2'500);
  EXPECT_EQ(Finish(), (Told{"start", "bytes", "end"}));
  EXPECT_EQ(events.content, log);
  client->Size("/logs", "a.log");
  EXPECT_EQ(Finish(), Told{"done"});
}

TEST_P(FtpContract, LoggingOffDropsWhatIsUnderWay) {
  LogOn();
  Download(0);
  client->LogOff();
  EXPECT_TRUE(!client->Connected() && client->Idle());
  LogOn();
  EXPECT_EQ(events.told, (Told{"done", "done"}));
}

TEST_P(FtpContract, WhoIsToldMayLogOff) {
  LogOn();
  events.then = [&](const std::string& what) {
    if (what == "start") client->LogOff();
  };
  Download(0);
  TurnUntil([&] { return events.Last() == "start"; });
  events.then = [](const std::string&) {};
  LogOn();
  EXPECT_EQ(events.told, (Told{"done", "start", "done"}));
}

TEST_P(FtpContract, WhoIsToldMayGoOn) {
  events.then = [&](const std::string&) {
    if (events.told.size() == 1) client->Size("/logs", "a.log");
    if (events.told.size() == 2) Download(4'000);
  };
  client->LogOn(Logon());
  TurnUntil([&] { return events.Last() == "end"; });
  EXPECT_EQ(events.told, (Told{"done", "done", "start", "bytes", "end"}));
}

TEST_P(FtpContract, AClientThatGoesTellsNoMore) {
  LogOn();
  Download(0);
  client.reset();
  client = subject->Get().NewClient(events);
  LogOn();
  EXPECT_EQ(events.told, (Told{"done", "done"}));
}

TEST_P(FtpContract, ClientsDontDisturbEachOther) {
  RecordingFtpEvents other_events;
  const auto other = subject->Get().NewClient(other_events);
  LogOn();
  other->LogOn(Logon());
  events.takes = false;
  Download(0);
  TurnUntil([&] { return other->Connected(); });
  other->Download({"/logs", "a.log", 0, 30});
  TurnUntil([&] { return other->Idle(); });
  EXPECT_EQ(other_events.content, log);
  EXPECT_EQ(events.content, "");
  events.takes = true;
  Finish();
  EXPECT_EQ(events.content, log);
}

INSTANTIATE_TEST_SUITE_P(Clients, FtpContract, ::testing::Bool(),
                         [](const auto& given) { return given.param ? "Real" : "Fake"; });

}  // namespace
}  // namespace vantry
