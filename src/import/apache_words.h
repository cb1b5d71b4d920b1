// Cuts a configuration file of Apache into directives, and the variables out of its start script.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

struct ApacheDirective {
  std::string name;                // In lower case; a section's is "<virtualhost" or "</virtualhost".
  std::vector<std::string> words;  // What follows, without quotes and a section's ">".
  int line = 0;                    // 1-based; of the first line of a directive that goes on.
};

using ApacheVariables = std::map<std::string, std::string, std::less<>>;

// The directives of the file, "${NAME}" not replaced yet.
std::vector<ApacheDirective> ApacheDirectives(std::string_view bytes);

// The text with the variables that are known in place of their "${NAME}".
std::string WithVariables(std::string_view text, const ApacheVariables& variables);

// Adds what a script like Debian's envvars sets, outside of its conditions.
void ReadShellVariables(std::string_view bytes, ApacheVariables& variables);

}  // namespace vantry
