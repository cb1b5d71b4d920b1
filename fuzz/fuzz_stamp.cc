// The small files beside the tables: as they are, and with a check sum that is right for once.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "database/index_stamp.h"
#include "database/redo_file.h"

namespace {

using namespace vantry;

void Stamp(std::string_view text) {
  const std::optional<IndexStamp> stamp = ParseStamp(text);
  if (!stamp) return;
  const std::optional<IndexStamp> again = ParseStamp(BuildStamp(*stamp));
  if (!again || again->turn != stamp->turn || again->closed != stamp->closed || !(again->index == stamp->index) ||
      again->tables.size() != stamp->tables.size()) {
    std::abort();
  }
  for (size_t i = 0; i < stamp->tables.size(); ++i) {
    const TableStamp &a = stamp->tables[i], &b = again->tables[i];
    if (a.name != b.name || a.fits != b.fits || a.rows != b.rows || a.next_record != b.next_record ||
        !(a.file == b.file) || a.keys != b.keys) {
      std::abort();
    }
  }
}

void Redo(const std::string& bytes) {
  const auto rows = ParseRedo(bytes);
  if (rows && !bytes.starts_with(BuildRedo(*rows))) std::abort();
}

std::string Number(uint64_t number) {
  std::string bytes;
  for (int i = 0; i < 8; ++i) bytes.push_back(static_cast<char>(number >> 8 * i & 0xFF));
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Stamp(text);
  (void)ParseStampFile(text);
  Redo(text);
  char sum[32];
  std::snprintf(sum, sizeof sum, "sum %016llx\n", static_cast<unsigned long long>(CheckSum(text)));
  Stamp("vantry-stamp 1 closed\n" + text + sum);
  Redo("vantry-redo 1\n" + Number(text.size()) + Number(CheckSum(text)) + text + "left over");
  return 0;
}
