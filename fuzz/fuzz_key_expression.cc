// A key declaration up to the end of the line, and a row made of the rest.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "database/key_expression.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const size_t end = std::min(bytes.find('\n'), bytes.size());
  RowLayout layout;
  if (!ParseFields({"A|C|4", "Site|C|20", "N|N|5", "Wide|N|18", "D|D|8"}, layout).ok()) std::abort();
  std::string row(bytes.substr(std::min(end + 1, bytes.size())));
  row.resize(layout.row_bytes, ' ');
  KeyDeclaration key;
  if (const Status status = ParseKey(bytes.substr(0, end), layout, key); !status.ok()) {
    if (status.fail != Fail::kBadData || status.text.empty()) std::abort();
    return 0;
  }
  std::string text = "before", parts = "before";
  key.expression.AppendKey(row.data(), text);
  if (text.size() != 6 + key.expression.KeyBytes() || key.expression.KeyBytes() == 0) std::abort();
  const std::string_view value = std::string_view(row).substr(0, 30);
  key.expression.AppendParts({value, value, value}, parts);
  if (parts.size() > text.size() || parts.find('\0') != std::string::npos) std::abort();
  return 0;
}
