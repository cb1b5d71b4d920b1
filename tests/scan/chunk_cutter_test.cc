#include "scan/chunk_cutter.h"

#include <gtest/gtest.h>

#include "logs/line_reader.h"
#include "scan/remote_logs.h"

namespace vantry {
namespace {

struct Cut {
  int64_t count;
  std::string chunk;
  bool operator==(const Cut&) const = default;
};

struct CutterTest : ::testing::Test {
  ChunkCutter cutter;
  int64_t position = 100;
  std::vector<Cut> cuts;

  CutterTest() { cutter.Begin(); }
  ChunkCutter::Sink Sink() {
    return [this](int64_t count, std::string_view chunk) { cuts.push_back({count, std::string(chunk)}); };
  }
  std::vector<Cut> Feed(std::string_view bytes) {
    cuts.clear();
    position += static_cast<int64_t>(bytes.size());
    cutter.Feed(position, bytes, Sink());
    return cuts;
  }
  static std::string Whole(const std::string& text) { return text + '\0'; }
};

TEST_F(CutterTest, EndsAChunkAtItsLastLineEnd) {
  EXPECT_EQ(Feed("one\ntwo\nha"), (std::vector<Cut>{{108, Whole("one\ntwo\n")}}));
  EXPECT_EQ(Feed("l"), std::vector<Cut>{});
  EXPECT_EQ(Feed("f\n"), (std::vector<Cut>{{113, Whole("half\n")}}));
}

TEST_F(CutterTest, DoesNotTakeTheOtherHalfOfALineEndForABlankLine) {
  EXPECT_EQ(Feed("one\r"), (std::vector<Cut>{{104, Whole("one\r")}}));
  EXPECT_EQ(Feed("\n"), std::vector<Cut>{});
  EXPECT_EQ(Feed("\ntwo\r\n"), (std::vector<Cut>{{111, Whole("two\r\n")}}));
}

TEST_F(CutterTest, LeavesBlankLinesOut) {
  EXPECT_EQ(Feed("\r\n\r\none\r\n\r\n\r\ntwo\n\n\n"), (std::vector<Cut>{{119, Whole("one\r\ntwo\n\n")}}));
}

TEST_F(CutterTest, GivesHalfALineAtTheEndWithoutANul) {
  (void)Feed("one\nha");
  cuts.clear();
  cutter.Finish(Sink());
  EXPECT_EQ(cuts, (std::vector<Cut>{{106, "ha"}}));
  cuts.clear();
  cutter.Finish(Sink());
  EXPECT_TRUE(cuts.empty());
}

TEST_F(CutterTest, KeepsTheBeginningOfAnEndlessLine) {
  const std::string block(50'000, 'x');
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(Feed(block).empty());
  const auto last = Feed("\nnext\n");
  ASSERT_EQ(last.size(), 1u);
  EXPECT_EQ(last[0].chunk, Whole(std::string(LineReader::kMaxLine, 'x') + "\nnext\n"));
  EXPECT_EQ(last[0].count, position);
}

}  // namespace
}  // namespace vantry
