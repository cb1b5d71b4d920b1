// The commands that do what the dialogs do: on a folder of files, and against a made-up program that holds its lock.
#include "ctl/edit_commands.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include <gtest/gtest.h>

#include "core/text.h"
#include "ctl/commands.h"
#include "ctl/hand_over.h"
#include "ctl/loopback_server.h"
#include "platform/posix_files.h"
#include "platform/single_instance.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

using C = CtlCommand;

std::string BytesOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

struct EditCommandTest : ::testing::Test {
  TempFolder folder;
  PosixFiles disk;
  LoopbackServer server;
  std::string out, err;
  bool yes = false;

  EditCommandTest() {
    Write("VANTRY.INI", "[Shop]\r\nType=2\r\nFolder=" + folder.path +
                            "\r\nMask=*.log\r\nDomain=www.shop.example\r\nFrequency=5\r\nLastReadPos=7\r\n"
                            "FTPPassword=hush\r\n\r\nAlert=All\r\nAlertENGINEALL=Y\r\n\r\n[News]\r\nFolder=" +
                            folder.path + "\r\nDomain=www.news.example\r\nPaused=True\r\n\r\n");
    Write("SETTINGS.INI",
          "[Vantry Settings]\r\nEmailPassword=hush\r\nWebAccessPort= " + std::to_string(server.port()) + "\r\n\r\n");
  }
  void Write(const std::string& name, const std::string& bytes) { std::ofstream(folder.path + name) << bytes; }
  std::string File(const std::string& name) const { return BytesOf(folder.path + name); }
  int Run(C command, std::vector<std::string> operands) {
    CtlArguments a;
    a.command = command;
    a.yes = yes;
    a.operands = std::move(operands);
    a.operands.insert(a.operands.begin(), folder.path);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int result = RunCommand(disk, a);
    out = ::testing::internal::GetCapturedStdout();
    err = ::testing::internal::GetCapturedStderr();
    return result;
  }
  size_t FilesThere() {
    std::vector<FileEntry> entries;
    (void)disk.List(folder.path, entries);
    return entries.size();
  }
};

TEST(EditOperandsOf, TheFolderIsOneMoreInFront) {
  struct Case {
    C command;
    std::vector<std::string> operands;
    std::string folder;
    std::vector<std::string> names;
    size_t values;
  };
  const Case cases[] = {{C::kSites, {}, "", {}, 0},
                        {C::kSites, {"d"}, "d", {}, 0},
                        {C::kSetSite, {"n", "K=v"}, "", {"n"}, 1},
                        {C::kSetSite, {"d", "n", "K=v", "L="}, "d", {"n"}, 2},
                        {C::kSetSite, {"a=b", "K=v"}, "", {"a=b"}, 1},
                        {C::kSetSite, {"d", "n"}, "d", {"n"}, 0},
                        {C::kRemoveSite, {"a=b"}, "", {"a=b"}, 0},
                        {C::kRemoveSite, {"d", "a=b"}, "d", {"a=b"}, 0},
                        {C::kSet, {"K=v"}, "", {}, 1},
                        {C::kSet, {"d", "K=v"}, "d", {}, 1},
                        {C::kSetAlert, {"n", "1", "K=v"}, "", {"n", "1"}, 1},
                        {C::kSetAlert, {"d", "n", "new", "K=v=w"}, "d", {"n", "new"}, 1}};
  for (const Case& c : cases) {
    EditOperands read;
    ASSERT_TRUE(ReadEditOperands(c.command, c.operands, read).ok()) << ::testing::PrintToString(c.operands);
    EXPECT_EQ(read.folder, c.folder);
    EXPECT_EQ(read.names, c.names);
    EXPECT_EQ(read.values.size(), c.values);
  }
  EditOperands read;
  EXPECT_EQ(ReadEditOperands(C::kSetSite, {"d", "n", "K"}, read).text, "'K' is not KEY=VALUE.");
  EXPECT_FALSE(ReadEditOperands(C::kSet, std::vector<std::string>(kMostValues + 1, "K=v"), read).ok());
}

