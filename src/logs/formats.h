// The log formats the program reads: one row each tells how a log of it is recognised and how its lines are read.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "core/tables.h"
#include "logs/fields.h"
#include "logs/ncsa_line.h"

namespace vantry {

// A text converted last and its value, since a log repeats dates and zones line after line.
template <class T>
class LastConverted {
 public:
  using Convert = std::optional<T> (*)(std::string_view);
  std::optional<T> Get(std::string_view text, Convert convert) {
    if (convert == convert_ && text == std::string_view(text_.data(), size_)) return value_;
    const std::optional<T> value = convert(text);
    if (text.size() <= text_.size()) {
      text.copy(text_.data(), text_.size());
      size_ = text.size();
      convert_ = convert;
      value_ = value;
    }
    return value;
  }

 private:
  std::array<char, 16> text_{};
  size_t size_ = 0;
  Convert convert_ = nullptr;
  std::optional<T> value_;
};

struct DateMemo {
  LastConverted<Day> day;
  LastConverted<int32_t> shift;
};

// What a date reader works on. It sets what it can read; all else keeps the value of the line before.
struct DateLine {
  FieldCutter& fields;
  int16_t ordinal;  // Of the date, 0 or more.
  HitRec& hit;      // HitDate, and HitTime where the date's field has the time too.
  int32_t& shift;   // Seconds to add to the line's time.
  DateMemo& memo;
  // Where the line's zone goes if it is to be told as it stands; null where the shift alone counts.
  std::optional<int32_t>* zone = nullptr;
  const NcsaLine* quoted = nullptr;  // The line cut by its quotes, if that is how it is read.
};

struct LogFormat {
  LogType type = LogType::kW3C;
  std::string_view name;  // For people, as the program's dialogs show it.
  char separator = ' ';
  std::optional<bool> proxy_style = {};    // SiteRec::ProxyStyle; empty leaves the site's flag as it is.
  std::optional<FieldLayout> layout = {};  // Of a log without a header line; empty when only a header tells the fields.
  std::span<const HeaderName> header = {};  // Of formats whose logs begin with lines of "#".
  bool one_target = false;                  // A visit ends when the request goes to another host.
  bool quoted = false;                      // Fields may stand in quotes, with separators inside.
  bool utc = false;  // Servers write its times in UTC; without this and without a zone a time is local.
  // Returns whether a line can only be of this format. A format with a header is asked about whole lines that begin
  // with "#", the others about all other lines.
  bool (*recognise)(std::string_view line) = nullptr;
  void (*read_date)(DateLine& line) = nullptr;
  // Turns the field with the page into HitPage, HitQuery and HitReferrer. Null where it is the page as it is.
  void (*split_page)(HitRec& hit, const SiteRec& site) = nullptr;
};

// All formats, in the order in which a log is tried for them.
std::span<const LogFormat> Formats();

// Returns the format of a type. One that does not exist is read like W3C Extended, but none of its fields are known.
const LogFormat& FormatOf(LogType type);

}  // namespace vantry
