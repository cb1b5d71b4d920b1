// Trying an SMS server, whose far end is the test.
#include "forms/sms_test.h"

#include <gtest/gtest.h>

#include "support/fake_line_client.h"

namespace vantry {
namespace {

constexpr char kAsk[] = "\r\n\r\nIs SMS Server running on the machine specified?";

struct SmsTestTest : ::testing::Test {
  FakeLineClient* line = nullptr;
  std::vector<std::string> lines, ends;
  std::unique_ptr<SmsTest> test;

  SmsTestTest() {
    auto client = std::make_unique<FakeLineClient>();
    line = client.get();
    Settings draft;
    draft.SMSServerName = "gate";
    draft.SMSServerPort = 3340;
    SmsTestEvents events;
    events.line = [this](std::string_view text) { lines.emplace_back(text); };
    events.done = [this](bool passed, const std::string& text) { ends.push_back((passed ? "+" : "-") + text); };
    test = std::make_unique<SmsTest>(std::move(client), draft, "2.0.000", events);
    test->Start();
  }
};

TEST_F(SmsTestTest, GreetsAndTakesOk) {
  EXPECT_EQ(line->Take(), std::vector<std::string>{"connect gate 3340 \x01"});
  line->Accept();
  EXPECT_EQ(line->Take(), std::vector<std::string>{"send IDRCU.2.0.000\x01"});
  line->Reply("OK");
  EXPECT_EQ(line->Take(), std::vector<std::string>{"close"});
  EXPECT_EQ(ends, std::vector<std::string>{"+Test successfull!\r\n\r\nVantry can communicate with SMS Server using the "
                                           "Host & Port specified."});
  EXPECT_EQ(lines,
            (std::vector<std::string>{"i Connecting to gate, port 3340", "i Connected", "> IDRCU.2.0.000", "< OK"}));
  EXPECT_TRUE(test->Over());
}

TEST_F(SmsTestTest, AnyOtherReplyFails) {
  line->Accept();
  line->Reply("SENT");
  EXPECT_EQ(ends, std::vector<std::string>{std::string("-Test failed: SENT") + kAsk});
  line->Reply("OK");
  test->TimeIsUp();
  EXPECT_EQ(ends.size(), 1u) << "there is one end";
}

TEST_F(SmsTestTest, NoConnection) {
  line->Refuse(1, "gate:3340: Connection refused");
  EXPECT_EQ(ends, std::vector<std::string>{
                      std::string("-Connection to SMS Server failed: gate:3340: Connection refused") + kAsk});
}

TEST_F(SmsTestTest, AConnectionThatEndsOrStaysSilentIsAnError) {
  line->Accept();
  line->Lose();
  EXPECT_EQ(ends, std::vector<std::string>{"-Error testing the connection to SMS Server: The remote host closed the "
                                           "connection"});
}

TEST_F(SmsTestTest, AServerThatStaysSilent) {
  line->Accept();
  test->TimeIsUp();
  EXPECT_EQ(ends, std::vector<std::string>{"-Error testing the connection to SMS Server: no answer within 20 s"});
  EXPECT_EQ(line->calls.back(), "close");
}

}  // namespace
}  // namespace vantry
