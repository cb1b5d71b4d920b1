#include "notify/unsent_mail.h"

#include <map>
#include <optional>

#include <gtest/gtest.h>

#include "support/mail_rig.h"
#include "support/memory_data_files.h"

namespace vantry {
namespace {

MailMessage Message(const std::string& body) {
  MailMessage m;
  m.sender = "vantry@example";
  m.recipients = {"a@example", "b@example"};
  m.headers = {"Subject: x", "To: \"a:b\" <a@example>"};
  m.body = body;
  return m;
}

bool Same(const MailMessage& a, const MailMessage& b) {
  return a.sender == b.sender && a.recipients == b.recipients && a.headers == b.headers && a.body == b.body &&
         a.html == b.html && a.attachment == b.attachment && a.attached == b.attached;
}

TEST(UnsentMailRecord, IsReadAsItWasWritten) {
  MailMessage message = Message(std::string("a\0b\r\n12:x\n", 10));
  message.html = true;
  message.attachment = "/tmp/a b";
  message.password = "secret";
  const std::string record = FormatUnsentMail(message);
  EXPECT_EQ(record.find("secret"), std::string::npos);
  MailMessage read;
  bool waiting = false;
  EXPECT_EQ(ParseUnsentMail(record + "more", read, waiting), record.size());
  EXPECT_TRUE(waiting);
  EXPECT_TRUE(Same(read, message));
  for (const std::string& attached : {std::string(), std::string("1:a\n\0", 5)}) {
    message.attached = attached;
    const std::string longer = FormatUnsentMail(message);
    EXPECT_EQ(ParseUnsentMail(longer + record, read, waiting), longer.size());
    EXPECT_TRUE(Same(read, message));
  }
  EXPECT_EQ(ParseUnsentMail(record, read, waiting), record.size());
  EXPECT_FALSE(read.attached) << "nothing is left of the one before";
}

TEST(UnsentMailRecord, IsNoneWhenAByteIsMissingOrWrong) {
  const std::string record = FormatUnsentMail(Message("body"));
  MailMessage read;
  bool waiting = false;
  for (size_t i = 0; i < record.size(); ++i) {
    EXPECT_EQ(ParseUnsentMail(record.substr(0, i), read, waiting), 0u) << i;
    std::string other = record;
    other[i] = static_cast<char>(other[i] ^ 0x15);
    const bool blank = i == 8 || i == 19 || (i >= 36 && i + 1 < kUnsentHeadBytes);
    EXPECT_EQ(ParseUnsentMail(other, read, waiting) == 0, !blank) << i;
  }
}

struct UnsentMailsTest : ::testing::Test {
  std::string folder = "/data/";
  MemoryFiles files;
  MemoryDataFiles disk;
  std::unique_ptr<UnsentMails> mails;

