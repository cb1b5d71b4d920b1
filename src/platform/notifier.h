// Watching a socket from inside a handler of that very socket.
#pragma once

#include <QSocketNotifier>
#include <memory>

namespace vantry {

// A notifier may be in the middle of its own signal when it goes: it is silent at once and deleted by the loop.
struct LaterDeleter {
  void operator()(QSocketNotifier* notifier) const {
    notifier->setEnabled(false);
    notifier->deleteLater();
  }
};
using Notifier = std::unique_ptr<QSocketNotifier, LaterDeleter>;

}  // namespace vantry
