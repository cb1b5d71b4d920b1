#include "logs/line_reader.h"

#include <random>

#include <gtest/gtest.h>

#include "support/memory_files.h"

namespace vantry {
namespace {

struct Opened {
  MemoryFiles files;
  std::unique_ptr<LogFile> file;
  std::vector<char> buffer;
  explicit Opened(std::string bytes) {
    files.Put("/log", std::move(bytes));
    EXPECT_TRUE(files.OpenLog("/log", file).ok());
  }
};

// Lines with the place after each, and "END" for the line at which the file is at its end.
std::vector<std::string> Read(const std::string& bytes, bool unix_lines, int64_t start = 0) {
  Opened o(bytes);
  LineReader reader(*o.file, unix_lines, start, o.buffer);
  std::vector<std::string> lines;
  while (reader.Next()) {
    const bool end = reader.AtEnd();
    lines.push_back(std::string(reader.Line()) + "|" + std::to_string(reader.Position()) + (end ? "|END" : ""));
  }
  EXPECT_TRUE(reader.Error().ok());
  return lines;
}

struct LineCase {
  std::string_view name;
  std::string bytes;
  bool unix_lines;
  std::vector<std::string> lines;
};

TEST(LineReader, CutsLines) {
  const std::vector<LineCase> cases = {
      {"empty file", "", false, {}},
      {"CR LF", "a\r\nbc\r\n", false, {"a|3", "bc|7|END"}},
      {"LF", "a\nbc\n", false, {"a|2", "bc|5|END"}},
      {"lone CR", "a\rbc\r", false, {"a|2", "bc|5|END"}},
      {"mixed", "a\rb\nc\r\nd", false, {"a|2", "b|4", "c|7", "d|8|END"}},
      {"CR then LF LF", "a\r\n\nb", false, {"a|3", "|4", "b|5|END"}},
      {"no end at the end", "a\nb", false, {"a|2", "b|3|END"}},
      {"half a line end at the end", "a\r\nb\r", false, {"a|3", "b|5|END"}},
      {"only line ends", "\n\n", false, {"|1", "|2|END"}},
      {"Unix keeps CR", "a\rb\r\nc\n", true, {"a\rb\r|5", "c|7|END"}},
      {"NUL and bytes above 127", std::string("a\0b\xff\nc", 6), false, {std::string("a\0b\xff|5", 6), "c|6|END"}},
  };
  for (const LineCase& c : cases) EXPECT_EQ(Read(c.bytes, c.unix_lines), c.lines) << c.name;
}

TEST(LineReader, HasAnEmptyLineWhenTheFileHasNone) {
  Opened o("");
  LineReader reader(*o.file, true, 0, o.buffer);
  EXPECT_FALSE(reader.Next());
  EXPECT_EQ(reader.Line(), "");
  EXPECT_TRUE(reader.AtEnd());
}

TEST(LineReader, StartsAtAPlaceInsideTheFile) {
  EXPECT_EQ(Read("one\ntwo\n", true, 4), std::vector<std::string>{"two|8|END"});
  EXPECT_TRUE(Read("one\n", true, 4).empty());
  EXPECT_TRUE(Read("one\n", true, 40).empty());
}

TEST(LineReader, LongLineCountsWithItsStartAndTheNextOneIsWhole) {
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    for (const size_t size :
         {LineReader::kMaxLine - 1, LineReader::kMaxLine, LineReader::kMaxLine + 1, LineReader::kBlock - 1,
          LineReader::kBlock, LineReader::kBlock + LineReader::kMaxLine + 2, size_t{20'000'000}}) {
      Opened o("first\n" + std::string(size, 'x') + end + "last");
      LineReader reader(*o.file, false, 0, o.buffer);
      ASSERT_TRUE(reader.Next());
      ASSERT_TRUE(reader.Next());
      EXPECT_FALSE(reader.AtEnd());
      EXPECT_EQ(reader.Line().size(), std::min(size, LineReader::kMaxLine));
      EXPECT_EQ(reader.Position(), static_cast<int64_t>(6 + size + end.size()));
      ASSERT_TRUE(reader.Next());
      EXPECT_EQ(reader.Line(), "last");
      EXPECT_TRUE(reader.AtEnd());
      EXPECT_LE(o.buffer.size(), LineReader::kBlock + LineReader::kMaxLine + 2);
    }
  }
}

TEST(LineReader, LineWithoutAnEndIsTheLastWhateverIsAddedMeanwhile) {
  Opened o("a\nhalf");
  int reads = 0;
  o.files.fails = [&](const std::string& call) {
    // After the block, and after the read that found nothing more.
    if (call == "readat /log" && ++reads >= 3) o.files.entries["/log"]->bytes += " whole\nc\n";
    return false;
  };
  LineReader reader(*o.file, true, 0, o.buffer);
  ASSERT_TRUE(reader.Next());
  EXPECT_FALSE(reader.AtEnd());
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.Line(), "half");
  o.files.entries["/log"]->bytes += " whole\nc\n";
  EXPECT_TRUE(reader.AtEnd());
  EXPECT_EQ(reader.Line(), "half");
  EXPECT_FALSE(reader.Next());
  EXPECT_TRUE(reader.Error().ok());
  EXPECT_EQ(reads, 2);
}

