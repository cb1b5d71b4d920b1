// Looks into a site's folder for a dialog, in pieces: between them the window and the scans go on.
#pragma once

#include <QTimer>
#include <functional>
#include <optional>

#include "core/tables.h"
#include "forms/log_look.h"
#include "ports/clock.h"
#include "ports/files.h"

namespace vantry {

class FolderLooker {
 public:
  // `show` is called with what was seen, and before that without it if that takes longer than a moment.
  using Show = std::function<void(const SiteRec& site, const LogLook* look)>;
  FolderLooker(Files& files, const Clock& clock, Show show);

  // Looks at the folder of this site; what was looked at before is left. `show` may be called within.
  void Start(const SiteRec& site);
  void Stop();

 private:
  void Step();

  Files& files_;
  const Clock& clock_;
  Show show_;
  SiteRec site_;
  std::optional<FolderLook> look_;
  QTimer next_;
};

}  // namespace vantry
