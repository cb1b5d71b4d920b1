// The program vantry-import.
#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "ports/files.h"

namespace vantry {

struct ImportSurroundings {
  Files& files;
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool can_ask = false;  // Somebody sits at `in`.
  int width = 0;         // Columns of `out`; 0 for no limit.
  std::string version = {};
};

// Runs the program with these words of its command line. Returns its exit code.
int RunImport(const ImportSurroundings& s, const std::vector<std::string>& words);

// The numbers of an answer such as "1, 3-5" or "all", from 1 to `count`, each once, in order. Returns false if the
// answer is something else.
bool ReadChoice(std::string_view answer, size_t count, std::vector<size_t>& numbers);

}  // namespace vantry
