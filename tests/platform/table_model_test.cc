// Random operations on every table of the schema, on real files and LMDB.
#include "support/table_model.h"

#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

struct DiskTables {
  TempFolder temp;
  PosixDataFiles files;
  LmdbIndex index;
  std::string folder = temp.path;
  void EndProgram() { index.Close(); }
  void Wipe() {
    for (const auto& entry : std::filesystem::directory_iterator(temp.path)) std::filesystem::remove(entry.path());
  }
};

struct DiskModelTest : ::testing::TestWithParam<const TableSchema*> {};

TEST_P(DiskModelTest, TheTableBehavesAsItsModel) {
  RunModel<DiskTables>(*GetParam(), ModelOperations(300'000, 1'000'000));
}

INSTANTIATE_TEST_SUITE_P(Tables, DiskModelTest, ::testing::ValuesIn(AllSchemas()),
                         [](const auto& test) { return std::string(test.param->name); });

}  // namespace
}  // namespace vantry
