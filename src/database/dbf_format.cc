#include "database/dbf_format.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kNameBytes = 11, kTypePlace = 11, kWidthPlace = 16, kDecimalsPlace = 17;
constexpr size_t kCountPlace = 4, kHeaderBytesPlace = 8, kRowBytesPlace = 10, kLanguagePlace = 29;

uint32_t ReadNumber(std::string_view bytes, size_t place, size_t width) {
  uint32_t number = 0;
  for (size_t i = width; i-- > 0;) number = number << 8 | static_cast<uint8_t>(bytes[place + i]);
  return number;
}

void WriteNumber(std::string& bytes, size_t place, size_t width, uint32_t number) {
  for (size_t i = 0; i < width; ++i) bytes[place + i] = static_cast<char>(number >> 8 * i & 0xFF);
}

std::string Describe(const TableField& field) {
  return field.name + "|" + field.type + "|" + std::to_string(field.width) +
         (field.decimals > 0 ? "." + std::to_string(field.decimals) : "");
}

}  // namespace

std::optional<size_t> RowLayout::Find(std::string_view name) const {
  for (size_t i = 0; i < fields.size(); ++i) {
    if (EqualsNoCase(fields[i].name, name)) return i;
  }
  return std::nullopt;
}

void RowLayout::Add(TableField field) {
  field.offset = row_bytes;
  row_bytes += field.width;
  fields.push_back(std::move(field));
}

Status ParseFields(const std::vector<std::string>& texts, RowLayout& layout) {
  layout = {};
  for (const std::string& text : texts) {
    const auto parts = Split(text, '|');
    const std::optional<int64_t> width = parts.size() == 3 ? WholeNumber(parts[2]) : std::nullopt;
    const bool known = width && parts[1].size() == 1 && std::strchr("CND", parts[1][0]);
    const bool fits = known && !parts[0].empty() && parts[0].size()<kNameBytes&& * width> 0 && *width < 255 &&
                      (parts[1] != "D" || *width == 8);
    if (!fits) return Status::Error(Fail::kBadData, "field \"" + text + "\" can't be read");
    layout.Add({std::string(parts[0]), parts[1][0], static_cast<uint8_t>(*width), 0, 0});
  }
  return Status::Ok();
}

std::string BuildDateAndCount(Day updated, uint32_t rows) {
  const CivilDate date = ToCivil(updated);
  std::string bytes(dbf::kDateBytes, '\0');
  bytes[0] = static_cast<char>(std::clamp(date.year - 1900, 0, 255));
  bytes[1] = static_cast<char>(date.month);
  bytes[2] = static_cast<char>(date.day);
  WriteNumber(bytes, kCountPlace - dbf::kDatePlace, 4, rows);
  return bytes;
}

std::string BuildHeader(const RowLayout& layout, Day updated, uint32_t rows) {
  std::string bytes(dbf::kPrefixBytes, '\0');
  bytes[0] = dbf::kVersion;
  bytes.replace(dbf::kDatePlace, dbf::kDateBytes, BuildDateAndCount(updated, rows));
  const size_t header_bytes = dbf::kPrefixBytes + dbf::kFieldBytes * layout.fields.size() + 1;
  WriteNumber(bytes, kHeaderBytesPlace, 2, static_cast<uint32_t>(header_bytes));
  WriteNumber(bytes, kRowBytesPlace, 2, static_cast<uint32_t>(layout.row_bytes));
  bytes[kLanguagePlace] = dbf::kLanguage;
  for (const TableField& field : layout.fields) {
    std::string description(dbf::kFieldBytes, '\0');
    description.replace(0, field.name.size(), field.name);
    description[kTypePlace] = field.type;
    description[kWidthPlace] = static_cast<char>(field.width);
    description[kDecimalsPlace] = static_cast<char>(field.decimals);
    bytes += description;
  }
  return bytes + dbf::kEndOfFields;
}

