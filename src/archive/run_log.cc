#include "archive/run_log.h"

#include "core/text.h"

namespace vantry {

// Names of logs are part of the lines: none of them makes a line of its own.
void RunLog::Write(std::string_view text, std::ostream& stream) {
  std::string line(text);
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < 32 || c == 127) c = '?';
  }
  stream << line << std::endl;
  if (path_.empty()) return;
  const WallTime now = now_();
  const CivilDate date = ToCivil(DayOf(now));
  const std::string stamp = PadNumber(date.year, 4) + "-" + PadNumber(date.month, 2) + "-" + PadNumber(date.day, 2) +
                            " " + FormatTime(SecondOfDay(now)) + " ";
  const Status status = files_.Append(path_, stamp + line + "\n");
  if (!status.ok() && !file_fails_) err_ << "vantry-archive: " << status.text << std::endl;
  file_fails_ = !status.ok();
}

void RunLog::Error(std::string_view text) {
  ++errors_;
  Write("ERROR " + std::string(text), err_);
}

std::string Counted(size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string SizeText(int64_t bytes) {
  if (bytes < 100'000) return Counted(static_cast<size_t>(bytes), "byte");
  const int64_t tenths = (bytes + 50'000) / 100'000;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MB";
}

}  // namespace vantry
