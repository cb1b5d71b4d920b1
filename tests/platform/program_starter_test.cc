#include "platform/program_starter.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/temp_folder.h"

namespace vantry {
namespace {

struct ProgramStarterTest : ::testing::Test {
  TempFolder folder;
  ProgramStarter programs;

  ~ProgramStarterTest() override {
    EXPECT_TRUE(::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD) << "a child is left";
  }
  std::string File(const std::string& name, const std::string& text, mode_t mode = 0644) {
    const std::string path = folder.path + name;
    std::ofstream(path) << text;
    ::chmod(path.c_str(), mode);
    return path;
  }
  // `commands` write to "part", which is then called "done".
  std::string Script(const std::string& name, const std::string& commands) {
    return File(name, "#!/bin/sh\ncd " + folder.path + "\n" + commands + "\nPATH=/usr/bin:/bin mv part done\n", 0755);
  }
  std::string Read(const std::string& name) const {
    std::ifstream in(folder.path + name);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  bool Wait(const std::string& name) const {
    for (int i = 0; i < 4'000 && !std::filesystem::exists(folder.path + name); ++i) ::poll(nullptr, 0, 5);
    return std::filesystem::exists(folder.path + name);
  }
  // What the script left; "<nothing>" when it did not come to its end.
  std::string Done() const { return Wait("done") ? Read("done") : "<nothing>"; }
};

bool HasLine(const std::string& text, const std::string& line) {
  return ("\n" + text).find("\n" + line + "\n") != std::string::npos;
}

TEST_F(ProgramStarterTest, VariablesReachTheProgramAndNotOurOwnEnvironment) {
  ::setenv("vantryOther", "ours", 1);
  ::setenv("vantryValue", "ours", 1);
  programs.SetEnvironment("vantryValue", "old");
  programs.SetEnvironment("vantryValue", "a b=\"c\" $(d)\t\xff");
  programs.SetEnvironment(std::string("vantryCut\0Name", 14), std::string("cut\0value", 9));
  programs.SetEnvironment("", "no name");
  programs.SetEnvironment("no=name", "x");
  ASSERT_TRUE(programs.Start(Script("run.sh", "/usr/bin/env > part")).ok());
  const std::string text = Done();
  EXPECT_TRUE(HasLine(text, "vantryValue=a b=\"c\" $(d)\t\xff")) << text;
  EXPECT_TRUE(HasLine(text, "vantryCut=cut")) << text;
  EXPECT_TRUE(HasLine(text, "vantryOther=ours")) << text;
  EXPECT_EQ(text.find("vantryValue=ours"), std::string::npos);
  EXPECT_EQ(text.find("no name"), std::string::npos);
  EXPECT_EQ(text.find("no=name"), std::string::npos);
  EXPECT_STREQ(std::getenv("vantryValue"), "ours");
  ::unsetenv("vantryOther");
  ::unsetenv("vantryValue");
}

// With these a program could speak to the service manager in our name.
TEST_F(ProgramStarterTest, NotesForTheServiceManagerAreOursAlone) {
  constexpr const char* kNames[] = {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"};
  for (const char* name : kNames) ::setenv(name, "1", 1);
  ASSERT_TRUE(programs.Start(Script("run.sh", "/usr/bin/env > part")).ok());
  const std::string text = Done();
  for (const char* name : kNames) {
    EXPECT_EQ(text.find(name), std::string::npos);
    ::unsetenv(name);
  }
}

TEST_F(ProgramStarterTest, ProgramHasNoArgumentsAndOurFolder) {
  ASSERT_TRUE(programs.Start(Script("run.sh", "echo \"$# $OLDPWD\" > part")).ok());
  EXPECT_EQ(Done(), "0 " + std::filesystem::current_path().string() + "\n");
}

TEST_F(ProgramStarterTest, NothingOfOursIsLeftInTheProgram) {
  const int leak = ::open("/dev/zero", O_RDONLY);  // Without close-on-exec.
  ASSERT_GE(leak, 0);
  sigset_t blocked, before;
  ::sigfillset(&blocked);
  ::pthread_sigmask(SIG_SETMASK, &blocked, &before);
  const auto handler = ::signal(SIGPIPE, SIG_IGN);
  const Status status = programs.Start(Script("run.sh",
                                              "/bin/cat /proc/self/status > part\n/bin/ls -l /proc/self/fd >> part\n"
                                              "echo session $(/usr/bin/cut -d' ' -f6 /proc/$$/stat) >> part"));
  sigset_t after;
  ::pthread_sigmask(SIG_SETMASK, &before, &after);
  ::signal(SIGPIPE, handler);
  ::close(leak);
  ASSERT_TRUE(status.ok()) << status.text;
  EXPECT_TRUE(::sigismember(&after, SIGTERM)) << "ours is as it was";
  const std::string text = Done();
  EXPECT_TRUE(HasLine(text, "SigBlk:\t0000000000000000")) << text;
  EXPECT_TRUE(HasLine(text, "SigIgn:\t0000000000000000")) << text;
  EXPECT_EQ(text.find("/dev/zero"), std::string::npos) << text;
  EXPECT_NE(text.find("0 -> /dev/null"), std::string::npos) << text;
  EXPECT_NE(text.find("3 -> /proc/"), std::string::npos) << text;
  EXPECT_EQ(text.find("4 -> "), std::string::npos) << "the fourth is the listing's own: " << text;
  EXPECT_FALSE(HasLine(text, "session " + std::to_string(::getsid(0)))) << text;
}

TEST_F(ProgramStarterTest, OutputGoesWhereOursGoesUnlessItIsSilent) {
  const std::string script = Script("run.sh", "echo spoken\necho told >&2\necho > part");
  for (const bool silent : {false, true}) {
    std::filesystem::remove(folder.path + "done");
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(StartProgram({.program = script, .silent = silent}).ok());
    Done();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), silent ? "" : "spoken\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), silent ? "" : "told\n");
  }
}

TEST_F(ProgramStarterTest, StandardDescriptorsThatAreClosedHereAreNoTrap) {
  const std::string script = Script("run.sh", "/bin/ls -l /proc/self/fd > part");
  const int in = ::dup(STDIN_FILENO), error = ::dup(STDERR_FILENO);
  ::close(STDIN_FILENO);
  ::close(STDERR_FILENO);
  const Status status = programs.Start(script), missing = programs.Start(File("bad", "no program", 0755));
  ::dup2(in, STDIN_FILENO);
  ::dup2(error, STDERR_FILENO);
  ::close(in);
  ::close(error);
  ASSERT_TRUE(status.ok()) << status.text;
  EXPECT_FALSE(missing.ok());
  const std::string text = Done();
  EXPECT_NE(text.find("0 -> /dev/null"), std::string::npos) << text;
  EXPECT_NE(text.find("2 -> /dev/null"), std::string::npos) << text;
}

TEST_F(ProgramStarterTest, ProgramThatHangsHoldsNobody) {
  ASSERT_TRUE(programs.Start(Script("run.sh", "echo $$ > pid.part; mv pid.part pid\nexec sleep 1000")).ok());
  ASSERT_TRUE(Wait("pid"));
  const pid_t pid = std::atoi(Read("pid").c_str());
  ASSERT_GT(pid, 1);
  EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1) << "it is no child of ours";
  EXPECT_EQ(::kill(pid, SIGTERM), 0) << "it runs, and can be ended";
}

TEST_F(ProgramStarterTest, FilesThatCantBeStartedAreNamedWithWhatToDo) {
  EXPECT_EQ(programs.Start(folder.path).text, folder.path + ": is a folder; name a program or a document in it");
  EXPECT_EQ(programs.Start(folder.path + "gone").fail, Fail::kNotFound);
  EXPECT_EQ(programs.Start(folder.path + "gone").text,
            folder.path +
                "gone: No such file or directory; name a program or a document that is there, by its whole "
                "path");
  EXPECT_EQ(programs.Start("").text, "The file to run is not named");
  EXPECT_EQ(programs.Start("/dev/null").text, "/dev/null: is no plain file; name a program or a document");
}

TEST_F(ProgramStarterTest, ProgramsThatCantBeExecutedAreFailures) {
  const std::string text = File("text", "just text\n", 0755);
  EXPECT_EQ(programs.Start(text).text, text +
                                           ": can't be started: Exec format error: it is no program of this machine, "
                                           "and its first line names no interpreter");
  const std::string script = File("script", "#!/no/such/interpreter\n", 0755);
  EXPECT_EQ(programs.Start(script).text, script +
                                             ": can't be started: the interpreter that its first line names, or a "
                                             "library that it needs, is not there");
  programs.SetEnvironment("vantryBig", std::string(1 << 20, 'x'));
  const std::string good = Script("run.sh", "echo > part");
  EXPECT_EQ(programs.Start(good).text, good + ": can't be started: Argument list too long");
  EXPECT_EQ(StartProgram({.program = "/no/such/program"}).fail, Fail::kNotFound);
}

TEST_F(ProgramStarterTest, OtherFilesAreOpenedByTheProgramForTheirType) {
  const std::string page = File("page.html", "<p>");
  programs.SetEnvironment("PATH", ":/no/such/folder:" + folder.path);
  const Status status = programs.Start(page);
  EXPECT_EQ(status.fail, Fail::kRefused);
  EXPECT_EQ(status.text, page +
                             ": is not executable, and there is no xdg-open to open it with; make it executable if it "
                             "is a program, or install xdg-utils");
  Script("xdg-open", "echo \"$# $1\" > part");
  ASSERT_TRUE(programs.Start(page).ok());
  EXPECT_EQ(Done(), "1 " + page + "\n");
  File("xdg-open", "no program", 0755);
  const std::string broken = programs.Start(page).text;
  EXPECT_EQ(broken.rfind(page + " can't be opened: " + folder.path + "/xdg-open: can't be started: Exec format", 0), 0u)
      << broken;
}

TEST_F(ProgramStarterTest, ProgramsAreFoundInTheirOrder) {
  std::filesystem::create_directories(folder.path + "a/tool");
  std::filesystem::create_directories(folder.path + "b");
  std::filesystem::create_directories(folder.path + "c");
  const Variables path = {{"PATH", folder.path + "a:" + folder.path + "b:" + folder.path + "c"}};
  EXPECT_EQ(FindProgram("tool", path), "") << "a folder is none";
  File("b/tool", "", 0644);
  EXPECT_EQ(FindProgram("tool", path), "") << "not executable";
  File("c/tool", "", 0755);
  EXPECT_EQ(FindProgram("tool", path), folder.path + "c/tool");
  ::chmod((folder.path + "b/tool").c_str(), 0755);
  EXPECT_EQ(FindProgram("tool", path), folder.path + "b/tool");
  EXPECT_NE(FindProgram("sh"), "");
}

TEST(AsArgument, PathIsNeverAnOption) {
  EXPECT_EQ(AsArgument("-rf"), "./-rf");
  EXPECT_EQ(AsArgument("/a/-b"), "/a/-b");
}

}  // namespace
}  // namespace vantry
