// What each command of vantryctl asks, says and returns, against a made-up program.
#include "ctl/commands.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "ctl/loopback_server.h"
#include "platform/posix_files.h"
#include "support/memory_files.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

const std::string kSite =
    "Shop\x1b"
    "3\x1b"
    "1\x1b"
    "12\x1b"
    "4\x1b"
    "1/5/2026 10:00:01\x1b\n";
const std::string kVisitor = "d.example\t7\tpc1\ta\tb\t10:00:00\t10:00:09\tIE6\t-\t\n";

struct CommandTest : ::testing::Test {
  LoopbackServer server;
  MemoryFiles files;
  std::string out, err;

  int Run(CtlArguments arguments) {
    if (!arguments.port) arguments.port = server.port();
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int result = RunCommand(files, arguments);
    out = ::testing::internal::GetCapturedStdout();
    err = ::testing::internal::GetCapturedStderr();
    return result;
  }
  int Run(CtlCommand command, std::vector<std::string> operands = {}) {
    CtlArguments arguments;
    arguments.command = command;
    arguments.operands = std::move(operands);
    return Run(arguments);
  }
};

TEST_F(CommandTest, AReportIsWhereTheProgramSays) {
  server.answers["@REPORT My Shop"] = "OK /home/My Shop Daily Report.htm\r\n";
  EXPECT_EQ(Run(CtlCommand::kReport, {"My Shop"}), 0);
  EXPECT_EQ(out, "/home/My Shop Daily Report.htm\n");
  server.answers["@REPORT x"] = "ERROR There is no site 'x\x1b'\r\n";
  EXPECT_EQ(Run(CtlCommand::kReport, {"x"}), 1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(err, "vantryctl: There is no site 'x?'.\n");
  server.answers["@REPORT x"] = "500 what?\r\n";
  EXPECT_EQ(Run(CtlCommand::kReport, {"x"}), 1);
  EXPECT_EQ(err, "vantryctl: The answer names no report: '500 what?'. Check --host and --port.\n");
  // A name must not become a line of its own.
  for (const char* name : {"", "x\r\n@@STOP", "\t"}) {
    EXPECT_EQ(Run(CtlCommand::kReport, {name}), 1);
    EXPECT_EQ(err, "vantryctl: This can't be the name of a site.\n");
  }
}

TEST_F(CommandTest, CaptionsAreShownAndStrangersRefused) {
  EXPECT_EQ(Run(CtlCommand::kHello), 0);
  EXPECT_EQ(out, "Vantry 2.0.000 [Running]\n");
  EXPECT_EQ(Run(CtlCommand::kPause), 0);
  EXPECT_EQ(out, "Vantry 2.0.000 [Paused]\n");
  EXPECT_EQ(Run(CtlCommand::kContinue), 0);
  EXPECT_EQ(out, "Vantry 2.0.000 [Running]\n");
  server.answers["@HELLO"] = "500 \x1b[31m what?\r\n";
  EXPECT_EQ(Run(CtlCommand::kHello), 1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(err, "vantryctl: Something that is not Vantry answered: '500 ?[31m what?'. Check --host and --port.\n");
}

TEST_F(CommandTest, StopTakesTheAnswerOfAProgramThatEnds) {
  EXPECT_EQ(Run(CtlCommand::kStop), 0);
  EXPECT_EQ(out, "Vantry at 127.0.0.1:" + std::to_string(server.port()) + " ends.\n");
  server.answers["@@STOP"] = "XXX";
  EXPECT_EQ(Run(CtlCommand::kStop), 0) << "the end of the line may be lost with the program";
  server.answers["@@STOP"] = "no\r\n";
  EXPECT_EQ(Run(CtlCommand::kStop), 1);
  EXPECT_EQ(err, "vantryctl: The answer was not that of a Vantry that ends: 'no'.\n");
}

TEST_F(CommandTest, StatusIsATable) {
  EXPECT_EQ(Run(CtlCommand::kStatus), 0);
  EXPECT_EQ(out, "No sites are monitored.\n");
  server.answers["@STATUS"] = "rST\x1b" + kSite + "\r\n";
  EXPECT_EQ(Run(CtlCommand::kStatus), 0);
  EXPECT_EQ(out,
            "Site  State    Visitors  Alerts  Spiders  Exceptions  Last read\n"
            "Shop  running         3       1       12           4  1/5/2026 10:00:01\n");
  server.answers["@STATUS"] = "rST\x1b" + kSite;
  EXPECT_EQ(Run(CtlCommand::kStatus), 1) << "cut off";
  EXPECT_TRUE(Contains(err, "it was closed within an answer")) << err;
}

TEST_F(CommandTest, ListIsRowsForOtherProgramsWhateverAVisitorSent) {
  EXPECT_EQ(Run(CtlCommand::kList), 0);
  EXPECT_EQ(out, "");
  server.answers["GET "] = "HTTP/1.0 200 OK\r\n\r\n" + kVisitor + "\r\n";
  std::string asked;
  server.on_line = [&](const std::string& line) { asked += line + "|"; };
  EXPECT_EQ(Run(CtlCommand::kList, {"my site"}), 0);
  EXPECT_EQ(out, "d.example\t7\tpc1\ta?b\t10:00:00\t10:00:09\tIE6\t-\n");
  EXPECT_EQ(asked, "GET /?LIST&domain=my_site HTTP/1.0|");
  EXPECT_EQ(Run(CtlCommand::kList, {"my_site"}), 1);
  EXPECT_TRUE(Contains(err, "A domain with '_' can't be asked for"));
}

TEST_F(CommandTest, NobodyThereIsSaidWithWhatToDo) {
  CtlArguments arguments;
  arguments.command = CtlCommand::kHello;
  {
    LoopbackServer gone;
    arguments.port = gone.port();
  }
  EXPECT_EQ(Run(arguments), 1);
  EXPECT_TRUE(Contains(err, "Connection refused. Start Vantry there, or name its place with --host and --port."))
      << err;
}

TEST_F(CommandTest, ThePortComesFromTheSettings) {
  int port = 0;
  EXPECT_TRUE(DefaultPort(files, nullptr, port).ok());
  EXPECT_EQ(port, 8004);
  EXPECT_TRUE(DefaultPort(files, "/p", port).ok());
  EXPECT_EQ(port, 8004);
  files.Put("/p/SETTINGS.INI", "WebAccessPort= 9000\r\nAutoHide=x\r\n\r\n");
  EXPECT_TRUE(DefaultPort(files, "/p", port).ok());
  EXPECT_EQ(port, 9000);
  files.Put("/p/SETTINGS.INI", "WebAccessPort= 0\r\n\r\n");
  EXPECT_EQ(DefaultPort(files, "/p", port).fail, Fail::kBadData);
  files.entries["/p/SETTINGS.INI"]->readable = false;
  EXPECT_EQ(DefaultPort(files, "/p", port).fail, Fail::kIo);
}

TEST_F(CommandTest, AddSiteSaysWhatItRecognised) {
  TempFolder folder;
  std::ofstream(folder.path + "access.log")
      << "10.0.0.1 - - [05/Mar/2026:10:00:00 +0000] \"GET / HTTP/1.0\" 200 5 \"-\" \"B\"\n";
  PosixFiles disk;
  CtlArguments arguments;
  arguments.command = CtlCommand::kAddSite;
  arguments.name = "Mine";
  arguments.domain = "www.my.example";
  arguments.operands = {folder.path + "home", folder.path + "access.log"};
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(RunCommand(disk, arguments), 0);
  EXPECT_TRUE(Contains(::testing::internal::GetCapturedStdout(), "Added Mine (www.my.example): " + folder.path));
  ::testing::internal::CaptureStderr();
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(RunCommand(disk, arguments), 1);
  ::testing::internal::GetCapturedStdout();
  EXPECT_TRUE(Contains(::testing::internal::GetCapturedStderr(), "There is a site named 'Mine' already."));
  std::ostringstream text;
  text << std::ifstream(folder.path + "home/VANTRY.INI").rdbuf();
  EXPECT_TRUE(StartsWith(text.str(), "[Mine]\r\n"));
}

std::string TextOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

TEST_F(CommandTest, AddSiteWritesTheRegistryOfANewFolderAndLeavesAnother) {
  TempFolder folder;
  std::ofstream(folder.path + "access.log")
      << "10.0.0.1 - - [05/Mar/2026:10:00:00 +0000] \"GET / HTTP/1.0\" 200 5 \"-\" \"B\"\n";
  PosixFiles disk;
  CtlArguments arguments;
  arguments.command = CtlCommand::kAddSite;
  arguments.name = arguments.domain = "mine";
  const auto add = [&](const std::string& home) {
    arguments.operands = {folder.path + home, folder.path + "access.log"};
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(RunCommand(disk, arguments), 0);
    return ::testing::internal::GetCapturedStdout();
  };
  EXPECT_TRUE(Contains(add("new"), "Wrote registry.ini: only this machine may look and steer"));
  EXPECT_EQ(TextOf(folder.path + "new/registry.ini"),
            "; Security holds: BindAddress, ControlFrom, "
            "EscapeHTML\n\n[Security]\nBindAddress=127.0.0.1\nControlFrom=127.0.0.1\nEscapeHTML=True\n\n[Corrections]"
            "\nAll=True\n\n");
  ASSERT_TRUE(disk.MakeFolder(folder.path + "old/").ok());
  std::ofstream(folder.path + "old/registry.ini") << "[Settings]\n";
  EXPECT_FALSE(Contains(add("old"), "registry.ini"));
  EXPECT_EQ(TextOf(folder.path + "old/registry.ini"), "[Settings]\n");
}

TEST_F(CommandTest, CorrectionsAreListedAndSwitched) {
  TempFolder folder;
  PosixFiles disk;
  CtlArguments arguments;
  arguments.command = CtlCommand::kCorrections;
  const auto run = [&](std::vector<std::string> operands) {
    arguments.operands = std::move(operands);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int result = RunCommand(disk, arguments);
    out = ::testing::internal::GetCapturedStdout();
    err = ::testing::internal::GetCapturedStderr();
    return result;
  };
  EXPECT_EQ(run({folder.path}), 0);
  EXPECT_TRUE(Contains(out, "TrueTimes            off     A hit is shown at the time"));
  EXPECT_FALSE(Contains(out, "The change counts"));
  EXPECT_EQ(run({folder.path, "All=True", "MaxPrograms=3", "WholeLines=False"}), 0);
  EXPECT_TRUE(Contains(out, "TrueTimes            on      A hit"));
  EXPECT_TRUE(Contains(out, "MaxPrograms          3       "));
  EXPECT_TRUE(Contains(out, "WholeLines           off     "));
  EXPECT_TRUE(Contains(out, "The change counts from Vantry's next start.\n"));
  EXPECT_EQ(TextOf(folder.path + "registry.ini"), "[Corrections]\nAll=True\nMaxPrograms=3\nWholeLines=False\n\n");

  EXPECT_EQ(run({folder.path, "Foo=True"}), 1);
  EXPECT_EQ(err, "vantryctl: There is no correction 'Foo'; `vantryctl corrections` lists them.\n");
  EXPECT_EQ(run({folder.path, "TrueTimes"}), 1);
  EXPECT_EQ(err, "vantryctl: 'TrueTimes' is not KEY=VALUE.\n");
  EXPECT_EQ(run({folder.path + "nowhere"}), 1);
  EXPECT_EQ(err, "vantryctl: " + folder.path + "nowhere/ is not a folder.\n");
  ::setenv("VANTRY_HOME", folder.path.c_str(), 1);
  EXPECT_EQ(run({"TrueTimes=False"}), 0);
  EXPECT_TRUE(Contains(out, "TrueTimes            off"));
  ::unsetenv("VANTRY_HOME");
  EXPECT_EQ(run({}), 1);
  EXPECT_EQ(err, "vantryctl: Which folder? Name it, or set VANTRY_HOME.\n");
}

}  // namespace
}  // namespace vantry
