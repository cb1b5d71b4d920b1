#include "notify/mail_headers.h"

#include <gtest/gtest.h>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

using Texts = std::vector<std::string>;

struct MailHeaders : ::testing::Test {
  MailDraft draft{"monitor@example.org", "admin@example.org", "Hello", {}, 0};
  MailMessage message;

  MailHeaders() { draft.now = {MakeDay(2026, 3, 5)->n * kSecondsPerDay + 12 * 3600 + 34 * 60 + 56}; }
  // The one header of this name, without the name.
  std::string Header(const std::string& name) {
    EXPECT_TRUE(WriteMailHeaders(draft, message).ok());
    Texts found;
    for (const std::string& header : message.headers) {
      if (StartsWith(header, name + ": ")) found.push_back(header.substr(name.size() + 2));
    }
    EXPECT_EQ(found.size(), 1u) << name;
    return found.empty() ? "" : found[0];
  }
  Texts Recipients(const std::string& to) {
    draft.to = to;
    EXPECT_TRUE(WriteMailHeaders(draft, message).ok()) << to;
    return message.recipients;
  }
  std::string From(const std::string& from) {
    draft.from = from;
    return Header("From");
  }
  std::string Subject(const std::string& subject) {
    draft.subject = subject;
    return Header("Subject");
  }
};

TEST_F(MailHeaders, APlainMail) {
  message.body = "kept";
  EXPECT_EQ(Header("Date"), "Thu, 05 Mar 2026 12:34:56 +0000");
  EXPECT_EQ(Header("From"), "monitor@example.org");
  EXPECT_EQ(Header("To"), "admin@example.org");
  EXPECT_EQ(Header("Subject"), "Hello");
  EXPECT_EQ(Header("Auto-Submitted"), "auto-generated");
  EXPECT_EQ(message.headers.size(), 6u);
  EXPECT_EQ(message.sender, "monitor@example.org");
  EXPECT_EQ(message.recipients, Texts{"admin@example.org"});
  EXPECT_EQ(message.body, "kept");
}

TEST_F(MailHeaders, DatesTellTheirZone) {
  draft.utc_offset = 5 * 3600 + 30 * 60;
  EXPECT_EQ(Header("Date"), "Thu, 05 Mar 2026 12:34:56 +0530");
  draft.utc_offset = -(3 * 3600 + 30 * 60);
  EXPECT_EQ(Header("Date"), "Thu, 05 Mar 2026 12:34:56 -0330");
  draft.now = {MakeDay(2000, 2, 29)->n * kSecondsPerDay};
  draft.utc_offset = 0;
  EXPECT_EQ(Header("Date"), "Tue, 29 Feb 2000 00:00:00 +0000");
}

TEST_F(MailHeaders, EachMessageHasItsOwnId) {
  const std::string first = Header("Message-ID"), second = Header("Message-ID");
  EXPECT_NE(first, second);
  EXPECT_TRUE(StartsWith(first, "<") && first.ends_with("@example.org>")) << first;
  draft.from = "root";
  EXPECT_TRUE(Header("Message-ID").ends_with("@localhost>"));
  draft.from =
      "x@b\xC3\xBC"
      "cher.example";
  EXPECT_TRUE(Header("Message-ID").ends_with("@localhost>"));
}

TEST_F(MailHeaders, RecipientsAsPeopleWriteThem) {
  EXPECT_EQ(Recipients(" a@x ,, b@x,\t,c@x , "), (Texts{"a@x", "b@x", "c@x"}));
  EXPECT_EQ(Recipients("a@x; b@x"), (Texts{"a@x", "b@x"}));
  EXPECT_EQ(Recipients("a@x, b@x, a@x, a@X, A@x"), (Texts{"a@x", "b@x", "A@x"}));
  EXPECT_EQ(Recipients("Ann <a@x>, \"Smith, John\" < j@x >, <c@x>, root"), (Texts{"a@x", "j@x", "c@x", "root"}));
  EXPECT_EQ(Recipients("user@[192.0.2.1]"), Texts{"user@[192.0.2.1]"});
}

TEST_F(MailHeaders, AListMayBeginWithAQuotedComma) {
  EXPECT_EQ(Recipients("\"Smith, John\" <j@x>, a@x"), (Texts{"j@x", "a@x"}));
  EXPECT_EQ(Header("To"), "\"Smith, John\" <j@x>, a@x");
  EXPECT_EQ(Recipients("\",\" <j@x>; a@x"), (Texts{"j@x", "a@x"}));
  EXPECT_EQ(Header("To"), "\",\" <j@x>, a@x");
  EXPECT_EQ(Recipients("\"a\\\",b@x\" <j@x>, a@x"), (Texts{"j@x", "a@x"})) << "an escaped quote does not end it";
  EXPECT_EQ(Recipients("\",a@x, b@x"), (Texts{"a@x", "b@x"})) << "a quote that nothing closes";
}

TEST_F(MailHeaders, WhatCanBeNoAddressIsLeftOut) {
  for (const char* bad : {"john smith@x", "Ann <a b@x>", "a@x b@x", "<a@x", "<a@x> z", "a@x>", "@x", "a@", "<>",
                          "\"a\"@x", "a@x (Ann)", "a\\b@x"}) {
    EXPECT_EQ(Recipients(std::string(bad) + ", good@x"), Texts{"good@x"}) << bad;
  }
  EXPECT_EQ(Recipients("good@x, \"Ann <a@x>, b@x"), (Texts{"good@x", "a@x", "b@x"})) << "a quote that nothing closes";
  EXPECT_EQ(Recipients(std::string(kMaxMailAddress + 1, 'a') + ",b"), Texts{"b"});
  EXPECT_EQ(Recipients("good@x, \"Ann <a@x>, b@x"), (Texts{"good@x", "a@x", "b@x"})) << "a quote that nothing closes";
  EXPECT_EQ(Recipients(std::string(kMaxMailAddress, 'a')).size(), 1u);
}

