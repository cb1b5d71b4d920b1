// One contract, run on the real file system and on the disk in memory that the tests of the tables lean on.
#include <filesystem>
#include <fstream>
#include <functional>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/text.h"
#include "platform/posix_data_files.h"
#include "support/memory_data_files.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

struct RealDisk {
  TempFolder temp;
  PosixDataFiles files;
  std::string Root() { return temp.path; }
  void Replace(const std::string& path) {
    std::ofstream(path + ".new") << "another";
    std::filesystem::rename(path + ".new", path);
  }
};
struct FakeDisk {
  MemoryDataFiles files;
  std::string Root() { return "/root/"; }
  void Replace(const std::string& path) {
    files.entries.erase(path);
    files.Put(path, "another");
  }
};

template <class Disk>
struct DataFilesContract : ::testing::Test {
  Disk disk;
  DataFiles& files = disk.files;
  std::string root = disk.Root();
  std::string path = root + "file";

  std::unique_ptr<DataFile> Open(OpenFor purpose) {
    std::unique_ptr<DataFile> file;
    status = files.Open(path, purpose, file);
    return file;
  }
  static std::string Read(DataFile& file, int64_t position, size_t bytes) {
    std::string text(bytes, '#');
    size_t count = bytes + 1;
    EXPECT_TRUE(file.ReadAt(position, text, count).ok());
    EXPECT_LE(count, bytes);
    text.resize(count);
    return text;
  }
  FileIdentity Identity() {
    FileIdentity identity;
    EXPECT_TRUE(files.Identify(path, identity).ok());
    return identity;
  }
  Status status;
};
using Disks = ::testing::Types<RealDisk, FakeDisk>;
TYPED_TEST_SUITE(DataFilesContract, Disks);

TYPED_TEST(DataFilesContract, AMissingFileIsNotFoundUnlessItIsToBeMade) {
  for (const OpenFor purpose : {OpenFor::kReading, OpenFor::kWriting}) {
    EXPECT_EQ(this->Open(purpose), nullptr);
    EXPECT_EQ(this->status.fail, Fail::kNotFound);
    EXPECT_EQ(this->status.text, this->path + ": No such file or directory");
  }
  FileIdentity identity;
  EXPECT_EQ(this->files.Identify(this->path, identity).fail, Fail::kNotFound);
  EXPECT_TRUE(this->files.Remove(this->path).ok());
  const auto file = this->Open(OpenFor::kCreating);
  ASSERT_NE(file, nullptr) << this->status.text;
  EXPECT_EQ(this->Identity().size_bytes, 0);
  EXPECT_EQ(this->Read(*file, 0, 10), "");
}

TYPED_TEST(DataFilesContract, BytesAreWrittenAndReadAtPlaces) {
  const auto file = this->Open(OpenFor::kCreating);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->WriteAt(0, "0123456789").ok());
  EXPECT_TRUE(file->WriteAt(4, std::string_view("a\0b", 3)).ok());
  EXPECT_EQ(this->Read(*file, 0, 100), std::string("0123a\0b789", 10));
  EXPECT_EQ(this->Read(*file, 8, 1), "8");
  EXPECT_EQ(this->Read(*file, 9, 5), "9");
  EXPECT_EQ(this->Read(*file, 10, 5), "");
  EXPECT_EQ(this->Read(*file, 1'000'000, 5), "");
  EXPECT_TRUE(file->WriteAt(12, "x").ok());
  EXPECT_EQ(this->Read(*file, 8, 5), std::string("89\0\0x", 5)) << "zeros where nothing was written";
  EXPECT_TRUE(file->WriteAt(3, "").ok());
  EXPECT_TRUE(file->Truncate(5).ok());
  EXPECT_EQ(this->Read(*file, 0, 100), "0123a");
  EXPECT_TRUE(file->Truncate(7).ok());
  EXPECT_EQ(this->Read(*file, 0, 100), std::string("0123a\0\0", 7));
  EXPECT_TRUE(file->Sync().ok());
  FileIdentity identity;
  EXPECT_TRUE(file->Identify(identity).ok());
  EXPECT_EQ(identity.size_bytes, 7);
}

TYPED_TEST(DataFilesContract, WhatOneWritesTheOtherReadsAtOnce) {
  const auto writer = this->Open(OpenFor::kCreating), reader = this->Open(OpenFor::kReading);
  ASSERT_TRUE(writer && reader);
  EXPECT_TRUE(writer->WriteAt(0, "one").ok());
  EXPECT_EQ(this->Read(*reader, 0, 10), "one");
  EXPECT_FALSE(reader->WriteAt(0, "x").ok());
  EXPECT_FALSE(reader->Truncate(0).ok());
  EXPECT_EQ(this->Read(*reader, 0, 10), "one");
}

TYPED_TEST(DataFilesContract, AFileIsWrittenByOneProgramAtATime) {
  auto first = this->Open(OpenFor::kCreating);
  ASSERT_NE(first, nullptr);
  for (const OpenFor purpose : {OpenFor::kWriting, OpenFor::kCreating}) {
    EXPECT_EQ(this->Open(purpose), nullptr);
    EXPECT_EQ(this->status.fail, Fail::kRefused);
    EXPECT_EQ(this->status.text, this->path + ": is held by another program");
  }
  EXPECT_NE(this->Open(OpenFor::kReading), nullptr);
  first.reset();
  first = this->Open(OpenFor::kWriting);
  EXPECT_NE(first, nullptr);
  first.reset();
  const auto reader = this->Open(OpenFor::kReading);
  EXPECT_NE(this->Open(OpenFor::kWriting), nullptr) << "readers hold nothing";
}

