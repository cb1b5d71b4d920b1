// The search for today's first line in a log that repeats the input. The first byte chooses the type.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "scan/first_of_today.h"
#include "support/fakes.h"

namespace {

class RepeatedLog final : public vantry::LogFile {
 public:
  explicit RepeatedLog(std::string text) : text_(std::move(text)) {}
  vantry::Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) override {
    count = 0;
    while (count < buffer.size() && position < kSize) {
      const size_t from = static_cast<size_t>(position) % text_.size();
      const size_t some = std::min({text_.size() - from, buffer.size() - count, static_cast<size_t>(kSize - position)});
      std::memcpy(buffer.data() + count, text_.data() + from, some);
      count += some;
      position += static_cast<int64_t>(some);
    }
    return vantry::Status::Ok();
  }
  vantry::Status Look(vantry::FileLook& look) override {
    look.size_bytes = kSize;
    return vantry::Status::Ok();
  }
  char At(int64_t place) const { return text_[static_cast<size_t>(place) % text_.size()]; }
  static constexpr int64_t kSize = 3 << 20;

 private:
  std::string text_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  if (size < 2) return 0;
  std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  // Searching is quick as long as pieces are lines.
  if (text.size() < 256) text.resize(256, ' ');
  RepeatedLog log(text);
  const FakeClock clock;
  const LogFormat& format = FormatOf(static_cast<LogType>(data[0] % Formats().size()));
  const LineRules rules{.true_times = (data[0] & 0x40) != 0, .quoted_fields = (data[0] & 0x80) != 0};
  const TodayPlace place = FirstOfToday({log, format, rules, 0, clock, "DATE TIME C-IP"}, 0, DayOf(clock.Now()));
  if (place.start < 0 || place.start > RepeatedLog::kSize) std::abort();
  if (place.start > 0 && log.At(place.start - 1) != '\n' && log.At(place.start - 1) != '\r') std::abort();
  if (!place.header.empty() && place.header.front() != '#') std::abort();
  return 0;
}
