#include "core/screen_text.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

#include "core/text.h"

namespace vantry {
namespace {

constexpr int kGap = 2;

struct CodePoint {
  uint32_t value = 0;
  size_t size = 0;  // Bytes; 0 when the text does not begin with well-formed UTF-8.
};

CodePoint Decode(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < size) return {};
  uint32_t value = lead & (0xFFu >> (size + 1));
  for (size_t i = 1; i < size; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {};
    value = value << 6 | (byte(i) & 0x3F);
  }
  constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  if (value < kLeast[size] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return {};
  return {value, size};
}

struct Range {
  uint32_t first, last;
};

template <size_t N>
bool IsIn(const Range (&ranges)[N], uint32_t c) {
  return std::any_of(std::begin(ranges), std::end(ranges), [c](Range r) { return c >= r.first && c <= r.last; });
}

// Controls, marks without a width of their own, changes of direction, private and unassigned places.
constexpr Range kUnfit[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},       {0xAD, 0xAD},       {0x300, 0x36F},     {0x483, 0x489},     {0x590, 0x8FF},
    {0x900, 0xDFF},   {0xE31, 0xE3A},     {0xE47, 0xE4E},     {0xE80, 0x10FF},    {0x1160, 0x11FF},   {0x135D, 0x135F},
    {0x1700, 0x1CFF}, {0x1DC0, 0x1DFF},   {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},   {0x20D0, 0x20FF},
    {0x302A, 0x302F}, {0xA600, 0xABFF},   {0xD7B0, 0xD7FF},   {0xE000, 0xF8FF},   {0xFB1D, 0xFE2F},   {0xFE70, 0xFEFF},
    {0xFFF0, 0xFFFF}, {0x10000, 0x1EFFF}, {0x1F1E6, 0x1F1FF}, {0x1F3FB, 0x1F3FF}, {0xE0000, 0x10FFFF}};
constexpr Range kWide[] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},
                           {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};

int WidthOf(uint32_t c) {
  return IsIn(kWide, c) ? 2 : 1;
}

std::string Cell(std::string_view text, int width, bool right) {
  std::string fitted = FitTo(text, width);
  const std::string fill(static_cast<size_t>(std::max(0, width - DisplayWidth(fitted))), ' ');
  return right ? fill + fitted : fitted + fill;
}

// Takes columns from the widest first, so that short texts stay whole as long as possible.
void Shrink(const std::vector<TableColumn>& columns, std::vector<int>& widths, int max_width) {
  const int gaps = kGap * (static_cast<int>(columns.size()) - 1);
  int excess = std::accumulate(widths.begin(), widths.end(), gaps) - max_width;
  for (; excess > 0; --excess) {
    size_t widest = columns.size();
    for (size_t i = 0; i < columns.size(); ++i) {
      if (columns[i].least == 0 || widths[i] <= columns[i].least) continue;
      if (widest == columns.size() || widths[i] > widths[widest]) widest = i;
    }
    if (widest == columns.size()) return;
    --widths[widest];
  }
}

std::string Line(const std::vector<TableColumn>& columns, const std::vector<int>& widths,
                 const std::vector<std::string>& texts, int max_width) {
  std::string line;
  for (size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) line.append(kGap, ' ');
    line += Cell(texts[i], widths[i], columns[i].right);
  }
  // Before the cut: blanks alone are nothing that a "…" should tell of.
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return max_width > 0 ? FitTo(line, max_width) : line;
}

}  // namespace

std::string Printable(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    const CodePoint c = Decode(bytes);
    const bool fit = c.size > 0 && !IsIn(kUnfit, c.value);
    if (fit) {
      out += bytes.substr(0, c.size);
    } else {
      out += '?';
    }
    bytes.remove_prefix(std::max<size_t>(c.size, 1));
  }
  return out;
}

int DisplayWidth(std::string_view printable) {
  int width = 0;
  while (!printable.empty()) {
    const CodePoint c = Decode(printable);
    width += WidthOf(c.value);
    printable.remove_prefix(std::max<size_t>(c.size, 1));
  }
  return width;
}

std::string FitTo(std::string_view printable, int width) {
  if (DisplayWidth(printable) <= width) return std::string(printable);
  std::string out;
  int used = 0;
  while (!printable.empty()) {
    const CodePoint c = Decode(printable);
    used += WidthOf(c.value);
    if (used > width - 1) break;
    const size_t size = std::max<size_t>(c.size, 1);
    out += printable.substr(0, size);
    printable.remove_prefix(size);
  }
  return out + "…";
}

std::vector<std::string> FormatTable(const TextTable& table, int max_width) {
  std::vector<std::string> titles;
  std::vector<int> widths;
  for (const TableColumn& column : table.columns) {
    titles.push_back(column.title);
    widths.push_back(DisplayWidth(column.title));
  }
  auto rows = table.rows;
  for (auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      row[i] = Printable(row[i]);
      widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
  }
  if (max_width > 0) Shrink(table.columns, widths, max_width);
  std::vector<std::string> lines{Line(table.columns, widths, titles, max_width)};
  for (const auto& row : rows) lines.push_back(Line(table.columns, widths, row, max_width));
  return lines;
}

}  // namespace vantry
