// Random operations on every table of the schema, on the disk and the index in memory.
#include "support/table_model.h"

namespace vantry {
namespace {

struct ModelTest : ::testing::TestWithParam<const TableSchema*> {};

TEST_P(ModelTest, TheTableBehavesAsItsModel) {
  RunModel<MemoryTables>(*GetParam(), ModelOperations(400'000, 1'000'000));
}

INSTANTIATE_TEST_SUITE_P(Tables, ModelTest, ::testing::ValuesIn(AllSchemas()),
                         [](const auto& test) { return std::string(test.param->name); });

}  // namespace
}  // namespace vantry
