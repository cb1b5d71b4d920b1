#include "platform/stop_signals.h"

#include <QSocketNotifier>

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace vantry {

struct StopSignals::Watch {
  explicit Watch(int descriptor) : fd(descriptor), notifier(descriptor, QSocketNotifier::Read) {}
  ~Watch() { ::close(fd); }
  int fd;
  QSocketNotifier notifier;
};

namespace {

sigset_t BlockStops() {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) ::sigaddset(&set, number);
  ::sigprocmask(SIG_BLOCK, &set, nullptr);
  return set;
}

}  // namespace

void TakeSignals() {
  for (const int number : {SIGPIPE, SIGUSR1, SIGUSR2}) ::signal(number, SIG_IGN);
  BlockStops();
}

StopSignals::StopSignals(std::function<void()> stop, std::function<void()> hang_up) {
  const sigset_t set = BlockStops();
  watch_ = std::make_unique<Watch>(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
  QObject::connect(&watch_->notifier, &QSocketNotifier::activated, &watch_->notifier,
                   [fd = watch_->fd, stop = std::move(stop), hang_up = std::move(hang_up)] {
                     // Read first: the notifier fires again in a nested loop until the data is gone.
                     signalfd_siginfo info;
                     bool asked = false, hung_up = false;
                     while (::read(fd, &info, sizeof info) == sizeof info) {
                       (info.ssi_signo == SIGHUP ? hung_up : asked) = true;
                     }
                     if (asked) {
                       stop();
                     } else if (hung_up) {
                       hang_up();
                     }
                   });
}

StopSignals::~StopSignals() = default;

}  // namespace vantry
