#include "core/chunk_store.h"

#include <memory_resource>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

using Store = ChunkStore<std::string>;

TEST(ChunkStore, GrowingMovesNothing) {
  Store store;
  const uint32_t first = store.Add();
  EXPECT_GT(first, 0u);
  store[first] = "a record that is longer than what a string holds inside";
  const std::string* const where = &store[first];
  for (uint32_t i = 0; i < 10 * Store::kChunk; ++i) store[store.Add()] = std::to_string(i);
  EXPECT_EQ(&store[first], where);
  EXPECT_EQ(store.Chunks(), 11u);
}

// Counts what is out.
class Counting final : public std::pmr::memory_resource {
 public:
  int blocks = 0;

 private:
  void* do_allocate(size_t bytes, size_t alignment) override {
    ++blocks;
    return std::pmr::new_delete_resource()->allocate(bytes, alignment);
  }
  void do_deallocate(void* block, size_t bytes, size_t alignment) override {
    --blocks;
    std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
  }
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }
};

TEST(ChunkStore, ChunksAreOfTheResourceThatWasSetWhenTheStoreWasMade) {
  Counting memory;
  std::pmr::memory_resource* const before = std::pmr::set_default_resource(&memory);
  {
    Store store;
    std::pmr::set_default_resource(before);
    std::vector<uint32_t> places;
    for (uint32_t i = 0; i < 3 * Store::kChunk; ++i) places.push_back(store.Add());
    EXPECT_EQ(memory.blocks, 3);
    for (uint32_t i = 0; i < 2 * Store::kChunk; ++i) store.Remove(places[i]);
    EXPECT_EQ(memory.blocks, static_cast<int>(store.Chunks()));
    EXPECT_LT(memory.blocks, 3);
  }
  EXPECT_EQ(memory.blocks, 0);
}

TEST(ChunkStore, EmptiedChunksAreGivenBack) {
  Store store;
  std::vector<uint32_t> places;
  for (uint32_t i = 0; i < 8 * Store::kChunk; ++i) places.push_back(store.Add());
  for (size_t i = 0; i < 6 * Store::kChunk; ++i) store.Remove(places[i]);
  EXPECT_EQ(store.Chunks(), 3u) << "two that are full, and one for those who come";
  const uint32_t place = store.Add();
  EXPECT_TRUE(store[place].empty());
  EXPECT_EQ(store.Chunks(), 3u);
  store.Remove(place);
  for (size_t i = 6 * Store::kChunk; i < places.size(); ++i) store.Remove(places[i]);
  EXPECT_EQ(store.Chunks(), 1u);
}

TEST(ChunkStore, RandomOperations_MatchAMap) {
  Store store;
  std::unordered_map<uint32_t, std::string> model;
  std::vector<uint32_t> places;
  std::mt19937 random(7);
  for (int i = 0; i < 100'000; ++i) {
    const bool growing = i / 20'000 % 2 == 0;
    if (places.empty() || random() % 10 < (growing ? 7u : 3u)) {
      const uint32_t place = store.Add();
      ASSERT_TRUE(model.emplace(place, std::to_string(i)).second) << "a place in use";
      store[place] = std::to_string(i);
      places.push_back(place);
    } else {
      std::swap(places[random() % places.size()], places.back());
      ASSERT_EQ(store[places.back()], model[places.back()]);
      store.Remove(places.back());
      model.erase(places.back());
      places.pop_back();
    }
  }
  for (const auto& [place, text] : model) ASSERT_EQ(store[place], text);
}

}  // namespace
}  // namespace vantry
