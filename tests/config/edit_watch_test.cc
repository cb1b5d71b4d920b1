#include "config/edit_watch.h"

#include <gtest/gtest.h>

#include "support/memory_files.h"

namespace vantry {
namespace {

TEST(EditWatch, FileThatSettledAfterAChangeWasEdited) {
  MemoryFiles files;
  EditWatch watch(files);
  files.Put("/a", "1");
  watch.Remember("/a");
  EXPECT_FALSE(watch.Edited("/a", true));
  files.Put("/a", "2");
  EXPECT_FALSE(watch.Edited("/a", false)) << "somebody may be writing it";
  files.Put("/a", "3");
  EXPECT_FALSE(watch.Edited("/a", false));
  EXPECT_TRUE(watch.Edited("/a", false));
  watch.Remember("/a");
  EXPECT_FALSE(watch.Edited("/a", false));
  files.Put("/a", "4");
  EXPECT_TRUE(watch.Edited("/a", true));
  files.entries.erase("/a");
  EXPECT_FALSE(watch.Edited("/a", true)) << "there is nothing to read";
}

TEST(EditWatch, FileThatCameLaterOrReplacedOnesOwnWasEdited) {
  MemoryFiles files;
  EditWatch watch(files);
  watch.Remember("/a");
  files.Put("/a", "1");
  EXPECT_TRUE(watch.Edited("/a", true));
  watch.RememberWritten("/a", "1");
  EXPECT_FALSE(watch.Edited("/a", true));
  watch.RememberWritten("/a", "something that was written and is gone already");
  EXPECT_TRUE(watch.Edited("/a", true));
}

}  // namespace
}  // namespace vantry
