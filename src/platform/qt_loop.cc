#include "platform/qt_loop.h"

#include <QCoreApplication>
#include <QTimer>

namespace vantry {
namespace {

class QtTimer final : public Timer {
 public:
  QtTimer(int64_t period_ms, std::function<void()> tick) {
    // The default type may be late by 5 %, which over the hours drifts through whole scan periods.
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(static_cast<int>(period_ms));
    QObject::connect(&timer_, &QTimer::timeout, &timer_, std::move(tick));
  }
  void Start() override { timer_.start(); }
  void Stop() override { timer_.stop(); }
  bool Enabled() const override { return timer_.isActive(); }

 private:
  QTimer timer_;
};

}  // namespace

std::unique_ptr<Timer> QtLoop::NewTimer(int64_t period_ms, std::function<void()> tick) {
  return std::make_unique<QtTimer>(period_ms, std::move(tick));
}

void QtLoop::Turn() {
  QCoreApplication::processEvents(QEventLoop::AllEvents);
}

void QtLoop::Quit() {
  QCoreApplication::quit();
}

}  // namespace vantry
