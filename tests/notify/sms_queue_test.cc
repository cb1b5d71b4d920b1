#include "notify/sms_queue.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "support/fake_line_client.h"
#include "support/fakes.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

using Calls = std::vector<std::string>;

const std::string kConnect = "connect localhost 3339 \x01";
const std::string kGreeting = "send IDRCU.2.0.007\x01";
const std::string kStamp = "\t3/5/2026\t12:00:00";

struct SmsQueueTest : ::testing::Test {
  Settings settings;
  Regional regional;
  FakeClock clock;
  MemoryFiles files;
  LiveTables tables;
  std::vector<std::string> lines;
  int beeps = 0;
  ProgramLog log{tables,
                 regional,
                 {[this] { return clock.now; }, [this](std::string_view text) { lines.emplace_back(text); },
                  [this] { ++beeps; }, [](std::string_view) {}, [](std::string_view, EventLevel) {}}};
  FakeLineClient client;
  SmsQueue sms{{settings, regional, clock, files, log, client, "2.0.007"}};

  static std::string Logged(const std::string& text) { return "3/5/2026 12:00:00 PM " + text + "\r\n"; }
  static std::string Command(const std::string& fields) { return "SEND " + fields + kStamp; }
  Calls Waiting() const {
    Calls commands;
    for (auto queue = sms.SMSQueue(); !queue.Empty();) commands.push_back(queue.Pop());
    return commands;
  }
  static std::string Sent(const std::string& fields) { return "send " + Command(fields) + "\x01"; }
};

TEST_F(SmsQueueTest, MessagesGoOutOneAtATimeEachReplyReleasesTheNext) {
  sms.SendSMS("+441", "one");
  sms.SendSMS("+442", "two");
  EXPECT_EQ(Waiting(), (Calls{Command("+441\tone"), Command("+442\ttwo")}));
  EXPECT_EQ(client.Take(), Calls{kConnect}) << "a connection on its way is left alone";
  client.Accept();
  EXPECT_EQ(client.Take(), Calls{kGreeting});
  client.Reply("OK");
  EXPECT_EQ(client.Take(), Calls{Sent("+441\tone")});
  EXPECT_EQ(Waiting(), Calls{Command("+442\ttwo")});
  client.Reply("SENT");
  EXPECT_EQ(client.Take(), Calls{Sent("+442\ttwo")});
  EXPECT_TRUE(sms.SMSQueue().Empty());
  client.Reply("SENT");
  EXPECT_EQ(client.Take(), Calls{}) << "the connection stays open";
  EXPECT_TRUE(client.IsConnected());
  EXPECT_EQ(lines, Calls{});
}

TEST_F(SmsQueueTest, NewMessageOnAnOpenConnectionSendsANewGreeting) {
  client.connected = true;
  sms.SendSMS("1", "a");
  EXPECT_EQ(client.Take(), Calls{kGreeting});
  client.Reply("OK");
  EXPECT_EQ(client.Take(), Calls{Sent("1\ta")});
  settings.SMSServerName = "elsewhere";
  settings.SMSServerPort = 1;
  sms.SendSMS("2", "b");
  EXPECT_EQ(client.Take(), Calls{kGreeting}) << "an open connection is kept wherever it goes";
}

TEST_F(SmsQueueTest, NothingIsStartedForAnEmptyQueue) {
  sms.StartSMSQueue();
  client.connected = true;
  sms.StartSMSQueue();
  EXPECT_EQ(client.Take(), Calls{});
}

TEST_F(SmsQueueTest, SettingsAreReadAtEachCall) {
  settings.SMSServerName = "gateway.example";
  settings.SMSServerPort = 4000;
  sms.SendSMS("1", "a");
  EXPECT_EQ(client.Take(), Calls{"connect gateway.example 4000 \x01"});
  settings.SMSConnect = 1;
  sms.SendSMS("2", "b");
  EXPECT_EQ(client.Take(), Calls{});
  EXPECT_EQ(files.Get("POLLED.TXT"), "2\tb" + kStamp + "\r\n");
}

