#include "platform/program_starter.h"

#include <algorithm>
#include <cstdlib>

#include <signal.h>
#include <sys/wait.h>

#include "core/text.h"
#include "platform/posix_support.h"

namespace vantry {
namespace {

bool IsPlainFile(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// Everything needed between fork and exec, where no memory may be allocated: another thread may hold the lock.
struct Launch {
  const char* program = nullptr;
  std::vector<char*> arguments, environment;  // Each null-terminated.
  int null = -1, report = -1;                 // Above the three standard descriptors.
  int descriptors = 0;                        // No descriptor is as high as this.
  bool silent = false;
};

// Sets a descriptor up above the standard ones: those may be closed here and are given to the program.
int AboveStandard(int fd) {
  if (fd < 0 || fd > STDERR_FILENO) return fd;
  const int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ::close(fd);
  return moved;
}

void CloseOthersAtExec(int descriptors) {
#ifdef CLOSE_RANGE_CLOEXEC
  if (::close_range(STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC) == 0) return;
#endif
  for (int fd = STDERR_FILENO + 1; fd < descriptors; ++fd) ::fcntl(fd, F_SETFD, FD_CLOEXEC);
}

[[noreturn]] void TellAndExit(int report) {
  const int error = errno;
  (void)!::write(report, &error, sizeof error);
  ::_exit(127);
}

[[noreturn]] void Become(const Launch& launch) {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) ::sigaction(number, &standard, nullptr);
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    const bool replaced = fd == STDIN_FILENO || launch.silent || ::fcntl(fd, F_GETFD) < 0;
    if (replaced && ::dup2(launch.null, fd) < 0) TellAndExit(launch.report);
  }
  CloseOthersAtExec(launch.descriptors);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::execve(launch.program, launch.arguments.data(), launch.environment.data());
  TellAndExit(launch.report);
}

// Runs as a child, which ends at once: its own child is then nobody's to wait for.
[[noreturn]] void ForkAgain(const Launch& launch) {
  ::setsid();
  const pid_t child = ::fork();
  if (child == 0) Become(launch);
  if (child < 0) TellAndExit(launch.report);
  ::_exit(0);
}

// Starts the program; returns 0 or the errno of what failed.
int Run(Launch& launch) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return errno;
  const Descriptor reading(ends[0]);
  Descriptor writing(AboveStandard(ends[1]));
  const Descriptor null(AboveStandard(::open("/dev/null", O_RDWR | O_CLOEXEC)));
  if (!writing || !null) return errno;
  launch.report = writing.get();
  launch.null = null.get();
  sigset_t all, before;
  ::sigfillset(&all);
  // No handler of ours may run in the child.
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t child = ::fork();
  if (child == 0) ForkAgain(launch);
  const int fork_error = errno;
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (child < 0) return fork_error;
  writing.Close();
  while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  int error = 0;
  ssize_t n = 0;
  while ((n = ::read(reading.get(), &error, sizeof error)) < 0 && errno == EINTR) {
  }
  return n == sizeof error ? error : 0;
}

std::string Reason(int error) {
  switch (error) {
    case ENOENT:
      return "the interpreter that its first line names, or a library that it needs, is not there";
    case ENOEXEC:
      return "Exec format error: it is no program of this machine, and its first line names no interpreter";
    default:
      return std::strerror(error);
  }
}

std::vector<std::string> Environment(const Variables& variables) {
  std::vector<std::string> pairs;
  for (char** pair = environ; pair && *pair; ++pair) {
    const std::string_view text = *pair;
    if (!variables.contains(std::string(text.substr(0, text.find('='))))) pairs.emplace_back(text);
  }
  for (const auto& [name, value] : variables) pairs.push_back(name + "=" + value);
  return pairs;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::string UpToNul(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

}  // namespace

Status StartProgram(const ProgramCall& call) {
  std::vector<std::string> arguments = {call.program};
  arguments.insert(arguments.end(), call.arguments.begin(), call.arguments.end());
  std::vector<std::string> environment = Environment(call.variables);
  Launch launch;
  launch.program = call.program.c_str();
  launch.arguments = Pointers(arguments);
  launch.environment = Pointers(environment);
  launch.descriptors = static_cast<int>(std::min(::sysconf(_SC_OPEN_MAX), 1L << 20));
  launch.silent = call.silent;
  const int error = Run(launch);
  if (error == 0) return Status::Ok();
  if (error == ENOENT && ::access(call.program.c_str(), F_OK) != 0) return Failure(call.program, error);
  return Status::Error(Fail::kIo, call.program + ": can't be started: " + Reason(error));
}

std::string FindProgram(const std::string& name, const Variables& variables) {
  const auto own = variables.find("PATH");
  const char* of_ours = std::getenv("PATH");
  const std::string path = own != variables.end() ? own->second : of_ours ? of_ours : "/usr/local/bin:/usr/bin:/bin";
  for (const std::string_view folder : Split(path, ':')) {
    const std::string file = std::string(folder) + "/" + name;
    if (!folder.empty() && IsPlainFile(file) && ::access(file.c_str(), X_OK) == 0) return file;
  }
  return "";
}

std::string AsArgument(const std::string& path) {
  return StartsWith(path, "-") ? "./" + path : path;
}

void ProgramStarter::SetEnvironment(const std::string& name, const std::string& value) {
  const std::string key = UpToNul(name);
  if (!key.empty() && !Contains(key, "=")) variables_[key] = UpToNul(value);
}

Status ProgramStarter::Start(const std::string& path) {
  const std::string file = UpToNul(path);
  struct stat info {};
  if (file.empty()) return Status::Error(Fail::kNotFound, "The file to run is not named");
  if (::stat(file.c_str(), &info) != 0) {
    const Status status = Failure(file, errno);
    return Status::Error(status.fail, status.text + "; name a program or a document that is there, by its whole path");
  }
  if (S_ISDIR(info.st_mode)) {
    return Status::Error(Fail::kRefused, file + ": is a folder; name a program or a document in it");
  }
  if (!S_ISREG(info.st_mode)) {
    return Status::Error(Fail::kRefused, file + ": is no plain file; name a program or a document");
  }
  if (::access(file.c_str(), X_OK) == 0) return StartProgram({.program = file, .variables = variables_});
  const std::string opener = FindProgram("xdg-open", variables_);
  if (opener.empty()) {
    return Status::Error(Fail::kRefused, file +
                                             ": is not executable, and there is no xdg-open to open it with; make it "
                                             "executable if it is a program, or install xdg-utils");
  }
  const Status status = StartProgram({.program = opener, .arguments = {AsArgument(file)}, .variables = variables_});
  return status.ok() ? status : Status::Error(status.fail, file + " can't be opened: " + status.text);
}

}  // namespace vantry
