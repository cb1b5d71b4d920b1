#include "core/hash_index.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(SpreadHash, TellsAddressesKeysAndSitesApart) {
  std::set<uint64_t> hashes;
  size_t count = 0;
  const auto add = [&](std::string_view text, uint64_t salt) {
    hashes.insert(SpreadHash(text, salt));
    ++count;
  };
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const std::string ip = "10." + std::to_string(a) + "." + std::to_string(b) + ".7";
      add(ip, 1);
      add(ip, 2);
      add("12:" + ip + ".extra", 0);
    }
  }
  for (const std::string_view text : {"", "a", "b", "ab", "ba", "2001:db8::1", "2001:db8::2"}) add(text, 1);
  EXPECT_EQ(hashes.size(), count);
}

TEST(SpreadHash, FillsTheLowBitsEvenly) {
  constexpr size_t kPlaces = 1 << 12;
  std::vector<int> places(kPlaces);
  for (int a = 0; a < 64; ++a) {
    for (int b = 0; b < 256; ++b) {
      ++places[SpreadHash("192.168." + std::to_string(a) + "." + std::to_string(b), 1) % kPlaces];
    }
  }
  // Four to a place on average; a poor hash would heap dozens.
  EXPECT_LT(*std::max_element(places.begin(), places.end()), 20);
}

TEST(HashIndex, EqualHashesStandSideBySide) {
  HashIndex<const int*> index;
  std::vector<int> records(500);
  for (size_t i = 0; i < records.size(); ++i) index.Add(i % 3, &records[i]);
  for (size_t i = 0; i < records.size(); i += 2) index.Remove(i % 3, &records[i]);
  std::set<const int*> found;
  for (uint64_t hash = 0; hash < 3; ++hash) {
    index.ForEach(hash, [&](const int* record) { found.insert(record); });
  }
  EXPECT_EQ(found.size(), records.size() / 2);
  EXPECT_EQ(index.Count(), records.size() / 2);
  EXPECT_FALSE(found.contains(&records[0]));
  EXPECT_TRUE(found.contains(&records[1]));
}

TEST(HashIndex, Fit_GivesBackWhatManyTookAndKeepsTheRest) {
  HashIndex<uint32_t> index;
  const auto hash = [](uint32_t n) { return SpreadHash(std::to_string(n)); };
  const size_t empty = index.Size();
  for (uint32_t n = 1; n <= 10'000; ++n) index.Add(hash(n), n);
  const size_t full = index.Size();
  index.Fit();
  EXPECT_EQ(index.Size(), full) << "in use";
  for (uint32_t n = 101; n <= 10'000; ++n) index.Remove(hash(n), n);
  EXPECT_EQ(index.Size(), full) << "a removal alone moves nothing";
  index.Fit();
  EXPECT_LE(index.Size(), 800u);
  for (uint32_t n = 1; n <= 101; ++n) {
    bool found = false;
    index.ForEach(hash(n), [&](uint32_t record) { found = found || record == n; });
    EXPECT_EQ(found, n <= 100) << n;
  }
  std::set<uint32_t> all;
  index.ForAll([&](uint32_t record) { all.insert(record); });
  EXPECT_EQ(all.size(), 100u);
  for (uint32_t n = 1; n <= 100; ++n) index.Remove(hash(n), n);
  index.Fit();
  EXPECT_EQ(index.Size(), empty);
}

}  // namespace
}  // namespace vantry
