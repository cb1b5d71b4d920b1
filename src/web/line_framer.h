// Cuts a connection's bytes into lines that end at CR LF.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vantry {

class LineFramer {
 public:
  // The rest of a longer line is dropped as it comes, so that one line can't fill the memory.
  static constexpr size_t kMaxLine = 64 * 1024;

  void Feed(std::string_view bytes) { pending_.append(bytes); }
  // The next whole line without its end; empty when none is complete.
  std::optional<std::string> NextLine();
  // Takes out the text after the last line end, however much there is.
  std::string TakeRest();
  size_t RestSize() const { return line_.size() + pending_.size() - looked_at_; }
  void Clear();

 private:
  std::string line_;     // The line so far, cut at kMaxLine.
  std::string pending_;  // Bytes that came; those before `looked_at_` are done with.
  size_t looked_at_ = 0;
};

}  // namespace vantry