TEST_F(SmsQueueTest, FailureToConnectKeepsTheQueueForTheNextTry) {
  sms.SendSMS("1", "a");
  client.Refuse(111, "localhost:3339: Connection\r\nrefused");
  EXPECT_EQ(lines, Calls{Logged("Error connecting to SMS Server on localhost: localhost:3339: Connection  refused")});
  EXPECT_EQ(Waiting(), Calls{Command("1\ta")});
  EXPECT_EQ(client.Take(), Calls{kConnect});
  sms.StartSMSQueue();
  EXPECT_EQ(client.Take(), Calls{kConnect});
}

TEST_F(SmsQueueTest, LostConnectionIsMadeAgain) {
  client.connected = true;
  sms.SendSMS("1", "a");
  client.Lose();
  client.Take();
  sms.SendSMS("2", "b");
  EXPECT_EQ(client.Take(), Calls{kConnect});
  client.Accept();
  client.Reply("OK");
  EXPECT_EQ(client.Take(), (Calls{kGreeting, Sent("1\ta")}));
}

TEST_F(SmsQueueTest, LastWordsOfALostConnectionCostNoMessage) {
  client.connected = true;
  sms.SendSMS("1", "a");
  client.Lose();
  client.Reply("OK");
  EXPECT_EQ(Waiting(), Calls{Command("1\ta")});
  EXPECT_EQ(lines, Calls{Logged("The connection to the SMS Server is gone From frmEmail.SendNextSMS")});
}

TEST_F(SmsQueueTest, OtherRepliesAreLoggedAsOneLineAndReleaseTheNextToo) {
  client.connected = true;
  sms.SendSMS("1", "a");
  sms.SendSMS("2", "b");
  client.Take();
  client.Reply(std::string_view("NO CREDIT\r\n3/5/2026 forged\tline\x7f\0[2J", 36));
  client.Reply("ok");
  EXPECT_EQ(client.Take(), (Calls{Sent("1\ta"), Sent("2\tb")}));
  client.Reply("");
  EXPECT_EQ(lines, (Calls{Logged("SMS Server: NO CREDIT  3/5/2026 forged line  [2J"), Logged("SMS Server: ok"),
                          Logged("SMS Server: ")}));
}

TEST_F(SmsQueueTest, NoControlCharacterButTheTabReachesTheGateway) {
  std::string controls;
  for (char c = 0; c < ' '; ++c) controls += c;
  controls += "\x7f\x80\xff";
  const std::string clean = std::string(9, ' ') + "\t" + std::string(23, ' ') + "\x80\xff";
  client.connected = true;
  sms.SendSMS("1", "split\x1bhere");
  sms.SendSMS("2" + controls, controls);
  client.Take();
  for (int i = 0; i < 3; ++i) client.Reply("OK");
  EXPECT_EQ(client.Take(), (Calls{Sent("1\tsplit here"), Sent("2" + clean + "\t" + clean)}));
  EXPECT_TRUE(sms.SMSQueue().Empty());
  settings.SMSConnect = 1;
  sms.SendSMS("3", controls);
  EXPECT_EQ(files.Get("POLLED.TXT"), "3\t" + clean + kStamp + "\r\n");
}

TEST_F(SmsQueueTest, OfTooManyTheNewestAreKeptAndTheOthersCountedOnce) {
  constexpr size_t kExtra = 20;
  for (size_t i = 0; i < SmsQueue::kMostWaiting + kExtra; ++i) sms.SendSMS("1", std::to_string(i));
  EXPECT_EQ(sms.SMSQueue().Rows(), SmsQueue::kMostWaiting);
  EXPECT_EQ(sms.SMSQueue().Front(), Command("1\t" + std::to_string(kExtra)));
  EXPECT_EQ(lines, Calls{});
  client.Accept();
  while (!sms.SMSQueue().Empty()) client.Reply("SENT");
  sms.Close();
  EXPECT_EQ(lines, Calls{Logged("20 short messages were dropped, as too many waited for the SMS Server")});
}

