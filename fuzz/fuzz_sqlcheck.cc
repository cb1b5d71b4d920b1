// A line of SQLCHECK.LOG, and the name of the server in it: the first line is the name, the rest is what a server said.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/text_encoding.h"
#include "monitors/sql_check.h"
#include "platform/sql_server_name.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

bool IsControl(char c) {
  return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

void CheckName(std::string_view text) {
  std::string name, again;
  if (const vantry::Status status = vantry::ReadSqlServerName(text, name); !status.ok()) {
    Require(status.text.size() < 600 && vantry::IsUtf8(status.text));
    Require(std::none_of(status.text.begin(), status.text.end(), IsControl));
    return;
  }
  Require(!name.empty() && std::none_of(name.begin(), name.end(), [](char c) { return IsControl(c) || c == ' '; }));
  Require(vantry::ReadSqlServerName(name, again).ok() && again == name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const size_t end = std::min(text.find('\n'), size);
  const std::string_view server = text.substr(0, end), said = text.substr(std::min(end + 1, size));
  CheckName(server);
  for (const bool ok : {false, true}) {
    const std::string line = vantry::SqlCheckLine({}, {1'000'000'000}, ok, server, said);
    Require(line.ends_with("\r\n") && vantry::IsUtf8(line));
    Require(std::none_of(line.begin(), line.end() - 2, IsControl));
    Require(ok || line.ends_with(" SERVER MAY BE DOWN!\r\n"));
  }
  return 0;
}
