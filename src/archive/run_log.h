// What a run of the archiver tells: lines of ARCHIVE.LOG, and of its output.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <string_view>

#include "core/date_time.h"
#include "ports/files.h"

namespace vantry {

class RunLog {
 public:
  // Lines go to the file `path`, none if it is empty, and to `out`; errors to `err` instead.
  RunLog(Files& files, std::string path, std::function<WallTime()> now, std::ostream& out, std::ostream& err)
      : files_(files), path_(std::move(path)), now_(std::move(now)), out_(out), err_(err) {}

  void Line(std::string_view text) { Write(text, out_); }
  void Error(std::string_view text);
  int Errors() const { return errors_; }

 private:
  void Write(std::string_view text, std::ostream& stream);

  Files& files_;
  std::string path_;
  std::function<WallTime()> now_;
  std::ostream& out_;
  std::ostream& err_;
  int errors_ = 0;
  bool file_fails_ = false;
};

// "1 log", "2 logs".
std::string Counted(size_t count, const std::string& what);
// "12 bytes", "1.2 MB".
std::string SizeText(int64_t bytes);

}  // namespace vantry
