// Tables on real files and LMDB: damaged and foreign index files, and tables beyond 2 and 4 GB.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include "core/text.h"
#include "database/schema.h"
#include "database/table.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

struct DiskTest : ::testing::Test {
  TempFolder temp;
  PosixDataFiles files;
  LmdbIndex index;
  std::string told;
  std::unique_ptr<TableConnection> connection;
  std::unique_ptr<Table> table;
  std::string folder = temp.path;

  ~DiskTest() override { End(); }
  int Start() {
    told.clear();
    connection = std::make_unique<TableConnection>(
        files, index,
        TableConnection::Outlets{[] { return *MakeDay(2026, 3, 5); },
                                 [this](std::string_view text) { told += std::string(text) + "\n"; },
                                 [this](std::string_view text) { told += std::string(text) + "\n"; }});
    table = std::make_unique<Table>(*connection, pages::Schema().name);
    table->CreateTable(folder, Table::kReadWrite, pages::Schema().fields, pages::Schema().keys);
    return table->LastStatus();
  }
  void End() {
    table.reset();
    connection.reset();
  }
  void Stop() {
    table->CloseTable();
    EXPECT_EQ(table->LastStatus(), Table::kOk) << table->Problem();
    connection->Close();
    End();
  }
  int Add(int page) {
    table->ClearRecord();
    table->SetText(pages::kIP, "10.0.0.1");
    table->SetText(pages::kPageNo, PadNumber(page, 4));
    return table->Insert();
  }
  // How many of the pages from 1 on are found by their key.
  int Found(int pages_added) {
    int found = 0;
    for (int page = 1; page <= pages_added; ++page) {
      found += table->FindEqual(table->Key({"10.0.0.1", "", "", PadNumber(page, 4)})) == Table::kOk;
    }
    return found;
  }
  std::string Path(const std::string& name) const { return folder + name; }
  std::string Read(const std::string& name) const {
    std::ifstream in(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  // Into the file that is there, or as a new one.
  void Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary | std::ios::trunc) << bytes;
  }
};

TEST_F(DiskTest, ACleanStopAndStartBuildsNothing) {
  ASSERT_EQ(Start(), Table::kOk) << table->Problem();
  for (int page = 1; page <= 2000; ++page) ASSERT_EQ(Add(page), Table::kOk);
  for (int i = 0; i < 3; ++i) {
    Stop();
    ASSERT_EQ(Start(), Table::kOk);
    EXPECT_EQ(told, "");
    EXPECT_EQ(Found(2000), 2000);
  }
  EXPECT_EQ(table->Flush(), Table::kOk);
  End();  // Without a stop, and nothing changed since.
  ASSERT_EQ(Start(), Table::kOk);
  EXPECT_EQ(told, "");
}

