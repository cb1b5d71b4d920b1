#include "platform/huge_pages.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory_resource>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(HugePages, BlocksOfAnySizeCanBeFilledAndGivenBack) {
  HugePages pages;
  std::pmr::memory_resource& resource = pages;
  constexpr size_t kPage = HugePages::kPageBytes;
  std::vector<std::pair<char*, size_t>> blocks;
  for (const size_t size :
       {size_t{1}, HugePages::kLeastBytes - 1, HugePages::kLeastBytes, kPage - 1, kPage, kPage + 1, 3 * kPage + 5000}) {
    auto* const block = static_cast<char*>(resource.allocate(size, 16));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % (size < kPage ? 16 : kPage), 0U) << size;
    std::memset(block, static_cast<int>(blocks.size() + 1), size);
    blocks.emplace_back(block, size);
  }
  for (size_t i = 0; i < blocks.size(); ++i) {
    const auto [block, size] = blocks[i];
    EXPECT_EQ(block[0], static_cast<char>(i + 1));
    EXPECT_EQ(block[size - 1], static_cast<char>(i + 1));
    resource.deallocate(block, size, 16);
  }
}

TEST(HugePages, TooLargeABlockIsABadAllocation) {
  HugePages pages;
  std::pmr::memory_resource& resource = pages;
  EXPECT_THROW((void)resource.allocate(std::numeric_limits<size_t>::max() - 100, 8), std::bad_alloc);
  EXPECT_THROW((void)resource.allocate(size_t{1} << 60, 8), std::bad_alloc);
}

TEST(HugePages, AStringGrowsThroughAllSizes) {
  HugePages pages;
  std::pmr::string text(&pages);
  while (text.size() < 5'000'000) text.append("0123456789", 10);
  for (size_t i = 0; i < text.size(); i += 9'999) ASSERT_EQ(text[i], static_cast<char>('0' + i % 10));
  text = std::pmr::string("short", &pages);
  text.shrink_to_fit();
  EXPECT_EQ(text, "short");
}

}  // namespace
}  // namespace vantry
