#include "platform/program_starter.h"

#include <algorithm>
#include <cstdlib>

#include <signal.h>
#include <sys/syscall.h>
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
  bool watched = false;  // `process` is wanted.
  int process = -1;
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
  // Told apart from an errno by its sign.
  const int number = -child;
  (void)!::write(launch.report, &number, sizeof number);
  ::_exit(0);
}

// A process that nobody of ours has to wait for. Its number may be another's by now if it has ended already: then the
// end of that one is taken for its own.
int OpenProcess(pid_t number) {
  return static_cast<int>(::syscall(SYS_pidfd_open, number, 0));
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
  for (;;) {
    int told = 0;
    const ssize_t n = ::read(reading.get(), &told, sizeof told);
    if (n < 0 && errno == EINTR) continue;
    if (n != sizeof told) return error;
    if (told > 0) error = told;
    if (told < 0 && launch.watched) launch.process = OpenProcess(-told);
  }
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

// What the service manager says to this program alone: with it, another one would speak in its name.
bool IsForUsAlone(std::string_view name) {
  return name == "NOTIFY_SOCKET" || name == "WATCHDOG_PID" || name == "WATCHDOG_USEC";
}

std::vector<std::string> Environment(const Variables& variables) {
  std::vector<std::string> pairs;
  for (char** pair = environ; pair && *pair; ++pair) {
    const std::string_view text = *pair;
    const std::string_view name = text.substr(0, text.find('='));
    if (!IsForUsAlone(name) && !variables.contains(std::string(name))) pairs.emplace_back(text);
  }
  for (const auto& [name, value] : variables) pairs.push_back(name + "=" + value);
  return pairs;
}

std::vector<char*> ArgumentPointers(std::vector<std::string>& texts) {
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

Status StartProgram(const ProgramCall& call, int* process) {
  std::vector<std::string> arguments = {call.program};
  arguments.insert(arguments.end(), call.arguments.begin(), call.arguments.end());
  std::vector<std::string> environment = Environment(call.variables);
  Launch launch;
  launch.program = call.program.c_str();
  launch.arguments = ArgumentPointers(arguments);
  launch.environment = ArgumentPointers(environment);
  launch.descriptors = static_cast<int>(std::min(::sysconf(_SC_OPEN_MAX), 1L << 20));
  launch.silent = call.silent;
  launch.watched = process != nullptr;
  const int error = Run(launch);
  Descriptor watched(launch.process);
  if (process) *process = error == 0 ? watched.Release() : -1;
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

void ProgramStarter::Limit(int32_t most, std::function<void(std::string_view)> tell) {
  most_ = static_cast<size_t>(std::max<int32_t>(most, 0));
  tell_ = std::move(tell);
}

Status ProgramStarter::Start(const std::string& path) {
  if (most_ == 0 || running_.size() < most_) return StartNow(path, variables_);
  Wait(path);
  return Status::Ok();
}

Status ProgramStarter::Run(const std::string& program, const std::vector<std::string>& arguments,
                           const Variables& variables) {
  Variables all = variables;
  all.insert(variables_.begin(), variables_.end());
  return StartProgram({.program = program, .arguments = arguments, .variables = std::move(all)});
}

void ProgramStarter::Wait(const std::string& path) {
  size_t bytes = path.size();
  for (const auto& [name, value] : variables_) bytes += name.size() + value.size();
  waiting_.Push({path, variables_}, bytes);
  if (waiting_.TakeDropped() == 0 || dropping_) return;
  dropping_ = true;
  tell_(std::to_string(most_) +
        " programs run and do not end, and too many wait for their turn: the oldest are dropped");
}

void ProgramStarter::Watch(int process) {
  RunningProgram& program = running_[process];
  program.process = std::make_unique<Descriptor>(process);
  program.notifier = std::make_unique<QSocketNotifier>(process, QSocketNotifier::Read);
  QObject::connect(program.notifier.get(), &QSocketNotifier::activated, program.notifier.get(),
                   [this, process] { HasEnded(process); });
}

void ProgramStarter::HasEnded(int process) {
  const auto program = running_.extract(process);
  // This runs in a call of the notifier.
  program.mapped().notifier->setEnabled(false);
  program.mapped().notifier.release()->deleteLater();
  while (!waiting_.Empty() && running_.size() < most_) {
    const Waiter next = waiting_.Pop();
    if (const Status status = StartNow(next.path, next.variables); !status.ok()) tell_(status.text);
  }
  if (waiting_.Empty()) dropping_ = false;
}

Status ProgramStarter::StartNow(const std::string& path, const Variables& variables) {
  int process = -1;
  int* const watched = most_ > 0 ? &process : nullptr;
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
  if (::access(file.c_str(), X_OK) == 0) {
    Status status = StartProgram({.program = file, .variables = variables}, watched);
    if (process >= 0) Watch(process);
    return status;
  }
  const std::string opener = FindProgram("xdg-open", variables);
  if (opener.empty()) {
    return Status::Error(Fail::kRefused, file +
                                             ": is not executable, and there is no xdg-open to open it with; make it "
                                             "executable if it is a program, or install xdg-utils");
  }
  const Status status =
      StartProgram({.program = opener, .arguments = {AsArgument(file)}, .variables = variables}, watched);
  if (process >= 0) Watch(process);
  return status.ok() ? status : Status::Error(status.fail, file + " can't be opened: " + status.text);
}

}  // namespace vantry
