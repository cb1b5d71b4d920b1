#include "scan/chunk_cutter.h"

#include <algorithm>

#include "core/text.h"
#include "logs/line_reader.h"

namespace vantry {
namespace {

constexpr std::string_view kLineEnds = "\r\n";

bool IsLineEnd(char c) {
  return c == '\n' || c == '\r';
}

// FTPNextLine takes two line ends for one. From a third on there would be a blank line.
void DropBlankLines(std::string& chunk) {
  if (!Contains(chunk, "\n\n") && !Contains(chunk, "\n\r") && !Contains(chunk, "\r\r")) return;
  size_t kept = 0;
  int ends = 0;
  for (const char c : chunk) {
    ends = IsLineEnd(c) ? ends + 1 : 0;
    if (ends <= 2) chunk[kept++] = c;
  }
  chunk.resize(kept);
}

}  // namespace

void ChunkCutter::Keep(std::string_view bytes) {
  half_ += bytes.substr(0, LineReader::kMaxLine - std::min(LineReader::kMaxLine, half_.size()));
}

void ChunkCutter::Feed(int64_t count, std::string_view bytes, const Sink& sink) {
  half_end_ = count;
  if (half_.empty()) bytes.remove_prefix(std::min(bytes.find_first_not_of(kLineEnds), bytes.size()));
  const size_t last = bytes.find_last_of(kLineEnds);
  if (last == std::string_view::npos) return Keep(bytes);
  const size_t first = FindLineEnd(bytes);
  Keep(bytes.substr(0, first));
  chunk_ = half_;
  chunk_ += bytes.substr(first, last + 1 - first);
  half_.clear();
  Keep(bytes.substr(last + 1));
  DropBlankLines(chunk_);
  chunk_ += '\0';
  sink(count - static_cast<int64_t>(bytes.size() - last - 1), chunk_);
}

void ChunkCutter::Finish(const Sink& sink) {
  if (half_.empty()) return;
  chunk_.swap(half_);
  half_.clear();
  sink(half_end_, chunk_);
}

}  // namespace vantry
