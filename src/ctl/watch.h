// The picture of sites and visitors that redraws itself.
#pragma once

#include <string>
#include <vector>

#include "ctl/client.h"
#include "ctl/replies.h"

namespace vantry {

// What one picture shows.
struct WatchView {
  std::string caption;  // How the program calls itself, with its state; any bytes.
  std::string place;    // "host:port".
  std::string clock;    // "hh:mm:ss".
  std::string waiting;  // Why there is nothing to show; empty when the program answered.
  std::string no_list;  // Why there are no visitors to show; empty when they are known.
  std::vector<SiteStatus> sites;
  std::vector<ListedVisitor> visitors;
};

// The lines of the picture, at most `height` of at most `width` columns; 0 sets no limit. Visitors stand in order of
// their last hit, newest first.
std::vector<std::string> ComposeFrame(const WatchView& view, int width, int height);

// Draws on standard output every `period_ms` until a signal ends it, or once. Returns the exit code.
int RunWatch(Endpoint endpoint, bool once, int period_ms = 2'000);

}  // namespace vantry
