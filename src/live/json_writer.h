// JSON as it is sent: objects with named values, texts of logs as the window shows them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "core/date_time.h"
#include "live/live_times.h"

namespace vantry {

class JsonWriter {
 public:
  explicit JsonWriter(const Clock& clock) : times_(clock) {}

  JsonWriter& Begin();
  JsonWriter& Begin(std::string_view name);
  JsonWriter& End();
  JsonWriter& BeginList(std::string_view name);
  JsonWriter& EndList();

  // Values with their names. Names are ours, plain ASCII.
  JsonWriter& Text(std::string_view name, std::string_view bytes);
  JsonWriter& TextOrNull(std::string_view name, std::string_view bytes);  // Null if it is empty.
  JsonWriter& Number(std::string_view name, int64_t number);
  JsonWriter& NumberOrNull(std::string_view name, int64_t number);  // Null if it is 0.
  JsonWriter& Flag(std::string_view name, bool flag);
  JsonWriter& Null(std::string_view name);
  JsonWriter& Time(std::string_view name, LogTime time) { return TimeText(name, times_.Local(time.s)); }
  JsonWriter& Time(std::string_view name, WallTime time) { return TimeText(name, times_.Local(time.s)); }
  JsonWriter& Time(std::string_view name, UtcTime time) { return TimeText(name, times_.Utc(time)); }

  size_t Size() const { return buffer_.GetSize(); }
  std::string_view Bytes() const { return {buffer_.GetString(), buffer_.GetSize()}; }
  // Moves what has been written so far to the end of `out`, and goes on behind it.
  void MoveTo(std::string& out);
  // The whole text; the writer is as new.
  std::string Take();

 private:
  JsonWriter& TimeText(std::string_view name, std::string_view text);
  void Name(std::string_view name) { writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }
  void Value(std::string_view bytes);

  LiveTimes times_;
  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> writer_{buffer_};
};

}  // namespace vantry
