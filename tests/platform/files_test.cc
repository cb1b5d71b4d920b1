// One contract, run on the real file system and on the fake that the other tests lean on.
#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/text.h"
#include "platform/posix_files.h"
#include "platform/regional_locale.h"
#include "platform/single_instance.h"
#include "support/memory_files.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

struct RealLogDisk {
  TempFolder temp;
  PosixFiles files;
  std::string Root() { return temp.path; }
};
struct FakeLogDisk {
  MemoryFiles files;
  std::string Root() { return "/root/"; }
};

template <class Disk>
struct FilesContract : ::testing::Test {
  Disk disk;
  Files& files = disk.files;
  std::string root = disk.Root();
};
using Disks = ::testing::Types<RealLogDisk, FakeLogDisk>;
TYPED_TEST_SUITE(FilesContract, Disks);

TYPED_TEST(FilesContract, MissingFileIsNotFound) {
  std::string bytes = "old";
  std::unique_ptr<LogFile> log;
  EXPECT_EQ(this->files.Read(this->root + "none", bytes).fail, Fail::kNotFound);
  EXPECT_EQ(this->files.OpenLog(this->root + "none", log).fail, Fail::kNotFound);
  EXPECT_EQ(log, nullptr);
  EXPECT_FALSE(this->files.Exists(this->root + "none"));
  EXPECT_TRUE(this->files.Remove(this->root + "none").ok());
}

TYPED_TEST(FilesContract, ReplaceAppendAndRemove) {
  const std::string path = this->root + "file";
  std::string bytes;
  EXPECT_TRUE(this->files.Replace(path, "one").ok());
  EXPECT_TRUE(this->files.Replace(path, std::string("t\0wo", 4)).ok());
  EXPECT_TRUE(this->files.Append(path, "+").ok());
  EXPECT_TRUE(this->files.Append(this->root + "new", "n").ok());
  EXPECT_TRUE(this->files.Read(path, bytes).ok());
  EXPECT_EQ(bytes, std::string("t\0wo+", 5));
  std::vector<FileEntry> entries;
  EXPECT_TRUE(this->files.List(this->root, entries).ok());
  std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  ASSERT_EQ(entries.size(), 2u) << "nothing is left beside a replaced file";
  EXPECT_EQ(entries[0].name, "file");
  EXPECT_EQ(entries[0].size_bytes, 5);
  EXPECT_TRUE(entries[0].written_ns.has_value());
  EXPECT_TRUE(this->files.Remove(path).ok());
  EXPECT_FALSE(this->files.Exists(path));
}

TYPED_TEST(FilesContract, LogIsReadAtPlacesAndKeepsItsFileWhenTheNameGoes) {
  const std::string path = this->root + "log";
  ASSERT_TRUE(this->files.Replace(path, "0123456789").ok());
  std::unique_ptr<LogFile> log;
  ASSERT_TRUE(this->files.OpenLog(path, log).ok());
  std::vector<char> buffer(4);
  size_t count = 9;
  EXPECT_TRUE(log->ReadAt(8, buffer, count).ok());
  EXPECT_EQ(count, 2u);
  EXPECT_TRUE(log->ReadAt(10, buffer, count).ok());
  EXPECT_EQ(count, 0u);
  EXPECT_TRUE(log->ReadAt(1'000'000, buffer, count).ok());
  EXPECT_EQ(count, 0u);
  ASSERT_TRUE(this->files.Append(path, "ab").ok());
  EXPECT_TRUE(log->ReadAt(10, buffer, count).ok());
  EXPECT_EQ(count, 2u);
  ASSERT_TRUE(this->files.Replace(path, "x").ok());
  EXPECT_TRUE(log->ReadAt(10, buffer, count).ok());
  EXPECT_EQ(count, 2u) << "a rotated log is read on from the file that was opened";
}

TEST(PosixFiles, FailedReplaceKeepsTheOldFileAndLeavesNothing) {
  TempFolder temp;
  PosixFiles files;
  // The name taken by a folder with something in it can't be renamed over.
  std::filesystem::create_directories(temp.path + "target/inside");
  const Status status = files.Replace(temp.path + "target", "x");
  EXPECT_EQ(status.fail, Fail::kIo);
  EXPECT_TRUE(Contains(status.text, temp.path + "target"));
  EXPECT_FALSE(files.Exists(temp.path + "target.new"));
  EXPECT_TRUE(files.Exists(temp.path + "target/inside"));
}

TEST(PosixFiles, ReplaceKeepsAccessRights) {
  TempFolder temp;
  PosixFiles files;
  ASSERT_TRUE(files.Replace(temp.path + "secret", "1").ok());
  ::chmod((temp.path + "secret").c_str(), 0600);
  ASSERT_TRUE(files.Replace(temp.path + "secret", "2").ok());
  struct stat info {};
  ASSERT_EQ(::stat((temp.path + "secret").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST(PosixFiles, PipesAndFoldersAreNoLogs) {
  TempFolder temp;
  PosixFiles files;
  ASSERT_EQ(::mkfifo((temp.path + "pipe").c_str(), 0644), 0);
  std::unique_ptr<LogFile> log;
  std::string bytes;
  EXPECT_EQ(files.OpenLog(temp.path + "pipe", log).fail, Fail::kIo);
  EXPECT_EQ(files.OpenLog(temp.path, log).fail, Fail::kIo);
  EXPECT_EQ(files.Read(temp.path + "pipe", bytes).fail, Fail::kIo);
  std::vector<FileEntry> entries;
  EXPECT_TRUE(files.List(temp.path, entries).ok());
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(files.List(temp.path + "none/", entries).fail, Fail::kNotFound);
}

TEST(PosixFiles, MakesFoldersWithTheirParents) {
  TempFolder temp;
  PosixFiles files;
  EXPECT_TRUE(files.MakeFolder(temp.path + "a/b/c/").ok());
  EXPECT_TRUE(files.MakeFolder(temp.path + "a/b/c/").ok());
  EXPECT_TRUE(std::filesystem::is_directory(temp.path + "a/b/c"));
  std::ofstream(temp.path + "file") << "x";
  EXPECT_FALSE(files.MakeFolder(temp.path + "file/below/").ok());
}

TEST(SingleInstance, SecondHolderIsRefusedUntilTheFirstGoes) {
  TempFolder temp;
  auto first = std::make_unique<SingleInstance>(temp.path + "lock");
  EXPECT_TRUE(first->Acquire().ok());
  SingleInstance second(temp.path + "lock");
  EXPECT_EQ(second.Acquire().fail, Fail::kRefused);
  first.reset();
  EXPECT_TRUE(second.Acquire().ok());
  EXPECT_EQ(SingleInstance("/nowhere/at/all").Acquire().fail, Fail::kIo);
}

TEST(PatternFromStrftime, TranslatesLocalePatterns) {
  EXPECT_EQ(PatternFromStrftime("%m/%d/%Y", "x"), "MM/dd/yyyy");
  EXPECT_EQ(PatternFromStrftime("%d.%m.%Y", "x"), "dd.MM.yyyy");
  EXPECT_EQ(PatternFromStrftime("%-d/%-m/%y", "x"), "dd/MM/yy");
  EXPECT_EQ(PatternFromStrftime("%r", "x"), "hh:mm:ss AM/PM");
  EXPECT_EQ(PatternFromStrftime("%A", "x"), "x");
  EXPECT_EQ(PatternFromStrftime("", "x"), "x");
  EXPECT_EQ(PatternFromStrftime("%", "x"), "x");
}

}  // namespace
}  // namespace vantry
