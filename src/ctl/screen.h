// Where output goes, and the tables shown there.
#pragma once

#include <vector>

#include "ctl/replies.h"
#include "ctl/screen_text.h"

namespace vantry {

struct Screen {
  bool is_terminal = false;
  int width = 0, height = 0;  // 0 when it is no terminal.
};

// Standard output as it is now. A terminal that does not tell its size is taken for 80 by 24.
Screen ReadScreen();

TextTable SiteTableOf(const std::vector<SiteStatus>& sites);
TextTable VisitorTableOf(const std::vector<ListedVisitor>& visitors, bool with_domain);

}  // namespace vantry
