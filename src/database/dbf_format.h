// The dBase III table format: a header with the field list, then rows of fixed width, then an end mark. Pure functions
// over bytes; layout after the dBase III file format, all numbers little-endian.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/date_time.h"
#include "core/status.h"

namespace vantry {

namespace dbf {
inline constexpr char kVersion = 0x03;                // dBase III without memo fields.
inline constexpr char kLanguage = 0x03;               // Windows-1252.
inline constexpr char kEndOfFields = 0x0D;            // After the last field description.
inline constexpr char kEndMark = 0x1A;                // After the last row.
inline constexpr char kLiving = ' ', kDeleted = '*';  // First byte of a row.
inline constexpr size_t kPrefixBytes = 32, kFieldBytes = 32;
inline constexpr size_t kDatePlace = 1, kDateBytes = 7;  // Date of the last update, followed by the row count.
inline constexpr size_t kMaxHeaderBytes = 65535, kMaxFields = 255;
}  // namespace dbf

struct TableField {
  std::string name;
  char type = 'C';  // C text, N number, D date as yyyymmdd; foreign tables have others.
  uint8_t width = 0;
  uint8_t decimals = 0;
  size_t offset = 0;  // In the row, whose first byte is the deletion mark.
};

struct RowLayout {
  std::vector<TableField> fields;
  size_t row_bytes = 1;

  // The field's place, by its name in any case.
  std::optional<size_t> Find(std::string_view name) const;
  // Adds a field after the others.
  void Add(TableField field);
};

// Reads field texts of the form "Name|Type|Width". Fails with the text that can't be read.
Status ParseFields(const std::vector<std::string>& texts, RowLayout& layout);

struct TableHeader {
  RowLayout layout;
  size_t header_bytes = 0;  // Where the first row begins.
  uint32_t rows = 0;        // As counted there; the file may hold fewer or more.
};

std::string BuildHeader(const RowLayout& layout, Day updated, uint32_t rows);
// The bytes from kDatePlace on that change with every write.
std::string BuildDateAndCount(Day updated, uint32_t rows);

// Reads the header from the first bytes of a table, as many of them as there are up to kMaxHeaderBytes. Fails when they
// are not a dBase III table.
Status ParseHeader(std::string_view bytes, TableHeader& header);

// How `found` falls short of `wanted`: the first difference, empty when there is none.
std::string FirstDifference(const RowLayout& wanted, const RowLayout& found);

// Turns NULs into blanks, as many readers take a NUL for the end of the text.
void BlankNuls(char* bytes, size_t count);

// Whether rows begin with this byte.
constexpr bool StartsRow(char c) {
  return c == dbf::kLiving || c == dbf::kDeleted;
}
// Whether this row, which Vantry wrote, has a hole: Vantry writes no NUL, and a hole before its first byte leaves the
// end mark that was in its place.
bool HasHole(std::string_view row);

// Values into a field of a row. A text is cut to the width or filled with blanks. A number
// is at the right; one too wide for the field is shown as asterisks. Day 0 (the unset date) and dates whose year
// does not have four digits are blanks.
void PutText(const TableField& field, std::string_view text, char* row);
void PutNumber(const TableField& field, int64_t number, char* row);
void PutDate(const TableField& field, Day day, char* row);

// The field as it is, blanks included.
std::string_view FieldText(const TableField& field, const char* row);
// 0 for what is not a number; asterisks, the sign of a number that was too wide, are the first number that is.
int64_t FieldNumber(const TableField& field, const char* row);
// Empty for blanks and for what is not a date.
std::optional<Day> FieldDate(const TableField& field, const char* row);

}  // namespace vantry
