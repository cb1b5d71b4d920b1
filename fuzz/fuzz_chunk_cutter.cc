// A remote log in chunks: the first byte is the size of the chunks, the rest is the log. Whatever the chunks are, the
// lines are those between the log's line ends.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "scan/chunk_cutter.h"
#include "scan/remote_logs.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const size_t step = size_t{data[0]} + 1;
  const std::string_view log(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::vector<std::string> wanted, lines;
  std::string line;
  for (const char c : log) {
    if (c != '\r' && c != '\n') {
      line += c;
    } else if (!line.empty()) {
      wanted.push_back(std::move(line));
      line.clear();
    }
  }
  vantry::ChunkCutter cutter;
  int64_t last = 0;
  std::string left;
  const auto take = [&](int64_t count, std::string_view chunk) {
    Require(count >= last && count <= static_cast<int64_t>(log.size()));
    last = count;
    for (std::string_view part = vantry::FTPNextLine(chunk); !part.empty(); part = vantry::FTPNextLine(chunk)) {
      lines.emplace_back(part);
    }
    left = chunk.empty() || chunk[0] == '\0' ? "" : std::string(chunk);
  };
  for (size_t at = 0; at < log.size(); at += step) {
    const std::string_view bytes = log.substr(at, step);
    cutter.Feed(static_cast<int64_t>(at + bytes.size()), bytes, take);
    Require(left.empty());
  }
  cutter.Finish(take);
  Require(lines == wanted && left == (line.empty() || line[0] == '\0' ? "" : line));
  return 0;
}
