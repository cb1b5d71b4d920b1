#include "ipcc/ranges.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr size_t kColumns = 3;
constexpr size_t kShownBytes = 40;

// A text from a file in a form fit for a message: short, and harmless to a terminal.
std::string Shown(std::string_view text) {
  std::string shown = "'";
  for (const char c : text.substr(0, kShownBytes)) shown += c >= ' ' && c <= '~' ? c : '?';
  return shown + (text.size() > kShownBytes ? "...'" : "'");
}

constexpr bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view WithoutBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// Where the quoted text that opens at the first character closes; a doubled quotation mark is one of the text.
size_t ClosingQuote(std::string_view text) {
  size_t at = text.find('"', 1);
  while (at != std::string_view::npos && text.substr(at + 1, 1) == "\"") at = text.find('"', at + 2);
  return at;
}

struct Columns {
  std::array<std::string_view, kColumns> texts;
  size_t count = 0;
};

// Splits the line into its first columns and ignores the rest. False if a quotation mark is not closed or is followed
// by text.
bool CutColumns(std::string_view line, Columns& columns) {
  for (columns.count = 0; columns.count < kColumns;) {
    line = WithoutBlanks(line);
    std::string_view& column = columns.texts[columns.count++];
    const bool quoted = !line.empty() && line.front() == '"';
    const size_t close = quoted ? ClosingQuote(line) : 0;
    if (close == std::string_view::npos) return false;
    const size_t comma = line.find(',', close);
    const std::string_view whole = WithoutBlanks(line.substr(0, comma));
    if (quoted && whole.size() != close + 1) return false;
    column = quoted ? WithoutBlanks(whole.substr(1, close - 1)) : whole;
    if (comma == std::string_view::npos) break;
    line.remove_prefix(comma + 1);
  }
  return true;
}

enum class AddressKind { kNone, kTooLarge, kIPv4, kIPv6 };

struct Address {
  AddressKind kind = AddressKind::kNone;
  uint32_t number = 0;
};

std::optional<uint32_t> ReadDotted(std::string_view text) {
  uint32_t number = 0;
  for (int part = 0; part < 4; ++part) {
    const size_t dot = part < 3 ? text.find('.') : text.size();
    if (dot == 0 || dot == std::string_view::npos || dot > 3) return std::nullopt;
    const std::string_view digits = text.substr(0, dot);
    if (!std::all_of(digits.begin(), digits.end(), IsDigit)) return std::nullopt;
    const int32_t value = LeadingNumber(digits);
    if (value > 255) return std::nullopt;
    number = number << 8 | static_cast<uint32_t>(value);
    text.remove_prefix(std::min(dot + 1, text.size()));
  }
  return number;
}

Address ReadAddress(std::string_view text) {
  if (text.empty()) return {};
  if (std::all_of(text.begin(), text.end(), IsDigit)) {
    uint32_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() ? Address{AddressKind::kIPv4, number} : Address{AddressKind::kTooLarge, 0};
  }
  if (Contains(text, ":")) {
    const bool fits = text.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
    return {fits ? AddressKind::kIPv6 : AddressKind::kNone, 0};
  }
  const auto number = ReadDotted(text);
  return number ? Address{AddressKind::kIPv4, *number} : Address{};
}

// Whether somebody meant to write an address here, right or wrong; names of columns don't begin like this.
bool LooksLikeAddress(std::string_view text) {
  const std::string_view sign = text.substr(0, 1);
  const std::string_view digits = text.substr(sign == "-" || sign == "+" ? 1 : 0);
  return (!digits.empty() && IsDigit(digits.front())) || ReadAddress(text).kind != AddressKind::kNone;
}

bool IsHeader(const Columns& columns) {
  return std::none_of(columns.texts.begin(), columns.texts.begin() + 2, LooksLikeAddress);
}

constexpr bool IsCodeCharacter(char c) {
  return IsDigit(c) || (c >= 'A' && c <= 'Z');
}

std::optional<CountryCode> ReadCode(std::string_view text) {
  if (text.empty() || text == "-" || text == "??") return kNoCountry;
  if (text.size() != 2) return std::nullopt;
  const CountryCode code = {UpperAscii(text[0]), UpperAscii(text[1])};
  if (!std::all_of(code.begin(), code.end(), IsCodeCharacter)) return std::nullopt;
  return code == CountryCode{'Z', 'Z'} ? kNoCountry : code;
}

// What is the matter with an address; empty when nothing is.
std::string AddressProblem(std::string_view text, const Address& address) {
  if (address.kind == AddressKind::kNone) return Shown(text) + " is no address";
  if (address.kind == AddressKind::kTooLarge) return Shown(text) + " is too large for an address";
  return {};
}

class Reader {
 public:
  RangeText Read(std::string_view text) {
    if (StartsWith(text, kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    while (!text.empty()) {
      const size_t end = text.find('\n');
      std::string_view line = text.substr(0, end);
      if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
      ++number_;
      TakeLine(WithoutBlanks(line));
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return std::move(result_);
  }

 private:
  void TakeLine(std::string_view line) {
    if (line.empty() || line.front() == '#') return;
    const bool first_line = !seen_any_;
    seen_any_ = true;
    Columns columns;
    if (!CutColumns(line, columns)) return Complain("a quotation mark is not closed or has text behind it");
    if (first_line && IsHeader(columns)) return;
    if (columns.count < kColumns) {
      return Complain("a first address, a last address and a country code are needed");
    }
    TakeRange(columns);
  }

  void TakeRange(const Columns& columns) {
    const auto& [first_text, last_text, code_text] = columns.texts;
    const Address first = ReadAddress(first_text), last = ReadAddress(last_text);
    for (const auto& problem : {AddressProblem(first_text, first), AddressProblem(last_text, last)}) {
      if (!problem.empty()) return Complain(problem);
    }
    if (first.kind != last.kind) return Complain("one address is IPv4 and the other is IPv6");
    if (first.kind == AddressKind::kIPv6) {
      ++result_.ipv6_count;
      return;
    }
    if (last.number < first.number) {
      return Complain("the last address " + Shown(last_text) + " lies below the first, " + Shown(first_text));
    }
    const auto code = ReadCode(code_text);
    if (!code) return Complain(Shown(code_text) + " is no country code");
    result_.ranges.push_back({first.number, last.number, *code});
  }

  void Complain(std::string what) {
    ++result_.bad_count;
    if (result_.bad_lines.size() < kMaxBadLinesKept) result_.bad_lines.push_back({number_, std::move(what)});
  }

  RangeText result_;
  size_t number_ = 0;      // Of the line at hand, from 1 on.
  bool seen_any_ = false;  // A line that is neither empty nor a comment.
};

}  // namespace

RangeText ParseRanges(std::string_view text) {
  return Reader().Read(text);
}

}  // namespace vantry
