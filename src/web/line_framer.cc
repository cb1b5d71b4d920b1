#include "web/line_framer.h"

#include <algorithm>

namespace vantry {

std::optional<std::string> LineFramer::NextLine() {
  const size_t end = pending_.find("\r\n", looked_at_);
  const bool whole_line = end != std::string::npos;
  // Without a line end a CR at the end stays: it may be half of one.
  const size_t half = !whole_line && !pending_.empty() && pending_.back() == '\r' ? 1 : 0;
  const size_t stop = whole_line ? end : std::max(looked_at_, pending_.size() - half);
  const size_t room = kMaxLine - std::min(line_.size(), kMaxLine);
  line_.append(pending_, looked_at_, std::min(stop - looked_at_, room));
  looked_at_ = whole_line ? end + 2 : stop;
  if (!whole_line) {
    pending_.erase(0, looked_at_);
    looked_at_ = 0;
    return std::nullopt;
  }
  std::string line;
  line.swap(line_);
  return line;
}

std::string LineFramer::TakeRest() {
  std::string rest = line_ + pending_.substr(looked_at_);
  Clear();
  if (rest.size() > kMaxLine) rest.resize(kMaxLine);
  return rest;
}

void LineFramer::Clear() {
  line_.clear();
  pending_.clear();
  looked_at_ = 0;
}

}  // namespace vantry
