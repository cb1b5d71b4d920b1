// Folders of this machine, changed while they are watched.
#include "platform/inotify_watch.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "platform/posix_files.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

struct InotifyWatchTest : ::testing::Test {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  TempFolder temp;
  PosixFiles files;
  InotifyWatch watch;
  std::vector<std::string> told;

  InotifyWatchTest() {
    watch.OnChange([this](const std::string& folder, const std::string& name, bool names_changed) {
      told.push_back((folder == temp.path ? "" : folder + " ") + name + (names_changed ? " name" : " bytes"));
    });
  }
  bool WaitFor(const std::string& what) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 5'000) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
      if (std::find(told.begin(), told.end(), what) != told.end()) return true;
    }
    return false;
  }
};

TEST_F(InotifyWatchTest, TellsOfBytesAndOfNames) {
  ASSERT_TRUE(watch.Watch(temp.path).ok());
  ASSERT_TRUE(watch.Watch(temp.path).ok()) << "again";
  ASSERT_TRUE(files.Append(temp.path + "a.log", "1").ok());
  EXPECT_TRUE(WaitFor("a.log name"));
  told.clear();
  ASSERT_TRUE(files.Append(temp.path + "a.log", "2").ok());
  EXPECT_TRUE(WaitFor("a.log bytes"));
  told.clear();
  std::filesystem::rename(temp.path + "a.log", temp.path + "a.log.1");
  EXPECT_TRUE(WaitFor("a.log name"));
  EXPECT_TRUE(WaitFor("a.log.1 name"));
}

TEST_F(InotifyWatchTest, FolderThatGoesAwayCanBeWatchedAgain) {
  const std::string folder = temp.path + "logs/";
  EXPECT_EQ(watch.Watch(folder).fail, Fail::kNotFound);
  ASSERT_TRUE(files.MakeFolder(folder).ok());
  ASSERT_TRUE(watch.Watch(folder).ok());
  std::filesystem::remove_all(folder);
  EXPECT_TRUE(WaitFor(folder + "  name"));
  ASSERT_TRUE(files.MakeFolder(folder).ok());
  ASSERT_TRUE(watch.Watch(folder).ok());
  ASSERT_TRUE(files.Append(folder + "a.log", "1").ok());
  EXPECT_TRUE(WaitFor(folder + " a.log name"));
}

TEST_F(InotifyWatchTest, PathThatLeadsToAnotherFolderIsWatchedThere) {
  const std::string folder = temp.path + "logs/", moved = temp.path + "moved/", linked = temp.path + "link/";
  ASSERT_TRUE(files.MakeFolder(folder).ok());
  ASSERT_TRUE(watch.Watch(folder).ok());
  std::filesystem::rename(folder, moved);
  ASSERT_TRUE(files.MakeFolder(folder).ok());
  ASSERT_TRUE(files.Append(folder + "early.log", "1").ok());
  ASSERT_TRUE(watch.Watch(folder).ok());
  EXPECT_TRUE(WaitFor(folder + "  name")) << "what came before";
  ASSERT_TRUE(files.Append(folder + "a.log", "1").ok());
  EXPECT_TRUE(WaitFor(folder + " a.log name"));
  std::filesystem::create_directory_symlink(moved, temp.path + "link");
  ASSERT_TRUE(watch.Watch(linked).ok());
  std::filesystem::remove(temp.path + "link");
  std::filesystem::create_directory_symlink(folder, temp.path + "link");
  ASSERT_TRUE(watch.Watch(linked).ok());
  told.clear();
  ASSERT_TRUE(files.Append(folder + "b.log", "1").ok());
  EXPECT_TRUE(WaitFor(folder + " b.log name")) << "two paths to one folder";
  EXPECT_TRUE(WaitFor(linked + " b.log name"));
  told.clear();
  ASSERT_TRUE(files.Append(moved + "c.log", "1").ok());
  ASSERT_TRUE(files.Append(folder + "d.log", "1").ok());
  EXPECT_TRUE(WaitFor(linked + " d.log name"));
  EXPECT_EQ(std::count(told.begin(), told.end(), folder + " c.log name"), 0) << "nobody looks there any more";
  std::filesystem::remove_all(folder);
  EXPECT_TRUE(WaitFor(folder + "  name"));
  EXPECT_EQ(watch.Watch(linked).fail, Fail::kNotFound);
}

}  // namespace
}  // namespace vantry
