#include "database/redo_file.h"

#include "core/text.h"
#include "database/index_stamp.h"

namespace vantry {
namespace {

constexpr std::string_view kRedoMark = "vantry-redo 1\n";
constexpr size_t kHeadBytes = kRedoMark.size() + 8 + 8;

void AppendNumber(std::string& bytes, uint64_t number, size_t width) {
  for (size_t i = 0; i < width; ++i) bytes.push_back(static_cast<char>(number >> 8 * i & 0xFF));
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}
  std::string_view Bytes(size_t count) {
    if (count > rest_.size()) {
      ok_ = false;
      count = 0;
    }
    const std::string_view bytes = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return bytes;
  }
  uint64_t Number(size_t width) {
    const std::string_view bytes = Bytes(width);
    uint64_t number = 0;
    for (size_t i = bytes.size(); i-- > 0;) number = number << 8 | static_cast<uint8_t>(bytes[i]);
    return number;
  }
  std::string_view Rest() const { return rest_; }
  bool ok() const { return ok_; }

 private:
  std::string_view rest_;
  bool ok_ = true;
};

}  // namespace

std::string BuildRedo(const std::vector<RedoRow>& rows) {
  size_t size = 0;
  for (const RedoRow& row : rows) size += 1 + row.table.size() + 4 + 4 + row.bytes.size();
  std::string file;
  file.reserve(kHeadBytes + size);
  file.resize(kHeadBytes);
  for (const RedoRow& row : rows) {
    AppendNumber(file, row.table.size(), 1);
    file += row.table;
    AppendNumber(file, row.number, 4);
    AppendNumber(file, row.bytes.size(), 4);
    file += row.bytes;
  }
  std::string head(kRedoMark);
  AppendNumber(head, size, 8);
  AppendNumber(head, CheckSum(std::string_view(file).substr(kHeadBytes)), 8);
  return file.replace(0, kHeadBytes, head);
}

// More bytes may follow: a shorter one is written over a longer one.
std::optional<std::vector<RedoRow>> ParseRedo(std::string_view file) {
  if (!StartsWith(file, kRedoMark)) return std::nullopt;
  Reader head(file.substr(kRedoMark.size()));
  const uint64_t size = head.Number(8), sum = head.Number(8);
  if (!head.ok() || size > head.Rest().size()) return std::nullopt;
  const std::string_view body = head.Rest().substr(0, size);
  if (CheckSum(body) != sum) return std::nullopt;
  std::vector<RedoRow> rows;
  Reader reader(body);
  while (reader.ok() && !reader.Rest().empty()) {
    RedoRow& row = rows.emplace_back();
    row.table = reader.Bytes(reader.Number(1));
    row.number = static_cast<uint32_t>(reader.Number(4));
    row.bytes = reader.Bytes(reader.Number(4));
  }
  return reader.ok() ? std::optional(std::move(rows)) : std::nullopt;
}

}  // namespace vantry
