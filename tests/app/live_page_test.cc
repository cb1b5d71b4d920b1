// Whether the engine serves the live page, and what it says when it can't.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace vantry {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

struct LivePageTest : EngineTest {
  void Begin(const std::string& section) {
    files.Put("/home/registry.ini", section);
    Sites(1);
    Log("12:00:00", "10.0.0.1");
    ASSERT_TRUE(Start());
  }
  // Nothing is served, which was told, and the sites are watched all the same.
  void ExpectRefusal(const std::string& why) {
    EXPECT_FALSE(live.place);
    EXPECT_EQ(engine->LiveAddress(), "");
    EXPECT_EQ(engine->Tables().Live, nullptr);
    EXPECT_THAT(notices.told,
                Contains(AllOf(HasSubstr("The live page is not served: /home/registry.ini, section Live: "),
                               HasSubstr(why), HasSubstr("everything else goes on"))));
    EXPECT_THAT(files.Get("/home/Data/TRL.LOG"), HasSubstr(why));
    Run(20);
    EXPECT_EQ(engine->Tables().Visitors.Count(), 1);
    EXPECT_TRUE(listener.events.disconnected) << "the web access";
  }
  std::string Get(const std::string& path) const { return TextOf(*live.Ask({.method = "GET", .path = path})); }
};

TEST_F(LivePageTest, IsOffWithoutItsSection) {
  Begin("[Security]\nBindAddress=127.0.0.1\n");
  EXPECT_FALSE(live.place);
  EXPECT_EQ(engine->LiveAddress(), "");
  EXPECT_EQ(engine->Tables().Live, nullptr);
  EXPECT_TRUE(notices.told.empty());
}

TEST_F(LivePageTest, ListensOnThisMachineAndTellsItsAddress) {
  Begin("[Live]\nPort=8005\n");
  ASSERT_TRUE(live.place);
  EXPECT_EQ(live.place->address, "127.0.0.1");
  EXPECT_EQ(live.place->port, 8005);
  EXPECT_EQ(engine->LiveAddress(), "http://127.0.0.1:8005/");
  EXPECT_TRUE(notices.told.empty());
  Run(20);
  EXPECT_THAT(Get("/api/v1/visitors"), HasSubstr("\"key\":\"1:10.0.0.1\""));
  EXPECT_THAT(Get("/api/v1/program"), HasSubstr("\"paused\":false"));
  engine->Pause();
  EXPECT_THAT(Get("/api/v1/program"), HasSubstr("\"paused\":true"));
  engine->Closing();
  EXPECT_FALSE(live.handler);
}

// Also mails that are no notifications any more.
TEST_F(LivePageTest, TellsHowManyMailsWait) {
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nEmailServer=mail.example\r\nEmailSendTo=a@example\r\n\r\n");
  files.Put("/home/EXTYPES.INI",
            "[Exception Types]\r\n[110]\r\nNumber=110\r\nDescription=x [value]\r\nValue=0\r\nRaise=True\r\n"
            "Email=True\r\nEmailAddress=b@example\r\n\r\n\r\n");
  Begin("[Live]\nPort=8005\n");
  mail.silent = true;
  EXPECT_THAT(Get("/metrics"), HasSubstr("vantry_mails_waiting 0\n"));
  Run(20);
  EXPECT_EQ(mail.sent.size(), 1u);
  EXPECT_THAT(Get("/metrics"), Not(HasSubstr("vantry_mails_waiting 0\n")));
}

TEST_F(LivePageTest, ADamagedSectionIsTold) {
  Begin("[Live]\nPort=80o5\n");
  ExpectRefusal("Port is '80o5', which is not a port");
}

TEST_F(LivePageTest, OthersNeedAPassword) {
  Begin("[Live]\nPort=8005\nBindAddress=0.0.0.0\n");
  ExpectRefusal("BindAddress 0.0.0.0 is not of this machine alone, so a password is needed");
}

TEST_F(LivePageTest, WithAPasswordOthersMayLook) {
  Begin("[Live]\nPort=8005\nBindAddress=0.0.0.0\nUser=guard\nPasswordHash=" + FakePasswords::HashOf("secret") + "\n");
  ASSERT_TRUE(live.place);
  EXPECT_EQ(live.place->address, "0.0.0.0");
  EXPECT_THAT(Get("/api/v1/program"), HasSubstr("A login is needed."));
}

TEST_F(LivePageTest, ADamagedSectionSecurityLeavesItToThisMachine) {
  Begin("[Live]\nPort=8005\nBindAddress=0.0.0.0\nUser=guard\nPasswordHash=" + FakePasswords::HashOf("secret") +
        "\n[Security]\nBindAddress\n");
  ExpectRefusal("its section Security is damaged");
}

TEST_F(LivePageTest, ATakenPortIsTold) {
  live.answer = Status::Error(Fail::kRefused, "address 127.0.0.1, port 8005: is taken by another program");
  Begin("[Live]\nPort=8005\n");
  ExpectRefusal("port 8005: is taken by another program");
}

}  // namespace
}  // namespace vantry
