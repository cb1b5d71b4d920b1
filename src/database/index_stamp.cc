#include "database/index_stamp.h"

#include <charconv>
#include <cinttypes>
#include <cstdio>

#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kStampMark = "vantry-stamp 1 ";
static_assert(kStampMark.size() == kStampStatePlace);

std::string IdentityText(const FileIdentity& file) {
  return std::to_string(file.size_bytes) + " " + std::to_string(file.inode) + " " + std::to_string(file.written_ns) +
         " " + std::to_string(file.changed_ns);
}

std::string SumLine(std::string_view body) {
  char line[32];
  std::snprintf(line, sizeof line, "sum %016" PRIx64 "\n", CheckSum(body));
  return line;
}

// Takes blank-separated words off a line, one after the other.
class Words {
 public:
  explicit Words(std::string_view line) : rest_(line) {}
  std::string_view Next() {
    const size_t end = rest_.find(' ');
    const std::string_view word = rest_.substr(0, end);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    return word;
  }
  template <class Number>
  void Next(Number& number) {
    const std::string_view word = Next();
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    ok_ = ok_ && error == std::errc() && end == word.data() + word.size();
  }
  void Next(FileIdentity& file) {
    Next(file.size_bytes);
    Next(file.inode);
    Next(file.written_ns);
    Next(file.changed_ns);
  }
  std::string_view Rest() const { return rest_; }
  bool ok() const { return ok_; }

 private:
  std::string_view rest_;
  bool ok_ = true;
};

bool ParseLine(std::string_view line, IndexStamp& stamp) {
  Words words(line);
  const std::string_view kind = words.Next();
  if (kind == "index") {
    words.Next(stamp.turn);
    words.Next(stamp.index);
    return words.ok();
  }
  if (kind != "table") return false;
  TableStamp table;
  table.name = words.Next();
  const std::string_view fits = words.Next();
  words.Next(table.rows);
  words.Next(table.next_record);
  words.Next(table.file);
  table.fits = fits == "fits";
  table.keys = words.Rest();
  stamp.tables.push_back(std::move(table));
  return words.ok();
}

}  // namespace

uint64_t CheckSum(std::string_view bytes) {
  uint64_t sum = 0xCBF2'9CE4'8422'2325u;
  for (const char c : bytes) sum = (sum ^ static_cast<uint8_t>(c)) * 0x0000'0100'0000'01B3u;
  return sum;
}

const TableStamp* IndexStamp::Find(std::string_view name) const {
  for (const TableStamp& table : tables) {
    if (table.name == name) return &table;
  }
  return nullptr;
}

std::string BuildStamp(const IndexStamp& stamp) {
  std::string body = "index " + std::to_string(stamp.turn) + " " + IdentityText(stamp.index) + "\n";
  for (const TableStamp& table : stamp.tables) {
    body += "table " + table.name + (table.fits ? " fits " : " old ") + std::to_string(table.rows) + " " +
            std::to_string(table.next_record) + " " + IdentityText(table.file) + " " + table.keys + "\n";
  }
  return std::string(kStampMark).append(stamp.closed ? kStampClosed : kStampOpen) + "\n" + body + SumLine(body);
}

std::optional<IndexStamp> ParseStamp(std::string_view text) {
  IndexStamp stamp;
  if (!StartsWith(text, kStampMark)) return std::nullopt;
  const std::string_view state = text.substr(kStampStatePlace, kStampOpen.size());
  stamp.closed = state == kStampClosed;
  if (!stamp.closed && state != kStampOpen) return std::nullopt;
  const size_t first_line = text.find('\n'), sum = text.rfind("sum ");
  if (first_line == std::string_view::npos || sum == std::string_view::npos || sum <= first_line) return std::nullopt;
  std::string_view body = text.substr(first_line + 1, sum - first_line - 1);
  if (text.substr(sum) != SumLine(body)) return std::nullopt;
  while (!body.empty()) {
    const size_t end = body.find('\n');
    if (end == std::string_view::npos || !ParseLine(body.substr(0, end), stamp)) return std::nullopt;
    body.remove_prefix(end + 1);
  }
  return stamp;
}

std::optional<IndexStamp> ParseStampFile(std::string_view bytes) {
  std::optional<IndexStamp> newest;
  for (size_t place = 0; place < bytes.size() && place <= kStampPlaceBytes; place += kStampPlaceBytes) {
    const std::string_view text = bytes.substr(place, kStampPlaceBytes);
    std::optional<IndexStamp> found = ParseStamp(text.substr(0, text.find('\0')));
    if (found && (!newest || found->turn > newest->turn)) newest = std::move(found);
  }
  return newest;
}

}  // namespace vantry