Status ParseHeader(std::string_view bytes, TableHeader& header) {
  const auto bad = [](const std::string& what) { return Status::Error(Fail::kBadData, "is no dBase table: " + what); };
  header = {};
  if (bytes.size() < dbf::kPrefixBytes) return bad("it has only " + std::to_string(bytes.size()) + " bytes");
  if (bytes[0] != dbf::kVersion) {
    return bad("its first byte is " + std::to_string(static_cast<uint8_t>(bytes[0])) + " instead of 3");
  }
  header.rows = ReadNumber(bytes, kCountPlace, 4);
  header.header_bytes = ReadNumber(bytes, kHeaderBytesPlace, 2);
  const size_t row_bytes = ReadNumber(bytes, kRowBytesPlace, 2);
  if (header.header_bytes > bytes.size()) return bad("its header is cut");
  for (size_t at = dbf::kPrefixBytes; at < header.header_bytes && bytes[at] != dbf::kEndOfFields;) {
    if (at + dbf::kFieldBytes >= header.header_bytes || header.layout.fields.size() == dbf::kMaxFields) {
      return bad("its field list has no end");
    }
    const std::string_view description = bytes.substr(at, dbf::kFieldBytes);
    const std::string_view name = description.substr(0, kNameBytes);
    header.layout.Add({std::string(name.substr(0, name.find('\0'))), description[kTypePlace],
                       static_cast<uint8_t>(description[kWidthPlace]),
                       static_cast<uint8_t>(description[kDecimalsPlace]), 0});
    at += dbf::kFieldBytes;
  }
  if (header.layout.fields.empty()) return bad("it has no fields");
  if (header.layout.row_bytes != row_bytes) {
    return bad("its fields take " + std::to_string(header.layout.row_bytes) + " bytes a row and its header says " +
               std::to_string(row_bytes));
  }
  return Status::Ok();
}

std::string FirstDifference(const RowLayout& wanted, const RowLayout& found) {
  for (size_t i = 0; i < std::max(wanted.fields.size(), found.fields.size()); ++i) {
    const std::string number = "field " + std::to_string(i + 1);
    if (i >= found.fields.size()) return number + " (" + Describe(wanted.fields[i]) + ") is missing";
    if (i >= wanted.fields.size()) return number + " (" + Describe(found.fields[i]) + ") is one too many";
    const TableField& want = wanted.fields[i];
    const TableField& have = found.fields[i];
    if (EqualsNoCase(want.name, have.name) && want.type == have.type && want.width == have.width &&
        want.decimals == have.decimals) {
      continue;
    }
    return number + " is " + Describe(have) + " instead of " + Describe(want);
  }
  return {};
}

bool HasHole(std::string_view row) {
  return !StartsRow(row[0]) || std::memchr(row.data(), '\0', row.size());
}

void BlankNuls(char* bytes, size_t count) {
  if (std::memchr(bytes, '\0', count)) std::replace(bytes, bytes + count, '\0', ' ');
}

void PutText(const TableField& field, std::string_view text, char* row) {
  char* to = row + field.offset;
  const size_t kept = std::min<size_t>(text.size(), field.width);
  text.copy(to, kept);
  std::memset(to + kept, ' ', field.width - kept);
}

void PutNumber(const TableField& field, int64_t number, char* row) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  const auto length = static_cast<size_t>(end - digits);
  char* to = row + field.offset;
  std::memset(to, length > field.width ? '*' : ' ', field.width);
  if (length <= field.width) std::memcpy(to + field.width - length, digits, length);
}

void PutDate(const TableField& field, Day day, char* row) {
  const CivilDate date = day.n == 0 ? CivilDate{0, 0, 0} : ToCivil(day);
  if (date.year < 1000 || date.year > 9999 || field.width != 8) {
    PutText(field, "", row);
    return;
  }
  int number = date.year * 10000 + date.month * 100 + date.day;
  for (char* to = row + field.offset + 8; to > row + field.offset; number /= 10) {
    *--to = static_cast<char>('0' + number % 10);
  }
}

std::string_view FieldText(const TableField& field, const char* row) {
  return {row + field.offset, field.width};
}

int64_t FieldNumber(const TableField& field, const char* row) {
  const std::string_view text = Trim(FieldText(field, row));
  if (!text.empty() && text.find_first_not_of('*') == std::string_view::npos) {
    int64_t first = 1;
    for (size_t i = 0; i < std::min<size_t>(field.width, 18); ++i) first *= 10;
    return first;
  }
  return WholeNumber(text).value_or(0);
}

std::optional<Day> FieldDate(const TableField& field, const char* row) {
  const std::string_view text = FieldText(field, row);
  if (text.size() != 8 || !std::all_of(text.begin(), text.end(), IsDigit)) return std::nullopt;
  return MakeDay(LeadingNumber(text.substr(0, 4)), LeadingNumber(text.substr(4, 2)), LeadingNumber(text.substr(6, 2)));
}

}  // namespace vantry
