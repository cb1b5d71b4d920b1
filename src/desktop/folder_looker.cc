#include "desktop/folder_looker.h"

#include <QObject>
#include <utility>

namespace vantry {

FolderLooker::FolderLooker(Files& files, const Clock& clock, Show show)
    : files_(files), clock_(clock), show_(std::move(show)) {
  next_.setInterval(0);
  QObject::connect(&next_, &QTimer::timeout, &next_, [this] { Step(); });
}

void FolderLooker::Start(const SiteRec& site) {
  site_ = site;
  look_.emplace(site_, files_, clock_);
  Step();
  if (!look_) return;
  show_(site_, nullptr);
  next_.start();
}

void FolderLooker::Stop() {
  next_.stop();
  look_.reset();
}

void FolderLooker::Step() {
  if (!look_->Step()) return;
  const LogLook seen = look_->Result();
  Stop();
  show_(site_, &seen);
}

}  // namespace vantry