TEST_F(DiskTest, AnIndexOfAnyOtherBytesIsBuiltAnew) {
  ASSERT_EQ(Start(), Table::kOk) << table->Problem();
  for (int page = 1; page <= 2000; ++page) ASSERT_EQ(Add(page), Table::kOk);
  Stop();
  const std::string good = Read("Vantry.idx");
  ASSERT_GT(good.size(), 20'000u);
  std::string scrambled = good;
  for (size_t i = 0; i < scrambled.size(); ++i)
    scrambled[i] = static_cast<char>(scrambled[i] ^ static_cast<char>(i * 7));
  std::string second_half = good;
  second_half.replace(good.size() / 2, std::string::npos, good.size() - good.size() / 2, '\xA5');
  const std::pair<const char*, std::string> damages[] = {
      {"empty", ""},
      {"one byte", "x"},
      {"garbage", std::string(50'000, '\xA5')},
      {"zeros", std::string(good.size(), '\0')},
      {"scrambled", scrambled},
      {"cut in half", good.substr(0, good.size() / 2)},
      {"cut in its first page", good.substr(0, 1000)},
      {"half garbage", second_half},
      {"without its first pages", std::string(8192, '\0') + good.substr(8192)},
      {"of another program", "SQLite format 3" + std::string(1, '\0') + std::string(8176, 'x')},
      {"a table", Read("Pages.DBF")},
  };
  for (const auto& [what, bytes] : damages) {
    for (const bool new_file : {false, true}) {
      if (new_file) std::filesystem::remove(Path("Vantry.idx"));
      Write("Vantry.idx", bytes);
      ASSERT_EQ(Start(), Table::kOk) << what << ": " << table->Problem();
      EXPECT_EQ(told, "The index of Pages is built anew from 2000 rows.\n") << what;
      EXPECT_EQ(Found(2000), 2000) << what;
      Stop();
      ASSERT_EQ(Start(), Table::kOk) << what;
      EXPECT_EQ(told, "") << what << ", the second time";
      Stop();
    }
  }
}

// The file is damaged and yet the one that the stamp tells of, as after a fault of the disk.
TEST_F(DiskTest, AnIndexThatCantBeOpenedIsBuiltAnewThoughItsStampFits) {
  ASSERT_EQ(Start(), Table::kOk) << table->Problem();
  for (int page = 1; page <= 2000; ++page) ASSERT_EQ(Add(page), Table::kOk);
  for (const std::string& bytes : {std::string(50'000, '\xA5'), std::string(9000, '\0')}) {
    Stop();
    Write("Vantry.idx", bytes);
    std::optional<IndexStamp> stamp = ParseStampFile(Read("Vantry.stamp"));
    ASSERT_TRUE(stamp && stamp->closed);
    ASSERT_TRUE(files.Identify(Path("Vantry.idx"), stamp->index).ok());
    stamp->turn = 2;
    Write("Vantry.stamp", BuildStamp(*stamp));
    ASSERT_EQ(Start(), Table::kOk) << table->Problem();
    EXPECT_EQ(told, "The index of Pages is built anew from 2000 rows.\n");
    EXPECT_EQ(Found(2000), 2000);
  }
}

// No file of this process may grow: as on a full disk, writes of the tables fail, and those of LMDB.
TEST_F(DiskTest, FilesThatMayNotGrowLoseNothing) {
  ASSERT_EQ(Start(), Table::kOk) << table->Problem();
  for (int page = 1; page <= 500; ++page) ASSERT_EQ(Add(page), Table::kOk);
  ASSERT_EQ(table->Flush(), Table::kOk) << table->Problem();
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
  for (const rlim_t bytes : {rlim_t{30'000}, rlim_t{70'000}, rlim_t{1}}) {
    const rlimit limit{bytes, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    const int first = static_cast<int>(table->RowCount()) + 1;
    for (int page = first; page < first + 2000; ++page) EXPECT_EQ(Add(page), Table::kOk);
    const int flushed = table->Flush();
    EXPECT_EQ(table->Flush(), flushed);
    const int found = Found(first + 1999);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(flushed, Table::kFailed);
    EXPECT_TRUE(Contains(table->Problem(), "File too large")) << table->Problem();
    EXPECT_EQ(found, first + 1999);
    EXPECT_EQ(table->Flush(), Table::kOk) << table->Problem();
    EXPECT_EQ(Found(first + 1999), first + 1999);
  }
  std::signal(SIGXFSZ, old_handler);
  Stop();
  ASSERT_EQ(Start(), Table::kOk);
  EXPECT_EQ(told, "");
  EXPECT_EQ(Found(6500), 6500);
}

TEST_F(DiskTest, ACopyOfTheFolderIsIndexedAnew) {
  ASSERT_EQ(Start(), Table::kOk) << table->Problem();
  for (int page = 1; page <= 200; ++page) ASSERT_EQ(Add(page), Table::kOk);
  Stop();
  TempFolder copy;
  std::filesystem::copy(temp.path, copy.path, std::filesystem::copy_options::recursive);
  folder = copy.path;
  ASSERT_EQ(Start(), Table::kOk) << table->Problem();
  EXPECT_EQ(told, "The index of Pages is built anew from 200 rows.\n");
  EXPECT_EQ(Found(200), 200);
  EXPECT_EQ(Add(201), Table::kOk);
  EXPECT_EQ(table->Text(pages::kRecordNo), "000000201");
  Stop();
}

TEST_F(DiskTest, AFileThatAnotherProgramHoldsIsNamed) {
  ASSERT_EQ(Start(), Table::kOk);
  Stop();
  for (const char* name : {"Pages.DBF", "Vantry.stamp", "Vantry.redo"}) {
    const int fd = ::open(Path(name).c_str(), O_RDWR);
    ASSERT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(Start(), Table::kFailed) << name;
    EXPECT_EQ(table->Problem(), Path(name) + ": is held by another program");
    ::close(fd);
    End();
  }
  ASSERT_EQ(Start(), Table::kOk);
  // And this one holds what it has open.
  const int fd = ::open(Path("Pages.DBF").c_str(), O_RDWR);
  EXPECT_NE(::flock(fd, LOCK_EX | LOCK_NB), 0);
  ::close(fd);
}

TEST_F(DiskTest, AMissingFolderIsNotFound) {
  folder = temp.path + "none/";
  EXPECT_EQ(Start(), Table::kNotFound);
  EXPECT_EQ(table->Problem(), folder + "Vantry.stamp: No such file or directory");
  std::filesystem::create_directory(folder);
  table->CreateTable(folder, Table::kReadWrite, pages::Schema().fields, pages::Schema().keys);
  EXPECT_EQ(table->LastStatus(), Table::kOk) << table->Problem();
}

struct BigTableTest : DiskTest, ::testing::WithParamInterface<int64_t> {};

// All but the last rows are holes in the file, which are not rows. They cost time but no space on the disk.
TEST_P(BigTableTest, FindsItsLastRowsAndTakesNewOnes) {
  RowLayout layout;
  ASSERT_TRUE(ParseFields(pages::Schema().fields, layout).ok());
  const std::string header = BuildHeader(layout, *MakeDay(2026, 1, 1), 0);
  const auto row_bytes = static_cast<int64_t>(layout.row_bytes);
  const auto rows = static_cast<uint32_t>(GetParam() / row_bytes);
  std::string last;
  for (int page = 1; page <= 3; ++page) {
    std::string row(layout.row_bytes, ' ');
    PutText(layout.fields[pages::kRecordNo], PadNumber(40'000'000 + page, 9), row.data());
    PutText(layout.fields[pages::kIP], "10.0.0.1", row.data());
    PutText(layout.fields[pages::kPageNo], PadNumber(page, 4), row.data());
    last += row;
  }
  std::unique_ptr<DataFile> file;
  ASSERT_TRUE(files.Open(Path("Pages.DBF"), OpenFor::kCreating, file).ok());
  ASSERT_TRUE(file->WriteAt(0, BuildHeader(layout, *MakeDay(2026, 1, 1), rows)).ok());
  const int64_t place = static_cast<int64_t>(header.size()) + (int64_t{rows} - 3) * row_bytes;
  ASSERT_TRUE(file->WriteAt(place, last + dbf::kEndMark).ok());
  file.reset();

  ASSERT_EQ(Start(), Table::kOk) << table->Problem();
  EXPECT_EQ(told, "The index of Pages is built anew from " + std::to_string(rows) + " rows.\n");
  EXPECT_EQ(table->RowCount(), rows);
  EXPECT_EQ(Found(3), 3);
  EXPECT_EQ(table->Text(pages::kRecordNo), "040000003");
  ASSERT_EQ(Add(4), Table::kOk);
  EXPECT_EQ(table->Text(pages::kRecordNo), "040000004");
  ASSERT_EQ(table->FindEqual(table->Key({"10.0.0.1", "", "", "0002"})), Table::kOk);
  table->SetText(pages::kPage, "changed");
  ASSERT_EQ(table->Update(), Table::kOk);
  Stop();

  EXPECT_EQ(std::filesystem::file_size(Path("Pages.DBF")), static_cast<uintmax_t>(place + 4 * row_bytes + 1));
  ASSERT_EQ(Start(), Table::kOk);
  EXPECT_EQ(told, "");
  EXPECT_EQ(table->RowCount(), rows + 1);
  EXPECT_EQ(Found(4), 4);
  ASSERT_EQ(table->FindEqual(table->Key({"10.0.0.1", "", "", "0002"})), Table::kOk);
  EXPECT_EQ(table->Text(pages::kPage), "changed");
  EXPECT_EQ(Found(5), 4);
  Stop();
}

INSTANTIATE_TEST_SUITE_P(Sizes, BigTableTest, ::testing::Values(int64_t{2'200'000'000}, int64_t{4'500'000'000}),
                         [](const auto& test) { return "Of" + std::to_string(test.param / 1'000'000) + "MB"; });

}  // namespace
}  // namespace vantry