TEST(LineReader, SeesWhatIsAddedBeforeItsLastLook) {
  Opened o("a\n");
  int reads = 0;
  o.files.fails = [&](const std::string& call) {
    if (call == "readat /log" && ++reads == 2) o.files.entries["/log"]->bytes += "b";
    return false;
  };
  LineReader reader(*o.file, false, 0, o.buffer);
  ASSERT_TRUE(reader.Next());
  EXPECT_FALSE(reader.AtEnd());
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.Line(), "b");
  EXPECT_TRUE(reader.AtEnd());
}

// Reads the line at `start` in blocks of 256 characters, each filled with blanks before.
std::string LineOfBlocks(const std::string& bytes, size_t start) {
  std::string line;
  for (size_t at = start; at < bytes.size(); at += 256) {
    std::string block(256, ' ');
    bytes.copy(block.data(), 256, at);
    const size_t end = block.find('\n');
    line += block.substr(0, end);
    if (end != std::string::npos) break;
  }
  return line;
}

TEST(LineReader, FilledLineIsTheOneThatBlocksGive) {
  for (const std::string before : {"", "x\n", "0123456789\n"}) {
    for (const size_t size : {0, 1, 11, 255, 256, 257, 511, 512, 513, 65'535, 65'536}) {
      for (const std::string end : {"", "\n", "\r\n"}) {
        const std::string bytes = before + std::string(size, 'y') + end;
        if (size + end.size() == 0) continue;
        Opened o(bytes);
        LineReader reader(*o.file, true, static_cast<int64_t>(before.size()), o.buffer);
        ASSERT_TRUE(reader.Next());
        EXPECT_TRUE(reader.AtEnd());
        EXPECT_EQ(reader.FilledLine(), LineOfBlocks(bytes, before.size()).substr(0, LineReader::kMaxLine)) << size;
      }
    }
  }
}

TEST(LineReader, OnlyUnixLinesAreFilled) {
  Opened o("half");
  LineReader reader(*o.file, false, 0, o.buffer);
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.FilledLine(), "half");
}

TEST(LineReader, FailureIsToldAndEndsTheReading) {
  Opened o("a\nb\n");
  o.files.fails = [](const std::string& call) { return call == "readat /log"; };
  LineReader reader(*o.file, false, 0, o.buffer);
  EXPECT_FALSE(reader.Next());
  EXPECT_EQ(reader.Error().text, "/log: Input/output error");
}

// Against the plain definition of a line, over random texts that are cut by the ends of blocks.
TEST(LineReader, AgreesWithAPlainSplitOnRandomTexts) {
  std::mt19937 random(11);
  for (int round = 0; round < 20; ++round) {
    std::string bytes;
    while (bytes.size() < 700'000) {
      bytes.append(random() % 3 == 0 ? random() % 70'000 : random() % 300, 'y');
      const char* const ends[] = {"\n", "\r\n", "\r", "\n\r"};
      bytes += ends[random() % 4];
    }
    std::vector<std::string> expected;
    for (size_t at = 0; at < bytes.size();) {
      const size_t end = bytes.find_first_of("\r\n", at);
      expected.push_back(bytes.substr(at, std::min(end - at, LineReader::kMaxLine)));
      at = end + (bytes[end] == '\r' && end + 1 < bytes.size() && bytes[end + 1] == '\n' ? 2 : 1);
    }
    Opened o(bytes);
    LineReader reader(*o.file, false, 0, o.buffer);
    size_t n = 0;
    while (reader.Next()) {
      ASSERT_LT(n, expected.size());
      ASSERT_EQ(reader.Line(), expected[n]) << "line " << n;
      ++n;
    }
    EXPECT_EQ(n, expected.size());
  }
}

}  // namespace
}  // namespace vantry
