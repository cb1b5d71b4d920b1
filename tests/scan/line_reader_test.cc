#include "scan/line_reader.h"

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

// Lines with the place behind each, and "END" for the line at which the file is at its end.
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

TEST(LineReader, SeesWhatIsAddedWhileItReads) {
  Opened o("a\nb");
  LineReader reader(*o.file, false, 0, o.buffer);
  ASSERT_TRUE(reader.Next());
  ASSERT_TRUE(reader.Next());
  EXPECT_TRUE(reader.AtEnd());
  o.files.entries["/log"]->bytes += "\nc\n";
  EXPECT_FALSE(reader.AtEnd());
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