TYPED_TEST(DataFilesContract, AnIdentityTellsEveryChange) {
  auto file = this->Open(OpenFor::kCreating);
  ASSERT_NE(file, nullptr);
  ASSERT_TRUE(file->WriteAt(0, "12345").ok());
  FileIdentity before = this->Identity(), held;
  ASSERT_TRUE(file->Identify(held).ok());
  EXPECT_EQ(before, held);
  EXPECT_EQ(before.size_bytes, 5);
  EXPECT_EQ(this->Read(*file, 0, 5), "12345");
  file.reset();
  file = this->Open(OpenFor::kCreating);
  EXPECT_EQ(this->Identity(), before) << "opening and reading are no changes";
  // The clock of a file system ticks in steps of some milliseconds.
  for (int i = 0; i < 1'000'000 && this->Identity() == before; ++i) ASSERT_TRUE(file->WriteAt(0, "12345").ok());
  EXPECT_NE(this->Identity(), before) << "the same bytes again are a change";
  before = this->Identity();
  this->disk.Replace(this->path);
  EXPECT_NE(this->Identity().inode, before.inode);
  ASSERT_TRUE(file->Identify(held).ok());
  EXPECT_EQ(held.inode, before.inode);
}

TYPED_TEST(DataFilesContract, AFileTakesThePlaceOfAnother) {
  auto old = this->Open(OpenFor::kCreating);
  ASSERT_TRUE(old->WriteAt(0, "old").ok());
  const std::string beside = this->root + "beside";
  std::unique_ptr<DataFile> file;
  ASSERT_TRUE(this->files.Open(beside, OpenFor::kCreating, file).ok());
  ASSERT_TRUE(file->WriteAt(0, "new").ok());
  file.reset();
  const FileIdentity before = this->Identity();
  ASSERT_TRUE(this->files.Replace(beside, this->path).ok());
  EXPECT_NE(this->Identity().inode, before.inode);
  EXPECT_EQ(this->Read(*this->Open(OpenFor::kReading), 0, 9), "new");
  EXPECT_EQ(this->Read(*old, 0, 9), "old");
  FileIdentity identity;
  EXPECT_EQ(this->files.Identify(beside, identity).fail, Fail::kNotFound);
  EXPECT_FALSE(this->files.Replace(beside, this->path).ok());
  EXPECT_EQ(this->Read(*this->Open(OpenFor::kReading), 0, 9), "new");
}

TYPED_TEST(DataFilesContract, AnOpenFileOutlivesItsName) {
  const auto file = this->Open(OpenFor::kCreating);
  ASSERT_NE(file, nullptr);
  ASSERT_TRUE(this->files.Remove(this->path).ok());
  EXPECT_TRUE(file->WriteAt(0, "still").ok());
  EXPECT_EQ(this->Read(*file, 0, 10), "still");
  EXPECT_TRUE(file->Sync().ok());
  FileIdentity identity;
  EXPECT_EQ(this->files.Identify(this->path, identity).fail, Fail::kNotFound);
  const auto other = this->Open(OpenFor::kCreating);
  ASSERT_NE(other, nullptr) << "the new file of this name is another";
  EXPECT_EQ(this->Read(*other, 0, 10), "");
}

TEST(PosixDataFiles, FoldersPipesAndForbiddenFilesAreToldByName) {
  TempFolder temp;
  PosixDataFiles files;
  std::unique_ptr<DataFile> file;
  ASSERT_EQ(::mkfifo((temp.path + "pipe").c_str(), 0644), 0);
  for (const std::string& path : {temp.path + "pipe", temp.path}) {
    const Status status = files.Open(path, OpenFor::kReading, file);
    EXPECT_EQ(status.fail, Fail::kIo) << path;
    EXPECT_TRUE(StartsWith(status.text, path)) << status.text;
  }
  EXPECT_EQ(files.Open(temp.path + "none/file", OpenFor::kCreating, file).fail, Fail::kNotFound);
  std::ofstream(temp.path + "plain") << "x";
  EXPECT_EQ(files.Open(temp.path + "plain/file", OpenFor::kCreating, file).fail, Fail::kNotFound);
  EXPECT_EQ(files.Remove(temp.path).fail, Fail::kIo);
  EXPECT_EQ(file, nullptr);
}

TEST(PosixDataFiles, APlaceBeyondFourGigabytesIsReached) {
  TempFolder temp;
  PosixDataFiles files;
  std::unique_ptr<DataFile> file;
  ASSERT_TRUE(files.Open(temp.path + "file", OpenFor::kCreating, file).ok());
  constexpr int64_t kFar = 5'000'000'000;
  ASSERT_TRUE(file->WriteAt(kFar, "far").ok());
  std::string text(10, '#');
  size_t count = 0;
  ASSERT_TRUE(file->ReadAt(kFar, text, count).ok());
  EXPECT_EQ(text.substr(0, count), "far");
  FileIdentity identity;
  ASSERT_TRUE(file->Identify(identity).ok());
  EXPECT_EQ(identity.size_bytes, kFar + 3);
  ASSERT_TRUE(file->Truncate(kFar + 1).ok());
  ASSERT_TRUE(file->ReadAt(kFar, text, count).ok());
  EXPECT_EQ(count, 1u);
}

}  // namespace
}  // namespace vantry
