// What a gzip file unpacks to, read as a log.
#include "platform/unpacked_log.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include "platform/posix_files.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

std::string Gzip(const std::string& text) {
  z_stream stream{};
  EXPECT_EQ(::deflateInit2(&stream, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string packed(::deflateBound(&stream, text.size()) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(::deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.erase(stream.total_out);
  ::deflateEnd(&stream);
  return packed;
}

std::string Lines(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += "line " + std::to_string(i * 7919) + "\n";
  return text;
}

struct UnpackedLogTest : ::testing::Test {
  TempFolder temp;
  PosixFiles files;
  std::unique_ptr<LogFile> log;

  void Pack(const std::string& bytes) {
    const std::string path = temp.path + "a.gz";
    ASSERT_TRUE(files.Replace(path, bytes).ok());
    ASSERT_TRUE(files.OpenUnpacked(path, log).ok());
  }
  std::string ReadFrom(int64_t position, size_t piece) {
    std::string text, buffer(piece, '\0');
    for (size_t count = 1; count > 0;) {
      EXPECT_TRUE(log->ReadAt(position, std::span<char>(buffer), count).ok());
      text.append(buffer, 0, count);
      position += static_cast<int64_t>(count);
    }
    return text;
  }
};

TEST_F(UnpackedLogTest, GivesItsContentFromAnyPlaceInAnyPieces) {
  const std::string text = Lines(30'000);
  Pack(Gzip(text));
  for (const size_t piece : {7'000, 300'000}) {
    EXPECT_EQ(ReadFrom(0, piece), text);
    EXPECT_EQ(ReadFrom(200'000, piece), text.substr(200'000));
    EXPECT_EQ(ReadFrom(5, piece), text.substr(5)) << "backwards";
  }
  EXPECT_EQ(ReadFrom(static_cast<int64_t>(text.size()) + 10, 100), "");
  FileLook look;
  ASSERT_TRUE(log->Look(look).ok());
  EXPECT_EQ(look.size_bytes, static_cast<int64_t>(text.size()));
}

TEST_F(UnpackedLogTest, MembersAfterEachOtherAreOneContent) {
  Pack(Gzip("one\n") + Gzip("two\n") + Gzip(""));
  EXPECT_EQ(ReadFrom(0, 100), "one\ntwo\n");
  EXPECT_EQ(ReadFrom(0, 1), "one\ntwo\n");
}

TEST_F(UnpackedLogTest, DamageEndsItWhereItBegins) {
  const std::string text = Lines(20'000), packed = Gzip(text);
  for (const size_t size : {size_t{0}, size_t{1}, size_t{12}, packed.size() / 2, packed.size() - 1}) {
    Pack(packed.substr(0, size));
    const std::string got = ReadFrom(0, 10'000);
    EXPECT_EQ(got, text.substr(0, got.size())) << size;
  }
  Pack(Gzip("one\n") + "no gzip at all");
  EXPECT_EQ(ReadFrom(0, 100), "one\n");
  Pack("plain text\n");
  EXPECT_EQ(ReadFrom(0, 100), "");
}

TEST_F(UnpackedLogTest, WhatIsNoPlainFileIsRefused) {
  EXPECT_EQ(files.OpenUnpacked(temp.path + "none", log).fail, Fail::kNotFound);
  EXPECT_EQ(files.OpenUnpacked(temp.path, log).fail, Fail::kIo);
}

}  // namespace
}  // namespace vantry