TEST_F(EditCommandTest, ListsHidePasswords) {
  EXPECT_EQ(Run(C::kSites, {}), 0);
  EXPECT_EQ(out, "Site  Domain            State    Type                  Log" +
                     std::string(folder.path.size() + 2, ' ') +
                     "  Seconds  Alerts\n"
                     "Shop  www.shop.example  watched  NCSA Common/Combined  " +
                     folder.path +
                     "*.log        5       1\n"
                     "News  www.news.example  paused   W3C Extended          " +
                     folder.path + "             0       0\n");
  EXPECT_EQ(Run(C::kSetSite, {"shop"}), 0);
  EXPECT_TRUE(Contains(out, "\nDomain=www.shop.example\n"));
  EXPECT_TRUE(Contains(out, "\nFTPPassword=********\n"));
  EXPECT_TRUE(Contains(out, "\nWebPassword=\n"));
  EXPECT_FALSE(Contains(out, "hush"));
  EXPECT_EQ(Run(C::kSettings, {}), 0);
  EXPECT_TRUE(Contains(out, "\nEmailPassword=********\n"));
  EXPECT_TRUE(Contains(out, "\nAutoArchiveTime=02:00:00\n"));
  EXPECT_EQ(Run(C::kExceptions, {}), 0);
  EXPECT_TRUE(Contains(out, "   130  Yes                           Single visitor on site for more than 10 minutes\n"));
  EXPECT_EQ(Run(C::kSetException, {"130"}), 0);
  EXPECT_TRUE(StartsWith(out, "Description=Single visitor on site for more than [value] minutes\nValue=10\n"));
  EXPECT_EQ(Run(C::kAlerts, {"Shop"}), 0);
  EXPECT_EQ(out, "No  Enabled  Name\n 1  Yes      All\n");
  EXPECT_EQ(Run(C::kSetAlert, {"Shop", "1"}), 0);
  EXPECT_TRUE(Contains(out, "EngineAll=True\n"));
}

TEST_F(EditCommandTest, ListsSayWhatIsNotThere) {
  EXPECT_EQ(Run(C::kAlerts, {"Shpo"}), 1);
  EXPECT_EQ(err, "vantryctl: There is no site 'Shpo'; did you mean 'Shop'?\n");
  EXPECT_EQ(Run(C::kAlerts, {"News"}), 0);
  EXPECT_EQ(out, "The site has no alert.\n");
  EXPECT_EQ(Run(C::kSetAlert, {"Shop", "2"}), 1);
  EXPECT_EQ(err, "vantryctl: The site 'Shop' has no alert '2'; `vantryctl alerts` lists them.\n");
  EXPECT_EQ(Run(C::kSetException, {"7"}), 1);
  EXPECT_EQ(err, "vantryctl: There is no exception type '7'.\n");
  Write("VANTRY.INI", "[\x1b[31m]\r\nUnix=x\r\n\r\n");
  EXPECT_EQ(Run(C::kSites, {}), 1);
  EXPECT_TRUE(Contains(out, "?[31m"));
  EXPECT_EQ(err, "vantryctl: " + folder.path +
                     "VANTRY.INI line 2: 'x' is neither True nor False. Nothing after this line was read.\n");
  Write("VANTRY.INI", "");
  EXPECT_EQ(Run(C::kSites, {}), 0);
  EXPECT_EQ(out, "There is no site.\n");
}

TEST_F(EditCommandTest, AStoppedProgramsFilesAreChanged) {
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "mask=a*.log"}), 0) << err;
  EXPECT_EQ(out, "Changed the site 'Shop'. Its log is read from the beginning.\n");
  EXPECT_TRUE(Contains(File("VANTRY.INI"), "Mask=a*.log\r\n"));
  EXPECT_TRUE(Contains(File("VANTRY.INI"), "LastReadPos=0\r\n"));
  EXPECT_EQ(Run(C::kRemoveSite, {"News"}), 0);
  EXPECT_EQ(out, "Removed the site 'News'. Its history stays.\n");
  EXPECT_FALSE(Contains(File("VANTRY.INI"), "[News]"));
  EXPECT_EQ(Run(C::kSet, {"EmailServer=mail.example"}), 0);
  EXPECT_TRUE(Contains(File("SETTINGS.INI"), "EmailServer=mail.example\r\n"));
  EXPECT_TRUE(Contains(File("SETTINGS.INI"), "EmailPassword=hush\r\n"));
  EXPECT_EQ(Run(C::kSetException, {"130", "Value=12"}), 0);
  EXPECT_TRUE(Contains(File("EXTYPES.INI"), "Value=12\r\n"));
  EXPECT_EQ(Run(C::kSetAlert, {"Shop", "new", "Name=Two", "Page=/a.htm"}), 0);
  EXPECT_TRUE(Contains(File("VANTRY.INI"), "AlertPage1=/a.htm\r\n"));
  EXPECT_EQ(Run(C::kRemoveAlert, {"Shop", "1"}), 0);
  EXPECT_EQ(Run(C::kAlerts, {"Shop"}), 0);
  EXPECT_EQ(out, "No  Enabled  Name\n 1  Yes      Two\n");
  EXPECT_EQ(Run(C::kRemoveSite, {"Shop"}), 0);
  EXPECT_FALSE(disk.Exists(folder.path + "VANTRY.INI")) << "as the program leaves it";
}

