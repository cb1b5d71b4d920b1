// What a port answers to vantryctl: a status record, or else the answer to a request for the list of visitors. The
// tables made of it must be fit for any terminal.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/text.h"
#include "ctl/replies.h"
#include "ctl/screen.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void CheckFit(const std::string& text) {
  Require(std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }));
}

void CheckTable(const vantry::TextTable& table) {
  for (const int width : {0, 40, 80}) {
    for (const std::string& line : vantry::FormatTable(table, width)) {
      CheckFit(line);
      Require(width == 0 || vantry::DisplayWidth(line) <= width);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<vantry::SiteStatus> sites;
  if (const auto status = vantry::ParseStatusReply(text, sites); status.ok()) {
    Require(std::all_of(sites.begin(), sites.end(), [](const auto& s) { return s.visitors >= 0 && s.alerts >= 0; }));
    CheckTable(vantry::SiteTableOf(sites));
  } else {
    CheckFit(status.text);
  }
  std::vector<vantry::ListedVisitor> visitors;
  if (const auto status = vantry::ParseListReply(text, visitors); status.ok()) {
    Require(visitors.size() <= size);
    CheckTable(vantry::VisitorTableOf(visitors, true));
  } else {
    CheckFit(status.text);
  }
  return 0;
}
