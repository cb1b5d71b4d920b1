// A line as a LogFormat would write it.
#include <algorithm>

#include "core/text.h"
#include "import/apache.h"
#include "import/sample_line.h"

namespace vantry {
namespace {

struct Letter {
  char letter;
  std::string_view value;
};
// All others are a dash, as they are when they have no value.
constexpr Letter kLetters[] = {{'h', SampleVisit::kClient},
                               {'a', SampleVisit::kClient},
                               {'r', SampleVisit::kRequest},
                               {'s', SampleVisit::kStatus},
                               {'b', SampleVisit::kBytes},
                               {'B', SampleVisit::kBytes},
                               {'O', SampleVisit::kBytes},
                               {'I', "512"},
                               {'S', "2838"},
                               {'v', SampleVisit::kHost},
                               {'V', SampleVisit::kHost},
                               {'p', "443"},
                               {'m', "GET"},
                               {'U', SampleVisit::kTarget},
                               {'q', ""},
                               {'H', "HTTP/1.1"},
                               {'D', "5000"},
                               {'T', "0"},
                               {'k', "1"},
                               {'X', "+"},
                               {'P', "4711"},
                               {'A', SampleVisit::kOtherAddress}};

struct TimePart {
  char letter;
  std::string_view value;
};
constexpr TimePart kTimeParts[] = {{'d', "05"},
                                   {'e', " 5"},
                                   {'b', "Mar"},
                                   {'h', "Mar"},
                                   {'B', "March"},
                                   {'m', "03"},
                                   {'Y', "2026"},
                                   {'y', "26"},
                                   {'H', "12"},
                                   {'I', "12"},
                                   {'M', "34"},
                                   {'S', "56"},
                                   {'T', SampleVisit::kTime},
                                   {'R', "12:34"},
                                   {'D', "03/05/26"},
                                   {'F', "2026-03-05"},
                                   {'z', SampleVisit::kZone},
                                   {'Z', "UTC"},
                                   {'p', "PM"},
                                   {'a', "Thu"},
                                   {'A', "Thursday"},
                                   {'s', "1772714096"},
                                   {'%', "%"},
                                   {'n', " "},
                                   {'t', "\t"}};

std::string TimeOf(std::string_view format) {
  if (format.empty()) return "[" + std::string(SampleVisit::kStamp) + "]";
  for (const std::string_view edge : {std::string_view("begin:"), std::string_view("end:")}) {
    if (StartsWith(format, edge)) format.remove_prefix(edge.size());
  }
  if (format.find('%') == std::string_view::npos) return "1772714096";  // sec, msec, usec and their fractions.
  std::string text;
  for (size_t at = 0; at < format.size(); ++at) {
    if (format[at] != '%' || at + 1 == format.size()) {
      text += format[at];
      continue;
    }
    ++at;
    for (const TimePart& part : kTimeParts) {
      if (part.letter == format[at]) text += part.value;
    }
  }
  return text;
}

std::string HeaderOf(std::string_view name) {
  if (EqualsNoCase(name, "Referer")) return std::string(SampleVisit::kReferrer);
  if (EqualsNoCase(name, "User-Agent")) return std::string(SampleVisit::kAgent);
  if (EqualsNoCase(name, "Host")) return std::string(SampleVisit::kHost);
  for (const std::string_view address : {"X-Forwarded-For", "X-Real-IP", "CF-Connecting-IP", "True-Client-IP"}) {
    if (EqualsNoCase(name, address)) return std::string(SampleVisit::kOtherAddress);
  }
  return "-";
}

std::string ValueOf(char letter, std::string_view argument) {
  if (letter == 't') return TimeOf(argument);
  if (letter == 'i') return HeaderOf(argument);
  if (letter == 'a' && argument == "c") return std::string(SampleVisit::kOtherAddress);
  for (const Letter& row : kLetters) {
    if (row.letter == letter) return std::string(row.value);
  }
  return "-";
}

// The directive after a "%", which is taken from the text.
std::string TakeDirective(std::string_view& text) {
  std::string_view argument;
  // Conditions on the status, and which request of a redirection counts.
  while (!text.empty() &&
         (IsDigit(text.front()) || std::string_view("!,<>").find(text.front()) != std::string_view::npos)) {
    text.remove_prefix(1);
  }
  if (StartsWith(text, "{")) {
    const size_t end = text.find('}');
    if (end == std::string_view::npos) return {};
    argument = text.substr(1, end - 1);
    text.remove_prefix(end + 1);
    while (!text.empty() && (text.front() == '<' || text.front() == '>')) text.remove_prefix(1);
  }
  if (text.empty()) return {};
  const char letter = text.front();
  text.remove_prefix(1);
  if (letter == '%') return "%";
  if (letter == '^') {  // "^ti", "^to".
    text.remove_prefix(std::min<size_t>(2, text.size()));
    return "-";
  }
  return ValueOf(letter, argument);
}

}  // namespace

std::string ApacheSample(std::string_view format) {
  std::string line;
  while (!format.empty()) {
    const char c = format.front();
    format.remove_prefix(1);
    if (c == '%') {
      line += TakeDirective(format);
    } else if (c == '\\' && !format.empty()) {
      const char escaped = format.front();
      line += escaped == 'n' ? '\n' : escaped == 't' ? '\t' : escaped;
      format.remove_prefix(1);
    } else {
      line += c;
    }
  }
  return line;
}

}  // namespace vantry