TEST_F(EditCommandTest, WhatFailsACheckChangesNoByte) {
  const std::string sites = File("VANTRY.INI"), settings = File("SETTINGS.INI");
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "Domain=www.news.example"}), 1);
  EXPECT_EQ(err, "vantryctl: Domain: This Domain is already being monitored. The Domain name must be unique.\n");
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "Name=Store"}), 1);
  EXPECT_TRUE(Contains(err, "add --yes")) << err;
  EXPECT_EQ(Run(C::kSet, {"InactivityMins=1"}), 1);
  EXPECT_EQ(File("VANTRY.INI"), sites);
  EXPECT_EQ(File("SETTINGS.INI"), settings);
  Write("VANTRY.INI", sites + "Unix=Maybe\r\n\r\n");
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "HomePage=x"}), 1);
  EXPECT_TRUE(Contains(err, "'Maybe' is neither True nor False")) << err;
  EXPECT_EQ(File("VANTRY.INI"), sites + "Unix=Maybe\r\n\r\n");
  Write("VANTRY.INI", sites);
  yes = true;
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "Name=Store"}), 0);
  EXPECT_TRUE(StartsWith(File("VANTRY.INI"), "[Store]\r\n"));
}

TEST_F(EditCommandTest, APasswordComesFromStandardInput) {
  std::istringstream typed("p w\nq\n");
  std::streambuf* before = std::cin.rdbuf(typed.rdbuf());
  EXPECT_EQ(Run(C::kSet, {"emailpassword=-", "EmailSubject=-"}), 0);
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "WebPassword=-"}), 0);
  std::istringstream endless(std::string(1'000'000, 'x'));
  std::cin.rdbuf(endless.rdbuf());
  EXPECT_EQ(Run(C::kSet, {"EmailPassword=-"}), 1);
  EXPECT_EQ(err, "vantryctl: EmailPassword: A value takes 10000 bytes at most, not 10001.\n");
  std::cin.rdbuf(before);
  EXPECT_TRUE(Contains(File("SETTINGS.INI"), "EmailPassword=p w\r\n"));
  EXPECT_TRUE(Contains(File("SETTINGS.INI"), "EmailSubject=-\r\n")) << "not a password";
  EXPECT_TRUE(Contains(File("VANTRY.INI"), "WebPassword=q\r\n"));
}

struct RunningTest : EditCommandTest {
  SingleInstance lock{folder.path + "vantry.lock"};
  std::string request, asked;
  RunningTest() {
    EXPECT_TRUE(lock.Acquire().ok());
    server.on_line = [this](const std::string& line) {
      asked += line + "|";
      if (StartsWith(line, "@EDIT ")) request = BytesOf(folder.path + kRequestFile + line.substr(6));
    };
  }
};

TEST_F(RunningTest, ARunningProgramIsAskedAndNoFileIsTouched) {
  const std::string sites = File("VANTRY.INI");
  const size_t files = FilesThere();
  server.answers["@EDIT "] = "OK Changed the site '\x1bShop'.\r\n";
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "WebPassword=secret\r\n@@STOP"}), 0) << err;
  EXPECT_EQ(out, "Changed the site '?Shop'.\n");
  EXPECT_EQ(request, "vantry-edit 1\nset-site\nShop\n\n\nWebPassword\nsecret%0d%0a@@STOP\nend\n");
  EXPECT_FALSE(Contains(asked, "secret")) << "what is asked does not cross the network";
  EXPECT_TRUE(IsToken(asked.substr(asked.find("@EDIT ") + 6, kTokenSize)));
  EXPECT_EQ(File("VANTRY.INI"), sites);
  EXPECT_EQ(FilesThere(), files) << "the request is gone";
  server.answers["@EDIT "] = "ERROR Domain: The domain name cannot contain spaces.\r\n";
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "Domain=a b"}), 1);
  EXPECT_EQ(err, "vantryctl: Domain: The domain name cannot contain spaces.\n");
  server.answers["@EDIT "] = "500 what?\r\n";
  EXPECT_EQ(Run(C::kSetSite, {"Shop", "Domain=x"}), 1);
  EXPECT_EQ(err, "vantryctl: The answer makes no sense: '500 what?'.\n");
}

