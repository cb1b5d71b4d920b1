#include "archive/log_choice.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

constexpr int64_t kNow = 1'772'712'000;  // 5 March 2026, 12:00 UTC.

FolderFile Written(int64_t seconds_ago, std::string name = "a.log") {
  FolderFile file;
  file.name = std::move(name);
  file.plain = true;
  file.written_ns = (kNow - seconds_ago) * 1'000'000'000;
  file.device = 1;
  file.inode = 7;
  return file;
}

ChoiceRules Rules(int32_t days = 60) {
  ChoiceRules rules;
  rules.now_s = kNow;
  rules.days = days;
  return rules;
}

TEST(Judge, TakesALogThatHasReachedItsAge) {
  EXPECT_EQ(Judge(Written(60 * 86'400), "*.LOG", Rules()), Verdict::kGoes);
  EXPECT_EQ(Judge(Written(60 * 86'400 - 1), "*.LOG", Rules()), Verdict::kYoung);
  EXPECT_EQ(Judge(Written(86'400), "*.LOG", Rules(1)), Verdict::kGoes);
  EXPECT_EQ(Judge(Written(32'767LL * 86'400 - 1), "*.LOG", Rules(32'767)), Verdict::kYoung);
}

TEST(Judge, OfTheFutureIsYoung) {
  EXPECT_EQ(Judge(Written(-100 * 86'400), "*", Rules()), Verdict::kYoung);
}

TEST(Judge, NeverTakesWhatChangedInTheLastHour) {
  EXPECT_EQ(Judge(Written(3'599), "*", Rules(0)), Verdict::kChangedLately);
  EXPECT_EQ(Judge(Written(3'600), "*", Rules(0)), Verdict::kGoes);
}

TEST(Judge, TakesOnlyWhatFitsTheMask) {
  EXPECT_EQ(Judge(Written(9e6, "a.txt"), "*.LOG", Rules()), Verdict::kOtherName);
  EXPECT_EQ(Judge(Written(9e6, "A.Log"), "a*.LOG", Rules()), Verdict::kGoes);
  EXPECT_EQ(Judge(Written(9e6, "a.txt"), "*.*", Rules()), Verdict::kGoes);
}

TEST(Judge, LeavesLinksAndFolders) {
  FolderFile link = Written(9e6);
  link.plain = false;
  EXPECT_EQ(Judge(link, "*", Rules()), Verdict::kNotPlain);
}

TEST(Judge, LeavesWhatIsReadOrBelongsToOthers) {
  ChoiceRules rules = Rules();
  rules.being_read.insert({1, 7});
  EXPECT_EQ(Judge(Written(9e6), "*", rules), Verdict::kBeingRead);
  rules.being_read = {{2, 7}};
  rules.of_others.insert({1, 7});
  EXPECT_EQ(Judge(Written(9e6), "*", rules), Verdict::kOfOthers);
  rules.of_others = {{1, 8}};
  EXPECT_EQ(Judge(Written(9e6), "*", rules), Verdict::kGoes);
}

TEST(ZipName, IsOfTheSiteAndTheMonth) {
  const WallTime march{MakeDay(2026, 3, 31)->n * kSecondsPerDay + 86'399};
  EXPECT_EQ(ZipName("One", march), "One-2026-03.zip");
  EXPECT_EQ(ZipName("One", {march.s + 1}), "One-2026-04.zip");
}

TEST(ZipName, AnySiteHasOne) {
  const WallTime march{MakeDay(2026, 3, 1)->n * kSecondsPerDay};
  EXPECT_EQ(ZipName("", march), "_-2026-03.zip");
  EXPECT_EQ(ZipName("../a/b\n", march), "_._a_b_-2026-03.zip");
  EXPECT_EQ(ZipName("K\xC3\xBC"
                    "che 1",
                    march),
            "K\xC3\xBC"
            "che 1-2026-03.zip");
  const std::string cut = ZipName(std::string(99, 'a') + "\xC3\xBC", march);
  EXPECT_EQ(cut, std::string(99, 'a') + "-2026-03.zip") << "not half a character";
  EXPECT_EQ(ZipName(std::string(300, 'a'), march).size(), 112u);
}

TEST(EntryName, IsTheLogsOwnUnlessItIsTaken) {
  EXPECT_EQ(EntryName("a.log", {}), "a.log");
  EXPECT_EQ(EntryName("a.log", {"a.log", "a.log~2"}), "a.log~3");
  EXPECT_TRUE(IsEntryOf("a.log", "a.log"));
  EXPECT_TRUE(IsEntryOf("a.log~12", "a.log"));
  for (const char* other : {"a.lo", "a.log~", "a.log~x", "a.log1", "b.log~2"}) EXPECT_FALSE(IsEntryOf(other, "a.log"));
}

}  // namespace
}  // namespace vantry
