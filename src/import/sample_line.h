// Tells from a line as a server would write it whether its log can be read.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// What stands in a sample line. Each is found again in one field alone.
struct SampleVisit {
  static constexpr std::string_view kClient = "192.0.2.7";
  static constexpr std::string_view kOtherAddress = "198.51.100.9";
  static constexpr std::string_view kDay = "05/Mar/2026";
  static constexpr std::string_view kTime = "12:34:56";
  static constexpr std::string_view kZone = "+0000";
  static constexpr std::string_view kStamp = "05/Mar/2026:12:34:56 +0000";
  static constexpr std::string_view kTarget = "/sample/page.html";
  static constexpr std::string_view kRequest = "GET /sample/page.html HTTP/1.1";
  static constexpr std::string_view kStatus = "200";
  static constexpr std::string_view kBytes = "2326";
  static constexpr std::string_view kReferrer = "https://from.example/";
  static constexpr std::string_view kAgent = "Sample/1.0 (for a format)";
  static constexpr std::string_view kHost = "www.example.org";
};

struct FormatOpinion {
  bool readable = false;
  std::string why = {};   // It can't be read.
  std::string lack = {};  // It can, but this is missing.
};

// Reads the line as the scan would. `quoted_fields`: see RecogniseLog.
FormatOpinion JudgeSample(const std::string& line, bool quoted_fields);

}  // namespace vantry
