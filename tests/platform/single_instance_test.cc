// The lock of a program folder, and whom it belongs to.
#include "platform/single_instance.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/temp_folder.h"

namespace vantry {
namespace {

constexpr uid_t kNobody = 65'534;

struct SingleInstanceTest : ::testing::Test {
  TempFolder folder;
  const std::string path = folder.path + "vantry.lock";

  uid_t Owner() const {
    struct stat info {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0);
    return info.st_uid;
  }
};

TEST_F(SingleInstanceTest, OneHoldsItUntilItGoes) {
  {
    SingleInstance first(path), second(path);
    EXPECT_TRUE(first.Acquire().ok());
    EXPECT_EQ(second.Acquire().fail, Fail::kRefused);
  }
  SingleInstance third(path);
  EXPECT_TRUE(third.Acquire().ok()) << "the file stays, and is free";
  EXPECT_EQ(Owner(), ::geteuid());
}

TEST_F(SingleInstanceTest, OneThatIsGoingIsWaitedFor) {
  auto going = std::make_unique<SingleInstance>(path);
  EXPECT_TRUE(going->Acquire().ok());
  std::thread end([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    going.reset();
  });
  SingleInstance next(path);
  EXPECT_TRUE(next.Acquire().ok());
  end.join();
}

TEST_F(SingleInstanceTest, WhatRootMakesInAnothersFolderIsTheOthers) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can";
  ASSERT_EQ(::chown(folder.path.c_str(), kNobody, kNobody), 0);
  EXPECT_TRUE(SingleInstance(path).Acquire().ok());
  EXPECT_EQ(Owner(), kNobody);

  // A link that was laid there leads nowhere.
  const std::string other = folder.path + "roots";
  ASSERT_EQ(::rename(path.c_str(), other.c_str()), 0);
  ASSERT_EQ(::chown(other.c_str(), 0, 0), 0);
  ASSERT_EQ(::symlink(other.c_str(), path.c_str()), 0);
  EXPECT_TRUE(SingleInstance(path).Acquire().ok());
  EXPECT_EQ(Owner(), 0u);
}

TEST_F(SingleInstanceTest, OneOfAnotherOwnerIsToldWithWhatToDo) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can";
  ASSERT_EQ(::chmod(folder.path.c_str(), 0755), 0);
  EXPECT_TRUE(SingleInstance(path).Acquire().ok());
  const auto as_nobody = [this] {
    if (::setuid(kNobody) != 0) std::exit(1);
    std::fputs(SingleInstance(path).Acquire().text.c_str(), stderr);
    std::exit(0);
  };
  EXPECT_EXIT(
      as_nobody(), ::testing::ExitedWithCode(0),
      "vantry.lock: Permission denied. This is nobody, and the file belongs to root. As root, `chown -R nobody ");
  ASSERT_EQ(::unlink(path.c_str()), 0);
  EXPECT_EXIT(as_nobody(), ::testing::ExitedWithCode(0), "its folder belongs to root. As root, `chown -R nobody ");
}

}  // namespace
}  // namespace vantry
