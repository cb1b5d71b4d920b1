#include "network/who_is_run.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fake_network.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

WhoIsAnswer Text(const std::string& text) {
  WhoIsAnswer answer;
  answer.text = text;
  return answer;
}

WhoIsAnswer Failure(const std::string& text, Fail fail = Fail::kIo) {
  WhoIsAnswer answer;
  answer.status = Status::Error(fail, text);
  return answer;
}

struct WhoIsRunTest : ::testing::Test {
  FakeWhoIs who_is;
  std::vector<std::string> said;
  std::string text, country;
  int ends = 0;
  std::unique_ptr<WhoIsRun> run;

  void Start(const std::string& subject, const std::string& rdap = "http://rdap.example/") {
    const WhoIsServers servers{.general = "general.example",
                               .registry = "registry.example",
                               .uk = "uk.example",
                               .gov = "gov.example",
                               .mil = "mil.example",
                               .regional = "regional.example",
                               .rdap = rdap};
    run = std::make_unique<WhoIsRun>(who_is, servers, subject,
                                     WhoIsRunEvents{[this](const std::string& t) { said.push_back(t); },
                                                    [this](const std::string& t, const std::vector<WhoIsField>& f) {
                                                      text = t;
                                                      country.clear();
                                                      for (const WhoIsField& field : f) {
                                                        if (field.caption == "Country") country = field.value;
                                                      }
                                                    },
                                                    [this] { ++ends; }});
    run->Start();
  }
};

TEST_F(WhoIsRunTest, AsksTheServerOfTheZone) {
  Start("www.example.com");
  EXPECT_THAT(said, ElementsAre("Connecting to registry.example"));
  EXPECT_EQ(who_is.asked[0].server, "registry.example");
  EXPECT_EQ(who_is.asked[0].text, "example.com");
  EXPECT_FALSE(who_is.asked[0].is_referral);
  who_is.Tell(Text("Registrar: X\ncountry: DE\n"));
  EXPECT_EQ(text, "Registrar: X\ncountry: DE\n");
  EXPECT_EQ(country, "DE");
  EXPECT_EQ(said.back(), "Answer of registry.example");
  EXPECT_EQ(ends, 1);
}

TEST_F(WhoIsRunTest, FollowsReferralsTwiceAndNoServerTwice) {
  Start("10.0.0.7");
  who_is.Tell(Text("refer: one.example\n"));
  EXPECT_EQ(who_is.asked.back().server, "one.example");
  EXPECT_TRUE(who_is.asked.back().is_referral);
  who_is.Tell(Text("country: AA\nReferralServer: whois://two.example:99\n"));
  EXPECT_EQ(who_is.asked.back().server, "two.example:99");
  who_is.Tell(Text("country: BB\nrefer: three.example\n"));
  EXPECT_EQ(who_is.asked.size(), 3u);
  EXPECT_EQ(country, "BB") << "the last answer is the nearest";
  EXPECT_THAT(text, HasSubstr("refer: one.example\n\n\n[one.example]\ncountry: AA\n"));
  EXPECT_EQ(ends, 1);
}

TEST_F(WhoIsRunTest, AReferralToTheServerItselfIsNone) {
  Start("10.0.0.7");
  who_is.Tell(Text("country: AA\nrefer: Regional.example\n"));
  EXPECT_EQ(who_is.asked.size(), 1u);
  EXPECT_EQ(ends, 1);
}

TEST_F(WhoIsRunTest, AReferralThatFailsLeavesWhatThereIs) {
  Start("10.0.0.7");
  who_is.Tell(Text("country: AA\nrefer: one.example\n"));
  who_is.Tell(Failure("one.example is not a server of the internet and was not asked", Fail::kRefused));
  EXPECT_EQ(country, "AA");
  EXPECT_EQ(said.back(), "An error occurred. one.example is not a server of the internet and was not asked");
  EXPECT_EQ(who_is.asked.size(), 2u);
}

TEST_F(WhoIsRunTest, AskByRdapWhatARegistryDoesNotKnow) {
  Start("www.example.com");
  who_is.Tell(Text("No match for \"EXAMPLE.COM\".\n"));
  EXPECT_EQ(who_is.asked.back().server, "http://rdap.example/domain/example.com");
  EXPECT_EQ(said.back(),
            "registry.example knows nothing of example.com. Asking by RDAP: http://rdap.example/domain/example.com");
  who_is.Tell(Text("Registrar: X\nCountry: NL\n"));
  EXPECT_EQ(said.back(), "Answer by RDAP, as registry.example knows nothing of example.com");
  EXPECT_EQ(country, "NL");
  EXPECT_EQ(text, "No match for \"EXAMPLE.COM\".\n\n\n[RDAP]\nRegistrar: X\nCountry: NL\n");
}

