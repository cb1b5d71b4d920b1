// A listing of a remote folder; its first line is what is taken for the server's name.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/text.h"
#include "platform/ftp_text.h"
#include "scan/remote_logs.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const vantry::WallTime now{vantry::MakeDay(2026, 3, 5)->n * vantry::kSecondsPerDay};
  vantry::FtpServer server;
  const auto lines = vantry::Split(text, '\n');
  if (!vantry::ReadFtpServer(lines[0], server).ok()) server = {};  // Nothing is asked of what is no server.
  Require(server.host.find_first_of("\r\n/@% ") == std::string::npos);
  for (const std::string_view line : lines) {
    const auto entry = vantry::ParseFtpListLine(line, now);
    if (!entry) continue;
    Require(!entry->name.empty() && entry->size_bytes >= 0 && vantry::CanBeSaidInFtp(entry->name));
    Require(entry->name.find('/') == std::string::npos && line.find(entry->name) != std::string_view::npos);
    Require(entry->time_text.empty() || vantry::FtpStamp(entry->time_text, now));
    const std::string url = vantry::FtpUrl(server, entry->name, entry->name);
    Require(url.find_first_of("\r\n ") == std::string::npos &&
            url.find(';', server.host.size() + 8) == std::string::npos);
  }
  return 0;
}
