#include "platform/crypt_passwords.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/system_random.h"

namespace vantry {
namespace {

TEST(HashPassword, MakesAnotherHashEachTimeThatFits) {
  std::string one, two;
  ASSERT_TRUE(HashPassword("correct horse", one).ok());
  ASSERT_TRUE(HashPassword("correct horse", two).ok());
  EXPECT_NE(one, two);
  EXPECT_EQ(one.substr(0, 3), "$y$");
  EXPECT_TRUE(FitsHash("correct horse", one));
  EXPECT_FALSE(FitsHash("correct horsf", one));
  EXPECT_FALSE(FitsHash(std::string("correct horse\0", 14), one));
  EXPECT_FALSE(FitsHash("correct horse", ""));
  EXPECT_FALSE(FitsHash("*0", "*0"));
  EXPECT_FALSE(FitsHash("x", "$y$nonsense"));
}

TEST(CryptPasswords, ComparesOnTheSideInOrder) {
  int argc = 1;
  char name[] = "t", *argv[] = {name, nullptr};
  QCoreApplication application(argc, argv);
  SystemRandom random;
  CryptPasswords passwords(random);
  std::string hash;
  ASSERT_TRUE(HashPassword("a", hash).ok());
  std::vector<int> told;
  EXPECT_TRUE(passwords.Verify("a", hash, [&](bool right) { told.push_back(right ? 1 : 0); }));
  EXPECT_TRUE(passwords.Verify("b", hash, [&](bool right) { told.push_back(right ? 3 : 2); }));
  EXPECT_TRUE(told.empty());
  QElapsedTimer time;
  time.start();
  while (told.size() < 2 && time.elapsed() < 30'000) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  EXPECT_EQ(told, (std::vector<int>{1, 2}));
  for (size_t i = 0; i < CryptPasswords::kMostWaiting; ++i) EXPECT_TRUE(passwords.Verify("c", hash, [](bool) {}));
  EXPECT_FALSE(passwords.Verify("c", hash, [](bool) {}));
  passwords.Forget();
  EXPECT_TRUE(passwords.Verify("c", hash, [](bool) {}));
}

TEST(CryptPasswords, DigestsAreOfThisRun) {
  SystemRandom random;
  CryptPasswords one(random), two(random);
  EXPECT_EQ(one.Digest("a"), one.Digest("a"));
  EXPECT_NE(one.Digest("a"), one.Digest("b"));
  EXPECT_NE(one.Digest("a"), two.Digest("a"));
}

}  // namespace
}  // namespace vantry
