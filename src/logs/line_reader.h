// Cuts a growing log file into lines, reading it in large blocks. A hostile file can't make it hold more than one block
// and the kept part of one line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"
#include "ports/files.h"

namespace vantry {

class LineReader {
 public:
  // No line is longer than this for the engine: of a longer one the first kMaxLine bytes count, the rest is passed
  // over.
  static constexpr size_t kMaxLine = 64 * 1024;
  static constexpr size_t kBlock = 256 * 1024;
  static constexpr size_t kFillBlock = 256;
  static_assert(kMaxLine % kFillBlock == 0, "a line that is cut needs no filling");

  // Starts at a 0-based place of the file. `unix_lines`: lines end at LF alone; otherwise at CR LF, at LF or at a lone
  // CR. `buffer` is working space that outlives the reader; it is sized here and may be used by the next reader.
  LineReader(LogFile& file, bool unix_lines, int64_t start, std::vector<char>& buffer);

  // Reads the next line. False when the file holds nothing more (not even an empty line) or reading failed; `Error`
  // tells which.
  bool Next();
  // The line last read, without its end; empty when there was none. Valid until the next call of Next.
  std::string_view Line() const;
  // The beginning of the next line, as far as it has been read; may run past that line's end.
  std::string_view Ahead() const;
  // Returns whether the line last read is the file's last, as Next found it. A line without an end always is: what is
  // added to it later is left to the next reader.
  bool AtEnd() const { return file_ended_; }
  // Returns whether the line last read has a line end, so that nothing can be added to it.
  bool IsWhole() const { return has_end_; }
  // The last line of the file as a reader of fixed blocks has it: a Unix line without an end is filled with blanks to
  // a multiple of kFillBlock bytes, so the fields that a half-written line lacks are empty rather than missing.
  std::string FilledLine() const;
  // 0-based place of the byte after the line last read and its end.
  int64_t Position() const { return next_; }
  const Status& Error() const { return error_; }

 private:
  // Remembers how far a byte was looked for, so that no block is searched twice, whatever its lines look like.
  struct Seeker {
    char byte;
    int64_t found = -1;
    int64_t searched_to = 0;
  };
  int64_t Seek(Seeker& seeker, int64_t from);
  bool FindLineEnd(int64_t& end, int64_t& next);
  void KeepStartOfLongLine();
  // Reads one more block after what is there. Sets `file_ended_` when there is none. False when reading failed.
  bool Fill();

  LogFile& file_;
  bool unix_lines_;
  std::vector<char>& buffer_;
  int64_t base_;        // Place in the file of buffer_[0].
  int64_t filled_;      // Place after the last byte in the buffer.
  int64_t keep_;        // Bytes from this place on must stay in the buffer.
  int64_t line_begin_;  // Place of the line last read.
  int64_t line_end_;
  int64_t next_;
  bool has_end_ = false;     // The line last read has a line end.
  bool file_ended_ = false;  // A read found nothing more; this reader reads no further.
  bool is_long_ = false;
  std::string long_line_;  // The counted part of a line that outgrew kMaxLine.
  Seeker lf_{'\n'}, cr_{'\r'};
  Status error_;
};

}  // namespace vantry
