// Cuts a file of nginx into directives.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

struct NginxDirective {
  enum class End { kPlain, kBlock, kClose, kFile } end = End::kFile;  // ";", "{", "}", or the file's end.
  std::vector<std::string> words;                                     // Without quotes and escapes.
  int line = 0;                                                       // Of the first word, 1-based.
};

class NginxWords {
 public:
  explicit NginxWords(std::string_view bytes) : rest_(bytes) {}
  // The next directive; after a "{" the first one in its block. Words at the file's end that nothing closes are
  // returned with kFile.
  NginxDirective Next();
  // Passes over a block that is not made of directives, such as a program: all up to the "}" of the "{" just read.
  void SkipProgram();

 private:
  bool SkipBlanks();
  std::string Quoted();
  std::string Plain();
  char Take();

  std::string_view rest_;
  int line_ = 1;
};

}  // namespace vantry