TEST_F(MailHeaders, NoRecipientIsAFailureAndLeavesTheMessage) {
  message.sender = "before";
  for (const char* none : {"", " , ,", "a b", "\r\n"}) {
    draft.to = none;
    const Status status = WriteMailHeaders(draft, message);
    EXPECT_EQ(status.fail, Fail::kBadData) << none;
    EXPECT_TRUE(StartsWith(status.text, "The mail has no recipient")) << status.text;
  }
  draft.to = "a b";
  EXPECT_EQ(WriteMailHeaders(draft, message).text, "The mail has no recipient: no address in 'a b'");
  EXPECT_EQ(message.sender, "before");
}

TEST_F(MailHeaders, ToHoldsAllOfThem) {
  draft.to = "a@x,Ann Smith <b@x>, \"Smith, John\" <c@x>, \"a \\\"b\\\"\" <d@x>, J\xC3\xB6rg <e@x>";
  EXPECT_EQ(Header("To"), "a@x, Ann Smith <b@x>, \"Smith, John\" <c@x>, \"a \\\"b\\\"\" <d@x>, " +
                              EncodedWords("J\xC3\xB6rg") + " <e@x>");
}

TEST_F(MailHeaders, HundredsOfRecipientsFold) {
  draft.to.clear();
  for (int i = 0; i < 500; ++i) draft.to += "user" + std::to_string(i) + "@mail.example.org,";
  const std::string folded = FoldedHeader("To: " + Header("To"));
  EXPECT_EQ(message.recipients.size(), 500u);
  size_t lines = 0;
  for (size_t at = 0; at < folded.size(); ++lines) {
    const size_t end = folded.find("\r\n", at);
    EXPECT_LE(end - at, 76u);
    at = end + 2;
  }
  EXPECT_GE(lines, 166u);
}

TEST_F(MailHeaders, Senders) {
  EXPECT_EQ(From("  Web Monitor  <m@x> "), "Web Monitor <m@x>");
  EXPECT_EQ(message.sender, "m@x");
  draft.to = "Ann <first@x>, second@x";
  for (const char* none : {"", "   ", "Web Monitor", "Web <a b@x>"}) {
    EXPECT_EQ(From(none), "Ann <first@x>") << none;
    EXPECT_EQ(message.sender, "first@x");
  }
}

TEST_F(MailHeaders, TextsBeyondAsciiAreEncoded) {
  EXPECT_EQ(Subject("caf\xC3\xA9"), "=?UTF-8?B?Y2Fmw6k=?=");
  EXPECT_EQ(Subject("caf\xE9"), "=?UTF-8?B?Y2Fmw6k=?=");
  EXPECT_EQ(From("M\xFCller <m@x>"), EncodedWords("M\xC3\xBCller") + " <m@x>");
  EXPECT_EQ(Subject("=?UTF-8?B?Y2Fmw6k=?="), EncodedWords("=?UTF-8?B?Y2Fmw6k=?="));
  EXPECT_EQ(Subject(std::string(61, 'x')), EncodedWords(std::string(61, 'x')));
  EXPECT_EQ(Subject(std::string(60, 'x')), std::string(60, 'x'));
  EXPECT_EQ(Subject("a" + std::string(2'000, ' ') + "b"), EncodedWords("a" + std::string(2'000, ' ') + "b"));
}

TEST_F(MailHeaders, EncodedLinesStayWithin76) {
  std::string subject;
  for (int i = 0; i < 200; ++i) subject += i % 3 == 0 ? "\xE2\x82\xAC" : "\xC3\xA9";
  const std::string folded = FoldedHeader("Subject: " + Subject(subject));
  for (size_t at = 0; at < folded.size();) {
    const size_t end = folded.find("\r\n", at);
    EXPECT_LE(end - at, 76u);
    at = end + 2;
  }
}

TEST_F(MailHeaders, NothingBreaksOutOfItsLine) {
  EXPECT_EQ(Subject("a\r\nBcc: evil@x\r\n\r\nbody"), "a  Bcc: evil@x    body");
  EXPECT_EQ(Subject(std::string("a\0b\x7F"
                                "c\td",
                                7)),
            "a b c d");
  EXPECT_EQ(Subject("\r\n"), "");
  // U+0085 ends lines for some readers.
  EXPECT_EQ(Subject("a\xC2\x85"
                    "b"),
            "a b");
  EXPECT_EQ(From("Ann\r\nBcc: evil@x <m@x>"), "\"Ann  Bcc: evil@x\" <m@x>");
  EXPECT_EQ(From("m@x\r\nRCPT TO:evil@x"), "admin@example.org") << "no longer an address";
  EXPECT_EQ(Recipients("a@x\r\nRCPT TO:<evil@x>, b@x\n"), (Texts{"evil@x", "b@x"})) << "a name and its address";
  EXPECT_EQ(Header("To"), "\"a@x  RCPT TO:\" <evil@x>, b@x");
  EXPECT_EQ(Recipients("a@x> NOTIFY=NEVER, b@x"), Texts{"b@x"});
}

}  // namespace
}  // namespace vantry
