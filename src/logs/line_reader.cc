#include "logs/line_reader.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace vantry {

LineReader::LineReader(LogFile& file, bool unix_lines, int64_t start, std::vector<char>& buffer)
    : file_(file),
      unix_lines_(unix_lines),
      buffer_(buffer),
      base_(start),
      filled_(start),
      keep_(start),
      line_begin_(start),
      line_end_(start),
      next_(start) {
  // Room for the longest line that is kept, with its end, and one block more.
  if (buffer_.size() < kBlock + kMaxLine + 2) buffer_.resize(kBlock + kMaxLine + 2);
}

int64_t LineReader::Seek(Seeker& seeker, int64_t from) {
  if (seeker.found >= from) return seeker.found;
  const int64_t begin = std::max(from, seeker.searched_to);
  seeker.found = -1;
  if (begin >= filled_) return -1;
  const char* at = buffer_.data() + (begin - base_);
  if (const void* hit = std::memchr(at, seeker.byte, static_cast<size_t>(filled_ - begin))) {
    seeker.found = begin + (static_cast<const char*>(hit) - at);
    seeker.searched_to = seeker.found + 1;
  } else {
    seeker.searched_to = filled_;
  }
  return seeker.found;
}

bool LineReader::FindLineEnd(int64_t& end, int64_t& next) {
  const int64_t lf = Seek(lf_, line_begin_);
  const int64_t cr = unix_lines_ ? -1 : Seek(cr_, line_begin_);
  if (cr >= 0 && (lf < 0 || cr < lf)) {
    // A CR as the last byte so far may be half of a CR LF.
    if (cr + 1 == filled_ && !file_ended_) return false;
    end = cr;
    next = cr + 1 == lf ? lf + 1 : cr + 1;
    return true;
  }
  end = lf;
  next = lf + 1;
  return lf >= 0;
}

bool LineReader::Fill() {
  const size_t kept = static_cast<size_t>(filled_ - keep_);
  if (keep_ > base_) {
    std::memmove(buffer_.data(), buffer_.data() + (keep_ - base_), kept);
    base_ = keep_;
  }
  size_t count = 0;
  error_ = file_.ReadAt(filled_, std::span<char>(buffer_).subspan(kept), count);
  if (!error_.ok()) return false;
  filled_ += static_cast<int64_t>(count);
  file_ended_ = count == 0;
  return true;
}

void LineReader::KeepStartOfLongLine() {
  if (!is_long_) long_line_.assign(buffer_.data() + (line_begin_ - base_), kMaxLine);
  is_long_ = true;
}

bool LineReader::Next() {
  is_long_ = has_end_ = false;
  line_begin_ = line_end_ = keep_ = next_;
  int64_t end = next_, next = next_;
  while (!(has_end_ = FindLineEnd(end, next))) {
    if (file_ended_) {
      if (filled_ == line_begin_) return false;
      end = next = filled_;
      break;
    }
    if (filled_ - line_begin_ >= static_cast<int64_t>(kMaxLine)) {
      KeepStartOfLongLine();
      keep_ = filled_;
    }
    if (!Fill()) return false;
  }
  line_end_ = end;
  next_ = next;
  if (line_end_ - line_begin_ > static_cast<int64_t>(kMaxLine)) {
    KeepStartOfLongLine();
    keep_ = next_;
  }
  // Looked up once, here: bytes that arrive between two looks must not make half a line count as whole.
  return next_ < filled_ || file_ended_ || Fill();
}

std::string_view LineReader::Line() const {
  if (is_long_) return long_line_;
  return {buffer_.data() + (line_begin_ - base_), static_cast<size_t>(line_end_ - line_begin_)};
}

std::string_view LineReader::Ahead() const {
  constexpr int64_t kEnough = 256;
  if (next_ >= filled_) return {};
  return {buffer_.data() + (next_ - base_), static_cast<size_t>(std::min(filled_ - next_, kEnough))};
}

std::string LineReader::FilledLine() const {
  std::string line(Line());
  if (unix_lines_ && !has_end_) line.resize((line.size() + kFillBlock - 1) / kFillBlock * kFillBlock, ' ');
  return line;
}

}  // namespace vantry
