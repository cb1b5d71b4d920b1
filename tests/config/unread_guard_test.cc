#include "config/unread_guard.h"

#include <gtest/gtest.h>

#include "support/memory_files.h"

namespace vantry {
namespace {

struct GuardTest : ::testing::Test {
  MemoryFiles disk;
  UnreadGuard guard{disk};
  std::string bytes;

  GuardTest() { disk.Put("/a", "old"); }
};

TEST_F(GuardTest, WhatCouldNotBeReadIsNeitherReplacedNorRemoved) {
  disk.entries["/a"]->readable = false;
  EXPECT_EQ(guard.Read("/a", bytes).fail, Fail::kIo);
  disk.entries["/a"]->readable = true;  // Access that comes later changes nothing about what is held in memory.
  for (const Status& status : {guard.Replace("/a", "new"), guard.Remove("/a")}) {
    EXPECT_EQ(status.fail, Fail::kRefused);
    EXPECT_EQ(status.text, "/a is left as it is, because it could not be read (/a: Permission denied)");
  }
  EXPECT_EQ(disk.Get("/a"), "old");
  EXPECT_TRUE(guard.Replace("/b", "other").ok()) << "each file for itself";
}

TEST_F(GuardTest, AReadingThatWorksLiftsTheGuard) {
  disk.fails = [](const std::string& call) { return call == "read /a"; };
  EXPECT_FALSE(guard.Read("/a", bytes).ok());
  disk.fails = nullptr;
  EXPECT_TRUE(guard.Read("/a", bytes).ok());
  EXPECT_TRUE(guard.Replace("/a", "new").ok());
  EXPECT_TRUE(guard.Remove("/a").ok());
}

TEST_F(GuardTest, WhatIsNotThereMayBeMade) {
  EXPECT_EQ(guard.Read("/none", bytes).fail, Fail::kNotFound);
  EXPECT_TRUE(guard.Replace("/none", "new").ok());
}

}  // namespace
}  // namespace vantry
