#include "platform/ping_program.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <vector>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

namespace vantry {
namespace {

constexpr size_t kMostOutput = 64 << 10;

std::vector<std::string> Arguments(const PingCall& call) {
  using std::chrono::seconds;
  const auto left = std::chrono::ceil<seconds>(call.until - std::chrono::steady_clock::now()).count();
  return {
      call.program, "-n", "-c", "1", "-W", std::to_string(std::max<int64_t>(1, left)), "-s", std::to_string(call.bytes),
      call.address};
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Owns what a start of a program needs.
struct SpawnPlan {
  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};

  explicit SpawnPlan(int output) {
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawnattr_init(&attributes);
    // The thread that starts it takes no signals; the program does.
    sigset_t none, all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
};

pid_t StartPing(const PingCall& call, int output) {
  std::vector<std::string> arguments = Arguments(call);
  // Its texts are read here, so they are to be in English.
  const char* path = std::getenv("PATH");
  std::vector<std::string> environment = {"LC_ALL=C", std::string("PATH=") + (path ? path : "/usr/bin:/bin")};
  const SpawnPlan plan(output);
  pid_t child = -1;
  const int error = ::posix_spawnp(&child, call.program.c_str(), &plan.actions, &plan.attributes,
                                   Pointers(arguments).data(), Pointers(environment).data());
  return error == 0 ? child : -1;
}

// Up to its end, or that of the time.
void ReadOutput(int fd, const PingCall& call, const StopSign& stop, std::string& output) {
  char part[4'096];
  while (output.size() < kMostOutput &&
         stop.Wait(fd, POLLIN, call.until + std::chrono::seconds(1)) == StopSign::Wake::kReady) {
    const ssize_t n = ::read(fd, part, sizeof part);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    output.append(part, static_cast<size_t>(n));
  }
}

}  // namespace

PingEnd RunPing(const PingCall& call, const StopSign& stop, std::string& output) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return PingEnd::kUnable;
  const Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  const pid_t child = StartPing(call, writing.get());
  writing.Close();
  if (child < 0) return PingEnd::kUnable;
  ReadOutput(reading.get(), call, stop, output);
  // It has said all that counts; whatever else it is doing is ended.
  int status = 0;
  pid_t ended = ::waitpid(child, &status, WNOHANG);
  for (int wait_ms = 0; ended == 0 && wait_ms < 200; ++wait_ms) {
    ::usleep(1'000);
    ended = ::waitpid(child, &status, WNOHANG);
  }
  if (ended == 0) {
    ::kill(child, SIGKILL);
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return PingEnd::kReplied;
  // 1: no reply has come. Anything else: it could not ask.
  const bool asked = WIFSIGNALED(status) || (WIFEXITED(status) && WEXITSTATUS(status) == 1);
  return asked ? PingEnd::kSilent : PingEnd::kUnable;
}

}  // namespace vantry
