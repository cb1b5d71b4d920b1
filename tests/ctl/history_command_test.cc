// `vantryctl history` on a folder with tables.
#include <filesystem>
#include <fstream>
#include <iostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/arguments.h"
#include "ctl/commands.h"
#include "platform/posix_files.h"
#include "support/database_rig.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct HistoryCommandTest : ::testing::Test {
  TempFolder folder;
  PosixFiles disk;
  std::string out, err;

  HistoryCommandTest() {
    DatabaseRig rig;
    rig.Visit("10.0.0.1", "10:00:00", 1, 4);
    VisitorRec v = rig.Visitor("10.0.0.1", "11:00:00");
    v.Referrer = "http://from.example/x";
    rig.database->UpdateVisitor(v, false);
    rig.database->AddVisitToDatabase(v, "a.htm");
    rig.database->AddPageToDatabase(v);
    v.Page = "/tool.zip";
    rig.database->AddDownload(v);
    rig.database->UpdateDaySummaries();
    rig.database->FlushAll();
    std::filesystem::create_directory(folder.path + "Data");
    for (const TableSchema* schema : HistorySchemas()) {
      std::ofstream(folder.path + "Data/" + schema->name + ".DBF") << rig.disk.Get(rig.Path(schema->name));
    }
  }
  int Run(std::vector<std::string> words) {
    words.insert(words.begin(), {"history", folder.path});
    CtlArguments a;
    const Status status = ParseArguments(words, a);
    if (!status.ok()) {
      err = status.text;
      return 2;
    }
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int result = RunCommand(disk, a);
    out = ::testing::internal::GetCapturedStdout();
    err = ::testing::internal::GetCapturedStderr();
    return result;
  }
};

TEST_F(HistoryCommandTest, ShowsEachListAsATable) {
  ASSERT_EQ(Run({"visits", "--address", "10.0.0.1", "--site", "One"}), 0) << err;
  EXPECT_THAT(out, ::testing::StartsWith("Previous Visits For 10.0.0.1 On Site One\n\n"));
  EXPECT_THAT(out, HasSubstr("00001  One"));
  EXPECT_THAT(out, HasSubstr("00002  One"));
  ASSERT_EQ(Run({"visit", "2", "--address=10.0.0.1", "--site=One"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("Session Started"));
  ASSERT_EQ(Run({"referrers"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("http://from.example"));
  ASSERT_EQ(Run({"downloads"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("tool.zip"));
  ASSERT_EQ(Run({"downloads", "--address", "10.0.0.1"}), 0) << err;
  EXPECT_THAT(out, ::testing::StartsWith("Downloaded Files For 10.0.0.1 [All Sites]"));
  ASSERT_EQ(Run({"days", "--site", "One"}), 0) << err;
  EXPECT_THAT(out, ::testing::StartsWith("Days: One\n\n"));
}

TEST_F(HistoryCommandTest, WritesForPrograms) {
  ASSERT_EQ(Run({"visits", "--format", "csv", "--address", "10.0.0.1"}), 0) << err;
  EXPECT_THAT(out, ::testing::StartsWith("visit,site,date,time,"));
  EXPECT_THAT(out, HasSubstr("\r\n00001,One,2026-03-04,10:00:00,"));
  ASSERT_EQ(Run({"downloads", "--format", "json"}), 0) << err;
  EXPECT_EQ(out,
            "[\n{\"no\": 1, \"downloads\": 1, \"first\": \"2026-03-05\", \"last\": \"2026-03-05\", \"file\": "
            "\"tool.zip\"}\n]\n");
  ASSERT_EQ(Run({"referrers", "--site", "Nowhere", "--format", "json"}), 0) << err;
  EXPECT_EQ(out, "[\n]\n");
}

TEST_F(HistoryCommandTest, TakesDaysAndALimit) {
  ASSERT_EQ(Run({"visits", "--from", "2026-03-05", "--format", "csv"}), 0) << err;
  EXPECT_THAT(out, Not(HasSubstr("2026-03-04")));
  EXPECT_THAT(out, HasSubstr("2026-03-05"));
  ASSERT_EQ(Run({"visits", "--to", "2026-03-04", "--format", "csv"}), 0) << err;
  EXPECT_THAT(out, Not(HasSubstr("2026-03-05")));
  ASSERT_EQ(Run({"visits", "--limit", "1", "--format", "csv"}), 0) << err;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 2);
  ASSERT_EQ(Run({"visits", "--address", "10.9.9.9"}), 0) << err;
  EXPECT_THAT(out, HasSubstr("Nothing is known of that."));
}

TEST_F(HistoryCommandTest, SaysWhatItCannotDo) {
  EXPECT_EQ(Run({"visits", "--from", "5.3.2026"}), 2);
  EXPECT_EQ(err, "--from takes a day like 2026-03-05, not '5.3.2026'.");
  EXPECT_EQ(Run({"visits", "--limit", "0"}), 2);
  EXPECT_EQ(Run({"visits", "--format", "xml"}), 2);
  EXPECT_EQ(Run({"visits", "--site", " "}), 2);
  EXPECT_EQ(Run({"visits", "more"}), 1);
  EXPECT_EQ(Run({"visit"}), 1);
  EXPECT_THAT(err, HasSubstr("needs the number of one visit"));
  EXPECT_EQ(Run({"visit", "x", "--site", "One", "--address", "10.0.0.1"}), 1);
  EXPECT_EQ(Run({"visit", "1"}), 1);
  EXPECT_THAT(err, HasSubstr("needs --site and --address"));
  EXPECT_EQ(Run({"days", "--address", "10.0.0.1"}), 1);
  EXPECT_EQ(Run({"nothing"}), 1);
}

TEST_F(HistoryCommandTest, ADamagedTableIsToldAndTheOutputStaysWhole) {
  std::ofstream(folder.path + "Data/Visits.DBF") << "no table";
  EXPECT_EQ(Run({"visits", "--format", "json"}), 1);
  EXPECT_EQ(out, "[\n]\n");
  EXPECT_THAT(err, HasSubstr("Visits.DBF"));
}

TEST_F(HistoryCommandTest, ChangesNoFile) {
  const auto state = [this] {
    std::map<std::string, std::pair<uintmax_t, std::filesystem::file_time_type>> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path)) {
      files[entry.path()] = {entry.is_regular_file() ? entry.file_size() : 0, entry.last_write_time()};
    }
    return files;
  };
  const auto before = state();
  for (const char* list : {"visits", "referrers", "downloads", "days"}) EXPECT_EQ(Run({list}), 0);
  EXPECT_EQ(state(), before);
}

}  // namespace
}  // namespace vantry