  UnsentMailsTest() { Start(); }
  // Kills the program and starts another.
  void Start() {
    mails.reset();
    disk.EndProgram();
    mails = std::make_unique<UnsentMails>(folder, files, disk);
    EXPECT_TRUE(mails->Open().ok());
  }
  std::vector<std::string> Waiting() {
    std::vector<std::string> bodies;
    MailMessage message;
    for (const UnsentMails::Mail& mail : mails->Mails()) {
      EXPECT_TRUE(mails->Read(mail, message).ok());
      bodies.push_back(message.body);
    }
    return bodies;
  }
};
using Bodies = std::vector<std::string>;

TEST_F(UnsentMailsTest, OutliveTheProgram) {
  for (const char* body : {"1", "2", "3"}) EXPECT_TRUE(mails->Add(Message(body)).ok());
  EXPECT_EQ(Waiting(), (Bodies{"1", "2", "3"}));
  Start();
  EXPECT_EQ(Waiting(), (Bodies{"1", "2", "3"}));
  EXPECT_TRUE(mails->Remove(mails->Mails()[1].number).ok());
  EXPECT_TRUE(mails->Remove(4711).ok());
  Start();
  EXPECT_EQ(Waiting(), (Bodies{"1", "3"}));
  while (!mails->Mails().empty()) EXPECT_TRUE(mails->Remove(mails->Mails().front().number).ok());
  EXPECT_EQ(disk.Get("/data/Unsent.mail"), "") << "nothing waits: the file is empty";
}

TEST_F(UnsentMailsTest, AKillAtAnyByteLeavesWholeMails) {
  EXPECT_TRUE(mails->Add(Message("1")).ok());
  const std::string one = disk.Get("/data/Unsent.mail");
  EXPECT_TRUE(mails->Add(Message("2")).ok());
  const std::string both = disk.Get("/data/Unsent.mail");
  for (size_t size = one.size(); size < both.size(); ++size) {
    mails.reset();
    disk.EndProgram();
    disk.Put("/data/Unsent.mail", both.substr(0, size));
    Start();
    EXPECT_EQ(Waiting(), Bodies{"1"});
    EXPECT_TRUE(mails->Add(Message("3")).ok());
    Start();
    EXPECT_EQ(Waiting(), (Bodies{"1", "3"})) << "what a kill has cut is cut off";
  }
}

TEST_F(UnsentMailsTest, AFullDiskLosesThatMailAlone) {
  EXPECT_TRUE(mails->Add(Message("1")).ok());
  disk.breaks = [](const std::string& call) { return StartsWith(call, "write ") ? int64_t{5} : int64_t{-2}; };
  EXPECT_FALSE(mails->Add(Message("2")).ok());
  disk.breaks = [](const std::string&) { return int64_t{-2}; };
  EXPECT_TRUE(mails->Add(Message("3")).ok());
  Start();
  EXPECT_EQ(Waiting(), (Bodies{"1", "3"}));
}

TEST_F(UnsentMailsTest, OfTooManyTheOldestAreDropped) {
  for (size_t i = 0; i < UnsentMails::kMost + 3; ++i) EXPECT_TRUE(mails->Add(Message(std::to_string(i))).ok());
  EXPECT_EQ(mails->Mails().size(), UnsentMails::kMost);
  EXPECT_EQ(Waiting().front(), "3");
  EXPECT_EQ(mails->TakeDropped(), 3);
  EXPECT_EQ(mails->TakeDropped(), 0);
}

struct KeptMailTest : ::testing::Test {
  MailRig rig;
  std::string folder = "/data/";
  MemoryDataFiles disk;
  std::unique_ptr<UnsentMails> unsent;
  std::unique_ptr<MailQueue> queue;
  const Status away = Status::Error(Fail::kIo, "mail.example: connection refused");
  const Status no = Status::Error(Fail::kRefused, "mail.example: 550 no such user");

