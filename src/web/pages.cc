#include "web/pages.h"

#include <algorithm>

namespace vantry {

const Page& FindPage(std::string_view command) {
  const auto leads_to = [&](std::string_view word) {
    return std::ranges::find_if(kPages, [&](const Page& page) {
      return !word.empty() && std::ranges::find(page.commands, word) != page.commands.end();
    });
  };
  const auto page = leads_to(command);
  return page != std::end(kPages) ? *page : *leads_to("SITES");
}

}  // namespace vantry
