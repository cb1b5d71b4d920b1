#include "platform/free_memory.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace vantry {
namespace {

int64_t FreeMemoryResidentBytes() {
  long size = 0, resident = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  if (!file) return 0;
  if (std::fscanf(file, "%ld %ld", &size, &resident) != 2) resident = 0;
  std::fclose(file);
  return int64_t{resident} * ::sysconf(_SC_PAGESIZE);
}

TEST(FreeMemory, GoesBackEvenBelowWhatIsInUse) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer has an allocator of its own";
#endif
  std::vector<std::unique_ptr<char[]>> blocks;
  for (int i = 0; i < 100'000; ++i) blocks.push_back(std::make_unique<char[]>(400));
  const auto last = std::make_unique<char[]>(400);
  blocks.clear();
  const int64_t before = FreeMemoryResidentBytes();
  ReturnFreeMemory();
  EXPECT_LT(FreeMemoryResidentBytes(), before - 30'000'000);
}

}  // namespace
}  // namespace vantry