  KeptMailTest() {
    rig.t.Corrected.KeepUnsentMail = true;
    Start();
  }
  // Kills the program and starts another.
  void Start() {
    queue.reset();
    unsent.reset();
    disk.EndProgram();
    rig.mail.Forget();
    unsent = std::make_unique<UnsentMails>(folder, rig.files, disk);
    queue = std::make_unique<MailQueue>(MailQueueContext{rig.t, rig.settings, rig.log, rig.clock, rig.files, rig.view,
                                                         rig.mail, rig.sms, unsent.get()});
    queue->RetryTick();
  }
  void Send(const std::string& body) { queue->SendMailNow({"a@example", body}); }
  // The bodies of what went to the server since the last call.
  Bodies Sent() {
    rig.mail.Turn();
    Bodies bodies;
    for (const MailMessage& message : rig.mail.sent) bodies.push_back(message.body);
    rig.mail.sent.clear();
    return bodies;
  }
  void Wait(int64_t seconds) {
    rig.clock.Advance(seconds);
    queue->RetryTick();
  }
};

TEST_F(KeptMailTest, GoesOutAtOnceAndOnceWhenTheServerTakesIt) {
  Send("1");
  Send("2");
  EXPECT_EQ(Sent(), (Bodies{"1", "2"}));
  Wait(3600);
  Start();
  EXPECT_EQ(Sent(), Bodies{});
  EXPECT_EQ(disk.Get("/data/Unsent.mail"), "");
}

TEST_F(KeptMailTest, AServerThatIsAwayIsTriedLessAndLessOften) {
  rig.mail.answer = away;
  Send("1");
  Send("2");
  EXPECT_EQ(Sent(), Bodies{"1"}) << "the others wait, and cost no time";
  Send("3");
  EXPECT_EQ(Sent(), Bodies{});
  const char* turn[] = {"2", "3", "1"};
  int tries = 0;
  for (const int minutes : {1, 2, 4, 8, 15, 15}) {
    Wait(minutes * 60 - 1);
    EXPECT_EQ(Sent(), Bodies{}) << minutes;
    Wait(1);
    EXPECT_EQ(Sent(), Bodies{turn[tries++ % 3]}) << minutes;
  }
  rig.mail.answer = {};
  Wait(15 * 60);
  EXPECT_EQ(Sent(), (Bodies{"2", "3", "1"}));
  rig.mail.answer = away;
  Send("4");
  EXPECT_EQ(Sent(), Bodies{"4"});
  Wait(60);
  EXPECT_EQ(Sent(), Bodies{"4"}) << "it begins anew with a minute";
}

TEST_F(KeptMailTest, MailsOfTheFileWait) {
  rig.mail.answer = away;
  Send("1");
  Send("2");
  EXPECT_EQ(queue->Waiting(), 2);
  EXPECT_EQ(Sent(), Bodies{"1"});
  EXPECT_EQ(queue->Waiting(), 2);
  Start();
  EXPECT_EQ(queue->Waiting(), 2) << "of the run before";
  rig.mail.answer = {};
  Wait(60);
  EXPECT_EQ(Sent(), (Bodies{"1", "2"}));
  EXPECT_EQ(queue->Waiting(), 0);
  rig.t.Corrected.KeepUnsentMail = false;
  Send("3");
  EXPECT_EQ(queue->Waiting(), 1);
}

TEST_F(KeptMailTest, IsTriedAtTheNextStart) {
  rig.mail.answer = away;
  Send("1");
  Send("2");
  EXPECT_EQ(Sent(), Bodies{"1"});
  rig.mail.answer = {};
  Start();
  EXPECT_EQ(Sent(), (Bodies{"1", "2"}));
  Start();
  EXPECT_EQ(Sent(), Bodies{});
}

TEST_F(KeptMailTest, IsNotLostWithTheProgramThatWasSendingIt) {
  Send("1");
  Start();
  EXPECT_EQ(rig.mail.sent.size(), 2u);
  EXPECT_EQ(rig.mail.sent[0].headers, rig.mail.sent[1].headers) << "of the same Message-ID, so that it can be told";
}

TEST_F(KeptMailTest, ARefusalForGoodIsToldAndTheMailIsGone) {
  rig.mail.answers = {no};
  Send("1");
  Send("2");
  EXPECT_EQ(Sent(), (Bodies{"1", "2"}));
  EXPECT_TRUE(Contains(rig.program_log, "550 no such user"));
  EXPECT_TRUE(Contains(rig.program_log, "*Email notification to: a@example failed."));
  Wait(3600);
  Start();
  EXPECT_EQ(Sent(), Bodies{});
}

TEST_F(KeptMailTest, ARefusalForNowHoldsUpThatMailAlone) {
  rig.mail.temporary = true;
  rig.mail.answers = {Status::Error(Fail::kRefused, "mail.example: 450 come back")};
  Send("1");
  Send("2");
  EXPECT_EQ(Sent(), (Bodies{"1", "2"}));
  Wait(59);
  EXPECT_EQ(Sent(), Bodies{});
  Wait(1);
  EXPECT_EQ(Sent(), Bodies{"1"});
  Wait(3600);
  EXPECT_EQ(Sent(), Bodies{});
}

TEST_F(KeptMailTest, AMailAtWhichTheServerBreaksOffDoesNotHoldUpTheOthers) {
  rig.mail.answers = {Status::Error(Fail::kIo, "mail.example: the connection broke off")};
  for (const char* body : {"poison", "2", "3"}) Send(body);
  EXPECT_EQ(Sent(), Bodies{"poison"});
  rig.mail.answers = {Status::Ok(), Status::Ok(), Status::Error(Fail::kIo, "mail.example: the connection broke off")};
  Wait(60);
  EXPECT_EQ(Sent(), (Bodies{"2", "3", "poison"}));
  rig.mail.answers = {Status::Ok(), Status::Error(Fail::kIo, "mail.example: the connection broke off")};
  Send("4");
  EXPECT_EQ(Sent(), Bodies{}) << "it looks as if the server were away";
  Wait(60);
  EXPECT_EQ(Sent(), (Bodies{"4", "poison"}));
}

TEST_F(KeptMailTest, AMailThatSomebodyWaitsForIsKeptAndNobodyWaits) {
  rig.mail.answer = away;
  int done = 0;
  queue->SendMailAside({"a@example", "login"}, [&] { ++done; });
  EXPECT_EQ(done, 1) << "before the server has answered";
  EXPECT_EQ(Sent(), Bodies{"login"});
  rig.mail.answer = {};
  Start();
  EXPECT_EQ(Sent(), Bodies{"login"});
  EXPECT_EQ(done, 1);
}

TEST_F(KeptMailTest, AttachmentsAreThoseOfTheTimeOfTheMail) {
  rig.mail.answer = away;
  rig.files.Put("/home/Daily Report.htm", "of the 5th");
  queue->SendMailNow({"a@example", "1", "/home/Daily Report.htm"});
  Sent();
  rig.files.Put("/home/Daily Report.htm", "of the 6th");
  queue->SendMailNow({"a@example", "2", "/home/Daily Report.htm"});
  queue->SendMailNow({"a@example", "3", "/home/gone.htm"});
  rig.files.Put("/home/long.htm", std::string(MailQueue::kMostAttached + 1, 'x'));
  queue->SendMailNow({"a@example", "4", "/home/long.htm"});
  rig.mail.answer = {};
  Start();
  rig.mail.Turn();
  std::map<std::string, std::optional<std::string>> attached;
  for (const MailMessage& message : rig.mail.sent) attached[message.body] = message.attached;
  EXPECT_EQ(attached, (std::map<std::string, std::optional<std::string>>{
                          {"1", "of the 5th"}, {"2", "of the 6th"}, {"3", std::nullopt}, {"4", std::nullopt}}));
}

TEST_F(KeptMailTest, AMailThatIsTooLongForTheFileLeavesTheOthersThere) {
  rig.mail.answer = away;
  Send("1");
  Send(std::string(UnsentMails::kMostBytes, 'x'));
  EXPECT_EQ(unsent->Mails().size(), 1u);
  EXPECT_EQ(Sent().size(), 2u) << "it goes the other way";
}

TEST_F(KeptMailTest, TheEndOfTheProgramDoesNotWaitForAServerThatIsAway) {
  rig.mail.answer = away;
  Send("1");
  EXPECT_EQ(Sent(), Bodies{"1"});
  rig.settings.EmailSendTo = "all@example";
  queue->SendEmail("collected", 0, "");
  queue->Close();
  EXPECT_EQ(Sent(), Bodies{});
  rig.mail.answer = {};
  rig.mail.finished.reset();
  Start();
  EXPECT_EQ(Sent(), (Bodies{"1", "collected\r\n\r\n"}));
}

TEST_F(KeptMailTest, WithoutItsFileTheMailGoesTheOtherWay) {
  disk.breaks = [](const std::string& call) { return StartsWith(call, "write ") ? int64_t{0} : int64_t{-2}; };
  Send("1");
  EXPECT_EQ(Sent(), Bodies{"1"});
}

TEST_F(KeptMailTest, ClassicMakesNoFile) {
  rig.t.Corrected.KeepUnsentMail = false;
  disk.entries.clear();
  Start();
  rig.mail.answer = away;
  Send("1");
  EXPECT_EQ(Sent(), Bodies{"1"});
  Wait(3600);
  EXPECT_EQ(Sent(), Bodies{});
  EXPECT_FALSE(disk.Has("/data/Unsent.mail"));
}

TEST_F(KeptMailTest, WithoutARecipientItIsToldAndGone) {
  queue->SendMailNow({"nobody", "1"});
  queue->SendMailNow({",;", "1"});
  EXPECT_TRUE(Contains(rig.program_log, "failed."));
  EXPECT_EQ(unsent->Mails().size(), 1u) << "'nobody' may be a local user";
}

}  // namespace
}  // namespace vantry