TEST_F(RunningTest, ABusyProgramIsAskedAgain) {
  int times = 0;
  server.answers["@EDIT "] = "BUSY A scan is under way\r\n";
  server.on_line = [&](const std::string& line) {
    if (StartsWith(line, "@EDIT ") && ++times == 3) server.answers["@EDIT "] = "OK Done.\r\n";
  };
  EXPECT_EQ(Run(C::kSet, {"NoSpiders=True"}), 0);
  EXPECT_EQ(out, "Done.\n");
  EXPECT_EQ(times, 3);
}

TEST_F(RunningTest, WhereNobodyMayAskNothingIsChanged) {
  const std::string settings = File("SETTINGS.INI");
  Write("registry.ini", "[Security]\nControlFrom=-\n\n");
  EXPECT_EQ(Run(C::kSet, {"NoSpiders=True"}), 1);
  EXPECT_EQ(err, "vantryctl: Vantry runs on " + folder.path +
                     ", and ControlFrom=- in its registry.ini forbids to tell it anything. End it first, or allow this "
                     "machine there and start it anew. Nothing was changed.\n");
  Write("registry.ini", "");
  server.answers["@HELLO"] = server.answers["@EDIT "] = "500 what?\r\n";
  EXPECT_EQ(Run(C::kSet, {"NoSpiders=True"}), 1);
  EXPECT_TRUE(Contains(err, "Something that is not Vantry answers at 127.0.0.1:")) << err;
  {
    LoopbackServer gone;
    Write("SETTINGS.INI", "WebAccessPort= " + std::to_string(gone.port()) + "\r\n\r\n");
  }
  EXPECT_EQ(Run(C::kSet, {"NoSpiders=True"}), 1);
  EXPECT_TRUE(Contains(err, "Connection refused.")) << err;
  EXPECT_TRUE(Contains(err, "or stop it first. Nothing was changed.")) << err;
  EXPECT_FALSE(Contains(File("SETTINGS.INI"), "NoSpiders"));
}

TEST_F(RunningTest, WhoDoesNotAnswerIsToldApart) {
  Endpoint endpoint{"127.0.0.1", server.port(), 1'000, 100};
  std::string told;
  const EditRequest removal{EditVerb::kRemoveSite, "Shop", "", false, {}};
  server.answers.erase("@EDIT ");
  Status status = HandOver(disk, folder.path, endpoint, removal, told);
  EXPECT_EQ(status.text, "The Vantry at " + endpoint.Name() +
                             " does not know this command; it may be an older one. Stop it first: `vantryctl stop`. "
                             "Nothing was changed.");
  server.on_line = [this](const std::string& line) {
    if (StartsWith(line, "@EDIT ")) (void)disk.Remove(folder.path + kRequestFile + line.substr(6));
  };
  status = HandOver(disk, folder.path, endpoint, removal, told);
  EXPECT_TRUE(status.text.ends_with("Vantry has taken the change, but did not say what became of it.")) << status.text;
  server.answers.erase("@HELLO");
  status = HandOver(disk, folder.path, endpoint, removal, told);
  EXPECT_TRUE(Contains(status.text, "that this machine may control it.")) << status.text;
  EXPECT_TRUE(status.text.ends_with("Nothing was changed.")) << status.text;
}

TEST_F(RunningTest, TheRequestIsForNobodyElse) {
  server.answers["@EDIT "] = "OK Done.\r\n";
  std::filesystem::perms mode{};
  server.on_line = [&](const std::string& line) {
    if (!StartsWith(line, "@EDIT ")) return;
    mode = std::filesystem::status(folder.path + kRequestFile + line.substr(6)).permissions();
  };
  EXPECT_EQ(Run(C::kSet, {"NoSpiders=True"}), 0);
  EXPECT_EQ(mode, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

}  // namespace
}  // namespace vantry
