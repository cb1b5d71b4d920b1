// The index file on a real disk, cut or overwritten by somebody else while it is open.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include "core/text.h"
#include "platform/lmdb_index.h"
#include "platform/map_guard.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

constexpr int kKeys = 20'000;

std::string KeyOf(int n) {
  return PadNumber(n * 7919 % kKeys, 9) + "some more of a key";
}

struct DamagedIndex : ::testing::Test {
  TempFolder temp;
  std::string path = temp.path + "index";
  LmdbIndex store;
  int tree = -1;

  void Fill() {
    ASSERT_TRUE(store.Open(path).ok());
    ASSERT_TRUE(store.OpenTree("tree", tree).ok());
    for (int n = 0; n < kKeys; ++n) ASSERT_TRUE(store.Put(tree, KeyOf(n), static_cast<uint32_t>(n)).ok());
    ASSERT_TRUE(store.Commit(true).ok());
  }
  void Overwrite(size_t from, size_t bytes, bool zeros = false) {
    std::mt19937 random(1);
    std::string garbage(bytes, '\0');
    if (!zeros) std::generate(garbage.begin(), garbage.end(), [&] { return static_cast<char>(random()); });
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(from));
    file << garbage;
  }
  // Each kind of call, over and over. How many told of damage, and how many of success.
  std::pair<int, int> Use() {
    std::pair<int, int> told;
    for (int n = 0; n < 400; ++n) {
      IndexEntry entry;
      const Status answers[] = {store.Find(tree, static_cast<Seek>(n % 4), KeyOf(n * 41), entry),
                                store.Put(tree, KeyOf(n * 43), 1), store.Erase(tree, KeyOf(n * 47)),
                                n % 50 == 49 ? store.Commit(n % 100 == 99) : Status::Ok()};
      for (const Status& status : answers) {
        told.first += status.fail == Fail::kBadData;
        told.second += status.ok();
      }
    }
    return told;
  }
  // As the tables do when they hear of damage.
  void BuildAnew() {
    store.Close();
    std::filesystem::remove(path);
    ASSERT_NO_FATAL_FAILURE(Fill());
    IndexEntry entry;
    ASSERT_TRUE(store.Find(tree, Seek::kEqual, KeyOf(77), entry).ok());
    EXPECT_EQ(entry.row, 77u);
  }
  size_t Bytes() const { return std::filesystem::file_size(path); }
};

TEST_F(DamagedIndex, IsToldAndCanBeMadeAnew) {
  ASSERT_NO_FATAL_FAILURE(Fill());
  const struct {
    const char* name;
    std::function<void()> harm;
  } harms[] = {
      {"empty", [this] { std::filesystem::resize_file(path, 0); }},
      {"half", [this] { std::filesystem::resize_file(path, Bytes() / 2); }},
      {"garbage", [this] { Overwrite(0, Bytes()); }},
      {"zeros", [this] { Overwrite(0, Bytes(), true); }},
      {"garbage for meta pages", [this] { Overwrite(0, 8192); }},
      {"garbage behind them", [this] { Overwrite(8192, Bytes() - 8192); }},
      {"longer", [this] { Overwrite(Bytes(), 5000); }},
  };
  for (const auto& [name, harm] : harms) {
    for (const bool under_way : {false, true}) {
      SCOPED_TRACE(std::string(name) + (under_way ? ", within a transaction" : ""));
      EXPECT_TRUE(!under_way || store.Put(tree, KeyOf(5), 5).ok());
      harm();
      EXPECT_GT(Use().first, 0);
      EXPECT_EQ(Use().second, 392) << "commits that were not asked for, and nothing else";
      ASSERT_NO_FATAL_FAILURE(BuildAnew());
    }
  }
}

// Cut right before the call, which is too soon for its clock to tell.
TEST_F(DamagedIndex, CutUnderItsMapItStillAnswers) {
  for (int round = 0; round < 20; ++round) {
    ASSERT_NO_FATAL_FAILURE(BuildAnew());
    IndexEntry entry;
    (void)store.Find(tree, Seek::kEqual, KeyOf(1), entry);
    ASSERT_EQ(::truncate(path.c_str(), 0), 0);
    const Status status = round % 2 == 0 ? store.Find(tree, Seek::kEqual, KeyOf(round * 997), entry)
                                         : store.Put(tree, KeyOf(round * 997), 1);
    EXPECT_EQ(status.fail, Fail::kBadData) << status.text;
  }
}

TEST_F(DamagedIndex, MetaPagesThatLeadBeyondTheMapAreDamage) {
  ASSERT_NO_FATAL_FAILURE(Fill());
  store.Close();
  // The number of the last page, in both meta pages.
  for (const size_t page : {0, 4096}) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(page + 16 + 24 + 2 * 48));
    const uint64_t far = uint64_t{1} << 50;
    file.write(reinterpret_cast<const char*>(&far), sizeof far);
  }
  Status status = store.Open(path);
  if (status.ok()) status = store.OpenTree("tree", tree);
  EXPECT_EQ(status.fail, Fail::kBadData) << status.text;
  ASSERT_NO_FATAL_FAILURE(BuildAnew());
}

TEST(MapGuard, BreaksOffTheInnermostBodyAlone) {
  TempFolder temp;
  const int fd = ::open((temp.path + "file").c_str(), O_RDWR | O_CREAT, 0600);
  ASSERT_EQ(::ftruncate(fd, 4096), 0);
  auto* const map = static_cast<volatile char*>(::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0));
  ASSERT_NE(static_cast<volatile void*>(map), MAP_FAILED);
  int reached = 0;
  EXPECT_TRUE(Guarded([&] { reached += map[5] == 0; }));
  EXPECT_EQ(reached, 1);
  ASSERT_EQ(::ftruncate(fd, 0), 0);
  for (int again = 0; again < 3; ++again) {
    bool inner = true;
    EXPECT_TRUE(Guarded([&] {
      inner = Guarded([&] { reached += map[5] == 0 ? 10 : 20; });
      ++reached;
    }));
    EXPECT_FALSE(inner);
    EXPECT_FALSE(Guarded([&] { reached += map[5] == 0 ? 10 : 20; }));
  }
  EXPECT_EQ(reached, 4);
  EXPECT_FALSE(Guarded([] { BreakOffGuarded(); }));
  BreakOffGuarded();
  ::munmap(const_cast<char*>(map), 4096);
  ::close(fd);
}

TEST(MapGuardDeathTest, LeavesOtherFaultsAlone) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_DEATH(
      {
        (void)Guarded([] {});
        ::raise(SIGSEGV);
        ::raise(SIGSEGV);
      },
      "");
}

}  // namespace
}  // namespace vantry
