#include "platform/process_signals.h"

#include <QSocketNotifier>
#include <vector>

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace vantry {

struct ProcessSignals::Watch {
  Watch(int descriptor, SignalHandlers h)
      : fd(descriptor), handlers(std::move(h)), notifier(descriptor, QSocketNotifier::Read) {
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [this] { Deliver(); });
  }
  ~Watch() { ::close(fd); }

  // Reads first: the notifier fires again in a nested loop until the data is gone.
  void Deliver() {
    std::vector<int> numbers;
    signalfd_siginfo info;
    while (::read(fd, &info, sizeof info) == sizeof info) numbers.push_back(static_cast<int>(info.ssi_signo));
    for (const int number : numbers) {
      if (number == SIGTERM || number == SIGINT) return handlers.stop();
    }
    for (const int number : numbers) {
      if (number == SIGHUP) {
        handlers.hang_up();
      } else if (number == SIGUSR1) {
        handlers.pause();
      } else if (number == SIGUSR2) {
        handlers.go_on();
      } else {
        handlers.control(kFirstControl + number - SIGRTMIN);
      }
    }
  }

  static constexpr int kFirstControl = 128;  // The lowest that a service manager leaves to services.
  int fd;
  SignalHandlers handlers;
  QSocketNotifier notifier;
};

namespace {

sigset_t BlockOwnSignals() {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2, SIGRTMIN, SIGRTMIN + 1}) {
    ::sigaddset(&set, number);
  }
  ::sigprocmask(SIG_BLOCK, &set, nullptr);
  return set;
}

}  // namespace

void TakeSignals() {
  ::signal(SIGPIPE, SIG_IGN);
  BlockOwnSignals();
}

ProcessSignals::ProcessSignals(SignalHandlers handlers) {
  const sigset_t set = BlockOwnSignals();
  watch_ = std::make_unique<Watch>(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK), std::move(handlers));
}

ProcessSignals::~ProcessSignals() = default;

}  // namespace vantry
