// Cuts what a transfer brings into chunks that FTPNextLine takes apart without loss.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vantry {

// FTPNextLine wants a byte after each line end and stops at a blank line. So a chunk ends with a line end and a NUL,
// the end of text that the handling of chunks looks for; blank lines are left out; half a line waits for its end. Its
// count is the position of the byte after its last line end, which is where a later fetch may start.
class ChunkCutter {
 public:
  using Sink = std::function<void(int64_t count, std::string_view chunk)>;

  void Begin() { *this = ChunkCutter(); }
  // The next bytes of the file; `count` is the position of the byte after them.
  void Feed(int64_t count, std::string_view bytes, const Sink& sink);
  // The transfer has ended: what is left is half a line, which comes without a NUL.
  void Finish(const Sink& sink);

 private:
  void Keep(std::string_view bytes);

  std::string half_;  // A line without an end so far, up to LineReader::kMaxLine bytes of it.
  int64_t half_end_ = 0;
  std::string chunk_;
};

}  // namespace vantry
