// The rows of a window on the history and their order, step by step.
#include "desktop/history_model.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/text.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;

struct MadeRow {
  std::string name;
  int64_t count = 0;
};

// All rows are there after the first step.
class MadeList final : public HistoryList {
 public:
  explicit MadeList(std::vector<MadeRow> rows)
      : HistoryList(ParseColumns("Name |>Count", {{"name"}, {"count", CellKind::kNumber}}), "Made"),
        rows_(std::move(rows)) {}
  Status Step(size_t) override {
    for (const MadeRow& row : rows_) Add({std::string_view(row.name), row.count});
    ended_ = true;
    return Status::Ok();
  }
  bool Ended() const override { return ended_; }

 private:
  std::vector<MadeRow> rows_;
  bool ended_ = false;
};

struct HistoryModelTest : ::testing::Test {
  static constexpr int kName = 0, kCount = 1;
  Regional regional;
  HistoryModel model{regional, nullptr};
  int resets = 0;

  HistoryModelTest() {
    QObject::connect(&model, &QAbstractItemModel::modelReset, &model, [this] { ++resets; });
  }
  // The number of steps.
  int ReadAll(size_t rows_a_step) {
    int steps = 0;
    for (; model.Wants(); ++steps) {
      EXPECT_TRUE(model.Step(rows_a_step).ok());
      if (steps > 1'000'000) throw std::runtime_error("the model never has enough");
    }
    return steps;
  }
  void Show(std::vector<MadeRow> rows) {
    model.Show(std::make_unique<MadeList>(std::move(rows)));
    model.Want();
    ReadAll(1000);
    resets = 0;
  }
  std::vector<size_t> Rows() const {
    std::vector<size_t> rows;
    for (int place = 0; place < model.rowCount(); ++place) rows.push_back(model.RowAt(place));
    return rows;
  }
};

std::vector<MadeRow> ManyRows(size_t count) {
  std::vector<MadeRow> rows;
  uint32_t random = 1;
  for (size_t i = 0; i < count; ++i) {
    random = random * 1'664'525 + 1'013'904'223;
    const char* site = random >> 20 & 1 ? "http://From" : "http://from";
    rows.push_back({site + std::to_string((random >> 8) % 97), int64_t{random >> 16} % 41 - 20});
  }
  return rows;
}

TEST_F(HistoryModelTest, EachStepSortsAFewRowsAndTheLastOneShowsThem) {
  const std::vector<MadeRow> rows = ManyRows(1000);
  for (const size_t step : {1, 7, 256, 100'000}) {
    for (const int column : {kName, kCount}) {
      for (const auto order : {Qt::AscendingOrder, Qt::DescendingOrder}) {
        Show(rows);
        model.sort(-1, Qt::AscendingOrder);
        ReadAll(step);
        resets = 0;
        std::vector<size_t> wanted(rows.size());
        std::iota(wanted.begin(), wanted.end(), size_t{0});
        const std::vector<size_t> before = wanted;
        std::stable_sort(wanted.begin(), wanted.end(), [&](size_t a, size_t b) {
          if (order == Qt::DescendingOrder) std::swap(a, b);
          return column == kCount ? rows[a].count < rows[b].count : Lower(rows[a].name) < Lower(rows[b].name);
        });
        model.sort(column, order);
        int steps = 0;
        for (; model.Wants(); ++steps) {
          ASSERT_EQ(Rows(), before) << "after " << steps << " steps";
          ASSERT_TRUE(model.IsSorting());
          ASSERT_TRUE(model.Step(step).ok());
          if (step == 1) steps += ReadAll(step);  // Looking at all rows each time takes too long.
        }
        EXPECT_EQ(Rows(), wanted);
        EXPECT_EQ(resets, 1);
        // A key for each row, runs of 16, then merges of two runs, of four ...
        EXPECT_GE(steps, static_cast<int>(7 * rows.size() / step));
        EXPECT_LE(steps, static_cast<int>(9 * rows.size() / step) + 1);
      }
    }
  }
}

TEST_F(HistoryModelTest, ItsOwnOrderComesBackInStepsToo) {
  Show(ManyRows(100));
  const std::vector<size_t> before = Rows();
  model.sort(kCount, Qt::DescendingOrder);
  ReadAll(10);
  ASSERT_NE(Rows(), before);
  model.sort(-1, Qt::AscendingOrder);
  EXPECT_NE(Rows(), before);
  EXPECT_GT(ReadAll(10), 10);
  EXPECT_EQ(Rows(), before);
}

TEST_F(HistoryModelTest, TextsThatBeginAlikeAreComparedToTheirEnds) {
  using std::string_literals::operator""s;
  Show({{"abcdefghij"}, {"ABCDEFGHI"}, {"abcdefgh"}, {"ab\0"s}, {"AB"}, {"abcdefg\xE9"}, {""}, {"ABCDEFGH"}});
  model.sort(kName, Qt::AscendingOrder);
  ReadAll(3);
  EXPECT_THAT(Rows(), ElementsAre(6, 4, 3, 2, 7, 1, 0, 5));
  model.sort(kName, Qt::DescendingOrder);
  ReadAll(3);
  EXPECT_THAT(Rows(), ElementsAre(5, 0, 1, 2, 7, 3, 4, 6));
}

TEST_F(HistoryModelTest, AStoppedSortLeavesTheRowsAsTheyWere) {
  Show(ManyRows(100));
  model.sort(kCount, Qt::DescendingOrder);
  ReadAll(10);
  const std::vector<size_t> before = Rows();
  model.sort(kName, Qt::AscendingOrder);
  ASSERT_TRUE(model.Step(10).ok());
  model.Stop();
  EXPECT_FALSE(model.Wants());
  EXPECT_EQ(Rows(), before);
  EXPECT_EQ(model.SortColumn(), kCount);
  EXPECT_EQ(model.SortOrder(), Qt::DescendingOrder);
}

TEST_F(HistoryModelTest, TheViewIsToldOfRowsAFewTimesAndOfAllInTheEnd) {
  int times = 0;
  QObject::connect(&model, &QAbstractItemModel::rowsInserted, &model, [&] { ++times; });
  model.Show(std::make_unique<MadeList>(ManyRows(10'000)));
  ASSERT_TRUE(model.Step(64).ok());
  EXPECT_EQ(model.rowCount(), 64) << "the first ones at once";
  ReadAll(64);
  EXPECT_EQ(model.rowCount(), 256) << "as far as was wanted";
  model.Want();
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(model.Step(10).ok());
  EXPECT_EQ(model.rowCount(), 256);
  model.Stop();
  EXPECT_EQ(model.rowCount(), 306) << "all that were seen";
  model.Want();
  ReadAll(10);
  EXPECT_EQ(model.rowCount(), 10'000);
  EXPECT_LT(times, 20);
}

TEST_F(HistoryModelTest, ARowlessOrShortListIsSortedAtOnce) {
  for (const size_t count : {0, 1, 16, 17}) {
    Show(ManyRows(count));
    model.sort(kCount, Qt::AscendingOrder);
    ReadAll(5);
    EXPECT_TRUE(model.InOrder());
    EXPECT_EQ(Rows().size(), count);
  }
}

}  // namespace
}  // namespace vantry
