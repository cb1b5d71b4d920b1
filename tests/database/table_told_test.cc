// What a table tells of its own writing, between two flushes: failures, each once, and nothing else.
#include <gtest/gtest.h>

#include "support/table_rig.h"

namespace vantry {
namespace {

struct TableTold : ::testing::Test {
  TableRig rig;
  int64_t broken = -2;  // How the disk breaks a write of the table; see MemoryDataFiles::breaks.
  int written = 0;

  TableTold() {
    EXPECT_EQ(rig.Start(), Table::kOk);
    rig.disk.breaks = [this](const std::string& call) {
      if (!call.starts_with("write /T.DBF")) return int64_t{-2};
      ++written;
      return broken;
    };
  }
  void AddMegabytes(size_t mb) {
    const size_t rows = (mb << 20) / 39 + 1;  // Of this many bytes each.
    for (size_t i = 0; i < rows; ++i) ASSERT_EQ(rig.Add(std::to_string(added_++)), Table::kOk);
  }
  void ChangeRows(size_t count) {
    for (size_t i = 0; i < count; ++i) {
      ASSERT_EQ(rig.Find(std::to_string(i)), Table::kOk);
      rig.T().SetNumber(TableRig::kHits, 7);
      ASSERT_EQ(rig.T().Update(), Table::kOk);
    }
  }

 private:
  int added_ = 0;
};

const char* const kFull = "/T.DBF: No space left on device. What was not written waits in memory and is tried again.";

TEST_F(TableTold, RowsThatAreWrittenAreNoNews) {
  ASSERT_NO_FATAL_FAILURE(AddMegabytes(3));
  EXPECT_GT(written, 0) << "as many rows do not wait for a flush";
  EXPECT_EQ(rig.complaints, std::vector<std::string>{});
  ASSERT_EQ(rig.T().Flush(), Table::kOk);
  written = 0;
  ASSERT_NO_FATAL_FAILURE(ChangeRows(DbfFile::kMaxChangedRows + 1));
  EXPECT_GT(written, 0) << "nor do as many changed rows";
  EXPECT_EQ(rig.complaints, std::vector<std::string>{});
}

TEST_F(TableTold, NewRowsThatFindNoRoomAreToldOnce) {
  broken = 0;
  ASSERT_NO_FATAL_FAILURE(AddMegabytes(3));
  EXPECT_EQ(rig.complaints, std::vector<std::string>{kFull});
}

TEST_F(TableTold, ChangedRowsThatFindNoRoomAreToldOnce) {
  ASSERT_NO_FATAL_FAILURE(AddMegabytes(1));
  ASSERT_EQ(rig.T().Flush(), Table::kOk);
  broken = 0;
  ASSERT_NO_FATAL_FAILURE(ChangeRows(DbfFile::kMaxChangedRows + 100));
  EXPECT_EQ(rig.complaints, std::vector<std::string>{kFull});
}

}  // namespace
}  // namespace vantry
