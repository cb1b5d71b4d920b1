#include "web/pages.h"

#include <algorithm>

namespace vantry {

PageFunction FindPage(std::string_view command) {
  for (const Page& page : kPages) {
    if (!command.empty() && std::ranges::find(page.commands, command) != page.commands.end()) return page.build;
  }
  return SitesTable;
}

}  // namespace vantry
