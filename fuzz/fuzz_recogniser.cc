// The first bytes of a file that may be a log.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "logs/formats.h"
#include "logs/recogniser.h"

namespace {

bool Same(const std::optional<vantry::RecognisedLog>& a, const std::optional<vantry::RecognisedLog>& b) {
  return a.has_value() == b.has_value() && (!a || a->type == b->type);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const auto log = RecogniseLog(bytes);
  if (log && FormatOf(log->type).type != log->type) std::abort();
  if (log && log->unix_lines != EndsLinesWithLf(bytes)) std::abort();
  // Blank lines in front change nothing, nor do lines after the one that decided.
  if (!Same(log, RecogniseLog("\n \n\t\r\n" + bytes))) std::abort();
  if (log && !Same(log, RecogniseLog(bytes + "\n#Fields: time c-ip cs-uri-stem\n"))) std::abort();
  const std::string_view first = FirstLine(bytes);
  if (first.find_first_of("\r\n") != std::string_view::npos) std::abort();
  // Lines that are read by their quotes are recognised by them too, and what is found in a line is a part of it.
  const auto quoted = RecogniseLog(bytes, true);
  if (log && !quoted) std::abort();
  NcsaLine line;
  line.Start(first);
  for (const std::string_view part : {line.Stamp(), line.Zone(), line.Client(), line.User(), line.Target(),
                                      line.Status(), line.Referrer(), line.Agent(), NcsaClient(first)}) {
    if (!part.empty() && (part.data() < first.data() || part.data() + part.size() > first.data() + first.size())) {
      std::abort();
    }
  }
  std::string text(line.Agent());
  Unescape(text);
  if (text.size() > line.Agent().size()) std::abort();
  // Every format's own test takes any line.
  for (const LogFormat& format : Formats()) {
    (void)format.recognise(bytes);
    (void)format.recognise(first);
  }
  return 0;
}
