#include "platform/smtp_text.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(MailServer, AsPeopleWriteThem) {
  struct Row {
    const char* text;
    const char* place;
    bool encrypted;
  };
  for (const Row& row : {Row{"mail.example.org", "mail.example.org:25", false},
                         {" mail:2525 ", "mail:2525", false},
                         {"smtp://mail", "mail:25", false},
                         {"SMTP://mail:587/", "mail:587", false},
                         {"smtps://mail", "mail:465", true},
                         {"smtps://mail:1", "mail:1", true},
                         {"192.0.2.1:26", "192.0.2.1:26", false},
                         {"[2001:db8::1]", "[2001:db8::1]:25", false},
                         {"smtps://[::1]:465", "[::1]:465", true},
                         {"my_host.", "my_host.:25", false}}) {
    MailServer server;
    EXPECT_TRUE(ReadMailServer(row.text, server).ok()) << row.text;
    EXPECT_EQ(server.Place(), row.place);
    EXPECT_EQ(server.encrypted, row.encrypted) << row.text;
  }
}

TEST(SmtpDialogue, IsListedWithoutWhatALoginSays) {
  std::vector<std::string> lines;
  SmtpDialogue dialogue({"pass word"},
                        [&](bool sent, const std::string& text) { lines.push_back((sent ? "> " : "< ") + text); });
  dialogue.Received("220 mail\x1b[2J\r\n");
  dialogue.Sent("EHLO me\r\n");
  dialogue.Received("250-mail");
  dialogue.Received("250 AUTH PLAIN LOGIN");
  dialogue.Sent("AUTH PLAIN AHVzZXIAcGFzcyB3b3Jk\r\n");
  dialogue.Received("334 VXNlcm5hbWU6");
  dialogue.Sent("cGFzcyB3b3Jk\r\n");
  dialogue.Received("535 not pass word, but cGFzcyB3b3Jk");
  dialogue.Sent("QUIT\r\n");
  dialogue.Received("221 " + std::string(5'000, 'x'));
  EXPECT_EQ(lines.back().size(), 202u);
  lines.pop_back();
  EXPECT_EQ(lines, (std::vector<std::string>{"< 220 mail [2J", "> EHLO me", "< 250-mail", "< 250 AUTH PLAIN LOGIN",
                                             "> AUTH PLAIN ***", "< 334 VXNlcm5hbWU6", "> ***",
                                             "< 535 not ***, but ***", "> QUIT"}));
}

TEST(MailServer, WhatIsNone) {
  MailServer server;
  for (const std::string text :
       {"",      " ",           "mail:",     "mail:0",  "mail:65536",   "mail:25x",      "mail:-1",
        "a b",   "http://mail", "smtp:mail", "smtp://", "mail/",        "smtp://mail/x", "user@mail",
        "::1",   "[::1",        "[mail]",    "[::1]x",  "mail\r\nQUIT", "m\xC3\xA4il",   "a:1:2",
        "mail#", "%41"}) {
    EXPECT_EQ(ReadMailServer(text, server).fail, Fail::kBadData) << text;
  }
  EXPECT_EQ(ReadMailServer(std::string("mail\0x", 6), server).fail, Fail::kBadData);
  EXPECT_EQ(ReadMailServer("a\r\nb", server).text, "'a  b' is no mail server");
}

TEST(SmtpDialogue, CommandsInPiecesAndRepliesOfSeveralLines) {
  SmtpDialogue d({});
  EXPECT_EQ(d.Command(), "");
  EXPECT_TRUE(d.Received("220 hello\r\n"));
  EXPECT_EQ(d.Words(), "220 hello");
  d.Sent("EH");
  d.Sent("LO me\r\n");
  EXPECT_EQ(d.Command(), "EHLO");
  EXPECT_EQ(d.Code(), 0);
  EXPECT_FALSE(d.Received("250-one\r\n"));
  EXPECT_FALSE(d.Received("rubbish\r\n"));
  EXPECT_TRUE(d.Received("250 two\r\n"));
  EXPECT_EQ(d.Words(), "250 one two");
  EXPECT_EQ(d.Code(), 250);
}

TEST(SmtpDialogue, RefusalsBelongToTheirRecipients) {
  SmtpDialogue d({});
  for (const char* reply : {"250 ok", "550 no", "251 elsewhere", "450"}) {
    d.Sent("RCPT TO:<x>\r\n");
    EXPECT_TRUE(d.Received(reply));
  }
  ASSERT_EQ(d.Refusals().size(), 2u);
  EXPECT_EQ(d.Refusals()[0].recipient, 1u);
  EXPECT_EQ(d.Refusals()[0].words, "550 no");
  EXPECT_EQ(d.Refusals()[1].recipient, 3u);
  d.Sent("DATA\r\n");
  EXPECT_TRUE(d.Received("354 go"));
  EXPECT_EQ(d.Command(), ".");
  EXPECT_FALSE(d.Taken());
  EXPECT_TRUE(d.Received("250 taken"));
  EXPECT_TRUE(d.Taken());
  d.Sent("QUIT\r\n");
  EXPECT_FALSE(d.Received("500 what"));
  EXPECT_TRUE(d.Over());
  EXPECT_EQ(d.Code(), 250) << "what is said to a good-bye counts for nothing";
}

TEST(SmtpDialogue, SecretsAreNotRepeated) {
  SmtpDialogue d({"pass word"});
  d.Sent("AUTH LOGIN\r\n");
  EXPECT_TRUE(d.Received("334 VXNlcg=="));
  d.Sent("bWU=\r\n");
  d.Sent("cGFzcyB3b3Jk\r\n");
  EXPECT_TRUE(d.Received("535 cGFzcyB3b3Jk is pass word of bWU="));
  EXPECT_EQ(d.Command(), "AUTH");
  EXPECT_EQ(d.Words(), "535 *** is *** of ***");
}

TEST(SmtpDialogue, SecretsDoNotComeTogetherLater) {
  SmtpDialogue d({"pass word"});
  EXPECT_TRUE(d.Received("535 pass\tword and pass word"));
  EXPECT_EQ(d.Words(), "535 *** and ***");
}

TEST(SmtpDialogue, AnEndlessReplyStaysSmall) {
  SmtpDialogue d({});
  for (int i = 0; i < 10'000; ++i) EXPECT_FALSE(d.Received("250-" + std::string(500, 'x')));
  EXPECT_TRUE(d.Received("250 \xE2\x82\xAC"));
  EXPECT_EQ(d.Words().size(), 200u);
}

}  // namespace
}  // namespace vantry
