#include "platform/ftp_text.h"

#include <gtest/gtest.h>

#include "platform/ftp_dialogue.h"

namespace vantry {
namespace {

const WallTime kNow{MakeDay(2026, 3, 5)->n * kSecondsPerDay + 12 * 3600};

std::string Parsed(const std::string& line) {
  const auto entry = ParseFtpListLine(line, kNow);
  if (!entry) return "-";
  return entry->name + "|" + std::to_string(entry->size_bytes) + "|" + entry->time_text +
         (entry->is_folder ? "|folder" : "") + (entry->is_link ? "|link" : "");
}

TEST(FtpListLine, ReadsTheFormsOfUnixAndMsDos) {
  const std::pair<const char*, const char*> cases[] = {
      {"-rw-r--r--   1 owner group        1234 Jan 15 03:04 access.log", "access.log|1234|01-15-26 03:04"},
      {"-rw-r--r-- 1 0 0 5 Jan 15 2002 old.log\r", "old.log|5|01-15-02 00:00"},
      {"-rw-r--r--+ 1 www-data adm 5 Mar  6 01:00 a b.log", "a b.log|5|03-06-26 01:00"},
      {"-rw-r--r-- 1 o g 5 Dec 31 23:59 last year.log", "last year.log|5|12-31-25 23:59"},
      {"-rw-r--r-- 1 o g 5 Jan 15 2000 y.log", "y.log|5|15 Jan 2000 00:00"},
      {"-rw-r--r-- 1 o g 5 Jan 15 2031 y.log", "y.log|5|15 Jan 2031 00:00"},
      {"-rw-r--r-- 1 o g 5 15 Jan 03:04 day first.log", "day first.log|5|01-15-26 03:04"},
      {"-rw-r--r-- 1 owner 5 Jan 15 03:04 no group", "no group|5|01-15-26 03:04"},
      {"-rw------- 1 domain users 77 5 Jan 15 03:04 two words", "two words|5|01-15-26 03:04"},
      {"-rw-r--r-- 1 o g 5 Jan 15 03:04  blank in front", " blank in front|5|01-15-26 03:04"},
      {"drwxr-xr-x 2 o g 4096 Jan 15 03:04 logs", "logs|4096|01-15-26 03:04|folder"},
      {"lrwxrwxrwx 1 o g 9 Jan 15 03:04 now.log -> x/1.log", "now.log|9|01-15-26 03:04|link"},
      {"-rw-r--r-- 1 o g 99999999999999999999 Jan 15 03:04 huge", "huge|9223372036854775807|01-15-26 03:04"},
      {"01-15-02  03:04PM                 1234 access.log", "access.log|1234|01-15-02 03:04PM"},
      {"01-15-00  03:04PM                 1234 a b.log", "a b.log|1234|01-15-00 03:04PM"},
      {"01-15-2002  03:04PM               1234 access.log", "access.log|1234|01-15-02 03:04PM"},
      {"01-15-02  15:04       <DIR>          logs", "logs|0|01-15-02 15:04|folder"},
  };
  for (const auto& [line, entry] : cases) EXPECT_EQ(Parsed(line), entry) << line;
}

TEST(FtpListLine, SkipsWhatItCantRead) {
  for (const char* line : {"",
                           "total 12",
                           "-rw-r--r--",
                           "-rw-r--r-- 1 o g 5 Jan 15 03:04",
                           "-rw-r--r-- 1 o g 5 Jan 15 03:04 ",
                           "-rw-r--r-- 1 o g 5 Jan 15 03:04 ..",
                           "drwxr-xr-x 1 o g 5 Jan 15 03:04 .",
                           "-rw-r--r-- 1 o g 5 Foo 15 03:04 x",
                           "-rw-r--r-- 1 o g 5 Feb 30 03:04 x",
                           "-rw-r--r-- 1 o g 5 Jan 15 25:04 x",
                           "-rw-r--r-- 1 o g x Jan 15 03:04 x",
                           "-rw-r--r-- 1 o g 5 Jan 15 03:04 ../../etc/passwd",
                           "-rw-r--r-- 1 o g 5 Jan 15 03:04 a\rDELE b",
                           "xrw-r--r-- 1 o g 5 Jan 15 03:04 x",
                           "13-15-02  03:04PM  1234 x",
                           "01-15-02  03:04PM  size x",
                           "01-15-02  soon  1234 x",
                           "01-15-02  03:04PM  1234",
                           "+i8388621.29609,m824255902,/,\tdev",
                           "12345678901234567890"}) {
    EXPECT_EQ(Parsed(line), "-") << line;
  }
  EXPECT_EQ(Parsed(std::string(100'000, '1')), "-");
}

TEST(FtpServer, HasFourForms) {
  const auto read = [](const std::string& text) {
    FtpServer server;
    if (!ReadFtpServer(text, server).ok()) return std::string("-");
    constexpr std::string_view kKinds[] = {"plain ", "implicit ", "explicit ", "ssh "};
    return std::string(kKinds[static_cast<int>(server.kind)]) + server.Place();
  };
  EXPECT_EQ(read("ftp.example"), "plain ftp.example:21");
  EXPECT_EQ(read(" 10.0.0.1:2121 "), "plain 10.0.0.1:2121");
  EXPECT_EQ(read("FTP://[::1]:2121/"), "plain [::1]:2121");
  EXPECT_EQ(read("ftps://ftp.example"), "implicit ftp.example:990");
  EXPECT_EQ(read("ftps://ftp.example:21"), "explicit ftp.example:21");
  EXPECT_EQ(read("ftpes://ftp.example:2121"), "explicit ftp.example:2121");
  EXPECT_EQ(read("sftp://ftp.example"), "ssh ftp.example:22");
  for (const char* bad : {"", "a b", "http://x", "ftp://u@x", "x:0", "x:99999", "x/y", "x\r\nDELE y", "-x", "x%0a"}) {
    EXPECT_EQ(read(bad), "-") << bad;
  }
}

TEST(FtpUrl, HasNoByteThatEndsACommand) {
  FtpServer server;
  ASSERT_TRUE(ReadFtpServer("h", server).ok());
  EXPECT_EQ(FtpUrl(server, "", "a.log"), "ftp://h:21/a.log");
  EXPECT_EQ(FtpUrl(server, "logs/", "a b;type=a"), "ftp://h:21/logs/a%20b%3Btype%3Da");
  EXPECT_EQ(FtpUrl(server, "/var/log", "a.log"), "ftp://h:21/%2Fvar/log/a.log");
  EXPECT_EQ(FtpUrl(server, "/", "a.log"), "ftp://h:21/%2Fa.log");
  EXPECT_EQ(FtpUrl(server, "/x\r\nDELE y", "\n"), "ftp://h:21/%2Fx%0D%0ADELE%20y/%0A");
  EXPECT_FALSE(CanBeSaidInFtp("a\nb") || CanBeSaidInFtp("a\rb") || CanBeSaidInFtp(std::string_view("a\0b", 3)));
  EXPECT_TRUE(CanBeSaidInFtp("a b\xE4"));
  ASSERT_TRUE(ReadFtpServer("sftp://h", server).ok());
  EXPECT_EQ(FtpUrl(server, "logs", "a.log"), "sftp://h:22/~/logs/a.log");
  EXPECT_EQ(FtpUrl(server, "/var", "a.log"), "sftp://h:22/var/a.log");
}

TEST(FtpDialogue, KnowsWhichReplyBelongsToWhat) {
  FtpDialogue dialogue("s3cret");
  EXPECT_FALSE(dialogue.Received("220-Hello\r\n"));
  EXPECT_FALSE(dialogue.Received("331 inside\r\n")) << "a line of the same reply";
  EXPECT_TRUE(dialogue.Received("220 ready\r\n"));
  EXPECT_EQ(dialogue.Sent("PASS s3cret\r\n"), "PASS ***");
  EXPECT_EQ(dialogue.Code(), 0);
  EXPECT_TRUE(dialogue.Received("530 s3cret is wrong\r\n"));
  EXPECT_EQ(dialogue.Words(), "530 *** is wrong");
  (void)dialogue.Sent("SIZE a.log\r\n");
  EXPECT_TRUE(dialogue.Received("213 77\r\n"));
  (void)dialogue.Sent("REST 5\r\n");
  EXPECT_FALSE(dialogue.Received("no code\r\n"));
  EXPECT_EQ(dialogue.SizeReply(), "213 77");
  EXPECT_EQ(dialogue.SizeCode(), 213);
  EXPECT_EQ(dialogue.Shown("500 a\tb" + std::string(1'000'000, 'x') + "\n").size(), 200u);
}

}  // namespace
}  // namespace vantry
