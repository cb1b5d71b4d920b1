#include "platform/mail_text.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "core/text_encoding.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

struct MailTextTest : ::testing::Test {
  TempFolder folder;
  MailMessage message;

  MailTextTest() {
    message.headers = {"Subject: Hello"};
    message.attachment = folder.path + "log.txt";
  }
  void Write(const std::string& bytes) { std::ofstream(message.attachment, std::ios::binary) << bytes; }
  // What is left of the text, asked for in pieces of this size.
  static std::string Rest(MailText& text, size_t piece) {
    std::string whole, bytes(piece, '\0');
    for (ssize_t count = 1; count > 0;) {
      count = text.Read(bytes.data(), piece);
      EXPECT_GE(count, 0);
      if (count > 0) whole.append(bytes, 0, static_cast<size_t>(count));
    }
    return whole;
  }
  static std::string Lines(const std::string& bytes) {
    std::string out;
    for (size_t at = 0; at < bytes.size(); at += 57) out += Base64(bytes.substr(at, 57)) + "\r\n";
    return out;
  }
};

TEST_F(MailTextTest, PiecesOfAnySizeMakeTheSameText) {
  std::string bytes;
  for (int i = 0; i < 100'000; ++i) bytes += static_cast<char>(i * 7 + i / 251);
  Write(bytes);
  MailText text;
  ASSERT_TRUE(text.Open(message).ok());
  const std::string whole = Rest(text, 1'000'000);
  EXPECT_TRUE(whole.ends_with("\r\n\r\n" + Lines(bytes) + "--=_vantry_part--\r\n"));
  for (const size_t piece : {1u, 57u, 76u, 16'384u}) {
    MailText again;
    ASSERT_TRUE(again.Open(message).ok());
    EXPECT_EQ(Rest(again, piece), whole) << piece;
  }
}

TEST_F(MailTextTest, AnAttachmentThatTheMailHoldsIsNotReadFromItsFile) {
  for (const std::string& held : {std::string(), std::string("of then"), std::string(100'000, 'x')}) {
    Write("of now");
    message.attached = held;
    MailText text;
    ASSERT_TRUE(text.Open(message).ok());
    std::filesystem::remove(message.attachment);
    const std::string whole = Rest(text, 4'096);
    EXPECT_TRUE(whole.ends_with("\r\n\r\n" + Lines(held) + "--=_vantry_part--\r\n"));
    EXPECT_NE(whole.find("filename=\"log.txt\""), std::string::npos);
    MailText again;
    EXPECT_TRUE(again.Open(message).ok()) << "the file need not be there";
  }
}

TEST_F(MailTextTest, AFileThatGrowsIsSentAsItWas) {
  Write("before");
  MailText text;
  ASSERT_TRUE(text.Open(message).ok());
  std::ofstream(message.attachment, std::ios::app) << "later";
  EXPECT_TRUE(Rest(text, 4'096).ends_with("\r\n\r\n" + Lines("before") + "--=_vantry_part--\r\n"));
}

TEST_F(MailTextTest, AFileThatIsCutIsSentAsFarAsItGoes) {
  Write(std::string(100'000, 'x'));
  MailText text;
  ASSERT_TRUE(text.Open(message).ok());
  std::filesystem::resize_file(message.attachment, 10);
  EXPECT_TRUE(Rest(text, 4'096).ends_with("\r\n\r\n" + Lines("xxxxxxxxxx") + "--=_vantry_part--\r\n"));
}

TEST_F(MailTextTest, AFileThatIsRemovedMeanwhileIsSentAllTheSame) {
  Write("still there");
  MailText text;
  ASSERT_TRUE(text.Open(message).ok());
  std::filesystem::remove(message.attachment);
  EXPECT_TRUE(Rest(text, 4'096).ends_with(Lines("still there") + "--=_vantry_part--\r\n"));
}

TEST_F(MailTextTest, TypesByTheEndOfTheName) {
  struct Row {
    const char* name;
    const char* type;
  };
  for (const Row& row : {Row{"a.htm", "text/html"},
                         {"a.HTML", "text/html"},
                         {"a.txt", "text/plain"},
                         {"a.zip", "application/zip"},
                         {"a", "application/octet-stream"}}) {
    message.attachment = folder.path + row.name;
    Write("x");
    MailText text;
    ASSERT_TRUE(text.Open(message).ok());
    EXPECT_NE(Rest(text, 4'096).find(std::string("Content-Type: ") + row.type + ";\r\n name=\"" + row.name + "\"\r\n"),
              std::string::npos);
  }
}

}  // namespace
}  // namespace vantry