TEST_F(WhoIsRunTest, AskByRdapWhenTheServerIsRefused) {
  Start("10.0.0.7");
  who_is.Tell(Failure("regional.example: Connection refused"));
  EXPECT_EQ(who_is.asked.back().server, "http://rdap.example/ip/10.0.0.7");
  who_is.Tell(Text("Country: NL\n"));
  EXPECT_EQ(text, "Country: NL\n");
  EXPECT_EQ(said.back(), "Answer by RDAP, as regional.example: Connection refused");
}

TEST_F(WhoIsRunTest, WhatTheRootSaysOfAZoneIsNoAnswerForAName) {
  Start("example.dev");
  who_is.Tell(Text("% IANA WHOIS server\n\ndomain:       DEV\norganisation: Example\n\nsource:       IANA\n"));
  EXPECT_EQ(who_is.asked.back().server, "http://rdap.example/domain/example.dev");
}

TEST_F(WhoIsRunTest, AndIsOneForTheZone) {
  Start("dev");
  who_is.Tell(Text("% IANA WHOIS server\n\ndomain:       DEV\norganisation: Example\n\nsource:       IANA\n"));
  EXPECT_EQ(who_is.asked.size(), 1u);
  EXPECT_EQ(said.back(), "Answer of general.example");
}

TEST_F(WhoIsRunTest, AHostThatNoRegistryKnowsIsAskedForByItsDomain) {
  Start("a.www.example.de");
  EXPECT_EQ(who_is.asked[0].text, "www.example.de");
  who_is.Tell(Text("refer: de.example\n"));
  who_is.Tell(Text("Domain: www.example.de\nStatus: free\n"));
  EXPECT_EQ(who_is.asked.back().server, "de.example");
  EXPECT_EQ(who_is.asked.back().text, "example.de");
  EXPECT_TRUE(who_is.asked.back().is_referral);
  who_is.Tell(Text("Domain: example.de\nStatus: free\n"));
  EXPECT_EQ(who_is.asked.back().server, "http://rdap.example/domain/example.de");
  EXPECT_EQ(who_is.asked.size(), 4u);
}

TEST_F(WhoIsRunTest, TheSameByRdap) {
  Start("www.example.de");
  who_is.Tell(Failure("regional.example: Connection refused"));
  EXPECT_EQ(who_is.asked.back().server, "http://rdap.example/domain/www.example.de");
  who_is.Tell(Failure("nothing is known by RDAP", Fail::kNotFound));
  EXPECT_EQ(who_is.asked.back().server, "http://rdap.example/domain/example.de");
  who_is.Tell(Failure("nothing is known by RDAP", Fail::kNotFound));
  EXPECT_EQ(who_is.asked.size(), 3u);
  EXPECT_EQ(ends, 1);
}

TEST_F(WhoIsRunTest, AnErrorIsAnErrorWhenNobodyKnows) {
  Start("10.0.0.7");
  who_is.Tell(Failure("regional.example: Connection refused"));
  who_is.Tell(Failure("nothing is known by RDAP", Fail::kNotFound));
  EXPECT_EQ(said.back(), "An error occurred. regional.example: Connection refused; nothing is known by RDAP");
  EXPECT_EQ(ends, 1);
}

TEST_F(WhoIsRunTest, WithoutRdapAnErrorIsTheEnd) {
  Start("10.0.0.7", "");
  who_is.Tell(Failure("regional.example: Connection refused"));
  EXPECT_EQ(said.back(), "An error occurred. regional.example: Connection refused");
  EXPECT_EQ(who_is.asked.size(), 1u);
}

TEST_F(WhoIsRunTest, ASubjectThatIsNoneIsNotAsked) {
  for (const char* subject : {"", "-h", "a b", "a@b.example", "50%.example", "?x"}) {
    said.clear();
    Start(subject);
    ASSERT_EQ(said.size(), 1u) << subject;
    EXPECT_THAT(said[0], HasSubstr("An error occurred.")) << subject;
  }
  EXPECT_THAT(who_is.asked, IsEmpty());
}

TEST_F(WhoIsRunTest, CutAnswersAreMarked) {
  Start("10.0.0.7");
  WhoIsAnswer answer = Text("country: AA\n");
  answer.is_cut = true;
  who_is.Tell(answer);
  EXPECT_EQ(said.back(), "Answer of regional.example, cut short");
}

TEST_F(WhoIsRunTest, StopsWithoutAWord) {
  Start("10.0.0.7");
  run->Stop();
  EXPECT_EQ(who_is.UnderWay(), 0u);
  EXPECT_EQ(ends, 0);
  Start("10.0.0.7");
  run.reset();
  EXPECT_EQ(who_is.UnderWay(), 0u);
}

}  // namespace
}  // namespace vantry
