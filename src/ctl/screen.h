// The tables that are shown.
#pragma once

#include <vector>

#include "core/screen_text.h"
#include "ctl/replies.h"

namespace vantry {

TextTable SiteTableOf(const std::vector<SiteStatus>& sites);
TextTable VisitorTableOf(const std::vector<ListedVisitor>& visitors, bool with_domain);

}  // namespace vantry
