// One visitor's lines of the log, copied to a text file for people to look at.
#pragma once

#include <string>
#include <string_view>

#include "web/page_context.h"

namespace vantry {

// Copies the lines of a visitor, named by its key, from its site's log into a text file in the data folder. Returns
// that file's name, or an empty text if there is no such visitor.
std::string ExtractLogEntriesToFile(const PageContext& c, std::string_view visitor_key, int client_no);

}  // namespace vantry