TEST_F(SmsQueueTest, LongMessagesThatWaitAreBoundedByTheirBytes) {
  const std::string half(SmsQueue::kMostWaitingBytes / 2, 'x');
  for (int i = 0; i < 3; ++i) sms.SendSMS(std::to_string(i), half);
  EXPECT_EQ(sms.SMSQueue().Rows(), 1u);
  EXPECT_LT(sms.SMSQueue().Bytes(), SmsQueue::kMostWaitingBytes);
  sms.Close();
  EXPECT_EQ(lines, Calls{Logged("2 short messages were dropped, as too many waited for the SMS Server")});
}

TEST_F(SmsQueueTest, EachMessageIsOneAppendToThePolledFile) {
  settings.SMSConnect = 1;
  clock.now.s += 3 * 3600 + 62;
  regional.short_date = "dd.MM.yyyy";
  sms.SendSMS("+441", "one");
  sms.SendSMS("+442", "two");
  EXPECT_EQ(files.Get("POLLED.TXT"), "+441\tone\t05.03.2026\t15:01:02\r\n+442\ttwo\t05.03.2026\t15:01:02\r\n");
  EXPECT_EQ(files.calls, (Calls{"append POLLED.TXT", "append POLLED.TXT"}));
  EXPECT_TRUE(sms.SMSQueue().Empty());
  EXPECT_EQ(client.Take(), Calls{});
}

TEST_F(SmsQueueTest, FolderOfThePolledFileMayEndInAnySeparatorOrNone) {
  settings.SMSConnect = -1;
  for (const char* folder : {"/var/sms", "/var/sms/", "/var/sms\\"}) {
    files.entries.clear();
    settings.SMSFolder = folder;
    sms.SendSMS("1", "a");
    EXPECT_EQ(files.Get("/var/sms/POLLED.TXT"), "1\ta" + kStamp + "\r\n") << folder;
  }
}

TEST_F(SmsQueueTest, PolledFileThatCantBeWrittenIsNamed) {
  settings.SMSConnect = 1;
  settings.SMSFolder = "/gone";
  files.fails = [](const std::string& call) { return call == "append /gone/POLLED.TXT"; };
  sms.SendSMS("1", "a");
  EXPECT_EQ(lines, Calls{Logged("Failed to send message to SMS Server: /gone/POLLED.TXT: No space left on device")});
}

TEST_F(SmsQueueTest, FailuresOfTheClientAreLogged) {
  client.breaks = "out of memory";
  sms.SendSMS("1", "a");
  EXPECT_EQ(lines, Calls{Logged("Failed to send message to SMS Server: out of memory")});
  client.connected = true;
  client.Reply("OK");
  EXPECT_EQ(lines.back(), Logged("out of memory From frmEmail.SendNextSMS"));
  EXPECT_EQ(beeps, 1);
  EXPECT_EQ(Waiting(), Calls{Command("1\ta")}) << "what was not sent still waits";
}

TEST_F(SmsQueueTest, TenThousandMessagesLeaveInTheirOrder) {
  constexpr int kCount = 10'000;
  for (int i = 0; i < kCount; ++i) sms.SendSMS(std::to_string(i), std::string(200, 'x'));
  client.Accept();
  client.Take();
  for (int i = 0; i < kCount; ++i) client.Reply("SENT");
  const Calls sent = client.Take();
  ASSERT_EQ(sent.size(), size_t{kCount});
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(sent[static_cast<size_t>(i)], Sent(std::to_string(i) + "\t" + std::string(200, 'x')));
  }
  EXPECT_TRUE(sms.SMSQueue().Empty());
}

TEST_F(SmsQueueTest, CloseEndsTheConnection) {
  client.connected = true;
  sms.Close();
  EXPECT_EQ(client.Take(), Calls{"close"});
  EXPECT_FALSE(client.IsConnected());
}

}  // namespace
}  // namespace vantry
